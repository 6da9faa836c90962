// The timers of a message thread.
#include "UtlMsgDrivenThread.h"

#include "internal/UtlMsgDrivenThreadImpl.h"

#include <optional>

namespace utl
{

using internal::TimerFate;
using internal::TimerTable;
using internal::TimerWaiter;

// ---------------------------------------------------------------------------------------------- for callers

int MsgDrivenThread::remTimerIdCount() const
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    TimerTable::TimerMap const& lTimers = mpImpl->mTimers.map();
    return static_cast<int>(lTimers.maxSize() - lTimers.size());
}

int MsgDrivenThread::registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    return isInService() ? mpImpl->registerTimer(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning) : -1;
}

int MsgDrivenThread::setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    if (!isInService())
    {
        return -1;
    }
    return isOwnThread() ? mpImpl->setTimerHere(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning)
                         : mpImpl->setTimer(nIntervalMs, nNoWait, nMaxTimeoutCount, nIsFreeRunning);
}

bool MsgDrivenThread::startTimer(int nTimerId, int nNoWait)
{
    return isInService() && (isOwnThread() ? mpImpl->startTimerHere(nTimerId) : mpImpl->startTimer(nTimerId, nNoWait));
}

bool MsgDrivenThread::killTimer(int nTimerId, int nNoWait)
{
    if (!isRunning() || !(isOwnThread() ? mpImpl->killTimerHere(nTimerId) : mpImpl->killTimer(nTimerId, nNoWait)))
    {
        return false;
    }
    onEraseTimer(nTimerId);
    return true;
}

void MsgDrivenThread::onEraseTimer(int) {}

/// Makes a timer that rests. Result: its id, -1 if the table is full or the loop has ended.
int MsgDrivenThread::Impl::addTimerLocked(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    if (hasEndedLocked())
    {
        return -1;
    }
    return mTimers.add(nullptr, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning,
                       [this](int nTimerId) UTL_NO_THREAD_SAFETY_ANALYSIS // under the lock
                       { return mTimerStopEntryMap.find(nTimerId) != nullptr; });
}

int MsgDrivenThread::Impl::registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    SyncGuard lGuard(mSyncObject);
    return addTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
}

int MsgDrivenThread::Impl::setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount,
                                    int nIsFreeRunning)
{
    int lTimerId = -1;
    std::optional<TimerWaiter> lWaiter;
    {
        SyncGuard lGuard(mSyncObject);
        lTimerId = addTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
        if (lTimerId == -1)
        {
            return -1;
        }
        if (nNoWait == 0)
        {
            lWaiter.emplace(lTimerId, TimerFate::RUNS);
        }
        if (!postTimerRequestLocked({MSG_ID_START_TIMER, lTimerId}, lWaiter))
        {
            mTimers.withdraw(lTimerId);
            return -1;
        }
    }
    if (lWaiter)
    {
        lWaiter->wait();
    }
    return lTimerId;
}

int MsgDrivenThread::Impl::setTimerHere(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    SyncGuard lGuard(mSyncObject);
    int const lTimerId = addTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
    if (lTimerId != -1 && executeStartTimerLocked(lTimerId) != START_DONE)
    {
        mTimers.withdraw(lTimerId);
        return -1;
    }
    return lTimerId;
}

bool MsgDrivenThread::Impl::startTimer(int nTimerId, int nNoWait)
{
    std::optional<TimerWaiter> lWaiter;
    {
        SyncGuard lGuard(mSyncObject);
        TimerInfo const* const lpInfo = mTimers.find(nTimerId);
        if (lpInfo == nullptr)
        {
            return false;
        }
        if (nNoWait == 0 && lpInfo->mpRunningEvent->isOff())
        {
            lWaiter.emplace(nTimerId, TimerFate::RUNS);
        }
        if (!postTimerRequestLocked({MSG_ID_START_TIMER, nTimerId}, lWaiter))
        {
            return false;
        }
    }
    if (lWaiter)
    {
        lWaiter->wait();
    }
    return true;
}

