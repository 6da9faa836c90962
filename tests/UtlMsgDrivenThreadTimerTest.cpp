// Timers of a message thread.
#include "UtlMsgDrivenThread.h"
#include "UtlThreadManager.h"

#include "internal/UtlKernelTimer.h"
#include "internal/UtlRecordPipe.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MsgThread.h"
#include "support/Resources.h"

#include <climits>

#include <gtest/gtest.h>

namespace
{

using namespace utl;
using Peer = MsgDrivenThreadTestPeer;
using utl::internal::SystemCalls;
using utl::test::FailNth;
using utl::test::Gate;
using utl::test::LogCapture;
using utl::test::longMs;
using utl::test::waitUntil;

/// Notes which timers have left.
class TimerThread : public MsgDrivenThread
{
public:
    using MsgDrivenThread::MsgDrivenThread;

    void onEraseTimer(int nTimerId) override
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mErased.push_back(nTimerId);
    }
    std::vector<int> erased() const
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        return mErased;
    }

private:
    mutable std::mutex mMutex;
    std::vector<int> mErased;
};

using TestThread = utl::test::Started<TimerThread>;

// The first test: the handler is installed once in a process.
TEST(MsgDrivenThreadTimer, HandlerThatCannotBeInstalledIsTriedAgain)
{
    LogCapture lLog;
    {
        FailNth<&SystemCalls::mSigaction> lFault(1, EINVAL);
        MsgDrivenThread lThread(4, 4, "first", 1);
        EXPECT_EQ(std::vector<std::string>{"<UTIL> ERR: MsgDrivenThread sigaction  errno:22"}, lLog.lines());
    }
    TestThread lThread;
    lThread.setTimer(1, 0, 1, 0);
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) == 1; }));
}

TEST(MsgDrivenThreadTimer, OneShotFiresOnceAndIsGone)
{
    TestThread lThread;
    long long const lStartUs = utl::test::monotonicUs();
    int const lId = lThread.setTimer(20, 0, 1, 0);
    EXPECT_EQ(1, lId);
    ASSERT_TRUE(waitUntil([&] { return lThread.erased() == std::vector<int>{lId}; }));
    EXPECT_GE(utl::test::monotonicUs() - lStartUs, 20000);
    EXPECT_EQ((std::vector<std::pair<int, int>>{{MSG_ID_TIMER, lId}}), lThread.mRecorder.received());
    EXPECT_FALSE(lThread.killTimer(lId, 0));
    EXPECT_EQ(4, lThread.remTimerIdCount());
    EXPECT_EQ(2, lThread.setTimer(1000, 0, 0, 0)); // ids go on
}

TEST(MsgDrivenThreadTimer, CountedTimersEndAfterTheirCount)
{
    TestThread lThread;
    for (int lIsFreeRunning : {0, 1})
    {
        int const lId = lThread.setTimer(1, 0, 3, lIsFreeRunning);
        ASSERT_TRUE(waitUntil([&] { return !lThread.erased().empty() && lThread.erased().back() == lId; }));
        unsigned int lCount = 0;
        for (auto const& lReceived : lThread.mRecorder.received())
        {
            lCount += lReceived.second == lId ? 1U : 0U;
        }
        EXPECT_EQ(3U, lCount) << lIsFreeRunning;
    }
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
    EXPECT_EQ(3, lThread.registerTimer(10, 0, 0));
    EXPECT_FALSE(lThread.startTimer(99, 0));
    EXPECT_TRUE(lThread.startTimer(3, 0));
    EXPECT_TRUE(lThread.startTimer(3, 0)); // runs already
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 0; }));
    EXPECT_TRUE(lThread.killTimer(3, 0));
    EXPECT_TRUE(lThread.fence());
    EXPECT_EQ((std::vector<int>{1, 3}), lThread.erased());
    for (auto const& lReceived : lThread.mRecorder.received())
    {
        EXPECT_NE(2, lReceived.second);
    }
}

TEST(MsgDrivenThreadTimer, WorksFromTheListenerWithoutWaiting)
{
    TestThread lThread;
    std::vector<int> lResults;
    lThread.mRecorder.on(1,
                         [&](int)
                         {
                             int const lId = lThread.setTimer(1000000, 0, 0, 0);
                             lResults = {lId,
                                         lThread.startTimer(lId, 0),
                                         lThread.startTimer(77, 0),
                                         lThread.killTimer(lId, 0),
                                         lThread.killTimer(lId, 0),
                                         lThread.registerTimer(1, 0, 0)};
                         });
    ASSERT_TRUE(lThread.sendMsgSync(1));
    EXPECT_EQ((std::vector<int>{1, true, true, true, false, 2}), lResults);
    EXPECT_EQ(std::vector<int>{1}, lThread.erased());
}

