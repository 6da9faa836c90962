#include "UtlThreadWatchdog.h"

#include "UtlMsgDrivenThread.h"
#include "UtlThreadManager.h"
#include "UtlTimeCounter.h"
#include "support/Gate.h"
#include "support/LogCapture.h"
#include "support/MsgThread.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

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
using utl::test::LogCapture;
using Peer = ThreadWatchdogTestPeer;

StatementInfo const HERE("source/App", "loop", 12, 1);

struct Listener : WatchdogTimerListener
{
    void onTime(int nId, WatchdogInfoMap const& nInfos) override
    {
        mIds.push_back(nId);
        mTableSize = nInfos.size();
        mCount = nInfos.find(nId)->mValue.mTimeoutCount;
        if (mAction)
        {
            mAction(nId);
        }
    }

    std::vector<int> mIds;
    unsigned int mTableSize = 0;
    unsigned int mCount = 0;
    std::function<void(int)> mAction;
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
    for (int lRound = 0; lRound < 2; ++lRound)
    {
        EXPECT_FALSE(lWatchdog.entry(1, 10, nullptr, "x"));
        EXPECT_FALSE(lWatchdog.unregister(1));
        EXPECT_FALSE(lWatchdog.isRegistered(1));
        EXPECT_FALSE(lWatchdog.isWatching(1));
        EXPECT_FALSE(lWatchdog.start(1));
        EXPECT_FALSE(lWatchdog.stop(1));
        EXPECT_FALSE(lWatchdog.keepAlive(HERE));
        EXPECT_FALSE(lWatchdog.setAliveTime(1, 10));
        EXPECT_FALSE(lWatchdog.setWatchInterval(10));
        lWatchdog.printWatchdogInfo(1);
        EXPECT_TRUE(lLog.lines().empty());
        if (lRound == 0)
        {
            EXPECT_TRUE(lWatchdog.initialize(1000));
            EXPECT_FALSE(lWatchdog.initialize(1000));
            lWatchdog.shutdown();
        }
    }
}

TEST(ThreadWatchdog, RegistrationFailuresAreTold)
{
    LogCapture lLog;
    Still lWatchdog(1);
    EXPECT_FALSE(lWatchdog.entry(5, 0, nullptr, "x"));
    EXPECT_FALSE(lWatchdog.setAliveTime(5, 0));
    EXPECT_FALSE(lWatchdog.entry(5, 10, nullptr, nullptr));
    EXPECT_TRUE(lWatchdog.entry(5, 10, nullptr, "x"));
    EXPECT_FALSE(lWatchdog.entry(5, 10, nullptr, "x"));
    EXPECT_FALSE(lWatchdog.entry(6, 10, nullptr, "y"));
    EXPECT_EQ((std::vector<std::string>{"<UTIL> ERR: ThreadWatchdog Register AliveTime is 0 ID:5 ",
                                        "<UTIL> ERR: ThreadWatchdog Register AliveTime is 0 ID:5 ",
                                        "<UTIL> DTL: ThreadWatchdog Register ID:5, AliveTime:10, Name:x",
                                        "<UTIL> ERR: ThreadWatchdog Register EntryMap ID:5",
                                        "<UTIL> ERR: ThreadWatchdog Register EntryMap ID:6"}),
              lLog.lines());
    EXPECT_FALSE(lWatchdog.isWatching(5)); // not before start()
    EXPECT_TRUE(lWatchdog.unregister(5));
    EXPECT_FALSE(lWatchdog.unregister(5));
}

TEST(ThreadWatchdog, ReportsOnceALapseAndSaysWhenTheThreadIsBack)
{
    LogCapture lLog;
    Listener lListener;
    Still lWatchdog;
    lWatchdog.watch(7, 100, &lListener, 1000);
    Peer::pass(lWatchdog, 1099);
    EXPECT_TRUE(lListener.mIds.empty());
    Peer::pass(lWatchdog, 1100);
    Peer::pass(lWatchdog, 5000); // already reported
    EXPECT_EQ(std::vector<int>{7}, lListener.mIds);
    EXPECT_EQ(1U, lListener.mCount);
    EXPECT_EQ(WatchdogInfo::TIMED_OUT, Peer::info(lWatchdog, 7).mAliveStatus);
    lWatchdog.setAliveTime(7, 50); // no way back
    lWatchdog.stop(7);
    lWatchdog.start(7);
    EXPECT_EQ(WatchdogInfo::TIMED_OUT, Peer::info(lWatchdog, 7).mAliveStatus);

    EXPECT_TRUE(Peer::report(lWatchdog, 7, HERE));
    EXPECT_EQ(WatchdogInfo::ALIVE, Peer::info(lWatchdog, 7).mAliveStatus);
    EXPECT_TRUE(Peer::info(lWatchdog, 7).mLastAliveInfo == HERE);
    Peer::setTick(lWatchdog, 7, 6000);
    Peer::pass(lWatchdog, 6050);
    EXPECT_EQ((std::vector<int>{7, 7}), lListener.mIds);
    EXPECT_EQ(2U, lListener.mCount);
    std::vector<std::string> lLines = lLog.lines();
    EXPECT_EQ((std::vector<std::string>{"<UTIL> DTL: ThreadWatchdog Register ID:7, AliveTime:100, Name:watched",
                                        "<UTIL> ERR: !!!!!!!! ThreadWatchdog Timeout ID:7 Name:watched !!!!!!!!",
                                        "<UTIL> INF: ThreadWatchdog Timeout->Alive ID:7 Name:watched",
                                        "<UTIL> ERR: !!!!!!!! ThreadWatchdog Timeout ID:7 Name:watched !!!!!!!!"}),
              lLines);
}

