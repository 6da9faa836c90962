// Reads and writes single characters of any encoding within bounds, and checks whole texts. Layer: internal, text.
#include "internal/text/UtlCodec.h"

#include <algorithm>
#include <cstring>

#include "internal/text/UtlCodeTables.h"

namespace utl::internal
{

namespace
{

constexpr std::uint32_t LAST_CODE = 0x10FFFF;

DecodedChar whole(std::uint32_t nCode, unsigned int nSize)
{
    return {nCode, nSize, TextStop::END};
}

DecodedChar malformed(unsigned int nSize)
{
    return {0, nSize, TextStop::MALFORMED};
}

// --- UTF-8 ---

// The size of a character by its lead byte; 0 if it is none.
unsigned int sizeOfLead(unsigned char nLead)
{
    return nLead < 0x80 ? 1 : nLead < 0xC2 ? 0 : nLead < 0xE0 ? 2 : nLead < 0xF0 ? 3 : nLead < 0xF5 ? 4 : 0;
}

// Whether a second byte may follow the lead byte: not overlong, no surrogate, not above U+10FFFF.
bool isSecond(unsigned char nLead, unsigned char nSecond)
{
    unsigned int const lLow = nLead == 0xE0 ? 0xA0 : nLead == 0xF0 ? 0x90 : 0x80;
    unsigned int const lHigh = nLead == 0xED ? 0x9F : nLead == 0xF4 ? 0x8F : 0xBF;
    return nSecond >= lLow && nSecond <= lHigh;
}

// --- Shift-JIS ---

constexpr unsigned int PRIVATE_FIRST = 0xE000;
constexpr unsigned int PRIVATE_LAST = 0xE757;

bool isSjisTrail(unsigned char nByte)
{
    return nByte >= 0x40 && nByte <= 0xFC && nByte != 0x7F;
}

// Double-byte codes counted without gaps, and back.
unsigned int sjisPosition(unsigned int nCode)
{
    unsigned int const lTrail = nCode & 0xFF;
    return (nCode >> 8) * 188 + lTrail - (lTrail > 0x7F ? 0x41 : 0x40);
}

unsigned int sjisAt(unsigned int nPosition)
{
    unsigned int const lTrail = nPosition % 188;
    return (nPosition / 188) << 8 | (lTrail + (lTrail >= 0x3F ? 0x41 : 0x40));
}

// The unit of a double-byte code with a valid trail byte; 0 for none.
unsigned int unitOfDouble(unsigned char nLead, unsigned char nTrail, bool nIsLikeIconv)
{
    if (isSjisLead(nLead))
    {
        return unitOfSjis(nLead, nTrail);
    }
    return nIsLikeIconv ? PRIVATE_FIRST + sjisPosition(nLead * 256U + nTrail) - sjisPosition(0xF040) : 0;
}

DecodedChar decodeSjis(unsigned char const* npSrc, std::size_t nBytes, bool nIsLikeIconv)
{
    unsigned char const lLead = npSrc[0];
    if (lLead < 0x80)
    {
        return whole(lLead, 1);
    }
    if (isSjisKana(lLead))
    {
        return whole(unitOfSjisKana(lLead), 1);
    }
    if (lLead == 0x80 || lLead == 0xA0 || lLead > 0xFC)
    {
        return malformed(1);
    }
    if (nBytes < 2)
    {
        return {0, 1, TextStop::CUT_OFF};
    }
    if (!isSjisTrail(npSrc[1]))
    {
        return malformed(1);
    }
    unsigned int const lUnit = unitOfDouble(lLead, npSrc[1], nIsLikeIconv);
    return {lUnit, 2, lUnit != 0 ? TextStop::END : TextStop::NO_CODE};
}

// Codes that iconv gives to characters that have no code here.
struct NearCode
{
    std::uint16_t mUnit;
    std::uint16_t mSjis;
};

constexpr NearCode NEAR_CODES[] = {{0x00A2, 0x8191}, {0x00A3, 0x8192}, {0x00A5, 0x5C},
                                   {0x00AC, 0x81CA}, {0x2014, 0x815C}, {0x2016, 0x8161},
                                   {0x203E, 0x7E},   {0x2212, 0x817C}, {0x301C, 0x8160}};

// The code that iconv has for a character. nSjis: our code, or 0.
unsigned int sjisOfIconv(unsigned int nUnit, unsigned int nSjis)
{
    if (nSjis == 0x879C)
    {
        return 0x81BE;
    }
    if (isOtherInIconv(nSjis)) // a second block of the same characters, in the same order
    {
        unsigned int const lTwin = nSjis < 0xEEEF ? 0xFA5CU : nSjis < 0xEEFA ? 0xFA40U : 0xFA55U;
        unsigned int const lFirst = nSjis < 0xEEEF ? 0xED40U : nSjis < 0xEEFA ? 0xEEEFU : 0xEEFAU;
        return sjisAt(sjisPosition(nSjis) - sjisPosition(lFirst) + sjisPosition(lTwin));
    }
    if (nUnit >= PRIVATE_FIRST && nUnit <= PRIVATE_LAST)
    {
        return sjisAt(nUnit - PRIVATE_FIRST + sjisPosition(0xF040));
    }
    auto const lpNear = std::find_if(std::begin(NEAR_CODES), std::end(NEAR_CODES),
                                     [nUnit](NearCode const& nNear) { return nNear.mUnit == nUnit; });
    return lpNear != std::end(NEAR_CODES) ? lpNear->mSjis : nSjis;
}

unsigned int encodeSjis(std::uint32_t nCode, unsigned char* npDst, bool nIsLikeIconv)
{
    unsigned int lSjis = nCode < 0x80 ? nCode : nCode <= 0xFFFF ? sjisOfUnit(nCode) : 0;
    lSjis = nIsLikeIconv ? sjisOfIconv(nCode, lSjis) : lSjis;
    if (lSjis == 0 && nCode != 0)
    {
        return 0;
    }
    unsigned int const lSize = sjisSize(lSjis);
    storeSjis(reinterpret_cast<char*>(npDst), lSjis, lSize);
    return lSize;
}

// --- UTF-16 ---

template <bool IS_BIG_ENDIAN>
DecodedChar decodeUtf16(unsigned char const* npSrc, std::size_t nBytes)
{
    if (nBytes < 2)
    {
        return {0, 1, TextStop::CUT_OFF};
    }
    unsigned int const lUnit = loadUnit<IS_BIG_ENDIAN>(npSrc);
    if (!isSurrogate(lUnit))
    {
        return whole(lUnit, 2);
    }
    if (lUnit >= 0xDC00)
    {
        return malformed(2);
    }
    if (nBytes < 4)
    {
        return {0, 2, TextStop::CUT_OFF};
    }
    unsigned int const lLow = loadUnit<IS_BIG_ENDIAN>(npSrc + 2);
    bool const lIsPair = isSurrogate(lLow) && lLow >= 0xDC00;
    return lIsPair ? whole(0x10000 + ((lUnit & 0x3FF) << 10 | (lLow & 0x3FF)), 4) : malformed(2);
}

template <bool IS_BIG_ENDIAN>
unsigned int encodeUtf16(std::uint32_t nCode, unsigned char* npDst)
{
    if (nCode <= 0xFFFF)
    {
        storeUnit<IS_BIG_ENDIAN>(npDst, nCode);
        return 2;
    }
    storeUnit<IS_BIG_ENDIAN>(npDst, 0xD800 | (nCode - 0x10000) >> 10);
    storeUnit<IS_BIG_ENDIAN>(npDst + 2, 0xDC00 | (nCode & 0x3FF));
    return 4;
}

// --- Wide ---

DecodedChar decodeWide(unsigned char const* npSrc, std::size_t nBytes)
{
    if (nBytes < 4)
    {
        return {0, static_cast<unsigned int>(nBytes), TextStop::CUT_OFF};
    }
    std::uint32_t const lCode = loadWide(npSrc);
    return lCode > LAST_CODE || isSurrogate(lCode) ? malformed(4) : whole(lCode, 4);
}

// --- Whole texts ---

template <class Step>
unsigned char const* walk(unsigned char const* npSrc, unsigned char const* npEnd, unsigned int nReads, Step nStep)
{
    while (static_cast<std::size_t>(npEnd - npSrc) >= nReads)
    {
        unsigned int const lSize = nStep(npSrc);
        if (lSize == 0)
        {
            break;
        }
        npSrc += lSize;
    }
    return npSrc;
}

// As far as that is easy.
unsigned char const* usualEndOf(Encoding nEncoding, unsigned char const* npSrc, unsigned char const* npEnd)
{
    switch (nEncoding)
    {
    case Encoding::UTF8: // a character of four bytes that begins before the end given here ends before npEnd
        return npEnd - npSrc > 3 ? strictlyWellFormedEnd(npSrc, npEnd - 3) : npSrc;
    case Encoding::SJIS:
        return walk(
            npSrc, npEnd, 2,
            [](unsigned char const* npAt) -> unsigned int
            {
                bool const lIsSingle = *npAt < 0x80 || isSjisKana(*npAt);
                return lIsSingle ? 1 : *npAt != 0x80 && *npAt != 0xA0 && *npAt <= 0xFC && isSjisTrail(npAt[1]) ? 2 : 0;
            });
    case Encoding::UTF16_LE:
        return walk(npSrc, npEnd, 2, [](auto npAt) { return isSurrogate(loadUnit<false>(npAt)) ? 0U : 2U; });
    case Encoding::UTF16_BE:
        return walk(npSrc, npEnd, 2, [](auto npAt) { return isSurrogate(loadUnit<true>(npAt)) ? 0U : 2U; });
    default:
        return walk(npSrc, npEnd, 4, [](auto npAt) { return decodeWide(npAt, 4).mFault == TextStop::END ? 4U : 0U; });
    }
}

} // namespace

DecodedChar decodeUtf8(unsigned char const* npSrc, std::size_t nBytes)
{
    unsigned int const lSize = sizeOfLead(npSrc[0]);
    if (lSize < 2)
    {
        return lSize != 0 ? whole(npSrc[0], 1) : malformed(1);
    }
    std::uint32_t lCode = npSrc[0] & (0x7FU >> lSize);
    for (unsigned int lIndex = 1; lIndex < lSize; ++lIndex)
    {
        if (lIndex == nBytes)
        {
            return {0, lIndex, TextStop::CUT_OFF};
        }
        if (!(lIndex == 1 ? isSecond(npSrc[0], npSrc[1]) : isTail(npSrc[lIndex])))
        {
            return malformed(lIndex);
        }
        lCode = lCode << 6 | tailBits(npSrc[lIndex]);
    }
    return whole(lCode, lSize);
}

unsigned int encodeUtf8(std::uint32_t nCode, unsigned char* npDst)
{
    if (isSurrogate(nCode) || nCode > LAST_CODE)
    {
        return 0;
    }
    if (nCode <= 0xFFFF)
    {
        unsigned int const lSize = utf8Size(nCode);
        storeUtf8(reinterpret_cast<char*>(npDst), nCode, lSize);
        return lSize;
    }
    npDst[0] = static_cast<unsigned char>(0xF0 | nCode >> 18);
    for (unsigned int lIndex = 3; lIndex != 0; --lIndex, nCode >>= 6)
    {
        npDst[lIndex] = static_cast<unsigned char>(0x80 | (nCode & 0x3F));
    }
    return 4;
}

DecodedChar decodeChar(Encoding nEncoding, unsigned char const* npSrc, std::size_t nBytes, bool nIsLikeIconv)
{
    switch (nEncoding)
    {
    case Encoding::UTF8:
        return decodeUtf8(npSrc, nBytes);
    case Encoding::SJIS:
        return decodeSjis(npSrc, nBytes, nIsLikeIconv);
    case Encoding::UTF16_LE:
        return decodeUtf16<false>(npSrc, nBytes);
    case Encoding::UTF16_BE:
        return decodeUtf16<true>(npSrc, nBytes);
    default:
        return decodeWide(npSrc, nBytes);
    }
}

unsigned int encodeChar(Encoding nEncoding, std::uint32_t nCode, unsigned char* npDst, bool nIsLikeIconv)
{
    switch (nEncoding)
    {
    case Encoding::UTF8:
        return encodeUtf8(nCode, npDst);
    case Encoding::SJIS:
        return encodeSjis(nCode, npDst, nIsLikeIconv);
    case Encoding::UTF16_LE:
        return encodeUtf16<false>(nCode, npDst);
    case Encoding::UTF16_BE:
        return encodeUtf16<true>(nCode, npDst);
    default:
        storeWide(npDst, nCode);
        return 4;
    }
}

unsigned char const* wellFormedEndOf(Encoding nEncoding, unsigned char const* npSrc, unsigned char const* npEnd)
{
    while (npSrc != npEnd)
    {
        npSrc = usualEndOf(nEncoding, npSrc, npEnd);
        if (npSrc == npEnd)
        {
            break;
        }
        DecodedChar const lChar = decodeChar(nEncoding, npSrc, static_cast<std::size_t>(npEnd - npSrc), false);
        if (lChar.mFault == TextStop::MALFORMED || lChar.mFault == TextStop::CUT_OFF)
        {
            break;
        }
        npSrc += lChar.mSize;
    }
    return npSrc;
}

} // namespace utl::internal
