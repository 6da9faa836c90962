// The timers of one loop.
#include "internal/message/UtlTimerTable.h"

#include "UtlApplog.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/thread/UtlBlockingCall.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include <time.h>

#ifndef sigev_notify_thread_id
#define sigev_notify_thread_id _sigev_un._tid // older C libraries have the member without the name
#endif

namespace utl::internal
{

namespace
{

/// A kernel timer's handle in the form that the log shows.
unsigned int asHex(void* npTimerId)
{
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(npTimerId));
}

long long intervalNs(TimerInfo const& nInfo)
{
    return nInfo.mIntervalMs * 1000000LL;
}

/// Whether a signal is from before the timer was set again: it comes too early. nNowNs: 0 if the clock failed.
bool isHeard(TimerInfo const& nInfo, long long nNowNs)
{
    bool const lIsStale = nInfo.mAwaitsFirst && nNowNs != 0 && nNowNs < nInfo.mDueNs;
    return nInfo.mDueNs != TimerInfo::NEVER && nInfo.mpRunningEvent->isOn() && !lIsStale;
}

} // namespace

TimerTable::TimerTable(Kind const& nKind, unsigned int nMaxTimers, char const* npName)
    : mKind(nKind),
      mpName(npName),
      mTimers(nMaxTimers),
      mNotes(nMaxTimers)
{
}

/// Makes a kernel call, between two reports to the watchdog if this kind reports its calls.
template <class Call>
int TimerTable::reported(char const* npFunction, unsigned int nLine, Call nCall) const
{
    return mKind.mpReportFile != nullptr ? blockingCall(mKind.mpReportFile, npFunction, nLine, nCall) : nCall();
}

bool TimerTable::installHandler()
{
    if (mKind.mSignal.isInstalled())
    {
        return true;
    }
    int const lResult = reported("SharedTimer", mKind.mLineOfSigaction, [this] { return mKind.mSignal.install(); });
    if (lResult == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpSigactionFailed, errno);
    }
    else if (lResult == 1 && mKind.mpSigactionDone != nullptr)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_DETAIL, mKind.mpSigactionDone, mKind.mSignal.number());
    }
    return lResult != -1;
}

// ---------------------------------------------------------------------------------------------- the table

int TimerTable::insert(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                       int nIsFreeRunning)
{
    if (mpShown == nullptr)
    {
        mpShown = std::make_unique<ShownTimers>();
    }
    TimerInfo lInfo;
    lInfo.mpTimerListener = npListener;
    lInfo.mIntervalMs = static_cast<int>(nIntervalMs);
    lInfo.mMaxTimeoutCount = nMaxTimeoutCount;
    lInfo.mIsFreeRunning = nIsFreeRunning;
    lInfo.mpRunningEvent = makeSmart<Event>(0, 1);
    return mTimers.insert(mNextUserTimerId, lInfo) ? mNextUserTimerId : -1;
}

void TimerTable::withdraw(int nTimerId)
{
    mTimers.erase(nTimerId);
    mNextUserTimerId = nTimerId;
}

TimerInfo* TimerTable::find(int nTimerId)
{
    auto* const lpPair = mTimers.find(nTimerId);
    return lpPair != nullptr ? &lpPair->mValue : nullptr;
}

