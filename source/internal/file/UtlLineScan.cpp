// Takes lines in two ways: usual ones in one pass, all others character by character.
#include "internal/file/UtlLineScan.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace utl::internal
{

namespace
{

constexpr std::uint32_t REPLACEMENT = 0xFFFD;
constexpr long long UNIT_MAX = 2;  // bytes of a file that become one byte of UTF-8
constexpr long long EOL_UNITS = 2; // units of a usual line end

bool is(DecodedChar const& nChar, std::uint32_t nCode)
{
    return nChar.mFault == TextStop::END && nChar.mCode == nCode;
}

} // namespace

int LineScan::take(LinePart& nPart)
{
    int const lResult = takeUsual(nPart);
    if (isLikely(lResult != 0))
    {
        return lResult;
    }
    long long const lStart = mReader.position();
    int const lEnd = takeChars(nPart);
    nPart.mSize = mReader.position() - lStart;
    if (lEnd == FILE_READ_ERROR)
    {
        int const lError = errno;
        mReader.moveTo(lStart);
        errno = lError;
        return lEnd;
    }
    return lEnd == 0 && nPart.mSize == 0 ? FILE_READ_END : 1;
}

/// If the window cuts a line off, it is tried again after a read. The walk goes no further than there is room, so that
/// each part of a long line does not cost as much as the line. Result: as take(); 0 for a line that is not usual.
int LineScan::takeUsual(LinePart& nPart)
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
        unsigned char const* const lpStop =
            lpFrom + std::min<long long>(lpEnd - lpFrom, (mRoom + EOL_UNITS) * UNIT_MAX);
        Piece lText;
        unsigned char const* const lpBehind = walkUsualLine<true>(mTextType, lpFrom, lpStop, mReader.room(), lText);
        if (isLikely(lText.mpText != nullptr && lText.mLength <= mRoom))
        {
            nPart.mLength = lText.mLength;
            nPart.mSize = lpBehind - lpFrom;
            nPart.mEolSize = nPart.mSize - lText.mSrcBytes;
            std::memcpy(mpText, lText.mpText, nPart.mLength);
            mReader.moveTo(mReader.position() + nPart.mSize); // within the window
            return 1;
        }
        lIsCut = lText.mpText == nullptr && lpEnd - lpBehind < std::ptrdiff_t{LOOKAHEAD};
    }
    return 0;
}

/// The character at the position. nLeft: bytes in the window, at least LOOKAHEAD, or all that there are.
DecodedChar LineScan::charHere(int nLeft) const
{
    return decodeChar(mEncoding, mReader.at(mReader.position()), static_cast<unsigned int>(nLeft), false);
}

/// Stores a character. Result: false if there is no room.
bool LineScan::store(DecodedChar const& nChar, LinePart& nPart)
{
    bool const lIsFault = nChar.mFault != TextStop::END;
    unsigned char lBytes[CHAR_BYTES_MAX];
    unsigned int const lSize = encodeUtf8(lIsFault ? REPLACEMENT : nChar.mCode, lBytes);
    if (mRoom - nPart.mLength < lSize)
    {
        return false;
    }
    std::memcpy(mpText + nPart.mLength, lBytes, lSize);
    nPart.mLength += lSize;
    nPart.mIsMalformed = nPart.mIsMalformed || lIsFault;
    return true;
}

/// Takes characters until the part ends. Result: the bytes left, at least; FILE_READ_ERROR.
int LineScan::takeChars(LinePart& nPart)
{
    int lLeft = mReader.require(LOOKAHEAD);
    while (lLeft > 0)
    {
        long long const lPosition = mReader.position();
        DecodedChar const lChar = charHere(lLeft);
        bool const lIsText = lPosition >= mTextCrs.mFrom && lPosition < mTextCrs.mTo;
        if (is(lChar, '\n') || (is(lChar, '\r') && !lIsText))
        {
            lLeft = measureCrs(nPart);
            if (nPart.mEolSize != 0 || lLeft < 0)
            {
                break;
            }
        }
        nPart.mGoesOn = !store(lChar, nPart);
        if (nPart.mGoesOn)
        {
            break;
        }
        mReader.moveTo(lPosition + lChar.mSize); // within the window
        lLeft = mReader.require(LOOKAHEAD);
    }
    return lLeft;
}

/// Looks behind the CR at the position, if any, for an LF or the end of the file, however far that is. Moves behind
/// the line end, or stays and notes how far CR are text.
/// Result: as takeChars().
int LineScan::measureCrs(LinePart& nPart)
{
    long long const lStart = mReader.position();
    int lLeft = mReader.require(LOOKAHEAD);
    while (lLeft > 0 && is(charHere(lLeft), '\r'))
    {
        mReader.moveTo(mReader.position() + charHere(lLeft).mSize);
        lLeft = mReader.require(LOOKAHEAD);
    }
    bool const lIsLf = lLeft > 0 && is(charHere(lLeft), '\n');
    if (lIsLf || lLeft == 0)
    {
        mReader.moveTo(mReader.position() + (lIsLf ? charHere(lLeft).mSize : 0));
        nPart.mEolSize = mReader.position() - lStart;
    }
    else if (lLeft > 0)
    {
        mTextCrs = {lStart, mReader.position()};
        lLeft = mReader.moveTo(lStart) ? mReader.require(LOOKAHEAD) : FILE_READ_ERROR;
    }
    return lLeft;
}

} // namespace utl::internal
