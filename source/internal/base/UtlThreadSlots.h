/// Slots in which each thread shows what it is doing, for dumps and debuggers. Layer: internal, lowest.
#ifndef UTL_THREAD_SLOTS_H
#define UTL_THREAD_SLOTS_H

#include "UtlMacros.h"

#include <array>
#include <atomic>
#include <cstdint>

#include <pthread.h>

namespace utl::internal
{

/// A number or a pointer. Nothing wider is stored in one step: a 32-bit machine may have no wider atomic.
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
    std::atomic_signal_fence(std::memory_order_seq_cst); // ThreadSanitizer supports no other; all words are atomic
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

/// Words that belong together. One thread writes them. Any thread reads them as a whole, even a signal handler that has
/// interrupted the writer. The writer fills the older of two copies and then declares it the newer one; a reader is
/// disturbed only if the writer returns to the copy being read.
template <unsigned int WORDS>
class TwoCopies
{
public:
    using Words = std::array<SlotWord, WORDS>;

    /// Only for the one writer.
    void write(Words const& nWords)
    {
        std::uint32_t const lGeneration = mGeneration.load(std::memory_order_relaxed) + 1;
        orderStores(); // a reader that sees one of these words also sees the last write's generation
        for (unsigned int lIndex = 0; lIndex < WORDS; ++lIndex)
        {
            mCopies[lGeneration & 1U][lIndex].store(nWords[lIndex], std::memory_order_relaxed);
        }
        mGeneration.store(lGeneration, std::memory_order_release);
    }

    /// Result: false if the writer disturbed eight tries; *npWords is then useless.
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

/// A count that one thread at a time changes like a plain number, and that any thread may read.
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
    void addFromAnywhere() { mValue.fetch_add(1, std::memory_order_relaxed); } ///< For a count that no lock guards.

private:
    std::atomic<std::uint32_t> mValue{0};
};

/// The counts that a loop's control queue keeps; see Ledger. Changed under the loop's lock.
struct QueueCounts
{
    Count mAccepted;
    Count mDelivered;
    Count mErased;
    Count mTakenBack;
    Count mWaiting;
    Count mMostWaiting;
};

/// The counts that the loop itself keeps; see Ledger.
struct LoopCounts
{
    Count mRefusedFull;
    Count mRefusedTooLarge;
    Count mRefusedStopped; // not under the lock, because refusing must not wait
    Count mOrphaned;
    Count mInterrupts;
    Count mTimeouts;
    Count mTimeoutsLost;
};

/// The counts of the calls of a loop's listener.
struct CallCounts
{
    Count mCalls;
    Count mLongest; // by slotClock()
    Count mLongestId;
};

/// A running timer, as it was when it was started or when its last time-out had been handled. The words are: its id, 0
/// for none; the period in milliseconds; when it is due, by slotClock(); time-outs handled; the number of time-outs
/// after which it ends, 0: never.
using TimerRow = TwoCopies<5>;
inline constexpr unsigned int TIMER_ROW_COUNT = 8;

/// What a running loop shows; its thread's slot points to it.
struct LoopView
{
    TwoCopies<3> mTimers; // how many are registered; how many of these run; when the next is due, by slotClock()
    QueueCounts const* mpQueue;
    LoopCounts const* mpLoop;
    CallCounts const* mpCalls;
    pthread_mutex_t const* mpMutex;                    // that of the queue's lock
    std::atomic<TimerRow const*> mpTimerRows{nullptr}; // running timers, in no order; null before the first timer
};

/// A lock of the process that the dump names.
struct NamedLock
{
    std::atomic<char const*> mpName{nullptr}; // null: a free place
    std::atomic<pthread_mutex_t const*> mpMutex{nullptr};
};

/// One thread. The thread itself writes it unless said otherwise. tools/gdb reads its memory directly: if you change
/// the order of members, raise SLOT_TABLE_VERSION.
struct alignas(64) ThreadSlot
{
    /// The two lowest bits of mClaim; the others differ from one owner to the next.
    enum Use : std::uint32_t
    {
        USE_NONE = 0,
        USE_BEGINS = 1,
        USE_THREAD = 2
    };

    /// The three lowest bits of mStage; the others are those of mClaim, so that a stage is never taken for another
    /// owner's.
    enum Stage : std::uint32_t
    {
        STAGE_STARTING = 0,
        STAGE_RUNNING = 1,
        STAGE_STOPPING = 2, // also written by the thread that asks for the stop
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
        WAIT_SYNC_MSG = 1,  // whom for: a thread's id; what: the message's id
        WAIT_INTERRUPT = 2, // the same
        WAIT_REQUEST = 3,   // whom for: a thread's id. A search, an erasure, or the start or stop of a timer
        WAIT_END = 4,       // whom for: a thread's id
        WAIT_LOCK = 5,      // whom for: a pthread_mutex_t
        WAIT_LIMITED = 16,  // added to one of these if the wait has a limit
        WAIT_KINDS = WAIT_LIMITED - 1
    };

