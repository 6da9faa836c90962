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
    } const ROWS[] = {{"", 0, 0},
                      {"\xEF\xBB\xBFx", 3, 3},
                      {"\xEF\xBB", 0, STR_ERROR},
                      {"\xE3\x81", 0, STR_ERROR},
                      {"\xF0\x9F\x98x", 0, STR_ERROR},
                      {"\xED\xA0\x80", 3, 3},
                      {"\xF7\xBF\xBF\xBF", 4, 4}};
    for (auto const& lRow : ROWS)
    {
        bool const lHasMark = std::strncmp(lRow.mText, "\xEF\xBB\xBF", 3) == 0;
        bool lFirst = !lHasMark;
        bool lSecond = !lHasMark;
        EXPECT_EQ(strCharBytesBase<char>(lRow.mText, &lFirst), lRow.mBytes) << lRow.mText;
        EXPECT_EQ(t_charlen<char>(lRow.mText, &lSecond), lRow.mLength) << lRow.mText;
        EXPECT_TRUE(lFirst == lHasMark && lSecond == lHasMark) << lRow.mText;
    }
    bool lFlag = true;
    EXPECT_TRUE(t_charlen<char>(nullptr, &lFlag) == 0 && lFlag);
    EXPECT_TRUE(strCharBytesBase<char>(nullptr, &lFlag) == 0 && !lFlag);
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
    EXPECT_EQ(getNearCharIndex<char>(nullptr, 0, 1), STR_ERROR);
    EXPECT_EQ(getNearCharIndex("a\x80", 1, 1), 1U);
    EXPECT_EQ(getNearCharIndex("a\x80", 2, 1), STR_ERROR);
}

// Every capacity, limit and mode on good text: the longest run of whole characters, or nothing.
TEST(String, CopiesKeepCharactersWholeForEveryCapacityAndLimit)
{
    unsigned int const lLength = static_cast<unsigned int>(std::strlen(MIXED));
    for (unsigned int lCase = 0; lCase < 14 * 13 * 2; ++lCase)
    {
        unsigned int const lSize = lCase % 14;
        unsigned int const lLimit = lCase / 14 % 13 == 0 ? STR_ALL : lCase / 14 % 13;
        int const lMode = static_cast<int>(lCase / (14 * 13));
        unsigned int const lWanted = std::min(lLimit, lLength);
        unsigned int const lCut = getNearCharIndex(MIXED, lMode == 1 ? std::min(lWanted, lSize - 1) : lWanted, 1);
        std::string const lGood = std::to_string(lCut + 1) + ":" + std::string(MIXED, lCut) + "$";
        std::string const lExpected = lSize == 0                      ? std::to_string(lWanted + 1) + ":"
                                      : lMode == 1 || lSize > lWanted ? lGood
                                                                      : "-1:";
        EXPECT_EQ(shown([&](char* npTo) { return copyStrBase(npTo, lSize, MIXED, lLimit, lMode); }), lExpected);
        EXPECT_EQ(shown([&](char* npTo) { return copyGeneral(npTo, lSize, 0, MIXED, 0, lLimit, lMode); }), lExpected);
        if (lMode == 0 && lSize != 0)
        {
            EXPECT_EQ(shown([&](char* npTo) { return t_strncpy(npTo, lSize, MIXED, lLimit); }), lExpected);
        }
    }
}

