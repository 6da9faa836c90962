/// The rows of our own pair tables behind an index: single matches, and whole stretches of text folded. Layer: folds.
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
    char const* mpOther;     // what to write in place of the key
    unsigned int mOtherSize; // STR_ALL: null, or unchecked text
};

constexpr Match NO_MATCH = {false, 0, nullptr, 0};

/// A piece of text that has been folded, somewhere else than in the destination.
struct FoldedChunk
{
    static constexpr unsigned int CAPACITY = 512;
    static constexpr unsigned int EXCESS = FoldWords::LARGEST - 1; ///< bytes that it may be past a limit

    char mBytes[CAPACITY + FoldWords::LARGEST]; // past the limit by a word, with a byte that does not count
    unsigned int mSize;
    unsigned int mNeeded; // room, with what a stray byte then took away
    bool mIsLast;         // the source ends here, or is malformed
};

/// What a fold goes by; null for a table that is not ours.
struct FoldTable
{
    FoldRow const* mpRows = nullptr;
    unsigned char const* mpFirst = nullptr; ///< by character
    unsigned int mKeySide = 0;
    unsigned int mLeads = 0;            ///< FoldIndex::mLeads of that side
    FoldWords const* mpWords = nullptr; ///< null if words are not worth a look
};

/// The rows of one of our own tables: only those are tried, in their order, whose key begins with the character.
class IndexedRows
{
public:
    IndexedRows() = default; ///< For a table that is not ours.

    template <std::size_t N>
    IndexedRows(FoldIndex<N> const& nIndex, bool nIsReverse, FoldWords const* npWords = nullptr)
        : IndexedRows(nIndex, nIsReverse, nIndex.mFirst[nIsReverse ? 1 : 0], npWords)
    {
    }

    /// npFirst: other first rows than those of the index.
    template <std::size_t N>
    IndexedRows(FoldIndex<N> const& nIndex, bool nIsReverse, unsigned char const* npFirst, FoldWords const* npWords)
        : mTable{nIndex.mRows.data(), npFirst, nIsReverse ? 1U : 0U, nIndex.mLeads[nIsReverse ? 1 : 0], npWords}
    {
    }

    bool isOurs() const { return mTable.mpRows != nullptr; }

    /// A row with an empty key matches everywhere.
    bool hasEmptyKey() const { return mTable.mpFirst[CHAR_NUMBER_UNKNOWN] != 0; }

    /// Folds from npSrc until a chunk holds nLimit bytes or the text ends, for tables without an empty key.
    /// npEnd: the terminator. Result: behind what was folded.
    unsigned char const* fold(unsigned char const* npSrc, unsigned char const* npEnd, FoldedChunk& nChunk,
                              unsigned int nLimit) const;

    /// Bytes behind npEnd that foldStrictly() may read.
    static constexpr unsigned int AHEAD = 4;

    /// The same, but surrogates and what is above U+10FFFF are malformed, and a stray continuation byte takes nothing
    /// along. npEnd: not within a character; a key of two characters may go past it, and so may the result.
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

/// The rows of a table, in one direction; not isOurs() for a table that is not.
IndexedRows indexedRows(PairAttrib const* npTable, bool nIsReverse);

/// The rows of a fold. Empty keys match nothing.
IndexedRows rowsOf(Fold nFold);

} // namespace utl::internal

#endif
