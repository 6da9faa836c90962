// The counter of counted holders, and closing a file descriptor.
#include "UtlSmartPointer.h"

#include "UtlApplog.h"
#include "internal/base/UtlSystemCalls.h"

namespace utl
{

RefCounter::~RefCounter() = default;

void RefCounter::addReference()
{
    SyncGuard lGuard(mLock);
    ++mCounter;
}

int RefCounter::dropReference()
{
    SyncGuard lGuard(mLock);
    return --mCounter;
}

int RefCounter::count() const
{
    SyncGuard lGuard(mLock);
    return mCounter;
}

GetRefCounterInterface::~GetRefCounterInterface() = default;

namespace internal
{

RefCounter* addReference(RefCounter* npCounter)
{
    if (npCounter != nullptr)
    {
        npCounter->addReference();
    }
    return npCounter;
}

bool dropReference(RefCounter* npCounter, char const* npClass)
{
    if (npCounter == nullptr)
    {
        return false;
    }
    int const lRefCount = npCounter->dropReference();
    if (lRefCount < 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "lRefCount(%d) < 0 in %s::release()", lRefCount, npClass);
    }
    return lRefCount == 0;
}

} // namespace internal

void DestructCloseFile::operator()(int nHandle) const
{
    if (nHandle != 0 && nHandle != -1)
    {
        internal::gSystem.mFsync(nHandle);
        internal::gSystem.mClose(nHandle);
    }
}

} // namespace utl
