// The software watchdog: its table, its thread and its verdicts.
#include "UtlThreadWatchdog.h"

#include "UtlApplog.h"
#include "UtlMsgDrivenThread.h"
#include "UtlString.h"
#include "UtlThreadManager.h"
#include "UtlTimeCounter.h"
#include "internal/base/UtlThreadSlots.h"
#include "internal/message/UtlLoopList.h"
#include "internal/thread/UtlWatchdogJudge.h"
#include "internal/thread/UtlWatchdogPort.h"

#include <cstring>
#include <new>

namespace utl
{

namespace
{

unsigned int const MAX_MSG_SIZE = 4;
unsigned int const MAX_MSG_COUNT = 64;
unsigned int const MAX_BEAT_MS = 1U << 29; // with a longer interval a deadline makes no sense
int const MSG_ID_REST = 1;                 // there are no more beats

// Most threads are not registered, but report at every blocking call. They need no lock for that until somebody
// enters or leaves the table.
thread_local ThreadWatchdog const* tpUnknownTo = nullptr;
thread_local unsigned int tTableVersion = 0; // the table's version when the thread was last looked up

char const* watchLabel(int nStatus)
{
    return nStatus == WatchdogInfo::WATCHING ? "WATCHING" : "NOT_WATCHING";
}

char const* aliveLabel(int nStatus)
{
    return nStatus == WatchdogInfo::ALIVE ? "ALIVE" : nStatus == WatchdogInfo::TIMED_OUT ? "TIMEOUT" : "UNKNOWN";
}

void printTable(int nLevel, WatchdogInfoMap const& nInfos)
{
    applog(UTL_LOG_TYPE, nLevel, "ThreadWatchdog:: Watchdog info of threads in this process.");
    applog(UTL_LOG_TYPE, nLevel,
           "ID        , Name                            , AliveTime , WatchStatus , AliveStatus , TimeoutCount , "
           "LastAliveInfo(File, Function:Line:Sub) , ");
    for (unsigned int lIndex = 0; lIndex < nInfos.size(); ++lIndex)
    {
        WatchdogInfo const& lInfo = nInfos.at(lIndex)->mValue;
        char lName[32] = {};
        copyStrBase<char>(lName, sizeof(lName), lInfo.mName.c_str(), ~0U, 1);
        applog(UTL_LOG_TYPE, nLevel, "%10d, %-32s, %10u, %-12s, %-12s, %13u, (%s, %s:%u:%u)", lInfo.mId, lName,
               lInfo.mAliveTime, watchLabel(lInfo.mWatchStatus), aliveLabel(lInfo.mAliveStatus), lInfo.mTimeoutCount,
               lInfo.mLastAliveInfo.file(), lInfo.mLastAliveInfo.function(), lInfo.mLastAliveInfo.line(),
               lInfo.mLastAliveInfo.sub());
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------- what is known of a
// thread

WatchdogInfo const WatchdogInfo::INVALID;

WatchdogInfo::WatchdogInfo(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName,
                           int nWatchStatus)
    : mId(nId),
      mAliveTime(nAliveTimeMs),
      mpListener(npListener),
      mWatchStatus(nWatchStatus),
      mName(npName, 0, 0)
{
}

bool WatchdogInfo::operator==(WatchdogInfo const& nOther) const
{
    return mId == nOther.mId && mAliveTime == nOther.mAliveTime && mpListener == nOther.mpListener &&
           mLastAliveTick == nOther.mLastAliveTick && mWatchStatus == nOther.mWatchStatus &&
           mAliveStatus == nOther.mAliveStatus && mTimeoutCount == nOther.mTimeoutCount &&
           mLastAliveInfo == nOther.mLastAliveInfo && std::strcmp(mName.c_str(), nOther.mName.c_str()) == 0;
}

bool WatchdogInfo::isOverdue(unsigned int nNowTick) const
{
    return mWatchStatus == WATCHING && mAliveStatus != TIMED_OUT && nNowTick >= mLastAliveTick &&
           nNowTick - mLastAliveTick >= mAliveTime;
}

/// Serves a thread that was registered without a listener.
class ThreadWatchdog::DefaultTimerListener : public WatchdogTimerListener
{
public:
    void onTime(int, WatchdogInfoMap const& nInfos) override { printTable(3, nInfos); }
};

// ---------------------------------------------------------------------------------------------- life

ThreadWatchdog::ThreadWatchdog(unsigned int nEntryMax)
    : mWatchdogInfos(nEntryMax)
{
    mpThread = new MsgDrivenThread(MAX_MSG_SIZE, MAX_MSG_COUNT, "Watchdog Thread", nEntryMax);
    mpThread->setApart();
    internal::showLock("the watchdog", internal::mutexOf(mSyncObject));
}

ThreadWatchdog::~ThreadWatchdog()
{
    internal::hideLock(internal::mutexOf(mSyncObject));
    delete mpThread; // first: a check that is under way needs the table and the lock to its end
}

bool ThreadWatchdog::initialize(unsigned int nIntervalMs)
{
    // The thread may run already: an earlier call may have run out of memory after the start.
    if (mIsInitialized || !(mpThread->isRunning() ||
                            mpThread->start(this, 0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0) == 0))
    {
        return false;
    }
    mIntervalMs = nIntervalMs;
    mTimerId = mpThread->setTimer(nIntervalMs, 0, 0, 0);
    if (mTimerId == -1)
    {
        return false;
    }
    setBeatDeadline();
    mIsInitialized = true;
    ++internal::watchdog::gTableVersion;
    return true;
}

void ThreadWatchdog::shutdown()
{
    mTimerId = -1;
    mBeatDeadline = WatchdogInfo::NO_TICK;
    mpThread->stop(1, 0);
    mBeatDeadline = WatchdogInfo::NO_TICK; // once more: the end of a beat may have set it
    mpThread->leaveManagement();
    mIsInitialized = false;
    ++internal::watchdog::gTableVersion;
}

bool ThreadWatchdog::setWatchInterval(unsigned int nIntervalMs)
{
    if (!mIsInitialized)
    {
        return false;
    }
    // Another thread may be doing the same: the second one stops the timer of the first.
    mpThread->killTimer(mTimerId.exchange(-1), 0);
    mIntervalMs = nIntervalMs;
    int const lTimerId = mpThread->setTimer(nIntervalMs, 0, 0, 0);
    int const lOtherId = lTimerId != -1 ? mTimerId.exchange(lTimerId) : -1;
    if (lOtherId != -1)
    {
        mpThread->killTimer(lOtherId, 0);
    }
    setBeatDeadline();
    restWithoutBeat();
    return lTimerId != -1;
}

// ---------------------------------------------------------------------------------------------- the table

WatchdogInfo* ThreadWatchdog::findWatchdogInfo(int nId)
{
    auto* const lpPair = mWatchdogInfos.find(nId);
    return lpPair != nullptr ? &lpPair->mValue : nullptr;
}

bool ThreadWatchdog::entry(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName)
{
    if (nAliveTimeMs == 0)
    {
        applog(UTL_LOG_TYPE, 1, "ThreadWatchdog Register AliveTime is 0 ID:%d ", nId);
        return false;
    }
    if (npName == nullptr || !mIsInitialized)
    {
        return false;
    }
    SyncGuard lGuard(mSyncObject);
    WatchdogInfo const lInfo(nId, nAliveTimeMs, npListener, npName, WatchdogInfo::NOT_WATCHING);
    if (findWatchdogInfo(nId) != nullptr || !mWatchdogInfos.insert(nId, lInfo))
    {
        applog(UTL_LOG_TYPE, 1, "ThreadWatchdog Register EntryMap ID:%d", nId);
        return false;
    }
    ++internal::watchdog::gTableVersion;
    applog(UTL_LOG_TYPE, 4, "ThreadWatchdog Register ID:%d, AliveTime:%u, Name:%s", nId, nAliveTimeMs, npName);
    return true;
}

bool ThreadWatchdog::unregister(int nId)
{
    SyncGuard lGuard(mSyncObject);
    if (!mIsInitialized || !mWatchdogInfos.erase(nId))
    {
        return false;
    }
    ++internal::watchdog::gTableVersion;
    return true;
}

bool ThreadWatchdog::isRegistered(int nId)
{
    SyncGuard lGuard(mSyncObject);
    return mIsInitialized && findWatchdogInfo(nId) != nullptr;
}

bool ThreadWatchdog::isWatching(int nId)
{
    SyncGuard lGuard(mSyncObject);
    WatchdogInfo const* const lpInfo = findWatchdogInfo(nId);
    return mIsInitialized && lpInfo != nullptr && lpInfo->mWatchStatus == WatchdogInfo::WATCHING;
}

bool ThreadWatchdog::setAliveTime(int nId, unsigned int nAliveTimeMs)
{
    if (nAliveTimeMs == 0)
    {
        applog(UTL_LOG_TYPE, 1, "ThreadWatchdog Register AliveTime is 0 ID:%d ", nId);
        return false;
    }
    return mIsInitialized && executeSetAliveTime(nId, nAliveTimeMs);
}

bool ThreadWatchdog::executeSetAliveTime(int nId, unsigned int nAliveTimeMs)
{
    SyncGuard lGuard(mSyncObject);
    WatchdogInfo* const lpInfo = findWatchdogInfo(nId);
    if (lpInfo == nullptr)
    {
        return false;
    }
    lpInfo->mAliveTime = nAliveTimeMs;
    if (lpInfo->mWatchStatus == WatchdogInfo::WATCHING)
    {
        lpInfo->mLastAliveTick = TimeCounter::getTickTime();
    }
    return true;
}

bool ThreadWatchdog::start(int nId)
{
    return mIsInitialized && executeStart(nId);
}

bool ThreadWatchdog::executeStart(int nId)
{
    SyncGuard lGuard(mSyncObject);
    WatchdogInfo* const lpInfo = findWatchdogInfo(nId);
    if (lpInfo == nullptr)
    {
        return false;
    }
    lpInfo->mWatchStatus = WatchdogInfo::WATCHING;
    if (lpInfo->mLastAliveTick == WatchdogInfo::NO_TICK)
    {
        lpInfo->mLastAliveTick = TimeCounter::getTickTime();
    }
    return true;
}

bool ThreadWatchdog::stop(int nId)
{
    return mIsInitialized && executeStop(nId);
}

bool ThreadWatchdog::executeStop(int nId)
{
    SyncGuard lGuard(mSyncObject);
    WatchdogInfo* const lpInfo = findWatchdogInfo(nId);
    if (lpInfo == nullptr)
    {
        return false;
    }
    lpInfo->mWatchStatus = WatchdogInfo::NOT_WATCHING;
    lpInfo->mLastAliveTick = WatchdogInfo::NO_TICK;
    return true;
}

bool ThreadWatchdog::keepAlive(StatementInfo const& nStatement)
{
    unsigned int const lVersion = internal::watchdog::gTableVersion.load(std::memory_order_acquire);
    if (!mIsInitialized || (tpUnknownTo == this && tTableVersion == lVersion))
    {
        return false;
    }
    bool const lIsKnown = executeKeepAlive(ThreadManager::getCallerId(), nStatement);
    tpUnknownTo = lIsKnown ? nullptr : this;
    tTableVersion = lVersion;
    return lIsKnown;
}

bool ThreadWatchdog::executeKeepAlive(int nId, StatementInfo const& nStatement)
{
    SyncGuard lGuard(mSyncObject);
    if (mIsInKeepAlive)
    {
        return true; // reported from inside a report, by the log for example
    }
    WatchdogInfo* const lpInfo = findWatchdogInfo(nId);
    if (lpInfo == nullptr)
    {
        return false;
    }
    if (lpInfo->mWatchStatus != WatchdogInfo::WATCHING)
    {
        return true;
    }
    mIsInKeepAlive = true;
    if (lpInfo->mAliveStatus == WatchdogInfo::TIMED_OUT)
    {
        applog(UTL_LOG_TYPE, 3, "ThreadWatchdog Timeout->Alive ID:%d Name:%s", nId, lpInfo->mName.c_str());
    }
    lpInfo->mAliveStatus = WatchdogInfo::ALIVE;
    lpInfo->mLastAliveInfo = nStatement;
    lpInfo->mLastAliveTick = TimeCounter::getTickTime();
    mIsInKeepAlive = false;
    return true;
}

void ThreadWatchdog::printWatchdogInfo(int nLevel)
{
    if (mIsInitialized)
    {
        SyncGuard lGuard(mSyncObject);
        printTable(nLevel, mWatchdogInfos);
    }
}

// ---------------------------------------------------------------------------------------------- the beat

void ThreadWatchdog::receiveMsg(int, ThreadRawMsg& nRawMsg)
{
    int lMsgId = MSG_ID_NONE;
    TimerMsg lMsg;
    if (nRawMsg.getMsgId(&lMsgId) && lMsgId == MSG_ID_TIMER && lMsg.restoreFrom(nRawMsg) && lMsg.mTimerId == mTimerId)
    {
        unsigned int const lNowTick = TimeCounter::getTickTime();
        if (lNowTick != WatchdogInfo::NO_TICK) // if the clock fails, no time has passed
        {
            internal::WatchdogJudge* const lpJudge = beginJudgement(); // before the listeners, which may take long
            executeWatchThreads(lNowTick);
            if (lpJudge != nullptr)
            {
                executeJudgement(*lpJudge, lNowTick);
            }
        }
        setBeatDeadline();
    }
    internal::WatchdogJudge* const lpJudge = lMsgId == MSG_ID_REST && !hasBeat() ? judge() : nullptr;
    lpJudge != nullptr ? lpJudge->rest() : void();
}

/// Checks all threads with one time. The table may change between two time-outs; a thread that was just reported is not
/// overdue any more.
void ThreadWatchdog::executeWatchThreads(unsigned int nNowTick)
{
    for (int lId = findOverdue(nNowTick); lId != 0; lId = findOverdue(nNowTick))
    {
        executeWatchdogTimeout(lId);
    }
}

/// The lowest id that is overdue; 0 for none.
int ThreadWatchdog::findOverdue(unsigned int nNowTick)
{
    SyncGuard lGuard(mSyncObject);
    for (unsigned int lIndex = 0; lIndex < mWatchdogInfos.size(); ++lIndex)
    {
        WatchdogInfo const& lInfo = mWatchdogInfos.at(lIndex)->mValue;
        if (lInfo.isOverdue(nNowTick))
        {
            return lInfo.mId;
        }
    }
    return 0;
}

void ThreadWatchdog::executeWatchdogTimeout(int nId)
{
    DefaultTimerListener lDefaultListener;
    WatchdogTimerListener* lpListener = &lDefaultListener;
    WatchdogInfoMap lSnapshot(0);
    {
        SyncGuard lGuard(mSyncObject);
        WatchdogInfo* const lpInfo = findWatchdogInfo(nId);
        if (lpInfo == nullptr || lpInfo->mWatchStatus != WatchdogInfo::WATCHING ||
            lpInfo->mAliveStatus == WatchdogInfo::TIMED_OUT)
        {
            return;
        }
        lpInfo->mAliveStatus = WatchdogInfo::TIMED_OUT;
        ++lpInfo->mTimeoutCount;
        applog(UTL_LOG_TYPE, 1, "!!!!!!!! ThreadWatchdog Timeout ID:%d Name:%s !!!!!!!!", lpInfo->mId,
               lpInfo->mName.c_str());
        try
        {
            lSnapshot.array().resizeMax(mWatchdogInfos.size());
            lSnapshot.array().copy(mWatchdogInfos.array(), ~0U);
        }
        catch (std::bad_alloc const&) // uncaught on our own thread, it would end the process
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "ThreadWatchdog No memory for the table  ID:%d", nId);
        }
        lpListener = lpInfo->mpListener != nullptr ? lpInfo->mpListener : lpListener;
    }
    char lText[128];
    if (mHasReport && internal::LoopList::describe(nId, lText, sizeof(lText)))
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "ThreadWatchdog Timeout ID:%d %s", nId, lText);
    }
    lpListener->onTime(nId, lSnapshot);
}

