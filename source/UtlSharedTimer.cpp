#include "UtlSharedTimer.h"

#include "UtlApplog.h"
#include "UtlThreadManager.h"
#include "UtlTimer.h"
#include "internal/UtlBlockingCall.h"
#include "internal/UtlKernelTimer.h"
#include "internal/UtlMakeSmart.h"
#include "internal/UtlRecordPipe.h"
#include "internal/UtlWatchdogPort.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>

namespace utl
{

namespace
{

using internal::blockingCall;

char const FILE_NAME[] = "source/UtlSharedTimer";
unsigned int const CTL_QUEUE_SIZE = 256;

// The control records of this class; their numbers mean other things in a message thread.
int const TIMER_CTL_START = static_cast<int>(0x80000004U);       // a timer is to run
int const TIMER_CTL_STOP = static_cast<int>(0x80000005U);        // a timer is to rest
int const TIMER_CTL_ERASE = static_cast<int>(0x80000006U);       // a timer is to go
int const TIMER_CTL_TIMEOUT = static_cast<int>(0x80000007U);     // a timer has expired
int const TIMER_CTL_STOP_THREAD = static_cast<int>(0x80000008U); // look at the stop request

internal::TimerSignal gTimerSignal(1);

/// On whichever thread the kernel chose. Takes no lock and does not block; a timer thread logs the failed write.
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
        applog(UTL_LOG_TYPE, 1, "SharedTimerThread() Error. write Ret:%u errno:%d", ~0U, lError);
    }
}

bool installSignalHandler()
{
    if (gTimerSignal.isInstalled())
    {
        return true;
    }
    int const lResult =
        blockingCall(FILE_NAME, "SharedTimer", 135, [] { return gTimerSignal.install(&TimeoutSignalHandler); });
    if (lResult == -1)
    {
        applog(UTL_LOG_TYPE, 1, "SharedTimer sigaction  errno:%d", errno);
    }
    else if (lResult == 1)
    {
        applog(UTL_LOG_TYPE, 4, "SharedTimer sigaction  success:%d", gTimerSignal.number());
    }
    return lResult != -1;
}

unsigned int asHex(void* npTimerId)
{
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(npTimerId));
}

} // namespace

/// Holds mApiSyncObject, but not on the timer thread: a caller that holds it may be waiting for just that thread.
class SharedTimer::ApiGuard
{
public:
    explicit ApiGuard(SharedTimer const& nTimer) UTL_NO_THREAD_SAFETY_ANALYSIS // taken or not
        : mpSyncObject(nTimer.isOwnThread() ? nullptr : &nTimer.mApiSyncObject)
    {
        if (mpSyncObject != nullptr)
        {
            mpSyncObject->lock();
        }
    }
    ~ApiGuard() UTL_NO_THREAD_SAFETY_ANALYSIS
    {
        if (mpSyncObject != nullptr)
        {
            mpSyncObject->unlock();
        }
    }
    ApiGuard(ApiGuard const&) = delete;
    ApiGuard& operator=(ApiGuard const&) = delete;

private:
    SyncObject const* const mpSyncObject;
};

/// Somebody who waits for something to happen to a timer. An event of its own, because the timer's running event may
/// go on and off again before the waiter has looked, and goes neither way when a timer goes.
struct SharedTimer::Waiter
{
    Waiter(int nTimerId, Kind nKind)
        : mTimerId(nTimerId),
          mKind(nKind)
    {
    }

    void wait()
    {
        while (mEvent.isOff())
        {
            mEvent.waitToOn(0);
        }
    }

    int const mTimerId;
    Kind const mKind;
    Event mEvent{0, 0};
    Waiter* mpNext = nullptr; // under mDataSyncObject
};

SharedTimer::SharedTimer(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npWatchdogListener,
                         unsigned int nMaxTimers, char const* npName)
    : Thread(npName, nullptr),
      mCtlQueue(CTL_QUEUE_SIZE),
      mTimerMap(nMaxTimers),
      mpPipe(new internal::RecordPipe),
      mLoopEvent(0, 0)
{
    if (!blockingCall(FILE_NAME, "SharedTimer", 110, [this] { return mpPipe->open(); }))
    {
        applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) pipe errno:%d", getName().c_str(), errno);
    }
    installSignalHandler();
    Thread::start(nUseWatchdog, nAliveTimeMs, npWatchdogListener, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
    // Until the thread has found its execute(): a subclass's constructor is about to change the virtual table.
    while (hasDone(STAGE_STARTED) && mLoopEvent.isOff())
    {
        mLoopEvent.waitToOn(0);
    }
}

