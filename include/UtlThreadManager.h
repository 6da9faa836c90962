/// The process-wide registry of threads. Layer: thread registry.
#ifndef UTL_THREAD_MANAGER_H
#define UTL_THREAD_MANAGER_H

#include "UtlBasicString.h"
#include "UtlEvent.h"
#include "UtlMacros.h"
#include "UtlMap.h"
#include "UtlOutcome.h"
#include "UtlSmartPointer.h"
#include "UtlStatementInfo.h"
#include "UtlSyncObject.h"
#include "UtlThreadOptions.h"
#include "UtlThreadPriority.h"

#include <atomic>
#include <utility>

namespace utl
{

class ThreadWatchdog;
class WatchdogTimerListener;
class WatchdogVerdictListener;

/// Starts threads, keeps name, priority and end event of each under its kernel thread id, and owns the software
/// watchdog.
///
///     ThreadManager& lManager = *ThreadManager::get();
///     lManager.entryCaller(0, 0, nullptr, "main");    // the calling thread, which the library did not start
///     lManager.printThreadInfo(LOG_LEVEL_INFO);       // a line in the log for each thread
///
/// Ids:       kernel thread ids (gettid), never pthread_t values.
/// Ownership: owns its entries and the watchdog; destroying it detaches threads and ends none.
/// Threads:   any, unless said otherwise.
/// Signals:   no, but for getCallerId() and getIfCreated().
/// Forks:     the child has the entries, not the threads: these count as active for ever, the watchdog checks nothing,
///            and destroy() waits for ever. The thread that forked has a new id, which is not registered. If another
///            thread was starting the watchdog by its first get() at the fork, the child cannot enter threads into the
///            watchdog's table.
/// Blocking:  most functions wait for the lock below, and so for a thread that starts. Reports and most operations of
///            the watchdog wait for its lock only. The first get(), entry(), destroy(), waitToStop() and
///            setWatchdogWatchInterval() wait for a thread. getCallerId() and getIfCreated() never wait.
/// Locks:     mEntrySyncObject, before the instantiation lock and before the watchdog's lock. It is held while
///            a new thread starts, so all other functions that need it wait for that.
/// Reports:   each blocking system call stands between two keep-alive reports.
class UTL_API ThreadManager
{
public:
    /// Names by thread id.
    using NameMap =
        Map<int, BasicString<char>, int const&, BasicString<char> const&, CompareLessPairKey<int, BasicString<char>>>;

    /// Entries of a registry that get() creates.
    static constexpr unsigned int DEFAULT_ENTRY_MAX = 128;

    /// The registry, created on first use with DEFAULT_ENTRY_MAX entries; the first call also starts the watchdog.
    /// If several threads make the first call at once, one starts the watchdog and the others go on. If they enter a
    /// thread into the watchdog's table, that waits until the watchdog runs; in a sink of the log it is refused
    /// instead.
    static ThreadManager* get();

    /// The registry, or null if nothing has created it yet. Creates nothing and starts no watchdog.
    static ThreadManager* getIfCreated();

    /// Creates the registry with room for nEntryMax threads. This must be the first use of the registry; every
    /// keep-alive report counts as a use. Result: false, with nothing changed, if the registry exists already.
    static bool initializeEntryMax(unsigned int nEntryMax);

    /// Shuts the watchdog down, waiting for its thread, and deletes the registry; a later get() makes new ones.
    /// Caution: pointers that get() gave dangle afterwards; stop your threads and file operations first. Called from a
    /// watchdog listener it would wait for itself.
    UTL_SHARP_EDGE("stop threads and file operations first")
    static void destroy();

    /// The calling thread's kernel id. Cached for each thread, right again in the child of a fork.
    static int getCallerId();

    /// Called by destroy() only.
    virtual ~ThreadManager();
    ThreadManager(ThreadManager const&) = delete;
    ThreadManager& operator=(ThreadManager const&) = delete;

