// Bit streams: operations that the input chooses do the same in the stream and in the slow reference.

#include "UtlBitStream.h"
#include "reference/Input.h"

namespace
{

using utl::BitStream;
using utl::test::require;
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

/// A stream beside the slow truth, which moves bit by bit. The input chooses: two bytes for a choice, eight for a
/// value, zeros behind its end.
class BitStreamTwin
{
public:
    BitStreamTwin(std::uint8_t const* npData, std::size_t nSize)
        : mpAt(npData),
          mpEnd(npData + nSize)
    {
    }

    void run()
    {
        while (mpAt != mpEnd)
        {
            step();
            require(mStream.getBitPosition() == mPosition);
            require(mStream.getBitStreamBitSize() == mSize);
            require(mStream.getBitStreamSize() == (mSize + 7) / 8);
            require(mMemory == mExpected); // nothing was written around the buffer
            if (below(mHasError ? 3 : 100) == 0)
            {
                clear(below(4) == 0);
            }
        }
    }

private:
    static constexpr unsigned int SIZE = 64;  // bytes
    static constexpr unsigned int GUARD = 16; // in front and behind

    unsigned int below(unsigned int nLimit) { return static_cast<unsigned int>(take(2) % nLimit); }

    unsigned long long take(unsigned int nBytes)
    {
        unsigned long long lValue = 0;
        for (; nBytes > 0; --nBytes)
        {
            lValue = lValue << 8 | (mpAt != mpEnd ? *mpAt++ : 0U);
        }
        return lValue;
    }

    void step()
    {
        unsigned int const lMax = 8U << below(4);
        unsigned int const lKind = below(7);
        unsigned int const lBits = below(lKind < 2 ? lMax + 2 : (below(4) != 0 ? 140 : SIZE * 8 + 2));
        int const lAt = below(2) != 0 ? -1 : static_cast<int>(below(SIZE * 8)) - (below(64) == 0 ? 500 : 0);
        unsigned long long const lValue = take(8);
        mData[below(SIZE)] = static_cast<unsigned char>(lValue);
        switch (lKind)
        {
        case 0:
            require(readValue(lMax, lBits, lAt) == plainRead(lMax, lBits, lAt));
            break;
        case 1:
            writeValue(lMax, lValue, lBits, lAt);
            plainWrite(lMax, lValue, lBits, lAt);
            break;
        case 2:
            readData(lBits, lAt);
            break;
        case 3:
            mStream.writeBitData(mData.data(), lBits, lAt);
            writeRun(lBits, lBits, lAt, [&](unsigned int nIndex) { return bitOf(mData, nIndex); });
            break;
        case 4:
            copy(lBits, lAt);
            break;
        case 5:
            primitives(lValue);
            break;
        default:
            seek(lBits);
        }
    }

    unsigned long long readValue(unsigned int nMax, unsigned int nBits, int nAt)
    {
        return nMax == 8    ? mStream.readBitToUint8(nBits, nAt)
               : nMax == 16 ? mStream.readBitToUint16(nBits, nAt)
               : nMax == 32 ? mStream.readBitToUint32(nBits, nAt)
                            : mStream.readBitToUint64(nBits, nAt);
    }

    void writeValue(unsigned int nMax, unsigned long long nValue, unsigned int nBits, int nAt)
    {
        nMax == 8    ? mStream.writeBitToUint8(static_cast<unsigned char>(nValue), nBits, nAt)
        : nMax == 16 ? mStream.writeBitToUint16(static_cast<unsigned short>(nValue), nBits, nAt)
        : nMax == 32 ? mStream.writeBitToUint32(static_cast<unsigned int>(nValue), nBits, nAt)
                     : mStream.writeBitToUint64(nValue, nBits, nAt);
    }

    // nEach gets the place of each of nMoved bits, of nBits that must be inside, and its index in the run.
    template <class Each>
    void move(unsigned int nBits, unsigned int nMoved, int nAt, Each nEach)
    {
        unsigned long long const lStart = nAt == -1 ? mPosition : static_cast<unsigned int>(nAt);
        mHasError = mHasError || (nBits != 0 && (nAt < -1 || lStart + nBits > SIZE * 8));
        unsigned int const lCount = mHasError || nBits == 0 ? 0 : nMoved;
        for (unsigned int lIndex = 0; lIndex < lCount; ++lIndex)
        {
            nEach(GUARD * 8 + static_cast<unsigned int>(lStart) + lIndex, lIndex);
        }
        mPosition += nAt == -1 ? lCount : 0;
    }

