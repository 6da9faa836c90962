#include "UtlCharAttrib.h"

#include "UtlCharSet.h"
#include "UtlConvertAttrib.h"
#include "fuzz/reference/PlainRowScan.h"
#include "support/Test.h"

#include <cstdint>

using namespace utl;

namespace
{

// FNV-1a over the narrow text with its terminator, for the row of nulls over "end". The wide text must be the same.
void hashOn(std::uint32_t& nHash, CodeRow const& nRow)
{
    wchar_t lWide[16] = {};
    convertStrFromTcharToWchar(lWide, 16, nRow.mChar);
    EXPECT_STREQ(nRow.mChar != nullptr ? lWide : nullptr, nRow.mWchar);
    for (char const lByte : std::string(nRow.mChar != nullptr ? nRow.mChar : "end") + '\0')
    {
        nHash = (nHash ^ static_cast<unsigned char>(lByte)) * 16777619U;
    }
}

// The digests tell of any text or order that has changed.
TEST(CharAttrib, TablesHoldTheirTextsInOrder)
{
    std::uint32_t lHash = 2166136261U;
    for (scan::ClassTables const& lTables : scan::CLASSES)
    {
        CodeRow const* const* lpHex = lTables.mpHex;
        for (CodeRow const* lpRow : {lpHex[0], lpHex[1], lpHex[2], lpHex[3], lpHex[4], lTables.mpRows, lTables.mpBase,
                                     lTables.mpMark, lTables.mpMore})
        {
            for (; lpRow != nullptr; lpRow = lpRow->mChar != nullptr ? lpRow + 1 : nullptr)
            {
                hashOn(lHash, *lpRow);
            }
        }
    }
    EXPECT_EQ(lHash, 0x1C04AABFU);
    for (PairAttrib const* lpRow : scan::PAIRS)
    {
        for (; lpRow != nullptr; lpRow = lpRow->mFirst.mChar != nullptr ? lpRow + 1 : nullptr)
        {
            hashOn(lHash, lpRow->mFirst);
            hashOn(lHash, lpRow->mSecond);
        }
    }
    EXPECT_EQ(lHash, 0x3B4F8CEEU);
}

// Blocks, texts and characters: see fuzz/AttribFuzz.cpp, which the tests run too.
TEST(CharAttrib, ANullIsAnEmptyTextButNoBlock)
{
    for (int const lAttrib : {CHAR_ATTRIB_NUL, CHAR_ATTRIB_HAN_DIGIT})
    {
        EXPECT_EQ(attribBlockSize<char>(nullptr, lAttrib), STR_ERROR);
        EXPECT_EQ(isStrAttribBase<char>(nullptr, lAttrib), lAttrib == CHAR_ATTRIB_NUL);
        EXPECT_EQ(isCharAttribBase<char>(nullptr, lAttrib), lAttrib == CHAR_ATTRIB_NUL);
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
