#include "UtlConvertAttrib.h"

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "UtlStaticBuffer.h"
#include "support/PlainRowScan.h"

using namespace utl;

namespace
{

struct PairTable
{
    char const* mpName;
    PairAttrib const* mpRows;
    bool mHasEmptyKeys; // with nReverse 0
};

#define PAIR_TABLE(TABLE, HAS_EMPTY_KEYS)                                                                              \
    {                                                                                                                  \
#TABLE, TABLE, HAS_EMPTY_KEYS                                                                                  \
    }

PairTable const TABLES[] = {
    PAIR_TABLE(LOWER_UPPER_PAIR, false),      PAIR_TABLE(HANKAKU_ZENKAKU_PAIR, false),
    PAIR_TABLE(NODAKUON_DAKUON_PAIR, true),   PAIR_TABLE(NODAKUON_HANDAKUON_PAIR, true),
    PAIR_TABLE(ZENKATA_HIRAGANA_PAIR, false), PAIR_TABLE(HANKATA_HIRAGANA_PAIR, false),
};

unsigned int const SIZE = 64;

// What a fold leaves: its result and the buffer, untouched bytes included.
template <class Fold>
std::string shown(Fold nFold, std::string const& nText, PairAttrib const* npTable, int nReverse, int nMode,
                  unsigned int nDstSize)
{
    char lBuffer[SIZE + 1];
    std::memset(lBuffer, '#', sizeof(lBuffer));
    unsigned int const lResult = nFold(lBuffer, nDstSize, nText.c_str(), npTable, nReverse, nMode);
    return std::to_string(static_cast<int>(lResult)) + ":" + std::string(lBuffer, sizeof(lBuffer));
}

void expectSameFold(std::string const& nText, PairTable const& nTable, int nReverse, int nMode, unsigned int nDstSize)
{
    if (nTable.mHasEmptyKeys && nReverse == 0 && (nMode == 1 || nDstSize == 0))
    {
        return; // the plain scan would not end
    }
    ASSERT_EQ(shown(convertAttrib<char>, nText, nTable.mpRows, nReverse, nMode, nDstSize),
              shown(scan::convertAttrib, nText, nTable.mpRows, nReverse, nMode, nDstSize))
        << nText << " " << nTable.mpName << " reverse " << nReverse << " mode " << nMode << " capacity " << nDstSize;
}

// Every text of every row, characters that no row knows, and malformed ones.
std::vector<std::string> const& pieces()
{
    static std::vector<std::string> const PIECES = []
    {
        std::vector<std::string> lPieces = {
            "漢",   "é",    "\xF0\x9F\x98\x80", "\uFEFF",   "＂",   "￣",    "ヵ",     "ヷ",
            "\x01", "\x80", "\xE3\x81",         "\xEF\xBD", "\xFF", "a\x80", "あ\xBF", "ヵ\x80"};
        for (PairTable const& lTable : TABLES)
        {
            for (PairAttrib const* lpRow = lTable.mpRows; lpRow->mFirst.mChar != nullptr; ++lpRow)
            {
                lPieces.emplace_back(lpRow->mFirst.mChar);
                lPieces.emplace_back(lpRow->mSecond.mChar);
            }
        }
        return lPieces;
    }();
    return PIECES;
}

TEST(ConvertAttrib, FoldsAreThoseOfThePlainRowScan)
{
    char const* const SECONDS[] = {"", "ﾞ", "゛", "ﾟ", "漢", "a", "\x80"};
    for (PairTable const& lTable : TABLES)
    {
        for (int lReverse = 0; lReverse < 2; ++lReverse)
        {
            for (std::string const& lFirst : pieces())
            {
                for (char const* lpSecond : SECONDS)
                {
                    ASSERT_NO_FATAL_FAILURE(expectSameFold(lFirst + lpSecond, lTable, lReverse, 0, SIZE));
                }
            }
        }
    }
    std::mt19937 lRandom(2);
    for (int lRound = 0; lRound < 40000; ++lRound)
    {
        std::string lText;
        for (unsigned long lCount = lRandom() % 6; lCount > 0; --lCount)
        {
            lText += pieces()[lRandom() % pieces().size()];
        }
        ASSERT_NO_FATAL_FAILURE(expectSameFold(lText, TABLES[lRandom() % 6], static_cast<int>(lRandom() % 3),
                                               static_cast<int>(lRandom() % 2),
                                               static_cast<unsigned int>(lRandom() % 24)));
    }
}

std::string fold(char const* npText, PairAttrib const* npTable, int nReverse)
{
    char lBuffer[SIZE] = "";
    unsigned int const lSize = convertAttrib(lBuffer, SIZE, npText, npTable, nReverse, 0);
    return lSize == std::strlen(lBuffer) + 1 ? lBuffer : "failed: " + std::to_string(static_cast<int>(lSize));
}

TEST(ConvertAttrib, FoldsOfTexts)
{
    struct
    {
        PairAttrib const* mpRows;
        int mReverse;
        char const* mpText;
        char const* mpFolded;
    } const CASES[] = {{HANKAKU_ZENKAKU_PAIR, 0, "ｶﾞﾊﾟｱﾞ ~\"漢", "ガパア゛　～”漢"},
                       {HANKAKU_ZENKAKU_PAIR, 1, "ガパ　１￣", "ｶﾞﾊﾟ 1￣"},
                       {HANKAKU_ZENKAKU_PAIR, 7, "Ａ", "A"},
                       {ZENKATA_HIRAGANA_PAIR, 0, "ヴヵヶー", "う゛ヵヶー"},
                       {ZENKATA_HIRAGANA_PAIR, 1, "う゛", "ウ゛"}, // its row stands behind that of its first character
                       {HANKATA_HIRAGANA_PAIR, 0, "ｳﾞｶﾞｰ", "う゛がー"},
                       {NODAKUON_DAKUON_PAIR, 1, "ガｶﾞﾞが゛漢", "カｶか漢"},
                       {NODAKUON_DAKUON_PAIR, 0, "ｶｷﾎｳ", "ｶﾞｷﾞﾎﾞｳﾞ"}, // the only texts that are safe this way
                       {NODAKUON_HANDAKUON_PAIR, 0, "ﾊﾎ", "ﾊﾟﾎﾟ"},
                       {NODAKUON_DAKUON_PAIR, 0, "ｶあ", "failed: -1"},
                       {NODAKUON_HANDAKUON_PAIR, 0, "ﾊハ", "failed: -1"},
                       {LOWER_UPPER_PAIR, 0, "aｚé", "AＺé"},
                       {LOWER_UPPER_PAIR, 1, "A\xE3\x81", "a"}, // ends in silence
                       {LOWER_UPPER_PAIR, 1, "漢ab\x80", "漢a"}};
    for (auto const& lCase : CASES)
    {
        EXPECT_EQ(fold(lCase.mpText, lCase.mpRows, lCase.mReverse), lCase.mpFolded) << lCase.mpText;
    }
}

TEST(ConvertAttrib, LimitsAndBadArguments)
{
    char lText[16] = "ab";
    EXPECT_EQ(convertAttrib<char>(lText, 16, nullptr, LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lText, 16, "a", nullptr, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(nullptr, 16, "a", LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(nullptr, 16, "é", LOWER_UPPER_PAIR, 0, 1), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, "ab", HANKAKU_ZENKAKU_PAIR, 0, 0), 7U);
    EXPECT_EQ(convertAttrib<char>(lText, 16, lText, LOWER_UPPER_PAIR, 0, 0), 3U);
    EXPECT_STREQ(lText, "AB");
    EXPECT_EQ(convertAttrib<char>(lText, 16, "\x80", LOWER_UPPER_PAIR, 0, 0), 1U);
    EXPECT_STREQ(lText, "AB"); // nothing stored, not even a terminator
    EXPECT_EQ(convertAttrib<char>(lText, 16, "", LOWER_UPPER_PAIR, 0, 0), 1U);
    EXPECT_STREQ(lText, "");

    unsigned int const CAPACITY = WorkingBuffer<char>::CAPACITY;
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, std::string(CAPACITY - 1, 'a').c_str(), LOWER_UPPER_PAIR, 0, 0),
              CAPACITY);
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, std::string(CAPACITY, 'a').c_str(), LOWER_UPPER_PAIR, 0, 0), STR_ERROR);
    // What nothing else would end.
    EXPECT_EQ(convertAttrib<char>(nullptr, 0, "か", NODAKUON_DAKUON_PAIR, 0, 0), STR_ERROR);
    EXPECT_EQ(convertAttrib<char>(lText, 9, "か", NODAKUON_DAKUON_PAIR, 0, 1), STR_ERROR);
    EXPECT_STREQ(lText, "ﾞﾞ");
}

