// The loops of the process that run.
#include "internal/message/UtlLoopList.h"

#include "UtlSyncObject.h"
#include "UtlThread.h"
#include "internal/base/UtlImmortal.h"

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

} // namespace

LoopList::Listed::Listed(Loop& nLoop)
    : mLoop(nLoop)
{
    SyncGuard lGuard(listLock());
    mLoop.mpNext = gpFirst;
    gpFirst = &mLoop;
}

LoopList::Listed::~Listed()
{
    SyncGuard lGuard(listLock());
    Loop** lpLink = &gpFirst;
    while (*lpLink != &mLoop)
    {
        lpLink = &(*lpLink)->mpNext;
    }
    *lpLink = mLoop.mpNext;
}

bool LoopList::describe(int nThreadId, char* npText, unsigned int nSize)
{
    SyncGuard lGuard(listLock());
    Loop* lpLoop = gpFirst;
    while (lpLoop != nullptr && lpLoop->thread().getId() != nThreadId)
    {
        lpLoop = lpLoop->mpNext;
    }
    if (lpLoop != nullptr)
    {
        lpLoop->describe(npText, nSize);
    }
    return lpLoop != nullptr;
}

} // namespace utl::internal
