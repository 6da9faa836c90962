#include "UtlBitStream.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

using namespace utl;

namespace
{

using Bytes = std::vector<unsigned char>;

bool bitOf(Bytes const& nBytes, unsigned int nBit)
{
    return (nBytes[nBit / 8] >> (7 - nBit % 8) & 1) != 0;
}

void setBit(Bytes& nBytes, unsigned int nBit, bool nIsSet)
{
    unsigned int const lMask = 0x80U >> nBit % 8;
    nBytes[nBit / 8] = static_cast<unsigned char>(nIsSet ? nBytes[nBit / 8] | lMask : nBytes[nBit / 8] & ~lMask);
}

// The slow truth: one bool for each bit, moved one by one.
struct Reference
{
    std::vector<bool> mBits;
    unsigned int mPosition = 0;
    unsigned int mSize = 0;
    bool mHasError = false;

    // nEach gets each bit and its index in the run; nBits must be inside, nMoved of them are moved.
    template <class Each>
    void move(bool nIsWrite, unsigned int nBits, unsigned int nMoved, int nPosition, Each nEach)
    {
        unsigned long long const lStart = nPosition == -1 ? mPosition : static_cast<unsigned int>(nPosition);
        mHasError = mHasError || (nBits != 0 && (nPosition < -1 || lStart + nBits > mBits.size()));
        for (unsigned int lIndex = 0; !mHasError && nBits != 0 && lIndex < nMoved; ++lIndex)
        {
            unsigned int const lAt = static_cast<unsigned int>(lStart) + lIndex;
            nEach(mBits[lAt], lIndex);
            mSize = nIsWrite ? std::max(mSize, lAt + 1) : mSize;
            mPosition = nPosition == -1 ? lAt + 1 : mPosition;
        }
    }

    unsigned long long read(unsigned int nMaxBits, unsigned int nBits, int nPosition)
    {
        unsigned long long lValue = 0;
        mHasError = mHasError || nBits > nMaxBits;
        move(false, nBits, nBits, nPosition, [&](bool nBit, unsigned int) { lValue = lValue << 1 | (nBit ? 1U : 0U); });
        return lValue;
    }

    void write(unsigned long long nValue, unsigned int nMaxBits, unsigned int nBits, int nPosition)
    {
        mHasError = mHasError || nBits > nMaxBits;
        move(true, nBits, nBits, nPosition,
             [&](auto&& nBit, unsigned int nIndex) { nBit = (nValue >> (nBits - 1 - nIndex) & 1) != 0; });
    }

    void readData(Bytes& nData, unsigned int nBits, int nPosition)
    {
        move(false, nBits, nBits, nPosition,
             [&](bool nBit, unsigned int nIndex)
             {
                 nData[nIndex / 8] = nIndex % 8 == 0 ? static_cast<unsigned char>(0) : nData[nIndex / 8];
                 setBit(nData, nIndex, nBit);
             });
    }

    void writeData(Bytes const& nData, unsigned int nBits, int nPosition)
    {
        move(true, nBits, nBits, nPosition, [&](auto&& nBit, unsigned int nIndex) { nBit = bitOf(nData, nIndex); });
    }

    void copy(Bytes const& nSource, unsigned int nBits, int nPosition)
    {
        unsigned int const lStart = nPosition == -1 ? mPosition : static_cast<unsigned int>(nPosition);
        unsigned int const lTail = nBits - nBits % 8;
        if (lStart % 8 != 0) // the bits left over come from one place further, a full last byte not at all
        {
            move(true, nBits, lTail == nBits ? nBits - 8 : nBits, nPosition,
                 [&](auto&& nBit, unsigned int nIndex)
                 { nBit = bitOf(nSource, nIndex < lTail ? nIndex : nIndex + 1); });
            return;
        }
        writeData(nSource, nBits, nPosition);
        for (unsigned int lIndex = lTail; !mHasError && lTail != nBits && lIndex < lTail + 8; ++lIndex)
        {
            mBits[lStart + lIndex] = bitOf(nSource, lIndex);
        }
    }

    void seek(unsigned int nOffset, int nOrigin)
    {
        unsigned int const lTarget = nOffset + (nOrigin == 1 ? mPosition : (nOrigin == 2 ? mSize : 0U));
        bool const lIsGood = nOrigin >= 0 && nOrigin <= 2 && lTarget <= mBits.size();
        mHasError = mHasError || !lIsGood;
        mPosition = lIsGood ? lTarget : mPosition;
        mSize = lIsGood ? std::max(mSize, lTarget) : mSize;
    }

