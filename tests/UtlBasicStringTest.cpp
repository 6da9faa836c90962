#include "UtlBasicString.h"

#include "UtlStaticBuffer.h"
#include "support/Test.h"

using utl::test::said;
using namespace utl;
using String = BasicString<char>;

namespace
{

// Text and capacity: "abc/4".
std::string shown(String const& nString)
{
    return std::string(nString.c_str()) + "/" + std::to_string(nString.maxSize());
}

TEST(BasicString, ConstructorsAndOperatorsSizeTheBuffer)
{
    EXPECT_EQ(String().c_str(), &EMPTY_CHAR);
    EXPECT_NE(String(1, 0).c_str(), &EMPTY_CHAR);
    EXPECT_EQ(shown(String(0, 0)), "/1");
    EXPECT_EQ(shown(String("abc", 3, 0)), "abc/4");
    EXPECT_EQ(shown(String("abc", 9, 0)), "abc/9");
    EXPECT_EQ(shown(String(nullptr, 9, 0)), "/9");
    String lExpanding("abc", 9, 1);
    String lCopy(lExpanding);
    EXPECT_EQ(shown(lCopy), "abc/4");
    EXPECT_FALSE(lCopy.copy("abcd", STR_ALL, 0)); // a copy does not expand,
    lExpanding = lCopy;                           // but an assignment keeps the mode
    EXPECT_TRUE(lExpanding.copy("0123456789", STR_ALL, 0));
    EXPECT_EQ(shown(lExpanding), "0123456789/11");

    String lString; // in fixed mode, too
    lString += "abc";
    EXPECT_EQ(shown(lString), "abc/5");
    EXPECT_EQ(shown(lString += "d"), "abcd/5"); // fits exactly
    EXPECT_EQ(shown((lString += "e") += nullptr), "abcde/7");
    EXPECT_EQ(shown(lString = "xy"), "xy/7");
    EXPECT_EQ(shown(lString = "0123456789"), "0123456789/11");
    EXPECT_EQ(shown(lString = static_cast<char const*>(nullptr)), "/11");
    EXPECT_EQ(shown("ab" + String("cd", 20, 1)), "abcd/5");
    EXPECT_EQ(shown(static_cast<char const*>(nullptr) + String("cd", 0, 0)), "cd/3");
}

TEST(BasicString, ArgumentsMayPointIntoTheString)
{
    String lString("abcdef", 0, 1);
    lString += lString.c_str() + 3; // grows, and the old buffer is read afterwards
    EXPECT_EQ(shown(lString), "abcdefdef/11");
    EXPECT_EQ(shown(lString += lString.c_str() + 8), "abcdefdeff/11");
    EXPECT_EQ(shown(lString = lString.c_str() + 1), "bcdefdeff/11");
    EXPECT_TRUE(lString.copy(lString.c_str() + 2, 5, 1));
    EXPECT_EQ(shown(lString), "defde/11");
    EXPECT_TRUE(lString.replace(lString.c_str() + 3, lString.c_str(), 0)); // "de" by "defde", which grows
    EXPECT_EQ(shown(lString), "defdefdefde/12");
}

TEST(BasicString, ResizeCopyAndReplaceKeepTheirRules)
{
    struct
    {
        char const* mText;
        unsigned int mMaxSize;
        int mExpandMode;
        bool (*mCall)(String&);
        bool mResult;
        char const* mExpected;
    } const ROWS[] = {
        {"abc", 0, 0, [](String& nString) { return nString.resizeMax(1); }, true, "/1"},
        {"abc", 0, 0, [](String& nString) { return nString.resizeMax(0) && nString.resizeMax(2); }, true, "/2"},
        {"\xE3\x81\x82", 0, 0, [](String& nString) { return nString.resizeMax(3); }, true, "/3"},
        {"\x80\x80", 0, 0, [](String& nString) { return nString.resizeMax(2); }, false, "/2"},
        {"abc", 0, 0, [](String& nString) { return nString.copy("uvwxyz", STR_ALL, 0); }, false, "abc/4"},
        {"abc", 0, 0, [](String& nString) { return nString.copy("uvwxyz", STR_ALL, 1); }, true, "uvw/4"},
        {"abc", 0, 1, [](String& nString) { return nString.copy("uvwxyz", STR_ALL, 0); }, true, "uvwxyz/7"},
        {"abc", 0, 2, [](String& nString) { return nString.copy("uvwxyz", STR_ALL, 0); }, false, "abc/4"},
        {"abc", 0, 1, [](String& nString) { return nString.copy(nullptr, STR_ALL, 0); }, false, "abc/4"},
        {"abc", 0, 1, [](String& nString) { return nString.copy("uvwxyz", 0, 0); }, true, "abc/4"},
        {"abc", 0, 0, [](String& nString) { return nString.copy("z\x80", STR_ALL, 1); }, false, "abc/4"},
        {"abc", 0, 1, [](String& nString) { return nString.copy("uvw\x80xyz", STR_ALL, 1); }, false, "abc/8"},
        {nullptr, 1, 0, [](String& nString) { return nString.copy("\x80", STR_ALL, 1); }, true, "/1"},
        {"a-b-c", 0, 1, [](String& nString) { return nString.replace("-", "<>", 0); }, true, "a<>b<>c/8"},
        {"a-b-c", 0, 0, [](String& nString) { return nString.replace("-", "<>", 0); }, false, "a<>b/6"},
        {"a-b-c", 0, 0, [](String& nString) { return nString.replace("-", "<>", 1); }, true, "a<>b</6"},
        {"a-b-c", 0, 1, [](String& nString) { return nString.replace(nullptr, "+", 0); }, false, "a-b-c/6"},
        {"a-b-c", 0, 1, [](String& nString) { return nString.replace("-", nullptr, 0); }, false, "a-b-c/6"},
        {"abc", 0, 0, [](String& nString) { return nString.replace("", "+", 0); }, true, "abc/4"}};
    for (auto const& lRow : ROWS)
    {
        String lString(lRow.mText, lRow.mMaxSize, lRow.mExpandMode);
        EXPECT_EQ(lRow.mCall(lString), lRow.mResult) << "row " << &lRow - ROWS;
        EXPECT_EQ(shown(lString), lRow.mExpected) << "row " << &lRow - ROWS;
        EXPECT_EQ(lString.c_str() == &EMPTY_CHAR, lRow.mMaxSize == 0 && lString.maxSize() == 1);
    }
    std::string lLong(WorkingBuffer<char>::CAPACITY, 'x');
    EXPECT_FALSE(String(lLong.c_str(), 0, 0).replace("x", "y", 0));
    lLong.pop_back();
    EXPECT_TRUE(String(lLong.c_str(), 0, 0).replace("x", "y", 0));
}

// Default strings of all threads share one byte: nobody may write to it, not even the NUL that it holds.
TEST(BasicString, ThreadsShareTheEmptyTextWithoutWriting)
{
    auto const lWork = []
    {
        String lString;
        (lString = "") += "";
        EXPECT_EQ("yyy",
                  said({lString.copy("", STR_ALL, 0), lString.copy("x", STR_ALL, 1), lString.replace("a", "b", 0)}));
        EXPECT_TRUE(lString.resizeMax(0));
        EXPECT_EQ(&EMPTY_CHAR, lString.c_str());
    };
    utl::test::together(lWork, lWork);
}

/// A caller with an operator of its own, which must not hide the library's.
namespace elsewhere
{
struct Own
{
};
[[maybe_unused]] Own operator+(Own, Own)
{
    return {};
}

TEST(BasicString, ComparesTextsAndIsAddedFromAnyNamespace)
{
    utl::BasicString<char> const lShort("a", 40, 0);
    utl::BasicString<char> const lLong("a\xC3\xA9", 0, 0);
    EXPECT_TRUE(lShort == utl::BasicString<char>("a", 0, 1));
    EXPECT_TRUE("a" == lShort);
    EXPECT_TRUE(lShort != lLong);
    EXPECT_TRUE(lLong != "a");
    EXPECT_TRUE(lShort < lLong);
    EXPECT_TRUE(utl::BasicString<char>("aZ", 0, 0) < lLong); // bytes are unsigned
    EXPECT_EQ(3U, lLong.view().size());
    EXPECT_STREQ("xa", ("x" + lShort).c_str());
}
} // namespace elsewhere

} // namespace
