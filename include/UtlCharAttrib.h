/// Classes of Japanese text: character tables, class bits, classification. Layer: character classes.
#ifndef UTL_CHAR_ATTRIB_H
#define UTL_CHAR_ATTRIB_H

#include "UtlMacros.h"
#include "UtlString.h"

/// @file
///
///     isStrAttribBase("１２３", CHAR_ATTRIB_ZEN_DIGIT);                              // true: full-width digits only
///     isStrAttribBase("１２3", CHAR_ATTRIB_ZEN_DIGIT | CHAR_ATTRIB_HAN_DIGIT);       // true: of either width
///     attribBlockSize("-12号室", CHAR_ATTRIB_HAN_SIGNED);                            // 3: the number with its sign
///
/// Holds for all of this header:
///
/// Text:     UTF-8 in char, terminated, not owned; T is char. Sizes and offsets count bytes. No log, no heap.
/// Tables:   read-only and constant-initialised, so that the constructors of static objects may use them. They are
///           never destroyed: a thread that still runs while the process exits finds them intact. The order of rows
///           matters: the first row that matches wins. They are references to arrays, to be used like arrays.
/// Threads:  any, without a lock.
/// Signals:  yes.
/// Forks:    usable in the child.
/// Blocking: never.
/// Blocks:   a class is a set of texts. Each of them is a block: mostly one character, but also a number with its sign,
///           or a voiced kana with the small kana behind it.

