#include "internal/UtlKernelTimer.h"

#include "UtlMsg.h"
#include "internal/UtlImmortal.h"
#include "internal/UtlRecordPipe.h"
#include "internal/UtlSystemCalls.h"

#include <cerrno>
#include <new>

#include <sched.h>

namespace utl::internal
{

static_assert(std::atomic<unsigned int>::is_always_lock_free, "used in a signal handler");

/// All slots of the process. Chunks are added when the free list is empty and never go.
class SlotTable
{
public:
    static SlotTable& get()
    {
        static Immortal<SlotTable> lTable;
        return lTable.get();
    }

    TimerSignalSlot* take()
    {
        SyncGuard lGuard(mSyncObject);
        if (mpFirstFree == nullptr && !addChunkLocked())
        {
            return nullptr;
        }
        TimerSignalSlot* const lpSlot = mpFirstFree;
        mpFirstFree = lpSlot->mpNextFree;
        mpLastFree = mpFirstFree != nullptr ? mpLastFree : nullptr;
        return lpSlot;
    }

    // To the end of the list: a slot rests as long as there are others.
    void giveBack(TimerSignalSlot* npSlot)
    {
        SyncGuard lGuard(mSyncObject);
        appendLocked(npSlot);
    }

    static TimerSignalSlot* at(unsigned int nToken)
    {
        unsigned int const lIndex = nToken & INDEX_MASK;
        TimerSignalSlot* const lpChunk = mpChunks[lIndex / CHUNK].load(std::memory_order_acquire);
        return lpChunk != nullptr ? &lpChunk[lIndex % CHUNK] : nullptr;
    }

    static constexpr unsigned int INDEX_MASK = 0xFFFF;
    static constexpr unsigned int GENERATION = 0x10000;

private:
    static constexpr unsigned int CHUNK = 64;

    bool addChunkLocked() UTL_REQUIRES(mSyncObject)
    {
        if (mChunkCount * CHUNK > INDEX_MASK)
        {
            return false;
        }
        TimerSignalSlot* const lpChunk = new (std::nothrow) TimerSignalSlot[CHUNK];
        if (lpChunk == nullptr)
        {
            return false;
        }
        for (unsigned int lIndex = 0; lIndex < CHUNK; ++lIndex)
        {
            lpChunk[lIndex].mToken = mChunkCount * CHUNK + lIndex;
            appendLocked(&lpChunk[lIndex]);
        }
        mpChunks[mChunkCount++].store(lpChunk, std::memory_order_release);
        return true;
    }

    void appendLocked(TimerSignalSlot* npSlot) UTL_REQUIRES(mSyncObject)
    {
        npSlot->mpNextFree = nullptr;
        (mpLastFree != nullptr ? mpLastFree->mpNextFree : mpFirstFree) = npSlot;
        mpLastFree = npSlot;
    }

    static std::atomic<TimerSignalSlot*> mpChunks[(INDEX_MASK + 1) / CHUNK]; // for the handler: no guarded static

    SyncObject mSyncObject;
    TimerSignalSlot* mpFirstFree UTL_GUARDED_BY(mSyncObject) = nullptr;
    TimerSignalSlot* mpLastFree UTL_GUARDED_BY(mSyncObject) = nullptr;
    unsigned int mChunkCount UTL_GUARDED_BY(mSyncObject) = 0;
};

std::atomic<TimerSignalSlot*> SlotTable::mpChunks[(INDEX_MASK + 1) / CHUNK];

TimerSignalSlot* TimerSignalSlot::allocate()
{
    return SlotTable::get().take();
}

void TimerSignalSlot::release(TimerSignalSlot* npSlot)
{
    if (npSlot != nullptr)
    {
        npSlot->disarm();
        SlotTable::get().giveBack(npSlot);
    }
}

int TimerSignalSlot::arm(int nSysTimerNumber, int nPipeWriteFd)
{
    disarm();
    mSysTimerNumber = nSysTimerNumber;
    mPipeWriteFd = nPipeWriteFd;
    return static_cast<int>(mToken += SlotTable::GENERATION);
}

void TimerSignalSlot::disarm()
{
    if ((mToken & SlotTable::GENERATION) != 0)
    {
        mToken += SlotTable::GENERATION;
    }
    // Sequentially consistent on both sides: a handler that has seen the old token is counted, and is on another
    // thread, where all it still does is one write that cannot wait.
    while (mHandlersInside != 0)
    {
        pauseBriefly();
    }
}

int TimerSignalSlot::onSignal(int nToken)
{
    int const lKeptError = errno;
    int lResult = 0;
    unsigned int const lToken = static_cast<unsigned int>(nToken);
    TimerSignalSlot* const lpSlot = SlotTable::at(lToken);
    if (lpSlot != nullptr)
    {
        ++lpSlot->mHandlersInside;
        if (lpSlot->mToken == lToken && (lToken & SlotTable::GENERATION) != 0)
        {
            PipeRecord const lRecord{MSG_ID_TIMEOUT_SIGNAL, lpSlot->mSysTimerNumber};
            ssize_t const lWritten = gSystem.mWrite(lpSlot->mPipeWriteFd, &lRecord, sizeof(lRecord));
            lResult = lWritten == static_cast<ssize_t>(sizeof(lRecord)) || errno == EAGAIN ? 0 : errno;
        }
        --lpSlot->mHandlersInside;
    }
    errno = lKeptError;
    return lResult;
}

int TimerSignal::install(void (*npHandler)(int, siginfo_t*, void*))
{
    static Immortal<SyncObject> lLock;
    if (mIsInstalled)
    {
        return 0;
    }
    SyncGuard lGuard(lLock.get());
    if (mIsInstalled)
    {
        return 0;
    }
    struct sigaction lAction = {};
    lAction.sa_sigaction = npHandler;
    lAction.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&lAction.sa_mask);
    if (gSystem.mSigaction(number(), &lAction, nullptr) != 0)
    {
        return -1;
    }
    mIsInstalled = true;
    return 1;
}

