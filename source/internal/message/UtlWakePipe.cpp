// The pipe that wakes a loop.
#include "internal/message/UtlWakePipe.h"

#include "internal/base/UtlSystemCalls.h"

#include <cerrno>

#include <fcntl.h>

namespace utl::internal
{

WakePipe::~WakePipe()
{
    closeReadEnd();
    closeWriteEnd();
}

bool WakePipe::open()
{
    int lFds[2];
    if (gSystem.mPipe2(lFds, O_CLOEXEC) != 0)
    {
        return false;
    }
    mReadFd = lFds[0];
    mWriteFd = lFds[1];
    // Each end is an open file of its own, so the reading end still blocks.
    if (gSystem.mFcntl(mWriteFd, F_SETFL, O_WRONLY | O_NONBLOCK) == 0)
    {
        return true;
    }
    int const lError = errno;
    closeReadEnd();
    closeWriteEnd();
    errno = lError;
    return false;
}

int WakePipe::closeEnd(std::atomic<int>& nFd)
{
    int const lFd = nFd.exchange(-1);
    return lFd != -1 ? gSystem.mClose(lFd) : 0;
}

bool WakePipe::write(CtlRecord const& nRecord, unsigned int* npWritten)
{
    ssize_t const lWritten = retryOnSignal([&] { return gSystem.mWrite(mWriteFd, &nRecord, sizeof(nRecord)); });
    *npWritten = static_cast<unsigned int>(lWritten);
    return lWritten == static_cast<ssize_t>(sizeof(nRecord)) || (lWritten == -1 && errno == EAGAIN);
}

bool WakePipe::read(unsigned int* npRead)
{
    CtlRecord lRecords[8]; // more than one only if the loop had also woken for another reason
    ssize_t const lRead = gSystem.mRead(mReadFd, lRecords, sizeof(lRecords));
    *npRead = static_cast<unsigned int>(lRead);
    if (lRead >= static_cast<ssize_t>(sizeof(CtlRecord)))
    {
        return true;
    }
    errno = lRead < 0 ? errno : EIO;
    return false;
}

/// The descriptor of the write end becomes a copy of the read end: a write that is under way fails, and cannot hit a
/// file that got the same number.
void WakePipe::hangUp()
{
    gSystem.mDup3(mReadFd, mWriteFd, O_CLOEXEC);
}

} // namespace utl::internal
