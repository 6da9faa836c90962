/// Ends all message threads and shared timers of the process. Layer: shared message thread, shared timer.
#ifndef UTL_STOP_ALL_H
#define UTL_STOP_ALL_H

#include "UtlMacros.h"

namespace utl
{

/// A message thread or shared timer that still runs, and what holds it up.
struct StopHolder
{
    static constexpr unsigned int NAME_SIZE = 32; ///< with the terminator

    int mThreadId = 0;          ///< the thread that still runs
    int mHolderId = 0;          ///< the thread that holds it up: the last in the chain of waits, or the thread itself
    bool mIsInCall = false;     ///< whether the holder's listener has been called and has not returned
    int mMsgId = 0;             ///< the call's message id, MSG_ID_TIMER for a time-out; with SharedTimer the timer id
    unsigned int mCallMs = 0;   ///< how long that call has lasted, in milliseconds, as exact as the thread's CallClock
    char mName[NAME_SIZE] = {}; ///< the thread's name, cut to whole characters
    char mHolderName[NAME_SIZE] = {}; ///< the holder's; empty if that is neither message thread nor shared timer
};

/// Tells what holds a thread up, after a stop() that gave -2 or at any time.
///
///     StopHolder lHolder;
///     if (lThread.stop(1, 1000) == -2 && whoHolds(lThread.getId(), &lHolder))
///     {
///         std::printf("%s: message %d for %u ms\n", lHolder.mHolderName, lHolder.mMsgId, lHolder.mCallMs);
///     }
///
/// Result:   false, with *npHolder unchanged, if no message thread or shared timer with that thread id runs.
/// Threads:  any.
/// Signals:  no.
/// Forks:    the child has none that runs.
/// Blocking: for the locks of queues.
UTL_API bool whoHolds(int nThreadId, StopHolder* npHolder);

/// Stops every message thread and shared timer of the process, but no watchdog: first the shared timers, then the
/// message threads. Of each kind the newest comes first, since it may use the older ones. Before the next thread is
/// asked to end, the one before is given half of the remaining time; at the end all share the rest. A thread is found
/// once its start has returned, even while it is in preExecute(); threads that start meanwhile are stopped, too. All
/// stay registered, as after stop().
///
/// nLimitMs:  the time for all together; 0: without limit.
/// npHolders: receives the threads that still run, at most nMaxHolders of them; may be null if that is 0. For a thread
///            whose loop has ended and that is in postExecute(), only mThreadId and mHolderId are set, to its id.
/// Result:    how many still run. If the caller is a message thread or shared timer, it is asked to end and counts as
///            one.
/// Threads:   any. Meanwhile no such object may be destroyed unless its thread is ended first.
/// Signals:   no.
/// Forks:     the child has none that runs.
/// Blocking:  as told above; a start() or stop() of such a thread that is under way is waited for.
/// Locks:     none while an application's requestStop() runs. It may stop other threads and wait for them, but not for
///            its own thread, whose loop cannot end before requestStop() has returned.
/// Caution:   the limit does not hold for asking: a requestStop() that takes long, or a judgement that holds up a
///            queue, is waited for. Once the limit has passed, the other threads are still asked, but not waited for,
///            and the result tells which run at that moment. Keep requestStop() and judgements short.
UTL_API unsigned int stopAll(unsigned int nLimitMs, StopHolder* npHolders, unsigned int nMaxHolders);

} // namespace utl

#endif
