#include "UtlConvertAttrib.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/Said.h"

#include "UtlStaticBuffer.h"

using utl::test::said;
using namespace utl;

namespace
{

// Folds and numbers of any text: see tests/fuzz/AttribFuzz.cpp and fuzz/NumberFuzz.cpp, which the tests run too.

unsigned int const SIZE = 64;

std::string fold(char const* npText, PairAttrib const* npTable, int nReverse)
{
    char lBuffer[SIZE] = "";
    unsigned int const lSize = convertAttrib(lBuffer, SIZE, npText, npTable, nReverse, 0);
    return lSize == std::strlen(lBuffer) + 1 ? lBuffer : "failed: " + std::to_string(static_cast<int>(lSize));
}

TEST(ConvertAttrib, FoldsThatAreNotForAnyText)
{
    PairAttrib const OWN[] = {{"abc", nullptr, "1", nullptr},   {"ab", nullptr, "\xE3\x81", nullptr},
                              {"\x80", nullptr, "2", nullptr},  {"é", nullptr, "3456789", nullptr},
                              {"n", nullptr, nullptr, nullptr}, {}};
    struct
    {
        PairAttrib const* mpRows;
        int mReverse;
        char const* mpText;
        char const* mpFolded;
    } const CASES[] = {{HANKAKU_ZENKAKU_PAIR, 7, "ＡガＢ", "AｶﾞB"},
                       {HANKAKU_ZENKAKU_PAIR + 1, 0, "1x", "１ｘ"},   // as a table of others
                       {NODAKUON_DAKUON_PAIR, 0, "ｶｷﾎｳ", "ｶﾞｷﾞﾎﾞｳﾞ"}, // the only texts that are safe this way
                       {NODAKUON_DAKUON_PAIR, 0, "ｶあ", "failed: -1"},
                       {NODAKUON_HANDAKUON_PAIR, 0, "ﾊハ", "failed: -1"},
                       {OWN, 0, "abcéx\x80y", "134567892y"}, // the x goes: a stray byte stands behind it
                       {OWN, 0, "xab", "x\xE3\x81"},
                       {OWN, 0, "n", "failed: -1"},   // nothing to write
                       {OWN, 1, "1x", "failed: -1"}}; // the null right text matches everywhere: n for ever
    for (auto const& lCase : CASES)
    {
        EXPECT_EQ(fold(lCase.mpText, lCase.mpRows, lCase.mReverse), lCase.mpFolded) << lCase.mpText;
    }
    char lShort[8];
    EXPECT_EQ(convertAttrib<char>(lShort, 8, "abcéx", OWN, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lShort, 8, "abcéx", OWN, 0, 1), 8U);
    EXPECT_STREQ(lShort, "1345678");
}

TEST(ConvertAttrib, LimitsAndBadArguments)
{
    char lText[16] = "ab";
    EXPECT_EQ(convertAttrib<char>(lText, 16, nullptr, LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lText, 16, "a", nullptr, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(nullptr, 16, "a", LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lText, 16, lText, LOWER_UPPER_PAIR, 0, 0), 3U);
    EXPECT_STREQ(lText, "AB");
    EXPECT_EQ(convertAttrib<char>(lText, 16, "\x80", LOWER_UPPER_PAIR, 0, 0), 1U);
    EXPECT_STREQ(lText, "AB"); // nothing stored, not even a terminator
    unsigned short lValue = 0;
    EXPECT_EQ("nn", said({strToInt<unsigned short, char>(nullptr, "1", 10),
                          strToInt<unsigned short, char>(&lValue, nullptr, 10)}));

    unsigned int const CAPACITY = WorkingBuffer<char>::CAPACITY;
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, std::string(CAPACITY - 1, 'a').c_str(), LOWER_UPPER_PAIR, 0, 0),
              CAPACITY);
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, std::string(CAPACITY, 'a').c_str(), LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    // What nothing else would end.
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, "か", NODAKUON_DAKUON_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lText, 9, "か", NODAKUON_DAKUON_PAIR, 0, 1), STR_ERROR);
    EXPECT_STREQ(lText, "ﾞﾞ");
}

TEST(ConvertAttrib, TrimmingTakesWholeCharactersFromTheEnd)
{
    struct
    {
        char const* mpText;
        char const* mpSet;
        char const* mpTrimmed; // null: fails, unchanged
    } const CASES[] = {{"a b \t\v\r\n\f　", nullptr, "a b"},
                       {" 　 ", "", ""},
                       {"", nullptr, ""},
                       {"dir//\\", "\\/", "dir"},
                       {"あいい", "い", "あ"},
                       {"a ", "/", "a "},
                       {"ぁ", "あ", "ぁ"}, // shares two bytes
                       {"a \x80 ", nullptr, nullptr}};
    for (auto const& lCase : CASES)
    {
        char lText[SIZE];
        std::strcpy(lText, lCase.mpText);
        char const* const lpExpected = lCase.mpTrimmed != nullptr ? lCase.mpTrimmed : lCase.mpText;
        unsigned int const lSize = static_cast<unsigned int>(std::strlen(lpExpected)) + 1;
        EXPECT_EQ(trimStrRight(lText, lCase.mpSet), lCase.mpTrimmed != nullptr ? lSize : STR_ERROR) << lCase.mpText;
        EXPECT_STREQ(lText, lpExpected);
    }
    std::string lLong(WorkingBuffer<char>::CAPACITY, ' ');
    EXPECT_EQ(trimStrRight<char>(lLong.data(), nullptr), STR_ERROR);
    EXPECT_EQ(trimStrRight<char>(nullptr, nullptr), STR_ERROR);
}

TEST(ConvertAttrib, ComparisonWithoutCase)
{
    std::string const lLong(WorkingBuffer<char>::CAPACITY, 'a');
    struct
    {
        char const* mpLeft;
        char const* mpRight;
        unsigned int mCount;
        int mSign;
    } const CASES[] = {{"ABC", "abd", 2, 0},       {"ABC", "abd", 3, -1},          {"ＡｂZ", "ａＢz", STR_ALL, 0},
                       {"_", "A", STR_ALL, -1},    {nullptr, "", STR_ALL, 0},      {"a", nullptr, STR_ALL, 1},
                       {"é", "z", STR_ALL, 1},     {"a\x80z", "a", STR_ALL, -1},   {"b", "a", 0, 0},
                       {"\x80", "a", STR_ALL, -1}, {lLong.c_str(), "", STR_ALL, 0}};
    for (auto const& lCase : CASES)
    {
        compareStrNoCase("left in the rows", "LEFT IN THE ROWS", STR_ALL);
        int const lResult = compareStrNoCase(lCase.mpLeft, lCase.mpRight, lCase.mCount);
        EXPECT_EQ((lResult > 0) - (lResult < 0), lCase.mSign) << lCase.mpLeft << " " << lCase.mpRight;
    }
}

} // namespace
