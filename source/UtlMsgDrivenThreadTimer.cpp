// The timers of a message thread.
#include "UtlMsgDrivenThread.h"

#include "UtlApplog.h"
#include "internal/UtlKernelTimer.h"
#include "internal/UtlMakeSmart.h"
#include "internal/UtlMsgThreadAnswers.h"
#include "internal/UtlRecordPipe.h"

#include <cerrno>
#include <climits>
#include <cstdint>

namespace utl
{

namespace
{

using internal::KernelTimerResult;

internal::TimerSignal gTimerSignal(2);

/// On whichever thread the kernel chose. Takes no lock and does not block; a failed write is logged by the next
/// message thread that sees a time-out.
void TimeoutSignalHandler(int, siginfo_t* npInfo, void*)
{
    int const lError = internal::TimerSignalSlot::onSignal(npInfo->si_value.sival_int);
    if (lError != 0)
    {
        gTimerSignal.leaveError(lError);
    }
}

void logHandlerError()
{
    int const lError = gTimerSignal.takeError();
    if (lError != 0)
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::TimeoutSignalHandler() Error. write Ret:%u errno:%d", ~0U, lError);
    }
}

} // namespace

bool MsgDrivenThread::installSignalHandler()
{
    bool const lIsInstalled = gTimerSignal.install(&TimeoutSignalHandler) != -1;
    if (!lIsInstalled)
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread sigaction  errno:%d", errno);
    }
    return lIsInstalled;
}

void MsgDrivenThread::admitTimerSignal()
{
    gTimerSignal.admit();
}

// ---------------------------------------------------------------------------------------------- tables and numbers

TimerInfo* MsgDrivenThread::findTimer(int nTimerId)
{
    SyncGuard lGuard(mQueueSyncObject);
    auto* const lpPair = mTimerMap.find(nTimerId);
    return lpPair != nullptr ? &lpPair->mValue : nullptr;
}

TimerInfo* MsgDrivenThread::findTimerStopEntry(int nTimerId)
{
    SyncGuard lGuard(mQueueSyncObject);
    auto* const lpPair = mTimerStopEntryMap.find(nTimerId);
    return lpPair != nullptr ? &lpPair->mValue : nullptr;
}

/// The timer that goes by a system number now, or -1.
int MsgDrivenThread::toUserTimerId(int nSysTimerNumber)
{
    SyncGuard lGuard(mQueueSyncObject);
    return internal::userTimerIdOf(mTimerMap, nSysTimerNumber);
}

int MsgDrivenThread::getNextSysTimerNumber()
{
    SyncGuard lGuard(mQueueSyncObject);
    mNextSysTimerNumber =
        internal::nextSysTimerNumber(mNextSysTimerNumber, [this](int nNumber) { return toUserTimerId(nNumber) != -1; });
    return mNextSysTimerNumber;
}

/// The next id that no timer has, nor one that is just being stopped.
void MsgDrivenThread::updateNextUserTimerIdValue()
{
    SyncGuard lGuard(mQueueSyncObject);
    do
    {
        mNextUserTimerId = mNextUserTimerId == INT_MAX ? 1 : mNextUserTimerId + 1;
    } while (findTimer(mNextUserTimerId) != nullptr || findTimerStopEntry(mNextUserTimerId) != nullptr);
}

int MsgDrivenThread::remTimerIdCount() const
{
    SyncGuard lGuard(mQueueSyncObject);
    return static_cast<int>(mTimerMap.maxSize() - mTimerMap.size());
}

/// Makes a timer that rests. Result: its id, -1 where the table is full or the loop has ended.
int MsgDrivenThread::insertTimerLocked(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    if (mHasLoopEnded)
    {
        return -1;
    }
    TimerInfo lInfo;
    lInfo.mIntervalMs = static_cast<int>(nIntervalMs);
    lInfo.mMaxTimeoutCount = nMaxTimeoutCount;
    lInfo.mIsFreeRunning = nIsFreeRunning;
    lInfo.mpRunningEvent = internal::makeSmart<Event>(0, 1);
    lInfo.mpSignalValue = TimerSignalValue::allocate();
    int const lTimerId = mNextUserTimerId;
    if (lInfo.mpSignalValue == nullptr || !mTimerMap.insert(lTimerId, lInfo))
    {
        TimerSignalValue::release(lInfo.mpSignalValue);
        return -1;
    }
    updateNextUserTimerIdValue();
    return lTimerId;
}

