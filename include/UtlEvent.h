/// A flag that threads set, clear and wait for. Layer: event, priority, statement record.
#ifndef UTL_EVENT_H
#define UTL_EVENT_H

#include "UtlMacros.h"

#include <pthread.h>

namespace utl
{

/// A flag that is up or down. Threads can wait until it is up and, on a two-sided event, until it is down.
///
///     Event lIsReady(0, 0);                          // down, one-sided
///     lIsReady.setOn();                              // on one thread
///     if (lIsReady.waitToOn(1000) == 0) { use(); }   // on another: within a second
///
/// Threads:   any. setOn() and setOff() wake every waiter for that state.
/// Ownership: nobody may be waiting when the event is destroyed. A waiter that has returned may destroy it, although
///            the call that woke it has not returned yet.
/// Locks:     one of its own, a leaf but for the log.
/// Signals:   no.
/// Forks:     the child has the flag but no waiters. If there were any, destroying the event there waits for ever.
/// Blocking:  the waits, as told there; the others only for the lock.
/// Time-outs: milliseconds on the monotonic clock; 0 means no limit.
class UTL_API Event
{
public:
    static constexpr int FAILED = -1;    ///< The wait was not possible.
    static constexpr int TIMED_OUT = -2; ///< The time ran out.

    /// nInitialOn: 0 for a flag that is down, anything else for one that is up.
    /// nTwoSided:  1 for a two-sided event, anything else for a one-sided one.
    Event(int nInitialOn, int nTwoSided);
    virtual ~Event();
    Event(Event const&) = delete;
    Event& operator=(Event const&) = delete;

    void setOn();       ///< Raises the flag.
    void setOff();      ///< Lowers the flag.
    bool isOn() const;  ///< Whether the flag is up.
    bool isOff() const; ///< Whether the flag is down, on one-sided events too.

    /// Waits until the flag is up; returns at once if it is. Result: 0, TIMED_OUT or FAILED.
    ///
    /// If a thread that waits with a limit is woken and finds the flag down again, that is logged as a detail, and the
    /// thread waits for the rest of the time.
    /// Caution: without a limit the first wake-up ends the wait with 0, even if the flag is down again by then or the
    /// system woke the thread for nothing; waitUntilOn() goes on waiting.
    /// Caution: a limit of 2147483648 or more counts as negative: TIMED_OUT or FAILED at once.
    int waitToOn(unsigned int nTimeoutMs) const;

    /// As waitToOn(), but also without a limit it goes on waiting if a wake-up finds the flag down.
    int waitUntilOn(unsigned int nTimeoutMs) const
    {
        int lResult = 0;
        do
        {
            lResult = waitToOn(nTimeoutMs);
        } while (lResult == 0 && nTimeoutMs == 0 && isOff());
        return lResult;
    }

    /// As waitToOn(), until the flag is down. On a one-sided event FAILED at once.
    int waitToOff(unsigned int nTimeoutMs) const;

private:
    /// What a wait for one state needs.
    struct Side
    {
        bool const& mFlag;
        pthread_cond_t& mCondition;
        char const* mpName; // the state's name in the log
    };

    int wait(Side const& nSide, unsigned int nTimeoutMs) const;
    int waitLimitedLocked(Side const& nSide, unsigned int nTimeoutMs) const;

    bool mOn;                             // under mMutex
    bool mOff;                            // under mMutex; the opposite of mOn, on a two-sided event only
    bool const mIsTwoSided;               // constant
    mutable pthread_cond_t mOnCondition;  // on the monotonic clock
    mutable pthread_cond_t mOffCondition; // the same; made on a two-sided event only
    mutable pthread_mutex_t mMutex;       // recursive
};

} // namespace utl

#endif