SharedTimer::~SharedTimer()
{
    destroy();
    awaitEnd();
    eraseAllTimer(); // of a thread that never ran
    blockingCall(FILE_NAME, "~SharedTimer", 162, [this] { return mpPipe->closeReadEnd(); });
    blockingCall(FILE_NAME, "~SharedTimer", 163, [this] { return mpPipe->closeWriteEnd(); });
}

void SharedTimer::destroy()
{
    ApiGuard lApiGuard(*this);
    Thread::stop(isOwnThread() ? 0 : 1, 0);
    leaveManagement();
}

bool SharedTimer::isOwnThread() const
{
    return getId() == ThreadManager::getCallerId();
}

// ---------------------------------------------------------------------------------------------- for callers

int SharedTimer::addTimer(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                          int nIsFreeRunning)
{
    ApiGuard lApiGuard(*this);
    if (hasRequestedStop() || hasDone(STAGE_DONE))
    {
        return -1;
    }
    TimerInfo lInfo;
    lInfo.mpTimerListener = npListener;
    lInfo.mIntervalMs = static_cast<int>(nIntervalMs);
    lInfo.mMaxTimeoutCount = nMaxTimeoutCount;
    lInfo.mIsFreeRunning = nIsFreeRunning;
    lInfo.mpRunningEvent = internal::makeSmart<Event>(0, 1);
    lInfo.mpSignalValue = TimerSignalValue::allocate();
    SyncGuard lGuard(mDataSyncObject);
    int const lTimerId = mNextUserTimerId;
    if (mHasLoopEnded || lInfo.mpSignalValue == nullptr || !mTimerMap.insert(lTimerId, lInfo))
    {
        TimerSignalValue::release(lInfo.mpSignalValue);
        return -1;
    }
    updateNextUserTimerIdValue();
    return lTimerId;
}

bool SharedTimer::eraseTimer(int nTimerId, int nNoWait)
{
    ApiGuard lApiGuard(*this);
    if (nNoWait == 0 && isOwnThread() && findTimer(nTimerId) == nullptr)
    {
        return false;
    }
    if (nNoWait != 0 || isOwnThread())
    {
        return postTimerCtlMsg(TIMER_CTL_ERASE, nTimerId);
    }
    return stop(nTimerId, 0) && request(KIND_ERASE, nTimerId, 0);
}

bool SharedTimer::start(int nTimerId, int nNoWait)
{
    ApiGuard lApiGuard(*this);
    return request(KIND_START, nTimerId, nNoWait);
}

bool SharedTimer::stop(int nTimerId, int nNoWait)
{
    ApiGuard lApiGuard(*this);
    return request(KIND_STOP, nTimerId, nNoWait);
}

bool SharedTimer::restart(int nTimerId, int nNoWait)
{
    ApiGuard lApiGuard(*this);
    if (isRunning(nTimerId))
    {
        if (nNoWait == 0 && isOwnThread())
        {
            return postTimerCtlMsg(TIMER_CTL_STOP, nTimerId) && postTimerCtlMsg(TIMER_CTL_START, nTimerId);
        }
        stop(nTimerId, nNoWait);
    }
    return start(nTimerId, nNoWait);
}

void SharedTimer::startAll(int nNoWait)
{
    ApiGuard lApiGuard(*this);
    Array<int, int const&> lIds(0);
    getTimerIdSet(&lIds);
    for (unsigned int lIndex = 0; lIndex < lIds.size(); ++lIndex)
    {
        start(*lIds.at(lIndex), nNoWait);
    }
}

void SharedTimer::stopAll(int nNoWait)
{
    ApiGuard lApiGuard(*this);
    Array<int, int const&> lIds(0);
    getTimerIdSet(&lIds);
    for (unsigned int lIndex = 0; lIndex < lIds.size(); ++lIndex)
    {
        stop(*lIds.at(lIndex), nNoWait);
    }
}

void SharedTimer::restartAll(int nNoWait)
{
    ApiGuard lApiGuard(*this);
    if (nNoWait == 0 && isOwnThread()) // each start goes behind its stop
    {
        Array<int, int const&> lIds(0, 0);
        getTimerIdSet(&lIds);
        for (unsigned int lIndex = 0; lIndex < lIds.size(); ++lIndex)
        {
            restart(*lIds.at(lIndex), 0);
        }
        return;
    }
    stopAll(nNoWait);
    startAll(nNoWait);
}

