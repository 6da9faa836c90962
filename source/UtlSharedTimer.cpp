// SharedTimer: one thread for many timers.
#include "UtlSharedTimer.h"

#include "UtlApplog.h"
#include "UtlThreadManager.h"
#include "UtlTimer.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/message/UtlSharedTimerImpl.h"
#include "internal/thread/UtlBlockingCall.h"

#include <cerrno>

namespace utl
{

namespace
{

using internal::blockingCall;
using internal::CtlRecord;
using internal::TimerFate;
using internal::TimerTable;
using internal::TimerWaiter;

char const FILE_NAME[] = "source/UtlSharedTimer";
unsigned int const CTL_QUEUE_SIZE = 256;

// The control records of this class. In a message thread these numbers mean something else.
int const TIMER_CTL_START = static_cast<int>(0x80000004U);       // start a timer
int const TIMER_CTL_STOP = static_cast<int>(0x80000005U);        // stop a timer
int const TIMER_CTL_ERASE = static_cast<int>(0x80000006U);       // remove a timer
int const TIMER_CTL_TIMEOUT = static_cast<int>(0x80000007U);     // a timer has expired
int const TIMER_CTL_STOP_THREAD = static_cast<int>(0x80000008U); // look at the stop request

std::initializer_list<int> const REQUESTS = {TIMER_CTL_START, TIMER_CTL_STOP, TIMER_CTL_ERASE};

internal::TimerSignal gTimerSignal(1);

internal::QuietLoop::Kind const KIND = {
    true,
    TIMER_CTL_TIMEOUT,
    internal::CtlQueue::bitsOf({TIMER_CTL_TIMEOUT, TIMER_CTL_STOP_THREAD}),
    FILE_NAME,
    632,
    651,
    780,
    nullptr,
    "SharedTimerThread(%s) Error. write Ret:%u errno:%d",
    "SharedTimerThread(%s) Error. read Ret:%u errno:%d=EINTR Retry read",
    "SharedTimerThread(%s) Error. read Ret:%u errno:%d !!Break msg loop!!",
    "!!!!!!!! SharedTimerThread(%s) Error. MsgId:0x%08x !!!!!!!!",
    "TimerId:%u Listener:%p Time:%llums  Waiting:%u NextId:0x%08x",
    {gTimerSignal, true, "SharedTimer sigaction  errno:%d", "SharedTimer sigaction  success:%d",
     "SharedTimerThread(%s) timer_create SysTimerId:0x%08x errno:%d\n",
     "SharedTimerThread(%s) timer_settime SysTimerId:0x%08x errno:%d\n",
     "SharedTimerThread(%s) timer_delete SysTimerId:0x%08x errno:%d", false, FILE_NAME, 135, 1118, 1136, 1179},
};

int requestFor(TimerFate nFate)
{
    return nFate == TimerFate::RUNS ? TIMER_CTL_START : nFate == TimerFate::RESTS ? TIMER_CTL_STOP : TIMER_CTL_ERASE;
}

} // namespace

// ---------------------------------------------------------------------------------------------- life

SharedTimer::Impl::Impl(SharedTimer& nTimer, unsigned int nMaxTimers)
    : QuietLoop(nTimer, KIND, CTL_QUEUE_SIZE, nMaxTimers),
      mTimer(nTimer)
{
    if (!blockingCall(FILE_NAME, "SharedTimer", 110, [this] { return mPipe.open(); }))
    {
        applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) pipe errno:%d", name(), errno);
    }
    mTimers.installHandler();
}

