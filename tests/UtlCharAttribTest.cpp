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

template <class Row, std::size_t N>
void expectTable(char const* npName, Row const (&nTable)[N], std::uint32_t nHash)
{
    std::uint32_t lHash = 2166136261U;
    for (std::size_t lRow = 0; lRow + 1 < N; ++lRow)
    {
        ASSERT_FALSE(isEnd(nTable[lRow])) << npName << " row " << lRow;
        EXPECT_TRUE(isSameText(nTable[lRow])) << npName << " row " << lRow;
        lHash = hashOn(lHash, nTable[lRow]);
    }
    EXPECT_TRUE(isEnd(nTable[N - 1])) << npName;
    EXPECT_EQ(lHash, nHash) << npName << ": a text or the order of rows has changed";
}

#define EXPECT_TABLE(TABLE, HASH) expectTable(#TABLE, TABLE, HASH)

TEST(CharAttrib, TablesHoldTheirTextsInOrder)
{
    EXPECT_TABLE(KAIGYO_TBL, 0x580BD3D2U);
    EXPECT_TABLE(TAB_FF_TBL, 0x0CD6572BU);
    EXPECT_TABLE(CTL_OTHER_TBL, 0xA367FC53U);
    EXPECT_TABLE(HAN_SPACE_TBL, 0xD1C5E4EDU);
    EXPECT_TABLE(ZEN_SPACE_TBL, 0x0DFE5886U);
    EXPECT_TABLE(HAN_MARK_TBL, 0x866708BBU);
    EXPECT_TABLE(ZEN_MARK_TBL, 0x9D9E53B2U);
    EXPECT_TABLE(HAN_DIGIT_TBL, 0xF226679CU);
    EXPECT_TABLE(ZEN_DIGIT_TBL, 0x7EE9D324U);
    EXPECT_TABLE(HAN_SIGN_TBL, 0x40E0196BU);
    EXPECT_TABLE(ZEN_SIGN_TBL, 0x9D166A73U);
    EXPECT_TABLE(HAN_HEX_PREFIX_TBL, 0x0655B62FU);
    EXPECT_TABLE(ZEN_HEX_PREFIX_TBL, 0xEB15B296U);
    EXPECT_TABLE(HAN_HEX_SUFFIX_TBL, 0x76E54485U);
    EXPECT_TABLE(ZEN_HEX_SUFFIX_TBL, 0xBF441FE2U);
    EXPECT_TABLE(LOWER_HAN_HEX_ALPHA_TBL, 0x316FA172U);
    EXPECT_TABLE(UPPER_HAN_HEX_ALPHA_TBL, 0x9BF0EEF2U);
    EXPECT_TABLE(LOWER_ZEN_HEX_ALPHA_TBL, 0x013C16B2U);
    EXPECT_TABLE(UPPER_ZEN_HEX_ALPHA_TBL, 0xE02DAF3AU);
    EXPECT_TABLE(LOWER_HAN_NOHEX_ALPHA_TBL, 0xAD51F9A9U);
    EXPECT_TABLE(UPPER_HAN_NOHEX_ALPHA_TBL, 0x4268DAE9U);
    EXPECT_TABLE(LOWER_ZEN_NOHEX_ALPHA_TBL, 0xA15E3C05U);
    EXPECT_TABLE(UPPER_ZEN_NOHEX_ALPHA_TBL, 0x0B842DC9U);
    EXPECT_TABLE(NODAKU_HAN_KATA_TBL, 0x90839278U);
    EXPECT_TABLE(NODAKU_ZEN_KATA_TBL, 0xDDB8C7D1U);
    EXPECT_TABLE(DAKU_HAN_KATA_TBL, 0xDEAB5DA3U);
    EXPECT_TABLE(DAKU_ZEN_KATA_TBL, 0x5B210056U);
    EXPECT_TABLE(HANDAKU_HAN_KATA_TBL, 0xE6E42F2AU);
    EXPECT_TABLE(HANDAKU_ZEN_KATA_TBL, 0x50AFA03FU);
    EXPECT_TABLE(HAN_KATA_YOUSOKU_TBL, 0xEE575276U);
    EXPECT_TABLE(ZEN_KATA_YOUSOKU_TBL, 0xA4D28087U);
    EXPECT_TABLE(NODAKU_HIRA_TBL, 0xE5FDC796U);
    EXPECT_TABLE(DAKU_HIRA_TBL, 0x792AB304U);
    EXPECT_TABLE(HANDAKU_HIRA_TBL, 0xB5022B12U);
    EXPECT_TABLE(HIRA_YOUSOKU_TBL, 0xC8B7E590U);
    EXPECT_TABLE(HAN_DAKUTEN_TBL, 0x24FFF5AEU);
    EXPECT_TABLE(ZEN_DAKUTEN_TBL, 0xCFAA24E3U);
    EXPECT_TABLE(HAN_HANDAKUTEN_TBL, 0x4B027017U);
    EXPECT_TABLE(ZEN_HANDAKUTEN_TBL, 0xF5AC9F4CU);
    EXPECT_TABLE(LOWER_UPPER_PAIR, 0xD6299675U);
    EXPECT_TABLE(HANKAKU_ZENKAKU_PAIR, 0x24CC1546U);
    EXPECT_TABLE(NODAKUON_DAKUON_PAIR, 0xA8974785U);
    EXPECT_TABLE(NODAKUON_HANDAKUON_PAIR, 0x248EA38AU);
    EXPECT_TABLE(ZENKATA_HIRAGANA_PAIR, 0x189745E6U);
    EXPECT_TABLE(HANKATA_HIRAGANA_PAIR, 0xBE7F3091U);
}

