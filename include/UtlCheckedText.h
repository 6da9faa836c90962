/// Text of any bytes: conversions, folds, comparison and checks that tell why they stop. Layer: text, above the folds.
#ifndef UTL_CHECKED_TEXT_H
#define UTL_CHECKED_TEXT_H

#include "UtlMacros.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace utl
{

/// @file
/// Start here with text that comes from outside: no text can make these functions read or write where they must not, or
/// lose a character in silence.
///
///     std::string lUtf8;
///     auto const lDone = utl::convertText(utl::Encoding::UTF8, lUtf8, utl::Encoding::SJIS, lFromOutside);
///     if (!lDone.isWhole())
///     {
///         applog(MY_TYPE, 2, "%s at byte %zu", utl::text(lDone.mStop), lDone.mConsumed);
///     }
///
/// Text:      bytes and their number, of any length. A NUL is a character like any other, and a byte-order mark is the
///            character U+FEFF. Nothing is terminated; a terminator that is part of the source is converted too. Units
///            of UTF-16 and of wide text are bytes as well, see bytesOfUnits(), and need no alignment.
/// Sizes:     bytes, of source and destination alike.
/// Ownership: nothing is owned or kept; source, replacement and destination must not overlap.
/// Heap:      only what a std::string grows by; its exception passes through, and the string then ends with a whole
///            character. No lock, no log, no state.
/// Threads:   any.
/// Signals:   yes, but for the functions that append to a std::string.
/// Forks:     nothing to heed.
/// Blocking:  never.

/// How text is stored. Well-formed is, and everything else is malformed:
enum class Encoding
{
    UTF8,     ///< the shortest form of U+0000 to U+10FFFF, without surrogates
    SJIS,     ///< below 0x80, 0xA1 to 0xDF; two bytes, 0x81 to 0x9F or 0xE0 to 0xFC, then 0x40 to 0xFC without 0x7F
    UTF16_LE, ///< two bytes a unit, the low one first; surrogates in pairs, the high one first
    UTF16_BE, ///< the same with the high byte first
    WIDE      ///< wchar_t, four bytes in the order of this machine: U+0000 to U+10FFFF, without surrogates
};

/// UTF-16 in the byte order of this machine.
constexpr Encoding ENCODING_UTF16 = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? Encoding::UTF16_LE : Encoding::UTF16_BE;

/// What to do with a character that cannot be converted.
enum class OnFault
{
    STOP,   ///< stop before it
    SKIP,   ///< leave it out
    REPLACE ///< store TextOptions::mReplacement for it
};

/// How a text is converted or folded.
struct TextOptions
{
    OnFault mOnMalformed = OnFault::STOP; ///< for bytes that are no character of the encoding
    OnFault mOnNoCode = OnFault::STOP;    ///< for characters that the destination's encoding does not have
    /// In UTF-8, the reference mark unless changed. What the destination's encoding does not have of it is left out.
    std::string_view mReplacement = "\xE2\x80\xBB";
    /// The text goes on in a next piece. A character that this piece cuts off is then no fault: the call stops before
    /// it with TextStop::CUT_OFF, at most five bytes before the end, which the caller puts ahead of the next piece.
    bool mHasMore = false;
    /// Shift-JIS as the C library's iconv has it in CP932: 362 characters that have two codes get the other one, 0xF040
    /// to 0xF9FC are the private characters U+E000 to U+E757, and nine more characters, such as U+301C, get a code.
    bool mIsLikeIconv = false;
};

/// Why a conversion ended.
enum class TextStop
{
    END,       ///< it did not stop: all of the source is done
    MALFORMED, ///< what stands there is no character of the encoding
    NO_CODE,   ///< the character there has no code in the destination's encoding, or the Shift-JIS code no character
    NO_ROOM,   ///< what comes next does not fit; go on from there with more room
    CUT_OFF    ///< the piece ends in the midst of a character; only with TextOptions::mHasMore
};

/// What became of a text. Whole characters only are consumed and written.
struct [[nodiscard]] TextResult
{
    std::size_t mWritten;  ///< bytes that were written
    std::size_t mConsumed; ///< bytes that were taken from the source, and so where it stopped
    std::size_t mFaults;   ///< characters that were skipped or replaced
    TextStop mStop;        ///< why it stopped there

    /// Whether the whole text came through without a fault.
    bool isWhole() const { return mStop == TextStop::END && mFaults == 0; }
};

/// The folds, each as convertAttrib() has it with one of its tables.
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

/// Units, of UTF-16 or wide, as the bytes that these functions take.
template <class Unit>
std::string_view bytesOfUnits(Unit const* npUnits, std::size_t nCount)
{
    return std::string_view(reinterpret_cast<char const*>(npUnits), nCount * sizeof(Unit));
}

/// Converts a text. From an encoding to the same one, well-formed characters are copied, whether tabulated or not.
///
/// nDstBytes: never passed. Of what stands behind mWritten bytes, a part may have been overwritten.
UTL_API TextResult convertText(Encoding nTo, void* npDst, std::size_t nDstBytes, Encoding nFrom, std::string_view nSrc,
                               TextOptions const& nOptions = TextOptions());

/// The same, appended to a string, which grows as needed: never TextStop::NO_ROOM.
UTL_API TextResult convertText(Encoding nTo, std::string& nDst, Encoding nFrom, std::string_view nSrc,
                               TextOptions const& nOptions = TextOptions());

/// What the two above would do with room for everything, so that mWritten is the room that is needed.
UTL_API TextResult measureConverted(Encoding nTo, Encoding nFrom, std::string_view nSrc,
                                    TextOptions const& nOptions = TextOptions());

/// Folds a text of UTF-8, as convertText() converts one. What no row of the table has is copied.
///
/// nOptions: mOnNoCode and mIsLikeIconv have no meaning here.
UTL_API TextResult foldText(Fold nFold, char* npDst, std::size_t nDstBytes, std::string_view nSrc,
                            TextOptions const& nOptions = TextOptions());

/// The same, appended to a string, which grows as needed: never TextStop::NO_ROOM.
UTL_API TextResult foldText(Fold nFold, std::string& nDst, std::string_view nSrc,
                            TextOptions const& nOptions = TextOptions());

/// What the two above would do with room for everything.
UTL_API TextResult measureFolded(Fold nFold, std::string_view nSrc, TextOptions const& nOptions = TextOptions());

/// Compares two texts of UTF-8 in which capital letters, half- and full-width, count as small ones. A malformed byte
/// counts as itself.
///
/// Result: below 0, 0 or above 0 as the left text comes before the right one, by the values of the folded bytes.
UTL_API int compareTextNoCase(std::string_view nLeft, std::string_view nRight);

/// Result: bytes up to the first that is malformed; the size of the text if none is.
UTL_API std::size_t wellFormedSize(std::string_view nText, Encoding nEncoding);

/// Whether no byte of a text is malformed. Says nothing about whether other encodings have its characters.
inline bool isWellFormed(std::string_view nText, Encoding nEncoding)
{
    return wellFormedSize(nText, nEncoding) == nText.size();
}

/// A few words for a person, never null.
UTL_API char const* text(TextStop nStop);

} // namespace utl

#endif
