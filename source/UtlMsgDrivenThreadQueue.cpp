// The queues of a message thread: sending, receiving, finding and erasing.
#include "UtlMsgDrivenThread.h"

#include "UtlApplog.h"
#include "internal/UtlMsgThreadAnswers.h"
#include "internal/UtlRecordPipe.h"

#include <cerrno>

namespace utl
{

namespace
{

/// A control record that owns a slot of the data queue, MSG_ID_SYNC aside.
bool hasMsgData(int nMsgId)
{
    unsigned int const lMsgId = static_cast<unsigned int>(nMsgId);
    bool const lIsControl = lMsgId >= static_cast<unsigned int>(MSG_ID_OUT_OF_BAND) &&
                            lMsgId <= static_cast<unsigned int>(MSG_ID_STOP_THREAD);
    return nMsgId != MSG_ID_NONE && nMsgId != MSG_ID_ANY && nMsgId != MSG_ID_TIMEOUT_SIGNAL && !lIsControl;
}

} // namespace

// ---------------------------------------------------------------------------------------------- sending

bool MsgDrivenThread::postMsg(Msg const& nMsg)
{
    return isInService() && sendMsgAsync(nMsg);
}

bool MsgDrivenThread::postMsg(int nMsgId)
{
    return postMsg(SimpleMsg(nMsgId));
}

bool MsgDrivenThread::sendMsgSync(int nMsgId)
{
    return sendMsgSync(SimpleMsg(nMsgId));
}

bool MsgDrivenThread::sendMsgInterrupt(int nMsgId)
{
    return sendMsgInterrupt(SimpleMsg(nMsgId));
}

bool MsgDrivenThread::sendMsgAsync(Msg const& nMsg)
{
    bool lIsWriter = false;
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (!storeLocked(nMsg) || !appendDataLocked())
        {
            return false;
        }
        if (!appendCtlLocked(nMsg.mMsgId, -1, &lIsWriter))
        {
            mDataQueue.popBack(slotSize());
            return false;
        }
    }
    // Without the lock: the message thread is woken by this and needs it at once.
    return !lIsWriter || wakeOrEnd(nMsg.mMsgId, -1, slotSize());
}

bool MsgDrivenThread::sendMsgSync(Msg const& nMsg)
{
    if (!isInService() || isOwnThread())
    {
        return false;
    }
    SyncGuard lOneGuard(mSyncSendSyncObject);
    mSyncResult = false;
    if (!postSync(nMsg))
    {
        return false;
    }
    mpAnswers->mSync.wait();
    return mSyncResult;
}

/// Where the control queue is full or the write fails, the slot stays; the dispatch throws it away when it meets it.
bool MsgDrivenThread::postSync(Msg const& nMsg)
{
    bool lIsWriter = false;
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (mHasLoopEnded || !storeLocked(nMsg) || !appendDataLocked() || !appendCtlLocked(MSG_ID_SYNC, -1, &lIsWriter))
        {
            return false;
        }
        mpAnswers->mSync.expect();
    }
    if (!lIsWriter || wakeOrEnd(MSG_ID_SYNC, -1, 0))
    {
        return true;
    }
    mpAnswers->mSync.withdraw();
    return false;
}

bool MsgDrivenThread::sendMsgInterrupt(Msg const& nMsg)
{
    if (!isInService() || isOwnThread())
    {
        return false;
    }
    SyncGuard lOneGuard(mInterruptSendSyncObject);
    mInterruptResult = false;
    if (!postRequest(REQUEST_INTERRUPT, mpAnswers->mInterrupt, &nMsg))
    {
        return false;
    }
    mpAnswers->mInterrupt.wait();
    return mInterruptResult;
}

/// Announces a request to the loop; npInterrupt is the message of an interrupt, otherwise null.
/// Result: false, with nothing pending, where the loop has ended, the message does not fit, or the loop cannot be
/// woken.
bool MsgDrivenThread::postRequest(Request nRequest, internal::Answer& nAnswer, Msg const* npInterrupt)
{
    bool lIsWriter = false;
    {
        SyncGuard lGuard(mQueueSyncObject);
        // Request and record appear at once: the loop never sees one without the other.
        if (mHasLoopEnded || (npInterrupt != nullptr && !storeLocked(*npInterrupt)) ||
            !appendCtlLocked(MSG_ID_OUT_OF_BAND, -1, &lIsWriter))
        {
            return false;
        }
        if (npInterrupt != nullptr)
        {
            mInterruptQueue.clear(); // so its one slot is always free
            mInterruptQueue.pushAll(mInputRawMsg.buffer(), slotSize());
        }
        nAnswer.expect();
        mPendingRequests |= nRequest;
    }
    // Where the loop has taken the request meanwhile, woken by something else, it is posted after all.
    if (!lIsWriter || wakeOrEnd(MSG_ID_OUT_OF_BAND, -1, 0) || !takeRequest(nRequest))
    {
        return true;
    }
    nAnswer.withdraw();
    return false;
}

