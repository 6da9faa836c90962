// Taking a block from a pool that is nearly full and giving it back, compared with malloc and free of the same size.
// The pool is for all threads, while malloc has a cache for each: the lock alone, taken as often, is measured beside
// both.
#include "UtlMemoryPool.h"

#include <cstdlib>
#include <vector>

#include "support/Ratios.h"

namespace
{

constexpr unsigned int BLOCK_SIZE = 64;

/// One block in the middle and the last one are free; both are taken and given back.
void nearlyFullPool(benchmark::State& nState)
{
    unsigned int const lCount = static_cast<unsigned int>(nState.range(0));
    utl::MemoryPool lPool(BLOCK_SIZE, lCount, "bench");
    std::vector<void*> lBlocks;
    for (unsigned int lSlot = 0; lSlot < lCount; ++lSlot)
    {
        lBlocks.push_back(lPool.create());
    }
    lPool.release(lBlocks[lCount / 2]);
    lPool.release(lBlocks[lCount - 1]);
    for (auto lStep : nState)
    {
        void* const lpFirst = lPool.create();
        void* const lpSecond = lPool.create();
        benchmark::DoNotOptimize(lpFirst);
        benchmark::DoNotOptimize(lpSecond);
        lPool.release(lpFirst);
        lPool.release(lpSecond);
    }
    lPool.create();
    lPool.create();
    for (void* const lpBlock : lBlocks)
    {
        lPool.release(lpBlock);
    }
}

void heap(benchmark::State& nState)
{
    std::vector<void*> lBlocks;
    for (long lSlot = 0; lSlot < nState.range(0) - 2; ++lSlot)
    {
        lBlocks.push_back(std::malloc(BLOCK_SIZE));
    }
    for (auto lStep : nState)
    {
        void* lpFirst = std::malloc(BLOCK_SIZE);
        void* lpSecond = std::malloc(BLOCK_SIZE);
        benchmark::DoNotOptimize(lpFirst);
        benchmark::DoNotOptimize(lpSecond);
        std::free(lpFirst);
        std::free(lpSecond);
    }
    for (void* const lpBlock : lBlocks)
    {
        std::free(lpBlock);
    }
}

void lockAlone(benchmark::State& nState)
{
    utl::SyncObject lLock;
    for (auto lStep : nState)
    {
        for (int lTurn = 0; lTurn < 4; ++lTurn)
        {
            utl::SyncGuard lGuard(lLock);
            benchmark::ClobberMemory();
        }
    }
}

} // namespace

int main(int nCount, char** npValues)
{
    for (long lSlots : {16L, 256L, 4096L})
    {
        std::string const lGroup = "two blocks, pool of " + std::to_string(lSlots);
        benchmark::RegisterBenchmark((lGroup + "/utl").c_str(), nearlyFullPool)->Arg(lSlots);
        benchmark::RegisterBenchmark((lGroup + "/floor_malloc").c_str(), heap)->Arg(lSlots);
    }
    benchmark::RegisterBenchmark("the lock of two blocks/utl", lockAlone);
    benchmark::RegisterBenchmark("the lock of two blocks/floor_malloc", heap)->Arg(256);
    return utl::bench::runWithRatios(nCount, npValues);
}
