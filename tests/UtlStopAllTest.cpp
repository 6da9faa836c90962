#include "UtlStopAll.h"

#include "UtlSharedTimer.h"
#include "UtlThreadManager.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;

std::string gEnds; // the names of the threads in the order of their ends; one ends at a time

/// A message thread that does what a test has set when it is to stop, and at its end.
struct Hooked : MsgDrivenThread
{
    explicit Hooked(char const* npName)
        : MsgDrivenThread(4, 4, npName, 1)
    {
    }
    ~Hooked() override { stop(1, 0), awaitEnd(), leaveManagement(); }

    bool begin() { return start(&mRecorder, 0, 0, nullptr, 0, 0, NORMAL, 0) == 0; }

    Recorder mRecorder;
    std::function<void()> mOnRequest = [] {};
    std::function<void()> mAtBegin = [] {};
    std::function<void()> mAtEnd = [this] { gEnds += getName().c_str(); };

protected:
    void requestStop() override
    {
        MsgDrivenThread::requestStop();
        mOnRequest();
    }
    void preExecute() override { mAtBegin(); }
    void postExecute() override { mAtEnd(); }
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
    Hooked lA("a");
    NotedTimer lT(0, 0, nullptr, 1, "t");
    Hooked lB("b");
    Hooked lIdle("idle");
    ASSERT_TRUE(lA.begin());
    ASSERT_TRUE(lB.begin());
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
    EXPECT_STREQ("under test", lHolders[0].mName);
    EXPECT_STREQ("under test", lHolders[0].mHolderName);
    EXPECT_EQ(0, lHolders[1].mThreadId);
    lHeld.release();
    EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
}

TEST(StopAll, CountsAThreadFromTheReturnOfItsStartToItsEnd)
{
    for (auto const lHook : {&Hooked::mAtBegin, &Hooked::mAtEnd})
    {
        Hooked lThread("long");
        Gate lGate;
        lThread.*lHook = [&] { lGate.wait(); };
        ASSERT_TRUE(lThread.begin());
        StopHolder lHolder;
        EXPECT_EQ(1U, stopAll(20, &lHolder, 1));
        EXPECT_EQ(lThread.getId(), lHolder.mHolderId);
        lGate.open();
        EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
    }
}

TEST(StopAll, SlowRequestStopDoesNotHideWhoGoesOn)
{
    Started lHeld;
    Hooked lSlow("slow to ask");
    lSlow.mOnRequest = [] { Thread::sleep(30); };
    ASSERT_TRUE(lHeld.hold());
    ASSERT_TRUE(lSlow.begin());
    StopHolder lHolders[2];
    unsigned int const lCount = stopAll(10, lHolders, 2); // the slow one, which comes first, may have ended or not
    ASSERT_NE(0U, lCount);
    EXPECT_EQ(lHeld.getId(), lHolders[lCount - 1].mHolderId);
    EXPECT_EQ(Started::HOLD, lHolders[lCount - 1].mMsgId);
    EXPECT_TRUE(lHeld.hasRequestedStop());
    lHeld.release();
    EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
}

TEST(StopAll, RequestStopMayStopAnotherAndWait)
{
    Started lOther;
    Hooked lThread("stops another");
    int lEnd = -1;
    lThread.mOnRequest = [&] { lEnd = lOther.stop(1, longMs()); };
    ASSERT_TRUE(lThread.begin());
    EXPECT_EQ(0U, stopAll(longMs(), nullptr, 0));
    EXPECT_EQ(0, lEnd);
    lThread.mOnRequest = [] {};
}

} // namespace