    template <class Bit>
    void writeRun(unsigned int nBits, unsigned int nMoved, int nAt, Bit nBit)
    {
        move(nBits, nMoved, nAt,
             [&](unsigned int nPlace, unsigned int nIndex)
             {
                 setBit(mExpected, nPlace, nBit(nIndex));
                 mSize = std::max(mSize, nPlace - GUARD * 8 + 1);
             });
    }

    unsigned long long plainRead(unsigned int nMax, unsigned int nBits, int nAt)
    {
        unsigned long long lValue = 0;
        mHasError = mHasError || nBits > nMax;
        move(nBits, nBits, nAt,
             [&](unsigned int nPlace, unsigned int) { lValue = lValue << 1 | (bitOf(mExpected, nPlace) ? 1U : 0U); });
        return lValue;
    }

    void plainWrite(unsigned int nMax, unsigned long long nValue, unsigned int nBits, int nAt)
    {
        mHasError = mHasError || nBits > nMax;
        writeRun(nBits, nBits, nAt, [&](unsigned int nIndex) { return (nValue >> (nBits - 1 - nIndex) & 1) != 0; });
    }

    void readData(unsigned int nBits, int nAt)
    {
        Bytes lExpected(mData);
        mStream.readBitData(mData.data(), nBits, nAt);
        move(nBits, nBits, nAt,
             [&](unsigned int nPlace, unsigned int nIndex)
             {
                 lExpected[nIndex / 8] = nIndex % 8 == 0 ? static_cast<unsigned char>(0) : lExpected[nIndex / 8];
                 setBit(lExpected, nIndex, bitOf(mExpected, nPlace));
             });
        require(mData == lExpected);
    }

    void copy(unsigned int nBits, int nAt)
    {
        BitStream lSource(mData.data(), SIZE + 1);
        lSource.seekBitOffset(nBits, 0);
        mStream.copy(lSource, nAt);
        unsigned int const lStart = nAt == -1 ? mPosition : static_cast<unsigned int>(nAt);
        unsigned int const lTail = nBits - nBits % 8;
        // Not at a byte: the bits left over come from one place further, a full last byte not at all.
        bool const lIsCrooked = lStart % 8 != 0;
        writeRun(nBits, lIsCrooked && lTail == nBits ? nBits - 8 : nBits, nAt,
                 [&](unsigned int nIndex) { return bitOf(mData, nIndex + (lIsCrooked && nIndex >= lTail ? 1 : 0)); });
        if (!lIsCrooked && !mHasError && lTail != nBits)
        {
            mExpected[GUARD + (lStart + lTail) / 8] = mData[lTail / 8]; // whole
        }
    }

    // They look neither at the error nor at the end.
    void primitives(unsigned long long nValue)
    {
        if (!mHasError && mPosition + 2 <= SIZE * 8)
        {
            require(mStream.readCurBit() == plainRead(1, 1, -1));
            mStream.writeCurBit(static_cast<unsigned char>(nValue & 2));
            plainWrite(1, nValue >> 1 & 1, 1, -1);
        }
    }

    void seek(unsigned int nBits)
    {
        unsigned int const lOffset = below(2) != 0 ? nBits : 0U - nBits;
        int const lOrigin = static_cast<int>(below(4)) - (below(64) == 0 ? 1 : 0);
        mStream.seekBitOffset(lOffset, lOrigin);
        unsigned int const lTarget = lOffset + (lOrigin == 1 ? mPosition : (lOrigin == 2 ? mSize : 0U));
        bool const lIsGood = lOrigin >= 0 && lOrigin <= 2 && lTarget <= SIZE * 8;
        mHasError = mHasError || !lIsGood;
        mPosition = lIsGood ? lTarget : mPosition;
        mSize = lIsGood ? std::max(mSize, lTarget) : mSize;
    }

    void clear(bool nIsZeroed)
    {
        mStream.clear(nIsZeroed);
        mExpected = nIsZeroed ? Bytes(mExpected.size()) : mExpected;
        mPosition = 0;
        mSize = nIsZeroed ? 0 : mSize;
        mHasError = false;
    }

    std::uint8_t const* mpAt;
    std::uint8_t const* mpEnd;
    Bytes mMemory = Bytes(SIZE + 2 * GUARD);
    BitStream mStream{&mMemory[GUARD], SIZE};
    Bytes mExpected = mMemory;
    Bytes mData = Bytes(SIZE + 1);
    unsigned int mPosition = 0;
    unsigned int mSize = 0;
    bool mHasError = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    BitStreamTwin(npData, nSize).run();
    return 0;
}
