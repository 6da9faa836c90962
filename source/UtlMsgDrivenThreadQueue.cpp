// MsgDrivenThread: sending messages, and finding and erasing them in the queues.
#include "UtlMsgDrivenThread.h"

#include "UtlApplog.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/message/UtlMsgDrivenThreadImpl.h"

#include <algorithm>

namespace utl
{

using internal::SlotWord;
using internal::ThreadSlot;
using internal::WaitShown;

// ---------------------------------------------------------------------------------------------- sending

bool MsgDrivenThread::postMsg(Msg const& nMsg)
{
    return isInService() ? sendMsgAsync(nMsg) : mpImpl->refuseStopped();
}

Post MsgDrivenThread::tryPost(Msg const& nMsg)
{
    if (!isInService())
    {
        mpImpl->refuseStopped();
        return hasDone(STAGE_STARTED) ? Post::STOPPED : Post::NOT_STARTED;
    }
    Impl& lImpl = *mpImpl;
    Impl::CtlRecord const lRecord{nMsg.mMsgId, -1};
    Impl::Wake lWake;
    unsigned int lSlot = 0;
    {
        SyncGuard lGuard(lImpl.mSyncObject);
        lSlot = lImpl.mQueues.slots().size();
        if (!lImpl.mQueues.flatten(nMsg))
        {
            ++lImpl.mCounts.mRefusedTooLarge;
            return Post::TOO_LARGE;
        }
        if (lImpl.mQueues.slots().isFull() || lImpl.mCtlQueue.size() == lImpl.mCtlQueue.maxSize())
        {
            ++lImpl.mCounts.mRefusedFull;
            return Post::FULL;
        }
        lImpl.mQueues.keepFlattened();
        lImpl.appendLocked(lRecord, &lWake);
    }
    bool const lIsPosted =
        lImpl.wake(lRecord, lWake, [&]() UTL_NO_THREAD_SAFETY_ANALYSIS { lImpl.mQueues.takeBack(lSlot); });
    return lIsPosted ? Post::DONE : Post::UNREACHABLE;
}

bool MsgDrivenThread::sendMsgAsync(Msg const& nMsg)
{
    Impl& lImpl = *mpImpl;
    Impl::CtlRecord const lRecord{nMsg.mMsgId, -1};
    Impl::Wake lWake;
    unsigned int lSlot = 0;
    {
        SyncGuard lGuard(lImpl.mSyncObject);
        lSlot = lImpl.mQueues.slots().size();
        if (!lImpl.storeLocked(nMsg))
        {
            return false;
        }
        if (!lImpl.appendLocked(lRecord, &lWake))
        {
            lImpl.mQueues.takeBack(lSlot);
            return false;
        }
    }
    // Without the lock: this wakes the message thread, which needs the lock at once. The slot to take back may not be
    // the newest: a synchronous message whose record found no room has left one behind it.
    return lImpl.wake(lRecord, lWake, [&]() UTL_NO_THREAD_SAFETY_ANALYSIS { lImpl.mQueues.takeBack(lSlot); });
}

/// If the write fails, or the control queue is full, the slot stays.
bool MsgDrivenThread::sendMsgSync(Msg const& nMsg)
{
    if (isOwnThread())
    {
        return false;
    }
    if (!isInService())
    {
        return mpImpl->refuseStopped();
    }
    Impl& lImpl = *mpImpl;
    Impl::CtlRecord const lRecord{MSG_ID_SYNC, -1};
    Impl::Wake lWake;
    SyncGuard lOneGuard(lImpl.mSync.mSyncObject);
    lImpl.mSync.mResult = false;
    {
        SyncGuard lGuard(lImpl.mSyncObject);
        if (!lImpl.queueSyncLocked(nMsg, lRecord, &lWake))
        {
            return false;
        }
    }
    if (!lImpl.wake(lRecord, lWake, [&]() UTL_NO_THREAD_SAFETY_ANALYSIS { ++lImpl.mCounts.mOrphaned; }))
    {
        lImpl.mSync.mCompletion.withdraw();
        return false;
    }
    WaitShown const lShown(ThreadSlot::WAIT_SYNC_MSG, static_cast<SlotWord>(getId()), nMsg.mMsgId);
    lImpl.mSync.mCompletion.wait();
    return lImpl.mSync.mResult;
}

Send MsgDrivenThread::trySend(Msg const& nMsg,
                              unsigned int nLimitMs) UTL_NO_THREAD_SAFETY_ANALYSIS // the lock is taken in two ways
{
    if (isOwnThread())
    {
        return Send::OWN_THREAD;
    }
    if (!isInService())
    {
        mpImpl->refuseStopped();
        return hasDone(STAGE_STARTED) ? Send::STOPPED : Send::NOT_STARTED;
    }
    // As lock(), but with a limit, because the other sender may be waiting for a listener.
    WaitShown const lShown(internal::waitWithin(ThreadSlot::WAIT_SYNC_MSG, nLimitMs), static_cast<SlotWord>(getId()),
                           nMsg.mMsgId);
    long long const lFromNs = internal::monotonicNs();
    unsigned int lLeftMs = nLimitMs;
    while (!mpImpl->mSync.mSyncObject.tryLock())
    {
        internal::pauseBriefly();
        long long const lPassedMs = (internal::monotonicNs() - lFromNs) / 1000000;
        if (nLimitMs != 0 && lPassedMs >= nLimitMs)
        {
            return Send::TIMED_OUT;
        }
        lLeftMs = nLimitMs != 0 ? nLimitMs - static_cast<unsigned int>(lPassedMs) : 0;
    }
    SyncGuard lOneGuard(mpImpl->mSync.mSyncObject);
    mpImpl->mSync.mSyncObject.unlock();
    return mpImpl->sendSync(nMsg, lLeftMs);
}

bool MsgDrivenThread::sendMsgInterrupt(Msg const& nMsg)
{
    if (isOwnThread())
    {
        return false;
    }
    if (!isInService())
    {
        return mpImpl->refuseStopped();
    }
    SyncGuard lOneGuard(mpImpl->mInterrupt.mSyncObject);
    mpImpl->mInterrupt.mResult = false;
    return mpImpl->ask(Impl::REQUEST_INTERRUPT, mpImpl->mInterrupt, &nMsg) && mpImpl->mInterrupt.mResult;
}

bool MsgDrivenThread::postThreadCtlMsg(int nMsgId, int nParam)
{
    return mpImpl->post({nMsgId, nParam});
}

bool MsgDrivenThread::eraseMsgFromCtlQueue(int nMsgId)
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    return mpImpl->mCtlQueue.eraseFirst(nMsgId);
}

