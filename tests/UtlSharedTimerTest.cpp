// Shared timers, the timer with a thread to itself, and what message threads say of the same failures.
#include "UtlTimer.h"

#include "UtlThreadManager.h"
#include "internal/message/UtlSharedTimerImpl.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace utl
{

/// A test's way to the queue of a timer thread.
class SharedTimerTestPeer
{
public:
    /// On the timer thread: as if a signal of the timer had come and been noted.
    static void expire(SharedTimer& nTimer, int nTimerId)
    {
        MsgDrivenThreadTestPeer::expireOf(*nTimer.mpImpl, nTimerId);
    }

    static bool sleeps(SharedTimer& nTimer) { return MsgDrivenThreadTestPeer::sleepsOf(*nTimer.mpImpl); }
    static unsigned int waiters(SharedTimer& nTimer)
    {
        SyncGuard lGuard(nTimer.mpImpl->mSyncObject);
        return nTimer.mpImpl->mWaiters.size();
    }
    static unsigned int queued(SharedTimer& nTimer) { return MsgDrivenThreadTestPeer::ctlCountOf(*nTimer.mpImpl); }
};

} // namespace utl

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;
using Peer = SharedTimerTestPeer;

unsigned int const LONG_MS = 1000000;

/// Counts the calls and runs what a test has set. Made before the timer thread, so that it outlives it.
class Probe : public TimerListener
{
public:
    void onTime(int nTimerId) override
    {
        mAction(nTimerId);
        ++mCalls;
    }

    std::atomic<unsigned int> mCalls{0};
    std::function<void(int)> mAction = [](int) {};
};

class TestTimer : public SharedTimer
{
public:
    TestTimer()
        : SharedTimer(0, 0, nullptr, 8, "under test")
    {
        ThreadManager::get()->setWatchdogWatchInterval(0); // the watchdog's thread is not to meet the faults
    }
    ~TestTimer() override
    {
        release();
        destroy();
    }

    /// All that was queued before has been dispatched.
    bool fence()
    {
        int const lId = addTimer(nullptr, 0, 0, 0);
        return start(lId, 0) && stop(lId, 0) && eraseTimer(lId, 0);
    }

    /// Keeps the timer thread in a listener until release() or the end.
    bool hold()
    {
        mHolder.mAction = [this](int) { mEntered.open(), mRelease.wait(); };
        return run(&mHolder, 1, 1) != -1 && mEntered.wait();
    }
    void release() { mRelease.open(); }

    /// Makes a timer and has it running.
    int run(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxCount = 0, int nIsFreeRunning = 0)
    {
        int const lId = addTimer(npListener, nIntervalMs, nMaxCount, nIsFreeRunning);
        return start(lId, 0) ? lId : -1;
    }

private:
    Probe mHolder;
    Gate mEntered;
    Gate mRelease;
};

