/// A worker in today's C++: typed messages, closures, calls that answer, timers. Layer: face, above all.
///
/// The application compiles this header; it is no part of the library's binary interface, so Utl.h does not include it.
#ifndef UTL_WORKER_H
#define UTL_WORKER_H

#include "UtlApplog.h"
#include "UtlBasicString.h"
#include "UtlEvent.h"
#include "UtlMacros.h"
#include "UtlMsgDrivenThread.h"
#include "UtlOutcome.h"
#include "UtlSyncObject.h"
#include "UtlThreadManager.h"
#include "UtlThreadOptions.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include <unistd.h>

namespace utl
{

/// The version of this header. Two shared libraries compiled with different versions have different symbol names.
inline namespace worker_1_0
{

/// What became of a call.
enum class [[nodiscard]] Call{
    DONE,        ///< the closure has run
    FULL,        ///< no room in the queue now; the closure does not run
    STOPPED,     ///< the worker has ended, was asked to end, or ended before the closure's turn; it does not run
    NOT_STARTED, ///< the worker has not been started; the closure does not run
    TIMED_OUT,   ///< the closure had not begun at the limit; it does not run any more
    CYCLE        ///< the worker waits, perhaps through others, for the calling thread; the closure does not run
};

/// A few words for people, never null.
/// Safety: any thread; also in a signal handler and after a fork; never blocks.
inline char const* text(Call nCall)
{
    switch (nCall)
    {
    case Call::DONE:
        return "done";
    case Call::FULL:
        return "the queue is full";
    case Call::STOPPED:
        return "the worker has stopped";
    case Call::NOT_STARTED:
        return "the worker was not started";
    case Call::TIMED_OUT:
        return "it did not begin in time";
    case Call::CYCLE:
        return "the worker waits for the caller";
    }
    return "unknown";
}

namespace worker_internal
{

constexpr unsigned int CLOSURE_SIZE = 6 * sizeof(void*); // bytes of a closure that is posted
constexpr unsigned int TOO_LONG_MS = 0x80000000U;        // longer than any timer accepts

/// Milliseconds, rounded up, at least 1; TOO_LONG_MS for 2^31 and more.
template <class Rep, class Period>
unsigned int toMs(std::chrono::duration<Rep, Period> nDuration)
{
    double const lMs = std::chrono::duration<double, std::milli>(nDuration).count();
    if (!(lMs <= 2147483647.0))
    {
        return TOO_LONG_MS;
    }
    unsigned int const lWhole = lMs > 0 ? static_cast<unsigned int>(lMs) : 0;
    return lWhole == 0 || static_cast<double>(lWhole) < lMs ? lWhole + 1 : lWhole;
}

/// What the worker calls: for a message with its bytes, otherwise with null.
class WorkerHandler
{
public:
    WorkerHandler() = default;
    virtual ~WorkerHandler() = default;
    WorkerHandler(WorkerHandler const&) = delete;
    WorkerHandler& operator=(WorkerHandler const&) = delete;
    virtual void handle(unsigned char const* npBytes) noexcept = 0;
};

/// An aligned copy of something trivially copyable.
template <class T>
class WorkerCopy
{
public:
    explicit WorkerCopy(unsigned char const* npBytes) { std::memcpy(mBytes, npBytes, sizeof(T)); }
    T& get() { return *std::launder(reinterpret_cast<T*>(mBytes)); }

private:
    alignas(T) unsigned char mBytes[sizeof(T)];
};

template <class T, class F>
class WorkerMsgHandler final : public WorkerHandler
{
public:
    explicit WorkerMsgHandler(F nFunction)
        : mFunction(std::move(nFunction))
    {
    }
    void handle(unsigned char const* npBytes) noexcept override
    {
        WorkerCopy<T> lCopy(npBytes);
        mFunction(static_cast<T const&>(lCopy.get()));
    }

private:
    F mFunction;
};

template <class F>
class WorkerTimerHandler final : public WorkerHandler
{
public:
    explicit WorkerTimerHandler(F nFunction)
        : mFunction(std::move(nFunction))
    {
    }
    void handle(unsigned char const*) noexcept override { mFunction(); }

private:
    F mFunction;
};

/// A posted closure, as it is stored in a slot of the queue.
template <class F>
struct WorkerClosure
{
    void (*mpRun)(unsigned char const*); // called with mBytes
    unsigned char mBytes[sizeof(F)];     // the closure

    static void run(unsigned char const* npBytes) noexcept { WorkerCopy<F>(npBytes).get()(); }
};

/// A message of plain bytes. nIndex is added to MSG_ID_WORKER_FIRST to make its id.
class WorkerMsg final : public Msg
{
public:
    WorkerMsg(unsigned int nIndex, void const* npBytes, unsigned int nSize)
        : Msg(static_cast<int>(static_cast<unsigned int>(MSG_ID_WORKER_FIRST) + nIndex)),
          mpBytes(static_cast<unsigned char const*>(npBytes)),
          mSize(nSize)
    {
    }
    WorkerMsg(WorkerMsg const&) = delete;
    WorkerMsg& operator=(WorkerMsg const&) = delete;
    void storeDataTo(MsgDataBroker* npBroker) const override { npBroker->set(mpBytes, mSize); }
    void restoreDataFrom(MsgDataBroker&) override {}

private:
    unsigned char const* const mpBytes;
    unsigned int const mSize;
};

/// The kernel ids of a thread that waits in a call and of the thread that it waits for.
struct WaitEdge
{
    int mFrom;
    int mTo;
    WaitEdge* mpNext = nullptr;
};

/// Every WaitEdge of the process. A call looks here before it waits, and refuses to close a ring.
class WaitGraph
{
public:
    /// Result: false, with nothing entered, if the edge would close a ring.
    bool enter(WaitEdge& nEdge)
    {
        SyncGuard lGuard(mSyncObject);
        for (WaitEdge const* lpNext = findLocked(nEdge.mTo); lpNext != nullptr; lpNext = findLocked(lpNext->mTo))
        {
            if (lpNext->mTo == nEdge.mFrom)
            {
                return false;
            }
        }
        nEdge.mpNext = mpFirst;
        mpFirst = &nEdge;
        return true;
    }

    void leave(WaitEdge const& nEdge)
    {
        SyncGuard lGuard(mSyncObject);
        WaitEdge** lppEdge = &mpFirst;
        while (*lppEdge != &nEdge)
        {
            lppEdge = &(*lppEdge)->mpNext;
        }
        *lppEdge = nEdge.mpNext;
    }

private:
    WaitEdge const* findLocked(int nFrom) const UTL_REQUIRES(mSyncObject)
    {
        WaitEdge const* lpEdge = mpFirst;
        while (lpEdge != nullptr && lpEdge->mFrom != nFrom)
        {
            lpEdge = lpEdge->mpNext;
        }
        return lpEdge;
    }

    SyncObject mSyncObject; // a leaf
    WaitEdge* mpFirst UTL_GUARDED_BY(mSyncObject) = nullptr;
};

/// The one object that all shared libraries of the process use, also those that hide their symbols. Never destroyed.
UTL_API inline WaitGraph& waitGraph()
{
    static WaitGraph* const lpGraph = new WaitGraph;
    return *lpGraph;
}

/// A call on its caller's stack.
struct CallRecord
{
    void (*mpRun)(void*);
    void* mpContext;
    unsigned int mNumber = 0;
    CallRecord* mpNext = nullptr;
    Call mOutcome = Call::STOPPED; // final once mOverEvent is on
    Event mOverEvent{0, 0};
};

/// The message thread of a worker.
class WorkerThread final : public MsgDrivenThread
{
public:
    WorkerThread(unsigned int nMsgSize, unsigned int nMsgCount, char const* npName, unsigned int nTimerCount,
                 WorkerHandler& nAtEnd)
        : MsgDrivenThread(nMsgSize, nMsgCount, npName, nTimerCount),
          mAtEnd(nAtEnd)
    {
    }
    ~WorkerThread() override { join(); }
    WorkerThread(WorkerThread const&) = delete;
    WorkerThread& operator=(WorkerThread const&) = delete;

    using MsgDrivenThread::isOwnThread;

    /// Asks the thread to end, without waiting. On the thread itself, its loop ends after this dispatch.
    void ask() { Thread::stop(0, 0); }

    /// Asks a thread that runs to end, waits for that, and takes it out of the registry.
    void join()
    {
        stop(1, 0);
        awaitEnd();
        leaveManagement();
    }

protected:
    void postExecute() override
    {
        if (!hasRequestedStop())
        {
            ThreadManager::get()->unregisterWatchdog(0); // the loop ended because its pipe failed: no stop() did this
        }
        mAtEnd.handle(nullptr);
    }

private:
    WorkerHandler& mAtEnd;
};

/// What a worker shares with its inboxes and timers. The last of them destroys it; the thread ends with the worker.
///
/// Locks: mSyncObject, never held across a call to the message thread or to a handler.
class WorkerState final : private ThreadMsgListener, private WorkerHandler
{
public:
    WorkerState(char const* npName, unsigned int nMsgCount, unsigned int nTimerCount, ThreadOptions const& nOptions)
        : mName(npName, 0, 0),
          mOptions(nOptions),
          mMsgCount(nMsgCount),
          mTimerCount(nTimerCount),
          mTimers(nTimerCount + 1U) // one more, so that a one-shot timer's closure can set the next one
    {
    }
    ~WorkerState() override = default;
    WorkerState(WorkerState const&) = delete;
    WorkerState& operator=(WorkerState const&) = delete;

    // ------------------------------------------------------------------------------------------ before the start

    /// Result: the index of the handler's messages; 0 after the start, or if there are too many.
    unsigned int addHandler(std::unique_ptr<WorkerHandler> npHandler, unsigned int nSize)
    {
        SyncGuard lGuard(mSyncObject);
        if (!isOpenLocked("an inbox") || mHandlers.size() >= INBOX_MAX)
        {
            return 0;
        }
        mMsgSize = nSize > mMsgSize ? nSize : mMsgSize;
        mHandlers.push_back(std::move(npHandler));
        return static_cast<unsigned int>(mHandlers.size()) - 1 + INDEX_FIRST_INBOX;
    }

    void setOther(ThreadMsgListener* npListener)
    {
        SyncGuard lGuard(mSyncObject);
        if (isOpenLocked("a listener"))
        {
            mpOther = npListener;
        }
    }

    Start start()
    {
        SyncGuard const lStarting(mStartSyncObject);
        {
            SyncGuard lGuard(mSyncObject);
            if (mPhase != Phase::OPEN)
            {
                return Start::STARTED_ONCE;
            }
            mPhase = Phase::STARTING;
        }
        Start const lStart = startThread();
        {
            SyncGuard lGuard(mSyncObject);
            mPhase = lStart == Start::DONE ? Phase::STARTED : Phase::OPEN;
        }
        if (lStart == Start::DONE)
        {
            for (unsigned int lIndex = 0; lIndex < mTimers.size(); ++lIndex)
            {
                if (!armIfDue(lIndex))
                {
                    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "Worker(%s) a timer cannot be started", mName.c_str());
                }
            }
        }
        return lStart;
    }

    // ------------------------------------------------------------------------------------------ posting

    WorkerThread* thread() const { return mpThread.load(std::memory_order_acquire); }

    Post post(unsigned int nIndex, void const* npBytes, unsigned int nSize)
    {
        WorkerThread* const lpThread = thread();
        if (lpThread == nullptr)
        {
            return Post::NOT_STARTED;
        }
        return mIsClosed.load(std::memory_order_relaxed) ? Post::STOPPED
                                                         : lpThread->tryPost(WorkerMsg(nIndex, npBytes, nSize));
    }

    Call call(unsigned int nLimitMs, void (*npRun)(void*), void* npContext)
    {
        WorkerThread* const lpThread = thread();
        if (lpThread == nullptr)
        {
            return Call::NOT_STARTED;
        }
        if (hasForked())
        {
            return Call::STOPPED;
        }
        if (isHere())
        {
            npRun(npContext);
            return Call::DONE;
        }
        WaitEdge lEdge{ThreadManager::getCallerId(), lpThread->getId()};
        if (!waitGraph().enter(lEdge))
        {
            return Call::CYCLE;
        }
        CallRecord lRecord{npRun, npContext};
        Call const lOutcome = callRecord(lRecord, nLimitMs);
        waitGraph().leave(lEdge);
        return lOutcome;
    }

    // ------------------------------------------------------------------------------------------ timers

    /// Result: the timer's serial number; 0 if there is no room, or the worker has ended.
    unsigned int addTimer(unsigned int nMs, bool nIsOneShot, std::unique_ptr<WorkerHandler> npHandler,
                          unsigned int* npIndex)
    {
        unsigned int lSerial = 0;
        bool lIsToArm = false;
        {
            SyncGuard lGuard(mSyncObject);
            TimerSlot* const lpSlot = nMs != TOO_LONG_MS ? freeSlotLocked(npIndex) : nullptr;
            if (lpSlot == nullptr)
            {
                return 0;
            }
            mLastSerial = mLastSerial == ~0U ? 1 : mLastSerial + 1;
            lpSlot->mSerial = lSerial = mLastSerial;
            lpSlot->mMs = nMs;
            lpSlot->mIsOneShot = nIsOneShot;
            lpSlot->mIsToArm = true;
            lpSlot->mpHandler = std::move(npHandler);
            lIsToArm = mPhase == Phase::STARTED;
        }
        return !lIsToArm || armIfDue(*npIndex) ? lSerial : 0;
    }

    /// Once this has returned, the timer's closure does not run any more, unless this is called by it.
    void cancel(unsigned int nIndex, unsigned int nSerial)
    {
        std::unique_ptr<WorkerHandler> lpHandler;
        Event lIdleEvent(0, 0);
        bool lIsToWait = false;
        int lTimerId = -1;
        if (hasForked()) // another thread may have held the lock at the fork: it is never released here
        {
            return;
        }
        {
            SyncGuard lGuard(mSyncObject);
            TimerSlot& lSlot = mTimers[nIndex];
            if (lSlot.mSerial != nSerial || lSlot.mIsCancelled)
            {
                return;
            }
            lTimerId = lSlot.mTimerId;
            lSlot.mIsCancelled = true;
            lIsToWait = lSlot.mIsRunning && !isHere();
            lSlot.mpIdleEvent = lIsToWait ? &lIdleEvent : nullptr;
            lpHandler = lSlot.mIsRunning ? nullptr : std::move(lSlot.mpHandler);
        }
        // Refused only if the queue is full of requests or the loop has ended. Then the next time-out frees the slot.
        if (lTimerId == -1 || thread()->killTimer(lTimerId, 1))
        {
            freeIfCancelled(nIndex, nSerial);
        }
        while (lIsToWait && !lIdleEvent.isOn())
        {
            lIdleEvent.waitToOn(0);
        }
    }

    // ------------------------------------------------------------------------------------------ the end

    bool hasForked() const { return mProcessId != 0 && mProcessId != ::getpid(); }

    /// Called on the worker's thread? After its end the kernel may give its id to another thread, hence mHasEnded.
    bool isHere() const { return thread() != nullptr && !mHasEnded && thread()->isOwnThread(); }

    /// Whether there is a thread to end. Waits for a start that is under way.
    bool isToEnd()
    {
        if (!isHere() && !hasForked())
        {
            SyncGuard const lStarting(mStartSyncObject);
        }
        return thread() != nullptr && !hasForked();
    }

    void stop()
    {
        if (!isToEnd())
        {
            return;
        }
        if (isHere())
        {
            thread()->ask();
            return;
        }
        thread()->join();
    }

    void finish()
    {
        if (!isToEnd())
        {
            return;
        }
        mIsClosed = true;
        mIsToFinish = true;
        postFinish();
        if (!isHere())
        {
            unsigned int const RETRY_MS = 20; // receiveMsg() retries, too, but a queue full of requests has no message
            while (mIsToFinish && thread()->waitTo(Thread::STAGE_DONE, RETRY_MS) == Event::TIMED_OUT)
            {
                postFinish();
            }
            thread()->waitTo(Thread::STAGE_DONE, 0);
            thread()->join();
        }
    }

    /// For the worker's destructor: the thread has ended, and nothing refers to the application any more.
    void end()
    {
        if (isHere())
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "Worker(%s) destroyed by its own handler", mName.c_str());
            std::abort();
        }
        stop();
        std::vector<std::unique_ptr<WorkerHandler>> lHandlers; // destroyed without the lock: they may hold our inboxes
        {
            SyncGuard lGuard(mSyncObject);
            mPhase = Phase::ENDED;
            lHandlers.swap(mHandlers);
            for (TimerSlot& lSlot : mTimers)
            {
                lHandlers.push_back(std::move(lSlot.mpHandler));
                lSlot.mIsCancelled = true;
            }
        }
    }

