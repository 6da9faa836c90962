/// One thread that serves many timers. Layer: timer, shared timer.
#ifndef UTL_SHARED_TIMER_H
#define UTL_SHARED_TIMER_H

#include "UtlArray.h"
#include "UtlLedger.h"
#include "UtlMacros.h"
#include "UtlThread.h"

#include <memory>

namespace utl
{

class TimerListener;

namespace internal
{
struct CtlRecord;
} // namespace internal

/// Calls a TimerListener on its own thread whenever one of its timers expires, for code that has no message thread.
///
///     struct Blinker : TimerListener { void onTime(int) override { toggleLamp(); } } lBlinker;
///     SharedTimer lTimers(0, 0, nullptr, 8, "timers");          // 8 timers at most, one thread for all
///     int const lId = lTimers.addTimer(&lBlinker, 500, 0, 1);   // every 500 ms, for ever, on its own beat
///     lTimers.start(lId, 0);
///     lTimers.eraseTimer(lId, 0);                               // afterwards lBlinker is not called any more
///     lTimers.destroy();
///
/// Life:      the thread runs from the constructor to destroy(), which removes all timers. A timer does not run before
///            start().
/// Ids:       from 1 on, not used again until they wrap. A timer keeps its id all its life.
/// Ownership: listeners are the caller's. They must live until destroy(), or until their timer was erased with nNoWait
///            0.
/// Threads:   any; the listener runs on the timer thread, without a lock, and may call everything here.
/// Signals:   no. The timers use SIGRTMIN + 1 (docs/safety.md, "Signals of the timers").
/// Forks:     the child has the object but not the thread. There, do not touch the object, do not even destroy it;
///            call _exit() or exec.
/// Blocking:  with nNoWait 0 an operation waits until the timer thread has carried it out, and so for the listener call
///            under way: afterwards no call is under way for that timer. The wait also ends if the kernel refuses, the
///            timer is erased or the thread ends. On the timer thread itself such an operation is carried out at once.
///            With any other nNoWait it only posts a request, and never waits for somebody else's wait.
/// Requests:  a start or stop that somebody waits for counts as done for everybody who starts or stops the same timer
///            meanwhile; the newest decides. One that was posted with nNoWait not 0 does not count before it has been
///            carried out.
/// Locks:     the data lock, which is never held while anybody waits or a listener runs.
/// Errors:    false, without a line in the log, for an unknown id and while 256 requests wait. False and a line in the
///            log if the pipe fails that wakes a sleeping timer thread. If the kernel refuses, only the log tells, and
///            the timer goes on running or resting; a timer that the kernel would not delete calls nobody all the same.
/// Limits:    removing a timer moves those with a higher id, under the data lock: about 1 ms for the first of 10,000.
/// Caution:   time-outs that come while 256 requests wait are lost but count as waiting: such a timer may fall silent
///            until it is stopped and started.
class UTL_API SharedTimer : public Thread
{
public:
    using Thread::isRunning; // start, stop and the like here are for timers; write Thread::stop() for the thread

    /// Starts the timer thread at normal priority and returns when it is up.
    ///
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npWatchdogListener, which is not owned; with null the table of all threads is logged.
    ///               The idle wait is not watched.
    /// nMaxTimers:   the most timers.
    /// npName:       copied.
    /// If the pipe, the signal handler or the thread cannot be made, that is logged, and construction goes on.
    SharedTimer(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npWatchdogListener,
                unsigned int nMaxTimers, char const* npName);

    /// Calls destroy(), then closes the pipe.
    /// Caution: what a subclass adds is gone by then, and no listener may be running; call destroy() before. Never on
    /// the timer thread.
    ~SharedTimer() override;

    /// Ends the thread, waiting for it without limit, removes all timers and takes the thread out of the registry. On
    /// the timer thread it only asks for the end.
    void destroy();

