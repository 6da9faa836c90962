// Shift-JIS to the other encodings and back, by the two code tables.
#include "internal/text/UtlCharOutput.h"

namespace utl
{

using namespace internal;

namespace
{

// Bytes that are stored as they are. By contract the capacity is not checked.
unsigned int passByte(char* npDst, unsigned char nByte)
{
    if (npDst != nullptr)
    {
        *npDst = static_cast<char>(nByte);
    }
    return 1;
}

// The size of a character that is looked up, by its lead byte; 0 for a byte that is stored as it is. No character with
// another lead byte has a code.
unsigned int keySize(unsigned char nLead)
{
    if ((nLead >= 0xE2 && nLead <= 0xE9) || nLead == 0xEF)
    {
        return 3;
    }
    return nLead >= 0xC2 && nLead <= 0xD1 ? 2 : 0;
}

// The code of a key, 0 if it has none. Reads nothing behind a terminator that cuts the key off.
unsigned int sjisOfKey(unsigned char const* npKey, unsigned int nSize)
{
    if (!isLikely(isTail(npKey[1])))
    {
        return 0;
    }
    if (nSize == 2)
    {
        return sjisOfUnit(unitOfUtf8(npKey[0], npKey[1]));
    }
    return isLikely(isTail(npKey[2])) ? sjisOfUtf8(npKey[0], npKey[1], npKey[2]) : 0;
}

// How far to go for a key without a code: never past the terminator.
unsigned int keySizeInText(unsigned char const* npKey, unsigned int nSize)
{
    return npKey[1] == 0 ? 1 : npKey[2] == 0 ? 2 : nSize;
}

// The unit of a code that is looked up, 0 if it has none.
unsigned int unitOfCode(unsigned char const* npCode, bool nIsDouble)
{
    return nIsDouble ? unitOfSjis(npCode[0], npCode[1]) : unitOfSjisKana(npCode[0]);
}

struct Utf8ToSjisWalk
{
    // A branch for each size, so that the next character does not wait for the size of this one.
    template <class Output>
    static unsigned int run(Output nOutput, unsigned char const* npSrc)
    {
        bool lHasRoom = true;
        while (lHasRoom)
        {
            nOutput.runUsual(Encoding::SJIS, Encoding::UTF8, npSrc);
            unsigned int const lKeySize = keySize(*npSrc);
            if (isLikely(lKeySize == 3))
            {
                lHasRoom = putKey<3>(nOutput, npSrc);
            }
            else if (lKeySize == 2)
            {
                lHasRoom = putKey<2>(nOutput, npSrc);
            }
            else if (*npSrc == 0)
            {
                return nOutput.end();
            }
            else
            {
                lHasRoom = nOutput.put(*npSrc++);
            }
        }
        return STR_ERROR;
    }

    template <unsigned int SIZE, class Output>
    static bool putKey(Output& nOutput, unsigned char const*& npSrc)
    {
        unsigned int const lCode = sjisOfKey(npSrc, SIZE);
        // One comparison recognises nearly all text.
        if (isLikely(lCode > 0xFF))
        {
            npSrc += SIZE;
            return nOutput.putDouble(lCode);
        }
        npSrc += lCode != 0 ? SIZE : keySizeInText(npSrc, SIZE);
        return nOutput.put(lCode);
    }
};

struct SjisToUtf8Walk
{
    template <class Output>
    static unsigned int run(Output nOutput, unsigned char const* npSrc)
    {
        bool lHasRoom = true;
        while (lHasRoom)
        {
            nOutput.runUsual(Encoding::UTF8, Encoding::SJIS, npSrc);
            if (isLikely(isSjisLead(*npSrc)))
            {
                lHasRoom = nOutput.putUtf8(unitOfSjis(npSrc[0], npSrc[1]));
                npSrc += 2;
            }
            else if (*npSrc == 0)
            {
                return nOutput.end();
            }
            else
            {
                lHasRoom = isSjisKana(*npSrc) ? nOutput.putUtf8(unitOfSjisKana(*npSrc)) : nOutput.put(*npSrc);
                ++npSrc;
            }
        }
        return STR_ERROR;
    }
};

} // namespace

unsigned int convertCharFromUtf8ToSjis(char* npDst, unsigned int nDstSize, char const* npSrc, unsigned int* npConsumed)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    unsigned char const* const lpSrc = bytesOf(npSrc);
    unsigned int const lKeySize = keySize(*lpSrc);
    storeIfGiven(npConsumed, lKeySize == 0 ? 1 : lKeySize);
    if (lKeySize == 0)
    {
        return passByte(npDst, *lpSrc);
    }
    unsigned int const lCode = sjisOfKey(lpSrc, lKeySize);
    unsigned int const lSize = sjisSize(lCode);
    return convertChar(npDst, nDstSize, lSize, [=](char* npTarget) { storeSjis(npTarget, lCode, lSize); });
}