// The first test, since a handler is installed once in a process. The kernel refuses: the documented lines, nobody left
// waiting, the state as it was.
TEST(SharedTimer, FailuresOfTheKernelAreToldAsByAMessageThread)
{
    LogCapture lLog;
    failing<&SystemCalls::mSigaction>(EINVAL, [] { MsgDrivenThread(4, 4, "first", 1); });
    ThreadManager::get(); // has a message thread
    failing<&SystemCalls::mSigaction>(EINVAL, [] { SharedTimer(0, 0, nullptr, 1, "first"); });
    Started lThread;
    TestTimer lTimer;
    SharedTimer(0, 0, nullptr, 1, "third");
    EXPECT_EQ(
        (LogLines{"<UTIL> ERR: MsgDrivenThread sigaction  errno:22", "<UTIL> ERR: SharedTimer sigaction  errno:22",
                  "<UTIL> DTL: SharedTimer sigaction  success:" + std::to_string(SIGRTMIN + 1)}),
        lLog.lines());
    lThread.registerTimer(LONG_MS, 0, 0);
    lThread.setTimer(0, 0, 0, 0); // runs and never fires
    int const lRests = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    int const lRuns = lTimer.run(nullptr, 0);
    auto const lStartMsg = [&] { EXPECT_TRUE(lThread.startTimer(1, 0)); };
    auto const lStopMsg = [&] { EXPECT_TRUE(lThread.killTimer(2, 0)); };
    auto const lStart = [&] { EXPECT_TRUE(lTimer.start(lRests, 0)); };
    auto const lStop = [&] { EXPECT_TRUE(lTimer.stop(lRuns, 0)); };
    std::string const MSG = "MsgDrivenThread(under test)";
    std::string const TIMER = "SharedTimerThread(under test)";
    std::string const CREATE = " timer_create SysTimerId:0x00000000 errno:11\n";
    struct Row
    {
        std::function<void()> mDo;
        std::string mName, mCall, mError, mMsgId;
    } const ROWS[] = {
        {[&] { failing<&SystemCalls::mTimerCreate>(EAGAIN, lStartMsg); }, MSG, CREATE, "", "6"},
        {[&] { failing<&SystemCalls::mTimerSettime>(EPERM, lStartMsg); }, MSG, " timer_settime SysTimerId:0x", "1\n",
         "6"},
        {[&] { failing<&SystemCalls::mTimerDelete>(EINVAL, lStopMsg); }, MSG, " timer_delete SysTimerNum:0x", "22",
         "7"},
        {[&] { failing<&SystemCalls::mTimerCreate>(EAGAIN, lStart); }, TIMER, CREATE, "", "4"},
        {[&] { failing<&SystemCalls::mTimerSettime>(EPERM, lStart); }, TIMER, " timer_settime SysTimerId:0x", "1\n",
         "4"},
        {[&] { lTimer.setInterval(lRests, 0x80000000U), lStart(); }, TIMER, " timer_settime", "22\n", "4"}, // below 0
        {[&] { failing<&SystemCalls::mTimerDelete>(EINVAL, lStop); }, TIMER, " timer_delete SysTimerId:0x", "22", "5"},
    };
    for (Row const& lRow : ROWS)
    {
        lLog.clear();
        lRow.mDo();
        ASSERT_TRUE(waitUntil([&] { return lLog.lines().size() == 2; })) << lRow.mCall;
        EXPECT_EQ(0U, lLog.lines()[0].find("<UTIL> ERR: " + lRow.mName + lRow.mCall)) << lLog.lines()[0];
        EXPECT_EQ(1U, lLog.count(" errno:" + lRow.mError));
        EXPECT_EQ("<UTIL> ERR: !!!!!!!! " + lRow.mName + " Error. MsgId:0x8000000" + lRow.mMsgId + " !!!!!!!!",
                  lLog.lines()[1]);
        EXPECT_EQ("ny", said({lTimer.isRunning(lRests), lTimer.isRunning(lRuns)}));
    }
    lStop();
    EXPECT_EQ("yy", said({lTimer.setInterval(lRests, 10), lTimer.start(lRests, 0)}));
    EXPECT_EQ("yn", said({lTimer.isRunning(lRests), lTimer.isRunning(lRuns)}));
}

