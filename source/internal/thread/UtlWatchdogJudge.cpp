// Tells a thread that hangs from one that is starved or was stopped.
#include "internal/thread/UtlWatchdogJudge.h"

#include "UtlThreadManager.h"
#include "internal/base/UtlThreadSlots.h"

#include <algorithm>

namespace utl::internal
{

namespace
{

long long const NS_IN_MS = 1000000;
long long const LONG_NS = 500 * NS_IN_MS;

unsigned int toMs(long long nNs)
{
    return static_cast<unsigned int>(std::max(nNs, 0LL) / NS_IN_MS);
}

/// The part of a time, told for nPassedNs, that counts for nCountedNs of these: in proportion, but at least what does
/// not fit into the rest.
long long partOf(long long nToldNs, long long nPassedNs, long long nCountedNs)
{
    if (nPassedNs == nCountedNs)
    {
        return nToldNs;
    }
    double const lShare = static_cast<double>(nCountedNs) / static_cast<double>(nPassedNs);
    return std::max(static_cast<long long>(lShare * static_cast<double>(nToldNs)), nToldNs - (nPassedNs - nCountedNs));
}

/// The time from beat to beat that is not yet late.
long long tolerated(long long nBeatNs)
{
    return nBeatNs + nBeatNs / 2;
}

} // namespace

// ---------------------------------------------------------------------------------------------- one thread

void ThreadCharge::add(ThreadSample const& nSample, long long nBeatNs)
{
    if (mLast.mTakenNs != 0)
    {
        bool const lKnowsRun = nSample.mRunNs != ThreadSample::UNKNOWN && mLast.mRunNs != ThreadSample::UNKNOWN;
        long long const lRanNs = lKnowsRun ? nSample.mRunNs - mLast.mRunNs : 0;
        long long const lPassedNs = nSample.mTakenNs - mLast.mTakenNs;
        long long const lCountedNs = std::min(lPassedNs, tolerated(nBeatNs));
        (nSample.isStopped() ? mStoppedNs : mCountedNs) += lCountedNs;
        mRunNs += lRanNs;
        addRest(nSample, lPassedNs, lCountedNs, lRanNs);
    }
    long long const lQueuedNs = nSample.mQueuedNs != ThreadSample::UNKNOWN ? nSample.mQueuedNs : mLast.mQueuedNs;
    mLast = nSample;
    mLast.mQueuedNs = lQueuedNs;
}

void ThreadCharge::addRest(ThreadSample const& nSample, long long nPassedNs, long long nCountedNs, long long nRanNs)
{
    bool const lIsTold = nSample.mQueuedNs != ThreadSample::UNKNOWN && mLast.mQueuedNs != ThreadSample::UNKNOWN;
    bool const lWasReady = mLast.isReady() && nSample.isReady();
    long long const lOtherNs = nSample.isStopped() ? 0 : std::max(nCountedNs - nRanNs, 0LL);
    if (!lIsTold)
    {
        (lWasReady ? mQueuedNs : mLast.isAtRest() && nSample.isAtRest() ? mBlockedNs : mUnsureNs) += lOtherNs;
        return;
    }
    mQueuedNs += partOf(nSample.mQueuedNs - mLast.mQueuedNs, nPassedNs, nCountedNs);
    if (nSample.isAtRest())
    {
        mBlockedNs = std::max(mBlockedNs, mCountedNs - mRunNs - mQueuedNs);
        mQueuedNs = mCountedNs - mRunNs - mBlockedNs; // more than that was in time that does not count
    }
    mWaitingNs = lWasReady && nRanNs == 0 ? mWaitingNs + lOtherNs : 0; // it cannot have come to rest without running
    mUnsureNs = std::max(mCountedNs - mRunNs - mQueuedNs - mWaitingNs - mBlockedNs, 0LL);
}

bool ThreadCharge::judge(Silence const& nSilence, WatchdogVerdict* npVerdict) const
{
    long long const lOwnNs = mRunNs + mBlockedNs;
    long long const lStarvedNs = std::max(mCountedNs - lOwnNs, 0LL);
    long long const lStoppedNs = mStoppedNs + nSilence.mLateStoppedNs;
    npVerdict->mSilentMs = toMs(nSilence.mNs);
    npVerdict->mRunMs = toMs(mRunNs);
    npVerdict->mBlockedMs = toMs(mBlockedNs);
    npVerdict->mStarvedMs = toMs(lStarvedNs);
    npVerdict->mStoppedMs = toMs(lStoppedNs);
    npVerdict->mVerdict = Verdict::UNDECIDED;
    if (nSilence.mAliveNs < 2 * nSilence.mBeatNs)
    {
        return true;
    }
    if (lOwnNs >= nSilence.mAliveNs)
    {
        npVerdict->mVerdict = mRunNs >= mBlockedNs ? Verdict::RUNNING : Verdict::BLOCKED;
        return true;
    }
    if (mLast.mState == '\0')
    {
        return true; // the system does not tell whether it waits
    }
    npVerdict->mVerdict = lStoppedNs > lStarvedNs ? Verdict::STOPPED : Verdict::STARVED;
    return isSurelyNotHung(nSilence);
}

/// Even if what is not sure were its own, and what was not seen at first, unless there was time enough to see.
bool ThreadCharge::isSurelyNotHung(Silence const& nSilence) const
{
    long long const lSeenNs = mCountedNs + mStoppedNs + nSilence.mLateStoppedNs;
    long long const lUnseenNs = std::max(nSilence.mNs - lSeenNs, 0LL);
    bool const lHasSeenEnough = lSeenNs >= nSilence.mAliveNs + tolerated(nSilence.mBeatNs);
    long long const lMarginNs = nSilence.mBeatNs / 2; // ticks have a resolution of milliseconds
    return mRunNs + mBlockedNs + mUnsureNs + (lHasSeenEnough ? 0 : lUnseenNs) + lMarginNs < nSilence.mAliveNs;
}

// ---------------------------------------------------------------------------------------------- all threads

WatchdogJudge::WatchdogJudge(unsigned int nMaxThreads)
    : mMaxThreads(nMaxThreads),
      mpSuspects(new Suspect[nMaxThreads])
{
}

WatchdogJudge::Suspect* WatchdogJudge::find(int nId)
{
    auto* const lpEnd = mpSuspects.get() + mMaxThreads;
    auto* const lpFound =
        std::find_if(mpSuspects.get(), lpEnd, [nId](Suspect const& nOne) { return nOne.mWatched.mId == nId; });
    return lpFound != lpEnd ? lpFound : nullptr;
}

void WatchdogJudge::forget(Suspect& nSuspect)
{
    nSuspect.mProbe.close();
    nSuspect.mCharge = ThreadCharge();
    nSuspect.mIsHung = false;
    nSuspect.mIsUndecided = false;
    nSuspect.mHolderId = 0;
    nSuspect.mLateStoppedNs = mLateStoppedBeforeNs;
}

void WatchdogJudge::begin(unsigned int nBeatMs, int nTimerId)
{
    long long const lBeatNs = nBeatMs * NS_IN_MS;
    mLateStoppedBeforeNs = mLateStoppedNs;
    ThreadSample const lOwn = mOwnProbe.take(ThreadManager::getCallerId());
    long long const lProcessNs = ThreadProbe::processNs();
    long long const lLateNs = lOwn.mTakenNs - mEndNs - tolerated(lBeatNs);
    if (mEndNs != 0 && nTimerId == mTimerId && lLateNs > 0 && wasStopped(lOwn, lProcessNs, lLateNs))
    {
        mLateStoppedNs += lLateNs;
    }
    mBeatNs = lBeatNs;
    mTimerId = nTimerId;
    mOwnLast = lOwn;
    mProcessLastNs = lProcessNs;
    std::for_each(mpSuspects.get(), mpSuspects.get() + mMaxThreads, [](Suspect& nOne) { nOne.mIsSeen = false; });
}

/// For a late beat. Result: true if that is not because this thread had to wait for a processor.
bool WatchdogJudge::wasStopped(ThreadSample const& nOwn, long long nProcessNs, long long nLateNs) const
{
    if (nOwn.mQueuedNs != ThreadSample::UNKNOWN && mOwnLast.mQueuedNs != ThreadSample::UNKNOWN)
    {
        return 2 * (nOwn.mQueuedNs - mOwnLast.mQueuedNs) < nLateNs;
    }
    // The system does not tell. In so long a wait for a processor other threads of the process would have run.
    return nLateNs >= LONG_NS && nProcessNs - mProcessLastNs <= tolerated(mBeatNs);
}

void WatchdogJudge::see(Watched const& nWatched)
{
    Suspect* lpSuspect = find(nWatched.mId);
    lpSuspect = lpSuspect != nullptr ? lpSuspect : find(0);
    if (lpSuspect == nullptr)
    {
        return;
    }
    bool const lHasReported =
        lpSuspect->mWatched.mId != nWatched.mId || lpSuspect->mWatched.mLastTick != nWatched.mLastTick;
    if (lHasReported)
    {
        forget(*lpSuspect);
    }
    lpSuspect->mWatched = nWatched;
    lpSuspect->mIsSeen = true;
    lpSuspect->mIsSilent = !lHasReported || nWatched.mSilentMs >= nWatched.mAliveMs;
}

bool WatchdogJudge::look(unsigned int nIndex, WatchdogVerdict* npVerdict)
{
    Suspect& lSuspect = mpSuspects[nIndex];
    if (!lSuspect.mIsSeen)
    {
        forget(lSuspect);
        lSuspect.mWatched.mId = 0;
        return false;
    }
    if (!lSuspect.mIsSilent || lSuspect.mIsHung)
    {
        return false;
    }
    int const lHolderId = endOfWaits(lSuspect.mWatched.mId);
    if (lHolderId != lSuspect.mHolderId)
    {
        lSuspect.mProbe.close();
        lSuspect.mCharge.turnAway();
        lSuspect.mHolderId = lHolderId;
    }
    lSuspect.mCharge.add(lSuspect.mProbe.take(lHolderId), mBeatNs);
    npVerdict->mThreadId = lSuspect.mWatched.mId;
    npVerdict->mHolderId = lHolderId;
    bool const lIsDue = lSuspect.mWatched.mSilentMs >= lSuspect.mWatched.mAliveMs;
    return lIsDue && lSuspect.mCharge.judge(silenceOf(lSuspect), npVerdict) && isNews(lSuspect, npVerdict->mVerdict);
}

bool WatchdogJudge::isNews(Suspect& nSuspect, Verdict nVerdict)
{
    bool const lIsUndecided = nVerdict == Verdict::UNDECIDED;
    bool const lIsNews = !lIsUndecided || !nSuspect.mIsUndecided;
    nSuspect.mIsUndecided = lIsUndecided;
    nSuspect.mIsHung = nVerdict == Verdict::RUNNING || nVerdict == Verdict::BLOCKED;
    return lIsNews;
}

ThreadCharge::Silence WatchdogJudge::silenceOf(Suspect const& nSuspect) const
{
    long long const lSilentNs = nSuspect.mWatched.mSilentMs * NS_IN_MS;
    return {lSilentNs, nSuspect.mWatched.mAliveMs * NS_IN_MS, mBeatNs,
            std::min(mLateStoppedNs - nSuspect.mLateStoppedNs, lSilentNs)};
}

/// A slow listener does not make the next beat late.
void WatchdogJudge::end()
{
    mEndNs = ThreadProbe::nowNs();
}

void WatchdogJudge::rest()
{
    for (unsigned int lIndex = 0; lIndex < mMaxThreads; ++lIndex)
    {
        forget(mpSuspects[lIndex]);
        mpSuspects[lIndex].mWatched.mId = 0;
    }
    mOwnProbe.close();
    mEndNs = 0;
}

} // namespace utl::internal
