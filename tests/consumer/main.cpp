// Linked with the real library, never with its objects: shared from the build folder, and shared and static from an
// installed tree. A class that is not exported, or a header that is not installed, shows up here.
#include <Utl.h>

#include <cstdio>

namespace
{

struct Row
{
    char const* mpFamily;
    bool (*mpWorks)();
};

// clang-format off
// One line for each family: something compiled into the library, not a template, with a result to look at.
Row const ROWS[] = {
    {"BasicString", [] { return utl::BasicString<char>("a", 8, 0).copy("bc", ~0U, 0); }},
    {"RawMemory", [] { char lOne = 1; utl::zeroMemory(&lOne, 1); return lOne == 0; }},
    {"StatementInfo", [] { return utl::StatementInfo("", nullptr, 0, 0) == utl::StatementInfo::INVALID; }},
    {"StaticBuffer", [] { return utl::WorkingBuffer<char>().get() != nullptr; }},
    {"String", [] { char lText[] = "ab"; return utl::truncateStr(lText, 1) != 0 && lText[1] == '\0'; }},
    {"SyncObject", [] { utl::SyncObject lLock; utl::SyncGuard lGuard(lLock); return true; }},
};
// clang-format on

} // namespace

int main()
{
    int lFailures = 0;
    for (Row const& lRow : ROWS)
    {
        bool const lWorks = lRow.mpWorks();
        std::printf("%-24s %s\n", lRow.mpFamily, lWorks ? "works" : "FAILS");
        lFailures += lWorks ? 0 : 1;
    }
    return lFailures == 0 ? 0 : 1;
}