TEST(SharedTimer, FailuresOfThePipeAreToldAsByAMessageThread)
{
    LogCapture lLog;
    ThreadManager::get(); // has a pipe, too
    failing<&SystemCalls::mPipe2>(EMFILE,
                                  [] { SharedTimer(0, 0, nullptr, 1, "no pipe").waitTo(Thread::STAGE_DONE, 0); });
    EXPECT_EQ(1U, lLog.count("ERR: SharedTimerThread(no pipe) pipe errno:24"));
    EXPECT_EQ(1U, lLog.count("SharedTimerThread(no pipe) Error. read Ret:4294967295 errno:9 !!Break msg loop!!"));
    Started lThread;
    TestTimer lTimer;
    struct
    {
        Thread& mThread;
        std::function<bool()> mSleeps, mUse;
        std::string mName, mWriter;
    } const ROWS[] = {{lThread, [&] { return MsgDrivenThreadTestPeer::sleeps(lThread); },
                       [&] { return lThread.sendMsgSync(1); }, "MsgDrivenThread(under test)", "::postThreadCtlMsg()"},
                      {lTimer, [&] { return Peer::sleeps(lTimer); }, [&] { return lTimer.fence(); },
                       "SharedTimerThread(under test)", ""}};
    for (auto const& lRow : ROWS)
    {
        ASSERT_TRUE(lRow.mSleeps());
        lLog.clear();
        EXPECT_FALSE(failing<&SystemCalls::mWrite>(EIO, lRow.mUse));
        EXPECT_EQ(LogLines{"<UTIL> ERR: " + lRow.mName + lRow.mWriter + " Error. write Ret:4294967295 errno:5"},
                  lLog.lines());
        EXPECT_TRUE(lRow.mUse()); // the note is up again
        std::string const lFailed = lRow.mName + " Error. read Ret:4294967295 errno:";
        auto const lIsInterrupted = [&]
        {
            FailNth<&SystemCalls::mRead> const lFault(1, EINTR); // the watchdog's thread may meet it in our place
            return lRow.mUse() && lRow.mSleeps() && lLog.count("INF: " + lFailed + "4=EINTR Retry read") == 1;
        };
        EXPECT_TRUE(waitUntil(lIsInterrupted));
        FailNth<&SystemCalls::mRead> const lFault(0, EIO);
        lRow.mUse(); // wakes the loop, which reads again
        EXPECT_EQ(0, lRow.mThread.waitTo(Thread::STAGE_DONE, longMs()));
        EXPECT_EQ(1U, lLog.count("ERR: " + lFailed + "5 !!Break msg loop!!"));
        unsigned int lResult = 0;
        EXPECT_TRUE(lRow.mThread.getResult(&lResult));
        EXPECT_EQ(~0U, lResult);
        EXPECT_FALSE(lRow.mUse());
    }
}

TEST(SharedTimer, IdsGoOnAndAFullTableRefusesInSilence)
{
    LogCapture lLog;
    SharedTimer lTimer(1, 1000000, nullptr, 2, "small");
    ThreadManager& lManager = *ThreadManager::get();
    Array<int, int const&> lIds(2);
    EXPECT_TRUE(lIds.insertAt(0, 77)); // which goes
    lLog.clear();
    EXPECT_EQ(1, lTimer.addTimer(nullptr, 10, 0, 0));
    EXPECT_EQ(2, lTimer.addTimer(nullptr, LONG_MS, 0, 0));
    EXPECT_EQ(-1, lTimer.addTimer(nullptr, 10, 0, 0));
    EXPECT_TRUE(lTimer.eraseTimer(1, 0));
    EXPECT_TRUE(waitUntil([&] { return !lManager.isWatchingWatchdog(lTimer.getId()); })); // an idle thread
    lTimer.startThreadWatchdog();
    EXPECT_TRUE(lManager.isWatchingWatchdog(lTimer.getId()));
    lTimer.stopThreadWatchdog();
    EXPECT_FALSE(lManager.isWatchingWatchdog(lTimer.getId()));
    EXPECT_EQ(3, lTimer.addTimer(nullptr, 30, 0, 0));
    EXPECT_EQ("yn", said({lTimer.getTimerIdSet(&lIds), lTimer.getTimerIdSet(nullptr)}));
    EXPECT_EQ(2, lIds.size());
    EXPECT_EQ(2, *lIds.at(0));
    EXPECT_EQ(3, *lIds.at(1));
    EXPECT_EQ("nnnn",
              said({lTimer.start(1, 0), lTimer.stop(1, 0), lTimer.restart(1, 0), lTimer.setInterval(1, 1)})); // gone
    EXPECT_EQ(-1, lTimer.waitToStart(1));
    EXPECT_EQ("ny", said({lTimer.eraseTimer(1, 0), lTimer.eraseTimer(1, 1)})); // not looked at
    std::pair<void (SharedTimer::*)(int), char const*> const ROWS[] = {
        {&SharedTimer::startAll, "yy"}, {&SharedTimer::stopAll, "nn"}, {&SharedTimer::restartAll, "yy"}};
    for (auto const& [lDo, lRunning] : ROWS)
    {
        (lTimer.*lDo)(0);
        EXPECT_EQ(lRunning, said({lTimer.isRunning(2), lTimer.isRunning(3)}));
    }
    lTimer.destroy();
    EXPECT_EQ(-1, lTimer.addTimer(nullptr, 10, 0, 0));
    EXPECT_FALSE(lTimer.isRunning(2));
    EXPECT_EQ(LogLines{}, lLog.lines());
}

