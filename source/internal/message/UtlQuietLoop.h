/// The loop of message threads and shared timers. Layer: internal, message-driven thread.
#ifndef UTL_QUIET_LOOP_H
#define UTL_QUIET_LOOP_H

#include "UtlLedger.h"
#include "UtlSyncObject.h"
#include "UtlThread.h"
#include "internal/base/UtlThreadSlots.h"
#include "internal/message/UtlCallTimes.h"
#include "internal/message/UtlCtlQueue.h"
#include "internal/message/UtlLoopList.h"
#include "internal/message/UtlTimerTable.h"
#include "internal/message/UtlTimerWaiters.h"
#include "internal/message/UtlWakePipe.h"

#include <atomic>
#include <initializer_list>

namespace utl
{
class MsgDrivenThreadTestPeer;
}

namespace utl::internal
{

/// Works through a queue of control records on one thread, and wakes that thread only when it sleeps.
///
/// The pipe only wakes the loop; what there is to do is in the queue. A loop that finds nothing to do puts up a note
/// that it sleeps, under the lock of the queue, and waits. The sender that finds the note takes it down and writes to
/// the pipe, without the lock. All others append and leave. The note is up from construction on, since the loop begins
/// by waiting.
///
/// With the note goes a generation, which the loop raises whenever it wakes. It tells a sender whose write failed
/// whether the loop has seen its record all the same.
///
/// The timers' signals are let in while the loop waits and, if one is due, between two dispatches. Nowhere else.
///
/// Locks: mSyncObject guards the queue, the note, the timers and what derived classes say. Of the calls that could take
///        long, only those for kernel timers and the write for a timer's request are made under it.
class QuietLoop : public LoopList::Loop
{
public:
    /// What differs between message threads and shared timers. The log texts are formats; their arguments are given.
    struct Kind
    {
        bool mStopsFirst;         ///< see LoopList::Loop
        int mTimeoutId;           ///< the id of a record for a time-out that waits for its dispatch
        unsigned int mControlIds; ///< as for CtlQueue
        char const* mpFile;       ///< the file in reports to the watchdog; the function is "execute"
        unsigned int mLineBeforeWait;
        unsigned int mLineAfterWait;
        unsigned int mLineAfterDispatch;
        char const* mpOverflow;        ///< (name, capacity, id); null: not logged
        char const* mpWriteFailed;     ///< (name, result, errno)
        char const* mpReadInterrupted; ///< the same
        char const* mpReadFailed;      ///< the same
        char const* mpDispatchFailed;  ///< (name, id)
        char const* mpCallUnderWay;    ///< (id, listener, milliseconds, how many wait, id of the next)
        TimerTable::Kind mTimers;
    };

    /// nThread: the thread that runs the loop; must outlive us, and so must its name.
    QuietLoop(Thread& nThread, Kind const& nKind, unsigned int nMaxRecords, unsigned int nMaxTimers);
    ~QuietLoop() override = default;
    QuietLoop(QuietLoop const&) = delete;
    QuietLoop& operator=(QuietLoop const&) = delete;

    /// The loop: works on the thread until the end. Result: true after a stop, false if the pipe cannot be read.
    bool run();

    /// What a sender must know to wake the loop after it has released the lock.
    struct Wake
    {
        bool mIsMine = false; ///< this sender took the note down, so it must wake the loop
        unsigned int mGeneration = 0;
        unsigned int mNumber = 0; ///< the number of its record
    };

    /// Appends a record. Result: false for a full queue.
    bool appendLocked(CtlRecord const& nRecord, Wake* npWake) UTL_REQUIRES(mSyncObject)
    {
        if (!mCtlQueue.append(nRecord))
        {
            return refuse(nRecord);
        }
        npWake->mIsMine = mIsAsleep && takeNoteLocked();
        npWake->mGeneration = mGeneration;
        npWake->mNumber = mCtlQueue.lastNumber();
        return true;
    }

    /// Wakes the loop if this sender must. If that fails and the record is still the newest, the record is taken back,
    /// and nTakeBack, called under the lock, takes back what belongs to it.
    /// Result: false if the record was taken back.
    template <class TakeBack>
    bool wake(CtlRecord const& nRecord, Wake const& nWake, TakeBack nTakeBack)
    {
        if (!nWake.mIsMine || write(nRecord))
        {
            return true;
        }
        bool lIsTakenBack = false;
        {
            SyncGuard lGuard(mSyncObject);
            lIsTakenBack = takeBackLocked(nWake);
            if (lIsTakenBack)
            {
                nTakeBack();
            }
        }
        if (!lIsTakenBack)
        {
            wakeForOthers(nRecord, nWake);
        }
        stopWriting();
        return !lIsTakenBack;
    }

    /// appendLocked() and wake() for a record to which nothing else belongs. With the lock held, or without.
    bool post(CtlRecord const& nRecord);

    /// Makes the loop look at the stop request, even if there is no room for a record or the pipe fails.
    void postStop(int nMsgId);

    /// Call this before destroying the loop: waits until nobody looks at it or is about to write to its pipe.
    void waitForOthers();

    /// Arms a timer that does not run. Result: false if the kernel refuses.
    bool startTimerLocked(int nTimerId, TimerInfo& nInfo) UTL_REQUIRES(mSyncObject);

