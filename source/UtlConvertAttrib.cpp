// Folds between full and half width and between cases, comparison without case, numbers in text.
#include "UtlConvertAttrib.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "UtlStaticBuffer.h"
#include "internal/text/UtlFoldRows.h"
#include "internal/text/UtlStringSearch.h"

namespace utl
{

namespace
{

using internal::bytesOf;
using internal::FoldedChunk;
using internal::IndexedRows;
using internal::Match;
using internal::NO_MATCH;

// --- The text that is written ---

// The destination of a fold. Appends as copyGeneral() does, and calls it if a text may not fit.
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

    // Appends nBytes bytes, which are whole characters; STR_ALL: all of a text that was not checked. False: failed.
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

    // Appends a folded chunk. False, with nothing done, if it may not fit.
    bool appendChunk(char const* npText, unsigned int nBytes, unsigned int nNeeded)
    {
        if (nNeeded >= mFree)
        {
            return false;
        }
        std::memcpy(mpDst + mSize - 1, npText, nBytes);
        addStored(nBytes);
        return true;
    }

    // Appends the characters from npText to npEnd, which no row matched. copyGeneral() drops one before a stray byte,
    // and a part may fit if the whole does not.
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
        // With 0 bytes copyGeneral() does nothing, but an empty text must be terminated.
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
    unsigned int mSize = 1; // bytes in use, terminator included
    unsigned int mFree;     // bytes free in the destination, from the terminator on; 0 without a destination
};

// --- The row that matches ---

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

unsigned int foldByIndex(FoldedText nText, char const* npSrc, unsigned int nLength, IndexedRows const nRows)
{
    char const* const lpEnd = npSrc + nLength;
    FoldedChunk lChunk;
    lChunk.mIsLast = nRows.hasEmptyKey();
    while (!lChunk.mIsLast)
    {
        unsigned char const* const lpBehind = nRows.fold(bytesOf(npSrc), bytesOf(lpEnd), lChunk, lChunk.CAPACITY);
        if (lpBehind == bytesOf(npSrc))
        {
            return nText.size();
        }
        if (!nText.appendChunk(lChunk.mBytes, lChunk.mSize, lChunk.mNeeded))
        {
            break; // as much of it as fits
        }
        npSrc += lpBehind - bytesOf(npSrc);
        if (lChunk.mIsLast)
        {
            return nText.size();
        }
    }
    return foldText(nText, npSrc, nRows);
}

unsigned int foldBytes(FoldedText nText, char const* npSrc, unsigned int nLength, PairAttrib const* npTable,
                       bool nIsReverse)
{
    IndexedRows const lRows = internal::indexedRows(npTable, nIsReverse);
    return lRows.isOurs() ? foldByIndex(nText, npSrc, nLength, lRows)
                          : foldText(nText, npSrc, PlainRows(npTable, nIsReverse));
}

// Longer text is refused: it does not fit a scratch row.
constexpr unsigned int LENGTH_LIMIT = WorkingBuffer<char>::CAPACITY;

bool areApart(char const* npDst, unsigned int nDstSize, char const* npSrc, unsigned int nSrcSize)
{
    std::uintptr_t const lDst = reinterpret_cast<std::uintptr_t>(npDst);
    std::uintptr_t const lSrc = reinterpret_cast<std::uintptr_t>(npSrc);
    return npDst == nullptr || nDstSize == 0 || (lSrc - lDst >= nDstSize && lDst - lSrc >= nSrcSize);
}

// Gives the bytes of a folded text one by one, for tables without an empty key. Null and too long texts count as
// empty.
class FoldedBytes
{
public:
    FoldedBytes(char const* npSrc, IndexedRows const& nRows)
        : mRows(nRows),
          mpSrc(bytesOf(npSrc != nullptr ? npSrc : "")),
          mLength(npSrc != nullptr ? internal::lengthUpTo(npSrc, LENGTH_LIMIT) : 0),
          mpEnd(mpSrc + mLength)
    {
        mChunk.mSize = 0;
        mChunk.mIsLast = mLength == LENGTH_LIMIT;
    }

    unsigned int length() const { return mLength; }

    // The next byte; 0 at the end.
    unsigned char next()
    {
        while (mIndex == mChunk.mSize && !mChunk.mIsLast)
        {
            mIndex = 0;
            mpSrc = mRows.fold(mpSrc, mpEnd, mChunk, AHEAD);
        }
        return mIndex != mChunk.mSize ? static_cast<unsigned char>(mChunk.mBytes[mIndex++]) : 0;
    }

private:
    static constexpr unsigned int AHEAD = 64; // texts mostly differ early

    IndexedRows const mRows;
    unsigned char const* mpSrc;
    unsigned int const mLength;
    unsigned char const* const mpEnd;
    unsigned int mIndex = 0;
    FoldedChunk mChunk;
};

} // namespace

