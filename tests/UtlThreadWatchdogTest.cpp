#include "UtlThreadWatchdog.h"

#include "UtlThreadManager.h"
#include "UtlTimeCounter.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace utl
{

/// Makes the beat a matter of made-up times.
class ThreadWatchdogTestPeer
{
public:
    static void pass(ThreadWatchdog& nWatchdog, unsigned int nNowTick) { nWatchdog.executeWatchThreads(nNowTick); }

    static bool report(ThreadWatchdog& nWatchdog, int nId, StatementInfo const& nStatement)
    {
        return nWatchdog.executeKeepAlive(nId, nStatement);
    }

    /// The last report was at this tick.
    static void setTick(ThreadWatchdog& nWatchdog, int nId, unsigned int nTick)
    {
        SyncGuard lGuard(nWatchdog.mSyncObject);
        nWatchdog.findWatchdogInfo(nId)->mLastAliveTick = nTick;
    }

    static bool isEnding(ThreadWatchdog& nWatchdog) { return nWatchdog.mpThread->hasRequestedStop(); }
    static int threadId(ThreadWatchdog const& nWatchdog) { return nWatchdog.mpThread->getId(); }

    static WatchdogInfo info(ThreadWatchdog& nWatchdog, int nId)
    {
        SyncGuard lGuard(nWatchdog.mSyncObject);
        WatchdogInfo const* const lpInfo = nWatchdog.findWatchdogInfo(nId);
        return lpInfo != nullptr ? *lpInfo : WatchdogInfo::INVALID;
    }
};

} // namespace utl

namespace
{

using namespace utl;
using namespace utl::test;
using Peer = ThreadWatchdogTestPeer;
using Ids = std::vector<int>;

StatementInfo const HERE("source/App", "loop", 12, 1);

struct Listener : WatchdogTimerListener
{
    void onTime(int nId, WatchdogInfoMap const& nInfos) override
    {
        mIds.push_back(nId);
        mTableSize = nInfos.size();
        mCount = nInfos.find(nId)->mValue.mTimeoutCount;
        mAction(nId);
    }

    Ids mIds;
    unsigned int mTableSize = 0;
    unsigned int mCount = 0;
    std::function<void(int)> mAction = [](int) {};
};

/// A watchdog whose own beat never comes: an interval of 0 fires nothing.
struct Still : ThreadWatchdog
{
    explicit Still(unsigned int nEntryMax = 4)
        : ThreadWatchdog(nEntryMax)
    {
        EXPECT_TRUE(initialize(0));
    }
    ~Still() override { shutdown(); }

