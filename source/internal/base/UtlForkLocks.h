/// The locks that are free in the child of a fork. Layer: internal, above the lock.
#ifndef UTL_FORK_LOCKS_H
#define UTL_FORK_LOCKS_H

#include "UtlSyncObject.h"

namespace utl::internal
{

/// The order in which fork() takes these locks. As with all locks, outer ones come first.
enum ForkRank
{
    FORK_COUNTERS, // numbered tick counters; outermost, because the log is written under it
    FORK_LOG_OUTPUT,
    FORK_LOG_TYPES,
    FORK_SCRATCH_ROWS,
    FORK_CALENDAR,
    FORK_RANKS
};

/// Makes a lock free, and the data that it guards consistent, in the child of every later fork: fork() waits until no
/// other thread has the lock. If the lock stays held, for example by a sink that waits for the thread that forks,
/// fork() waits for about a second; the lock is free in the child all the same. Call it once for each rank.
/// npName: for the dump. nLock: lives as long as the process.
void freeInChild(ForkRank nRank, char const* npName, SyncObject& nLock);

/// The C library's own lock for the time zone is not freed by a fork. So this lock is held around every call that
/// converts a time to calendar fields.
SyncObject& calendarLock();

} // namespace utl::internal

#endif
