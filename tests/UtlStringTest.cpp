#include "UtlString.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "UtlRawMemory.h"
#include "UtlStaticBuffer.h"
#include "internal/UtlStringSearch.h"

using namespace utl;

namespace
{

unsigned int const TOO_LONG = WorkingBuffer<char>::CAPACITY;
unsigned int const UNTOUCHED = 0xABCD;
char const* const MIXED = "a\xC3\xA9\xE3\x81\x82\xF0\x9F\x98\x80z"; // characters at 0, 1, 3, 6, 10; 11 bytes

// What a call leaves in a buffer of '#': its result, a colon and the buffer up to the last byte that was touched.
template <class Call>
std::string shown(Call nCall)
{
    char lBuffer[65];
    std::memset(lBuffer, '#', sizeof(lBuffer));
    unsigned int const lResult = nCall(lBuffer);
    std::string lText(lBuffer, 64);
    lText.erase(lText.find_last_not_of('#') + 1);
    for (std::size_t lNul = lText.find('\0'); lNul != std::string::npos; lNul = lText.find('\0'))
    {
        lText[lNul] = '$';
    }
    return std::to_string(static_cast<int>(lResult)) + ":" + lText;
}

// --- Characters ---

TEST(String, CharacterSizesAgreeWithTheCodePoint)
{
    // A lead with its tail is whole where the code point needs as many bytes as there are, whatever else it is.
    for (unsigned int lLead = 0x80; lLead <= 0xFF; ++lLead)
    {
        for (unsigned int lSecond = 0; lSecond <= 0xFF; ++lSecond)
        {
            char const lText[] = {static_cast<char>(lLead), static_cast<char>(lSecond), '\xBF', '\x80', 0};
            unsigned int const lSize = lLead < 0xE0 ? 2 : (lLead < 0xF0 ? 3 : 4);
            unsigned int const lCode = lSize == 2   ? (lLead & 0x1F) << 6 | (lSecond & 0x3F)
                                       : lSize == 3 ? (lLead & 0x0F) << 6 | (lSecond & 0x3F)
                                                    : (lLead & 0x07) << 6 | (lSecond & 0x3F);
            unsigned int const MINIMUM[] = {0, 0, 0x80, 0x800 >> 6, 0x10000 >> 12};
            bool const lIsLead = lLead >= 0xC0 && lLead < 0xF8;
            bool const lIsWhole = (lSecond & 0xC0) == 0x80 && lCode >= MINIMUM[lSize];
            ASSERT_EQ(strCharBytesBase<char>(lText, nullptr), lIsLead ? (lIsWhole ? lSize : 0U) : STR_ERROR) << lLead;
            ASSERT_EQ(t_charlen<char>(lText, nullptr), lIsLead && lIsWhole ? lSize : STR_ERROR) << lLead;
        }
    }
}

TEST(String, CharacterSizesOfCutTextAndTheMark)
{
    struct
    {
        char const* mText;
        unsigned int mBytes, mLength;
        bool mIsBom;
    } const ROWS[] = {{"", 0, 0, false},
                      {"\xEF\xBB\xBFx", 3, 3, true},
                      {"\xEF\xBB", 0, STR_ERROR, false},
                      {"\xE3\x81", 0, STR_ERROR, false},
                      {"\xF0\x9F\x98", 0, STR_ERROR, false},
                      {"\xF0\x9F\x98x", 0, STR_ERROR, false},
                      {"\xED\xA0\x80", 3, 3, false},
                      {"\xF7\xBF\xBF\xBF", 4, 4, false}};
    for (auto const& lRow : ROWS)
    {
        bool lFirst = !lRow.mIsBom;
        bool lSecond = !lRow.mIsBom;
        EXPECT_EQ(strCharBytesBase<char>(lRow.mText, &lFirst), lRow.mBytes) << lRow.mText;
        EXPECT_EQ(t_charlen<char>(lRow.mText, &lSecond), lRow.mLength) << lRow.mText;
        EXPECT_TRUE(lFirst == lRow.mIsBom && lSecond == lRow.mIsBom) << lRow.mText;
    }
    bool lFlag = true;
    EXPECT_EQ(t_charlen<char>(nullptr, &lFlag), 0U);
    EXPECT_TRUE(lFlag);
    EXPECT_EQ(strCharBytesBase<char>(nullptr, &lFlag), 0U);
    EXPECT_FALSE(lFlag);
}

TEST(String, NearCharIndexMovesToBoundaries)
{
    unsigned int const DOWN[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11, 11};
    unsigned int const UP[] = {0, 1, 3, 3, 6, 6, 6, 10, 10, 10, 10, 11, 11};
    for (unsigned int lIndex = 0; lIndex <= 12; ++lIndex)
    {
        EXPECT_EQ(getNearCharIndex(MIXED, lIndex, 1), DOWN[lIndex]) << lIndex;
        EXPECT_EQ(getNearCharIndex(MIXED, lIndex, 0), UP[lIndex]) << lIndex;
    }
    EXPECT_EQ(getNearCharIndex("", 1, 1), 0U);
    EXPECT_EQ(getNearCharIndex<char>(nullptr, 0, 1), STR_ERROR);
    EXPECT_EQ(getNearCharIndex("a\x80", 1, 1), 1U);
    EXPECT_EQ(getNearCharIndex("a\x80", 2, 1), STR_ERROR);
}

// --- Copies ---

// Every capacity, limit and mode on good text: the longest run of whole characters, or nothing.
TEST(String, CopiesKeepCharactersWholeForEveryCapacityAndLimit)
{
    unsigned int const lLength = static_cast<unsigned int>(std::strlen(MIXED));
    for (unsigned int lCase = 0; lCase < 14 * 13 * 2; ++lCase)
    {
        unsigned int const lCapacity = lCase % 14;
        unsigned int const lLimit = lCase / 14 % 13 == 0 ? STR_ALL : lCase / 14 % 13;
        int const lMode = static_cast<int>(lCase / (14 * 13));
        unsigned int const lWanted = std::min(lLimit, lLength);
        unsigned int const lCut = getNearCharIndex(MIXED, lWanted, 1);
        unsigned int const lFit = getNearCharIndex(MIXED, std::min(lWanted, lCapacity - 1), 1);
        bool const lFits = lMode == 1 ? lCapacity > 0 : lCapacity > lWanted;
        std::string const lStored = std::string(MIXED, lMode == 1 ? lFit : lCut) + "$";
        std::string const lGood = std::to_string(lStored.size()) + ":" + lStored;
        std::string const lQuery = std::to_string(lWanted + 1) + ":";
        SCOPED_TRACE(std::to_string(lCapacity) + " " + std::to_string(lLimit) + " " + std::to_string(lMode));
        EXPECT_EQ(shown([&](char* lpTo) { return copyStrBase(lpTo, lCapacity, MIXED, lLimit, lMode); }),
                  lCapacity == 0 ? lQuery : (lFits ? lGood : "-1:"));
        EXPECT_EQ(shown([&](char* lpTo) { return copyGeneral(lpTo, lCapacity, 0, MIXED, 0, lLimit, lMode); }),
                  lCapacity == 0 ? lQuery : (lFits ? lGood : "-1:"));
        if (lMode == 0)
        {
            EXPECT_EQ(shown([&](char* lpTo) { return t_strncpy(lpTo, lCapacity, MIXED, lLimit); }),
                      lFits ? lGood : "-1:");
        }
    }
}

TEST(String, CopyStrBaseTakesItsStepsInOrder)
{
    struct
    {
        bool mHasDst;
        unsigned int mSize;
        char const* mSrc;
        unsigned int mMax;
        int mMode;
        char const* mExpected;
    } const ROWS[] = {{true, 16, nullptr, 0, 0, "-1:"},
                      {true, 16, "abc", 0, 0, "0:"},
                      {false, 0, "abc", 0, 0, "0:"},
                      {false, 0, "", 5, 0, "1:"},
                      {false, 1, "abc", 5, 1, "-1:"},
                      {true, 16, "", 100, 0, "1:$"},
                      {true, 1, "", 5, 0, "1:$"},
                      {true, 1, "a", 5, 1, "1:$"},
                      {true, 1, "a", 5, 2, "-1:"},
                      {true, 2, "\xE3\x81\x82", STR_ALL, 1, "1:$"},
                      {true, 9,
                       "\x80\x80"
                       "a",
                       1, 0, "-1:"},
                      {true, 9, "\xFF\x80", 1, 0, "-1:"},
                      {true, 9, "a\xFF\x80", 2, 0, "1:$"},
                      {true, 9, "a\x80z", STR_ALL, 1, "-1:"},
                      {true, 9, "a\x80z", STR_ALL, 0, "4:a\x80z$"}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(
            shown([&](char* lpTo)
                  { return copyStrBase(lRow.mHasDst ? lpTo : nullptr, lRow.mSize, lRow.mSrc, lRow.mMax, lRow.mMode); }),
            lRow.mExpected)
            << lRow.mSize << " " << (lRow.mSrc != nullptr ? lRow.mSrc : "null");
    }
    EXPECT_EQ(shown([](char* lpTo) { return t_strncpy<char>(lpTo, 0, nullptr, 5); }), "-1:");
    EXPECT_EQ(shown([](char* lpTo) { return t_strncpy<char>(lpTo, 1, nullptr, 5); }), "1:$");
    EXPECT_EQ(shown([](char* lpTo) { return t_strncpy<char>(lpTo, 1, "abc", 0); }), "1:$");
}

TEST(String, CopyGeneralAppends)
{
    struct
    {
        unsigned int mSize, mPos;
        char const* mSrc;
        unsigned int mSrcPos, mMax;
        int mMode;
        char const* mExpected;
    } const ROWS[] = {{9, 3, "xyz", 0, 0, 0, "3:"},
                      {9, 3, "xyz", 4, STR_ALL, 0, "-1:"},
                      {9, 3, nullptr, 0, 1, 0, "-1:"},
                      {0, 3, "xyz", 1, STR_ALL, 0, "6:"},
                      {9, 3, "xyz", 1, STR_ALL, 0, "6:###yz$"},
                      {6, 3, "xyz", 0, STR_ALL, 0, "-1:"},
                      {6, 3, "xyz", 0, STR_ALL, 1, "6:###xy$"},
                      {4, 3, "xyz", 0, STR_ALL, 1, "4:###$"},
                      {4, 3, "xyz", 0, STR_ALL, 0, "-1:"},
                      {4, 5, "xyz", 0, STR_ALL, 1, "-1:"},
                      {4, 5, "xyz", 3, STR_ALL, 0, "6:#####$"},
                      {9, 3, "\x80\x80", 0, 1, 0, "2:"},
                      {9, 0, "\x80\x80", 0, 1, 0, "-1:"},
                      {9, 3, "\x80", 0, STR_ALL, 1, "-1:"}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(
            shown([&](char* lpTo)
                  { return copyGeneral(lpTo, lRow.mSize, lRow.mPos, lRow.mSrc, lRow.mSrcPos, lRow.mMax, lRow.mMode); }),
            lRow.mExpected);
    }
    EXPECT_EQ(copyGeneral<char>(nullptr, 9, 0, "x", 0, 1, 0), STR_ERROR);
}

TEST(String, TruncateAndEraseWorkInPlace)
{
    auto const lTruncated = [](char const* npText, unsigned int nLength)
    {
        return shown(
            [&](char* lpText)
            {
                std::strcpy(lpText, npText);
                unsigned int const lResult = truncateStr(lpText, nLength);
                std::memset(lpText + std::strlen(lpText) + 1, '#', 32);
                return lResult;
            });
    };
    EXPECT_EQ(lTruncated("a\xE3\x81\x82", 3), "2:a$");
    EXPECT_EQ(lTruncated("abc", 9), "4:abc$");
    EXPECT_EQ(lTruncated("abc", 0), "1:$");
    EXPECT_EQ(lTruncated("\x80"
                         "bc",
                         2),
              "-1:\x80"
              "bc$");
    EXPECT_EQ(truncateStr<char>(nullptr, 1), STR_ERROR);

    struct
    {
        unsigned int mIndex, mCount;
        char const* mText;
        unsigned int mResult;
    } const ROWS[] = {
        {0, 2, "cdef", 5},   {2, 2, "abef", 5},           {4, STR_ALL, "abcd", 5}, {1, STR_ALL - 1, "a", 2},
        {6, 1, "abcdef", 7}, {7, 1, "abcdef", STR_ERROR}, {0, 6, "", 1},           {3, 0, "abcdef", 7}};
    for (auto const& lRow : ROWS)
    {
        char lText[] = "abcdef";
        EXPECT_EQ(eraseStrSpan(lText, lRow.mIndex, lRow.mCount), lRow.mResult) << lRow.mIndex;
        EXPECT_STREQ(lText, lRow.mText);
    }
    std::string lLong(TOO_LONG, 'x');
    EXPECT_EQ(eraseStrSpan(&lLong[0], 0, 1), STR_ERROR);
    lLong.pop_back();
    EXPECT_EQ(eraseStrSpan(&lLong[0], 0, 1), TOO_LONG - 1);
    EXPECT_EQ(eraseStrSpan<char>(nullptr, 0, 1), STR_ERROR);
}

TEST(String, FormatTellsWhereTextWasCut)
{
    EXPECT_EQ(shown([](char* lpTo) { return formatStr<char>(lpTo, 4, "%03u", 7U); }), "4:007$");
    EXPECT_EQ(shown([](char* lpTo) { return formatStr<char>(lpTo, 3, "%03u", 7U); }), "-1:00$");
    EXPECT_EQ(shown([](char* lpTo) { return formatStr<char>(lpTo, 0, "%03u", 7U); }), "-1:");
}

// --- Searches ---

TEST(String, ForwardSearches)
{
    struct
    {
        char const* mText;
        char const* mPattern;
        unsigned int mStart, mResult, mEnd;
    } const ROWS[] = {{"abcabc", "bc", 0, 1, 3},
                      {"abcabc", "bc", 2, 4, 6},
                      {"abcabc", "x", 0, STR_ERROR, STR_ERROR},
                      {"abc", "a", 4, STR_ERROR, UNTOUCHED},
                      {"abc", "", 1, 3, STR_ERROR},
                      {"", "a", 0, STR_ERROR, STR_ERROR},
                      {"\xE3\x81\x82\xE3\x81\x84", "\xE3\x81\x84", 1, 3, 6},
                      {"\xE3\x81\x82", "a", 2, STR_ERROR, STR_ERROR},
                      {"\xE3\x81\x82", "", 2, STR_ERROR, STR_ERROR},
                      {"a\x80"
                       "b",
                       "b", 0, 2, 3}, // malformed bytes are stepped over,
                      {"a\x80"
                       "b",
                       "\x80", 0, STR_ERROR, STR_ERROR}, // and never found
                      {"\xE3\x81\x82", "\x81\x82", 0, STR_ERROR, STR_ERROR},
                      {"a\xE3\x81", "\xE3", 0, STR_ERROR, STR_ERROR},
                      {nullptr, "a", 0, STR_ERROR, STR_ERROR},
                      {"a", nullptr, 0, STR_ERROR, STR_ERROR}};
    for (auto const& lRow : ROWS)
    {
        unsigned int lEnd = UNTOUCHED;
        EXPECT_EQ(internal::findStr(lRow.mText, lRow.mPattern, lRow.mStart, &lEnd), lRow.mResult);
        EXPECT_EQ(lEnd, lRow.mEnd);
    }
    EXPECT_EQ(t_strstr<char>(nullptr, ""), 0U);
    EXPECT_EQ(t_strstr<char>("abc", ""), 3U);
}

TEST(String, BackwardSearchesStepFromMatchToMatch)
{
    auto const lMatches = [](char const* npText, char const* npPattern, unsigned int nStart)
    {
        std::vector<unsigned int> lFound;
        unsigned int lBefore = nStart;
        do
        {
            lFound.push_back(findReverseStr(npText, npPattern, lBefore, &lBefore));
        } while (lBefore != STR_ERROR);
        return lFound;
    };
    using Found = std::vector<unsigned int>;
    EXPECT_EQ(lMatches("ab-ab-ab", "ab", STR_ALL), (Found{7, 4, 1}));
    EXPECT_EQ(lMatches("ab-ab-ab", "ab", 6), (Found{4, 1}));
    EXPECT_EQ(lMatches("aab", "ab", 99), (Found{2, STR_ERROR}));
    EXPECT_EQ(lMatches("\xE3\x81\x82\xE3\x81\x84\xE3\x81\x82", "\xE3\x81\x82", STR_ALL), (Found{8, 2}));
    EXPECT_EQ(lMatches("", "a", STR_ALL), Found{STR_ERROR});
    EXPECT_EQ(lMatches("", "a", 0), Found{STR_ERROR});
    EXPECT_EQ(lMatches("a\x80", "a", STR_ALL), Found{STR_ERROR});

    unsigned int lBefore = UNTOUCHED;
    EXPECT_EQ(findReverseStr("abc", "", STR_ALL, &lBefore), 3U);
    EXPECT_EQ(lBefore, 2U);
    EXPECT_EQ(findReverseStr<char>("abc", nullptr, STR_ALL, &lBefore), STR_ERROR);
    EXPECT_EQ(findReverseChar("a.b.c", ".xyz", STR_ALL, &lBefore), 3U);
    EXPECT_EQ(lBefore, 2U);
    EXPECT_EQ(findReverseChar("\xEF\xBB\xBF", "\xEF\xBB\xBF", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseChar("abc", "\x80", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseChar("abc", "\xE3\x81", STR_ALL, nullptr), 3U);

    std::string const lLong(TOO_LONG, 'x');
    EXPECT_EQ(findReverseStr(lLong.c_str(), "x", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseStr(lLong.c_str() + 1, "x", STR_ALL, nullptr), TOO_LONG - 2);
    EXPECT_EQ(findReverseStr("x", lLong.c_str(), STR_ALL, nullptr), STR_ERROR);
}

TEST(String, SpansAndTokens)
{
    struct
    {
        char const* mText;
        char const* mSet;
        unsigned int mSpan, mOther;
    } const ROWS[] = {{"aab", "a", 2, 0},
                      {"\xE3\x81\x82\xE3\x81\x84z", "z\xE3\x81\x82", 3, 0},
                      {"\xE3\x81\x84z", "\xE3\x81\x82z", 0, 3}, // a shared lead byte is no match
                      {"abc", "", 0, 3},
                      {"abc", nullptr, 0, 3},
                      {"", "a", 0, 0},
                      {nullptr, "a", 0, 0},
                      {"a\x80"
                       "b",
                       "ab", 1, 0},
                      {"x\x80"
                       "b",
                       "ab", 0, 2},
                      {"bxa",
                       "b\x80"
                       "a",
                       1, 0},
                      {"xxa",
                       "b\x80"
                       "a",
                       0, 3}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(t_strspn(lRow.mText, lRow.mSet), lRow.mSpan) << (lRow.mText != nullptr ? lRow.mText : "null");
        EXPECT_EQ(t_strcspn(lRow.mText, lRow.mSet), lRow.mOther) << (lRow.mText != nullptr ? lRow.mText : "null");
    }

    std::string lTokens;
    unsigned int lEnd = 0;
    char const* const TEXT = "//usr///local/lib/";
    for (unsigned int lBegin = 0; (lBegin = internal::findToken(TEXT, "/", lEnd, &lEnd)) != STR_ERROR;)
    {
        lTokens += std::string(TEXT + lBegin, lEnd - lBegin) + "|";
    }
    EXPECT_EQ(lTokens, "usr|local|lib|");
    EXPECT_EQ(lEnd, STR_ERROR);
    EXPECT_EQ(internal::findToken(TEXT, "/", lEnd, &lEnd), STR_ERROR);
}

// --- Reversal and replacement ---

TEST(String, ReversalKeepsCharactersWhole)
{
    std::string const lReversed("z\xF0\x9F\x98\x80\xE3\x81\x82\xC3\xA9"
                                "a");
    EXPECT_EQ(shown([](char* lpTo) { return t_strrev(lpTo, 12, MIXED, 0); }), "12:" + lReversed + "$");
    EXPECT_EQ(shown([](char* lpTo) { return t_strrev(lpTo, 11, MIXED, 0); }), "-1:");
    EXPECT_EQ(shown([](char* lpTo) { return t_strrev(lpTo, 0, MIXED, 1); }), "-1:");
    EXPECT_EQ(shown([](char* lpTo) { return t_strrev(lpTo, 3, "abc", 1); }), "3:cb$");
    EXPECT_EQ(shown([](char* lpTo) { return t_strrev(lpTo, 9, "a\x80", 1); }), "-1:");
    EXPECT_EQ(shown([](char* lpTo) { return t_strrev<char>(lpTo, 9, nullptr, 0); }), "1:$");
    EXPECT_EQ(shown([](char* lpTo) { return reverseStrBase<char>(lpTo, 9, nullptr, 0); }), "-1:");
    EXPECT_EQ(reverseStrBase<char>(nullptr, 0, MIXED, 0), 12U);
    EXPECT_EQ(reverseStrBase<char>(nullptr, 12, MIXED, 0), STR_ERROR);
    // The character that begins below the limit passes it, as the header warns.
    EXPECT_EQ(shown(
                  [](char* lpTo)
                  {
                      return t_strrev(lpTo, 3,
                                      "\xE3\x81\x82"
                                      "b",
                                      1);
                  }),
              "3:b\xE3$\x82");
}

TEST(String, ReplacementReplacesAllUnlessItIsEmpty)
{
    struct
    {
        unsigned int mSize;
        char const* mSrc;
        char const* mPattern;
        char const* mReplacement;
        int mMode;
        char const* mExpected;
    } const ROWS[] = {{20, "a-b-c", "-", "+", 0, "6:a+b+c$"},
                      {20, "a-b-c", "-", "", 0, "2:a$"},
                      {20, "-a-", "-", "<>", 0, "6:<>a<>$"},
                      {20, "aaa", "aa", "b", 0, "3:ba$"},
                      {20, "abc", "", "+", 0, "4:abc$"},
                      {20, "", "", "+", 0, "0:"},
                      {20, "", "x", "+", 0, "1:$"},
                      {0, "a-b-c", "-", "<>", 0, "8:"},
                      {7, "a-b-c", "-", "<>", 0, "-1:a<>b<>$"},
                      {5, "a-b-c", "-", "<>", 1, "5:a<>b$"},
                      {20, "a", "a", nullptr, 0, "-1:"},
                      {20, nullptr, "a", "a", 0, "-1:"}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(
            shown([&](char* lpTo)
                  { return replaceStr(lpTo, lRow.mSize, lRow.mSrc, lRow.mPattern, lRow.mReplacement, lRow.mMode); }),
            lRow.mExpected);
    }
}

TEST(RawMemory, NullPointersDoNothing)
{
    char lBytes[] = "abcdef";
    moveMemory(lBytes + 1, lBytes, 4);
    EXPECT_STREQ(lBytes, "aabcdf");
    copyMemory(nullptr, lBytes, 1);
    copyMemory(lBytes, nullptr, 1);
    moveMemory(nullptr, lBytes, 1);
    fillMemory(nullptr, 1, 1);
    zeroMemory(nullptr, 1);
    fillMemory(lBytes + 2, 2, 0xFF);
    EXPECT_STREQ(lBytes, "aa\xFF\xFF"
                         "df");
    EXPECT_TRUE(compareMemory(lBytes, "aa", 2));
    EXPECT_FALSE(compareMemory(lBytes, "ab", 2));
    EXPECT_FALSE(compareMemory(nullptr, lBytes, 0));
}

} // namespace
