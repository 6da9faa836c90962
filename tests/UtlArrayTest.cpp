#include "UtlArray.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace
{

unsigned int const ALL = static_cast<unsigned int>(-1);

/// Counts assignments, and fails in the n-th construction from now when told so.
struct Probe
{
    Probe() { throwWhenDue(); }
    Probe(int nValue)
        : mValue(nValue)
    {
    }
    Probe(Probe const& nOther)
        : mValue(nOther.mValue)
    {
        throwWhenDue();
    }
    Probe& operator=(Probe const& nOther)
    {
        mValue = nOther.mValue;
        ++sAssignments;
        return *this;
    }
    static void throwWhenDue()
    {
        if (sThrowIn != 0 && --sThrowIn == 0)
        {
            throw std::bad_alloc();
        }
    }

    int mValue = 0;
    static inline int sAssignments = 0;
    static inline int sThrowIn = 0;
};

template <class T>
T element(unsigned int nNumber)
{
    if constexpr (std::is_same_v<T, std::string>)
    {
        return "an element too long for the string itself " + std::to_string(nNumber);
    }
    else
    {
        return static_cast<T>(nNumber);
    }
}

template <class T>
class ArrayOf : public ::testing::Test
{
};
using Elements = ::testing::Types<int, unsigned char, std::string>;
TYPED_TEST_SUITE(ArrayOf, Elements);

// Any order of operations leaves what a plain list would hold, for elements moved as blocks and one by one.
TYPED_TEST(ArrayOf, AgreesWithAPlainListInEveryMode)
{
    using T = TypeParam;
    std::mt19937 lRandom(1);
    for (int lMode : {0, 1, 2})
    {
        unsigned int lMax = 3;
        utl::Array<T> lArray(lMax, lMode);
        std::vector<T> lModel;
        for (unsigned int lRound = 0; lRound < 3000; ++lRound)
        {
            unsigned int const lIndex = static_cast<unsigned int>(lRandom() % (lModel.size() + 2));
            unsigned int const lOther = static_cast<unsigned int>(lRandom() % (lModel.size() + 1));
            bool const lIsInside = lOther < lModel.size() && lRandom() % 2 == 0;
            T const lOutside = element<T>(lRound);
            T const& lValue = lIsInside ? *lArray.at(lOther) : lOutside; // also values that move while inserting
            T const lCopy = lValue;
            auto const lPlace = lModel.begin() + static_cast<std::ptrdiff_t>(lIndex);
            switch (lRandom() % 8)
            {
            case 0:
            case 1:
            case 2:
            {
                bool const lFits = lIndex <= lModel.size() && (lMode == 1 || lModel.size() < lMax);
                ASSERT_EQ(lFits, lArray.insertAt(lIndex, lValue));
                if (lFits)
                {
                    lModel.insert(lPlace, lCopy);
                    lMax = std::max(lMax, static_cast<unsigned int>(lModel.size())); // one more, no slack
                }
                break;
            }
            case 3:
                ASSERT_EQ(lIndex < lModel.size(), lArray.setAt(lIndex, lValue));
                if (lIndex < lModel.size())
                {
                    *lPlace = lCopy;
                }
                break;
            case 4:
            case 5:
                lArray.removeAt(lIndex);
                if (lIndex < lModel.size())
                {
                    lModel.erase(lPlace);
                }
                break;
            case 6:
                lMax = static_cast<unsigned int>(lRandom() % 9);
                ASSERT_TRUE(lArray.resizeMax(lMax));
                lModel.resize(std::min<std::size_t>(lModel.size(), lMax));
                break;
            default:
                ASSERT_TRUE(lArray.copy(lArray, lIndex)); // from itself: only ever shorter
                lModel.resize(std::min<std::size_t>(lModel.size(), lIndex));
            }
            ASSERT_EQ(lModel.size(), lArray.size());
            ASSERT_EQ(lMax, lArray.maxSize());
            ASSERT_EQ(lMax == 0, lArray.data() == nullptr);
            ASSERT_EQ(nullptr, lArray.at(lArray.size()));
            for (unsigned int i = 0; i < lModel.size(); ++i)
            {
                ASSERT_EQ(lModel[i], *lArray.at(i)) << "round " << lRound << " element " << i;
            }
        }
    }
}

TEST(Array, CopyTakesWhatFitsOrNothing)
{
    utl::Array<int> lSource(3);
    for (int i = 0; i < 3; ++i)
    {
        ASSERT_TRUE(lSource.insertAt(static_cast<unsigned int>(i), 10 + i));
    }
    struct Row
    {
        unsigned int mMax;
        int mMode;
        unsigned int mCount;
        bool mResult;
        unsigned int mSize, mMaxAfter;
    };
    Row const ROWS[] = {
        {3, 0, ALL, true, 3, 3}, {5, 0, 2, true, 2, 5},    {2, 0, ALL, false, 1, 2},
        {2, 1, ALL, true, 3, 3}, {2, 2, ALL, false, 1, 2}, {1, 0, 0, true, 0, 1},
    };
    for (Row const& lRow : ROWS)
    {
        utl::Array<int> lTarget(lRow.mMax, lRow.mMode);
        ASSERT_TRUE(lTarget.insertAt(0, 99));
        EXPECT_EQ(lRow.mResult, lTarget.copy(lSource, lRow.mCount));
        EXPECT_EQ(lRow.mSize, lTarget.size());
        EXPECT_EQ(lRow.mMaxAfter, lTarget.maxSize());
        EXPECT_TRUE(lTarget.size() == 0 || *lTarget.at(0) == (lRow.mResult ? 10 : 99));
        EXPECT_TRUE(lTarget.copy(utl::Array<int>(0), ALL));
        EXPECT_EQ(0U, lTarget.size());
    }
    utl::Array<int> const lTwin(lSource);
    EXPECT_EQ(3U, lTwin.maxSize());
    EXPECT_NE(lSource.at(0), lTwin.at(0));
    EXPECT_EQ(12, *lTwin.at(2));
}

TEST(Array, AnElementPutOnItselfAndAnEqualCapacityAreNotTouched)
{
    utl::Array<Probe> lArray(2);
    ASSERT_TRUE(lArray.insertAt(0, 7));
    Probe const* const lpElement = lArray.at(0);
    Probe::sAssignments = 0;
    EXPECT_TRUE(lArray.setAt(0, *lArray.at(0)));
    EXPECT_TRUE(lArray.resizeMax(2));
    EXPECT_EQ(0, Probe::sAssignments);
    EXPECT_EQ(lpElement, lArray.at(0));
}

// Every construction of a growing insertion fails once. Leaks and bad accesses are for the address checks to see.
TEST(Array, StaysSafeWhereverAnAllocationFails)
{
    bool lFailed = true;
    for (int lNth = 1; lFailed; ++lNth)
    {
        ASSERT_LT(lNth, 20);
        utl::Array<Probe> lArray(2, 1);
        lArray.insertAt(0, 1);
        lArray.insertAt(1, 2);
        lFailed = false;
        Probe::sThrowIn = lNth;
        try
        {
            lArray.insertAt(0, 3);
        }
        catch (std::bad_alloc const&)
        {
            lFailed = true;
        }
        Probe::sThrowIn = 0;
        EXPECT_EQ(lFailed ? 2U : 3U, lArray.size());
        if (lArray.data() == nullptr) // the block is gone, the counters are not
        {
            EXPECT_EQ(3U, lArray.maxSize());
            EXPECT_EQ(nullptr, lArray.at(0));
            EXPECT_FALSE(lArray.insertAt(0, 4));
            EXPECT_FALSE(lArray.setAt(0, 4));
            lArray.removeAt(0);
            EXPECT_EQ(0U, utl::Array<Probe>(lArray).size());
            EXPECT_TRUE(lArray.resizeMax(4));
            EXPECT_EQ(0U, lArray.size());
            EXPECT_TRUE(lArray.insertAt(0, 4));
        }
    }
}

/// Allocates nothing; the sanitizers end a process that asks the common allocator for too much.
struct Huge
{
    static void* operator new[](std::size_t nSize)
    {
        EXPECT_GE(nSize, std::numeric_limits<std::size_t>::max() - 64);
        throw std::bad_alloc();
    }
    static void operator delete[](void*) {}
    char mBytes[16];
};

TEST(Array, RequestsBeyondThirtyTwoBitsSaturate)
{
    EXPECT_THROW(utl::Array<Huge>(0x10000000U), std::bad_alloc);
    utl::Array<Huge> lArray(0);
    EXPECT_THROW(lArray.resizeMax(std::numeric_limits<unsigned int>::max()), std::bad_alloc);
}

} // namespace
