// The messages that wait for a message thread.
#include "internal/message/UtlMsgQueues.h"

#include "UtlApplog.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace utl::internal
{

namespace
{

/// What a reserved id means in the control queue. The two columns differ on purpose: the dispatch takes a slot for the
/// first two, a walk through the queues does not.
struct IdClass
{
    int mFirst;
    int mLast;
    CtlClass mDispatch;
    bool mHasSlotInWalks;
};

IdClass const ID_CLASSES[] = {
    {MSG_ID_NONE, MSG_ID_ANY, CtlClass::MSG, false},
    {MSG_ID_OUT_OF_BAND, MSG_ID_STOP_THREAD, CtlClass::CONTROL, false}, // except MSG_ID_SYNC, which owns a slot
    {MSG_ID_TIMEOUT_SIGNAL, MSG_ID_TIMEOUT_SIGNAL, CtlClass::NEVER, false},
};
IdClass const ANY_OTHER{0, 0, CtlClass::MSG, true};

IdClass const& idClass(int nMsgId)
{
    for (IdClass const& lClass : ID_CLASSES)
    {
        if (nMsgId >= lClass.mFirst && nMsgId <= lClass.mLast)
        {
            return lClass;
        }
    }
    return ANY_OTHER;
}

bool hasMsgData(int nMsgId)
{
    return nMsgId == MSG_ID_SYNC || idClass(nMsgId).mHasSlotInWalks;
}

} // namespace

CtlClass classOf(int nMsgId)
{
    return nMsgId >= MSG_ID_FIRST_USER ? CtlClass::MSG : idClass(nMsgId).mDispatch;
}

// ---------------------------------------------------------------------------------------------- slots

SlotRing::SlotRing(unsigned int nSlotSize, unsigned int nMaxCount)
    : mSlotSize(nSlotSize),
      mMaxCount(nMaxCount),
      mpSlots(new unsigned char[static_cast<std::size_t>(
          std::min<unsigned long long>(SIZE_MAX, (nMaxCount + 2ULL) * nSlotSize))]) // too large: the allocation fails
{
}

void SlotRing::copy(unsigned int nFrom, unsigned int nTo)
{
    std::memcpy(at(nTo), at(nFrom), mSlotSize);
}

void SlotRing::erase(unsigned int nIndex, unsigned int nCount)
{
    for (unsigned int lFrom = nIndex + nCount; nCount != 0 && lFrom < mCount; ++lFrom)
    {
        copy(lFrom, lFrom - nCount);
    }
    mCount -= nCount;
}

// ---------------------------------------------------------------------------------------------- in and out

MsgQueues::MsgQueues(CtlQueue& nCtlQueue, unsigned int nSlotSize, unsigned int nMaxCount, char const* npName)
    : mCtlQueue(nCtlQueue),
      mpName(npName),
      mMaxCount(nMaxCount),
      mSlots(nSlotSize, nMaxCount),
      mInput(nSlotSize),
      mFindRawMsg(nSlotSize)
{
}

bool MsgQueues::flatten(Msg const& nMsg)
{
    mInput.moveTo(mSlots.next());
    return nMsg.storeTo(&mInput);
}

bool MsgQueues::write(Msg const& nMsg)
{
    if (flatten(nMsg))
    {
        return true;
    }
    applog(UTL_LOG_TYPE, 1, "MsgDrivenThread(%s) Overflow MsgSize  MaxSize(include MsgId):%d MsgId:0x%08x", mpName,
           static_cast<int>(slotSize()), static_cast<unsigned int>(nMsg.mMsgId));
    return false;
}

void MsgQueues::tellOverflow(int nMsgId, int nLogLevel) const
{
    applog(UTL_LOG_TYPE, nLogLevel, "MsgDrivenThread(%s) Overflow MsgDataQueue  MaxCount:%d MsgId:0x%08x", mpName,
           static_cast<int>(mMaxCount), static_cast<unsigned int>(nMsgId));
}

void MsgQueues::keepAsInterrupt()
{
    std::memcpy(mSlots.aside(), mSlots.next(), slotSize());
    mHasInterrupt = true;
}

void MsgQueues::copyOldest(ThreadRawMsg& nTarget)
{
    std::memcpy(nTarget.buffer(), mSlots.at(0), slotSize());
    mSlots.dropOldest();
}

bool MsgQueues::takePosted(int nMsgId, ThreadRawMsg& nTarget)
{
    while (mSlots.size() != 0)
    {
        copyOldest(nTarget);
        int lMsgId = MSG_ID_NONE;
        nTarget.getMsgId(&lMsgId);
        if (lMsgId == nMsgId)
        {
            mCtlQueue.pop();
            return true;
        }
        applog(
            UTL_LOG_TYPE, 1,
            "!!!!!!!! MsgDrivenThread(%s) MismatchedMsg... DataQueueMsgId:0x%08x CtlMsgId:0x%08x Erased Data !!!!!!!!",
            mpName, static_cast<unsigned int>(lMsgId), static_cast<unsigned int>(nMsgId));
    }
    return false;
}

bool MsgQueues::takeSync(ThreadRawMsg& nTarget)
{
    if (mSlots.size() == 0)
    {
        return false;
    }
    copyOldest(nTarget);
    mCtlQueue.pop();
    return true;
}

bool MsgQueues::giveUpSync()
{
    for (unsigned int lIndex = mCtlQueue.size(); lIndex-- > 0;)
    {
        if (mCtlQueue.at(lIndex) == CtlRecord{MSG_ID_SYNC, -1})
        {
            mCtlQueue.put(lIndex, {MSG_ID_SYNC, SYNC_GIVEN_UP});
            return true;
        }
    }
    return false;
}

void MsgQueues::dropGivenUp()
{
    if (mSlots.size() != 0)
    {
        mSlots.dropOldest();
    }
    mCtlQueue.countErased(mCtlQueue.at(0));
    mCtlQueue.erase(0, 1);
}

bool MsgQueues::takeInterrupt(ThreadRawMsg& nTarget)
{
    if (!mHasInterrupt)
    {
        return false;
    }
    std::memcpy(nTarget.buffer(), mSlots.aside(), slotSize());
    mHasInterrupt = false;
    return true;
}

bool MsgQueues::eraseInterrupt(Judgement& nJudgement)
{
    if (!mHasInterrupt)
    {
        return false;
    }
    std::memcpy(mFindRawMsg.buffer(), mSlots.aside(), slotSize());
    mHasInterrupt = !nJudgement.judge(mFindRawMsg);
    return !mHasInterrupt;
}

// ---------------------------------------------------------------------------------------------- finding

bool MsgQueues::find(Judgement& nJudgement, ThreadRawMsg* npTarget)
{
    closeWalk();
    unsigned int lSlot = 0;
    for (unsigned int lIndex = 0; lIndex < mCtlQueue.size(); ++lIndex)
    {
        if (passes(mCtlQueue.at(lIndex), &lSlot, nJudgement))
        {
            if (npTarget != nullptr)
            {
                *npTarget = mFindRawMsg;
            }
            return true;
        }
    }
    return false;
}

/// One step of find(). *npSlot: the record's slot; moves on if the record owns one.
bool MsgQueues::passes(CtlRecord const& nRecord, unsigned int* npSlot, Judgement& nJudgement)
{
    if (nRecord.mMsgId == MSG_ID_TIMEOUT)
    {
        return writeTimeout(nRecord.mParam, "executeFindMsg") && nJudgement.judge(mFindRawMsg);
    }
    if (!hasMsgData(nRecord.mMsgId))
    {
        return false;
    }
    unsigned int const lSlot = (*npSlot)++;
    if (isGivenUp(nRecord))
    {
        return false;
    }
    if (lSlot >= mSlots.size())
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeFindMsg(): Peek Data Queue fail. Line=%d MsgId=%d", __LINE__,
               nRecord.mMsgId);
        return false;
    }
    std::memcpy(mFindRawMsg.buffer(), mSlots.at(lSlot), slotSize());
    return nJudgement.judge(mFindRawMsg);
}