/// A start, a stop, or the removal of a timer. A request goes to the queue and its waiter to the list in one step, so
/// none is missed.
bool SharedTimer::request(Kind nKind, int nTimerId, int nNoWait)
{
    Waiter lWaiter(nTimerId, nKind);
    TimerCtlMsg const lRecord{nKind == KIND_START  ? TIMER_CTL_START
                              : nKind == KIND_STOP ? TIMER_CTL_STOP
                                                   : TIMER_CTL_ERASE,
                              nTimerId};
    bool const lIsToWait = nNoWait == 0 && !isOwnThread() && hasDone(STAGE_STARTED);
    bool lIsWriter = false;
    {
        SyncGuard lGuard(mDataSyncObject);
        TimerInfo const* const lpInfo = findTimer(nTimerId);
        if (lpInfo == nullptr)
        {
            return false;
        }
        if (nKind == KIND_ERASE && lpInfo->mpRunningEvent->isOff() && lpInfo->mSysTimerNumber == -1)
        {
            return removeTimerLocked(nTimerId);
        }
        // What is to go and does not rest was started again after its stop, or is one that the kernel would not delete:
        // its listener may be under way.
        if (nKind != KIND_ERASE && lpInfo->mpRunningEvent->isOn() == (nKind == KIND_START))
        {
            return true;
        }
        if (!appendLocked(lRecord, &lIsWriter))
        {
            return false;
        }
        if (lIsToWait)
        {
            enlistLocked(lWaiter);
        }
    }
    if (lIsWriter && !wake(lRecord))
    {
        SyncGuard lGuard(mDataSyncObject);
        unlistLocked(lWaiter);
        return false;
    }
    if (lIsToWait)
    {
        lWaiter.wait();
    }
    return true;
}

int SharedTimer::waitToStart(int nTimerId)
{
    return await(KIND_START, nTimerId);
}

int SharedTimer::waitToStop(int nTimerId)
{
    return await(KIND_STOP, nTimerId);
}

int SharedTimer::await(Kind nKind, int nTimerId)
{
    Waiter lWaiter(nTimerId, nKind);
    {
        SyncGuard lGuard(mDataSyncObject);
        TimerInfo const* const lpInfo = findTimer(nTimerId);
        if (lpInfo == nullptr)
        {
            return -1;
        }
        if (lpInfo->mpRunningEvent->isOn() == (nKind == KIND_START))
        {
            return 0;
        }
        if (isOwnThread() || !hasDone(STAGE_STARTED))
        {
            return -1;
        }
        enlistLocked(lWaiter);
    }
    lWaiter.wait();
    return 0;
}

bool SharedTimer::setInterval(int nTimerId, unsigned int nIntervalMs)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
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
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo const* const lpInfo = findTimer(nTimerId);
    return lpInfo != nullptr ? static_cast<unsigned int>(lpInfo->mIntervalMs) : ~0U;
}

bool SharedTimer::isRunning(int nTimerId) const
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo const* const lpInfo = findTimer(nTimerId);
    return lpInfo != nullptr && lpInfo->mpRunningEvent->isOn();
}

bool SharedTimer::getTimerIdSet(Array<int, int const&>* npIds)
{
    if (npIds == nullptr)
    {
        return false;
    }
    SyncGuard lGuard(mDataSyncObject);
    npIds->copy(*npIds, 0); // what was in it goes
    npIds->resizeMax(mTimerMap.size());
    for (unsigned int lIndex = 0; lIndex < mTimerMap.size(); ++lIndex)
    {
        npIds->insertAt(lIndex, mTimerMap.at(lIndex)->mKey);
    }
    return true;
}

void SharedTimer::requestStop()
{
    // Once more, for a write that failed: nothing else may ever wake the thread.
    if (!postTimerCtlMsg(TIMER_CTL_STOP_THREAD, -1) && !postTimerCtlMsg(TIMER_CTL_STOP_THREAD, -1))
    {
        hangUp();
    }
}

