#include "UtlMap.h"

#include "support/Test.h"

#include <map>
#include <random>

namespace
{

TEST(Search, GivesTheLeftmostPlace)
{
    using IntPair = utl::Pair<int, int>;
    utl::CompareLessPairKey<int, int> const COMPARE;
    IntPair const TABLE[] = {{7, 0}, {7, 1}, {7, 2}, {9, 3}, {20, 4}};
    for (int lKey = 6; lKey <= 21; ++lKey)
    {
        auto const* const lpPlace = std::lower_bound(std::begin(TABLE), std::end(TABLE), lKey, COMPARE);
        bool const lIsFound = lpPlace != std::end(TABLE) && lpPlace->mKey == lKey;
        EXPECT_EQ(lpPlace, TABLE + utl::searchPosition(lKey, TABLE, 5, COMPARE)) << lKey;
        EXPECT_EQ(lIsFound ? lpPlace : nullptr, utl::searchBinary(lKey, TABLE, 5, COMPARE)) << lKey;
    }
    for (unsigned int const lSize : {0U, 1U, 0x80000000U})
    {
        IntPair const* const lpTable = lSize > 1 ? TABLE : nullptr;
        EXPECT_EQ(static_cast<unsigned int>(-1), utl::searchPosition(7, lpTable, lSize, COMPARE));
        EXPECT_EQ(nullptr, utl::searchBinary(7, lpTable, lSize, COMPARE));
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
        if (lRandom() % 3 == 0)
        {
            ASSERT_EQ(lIsKnown, lMap.erase(lKey));
            lModel.erase(lKey);
        }
        else
        {
            bool const lIsTaken = lMap.insert(lKey, lValue);
            ASSERT_EQ(lIsTaken, lIsKnown || lModel.size() < 6);
            lIsTaken ? void(lModel[lKey] = lValue) : void();
        }
        ASSERT_EQ(lModel.count(lKey) != 0, lMap.find(lKey) != nullptr);
        ASSERT_TRUE(std::equal(lModel.begin(), lModel.end(), lMap.at(0), lMap.at(0) + lMap.size(),
                               [](auto const& nModel, auto const& nPair)
                               { return nModel.first == nPair.mKey && nModel.second == nPair.mValue; }));
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

TEST(Map, IsWalkedInOrderAndArraysKeepWhatCannotBeCopied)
{
    utl::Map<int, int> lMap(3);
    EXPECT_TRUE(lMap.insert(2, 20));
    EXPECT_TRUE(lMap.insert(1, 10));
    int lAll = 0;
    for (auto& lPair : lMap)
    {
        lPair.mValue += lPair.mKey;
        lAll = lAll * 100 + lPair.mValue;
    }
    EXPECT_EQ(1122, lAll);

    utl::Array<std::unique_ptr<int>> lArray(3);
    for (int lNumber : {1, 2, 3, 4})
    {
        EXPECT_EQ(lNumber < 4, lArray.insertAt(0, std::make_unique<int>(lNumber)));
    }
    lArray.removeAt(1);
    EXPECT_FALSE(lArray.insertAt(3, nullptr));
    int lLeft = 0;
    for (std::unique_ptr<int> const& lpNumber : lArray)
    {
        lLeft = lLeft * 10 + *lpNumber;
    }
    EXPECT_EQ(31, lLeft);
}

} // namespace