namespace utl
{

/// One text of a character table, narrow and wide. A row with a null mChar ends the table.
using CodeRow = DualType<char const*, wchar_t const*>;

// --- Character tables ---
//
// The bounds count the row that ends the table.

extern UTL_API CodeRow const (&KAIGYO_TBL)[3];     ///< line ends: CR, LF
extern UTL_API CodeRow const (&TAB_FF_TBL)[4];     ///< tabulators and form feed: 0x09, 0x0B, 0x0C
extern UTL_API CodeRow const (&CTL_OTHER_TBL)[28]; ///< the other control codes, 0x7F too

/// In the names: HAN half-width, ZEN full-width, KATA katakana, HIRA hiragana, DAKU voiced, HANDAKU semi-voiced, NODAKU
/// without such a mark, DAKUTEN and HANDAKUTEN the marks alone, YOUSOKU small kana. The katakana and hiragana tables
/// have Japanese punctuation, too.
extern UTL_API CodeRow const (&HAN_SPACE_TBL)[2];
extern UTL_API CodeRow const (&ZEN_SPACE_TBL)[2];
extern UTL_API CodeRow const (&HAN_MARK_TBL)[33]; ///< ASCII punctuation
extern UTL_API CodeRow const (&ZEN_MARK_TBL)[33]; ///< its full-width forms, U+201D, U+2019 and U+FFE3 among them
extern UTL_API CodeRow const (&HAN_DIGIT_TBL)[11];
extern UTL_API CodeRow const (&ZEN_DIGIT_TBL)[11];
extern UTL_API CodeRow const (&HAN_SIGN_TBL)[3];
extern UTL_API CodeRow const (&ZEN_SIGN_TBL)[3];
extern UTL_API CodeRow const (&HAN_HEX_PREFIX_TBL)[2]; ///< "0x" as one row
extern UTL_API CodeRow const (&ZEN_HEX_PREFIX_TBL)[2];
extern UTL_API CodeRow const (&HAN_HEX_SUFFIX_TBL)[3]; ///< "h", "H"
extern UTL_API CodeRow const (&ZEN_HEX_SUFFIX_TBL)[3];
extern UTL_API CodeRow const (&LOWER_HAN_HEX_ALPHA_TBL)[7]; ///< a to f
extern UTL_API CodeRow const (&UPPER_HAN_HEX_ALPHA_TBL)[7];
extern UTL_API CodeRow const (&LOWER_ZEN_HEX_ALPHA_TBL)[7];
extern UTL_API CodeRow const (&UPPER_ZEN_HEX_ALPHA_TBL)[7];
extern UTL_API CodeRow const (&LOWER_HAN_NOHEX_ALPHA_TBL)[21]; ///< g to z
extern UTL_API CodeRow const (&UPPER_HAN_NOHEX_ALPHA_TBL)[21];
extern UTL_API CodeRow const (&LOWER_ZEN_NOHEX_ALPHA_TBL)[21];
extern UTL_API CodeRow const (&UPPER_ZEN_NOHEX_ALPHA_TBL)[21];
extern UTL_API CodeRow const (&NODAKU_HAN_KATA_TBL)[62];
extern UTL_API CodeRow const (&NODAKU_ZEN_KATA_TBL)[68];
extern UTL_API CodeRow const (&DAKU_HAN_KATA_TBL)[23]; ///< kana and mark as one row, then the mark
extern UTL_API CodeRow const (&DAKU_ZEN_KATA_TBL)[24];
extern UTL_API CodeRow const (&HANDAKU_HAN_KATA_TBL)[7];
extern UTL_API CodeRow const (&HANDAKU_ZEN_KATA_TBL)[7];
extern UTL_API CodeRow const (&HAN_KATA_YOUSOKU_TBL)[10];
extern UTL_API CodeRow const (&ZEN_KATA_YOUSOKU_TBL)[11];
extern UTL_API CodeRow const (&NODAKU_HIRA_TBL)[66];
extern UTL_API CodeRow const (&DAKU_HIRA_TBL)[28];
extern UTL_API CodeRow const (&HANDAKU_HIRA_TBL)[12];
extern UTL_API CodeRow const (&HIRA_YOUSOKU_TBL)[11];
extern UTL_API CodeRow const (&HAN_DAKUTEN_TBL)[2];
extern UTL_API CodeRow const (&ZEN_DAKUTEN_TBL)[2];
extern UTL_API CodeRow const (&HAN_HANDAKUTEN_TBL)[2];
extern UTL_API CodeRow const (&ZEN_HANDAKUTEN_TBL)[2];

// --- Class bits ---
//
// To be or-ed together. If a text begins with blocks of several classes, the class that comes last here decides.

constexpr int CHAR_ATTRIB_NUL = 0x1; ///< the terminator, 1 byte

/// Without another comment, the blocks of a class are the rows of the table of the same name.
constexpr int CHAR_ATTRIB_KAIGYO = 0x2;
constexpr int CHAR_ATTRIB_TAB_FF = 0x4;
constexpr int CHAR_ATTRIB_CTL_OTHER = 0x8;
constexpr int CHAR_ATTRIB_HAN_SPACE = 0x10;
constexpr int CHAR_ATTRIB_ZEN_SPACE = 0x20;
constexpr int CHAR_ATTRIB_HAN_MARK = 0x40;
constexpr int CHAR_ATTRIB_ZEN_MARK = 0x80;
constexpr int CHAR_ATTRIB_HAN_DIGIT = 0x100;
constexpr int CHAR_ATTRIB_ZEN_DIGIT = 0x200;
constexpr int CHAR_ATTRIB_HAN_SIGNED = 0x400; ///< a sign and at least one digit
constexpr int CHAR_ATTRIB_ZEN_SIGNED = 0x800; ///< the same, full-width
constexpr int CHAR_ATTRIB_HAN_HEX = 0x1000;   ///< hexadecimal digits; "0x" before or "h" behind them, not both
constexpr int CHAR_ATTRIB_ZEN_HEX = 0x2000;   ///< the same, full-width throughout
constexpr int CHAR_ATTRIB_LOWER_HAN_HEX = 0x4000;
constexpr int CHAR_ATTRIB_LOWER_ZEN_HEX = 0x8000;
constexpr int CHAR_ATTRIB_LOWER_HAN_NOHEX = 0x10000;
constexpr int CHAR_ATTRIB_LOWER_ZEN_NOHEX = 0x20000;
constexpr int CHAR_ATTRIB_UPPER_HAN_HEX = 0x40000;
constexpr int CHAR_ATTRIB_UPPER_ZEN_HEX = 0x80000;
constexpr int CHAR_ATTRIB_UPPER_HAN_NOHEX = 0x100000;
constexpr int CHAR_ATTRIB_UPPER_ZEN_NOHEX = 0x200000;
constexpr int CHAR_ATTRIB_NODAKU_HAN_KATA = 0x400000;
constexpr int CHAR_ATTRIB_NODAKU_ZEN_KATA = 0x800000;
constexpr int CHAR_ATTRIB_DAKU_HAN_KATA = 0x1000000; ///< a row, or any NODAKU row and a mark; then any small kana
constexpr int CHAR_ATTRIB_DAKU_ZEN_KATA = 0x2000000; ///< the same, as for all voiced classes
constexpr int CHAR_ATTRIB_HANDAKU_HAN_KATA = 0x4000000;
constexpr int CHAR_ATTRIB_HANDAKU_ZEN_KATA = 0x8000000;
constexpr int CHAR_ATTRIB_NODAKU_HIRA = 0x10000000;
constexpr int CHAR_ATTRIB_DAKU_HIRA = 0x20000000;
constexpr int CHAR_ATTRIB_HANDAKU_HIRA = 0x40000000;
constexpr int CHAR_ATTRIB_OTHER = -0x7FFFFFFF - 1; ///< 0x80000000: a character that begins no block of any other class

// --- Classification ---

/// Finds the first row of a table with which the text at npStr + *npOffset begins.
///
/// npOffset: moved past the match; unchanged if there is none.
/// Result:   the row's mChar, for reading only; null for no match and for nulls.
template <class T>
UTL_API T* findCodeTable(T const* npStr, DualType<T const*, wchar_t const*> const* npTable, unsigned int* npOffset);

/// The size in bytes of the block, of one of the classes in nAttrib, with which a text begins; STR_ERROR if there is
/// none, and for null.
///
/// Caution: of several classes the one with the highest bit decides, not the longest block: "ab" is a block of 1 byte
/// for HAN_HEX | LOWER_HAN_HEX. Ask for one class at a time if the length matters.
template <class T>
UTL_API unsigned int attribBlockSize(T const* npStr, int nAttrib);

/// Whether a text is a sequence of blocks of the classes in nAttrib; null counts as empty.
/// Caution: an empty text is such a sequence only if nAttrib has CHAR_ATTRIB_NUL.
template <class T>
UTL_API bool isStrAttribBase(T const* npStr, int nAttrib);

/// Whether the first character, taken alone, is a block of one of the classes in nAttrib. False for a byte-order mark
/// and a malformed character. Null and empty text count as CHAR_ATTRIB_NUL.
/// Caution: a character right before a stray continuation byte counts as empty text; check with t_charlen() first.
template <class T>
UTL_API bool isCharAttribBase(T const* npStr, int nAttrib);

} // namespace utl

#endif