    /// Starts a thread and registers it.
    ///
    /// npFunction, npName: not null.
    /// npArgument:   passed to the function.
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npListener, which is not owned; with null the table of all threads is logged. It is not
    ///               checked whether the watchdog's table has room.
    /// nPriority:    a thread that cannot set its nice value logs that and runs at the one that it has; see
    ///               ThreadPriority for a process that was started with nice.
    /// nReserved:    ignored.
    /// Caution: an invalid nPriority is not refused: the thread runs at nice 19. Check it first.
    /// Caution: entries of ended threads stay until unregister(); with a registry full of them every entry() fails in
    /// silence.
    /// Blocking: until the new thread has set its priority and told its id. The function may run before this returns;
    ///           with nUseWatchdog 1 it begins after the thread was entered into the watchdog's table, or refused
    ///           there.
    /// Kernel:   top, ps, gdb and core files show the thread with npName, cut to whole characters within 15 bytes.
    /// Result:   the thread's id; 0 for a null and for a full registry (both in silence), and if no thread can be made
    ///           or the id is registered already (both logged; in the last case the thread runs on, unregistered).
    int entry(void (*npFunction)(void*), void* npArgument, int nUseWatchdog, unsigned int nAliveTimeMs,
              WatchdogTimerListener* npListener, char const* npName, ThreadPriority const& nPriority,
              unsigned int nReserved);

    /// Registers the calling thread, which the library did not start, or gives it a new name. As with entry() the
    /// kernel gets the name, too, but not for the first thread, whose name is that of the process. Such a thread never
    /// counts as active, and waitToStop() does not wait for it.
    /// Result: its id; 0 for a null name and for a thread that entry() started (both in silence), and for a full
    ///         registry (logged).
    /// Caution: if an ended thread with the same kernel id is still registered, the result is 0; take ended threads out
    /// with unregister().
    int entryCaller(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName);

    /// Takes a thread out of the registry, but not out of the watchdog's table, and lets go of its handle.
    /// Result: false for an unknown id and for a thread that is active.
    bool unregister(int nId);

    /// From now on entries are logged at level 3. Cannot be undone.
    void enableRegistrationLog();

    /// Whether there is an entry, also of a thread that has ended.
    bool isThreadExist(int nId);

    /// Whether the thread was started by entry() and its function has not returned.
    bool isThreadActive(int nId);

    /// Whether isThreadExist and isThreadActive are both true; each takes the lock for itself.
    bool isActive(int nId);

    /// The thread's name; the empty text for an unknown id.
    /// Caution: the pointer refers into the registry and is valid only until an entry is added or removed; copy the
    /// name at once, or use getNames.
    UTL_SHARP_EDGE("use getNames()")
    char const* findName(int nId);
    UTL_SHARP_EDGE("use getNames()")
    char const* getName(int nId);

    /// Adds (id, name) of every entry to *npNames in ascending order; names of ids already there are replaced.
    /// Result: false for null, and if *npNames is full: the entries that fitted stay in it.
    bool getNames(NameMap* npNames);

    /// Gives a thread's priority. Result: false, with *npPriority unchanged, if the thread is not active or npPriority
    /// is null.
    bool getPriority(int nId, ThreadPriority* npPriority);

    /// Sets the nice value of the calling thread; nId must be its id and it must have been started by entry().
    /// Result: false for another thread, for an invalid priority (logged), and if the system refuses (logged).
    bool setPriority(int nId, ThreadPriority const& nPriority);

    /// Waits until the thread's function has returned. nTimeoutMs 0: without limit.
    /// Result: 0; -2 at the time-out; -1 at once for an unknown id and a thread that entered itself.
    int waitToStop(int nId, unsigned int nTimeoutMs);

    /// As the functions of ThreadWatchdog whose names lack "Watchdog"; nId 0 means the calling thread. All are false
    /// while the watchdog does not run.
    bool entryWatchdog(unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, int nId);
    bool unregisterWatchdog(int nId);
    bool isRegisteredWatchdog(int nId);
    bool isWatchingWatchdog(int nId);
    bool setWatchdogAliveTime(unsigned int nAliveTimeMs, int nId);
    bool startWatchdog(int nId);
    bool stopWatchdog(int nId);
    bool setWatchdogWatchInterval(unsigned int nIntervalMs);

