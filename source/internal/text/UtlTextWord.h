/// Checks a machine word of UTF-8 as a whole. Layer: internal, string primitives.
#ifndef UTL_TEXT_WORD_H
#define UTL_TEXT_WORD_H

#include "internal/text/UtlUtf8.h"

namespace utl::internal
{

using Word = std::uintptr_t; ///< A machine word; the byte that comes first in the text is the lowest.

constexpr unsigned int WORD_BITS = 8 * sizeof(Word);
constexpr std::ptrdiff_t WORD_BYTES = sizeof(Word);

constexpr Word everyByte(unsigned int nByte)
{
    return ~Word(0) / 0xFF * nByte;
}

constexpr Word HIGH_BITS = everyByte(0x80);

/// Converts between the machine's byte order and that of the text.
inline Word inTextOrder(Word nWord)
{
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    return sizeof(Word) == 8 ? static_cast<Word>(__builtin_bswap64(nWord))
                             : static_cast<Word>(__builtin_bswap32(static_cast<std::uint32_t>(nWord)));
#else
    return nWord;
#endif
}

inline Word wordAt(unsigned char const* npBytes)
{
    Word lWord = 0;
    std::memcpy(&lWord, npBytes, sizeof(lWord));
    return inTextOrder(lWord);
}

inline void storeWord(char* npDst, Word nWord)
{
    nWord = inTextOrder(nWord);
    std::memcpy(npDst, &nWord, sizeof(nWord));
}

/// What is known of a word. The high bit of each byte is the mark.
struct WordOfText
{
    Word mUnusual;  ///< bytes that are neither ASCII nor part of a three-byte character with a usual lead
    Word mTailsDue; ///< the tail bytes with which the next word must begin
};

/// Usual leads are E1 to LAST_LEAD, and with IS_STRICT not ED.
/// nTailsDue: WordOfText::mTailsDue of the word before.
template <bool IS_STRICT, unsigned int LAST_LEAD = 0xEF>
inline WordOfText lookAt(Word nWord, Word nTailsDue)
{
    Word const lLow = nWord & ~HIGH_BITS;
    Word const lHigh = nWord & HIGH_BITS;
    Word const lLeads = lHigh & nWord << 1; // any, C0 to FF
    Word lOther = ~(lLow + everyByte(0x100 - 0xE1)) | (lLow + everyByte(0xFF - LAST_LEAD));
    if (IS_STRICT)
    {
        lOther |= ~((lLow ^ everyByte(0xED - 0x80)) + everyByte(0x7F));
    }
    Word const lDue = lLeads << 8 | lLeads << 16 | nTailsDue;
    return {(lLeads & lOther) | (lDue ^ lLeads ^ lHigh), lLeads >> (WORD_BITS - 8) | lLeads >> (WORD_BITS - 16)};
}

/// Marks bytes below 0x0B. Bytes above the first of them may be marked, too.
inline Word controlsOf(Word nWord)
{
    return (nWord - everyByte(0x0B)) & ~nWord & HIGH_BITS;
}

/// Whether all is usual up to the byte nFirst, that one included.
inline bool isUsualUpTo(unsigned int nFirst, Word nUnusual)
{
    return nUnusual << (WORD_BITS - 8 - 8 * nFirst) == 0;
}

/// The byte of the first mark; there must be one.
inline unsigned int firstOf(Word nMarks)
{
    return static_cast<unsigned int>(sizeof(Word) == 8 ? __builtin_ctzll(nMarks)
                                                       : __builtin_ctz(static_cast<unsigned int>(nMarks))) /
           8;
}

/// Copies a word and counts the bytes at its beginning that are ASCII from 0x0B up. Result: their number; the others
/// are to be overwritten. Has no branch that depends on the number, since runs of letters among kanji are short.
inline unsigned int copyAscii(char* npDst, unsigned char const* npSrc)
{
    Word const lWord = wordAt(npSrc);
    Word const lStops = (lWord & HIGH_BITS) | controlsOf(lWord);
    storeWord(npDst, lWord);
    return lStops != 0 ? firstOf(lStops) : sizeof(Word);
}

/// How many bytes to go back to the start of an incomplete character.
inline unsigned int cutOffBytes(Word nTailsDue)
{
    return nTailsDue == 0 ? 0 : nTailsDue < 0x100 ? 2 : 1;
}

} // namespace utl::internal

#endif
