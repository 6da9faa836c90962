/// A thread driven by messages and timers. Layer: message-driven thread.
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

/// Gives messages to one listener, one at a time, on a thread of its own. Other threads post to it, send and wait for
/// the listener's return, interrupt it, set timers on it, and search and erase in its queues.
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
/// Sizes:     the constructor makes queues, images and timer tables. Sending and dispatching allocate nothing; making a
///            timer does. Each message takes a slot of nMaxMsgSize + 4 bytes; a full queue refuses.
/// Order:     that of the control queue. Interrupts, and requests to find or erase, are served ahead of it between two
///            dispatches. A time-out is queued when the loop notices it, at the latest after the dispatch under way,
///            and comes after everything that is queued by then.
/// Cost:      only a sleeping thread is woken by a write to its pipe; to a thread that is awake nothing is written.
/// Ownership: copies messages; the listener is the caller's and must live until the thread has ended.
/// Threads:   any, unless said otherwise; the listener runs on the message thread.
/// Signals:   no. The timers use SIGRTMIN + 2 (docs/safety.md, "Signals of the timers").
/// Forks:     the child has the object but not the thread. There, do not touch the object, do not even destroy it;
///            call _exit() or exec.
/// Blocking:  posting never waits, nor does a timer operation with nNoWait not 0. A call that waits for the message
///            thread waits for the listener call under way. It is released when the thread ends, with the result told
///            there.
/// Locks:     one of the four one-request-at-a-time locks, which are held while their owner waits, then the queue's
///            lock. None is held across a listener call or onEraseTimer, and none while a message's sender writes to
///            the pipe.
/// Errors:    callers get false or -1, and the log tells of faults. A thread that does not run or is to stop, an
///            unknown id and a full timer table are no faults.
/// Caution:   stop() releases whoever waits but does not wait until they have returned; do not destroy the object while
///            somebody is still inside a call. Msg::storeDataTo runs with the queues locked: it must not wait, nor send
///            to this thread.
class UTL_API MsgDrivenThread : public Thread
{
public:
    /// Decides whether a queued message is the one to be found or erased.
    /// Safety: that of the application's class; judge() tells where it is called.
    class UTL_API MsgJudgementInterface
    {
    public:
        virtual ~MsgJudgementInterface() = default;

        /// Called on the message thread, with the queues locked: must not wait, nor send to this thread.
        /// Result: true if this is the message.
        virtual bool judge(ThreadRawMsg& nRawMsg) = 0;
    };

    /// A judgement by a functor of type T, which is not owned.
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

    /// A functor for MsgJudgement that accepts messages of one id.
    /// Safety: a value.
    class UTL_API JudgeMsgSpecifiedMsgId
    {
    public:
        /// nMsgId: the id; MSG_ID_ANY accepts all messages.
        explicit JudgeMsgSpecifiedMsgId(int nMsgId)
            : mMsgId(nMsgId)
        {
        }
        bool operator()(ThreadRawMsg& nRawMsg) const; ///< Whether the image has the id.

        int const mMsgId; ///< the id
    };

    /// nMaxMsgSize:    the most bytes of data in a message, without its id; a thread with timers needs 4.
    /// nMaxMsgCount:   the most messages that can wait. 256 more records are kept for timers, requests and the stop.
    /// npName:         copied.
    /// nMaxTimerCount: the most timers.
    /// If the pipe or the signal handler cannot be made, that is logged, and construction goes on: such a thread ends
    /// at once.
    MsgDrivenThread(unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, char const* npName,
                    unsigned int nMaxTimerCount);

    /// Stops the thread, waiting without limit, then closes the pipe, read end first.
    /// Caution: what a subclass adds, a listener perhaps, is gone by then; stop the thread before destroying it.
    ~MsgDrivenThread() override;

    /// Starts the thread with its listener; the other arguments are those of Thread::start.
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npWatchdogListener, which is not owned; with null the table of all threads is logged.
    /// Result: that of Thread::start; -1 on the message thread itself, for a null listener, and if start was called
    ///         with a listener before: an object can be started once, even if that failed.
    int start(ThreadMsgListener* npListener, int nUseWatchdog, unsigned int nAliveTimeMs,
              WatchdogTimerListener* npWatchdogListener, int nWaitStart, unsigned int nWaitStartMs,
              ThreadPriority const& nPriority, unsigned int nReserved);