    static constexpr unsigned int INDEX_CLOSURE = 0;

private:
    static constexpr unsigned int INDEX_CALL = 1;
    static constexpr unsigned int INDEX_FINISH = 2;
    static constexpr unsigned int INDEX_FIRST_INBOX = 3;
    static constexpr unsigned int INBOX_MAX = static_cast<unsigned int>(MSG_ID_WORKER_LAST) -
                                              static_cast<unsigned int>(MSG_ID_WORKER_FIRST) + 1 - INDEX_FIRST_INBOX;

    enum class Phase
    {
        OPEN, // inboxes can be added
        STARTING,
        STARTED,
        ENDED
    };

    /// A slot with mSerial 0 is free. A one-shot timer gives up mTimerId before its closure runs.
    struct TimerSlot
    {
        unsigned int mSerial = 0;
        unsigned int mMs = 0;
        int mTimerId = -1;
        bool mIsOneShot = false;
        bool mIsToArm = false;     // the message thread does not have the timer yet
        bool mIsRunning = false;   // its handler is being called, and must not be destroyed
        bool mIsCancelled = false; // free once the message thread has dropped the timer and no handler runs
        Event* mpIdleEvent = nullptr;
        std::unique_ptr<WorkerHandler> mpHandler;
    };

    bool isOpenLocked(char const* npWhat) UTL_REQUIRES(mSyncObject)
    {
        if (mPhase != Phase::OPEN)
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "Worker(%s) %s after the start", mName.c_str(), npWhat);
        }
        return mPhase == Phase::OPEN;
    }

    Start startThread()
    {
        std::unique_ptr<WorkerThread> lpThread = makeThread();
        if (lpThread == nullptr)
        {
            return Start::NO_MEMORY;
        }
        mProcessId = ::getpid();
        Start const lStart = lpThread->tryStart(this, mOptions);
        if (lStart == Start::DONE)
        {
            mpOwnedThread = std::move(lpThread);
            mpThread.store(mpOwnedThread.get(), std::memory_order_release);
            return lStart;
        }
        lpThread.reset(); // ends the thread, if it runs although the registry could not enter it
        mHasEnded = false;
        mProcessId = 0;
        return lStart;
    }

    std::unique_ptr<WorkerThread> makeThread()
    {
#if defined(__cpp_exceptions)
        try
        {
#endif
            return std::make_unique<WorkerThread>(mMsgSize, mMsgCount, mName.c_str(), mTimerCount,
                                                  static_cast<WorkerHandler&>(*this));
#if defined(__cpp_exceptions)
        }
        catch (std::bad_alloc const&)
        {
            return nullptr;
        }
#endif
    }

    // ------------------------------------------------------------------------------------------ on the thread

    void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) override
    {
        int lMsgId = 0;
        nRawMsg.getMsgId(&lMsgId);
        unsigned char const* const lpBytes = nRawMsg.buffer() + sizeof(lMsgId);
        unsigned int const lIndex = static_cast<unsigned int>(lMsgId) - static_cast<unsigned int>(MSG_ID_WORKER_FIRST);
        if (lIndex - INDEX_FIRST_INBOX < mHandlers.size())
        {
            mHandlers[lIndex - INDEX_FIRST_INBOX]->handle(lpBytes);
        }
        else if (!receiveOwn(lIndex, lMsgId, lpBytes) && mpOther != nullptr)
        {
            mpOther->receiveMsg(nThreadId, nRawMsg);
        }
        if (mIsToFinish.load(std::memory_order_relaxed))
        {
            postFinish(); // this message has left room in the queue
        }
    }

    /// Handles closures, calls, the end and the worker's timers. Result: false for any other message.
    bool receiveOwn(unsigned int nIndex, int nMsgId, unsigned char const* npBytes)
    {
        switch (nIndex)
        {
        case INDEX_CLOSURE:
            WorkerCopy<void (*)(unsigned char const*)>(npBytes).get()(npBytes + sizeof(void (*)(unsigned char const*)));
            return true;
        case INDEX_CALL:
            runCall(WorkerCopy<unsigned int>(npBytes).get());
            return true;
        case INDEX_FINISH:
            thread()->ask();
            return true;
        default:
            return nMsgId == MSG_ID_TIMER && runTimer(WorkerCopy<int>(npBytes).get());
        }
    }

    /// Called at the end of the thread: releases all calls that wait. From now on no call begins to wait.
    void handle(unsigned char const*) noexcept override
    {
        CallRecord* lpRecord = nullptr;
        {
            SyncGuard lGuard(mSyncObject);
            mHasEnded = true;
            lpRecord = std::exchange(mpCalls, nullptr);
        }
        while (lpRecord != nullptr)
        {
            CallRecord* const lpNext = lpRecord->mpNext; // its caller destroys the record once the event is on
            lpRecord->mOverEvent.setOn();
            lpRecord = lpNext;
        }
    }

    void postFinish()
    {
        char const lNothing = 0;
        if (thread()->tryPost(WorkerMsg(INDEX_FINISH, &lNothing, 1)) != Post::FULL)
        {
            mIsToFinish = false;
        }
    }

    // ------------------------------------------------------------------------------------------ calls

    /// Posts the record's number, not its address: a call that gave up may leave its message in the queue.
    Call callRecord(CallRecord& nRecord, unsigned int nLimitMs)
    {
        {
            SyncGuard lGuard(mSyncObject);
            if (mHasEnded)
            {
                return Call::STOPPED;
            }
            nRecord.mNumber = ++mLastCall;
            nRecord.mpNext = mpCalls;
            mpCalls = &nRecord;
        }
        Post const lPost = post(INDEX_CALL, &nRecord.mNumber, sizeof(nRecord.mNumber));
        if (lPost != Post::DONE && takeCall(nRecord.mNumber) != nullptr)
        {
            return lPost == Post::FULL ? Call::FULL : Call::STOPPED;
        }
        unsigned int const lLimitMs = nLimitMs < TOO_LONG_MS ? nLimitMs : TOO_LONG_MS - 1;
        if (nRecord.mOverEvent.waitToOn(lLimitMs) != 0 && takeCall(nRecord.mNumber) != nullptr)
        {
            return Call::TIMED_OUT;
        }
        while (!nRecord.mOverEvent.isOn())
        {
            nRecord.mOverEvent.waitToOn(0); // the closure has begun, and refers to our caller's stack
        }
        return nRecord.mOutcome;
    }

    /// Takes a call that has not begun out of the list. Result: null if it gave up, has begun, or the end released it.
    CallRecord* takeCall(unsigned int nNumber)
    {
        SyncGuard lGuard(mSyncObject);
        CallRecord** lppRecord = &mpCalls;
        while (*lppRecord != nullptr && (*lppRecord)->mNumber != nNumber)
        {
            lppRecord = &(*lppRecord)->mpNext;
        }
        CallRecord* const lpRecord = *lppRecord;
        if (lpRecord != nullptr)
        {
            *lppRecord = lpRecord->mpNext;
        }
        return lpRecord;
    }

    void runCall(unsigned int nNumber) noexcept
    {
        CallRecord* const lpRecord = takeCall(nNumber);
        if (lpRecord != nullptr)
        {
            lpRecord->mpRun(lpRecord->mpContext);
            lpRecord->mOutcome = Call::DONE;
            lpRecord->mOverEvent.setOn();
        }
    }

    // ------------------------------------------------------------------------------------------ timers

    TimerSlot* freeSlotLocked(unsigned int* npIndex) UTL_REQUIRES(mSyncObject)
    {
        TimerSlot* lpFree = nullptr;
        unsigned int lCount = 0;
        for (TimerSlot& lSlot : mTimers)
        {
            lCount += lSlot.mSerial != 0 && !(lSlot.mIsRunning && lSlot.mIsOneShot) ? 1U : 0U;
            if (lSlot.mSerial == 0 && lpFree == nullptr)
            {
                lpFree = &lSlot;
                *npIndex = static_cast<unsigned int>(&lSlot - mTimers.data());
            }
        }
        return lCount < mTimerCount && mPhase != Phase::ENDED ? lpFree : nullptr;
    }

    /// Registers a timer with the message thread, notes its id, and only then starts it.
    /// Result: false if that fails or the timer was cancelled meanwhile; then the slot is free again.
    bool armIfDue(unsigned int nIndex)
    {
        unsigned int lSerial = 0;
        unsigned int lMs = 0;
        bool lIsOneShot = false;
        {
            SyncGuard lGuard(mSyncObject);
            TimerSlot& lSlot = mTimers[nIndex];
            if (lSlot.mSerial == 0 || !std::exchange(lSlot.mIsToArm, false))
            {
                return true;
            }
            lSerial = lSlot.mSerial;
            lMs = lSlot.mMs;
            lIsOneShot = lSlot.mIsOneShot;
        }
        int const lTimerId = thread()->registerTimer(lMs, lIsOneShot ? 1 : 0, 1);
        bool lIsWanted = false;
        {
            SyncGuard lGuard(mSyncObject);
            TimerSlot& lSlot = mTimers[nIndex];
            lIsWanted = lSlot.mSerial == lSerial && !lSlot.mIsCancelled;
            lSlot.mTimerId = lIsWanted ? lTimerId : lSlot.mTimerId;
        }
        if (lIsWanted && lTimerId != -1 && thread()->startTimer(lTimerId, 1))
        {
            return true;
        }
        if (!lIsWanted && lTimerId != -1)
        {
            thread()->killTimer(lTimerId, 1);
        }
        cancel(nIndex, lSerial);
        return false;
    }

    /// Frees the slot of a timer that the message thread has dropped, unless its handler runs.
    void freeIfCancelled(unsigned int nIndex, unsigned int nSerial)
    {
        SyncGuard lGuard(mSyncObject);
        TimerSlot& lSlot = mTimers[nIndex];
        if (lSlot.mSerial == nSerial && !lSlot.mIsRunning)
        {
            lSlot = TimerSlot();
        }
        else if (lSlot.mSerial == nSerial)
        {
            lSlot.mTimerId = -1;
        }
    }

    /// Result: false if the timer is not one of ours.
    bool runTimer(int nTimerId) noexcept
    {
        TimerSlot* lpSlot = nullptr;
        WorkerHandler* lpHandler = nullptr;
        bool lIsToKill = false;
        {
            SyncGuard lGuard(mSyncObject);
            lpSlot = findTimerLocked(nTimerId);
            if (lpSlot == nullptr)
            {
                return false;
            }
            lIsToKill = lpSlot->mIsOneShot || lpSlot->mIsCancelled;
            lpSlot->mTimerId = lIsToKill ? -1 : nTimerId;
            lpSlot->mIsRunning = true;
            lpHandler = lpSlot->mIsCancelled ? nullptr : lpSlot->mpHandler.get();
        }
        if (lIsToKill)
        {
            thread()->killTimer(nTimerId, 1);
        }
        if (lpHandler != nullptr)
        {
            lpHandler->handle(nullptr);
        }
        afterTimer(*lpSlot);
        return true;
    }

    TimerSlot* findTimerLocked(int nTimerId) UTL_REQUIRES(mSyncObject)
    {
        for (TimerSlot& lSlot : mTimers)
        {
            if (lSlot.mTimerId == nTimerId)
            {
                return &lSlot;
            }
        }
        return nullptr;
    }

    void afterTimer(TimerSlot& nSlot)
    {
        std::unique_ptr<WorkerHandler> lpHandler;
        Event* lpIdleEvent = nullptr;
        {
            SyncGuard lGuard(mSyncObject);
            nSlot.mIsRunning = false;
            lpIdleEvent = nSlot.mpIdleEvent;
            nSlot.mpIdleEvent = nullptr;
            if (nSlot.mIsOneShot || nSlot.mIsCancelled)
            {
                lpHandler = std::move(nSlot.mpHandler);
                nSlot.mIsCancelled = true;
                if (nSlot.mTimerId == -1)
                {
                    nSlot = TimerSlot();
                }
            }
        }
        lpHandler.reset();
        if (lpIdleEvent != nullptr)
        {
            lpIdleEvent->setOn();
        }
    }

    BasicString<char> const mName;
    ThreadOptions const mOptions;
    unsigned int const mMsgCount;
    unsigned int const mTimerCount;

    SyncObject mStartSyncObject; // held by start(), before the next
    SyncObject mSyncObject;
    Phase mPhase UTL_GUARDED_BY(mSyncObject) = Phase::OPEN;
    CallRecord* mpCalls UTL_GUARDED_BY(mSyncObject) = nullptr; // calls that have not begun
    unsigned int mLastCall UTL_GUARDED_BY(mSyncObject) = 0;
    unsigned int mLastSerial UTL_GUARDED_BY(mSyncObject) = 0;
    std::vector<TimerSlot> mTimers; // constant length; mSyncObject guards the elements

    // Constant while the thread runs.
    std::vector<std::unique_ptr<WorkerHandler>> mHandlers;
    ThreadMsgListener* mpOther = nullptr;
    unsigned int mMsgSize = sizeof(void (*)(unsigned char const*)) + CLOSURE_SIZE; // bytes
    std::atomic<pid_t> mProcessId{0};                                              // 0: never started
    std::unique_ptr<WorkerThread> mpOwnedThread;

    // Any thread, without a lock.
    std::atomic<WorkerThread*> mpThread{nullptr}; // mpOwnedThread, once it runs
    std::atomic<bool> mIsClosed{false};           // nothing is posted any more
    std::atomic<bool> mIsToFinish{false};         // the finish message did not fit into the queue yet
    std::atomic<bool> mHasEnded{false};           // written under mSyncObject
};

} // namespace worker_internal

