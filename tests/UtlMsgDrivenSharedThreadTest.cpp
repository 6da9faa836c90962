#include "UtlMsgDrivenSharedThread.h"

#include "UtlThreadManager.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;

/// A shared thread with the listeners a to d, and 0 for null. What they hear stands in one text: "b1 a1 ct " is message
/// 1 for b, then for a, then a time-out for c.
class Room : public Holdable<MsgDrivenSharedThread>
{
public:
    struct Ear : ThreadMsgListener
    {
        void receiveMsg(int, ThreadRawMsg& nRawMsg) override
        {
            int lMsgId = 0;
            nRawMsg.getMsgId(&lMsgId);
            mpRoom->hear(mName, lMsgId);
            std::exchange(mAction, [] {})();
        }

        Room* mpRoom = nullptr;
        char mName = '0';
        std::function<void()> mAction = [] {}; // once; set while the thread is held or not started
    };

    explicit Room(unsigned int nMaxListenerCount = 4, unsigned int nMaxMsgCount = 8, bool nStarts = true)
        : Holdable(4, nMaxMsgCount, nMaxListenerCount, "shared", 4)
    {
        mHolder.mpRoom = this;
        for (char lName = 'a'; lName <= 'd'; ++lName)
        {
            ear(lName)->mpRoom = this;
            ear(lName)->mName = lName;
        }
        EXPECT_TRUE(!nStarts || begin());
    }
    ~Room() override { end(); }

    bool begin() { return start(0, 0, nullptr, 1, 0, NORMAL, 0) == 0; }

    /// Afterwards the message thread waits for release(), and then does nThen before it goes on.
    bool hold(std::function<void()> nThen = [] {})
    {
        mHolder.mAction = [this, nThen]
        {
            park();
            nThen();
        };
        return postMsg(&mHolder, 0) && mEntered.wait();
    }
    using MsgDrivenSharedThread::receiveMsg;
    bool fence() { return sendMsgSync(&mHolder, 0); }
    bool postCtl(int nMsgId, int nParam) { return postThreadCtlMsg(nMsgId, nParam); }

    Ear* ear(char nName) { return nName == '0' ? nullptr : &mEars[nName - 'a']; }

    /// Result: y or n for each.
    std::string attach(std::string const& nNames)
    {
        std::string lResults;
        for (char lName : nNames)
        {
            lResults += attachMsgListener(ear(lName)) ? 'y' : 'n';
        }
        return lResults;
    }
    void detach(std::string const& nNames)
    {
        for (char lName : nNames)
        {
            detachMsgListener(ear(lName));
        }
    }

    /// What was heard since the last call.
    std::string heard()
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        return std::exchange(mHeard, "");
    }
    void hear(char nName, int nMsgId)
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mHeard += nName == '0' ? "" : nName + (nMsgId == MSG_ID_TIMER ? "t" : std::to_string(nMsgId)) + " ";
    }

private:
    Ear mEars[4];
    Ear mHolder;
    std::mutex mMutex;
    std::string mHeard;
};

TEST(MsgDrivenSharedThread, RoutesToAllOrToOne)
{
    Room lRoom;
    Room::Ear* const lpC = lRoom.ear('c'); // never attached
    auto const lHasEnded = [&] { return lRoom.remTimerIdCount() == 4; };
    EXPECT_TRUE(lRoom.postMsg(1)); // nobody is there: consumed
    EXPECT_EQ("yy", lRoom.attach("ab"));
    std::pair<std::function<bool()>, char const*> const ROWS[] = {
        {[&] { return lRoom.postMsg(2) && lRoom.postMsg(lpC, 3); }, "b2 a2 c3 "},
        {[&] { return lRoom.sendMsgSync(4) && lRoom.sendMsgSync(lpC, 5); }, "b4 a4 c5 "},
        {[&] { return lRoom.sendMsgInterrupt(6) && lRoom.sendMsgInterrupt(lpC, 7); }, "b6 a6 c7 "},
        {[&] { return lRoom.setTimer(1, 0, 1, 0) > 0 && waitUntil(lHasEnded); }, "bt at "},
        {[&] { return lRoom.setTimer(lpC, 1, 0, 1, 1) > 0 && waitUntil(lHasEnded); }, "ct "},
        {[&] { return lRoom.fence() && lRoom.abortMsg(lpC); }, ""}, // its timer has left the table, or this would fail
    };
    for (auto const& [lSend, lHeard] : ROWS)
    {
        EXPECT_TRUE(lSend()) << lHeard;
        EXPECT_TRUE(lRoom.fence());
        EXPECT_EQ(lHeard, lRoom.heard());
    }
    EXPECT_EQ("nnn",
              said({lRoom.postMsg(nullptr, 1), lRoom.sendMsgSync(nullptr, 1), lRoom.sendMsgInterrupt(nullptr, 1)}));
    EXPECT_FALSE(lRoom.abortMsg(nullptr));
    EXPECT_EQ(-1, lRoom.setTimer(nullptr, 1, 0, 1, 0));
    LogCapture lLog;
    EXPECT_FALSE(lRoom.postMsg(lpC, MsgDrivenSharedThread::SpecifiedMsgListenerMsg(8))); // does not fit: in silence
    EXPECT_EQ(LogLines{}, lLog.lines());
}

