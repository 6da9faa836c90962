// The thread registry: starting and entering threads, names, priorities, and the reports to the watchdog.
#include "UtlThreadManager.h"

#include "UtlApplog.h"
#include "UtlString.h"
#include "internal/base/UtlHeapPort.h"
#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlLogFileSink.h"
#include "internal/base/UtlShownLock.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/base/UtlThreadSlots.h"
#include "internal/thread/UtlBlockingCall.h"
#include "internal/thread/UtlWatchdogPort.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace utl
{

namespace
{

char const FILE_NAME[] = "source/UtlThreadManager";
unsigned int const DEFAULT_WATCH_INTERVAL_MS = 1000;

using internal::blockingCall;
using internal::gSystem;

// 0: not asked yet. This TLS model avoids a call into the loader.
thread_local int tCallerId __attribute__((tls_model("initial-exec"))) = 0;

int ownIdIfZero(int nId)
{
    return nId != 0 ? nId : ThreadManager::getCallerId();
}

char const* priorityLabel(ThreadPriority const& nPriority)
{
    static char const* const LABELS[] = {"TIME_CRITICAL", "HIGH", "ABOVE_NORMAL", "NORMAL",
                                         "BELOW_NORMAL",  "LOW",  "IDLE"};
    int const lValue = nPriority.value();
    return lValue >= ThreadPriority::TIME_CRITICAL && lValue <= ThreadPriority::IDLE ? LABELS[lValue] : "INVALID";
}

/// A name cut to whole characters within a size, the terminator included.
template <unsigned int SIZE>
struct CutName
{
    explicit CutName(char const* npName) { copyStrBase<char>(mText, SIZE, npName, ~0U, 1); }

    char mText[SIZE] = {};
};

constexpr unsigned int TABLE_NAME_SIZE = internal::ThreadSlot::NAME_SIZE;
constexpr unsigned int KERNEL_NAME_SIZE = 16; // the kernel's own limit

/// Shows the calling thread in the dump; other threads that wait for it refer to it by its id.
void showCaller(char const* npName)
{
    internal::enterSlot(ThreadManager::getCallerId(), CutName<TABLE_NAME_SIZE>(npName).mText);
}

/// Sets the name for top, ps, gdb and core files. If that fails, the thread keeps its old name.
void nameCaller(char const* npName)
{
    if (*npName != '\0')
    {
        ::pthread_setname_np(::pthread_self(), CutName<KERNEL_NAME_SIZE>(npName).mText);
    }
}

} // namespace

std::atomic<ThreadManager*> ThreadManager::mpTheObject{nullptr};
std::atomic<bool> ThreadManager::mHasInitializedWatchdog{false};
std::atomic<unsigned int> ThreadManager::mWatchdogStarters{0};
std::atomic<unsigned int> ThreadManager::mVersion{1};
int const ThreadManager::mForkHandler = pthread_atfork(nullptr, nullptr, &ThreadManager::beginChild);

/// The child of a fork has one thread, a new one for the kernel, which nobody has registered.
void ThreadManager::beginChild()
{
    tCallerId = 0;
    internal::clearSlots();
    mWatchdogStarters = 0;
    if (ThreadManager const* const lpObject = getIfCreated())
    {
        internal::watchdog::forgetCaller(*lpObject->mpWatchdog);
    }
}

// What a new thread needs; on the stack of entry() until the thread has told its id.
struct ThreadManager::StartRecord
{
    ThreadManager* mpManager;
    void (*mpFunction)(void*);
    void* mpArgument;
    int mOsPriority;
    SmartPointer<Event> mpStopEvent;
    SmartPointer<Event> mpToldEvent; // set once the watchdog has the thread, or refused it; null: not for the watchdog
    char const* mpName;
    int mThreadId;
    pthread_t mHandle;
};

// ---------------------------------------------------------------------------------------------- one entry

void ThreadManager::DetachThread::operator()(unsigned long* npHandle) const
{
    if (*npHandle == 0)
    {
        return;
    }
    // The last holder may be destroyed with the registry, or after it: a report must not make a new registry.
    blockingCall(getIfCreated(), FILE_NAME, "operator()", 150, [&] { return gSystem.mPthreadDetach(*npHandle); });
    delete npHandle;
}

ThreadManager::ThreadEntry::ThreadEntry()
    : mPriority(ThreadPriority::NORMAL)
{
}

ThreadManager::ThreadEntry::ThreadEntry(char const* npName, ThreadPriority const& nPriority)
    : mpName(makeSmart<BasicString<char>>(npName, 0U, 0)),
      mPriority(nPriority)
{
}

bool ThreadManager::ThreadEntry::isActive() const
{
    return mpStopEvent.get() != nullptr && mpStopEvent->isOff();
}

bool ThreadManager::ThreadEntry::isControllable() const
{
    return mpStopEvent.get() != nullptr;
}

// ---------------------------------------------------------------------------------------------- the one registry

SyncObject& ThreadManager::instantiationSyncObject()
{
    static internal::Immortal<internal::ShownLock> lLock("the making of the registry");
    return lLock.get();
}

ThreadManager* ThreadManager::get()
{
    ThreadManager* lpObject = mpTheObject.load(std::memory_order_acquire);
    if (lpObject == nullptr)
    {
        SyncGuard lGuard(instantiationSyncObject());
        lpObject = mpTheObject.load(std::memory_order_acquire);
        if (lpObject == nullptr)
        {
            lpObject = new ThreadManager(DEFAULT_ENTRY_MAX);
            mpTheObject.store(lpObject, std::memory_order_release);
        }
    }
    // Ahead of the call and outside the lock: it starts a thread, which comes back here. Read first, since this is on
    // the way of every report.
    if (!mHasInitializedWatchdog.load(std::memory_order_relaxed))
    {
        lpObject->initializeWatchdog();
    }
    return lpObject;
}

void ThreadManager::initializeWatchdog()
{
    struct Starting
    {
        Starting() { ++mWatchdogStarters; }
        ~Starting() { --mWatchdogStarters; }
    } const lStarting; // before the flag is set: who sees the flag waits for us
    if (mHasInitializedWatchdog.exchange(true))
    {
        return;
    }
    try
    {
        internal::watchdog::initialize(*mpWatchdog, DEFAULT_WATCH_INTERVAL_MS);
    }
    catch (...)
    {
        mHasInitializedWatchdog = false; // the next call tries again
        throw;
    }
}

/// Waits if another thread's first get() is starting the watchdog. Not under the registry lock, which the start takes.
/// In a sink of the log it does not wait: the starting thread may be in that sink, or wait for it.
void ThreadManager::awaitWatchdog()
{
    while (mHasInitializedWatchdog && mWatchdogStarters != 0 && !internal::isInLogSink())
    {
        internal::pauseBriefly();
    }
}

ThreadManager* ThreadManager::getIfCreated()
{
    return mpTheObject.load(std::memory_order_acquire);
}

bool ThreadManager::initializeEntryMax(unsigned int nEntryMax)
{
    SyncGuard lGuard(instantiationSyncObject());
    if (mpTheObject.load(std::memory_order_acquire) != nullptr)
    {
        return false;
    }
    mpTheObject.store(new ThreadManager(nEntryMax), std::memory_order_release);
    return true;
}

void ThreadManager::destroy()
{
    SyncGuard lGuard(instantiationSyncObject());
    ThreadManager* const lpObject = mpTheObject.load(std::memory_order_acquire);
    if (lpObject != nullptr)
    {
        internal::watchdog::shutdown(*lpObject->mpWatchdog);
        ++mVersion;
    }
    // From here on others wait for the lock, and then make a new registry.
    mpTheObject.store(nullptr, std::memory_order_release);
    mHasInitializedWatchdog = false;
    delete lpObject;
}

int ThreadManager::getCallerId()
{
    if (tCallerId == 0)
    {
        tCallerId = static_cast<int>(::syscall(SYS_gettid));
    }
    return tCallerId;
}

ThreadManager::ThreadManager(unsigned int nEntryMax)
    : mThreadEntries(nEntryMax),
      mStartedEvent(0, 0),
      mpWatchdog(internal::watchdog::create(nEntryMax))
{
    internal::showLock("the registry", internal::mutexOf(mEntrySyncObject));
}

ThreadManager::~ThreadManager()
{
    internal::hideLock(internal::mutexOf(mEntrySyncObject));
    internal::watchdog::destroy(mpWatchdog);
}

// ---------------------------------------------------------------------------------------------- registration

int ThreadManager::entry(void (*npFunction)(void*), void* npArgument, int nUseWatchdog, unsigned int nAliveTimeMs,
                         WatchdogTimerListener* npListener, char const* npName, ThreadPriority const& nPriority,
                         unsigned int)
{
    if (npFunction == nullptr || npName == nullptr)
    {
        return 0;
    }
    ThreadOptions lOptions;
    lOptions.mUseWatchdog = nUseWatchdog == 1;
    lOptions.mAliveTimeMs = nAliveTimeMs;
    lOptions.mpWatchdogListener = npListener;
    lOptions.mPriority = nPriority;
    int lId = 0;
    SmartPointer<Event> lpEndEvent;
    (void)entryWithEvent(npFunction, npArgument, npName, lOptions, &lId, &lpEndEvent);
    return lId;
}

Start ThreadManager::entryWithEvent(void (*npFunction)(void*), void* npArgument, char const* npName,
                                    ThreadOptions const& nOptions, int* npId, SmartPointer<Event>* npEndEvent)
{
    *npId = 0;
    StartRecord lRecord{this, npFunction, npArgument, nOptions.mPriority.OsValue(), {}, {}, npName, 0, 0};
    if (nOptions.mUseWatchdog)
    {
        lRecord.mpToldEvent = makeSmart<Event>(0, 0);
    }
    Start const lStart = enterNew(lRecord, nOptions, npId, npEndEvent);
    if (*npId != 0)
    {
        announce(*npId, nOptions.mUseWatchdog ? 1 : 0, nOptions.mAliveTimeMs, nOptions.mpWatchdogListener, npName);
    }
    if (nOptions.mUseWatchdog)
    {
        lRecord.mpToldEvent->setOn();
    }
    return lStart;
}

/// Starts the thread of a record and registers it. *npId: its id; 0 for none, and for one that could not be registered.
Start ThreadManager::enterNew(StartRecord& nRecord, ThreadOptions const& nOptions, int* npId,
                              SmartPointer<Event>* npEndEvent)
{
    SyncGuard lGuard(mEntrySyncObject);
    if (mThreadEntries.size() >= mThreadEntries.maxSize())
    {
        return Start::REGISTRY_FULL;
    }
    // All memory is allocated before the thread is made, so that no thread runs unregistered because memory ran out.
    auto lpHandle = std::make_unique<unsigned long>(0);
    ThreadEntry lEntry(nRecord.mpName, nOptions.mPriority);
    lEntry.mpStopEvent = makeSmart<Event>(0, 0);
    lEntry.mpThreadHandle.set(lpHandle.get());
    nRecord.mpStopEvent = lEntry.mpStopEvent;
    Start const lStart = startLocked(nRecord, nOptions);
    if (lStart != Start::DONE)
    {
        return lStart; // the handle is still 0, so nobody else frees it
    }
    *lpHandle.release() = nRecord.mHandle;
    *npEndEvent = nRecord.mpStopEvent;
    *npId = entryLocked(nRecord.mThreadId, lEntry);
    return *npId != 0 ? Start::DONE : Start::ID_TAKEN;
}

/// The attributes for a new thread: the default ones, unless the options ask for others.
class ThreadManager::StartAttributes
{
public:
    explicit StartAttributes(ThreadOptions const& nOptions)
        : mIsAsked(nOptions.mStackSize != 0 || nOptions.mPolicy != SCHED_OTHER || nOptions.mPolicyPriority != 0 ||
                   nOptions.mProcessors != 0)
    {
        if (mIsAsked)
        {
            ::pthread_attr_init(&mAttributes);
            keep(nOptions.mStackSize != 0 ? ::pthread_attr_setstacksize(&mAttributes, nOptions.mStackSize) : 0);
            setPolicy(nOptions);
            setProcessors(nOptions.mProcessors);
        }
    }
    ~StartAttributes()
    {
        if (mIsAsked)
        {
            ::pthread_attr_destroy(&mAttributes);
        }
    }
    StartAttributes(StartAttributes const&) = delete;
    StartAttributes& operator=(StartAttributes const&) = delete;

    pthread_attr_t const* get() const { return mIsAsked ? &mAttributes : nullptr; }
    int error() const { return mError; } ///< The error number of the first attribute that was refused, or 0.

private:
    void keep(int nError) { mError = mError != 0 ? mError : nError; }

    void setPolicy(ThreadOptions const& nOptions)
    {
        if (nOptions.mPolicy != SCHED_OTHER || nOptions.mPolicyPriority != 0)
        {
            sched_param lParam{};
            lParam.sched_priority = nOptions.mPolicyPriority;
            keep(::pthread_attr_setinheritsched(&mAttributes, PTHREAD_EXPLICIT_SCHED));
            keep(::pthread_attr_setschedpolicy(&mAttributes, nOptions.mPolicy));
            keep(::pthread_attr_setschedparam(&mAttributes, &lParam));
        }
    }

    void setProcessors(unsigned long long nProcessors)
    {
        if (nProcessors == 0)
        {
            return;
        }
        cpu_set_t lSet;
        CPU_ZERO(&lSet);
        for (unsigned int lNumber = 0; lNumber < 64; ++lNumber)
        {
            if ((nProcessors >> lNumber & 1U) != 0)
            {
                CPU_SET(lNumber, &lSet);
            }
        }
        keep(::pthread_attr_setaffinity_np(&mAttributes, sizeof(lSet), &lSet));
    }

    bool const mIsAsked;
    pthread_attr_t mAttributes; // used only if the options ask for it
    int mError = 0;
};

/// Starts the thread of a record and waits until it has told its id. Result: why no thread could be made.
Start ThreadManager::startLocked(StartRecord& nRecord, ThreadOptions const& nOptions)
{
    StartAttributes const lAttributes(nOptions);
    mStartedEvent.setOff();
    int lError = lAttributes.error();
    if (lError == 0)
    {
        lError = blockingCall(this, FILE_NAME, "entry", 490,
                              [&] {
                                  return gSystem.mPthreadCreate(&nRecord.mHandle, lAttributes.get(),
                                                                &ThreadManager::startThread, &nRecord);
                              });
    }
    if (lError != 0)
    {
        applog(UTL_LOG_TYPE, 1, "Thread Start Failed  Ret:%d, PriOs:%d, Name:%s", lError, nRecord.mOsPriority,
               nRecord.mpName);
        return lError == EPERM ? Start::NOT_PERMITTED : lError == EINVAL ? Start::BAD_OPTION : Start::NO_THREAD;
    }
    mStartedEvent.waitUntilOn(0); // the record must exist until the thread does not use it any more
    mStartedEvent.setOff();
    return Start::DONE;
}

/// Registers a thread. Result: its id; 0 if the id is registered already: then the thread runs on unregistered.
int ThreadManager::entryLocked(int nId, ThreadEntry const& nEntry)
{
    int const lOsPriority = nEntry.mPriority.OsValue();
    if (findLocked(nId) != nullptr || !mThreadEntries.insert(nId, nEntry))
    {
        applog(UTL_LOG_TYPE, 1, "entry() Error Thread Register           ID:%d, PriOs:%d, Name:%s", nId, lOsPriority,
               nEntry.name());
        return 0;
    }
    if (mEnableRegistrationLog)
    {
        applog(UTL_LOG_TYPE, 3, "Thread Start and Register ID:%d, PriOs:%d, Name:%s", nId, lOsPriority, nEntry.name());
    }
    return nId;
}

/// The start routine of every thread.
void* ThreadManager::startThread(void* npRecord)
{
    StartRecord& lRecord = *static_cast<StartRecord*>(npRecord);
    ThreadManager* const lpManager = lRecord.mpManager;
    void (*const lpFunction)(void*) = lRecord.mpFunction;
    void* const lpArgument = lRecord.mpArgument;
    int const lOsPriority = lRecord.mOsPriority;
    // Copies of the holders, so that the end can be told even if entry and registry are destroyed by then.
    SmartPointer<Event> const lpStopEvent = lRecord.mpStopEvent;
    SmartPointer<Event> const lpToldEvent = lRecord.mpToldEvent;

    nameCaller(lRecord.mpName);
    showCaller(lRecord.mpName);
    int const lResult = blockingCall(lpManager, FILE_NAME, "startThread", 1279,
                                     [&] { return gSystem.mSetpriority(PRIO_PROCESS, 0, lOsPriority); });
    if (lResult == -1)
    {
        applog(UTL_LOG_TYPE, 1, "ThreadManager::startThread() Error setpriority() OsValue:%d", lOsPriority);
    }
    lRecord.mThreadId = getCallerId();
    lpManager->mStartedEvent.setOn(); // from here on entry() may destroy the record
    if (lpToldEvent.get() != nullptr)
    {
        lpToldEvent->waitUntilOn(0); // the first line of the function may be startWatchdog()
    }

    lpFunction(lpArgument);
    internal::leaveSlot();
    lpStopEvent->setOn();
    return nullptr;
}

int ThreadManager::entryCaller(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener,
                               char const* npName)
{
    if (npName == nullptr)
    {
        return 0;
    }
    int const lId = getCallerId();
    {
        SyncGuard lGuard(mEntrySyncObject);
        blockingCall(this, FILE_NAME, "entryCaller", 581, [] { return ::pthread_self(); });
        ThreadEntry const lEntry(npName, ThreadPriority(ThreadPriority::INVALID));
        ThreadEntry const* const lpOld = findLocked(lId);
        if (lpOld != nullptr && lpOld->isControllable())
        {
            return 0;
        }
        if (!mThreadEntries.insert(lId, lEntry))
        {
            applog(UTL_LOG_TYPE, 1, "entryCaller() Error Thread Register           ID:%d, Name:%s", lId, npName);
            return 0;
        }
        if (mEnableRegistrationLog)
        {
            applog(UTL_LOG_TYPE, 3, "Thread Register           ID:%d, Name:%s", lId, npName);
        }
    }
    if (lId != ::getpid()) // the first thread's name is that of the process
    {
        nameCaller(npName);
    }
    showCaller(npName);
    announce(lId, nUseWatchdog, nAliveTimeMs, npListener, npName);
    return lId;
}

/// Tells the higher layers of a thread that runs. If they have no memory for it, it runs without them, as with a full
/// table.
void ThreadManager::announce(int nId, int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener,
                             char const* npName)
{
    auto const lTell = [nId](auto nTell)
    {
        try
        {
            nTell();
        }
        catch (std::bad_alloc const&)
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "ThreadManager No memory to register ID:%d", nId);
        }
    };
    lTell([&] { internal::registerHeapThreadName(nId, npName); });
    if (nUseWatchdog == 1)
    {
        awaitWatchdog();
        lTell([&] { internal::watchdog::entry(*mpWatchdog, nId, nAliveTimeMs, npListener, npName); });
    }
}