SharedTimer::SharedTimer(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npWatchdogListener,
                         unsigned int nMaxTimers, char const* npName)
    : Thread(npName, nullptr),
      mpImpl(new Impl(*this, nMaxTimers))
{
    Thread::start(nUseWatchdog, nAliveTimeMs, npWatchdogListener, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
    if (hasDone(STAGE_STARTED))
    {
        // Waits until the thread has called execute(), because a subclass's constructor is about to change the virtual
        // table.
        mpImpl->mLoopEvent.waitUntilOn(0);
    }
}

SharedTimer::~SharedTimer()
{
    destroy();
    awaitEnd();
    mpImpl->eraseAllTimer(); // if the thread never ran
    mpImpl->waitForOthers();
    blockingCall(FILE_NAME, "~SharedTimer", 162, [this] { return mpImpl->mPipe.closeReadEnd(); });
    blockingCall(FILE_NAME, "~SharedTimer", 163, [this] { return mpImpl->mPipe.closeWriteEnd(); });
}

void SharedTimer::destroy()
{
    Thread::stop(isOwnThread() ? 0 : 1, 0);
    leaveManagement();
}

Ledger SharedTimer::ledger() const
{
    return mpImpl->ledger();
}

void SharedTimer::setCallClock(CallClock nClock)
{
    mpImpl->setCallClock(nClock);
}

bool SharedTimer::isOwnThread() const
{
    return getId() == ThreadManager::getCallerId();
}

void SharedTimer::requestStop()
{
    mpImpl->postStop(TIMER_CTL_STOP_THREAD);
}

unsigned int SharedTimer::execute()
{
    internal::LoopList::enter(*mpImpl);
    mpImpl->mLoopEvent.setOn();
    bool const lHasStopped = mpImpl->run();
    mpImpl->eraseAllTimer();
    return lHasStopped ? 0 : ~0U;
}

// ---------------------------------------------------------------------------------------------- for callers

int SharedTimer::addTimer(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                          int nIsFreeRunning)
{
    if (hasRequestedStop() || hasDone(STAGE_DONE))
    {
        return -1;
    }
    return mpImpl->addTimer(npListener, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
}

bool SharedTimer::eraseTimer(int nTimerId, int nNoWait)
{
    if (nNoWait != 0)
    {
        return mpImpl->post({TIMER_CTL_ERASE, nTimerId});
    }
    return stop(nTimerId, 0) && mpImpl->request(TimerFate::GOES, nTimerId, 0);
}

bool SharedTimer::start(int nTimerId, int nNoWait)
{
    return mpImpl->request(TimerFate::RUNS, nTimerId, nNoWait);
}

bool SharedTimer::stop(int nTimerId, int nNoWait)
{
    return mpImpl->request(TimerFate::RESTS, nTimerId, nNoWait);
}

bool SharedTimer::restart(int nTimerId, int nNoWait)
{
    if (isRunning(nTimerId))
    {
        stop(nTimerId, nNoWait);
    }
    return start(nTimerId, nNoWait);
}

template <class Do>
void SharedTimer::forEachTimer(Do nDo)
{
    Array<int, int const&> lIds(0);
    getTimerIdSet(&lIds);
    for (unsigned int lIndex = 0; lIndex < lIds.size(); ++lIndex)
    {
        nDo(*lIds.at(lIndex));
    }
}

void SharedTimer::startAll(int nNoWait)
{
    forEachTimer([&](int nTimerId) { start(nTimerId, nNoWait); });
}

void SharedTimer::stopAll(int nNoWait)
{
    forEachTimer([&](int nTimerId) { stop(nTimerId, nNoWait); });
}

void SharedTimer::restartAll(int nNoWait)
{
    stopAll(nNoWait);
    startAll(nNoWait);
}

int SharedTimer::waitToStart(int nTimerId)
{
    return mpImpl->await(TimerFate::RUNS, nTimerId);
}

int SharedTimer::waitToStop(int nTimerId)
{
    return mpImpl->await(TimerFate::RESTS, nTimerId);
}

bool SharedTimer::setInterval(int nTimerId, unsigned int nIntervalMs)
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    TimerInfo* const lpInfo = mpImpl->mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return false;
    }
    lpInfo->mIntervalMs = static_cast<int>(nIntervalMs);
    lpInfo->mHasNewInterval = true;
    return true;
}