    /// As ThreadWatchdog's setVerdictListener, setReport and beatDeadline. The last is also NO_TICK, all bits set, if
    /// nothing has created the registry. A signal handler may call it, but nobody may while destroy() runs.
    void setWatchdogVerdictListener(WatchdogVerdictListener* npListener);
    void setWatchdogReport(bool nIsOn);
    static unsigned int watchdogBeatDeadline();

    /// Reports to the watchdog that the calling thread has passed nStatement.
    void keepAliveWatchdog(StatementInfo const& nStatement);

    /// Prints nothing. Use printThreadInfoReg.
    void printThreadInfo(int nLevel);

    /// Prints the table of threads to the log.
    void printThreadInfoReg(int nLevel);

    /// Prints the watchdog's table, then the threads that are not in it.
    void printWatchdogInfo(int nLevel);

private:
    friend class Thread;

    /// The number of the registry: 1 at first, raised by destroy().
    static unsigned int version() { return mVersion.load(std::memory_order_acquire); }

    /// Detaches a thread when the last holder of its handle goes. A handle of 0 is neither detached nor freed.
    class DetachThread
    {
    public:
        void operator()(unsigned long* npHandle) const;
    };

    /// One thread. Copies share all of it and allocate nothing, so that entries can be moved about when memory has run
    /// out.
    class ThreadEntry
    {
    public:
        ThreadEntry();
        ThreadEntry(char const* npName, ThreadPriority const& nPriority);

        bool isActive() const;
        bool isControllable() const;

        char const* name() const { return std::as_const(*mpName).c_str(); } ///< Not of an entry without a name.

        SmartPointer<BasicString<char>> mpName;
        ThreadPriority mPriority;
        SmartPointer<Event> mpStopEvent;                             // null: the thread entered itself
        CountingPointer<unsigned long, DetachThread> mpThreadHandle; // null: the same
    };

    using EntryMap = Map<int, ThreadEntry, int const&, ThreadEntry const&, CompareLessPairKey<int, ThreadEntry>>;

    struct StartRecord;
    class StartAttributes;

    explicit ThreadManager(unsigned int nEntryMax);

    static SyncObject& instantiationSyncObject();
    void initializeWatchdog();
    static void awaitWatchdog();
    static void beginChild();
    static void* startThread(void* npRecord);

    Start enterNew(StartRecord& nRecord, ThreadOptions const& nOptions, int* npId, SmartPointer<Event>* npEndEvent);
    Start startLocked(StartRecord& nRecord, ThreadOptions const& nOptions) UTL_REQUIRES(mEntrySyncObject);
    int entryLocked(int nId, ThreadEntry const& nEntry) UTL_REQUIRES(mEntrySyncObject);

    /// As entry(). *npId: the id, or 0. *npEndEvent: the event that is set when the function has returned; set whenever
    /// a thread was made, even if it could not be registered.
    Start entryWithEvent(void (*npFunction)(void*), void* npArgument, char const* npName, ThreadOptions const& nOptions,
                         int* npId, SmartPointer<Event>* npEndEvent);
    ThreadEntry* findLocked(int nId) UTL_REQUIRES(mEntrySyncObject);
    void printRowLocked(int nLevel, unsigned int nIndex) UTL_REQUIRES(mEntrySyncObject);
    void announce(int nId, int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener,
                  char const* npName);

    /// The stop event of a thread that entry() started, or null.
    SmartPointer<Event> stopEventOf(int nId);

    static std::atomic<ThreadManager*> mpTheObject; // written under the instantiation lock
    static std::atomic<bool> mHasInitializedWatchdog;
    static std::atomic<unsigned int> mWatchdogStarters; // threads in initializeWatchdog()
    static std::atomic<unsigned int> mVersion;
    static int const mForkHandler;

    SyncObject mEntrySyncObject;
    EntryMap mThreadEntries UTL_GUARDED_BY(mEntrySyncObject);
    Event mStartedEvent;        // one start at a time, under mEntrySyncObject
    ThreadWatchdog* mpWatchdog; // owned, constant between constructor and destructor
    std::atomic<bool> mEnableRegistrationLog{false};
};

} // namespace utl

#endif
