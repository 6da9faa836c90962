#include "UtlWorker.h"

#include "support/MsgThread.h"
#include "support/Process.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using namespace std::chrono_literals;
using internal::SystemCalls;
using Ints = std::vector<int>;

std::chrono::milliseconds longTime()
{
    return std::chrono::milliseconds(longMs());
}

/// A worker that a test can hold inside a closure.
struct Held
{
    explicit Held(unsigned int nMessages = 16)
        : mWorker(WorkerOptions("held").messages(nMessages))
    {
    }
    ~Held() { mRelease.open(); }

    bool hold()
    {
        auto const lHold = [this] { mEntered.open(), mRelease.wait(); };
        return mWorker.post(lHold) == Post::DONE && mEntered.wait();
    }

    Gate mEntered;
    Gate mRelease;
    Worker mWorker;
};

struct alignas(32) Wide
{
    int mNumber;
};

TEST(Worker, RunsMessagesClosuresAndCallsInOrderAsAlignedCopies)
{
    Ints lSeen;
    Held lHeld;
    Inbox<Wide> const lWides = lHeld.mWorker.inbox<Wide>(
        [&](Wide const& nWide)
        {
            EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(&nWide) % alignof(Wide));
            lSeen.push_back(nWide.mNumber);
        });
    Inbox<char> const lChars = lHeld.mWorker.inbox<char>([&](char nChar) { lSeen.push_back(nChar); });
    ASSERT_EQ(Start::DONE, lHeld.mWorker.start());
    ASSERT_TRUE(lHeld.hold());
    EXPECT_EQ(Post::DONE, lWides.post({1}));
    std::array<std::intptr_t, 5> const lWords{0, 0, 0, 0, 2}; // with the reference as much as a closure may hold
    EXPECT_EQ(Post::DONE, lHeld.mWorker.post([lWords, &lSeen] { lSeen.push_back(static_cast<int>(lWords[4])); }));
    EXPECT_EQ(Post::DONE, lChars.post(3));
    lHeld.mRelease.open();
    Answer<Ints> lAnswer = lHeld.mWorker.call(longTime(), [&] { return lSeen; });
    ASSERT_TRUE(lAnswer);
    EXPECT_EQ((Ints{1, 2, 3}), *lAnswer);
}

TEST(Worker, TellsWhyItRefuses)
{
    LogCapture lLog;
    int lRun = 0;
    Worker lWorker(WorkerOptions("refusing").messages(2));
    Inbox<int> const lInbox = lWorker.inbox<int>([&](int) { ++lRun; });
    EXPECT_EQ(Post::NOT_STARTED, lInbox.post(1));
    EXPECT_EQ(Call::NOT_STARTED, lWorker.call(1s, [] {}).outcome());
    ASSERT_EQ(Start::DONE, lWorker.start());
    EXPECT_EQ(Start::STARTED_ONCE, lWorker.start());
    EXPECT_EQ(Post::NOT_STARTED, lWorker.inbox<int>([](int) {}).post(1));
    EXPECT_EQ(LogLines{"<UTIL> ERR: Worker(refusing) an inbox after the start"}, lLog.lines());

    Gate lEntered;
    Gate lRelease;
    ASSERT_EQ(Post::DONE, lWorker.post([&] { lEntered.open(), lRelease.wait(); }));
    ASSERT_TRUE(lEntered.wait());
    lLog.clear();
    EXPECT_EQ(Post::DONE, lInbox.post(1));
    EXPECT_EQ(Post::DONE, lInbox.post(2));
    EXPECT_EQ(Post::FULL, lInbox.post(3));
    EXPECT_EQ(Call::FULL, lWorker.call(1s, [] {}).outcome());
    EXPECT_EQ(LogLines(), lLog.lines());
    Worker lMoved(std::move(lWorker));
    EXPECT_EQ(Post::NOT_STARTED, lWorker.post([] {})); // NOLINT: moved-from is defined
    EXPECT_EQ(Start::STARTED_ONCE, lWorker.start());
    lRelease.open();
    lMoved.finish();
    EXPECT_EQ(2, lRun);
    lMoved = Worker(WorkerOptions("another"));
    EXPECT_EQ(Post::STOPPED, lInbox.post(4)); // outlives its worker
}

