/// Kernel timers that tell a pipe: what MsgDrivenThread and SharedTimer share. Layer: internal, message-driven thread.
#ifndef UTL_KERNEL_TIMER_H
#define UTL_KERNEL_TIMER_H

#include "UtlSyncObject.h"
#include "UtlTimerInfo.h"

#include <atomic>
#include <climits>

#include <signal.h>

namespace utl::internal
{

/// The signal handler's view of one timer, in memory that is never given back and is used again for other timers.
///
/// The kernel gets a token (slot and generation), not an address. Each arming and each disarming raises the
/// generation, and disarm() waits for a handler that is just inside: from then on a signal already sent comes to
/// nothing, whatever has become of the timer, the pipe or the thread.
class TimerSignalSlot
{
public:
    /// A slot, or null when memory or the 65536 slots of a process run out. From any thread.
    static TimerSignalSlot* allocate();

    /// Disarms it and gives it back. Null does nothing.
    static void release(TimerSignalSlot* npSlot);

    /// Result: the token to hand to the kernel; until disarm() a signal with it writes
    /// (MSG_ID_TIMEOUT_SIGNAL, nSysTimerNumber) to nPipeWriteFd.
    int arm(int nSysTimerNumber, int nPipeWriteFd);
    void disarm();

    /// What the handler does with a token. Takes no lock, allocates nothing, does not block, keeps errno.
    /// Result: 0, also for a token that is no longer good and for a full pipe; otherwise the error of the write.
    static int onSignal(int nToken);

private:
    friend class SlotTable;

    std::atomic<unsigned int> mToken{0}; // the good one; odd generation: armed
    std::atomic<int> mHandlersInside{0};
    std::atomic<int> mSysTimerNumber{-1};  // constant while armed
    std::atomic<int> mPipeWriteFd{-1};     // likewise
    TimerSignalSlot* mpNextFree = nullptr; // under the table's lock
};

/// One kind of owner: its signal and the installation of its handler. Constant-initialised, one for each class.
class TimerSignal
{
public:
    constexpr explicit TimerSignal(int nOffset)
        : mOffset(nOffset)
    {
    }

    /// SIGRTMIN + offset.
    int number() const { return SIGRTMIN + mOffset; }

    /// Installs the handler, once a process: sa_flags SA_SIGINFO | SA_RESTART, empty mask.
    /// Result: 0 where it stands already, 1 where it was installed now, -1 and errno on failure; then the next
    /// call tries again.
    int install(void (*npHandler)(int, siginfo_t*, void*));

    bool isInstalled() const { return mIsInstalled; }

    /// The calling thread takes the signal from here on, also where the application blocks all signals in all threads.
    void admit() const;

    /// The handler leaves the error of a failed write here, since it may not log; a thread of the class takes it.
    void leaveError(int nError) { mError.store(nError, std::memory_order_relaxed); }
    int takeError();

private:
    int const mOffset;
    std::atomic<bool> mIsInstalled{false};
    std::atomic<int> mError{0};
};

enum class KernelTimerResult
{
    DONE,
    CREATE_FAILED,  // nothing runs
    SETTIME_FAILED, // nothing runs
    DELETE_FAILED
};

/// The two halves of startKernelTimer(), for who reports between them: create, then arm. Result: 0, or -1 and errno.
int createKernelTimer(TimerInfo& nInfo, int nSignal, int nSysTimerNumber, int nPipeWriteFd, void** npTimerId);
int armKernelTimer(TimerInfo& nInfo, int nSysTimerNumber, void* npTimerId);

/// Creates and arms a periodic kernel timer of nInfo.mIntervalMs under the given number and stores both in nInfo.
/// On failure nothing is left behind; errno tells why, *npTimerId what timer_create gave.
KernelTimerResult startKernelTimer(TimerInfo& nInfo, int nSignal, int nSysTimerNumber, int nPipeWriteFd,
                                   void** npTimerId);

/// Deletes the kernel timer of nInfo. Whatever the kernel says, no signal of it does anything afterwards. The fields
/// of nInfo are left to the caller.
KernelTimerResult deleteKernelTimer(TimerInfo& nInfo);

/// The number after nLast for a new start: one higher, from 0x7FFFFFFF on to 1, 0x7FFFFFFF taken unchecked. After
/// a collision with a number in use it does not look for the next free one but goes to 0x7FFFFFFF.
template <class IsInUse>
int nextSysTimerNumber(int nLast, IsInUse nIsInUse)
{
    int const lCandidate = nLast == INT_MAX ? 1 : nLast + 1;
    return lCandidate != INT_MAX && nIsInUse(lCandidate) ? INT_MAX : lCandidate;
}

/// The id of the timer in a table that goes by a system number now; -1 for none.
template <class TimerMap>
int userTimerIdOf(TimerMap const& nTimers, int nSysTimerNumber)
{
    for (unsigned int lIndex = 0; nSysTimerNumber != -1 && lIndex < nTimers.size(); ++lIndex)
    {
        auto const* const lpPair = nTimers.at(lIndex);
        if (lpPair->mValue.mSysTimerNumber == nSysTimerNumber)
        {
            return lpPair->mKey;
        }
    }
    return -1;
}

/// A time-out of a running timer may be queued: fewer than two are waiting, or than one where the timer is armed anew
/// after each.
inline bool mayQueueTimeout(TimerInfo const& nInfo)
{
    return nInfo.mPendingTimeoutCount < (nInfo.mIsFreeRunning != 0 ? 2U : 1U) && nInfo.mpRunningEvent->isOn();
}

/// Counts a time-out that was handled. Result: true where it was the last one.
inline bool countTimeout(TimerInfo& nInfo)
{
    if (nInfo.mPendingTimeoutCount > 0)
    {
        --nInfo.mPendingTimeoutCount;
    }
    ++nInfo.mTimeoutCount;
    return nInfo.mMaxTimeoutCount != 0 && nInfo.mTimeoutCount >= nInfo.mMaxTimeoutCount;
}

} // namespace utl::internal

#endif
