/// The signal of kernel timers, and how a loop takes it. Layer: internal, message-driven thread.
#ifndef UTL_TIMER_SIGNAL_H
#define UTL_TIMER_SIGNAL_H

#include <atomic>
#include <memory>

#include <signal.h>

namespace utl::internal
{

/// What the signals of one loop's timers have told. Filled by the signal handler, which runs inside the loop's own wait
/// and nowhere else; so it belongs to one thread and needs no lock.
class ExpiryNotes
{
public:
    struct Note
    {
        int mSysTimerNumber;   ///< which start of which timer
        unsigned int mOverrun; ///< expiries besides the one that sent the signal
    };

    /// nMaxTimers: there is room for two notes for each.
    explicit ExpiryNotes(unsigned int nMaxTimers);

    /// On the loop's thread, when notes have no room they are lost, as an expiry is that nobody can take.
    void add(Note const& nNote);

    unsigned int count() const { return mCount; }
    Note const& at(unsigned int nIndex) const { return mpNotes[nIndex]; }
    void clear() { mCount = 0; }

private:
    std::unique_ptr<Note[]> const mpNotes;
    unsigned int const mMaxCount;
    unsigned int mCount = 0;
};

/// One kind of owner: its signal and the installation of the handler. Constant-initialised, one for each class.
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

    /// The calling thread keeps the signal back from here on, and notes it in npNotes when it lets it in; null: the
    /// thread has no timers any more.
    void keepBack(ExpiryNotes* npNotes) const;

    /// Lets the signal in on the calling thread while it waits for nFd to become readable, or does not wait at all. A
    /// handler that has run ends the wait. Result: that of ppoll().
    int waitOpen(int nFd) const;
    int letIn() const;

private:
    int poll(int nFd, bool nIsToWait) const;

    int const mOffset;
    std::atomic<bool> mIsInstalled{false};
};

/// The monotonic clock in nanoseconds; 0 if it cannot be read.
long long monotonicNs();

/// The same as of the kernel's last tick, which costs a fraction.
long long coarseMonotonicNs();

} // namespace utl::internal

#endif
