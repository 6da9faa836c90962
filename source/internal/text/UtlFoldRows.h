/// The rows of the library's pair tables, by their index: finds single matches, and folds whole texts. Layer: folds.
#ifndef UTL_FOLD_ROWS_H
#define UTL_FOLD_ROWS_H

#include <array>
#include <cstdint>

#include "UtlCheckedText.h"
#include "UtlConvertAttrib.h"
#include "internal/text/UtlFoldWords.h"

namespace utl::internal
{

/// A row that matches.
struct Match
{
    bool mIsFound;
    unsigned int mKeySize;
    char const* mpOther;     // what to write instead of the key
    unsigned int mOtherSize; // STR_ALL: mpOther is null, or a text that was not checked
};

constexpr Match NO_MATCH = {false, 0, nullptr, 0};

/// A folded piece of text, outside the destination.
struct FoldedChunk
{
    static constexpr unsigned int CAPACITY = 512;
    static constexpr unsigned int EXCESS = FoldWords::LARGEST - 1; ///< bytes by which it may pass a limit

    char mBytes[CAPACITY + FoldWords::LARGEST]; // may pass the limit by a word, and has a byte that does not count
    unsigned int mSize;
    unsigned int mNeeded; // the room that was needed, with a character that a stray byte then removed
    bool mIsLast;         // the source ends here, or is malformed
};

/// The data of a fold; null for a table that is not the library's.
struct FoldTable
{
    FoldRow const* mpRows = nullptr;
    unsigned char const* mpFirst = nullptr; ///< the first row, by character number
    unsigned int mKeySide = 0;
    unsigned int mLeads = 0;            ///< FoldIndex::mLeads of that side
    FoldWords const* mpWords = nullptr; ///< null if folding by words does not pay
};

/// The rows of one of the library's tables. Only rows whose key begins with the character are tried, in their order.
class IndexedRows
{
public:
    IndexedRows() = default; ///< For a table that is not the library's.

    template <std::size_t N>
    IndexedRows(FoldIndex<N> const& nIndex, bool nIsReverse, FoldWords const* npWords = nullptr)
        : IndexedRows(nIndex, nIsReverse, nIndex.mFirst[nIsReverse ? 1 : 0], npWords)
    {
    }

    /// npFirst: replaces the first rows of the index.
    template <std::size_t N>
    IndexedRows(FoldIndex<N> const& nIndex, bool nIsReverse, unsigned char const* npFirst, FoldWords const* npWords)
        : mTable{nIndex.mRows.data(), npFirst, nIsReverse ? 1U : 0U, nIndex.mLeads[nIsReverse ? 1 : 0], npWords}
    {
    }

    bool isOurs() const { return mTable.mpRows != nullptr; }

    /// Finds the row that matches at npStr. A row with an empty key matches everywhere.
    bool hasEmptyKey() const { return mTable.mpFirst[CHAR_NUMBER_UNKNOWN] != 0; }

    /// Folds from npSrc until a chunk holds nLimit bytes or the text ends, for tables without an empty key.
    /// npEnd: the terminator. Result: the end of what was folded.
    unsigned char const* fold(unsigned char const* npSrc, unsigned char const* npEnd, FoldedChunk& nChunk,
                              unsigned int nLimit) const;

    /// Bytes behind npEnd that foldStrictly() may read.
    static constexpr unsigned int AHEAD = 4;

    /// The same, but surrogates and code points above U+10FFFF are malformed, and a stray continuation byte does not
    /// remove the character before it. npEnd: not inside a character; a key of two characters may pass it, and so may
    /// the result.
    unsigned char const* foldStrictly(unsigned char const* npSrc, unsigned char const* npEnd, FoldedChunk& nChunk,
                                      unsigned int nLimit) const;

    Match find(char const* npStr) const
    {
        unsigned int const lNumber = charNumber(npStr);
        unsigned int const lRow = find(bytesOf(npStr), mTable.mpFirst[lNumber], charNumberSize(lNumber));
        if (lRow == 0)
        {
            return NO_MATCH;
        }
        FoldText const& lOther = mTable.mpRows[lRow].mTexts[1 - mTable.mKeySide];
        return {true, mTable.mpRows[lRow].mTexts[mTable.mKeySide].mSize, lOther.mBytes, lOther.mSize};
    }

    /// Whether a key of two characters begins with the whole character at npChar.
    bool hasLongKey(unsigned char const* npChar) const;

private:
    // From a row whose key begins with the character of nSize bytes at npStr. Result: the row that matches, or 0.
    unsigned int find(unsigned char const* npStr, unsigned int nRow, unsigned int nSize) const
    {
        while (nRow != 0)
        {
            FoldText const& lKey = mTable.mpRows[nRow].mTexts[mTable.mKeySide];
            if (isLikely(lKey.mSize <= nSize) ||
                beginsWith(npStr + nSize, bytesOf(lKey.mBytes) + nSize, lKey.mSize - nSize))
            {
                break;
            }
            nRow = lKey.mNext;
        }
        return nRow;
    }

    FoldTable const mTable = {};
};

/// The rows of a table in one direction. isOurs() is false if the table is not the library's.
IndexedRows indexedRows(PairAttrib const* npTable, bool nIsReverse);

/// The rows of a fold. Empty keys match nothing.
IndexedRows rowsOf(Fold nFold);

} // namespace utl::internal

#endif
