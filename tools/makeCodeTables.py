#!/usr/bin/env python3
"""Makes source/tables/UtlCodeTables.cpp: the Shift-JIS tables and the indexes in front of them.

The mapping is Microsoft's code page 932 as published by its maker ("cp932 to Unicode table"), in the form of
Python's own codec "cp932", decoding direction. From it come

  SJIS_TO_UNICODE   every code that the page defines in RANGES;
  UTF8_TO_SJIS      its inverse: the lowest code of each character, except for HIGHEST, which take the highest;
  the two indexes   the same answers by direct access, see source/internal/text/UtlCodeTables.h.

Usage: makeCodeTables.py          writes the file
       makeCodeTables.py --check  compares: exit status 1 where the file is not what would be written
"""
import pathlib
import sys

TARGET = pathlib.Path(__file__).resolve().parent.parent / "source" / "tables" / "UtlCodeTables.cpp"

# Half-width katakana; JIS X 0208 rows 1 to 8; NEC row 13; levels 1 and 2; NEC selected and IBM extensions. Not the
# user-defined area 0xF040 to 0xF9FC, nor the single bytes 0x80, 0xA0 and 0xFD to 0xFF, which Python defines too.
RANGES = [(0xA1, 0xDF), (0x8140, 0x84BE), (0x8740, 0x879C), (0x889F, 0x9872), (0x989F, 0xEAA4),
          (0xED40, 0xEEFC), (0xFA40, 0xFC4B)]

# The exceptions to the rule of the lowest code: these take the highest of theirs. Callers rely on them.
HIGHEST = {0x222A, 0x9ADC, 0x9B75, 0x9B72, 0x9B8F, 0x9BB1, 0x9BBB, 0x9C00, 0x9D70, 0x9D6B, 0xFA2D, 0x9E19, 0x9ED1}

FIRST_TRAIL, TRAIL_COUNT = 0x40, 189
DOUBLE_LEADS = [*range(0x81, 0xA0), *range(0xE0, 0xF0), *range(0xFA, 0xFD)]
NO_LEAD, EMPTY_PAGE = 0, 1  # in both there is nothing
UNIT_PAGE = 64  # characters in a page: what the last byte of a UTF-8 character tells apart


def decode(code):
    """The UTF-16 unit of a Shift-JIS code, or None."""
    try:
        text = code.to_bytes(1 if code < 0x100 else 2, "big").decode("cp932")
    except UnicodeDecodeError:
        return None
    return ord(text) if len(text) == 1 else None


def utf8_key(unit):
    return int.from_bytes(chr(unit).encode("utf-8"), "big")


def sjis_rows():
    pairs = ((code, decode(code)) for low, high in RANGES for code in range(low, high + 1))
    return [(code, unit, utf8_key(unit)) for code, unit in pairs if unit is not None]


def utf8_rows(rows):
    codes = {}
    for code, unit, _ in rows:
        codes.setdefault(unit, []).append(code)
    return sorted((utf8_key(unit), (max if unit in HIGHEST else min)(some)) for unit, some in codes.items())


def paged(values, keys, page_of, slot_of, page_size, empty=0):
    """A two-level index: starts of the pages by key, and the pages. The pages from 0 to empty hold nothing."""
    starts, pages = dict.fromkeys(keys, empty), [0] * (empty + page_size)
    for key, value in values:
        if starts[page_of(key)] == empty:
            starts[page_of(key)] = len(pages)
            pages += [0] * page_size
        pages[starts[page_of(key)] + slot_of(key)] = value
    return starts, pages


def array(declaration, cells, per_line):
    lines = ["    " + " ".join(cells[i:i + per_line]) for i in range(0, len(cells), per_line)]
    return "\n".join([declaration + " = {"] + lines + ["};", ""])


def words(values):
    return [f"0x{value:04X}," for value in values]


def entry(unit):
    """A unit, and below it the first two bytes of its UTF-8, the first one lowest."""
    first, second = chr(unit).encode("utf-8")[:2]
    return unit << 16 | second << 8 | first


def source():
    rows = sjis_rows()
    back = utf8_rows(rows)
    leads, chars = paged([(code, entry(unit)) for code, unit, _ in rows if code > 0xFF], DOUBLE_LEADS,
                         lambda code: code >> 8, lambda code: (code & 0xFF) - FIRST_TRAIL, TRAIL_COUNT, EMPTY_PAGE)
    unit_of_key = {key: unit for _, unit, key in rows}
    pages, codes = paged([(unit_of_key[key], code) for key, code in back], range(0x10000 // UNIT_PAGE),
                         lambda unit: unit // UNIT_PAGE, lambda unit: unit % UNIT_PAGE, UNIT_PAGE)
    return "\n".join([
        "// Made by tools/makeCodeTables.py; do not edit. Code page 932 and the indexes in front of its tables.",
        "// clang-format off",
        '#include "internal/text/UtlCodeTables.h"', "",
        "namespace utl", "{", "",
        array("SjisToUnicode const SJIS_TO_UNICODE[SJIS_TO_UNICODE_COUNT]",
              [f"{{0x{code:04X}, 0x{unit:04X}, 0x{key:06X}}}," for code, unit, key in rows], 4),
        array("Utf8ToSjis const UTF8_TO_SJIS[UTF8_TO_SJIS_COUNT]",
              [f"{{0x{key:06X}, 0x{code:04X}}}," for key, code in back], 5),
        "namespace internal", "{", "",
        array("std::uint16_t const SJIS_LEADS[256]", words(leads.get(lead, NO_LEAD) for lead in range(256)), 14),
        array(f"std::uint32_t const SJIS_CHARS[{len(chars)}]", [f"0x{value:08X}," for value in chars], 9),
        array("std::uint16_t const UNIT_PAGES[1024]", words(pages.values()), 14),
        array(f"std::uint16_t const UNIT_CODES[{len(codes)}]", words(codes), 14),
        "} // namespace internal", "} // namespace utl", ""])


def main():
    if "--check" in sys.argv:
        sys.exit(0 if TARGET.read_text(encoding="ascii") == source() else f"{TARGET} is not what this tool makes")
    TARGET.write_text(source(), encoding="ascii")


if __name__ == "__main__":
    main()
