// String primitives: sizes of characters, copies, erasing, formatting, reversal, replacement.
#include "UtlString.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "UtlStaticBuffer.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/text/UtlStringSearch.h"

namespace utl
{

using internal::bytesOf;
using internal::lengthOf;
using internal::lengthUpTo;

char EMPTY_CHAR = 0;
wchar_t EMPTY_WCHAR = 0;

namespace
{

// Moves a count that splits a character back to the character's start.
unsigned int unsplit(char const* npSrc, unsigned int nCount)
{
    unsigned char const* const lpSrc = bytesOf(npSrc);
    if (!internal::isTail(lpSrc[nCount]))
    {
        return nCount;
    }
    while (nCount > 0)
    {
        --nCount;
        if (internal::isLead(lpSrc[nCount]))
        {
            return nCount;
        }
    }
    return STR_ERROR;
}

// Copies nCount bytes and terminates. nCount: not above the length of npSrc, and below the capacity.
unsigned int storeText(char* npDst, char const* npSrc, unsigned int nCount)
{
    unsigned int const lCount = unsplit(npSrc, nCount);
    if (lCount == STR_ERROR)
    {
        return STR_ERROR;
    }
    std::memmove(npDst, npSrc, lCount);
    npDst[lCount] = 0;
    return lCount + 1;
}

unsigned int storeEmpty(char* npDst)
{
    *npDst = 0;
    return 1;
}

} // namespace

// --- Characters ---

template <class T>
unsigned int strCharBytesBase(T const* npStr, bool* npIsBom)
{
    bool const lIsEmpty = npStr == nullptr || *npStr == 0;
    if (npIsBom != nullptr)
    {
        *npIsBom = !lIsEmpty && internal::isMark(bytesOf(npStr));
    }
    return lIsEmpty ? 0U : internal::charSize(bytesOf(npStr));
}

template <class T>
unsigned int t_charlen(T const* npStr, bool* npIsBom)
{
    if (npStr == nullptr)
    {
        return 0;
    }
    unsigned int const lSize = strCharBytesBase(npStr, npIsBom);
    return lSize == 0 && *npStr != 0 ? STR_ERROR : lSize;
}

template <class T>
unsigned int getNearCharIndex(T const* npStr, unsigned int nIndex, unsigned int nMode)
{
    if (npStr == nullptr)
    {
        return STR_ERROR;
    }
    unsigned char const* const lpBegin = bytesOf(npStr);
    unsigned char const* const lpEnd = lpBegin + lengthUpTo(npStr, nIndex);
    unsigned char const* const lpAt = internal::wellFormedEnd(lpBegin, lpEnd);
    unsigned int const lStart = static_cast<unsigned int>(lpAt - lpBegin);
    unsigned int const lSize = lpAt != lpEnd ? internal::charSize(lpAt) : 0;
    if (lpAt != lpEnd && !internal::isSize(lSize))
    {
        return STR_ERROR;
    }
    return nMode == 1 ? lStart : lStart + lSize;
}

// --- Copies ---

template <class T>
unsigned int copyStrBase(T* npDst, unsigned int nDstSize, T const* npSrc, unsigned int nMaxBytes, int nMode)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    if (nMaxBytes == 0)
    {
        return 0;
    }
    unsigned int lCount = lengthUpTo(npSrc, nMaxBytes);
    if (nDstSize == 0)
    {
        return lCount + 1;
    }
    if (npDst == nullptr)
    {
        return STR_ERROR;
    }
    if (nDstSize == 1)
    {
        return lCount == 0 || nMode == 1 ? storeEmpty(npDst) : STR_ERROR;
    }
    if (nMode == 1)
    {
        lCount = getNearCharIndex(npSrc, std::min(lCount, nDstSize - 1), 1);
        return lCount == STR_ERROR ? STR_ERROR : storeText(npDst, npSrc, lCount);
    }
    return nDstSize <= lCount ? STR_ERROR : storeText(npDst, npSrc, lCount);
}

