// The queues of a message thread, without the thread.
#include "internal/message/UtlMsgQueues.h"

#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::CtlQueue;
using internal::CtlRecord;
using internal::MsgQueues;
using Ids = std::vector<int>;

int const TIMEOUT = MSG_ID_TIMEOUT;

/// Queues of a few messages of one number each; a judgement that notes what it sees; an end of timers.
struct Queues : MsgDrivenThread::MsgJudgementInterface, MsgQueues::Erasure
{
    explicit Queues(unsigned int nSlotSize = 8, unsigned int nMaxCount = 4)
        : mCtl(nMaxCount + 8),
          mMsgs(mCtl, nSlotSize, nMaxCount, "queues"),
          mTarget(nSlotSize)
    {
    }

    void slot(Msg const& nMsg)
    {
        EXPECT_TRUE(mMsgs.write(nMsg));
        EXPECT_TRUE(mMsgs.keep(nMsg.mMsgId, 1));
    }
    void slot(int nMsgId, int nNumber = 0) { slot(NumberMsg(nMsgId, nNumber)); }
    void record(int nMsgId, int nParam = -1) { EXPECT_TRUE(mCtl.append({nMsgId, nParam})); }
    void post(int nMsgId, int nNumber = 0) { slot(nMsgId, nNumber), record(nMsgId); }

    /// The number of the message of the record at the head; -1 if no slot fits.
    int take()
    {
        int const lMsgId = mCtl.at(0).mMsgId;
        NumberMsg lMsg(0);
        bool const lIsTaken = lMsgId == MSG_ID_SYNC ? mMsgs.takeSync(mTarget) : mMsgs.takePosted(lMsgId, mTarget);
        return lIsTaken && lMsg.restoreFrom(mTarget) ? lMsg.mNumber : -1;
    }

    /// Erases what nPasses says yes to.
    MsgQueues::Erased erase(std::function<bool(int nMsgId)> nPasses)
    {
        mSeen.clear();
        mPasses = std::move(nPasses);
        return mMsgs.erase(*this, *this, &mEndedTimerId);
    }
    MsgQueues::Erased eraseAll()
    {
        return erase([](int) { return true; });
    }

    bool judge(ThreadRawMsg& nRawMsg) override
    {
        int lMsgId = 0;
        nRawMsg.getMsgId(&lMsgId);
        mSeen.push_back(lMsgId);
        return mPasses(lMsgId);
    }
    void onSyncErased() override { ++mSyncErased; }
    bool onTimeoutErased(int nTimerId) override { return mOnTimeout(nTimerId); }

    CtlQueue mCtl;
    MsgQueues mMsgs;
    ThreadRawMsg mTarget;
    Ids mSeen; // ids, in the order of the judgement's calls
    std::function<bool(int)> mPasses = [](int) { return false; };
    std::function<bool(int)> mOnTimeout = [](int) { return false; };
    int mSyncErased = 0;
    int mEndedTimerId = -1;
};

// ---------------------------------------------------------------------------------------------- control records

TEST(CtlQueue, HeldHeadIsTriedAgainWhenItsLikeComes)
{
    struct Row
    {
        int mAppended;
        void (*mpDo)(CtlQueue&);
        int mHead; // 0: held still
    } const ROWS[] = {
        {2, [](CtlQueue&) {}, 0},
        {1, [](CtlQueue&) {}, 1},
        {1, [](CtlQueue& nQueue) { nQueue.takeBack(nQueue.lastNumber()); }, 0},
        {2, [](CtlQueue& nQueue) { nQueue.takeBack(nQueue.lastNumber()); }, 0},
        {2, [](CtlQueue& nQueue) { nQueue.erase(0, 1); }, 2},
        {2, [](CtlQueue& nQueue) { nQueue.eraseFirst(2); }, 0},
        {2,
         [](CtlQueue& nQueue) {
             nQueue.put(0, {2, 0});
         },
         2},
        {2, [](CtlQueue& nQueue) { nQueue.pop(); }, 2},
    };
    for (Row const& lRow : ROWS)
    {
        CtlQueue lQueue(4);
        lQueue.append({1, 0});
        lQueue.holdHead();
        lQueue.append({lRow.mAppended, 0});
        lRow.mpDo(lQueue);
        EXPECT_EQ(lRow.mHead, lQueue.head() != nullptr ? lQueue.head()->mMsgId : 0) << &lRow - ROWS;
    }
}

// ---------------------------------------------------------------------------------------------- messages

// What an id means: to the dispatch, and whether a walk counts a slot for it.
TEST(MsgQueues, ReservedIdsOwnSlotsOrNot)
{
    using internal::CtlClass;
    struct Row
    {
        int mMsgId;
        CtlClass mDispatch;
        bool mHasSlotInWalks;
    } const ROWS[] = {
        {MSG_ID_NONE, CtlClass::MSG, false},
        {MSG_ID_ANY, CtlClass::MSG, false},
        {MSG_ID_TIMER, CtlClass::MSG, true},
        {MSG_ID_OUT_OF_BAND, CtlClass::CONTROL, false},
        {MSG_ID_STOP_THREAD, CtlClass::CONTROL, false},
        {MSG_ID_STOP_THREAD + 1, CtlClass::MSG, true},
        {MSG_ID_TIMEOUT_SIGNAL, CtlClass::NEVER, false},
        {MSG_ID_FIRST_USER - 1, CtlClass::MSG, true},
        {MSG_ID_FIRST_USER, CtlClass::MSG, true},
        {0, CtlClass::MSG, true},
    };
    for (Row const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mMsgId);
        EXPECT_EQ(lRow.mDispatch, internal::classOf(lRow.mMsgId));
        QuietLog const lQuiet;
        Queues lQueues;
        lQueues.post(lRow.mMsgId), lQueues.post(20);
        // If the walk leaves a slot out, what it takes for the second message is the first.
        EXPECT_EQ(lRow.mHasSlotInWalks ? MsgQueues::Erased::ALL : MsgQueues::Erased::FAILED, lQueues.eraseAll());
        EXPECT_EQ(lRow.mHasSlotInWalks ? Ids({lRow.mMsgId, 20}) : Ids(), lQueues.mSeen);
    }
}