/// Ends a loop that cannot be told to: it finds the end of its pipe.
void SharedTimer::hangUp()
{
    mpPipe->hangUp(
        [this]
        {
            SyncGuard lGuard(mDataSyncObject);
            for (unsigned int lIndex = 0; lIndex < mTimerMap.size(); ++lIndex)
            {
                mTimerMap.at(lIndex)->mValue.mpSignalValue->disarm();
            }
        });
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

bool SharedTimer::postTimerCtlMsg(int nMsgId, int nValue)
{
    TimerCtlMsg const lRecord{nMsgId, nValue};
    bool lIsWriter = false;
    {
        SyncGuard lGuard(mDataSyncObject);
        if (!appendLocked(lRecord, &lIsWriter))
        {
            return false;
        }
    }
    return !lIsWriter || wake(lRecord);
}

/// *npIsWriter: the caller is to call wake() once it has let go of the lock. Result: false for a full queue.
bool SharedTimer::appendLocked(TimerCtlMsg const& nRecord, bool* npIsWriter)
{
    if (!mCtlQueue.push(nRecord))
    {
        return false;
    }
    *npIsWriter = mpPipe->announce();
    return true;
}

/// writeOrTakeBack() where no lock is held: where a stop is among the records that could not be written, nothing else would
/// tell the loop.
bool SharedTimer::wake(TimerCtlMsg const& nRecord)
{
    bool const lResult = writeOrTakeBack(nRecord);
    if (mpPipe->hasLost() && hasRequestedStop())
    {
        hangUp();
    }
    return lResult;
}

/// Writes a pipe record for the record appended last. Where the write fails, that one is taken back: nobody would wake
/// the loop for it, and it would be served in the place of a later one. Result: false where it was taken back.
bool SharedTimer::writeOrTakeBack(TimerCtlMsg const& nRecord)
{
    auto const lCopyOwed = [this](auto... nArguments) { return copyOwed(nArguments...); };
    unsigned int lWritten = 0;
    if (mpPipe->write(internal::PipeRecord{nRecord.mMsgId, nRecord.mParam}, lCopyOwed, &lWritten))
    {
        return true;
    }
    applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) Error. write Ret:%u errno:%d", getName().c_str(), lWritten, errno);
    {
        SyncGuard lGuard(mDataSyncObject);
        if (mpPipe->giveUp())
        {
            return !takeBackLocked(nRecord);
        }
    }
    mpPipe->settle(lCopyOwed); // others have come behind it: it is tried again with theirs
    return true;
}

/// The last one of its kind; time-outs may have come behind it. Result: false where it is gone already.
bool SharedTimer::takeBackLocked(TimerCtlMsg const& nRecord)
{
    for (unsigned int lIndex = mCtlQueue.size(); lIndex-- > 0;)
    {
        TimerCtlMsg const* const lpRecord = mCtlQueue.at(lIndex);
        if (lpRecord->mMsgId == nRecord.mMsgId && lpRecord->mParam == nRecord.mParam)
        {
            mCtlQueue.erase(lIndex, 1);
            return true;
        }
    }
    return false;
}

/// Whatever such a pipe record says, it stands for the head of the queue.
unsigned int SharedTimer::copyOwed(internal::PipeRecord* npTarget, unsigned int nMaxCount)
{
    SyncGuard lGuard(mDataSyncObject);
    unsigned int const lCount = std::min(mpPipe->owedCount(mCtlQueue.size()), nMaxCount);
    std::fill_n(npTarget, lCount, internal::PipeRecord{MSG_ID_NONE, -1});
    return lCount;
}

// ---------------------------------------------------------------------------------------------- tables, waiters

TimerInfo const* SharedTimer::findTimer(int nTimerId) const
{
    auto const* const lpPair = mTimerMap.find(nTimerId);
    return lpPair != nullptr ? &lpPair->mValue : nullptr;
}

TimerInfo* SharedTimer::findTimer(int nTimerId)
{
    SyncGuard lGuard(mDataSyncObject);
    return const_cast<TimerInfo*>(static_cast<SharedTimer const*>(this)->findTimer(nTimerId));
}

/// The timer that goes by a system number now, or -1.
int SharedTimer::toUserTimerId(int nSysTimerNumber)
{
    SyncGuard lGuard(mDataSyncObject);
    return internal::userTimerIdOf(mTimerMap, nSysTimerNumber);
}

int SharedTimer::getNextSysTimerNumber()
{
    SyncGuard lGuard(mDataSyncObject);
    mNextSysTimerNumber =
        internal::nextSysTimerNumber(mNextSysTimerNumber, [this](int nNumber) { return toUserTimerId(nNumber) != -1; });
    return mNextSysTimerNumber;
}

