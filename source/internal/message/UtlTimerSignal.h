/// The signal of kernel timers, and its way into a loop. Layer: internal, message-driven thread.
#ifndef UTL_TIMER_SIGNAL_H
#define UTL_TIMER_SIGNAL_H

#include <atomic>
#include <memory>

#include <signal.h>

namespace utl::internal
{

/// Notes of expired timers of one loop. The signal handler writes them; it runs inside the loop's own wait and nowhere
/// else. So they belong to one thread and need no lock.
class ExpiryNotes
{
public:
    struct Note
    {
        int mSysTimerNumber;   ///< tells which start of which timer
        unsigned int mOverrun; ///< further expiries since the signal was sent
    };

    /// nMaxTimers: there is room for two notes for each timer.
    explicit ExpiryNotes(unsigned int nMaxTimers);

    /// On the loop's thread. A note for which there is no room is lost, and so is its expiry.
    void add(Note const& nNote);

    unsigned int count() const { return mCount; }
    Note const& at(unsigned int nIndex) const { return mpNotes[nIndex]; }
    void clear() { mCount = 0; }

private:
    std::unique_ptr<Note[]> const mpNotes;
    unsigned int const mMaxCount;
    unsigned int mCount = 0;
};

/// The signal of message threads' timers, or that of shared timers', and its handler. Constant-initialised.
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
    /// Result: 0 if it is installed already, 1 if it was installed now, -1 and errno on failure; then the next call
    ///         tries again.
    int install();
    bool isInstalled() const { return mIsInstalled; }

    /// Blocks the signal on the calling thread. From now on the handler writes to npNotes when the signal is let in;
    /// null: the thread has no timers any more.
    void keepBack(ExpiryNotes* npNotes) const;

    /// Let the signal in on the calling thread: waitOpen() while it waits for nFd to become readable, letIn() without a
    /// wait. A handler that has run ends the wait. Result: that of ppoll().
    int waitOpen(int nFd) const;
    int letIn() const;

private:
    int poll(int nFd, bool nIsToWait) const;

    int const mOffset;
    std::atomic<bool> mIsInstalled{false};
};

/// The monotonic clock in nanoseconds; 0 if it cannot be read.
long long monotonicNs();

/// The same clock at the kernel's last tick, which takes a fraction of the time to read.
long long coarseMonotonicNs();

} // namespace utl::internal

#endif