TEST(MsgDrivenSharedThread, AttachesAtEachStageOfTheThread)
{
    enum
    {
        BEFORE,
        FROM_ELSEWHERE,
        ON_THE_THREAD,
        WHILE_IT_STOPS,
        AFTER
    };
    for (int lStage : {BEFORE, FROM_ELSEWHERE, ON_THE_THREAD, WHILE_IT_STOPS, AFTER})
    {
        SCOPED_TRACE(lStage);
        Room lRoom(2, 8, lStage != BEFORE);
        std::atomic<bool> lIsFree{lStage == BEFORE};
        auto const lCheck = [&]
        {
            EXPECT_EQ("nyyny", lRoom.attach("0abca"));
            lRoom.detach("0da"); // d never was there
            EXPECT_EQ("y", lRoom.attach("c"));
            EXPECT_TRUE(lIsFree); // it was waited for
        };
        auto const lGoOn = [&]
        {
            lIsFree = true;
            lStage == ON_THE_THREAD ? lCheck() : void();
        };
        ASSERT_TRUE(lStage == BEFORE || lRoom.hold(lGoOn));
        EXPECT_EQ(0, lStage >= WHILE_IT_STOPS ? lRoom.stop(0, 0) : 0);
        std::thread lReleaser([&] { lRoom.release(); });
        EXPECT_EQ(0, lStage == AFTER ? lRoom.waitTo(Thread::STAGE_DONE, 0) : 0);
        lStage != ON_THE_THREAD ? lCheck() : void();
        lReleaser.join();
        EXPECT_TRUE(lStage != BEFORE || lRoom.begin());
        EXPECT_EQ(lStage <= ON_THE_THREAD, lRoom.sendMsgSync(1));
        EXPECT_EQ(lStage <= ON_THE_THREAD ? "c1 b1 " : "", lRoom.heard());
    }
    EXPECT_EQ("n", Room(UINT_MAX).attach("a"));
}

// Who comes and goes inside a broadcast to a, b, c: nobody who stays is left out or called twice.
TEST(MsgDrivenSharedThread, ListChangesInsideABroadcast)
{
    struct Row
    {
        char mActor;
        char const* mDetached;
        char const* mAttached;
        char const* mFirst;
        char const* mSecond;
    } const ROWS[] = {
        {'c', "c", "", "c1 b1 a1 ", "b2 a2 "},     {'b', "b", "", "c1 b1 a1 ", "c2 a2 "},
        {'a', "a", "", "c1 b1 a1 ", "c2 b2 "},     {'c', "b", "", "c1 a1 ", "c2 a2 "},
        {'c', "cb", "", "c1 a1 ", "a2 "},          {'b', "c", "", "c1 b1 a1 ", "b2 a2 "},
        {'b', "ab", "", "c1 b1 ", "c2 "},          {'b', "abc", "", "c1 b1 ", ""},
        {'c', "c", "d", "c1 b1 a1 ", "d2 b2 a2 "}, {'b', "", "d", "c1 b1 a1 ", "d2 c2 b2 a2 "},
        {'b', "a", "a", "c1 b1 ", "a2 c2 b2 "},    {'b', "c", "c", "c1 b1 a1 ", "c2 b2 a2 "},
    };
    for (Row const& lRow : ROWS)
    {
        SCOPED_TRACE(std::string(1, lRow.mActor) + ": -" + lRow.mDetached + " +" + lRow.mAttached);
        Room lRoom(4, 8, false);
        EXPECT_EQ("yyy", lRoom.attach("abc"));
        lRoom.ear(lRow.mActor)->mAction = [&]
        {
            lRoom.detach(lRow.mDetached);
            lRoom.attach(lRow.mAttached);
        };
        EXPECT_EQ("yy", said({lRoom.begin(), lRoom.sendMsgSync(1)}));
        EXPECT_EQ(lRow.mFirst, lRoom.heard());
        EXPECT_TRUE(lRoom.sendMsgSync(2));
        EXPECT_EQ(lRow.mSecond, lRoom.heard());
    }
}

