/// The base class of all threads. Layer: thread.
#ifndef UTL_THREAD_H
#define UTL_THREAD_H

#include "UtlBasicString.h"
#include "UtlEvent.h"
#include "UtlMacros.h"
#include "UtlOutcome.h"
#include "UtlSmartPointer.h"
#include "UtlStatementInfo.h"
#include "UtlSyncObject.h"
#include "UtlThreadOptions.h"
#include "UtlThreadPriority.h"

#include <atomic>

namespace utl
{

class WatchdogTimerListener;

/// A job for a Thread. Implemented by the application and never deleted by the library.
/// Safety: that of the application's class; it runs without a lock of the library.
class UTL_API Command
{
public:
    virtual ~Command() = default;

    /// Runs on the thread. Result: the thread's result.
    virtual unsigned int execute() = 0;
};

/// A thread with a name, a job, four stages and a result. An object runs once.
///
///     struct Counts : Command { unsigned int execute() override { return countCards(); } } lCounts;
///     Thread lThread("counter", &lCounts);
///     lThread.start(0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
///     if (lThread.waitTo(Thread::STAGE_DONE, 1000) == 0)              // within a second
///     {
///         unsigned int lCount = 0;
///         lThread.getResult(&lCount);
///         lThread.leaveManagement();
///     }
///
/// Stages:    0 started and registered, 1 preExecute has returned, 2 stop requested, 3 done (postExecute has returned,
///            the result is available, and the registry no longer counts the thread as active).
/// Ownership: the command is the caller's and must live until stage 3, and so must the object.
/// Deriving:  the destructor of a subclass begins with stop(1, 0) and awaitEnd(): after it the subclass's virtual
///            functions are not called any more, and what they use is gone.
/// Caution:   a subclass whose destructor does not stop the thread lets it run on in a half-destroyed object.
/// Threads:   any, unless said otherwise.
/// Signals:   no, but for hasRequestedStop() and getId().
/// Forks:     a running thread is not in the child; who waits for its end there waits for ever, the destructor too. An
///            object that was not started can be started there.
/// Blocking:  start() and stop() wait for each other; start(), stop() and waitTo() for the thread, as told there;
///            functions that ask the registry for its lock.
/// Locks:     mSyncObject serialises start and stop; it is not held while stop waits.
/// Registry:  the entry stays behind after the end, until leaveManagement().
class UTL_API Thread
{
public:
    /// The stages, as told above.
    enum Stage
    {
        STAGE_STARTED = 0,        ///< started and registered
        STAGE_PREPARED = 1,       ///< preExecute has returned
        STAGE_STOP_REQUESTED = 2, ///< asked to end
        STAGE_DONE = 3            ///< the result is available
    };

    /// npName: copied, null counts as empty. npCommand: what execute() runs, may be null. Starts nothing.
    Thread(char const* npName, Command* npCommand);

    /// Stops the thread and waits for its end without limit. Does not leave the registry.
    /// Caution: here stop() calls Thread's own requestStop(), which does nothing: a thread that needs a subclass's to
    /// end is waited for for ever; stop it before, as the class comment tells. A thread must not destroy its own
    /// object.
    virtual ~Thread();
    Thread(Thread const&) = delete;
    Thread& operator=(Thread const&) = delete;

    /// Starts the thread.
    ///
    /// nUseWatchdog: at exactly 1 the watchdog knows the thread. From startWatchdog() on, which may be the first line
    ///               of execute(), it reports the thread once it has been silent for nAliveTimeMs, to the log and to
    ///               npListener, which is not owned; with null the table of all threads is logged.
    /// nPriority:    as for ThreadManager::entry.
    /// nWaitStart:   at exactly 1 this returns after preExecute, or after nWaitStartMs (0: without limit).
    /// nReserved:    ignored.
    /// Result:   0; -1 if the object was started before, even if its thread has ended, and if the registry refuses
    ///           (start() may then be tried again); -2 if the wait ran out, although the thread runs.
    /// Caution: if the kernel gives the new thread an id that an ended one still has in the registry, the log says
    /// "entry() Error Thread Register", the result is -1, and the thread runs on outside the registry; destroying the
    /// object waits for it. Take ended threads out with leaveManagement().
    /// Blocking: a stop() from elsewhere waits until this returns.
    int start(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, int nWaitStart,
              unsigned int nWaitStartMs, ThreadPriority const& nPriority, unsigned int nReserved);

    /// As start(), with more options and a result that tells why it failed. Waits for no stage; call waitTo() for that.
    /// After ID_TAKEN the thread runs on outside the registry, as start() tells.
    Start tryStart(ThreadOptions const& nOptions);