bool ThreadManager::unregister(int nId)
{
    SyncGuard lGuard(mEntrySyncObject);
    ThreadEntry* const lpEntry = findLocked(nId);
    if (lpEntry == nullptr || lpEntry->isActive())
    {
        return false;
    }
    lpEntry->mpThreadHandle.release();
    mThreadEntries.erase(nId);
    // The map has moved the later entries down by assignment: the slot behind the last one still holds the
    // last thread's handle, and would prevent that thread from being detached. Empty it.
    unsigned int const lCount = mThreadEntries.size();
    (void)mThreadEntries.array().insertAt(lCount, Pair<int, ThreadEntry>());
    mThreadEntries.array().removeAt(lCount);
    return true;
}

void ThreadManager::enableRegistrationLog()
{
    mEnableRegistrationLog = true;
}

ThreadManager::ThreadEntry* ThreadManager::findLocked(int nId)
{
    auto* const lpPair = mThreadEntries.find(nId);
    return lpPair != nullptr ? &lpPair->mValue : nullptr;
}

// ---------------------------------------------------------------------------------------------- queries

bool ThreadManager::isThreadExist(int nId)
{
    SyncGuard lGuard(mEntrySyncObject);
    return findLocked(nId) != nullptr;
}

bool ThreadManager::isThreadActive(int nId)
{
    SyncGuard lGuard(mEntrySyncObject);
    ThreadEntry const* const lpEntry = findLocked(nId);
    return lpEntry != nullptr && lpEntry->isActive();
}

