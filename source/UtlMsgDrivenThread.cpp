// Construction, life and loop of a message thread.
#include "UtlMsgDrivenThread.h"

#include "UtlApplog.h"
#include "UtlThreadManager.h"
#include "internal/UtlRecordPipe.h"
#include "internal/UtlWatchdogPort.h"

#include <cerrno>
#include <climits>

namespace utl
{

namespace
{

char const FILE_NAME[] = "source/UtlMsgDrivenThread";
unsigned int const CTL_RESERVE = 256; // records for timers, requests and the stop beside a full data queue

unsigned int saturated(unsigned long long nSize)
{
    return nSize < UINT_MAX ? static_cast<unsigned int>(nSize) : UINT_MAX;
}

unsigned int slotSizeFor(unsigned int nMaxMsgSize)
{
    return saturated(sizeof(int) + static_cast<unsigned long long>(nMaxMsgSize));
}

/// A record that stands for a posted message, as the dispatch sees it.
bool isPostedMsg(int nMsgId)
{
    unsigned int const lMsgId = static_cast<unsigned int>(nMsgId);
    return lMsgId < static_cast<unsigned int>(MSG_ID_OUT_OF_BAND) ||
           lMsgId > static_cast<unsigned int>(MSG_ID_STOP_THREAD);
}

} // namespace

MsgDrivenThread::MsgDrivenThread(unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, char const* npName,
                                 unsigned int nMaxTimerCount)
    : Thread(npName, nullptr),
      mMaxMsgCount(nMaxMsgCount),
      mCtlQueue(saturated(static_cast<unsigned long long>(nMaxMsgCount) + CTL_RESERVE)),
      mDataQueue(saturated(static_cast<unsigned long long>(slotSizeFor(nMaxMsgSize)) * nMaxMsgCount)),
      mInterruptQueue(slotSizeFor(nMaxMsgSize)),
      mInputRawMsg(slotSizeFor(nMaxMsgSize)),
      mOutputRawMsg(slotSizeFor(nMaxMsgSize)),
      mFindRawMsg(slotSizeFor(nMaxMsgSize)),
      mInterruptEvent(0, 1),
      mSyncEvent(0, 1),
      mEraseEvent(0, 1),
      mFindEvent(0, 1),
      mTimerEvent(0, 1),
      mTimerMap(nMaxTimerCount),
      mTimerStopEntryMap(nMaxTimerCount),
      mpPipe(new internal::RecordPipe)
{
    if (!mpPipe->open())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) pipe errno:%d", getName().c_str(), errno);
    }
    installSignalHandler();
}

MsgDrivenThread::~MsgDrivenThread()
{
    stop(1, 0);
    mpPipe->close();
}

int MsgDrivenThread::start(ThreadMsgListener* npListener, int nUseWatchdog, unsigned int nAliveTimeMs,
                           WatchdogTimerListener* npWatchdogListener, int nWaitStart, unsigned int nWaitStartMs,
                           ThreadPriority const& nPriority, unsigned int nReserved)
{
    if (isOwnThread())
    {
        return -1;
    }
    SyncGuard lGuard(mApiSyncObject);
    if (npListener == nullptr || mpMsgListener != nullptr)
    {
        return -1;
    }
    mpMsgListener = npListener;
    return Thread::start(nUseWatchdog, nAliveTimeMs, npWatchdogListener, nWaitStart, nWaitStartMs, nPriority,
                         nReserved);
}

int MsgDrivenThread::stop(int nWait, unsigned int nTimeoutMs)
{
    if (isOwnThread())
    {
        return -1;
    }
    SyncGuard lGuard(mApiSyncObject);
    return Thread::stop(nWait, nTimeoutMs);
}

void MsgDrivenThread::requestStop()
{
    postThreadCtlMsg(MSG_ID_STOP_THREAD, -1);
}

bool MsgDrivenThread::isOwnThread() const
{
    return getId() == ThreadManager::getCallerId();
}

// ---------------------------------------------------------------------------------------------- the loop

unsigned int MsgDrivenThread::execute()
{
    ThreadManager& lManager = *ThreadManager::get();
    ThreadCtlMsg lRecord;
    bool lIsReadable = true;
    do
    {
        lIsReadable = waitForRecord(lManager, &lRecord);
    } while (lIsReadable && executeTurn(lManager, lRecord));
    endLoop();
    return lIsReadable ? 0 : ~0U;
}