unsigned int SharedTimer::getInterval(int nTimerId) const
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    TimerInfo const* const lpInfo = mpImpl->mTimers.find(nTimerId);
    return lpInfo != nullptr ? static_cast<unsigned int>(lpInfo->mIntervalMs) : ~0U;
}

bool SharedTimer::isRunning(int nTimerId) const
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    TimerInfo const* const lpInfo = mpImpl->mTimers.find(nTimerId);
    return lpInfo != nullptr && lpInfo->mpRunningEvent->isOn();
}

bool SharedTimer::getTimerIdSet(Array<int, int const&>* npIds)
{
    if (npIds == nullptr)
    {
        return false;
    }
    SyncGuard lGuard(mpImpl->mSyncObject);
    TimerTable::TimerMap const& lTimers = mpImpl->mTimers.map();
    npIds->copy(*npIds, 0); // empties it
    npIds->resizeMax(lTimers.size());
    for (unsigned int lIndex = 0; lIndex < lTimers.size(); ++lIndex)
    {
        (void)npIds->insertAt(lIndex, lTimers.at(lIndex)->mKey);
    }
    return true;
}

void SharedTimer::setThreadWatchdogAliveTime(unsigned int nAliveTimeMs)
{
    setWatchdogAliveTime(nAliveTimeMs);
}

void SharedTimer::startThreadWatchdog()
{
    startWatchdog();
}

void SharedTimer::stopThreadWatchdog()
{
    stopWatchdog();
}

int SharedTimer::Impl::addTimer(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                                int nIsFreeRunning)
{
    SyncGuard lGuard(mSyncObject);
    return hasEndedLocked()
               ? -1
               : mTimers.add(npListener, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning, [](int) { return false; });
}

/// Starts, stops or removes a timer: at once on the timer thread if the caller would wait, otherwise by a
/// request in the queue.
bool SharedTimer::Impl::request(TimerFate nFate, int nTimerId, int nNoWait)
{
    TimerWaiter lWaiter(nFate);
    bool const lIsToWait = nNoWait == 0 && !mTimer.isOwnThread() && mTimer.hasDone(STAGE_STARTED);
    CtlRecord const lRecord{requestFor(nFate), nTimerId};
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        TimerInfo* const lpInfo = mTimers.find(nTimerId);
        if (lpInfo == nullptr)
        {
            return false;
        }
        if (nNoWait == 0 && mTimer.isOwnThread())
        {
            return executeHereLocked(nFate, nTimerId);
        }
        Need const lNeed = needLocked(nFate, nTimerId, *lpInfo, lIsToWait);
        if (lNeed == NEED_NOTHING || (lNeed == NEED_RECORD && !appendLocked(lRecord, &lWake)))
        {
            return lNeed == NEED_NOTHING;
        }
        if (lIsToWait) // for its own request, or for an earlier one with the same effect
        {
            enlistLocked(lWaiter, nTimerId, REQUESTS);
        }
    }
    // Others who wait for this request are refused, too.
    auto const lTakeBack = [&]() UTL_NO_THREAD_SAFETY_ANALYSIS // under the lock
    { mWaiters.onTakenBack(nTimerId, countRequestsLocked(nTimerId, REQUESTS)); };
    if (!wake(lRecord, lWake, lTakeBack))
    {
        return false;
    }
    if (lIsToWait)
    {
        lWaiter.wait(mTimer.getId());
    }
    return !lWaiter.mIsRefused;
}

