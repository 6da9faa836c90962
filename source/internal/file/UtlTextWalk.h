/// Walks over the bytes of a text file: its characters, as far as lines go, and whole lines of usual text. Layer:
/// internal, text files.
#ifndef UTL_TEXT_WALK_H
#define UTL_TEXT_WALK_H

#include "UtlFile.h"
#include "internal/text/UtlCodeTables.h"
#include "internal/text/UtlCodec.h"

#include <algorithm>

namespace utl::internal
{

constexpr unsigned int LOOKAHEAD = 6; // bytes that tell any character

// --- The characters of a line. Each encoding tells the size of the next one and what it means for the line end ---

enum class CharKind
{
    TEXT,    // ends a run of CR
    NEUTRAL, // malformed bytes and marks: do not even end a run of CR
    CR,
    LF
};

struct Char
{
    unsigned int mSize;
    CharKind mKind;
};

inline CharKind charKind(unsigned int nUnit)
{
    return nUnit == '\n' ? CharKind::LF : nUnit == '\r' ? CharKind::CR : CharKind::TEXT;
}

struct SjisChars
{
    static constexpr unsigned int MIN_SIZE = 1;

    static Char next(unsigned char const* npChar)
    {
        return isSjisLead(*npChar) ? Char{2, CharKind::TEXT} : Char{1, charKind(*npChar)};
    }
};

struct Utf8Chars
{
    static constexpr unsigned int MIN_SIZE = 1;

    static Char next(unsigned char const* npChar)
    {
        if (*npChar < 0x80)
        {
            return {1, *npChar == 0 ? CharKind::NEUTRAL : charKind(*npChar)};
        }
        unsigned int const lSize = charSize(npChar);
        return {isSize(lSize) ? lSize : 1, isSize(lSize) && !isMark(npChar) ? CharKind::TEXT : CharKind::NEUTRAL};
    }
};

template <bool IS_BIG_ENDIAN>
struct Utf16Chars
{
    static constexpr unsigned int MIN_SIZE = 2;

