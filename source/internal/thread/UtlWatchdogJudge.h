/// Tells a thread that hangs from one that is starved or was stopped. Layer: internal, thread registry.
#ifndef UTL_WATCHDOG_JUDGE_H
#define UTL_WATCHDOG_JUDGE_H

#include "UtlWatchdogVerdict.h"
#include "internal/thread/UtlThreadProbe.h"

#include <memory>

namespace utl::internal
{

/// Divides the silence of one thread, by samples of it, into running, being ready, waiting and being stopped. Times are
/// in nanoseconds.
///
/// Between two samples a thread ran, as its processor clock says, was ready without a processor, or waited. The system
/// tells only once the thread runs again how long it was ready. So the remaining time counts as waiting only after a
/// sample that finds the thread at rest.
class ThreadCharge
{
public:
    /// The silence by the clock.
    struct Silence
    {
        long long mNs;
        long long mAliveNs;
        long long mBeatNs;        // from beat to beat, as planned
        long long mLateStoppedNs; // how long the process seems to have been stopped: the watchdog's own beat came late
    };

    /// Adds a sample. Of the time since the last one no more than one and a half beats count.
    void add(ThreadSample const& nSample, long long nBeatNs);

    /// The next sample will be of another thread.
    void turnAway() { mLast = {}; }

    /// Sets verdict and times. Result: false, with the times set, if it is too early for a verdict.
    bool judge(Silence const& nSilence, WatchdogVerdict* npVerdict) const;

private:
    void addRest(ThreadSample const& nSample, long long nPassedNs, long long nCountedNs, long long nRanNs);
    bool isSurelyNotHung(Silence const& nSilence) const;

    ThreadSample mLast;       // mTakenNs 0: none
    long long mCountedNs = 0; // time between samples, without mStoppedNs
    long long mStoppedNs = 0;
    long long mRunNs = 0;
    long long mBlockedNs = 0;
    long long mQueuedNs = 0;  // mRunNs, mBlockedNs and this are together never more than mCountedNs
    long long mWaitingNs = 0; // queued, but the system has not said so yet
    long long mUnsureNs = 0;  // blocked or queued
};

/// Keeps a ThreadCharge for each thread that the watchdog watches. Called on the watchdog thread, on each beat:
/// begin(), see() for each thread, then look() at each, end().
class WatchdogJudge
{
public:
    /// A thread that is watched.
    struct Watched
    {
        int mId;
        unsigned int mLastTick; // tick of its last report
        unsigned int mSilentMs; // time since then
        unsigned int mAliveMs;
    };

    explicit WatchdogJudge(unsigned int nMaxThreads);

    /// nTimerId: the timer of this beat. The first beat of a new timer is never late.
    void begin(unsigned int nBeatMs, int nTimerId);
    void see(Watched const& nWatched);
    unsigned int maxThreads() const { return mMaxThreads; }

    /// Takes a sample of the thread at that index, if it has been silent since the last beat.
    /// Result: whether there is a verdict to report.
    bool look(unsigned int nIndex, WatchdogVerdict* npVerdict);
    void end();

    /// For a beat without judgement: forgets everything and closes all descriptors.
    void rest();

private:
    struct Suspect
    {
        Watched mWatched{};
        bool mIsSeen = false;
        bool mIsSilent = false;
        bool mIsHung = false;         // reported as hung
        bool mIsUndecided = false;    // reported as undecided
        int mHolderId = 0;            // the thread of which samples are taken
        long long mLateStoppedNs = 0; // WatchdogJudge::mLateStoppedNs when its silence began
        ThreadProbe mProbe;
        ThreadCharge mCharge;
    };

    Suspect* find(int nId);
    void forget(Suspect& nSuspect);
    bool wasStopped(ThreadSample const& nOwn, long long nProcessNs, long long nLateNs) const;
    static bool isNews(Suspect& nSuspect, Verdict nVerdict);
    ThreadCharge::Silence silenceOf(Suspect const& nSuspect) const;

    unsigned int const mMaxThreads;
    std::unique_ptr<Suspect[]> const mpSuspects;
    ThreadProbe mOwnProbe;
    ThreadSample mOwnLast;        // of the watchdog thread, at the last beat
    long long mProcessLastNs = 0; // ThreadProbe::processNs() at the last beat
    long long mEndNs = 0;         // end of the last beat; 0: none
    long long mBeatNs = 0;
    int mTimerId = -1;
    long long mLateStoppedNs = 0;
    long long mLateStoppedBeforeNs = 0; // mLateStoppedNs at the last beat
};

} // namespace utl::internal

#endif
