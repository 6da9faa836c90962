// The timers of a loop at made-up times, without kernel and thread.
#include "internal/message/UtlTimerTable.h"

#include "internal/base/UtlSystemCalls.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::ExpiryNotes;
using internal::SystemCalls;
using internal::TimerSignal;
using internal::TimerTable;

long long const MS = 1000000;
TimerSignal gSignal(3);

TimerTable::Kind kind(bool nKeepsLostBeats)
{
    return {gSignal, nKeepsLostBeats, "", nullptr, "", "", "", false, nullptr, 0, 0, 0, 0};
}

/// A table of timers that run from the time 1000 ms on. The kernel's clock and timers are played.
struct Table
{
    explicit Table(bool nKeepsLostBeats = false)
        : mKind(kind(nKeepsLostBeats)),
          mTimers(mKind, 4, "table")
    {
    }

    /// Result: its system number.
    int run(unsigned int nIntervalMs, int nIsFreeRunning)
    {
        sNowNs = 1000 * MS;
        TimerInfo& lInfo =
            *mTimers.find(mTimers.add(nullptr, nIntervalMs, 0, nIsFreeRunning, [](int) { return false; }));
        EXPECT_TRUE(mTimers.arm(lInfo));
        lInfo.mpRunningEvent->setOn();
        return lInfo.mSysTimerNumber;
    }

    /// Result: how many time-outs are to be queued at that time.
    unsigned int expire(int nNumber, unsigned int nOverrun, long long nNowMs)
    {
        unsigned int const lCount = mTimers.expire({nNumber, nOverrun}, nNowMs * MS).mCount;
        mTimers.findNextDue();
        return lCount;
    }

    long long dueMs() const { return mTimers.nextDueNs() != TimerInfo::NEVER ? mTimers.nextDueNs() / MS : -1; }

    static inline long long sNowNs = 0;
    Replaced<int(clockid_t, timespec*)> mClock{&SystemCalls::mClockGettime, [](clockid_t, timespec* npTime)
                                               {
                                                   npTime->tv_sec = static_cast<time_t>(sNowNs / (1000 * MS));
                                                   npTime->tv_nsec = static_cast<long>(sNowNs % (1000 * MS));
                                                   return 0;
                                               }};
    Replaced<int(clockid_t, sigevent*, timer_t*)> mCreate{&SystemCalls::mTimerCreate,
                                                          [](clockid_t, sigevent*, timer_t*) { return 0; }};
    Replaced<int(timer_t, int, itimerspec const*, itimerspec*)> mSettime{
        &SystemCalls::mTimerSettime, [](timer_t, int, itimerspec const*, itimerspec*) { return 0; }};
    Replaced<int(timer_t)> mDelete{&SystemCalls::mTimerDelete, [](timer_t) { return 0; }};
    TimerTable::Kind mKind;
    TimerTable mTimers;
};

// One time-out waits, or two of a free-running timer; and the next signal is looked for neither too late nor for ever.
TEST(TimerTable, CountsBeatsAndKnowsWhenTheNextIsDue)
{
    struct Row
    {
        int mIsFreeRunning;
        unsigned int mOverrun;
        long long mNowMs;
        unsigned int mCount; // and once more, with a signal and no time passed
        unsigned int mThenCount;
        long long mDueMs; // after the first
    } const ROWS[] = {
        {0, 0, 1010, 1, 0, 1020},
        {0, 5, 1061, 1, 0, 1070},
        {1, 0, 1010, 1, 1, 1020},
        {1, 1, 1025, 2, 0, 1030},
        {1, 5, 1061, 2, 0, 1070},
        {1, 0, 1500, 1, 1, 1510}, // told late: others were lost
        {1, 4294967295U, 1011, 2, 0, 1010 + 42949672960LL},
    };
    for (Row const& lRow : ROWS)
    {
        SCOPED_TRACE(&lRow - ROWS);
        Table lTable;
        int const lNumber = lTable.run(10, lRow.mIsFreeRunning);
        EXPECT_EQ(1010, lTable.dueMs());
        EXPECT_EQ(lRow.mCount, lTable.expire(lNumber, lRow.mOverrun, lRow.mNowMs));
        EXPECT_EQ(lRow.mDueMs, lTable.dueMs());
        EXPECT_EQ(lRow.mThenCount, lTable.expire(lNumber, 0, lRow.mNowMs));
    }
}