TEST(Worker, StartsAfterAFailure)
{
    LogCapture lLog;
    ThreadManager::get();
    Worker lWorker(WorkerOptions("unlucky").timers(1));
    Gate lRang;
    WorkerTimer const lTimer = lWorker.after(1ms, [&] { lRang.open(); });
    auto const lStart = [&] { return lWorker.start(); };
    EXPECT_EQ(Start::NO_PIPE, failing<&SystemCalls::mPipe2>(EMFILE, lStart));
    EXPECT_EQ(Start::NO_THREAD, failing<&SystemCalls::mPthreadCreate>(EAGAIN, lStart));
    EXPECT_EQ(Start::DONE, lStart());
    EXPECT_TRUE(lRang.wait());
    Worker lNoStack(WorkerOptions("no stack").stackSize(1));
    EXPECT_EQ(Start::BAD_OPTION, lNoStack.start());
}

TEST(Worker, LeavesTheRegistryHoweverItEnds)
{
    for (int lRound = 0; lRound < 300; ++lRound) // more than it has entries
    {
        Worker lWorker(WorkerOptions("short-lived"));
        ASSERT_EQ(Start::DONE, lWorker.start()) << lRound;
        auto const lStop = [lpWorker = &lWorker] { lpWorker->stop(); };
        lRound % 3 == 0 ? lStop() : lRound % 3 == 1 ? lWorker.finish() : (void)lWorker.post(lStop);
    }
}

TEST(Worker, FinishesBehindWhatIsQueuedAlsoIfTheQueueIsFull)
{
    for (bool const lIsFromHandler : {false, true})
    {
        int lRun = 0;
        Held lHeld(lIsFromHandler ? 3 : 0);
        Worker& lWorker = lHeld.mWorker;
        auto const lNext = [&]
        {
            if (++lRun == 1 && lIsFromHandler)
            {
                EXPECT_EQ(Post::DONE, lWorker.post([&] { ++lRun; }));
                lWorker.finish();
                EXPECT_EQ(Post::STOPPED, lWorker.post([] {}));
            }
        };
        ASSERT_EQ(Start::DONE, lWorker.start());
        ASSERT_TRUE(lHeld.hold());
        while (lWorker.post(lNext) == Post::DONE)
        {
        }
        std::thread lFinisher([&] { lIsFromHandler ? lHeld.mRelease.open() : lWorker.finish(); });
        lHeld.mRelease.open();
        lFinisher.join();
        lWorker.thread()->waitTo(Thread::STAGE_DONE, longMs());
        EXPECT_EQ(lIsFromHandler ? 4 : 1, lRun); // room for 3 and for 1
    }
}

TEST(Worker, AStopWaitsForTheStartUnderWay)
{
    ThreadManager::get(); // makes a thread of its own
    static Worker sWorker(WorkerOptions("stopped early"));
    static std::thread sStopper;
    auto const lStopFirst = [](pthread_t* npThread, pthread_attr_t const* npAttr, void* (*npRun)(void*), void* npWhat)
    {
        static std::atomic<int> sId{0};
        sStopper = std::thread([] { sId = ThreadManager::getCallerId(), sWorker.stop(); });
        EXPECT_TRUE(waitUntil([] { return sId != 0 && isAsleep(sId); }));
        return ::pthread_create(npThread, npAttr, npRun, npWhat);
    };
    {
        Replaced const lReplaced(&SystemCalls::mPthreadCreate, +lStopFirst);
        EXPECT_EQ(Start::DONE, sWorker.start());
    }
    sStopper.join();
    EXPECT_EQ(Post::STOPPED, sWorker.post([] {}));
}

TEST(Worker, CallsEndInTimeAndNeverRunAfterwards)
{
    std::atomic<int> lRun{0};
    Held lHeld;
    ASSERT_EQ(Start::DONE, lHeld.mWorker.start());
    ASSERT_TRUE(lHeld.hold());
    EXPECT_EQ(Call::TIMED_OUT, lHeld.mWorker.call(0s, [&] { ++lRun; }).outcome());
    lHeld.mRelease.open();
    EXPECT_TRUE(lHeld.mWorker.call(longTime(), [&] { EXPECT_EQ(0, lRun.load()); }));

    // What has begun is waited for, and on the worker itself a call runs at once.
    Gate lBegun;
    Gate lGoOn;
    std::thread lOpener([&] { lBegun.wait(), lGoOn.open(); });
    auto const lSlow = [&]
    {
        lBegun.open();
        lGoOn.wait();
        return *lHeld.mWorker.call(0s, [] { return 7; });
    };
    Answer<int> const lAnswer = lHeld.mWorker.call(1ms, lSlow);
    lBegun.open(); // in case it did not begin in time
    lOpener.join();
    EXPECT_TRUE(lAnswer ? *lAnswer == 7 : lAnswer.outcome() == Call::TIMED_OUT);
}