TEST(ConvertAttrib, TablesOfOthers)
{
    PairAttrib const OWN[] = {{"abc", nullptr, "1", nullptr},   {"ab", nullptr, "\xE3\x81", nullptr},
                              {"\x80", nullptr, "2", nullptr},  {"é", nullptr, "3456789", nullptr},
                              {"n", nullptr, nullptr, nullptr}, {}};
    for (char const* lpText : {"abcabéx", "ab", "xéa", "\x80\x80"})
    {
        for (int lMode = 0; lMode < 2; ++lMode)
        {
            for (unsigned int lSize = 1; lSize < 16; ++lSize)
            {
                EXPECT_EQ(shown(convertAttrib<char>, lpText, OWN, 0, lMode, lSize),
                          shown(scan::convertAttrib, lpText, OWN, 0, lMode, lSize))
                    << lpText << " " << lSize;
            }
        }
    }
    EXPECT_EQ(fold("n", OWN, 0), "failed: -1");  // nothing to write
    EXPECT_EQ(fold("1x", OWN, 1), "failed: -1"); // the null right text matches everywhere: n for ever
    EXPECT_EQ(fold("1x", HANKAKU_ZENKAKU_PAIR + 1, 0), "１ｘ");
}

// --- Trimming, comparison, numbers ---

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