/// The result of Worker::call(): a value, or why there is none.
///
///     if (utl::Answer<double> lMean = lMeans.call(100ms, [&] { return lSum / lCount; })) { use(*lMean); }
///
/// Safety: a value, but not in a signal handler.
template <class R>
class [[nodiscard]] Answer
{
public:
    explicit operator bool() const { return mValue.has_value(); } ///< True if there is a value.
    Call outcome() const { return mOutcome; }                     ///< DONE, or why there is no value.
    /// The value. Call these only if there is one.
    R& operator*() { return *mValue; }
    R const& operator*() const { return *mValue; }
    R* operator->() { return &*mValue; }
    R const* operator->() const { return &*mValue; }

private:
    friend class Worker;

    template <class F>
    void take(F& nFunction)
    {
        mValue.emplace(nFunction());
    }

    std::optional<R> mValue;
    Call mOutcome = Call::NOT_STARTED;
};

/// The result of Worker::call() with a closure that returns void: whether it has run.
/// Safety: a value, but not in a signal handler.
template <>
class [[nodiscard]] Answer<void>
{
public:
    explicit operator bool() const { return mOutcome == Call::DONE; } ///< True if the closure has run.
    Call outcome() const { return mOutcome; }                         ///< DONE, or why it has not run.

private:
    friend class Worker;

