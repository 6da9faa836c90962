#include "UtlConvertAttrib.h"

#include <cstring>

#include "UtlStaticBuffer.h"
#include "internal/UtlFoldIndex.h"
#include "internal/UtlStringSearch.h"
#include "tables/UtlPairRows.h"

namespace utl
{

namespace
{

using internal::bytesOf;
using internal::CHAR_NUMBER_COUNT;
using internal::CHAR_NUMBER_UNKNOWN;
using internal::FoldIndex;
using internal::FoldRow;
using internal::FoldText;

// --- The text that is written ---

// Appends as copyGeneral() does, which has the say wherever a text does not simply fit.
class FoldedText
{
public:
    FoldedText(char* npDst, unsigned int nDstSize, int nMode)
        : mpDst(npDst),
          mDstSize(nDstSize),
          mMode(nMode),
          mFree(npDst != nullptr ? nDstSize : 0)
    {
    }

    // nBytes bytes of npText, which are whole characters; STR_ALL for a text that nobody has checked. False: failed.
    bool append(char const* npText, unsigned int nBytes)
    {
        if (nBytes >= mFree)
        {
            return appendAsCopy(npText, nBytes);
        }
        copyFew(mpDst + mSize - 1, npText, nBytes);
        addStored(nBytes);
        return true;
    }

    // The characters from npText to npEnd, which no row matched. Before a stray continuation byte copyGeneral() drops
    // one, and what does not fit as a whole may fit in part.
    bool appendRun(char const* npText, char const* npEnd)
    {
        unsigned int const lBytes = static_cast<unsigned int>(npEnd - npText);
        if (lBytes < mFree && !internal::isTail(*bytesOf(npEnd)))
        {
            std::memcpy(mpDst + mSize - 1, npText, lBytes);
            addStored(lBytes);
            return true;
        }
        bool lIsAppended = true;
        while (lIsAppended && npText != npEnd)
        {
            unsigned int const lCharacter = t_charlen<char>(npText, nullptr);
            lIsAppended = appendAsCopy(npText, lCharacter);
            npText += lCharacter;
        }
        return lIsAppended;
    }

    unsigned int size() const { return mSize; }

    // Whether the same text could be appended for ever.
    bool isEndless(unsigned int nSizeBefore) const { return mDstSize == 0 || mSize == nSizeBefore; }

private:
    void addStored(unsigned int nBytes)
    {
        mSize += nBytes;
        mFree -= nBytes;
        mpDst[mSize - 1] = 0;
    }

    bool appendAsCopy(char const* npText, unsigned int nBytes)
    {
        // copyGeneral() takes 0 bytes for nothing to do, but here an empty text is a text.
        unsigned int const lMaxBytes = nBytes == 0 ? STR_ALL : nBytes;
        char const* const lpText = nBytes == 0 ? &EMPTY_CHAR : npText;
        unsigned int const lSize = copyGeneral(mpDst, mDstSize, mSize - 1, lpText, 0, lMaxBytes, mMode);
        if (lSize == STR_ERROR)
        {
            return false;
        }
        mSize = lSize;
        mFree = mFree != 0 ? mDstSize - (mSize - 1) : 0;
        return true;
    }

    // Nearly all texts of rows have 3, 1 or 6 bytes: a call of memcpy would cost more than the copy.
    static void copyFew(char* npDst, char const* npSrc, unsigned int nBytes)
    {
        switch (nBytes)
        {
        case 3:
            std::memcpy(npDst, npSrc, 3);
            return;
        case 1:
            *npDst = *npSrc;
            return;
        case 6:
            std::memcpy(npDst, npSrc, 6);
            return;
        default: // seldom
            std::memcpy(npDst, npSrc, nBytes);
        }
    }

    char* const mpDst;
    unsigned int const mDstSize;
    int const mMode;
    unsigned int mSize = 1; // in use, terminator included
    unsigned int mFree;     // of the destination, from the terminator on; 0 where there is none
};

// --- The row that matches ---

struct Match
{
    bool mIsFound;
    unsigned int mKeySize;
    char const* mpOther;     // what to write in place of the key
    unsigned int mOtherSize; // STR_ALL: null, or unchecked text
};

constexpr Match NO_MATCH = {false, 0, nullptr, 0};

// The rows of any table, from the first.
class PlainRows
{
public:
    PlainRows(PairAttrib const* npTable, bool nIsReverse)
        : mpTable(npTable),
          mIsReverse(nIsReverse)
    {
    }