TEST(TimerTable, LateSignalsFindNobody)
{
    Table lTable;
    int const lFirst = lTable.run(10, 1);
    int const lSecond = lTable.run(20, 1);
    int const lNever = lTable.run(0, 1);
    EXPECT_EQ(1010, lTable.dueMs());
    TimerInfo& lInfo = *lTable.mTimers.find(1);
    EXPECT_TRUE(lTable.mTimers.disarm(lInfo));
    EXPECT_TRUE(lTable.mTimers.arm(lInfo));
    for (int lNumber : {lFirst, lNever, -1, 99})
    {
        EXPECT_EQ(0U, lTable.expire(lNumber, 0, 1010)) << lNumber;
    }
    EXPECT_EQ(1U, lTable.expire(lInfo.mSysTimerNumber, 0, 1010));
    Table::sNowNs = 1010 * MS;
    EXPECT_TRUE(lTable.mTimers.rearm(lInfo));
    EXPECT_EQ(0U, lTable.expire(lInfo.mSysTimerNumber, 0, 1019)); // of the period before
    EXPECT_EQ(1U, lTable.expire(lInfo.mSysTimerNumber, 0, 1020));
    lInfo.mpRunningEvent->setOff();
    EXPECT_EQ(0U, lTable.expire(lInfo.mSysTimerNumber, 0, 1010));
    // The kernel does not let go of it: it is not heard, nor waited for.
    QuietLog const lQuiet;
    Replaced const lDelete(
        &SystemCalls::mTimerDelete, +[](timer_t) { return -1; });
    EXPECT_FALSE(lTable.mTimers.disarm(*lTable.mTimers.find(2)));
    EXPECT_EQ(0U, lTable.expire(lSecond, 0, 1020));
}

TEST(TimerTable, LostBeatsGoOnCountingOrNot)
{
    for (bool const lKeeps : {false, true})
    {
        Table lTable(lKeeps);
        int const lNumber = lTable.run(10, 0);
        EXPECT_EQ(1U, lTable.expire(lNumber, 0, 1010));
        lTable.mTimers.onLost({1, 1});
        lTable.mTimers.onLost({-1, 1}); // of none
        EXPECT_EQ(lKeeps ? 0U : 1U, lTable.expire(lNumber, 0, 1020));
    }
}

TEST(TimerTable, IdsWrapPastThoseInUseOrReserved)
{
    TimerTable::Kind const lKind = kind(false);
    TimerTable lTimers(lKind, 5, "ids");
    auto const lAdd = [&] { return lTimers.add(nullptr, 1, 0, 0, [](int nTimerId) { return nTimerId == 2; }); };
    EXPECT_EQ(1, lAdd());
    lTimers.withdraw(INT_MAX); // gives that one next
    EXPECT_EQ(INT_MAX, lAdd());
    EXPECT_EQ(3, lAdd());
    lTimers.withdraw(3);
    EXPECT_EQ(3, lAdd());
    EXPECT_EQ(4, lAdd());
    EXPECT_EQ(5, lAdd());
    EXPECT_EQ(-1, lAdd());
}

TEST(TimerTable, SystemNumbersWrapAndJumpAfterACollision)
{
    struct Row
    {
        int mLast, mUsed, mNext;
    } const ROWS[] = {{1, -1, 2},      {INT_MAX, -1, 1},      {INT_MAX - 1, INT_MAX, INT_MAX},
                      {4, 5, INT_MAX}, {INT_MAX, 1, INT_MAX}, {INT_MAX - 2, -1, INT_MAX - 1}};
    for (Row const& lRow : ROWS)
    {
        EXPECT_EQ(lRow.mNext, TimerTable::numberAfter(lRow.mLast, [&](int nNumber) { return nNumber == lRow.mUsed; }))
            << lRow.mLast;
    }
}

TEST(ExpiryNotes, HaveRoomForTwoOfEachTimer)
{
    ExpiryNotes lNotes(2);
    for (int lNumber = 1; lNumber <= 5; ++lNumber)
    {
        lNotes.add({lNumber, 0});
    }
    EXPECT_EQ(4U, lNotes.count());
    EXPECT_EQ(4, lNotes.at(3).mSysTimerNumber);
}

} // namespace
