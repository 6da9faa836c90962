// The inner loops of the conversions: usual characters, between any two encodings. Layer: internal, text.
#include "internal/text/UtlUsualChars.h"

#include <algorithm>

#include "internal/text/UtlCodeTables.h"
#include "internal/text/UtlCodec.h"
#include "internal/text/UtlTextWord.h"

namespace utl::internal
{

namespace
{

// Destinations. put() takes a unit from 0x80 that is no surrogate, putThree() the bytes of a character of three bytes,
// as fourBytesAt() gives them. Both store up to LARGEST bytes and may overwrite WRITES. False, with nothing stored, if
// it has no code or is not usual. putThree() may be given a surrogate if it REFUSES_SURROGATES. HAS_BYTES: ASCII is
// stored as it is.

struct ToUtf8
{
    static constexpr Encoding ENCODING = Encoding::UTF8;
    static constexpr unsigned int WRITES = 4;
    static constexpr unsigned int LARGEST = 3;
    static constexpr bool HAS_BYTES = true;

    static void putAscii(unsigned char*& npDst, unsigned int nByte) { *npDst++ = static_cast<unsigned char>(nByte); }

    static bool put(unsigned char*& npDst, unsigned int nUnit)
    {
        char* const lpDst = reinterpret_cast<char*>(npDst);
        if (isLikely(nUnit >= 0x800))
        {
            storeUtf8AndOneMore(lpDst, nUnit);
            npDst += 3;
            return true;
        }
        storeUtf8(lpDst, nUnit, 2);
        npDst += 2;
        return true;
    }
};

template <bool IS_LIKE_ICONV>
struct ToSjis
{
    static constexpr Encoding ENCODING = Encoding::SJIS;
    static constexpr bool REFUSES_SURROGATES = true;
    static constexpr unsigned int WRITES = 2;
    static constexpr unsigned int LARGEST = 2;
    static constexpr bool HAS_BYTES = true;

    static void putAscii(unsigned char*& npDst, unsigned int nByte) { *npDst++ = static_cast<unsigned char>(nByte); }

    static bool put(unsigned char*& npDst, unsigned int nUnit) { return putCode(npDst, sjisOfUnit(nUnit)); }

    static bool putThree(unsigned char*& npDst, std::uint32_t nBytes)
    {
        return putCode(npDst,
                       UNIT_CODES[UNIT_PAGES[(nBytes & 0x0FU) << 6 | (nBytes >> 8 & 0x3FU)] + (nBytes >> 16 & 0x3FU)]);
    }

private:
    static bool putCode(unsigned char*& npDst, unsigned int nCode)
    {
        if (IS_LIKE_ICONV && isOtherInIconv(nCode))
        {
            return false;
        }
        if (isLikely(nCode > 0xFF))
        {
            storeUnit<true>(npDst, nCode);
            npDst += 2;
            return true;
        }
        *npDst = static_cast<unsigned char>(nCode);
        npDst += nCode != 0 ? 1 : 0;
        return nCode != 0;
    }
};

template <bool IS_BIG_ENDIAN>
struct ToUtf16
{
    static constexpr Encoding ENCODING = IS_BIG_ENDIAN ? Encoding::UTF16_BE : Encoding::UTF16_LE;
    static constexpr bool REFUSES_SURROGATES = false;
    static constexpr unsigned int WRITES = 2;
    static constexpr unsigned int LARGEST = 2;
    static constexpr bool HAS_BYTES = false;

    static void putAscii(unsigned char*& npDst, unsigned int nByte) { put(npDst, nByte); }

    static bool putThree(unsigned char*& npDst, std::uint32_t nBytes) { return put(npDst, unitOfThree(nBytes)); }

    static bool put(unsigned char*& npDst, unsigned int nUnit)
    {
        storeUnit<IS_BIG_ENDIAN>(npDst, nUnit);
        npDst += 2;
        return true;
    }
};

struct ToWide
{
    static constexpr Encoding ENCODING = Encoding::WIDE;
    static constexpr bool REFUSES_SURROGATES = false;
    static constexpr unsigned int WRITES = 4;
    static constexpr unsigned int LARGEST = 4;
    static constexpr bool HAS_BYTES = false;

    static void putAscii(unsigned char*& npDst, unsigned int nByte) { put(npDst, nByte); }

    static bool putThree(unsigned char*& npDst, std::uint32_t nBytes) { return put(npDst, unitOfThree(nBytes)); }

