// String primitives that search: characters of a set, texts forward and backward, tokens.
#include "internal/text/UtlStringSearch.h"

#include <algorithm>
#include <cstring>

#include "UtlStaticBuffer.h"
#include "UtlString.h"

namespace utl
{

using internal::bytesOf;
using internal::lengthOf;
using internal::lengthUpTo;
using internal::storeIfGiven;

namespace
{

// The characters of a set, up to its end or to the first malformed one.
class CharSet
{
public:
    // Null counts as empty.
    explicit CharSet(char const* npSet)
        : mpBegin(bytesOf(npSet != nullptr ? npSet : "")),
          mpEnd(internal::wellFormedEnd(mpBegin, mpBegin + std::strlen(reinterpret_cast<char const*>(mpBegin))))
    {
        for (unsigned char const* lpAt = mpBegin; lpAt != mpEnd; lpAt += internal::charSize(lpAt))
        {
            mIsFirst[*lpAt] = true;
            mIsAscii = mIsAscii && *lpAt < 0x80;
        }
    }

    // The set for the C library's functions; null if they would not give the same result.
    char const* asAscii() const { return mIsAscii && *mpEnd == 0 ? reinterpret_cast<char const*>(mpBegin) : nullptr; }

    // The size of the character at npChar if the set has it; otherwise, and at the end of the text, 0.
    unsigned int sizeAt(unsigned char const* npChar) const
    {
        if (!mIsFirst[*npChar] || *npChar < 0x80)
        {
            return mIsFirst[*npChar] ? 1 : 0;
        }
        unsigned int lSize = 0;
        for (unsigned char const* lpAt = mpBegin; lpAt != mpEnd; lpAt += lSize)
        {
            lSize = internal::charSize(lpAt);
            if (internal::beginsWith(npChar, lpAt, lSize))
            {
                return lSize;
            }
        }
        return 0;
    }

private:
    unsigned char const* const mpBegin; // not owned
    unsigned char const* const mpEnd;
    bool mIsFirst[256] = {}; // whether a character of the set begins with this byte
    bool mIsAscii = true;
};

// Whether a text that is not empty can begin at the start of a character: it begins with one, or with a part of one.
bool canBegin(unsigned char const* npPattern)
{
    if (internal::isSize(internal::charSize(npPattern)))
    {
        return true;
    }
    unsigned int lTails = 1;
    while (internal::isTail(npPattern[lTails]))
    {
        ++lTails;
    }
    return internal::isLead(*npPattern) && npPattern[lTails] == 0 && lTails < 4;
}

// The last occurrence of one text in another, in a time in proportion to both and without memory. Both are read from
// their ends. What has matched is a part of the text itself; its greatest suffix, in the order of bytes, tells its
// period and so how far the search can go on.
class BackwardSearch
{
public:
    BackwardSearch(unsigned char const* npStr, unsigned int nLength, unsigned char const* npPattern, unsigned int nSize)
        : mpStr(npStr + nLength),
          mpPattern(npPattern + nSize),
          mLast(static_cast<int>(nLength) - static_cast<int>(nSize)),
          mSize(static_cast<int>(nSize))
    {
    }

    // Result: the number of bytes behind the occurrence; -1 for none.
    int find()
    {
        int lMatched = 0;
        while (mAt <= mLast)
        {
            if (lMatched == 0 && byteAt(0) != mpPattern[-1])
            {
                advance(countOthers(), 0);
                continue;
            }
            while (lMatched < mSize && mpPattern[-1 - lMatched] == byteAt(lMatched))
            {
                ++lMatched;
            }
            if (lMatched == mSize)
            {
                return mAt;
            }
            lMatched = advanceBehind(lMatched);
        }
        return -1;
    }

private:
    unsigned char byteAt(int nIndex) const { return mpStr[-1 - mAt - nIndex]; }

    // The number of places from mAt on at which not even one byte matches.
    int countOthers() const
    {
        unsigned char const lFirst = mpPattern[-1];
        int lCount = 0;
        while (lCount <= mLast - mAt && byteAt(lCount) != lFirst)
        {
            ++lCount;
        }
        return lCount;
    }

    // Result: how many bytes match there for sure.
    int advance(int nCount, int nMatched)
    {
        mAt += nCount;
        mStart = -1;
        mNext = 0;
        mLength = mPeriod = 1;
        return nMatched;
    }

