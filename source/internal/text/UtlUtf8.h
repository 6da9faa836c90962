/// Decodes and encodes characters of UTF-8. Layer: internal, string primitives.
#ifndef UTL_UTF8_H
#define UTL_UTF8_H

#include "UtlString.h"

#include <cstdint>
#include <cstring>

namespace utl::internal
{

/// Tells the compiler the usual result for Japanese text; walks over text are a good quarter faster with it.
inline bool isLikely(bool nCondition)
{
    return __builtin_expect(nCondition, true);
}

/// Writes a result if the caller wants it: npTarget may be null.
inline void storeIfGiven(unsigned int* npTarget, unsigned int nValue)
{
    if (npTarget != nullptr)
    {
        *npTarget = nValue;
    }
}

inline unsigned char const* bytesOf(char const* npText)
{
    return reinterpret_cast<unsigned char const*>(npText);
}

/// Reads no byte behind the first that differs, and so none behind a terminator.
inline bool beginsWith(unsigned char const* npText, unsigned char const* npBytes, unsigned int nCount)
{
    unsigned int lIndex = 0;
    while (lIndex < nCount && npText[lIndex] == npBytes[lIndex])
    {
        ++lIndex;
    }
    return lIndex == nCount;
}

/// The six bits of a tail byte; above 0x3F for any other byte.
inline unsigned int tailBits(unsigned char nByte)
{
    return nByte ^ 0x80U;
}

inline bool isTail(unsigned char nByte)
{
    return tailBits(nByte) <= 0x3F;
}

/// A byte below 0x80 or of the forms 110xxxxx, 1110xxxx, 11110xxx.
inline bool isLead(unsigned char nByte)
{
    return !isTail(nByte) && nByte < 0xF8;
}

/// Whether a byte-order mark, EF BB BF, begins here. Reads nothing behind a byte that differs.
inline bool isMark(unsigned char const* npChar)
{
    return npChar[0] == 0xEF && npChar[1] == 0xBB && npChar[2] == 0xBF;
}

/// Whether a character of two to four bytes is overlong, by its first two bytes.
inline bool isOverlong(unsigned char nLead, unsigned char nSecond)
{
    return nLead < 0xC2 || (nLead == 0xE0 && nSecond < 0xA0) || (nLead == 0xF0 && nSecond < 0x90);
}

/// Whether a character of three or four bytes is a surrogate or above U+10FFFF.
inline bool isTooHigh(unsigned char nLead, unsigned char nSecond)
{
    return nLead > 0xF4 || (nLead == 0xED && nSecond >= 0xA0) || (nLead == 0xF4 && nSecond >= 0x90);
}

/// charSize() for bytes that are neither ASCII nor a usual character of three bytes.
unsigned int rareCharSize(unsigned char const* npChar);

/// Bytes of the first character of a text that is not empty. Reads nothing behind the first byte that does not belong.
/// Result: 1 to 4; 0 for a lead byte with a tail that is wrong, overlong or cut off; STR_ERROR for any other byte.
inline unsigned int charSize(unsigned char const* npChar)
{
    if (*npChar < 0x80)
    {
        return 1;
    }
    // Nearly all Japanese text.
    return isLikely(*npChar > 0xE0 && *npChar < 0xF0 && isTail(npChar[1]) && isTail(npChar[2])) ? 3
                                                                                                : rareCharSize(npChar);
}

/// The first four bytes, the first one lowest.
inline std::uint32_t fourBytesAt(unsigned char const* npBytes)
{
    std::uint32_t lBytes = 0;
    std::memcpy(&lBytes, npBytes, sizeof(lBytes));
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? __builtin_bswap32(lBytes) : lBytes;
}

/// nBytes: fourBytesAt(). Whether it begins with a lead byte E1 to EF and two tail bytes; surrogates pass. One
/// comparison.
inline bool isThree(std::uint32_t nBytes)
{
    return (nBytes & 0xC0C0FFU) - 0x8080E1U <= 0x0E;
}

/// Of isThree().
inline bool isSurrogateThree(std::uint32_t nBytes)
{
    return (nBytes & 0x200FU) == 0x200DU;
}

/// Of fourBytesAt(): a character of three bytes whose lead byte is not E0.
inline bool isUsualThree(std::uint32_t nBytes)
{
    return isThree(nBytes) && !isSurrogateThree(nBytes);
}

/// The character of two or three bytes, of which nBytes is fourBytesAt().
inline unsigned int unitOfThree(std::uint32_t nBytes)
{
    return (nBytes & 0x0FU) << 12 | (nBytes >> 2 & 0xFC0U) | (nBytes >> 16 & 0x3FU);
}

/// Whether a result of charSize() is that of a character.
inline bool isSize(unsigned int nCharSize)
{
    return nCharSize - 1 < 4;
}

/// The character of two or three bytes that have passed all checks.
inline unsigned int unitOfUtf8(unsigned char nLead, unsigned char nTail)
{
    return (nLead & 0x1FU) << 6 | tailBits(nTail);
}
inline unsigned int unitOfUtf8(unsigned char nLead, unsigned char nTail, unsigned char nLast)
{
    return (nLead & 0x0FU) << 12 | tailBits(nTail) << 6 | tailBits(nLast);
}

/// Bytes of a UTF-16 unit in UTF-8: 1 to 3.
inline unsigned int utf8Size(unsigned int nUnit)
{
    return nUnit < 0x80 ? 1 : nUnit < 0x800 ? 2 : 3;
}

/// The bytes of a unit from 0x800, the first one lowest.
constexpr unsigned int threeBytesOf(unsigned int nUnit)
{
    return 0x8080E0U | nUnit >> 12 | (nUnit << 2 & 0x3F00U) | (nUnit << 16 & 0x3F0000U);
}

/// Stores four bytes, the lowest first.
inline void storeFour(char* npDst, unsigned int nBytes)
{
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    nBytes = __builtin_bswap32(nBytes);
#endif
    std::memcpy(npDst, &nBytes, sizeof(nBytes));
}

/// Stores a unit from 0x800 in one go, with a byte behind it that the next character or the terminator replaces.
inline void storeUtf8AndOneMore(char* npDst, unsigned int nUnit)
{
    storeFour(npDst, threeBytesOf(nUnit));
}

/// Stores a unit. nSize: utf8Size(nUnit), which is how many bytes are stored, without a terminator.
inline void storeUtf8(char* npDst, unsigned int nUnit, unsigned int nSize)
{
    if (nSize == 3)
    {
        npDst[0] = static_cast<char>(0xE0 | nUnit >> 12);
        npDst[1] = static_cast<char>(0x80 | (nUnit >> 6 & 0x3F));
        npDst[2] = static_cast<char>(0x80 | (nUnit & 0x3F));
    }
    else if (nSize == 2)
    {
        npDst[0] = static_cast<char>(0xC0 | nUnit >> 6);
        npDst[1] = static_cast<char>(0x80 | (nUnit & 0x3F));
    }
    else
    {
        npDst[0] = static_cast<char>(nUnit);
    }
}

template <bool IS_BIG_ENDIAN>
unsigned int unitAt(unsigned char const* npBytes)
{
    return IS_BIG_ENDIAN ? npBytes[0] * 256U + npBytes[1] : npBytes[1] * 256U + npBytes[0];
}

/// What the 64 units of the same upper ten bits have in common.
struct UnitHeads
{
    // The UTF-8 of the first of them, its first byte lowest, the bit IS_USUAL set; on top how far to shift the low six
    // bits of a unit. 0 for surrogates and for the 64 beside each byte-order mark.
    std::uint32_t mHeads[1024];
};

constexpr std::uint32_t IS_USUAL = 0x800000; // of a third byte, or of none

constexpr UnitHeads makeUnitHeads()
{
    UnitHeads lHeads{};
    for (unsigned int lIndex = 0; lIndex < 1024; ++lIndex)
    {
        unsigned int const lUnit = lIndex << 6;
        bool const lIsNearMark = lIndex == 0xFEFF >> 6 || lIndex == 0xFFFE >> 6;
        bool const lIsSurrogate = lUnit >= 0xD800 && lUnit <= 0xDFFF;
        std::uint32_t const lHead = lUnit < 0x80    ? lUnit
                                    : lUnit < 0x800 ? 8U << 24 | 0x80C0U | lUnit >> 6
                                                    : 16U << 24 | threeBytesOf(lUnit);
        lHeads.mHeads[lIndex] = lIsNearMark || lIsSurrogate ? 0 : IS_USUAL | lHead;
    }
    return lHeads;
}

inline constexpr UnitHeads UNIT_HEADS = makeUnitHeads();

/// Result: 0 if the unit is not for storeUsualUnit().
inline std::uint32_t usualHead(unsigned int nUnit)
{
    return UNIT_HEADS.mHeads[nUnit >> 6];
}

/// Bytes of the unit in UTF-8. nHead: usualHead() of it, not 0.
inline unsigned int usualSize(std::uint32_t nHead)
{
    return (nHead >> 27) + 1;
}

/// Stores four bytes, of which the first are the unit's UTF-8. Has no branch: text alternates between letters and kanji
/// too often for the processor to predict. Result: the end of the unit's bytes.
inline char* storeUsualUnit(char* npDst, unsigned int nUnit, std::uint32_t nHead)
{
    storeFour(npDst, nHead | (nUnit & 0x3FU) << (nHead >> 24));
    return npDst + usualSize(nHead);
}

/// Walks well-formed characters, a machine word at a time if they are ASCII or usual ones of three bytes.
/// Bytes from npEnd to the first that is no tail byte must be readable; a terminator at npEnd is enough.
/// Result: npEnd, or the first character that is malformed or passes npEnd.
unsigned char const* wellFormedEnd(unsigned char const* npText, unsigned char const* npEnd);

/// The same, but surrogates and what is above U+10FFFF are malformed.
unsigned char const* strictlyWellFormedEnd(unsigned char const* npText, unsigned char const* npEnd);

/// wellFormedEnd(), but stops at NUL and LF too.
unsigned char const* wellFormedLineEnd(unsigned char const* npText, unsigned char const* npEnd);

/// Both: stops also at NUL, LF, surrogates and code points above U+10FFFF.
unsigned char const* strictlyWellFormedLineEnd(unsigned char const* npText, unsigned char const* npEnd);

} // namespace utl::internal

#endif
