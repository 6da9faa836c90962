#include "UtlBasicString.h"

#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "UtlStaticBuffer.h"

using namespace utl;
using String = BasicString<char>;

namespace
{

char const* const HIRAGANA = "\xE3\x81\x82"; // one character of three bytes

// Text and capacity: "abc/4".
std::string shown(String const& nString)
{
    return std::string(nString.c_str()) + "/" + std::to_string(nString.maxSize());
}

TEST(BasicString, ConstructorsSizeTheBuffer)
{
    EXPECT_EQ(shown(String()), "/1");
    EXPECT_EQ(String().c_str(), &EMPTY_CHAR);
    EXPECT_EQ(shown(String(0, 0)), "/1");
    EXPECT_NE(String(1, 0).c_str(), &EMPTY_CHAR);
    EXPECT_EQ(shown(String("abc", 0, 0)), "abc/4");
    EXPECT_EQ(shown(String("abc", 9, 0)), "abc/9");
    EXPECT_EQ(shown(String(nullptr, 0, 0)), "/1");
    EXPECT_EQ(shown(String(nullptr, 9, 0)), "/9");
    String lExpanding("abc", 9, 1);
    String lCopy(lExpanding);
    EXPECT_EQ(shown(lCopy), "abc/4");
    EXPECT_FALSE(lCopy.copy("abcd", STR_ALL, 0)); // a copy does not expand,
    lCopy = String("xy", 0, 0);
    EXPECT_EQ(shown(lCopy), "xy/4");
    lExpanding = lCopy; // an assignment keeps the mode
    EXPECT_TRUE(lExpanding.copy("0123456789", STR_ALL, 0));
    EXPECT_EQ(shown(lExpanding), "0123456789/11");
}

TEST(BasicString, OperatorsGrowInFixedModeToo)
{
    String lString;
    lString += "abc";
    EXPECT_EQ(shown(lString), "abc/5");
    lString += "d"; // fits exactly
    EXPECT_EQ(shown(lString), "abcd/5");
    lString += "e";
    EXPECT_EQ(shown(lString), "abcde/7");
    lString += nullptr;
    lString = "xy";
    EXPECT_EQ(shown(lString), "xy/7");
    lString = "0123456789";
    EXPECT_EQ(shown(lString), "0123456789/11");
    lString = static_cast<char const*>(nullptr);
    EXPECT_EQ(shown(lString), "/11");

    EXPECT_EQ(shown("ab" + String("cd", 20, 1)), "abcd/5");
    EXPECT_EQ(shown(static_cast<char const*>(nullptr) + String("cd", 0, 0)), "cd/3");
    EXPECT_EQ(shown("ab" + String()), "ab/3");
}

TEST(BasicString, ArgumentsMayPointIntoTheString)
{
    String lString("abcdef", 0, 1);
    lString += lString.c_str() + 3; // grows, and the old buffer is read afterwards
    EXPECT_EQ(shown(lString), "abcdefdef/11");
    lString += lString.c_str() + 8;
    EXPECT_EQ(shown(lString), "abcdefdeff/11");
    lString = lString.c_str() + 1;
    EXPECT_EQ(shown(lString), "bcdefdeff/11");
    String const& lSame = lString;
    lString = lSame;
    EXPECT_TRUE(lString.copy(lString.c_str() + 2, 5, 1));
    EXPECT_EQ(shown(lString), "defde/11");
    EXPECT_TRUE(lString.replace(lString.c_str() + 3, lString.c_str(), 0)); // "de" by "defde", which grows
    EXPECT_EQ(shown(lString), "defdefdefde/12");
}

TEST(BasicString, ResizeKeepsWholeCharacters)
{
    struct
    {
        char const* mText;
        unsigned int mMaxSize;
        char const* mExpected;
        bool mResult;
    } const ROWS[] = {{"abc", 9, "abc/9", true}, {"abc", 4, "abc/4", true},   {"abc", 3, "ab/3", true},
                      {"abc", 1, "/1", true},    {"abc", 0, "/1", true},      {HIRAGANA, 3, "/3", true},
                      {"", 5, "/5", true},       {"\x80\x80", 2, "/2", false}};
    for (auto const& lRow : ROWS)
    {
        String lString(lRow.mText, 0, 0);
        EXPECT_EQ(lString.resizeMax(lRow.mMaxSize), lRow.mResult) << lRow.mText;
        EXPECT_EQ(shown(lString), lRow.mExpected);
        EXPECT_EQ(lString.c_str() == &EMPTY_CHAR, lRow.mMaxSize <= 1);
        lString += "xyz"; // the buffer it has now can be given back
        EXPECT_TRUE(lString.resizeMax(1));
    }
}

TEST(BasicString, CopyRespectsCapacityModeAndOrder)
{
    struct
    {
        unsigned int mMaxSize;
        int mExpandMode;
        char const* mText;
        unsigned int mMaxBytes;
        int mMode;
        bool mResult;
        char const* mExpected;
    } const ROWS[] = {{4, 0, "uvwxyz", STR_ALL, 0, false, "abc/4"},
                      {4, 0, "uvwxyz", STR_ALL, 1, true, "uvw/4"},
                      {4, 0, "uvwxyz", 2, 0, true, "uv/4"},
                      {4, 1, "uvwxyz", STR_ALL, 0, true, "uvwxyz/7"},
                      {4, 2, "uvwxyz", STR_ALL, 0, false, "abc/4"},
                      {4, 1, "uvwxyz", 5, 1, true, "uvwxy/6"},
                      {4, 1, nullptr, STR_ALL, 0, false, "abc/4"},
                      {4, 1, "uvwxyz", 0, 0, true, "abc/4"},
                      {4, 0, "\xE3\x81\x82\xE3\x81\x82", STR_ALL, 1, true, "\xE3\x81\x82/4"},
                      {4, 0, "u\x80", STR_ALL, 1, false, "abc/4"},
                      {4, 1,
                       "uvw\x80"
                       "xyz",
                       STR_ALL, 1, false, "abc/8"}, // grown, and then refused
                      {4, 0, "", STR_ALL, 0, true, "/4"}};
    for (auto const& lRow : ROWS)
    {
        String lString("abc", lRow.mMaxSize, lRow.mExpandMode);
        EXPECT_EQ(lString.copy(lRow.mText, lRow.mMaxBytes, lRow.mMode), lRow.mResult) << lRow.mExpected;
        EXPECT_EQ(shown(lString), lRow.mExpected);
    }
    for (String lString : {String(), String(1, 0)}) // capacity 1, shared and own
    {
        EXPECT_TRUE(lString.copy("", STR_ALL, 0));
        EXPECT_TRUE(lString.copy("\x80", STR_ALL, 1));
        EXPECT_FALSE(lString.copy("x", STR_ALL, 0));
        EXPECT_TRUE(lString.copy("x", 0, 0));
        EXPECT_EQ(shown(lString), "/1");
    }
    EXPECT_EQ(EMPTY_CHAR, 0);
}

TEST(BasicString, ReplaceGrowsInExpandModeOnly)
{
    struct
    {
        char const* mText;
        int mExpandMode;
        char const* mPattern;
        char const* mReplacement;
        int mMode;
        bool mResult;
        char const* mExpected;
    } const ROWS[] = {{"a\\b\\c", 0, "\\", "/", 0, true, "a/b/c/6"},
                      {"a-b-c", 1, "-", "<>", 0, true, "a<>b<>c/8"},
                      {"a-b-c", 0, "-", "<>", 0, false, "a<>b/6"},
                      {"a-b-c", 0, "-", "<>", 1, true, "a<>b</6"},
                      {"a--b", 1, "--", "+", 0, true, "a+b/5"},
                      {"a-b-c", 1, "-", "", 0, true, "a/6"},
                      {"a-b-c", 1, nullptr, "+", 0, false, "a-b-c/6"},
                      {"a-b-c", 1, "-", nullptr, 0, false, "a-b-c/6"},
                      {"abc", 0, "", "+", 0, true, "abc/4"}};
    for (auto const& lRow : ROWS)
    {
        String lString(lRow.mText, 0, lRow.mExpandMode);
        EXPECT_EQ(lString.replace(lRow.mPattern, lRow.mReplacement, lRow.mMode), lRow.mResult) << lRow.mExpected;
        EXPECT_EQ(shown(lString), lRow.mExpected);
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
        lString = "";
        lString += "";
        EXPECT_TRUE(lString.copy("", STR_ALL, 0) && lString.copy("x", STR_ALL, 1));
        EXPECT_TRUE(lString.replace("a", "b", 0));
        EXPECT_TRUE(lString.resizeMax(0));
        EXPECT_EQ(lString.c_str(), &EMPTY_CHAR);
    };
    std::thread lOther(lWork);
    lWork();
    lOther.join();
}

} // namespace
