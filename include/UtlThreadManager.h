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

/// Starts threads, knows them by their kernel thread ids, holds name, priority and stop signal of each, and owns
/// the software watchdog.
///
/// Ids:       kernel thread ids (gettid), never pthread_t values.
/// Ownership: owns its entries and the watchdog; destroying it detaches threads and ends none.
/// Threads:   any, unless said otherwise.
/// Signals:   no, but for getCallerId() and getIfCreated().
/// Forks:     the child has the entries, not the threads: these count as active for ever, the watchdog stands still,
///            and destroy() waits for ever. The thread that forked has a new id, which is not registered. Entering the
///            watchdog's table is refused if another thread's first get() was starting the watchdog.
/// Blocking:  for the lock below, and so for a thread that starts, or for the watchdog's alone (reports and most
///            operations of the watchdog); the first get(), entry(), destroy(), waitToStop() and
///            setWatchdogWatchInterval() for a thread. getCallerId() and getIfCreated() never.
/// Locks:     mEntrySyncObject, before the instantiation lock and before the watchdog's lock. It is held while
///            a new thread starts, so that everything else here waits for that.
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
    /// If several threads make the first call at once, one starts the watchdog and the others go on. What they enter
    /// into its table waits until it runs. From a sink of the log it is refused instead, as before the start.
    static ThreadManager* get();

    /// The registry, or null if nothing has created it yet. Creates nothing and starts no watchdog.
    static ThreadManager* getIfCreated();

    /// Creates the registry with room for nEntryMax threads; it must be the first use of the registry, and every
    /// keep-alive report counts as one. Result: false, with nothing changed, if it exists already.
    static bool initializeEntryMax(unsigned int nEntryMax);

    /// Shuts the watchdog down, waiting for its thread, and deletes the registry; a later get() starts all over.
    /// Caution: pointers that get() gave are dangling afterwards; stop your threads and file operations first. Called
    /// from a watchdog listener it would wait for itself.
    UTL_SHARP_EDGE("stop threads and file operations first")
    static void destroy();

    /// The calling thread's kernel id. Cached for each thread, right again in the child of a fork.
    static int getCallerId();

    /// For destroy() alone.
    virtual ~ThreadManager();
    ThreadManager(ThreadManager const&) = delete;
    ThreadManager& operator=(ThreadManager const&) = delete;

    /// Starts a thread and registers it.
    ///
    /// npFunction, npName: not null. npArgument: handed to the function.
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npListener, which is not owned; with null the table of all threads is logged.
    ///               Whether the watchdog's table has room is not looked at.
    /// nReserved:    ignored.
    /// Caution: an invalid nPriority is not refused: the thread runs at nice 19. Check it first.
    /// Caution: entries of ended threads stay until unregister(); with a registry full of them every entry() fails in
    /// silence.
    /// Blocking: until the new thread has set its priority and told its id. The function may run before this returns;
    /// with nUseWatchdog 1 it begins when the watchdog has been told of the thread, or could not be.
    /// Kernel:   top, ps, gdb and core files show the thread by npName, cut to whole characters within 15 bytes.
    /// Result:   the thread's id; 0 for a null, for a full registry (both in silence), when no thread can be made, and
    ///           when the id is registered already (both logged; in the last case the thread runs on, unregistered).
    /// A thread that cannot set its nice value logs that and runs at the priority that it has; see ThreadPriority for a
    /// process that is niced.
    int entry(void (*npFunction)(void*), void* npArgument, int nUseWatchdog, unsigned int nAliveTimeMs,
              WatchdogTimerListener* npListener, char const* npName, ThreadPriority const& nPriority,
              unsigned int nReserved);

    /// Registers the calling thread, which the library did not start, or gives it a new name, also for the kernel as
    /// entry() does, but not to the first thread: its name is that of the process. Such a thread has no stop signal and
    /// never counts as active.
    /// Result: its id; 0 for a null name, for a thread that entry() started (both in silence), for a full registry
    /// (logged).
    /// Caution: an ended thread of the same kernel id that is still registered counts as started: 0. Take ended threads
    /// out.
    int entryCaller(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, char const* npName);

    /// Takes a thread out of the registry, not out of the watchdog's table, and lets go of its handle.
    /// Result: false for an unknown id and for a thread that is active.
    bool unregister(int nId);

    /// From now on entries are logged at level 3. Cannot be taken back.
    void enableRegistrationLog();

    /// An entry exists, also of a thread that has ended.
    bool isThreadExist(int nId);

    /// The entry exists, was made by entry(), and its function has not returned.
    bool isThreadActive(int nId);

    /// isThreadExist and isThreadActive, locked separately.
    bool isActive(int nId);

    /// The thread's name, or the empty text.
    /// Caution: the pointer refers into the registry and is good only as long as no entry comes or goes; copy it at
    /// once, or use getNames.
    UTL_SHARP_EDGE("use getNames()")
    char const* findName(int nId);
    UTL_SHARP_EDGE("use getNames()")
    char const* getName(int nId);

    /// Adds (id, name) of every entry to *npNames in ascending order; names of ids already there are replaced.
    /// Result: false for null, and if *npNames is full: what fitted stays in it.
    bool getNames(NameMap* npNames);

    /// Result: false, with *npPriority unchanged, unless npPriority is not null and the thread is active.
    bool getPriority(int nId, ThreadPriority* npPriority);

    /// Sets the nice value of the calling thread; nId must be its id and it must have been started by entry().
    /// Result: false for another thread, for an invalid priority (logged), and if the system refuses (logged).
    bool setPriority(int nId, ThreadPriority const& nPriority);

    /// Waits until the thread's function has returned. nTimeoutMs 0: without limit.
    /// Result: 0; -2 at the time-out; -1 at once for an unknown id and a thread that entered itself.
    int waitToStop(int nId, unsigned int nTimeoutMs);

    /// As the operations of ThreadWatchdog without the last word of the name; nId 0 stands for the calling thread. All
    /// of them are false while the watchdog does not run.
    bool entryWatchdog(unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, int nId);
    bool unregisterWatchdog(int nId);
    bool isRegisteredWatchdog(int nId);
    bool isWatchingWatchdog(int nId);
    bool setWatchdogAliveTime(unsigned int nAliveTimeMs, int nId);
    bool startWatchdog(int nId);
    bool stopWatchdog(int nId);
    bool setWatchdogWatchInterval(unsigned int nIntervalMs);

    /// As ThreadWatchdog's setVerdictListener, setReport and beatDeadline. The last is NO_TICK, all bits set, too if
    /// nothing has created the registry; it is good in a signal handler, but not against destroy().
    void setWatchdogVerdictListener(WatchdogVerdictListener* npListener);
    void setWatchdogReport(bool nIsOn);
    static unsigned int watchdogBeatDeadline();

    /// The calling thread has passed nStatement.
    void keepAliveWatchdog(StatementInfo const& nStatement);

    /// Prints nothing. Use printThreadInfoReg.
    void printThreadInfo(int nLevel);

    /// Prints the table of threads to the log.
    void printThreadInfoReg(int nLevel);

    /// Prints the watchdog's table, then the threads that are not in it.
    void printWatchdogInfo(int nLevel);

private:
    friend class Thread;

    /// Told apart by each start of a registry: 1 at first, raised by destroy().
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

        char const* name() const { return std::as_const(*mpName).c_str(); } ///< Of an entry that was made with one.

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

    /// As entry(). *npId: the id, or 0. *npEndEvent: the event that goes on when the function has returned, wherever a
    /// thread was made, even if it could not be registered.
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
