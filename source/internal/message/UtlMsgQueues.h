/// The messages that wait for a message thread. Layer: internal, message-driven thread.
#ifndef UTL_MSG_QUEUES_H
#define UTL_MSG_QUEUES_H

#include "UtlMsgDrivenThread.h"
#include "internal/message/UtlCtlQueue.h"

#include <memory>

namespace utl::internal
{

/// An image whose bytes are in a slot, so that a message is written directly into the queue.
class RingImage : public ThreadRawMsg
{
public:
    explicit RingImage(unsigned int nSize)
        : ThreadRawMsg(nullptr, nSize)
    {
    }
    ~RingImage() override { mpBuffer = nullptr; }

    void moveTo(unsigned char* npSlot) { mpBuffer = npSlot; }
};

/// A ring of blocks of one size, the oldest first. It has one block more than its capacity, next(): a message is
/// written there before it is known whether it is kept. One more block, aside(), is not in the ring: it holds the
/// interrupt.
class SlotRing
{
public:
    SlotRing(unsigned int nSlotSize, unsigned int nMaxCount);

    unsigned int size() const { return mCount; }
    bool isFull() const { return mCount == mMaxCount; }
    unsigned char* at(unsigned int nIndex) const { return mpSlots.get() + place(nIndex) * mSlotSize; }
    unsigned char* next() const { return at(mCount); }
    unsigned char* aside() const { return mpSlots.get() + (std::size_t(mMaxCount) + 1) * mSlotSize; }
    void keepNext() { ++mCount; }
    void dropOldest() { mHead = place(1), --mCount; }
    void erase(unsigned int nIndex, unsigned int nCount);
    void copy(unsigned int nFrom, unsigned int nTo);

private:
    std::size_t place(unsigned int nIndex) const
    {
        std::size_t const lPlace = mHead + nIndex;
        return lPlace <= mMaxCount ? lPlace : lPlace - mMaxCount - 1;
    }

    unsigned int const mSlotSize;
    unsigned int const mMaxCount;
    std::unique_ptr<unsigned char[]> const mpSlots;
    std::size_t mHead = 0;
    unsigned int mCount = 0;
};

/// How the dispatch handles a record, by its id.
enum class CtlClass
{
    MSG,     // it owns a slot
    CONTROL, // it owns no slot
    NEVER    // it cannot be dispatched, and stays at the head
};
CtlClass classOf(int nMsgId);

/// Stores messages in slots, and takes, finds and erases them. It has no thread of its own.
///
/// The slots are in the order of the records that own them. A slot without a record, an orphan, is left behind by a
/// synchronous sender whose record was refused; the dispatch drops it when it comes to it.
///
/// Locks: none; the owner's lock guards it.
class MsgQueues
{
public:
    using Judgement = MsgDrivenThread::MsgJudgementInterface;

    /// What erase() calls for records that need more than removing.
    class Erasure
    {
    public:
        virtual ~Erasure() = default;

        /// A synchronous message was erased.
        virtual void onSyncErased() = 0;

        /// A time-out was erased, which counts as one that fired; may change the queues. Result: whether the timer has
        /// ended.
        virtual bool onTimeoutErased(int nTimerId) = 0;
    };

    enum class Erased
    {
        ALL,
        FAILED,     // records and slots do not fit together
        TIMER_ENDED // call erase() again
    };

    /// nCtlQueue: must outlive us. npName: the owner's name for the log; must outlive us.
    MsgQueues(CtlQueue& nCtlQueue, unsigned int nSlotSize, unsigned int nMaxCount, char const* npName);

    unsigned int slotSize() const { return mFindRawMsg.maxSize(); }

    /// Write a message to the block behind the newest slot. Result: false if it does not fit; write() logs that.
    bool flatten(Msg const& nMsg);
    bool write(Msg const& nMsg);

    /// Keeps what was written as the newest slot. Result: false if the queue is full, which is logged.
    bool keep(int nMsgId, int nLogLevel)
    {
        bool const lHasRoom = !mSlots.isFull();
        lHasRoom ? mSlots.keepNext() : tellOverflow(nMsgId, nLogLevel);
        return lHasRoom;
    }
    void keepFlattened() { mSlots.keepNext(); } ///< The same for a caller that has checked that there is room.

    /// Removes a slot. nSlot: how many slots are before it.
    void takeBack(unsigned int nSlot) { mSlots.erase(nSlot, 1); }

    /// Keeps what was written as the interrupt.
    void keepAsInterrupt();

    /// Takes the message of the record at the head and removes both. An orphan before it is dropped (logged).
    /// Result: false, with the record left, if no slot fits.
    bool takePosted(int nMsgId, ThreadRawMsg& nTarget);

    /// The same for MSG_ID_SYNC: the first slot, whatever it holds.
    bool takeSync(ThreadRawMsg& nTarget);

    /// For a sender that gives up its queued synchronous message. The message stays in its slot until the dispatch
    /// comes to it and drops it; nothing finds it before. Result: false if none is queued.
    bool giveUpSync();
    bool isGivenUp(CtlRecord const& nRecord) const { return nRecord == CtlRecord{MSG_ID_SYNC, SYNC_GIVEN_UP}; }
    void dropGivenUp();

    /// Result: false if no interrupt waits.
    bool takeInterrupt(ThreadRawMsg& nTarget);
    bool eraseInterrupt(Judgement& nJudgement);

    /// Finds the first message that the judgement accepts, and copies it to *npTarget unless that is null. Result:
    /// false if there is none.
    bool find(Judgement& nJudgement, ThreadRawMsg* npTarget);

    /// Removes all messages that the judgement accepts, in one walk from head to tail. Records and slots fit together
    /// whenever it returns or calls onTimeoutErased(). *npTimerId: the timer that has ended, for TIMER_ENDED.
    Erased erase(Judgement& nJudgement, Erasure& nErasure, int* npTimerId);

    SlotRing const& slots() const { return mSlots; }

private:
    static constexpr int SYNC_GIVEN_UP = -2; // parameter of the record; -1 otherwise

    enum class Step
    {
        STAYS,
        GOES,
        FAILED
    };
    class Compaction;

    void tellOverflow(int nMsgId, int nLogLevel) const;
    void copyOldest(ThreadRawMsg& nTarget);
    bool passes(CtlRecord const& nRecord, unsigned int* npSlot, Judgement& nJudgement);
    void closeWalk();
    void tellGone(int nMsgId) const;
    void earseMsgQueue(unsigned int nCtlIndex, unsigned int nCtlCount, unsigned int nSlot, unsigned int nSlotCount);
    Step judge(CtlRecord const& nRecord, unsigned int nSlot, Judgement& nJudgement);
    bool readSlot(CtlRecord const& nRecord, unsigned int nSlot);
    bool writeTimeout(int nTimerId, char const* npFunction);

    CtlQueue& mCtlQueue;
    char const* const mpName;
    unsigned int const mMaxCount;
    SlotRing mSlots;
    RingImage mInput;
    ThreadRawMsg mFindRawMsg;
    bool mHasInterrupt = false;   // whether SlotRing::aside() has one
    Compaction* mpWalk = nullptr; // the walk of erase() that is under way
};

} // namespace utl::internal

#endif
