// What a slot, and the loop behind it, said at one moment.
#include "internal/base/UtlSlotImage.h"

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

void readBooks(LoopView const& nView, LoopImage* npLoop)
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
    lBooks[4] = lBooks[0] - lBooks[1] - lBooks[2] - lBooks[3]; // what waits may be about to be counted
}

} // namespace

bool readSlot(ThreadSlot& nSlot, SlotImage* npImage, bool* npIsWhole)
{
    *npIsWhole = false;
    npImage->mWait = {};
    npImage->mWaitsFor = 0;
    for (int lTry = 0; lTry < MAX_TRIES && !*npIsWhole; ++lTry)
    {
        SlotImage& lImage = *npImage;
        lImage.mClaim = nSlot.mClaim.load(std::memory_order_acquire);
        if (!isInUse(lImage.mClaim))
        {
            return false;
        }
        lImage.mStage = nSlot.mStage.load(std::memory_order_acquire) & 7U;
        *npIsWhole = nSlot.mIdentity.read(&lImage.mIdentity) && nSlot.mReport.read(&lImage.mReport) &&
                     nSlot.mWork.read(&lImage.mWork) &&
                     readWait(nSlot, &lImage.mWait, &lImage.mWaitsFor, &lImage.mWaitGeneration) &&
                     nSlot.mClaim.load(std::memory_order_acquire) == lImage.mClaim;
    }
    if (npImage->mWait[0] == ThreadSlot::WAIT_LOCK && npImage->mWaitsFor == npImage->id())
    {
        npImage->mWait[0] = ThreadSlot::WAIT_NONE; // it has the lock by now
        npImage->mWaitsFor = 0;
    }
    return true;
}

unsigned int findSlot(int nId, SlotImage* npImage)
{
    for (unsigned int lIndex = 0; lIndex < SLOT_COUNT; ++lIndex)
    {
        bool lIsWhole = false;
        if (readSlot(gThreadSlots[lIndex], npImage, &lIsWhole) && lIsWhole && npImage->id() == nId)
        {
            return lIndex;
        }
    }
    return SLOT_COUNT;
}

bool readLoop(ThreadSlot& nSlot, LoopImage* npLoop)
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
