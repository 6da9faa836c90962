#include "Input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace demo
{

Input::Input(char const* npPath)
    : mpPath(npPath)
{
    struct stat lStat = {};
    bool const lIsStandardInput = std::strcmp(npPath, "-") == 0;
    if (!lIsStandardInput && stat(npPath, &lStat) != 0)
    {
        mErrno = errno;
    }
    // A directory goes this way as well, and fails as soon as it is read.
    else if ((lIsStandardInput || !S_ISREG(lStat.st_mode)) && !openStream(lIsStandardInput))
    {
        mErrno = errno;
    }
}

Input::~Input()
{
    if (mIsOwner)
    {
        close(mFd);
    }
    if (mMemoryFd != -1)
    {
        close(mMemoryFd);
    }
}

/// Result: false with errno.
bool Input::openStream(bool nIsStandardInput)
{
    // Not blocking: a named pipe would keep us here until somebody writes to it, and no signal could end that safely.
    mFd = nIsStandardInput ? STDIN_FILENO : open(mpPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    mIsOwner = !nIsStandardInput && mFd != -1;
    if (mFd == -1 || (nIsStandardInput && read(mFd, nullptr, 0) == -1 && errno == EBADF))
    {
        return false;
    }
    mMemoryFd = memfd_create("utlDemo", MFD_CLOEXEC);
    std::snprintf(mMemoryPath, sizeof mMemoryPath, "/proc/self/fd/%d", mMemoryFd);
    mpPath = mMemoryPath;
    return mMemoryFd != -1;
}

ReadResult Input::refill(unsigned int nUsed, Interruption const& nInterruption)
{
    mSize -= nUsed;
    std::memmove(mBytes, mBytes + nUsed, mSize);
    ReadResult const lResult = readMore(nInterruption);
    if (pwrite(mMemoryFd, mBytes, mSize, 0) != static_cast<ssize_t>(mSize) || ftruncate(mMemoryFd, mSize) != 0)
    {
        mErrno = errno;
        return READ_FAILED;
    }
    return lResult;
}

ReadResult Input::readMore(Interruption const& nInterruption)
{
    for (;;)
    {
        if (!nInterruption.waitForInput(mFd))
        {
            return READ_INTERRUPTED;
        }
        ssize_t const lRead = read(mFd, mBytes + mSize, CAPACITY - mSize);
        if (lRead >= 0)
        {
            mSize += static_cast<unsigned int>(lRead);
            return lRead == 0 ? READ_END : READ_LINE;
        }
        if (errno != EINTR && errno != EAGAIN)
        {
            mErrno = errno;
            return READ_FAILED;
        }
    }
}

} // namespace demo