/// Decides what is to be done for a request. A timer that does not run is removed at once.
SharedTimer::Impl::Need SharedTimer::Impl::needLocked(TimerFate nFate, int nTimerId, TimerInfo const& nInfo,
                                                      bool nIsToWait)
{
    bool const lRuns = nInfo.mpRunningEvent->isOn();
    // The listener under way has stopped its own timer. A caller that waits must wait for that listener to return.
    bool const lIsToOutlast = nIsToWait && nFate != TimerFate::RUNS && !lRuns && mTimerUnderWay == nTimerId;
    if (lIsToOutlast)
    {
        return NEED_RECORD;
    }
    if (nFate == TimerFate::GOES)
    {
        // If it still runs, it was started again after its stop, or the kernel would not delete it: its listener may be
        // under way.
        if (lRuns || nInfo.mSysTimerNumber != -1)
        {
            return NEED_RECORD;
        }
        removeTimerLocked(nTimerId);
        return NEED_NOTHING;
    }
    bool const lWillRun = mWaiters.willRun(nTimerId, lRuns);
    if (lWillRun != (nFate == TimerFate::RUNS))
    {
        return NEED_RECORD;
    }
    return lRuns == lWillRun || !nIsToWait ? NEED_NOTHING : NEED_WAIT;
}

int SharedTimer::Impl::await(TimerFate nFate, int nTimerId)
{
    TimerWaiter lWaiter(nFate);
    {
        SyncGuard lGuard(mSyncObject);
        TimerInfo const* const lpInfo = mTimers.find(nTimerId);
        if (lpInfo == nullptr)
        {
            return -1;
        }
        if (lpInfo->mpRunningEvent->isOn() == (nFate == TimerFate::RUNS))
        {
            return 0;
        }
        if (mTimer.isOwnThread() || !mTimer.hasDone(STAGE_STARTED))
        {
            return -1;
        }
        mWaiters.enlist(lWaiter, nTimerId);
    }
    lWaiter.wait(mTimer.getId());
    return 0;
}

// ---------------------------------------------------------------------------------------------- on the timer thread

/// A request stays in the queue until it has been served, as those who wait for others count on.
bool SharedTimer::Impl::takeLocked(CtlRecord* npWork)
{
    CtlRecord const* const lpHead = mCtlQueue.head();
    if (lpHead == nullptr)
    {
        return false;
    }
    *npWork = *lpHead;
    if (npWork->mMsgId == TIMER_CTL_TIMEOUT || npWork->mMsgId == TIMER_CTL_STOP_THREAD)
    {
        mCtlQueue.pop();
    }
    return true;
}

void const* SharedTimer::Impl::listenerLocked() const
{
    TimerInfo const* const lpInfo = mTimers.find(mTimerUnderWay);
    return lpInfo != nullptr ? lpInfo->mpTimerListener : nullptr;
}

int SharedTimer::Impl::nextIdLocked() const
{
    return mCtlQueue.size() != 0 ? mCtlQueue.at(0).mMsgId : MSG_ID_NONE;
}

int SharedTimer::Impl::dispatch(CtlRecord const& nWork)
{
    if (nWork.mMsgId == TIMER_CTL_STOP_THREAD) // the loop looks at the stop request after every dispatch
    {
        return 0;
    }
    if (nWork.mMsgId == TIMER_CTL_TIMEOUT)
    {
        return executeTimeout(nWork.mParam);
    }
    SyncGuard lGuard(mSyncObject);
    mCtlQueue.pop();
    TimerFate const lFate = nWork.mMsgId == TIMER_CTL_START  ? TimerFate::RUNS
                            : nWork.mMsgId == TIMER_CTL_STOP ? TimerFate::RESTS
                                                             : TimerFate::GOES;
    int const lResult = executeLocked(lFate, nWork.mParam);
    mWaiters.onServed(nWork.mParam, lFate);
    if (lFate == TimerFate::GOES)
    {
        removeTimerLocked(nWork.mParam); // even if the kernel refuses to delete its kernel timer
    }
    return lResult;
}

/// Starts a timer, or stops it. Result: 0, also for an unknown id; -1 if the kernel refuses.
int SharedTimer::Impl::executeLocked(TimerFate nFate, int nTimerId)
{
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return 0;
    }
    lpInfo->mHasNewInterval = false;
    bool const lIsStopped = lpInfo->mpRunningEvent->isOff() || stopTimerLocked(nTimerId, *lpInfo);
    if (nFate == TimerFate::RUNS) // also for one that runs: two starts may have been queued before the first was served
    {
        return startTimerLocked(nTimerId, *lpInfo) ? 0 : -1;
    }
    if (lIsStopped)
    {
        lpInfo->mpRunningEvent->setOff();
    }
    return lIsStopped ? 0 : -1;
}

