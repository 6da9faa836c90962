/// Conversions, folds, comparison and checks that are safe for text of any bytes. Layer: text, above the folds.
#ifndef UTL_CHECKED_TEXT_H
#define UTL_CHECKED_TEXT_H

#include "UtlMacros.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace utl
{

/// @file
/// Start here with text that comes from outside. Whatever it holds, these functions neither read nor write out of
/// bounds and lose no character in silence.
///
///     std::string lUtf8;
///     auto const lDone = utl::convertText(utl::Encoding::UTF8, lUtf8, utl::Encoding::SJIS, lFromOutside);
///     if (!lDone.isWhole())
///     {
///         applog(MY_TYPE, 2, "%s at byte %zu", utl::text(lDone.mStop), lDone.mConsumed);
///     }
///
/// Text:      bytes of any length. A NUL is a character like any other, and a byte-order mark is the character U+FEFF.
///            Results are not terminated; a terminator that is part of the source is converted, too. UTF-16 and wide
///            text is passed as bytes, see bytesOfUnits(), which need no alignment.
/// Sizes:     bytes, for source and destination alike.
/// Ownership: nothing is owned or kept; source, replacement and destination must not overlap.
/// Heap:      only what a std::string grows by. If that throws, the exception passes through, and the string ends with
///            a whole character.
/// Locks:     none. Nothing is logged, and no state is kept.
/// Threads:   any.
/// Signals:   yes, but for the functions that append to a std::string.
/// Forks:     usable in the child.
/// Blocking:  never.

/// How text is stored. Well-formed text has what is listed here; everything else is malformed.
enum class Encoding
{
    UTF8,     ///< the shortest form of U+0000 to U+10FFFF, without surrogates
    SJIS,     ///< below 0x80, 0xA1 to 0xDF; two bytes, 0x81 to 0x9F or 0xE0 to 0xFC, then 0x40 to 0xFC without 0x7F
    UTF16_LE, ///< two bytes per unit, the low one first; surrogates in pairs, the high surrogate first
    UTF16_BE, ///< the same with the high byte first
    WIDE      ///< wchar_t, four bytes in the order of this machine: U+0000 to U+10FFFF, without surrogates
};

/// UTF-16 in the byte order of this machine.
constexpr Encoding ENCODING_UTF16 = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? Encoding::UTF16_LE : Encoding::UTF16_BE;

/// What to do with a character that cannot be converted.
enum class OnFault
{
    STOP,   ///< stop before the character
    SKIP,   ///< leave it out
    REPLACE ///< store TextOptions::mReplacement instead
};

/// How a text is converted or folded.
struct TextOptions
{
    OnFault mOnMalformed = OnFault::STOP; ///< for bytes that are no character of the encoding
    OnFault mOnNoCode = OnFault::STOP;    ///< for characters that the destination's encoding does not have
    /// In UTF-8; the reference mark by default. Its characters that the destination's encoding lacks are left out.
    std::string_view mReplacement = "\xE2\x80\xBB";
    /// True if the text goes on in another piece. A character that this piece cuts off is then no fault: the call stops
    /// before it with TextStop::CUT_OFF, and the caller puts the rest, at most five bytes, ahead of the next piece.
    bool mHasMore = false;
    /// True for Shift-JIS as CP932 is in the C library's iconv: 362 characters that have two codes get the other one,
    /// 0xF040 to 0xF9FC are the private characters U+E000 to U+E757, and nine more characters, such as U+301C, get a
    /// code.
    bool mIsLikeIconv = false;
};

/// Why a conversion ended.
enum class TextStop
{
    END,       ///< it reached the end of the source
    MALFORMED, ///< the next bytes are no character of the source's encoding
    NO_CODE,   ///< the next character has no code in the destination's encoding, or the Shift-JIS code no character
    NO_ROOM,   ///< the next character does not fit; go on from there with more room
    CUT_OFF    ///< the piece ends in the middle of a character; only with TextOptions::mHasMore
};

/// The result of a conversion or fold. Only whole characters are consumed and written.
struct [[nodiscard]] TextResult
{
    std::size_t mWritten;  ///< bytes that were written
    std::size_t mConsumed; ///< bytes that were taken from the source, which is also where it stopped
    std::size_t mFaults;   ///< characters that were skipped or replaced
    TextStop mStop;        ///< why it stopped there

    /// Whether the whole text was converted without a fault.
    bool isWhole() const { return mStop == TextStop::END && mFaults == 0; }
};

/// The folds. Each does what convertAttrib() does with a table: "to the right" with nReverse 0, "to the left" with 1.
enum class Fold
{
    UPPER,                     ///< LOWER_UPPER_PAIR, to the right
    LOWER,                     ///< the same, to the left
    FULL_WIDTH,                ///< HANKAKU_ZENKAKU_PAIR, to the right
    HALF_WIDTH,                ///< the same, to the left
    VOICED,                    ///< NODAKUON_DAKUON_PAIR, to the right: its empty texts fold nothing
    NOT_VOICED,                ///< the same, to the left
    SEMI_VOICED,               ///< NODAKUON_HANDAKUON_PAIR, to the right: its empty texts fold nothing
    NOT_SEMI_VOICED,           ///< the same, to the left
    KATAKANA_TO_HIRAGANA,      ///< ZENKATA_HIRAGANA_PAIR, to the right
    HIRAGANA_TO_KATAKANA,      ///< the same, to the left
    HALF_KATAKANA_TO_HIRAGANA, ///< HANKATA_HIRAGANA_PAIR, to the right
    HIRAGANA_TO_HALF_KATAKANA  ///< the same, to the left
};

/// Units of UTF-16 or wide text as the bytes that these functions take. nCount: units.
template <class Unit>
std::string_view bytesOfUnits(Unit const* npUnits, std::size_t nCount)
{
    return std::string_view(reinterpret_cast<char const*>(npUnits), nCount * sizeof(Unit));
}

/// Converts a text. If both encodings are the same, all well-formed characters are copied, even Shift-JIS codes without
/// a character.
///
/// npDst:     may be null if nDstBytes is 0.
/// nDstBytes: the capacity. Bytes of the destination behind mWritten may have been overwritten, none behind nDstBytes.
UTL_API TextResult convertText(Encoding nTo, void* npDst, std::size_t nDstBytes, Encoding nFrom, std::string_view nSrc,
                               TextOptions const& nOptions = TextOptions());

/// The same, appended to a string, which grows as needed: never TextStop::NO_ROOM.
UTL_API TextResult convertText(Encoding nTo, std::string& nDst, Encoding nFrom, std::string_view nSrc,
                               TextOptions const& nOptions = TextOptions());

/// The result that convertText() would give with room for everything; mWritten is the room that is needed.
UTL_API TextResult measureConverted(Encoding nTo, Encoding nFrom, std::string_view nSrc,
                                    TextOptions const& nOptions = TextOptions());

/// Folds a text of UTF-8, with arguments and result as for convertText(). What no row of the table matches is copied.
///
/// nOptions: mOnNoCode and mIsLikeIconv have no effect.
UTL_API TextResult foldText(Fold nFold, char* npDst, std::size_t nDstBytes, std::string_view nSrc,
                            TextOptions const& nOptions = TextOptions());

/// The same, appended to a string, which grows as needed: never TextStop::NO_ROOM.
UTL_API TextResult foldText(Fold nFold, std::string& nDst, std::string_view nSrc,
                            TextOptions const& nOptions = TextOptions());

/// The result that foldText() would give with room for everything.
UTL_API TextResult measureFolded(Fold nFold, std::string_view nSrc, TextOptions const& nOptions = TextOptions());

/// Compares two texts of UTF-8, byte by byte after capital letters, half- and full-width, have become small ones. A
/// malformed byte counts as itself.
///
/// Result: below 0 if the left text comes first, 0 if they are equal, above 0 if the right text comes first.
UTL_API int compareTextNoCase(std::string_view nLeft, std::string_view nRight);

/// Result: bytes before the first that is malformed; the size of the text if none is.
UTL_API std::size_t wellFormedSize(std::string_view nText, Encoding nEncoding);

/// Whether no byte of a text is malformed. Other encodings may still lack its characters.
inline bool isWellFormed(std::string_view nText, Encoding nEncoding)
{
    return wellFormedSize(nText, nEncoding) == nText.size();
}

/// A few words for people, never null.
UTL_API char const* text(TextStop nStop);

} // namespace utl

#endif
