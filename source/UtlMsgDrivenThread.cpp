// Construction, life and loop of a message thread.
#include "UtlMsgDrivenThread.h"

#include "UtlApplog.h"
#include "UtlThreadManager.h"
#include "internal/UtlMsgThreadAnswers.h"
#include "internal/UtlRecordPipe.h"
#include "internal/UtlWatchdogPort.h"

#include <algorithm>
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
      mTimerMap(nMaxTimerCount),
      mTimerStopEntryMap(nMaxTimerCount),
      mpAnswers(new Answers),
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
    awaitEnd();
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
    try
    {
        return Thread::start(nUseWatchdog, nAliveTimeMs, npWatchdogListener, nWaitStart, nWaitStartMs, nPriority,
                             nReserved);
    }
    catch (...)
    {
        mpMsgListener = nullptr; // no thread was made: it may be tried again
        throw;
    }
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
    // Once more where the write failed: nothing else may ever wake the thread.
    bool const lIsPosted =
        postThreadCtlMsg(MSG_ID_STOP_THREAD, -1) || (!isCtlQueueFull() && postThreadCtlMsg(MSG_ID_STOP_THREAD, -1));
    if (!lIsPosted || mpPipe->hasLost())
    {
        hangUp();
    }
}

bool MsgDrivenThread::isCtlQueueFull()
{
    SyncGuard lGuard(mQueueSyncObject);
    return mCtlQueue.size() == mCtlQueue.maxSize();
}

/// Ends a loop that cannot be told to: it finds the end of its pipe.
void MsgDrivenThread::hangUp()
{
    mpPipe->hangUp(
        [this]
        {
            SyncGuard lGuard(mQueueSyncObject);
            disarmTimersLocked();
        });
}

bool MsgDrivenThread::isOwnThread() const
{
    return getId() == ThreadManager::getCallerId();
}

// ---------------------------------------------------------------------------------------------- the loop

unsigned int MsgDrivenThread::execute()
{
    admitTimerSignal();
    ThreadCtlMsg lRecord;
    bool lIsReadable = true;
    do
    {
        lIsReadable = waitForRecord(&lRecord);
    } while (lIsReadable && executeTurn(lRecord));
    endLoop();
    return lIsReadable ? 0 : ~0U;
}