    /// As start(), with more options and a result that tells why it failed. Waits for no stage of the thread.
    /// Result: that of Thread::tryStart; REFUSED on the message thread itself and for a null listener, NO_PIPE if the
    ///         constructor got no pipe, STARTED_ONCE if it was called with a listener before.
    Start tryStart(ThreadMsgListener* npListener, ThreadOptions const& nOptions);

    /// As Thread::stop; -1 on the message thread itself. The loop ends after the next dispatch; what is left in the
    /// queues stays there. If a start() on another thread is waiting, this waits for it first.
    /// Caution: if every write to the pipe fails, the thread is woken by the end of the pipe; a child of a fork that
    /// still has the pipe open prevents that.
    int stop(int nWait, unsigned int nTimeoutMs);

    /// Appends a message to the queue. A listener may post to its own thread.
    /// Caution: the ids 0x80000000 to 0x80000800 are reserved: messages with these ids are taken for the library's own
    /// records, or stay in the queue for good.
    /// Result: false if the thread does not run or is to stop (in silence), if the message does not fit, if a queue is
    ///         full (logged; of a burst of full data queues the first at level 1, the rest at level 4), and if the
    ///         thread sleeps and the pipe that wakes it fails (logged). Nothing of a refused message is left behind.
    bool postMsg(Msg const& nMsg);
    bool postMsg(int nMsgId) { return postMsg(SimpleMsg(nMsgId)); }

    /// As postMsg, but the result tells why it was refused, and only UNREACHABLE is logged.
    Post tryPost(Msg const& nMsg);

    /// As postMsg, but it does not check whether the thread runs: without a running loop the message stays in the
    /// queue.
    bool sendMsgAsync(Msg const& nMsg);

    /// Appends a message to the queue and waits, without limit, until the listener has returned.
    ///
    /// Result: true if the listener received it; false as for postMsg, at once on the message thread itself, and if
    ///         the message was erased or the thread ended first.
    /// Blocking: one synchronous sender at a time; the others wait for it.
    /// Caution: if the control queue is full or the pipe fails, the message stays in the data queue, and the next
    /// synchronous message is delivered in its place; keep fewer than 256 timer operations and requests waiting.
    bool sendMsgSync(Msg const& nMsg);
    bool sendMsgSync(int nMsgId) { return sendMsgSync(SimpleMsg(nMsgId)); }

    /// As sendMsgSync, but the result, not the log, tells why it was refused, and nothing of a refused message is left
    /// behind.
    ///
    /// nLimitMs: the longest wait for other senders and for the call of the listener; 0: no limit. Once the call has
    ///           begun, it is waited for without a limit. A message that was given up is not delivered, found or
    ///           erased; its slot becomes free when its turn comes.
    Send trySend(Msg const& nMsg, unsigned int nLimitMs);

    /// As sendMsgSync, but ahead of everything that is queued; a full data queue does not refuse it.
    bool sendMsgInterrupt(Msg const& nMsg);
    bool sendMsgInterrupt(int nMsgId) { return sendMsgInterrupt(SimpleMsg(nMsgId)); }

    /// Whether a message of that id, or a time-out (MSG_ID_TIMER), waits in the queue; MSG_ID_ANY matches all.
    /// Blocking: from another thread until the message thread has searched, between two dispatches.
    /// Result:   false also if the thread does not run.
    bool hasMsg(int nMsgId);

    /// Copies the first message that hasMsg() would find; read it with Msg::restoreFrom. *npRawMsg gets the size of
    /// this thread's images.
    /// Result: false if there is none, for a null, and if the thread does not run.
    bool peekMsg(int nMsgId, ThreadRawMsg* npRawMsg);

    /// Removes all messages that hasMsg() would find. The sender of a synchronous one gets false; an erased time-out
    /// counts as one that fired.
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