bool ThreadManager::isActive(int nId)
{
    return isThreadExist(nId) && isThreadActive(nId);
}

char const* ThreadManager::findName(int nId)
{
    SyncGuard lGuard(mEntrySyncObject);
    ThreadEntry const* const lpEntry = findLocked(nId);
    return lpEntry != nullptr ? lpEntry->name() : "";
}

char const* ThreadManager::getName(int nId)
{
    return findName(nId);
}

bool ThreadManager::getNames(NameMap* npNames)
{
    if (npNames == nullptr)
    {
        return false;
    }
    SyncGuard lGuard(mEntrySyncObject);
    for (unsigned int lIndex = 0; lIndex < mThreadEntries.size(); ++lIndex)
    {
        auto const* const lpPair = mThreadEntries.at(lIndex);
        if (!npNames->insert(lpPair->mKey, *lpPair->mValue.mpName))
        {
            return false;
        }
    }
    return true;
}

bool ThreadManager::getPriority(int nId, ThreadPriority* npPriority)
{
    SyncGuard lGuard(mEntrySyncObject);
    ThreadEntry const* const lpEntry = findLocked(nId);
    if (lpEntry == nullptr || !lpEntry->isActive() || npPriority == nullptr)
    {
        return false;
    }
    npPriority->OsValue(lpEntry->mPriority.OsValue());
    return true;
}

