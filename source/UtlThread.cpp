// A thread: its start through the registry, its stages, its stop.
#include "UtlThread.h"

#include "UtlThreadManager.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/base/UtlThreadSlots.h"

#include <cerrno>
#include <ctime>
#include <new>

namespace utl
{

namespace
{

bool isStage(int nStage)
{
    return nStage >= Thread::STAGE_STARTED && nStage <= Thread::STAGE_DONE;
}

void showStage(internal::ThreadSlot::Stage nStage)
{
    if (internal::tpOwnSlot != nullptr)
    {
        internal::tpOwnSlot->setStage(nStage);
    }
}

} // namespace

Thread::Thread(char const* npName, Command* npCommand)
    : mpCommand(npCommand),
      mName(npName, 0, 0),
      mStageEvents{{0, 0}, {0, 0}, {0, 0}, {0, 0}}
{
}

Thread::~Thread()
{
    stop(1, 0);
    awaitEnd();
}

void Thread::awaitEnd()
{
    if (mpEndEvent.get() != nullptr && mpEndEvent->isOff())
    {
        mHasRequestedStop = true;
        requestStop();
        awaitEndEvent(0);
    }
}

int Thread::start(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener, int nWaitStart,
                  unsigned int nWaitStartMs, ThreadPriority const& nPriority, unsigned int)
{
    ThreadOptions lOptions;
    lOptions.mUseWatchdog = nUseWatchdog == 1;
    lOptions.mAliveTimeMs = nAliveTimeMs;
    lOptions.mpWatchdogListener = npListener;
    lOptions.mPriority = nPriority;
    SyncGuard lGuard(mSyncObject);
    if (startLocked(lOptions) != Start::DONE)
    {
        return -1;
    }
    return nWaitStart == 1 ? waitTo(STAGE_PREPARED, nWaitStartMs) : 0;
}

Start Thread::tryStart(ThreadOptions const& nOptions)
{
    SyncGuard lGuard(mSyncObject);
    try
    {
        return startLocked(nOptions);
    }
    catch (std::bad_alloc const&)
    {
        return Start::NO_MEMORY;
    }
}

Start Thread::startLocked(ThreadOptions const& nOptions)
{
    bool const lIsAstray = mpEndEvent.get() != nullptr && mpEndEvent->isOff();
    if (hasDone(STAGE_STARTED) || lIsAstray)
    {
        return Start::STARTED_ONCE;
    }
    // Clears what a run outside the registry may have left behind.
    mIsDone = false;
    mStageEvents[STAGE_PREPARED].setOff();
    mStageEvents[STAGE_DONE].setOff();
    int lId = 0;
    Start const lStart =
        ThreadManager::get()->entryWithEvent(&Thread::startImpl, this, mName.c_str(), nOptions, &lId, &mpEndEvent);
    mId = lId;
    if (lStart == Start::DONE)
    {
        mRegistryVersion.store(ThreadManager::version(), std::memory_order_release);
        mStageEvents[STAGE_STARTED].setOn();
    }
    return lStart;
}

void Thread::startImpl(void* npThread)
{
    Thread& lThread = *static_cast<Thread*>(npThread);
    lThread.mId = ThreadManager::getCallerId(); // start() may set it only later
    showStage(internal::ThreadSlot::STAGE_STARTING);
    lThread.preExecute();
    lThread.mStageEvents[STAGE_PREPARED].setOn();
    showStage(internal::ThreadSlot::STAGE_RUNNING);
    unsigned int const lResult = lThread.execute();
    lThread.postExecute();
    lThread.mResult = lResult;
    lThread.mIsDone = true;
    showStage(internal::ThreadSlot::STAGE_DONE);
    lThread.mStageEvents[STAGE_DONE].setOn();
}

int Thread::stop(int nWait, unsigned int nTimeoutMs)
{
    {
        SyncGuard lGuard(mSyncObject);
        if (!hasDone(STAGE_STARTED) || hasDone(STAGE_DONE))
        {
            return -1;
        }
    }
    ThreadManager::get()->unregisterWatchdog(getId());
    mHasRequestedStop = true;
    mStageEvents[STAGE_STOP_REQUESTED].setOn();
    internal::showStopRequest(getId());
    requestStop();
    return nWait == 1 ? waitTo(STAGE_DONE, nTimeoutMs) : 0;
}

bool Thread::hasDone(int nStage) const
{
    return isStage(nStage) && mStageEvents[nStage].isOn() && (nStage != STAGE_DONE || !isRunning());
}

int Thread::waitTo(int nStage, unsigned int nTimeoutMs)
{
    if (!isStage(nStage))
    {
        return -1;
    }
    bool const lHasStarted = hasDone(STAGE_STARTED);
    if (!lHasStarted && nStage >= STAGE_STOP_REQUESTED)
    {
        return -1;
    }
    if (lHasStarted && nStage == STAGE_DONE)
    {
        return isInRegistry() ? awaitEndEvent(nTimeoutMs) : -1;
    }
    return mStageEvents[nStage].waitUntilOn(nTimeoutMs);
}

int Thread::awaitEndEvent(unsigned int nTimeoutMs) const
{
    internal::WaitShown const lShown(internal::waitWithin(internal::ThreadSlot::WAIT_END, nTimeoutMs),
                                     static_cast<internal::SlotWord>(getId()));
    return mpEndEvent->waitUntilOn(nTimeoutMs);
}

bool Thread::getResult(unsigned int* npResult) const
{
    if (!hasDone(STAGE_DONE) || npResult == nullptr)
    {
        return false;
    }
    *npResult = mResult;
    return true;
}

bool Thread::isRunning() const
{
    // As ThreadManager::isActive, but never about a later thread with the same id.
    return mRegistryVersion.load(std::memory_order_acquire) == ThreadManager::version() && mpEndEvent->isOff();
}

bool Thread::isInRegistry() const
{
    return mRegistryVersion.load(std::memory_order_acquire) == ThreadManager::version() &&
           ThreadManager::get()->stopEventOf(getId()).get() == mpEndEvent.get();
}

bool Thread::isInService() const
{
    return mRegistryVersion.load(std::memory_order_acquire) == ThreadManager::version() && !hasRequestedStop() &&
           !mIsDone.load(std::memory_order_acquire);
}

bool Thread::leaveManagement()
{
    return isInRegistry() && ThreadManager::get()->unregister(getId());
}

void Thread::sleep(unsigned int nMs)
{
    int const lMs = static_cast<int>(nMs);
    timespec lRest{lMs / 1000, (lMs % 1000) * 1000000L};
    internal::retryOnSignal([&] { return internal::gSystem.mNanosleep(&lRest, &lRest); });
}

void Thread::keepAliveWatchdog(StatementInfo const& nStatement)
{
    ThreadManager::get()->keepAliveWatchdog(nStatement);
}

bool Thread::setPriority(ThreadPriority const& nPriority)
{
    return ThreadManager::get()->setPriority(getId(), nPriority);
}

bool Thread::getPriority(ThreadPriority* npPriority) const
{
    return isRunning() && ThreadManager::get()->getPriority(getId(), npPriority);
}

bool Thread::setWatchdogAliveTime(unsigned int nAliveTimeMs)
{
    return ThreadManager::get()->setWatchdogAliveTime(nAliveTimeMs, getId());
}

bool Thread::startWatchdog()
{
    return ThreadManager::get()->startWatchdog(getId());
}

bool Thread::stopWatchdog()
{
    return ThreadManager::get()->stopWatchdog(getId());
}

void Thread::preExecute() {}

unsigned int Thread::execute()
{
    return mpCommand != nullptr ? mpCommand->execute() : ~0U;
}

void Thread::postExecute() {}

void Thread::requestStop() {}

} // namespace utl
