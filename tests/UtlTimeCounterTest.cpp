#include "UtlTimeCounter.h"

#include "support/Test.h"

namespace
{

using utl::TimeCounter;
using utl::internal::SystemCalls;
using utl::test::failing;
using utl::test::said;

std::string const CLOCK_FAILED = "[CAUTION!!!]clock_gettime() Failed. CLOCK_MONOTONIC. errno:[22]";

/// The monotonic clock under our control, and the log.
class TimeCounterTest : public testing::Test
{
protected:
    static int clock(clockid_t nClock, timespec* npTime)
    {
        EXPECT_NE(CLOCK_REALTIME, nClock); // the watchdog's thread reads the coarse monotonic one now and then
        npTime->tv_sec = static_cast<time_t>(sNowMs / 1000);
        npTime->tv_nsec = static_cast<long>(sNowMs % 1000) * 1000000L + 999999L;
        return 0;
    }

    void expectErrors(std::vector<std::string> nTexts)
    {
        for (std::string& lText : nTexts)
        {
            lText.insert(0, "<UTIL> ERR: ");
        }
        EXPECT_EQ(nTexts, mLog.lines());
    }

    static inline std::atomic<unsigned long long> sNowMs{5000};
    utl::test::LogCapture mLog;
    utl::test::Replaced<int(clockid_t, timespec*)> mClock{&SystemCalls::mClockGettime, clock};
};

TEST_F(TimeCounterTest, ObjectMeasuresAcrossTheWrap)
{
    TimeCounter lCounter;
    sNowMs = 0xFFFFFFF0ULL;
    EXPECT_TRUE(lCounter.start());
    sNowMs = 0x100000010ULL;
    EXPECT_EQ(32U, lCounter.watch());
    EXPECT_TRUE(lCounter.start());
    sNowMs += 7;
    EXPECT_EQ(7U, lCounter.stop());
    EXPECT_EQ(TimeCounter::FAILED, lCounter.stop());
    ASSERT_TRUE(lCounter.start());
    EXPECT_EQ(TimeCounter::FAILED, failing<&SystemCalls::mClockGettime>(EINVAL, [&] { return lCounter.watch(); }));
    EXPECT_FALSE(failing<&SystemCalls::mClockGettime>(EINVAL, [&] { return lCounter.start(); }));
    EXPECT_EQ(24U, lCounter.watch()); // still running, from the failed tick
    expectErrors({"TimeCounter::watch()/stop() Failed. HasStarted:[Off], TickTime:[23]", CLOCK_FAILED,
                  "TimeCounter::watch()/stop() Failed. HasStarted:[On], TickTime:[4294967295]", CLOCK_FAILED,
                  "TimeCounter::start() Failed."});
}

TEST_F(TimeCounterTest, NumbersAreStartedAnewAndFreed)
{
    sNowMs = 1;
    EXPECT_TRUE(TimeCounter::start(7));
    sNowMs = 101;
    EXPECT_EQ("yy", said({TimeCounter::start(7), TimeCounter::start(0xFFFFFFFFU)}));
    sNowMs = 121;
    EXPECT_EQ(20U, TimeCounter::watch(7));
    EXPECT_EQ(20U, TimeCounter::stop(7));
    EXPECT_EQ(TimeCounter::FAILED, TimeCounter::watch(7));
    auto const lStopLast = [] { return TimeCounter::stop(0xFFFFFFFFU); };
    EXPECT_EQ(TimeCounter::FAILED, failing<&SystemCalls::mClockGettime>(EINVAL, lStopLast));
    EXPECT_FALSE(failing<&SystemCalls::mClockGettime>(EINVAL, [] { return TimeCounter::start(77); }));
    // All numbers are free again: fifty fit, and a restart is no new one.
    for (unsigned int lId = 0; lId <= 50; ++lId)
    {
        EXPECT_EQ(lId < 50, TimeCounter::start(lId));
    }
    EXPECT_TRUE(TimeCounter::start(49));
    std::atomic<unsigned int> lNext{0};
    auto const lStop = [&]
    {
        for (int lCount = 0; lCount < 25; ++lCount)
        {
            EXPECT_EQ(0U, TimeCounter::stop(lNext++));
        }
    };
    utl::test::together(lStop, lStop);
    expectErrors({"TimeCounter::Failed. Key Not Applicable. CounterId:[7]", CLOCK_FAILED,
                  "TimeCounter::watch(ID)/stop(ID) Failed. StartTime:[101], TickTime:[4294967295]", CLOCK_FAILED,
                  "TimeCounter::start(ID) Failed. TickTime is Invalid. CounterId:[77]",
                  "TimeCounter::start(ID) Failed. InsertMap Error. CounterId:[50]"});
}

} // namespace
