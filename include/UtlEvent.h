/// A flag that threads set, clear and wait for. Layer: event, priority, statement record.
#ifndef UTL_EVENT_H
#define UTL_EVENT_H

#include "UtlMacros.h"

#include <pthread.h>

namespace utl
{

/// A flag with waits for its rise and, on a two-sided event, for its fall.
///
/// Threads:   any. Set and clear wake every waiter of their side.
/// Ownership: nobody may be waiting when it is destroyed. A waiter that has returned may destroy it, although the
///            call that woke it has not returned yet.
/// Locks:     one of its own, a leaf but for the log.
/// Signals:   no.
/// Forks:     the child has the flag but no waiters. If there were any, destroying the event there waits for ever.
/// Blocking:  the two waits; the others only for the lock.
/// Time-outs: milliseconds on the monotonic clock; 0 means no limit.
class UTL_API Event
{
public:
    static constexpr int FAILED = -1;    ///< A wait that could not be made.
    static constexpr int TIMED_OUT = -2; ///< A wait whose time ran out.

    /// nInitialOn: 0 for a flag that is down. nTwoSided: 1 for a two-sided event, anything else for a one-sided one.
    Event(int nInitialOn, int nTwoSided);
    virtual ~Event();
    Event(Event const&) = delete;
    Event& operator=(Event const&) = delete;

    void setOn();       ///< Raises the flag.
    void setOff();      ///< Lowers it.
    bool isOn() const;  ///< The flag is up.
    bool isOff() const; ///< Not isOn(), on one-sided events too.

    /// Waits until the flag is up, not at all if it is. Result: 0, TIMED_OUT or FAILED.
    ///
    /// With a limit, a wake-up that finds the flag down again is logged as a detail and waited on for the rest.
    /// Caution: without a limit the first wake-up ends the wait with 0, even if the flag is down again by then or the
    /// system woke the thread for nothing; waitUntilOn() goes on waiting.
    /// Caution: a limit of 2147483648 or more is a negative number to the clock: TIMED_OUT or FAILED at once.
    int waitToOn(unsigned int nTimeoutMs) const;

    /// The same, but without a limit a wake-up that finds the flag down is waited on, too.
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
    /// What a wait needs to know about its side.
    struct Side
    {
        bool const& mFlag;
        pthread_cond_t& mCondition;
        char const* mpName; // of the flag, in the log
    };

    int wait(Side const& nSide, unsigned int nTimeoutMs) const;
    int waitLimitedLocked(Side const& nSide, unsigned int nTimeoutMs) const;

    bool mOn;                             // under mMutex
    bool mOff;                            // under mMutex; follows mOn on a two-sided event only
    bool const mIsTwoSided;               // constant
    mutable pthread_cond_t mOnCondition;  // on the monotonic clock
    mutable pthread_cond_t mOffCondition; // the same; made on a two-sided event only
    mutable pthread_mutex_t mMutex;       // recursive
};

} // namespace utl

#endif
