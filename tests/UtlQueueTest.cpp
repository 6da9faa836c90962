#include "UtlQueue.h"

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

#include "support/Elements.h"

namespace
{

using utl::test::ContainerOf;
using utl::test::element;
TYPED_TEST_SUITE(ContainerOf, utl::test::Elements);

// Any order of operations leaves what a plain queue would hold, wherever the head stands, with the head where a
// pop puts it and an erase leaves it.
TYPED_TEST(ContainerOf, AgreesWithAPlainQueueAndKeepsTheHeadsPlace)
{
    using T = TypeParam;
    std::mt19937 lRandom(1);
    for (unsigned int lMax : {0U, 1U, 2U, 7U, 8U})
    {
        utl::RingArray<T> lRing(lMax);
        std::deque<T> lModel;
        unsigned int lHead = 0;
        for (unsigned int lRound = 0; lRound < 6000; ++lRound)
        {
            unsigned int const lSize = static_cast<unsigned int>(lModel.size());
            unsigned int const lIndex = static_cast<unsigned int>(lRandom() % (lMax + 2));
            unsigned int const lAction = static_cast<unsigned int>(lRandom() % 9);
            bool const lIsOne = lAction % 2 == 0; // the operation without a count
            unsigned int const lCount = lIsOne && lAction < 6 ? 1 : static_cast<unsigned int>(lRandom() % (lMax + 2));
            unsigned int const lThere = lIndex < lSize ? std::min(lCount, lSize - lIndex) : 0;
            unsigned int const lDropped = std::min(lCount, lSize);
            std::vector<T> lRun;
            for (unsigned int i = 0; i < lCount; ++i)
            {
                lRun.push_back(element<T>(lRound * 16 + i));
            }
            switch (lAction)
            {
            case 0:
            case 1:
            case 2:
            case 3:
                ASSERT_EQ(lSize + lCount <= lMax, lIsOne ? lRing.push(lRun[0]) : lRing.pushAll(lRun.data(), lCount));
                if (lSize + lCount <= lMax)
                {
                    lModel.insert(lModel.end(), lRun.begin(), lRun.end());
                }
                break;
            case 4:
            case 5:
                lIsOne ? lRing.pop() : lRing.pop(lCount);
                lModel.erase(lModel.begin(), lModel.begin() + lDropped);
                lHead = lMax == 0 ? 0 : (lHead + lDropped) % lMax;
                break;
            case 6:
                lRing.erase(lIndex, lCount);
                lModel.erase(lModel.begin() + std::min(lIndex, lSize),
                             lModel.begin() + std::min(lIndex, lSize) + lThere);
                break;
            case 7:
                ASSERT_EQ(lCount != 0 && lCount <= lSize, lRing.popBack(lCount));
                if (lCount <= lSize)
                {
                    lModel.resize(lSize - lCount);
                }
                break;
            default:
                ASSERT_EQ(lThere, lRing.copyOut(lIndex, lRun.data(), lCount));
                ASSERT_TRUE(std::equal(lRun.begin(), lRun.begin() + lThere, lModel.begin() + std::min(lIndex, lSize)));
            }
            ASSERT_EQ(lModel.size(), lRing.size());
            ASSERT_EQ(static_cast<int>(lHead), lRing.physicalIndex(0));
            ASSERT_EQ(nullptr, lRing.at(lRing.size()));
            for (unsigned int i = 0; i < lRing.size(); ++i)
            {
                ASSERT_EQ(lModel[i], *lRing.at(i)) << "capacity " << lMax << " round " << lRound << " element " << i;
            }
        }
        lRing.clear();
        EXPECT_EQ(0U, lRing.size());
        EXPECT_EQ(0, lRing.physicalIndex(0));
    }
}

TEST(RingArray, IndicesCountOneTurnEitherWay)
{
    utl::RingArray<int> lRing(8);
    ASSERT_TRUE(lRing.pushAll(std::vector<int>(6).data(), 6));
    lRing.pop(6);
    EXPECT_EQ(0, lRing.physicalIndex(2));
    EXPECT_EQ(5, lRing.physicalIndex(-1));
    EXPECT_EQ(6, lRing.physicalIndex(8));
}

TEST(RingArray, CountsNearTheNumbersEndDoNotWrap)
{
    unsigned int const ALL = static_cast<unsigned int>(-1);
    utl::Queue<int> lQueue(4);
    int const VALUES[] = {1, 2, 3};
    ASSERT_TRUE(lQueue.pushAll(VALUES, 3));
    EXPECT_FALSE(lQueue.pushAll(VALUES, ALL - 1));
    EXPECT_FALSE(lQueue.pushAll(nullptr, 1));
    EXPECT_FALSE(lQueue.popBack(ALL));
    lQueue.erase(1, ALL);
    EXPECT_EQ(1U, lQueue.size());
    lQueue.pop(ALL);
    EXPECT_EQ(0U, lQueue.size());
}

} // namespace
