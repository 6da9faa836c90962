// Linked with the real library, never with its objects: shared from the build folder, and shared and static from an
// installed tree. A class that is not exported, or a header that is not installed, shows up here.
#include <Utl.h>

#include <cstdio>

extern unsigned int gBinaryLines; // of platform.cpp

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
    {"Applog", [] { rawlog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_INFO, "a line\n"); return gBinaryLines == 1; }},
    {"BasicString", [] { return utl::BasicString<char>("a", 8, 0).copy("bc", ~0U, 0); }},
    {"Event", [] { return utl::Event(1, 0).waitToOn(1) == 0; }},
    {"Memory", [] { return utl::Memory::get()->getFileName(0)[0] == '\0'; }},
    {"MemoryPool", [] { utl::MemoryPool lPool(4, 1, "p"); void* lpOne = lPool.create(); lPool.release(lpOne); return lpOne != nullptr; }},
    {"RawMemory", [] { char lOne = 1; utl::zeroMemory(&lOne, 1); return lOne == 0; }},
    {"StatementInfo", [] { return utl::StatementInfo("", nullptr, 0, 0) == utl::StatementInfo::INVALID; }},
    {"StaticBuffer", [] { return utl::WorkingBuffer<char>().get() != nullptr; }},
    {"String", [] { char lText[] = "ab"; return utl::truncateStr(lText, 1) != 0 && lText[1] == '\0'; }},
    {"SyncObject", [] { utl::SyncObject lLock; utl::SyncGuard lGuard(lLock); return true; }},
    {"ThreadManager", [] { return utl::ThreadManager::get()->isThreadExist(0) == false; }},
    {"ThreadPriority", [] { return utl::ThreadPriority(0).OsValue() == -4; }},
    {"TimeCounter", [] { return utl::TimeCounter().start(); }},
};
// clang-format on

} // namespace

/// Logs before main has begun and after it has ended.
struct Outlasting
{
    Outlasting() { applog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DETAIL, "before main"); }
    ~Outlasting() { applog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DETAIL, "after main"); }
} gOutlasting;

/// Goes on while the process exits: sends to itself, logs, and is never stopped.
struct Restless : utl::ThreadMsgListener
{
    Restless()
        : mThread(16, 4, "restless", 1)
    {
        mThread.start(this, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
        mThread.postMsg(1);
    }
    void receiveMsg(int, utl::ThreadRawMsg&) override
    {
        applog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DEBUG, "passes no filter, but goes through it");
        rawlog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DETAIL, "%s", "");
        mThread.postMsg(1);
    }
    utl::MsgDrivenThread mThread;
};
Restless* gpRestless = nullptr;

int main()
{
    int lFailures = 0;
    for (Row const& lRow : ROWS)
    {
        bool const lWorks = lRow.mpWorks();
        std::printf("%-24s %s\n", lRow.mpFamily, lWorks ? "works" : "FAILS");
        lFailures += lWorks ? 0 : 1;
    }
    gpRestless = new Restless; // left running on purpose
    return lFailures == 0 ? 0 : 1;
}