    /// Makes a timer. It does not run before startTimer.
    ///
    /// nIntervalMs:      the period; 0: it runs and never fires; from 2147483648 on it counts as negative, and the
    ///                   start fails.
    /// nMaxTimeoutCount: the number of time-outs after which it ends by itself; 0: never; 1: a one-shot timer.
    /// nIsFreeRunning:   0: the next period begins when the listener has returned, and at most one time-out waits;
    ///                   otherwise it keeps a steady beat, and at most two wait. Further ones are lost.
    /// Result: the timer's id, above 0; -1 if the thread does not run or is to stop, or the table is full.
    int registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning);

    /// registerTimer and startTimer in one. Time-outs reach the listener as TimerMsg.
    /// nNoWait: 0 waits until the message thread has tried to start the timer.
    /// Result:  the id; -1 as for registerTimer, and on the message thread if the start failed.
    /// Caution: with an nMaxMsgSize below 4 no TimerMsg fits: the timer runs, and the listener is not called.
    /// Caution: if another thread asks for the start and it then fails on the message thread, only the log tells, and
    /// so it does if a timer cannot be armed again after a time-out; the timer then rests, and startTimer may be tried.
    UTL_SHARP_EDGE("have messages of 4 bytes or more")
    int setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning);

    /// Starts a timer that does not run. A running one goes on, without a wait. nNoWait: as for setTimer.
    ///
    /// Result: false for an unknown id, a full control queue, a thread that does not run or is to stop.
    /// Caution: on the message thread itself always true, also for an unknown id. Also true if the start fails later,
    /// which the log tells.
    bool startTimer(int nTimerId, int nNoWait);

    /// Stops and removes a timer.
    ///
    /// nNoWait: 0 waits until that is done, for a timer that runs; afterwards no TimerMsg of the id comes. With any
    ///          other value time-outs that are queued may still come.
    /// Result:  false for an unknown id, a full control queue, a thread that does not run.
    /// Caution: if two time-outs of a free-running timer wait while another thread kills it, both come, even the one
    /// beyond its count.
    bool killTimer(int nTimerId, int nNoWait);

    /// Result: how many more timers fit.
    int remTimerIdCount() const;

    /// The counts of this thread at this instant. Also before the start and after the end.
    /// Blocking: for the queue's lock.
    Ledger ledger() const;

    /// Sets the clock that times the calls of the listener, from the next call on. Blocking: for the queue's lock.
    void setCallClock(CallClock nClock);

protected:
    /// A record of the control queue: mMsgId says what to do, mParam with what.
    using ThreadCtlMsg = internal::CtlRecord;

    /// Called when a timer has left the table for any reason: on the message thread or, after killTimer, on the thread
    /// that called it. No lock is held.
    virtual void onEraseTimer(int nTimerId);

    /// Appends one control record. nMsgId: one of the control ids, MSG_ID_OUT_OF_BAND to MSG_ID_STOP_THREAD but not
    /// MSG_ID_SYNC. Any other id would need a message in the data queue, which a subclass cannot put there.
    /// Result: false for a full control queue, and for a sleeping thread whose pipe fails (logged).
    bool postThreadCtlMsg(int nMsgId, int nParam);

    /// Removes the first record of that id. Result: false if there is none.
    bool eraseMsgFromCtlQueue(int nMsgId);

    /// Drops an interrupt that waits, if the judgement accepts it; its sender gets false. For the message thread: a
    /// request of any other thread is served after an interrupt that waits. Result: false if none was dropped.
    bool eraseMsgFromInterruptQueue(MsgJudgementInterface* npJudgement);

    unsigned int execute() override;
    void requestStop() override;

    /// Whether the calling thread is this message thread.
    bool isOwnThread() const;

private:
    friend class MsgDrivenThreadTestPeer;
    friend class ThreadWatchdog;

    class Impl;

    void setApart(); ///< From now on stopAll() does not stop this thread.

    bool findInternal(MsgJudgementInterface* npJudgement, ThreadRawMsg* npRawMsg);

    std::unique_ptr<Impl> const mpImpl;
};

} // namespace utl

#endif