// ---------------------------------------------------------------------------------------------- the judgement

void ThreadWatchdog::setVerdictListener(WatchdogVerdictListener* npListener)
{
    SyncGuard lGuard(mSyncObject);
    makeJudgeLocked();
    mpVerdictListener = npListener;
}

void ThreadWatchdog::setReport(bool nIsOn)
{
    SyncGuard lGuard(mSyncObject);
    makeJudgeLocked();
    mHasReport = nIsOn;
}

void ThreadWatchdog::makeJudgeLocked()
{
    if (mpJudge == nullptr)
    {
        mpJudge = std::make_unique<internal::WatchdogJudge>(mWatchdogInfos.maxSize());
    }
}

/// Result: null if verdicts were never asked for.
internal::WatchdogJudge* ThreadWatchdog::judge()
{
    SyncGuard lGuard(mSyncObject);
    return mpJudge.get();
}

/// Result: null if verdicts are not asked for now.
internal::WatchdogJudge* ThreadWatchdog::beginJudgement()
{
    internal::WatchdogJudge* const lpJudge = judge();
    if (lpJudge == nullptr)
    {
        return nullptr;
    }
    if (!mHasReport && mpVerdictListener == nullptr)
    {
        lpJudge->rest();
        return nullptr;
    }
    lpJudge->begin(mIntervalMs, mTimerId);
    return lpJudge;
}

