// Timers of a message thread.
#include "UtlMsgDrivenThread.h"

#include "UtlThreadManager.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;
using Peer = MsgDrivenThreadTestPeer;
using Ids = std::vector<int>;

TEST(MsgDrivenThreadTimer, ExpiresWhereTheApplicationBlocksAllSignals)
{
    sigset_t lAll;
    sigset_t lBefore;
    ::sigfillset(&lAll);
    ::pthread_sigmask(SIG_BLOCK, &lAll, &lBefore);
    Started lThread; // inherits that
    ::pthread_sigmask(SIG_SETMASK, &lBefore, nullptr);
    EXPECT_EQ(1, lThread.setTimer(1, 0, 0, 0));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 1; }));
}

TEST(MsgDrivenThreadTimer, FullTableRefuses)
{
    Started lThread(8, 16, 2);
    EXPECT_EQ(1, lThread.registerTimer(10, 0, 0));
    EXPECT_EQ(2, lThread.setTimer(0, 0, 0, 0)); // an interval of 0 runs and never fires
    EXPECT_EQ(-1, lThread.setTimer(10, 0, 0, 0));
    EXPECT_EQ(-1, lThread.registerTimer(10, 0, 0));
    EXPECT_EQ(0, lThread.remTimerIdCount());
    EXPECT_TRUE(lThread.killTimer(1, 0)); // never started: nothing to wait for
    EXPECT_EQ(3, lThread.registerTimer(10, 0, 1));
    FailNth<&SystemCalls::mTimerCreate> lFault(2, EAGAIN);
    EXPECT_EQ("nyy",
              said({lThread.startTimer(99, 0), lThread.startTimer(3, 0), lThread.startTimer(3, 0)})); // runs already
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 0; }));
    EXPECT_EQ("yyn", said({lThread.killTimer(3, 0), lThread.fence(), lFault.fired()}));
    EXPECT_EQ((Ids{1, 3}), lThread.erased());
    EXPECT_EQ(Ids(lThread.mRecorder.count(MSG_ID_TIMER), 3), lThread.mRecorder.numbers(MSG_ID_TIMER));
}

TEST(MsgDrivenThreadTimer, ListenerWaitsForNothingAndMayKillTheTimerThatCallsIt)
{
    LogCapture lLog;
    Started lThread;
    auto const lUse = [&](int)
    {
        EXPECT_EQ(1, lThread.setTimer(1000000, 0, 0, 0));
        EXPECT_EQ("yy", said({lThread.startTimer(1, 0), lThread.startTimer(77, 0)}));
        EXPECT_EQ("yn", said({lThread.killTimer(1, 0), lThread.killTimer(1, 0)}));
        EXPECT_EQ(2, lThread.setTimer(1, 0, 0, 0));
    };
    lThread.mRecorder.on(1, lUse);
    lThread.mRecorder.on(MSG_ID_TIMER, [&](int nTimerId) { EXPECT_TRUE(lThread.killTimer(nTimerId, 0)); });
    ASSERT_TRUE(lThread.sendMsgSync(1));
    ASSERT_TRUE(waitUntil([&] { return lThread.erased().size() == 2; }));
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ((Ids{1, 2}), lThread.erased());
    EXPECT_EQ(Ids{2}, lThread.mRecorder.numbers(MSG_ID_TIMER));
    EXPECT_EQ(LogLines{}, lLog.lines());
}

// A slow listener loses beats: one time-out waits, or two of a free-running timer; and erased ones count as fired.
TEST(MsgDrivenThreadTimer, SlowListenerIsNotBuried)
{
    for (int const lIsFreeRunning : {0, 1})
    {
        Started lThread;
        auto const lExpire = [&](int)
        {
            unsigned int const lMost = lIsFreeRunning == 0 ? 1 : 2;
            EXPECT_EQ(1, lThread.setTimer(1000000, 0, lMost, lIsFreeRunning));
            EXPECT_EQ(2, lThread.registerTimer(1, 0, 1)); // rests: a signal of it is a late one
            unsigned int const lBefore = Peer::ctlCount(lThread);
            for (int lSignal = 0; lSignal < 5; ++lSignal)
            {
                Peer::expire(lThread, 1);
                Peer::expire(lThread, 2);
            }
            EXPECT_EQ(lMost, Peer::ctlCount(lThread) - lBefore);
            EXPECT_EQ("yy", said({lThread.hasMsg(MSG_ID_TIMER), lThread.eraseMsg(MSG_ID_TIMER)}));
            EXPECT_FALSE(lThread.hasMsg(MSG_ID_TIMER));
        };
        lThread.mRecorder.on(1, lExpire);
        ASSERT_TRUE(lThread.sendMsgSync(1));
        EXPECT_EQ(Ids{1}, lThread.erased());
        EXPECT_EQ(Ids{1}, lThread.ids());
    }
}