TEST(String, WritersTakeTheirStepsInOrder)
{
    static char const* const MESSED = "\x80\x80z";
    struct
    {
        char const* mExpected;
        unsigned int (*mCall)(char*);
    } const ROWS[] = {
        {"-1:", [](char* npTo) { return copyStrBase<char>(npTo, 16, nullptr, 0, 0); }},
        {"0:", [](char* npTo) { return copyStrBase(npTo, 16, "abc", 0, 0); }},
        {"1:", [](char*) { return copyStrBase<char>(nullptr, 0, "", 5, 0); }},
        {"-1:", [](char*) { return copyStrBase<char>(nullptr, 1, "abc", 5, 1); }},
        {"1:$", [](char* npTo) { return copyStrBase(npTo, 16, "", 100, 0); }},
        {"1:$", [](char* npTo) { return copyStrBase(npTo, 1, "", 5, 0); }},
        {"1:$", [](char* npTo) { return copyStrBase(npTo, 1, MESSED, 5, 1); }},
        {"-1:", [](char* npTo) { return copyStrBase(npTo, 1, "a", 5, 2); }},
        {"-1:", [](char* npTo) { return copyStrBase(npTo, 9, MESSED, 1, 0); }},
        {"1:$", [](char* npTo) { return copyStrBase(npTo, 9, "a\xFF\x80", 2, 0); }},
        {"-1:", [](char* npTo) { return copyStrBase(npTo, 9, "a\x80z", STR_ALL, 1); }},
        {"4:a\x80z$", [](char* npTo) { return copyStrBase(npTo, 9, "a\x80z", STR_ALL, 0); }},
        {"-1:", [](char* npTo) { return t_strncpy<char>(npTo, 0, nullptr, 5); }},
        {"1:$", [](char* npTo) { return t_strncpy<char>(npTo, 1, nullptr, 5); }},
        {"1:$", [](char* npTo) { return t_strncpy<char>(npTo, 1, "abc", 0); }},
        {"3:", [](char* npTo) { return copyGeneral<char>(npTo, 9, 3, nullptr, 0, 0, 0); }},
        {"-1:", [](char* npTo) { return copyGeneral<char>(npTo, 9, 3, nullptr, 0, 1, 0); }},
        {"-1:", [](char* npTo) { return copyGeneral(npTo, 9, 3, "xyz", 4, STR_ALL, 0); }},
        {"6:", [](char*) { return copyGeneral<char>(nullptr, 0, 3, "xyz", 1, STR_ALL, 0); }},
        {"-1:", [](char*) { return copyGeneral<char>(nullptr, 9, 3, "xyz", 1, STR_ALL, 0); }},
        {"6:###yz$", [](char* npTo) { return copyGeneral(npTo, 6, 3, "xyz", 1, STR_ALL, 0); }},
        {"-1:", [](char* npTo) { return copyGeneral(npTo, 6, 3, "xyz", 0, STR_ALL, 0); }},
        {"6:###xy$", [](char* npTo) { return copyGeneral(npTo, 6, 3, "xyz", 0, STR_ALL, 1); }},
        {"4:###$", [](char* npTo) { return copyGeneral(npTo, 4, 3, "xyz", 0, STR_ALL, 1); }},
        {"-1:", [](char* npTo) { return copyGeneral(npTo, 4, 3, "xyz", 0, STR_ALL, 0); }},
        {"-1:", [](char* npTo) { return copyGeneral(npTo, 4, 5, "xyz", 0, STR_ALL, 1); }},
        {"6:#####$", [](char* npTo) { return copyGeneral(npTo, 4, 5, "xyz", 3, STR_ALL, 0); }},
        {"2:", [](char* npTo) { return copyGeneral(npTo, 9, 3, MESSED, 0, 1, 0); }},
        {"-1:", [](char* npTo) { return copyGeneral(npTo, 9, 3, MESSED, 0, STR_ALL, 1); }},
        {"4:007$", [](char* npTo) { return formatStr<char>(npTo, 4, "%03u", 7U); }},
        {"-1:00$", [](char* npTo) { return formatStr<char>(npTo, 3, "%03u", 7U); }},
        {"-1:", [](char* npTo) { return formatStr<char>(npTo, 0, "%03u", 7U); }},
        {"-1:", [](char* npTo) { return t_strrev(npTo, 11, MIXED, 0); }},
        {"12:z\xF0\x9F\x98\x80\xE3\x81\x82\xC3\xA9\x61$", [](char* npTo) { return t_strrev(npTo, 12, MIXED, 0); }},
        {"3:cb$", [](char* npTo) { return t_strrev(npTo, 3, "abc", 1); }},
        {"3:z\xE3$\x82", [](char* npTo) { return t_strrev(npTo, 3, "\xE3\x81\x82z", 1); }},
        {"2:z$", [](char* npTo) { return t_strrev(npTo, 2, "\xE3\x81\x82z", 1); }},
        {"-1:", [](char* npTo) { return t_strrev(npTo, 0, "abc", 1); }},
        {"-1:", [](char* npTo) { return t_strrev(npTo, 9, "a\x80", 1); }},
        {"1:$", [](char* npTo) { return t_strrev<char>(npTo, 9, nullptr, 0); }},
        {"-1:", [](char* npTo) { return reverseStrBase<char>(npTo, 9, nullptr, 0); }},
        {"12:", [](char*) { return reverseStrBase<char>(nullptr, 0, MIXED, 0); }},
        {"-1:", [](char*) { return reverseStrBase<char>(nullptr, 12, MIXED, 0); }},
        {"6:a+b+c$", [](char* npTo) { return replaceStr(npTo, 20, "a-b-c", "-", "+", 0); }},
        {"2:a$", [](char* npTo) { return replaceStr(npTo, 20, "a-b-c", "-", "", 0); }},
        {"3:ba$", [](char* npTo) { return replaceStr(npTo, 20, "aaa", "aa", "b", 0); }},
        {"4:abc$", [](char* npTo) { return replaceStr(npTo, 20, "abc", "", "+", 0); }},
        {"0:", [](char* npTo) { return replaceStr(npTo, 20, "", "", "+", 0); }},
        {"1:$", [](char* npTo) { return replaceStr(npTo, 20, "", "x", "+", 0); }},
        {"8:", [](char*) { return replaceStr<char>(nullptr, 0, "a-b-c", "-", "<>", 0); }},
        {"-1:a<>b<>$", [](char* npTo) { return replaceStr(npTo, 7, "a-b-c", "-", "<>", 0); }},
        {"5:a<>b$", [](char* npTo) { return replaceStr(npTo, 5, "a-b-c", "-", "<>", 1); }},
        {"-1:", [](char* npTo) { return replaceStr<char>(npTo, 20, "a", "a", nullptr, 0); }}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(shown(lRow.mCall), lRow.mExpected) << "row " << &lRow - ROWS;
    }
}

