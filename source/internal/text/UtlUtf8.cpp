// UTF-8 text walked a machine word at a time.
#include "internal/text/UtlUtf8.h"

#include <cstdint>
#include <cstring>

namespace utl::internal
{

namespace
{

using Word = std::uintptr_t; // what the processor handles at once

constexpr unsigned int WORD_BITS = 8 * sizeof(Word);

constexpr Word everyByte(unsigned int nByte)
{
    return ~Word(0) / 0xFF * nByte;
}

constexpr Word HIGH_BITS = everyByte(0x80);

// The byte that comes first is the lowest.
Word wordAt(unsigned char const* npBytes)
{
    Word lWord = 0;
    std::memcpy(&lWord, npBytes, sizeof(lWord));
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    lWord = sizeof(Word) == 8 ? static_cast<Word>(__builtin_bswap64(lWord))
                              : static_cast<Word>(__builtin_bswap32(static_cast<std::uint32_t>(lWord)));
#endif
    return lWord;
}

// The high bits of a byte tell what is known of it.
struct WordOfText
{
    Word mUnusual;  // does not fit into text of ASCII and characters of three bytes with the leads E1 to EF
    Word mControls; // below 0x0B; above such a byte others may be marked too
    Word mTailsDue; // tail bytes that the next word begins with
};

// What a walk stops at.
enum class Stops
{
    MALFORMED,
    MALFORMED_STRICTLY, // surrogates and what is above U+10FFFF too
    LINE_END,           // NUL and LF too
    LINE_END_STRICTLY   // all of these
};

constexpr bool isOfLine(Stops nStops)
{
    return nStops == Stops::LINE_END || nStops == Stops::LINE_END_STRICTLY;
}

constexpr bool isStrict(Stops nStops)
{
    return nStops == Stops::MALFORMED_STRICTLY || nStops == Stops::LINE_END_STRICTLY;
}

template <Stops STOPS>
inline WordOfText lookAt(Word nWord, Word nTailsDue)
{
    Word const lHigh = nWord & HIGH_BITS;
    Word const lTails = lHigh & ~(nWord << 1);
    Word const lLeads = lHigh & nWord << 1 & nWord << 2 & ~(nWord << 3);
    Word const lNibbles = nWord & everyByte(0x0F);
    Word lOverlong = lLeads & ~((lNibbles + everyByte(0x0F)) << 3); // E0
    if (isStrict(STOPS))
    {
        lOverlong |= lLeads & ~(((lNibbles ^ everyByte(0x0D)) + everyByte(0x0F)) << 3); // ED
    }
    Word const lDue = lLeads << 8 | lLeads << 16 | nTailsDue;
    return {(lHigh ^ lTails ^ lLeads) | lOverlong | (lDue ^ lTails), (nWord - everyByte(0x0B)) & ~nWord & HIGH_BITS,
            lLeads >> (WORD_BITS - 8) | lLeads >> (WORD_BITS - 16)};
}

// nControls is not 0. Whether all is usual up to the first of them.
inline bool isUsualUpTo(unsigned int nFirst, Word nUnusual)
{
    return nUnusual << (WORD_BITS - 8 - 8 * nFirst) == 0;
}

inline unsigned int firstOf(Word nMarks)
{
    return static_cast<unsigned int>(sizeof(Word) == 8 ? __builtin_ctzll(nMarks)
                                                       : __builtin_ctz(static_cast<unsigned int>(nMarks))) /
           8;
}

template <Stops STOPS>
inline bool isStop(unsigned char const* npChar, unsigned int nSize)
{
    return (isOfLine(STOPS) && (*npChar == '\n' || *npChar == 0)) ||
           (isStrict(STOPS) && nSize >= 3 && isTooHigh(npChar[0], npChar[1]));
}

// Words of usual text. Result: the start of a character that is to be looked at by itself.
template <Stops STOPS>
inline unsigned char const* walkWords(unsigned char const* npAt, unsigned char const* npEnd)
{
    constexpr bool IS_LINE = isOfLine(STOPS);
    Word lTailsDue = 0;
    while (static_cast<std::size_t>(npEnd - npAt) >= sizeof(Word))
    {
        WordOfText const lLook = lookAt<STOPS>(wordAt(npAt), lTailsDue);
        if (!isLikely((lLook.mUnusual | (IS_LINE ? lLook.mControls : 0)) == 0))
        {
            unsigned int const lFirst = IS_LINE && lLook.mControls != 0 ? firstOf(lLook.mControls) : 0;
            if (IS_LINE && lLook.mControls != 0 && isUsualUpTo(lFirst, lLook.mUnusual))
            {
                return npAt + lFirst;
            }
            break;
        }
        lTailsDue = lLook.mTailsDue;
        npAt += sizeof(Word);
    }
    return npAt - (lTailsDue == 0 ? 0 : lTailsDue < 0x100 ? 2 : 1); // back to the character that is not complete
}

template <Stops STOPS>
unsigned char const* walk(unsigned char const* npAt, unsigned char const* npEnd)
{
    while (npAt < npEnd)
    {
        npAt = walkWords<STOPS>(npAt, npEnd);
        // A word's length by single characters, then words again.
        for (unsigned char const* const lpFrom = npAt; npAt < npEnd && npAt - lpFrom <= 8;)
        {
            unsigned int const lSize = charSize(npAt);
            if (!isSize(lSize) || isStop<STOPS>(npAt, lSize) || lSize > static_cast<std::size_t>(npEnd - npAt))
            {
                return npAt;
            }
            npAt += lSize;
        }
    }
    return npAt;
}

} // namespace

unsigned int rareCharSize(unsigned char const* npChar)
{
    if (!isLead(*npChar))
    {
        return STR_ERROR;
    }
    unsigned int const lSize = *npChar < 0xE0 ? 2 : *npChar < 0xF0 ? 3 : 4;
    unsigned int lIndex = 1;
    while (lIndex < lSize && isTail(npChar[lIndex]))
    {
        ++lIndex;
    }
    return lIndex == lSize && !isOverlong(npChar[0], npChar[1]) ? lSize : 0;
}

unsigned char const* wellFormedEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::MALFORMED>(npText, npEnd);
}

unsigned char const* strictlyWellFormedEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::MALFORMED_STRICTLY>(npText, npEnd);
}

unsigned char const* wellFormedLineEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::LINE_END>(npText, npEnd);
}

unsigned char const* strictlyWellFormedLineEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::LINE_END_STRICTLY>(npText, npEnd);
}

} // namespace utl::internal