    Bytes bytes() const
    {
        Bytes lBytes(mBits.size() / 8);
        for (unsigned int lBit = 0; lBit < mBits.size(); ++lBit)
        {
            setBit(lBytes, lBit, mBits[lBit]);
        }
        return lBytes;
    }
};

unsigned long long readValue(BitStream& nStream, unsigned int nWidth, unsigned int nBits, int nPosition)
{
    return nWidth == 8    ? nStream.readBitToUint8(nBits, nPosition)
           : nWidth == 16 ? nStream.readBitToUint16(nBits, nPosition)
           : nWidth == 32 ? nStream.readBitToUint32(nBits, nPosition)
                          : nStream.readBitToUint64(nBits, nPosition);
}

void writeValue(BitStream& nStream, unsigned int nWidth, unsigned long long nValue, unsigned int nBits, int nPosition)
{
    nWidth == 8    ? nStream.writeBitToUint8(static_cast<unsigned char>(nValue), nBits, nPosition)
    : nWidth == 16 ? nStream.writeBitToUint16(static_cast<unsigned short>(nValue), nBits, nPosition)
    : nWidth == 32 ? nStream.writeBitToUint32(static_cast<unsigned int>(nValue), nBits, nPosition)
                   : nStream.writeBitToUint64(nValue, nBits, nPosition);
}

TEST(BitStream, DoesAMillionRandomOperationsLikeTheReference)
{
    unsigned int const SIZE = 64;
    unsigned int const GUARD = 16;
    std::mt19937_64 lRandom(20240229);
    auto const lBelow = [&](unsigned int nLimit) { return static_cast<unsigned int>(lRandom() % nLimit); };

    Bytes lMemory(SIZE + 2 * GUARD, 0);
    BitStream lStream(&lMemory[GUARD], SIZE);
    Reference lReference{std::vector<bool>(SIZE * 8)};
    Bytes lData(SIZE + 1);
    for (unsigned int lTurn = 0; lTurn < 1000000; ++lTurn)
    {
        unsigned int const lKind = lBelow(9);
        unsigned int const lWidth = 8U << lBelow(4);
        unsigned int const lBits = lBelow(lKind < 4 ? lWidth + 2 : (lBelow(4) != 0 ? 140 : SIZE * 8 + 2));
        int const lPosition = lBelow(2) != 0 ? -1 : static_cast<int>(lBelow(SIZE * 8)) - (lBelow(64) == 0 ? 500 : 0);
        unsigned long long const lValue = lRandom();
        lData[lBelow(SIZE)] = static_cast<unsigned char>(lValue);
        Bytes lExpected(lData);
        auto const lCase = [&]
        { return ::testing::Message() << lTurn << ": " << lKind << ", " << lBits << " at " << lPosition; };
        switch (lKind)
        {
        case 0:
        case 1:
            ASSERT_EQ(readValue(lStream, lWidth, lBits, lPosition), lReference.read(lWidth, lBits, lPosition))
                << lCase();
            break;
        case 2:
        case 3:
            writeValue(lStream, lWidth, lValue, lBits, lPosition);
            lReference.write(lValue, lWidth, lBits, lPosition);
            break;
        case 4:
            lStream.readBitData(lData.data(), lBits, lPosition);
            lReference.readData(lExpected, lBits, lPosition);
            ASSERT_EQ(lData, lExpected) << lCase();
            break;
        case 5:
            lStream.writeBitData(lData.data(), lBits, lPosition);
            lReference.writeData(lData, lBits, lPosition);
            break;
        case 6:
        {
            BitStream lSource(lData.data(), SIZE + 1);
            lSource.seekBitOffset(lBits, 0);
            lStream.copy(lSource, lPosition);
            lReference.copy(lData, lBits, lPosition);
            break;
        }
        case 7: // the primitives look neither at the error nor at the end
            if (!lReference.mHasError && lReference.mPosition + 2 <= SIZE * 8)
            {
                ASSERT_EQ(lStream.readCurBit(), lReference.read(1, 1, -1)) << lCase();
                lStream.writeCurBit(static_cast<unsigned char>(lBits & 2));
                lReference.write(lBits >> 1, 1, 1, -1);
            }
            break;
        default:
        {
            unsigned int const lOffset = lBelow(2) != 0 ? lBits : 0U - lBits;
            int const lOrigin = static_cast<int>(lBelow(4)) - (lBelow(64) == 0 ? 1 : 0);
            lStream.seekBitOffset(lOffset, lOrigin);
            lReference.seek(lOffset, lOrigin);
        }
        }
        ASSERT_EQ(lStream.getBitPosition(), lReference.mPosition) << lCase();
        ASSERT_EQ(lStream.getBitStreamBitSize(), lReference.mSize) << lCase();
        ASSERT_EQ(lStream.getBitStreamSize(), (lReference.mSize + 7) / 8);
        if (lTurn % 64 == 0)
        {
            ASSERT_EQ(Bytes(&lMemory[GUARD], &lMemory[GUARD] + SIZE), lReference.bytes()) << lCase();
        }
        if (lBelow(lReference.mHasError ? 3 : 100) == 0)
        {
            bool const lIsZeroed = lBelow(4) == 0;
            lStream.clear(lIsZeroed);
            lReference = lIsZeroed ? Reference{std::vector<bool>(SIZE * 8)}
                                   : Reference{lReference.mBits, 0, lReference.mSize, false};
        }
    }
    auto const lGuarded = Bytes(GUARD, 0);
    EXPECT_EQ(Bytes(lMemory.begin(), lMemory.begin() + GUARD), lGuarded);
    EXPECT_EQ(Bytes(lMemory.end() - GUARD, lMemory.end()), lGuarded);
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