TEST(String, TruncateAndEraseWorkInPlace)
{
    struct
    {
        char const* mText;
        unsigned int (*mCall)(char*);
        unsigned int mResult;
        char const* mLeft;
    } const ROWS[] = {{"z\xE3\x81\x82", [](char* npText) { return truncateStr(npText, 3); }, 2, "z"},
                      {"abc", [](char* npText) { return truncateStr(npText, 9); }, 4, "abc"},
                      {"abc", [](char* npText) { return truncateStr(npText, 0); }, 1, ""},
                      {"\x80z", [](char* npText) { return truncateStr(npText, 1); }, STR_ERROR, "\x80z"},
                      {"abcdef", [](char* npText) { return eraseStrSpan(npText, 0, 2); }, 5, "cdef"},
                      {"abcdef", [](char* npText) { return eraseStrSpan(npText, 2, 2); }, 5, "abef"},
                      {"abcdef", [](char* npText) { return eraseStrSpan(npText, 1, STR_ALL); }, 2, "a"},
                      {"abcdef", [](char* npText) { return eraseStrSpan(npText, 6, 1); }, 7, "abcdef"},
                      {"abcdef", [](char* npText) { return eraseStrSpan(npText, 7, 1); }, STR_ERROR, "abcdef"},
                      {"abcdef", [](char* npText) { return eraseStrSpan(npText, 0, 6); }, 1, ""}};
    for (auto const& lRow : ROWS)
    {
        std::string lText(lRow.mText);
        EXPECT_EQ(lRow.mCall(&lText[0]), lRow.mResult);
        EXPECT_STREQ(lText.c_str(), lRow.mLeft);
    }
    EXPECT_TRUE(truncateStr<char>(nullptr, 1) == STR_ERROR && eraseStrSpan<char>(nullptr, 0, 1) == STR_ERROR);
}

TEST(String, ForwardSearches)
{
    char const* const TWO = "\xE3\x81\x82\xE3\x81\x84";
    struct
    {
        char const* mText;
        char const* mPattern;
        unsigned int mStart, mResult, mEnd;
    } const ROWS[] = {{"abcabc", "bc", 0, 1, 3},
                      {"abcabc", "bc", 2, 4, 6},
                      {"abc", "x", 0, STR_ERROR, STR_ERROR},
                      {"abc", "a", 4, STR_ERROR, UNTOUCHED},
                      {"abc", "", 1, 3, STR_ERROR},
                      {"", "a", 0, STR_ERROR, STR_ERROR},
                      {TWO, TWO + 3, 1, 3, 6},
                      {TWO, "", 4, STR_ERROR, STR_ERROR}, // no lead byte left
                      {"a\x80z", "z", 0, 2, 3},           // a malformed byte is stepped over, and never found
                      {"a\x80z", "\x80", 0, STR_ERROR, STR_ERROR},
                      {TWO, TWO + 1, 0, STR_ERROR, STR_ERROR},
                      {nullptr, "a", 0, STR_ERROR, STR_ERROR},
                      {"a", nullptr, 0, STR_ERROR, STR_ERROR}};
    for (auto const& lRow : ROWS)
    {
        unsigned int lEnd = UNTOUCHED;
        EXPECT_EQ(internal::findStr(lRow.mText, lRow.mPattern, lRow.mStart, &lEnd), lRow.mResult);
        EXPECT_EQ(lEnd, lRow.mEnd);
    }
    EXPECT_EQ(t_strstr<char>(nullptr, ""), 0U);
}

