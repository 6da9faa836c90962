// Reads from the system what a thread of this process is doing.
#include "internal/thread/UtlThreadProbe.h"

#include "internal/base/UtlSystemCalls.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>

namespace utl::internal
{

namespace
{

/// The kernel's id for the processor clock of a thread. pthread_getcpuclockid() would need a valid pthread_t.
clockid_t processorClock(int nId)
{
    unsigned int const PER_THREAD_SCHEDULED = 6;
    return static_cast<clockid_t>(~static_cast<unsigned int>(nId) << 3U | PER_THREAD_SCHEDULED);
}

long long readClock(clockid_t nClock, long long nFailed)
{
    timespec lTime{};
    return gSystem.mClockGettime(nClock, &lTime) == 0 ? lTime.tv_sec * 1000000000LL + lTime.tv_nsec : nFailed;
}

} // namespace

ThreadSample ThreadProbe::take(int nId)
{
    char lText[256];
    auto const lRead = [&](int* npFd, char const* npName)
    {
        if (*npFd == CLOSED)
        {
            std::snprintf(lText, sizeof(lText), "/proc/self/task/%d/%s", nId, npName);
            *npFd = gSystem.mOpen(lText, O_RDONLY, 0);
            *npFd = *npFd == -1 && errno == ENOENT ? MISSING : *npFd;
        }
        ssize_t const lSize = *npFd >= 0 ? gSystem.mPread(*npFd, lText, sizeof(lText) - 1, 0) : -1;
        lText[lSize > 0 ? lSize : 0] = '\0';
        return lSize > 0;
    };
    ThreadSample lSample;
    if (lRead(&mSchedstatFd, "schedstat"))
    {
        char* lpRest = lText;
        bool const lHasRun = std::strtoull(lText, &lpRest, 10) != 0; // all zeros if the kernel keeps no account
        auto const lQueuedNs = static_cast<long long>(std::strtoull(lpRest, nullptr, 10));
        lSample.mQueuedNs = lHasRun ? lQueuedNs : ThreadSample::UNKNOWN;
    }
    lSample.mRunNs = readClock(processorClock(nId), ThreadSample::UNKNOWN);
    lSample.mTakenNs = nowNs();
    if (lRead(&mStatFd, "stat"))
    {
        char const* const lpEndOfName = std::strrchr(lText, ')'); // the name before it may hold anything
        lSample.mState = lpEndOfName != nullptr && lpEndOfName[1] == ' ' ? lpEndOfName[2] : '\0';
    }
    return lSample;
}

long long ThreadProbe::nowNs()
{
    return readClock(CLOCK_MONOTONIC, 0);
}

long long ThreadProbe::processNs()
{
    return readClock(CLOCK_PROCESS_CPUTIME_ID, 0);
}

void ThreadProbe::close()
{
    for (int* const lpFd : {&mStatFd, &mSchedstatFd})
    {
        if (*lpFd >= 0)
        {
            gSystem.mClose(*lpFd);
        }
        *lpFd = CLOSED;
    }
}

} // namespace utl::internal
