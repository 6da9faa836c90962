/// The folds and classes the slow way: every row of every table, from the first. What the index in front of the tables
/// is compared with, and measured against.
#ifndef UTL_FUZZ_PLAIN_ROW_SCAN_H
#define UTL_FUZZ_PLAIN_ROW_SCAN_H

#include <cstring>

#include "UtlConvertAttrib.h"
#include "UtlStaticBuffer.h"

namespace scan
{

/// The tables of one class; nulls where it has none.
struct ClassTables
{
    int mClass;
    utl::CodeRow const* mpRows;   // plain classes, and whole blocks of voiced ones
    utl::CodeRow const* mpBase;   // voiced: plain kana; signed: the signs
    utl::CodeRow const* mpMark;   // voiced: the mark; signed: the digits
    utl::CodeRow const* mpMore;   // behind a whole one; voiced: small kana; signed: the digits
    utl::CodeRow const* mpHex[5]; // prefix, digits, lower, upper, suffix
};

// clang-format off
#define SCAN_PLAIN(CLASS, TABLE) {utl::CHAR_ATTRIB_##CLASS, utl::TABLE##_TBL, nullptr, nullptr, nullptr, {}}
#define SCAN_ROWS(CLASS) SCAN_PLAIN(CLASS, CLASS)
#define SCAN_ALPHA(CLASS) SCAN_PLAIN(CLASS, CLASS##_ALPHA)
#define SCAN_SIGNED(W) \
    {utl::CHAR_ATTRIB_##W##_SIGNED, nullptr, utl::W##_SIGN_TBL, utl::W##_DIGIT_TBL, utl::W##_DIGIT_TBL, {}}
#define SCAN_HEX(W) \
    {utl::CHAR_ATTRIB_##W##_HEX, nullptr, nullptr, nullptr, nullptr, {utl::W##_HEX_PREFIX_TBL, utl::W##_DIGIT_TBL, \
      utl::LOWER_##W##_HEX_ALPHA_TBL, utl::UPPER_##W##_HEX_ALPHA_TBL, utl::W##_HEX_SUFFIX_TBL}}
#define SCAN_VOICED(VOICE, KANA, MARK) \
    {utl::CHAR_ATTRIB_##VOICE##_##KANA, utl::VOICE##_##KANA##_TBL, utl::NODAKU_##KANA##_TBL, utl::MARK##_TBL, \
     utl::KANA##_YOUSOKU_TBL, {}}

/// The classes in the order in which they are tried; NUL and OTHER have no tables.
inline ClassTables const CLASSES[] = {
    SCAN_ROWS(KAIGYO), SCAN_ROWS(TAB_FF), SCAN_ROWS(CTL_OTHER), SCAN_ROWS(HAN_SPACE), SCAN_ROWS(ZEN_SPACE),
    SCAN_ROWS(HAN_MARK), SCAN_ROWS(ZEN_MARK), SCAN_ROWS(HAN_DIGIT), SCAN_ROWS(ZEN_DIGIT), SCAN_SIGNED(HAN),
    SCAN_SIGNED(ZEN), SCAN_HEX(HAN), SCAN_HEX(ZEN), SCAN_ALPHA(LOWER_HAN_HEX), SCAN_ALPHA(LOWER_ZEN_HEX),
    SCAN_ALPHA(LOWER_HAN_NOHEX), SCAN_ALPHA(LOWER_ZEN_NOHEX), SCAN_ALPHA(UPPER_HAN_HEX), SCAN_ALPHA(UPPER_ZEN_HEX),
    SCAN_ALPHA(UPPER_HAN_NOHEX), SCAN_ALPHA(UPPER_ZEN_NOHEX), SCAN_ROWS(NODAKU_HAN_KATA), SCAN_ROWS(NODAKU_ZEN_KATA),
    SCAN_VOICED(DAKU, HAN_KATA, HAN_DAKUTEN), SCAN_VOICED(DAKU, ZEN_KATA, ZEN_DAKUTEN),
    SCAN_VOICED(HANDAKU, HAN_KATA, HAN_HANDAKUTEN), SCAN_VOICED(HANDAKU, ZEN_KATA, ZEN_HANDAKUTEN),
    SCAN_ROWS(NODAKU_HIRA), SCAN_VOICED(DAKU, HIRA, ZEN_DAKUTEN), SCAN_VOICED(HANDAKU, HIRA, ZEN_HANDAKUTEN),
};
// clang-format on

inline utl::PairAttrib const* const PAIRS[] = {utl::LOWER_UPPER_PAIR,      utl::HANKAKU_ZENKAKU_PAIR,
                                               utl::NODAKUON_DAKUON_PAIR,  utl::NODAKUON_HANDAKUON_PAIR,
                                               utl::ZENKATA_HIRAGANA_PAIR, utl::HANKATA_HIRAGANA_PAIR};

inline bool skipRow(char const* npStr, utl::CodeRow const* npTable, unsigned int& nOffset)
{
    for (; npTable != nullptr && npTable->mChar != nullptr; ++npTable)
    {
        std::size_t const lSize = std::strlen(npTable->mChar);
        if (std::strncmp(npStr + nOffset, npTable->mChar, lSize) == 0)
        {
            nOffset += static_cast<unsigned int>(lSize);
            return true;
        }
    }
    return false;
}

/// attribBlockSize() with the classes tried one by one, the last that matches deciding.
inline unsigned int attribBlockSize(char const* npStr, int nAttrib)
{
    unsigned int lResult = (nAttrib & utl::CHAR_ATTRIB_NUL) != 0 && *npStr == 0 ? 1 : utl::STR_ERROR;
    for (ClassTables const& lTables : CLASSES)
    {
        if ((nAttrib & lTables.mClass) == 0)
        {
            continue;
        }
        unsigned int lOffset = 0;
        bool lIsBlock = false;
        auto const lSkip = [&](utl::CodeRow const* npTable) { return skipRow(npStr, npTable, lOffset); };
        if (lTables.mpHex[0] != nullptr)
        {
            bool const lHasPrefix = lSkip(lTables.mpHex[0]);
            while (lSkip(lTables.mpHex[1]) || lSkip(lTables.mpHex[2]) || lSkip(lTables.mpHex[3]))
            {
                lIsBlock = true;
            }
            bool const lHasSuffix = lSkip(lTables.mpHex[4]);
            lIsBlock = lIsBlock && !(lHasPrefix && lHasSuffix);
        }
        else
        {
            lIsBlock = lSkip(lTables.mpRows) || (lSkip(lTables.mpBase) && lSkip(lTables.mpMark));
            while (lIsBlock && lSkip(lTables.mpMore))
            {
            }
        }
        lResult = lIsBlock ? lOffset : lResult;
    }
    if ((nAttrib & utl::CHAR_ATTRIB_OTHER) != 0 && attribBlockSize(npStr, 0x7FFFFFFF) == utl::STR_ERROR)
    {
        unsigned int const lSize = utl::t_charlen<char>(npStr, nullptr);
        lResult = lSize != 0 ? lSize : utl::STR_ERROR;
    }
    return lResult;
}

/// convertAttrib() with all rows tried at each position. Not for what would never end.
inline unsigned int convertAttrib(char* npDst, unsigned int nDstSize, char const* npSrc, utl::PairAttrib const* npTable,
                                  int nReverse, int nMode)
{
    if (*npSrc == 0)
    {
        return utl::copyStrBase(npDst, nDstSize, npSrc, utl::STR_ALL, 0);
    }
    utl::WorkingBuffer<char> const lRow;
    bool const lIsTooLong = utl::copyStrBase(lRow.get(), lRow.CAPACITY, npSrc, utl::STR_ALL, 0) == utl::STR_ERROR;
    unsigned int lSize = lIsTooLong ? utl::STR_ERROR : 1;
    char const* lpText = lRow.get();
    while (*lpText != 0 && lSize != utl::STR_ERROR)
    {
        utl::PairAttrib const* lpRow = npTable;
        auto const lKeyOf = [&] { return nReverse != 0 ? lpRow->mSecond.mChar : lpRow->mFirst.mChar; };
        while (lpRow->mFirst.mChar != nullptr && std::strncmp(lpText, lKeyOf(), std::strlen(lKeyOf())) != 0)
        {
            ++lpRow;
        }
        bool const lIsMatch = lpRow->mFirst.mChar != nullptr;
        char const* const lpOther = nReverse != 0 ? lpRow->mFirst.mChar : lpRow->mSecond.mChar;
        unsigned int const lBytes =
            lIsMatch ? static_cast<unsigned int>(std::strlen(lKeyOf())) : utl::t_charlen<char>(lpText, nullptr);
        if (lBytes == utl::STR_ERROR)
        {
            break;
        }
        lSize = utl::copyGeneral(npDst, nDstSize, lSize - 1, lIsMatch ? lpOther : lpText, 0,
                                 lIsMatch ? utl::STR_ALL : lBytes, nMode);
        lpText += lBytes;
    }
    return lSize;
}

} // namespace scan

#endif
