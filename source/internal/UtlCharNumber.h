/// Small numbers for the characters that the character and pair tables know. Layer: character classes.
#ifndef UTL_CHAR_NUMBER_H
#define UTL_CHAR_NUMBER_H

namespace utl::internal
{

/// Characters come in pages of 64, as the last byte of UTF-8 has it: ASCII in pages 0 and 1, U+2000, U+3000 to U+30C0,
/// U+FF00 to U+FFC0. Tables that are indexed with the number have CHAR_NUMBER_COUNT entries.
constexpr unsigned int CHAR_NUMBER_UNKNOWN = 11 * 64; ///< every other character, and malformed text
constexpr unsigned int CHAR_NUMBER_COUNT = CHAR_NUMBER_UNKNOWN + 1;

/// The number of the first character of a text, 0 for empty text. Reads no byte past a terminator. Also evaluated
/// while compiling, to build the tables that it looks up.
constexpr unsigned int charNumber(char const* npStr)
{
    unsigned int const lLead = static_cast<unsigned char>(npStr[0]);
    if (lLead < 0x80U)
    {
        return lLead;
    }
    unsigned int const lSecond = static_cast<unsigned char>(npStr[1]);
    unsigned int lPage = 0;
    if (lLead == 0xE3U && (lSecond & 0xFCU) == 0x80U)
    {
        lPage = 3U + (lSecond & 3U);
    }
    else if (lLead == 0xEFU && (lSecond & 0xFCU) == 0xBCU)
    {
        lPage = 7U + (lSecond & 3U);
    }
    else if (lLead == 0xE2U && lSecond == 0x80U)
    {
        lPage = 2U;
    }
    else
    {
        return CHAR_NUMBER_UNKNOWN;
    }
    unsigned int const lThird = static_cast<unsigned char>(npStr[2]);
    return (lThird & 0xC0U) == 0x80U ? lPage * 64U + (lThird & 0x3FU) : CHAR_NUMBER_UNKNOWN;
}

/// Size in bytes of a character by its number; not for CHAR_NUMBER_UNKNOWN.
constexpr unsigned int charNumberSize(unsigned int nNumber)
{
    return nNumber < 0x80U ? 1U : 3U;
}

} // namespace utl::internal

#endif