    void watch(int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, unsigned int nTick)
    {
        ASSERT_TRUE(entry(nId, nAliveTimeMs, npListener, "watched"));
        ASSERT_TRUE(start(nId));
        Peer::setTick(*this, nId, nTick);
    }
};

TEST(ThreadWatchdog, AnswersNothingOutsideItsLife)
{
    LogCapture lLog;
    ThreadWatchdog lWatchdog(4);
    for (char const* const lpInitialized : {"yn", "nn"})
    {
        EXPECT_EQ("nnnnnnnnn",
                  said({lWatchdog.entry(1, 10, nullptr, "x"), lWatchdog.unregister(1), lWatchdog.isRegistered(1),
                        lWatchdog.isWatching(1), lWatchdog.start(1), lWatchdog.stop(1), lWatchdog.keepAlive(HERE),
                        lWatchdog.setAliveTime(1, 10), lWatchdog.setWatchInterval(10)}));
        lWatchdog.printWatchdogInfo(1);
        EXPECT_EQ(LogLines{}, lLog.lines());
        EXPECT_EQ(lpInitialized, said({lWatchdog.initialize(1000), lWatchdog.initialize(1000)}));
        lWatchdog.shutdown();
    }
}

TEST(ThreadWatchdog, RegistrationFailuresAreTold)
{
    LogCapture lLog;
    Still lWatchdog(1);
    EXPECT_EQ("nnn", said({lWatchdog.entry(5, 0, nullptr, "x"), lWatchdog.setAliveTime(5, 0),
                           lWatchdog.entry(5, 10, nullptr, nullptr)}));
    EXPECT_FALSE(Peer::report(lWatchdog, 5, HERE)); // unknown
    EXPECT_TRUE(lWatchdog.entry(5, 10, nullptr, "x"));
    EXPECT_EQ("nn", said({lWatchdog.entry(5, 10, nullptr, "x"), lWatchdog.entry(6, 10, nullptr, "y")}));
    EXPECT_EQ((LogLines{"<UTIL> ERR: ThreadWatchdog Register AliveTime is 0 ID:5 ",
                        "<UTIL> ERR: ThreadWatchdog Register AliveTime is 0 ID:5 ",
                        "<UTIL> DTL: ThreadWatchdog Register ID:5, AliveTime:10, Name:x",
                        "<UTIL> ERR: ThreadWatchdog Register EntryMap ID:5",
                        "<UTIL> ERR: ThreadWatchdog Register EntryMap ID:6"}),
              lLog.lines());
    EXPECT_FALSE(lWatchdog.isWatching(5));         // not before start(),
    EXPECT_TRUE(Peer::report(lWatchdog, 5, HERE)); // and a report until then is not kept
    EXPECT_EQ(WatchdogInfo::UNKNOWN, Peer::info(lWatchdog, 5).mAliveStatus);
    EXPECT_TRUE(Peer::info(lWatchdog, 5).mLastAliveInfo == StatementInfo::INVALID);
    EXPECT_EQ("yn", said({lWatchdog.unregister(5), lWatchdog.unregister(5)}));
}

TEST(ThreadWatchdog, ReportsOnceALapseAndSaysWhenTheThreadIsBack)
{
    std::string const TOLD = "<UTIL> ERR: !!!!!!!! ThreadWatchdog Timeout ID:7 Name:watched !!!!!!!!";
    LogCapture lLog;
    Listener lListener;
    Still lWatchdog;
    lWatchdog.watch(7, 100, &lListener, 1000);
    Peer::pass(lWatchdog, 1099);
    EXPECT_EQ(Ids{}, lListener.mIds);
    Peer::pass(lWatchdog, 1100);
    Peer::pass(lWatchdog, 5000); // already reported
    EXPECT_EQ(Ids{7}, lListener.mIds);
    EXPECT_EQ("yyy", said({lWatchdog.setAliveTime(7, 50), lWatchdog.stop(7), lWatchdog.start(7)})); // no way back
    EXPECT_EQ(WatchdogInfo::TIMED_OUT, Peer::info(lWatchdog, 7).mAliveStatus);
    EXPECT_TRUE(Peer::report(lWatchdog, 7, HERE));
    Peer::setTick(lWatchdog, 7, 6000);
    Peer::pass(lWatchdog, 6050);
    EXPECT_EQ((Ids{7, 7}), lListener.mIds);
    EXPECT_EQ(2, lListener.mCount);
    EXPECT_EQ((LogLines{"<UTIL> DTL: ThreadWatchdog Register ID:7, AliveTime:100, Name:watched", TOLD,
                        "<UTIL> INF: ThreadWatchdog Timeout->Alive ID:7 Name:watched", TOLD}),
              lLog.lines());

    // Without a listener the table is printed.
    EXPECT_TRUE(lWatchdog.unregister(7));
    lWatchdog.watch(7, 100, nullptr, 1000);
    EXPECT_TRUE(Peer::report(lWatchdog, 7, HERE));
    Peer::setTick(lWatchdog, 7, 1000);
    lLog.clear();
    Peer::pass(lWatchdog, 2000);
    EXPECT_EQ(
        (LogLines{TOLD, "<UTIL> INF: ThreadWatchdog:: Watchdog info of threads in this process.",
                  "<UTIL> INF: ID        , Name                            , AliveTime , WatchStatus , AliveStatus , "
                  "TimeoutCount , LastAliveInfo(File, Function:Line:Sub) , ",
                  "<UTIL> INF:          7, watched                         ,        100, WATCHING    , TIMEOUT     , "
                  "            1, (source/App, loop:12:1)"}),
        lLog.lines());
}

TEST(ThreadWatchdog, OverdueIsAMatterOfStatusAndTicks)
{
    struct Row
    {
        int mWatch, mAlive;
        unsigned int mLast, mNow;
        bool mIsOverdue;
    } const ROWS[] = {
        {0, 0, 100, 150, true},         {0, 1, 100, 150, true},           {0, 2, 100, 150, false},
        {1, 0, 100, 150, false},        {0, 0, 100, 149, false},          {0, 0, 0x7FFFFFF0, 0x80000030, true},
        {0, 0, 0xFFFFFFFF, 150, false}, {0, 0, 0xFFFFFFF0, 0x100, false}, // after the wrap nothing comes in that pass
    };
    for (Row const& lRow : ROWS)
    {
        WatchdogInfo lInfo(1, 50, nullptr, "x", lRow.mWatch);
        lInfo.mAliveStatus = lRow.mAlive;
        lInfo.mLastAliveTick = lRow.mLast;
        EXPECT_EQ(lRow.mIsOverdue, lInfo.isOverdue(lRow.mNow)) << lRow.mLast << " " << lRow.mNow;
    }
}

TEST(ThreadWatchdog, OnePassReportsAllInAscendingOrderAndStandsChanges)
{
    LogCapture lLog;
    Listener lListener;
    Still lWatchdog;
    for (int lId : {30, 10, 20, 40})
    {
        lWatchdog.watch(lId, 10, &lListener, 100);
    }
    lListener.mAction = [&](int nId)
    {
        if (nId == 10)
        {
            EXPECT_EQ("yy", said({lWatchdog.unregister(10), lWatchdog.unregister(20)})); // itself, and the next one
            lWatchdog.watch(25, 10, &lListener, 100);
        }
    };
    Peer::pass(lWatchdog, 110);
    EXPECT_EQ((Ids{10, 25, 30, 40}), lListener.mIds);
    EXPECT_EQ(3U, lListener.mTableSize);
}

TEST(ThreadWatchdog, DeadlineGoesWithTheInterval)
{
    Still lWatchdog;
    ASSERT_TRUE(lWatchdog.setWatchInterval(600000));
    EXPECT_NE(WatchdogInfo::NO_TICK, lWatchdog.beatDeadline());
    ASSERT_TRUE(lWatchdog.setWatchInterval(0));
    EXPECT_EQ(WatchdogInfo::NO_TICK, lWatchdog.beatDeadline());
}

TEST(WatchdogInfo, EachFieldCounts)
{
    Listener lListener;
    WatchdogInfo const lInfo(7, 100, nullptr, "name", WatchdogInfo::WATCHING);
    std::vector<WatchdogInfo> lOthers(9, lInfo);
    EXPECT_EQ(lOthers[0], lInfo);
    ++lOthers[0].mId;
    ++lOthers[1].mAliveTime;
    lOthers[2].mpListener = &lListener;
    lOthers[3].mLastAliveTick = 5;
    lOthers[4].mWatchStatus = WatchdogInfo::NOT_WATCHING;
    lOthers[5].mAliveStatus = WatchdogInfo::ALIVE;
    ++lOthers[6].mTimeoutCount;
    lOthers[7].mLastAliveInfo = HERE;
    lOthers[8].mName = "other";
    for (WatchdogInfo const& lOther : lOthers)
    {
        EXPECT_NE(lOther, lInfo) << &lOther - lOthers.data();
    }
}

// A sink of the log reports while a report is logged.
TEST(ThreadWatchdog, ReportMayComeFromInsideOne)
{
    LogCapture const lLog;
    Listener lListener;
    static Still* spWatchdog;
    static unsigned int sLines;
    Still lWatchdog;
    spWatchdog = &lWatchdog;
    int const lId = ThreadManager::getCallerId();
    lWatchdog.watch(lId, 1, &lListener, TimeCounter::getTickTime() - 10);
    Peer::pass(lWatchdog, TimeCounter::getTickTime());
    EXPECT_EQ(Ids{lId}, lListener.mIds);
    Replaced const lSink(
        &internal::SystemCalls::mPrintf,
        +[](char const*)
        {
            ++sLines;
            EXPECT_TRUE(spWatchdog->keepAlive(StatementInfo("proof", "sink", 2, 0)));
        });
    EXPECT_TRUE(lWatchdog.keepAlive(HERE)); // it is back
    EXPECT_EQ(1U, sLines);
    EXPECT_EQ(HERE, Peer::info(lWatchdog, lId).mLastAliveInfo);
}

TEST(ThreadWatchdog, PassUnderWayEndsBeforeTheTableGoes)
{
    LogCapture lLog;
    Listener lListener;
    Gate lEntered;
    auto lpWatchdog = std::make_unique<ThreadWatchdog>(4);
    ThreadWatchdog& lWatchdog = *lpWatchdog;
    lListener.mAction = [&](int nId)
    {
        lEntered.open();
        EXPECT_TRUE(nId == 2 || waitUntil([&] { return Peer::isEnding(lWatchdog); }));
    };
    ASSERT_TRUE(lWatchdog.initialize(10));
    for (int lId : {1, 2})
    {
        ASSERT_TRUE(lWatchdog.entry(lId, 1, &lListener, "both overdue in one pass"));
    }
    // Who is silent across the wrap of the tick is not reported.
    ASSERT_TRUE(waitUntil([] { return TimeCounter::getTickTime() < 0xFFFFFF00U; }));
    ASSERT_TRUE(lWatchdog.start(2));
    ASSERT_TRUE(lWatchdog.start(1));
    ASSERT_TRUE(lEntered.wait());
    int const lThreadId = Peer::threadId(lWatchdog);
    lpWatchdog.reset();
    EXPECT_TRUE(ThreadManager::get()->unregister(lThreadId)); // which shutdown() would have done
    EXPECT_EQ(1U, lLog.count("Timeout ID:2 Name:both overdue in one pass "));
}

} // namespace
