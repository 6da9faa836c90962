/// The end of all message threads and shared timers of the process. Layer: shared message thread, shared timer.
#ifndef UTL_STOP_ALL_H
#define UTL_STOP_ALL_H

#include "UtlMacros.h"

namespace utl
{

/// A message thread or shared timer that goes on, and what keeps it.
struct StopHolder
{
    static constexpr unsigned int NAME_SIZE = 32; ///< with the terminator

    int mThreadId = 0;          ///< who goes on
    int mHolderId = 0;          ///< who keeps it: the end of those that it waits for, or itself
    bool mIsInCall = false;     ///< the holder's listener has been called and has not returned
    int mMsgId = 0;             ///< with this message, MSG_ID_TIMER for a time-out; of a shared timer the timer's id
    unsigned int mCallMs = 0;   ///< for how long, in milliseconds, as exact as the thread's CallClock
    char mName[NAME_SIZE] = {}; ///< of the thread, cut to whole characters
    char mHolderName[NAME_SIZE] = {}; ///< of the holder; empty if that is neither message thread nor shared timer
};

/// After a stop() that gave -2, or at any time: what keeps this thread.
///
///     StopHolder lHolder;
///     if (lThread.stop(1, 1000) == -2 && whoHolds(lThread.getId(), &lHolder))
///     {
///         std::printf("%s: message %d for %u ms\n", lHolder.mHolderName, lHolder.mMsgId, lHolder.mCallMs);
///     }
///
/// Result:   false, with *npHolder unchanged, if no message thread or shared timer runs by that thread id.
/// Threads:  any.
/// Signals:  no.
/// Forks:    the child has none that runs.
/// Blocking: for the locks of queues.
UTL_API bool whoHolds(int nThreadId, StopHolder* npHolder);

/// Stops every message thread and shared timer of the process, but no watchdog: first the shared timers, then the
/// message threads, each time the newest first, since that may use the older ones. Each has half of the time that is
/// left to end before the next is asked; in the end all have the rest together. A thread is found from the moment its
/// start has returned, also in preExecute(); what starts meanwhile is stopped, too. They stay registered, as after
/// stop().
///
/// nLimitMs:  for all together; 0: without limit.
/// npHolders: gets those that go on, the first nMaxHolders of them; may be null if that is 0. One whose loop has ended,
///            and that goes on in postExecute(), has its id in mThreadId and mHolderId, and nothing else.
/// Result:    how many go on. On a message thread or shared timer it is asked to end itself, and counts as one.
/// Threads:   any. None of the objects may be destroyed meanwhile but by what ends its thread first.
/// Signals:   no.
/// Forks:     the child has none that runs.
/// Blocking:  as told; a start() or stop() of such a thread that is under way is waited for.
/// Locks:     none while an application's requestStop() runs. That may stop other threads, and wait for them, but must
///            not wait for its own: the loop ends no earlier than the asking.
/// Caution:   the limit does not hold for the asking: a requestStop() that takes long, or a judgement that holds up a
///            queue, cannot be cut short and is waited for. Once the limit has passed, the others are asked all the
///            same, nobody is waited for any more, and the result tells who goes on at that moment. Keep both short.
UTL_API unsigned int stopAll(unsigned int nLimitMs, StopHolder* npHolders, unsigned int nMaxHolders);

} // namespace utl

#endif