/// Takes a timer, whose kernel timer is gone, out of the table that has it and tells its event.
void MsgDrivenThread::removeTimerLocked(TimerMap& nMap, int nTimerId)
{
    auto* const lpPair = nMap.find(nTimerId);
    TimerSignalValue::release(lpPair->mValue.mpSignalValue);
    SmartPointer<Event> const lpEvent = lpPair->mValue.mpRunningEvent;
    nMap.erase(nTimerId);
    lpEvent->setOff();
}

// ---------------------------------------------------------------------------------------------- for callers

int MsgDrivenThread::registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    if (!isInService())
    {
        return -1;
    }
    SyncGuard lGuard(mQueueSyncObject);
    return insertTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
}

int MsgDrivenThread::setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    if (!isInService())
    {
        return -1;
    }
    if (isOwnThread())
    {
        return setTimerHere(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
    }
    SyncGuard lApiGuard(mApiSyncObject);
    int lTimerId = -1;
    {
        SyncGuard lGuard(mQueueSyncObject);
        lTimerId = insertTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
        if (lTimerId == -1)
        {
            return -1;
        }
        if (!postTimerRequestLocked(MSG_ID_START_TIMER, lTimerId, nNoWait == 0))
        {
            removeTimerLocked(mTimerMap, lTimerId);
            mNextUserTimerId = lTimerId;
            return -1;
        }
    }
    if (nNoWait == 0)
    {
        mpAnswers->mTimer.wait();
    }
    return lTimerId;
}

int MsgDrivenThread::setTimerHere(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    SyncGuard lGuard(mQueueSyncObject);
    int const lTimerId = insertTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
    if (lTimerId == -1)
    {
        return -1;
    }
    if (executeStartTimer(lTimerId) == START_DONE)
    {
        return lTimerId;
    }
    removeTimerLocked(mTimerMap, lTimerId);
    mNextUserTimerId = lTimerId;
    return -1;
}

bool MsgDrivenThread::startTimer(int nTimerId, int nNoWait)
{
    if (!isInService())
    {
        return false;
    }
    if (isOwnThread())
    {
        SyncGuard lGuard(mQueueSyncObject);
        executeStartTimer(nTimerId);
        return true;
    }
    SyncGuard lApiGuard(mApiSyncObject);
    bool lIsAwaited = false;
    {
        SyncGuard lGuard(mQueueSyncObject);
        TimerInfo const* const lpInfo = findTimer(nTimerId);
        if (lpInfo == nullptr)
        {
            return false;
        }
        lIsAwaited = nNoWait == 0 && lpInfo->mpRunningEvent->isOff();
        if (!postTimerRequestLocked(MSG_ID_START_TIMER, nTimerId, lIsAwaited))
        {
            return false;
        }
    }
    if (lIsAwaited)
    {
        mpAnswers->mTimer.wait();
    }
    return true;
}

bool MsgDrivenThread::killTimer(int nTimerId, int nNoWait)
{
    if (!isRunning())
    {
        return false;
    }
    if (isOwnThread())
    {
        return killTimerHere(nTimerId);
    }
    {
        SyncGuard lApiGuard(mApiSyncObject);
        if (!postKillTimer(nTimerId, nNoWait == 0))
        {
            return false;
        }
    }
    onEraseTimer(nTimerId);
    return true;
}

bool MsgDrivenThread::killTimerHere(int nTimerId)
{
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (!eraseTimerByTimerInfo(findTimer(nTimerId)))
        {
            return false;
        }
        removeTimerLocked(mTimerMap, nTimerId);
    }
    onEraseTimer(nTimerId);
    return true;
}

/// Takes the timer out of mTimerMap, so that no time-out finds it any more, and has the message thread delete it.
bool MsgDrivenThread::postKillTimer(int nTimerId, bool nIsToWait)
{
    bool lIsAwaited = false;
    {
        SyncGuard lGuard(mQueueSyncObject);
        TimerInfo* const lpInfo = findTimer(nTimerId);
        if (mHasLoopEnded || lpInfo == nullptr)
        {
            return false;
        }
        bool const lIsHandedOver = mTimerStopEntryMap.insert(nTimerId, *lpInfo);
        lIsAwaited = nIsToWait && lpInfo->mpRunningEvent->isOn();
        if (!postTimerRequestLocked(MSG_ID_STOP_TIMER, nTimerId, lIsAwaited))
        {
            mTimerStopEntryMap.erase(nTimerId);
            return false;
        }
        if (lIsHandedOver)
        {
            mTimerMap.erase(nTimerId);
        }
        else
        {
            // No room to hand it over: the kernel allows it here too. The record posted still tells when the message
            // thread has seen the last of it.
            eraseTimerByTimerInfo(lpInfo);
            removeTimerLocked(mTimerMap, nTimerId);
        }
    }
    if (lIsAwaited)
    {
        mpAnswers->mTimer.wait();
    }
    return true;
}

