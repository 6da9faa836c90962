// Array, queue and map.
#include "UtlArray.h"
#include "UtlMap.h"
#include "UtlQueue.h"

#include "support/Test.h"

#include <deque>
#include <map>
#include <random>

namespace
{

using namespace utl;
using namespace utl::test;

unsigned int const ALL = static_cast<unsigned int>(-1);

/// Elements of one kind are moved as blocks, those of the other one by one.
template <class T>
T element(unsigned int nNumber)
{
    if constexpr (std::is_same_v<T, int>)
    {
        return static_cast<int>(nNumber);
    }
    else
    {
        return "an element too long for the string itself " + std::to_string(nNumber);
    }
}

template <class T>
class ContainerOf : public ::testing::Test
{
};
using Elements = ::testing::Types<int, std::string>;
TYPED_TEST_SUITE(ContainerOf, Elements);

TYPED_TEST(ContainerOf, AgreesWithAPlainListInEveryMode)
{
    using T = TypeParam;
    std::mt19937 lRandom(1);
    for (unsigned int lRound = 0, lMax = 3; lRound < 9000; lRound += 3000)
    {
        int const lMode = static_cast<int>(lRound / 3000);
        Array<T> lArray(lMax, lMode);
        std::vector<T> lModel;
        for (unsigned int lStep = 0; lStep < 3000; ++lStep)
        {
            auto const lSize = static_cast<unsigned int>(lModel.size());
            auto const lIndex = static_cast<unsigned int>(lRandom() % (lSize + 2));
            auto const lPlace = lModel.begin() + static_cast<std::ptrdiff_t>(lIndex);
            T const lOutside = element<T>(lStep);
            T const* const lpInside = lArray.at(lStep % 4); // moves while others are inserted before it
            T const& lValue = lpInside != nullptr ? *lpInside : lOutside;
            T const lCopy = lValue;
            bool const lIsTaken = lIndex <= lSize && (lMode == 1 || lSize < lMax);
            switch (lRandom() % 6)
            {
            case 0:
            case 1:
                ASSERT_EQ(lIsTaken, lArray.insertAt(lIndex, lValue));
                lModel.insert(lIsTaken ? lPlace : lModel.end(), lIsTaken ? 1 : 0, lCopy);
                lMax = std::max(lMax, lIsTaken ? lSize + 1 : 0); // one more, no slack
                break;
            case 2:
                ASSERT_EQ(lIndex < lSize, lArray.setAt(lIndex, lValue));
                std::fill_n(lPlace, lIndex < lSize ? 1 : 0, lCopy);
                break;
            case 3:
                lArray.removeAt(lIndex);
                lModel.erase(lIndex < lSize ? lPlace : lModel.end(), lIndex < lSize ? lPlace + 1 : lModel.end());
                break;
            case 4:
                lMax = static_cast<unsigned int>(lRandom() % 9);
                ASSERT_TRUE(lArray.resizeMax(lMax));
                ASSERT_TRUE(lArray.copy(lArray, lIndex)); // from itself: only ever shorter
                lModel.resize(std::min({lSize, lMax, lIndex}));
                break;
            default: // what fits of another, or nothing
                Array<T> lOther(static_cast<unsigned int>(lRandom() % 9));
                while (lOther.insertAt(lOther.size(), element<T>(lStep + lOther.size())))
                {
                }
                unsigned int const lCount = lIndex == lSize ? ALL : lIndex;
                unsigned int const lWanted = std::min(lCount, lOther.size());
                ASSERT_EQ(lMode == 1 || lWanted <= lMax, lArray.copy(lOther, lCount));
                if (lMode == 1 || lWanted <= lMax)
                {
                    lModel.assign(lOther.data(), lOther.data() + lWanted);
                    lMax = std::max(lMax, lWanted);
                }
            }
            ASSERT_EQ(lMax, lArray.maxSize());
            ASSERT_EQ(lMax == 0, lArray.data() == nullptr);
            ASSERT_EQ(nullptr, lArray.at(lArray.size()));
            if (lStep % 100 == 0)
            {
                ASSERT_FALSE(Array<T>(lArray).insertAt(lArray.size(), lOutside)); // a copy is fixed
            }
            ASSERT_EQ(lModel, std::vector<T>(lArray.data(), lArray.data() + lArray.size())) << "step " << lStep;
        }
    }
}

/// Fails in the n-th array-new from now when told so.
struct Probe
{
    static void* operator new[](std::size_t nSize)
    {
        return sFailIn != 0 && --sFailIn == 0 ? throw std::bad_alloc() : ::operator new[](nSize);
    }
    static void operator delete[](void* npBlock) { ::operator delete[](npBlock); }