bool ThreadManager::setPriority(int nId, ThreadPriority const& nPriority)
{
    if (!isActive(nId) || nId != getCallerId())
    {
        return false;
    }
    int const lOsValue = nPriority.OsValue();
    if (lOsValue == ThreadPriority::INVALID_OS_VALUE)
    {
        applog(UTL_LOG_TYPE, 1, "ThreadManager::setPriority() Error ID:%d, invalidOsValue:%d", nId, lOsValue);
        return false;
    }
    int const lResult = blockingCall(this, FILE_NAME, "setPriority", 770,
                                     [&] { return gSystem.mSetpriority(PRIO_PROCESS, 0, lOsValue); });
    if (lResult == -1)
    {
        int const lError = errno;
        applog(UTL_LOG_TYPE, 1, "ThreadManager::setPriority() Error setpriority() ID:%d, OsValue:%d er:%d erSt:%s", nId,
               lOsValue, lError, std::strerror(lError));
        return false;
    }
    SyncGuard lGuard(mEntrySyncObject);
    ThreadEntry* const lpEntry = findLocked(nId);
    if (lpEntry == nullptr)
    {
        return false;
    }
    lpEntry->mPriority.OsValue(lOsValue);
    return true;
}

SmartPointer<Event> ThreadManager::stopEventOf(int nId)
{
    SyncGuard lGuard(mEntrySyncObject);
    ThreadEntry const* const lpEntry = findLocked(nId);
    return lpEntry != nullptr ? lpEntry->mpStopEvent : SmartPointer<Event>();
}

