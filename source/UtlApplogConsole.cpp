// Writes the log's lines to a console, which may stall.
#include "internal/base/UtlForkLocks.h"
#include "internal/base/UtlLogConsole.h"
#include "internal/base/UtlSystemCalls.h"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <stdio_ext.h>

namespace utl::internal
{

namespace
{

constexpr std::size_t TOLD_SIZE = 128; // size of the line that tells how many lines were dropped

/// Waits in short steps, so that signals cannot make the wait longer.
bool isWritable(int nFd, int nPatienceMs)
{
    int const TURN_MS = 50;
    pollfd lConsole{nFd, POLLOUT, 0};
    auto const lLook = [&lConsole](int nMs)
    {
        int const lReady = gSystem.mPoll(&lConsole, 1, nMs);
        return lReady == -1 && errno == EINTR ? 0 : lReady; // poll() reports a writable console before a signal
    };
    int lReady = lLook(0);
    for (int lWaitedMs = 0; lReady == 0 && lWaitedMs < nPatienceMs; lWaitedMs += TURN_MS)
    {
        lReady = lLook(TURN_MS);
    }
    return lReady != 0; // if poll() fails, the caller writes
}

} // namespace

void makeStamp(char (&nStamp)[64])
{
    timeval lNow{};
    gSystem.mGettimeofday(&lNow);
    char lText[64] = {}; // "Thu Nov 15 08:55:34 2007\n"
    SyncGuard lGuard(calendarLock());
    if (gSystem.mCtimeR(&lNow.tv_sec, lText) == nullptr)
    {
        return; // a year with more than four digits
    }
    char* const lpYear = std::strrchr(lText, ' ');
    char const* const lpMonth = std::strchr(lText, ' ');
    if (lpYear != nullptr)
    {
        *lpYear = '\0';
        std::snprintf(nStamp, sizeof(nStamp), "%.40s.%03u", lpMonth + 1,
                      static_cast<unsigned int>(lNow.tv_usec / 1000));
    }
}

void LogConsole::write(char const* npFormat, int nErrno, bool nIsUrgent)
{
    if (!tryLockStream())
    {
        ++mDropped;
        return;
    }
    if (fitsBuffer(std::strlen(npFormat) + TOLD_SIZE) || hasRoom())
    {
        tellDropped();
        print(npFormat, nErrno);
        if (nIsUrgent && ::__fpending(stream()) != 0 && hasRoom())
        {
            gSystem.mFflush(stream());
        }
    }
    else
    {
        ++mDropped;
    }
    ::funlockfile(stream());
}

/// Somebody else in the process may hold the stream while it stalls.
bool LogConsole::tryLockStream()
{
    int const MAX_TRIES = mIsHeld ? 1 : PATIENCE_MS * 10; // a pause takes about a tenth of a millisecond
    for (int lTry = 0; lTry < MAX_TRIES; ++lTry)
    {
        if (::ftrylockfile(stream()) == 0)
        {
            mIsHeld = false;
            return true;
        }
        pauseBriefly();
    }
    mIsHeld = true;
    return false;
}

/// Whether so many bytes go into the stream's buffer without a write.
bool LogConsole::fitsBuffer(std::size_t nLength) const
{
    return ::__flbf(stream()) == 0 && ::__fpending(stream()) + nLength < ::__fbufsize(stream());
}

/// Whether there is room for one write of the stream: if it is a pipe, for a page.
bool LogConsole::hasRoom()
{
    int const lFd = ::fileno(stream());
    mIsStalled = lFd >= 0 && !isWritable(lFd, mIsStalled ? 0 : PATIENCE_MS);
    return !mIsStalled;
}

void LogConsole::print(char const* npFormat, int nErrno) const
{
    errno = nErrno;
    (mIsError ? gSystem.mPrintError : gSystem.mPrintf)(npFormat);
}

void LogConsole::tellDropped()
{
    if (mDropped != 0)
    {
        char lStamp[64] = {};
        char lLine[TOLD_SIZE];
        makeStamp(lStamp);
        std::snprintf(lLine, sizeof(lLine), "%s <UTIL> WRN: Console stalled, lines dropped:%u\r\n", lStamp, mDropped);
        mDropped = 0;
        print(lLine, 0);
    }
}

} // namespace utl::internal