template <class T>
unsigned int t_strncpy(T* npDst, unsigned int nDstSize, T const* npSrc, unsigned int nMaxBytes)
{
    if (npSrc == nullptr)
    {
        return nDstSize == 0 ? STR_ERROR : storeEmpty(npDst);
    }
    unsigned int const lCount = lengthUpTo(npSrc, nMaxBytes);
    return nDstSize <= lCount ? STR_ERROR : storeText(npDst, npSrc, lCount);
}

template <class T>
unsigned int copyGeneral(T* npDst, unsigned int nDstSize, unsigned int nDstPos, T const* npSrc, unsigned int nSrcPos,
                         unsigned int nMaxBytes, int nMode)
{
    if (nMaxBytes == 0)
    {
        return nDstPos;
    }
    if (npSrc == nullptr || lengthUpTo(npSrc, nSrcPos) < nSrcPos)
    {
        return STR_ERROR;
    }
    T const* const lpRest = npSrc + nSrcPos;
    unsigned int lCount = lengthUpTo(lpRest, nMaxBytes);
    if (nDstSize == 0)
    {
        return nDstPos + 1 + lCount;
    }
    if (npDst == nullptr)
    {
        return STR_ERROR;
    }
    if (nDstPos >= nDstSize - 1)
    {
        bool const lEndsHere = lCount == 0 || (nMode == 1 && nDstPos == nDstSize - 1);
        return lEndsHere ? nDstPos + storeEmpty(npDst + nDstPos) : STR_ERROR;
    }
    unsigned int const lRoom = nDstSize - nDstPos;
    if (nMode == 1)
    {
        lCount = getNearCharIndex(lpRest, std::min(lCount, lRoom - 1), 1);
        if (lCount == STR_ERROR)
        {
            return STR_ERROR;
        }
    }
    // If there is too little room, STR_ERROR stays. Otherwise nDstPos is added even to a failure: on purpose, see the
    // header.
    return lRoom <= lCount ? STR_ERROR : nDstPos + t_strncpy(npDst + nDstPos, lRoom, lpRest, lCount);
}

template <class T>
unsigned int truncateStr(T* npStr, unsigned int nLength)
{
    unsigned int const lEnd = getNearCharIndex(npStr, nLength, 1);
    if (lEnd == STR_ERROR)
    {
        return STR_ERROR;
    }
    npStr[lEnd] = 0;
    return lEnd + 1;
}

template <class T>
unsigned int eraseStrSpan(T* npStr, unsigned int nIndex, unsigned int nCount)
{
    unsigned int const lLength = npStr != nullptr ? lengthUpTo(npStr, WorkingBuffer<T>::CAPACITY) : 0;
    if (npStr == nullptr || lLength == WorkingBuffer<T>::CAPACITY || nIndex > lLength)
    {
        return STR_ERROR;
    }
    unsigned int const lHead = nIndex != 0 ? unsplit(npStr, nIndex) : 0;
    if (lHead == STR_ERROR)
    {
        return STR_ERROR;
    }
    unsigned int const lTail = nIndex + std::min(nCount, lLength - nIndex);
    std::memmove(npStr + lHead, npStr + lTail, lLength - lTail + 1);
    return lHead + lLength - lTail + 1;
}

template <>
unsigned int formatStr<char>(char* npDst, unsigned int nDstSize, char const* npFormat, ...)
{
    if (npDst == nullptr || npFormat == nullptr || nDstSize == 0)
    {
        return STR_ERROR;
    }
    va_list lValues;
    va_start(lValues, npFormat);
    int const lLength = internal::gSystem.mVsnprintf(npDst, nDstSize, npFormat, lValues);
    va_end(lValues);
    return lLength < 0 || static_cast<unsigned int>(lLength) >= nDstSize ? STR_ERROR
                                                                         : static_cast<unsigned int>(lLength) + 1;
}

