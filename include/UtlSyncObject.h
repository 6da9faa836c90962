/// The lock and its scope guard. Layer: lock (lowest).
#ifndef UTL_SYNC_OBJECT_H
#define UTL_SYNC_OBJECT_H

#include "UtlMacros.h"

#include <pthread.h>

namespace utl
{

class SyncObject;

namespace internal
{
pthread_mutex_t const& mutexOf(SyncObject const& nLock); // the dump finds the lock's owner in it
} // namespace internal

/// The interface of a lock that a SyncGuard can hold. The operations are const so that const members of other classes
/// can lock.
/// Safety: that of the class behind it; see SyncObject.
class UTL_API UTL_CAPABILITY("lock") SyncObjectBase
{
public:
    virtual ~SyncObjectBase() = default;

    virtual void lock() const UTL_ACQUIRE() = 0;            ///< Waits until the caller owns the lock.
    virtual bool tryLock() const UTL_TRY_ACQUIRE(true) = 0; ///< Result: whether the caller owns it now. Does not wait.
    virtual void unlock() const UTL_RELEASE() = 0;          ///< Releases the lock. Only for the owner.
};

/// A recursive lock for the threads of one process.
///
///     SyncObject lLock;
///     {
///         SyncGuard const lGuard(lLock);   // to the end of the block
///         ++lCount;
///     }
///
/// Threads:  any. The owner may lock again, and must unlock as often as it locked.
/// Signals:  no. A handler that interrupts the owner would get the lock at once and find half-changed data.
/// Forks:    a lock that any thread held at the fork stays locked in the child for ever; the library releases some of
///           its own (docs/locks.md).
/// Blocking: lock() waits without limit, the others never.
/// Errors:   failures of the platform's calls are ignored.
class UTL_API SyncObject : public SyncObjectBase
{
public:
    SyncObject();
    ~SyncObject() override;
    SyncObject(SyncObject const&) = delete;
    SyncObject& operator=(SyncObject const&) = delete;

    /// Waits until the calling thread owns the lock. For the owner it adds a level at once. Before the thread sleeps it
    /// tries four times, with growing pauses of a few microseconds together.
    void lock() const override UTL_ACQUIRE();

    /// Result: true if the lock was free, or if the caller owns it and it has a level more now; otherwise false at
    /// once.
    bool tryLock() const override UTL_TRY_ACQUIRE(true);

    /// Removes a level; without levels the lock is free. A call by a thread that does not own it changes nothing.
    void unlock() const override UTL_RELEASE();

private:
    friend pthread_mutex_t const& internal::mutexOf(SyncObject const& nLock);

    mutable pthread_mutex_t mMutex;
};

/// Holds a lock from construction to the end of the scope, also if an exception leaves the scope. Does not own the
/// lock, which must outlive the guard.
/// Safety: that of the lock; construction waits for it.
class UTL_API UTL_SCOPED_CAPABILITY SyncGuard
{
public:
    /// Locks.
    explicit SyncGuard(SyncObjectBase const& nSyncObject) UTL_ACQUIRE(nSyncObject)
        : mSyncObject(nSyncObject)
    {
        mSyncObject.lock();
    }
    /// Unlocks.
    virtual ~SyncGuard() UTL_RELEASE() { mSyncObject.unlock(); }
    SyncGuard(SyncGuard const&) = delete;
    SyncGuard& operator=(SyncGuard const&) = delete;

private:
    SyncObjectBase const& mSyncObject;
};

} // namespace utl

#endif
