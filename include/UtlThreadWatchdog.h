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
    /// Whether the thread is watched.
    enum WatchStatus
    {
        WATCHING = 0,    ///< the thread must report
        NOT_WATCHING = 1 ///< the thread need not report
    };
    /// The thread's last known state.
    enum AliveStatus
    {
        UNKNOWN = 0,  ///< it has not reported yet
        ALIVE = 1,    ///< it reported in time
        TIMED_OUT = 2 ///< it was silent for too long, and that was reported
    };

    static constexpr unsigned int DEFAULT_WATCH_INTERVAL = 1000; ///< milliseconds between two beats
    static constexpr unsigned int NO_TICK = ~0U;                 ///< no tick: the time is not running
    static WatchdogInfo const INVALID;                           ///< made without arguments

    WatchdogInfo() = default;
    /// No report yet, and the time is not running. npName: copied.
    WatchdogInfo(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName,
                 int nWatchStatus);
    WatchdogInfo(WatchdogInfo const&) = default;
    WatchdogInfo& operator=(WatchdogInfo const&) = default;
    virtual ~WatchdogInfo() = default;

    /// Compares every member, the name as text.
    bool operator==(WatchdogInfo const& nOther) const;
    bool operator!=(WatchdogInfo const& nOther) const { return !(*this == nOther); }

    /// Whether the thread is watched, has been silent for the alive time, and that was not reported yet. False while
    /// nNowTick is below the tick of the last report, which happens after a wrap of the tick counter.
    bool isOverdue(unsigned int nNowTick) const;

    int mId = 0;                                           ///< kernel thread id
    unsigned int mAliveTime = 0;                           ///< milliseconds that may pass between two reports
    WatchdogTimerListener* mpListener = nullptr;           ///< may be null, not owned
    unsigned int mLastAliveTick = NO_TICK;                 ///< tick of the last report or the start of watching
    int mWatchStatus = NOT_WATCHING;                       ///< WatchStatus
    int mAliveStatus = UNKNOWN;                            ///< AliveStatus
    unsigned int mTimeoutCount = 0;                        ///< time-outs so far
    StatementInfo mLastAliveInfo = StatementInfo::INVALID; ///< place of the last report
    BasicString<char> mName;                               ///< name of the thread
};

/// The watchdog's table, by thread id.
using WatchdogInfoMap = Map<int, WatchdogInfo, int const&, WatchdogInfo const&, CompareLessPairKey<int, WatchdogInfo>>;

/// Called when a thread has been silent for too long. Implemented by the application.
/// Caution: a call may be under way, or about to begin, when unregister() or stop() returns; destroy a listener only
/// after ThreadManager::destroy(), or let it live as long as the process.
/// Safety: that of the application's class; onTime() tells where it is called.
class UTL_API WatchdogTimerListener
{
public:
    virtual ~WatchdogTimerListener() = default;

    /// Thread nId has been silent for its alive time. Called on the watchdog thread, with no lock held; it may call
    /// back into the watchdog. A slow listener delays the next beats.
    /// nInfos: a copy of the whole table, valid for this call; empty if there was no memory for it.
    virtual void onTime(int nId, WatchdogInfoMap const& nInfos) = 0;
};

/// Checks that watched threads go on reporting. A thread that is silent for its alive time is reported once, in
/// the log and to a listener. It is reported again only if it falls silent again after a report of its own. Nothing is
/// killed.
///
/// Caution:  if a thread falls silent just before the tick counter wraps, every 49.7 days of uptime, that is not
///           reported; the thread is checked again from its next report on.
/// Use:      ThreadManager owns the process's watchdog and gives nobody a pointer to it: its functions with "Watchdog"
///           in their names call these. A ThreadWatchdog that you make yourself has a table and a thread of its own,
///           and gets only the reports that are made to it. Before initialize() and after shutdown() every query is
///           false.
/// Clock:    if the clock fails on a beat, nothing is checked on that beat.
/// Threads:  any; the checks run on a message thread of its own, "Watchdog Thread".
/// Signals:  no.
/// Forks:    the watchdog thread is not in the child: nothing is checked there, and shutdown() waits for ever.
/// Blocking: for the lock; initialize(), setWatchInterval() and shutdown() also for the watchdog thread, and so for a
///           listener.
/// Locks:    mSyncObject, after the registry's; not held while a listener runs.
class UTL_API ThreadWatchdog : public ThreadMsgListener
{
public:
    /// nEntryMax: threads that can be registered; no more can be added.
    explicit ThreadWatchdog(unsigned int nEntryMax);
    /// Ends the thread as shutdown() does, then frees the table: a check that is under way can use it to the end.
    ~ThreadWatchdog() override;
    ThreadWatchdog(ThreadWatchdog const&) = delete;
    ThreadWatchdog& operator=(ThreadWatchdog const&) = delete;