// --- Reversal and replacement ---

template <class T>
unsigned int t_strrev(T* npDst, unsigned int nDstSize, T const* npSrc, int nMode)
{
    T const* const lpSrc = npSrc != nullptr ? npSrc : &EMPTY_CHAR;
    unsigned int const lLength = lengthOf(lpSrc);
    bool const lHasRoom = nMode == 0 ? nDstSize > lLength : nDstSize > 0;
    if (!lHasRoom || getNearCharIndex(lpSrc, lLength, 1) == STR_ERROR)
    {
        return STR_ERROR;
    }
    unsigned int lIndex = 0;
    while (lIndex < lLength)
    {
        unsigned int const lSize = t_charlen<T>(lpSrc + lIndex, nullptr);
        unsigned int const lPlace = lLength - lIndex - lSize;
        if (lPlace < nDstSize - 1)
        {
            std::memcpy(npDst + lPlace, lpSrc + lIndex, lSize);
        }
        lIndex += lSize;
    }
    unsigned int const lEnd = std::min(lLength, nDstSize - 1);
    npDst[lEnd] = 0;
    return lEnd + 1;
}

template <class T>
unsigned int reverseStrBase(T* npDst, unsigned int nDstSize, T const* npSrc, int nMode)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    if (nDstSize == 0)
    {
        return lengthOf(npSrc) + 1;
    }
    return npDst == nullptr ? STR_ERROR : t_strrev(npDst, nDstSize, npSrc, nMode);
}

template <class T>
unsigned int replaceStr(T* npDst, unsigned int nDstSize, T const* npSrc, T const* npPattern, T const* npReplacement,
                        int nMode)
{
    if (npSrc == nullptr || npPattern == nullptr || npReplacement == nullptr)
    {
        return STR_ERROR;
    }
    if (*npPattern == 0)
    {
        return copyStrBase(npDst, nDstSize, npSrc, lengthOf(npSrc), nMode);
    }
    unsigned int const lPatternLength = lengthOf(npPattern);
    unsigned int lSize = 1;
    for (;;)
    {
        unsigned int const lMatch = internal::findFrom(npSrc, npPattern);
        if (lMatch == STR_ERROR)
        {
            return copyGeneral(npDst, nDstSize, lSize - 1, npSrc, 0, STR_ALL, nMode);
        }
        if (lMatch > 0)
        {
            lSize = copyGeneral(npDst, nDstSize, lSize - 1, npSrc, 0, lMatch, nMode);
        }
        if (lSize != STR_ERROR)
        {
            lSize = copyGeneral(npDst, nDstSize, lSize - 1, npReplacement, 0, STR_ALL, nMode);
        }
        if (lSize == STR_ERROR || *npReplacement == 0)
        {
            return lSize;
        }
        npSrc += lMatch + lPatternLength;
    }
}

template UTL_API unsigned int strCharBytesBase<char>(char const*, bool*);
template UTL_API unsigned int t_charlen<char>(char const*, bool*);
template UTL_API unsigned int getNearCharIndex<char>(char const*, unsigned int, unsigned int);
template UTL_API unsigned int copyStrBase<char>(char*, unsigned int, char const*, unsigned int, int);
template UTL_API unsigned int t_strncpy<char>(char*, unsigned int, char const*, unsigned int);
template UTL_API unsigned int copyGeneral<char>(char*, unsigned int, unsigned int, char const*, unsigned int,
                                                unsigned int, int);
template UTL_API unsigned int truncateStr<char>(char*, unsigned int);
template UTL_API unsigned int eraseStrSpan<char>(char*, unsigned int, unsigned int);
template UTL_API unsigned int t_strrev<char>(char*, unsigned int, char const*, int);
template UTL_API unsigned int reverseStrBase<char>(char*, unsigned int, char const*, int);
template UTL_API unsigned int replaceStr<char>(char*, unsigned int, char const*, char const*, char const*, int);

} // namespace utl
