#include "UtlStaticBuffer.h"

#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "UtlString.h"

using namespace utl;

namespace
{

TEST(WorkingBuffer, NestedUsersGetThreeRowsAndThenTheLastAgain)
{
    char* lpFirst = nullptr;
    {
        WorkingBuffer<char> const lFirst;
        WorkingBuffer<char> const lSecond;
        WorkingBuffer<char> const lThird;
        WorkingBuffer<char> const lFourth;
        lpFirst = lFirst.get();
        EXPECT_EQ(lSecond.get(), lpFirst + 10240);
        EXPECT_EQ(lThird.get(), lpFirst + 2 * 10240);
        EXPECT_EQ(lFourth.get(), lThird.get());
        std::memset(lpFirst, 'x', 3U * WorkingBuffer<char>::CAPACITY);
    }
    WorkingBuffer<char> const lAgain;
    EXPECT_EQ(lAgain.get(), lpFirst);
    EXPECT_EQ(*lAgain.get(), 'x');
}

// Two threads work in the same rows by turns; without the lock they read each other's text.
TEST(WorkingBuffer, KeepsOtherThreadsOut)
{
    auto const lWork = [](char nFill)
    {
        std::string lText(1000, nFill);
        lText[500] = '.';
        for (int lTurn = 0; lTurn < 2000; ++lTurn)
        {
            WorkingBuffer<char> const lOuter;
            std::memset(lOuter.get(), nFill, 1000);
            ASSERT_EQ(findReverseChar(lText.c_str(), ".", STR_ALL, nullptr), 500U);
            ASSERT_EQ(lOuter.get()[lTurn % 1000], nFill);
        }
    };
    std::thread lOther(lWork, 'a');
    lWork('b');
    lOther.join();
}

} // namespace
