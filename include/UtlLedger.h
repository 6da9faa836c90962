/// Counts of what a message thread or a shared timer has done and is doing. Layer: message-driven thread.
#ifndef UTL_LEDGER_H
#define UTL_LEDGER_H

namespace utl
{

/// The clock that times the calls of a listener.
enum class CallClock : unsigned char
{
    COARSE,  ///< in ticks of the kernel, 1 to 10 ms: a shorter call counts as 0 or as one tick, right on average
    PRECISE, ///< in nanoseconds; reading the clock costs several times as much
    NONE     ///< calls are not timed: for processors on which reading a clock is a system call
};

/// The counts of one loop since its construction, all of one instant. See MsgDrivenThread::ledger(),
/// SharedTimer::ledger().
///
///     Ledger const lLedger = lThread.ledger();
///     std::printf("%u wait, %u refused\n", lLedger.mWaiting, lLedger.mRefusedFull);
///
/// A message here was posted or sent synchronously; for a shared timer it is a request in its queue to start, stop or
/// erase a timer. Counts are modulo 2^32. At any instant, also after the end of the thread:
/// mAccepted == mDelivered + mErased + mTakenBack + mWaiting.
struct Ledger
{
    unsigned int mAccepted = 0;        ///< messages that entered the queue
    unsigned int mDelivered = 0;       ///< messages that left it for the listener, the one under way included
    unsigned int mErased = 0;          ///< messages that left it without a call of the listener
    unsigned int mTakenBack = 0;       ///< messages that left it because the sleeping thread could not be woken
    unsigned int mWaiting = 0;         ///< messages that are in it now
    unsigned int mMostWaiting = 0;     ///< the highest mWaiting so far
    unsigned int mRefusedFull = 0;     ///< messages and interrupts for which there was no room
    unsigned int mRefusedTooLarge = 0; ///< messages and interrupts that were too long
    unsigned int mRefusedStopped = 0;  ///< those that came before the start or after the request to stop
    unsigned int mOrphaned = 0;        ///< slots left behind by synchronous messages whose record found no room
    unsigned int mInterrupts = 0;      ///< interrupts that the listener was given
    unsigned int mTimeouts = 0;        ///< time-outs that the listener was given
    unsigned int mTimeoutsLost = 0;    ///< time-outs dropped: as many as allowed were waiting, or there was no room

    unsigned int mCalls = 0;           ///< calls of the listener that have returned
    unsigned long long mCallsNs = 0;   ///< their total time in nanoseconds
    unsigned long long mLongestNs = 0; ///< the time of the longest in nanoseconds
    int mLongestId = 0;                ///< its message id, MSG_ID_TIMER for a time-out; with SharedTimer its timer id
    bool mIsInCall = false;            ///< whether a call is under way
    int mCallId = 0;                   ///< the id of that call, as mLongestId
    unsigned long long mCallNs = 0;    ///< how long it has been under way, in nanoseconds
};

} // namespace utl

#endif