TEST(ThreadWatchdog, OverdueIsAMatterOfStatusAndTicks)
{
    struct Row
    {
        int mWatch, mAlive;
        unsigned int mLast, mNow;
        bool mIsOverdue;
    } const ROWS[] = {
        {0, 0, 100, 150, true},
        {0, 1, 100, 150, true},
        {0, 2, 100, 150, false},
        {1, 0, 100, 150, false},
        {0, 0, 100, 149, false},
        {0, 0, 0xFFFFFFFF, 150, false},
        {0, 0, 0xFFFFFFF0, 0x100, false}, // after the wrap nothing comes in that pass
        {0, 0, 0x7FFFFFF0, 0x80000030, true},
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
            EXPECT_TRUE(lWatchdog.unregister(10)); // itself
            EXPECT_TRUE(lWatchdog.unregister(20)); // the next one
            lWatchdog.watch(25, 10, &lListener, 100);
        }
    };
    Peer::pass(lWatchdog, 110);
    EXPECT_EQ((std::vector<int>{10, 25, 30, 40}), lListener.mIds);
    EXPECT_EQ(3U, lListener.mTableSize);
}

TEST(ThreadWatchdog, WithoutAListenerTheTableIsPrinted)
{
    LogCapture lLog;
    Still lWatchdog;
    lWatchdog.watch(7, 100, nullptr, 1000);
    Peer::report(lWatchdog, 7, HERE);
    Peer::setTick(lWatchdog, 7, 1000);
    lLog.clear();
    Peer::pass(lWatchdog, 2000);
    EXPECT_EQ((std::vector<std::string>{
                  "<UTIL> ERR: !!!!!!!! ThreadWatchdog Timeout ID:7 Name:watched !!!!!!!!",
                  "<UTIL> INF: ThreadWatchdog:: Watchdog info of threads in this process.",
                  "<UTIL> INF: ID        , Name                            , AliveTime , WatchStatus , AliveStatus , "
                  "TimeoutCount , LastAliveInfo(File, Function:Line:Sub) , ",
                  "<UTIL> INF:          7, watched                         ,        100, WATCHING    , TIMEOUT     , "
                  "            1, (source/App, loop:12:1)"}),
              lLog.lines());
}

TEST(ThreadWatchdog, UnwatchedThreadsReportIntoTheVoid)
{
    Still lWatchdog;
    EXPECT_FALSE(Peer::report(lWatchdog, 7, HERE)); // unknown
    ASSERT_TRUE(lWatchdog.entry(7, 10, nullptr, "x"));
    EXPECT_TRUE(Peer::report(lWatchdog, 7, HERE)); // registered, not watched
    EXPECT_EQ(WatchdogInfo::UNKNOWN, Peer::info(lWatchdog, 7).mAliveStatus);
    EXPECT_TRUE(Peer::info(lWatchdog, 7).mLastAliveInfo == StatementInfo::INVALID);
}

// The real beat, through the registry: a message thread that hangs in its listener, and one that idles.
TEST(ThreadWatchdog, TellsAHungMessageThreadFromAnIdleOne)
{
    // A lapse across the wrap of the tick counter is not reported; begin behind one that is near.
    ASSERT_TRUE(utl::test::waitUntil([] { return TimeCounter::getTickTime() < 0U - 5000U; }));
    ThreadManager& lManager = *ThreadManager::get();
    ASSERT_TRUE(lManager.setWatchdogWatchInterval(5));
    struct Waker : WatchdogTimerListener
    {
        void onTime(int nId, WatchdogInfoMap const&) override
        {
            mId = nId;
            mTold.open();
        }
        std::atomic<int> mId{0};
        utl::test::Gate mTold;
    } lWaker;
    LogCapture lLog;
    utl::test::Recorder lRecorder;
    utl::test::Gate lRelease;
    lRecorder.on(1, [&](int) { lRelease.wait(); });
    MsgDrivenThread lIdle(4, 4, "idle", 0);
    MsgDrivenThread lHung(4, 4, "hung", 0);
    for (MsgDrivenThread* lpThread : {&lIdle, &lHung})
    {
        ASSERT_EQ(0, lpThread->start(&lRecorder, 1, 400, &lWaker, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0));
        ASSERT_TRUE(lManager.isRegisteredWatchdog(lpThread->getId()));
        lpThread->sendMsgSync(2); // from its next read on it is watched while it works
        lpThread->sendMsgSync(2);
    }
    lHung.postMsg(1);
    ASSERT_TRUE(lWaker.mTold.wait());
    EXPECT_EQ(lHung.getId(), lWaker.mId);
    lRelease.open();
    EXPECT_TRUE(lHung.sendMsgSync(2));
    EXPECT_TRUE(utl::test::waitUntil([&] { return lLog.count("Timeout->Alive") >= 1; }));
    EXPECT_EQ(0U, lLog.count("Name:idle !!!!"));
    for (MsgDrivenThread* lpThread : {&lIdle, &lHung})
    {
        EXPECT_EQ(0, lpThread->stop(1, 0));
        EXPECT_FALSE(lManager.isRegisteredWatchdog(lpThread->getId()));
        EXPECT_TRUE(lpThread->leaveManagement());
    }
}

} // namespace
