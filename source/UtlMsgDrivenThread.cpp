// MsgDrivenThread: construction, start and stop, and the loop.
#include "UtlMsgDrivenThread.h"

#include "UtlApplog.h"
#include "UtlThreadManager.h"
#include "internal/message/UtlMsgDrivenThreadImpl.h"

#include <cerrno>
#include <climits>
#include <cstring>

namespace utl
{

using internal::ThreadSlot;

namespace
{

unsigned int const CTL_RESERVE = 256; // records for timers, requests and the stop, even if the data queue is full

internal::TimerSignal gTimerSignal(2);

internal::QuietLoop::Kind const KIND = {
    false,
    MSG_ID_TIMEOUT,
    internal::CtlQueue::bitsOf(
        {MSG_ID_OUT_OF_BAND, MSG_ID_START_TIMER, MSG_ID_STOP_TIMER, MSG_ID_TIMEOUT, MSG_ID_STOP_THREAD}),
    "source/UtlMsgDrivenThread",
    __LINE__,
    __LINE__,
    __LINE__,
    "MsgDrivenThread(%s) Overflow ThreadCtlMsgQueue  MaxCount:%d MsgId:0x%08x",
    "MsgDrivenThread(%s)::postThreadCtlMsg() Error. write Ret:%u errno:%d",
    "MsgDrivenThread(%s) Error. read Ret:%u errno:%d=EINTR Retry read",
    "MsgDrivenThread(%s) Error. read Ret:%u errno:%d !!Break msg loop!!",
    "!!!!!!!! MsgDrivenThread(%s) Error. MsgId:0x%08x !!!!!!!!",
    "MsgId:0x%08x Listener:%p Time:%llums  Waiting:%u NextId:0x%08x",
    {gTimerSignal, false, "MsgDrivenThread sigaction  errno:%d", nullptr,
     "MsgDrivenThread(%s) timer_create SysTimerId:0x%08x errno:%d\n",
     "MsgDrivenThread(%s) timer_settime SysTimerId:0x%08x errno:%d\n",
     "MsgDrivenThread(%s) timer_delete SysTimerNum:0x%08x errno:%d", true, nullptr, 0, 0, 0, 0},
};

unsigned int saturatedSum(unsigned int nSize, unsigned int nMore)
{
    return nSize < UINT_MAX - nMore ? nSize + nMore : UINT_MAX;
}

} // namespace

MsgDrivenThread::Impl::Impl(MsgDrivenThread& nThread, unsigned int nMaxMsgSize, unsigned int nMaxMsgCount,
                            unsigned int nMaxTimerCount)
    : QuietLoop(nThread, KIND, saturatedSum(nMaxMsgCount, CTL_RESERVE), nMaxTimerCount),
      mQueues(mCtlQueue, saturatedSum(nMaxMsgSize, sizeof(int)), nMaxMsgCount, name()),
      mThread(nThread),
      mOutputRawMsg(saturatedSum(nMaxMsgSize, sizeof(int))),
      mTimerStopEntryMap(nMaxTimerCount)
{
    if (!mPipe.open())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) pipe errno:%d", name(), errno);
    }
    mTimers.installHandler();
}

MsgDrivenThread::MsgDrivenThread(unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, char const* npName,
                                 unsigned int nMaxTimerCount)
    : Thread(npName, nullptr),
      mpImpl(new Impl(*this, nMaxMsgSize, nMaxMsgCount, nMaxTimerCount))
{
}

MsgDrivenThread::~MsgDrivenThread()
{
    stop(1, 0);
    awaitEnd();
    mpImpl->waitForOthers();
}

int MsgDrivenThread::start(ThreadMsgListener* npListener, int nUseWatchdog, unsigned int nAliveTimeMs,
                           WatchdogTimerListener* npWatchdogListener, int nWaitStart, unsigned int nWaitStartMs,
                           ThreadPriority const& nPriority, unsigned int nReserved)
{
    if (isOwnThread())
    {
        return -1;
    }
    {
        SyncGuard lGuard(mpImpl->mSyncObject);
        if (npListener == nullptr || mpImpl->mpMsgListener != nullptr)
        {
            return -1;
        }
        mpImpl->mpMsgListener = npListener;
    }
    try
    {
        int const lResult = Thread::start(nUseWatchdog, nAliveTimeMs, npWatchdogListener, nWaitStart, nWaitStartMs,
                                          nPriority, nReserved);
        lResult != -1 ? internal::LoopList::enter(*mpImpl) : void();
        return lResult;
    }
    catch (...)
    {
        mpImpl->mpMsgListener = nullptr; // no thread was made: it may be tried again
        throw;
    }
}

