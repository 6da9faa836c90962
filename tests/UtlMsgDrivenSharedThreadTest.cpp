#include "UtlMsgDrivenSharedThread.h"

#include "UtlThreadManager.h"
#include "support/LogCapture.h"
#include "support/MsgThread.h"

#include <atomic>
#include <climits>
#include <cstring>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

namespace utl
{

class MsgDrivenThreadTestPeer
{
public:
    static unsigned int ctlCount(MsgDrivenThread& nThread)
    {
        SyncGuard lGuard(nThread.mQueueSyncObject);
        return nThread.mCtlQueue.size();
    }
};

} // namespace utl

namespace
{

using namespace utl;
using utl::test::Gate;
using utl::test::LogCapture;
using utl::test::NumberMsg;
using utl::test::waitUntil;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);

/// A shared thread with the listeners a to d. What they hear stands in one text: "b1 a1 ct " is message 1 for b, then
/// for a, then a time-out for c.
class Room : public MsgDrivenSharedThread
{
public:
    struct Ear : ThreadMsgListener
    {
        void receiveMsg(int, ThreadRawMsg& nRawMsg) override
        {
            int lMsgId = 0;
            nRawMsg.getMsgId(&lMsgId);
            mpRoom->hear(mName + (lMsgId == MSG_ID_TIMER ? "t" : std::to_string(lMsgId)) + " ");
            if (auto const lAction = mAction) // a copy, since it may change the original
            {
                lAction();
            }
        }

        Room* mpRoom = nullptr;
        std::string mName;
        std::function<void()> mAction; // set while the thread is held or not started
    };

    explicit Room(unsigned int nMaxListenerCount = 4, unsigned int nMaxMsgCount = 8, int nUseWatchdog = 0,
                  bool nStarts = true)
        : MsgDrivenSharedThread(4, nMaxMsgCount, nMaxListenerCount, "shared", 4)
    {
        for (char lName = 'a'; lName <= 'd'; ++lName)
        {
            ear(lName).mpRoom = this;
            ear(lName).mName = lName;
        }
        mHolder.mpRoom = this;
        if (nStarts)
        {
            start(nUseWatchdog, 1000000, nullptr, 1, 0, NORMAL, 0);
        }
    }
    ~Room() override
    {
        mRelease.open();
        stop(1, 0);
        leaveManagement();
    }

    /// Afterwards the message thread waits for release(), and then does nThen before it goes on.
    bool hold(std::function<void()> nThen = nullptr)
    {
        mHolder.mAction = [this, nThen]
        {
            mHolder.mAction = nullptr;
            mEntered.open();
            mRelease.wait();
            if (nThen)
            {
                nThen();
            }
        };
        bool const lIsHeld = postMsg(&mHolder, 0) && mEntered.wait();
        heard();
        return lIsHeld;
    }
    void release() { mRelease.open(); }
    bool fence() { return sendMsgSync(&mHolder, 0); }
    bool hasQueued(unsigned int nCount)
    {
        return waitUntil([&] { return MsgDrivenThreadTestPeer::ctlCount(*this) == nCount; });
    }
    bool postTimeout(int nTimerId) { return postThreadCtlMsg(MSG_ID_TIMEOUT, nTimerId); }
    bool fillControlQueue()
    {
        test::QuietLog lQuiet;
        while (postThreadCtlMsg(MSG_ID_STOP_TIMER, -1))
        {
        }
        return true;
    }

    Ear& ear(char nName) { return mEars[nName - 'a']; }

    /// What was heard since the last call.
    std::string heard()
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        return std::exchange(mHeard, "");
    }
    void hear(std::string const& nText)
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mHeard += nText[0] == '0' ? "" : nText; // not the holder's
    }

private:
    Ear mEars[4];
    Ear mHolder;
    Gate mEntered;
    Gate mRelease;
    std::mutex mMutex;
    std::string mHeard;
};

