/// What each thread of the process does, for whoever looks from outside. Layer: internal, lowest.
#ifndef UTL_THREAD_SLOTS_H
#define UTL_THREAD_SLOTS_H

#include "UtlMacros.h"

#include <array>
#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace utl::internal
{

/// A number or a pointer. Nothing wider is stored at once: a 32-bit machine may have no wider atomic.
using SlotWord = std::uintptr_t;
static_assert(std::atomic<std::uint32_t>::is_always_lock_free, "a signal handler reads the slots");
static_assert(std::atomic<SlotWord>::is_always_lock_free, "a signal handler reads the slots");

#if defined(__SANITIZE_THREAD__)
#define UTL_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define UTL_UNDER_TSAN 1
#endif
#endif

/// Stores before it are seen before stores after it.
inline void orderStores()
{
#if defined(UTL_UNDER_TSAN)
    std::atomic_signal_fence(std::memory_order_seq_cst); // it knows no other fence; the words are atomic all the same
#else
    std::atomic_thread_fence(std::memory_order_release);
#endif
}

/// Loads before it are made before loads after it.
inline void orderLoads()
{
#if defined(UTL_UNDER_TSAN)
    std::atomic_signal_fence(std::memory_order_seq_cst);
#else
    std::atomic_thread_fence(std::memory_order_acquire);
#endif
}

/// Words that belong together. One thread writes them, and anybody reads them whole, also in a signal handler that has
/// interrupted the writer. The writer fills the copy that nobody is to read and then says that it is the newer one; a
/// reader is disturbed only if the writer comes back to the same copy meanwhile.
template <unsigned int WORDS>
class TwoCopies
{
public:
    using Words = std::array<SlotWord, WORDS>;

    /// Only by the one writer.
    void write(Words const& nWords)
    {
        std::uint32_t const lGeneration = mGeneration.load(std::memory_order_relaxed) + 1;
        orderStores(); // the generation before this one
        for (unsigned int lIndex = 0; lIndex < WORDS; ++lIndex)
        {
            mCopies[lGeneration & 1U][lIndex].store(nWords[lIndex], std::memory_order_relaxed);
        }
        mGeneration.store(lGeneration, std::memory_order_release);
    }

    /// Result: false if the writer was quicker eight times; then *npWords is of no use.
    bool read(Words* npWords, std::uint32_t* npGeneration = nullptr) const
    {
        int const MAX_TRIES = 8;
        for (int lTry = 0; lTry < MAX_TRIES; ++lTry)
        {
            std::uint32_t const lGeneration = mGeneration.load(std::memory_order_acquire);
            for (unsigned int lIndex = 0; lIndex < WORDS; ++lIndex)
            {
                (*npWords)[lIndex] = mCopies[lGeneration & 1U][lIndex].load(std::memory_order_acquire);
            }
            if (mGeneration.load(std::memory_order_relaxed) == lGeneration)
            {
                npGeneration != nullptr ? void(*npGeneration = lGeneration) : void();
                return true;
            }
        }
        return false;
    }

private:
    std::atomic<std::uint32_t> mGeneration{0};
    std::atomic<SlotWord> mCopies[2][WORDS] = {};
};

/// A count that one thread at a time changes, as it would a plain number, and that anybody reads.
class Count
{
public:
    Count() = default;
    Count(Count const&) = delete;
    Count& operator=(Count const& nOther) { return *this = static_cast<unsigned int>(nOther); }

    operator unsigned int() const { return mValue.load(std::memory_order_relaxed); }
    Count& operator=(unsigned int nValue) { return mValue.store(nValue, std::memory_order_relaxed), *this; }
    Count& operator+=(unsigned int nMore) { return *this = *this + nMore; }
    Count& operator++() { return *this += 1; }
    Count& operator--() { return *this = *this - 1; }
    void addFromAnywhere() { mValue.fetch_add(1, std::memory_order_relaxed); } ///< For one that no lock guards.

private:
    std::atomic<std::uint32_t> mValue{0};
};

/// The books of a loop, changed under its lock.
struct QueueCounts
{
    Count mAccepted;
    Count mDelivered;
    Count mErased;
    Count mTakenBack;
    Count mWaiting;
    Count mMostWaiting;
};

/// What its queue cannot count.
struct LoopCounts
{
    Count mRefusedFull;
    Count mRefusedTooLarge;
    Count mRefusedStopped; // by no lock, for a refusal waits for nobody
    Count mOrphaned;
    Count mInterrupts;
    Count mTimeouts;
    Count mTimeoutsLost;
};

/// The calls of its listener.
struct CallCounts
{
    Count mCalls;
    Count mLongest; // by slotClock()
    Count mLongestId;
};

/// A timer that runs, as it was when it was started, or when its last time-out had been handled: its id, 0 for none;
/// the period in milliseconds; when it is due, by slotClock(); time-outs handled; after how many it ends, 0: never.
using TimerRow = TwoCopies<5>;
inline constexpr unsigned int TIMER_ROW_COUNT = 8;

/// What a loop shows beside its slot, for as long as it runs.
struct LoopView
{
    TwoCopies<3> mTimers; // registered; running of these; when the next is due, by slotClock()
    QueueCounts const* mpQueue;
    LoopCounts const* mpLoop;
    CallCounts const* mpCalls;
    pthread_mutex_t const* mpMutex;                    // of the queue's lock
    std::atomic<TimerRow const*> mpTimerRows{nullptr}; // of timers that run, in no order; null before the first timer
};

/// A lock of the process that the dump names.
struct NamedLock
{
    std::atomic<char const*> mpName{nullptr}; // null: a free place
    std::atomic<pthread_mutex_t const*> mpMutex{nullptr};
};

/// One thread. Written by the thread itself unless said otherwise. tools/gdb reads it as it lies in memory: whoever
/// changes the order raises SLOT_TABLE_VERSION.
struct alignas(64) ThreadSlot
{
    /// The two lower bits of mClaim; the rest tells one owner from the next.
    enum Use : std::uint32_t
    {
        USE_NONE = 0,
        USE_BEGINS = 1,
        USE_THREAD = 2
    };

    /// The three lower bits of mStage; the rest is that of mClaim, so that nobody means an earlier owner.
    enum Stage : std::uint32_t
    {
        STAGE_STARTING = 0,
        STAGE_RUNNING = 1,
        STAGE_STOPPING = 2, // also by who has asked for it
        STAGE_DONE = 3
    };

    enum Work : SlotWord
    {
        WORK_NONE = 0,
        WORK_MSG = 1,
        WORK_TIMEOUT = 2
    };

    enum Wait : SlotWord
    {
        WAIT_NONE = 0,
        WAIT_SYNC_MSG = 1,  // whom: a thread's id; what: the message's
        WAIT_INTERRUPT = 2, // the same
        WAIT_REQUEST = 3,   // whom: a thread's id. A search, an erasure, a timer's start or stop
        WAIT_END = 4,       // whom: a thread's id
        WAIT_LOCK = 5,      // whom: the pthread_mutex_t
        WAIT_LIMITED = 16,  // added to one of these: not for ever
        WAIT_KINDS = WAIT_LIMITED - 1
    };

    static constexpr unsigned int NAME_SIZE = 32; // the terminator included
    static constexpr unsigned int NAME_WORDS = NAME_SIZE / sizeof(SlotWord);

    std::atomic<std::uint32_t> mClaim{0};
    std::atomic<std::uint32_t> mStage{0};
    std::atomic<std::uint32_t> mReaders{0}; // of what the slot points to; theirs
    std::atomic<LoopView const*> mpLoop{nullptr};
    TwoCopies<2 + NAME_WORDS> mIdentity; // kernel id; 1 for a thread of the registry; the name
    TwoCopies<4> mReport;                // file, function, line, sub
    TwoCopies<3> mWork;                  // Work; message or timer; since when, 0 for unknown
    TwoCopies<4> mWait;                  // Wait; whom for; what; since when

    void setStage(Stage nStage);
};

inline constexpr std::uint32_t SLOT_TABLE_VERSION = 2;
inline constexpr std::uint32_t SLOT_COUNT = 160;
inline constexpr std::uint32_t NAMED_LOCK_COUNT = 24;

/// Where a debugger finds the slots of a process or a core file that is stripped of all else.
struct SlotTable
{
    char mMagic[16];
    std::uint32_t mVersion;
    std::uint32_t mWordSize;
    std::uint32_t mSlotSize;
    std::uint32_t mSlotCount;
    ThreadSlot* mpSlots;
    NamedLock* mpLocks;
    SlotWord mLockCount;
};

extern ThreadSlot gThreadSlots[SLOT_COUNT];
extern NamedLock gNamedLocks[NAMED_LOCK_COUNT];

// Of the calling thread, or null. The model spares a call into the loader; the library is never large enough to run out
// of room.
extern __thread ThreadSlot* tpOwnSlot __attribute__((tls_model("initial-exec")));

/// Gives the calling thread a slot of this name, or its slot this name. npName: within NAME_SIZE. Without room it has
/// none, and all below does nothing for it.
void enterSlot(int nId, char const* npName);

/// The calling thread's slot; one without a name for a thread that nobody has entered. May be null.
ThreadSlot* slotOfCaller();

/// The calling thread ends. Otherwise the slot goes when the system ends the thread.
void leaveSlot();

/// Reads what a thread waits for. *npOwner: a thread's id, of a lock its owner's; 0 for none. Result: that of read().
bool readWait(ThreadSlot& nSlot, TwoCopies<4>::Words* npWait, int* npOwner, std::uint32_t* npGeneration);

/// The end of a chain of waits: the thread that this one waits for, perhaps through others. Itself if it waits for
/// nobody that is known, or in a circle.
int endOfWaits(int nId);

/// A stop was asked of this thread.
void showStopRequest(int nId);

/// In the child of a fork: none of the threads is there.
void clearSlots();

/// The monotonic clock in units of 2^20 nanoseconds, as exact as the kernel's tick; wraps after 52 days. The unit
/// spares a division on the way of each message.
std::uint32_t slotClock();
constexpr std::uint32_t slotTime(long long nNs)
{
    return static_cast<std::uint32_t>(nNs >> 20U);
}

/// The thread that owns a mutex now; 0 for none, and if the platform does not tell.
int ownerOf(pthread_mutex_t const& nMutex);

/// From now on the dump names this lock, if there is a place left. npName: stays where it is.
void showLock(char const* npName, pthread_mutex_t const& nMutex);

/// The lock goes: afterwards nobody looks at it.
void hideLock(pthread_mutex_t const& nMutex);

/// The thread that owns a named lock, 0 for none. *npName: the lock's name.
int readLock(NamedLock const& nLock, char const** npName);

/// Somebody looks at what a slot points to, for a scope, and it stays there meanwhile. nReaders: those of the slot.
class Looking
{
public:
    explicit Looking(std::atomic<std::uint32_t>& nReaders)
        : mReaders(nReaders)
    {
        mReaders.fetch_add(1, std::memory_order_seq_cst);
    }
    ~Looking() { mReaders.fetch_sub(1, std::memory_order_release); }
    Looking(Looking const&) = delete;
    Looking& operator=(Looking const&) = delete;

private:
    std::atomic<std::uint32_t>& mReaders;
};

/// A report to the watchdog, whether the thread is watched or not.
inline void showReport(char const* npFile, char const* npFunction, unsigned int nLine, unsigned int nSub)
{
    if (ThreadSlot* const lpSlot = slotOfCaller())
    {
        lpSlot->mReport.write(
            {reinterpret_cast<SlotWord>(npFile), reinterpret_cast<SlotWord>(npFunction), nLine, nSub});
    }
}

/// What the calling thread works on, and since when by slotClock().
inline void showWork(ThreadSlot::Work nWork, int nId, std::uint32_t nSince)
{
    if (tpOwnSlot != nullptr)
    {
        tpOwnSlot->mWork.write({nWork, static_cast<std::uint32_t>(nId), nSince});
    }
}

/// A wait of this kind within a limit; 0: without.
inline ThreadSlot::Wait waitWithin(ThreadSlot::Wait nWait, unsigned int nLimitMs)
{
    return static_cast<ThreadSlot::Wait>(nLimitMs == 0 ? nWait : nWait | ThreadSlot::WAIT_LIMITED);
}

/// Shows whom the calling thread waits for, for a scope. What it waited for before is shown again afterwards.
class WaitShown
{
public:
    WaitShown(ThreadSlot::Wait nWait, SlotWord nWhom, int nWhat = 0);
    ~WaitShown();
    WaitShown(WaitShown const&) = delete;
    WaitShown& operator=(WaitShown const&) = delete;

private:
    ThreadSlot* const mpSlot;
    bool const mIsForLock;
    TwoCopies<4>::Words mBefore{};
};

/// Shows a loop of the calling thread, for a scope.
class LoopShown
{
public:
    explicit LoopShown(LoopView const& nView);
    ~LoopShown();
    LoopShown(LoopShown const&) = delete;
    LoopShown& operator=(LoopShown const&) = delete;

private:
    ThreadSlot* const mpSlot;
};

} // namespace utl::internal

extern "C" UTL_API utl::internal::SlotTable const utlThreadSlots;

#endif
