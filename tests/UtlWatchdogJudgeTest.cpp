// What the watchdog thinks of a silent thread, by samples that are made up; and its lines in the log.
#include "internal/thread/UtlWatchdogJudge.h"

#include "UtlThreadManager.h"
#include "UtlThreadWatchdog.h"
#include "UtlTimeCounter.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::ThreadCharge;
using internal::ThreadSample;

long long const MS = 1000000;
long long const NONE = ThreadSample::UNKNOWN;

/// Between two samples, a beat of 100 ms apart but for mBeats.
struct Step
{
    unsigned int mTimes;
    char mState; // at its end
    long long mRunMs;
    long long mQueuedMs; // NONE: not told
    unsigned int mBeats = 1;
};

/// A verdict of a thread that may be silent for 400 ms, and was so for 100 before the first sample; "-" for none yet.
std::string verdict(std::vector<Step> const& nSteps, long long nLateMs = 0)
{
    ThreadCharge lCharge;
    ThreadSample lSample;
    long long const lBeginNs = lSample.mTakenNs = 1000 * MS;
    lSample.mState = nSteps[0].mState;
    lSample.mRunNs = 5 * MS;
    lSample.mQueuedNs = nSteps[0].mQueuedMs != NONE ? 7 * MS : NONE;
    lCharge.add(lSample, 100 * MS);
    for (Step const& lStep : nSteps)
    {
        for (unsigned int lTime = 0; lTime < lStep.mTimes; ++lTime)
        {
            lSample.mTakenNs += lStep.mBeats * 100 * MS;
            lSample.mState = lStep.mState;
            lSample.mRunNs += lStep.mRunMs * MS;
            lSample.mQueuedNs = lStep.mQueuedMs == NONE ? NONE : lSample.mQueuedNs + lStep.mQueuedMs * MS;
            lCharge.add(lSample, 100 * MS);
        }
    }
    WatchdogVerdict lVerdict;
    bool const lIsTold =
        lCharge.judge({lSample.mTakenNs - lBeginNs + 100 * MS, 400 * MS, 100 * MS, nLateMs * MS}, &lVerdict);
    return lIsTold ? text(lVerdict.mVerdict) : "-";
}

TEST(ThreadCharge, JudgesByWhatASilenceIsMadeOf)
{
    struct Row
    {
        std::vector<Step> mSteps;
        char const* mpVerdict;
        long long mLateMs = 0;
    } const ROWS[] = {
        {{{4, 'S', 0, 0}}, "hung: blocked"},
        {{{3, 'S', 0, 0}}, "-"}, // the rest was not seen
        {{{4, 'D', 0, NONE}}, "hung: blocked"},
        {{{4, 'R', 100, 0}}, "hung: runs without end"},
        {{{2, 'S', 0, 0}, {2, 'R', 100, 0}}, "hung: runs without end"},
        {{{3, 'R', 0, 0}}, "starved"},  // it never ran, and so never waited
        {{{3, 'R', 5, 95}}, "starved"}, // a little
        {{{3, 'R', 5, NONE}}, "starved"},
        {{{3, 'S', 0, NONE}, {2, 'R', 1, NONE}, {1, 'S', 0, NONE}}, "-"}, // not told what it did between
        {{{5, 'S', 1, 40}}, "-"},
        {{{7, 'S', 1, 40}}, "hung: blocked"},    // it wants only a part of the time
        {{{3, 'S', 0, 0}, {1, 'R', 1, 0}}, "-"}, // found awake by chance
        {{{3, 'S', 0, 0}, {1, 'R', 1, 0}, {1, 'S', 1, 0}}, "hung: blocked"},
        {{{6, 'T', 0, 0}}, "was stopped"},
        {{{1, 'S', 0, 0, 10}}, "was stopped", 850},
        {{{1, 'S', 0, 0, 10}}, "-"}, // a slow listener of the watchdog itself
        {{{4, '\0', 0, NONE}}, "undecided"},
        {{{4, '\0', 100, NONE}}, "hung: runs without end"},
    };
    for (Row const& lRow : ROWS)
    {
        EXPECT_EQ(lRow.mpVerdict, verdict(lRow.mSteps, lRow.mLateMs)) << "row " << &lRow - ROWS;
    }
}

TEST(ThreadCharge, NextThreadHasAnAccountOfItsOwn)
{
    ThreadCharge lCharge;
    lCharge.add({1000 * MS, 'S', 5 * MS, 7 * MS}, 100 * MS);
    lCharge.turnAway();
    lCharge.add({1100 * MS, 'S', 5 * MS, NONE}, 100 * MS);
    lCharge.add({1200 * MS, 'S', 5 * MS, 900 * MS}, 100 * MS);
    WatchdogVerdict lVerdict;
    lCharge.judge({200 * MS, 400 * MS, 100 * MS, 0}, &lVerdict);
    EXPECT_EQ(0U, lVerdict.mStarvedMs);
}

