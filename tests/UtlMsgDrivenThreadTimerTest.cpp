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
using TestThread = Started;
using Ids = std::vector<int>;

// The first test, since the handler is installed once in a process. The kernel refuses: the documented line, nobody
// left waiting, and the next timer works.
TEST(MsgDrivenThreadTimer, KernelFailuresAreTold)
{
    LogCapture lLog;
    failing<&SystemCalls::mSigaction>(EINVAL, [] { MsgDrivenThread(4, 4, "first", 1); });
    EXPECT_EQ(LogLines{"<UTIL> ERR: MsgDrivenThread sigaction  errno:22"}, lLog.lines());
    TestThread lThread;
    lLog.clear();
    {
        FailNth<&SystemCalls::mTimerCreate> lFault(1, EAGAIN);
        EXPECT_EQ(1, lThread.setTimer(1, 0, 0, 0)); // told by the log alone
        ASSERT_TRUE(lThread.fence());
    }
    EXPECT_EQ((LogLines{"<UTIL> ERR: MsgDrivenThread(under test) timer_create SysTimerId:0x00000000 errno:11\n",
                        "<UTIL> ERR: !!!!!!!! MsgDrivenThread(under test) Error. MsgId:0x80000006 !!!!!!!!"}),
              lLog.lines());
    EXPECT_TRUE(failing<&SystemCalls::mTimerSettime>(EINVAL, [&] { return lThread.startTimer(1, 0); }));
    EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread(under test) timer_settime SysTimerId:0x"));
    {
        FailNth<&SystemCalls::mTimerSettime> lFault(2, EAGAIN); // armed anew it cannot be: it rests
        EXPECT_TRUE(lThread.startTimer(1, 0));
        EXPECT_TRUE(waitUntil([&] { return lFault.fired(); }));
        EXPECT_TRUE(lThread.fence());
    }
    EXPECT_EQ(Ids{1}, lThread.mRecorder.numbers(MSG_ID_TIMER));
    EXPECT_TRUE(lThread.startTimer(1, 0));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 1; }));
    EXPECT_TRUE(lThread.killTimer(1, 0));
    EXPECT_EQ(2, lThread.setTimer(1000000, 0, 0, 0));
    EXPECT_TRUE(failing<&SystemCalls::mTimerDelete>(EINVAL, [&] { return lThread.killTimer(2, 0); }));
    EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread(under test) timer_delete SysTimerNum:0x"));
}

TEST(MsgDrivenThreadTimer, ExpiresWhereTheApplicationBlocksAllSignals)
{
    auto const lUse = []
    {
        sigset_t lAll;
        ::sigfillset(&lAll);
        ::pthread_sigmask(SIG_BLOCK, &lAll, nullptr);
        TestThread lThread; // inherits that
        EXPECT_EQ(1, lThread.setTimer(1, 0, 0, 0));
        EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 1; }));
    };
    together(lUse);
}

TEST(MsgDrivenThreadTimer, FullTableRefuses)
{
    TestThread lThread(8, 16, 2);
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
    TestThread lThread;
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
    struct Row
    {
        int mIsFreeRunning;
        unsigned int mMaxTimeoutCount;
        unsigned int mWaiting;
        Ids mErased; // once they are erased
    } const ROWS[] = {{0, 0, 1, {}}, {1, 0, 2, {}}, {0, 1, 1, {1}}, {1, 2, 2, {1}}};
    for (Row const& lRow : ROWS)
    {
        TestThread lThread;
        auto const lExpire = [&](int)
        {
            EXPECT_EQ(1, lThread.setTimer(1000000, 0, lRow.mMaxTimeoutCount, lRow.mIsFreeRunning));
            EXPECT_EQ(2, lThread.registerTimer(1, 0, 1)); // rests: a signal of it is a late one
            unsigned int const lBefore = Peer::ctlCount(lThread);
            for (int lSignal = 0; lSignal < 5; ++lSignal)
            {
                Peer::expire(lThread, 1);
                Peer::expire(lThread, 2);
            }
            EXPECT_EQ(lRow.mWaiting, Peer::ctlCount(lThread) - lBefore);
            EXPECT_EQ("yy", said({lThread.hasMsg(MSG_ID_TIMER), lThread.eraseMsg(MSG_ID_TIMER)}));
            EXPECT_FALSE(lThread.hasMsg(MSG_ID_TIMER));
        };
        lThread.mRecorder.on(1, lExpire);
        ASSERT_TRUE(lThread.sendMsgSync(1));
        EXPECT_EQ(lRow.mErased, lThread.erased());
        EXPECT_EQ(Ids{1}, lThread.ids());
    }
}