Start MsgDrivenThread::tryStart(ThreadMsgListener* npListener, ThreadOptions const& nOptions)
{
    if (isOwnThread() || npListener == nullptr)
    {
        return Start::REFUSED;
    }
    {
        SyncGuard lGuard(mpImpl->mSyncObject);
        if (mpImpl->mpMsgListener != nullptr)
        {
            return Start::STARTED_ONCE;
        }
        if (mpImpl->mPipe.readFd() == -1)
        {
            return Start::NO_PIPE;
        }
        mpImpl->mpMsgListener = npListener;
    }
    Start const lStart = Thread::tryStart(nOptions);
    if (lStart == Start::NO_MEMORY)
    {
        mpImpl->mpMsgListener = nullptr; // no thread was made: it may be tried again
    }
    lStart == Start::DONE ? internal::LoopList::enter(*mpImpl) : void(); // preExecute() may take long
    return lStart;
}

int MsgDrivenThread::stop(int nWait, unsigned int nTimeoutMs)
{
    return isOwnThread() ? -1 : Thread::stop(nWait, nTimeoutMs);
}

void MsgDrivenThread::requestStop()
{
    mpImpl->postStop(MSG_ID_STOP_THREAD);
}

void MsgDrivenThread::setApart()
{
    mpImpl->setApart();
}

Ledger MsgDrivenThread::ledger() const
{
    return mpImpl->ledger();
}

void MsgDrivenThread::setCallClock(CallClock nClock)
{
    mpImpl->setCallClock(nClock);
}

bool MsgDrivenThread::isOwnThread() const
{
    return getId() == ThreadManager::getCallerId();
}

unsigned int MsgDrivenThread::execute()
{
    return mpImpl->execute();
}

// ---------------------------------------------------------------------------------------------- the loop

unsigned int MsgDrivenThread::Impl::execute()
{
    bool const lHasStopped = run();
    endLoop();
    return lHasStopped ? 0 : ~0U;
}

/// The record to work on. Requests that were served or withdrawn, and messages that were given up, are dropped here
/// and not returned.
MsgDrivenThread::Impl::CtlRecord const* MsgDrivenThread::Impl::headLocked()
{
    CtlRecord const* lpHead = mCtlQueue.head();
    while (lpHead != nullptr &&
           ((lpHead->mMsgId == MSG_ID_OUT_OF_BAND && !hasRequests()) || mQueues.isGivenUp(*lpHead)))
    {
        lpHead->mMsgId == MSG_ID_OUT_OF_BAND ? mCtlQueue.pop() : mQueues.dropGivenUp();
        lpHead = mCtlQueue.head();
    }
    return lpHead != nullptr && lpHead->mMsgId != MSG_ID_OUT_OF_BAND ? lpHead : nullptr;
}

/// A head without a slot is tried once, with a line in the log, and again when a record of its id is appended. A
/// timer's request stays in the queue until it has been served, as those who wait for others count on.
bool MsgDrivenThread::Impl::takeLocked(CtlRecord* npWork)
{
    CtlRecord const* const lpHead = headLocked();
    internal::CtlClass const lClass = lpHead != nullptr ? internal::classOf(lpHead->mMsgId) : internal::CtlClass::NEVER;
    if (lClass == internal::CtlClass::NEVER)
    {
        return false;
    }
    *npWork = *lpHead;
    int const lMsgId = npWork->mMsgId;
    if (lClass == internal::CtlClass::MSG || lMsgId == MSG_ID_SYNC)
    {
        mHasTaken = lMsgId == MSG_ID_SYNC ? mQueues.takeSync(mOutputRawMsg) : mQueues.takePosted(lMsgId, mOutputRawMsg);
        mHasTaken ? mCallTimes.begin(lMsgId != MSG_ID_SYNC ? lMsgId : idInImage()) : mCtlQueue.holdHead();
    }
    else if (lMsgId == MSG_ID_TIMEOUT)
    {
        mCtlQueue.pop();
        takeTimeoutLocked(npWork->mParam);
    }
    else if (lMsgId == MSG_ID_STOP_THREAD)
    {
        mCtlQueue.pop();
    }
    return true;
}

void MsgDrivenThread::Impl::takeTimeoutLocked(int nTimerId)
{
    TimerMsg lMsg;
    lMsg.mTimerId = nTimerId;
    mHasTaken = lMsg.storeTo(&mOutputRawMsg);
    if (mHasTaken)
    {
        ++mCounts.mTimeouts;
        mCallTimes.begin(MSG_ID_TIMER);
    }
}

/// Messages wait in the order of their slots, unless one of these is an orphan.
int MsgDrivenThread::Impl::nextIdLocked() const
{
    int lMsgId = MSG_ID_NONE;
    if (mQueues.slots().size() != 0)
    {
        std::memcpy(&lMsgId, mQueues.slots().at(0), sizeof(lMsgId));
    }
    return lMsgId;
}