// ---------------------------------------------------------------------------------------------- erasing

/// The walk of erase(), which closes gaps as it goes: what stays is moved forward, once. Between what stays and what is
/// still to be walked there is a gap. close() removes it, at the latest when the walk ends for any reason.
class MsgQueues::Compaction
{
public:
    explicit Compaction(MsgQueues& nQueues)
        : mQueues(nQueues),
          mpOuter(nQueues.mpWalk)
    {
        nQueues.closeWalk();
        nQueues.mpWalk = this;
        mLeft = nQueues.mCtlQueue.size();
    }
    ~Compaction()
    {
        close();
        mQueues.mpWalk = mpOuter;
    }
    Compaction(Compaction const&) = delete;
    Compaction& operator=(Compaction const&) = delete;

    /// The record to judge, and its slot if it owns one. The walk takes at most as many as there were at the beginning.
    bool isAtEnd() const { return mLeft == 0 || mRead >= mQueues.mCtlQueue.size(); }
    CtlRecord const& record() const { return mQueues.mCtlQueue.at(mRead); }
    unsigned int slot() const { return mReadSlot; }

    /// The record that was judged has gone: the judgement has erased it, or others.
    bool isGone(CtlRecord const& nRecord) const
    {
        return isAtEnd() || (hasMsgData(nRecord.mMsgId) && mReadSlot >= mQueues.mSlots.size());
    }

