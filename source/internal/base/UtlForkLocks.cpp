// Locks that are free in the child of a fork.
#include "internal/base/UtlForkLocks.h"

#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/base/UtlThreadSlots.h"

#include <atomic>
#include <new>

#include <pthread.h>

namespace utl::internal
{

namespace
{

std::atomic<SyncObject*> gLocks[FORK_RANKS] = {};

// Several threads may fork at once: each notes the locks that it took itself.
thread_local bool tIsTaken[FORK_RANKS] __attribute__((tls_model("initial-exec"))) = {};

void takeAll() UTL_NO_THREAD_SAFETY_ANALYSIS
{
    int lTriesLeft = 10000; // pauses of about a tenth of a millisecond, for all locks together
    for (int lRank = 0; lRank < FORK_RANKS; ++lRank)
    {
        SyncObject const* const lpLock = gLocks[lRank];
        while (lpLock != nullptr && !(tIsTaken[lRank] = lpLock->tryLock()) && --lTriesLeft > 0)
        {
            pauseBriefly();
        }
    }
}

void giveBack() UTL_NO_THREAD_SAFETY_ANALYSIS
{
    for (int lRank = FORK_RANKS - 1; lRank >= 0; --lRank)
    {
        if (tIsTaken[lRank])
        {
            tIsTaken[lRank] = false;
            gLocks[lRank].load()->unlock();
        }
    }
}

/// To the lock the child's thread is another one than that which took it: giving it back is refused, which only the
/// race checks believe to work, and it must be made anew.
void makeAnewInChild()
{
    giveBack();
    for (int lRank = 0; lRank < FORK_RANKS; ++lRank)
    {
        if (SyncObject* const lpLock = gLocks[lRank])
        {
            new (lpLock) SyncObject;
        }
    }
}

[[maybe_unused]] int const FORK_HANDLER = pthread_atfork(takeAll, giveBack, makeAnewInChild);

} // namespace

void freeInChild(ForkRank nRank, char const* npName, SyncObject& nLock)
{
    showLock(npName, mutexOf(nLock));
    gLocks[nRank] = &nLock;
}

SyncObject& calendarLock()
{
    struct Registered
    {
        Registered() { freeInChild(FORK_CALENDAR, "the calendar", mLock); }
        SyncObject mLock;
    };
    static Immortal<Registered> lLock;
    return lLock.get().mLock;
}

} // namespace utl::internal