    static bool put(unsigned char*& npDst, unsigned int nUnit)
    {
        storeWide(npDst, nUnit);
        npDst += 4;
        return true;
    }
};

// Sources. step() takes one usual character of SMALLEST bytes or more, out of what load() makes of READS bytes. False,
// with nothing done, if there is none. A branch for each size: the next character waits for none.

// Puts ASCII that a word begins with: all of it if the destination has bytes, too, without a branch for where it ends,
// since among kanji most runs are short. What lies behind it in the destination stays.
template <class To>
void putAsciiRun(Word nWord, unsigned char const*& npSrc, unsigned char*& npDst)
{
    if constexpr (To::HAS_BYTES)
    {
        Word const lEnds = nWord & HIGH_BITS;
        Word const lMask = ((lEnds & (0 - lEnds)) >> 7) - 1;
        Word const lOld = wordAt(npDst);
        storeWord(reinterpret_cast<char*>(npDst), lOld ^ ((lOld ^ nWord) & lMask));
        unsigned int const lCount = lEnds != 0 ? firstOf(lEnds) : sizeof(Word);
        npSrc += lCount;
        npDst += lCount;
    }
    else
    {
        To::putAscii(npDst, static_cast<unsigned int>(nWord & 0x7FU));
        ++npSrc;
    }
}

struct FromUtf8
{
    static constexpr Encoding ENCODING = Encoding::UTF8;
    static constexpr unsigned int READS = sizeof(Word);
    static constexpr unsigned int SMALLEST = 1;

    static Word load(unsigned char const* npSrc) { return wordAt(npSrc); }

    template <class To>
    static bool step(Word nWord, unsigned char const*& npSrc, unsigned char*& npDst)
    {
        std::uint32_t const lBytes = static_cast<std::uint32_t>(nWord);
        if (isLikely(isThree(lBytes)))
        {
            if (!isLikely((To::REFUSES_SURROGATES || !isSurrogateThree(lBytes)) && To::putThree(npDst, lBytes)))
            {
                return false;
            }
            npSrc += 3;
            return true;
        }
        unsigned int const lLead = lBytes & 0xFFU;
        if (isLikely(lLead < 0x80))
        {
            putAsciiRun<To>(nWord, npSrc, npDst);
            return true;
        }
        bool const lIsTwo = lLead >= 0xC2 && (lBytes & 0xC0E0U) == 0x80C0U;
        if (!lIsTwo || !To::put(npDst, (lBytes & 0x1FU) << 6 | (lBytes >> 8 & 0x3FU)))
        {
            return false;
        }
        npSrc += 2;
        return true;
    }
};

// Stores the character of an index entry; nothing if the entry is 0.
template <class To>
bool putEntry(unsigned char*& npDst, std::uint32_t nEntry)
{
    return isLikely(nEntry != 0) && To::put(npDst, nEntry >> 16);
}

template <>
bool putEntry<ToUtf8>(unsigned char*& npDst, std::uint32_t nEntry)
{
    if (isLikely(hasThreeBytes(nEntry)))
    {
        storeThreeOf(reinterpret_cast<char*>(npDst), nEntry);
        npDst += 3;
        return true;
    }
    return nEntry != 0 && ToUtf8::put(npDst, nEntry >> 16);
}

struct FromSjis
{
    static constexpr Encoding ENCODING = Encoding::SJIS;
    static constexpr unsigned int READS = sizeof(Word);
    static constexpr unsigned int SMALLEST = 1;

    static Word load(unsigned char const* npSrc) { return wordAt(npSrc); }

    template <class To>
    static bool step(Word nWord, unsigned char const*& npSrc, unsigned char*& npDst)
    {
        unsigned char const lLead = static_cast<unsigned char>(nWord);
        if (lLead < 0x80)
        {
            putAsciiRun<To>(nWord, npSrc, npDst);
            return true;
        }
        if (isLikely(putEntry<To>(npDst, entryOfSjis(lLead, static_cast<unsigned char>(nWord >> 8)))))
        {
            npSrc += 2;
            return true;
        }
        if (!isSjisKana(lLead) || !To::put(npDst, unitOfSjisKana(lLead)))
        {
            return false;
        }
        ++npSrc;
        return true;
    }
};

template <class To>
bool putUnit(unsigned char*& npDst, unsigned int nUnit)
{
    if (nUnit < 0x80)
    {
        To::putAscii(npDst, nUnit);
        return true;
    }
    return !isSurrogate(nUnit) && To::put(npDst, nUnit);
}

template <bool IS_BIG_ENDIAN>
struct FromUtf16
{
    static constexpr Encoding ENCODING = IS_BIG_ENDIAN ? Encoding::UTF16_BE : Encoding::UTF16_LE;
    static constexpr unsigned int READS = 2;
    static constexpr unsigned int SMALLEST = 2;

    static std::uint32_t load(unsigned char const* npSrc) { return loadUnit<IS_BIG_ENDIAN>(npSrc); }

    template <class To>
    static bool step(std::uint32_t nUnit, unsigned char const*& npSrc, unsigned char*& npDst)
    {
        if (!putUnit<To>(npDst, nUnit))
        {
            return false;
        }
        npSrc += 2;
        return true;
    }
};

struct FromWide
{
    static constexpr Encoding ENCODING = Encoding::WIDE;
    static constexpr unsigned int READS = 4;
    static constexpr unsigned int SMALLEST = 4;

