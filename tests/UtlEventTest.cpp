#include "UtlEvent.h"

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/Faults.h"
#include "support/Gate.h"
#include "support/LogCapture.h"

namespace
{

using utl::Event;
using utl::internal::SystemCalls;
using utl::test::longMs;

constexpr int ONE_SIDED = 0;
constexpr int TWO_SIDED = 1;

/// One side of a two-sided event, so that a test can run for both.
struct Side
{
    int (Event::*mWait)(unsigned int) const;
    void (Event::*mReach)();
    void (Event::*mLeave)();
    char const* mpName;
};
Side const SIDES[] = {{&Event::waitToOn, &Event::setOn, &Event::setOff, "mOn"},
                      {&Event::waitToOff, &Event::setOff, &Event::setOn, "mOff"}};

/// The monotonic clock, moved by an offset, with its reads counted. A timed wait reads it twice before it lets go of
/// the event: after that, a set finds the waiter asleep.
std::atomic<int> gReads{0};
std::atomic<int> gOffsetS{0};
int movedClock(clockid_t nClock, timespec* npTime)
{
    int const lResult = ::clock_gettime(nClock, npTime);
    npTime->tv_sec += gOffsetS;
    ++gReads;
    return lResult;
}

TEST(Event, HasTheStateOfItsSides)
{
    for (int lTwoSided : {0, 1, 2})
    {
        for (int lInitialOn : {0, 1, -5})
        {
            Event lEvent(lInitialOn, lTwoSided);
            EXPECT_EQ(lInitialOn != 0, lEvent.isOn());
            EXPECT_EQ(lInitialOn == 0, lEvent.isOff());
            lEvent.setOff();
            long long const lStartUs = utl::test::monotonicUs();
            EXPECT_EQ(Event::TIMED_OUT, lEvent.waitToOn(3));
            EXPECT_GE(utl::test::monotonicUs() - lStartUs, 3000);
            EXPECT_EQ(lTwoSided == 1 ? 0 : Event::FAILED, lEvent.waitToOff(0));
            lEvent.setOn();
            EXPECT_FALSE(lEvent.isOff());
            EXPECT_EQ(0, lEvent.waitToOn(0));
            EXPECT_EQ(lTwoSided == 1 ? Event::TIMED_OUT : Event::FAILED, lEvent.waitToOff(1));
        }
    }
}

TEST(Event, LimitsBeyondTheSignedRangeEndAtOnce)
{
    static long sNanoseconds;
    utl::test::Replaced lClock(&SystemCalls::mClockGettime,
                               [](clockid_t nClock, timespec* npTime)
                               {
                                   int const lResult = ::clock_gettime(nClock, npTime);
                                   npTime->tv_nsec = sNanoseconds;
                                   return lResult;
                               });
    Event const lEvent(0, ONE_SIDED);
    sNanoseconds = 0; // less 1 ms is no time
    EXPECT_EQ(Event::FAILED, lEvent.waitToOn(0xFFFFFFFFU));
    EXPECT_EQ(Event::FAILED, lEvent.waitToOn(0x80000000U));
    sNanoseconds = 999000000; // less 648 ms and many seconds is a time in the past
    EXPECT_EQ(Event::TIMED_OUT, lEvent.waitToOn(0x80000000U));
    EXPECT_EQ(Event::TIMED_OUT, lEvent.waitToOn(1)); // carries into the seconds
    utl::test::LogCapture lLog;
    utl::test::FailNth<&SystemCalls::mClockGettime> lFault(0, EINVAL);
    EXPECT_EQ(Event::FAILED, lEvent.waitToOn(longMs()));
}

/// Lets a thread wait for ten minutes and gives it a pulse after so many seconds. Where the waiter is quick enough to
/// see the flag before the pulse is over, there is another try. Result: that of a wait that did not see it.
int waitThroughPulse(Event& nEvent, Side const& nSide, int nAfterS, utl::test::LogCapture& nLog)
{
    utl::test::Replaced lClock(&SystemCalls::mClockGettime, movedClock);
    int lResult = 0;
    for (int lTry = 0; lTry < 1000 && lResult == 0 && nLog.count("Retry wait") == 0; ++lTry)
    {
        gReads = 0;
        gOffsetS = 0;
        (nEvent.*nSide.mLeave)();
        std::atomic<bool> lIsBack{false};
        std::thread lWaiter(
            [&]
            {
                lResult = (nEvent.*nSide.mWait)(600000);
                lIsBack = true;
            });
        EXPECT_TRUE(utl::test::waitUntil([] { return gReads >= 2; }));
        gOffsetS = nAfterS;
        (nEvent.*nSide.mReach)();
        (nEvent.*nSide.mLeave)();
        EXPECT_TRUE(utl::test::waitUntil([&] { return lIsBack || nLog.count("Retry wait") != 0; }));
        (nEvent.*nSide.mReach)();
        lWaiter.join();
    }
    return lResult;
}

TEST(Event, WaitsOnForTheRestAfterAPulse)
{
    for (Side const& lSide : SIDES)
    {
        utl::test::LogCapture lLog;
        Event lEvent(0, TWO_SIDED);
        EXPECT_EQ(Event::TIMED_OUT, waitThroughPulse(lEvent, lSide, 600, lLog)); // nothing is left
        EXPECT_EQ(0U, lLog.lines().size());
        EXPECT_EQ(0, waitThroughPulse(lEvent, lSide, 0, lLog));
        ASSERT_EQ(1U, lLog.lines().size());
        std::string const lFormat = std::string("<UTIL> DTL: Wait OK, but Status(") + lSide.mpName +
                                    ")=false.  Timeout=600000msec Waited=%umsec Retry wait %umsec after%n";
        unsigned int lWaitedMs = 0;
        unsigned int lRestMs = 0;
        int lLength = 0;
        std::string const lLine = lLog.lines()[0];
        std::sscanf(lLine.c_str(), lFormat.c_str(), &lWaitedMs, &lRestMs, &lLength);
        EXPECT_EQ(lLine.size(), static_cast<unsigned int>(lLength)) << lLine;
        EXPECT_EQ(600000U, lWaitedMs + lRestMs);
    }
}

} // namespace
