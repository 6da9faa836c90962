// Bits read from and written to a buffer, the most significant first.
#include "UtlBitStream.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "UtlRawMemory.h"

namespace utl
{

namespace
{

unsigned int const WORD_SIZE = sizeof(std::uint64_t);

std::uint64_t bigEndian(std::uint64_t nWord)
{
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? __builtin_bswap64(nWord) : nWord;
}

std::uint64_t loadWord(unsigned char const* npBytes)
{
    std::uint64_t lWord;
    std::memcpy(&lWord, npBytes, WORD_SIZE);
    return bigEndian(lWord);
}

void storeWord(unsigned char* npBytes, std::uint64_t nWord)
{
    std::uint64_t const lWord = bigEndian(nWord);
    std::memcpy(npBytes, &lWord, WORD_SIZE);
}

// Replaces those bits of a byte that are set in the mask.
void mergeByte(unsigned char& nByte, unsigned int nBits, unsigned int nMask)
{
    nByte = static_cast<unsigned char>((nByte & ~nMask) | (nBits & nMask));
}

} // namespace

BitStream::BitStream()
    : mpBuffer(nullptr),
      mByteSize(0),
      mBitPosition(0),
      mBitSize(0),
      mHasError(false)
{
}

BitStream::BitStream(unsigned char* npBuffer, unsigned int nSize)
    : BitStream()
{
    setBitStream(npBuffer, nSize);
}

BitStream::BitStream(BitStream const& nOther)
    : BitStream()
{
    *this = nOther;
}

#pragma GCC diagnostic push
#if !defined(__clang__) && __GNUC__ < 12
#pragma GCC diagnostic ignored "-Wpragmas"
#endif
#pragma GCC diagnostic ignored "-Winfinite-recursion" // kept on purpose, see the header
BitStream& BitStream::operator=(BitStream const& nOther)
{
    // A volatile access behind the call, or the compiler may make an endless loop of it, or nothing at all.
    int volatile lDepth = 0;
    BitStream& lResult = *this = nOther;
    static_cast<void>(lDepth);
    return lResult;
}
#pragma GCC diagnostic pop

BitStream::~BitStream()
{
    clear(false);
    mpBuffer = nullptr;
    mByteSize = 0;
}

bool BitStream::setBitStream(unsigned char* npBuffer, unsigned int nSize)
{
    if (npBuffer == nullptr || nSize == 0)
    {
        return false;
    }
    mpBuffer = npBuffer;
    mByteSize = nSize;
    mBitSize = 0;
    clear(false);
    return true;
}

void BitStream::clear(bool nZeroFill)
{
    mBitPosition = 0;
    mHasError = false;
    if (nZeroFill && mpBuffer != nullptr)
    {
        mBitSize = 0;
        fillMemory(mpBuffer, mByteSize, 0);
    }
}

// --- Values ---

unsigned char BitStream::readBitToUint8(unsigned int nBits, int nPosition)
{
    return static_cast<unsigned char>(readBits(8, nBits, nPosition));
}

unsigned short BitStream::readBitToUint16(unsigned int nBits, int nPosition)
{
    return static_cast<unsigned short>(readBits(16, nBits, nPosition));
}

unsigned int BitStream::readBitToUint32(unsigned int nBits, int nPosition)
{
    return static_cast<unsigned int>(readBits(32, nBits, nPosition));
}

unsigned long long BitStream::readBitToUint64(unsigned int nBits, int nPosition)
{
    return readBits(64, nBits, nPosition);
}

void BitStream::writeBitToUint8(unsigned char nValue, unsigned int nBits, int nPosition)
{
    writeBits(nValue, 8, nBits, nPosition);
}

void BitStream::writeBitToUint16(unsigned short nValue, unsigned int nBits, int nPosition)
{
    writeBits(nValue, 16, nBits, nPosition);
}

void BitStream::writeBitToUint32(unsigned int nValue, unsigned int nBits, int nPosition)
{
    writeBits(nValue, 32, nBits, nPosition);
}

void BitStream::writeBitToUint64(unsigned long long nValue, unsigned int nBits, int nPosition)
{
    writeBits(nValue, 64, nBits, nPosition);
}

unsigned long long BitStream::readBits(unsigned int nMaxBits, unsigned int nBits, int nPosition)
{
    mHasError = mHasError || nBits > nMaxBits;
    if (mHasError || nBits == 0 || !isInside(nBits, nPosition))
    {
        return 0;
    }
    unsigned long long const lValue = fetch(startOf(nPosition), nBits);
    advance(nBits, nPosition);
    return lValue;
}

void BitStream::writeBits(unsigned long long nValue, unsigned int nMaxBits, unsigned int nBits, int nPosition)
{
    mHasError = mHasError || nBits > nMaxBits;
    if (mHasError || nBits == 0 || !isInside(nBits, nPosition))
    {
        return;
    }
    store(nValue, startOf(nPosition), nBits);
    advance(nBits, nPosition);
}

// --- Runs ---

void BitStream::readBitData(unsigned char* npData, unsigned int nBits, int nPosition)
{
    mHasError = mHasError || npData == nullptr;
    if (mHasError || nBits == 0 || !isInside(nBits, nPosition))
    {
        return;
    }
    unsigned int const lStart = startOf(nPosition);
    unsigned int const lCount = nBits / 8;
    unsigned int const lRest = nBits % 8;
    fetchBytes(npData, lStart, lCount);
    if (lRest != 0)
    {
        npData[lCount] = static_cast<unsigned char>(fetch(lStart + lCount * 8, lRest) << (8 - lRest));
    }
    advance(nBits, nPosition);
}

void BitStream::writeBitData(unsigned char const* npData, unsigned int nBits, int nPosition)
{
    mHasError = mHasError || npData == nullptr;
    if (mHasError || nBits == 0 || !isInside(nBits, nPosition))
    {
        return;
    }
    unsigned int const lStart = startOf(nPosition);
    unsigned int const lCount = nBits / 8;
    unsigned int const lRest = nBits % 8;
    storeBytes(npData, lStart, lCount);
    if (lRest != 0)
    {
        store(static_cast<unsigned int>(npData[lCount]) >> (8 - lRest), lStart + lCount * 8, lRest);
    }
    advance(nBits, nPosition);
}

void BitStream::copy(BitStream const& nSource, int nPosition)
{
    unsigned int const lBits = nSource.mBitSize;
    if (mHasError || lBits == 0 || !isInside(lBits, nPosition))
    {
        return;
    }
    unsigned int const lStart = startOf(nPosition);
    if (lStart % 8 == 0)
    {
        moveMemory(mpBuffer + lStart / 8, nSource.mpBuffer, nSource.getBitStreamSize());
        raiseBitSize(lStart + lBits);
        advance(lBits, nPosition);
        return;
    }
    // The remaining bits are one place too low, and a full last byte is left out: kept on purpose, see the header.
    unsigned int const lCount = nSource.getBitStreamSize() - 1;
    unsigned int const lRest = lBits % 8;
    storeBytes(nSource.mpBuffer, lStart, lCount);
    if (lRest != 0)
    {
        store(static_cast<unsigned int>(nSource.mpBuffer[lCount]) >> (7 - lRest), lStart + lCount * 8, lRest);
    }
    advance(lCount * 8 + lRest, nPosition);
}

// --- Position ---

void BitStream::seekBitOffset(unsigned int nOffset, int nOrigin)
{
    unsigned int const lFrom[] = {0, mBitPosition, mBitSize};
    if (nOrigin < 0 || nOrigin > 2 || lFrom[nOrigin] + nOffset > capacity())
    {
        mHasError = true;
        return;
    }
    mBitPosition = lFrom[nOrigin] + nOffset;
    raiseBitSize(mBitPosition);
}

unsigned char BitStream::readCurBit()
{
    unsigned int const lByte = mpBuffer[mBitPosition / 8];
    unsigned int const lShift = 7 - mBitPosition % 8;
    ++mBitPosition;
    return static_cast<unsigned char>(lByte >> lShift & 1U);
}

void BitStream::writeCurBit(unsigned char nBit)
{
    mergeByte(mpBuffer[mBitPosition / 8], nBit != 0 ? 0xFFU : 0U, 0x80U >> mBitPosition % 8);
    ++mBitPosition;
    raiseBitSize(mBitPosition);
}

// In bits, at most the highest position, so that sums of positions inside the buffer never wrap.
unsigned int BitStream::capacity() const
{
    return mByteSize <= UINT_MAX / 8 ? mByteSize * 8 : UINT_MAX;
}

// Sets the error if the range is not completely inside the buffer.
bool BitStream::isInside(unsigned int nBits, int nPosition)
{
    unsigned int const lCapacity = capacity();
    bool const lIsInside = nPosition >= -1 && nBits <= lCapacity && startOf(nPosition) <= lCapacity - nBits;
    mHasError = mHasError || !lIsInside;
    return lIsInside;
}

unsigned int BitStream::startOf(int nPosition) const
{
    return nPosition == -1 ? mBitPosition : static_cast<unsigned int>(nPosition);
}

void BitStream::advance(unsigned int nBits, int nPosition)
{
    mBitPosition += nPosition == -1 ? nBits : 0U;
}

void BitStream::raiseBitSize(unsigned int nBitPosition)
{
    mBitSize = std::max(mBitSize, nBitPosition);
}

// --- Transfers inside the buffer: by bytes, and by words if a run is off a byte boundary ---

unsigned long long BitStream::fetch(unsigned int nStart, unsigned int nBits) const
{
    unsigned char const* lpByte = mpBuffer + nStart / 8;
    unsigned int lRoom = 8 - nStart % 8; // bits of the byte from the start on
    unsigned int lLeft = nBits;
    unsigned long long lValue = 0;
    while (lLeft > lRoom)
    {
        lValue = lValue << lRoom | (*lpByte & 0xFFU >> (8 - lRoom));
        lLeft -= lRoom;
        lRoom = 8;
        ++lpByte;
    }
    return lValue << lLeft | (*lpByte >> (lRoom - lLeft) & 0xFFU >> (8 - lLeft));
}

void BitStream::store(unsigned long long nValue, unsigned int nStart, unsigned int nBits)
{
    unsigned char* lpByte = mpBuffer + nStart / 8;
    unsigned int lRoom = 8 - nStart % 8;
    unsigned int lLeft = nBits;
    while (lLeft > lRoom)
    {
        lLeft -= lRoom;
        mergeByte(*lpByte, static_cast<unsigned int>(nValue >> lLeft), 0xFFU >> (8 - lRoom));
        lRoom = 8;
        ++lpByte;
    }
    unsigned int const lShift = lRoom - lLeft;
    mergeByte(*lpByte, static_cast<unsigned int>(nValue << lShift), (0xFFU >> (8 - lLeft)) << lShift);
    raiseBitSize(nStart + nBits);
}

void BitStream::fetchBytes(unsigned char* npData, unsigned int nStart, unsigned int nCount) const
{
    unsigned char const* const lpFrom = mpBuffer + nStart / 8;
    unsigned int const lShift = nStart % 8;
    if (lShift == 0)
    {
        moveMemory(npData, lpFrom, nCount);
        return;
    }
    unsigned int lIndex = 0;
    for (; nCount - lIndex >= WORD_SIZE; lIndex += WORD_SIZE)
    {
        std::uint64_t const lNext = lpFrom[lIndex + WORD_SIZE];
        storeWord(npData + lIndex, loadWord(lpFrom + lIndex) << lShift | lNext >> (8 - lShift));
    }
    for (; lIndex < nCount; ++lIndex)
    {
        npData[lIndex] = static_cast<unsigned char>(lpFrom[lIndex] << lShift | lpFrom[lIndex + 1] >> (8 - lShift));
    }
}

void BitStream::storeBytes(unsigned char const* npData, unsigned int nStart, unsigned int nCount)
{
    if (nCount == 0)
    {
        return;
    }
    unsigned char* const lpTo = mpBuffer + nStart / 8;
    unsigned int const lShift = nStart % 8;
    raiseBitSize(nStart + nCount * 8);
    if (lShift == 0)
    {
        moveMemory(lpTo, npData, nCount);
        return;
    }
    mergeByte(lpTo[0], npData[0] >> lShift, 0xFFU >> lShift);
    unsigned int lIndex = 1;
    for (; nCount - lIndex >= WORD_SIZE; lIndex += WORD_SIZE)
    {
        std::uint64_t const lBefore = npData[lIndex - 1];
        storeWord(lpTo + lIndex, lBefore << (64 - lShift) | loadWord(npData + lIndex) >> lShift);
    }
    for (; lIndex < nCount; ++lIndex)
    {
        lpTo[lIndex] = static_cast<unsigned char>(npData[lIndex - 1] << (8 - lShift) | npData[lIndex] >> lShift);
    }
    unsigned int const lLast = static_cast<unsigned int>(npData[nCount - 1]) << (8 - lShift);
    mergeByte(lpTo[nCount], lLast, 0xFFU << (8 - lShift));
}

} // namespace utl