/// Marshals a message into mInputRawMsg. Result: false where it does not fit (logged).
bool MsgDrivenThread::storeLocked(Msg const& nMsg)
{
    if (nMsg.storeTo(&mInputRawMsg))
    {
        return true;
    }
    applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) Overflow MsgSize  MaxSize(include MsgId):%d MsgId:0x%08x",
           getName().c_str(), static_cast<int>(mInputRawMsg.maxSize()), static_cast<unsigned int>(nMsg.mMsgId));
    return false;
}

/// Appends mInputRawMsg, whole. Result: false for a full queue; of a burst the first is logged as an error.
bool MsgDrivenThread::appendDataLocked()
{
    if (mDataQueue.pushAll(mInputRawMsg.buffer(), slotSize()))
    {
        return true;
    }
    int lMsgId = MSG_ID_NONE;
    mInputRawMsg.getMsgId(&lMsgId);
    applog(UTL_LOG_TYPE, mIsDataQueueOverflowed ? 4 : 1,
           "MsgDrivenThread(%s) Overflow MsgDataQueue  MaxCount:%d MsgId:0x%08x", getName().c_str(),
           static_cast<int>(mMaxMsgCount), static_cast<unsigned int>(lMsgId));
    mIsDataQueueOverflowed = true;
    return false;
}

/// *npIsWriter: the caller is to call wake() once it has let go of the lock.
bool MsgDrivenThread::appendCtlLocked(int nMsgId, int nParam, bool* npIsWriter)
{
    ThreadCtlMsg lRecord;
    lRecord.mMsgId = nMsgId;
    lRecord.mParam = nParam;
    if (mCtlQueue.push(lRecord))
    {
        *npIsWriter = mpPipe->announce();
        return true;
    }
    applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) Overflow ThreadCtlMsgQueue  MaxCount:%d MsgId:0x%08x",
           getName().c_str(), static_cast<int>(mCtlQueue.maxSize()), static_cast<unsigned int>(nMsgId));
    return false;
}

/// Writes the pipe record of the control record appended last, which owns nSlotSize bytes of the data queue. Where that
/// fails both are taken back: without its pipe record it would come to the head and stay there.
/// Result: false where they were taken back; true where the record is on its way, or gone.
bool MsgDrivenThread::wake(int nMsgId, int nParam, unsigned int nSlotSize)
{
    auto const lCopyOwed = [this](auto... nArguments) { return copyOwed(nArguments...); };
    unsigned int lWritten = 0;
    if (mpPipe->write(internal::PipeRecord{nMsgId, nParam}, lCopyOwed, &lWritten))
    {
        return true;
    }
    applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s)::postThreadCtlMsg() Error. write Ret:%u errno:%d", getName().c_str(),
           lWritten, errno);
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (mpPipe->giveUp())
        {
            return !takeBackLocked(nMsgId, nParam, nSlotSize);
        }
    }
    mpPipe->settle(lCopyOwed); // others have come behind it: it is tried again with theirs
    return true;
}

/// wake() where mQueueSyncObject is not held, so that a stop may have come meanwhile: where it is among the records that
/// could not be written, nothing else would tell the loop.
bool MsgDrivenThread::wakeOrEnd(int nMsgId, int nParam, unsigned int nSlotSize)
{
    bool const lResult = wake(nMsgId, nParam, nSlotSize);
    if (mpPipe->hasLost() && hasRequestedStop())
    {
        hangUp();
    }
    return lResult;
}

/// Result: false where the record is gone already.
bool MsgDrivenThread::takeBackLocked(int nMsgId, int nParam, unsigned int nSlotSize)
{
    ThreadCtlMsg const* const lpLast = mCtlQueue.at(mCtlQueue.size() - 1);
    if (lpLast == nullptr || lpLast->mMsgId != nMsgId || lpLast->mParam != nParam)
    {
        return false;
    }
    mCtlQueue.popBack(1);
    mDataQueue.popBack(nSlotSize);
    return true;
}

bool MsgDrivenThread::postThreadCtlMsg(int nMsgId, int nParam)
{
    bool lIsWriter = false;
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (!appendCtlLocked(nMsgId, nParam, &lIsWriter))
        {
            return false;
        }
    }
    return !lIsWriter || wake(nMsgId, nParam, 0);
}