TEST(MsgDrivenSharedThread, RoutesToAllOrToOne)
{
    Room lRoom;
    Room::Ear& lC = lRoom.ear('c');
    EXPECT_TRUE(lRoom.postMsg(1)); // nobody is there: consumed
    EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear('a')));
    EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear('b')));
    struct Row
    {
        std::function<bool()> mSend;
        std::string mHeard;
    } const ROWS[] = {
        {[&] { return lRoom.postMsg(2); }, "b2 a2 "},
        {[&] { return lRoom.postMsg(&lC, 3); }, "c3 "}, // attached or not
        {[&] { return lRoom.sendMsgSync(4); }, "b4 a4 "},
        {[&] { return lRoom.sendMsgSync(&lC, 5); }, "c5 "},
        {[&] { return lRoom.sendMsgInterrupt(6); }, "b6 a6 "},
        {[&] { return lRoom.sendMsgInterrupt(&lC, 7); }, "c7 "},
        {[&] { return lRoom.setTimer(1, 0, 1, 0) > 0 && waitUntil([&] { return lRoom.remTimerIdCount() == 4; }); },
         "bt at "},
        {[&] { return lRoom.setTimer(&lC, 1, 0, 1, 1) > 0 && waitUntil([&] { return lRoom.remTimerIdCount() == 4; }); },
         "ct "},
        {[&] { return lRoom.abortMsg(&lC); }, ""}, // its timer has left the table, or this would fail
        {[&] { return !lRoom.postMsg(nullptr, 1) && !lRoom.sendMsgSync(nullptr, 1); }, ""},
        {[&] { return !lRoom.sendMsgInterrupt(nullptr, 1) && !lRoom.abortMsg(nullptr); }, ""},
        {[&] { return lRoom.setTimer(nullptr, 1, 0, 1, 0) == -1 && lRoom.registerTimer(nullptr, 1, 1, 0) == -1; }, ""},
    };
    for (Row const& lRow : ROWS)
    {
        EXPECT_TRUE(lRow.mSend()) << lRow.mHeard;
        EXPECT_TRUE(lRoom.fence());
        EXPECT_EQ(lRow.mHeard, lRoom.heard());
    }
}

TEST(MsgDrivenSharedThread, SpecifiedMessageFillsItsSlot)
{
    LogCapture lLog;
    Room lRoom;
    int lNumber = 0;
    struct Reader : ThreadMsgListener
    {
        void receiveMsg(int, ThreadRawMsg& nRawMsg) override { mIsGood = mMsg.restoreFrom(nRawMsg); }
        NumberMsg mMsg{0};
        bool mIsGood = false;
    } lReader;
    EXPECT_TRUE(lRoom.sendMsgSync(&lReader, NumberMsg(7, 123456789)));
    EXPECT_TRUE(lReader.mIsGood && lReader.mMsg.mMsgId == 7 && lReader.mMsg.mNumber == 123456789);
    struct TooBig : SimpleMsg
    {
        TooBig()
            : SimpleMsg(8)
        {
        }
        void storeDataTo(MsgDataBroker* npBroker) const override { npBroker->set("12345"); }
    };
    EXPECT_FALSE(lRoom.postMsg(&lReader, TooBig()));
    EXPECT_TRUE(lLog.lines().empty());

    ThreadRawMsg lImage(4 + sizeof(void*) + 8);
    MsgDrivenSharedThread::SpecifiedMsgListenerMsg lEnvelope(8);
    lEnvelope.mpListener = &lReader;
    EXPECT_TRUE(NumberMsg(9, 10).storeTo(&lEnvelope.mRawMsg) && lEnvelope.storeTo(&lImage));
    EXPECT_EQ(0, std::memcmp(lImage.buffer() + 4, &lEnvelope.mpListener, sizeof(void*)));
    std::memcpy(&lNumber, lImage.buffer() + 8 + sizeof(void*), 4);
    EXPECT_EQ(10, lNumber);
    ThreadRawMsg lShort(4 + sizeof(void*) + 7);
    EXPECT_FALSE(lEnvelope.storeTo(&lShort));
}