    // nMatched: not 0.
    int advanceBehind(int nMatched)
    {
        extendSuffix(nMatched + 1);
        if (mStart >= 0 && !isPeriodic())
        {
            return advance(std::max(mStart + 1, std::min(nMatched - mStart - 1, mNext + 1)) + 1, 0);
        }
        int const lPeriod = mPeriod;
        int const lMatched = std::max(nMatched - lPeriod, 0);
        if (mNext - mStart <= lPeriod)
        {
            return advance(lPeriod, lMatched);
        }
        mAt += lPeriod;
        mNext -= lPeriod;
        return lMatched;
    }

    // Whether the bytes before the suffix are repeated one period later.
    bool isPeriodic() const
    {
        int lIndex = 0;
        while (mStart < mPeriod && lIndex <= mStart && byteAt(lIndex) == byteAt(lIndex + mPeriod))
        {
            ++lIndex;
        }
        return lIndex > mStart;
    }

    // Extends the greatest suffix to that of the first nSize bytes from mAt on.
    void extendSuffix(int nSize)
    {
        while (mNext + mLength < nSize)
        {
            unsigned char const lOld = byteAt(mStart + mLength);
            unsigned char const lNew = byteAt(mNext + mLength);
            if (lOld == lNew && mLength != mPeriod)
            {
                ++mLength;
                continue;
            }
            if (lOld < lNew)
            {
                mStart = mNext++;
                mPeriod = 1;
            }
            else
            {
                mNext += mLength;
                mPeriod = lOld == lNew ? mPeriod : mNext - mStart;
            }
            mLength = 1;
        }
    }