    static Char next(unsigned char const* npChar)
    {
        unsigned int const lUnit = unitAt<IS_BIG_ENDIAN>(npChar);
        if (isLikely(lUnit > '\r' && lUnit < 0xFEFF))
        {
            return {2, CharKind::TEXT};
        }
        return {2, lUnit == 0xFEFF || lUnit == 0xFFFE ? CharKind::NEUTRAL : charKind(lUnit)};
    }
};

// --- Usual lines: the end found, the text converted and checked in one pass ---

/// A piece of a file as UTF-8.
struct Piece
{
    char const* mpText = nullptr; // in the window, until the next call
    unsigned int mLength = 0;     // of it, up to the first NUL
    unsigned int mSize = 0;       // of all that was converted, with a terminator
    unsigned int mSrcBytes = 0;   // of the file, without a line end
};

/// A line that is whole in the window, or why it is not a usual one.
struct UsualLine
{
    Piece mText;                // no text for an unusual line
    unsigned char const* mpEnd; // behind the line end; of an unusual line where the walk stopped
};

/// Where a walk over a usual line stopped.
struct UsualWalk
{
    unsigned char const* mpStop;
    char* mpTextEnd; // of what was converted
    bool mIsLf;
};

/// Bytes of CR at the end of a text, which are as many characters.
inline unsigned int trailingCrs(char const* npBegin, char const* npEnd)
{
    char const* lpAt = npEnd;
    while (lpAt != npBegin && lpAt[-1] == '\r')
    {
        --lpAt;
    }
    return static_cast<unsigned int>(npEnd - lpAt);
}

/// Stores a character of two bytes. Result: behind it; null if it is none.
inline char* storeUsualSjis(char* npText, unsigned int nUnit)
{
    if (isLikely(nUnit >= 0x800))
    {
        storeUtf8AndOneMore(npText, nUnit);
        return npText + 3;
    }
    if (nUnit == 0)
    {
        return nullptr;
    }
    storeUtf8(npText, nUnit, 2);
    return npText + 2;
}

inline UsualWalk walkUsualSjis(unsigned char const* npAt, unsigned char const* npEnd, char* npText)
{
    while (npAt < npEnd)
    {
        unsigned char const lByte = *npAt;
        if (isLikely(isSjisLead(lByte)))
        {
            char* const lpTextEnd = storeUsualSjis(npText, unitOfSjis(lByte, npAt[1]));
            if (lpTextEnd == nullptr)
            {
                break;
            }
            npText = lpTextEnd;
            npAt += 2;
        }
        else if (lByte < 0x80)
        {
            if (lByte == '\n' || lByte == 0)
            {
                return {npAt, npText, lByte == '\n'};
            }
            *npText++ = static_cast<char>(lByte);
            ++npAt;
        }
        else if (isSjisKana(lByte))
        {
            storeUtf8AndOneMore(npText, unitOfSjisKana(lByte));
            npText += 3;
            ++npAt;
        }
        else
        {
            break;
        }
    }
    return {npAt, npText, false};
}

/// IS_STRICT: a surrogate is not usual.
template <bool IS_BIG_ENDIAN, bool IS_STRICT>
UsualWalk walkUsualUtf16(unsigned char const* npAt, unsigned char const* npEnd, char* npText)
{
    unsigned char const* const lpEnd = npEnd - (npEnd - npAt) % 2;
    while (npAt != lpEnd)
    {
        unsigned int const lUnit = unitAt<IS_BIG_ENDIAN>(npAt);
        unsigned int lSize = usualUnitSize(lUnit);
        if (isLikely(lSize != 0 && lUnit > '\n'))
        {
            storeUsualUnit(npText, lUnit, lSize);
        }
        else if (lUnit == '\n' || lUnit == 0 || lUnit == 0xFEFF || lUnit == 0xFFFE || (IS_STRICT && isSurrogate(lUnit)))
        {
            return {npAt, npText, lUnit == '\n'};
        }
        else
        {
            lSize = utf8Size(lUnit);
            storeUtf8(npText, lUnit, lSize);
        }
        npText += lSize;
        npAt += 2;
    }
    return {npAt, npText, false};
}

/// IS_STRICT: surrogates and codes above U+10FFFF are not usual, and a mark is text anywhere.
template <bool IS_STRICT>
UsualLine usualUtf8(unsigned char const* npFrom, unsigned char const* npEnd)
{
    unsigned char const* const lpLf =
        IS_STRICT ? strictlyWellFormedLineEnd(npFrom, npEnd) : wellFormedLineEnd(npFrom, npEnd);
    if (lpLf == npEnd || *lpLf != '\n')
    {
        return {{}, lpLf};
    }
    char const* const lpText = reinterpret_cast<char const*>(npFrom);
    unsigned int const lWalked = static_cast<unsigned int>(lpLf - npFrom);
    unsigned int const lSrcBytes = lWalked - trailingCrs(lpText, lpText + lWalked);
    if (!IS_STRICT && lSrcBytes >= 3 && isMark(npFrom + lSrcBytes - 3)) // does not end a run of CR
    {
        return {{}, lpLf};
    }
    unsigned int const lMark = !IS_STRICT && lSrcBytes >= 3 && isMark(npFrom) ? 3 : 0;
    return {{lpText + lMark, lSrcBytes - lMark, lSrcBytes - lMark + 1, lSrcBytes}, lpLf + 1};
}

template <unsigned int UNIT, class Walk>
UsualLine usualConverted(unsigned char const* npFrom, unsigned char const* npEnd, char* npText, Walk nWalk)
{
    UsualWalk const lWalk = nWalk(npFrom, std::min(npEnd, npFrom + FILE_TEXT_CHUNK_MAX), npText);
    if (!lWalk.mIsLf)
    {
        return {{}, lWalk.mpStop};
    }
    unsigned int const lWalked = static_cast<unsigned int>(lWalk.mpStop - npFrom);
    unsigned int const lCrs = trailingCrs(npText, lWalk.mpTextEnd);
    unsigned int const lLength = static_cast<unsigned int>(lWalk.mpTextEnd - npText) - lCrs;
    return {{npText, lLength, lLength + 1, lWalked - UNIT * lCrs}, lWalk.mpStop + UNIT};
}

/// The line from npFrom if it is usual: whole before npEnd, nothing malformed, no NUL, no byte-order mark but one in
/// front of UTF-8 or, with IS_STRICT, anywhere in UTF-8.
/// npRoom: FileWindow::mText, for what has to be converted.
template <bool IS_STRICT>
UsualLine usualLine(int nTextType, unsigned char const* npFrom, unsigned char const* npEnd, char* npRoom)
{
    switch (nTextType)
    {
    case FILE_TEXT_UTF8:
        return usualUtf8<IS_STRICT>(npFrom, npEnd);
    case FILE_TEXT_SJIS:
        return usualConverted<1>(npFrom, npEnd, npRoom, walkUsualSjis);
    case FILE_TEXT_UTF16_BE:
        return usualConverted<2>(npFrom, npEnd, npRoom, walkUsualUtf16<true, IS_STRICT>);
    case FILE_TEXT_UTF16_LE:
        return usualConverted<2>(npFrom, npEnd, npRoom, walkUsualUtf16<false, IS_STRICT>);
    default:
        return {{}, npFrom};
    }
}

} // namespace utl::internal

#endif
