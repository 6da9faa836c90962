/// Conversion between Shift-JIS, UTF-8, UTF-16 and wide text. Layer: text, above the string primitives.
#ifndef UTL_CHAR_SET_H
#define UTL_CHAR_SET_H

#include <cstdint>

#include "UtlMacros.h"
#include "UtlString.h"

// The platform's converter between narrow and wide text. The library calls it if the process has it, in itself or in
// one of its shared libraries. Otherwise it uses its own, between UTF-8 and 32-bit wide characters.
// A source that includes the platform's own declarations defines UTL_PLATFORM_KCP before it includes this header.
#ifndef UTL_PLATFORM_KCP
extern "C"
{
    /// Encodings of the platform's converter. The library passes only this value, its narrow encoding.
    enum EN_KCP : int
    {
        KCP_UTF8 = 32 ///< UTF-8
    };

    /// The platform's converters. The library calls them on the caller's thread, without a lock. Applications call
    /// convertStrFromTcharToWchar() and convertStrFromWcharToTchar() instead, which work in every process.
    ///
    /// The source has a length and no terminator; the destination must be left terminated, also after a failure.
    /// Result: units stored, without the terminator; 0 or less for failure.
    /// Safety: the platform's. Our own: any thread, also in a signal handler and after a fork; never blocks.
    int jk_mbtowc(wchar_t* npDst, unsigned int nDstSize, char const* npSrc, unsigned int nSrcBytes, EN_KCP nCharset);
    int jk_wctomb(char* npDst, unsigned int nDstSize, wchar_t const* npSrc, int nSrcCount, EN_KCP nCharset);
}
#endif

