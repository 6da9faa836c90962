// Blocks of one size from one allocation.
#include "UtlMemoryPool.h"

#include "UtlApplog.h"
#include "internal/thread/UtlBlockingCall.h"

#include <climits>
#include <cstdint>

namespace utl
{

namespace
{

constexpr unsigned int WORD_BITS = sizeof(unsigned long) * CHAR_BIT;

} // namespace

/// Holds the pool's lock. Waiting for it is a blocking call between two reports; if it is free at once, the
/// second report says it all.
class UTL_SCOPED_CAPABILITY MemoryPool::ReportedGuard
{
public:
    ReportedGuard(SyncObject const& nSyncObject, char const* npFunction, unsigned int nLine)
        UTL_ACQUIRE(nSyncObject) UTL_NO_THREAD_SAFETY_ANALYSIS // locked inside a lambda
        : mSyncObject(nSyncObject)
    {
        char const* const FILE_NAME = "source/UtlMemoryPool";
        ThreadManager* const lpManager = ThreadManager::get();
        if (mSyncObject.tryLock())
        {
            lpManager->keepAliveWatchdog(StatementInfo(FILE_NAME, npFunction, nLine, 2));
            return;
        }
        internal::blockingCall(lpManager, FILE_NAME, npFunction, nLine,
                               [this]() UTL_NO_THREAD_SAFETY_ANALYSIS
                               {
                                   mSyncObject.lock();
                                   return 0;
                               });
    }
    ~ReportedGuard() UTL_RELEASE() { mSyncObject.unlock(); }
    ReportedGuard(ReportedGuard const&) = delete;
    ReportedGuard& operator=(ReportedGuard const&) = delete;

private:
    SyncObject const& mSyncObject;
};

MemoryPool::MemoryPool(unsigned int nSlotSize, unsigned int nSlotCount, char const* npName)
    : mName(npName, 0, 0)
{
    if (nSlotCount == 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "utl::MemoryPool::MemoryPool(): Number of memory is 0!! (%s)",
               mName.c_str());
        return;
    }
    if (nSlotSize == 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "utl::MemoryPool::MemoryPool(): Memory size is 0!! (%s)", mName.c_str());
        return;
    }
    unsigned int const lLastWord = (nSlotCount - 1) / WORD_BITS;
    unsigned int const lUsedBits = (nSlotCount - 1) % WORD_BITS + 1;
    mpActive.reset(new Word[lLastWord + 1]());
    if (lUsedBits < WORD_BITS)
    {
        mpActive[lLastWord] = ~Word(0) << lUsedBits;
    }
    // If the product is beyond the address space, the allocator refuses it.
    std::size_t const lMax = static_cast<std::size_t>(-1);
    mpPool.reset(new unsigned char[nSlotSize > lMax / nSlotCount ? lMax : std::size_t(nSlotSize) * nSlotCount]());
    mSlotSize = nSlotSize;
    mSlotCount = nSlotCount;
}

MemoryPool::~MemoryPool()
{
    for (unsigned int lSlot = 0; lSlot < mSlotCount; ++lSlot)
    {
        if ((mpActive[lSlot / WORD_BITS] >> lSlot % WORD_BITS & 1U) != 0)
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "utl::MemoryPool::~MemoryPool(): Memory leak!! (%s) Slot=%lu",
                   mName.c_str(), static_cast<unsigned long>(lSlot));
        }
    }
}

void* MemoryPool::create()
{
    if (mSlotSize == 0)
    {
        return nullptr;
    }
    ReportedGuard lGuard(mSyncObject, "create", 82);
    unsigned int const lWords = (mSlotCount - 1) / WORD_BITS + 1;
    while (mFirstWord < lWords && mpActive[mFirstWord] == ~Word(0))
    {
        ++mFirstWord;
    }
    if (mFirstWord == lWords)
    {
        return nullptr;
    }
    Word& lWord = mpActive[mFirstWord];
    unsigned int const lBit = static_cast<unsigned int>(__builtin_ctzl(~lWord));
    lWord |= Word(1) << lBit;
    return mpPool.get() + std::size_t(mFirstWord * WORD_BITS + lBit) * mSlotSize;
}

void MemoryPool::release(void* npBlock)
{
    if (npBlock == nullptr || mSlotSize == 0)
    {
        return;
    }
    std::uintptr_t const lOffset =
        reinterpret_cast<std::uintptr_t>(npBlock) - reinterpret_cast<std::uintptr_t>(mpPool.get());
    if (static_cast<std::intptr_t>(lOffset) < 0)
    {
        return refuse("Memory is management outside (under)!!");
    }
    if (lOffset % mSlotSize != 0)
    {
        return refuse("alignment error!!");
    }
    std::uintptr_t const lSlot = lOffset / mSlotSize;
    if (lSlot >= mSlotCount)
    {
        return refuse("Memory is management outside (over)!!");
    }
    ReportedGuard lGuard(mSyncObject, "release", 144);
    unsigned int const lIndex = static_cast<unsigned int>(lSlot) / WORD_BITS;
    Word const lMask = Word(1) << lSlot % WORD_BITS;
    if ((mpActive[lIndex] & lMask) == 0)
    {
        return refuse("Memory is not active!!");
    }
    mpActive[lIndex] &= ~lMask;
    mFirstWord = lIndex < mFirstWord ? lIndex : mFirstWord;
}

void MemoryPool::refuse(char const* npReason) const
{
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "utl::MemoryPool::release(): %s (%s)", npReason, mName.c_str());
}

} // namespace utl
