// Lines in two ways: usual ones in one pass, all others one character after the other.
#include "internal/file/UtlLineScan.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace utl::internal
{

namespace
{

constexpr unsigned int MALFORMED = 0xFFFFFFFF; // no code
constexpr unsigned int REPLACEMENT = 0xFFFD;

/// A character of a file: its bytes, and its code or MALFORMED.
struct Code
{
    unsigned int mSize;
    unsigned int mCode;
};

// How each encoding tells the next character; nLeft bytes are left, 1 at least, and all of it if 6.

struct SjisCodes
{
    static constexpr unsigned int UNIT = 1;

    static Code next(unsigned char const* npChar, unsigned int nLeft)
    {
        if (isSjisLead(*npChar))
        {
            unsigned int const lUnit = nLeft < 2 ? 0 : unitOfSjis(npChar[0], npChar[1]);
            return {std::min(nLeft, 2U), lUnit != 0 ? lUnit : MALFORMED};
        }
        bool const lIsKana = isSjisKana(*npChar);
        return {1, lIsKana ? unitOfSjisKana(*npChar) : *npChar < 0x80 ? *npChar : MALFORMED};
    }
};

struct Utf8Codes
{
    static constexpr unsigned int UNIT = 1;

    static Code next(unsigned char const* npChar, unsigned int)
    {
        unsigned int const lSize = charSize(npChar); // zeros behind the last byte
        switch (isSize(lSize) && lSize > 2 && isTooHigh(npChar[0], npChar[1]) ? 0 : lSize)
        {
        case 1:
            return {1, *npChar};
        case 2:
            return {2, unitOfUtf8(npChar[0], npChar[1])};
        case 3:
            return {3, unitOfUtf8(npChar[0], npChar[1], npChar[2])};
        case 4:
            return {4, (npChar[0] & 7U) << 18 | tailBits(npChar[1]) << 12 | tailBits(npChar[2]) << 6 |
                           tailBits(npChar[3])};
        default:
            return {1, MALFORMED};
        }
    }
};

template <bool IS_BIG_ENDIAN>
struct Utf16Codes
{
    static constexpr unsigned int UNIT = 2;

    static Code next(unsigned char const* npChar, unsigned int nLeft)
    {
        if (nLeft < 2)
        {
            return {1, MALFORMED};
        }
        unsigned int const lUnit = unitAt<IS_BIG_ENDIAN>(npChar);
        if (!isHalfOfPair(lUnit))
        {
            return {2, lUnit};
        }
        unsigned int const lSecond = nLeft < 4 ? 0 : unitAt<IS_BIG_ENDIAN>(npChar + 2);
        bool const lIsPair = lUnit < 0xDC00 && isHalfOfPair(lSecond) && lSecond >= 0xDC00;
        return lIsPair ? Code{4, 0x10000 + ((lUnit & 0x3FFU) << 10 | (lSecond & 0x3FFU))} : Code{2, MALFORMED};
    }
};

unsigned int codeSize(unsigned int nCode)
{
    return nCode > 0xFFFF ? 4 : utf8Size(nCode);
}

void storeCode(char* npDst, unsigned int nCode, unsigned int nSize)
{
    if (nSize < 4)
    {
        storeUtf8(npDst, nCode, nSize);
        return;
    }
    npDst[0] = static_cast<char>(0xF0 | nCode >> 18);
    for (unsigned int lTail = 1; lTail < 4; ++lTail)
    {
        npDst[lTail] = static_cast<char>(0x80 | (nCode >> (18 - 6 * lTail) & 0x3F));
    }
}

} // namespace

int LineScan::take(int nTextType, LinePart& nPart)
{
    int const lResult = takeUsual(nTextType, nPart);
    if (isLikely(lResult != 0))
    {
        return lResult;
    }
    switch (nTextType)
    {
    case FILE_TEXT_SJIS:
        return takeAny<SjisCodes>(nPart);
    case FILE_TEXT_UTF8:
        return takeAny<Utf8Codes>(nPart);
    case FILE_TEXT_UTF16_BE:
        return takeAny<Utf16Codes<true>>(nPart);
    default:
        return takeAny<Utf16Codes<false>>(nPart);
    }
}

/// A line that the window cuts off is tried again behind a read. Result: as take(), 0 for an unusual line.
int LineScan::takeUsual(int nTextType, LinePart& nPart)
{
    bool lIsCut = true;
    for (int lTry = 0; lTry < 2 && lIsCut; ++lTry)
    {
        int const lRead = lTry == 0 ? 1 : mReader.fill(mReader.position());
        if (lRead <= 0)
        {
            return lRead == FILE_READ_ERROR ? lRead : 0;
        }
        unsigned char const* const lpFrom = mReader.at(mReader.position());
        unsigned char const* const lpEnd = mReader.at(mReader.end());
        UsualLine const lLine = usualLine<true>(nTextType, lpFrom, lpEnd, mReader.room());
        if (isLikely(lLine.mText.mpText != nullptr && lLine.mText.mLength <= mRoom))
        {
            nPart.mLength = lLine.mText.mLength;
            nPart.mSize = lLine.mpEnd - lpFrom;
            nPart.mEolSize = nPart.mSize - lLine.mText.mSrcBytes;
            std::memcpy(mpText, lLine.mText.mpText, nPart.mLength);
            mReader.moveTo(mReader.position() + nPart.mSize); // within the window
            return 1;
        }
        lIsCut = lLine.mText.mpText == nullptr && lpEnd - lLine.mpEnd < LOOKAHEAD;
    }
    return 0;
}

/// Result: false if there is no room for it.
bool LineScan::store(unsigned int nCode, LinePart& nPart)
{
    unsigned int const lCode = nCode == MALFORMED ? REPLACEMENT : nCode;
    unsigned int const lSize = codeSize(lCode);
    if (mRoom - nPart.mLength < lSize)
    {
        return false;
    }
    storeCode(mpText + nPart.mLength, lCode, lSize);
    nPart.mLength += lSize;
    nPart.mIsMalformed = nPart.mIsMalformed || nCode == MALFORMED;
    return true;
}

template <class Codes>
int LineScan::takeAny(LinePart& nPart)
{
    long long const lStart = mReader.position();
    int const lResult = takeChars<Codes>(nPart);
    nPart.mSize = mReader.position() - lStart;
    if (lResult == FILE_READ_ERROR)
    {
        int const lError = errno;
        mReader.moveTo(lStart);
        errno = lError;
    }
    return lResult == 0 && nPart.mSize == 0 ? FILE_READ_END : lResult == FILE_READ_ERROR ? lResult : 1;
}

/// Result: the bytes left at least where the part ends; FILE_READ_ERROR.
template <class Codes>
int LineScan::takeChars(LinePart& nPart)
{
    int lLeft = mReader.require(LOOKAHEAD);
    while (lLeft > 0)
    {
        long long const lPosition = mReader.position();
        Code const lChar = Codes::next(mReader.at(lPosition), static_cast<unsigned int>(lLeft));
        if (lChar.mCode == '\n' || (lChar.mCode == '\r' && (lPosition < mTextCrs.mFrom || lPosition >= mTextCrs.mTo)))
        {
            lLeft = measureCrs<Codes>(nPart);
            if (nPart.mEolSize != 0 || lLeft < 0)
            {
                return lLeft;
            }
        }
        nPart.mGoesOn = !store(lChar.mCode, nPart);
        if (nPart.mGoesOn)
        {
            break;
        }
        mReader.moveTo(lPosition + lChar.mSize); // within the window
        lLeft = mReader.require(LOOKAHEAD);
    }
    return lLeft;
}

/// Looks behind the CR at the position for an LF, which is not necessarily in the window, or the end of the file. Moves behind the
/// line end, or stays and notes how far CR are text.
/// Result: as takeChars().
template <class Codes>
int LineScan::measureCrs(LinePart& nPart)
{
    long long const lStart = mReader.position();
    Code lChar{0, '\r'};
    int lLeft = 1;
    while (lChar.mCode == '\r' && lLeft > 0)
    {
        mReader.moveTo(mReader.position() + lChar.mSize);
        lLeft = mReader.require(LOOKAHEAD);
        lChar = lLeft > 0 ? Codes::next(mReader.at(mReader.position()), static_cast<unsigned int>(lLeft)) : lChar;
    }
    if (lLeft < 0)
    {
        return lLeft;
    }
    if (lLeft == 0 || lChar.mCode == '\n')
    {
        mReader.moveTo(mReader.position() + (lLeft == 0 ? 0 : Codes::UNIT));
        nPart.mEolSize = mReader.position() - lStart;
        return lLeft;
    }
    mTextCrs = {lStart, mReader.position()};
    return mReader.moveTo(lStart) ? mReader.require(LOOKAHEAD) : FILE_READ_ERROR;
}

} // namespace utl::internal