bool MsgDrivenThread::eraseMsgFromInterruptQueue(MsgJudgementInterface* npJudgement)
{
    SyncGuard lGuard(mpImpl->mSyncObject);
    return npJudgement != nullptr && mpImpl->mQueues.eraseInterrupt(*npJudgement);
}

/// If the control queue is full, the slot stays; the dispatch drops it when it comes to it.
bool MsgDrivenThread::Impl::queueSyncLocked(Msg const& nMsg, CtlRecord const& nRecord, Wake* npWake)
{
    if (hasEndedLocked())
    {
        return refuseStopped();
    }
    if (!storeLocked(nMsg))
    {
        return false;
    }
    if (!appendLocked(nRecord, npWake))
    {
        ++mCounts.mOrphaned;
        return false;
    }
    mSync.mCompletion.expect();
    return true;
}

/// For one synchronous sender at a time, which holds the lock of mSync.
Send MsgDrivenThread::Impl::sendSync(Msg const& nMsg, unsigned int nLimitMs)
{
    Event lOver(0, 0);
    CtlRecord const lRecord{MSG_ID_SYNC, -1};
    Wake lWake;
    unsigned int lSlot = 0;
    mSync.mResult = false;
    {
        SyncGuard lGuard(mSyncObject);
        lSlot = mQueues.slots().size();
        Send const lSend = storeSyncLocked(nMsg, &lOver, &lWake);
        if (lSend != Send::DONE)
        {
            return lSend;
        }
    }
    if (!wake(lRecord, lWake,
              [&]() UTL_NO_THREAD_SAFETY_ANALYSIS { mQueues.takeBack(lSlot), mSync.mCompletion.forget(); }))
    {
        return Send::UNREACHABLE;
    }
    if (lOver.waitUntilOn(std::min(nLimitMs, 0x7FFFFFFFU)) != 0)
    {
        SyncGuard lGuard(mSyncObject);
        if (mQueues.giveUpSync())
        {
            mSync.mCompletion.forget();
            return Send::TIMED_OUT;
        }
    }
    lOver.waitUntilOn(0); // the listener's call has begun
    SyncGuard lGuard(mSyncObject);
    return mSync.mResult ? Send::DONE : hasEndedLocked() ? Send::STOPPED : Send::ERASED;
}

