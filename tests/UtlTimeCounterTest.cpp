#include "UtlTimeCounter.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Faults.h"
#include "support/LogCapture.h"

namespace
{

using utl::TimeCounter;
using utl::internal::SystemCalls;
using Lines = std::vector<std::string>;

/// The monotonic clock under our control, and the log.
class TimeCounterTest : public testing::Test
{
protected:
    static int clock(clockid_t nClock, timespec* npTime)
    {
        EXPECT_EQ(CLOCK_MONOTONIC, nClock);
        npTime->tv_sec = static_cast<time_t>(sNowMs / 1000);
        npTime->tv_nsec = static_cast<long>(sNowMs % 1000) * 1000000L + 999999L;
        return 0;
    }

    /// The lines since the last call, each without what all begin with.
    Lines takeLines()
    {
        Lines lLines = mLog.lines();
        mLog.clear();
        for (std::string& lLine : lLines)
        {
            EXPECT_EQ(0U, lLine.find("<UTIL> ERR: "));
            lLine.erase(0, 12);
        }
        return lLines;
    }

    static inline std::atomic<unsigned long long> sNowMs{5000};
    utl::test::LogCapture mLog;
    utl::test::Replaced<int(clockid_t, timespec*)> mClock{&SystemCalls::mClockGettime, clock};
};

std::string const CLOCK_FAILED = "[CAUTION!!!]clock_gettime() Failed. CLOCK_MONOTONIC. errno:[22]";

TEST_F(TimeCounterTest, ObjectMeasuresAcrossTheWrap)
{
    TimeCounter lCounter;
    sNowMs = 0xFFFFFFF0ULL;
    EXPECT_TRUE(lCounter.start());
    sNowMs = 0x100000010ULL;
    EXPECT_EQ(0x10U, TimeCounter::getTickTime());
    EXPECT_EQ(32U, lCounter.watch());
    EXPECT_TRUE(lCounter.start());
    sNowMs += 7;
    EXPECT_EQ(7U, lCounter.stop());
    EXPECT_EQ(Lines{}, takeLines());
    EXPECT_EQ(TimeCounter::FAILED, lCounter.stop());
    EXPECT_EQ(Lines{"TimeCounter::watch()/stop() Failed. HasStarted:[Off], TickTime:[23]"}, takeLines());
}

TEST_F(TimeCounterTest, ObjectTellsWhenTheClockFails)
{
    TimeCounter lCounter;
    ASSERT_TRUE(lCounter.start());
    {
        utl::test::FailNth<&SystemCalls::mClockGettime> lFault(0, EINVAL);
        EXPECT_EQ(TimeCounter::FAILED, lCounter.watch());
        EXPECT_EQ((Lines{CLOCK_FAILED, "TimeCounter::watch()/stop() Failed. HasStarted:[On], TickTime:[4294967295]"}),
                  takeLines());
        EXPECT_FALSE(lCounter.start());
        EXPECT_EQ((Lines{CLOCK_FAILED, "TimeCounter::start() Failed."}), takeLines());
    }
    sNowMs = 5000;
    EXPECT_EQ(5001U, lCounter.watch()); // still running, from the failed tick
}

TEST_F(TimeCounterTest, NumbersAreStartedAnewAndFreed)
{
    EXPECT_TRUE(TimeCounter::start(7));
    sNowMs += 100;
    EXPECT_TRUE(TimeCounter::start(7));
    EXPECT_TRUE(TimeCounter::start(0xFFFFFFFFU));
    sNowMs += 20;
    EXPECT_EQ(20U, TimeCounter::watch(7));
    EXPECT_EQ(20U, TimeCounter::stop(7));
    EXPECT_EQ(20U, TimeCounter::stop(0xFFFFFFFFU));
    EXPECT_EQ(Lines{}, takeLines());
    EXPECT_EQ(TimeCounter::FAILED, TimeCounter::watch(7));
    EXPECT_EQ(Lines{"TimeCounter::Failed. Key Not Applicable. CounterId:[7]"}, takeLines());
}

TEST_F(TimeCounterTest, FullTableRefusesNewNumbersOnly)
{
    for (unsigned int lId = 0; lId < TimeCounter::MAX_COUNTERS; ++lId)
    {
        EXPECT_TRUE(TimeCounter::start(lId));
    }
    EXPECT_FALSE(TimeCounter::start(50));
    EXPECT_EQ(Lines{"TimeCounter::start(ID) Failed. InsertMap Error. CounterId:[50]"}, takeLines());
    EXPECT_TRUE(TimeCounter::start(49));
    for (unsigned int lId = 0; lId < TimeCounter::MAX_COUNTERS; ++lId)
    {
        EXPECT_EQ(0U, TimeCounter::stop(lId));
    }
    EXPECT_TRUE(TimeCounter::start(50));
    EXPECT_EQ(0U, TimeCounter::stop(50));
}

TEST_F(TimeCounterTest, NumbersAreFreeAfterTheClockFailed)
{
    sNowMs = 1;
    ASSERT_TRUE(TimeCounter::start(1));
    ASSERT_TRUE(TimeCounter::start(2));
    {
        utl::test::FailNth<&SystemCalls::mClockGettime> lFault(0, EINVAL);
        EXPECT_EQ(TimeCounter::FAILED, TimeCounter::stop(1));
        EXPECT_EQ((Lines{CLOCK_FAILED, "TimeCounter::watch(ID)/stop(ID) Failed. StartTime:[1], TickTime:[4294967295]"}),
                  takeLines());
        EXPECT_FALSE(TimeCounter::start(2));
        EXPECT_EQ((Lines{CLOCK_FAILED, "TimeCounter::start(ID) Failed. TickTime is Invalid. CounterId:[2]"}),
                  takeLines());
    }
    EXPECT_EQ(TimeCounter::FAILED, TimeCounter::watch(1));
    EXPECT_EQ(TimeCounter::FAILED, TimeCounter::watch(2));
}

TEST_F(TimeCounterTest, ThreadsShareTheTable)
{
    auto const lUse = [](unsigned int nFirst)
    {
        for (unsigned int lRound = 0; lRound < 300; ++lRound)
        {
            EXPECT_TRUE(TimeCounter::start(nFirst + lRound % 20));
            EXPECT_EQ(0U, TimeCounter::stop(nFirst + lRound % 20));
        }
    };
    std::thread lOther(lUse, 0U);
    lUse(100);
    lOther.join();
}

} // namespace