bool MsgDrivenThread::eraseMsgFromCtlQueue(int nMsgId)
{
    SyncGuard lGuard(mQueueSyncObject);
    for (unsigned int lIndex = 0; lIndex < mCtlQueue.size(); ++lIndex)
    {
        if (mCtlQueue.at(lIndex)->mMsgId == nMsgId)
        {
            mCtlQueue.erase(lIndex, 1);
            return true;
        }
    }
    return false;
}

bool MsgDrivenThread::eraseMsgFromInterruptQueue(MsgJudgementInterface* npJudgement)
{
    SyncGuard lGuard(mQueueSyncObject);
    if (npJudgement == nullptr || mInterruptQueue.size() == 0)
    {
        return false;
    }
    mInterruptQueue.copyOut(0, mFindRawMsg.buffer(), slotSize());
    if (!npJudgement->judge(mFindRawMsg))
    {
        return false;
    }
    mInterruptQueue.clear(); // the loop finds its request without a message, and releases the sender
    return true;
}

// ---------------------------------------------------------------------------------------------- receiving

void MsgDrivenThread::callListener(ThreadRawMsg& nRawMsg)
{
    if (mpMsgListener != nullptr) // Thread::start() gives none
    {
        mpMsgListener->receiveMsg(getId(), nRawMsg);
    }
}

/// Moves one slot, or what is left, to mOutputRawMsg.
void MsgDrivenThread::moveSlotLocked(ByteQueue& nDataQueue)
{
    nDataQueue.pop(nDataQueue.copyOut(0, mOutputRawMsg.buffer(), slotSize()));
}

/// Moves the message of a posted record to mOutputRawMsg and removes the record. A slot of another id is an orphan and
/// is thrown away. Result: false, the record staying, where no slot fits.
bool MsgDrivenThread::takeMsgLocked(int nMsgId)
{
    while (mDataQueue.size() != 0)
    {
        moveSlotLocked(mDataQueue);
        int lMsgId = MSG_ID_NONE;
        mOutputRawMsg.getMsgId(&lMsgId);
        if (lMsgId == nMsgId)
        {
            mCtlQueue.pop();
            return true;
        }
        applog(
            UTL_LOG_TYPE, 1,
            "!!!!!!!! MsgDrivenThread(%s) MismatchedMsg... DataQueueMsgId:0x%08x CtlMsgId:0x%08x Erased Data !!!!!!!!",
            getName().c_str(), static_cast<unsigned int>(lMsgId), static_cast<unsigned int>(nMsgId));
    }
    return false;
}

/// The message at the head was sent synchronously; its slot is the first one, whatever id it has.
/// Result: 0; -1 where a queue is empty.
int MsgDrivenThread::executeReceiveSync()
{
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (mCtlQueue.size() == 0 || mDataQueue.size() == 0)
        {
            return -1;
        }
        moveSlotLocked(mDataQueue);
        mCtlQueue.pop();
    }
    callListener(mOutputRawMsg);
    return 0;
}

/// Result: 0; -1 where no interrupt is there.
int MsgDrivenThread::executeReceiveInterrupt()
{
    {
        SyncGuard lGuard(mQueueSyncObject);
        if (mInterruptQueue.size() == 0)
        {
            return -1;
        }
        moveSlotLocked(mInterruptQueue);
    }
    callListener(mOutputRawMsg);
    return 0;
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
        return executeFindMsg(npJudgement, npRawMsg);
    }
    // The copy gets its memory here, and not on the message thread with the queues locked.
    ThreadRawMsg lFound(npRawMsg != nullptr ? slotSize() : 0);
    SyncGuard lOneGuard(mFindSyncObject);
    mpFindJudgement = npJudgement;
    mpPeekRawMsg = npRawMsg != nullptr ? &lFound : nullptr;
    mFindResult = false;
    if (!postRequest(REQUEST_FIND, mpAnswers->mFind, nullptr))
    {
        return false;
    }
    mpAnswers->mFind.wait();
    if (mFindResult && npRawMsg != nullptr)
    {
        *npRawMsg = lFound;
    }
    return mFindResult;
}

bool MsgDrivenThread::eraseMsgInternal(MsgJudgementInterface* npJudgement)
{
    if (!isRunning() || npJudgement == nullptr)
    {
        return false;
    }
    if (isOwnThread())
    {
        return executeEraseMsg(npJudgement);
    }
    SyncGuard lOneGuard(mEraseSyncObject);
    mpEraseJudgement = npJudgement;
    // If the thread ends first, no queue will run the message any more: erased.
    mEraseResult = true;
    if (postRequest(REQUEST_ERASE, mpAnswers->mErase, nullptr))
    {
        mpAnswers->mErase.wait();
        return mEraseResult;
    }
    SyncGuard lGuard(mQueueSyncObject);
    return mHasLoopEnded;
}