// Before the start, on the message thread, from another, while a stop is under way, after the end.
TEST(MsgDrivenSharedThread, AttachesAtEachStageOfTheThread)
{
    for (int lStage = 0; lStage < 5; ++lStage)
    {
        SCOPED_TRACE(lStage);
        Room lRoom(2, 8, 0, lStage != 0);
        auto const lCheck = [&]
        {
            EXPECT_FALSE(lRoom.attachMsgListener(nullptr));
            lRoom.detachMsgListener(nullptr);
            lRoom.detachMsgListener(&lRoom.ear('d')); // never attached
            EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear('a')));
            EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear('b')));
            EXPECT_FALSE(lRoom.attachMsgListener(&lRoom.ear('c')));
            EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear('a'))); // is there
            lRoom.detachMsgListener(&lRoom.ear('a'));
            EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear('c')));
        };
        if (lStage == 1)
        {
            ASSERT_TRUE(lRoom.hold(lCheck));
            lRoom.release();
            ASSERT_TRUE(lRoom.fence());
        }
        else if (lStage == 3)
        {
            std::atomic<bool> lWaited{false};
            ASSERT_TRUE(lRoom.hold([&] { lWaited = true; }));
            EXPECT_EQ(0, lRoom.stop(0, 0));
            std::thread lAttacher(
                [&]
                {
                    lCheck();
                    EXPECT_TRUE(lWaited);
                });
            lRoom.release();
            lAttacher.join();
        }
        else
        {
            EXPECT_TRUE(lStage < 4 || lRoom.stop(1, 0) == 0);
            lCheck();
        }
        if (lStage == 0)
        {
            EXPECT_EQ(0, lRoom.start(0, 0, nullptr, 0, 0, NORMAL, 0));
        }
        if (lStage < 3)
        {
            EXPECT_TRUE(lRoom.sendMsgSync(1));
            EXPECT_EQ("c1 b1 ", lRoom.heard());
        }
    }
    for (unsigned int lCapacity : {0U, static_cast<unsigned int>(INT_MIN), UINT_MAX})
    {
        Room lRoom(lCapacity);
        EXPECT_FALSE(lRoom.attachMsgListener(&lRoom.ear('a')));
    }
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
        Room lRoom(4, 8, 0, false);
        for (char lName : {'a', 'b', 'c'})
        {
            EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear(lName)));
        }
        lRoom.ear(lRow.mActor).mAction = [&]
        {
            lRoom.ear(lRow.mActor).mAction = nullptr;
            for (char const* lpName = lRow.mDetached; *lpName != '\0'; ++lpName)
            {
                lRoom.detachMsgListener(&lRoom.ear(*lpName));
            }
            for (char const* lpName = lRow.mAttached; *lpName != '\0'; ++lpName)
            {
                EXPECT_TRUE(lRoom.attachMsgListener(&lRoom.ear(*lpName)));
            }
        };
        lRoom.start(0, 0, nullptr, 1, 0, NORMAL, 0);
        EXPECT_TRUE(lRoom.sendMsgSync(1));
        EXPECT_EQ(lRow.mFirst, lRoom.heard()) << lRow.mActor << lRow.mDetached << lRow.mAttached;
        EXPECT_TRUE(lRoom.sendMsgSync(2));
        EXPECT_EQ(lRow.mSecond, lRoom.heard()) << lRow.mActor << lRow.mDetached << lRow.mAttached;
    }
}

