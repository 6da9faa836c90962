/// What a message thread or a shared timer has done, and what it does. Layer: message-driven thread.
#ifndef UTL_LEDGER_H
#define UTL_LEDGER_H

namespace utl
{

/// By which clock the calls of a listener are timed.
enum class CallClock : unsigned char
{
    COARSE,  ///< one tick of the kernel, 1 to 10 ms: shorter calls count as 0 or as a tick, and right on average
    PRECISE, ///< nanoseconds; a reading costs several times as much
    NONE     ///< not at all: for a processor on which the reading of a clock is a system call
};

/// The books of one loop since it was made, at one instant. See MsgDrivenThread::ledger(), SharedTimer::ledger().
///
///     Ledger const lLedger = lThread.ledger();
///     std::printf("%u wait, %u refused\n", lLedger.mWaiting, lLedger.mRefusedFull);
///
/// A message here was posted or sent synchronously; for a shared timer it is a request in its queue to start, stop or
/// erase a timer. Counts are modulo 2^32. At any instant, also after the end of the thread:
/// mAccepted == mDelivered + mErased + mTakenBack + mWaiting.
struct Ledger
{
    unsigned int mAccepted = 0;        ///< messages that came into the queue
    unsigned int mDelivered = 0;       ///< left it for the listener, the one under way included
    unsigned int mErased = 0;          ///< left it without a call of the listener
    unsigned int mTakenBack = 0;       ///< left it because the sleeping thread could not be woken
    unsigned int mWaiting = 0;         ///< that are in it now
    unsigned int mMostWaiting = 0;     ///< the most that ever were
    unsigned int mRefusedFull = 0;     ///< messages, and interrupts, that found no room
    unsigned int mRefusedTooLarge = 0; ///< were too long
    unsigned int mRefusedStopped = 0;  ///< came before the start or after the request to stop
    unsigned int mOrphaned = 0;        ///< slots that synchronous messages without room for their record left behind
    unsigned int mInterrupts = 0;      ///< interrupts that the listener was given
    unsigned int mTimeouts = 0;        ///< time-outs that the listener was given
    unsigned int mTimeoutsLost = 0;    ///< beats that came while as many waited as may, or that found no room

    unsigned int mCalls = 0;           ///< calls of the listener that have returned
    unsigned long long mCallsNs = 0;   ///< how long they took together, in nanoseconds
    unsigned long long mLongestNs = 0; ///< how long the longest took
    int mLongestId = 0;                ///< its message's id, MSG_ID_TIMER for a time-out; of a shared timer the timer's
    bool mIsInCall = false;            ///< a call is under way
    int mCallId = 0;                   ///< its message's id, likewise
    unsigned long long mCallNs = 0;    ///< for how long it has been under way
};

} // namespace utl

#endif
