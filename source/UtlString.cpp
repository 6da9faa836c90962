#include "UtlString.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "UtlStaticBuffer.h"
#include "internal/UtlStringSearch.h"
#include "internal/UtlSystemCalls.h"

namespace utl
{

using internal::lengthOf;
using internal::lengthUpTo;

char EMPTY_CHAR = 0;
wchar_t EMPTY_WCHAR = 0;

namespace
{

// The byte looked at last is the first that does not belong, so a terminator ends every read in time.
bool hasTail(char const* npStr, unsigned int nSize)
{
    unsigned int lIndex = 1;
    while (lIndex < nSize && internal::isContinuationByte(npStr[lIndex]))
    {
        ++lIndex;
    }
    return lIndex == nSize;
}

bool isOverlong(char const* npStr)
{
    unsigned int const lLead = static_cast<unsigned char>(npStr[0]);
    unsigned int const lSecond = static_cast<unsigned char>(npStr[1]);
    return lLead < 0xC2U || (lLead == 0xE0U && lSecond < 0xA0U) || (lLead == 0xF0U && lSecond < 0x90U);
}

// Not for empty text.
unsigned int charBytes(char const* npStr)
{
    unsigned int const lLead = static_cast<unsigned char>(*npStr);
    if (lLead < 0x80U)
    {
        return 1;
    }
    if (lLead > 0xE0U && lLead < 0xF0U && hasTail(npStr, 3)) // nearly all Japanese text
    {
        return 3;
    }
    if (!internal::isLeadByte(*npStr))
    {
        return STR_ERROR;
    }
    unsigned int const lSize = lLead < 0xE0U ? 2U : (lLead < 0xF0U ? 3U : 4U);
    return hasTail(npStr, lSize) && !isOverlong(npStr) ? lSize : 0U;
}

bool isBom(char const* npStr)
{
    return std::strncmp(npStr, "\xEF\xBB\xBF", 3) == 0;
}

// Moves a count that splits a character back to the character's start.
unsigned int unsplit(char const* npSrc, unsigned int nCount)
{
    if (!internal::isContinuationByte(npSrc[nCount]))
    {
        return nCount;
    }
    while (nCount > 0)
    {
        --nCount;
        if (internal::isLeadByte(npSrc[nCount]))
        {
            return nCount;
        }
    }
    return STR_ERROR;
}

// nCount is not above the length of npSrc, and there is room for it and a terminator.
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
        *npIsBom = !lIsEmpty && isBom(npStr);
    }
    return lIsEmpty ? 0U : charBytes(npStr);
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
    unsigned int lStart = 0;
    while (lStart < nIndex && npStr[lStart] != 0)
    {
        unsigned int const lSize = charBytes(npStr + lStart);
        if (lSize == 0 || lSize == STR_ERROR)
        {
            return STR_ERROR;
        }
        if (nIndex - lStart < lSize)
        {
            return nMode == 1 ? lStart : lStart + lSize;
        }
        lStart += lSize;
    }
    return lStart;
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
    // Too small a room gives STR_ERROR as it is; a failure past this point is added on purpose, see the header.
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
    WorkingBuffer<T> const lText;
    unsigned int const lSize = copyStrBase(lText.get(), lText.CAPACITY, npStr, STR_ALL, 0);
    if (lSize == STR_ERROR || nIndex >= lSize)
    {
        return STR_ERROR;
    }
    unsigned int const lLength = lSize - 1;
    unsigned int const lTail = nIndex + std::min(nCount, lLength - nIndex);
    unsigned int const lHeadSize = nIndex == 0 ? 1U : copyGeneral(npStr, lSize, 0, lText.get(), 0, nIndex, 0);
    return lHeadSize == STR_ERROR ? STR_ERROR
                                  : copyGeneral(npStr, lSize, lHeadSize - 1, lText.get(), lTail, STR_ALL, 0);
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
    unsigned int lIndex = 0;
    unsigned int lSize = 1;
    for (;;)
    {
        unsigned int lEnd = STR_ERROR;
        unsigned int const lMatch = internal::findStr(npSrc, npPattern, lIndex, &lEnd);
        if (lMatch == STR_ERROR)
        {
            return copyGeneral(npDst, nDstSize, lSize - 1, npSrc, lIndex, STR_ALL, nMode);
        }
        if (lMatch > lIndex)
        {
            lSize = copyGeneral(npDst, nDstSize, lSize - 1, npSrc, lIndex, lMatch - lIndex, nMode);
        }
        if (lSize != STR_ERROR)
        {
            lSize = copyGeneral(npDst, nDstSize, lSize - 1, npReplacement, 0, STR_ALL, nMode);
        }
        if (lSize == STR_ERROR || *npReplacement == 0)
        {
            return lSize;
        }
        lIndex = lEnd;
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