int ThreadManager::waitToStop(int nId, unsigned int nTimeoutMs)
{
    // A copy of the holder: the entry may be removed while we wait.
    SmartPointer<Event> const lpStopEvent = stopEventOf(nId);
    internal::WaitShown const lShown(internal::waitWithin(internal::ThreadSlot::WAIT_END, nTimeoutMs),
                                     static_cast<internal::SlotWord>(nId));
    return lpStopEvent.get() != nullptr ? lpStopEvent->waitUntilOn(nTimeoutMs) : -1;
}

// ---------------------------------------------------------------------------------------------- the watchdog

bool ThreadManager::entryWatchdog(unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, int nId)
{
    int const lId = ownIdIfZero(nId);
    awaitWatchdog();
    SyncGuard lGuard(mEntrySyncObject); // the name must not be removed meanwhile
    return internal::watchdog::entry(*mpWatchdog, lId, nAliveTimeMs, npListener, getName(lId));
}

bool ThreadManager::unregisterWatchdog(int nId)
{
    return internal::watchdog::unregister(*mpWatchdog, ownIdIfZero(nId));
}

bool ThreadManager::isRegisteredWatchdog(int nId)
{
    return internal::watchdog::isRegistered(*mpWatchdog, ownIdIfZero(nId));
}

bool ThreadManager::isWatchingWatchdog(int nId)
{
    return internal::watchdog::isWatching(*mpWatchdog, ownIdIfZero(nId));
}