bool MsgDrivenThread::Impl::startTimerHere(int nTimerId)
{
    SyncGuard lGuard(mSyncObject);
    executeStartTimerLocked(nTimerId);
    return true;
}

bool MsgDrivenThread::Impl::killTimer(int nTimerId, int nNoWait)
{
    std::optional<TimerWaiter> lWaiter;
    {
        SyncGuard lGuard(mSyncObject);
        TimerInfo const* const lpInfo = mTimers.find(nTimerId);
        if (hasEndedLocked() || lpInfo == nullptr)
        {
            return false;
        }
        if (nNoWait == 0 && lpInfo->mpRunningEvent->isOn())
        {
            lWaiter.emplace(nTimerId, TimerFate::GOES);
        }
        if (!handOverToKillLocked(nTimerId, lWaiter))
        {
            return false;
        }
    }
    if (lWaiter)
    {
        lWaiter->wait();
    }
    return true;
}

/// Takes the timer out of mTimers, so that no time-out finds it any more, and has the message thread delete it.
bool MsgDrivenThread::Impl::handOverToKillLocked(int nTimerId, std::optional<TimerWaiter>& nWaiter)
{
    TimerInfo& lInfo = *mTimers.find(nTimerId);
    bool const lIsHandedOver = mTimerStopEntryMap.insert(nTimerId, lInfo);
    if (!postTimerRequestLocked({MSG_ID_STOP_TIMER, nTimerId}, nWaiter))
    {
        mTimerStopEntryMap.erase(nTimerId);
        return false;
    }
    if (!lIsHandedOver)
    {
        // No room to hand it over: the kernel allows it here too. The record posted still tells when the message thread
        // has seen the last of it.
        stopTimerLocked(nTimerId, lInfo);
        lInfo.mpRunningEvent->setOff();
    }
    mTimers.map().erase(nTimerId);
    return true;
}

bool MsgDrivenThread::Impl::killTimerHere(int nTimerId)
{
    SyncGuard lGuard(mSyncObject);
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr || !stopTimerLocked(nTimerId, *lpInfo))
    {
        return false;
    }
    removeTimerLocked(mTimers.map(), nTimerId);
    return true;
}

/// Written with the lock held, so that a timer's entry and its request come, or go, at once.
bool MsgDrivenThread::Impl::postTimerRequestLocked(CtlRecord const& nRecord, std::optional<TimerWaiter>& nWaiter)
{
    Wake lWake;
    if (!appendLocked(nRecord, &lWake) || !wake(nRecord, lWake, [] {}))
    {
        return false;
    }
    if (nWaiter)
    {
        mWaiters.enlistRequest(*nWaiter,
                               countRequestsLocked(nRecord.mParam, {MSG_ID_START_TIMER, MSG_ID_STOP_TIMER}) - 1);
    }
    return true;
}

/// Takes a timer, whose kernel timer is gone, out of the table that has it and tells its event.
void MsgDrivenThread::Impl::removeTimerLocked(TimerTable::TimerMap& nMap, int nTimerId)
{
    SmartPointer<Event> const lpEvent = nMap.find(nTimerId)->mValue.mpRunningEvent;
    nMap.erase(nTimerId);
    lpEvent->setOff();
}

// ---------------------------------------------------------------------------------------------- on the message thread

int MsgDrivenThread::Impl::dispatchTimerRequest(CtlRecord const& nWork)
{
    SyncGuard lGuard(mSyncObject);
    bool const lIsStart = nWork.mMsgId == MSG_ID_START_TIMER;
    int const lResult = lIsStart ? (executeStartTimerLocked(nWork.mParam) == START_FAILED ? -1 : 0)
                                 : executeStopTimerLocked(nWork.mParam);
    CtlRecord const* const lpHead = mCtlQueue.head();
    if (lpHead != nullptr && *lpHead == nWork) // unless a subclass has erased it meanwhile
    {
        mCtlQueue.pop();
    }
    mWaiters.onServed(nWork.mParam, lIsStart ? TimerFate::RUNS : TimerFate::GOES);
    return lResult;
}

