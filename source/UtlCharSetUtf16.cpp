#include "internal/UtlCharOutput.h"

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

// strCharBytesBase(), with the two kinds of character that nearly all text consists of decided here.
unsigned int charSize(unsigned char const* npChar)
{
    if (*npChar < 0x80)
    {
        return *npChar == 0 ? 0 : 1;
    }
    if (*npChar > 0xE0 && *npChar < 0xF0 && isTail(npChar[1]) && isTail(npChar[2]))
    {
        return 3;
    }
    return strCharBytesBase<char>(reinterpret_cast<char const*>(npChar), nullptr);
}

struct Utf16ToUtf8Walk
{
    template <class Output>
    static unsigned int run(Output nOutput, unsigned short const* npSrc)
    {
        for (; *npSrc != 0; ++npSrc)
        {
            if (*npSrc == MARK || *npSrc == SWAPPED_MARK || !nOutput.putUtf8(*npSrc))
            {
                return STR_ERROR;
            }
        }
        return nOutput.end();
    }
};

struct Utf8ToUtf16Walk
{
    template <class Output>
    static unsigned int run(Output nOutput, unsigned char const* npSrc)
    {
        unsigned char const* lpSrc = npSrc;
        while (unsigned int const lSize = charSize(lpSrc))
        {
            bool const lIsStray = lSize == STR_ERROR;
            unsigned int const lUnit = lIsStray || lSize == 4 ? REPLACEMENT_CHAR : unitOfUtf8Char(lpSrc, lSize);
            // The walk never gets past a stray byte; a count of its steps would have no end.
            if ((lIsStray && !Output::IS_STORING) || !nOutput.put(lUnit))
            {
                return STR_ERROR;
            }
            if (!lIsStray)
            {
                lpSrc += lSize;
            }
            else if (lpSrc != npSrc)
            {
                --lpSrc;
            }
        }
        return nOutput.end();
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
    setIfGiven(npConsumed, lSize);
    return 1;
}

unsigned int convertStrFromUtf8ToUtf16(unsigned short* npDst, unsigned int nDstSize, char const* npSrc)
{
    return convertStr<Utf8ToUtf16Walk>(npDst, nDstSize, bytesOf(npSrc));
}

} // namespace utl