    void keep(CtlRecord const& nRecord)
    {
        bool const lHasSlot = hasMsgData(nRecord.mMsgId);
        if (mRead != mWrite)
        {
            mQueues.mCtlQueue.put(mWrite, nRecord);
        }
        if (lHasSlot && mReadSlot != mWriteSlot)
        {
            mQueues.mSlots.copy(mReadSlot, mWriteSlot);
        }
        ++mWrite;
        mWriteSlot += lHasSlot ? 1 : 0;
        pass(lHasSlot);
    }

    void remove(CtlRecord const& nRecord)
    {
        mQueues.mCtlQueue.countErased(nRecord);
        pass(hasMsgData(nRecord.mMsgId));
    }

    void close()
    {
        mQueues.earseMsgQueue(mWrite, mRead - mWrite, mWriteSlot, mReadSlot - mWriteSlot);
        mRead = mWrite;
        mReadSlot = mWriteSlot;
    }

private:
    void pass(bool nHasSlot)
    {
        ++mRead;
        mReadSlot += nHasSlot ? 1 : 0;
        --mLeft;
    }

    MsgQueues& mQueues;
    Compaction* const mpOuter; // the walk whose judgement has begun this one
    unsigned int mLeft = 0;
    unsigned int mRead = 0;
    unsigned int mWrite = 0;
    unsigned int mReadSlot = 0;
    unsigned int mWriteSlot = 0;
};

MsgQueues::Erased MsgQueues::erase(Judgement& nJudgement, Erasure& nErasure, int* npTimerId)
{
    Compaction lWalk(*this);
    while (!lWalk.isAtEnd())
    {
        CtlRecord const lRecord = lWalk.record();
        Step const lStep = judge(lRecord, lWalk.slot(), nJudgement);
        if (lStep == Step::FAILED)
        {
            return Erased::FAILED;
        }
        if (lStep == Step::STAYS)
        {
            lWalk.keep(lRecord);
            continue;
        }
        if (lWalk.isGone(lRecord))
        {
            tellGone(lRecord.mMsgId);
            return Erased::FAILED;
        }
        lWalk.remove(lRecord);
        if (lRecord.mMsgId == MSG_ID_SYNC)
        {
            nErasure.onSyncErased();
        }
        if (lRecord.mMsgId == MSG_ID_TIMEOUT)
        {
            lWalk.close();
            if (nErasure.onTimeoutErased(lRecord.mParam))
            {
                *npTimerId = lRecord.mParam;
                return Erased::TIMER_ENDED;
            }
        }
    }
    return Erased::ALL;
}