bool ThreadWatchdog::hasBeat() const
{
    unsigned int const MAX_INTERVAL_MS = 0x7FFFFFFF; // the kernel takes no more
    unsigned int const lIntervalMs = mIntervalMs;
    return mTimerId != -1 && lIntervalMs != 0 && lIntervalMs <= MAX_INTERVAL_MS;
}

/// For a watchdog without a beat: the judge closes its descriptors, on the watchdog thread.
void ThreadWatchdog::restWithoutBeat()
{
    if (judge() != nullptr && !hasBeat() &&
        !mpThread->sendMsgSync(MSG_ID_REST)) // refused on the watchdog thread itself
    {
        mpThread->postMsg(MSG_ID_REST);
    }
}

/// Sets the deadline to twice the interval after the end of a beat.
void ThreadWatchdog::setBeatDeadline()
{
    unsigned int const lIntervalMs = mIntervalMs;
    unsigned int const lNowTick = TimeCounter::getTickTime();
    bool const lHasBeat = hasBeat() && lIntervalMs <= MAX_BEAT_MS;
    if (!lHasBeat || lNowTick != WatchdogInfo::NO_TICK)
    {
        mBeatDeadline = lHasBeat ? lNowTick + 2 * lIntervalMs : WatchdogInfo::NO_TICK;
    }
}

