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
/// Life:      the thread runs from the constructor to destroy(); the timers go with it. A timer rests until start().
/// Ids:       from 1 on, not used again until they wrap. The same id stands for a timer all its life.
/// Ownership: listeners are the caller's and must live until their timer is erased, with waiting, or destroy().
/// Threads:   any; the listener runs on the timer thread, without a lock, and may call everything here.
/// Signals:   no. The timers use SIGRTMIN + 1 (docs/safety.md, "Signals of the timers").
/// Forks:     the thread is not in the child. Leave the object alone there, the destructor too; _exit() or exec.
/// Blocking:  with nNoWait 0 an operation waits until the timer thread has carried it out, and so for the listener call
///            under way: afterwards none is under way for that timer. With any other value it only posts a request, and
///            never stands behind somebody who waits.
///            A waiter is released too when the kernel refused, the timer was erased or the thread ended.
///            On the timer thread itself an operation with nNoWait 0 is carried out at once.
/// Requests:  what somebody waits for counts as done for whoever starts or stops the same timer meanwhile; the newest
///            decides. What was posted with nNoWait not 0 does not count before it has been carried out.
/// Locks:     the data lock, which is never held while anybody waits or a listener runs.
/// Errors:    false for an unknown id and for 256 waiting requests, in silence; false and a line in the log if the pipe
///            fails that wakes a sleeping timer thread. A kernel that refuses is told by the log alone, and the timer's
///            running state stays; a timer that it would not delete is silent all the same.
/// Limits:    removing a timer from a table of many moves those with a higher id, under the data lock: about 1 ms for
///            the first of 10,000.
/// Caution:   time-outs that find 256 requests waiting are lost, and count as waiting all the same: such a timer may
///            fall silent until it is stopped and started.
class UTL_API SharedTimer : public Thread
{
public:
    using Thread::isRunning; // the other namesakes here stand for timers; those of Thread take its name in front

    /// Starts the timer thread at normal priority and returns when it is up.
    ///
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npWatchdogListener, which is not owned; with null the table of all threads is logged.
    ///               The idle wait is not watched.
    /// nMaxTimers: timers at most. npName: copied.
    /// A pipe, a handler or a thread that cannot be had is logged, and construction goes on.
    SharedTimer(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npWatchdogListener,
                unsigned int nMaxTimers, char const* npName);

    /// Calls destroy(), then closes the pipe.
    /// Caution: what a subclass adds is gone by then, and no listener may be calling; call destroy() before. Never on
    /// the timer thread.
    ~SharedTimer() override;

    /// Ends the thread, waiting for it without limit, and takes it out of the registry. All timers go. On the
    /// timer thread it only asks for the end.
    void destroy();

    /// Makes a timer that rests until start().
    ///
    /// npListener:       may be null: time-outs are only counted.
    /// nIntervalMs:      the period; 0: runs and never fires. From 2147483648 on the kernel refuses the start.
    /// nMaxTimeoutCount: time-outs after which it stops by itself; 0: never. A start counts anew.
    /// nIsFreeRunning:   0: the next period begins when the listener has returned, and one time-out waits at most;
    ///                   otherwise it keeps its own beat, and two wait at most. Further ones are lost.
    /// Result: the id; -1, in silence, if the table is full or the thread is to stop.
    int addTimer(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                 int nIsFreeRunning);

    /// Stops and removes a timer. From a listener with nNoWait 0, too, also the timer that calls it: once this has
    /// returned true, that timer's listener is not called any more. False there if the kernel refuses.
    /// Caution: with nNoWait not 0 the id is not looked at: true for an unknown one too.
    bool eraseTimer(int nTimerId, int nNoWait);

    /// Starts a timer that rests; true at once for one that runs.
    /// Caution: after a stop posted with nNoWait not 0 the timer may still run: true at once, and it ends stopped.
    bool start(int nTimerId, int nNoWait);

    /// Stops a timer that runs; true at once for one that rests. Its waiting time-outs go. From a listener with nNoWait
    /// 0 as eraseTimer(): certain when it has returned true.
    /// Caution: a start posted with nNoWait not 0 and not yet served is not seen: true at once, and the timer runs
    /// afterwards. Start with nNoWait 0, or waitToStart(), first.
    bool stop(int nTimerId, int nNoWait);

    /// Stops it if it runs, then starts it. Also from its own listener, with nNoWait 0; the time-out under way then
    /// does not count.
    /// Caution: with nNoWait not 0 a running timer ends stopped, for it still runs when the start looks.
    bool restart(int nTimerId, int nNoWait);

    /// The same for all timers in ascending order of id.
    void startAll(int nNoWait);
    void stopAll(int nNoWait);
    void restartAll(int nNoWait); ///< Stops all, then starts all; with the Caution of restart().

    /// Sets the period; a running timer takes it up after its next time-out.
    bool setInterval(int nTimerId, unsigned int nIntervalMs);

    /// Result: milliseconds; 4294967295 for an unknown id.
    unsigned int getInterval(int nTimerId) const;

    /// Result: false for an unknown id too.
    bool isRunning(int nTimerId) const;

    /// Replaces the contents of *npIds by the ids in ascending order, resizing it. Result: false for null.
    bool getTimerIdSet(Array<int, int const&>* npIds);

    /// Waits, without limit, until the timer runs, or rests; also until a start, or stop, of it was tried, or it went.
    /// Result: 0; -1 for an unknown id, and on the timer thread.
    int waitToStart(int nTimerId);
    int waitToStop(int nTimerId);

    /// As Thread::setWatchdogAliveTime, startWatchdog, stopWatchdog, with the caution told there.
    void setThreadWatchdogAliveTime(unsigned int nAliveTimeMs);
    void startThreadWatchdog();
    void stopThreadWatchdog();

    /// The books at this instant, and by which clock the calls of a listener are timed from the next one on.
    /// Blocking: for the data lock. Also before the start and after the end.
    Ledger ledger() const;
    void setCallClock(CallClock nClock);

    /// A timer has expired, on the timer thread: calls its listener.
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