    template <class F>
    void take(F& nFunction)
    {
        nFunction();
    }

    Call mOutcome = Call::NOT_STARTED;
};

/// Posts messages of one type to a worker. Copies post to the same worker, and may outlive it.
///
/// Safety: any thread, which uses its own copy or a constant object; not in a signal handler; after a fork the child
/// must not post; waits for nothing but the lock of the worker's queue.
template <class T>
class Inbox
{
public:
    /// Belongs to no worker: post() gives NOT_STARTED.
    Inbox() = default;

    /// Puts a copy of the message behind all that is queued. Result: DONE, FULL, STOPPED, NOT_STARTED, UNREACHABLE.
    Post post(T const& nMsg) const
    {
        return mpState != nullptr ? mpState->post(mIndex, &nMsg, sizeof(T)) : Post::NOT_STARTED;
    }

private:
    friend class Worker;

    std::shared_ptr<worker_internal::WorkerState> mpState;
    unsigned int mIndex = 0;
};

/// A timer of a worker. The destructor cancels it: once it has returned, the closure does not run any more. May outlive
/// its worker.
///
/// On another thread the destructor waits for a closure under way; the caller must hold no lock that the closure takes.
/// On the worker's own thread it never waits: a closure that cancels its own timer runs to its end.
///
/// Safety: one thread at a time; not in a signal handler; in the child of a fork it does nothing; waits as told above.
class [[nodiscard]] WorkerTimer
{
public:
    /// No timer.
    WorkerTimer() = default;
    ~WorkerTimer() { cancel(); }
    WorkerTimer(WorkerTimer&& nOther) noexcept { swap(nOther); }
    WorkerTimer& operator=(WorkerTimer&& nOther) noexcept
    {
        WorkerTimer lOther(std::move(nOther));
        swap(lOther);
        return *this;
    }
    WorkerTimer(WorkerTimer const&) = delete;
    WorkerTimer& operator=(WorkerTimer const&) = delete;

