/// The order of a loop's work. Layer: internal, message-driven thread.
#ifndef UTL_CTL_QUEUE_H
#define UTL_CTL_QUEUE_H

#include "UtlMsg.h"
#include "UtlQueue.h"

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

/// A bounded queue of control records. Each append has a number of its own, by which a sender knows his record again.
///
/// A head that cannot be dispatched is held: it is passed over until a record of the same id is appended.
///
/// Locks: none; the owner's guards it.
class CtlQueue
{
public:
    explicit CtlQueue(unsigned int nMaxCount)
        : mRecords(nMaxCount)
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
        mRecords.popBack(1);
        mIsHeadHeld = mIsHeadHeld || mHasLastFreedHead;
        return true;
    }

    /// The record to work on next; null for an empty queue and for a head that is held.
    CtlRecord const* head() const { return mIsHeadHeld ? nullptr : mRecords.at(0); }

    void holdHead() { mIsHeadHeld = true; }

    void pop()
    {
        mRecords.pop();
        mIsHeadHeld = false;
    }

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
                erase(lIndex, 1);
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
                erase(lIndex, 1);
            }
        }
    }

    void clear() { erase(0, size()); }

private:
    Queue<CtlRecord> mRecords;
    unsigned int mLastNumber = 0;
    bool mIsHeadHeld = false;
    bool mHasLastFreedHead = false; // the newest append let go of the head
};

} // namespace utl::internal

#endif
