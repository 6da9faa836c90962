/// The implementation of MsgDrivenThread. Layer: internal, message-driven thread.
#ifndef UTL_MSG_DRIVEN_THREAD_IMPL_H
#define UTL_MSG_DRIVEN_THREAD_IMPL_H

#include "UtlMsgDrivenThread.h"
#include "internal/message/UtlMsgQueues.h"
#include "internal/message/UtlQuietLoop.h"
#include "internal/thread/UtlCompletion.h"

namespace utl
{

/// The loop of a message thread, with its messages and requests. The inherited mSyncObject is "the queue's lock" of the
/// documents.
class MsgDrivenThread::Impl : public internal::QuietLoop, private internal::MsgQueues::Erasure
{
public:
    using CtlRecord = internal::CtlRecord;

    /// A kind of request: one at a time, also while its caller waits.
    struct OneRequest
    {
        SyncObject mSyncObject;
        internal::Completion mCompletion;
        std::atomic<bool> mResult{false}; // written by the message thread before it gives the completion
    };

    /// Bits of mPendingRequests: what the loop serves ahead of the queue.
    enum Request : unsigned int
    {
        REQUEST_INTERRUPT = 1,
        REQUEST_ERASE = 2,
        REQUEST_FIND = 4
    };

    Impl(MsgDrivenThread& nThread, unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, unsigned int nMaxTimerCount);

    // The loop
    unsigned int execute();
    bool executeFindMsg(MsgJudgementInterface& nJudgement, ThreadRawMsg* npRawMsg);
    bool executeEraseMsg(MsgJudgementInterface& nJudgement);

    // Sending
    unsigned int msgSize() const { return mOutputRawMsg.maxSize(); }
    bool storeLocked(Msg const& nMsg) UTL_REQUIRES(mSyncObject);
    bool writeLocked(Msg const& nMsg) UTL_REQUIRES(mSyncObject);
    bool refuseStopped() UTL_NO_THREAD_SAFETY_ANALYSIS; // counts with the lock and without
    bool queueSyncLocked(Msg const& nMsg, CtlRecord const& nRecord, Wake* npWake) UTL_REQUIRES(mSyncObject);
    Send sendSync(Msg const& nMsg, unsigned int nLimitMs);
    Send storeSyncLocked(Msg const& nMsg, Event* npOver, Wake* npWake) UTL_REQUIRES(mSyncObject);
    bool ask(Request nRequest, OneRequest& nOne, Msg const* npInterrupt);
    using QuietLoop::hasEndedLocked;

    // Timers
    int addTimerLocked(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
        UTL_REQUIRES(mSyncObject);
    bool postTimerRequestLocked(CtlRecord const& nRecord, internal::TimerWaiter* npWaiter) UTL_REQUIRES(mSyncObject);
    int executeStartTimerLocked(int nTimerId) UTL_REQUIRES(mSyncObject);
    bool killTimerLocked(int nTimerId, TimerInfo& nInfo, internal::TimerWaiter* npWaiter) UTL_REQUIRES(mSyncObject);

    enum StartTimerResult
    {
        START_FAILED = 0,
        START_DONE = 1,
        START_UNKNOWN = 2,
        START_WAS_RUNNING = 3
    };

    ThreadMsgListener* mpMsgListener = nullptr; // constant once the thread runs
    internal::MsgQueues mQueues UTL_GUARDED_BY(mSyncObject);
    OneRequest mSync;
    OneRequest mInterrupt;
    OneRequest mErase;
    OneRequest mFind;
    MsgJudgementInterface* mpEraseJudgement = nullptr; // under mErase's lock, read while the request is pending
    MsgJudgementInterface* mpFindJudgement = nullptr;  // under mFind's lock, likewise
    ThreadRawMsg* mpPeekRawMsg = nullptr;              // likewise

private:
    // The loop
    bool takeLocked(CtlRecord* npWork) override UTL_REQUIRES(mSyncObject);
    CtlRecord const* headLocked() UTL_REQUIRES(mSyncObject);
    void const* listenerLocked() const override UTL_REQUIRES(mSyncObject) { return mpMsgListener; }
    int nextIdLocked() const override UTL_REQUIRES(mSyncObject);
    int dispatch(CtlRecord const& nWork) override;
    int dispatchMsg();
    int dispatchSync();
    int dispatchTimerRequest(CtlRecord const& nWork);
    bool hasRequests() const override { return mPendingRequests.load(std::memory_order_acquire) != 0; }
    void serveRequests() override;
    bool takeRequest(Request nRequest);
    void finishRequest(OneRequest& nRequest, bool nResult);
    bool receiveInterrupt();
    void takeTimeoutLocked(int nTimerId) UTL_REQUIRES(mSyncObject);
    int idInImage();
    void callListener();
    void showWork() const;
    void endLoop();

    /// What the message thread still has to delete of a timer that another thread has killed.
    struct KilledTimer
    {
        void* mSysTimerId;
        int mSysTimerNumber;
        SmartPointer<Event> mpRunningEvent;
    };

    // Erasing and timers
    void onSyncErased() override { mSync.mCompletion.give(); } // mSync.mResult stays false
    bool onTimeoutErased(int nTimerId) override;
    int executeStopTimerLocked(int nTimerId) UTL_REQUIRES(mSyncObject);
    int executeTimeout(int nTimerId);
    TimeoutResult timeoutPostHandlingLocked(int nTimerId) UTL_REQUIRES(mSyncObject);
    void eraseAllTimer();

    MsgDrivenThread& mThread;
    ThreadRawMsg mOutputRawMsg;                      // for the message thread only
    bool mHasTaken = false;                          // likewise; whether mOutputRawMsg has the work's message
    std::atomic<bool> mIsDataQueueOverflowed{false}; // an overflow was reported since the last message was taken
    std::atomic<unsigned int> mPendingRequests{0};   // bits of Request, set under mSyncObject
    Map<int, KilledTimer, int const&, KilledTimer const&, CompareLessPairKey<int, KilledTimer>>
        mTimerStopEntryMap UTL_GUARDED_BY(mSyncObject);
};

} // namespace utl

#endif