/// With mApiSyncObject held as well, so that one caller waits at a time.
bool MsgDrivenThread::postTimerRequestLocked(int nMsgId, int nTimerId, bool nIsAwaited)
{
    if (!postThreadCtlMsg(nMsgId, nTimerId))
    {
        return false;
    }
    if (nIsAwaited)
    {
        mAwaitedTimer.mMsgId = nMsgId;
        mAwaitedTimer.mParam = nTimerId;
        mpAnswers->mTimer.expect();
    }
    return true;
}

void MsgDrivenThread::onEraseTimer(int) {}

// ---------------------------------------------------------------------------------------------- kernel timers

void MsgDrivenThread::logKernelTimer(KernelTimerResult nResult, TimerInfo const& nInfo, void* npTimerId)
{
    int const lError = errno;
    unsigned int const lTimerId = static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(npTimerId));
    switch (nResult)
    {
    case KernelTimerResult::DONE:
        break;
    case KernelTimerResult::CREATE_FAILED:
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) timer_create SysTimerId:0x%08x errno:%d\n", getName().c_str(),
               lTimerId, lError);
        break;
    case KernelTimerResult::SETTIME_FAILED:
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) timer_settime SysTimerId:0x%08x errno:%d\n", getName().c_str(),
               lTimerId, lError);
        break;
    case KernelTimerResult::DELETE_FAILED:
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) timer_delete SysTimerNum:0x%08x errno:%d", getName().c_str(),
               static_cast<unsigned int>(nInfo.mSysTimerNumber), lError);
        break;
    }
}

bool MsgDrivenThread::startTimerByTimerInfo(TimerInfo* npInfo)
{
    // Where the constructor failed to install the handler: without it the signal would end the process.
    if (!installSignalHandler())
    {
        return false;
    }
    void* lpTimerId = nullptr;
    KernelTimerResult const lResult = internal::startKernelTimer(
        *npInfo, gTimerSignal.number(), getNextSysTimerNumber(), mpPipe->writeFd(), &lpTimerId);
    logKernelTimer(lResult, *npInfo, lpTimerId);
    return lResult == KernelTimerResult::DONE;
}

/// Deletes the kernel timer, where one runs, and its waiting time-outs.
bool MsgDrivenThread::eraseTimerByTimerInfo(TimerInfo* npInfo)
{
    if (npInfo == nullptr)
    {
        return false;
    }
    if (npInfo->mSysTimerNumber == -1)
    {
        return true;
    }
    KernelTimerResult const lResult = internal::deleteKernelTimer(*npInfo);
    if (lResult != KernelTimerResult::DONE)
    {
        logKernelTimer(lResult, *npInfo, nullptr);
        return false;
    }
    SyncGuard lGuard(mQueueSyncObject);
    eraseTimeoutRecordsLocked(toUserTimerId(npInfo->mSysTimerNumber));
    npInfo->mSysTimerId = nullptr;
    npInfo->mPendingTimeoutCount = 0;
    npInfo->mSysTimerNumber = -1;
    return true;
}

/// The waiting time-outs of one timer; all others keep their order.
void MsgDrivenThread::eraseTimeoutRecordsLocked(int nTimerId)
{
    for (unsigned int lIndex = mCtlQueue.size(); lIndex-- > 0;)
    {
        ThreadCtlMsg const* const lpRecord = mCtlQueue.at(lIndex);
        if (lpRecord->mMsgId == MSG_ID_TIMEOUT && lpRecord->mParam == nTimerId)
        {
            mCtlQueue.erase(lIndex, 1);
        }
    }
}

// ---------------------------------------------------------------------------------------------- on the message thread

int MsgDrivenThread::dispatchTimerRequest(ThreadCtlMsg const& nHead)
{
    bool const lIsStart = nHead.mMsgId == MSG_ID_START_TIMER;
    int const lResult =
        lIsStart ? (executeStartTimer(nHead.mParam) == START_FAILED ? -1 : 0) : executeStopTimer(nHead.mParam);
    SyncGuard lGuard(mQueueSyncObject);
    if (mAwaitedTimer.mMsgId == nHead.mMsgId && mAwaitedTimer.mParam == nHead.mParam)
    {
        mAwaitedTimer = ThreadCtlMsg();
        mpAnswers->mTimer.give();
    }
    return lResult;
}

int MsgDrivenThread::executeStartTimer(int nTimerId)
{
    SyncGuard lGuard(mQueueSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr)
    {
        return START_UNKNOWN;
    }
    if (lpInfo->mpRunningEvent->isOn())
    {
        return START_WAS_RUNNING;
    }
    lpInfo->mTimeoutCount = 0;
    if (!startTimerByTimerInfo(lpInfo))
    {
        return START_FAILED;
    }
    lpInfo->mpRunningEvent->setOn();
    return START_DONE;
}

