// The rows of our own pair tables behind an index. Layer: folds.
#include "internal/text/UtlFoldRows.h"

#include <algorithm>
#include <cstring>

#include "tables/UtlPairRows.h"

namespace utl::internal
{

namespace
{

#define UTL_FOLD_LITERALS(LEFT, RIGHT) {{LEFT, RIGHT}},
#define UTL_FOLD_INDEX(NAME)                                                                                           \
    constexpr FoldLiterals NAME##_LITERALS[] = {UTL_##NAME##_ROWS(UTL_FOLD_LITERALS)};                                 \
    constexpr auto NAME##_INDEX = makeFoldIndex(NAME##_LITERALS);                                                      \
    static_assert(hasUsualKeys(NAME##_INDEX), "a key is one character or two of one size")

UTL_FOLD_INDEX(LOWER_UPPER);
UTL_FOLD_INDEX(HANKAKU_ZENKAKU);
UTL_FOLD_INDEX(NODAKUON_DAKUON);
UTL_FOLD_INDEX(NODAKUON_HANDAKUON);
UTL_FOLD_INDEX(ZENKATA_HIRAGANA);
UTL_FOLD_INDEX(HANKATA_HIRAGANA);

constexpr CharPages CHAR_PAGES = makeCharPages();

// First rows without the row whose key is empty, so that the rows behind that are found.
struct FirstRows
{
    unsigned char mRows[CHAR_PAGE_COUNT * 64];
};

// For the left side, on which every other key is a character of its own.
template <std::size_t N>
constexpr FirstRows firstRowsWithKey(FoldIndex<N> const& nIndex)
{
    FirstRows lFirst{};
    for (std::size_t lRow = N; lRow > 0; --lRow)
    {
        FoldText const& lKey = nIndex.mRows[lRow].mTexts[0];
        if (lKey.mSize != 0)
        {
            lFirst.mRows[charNumber(lKey.mBytes)] = static_cast<unsigned char>(lRow);
        }
    }
    return lFirst;
}

template <std::size_t N>
constexpr bool hasSingleKeys(FoldIndex<N> const& nIndex)
{
    for (FoldRow const& lRow : nIndex.mRows)
    {
        if (lRow.mTexts[0].mSize > 3)
        {
            return false;
        }
    }
    return true;
}

constexpr FirstRows VOICED_FIRST = firstRowsWithKey(NODAKUON_DAKUON_INDEX);
constexpr FirstRows SEMI_VOICED_FIRST = firstRowsWithKey(NODAKUON_HANDAKUON_INDEX);
static_assert(hasSingleKeys(NODAKUON_DAKUON_INDEX) && hasSingleKeys(NODAKUON_HANDAKUON_INDEX));

// charSize() of a text that is not empty; 0 also for what is malformed only strictly.
template <bool IS_STRICT>
unsigned int sizeOf(unsigned char const* npChar)
{
    unsigned int const lSize = charSize(npChar);
    return IS_STRICT && isSize(lSize) && lSize >= 3 && isTooHigh(npChar[0], npChar[1]) ? 0 : lSize;
}

// The loop of a fold, with its table in registers: what it writes could be anything's bytes.
template <bool IS_STRICT>
class FoldWalk : FoldTable
{
public:
    explicit FoldWalk(FoldTable const& nTable)
        : FoldTable(nTable)
    {
    }

    unsigned char const* fold(unsigned char const* npSrc, unsigned char const* npEnd, FoldedChunk& nChunk,
                              unsigned int nLimit) const
    {
        char* lpOut = nChunk.mBytes;
        char const* const lpLast = nChunk.mBytes + nLimit - 1;
        unsigned int lCopied = 0; // bytes of the last character, if no row had it
        for (; lpOut <= lpLast; lpOut += lCopied, npSrc += lCopied)
        {
            // A branch for each size, so that the next character does not wait for the row of this one.
            if (isLikely(npEnd - npSrc >= 3 && isUsualThree(fourBytesAt(npSrc))))
            {
                lCopied = isForeign(*npSrc) ? copyForeign(npSrc, npEnd, lpOut, lpLast) : foldThree(npSrc, lpOut);
                continue;
            }
            unsigned int const lSize = npSrc < npEnd ? sizeOf<IS_STRICT>(npSrc) : 0;
            if (lSize == 1)
            {
                lCopied = foldCharacter<1>(npSrc, lpOut, mpFirst[*npSrc]);
            }
            else if (isSize(lSize))
            {
                lCopied = lSize;
                std::memcpy(lpOut, npSrc, lSize);
            }
            else
            {
                break;
            }
        }
        // A stray continuation byte takes the character before it along.
        bool const lIsStray = !IS_STRICT && isTail(*npSrc);
        nChunk.mNeeded = static_cast<unsigned int>(lpOut - nChunk.mBytes);
        nChunk.mSize = nChunk.mNeeded - (lIsStray ? lCopied : 0);
        nChunk.mIsLast = lpOut <= lpLast || lIsStray;
        return npSrc;
    }

private:
    // Whether a usual character of three bytes begins no key, by its lead byte.
    bool isForeign(std::uint32_t nLead) const { return (mLeads >> (nLead & 0x0FU) & 1U) == 0; }

    // A run of foreign characters, of which there is one. Moves both to the last one of them, which is stored.
    // Result: its size.
    unsigned int copyForeign(unsigned char const*& npSrc, unsigned char const* npEnd, char*& npOut,
                             char const* npLast) const
    {
        unsigned char const* const lpStop = npSrc + std::min<std::ptrdiff_t>(npEnd - npSrc - 2, npLast - npOut + 1);
        unsigned char const* lpAt = npSrc;
        char* lpOut = npOut;
        std::uint32_t lBytes = fourBytesAt(lpAt);
        do
        {
            storeFour(lpOut, lBytes);
            lpAt += 3;
            lpOut += 3;
        } while (lpAt < lpStop && isUsualThree(lBytes = fourBytesAt(lpAt)) && isForeign(lBytes));
        npSrc = lpAt - 3;
        npOut = lpOut - 3;
        return 3;
    }

    unsigned int foldThree(unsigned char const*& npSrc, char*& npOut) const
    {
        unsigned int const lPage = CHAR_PAGES.of(npSrc[0], npSrc[1]);
        return foldCharacter<3>(npSrc, npOut, mpFirst[lPage * 64 + tailBits(npSrc[2])]);
    }

    // From a row whose key begins with the character of SIZE bytes at npSrc, or 0. Moves both behind a row that
    // matches. Result: 0; SIZE if no row matches, and then the character is stored, with a byte behind it.
    template <unsigned int SIZE>
    unsigned int foldCharacter(unsigned char const*& npSrc, char*& npOut, unsigned int nRow) const
    {
        while (nRow != 0)
        {
            FoldText const& lKey = mpRows[nRow].mTexts[mKeySide];
            FoldText const& lOther = mpRows[nRow].mTexts[1 - mKeySide];
            bool const lIsOne = isLikely(lKey.mSize == SIZE);
            if (lIsOne || beginsWith(npSrc + SIZE, bytesOf(lKey.mBytes) + SIZE, SIZE))
            {
                std::memcpy(npOut, lOther.mBytes, sizeof(FoldText));
                npOut += lOther.mSize;
                npSrc += SIZE;
                npSrc += lIsOne ? 0 : SIZE;
                return 0;
            }
            nRow = lKey.mNext;
        }
        std::memcpy(npOut, npSrc, SIZE + SIZE / 3);
        return SIZE;
    }
};

} // namespace

unsigned char const* IndexedRows::fold(unsigned char const* npSrc, unsigned char const* npEnd, FoldedChunk& nChunk,
                                       unsigned int nLimit) const
{
    return FoldWalk<false>(mTable).fold(npSrc, npEnd, nChunk, nLimit);
}

unsigned char const* IndexedRows::foldStrictly(unsigned char const* npSrc, unsigned char const* npEnd,
                                               FoldedChunk& nChunk, unsigned int nLimit) const
{
    return FoldWalk<true>(mTable).fold(npSrc, npEnd, nChunk, nLimit);
}

bool IndexedRows::hasLongKey(unsigned char const* npChar) const
{
    unsigned int const lNumber = charNumber(reinterpret_cast<char const*>(npChar));
    for (unsigned int lRow = mTable.mpFirst[lNumber]; lRow != 0;
         lRow = mTable.mpRows[lRow].mTexts[mTable.mKeySide].mNext)
    {
        if (mTable.mpRows[lRow].mTexts[mTable.mKeySide].mSize > charNumberSize(lNumber))
        {
            return true;
        }
    }
    return false;
}

IndexedRows indexedRows(PairAttrib const* npTable, bool nIsReverse)
{
#define UTL_INDEX_OF(NAME)                                                                                             \
    if (npTable == NAME##_PAIR)                                                                                        \
    {                                                                                                                  \
        return IndexedRows(NAME##_INDEX, nIsReverse);                                                                  \
    }
    UTL_INDEX_OF(LOWER_UPPER)
    UTL_INDEX_OF(HANKAKU_ZENKAKU)
    UTL_INDEX_OF(NODAKUON_DAKUON)
    UTL_INDEX_OF(NODAKUON_HANDAKUON)
    UTL_INDEX_OF(ZENKATA_HIRAGANA)
    UTL_INDEX_OF(HANKATA_HIRAGANA)
    return IndexedRows();
}

IndexedRows rowsOf(Fold nFold)
{
    switch (nFold)
    {
    case Fold::UPPER:
        return IndexedRows(LOWER_UPPER_INDEX, false);
    case Fold::LOWER:
        return IndexedRows(LOWER_UPPER_INDEX, true);
    case Fold::FULL_WIDTH:
        return IndexedRows(HANKAKU_ZENKAKU_INDEX, false);
    case Fold::HALF_WIDTH:
        return IndexedRows(HANKAKU_ZENKAKU_INDEX, true);
    case Fold::VOICED:
        return IndexedRows(NODAKUON_DAKUON_INDEX, false, VOICED_FIRST.mRows);
    case Fold::NOT_VOICED:
        return IndexedRows(NODAKUON_DAKUON_INDEX, true);
    case Fold::SEMI_VOICED:
        return IndexedRows(NODAKUON_HANDAKUON_INDEX, false, SEMI_VOICED_FIRST.mRows);
    case Fold::NOT_SEMI_VOICED:
        return IndexedRows(NODAKUON_HANDAKUON_INDEX, true);
    case Fold::KATAKANA_TO_HIRAGANA:
        return IndexedRows(ZENKATA_HIRAGANA_INDEX, false);
    case Fold::HIRAGANA_TO_KATAKANA:
        return IndexedRows(ZENKATA_HIRAGANA_INDEX, true);
    case Fold::HALF_KATAKANA_TO_HIRAGANA:
        return IndexedRows(HANKATA_HIRAGANA_INDEX, false);
    default:
        return IndexedRows(HANKATA_HIRAGANA_INDEX, true);
    }
}

} // namespace utl::internal
