// MsgDrivenThread: timers.
#include "UtlMsgDrivenThread.h"

#include "internal/message/UtlMsgDrivenThreadImpl.h"

namespace utl
{

using internal::TimerFate;
using internal::TimerTable;
using internal::TimerWaiter;

namespace
{

/// Removes a timer, whose kernel timer is deleted already, from its table, and clears its event.
template <class TimerMap>
void removeTimer(TimerMap& nMap, int nTimerId)
{
    SmartPointer<Event> const lpEvent = nMap.find(nTimerId)->mValue.mpRunningEvent;
    nMap.erase(nTimerId);
    lpEvent->setOff();
}

} // namespace

// ---------------------------------------------------------------------------------------------- for callers

int MsgDrivenThread::remTimerIdCount() const
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    TimerTable::TimerMap const& lTimers = mpImpl->mTimers.map();
    return static_cast<int>(lTimers.maxSize() - lTimers.size());
}

void MsgDrivenThread::onEraseTimer(int) {}

int MsgDrivenThread::registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    return isInService() ? mpImpl->addTimerLocked(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning) : -1;
}

int MsgDrivenThread::setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    bool const lIsHere = isOwnThread();
    bool const lIsToWait = nNoWait == 0 && !lIsHere;
    TimerWaiter lWaiter(TimerFate::RUNS);
    int lTimerId = -1;
    {
        SyncGuard lGuard(mpImpl->mSyncObject);
        lTimerId = registerTimer(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
        if (lTimerId == -1)
        {
            return -1;
        }
        bool const lIsDone =
            lIsHere ? mpImpl->executeStartTimerLocked(lTimerId) == Impl::START_DONE
                    : mpImpl->postTimerRequestLocked({MSG_ID_START_TIMER, lTimerId}, lIsToWait ? &lWaiter : nullptr);
        if (!lIsDone)
        {
            mpImpl->mTimers.withdraw(lTimerId);
            return -1;
        }
    }
    if (lIsToWait)
    {
        lWaiter.wait(getId());
    }
    return lTimerId;
}

bool MsgDrivenThread::startTimer(int nTimerId, int nNoWait)
{
    if (!isInService())
    {
        return false;
    }
    bool lIsToWait = false;
    TimerWaiter lWaiter(TimerFate::RUNS);
    {
        SyncGuard lGuard(mpImpl->mSyncObject);
        if (isOwnThread())
        {
            mpImpl->executeStartTimerLocked(nTimerId);
            return true;
        }
        TimerInfo const* const lpInfo = mpImpl->mTimers.find(nTimerId);
        if (lpInfo == nullptr)
        {
            return false;
        }
        lIsToWait = nNoWait == 0 && lpInfo->mpRunningEvent->isOff();
        if (!mpImpl->postTimerRequestLocked({MSG_ID_START_TIMER, nTimerId}, lIsToWait ? &lWaiter : nullptr))
        {
            return false;
        }
    }
    if (lIsToWait)
    {
        lWaiter.wait(getId());
    }
    return true;
}

bool MsgDrivenThread::killTimer(int nTimerId, int nNoWait)
{
    if (!isRunning())
    {
        return false;
    }
    bool lIsToWait = false;
    TimerWaiter lWaiter(TimerFate::GOES);
    {
        SyncGuard lGuard(mpImpl->mSyncObject);
        TimerInfo* const lpInfo = mpImpl->mTimers.find(nTimerId);
        if (lpInfo == nullptr)
        {
            return false;
        }
        lIsToWait = nNoWait == 0 && !isOwnThread() && lpInfo->mpRunningEvent->isOn();
        if (!mpImpl->killTimerLocked(nTimerId, *lpInfo, lIsToWait ? &lWaiter : nullptr))
        {
            return false;
        }
    }
    if (lIsToWait)
    {
        lWaiter.wait(getId());
    }
    onEraseTimer(nTimerId);
    return true;
}

/// Makes a timer that does not run. Result: its id; -1 if the table is full or the loop has ended.
int MsgDrivenThread::Impl::addTimerLocked(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    auto const lIsReserved = [this](int nTimerId) UTL_NO_THREAD_SAFETY_ANALYSIS
    { return mTimerStopEntryMap.find(nTimerId) != nullptr; };
    return hasEndedLocked() ? -1 : mTimers.add(nullptr, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning, lIsReserved);
}

