#include "UtlThreadPriority.h"

#include <climits>

#include <gtest/gtest.h>

namespace
{

using utl::ThreadPriority;

TEST(ThreadPriority, TranslatesStepsToNiceValues)
{
    struct
    {
        int mStep;
        int mOsValue;
    } const ROWS[] = {{INT_MIN, 100}, {-1, 100}, {0, -4}, {1, -2}, {2, -1}, {3, 0}, {4, 1}, {5, 2}, {6, 3}, {7, 100}};
    for (auto const& lRow : ROWS)
    {
        ThreadPriority lPriority(lRow.mStep);
        EXPECT_EQ(lRow.mOsValue, lPriority.OsValue()) << lRow.mStep;
        lPriority.OsValue(55);
        lPriority = static_cast<ThreadPriority::Priority>(lRow.mStep);
        EXPECT_EQ(lRow.mOsValue, lPriority.OsValue()) << lRow.mStep;
    }
}

TEST(ThreadPriority, TranslatesNiceValuesToSteps)
{
    struct
    {
        int mOsValue;
        int mStep;
    } const ROWS[] = {{INT_MIN, 0}, {-4, 0}, {-3, 1}, {-2, 1}, {-1, 2},   {0, 3},
                      {1, 4},       {2, 5},  {3, 6},  {4, -1}, {100, -1}, {INT_MAX, -1}};
    for (auto const& lRow : ROWS)
    {
        ThreadPriority lPriority(ThreadPriority::INVALID);
        lPriority.OsValue(lRow.mOsValue);
        EXPECT_EQ(lRow.mStep, lPriority.value()) << lRow.mOsValue;
    }
    ThreadPriority lMinusThree;
    lMinusThree.OsValue(-3);
    EXPECT_TRUE(lMinusThree != ThreadPriority(ThreadPriority::HIGH)); // one step, two nice values
}

} // namespace