Send MsgDrivenThread::Impl::storeSyncLocked(Msg const& nMsg, Event* npOver, Wake* npWake)
{
    if (hasEndedLocked())
    {
        refuseStopped();
        return Send::STOPPED;
    }
    if (!mQueues.flatten(nMsg))
    {
        ++mCounts.mRefusedTooLarge;
        return Send::TOO_LARGE;
    }
    if (mQueues.slots().isFull() || mCtlQueue.size() == mCtlQueue.maxSize())
    {
        ++mCounts.mRefusedFull;
        return Send::FULL;
    }
    mQueues.keepFlattened();
    mSync.mCompletion.expect(npOver);
    appendLocked({MSG_ID_SYNC, -1}, npWake);
    return Send::DONE;
}

/// Writes a message to the next slot. Of a burst of overflows the first is an error, the others are details.
bool MsgDrivenThread::Impl::storeLocked(Msg const& nMsg)
{
    if (!writeLocked(nMsg))
    {
        return false;
    }
    bool const lIsStored = mQueues.keep(nMsg.mMsgId, mIsDataQueueOverflowed ? LOG_LEVEL_DETAIL : LOG_LEVEL_ERROR);
    if (!lIsStored)
    {
        mIsDataQueueOverflowed = true;
        ++mCounts.mRefusedFull;
    }
    return lIsStored;
}

bool MsgDrivenThread::Impl::writeLocked(Msg const& nMsg)
{
    bool const lFits = mQueues.write(nMsg);
    mCounts.mRefusedTooLarge += lFits ? 0 : 1;
    return lFits;
}

/// Counts a message that came before the start, or after the request to stop. Result: false.
bool MsgDrivenThread::Impl::refuseStopped()
{
    mCounts.mRefusedStopped.addFromAnywhere();
    return false;
}

/// Announces a request to the loop and waits for the answer; npInterrupt is the message of an interrupt, otherwise
/// null.
/// Result: false, with nothing pending, if the loop has ended, the message does not fit, or the loop cannot be woken.
bool MsgDrivenThread::Impl::ask(Request nRequest, OneRequest& nOne, Msg const* npInterrupt)
{
    CtlRecord const lRecord{MSG_ID_OUT_OF_BAND, -1};
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        // Request and record appear at once: the loop never sees one without the other.
        bool const lIsInterrupt = npInterrupt != nullptr;
        if (hasEndedLocked())
        {
            return lIsInterrupt && refuseStopped();
        }
        if (lIsInterrupt && !writeLocked(*npInterrupt))
        {
            return false;
        }
        if (!appendLocked(lRecord, &lWake))
        {
            mCounts.mRefusedFull += lIsInterrupt ? 1 : 0;
            return false;
        }
        if (lIsInterrupt)
        {
            mQueues.keepAsInterrupt();
        }
        nOne.mCompletion.expect();
        mPendingRequests |= nRequest;
    }
    if (!wake(lRecord, lWake, [&] { takeRequest(nRequest); }))
    {
        nOne.mCompletion.withdraw();
        return false;
    }
    WaitShown const lShown(npInterrupt != nullptr ? ThreadSlot::WAIT_INTERRUPT : ThreadSlot::WAIT_REQUEST,
                           static_cast<SlotWord>(mThread.getId()), npInterrupt != nullptr ? npInterrupt->mMsgId : 0);
    nOne.mCompletion.wait();
    return true;
}

// ---------------------------------------------------------------------------------------------- finding and erasing

bool MsgDrivenThread::JudgeMsgSpecifiedMsgId::operator()(ThreadRawMsg& nRawMsg) const
{
    int lMsgId = MSG_ID_NONE;
    return mMsgId == MSG_ID_ANY || (nRawMsg.getMsgId(&lMsgId) && lMsgId == mMsgId);
}

bool MsgDrivenThread::hasMsg(int nMsgId)
{
    JudgeMsgSpecifiedMsgId lJudge(nMsgId);
    MsgJudgement<JudgeMsgSpecifiedMsgId> lJudgement(&lJudge);
    return hasMsgInternal(&lJudgement);
}

