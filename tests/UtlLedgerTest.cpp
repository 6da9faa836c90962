// The books of message threads and shared timers.
#include "UtlLedger.h"

#include "UtlSharedTimer.h"
#include "UtlTimer.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;
using Peer = MsgDrivenThreadTestPeer;
using Counts = std::vector<unsigned int>;

/// Accepted, delivered, erased, taken back, waiting, most; refused as full, too large, stopped; orphaned.
Counts messages(Ledger const& nLedger)
{
    return {nLedger.mAccepted,       nLedger.mDelivered,   nLedger.mErased,      nLedger.mTakenBack,
            nLedger.mWaiting,        nLedger.mMostWaiting, nLedger.mRefusedFull, nLedger.mRefusedTooLarge,
            nLedger.mRefusedStopped, nLedger.mOrphaned};
}

// What is accepted, delivered, erased or taken back while threads race: see proof/UtlRaceProof.cpp.
TEST(Ledger, EachWayInAndOutHasItsCount)
{
    QuietLog const lQuiet;
    Started lThread(3, 3); // one byte short of a number
    NumberMsg const lLarge(1);
    lThread.mRecorder.on(2, [&](int) { lThread.eraseMsg(3); });
    ASSERT_TRUE(Peer::sleeps(lThread));
    failing<&SystemCalls::mWrite>(EIO, [&] { return lThread.postMsg(1); });
    failing<&SystemCalls::mWrite>(EIO, [&] { return lThread.sendMsgSync(1); }); // leaves its slot
    ASSERT_TRUE(lThread.hold());                                                // meets the slot
    lThread.postMsg(lLarge), lThread.sendMsgSync(lLarge), lThread.sendMsgInterrupt(lLarge);
    EXPECT_EQ(Post::TOO_LARGE, lThread.tryPost(lLarge));
    lThread.postMsg(2), lThread.postMsg(3);
    while (Peer::postCtl(lThread, MSG_ID_OUT_OF_BAND))
    {
    }
    lThread.postMsg(3), lThread.sendMsgSync(3), lThread.sendMsgInterrupt(3);
    EXPECT_EQ((Counts{5, 1, 0, 2, 2, 2, 3, 4, 0, 2}), messages(lThread.ledger()));
    lThread.release();
    ASSERT_TRUE(Peer::sleeps(lThread)); // there is room again
    ASSERT_TRUE(lThread.sendMsgInterrupt(4));
    lThread.stop(1, 0);
    lThread.postMsg(1), lThread.sendMsgSync(1), lThread.sendMsgInterrupt(1), lThread.sendMsgAsync(SimpleMsg(1));
    EXPECT_EQ(Post::STOPPED, lThread.tryPost(SimpleMsg(1)));
    EXPECT_EQ((Counts{6, 2, 1, 2, 1, 2, 3, 4, 4, 2}), messages(lThread.ledger()));
    EXPECT_EQ(1U, lThread.ledger().mInterrupts);
}

std::atomic<long long> gNowMs{0};

int playClock(clockid_t, timespec* npTime)
{
    npTime->tv_sec = static_cast<time_t>(gNowMs / 1000);
    npTime->tv_nsec = static_cast<long>(gNowMs % 1000 * 1000000);
    return 0;
}

TEST(Ledger, CallsAreTimedAndNothingBetweenThemIs)
{
    gNowMs = 5000;
    Replaced const lClock(&SystemCalls::mClockGettime, &playClock);
    Started lThread;
    lThread.mRecorder.on(1, [](int) { gNowMs += 30; });
    lThread.mRecorder.on(2, [](int) { gNowMs += 50; });
    auto lJudge = [](ThreadRawMsg&) { return (gNowMs += 1000) == 0; };
    MsgDrivenThread::MsgJudgement<decltype(lJudge)> lSlow(&lJudge);
    ASSERT_TRUE(lThread.hold());
    gNowMs += 7;
    Ledger lLedger = lThread.ledger();
    EXPECT_TRUE(lLedger.mIsInCall);
    EXPECT_EQ(Started::HOLD, lLedger.mCallId);
    EXPECT_EQ(7000000U, lLedger.mCallNs);
    ASSERT_TRUE(lThread.elsewhere(1, [&] { lThread.sendMsgSync(1); }));
    ASSERT_TRUE(lThread.elsewhere(2, [&] { lThread.sendMsgInterrupt(2); }));
    ASSERT_TRUE(lThread.elsewhere(3, [&] { lThread.hasMsgInternal(&lSlow); }));
    lThread.release();
    lThread.stop(1, 0);
    lLedger = lThread.ledger();
    EXPECT_EQ(3U, lLedger.mCalls);
    EXPECT_EQ(87000000U, lLedger.mCallsNs);
    EXPECT_EQ(50000000U, lLedger.mLongestNs);
    EXPECT_EQ(2, lLedger.mLongestId);
    EXPECT_FALSE(lLedger.mIsInCall);
}

TEST(Ledger, CallsAreTimedByTheClockThatIsAskedFor)
{
    Started lThread;
    lThread.mRecorder.on(1, [](int) { std::this_thread::sleep_for(std::chrono::microseconds(50)); });
    lThread.setCallClock(CallClock::NONE);
    ASSERT_TRUE(lThread.fence() && lThread.sendMsgSync(1) && lThread.fence());
    EXPECT_EQ(0U, lThread.ledger().mCallsNs);
    lThread.setCallClock(CallClock::PRECISE);
    ASSERT_TRUE(lThread.sendMsgSync(1) && lThread.fence());
    EXPECT_GE(lThread.ledger().mLongestNs, 50000U);
}

TEST(Ledger, OfASharedTimerCountsRequestsAndBeats)
{
    struct : TimerListener
    {
        void onTime(int) override
        {
            mEntered.open(), mLeave.wait();
            std::this_thread::sleep_for(std::chrono::milliseconds(5)); // beats of one millisecond are lost
        }
        Gate mEntered;
        Gate mLeave;
    } lSlow;
    SharedTimer lTimer(0, 0, nullptr, 2, "timer");
    int const lOnce = lTimer.addTimer(&lSlow, 1, 1, 0);
    int const lBeats = lTimer.addTimer(&lSlow, 1, 0, 1);
    ASSERT_TRUE(lTimer.start(lOnce, 0) && lSlow.mEntered.wait());
    EXPECT_EQ(lOnce, lTimer.ledger().mCallId);
    while (lTimer.eraseTimer(99, 1)) // until no more wait
    {
    }
    EXPECT_EQ((Counts{257, 1, 0, 0, 256, 256, 1, 0, 0, 0}), messages(lTimer.ledger()));
    lSlow.mLeave.open();
    ASSERT_TRUE(waitUntil([&] { return lTimer.start(lBeats, 0); })); // a beat that finds the queue full is the last
    ASSERT_TRUE(waitUntil([&] { return lTimer.ledger().mTimeoutsLost != 0 && lTimer.ledger().mTimeouts > 1; }));
    lTimer.eraseTimer(lBeats, 0), lTimer.destroy();
    Ledger const lLedger = lTimer.ledger();
    EXPECT_EQ(0U, lLedger.mWaiting);
    EXPECT_EQ(lLedger.mAccepted, lLedger.mDelivered + lLedger.mErased);
    EXPECT_EQ(lLedger.mTimeouts, lLedger.mCalls);
}

} // namespace
