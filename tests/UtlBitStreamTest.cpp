#include "UtlBitStream.h"

#include <gtest/gtest.h>

using namespace utl;

namespace
{

// Operations in any order: see tests/fuzz/BitStreamFuzz.cpp, which the tests run too.

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
    EXPECT_TRUE(lFails([&] { lStream.readBitToUint8(8, 0x7FFFFFFF); }));
    EXPECT_TRUE(lFails([&] { lStream.readBitData(lBytes, 0xFFFFFFFFU, 8); })); // the sum would wrap
    EXPECT_TRUE(lFails([&] { lStream.readBitData(nullptr, 0, 0); }));
    lStream.seekBitOffset(16, 0); // in spite of the error
    EXPECT_FALSE(lStream.setBitStream(nullptr, 2));
    EXPECT_EQ(lStream.getBitStreamBitSize(), 16U);
    EXPECT_TRUE(lStream.setBitStream(lBytes, 2));
    EXPECT_EQ(lStream.getBitStreamBitSize(), 0U);
    EXPECT_EQ(lStream.readBitToUint16(12, 4), 0x50F);

    BitStream lNone;
    lNone.writeBitToUint8(1, 1, -1);
    EXPECT_EQ(lNone.getBitPosition(), 0U);
}

TEST(BitStreamDeathTest, CopiesEndInStackExhaustion)
{
    BitStream const lStream;
    EXPECT_DEATH(BitStream(lStream).clear(true), "");
}

} // namespace
