/// The inside of a message thread. Layer: internal, message-driven thread.
#ifndef UTL_MSG_DRIVEN_THREAD_IMPL_H
#define UTL_MSG_DRIVEN_THREAD_IMPL_H

#include "UtlMsgDrivenThread.h"
#include "internal/UtlAnswer.h"
#include "internal/UtlMsgQueues.h"
#include "internal/UtlQuietLoop.h"

#include <optional>

namespace utl
{

/// Its loop, with messages and requests. mSyncObject is what the documents call the queue's lock.
class MsgDrivenThread::Impl : public internal::QuietLoop, private internal::MsgQueues::Erasure
{
public:
    using CtlRecord = internal::CtlRecord;

    /// What the loop looks for ahead of the queue, in mPendingRequests.
    enum Request : unsigned int
    {
        REQUEST_INTERRUPT = 1,
        REQUEST_ERASE = 2,
        REQUEST_FIND = 4
    };

    Impl(MsgDrivenThread& nThread, unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, unsigned int nMaxTimerCount);

    // The loop
    unsigned int execute();

    // Sending
    bool sendAsync(Msg const& nMsg);
    bool sendSync(Msg const& nMsg);
    bool sendInterrupt(Msg const& nMsg);
    bool find(MsgJudgementInterface& nJudgement, ThreadRawMsg* npRawMsg);
    bool erase(MsgJudgementInterface& nJudgement);
    bool executeFindMsg(MsgJudgementInterface& nJudgement, ThreadRawMsg* npRawMsg);
    bool executeEraseMsg(MsgJudgementInterface& nJudgement);

    // Timers
    int registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning);
    int setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning);
    int setTimerHere(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning);
    bool startTimer(int nTimerId, int nNoWait);
    bool startTimerHere(int nTimerId);
    bool killTimer(int nTimerId, int nNoWait);
    bool killTimerHere(int nTimerId);

    SyncObject mApiSyncObject;                  // one start at a time
    ThreadMsgListener* mpMsgListener = nullptr; // constant once the thread runs
    internal::MsgQueues mQueues UTL_GUARDED_BY(mSyncObject);

private:
    enum TimeoutResult
    {
        TIMEOUT_REARM_FAILED = 0,
        TIMEOUT_UNKNOWN = 1,
        TIMEOUT_GOES_ON = 2,
        TIMEOUT_ENDED = 3
    };

    enum StartTimerResult
    {
        START_FAILED = 0,
        START_DONE = 1,
        START_UNKNOWN = 2,
        START_WAS_RUNNING = 3
    };

    /// A kind of request: one at a time, also while its caller waits.
    struct OneRequest
    {
        SyncObject mSyncObject;
        internal::Answer mAnswer;
        std::atomic<bool> mResult{false}; // written by the message thread before it answers
    };

    // The loop
    bool takeLocked(CtlRecord* npWork) override UTL_REQUIRES(mSyncObject);
    bool takeMsgLocked(int nMsgId) UTL_REQUIRES(mSyncObject);
    CtlRecord const* headLocked() UTL_REQUIRES(mSyncObject);
    int dispatch(CtlRecord const& nWork) override;
    int dispatchMsg();
    int dispatchSync();
    bool hasRequests() const override { return mPendingRequests.load(std::memory_order_acquire) != 0; }
    void serveRequests() override;
    bool takeRequest(Request nRequest);
    void finishRequest(OneRequest& nRequest, bool nResult);
    bool receiveInterrupt();
    void callListener();
    void endLoop();

    // Sending
    bool postRequest(Request nRequest, OneRequest& nOne, Msg const* npInterrupt);
    bool appendRequestLocked(Request nRequest, OneRequest& nOne, Msg const* npInterrupt, Wake* npWake)
        UTL_REQUIRES(mSyncObject);
    void onSyncErased() override;
    bool onTimeoutErased(int nTimerId) override;

    // Timers
    int addTimerLocked(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
        UTL_REQUIRES(mSyncObject);
    void removeTimerLocked(internal::TimerTable::TimerMap& nMap, int nTimerId) UTL_REQUIRES(mSyncObject);
    bool postTimerRequestLocked(CtlRecord const& nRecord, std::optional<internal::TimerWaiter>& nWaiter)
        UTL_REQUIRES(mSyncObject);
    bool handOverToKillLocked(int nTimerId, std::optional<internal::TimerWaiter>& nWaiter) UTL_REQUIRES(mSyncObject);
    int dispatchTimerRequest(CtlRecord const& nWork);
    int executeStartTimerLocked(int nTimerId) UTL_REQUIRES(mSyncObject);
    int executeStopTimerLocked(int nTimerId) UTL_REQUIRES(mSyncObject);
    int executeTimeout(int nTimerId);
    TimeoutResult timeoutPostHandling(int nTimerId);
    void eraseAllTimer();

    MsgDrivenThread& mThread;
    ThreadRawMsg mOutputRawMsg; // the message thread's
    bool mHasTaken = false;     // likewise: the work's message is in mOutputRawMsg
    internal::TimerTable::TimerMap mTimerStopEntryMap UTL_GUARDED_BY(mSyncObject); // those that others have killed
    std::atomic<unsigned int> mPendingRequests{0};                                // bits of Request
    ThreadRawMsg* mpPeekRawMsg = nullptr;              // under mFind's lock, read while the request is pending
    MsgJudgementInterface* mpFindJudgement = nullptr;  // likewise
    MsgJudgementInterface* mpEraseJudgement = nullptr; // under mErase's lock, likewise
    OneRequest mSync;
    OneRequest mInterrupt;
    OneRequest mErase;
    OneRequest mFind;
};

} // namespace utl

#endif
