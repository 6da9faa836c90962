#include "UtlCharAttrib.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "UtlCharSet.h"
#include "UtlConvertAttrib.h"
#include "../fuzz/reference/PlainRowScan.h"

using namespace utl;

namespace
{

// FNV-1a over the narrow text with its terminator, for the row of nulls over "end". The wide text must be the same.
std::uint32_t hashOn(std::uint32_t nHash, CodeRow const& nRow)
{
    wchar_t lWide[16] = {};
    convertStrFromTcharToWchar(lWide, 16, nRow.mChar);
    EXPECT_STREQ(nRow.mChar != nullptr ? lWide : nullptr, nRow.mWchar);
    for (char const lByte : std::string(nRow.mChar != nullptr ? nRow.mChar : "end") + '\0')
    {
        nHash = (nHash ^ static_cast<unsigned char>(lByte)) * 16777619U;
    }
    return nHash;
}

std::uint32_t hashOn(std::uint32_t nHash, PairAttrib const& nRow)
{
    nHash = hashOn(nHash, nRow.mFirst);
    return nRow.mFirst.mChar != nullptr || nRow.mSecond.mChar != nullptr ? hashOn(nHash, nRow.mSecond) : nHash;
}

template <class... Tables>
std::uint32_t hashTables(Tables const&... nTables)
{
    std::uint32_t lHash = 2166136261U;
    auto const lAdd = [&](auto const& nTable)
    {
        for (auto const& lRow : nTable)
        {
            lHash = hashOn(lHash, lRow);
        }
    };
    (lAdd(nTables), ...);
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
          ZEN_HEX = CHAR_ATTRIB_ZEN_HEX, HAN_SIGNED = CHAR_ATTRIB_HAN_SIGNED, DAKU_HAN_KATA = CHAR_ATTRIB_DAKU_HAN_KATA,
          DAKU_ZEN_KATA = CHAR_ATTRIB_DAKU_ZEN_KATA, DAKU_HIRA = CHAR_ATTRIB_DAKU_HIRA;

TEST(CharAttrib, BlocksOfEachKind)
{
    // The later class decides, although its block is shorter ("ab") and though it fails where an earlier one does not
    // ("0x1Ah"); a prefix of the other width is none; any plain kana takes a mark, a row of its own none.
    // clang-format off
    struct
    {
        char const* mpText;
        int mAttrib;
        unsigned int mSize;
    } const CASES[] = {
        {"", NUL, 1}, {"", OTHER, STR_ERROR}, {"", ~NUL, STR_ERROR}, {nullptr, -1, STR_ERROR},
        {"A", OTHER, STR_ERROR}, {"漢", OTHER | ZEN_MARK, 3}, {"\uFEFF", OTHER, 3}, {"\x80", -1, STR_ERROR},
        {"ab", HAN_HEX | LOWER_HAN_HEX, 1}, {"12", HAN_DIGIT | HAN_HEX, 2}, {"0x1Ah", HAN_HEX | HAN_DIGIT, 1},
        {"０x１", ZEN_HEX, 3}, {"1AH", HAN_HEX, 3}, {"+12x", HAN_SIGNED, 3}, {"ｶﾞｯｬ", DAKU_HAN_KATA, 12},
        {"ﾅﾞ", DAKU_HAN_KATA, 6}, {"ガ゛", DAKU_ZEN_KATA, 3}, {"う゛ぁ", DAKU_HIRA, 9}, {"＂", 0x7FFFFFFF, STR_ERROR},
        {"～", ZEN_MARK, STR_ERROR}};
    // clang-format on
    for (auto const& lCase : CASES)
    {
        EXPECT_EQ(attribBlockSize(lCase.mpText, lCase.mAttrib), lCase.mSize) << lCase.mpText << " " << lCase.mAttrib;
    }
}

// Each character of each class in front of all that can go on with a block or end it, for each class. Longer texts and
// sets of classes: see fuzz/AttribFuzz.cpp, which the tests run too.
TEST(CharAttrib, BlocksAreThoseOfThePlainRowScan)
{
    char const* const SECONDS[] = {"",   "ﾞ", "゛", "ﾟ", "゜", "ｧ", "ｯ",  "ァ", "ヮ", "ぁ", "ゎ",   "0",
                                   "９", "a", "Ｆ", "h", "Ｈ", "x", "ｘ", "。", "ｰ",  "漢", "\x80", "ﾞｧｨ"};
    for (scan::ClassTables const& lTables : scan::CLASSES)
    {
        for (CodeRow const* lpRow = lTables.mpRows; lpRow != nullptr && lpRow->mChar != nullptr; ++lpRow)
        {
            for (unsigned int lCase = 0; lCase < 32 * std::size(SECONDS); ++lCase)
            {
                std::string const lText = std::string(lpRow->mChar) + SECONDS[lCase / 32];
                int const lAttrib = static_cast<int>(1U << lCase % 32);
                ASSERT_EQ(attribBlockSize(lText.c_str(), lAttrib), scan::attribBlockSize(lText.c_str(), lAttrib))
                    << lText << " " << lAttrib;
            }
        }
    }
}

TEST(CharAttrib, WholeTextsAndSingleCharacters)
{
    // Alone, a kana has no mark; a 1 before a stray byte is cut off as an empty text.
    // clang-format off
    struct
    {
        char const* mpText;
        int mAttrib;
        bool mIsStr, mIsChar;
    } const CASES[] = {
        {"123", HAN_DIGIT, true, true}, {"12x", HAN_DIGIT, false, true}, {"", HAN_DIGIT, false, false},
        {"", NUL, true, true}, {nullptr, NUL, true, true}, {nullptr, HAN_DIGIT, false, false},
        {"+1+2", HAN_SIGNED, true, false}, {"ｶﾞ", DAKU_HAN_KATA, true, false}, {"ﾞ", DAKU_HAN_KATA, true, true},
        {"漢字", OTHER, true, true}, {"\uFEFF", -1, true, false}, {"\x80", -1, false, false}, {"1\x80", HAN_DIGIT, false, false}, {"1\x80", NUL, false, true}};
    // clang-format on
    for (auto const& lCase : CASES)
    {
        EXPECT_EQ(isStrAttribBase(lCase.mpText, lCase.mAttrib), lCase.mIsStr) << lCase.mpText;
        EXPECT_EQ(isCharAttribBase(lCase.mpText, lCase.mAttrib), lCase.mIsChar) << lCase.mpText;
    }
}

TEST(CharAttrib, FirstRowThatMatchesMovesTheOffset)
{
    CodeRow const OWN[] = {{"ab", L"ab"}, {"a", L"a"}, {"", L""}, {}};
    unsigned int lOffset = 1;
    for (unsigned int const lRow : {0U, 1U, 2U})
    {
        EXPECT_EQ(findCodeTable("_abac", OWN, &lOffset), OWN[lRow].mChar);
    }
    EXPECT_EQ(lOffset, 4U); // an empty row matches and moves nothing
    EXPECT_EQ(findCodeTable("_abac", KAIGYO_TBL, &lOffset), nullptr);
    EXPECT_EQ(findCodeTable("_ﾞﾞ", DAKU_HAN_KATA_TBL, &(lOffset = 1)), DAKU_HAN_KATA_TBL[21].mChar);
    EXPECT_EQ(lOffset, 4U);
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
