#include "UtlMemoryPool.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Gate.h"
#include "support/Watchdog.h"

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
using Lines = std::vector<std::string>;

std::string error(std::string const& nText)
{
    return "<UTIL> ERR: utl::MemoryPool::" + nText;
}

TEST(MemoryPool, EmptyPoolRefusesEverything)
{
    utl::test::LogCapture lLog;
    MemoryPool lNone(16, 0, "none");
    MemoryPool lNothing(0, 4, "nothing");
    EXPECT_EQ((Lines{error("MemoryPool(): Number of memory is 0!! (none)"),
                     error("MemoryPool(): Memory size is 0!! (nothing)")}),
              lLog.lines());
    EXPECT_EQ(nullptr, lNone.create());
    EXPECT_EQ(nullptr, lNothing.create());
    lNone.release(&lNone);
    EXPECT_EQ(2U, lLog.lines().size());
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
        auto* const lpSecond = static_cast<unsigned char*>(lPool.create());
        ASSERT_EQ(lpFirst + 16, lpSecond);
        EXPECT_EQ(nullptr, lPool.create());
        lPool.release(nullptr);
        lPool.release(lpFirst);
        EXPECT_EQ(Lines{}, lLog.lines());

        std::uintptr_t const lBase = reinterpret_cast<std::uintptr_t>(lpFirst);
        std::uintptr_t const lHalf = ~std::uintptr_t(0) / 2;
        struct
        {
            std::uintptr_t mAddress;
            char const* mpReason;
        } const ROWS[] = {{lBase - 1, "Memory is management outside (under)!!"},
                          {lBase + lHalf + 1, "Memory is management outside (under)!!"},
                          {lBase + lHalf, "alignment error!!"},
                          {lBase + 1, "alignment error!!"},
                          {lBase + 31, "alignment error!!"},
                          {lBase + 32, "Memory is management outside (over)!!"},
                          {lBase + 16000, "Memory is management outside (over)!!"},
                          {lBase, "Memory is not active!!"}};
        for (auto const& lRow : ROWS)
        {
            lLog.clear();
            lPool.release(reinterpret_cast<void*>(lRow.mAddress));
            EXPECT_EQ(Lines{error(std::string("release(): ") + lRow.mpReason + " (p)")}, lLog.lines());
        }
        EXPECT_EQ(lpFirst, lPool.create());
        lPool.release(lpFirst);
        lLog.clear();
    }
    EXPECT_EQ(Lines{error("~MemoryPool(): Memory leak!! (p) Slot=1")}, lLog.lines());
}

TEST(MemoryPool, GivesTheLowestFreeBlockAndKeepsItsContent)
{
    utl::test::QuietLog lQuiet; // blocks stay in use
    std::mt19937 lRandom(1);
    for (unsigned int lCount : {1U, 31U, 32U, 33U, 63U, 64U, 65U, 130U})
    {
        MemoryPool lPool(3, lCount, "p");
        std::set<unsigned int> lFree;
        for (unsigned int lSlot = 0; lSlot < lCount; ++lSlot)
        {
            lFree.insert(lSlot);
        }
        auto* const lpBase = static_cast<unsigned char*>(lPool.create());
        lPool.release(lpBase);
        std::vector<unsigned char> lContent(lCount);
        for (int lStep = 0; lStep < 3000; ++lStep)
        {
            unsigned int const lSlot = static_cast<unsigned int>(lRandom() % lCount);
            if (lStep % 100 < 60 || lFree.count(lSlot) != 0) // fills up, then thins out
            {
                auto* const lpBlock = static_cast<unsigned char*>(lPool.create());
                ASSERT_EQ(lFree.empty() ? nullptr : lpBase + 3 * *lFree.begin(), lpBlock);
                if (lpBlock != nullptr)
                {
                    unsigned int const lLowest = *lFree.begin();
                    EXPECT_EQ(lContent[lLowest], lpBlock[2]);
                    std::memset(lpBlock, lContent[lLowest] = static_cast<unsigned char>(lLowest + 1), 3);
                    lFree.erase(lLowest);
                }
            }
            else
            {
                EXPECT_EQ(lContent[lSlot], lpBase[3 * lSlot]);
                lPool.release(lpBase + 3 * lSlot);
                lFree.insert(lSlot);
            }
        }
    }
}

TEST(MemoryPool, ReportsAroundTheWaitForItsLock)
{
    std::string const lFile = "source/UtlMemoryPool";
    MemoryPool lPool(16, 2, "p");
    void* lpBlock = nullptr;
    for (std::string const& lCall : Lines{"create:82", "release:144"})
    {
        std::string lAfterWait;
        auto const lUser = [&]
        {
            utl::test::Watched lWatched;
            lpBlock == nullptr ? void(lpBlock = lPool.create()) : lPool.release(lpBlock);
            lAfterWait = lastReport(lFile);
        };
        std::thread lThread;
        {
            utl::SyncGuard lGuard(utl::MemoryPoolTestPeer::lock(lPool));
            lThread = std::thread(lUser);
            EXPECT_TRUE(utl::test::waitUntil([&] { return lastReport(lFile) == lCall + ":1"; }));
        }
        lThread.join();
        EXPECT_EQ(lCall + ":2", lAfterWait);
    }
    utl::test::Watched lWatched;
    lpBlock = lPool.create();
    EXPECT_EQ("create:82:2", lastReport(lFile));
    lPool.release(lpBlock);
    EXPECT_EQ("release:144:2", lastReport(lFile));
}

TEST(MemoryPool, NoBlockHasTwoHolders)
{
    utl::test::LogCapture lLog;
    {
        MemoryPool lPool(sizeof(int), 3, "p");
        auto const lUse = [&](int nMark)
        {
            for (int lRound = 0; lRound < 2000; ++lRound)
            {
                if (auto* const lpBlock = static_cast<int*>(lPool.create()))
                {
                    *lpBlock = nMark;
                    EXPECT_EQ(nMark, *lpBlock); // the race check sees a second writer
                    lPool.release(lpBlock);
                }
            }
        };
        utl::test::together([&] { lUse(1); }, [&] { lUse(2); });
    }
    EXPECT_EQ(Lines{}, lLog.lines());
}

} // namespace
