/// UTF-8 text in char arrays: length, copy, search, replacement. Layer: string primitives.
#ifndef UTL_STRING_H
#define UTL_STRING_H

#include "UtlMacros.h"

/// @file
///
///     char lName[8];
///     copyStrBase(lName, sizeof lName, "観測小屋", STR_ALL, 1);    // "観測", 7 with the terminator: cut to fit
///     copyStrBase(lName, sizeof lName, "観測小屋", STR_ALL, 0);    // STR_ERROR: all or nothing
///     t_strstr("観測小屋", "小");                                  // 6, in bytes
///
/// Holds for all functions of this header:
///
/// Text:     T is char; the library has the instantiations. Lengths, indexes and capacities count bytes, but text is
///           cut and searched at character boundaries only. Sources are terminated; nothing is owned.
/// Results:  STR_ERROR for failure, with the destination as it was unless said otherwise. A copy gives the bytes that
///           it stored, terminator included, so the new length is one less. No log, no exception, no heap.
/// Capacity: in bytes, terminator included. 0 with a usable source asks for the size: nothing is written, and the
///           result is the size that is needed, terminator included. The destination may then be null.
/// Modes:    1 cuts to fit, at a character boundary; any other value means all or nothing.
/// Caution:  in malformed text a stray continuation byte takes the character before it along: copying 3 bytes of
///           "abc\x80" gives "ab", and erasing at index 3 erases the "c"; but truncateStr() to 3 bytes gives "abc".
///           Check text from outside with getNearCharIndex(text, length, 1), which gives STR_ERROR for malformed text.
/// Overlap:  source and destination must not overlap unless said otherwise.
/// Time:     in proportion to the texts; a search forward takes as long as the C library's strstr().
/// Limits:   functions marked "Limited" fail for text of WorkingBuffer<char>::CAPACITY bytes or more.
/// Threads:  any; no locks, and nothing but the arguments is touched.
/// Signals:  yes, but for formatStr().
/// Forks:    usable in the child.
/// Blocking: never.

namespace utl
{

constexpr unsigned int STR_ERROR = 0xFFFFFFFFU; ///< The result for failure, and for "no index".
constexpr unsigned int STR_ALL = 0xFFFFFFFFU;   ///< A maximum length: to the end of the source.

/// Empty texts, narrow and wide. Never written with anything but 0.
extern UTL_API char EMPTY_CHAR;
extern UTL_API wchar_t EMPTY_WCHAR;

/// A narrow (UTF-8) and a wide form of one text; the row of all character tables. A null mChar ends a table.
/// Owns neither. Constants of this type and arrays of them are constant-initialised, and their destructors change
/// nothing: static constructors, and threads that run while the process exits, find the rows intact.
/// Safety: a value.
template <class C, class W>
class DualType
{
public:
    /// Both are null by default.
    constexpr DualType(C nChar = C(), W nWchar = W())
        : mChar(nChar),
          mWchar(nWchar)
    {
    }
    DualType(DualType const&) = default;
    DualType& operator=(DualType const&) = default;
    virtual ~DualType() = default;

    C mChar;  ///< narrow
    W mWchar; ///< wide
};

/// Values from mLow to mHigh, both included.
/// Safety: a value.
template <class T>
class Range
{
public:
    /// The order of the two is not checked.
    constexpr Range(T nLow, T nHigh)
        : mLow(nLow),
          mHigh(nHigh)
    {
    }
    Range(Range const&) = default;
    Range& operator=(Range const&) = default;
    virtual ~Range() = default;