/// Takes samples and calls the listener without the lock.
void ThreadWatchdog::executeJudgement(internal::WatchdogJudge& nJudge, unsigned int nNowTick)
{
    {
        SyncGuard lGuard(mSyncObject);
        for (unsigned int lIndex = 0; lIndex < mWatchdogInfos.size(); ++lIndex)
        {
            WatchdogInfo const& lInfo = mWatchdogInfos.at(lIndex)->mValue;
            if (lInfo.mWatchStatus == WatchdogInfo::WATCHING && nNowTick >= lInfo.mLastAliveTick)
            {
                nJudge.see({lInfo.mId, lInfo.mLastAliveTick, nNowTick - lInfo.mLastAliveTick, lInfo.mAliveTime});
            }
        }
    }
    for (unsigned int lIndex = 0; lIndex < nJudge.maxThreads(); ++lIndex)
    {
        WatchdogVerdict lVerdict;
        if (nJudge.look(lIndex, &lVerdict))
        {
            tellVerdict(lVerdict);
        }
    }
    if (WatchdogVerdictListener* const lpListener = mpVerdictListener)
    {
        lpListener->onBeat();
    }
    nJudge.end();
}

void ThreadWatchdog::tellVerdict(WatchdogVerdict& nVerdict)
{
    {
        SyncGuard lGuard(mSyncObject);
        WatchdogInfo const* const lpInfo = findWatchdogInfo(nVerdict.mThreadId);
        copyStrBase<char>(nVerdict.mName, sizeof(nVerdict.mName), lpInfo != nullptr ? lpInfo->mName.c_str() : "", ~0U,
                          1);
    }
    if (mHasReport)
    {
        bool const lIsHung = nVerdict.mVerdict == Verdict::RUNNING || nVerdict.mVerdict == Verdict::BLOCKED;
        applog(UTL_LOG_TYPE, lIsHung ? LOG_LEVEL_ERROR : LOG_LEVEL_WARNING,
               "ThreadWatchdog Verdict ID:%d Name:%s  %s  Silent:%ums Run:%ums Blocked:%ums Starved:%ums Stopped:%ums "
               "Holder:%d",
               nVerdict.mThreadId, nVerdict.mName, text(nVerdict.mVerdict), nVerdict.mSilentMs, nVerdict.mRunMs,
               nVerdict.mBlockedMs, nVerdict.mStarvedMs, nVerdict.mStoppedMs, nVerdict.mHolderId);
    }
    if (WatchdogVerdictListener* const lpListener = mpVerdictListener)
    {
        lpListener->onVerdict(nVerdict);
    }
}

