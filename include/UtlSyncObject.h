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
pthread_mutex_t const& mutexOf(SyncObject const& nLock); // for the dump, which looks for its owner
} // namespace internal

/// What a SyncGuard can hold. The operations are const so that const members of other classes can lock.
/// Safety: that of the class behind it; see SyncObject.
class UTL_API UTL_CAPABILITY("lock") SyncObjectBase
{
public:
    virtual ~SyncObjectBase() = default;

    virtual void lock() const UTL_ACQUIRE() = 0;            ///< Waits until the caller owns it.
    virtual bool tryLock() const UTL_TRY_ACQUIRE(true) = 0; ///< Result: the caller owns it now. Does not wait.
    virtual void unlock() const UTL_RELEASE() = 0;          ///< Gives it up. Only for the owner.
};

/// A recursive lock, private to the process. Not copied.
///
/// Threads:  any. The owner may lock again and unlocks as often as it locked.
/// Signals:  no. A handler that interrupts the owner would pass at once, into half-changed data.
/// Forks:    one that is held stays held in the child for ever, also by the thread that forked; the library frees some
///           of its own (docs/locks.md).
/// Blocking: lock() waits without limit, the others never.
/// Errors:   failures of the platform's calls are not looked at.
class UTL_API SyncObject : public SyncObjectBase
{
public:
    SyncObject();
    ~SyncObject() override;
    SyncObject(SyncObject const&) = delete;
    SyncObject& operator=(SyncObject const&) = delete;

    /// Waits until the calling thread owns the lock; the owner passes at once, one level deeper. Tries four times,
    /// pausing longer after each, a few microseconds together, before it sleeps.
    void lock() const override UTL_ACQUIRE();

    /// Result: true when the lock was free or the caller's already, one level deeper; false, at once, otherwise.
    bool tryLock() const override UTL_TRY_ACQUIRE(true);

    /// Goes up one level; the last one frees the lock. A call by a thread that does not own it changes nothing.
    void unlock() const override UTL_RELEASE();

private:
    friend pthread_mutex_t const& internal::mutexOf(SyncObject const& nLock);

    mutable pthread_mutex_t mMutex;
};

/// Holds a lock from construction to the end of the scope, also if an exception leaves it.
/// Does not own the lock object, which must outlive the guard.
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
