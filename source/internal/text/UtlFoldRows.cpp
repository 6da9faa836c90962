// The rows of the library's pair tables, by their index. Layer: folds.
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

constexpr FoldWords UPPER_WORDS = makeFoldWords(LOWER_UPPER_INDEX, 0);
constexpr FoldWords LOWER_WORDS = makeFoldWords(LOWER_UPPER_INDEX, 1);
constexpr FoldWords FULL_WIDTH_WORDS = makeFoldWords(HANKAKU_ZENKAKU_INDEX, 0);
static_assert(hasFoldWords(LOWER_UPPER_INDEX, 0));
static_assert(hasFoldWords(LOWER_UPPER_INDEX, 1));
static_assert(hasFoldWords(HANKAKU_ZENKAKU_INDEX, 0));

constexpr CharPages CHAR_PAGES = makeCharPages();

// First rows without the row that has an empty key, so that the rows behind it are found.
struct FirstRows
{
    unsigned char mRows[CHAR_PAGE_COUNT * 64];
};

// For the left side, on which all other keys are different single characters.
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

// charSize() of a text that is not empty; with strict checks 0 also for surrogates and code points above U+10FFFF.
template <bool IS_STRICT>
unsigned int sizeOf(unsigned char const* npChar)
{
    unsigned int const lSize = charSize(npChar);
    return IS_STRICT && isSize(lSize) && lSize >= 3 && isTooHigh(npChar[0], npChar[1]) ? 0 : lSize;
}

// How far a fold has come.
struct FoldPlace
{
    unsigned char const* mpSrc;
    char* mpOut;
    unsigned int mCopied; // bytes of the last character, if no row matched
};

// The loops of a fold, with its table in local variables: the compiler must assume that stored bytes change others.
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
        char const* const lpLast = nChunk.mBytes + nLimit - 1;
        char const* lpGoal = lpLast;
        FoldPlace lAt{npSrc, nChunk.mBytes, 0};
        do
        {
            if (mpWords != nullptr)
            {
                mpWords->mAreLetters ? foldWords<true>(lAt, npEnd, lpLast) : foldWords<false>(lAt, npEnd, lpLast);
                // A word that is not usual is folded by single characters; then words again.
                lpGoal = lAt.mpOut + std::min<std::ptrdiff_t>(lpLast - lAt.mpOut, sizeof(Word) - 1);
            }
            foldChars(lAt, npEnd, lpGoal);
        } while (lAt.mpOut > lpGoal && lAt.mpOut <= lpLast);
        // A stray continuation byte removes the character before it.
        bool const lIsStray = !IS_STRICT && isTail(*lAt.mpSrc);
        nChunk.mNeeded = static_cast<unsigned int>(lAt.mpOut - nChunk.mBytes);
        nChunk.mSize = nChunk.mNeeded - (lIsStray ? lAt.mCopied : 0);
        nChunk.mIsLast = lAt.mpOut <= lpLast || lIsStray;
        return lAt.mpSrc;
    }

