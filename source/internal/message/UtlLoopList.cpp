// The list of the running loops of the process.
#include "internal/message/UtlLoopList.h"

#include "UtlString.h"
#include "UtlSyncObject.h"
#include "UtlThread.h"
#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/base/UtlThreadSlots.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include <pthread.h>

namespace utl::internal
{

namespace
{

SyncObject& listLock()
{
    static Immortal<SyncObject> lLock;
    return lLock.get();
}

LoopList::Loop* gpFirst = nullptr; // under listLock()

/// For the child of a fork: none of the loops runs there, and the thread that held the lock does not exist.
void beginChild()
{
    gpFirst = nullptr;
    new (&listLock()) SyncObject;
}

/// Makes the lock before there can be a second thread, so that no fork finds it half constructed.
int registerForkHandler()
{
    showLock("the list of loops", mutexOf(listLock()));
    return pthread_atfork(nullptr, nullptr, &beginChild);
}

[[maybe_unused]] int const FORK_HANDLER = registerForkHandler();

} // namespace

void LoopList::enter(Loop& nLoop)
{
    SyncGuard lGuard(listLock());
    if (nLoop.mListing == Loop::BEFORE)
    {
        nLoop.mListing = Loop::LISTED;
        nLoop.mpNext = gpFirst;
        gpFirst = &nLoop;
    }
}

void LoopList::leave(Loop& nLoop)
{
    if (takeOut(nLoop))
    {
        while (nLoop.mPins.load(std::memory_order_acquire) != 0)
        {
            pauseBriefly();
        }
    }
}

/// Result: false if it is not in the list: its listener has forked, and this is the child.
bool LoopList::takeOut(Loop& nLoop)
{
    SyncGuard lGuard(listLock());
    nLoop.mListing = Loop::AFTERWARDS;
    Loop** lpLink = &gpFirst;
    while (*lpLink != nullptr && *lpLink != &nLoop)
    {
        lpLink = &(*lpLink)->mpNext;
    }
    bool const lIsThere = *lpLink != nullptr;
    if (lIsThere)
    {
        *lpLink = nLoop.mpNext;
    }
    return lIsThere;
}

LoopList::Loop* LoopList::findLocked(int nThreadId)
{
    Loop* lpLoop = gpFirst;
    while (lpLoop != nullptr && lpLoop->thread().getId() != nThreadId)
    {
        lpLoop = lpLoop->mpNext;
    }
    return lpLoop;
}

bool LoopList::look(int nThreadId, View* npView)
{
    SyncGuard lGuard(listLock());
    Loop* const lpLoop = findLocked(nThreadId);
    if (lpLoop != nullptr)
    {
        copyStrBase<char>(npView->mName, sizeof(npView->mName), lpLoop->thread().getName().c_str(), ~0U, 1);
        npView->mLedger = lpLoop->ledger();
    }
    return lpLoop != nullptr;
}

LoopList::Loop* LoopList::pinNext(Array<int, int const&> const& nThreadIds)
{
    SyncGuard lGuard(listLock());
    Loop* lpNext = nullptr;
    for (Loop* lpLoop = gpFirst; lpLoop != nullptr; lpLoop = lpLoop->mpNext)
    {
        bool const lIsNew =
            std::find(nThreadIds.begin(), nThreadIds.end(), lpLoop->thread().getId()) == nThreadIds.end();
        bool const lIsBetter = lpNext == nullptr || (lpLoop->mStopsFirst && !lpNext->mStopsFirst);
        lpNext = lIsNew && lIsBetter && !lpLoop->mIsApart ? lpLoop : lpNext;
    }
    if (lpNext != nullptr)
    {
        lpNext->mPins.fetch_add(1, std::memory_order_relaxed);
    }
    return lpNext;
}

int LoopList::askNext(Array<int, int const&> const& nThreadIds)
{
    Loop* const lpNext = pinNext(nThreadIds);
    if (lpNext == nullptr)
    {
        return 0;
    }
    struct Pinned
    {
        ~Pinned() { mLoop.mPins.fetch_sub(1, std::memory_order_release); }
        Loop& mLoop;
    } const lPinned{*lpNext};
    int const lThreadId = lpNext->thread().getId();
    lpNext->thread().stop(0, 0); // may call the application's requestStop(), which may stop other threads
    return lThreadId;
}

bool LoopList::describe(int nThreadId, char* npText, unsigned int nSize)
{
    SyncObject const& lLock = listLock();
    if (!lockSoon(lLock))
    {
        std::snprintf(npText, nSize, "the list of loops is locked");
        return true;
    }
    Loop const* const lpLoop = findLocked(nThreadId);
    if (lpLoop != nullptr)
    {
        lpLoop->describe(npText, nSize);
    }
    lLock.unlock();
    return lpLoop != nullptr;
}

bool LoopList::lockSoon(SyncObject const& nLock) UTL_NO_THREAD_SAFETY_ANALYSIS // the analysis does not follow the loop
{
    bool lIsOurs = nLock.tryLock();
    for (int lTriesLeft = 20; !lIsOurs && lTriesLeft > 0; --lTriesLeft)
    {
        pauseBriefly();
        lIsOurs = nLock.tryLock();
    }
    return lIsOurs;
}

} // namespace utl::internal
