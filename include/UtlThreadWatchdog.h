/// The software watchdog. Layer: watchdog, above the message-driven thread.
#ifndef UTL_THREAD_WATCHDOG_H
#define UTL_THREAD_WATCHDOG_H

#include "UtlBasicString.h"
#include "UtlMacros.h"
#include "UtlMap.h"
#include "UtlStatementInfo.h"
#include "UtlSyncObject.h"
#include "UtlThreadMsgListener.h"
#include "UtlWatchdogVerdict.h"

#include <atomic>
#include <memory>

namespace utl
{

class MsgDrivenThread;
class WatchdogTimerListener;

namespace internal
{
class WatchdogJudge;
} // namespace internal

/// What the watchdog knows of one thread.
/// Safety: as BasicString, of which it has one.
class UTL_API WatchdogInfo
{
public:
    /// Whether it is watched.
    enum WatchStatus
    {
        WATCHING = 0,    ///< it must report
        NOT_WATCHING = 1 ///< it need not
    };
    /// How it was last seen.
    enum AliveStatus
    {
        UNKNOWN = 0,  ///< it has not reported yet
        ALIVE = 1,    ///< it reported
        TIMED_OUT = 2 ///< it was silent for too long, and that was told
    };

    static constexpr unsigned int DEFAULT_WATCH_INTERVAL = 1000; ///< milliseconds between two beats
    static constexpr unsigned int NO_TICK = ~0U;                 ///< no time runs
    static WatchdogInfo const INVALID;                           ///< a default-made one

    WatchdogInfo() = default;
    /// No report yet, and no time runs. npName: copied.
    WatchdogInfo(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName,
                 int nWatchStatus);
    WatchdogInfo(WatchdogInfo const&) = default;
    WatchdogInfo& operator=(WatchdogInfo const&) = default;
    virtual ~WatchdogInfo() = default;

    /// Compares every member, the name as text.
    bool operator==(WatchdogInfo const& nOther) const;
    bool operator!=(WatchdogInfo const& nOther) const { return !(*this == nOther); }

    /// Watched, not reported yet, and silent for the alive time. While nNowTick is below the last report's, after a
    /// wrap of the tick counter, nothing is overdue.
    bool isOverdue(unsigned int nNowTick) const;

    int mId = 0;                                           ///< kernel thread id
    unsigned int mAliveTime = 0;                           ///< milliseconds that may pass between two reports
    WatchdogTimerListener* mpListener = nullptr;           ///< may be null, not owned
    unsigned int mLastAliveTick = NO_TICK;                 ///< at the last report or the start of watching
    int mWatchStatus = NOT_WATCHING;                       ///< WatchStatus
    int mAliveStatus = UNKNOWN;                            ///< AliveStatus
    unsigned int mTimeoutCount = 0;                        ///< lapses so far
    StatementInfo mLastAliveInfo = StatementInfo::INVALID; ///< where it last passed
    BasicString<char> mName;                               ///< of the thread
};

/// The table, by thread id.
using WatchdogInfoMap = Map<int, WatchdogInfo, int const&, WatchdogInfo const&, CompareLessPairKey<int, WatchdogInfo>>;

/// Is told of a time-out. Implemented by the application.
/// Caution: a call may be under way, or just about to come, when unregister() or stop() returns; a listener is safe to
/// destroy after ThreadManager::destroy(), or one that lives as long as the process.
/// Safety: that of the application's class; onTime() tells where it is called.
class UTL_API WatchdogTimerListener
{
public:
    virtual ~WatchdogTimerListener() = default;

    /// Thread nId has been silent for its alive time. On the watchdog thread, with no lock held; it may call back into
    /// the watchdog. A slow listener delays the next beats. nInfos: a copy of the whole table, good for this call;
    /// empty if there was no memory for it.
    virtual void onTime(int nId, WatchdogInfoMap const& nInfos) = 0;
};

/// Checks that watched threads go on reporting. A thread that is silent for its alive time is reported once, in
/// the log and to a listener, and again only after it has come back and lapsed again. Nothing is killed.
///
/// Caution:  a thread that falls silent just before the tick counter wraps, every 49.7 days of uptime, is not reported
///           for that lapse; the next report it makes puts it right.
/// Use:      ThreadManager owns the process's watchdog and hands nobody a pointer to it: its operations with "Watchdog"
///           in their names are these. A ThreadWatchdog of one's own is another one, with a table and a thread of its
///           own, that gets only the reports that are made to it. Before initialize() and after shutdown() every query
///           answers false.
/// Clock:    a beat on which the clock fails passes over the table; nothing is overdue then.
/// Threads:  any; the checks run on a message thread of its own, "Watchdog Thread".
/// Signals:  no.
/// Forks:    the watchdog thread is not in the child: nothing is checked there, and shutdown() waits for ever.
/// Blocking: for the lock; initialize(), setWatchInterval() and shutdown() for the watchdog thread, and so for a
///           listener.
/// Locks:    mSyncObject, after the registry's; not held while a listener runs.
class UTL_API ThreadWatchdog : public ThreadMsgListener
{
public:
    /// nEntryMax: threads that can be registered; no more can be added.
    explicit ThreadWatchdog(unsigned int nEntryMax);
    /// Ends the thread as shutdown() does, then gives up the table: a pass that is under way finds it whole to its end.
    ~ThreadWatchdog() override;
    ThreadWatchdog(ThreadWatchdog const&) = delete;
    ThreadWatchdog& operator=(ThreadWatchdog const&) = delete;