// Nothing waits on the timer thread, whatever it is told, and a waiter elsewhere is not waited for.
TEST(SharedTimer, ListenerMayCallEverything)
{
    Probe lProbe;
    TestTimer lTimer;
    Gate lIsIn;
    std::function<void(int)> const ACTIONS[] = {
        [&](int nId)
        {
            lIsIn.open();
            waitUntil([&] { return Peer::queued(lTimer) == 1; });
            EXPECT_TRUE(lTimer.stop(nId, 0));
            EXPECT_EQ(0, lTimer.waitToStop(nId)); // it rests at once
            EXPECT_FALSE(lTimer.start(99, 0));
        },
        [&](int) { lTimer.restartAll(0); },
        [&](int nId) { EXPECT_TRUE(lTimer.restart(nId, 0)); },
        [&](int nId) { EXPECT_TRUE(lTimer.eraseTimer(nId, 0)); },
    };
    lProbe.mAction = [&](int nId) { ACTIONS[lProbe.mCalls](nId); };
    int const lOther = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    int const lId = lTimer.run(&lProbe, 1, 1);
    ASSERT_TRUE(lIsIn.wait());
    ASSERT_TRUE(lTimer.start(lOther, 0)); // holds the lock of callers meanwhile
    EXPECT_EQ(0, lTimer.waitToStop(lId));
    EXPECT_EQ(1U, lProbe.mCalls);
    ASSERT_TRUE(lTimer.start(lId, 0));
    ASSERT_TRUE(waitUntil([&] { return lTimer.getInterval(lId) == 0xFFFFFFFFU; }));
    EXPECT_TRUE(waitUntil([&] { return lProbe.mCalls == 4; })); // it was gone before its listener had returned
    EXPECT_TRUE(lTimer.isRunning(lOther));
}

TEST(SharedTimer, ListenerMayEndTheThread)
{
    Probe lEnds;
    TestTimer lTimer;
    lEnds.mAction = [&](int)
    {
        lTimer.destroy();
        EXPECT_EQ(-1, lTimer.addTimer(nullptr, 1, 0, 0));
    };
    int const lId = lTimer.run(&lEnds, 1, 0, 1);
    EXPECT_EQ(0, static_cast<Thread&>(lTimer).waitTo(Thread::STAGE_DONE, 0));
    EXPECT_FALSE(lTimer.isRunning(lId));
    EXPECT_EQ(1U, lEnds.mCalls);
}

// While a listener holds the thread up: what does not wait is not held up by those who do, and a request that somebody
// waits for counts as done.
TEST(SharedTimer, NobodyStandsBehindAnothersWait)
{
    TestTimer lTimer;
    int const lFirst = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    int const lSecond = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    ASSERT_TRUE(lTimer.hold());
    std::thread lStarts([&] { EXPECT_TRUE(lTimer.start(lFirst, 0)); });
    EXPECT_TRUE(waitUntil([&] { return Peer::queued(lTimer) == 1; }));
    std::thread lStartsToo([&] { EXPECT_TRUE(lTimer.start(lFirst, 0)); });
    EXPECT_TRUE(waitUntil([&] { return Peer::waiters(lTimer) == 2; })); // for the same request
    EXPECT_NE(-1, lTimer.addTimer(nullptr, LONG_MS, 0, 0));
    EXPECT_TRUE(lTimer.start(lFirst, 1)); // is asked for
    EXPECT_EQ(1U, Peer::queued(lTimer));
    EXPECT_TRUE(lTimer.start(lSecond, 1));
    EXPECT_EQ(2U, Peer::queued(lTimer));
    EXPECT_TRUE(lTimer.stop(lSecond, 1)); // it rests: nobody waits for its start
    EXPECT_EQ(2U, Peer::queued(lTimer));
    EXPECT_TRUE(lTimer.stop(lFirst, 1));
    EXPECT_EQ(3U, Peer::queued(lTimer));
    lTimer.release();
    lStarts.join();
    lStartsToo.join();
    EXPECT_TRUE(lTimer.fence());
    EXPECT_FALSE(lTimer.isRunning(lFirst));
    EXPECT_TRUE(lTimer.isRunning(lSecond));
}