TEST(MsgDrivenSharedThread, ViewsTellBroadcastsAndListenersApart)
{
    Room lRoom;
    Room::Ear* const lpA = lRoom.ear('a');
    Room::Ear* const lpB = lRoom.ear('b');
    int const lTimerA = lRoom.registerTimer(lpA, 1000000, 0, 1);
    int const lTimerAll = lRoom.registerTimer(1000000, 0, 1);
    ThreadRawMsg lImage(4);
    NumberMsg lMsg(0);
    auto const lLook = [&]
    {
        std::pair<char, std::string> const ROWS[] = {
            {'-', "ynnyyn"}, {'a', "ynnyyn"}, {'b', "nynnyn"}, {'c', "nnnnnn"}, {'0', "nnnnnn"}}; // -: broadcasts
        for (auto const& [lName, lExpected] : ROWS)
        {
            Room::Ear* const lpEar = lName == '-' ? nullptr : lRoom.ear(lName);
            std::string lHas;
            for (int lId : {1, 2, 3, MSG_ID_TIMER, MSG_ID_ANY, MSG_ID_SPECIFIED_LISTENER})
            {
                lHas += (lName == '-' ? lRoom.hasMsg(lId) : lRoom.hasMsg(lpEar, lId)) ? 'y' : 'n';
                EXPECT_EQ(lHas.back() == 'y',
                          lName == '-' ? lRoom.peekMsg(lId, &lImage) : lRoom.peekMsg(lpEar, lId, &lImage));
            }
            EXPECT_EQ(lExpected, lHas) << lName;
        }
        EXPECT_EQ(1, lRoom.getFirstMsgId());
        EXPECT_EQ(MSG_ID_TIMER, lRoom.getFirstMsgId(lpA));
        EXPECT_EQ(MSG_ID_NONE, lRoom.getFirstMsgId(lRoom.ear('c')));
        EXPECT_EQ("yy", said({lRoom.peekMsg(lpA, 1, &lImage), lMsg.restoreFrom(lImage)}));
        EXPECT_EQ(11, lMsg.mNumber);
        EXPECT_EQ("yy", said({lRoom.peekMsg(lpA, MSG_ID_TIMER, &lImage), lMsg.restoreFrom(lImage)}));
        EXPECT_EQ(lTimerA, lMsg.mNumber);
        EXPECT_EQ("yy", said({lRoom.peekMsg(MSG_ID_TIMER, &lImage), lMsg.restoreFrom(lImage)}));
        EXPECT_EQ(lTimerAll, lMsg.mNumber);
        EXPECT_EQ("nnn", said({lRoom.peekMsg(1, nullptr), lRoom.peekMsg(lpA, 1, nullptr), lRoom.eraseMsg(nullptr, 1)}));
        EXPECT_EQ("nn", said({lRoom.sendMsgSync(lpA, 1), lRoom.sendMsgInterrupt(lpA, 1)})); // it would wait for itself
        EXPECT_EQ("yy", said({lRoom.eraseMsg(1), lRoom.eraseMsg(lpB, MSG_ID_ANY)}));
    };
    lRoom.attach("d");
    ASSERT_TRUE(lRoom.hold(lLook));
    EXPECT_EQ("yyyyyy",
              said({lRoom.postMsg(1), lRoom.postCtl(MSG_ID_TIMEOUT, lTimerA), lRoom.postMsg(lpA, NumberMsg(1, 11)),
                    lRoom.postMsg(lpB, 2), lRoom.postCtl(MSG_ID_TIMEOUT, lTimerAll), lRoom.postMsg(4)}));
    lRoom.release();
    ASSERT_TRUE(lRoom.fence());
    EXPECT_EQ("at a1 dt d4 ", lRoom.heard());
}

