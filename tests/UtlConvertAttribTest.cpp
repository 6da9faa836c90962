#include "UtlConvertAttrib.h"

#include "UtlStaticBuffer.h"
#include "support/Test.h"

using namespace utl;

namespace
{

// Folds and numbers of any text: see tests/fuzz/AttribFuzz.cpp, which the tests run too.

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
    EXPECT_FALSE((strToInt<unsigned short, char>(&lValue, nullptr, 10)));

    unsigned int const CAPACITY = WorkingBuffer<char>::CAPACITY;
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, std::string(CAPACITY - 1, 'a').c_str(), LOWER_UPPER_PAIR, 0, 0),
              CAPACITY);
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, std::string(CAPACITY, 'a').c_str(), LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    // What nothing else would end.
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, "か", NODAKUON_DAKUON_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lText, 9, "か", NODAKUON_DAKUON_PAIR, 0, 1), STR_ERROR);
    EXPECT_STREQ(lText, "ﾞﾞ");
}

TEST(ConvertAttrib, WhatCannotBeTrimmedOrCompared)
{
    char lText[] = "a ";
    EXPECT_EQ(trimStrRight<char>(lText, nullptr), 2U);
    EXPECT_EQ(trimStrRight<char>(nullptr, nullptr), STR_ERROR);
    std::string lLong(WorkingBuffer<char>::CAPACITY, ' ');
    EXPECT_EQ(trimStrRight<char>(lLong.data(), nullptr), STR_ERROR);
    EXPECT_EQ(compareStrNoCase(lLong.c_str(), "", STR_ALL), 0);
    EXPECT_EQ(compareStrNoCase<char>(nullptr, "", STR_ALL), 0);
    EXPECT_GT(compareStrNoCase<char>("a", nullptr, STR_ALL), 0);
}

} // namespace
