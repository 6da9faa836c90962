#include "UtlSyncObject.h"

#include <exception>
#include <thread>

#include <gtest/gtest.h>

#include "support/Gate.h"

namespace
{

bool othersCanLock(utl::SyncObjectBase const& nLock)
{
    bool lGot = false;
    auto const lTry = [&]
    {
        lGot = nLock.tryLock();
        lGot ? nLock.unlock() : void();
    };
    utl::test::together(lTry);
    return lGot;
}

TEST(SyncObject, IsFreeOnlyAfterAsManyUnlocksAsLocks)
{
    utl::SyncObject const lLock;
    lLock.lock();
    ASSERT_TRUE(lLock.tryLock());
    lLock.unlock();
    EXPECT_FALSE(othersCanLock(lLock));
    try
    {
        utl::SyncGuard lGuard(lLock);
        lLock.unlock();
        EXPECT_FALSE(othersCanLock(lLock));
        throw std::exception(); // the guard lets go when an exception passes
    }
    catch (std::exception const&)
    {
    }
    EXPECT_TRUE(othersCanLock(lLock));
}

TEST(SyncObject, ExcludesThreadsAlsoWhenTheyHaveToSleep)
{
    utl::SyncObject lLock;
    int lCount = 0;
    auto const lAdd = [&]
    {
        for (int i = 0; i < 20000; ++i)
        {
            utl::SyncGuard lGuard(lLock);
            int const lOld = lCount;
            std::this_thread::yield(); // the other tries now
            lCount = lOld + 1;
        }
    };
    utl::test::together(lAdd, lAdd);
    EXPECT_EQ(40000, lCount);
}

} // namespace