bool MsgDrivenThread::peekMsg(int nMsgId, ThreadRawMsg* npRawMsg)
{
    JudgeMsgSpecifiedMsgId lJudge(nMsgId);
    MsgJudgement<JudgeMsgSpecifiedMsgId> lJudgement(&lJudge);
    return peekMsgInternal(&lJudgement, npRawMsg);
}

bool MsgDrivenThread::eraseMsg(int nMsgId)
{
    JudgeMsgSpecifiedMsgId lJudge(nMsgId);
    MsgJudgement<JudgeMsgSpecifiedMsgId> lJudgement(&lJudge);
    return eraseMsgInternal(&lJudgement);
}

int MsgDrivenThread::getFirstMsgId()
{
    ThreadRawMsg lRawMsg(sizeof(int));
    int lMsgId = MSG_ID_NONE;
    if (peekMsg(MSG_ID_ANY, &lRawMsg))
    {
        lRawMsg.getMsgId(&lMsgId);
    }
    return lMsgId;
}

bool MsgDrivenThread::hasMsgInternal(MsgJudgementInterface* npJudgement)
{
    return findInternal(npJudgement, nullptr);
}

bool MsgDrivenThread::peekMsgInternal(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg)
{
    return npRawMsg != nullptr && findInternal(npJudgement, npRawMsg);
}

bool MsgDrivenThread::findInternal(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg)
{
    if (!isRunning() || npJudgement == nullptr)
    {
        return false;
    }
    if (isOwnThread())
    {
        return mpImpl->executeFindMsg(*npJudgement, npRawMsg);
    }
    // The copy allocates here, not on the message thread with the queues locked.
    ThreadRawMsg lFound(npRawMsg != nullptr ? mpImpl->msgSize() : 0);
    SyncGuard lOneGuard(mpImpl->mFind.mSyncObject);
    mpImpl->mpFindJudgement = npJudgement;
    mpImpl->mpPeekRawMsg = npRawMsg != nullptr ? &lFound : nullptr;
    mpImpl->mFind.mResult = false;
    bool const lIsFound = mpImpl->ask(Impl::REQUEST_FIND, mpImpl->mFind, nullptr) && mpImpl->mFind.mResult;
    if (lIsFound && npRawMsg != nullptr)
    {
        *npRawMsg = lFound;
    }
    return lIsFound;
}

bool MsgDrivenThread::eraseMsgInternal(MsgJudgementInterface* npJudgement)
{
    if (!isRunning() || npJudgement == nullptr)
    {
        return false;
    }
    if (isOwnThread())
    {
        return mpImpl->executeEraseMsg(*npJudgement);
    }
    SyncGuard lOneGuard(mpImpl->mErase.mSyncObject);
    mpImpl->mpEraseJudgement = npJudgement;
    // If the thread ends first, no message will be dispatched any more, so they count as erased.
    mpImpl->mErase.mResult = true;
    if (mpImpl->ask(Impl::REQUEST_ERASE, mpImpl->mErase, nullptr))
    {
        return mpImpl->mErase.mResult;
    }
    SyncGuard lGuard(mpImpl->mSyncObject);
    return mpImpl->hasEndedLocked();
}

bool MsgDrivenThread::Impl::executeFindMsg(MsgJudgementInterface& nJudgement, ThreadRawMsg* npRawMsg)
{
    SyncGuard lGuard(mSyncObject);
    return mQueues.find(nJudgement, npRawMsg);
}

/// If a timer ends with its erased time-out, onEraseTimer is called without the lock; then the walk begins anew.
bool MsgDrivenThread::Impl::executeEraseMsg(MsgJudgementInterface& nJudgement)
{
    using Erased = internal::MsgQueues::Erased;
    for (;;)
    {
        int lEndedTimerId = -1;
        Erased lErased = Erased::ALL;
        {
            SyncGuard lGuard(mSyncObject);
            lErased = mQueues.erase(nJudgement, *this, &lEndedTimerId);
        }
        if (lErased != Erased::TIMER_ENDED)
        {
            return lErased == Erased::ALL;
        }
        mThread.onEraseTimer(lEndedTimerId);
    }
}

} // namespace utl
