// Slots in which each thread shows what it is doing.
#include "internal/base/UtlThreadSlots.h"

#include "internal/base/UtlSystemCalls.h"

#include <cstring>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

namespace utl::internal
{

ThreadSlot gThreadSlots[SLOT_COUNT];
NamedLock gNamedLocks[NAMED_LOCK_COUNT];
__thread ThreadSlot* tpOwnSlot __attribute__((tls_model("initial-exec"))) = nullptr;

namespace
{

std::atomic<std::uint32_t> gLockReaders{0}; // how many read the named locks
std::atomic<std::uint32_t> gReleases{1};    // slots freed; a thread that found none waits for one more
__thread std::uint32_t tRefusedAt __attribute__((tls_model("initial-exec"))) = 0;

std::uint32_t useOf(std::uint32_t nClaim)
{
    return nClaim & 3U;
}

std::uint32_t stageWord(std::uint32_t nClaim, ThreadSlot::Stage nStage)
{
    return (nClaim >> 2U) << 3U | nStage;
}

void release(ThreadSlot& nSlot)
{
    std::uint32_t const lClaim = nSlot.mClaim.load(std::memory_order_relaxed);
    nSlot.mClaim.store(lClaim - useOf(lClaim) + 4U, std::memory_order_release);
    ++gReleases;
}

/// Frees a slot when the system ends its thread, whatever the reason.
class EndOfThread
{
public:
    EndOfThread() { mHasKey = ::pthread_key_create(&mKey, &EndOfThread::onEnd) == 0; }
    ~EndOfThread() // the library is unloaded, perhaps before the threads end
    {
        if (mHasKey.exchange(false)) // from here on the key may get another owner
        {
            ::pthread_key_delete(mKey);
        }
    }

    /// Result: false if the end of the thread cannot be noticed.
    bool watch(ThreadSlot* npSlot) const { return mHasKey && ::pthread_setspecific(mKey, npSlot) == 0; }

    static EndOfThread const& get()
    {
        static EndOfThread const lTheOne;
        return lTheOne;
    }

private:
    static void onEnd(void* npSlot)
    {
        tpOwnSlot = nullptr;
        release(*static_cast<ThreadSlot*>(npSlot));
    }

    pthread_key_t mKey{};
    std::atomic<bool> mHasKey{false};
};

void writeIdentity(ThreadSlot& nSlot, int nId, bool nIsRegistered, char const* npName)
{
    TwoCopies<2 + ThreadSlot::NAME_WORDS>::Words lWords{};
    lWords[0] = static_cast<SlotWord>(nId);
    lWords[1] = nIsRegistered ? 1 : 0;
    std::memcpy(&lWords[2], npName, ::strnlen(npName, ThreadSlot::NAME_SIZE - 1));
    nSlot.mIdentity.write(lWords);
}

/// Takes a free slot and fills it for its new owner. Null if there is none.
ThreadSlot* claim(int nId, bool nIsRegistered, char const* npName)
{
    for (ThreadSlot& lSlot : gThreadSlots)
    {
        std::uint32_t lClaim = lSlot.mClaim.load(std::memory_order_relaxed);
        if (useOf(lClaim) == ThreadSlot::USE_NONE &&
            lSlot.mClaim.compare_exchange_strong(lClaim, lClaim | ThreadSlot::USE_BEGINS, std::memory_order_acquire))
        {
            writeIdentity(lSlot, nId, nIsRegistered, npName);
            lSlot.mReport.write({});
            lSlot.mWork.write({});
            lSlot.mWait.write({});
            lSlot.mpLoop.store(nullptr, std::memory_order_relaxed);
            lSlot.mStage.store(stageWord(lClaim, ThreadSlot::STAGE_RUNNING), std::memory_order_relaxed);
            lSlot.mClaim.store(lClaim | ThreadSlot::USE_THREAD, std::memory_order_release);
            return &lSlot;
        }
    }
    return nullptr;
}

/// Whether no slot was freed since the calling thread found none.
bool isRefused()
{
    return tRefusedAt == gReleases.load(std::memory_order_relaxed);
}

ThreadSlot* claimForCaller(int nId, bool nIsRegistered, char const* npName)
{
    if (isRefused())
    {
        return nullptr;
    }
    ThreadSlot* lpSlot = claim(nId, nIsRegistered, npName);
    if (lpSlot != nullptr && !EndOfThread::get().watch(lpSlot))
    {
        release(*lpSlot);
        lpSlot = nullptr;
    }
    tRefusedAt = lpSlot == nullptr ? gReleases.load(std::memory_order_relaxed) : 0;
    tpOwnSlot = lpSlot;
    return lpSlot;
}

/// The slot of a thread, and its claim at that moment; null for none.
ThreadSlot* find(int nId, std::uint32_t* npClaim)
{
    for (ThreadSlot& lSlot : gThreadSlots)
    {
        *npClaim = lSlot.mClaim.load(std::memory_order_acquire);
        TwoCopies<2 + ThreadSlot::NAME_WORDS>::Words lWords;
        if (useOf(*npClaim) == ThreadSlot::USE_THREAD && lSlot.mIdentity.read(&lWords) &&
            lWords[0] == static_cast<SlotWord>(nId))
        {
            return &lSlot;
        }
    }
    return nullptr;
}

bool hasReaders(std::atomic<std::uint32_t>& nReaders)
{
    return nReaders.fetch_or(0, std::memory_order_seq_cst) != 0; // a write, which no earlier store of ours may pass
}

/// Waits until nobody reads what a slot pointed to. Reading takes a microsecond and waits for nothing.
void awaitReaders(std::atomic<std::uint32_t>& nReaders)
{
    if (!hasReaders(nReaders))
    {
        return;
    }
    int lState = 0;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &lState); // a thread must not be cancelled while it takes a lock
    while (hasReaders(nReaders))
    {
        pauseBriefly();
    }
    ::pthread_setcancelstate(lState, nullptr);
}

} // namespace