// More timers are being stopped than the table for them holds; the rest goes with the thread.
TEST(MsgDrivenThreadTimer, AllThatAreKilledOrLeftAreErasedOnce)
{
    TestThread lThread(8, 16, 3);
    ASSERT_TRUE(lThread.hold());
    for (int lId : {1, 2, 3, 4, 5})
    {
        ASSERT_EQ(lId, lThread.setTimer(1, 1, 0, 0));
        ASSERT_TRUE(lThread.killTimer(lId, 1));
    }
    lThread.release();
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ(3, lThread.remTimerIdCount());
    EXPECT_TRUE(lThread.ids().empty());
    EXPECT_EQ(6, lThread.setTimer(100000, 0, 0, 0));
    EXPECT_EQ(7, lThread.registerTimer(100000, 0, 0));
    EXPECT_EQ(8, lThread.setTimer(1, 0, 0, 1));
    EXPECT_EQ(0, lThread.stop(1, 0));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5, 8, 7, 6}), lThread.erased());
    EXPECT_EQ(-1, lThread.setTimer(1, 0, 0, 0));
    EXPECT_FALSE(lThread.killTimer(6, 0));
}

// Signals come to the thread that owns the timer, and to that only while it waits.
TEST(MsgDrivenThreadTimer, InterruptsNobody)
{
    TestThread lThread;
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
    TestThread lThread;
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
    TestThread lThread;
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
    TestThread lThread(4, 0, 1);
    EXPECT_EQ(1, lThread.setTimer(1, 0, 0, 0));
    EXPECT_TRUE(waitUntil(
        [&] { return lLog.count("!!!!!!!! MsgDrivenThread(under test) Error. MsgId:0x80000008 !!!!!!!!") == 1; }));
    EXPECT_TRUE(lThread.fence());
    EXPECT_EQ(0U, lThread.mRecorder.count(MSG_ID_TIMER));
}

TEST(MsgDrivenThreadTimer, TimerThatAListenerCannotStartTakesNoPlace)
{
    TestThread lThread(8, 16, 1);
    auto const lUse = [&](int)
    {
        QuietLog const lQuiet;
        EXPECT_EQ(-1, failing<&SystemCalls::mTimerCreate>(EAGAIN, [&] { return lThread.setTimer(1000000, 0, 0, 0); }));
        EXPECT_EQ(1, lThread.remTimerIdCount());
        EXPECT_EQ(1, lThread.setTimer(1000000, 0, 0, 0)); // the id was not used up
        EXPECT_EQ(-1, lThread.setTimer(1000000, 0, 0, 0));
    };
    lThread.mRecorder.on(1, lUse);
    EXPECT_TRUE(lThread.sendMsgSync(1));
}

// No call is interrupted ahead of the loop either, and the time-out is not lost.
TEST(MsgDrivenThreadTimer, TimerMayBeSetBeforeTheLoopBegins)
{
    struct Early : MsgDrivenThread
    {
        using MsgDrivenThread::MsgDrivenThread;
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
    EXPECT_EQ(0, lThread.stop(1, 0));
    EXPECT_TRUE(lThread.leaveManagement());
}

} // namespace