    /// True if there is a timer, even one that has fired for the last time.
    explicit operator bool() const { return mpState != nullptr; }

    /// Cancels the timer, as the destructor does. Afterwards there is no timer.
    void cancel()
    {
        if (std::shared_ptr<worker_internal::WorkerState> const lpState = std::exchange(mpState, nullptr))
        {
            lpState->cancel(mIndex, mSerial);
        }
    }

    /// Leaves the timer to the worker: it goes on until the worker ends. Afterwards there is no timer here.
    void keep() { mpState.reset(); }

private:
    friend class Worker;

    void swap(WorkerTimer& nOther) noexcept
    {
        std::swap(mpState, nOther.mpState);
        std::swap(mIndex, nOther.mIndex);
        std::swap(mSerial, nOther.mSerial);
    }

    std::shared_ptr<worker_internal::WorkerState> mpState;
    unsigned int mIndex = 0;
    unsigned int mSerial = 0;
};

/// What a worker is made with. Everything but the name has a default.
/// Safety: a value, but not in a signal handler.
class WorkerOptions
{
public:
    /// npName: copied, null counts as empty; shown in the log and in the tables of threads.
    explicit WorkerOptions(char const* npName)
        : mName(npName, 0, 0)
    {
    }

    /// The number of messages, closures and calls that can wait; 64 by default. 0 counts as 1.
    WorkerOptions& messages(unsigned int nCount)
    {
        mMsgCount = nCount == 0 ? 1 : nCount;
        return *this;
    }

