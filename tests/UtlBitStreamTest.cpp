#include "UtlBitStream.h"

#include <random>

#include <gtest/gtest.h>

#include "support/BitStreamTwin.h"

using namespace utl;

namespace
{

struct RandomSource
{
    unsigned int below(unsigned int nLimit) { return static_cast<unsigned int>(mRandom() % nLimit); }
    unsigned long long value() { return mRandom(); }

    std::mt19937_64 mRandom{20240229};
};

TEST(BitStream, DoesRandomOperationsLikeTheReference)
{
    RandomSource lSource;
    utl::test::BitStreamTwin lTwin;
    for (unsigned int lTurn = 0; lTurn < 300000; ++lTurn)
    {
        ASSERT_TRUE(lTwin.step(lSource)) << lTurn << ": " << lTwin.what();
        ASSERT_TRUE(lTurn % 64 != 0 || lTwin.isMemoryAlike()) << lTurn << ": " << lTwin.what();
    }
}

TEST(BitStream, ErrorsStickUntilClearOrANewBuffer)
{
    unsigned char lBytes[2] = {0xA5, 0x0F};
    BitStream lStream(lBytes, 2);
    auto const lFails = [&](auto nOperation)
    {
        lStream.clear(false);
        nOperation();
        return lStream.readBitToUint8(4, 0) == 0;
    };
    EXPECT_FALSE(lFails([] {}));
    EXPECT_FALSE(lFails([&] { lStream.readBitData(lBytes, 0, -2); }));
    EXPECT_TRUE(lFails([&] { lStream.readBitToUint8(9, -1); }));
    EXPECT_TRUE(lFails([&] { lStream.readBitToUint64(1, -2); }));
    EXPECT_TRUE(lFails([&] { lStream.readBitToUint8(1, 16); }));
    EXPECT_TRUE(lFails([&] { lStream.readBitToUint8(8, 0x7FFFFFFF); }));
    EXPECT_TRUE(lFails([&] { lStream.readBitData(lBytes, 0xFFFFFFFFU, 8); })); // the sum would wrap
    EXPECT_TRUE(lFails([&] { lStream.readBitData(nullptr, 0, 0); }));
    EXPECT_TRUE(lFails([&] { lStream.writeBitData(nullptr, 0, 0); }));
    EXPECT_TRUE(lFails([&] { lStream.seekBitOffset(0, 3); }));
    EXPECT_TRUE(lFails([&] { lStream.seekBitOffset(17, 0); }));
    lStream.seekBitOffset(16, 0); // seeks in spite of the error
    EXPECT_EQ(lStream.getBitPosition(), 16U);

    EXPECT_FALSE(lStream.setBitStream(nullptr, 2));
    EXPECT_FALSE(lStream.setBitStream(lBytes, 0));
    EXPECT_EQ(lStream.getBitStreamBitSize(), 16U);
    EXPECT_TRUE(lStream.setBitStream(lBytes, 2));
    EXPECT_EQ(lStream.getBitStreamBitSize(), 0U);
    EXPECT_EQ(lStream.readBitToUint16(12, 4), 0x50F);

    BitStream lNone;
    lNone.clear(true);
    lNone.writeBitToUint8(1, 1, -1);
    EXPECT_EQ(lNone.getBitPosition(), 0U);
}

TEST(BitStreamDeathTest, CopiesEndInStackExhaustion)
{
    EXPECT_DEATH(
        {
            BitStream const lStream;
            BitStream const lCopy(lStream);
        },
        "");
}

} // namespace