TEST(Worker, ItsEndReleasesCallersAndDropsWhatWaits)
{
    int lRun = 0;
    Held lHeld;
    Worker& lWorker = lHeld.mWorker;
    ASSERT_EQ(Start::DONE, lWorker.start());
    ASSERT_TRUE(lHeld.hold());
    auto const lCall = [&] { EXPECT_EQ(Call::STOPPED, lWorker.call(longTime(), [&] { ++lRun; }).outcome()); };
    std::thread lCallers[] = {std::thread(lCall), std::thread(lCall)};
    ASSERT_TRUE(waitUntil([&] { return MsgDrivenThreadTestPeer::ctlCount(*lWorker.thread()) == 2; }));
    ASSERT_EQ(Post::DONE, lWorker.post([&] { ++lRun; }));
    lWorker.thread()->stop(0, 0); // asks while the handler still runs
    lHeld.mRelease.open();
    lCallers[0].join();
    lCallers[1].join();
    EXPECT_EQ(0, lRun);
}

TEST(Worker, RefusesARingOfCalls)
{
    Worker lWorkers[3] = {Worker(WorkerOptions("a")), Worker(WorkerOptions("b")), Worker(WorkerOptions("c"))};
    for (Worker& lWorker : lWorkers)
    {
        ASSERT_EQ(Start::DONE, lWorker.start());
    }
    Call lOutcome = Call::DONE;
    auto const lLast = [&] { lOutcome = lWorkers[0].call(longTime(), [] {}).outcome(); };
    auto const lSecond = [&] { EXPECT_TRUE(lWorkers[2].call(longTime(), lLast)); };
    auto const lFirst = [&] { EXPECT_TRUE(lWorkers[1].call(longTime(), lSecond)); };
    EXPECT_TRUE(lWorkers[0].call(longTime(), lFirst));
    EXPECT_EQ(Call::CYCLE, lOutcome);
    EXPECT_TRUE(lWorkers[1].call(longTime(), lLast)); // no ring, and the one before has left no trace
    EXPECT_EQ(Call::DONE, lOutcome);
}

TEST(Worker, TimersRepeatFireOnceAndMakeRoomForTheNext)
{
    int lBeats = 0;
    Gate lFourth;
    Gate lSecond;
    WorkerTimer lNext;
    Worker lWorker(WorkerOptions("beats").timers(2));
    WorkerTimer const lBeat = lWorker.every(0s, [&] { ++lBeats == 4 ? lFourth.open() : void(); });
    WorkerTimer const lOnce = lWorker.after(100us, [&] { lNext = lWorker.after(1ms, [&] { lSecond.open(); }); });
    EXPECT_FALSE(lWorker.after(1ms, [] {}));
    EXPECT_FALSE(Worker(WorkerOptions("far").timers(1)).after(24h * 30, [] {}));
    ASSERT_EQ(Start::DONE, lWorker.start());
    EXPECT_TRUE(lFourth.wait());
    EXPECT_TRUE(lSecond.wait());
    lWorker.stop();
    EXPECT_FALSE(lWorker.every(1ms, [] {}));
}

TEST(Worker, ACancelledTimerDoesNotRunAnyMore)
{
    auto lpWorker = std::make_unique<Worker>(WorkerOptions("cancelled").timers(2));
    ASSERT_EQ(Start::DONE, lpWorker->start());
    // By its own closure.
    int lRun = 0;
    Gate lRang;
    WorkerTimer lOwn;
    auto const lCancel = [&]
    {
        ++lRun;
        lOwn.cancel();
        lRang.open();
    };
    ASSERT_TRUE(lpWorker->call(longTime(), [&] { lOwn = lpWorker->every(1ms, lCancel); }));
    ASSERT_TRUE(lRang.wait());
    // From elsewhere, while it runs: what it uses may go as soon as the cancel has returned.
    for (int lRound = 0; lRound < 50; ++lRound)
    {
        auto lpAlive = std::make_unique<std::atomic<int>>(0);
        Gate lEntered;
        WorkerTimer lTimer =
            lpWorker->every(1ms, [&lEntered, lpCount = lpAlive.get()] { lEntered.open(), ++*lpCount; });
        ASSERT_TRUE(lTimer) << lRound; // each has given its place back
        ASSERT_TRUE(lEntered.wait());
        lTimer.cancel();
        lpAlive.reset();
    }
    EXPECT_TRUE(lpWorker->call(longTime(), [&] { EXPECT_EQ(1, lRun); }));
    WorkerTimer const lOutlives = lpWorker->every(1ms, [] {});
    lpWorker->every(1ms, [] {}).keep();
    lpWorker.reset();
}