/// A place in both queues: the control queue is the list, the data cursor follows it.
struct MsgDrivenThread::Walk
{
    unsigned int mPosition = 0;
    unsigned int mDataPos = 0;
};

void MsgDrivenThread::copySlotLocked(Walk const& nWalk)
{
    mDataQueue.copyOut(nWalk.mDataPos, mFindRawMsg.buffer(), slotSize());
}

namespace
{

bool storeTimeout(int nTimerId, ThreadRawMsg* npRawMsg)
{
    TimerMsg lMsg;
    lMsg.mTimerId = nTimerId;
    return lMsg.storeTo(npRawMsg);
}

} // namespace

bool MsgDrivenThread::executeFindMsg(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg)
{
    SyncGuard lGuard(mQueueSyncObject);
    Walk lWalk;
    unsigned int const lCount = mCtlQueue.size();
    while (lWalk.mPosition < lCount)
    {
        ThreadCtlMsg const* const lpRecord = mCtlQueue.at(lWalk.mPosition++);
        if (lpRecord != nullptr && passesLocked(*lpRecord, lWalk, *npJudgement))
        {
            if (npRawMsg != nullptr)
            {
                *npRawMsg = mFindRawMsg;
            }
            return true;
        }
    }
    return false;
}

/// One step of a find: true where the record's image passes. A record that owns a slot moves the cursor.
bool MsgDrivenThread::passesLocked(ThreadCtlMsg const& nRecord, Walk& nWalk, MsgJudgementInterface& nJudgement)
{
    if (nRecord.mMsgId == MSG_ID_TIMEOUT)
    {
        if (!storeTimeout(nRecord.mParam, &mFindRawMsg))
        {
            applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeFindMsg(): Can't store message. Line=%d", __LINE__);
            return false;
        }
        return nJudgement.judge(mFindRawMsg);
    }
    if (nRecord.mMsgId != MSG_ID_SYNC && !hasMsgData(nRecord.mMsgId))
    {
        return false;
    }
    bool lPasses = false;
    if (nWalk.mDataPos >= mDataQueue.size())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeFindMsg(): Peek Data Queue fail. Line=%d MsgId=%d", __LINE__,
               nRecord.mMsgId);
    }
    else
    {
        copySlotLocked(nWalk);
        lPasses = nJudgement.judge(mFindRawMsg);
    }
    nWalk.mDataPos += slotSize();
    return lPasses;
}

bool MsgDrivenThread::executeEraseMsg(MsgJudgementInterface* npJudgement)
{
    bool lResult = true;
    int lEndedTimerId = -1;
    // A timer that ends with its time-out ends the walk, to be told without the lock; then we look from the start.
    while (eraseWalk(*npJudgement, &lEndedTimerId, &lResult))
    {
        onEraseTimer(lEndedTimerId);
    }
    return lResult;
}

/// One walk through the queues. Result: true where a timer has ended and the walk has to be made again; otherwise
/// *npResult is the outcome.
bool MsgDrivenThread::eraseWalk(MsgJudgementInterface& nJudgement, int* npEndedTimerId, bool* npResult)
{
    SyncGuard lGuard(mQueueSyncObject);
    Walk lWalk;
    unsigned int const lCount = mCtlQueue.size();
    for (unsigned int lSeen = 0; lSeen < lCount && lWalk.mPosition < mCtlQueue.size(); ++lSeen)
    {
        ThreadCtlMsg const lRecord = *mCtlQueue.at(lWalk.mPosition);
        switch (eraseStepLocked(lRecord, lWalk, nJudgement))
        {
        case WALK_STAYS:
            ++lWalk.mPosition;
            break;
        case WALK_REMOVED:
            break;
        case WALK_FAILED:
            *npResult = false;
            return false;
        case WALK_TIMER_ENDED:
            *npEndedTimerId = lRecord.mParam;
            return true;
        }
    }
    *npResult = true;
    return false;
}

MsgDrivenThread::WalkStep MsgDrivenThread::eraseStepLocked(ThreadCtlMsg const& nRecord, Walk& nWalk,
                                                           MsgJudgementInterface& nJudgement)
{
    if (nRecord.mMsgId == MSG_ID_TIMEOUT)
    {
        return eraseTimeoutLocked(nRecord, nWalk, nJudgement);
    }
    if (nRecord.mMsgId == MSG_ID_SYNC)
    {
        return eraseSyncLocked(nWalk, nJudgement);
    }
    return hasMsgData(nRecord.mMsgId) ? erasePostedLocked(nRecord, nWalk, nJudgement) : WALK_STAYS;
}