// ---------------------------------------------------------------------------------------------- slots taken and freed

void enterSlot(int nId, char const* npName)
{
    if (tpOwnSlot != nullptr)
    {
        writeIdentity(*tpOwnSlot, nId, true, npName);
        return;
    }
    claimForCaller(nId, true, npName);
}

ThreadSlot* slotOfCaller()
{
    return tpOwnSlot != nullptr || isRefused() ? tpOwnSlot
                                               : claimForCaller(static_cast<int>(::syscall(SYS_gettid)), false, "");
}

void leaveSlot()
{
    if (ThreadSlot* const lpSlot = tpOwnSlot)
    {
        tpOwnSlot = nullptr;
        EndOfThread::get().watch(nullptr);
        release(*lpSlot);
    }
}

void clearSlots()
{
    gLockReaders = 0;
    for (ThreadSlot& lSlot : gThreadSlots)
    {
        lSlot.mReaders.store(0, std::memory_order_relaxed); // threads that were reading at the fork do not exist here
        if (useOf(lSlot.mClaim.load(std::memory_order_relaxed)) != ThreadSlot::USE_NONE)
        {
            lSlot.mpLoop.store(nullptr, std::memory_order_relaxed);
            release(lSlot);
        }
    }
    if (tpOwnSlot != nullptr)
    {
        tpOwnSlot = nullptr;
        EndOfThread::get().watch(nullptr);
    }
    tRefusedAt = 0;
}

// ---------------------------------------------------------------------------------------------- what is shown

void ThreadSlot::setStage(Stage nStage)
{
    std::uint32_t const lClaim = mClaim.load(std::memory_order_relaxed);
    std::uint32_t lStage = mStage.load(std::memory_order_relaxed);
    // A stop may have been asked for before the thread runs.
    while (!(nStage < STAGE_STOPPING && lStage == stageWord(lClaim, STAGE_STOPPING)) &&
           !mStage.compare_exchange_weak(lStage, stageWord(lClaim, nStage), std::memory_order_relaxed))
    {
    }
}

void showStopRequest(int nId)
{
    std::uint32_t lClaim = 0;
    ThreadSlot* const lpSlot = find(nId, &lClaim);
    if (lpSlot == nullptr)
    {
        return;
    }
    for (ThreadSlot::Stage const lStage : {ThreadSlot::STAGE_STARTING, ThreadSlot::STAGE_RUNNING})
    {
        std::uint32_t lWord = stageWord(lClaim, lStage); // of this owner, and of no later one
        lpSlot->mStage.compare_exchange_strong(lWord, stageWord(lClaim, ThreadSlot::STAGE_STOPPING),
                                               std::memory_order_relaxed);
    }
}

