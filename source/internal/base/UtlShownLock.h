/// A lock of the process, with a name for the dump. Layer: internal, above the lock.
#ifndef UTL_SHOWN_LOCK_H
#define UTL_SHOWN_LOCK_H

#include "UtlSyncObject.h"
#include "internal/base/UtlThreadSlots.h"

namespace utl::internal
{

/// A SyncObject that the dump shows. It and npName live as long as the process.
struct ShownLock : SyncObject
{
    explicit ShownLock(char const* npName) { showLock(npName, mutexOf(*this)); }
};

} // namespace utl::internal

#endif
