#include "Reader.h"

#include "Posting.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace demo
{

LineSource::~LineSource()
{
    if (mIsOwner)
    {
        close(mFd);
    }
}

bool LineSource::open(char const* npPath)
{
    if (std::strcmp(npPath, "-") == 0)
    {
        mFd = STDIN_FILENO;
        mErrno = fcntl(mFd, F_GETFD) == -1 ? errno : 0; // it may have been closed for us
        return mErrno == 0;
    }
    // Not blocking: a named pipe would keep us here until somebody writes to it, and no signal could end that safely.
    mFd = ::open(npPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    mErrno = mFd == -1 ? errno : 0;
    mIsOwner = mFd != -1;
    return mIsOwner;
}

char const* LineSource::errorText() const
{
    return std::strerror(mErrno);
}

ReadResult LineSource::next(LineMsg* npLine, Interruption const& nInterruption)
{
    ReadResult lMore = READ_LINE;
    while (lMore == READ_LINE)
    {
        unsigned int const lAvailable = mEnd - mStart;
        char const* const lpStart = mBuffer + mStart;
        void const* const lpLineFeed = std::memchr(lpStart, '\n', std::min(lAvailable, MAX_LINE_BYTES));
        if (lpLineFeed != nullptr)
        {
            take(npLine, static_cast<unsigned int>(static_cast<char const*>(lpLineFeed) - lpStart) + 1);
            return READ_LINE;
        }
        if (lAvailable > MAX_LINE_BYTES)
        {
            return READ_TOO_LONG;
        }
        lMore = fill(nInterruption);
    }
    if (lMore == READ_END && mEnd > mStart)
    {
        take(npLine, mEnd - mStart); // a last line without a line feed
        return READ_LINE;
    }
    return lMore;
}

void LineSource::take(LineMsg* npLine, unsigned int nSize)
{
    std::memcpy(npLine->mText, mBuffer + mStart, nSize);
    npLine->mText[nSize] = '\0';
    npLine->mSize = nSize;
    mStart += nSize;
}

/// Gets more bytes. Result: READ_LINE for success: there may be a line now.
ReadResult LineSource::fill(Interruption const& nInterruption)
{
    mEnd -= mStart;
    std::memmove(mBuffer, mBuffer + mStart, mEnd);
    mStart = 0;
    for (;;)
    {
        if (!nInterruption.waitForInput(mFd))
        {
            return READ_INTERRUPTED;
        }
        ssize_t const lRead = read(mFd, mBuffer + mEnd, sizeof mBuffer - mEnd);
        if (lRead >= 0)
        {
            mEnd += static_cast<unsigned int>(lRead);
            return lRead == 0 ? READ_END : READ_LINE;
        }
        if (errno != EINTR && errno != EAGAIN)
        {
            mErrno = errno;
            return READ_FAILED;
        }
    }
}

Reader::Reader(LineSource& nSource, Interruption const& nInterruption, utl::MsgDrivenThread& nWorker,
               utl::MsgDrivenThread& nCollector)
    : mSource(nSource),
      mInterruption(nInterruption),
      mWorker(nWorker),
      mCollector(nCollector)
{
}

Account Reader::run()
{
    // Commands overtake everything that is queued, and are carried out when the call returns.
    mWorker.sendMsgInterrupt(MSG_ID_BEGIN);
    mCollector.sendMsgInterrupt(MSG_ID_BEGIN);

    Account lAccount;
    for (;;)
    {
        lAccount.mResult = mInterruption.signalNumber() != 0 ? READ_INTERRUPTED : mSource.next(&mLine, mInterruption);
        if (lAccount.mResult != READ_LINE)
        {
            return lAccount;
        }
        mLine.mNumber = lAccount.mLines + 1;
        if (!postWhenRoom(mWorker, mLine, &lAccount.mRefusals))
        {
            lAccount.mResult = READ_WORKER_GONE;
            return lAccount;
        }
        ++lAccount.mLines;
        lAccount.mBytes += mLine.mSize;
        lAccount.mChecksum = addToChecksum(lAccount.mChecksum, mLine.mText, mLine.mSize);
    }
}

} // namespace demo
