#include "UtlTimepiece.h"

#include "support/Test.h"
#include "support/Watchdog.h"

namespace
{

using utl::Time;
using utl::internal::SystemCalls;
using utl::test::lastReport;
using utl::test::said;

using Fields = std::vector<int>; // year to nanosecond; what is missing at the end is 0

Fields const EMPTY = {65535, 13, 32, 24, 60, 60, 1000, 1000, 1000};

Time make(Fields nFields)
{
    nFields.resize(9);
    auto const lAt = [&](std::size_t nIndex) { return static_cast<unsigned short>(nFields[nIndex]); };
    return Time(lAt(0), lAt(1), lAt(2), lAt(3), lAt(4), lAt(5), lAt(6), lAt(7), lAt(8));
}

Fields fieldsOf(Time const& nTime)
{
    return {nTime.year(),   nTime.month(),       nTime.day(),         nTime.hour(),      nTime.minute(),
            nTime.second(), nTime.millisecond(), nTime.microsecond(), nTime.nanosecond()};
}

std::string httpDate(Time const& nTime)
{
    char lText[64];
    return nTime.getHttpDate(lText, sizeof(lText)) ? lText : "";
}

TEST(Timepiece, FieldsAreTakenWholeOrNotAtAll)
{
    static_assert(std::is_trivially_copyable_v<Time> && sizeof(Time) == 18);
    Fields const lFirst = {0, 1, 1, 0, 0, 0, 0, 0, 0};
    Fields const lLast = {65534, 12, 31, 23, 59, 59, 999, 999, 999};
    EXPECT_EQ(EMPTY, fieldsOf(Time()));
    EXPECT_EQ(lFirst, fieldsOf(Time::DEFAULT_REFERENCE_TIME));
    EXPECT_EQ(lLast, fieldsOf(make(lLast)));
    for (std::size_t lField = 0; lField < 9; ++lField)
    {
        // One past the range at its end, and below it where it begins with 1. A second is brought into its range.
        for (int lValue : {EMPTY[lField], lField == 1 || lField == 2 ? 0 : 65535})
        {
            Fields lBad = lLast;
            lBad[lField] = lValue;
            EXPECT_EQ(lField == 5 ? lLast : EMPTY, fieldsOf(make(lBad))) << lField << " is " << lValue;
        }
    }

    Time lTime = make({2000, 1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_FALSE(lTime.set(2000, 13, 1, 0, 0, 60, 0, 0, 0));
    unsigned short lGot[9] = {};
    EXPECT_TRUE(lTime.get(&lGot[0], &lGot[1], &lGot[2], nullptr, &lGot[4], &lGot[5], &lGot[6], &lGot[7], &lGot[8]));
    EXPECT_EQ((Fields{2000, 1, 2, 0, 4, 5, 6, 7, 8}), Fields(lGot, lGot + 9));
    lTime.reset();
    EXPECT_FALSE(lTime.get(&lGot[0], nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(2000, lGot[0]);
}

TEST(Timepiece, EarlierFieldsDecideTheOrder)
{
    Time const lLow = make({2000, 6, 15, 12, 30, 30, 500, 500, 500});
    for (std::size_t lField = 0; lField < 9; ++lField)
    {
        Fields lFields = fieldsOf(lLow);
        ++lFields[lField];
        std::for_each(lFields.begin() + static_cast<int>(lField) + 1, lFields.end(), [](auto& nLater) { --nLater; });
        Time const lHigh = make(lFields);
        EXPECT_EQ("yyyy", said({lLow < lHigh, lLow <= lHigh, lLow != lHigh, lLow.isPastTime(lHigh)})) << lField;
        EXPECT_EQ("nnnn", said({lLow > lHigh, lLow >= lHigh, lLow == lHigh, lHigh.isPastTime(lLow)})) << lField;
        EXPECT_EQ("yynn", said({lHigh > lLow, lHigh >= lLow, lHigh < lLow, lHigh <= lLow})) << lField;
        EXPECT_EQ("yynnn", said({lHigh == lHigh, lHigh <= lHigh, lHigh != lHigh, lHigh > lHigh, lHigh < lHigh}));
    }
    EXPECT_EQ("yy", said({make({65534, 12, 31}) < Time(), Time() == Time()}));
}

/// When a day begins, in seconds since 1970, by the C library.
time_t secondsOf(int nYear, int nMonth, int nDay)
{
    tm lDate{};
    lDate.tm_year = nYear - 1900;
    lDate.tm_mon = nMonth - 1;
    lDate.tm_mday = nDay;
    return timegm(&lDate);
}

// Years after 0 are those of the C library, whose year 0 has one day more.
unsigned int const DAYS_TO_1970 = 719527;

TEST(Timepiece, EveryDayIsCountedAndFormatted)
{
    int const RANGES[][2] = {{1, 9}, {1600, 2401}, {65530, 65535}}; // years, the second not included
    for (auto const& lRange : RANGES)
    {
        time_t const STEP_S = 86399; // the next day, and another time of it
        for (time_t lNow = secondsOf(lRange[0], 1, 1); lNow < secondsOf(lRange[1], 1, 1); lNow += STEP_S)
        {
            tm lDate{};
            gmtime_r(&lNow, &lDate);
            Time const lTime = make(
                {lDate.tm_year + 1900, lDate.tm_mon + 1, lDate.tm_mday, lDate.tm_hour, lDate.tm_min, lDate.tm_sec});
            ASSERT_EQ(secondsOf(lTime.year(), lTime.month(), lTime.day()) / 86400 + DAYS_TO_1970, lTime.getDays());
            char lText[32] = "";
            lTime.year() < 100 || std::strftime(lText, sizeof(lText), "%a, %d %b %Y %H:%M:%S GMT", &lDate);
            ASSERT_EQ(lText, httpDate(lTime));
        }
    }
    for (unsigned short lYear = 1; lYear < 65534; ++lYear)
    {
        ASSERT_EQ(DAYS_TO_1970 + secondsOf(lYear, 3, 1) / 86400, make({lYear, 3, 1}).getDays()) << lYear;
    }
    EXPECT_EQ(0U, Time::DEFAULT_REFERENCE_TIME.getDays());
    EXPECT_EQ(364U, make({0, 12, 31}).getDays()); // year 0 has 365 days
    EXPECT_EQ(Time::FAILED, Time().getDays());
}

TEST(Timepiece, SpansWrapAsDefined)
{
    unsigned int const F = Time::FAILED;
    struct
    {
        Fields mFrom, mTo;
        unsigned int mDays, mSeconds;
    } const ROWS[] = {
        {{2000, 1, 1, 12}, {2000, 1, 2, 11, 59, 59}, 0, 4294967295U},  // one second short of a day: no failure
        {{2000, 1, 1, 12, 0, 0, 1}, {2000, 1, 2, 12}, 0, 0},           // a millisecond short
        {{2000, 1, 1, 12, 0, 0, 1, 0, 1}, {2000, 1, 2, 12}, 1, 86400}, // more: it does not count
        {{2000, 1, 1, 12, 0, 0, 0, 5}, {2000, 1, 1, 12, 0, 1, 0, 4, 999}, 0, 0},
        {{2000, 1, 1}, {2136, 2, 7, 6, 28, 15}, 49710, 4294967295U},
        {{2000, 1, 1}, {2136, 2, 7, 6, 28, 16}, 49710, F},
        {{2000, 1, 1, 1}, {2136, 2, 8}, 49710, F}, // the difference of the seconds of the day is negative
        {{2001, 2, 29}, {2001, 3, 1, 1}, 0, 3600}, // the same day
        {{2001, 2, 31}, {2001, 3, 1}, 4294967294U, F},
        {{2001, 2, 31}, {2001, 3, 2, 1}, F, F},
        {{2000, 1, 1, 0, 0, 0, 0, 0, 1}, {2000, 1, 1}, F, F},
        {{2000, 1, 1}, EMPTY, F, F},
    };
    for (auto const& lRow : ROWS)
    {
        Time const lFrom = make(lRow.mFrom);
        Time const lTo = make(lRow.mTo);
        EXPECT_EQ(lRow.mDays, lTo.getElapsedDays(lFrom)) << &lRow - ROWS;
        EXPECT_EQ(lRow.mSeconds, lTo.getElapsedSeconds(lFrom)) << &lRow - ROWS;
    }
}

TEST(Timepiece, HttpDatesOfOldYearsAndSmallBuffers)
{
    EXPECT_EQ("Fri, 15 Oct 1582 00:00:00 GMT", httpDate(make({1582, 10, 15})));
    EXPECT_EQ("14 Oct 1582 23:59:59 GMT", httpDate(make({1582, 10, 14, 23, 59, 59, 999})));
    EXPECT_EQ("01 Jan 100 00:00:00 GMT", httpDate(make({100, 1, 1})));
    EXPECT_EQ("", httpDate(Time()));

    Time const lTime = make({1994, 11, 6, 8, 49, 37});
    char lText[31] = "##############################";
    EXPECT_EQ("nnn", said({lTime.getHttpDate(nullptr, 30), lTime.getHttpDate(lText, 0), lTime.getHttpDate(lText, 29)}));
    EXPECT_STREQ("Sun, 06 Nov 1994 08:49:37 GM", lText);
    EXPECT_EQ('#', lText[29]);
    EXPECT_TRUE(lTime.getHttpDate(lText, 30));
}

// Any text: see tests/fuzz/HttpDateFuzz.cpp, which the tests run too.
TEST(Timepiece, WhatIsNoDateChangesNothing)
{
    std::string const lDate = "1 Oct 2001 4:5:6 ";
    std::string const lFar(20000, 'x'); // too long for the comparison of names
    Time lTime = make({1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ("nnn",
              said({lTime.setHttpDate(nullptr), lTime.setHttpDate(""), lTime.setHttpDate((lDate + lFar).c_str())}));
    EXPECT_EQ(make({1, 2, 3, 4, 5, 6, 7, 8, 9}), lTime);
    EXPECT_TRUE(lTime.setHttpDate((lFar + " " + lDate).c_str()));
    EXPECT_EQ(make({2001, 10, 1, 4, 5, 6}), lTime);
}

/// The system's clock under our control, and what the watchdog knows of the calling thread meanwhile.
class TimepieceClockTest : public testing::Test
{
protected:
    TimepieceClockTest() { sNow = 0; }

    static time_t clock(time_t*)
    {
        sReport = lastReport("source/UtlTimepiece");
        return sNow;
    }

    static inline time_t sNow = 0;
    static inline std::string sReport;
    utl::test::Replaced<time_t(time_t*)> mClock{&SystemCalls::mTime, clock};
};

TEST_F(TimepieceClockTest, TellsDatesBeyond2038)
{
    setenv("TZ", "XYZ-9:30", 1);
    tzset();
    struct
    {
        long long mNow;
        Fields mSystem; // none: a failure, and nothing changes
        Fields mLocal;
    } const ROWS[] = {
        {2147483648LL, {2038, 1, 19, 3, 14, 8}, {2038, 1, 19, 12, 44, 8}},
        {4294967296LL, {2106, 2, 7, 6, 28, 16}, {2106, 2, 7, 15, 58, 16}},
        {-2, {1969, 12, 31, 23, 59, 58}, {1970, 1, 1, 9, 29, 58}},
        {-1, {}, {}},                                       // the clock's failure
        {2005917609599LL, {65534, 12, 31, 23, 59, 59}, {}}, // and local time is in the year 65535
        {2005949145600LL, {}, {}},                          // year 65536, 0 in 16 bits
        {-62167219201LL, {}, {0, 1, 1, 9, 29, 59}},
        {-62198755201LL, {}, {}},       // year -2, 65534 in 16 bits
        {0x7FFFFFFFFFFFFFFFLL, {}, {}}, // past what the conversion can do
    };
    for (auto const& lRow : ROWS)
    {
        sNow = static_cast<time_t>(lRow.mNow);
        for (bool lIsLocal : {false, true})
        {
            Fields const& lExpected = lIsLocal ? lRow.mLocal : lRow.mSystem;
            Time lTime;
            EXPECT_EQ(!lExpected.empty(), lIsLocal ? utl::getLocalTime(&lTime) : utl::getSystemTime(&lTime));
            EXPECT_EQ(lExpected.empty() ? EMPTY : fieldsOf(make(lExpected)), fieldsOf(lTime)) << lRow.mNow;
        }
    }
}

TEST_F(TimepieceClockTest, ReportsAroundItsCalls)
{
    utl::test::Watched lWatched;
    Time lTime;
    EXPECT_TRUE(utl::getSystemTime(&lTime));
    EXPECT_EQ("getSystemTime:31:1", sReport);
    EXPECT_EQ("getSystemTime:39:2", lastReport("source/UtlTimepiece"));
    EXPECT_TRUE(utl::getLocalTime(&lTime));
    EXPECT_EQ("getLocalTime:81:1", sReport);
    EXPECT_EQ("getLocalTime:89:2", lastReport("source/UtlTimepiece"));
    EXPECT_EQ("nn", said({utl::getSystemTime(nullptr), utl::getLocalTime(nullptr)}));
}

// A leap second, as some clocks tell it, and a month that there is not.
TEST_F(TimepieceClockTest, TakesWhatAClockMayTell)
{
    static tm sFields;
    sFields.tm_mday = 1;
    sFields.tm_sec = 60;
    utl::test::Replaced const lConversion(
        &SystemCalls::mGmtimeR, +[](time_t const*, tm* npFields) { return &(*npFields = sFields); });
    Time lTime;
    EXPECT_EQ(Time::FAILED, lTime.getElapsedDays(lTime));
    EXPECT_TRUE(utl::getSystemTime(&lTime));
    EXPECT_EQ(make({1900, 1, 1, 0, 0, 59}), lTime);
    sFields.tm_mon = 12;
    EXPECT_FALSE(utl::getSystemTime(&lTime));
    EXPECT_EQ(make({1900, 1, 1, 0, 0, 59}), lTime);
}

} // namespace
