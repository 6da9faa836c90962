#include "UtlSyncObject.h"

namespace utl
{

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
    // Most locks of the library are held for some ten nanoseconds: a short, bounded try is cheaper than going to
    // sleep, and the bound is below the cost of one sleep where there is no second processor.
    int const MAX_TRIES = 64;
    for (int lTry = 0; lTry < MAX_TRIES; ++lTry)
    {
        if (pthread_mutex_trylock(&mMutex) == 0)
        {
            return;
        }
    }
    pthread_mutex_lock(&mMutex);
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