TEST(WatchdogVerdict, NeitherSlowListenersNorTimeWithoutBeatsArePauses)
{
    struct : WatchdogTimerListener, WatchdogVerdictListener
    {
        void onTime(int, WatchdogInfoMap const&) override { Thread::sleep(600); }
        void onVerdict(WatchdogVerdict const& nVerdict) override
        {
            ++(nVerdict.mVerdict == Verdict::STOPPED ? mStopped : mOthers);
        }
        std::atomic<int> mStopped{0};
        std::atomic<int> mOthers{0};
    } lSlow;
    ThreadWatchdog lWatchdog(4);
    int const lId = ThreadManager::getCallerId();
    ASSERT_TRUE(lWatchdog.initialize(10));
    lWatchdog.setVerdictListener(&lSlow);
    ASSERT_TRUE(lWatchdog.entry(lId, 40, &lSlow, "slow"));
    ASSERT_TRUE(lWatchdog.start(lId));
    EXPECT_TRUE(waitUntil([&] { return lSlow.mOthers != 0; }));
    ASSERT_TRUE(lWatchdog.setWatchInterval(0));
    lSlow.mOthers = 0;
    lWatchdog.keepAlive(StatementInfo::INVALID);
    ASSERT_TRUE(lWatchdog.setWatchInterval(10));
    EXPECT_TRUE(waitUntil([&] { return lSlow.mOthers != 0; }));
    lWatchdog.shutdown();
    EXPECT_EQ(0, lSlow.mStopped);
}

/// A message thread whose silence is told by lines in the log.
struct Reported
{
    Reported()
    {
        EXPECT_TRUE(ThreadManager::get()->setWatchdogWatchInterval(10));
        ThreadManager::get()->setWatchdogReport(true);
    }
    ~Reported()
    {
        EXPECT_EQ(0, mThread.stop(1, 0));
        ThreadManager::destroy();
        EXPECT_EQ(WatchdogInfo::NO_TICK, ThreadManager::watchdogBeatDeadline());
    }

    void start()
    {
        ASSERT_EQ(0, mThread.start(&mRecorder, 1, 40, nullptr, 1, 0, NORMAL, 0));
        EXPECT_TRUE(waitUntil([&] { return mLog.count("Name:held  hung: blocked  Silent:") == 1; }));
    }

    LogCapture mLog;
    Recorder mRecorder;
    Gate mLeave;
    MsgDrivenThread mThread{4, 8, "held", 1};
};

TEST(WatchdogVerdict, LinesTellOfMessageAndVerdictAndTheBeatOfItself)
{
    Reported lHeld;
    lHeld.mRecorder.on(5, [&](int) { lHeld.mLeave.wait(); });
    for (int const lMsgId : {5, 6, 7})
    {
        ASSERT_TRUE(lHeld.mThread.sendMsgAsync(SimpleMsg(lMsgId)));
    }
    lHeld.start();
    EXPECT_EQ(1U, lHeld.mLog.count(" MsgId:0x00000005 Listener:0x"));
    EXPECT_EQ(1U, lHeld.mLog.count("ms  Waiting:2 NextId:0x00000006"));
    EXPECT_LT(static_cast<int>(TimeCounter::getTickTime() - ThreadManager::watchdogBeatDeadline()),
              static_cast<int>(longMs()));
    lHeld.mLeave.open();
}

TEST(WatchdogVerdict, QueueThatStaysLockedHoldsUpNoBeat)
{
    Reported lHeld;
    auto lEndless = [&](ThreadRawMsg&) { return lHeld.mLeave.wait(); };
    MsgDrivenThread::MsgJudgement<decltype(lEndless)> lJudgement(&lEndless);
    auto const lLockQueue = [&](int)
    {
        waitUntil([&] { return lHeld.mThread.isRunning(); }); // or it would find nothing
        lHeld.mThread.postMsg(6);
        lHeld.mThread.hasMsgInternal(&lJudgement);
    };
    lHeld.mRecorder.on(5, lLockQueue);
    ASSERT_TRUE(lHeld.mThread.sendMsgAsync(SimpleMsg(5)));
    lHeld.start();
    EXPECT_EQ(1U, lHeld.mLog.count(" its queue is locked"));
    lHeld.mLeave.open();
}

} // namespace
