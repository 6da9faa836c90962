/// Folds between character classes, comparison without case, numbers from text. Layer: folds.
#ifndef UTL_CONVERT_ATTRIB_H
#define UTL_CONVERT_ATTRIB_H

#include "UtlCharAttrib.h"

/// @file
///
///     char lText[64] = "";
///     convertAttrib(lText, sizeof lText, "ｶｰﾄﾞ 12", HANKAKU_ZENKAKU_PAIR, 0, 0);    // "カード　１２"
///     convertAttrib(lText, sizeof lText, "カード", HANKAKU_ZENKAKU_PAIR, 1, 0);      // "ｶｰﾄﾞ"
///     unsigned short lCount = 0;
///     strToInt(&lCount, "１２枚", 10);                                               // 12
///
/// Holds for all of this header:
///
/// Text:     UTF-8 in char, terminated, not owned; T is char. Sizes count bytes. No log, no heap.
/// Results:  STR_ERROR or false for failure; capacities, size queries and modes are those of UtlString.h.
/// Limits:   texts of WorkingBuffer<char>::CAPACITY bytes or more fail.
/// Locks:    none, except convertAttrib() if source and destination overlap: it uses one scratch row and its lock.
/// Threads:  any.
/// Signals:  yes, with the same exception.
/// Forks:    usable in the child; for the same exception see StaticBuffer.
/// Blocking: never, with the same exception: until no other thread has a scratch row.

namespace utl
{

/// One row of a pair table: a text and what it folds to, each narrow and wide. A row with a null left text ends the
/// table. Owns nothing. The tables of this header are as constant as the character tables.
/// Safety: a value.
class UTL_API PairAttrib
{
public:
    constexpr PairAttrib() = default;
    /// The left text, then the right one.
    constexpr PairAttrib(char const* npFirst, wchar_t const* npFirstWide, char const* npSecond,
                         wchar_t const* npSecondWide)
        : mFirst(npFirst, npFirstWide),
          mSecond(npSecond, npSecondWide)
    {
    }
    PairAttrib(PairAttrib const&) = default;
    PairAttrib& operator=(PairAttrib const&) = default;
    virtual ~PairAttrib() = default;

    CodeRow mFirst;  ///< left
    CodeRow mSecond; ///< right
};

// The name has the left text first. The bounds count the row that ends the table. The order of rows matters.

extern UTL_API PairAttrib const (&LOWER_UPPER_PAIR)[53];      ///< small and capital letters, half- and full-width
extern UTL_API PairAttrib const (&HANKAKU_ZENKAKU_PAIR)[185]; ///< half-width and full-width
extern UTL_API PairAttrib const (&NODAKUON_DAKUON_PAIR)[67];  ///< plain and voiced kana; a lone mark pairs with nothing
extern UTL_API PairAttrib const (&NODAKUON_HANDAKUON_PAIR)[18]; ///< plain and semi-voiced kana, the same
extern UTL_API PairAttrib const (&ZENKATA_HIRAGANA_PAIR)[87];   ///< full-width katakana and hiragana
extern UTL_API PairAttrib const (&HANKATA_HIRAGANA_PAIR)[89];   ///< half-width katakana and hiragana

/// Folds a text: at each position the first row of a pair table that matches there is applied. What no row matches is
/// copied as it is.
///
/// npDst:    may be npSrc, or overlap it.
/// nReverse: 0 replaces left texts by right texts, any other value right by left.
/// Result:   the size in use with the terminator; STR_ERROR for a null source or table, no room, too long a text. npDst
///           may then hold a part, terminated.
/// Caution: a malformed character ends the text without failure, and a character right before a stray continuation
/// byte gets lost. If nothing comes before it, the result is 1 and npDst is unchanged, without a terminator: store one
/// before the call, or pass text that t_charlen() has passed.
/// Caution: an empty text to be replaced matches everywhere. The two NODAKUON tables have one, so with nReverse 0 the
/// first position that no earlier row matches, any full-width text for instance, is filled with voicing marks up to the
/// capacity, and the result is STR_ERROR (at once if no capacity bounds it: a size query). Use these tables with
/// nReverse 1 only, which takes the marks away, or on plain half-width kana that have a voiced form.
template <class T>
UTL_SHARP_EDGE("store a terminator before the call, and check the text with t_charlen() first")
UTL_API unsigned int convertAttrib(T* npDst, unsigned int nDstSize, T const* npSrc, PairAttrib const* npTable,
                                   int nReverse, int nMode);

/// Removes all characters of a set from the end of a text, in place.
///
/// npSet:  null and empty mean white space: space, 0x09 to 0x0D, the full-width space.
/// Result: the new size with the terminator; STR_ERROR for null, too long or malformed text: unchanged.
template <class T>
UTL_API unsigned int trimStrRight(T* npStr, T const* npSet);

/// Compares two texts as strncmp does, after capital letters, half- and full-width, have become small ones; at most
/// nCount bytes. Null counts as empty; a malformed character ends its text.
/// Caution: a text of WorkingBuffer<char>::CAPACITY bytes or more counts as empty, so that two of them are equal; check
/// the length first, or use strncmp.
/// Caution: a character right before a stray continuation byte is lost: "ab\x80" equals "a"; check with t_charlen().
template <class T>
UTL_API int compareStrNoCase(T const* npLeft, T const* npRight, unsigned int nCount);

/// Reads a number without a sign from the start of a text, in half- or full-width characters. Exists for
/// <unsigned short, char> only.
///
/// npValue: written if the result is true.
/// nBase:   2 to 36; 0 lets the text choose: 16 after "0x", 8 after another leading 0, else 10.
/// Result:  true if a number was read; what follows it is ignored. False for nulls, other bases, a minus, no digit, a
///          value above 65535, and a text that is too long before or after it is made half-width.
/// Caution: with base 0 the text "0" is no number, since the leading 0 is a prefix; give a base. With base 16 a prefix
/// "0x" is not skipped: the number is 0.
/// Caution: a digit right before a stray continuation byte is lost: "12\x80" is 1; check with t_charlen() first.
template <class V, class T>
UTL_API bool strToInt(V* npValue, T const* npStr, int nBase);

} // namespace utl

#endif