private:
    // Whether a usual character of three bytes begins no key, told by its lead byte.
    bool isForeign(std::uint32_t nLead) const { return (mLeads >> (nLead & 0x0FU) & 1U) == 0; }

    // Words that FoldWords can fold. ARE_LETTERS: FoldWords::mAreLetters.
    template <bool ARE_LETTERS>
    void foldWords(FoldPlace& nAt, unsigned char const* npEnd, char const* npLast) const
    {
        unsigned char const* lpSrc = nAt.mpSrc;
        char* lpOut = nAt.mpOut;
        Word lTailsDue = 0;
        bool lIsUsual = true;
        while (lIsUsual && npEnd - lpSrc >= WORD_BYTES && lpOut <= npLast)
        {
            lIsUsual = foldWordRun<ARE_LETTERS>(lpSrc, npEnd, lpOut, npLast, lTailsDue);
        }
        if (lpSrc != nAt.mpSrc)
        {
            lpSrc -= cutOffBytes(lTailsDue);
            lpOut -= cutOffBytes(lTailsDue);
            nAt = {lpSrc, lpOut, lpSrc[-1] >= 0x80 ? 3U : mpFirst[lpSrc[-1]] == 0 ? 1U : 0U};
        }
    }

    // Folds words that keep their size, and one that does not. Result: whether all were usual; the last may be cut off.
    template <bool ARE_LETTERS>
    bool foldWordRun(unsigned char const*& npSrc, unsigned char const* npEnd, char*& npOut, char const* npLast,
                     Word& nTailsDue) const
    {
        FoldWords const& lWords = *mpWords;
        std::ptrdiff_t const lStop = std::min(npEnd - npSrc - WORD_BYTES, npLast - npOut); // the last start of a word
        std::ptrdiff_t lAt = 0;
        Word lKeys = 0;
        bool lIsUsual = true;
        while (lAt <= lStop)
        {
            Word const lWord = wordAt(npSrc + lAt);
            WordOfText const lLook = lookAt<IS_STRICT, 0xEE>(lWord, nTailsDue);
            lIsUsual = lLook.mUnusual == 0;
            if (!isLikely(lIsUsual))
            {
                break;
            }
            nTailsDue = lLook.mTailsDue;
            lKeys = lWords.keys(lWord);
            if (!ARE_LETTERS && !isLikely(lKeys == 0))
            {
                break;
            }
            storeWord(npOut + lAt, ARE_LETTERS ? FoldWords::otherCase(lWord, lKeys) : lWord);
            lAt += WORD_BYTES;
        }
        npSrc += lAt;
        npOut += lAt;
        if (!ARE_LETTERS && lIsUsual && lKeys != 0)
        {
            npOut = lWords.put(npOut, wordAt(npSrc));
            npSrc += WORD_BYTES;
        }
        return lIsUsual;
    }

    void foldChars(FoldPlace& nAt, unsigned char const* npEnd, char const* npLast) const
    {
        unsigned char const* lpSrc = nAt.mpSrc;
        char* lpOut = nAt.mpOut;
        unsigned int lCopied = nAt.mCopied;
        for (; lpOut <= npLast; lpOut += lCopied, lpSrc += lCopied)
        {
            // A branch for each size, so that the next character does not wait for the row of this one.
            if (isLikely(npEnd - lpSrc >= 3 && isUsualThree(fourBytesAt(lpSrc))))
            {
                lCopied = isForeign(*lpSrc) ? copyForeign(lpSrc, npEnd, lpOut, npLast) : foldThree(lpSrc, lpOut);
                continue;
            }
            unsigned int const lSize = lpSrc < npEnd ? sizeOf<IS_STRICT>(lpSrc) : 0;
            if (lSize == 1)
            {
                lCopied = foldCharacter<1>(lpSrc, lpOut, mpFirst[*lpSrc]);
            }
            else if (isSize(lSize))
            {
                lCopied = lSize;
                std::memcpy(lpOut, lpSrc, lSize);
            }
            else
            {
                break;
            }
        }
        nAt = {lpSrc, lpOut, lCopied};
    }

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

namespace
{

IndexedRows caseRows(bool nIsReverse)
{
    return IndexedRows(LOWER_UPPER_INDEX, nIsReverse, nIsReverse ? &LOWER_WORDS : &UPPER_WORDS);
}

IndexedRows widthRows(bool nIsReverse)
{
    return IndexedRows(HANKAKU_ZENKAKU_INDEX, nIsReverse, nIsReverse ? nullptr : &FULL_WIDTH_WORDS);
}

} // namespace

IndexedRows indexedRows(PairAttrib const* npTable, bool nIsReverse)
{
    if (npTable == LOWER_UPPER_PAIR)
    {
        return caseRows(nIsReverse);
    }
    if (npTable == HANKAKU_ZENKAKU_PAIR)
    {
        return widthRows(nIsReverse);
    }
#define UTL_INDEX_OF(NAME)                                                                                             \
    if (npTable == NAME##_PAIR)                                                                                        \
    {                                                                                                                  \
        return IndexedRows(NAME##_INDEX, nIsReverse);                                                                  \
    }
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
        return caseRows(false);
    case Fold::LOWER:
        return caseRows(true);
    case Fold::FULL_WIDTH:
        return widthRows(false);
    case Fold::HALF_WIDTH:
        return widthRows(true);
    case Fold::VOICED:
        return IndexedRows(NODAKUON_DAKUON_INDEX, false, VOICED_FIRST.mRows, nullptr);
    case Fold::NOT_VOICED:
        return IndexedRows(NODAKUON_DAKUON_INDEX, true);
    case Fold::SEMI_VOICED:
        return IndexedRows(NODAKUON_HANDAKUON_INDEX, false, SEMI_VOICED_FIRST.mRows, nullptr);
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