TEST(String, BackwardSearchesStepFromMatchToMatch)
{
    using Found = std::vector<unsigned int>;
    auto const lMatches = [](char const* npText, char const* npPattern, unsigned int nBefore)
    {
        Found lFound;
        do
        {
            lFound.push_back(findReverseStr(npText, npPattern, nBefore, &nBefore));
        } while (nBefore != STR_ERROR);
        return lFound;
    };
    EXPECT_EQ(lMatches("ab-ab-ab", "ab", STR_ALL), (Found{7, 4, 1}));
    EXPECT_EQ(lMatches("ab-ab-ab", "ab", 6), (Found{4, 1}));
    EXPECT_EQ(lMatches("aab", "ab", 99), (Found{2, STR_ERROR}));
    EXPECT_EQ(lMatches("\xE3\x81\x82\xE3\x81\x84\xE3\x81\x82", "\xE3\x81\x82", STR_ALL), (Found{8, 2}));
    EXPECT_EQ(lMatches("", "a", STR_ALL), Found{STR_ERROR});
    EXPECT_EQ(lMatches("", "a", 0), Found{STR_ERROR});
    EXPECT_EQ(lMatches("a\x80", "a", STR_ALL), Found{STR_ERROR});
    EXPECT_EQ(lMatches("a", nullptr, 0), Found{STR_ERROR});

    unsigned int lBefore = UNTOUCHED;
    EXPECT_TRUE(findReverseStr("abc", "", STR_ALL, &lBefore) == 3 && lBefore == 2);
    EXPECT_TRUE(findReverseChar("a.b.c.", ".xyz", 4, &lBefore) == 3 && lBefore == 2);
    EXPECT_EQ(findReverseChar("\xEF\xBB\xBF", "\xEF\xBB\xBF", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseChar("abc", "\x80", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseChar("abc", "\xE3\x81", STR_ALL, nullptr), 3U);
}

TEST(String, ScratchRowsLimitTheText)
{
    std::string lText(WorkingBuffer<char>::CAPACITY, 'x');
    EXPECT_EQ(eraseStrSpan(&lText[0], 0, 1), STR_ERROR);
    EXPECT_EQ(findReverseStr(lText.c_str(), "x", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseStr("x", lText.c_str(), STR_ALL, nullptr), STR_ERROR);
    lText.pop_back();
    EXPECT_EQ(findReverseStr(lText.c_str(), lText.c_str(), STR_ALL, nullptr), lText.size() - 1);
    EXPECT_EQ(eraseStrSpan(&lText[0], 0, 1), lText.size());
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
                      {nullptr, "a", 0, 0},
                      {"a\x80z", "az", 1, 0},
                      {"x\x80z", "az", 0, 2},
                      {"zxy", "z\x80y", 1, 0},
                      {"xxy", "z\x80y", 0, 3}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(t_strspn(lRow.mText, lRow.mSet), lRow.mSpan) << "row " << &lRow - ROWS;
        EXPECT_EQ(t_strcspn(lRow.mText, lRow.mSet), lRow.mOther) << "row " << &lRow - ROWS;
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

TEST(RawMemory, NullPointersDoNothing)
{
    char lBytes[] = "abcdef";
    moveMemory(lBytes + 1, lBytes, 4);
    EXPECT_STREQ(lBytes, "aabcdf");
    copyMemory(nullptr, lBytes, 1);
    copyMemory(lBytes, nullptr, 1);
    moveMemory(nullptr, lBytes, 1);
    zeroMemory(nullptr, 1);
    fillMemory(lBytes + 2, 3, '#');
    EXPECT_STREQ(lBytes, "aa###f");
    EXPECT_TRUE(compareMemory(lBytes, "aab", 2) && !compareMemory(lBytes, "ab", 2));
    EXPECT_FALSE(compareMemory(nullptr, lBytes, 0));
}

} // namespace