/// An erased time-out still counts as one that fired.
MsgDrivenThread::WalkStep MsgDrivenThread::eraseTimeoutLocked(ThreadCtlMsg const& nRecord, Walk& nWalk,
                                                              MsgJudgementInterface& nJudgement)
{
    if (!storeTimeout(nRecord.mParam, &mFindRawMsg))
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeEraseMsg(): Can't store message. Line=%d", __LINE__);
        return WALK_FAILED;
    }
    if (!nJudgement.judge(mFindRawMsg))
    {
        return WALK_STAYS;
    }
    if (nWalk.mPosition >= mCtlQueue.size())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeEraseMsg(): Erase Ctl Queue fail. Line=%d", __LINE__);
        return WALK_FAILED;
    }
    mCtlQueue.erase(nWalk.mPosition, 1);
    return TimeoutPostHandling(nRecord.mParam) == TIMEOUT_ENDED ? WALK_TIMER_ENDED : WALK_REMOVED;
}

/// The erased message's sender is released, its result stays false.
MsgDrivenThread::WalkStep MsgDrivenThread::eraseSyncLocked(Walk& nWalk, MsgJudgementInterface& nJudgement)
{
    if (nWalk.mDataPos >= mDataQueue.size())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeEraseMsg(): Peek Data Queue fail. Line=%d", __LINE__);
        return WALK_FAILED;
    }
    copySlotLocked(nWalk);
    WalkStep const lStep =
        eraseSlotLocked(nWalk, nJudgement, "MsgDrivenThread::executeEraseMsg(): Erase Queue fail. Line=%d", __LINE__);
    if (lStep == WALK_REMOVED)
    {
        mpAnswers->mSync.give();
    }
    return lStep;
}

/// This walk does not repair queues that do not fit together, as the dispatch does.
MsgDrivenThread::WalkStep MsgDrivenThread::erasePostedLocked(ThreadCtlMsg const& nRecord, Walk& nWalk,
                                                             MsgJudgementInterface& nJudgement)
{
    if (nWalk.mDataPos >= mDataQueue.size())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeEraseMsg(): Peek Data Queue fail. Line=%d MsgId=%d", __LINE__,
               nRecord.mMsgId);
        return WALK_FAILED;
    }
    copySlotLocked(nWalk);
    int lMsgId = MSG_ID_NONE;
    if (!mFindRawMsg.getMsgId(&lMsgId))
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeEraseMsg(): Can't get message ID. Line=%d MsgId=%d", __LINE__,
               nRecord.mMsgId);
        return WALK_FAILED;
    }
    if (lMsgId != nRecord.mMsgId)
    {
        applog(UTL_LOG_TYPE, 1,
               "MsgDrivenThread::executeEraseMsg(): Data Queue is different from Ctl Queue . Line=%d MsgId(Ctl)=%d "
               "MsgId(Data)=%d ",
               __LINE__, nRecord.mMsgId, lMsgId);
        return WALK_FAILED;
    }
    return eraseSlotLocked(nWalk, nJudgement, "MsgDrivenThread::executeEraseMsg(): erase Data Queue fail. Line=%d",
                           __LINE__);
}

/// Removes the record and its slot, which stands in mFindRawMsg, where it passes. npFailure: the line to log where that
/// fails, with nLine.
MsgDrivenThread::WalkStep MsgDrivenThread::eraseSlotLocked(Walk& nWalk, MsgJudgementInterface& nJudgement,
                                                           char const* npFailure, int nLine)
{
    if (!nJudgement.judge(mFindRawMsg))
    {
        nWalk.mDataPos += slotSize();
        return WALK_STAYS;
    }
    if (earseMsgQueue(nWalk.mPosition, nWalk.mDataPos, slotSize()))
    {
        return WALK_REMOVED;
    }
    applog(UTL_LOG_TYPE, 1, npFailure, nLine);
    return WALK_FAILED;
}

/// Removes one control record and nDataSize bytes of its slot. The name is what callers of old know it by.
bool MsgDrivenThread::earseMsgQueue(unsigned int nCtlIndex, unsigned int nDataPos, unsigned int nDataSize)
{
    SyncGuard lGuard(mQueueSyncObject);
    if (nDataPos >= mDataQueue.size() || nCtlIndex >= mCtlQueue.size())
    {
        return false;
    }
    mCtlQueue.erase(nCtlIndex, 1);
    mDataQueue.erase(nDataPos, nDataSize);
    return true;
}

} // namespace utl
