// SyncObject: the platform's recursive mutex, tried for a moment before the thread sleeps.
#include "UtlSyncObject.h"

#include "internal/base/UtlThreadSlots.h"

namespace utl
{

namespace
{

/// Does not touch the lock for a moment, so that its owner keeps the cache line.
void stayAway(int nPauses)
{
    for (int lPause = 0; lPause < nPauses; ++lPause)
    {
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#elif defined(__aarch64__) || (defined(__arm__) && __ARM_ARCH >= 7)
        __asm__ __volatile__("yield");
#else
        __asm__ __volatile__("");
#endif
    }
}

} // namespace

pthread_mutex_t const& internal::mutexOf(SyncObject const& nLock)
{
    return nLock.mMutex;
}

SyncObject::SyncObject()
{
    pthread_mutexattr_t lAttribute;
    pthread_mutexattr_init(&lAttribute);
    pthread_mutexattr_settype(&lAttribute, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mMutex, &lAttribute);
    pthread_mutexattr_destroy(&lAttribute);
}

SyncObject::~SyncObject()
{
    pthread_mutex_destroy(&mMutex);
}

void SyncObject::lock() const UTL_NO_THREAD_SAFETY_ANALYSIS
{
    // Most locks of the library are held for some ten nanoseconds: a few tries, with growing pauses, are cheaper
    // than going to sleep, and take less than one sleep if there is no second processor.
    int const LAST_PAUSES = 256;
    for (int lPauses = 64; pthread_mutex_trylock(&mMutex) != 0; lPauses *= 2)
    {
        if (lPauses > LAST_PAUSES)
        {
            internal::WaitShown const lShown(internal::ThreadSlot::WAIT_LOCK,
                                             reinterpret_cast<internal::SlotWord>(&mMutex));
            pthread_mutex_lock(&mMutex);
            return;
        }
        stayAway(lPauses);
    }
}

bool SyncObject::tryLock() const UTL_NO_THREAD_SAFETY_ANALYSIS
{
    return pthread_mutex_trylock(&mMutex) == 0;
}

void SyncObject::unlock() const UTL_NO_THREAD_SAFETY_ANALYSIS
{
    pthread_mutex_unlock(&mMutex);
}

} // namespace utl