TEST(MsgDrivenThreadTimer, ListenerMayKillItsOwnTimer)
{
    TestThread lThread;
    lThread.mRecorder.on(MSG_ID_TIMER, [&](int nTimerId) { EXPECT_TRUE(lThread.killTimer(nTimerId, 0)); });
    LogCapture lLog;
    lThread.setTimer(1, 0, 0, 0);
    ASSERT_TRUE(waitUntil([&] { return lThread.erased().size() == 1; }));
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ(1U, lThread.mRecorder.count(MSG_ID_TIMER));
    EXPECT_EQ(std::vector<int>{1}, lThread.erased());
    EXPECT_TRUE(lLog.lines().empty());
}

// A slow listener loses beats: one time-out waits, or two of a free-running timer; and erased ones count as fired.
TEST(MsgDrivenThreadTimer, SlowListenerIsNotBuried)
{
    struct Row
    {
        int mIsFreeRunning;
        unsigned int mMaxTimeoutCount;
        unsigned int mWaiting;
        bool mIsGone; // once they are erased
    } const ROWS[] = {{0, 0, 1, false}, {1, 0, 2, false}, {0, 1, 1, true}, {1, 2, 2, true}};
    for (Row const& lRow : ROWS)
    {
        TestThread lThread;
        int lId = 0;
        unsigned int lWaiting = 0;
        bool lIsErased = false;
        lThread.mRecorder.on(1,
                             [&](int)
                             {
                                 lId = lThread.setTimer(1000000, 0, lRow.mMaxTimeoutCount, lRow.mIsFreeRunning);
                                 unsigned int const lBefore = Peer::ctlCount(lThread);
                                 for (int lSignal = 0; lSignal < 5; ++lSignal)
                                 {
                                     Peer::expire(lThread, lId);
                                 }
                                 lWaiting = Peer::ctlCount(lThread) - lBefore;
                                 lIsErased = lThread.hasMsg(MSG_ID_TIMER) && lThread.eraseMsg(MSG_ID_TIMER) &&
                                             !lThread.hasMsg(MSG_ID_TIMER);
                             });
        ASSERT_TRUE(lThread.sendMsgSync(1));
        EXPECT_EQ(lRow.mWaiting, lWaiting);
        EXPECT_TRUE(lIsErased);
        EXPECT_EQ(lRow.mIsGone ? std::vector<int>{lId} : std::vector<int>{}, lThread.erased());
        EXPECT_EQ(0U, lThread.mRecorder.count(MSG_ID_TIMER));
    }
}

// Where the kernel refuses to arm a timer anew it rests, and can be started again.
TEST(MsgDrivenThreadTimer, FailedRearmingLeavesATimerThatCanBeStarted)
{
    ThreadManager::get()->setWatchdogWatchInterval(0);
    LogCapture lLog;
    TestThread lThread;
    int const lId = lThread.registerTimer(1, 0, 0);
    {
        FailNth<&SystemCalls::mTimerCreate> lFault(2, EAGAIN);
        ASSERT_TRUE(lThread.startTimer(lId, 0));
        ASSERT_TRUE(waitUntil([&] { return lFault.fired(); }));
        ASSERT_TRUE(lThread.fence());
    }
    unsigned int const lSeen = lThread.mRecorder.count(MSG_ID_TIMER);
    EXPECT_EQ(1U, lSeen);
    ASSERT_TRUE(lThread.startTimer(lId, 0));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > lSeen; }));
}

// More timers are being stopped than the table for them holds.
TEST(MsgDrivenThreadTimer, KillsBeyondTheStopTableAreCarriedOutToo)
{
    TestThread lThread(8, 16, 1);
    ASSERT_TRUE(lThread.hold());
    std::vector<int> lIds;
    for (int lCount = 0; lCount < 3; ++lCount)
    {
        lIds.push_back(lThread.setTimer(1, 1, 0, 0));
        ASSERT_TRUE(lThread.killTimer(lIds.back(), 1));
    }
    lThread.release();
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ(lIds, lThread.erased());
    EXPECT_EQ(1, lThread.remTimerIdCount());
    EXPECT_EQ(0U, lThread.mRecorder.count(MSG_ID_TIMER));
}

TEST(MsgDrivenThreadTimer, MayQueueTimeoutsRules)
{
    TimerInfo lInfo;
    lInfo.mpRunningEvent.set(new Event(1, 1));
    struct Row
    {
        int mIsFreeRunning;
        unsigned int mPending;
        bool mMay;
    } const ROWS[] = {{0, 0, true}, {0, 1, false}, {1, 1, true}, {1, 2, false}, {-1, 1, true}};
    for (Row const& lRow : ROWS)
    {
        lInfo.mIsFreeRunning = lRow.mIsFreeRunning;
        lInfo.mPendingTimeoutCount = lRow.mPending;
        EXPECT_EQ(lRow.mMay, internal::mayQueueTimeout(lInfo)) << lRow.mIsFreeRunning << lRow.mPending;
    }
    lInfo.mPendingTimeoutCount = 0;
    lInfo.mpRunningEvent->setOff();
    EXPECT_FALSE(internal::mayQueueTimeout(lInfo));
    lInfo.mMaxTimeoutCount = 2;
    EXPECT_FALSE(internal::countTimeout(lInfo));
    EXPECT_TRUE(internal::countTimeout(lInfo));
}