void SharedTimer::updateNextUserTimerIdValue()
{
    SyncGuard lGuard(mDataSyncObject);
    do
    {
        mNextUserTimerId = mNextUserTimerId == INT_MAX ? 1 : mNextUserTimerId + 1;
    } while (findTimer(mNextUserTimerId) != nullptr);
}

/// Result: false for an unknown id.
bool SharedTimer::removeTimerLocked(int nTimerId)
{
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr)
    {
        return false;
    }
    if (lpInfo->mSysTimerNumber != -1)
    {
        internal::deleteKernelTimer(*lpInfo); // started again since it was stopped, or the kernel refused
    }
    TimerSignalValue::release(lpInfo->mpSignalValue);
    mTimerMap.erase(nTimerId);
    releaseWaitersLocked(nTimerId, KIND_ANY);
    return true;
}

void SharedTimer::enlistLocked(Waiter& nWaiter)
{
    nWaiter.mpNext = mpWaiters;
    mpWaiters = &nWaiter;
}

void SharedTimer::unlistLocked(Waiter const& nWaiter)
{
    for (Waiter** lpLink = &mpWaiters; *lpLink != nullptr; lpLink = &(*lpLink)->mpNext)
    {
        if (*lpLink == &nWaiter)
        {
            *lpLink = nWaiter.mpNext;
            return;
        }
    }
}

void SharedTimer::releaseWaitersLocked(int nTimerId, Kind nKind)
{
    for (Waiter** lpLink = &mpWaiters; *lpLink != nullptr;)
    {
        Waiter* const lpWaiter = *lpLink;
        if (lpWaiter->mTimerId == nTimerId && (lpWaiter->mKind & nKind) != 0)
        {
            *lpLink = lpWaiter->mpNext;
            lpWaiter->mEvent.setOn(); // from here on it may be gone
        }
        else
        {
            lpLink = &lpWaiter->mpNext;
        }
    }
}

// ---------------------------------------------------------------------------------------------- the loop

unsigned int SharedTimer::execute()
{
    gTimerSignal.admit();
    mLoopEvent.setOn();
    internal::PipeRecord lRecord;
    bool lIsReadable = true;
    do
    {
        lIsReadable = waitForRecord(&lRecord);
    } while (lIsReadable && executeTurn(lRecord));
    eraseAllTimer();
    return lIsReadable ? 0 : ~0U;
}

/// Result: false when the pipe cannot be read any more.
bool SharedTimer::waitForRecord(internal::PipeRecord* npRecord)
{
    *npRecord = internal::PipeRecord{MSG_ID_NONE, -1};
    if (!mpPipe->hasBuffered())
    {
        mpPipe->settleBeforeRead([this](auto... nArguments) { return copyOwed(nArguments...); });
    }
    if (mpPipe->takeLost())
    {
        SyncGuard lGuard(mDataSyncObject);
        mOwnWakeUps = mCtlQueue.size();
    }
    if (!mpPipe->hasBuffered() && mOwnWakeUps > 0)
    {
        --mOwnWakeUps;
        return true;
    }
    unsigned int lRead = 0;
    while (!readRecord(npRecord, &lRead))
    {
        int const lError = errno;
        if (lError != EINTR)
        {
            applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) Error. read Ret:%u errno:%d !!Break msg loop!!",
                   getName().c_str(), lRead, lError);
            return false;
        }
        applog(UTL_LOG_TYPE, 3, "SharedTimerThread(%s) Error. read Ret:%u errno:%d=EINTR Retry read", getName().c_str(),
               lRead, lError);
    }
    return true;
}

/// An idle thread is not a hung thread: the watchdog looks away while we wait.
bool SharedTimer::readRecord(internal::PipeRecord* npRecord, unsigned int* npRead)
{
    if (mpPipe->hasBuffered() || !isUnderWatchdog())
    {
        return mpPipe->read(npRecord, npRead);
    }
    ThreadManager::get()->keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", 632, 0));
    stopWatchdog();
    bool const lIsRead = mpPipe->read(npRecord, npRead);
    int const lError = errno;
    startWatchdog();
    ThreadManager::get()->keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", 651, 0));
    errno = lError;
    return lIsRead;
}

bool SharedTimer::isUnderWatchdog()
{
    unsigned int const lVersion = internal::watchdog::gTableVersion.load(std::memory_order_acquire);
    if (lVersion != mWatchdogTableVersion)
    {
        mIsUnderWatchdog = ThreadManager::get()->isRegisteredWatchdog(0);
        mWatchdogTableVersion = lVersion;
    }
    return mIsUnderWatchdog;
}

