#include "UtlSyncObject.h"

#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "support/Gate.h"

namespace
{

bool othersCanLock(utl::SyncObjectBase const& nLock)
{
    bool lGot = false;
    std::thread(
        [&]
        {
            lGot = nLock.tryLock();
            if (lGot)
            {
                nLock.unlock();
            }
        })
        .join();
    return lGot;
}

TEST(SyncObject, IsFreeOnlyAfterAsManyUnlocksAsLocks)
{
    utl::SyncObject const lLock;
    lLock.lock();
    ASSERT_TRUE(lLock.tryLock());
    lLock.unlock();
    EXPECT_FALSE(othersCanLock(lLock));
    lLock.unlock();
    EXPECT_TRUE(othersCanLock(lLock));
}

TEST(SyncGuard, LetsGoWhenAnExceptionPasses)
{
    utl::SyncObject const lLock;
    try
    {
        utl::SyncGuard lGuard(lLock);
        EXPECT_FALSE(othersCanLock(lLock));
        throw std::runtime_error("passes");
    }
    catch (std::runtime_error const&)
    {
    }
    EXPECT_TRUE(othersCanLock(lLock));
}

TEST(SyncObject, ExcludesThreadsAlsoWhenTheyHaveToSleep)
{
    utl::SyncObject lLock;
    int lCount = 0;
    auto lAdd = [&]
    {
        for (int i = 0; i < 20000; ++i)
        {
            utl::SyncGuard lGuard(lLock);
            ++lCount;
        }
    };
    utl::test::together(lAdd, lAdd);
    EXPECT_EQ(40000, lCount);
}

} // namespace