/// The timer that has a system number now, or null.
TimerTable::TimerMap::Element* TimerTable::findNumber(int nSysTimerNumber)
{
    for (unsigned int lIndex = 0; nSysTimerNumber != -1 && lIndex < mTimers.size(); ++lIndex)
    {
        auto* const lpPair = mTimers.at(lIndex);
        if (lpPair->mValue.mSysTimerNumber == nSysTimerNumber)
        {
            return lpPair;
        }
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------- kernel timers

bool TimerTable::arm(TimerInfo& nInfo)
{
    // Without the handler, which the constructor may have failed to install, the signal would end the process.
    if (!installHandler())
    {
        return false;
    }
    mLastSysTimerNumber =
        numberAfter(mLastSysTimerNumber, [this](int nNumber) { return findNumber(nNumber) != nullptr; });
    void* lpTimerId = nullptr;
    if (!create(mLastSysTimerNumber, &lpTimerId) || !setTime(nInfo, lpTimerId))
    {
        return false;
    }
    nInfo.mSysTimerId = lpTimerId;
    nInfo.mSysTimerNumber = mLastSysTimerNumber;
    return true;
}

bool TimerTable::rearm(TimerInfo& nInfo)
{
    if (nInfo.mSysTimerNumber == -1)
    {
        return arm(nInfo);
    }
    nInfo.mPendingTimeoutCount = 0;
    if (setTime(nInfo, nInfo.mSysTimerId))
    {
        return true;
    }
    nInfo.mSysTimerId = nullptr;
    nInfo.mSysTimerNumber = -1;
    nInfo.mDueNs = TimerInfo::NEVER;
    return false;
}

bool TimerTable::create(int nNumber, void** npTimerId) const
{
    static_assert(sizeof(timer_t) == sizeof(void*), "timer_t is kept as a pointer");
    sigevent lEvent = {};
    lEvent.sigev_notify = SIGEV_THREAD_ID;
    lEvent.sigev_signo = mKind.mSignal.number();
    lEvent.sigev_value.sival_int = nNumber;
    lEvent.sigev_notify_thread_id = ThreadManager::getCallerId();
    if (reported("startTimerByTimerInfo", mKind.mLineOfCreate,
                 [&] { return gSystem.mTimerCreate(CLOCK_MONOTONIC, &lEvent, npTimerId); }) == 0)
    {
        return true;
    }
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpCreateFailed, mpName, asHex(*npTimerId), errno);
    return false;
}

/// Starts a kernel timer. If the kernel refuses, the timer is deleted.
bool TimerTable::setTime(TimerInfo& nInfo, void* npTimerId)
{
    long long const lNowNs = monotonicNs();
    timespec const lInterval{nInfo.mIntervalMs / 1000, (nInfo.mIntervalMs % 1000) * 1000000L};
    itimerspec const lPeriod{lInterval, lInterval};
    if (reported("startTimerByTimerInfo", mKind.mLineOfSettime,
                 [&] { return gSystem.mTimerSettime(npTimerId, 0, &lPeriod, nullptr); }) == 0)
    {
        nInfo.mDueNs = nInfo.mIntervalMs != 0 ? lNowNs + intervalNs(nInfo) : TimerInfo::NEVER;
        nInfo.mAwaitsFirst = true;
        mNextDueNs = std::min(mNextDueNs, nInfo.mDueNs);
        return true;
    }
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpSettimeFailed, mpName, asHex(npTimerId), errno);
    gSystem.mTimerDelete(npTimerId);
    return false;
}

bool TimerTable::disarm(TimerInfo& nInfo)
{
    nInfo.mDueNs = TimerInfo::NEVER;
    if (!destroy(nInfo.mSysTimerId, nInfo.mSysTimerNumber))
    {
        return false;
    }
    nInfo.mSysTimerId = nullptr;
    nInfo.mSysTimerNumber = -1;
    nInfo.mPendingTimeoutCount = 0;
    return true;
}

bool TimerTable::destroy(void* npTimerId, int nNumber) const
{
    if (nNumber == -1 ||
        reported("stopTimerByTimerInfo", mKind.mLineOfDelete, [&] { return gSystem.mTimerDelete(npTimerId); }) == 0)
    {
        return true;
    }
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpDeleteFailed, mpName,
           mKind.mTellsNumberOfDeleted ? static_cast<unsigned int>(nNumber) : asHex(npTimerId), errno);
    return false;
}

// ---------------------------------------------------------------------------------------------- expiries