    static constexpr unsigned int NAME_SIZE = 32; // the terminator included
    static constexpr unsigned int NAME_WORDS = NAME_SIZE / sizeof(SlotWord);

    std::atomic<std::uint32_t> mClaim{0};
    std::atomic<std::uint32_t> mStage{0};
    std::atomic<std::uint32_t> mReaders{0}; // how many read what the slot points to; written by the readers
    std::atomic<LoopView const*> mpLoop{nullptr};
    TwoCopies<2 + NAME_WORDS> mIdentity; // kernel id; 1 for a thread of the registry; the name
    TwoCopies<4> mReport;                // file, function, line, sub
    TwoCopies<3> mWork;                  // Work; id of message or timer; since when, 0 for unknown
    TwoCopies<4> mWait;                  // Wait; whom for; what; since when

    void setStage(Stage nStage);
};

inline constexpr std::uint32_t SLOT_TABLE_VERSION = 2;
inline constexpr std::uint32_t SLOT_COUNT = 160;
inline constexpr std::uint32_t NAMED_LOCK_COUNT = 24;

/// Tells a debugger where the slots are, in a process or core file without debug information.
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

// The calling thread's slot, or null. This TLS model avoids a call into the loader; one pointer fits into the room that
// the C library keeps for it.
extern __thread ThreadSlot* tpOwnSlot __attribute__((tls_model("initial-exec")));

/// Gives the calling thread a slot, or its slot a new name. npName: within NAME_SIZE. If no slot is free the thread has
/// none, and the functions below do nothing for it.
void enterSlot(int nId, char const* npName);

/// The calling thread's slot. A thread that was not entered gets one without a name. May be null.
ThreadSlot* slotOfCaller();

/// Frees the calling thread's slot, which otherwise happens when the system ends the thread.
void leaveSlot();

/// Reads what a thread waits for. *npOwner: the id of the thread, or of the lock's owner, that it waits for; 0 for
/// none.
/// Result: that of read().
bool readWait(ThreadSlot& nSlot, TwoCopies<4>::Words* npWait, int* npOwner, std::uint32_t* npGeneration);

/// The last thread in a chain of waits that begins with nId: nId itself if it waits for no known thread, or in a
/// circle.
int endOfWaits(int nId);

/// Shows that this thread was asked to stop.
void showStopRequest(int nId);

/// For the child of a fork, which has none of the threads.
void clearSlots();

/// The monotonic clock in units of 2^20 nanoseconds, as exact as the kernel's tick; wraps after 52 days. The unit
/// avoids a division for each message.
std::uint32_t slotClock();
constexpr std::uint32_t slotTime(long long nNs)
{
    return static_cast<std::uint32_t>(nNs >> 20U);
}

/// The thread that owns a mutex now; 0 for none, and if the platform does not tell.
int ownerOf(pthread_mutex_t const& nMutex);

/// From now on the dump names this lock, if there is a free place. npName: not copied.
void showLock(char const* npName, pthread_mutex_t const& nMutex);

/// Call this before a lock is destroyed: once it has returned, nobody looks at the lock.
void hideLock(pthread_mutex_t const& nMutex);

/// The thread that owns a named lock, 0 for none. *npName: the lock's name.
int readLock(NamedLock const& nLock, char const** npName);

/// For a scope, keeps what a slot points to from being destroyed. nReaders: ThreadSlot::mReaders of that slot.
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

/// Shows a report to the watchdog, whether the thread is watched or not.
inline void showReport(char const* npFile, char const* npFunction, unsigned int nLine, unsigned int nSub)
{
    if (ThreadSlot* const lpSlot = slotOfCaller())
    {
        lpSlot->mReport.write(
            {reinterpret_cast<SlotWord>(npFile), reinterpret_cast<SlotWord>(npFunction), nLine, nSub});
    }
}

/// Shows what the calling thread works on, and since when by slotClock().
inline void showWork(ThreadSlot::Work nWork, int nId, std::uint32_t nSince)
{
    if (tpOwnSlot != nullptr)
    {
        tpOwnSlot->mWork.write({nWork, static_cast<std::uint32_t>(nId), nSince});
    }
}

/// A wait of this kind with a limit; nLimitMs 0: without.
inline ThreadSlot::Wait waitWithin(ThreadSlot::Wait nWait, unsigned int nLimitMs)
{
    return static_cast<ThreadSlot::Wait>(nLimitMs == 0 ? nWait : nWait | ThreadSlot::WAIT_LIMITED);
}

/// For a scope, shows what the calling thread waits for. Afterwards an outer wait is shown again.
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

/// For a scope, shows the loop of the calling thread. The end waits until nobody reads it.
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