TEST(SharedTimer, NewIntervalIsTakenUpAfterTheNextTimeout)
{
    for (int lIsFreeRunning : {0, 1})
    {
        Probe lProbe;
        TestTimer lTimer;
        lProbe.mAction = [&](int nId) { lTimer.setInterval(nId, LONG_MS); };
        int const lId = lTimer.run(&lProbe, 1, 0, lIsFreeRunning);
        ASSERT_TRUE(waitUntil([&] { return lProbe.mCalls > 0; }));
        ASSERT_EQ(0, lTimer.waitToStop(lTimer.run(nullptr, 5, 1))); // several old intervals have passed
        EXPECT_EQ(1U, lProbe.mCalls);
        EXPECT_TRUE(lTimer.isRunning(lId));
        EXPECT_EQ(LONG_MS, lTimer.getInterval(lId));
    }
}

TEST(SharedTimer, BusyThreadRestartsToStoppedAndAFullControlQueueRefusesInSilence)
{
    TestTimer lTimer;
    int const lRests = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    int const lRuns = lTimer.run(nullptr, LONG_MS);
    ASSERT_TRUE(lTimer.hold());
    LogCapture lLog;
    EXPECT_TRUE(lTimer.restart(lRuns, 1)); // runs still, so that the start is not queued
    for (int lCount = 1; lCount < 256; ++lCount)
    {
        ASSERT_TRUE(lTimer.eraseTimer(99, 1));
    }
    EXPECT_EQ("nnn", said({lTimer.eraseTimer(lRests, 1), lTimer.start(lRests, 0), lTimer.stop(lRuns, 0)}));
    lTimer.release();
    ASSERT_TRUE(waitUntil([&] { return lTimer.start(lRests, 1); }));
    EXPECT_EQ(0, lTimer.waitToStart(lRests));
    EXPECT_FALSE(lTimer.isRunning(lRuns));
    EXPECT_EQ(LogLines{}, lLog.lines());
}

TEST(Timer, CallsItsListenerOrItsSubclassAndStartsAnew)
{
    struct Own : Timer
    {
        using Timer::Timer;
        ~Own() override { destroy(); }
        void onTime(int) override { ++mCalls; }
        std::atomic<unsigned int> mCalls{0};
    } lOwn(1, 0, 0, nullptr, 2, 0, "own");
    Probe lProbe;
    Timer lListened(&lProbe, 1, 0, 0, nullptr, 2, 1, "listened");
    for (Timer* lpTimer : {static_cast<Timer*>(&lOwn), &lListened})
    {
        for (int lRound = 0; lRound < 2; ++lRound)
        {
            EXPECT_EQ("ny", said({lpTimer->isRunning(), lpTimer->start(0)}));
            EXPECT_TRUE(waitUntil([&] { return !lpTimer->isRunning(); }));
        }
        EXPECT_TRUE(lpTimer->setInterval(LONG_MS));
        EXPECT_EQ(LONG_MS, lpTimer->getInterval());
        EXPECT_EQ("yyyn", said({lpTimer->restart(0), lpTimer->isRunning(), lpTimer->stop(0), lpTimer->isRunning()}));
    }
    EXPECT_EQ(4, lOwn.mCalls);
    EXPECT_EQ(4, lProbe.mCalls);
}

