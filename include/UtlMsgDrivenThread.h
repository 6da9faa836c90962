/// A thread that lives on messages. Layer: message-driven thread.
#ifndef UTL_MSG_DRIVEN_THREAD_H
#define UTL_MSG_DRIVEN_THREAD_H

#include "UtlLedger.h"
#include "UtlMacros.h"
#include "UtlMsg.h"
#include "UtlThread.h"
#include "UtlThreadMsgListener.h"
#include "UtlThreadRawMsg.h"

#include <memory>

namespace utl
{

namespace internal
{
struct CtlRecord;
} // namespace internal

/// Gives one message after the other to one listener, on a thread of its own. Others post to it, send and wait for the
/// listener's return, interrupt it, set timers on it, and look into its queues and erase from them.
///
///     struct Greeter : ThreadMsgListener { void receiveMsg(int, ThreadRawMsg&) override { std::puts("hello"); } };
///     Greeter lGreeter;
///     MsgDrivenThread lThread(0, 8, "greeter", 1);          // messages without data, 8 at a time, one timer
///     lThread.start(&lGreeter, 0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
///     lThread.postMsg(1);                                   // returns at once
///     lThread.sendMsgSync(1);                               // returns when receiveMsg has returned
///     lThread.stop(1, 0);
///     lThread.leaveManagement();
///
/// Sizes:     queues, images and timer tables are made in the constructor; sending and dispatching allocate nothing,
///            making a timer does.
///            Each message takes a slot of nMaxMsgSize + 4 bytes; a full queue refuses.
/// Order:     the control queue is the order of work. Interrupts, and requests to find or erase, are served ahead of it
///            between two dispatches. A time-out stands behind all that was queued when it was seen, at the latest
///            after the dispatch under way.
/// Cost:      a message wakes the thread only if it sleeps; to a thread that is awake nothing is written.
/// Ownership: copies messages; the listener is the caller's and must outlive the thread's run.
/// Threads:   any, unless said otherwise; the listener runs on the message thread.
/// Signals:   no. The timers use SIGRTMIN + 2 (docs/safety.md, "Signals of the timers").
/// Forks:     the thread is not in the child. Leave the object alone there, the destructor too; _exit() or exec.
/// Blocking:  posting never waits, nor does a timer operation with nNoWait not 0. What waits for the message thread
///            waits for the listener call under way, and is released, with the result told there, when the thread ends.
/// Locks:     one of the four one-request-at-a-time locks, which are held while their owner waits, then the queue's
///            lock. None is held across a listener call or onEraseTimer, and none while a message's sender writes to
///            the pipe.
/// Errors:    callers see false or -1, and the log tells of faults. No faults are a thread that does not run or is to
///            stop, an unknown id and a full timer table.
/// Caution:   stop() releases whoever waits but does not wait for them to return; the object must not go while somebody
///            is still inside a call. Msg::storeDataTo runs with the queues locked: it must not wait, nor send here.
class UTL_API MsgDrivenThread : public Thread
{
public:
    /// Judges the image of a queued message.
    /// Safety: that of the application's class; judge() tells where it is called.
    class UTL_API MsgJudgementInterface
    {
    public:
        virtual ~MsgJudgementInterface() = default;

        /// On the message thread, with the queues locked: must not wait, nor send to this thread.
        /// Result: true if it is what the caller looks for.
        virtual bool judge(ThreadRawMsg& nRawMsg) = 0;
    };

    /// A judgement by a functor T, not owned.
    /// Safety: that of T.
    template <class T>
    class MsgJudgement : public MsgJudgementInterface
    {
    public:
        /// npJudge: not null.
        explicit MsgJudgement(T* npJudge)
            : mpJudge(npJudge)
        {
        }
        bool judge(ThreadRawMsg& nRawMsg) override { return (*mpJudge)(nRawMsg); }

    private:
        T* const mpJudge;
    };

    /// Passes a message of one id; MSG_ID_ANY passes all.
    /// Safety: a value.
    class UTL_API JudgeMsgSpecifiedMsgId
    {
    public:
        /// nMsgId: which.
        explicit JudgeMsgSpecifiedMsgId(int nMsgId)
            : mMsgId(nMsgId)
        {
        }
        bool operator()(ThreadRawMsg& nRawMsg) const; ///< The image has the id.

        int const mMsgId; ///< which
    };