int endOfWaits(int nId)
{
    int lId = nId;
    for (unsigned int lHops = 0; lHops < SLOT_COUNT; ++lHops)
    {
        std::uint32_t lClaim = 0;
        ThreadSlot* const lpSlot = find(lId, &lClaim);
        TwoCopies<4>::Words lWait{};
        int lNextId = 0;
        bool const lWaits = lpSlot != nullptr && readWait(*lpSlot, &lWait, &lNextId, nullptr) &&
                            lWait[0] != ThreadSlot::WAIT_NONE && lNextId != 0;
        if (!lWaits || find(lNextId, &lClaim) == nullptr)
        {
            return lId;
        }
        lId = lNextId;
    }
    return nId;
}

std::uint32_t slotClock()
{
    timespec lNow{};
    gSystem.mClockGettime(CLOCK_MONOTONIC_COARSE, &lNow);
    return slotTime(lNow.tv_sec * 1000000000LL + lNow.tv_nsec);
}

int ownerOf(pthread_mutex_t const& nMutex)
{
#if defined(__GLIBC__)
    return __atomic_load_n(&nMutex.__data.__owner, __ATOMIC_RELAXED);
#else
    (void)nMutex;
    return 0;
#endif
}

void showLock(char const* npName, pthread_mutex_t const& nMutex)
{
    for (NamedLock& lLock : gNamedLocks)
    {
        char const* lpNone = nullptr;
        if (lLock.mpName.compare_exchange_strong(lpNone, npName))
        {
            lLock.mpMutex = &nMutex;
            return;
        }
    }
}

void hideLock(pthread_mutex_t const& nMutex)
{
    for (NamedLock& lLock : gNamedLocks)
    {
        pthread_mutex_t const* lpMutex = &nMutex;
        if (lLock.mpMutex.compare_exchange_strong(lpMutex, nullptr))
        {
            awaitReaders(gLockReaders);
            lLock.mpName = nullptr;
        }
    }
}

int readLock(NamedLock const& nLock, char const** npName)
{
    Looking const lLooking(gLockReaders);
    pthread_mutex_t const* const lpMutex = nLock.mpMutex;
    *npName = nLock.mpName;
    return lpMutex != nullptr ? ownerOf(*lpMutex) : 0;
}

/// While we read a lock, a thread that waits for it does not go on, so the lock is not destroyed.
bool readWait(ThreadSlot& nSlot, TwoCopies<4>::Words* npWait, int* npOwner, std::uint32_t* npGeneration)
{
    Looking const lLooking(nSlot.mReaders);
    bool const lIsWhole = nSlot.mWait.read(npWait, npGeneration);
    if (lIsWhole)
    {
        SlotWord const lWhom = (*npWait)[1];
        *npOwner = (*npWait)[0] == ThreadSlot::WAIT_LOCK ? ownerOf(*reinterpret_cast<pthread_mutex_t const*>(lWhom))
                                                         : static_cast<int>(lWhom);
    }
    return lIsWhole;
}

WaitShown::WaitShown(ThreadSlot::Wait nWait, SlotWord nWhom, int nWhat)
    : mpSlot(slotOfCaller()),
      mIsForLock(nWait == ThreadSlot::WAIT_LOCK)
{
    if (mpSlot != nullptr)
    {
        mpSlot->mWait.read(&mBefore);
        mpSlot->mWait.write({nWait, nWhom, static_cast<std::uint32_t>(nWhat), slotClock()});
    }
}

WaitShown::~WaitShown()
{
    if (mpSlot == nullptr || mpSlot != tpOwnSlot) // the child of a fork has another
    {
        return;
    }
    mpSlot->mWait.write(mBefore);
    if (mIsForLock)
    {
        awaitReaders(mpSlot->mReaders); // the lock may be destroyed once it is released
    }
}

LoopShown::LoopShown(LoopView const& nView)
    : mpSlot(tpOwnSlot)
{
    if (mpSlot != nullptr)
    {
        mpSlot->mpLoop.store(&nView, std::memory_order_release);
    }
}

LoopShown::~LoopShown()
{
    if (mpSlot != nullptr && mpSlot == tpOwnSlot) // the child of a fork has another
    {
        mpSlot->mpLoop.store(nullptr, std::memory_order_seq_cst);
        awaitReaders(mpSlot->mReaders);
    }
}

} // namespace utl::internal

extern "C" utl::internal::SlotTable const utlThreadSlots = {"utl thread slot",
                                                            utl::internal::SLOT_TABLE_VERSION,
                                                            sizeof(utl::internal::SlotWord),
                                                            sizeof(utl::internal::ThreadSlot),
                                                            utl::internal::SLOT_COUNT,
                                                            utl::internal::gThreadSlots,
                                                            utl::internal::gNamedLocks,
                                                            utl::internal::NAMED_LOCK_COUNT};