    Match find(char const* npStr) const
    {
        for (PairAttrib const* lpRow = mpTable; lpRow->mFirst.mChar != nullptr; ++lpRow)
        {
            char const* const lpKey = mIsReverse ? lpRow->mSecond.mChar : lpRow->mFirst.mChar;
            char const* const lpOther = mIsReverse ? lpRow->mFirst.mChar : lpRow->mSecond.mChar;
            unsigned int const lKeySize = lpKey != nullptr ? internal::lengthOf(lpKey) : 0;
            if (lKeySize == 0 || std::strncmp(npStr, lpKey, lKeySize) == 0)
            {
                return {true, lKeySize, lpOther, STR_ALL};
            }
        }
        return NO_MATCH;
    }

private:
    PairAttrib const* const mpTable;
    bool const mIsReverse;
};

#define UTL_FOLD_LITERALS(LEFT, RIGHT) {{LEFT, RIGHT}},
#define UTL_FOLD_INDEX(NAME)                                                                                           \
    constexpr internal::FoldLiterals NAME##_LITERALS[] = {UTL_##NAME##_ROWS(UTL_FOLD_LITERALS)};                       \
    constexpr auto NAME##_INDEX = internal::makeFoldIndex(NAME##_LITERALS)

UTL_FOLD_INDEX(LOWER_UPPER);
UTL_FOLD_INDEX(HANKAKU_ZENKAKU);
UTL_FOLD_INDEX(NODAKUON_DAKUON);
UTL_FOLD_INDEX(NODAKUON_HANDAKUON);
UTL_FOLD_INDEX(ZENKATA_HIRAGANA);
UTL_FOLD_INDEX(HANKATA_HIRAGANA);

// The rows of one of our own tables: only those are tried, in their order, whose key begins with the character.
class IndexedRows
{
public:
    // For a table that is not ours.
    IndexedRows()
        : mpRows(nullptr),
          mpFirst(nullptr),
          mKeySide(0)
    {
    }

    template <std::size_t N>
    IndexedRows(FoldIndex<N> const& nIndex, bool nIsReverse)
        : mpRows(nIndex.mRows.data()),
          mpFirst(nIndex.mFirst[nIsReverse ? 1 : 0]),
          mKeySide(nIsReverse ? 1 : 0)
    {
    }

    bool isOurs() const { return mpRows != nullptr; }

    Match find(char const* npStr) const
    {
        unsigned int const lNumber = internal::charNumber(npStr);
        unsigned int lRow = mpFirst[lNumber];
        while (lRow != 0)
        {
            FoldText const& lKey = mpRows[lRow].mTexts[mKeySide];
            if (isMatch(npStr, lKey, lNumber))
            {
                FoldText const& lOther = mpRows[lRow].mTexts[1 - mKeySide];
                return {true, lKey.mSize, lOther.mBytes, lOther.mSize};
            }
            lRow = lKey.mNext;
        }
        return NO_MATCH;
    }

private:
    // The first character is known to be the key's. The first byte that differs ends the look, a terminator too.
    static bool isMatch(char const* npStr, FoldText const& nKey, unsigned int nNumber)
    {
        unsigned int lIndex = internal::charNumberSize(nNumber);
        while (lIndex < nKey.mSize && npStr[lIndex] == nKey.mBytes[lIndex])
        {
            ++lIndex;
        }
        return lIndex >= nKey.mSize;
    }