template <class T>
unsigned int convertAttrib(T* npDst, unsigned int nDstSize, T const* npSrc, PairAttrib const* npTable, int nReverse,
                           int nMode)
{
    if (npSrc != nullptr && *npSrc == 0)
    {
        return copyStrBase(npDst, nDstSize, npSrc, STR_ALL, 0);
    }
    unsigned int const lLength = npSrc != nullptr ? internal::lengthUpTo(npSrc, LENGTH_LIMIT) : LENGTH_LIMIT;
    if (npTable == nullptr || lLength == LENGTH_LIMIT)
    {
        return STR_ERROR;
    }
    FoldedText const lText(npDst, nDstSize, nMode);
    if (areApart(npDst, nDstSize, npSrc, lLength + 1))
    {
        return foldBytes(lText, npSrc, lLength, npTable, nReverse != 0);
    }
    WorkingBuffer<T> const lSource;
    std::memcpy(lSource.get(), npSrc, lLength + 1);
    return foldBytes(lText, lSource.get(), lLength, npTable, nReverse != 0);
}

template <class T>
unsigned int trimStrRight(T* npStr, T const* npSet)
{
    unsigned int const lLength = npStr != nullptr ? internal::lengthUpTo(npStr, LENGTH_LIMIT) : LENGTH_LIMIT;
    if (lLength == LENGTH_LIMIT || !internal::isWellFormed(npStr, lLength))
    {
        return STR_ERROR;
    }
    bool const lIsDefault = npSet == nullptr || *npSet == 0;
    unsigned int const lRun = internal::runAtEnd(npStr, lLength, lIsDefault ? " \t\v\r\n\f\u3000" : npSet);
    npStr[lLength - lRun] = 0;
    return lLength - lRun + 1;
}

template <class T>
int compareStrNoCase(T const* npLeft, T const* npRight, unsigned int nCount)
{
    IndexedRows const lRows = internal::rowsOf(Fold::LOWER);
    FoldedBytes lLeft(npLeft, lRows);
    FoldedBytes lRight(npRight, lRows);
    int lOrder = 0;
    bool lIsEnd = false;
    for (; nCount != 0 && lOrder == 0 && !lIsEnd; --nCount)
    {
        unsigned char const lByte = lLeft.next();
        lOrder = lByte - lRight.next();
        lIsEnd = lByte == 0;
    }
    return lOrder;
}

namespace
{

constexpr unsigned int NO_DIGIT = 36; // not below any base

// The value of a digit. The characters are those of the classes HAN_DIGIT, LOWER_HAN_... and UPPER_HAN_....
unsigned int digitValue(unsigned char nCharacter)
{
    if (nCharacter >= '0' && nCharacter <= '9')
    {
        return nCharacter - '0';
    }
    if (nCharacter >= 'a' && nCharacter <= 'z')
    {
        return nCharacter - 'a' + 10U;
    }
    return nCharacter >= 'A' && nCharacter <= 'Z' ? nCharacter - 'A' + 10U : NO_DIGIT;
}

// Takes the base from the prefix of a text that begins with nFirst. Result: the character behind the prefix.
unsigned char skipPrefix(FoldedBytes& nText, unsigned char nFirst, unsigned int& nBase)
{
    nBase = 10;
    if (nFirst == '0')
    {
        nFirst = nText.next();
        nBase = nFirst == 'x' ? 16 : 8;
    }
    return nBase == 16 ? nText.next() : nFirst;
}

// Whether the folded text, which may be twice as long, fits a scratch row.
template <class T>
bool isShortFolded(T const* npStr, unsigned int nLength)
{
    return nLength < LENGTH_LIMIT / 2 ||
           (nLength < LENGTH_LIMIT && convertAttrib<T>(nullptr, 0, npStr, HANKAKU_ZENKAKU_PAIR, 1, 0) <= LENGTH_LIMIT);
}

} // namespace

template <class V, class T>
bool strToInt(V* npValue, T const* npStr, int nBase)
{
    if (npValue == nullptr || npStr == nullptr || nBase < 0 || nBase == 1 || nBase > 36)
    {
        return false;
    }
    FoldedBytes lText(npStr, internal::rowsOf(Fold::HALF_WIDTH));
    if (!isShortFolded(npStr, lText.length()))
    {
        return false;
    }
    unsigned char lCharacter = lText.next();
    lCharacter = lCharacter == '+' ? lText.next() : lCharacter;
    unsigned int lBase = static_cast<unsigned int>(nBase);
    if (lBase == 0)
    {
        lCharacter = skipPrefix(lText, lCharacter, lBase);
    }
    constexpr unsigned int MAX_VALUE = 65535;
    bool lIsNumber = false; // stays so for a minus
    unsigned int lValue = 0;
    for (unsigned int lDigit = 0; (lDigit = digitValue(lCharacter)) < lBase; lCharacter = lText.next())
    {
        lIsNumber = true;
        lValue = lValue * lBase + lDigit;
        if (lValue > MAX_VALUE)
        {
            return false;
        }
    }
    if (lIsNumber)
    {
        *npValue = static_cast<V>(lValue);
    }
    return lIsNumber;
}

template UTL_API unsigned int convertAttrib<char>(char*, unsigned int, char const*, PairAttrib const*, int, int);
template UTL_API unsigned int trimStrRight<char>(char*, char const*);
template UTL_API int compareStrNoCase<char>(char const*, char const*, unsigned int);
template UTL_API bool strToInt<unsigned short, char>(unsigned short*, char const*, int);

} // namespace utl