TEST(MsgDrivenSharedThread, ViewsTellBroadcastsAndListenersApart)
{
    Room lRoom;
    Room::Ear* const lpA = &lRoom.ear('a');
    Room::Ear* const lpB = &lRoom.ear('b');
    Room::Ear* const lpC = &lRoom.ear('c');
    int const lTimerA = lRoom.registerTimer(lpA, 1000000, 0, 1);
    int const lTimerAll = lRoom.registerTimer(1000000, 0, 1);
    auto const lLook = [&]
    {
        struct Row
        {
            Room::Ear* mpListener;
            char const* mHas; // of 1, 2, 3, time-out, any, envelope
            int mFirst;
        } const ROWS[] = {
            {nullptr, "yn-yyn", 1}, {lpA, "ynnyyn", MSG_ID_TIMER}, {lpB, "nynnyn", 2}, {lpC, "nnnnnn", MSG_ID_NONE}};
        int const IDS[] = {1, 2, 3, MSG_ID_TIMER, MSG_ID_ANY, MSG_ID_SPECIFIED_LISTENER};
        for (Row const& lRow : ROWS)
        {
            bool const lIsAll = lRow.mpListener == nullptr;
            for (int lAt = 0; lAt < 6; ++lAt)
            {
                bool const lHas = lIsAll ? lRoom.hasMsg(IDS[lAt]) : lRoom.hasMsg(lRow.mpListener, IDS[lAt]);
                ThreadRawMsg lImage(4);
                EXPECT_EQ(lHas, lIsAll ? lRoom.peekMsg(IDS[lAt], &lImage)
                                       : lRoom.peekMsg(lRow.mpListener, IDS[lAt], &lImage));
                EXPECT_EQ(lRow.mHas[lAt] == 'y', lHas) << lRow.mFirst << " " << lAt;
            }
            EXPECT_EQ(lRow.mFirst, lIsAll ? lRoom.getFirstMsgId() : lRoom.getFirstMsgId(lRow.mpListener));
        }
        NumberMsg lMsg(0);
        ThreadRawMsg lImage(4);
        EXPECT_TRUE(lRoom.peekMsg(lpA, 1, &lImage) && lMsg.restoreFrom(lImage));
        EXPECT_EQ(std::make_pair(1, 11), std::make_pair(lMsg.mMsgId, lMsg.mNumber));
        EXPECT_EQ(8U, lImage.maxSize());
        EXPECT_TRUE(lRoom.peekMsg(lpA, MSG_ID_TIMER, &lImage) && lMsg.restoreFrom(lImage));
        EXPECT_EQ(lTimerA, lMsg.mNumber);
        EXPECT_TRUE(lRoom.peekMsg(MSG_ID_TIMER, &lImage) && lMsg.restoreFrom(lImage));
        EXPECT_EQ(lTimerAll, lMsg.mNumber);
        EXPECT_FALSE(lRoom.peekMsg(1, nullptr) || lRoom.peekMsg(lpA, 1, nullptr) || lRoom.peekMsg(nullptr, 1, &lImage));
        EXPECT_FALSE(lRoom.hasMsg(nullptr, 1) || lRoom.eraseMsg(nullptr, 1));
        EXPECT_EQ(MSG_ID_NONE, lRoom.getFirstMsgId(nullptr));
        EXPECT_FALSE(lRoom.sendMsgSync(lpA, 1) || lRoom.sendMsgInterrupt(lpA, 1)); // it would wait for itself
        EXPECT_TRUE(lRoom.stop(1, 0) == -1 && lRoom.start(0, 0, nullptr, 0, 0, NORMAL, 0) == -1);
        EXPECT_TRUE(lRoom.eraseMsg(1) && lRoom.eraseMsg(lpB, MSG_ID_ANY));
    };
    lRoom.attachMsgListener(&lRoom.ear('d'));
    ASSERT_TRUE(lRoom.hold(lLook));
    EXPECT_TRUE(lRoom.postMsg(1) && lRoom.postTimeout(lTimerA) && lRoom.postMsg(lpA, NumberMsg(1, 11)) &&
                lRoom.postMsg(lpB, 2) && lRoom.postTimeout(lTimerAll) && lRoom.postMsg(4));
    lRoom.release();
    ASSERT_TRUE(lRoom.fence());
    EXPECT_EQ("at a1 dt d4 ", lRoom.heard());
}