TEST(ConvertAttrib, NumbersFromText)
{
    struct
    {
        char const* mpText;
        int mBase;
        int mValue; // -1: no number
    } const CASES[] = {
        {"１２", 0, 12},   {"+１", 10, 1},      {"＋１", 10, 1},  {"12x", 0, 12},      {"12a", 10, 12},
        {"ｆｆ", 16, 255}, {"Ff", 16, 255},     {"0x1F", 0, 31},  {"０ｘ１ｆ", 0, 31}, {"0X1F", 0, -1},
        {"0x1F", 16, 0},   {"017", 0, 15},      {"08", 0, -1},    {"00", 0, 0},        {"0", 0, -1},
        {"0", 10, 0},      {"65535", 0, 65535}, {"65536", 0, -1}, {"655350", 10, -1},  {"177777", 8, 65535},
        {"200000", 8, -1}, {"Zz", 36, 1295},    {"zzzz", 36, -1}, {"1", 1, -1},        {"1", 37, -1},
        {"1", -2, -1},     {"102", 2, 2},       {"", 0, -1},      {"+", 0, -1},        {"+-1", 10, -1},
        {"-1", 0, -1},     {"－１", 0, -1},     {"0x", 0, -1},    {"x", 10, -1},       {" 1", 10, -1},
        {"\x80", 10, -1},  {"7\x80", 10, -1},   {"12 3", 10, 12}, {nullptr, 10, -1}};
    for (auto const& lCase : CASES)
    {
        unsigned short lValue = 4711;
        bool const lIsNumber = strToInt(&lValue, lCase.mpText, lCase.mBase);
        EXPECT_EQ(lIsNumber, lCase.mValue >= 0) << lCase.mpText << " base " << lCase.mBase;
        EXPECT_EQ(lValue, lIsNumber ? lCase.mValue : 4711) << lCase.mpText << " base " << lCase.mBase;
    }
    EXPECT_FALSE(strToInt<unsigned short>(nullptr, "1", 10));
}

} // namespace
