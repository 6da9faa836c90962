// UTF-16 to UTF-8 and back.
#include "internal/text/UtlCharOutput.h"

namespace utl
{

using namespace internal;

namespace
{

constexpr unsigned int MARK = 0xFEFF;
constexpr unsigned int SWAPPED_MARK = 0xFFFE;

// The unit of a well-formed character of 1 to 3 bytes.
unsigned int unitOfUtf8Char(unsigned char const* npChar, unsigned int nSize)
{
    return nSize == 1   ? npChar[0]
           : nSize == 2 ? unitOfUtf8(npChar[0], npChar[1])
                        : unitOfUtf8(npChar[0], npChar[1], npChar[2]);
}

struct Utf16ToUtf8Walk
{
    template <class Output>
    static unsigned int run(Output nOutput, unsigned short const* npSrc)
    {
        bool lHasRoom = true;
        while (lHasRoom)
        {
            nOutput.putUsualUnits(npSrc);
            unsigned int const lUnit = *npSrc++;
            if (isLikely(lUnit >= 0x800))
            {
                lHasRoom = lUnit != MARK && lUnit != SWAPPED_MARK && nOutput.putUtf8(lUnit);
            }
            else if (lUnit != 0)
            {
                lHasRoom = nOutput.putUtf8(lUnit);
            }
            else
            {
                return nOutput.end();
            }
        }
        return STR_ERROR;
    }
};

struct Utf8ToUtf16Walk
{
    // First the two kinds of characters that make up nearly all text, with a branch for each.
    template <class Output>
    static unsigned int run(Output nOutput, unsigned char const* npSrc)
    {
        unsigned char const* const lpBegin = npSrc;
        bool lHasRoom = true;
        while (lHasRoom && *npSrc != 0)
        {
            if (isLikely(*npSrc > 0xE0 && *npSrc < 0xF0 && isTail(npSrc[1]) && isTail(npSrc[2])))
            {
                lHasRoom = nOutput.put(unitOfUtf8(npSrc[0], npSrc[1], npSrc[2]));
                npSrc += 3;
            }
            else if (*npSrc < 0x80)
            {
                lHasRoom = nOutput.put(*npSrc++);
            }
            else
            {
                unsigned int const lSize = charSize(npSrc);
                bool const lIsStray = lSize == STR_ERROR;
                if (lSize == 0)
                {
                    break;
                }
                // The conversion never gets past a stray byte, so counting its units would never end.
                lHasRoom = (!lIsStray || Output::IS_STORING) &&
                           nOutput.put(lSize < 4 ? unitOfUtf8Char(npSrc, lSize) : REPLACEMENT_CHAR);
                npSrc = !lIsStray ? npSrc + lSize : npSrc != lpBegin ? npSrc - 1 : npSrc;
            }
        }
        return lHasRoom ? nOutput.end() : STR_ERROR;
    }
};

} // namespace

unsigned int convertCharFromUtf16ToUtf8(char* npDst, unsigned int nDstSize, unsigned short nUnit, int* npBom)
{
    if (nUnit == MARK || nUnit == SWAPPED_MARK)
    {
        if (npBom != nullptr)
        {
            *npBom = nUnit == MARK ? 1 : 2;
        }
        return 0;
    }
    return convertCharToUtf8(npDst, nDstSize, nUnit);
}

unsigned int convertStrFromUtf16ToUtf8(char* npDst, unsigned int nDstSize, unsigned short const* npSrc)
{
    return convertStr<Utf16ToUtf8Walk>(npDst, nDstSize, npSrc);
}

unsigned int convertCharFromUtf8ToUtf16(unsigned short* npDst, char const* npSrc, unsigned int* npConsumed)
{
    unsigned int const lSize = strCharBytesBase<char>(npSrc, nullptr);
    if (npDst == nullptr || lSize - 1 > 2)
    {
        return STR_ERROR;
    }
    *npDst = static_cast<unsigned short>(unitOfUtf8Char(bytesOf(npSrc), lSize));
    storeIfGiven(npConsumed, lSize);
    return 1;
}

unsigned int convertStrFromUtf8ToUtf16(unsigned short* npDst, unsigned int nDstSize, char const* npSrc)
{
    return convertStr<Utf8ToUtf16Walk>(npDst, nDstSize, bytesOf(npSrc));
}

} // namespace utl
