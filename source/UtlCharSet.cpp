// Conversions of text: chooses reader and writer for each pair of encodings.
#include "UtlCharSet.h"

#include <cstring>
#include <cwchar>

#include "UtlRawMemory.h"
#include "internal/text/UtlCharSetPlatform.h"

namespace utl
{

namespace
{

// Copies bytes whose number is known, all or nothing.
unsigned int copyWhole(char* npDst, unsigned int nDstSize, char const* npSrc)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    unsigned int const lSize = static_cast<unsigned int>(std::strlen(npSrc)) + 1;
    if (nDstSize == 0)
    {
        return lSize;
    }
    if (npDst == nullptr || nDstSize < lSize)
    {
        return STR_ERROR;
    }
    copyMemory(npDst, npSrc, lSize);
    return lSize;
}

// Both directions of the platform's converter. nSizeBound: the result of a size query. nCall: converts a text.
template <class To, class From, class SizeBound, class Call>
unsigned int convertByPlatform(To* npDst, unsigned int nDstSize, From const* npSrc, SizeBound nSizeBound, Call nCall)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    if (nDstSize == 0)
    {
        return nSizeBound();
    }
    if (npDst == nullptr)
    {
        return STR_ERROR;
    }
    if (*npSrc == 0)
    {
        *npDst = 0;
        return 1;
    }
    int const lCount = nCall();
    return lCount < 1 ? STR_ERROR : static_cast<unsigned int>(lCount) + 1;
}

// The places of the two bytes of a unit.
unsigned int highByteIndex(int nBigEndian)
{
    return nBigEndian == 1 ? 0 : 1;
}

} // namespace

unsigned int convertStrFromTcharToWchar(wchar_t* npDst, unsigned int nDstSize, char const* npSrc)
{
    auto const lBytes = [npSrc] { return static_cast<unsigned int>(std::strlen(npSrc)); };
    return convertByPlatform(
        npDst, nDstSize, npSrc, [&] { return lBytes() + 1; },
        [&] { return internal::toWide(npDst, nDstSize, npSrc, lBytes()); });
}

unsigned int convertStrFromWcharToTchar(char* npDst, unsigned int nDstSize, wchar_t const* npSrc)
{
    auto const lCount = [npSrc] { return static_cast<unsigned int>(std::wcslen(npSrc)); };
    return convertByPlatform(
        npDst, nDstSize, npSrc, [&] { return lCount() * 6 + 1; },
        [&] { return internal::toNarrow(npDst, nDstSize, npSrc, static_cast<int>(lCount())); });
}

unsigned int convertStrFromTcharToChar(char* npDst, unsigned int nDstSize, char const* npSrc)
{
    return copyWhole(npDst, nDstSize, npSrc);
}

unsigned int convertStrFromCharToTchar(char* npDst, unsigned int nDstSize, char const* npSrc)
{
    return copyWhole(npDst, nDstSize, npSrc);
}

unsigned int convertCharSet(char* npDst, unsigned int nDstSize, char const* npSrc)
{
    return copyStrBase(npDst, nDstSize, npSrc, STR_ALL, 0);
}

unsigned int convertStrFromDcharToUint8(unsigned char* npDst, unsigned int nDstSize, unsigned short const* npSrc,
                                        unsigned int nMaxUnits, int nBigEndian)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    unsigned int lCount = 0;
    while (lCount < nMaxUnits && npSrc[lCount] != 0)
    {
        ++lCount;
    }
    if (nDstSize == 0)
    {
        return lCount * 2;
    }
    if (lCount * 2 > nDstSize || (npDst == nullptr && lCount != 0))
    {
        return STR_ERROR;
    }
    unsigned int const lHigh = highByteIndex(nBigEndian);
    for (unsigned int lIndex = 0; lIndex < lCount; ++lIndex)
    {
        npDst[lIndex * 2 + lHigh] = static_cast<unsigned char>(npSrc[lIndex] >> 8);
        npDst[lIndex * 2 + 1 - lHigh] = static_cast<unsigned char>(npSrc[lIndex]);
    }
    return lCount * 2;
}

unsigned int convertBinFromUint8ToDchar(unsigned short* npDst, unsigned int nDstSize, unsigned char const* npSrc,
                                        unsigned int nBytes, int nBigEndian)
{
    if (npSrc == nullptr || nBytes % 2 != 0)
    {
        return STR_ERROR;
    }
    unsigned int const lCount = nBytes / 2;
    if (nDstSize == 0)
    {
        return lCount;
    }
    if (lCount > nDstSize || (npDst == nullptr && lCount != 0))
    {
        return STR_ERROR;
    }
    unsigned int const lHigh = highByteIndex(nBigEndian);
    for (unsigned int lIndex = 0; lIndex < lCount; ++lIndex)
    {
        unsigned int const lUnit = npSrc[lIndex * 2 + lHigh] * 256U + npSrc[lIndex * 2 + 1 - lHigh];
        npDst[lIndex] = static_cast<unsigned short>(lUnit);
    }
    return lCount;
}

} // namespace utl