int MsgDrivenThread::executeStopTimer(int nTimerId)
{
    SyncGuard lGuard(mQueueSyncObject);
    TimerInfo* const lpInfo = findTimerStopEntry(nTimerId);
    if (lpInfo == nullptr)
    {
        return 0;
    }
    int const lResult = eraseTimerByTimerInfo(lpInfo) ? 0 : -1;
    eraseTimeoutRecordsLocked(nTimerId); // the timer has left the table by which the step above finds them
    removeTimerLocked(mTimerStopEntryMap, nTimerId);
    return lResult;
}

/// A signal of the timer has come over the pipe: queues a time-out, unless enough of them wait.
void MsgDrivenThread::executeTimeoutSignal(int nTimerId)
{
    logHandlerError();
    SyncGuard lGuard(mQueueSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr || !internal::mayQueueTimeout(*lpInfo))
    {
        return;
    }
    ++lpInfo->mPendingTimeoutCount;
    if (!postThreadCtlMsg(MSG_ID_TIMEOUT, nTimerId))
    {
        --lpInfo->mPendingTimeoutCount; // lost, but not the ones after it
    }
}

int MsgDrivenThread::executeTimeout(int nTimerId)
{
    TimerMsg lMsg;
    lMsg.mTimerId = nTimerId;
    if (!lMsg.storeTo(&mOutputRawMsg))
    {
        return -1;
    }
    callListener(mOutputRawMsg);
    switch (TimeoutPostHandling(nTimerId))
    {
    case TIMEOUT_REARM_FAILED:
        return -1;
    case TIMEOUT_ENDED:
        onEraseTimer(nTimerId);
        return 0;
    default:
        return 0;
    }
}

MsgDrivenThread::TimeoutResult MsgDrivenThread::TimeoutPostHandling(int nTimerId)
{
    SyncGuard lGuard(mQueueSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr)
    {
        return TIMEOUT_UNKNOWN;
    }
    if (internal::countTimeout(*lpInfo))
    {
        eraseTimerByTimerInfo(lpInfo);
        removeTimerLocked(mTimerMap, nTimerId);
        return TIMEOUT_ENDED;
    }
    if (lpInfo->mIsFreeRunning != 0)
    {
        return TIMEOUT_GOES_ON;
    }
    // A new kernel timer and a new number: the next period counts from here, and what is still on its way is stale.
    eraseTimerByTimerInfo(lpInfo);
    if (startTimerByTimerInfo(lpInfo))
    {
        return TIMEOUT_GOES_ON;
    }
    lpInfo->mpRunningEvent->setOff(); // it rests, and can be started again
    return TIMEOUT_REARM_FAILED;
}

/// From here on no signal of a timer writes to the pipe.
void MsgDrivenThread::disarmTimersLocked()
{
    for (TimerMap* const lpMap : {&mTimerMap, &mTimerStopEntryMap})
    {
        for (unsigned int lIndex = 0; lIndex < lpMap->size(); ++lIndex)
        {
            lpMap->at(lIndex)->mValue.mpSignalValue->disarm();
        }
    }
}

/// After the loop: every timer goes, in descending order of id.
void MsgDrivenThread::eraseAllTimer()
{
    for (;;)
    {
        int lTimerId = -1;
        {
            SyncGuard lGuard(mQueueSyncObject);
            auto* const lpLast = mTimerMap.at(mTimerMap.size() - 1);
            if (lpLast == nullptr)
            {
                break;
            }
            lTimerId = lpLast->mKey;
            eraseTimerByTimerInfo(&lpLast->mValue);
            removeTimerLocked(mTimerMap, lTimerId);
        }
        onEraseTimer(lTimerId);
    }
    SyncGuard lGuard(mQueueSyncObject);
    while (auto* const lpLast = mTimerStopEntryMap.at(mTimerStopEntryMap.size() - 1))
    {
        eraseTimerByTimerInfo(&lpLast->mValue);
        removeTimerLocked(mTimerStopEntryMap, lpLast->mKey);
    }
    for (unsigned int lIndex = mCtlQueue.size(); lIndex-- > 0;)
    {
        int const lMsgId = mCtlQueue.at(lIndex)->mMsgId;
        if (lMsgId == MSG_ID_START_TIMER || lMsgId == MSG_ID_STOP_TIMER || lMsgId == MSG_ID_TIMEOUT)
        {
            mCtlQueue.erase(lIndex, 1);
        }
    }
}

} // namespace utl
