/// Walks over the bytes of a text file: character by character to find line ends, and over whole usual lines. Layer:
/// internal, text files.
#ifndef UTL_TEXT_WALK_H
#define UTL_TEXT_WALK_H

#include "UtlFile.h"
#include "internal/text/UtlCodeTables.h"
#include "internal/text/UtlCodec.h"
#include "internal/text/UtlTextWord.h"

#include <algorithm>

namespace utl::internal
{

constexpr unsigned int LOOKAHEAD = 6; // bytes that are enough to recognise any character

// --- The characters of a line. For each encoding next() gives the size of a character and its part in a line end ---

enum class CharKind
{
    TEXT,    // ends a run of CR
    NEUTRAL, // malformed bytes and byte-order marks, which do not end a run of CR
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

// --- Usual lines: one pass finds the end, and checks and converts the text ---

/// A piece of a file as UTF-8.
struct Piece
{
    char const* mpText = nullptr; // in the window; valid until the next call
    unsigned int mLength = 0;     // bytes up to the first NUL
    unsigned int mSize = 0;       // bytes that were converted, with a terminator
    unsigned int mSrcBytes = 0;   // bytes of the file, without a line end

    void set(char const* npText, unsigned int nLength, unsigned int nSrcBytes)
    {
        mpText = npText;
        mLength = nLength;
        mSize = nLength + 1;
        mSrcBytes = nSrcBytes;
    }
};

/// Where a walk over a usual line stopped.
struct UsualWalk
{
    unsigned char const* mpStop;
    char* mpTextEnd; // end of the converted text
    bool mIsLf;      // whether it stopped at an LF
};

/// The number of CR at the end of a text.
inline unsigned int trailingCrs(char const* npBegin, char const* npEnd)
{
    char const* lpAt = npEnd;
    while (lpAt != npBegin && lpAt[-1] == '\r')
    {
        --lpAt;
    }
    return static_cast<unsigned int>(npEnd - lpAt);
}

/// Walks characters outside ASCII. Result: whether all were usual.
inline bool walkSjisRun(unsigned char const*& npAt, unsigned char const* npEnd, char*& npText)
{
    while (npAt < npEnd && *npAt >= 0x80)
    {
        std::uint32_t const lEntry = entryOfSjis(npAt[0], npAt[1]);
        if (isLikely(hasThreeBytes(lEntry)))
        {
            npText = storeThreeOf(npText, lEntry);
            npAt += 2;
        }
        else if (lEntry != 0)
        {
            npText = storeTwoOf(npText, lEntry);
            npAt += 2;
        }
        else if (isSjisKana(*npAt))
        {
            storeUtf8AndOneMore(npText, unitOfSjisKana(*npAt));
            npText += 3;
            ++npAt;
        }
        else
        {
            return false;
        }
    }
    return true;
}

/// May read up to a word past npEnd, which must be zeros if the text ends there.
inline UsualWalk walkUsualSjis(unsigned char const* npAt, unsigned char const* npEnd, char* npText)
{
    while (npAt < npEnd && walkSjisRun(npAt, npEnd, npText))
    {
        unsigned int const lAscii = copyAscii(npText, npAt);
        npAt += lAscii;
        npText += lAscii;
        if (*npAt <= '\n')
        {
            if (*npAt == '\n' || *npAt == 0)
            {
                return {npAt, npText, *npAt == '\n'};
            }
            *npText++ = static_cast<char>(*npAt++);
        }
    }
    return {npAt, npText, false};
}

/// A machine word of UTF-16 units, checked and converted together.
template <bool IS_BIG_ENDIAN>
class UnitWord
{
public:
    static constexpr std::ptrdiff_t SIZE = sizeof(std::uintptr_t);

    explicit UnitWord(unsigned char const* npUnits)
    {
        std::memcpy(&mUnits, npUnits, sizeof(mUnits));
        if (IS_REVERSED)
        {
            mUnits = reversed(mUnits);
        }
        for (unsigned int lIndex = 0; lIndex < COUNT; ++lIndex)
        {
            mHeads[lIndex] = usualHead(unit(lIndex));
        }
    }

    /// Whether all are usual and above LF.
    bool isText() const
    {
        std::uint32_t lUsual = IS_USUAL;
        for (std::uint32_t lHead : mHeads)
        {
            lUsual &= lHead;
        }
        return lUsual != 0 && ((mUnits - EVERY * (LF + 1)) & ~mUnits & EVERY * 0x8000) == 0;
    }

    /// Stores the units as UTF-8 if isText(), and one byte more, to be overwritten. Result: the end of the units'
    /// bytes.
    char* store(char* npText) const
    {
        for (unsigned int lIndex = 0; lIndex < COUNT; ++lIndex)
        {
            npText = storeUsualUnit(npText, unit(lIndex), mHeads[lIndex]);
        }
        return npText;
    }

private:
    static constexpr unsigned int COUNT = SIZE / 2;
    static constexpr unsigned int LF = '\n';
    static constexpr std::uintptr_t EVERY = ~std::uintptr_t(0) / 0xFFFF; // each unit is 1
    static constexpr bool IS_REVERSED = IS_BIG_ENDIAN != (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__);

    static std::uint64_t reversed(std::uint64_t nUnits) { return __builtin_bswap64(nUnits); }
    static std::uint32_t reversed(std::uint32_t nUnits) { return __builtin_bswap32(nUnits); }

