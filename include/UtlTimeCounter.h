/// Elapsed time in milliseconds on the monotonic clock. Layer: tick counter.
#ifndef UTL_TIME_COUNTER_H
#define UTL_TIME_COUNTER_H

#include "UtlMacros.h"

namespace utl
{

/// Measures elapsed time, with an object, or with one of 50 numbered counters of the process, which can be started in
/// one function and stopped in another.
///
///     TimeCounter lTime;
///     lTime.start();
///     work();
///     unsigned int const lElapsedMs = lTime.stop();   // FAILED if the clock failed
///
/// Ticks and times are unsigned milliseconds that wrap after 49.7 days; longer times cannot be measured.
///
/// Threads:  an object belongs to one thread; the static functions may be called from any.
/// Locks:    the static functions take the table's lock; the log is written under it.
/// Signals:  no.
/// Forks:    counters that were started run on in the child; fork() waits until no other thread holds the table's lock.
/// Blocking: for that lock, and for the log if something fails.
/// Errors:   FAILED or false, with the reason in the log as an error.
///
/// Caution: once in 49.7 days, for one millisecond, the tick equals FAILED and counts as a failed clock; repeat the
/// call.
class UTL_API TimeCounter
{
public:
    static constexpr unsigned int FAILED = 0xFFFFFFFFU; ///< Neither a tick nor a time.
    static constexpr unsigned int MAX_COUNTERS = 50;    ///< The most numbered counters that run at once.

    TimeCounter() = default;
    TimeCounter(TimeCounter const&) = default;
    TimeCounter& operator=(TimeCounter const&) = default;
    virtual ~TimeCounter() = default;

    /// The monotonic clock now, or FAILED.
    static unsigned int getTickTime();

    /// Starts, or restarts. Result: false if the clock failed.
    /// Caution: after a restart that failed the counter runs, but from no valid tick; stop() it.
    bool start();

    /// Result: the time since start(); FAILED if the counter does not run or the clock failed. It goes on running.
    unsigned int watch();

    /// As watch(), and stops the counter in any case.
    unsigned int stop();

    /// Starts the counter with that number, which may be any, or restarts it.
    /// Result: false if MAX_COUNTERS others run or the clock failed; it does not run then.
    static bool start(unsigned int nCounterId);

    /// Result: the time since the start of that counter; FAILED if it does not run or the clock failed.
    /// Caution: if another thread calls start() with the same number meanwhile, the time can be almost 2^32, and stop()
    /// stops the new counter; let one thread at a time use a number.
    static unsigned int watch(unsigned int nCounterId);

    /// As watch(), and stops the counter in any case.
    static unsigned int stop(unsigned int nCounterId);

private:
    bool mHasStarted = false;         // one thread
    unsigned int mStartTime = FAILED; // one thread, tick
};

} // namespace utl

#endif