/// Result: false when the pipe cannot be read any more.
bool MsgDrivenThread::waitForRecord(ThreadManager& nManager, ThreadCtlMsg* npRecord)
{
    unsigned int lRead = 0;
    while (!readRecord(nManager, npRecord, &lRead))
    {
        int const lError = errno;
        if (lError != EINTR)
        {
            applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) Error. read Ret:%u errno:%d !!Break msg loop!!",
                   getName().c_str(), lRead, lError);
            return false;
        }
        applog(UTL_LOG_TYPE, 3, "MsgDrivenThread(%s) Error. read Ret:%u errno:%d=EINTR Retry read", getName().c_str(),
               lRead, lError);
    }
    return true;
}

/// An idle thread is not a hung thread: the watchdog looks away while we wait.
bool MsgDrivenThread::readRecord(ThreadManager& nManager, ThreadCtlMsg* npRecord, unsigned int* npRead)
{
    internal::PipeRecord lRecord{MSG_ID_NONE, -1};
    bool lIsRead = false;
    if (!mpPipe->hasBuffered() && mpPipe->owedCount() > 0)
    {
        flushOwedRecords();
    }
    if (mpPipe->hasBuffered() || !isUnderWatchdog(nManager))
    {
        lIsRead = mpPipe->read(&lRecord, npRead);
    }
    else
    {
        nManager.keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", __LINE__, 0));
        stopWatchdog();
        lIsRead = mpPipe->read(&lRecord, npRead);
        int const lError = errno;
        startWatchdog();
        nManager.keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", __LINE__, 0));
        errno = lError;
    }
    npRecord->mMsgId = lRecord.mMsgId;
    npRecord->mParam = lRecord.mParam;
    return lIsRead;
}

void MsgDrivenThread::flushOwedRecords()
{
    SyncGuard lSendGuard(mSendSyncObject);
    SyncGuard lGuard(mQueueSyncObject);
    unsigned int const lCount = mCtlQueue.size();
    mpPipe->flush(lCount,
                  [&](unsigned int nFromBack) UTL_NO_THREAD_SAFETY_ANALYSIS
                  {
                      ThreadCtlMsg const* const lpRecord = mCtlQueue.at(lCount - nFromBack);
                      return internal::PipeRecord{lpRecord->mMsgId, lpRecord->mParam};
                  });
}

bool MsgDrivenThread::isUnderWatchdog(ThreadManager& nManager)
{
    unsigned int const lVersion = internal::watchdog::gTableVersion.load(std::memory_order_acquire);
    if (lVersion != mWatchdogTableVersion)
    {
        mIsUnderWatchdog = nManager.isRegisteredWatchdog(0);
        mWatchdogTableVersion = lVersion;
    }
    return mIsUnderWatchdog;
}

/// What one pipe record gives rise to. Result: false when the loop is to end.
bool MsgDrivenThread::executeTurn(ThreadManager& nManager, ThreadCtlMsg const& nRecord)
{
    if (nRecord.mMsgId == MSG_ID_TIMEOUT_SIGNAL)
    {
        executeTimeoutSignal(toUserTimerId(nRecord.mParam));
        return true;
    }
    if ((mPendingRequests.load() & (REQUEST_INTERRUPT | REQUEST_ERASE | REQUEST_FIND)) != 0)
    {
        serveRequests();
    }
    ThreadCtlMsg lHead;
    bool lIsTaken = false;
    if (!findWork(nRecord, &lHead, &lIsTaken))
    {
        return true;
    }
    int lResult = -1;
    if (!isPostedMsg(lHead.mMsgId))
    {
        lResult = dispatch(lHead);
    }
    else
    {
        if (lIsTaken)
        {
            callListener(mOutputRawMsg);
            lResult = 0;
        }
        mIsDataQueueOverflowed = false;
    }
    if (isUnderWatchdog(nManager))
    {
        nManager.keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", __LINE__, 0));
    }
    if (lResult != 0)
    {
        applog(UTL_LOG_TYPE, 1, "!!!!!!!! MsgDrivenThread(%s) Error. MsgId:0x%08x !!!!!!!!", getName().c_str(),
               static_cast<unsigned int>(nRecord.mMsgId));
    }
    return !hasRequestedStop();
}

