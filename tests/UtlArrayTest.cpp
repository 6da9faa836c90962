#include "UtlArray.h"

#include "support/Elements.h"
#include "support/Test.h"

#include <cstddef>
#include <new>
#include <random>

namespace
{

unsigned int const ALL = static_cast<unsigned int>(-1);

using utl::test::ContainerOf;
using utl::test::element;
using utl::test::said;
TYPED_TEST_SUITE(ContainerOf, utl::test::Elements);

TYPED_TEST(ContainerOf, AgreesWithAPlainListInEveryMode)
{
    using T = TypeParam;
    std::mt19937 lRandom(1);
    for (unsigned int lRound = 0, lMax = 3; lRound < 9000; lRound += 3000)
    {
        int const lMode = static_cast<int>(lRound / 3000);
        utl::Array<T> lArray(lMax, lMode);
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
                utl::Array<T> lOther(static_cast<unsigned int>(lRandom() % 9));
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
                ASSERT_FALSE(utl::Array<T>(lArray).insertAt(lArray.size(), lOutside)); // a copy is fixed
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
    for (int const lNth : {1, 2}) // the copy kept meanwhile, the new block
    {
        utl::Array<Probe> lArray(2, 1);
        ASSERT_EQ("yy", said({lArray.insertAt(0, lValue), lArray.insertAt(1, lValue)}));
        Probe::sFailIn = lNth;
        EXPECT_THROW((void)lArray.insertAt(0, lValue), std::bad_alloc);
        EXPECT_EQ(2U, lArray.size());
        if (lNth == 2) // the block is gone, the counters are not
        {
            EXPECT_EQ(nullptr, lArray.data());
            EXPECT_EQ(3, lArray.maxSize());
            EXPECT_EQ(nullptr, lArray.at(1));
            EXPECT_EQ("nn", said({lArray.insertAt(0, lValue), lArray.setAt(0, lValue)}));
            lArray.removeAt(0);
            EXPECT_TRUE(lArray.resizeMax(4));
            EXPECT_EQ(0, lArray.size());
        }
        EXPECT_TRUE(lArray.insertAt(0, lValue));
    }
    EXPECT_THROW(utl::Array<Probe>(0x10000000U), std::bad_alloc); // one byte more than 32 bits count
}

} // namespace