TimerTable::Expiry TimerTable::expire(ExpiryNotes::Note const& nNote, long long nNowNs)
{
    auto* const lpPair = findNumber(nNote.mSysTimerNumber);
    if (lpPair == nullptr || !isHeard(lpPair->mValue, nNowNs))
    {
        return {-1, 0, 0};
    }
    TimerInfo& lInfo = lpPair->mValue;
    lInfo.mAwaitsFirst = false;
    long long const lExpiries = 1LL + nNote.mOverrun;
    lInfo.mDueNs += lExpiries * intervalNs(lInfo);
    if (lInfo.mDueNs <= nNowNs) // a signal was lost: do not look for it again and again
    {
        lInfo.mDueNs = nNowNs + intervalNs(lInfo);
    }
    unsigned int const lMost = lInfo.mIsFreeRunning != 0 ? 2 : 1;
    unsigned int const lRoom = lMost - std::min(lMost, lInfo.mPendingTimeoutCount);
    unsigned int const lCount = static_cast<unsigned int>(std::min<long long>(lExpiries, lRoom));
    lInfo.mPendingTimeoutCount += lCount;
    return {lpPair->mKey, lCount, static_cast<unsigned int>(lExpiries - lCount)};
}

void TimerTable::onLost(Expiry const& nExpiry)
{
    TimerInfo* const lpInfo = find(nExpiry.mTimerId);
    if (lpInfo != nullptr && !mKind.mKeepsLostBeats)
    {
        lpInfo->mPendingTimeoutCount -= nExpiry.mCount;
    }
}

bool TimerTable::countTimeout(TimerInfo& nInfo)
{
    if (nInfo.mPendingTimeoutCount > 0)
    {
        --nInfo.mPendingTimeoutCount;
    }
    ++nInfo.mTimeoutCount;
    return nInfo.mMaxTimeoutCount != 0 && nInfo.mTimeoutCount >= nInfo.mMaxTimeoutCount;
}

void TimerTable::show(LoopView* npView) const
{
    unsigned int lRunning = 0;
    long long lDueNs = TimerInfo::NEVER;
    for (unsigned int lIndex = 0; lIndex < mTimers.size(); ++lIndex)
    {
        TimerInfo const& lInfo = mTimers.at(lIndex)->mValue;
        lRunning += lInfo.mDueNs != TimerInfo::NEVER ? 1 : 0;
        lDueNs = std::min(lDueNs, lInfo.mDueNs);
    }
    if (lRunning != 0) // a time beyond 32 bits is shown as the largest
    {
        lDueNs = std::min(lDueNs, monotonicNs() + (static_cast<long long>(INT_MAX) << 20U));
    }
    npView->mTimers.write({mTimers.size(), lRunning, slotTime(lDueNs)});
    npView->mpTimerRows.store(mpShown != nullptr ? mpShown->mRows.data() : nullptr, std::memory_order_release);
}

void TimerTable::showTimer(int nTimerId, TimerInfo const* npInfo)
{
    bool const lRuns = npInfo != nullptr && npInfo->mDueNs != TimerInfo::NEVER;
    auto& lIds = mpShown->mIds;
    auto* lpId = std::find(lIds.begin(), lIds.end(), nTimerId);
    lpId = lpId == lIds.end() && lRuns ? std::find(lIds.begin(), lIds.end(), 0) : lpId;
    if (lpId == lIds.end())
    {
        return;
    }
    *lpId = lRuns ? nTimerId : 0;
    TimerRow::Words lWords{};
    if (lRuns)
    {
        lWords = {static_cast<SlotWord>(nTimerId), static_cast<SlotWord>(npInfo->mIntervalMs), slotTime(npInfo->mDueNs),
                  npInfo->mTimeoutCount, npInfo->mMaxTimeoutCount};
    }
    mpShown->mRows[static_cast<std::size_t>(lpId - lIds.begin())].write(lWords);
}

void TimerTable::findNextDue()
{
    mNextDueNs = TimerInfo::NEVER;
    for (unsigned int lIndex = 0; lIndex < mTimers.size(); ++lIndex)
    {
        mNextDueNs = std::min(mNextDueNs, mTimers.at(lIndex)->mValue.mDueNs);
    }
}

} // namespace utl::internal