    FoldRow const* const mpRows;
    unsigned char const* const mpFirst;
    unsigned int const mKeySide;
};

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

template <class Rows>
unsigned int foldText(FoldedText nText, char const* npSrc, Rows const nRows)
{
    for (;;)
    {
        char const* const lpRun = npSrc;
        Match lMatch = NO_MATCH;
        unsigned int lBytes = 1;
        while (*npSrc != 0 && !(lMatch = nRows.find(npSrc)).mIsFound &&
               internal::isSize(lBytes = internal::charSize(bytesOf(npSrc))))
        {
            npSrc += lBytes;
        }
        if (npSrc != lpRun && !nText.appendRun(lpRun, npSrc))
        {
            return STR_ERROR;
        }
        if (!lMatch.mIsFound)
        {
            return nText.size(); // at the end, or at a malformed character
        }
        unsigned int const lSizeBefore = nText.size();
        bool const lIsAppended = nText.append(lMatch.mpOther, lMatch.mOtherSize);
        if (!lIsAppended || (lMatch.mKeySize == 0 && nText.isEndless(lSizeBefore)))
        {
            return STR_ERROR;
        }
        npSrc += lMatch.mKeySize;
    }
}

} // namespace

template <class T>
unsigned int convertAttrib(T* npDst, unsigned int nDstSize, T const* npSrc, PairAttrib const* npTable, int nReverse,
                           int nMode)
{
    if (npSrc != nullptr && *npSrc == 0)
    {
        return copyStrBase(npDst, nDstSize, npSrc, STR_ALL, 0);
    }
    if (npSrc == nullptr || npTable == nullptr)
    {
        return STR_ERROR;
    }
    WorkingBuffer<T> const lSource;
    if (copyStrBase(lSource.get(), lSource.CAPACITY, npSrc, STR_ALL, 0) == STR_ERROR)
    {
        return STR_ERROR;
    }
    FoldedText const lText(npDst, nDstSize, nMode);
    bool const lIsReverse = nReverse != 0;
    IndexedRows const lRows = indexedRows(npTable, lIsReverse);
    if (lRows.isOurs())
    {
        return foldText(lText, lSource.get(), lRows);
    }
    return foldText(lText, lSource.get(), PlainRows(npTable, lIsReverse));
}

template <class T>
unsigned int trimStrRight(T* npStr, T const* npSet)
{
    WorkingBuffer<T> const lText;
    unsigned int const lSize = copyStrBase(lText.get(), lText.CAPACITY, npStr, STR_ALL, 0);
    if (lSize == STR_ERROR)
    {
        return STR_ERROR;
    }
    WorkingBuffer<T> const lReversed;
    if (reverseStrBase(lReversed.get(), lReversed.CAPACITY, lText.get(), 0) == STR_ERROR)
    {
        return STR_ERROR;
    }
    bool const lIsDefault = npSet == nullptr || *npSet == 0;
    unsigned int const lRun = t_strspn<T>(lReversed.get(), lIsDefault ? " \t\v\r\n\f\u3000" : npSet);
    if (lRun == lSize - 1)
    {
        *npStr = 0;
        return 1;
    }
    return copyGeneral(npStr, lSize, 0, lText.get(), 0, lSize - 1 - lRun, 0);
}

template <class T>
int compareStrNoCase(T const* npLeft, T const* npRight, unsigned int nCount)
{
    WorkingBuffer<T> const lLeft;
    WorkingBuffer<T> const lRight;
    // A fold that stores nothing leaves its row empty, not with what its last user left there.
    *lLeft.get() = 0;
    *lRight.get() = 0;
    convertAttrib(lLeft.get(), lLeft.CAPACITY, npLeft, LOWER_UPPER_PAIR, 1, 0);
    convertAttrib(lRight.get(), lRight.CAPACITY, npRight, LOWER_UPPER_PAIR, 1, 0);
    return std::strncmp(lLeft.get(), lRight.get(), nCount);
}

namespace
{

constexpr unsigned int NO_DIGIT = 36; // not below any base

// By the classes HAN_DIGIT, LOWER_HAN_... and UPPER_HAN_... of one character.
unsigned int digitValue(char nCharacter)
{
    if (nCharacter >= '0' && nCharacter <= '9')
    {
        return static_cast<unsigned int>(nCharacter - '0');
    }
    if (nCharacter >= 'a' && nCharacter <= 'z')
    {
        return static_cast<unsigned int>(nCharacter - 'a') + 10;
    }
    return nCharacter >= 'A' && nCharacter <= 'Z' ? static_cast<unsigned int>(nCharacter - 'A') + 10 : NO_DIGIT;
}

// Takes the base from the prefix of a text and gives what stands behind it.
char const* skipPrefix(char const* npStr, unsigned int& nBase)
{
    if (std::strncmp(npStr, "0x", 2) == 0)
    {
        nBase = 16;
        return npStr + 2;
    }
    nBase = *npStr == '0' ? 8 : 10;
    return npStr + (nBase == 8 ? 1 : 0);
}

} // namespace

template <class V, class T>
bool strToInt(V* npValue, T const* npStr, int nBase)
{
    if (npValue == nullptr || npStr == nullptr || nBase < 0 || nBase == 1 || nBase > 36)
    {
        return false;
    }
    WorkingBuffer<T> const lText;
    *lText.get() = 0; // the fold stores nothing for text that begins malformed
    if (convertAttrib(lText.get(), lText.CAPACITY, npStr, HANKAKU_ZENKAKU_PAIR, 1, 0) == STR_ERROR)
    {
        return false;
    }
    T const* lpDigit = lText.get() + (*lText.get() == '+' ? 1 : 0);
    unsigned int lBase = static_cast<unsigned int>(nBase);
    if (lBase == 0)
    {
        lpDigit = skipPrefix(lpDigit, lBase);
    }
    constexpr unsigned int MAX_VALUE = 65535;
    T const* const lpFirst = lpDigit;
    unsigned int lValue = 0;
    for (unsigned int lDigit = digitValue(*lpDigit); lDigit < lBase; lDigit = digitValue(*++lpDigit))
    {
        lValue = lValue * lBase + lDigit;
        if (lValue > MAX_VALUE)
        {
            return false;
        }
    }
    if (lpDigit == lpFirst)
    {
        return false; // a minus too
    }
    *npValue = static_cast<V>(lValue);
    return true;
}

template UTL_API unsigned int convertAttrib<char>(char*, unsigned int, char const*, PairAttrib const*, int, int);
template UTL_API unsigned int trimStrRight<char>(char*, char const*);
template UTL_API int compareStrNoCase<char>(char const*, char const*, unsigned int);
template UTL_API bool strToInt<unsigned short, char>(unsigned short*, char const*, int);

} // namespace utl