/// To whom the timer thread reports its kernel calls: nobody, where nobody would listen.
ThreadManager* SharedTimer::reportsTo()
{
    ThreadManager* const lpManager = ThreadManager::get();
    return isUnderWatchdog() ? lpManager : nullptr;
}

/// What one pipe record gives rise to. Result: false when the loop is to end.
bool SharedTimer::executeTurn(internal::PipeRecord const& nRecord)
{
    logHandlerError();
    if (nRecord.mMsgId == MSG_ID_TIMEOUT_SIGNAL)
    {
        executeTimeoutSignal(toUserTimerId(nRecord.mParam));
        return true;
    }
    TimerCtlMsg lHead;
    if (!popHead(&lHead))
    {
        return true;
    }
    int const lResult = dispatch(lHead);
    if (isUnderWatchdog())
    {
        ThreadManager::get()->keepAliveWatchdog(StatementInfo(FILE_NAME, "execute", 780, 0));
    }
    if (lResult != 0)
    {
        applog(UTL_LOG_TYPE, 1, "!!!!!!!! SharedTimerThread(%s) Error. MsgId:0x%08x !!!!!!!!", getName().c_str(),
               static_cast<unsigned int>(lHead.mMsgId));
    }
    return !hasRequestedStop();
}

bool SharedTimer::popHead(TimerCtlMsg* npHead)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerCtlMsg const* const lpHead = mCtlQueue.at(0);
    if (lpHead == nullptr)
    {
        return false;
    }
    *npHead = *lpHead;
    mCtlQueue.pop();
    return true;
}

int SharedTimer::dispatch(TimerCtlMsg const& nHead)
{
    int const lTimerId = nHead.mParam;
    if (nHead.mMsgId == TIMER_CTL_TIMEOUT)
    {
        onTime(lTimerId);
    }
    int lResult = 0;
    SyncGuard lGuard(mDataSyncObject);
    switch (nHead.mMsgId)
    {
    case TIMER_CTL_START:
        lResult = updateOnStart(lTimerId);
        finishUpdate(lTimerId);
        releaseWaitersLocked(lTimerId, KIND_START);
        break;
    case TIMER_CTL_STOP:
        lResult = updateOnStop(lTimerId);
        finishUpdate(lTimerId);
        releaseWaitersLocked(lTimerId, KIND_STOP);
        break;
    case TIMER_CTL_ERASE:
        lResult = updateOnStop(lTimerId);
        removeTimerLocked(lTimerId);
        break;
    case TIMER_CTL_TIMEOUT:
        lResult = updateOnTimeout(lTimerId);
        finishUpdate(lTimerId);
        break;
    default: // TIMER_CTL_STOP_THREAD: the loop looks at the stop request after every dispatch
        break;
    }
    return lResult;
}

void SharedTimer::onTime(int nTimerId)
{
    TimerListener* lpListener = nullptr;
    {
        SyncGuard lGuard(mDataSyncObject);
        TimerInfo const* const lpInfo = findTimer(nTimerId);
        lpListener = lpInfo != nullptr ? lpInfo->mpTimerListener : nullptr;
    }
    if (lpListener != nullptr)
    {
        lpListener->onTime(nTimerId);
    }
}

/// A signal of the timer has come over the pipe: queues a time-out, unless enough of them wait.
void SharedTimer::executeTimeoutSignal(int nTimerId)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr || !internal::mayQueueTimeout(*lpInfo))
    {
        return;
    }
    ++lpInfo->mPendingTimeoutCount;
    if (mCtlQueue.push(TimerCtlMsg{TIMER_CTL_TIMEOUT, nTimerId}))
    {
        ++mOwnWakeUps; // what we tell ourselves needs no pipe
    }
}

int SharedTimer::updateOnStart(int nTimerId)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr)
    {
        return 0;
    }
    lpInfo->mTimeoutCount = 0;
    stopTimerByTimerInfo(lpInfo); // two starts were queued before the first was served
    if (!startTimerByTimerInfo(lpInfo))
    {
        return -1;
    }
    lpInfo->mpRunningEvent->setOn();
    return 0;
}

int SharedTimer::updateOnStop(int nTimerId)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr)
    {
        return 0;
    }
    if (!stopTimerByTimerInfo(lpInfo))
    {
        return -1;
    }
    lpInfo->mpRunningEvent->setOff();
    return 0;
}

