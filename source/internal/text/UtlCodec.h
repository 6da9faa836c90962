/// Reads and writes single characters of any encoding within bounds, and checks whole texts. Layer: internal, text.
#ifndef UTL_CODEC_H
#define UTL_CODEC_H

#include "UtlCheckedText.h"

#include <cstddef>
#include <cstdint>

namespace utl::internal
{

/// What the next bytes of a text are.
struct DecodedChar
{
    std::uint32_t mCode; ///< the code point, if mFault is END
    unsigned int mSize;  ///< bytes, also if they are no character; at least 1
    TextStop mFault;     ///< END for none, MALFORMED, NO_CODE; CUT_OFF if more bytes could complete a character
};

/// The largest character of any encoding.
constexpr unsigned int CHAR_BYTES_MAX = 4;

/// Decodes the next character. nBytes: at least 1; nothing behind them is read.
DecodedChar decodeChar(Encoding nEncoding, unsigned char const* npSrc, std::size_t nBytes, bool nIsLikeIconv);

/// Encodes a character. npDst: room for CHAR_BYTES_MAX bytes. Result: the bytes stored; 0 if the encoding lacks it.
unsigned int encodeChar(Encoding nEncoding, std::uint32_t nCode, unsigned char* npDst, bool nIsLikeIconv);

/// The same two for UTF-8. An nCode that is no character is not encoded.
DecodedChar decodeUtf8(unsigned char const* npSrc, std::size_t nBytes);
unsigned int encodeUtf8(std::uint32_t nCode, unsigned char* npDst);

/// Result: the first byte that is malformed, or npEnd. Nothing from npEnd on is read.
unsigned char const* wellFormedEndOf(Encoding nEncoding, unsigned char const* npSrc, unsigned char const* npEnd);

/// Read and write units and wide characters of either byte order, at any address.
template <bool IS_BIG_ENDIAN>
unsigned int loadUnit(unsigned char const* npSrc)
{
    std::uint16_t lUnit = 0;
    __builtin_memcpy(&lUnit, npSrc, sizeof(lUnit));
    return IS_BIG_ENDIAN == (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) ? lUnit : __builtin_bswap16(lUnit);
}

template <bool IS_BIG_ENDIAN>
void storeUnit(unsigned char* npDst, unsigned int nUnit)
{
    std::uint16_t lUnit = static_cast<std::uint16_t>(nUnit);
    lUnit = IS_BIG_ENDIAN == (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) ? lUnit : __builtin_bswap16(lUnit);
    __builtin_memcpy(npDst, &lUnit, sizeof(lUnit));
}

inline std::uint32_t loadWide(unsigned char const* npSrc)
{
    std::uint32_t lCode = 0;
    __builtin_memcpy(&lCode, npSrc, sizeof(lCode));
    return lCode;
}

inline void storeWide(unsigned char* npDst, std::uint32_t nCode)
{
    __builtin_memcpy(npDst, &nCode, sizeof(nCode));
}

inline bool isSurrogate(std::uint32_t nCode)
{
    return (nCode & ~0x7FFU) == 0xD800;
}

/// Whether our code for a character differs from iconv's, which sjisOfIconv() gives.
inline bool isOtherInIconv(unsigned int nSjis)
{
    return nSjis - 0xED40U <= 0xEEFCU - 0xED40U || nSjis == 0x879C;
}

} // namespace utl::internal

#endif
