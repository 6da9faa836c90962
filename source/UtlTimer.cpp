// Timer: a SharedTimer with one timer.
#include "UtlTimer.h"

namespace utl
{

Timer::Timer(unsigned int nIntervalMs, int nUseWatchdog, unsigned int nAliveTimeMs,
             WatchdogTimerListener* npWatchdogListener, unsigned int nMaxTimeoutCount, int nIsFreeRunning,
             char const* npName)
    : Timer(nullptr, nIntervalMs, nUseWatchdog, nAliveTimeMs, npWatchdogListener, nMaxTimeoutCount, nIsFreeRunning,
            npName)
{
}

Timer::Timer(TimerListener* npListener, unsigned int nIntervalMs, int nUseWatchdog, unsigned int nAliveTimeMs,
             WatchdogTimerListener* npWatchdogListener, unsigned int nMaxTimeoutCount, int nIsFreeRunning,
             char const* npName)
    : mSharedTimer(nUseWatchdog, nAliveTimeMs, npWatchdogListener, 1, npName),
      mpListener(npListener),
      mTimerId(mSharedTimer.addTimer(this, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning))
{
}

Timer::~Timer() = default;

void Timer::onTime(int nTimerId)
{
    if (mpListener != nullptr)
    {
        mpListener->onTime(nTimerId);
    }
}

bool Timer::start(int nNoWait)
{
    return mSharedTimer.start(mTimerId, nNoWait);
}

bool Timer::restart(int nNoWait)
{
    return mSharedTimer.restart(mTimerId, nNoWait);
}

bool Timer::stop(int nNoWait)
{
    return mSharedTimer.stop(mTimerId, nNoWait);
}

bool Timer::setInterval(unsigned int nIntervalMs)
{
    return mSharedTimer.setInterval(mTimerId, nIntervalMs);
}

unsigned int Timer::getInterval() const
{
    return mSharedTimer.getInterval(mTimerId);
}

bool Timer::isRunning() const
{
    return mSharedTimer.isRunning(mTimerId);
}

void Timer::destroy()
{
    mSharedTimer.destroy();
}

} // namespace utl
