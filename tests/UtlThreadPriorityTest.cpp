#include "UtlThreadPriority.h"

#include "support/Test.h"

using utl::ThreadPriority;

TEST(ThreadPriority, TranslatesStepsAndNiceValues)
{
    using Row = std::pair<int, int>;
    for (auto const& [lStep, lOsValue] : {Row(INT_MIN, 100), Row(-1, 100), Row(0, -4), Row(1, -2), Row(2, -1),
                                          Row(3, 0), Row(4, 1), Row(5, 2), Row(6, 3), Row(7, 100)})
    {
        ThreadPriority lPriority;
        lPriority = static_cast<ThreadPriority::Priority>(lStep);
        EXPECT_EQ(lOsValue, lPriority.OsValue()) << lStep;
        EXPECT_TRUE(lPriority == ThreadPriority(lStep));
    }
    for (auto const& [lOsValue, lStep] : {Row(INT_MIN, 0), Row(-4, 0), Row(-3, 1), Row(-2, 1), Row(-1, 2), Row(0, 3),
                                          Row(1, 4), Row(2, 5), Row(3, 6), Row(4, -1), Row(INT_MAX, -1)})
    {
        ThreadPriority lPriority(ThreadPriority::INVALID);
        lPriority.OsValue(lOsValue);
        EXPECT_EQ(lStep, lPriority.value()) << lOsValue;
        EXPECT_EQ(lOsValue == -3, lStep == 1 && lPriority != ThreadPriority(ThreadPriority::HIGH));
    }
}
