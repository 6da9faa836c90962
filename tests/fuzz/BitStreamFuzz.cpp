// Bit streams: operations that the input chooses do the same in the stream and in the slow reference.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "UtlBitStream.h"
#include "reference/Input.h"

namespace
{

using utl::BitStream;
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

/// The slow truth: one bool for each bit, moved one by one.
struct BitReference
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

/// Two bytes for a choice, eight for a value; zeros behind the end.
struct Source
{
    unsigned int below(unsigned int nLimit) { return static_cast<unsigned int>(take(2) % nLimit); }
    unsigned long long value() { return take(8); }

    unsigned long long take(unsigned int nBytes)
    {
        unsigned long long lValue = 0;
        for (; nBytes > 0; --nBytes)
        {
            lValue = lValue << 8 | (mpAt != mpEnd ? *mpAt++ : 0U);
        }
        return lValue;
    }

    std::uint8_t const* mpAt;
    std::uint8_t const* mpEnd;
};

/// A stream beside the slow truth.
class BitStreamTwin
{
public:
    /// Does one operation in both. Result: whether results, positions and sizes are alike.
    bool step(Source& nSource)
    {
        unsigned int const lWidth = 8U << nSource.below(4);
        mKind = nSource.below(9);
        mBits = nSource.below(mKind < 4 ? lWidth + 2 : (nSource.below(4) != 0 ? 140 : SIZE * 8 + 2));
        mPosition =
            nSource.below(2) != 0 ? -1 : static_cast<int>(nSource.below(SIZE * 8)) - (nSource.below(64) == 0 ? 500 : 0);
        unsigned long long const lValue = nSource.value();
        mData[nSource.below(SIZE)] = static_cast<unsigned char>(lValue);
        bool lIsAlike = true;
        switch (mKind)
        {
        case 0:
        case 1:
            lIsAlike = readValue(mStream, lWidth, mBits, mPosition) == mReference.read(lWidth, mBits, mPosition);
            break;
        case 2:
        case 3:
            writeValue(mStream, lWidth, lValue, mBits, mPosition);
            mReference.write(lValue, lWidth, mBits, mPosition);
            break;
        case 4:
            lIsAlike = readDataAlike();
            break;
        case 5:
            mStream.writeBitData(mData.data(), mBits, mPosition);
            mReference.writeData(mData, mBits, mPosition);
            break;
        case 6:
        {
            BitStream lSource(mData.data(), SIZE + 1);
            lSource.seekBitOffset(mBits, 0);
            mStream.copy(lSource, mPosition);
            mReference.copy(mData, mBits, mPosition);
            break;
        }
        case 7:
            lIsAlike = primitivesAlike();
            break;
        default:
            seek(nSource);
        }
        lIsAlike = lIsAlike && mStream.getBitPosition() == mReference.mPosition &&
                   mStream.getBitStreamBitSize() == mReference.mSize &&
                   mStream.getBitStreamSize() == (mReference.mSize + 7) / 8;
        if (nSource.below(mReference.mHasError ? 3 : 100) == 0)
        {
            clear(nSource.below(4) == 0);
        }
        return lIsAlike;
    }

    /// Whether the buffers are alike, and nothing was written around ours.
    bool isMemoryAlike() const
    {
        Bytes const lGuard(GUARD, 0);
        Bytes lExpected(lGuard);
        Bytes const lBytes = mReference.bytes();
        lExpected.insert(lExpected.end(), lBytes.begin(), lBytes.end());
        lExpected.insert(lExpected.end(), lGuard.begin(), lGuard.end());
        return mMemory == lExpected;
    }

private:
    static constexpr unsigned int SIZE = 64; // bytes
    static constexpr unsigned int GUARD = 16;

    bool readDataAlike()
    {
        Bytes lExpected(mData);
        mStream.readBitData(mData.data(), mBits, mPosition);
        mReference.readData(lExpected, mBits, mPosition);
        return mData == lExpected;
    }

    // The primitives look neither at the error nor at the end.
    bool primitivesAlike()
    {
        if (mReference.mHasError || mReference.mPosition + 2 > SIZE * 8)
        {
            return true;
        }
        bool const lIsAlike = mStream.readCurBit() == mReference.read(1, 1, -1);
        mStream.writeCurBit(static_cast<unsigned char>(mBits & 2));
        mReference.write(mBits >> 1, 1, 1, -1);
        return lIsAlike;
    }

    void seek(Source& nSource)
    {
        unsigned int const lOffset = nSource.below(2) != 0 ? mBits : 0U - mBits;
        int const lOrigin = static_cast<int>(nSource.below(4)) - (nSource.below(64) == 0 ? 1 : 0);
        mStream.seekBitOffset(lOffset, lOrigin);
        mReference.seek(lOffset, lOrigin);
    }

    void clear(bool nIsZeroed)
    {
        mStream.clear(nIsZeroed);
        mReference = nIsZeroed ? BitReference{std::vector<bool>(SIZE * 8)}
                               : BitReference{mReference.mBits, 0, mReference.mSize, false};
    }

    Bytes mMemory = Bytes(SIZE + 2 * GUARD, 0);
    BitStream mStream{&mMemory[GUARD], SIZE};
    BitReference mReference{std::vector<bool>(SIZE * 8)};
    Bytes mData = Bytes(SIZE + 1);
    unsigned int mKind = 0;
    unsigned int mBits = 0;
    int mPosition = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    Source lSource{npData, npData + nSize};
    BitStreamTwin lTwin;
    while (lSource.mpAt != lSource.mpEnd)
    {
        utl::test::require(lTwin.step(lSource));
        utl::test::require(lTwin.isMemoryAlike());
    }
    return 0;
}
