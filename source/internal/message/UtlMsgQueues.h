/// The messages that wait for a message thread. Layer: internal, message-driven thread.
#ifndef UTL_MSG_QUEUES_H
#define UTL_MSG_QUEUES_H

#include "UtlMsgDrivenThread.h"
#include "internal/message/UtlCtlQueue.h"

#include <memory>

namespace utl::internal
{

/// Writes a message straight into a slot of the ring.
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

/// Blocks of one size in a circle, the oldest first. There is one more than may be filled: the next message is written
/// there before it is known whether it stays. And there is one aside.
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

/// How the dispatch takes a record, by its id.
enum class CtlClass
{
    MSG,     // with a slot
    CONTROL, // without
    NEVER    // not at all: it stays at the head
};
CtlClass classOf(int nMsgId);

/// Stores messages in slots that follow the control records, and takes, finds and erases them. No thread in it.
///
/// Every record that owns a slot has it at its own place in the order. A slot without a record, an orphan, is left
/// behind by a synchronous sender whose record was refused; the dispatch throws it away when it meets it.
///
/// Locks: none; the owner's guards it.
class MsgQueues
{
public:
    using Judgement = MsgDrivenThread::MsgJudgementInterface;

    /// Is told what else an erasure does.
    class Erasure
    {
    public:
        virtual ~Erasure() = default;

        /// A synchronous message has gone.
        virtual void onSyncErased() = 0;

        /// A time-out has gone, which counts as one that fired; may change the queues. Result: the timer has ended.
        virtual bool onTimeoutErased(int nTimerId) = 0;
    };

    enum class Erased
    {
        ALL,
        FAILED,     // queue and data do not fit together
        TIMER_ENDED // the walk must be made again
    };

    /// nCtlQueue must outlive us, and npName as well: of the owner, in the log.
    MsgQueues(CtlQueue& nCtlQueue, unsigned int nSlotSize, unsigned int nMaxCount, char const* npName);

    unsigned int slotSize() const { return mFindRawMsg.maxSize(); }

    /// Writes a message where the next slot is. Result: false if it does not fit; write() logs that.
    bool flatten(Msg const& nMsg);
    bool write(Msg const& nMsg);

    /// What was written stays, as the newest slot. Result: false when the queue is full, which is logged.
    bool keep(int nMsgId, int nLogLevel)
    {
        bool const lHasRoom = !mSlots.isFull();
        lHasRoom ? mSlots.keepNext() : tellOverflow(nMsgId, nLogLevel);
        return lHasRoom;
    }
    void keepFlattened() { mSlots.keepNext(); } ///< The same if the caller has seen that there is room.

    /// Takes a slot out again. nSlot: how many stood before it.
    void takeBack(unsigned int nSlot) { mSlots.erase(nSlot, 1); }

    /// What was written is the interrupt.
    void keepAsInterrupt();

    /// Takes the message of the record at the head, which goes as well. An orphan before it is thrown away (logged).
    /// Result: false, the record staying, if no slot fits.
    bool takePosted(int nMsgId, ThreadRawMsg& nTarget);

    /// The same for MSG_ID_SYNC: the first slot, whatever it holds.
    bool takeSync(ThreadRawMsg& nTarget);

    /// The sender of the queued synchronous message has given up. The message stays in its slot, seen by nobody, until
    /// the dispatch reaches it and drops it. Result: false if none is queued.
    bool giveUpSync();
    bool isGivenUp(CtlRecord const& nRecord) const { return nRecord == CtlRecord{MSG_ID_SYNC, SYNC_GIVEN_UP}; }
    void dropGivenUp();

    /// Result: false if no interrupt waits.
    bool takeInterrupt(ThreadRawMsg& nTarget);
    bool eraseInterrupt(Judgement& nJudgement);

    /// Copies the first message that passes to *npTarget, unless null. Result: false if none does.
    bool find(Judgement& nJudgement, ThreadRawMsg* npTarget);

    /// Removes all messages that pass, in one pass from head to tail; both queues are whole whenever it returns or
    /// calls onTimeoutErased(). *npTimerId: the timer that has ended.
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
    bool mHasInterrupt = false;   // in the slot aside
    Compaction* mpWalk = nullptr; // under way
};

} // namespace utl::internal

#endif
