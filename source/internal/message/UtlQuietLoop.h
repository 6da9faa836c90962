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
/// The queue is the only truth. A loop that finds nothing to do puts up a note that it sleeps, under the lock of the
/// queue, and waits. The sender that finds the note takes it down and writes to the pipe, without the lock. All others
/// append and leave. The note is up from construction on, since the loop's first act is to wait.
///
/// The note carries a generation, which the loop raises whenever it wakes: a sender whose write fails learns by it
/// whether its record was seen all the same.
///
/// Timers' signals are let in while the loop waits and, when one is due, between two dispatches. Nowhere else.
///
/// Locks: mSyncObject guards the queue, the note, the timers and what derived classes say; nothing but kernel timer
///        calls and the write for a timer's request is done under it that could take long.
class QuietLoop : public LoopList::Loop
{
public:
    /// In what the loops of the two classes differ.
    struct Kind
    {
        bool mStopsFirst;         ///< when all are stopped
        int mTimeoutId;           ///< a time-out waits for its dispatch
        unsigned int mControlIds; ///< of records that are no messages, as CtlQueue takes them
        char const* mpFile;       ///< of the reports to the watchdog, function "execute"
        unsigned int mLineBeforeWait;
        unsigned int mLineAfterWait;
        unsigned int mLineAfterDispatch;
        char const* mpOverflow;        ///< (name, capacity, id); null: not told
        char const* mpWriteFailed;     ///< (name, result, errno)
        char const* mpReadInterrupted; ///< the same
        char const* mpReadFailed;      ///< the same
        char const* mpDispatchFailed;  ///< (name, id)
        char const* mpCallUnderWay;    ///< (id, listener, milliseconds, how many wait, the next one's id)
        TimerTable::Kind mTimers;
    };

    /// nThread: whose loop it is; must outlive us, and so must its name.
    QuietLoop(Thread& nThread, Kind const& nKind, unsigned int nMaxRecords, unsigned int nMaxTimers);
    ~QuietLoop() override = default;
    QuietLoop(QuietLoop const&) = delete;
    QuietLoop& operator=(QuietLoop const&) = delete;

    /// On the thread: works until the end. Result: true after a stop, false if the pipe cannot be read.
    bool run();

    /// What a sender has to do after letting go of the lock.
    struct Wake
    {
        bool mIsMine = false; ///< the sender has taken the note down, and wakes the loop
        unsigned int mGeneration = 0;
        unsigned int mNumber = 0; ///< that of the record
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

    /// Wakes the loop if that is the sender's to do. If it cannot be woken, and the record is still the newest, that is
    /// taken back, and nTakeBack takes back under the lock what belongs to it.
    /// Result: false if it was taken back.
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

    /// Both for a record to which nothing else belongs. With the lock held, or without.
    bool post(CtlRecord const& nRecord);

    /// Wakes a loop that is to look at the stop request, whether a record finds room or not, and whether it can be
    /// written or not.
    void postStop(int nMsgId);

    /// For who destroys the loop: until nobody looks at it, or is about to write, any more.
    void waitForOthers();

    /// Arms a timer that rests. Result: false if the kernel refuses.
    bool startTimerLocked(int nTimerId, TimerInfo& nInfo) UTL_REQUIRES(mSyncObject);

    /// Deletes a timer's kernel timer and its time-outs that wait. Result: false if the kernel refuses.
    bool stopTimerLocked(int nTimerId, TimerInfo& nInfo) UTL_REQUIRES(mSyncObject);

    /// A time-out has been handled: counts it, and ends the timer, arms it anew or lets it run.
    enum TimeoutResult
    {
        TIMEOUT_REARM_FAILED,
        TIMEOUT_GOES_ON,
        TIMEOUT_ENDED // it rests
    };
    TimeoutResult finishTimeoutLocked(int nTimerId, TimerInfo& nInfo) UTL_REQUIRES(mSyncObject);

    /// Lists one who waits for the newest of the requests with these ids that are queued for a timer.
    void enlistLocked(TimerWaiter& nWaiter, int nTimerId, std::initializer_list<int> nMsgIds) UTL_REQUIRES(mSyncObject);
    unsigned int countRequestsLocked(int nTimerId, std::initializer_list<int> nMsgIds) const UTL_REQUIRES(mSyncObject);
    void eraseTimeoutsLocked(int nTimerId) UTL_REQUIRES(mSyncObject);

    /// The books, at one instant under the lock.
    Ledger ledger() const override;
    void setCallClock(CallClock nClock) { mCallClock.store(nClock, std::memory_order_relaxed); }

    mutable SyncObject mSyncObject; // the innermost
    LoopCounts mCounts UTL_GUARDED_BY(mSyncObject);
    CtlQueue mCtlQueue UTL_GUARDED_BY(mSyncObject);
    TimerTable mTimers UTL_GUARDED_BY(mSyncObject);
    TimerWaiters mWaiters UTL_GUARDED_BY(mSyncObject);
    WakePipe mPipe;

protected:
    /// Takes the next piece of work. Result: false if nothing can be dispatched now.
    virtual bool takeLocked(CtlRecord* npWork) UTL_REQUIRES(mSyncObject) = 0;

    /// Works on it. Result: 0, or -1 for a failure, which the log is told.
    virtual int dispatch(CtlRecord const& nWork) = 0;

    /// Of the call under way.
    virtual void const* listenerLocked() const UTL_REQUIRES(mSyncObject) = 0;

    /// The id of the first message that waits, MSG_ID_NONE for none.
    virtual int nextIdLocked() const UTL_REQUIRES(mSyncObject) = 0;

    /// What goes ahead of the queue: whether there is something, and its service.
    virtual bool hasRequests() const { return false; }
    virtual void serveRequests() {}

    /// Nobody wakes the loop from here on, and it serves nothing any more.
    void endLocked() UTL_REQUIRES(mSyncObject) { mHasEnded = true, mIsAsleep = false; }
    bool hasEndedLocked() const UTL_REQUIRES(mSyncObject) { return mHasEnded; }

    /// For the ledger: the time is taken between two calls of the listener, and before other work of the application.
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
    // What the lock does not guard of the timers is the loop's own.
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
    std::atomic<unsigned int> mWriters{0}; // those who have taken the note down and not yet written
    std::atomic<bool> mIsHungUp{false};    // nothing can be read any more
    std::atomic<CallClock> mCallClock{CallClock::COARSE};
    unsigned int mWatchdogTableVersion = 0; // the loop's, with the next
    bool mIsUnderWatchdog = false;
    LoopView mView;
};

} // namespace utl::internal

#endif
