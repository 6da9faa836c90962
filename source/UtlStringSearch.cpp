#include "internal/UtlStringSearch.h"

#include <algorithm>
#include <cstring>

#include "UtlStaticBuffer.h"
#include "UtlString.h"

namespace utl
{

using internal::lengthOf;

namespace
{

void store(unsigned int* npIndex, unsigned int nValue)
{
    if (npIndex != nullptr)
    {
        *npIndex = nValue;
    }
}

// npCharacter begins with a whole character. Lead bytes tell sizes, so equal first bytes mean equal characters.
bool isInSet(char const* npCharacter, char const* npSet)
{
    while (npSet != nullptr && *npSet != 0)
    {
        unsigned int const lSize = t_charlen<char>(npSet, nullptr);
        if (lSize == STR_ERROR)
        {
            return false;
        }
        if (std::strncmp(npCharacter, npSet, lSize) == 0)
        {
            return true;
        }
        npSet += lSize;
    }
    return false;
}

} // namespace

template <class T>
unsigned int t_strstr(T const* npStr, T const* npPattern)
{
    if (*npPattern == 0)
    {
        return npStr != nullptr ? lengthOf(npStr) : 0U;
    }
    unsigned int const lPatternLength = lengthOf(npPattern);
    unsigned int lIndex = 0;
    while (npStr != nullptr && npStr[lIndex] != 0)
    {
        unsigned int const lSize = t_charlen<T>(npStr + lIndex, nullptr);
        if (lSize != STR_ERROR && std::strncmp(npStr + lIndex, npPattern, lPatternLength) == 0)
        {
            return lIndex;
        }
        lIndex += lSize != STR_ERROR ? lSize : 1U;
    }
    return STR_ERROR;
}

template <class T>
unsigned int t_strspn(T const* npStr, T const* npSet)
{
    unsigned int lIndex = 0;
    while (npStr != nullptr && npStr[lIndex] != 0)
    {
        unsigned int const lSize = t_charlen<T>(npStr + lIndex, nullptr);
        if (lSize == STR_ERROR || !isInSet(npStr + lIndex, npSet))
        {
            break;
        }
        lIndex += lSize;
    }
    return lIndex;
}

template <class T>
unsigned int t_strcspn(T const* npStr, T const* npSet)
{
    unsigned int lIndex = 0;
    while (npStr != nullptr && npStr[lIndex] != 0)
    {
        unsigned int const lSize = t_charlen<T>(npStr + lIndex, nullptr);
        if (lSize != STR_ERROR && isInSet(npStr + lIndex, npSet))
        {
            break;
        }
        lIndex += lSize != STR_ERROR ? lSize : 1U;
    }
    return lIndex;
}

template <class T>
unsigned int findReverseStr(T const* npStr, T const* npPattern, unsigned int nStart, unsigned int* npBefore)
{
    store(npBefore, STR_ERROR);
    if (npStr == nullptr || npPattern == nullptr)
    {
        return STR_ERROR;
    }
    unsigned int const lLength = lengthOf(npStr);
    unsigned int const lLast = lLength - 1; // wraps for empty text, and so does what is reckoned from it
    if (*npPattern == 0)
    {
        store(npBefore, lLast);
        return lLength;
    }
    WorkingBuffer<T> const lStr;
    WorkingBuffer<T> const lPattern;
    if (reverseStrBase(lStr.get(), lStr.CAPACITY, npStr, 0) == STR_ERROR ||
        reverseStrBase(lPattern.get(), lPattern.CAPACITY, npPattern, 0) == STR_ERROR)
    {
        return STR_ERROR;
    }
    unsigned int lEnd = STR_ERROR;
    unsigned int const lMatch = internal::findStr(lStr.get(), lPattern.get(), lLast - std::min(lLast, nStart), &lEnd);
    if (lMatch == STR_ERROR)
    {
        return STR_ERROR;
    }
    store(npBefore, lLast - lEnd);
    return lLast - lMatch;
}

template <class T>
unsigned int findReverseChar(T const* npStr, T const* npCharacter, unsigned int nStart, unsigned int* npBefore)
{
    bool lIsBom = false;
    unsigned int const lSize = strCharBytesBase(npCharacter, &lIsBom);
    if (npCharacter == nullptr || lIsBom || lSize == STR_ERROR)
    {
        store(npBefore, STR_ERROR);
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

unsigned int findStr(char const* npStr, char const* npPattern, unsigned int nStart, unsigned int* npEnd)
{
    if (npStr != nullptr && lengthUpTo(npStr, nStart) < nStart)
    {
        return STR_ERROR;
    }
    store(npEnd, STR_ERROR);
    if (npStr == nullptr || npPattern == nullptr)
    {
        return STR_ERROR;
    }
    unsigned int lStart = nStart;
    if (isContinuationByte(npStr[lStart]))
    {
        while (!isLeadByte(npStr[lStart]))
        {
            ++lStart;
        }
        if (npStr[lStart] == 0)
        {
            return STR_ERROR;
        }
    }
    unsigned int const lOffset = t_strstr(npStr + lStart, npPattern);
    if (lOffset == STR_ERROR)
    {
        return STR_ERROR;
    }
    if (*npPattern != 0)
    {
        store(npEnd, lStart + lOffset + lengthOf(npPattern));
    }
    return lStart + lOffset;
}

unsigned int findToken(char const* npStr, char const* npDelimiters, unsigned int nStart, unsigned int* npEnd)
{
    store(npEnd, STR_ERROR);
    if (npStr == nullptr || lengthUpTo(npStr, nStart) < nStart)
    {
        return STR_ERROR;
    }
    unsigned int const lStart = nStart + t_strspn(npStr + nStart, npDelimiters);
    if (npStr[lStart] == 0)
    {
        return STR_ERROR;
    }
    store(npEnd, lStart + t_strcspn(npStr + lStart, npDelimiters));
    return lStart;
}

} // namespace internal

} // namespace utl
