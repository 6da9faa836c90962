/// One timer with a thread to itself. Layer: timer, shared timer.
#ifndef UTL_TIMER_H
#define UTL_TIMER_H

#include "UtlMacros.h"
#include "UtlSharedTimer.h"

namespace utl
{

/// Called when a timer expires. Implemented by the application.
/// Safety: that of the application's class; onTime() tells where it is called.
class UTL_API TimerListener
{
public:
    virtual ~TimerListener() = default;

    /// The timer has expired. Called on the timer thread, without a lock; other timers of that thread wait until it has
    /// returned.
    virtual void onTime(int nTimerId) = 0;
};

/// A SharedTimer with one timer. The thread runs when the constructor returns; the timer does not run before start().
///
///     struct Blinker : TimerListener { void onTime(int) override { toggleLamp(); } } lBlinker;
///     Timer lTimer(&lBlinker, 500, 0, 0, nullptr, 0, 1, "blinker");   // every 500 ms, for ever, on its own beat
///     lTimer.start(0);
///     lTimer.stop(0);
///     lTimer.destroy();
///
/// Arguments, results, waiting and threads are those of SharedTimer. If the timer could not be made, results are those
/// for an unknown id.
/// Safety: as SharedTimer.
class UTL_API Timer : public TimerListener
{
public:
    /// For subclasses that override onTime().
    Timer(unsigned int nIntervalMs, int nUseWatchdog, unsigned int nAliveTimeMs,
          WatchdogTimerListener* npWatchdogListener, unsigned int nMaxTimeoutCount, int nIsFreeRunning,
          char const* npName);

    /// npListener:   called when the timer expires; not owned, may be null.
    /// nUseWatchdog: at exactly 1 the watchdog reports the timer thread once it is silent for nAliveTimeMs, to the log
    ///               and to npWatchdogListener, which is not owned; with null the table of all threads is logged.
    Timer(TimerListener* npListener, unsigned int nIntervalMs, int nUseWatchdog, unsigned int nAliveTimeMs,
          WatchdogTimerListener* npWatchdogListener, unsigned int nMaxTimeoutCount, int nIsFreeRunning,
          char const* npName);

    /// Ends the thread, as destroy() does.
    /// Caution: a subclass that overrides onTime() must call destroy() in its own destructor at the latest: here its
    /// onTime is gone.
    ~Timer() override;

    /// Calls the listener given at construction.
    void onTime(int nTimerId) override;

    /// As SharedTimer, for the one timer.
    bool start(int nNoWait);
    bool restart(int nNoWait);
    bool stop(int nNoWait);
    bool setInterval(unsigned int nIntervalMs);
    unsigned int getInterval() const;
    bool isRunning() const;

    /// Ends the thread, waiting for it, and removes the timer.
    void destroy();

private:
    SharedTimer mSharedTimer;
    TimerListener* const mpListener; // constant, not owned
    int const mTimerId;              // constant; -1: none could be made
};

} // namespace utl

#endif