    /// The number of timers at a time; 0 by default.
    WorkerOptions& timers(unsigned int nCount)
    {
        mTimerCount = nCount;
        return *this;
    }

    /// A handler that runs for longer than nAlive is reported, in the log and to npListener if it is not null.
    /// nAlive:     rounded up to a millisecond, at most 24 days; what is longer counts as 2^31 ms.
    /// npListener: not owned; must live as long as the process, or until after ThreadManager::destroy().
    template <class Rep, class Period>
    WorkerOptions& watchdog(std::chrono::duration<Rep, Period> nAlive, WatchdogTimerListener* npListener = nullptr)
    {
        mThread.mUseWatchdog = true;
        mThread.mAliveTimeMs = worker_internal::toMs(nAlive);
        mThread.mpWatchdogListener = npListener;
        return *this;
    }

    /// The thread's nice value.
    WorkerOptions& priority(ThreadPriority const& nPriority)
    {
        mThread.mPriority = nPriority;
        return *this;
    }

    /// The size of the thread's stack in bytes; 0 is the system's default.
    WorkerOptions& stackSize(std::size_t nBytes)
    {
        mThread.mStackSize = nBytes;
        return *this;
    }

    /// nPolicy: SCHED_FIFO or SCHED_RR. nPolicyPriority: 1 to 99.
    WorkerOptions& realTime(int nPolicy, int nPolicyPriority)
    {
        mThread.mPolicy = nPolicy;
        mThread.mPolicyPriority = nPolicyPriority;
        return *this;
    }