int SharedTimer::updateOnTimeout(int nTimerId)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo == nullptr)
    {
        return 0;
    }
    if (internal::countTimeout(*lpInfo))
    {
        stopTimerByTimerInfo(lpInfo);
        lpInfo->mpRunningEvent->setOff();
        releaseWaitersLocked(nTimerId, KIND_STOP);
        return 0;
    }
    if (lpInfo->mIsFreeRunning != 0 && !lpInfo->mHasNewInterval)
    {
        return 0;
    }
    // A new kernel timer and a new number: the next period counts from here, and what is still on its way is stale.
    stopTimerByTimerInfo(lpInfo);
    return startTimerByTimerInfo(lpInfo) ? 0 : -1;
}

void SharedTimer::finishUpdate(int nTimerId)
{
    SyncGuard lGuard(mDataSyncObject);
    TimerInfo* const lpInfo = findTimer(nTimerId);
    if (lpInfo != nullptr)
    {
        lpInfo->mHasNewInterval = false;
    }
}

bool SharedTimer::startTimerByTimerInfo(TimerInfo* npInfo)
{
    // Where the constructor failed to install the handler: without it the signal would end the process.
    if (!installSignalHandler())
    {
        return false;
    }
    ThreadManager* const lpReports = reportsTo();
    int const lNumber = getNextSysTimerNumber();
    void* lpTimerId = nullptr;
    if (blockingCall(lpReports, FILE_NAME, "startTimerByTimerInfo", 1118,
                     [&] {
                         return internal::createKernelTimer(*npInfo, gTimerSignal.number(), lNumber, mpPipe->writeFd(),
                                                            &lpTimerId);
                     }) != 0)
    {
        applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) timer_create SysTimerId:0x%08x errno:%d\n", getName().c_str(),
               asHex(lpTimerId), errno);
        return false;
    }
    if (blockingCall(lpReports, FILE_NAME, "startTimerByTimerInfo", 1136,
                     [&] { return internal::armKernelTimer(*npInfo, lNumber, lpTimerId); }) != 0)
    {
        applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) timer_settime SysTimerId:0x%08x errno:%d\n", getName().c_str(),
               asHex(lpTimerId), errno);
        return false;
    }
    return true;
}

/// Deletes the kernel timer, where one runs, and the timer's waiting time-outs; all others keep their order.
bool SharedTimer::stopTimerByTimerInfo(TimerInfo* npInfo)
{
    if (npInfo->mSysTimerNumber == -1 || npInfo->mpRunningEvent->isOff())
    {
        return true;
    }
    if (blockingCall(reportsTo(), FILE_NAME, "stopTimerByTimerInfo", 1179,
                     [&] { return internal::deleteKernelTimer(*npInfo); }) != internal::KernelTimerResult::DONE)
    {
        applog(UTL_LOG_TYPE, 1, "SharedTimerThread(%s) timer_delete SysTimerId:0x%08x errno:%d", getName().c_str(),
               asHex(npInfo->mSysTimerId), errno);
        return false;
    }
    SyncGuard lGuard(mDataSyncObject);
    int const lTimerId = toUserTimerId(npInfo->mSysTimerNumber);
    for (unsigned int lIndex = mCtlQueue.size(); lIndex-- > 0;)
    {
        TimerCtlMsg const* const lpRecord = mCtlQueue.at(lIndex);
        if (lpRecord->mMsgId == TIMER_CTL_TIMEOUT && lpRecord->mParam == lTimerId)
        {
            mCtlQueue.erase(lIndex, 1);
        }
    }
    npInfo->mSysTimerNumber = -1;
    npInfo->mSysTimerId = nullptr;
    npInfo->mPendingTimeoutCount = 0;
    return true;
}

/// The end of all timers, and of whoever waits for one.
void SharedTimer::eraseAllTimer()
{
    SyncGuard lGuard(mDataSyncObject);
    mHasLoopEnded = true;
    mCtlQueue.clear();
    for (unsigned int lIndex = 0; lIndex < mTimerMap.size(); ++lIndex)
    {
        updateOnStop(mTimerMap.at(lIndex)->mKey);
    }
    while (mTimerMap.size() > 0)
    {
        removeTimerLocked(mTimerMap.at(mTimerMap.size() - 1)->mKey);
    }
}

} // namespace utl