char const* text(Verdict nVerdict)
{
    static char const* const TEXTS[] = {"undecided", "hung: runs without end", "hung: blocked", "starved",
                                        "was stopped"};
    auto const lIndex = static_cast<unsigned int>(nVerdict);
    return lIndex < sizeof(TEXTS) / sizeof(TEXTS[0]) ? TEXTS[lIndex] : "no such verdict";
}

// ---------------------------------------------------------------------------------------------- for the layers below

namespace internal::watchdog
{

std::atomic<unsigned int> gTableVersion{1};

ThreadWatchdog* create(unsigned int nEntryMax)
{
    return new ThreadWatchdog(nEntryMax);
}

void destroy(ThreadWatchdog* npWatchdog)
{
    delete npWatchdog;
}

bool initialize(ThreadWatchdog& nWatchdog, unsigned int nIntervalMs)
{
    return nWatchdog.initialize(nIntervalMs);
}

void shutdown(ThreadWatchdog& nWatchdog)
{
    nWatchdog.shutdown();
}

bool setWatchInterval(ThreadWatchdog& nWatchdog, unsigned int nIntervalMs)
{
    return nWatchdog.setWatchInterval(nIntervalMs);
}

bool entry(ThreadWatchdog& nWatchdog, int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener,
           char const* npName)
{
    return nWatchdog.entry(nId, nAliveTimeMs, npListener, npName);
}

bool unregister(ThreadWatchdog& nWatchdog, int nId)
{
    return nWatchdog.unregister(nId);
}

bool isRegistered(ThreadWatchdog& nWatchdog, int nId)
{
    return nWatchdog.isRegistered(nId);
}

bool isWatching(ThreadWatchdog& nWatchdog, int nId)
{
    return nWatchdog.isWatching(nId);
}

bool setAliveTime(ThreadWatchdog& nWatchdog, int nId, unsigned int nAliveTimeMs)
{
    return nWatchdog.setAliveTime(nId, nAliveTimeMs);
}

bool start(ThreadWatchdog& nWatchdog, int nId)
{
    return nWatchdog.start(nId);
}

bool stop(ThreadWatchdog& nWatchdog, int nId)
{
    return nWatchdog.stop(nId);
}

bool keepAlive(ThreadWatchdog& nWatchdog, StatementInfo const& nStatement)
{
    return nWatchdog.keepAlive(nStatement);
}

void forgetCaller(ThreadWatchdog const& nWatchdog)
{
    tpUnknownTo = &nWatchdog;
    tTableVersion = gTableVersion;
}

void setVerdictListener(ThreadWatchdog& nWatchdog, WatchdogVerdictListener* npListener)
{
    nWatchdog.setVerdictListener(npListener);
}

void setReport(ThreadWatchdog& nWatchdog, bool nIsOn)
{
    nWatchdog.setReport(nIsOn);
}

unsigned int beatDeadline(ThreadWatchdog const& nWatchdog)
{
    return nWatchdog.beatDeadline();
}

void printWatchdogInfo(ThreadWatchdog& nWatchdog, int nLevel)
{
    nWatchdog.printWatchdogInfo(nLevel);
}

} // namespace internal::watchdog

} // namespace utl