// Who stops or erases with waiting outlasts the listener under way, also if that has stopped its timer itself.
TEST(SharedTimer, WaitingOutlastsAListenerThatHasStoppedItsOwnTimer)
{
    for (auto const lWait : {&SharedTimer::eraseTimer, &SharedTimer::stop})
    {
        Gate lStopped, lRelease;
        std::atomic<bool> lHasReturned{false};
        Probe lProbe;
        TestTimer lTimer;
        lProbe.mAction = [&](int nTimerId)
        {
            EXPECT_TRUE(lTimer.stop(nTimerId, 0));
            lStopped.open();
            lRelease.wait();
        };
        int const lId = lTimer.run(&lProbe, 1);
        ASSERT_TRUE(lStopped.wait());
        std::thread lOwner([&] { lHasReturned = (lTimer.*lWait)(lId, 0); });
        EXPECT_TRUE(waitUntil([&] { return lHasReturned || Peer::queued(lTimer) == 1; }));
        EXPECT_FALSE(lHasReturned);
        lRelease.open();
        lOwner.join();
        EXPECT_TRUE(lHasReturned);
    }
}

// On the timer thread a stop and an erasure are done when they return: a time-out that waits calls nobody, and whoever
// waits is released. If the kernel refuses, nothing has changed.
TEST(SharedTimer, ListenerCancelsOthersForCertain)
{
    struct Row
    {
        bool (SharedTimer::*mpCancel)(int, int);
        bool mIsRefused;
    } const ROWS[] = {{&SharedTimer::stop, false},
                      {&SharedTimer::eraseTimer, false},
                      {&SharedTimer::stop, true},
                      {&SharedTimer::eraseTimer, true}};
    for (Row const& lRow : ROWS)
    {
        SCOPED_TRACE(&lRow - ROWS);
        QuietLog const lQuiet;
        Probe lCancels;
        Probe lCancelled;
        TestTimer lTimer;
        int const lId = lTimer.run(&lCancelled, LONG_MS, 0, 1);
        std::thread lWaiter([&] { EXPECT_EQ(0, lTimer.waitToStop(lId)); });
        EXPECT_TRUE(waitUntil([&] { return Peer::waiters(lTimer) == 1; }));
        lCancels.mAction = [&](int)
        {
            Peer::expire(lTimer, lId);
            FailNth<&SystemCalls::mTimerDelete> const lFault(lRow.mIsRefused ? 0 : -1, EINVAL);
            EXPECT_EQ(!lRow.mIsRefused, (lTimer.*lRow.mpCancel)(lId, 0));
            EXPECT_EQ(lRow.mIsRefused, lTimer.isRunning(lId));
        };
        EXPECT_EQ(0, lTimer.waitToStop(lTimer.run(&lCancels, 1, 1)));
        EXPECT_TRUE(lTimer.fence());
        EXPECT_EQ(lRow.mIsRefused ? 1U : 0U, lCancelled.mCalls);
        lTimer.stop(lId, 0); // if it could not be before
        lWaiter.join();
    }
}

// A time-out that stands behind the end of its timer calls nobody, not even if the kernel does not let go of the timer.
TEST(SharedTimer, TimeoutBehindTheEndOfItsTimerCallsNobody)
{
    QuietLog const lQuiet;
    Probe lGoes;
    Probe lErases;
    TestTimer lTimer;
    int const lId = lTimer.run(&lGoes, LONG_MS, 0, 1);
    lErases.mAction = [&](int nTimerId)
    {
        EXPECT_TRUE(lTimer.eraseTimer(lId, 1));
        Peer::expire(lTimer, lId);
        EXPECT_TRUE(lTimer.stop(nTimerId, 0));
    };
    FailNth<&SystemCalls::mTimerDelete> const lFault(2, EINVAL, FAULT_ACTS);
    EXPECT_EQ(0, lTimer.waitToStop(lTimer.run(&lErases, 1)));
    EXPECT_TRUE(lTimer.fence());
    EXPECT_TRUE(lFault.fired());
    EXPECT_EQ(0xFFFFFFFFU, lTimer.getInterval(lId));
    EXPECT_EQ(0U, lGoes.mCalls);
}

} // namespace