void TimerSignal::admit() const
{
    sigset_t lSignals;
    ::sigemptyset(&lSignals);
    ::sigaddset(&lSignals, number());
    ::pthread_sigmask(SIG_UNBLOCK, &lSignals, nullptr);
}

int TimerSignal::takeError()
{
    return mError.load(std::memory_order_relaxed) != 0 ? mError.exchange(0) : 0;
}

int createKernelTimer(TimerInfo& nInfo, int nSignal, int nSysTimerNumber, int nPipeWriteFd, void** npTimerId)
{
    static_assert(sizeof(timer_t) == sizeof(void*), "timer_t is kept as a pointer");
    sigevent lEvent = {};
    lEvent.sigev_notify = SIGEV_SIGNAL;
    lEvent.sigev_signo = nSignal;
    lEvent.sigev_value.sival_int = nInfo.mpSignalValue->arm(nSysTimerNumber, nPipeWriteFd);
    timer_t lTimerId = nullptr;
    int const lCreated = gSystem.mTimerCreate(CLOCK_MONOTONIC, &lEvent, &lTimerId);
    *npTimerId = lTimerId;
    if (lCreated != 0)
    {
        int const lError = errno;
        nInfo.mpSignalValue->disarm();
        errno = lError;
    }
    return lCreated;
}

int armKernelTimer(TimerInfo& nInfo, int nSysTimerNumber, void* npTimerId)
{
    timespec const lInterval{nInfo.mIntervalMs / 1000, (nInfo.mIntervalMs % 1000) * 1000000L};
    itimerspec const lPeriod{lInterval, lInterval};
    if (gSystem.mTimerSettime(npTimerId, 0, &lPeriod, nullptr) != 0)
    {
        int const lError = errno;
        gSystem.mTimerDelete(npTimerId);
        nInfo.mpSignalValue->disarm();
        errno = lError;
        return -1;
    }
    nInfo.mSysTimerId = npTimerId;
    nInfo.mSysTimerNumber = nSysTimerNumber;
    return 0;
}

KernelTimerResult startKernelTimer(TimerInfo& nInfo, int nSignal, int nSysTimerNumber, int nPipeWriteFd,
                                   void** npTimerId)
{
    if (createKernelTimer(nInfo, nSignal, nSysTimerNumber, nPipeWriteFd, npTimerId) != 0)
    {
        return KernelTimerResult::CREATE_FAILED;
    }
    return armKernelTimer(nInfo, nSysTimerNumber, *npTimerId) == 0 ? KernelTimerResult::DONE
                                                                   : KernelTimerResult::SETTIME_FAILED;
}

KernelTimerResult deleteKernelTimer(TimerInfo& nInfo)
{
    int const lDeleted = gSystem.mTimerDelete(nInfo.mSysTimerId);
    int const lError = errno;
    nInfo.mpSignalValue->disarm();
    errno = lError;
    return lDeleted == 0 ? KernelTimerResult::DONE : KernelTimerResult::DELETE_FAILED;
}

} // namespace utl::internal