// More timers are being stopped than the table for them holds; the rest goes with the thread.
TEST(MsgDrivenThreadTimer, AllThatAreKilledOrLeftAreErasedOnce)
{
    Started lThread(8, 16, 3);
    ASSERT_TRUE(lThread.hold());
    for (int lId : {1, 2, 3, 4, 5})
    {
        ASSERT_EQ(lId, lThread.setTimer(1, 1, 0, 0));
        ASSERT_TRUE(lThread.killTimer(lId, 1));
    }
    lThread.release();
    ASSERT_TRUE(lThread.fence());
    EXPECT_TRUE(lThread.ids().empty());
    EXPECT_EQ(6, lThread.setTimer(100000, 0, 0, 0));
    EXPECT_EQ(7, lThread.registerTimer(100000, 0, 0));
    EXPECT_EQ(8, lThread.setTimer(1, 0, 0, 1));
    EXPECT_EQ(0, lThread.stop(1, 0));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5, 8, 7, 6}), lThread.erased());
    EXPECT_EQ(-1, lThread.setTimer(1, 0, 0, 0));
}

// Signals come to the thread that owns the timer, and to that only while it waits.
TEST(MsgDrivenThreadTimer, InterruptsNobody)
{
    Started lThread;
    timespec const lTime{0, 30000000};
    lThread.mRecorder.on(1, [&](int) { EXPECT_EQ(0, ::nanosleep(&lTime, nullptr)); });
    EXPECT_EQ(1, lThread.setTimer(5, 0, 0, 1));
    EXPECT_EQ(0, ::nanosleep(&lTime, nullptr));
    EXPECT_TRUE(lThread.sendMsgSync(1));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 2; }));
}

// Behind all that is queued when they are seen, in the order of their signals.
TEST(MsgDrivenThreadTimer, TimeoutsStandBehindWhatIsQueued)
{
    Started lThread;
    auto const lUse = [&](int)
    {
        EXPECT_EQ(1, lThread.setTimer(100, 0, 1, 0)); // late enough for a machine that is busy elsewhere
        EXPECT_EQ(2, lThread.setTimer(1, 0, 1, 0));
        long long const lEndUs = monotonicUs() + 101000;
        EXPECT_TRUE(lThread.postMsg(NumberMsg(2)));
        EXPECT_TRUE(waitUntil([&] { return monotonicUs() > lEndUs; }));
        EXPECT_TRUE(lThread.postMsg(NumberMsg(3)));
    };
    lThread.mRecorder.on(1, lUse);
    ASSERT_TRUE(lThread.sendMsgSync(NumberMsg(1)));
    ASSERT_TRUE(waitUntil([&] { return lThread.erased().size() == 2; }));
    std::vector<std::pair<int, int>> const lExpected{
        {1, 0}, {2, 0}, {3, 0}, {MSG_ID_TIMER, 2}, {Started::ERASED, 2}, {MSG_ID_TIMER, 1}, {Started::ERASED, 1}};
    EXPECT_EQ(lExpected, lThread.mRecorder.received());
}

TEST(MsgDrivenThreadTimer, LoopThatNeverSleepsHearsItsTimers)
{
    Started lThread;
    lThread.mRecorder.on(1, [&](int) { EXPECT_TRUE(lThread.erased().size() == 1 || lThread.postMsg(1)); });
    EXPECT_EQ(1, lThread.setTimer(1, 0, 3, 0));
    EXPECT_TRUE(lThread.postMsg(1));
    EXPECT_TRUE(waitUntil([&] { return lThread.erased().size() == 1; }));
    EXPECT_EQ(Ids({1, 1, 1}), lThread.mRecorder.numbers(MSG_ID_TIMER));
    EXPECT_TRUE(lThread.fence());
}

// Messages of no data: a time-out, which has four bytes, is told and counts for nothing.
TEST(MsgDrivenThreadTimer, TimeoutThatDoesNotFitIsTold)
{
    LogCapture lLog;
    Started lThread(4, 0, 1);
    EXPECT_EQ(1, lThread.setTimer(1, 0, 0, 0));
    EXPECT_TRUE(waitUntil(
        [&] { return lLog.count("!!!!!!!! MsgDrivenThread(under test) Error. MsgId:0x80000008 !!!!!!!!") == 1; }));
    EXPECT_TRUE(lThread.fence());
    EXPECT_EQ(0U, lThread.mRecorder.count(MSG_ID_TIMER));
}

// No call is interrupted ahead of the loop either, and the time-out is not lost.
TEST(MsgDrivenThreadTimer, TimerMayBeSetBeforeTheLoopBegins)
{
    struct Early : Holdable<MsgDrivenThread>
    {
        using Holdable::Holdable;
        ~Early() override { end(); }
        void preExecute() override
        {
            while (setTimer(5, 0, 1, 0) == -1) // start() is still entering the thread
            {
                std::this_thread::yield();
            }
            timespec const lLongerThanTheTimer{0, 30000000};
            mResult = ::nanosleep(&lLongerThanTheTimer, nullptr);
        }
        std::atomic<int> mResult{-2};
    };
    Recorder lRecorder;
    Early lThread(8, 4, "early", 1);
    ASSERT_EQ(0, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_EQ(0, lThread.mResult);
    EXPECT_TRUE(waitUntil([&] { return lRecorder.count(MSG_ID_TIMER) == 1; }));
}

} // namespace