TEST(Worker, LeavesOtherIdsToTheOtherListener)
{
    Recorder lOther;
    Gate lRang;
    lOther.on(MSG_ID_TIMER, [&](int) { lRang.open(); });
    Worker lWorker(WorkerOptions("both").timers(1));
    Inbox<int> const lInbox = lWorker.inbox<int>([&](int nNumber) { lOther.note(nNumber, 0); });
    lWorker.onOther(lOther);
    ASSERT_EQ(Start::DONE, lWorker.start());
    EXPECT_TRUE(lWorker.thread()->sendMsgSync(NumberMsg(5)));
    EXPECT_EQ(Post::DONE, lInbox.post(6));
    EXPECT_TRUE(lWorker.thread()->sendMsgSync(NumberMsg(7)));
    EXPECT_EQ(1, lWorker.thread()->setTimer(1, 0, 1, 0));
    EXPECT_TRUE(lRang.wait());
    lWorker.finish();
    EXPECT_EQ((std::vector<std::pair<int, int>>{{5, 0}, {6, 0}, {7, 0}, {MSG_ID_TIMER, 1}}), lOther.received());
}

TEST(Worker, IsLeftAloneInAChild)
{
    auto lpWorker = std::make_unique<Worker>(WorkerOptions("parent's").timers(1));
    WorkerTimer lTimer = lpWorker->every(1h, [] {});
    ASSERT_EQ(Start::DONE, lpWorker->start());
    EXPECT_TRUE(inChild(
        [&]
        {
            bool const lIsRefused = lpWorker->call(1h, [] {}).outcome() == Call::STOPPED;
            lTimer.cancel();
            lpWorker->stop();
            lpWorker->finish();
            lpWorker.reset();
            return lIsRefused;
        }));
    EXPECT_TRUE(lpWorker->call(longTime(), [] {}));
}

TEST(WorkerDeathTest, DestroyedByItsOwnHandlerItAborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto* lpWorker = new Worker(WorkerOptions("suicidal"));
            (void)lpWorker->start();
            (void)lpWorker->post([lpWorker] { delete lpWorker; });
            Gate().wait();
        },
        "");
}

// Posts, calls, timers, cancels and stops of several threads at once; what a worker accepts before it finishes runs.
TEST(Worker, StressOfEverythingAtOnce)
{
    for (int lRound = 0; lRound < 20; ++lRound)
    {
        std::atomic<int> lAccepted{0};
        int lRun = 0;
        Worker lWorker(WorkerOptions("stressed").messages(8).timers(4));
        Inbox<int> const lInbox = lWorker.inbox<int>([&](int) { ++lRun; });
        ASSERT_EQ(Start::DONE, lWorker.start());
        auto const lUse = [&]
        {
            for (int lIndex = 0; lIndex < 100; ++lIndex)
            {
                int lOwn = 0; // goes with the timer
                WorkerTimer const lTimer = lIndex % 4 == 0 ? lWorker.every(1ms, [&] { ++lOwn; }) : WorkerTimer();
                lAccepted += lInbox.post(lIndex) == Post::DONE ? 1 : 0;
                lAccepted += lWorker.call(lIndex % 2 == 0 ? 1ms : 1s, [&] { ++lRun; }) ? 1 : 0;
            }
        };
        together(lUse, lUse, lUse, lUse);
        if (lRound % 2 == 0)
        {
            lWorker.finish();
            EXPECT_EQ(lAccepted.load(), lRun) << lRound;
        }
        else
        {
            together(lUse, lUse, [&] { lWorker.stop(); });
        }
    }
}

} // namespace
