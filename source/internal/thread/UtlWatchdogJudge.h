/// Tells a thread that hangs from one that is starved or was stopped. Layer: internal, thread registry.
#ifndef UTL_WATCHDOG_JUDGE_H
#define UTL_WATCHDOG_JUDGE_H

#include "UtlWatchdogVerdict.h"
#include "internal/thread/UtlThreadProbe.h"

#include <memory>

namespace utl::internal
{

/// What the silence of one thread is made of, by samples of it. Times are in nanoseconds.
///
/// Between two samples a thread ran, as its processor clock says, was ready without a processor, or waited. How long it
/// was ready the system tells only once it runs again; so what is left counts as waiting only by a sample that finds
/// the thread at rest.
class ThreadCharge
{
public:
    /// By the clock, of which some is nobody's: the watchdog's own beat came late.
    struct Silence
    {
        long long mNs;
        long long mAliveNs;
        long long mBeatNs;        // from beat to beat, as planned
        long long mLateStoppedNs; // the process was stopped, it seems
    };

    /// Of the time since the last sample no more than one and a half beats count.
    void add(ThreadSample const& nSample, long long nBeatNs);

    /// The next sample is of another thread.
    void turnAway() { mLast = {}; }

    /// Result: false if it is too early to tell. The times are told in any case.
    bool judge(Silence const& nSilence, WatchdogVerdict* npVerdict) const;

private:
    void addRest(ThreadSample const& nSample, long long nPassedNs, long long nCountedNs, long long nRanNs);
    bool isSurelyNotHung(Silence const& nSilence) const;

    ThreadSample mLast;       // taken at 0: none
    long long mCountedNs = 0; // between samples, but for
    long long mStoppedNs = 0; // this
    long long mRunNs = 0;
    long long mBlockedNs = 0;
    long long mQueuedNs = 0;  // with the two before never more than what was counted
    long long mWaitingNs = 0; // queued, and not yet told so
    long long mUnsureNs = 0;  // blocked or queued
};

/// Keeps the charges of all threads that the watchdog watches. On the watchdog thread, once a beat:
/// begin(), see() for each, then look() at each, end().
class WatchdogJudge
{
public:
    /// Of a thread that is watched.
    struct Watched
    {
        int mId;
        unsigned int mLastTick; // of its last report
        unsigned int mSilentMs; // since then
        unsigned int mAliveMs;
    };

    explicit WatchdogJudge(unsigned int nMaxThreads);

    /// nTimerId: whose beat it is. The first one of another timer is not late, whatever time has passed.
    void begin(unsigned int nBeatMs, int nTimerId);
    void see(Watched const& nWatched);
    unsigned int maxThreads() const { return mMaxThreads; }

    /// Takes a sample, if the thread at that place has been silent since the last beat.
    /// Result: there is a verdict to be told.
    bool look(unsigned int nIndex, WatchdogVerdict* npVerdict);
    void end();

    /// On a beat without judgement: forgets all, and keeps no descriptor.
    void rest();

private:
    struct Suspect
    {
        Watched mWatched{};
        bool mIsSeen = false;
        bool mIsSilent = false;
        bool mIsHung = false;         // that was told
        bool mIsUndecided = false;    // likewise
        int mHolderId = 0;            // whose samples are its charge
        long long mLateStoppedNs = 0; // of all, before its silence
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
    ThreadSample mOwnLast; // at the last beat, with the next
    long long mProcessLastNs = 0;
    long long mEndNs = 0; // of the last beat; 0: none
    long long mBeatNs = 0;
    int mTimerId = -1;
    long long mLateStoppedNs = 0;
    long long mLateStoppedBeforeNs = 0; // until the last beat
};

} // namespace utl::internal

#endif
