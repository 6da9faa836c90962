#include "UtlMap.h"

#include <iterator>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace
{

unsigned int const UNUSABLE = static_cast<unsigned int>(-1);

using IntPair = utl::Pair<int, int>;
using Compare = utl::CompareLessPairKey<int, int>;

TEST(Search, GivesTheLeftmostPlace)
{
    IntPair const TABLE[] = {{7, 0}, {7, 1}, {7, 2}, {9, 3}, {20, 4}};
    unsigned int const SIZE = static_cast<unsigned int>(std::size(TABLE));
    struct Row
    {
        int mKey;
        IntPair const* mpTable;
        unsigned int mSize, mPosition;
        bool mIsFound;
    };
    Row const ROWS[] = {
        {7, TABLE, SIZE, 0, true},
        {-1, TABLE, SIZE, 0, false},
        {8, TABLE, SIZE, 3, false},
        {9, TABLE, SIZE, 3, true},
        {20, TABLE, SIZE, 4, true},
        {21, TABLE, SIZE, 5, false},
        {7, TABLE, 4, 0, true},
        {7, TABLE, 0, 0, false},
        {7, nullptr, 0, UNUSABLE, false},
        {7, nullptr, 1, UNUSABLE, false},
        {7, TABLE, 0x80000000U, UNUSABLE, false},
    };
    for (Row const& lRow : ROWS)
    {
        EXPECT_EQ(lRow.mPosition, utl::searchPosition(lRow.mKey, lRow.mpTable, lRow.mSize, Compare())) << lRow.mKey;
        EXPECT_EQ(lRow.mIsFound ? lRow.mpTable + lRow.mPosition : nullptr,
                  utl::searchBinary(lRow.mKey, lRow.mpTable, lRow.mSize, Compare()))
            << lRow.mKey;
    }
}

TEST(Map, AgreesWithAnOrderedMapAndRefusesNewKeysWhenFull)
{
    std::mt19937 lRandom(1);
    utl::Map<unsigned int, std::string> lMap(6);
    std::map<unsigned int, std::string> lModel;
    for (unsigned int lRound = 0; lRound < 5000; ++lRound)
    {
        unsigned int const lKey = static_cast<unsigned int>(lRandom() % 10) - 5U; // half of them near UINT_MAX
        std::string const lValue = "a value too long for the string itself " + std::to_string(lRound);
        bool const lIsKnown = lModel.count(lKey) != 0;
        if (lRandom() % 3 != 0)
        {
            ASSERT_EQ(lIsKnown || lModel.size() < 6, lMap.insert(lKey, lValue));
            if (lIsKnown || lModel.size() < 6)
            {
                lModel[lKey] = lValue;
            }
        }
        else
        {
            ASSERT_EQ(lIsKnown, lMap.erase(lKey));
            lModel.erase(lKey);
        }
        ASSERT_EQ(lModel.count(lKey) != 0, lMap.find(lKey) != nullptr);
        ASSERT_EQ(lModel.size(), lMap.size());
        unsigned int lIndex = 0;
        for (auto const& [lModelKey, lModelValue] : lModel)
        {
            ASSERT_EQ(lModelKey, lMap.at(lIndex)->mKey);
            ASSERT_EQ(lModelValue, lMap.at(lIndex)->mValue);
            ++lIndex;
        }
    }
}

TEST(Map, WithoutABlockRefusesInEveryModeAndTakesRoomFromItsArray)
{
    for (int lMode : {0, 1})
    {
        utl::Map<int, int> lMap(0, lMode);
        EXPECT_FALSE(lMap.insert(1, 1));
        EXPECT_FALSE(lMap.erase(1));
        EXPECT_EQ(nullptr, lMap.find(1));
        ASSERT_TRUE(lMap.array().resizeMax(1));
        EXPECT_TRUE(lMap.insert(2, 1));
        EXPECT_EQ(lMode == 1, lMap.insert(1, 1));
        utl::Map<int, int> const lTwin(lMap);
        EXPECT_EQ(lMap.size(), lTwin.maxSize());
        EXPECT_NE(nullptr, lTwin.find(2));
    }
}

} // namespace