int MsgDrivenThread::Impl::executeStartTimerLocked(int nTimerId)
{
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return START_UNKNOWN;
    }
    if (lpInfo->mpRunningEvent->isOn())
    {
        return START_WAS_RUNNING;
    }
    lpInfo->mTimeoutCount = 0;
    if (!mTimers.arm(*lpInfo))
    {
        return START_FAILED;
    }
    lpInfo->mpRunningEvent->setOn();
    return START_DONE;
}

int MsgDrivenThread::Impl::executeStopTimerLocked(int nTimerId)
{
    auto* const lpPair = mTimerStopEntryMap.find(nTimerId);
    if (lpPair == nullptr)
    {
        return 0;
    }
    int const lResult = mTimers.disarm(lpPair->mValue) ? 0 : -1;
    eraseTimeoutsLocked(nTimerId);
    removeTimerLocked(mTimerStopEntryMap, nTimerId);
    return lResult;
}

int MsgDrivenThread::Impl::executeTimeout(int nTimerId)
{
    TimerMsg lMsg;
    lMsg.mTimerId = nTimerId;
    if (!lMsg.storeTo(&mOutputRawMsg))
    {
        return -1;
    }
    callListener();
    TimeoutResult const lResult = timeoutPostHandling(nTimerId);
    if (lResult == TIMEOUT_ENDED)
    {
        mThread.onEraseTimer(nTimerId);
    }
    return lResult == TIMEOUT_REARM_FAILED ? -1 : 0;
}

MsgDrivenThread::Impl::TimeoutResult MsgDrivenThread::Impl::timeoutPostHandling(int nTimerId)
{
    SyncGuard lGuard(mSyncObject);
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return TIMEOUT_UNKNOWN;
    }
    if (TimerTable::countTimeout(*lpInfo))
    {
        stopTimerLocked(nTimerId, *lpInfo);
        removeTimerLocked(mTimers.map(), nTimerId);
        return TIMEOUT_ENDED;
    }
    if (lpInfo->mIsFreeRunning != 0)
    {
        return TIMEOUT_GOES_ON;
    }
    // A new kernel timer and a new number: the next period counts from here, and what is still on its way is stale.
    stopTimerLocked(nTimerId, *lpInfo);
    if (mTimers.arm(*lpInfo))
    {
        return TIMEOUT_GOES_ON;
    }
    lpInfo->mpRunningEvent->setOff(); // it rests, and can be started again
    return TIMEOUT_REARM_FAILED;
}

/// After the loop: every timer goes, in descending order of id.
void MsgDrivenThread::Impl::eraseAllTimer()
{
    for (;;)
    {
        int lTimerId = -1;
        {
            SyncGuard lGuard(mSyncObject);
            auto* const lpLast = mTimers.map().at(mTimers.map().size() - 1);
            if (lpLast == nullptr)
            {
                break;
            }
            lTimerId = lpLast->mKey;
            stopTimerLocked(lTimerId, lpLast->mValue);
            removeTimerLocked(mTimers.map(), lTimerId);
        }
        mThread.onEraseTimer(lTimerId);
    }
    SyncGuard lGuard(mSyncObject);
    while (auto* const lpLast = mTimerStopEntryMap.at(mTimerStopEntryMap.size() - 1))
    {
        mTimers.disarm(lpLast->mValue);
        removeTimerLocked(mTimerStopEntryMap, lpLast->mKey);
    }
    mCtlQueue.eraseIf(
        [](CtlRecord const& nRecord)
        {
            return nRecord.mMsgId == MSG_ID_START_TIMER || nRecord.mMsgId == MSG_ID_STOP_TIMER ||
                   nRecord.mMsgId == MSG_ID_TIMEOUT;
        });
}

} // namespace utl
