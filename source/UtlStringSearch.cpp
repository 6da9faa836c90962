// String primitives that search: characters, sets, texts, replacing.
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

// The characters of a set up to its end or to its first malformed one.
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

    // The set as the C library takes it; null where that would not do.
    char const* asAscii() const { return mIsAscii && *mpEnd == 0 ? reinterpret_cast<char const*>(mpBegin) : nullptr; }

    // Bytes of the character at npChar, 0 where the set does not have it or the text ends.
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
    bool mIsFirst[256] = {}; // by first byte
    bool mIsAscii = true;
};

// Whether a text that is not empty can stand at the start of a character: it is one, or is cut off inside one.
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
    // A byte at a time: one inside a character is no first byte.
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
    for (unsigned int lFrom = lLimit; lFrom >= lSize; --lFrom)
    {
        unsigned int const lMatch = lFrom - lSize;
        if (npStr[lMatch] == *npPattern && std::memcmp(npStr + lMatch, npPattern, lSize) == 0)
        {
            storeIfGiven(npBefore, lMatch - 1);
            return lFrom - 1;
        }
    }
    return STR_ERROR;
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
