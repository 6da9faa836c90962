// Bit streams: operations that the input chooses do the same in the stream and in a text of its bits.

#include "UtlBitStream.h"
#include "reference/Input.h"

#include <bitset>

namespace
{

using utl::BitStream;
using utl::test::require;
using Bytes = std::vector<unsigned char>;

std::string bitsOf(Bytes const& nBytes)
{
    std::string lBits;
    for (unsigned char const lByte : nBytes)
    {
        lBits += std::bitset<8>(lByte).to_string();
    }
    return lBits;
}

/// A stream beside the slow truth. The input chooses: two bytes for a choice, eight for a value, zeros behind its end.
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
            require(bitsOf(mMemory) == mBits); // nothing was written around the buffer
            if (below(mHasError ? 3 : 100) == 0)
            {
                clear(below(4) == 0);
            }
        }
    }

private:
    static constexpr unsigned int SIZE = 64;  // bytes
    static constexpr unsigned int GUARD = 16; // in front and behind
    static constexpr std::size_t NOWHERE = SIZE_MAX;

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
            mHasError = mHasError || lBits > lMax;
            return require(readValue(lMax, lBits, lAt) == std::stoull("0" + plainRead(lBits, lAt), nullptr, 2));
        case 1:
            writeValue(lMax, lValue, lBits, lAt);
            mHasError = mHasError || lBits > lMax;
            return plainWrite(std::bitset<72>(lValue).to_string().substr(72 - lBits), lBits, lAt);
        case 2:
            return readData(lBits, lAt);
        case 3:
            mStream.writeBitData(mData.data(), lBits, lAt);
            return plainWrite(bitsOf(mData).substr(0, lBits), lBits, lAt);
        case 4:
            return copy(lBits, lAt);
        case 5:
            return primitives(lValue);
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

    /// Where nBits that must be inside begin, of which nMoved move the position.
    std::size_t place(unsigned int nBits, std::size_t nMoved, int nAt)
    {
        unsigned long long const lStart = nAt == -1 ? mPosition : static_cast<unsigned int>(nAt);
        mHasError = mHasError || (nBits != 0 && (nAt < -1 || lStart + nBits > SIZE * 8));
        bool const lIsNowhere = mHasError || nBits == 0;
        mPosition += nAt == -1 && !lIsNowhere ? static_cast<unsigned int>(nMoved) : 0;
        return lIsNowhere ? NOWHERE : GUARD * 8 + static_cast<std::size_t>(lStart);
    }

    std::string plainRead(unsigned int nBits, int nAt)
    {
        std::size_t const lPlace = place(nBits, nBits, nAt);
        return lPlace == NOWHERE ? "" : mBits.substr(lPlace, nBits);
    }

    void plainWrite(std::string const& nText, unsigned int nBits, int nAt)
    {
        std::size_t const lPlace = place(nBits, nText.size(), nAt);
        if (lPlace != NOWHERE && !nText.empty())
        {
            mBits.replace(lPlace, nText.size(), nText);
            mSize = std::max(mSize, static_cast<unsigned int>(lPlace + nText.size()) - GUARD * 8);
        }
    }

    void readData(unsigned int nBits, int nAt)
    {
        std::string lExpected = bitsOf(mData);
        mStream.readBitData(mData.data(), nBits, nAt);
        std::string lText = plainRead(nBits, nAt);
        lText.resize((lText.size() + 7) / 8 * 8, '0');
        require(bitsOf(mData) == lExpected.replace(0, lText.size(), lText));
    }

    void copy(unsigned int nBits, int nAt)
    {
        BitStream lSource(mData.data(), SIZE + 1);
        lSource.seekBitOffset(nBits, 0);
        mStream.copy(lSource, nAt);
        std::size_t const lStart = nAt == -1 ? mPosition : static_cast<unsigned int>(nAt);
        unsigned int const lTail = nBits - nBits % 8;
        std::string const lData = bitsOf(mData);
        // Not at a byte: the bits left over come from one place further, a full last byte not at all.
        bool const lIsCrooked = lStart % 8 != 0;
        std::string const lText = lData.substr(0, lTail) + lData.substr(lTail + (lIsCrooked ? 1 : 0), nBits % 8);
        plainWrite(lIsCrooked && lTail == nBits && nBits != 0 ? lText.substr(0, nBits - 8) : lText, nBits, nAt);
        if (!lIsCrooked && !mHasError && lTail != nBits)
        {
            mBits.replace(GUARD * 8 + lStart + lTail, 8, lData, lTail, 8); // whole
        }
    }

    // They look neither at the error nor at the end.
    void primitives(unsigned long long nValue)
    {
        if (!mHasError && mPosition + 2 <= SIZE * 8)
        {
            require(mStream.readCurBit() == (plainRead(1, -1) == "1" ? 1 : 0));
            mStream.writeCurBit(static_cast<unsigned char>(nValue & 2));
            plainWrite((nValue & 2) != 0 ? "1" : "0", 1, -1);
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
        mBits = nIsZeroed ? std::string(mBits.size(), '0') : mBits;
        mPosition = 0;
        mSize = nIsZeroed ? 0 : mSize;
        mHasError = false;
    }

    std::uint8_t const* mpAt;
    std::uint8_t const* mpEnd;
    Bytes mMemory = Bytes(SIZE + 2 * GUARD);
    BitStream mStream{&mMemory[GUARD], SIZE};
    std::string mBits = bitsOf(mMemory); // what the memory must be
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