unsigned int convertStrFromUtf8ToSjis(char* npDst, unsigned int nDstSize, char const* npSrc)
{
    return convertStr<Utf8ToSjisWalk>(npDst, nDstSize, bytesOf(npSrc));
}

unsigned int convertCharFromSjisToUtf8(char* npDst, unsigned int nDstSize, char const* npSrc, unsigned int* npConsumed)
{
    if (npSrc == nullptr)
    {
        return STR_ERROR;
    }
    unsigned char const* const lpSrc = bytesOf(npSrc);
    bool const lIsDouble = isSjisLead(*lpSrc);
    storeIfGiven(npConsumed, lIsDouble ? 2 : 1);
    if (!lIsDouble && !isSjisKana(*lpSrc))
    {
        return passByte(npDst, *lpSrc);
    }
    return convertCharToUtf8(npDst, nDstSize, unitOfCode(lpSrc, lIsDouble));
}

unsigned int convertStrFromSjisToUtf8(char* npDst, unsigned int nDstSize, char const* npSrc)
{
    return convertStr<SjisToUtf8Walk>(npDst, nDstSize, bytesOf(npSrc));
}

unsigned int convertCharFromSjisToUtf16(unsigned short* npDst, char const* npSrc, unsigned int* npConsumed)
{
    if (npDst == nullptr || npSrc == nullptr)
    {
        return STR_ERROR;
    }
    unsigned char const* const lpSrc = bytesOf(npSrc);
    bool const lIsDouble = isSjisLead(*lpSrc);
    bool const lIsInTable = lIsDouble || isSjisKana(*lpSrc);
    storeIfGiven(npConsumed, lIsDouble ? 2 : 1);
    *npDst = static_cast<unsigned short>(lIsInTable ? unitOfCode(lpSrc, lIsDouble) : *lpSrc);
    return lIsInTable ? 1 : 2;
}

// Does not use CharOutput: bytes that are not looked up are stored even with a capacity of 0.
unsigned int convertStrFromSjisToUtf16(unsigned short* npDst, unsigned int nDstSize, char const* npSrc)
{
    if (npSrc == nullptr || (npDst == nullptr && nDstSize != 0))
    {
        return STR_ERROR;
    }
    unsigned char const* lpSrc = bytesOf(npSrc);
    unsigned int lUsed = 0;
    for (; *lpSrc != 0; ++lUsed)
    {
        if (nDstSize != 0 && nDstSize < lUsed + 2)
        {
            return STR_ERROR; // then there is no room for the terminator either
        }
        bool const lIsDouble = isSjisLead(*lpSrc);
        if (lIsDouble || isSjisKana(*lpSrc))
        {
            unsigned int const lUnit = unitOfCode(lpSrc, lIsDouble);
            if (nDstSize != 0)
            {
                npDst[lUsed] = lUnit == 0 ? REPLACEMENT_CHAR : static_cast<unsigned short>(lUnit);
            }
        }
        else if (npDst != nullptr)
        {
            npDst[lUsed] = *lpSrc;
            npDst[lUsed + 1] = 0;
        }
        lpSrc += lIsDouble ? 2 : 1;
    }
    if (nDstSize != 0)
    {
        npDst[lUsed] = 0;
    }
    return lUsed + 1;
}

} // namespace utl