    /// Asks the thread to end: takes it out of the watchdog, raises stage 2, calls requestStop().
    /// Caution: a thread that waits for its own end waits for ever; pass nWait 0 there. Do not call it in preExecute()
    /// while start() waits for that (nWaitStart 1): each then waits for the other, whatever nWait says.
    ///
    /// nWait:  at exactly 1 waits for stage 3, at most nTimeoutMs (0: without limit); otherwise returns at once.
    /// Result: 0; -1 if the thread was never started or is done; -2 if the wait ran out: the thread runs on, and a
    ///         later stop() asks once more. Nothing forces a thread to end.
    int stop(int nWait, unsigned int nTimeoutMs);

    /// Result: whether the stage has been reached; false outside 0 to 3. Stage 3 also needs the registry to have seen
    ///         the thread's end.
    bool hasDone(int nStage) const;

    /// Waits for a stage, at most nTimeoutMs; 0: without limit.
    /// Result: 0; -2 at the time-out; -1 outside 0 to 3, for stages 2 and 3 of a thread that was never started, and for
    ///         stage 3 of one that has left the registry.
    int waitTo(int nStage, unsigned int nTimeoutMs);

    /// Gives the thread's result. Result: false, with *npResult unchanged, if the thread is not done or npResult is
    /// null.
    bool getResult(unsigned int* npResult) const;

    /// Whether stop() was called. No lock.
    bool hasRequestedStop() const { return mHasRequestedStop.load(std::memory_order_acquire); }

    /// Whether the thread is registered, and the registry has not seen its end.
    bool isRunning() const;

    /// The kernel thread id; 0 before a start.
    int getId() const { return mId.load(std::memory_order_acquire); }

    /// The name given to the constructor.
    BasicString<char> const& getName() const { return mName; }

    /// Takes the thread out of the registry. Result: false while it runs, and if it is not registered.
    bool leaveManagement();

    /// Sleeps nMs milliseconds; a signal does not shorten that.
    /// Caution: from 2147483648 on the value counts as negative and the call returns at once.
    static void sleep(unsigned int nMs);

    /// Reports to the watchdog that the calling thread has passed nStatement.
    static void keepAliveWatchdog(StatementInfo const& nStatement);

    /// As ThreadManager::setPriority, on the thread itself; false on any other thread.
    bool setPriority(ThreadPriority const& nPriority);

    /// As ThreadManager::getPriority, for this thread.
    bool getPriority(ThreadPriority* npPriority) const;

    /// As ThreadManager's setWatchdogAliveTime, startWatchdog and stopWatchdog, for this thread.
    /// Caution: message and timer threads start the watch when they have work and stop it while they wait. There, a
    /// stopWatchdog() lasts until the next work, and after a startWatchdog() an idle thread is reported as hung.
    /// Caution: a thread that ended by itself stays in the watchdog's table, and is reported, until
    /// ThreadManager::unregisterWatchdog(); until then a later thread with the same kernel id is refused there.
    /// Caution: before the start the id is 0, which means the calling thread; call these only after the start.
    bool setWatchdogAliveTime(unsigned int nAliveTimeMs);
    bool startWatchdog();
    bool stopWatchdog();

protected:
    /// Runs first on the new thread.
    /// Caution: start() may not have registered the thread yet: isRunning() may still be false here, and what needs it
    /// may fail.
    virtual void preExecute();

    /// The job, on the new thread. In Thread: the command's result, or all bits set without a command.
    virtual unsigned int execute();

    /// Runs last on the new thread.
    virtual void postExecute();

    /// Must make execute() return. stop() calls it, on the thread that called stop().
    virtual void requestStop();

    /// For the destructor of a subclass, after stop(): asks and waits even if the registry does not know the thread.
    void awaitEnd();

    /// isRunning() and not hasRequestedStop(), without a lock, for hot paths. Becomes false at the end of postExecute,
    /// an instant before isRunning() does.
    bool isInService() const;

private:
    static void startImpl(void* npThread);
    Start startLocked(ThreadOptions const& nOptions) UTL_REQUIRES(mSyncObject);

    int awaitEndEvent(unsigned int nTimeoutMs) const;

    /// Whether the registry's entry with our id is ours. The kernel may have given the id to another thread since.
    bool isInRegistry() const;

    Command* const mpCommand;                      // constant, not owned
    std::atomic<int> mId{0};                       // written by start()
    BasicString<char> const mName;                 // constant
    Event mStageEvents[4];                         // each is set on once, never off
    SyncObject mSyncObject;                        // start() against stop()
    unsigned int mResult = 0;                      // written before stage 3
    std::atomic<bool> mHasRequestedStop{false};    // stage 2, readable without a lock
    std::atomic<bool> mIsDone{false};              // stage 3, likewise
    SmartPointer<Event> mpEndEvent;                // the registry's; constant once mRegistryVersion is set
    std::atomic<unsigned int> mRegistryVersion{0}; // ThreadManager::version() at the start; 0: not started
};

} // namespace utl

#endif