// Messages, time-outs, a sender that waits; on the message thread timers that fire, and an interrupt that waits.
TEST(MsgDrivenSharedThread, AbortLeavesNothingBehind)
{
    for (bool lIsOwnThread : {true, false})
    {
        SCOPED_TRACE(lIsOwnThread);
        Room lRoom;
        Room::Ear* const lpA = &lRoom.ear('a');
        lRoom.attachMsgListener(&lRoom.ear('b'));
        bool lIsAborted = false;
        ASSERT_TRUE(lRoom.hold([&] { lIsAborted = lIsOwnThread && lRoom.abortMsg(lpA); }));
        int const lResting = lRoom.registerTimer(lpA, 1, 0, 1);
        EXPECT_TRUE(!lIsOwnThread || (lRoom.setTimer(lpA, 1, 1, 0, 0) > 0 && lRoom.setTimer(lpA, 1, 1, 0, 1) > 0));
        EXPECT_TRUE(lRoom.postTimeout(lResting) && lRoom.postMsg(lpA, 1) && lRoom.postMsg(lpA, 2));
        EXPECT_TRUE(lRoom.postMsg(&lRoom.ear('b'), 3) && lRoom.postMsg(4));
        std::thread lSender([&] { EXPECT_FALSE(lRoom.sendMsgSync(lpA, 5)); });
        unsigned int const lQueued = lIsOwnThread ? 8 : 6;
        ASSERT_TRUE(lRoom.hasQueued(lQueued));
        std::thread lOther(
            [&]
            {
                if (lIsOwnThread)
                {
                    EXPECT_FALSE(lRoom.sendMsgInterrupt(lpA, 6));
                }
                else
                {
                    lIsAborted = lRoom.abortMsg(lpA);
                }
            });
        ASSERT_TRUE(lRoom.hasQueued(lQueued + (lIsOwnThread ? 1 : 2)));
        lRoom.release();
        lOther.join();
        lSender.join();
        ASSERT_TRUE(lRoom.fence());
        EXPECT_TRUE(lIsAborted);
        EXPECT_EQ(4, lRoom.remTimerIdCount());
        EXPECT_EQ("b3 b4 ", lRoom.heard());
    }
}

TEST(MsgDrivenSharedThread, NoCallIsUnderWayAfterAbort)
{
    Room lRoom(4, 64);
    for (int lRound = 0; lRound < 200; ++lRound)
    {
        auto lpListener = std::make_unique<Room::Ear>(); // a late call would find it freed
        lpListener->mpRoom = &lRoom;
        lpListener->mName = "x";
        EXPECT_TRUE(lRoom.attachMsgListener(lpListener.get()));
        EXPECT_LT(0, lRoom.setTimer(lpListener.get(), 1, 1, 0, lRound % 2));
        EXPECT_LT(0, lRoom.setTimer(lpListener.get(), 1, 0, 0, lRound % 2));
        EXPECT_TRUE(lRoom.postMsg(1) && lRoom.postMsg(lpListener.get(), 2));
        EXPECT_TRUE(lRound % 8 != 0 || waitUntil([&] { return lRoom.heard().find("xt") != std::string::npos; }));
        lRoom.detachMsgListener(lpListener.get());
        EXPECT_TRUE(lRoom.abortMsg(lpListener.get()));
        EXPECT_EQ(4, lRoom.remTimerIdCount());
    }
}

TEST(MsgDrivenSharedThread, FullQueuesRefuse)
{
    Room lRoom(4, 1);
    Room::Ear* const lpA = &lRoom.ear('a');
    lRoom.attachMsgListener(lpA);
    ASSERT_TRUE(lRoom.hold());
    EXPECT_TRUE(lRoom.postMsg(1));
    LogCapture lLog;
    EXPECT_FALSE(lRoom.attachMsgListener(&lRoom.ear('b')));
    lRoom.detachMsgListener(lpA);
    EXPECT_EQ((std::vector<std::string>{
                  "<UTIL> ERR: MsgDrivenThread(shared) Overflow MsgDataQueue  MaxCount:1 MsgId:0x80000021",
                  "<UTIL> ERR: MsgDrivenSharedThread::attachMsgListener(): Can't send thread",
                  "<UTIL> DTL: MsgDrivenThread(shared) Overflow MsgDataQueue  MaxCount:1 MsgId:0x80000022",
                  "<UTIL> ERR: MsgDrivenSharedThread::detachMsgListener(): Can't send thread"}),
              lLog.lines());
    int const lKept = lRoom.registerTimer(lpA, 1, 0, 0);
    lRoom.fillControlQueue();
    EXPECT_EQ(-1, lRoom.setTimer(lpA, 1, 0, 0, 0));
    EXPECT_EQ(2, lRoom.remTimerIdCount()); // its place stays taken
    EXPECT_FALSE(lRoom.abortMsg(lpA));     // the one timer that it knows cannot be killed, the queue not searched
    lRoom.release();
    ASSERT_TRUE(waitUntil([&] { return lRoom.fence(); }));
    EXPECT_EQ("a1 ", lRoom.heard());
    EXPECT_TRUE(lRoom.killTimer(lKept, 0));
    EXPECT_TRUE(lRoom.abortMsg(lpA));
}