    /// Starts thread and beat, and waits until both run. Result: false if that was done before, or fails.
    bool initialize(unsigned int nIntervalMs);

    /// Stops the thread, waiting without limit. It cannot be started again. Not from a listener of this watchdog.
    void shutdown();

    /// Sets the time from beat to beat, in milliseconds; 0: no beat, and no descriptor stays open. Waits for the
    /// watchdog thread.
    /// Result:  false before initialize().
    /// Caution: from 2147483648 on the kernel refuses, which only the log tells, and there are no beats.
    bool setWatchInterval(unsigned int nIntervalMs);

    /// Registers a thread, not watched until start(). npListener null: the table is printed to the log at level 3.
    /// Result: false for an alive time of 0, for an id that is there already and a full table (all logged), and for a
    ///         null name (in silence).
    bool entry(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName);

    // All of these are false for an unknown id.
    bool unregister(int nId);   ///< Takes the thread out of the table.
    bool isRegistered(int nId); ///< Whether the thread is in the table.
    bool isWatching(int nId);   ///< Whether the thread is watched.
    bool start(int nId);        ///< Watches the thread from now on; a time that is running already goes on.
    bool stop(int nId);         ///< Ends watching the thread; its status and count stay.

    /// Sets a thread's alive time; a watched thread's time starts over. Result: false for 0 (logged) and for an unknown
    /// id.
    bool setAliveTime(int nId, unsigned int nAliveTimeMs);

    /// Reports that the calling thread has passed nStatement. Costs a lock, a search and reading the clock; allocates
    /// nothing.
    /// Result: false for a thread that is not registered; true otherwise, even if it is not watched and the report
    ///         is dropped.
    bool keepAlive(StatementInfo const& nStatement);

    /// Prints the table to the log.
    void printWatchdogInfo(int nLevel);

    /// From the next beat on the watchdog judges each thread that is silent, and calls npListener instead of the former
    /// listener. Costs some 4 microseconds a beat for each thread that has not reported since the last one, and two
    /// descriptors while it stays silent.
    ///
    /// npListener: not owned; null: none. When this returns, a call of the former listener may be under way, or about
    ///             to begin. It is over when a later setWatchInterval() or shutdown() has returned.
    void setVerdictListener(WatchdogVerdictListener* npListener);

    /// nIsOn: true makes the log tell more. A time-out of a message thread or a shared timer gets a second line, which
    ///        tells what that thread does. Each verdict gets a line: level 1 for a thread that hangs, otherwise 2. Off
    ///        by default.
    void setReport(bool nIsOn);

    /// The tick of TimeCounter::getTickTime() by which the next beat ends if the watchdog is alive. Once that tick has
    /// passed, the watchdog itself is late. NO_TICK: there is no beat.
    /// Threads: any; also in a signal handler; never blocks.
    unsigned int beatDeadline() const { return mBeatDeadline.load(std::memory_order_relaxed); }

    /// Handles the watchdog thread's messages.
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
    std::atomic<int> mTimerId{-1}; // the timer of the beat
    std::atomic<bool> mIsInitialized{false};
    std::atomic<unsigned int> mIntervalMs{0};
    std::atomic<unsigned int> mBeatDeadline{WatchdogInfo::NO_TICK};
    std::atomic<bool> mHasReport{false};
    std::atomic<WatchdogVerdictListener*> mpVerdictListener{nullptr};

    SyncObject mSyncObject;
    WatchdogInfoMap mWatchdogInfos UTL_GUARDED_BY(mSyncObject);
    bool mIsInKeepAlive UTL_GUARDED_BY(mSyncObject) = false; // a report from inside a report is dropped
    std::unique_ptr<internal::WatchdogJudge> mpJudge UTL_GUARDED_BY(mSyncObject); // set once; for the watchdog thread
};

} // namespace utl

#endif
