#include "LineSource.h"

#include "Opening.h"

#include <cerrno>
#include <cstring>

namespace demo
{

LineSource::LineSource(char const* npPath, int nTextType)
    : mInput(npPath),
      mTextType(nTextType),
      mMeasuring(mInput.path(), nTextType),
      mReading(mInput.path(), nTextType),
      mIsMoreToCome(mInput.isStream())
{
}

bool LineSource::open()
{
    if (mInput.error() != 0)
    {
        failed(mInput.error());
        return false;
    }
    for (utl::File* const lpFile : {&mMeasuring, &mReading})
    {
        char const* const lpReason = openQuietly(*lpFile, utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ);
        if (lpReason != nullptr)
        {
            mpErrorText = lpReason;
            return false;
        }
    }
    return true;
}

ReadResult LineSource::next(LineMsg* npLine, Interruption const& nInterruption)
{
    errno = 0; // to tell a failed call from a file that has changed
    unsigned int lBytes = 0;
    bool lIsEnded = false;
    ReadResult const lResult = measure(&lBytes, &lIsEnded, nInterruption);
    if (lResult != READ_LINE)
    {
        return lResult;
    }
    if (mIsAtTop && !skipMark(&lBytes))
    {
        return failed(errno);
    }
    mIsAtTop = false;
    if (lBytes == 0)
    {
        // Half a character of UTF-16 is part of no line.
        long long const lRest = mReading.availableSize();
        return lRest == 0 ? READ_END : lRest > 0 ? READ_MALFORMED : failed(errno);
    }
    return take(npLine, lBytes, lIsEnded);
}

/// npBytes: receives the bytes of the next line, 0 at the end of the text. npIsEnded: whether it has a line feed.
ReadResult LineSource::measure(unsigned int* npBytes, bool* npIsEnded, Interruption const& nInterruption)
{
    bool const lIsUtf8 = mTextType == utl::FILE_TEXT_UTF8;
    for (;;)
    {
        unsigned int lTextBytes = 0;
        unsigned int lEolBytes = 0;
        int const lResult = mMeasuring.findNextLineSize(0, &lTextBytes, &lEolBytes);
        if (lResult == -1)
        {
            return failed(errno);
        }
        *npBytes = lTextBytes + lEolBytes;
        *npIsEnded = lResult != 0;
        if (*npBytes > (lIsUtf8 ? MAX_LINE_BYTES : utl::FILE_TEXT_CHUNK_MAX - 1))
        {
            return lIsUtf8 ? READ_TOO_LONG : READ_TOO_LONG_TO_CONVERT;
        }
        if (*npIsEnded || !mIsMoreToCome)
        {
            return READ_LINE;
        }
        ReadResult const lMore = refill(nInterruption);
        if (lMore != READ_LINE)
        {
            return lMore;
        }
    }
}

/// Gets the next piece of a stream; it begins with the line that was cut off.
ReadResult LineSource::refill(Interruption const& nInterruption)
{
    ReadResult const lResult = mInput.refill(static_cast<unsigned int>(mStart), nInterruption);
    mStart = 0;
    if (lResult == READ_FAILED)
    {
        return failed(mInput.error());
    }
    if (lResult == READ_INTERRUPTED)
    {
        return lResult;
    }
    mIsMoreToCome = lResult != READ_END;
    // A seek also makes a File forget what it has read ahead.
    bool const lIsAtStart =
        mMeasuring.seek(0, utl::FILE_SEEK_BEGIN) == 0 && mReading.seek(0, utl::FILE_SEEK_BEGIN) == 0;
    return lIsAtStart ? READ_LINE : failed(errno);
}

/// Moves behind a byte-order mark of UTF-16, which a File does not convert, and leaves it out of the first line.
bool LineSource::skipMark(unsigned int* npBytes)
{
    bool const lIsBigEndian = mTextType == utl::FILE_TEXT_UTF16_BE;
    if (*npBytes < 2 || (!lIsBigEndian && mTextType != utl::FILE_TEXT_UTF16_LE))
    {
        return true;
    }
    char lMark[2];
    if (mReading.read(lMark, 2) == 2 && std::memcmp(lMark, lIsBigEndian ? "\xFE\xFF" : "\xFF\xFE", 2) == 0)
    {
        *npBytes -= 2;
        mStart = 2;
    }
    return mReading.seek(mStart, utl::FILE_SEEK_BEGIN) == mStart;
}

ReadResult LineSource::take(LineMsg* npLine, unsigned int nBytes, bool nIsEnded)
{
    unsigned int lSize = 0; // with the terminator
    int const lRead = mReading.readText(mText, sizeof mText, nBytes, 0, &lSize);
    // The library ends a text at a NUL, and at a code of Shift-JIS without a character.
    bool const lIsWhole = lRead == static_cast<int>(nBytes) && lSize > 1 && std::strlen(mText) + 1 == lSize &&
                          (mText[lSize - 2] == '\n') == nIsEnded;
    if (mTextType == utl::FILE_TEXT_UTF8 && !(lIsWhole && lSize == nBytes + 1))
    {
        return takeAsItIs(npLine, nBytes);
    }
    if (!lIsWhole)
    {
        return READ_MALFORMED;
    }
    if (lSize - 1 > MAX_LINE_BYTES)
    {
        return READ_TOO_LONG;
    }
    std::memcpy(npLine->mText, mText, lSize);
    npLine->mSize = lSize - 1;
    mStart += nBytes;
    return READ_LINE;
}

ReadResult LineSource::takeAsItIs(LineMsg* npLine, unsigned int nBytes)
{
    if (mReading.seek(mStart, utl::FILE_SEEK_BEGIN) != mStart ||
        mReading.read(npLine->mText, nBytes) != static_cast<int>(nBytes))
    {
        return failed(errno);
    }
    npLine->mText[nBytes] = '\0';
    npLine->mSize = nBytes;
    mStart += nBytes;
    return READ_LINE;
}

ReadResult LineSource::failed(int nErrno)
{
    mpErrorText = nErrno != 0 ? std::strerror(nErrno) : "it became shorter meanwhile";
    return READ_FAILED;
}

} // namespace demo
