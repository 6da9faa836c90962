/// The order of a loop's work. Layer: internal, message-driven thread.
#ifndef UTL_CTL_QUEUE_H
#define UTL_CTL_QUEUE_H

#include "UtlLedger.h"
#include "UtlMsg.h"
#include "UtlQueue.h"
#include "internal/base/UtlThreadSlots.h"

#include <initializer_list>

namespace utl::internal
{

/// One piece of work: what to do, and with what.
struct CtlRecord
{
    int mMsgId = MSG_ID_NONE;
    int mParam = -1;

    bool operator==(CtlRecord const& nOther) const { return mMsgId == nOther.mMsgId && mParam == nOther.mParam; }
};
static_assert(sizeof(CtlRecord) == 8, "the record's form on the pipe");

/// A bounded queue of control records. Each append has a number of its own, by which a sender knows its record again.
///
/// A head that cannot be dispatched is held: it is passed over until a record of the same id is appended.
///
/// Counts the messages that come and go, so that no way in or out is forgotten. Whatever is no control record is one.
///
/// Locks: none; the owner's guards it.
class CtlQueue
{
public:
    /// Ids as nControlIds below takes them.
    static constexpr unsigned int bitsOf(std::initializer_list<int> nMsgIds)
    {
        unsigned int lBits = 0;
        for (int const lMsgId : nMsgIds)
        {
            lBits |= 1U << numberOf(lMsgId);
        }
        return lBits;
    }

    /// nControlIds: bit n says that the id MSG_ID_NONE + n is that of a control record.
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

    /// Removes the record of that number, if it is still the newest and nothing was erased since. Result: it was.
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

    /// For a walk through the queue: a record goes now, and erase() takes out its place later.
    void countErased(CtlRecord const& nRecord) { countGone(nRecord.mMsgId, &mCounts.mErased); }

    /// Removes records that have been counted, or that were put elsewhere.
    void erase(unsigned int nIndex, unsigned int nCount)
    {
        if (nCount != 0)
        {
            mRecords.erase(nIndex, nCount);
            mIsHeadHeld = mIsHeadHeld && nIndex != 0;
            ++mLastNumber;
        }
    }

    /// Removes the first record of that id. Result: there was one.
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

    /// Removes all records that pass; the others keep their order. Rare and short: each removal moves the rest.
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
    bool mHasLastFreedHead = false; // the newest append let go of the head
};

} // namespace utl::internal

#endif
