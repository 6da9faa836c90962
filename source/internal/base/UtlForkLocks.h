/// The locks that are free in the child of a fork. Layer: internal, above the lock.
#ifndef UTL_FORK_LOCKS_H
#define UTL_FORK_LOCKS_H

#include "UtlSyncObject.h"

namespace utl::internal
{

/// The order in which a fork takes them, which is that of the locks in general: outer first.
enum ForkRank
{
    FORK_COUNTERS, // numbered tick counters; logs
    FORK_LOG_OUTPUT,
    FORK_LOG_TYPES,
    FORK_SCRATCH_ROWS,
    FORK_CALENDAR,
    FORK_RANKS
};

/// Frees a lock in the child of every later fork, with what it guards whole: fork() waits until nobody else has it.
/// npName: for the dump. nLock: lives as long as the process. Once for each rank.
/// A lock that stays held, by a sink that waits for the thread that forks, say, makes fork() wait for about a second;
/// then the lock is free in the child all the same.
void freeInChild(ForkRank nRank, char const* npName, SyncObject& nLock);

/// The C library has a lock of its own for the time zone, and a fork does not mind it: whoever asks it for the parts of
/// a time holds this one meanwhile.
SyncObject& calendarLock();

} // namespace utl::internal

#endif
