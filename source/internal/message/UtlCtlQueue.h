/// The queue of a loop's work. Layer: internal, message-driven thread.
#ifndef UTL_CTL_QUEUE_H
#define UTL_CTL_QUEUE_H

#include "UtlLedger.h"
#include "UtlMsg.h"
#include "UtlQueue.h"
#include "internal/base/UtlThreadSlots.h"

#include <initializer_list>

namespace utl::internal
{

/// One piece of work: mMsgId says what to do, mParam with what.
struct CtlRecord
{
    int mMsgId = MSG_ID_NONE;
    int mParam = -1;

    bool operator==(CtlRecord const& nOther) const { return mMsgId == nOther.mMsgId && mParam == nOther.mParam; }
};
static_assert(sizeof(CtlRecord) == 8, "the record's form on the pipe");

/// A bounded queue of control records. Each append gets a number, by which its sender recognises the record.
///
/// A head that cannot be dispatched is held: head() does not give it until a record of the same id is appended.
///
/// The queue itself counts the messages that enter and leave it, so that none is missed. Every record whose id is not
/// among the control ids is a message.
///
/// Locks: none; the owner's lock guards it.
class CtlQueue
{
public:
    /// The ids in the form of nControlIds below.
    static constexpr unsigned int bitsOf(std::initializer_list<int> nMsgIds)
    {
        unsigned int lBits = 0;
        for (int const lMsgId : nMsgIds)
        {
            lBits |= 1U << numberOf(lMsgId);
        }
        return lBits;
    }

    /// nControlIds: bit n is set if MSG_ID_NONE + n is the id of control records.
    explicit CtlQueue(unsigned int nMaxCount, unsigned int nControlIds = 0)
        : mRecords(nMaxCount),
          mControlIds(nControlIds)
    {
    }

    unsigned int size() const { return mRecords.size(); }
    unsigned int maxSize() const { return mRecords.maxSize(); }
    CtlRecord const& at(unsigned int nIndex) const { return *mRecords.at(nIndex); }
    void put(unsigned int nIndex, CtlRecord const& nRecord)
    {
        *mRecords.at(nIndex) = nRecord;
        mIsHeadHeld = mIsHeadHeld && nIndex != 0;
    }

    /// The number of the newest append. It also changes whenever a record is erased.
    unsigned int lastNumber() const { return mLastNumber; }

    /// Result: false when the queue is full.
    bool append(CtlRecord const& nRecord)
    {
        if (!mRecords.push(nRecord))
        {
            return false;
        }
        if (isMsg(nRecord.mMsgId))
        {
            ++mCounts.mAccepted;
            if (++mCounts.mWaiting > mCounts.mMostWaiting)
            {
                mCounts.mMostWaiting = mCounts.mWaiting;
            }
        }
        ++mLastNumber;
        mHasLastFreedHead = mIsHeadHeld && nRecord.mMsgId == at(0).mMsgId;
        mIsHeadHeld = mIsHeadHeld && !mHasLastFreedHead;
        return true;
    }

    /// Removes the record of that number if it is still the newest and nothing was erased since. Result: whether it was
    /// removed.
    bool takeBack(unsigned int nNumber)
    {
        if (nNumber != mLastNumber || size() == 0)
        {
            return false;
        }
        countGone(at(size() - 1).mMsgId, &mCounts.mTakenBack);
        mRecords.popBack(1);
        mIsHeadHeld = mIsHeadHeld || mHasLastFreedHead;
        return true;
    }

    /// The record to work on next; null for an empty queue and for a head that is held.
    CtlRecord const* head() const { return mIsHeadHeld ? nullptr : mRecords.at(0); }

    void holdHead() { mIsHeadHeld = true; }

    void pop()
    {
        countGone(at(0).mMsgId, &mCounts.mDelivered);
        mRecords.pop();
        mIsHeadHeld = false;
    }

    /// For a walk through the queue: counts a record as erased now; erase() removes its place later.
    void countErased(CtlRecord const& nRecord) { countGone(nRecord.mMsgId, &mCounts.mErased); }

    /// Removes the places of records that were counted as erased, or were moved with put().
    void erase(unsigned int nIndex, unsigned int nCount)
    {
        if (nCount != 0)
        {
            mRecords.erase(nIndex, nCount);
            mIsHeadHeld = mIsHeadHeld && nIndex != 0;
            ++mLastNumber;
        }
    }

    /// Removes the first record of that id. Result: whether there was one.
    bool eraseFirst(int nMsgId)
    {
        for (unsigned int lIndex = 0; lIndex < size(); ++lIndex)
        {
            if (at(lIndex).mMsgId == nMsgId)
            {
                eraseOne(lIndex);
                return true;
            }
        }
        return false;
    }

    /// Removes all records that pass; the others keep their order. For rare use: each removal moves the records behind.
    template <class Passes>
    void eraseIf(Passes nPasses)
    {
        for (unsigned int lIndex = size(); lIndex-- > 0;)
        {
            if (nPasses(at(lIndex)))
            {
                eraseOne(lIndex);
            }
        }
    }

    void clear()
    {
        eraseIf([](CtlRecord const&) { return true; });
    }

    bool isMsg(int nMsgId) const { return numberOf(nMsgId) >= 32 || (mControlIds >> numberOf(nMsgId) & 1U) == 0; }

    QueueCounts const& counts() const { return mCounts; }
    void read(Ledger* npLedger) const
    {
        npLedger->mAccepted = mCounts.mAccepted;
        npLedger->mDelivered = mCounts.mDelivered;
        npLedger->mErased = mCounts.mErased;
        npLedger->mTakenBack = mCounts.mTakenBack;
        npLedger->mWaiting = mCounts.mWaiting;
        npLedger->mMostWaiting = mCounts.mMostWaiting;
    }

private:
    static constexpr unsigned int numberOf(int nMsgId)
    {
        return static_cast<unsigned int>(nMsgId) - static_cast<unsigned int>(MSG_ID_NONE);
    }

    void eraseOne(unsigned int nIndex)
    {
        countErased(at(nIndex));
        erase(nIndex, 1);
    }

    void countGone(int nMsgId, Count* npCount)
    {
        if (isMsg(nMsgId))
        {
            ++*npCount;
            --mCounts.mWaiting;
        }
    }

    Queue<CtlRecord> mRecords;
    unsigned int const mControlIds;
    QueueCounts mCounts;
    unsigned int mLastNumber = 0;
    bool mIsHeadHeld = false;
    bool mHasLastFreedHead = false; // the newest append ended the holding of the head
};

} // namespace utl::internal

#endif