namespace utl
{

/// @file
///
///     char lText[32];
///     unsigned int const lSize = convertStrFromSjisToUtf8(lText, sizeof lText, lpSjis);   // terminator included
///     if (lSize == STR_ERROR) { complain(); }                                             // it does not fit
///     convertStrFromSjisToUtf8(nullptr, 0, lpSjis);                                       // the size that it takes
///
/// Holds for all functions of this header unless said otherwise:
///
/// Encodings: Utf8, Tchar, Char: narrow text, UTF-8. Sjis: Shift-JIS, code page 932. Utf16: 16-bit units in host byte
///            order. Dchar, Uint8: 16-bit units and bytes as raw data. Wchar: wide text, 32 bits.
/// Results:   STR_ERROR for failure: a null source, a null destination with a capacity, a capacity too small. The
///            destination may then hold the text before the fault, without a terminator.
/// convertStr...: convert terminated text. Capacity and result count units of the destination, terminator included. A
///            capacity of 0 asks for the size: nothing is stored, and the destination may be null.
/// convertChar...: convert the first character, without a terminator. Result: units stored. npConsumed may be null; it
///            receives the units taken from the source. A capacity of 0 asks for the size.
/// Capacity:  a call that fails touches nothing behind it.
/// Caution:   Shift-JIS from outside ends in two NUL bytes: a lead byte as the last byte takes one as its trail byte,
///            and the convertStr functions from Shift-JIS then go on behind it.
/// Ownership: nothing is owned or kept; source and destination must not overlap.
/// Threads:   any; no state, no lock, no heap, no log.
/// Signals:   yes, but for wide text if the process brings its own converter.
/// Forks:     usable in the child, with the same exception.
/// Blocking:  never, with the same exception.

/// The reference mark. UTF-16 gets it for Shift-JIS codes without a row and for four-byte UTF-8 characters.
constexpr unsigned short REPLACEMENT_CHAR = 0x203B;

/// One Shift-JIS code and its character. A double-byte code has its lead byte in the high half.
struct SjisToUnicode
{
    std::uint16_t mSjis;  ///< The code.
    std::uint16_t mUtf16; ///< The code unit.
    std::uint32_t mUtf8;  ///< The UTF-8 bytes read as one big-endian number: U+3042 is 0xE38182.
};

/// One character and the one code it converts to.
struct Utf8ToSjis
{
    std::uint32_t mKey;  ///< As SjisToUnicode::mUtf8.
    std::uint16_t mSjis; ///< The code.
};

constexpr unsigned int SJIS_TO_UNICODE_COUNT = 7787; ///< Rows of SJIS_TO_UNICODE.
constexpr unsigned int UTF8_TO_SJIS_COUNT = 7389;    ///< Rows of UTF8_TO_SJIS.

/// Code page 932 without ASCII and the user-defined area, ascending by mSjis; and its inverse, ascending by mKey, with
/// one code for each character. Constant data. The conversions give the results of a search here, but use an index.
extern UTL_API SjisToUnicode const SJIS_TO_UNICODE[SJIS_TO_UNICODE_COUNT];
extern UTL_API Utf8ToSjis const UTF8_TO_SJIS[UTF8_TO_SJIS_COUNT];

// --- Shift-JIS and UTF-8 ---

/// Looks up characters with lead byte 0xC2 to 0xD1 (two bytes) and 0xE2 to 0xE9 or 0xEF (three); one without a code
/// gives one NUL byte. Any other byte is stored as it is. A character that the terminator cuts off has no code.
///
/// Result:  1 or 2 bytes.
/// Caution: any other byte is stored whatever nDstSize says, 0 too; give a destination of one byte at least, or null.
/// Caution: *npConsumed is 2 or 3 even if the terminator cuts the character off; check before stepping by it.
UTL_SHARP_EDGE("give a destination of one byte at least, and terminated text")
UTL_API unsigned int convertCharFromUtf8ToSjis(char* npDst, unsigned int nDstSize, char const* npSrc,
                                               unsigned int* npConsumed);

/// The same for a text. It ends at the terminator even if that cuts a character off.
///
/// Caution: a character without a code becomes a NUL byte inside the result, and bytes outside the lead bytes above
///          (four-byte characters among them) pass as they are. The result counts them all.
UTL_SHARP_EDGE("compare the result with strlen() + 1 of the destination")
UTL_API unsigned int convertStrFromUtf8ToSjis(char* npDst, unsigned int nDstSize, char const* npSrc);

/// Looks up double-byte codes (lead byte 0x81 to 0x9F, 0xE0 to 0xEF, 0xFA to 0xFC) and half-width katakana (0xA1 to
/// 0xDF); a code without a row gives one NUL byte. Any other byte is stored as it is, 0xF0 to 0xF9 too.
///
/// Result:  1 to 3 bytes.
/// Caution: any other byte is stored whatever nDstSize says, 0 too; give a destination of one byte at least, or null.
UTL_SHARP_EDGE("give a destination of one byte at least")
UTL_API unsigned int convertCharFromSjisToUtf8(char* npDst, unsigned int nDstSize, char const* npSrc,
                                               unsigned int* npConsumed);

/// The same for a text.
///
/// Caution: a code without a row becomes a NUL byte inside the result, and 0x80, 0xA0, 0xF0 to 0xF9 and 0xFD to 0xFF
///          pass raw, so that the result may not be UTF-8; check it with t_charlen().
UTL_API unsigned int convertStrFromSjisToUtf8(char* npDst, unsigned int nDstSize, char const* npSrc);

// --- Shift-JIS and UTF-16 ---

/// Looks up the codes that convertCharFromSjisToUtf8() looks up; one without a row gives a 0 unit. Any other byte is
/// stored as a unit of the same value.
///
/// npDst:   not null; takes one unit.
/// Result:  1 for a code that is looked up.
/// Caution: 2 for any other byte, although one unit is stored; never add the result to a position.
UTL_API unsigned int convertCharFromSjisToUtf16(unsigned short* npDst, char const* npSrc, unsigned int* npConsumed);

/// The same for a text; a double-byte code without a row becomes REPLACEMENT_CHAR.
///
/// Caution: with an nDstSize of 0 and a destination, ASCII and the other bytes outside the table classes are stored all
///          the same, with a 0 unit behind; ask for the size with a null destination.
UTL_SHARP_EDGE("ask for the size with a null destination")
UTL_API unsigned int convertStrFromSjisToUtf16(unsigned short* npDst, unsigned int nDstSize, char const* npSrc);

// --- UTF-16 and UTF-8 ---

/// Converts any unit, 0 and lone surrogates too: each unit of a surrogate pair becomes three bytes of its own.
///
/// npBom:  may be null; set to 1 for the unit 0xFEFF, to 2 for 0xFFFE, and left alone otherwise.
/// Result: 1 to 3 bytes; 0 for those two units, with nothing stored.
UTL_API unsigned int convertCharFromUtf16ToUtf8(char* npDst, unsigned int nDstSize, unsigned short nUnit, int* npBom);

/// Converts a text up to the 0 unit, unit by unit as above.
///
/// Caution: a byte-order mark anywhere, the first unit too, fails the whole text; pass the text behind it.
UTL_API unsigned int convertStrFromUtf16ToUtf8(char* npDst, unsigned int nDstSize, unsigned short const* npSrc);

/// npDst:  takes one unit.
/// Result: 1; STR_ERROR for null, empty and malformed text and for a four-byte character.
UTL_API unsigned int convertCharFromUtf8ToUtf16(unsigned short* npDst, char const* npSrc, unsigned int* npConsumed);

/// Converts a text. A four-byte character becomes REPLACEMENT_CHAR.
///
/// Caution: a character with a wrong, overlong or cut-off tail ends the text there, without failure, and the rest is
///          dropped; check the text with t_charlen() first.
/// Caution: a byte that cannot lead a character stores REPLACEMENT_CHAR and steps one byte back (never before the
///          start), so the same bytes repeat until the capacity runs out, and the call fails; a query for the size
///          fails at once. Text that t_charlen() has passed never gets here.
UTL_SHARP_EDGE("check the text with t_charlen() first")
UTL_API unsigned int convertStrFromUtf8ToUtf16(unsigned short* npDst, unsigned int nDstSize, char const* npSrc);

// --- Wide text, through the platform's converter or our own ---
//
// Our own converter fails for cut-off and overlong characters, surrogates, and code points above U+10FFFF.

/// Converts narrow to wide text. A size query gives an upper bound: the bytes of the source plus one. The call fails if
/// the converter's result is below 1.
UTL_API unsigned int convertStrFromTcharToWchar(wchar_t* npDst, unsigned int nDstSize, char const* npSrc);

/// Converts wide to narrow text. A size query gives an upper bound: six bytes for each character plus one.
UTL_API unsigned int convertStrFromWcharToTchar(char* npDst, unsigned int nDstSize, wchar_t const* npSrc);

// --- Narrow text to narrow text ---

/// Copy the text, all or nothing.
UTL_API unsigned int convertStrFromTcharToChar(char* npDst, unsigned int nDstSize, char const* npSrc);
UTL_API unsigned int convertStrFromCharToTchar(char* npDst, unsigned int nDstSize, char const* npSrc);

/// copyStrBase(npDst, nDstSize, npSrc, STR_ALL, 0).
UTL_API unsigned int convertCharSet(char* npDst, unsigned int nDstSize, char const* npSrc);

// --- Byte order of raw data. No terminator is written or counted ---

/// Stores the units before the first 0 unit as bytes, nMaxUnits units at most. nBigEndian: 1 puts the high byte first,
/// any other value the low byte. Capacity and result are bytes.
UTL_API unsigned int convertStrFromDcharToUint8(unsigned char* npDst, unsigned int nDstSize,
                                                unsigned short const* npSrc, unsigned int nMaxUnits, int nBigEndian);

/// Stores nBytes bytes as units, 0 units included. Capacity and result are units; an odd nBytes fails.
UTL_API unsigned int convertBinFromUint8ToDchar(unsigned short* npDst, unsigned int nDstSize,
                                                unsigned char const* npSrc, unsigned int nBytes, int nBigEndian);

} // namespace utl

#endif
