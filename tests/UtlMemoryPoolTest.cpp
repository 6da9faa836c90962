#include "UtlMemoryPool.h"

#include "support/Test.h"
#include "support/Watchdog.h"

#include <cstdint>
#include <new>
#include <random>

namespace utl
{

class MemoryPoolTestPeer
{
public:
    static SyncObject& lock(MemoryPool& nPool) { return nPool.mSyncObject; }
};

} // namespace utl

namespace
{

using utl::MemoryPool;
using utl::test::lastReport;
using utl::test::LogLines;

std::string error(std::string const& nText)
{
    return "<UTIL> ERR: utl::MemoryPool::" + nText;
}

TEST(MemoryPool, EmptyPoolRefusesEverything)
{
    utl::test::LogCapture lLog;
    MemoryPool lNone(16, 0, "none");
    MemoryPool lNothing(0, 4, "nothing");
    EXPECT_EQ(nullptr, lNone.create());
    EXPECT_EQ(nullptr, lNothing.create());
    lNone.release(&lNone);
    EXPECT_EQ((LogLines{error("MemoryPool(): Number of memory is 0!! (none)"),
                        error("MemoryPool(): Memory size is 0!! (nothing)")}),
              lLog.lines());
    if (sizeof(std::size_t) == 4) // the product would be 0, and half the address space can be had
    {
        EXPECT_THROW(MemoryPool(0x10000, 0x10000, "huge"), std::bad_alloc);
    }
}

TEST(MemoryPool, ReportsMisuseAndLeaks)
{
    utl::test::LogCapture lLog;
    {
        MemoryPool lPool(16, 2, "p");
        auto* const lpFirst = static_cast<unsigned char*>(lPool.create());
        ASSERT_EQ(lpFirst + 16, lPool.create());
        lPool.release(nullptr);
        lPool.release(lpFirst);
        EXPECT_EQ(LogLines{}, lLog.lines());

        std::uintptr_t const lHalf = ~std::uintptr_t(0) / 2;
        struct
        {
            std::uintptr_t mOffset;
            char const* mpReason;
        } const ROWS[] = {{~std::uintptr_t(0), "Memory is management outside (under)!!"},
                          {lHalf + 1, "Memory is management outside (under)!!"},
                          {lHalf, "alignment error!!"},
                          {31, "alignment error!!"},
                          {32, "Memory is management outside (over)!!"},
                          {0, "Memory is not active!!"}};
        for (auto const& lRow : ROWS)
        {
            lLog.clear();
            lPool.release(reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(lpFirst) + lRow.mOffset));
            EXPECT_EQ(LogLines{error(std::string("release(): ") + lRow.mpReason + " (p)")}, lLog.lines());
        }
        lLog.clear();
    }
    EXPECT_EQ(LogLines{error("~MemoryPool(): Memory leak!! (p) Slot=1")}, lLog.lines());
}

TEST(MemoryPool, GivesTheLowestFreeBlockAndKeepsItsContent)
{
    utl::test::QuietLog lQuiet; // blocks stay in use
    std::mt19937 lRandom(1);
    for (unsigned int lCount : {1U, 31U, 32U, 33U, 64U, 65U, 130U})
    {
        MemoryPool lPool(3, lCount, "p");
        auto* const lpBase = static_cast<unsigned char*>(lPool.create());
        lPool.release(lpBase);
        std::vector<unsigned char> lContent(lCount);
        std::string lUsed(lCount, 'n');
        for (int lStep = 0; lStep < 3000; ++lStep)
        {
            std::size_t lSlot = lRandom() % lCount;
            if (lStep % 100 >= 60 && lUsed[lSlot] == 'y') // fills up, then thins out
            {
                lPool.release(lpBase + 3 * lSlot);
                lUsed[lSlot] = 'n';
                continue;
            }
            lSlot = lUsed.find('n');
            auto* const lpBlock = static_cast<unsigned char*>(lPool.create());
            ASSERT_EQ(lSlot == lUsed.npos ? nullptr : lpBase + 3 * lSlot, lpBlock);
            if (lpBlock != nullptr)
            {
                EXPECT_EQ(lContent[lSlot], lpBlock[2]);
                lpBlock[0] = lpBlock[2] = lContent[lSlot] = static_cast<unsigned char>(lStep);
                lUsed[lSlot] = 'y';
            }
        }
    }
}

// So it has waited: each of the two takes the lock.
TEST(MemoryPool, ReportsAroundTheWaitForItsLock)
{
    utl::ThreadManager::get(); // two first uses at once: one would find the watchdog not yet started
    std::string const lFile = "source/UtlMemoryPool";
    MemoryPool lPool(16, 2, "p");
    void* lpBlock = nullptr;
    for (std::string const& lCall : LogLines{"create:82", "release:144"})
    {
        std::string lAfterWait;
        std::thread lThread;
        {
            utl::SyncGuard lGuard(utl::MemoryPoolTestPeer::lock(lPool));
            lThread = std::thread(
                [&]
                {
                    utl::test::Watched lWatched;
                    lpBlock == nullptr ? void(lpBlock = lPool.create()) : lPool.release(lpBlock);
                    lAfterWait = lastReport(lFile);
                });
            EXPECT_TRUE(utl::test::waitUntil([&] { return lastReport(lFile) == lCall + ":1"; }));
        }
        lThread.join();
        EXPECT_EQ(lCall + ":2", lAfterWait);
    }
}

} // namespace
