/// One character of any encoding, read and written within bounds; whole stretches checked. Layer: internal, text.
#ifndef UTL_CODEC_H
#define UTL_CODEC_H

#include "UtlCheckedText.h"

#include <cstddef>
#include <cstdint>

namespace utl::internal
{

/// What the bytes ahead are.
struct DecodedChar
{
    std::uint32_t mCode; ///< of a character that has one
    unsigned int mSize;  ///< bytes, also of what is no character; at least 1
    TextStop mFault;     ///< END for none, MALFORMED, NO_CODE; CUT_OFF if more bytes could complete a character
};

/// The largest character of any encoding.
constexpr unsigned int CHAR_BYTES_MAX = 4;

/// nBytes: at least 1; nothing behind them is read.
DecodedChar decodeChar(Encoding nEncoding, unsigned char const* npSrc, std::size_t nBytes, bool nIsLikeIconv);

/// nCode: that of a character. npDst: takes CHAR_BYTES_MAX bytes. Result: the bytes stored; 0 if it has no code.
unsigned int encodeChar(Encoding nEncoding, std::uint32_t nCode, unsigned char* npDst, bool nIsLikeIconv);

/// The two for UTF-8. An nCode that is no character is not encoded.
DecodedChar decodeUtf8(unsigned char const* npSrc, std::size_t nBytes);
unsigned int encodeUtf8(std::uint32_t nCode, unsigned char* npDst);

/// Result: the first byte that is malformed, or npEnd. Nothing from npEnd on is read.
unsigned char const* wellFormedEndOf(Encoding nEncoding, unsigned char const* npSrc, unsigned char const* npEnd);

/// Units and wide characters in the order of their bytes, at any address.
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

/// Whether our code for a character is another one than iconv's, which sjisOfIconv() gives.
inline bool isOtherInIconv(unsigned int nSjis)
{
    return nSjis - 0xED40U <= 0xEEFCU - 0xED40U || nSjis == 0x879C;
}

} // namespace utl::internal

#endif
