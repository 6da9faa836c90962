// Lines: the loop over the lines of a file, and writing a line.
#include "UtlLines.h"

#include "internal/file/UtlFileCalls.h"
#include "internal/file/UtlLineOutput.h"
#include "internal/file/UtlLineScan.h"

#include <cerrno>

namespace utl
{

namespace
{

constexpr unsigned int CAPACITY_MIN = 5; // any character and a terminator

/// The encoding that the first bytes of a file tell.
struct Mark
{
    long long mSize;
    int mTextType;
};

Mark markOf(unsigned char const (&nBytes)[3], int nCount, int nTextType)
{
    if (nCount == 3 && internal::isMark(nBytes))
    {
        return {3, FILE_TEXT_UTF8};
    }
    unsigned int const lUnit = nCount >= 2 ? internal::unitAt<true>(nBytes) : 0;
    return lUnit == 0xFEFF   ? Mark{2, FILE_TEXT_UTF16_BE}
           : lUnit == 0xFFFE ? Mark{2, FILE_TEXT_UTF16_LE}
                             : Mark{0, nTextType};
}

/// Reads the first bytes of a file, with several reads if necessary.
/// Result: how many, or FILE_READ_ERROR.
int readBeginning(int nHandle, BasicString<char> const& nPath, unsigned char (&nBytes)[3])
{
    int lCount = 0;
    int lRead = 1;
    while (lCount < 3 && lRead > 0)
    {
        lRead = internal::readFileAt(nHandle, nPath, nBytes + lCount, static_cast<unsigned int>(3 - lCount), lCount);
        lCount += lRead > 0 ? lRead : 0;
    }
    return lRead != FILE_READ_ERROR ? lCount : FILE_READ_ERROR;
}

} // namespace

Lines::Lines(File& nFile, unsigned int nCapacity)
    : mFile(nFile),
      mpOwned(new char[nCapacity]),
      mpBuffer(mpOwned.get()),
      mCapacity(nCapacity),
      mTextType(nFile.mTextType)
{
}

Lines::Lines(File& nFile, char* npBuffer, unsigned int nCapacity)
    : mFile(nFile),
      mpBuffer(npBuffer),
      mCapacity(nCapacity),
      mTextType(nFile.mTextType)
{
}

Line const* Lines::fail(int nError)
{
    mError = nError != 0 ? nError : EIO;
    return nullptr;
}

/// Looks for a byte-order mark at the start of the file, and moves behind it if the position is there.
bool Lines::begin(internal::TextReader& nReader)
{
    unsigned char lBytes[3] = {};
    int const lCount = readBeginning(mFile.mpReadAhead->handle(), mFile.mPath, lBytes);
    Mark const lMark = markOf(lBytes, lCount, mFile.mTextType);
    if (lCount == FILE_READ_ERROR || (nReader.position() == 0 && !nReader.moveTo(lMark.mSize)))
    {
        return false;
    }
    mTextType = lMark.mTextType;
    mIsBegun = lCount > 0; // an empty file may still get a mark
    return true;
}

Line const* Lines::next()
{
    if (mError != 0)
    {
        return nullptr;
    }
    if (!mFile.isOpened() || mpBuffer == nullptr || mCapacity < CAPACITY_MIN)
    {
        return fail(mFile.isOpened() ? EINVAL : EBADF);
    }
    internal::TextReader lReader(*mFile.mpReadAhead, mFile.mPath);
    if (lReader.position() == -1 || (!mIsBegun && !begin(lReader)))
    {
        return fail(errno);
    }
    if (!internal::isTextType(mTextType))
    {
        return fail(EINVAL);
    }
    internal::LinePart lPart;
    long long const lPosition = lReader.position();
    int const lResult = internal::LineScan(lReader, mTextType, mpBuffer, mCapacity - 1, mTextCrs).take(lPart);
    if (lResult < 0)
    {
        return lResult == FILE_READ_END ? nullptr : fail(errno);
    }
    mpBuffer[lPart.mLength] = 0;
    mLine = {{mpBuffer, lPart.mLength},
             mLine.mNumber + (mLine.mGoesOn ? 0 : 1),
             lPosition,
             lPart.mSize,
             lPart.mEolSize,
             lPart.mIsMalformed,
             lPart.mGoesOn};
    return &mLine;
}

LineWritten writeLine(File& nFile, std::string_view nText, std::string_view nEol)
{
    internal::LineOutput lOutput(nFile.textType());
    return nFile.isOpened() ? lOutput.write(nText, nEol,
                                            [&nFile](void const* npBytes, unsigned int nSize)
                                            { return internal::writeAll(nFile, npBytes, nSize); })
                            : LineWritten::FAILED;
}

} // namespace utl