/// For a caller on the timer thread who would wait. Result: false if the kernel refuses; a timer to be removed then
/// stays.
bool SharedTimer::Impl::executeHereLocked(TimerFate nFate, int nTimerId)
{
    bool const lRuns = mTimers.find(nTimerId)->mpRunningEvent->isOn();
    if (nFate != TimerFate::GOES && lRuns == (nFate == TimerFate::RUNS))
    {
        return true;
    }
    bool const lIsDone = executeLocked(nFate, nTimerId) == 0;
    if (lIsDone)
    {
        mWaiters.onReached(nTimerId, nFate);
        nFate == TimerFate::GOES ? removeTimerLocked(nTimerId) : void();
    }
    return lIsDone;
}

int SharedTimer::Impl::executeTimeout(int nTimerId)
{
    int const lNumber = beginTimeout(nTimerId);
    mTimer.onTime(nTimerId);
    SyncGuard lGuard(mSyncObject);
    mTimerUnderWay = -1;
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return 0;
    }
    TimeoutResult lResult = TIMEOUT_GOES_ON;
    if (lpInfo->mSysTimerNumber == lNumber) // otherwise the listener has stopped or restarted it
    {
        lResult = finishTimeoutLocked(nTimerId, *lpInfo);
    }
    lpInfo->mHasNewInterval = false;
    if (lResult == TIMEOUT_ENDED)
    {
        mWaiters.onReached(nTimerId, TimerFate::RESTS);
    }
    return lResult == TIMEOUT_REARM_FAILED ? -1 : 0;
}

/// Call this before the listener. Result: the number of the start under way; -1 for a timer that does not run, and
/// for none.
int SharedTimer::Impl::beginTimeout(int nTimerId)
{
    SyncGuard lGuard(mSyncObject);
    mTimerUnderWay = nTimerId;
    ++mCounts.mTimeouts;
    mCallTimes.begin(nTimerId);
    internal::showWork(internal::ThreadSlot::WORK_TIMEOUT, nTimerId, mCallTimes.since());
    TimerInfo const* const lpInfo = mTimers.find(nTimerId);
    return lpInfo != nullptr ? lpInfo->mSysTimerNumber : -1;
}

void SharedTimer::onTime(int nTimerId)
{
    TimerListener* lpListener = nullptr;
    {
        SyncGuard lGuard(mpImpl->mSyncObject);
        TimerInfo const* const lpInfo = mpImpl->mTimers.find(nTimerId);
        lpListener = lpInfo != nullptr ? lpInfo->mpTimerListener : nullptr;
    }
    if (lpListener != nullptr)
    {
        lpListener->onTime(nTimerId);
    }
}

void SharedTimer::Impl::removeTimerLocked(int nTimerId)
{
    TimerInfo* const lpInfo = mTimers.find(nTimerId);
    if (lpInfo == nullptr)
    {
        return;
    }
    if (lpInfo->mSysTimerNumber != -1)
    {
        internal::gSystem.mTimerDelete(lpInfo->mSysTimerId); // the kernel refused before; the log knows
    }
    mTimers.map().erase(nTimerId);
    mWaiters.onGone(nTimerId);
}

void SharedTimer::Impl::eraseAllTimer()
{
    SyncGuard lGuard(mSyncObject);
    endLocked();
    mCtlQueue.clear();
    TimerTable::TimerMap& lTimers = mTimers.map();
    for (unsigned int lIndex = 0; lIndex < lTimers.size(); ++lIndex)
    {
        executeLocked(TimerFate::RESTS, lTimers.at(lIndex)->mKey);
    }
    while (lTimers.size() > 0)
    {
        removeTimerLocked(lTimers.at(lTimers.size() - 1)->mKey);
    }
}

} // namespace utl