TEST(MsgDrivenThreadTimer, SystemNumbersWrapAndJumpAfterACollision)
{
    struct Row
    {
        int mLast;
        int mUsed;
        int mNext;
    } const ROWS[] = {{1, -1, 2},      {INT_MAX, -1, 1},      {INT_MAX - 1, INT_MAX, INT_MAX},
                      {4, 5, INT_MAX}, {INT_MAX, 1, INT_MAX}, {INT_MAX - 2, -1, INT_MAX - 1}};
    for (Row const& lRow : ROWS)
    {
        EXPECT_EQ(lRow.mNext,
                  internal::nextSysTimerNumber(lRow.mLast, [&](int nNumber) { return nNumber == lRow.mUsed; }))
            << lRow.mLast;
    }
}

TEST(MsgDrivenThreadTimer, StopErasesTimersInDescendingOrder)
{
    TestThread lThread;
    lThread.setTimer(100000, 0, 0, 0);
    lThread.registerTimer(100000, 0, 0);
    lThread.setTimer(1, 0, 0, 1);
    EXPECT_EQ(0, lThread.stop(1, 0));
    EXPECT_EQ((std::vector<int>{3, 2, 1}), lThread.erased());
    EXPECT_EQ(-1, lThread.setTimer(1, 0, 0, 0));
    EXPECT_FALSE(lThread.killTimer(1, 0));
}

// The kernel refuses: the documented line, nobody left waiting, and the next timer works.
TEST(MsgDrivenThreadTimer, KernelFailuresAreToldAndLeakNothing)
{
    ThreadManager::get()->setWatchdogWatchInterval(0); // the watchdog's timer is not to meet the faults
    TestThread lThread;
    LogCapture lLog;
    int lId = 0;
    {
        FailNth<&SystemCalls::mTimerCreate> lFault(1, EAGAIN);
        lId = lThread.setTimer(5, 0, 0, 0);
        EXPECT_EQ(1, lId); // told by the log alone
    }
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ((std::vector<std::string>{
                  "<UTIL> ERR: MsgDrivenThread(under test) timer_create SysTimerId:0x00000000 errno:11\n",
                  "<UTIL> ERR: !!!!!!!! MsgDrivenThread(under test) Error. MsgId:0x80000006 !!!!!!!!"}),
              lLog.lines());
    lLog.clear();
    {
        FailNth<&SystemCalls::mTimerSettime> lFault(1, EINVAL);
        EXPECT_TRUE(lThread.startTimer(lId, 0));
    }
    EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread(under test) timer_settime SysTimerId:0x"));
    EXPECT_TRUE(lThread.startTimer(lId, 0));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) > 0; }));
    lLog.clear();
    int lLong = lThread.setTimer(1000000, 0, 0, 0);
    {
        FailNth<&SystemCalls::mTimerDelete> lFault(0, EINVAL);
        EXPECT_TRUE(lThread.killTimer(lLong, 0));
    }
    EXPECT_LE(1U, lLog.count("ERR: MsgDrivenThread(under test) timer_delete SysTimerNum:0x"));
}

// ---------------------------------------------------------------------------------------------- late signals

TEST(TimerSignalSlot, OnlyTheArmedTokenWrites)
{
    internal::RecordPipe lPipe;
    ASSERT_TRUE(lPipe.open());
    internal::TimerSignalSlot* const lpSlot = internal::TimerSignalSlot::allocate();
    ASSERT_NE(nullptr, lpSlot);
    int const lOld = lpSlot->arm(7, lPipe.writeFd());
    int const lNew = lpSlot->arm(8, lPipe.writeFd());
    errno = 77;
    EXPECT_EQ(0, internal::TimerSignalSlot::onSignal(lOld)); // armed anew since
    EXPECT_EQ(0, internal::TimerSignalSlot::onSignal(lNew));
    internal::TimerSignalSlot::release(lpSlot);
    EXPECT_EQ(0, internal::TimerSignalSlot::onSignal(lNew)); // gone since
    EXPECT_EQ(0, internal::TimerSignalSlot::onSignal(-1));   // never was
    EXPECT_EQ(77, errno);
    internal::PipeRecord lRecord{};
    unsigned int lRead = 0;
    ASSERT_TRUE(lPipe.read(&lRecord, &lRead));
    EXPECT_EQ(8U, lRead); // one record in all
    EXPECT_EQ(8, lRecord.mParam);
}

TEST(TimerSignalSlot, FullPipeLosesTheExpiryWithoutBlocking)
{
    internal::RecordPipe lPipe;
    ASSERT_TRUE(lPipe.open());
    internal::TimerSignalSlot* const lpSlot = internal::TimerSignalSlot::allocate();
    int const lToken = lpSlot->arm(7, lPipe.writeFd());
    for (int lCount = 0; lCount < 10000; ++lCount)
    {
        ASSERT_EQ(0, internal::TimerSignalSlot::onSignal(lToken));
    }
    internal::TimerSignalSlot::release(lpSlot);
}

} // namespace
