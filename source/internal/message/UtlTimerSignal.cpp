// The signal of kernel timers.
#include "internal/message/UtlTimerSignal.h"

#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlShownLock.h"
#include "internal/base/UtlSystemCalls.h"

#include <algorithm>

#include <climits>

namespace utl::internal
{

namespace
{

thread_local ExpiryNotes* tpNotes = nullptr; // first used by keepBack(), so that it exists when the handler uses it

/// On the thread that owns the timer, inside its ppoll(). Takes no lock, allocates nothing, makes no system call.
void onTimerSignal(int, siginfo_t* npInfo, void*)
{
    if (tpNotes != nullptr && npInfo->si_code == SI_TIMER) // anybody may send the signal, to any thread
    {
        tpNotes->add({npInfo->si_value.sival_int, static_cast<unsigned int>(std::max(npInfo->si_overrun, 0))});
    }
}

} // namespace

ExpiryNotes::ExpiryNotes(unsigned int nMaxTimers)
    : mpNotes(new Note[2 * static_cast<std::size_t>(nMaxTimers)]),
      mMaxCount(nMaxTimers <= UINT_MAX / 2 ? 2 * nMaxTimers : UINT_MAX)
{
}

void ExpiryNotes::add(Note const& nNote)
{
    if (mCount < mMaxCount)
    {
        mpNotes[mCount] = nNote;
        ++mCount;
    }
}

int TimerSignal::install()
{
    static Immortal<ShownLock> lLock("the handlers of timer signals");
    if (mIsInstalled)
    {
        return 0;
    }
    SyncGuard lGuard(lLock.get());
    if (mIsInstalled)
    {
        return 0;
    }
    struct sigaction lAction = {};
    lAction.sa_sigaction = &onTimerSignal;
    lAction.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&lAction.sa_mask);
    if (gSystem.mSigaction(number(), &lAction, nullptr) != 0)
    {
        return -1;
    }
    mIsInstalled = true;
    return 1;
}

void TimerSignal::keepBack(ExpiryNotes* npNotes) const
{
    tpNotes = npNotes;
    sigset_t lSignals;
    sigemptyset(&lSignals);
    sigaddset(&lSignals, number());
    ::pthread_sigmask(SIG_BLOCK, &lSignals, nullptr);
}

int TimerSignal::waitOpen(int nFd) const
{
    return poll(nFd, true);
}

int TimerSignal::letIn() const
{
    return poll(-1, false);
}

int TimerSignal::poll(int nFd, bool nIsToWait) const
{
    // Based on the thread's present mask: what a listener has blocked stays blocked.
    sigset_t lMask;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &lMask);
    sigdelset(&lMask, number());
    pollfd lFd{nFd, POLLIN, 0};
    timespec const lAtOnce{0, 0};
    return gSystem.mPpoll(&lFd, nFd != -1 ? 1 : 0, nIsToWait ? nullptr : &lAtOnce, &lMask);
}

namespace
{

long long clockNs(clockid_t nClock)
{
    timespec lNow{};
    return gSystem.mClockGettime(nClock, &lNow) == 0 ? lNow.tv_sec * 1000000000LL + lNow.tv_nsec : 0;
}

} // namespace

long long monotonicNs()
{
    return clockNs(CLOCK_MONOTONIC);
}

long long coarseMonotonicNs()
{
    return clockNs(CLOCK_MONOTONIC_COARSE);
}

} // namespace utl::internal