int MsgDrivenThread::Impl::idInImage()
{
    int lMsgId = MSG_ID_NONE;
    mOutputRawMsg.getMsgId(&lMsgId);
    return lMsgId;
}

int MsgDrivenThread::Impl::dispatch(CtlRecord const& nWork)
{
    switch (nWork.mMsgId)
    {
    case MSG_ID_SYNC:
        return dispatchSync();
    case MSG_ID_START_TIMER:
    case MSG_ID_STOP_TIMER:
        return dispatchTimerRequest(nWork);
    case MSG_ID_TIMEOUT:
        return executeTimeout(nWork.mParam);
    case MSG_ID_STOP_THREAD: // the loop looks at the stop request after every dispatch
        return 0;
    default:
        return dispatchMsg();
    }
}

int MsgDrivenThread::Impl::dispatchMsg()
{
    if (mHasTaken)
    {
        callListener();
    }
    if (mIsDataQueueOverflowed.load(std::memory_order_relaxed)) // rarely; a store would cost each message
    {
        mIsDataQueueOverflowed = false; // the next overflow is an error again
    }
    return mHasTaken ? 0 : -1;
}

int MsgDrivenThread::Impl::dispatchSync()
{
    int const lResult = dispatchMsg();
    mSync.mResult = lResult == 0;
    mSync.mCompletion.give();
    return lResult;
}

/// For the dump: shows the message in mOutputRawMsg.
void MsgDrivenThread::Impl::showWork() const UTL_NO_THREAD_SAFETY_ANALYSIS // only the loop changes the times
{
    int lId = MSG_ID_NONE; // each image begins with its id; in that of a time-out the timer's id follows
    std::memcpy(&lId, mOutputRawMsg.buffer(), sizeof(lId));
    bool const lIsTimeout = lId == MSG_ID_TIMER;
    if (lIsTimeout && mOutputRawMsg.maxSize() >= 2 * sizeof(lId))
    {
        std::memcpy(&lId, mOutputRawMsg.buffer() + sizeof(lId), sizeof(lId));
    }
    internal::showWork(lIsTimeout ? ThreadSlot::WORK_TIMEOUT : ThreadSlot::WORK_MSG, lId, mCallTimes.since());
}

void MsgDrivenThread::Impl::callListener()
{
    if (mpMsgListener != nullptr) // null after Thread::start()
    {
        showWork();
        mpMsgListener->receiveMsg(mThread.getId(), mOutputRawMsg);
    }
}

/// Serves interrupt, erase and find, in this order, ahead of the queue.
void MsgDrivenThread::Impl::serveRequests()
{
    if (takeRequest(REQUEST_INTERRUPT))
    {
        finishRequest(mInterrupt, receiveInterrupt());
    }
    if (takeRequest(REQUEST_ERASE))
    {
        finishRequest(mErase, executeEraseMsg(*mpEraseJudgement));
    }
    if (takeRequest(REQUEST_FIND))
    {
        finishRequest(mFind, executeFindMsg(*mpFindJudgement, mpPeekRawMsg));
    }
}

/// Result: whether the request was pending. From here on it cannot be withdrawn.
bool MsgDrivenThread::Impl::takeRequest(Request nRequest)
{
    return (mPendingRequests.fetch_and(~static_cast<unsigned int>(nRequest)) & nRequest) != 0;
}

void MsgDrivenThread::Impl::finishRequest(OneRequest& nRequest, bool nResult)
{
    nRequest.mResult = nResult;
    {
        SyncGuard lGuard(mSyncObject);
        mCtlQueue.eraseFirst(MSG_ID_OUT_OF_BAND);
        mCallTimes.tick(callClockNs());
    }
    nRequest.mCompletion.give();
}

/// Gives the interrupt to the listener. Result: false if it was dropped.
bool MsgDrivenThread::Impl::receiveInterrupt()
{
    {
        SyncGuard lGuard(mSyncObject);
        if (!mQueues.takeInterrupt(mOutputRawMsg))
        {
            return false;
        }
        ++mCounts.mInterrupts;
        mCallTimes.begin(idInImage());
    }
    callListener();
    return true;
}

/// Ends the loop and releases all who wait for it.
void MsgDrivenThread::Impl::endLoop()
{
    {
        SyncGuard lGuard(mSyncObject);
        endLocked(); // refuses new requests
    }
    eraseAllTimer();
    mPendingRequests = 0;
    for (OneRequest* const lpRequest : {&mInterrupt, &mSync, &mErase, &mFind})
    {
        lpRequest->mCompletion.give();
    }
    SyncGuard lGuard(mSyncObject);
    mWaiters.releaseAll();
}

} // namespace utl
