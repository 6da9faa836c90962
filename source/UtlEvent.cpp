// Event: a flag with two conditions, on the monotonic clock.
#include "UtlEvent.h"

#include "UtlApplog.h"
#include "UtlTimeCounter.h"
#include "internal/base/UtlSystemCalls.h"

#include <cerrno>
#include <ctime>

namespace utl
{

namespace
{

/// Holds a mutex for a scope. Every signal is given inside it, so that the mutex is free, and the event out of use,
/// when a waiter comes back.
class MutexGuard
{
public:
    explicit MutexGuard(pthread_mutex_t& nMutex)
        : mMutex(nMutex)
    {
        pthread_mutex_lock(&mMutex);
    }
    ~MutexGuard() { pthread_mutex_unlock(&mMutex); }
    MutexGuard(MutexGuard const&) = delete;
    MutexGuard& operator=(MutexGuard const&) = delete;

private:
    pthread_mutex_t& mMutex;
};

/// One wait on the monotonic clock. nTimeoutMs: a negative one gives a time in the past or none at all.
int timedWait(pthread_cond_t& nCondition, pthread_mutex_t& nMutex, int nTimeoutMs)
{
    int const NS_PER_MS = 1000000;
    int const NS_PER_S = 1000000000;
    timespec lUntil{};
    if (internal::gSystem.mClockGettime(CLOCK_MONOTONIC, &lUntil) != 0)
    {
        return Event::FAILED;
    }
    lUntil.tv_sec += nTimeoutMs / 1000;
    lUntil.tv_nsec += nTimeoutMs % 1000 * NS_PER_MS; // below 2 * 10^9, which fits 32 bits
    if (lUntil.tv_nsec >= NS_PER_S)
    {
        ++lUntil.tv_sec;
        lUntil.tv_nsec -= NS_PER_S;
    }
    int const lError = internal::gSystem.mPthreadCondTimedwait(&nCondition, &nMutex, &lUntil);
    return lError == 0 ? 0 : lError == ETIMEDOUT ? Event::TIMED_OUT : Event::FAILED;
}

} // namespace

Event::Event(int nInitialOn, int nTwoSided)
    : mOn(nInitialOn != 0),
      mOff(!mOn),
      mIsTwoSided(nTwoSided == 1)
{
    pthread_condattr_t lOnMonotonicClock;
    pthread_condattr_init(&lOnMonotonicClock);
    pthread_condattr_setclock(&lOnMonotonicClock, CLOCK_MONOTONIC);
    pthread_cond_init(&mOnCondition, &lOnMonotonicClock);
    if (mIsTwoSided)
    {
        pthread_cond_init(&mOffCondition, &lOnMonotonicClock);
    }
    pthread_condattr_destroy(&lOnMonotonicClock);

    pthread_mutexattr_t lRecursive;
    pthread_mutexattr_init(&lRecursive);
    pthread_mutexattr_settype(&lRecursive, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mMutex, &lRecursive);
    pthread_mutexattr_destroy(&lRecursive);
}

Event::~Event()
{
    pthread_cond_destroy(&mOnCondition);
    if (mIsTwoSided)
    {
        pthread_cond_destroy(&mOffCondition);
    }
    pthread_mutex_destroy(&mMutex);
}

void Event::setOn()
{
    MutexGuard lGuard(mMutex);
    mOn = true;
    if (mIsTwoSided)
    {
        mOff = false;
    }
    pthread_cond_broadcast(&mOnCondition);
}

void Event::setOff()
{
    MutexGuard lGuard(mMutex);
    mOn = false;
    if (mIsTwoSided)
    {
        mOff = true;
        pthread_cond_broadcast(&mOffCondition);
    }
}

bool Event::isOn() const
{
    MutexGuard lGuard(mMutex);
    return mOn;
}

bool Event::isOff() const
{
    return !isOn();
}

int Event::waitToOn(unsigned int nTimeoutMs) const
{
    return wait({mOn, mOnCondition, "mOn"}, nTimeoutMs);
}

int Event::waitToOff(unsigned int nTimeoutMs) const
{
    return mIsTwoSided ? wait({mOff, mOffCondition, "mOff"}, nTimeoutMs) : FAILED;
}

int Event::wait(Side const& nSide, unsigned int nTimeoutMs) const
{
    MutexGuard lGuard(mMutex);
    if (nSide.mFlag)
    {
        return 0;
    }
    if (nTimeoutMs == 0)
    {
        pthread_cond_wait(&nSide.mCondition, &mMutex); // once: a flag that was up only for a moment also ends the wait
        return 0;
    }
    return waitLimitedLocked(nSide, nTimeoutMs);
}

int Event::waitLimitedLocked(Side const& nSide, unsigned int nTimeoutMs) const
{
    for (unsigned int lRemainingMs = nTimeoutMs;;)
    {
        TimeCounter lCounter;
        lCounter.start();
        int const lResult = timedWait(nSide.mCondition, mMutex, static_cast<int>(lRemainingMs));
        if (lResult != 0 || nSide.mFlag)
        {
            return lResult;
        }
        unsigned int const lWaitedMs = lCounter.stop();
        if (lRemainingMs <= lWaitedMs)
        {
            return TIMED_OUT;
        }
        lRemainingMs -= lWaitedMs;
        applog(UTL_LOG_TYPE, LOG_LEVEL_DETAIL,
               "Wait OK, but Status(%s)=false.  Timeout=%umsec Waited=%umsec Retry wait %umsec after", nSide.mpName,
               nTimeoutMs, lWaitedMs, lRemainingMs);
    }
}

} // namespace utl
