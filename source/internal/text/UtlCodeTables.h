/// Looks up single characters of code page 932. Layer: internal, text.
#ifndef UTL_CODE_TABLES_H
#define UTL_CODE_TABLES_H

#include "UtlCharSet.h"
#include "internal/text/UtlUtf8.h"

namespace utl::internal
{

// Two-level indexes, which give for every code what a search of the sorted tables would give. They hold the result
// itself, not the number of its row: that is one load less, and conversions never touch the memory of the sorted
// tables. Constant data, made together with those tables. Page 0 of each is empty: it is for bytes that lead no
// character. Page 1 of SJIS_CHARS is also empty: it is for lead bytes without a character. Declared hidden, so that a
// walk does not look up their addresses for each character.
#pragma GCC visibility push(hidden)
extern std::uint16_t const SJIS_LEADS[256];   ///< By lead byte: start of its page in SJIS_CHARS, or NO_LEAD.
extern std::uint32_t const SJIS_CHARS[8695];  ///< Pages of 189, by trail byte from 0x40: an entry or 0.
extern std::uint16_t const UNIT_PAGES[1024];  ///< By the upper ten bits of a unit: start of its page in UNIT_CODES.
extern std::uint16_t const UNIT_CODES[23168]; ///< Pages of 64, by the lower six bits: the Shift-JIS code or 0.
#pragma GCC visibility pop

constexpr unsigned int NO_LEAD = 0;
constexpr unsigned int INDEX_BYTES_FROM_SJIS = sizeof(SJIS_LEADS) + sizeof(SJIS_CHARS);
constexpr unsigned int INDEX_BYTES_TO_SJIS = sizeof(UNIT_PAGES) + sizeof(UNIT_CODES);

// --- Shift-JIS. Three classes of bytes: lead of a double-byte code, half-width katakana, anything else ---

/// 0x81 to 0x9F, 0xE0 to 0xEF, 0xFA to 0xFC: the next byte belongs to the character.
inline bool isSjisLead(unsigned char nByte)
{
    return SJIS_LEADS[nByte] != NO_LEAD;
}

/// 0xA1 to 0xDF.
inline bool isSjisKana(unsigned char nByte)
{
    return nByte >= 0xA1 && nByte <= 0xDF;
}

/// The entry of a code. nLead: any byte. Result: the UTF-16 unit in the upper half, the first two bytes of its UTF-8 in
/// the lower, the first one lowest; 0 for a code without a row, and if nLead is no lead byte.
inline std::uint32_t entryOfSjis(unsigned char nLead, unsigned char nTrail)
{
    unsigned int const lSlot = nTrail - 0x40U;
    return lSlot < 189 ? SJIS_CHARS[SJIS_LEADS[nLead] + lSlot] : 0;
}

/// nLead must be one. Result: the UTF-16 unit, or 0 for a code without a row.
inline unsigned int unitOfSjis(unsigned char nLead, unsigned char nTrail)
{
    return entryOfSjis(nLead, nTrail) >> 16;
}

/// Whether the character of an entry has three bytes in UTF-8: nearly all. Otherwise it has two, or there is none.
inline bool hasThreeBytes(std::uint32_t nEntry)
{
    return nEntry >= 0x800U << 16;
}

/// Store the UTF-8 of an entry as a word of four bytes. Result: the end of the character.
inline char* storeThreeOf(char* npDst, std::uint32_t nEntry)
{
    storeFour(npDst, 0x800000U | (nEntry & 0x3FFFFFU)); // the low six bits of the unit are those of the third byte
    return npDst + 3;
}
inline char* storeTwoOf(char* npDst, std::uint32_t nEntry)
{
    storeFour(npDst, nEntry);
    return npDst + 2;
}

/// The byte must be one of the katakana, which all have a row.
inline unsigned int unitOfSjisKana(unsigned char nByte)
{
    return nByte + (0xFF61U - 0xA1U);
}

/// nUnit: up to 0xFFFF. Result: the Shift-JIS code, two bytes if above 0xFF; 0 for a character without a row.
inline unsigned int sjisOfUnit(unsigned int nUnit)
{
    return UNIT_CODES[UNIT_PAGES[nUnit >> 6] + (nUnit & 63)];
}

/// Bytes of a code in Shift-JIS: 1 or 2.
inline unsigned int sjisSize(unsigned int nCode)
{
    return nCode > 0xFF ? 2 : 1;
}

/// Stores a code. nSize: sjisSize(nCode), which is how many bytes are stored, without a terminator.
inline void storeSjis(char* npDst, unsigned int nCode, unsigned int nSize)
{
    npDst[0] = static_cast<char>(nSize == 2 ? nCode >> 8 : nCode);
    npDst[nSize - 1] = static_cast<char>(nCode);
}

/// sjisOfUnit() for the bytes of a three-byte character, which directly give both levels of the index.
inline unsigned int sjisOfUtf8(unsigned char nLead, unsigned char nTail, unsigned char nLast)
{
    return UNIT_CODES[UNIT_PAGES[(nLead & 0x0FU) << 6 | tailBits(nTail)] + tailBits(nLast)];
}

} // namespace utl::internal

#endif
