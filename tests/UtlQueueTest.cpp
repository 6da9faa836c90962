#include "UtlQueue.h"

#include "support/Elements.h"
#include "support/Test.h"

#include <deque>
#include <random>

namespace
{

using utl::test::ContainerOf;
using utl::test::element;
using utl::test::said;
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
            unsigned int const lCount = static_cast<unsigned int>(lRandom() % (lMax + 2));
            bool const lFits = lSize + lCount <= lMax;
            auto const lFirst = lModel.begin() + std::min(lIndex, lSize);
            unsigned int const lThere = std::min(lCount, lIndex < lSize ? lSize - lIndex : 0);
            std::vector<T> lRun;
            std::generate_n(std::back_inserter(lRun), lCount,
                            [&, lNumber = lRound * 16]() mutable { return element<T>(lNumber++); });
            switch (lRandom() % 6)
            {
            case 0:
            case 1:
                ASSERT_EQ(lFits, lCount == 1 ? lRing.push(lRun[0]) : lRing.pushAll(lRun.data(), lCount));
                lModel.insert(lModel.end(), lRun.begin(), lFits ? lRun.end() : lRun.begin());
                break;
            case 2:
                lCount == 1 ? lRing.pop() : lRing.pop(lCount);
                lModel.erase(lModel.begin(), lModel.begin() + std::min(lCount, lSize));
                lHead = lMax == 0 ? 0 : (lHead + std::min(lCount, lSize)) % lMax;
                break;
            case 3:
                lRing.erase(lIndex, lCount);
                lModel.erase(lFirst, lFirst + lThere);
                break;
            case 4:
                ASSERT_EQ(lCount != 0 && lCount <= lSize, lRing.popBack(lCount));
                lModel.resize(lCount <= lSize ? lSize - lCount : lSize);
                break;
            default:
                ASSERT_EQ(lThere, lRing.copyOut(lIndex, lRun.data(), lCount));
                ASSERT_TRUE(std::equal(lRun.begin(), lRun.begin() + lThere, lFirst));
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
        EXPECT_EQ(0, static_cast<int>(lRing.size()) + lRing.physicalIndex(0));
    }
}

TEST(RingArray, IndicesCountOneTurnAndCountsNearTheNumbersEndDoNotWrap)
{
    unsigned int const ALL = static_cast<unsigned int>(-1);
    int const VALUES[6] = {};
    utl::Queue<int> lQueue(8);
    ASSERT_TRUE(lQueue.pushAll(VALUES, 3));
    EXPECT_EQ("nnn", said({lQueue.pushAll(VALUES, ALL - 1), lQueue.pushAll(nullptr, 1), lQueue.popBack(ALL)}));
    lQueue.erase(1, ALL);
    EXPECT_EQ(1U, lQueue.size());
    lQueue.pop(ALL);
    EXPECT_EQ(0U, lQueue.size());

    utl::RingArray<int> lRing(8);
    ASSERT_TRUE(lRing.pushAll(VALUES, 6));
    lRing.pop(6);
    EXPECT_EQ(0, lRing.physicalIndex(2));
    EXPECT_EQ(5, lRing.physicalIndex(-1));
    EXPECT_EQ(6, lRing.physicalIndex(8));
}

TEST(Queue, IsWalkedAcrossTheWrapAndKeepsWhatCannotBeCopied)
{
    utl::Queue<std::unique_ptr<int>> lQueue(3);
    auto const lPush = [&](int nNumber) { return lQueue.push(std::make_unique<int>(nNumber)); };
    for (int lNumber = 1; lNumber <= 3; ++lNumber)
    {
        EXPECT_TRUE(lPush(lNumber));
    }
    auto lpLeft = std::make_unique<int>(4);
    EXPECT_FALSE(lQueue.push(std::move(lpLeft)));
    EXPECT_NE(nullptr, lpLeft); // a refused value stays with the caller
    lQueue.pop(2);
    EXPECT_TRUE(lPush(4));
    EXPECT_TRUE(lPush(5));
    lQueue.erase(1, 1);
    std::vector<int> lSeen;
    for (std::unique_ptr<int> const& lpNumber : lQueue)
    {
        lSeen.push_back(*lpNumber);
    }
    EXPECT_EQ((std::vector<int>{3, 5}), lSeen);
}

} // namespace
