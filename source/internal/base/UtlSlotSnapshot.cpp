// Consistent copies of a thread's slot and of its loop's counts.
#include "internal/base/UtlSlotSnapshot.h"

namespace utl::internal
{

namespace
{

bool isInUse(std::uint32_t nClaim)
{
    return (nClaim & 3U) == ThreadSlot::USE_THREAD;
}

BookCounts countsOf(LoopView const& nView)
{
    QueueCounts const& lQueue = *nView.mpQueue;
    LoopCounts const& lLoop = *nView.mpLoop;
    CallCounts const& lCalls = *nView.mpCalls;
    return {lQueue.mAccepted,      lQueue.mDelivered,   lQueue.mErased,     lQueue.mTakenBack,
            lQueue.mWaiting,       lQueue.mMostWaiting, lLoop.mRefusedFull, lLoop.mRefusedTooLarge,
            lLoop.mRefusedStopped, lLoop.mOrphaned,     lLoop.mInterrupts,  lLoop.mTimeouts,
            lLoop.mTimeoutsLost,   lCalls.mCalls,       lCalls.mLongest,    lCalls.mLongestId};
}

void readBooks(LoopView const& nView, LoopSnapshot* npLoop)
{
    npLoop->mCounts = countsOf(nView);
    for (int lTry = 0; lTry < MAX_TRIES && !npLoop->mIsWhole; ++lTry)
    {
        orderLoads();
        BookCounts const lCounts = countsOf(nView);
        npLoop->mIsWhole = lCounts == npLoop->mCounts;
        npLoop->mCounts = lCounts;
    }
    BookCounts& lBooks = npLoop->mCounts;
    lBooks[4] = lBooks[0] - lBooks[1] - lBooks[2] - lBooks[3]; // derived: the loop may not have counted it yet
}

} // namespace

bool readSlot(ThreadSlot& nSlot, SlotSnapshot* npSnapshot, bool* npIsWhole)
{
    *npIsWhole = false;
    npSnapshot->mWait = {};
    npSnapshot->mWaitsFor = 0;
    for (int lTry = 0; lTry < MAX_TRIES && !*npIsWhole; ++lTry)
    {
        SlotSnapshot& lSnapshot = *npSnapshot;
        lSnapshot.mClaim = nSlot.mClaim.load(std::memory_order_acquire);
        if (!isInUse(lSnapshot.mClaim))
        {
            return false;
        }
        lSnapshot.mStage = nSlot.mStage.load(std::memory_order_acquire) & 7U;
        *npIsWhole = nSlot.mIdentity.read(&lSnapshot.mIdentity) && nSlot.mReport.read(&lSnapshot.mReport) &&
                     nSlot.mWork.read(&lSnapshot.mWork) &&
                     readWait(nSlot, &lSnapshot.mWait, &lSnapshot.mWaitsFor, &lSnapshot.mWaitGeneration) &&
                     nSlot.mClaim.load(std::memory_order_acquire) == lSnapshot.mClaim;
    }
    if (npSnapshot->mWait[0] == ThreadSlot::WAIT_LOCK && npSnapshot->mWaitsFor == npSnapshot->id())
    {
        npSnapshot->mWait[0] = ThreadSlot::WAIT_NONE; // the thread has the lock by now
        npSnapshot->mWaitsFor = 0;
    }
    return true;
}

unsigned int findSlot(int nId, SlotSnapshot* npSnapshot)
{
    for (unsigned int lIndex = 0; lIndex < SLOT_COUNT; ++lIndex)
    {
        bool lIsWhole = false;
        if (readSlot(gThreadSlots[lIndex], npSnapshot, &lIsWhole) && lIsWhole && npSnapshot->id() == nId)
        {
            return lIndex;
        }
    }
    return SLOT_COUNT;
}

bool readLoop(ThreadSlot& nSlot, LoopSnapshot* npLoop)
{
    Looking const lLooking(nSlot.mReaders);
    LoopView const* const lpView = nSlot.mpLoop.load(std::memory_order_seq_cst);
    bool const lIsRead = lpView != nullptr && lpView->mTimers.read(&npLoop->mTimers);
    lIsRead ? readBooks(*lpView, npLoop) : void();
    return lIsRead;
}

bool readTimer(ThreadSlot& nSlot, unsigned int nRow, TimerRow::Words* npTimer)
{
    Looking const lLooking(nSlot.mReaders);
    LoopView const* const lpView = nSlot.mpLoop.load(std::memory_order_seq_cst);
    TimerRow const* const lpRows = lpView != nullptr ? lpView->mpTimerRows.load(std::memory_order_acquire) : nullptr;
    return lpRows != nullptr && lpRows[nRow].read(npTimer) && (*npTimer)[0] != 0;
}

int ownerOfQueue(ThreadSlot& nSlot)
{
    if (nSlot.mpLoop.load(std::memory_order_relaxed) == nullptr)
    {
        return 0;
    }
    Looking const lLooking(nSlot.mReaders);
    LoopView const* const lpView = nSlot.mpLoop.load(std::memory_order_seq_cst);
    return lpView != nullptr ? ownerOf(*lpView->mpMutex) : 0;
}

} // namespace utl::internal