// --- Blocks ---

struct BlockCase
{
    char const* mpText;
    int mAttrib;
    unsigned int mSize;
};

TEST(CharAttrib, BlocksOfEachKind)
{
    BlockCase const CASES[] = {
        {"", CHAR_ATTRIB_NUL, 1},
        {"", CHAR_ATTRIB_OTHER, STR_ERROR},
        {"", ~CHAR_ATTRIB_NUL, STR_ERROR},
        {nullptr, -1, STR_ERROR},
        {"A", 0, STR_ERROR},
        {"A", CHAR_ATTRIB_OTHER, STR_ERROR},
        {"漢", CHAR_ATTRIB_OTHER, 3},
        {"漢", CHAR_ATTRIB_OTHER | CHAR_ATTRIB_ZEN_MARK, 3},
        {"é", CHAR_ATTRIB_OTHER, 2},
        {"\xF0\x9F\x98\x80", -1, 4},
        {"\uFEFF", CHAR_ATTRIB_OTHER, 3},
        {"\xE3\x81", -1, STR_ERROR}, // a hiragana, cut off
        {"\x80", -1, STR_ERROR},
        {"ab", CHAR_ATTRIB_HAN_HEX, 2},
        {"ab", CHAR_ATTRIB_HAN_HEX | CHAR_ATTRIB_LOWER_HAN_HEX, 1}, // the later class, although its block is shorter
        {"12", CHAR_ATTRIB_HAN_DIGIT | CHAR_ATTRIB_HAN_HEX, 2},
        {"0x1Ah", CHAR_ATTRIB_HAN_HEX, STR_ERROR},
        {"0x1Ah", CHAR_ATTRIB_HAN_HEX | CHAR_ATTRIB_HAN_DIGIT, 1}, // the later class fails, the earlier one counts
        {"0x1A", CHAR_ATTRIB_HAN_HEX, 4},
        {"1AH", CHAR_ATTRIB_HAN_HEX, 3},
        {"h", CHAR_ATTRIB_HAN_HEX, STR_ERROR},
        {"0x", CHAR_ATTRIB_HAN_HEX, STR_ERROR},
        {"0xh", CHAR_ATTRIB_HAN_HEX, STR_ERROR},
        {"０ｘ１Ａ", CHAR_ATTRIB_ZEN_HEX, 12},
        {"０x１", CHAR_ATTRIB_ZEN_HEX, 3}, // no prefix: of the other width
        {"１ｈ", CHAR_ATTRIB_ZEN_HEX, 6},
        {"+12x", CHAR_ATTRIB_HAN_SIGNED, 3},
        {"+", CHAR_ATTRIB_HAN_SIGNED, STR_ERROR},
        {"12", CHAR_ATTRIB_HAN_SIGNED, STR_ERROR},
        {"－９", CHAR_ATTRIB_ZEN_SIGNED, 6},
        {"+９", CHAR_ATTRIB_HAN_SIGNED | CHAR_ATTRIB_ZEN_SIGNED, STR_ERROR},
        {"ｶﾞｯｬ", CHAR_ATTRIB_DAKU_HAN_KATA, 12},
        {"ﾅﾞ", CHAR_ATTRIB_DAKU_HAN_KATA, 6}, // no such kana, yet a block
        {"ﾞｧ", CHAR_ATTRIB_DAKU_HAN_KATA, 6},
        {"ｶ", CHAR_ATTRIB_DAKU_HAN_KATA, STR_ERROR},
        {"ﾊﾟ", CHAR_ATTRIB_DAKU_HAN_KATA, STR_ERROR},
        {"ﾊﾟｧｱ", CHAR_ATTRIB_HANDAKU_HAN_KATA, 9},
        {"ガ゛", CHAR_ATTRIB_DAKU_ZEN_KATA, 3}, // a row of its own takes no mark
        {"アﾞ", CHAR_ATTRIB_DAKU_ZEN_KATA, STR_ERROR},
        {"う゛ぁ", CHAR_ATTRIB_DAKU_HIRA, 9},
        {"。゛", CHAR_ATTRIB_DAKU_HIRA, 3},
        {"。゛", CHAR_ATTRIB_DAKU_ZEN_KATA, 6},
        {"ー", CHAR_ATTRIB_NODAKU_HIRA, 3},
        {"”", CHAR_ATTRIB_ZEN_MARK, 3},
        {"＂", -1, 3},
        {"＂", 0x7FFFFFFF, STR_ERROR},
        {"～", CHAR_ATTRIB_ZEN_MARK, STR_ERROR},
    };
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
        std::vector<std::string> lPieces = {"漢", "é", "α", "\xF0\x9F\x98\x80", "\uFEFF", "＂", "～", "ヷ", "h", "x"};
        for (char const* lpBroken : {"\x80", "\xE3\x81", "\xEF\xBD", "\xE3", "\xE2\x80", "\xFF", "\xC0\xB0"})
        {
            lPieces.emplace_back(lpBroken);
        }
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
    struct
    {
        char const* mpText;
        int mAttrib;
        bool mIsStr;
        bool mIsChar;
    } const CASES[] = {
        {"123", CHAR_ATTRIB_HAN_DIGIT, true, true},
        {"12x", CHAR_ATTRIB_HAN_DIGIT, false, true},
        {"", CHAR_ATTRIB_HAN_DIGIT, false, false},
        {"", CHAR_ATTRIB_NUL, true, true},
        {nullptr, CHAR_ATTRIB_NUL, true, true},
        {nullptr, CHAR_ATTRIB_HAN_DIGIT, false, false},
        {"+1+2", CHAR_ATTRIB_HAN_SIGNED, true, false},
        {"ｶﾞ", CHAR_ATTRIB_DAKU_HAN_KATA, true, false}, // alone it has no mark
        {"ﾞ", CHAR_ATTRIB_DAKU_HAN_KATA, true, true},
        {"5", CHAR_ATTRIB_HAN_HEX, true, true},
        {"漢字", CHAR_ATTRIB_OTHER, true, true},
        {"\uFEFF", -1, true, false},
        {"\uFEFF1", CHAR_ATTRIB_HAN_DIGIT | CHAR_ATTRIB_OTHER, true, false},
        {"\xE3\x81", -1, false, false},
        {"\x80", -1, false, false},
        {"1\x80", CHAR_ATTRIB_HAN_DIGIT, false, false}, // cut off, the 1 is lost with the stray byte
        {"1\x80", CHAR_ATTRIB_NUL, false, true},
    };
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
