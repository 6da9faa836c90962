// The queues of a message thread: what an id means to them, and what they say when they do not fit together.
#include "internal/message/UtlMsgQueues.h"

#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::CtlQueue;
using Peer = MsgDrivenThreadTestPeer;
using Ids = std::vector<int>;

int const TIMEOUT = MSG_ID_TIMEOUT;

/// A message thread that does something in its listener, so that nothing is dispatched meanwhile.
struct Busy : Started
{
    using Started::Started;

    void run(std::function<void()> nDo)
    {
        Gate lIsDone;
        mRecorder.on(1, [&](int) { nDo(), lIsDone.open(); });
        EXPECT_EQ("yy", said({postMsg(1), lIsDone.wait()}));
    }

    void postSlot(int nMsgId) { EXPECT_EQ("yy", said({postMsg(nMsgId), Peer::eraseCtl(*this, nMsgId)})); }

    /// Erases what nPasses says yes to.
    bool erase(std::function<bool(int nMsgId)> nPasses)
    {
        auto lPasses = [&](ThreadRawMsg& nRawMsg)
        {
            int lMsgId = 0;
            nRawMsg.getMsgId(&lMsgId);
            mSeen.push_back(lMsgId);
            return nPasses(lMsgId);
        };
        MsgJudgement<decltype(lPasses)> lJudgement(&lPasses);
        return eraseMsgInternal(&lJudgement);
    }

    Ids mSeen; // ids, in the order of the judgement's calls
};

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
        Busy lThread;
        auto const lUse = [&]
        {
            EXPECT_EQ("yy", said({lThread.postMsg(lRow.mMsgId), lThread.postMsg(20)}));
            // If the walk leaves a slot out, what it takes for the second message is the first.
            EXPECT_EQ(lRow.mHasSlotInWalks, lThread.erase([](int) { return true; }));
        };
        lThread.run(lUse);
        EXPECT_EQ(lRow.mHasSlotInWalks ? Ids({lRow.mMsgId, 20}) : Ids(), lThread.mSeen);
    }
}

// What was removed stays removed, and the rest is whole.
TEST(MsgQueues, WhatDoesNotFitTogetherIsTold)
{
    struct Row
    {
        unsigned int mMaxMsgSize;
        int mSlot;   // without a record; 0: none
        int mRecord; // without a slot
        std::string mErase;
        std::string mFind; // goes on
    } const ROWS[] = {
        {4, 0, 4, "Peek Data Queue fail. Line=", "Peek Data Queue fail. Line="},
        {4, 0, MSG_ID_SYNC, "Peek Data Queue fail. Line=", "Peek Data Queue fail. Line="},
        {4, 9, 4, "Data Queue is different from Ctl Queue . Line=", ""},
        {0, 0, TIMEOUT, "Can't store message. Line=", "Can't store message. Line="},
    };
    for (Row const& lRow : ROWS)
    {
        SCOPED_TRACE(&lRow - ROWS);
        LogCapture lLog;
        Busy lThread(8, lRow.mMaxMsgSize);
        auto const lUse = [&]
        {
            EXPECT_EQ("yy", said({lThread.postMsg(2), lThread.postMsg(3)}));
            lRow.mSlot != 0 ? lThread.postSlot(lRow.mSlot) : void();
            EXPECT_TRUE(Peer::postCtl(lThread, lRow.mRecord));
            EXPECT_FALSE(lThread.hasMsg(99));
            EXPECT_FALSE(lThread.erase([](int nMsgId) { return nMsgId != 3; }));
        };
        lThread.run(lUse);
        EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread::executeEraseMsg(): " + lRow.mErase));
        EXPECT_EQ(lRow.mFind.empty() ? 0U : 1U, lLog.count("ERR: MsgDrivenThread::executeFindMsg(): " + lRow.mFind));
        EXPECT_TRUE(waitUntil([&] { return lThread.ids() == Ids{1, 3}; }));
    }
}

// A judgement erases all there is at its second message: told if it passes that, and nothing else is touched.
TEST(MsgQueues, JudgementMayEraseWhatIsWalked)
{
    std::pair<int, std::string> const ROWS[] = {// the second of three records, the first having gone
                                                {TIMEOUT, "Erase Ctl Queue fail. Line="},
                                                {MSG_ID_SYNC, "Erase Queue fail. Line="},
                                                {2, "erase Data Queue fail. Line="}};
    for (auto const& [lMsgId, lLine] : ROWS)
    {
        for (bool const lPasses : {true, false})
        {
            SCOPED_TRACE(lLine + std::to_string(lPasses));
            LogCapture lLog;
            Busy lThread;
            int lCalls = 0;
            auto const lJudge = [&](int)
            {
                bool const lIsSecond = ++lCalls == 2;
                EXPECT_TRUE(!lIsSecond || lThread.erase([](int) { return true; }));
                return !lIsSecond || lPasses;
            };
            auto const lUse = [&, lSecond = lMsgId]
            {
                EXPECT_TRUE(lThread.postMsg(4));
                lSecond != TIMEOUT ? lThread.postSlot(2) : void();
                EXPECT_EQ("yy", said({Peer::postCtl(lThread, lSecond), lThread.postMsg(3)}));
                EXPECT_EQ(!lPasses, lThread.erase(lJudge));
            };
            lThread.run(lUse);
            EXPECT_EQ(lPasses ? 1U : 0U, lLog.count("ERR: MsgDrivenThread::executeEraseMsg(): " + lLine));
            EXPECT_EQ(0U, Peer::left(lThread).size());
            EXPECT_TRUE(lThread.fence());
            EXPECT_EQ(Ids{1}, lThread.ids());
        }
    }
}

} // namespace
