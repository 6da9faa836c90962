// Sending to a message thread, and looking into its queues.
#include "UtlMsgDrivenThread.h"

#include "internal/UtlMsgDrivenThreadImpl.h"

namespace utl
{

// ---------------------------------------------------------------------------------------------- sending

bool MsgDrivenThread::postMsg(Msg const& nMsg)
{
    return isInService() && sendMsgAsync(nMsg);
}

bool MsgDrivenThread::postMsg(int nMsgId)
{
    return postMsg(SimpleMsg(nMsgId));
}

bool MsgDrivenThread::sendMsgAsync(Msg const& nMsg)
{
    return mpImpl->sendAsync(nMsg);
}

bool MsgDrivenThread::sendMsgSync(Msg const& nMsg)
{
    return isInService() && !isOwnThread() && mpImpl->sendSync(nMsg);
}

bool MsgDrivenThread::sendMsgSync(int nMsgId)
{
    return sendMsgSync(SimpleMsg(nMsgId));
}

bool MsgDrivenThread::sendMsgInterrupt(Msg const& nMsg)
{
    return isInService() && !isOwnThread() && mpImpl->sendInterrupt(nMsg);
}

bool MsgDrivenThread::sendMsgInterrupt(int nMsgId)
{
    return sendMsgInterrupt(SimpleMsg(nMsgId));
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

bool MsgDrivenThread::Impl::sendAsync(Msg const& nMsg)
{
    CtlRecord const lRecord{nMsg.mMsgId, -1};
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        if (!mQueues.write(nMsg) || !mQueues.keep(nMsg.mMsgId))
        {
            return false;
        }
        if (!appendLocked(lRecord, &lWake))
        {
            mQueues.takeBack();
            return false;
        }
    }
    // Without the lock: the message thread is woken by this and needs it at once.
    return wake(lRecord, lWake, [this]() UTL_NO_THREAD_SAFETY_ANALYSIS { mQueues.takeBack(); }); // under the lock
}

/// If the control queue is full or the write fails, the slot stays; the dispatch throws it away when it meets it.
bool MsgDrivenThread::Impl::sendSync(Msg const& nMsg)
{
    SyncGuard lOneGuard(mSync.mSyncObject);
    mSync.mResult = false;
    CtlRecord const lRecord{MSG_ID_SYNC, -1};
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        if (hasEndedLocked() || !mQueues.write(nMsg) || !mQueues.keep(nMsg.mMsgId) || !appendLocked(lRecord, &lWake))
        {
            return false;
        }
        mSync.mAnswer.expect();
    }
    if (!wake(lRecord, lWake, [] {}))
    {
        mSync.mAnswer.withdraw();
        return false;
    }
    mSync.mAnswer.wait();
    return mSync.mResult;
}

bool MsgDrivenThread::Impl::sendInterrupt(Msg const& nMsg)
{
    SyncGuard lOneGuard(mInterrupt.mSyncObject);
    mInterrupt.mResult = false;
    if (!postRequest(REQUEST_INTERRUPT, mInterrupt, &nMsg))
    {
        return false;
    }
    mInterrupt.mAnswer.wait();
    return mInterrupt.mResult;
}

/// Announces a request to the loop; npInterrupt is the message of an interrupt, otherwise null.
/// Result: false, with nothing pending, if the loop has ended, the message does not fit, or the loop cannot be woken.
bool MsgDrivenThread::Impl::postRequest(Request nRequest, OneRequest& nOne, Msg const* npInterrupt)
{
    CtlRecord const lRecord{MSG_ID_OUT_OF_BAND, -1};
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        // Request and record appear at once: the loop never sees one without the other.
        if (hasEndedLocked() || (npInterrupt != nullptr && !mQueues.write(*npInterrupt)) ||
            !appendLocked(lRecord, &lWake))
        {
            return false;
        }
        if (npInterrupt != nullptr)
        {
            mQueues.keepAsInterrupt();
        }
        nOne.mAnswer.expect();
        mPendingRequests |= nRequest;
    }
    if (wake(lRecord, lWake, [&] { takeRequest(nRequest); }))
    {
        return true;
    }
    nOne.mAnswer.withdraw();
    return false;
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
    return isRunning() && npJudgement != nullptr && mpImpl->find(*npJudgement, nullptr);
}

bool MsgDrivenThread::peekMsgInternal(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg)
{
    return npRawMsg != nullptr && isRunning() && npJudgement != nullptr && mpImpl->find(*npJudgement, npRawMsg);
}

bool MsgDrivenThread::eraseMsgInternal(MsgJudgementInterface* npJudgement)
{
    return isRunning() && npJudgement != nullptr && mpImpl->erase(*npJudgement);
}

bool MsgDrivenThread::Impl::find(MsgJudgementInterface& nJudgement, ThreadRawMsg* npRawMsg)
{
    if (mThread.isOwnThread())
    {
        return executeFindMsg(nJudgement, npRawMsg);
    }
    // The copy gets its memory here, and not on the message thread with the queues locked.
    ThreadRawMsg lFound(npRawMsg != nullptr ? mOutputRawMsg.maxSize() : 0);
    SyncGuard lOneGuard(mFind.mSyncObject);
    mpFindJudgement = &nJudgement;
    mpPeekRawMsg = npRawMsg != nullptr ? &lFound : nullptr;
    mFind.mResult = false;
    if (!postRequest(REQUEST_FIND, mFind, nullptr))
    {
        return false;
    }
    mFind.mAnswer.wait();
    if (mFind.mResult && npRawMsg != nullptr)
    {
        *npRawMsg = lFound;
    }
    return mFind.mResult;
}

bool MsgDrivenThread::Impl::erase(MsgJudgementInterface& nJudgement)
{
    if (mThread.isOwnThread())
    {
        return executeEraseMsg(nJudgement);
    }
    SyncGuard lOneGuard(mErase.mSyncObject);
    mpEraseJudgement = &nJudgement;
    // If the thread ends first, no queue will run the message any more: erased.
    mErase.mResult = true;
    if (postRequest(REQUEST_ERASE, mErase, nullptr))
    {
        mErase.mAnswer.wait();
        return mErase.mResult;
    }
    SyncGuard lGuard(mSyncObject);
    return hasEndedLocked();
}

bool MsgDrivenThread::Impl::executeFindMsg(MsgJudgementInterface& nJudgement, ThreadRawMsg* npRawMsg)
{
    SyncGuard lGuard(mSyncObject);
    return mQueues.find(nJudgement, npRawMsg);
}

/// A timer that ends with its erased time-out is told without the lock; then we look from the start.
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

/// The erased message's sender is released; his result stays false.
void MsgDrivenThread::Impl::onSyncErased()
{
    mSync.mAnswer.give();
}

/// An erased time-out still counts as one that fired.
bool MsgDrivenThread::Impl::onTimeoutErased(int nTimerId)
{
    return timeoutPostHandling(nTimerId) == TIMEOUT_ENDED;
}

} // namespace utl