bool ThreadManager::setWatchdogAliveTime(unsigned int nAliveTimeMs, int nId)
{
    return internal::watchdog::setAliveTime(*mpWatchdog, ownIdIfZero(nId), nAliveTimeMs);
}

bool ThreadManager::startWatchdog(int nId)
{
    return internal::watchdog::start(*mpWatchdog, ownIdIfZero(nId));
}

bool ThreadManager::stopWatchdog(int nId)
{
    return internal::watchdog::stop(*mpWatchdog, ownIdIfZero(nId));
}

bool ThreadManager::setWatchdogWatchInterval(unsigned int nIntervalMs)
{
    awaitWatchdog();
    return internal::watchdog::setWatchInterval(*mpWatchdog, nIntervalMs);
}

void ThreadManager::setWatchdogVerdictListener(WatchdogVerdictListener* npListener)
{
    internal::watchdog::setVerdictListener(*mpWatchdog, npListener);
}

void ThreadManager::setWatchdogReport(bool nIsOn)
{
    internal::watchdog::setReport(*mpWatchdog, nIsOn);
}

unsigned int ThreadManager::watchdogBeatDeadline()
{
    ThreadManager const* const lpObject = getIfCreated();
    return lpObject != nullptr ? internal::watchdog::beatDeadline(*lpObject->mpWatchdog) : ~0U;
}