    /// nMask: bit n allows processor n.
    WorkerOptions& processors(unsigned long long nMask)
    {
        mThread.mProcessors = nMask;
        return *this;
    }

private:
    friend class Worker;

    BasicString<char> mName;
    unsigned int mMsgCount = 64;
    unsigned int mTimerCount = 0;
    ThreadOptions mThread;
};

/// A thread that runs handlers one at a time, so data that only they use needs no lock.
///
///     double lSum = 0;                                      // declared before the worker that uses it
///     utl::Worker lWorker(utl::WorkerOptions("sums").messages(64));
///     utl::Inbox<double> lNumbers = lWorker.inbox<double>([&](double nNumber) { lSum += nNumber; });
///     if (lWorker.start() != utl::Start::DONE) { return 1; }
///     if (lNumbers.post(0.5) == utl::Post::FULL) { std::puts("behind"); }
///     lWorker.finish();                                     // handles what is queued, then ends the worker
///
/// Sizes:     memory is allocated by the constructor, by inbox(), start() and each timer. Posting and dispatching
///            allocate nothing.
/// Order:     messages, closures and calls of one thread run in the order in which it made them. A time-out runs after
///            everything that was queued when the worker noticed it.
/// Ownership: copies messages and posted closures, keeps handlers until its destructor. Declare what they refer to
///            before the worker. Handlers must not throw.
/// Threads:   inbox(), onOther(), moving and destroying: one thread at a time. The others: any.
/// Signals:   no.
/// Forks:     the child has the object but not the thread. In the child the destructor, stop(), finish() and cancelling
///            a timer do nothing, call() gives STOPPED, and nothing may be posted.
/// Blocking:  call(), finish(), stop() and the destructor wait as told there. Posting waits only for the lock of the
///            queue.
/// Locks:     none is held while a handler runs.
/// Errors:    returned; what is registered after the start is also logged.
/// Moved-from: post() and call() give NOT_STARTED, start() gives STARTED_ONCE; all else does nothing.
class Worker
{
public:
    /// Starts no thread.
    explicit Worker(WorkerOptions const& nOptions)
        : mpState(std::make_shared<worker_internal::WorkerState>(nOptions.mName.c_str(), nOptions.mMsgCount,
                                                                 nOptions.mTimerCount, nOptions.mThread))
    {
    }

    /// Ends the worker: waits for the handler under way, drops what is queued, and releases every call that waits.
    /// A worker destroyed by its own handler would wait for itself: it logs that, and the process aborts.
    ~Worker() { end(); }
    Worker(Worker&& nOther) noexcept = default;
    /// Ends this worker as the destructor does, then takes over the other.
    Worker& operator=(Worker&& nOther) noexcept
    {
        if (this != &nOther)
        {
            end();
            mpState = std::move(nOther.mpState);
        }
        return *this;
    }
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;

    /// Registers a handler for messages of type T. Call it before start().
    ///
    /// nHandler: called on the worker as nHandler(T const&), with an aligned copy.
    /// Result:   posts to this worker. After the start it belongs to no worker, and a line is logged.
    template <class T, class F>
    [[nodiscard]] Inbox<T> inbox(F nHandler)
    {
        static_assert(std::is_trivially_copyable_v<T>, "a message is copied byte by byte");
        static_assert(std::is_trivially_destructible_v<T>, "nobody destroys a message");
        Inbox<T> lInbox;
        if (mpState != nullptr)
        {
            lInbox.mIndex = mpState->addHandler(
                std::make_unique<worker_internal::WorkerMsgHandler<T, F>>(std::move(nHandler)), sizeof(T));
            lInbox.mpState = lInbox.mIndex != 0 ? mpState : nullptr;
        }
        return lInbox;
    }

