#include "UtlEvent.h"

#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;

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
            long long const lStartUs = monotonicUs();
            EXPECT_EQ(Event::TIMED_OUT, lEvent.waitToOn(3));
            EXPECT_GE(monotonicUs() - lStartUs, 3000);
            EXPECT_EQ(lTwoSided == 1 ? 0 : Event::FAILED, lEvent.waitToOff(0));
            lEvent.setOn();
            EXPECT_EQ(0, lEvent.waitToOn(0));
            EXPECT_EQ(lTwoSided == 1 ? Event::TIMED_OUT : Event::FAILED, lEvent.waitToOff(1));
        }
    }
}

TEST(Event, LimitsBeyondTheSignedRangeEndAtOnce)
{
    static long sNanoseconds;
    Replaced lClock(&SystemCalls::mClockGettime,
                    [](clockid_t nClock, timespec* npTime)
                    {
                        int const lResult = ::clock_gettime(nClock, npTime);
                        npTime->tv_nsec = sNanoseconds;
                        return lResult;
                    });
    Event const lEvent(0, 0);
    sNanoseconds = 0; // less 1 ms is no time
    EXPECT_EQ(Event::FAILED, lEvent.waitToOn(0xFFFFFFFFU));
    EXPECT_EQ(Event::FAILED, lEvent.waitToOn(0x80000000U));
    sNanoseconds = 999000000; // less 648 ms and many seconds is a time in the past
    EXPECT_EQ(Event::TIMED_OUT, lEvent.waitToOn(0x80000000U));
    LogCapture lLog;
    FailNth<&SystemCalls::mClockGettime> lFault(0, EINVAL);
    EXPECT_EQ(Event::FAILED, lEvent.waitToOn(longMs()));
}

/// Made-up time, and waits that last until they are woken: a wait notes its limit, and does what a test has set.
struct Waits
{
    static inline long long sNowMs = 0;
    static inline std::vector<long long> sLimitsMs;
    static inline std::function<void()> sPass;

    Replaced<int(clockid_t, timespec*)> mClock{&SystemCalls::mClockGettime, [](clockid_t, timespec* npTime)
                                               {
                                                   npTime->tv_sec = static_cast<time_t>(sNowMs / 1000);
                                                   npTime->tv_nsec = static_cast<long>(sNowMs % 1000 * 1000000);
                                                   return 0;
                                               }};
    Replaced<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> mWait{
        &SystemCalls::mPthreadCondTimedwait, [](pthread_cond_t*, pthread_mutex_t*, timespec const* npUntil)
        {
            sLimitsMs.push_back(npUntil->tv_sec * 1000LL + npUntil->tv_nsec / 1000000 - sNowMs);
            sPass();
            return 0;
        }};
};

TEST(Event, WaitsOnForTheRestAfterAPulse)
{
    struct Side
    {
        int (Event::*mWait)(unsigned int) const;
        void (Event::*mReach)();
        void (Event::*mLeave)();
        std::string mName;
    };
    for (Side const& lSide : {Side{&Event::waitToOn, &Event::setOn, &Event::setOff, "mOn"},
                              Side{&Event::waitToOff, &Event::setOff, &Event::setOn, "mOff"}})
    {
        LogCapture lLog;
        Waits lWaits;
        Event lEvent(0, 1);
        (lEvent.*lSide.mLeave)();
        Waits::sNowMs = 1999; // the limit carries into the seconds
        Waits::sLimitsMs.clear();
        Waits::sPass = [&]
        {
            Waits::sNowMs += 1500;
            (lEvent.*lSide.mReach)();
            Waits::sLimitsMs.size() == 1 ? (lEvent.*lSide.mLeave)() : void();
        };
        EXPECT_EQ(0, (lEvent.*lSide.mWait)(600002));
        EXPECT_EQ((std::vector<long long>{600002, 598502}), Waits::sLimitsMs);
        (lEvent.*lSide.mLeave)();
        Waits::sPass = [&] { Waits::sNowMs += 600002; };
        EXPECT_EQ(Event::TIMED_OUT, (lEvent.*lSide.mWait)(600002)); // nothing is left
        EXPECT_EQ(LogLines{"<UTIL> DTL: Wait OK, but Status(" + lSide.mName +
                           ")=false.  Timeout=600002msec Waited=1500msec Retry wait 598502msec after"},
                  lLog.lines());
    }
}

} // namespace