void ThreadManager::keepAliveWatchdog(StatementInfo const& nStatement)
{
    internal::showReport(nStatement.file(), nStatement.function(), nStatement.line(), nStatement.sub());
    internal::watchdog::keepAlive(*mpWatchdog, nStatement);
}

// ---------------------------------------------------------------------------------------------- tables

void ThreadManager::printThreadInfo(int) {}

void ThreadManager::printThreadInfoReg(int nLevel)
{
    SyncGuard lGuard(mEntrySyncObject);
    applog(UTL_LOG_TYPE, nLevel, "ThreadManager:: Registered info of threads in this process.");
    applog(UTL_LOG_TYPE, nLevel,
           "ID        , Name                            , Status      , Pri.Os    , Pri.Label       , ");
    for (unsigned int lIndex = 0; lIndex < mThreadEntries.size(); ++lIndex)
    {
        printRowLocked(nLevel, lIndex);
    }
}

void ThreadManager::printRowLocked(int nLevel, unsigned int nIndex)
{
    auto const* const lpPair = mThreadEntries.at(nIndex);
    if (lpPair == nullptr)
    {
        applog(UTL_LOG_TYPE, 1, "ThreadManager::printThreadInfoReg() : Thread id is NULL.");
        return;
    }
    bool const lIsActive = lpPair->mValue.isActive();
    ThreadPriority const lPriority = lIsActive ? lpPair->mValue.mPriority : ThreadPriority(ThreadPriority::INVALID);
    applog(UTL_LOG_TYPE, nLevel, "%10d, %-32s, %-12s, %10d, %-16s, ", lpPair->mKey,
           CutName<TABLE_NAME_SIZE>(lpPair->mValue.name()).mText, lIsActive ? "ACTIVE" : "UNKNOWN", lPriority.OsValue(),
           priorityLabel(lPriority));
}

void ThreadManager::printWatchdogInfo(int nLevel)
{
    internal::watchdog::printWatchdogInfo(*mpWatchdog, nLevel);
    SyncGuard lGuard(mEntrySyncObject);
    applog(UTL_LOG_TYPE, nLevel,
           "ThreadManager:: Registered info of threads in this process.(But not registered watchdog)");
    applog(UTL_LOG_TYPE, nLevel, "ID        , Name                            , ");
    for (unsigned int lIndex = 0; lIndex < mThreadEntries.size(); ++lIndex)
    {
        auto const* const lpPair = mThreadEntries.at(lIndex);
        if (lpPair == nullptr)
        {
            applog(UTL_LOG_TYPE, 1, "ThreadManager::printWatchdogInfo() : Thread id is NULL.");
        }
        else if (!internal::watchdog::isRegistered(*mpWatchdog, lpPair->mKey))
        {
            applog(UTL_LOG_TYPE, nLevel, "%10d, %-32s, ", lpPair->mKey, lpPair->mValue.name());
        }
    }
}

} // namespace utl