    /// Deletes a timer's kernel timer and its waiting time-outs. Result: false if the kernel refuses.
    bool stopTimerLocked(int nTimerId, TimerInfo& nInfo) UTL_REQUIRES(mSyncObject);

    /// For a time-out that was handled: counts it, and then ends the timer, arms it again or lets it run.
    enum TimeoutResult
    {
        TIMEOUT_REARM_FAILED,
        TIMEOUT_GOES_ON,
        TIMEOUT_ENDED // the timer does not run any more
    };
    TimeoutResult finishTimeoutLocked(int nTimerId, TimerInfo& nInfo) UTL_REQUIRES(mSyncObject);

    /// Lists a waiter for the newest queued request that has one of these ids and is for this timer.
    void enlistLocked(TimerWaiter& nWaiter, int nTimerId, std::initializer_list<int> nMsgIds) UTL_REQUIRES(mSyncObject);
    unsigned int countRequestsLocked(int nTimerId, std::initializer_list<int> nMsgIds) const UTL_REQUIRES(mSyncObject);
    void eraseTimeoutsLocked(int nTimerId) UTL_REQUIRES(mSyncObject);

    /// The counts at one instant, read under the lock.
    Ledger ledger() const override;
    void setCallClock(CallClock nClock) { mCallClock.store(nClock, std::memory_order_relaxed); }

    mutable SyncObject mSyncObject; // the innermost lock
    LoopCounts mCounts UTL_GUARDED_BY(mSyncObject);
    CtlQueue mCtlQueue UTL_GUARDED_BY(mSyncObject);
    TimerTable mTimers UTL_GUARDED_BY(mSyncObject);
    TimerWaiters mWaiters UTL_GUARDED_BY(mSyncObject);
    WakePipe mPipe;

protected:
    /// Takes the next piece of work. Result: false if nothing can be dispatched now.
    virtual bool takeLocked(CtlRecord* npWork) UTL_REQUIRES(mSyncObject) = 0;

    /// Carries out the work. Result: 0, or -1 for a failure, which the loop logs.
    virtual int dispatch(CtlRecord const& nWork) = 0;

    /// The listener of the call under way.
    virtual void const* listenerLocked() const UTL_REQUIRES(mSyncObject) = 0;

    /// The id of the first message that waits, MSG_ID_NONE for none.
    virtual int nextIdLocked() const UTL_REQUIRES(mSyncObject) = 0;

    /// Work ahead of the queue: whether there is any, and doing it.
    virtual bool hasRequests() const { return false; }
    virtual void serveRequests() {}

    /// From now on nobody wakes the loop, and it serves nothing any more.
    void endLocked() UTL_REQUIRES(mSyncObject) { mHasEnded = true, mIsAsleep = false; }
    bool hasEndedLocked() const UTL_REQUIRES(mSyncObject) { return mHasEnded; }

    /// The clock for the ledger, read between two calls of the listener and before other work of the application.
    long long callClockNs() const;
    CallTimes mCallTimes UTL_GUARDED_BY(mSyncObject);

    char const* name() const { return mThread.getName().c_str(); }

private:
    friend class utl::MsgDrivenThreadTestPeer;

    enum Turn
    {
        TURN_GO_ON,
        TURN_SLEEP, // the note is up
        TURN_END
    };

    Thread& thread() override { return mThread; }
    void describe(char* npText, unsigned int nSize) const override;
    void describeLocked(char* npText, unsigned int nSize) const UTL_REQUIRES(mSyncObject);
    Turn turn();
    Turn withoutWorkLocked() UTL_REQUIRES(mSyncObject);
    bool wait();
    int sleep(unsigned int* npRead);
    void letSignalsIn();
    void takeNotesLocked() UTL_REQUIRES(mSyncObject);
    bool hasComeUnderWatchdog();
    void report(unsigned int nLine);
    // The parts of mTimers that the lock does not guard are for the loop only.
    long long nextDueNs() const UTL_NO_THREAD_SAFETY_ANALYSIS { return mTimers.nextDueNs(); }
    ExpiryNotes& notes() UTL_NO_THREAD_SAFETY_ANALYSIS { return mTimers.notes(); }

    bool refuse(CtlRecord const& nRecord) UTL_REQUIRES(mSyncObject);
    bool write(CtlRecord const& nRecord);
    void stopWriting();
    bool takeNoteLocked() UTL_REQUIRES(mSyncObject);
    bool takeBackLocked(Wake const& nWake) UTL_REQUIRES(mSyncObject);
    void putNoteBackLocked() UTL_REQUIRES(mSyncObject);
    void wakeForOthers(CtlRecord const& nRecord, Wake const& nWake);

    Thread& mThread;
    Kind const& mKind;
    bool mIsAsleep UTL_GUARDED_BY(mSyncObject) = true; // the note
    unsigned int mGeneration UTL_GUARDED_BY(mSyncObject) = 0;
    bool mHasEnded UTL_GUARDED_BY(mSyncObject) = false;
    std::atomic<unsigned int> mWriters{0}; // senders that have taken the note down and not yet written
    std::atomic<bool> mIsHungUp{false};    // the pipe was hung up: nothing can be read any more
    std::atomic<CallClock> mCallClock{CallClock::COARSE};
    unsigned int mWatchdogTableVersion = 0; // for the loop only
    bool mIsUnderWatchdog = false;          // likewise
    LoopView mView;
};

} // namespace utl::internal

#endif