    /// nMaxMsgSize:   bytes of a message's data at most, without its id; a thread with timers needs 4.
    /// nMaxMsgCount:  messages that can wait; 256 records more are there for timers, requests and the stop.
    /// npName:        copied.
    /// nMaxTimerCount: timers at most.
    /// A pipe or a signal handler that cannot be had is logged, and construction goes on: such a thread ends at once.
    MsgDrivenThread(unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, char const* npName,
                    unsigned int nMaxTimerCount);

    /// Stops the thread, waiting without limit, then closes the pipe, read end first.
    /// Caution: what a subclass adds, a listener perhaps, is gone by then; stop the thread before destroying it.
    ~MsgDrivenThread() override;

    /// Starts the thread with its listener; the other arguments are those of Thread::start.
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npWatchdogListener, which is not owned; with null the table of all threads is logged.
    /// Result: that of Thread::start; -1 on the message thread itself, for a null, and whenever a listener was set
    ///         before: an object starts once, even if that failed.
    int start(ThreadMsgListener* npListener, int nUseWatchdog, unsigned int nAliveTimeMs,
              WatchdogTimerListener* npWatchdogListener, int nWaitStart, unsigned int nWaitStartMs,
              ThreadPriority const& nPriority, unsigned int nReserved);

    /// As start(), with more options and a result that tells why not. Waits for nothing.
    /// Result: that of Thread::tryStart; REFUSED on the message thread itself and for a null, NO_PIPE if the
    ///         constructor got none, STARTED_ONCE if a listener was set before.
    Start tryStart(ThreadMsgListener* npListener, ThreadOptions const& nOptions);

    /// As Thread::stop; -1 on the message thread itself. The loop ends after the next dispatch; what is left in the
    /// queues stays there. Waits behind a start of another thread that waits.
    /// Caution: if every write to the pipe fails, the thread is woken by the pipe's end; a child of a fork that still
    /// has the pipe keeps that from it.
    int stop(int nWait, unsigned int nTimeoutMs);

    /// Puts a message behind all others. Also from the listener, to its own thread.
    /// Caution: the ids 0x80000000 to 0x80000800 are the library's; posted, they are taken for its own records, or stay
    /// in the queue for good.
    /// Result: false if the thread does not run or is to stop (in silence), if the message does not fit, if a queue is
    ///         full (logged; of a burst of full data queues the first at level 1, the rest at level 4), and if the
    ///         thread sleeps and the pipe that wakes it fails (logged). Nothing of a refused message is left behind.
    bool postMsg(Msg const& nMsg);
    bool postMsg(int nMsgId) { return postMsg(SimpleMsg(nMsgId)); }

    /// As postMsg, but the result tells why not, and the log tells of UNREACHABLE alone.
    Post tryPost(Msg const& nMsg);

    /// As postMsg, without a look at the thread's state: what no loop reads stays in the queues.
    bool sendMsgAsync(Msg const& nMsg);

    /// Puts a message behind all others and waits, without limit, until the listener has returned.
    ///
    /// Result: true if the listener received it; false as for postMsg, at once on the message thread itself, and if
    ///         the message was erased or the thread ended first.
    /// Blocking: one synchronous sender at a time; the others wait for it.
    /// Caution: if the control queue is full or the pipe fails, the message stays in the data queue, and the next
    /// synchronous message is delivered in its place; keep fewer than 256 timer operations and requests waiting.
    bool sendMsgSync(Msg const& nMsg);
    bool sendMsgSync(int nMsgId) { return sendMsgSync(SimpleMsg(nMsgId)); }

    /// As sendMsgSync, but the result tells why not, the log does not, and nothing of a refused message is left behind.
    ///
    /// nLimitMs: how long to wait for other senders and for the call of the listener; 0: no limit. A call that has
    ///           begun is waited for. A message given up is not delivered, found or erased; its room is free later.
    Send trySend(Msg const& nMsg, unsigned int nLimitMs);

    /// As sendMsgSync, but ahead of all that is queued and never refused by a full data queue.
    bool sendMsgInterrupt(Msg const& nMsg);
    bool sendMsgInterrupt(int nMsgId) { return sendMsgInterrupt(SimpleMsg(nMsgId)); }

    /// A message of that id, or a time-out (MSG_ID_TIMER), waits in the queue; MSG_ID_ANY matches all.
    /// Blocking: from another thread until the message thread has looked, between two dispatches.
    /// Result:   false too if the thread does not run.
    bool hasMsg(int nMsgId);

    /// Copies the first such message; the target takes this thread's image size, whatever it had.
    /// Read it with Msg::restoreFrom. Result: false if there is none, for a null, and if the thread does not run.
    bool peekMsg(int nMsgId, ThreadRawMsg* npRawMsg);

