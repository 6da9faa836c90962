// Runs of bytes through BitStream: on a byte boundary compared with memcpy, off a boundary with the same run moved bit
// by bit and with memcpy; and fields of a packed header compared with shifts and masks written by hand.
#include "UtlBitStream.h"

#include <cstring>

#include "support/Ratios.h"

namespace
{

unsigned int const RUN = 4096; // bytes
unsigned int const SHIFT = 3;  // bits off the boundary

// Far from each other in their low address bits: if those are alike, processors stall now and then, and that
// would drown the rest.
struct Buffers
{
    alignas(64) unsigned char mMemory[2 * RUN + 2048] = {0x5A};
    unsigned char* const mpBuffer = mMemory;
    unsigned char* const mpData = mMemory + RUN + 1536;
    utl::BitStream mStream{mpBuffer, RUN + 1};
};

unsigned int volatile gRun = RUN; // not known to the compiler, in the floors neither

template <class Step>
void measure(benchmark::State& nState, unsigned int nBytes, Step nStep)
{
    Buffers lBuffers;
    for (auto lTurn : nState)
    {
        static_cast<void>(lTurn);
        nStep(lBuffers);
        benchmark::DoNotOptimize(lBuffers.mpData);
        benchmark::DoNotOptimize(lBuffers.mpBuffer);
        benchmark::ClobberMemory();
    }
    nState.SetBytesProcessed(static_cast<std::int64_t>(nState.iterations()) * nBytes);
}

void add(char const* npName, void (*npStep)(Buffers&), unsigned int nBytes = RUN)
{
    benchmark::RegisterBenchmark(npName, [=](benchmark::State& nState) { measure(nState, nBytes, npStep); });
}

void copyOut(Buffers& nBuffers)
{
    std::memcpy(nBuffers.mpData, nBuffers.mpBuffer, gRun);
}

void copyIn(Buffers& nBuffers)
{
    std::memcpy(nBuffers.mpBuffer, nBuffers.mpData, gRun);
}

void readBits(Buffers& nBuffers)
{
    nBuffers.mStream.seekBitOffset(SHIFT, 0);
    for (unsigned int lIndex = 0; lIndex < RUN; ++lIndex)
    {
        unsigned int lValue = 0;
        for (int lBit = 0; lBit < 8; ++lBit)
        {
            lValue = lValue << 1 | nBuffers.mStream.readCurBit();
        }
        nBuffers.mpData[lIndex] = static_cast<unsigned char>(lValue);
    }
}

void writeBits(Buffers& nBuffers)
{
    nBuffers.mStream.seekBitOffset(SHIFT, 0);
    for (unsigned int lIndex = 0; lIndex < RUN; ++lIndex)
    {
        for (int lBit = 7; lBit >= 0; --lBit)
        {
            nBuffers.mStream.writeCurBit(static_cast<unsigned char>(nBuffers.mpData[lIndex] >> lBit & 1));
        }
    }
}

// 4 + 12 + 1 + 15 + 32 bits, written and read back.
void fieldsByStream(Buffers& nBuffers)
{
    utl::BitStream& lStream = nBuffers.mStream;
    lStream.clear(false);
    lStream.writeBitToUint8(nBuffers.mpData[0], 4, -1);
    lStream.writeBitToUint16(nBuffers.mpData[1], 12, -1);
    lStream.writeBitToUint8(nBuffers.mpData[2], 1, -1);
    lStream.writeBitToUint16(nBuffers.mpData[3], 15, -1);
    lStream.writeBitToUint32(nBuffers.mpData[4], 32, -1);
    nBuffers.mpData[0] = lStream.readBitToUint8(4, 0);
    nBuffers.mpData[1] = static_cast<unsigned char>(lStream.readBitToUint16(12, 4));
    nBuffers.mpData[2] = lStream.readBitToUint8(1, 16);
    nBuffers.mpData[3] = static_cast<unsigned char>(lStream.readBitToUint16(15, 17));
    nBuffers.mpData[4] = static_cast<unsigned char>(lStream.readBitToUint32(32, 32));
}

void fieldsByHand(Buffers& nBuffers)
{
    unsigned char* const lpTo = nBuffers.mpBuffer;
    unsigned char* const lpData = nBuffers.mpData;
    auto const lStore = [](unsigned char* npTo, unsigned int nValue)
    {
        nValue = __builtin_bswap32(nValue);
        std::memcpy(npTo, &nValue, sizeof(nValue));
    };
    auto const lLoad = [](unsigned char const* npFrom)
    {
        unsigned int lValue;
        std::memcpy(&lValue, npFrom, sizeof(lValue));
        return __builtin_bswap32(lValue);
    };
    lStore(lpTo,
           (lpData[0] & 0xFU) << 28 | static_cast<unsigned int>(lpData[1]) << 16 | (lpData[2] & 1U) << 15 | lpData[3]);
    lStore(lpTo + 4, lpData[4]);
    benchmark::ClobberMemory();
    unsigned int const lFirst = lLoad(lpTo);
    lpData[0] = static_cast<unsigned char>(lFirst >> 28);
    lpData[1] = static_cast<unsigned char>(lFirst >> 16);
    lpData[2] = static_cast<unsigned char>(lFirst >> 15 & 1);
    lpData[3] = static_cast<unsigned char>(lFirst);
    lpData[4] = static_cast<unsigned char>(lLoad(lpTo + 4));
}

} // namespace

int main(int nCount, char** npValues)
{
    add("readAligned/utl", [](Buffers& nBuffers) { nBuffers.mStream.readBitData(nBuffers.mpData, gRun * 8, 0); });
    add("readAligned/floor", &copyOut);
    add("readUnaligned/utl", [](Buffers& nBuffers) { nBuffers.mStream.readBitData(nBuffers.mpData, gRun * 8, SHIFT); });
    add("readUnaligned/floor", &copyOut);
    add("readByBits/utl", &readBits); // against the unaligned run: how much faster that is
    add("readByBits/floor", [](Buffers& nBuffers) { nBuffers.mStream.readBitData(nBuffers.mpData, gRun * 8, SHIFT); });
    add("writeAligned/utl", [](Buffers& nBuffers) { nBuffers.mStream.writeBitData(nBuffers.mpData, gRun * 8, 0); });
    add("writeAligned/floor", &copyIn);
    add("writeUnaligned/utl",
        [](Buffers& nBuffers) { nBuffers.mStream.writeBitData(nBuffers.mpData, gRun * 8, SHIFT); });
    add("writeUnaligned/floor", &copyIn);
    add("writeByBits/utl", &writeBits);
    add("writeByBits/floor",
        [](Buffers& nBuffers) { nBuffers.mStream.writeBitData(nBuffers.mpData, gRun * 8, SHIFT); });
    add("fields/utl", &fieldsByStream, 8);
    add("fields/floor", &fieldsByHand, 8);
    return utl::bench::runWithRatios(nCount, npValues);
}
