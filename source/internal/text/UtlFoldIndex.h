/// An index of a pair table: it gives the rows that can match at a character, in their order. Layer: folds.
#ifndef UTL_FOLD_INDEX_H
#define UTL_FOLD_INDEX_H

#include <array>
#include <cstddef>

#include "internal/text/UtlCharNumber.h"

namespace utl::internal
{

/// One text of a pair row, as a key and as a replacement.
struct FoldText
{
    char mBytes[6]; // without terminator; the longest texts are two characters of three bytes
    unsigned char mSize;
    unsigned char mNext; // the next row whose text on this side begins with the same character; 0 for none
};

/// A row; index 0 is the left text.
struct FoldRow
{
    FoldText mTexts[2];
};

/// The texts of a row, as literals.
struct FoldLiterals
{
    char const* mpTexts[2];
};

/// Holds copies of a table's texts, so that the index has no addresses in it and is read-only data that needs no
/// relocation. Rows are numbered from 1.
template <std::size_t N>
struct FoldIndex
{
    static_assert(N <= 255, "row numbers have one byte");

    std::array<FoldRow, N + 1> mRows;
    unsigned char mFirst[2][CHAR_PAGE_COUNT * 64]; // first row whose key begins with the character, or is empty
    unsigned short mLeads[2];                      // a bit for each lead byte, E0 to EF, that begins a key
};

constexpr FoldText makeFoldText(char const* npText)
{
    FoldText lText{};
    for (; npText[lText.mSize] != 0; ++lText.mSize)
    {
        lText.mBytes[lText.mSize] = npText[lText.mSize];
    }
    return lText;
}

// Enters the key ahead of the later rows. A row with an empty key matches everywhere, so that no later row is reached.
template <std::size_t N>
constexpr void enterKey(FoldIndex<N>& nIndex, unsigned int nRow, unsigned int nSide, char const* npKey)
{
    unsigned char const lRow = static_cast<unsigned char>(nRow);
    if (*npKey == 0)
    {
        for (unsigned char& lFirst : nIndex.mFirst[nSide])
        {
            lFirst = lRow;
        }
        return;
    }
    unsigned char& lFirst = nIndex.mFirst[nSide][charNumber(npKey)];
    nIndex.mRows[nRow].mTexts[nSide].mNext = lFirst;
    lFirst = lRow;
    if (charNumberSize(charNumber(npKey)) == 3)
    {
        unsigned int const lLead = static_cast<unsigned char>(*npKey) & 0x0FU;
        nIndex.mLeads[nSide] = static_cast<unsigned short>(nIndex.mLeads[nSide] | 1U << lLead);
    }
}

template <std::size_t N>
constexpr FoldIndex<N> makeFoldIndex(FoldLiterals const (&nRows)[N])
{
    FoldIndex<N> lIndex{};
    for (std::size_t lRow = N; lRow > 0; --lRow)
    {
        for (unsigned int lSide = 0; lSide < 2; ++lSide)
        {
            char const* const lpText = nRows[lRow - 1].mpTexts[lSide];
            lIndex.mRows[lRow].mTexts[lSide] = makeFoldText(lpText);
            enterKey(lIndex, static_cast<unsigned int>(lRow), lSide, lpText);
        }
    }
    return lIndex;
}

/// Whether each text is empty, one character, or two of one size.
template <std::size_t N>
constexpr bool hasUsualKeys(FoldIndex<N> const& nIndex)
{
    for (std::size_t lRow = 1; lRow <= N; ++lRow)
    {
        for (FoldText const& lText : nIndex.mRows[lRow].mTexts)
        {
            unsigned int const lSize = lText.mSize != 0 ? charNumberSize(charNumber(lText.mBytes)) : 0;
            if (lText.mSize != lSize && lText.mSize != 2 * lSize)
            {
                return false;
            }
        }
    }
    return true;
}

} // namespace utl::internal

#endif