/// Before a walk that a judgement makes: closes the gap, so that records and slots fit together.
void MsgQueues::closeWalk()
{
    if (mpWalk != nullptr)
    {
        mpWalk->close();
    }
}

void MsgQueues::tellGone(int nMsgId) const
{
    char const* const lpWhat = nMsgId == MSG_ID_TIMEOUT ? "Erase Ctl Queue"
                               : nMsgId == MSG_ID_SYNC  ? "Erase Queue"
                                                        : "erase Data Queue";
    applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::executeEraseMsg(): %s fail. Line=%d", lpWhat, __LINE__);
}

/// Removes a run of control records and a run of slots. The misspelled name is kept on purpose.
void MsgQueues::earseMsgQueue(unsigned int nCtlIndex, unsigned int nCtlCount, unsigned int nSlot,
                              unsigned int nSlotCount)
{
    mCtlQueue.erase(nCtlIndex, nCtlCount);
    mSlots.erase(nSlot, nSlotCount);
}

/// If records and slots do not fit together, this walk fails; it does not repair them as the dispatch does.
MsgQueues::Step MsgQueues::judge(CtlRecord const& nRecord, unsigned int nSlot, Judgement& nJudgement)
{
    bool const lIsTimeout = nRecord.mMsgId == MSG_ID_TIMEOUT;
    if ((!lIsTimeout && !hasMsgData(nRecord.mMsgId)) || isGivenUp(nRecord))
    {
        return Step::STAYS;
    }
    if (lIsTimeout ? !writeTimeout(nRecord.mParam, "executeEraseMsg") : !readSlot(nRecord, nSlot))
    {
        return Step::FAILED;
    }
    return nJudgement.judge(mFindRawMsg) ? Step::GOES : Step::STAYS;
}

/// Copies the slot of a record to mFindRawMsg. Result: false if there is none, or it belongs to another record
/// (logged).
bool MsgQueues::readSlot(CtlRecord const& nRecord, unsigned int nSlot)
{
    bool const lIsSync = nRecord.mMsgId == MSG_ID_SYNC; // its slot has the message's own id
    if (nSlot >= mSlots.size())
    {
        applog(UTL_LOG_TYPE, 1,
               lIsSync ? "MsgDrivenThread::executeEraseMsg(): Peek Data Queue fail. Line=%d"
                       : "MsgDrivenThread::executeEraseMsg(): Peek Data Queue fail. Line=%d MsgId=%d",
               __LINE__, nRecord.mMsgId);
        return false;
    }
    std::memcpy(mFindRawMsg.buffer(), mSlots.at(nSlot), slotSize());
    int lMsgId = MSG_ID_NONE;
    mFindRawMsg.getMsgId(&lMsgId);
    if (lIsSync || lMsgId == nRecord.mMsgId)
    {
        return true;
    }
    applog(UTL_LOG_TYPE, 1,
           "MsgDrivenThread::executeEraseMsg(): Data Queue is different from Ctl Queue . Line=%d MsgId(Ctl)=%d "
           "MsgId(Data)=%d ",
           __LINE__, nRecord.mMsgId, lMsgId);
    return false;
}

/// Writes the message of a time-out to mFindRawMsg. Result: false if it does not fit (logged).
bool MsgQueues::writeTimeout(int nTimerId, char const* npFunction)
{
    TimerMsg lMsg;
    lMsg.mTimerId = nTimerId;
    if (lMsg.storeTo(&mFindRawMsg))
    {
        return true;
    }
    applog(UTL_LOG_TYPE, 1, "MsgDrivenThread::%s(): Can't store message. Line=%d", npFunction, __LINE__);
    return false;
}

} // namespace utl::internal
