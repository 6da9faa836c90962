/// Elapsed time in milliseconds on the monotonic clock. Layer: tick counter.
#ifndef UTL_TIME_COUNTER_H
#define UTL_TIME_COUNTER_H

#include "UtlMacros.h"

namespace utl
{

/// Measures elapsed time: as an object with a start of its own, or as one of 50 process-wide counters with a number,
/// so that a measurement can start in one function and end in another.
///
/// Ticks and times are unsigned milliseconds that wrap after 49.7 days; a time is right as long as it is shorter.
/// Threads:  an object belongs to one thread; the static functions may be called from any.
/// Locks:    the static functions take the table's lock; the log is written under it.
/// Signals:  no.
/// Forks:    what was started runs on in the child; fork() waits until no other thread is at the table.
/// Blocking: for that lock, and for the log if something fails.
/// Errors:   FAILED or false, with the reason in the log as an error.
///
/// Caution: the tick FAILED comes once in 49.7 days, for one millisecond, and counts as a failed clock; repeat the
/// call.
class UTL_API TimeCounter
{
public:
    static constexpr unsigned int FAILED = 0xFFFFFFFFU; ///< Neither a tick nor a time.
    static constexpr unsigned int MAX_COUNTERS = 50;    ///< Numbers that run at once.

    TimeCounter() = default;
    TimeCounter(TimeCounter const&) = default;
    TimeCounter& operator=(TimeCounter const&) = default;
    virtual ~TimeCounter() = default;

    /// The monotonic clock now, or FAILED.
    static unsigned int getTickTime();

    /// Starts, or starts anew. Result: false when the clock failed.
    /// Caution: a start anew that failed leaves the counter running from no valid tick; stop() it.
    bool start();

    /// Result: the time since start(), or FAILED when it does not run or the clock failed. It goes on running.
    unsigned int watch();

    /// As watch(); the counter is stopped in any case.
    unsigned int stop();

    /// Starts the counter of that number, or starts it anew. Result: false when MAX_COUNTERS others run or the clock
    /// failed; it does not run then.
    static bool start(unsigned int nCounterId);

    /// Result: the time since the start of that counter, or FAILED when it does not run or the clock failed.
    /// Caution: a start() of the same number by another thread meanwhile can make the time almost 2^32, and stop()
    /// then frees the new counter; let one thread at a time use a number.
    static unsigned int watch(unsigned int nCounterId);

    /// As watch(); the number is free again in any case.
    static unsigned int stop(unsigned int nCounterId);

private:
    bool mHasStarted = false;         // one thread
    unsigned int mStartTime = FAILED; // one thread, tick
};

} // namespace utl

#endif
