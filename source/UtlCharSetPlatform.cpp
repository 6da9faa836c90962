// Wide characters: the process's own converters if it has some, else ours.
#include "internal/text/UtlCharSetPlatform.h"

#include "UtlCharSet.h"
#include "internal/text/UtlUtf8.h"

// Weak references and not definitions: the dynamic linker then finds them in every library of the process, also behind
// this one.
extern "C"
{
    __attribute__((weak)) int jk_mbtowc(wchar_t* npDst, unsigned int nDstSize, char const* npSrc,
                                        unsigned int nSrcBytes, EN_KCP nCharset);
    __attribute__((weak)) int jk_wctomb(char* npDst, unsigned int nDstSize, wchar_t const* npSrc, int nSrcCount,
                                        EN_KCP nCharset);
}

namespace utl::internal
{

namespace
{

constexpr unsigned int LAST_CODE = 0x10FFFF;

bool isSurrogate(unsigned int nCode)
{
    return nCode >= 0xD800 && nCode <= 0xDFFF;
}

// Bytes of a character by its lead byte, and by its code; 0 for none.
unsigned int sizeOfLead(unsigned char nLead)
{
    return nLead < 0x80 ? 1 : nLead < 0xC2 ? 0 : nLead < 0xE0 ? 2 : nLead < 0xF0 ? 3 : nLead < 0xF5 ? 4 : 0;
}

unsigned int sizeOfCode(unsigned int nCode)
{
    return nCode < 0x80         ? 1
           : nCode < 0x800      ? 2
           : isSurrogate(nCode) ? 0
           : nCode < 0x10000    ? 3
           : nCode <= LAST_CODE ? 4
                                : 0;
}

// The first character of nBytes bytes, at least 1, behind which nothing may be read. Result: its bytes; 0 for a malformed one.
unsigned int decode(char const* npSrc, unsigned int nBytes, unsigned int& nCode)
{
    unsigned char const lLead = static_cast<unsigned char>(npSrc[0]);
    unsigned int const lSize = sizeOfLead(lLead);
    if (lSize == 0 || lSize > nBytes)
    {
        return 0;
    }
    nCode = lSize == 1 ? lLead : lLead & (0x7FU >> lSize);
    for (unsigned int lIndex = 1; lIndex < lSize; ++lIndex)
    {
        unsigned char const lTail = static_cast<unsigned char>(npSrc[lIndex]);
        if (!isTail(lTail))
        {
            return 0;
        }
        nCode = nCode << 6 | tailBits(lTail);
    }
    return sizeOfCode(nCode) == lSize ? lSize : 0;
}

void encode(char* npDst, unsigned int nCode, unsigned int nSize)
{
    for (unsigned int lIndex = nSize - 1; lIndex != 0; --lIndex)
    {
        npDst[lIndex] = static_cast<char>(0x80 | (nCode & 0x3F));
        nCode >>= 6;
    }
    npDst[0] = static_cast<char>(nSize == 1 ? nCode : (0xF00U >> nSize & 0xFFU) | nCode);
}

int toWideByOurselves(wchar_t* npDst, unsigned int nDstSize, char const* npSrc, unsigned int nSrcBytes)
{
    bool lIsGood = true;
    unsigned int lUsed = 0;
    for (unsigned int lIndex = 0; lIsGood && lIndex < nSrcBytes;)
    {
        unsigned int lCode = 0;
        unsigned int const lSize = decode(npSrc + lIndex, nSrcBytes - lIndex, lCode);
        lIsGood = lSize != 0 && lUsed + 1 < nDstSize;
        if (lIsGood)
        {
            npDst[lUsed++] = static_cast<wchar_t>(lCode);
            lIndex += lSize;
        }
    }
    npDst[lUsed] = 0;
    return lIsGood ? static_cast<int>(lUsed) : -1;
}

int toNarrowByOurselves(char* npDst, unsigned int nDstSize, wchar_t const* npSrc, int nSrcCount)
{
    bool lIsGood = nSrcCount >= 0;
    unsigned int lUsed = 0;
    for (int lIndex = 0; lIsGood && lIndex < nSrcCount; ++lIndex)
    {
        unsigned int const lCode = static_cast<unsigned int>(npSrc[lIndex]);
        unsigned int const lSize = sizeOfCode(lCode);
        lIsGood = lSize != 0 && lSize < nDstSize - lUsed;
        if (lIsGood)
        {
            encode(npDst + lUsed, lCode, lSize);
            lUsed += lSize;
        }
    }
    npDst[lUsed] = 0;
    return lIsGood ? static_cast<int>(lUsed) : -1;
}

} // namespace

int toWide(wchar_t* npDst, unsigned int nDstSize, char const* npSrc, unsigned int nSrcBytes)
{
    return jk_mbtowc != nullptr ? jk_mbtowc(npDst, nDstSize, npSrc, nSrcBytes, KCP_UTF8)
                                : toWideByOurselves(npDst, nDstSize, npSrc, nSrcBytes);
}

int toNarrow(char* npDst, unsigned int nDstSize, wchar_t const* npSrc, int nSrcCount)
{
    return jk_wctomb != nullptr ? jk_wctomb(npDst, nDstSize, npSrc, nSrcCount, KCP_UTF8)
                                : toNarrowByOurselves(npDst, nDstSize, npSrc, nSrcCount);
}

} // namespace utl::internal