    /// Removes all such messages. A synchronous sender of one is released with false; an erased time-out counts as one
    /// that fired.
    /// Result: true, even if there was none and if the thread ended first; false if the thread does not run
    ///         and if queue and data do not fit together (logged).
    bool eraseMsg(int nMsgId);

    /// hasMsg(), peekMsg() and eraseMsg() by a judgement, which must live until they return; false for a null.
    bool hasMsgInternal(MsgJudgementInterface* npJudgement);
    bool peekMsgInternal(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg);
    bool eraseMsgInternal(MsgJudgementInterface* npJudgement);

    /// The id of the first message that waits, MSG_ID_TIMER for a time-out, MSG_ID_NONE for none and if the thread
    /// does not run.
    int getFirstMsgId();

    /// Makes a timer that rests until startTimer.
    ///
    /// nIntervalMs:      the period; 0: runs and never fires; from 2147483648 on it counts as negative, and the start
    ///                   fails.
    /// nMaxTimeoutCount: time-outs after which it ends by itself; 0: never; 1: a one-shot timer.
    /// nIsFreeRunning:   0: the next period begins when the listener has returned, and one time-out waits at most;
    ///                   otherwise it keeps its own beat, and two wait at most. Further ones are lost.
    /// Result: the timer's id, above 0; -1 if the thread does not run or is to stop, or the table is full.
    int registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning);

    /// registerTimer and startTimer in one. nNoWait 0: waits until the message thread has tried to start it.
    /// Time-outs reach the listener as TimerMsg. Result: the id, -1 as for registerTimer, and on the message thread
    /// if the start failed.
    /// Caution: if messages are shorter than 4 bytes no TimerMsg fits: the timer runs, and the listener hears
    ///          nothing.
    /// Caution: a start that fails on the message thread is told by the log alone, and so is a failure to arm a timer
    /// anew after a time-out; the timer then rests, and startTimer may be tried.
    UTL_SHARP_EDGE("have messages of 4 bytes or more")
    int setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning);

    /// Starts a timer that rests; a running one goes on, and is not waited for. nNoWait as for setTimer.
    ///
    /// Result: false for an unknown id, a full control queue, a thread that does not run or is to stop.
    /// Caution: on the message thread itself always true, also for an unknown id; and true if the start then fails,
    /// which the log tells.
    bool startTimer(int nTimerId, int nNoWait);

    /// Stops and removes a timer. nNoWait 0: waits until that is done; no TimerMsg of the id follows. A timer that
    /// rests is not waited for. With nNoWait not 0 what was queued already may still come.
    /// Caution: two time-outs of a free-running timer that wait as it is killed from another thread both come, also the
    /// one beyond its count.
    ///
    /// Result: false for an unknown id, a full control queue, a thread that does not run.
    bool killTimer(int nTimerId, int nNoWait);

    /// How many more timers fit.
    int remTimerIdCount() const;

    /// The books at this instant, and by which clock the calls of a listener are timed from the next one on.
    /// Blocking: for the queue's lock. Also before the start and after the end.
    Ledger ledger() const;
    void setCallClock(CallClock nClock);

protected:
    /// A record of the control queue: mMsgId says what to do, mParam with what.
    using ThreadCtlMsg = internal::CtlRecord;

    /// A timer has left the table, however that came. On the message thread, after killTimer on its caller's; no
    /// lock is held.
    virtual void onEraseTimer(int nTimerId);

    /// Appends one control record. nMsgId: one of the control ids, MSG_ID_OUT_OF_BAND to MSG_ID_STOP_THREAD but for
    /// MSG_ID_SYNC; any other id stands for a message whose data a subclass cannot provide.
    /// Result: false for a full control queue, and for a sleeping thread whose pipe fails (logged).
    bool postThreadCtlMsg(int nMsgId, int nParam);

    /// Removes the first record of that id. Result: false if there is none.
    bool eraseMsgFromCtlQueue(int nMsgId);

    /// Drops an interrupt that waits and passes; its sender sees false. From the message thread, since from any other
    /// an interrupt that waits is served ahead of whatever is asked for. Result: false if none was dropped.
    bool eraseMsgFromInterruptQueue(MsgJudgementInterface* npJudgement);

    unsigned int execute() override;
    void requestStop() override;

    /// The calling thread is this message thread.
    bool isOwnThread() const;

private:
    friend class MsgDrivenThreadTestPeer;
    friend class ThreadWatchdog;

    class Impl;

    void setApart(); ///< stopAll() leaves it alone

    bool findInternal(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg);

    std::unique_ptr<Impl> const mpImpl;
};

} // namespace utl

#endif
