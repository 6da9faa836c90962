#include "internal/UtlRecordPipe.h"

#include "internal/UtlSystemCalls.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace utl::internal
{

RecordPipe::~RecordPipe()
{
    close();
}

bool RecordPipe::open()
{
    int lFds[2];
    if (gSystem.mPipe2(lFds, O_CLOEXEC) != 0)
    {
        return false;
    }
    mReadFd = lFds[0];
    mWriteFd = lFds[1];
    // The two ends are open files of their own, so the reading end goes on blocking.
    if (gSystem.mFcntl(mWriteFd, F_SETFL, O_WRONLY | O_NONBLOCK) == 0)
    {
        return true;
    }
    int const lError = errno;
    close();
    errno = lError;
    return false;
}

void RecordPipe::close()
{
    closeReadEnd();
    closeWriteEnd();
}

int RecordPipe::closeFd(int nFd)
{
    return nFd != -1 ? gSystem.mClose(nFd) : 0;
}

bool RecordPipe::announce()
{
    unsigned int lState = mState;
    unsigned int lNext = 0;
    do
    {
        lNext = lState == 0 ? WRITER : lState + 1;
    } while (!mState.compare_exchange_weak(lState, lNext));
    return lNext == WRITER;
}

bool RecordPipe::giveUp()
{
    if (leaveWithNothingOwed())
    {
        return true;
    }
    ++mState;
    return false;
}

bool RecordPipe::becomeWriter()
{
    unsigned int lState = mState;
    while (lState != 0 && (lState & WRITER) == 0)
    {
        if (mState.compare_exchange_weak(lState, lState | WRITER))
        {
            return true;
        }
    }
    return false;
}

/// Whoever writes is soon done: writing does not wait.
void RecordPipe::waitToBecomeWriter()
{
    while ((mState.fetch_or(WRITER) & WRITER) != 0)
    {
        pauseBriefly();
    }
}

bool RecordPipe::leaveWithNothingOwed()
{
    unsigned int lState = WRITER;
    return mState.compare_exchange_strong(lState, 0);
}

/// The pipe was full. The reader writes what is owed once it has read something, but it may have read everything, and
/// gone to wait because there was a writer, just before the role was given up. Result: false, the role taken again,
/// where the pipe has become empty.
bool RecordPipe::leaveToReader()
{
    mState &= ~WRITER;
    int lReadable = 0;
    return gSystem.mIoctl(mReadFd, FIONREAD, &lReadable) != 0 || lReadable > 0 || !becomeWriter();
}

RecordPipe::WriteResult RecordPipe::tryWrite(PipeRecord const* npRecords, unsigned int nCount, unsigned int* npWritten)
{
    std::size_t const lSize = nCount * sizeof(PipeRecord);
    ssize_t const lWritten = retryOnSignal([&] { return gSystem.mWrite(mWriteFd, npRecords, lSize); });
    if (npWritten != nullptr)
    {
        *npWritten = static_cast<unsigned int>(lWritten);
    }
    if (lWritten == static_cast<ssize_t>(lSize))
    {
        return WRITTEN;
    }
    return lWritten == -1 && errno == EAGAIN ? FULL : FAILED;
}

bool RecordPipe::read(PipeRecord* npRecord, unsigned int* npRead)
{
    if (!hasBuffered())
    {
        ssize_t const lRead = gSystem.mRead(mReadFd, mBuffer, sizeof(mBuffer));
        *npRead = static_cast<unsigned int>(lRead);
        mNext = 0;
        mCount = lRead > 0 ? static_cast<std::size_t>(lRead) / sizeof(PipeRecord) : 0;
        if (mCount == 0)
        {
            errno = lRead < 0 ? errno : EIO;
            return false;
        }
    }
    *npRecord = mBuffer[mNext++];
    return true;
}

} // namespace utl::internal