    char mBytes[16] = {};
    static inline int sFailIn = 0;
};

// Leaks and bad accesses are for the address checks to see.
TEST(Array, StaysSafeWhereverAnAllocationFails)
{
    Probe const lValue{};
    for (int const lNth : {1, 2}) // the copy kept meanwhile; the new block, and then the block is gone
    {
        Array<Probe> lArray(2, 1);
        ASSERT_EQ("yy", said({lArray.insertAt(0, lValue), lArray.insertAt(1, lValue)}));
        Probe::sFailIn = lNth;
        EXPECT_THROW((void)lArray.insertAt(0, lValue), std::bad_alloc);
        EXPECT_EQ(2U, lArray.size());
        EXPECT_EQ(lNth == 2, lArray.at(1) == nullptr);
        EXPECT_EQ(lNth == 1, lArray.setAt(0, lValue));
        lArray.removeAt(0);
        EXPECT_TRUE(lArray.resizeMax(4));
        EXPECT_EQ(lNth == 1 ? 1U : 0U, lArray.size());
        EXPECT_TRUE(lArray.insertAt(0, lValue));
    }
    EXPECT_THROW(Array<Probe>(0x10000000U), std::bad_alloc); // one byte more than 32 bits count
}

// Any order of operations leaves what a plain queue would hold, wherever the head stands, with the head where a
// pop puts it and an erase leaves it.
TYPED_TEST(ContainerOf, AgreesWithAPlainQueueAndKeepsTheHeadsPlace)
{
    using T = TypeParam;
    std::mt19937 lRandom(1);
    for (unsigned int lMax : {0U, 1U, 2U, 7U, 8U})
    {
        RingArray<T> lRing(lMax);
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
    int const VALUES[6] = {};
    Queue<int> lQueue(8);
    ASSERT_TRUE(lQueue.pushAll(VALUES, 3));
    EXPECT_EQ("nnn", said({lQueue.pushAll(VALUES, ALL - 1), lQueue.pushAll(nullptr, 1), lQueue.popBack(ALL)}));
    lQueue.erase(1, ALL);
    EXPECT_EQ(1U, lQueue.size());
    lQueue.pop(ALL);
    EXPECT_EQ(0U, lQueue.size());

    RingArray<int> lRing(8);
    ASSERT_TRUE(lRing.pushAll(VALUES, 6));
    lRing.pop(6);
    EXPECT_EQ(0, lRing.physicalIndex(2));
    EXPECT_EQ(5, lRing.physicalIndex(-1));
    EXPECT_EQ(6, lRing.physicalIndex(8));
}

// Both are walked in order, a queue across its wrap.
TEST(Containers, KeepWhatCannotBeCopied)
{
    Queue<std::unique_ptr<int>> lQueue(3);
    Array<std::unique_ptr<int>> lArray(3);
    for (int lNumber = 1; lNumber <= 4; ++lNumber)
    {
        auto lpNumber = std::make_unique<int>(lNumber);
        EXPECT_EQ(lNumber < 4, lArray.insertAt(0, std::make_unique<int>(lNumber)));
        EXPECT_EQ(lNumber < 4, lQueue.push(std::move(lpNumber)));
        EXPECT_EQ(lNumber < 4, lpNumber == nullptr); // a refused value stays with the caller
    }
    lArray.removeAt(1);
    EXPECT_FALSE(lArray.insertAt(3, nullptr));
    lQueue.pop(2);
    EXPECT_TRUE(lQueue.push(std::make_unique<int>(4)));
    EXPECT_TRUE(lQueue.push(std::make_unique<int>(5)));
    lQueue.erase(1, 1);
    std::vector<int> lSeen;
    std::transform(lArray.begin(), lArray.end(), std::back_inserter(lSeen), [](auto const& np) { return *np; });
    std::transform(lQueue.begin(), lQueue.end(), std::back_inserter(lSeen), [](auto const& np) { return *np; });
    EXPECT_EQ((std::vector<int>{3, 1, 3, 5}), lSeen);
}

TEST(Search, GivesTheLeftmostPlace)
{
    using IntPair = Pair<int, int>;
    CompareLessPairKey<int, int> const COMPARE;
    IntPair const TABLE[] = {{7, 0}, {7, 1}, {7, 2}, {9, 3}, {20, 4}};
    for (int lKey = 6; lKey <= 21; ++lKey)
    {
        auto const* const lpPlace = std::lower_bound(std::begin(TABLE), std::end(TABLE), lKey, COMPARE);
        bool const lIsFound = lpPlace != std::end(TABLE) && lpPlace->mKey == lKey;
        EXPECT_EQ(lpPlace, TABLE + searchPosition(lKey, TABLE, 5, COMPARE)) << lKey;
        EXPECT_EQ(lIsFound ? lpPlace : nullptr, searchBinary(lKey, TABLE, 5, COMPARE)) << lKey;
    }
    EXPECT_EQ(static_cast<unsigned int>(-1), searchPosition(7, TABLE, 0x80000000U, COMPARE));
    EXPECT_EQ(nullptr, searchBinary(7, TABLE, 0x80000000U, COMPARE));
}

TEST(Map, AgreesWithAnOrderedMapInEveryMode)
{
    std::mt19937 lRandom(1);
    for (int const lCase : {0, 1, 2, 3}) // without a block it refuses in every mode
    {
        unsigned int const lMax = lCase < 2 ? 0 : 6;
        bool const lExpands = lCase == 3;
        Map<unsigned int, std::string> lMap(lMax, lCase % 2);
        std::map<unsigned int, std::string> lModel;
        for (unsigned int lRound = 0; lRound < 3000; ++lRound)
        {
            unsigned int const lKey = static_cast<unsigned int>(lRandom() % 10) - 5U; // half of them near UINT_MAX
            std::string const lValue = element<std::string>(lRound);
            bool const lIsKnown = lModel.count(lKey) != 0;
            if (lRandom() % 3 == 0)
            {
                ASSERT_EQ(lIsKnown, lMap.erase(lKey));
                lModel.erase(lKey);
            }
            else
            {
                bool const lIsTaken = lMap.insert(lKey, lValue);
                ASSERT_EQ(lIsTaken, lIsKnown || lExpands || lModel.size() < lMax);
                lIsTaken ? void(lModel[lKey] = lValue) : void();
            }
            ASSERT_EQ(lModel.count(lKey) != 0, lMap.find(lKey) != nullptr);
            ASSERT_TRUE(std::equal(lModel.begin(), lModel.end(), lMap.begin(), lMap.end(),
                                   [](auto const& nModel, auto const& nPair)
                                   { return nModel.first == nPair.mKey && nModel.second == nPair.mValue; }));
        }
        Map<unsigned int, std::string> const lTwin(lMap);
        EXPECT_EQ(lMap.size(), lTwin.maxSize());
        EXPECT_EQ(lMap.size(), lTwin.size());
        ASSERT_TRUE(lMap.array().resizeMax(11));
        EXPECT_TRUE(lMap.insert(100, ""));
    }
}

} // namespace