// The thread ends under those who wait for it, without stop() of this class, which would wait for them.
TEST(MsgDrivenSharedThread, EndOfTheThreadReleasesWhoWaits)
{
    LogCapture lLog;
    Room lRoom;
    Room::Ear* const lpA = &lRoom.ear('a');
    ASSERT_TRUE(lRoom.hold());
    EXPECT_LT(0, lRoom.setTimer(lpA, 1, 1, 0, 0));
    std::thread lAttacher([&] { EXPECT_FALSE(lRoom.attachMsgListener(lpA)); });
    ASSERT_TRUE(lRoom.hasQueued(2));
    std::thread lAborter([&] { EXPECT_TRUE(lRoom.abortMsg(lpA)); }); // nothing runs it any more
    ASSERT_TRUE(lRoom.hasQueued(4));
    std::thread lSender([&] { EXPECT_FALSE(lRoom.sendMsgInterrupt(lpA, 1)); });
    ASSERT_TRUE(lRoom.hasQueued(5));
    EXPECT_EQ(0, static_cast<MsgDrivenThread&>(lRoom).stop(0, 0));
    lRoom.release();
    lAttacher.join();
    lAborter.join();
    lSender.join();
    EXPECT_EQ(1U, lLog.count("MsgDrivenSharedThread::attachMsgListener(): Can't send thread"));
    EXPECT_EQ("", lRoom.heard());
    EXPECT_EQ(0, lRoom.waitTo(Thread::STAGE_DONE, 0));
    EXPECT_FALSE(lRoom.abortMsg(lpA));
}

// All at once against stop(): everybody comes home, whatever each is told.
TEST(MsgDrivenSharedThread, EverythingAtOnceAgainstStop)
{
    test::QuietLog lQuiet;
    for (int lRound = 0; lRound < 40; ++lRound)
    {
        Room lRoom(3);
        Room::Ear* const lpC = &lRoom.ear('c');
        lpC->mAction = [&] // comes and goes inside broadcasts
        {
            lRoom.detachMsgListener(&lRoom.ear('b'));
            lRoom.detachMsgListener(lpC);
            lRoom.attachMsgListener(lpC);
        };
        std::atomic<int> lLeft{4 * 60};
        std::vector<std::thread> lThreads;
        for (char lName : {'a', 'b', 'c', 'd'})
        {
            lThreads.emplace_back(
                [&, lpEar = &lRoom.ear(lName)]
                {
                    for (int lTurn = 0; lTurn < 60; ++lTurn, --lLeft)
                    {
                        lRoom.attachMsgListener(lpEar);
                        lRoom.setTimer(lpEar, 1, lTurn % 2, 0, lTurn % 2);
                        lRoom.postMsg(lpEar, 1);
                        lRoom.sendMsgSync(2);
                        lRoom.hasMsg(lpEar, 1);
                        lRoom.detachMsgListener(lpEar);
                        lRoom.abortMsg(lpEar);
                    }
                });
        }
        EXPECT_TRUE(waitUntil([&] { return lLeft < 40 + 4 * lRound; }));
        EXPECT_EQ(0, lRoom.stop(1, 0));
        for (std::thread& lThread : lThreads)
        {
            lThread.join();
        }
        EXPECT_EQ(4, lRoom.remTimerIdCount());
    }
}

TEST(MsgDrivenSharedThread, TellsTheWatchdogWhereItIs)
{
    Room lRoom(4, 8, 1);
    std::string lLine;
    ASSERT_TRUE(lRoom.fence()); // from the second wait on the watchdog looks
    ASSERT_TRUE(lRoom.hold(
        [&]
        {
            LogCapture lLog;
            ThreadManager::get()->printWatchdogInfo(1);
            for (std::string const& lEach : lLog.lines())
            {
                lLine = lEach.find("shared") != std::string::npos ? lEach : lLine;
            }
        }));
    lRoom.release();
    ASSERT_TRUE(lRoom.fence());
    EXPECT_NE(std::string::npos, lLine.find("source/UtlMsgDrivenSharedThread")) << lLine;
    EXPECT_NE(std::string::npos, lLine.find("receiveMsg")) << lLine;
}

} // namespace
