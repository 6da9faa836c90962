#include "UtlCharAttrib.h"

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "UtlConvertAttrib.h"
#include "support/PlainRowScan.h"

using namespace utl;

namespace
{

// FNV-1a over texts with their terminators.
std::uint32_t hashOn(std::uint32_t nHash, char const* npText)
{
    for (std::size_t lIndex = 0; lIndex <= std::strlen(npText); ++lIndex)
    {
        nHash = (nHash ^ static_cast<unsigned char>(npText[lIndex])) * 16777619U;
    }
    return nHash;
}

std::uint32_t hashOn(std::uint32_t nHash, CodeRow const& nRow)
{
    return hashOn(nHash, nRow.mChar);
}

std::uint32_t hashOn(std::uint32_t nHash, PairAttrib const& nRow)
{
    return hashOn(hashOn(nHash, nRow.mFirst.mChar), nRow.mSecond.mChar);
}

bool isEnd(CodeRow const& nRow)
{
    return nRow.mChar == nullptr && nRow.mWchar == nullptr;
}

bool isEnd(PairAttrib const& nRow)
{
    return isEnd(nRow.mFirst) && isEnd(nRow.mSecond);
}

// One wide character for each of UTF-8, all of which have one or three bytes here.
bool isSameText(CodeRow const& nRow)
{
    std::wstring lWide;
    for (char const* lpText = nRow.mChar; *lpText != 0; lpText += t_charlen<char>(lpText, nullptr))
    {
        auto const lByte = [&](int nIndex) { return static_cast<unsigned char>(lpText[nIndex]); };
        lWide += static_cast<wchar_t>(
            lByte(0) < 0x80 ? lByte(0) : (lByte(0) & 0x0F) << 12 | (lByte(1) & 0x3F) << 6 | (lByte(2) & 0x3F));
    }
    return lWide == nRow.mWchar;
}

bool isSameText(PairAttrib const& nRow)
{
    return isSameText(nRow.mFirst) && isSameText(nRow.mSecond);
}

// Goes on with the digest of a table and what ends it.
template <class Row, std::size_t N>
std::uint32_t hashTable(std::uint32_t nHash, Row const (&nTable)[N])
{
    for (std::size_t lRow = 0; lRow + 1 < N; ++lRow)
    {
        bool const lIsWhole = !isEnd(nTable[lRow]) && isSameText(nTable[lRow]);
        EXPECT_TRUE(lIsWhole) << "row " << lRow;
        nHash = lIsWhole ? hashOn(nHash, nTable[lRow]) : 0;
    }
    EXPECT_TRUE(isEnd(nTable[N - 1]));
    return hashOn(nHash, "end");
}

template <class... Tables>
std::uint32_t hashTables(Tables const&... nTables)
{
    std::uint32_t lHash = 2166136261U;
    ((lHash = hashTable(lHash, nTables)), ...);
    return lHash;
}

// The digests were made apart from the tables: they tell of any text or order that has changed.
TEST(CharAttrib, TablesHoldTheirTextsInOrder)
{
    EXPECT_EQ(hashTables(KAIGYO_TBL, TAB_FF_TBL, CTL_OTHER_TBL, HAN_SPACE_TBL, ZEN_SPACE_TBL, HAN_MARK_TBL,
                         ZEN_MARK_TBL, HAN_DIGIT_TBL, ZEN_DIGIT_TBL, HAN_SIGN_TBL, ZEN_SIGN_TBL, HAN_HEX_PREFIX_TBL,
                         ZEN_HEX_PREFIX_TBL, HAN_HEX_SUFFIX_TBL, ZEN_HEX_SUFFIX_TBL, LOWER_HAN_HEX_ALPHA_TBL,
                         UPPER_HAN_HEX_ALPHA_TBL, LOWER_ZEN_HEX_ALPHA_TBL, UPPER_ZEN_HEX_ALPHA_TBL,
                         LOWER_HAN_NOHEX_ALPHA_TBL, UPPER_HAN_NOHEX_ALPHA_TBL, LOWER_ZEN_NOHEX_ALPHA_TBL,
                         UPPER_ZEN_NOHEX_ALPHA_TBL, NODAKU_HAN_KATA_TBL, NODAKU_ZEN_KATA_TBL, DAKU_HAN_KATA_TBL,
                         DAKU_ZEN_KATA_TBL, HANDAKU_HAN_KATA_TBL, HANDAKU_ZEN_KATA_TBL, HAN_KATA_YOUSOKU_TBL,
                         ZEN_KATA_YOUSOKU_TBL, NODAKU_HIRA_TBL, DAKU_HIRA_TBL, HANDAKU_HIRA_TBL, HIRA_YOUSOKU_TBL,
                         HAN_DAKUTEN_TBL, ZEN_DAKUTEN_TBL, HAN_HANDAKUTEN_TBL, ZEN_HANDAKUTEN_TBL),
              0x9B46138FU);
    EXPECT_EQ(hashTables(LOWER_UPPER_PAIR, HANKAKU_ZENKAKU_PAIR, NODAKUON_DAKUON_PAIR, NODAKUON_HANDAKUON_PAIR,
                         ZENKATA_HIRAGANA_PAIR, HANKATA_HIRAGANA_PAIR),
              0xD193A828U);
}

// --- Blocks ---

int const NUL = CHAR_ATTRIB_NUL, OTHER = CHAR_ATTRIB_OTHER, ZEN_MARK = CHAR_ATTRIB_ZEN_MARK,
          HAN_HEX = CHAR_ATTRIB_HAN_HEX, LOWER_HAN_HEX = CHAR_ATTRIB_LOWER_HAN_HEX, HAN_DIGIT = CHAR_ATTRIB_HAN_DIGIT,
          ZEN_HEX = CHAR_ATTRIB_ZEN_HEX, HAN_SIGNED = CHAR_ATTRIB_HAN_SIGNED, ZEN_SIGNED = CHAR_ATTRIB_ZEN_SIGNED,
          DAKU_HAN_KATA = CHAR_ATTRIB_DAKU_HAN_KATA, HANDAKU_HAN_KATA = CHAR_ATTRIB_HANDAKU_HAN_KATA,
          DAKU_ZEN_KATA = CHAR_ATTRIB_DAKU_ZEN_KATA, DAKU_HIRA = CHAR_ATTRIB_DAKU_HIRA,
          NODAKU_HIRA = CHAR_ATTRIB_NODAKU_HIRA;

struct BlockCase
{
    char const* mpText;
    int mAttrib;
    unsigned int mSize;
};

TEST(CharAttrib, BlocksOfEachKind)
{
    // The later class decides, although its block is shorter ("ab") and though it fails where an earlier one does not
    // ("0x1Ah"); a prefix of the other width is none; any plain kana takes a mark, a row of its own none.
    // clang-format off
    BlockCase const CASES[] = {
        {"", NUL, 1}, {"", OTHER, STR_ERROR}, {"", ~NUL, STR_ERROR}, {nullptr, -1, STR_ERROR},
        {"A", 0, STR_ERROR}, {"A", OTHER, STR_ERROR}, {"漢", OTHER, 3}, {"漢", OTHER | ZEN_MARK, 3},
        {"é", OTHER, 2}, {"\xF0\x9F\x98\x80", -1, 4}, {"\uFEFF", OTHER, 3}, {"\xE3\x81", -1, STR_ERROR},
        {"\x80", -1, STR_ERROR}, {"ab", HAN_HEX, 2}, {"ab", HAN_HEX | LOWER_HAN_HEX, 1},
        {"12", HAN_DIGIT | HAN_HEX, 2}, {"0x1Ah", HAN_HEX, STR_ERROR}, {"0x1Ah", HAN_HEX | HAN_DIGIT, 1},
        {"0x1A", HAN_HEX, 4}, {"1AH", HAN_HEX, 3}, {"h", HAN_HEX, STR_ERROR}, {"0x", HAN_HEX, STR_ERROR},
        {"0xh", HAN_HEX, STR_ERROR}, {"０ｘ１Ａ", ZEN_HEX, 12}, {"０x１", ZEN_HEX, 3}, {"１ｈ", ZEN_HEX, 6},
        {"+12x", HAN_SIGNED, 3}, {"+", HAN_SIGNED, STR_ERROR}, {"12", HAN_SIGNED, STR_ERROR},
        {"－９", ZEN_SIGNED, 6}, {"+９", HAN_SIGNED | ZEN_SIGNED, STR_ERROR}, {"ｶﾞｯｬ", DAKU_HAN_KATA, 12},
        {"ﾅﾞ", DAKU_HAN_KATA, 6}, {"ﾞｧ", DAKU_HAN_KATA, 6}, {"ｶ", DAKU_HAN_KATA, STR_ERROR},
        {"ﾊﾟ", DAKU_HAN_KATA, STR_ERROR}, {"ﾊﾟｧｱ", HANDAKU_HAN_KATA, 9}, {"ガ゛", DAKU_ZEN_KATA, 3},
        {"アﾞ", DAKU_ZEN_KATA, STR_ERROR}, {"う゛ぁ", DAKU_HIRA, 9}, {"。゛", DAKU_HIRA, 3}, {"。゛", DAKU_ZEN_KATA, 6},
        {"ー", NODAKU_HIRA, 3}, {"”", ZEN_MARK, 3}, {"＂", -1, 3}, {"＂", 0x7FFFFFFF, STR_ERROR},
        {"～", ZEN_MARK, STR_ERROR}};
    // clang-format on
    for (BlockCase const& lCase : CASES)
    {
        EXPECT_EQ(attribBlockSize(lCase.mpText, lCase.mAttrib), lCase.mSize) << lCase.mpText << " " << lCase.mAttrib;
    }
}

// Texts that begin with any character of any table, and with characters that no table knows.
std::vector<std::string> const& pieces()
{
    static std::vector<std::string> const PIECES = []
    {
        std::vector<std::string> lPieces = {
            "漢", "é",    "α",        "\xF0\x9F\x98\x80", "\uFEFF", "＂",       "～",   "ヷ",      "h",
            "x",  "\x80", "\xE3\x81", "\xEF\xBD",         "\xE3",   "\xE2\x80", "\xFF", "\xC0\xB0"};
        for (scan::ClassTables const& lTables : scan::CLASSES)
        {
            for (CodeRow const* lpRow = lTables.mpRows; lpRow != nullptr && lpRow->mChar != nullptr; ++lpRow)
            {
                lPieces.emplace_back(lpRow->mChar);
            }
        }
        return lPieces;
    }();
    return PIECES;
}

void expectSameBlocks(std::string const& nText)
{
    for (unsigned int lBit = 0; lBit < 32; ++lBit)
    {
        int const lAttrib = static_cast<int>(1U << lBit);
        ASSERT_EQ(attribBlockSize(nText.c_str(), lAttrib), scan::attribBlockSize(nText.c_str(), lAttrib))
            << nText << " " << lAttrib;
    }
}

TEST(CharAttrib, BlocksAreThoseOfThePlainRowScan)
{
    // Every piece in front of all that can go on with a block or end it, then longer texts with any set of classes.
    char const* const SECONDS[] = {"",   "ﾞ", "゛", "ﾟ", "゜", "ｧ", "ｯ",  "ァ", "ヮ", "ぁ", "ゎ",   "0",
                                   "９", "a", "Ｆ", "h", "Ｈ", "x", "ｘ", "。", "ｰ",  "漢", "\x80", "ﾞｧｨ"};
    for (std::string const& lFirst : pieces())
    {
        for (char const* lpSecond : SECONDS)
        {
            ASSERT_NO_FATAL_FAILURE(expectSameBlocks(lFirst + lpSecond));
        }
    }
    std::mt19937 lRandom(1);
    for (int lRound = 0; lRound < 10000; ++lRound)
    {
        std::string lText;
        for (unsigned long lCount = lRandom() % 7; lCount > 0; --lCount)
        {
            lText += pieces()[lRandom() % pieces().size()];
        }
        int const lAttrib = static_cast<int>(lRandom() | lRandom());
        ASSERT_EQ(attribBlockSize(lText.c_str(), lAttrib), scan::attribBlockSize(lText.c_str(), lAttrib)) << lText;
    }
}

TEST(CharAttrib, WholeTextsAndSingleCharacters)
{
    // Alone, a kana has no mark; a 1 before a stray byte is cut off as an empty text.
    struct TextCase
    {
        char const* mpText;
        int mAttrib;
        bool mIsStr;
        bool mIsChar;
    };
    // clang-format off
    TextCase const CASES[] = {
        {"123", HAN_DIGIT, true, true}, {"12x", HAN_DIGIT, false, true}, {"", HAN_DIGIT, false, false},
        {"", NUL, true, true}, {nullptr, NUL, true, true}, {nullptr, HAN_DIGIT, false, false},
        {"+1+2", HAN_SIGNED, true, false}, {"ｶﾞ", DAKU_HAN_KATA, true, false}, {"ﾞ", DAKU_HAN_KATA, true, true},
        {"5", HAN_HEX, true, true}, {"漢字", OTHER, true, true}, {"\uFEFF", -1, true, false},
        {"\uFEFF1", HAN_DIGIT | OTHER, true, false}, {"\xE3\x81", -1, false, false}, {"\x80", -1, false, false},
        {"1\x80", HAN_DIGIT, false, false}, {"1\x80", NUL, false, true}};
    // clang-format on
    for (auto const& lCase : CASES)
    {
        EXPECT_EQ(isStrAttribBase(lCase.mpText, lCase.mAttrib), lCase.mIsStr) << lCase.mpText;
        EXPECT_EQ(isCharAttribBase(lCase.mpText, lCase.mAttrib), lCase.mIsChar) << lCase.mpText;
    }
}

TEST(CharAttrib, FirstRowThatMatchesMovesTheOffset)
{
    unsigned int lOffset = 1;
    EXPECT_EQ(findCodeTable("_ｶﾞﾞ", DAKU_HAN_KATA_TBL, &lOffset), DAKU_HAN_KATA_TBL[0].mChar);
    EXPECT_EQ(lOffset, 7U);
    EXPECT_EQ(findCodeTable("_ｶﾞﾞ", DAKU_HAN_KATA_TBL, &lOffset), DAKU_HAN_KATA_TBL[21].mChar);
    EXPECT_EQ(findCodeTable("_ｶﾞﾞ", DAKU_HAN_KATA_TBL, &lOffset), nullptr);
    EXPECT_EQ(lOffset, 10U);
    CodeRow const OWN[] = {{"ab", L"ab"}, {"a", L"a"}, {"", L""}, {}};
    char const* const EXPECTED[] = {OWN[0].mChar, OWN[1].mChar, OWN[2].mChar};
    lOffset = 0;
    for (char const* lpExpected : EXPECTED)
    {
        EXPECT_EQ(findCodeTable("abac", OWN, &lOffset), lpExpected);
    }
    EXPECT_EQ(lOffset, 3U); // an empty row matches and moves nothing
    EXPECT_EQ(findCodeTable<char>(nullptr, OWN, &lOffset), nullptr);
    EXPECT_EQ(findCodeTable<char>("a", nullptr, &lOffset), nullptr);
    EXPECT_EQ(findCodeTable<char>("a", OWN, nullptr), nullptr);
    EXPECT_EQ(findCodeTable("a", OWN + 3, &lOffset), nullptr);
}

// --- Before main() and at exit ---

bool isUsable()
{
    unsigned int lOffset = 0;
    char lText[16];
    return findCodeTable("ん", NODAKU_HIRA_TBL, &lOffset) != nullptr && lOffset == 3 &&
           isCharAttribBase("0", CHAR_ATTRIB_HAN_HEX) && attribBlockSize("0x1", CHAR_ATTRIB_HAN_HEX) == 3 &&
           convertAttrib(lText, sizeof(lText), "ｶﾞ", HANKAKU_ZENKAKU_PAIR, 0, 0) == 4 &&
           std::strcmp(lText, "ガ") == 0 && std::strcmp(ZENKATA_HIRAGANA_PAIR[85].mSecond.mChar, "ゞ") == 0;
}

bool gWasUsableEarly = false;

// Runs ahead of every constructor of a static object, so its exit handler runs behind all their destructors.
__attribute__((constructor(101))) void useEarly()
{
    gWasUsableEarly = isUsable();
    std::atexit([] { isUsable() ? static_cast<void>(0) : ::_exit(1); });
}

TEST(CharAttribDeathTest, TablesServeBeforeMainAndAtExitAndAreReadOnly)
{
    EXPECT_TRUE(gWasUsableEarly);
    EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), "");
    EXPECT_DEATH(*const_cast<char const* volatile*>(&KAIGYO_TBL[0].mChar) = nullptr, "");
}

} // namespace
