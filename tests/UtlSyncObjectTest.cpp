#include "UtlSyncObject.h"

#include "support/Test.h"

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
    {
        utl::SyncGuard lGuard(lLock);
        lLock.unlock();
        EXPECT_FALSE(othersCanLock(lLock));
    }
    EXPECT_TRUE(othersCanLock(lLock));
}

} // namespace