    T mLow;  ///< the first
    T mHigh; ///< the last
};

// --- Characters ---

/// Size in bytes of the first character of a text; 3 for a byte-order mark.
///
/// npIsBom: may be null; receives whether the text begins with a byte-order mark.
/// Result:  0 for null and for empty text; 0 also for a byte that can lead a character but has a wrong, overlong or
///          cut-off tail; STR_ERROR for a byte that cannot lead a character. Surrogates and code points above U+10FFFF
///          count as characters.
template <class T>
UTL_API unsigned int strCharBytesBase(T const* npStr, bool* npIsBom);

/// The same, but every malformed character gives STR_ERROR, and a null text leaves *npIsBom alone.
template <class T>
UTL_API unsigned int t_charlen(T const* npStr, bool* npIsBom);

/// Moves an index to a character boundary.
///
/// nMode:  if nIndex is inside a character, 1 gives its start, any other value its end.
/// Result: the index; the text's length if nIndex is beyond it; STR_ERROR for null and for malformed text before the
///         index or around it. The character that begins at the index is not checked.
template <class T>
UTL_API unsigned int getNearCharIndex(T const* npStr, unsigned int nIndex, unsigned int nMode);

// --- Copies ---

/// Copies at most nMaxBytes bytes (STR_ALL: to the end). A limit inside a character stops before it.
/// Source and destination may overlap.
///
/// Result: see above; STR_ERROR also for a null source, a null destination with a capacity, malformed text in mode 1,
///         and a stop at a continuation byte with no lead byte before it.
/// Caution: with nMaxBytes 0 the result is 0 and the destination stays as it was, without a terminator; store one
/// yourself if the limit can be 0.
template <class T>
UTL_SHARP_EDGE("with a limit of 0 store the terminator")
UTL_API unsigned int copyStrBase(T* npDst, unsigned int nDstSize, T const* npSrc, unsigned int nMaxBytes, int nMode);

/// Copies all or nothing, without a size query: the text is cut to nMaxBytes as in copyStrBase(), and the rest must
/// fit. Source and destination may overlap.
///
/// npDst:  not null.
/// npSrc:  null counts as empty.
/// Result: bytes stored with the terminator, also for nMaxBytes 0; STR_ERROR if it does not fit, and for a stop at
///         a continuation byte with no lead byte before it.
template <class T>
UTL_API unsigned int t_strncpy(T* npDst, unsigned int nDstSize, T const* npSrc, unsigned int nMaxBytes);

/// Appends: copies from npSrc + nSrcPos to npDst + nDstPos, at most nMaxBytes bytes.
///
/// nDstPos: the length of the text that is in npDst already.
/// Result:  the size of npDst now in use, terminator included; STR_ERROR for a null source, nSrcPos past its end, a
///          null destination with a capacity, no room, malformed text in mode 1.
/// Caution: with nMaxBytes 0 the result is nDstPos, one less than the size in use; do not chain it.
/// Caution: with nothing left in the source and nDstPos at or past the last byte, a NUL is stored at npDst[nDstPos]
/// without a look at the capacity; keep nDstPos below nDstSize.
/// Caution: if nMaxBytes cuts malformed text that begins with continuation bytes, the result is nDstPos - 1, with
/// nothing stored; check such text with t_charlen() first.
template <class T>
UTL_SHARP_EDGE("keep nDstPos below nDstSize")
UTL_API unsigned int copyGeneral(T* npDst, unsigned int nDstSize, unsigned int nDstPos, T const* npSrc,
                                 unsigned int nSrcPos, unsigned int nMaxBytes, int nMode);

/// Cuts a text in place to at most nLength bytes. Result: the new size with the terminator; STR_ERROR for null and
/// for malformed text before the cut: unchanged.
template <class T>
UTL_API unsigned int truncateStr(T* npStr, unsigned int nLength);

/// Removes nCount bytes at nIndex in place, or all to the end if there are fewer. If nIndex is inside a character, that
/// character's start is where the text in front ends. Limited.
/// Caution: if nIndex + nCount falls inside a character, the rest of its bytes stays behind as malformed text; take
/// both ends from getNearCharIndex().
/// Result: the new size with the terminator; STR_ERROR for null, too long a text, nIndex past the end, and a stop at a
///         continuation byte with no lead byte before it.
template <class T>
UTL_API unsigned int eraseStrSpan(T* npStr, unsigned int nIndex, unsigned int nCount);

/// printf into a buffer.
/// Result: the size with the terminator; STR_ERROR for nulls, for a capacity of 0, and if the text was cut: the
///         cut text stays in npDst.
template <class T>
UTL_API unsigned int formatStr(T* npDst, unsigned int nDstSize, T const* npFormat, ...);
template <>
UTL_API UTL_PRINTF(3, 4) unsigned int formatStr<char>(char* npDst, unsigned int nDstSize, char const* npFormat, ...);

// --- Searches ---

/// Index of the first occurrence of a text, at character boundaries only; malformed bytes are stepped over.
///
/// npPattern: not null. An empty one gives the length of npStr (0 for a null one).
/// Result:    STR_ERROR for no match, and for a null or empty npStr.
template <class T>
UTL_API unsigned int t_strstr(T const* npStr, T const* npPattern);

/// Length of the leading run of characters that all occur in npSet; 0 for nulls. Malformed text in either ends it.
template <class T>
UTL_API unsigned int t_strspn(T const* npStr, T const* npSet);

/// Length of the leading run without any character of npSet; the whole length if none occurs or npSet is null.
/// Malformed text in npSet ends the set there, in npStr it is stepped over. 0 for a null npStr.
template <class T>
UTL_API unsigned int t_strcspn(T const* npStr, T const* npSet);

/// Searches backwards from the byte at nStart (STR_ALL, or past the end: from the last byte). Limited, for both texts.
///
/// npBefore: may be null; receives the index of the byte before the match, STR_ERROR if there is none. Pass it as
///           nStart to find the next match.
/// Result:   the index of the match's last byte; STR_ERROR for none, for nulls, malformed or too long texts. An empty
///           pattern gives the length of npStr, and *npBefore one less.
template <class T>
UTL_API unsigned int findReverseStr(T const* npStr, T const* npPattern, unsigned int nStart, unsigned int* npBefore);

/// As findReverseStr(), for the first character of npCharacter.
/// Result: STR_ERROR also for null, for a byte-order mark and for a byte that cannot lead a character. Empty text and a
///         character with a broken tail count as an empty pattern, for which the result is the length of npStr.
template <class T>
UTL_API unsigned int findReverseChar(T const* npStr, T const* npCharacter, unsigned int nStart, unsigned int* npBefore);

// --- Reversal and replacement ---

/// Writes the characters in reverse order; the bytes of each character keep their order.
///
/// npDst:  not null.
/// npSrc:  null counts as empty.
/// nMode:  0 needs room for all characters; any other value drops those for which there is no room.
/// Result: bytes in use with the terminator; STR_ERROR for malformed text, no room in mode 0, a capacity of 0.
/// Caution: in a mode other than 0 a character of several bytes that begins just below the limit is stored whole, so
/// up to 3 bytes pass nDstSize - 1; use mode 0, or leave 3 bytes of room behind nDstSize.
template <class T>
UTL_SHARP_EDGE("use mode 0")
UTL_API unsigned int t_strrev(T* npDst, unsigned int nDstSize, T const* npSrc, int nMode);

/// As t_strrev(), with its caution, but with a size query, and with STR_ERROR for nulls.
template <class T>
UTL_API unsigned int reverseStrBase(T* npDst, unsigned int nDstSize, T const* npSrc, int nMode);

/// Writes npSrc to npDst with every npPattern replaced by npReplacement. An empty pattern copies npSrc.
///
/// Result: the size in use with the terminator; STR_ERROR for nulls, no room, malformed text in mode 1. npDst then
///         holds the part that was written, terminated, or is unchanged if there is none.
/// Caution: in mode 1 the work goes on after a piece that was cut: a shorter one behind it may still fit, so characters
/// can be missing in the middle; ask for the size first (capacity 0) if that matters.
/// Caution: with an empty replacement the text ends at the first match: "a-b-c" without "-" is "a". Use
/// eraseStrSpan() to delete every match.
/// Caution: an empty npSrc with an empty pattern gives 0 and stores nothing.
template <class T>
UTL_SHARP_EDGE("ask for the size first; with an empty replacement use eraseStrSpan()")
UTL_API unsigned int replaceStr(T* npDst, unsigned int nDstSize, T const* npSrc, T const* npPattern,
                                T const* npReplacement, int nMode);

} // namespace utl

#endif