    unsigned char const* const mpStr; // end of the text; as for the pattern, not owned
    unsigned char const* const mpPattern;
    int const mLast; // the largest mAt, that of the first place
    int const mSize;
    int mAt = 0; // the number of bytes behind the place that is tried
    // Of the greatest suffix: the index before it, that before its last period, how far into that it goes, and the
    // period.
    int mStart = -1;
    int mNext = 0;
    int mLength = 1;
    int mPeriod = 1;
};

// The index behind which findReverseStr() does not look: the byte at nLast is the end of a character, or the one
// before is taken.
unsigned int reverseLimit(unsigned char const* npStr, unsigned int nLast)
{
    if (!internal::isTail(npStr[nLast + 1]))
    {
        return nLast + 1;
    }
    while (internal::isTail(npStr[nLast]))
    {
        --nLast;
    }
    return nLast;
}

} // namespace

template <class T>
unsigned int t_strstr(T const* npStr, T const* npPattern)
{
    if (*npPattern == 0)
    {
        return npStr != nullptr ? lengthOf(npStr) : 0U;
    }
    return npStr != nullptr ? internal::findFrom(npStr, npPattern) : STR_ERROR;
}

template <class T>
unsigned int t_strspn(T const* npStr, T const* npSet)
{
    if (npStr == nullptr)
    {
        return 0;
    }
    CharSet const lSet(npSet);
    if (char const* const lpAscii = lSet.asAscii())
    {
        return static_cast<unsigned int>(std::strspn(npStr, lpAscii));
    }
    unsigned char const* lpAt = bytesOf(npStr);
    while (unsigned int const lSize = lSet.sizeAt(lpAt))
    {
        lpAt += lSize;
    }
    return static_cast<unsigned int>(lpAt - bytesOf(npStr));
}

template <class T>
unsigned int t_strcspn(T const* npStr, T const* npSet)
{
    if (npStr == nullptr)
    {
        return 0;
    }
    CharSet const lSet(npSet);
    if (char const* const lpAscii = lSet.asAscii())
    {
        return static_cast<unsigned int>(std::strcspn(npStr, lpAscii));
    }
    // Byte by byte is enough: a byte inside a character is never the first byte of one.
    unsigned char const* lpAt = bytesOf(npStr);
    while (*lpAt != 0 && lSet.sizeAt(lpAt) == 0)
    {
        ++lpAt;
    }
    return static_cast<unsigned int>(lpAt - bytesOf(npStr));
}

template <class T>
unsigned int findReverseStr(T const* npStr, T const* npPattern, unsigned int nStart, unsigned int* npBefore)
{
    constexpr unsigned int MAX = WorkingBuffer<T>::CAPACITY;
    storeIfGiven(npBefore, STR_ERROR);
    if (npStr == nullptr || npPattern == nullptr)
    {
        return STR_ERROR;
    }
    if (*npPattern == 0)
    {
        unsigned int const lLength = lengthOf(npStr);
        storeIfGiven(npBefore, lLength - 1);
        return lLength;
    }
    unsigned int const lLength = lengthUpTo(npStr, MAX);
    unsigned int const lSize = lengthUpTo(npPattern, MAX);
    if (lLength == 0 || lLength == MAX || lSize == MAX || !internal::isWellFormed(npStr, lLength) ||
        !internal::isWellFormed(npPattern, lSize))
    {
        return STR_ERROR;
    }
    unsigned int const lLimit = reverseLimit(bytesOf(npStr), std::min(lLength - 1, nStart));
    int const lBehind = BackwardSearch(bytesOf(npStr), lLimit, bytesOf(npPattern), lSize).find();
    if (lBehind == -1)
    {
        return STR_ERROR;
    }
    unsigned int const lLast = lLimit - static_cast<unsigned int>(lBehind) - 1;
    storeIfGiven(npBefore, lLast - lSize);
    return lLast;
}

template <class T>
unsigned int findReverseChar(T const* npStr, T const* npCharacter, unsigned int nStart, unsigned int* npBefore)
{
    bool lIsBom = false;
    unsigned int const lSize = strCharBytesBase(npCharacter, &lIsBom);
    if (npCharacter == nullptr || lIsBom || lSize == STR_ERROR)
    {
        storeIfGiven(npBefore, STR_ERROR);
        return STR_ERROR;
    }
    T lCharacter[7] = {};
    std::memcpy(lCharacter, npCharacter, lSize);
    return findReverseStr<T>(npStr, lCharacter, nStart, npBefore);
}

template UTL_API unsigned int t_strstr<char>(char const*, char const*);
template UTL_API unsigned int t_strspn<char>(char const*, char const*);
template UTL_API unsigned int t_strcspn<char>(char const*, char const*);
template UTL_API unsigned int findReverseStr<char>(char const*, char const*, unsigned int, unsigned int*);
template UTL_API unsigned int findReverseChar<char>(char const*, char const*, unsigned int, unsigned int*);

namespace internal
{

unsigned int runAtEnd(char const* npStr, unsigned int nLength, char const* npSet)
{
    CharSet const lSet(npSet);
    unsigned char const* const lpBegin = bytesOf(npStr);
    unsigned char const* lpRun = lpBegin + nLength;
    unsigned char const* lpAt = lpRun;
    while (lpAt == lpRun && lpAt != lpBegin)
    {
        do
        {
            --lpAt;
        } while (isTail(*lpAt));
        lpRun = lSet.sizeAt(lpAt) != 0 ? lpAt : lpRun;
    }
    return static_cast<unsigned int>(lpBegin + nLength - lpRun);
}

unsigned int findFrom(char const* npStr, char const* npPattern)
{
    if (!canBegin(bytesOf(npPattern)))
    {
        return STR_ERROR;
    }
    // No byte that can begin the pattern is inside a character, so that what matches begins one, if it is well-formed.
    char const* lpAt = std::strstr(npStr, npPattern);
    while (lpAt != nullptr && !isSize(charSize(bytesOf(lpAt))))
    {
        lpAt = std::strstr(lpAt + 1, npPattern);
    }
    return lpAt != nullptr ? static_cast<unsigned int>(lpAt - npStr) : STR_ERROR;
}

unsigned int findStr(char const* npStr, char const* npPattern, unsigned int nStart, unsigned int* npEnd)
{
    if (npStr != nullptr && lengthUpTo(npStr, nStart) < nStart)
    {
        return STR_ERROR;
    }
    storeIfGiven(npEnd, STR_ERROR);
    if (npStr == nullptr || npPattern == nullptr)
    {
        return STR_ERROR;
    }
    unsigned char const* lpFrom = bytesOf(npStr) + nStart;
    if (isTail(*lpFrom))
    {
        while (!isLead(*lpFrom))
        {
            ++lpFrom;
        }
        if (*lpFrom == 0)
        {
            return STR_ERROR;
        }
    }
    unsigned int const lStart = static_cast<unsigned int>(lpFrom - bytesOf(npStr));
    unsigned int const lOffset = t_strstr(npStr + lStart, npPattern);
    if (lOffset == STR_ERROR)
    {
        return STR_ERROR;
    }
    if (*npPattern != 0)
    {
        storeIfGiven(npEnd, lStart + lOffset + lengthOf(npPattern));
    }
    return lStart + lOffset;
}

unsigned int findToken(char const* npStr, char const* npDelimiters, unsigned int nStart, unsigned int* npEnd)
{
    storeIfGiven(npEnd, STR_ERROR);
    if (npStr == nullptr || lengthUpTo(npStr, nStart) < nStart)
    {
        return STR_ERROR;
    }
    unsigned int const lStart = nStart + t_strspn(npStr + nStart, npDelimiters);
    if (npStr[lStart] == 0)
    {
        return STR_ERROR;
    }
    storeIfGiven(npEnd, lStart + t_strcspn(npStr + lStart, npDelimiters));
    return lStart;
}

} // namespace internal

} // namespace utl
