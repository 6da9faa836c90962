// Ends all message threads and shared timers of the process.
#include "UtlStopAll.h"

#include "UtlString.h"
#include "UtlThreadManager.h"
#include "UtlTimeCounter.h"
#include "internal/base/UtlThreadSlots.h"
#include "internal/message/UtlLoopList.h"

#include <algorithm>

namespace utl
{

namespace
{

using internal::LoopList;

/// The rest of a limit in milliseconds.
class TimeLeft
{
public:
    explicit TimeLeft(unsigned int nLimitMs)
        : mLimitMs(nLimitMs)
    {
    }

    bool isLimited() const { return mLimitMs != 0; }
    unsigned int get() const { return mLimitMs - std::min(mLimitMs, TimeCounter::getTickTime() - mBeginTick); }

private:
    unsigned int const mLimitMs;
    unsigned int const mBeginTick = TimeCounter::getTickTime();
};

/// Waits for the end of a thread. nMs: the limit, if there is one. Result: whether the thread still runs.
bool goesOn(int nThreadId, bool nIsLimited, unsigned int nMs)
{
    ThreadManager& lManager = *ThreadManager::get();
    if (nThreadId != ThreadManager::getCallerId() && (!nIsLimited || nMs != 0))
    {
        lManager.waitToStop(nThreadId, nIsLimited ? nMs : 0);
    }
    return lManager.isActive(nThreadId);
}

} // namespace

bool whoHolds(int nThreadId, StopHolder* npHolder)
{
    LoopList::View lView;
    if (npHolder == nullptr || !LoopList::look(nThreadId, &lView))
    {
        return false;
    }
    StopHolder lHolder;
    lHolder.mThreadId = nThreadId;
    copyStrBase<char>(lHolder.mName, sizeof(lHolder.mName), lView.mName, ~0U, 1);
    lHolder.mHolderId = internal::endOfWaits(nThreadId);
    if (lHolder.mHolderId == nThreadId || LoopList::look(lHolder.mHolderId, &lView))
    {
        copyStrBase<char>(lHolder.mHolderName, sizeof(lHolder.mHolderName), lView.mName, ~0U, 1);
        lHolder.mIsInCall = lView.mLedger.mIsInCall;
        lHolder.mMsgId = lView.mLedger.mCallId;
        lHolder.mCallMs = static_cast<unsigned int>(lView.mLedger.mCallNs / 1000000);
    }
    *npHolder = lHolder;
    return true;
}

unsigned int stopAll(unsigned int nLimitMs, StopHolder* npHolders, unsigned int nMaxHolders)
{
    TimeLeft const lLeft(nLimitMs);
    Array<int, int const&> lAsked(0);
    while (int const lThreadId = LoopList::askNext(lAsked))
    {
        lAsked.resizeMax(lAsked.size() + 1);
        (void)lAsked.insertAt(lAsked.size(), lThreadId);
        goesOn(lThreadId, lLeft.isLimited(), lLeft.get() / 2);
    }
    unsigned int lCount = 0;
    for (int const lThreadId : lAsked)
    {
        if (goesOn(lThreadId, lLeft.isLimited(), lLeft.get()))
        {
            StopHolder lHolder;
            lHolder.mThreadId = lHolder.mHolderId = lThreadId; // nothing else is known once its loop has ended
            whoHolds(lThreadId, &lHolder);
            lCount < nMaxHolders ? void(npHolders[lCount] = lHolder) : void();
            ++lCount;
        }
    }
    return lCount;
}

} // namespace utl
