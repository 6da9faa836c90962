/// Small numbers for the characters of the character and pair tables, to index other tables. Layer: character classes.
#ifndef UTL_CHAR_NUMBER_H
#define UTL_CHAR_NUMBER_H

namespace utl::internal
{

/// Characters are in pages of 64, which share all bytes of their UTF-8 but the last: ASCII in pages 0 and 1, U+2000,
/// U+3000 to U+30C0, U+FF00 to U+FFC0. Tables that are indexed with the number have CHAR_NUMBER_COUNT entries.
constexpr unsigned int CHAR_NUMBER_UNKNOWN = 11 * 64; ///< every other character, and malformed text
constexpr unsigned int CHAR_NUMBER_COUNT = CHAR_NUMBER_UNKNOWN + 1;
constexpr unsigned int CHAR_PAGE_COUNT = CHAR_NUMBER_UNKNOWN / 64 + 1; ///< with a page of unknown characters

/// The number of the first character of a text, 0 for empty text. Reads no byte past a terminator. It is also evaluated
/// at compile time, to build the tables that are indexed with it.
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

/// The page of a character of three bytes, found by the low bits of the first two. Those of the last byte give the
/// place in the page.
struct CharPages
{
    unsigned char mPages[1024];

    unsigned int of(unsigned char nLead, unsigned char nSecond) const
    {
        return mPages[(nLead & 0x0FU) << 6 | (nSecond & 0x3FU)];
    }
};

constexpr CharPages makeCharPages()
{
    CharPages lPages{};
    for (unsigned int lIndex = 0; lIndex < 1024; ++lIndex)
    {
        char const lText[] = {static_cast<char>(0xE0U | lIndex >> 6), static_cast<char>(0x80U | (lIndex & 0x3FU)),
                              static_cast<char>(0x80U), 0};
        lPages.mPages[lIndex] = static_cast<unsigned char>(charNumber(lText) / 64U);
    }
    return lPages;
}

/// Size in bytes of a character by its number; not for CHAR_NUMBER_UNKNOWN.
constexpr unsigned int charNumberSize(unsigned int nNumber)
{
    return nNumber < 0x80U ? 1U : 3U;
}

} // namespace utl::internal

#endif
