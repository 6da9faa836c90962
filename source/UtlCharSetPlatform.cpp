// Wide text: calls the process's own converters if it has them, otherwise the library's.
#include "internal/text/UtlCharSetPlatform.h"

#include <cstring>

#include "UtlCharSet.h"
#include "internal/text/UtlCodec.h"
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

int toWideByOurselves(wchar_t* npDst, unsigned int nDstSize, char const* npSrc, unsigned int nSrcBytes)
{
    bool lIsGood = true;
    unsigned int lUsed = 0;
    for (unsigned int lIndex = 0; lIsGood && lIndex < nSrcBytes;)
    {
        DecodedChar const lChar = decodeUtf8(bytesOf(npSrc) + lIndex, nSrcBytes - lIndex);
        lIsGood = lChar.mFault == TextStop::END && lUsed + 1 < nDstSize;
        if (lIsGood)
        {
            npDst[lUsed++] = static_cast<wchar_t>(lChar.mCode);
            lIndex += lChar.mSize;
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
        unsigned char lBytes[CHAR_BYTES_MAX];
        unsigned int const lSize = encodeUtf8(static_cast<std::uint32_t>(npSrc[lIndex]), lBytes);
        lIsGood = lSize != 0 && lSize < nDstSize - lUsed;
        if (lIsGood)
        {
            std::memcpy(npDst + lUsed, lBytes, lSize);
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
