// Reading ahead of a file's caller, also across forks.
#include "internal/file/UtlReadAhead.h"

#include "internal/base/UtlThreadSlots.h"
#include "internal/file/UtlFileCalls.h"

#include <pthread.h>
#include <unistd.h>

namespace utl::internal
{

std::atomic<unsigned int> gForks{0};

namespace
{

// Not a SyncObject: that knows its owner by the thread id, which changes in the child of a fork.
pthread_mutex_t gWindowsLock = PTHREAD_MUTEX_INITIALIZER;
ReadAhead* gWindows = nullptr; // the list of those that have a window

int registerLock()
{
    showLock("the files that are read ahead", gWindowsLock);
    return pthread_atfork(ReadAhead::beforeFork, ReadAhead::afterFork, ReadAhead::afterFork);
}

[[maybe_unused]] int const FORK_HANDLERS = registerLock();

} // namespace

// Other threads may be reading. They use only their own position, so that moving the descriptor does not disturb
// them; when they go on they see that their position differs from the one left here.
void ReadAhead::beforeFork()
{
    ::pthread_mutex_lock(&gWindowsLock);
    for (ReadAhead* lpAhead = gWindows; lpAhead != nullptr; lpAhead = lpAhead->mpNext)
    {
        if (!lpAhead->isShared()) // a shared descriptor is at its position already
        {
            long long const lPosition = lpAhead->here();
            lpAhead->mLeftAtFork.store(lPosition, std::memory_order_relaxed);
            gSystem.mLseek(lpAhead->mHandle, lPosition, SEEK_SET);
        }
    }
    gForks.fetch_add(1, std::memory_order_relaxed);
}

void ReadAhead::afterFork()
{
    ::pthread_mutex_unlock(&gWindowsLock);
}

bool ReadAhead::beginSlowly()
{
    if (mpWindow != nullptr)
    {
        return adoptPosition();
    }
    long long const lPosition = seekFile(mHandle, 0, SEEK_CUR);
    if (lPosition == -1)
    {
        return false;
    }
    make(lPosition);
    return true;
}

// Takes over the shared position. There is a window.
bool ReadAhead::adoptPosition()
{
    // This thread may have been reading while another forked: no other process can have moved the descriptor since.
    bool const lIsOurs = !mIsAdopted && here() != mLeftAtFork.load(std::memory_order_relaxed);
    long long const lPosition = lIsOurs ? seekFile(mHandle, here(), SEEK_SET) : seekFile(mHandle, 0, SEEK_CUR);
    if (lPosition == -1)
    {
        return false;
    }
    mIsAdopted = true;
    if (mIsWritable || lPosition < mpWindow->mStart || lPosition > mpWindow->end())
    {
        restartAt(lPosition);
    }
    setHere(lPosition);
    return true;
}

bool ReadAhead::moveDescriptor()
{
    return seekFile(mHandle, here(), SEEK_SET) != -1;
}

bool ReadAhead::seekHere(long long nPosition)
{
    if (nPosition < mpWindow->mStart || nPosition > mpWindow->end())
    {
        if (seekFile(mHandle, nPosition, SEEK_SET) == -1)
        {
            return false;
        }
        mDescriptorAt = nPosition;
        restartAt(nPosition);
    }
    setHere(nPosition);
    return true;
}

bool ReadAhead::settle()
{
    if (mpWindow == nullptr)
    {
        return true;
    }
    bool const lIsThere = isShared() ? adoptPosition() : here() == mDescriptorAt || moveDescriptor();
    if (lIsThere)
    {
        drop();
    }
    return lIsThere;
}

long long ReadAhead::position() const
{
    bool const lIsOurs = mpWindow != nullptr && (!isShared() || (!mIsAdopted && here() != mLeftAtFork));
    return lIsOurs ? here() : seekFile(mHandle, 0, SEEK_CUR);
}

void ReadAhead::make(long long nPosition)
{
    mpWindow.reset(new FileWindow); // not zeroed
    restartAt(nPosition);
    setHere(nPosition);
    mDescriptorAt = nPosition;
    mIsAdopted = isShared();
    ::pthread_mutex_lock(&gWindowsLock);
    mpNext = gWindows;
    mpPrevious = nullptr;
    if (mpNext != nullptr)
    {
        mpNext->mpPrevious = this;
    }
    gWindows = this;
    ::pthread_mutex_unlock(&gWindowsLock);
}

void ReadAhead::drop()
{
    if (mpWindow == nullptr)
    {
        return;
    }
    ::pthread_mutex_lock(&gWindowsLock);
    (mpPrevious != nullptr ? mpPrevious->mpNext : gWindows) = mpNext;
    if (mpNext != nullptr)
    {
        mpNext->mpPrevious = mpPrevious;
    }
    ::pthread_mutex_unlock(&gWindowsLock);
    mpWindow.reset();
}

void ReadAhead::restartAt(long long nPosition)
{
    mpWindow->mStart = nPosition;
    mpWindow->mSize = 0;
}

} // namespace utl::internal