// Messages, time-outs, a sender that waits; on the message thread timers that fire, and an interrupt that waits.
TEST(MsgDrivenSharedThread, AbortLeavesNothingBehind)
{
    for (bool lIsOwnThread : {true, false})
    {
        Room lRoom;
        Room::Ear* const lpA = lRoom.ear('a');
        lRoom.attach("b");
        ASSERT_TRUE(lRoom.hold([&] { EXPECT_TRUE(!lIsOwnThread || lRoom.abortMsg(lpA)); }));
        int const lResting = lRoom.registerTimer(lpA, 1, 0, 1);
        for (int lIsFreeRunning = 0; lIsOwnThread && lIsFreeRunning < 2; ++lIsFreeRunning)
        {
            EXPECT_LT(0, lRoom.setTimer(lpA, 1, 1, 0, lIsFreeRunning));
        }
        EXPECT_EQ("yyy", said({lRoom.postCtl(MSG_ID_TIMEOUT, lResting), lRoom.postMsg(lpA, 1), lRoom.postMsg(lpA, 2)}));
        EXPECT_EQ("yy", said({lRoom.postMsg(lRoom.ear('b'), 3), lRoom.postMsg(4)}));
        ASSERT_TRUE(lRoom.elsewhere(lIsOwnThread ? 8 : 6, [&] { EXPECT_FALSE(lRoom.sendMsgSync(lpA, 5)); }));
        auto const lInterrupt = [&] { EXPECT_FALSE(lRoom.sendMsgInterrupt(lpA, 6)); };
        auto const lAbort = [&] { EXPECT_TRUE(lRoom.abortMsg(lpA)); };
        ASSERT_TRUE(lIsOwnThread ? lRoom.elsewhere(9, lInterrupt) : lRoom.elsewhere(8, lAbort));
        lRoom.release();
        EXPECT_TRUE(lRoom.fence()) << lIsOwnThread;
        EXPECT_EQ(4, lRoom.remTimerIdCount()) << lIsOwnThread;
        EXPECT_EQ("b3 b4 ", lRoom.heard()) << lIsOwnThread;
    }
}

TEST(MsgDrivenSharedThread, FullQueuesRefuse)
{
    Room lRoom(4, 1);
    Room::Ear* const lpA = lRoom.ear('a');
    lRoom.attach("a");
    ASSERT_TRUE(lRoom.hold());
    EXPECT_TRUE(lRoom.postMsg(1));
    LogCapture lLog;
    EXPECT_EQ("n", lRoom.attach("b"));
    lRoom.detach("a");
    EXPECT_EQ((LogLines{"<UTIL> ERR: MsgDrivenThread(shared) Overflow MsgDataQueue  MaxCount:1 MsgId:0x80000021",
                        "<UTIL> ERR: MsgDrivenSharedThread::attachMsgListener(): Can't send thread",
                        "<UTIL> DTL: MsgDrivenThread(shared) Overflow MsgDataQueue  MaxCount:1 MsgId:0x80000022",
                        "<UTIL> ERR: MsgDrivenSharedThread::detachMsgListener(): Can't send thread"}),
              lLog.lines());
    lRoom.registerTimer(lpA, 1, 0, 0);
    while (lRoom.postCtl(MSG_ID_STOP_TIMER, -1))
    {
    }
    EXPECT_EQ(-1, lRoom.setTimer(lpA, 1, 0, 0, 0));
    EXPECT_EQ(2, lRoom.remTimerIdCount()); // its place stays taken
    EXPECT_FALSE(lRoom.abortMsg(lpA));     // the timer that it knows cannot be killed, the queue not searched
    lRoom.release();
    ASSERT_TRUE(waitUntil([&] { return lRoom.fence(); }));
    EXPECT_EQ("a1 ", lRoom.heard());
    EXPECT_TRUE(lRoom.abortMsg(lpA));
}

// An idle thread is not a hung one, and need not report.
TEST(MsgDrivenSharedThread, TellsTheWatchdogWhereItIsWhileItWorks)
{
    LogCapture lLog;
    ThreadManager& lManager = *ThreadManager::get();
    Room lRoom;
    lRoom.ear('a')->mAction = [&] { lManager.printWatchdogInfo(1); };
    ASSERT_TRUE(lRoom.hold());
    EXPECT_TRUE(lManager.entryWatchdog(1000000, nullptr, lRoom.getId())); // which it finds out with its next work
    EXPECT_TRUE(lRoom.postMsg(lRoom.ear('a'), 1));
    lRoom.release();
    EXPECT_TRUE(lRoom.fence());
    EXPECT_EQ(1U, lLog.count(" WATCHING    , ALIVE       ,             0, "
                             "(source/UtlMsgDrivenSharedThread, receiveMsg:"));
    EXPECT_TRUE(waitUntil([&] { return !lManager.isWatchingWatchdog(lRoom.getId()); }));
    EXPECT_EQ(0, lRoom.stop(1, 0));
    EXPECT_FALSE(lManager.isRegisteredWatchdog(lRoom.getId()));
}

TEST(MsgDrivenSharedThread, ImageWithoutAnIdIsTold)
{
    struct Nameless : ThreadRawMsg
    {
        using ThreadRawMsg::ThreadRawMsg;
        bool getMsgId(int*) override { return false; }
    } lNameless(8);
    LogCapture lLog;
    Room(1, 1, false).receiveMsg(0, lNameless);
    EXPECT_EQ(1U, lLog.count("Unknown MsgId Received (shared)"));
}

} // namespace
