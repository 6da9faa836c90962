/// Blocks of one size from one allocation. Layer: memory pool.
#ifndef UTL_MEMORY_POOL_H
#define UTL_MEMORY_POOL_H

#include "UtlBasicString.h"
#include "UtlMacros.h"
#include "UtlSyncObject.h"

#include <memory>

namespace utl
{

/// Hands out blocks of a fixed size, the lowest free one first. It checks each block that is given back, and reports
/// those still missing at the end. Only the constructor allocates; the first report to the watchdog also makes the
/// thread registry.
///
///     MemoryPool lPool(64, 8, "cards");           // 8 blocks of 64 bytes
///     if (void* const lpBlock = lPool.create())   // null: none is free
///     {
///         lPool.release(lpBlock);
///     }
///
/// Ownership: the blocks belong to the pool; none may be used after its destruction.
/// Threads:   create() and release() from any.
/// Signals:   no.
/// Forks:     the child has a pool and blocks of its own, unless the lock was held at the fork.
/// Blocking:  create() and release() wait for the pool's lock, between two reports to the watchdog; if the lock is
///            free, the first report is left out.
/// Locks:     mSyncObject, before the watchdog's.
/// Errors:    misuse is logged as an error, with the pool's name, and changes nothing.
/// Caution:   create() and release() report, and so use the registry; call ThreadManager::initializeEntryMax() before.
class UTL_API MemoryPool
{
public:
    /// nSlotSize:  bytes of a block. Blocks follow each other directly: what alignment they need must divide it, and is
    ///             at most that of a new-expression.
    /// nSlotCount: the number of blocks. If either number is 0, that is logged, and the pool stays empty for ever.
    /// npName:     for the log, copied; null counts as empty.
    MemoryPool(unsigned int nSlotSize, unsigned int nSlotCount, char const* npName);

    /// Logs each block that was not given back.
    /// Caution: such a block is freed all the same, and its user's pointer dangles; give all blocks back first.
    virtual ~MemoryPool();

    MemoryPool(MemoryPool const&) = delete;
    MemoryPool& operator=(MemoryPool const&) = delete;

    /// Hands out the lowest free block. At worst it looks at the whole pool, at 64 blocks (32 on 32 bits) in one step.
    /// Result: the block, zeroed if it was never used, otherwise as its last user left it; null, in silence, if none is
    ///         free.
    void* create();

    /// Gives a block back. npBlock: from create(); null does nothing. A pointer from elsewhere, one into a block, and
    /// one to a block that is free are reported, and change nothing.
    void release(void* npBlock);

private:
    friend class MemoryPoolTestPeer;
    using Word = unsigned long; // of flags, the lowest bit first
    class ReportedGuard;

    void refuse(char const* npReason) const;

    BasicString<char> const mName;           // constant
    unsigned int mSlotSize = 0;              // constant after construction; 0: empty
    unsigned int mSlotCount = 0;             // the same
    std::unique_ptr<unsigned char[]> mpPool; // constant pointer; a block belongs to who holds it
    SyncObject mSyncObject;
    std::unique_ptr<Word[]> mpActive UTL_GUARDED_BY(mSyncObject); // a bit for each block: 1 in use; above the last, 1
    unsigned int mFirstWord UTL_GUARDED_BY(mSyncObject) = 0;      // no word before it has a free block
};

} // namespace utl

#endif