/// Looks at the head of the control queue. The queue is to be trusted, the pipe record is a hint: after requests have
/// removed records from the middle, theirs remain in the pipe and are dropped here, while the head's is still to come.
///
/// *npHead:    the record to work on. *npIsTaken: it was a posted message and stands in mOutputRawMsg, off the queues.
/// Result:     false when there is nothing to do for this pipe record.
bool MsgDrivenThread::findWork(ThreadCtlMsg const& nRecord, ThreadCtlMsg* npHead, bool* npIsTaken)
{
    SyncGuard lGuard(mQueueSyncObject);
    if (!readHeadLocked(npHead) || npHead->mMsgId != nRecord.mMsgId)
    {
        return false;
    }
    if (isPostedMsg(npHead->mMsgId))
    {
        *npIsTaken = takeMsgLocked(npHead->mMsgId);
    }
    return true;
}

/// Result: false for an empty queue. A record of a request that has been served, or withdrawn, goes here.
bool MsgDrivenThread::readHeadLocked(ThreadCtlMsg* npHead)
{
    unsigned int const REQUESTS = REQUEST_INTERRUPT | REQUEST_ERASE | REQUEST_FIND;
    ThreadCtlMsg const* lpHead = mCtlQueue.at(0);
    while (lpHead != nullptr && lpHead->mMsgId == MSG_ID_OUT_OF_BAND && (mPendingRequests.load() & REQUESTS) == 0)
    {
        mCtlQueue.pop();
        lpHead = mCtlQueue.at(0);
    }
    if (lpHead == nullptr || lpHead->mMsgId == MSG_ID_OUT_OF_BAND)
    {
        return false;
    }
    *npHead = *lpHead;
    return true;
}

/// Interrupt, erase and find, in this order, ahead of the queue.
void MsgDrivenThread::serveRequests()
{
    if ((mPendingRequests.load() & REQUEST_INTERRUPT) != 0)
    {
        if (executeReceiveInterrupt() == 0)
        {
            mInterruptResult = true;
        }
        finishRequest(REQUEST_INTERRUPT, mInterruptEvent);
    }
    if ((mPendingRequests.load() & REQUEST_ERASE) != 0)
    {
        mEraseResult = executeEraseMsg(mpEraseJudgement);
        finishRequest(REQUEST_ERASE, mEraseEvent);
    }
    if ((mPendingRequests.load() & REQUEST_FIND) != 0)
    {
        mFindResult = executeFindMsg(mpFindJudgement, mpPeekRawMsg);
        finishRequest(REQUEST_FIND, mFindEvent);
    }
}

int MsgDrivenThread::dispatch(ThreadCtlMsg const& nHead)
{
    switch (nHead.mMsgId)
    {
    case MSG_ID_SYNC:
    {
        int const lResult = executeReceiveSync();
        if (lResult == 0)
        {
            mSyncResult = true;
        }
        mSyncEvent.setOff();
        mIsDataQueueOverflowed = false;
        return lResult;
    }
    case MSG_ID_START_TIMER:
    case MSG_ID_STOP_TIMER:
        return dispatchTimerRequest(nHead);
    case MSG_ID_TIMEOUT:
        return executeTimeout(nHead.mParam);
    default: // MSG_ID_STOP_THREAD: the loop looks at the stop request after every dispatch
        return removeHead(0);
    }
}

/// Removes the control queue's head. Result: nResult; -1 when the queue was empty.
int MsgDrivenThread::removeHead(int nResult)
{
    SyncGuard lGuard(mQueueSyncObject);
    if (mCtlQueue.size() == 0)
    {
        return -1;
    }
    mCtlQueue.pop();
    return nResult;
}

/// Nobody may wait for a loop that has ended: the flag refuses new requests, the events release the old ones.
void MsgDrivenThread::endLoop()
{
    {
        SyncGuard lGuard(mQueueSyncObject);
        mHasLoopEnded = true;
    }
    eraseAllTimer();
    mPendingRequests = 0;
    for (Event* lpEvent : {&mInterruptEvent, &mSyncEvent, &mEraseEvent, &mFindEvent, &mTimerEvent})
    {
        lpEvent->setOff();
    }
}

} // namespace utl