/// Kills a timer at once on the message thread. On another one it takes the timer out of mTimers, so that no time-out
/// finds it any more, and lets the message thread delete it.
bool MsgDrivenThread::Impl::killTimerLocked(int nTimerId, TimerInfo& nInfo, TimerWaiter* npWaiter)
{
    if (mThread.isOwnThread())
    {
        if (stopTimerLocked(nTimerId, nInfo))
        {
            removeTimer(mTimers.map(), nTimerId);
            return true;
        }
        return false;
    }
    KilledTimer const lKilled{nInfo.mSysTimerId, nInfo.mSysTimerNumber, nInfo.mpRunningEvent};
    bool const lIsHandedOver = !hasEndedLocked() && mTimerStopEntryMap.insert(nTimerId, lKilled);
    if (hasEndedLocked() || !postTimerRequestLocked({MSG_ID_STOP_TIMER, nTimerId}, npWaiter))
    {
        mTimerStopEntryMap.erase(nTimerId);
        return false;
    }
    if (!lIsHandedOver)
    {
        // No room to hand it over, so it is deleted here, which the kernel allows. The record that was posted still
        // tells when the message thread does not use it any more.
        stopTimerLocked(nTimerId, nInfo);
        nInfo.mpRunningEvent->setOff();
    }
    mTimers.showTimer(nTimerId, nullptr);
    mTimers.map().erase(nTimerId);
    return true;
}

/// Writes with the lock held, so that a timer's entry and its request appear, or disappear, together.
bool MsgDrivenThread::Impl::postTimerRequestLocked(CtlRecord const& nRecord, TimerWaiter* npWaiter)
{
    Wake lWake;
    if (!appendLocked(nRecord, &lWake) || !wake(nRecord, lWake, [] {}))
    {
        return false;
    }
    if (npWaiter != nullptr)
    {
        enlistLocked(*npWaiter, nRecord.mParam, {MSG_ID_START_TIMER, MSG_ID_STOP_TIMER});
    }
    return true;
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
    return startTimerLocked(nTimerId, *lpInfo) ? START_DONE : START_FAILED;
}

int MsgDrivenThread::Impl::executeStopTimerLocked(int nTimerId)
{
    auto* const lpPair = mTimerStopEntryMap.find(nTimerId);
    if (lpPair == nullptr)
    {
        return 0;
    }
    int const lResult = mTimers.destroy(lpPair->mValue.mSysTimerId, lpPair->mValue.mSysTimerNumber) ? 0 : -1;
    eraseTimeoutsLocked(nTimerId);
    removeTimer(mTimerStopEntryMap, nTimerId);
    return lResult;
}

int MsgDrivenThread::Impl::executeTimeout(int nTimerId)
{
    if (!mHasTaken)
    {
        return -1; // it does not fit
    }
    callListener();
    TimeoutResult lResult = TIMEOUT_GOES_ON;
    {
        SyncGuard lGuard(mSyncObject);
        lResult = timeoutPostHandlingLocked(nTimerId);
    }
    if (lResult == TIMEOUT_ENDED)
    {
        mThread.onEraseTimer(nTimerId);
    }
    return lResult == TIMEOUT_REARM_FAILED ? -1 : 0;
}

/// An erased time-out still counts as one that fired.
bool MsgDrivenThread::Impl::onTimeoutErased(int nTimerId) UTL_NO_THREAD_SAFETY_ANALYSIS // in a walk, under the lock
{
    return timeoutPostHandlingLocked(nTimerId) == TIMEOUT_ENDED;
}

MsgDrivenThread::Impl::TimeoutResult MsgDrivenThread::Impl::timeoutPostHandlingLocked(int nTimerId)
{
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return TIMEOUT_GOES_ON; // the listener has killed it
    }
    TimeoutResult const lResult = finishTimeoutLocked(nTimerId, *lpInfo);
    if (lResult == TIMEOUT_ENDED)
    {
        removeTimer(mTimers.map(), nTimerId);
    }
    if (lResult == TIMEOUT_REARM_FAILED)
    {
        lpInfo->mpRunningEvent->setOff(); // it does not run, and can be started again
    }
    return lResult;
}

/// After the loop: removes every timer, in descending order of id.
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
            removeTimer(mTimers.map(), lTimerId);
        }
        mThread.onEraseTimer(lTimerId);
    }
    SyncGuard lGuard(mSyncObject);
    while (auto* const lpLast = mTimerStopEntryMap.at(mTimerStopEntryMap.size() - 1))
    {
        mTimers.destroy(lpLast->mValue.mSysTimerId, lpLast->mValue.mSysTimerNumber);
        removeTimer(mTimerStopEntryMap, lpLast->mKey);
    }
    mCtlQueue.eraseIf(
        [](CtlRecord const& nRecord)
        {
            return nRecord.mMsgId == MSG_ID_START_TIMER || nRecord.mMsgId == MSG_ID_STOP_TIMER ||
                   nRecord.mMsgId == MSG_ID_TIMEOUT;
        });
}

} // namespace utl