    /// The first unit of a little-endian text is the lowest of mUnits on any machine; of a big-endian one the highest.
    unsigned int unit(unsigned int nIndex) const
    {
        return static_cast<unsigned int>(mUnits >> 16 * (IS_BIG_ENDIAN ? COUNT - 1 - nIndex : nIndex)) & 0xFFFFU;
    }

    std::uintptr_t mUnits;
    std::uint32_t mHeads[COUNT];
};

/// IS_STRICT: a surrogate is not usual.
template <bool IS_BIG_ENDIAN, bool IS_STRICT>
UsualWalk walkUsualUtf16(unsigned char const* npAt, unsigned char const* npEnd, char* npText)
{
    using Units = UnitWord<IS_BIG_ENDIAN>;
    unsigned char const* const lpEnd = npEnd - (npEnd - npAt) % 2;
    while (npAt != lpEnd)
    {
        while (lpEnd - npAt >= Units::SIZE)
        {
            Units const lUnits(npAt);
            if (!isLikely(lUnits.isText()))
            {
                break;
            }
            npText = lUnits.store(npText);
            npAt += Units::SIZE;
        }
        // A word with something else in it, unit by unit.
        for (unsigned char const* const lpStop = npAt + std::min(Units::SIZE, lpEnd - npAt); npAt != lpStop; npAt += 2)
        {
            unsigned int const lUnit = loadUnit<IS_BIG_ENDIAN>(npAt);
            std::uint32_t const lHead = usualHead(lUnit);
            if (isLikely(lHead != 0 && lUnit > '\n'))
            {
                npText = storeUsualUnit(npText, lUnit, lHead);
            }
            else if (lUnit == '\n' || lUnit == 0 || lUnit == 0xFEFF || lUnit == 0xFFFE ||
                     (IS_STRICT && isSurrogate(lUnit)))
            {
                return {npAt, npText, lUnit == '\n'};
            }
            else
            {
                storeUtf8(npText, lUnit, utf8Size(lUnit));
                npText += utf8Size(lUnit);
            }
        }
    }
    return {npAt, npText, false};
}

/// IS_STRICT: surrogates and codes above U+10FFFF are not usual, and a byte-order mark is text anywhere.
template <bool IS_STRICT>
unsigned char const* walkUsualUtf8(unsigned char const* npFrom, unsigned char const* npEnd, Piece& nText)
{
    unsigned char const* const lpLf =
        IS_STRICT ? strictlyWellFormedLineEnd(npFrom, npEnd) : wellFormedLineEnd(npFrom, npEnd);
    if (lpLf == npEnd || *lpLf != '\n')
    {
        return lpLf;
    }
    char const* const lpText = reinterpret_cast<char const*>(npFrom);
    unsigned int const lWalked = static_cast<unsigned int>(lpLf - npFrom);
    unsigned int const lSrcBytes = lWalked - trailingCrs(lpText, lpText + lWalked);
    if (!IS_STRICT && lSrcBytes >= 3 && isMark(npFrom + lSrcBytes - 3)) // does not end a run of CR
    {
        return lpLf;
    }
    unsigned int const lMark = !IS_STRICT && lSrcBytes >= 3 && isMark(npFrom) ? 3 : 0;
    nText.set(lpText + lMark, lSrcBytes - lMark, lSrcBytes);
    return lpLf + 1;
}

template <unsigned int UNIT, class Walk>
unsigned char const* walkUsualConverted(unsigned char const* npFrom, unsigned char const* npEnd, char* npText,
                                        Walk nWalk, Piece& nText)
{
    UsualWalk const lWalk = nWalk(npFrom, std::min(npEnd, npFrom + FILE_TEXT_CHUNK_MAX), npText);
    if (!lWalk.mIsLf)
    {
        return lWalk.mpStop;
    }
    unsigned int const lWalked = static_cast<unsigned int>(lWalk.mpStop - npFrom);
    unsigned int const lCrs = trailingCrs(npText, lWalk.mpTextEnd);
    nText.set(npText, static_cast<unsigned int>(lWalk.mpTextEnd - npText) - lCrs, lWalked - UNIT * lCrs);
    return lWalk.mpStop + UNIT;
}

/// Walks the line from npFrom if it is usual: it ends before npEnd, nothing is malformed, there is no NUL and no
/// byte-order mark but one in front of UTF-8 or, with IS_STRICT, anywhere in UTF-8.
/// npRoom: FileWindow::mText, for converted text.
/// nText:  unchanged if the line is not usual.
/// Result: behind the line end; if the line is not usual, where the walk stopped.
template <bool IS_STRICT>
unsigned char const* walkUsualLine(int nTextType, unsigned char const* npFrom, unsigned char const* npEnd, char* npRoom,
                                   Piece& nText)
{
    switch (nTextType)
    {
    case FILE_TEXT_UTF8:
        return walkUsualUtf8<IS_STRICT>(npFrom, npEnd, nText);
    case FILE_TEXT_SJIS:
        return walkUsualConverted<1>(npFrom, npEnd, npRoom, walkUsualSjis, nText);
    case FILE_TEXT_UTF16_BE:
        return walkUsualConverted<2>(npFrom, npEnd, npRoom, walkUsualUtf16<true, IS_STRICT>, nText);
    case FILE_TEXT_UTF16_LE:
        return walkUsualConverted<2>(npFrom, npEnd, npRoom, walkUsualUtf16<false, IS_STRICT>, nText);
    default:
        return npFrom;
    }
}

} // namespace utl::internal

#endif
