// Elapsed time: the tick of the monotonic clock, and numbered counters.
#include "UtlTimeCounter.h"

#include "UtlApplog.h"
#include "UtlMap.h"
#include "UtlSyncObject.h"
#include "internal/base/UtlForkLocks.h"
#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlSystemCalls.h"

#include <cerrno>
#include <ctime>

namespace utl
{

namespace
{

using StartTicks = Map<unsigned int, unsigned int, unsigned int const&, unsigned int const&,
                       CompareLessPairKey<unsigned int, unsigned int>>;

struct CounterTable
{
    CounterTable() { internal::freeInChild(internal::FORK_COUNTERS, "the tick counters", mSyncObject); }

    SyncObject mSyncObject;
    StartTicks mStartTicks UTL_GUARDED_BY(mSyncObject){TimeCounter::MAX_COUNTERS}; // by counter id
};

CounterTable& counterTable()
{
    static internal::Immortal<CounterTable> lTable;
    return lTable.get();
}

// Made while the library is loaded, so that the first counter does not allocate.
[[maybe_unused]] CounterTable& gLoadedTable = counterTable();

} // namespace

unsigned int TimeCounter::getTickTime()
{
    timespec lNow{};
    if (internal::gSystem.mClockGettime(CLOCK_MONOTONIC, &lNow) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "[CAUTION!!!]clock_gettime() Failed. CLOCK_MONOTONIC. errno:[%d]", errno);
        return FAILED;
    }
    return static_cast<unsigned int>(lNow.tv_sec) * 1000U + static_cast<unsigned int>(lNow.tv_nsec / 1000000);
}

bool TimeCounter::start()
{
    mStartTime = getTickTime();
    if (mStartTime == FAILED)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "TimeCounter::start() Failed.");
        return false;
    }
    mHasStarted = true;
    return true;
}

unsigned int TimeCounter::watch()
{
    unsigned int const lTick = getTickTime();
    if (!mHasStarted || lTick == FAILED)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "TimeCounter::watch()/stop() Failed. HasStarted:[%s], TickTime:[%u]",
               mHasStarted ? "On" : "Off", lTick);
        return FAILED;
    }
    return lTick - mStartTime;
}

unsigned int TimeCounter::stop()
{
    unsigned int const lElapsedMs = watch();
    mHasStarted = false;
    mStartTime = FAILED;
    return lElapsedMs;
}

bool TimeCounter::start(unsigned int nCounterId)
{
    CounterTable& lTable = counterTable();
    SyncGuard lGuard(lTable.mSyncObject);
    if (!lTable.mStartTicks.insert(nCounterId, 0))
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "TimeCounter::start(ID) Failed. InsertMap Error. CounterId:[%u]",
               nCounterId);
        return false;
    }
    // Read under the lock, so that the ticks of one number never go backwards.
    unsigned int const lTick = getTickTime();
    if (lTick == FAILED)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "TimeCounter::start(ID) Failed. TickTime is Invalid. CounterId:[%u]",
               nCounterId);
        lTable.mStartTicks.erase(nCounterId);
        return false;
    }
    return lTable.mStartTicks.insert(nCounterId, lTick);
}

unsigned int TimeCounter::watch(unsigned int nCounterId)
{
    unsigned int const lTick = getTickTime();
    CounterTable& lTable = counterTable();
    SyncGuard lGuard(lTable.mSyncObject);
    auto const* const lpCounter = lTable.mStartTicks.find(nCounterId);
    if (lpCounter == nullptr)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "TimeCounter::Failed. Key Not Applicable. CounterId:[%u]", nCounterId);
        return FAILED;
    }
    if (lTick == FAILED)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "TimeCounter::watch(ID)/stop(ID) Failed. StartTime:[%u], TickTime:[%u]",
               lpCounter->mValue, lTick);
        return FAILED;
    }
    return lTick - lpCounter->mValue;
}

unsigned int TimeCounter::stop(unsigned int nCounterId)
{
    unsigned int const lElapsedMs = watch(nCounterId);
    CounterTable& lTable = counterTable();
    SyncGuard lGuard(lTable.mSyncObject);
    lTable.mStartTicks.erase(nCounterId);
    return lElapsedMs;
}

} // namespace utl