    /// Makes a timer. It does not run before start().
    ///
    /// npListener:       may be null: time-outs are only counted.
    /// nIntervalMs:      the period; 0: it runs and never fires. From 2147483648 on the kernel refuses the start.
    /// nMaxTimeoutCount: the number of time-outs after which it stops by itself; 0: never. A start begins the count
    /// again.
    /// nIsFreeRunning:   0: the next period begins when the listener has returned, and at most one time-out waits;
    ///                   otherwise it keeps a steady beat, and at most two wait. Further ones are lost.
    /// Result: the id; -1, in silence, if the table is full or the thread is to stop.
    int addTimer(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                 int nIsFreeRunning);

    /// Stops and removes a timer. A listener may erase any timer with nNoWait 0, also the one that calls it. Once that
    /// has returned true, the erased timer's listener is not called any more; it is false if the kernel refuses.
    /// Caution: with nNoWait not 0 the id is not checked: true also for an unknown one.
    bool eraseTimer(int nTimerId, int nNoWait);

    /// Starts a timer; true at once if it runs already.
    /// Caution: after a stop posted with nNoWait not 0 the timer may still run: true at once, and it ends stopped.
    bool start(int nTimerId, int nNoWait);

    /// Stops a timer and drops its waiting time-outs; true at once if it does not run. A listener may stop any timer
    /// with nNoWait 0, with the same certainty as eraseTimer() gives.
    /// Caution: a start posted with nNoWait not 0 and not yet served is not seen: true at once, and the timer runs
    /// afterwards. Start with nNoWait 0, or call waitToStart() first.
    bool stop(int nTimerId, int nNoWait);

    /// Stops a timer if it runs, then starts it. Its own listener may call this with nNoWait 0; the time-out under way
    /// then does not count.
    /// Caution: with nNoWait not 0 a running timer ends stopped, because the start finds it still running.
    bool restart(int nTimerId, int nNoWait);

    /// The same for all timers in ascending order of id.
    void startAll(int nNoWait);
    void stopAll(int nNoWait);
    void restartAll(int nNoWait); ///< Stops all, then starts all; with the Caution of restart().

    /// Sets the period; a running timer uses it after its next time-out. Result: false for an unknown id.
    bool setInterval(int nTimerId, unsigned int nIntervalMs);

    /// Result: the period in milliseconds; 4294967295 for an unknown id.
    unsigned int getInterval(int nTimerId) const;

    /// Result: whether the timer runs; false also for an unknown id.
    bool isRunning(int nTimerId) const;

    /// Replaces the contents of *npIds by the ids in ascending order; its capacity becomes their number.
    /// Result: false for null.
    bool getTimerIdSet(Array<int, int const&>* npIds);

    /// Wait, without limit, until the timer runs (waitToStart) or does not run (waitToStop). The wait also ends when
    /// a start, or a stop, was tried in vain, and when the timer was erased.
    /// Result: 0; -1 for an unknown id, and on the timer thread.
    int waitToStart(int nTimerId);
    int waitToStop(int nTimerId);

    /// As Thread::setWatchdogAliveTime, startWatchdog, stopWatchdog, with the caution told there.
    void setThreadWatchdogAliveTime(unsigned int nAliveTimeMs);
    void startThreadWatchdog();
    void stopThreadWatchdog();

    /// The counts of this thread at this instant. Also before the start and after the end.
    /// Blocking: for the data lock.
    Ledger ledger() const;

    /// Sets the clock that times the calls of listeners, from the next call on. Blocking: for the data lock.
    void setCallClock(CallClock nClock);

    /// Called on the timer thread when a timer has expired: calls its listener.
    virtual void onTime(int nTimerId);

protected:
    /// A record of the control queue: mMsgId says what to do, mParam with which timer.
    using TimerCtlMsg = internal::CtlRecord;

    unsigned int execute() override;
    void requestStop() override;

private:
    friend class SharedTimerTestPeer;

    class Impl;

    bool isOwnThread() const;
    template <class Do>
    void forEachTimer(Do nDo);

    std::unique_ptr<Impl> const mpImpl;
};

} // namespace utl

#endif
