#include "UtlStopAll.h"

#include "UtlSharedTimer.h"
#include "UtlThreadManager.h"
#include "support/MsgThread.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace utl;
using namespace utl::test;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);
std::string gEnds; // the names of the threads in the order of their ends; one ends at a time

template <class Base>
struct Noted : Base
{
    using Base::Base;
    ~Noted() override { this->stop(1, 0), this->awaitEnd(), this->leaveManagement(); }
    void postExecute() override { gEnds += this->getName().c_str(); }
};

struct NotedTimer : SharedTimer
{
    using SharedTimer::SharedTimer;
    ~NotedTimer() override { destroy(), awaitEnd(); }
    void postExecute() override { gEnds += getName().c_str(); }
};

TEST(StopAll, TimersGoFirstThenTheNewestAndTheWatchdogStays)
{
    gEnds.clear();
    Recorder lRecorder;
    Noted<MsgDrivenThread> lA(4, 4, "a", 1);
    NotedTimer lT(0, 0, nullptr, 1, "t");
    Noted<MsgDrivenThread> lB(4, 4, "b", 1);
    Noted<MsgDrivenThread> lIdle(4, 4, "idle", 1);
    ASSERT_EQ(0, lA.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    ASSERT_EQ(0, lB.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    ASSERT_TRUE(lA.sendMsgSync(1)); // their loops run
    ASSERT_TRUE(lB.sendMsgSync(1));
    EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
    EXPECT_EQ("tba", gEnds);
    EXPECT_FALSE(whoHolds(lA.getId(), nullptr));
    EXPECT_TRUE(ThreadManager::get()->setWatchdogWatchInterval(1000));
    EXPECT_EQ(0U, stopAll(0, nullptr, 0));
}

TEST(StopAll, TellsWhoGoesOnAndWhatKeepsIt)
{
    Started lHeld;
    Started lBehind;
    lBehind.mRecorder.on(1, [&](int) { lHeld.sendMsgSync(2); });
    Started lFree;
    ASSERT_TRUE(lHeld.hold());
    ASSERT_TRUE(lBehind.postMsg(1));
    StopHolder lHolder;
    ASSERT_TRUE(waitUntil(
        [&]
        { return whoHolds(lBehind.getId(), &lHolder) && lHolder.mHolderId == lHeld.getId() && lHolder.mIsInCall; }));
    EXPECT_EQ(-2, lBehind.stop(1, 1));
    StopHolder lHolders[2];
    EXPECT_EQ(2U, stopAll(40, lHolders, 1)); // there is room for one
    EXPECT_FALSE(lFree.isRunning());
    EXPECT_EQ(lBehind.getId(), lHolders[0].mThreadId);
    EXPECT_EQ(lHeld.getId(), lHolders[0].mHolderId);
    EXPECT_EQ(Started::HOLD, lHolders[0].mMsgId);
    EXPECT_STREQ("under test", lHolders[0].mHolderName);
    EXPECT_EQ(0, lHolders[1].mThreadId);
    lHeld.release();
    EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
}

struct LongEnd : MsgDrivenThread
{
    using MsgDrivenThread::MsgDrivenThread;
    ~LongEnd() override { mGate.open(), stop(1, 0), awaitEnd(), leaveManagement(); }
    void postExecute() override { mGate.wait(); }

    Gate mGate;
};

TEST(StopAll, CountsAThreadInPostExecute)
{
    Recorder lRecorder;
    LongEnd lThread(4, 4, "long end", 1);
    ASSERT_EQ(0, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    ASSERT_TRUE(lThread.sendMsgSync(1));
    StopHolder lHolder;
    EXPECT_EQ(1U, stopAll(20, &lHolder, 1));
    EXPECT_EQ(lThread.getId(), lHolder.mThreadId);
    EXPECT_EQ(lThread.getId(), lHolder.mHolderId);
}

struct StopsAnother : Noted<MsgDrivenThread>
{
    using Noted::Noted;
    void requestStop() override
    {
        MsgDrivenThread::requestStop();
        mEnd = mpOther->stop(1, longMs());
    }

    MsgDrivenThread* mpOther = nullptr;
    int mEnd = -1;
};

TEST(StopAll, RequestStopMayStopAnotherAndWait)
{
    Started lOther;
    Recorder lRecorder;
    StopsAnother lThread(4, 4, "stops another", 1);
    lThread.mpOther = &lOther;
    ASSERT_EQ(0, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    ASSERT_TRUE(lThread.sendMsgSync(1));
    EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
    EXPECT_EQ(0, lThread.mEnd);
}

struct EndsInChild : MsgDrivenThread
{
    using MsgDrivenThread::MsgDrivenThread;
    ~EndsInChild() override { stop(1, 0), awaitEnd(), leaveManagement(); }
    void postExecute() override
    {
        if (mChild == 0)
        {
            StopHolder lHolder;
            ::_exit(whoHolds(mOtherId, &lHolder) ? 1 : 0);
        }
    }

    int mOtherId = 0;
    pid_t mChild = -1;
};

TEST(StopAll, ForkInAListenerLeavesTheChildAnEmptyList)
{
    Started lOther;
    Recorder lRecorder;
    Gate lGate;
    EndsInChild lThread(4, 4, "forks", 1);
    lThread.mOtherId = lOther.getId();
    lRecorder.on(1,
                 [&](int)
                 {
                     lGate.wait();
                     lThread.mChild = ::fork();
                     lThread.mChild == 0 ? ::alarm(longMs() / 1000) : 0;
                 });
    ASSERT_EQ(0, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    ASSERT_TRUE(lThread.postMsg(1));
    ASSERT_EQ(0, lThread.stop(0, 0));
    lGate.open();
    ASSERT_EQ(0, lThread.waitTo(Thread::STAGE_DONE, longMs()));
    int lStatus = -1;
    EXPECT_EQ(lThread.mChild, ::waitpid(lThread.mChild, &lStatus, 0));
    EXPECT_EQ(0, lStatus);
}

} // namespace
