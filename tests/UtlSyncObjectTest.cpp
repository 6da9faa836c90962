#include "UtlSyncObject.h"

#include "support/Test.h"

#include <exception>

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

} // namespace
