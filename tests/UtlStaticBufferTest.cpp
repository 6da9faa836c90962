#include "UtlStaticBuffer.h"

#include "UtlConvertAttrib.h"
#include "support/Test.h"

using namespace utl;

namespace
{

TEST(WorkingBuffer, NestedUsersGetThreeRowsAndThenTheLastAgain)
{
    char* lpFirst = nullptr;
    {
        WorkingBuffer<char> const lRows[4];
        lpFirst = lRows[0].get();
        EXPECT_EQ(lRows[1].get(), lpFirst + 10240);
        EXPECT_EQ(lRows[2].get(), lpFirst + 2 * 10240);
        EXPECT_EQ(lRows[3].get(), lRows[2].get());
        std::memset(lpFirst, 'x', 3U * WorkingBuffer<char>::CAPACITY);
    }
    WorkingBuffer<char> const lAgain;
    EXPECT_EQ(lpFirst, lAgain.get());
    EXPECT_EQ('x', *lpFirst);
}

// Two threads work in the same row by turns; without the lock they read each other's text.
TEST(WorkingBuffer, KeepsOtherThreadsOut)
{
    std::atomic<char> lNextFill{'a'};
    auto const lWork = [&]
    {
        char const lFill = lNextFill++;
        for (int lTurn = 0; lTurn < 2000; ++lTurn)
        {
            WorkingBuffer<char> const lOuter;
            std::memset(lOuter.get(), lFill, 1000);
            WorkingBuffer<char>(); // nested, and back
            ASSERT_EQ(std::string(lOuter.get(), 1000), std::string(1000, lFill));
        }
    };
    utl::test::together(lWork, lWork);
}

TEST(WorkingBuffer, KeepsOutOnlyThoseWhoNeedOne)
{
    auto lpHeld = std::make_unique<WorkingBuffer<char>>();
    test::Gate lIsDone;
    std::thread lThread(
        [&]
        {
            char lText[16] = "abc  ";
            char lFolded[16];
            unsigned short lNumber = 0;
            compareStrNoCase("a", "A", STR_ALL);
            strToInt(&lNumber, "1", 10);
            isCharAttribBase("a", CHAR_ATTRIB_OTHER);
            trimStrRight<char>(lText, nullptr);
            eraseStrSpan(lText, 0, 1);
            findReverseStr<char>(lText, "b", STR_ALL, nullptr);
            convertAttrib(lFolded, sizeof(lFolded), lText, LOWER_UPPER_PAIR, 0, 0);
            lIsDone.open();
        });
    EXPECT_TRUE(lIsDone.wait());
    lpHeld.reset();
    lThread.join();
}

} // namespace