    /// Starts thread and beat and waits until both are up. Result: false if that was done before or fails.
    bool initialize(unsigned int nIntervalMs);

    /// Stops the thread, waiting without limit; not from a listener of its own. It does not start again.
    void shutdown();

    /// Milliseconds from beat to beat; 0: no beat, and no descriptor stays open. Waits for the watchdog thread.
    /// Result:  false before initialize().
    /// Caution: from 2147483648 on the kernel refuses, which the log alone tells, and the beat stands still.
    bool setWatchInterval(unsigned int nIntervalMs);

    /// Registers a thread, not watched until start(). npListener null: the table is printed to the log at level 3.
    /// Result: false for an alive time of 0, for an id that is there already and a full table (all logged), and for a
    ///         null name (in silence).
    bool entry(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName);

    // false for an unknown id
    bool unregister(int nId);   ///< out of the table
    bool isRegistered(int nId); ///< it is in the table
    bool isWatching(int nId);   ///< it is watched
    bool start(int nId);        ///< watched from now on; a time that runs already runs on
    bool stop(int nId);         ///< no longer watched; status and count stay

    /// A watched thread's time begins anew. Result: false for 0 (logged) and for an unknown id.
    bool setAliveTime(int nId, unsigned int nAliveTimeMs);

    /// The calling thread has passed nStatement. A lock, a search and a clock read; nothing is allocated.
    /// Result: false for a thread that is not registered; true otherwise, even if it is not watched and the report
    ///         is dropped.
    bool keepAlive(StatementInfo const& nStatement);

    /// Prints the table to the log.
    void printWatchdogInfo(int nLevel);

    /// From the next beat on each thread that is silent is judged, and npListener is told, in place of the one before;
    /// null: nobody. Not owned. Costs some 4 microseconds a beat for each thread that has not reported since the last
    /// one, and two descriptors while it stays silent.
    /// When this returns, a call of the former one may be under way, or about to come, as for WatchdogTimerListener.
    void setVerdictListener(WatchdogVerdictListener* npListener);

    /// true: from now on a time-out of a message thread or a shared timer has a second line in the log, which tells
    /// what that does, and each verdict has a line: level 1 for a thread that hangs, otherwise 2. Off at first.
    void setReport(bool nIsOn);

    /// The tick, as of TimeCounter::getTickTime(), by which the next beat will have ended if the watchdog is alive: a
    /// later one is overdue. NO_TICK: there is no beat.
    /// Threads: any; also in a signal handler; never blocks.
    unsigned int beatDeadline() const { return mBeatDeadline.load(std::memory_order_relaxed); }

    /// The watchdog thread's messages.
    void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) override;

private:
    friend class ThreadWatchdogTestPeer;

    class DefaultTimerListener;

    bool executeSetAliveTime(int nId, unsigned int nAliveTimeMs);
    bool executeStart(int nId);
    bool executeStop(int nId);
    bool executeKeepAlive(int nId, StatementInfo const& nStatement);
    void executeWatchThreads(unsigned int nNowTick);
    int findOverdue(unsigned int nNowTick);
    void executeWatchdogTimeout(int nId);
    internal::WatchdogJudge* judge();
    internal::WatchdogJudge* beginJudgement();
    void executeJudgement(internal::WatchdogJudge& nJudge, unsigned int nNowTick);
    void tellVerdict(WatchdogVerdict& nVerdict);
    void makeJudgeLocked() UTL_REQUIRES(mSyncObject);
    bool hasBeat() const;
    void setBeatDeadline();
    void restWithoutBeat();
    WatchdogInfo* findWatchdogInfo(int nId) UTL_REQUIRES(mSyncObject);

    MsgDrivenThread* mpThread = nullptr; // owned, constant between constructor and destructor

    // Any thread, without a lock.
    std::atomic<int> mTimerId{-1}; // the beat
    std::atomic<bool> mIsInitialized{false};
    std::atomic<unsigned int> mIntervalMs{0};
    std::atomic<unsigned int> mBeatDeadline{WatchdogInfo::NO_TICK};
    std::atomic<bool> mHasReport{false};
    std::atomic<WatchdogVerdictListener*> mpVerdictListener{nullptr};

    SyncObject mSyncObject;
    WatchdogInfoMap mWatchdogInfos UTL_GUARDED_BY(mSyncObject);
    bool mIsInKeepAlive UTL_GUARDED_BY(mSyncObject) = false; // a report from inside a report is dropped
    std::unique_ptr<internal::WatchdogJudge> mpJudge UTL_GUARDED_BY(mSyncObject); // set once; the watchdog thread's
};

} // namespace utl

#endif