/// Result: false when the pipe cannot be read any more.
bool MsgDrivenThread::waitForRecord(ThreadCtlMsg* npRecord)
{
    unsigned int lRead = 0;
    while (!readRecord(npRecord, &lRead))
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
bool MsgDrivenThread::readRecord(ThreadCtlMsg* npRecord, unsigned int* npRead)
{
    internal::PipeRecord lRecord{MSG_ID_NONE, -1};
    bool lIsRead = true;
    if (mpPipe->hasBuffered())
    {
        lRecord = mpPipe->next();
    }
    else if (!makeUpRecord(&lRecord))
    {
        bool const lIsWatched = isUnderWatchdog();
        if (lIsWatched)
        {
            ThreadManager::get()->keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", __LINE__, 0));
            stopWatchdog();
        }
        lIsRead = mpPipe->read(&lRecord, npRead);
        int const lError = errno;
        if (lIsWatched)
        {
            startWatchdog();
            ThreadManager::get()->keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", __LINE__, 0));
        }
        errno = lError;
    }
    npRecord->mMsgId = lRecord.mMsgId;
    npRecord->mParam = lRecord.mParam;
    return lIsRead;
}

/// Ahead of a read: writes what is owed; after pipe records were lost, each control record that is queued gets its turn
/// without. Result: false when the pipe is to be asked.
bool MsgDrivenThread::makeUpRecord(internal::PipeRecord* npRecord)
{
    mpPipe->settleBeforeRead([this](auto... nArguments) { return copyOwed(nArguments...); });
    bool const lHasLost = mpPipe->takeLost();
    if (!lHasLost && mToMakeUp == 0)
    {
        return false;
    }
    SyncGuard lGuard(mQueueSyncObject);
    mToMakeUp = lHasLost ? mCtlQueue.size() : mToMakeUp - 1;
    ThreadCtlMsg const* const lpHead = mCtlQueue.at(0);
    if (lpHead == nullptr || mToMakeUp == 0)
    {
        mToMakeUp = 0;
        return false;
    }
    *npRecord = internal::PipeRecord{lpHead->mMsgId, lpHead->mParam};
    return true;
}

/// Copies the oldest nMaxCount of the control records whose pipe records are owed.
unsigned int MsgDrivenThread::copyOwed(internal::PipeRecord* npTarget, unsigned int nMaxCount)
{
    SyncGuard lGuard(mQueueSyncObject);
    unsigned int const lQueued = mCtlQueue.size();
    unsigned int const lOwed = mpPipe->owedCount(lQueued);
    unsigned int const lCount = std::min(lOwed, nMaxCount);
    for (unsigned int lIndex = 0; lIndex < lCount; ++lIndex)
    {
        ThreadCtlMsg const* const lpRecord = mCtlQueue.at(lQueued - lOwed + lIndex);
        npTarget[lIndex] = internal::PipeRecord{lpRecord->mMsgId, lpRecord->mParam};
    }
    return lCount;
}

bool MsgDrivenThread::isUnderWatchdog()
{
    unsigned int const lVersion = internal::watchdog::gTableVersion.load(std::memory_order_acquire);
    if (lVersion != mWatchdogTableVersion)
    {
        mIsUnderWatchdog = ThreadManager::get()->isRegisteredWatchdog(0);
        mWatchdogTableVersion = lVersion;
    }
    return mIsUnderWatchdog;
}

void MsgDrivenThread::reportTurn()
{
    if (isUnderWatchdog())
    {
        ThreadManager::get()->keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", __LINE__, 0));
    }
}

/// What one pipe record gives rise to. Result: false when the loop is to end.
bool MsgDrivenThread::executeTurn(ThreadCtlMsg const& nRecord)
{
    if (nRecord.mMsgId == MSG_ID_TIMEOUT_SIGNAL)
    {
        executeTimeoutSignal(toUserTimerId(nRecord.mParam));
        return true;
    }
    if (mPendingRequests != 0)
    {
        serveRequests();
        reportTurn();
    }
    ThreadCtlMsg lHead;
    bool lIsTaken = false;
    if (!findWork(nRecord, &lHead, &lIsTaken))
    {
        // The record of a stop is behind all others: a head that has none comes up no more.
        return nRecord.mMsgId != MSG_ID_STOP_THREAD || !hasRequestedStop();
    }
    int const lResult = dispatch(lHead, lIsTaken);
    reportTurn();
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
/// *npHead:    the record to work on, off the queue by now; only MSG_ID_SYNC goes together with its slot, later.
/// *npIsTaken: it was a posted message, and its image stands in mOutputRawMsg.
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
    else if (npHead->mMsgId != MSG_ID_SYNC)
    {
        mCtlQueue.pop();
    }
    return true;
}

/// Result: false for an empty queue. A record of a request that has been served, or withdrawn, goes here.
bool MsgDrivenThread::readHeadLocked(ThreadCtlMsg* npHead)
{
    ThreadCtlMsg const* lpHead = mCtlQueue.at(0);
    while (lpHead != nullptr && lpHead->mMsgId == MSG_ID_OUT_OF_BAND && mPendingRequests == 0)
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
    if (takeRequest(REQUEST_INTERRUPT))
    {
        mInterruptResult = executeReceiveInterrupt() == 0;
        finishRequest(mpAnswers->mInterrupt);
    }
    if (takeRequest(REQUEST_ERASE))
    {
        mEraseResult = executeEraseMsg(mpEraseJudgement);
        finishRequest(mpAnswers->mErase);
    }
    if (takeRequest(REQUEST_FIND))
    {
        mFindResult = executeFindMsg(mpFindJudgement, mpPeekRawMsg);
        finishRequest(mpAnswers->mFind);
    }
}

/// Result: the request was pending. From here on it cannot be withdrawn.
bool MsgDrivenThread::takeRequest(Request nRequest)
{
    return (mPendingRequests.fetch_and(~static_cast<unsigned int>(nRequest)) & nRequest) != 0;
}

void MsgDrivenThread::finishRequest(internal::Answer& nAnswer)
{
    eraseMsgFromCtlQueue(MSG_ID_OUT_OF_BAND);
    nAnswer.give();
}

/// Works on a record. nIsTaken: a posted message stands in mOutputRawMsg. Result: 0, -1 for a failure.
int MsgDrivenThread::dispatch(ThreadCtlMsg const& nHead, bool nIsTaken)
{
    switch (nHead.mMsgId)
    {
    case MSG_ID_SYNC:
    {
        int const lResult = executeReceiveSync();
        mSyncResult = lResult == 0;
        mpAnswers->mSync.give();
        endOverflow();
        return lResult;
    }
    case MSG_ID_START_TIMER:
    case MSG_ID_STOP_TIMER:
        return dispatchTimerRequest(nHead);
    case MSG_ID_TIMEOUT:
        return executeTimeout(nHead.mParam);
    case MSG_ID_STOP_THREAD: // the loop looks at the stop request after every dispatch
        return 0;
    default:
        if (nIsTaken)
        {
            callListener(mOutputRawMsg);
        }
        endOverflow();
        return nIsTaken ? 0 : -1;
    }
}

/// A message has gone out: the next overflow is an error again.
void MsgDrivenThread::endOverflow()
{
    if (mIsDataQueueOverflowed.load(std::memory_order_relaxed)) // seldom; a store would cost each message
    {
        mIsDataQueueOverflowed = false;
    }
}

/// Nobody may wait for a loop that has ended: the flag refuses new requests, the answers release the old ones.
void MsgDrivenThread::endLoop()
{
    {
        SyncGuard lGuard(mQueueSyncObject);
        mHasLoopEnded = true;
    }
    eraseAllTimer();
    mPendingRequests = 0;
    mpAnswers->giveAll();
}

} // namespace utl