// What was removed stays removed, and the rest is whole: at every failure, and when a timer is told that it has ended.
TEST(MsgQueues, QueuesAreWholeWhereverAnErasureStops)
{
    std::string const FAILED = "ERR: MsgDrivenThread::executeEraseMsg(): ";
    struct Row
    {
        int mSlot;         // behind 1, which goes, and 2, which stays; 0: none
        CtlRecord mRecord; // likewise
        std::string mLine; // or none
    } const ROWS[] = {
        {0, {4, -1}, FAILED + "Peek Data Queue fail. Line="},
        {0, {MSG_ID_SYNC, -1}, FAILED + "Peek Data Queue fail. Line="},
        {9, {4, -1}, FAILED + "Data Queue is different from Ctl Queue . Line="},
        {0, {TIMEOUT, 7}, ""},
    };
    for (Row const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mLine);
        bool const lIsWell = lRow.mLine.empty();
        LogCapture lLog;
        Queues lQueues;
        lQueues.post(1, 11), lQueues.post(2, 12);
        lRow.mSlot != 0 ? lQueues.slot(lRow.mSlot) : void();
        lQueues.record(lRow.mRecord.mMsgId, lRow.mRecord.mParam);
        lQueues.mOnTimeout = [&](int) { return lQueues.mCtl.size() == 1; };
        EXPECT_EQ(lIsWell ? MsgQueues::Erased::TIMER_ENDED : MsgQueues::Erased::FAILED,
                  lQueues.erase([](int nMsgId) { return nMsgId != 2; }));
        EXPECT_EQ(lIsWell ? 7 : -1, lQueues.mEndedTimerId);
        EXPECT_EQ(lIsWell ? 0U : 1U, lLog.count(lRow.mLine));
        EXPECT_EQ(12, lQueues.take());
    }
}

// A judgement erases all there is at its second message: told if it passes that, and nothing else is touched.
TEST(MsgQueues, JudgementMayEraseWhatIsWalked)
{
    struct Row
    {
        int mMsgId; // the second of three records, the first having gone
        std::string mLine;
    } const ROWS[] = {
        {TIMEOUT, "Erase Ctl Queue fail. Line="},
        {MSG_ID_SYNC, "Erase Queue fail. Line="},
        {2, "erase Data Queue fail. Line="},
    };
    for (Row const& lRow : ROWS)
    {
        for (bool const lPasses : {true, false})
        {
            SCOPED_TRACE(lRow.mLine + std::to_string(lPasses));
            LogCapture lLog;
            Queues lQueues;
            lQueues.post(1);
            lRow.mMsgId != TIMEOUT ? lQueues.slot(2) : void();
            lQueues.record(lRow.mMsgId), lQueues.post(3);
            int lCalls = 0;
            auto const lErased = lQueues.erase(
                [&](int)
                {
                    bool const lIsSecond = ++lCalls == 2;
                    EXPECT_EQ(MsgQueues::Erased::ALL, lIsSecond ? lQueues.eraseAll() : MsgQueues::Erased::ALL);
                    return !lIsSecond || lPasses;
                });
            EXPECT_EQ(lPasses ? MsgQueues::Erased::FAILED : MsgQueues::Erased::ALL, lErased);
            EXPECT_EQ(lPasses ? 1U : 0U, lLog.count("ERR: MsgDrivenThread::executeEraseMsg(): " + lRow.mLine));
            EXPECT_EQ(lRow.mMsgId == MSG_ID_SYNC ? 1 : 0, lQueues.mSyncErased);
            EXPECT_EQ(0U, lQueues.mCtl.size());
            EXPECT_EQ(0U, lQueues.mMsgs.slots().size());
        }
    }
}

// A find goes on where slots run out, or where a time-out, which has four bytes of data, cannot be shown.
TEST(MsgQueues, FindGoesOnWhereThereIsNothingToShow)
{
    LogCapture lLog;
    Queues lTiny(4);
    lTiny.record(TIMEOUT, 7), lTiny.slot(SimpleMsg(1)), lTiny.record(1);
    EXPECT_FALSE(lTiny.mMsgs.find(lTiny, nullptr));
    EXPECT_EQ(Ids{1}, lTiny.mSeen);
    EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread::executeFindMsg(): Can't store message. Line="));
    EXPECT_EQ(MsgQueues::Erased::FAILED, lTiny.eraseAll());
    EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread::executeEraseMsg(): Can't store message. Line="));
    Queues lQueues;
    lQueues.record(1), lQueues.record(MSG_ID_SYNC), lQueues.record(TIMEOUT, 7);
    lQueues.mPasses = [](int) { return true; };
    ThreadRawMsg lFound(4);
    EXPECT_TRUE(lQueues.mMsgs.find(lQueues, &lFound));
    TimerMsg lMsg;
    EXPECT_TRUE(lMsg.restoreFrom(lFound));
    EXPECT_EQ(7, lMsg.mTimerId);
    EXPECT_EQ(2U, lLog.count("ERR: MsgDrivenThread::executeFindMsg(): Peek Data Queue fail. Line="));
}

} // namespace