    /// Sets the listener for messages that are sent to thread() with ids of your own, and for time-outs of timers that
    /// you set there. Call it before start().
    ///
    /// nListener: not owned. It may also get a time-out of a worker's timer that was cancelled a moment ago.
    void onOther(ThreadMsgListener& nListener)
    {
        if (mpState != nullptr)
        {
            mpState->setOther(&nListener);
        }
    }

    /// Starts the thread. Result: DONE, or why not. After a failure it may be tried again; a worker that was started
    /// once, or moved from, gives STARTED_ONCE.
    Start start() { return mpState != nullptr ? mpState->start() : Start::STARTED_ONCE; }

    /// Runs a small closure after everything that is queued, without waiting for it.
    ///
    /// nFunction: called without arguments. It is copied byte by byte, so it may capture only references, pointers and
    ///            plain values, together no larger than six pointers.
    /// Result: as Inbox::post().
    template <class F>
    Post post(F const& nFunction) const
    {
        static_assert(std::is_trivially_copyable_v<F>,
                      "a closure is copied byte by byte: capture references or values");
        static_assert(std::is_trivially_destructible_v<F>, "nobody destroys a closure");
        static_assert(sizeof(F) <= worker_internal::CLOSURE_SIZE, "the closure captures too much");
        if (mpState == nullptr)
        {
            return Post::NOT_STARTED;
        }
        worker_internal::WorkerClosure<F> lClosure{&worker_internal::WorkerClosure<F>::run, {}};
        std::memcpy(lClosure.mBytes, static_cast<void const*>(&nFunction), sizeof(F));
        return mpState->post(worker_internal::WorkerState::INDEX_CLOSURE, &lClosure, sizeof(lClosure));
    }

    /// Runs a closure after everything that is queued, waits for it, and gives its result. On the worker itself it runs
    /// at once. Any number of threads may call at the same time.
    ///
    /// nLimit:    the longest wait until the closure begins, rounded up to a millisecond, never 0, at most 24 days.
    ///            Once it has begun, the call waits for its end without a limit.
    /// nFunction: called without arguments; its result must not be a reference.
    template <class Rep, class Period, class F>
    Answer<std::invoke_result_t<F&>> call(std::chrono::duration<Rep, Period> nLimit, F&& nFunction) const
    {
        using R = std::invoke_result_t<F&>;
        static_assert(!std::is_reference_v<R>, "an answer is a value");
        Answer<R> lAnswer;
        if (std::shared_ptr<worker_internal::WorkerState> const lpState = mpState) // the worker may end meanwhile
        {
            auto lRun = [&]() noexcept { lAnswer.take(nFunction); };
            lAnswer.mOutcome = lpState->call(
                worker_internal::toMs(nLimit), [](void* npRun) { (*static_cast<decltype(lRun)*>(npRun))(); }, &lRun);
        }
        return lAnswer;
    }

    /// Runs a closure on the worker again and again, or once. Set before start(), the time counts from start().
    ///
    /// nPeriod, nDelay: rounded up to a millisecond, never 0; at most 24 days.
    /// Result: the timer; no timer if all of WorkerOptions::timers() are in use, the time is too long, or the worker
    ///         has ended.
    template <class Rep, class Period, class F>
    WorkerTimer every(std::chrono::duration<Rep, Period> nPeriod, F nFunction)
    {
        return addTimer(worker_internal::toMs(nPeriod), false, std::move(nFunction));
    }
    template <class Rep, class Period, class F>
    WorkerTimer after(std::chrono::duration<Rep, Period> nDelay, F nFunction)
    {
        return addTimer(worker_internal::toMs(nDelay), true, std::move(nFunction));
    }

    /// Ends the worker after the handler under way and drops what is queued. Waits for the end; in a handler it returns
    /// at once. Before the start it does nothing; a start() that is under way on another thread is waited for.
    void stop()
    {
        if (mpState != nullptr)
        {
            mpState->stop();
        }
    }

    /// Ends the worker after everything that is queued; from now on posts give STOPPED. Waits for the end; in a handler
    /// it returns at once. Before and during the start as stop().
    void finish()
    {
        if (mpState != nullptr)
        {
            mpState->finish();
        }
    }

    /// The message thread that the worker runs on, for what the worker does not offer. Null before the start; destroyed
    /// with the worker. Timers that you set on it count towards WorkerOptions::timers().
    MsgDrivenThread* thread() const { return mpState != nullptr ? mpState->thread() : nullptr; }

private:
    template <class F>
    WorkerTimer addTimer(unsigned int nMs, bool nIsOneShot, F nFunction)
    {
        WorkerTimer lTimer;
        if (mpState != nullptr)
        {
            lTimer.mSerial = mpState->addTimer(
                nMs, nIsOneShot, std::make_unique<worker_internal::WorkerTimerHandler<F>>(std::move(nFunction)),
                &lTimer.mIndex);
            lTimer.mpState = lTimer.mSerial != 0 ? mpState : nullptr;
        }
        return lTimer;
    }

    void end()
    {
        if (mpState != nullptr && mpState->hasForked())
        {
            // Nothing of it may be destroyed in the child, so this reference is leaked on purpose.
            static_cast<void>(new std::shared_ptr<worker_internal::WorkerState>(std::move(mpState)));
        }
        else if (mpState != nullptr)
        {
            mpState->end();
        }
    }

    std::shared_ptr<worker_internal::WorkerState> mpState;
};

} // namespace worker_1_0

} // namespace utl

#endif