    static std::uint32_t load(unsigned char const* npSrc) { return loadWide(npSrc); }

    template <class To>
    static bool step(std::uint32_t nCode, unsigned char const*& npSrc, unsigned char*& npDst)
    {
        if (nCode > 0xFFFF || !putUnit<To>(npDst, nCode))
        {
            return false;
        }
        npSrc += 4;
        return true;
    }
};

// The number of bytes that a step may overwrite.
template <class From, class To>
constexpr unsigned int writes()
{
    constexpr unsigned int ASCII = From::SMALLEST < From::READS && To::HAS_BYTES ? sizeof(Word) : 0;
    return std::max(To::WRITES + 0, ASCII);
}

// Moves over usual characters that begin before npSrcEnd, while there is room for sure. Result: whether all is usual.
template <class From, class To>
bool runInside(unsigned char const*& npSrc, unsigned char const* npSrcEnd, unsigned char*& npDst,
               unsigned char const* npDstEnd)
{
    constexpr unsigned int WRITES = writes<From, To>();
    constexpr unsigned int GROWTH = (To::LARGEST + From::SMALLEST - 1) / From::SMALLEST; // bytes for one byte
    while (npSrc < npSrcEnd && static_cast<std::size_t>(npDstEnd - npDst) >= WRITES)
    {
        // Every character before the stop has room, so that the loop needs to check one end only.
        std::size_t const lSafe = static_cast<std::size_t>(npDstEnd - npDst - WRITES) / GROWTH + 1;
        unsigned char const* const lpStop = npSrc + std::min(static_cast<std::size_t>(npSrcEnd - npSrc), lSafe);
        while (npSrc < lpStop)
        {
            if (!isLikely(From::template step<To>(From::load(npSrc), npSrc, npDst)))
            {
                return false;
            }
        }
    }
    return true;
}

// Converts usual characters. A function for each pair of encodings: in a common one the compiler would split the loops.
template <class From, class To>
[[gnu::noinline]] void runFast(TextCursor& nCursor)
{
    constexpr std::ptrdiff_t READS = From::READS;
    constexpr std::ptrdiff_t WRITES = writes<From, To>();
    unsigned char const* lpSrc = nCursor.mpSrc;
    unsigned char const* const lpEnd = nCursor.mpSrcEnd;
    unsigned char* lpDst = nCursor.mpDst;
    bool lIsUsual = lpEnd - lpSrc >= READS && runInside<From, To>(lpSrc, lpEnd - (READS - 1), lpDst, nCursor.mpDstEnd);
    if constexpr (From::SMALLEST < READS)
    {
        lIsUsual = lIsUsual && lpEnd - lpSrc < READS;
        while (lIsUsual && lpSrc != lpEnd && nCursor.mpDstEnd - lpDst >= WRITES)
        {
            // The last bytes are followed by FF bytes, which complete no character.
            std::ptrdiff_t const lBits = 8 * (lpEnd - lpSrc);
            Word const lLast = From::load(lpEnd - READS) >> (8 * READS - lBits) | ~Word(0) << lBits;
            lIsUsual = From::template step<To>(lLast, lpSrc, lpDst);
        }
    }
    nCursor.mpSrc = lpSrc;
    nCursor.mpDst = lpDst;
}

template <class From, class To>
void runPair(TextCursor& nCursor)
{
    if constexpr (From::ENCODING != To::ENCODING)
    {
        runFast<From, To>(nCursor);
    }
}

template <class From>
void runFrom(TextCursor& nCursor, Encoding nTo, bool nIsLikeIconv)
{
    switch (nTo)
    {
    case Encoding::UTF8:
        return runPair<From, ToUtf8>(nCursor);
    case Encoding::SJIS:
        return nIsLikeIconv ? runPair<From, ToSjis<true>>(nCursor) : runPair<From, ToSjis<false>>(nCursor);
    case Encoding::UTF16_LE:
        return runPair<From, ToUtf16<false>>(nCursor);
    case Encoding::UTF16_BE:
        return runPair<From, ToUtf16<true>>(nCursor);
    default:
        return runPair<From, ToWide>(nCursor);
    }
}

} // namespace

void runUsualChars(TextCursor& nCursor, Encoding nTo, Encoding nFrom, bool nIsLikeIconv)
{
    switch (nFrom)
    {
    case Encoding::UTF8:
        return runFrom<FromUtf8>(nCursor, nTo, nIsLikeIconv);
    case Encoding::SJIS:
        return runFrom<FromSjis>(nCursor, nTo, nIsLikeIconv);
    case Encoding::UTF16_LE:
        return runFrom<FromUtf16<false>>(nCursor, nTo, nIsLikeIconv);
    case Encoding::UTF16_BE:
        return runFrom<FromUtf16<true>>(nCursor, nTo, nIsLikeIconv);
    default:
        return runFrom<FromWide>(nCursor, nTo, nIsLikeIconv);
    }
}

} // namespace utl::internal
