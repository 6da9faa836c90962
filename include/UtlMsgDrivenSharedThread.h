/// A message thread that many listeners share. Layer: shared message thread.
#ifndef UTL_MSG_DRIVEN_SHARED_THREAD_H
#define UTL_MSG_DRIVEN_SHARED_THREAD_H

#include "UtlArray.h"
#include "UtlMacros.h"
#include "UtlMap.h"
#include "UtlMsg.h"
#include "UtlMsgDrivenThread.h"
#include "UtlSyncObject.h"
#include "UtlThreadMsgListener.h"
#include "UtlThreadRawMsg.h"

namespace utl
{

/// Serves many listeners on one message thread. A message or timer is either a broadcast, for all attached listeners,
/// or specified, for one listener, attached or not. Functions without a listener, as those of MsgDrivenThread, are for
/// broadcasts.
///
///     MsgDrivenSharedThread lThread(16, 8, 2, "shared", 1);   // 16 bytes of data, 8 messages, 2 listeners, one timer
///     lThread.attachMsgListener(&lFirst);
///     lThread.attachMsgListener(&lSecond);
///     lThread.start(0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
///     lThread.postMsg(TO_ALL);
///     lThread.postMsg(&lFirst, TO_ONE);
///     lThread.stop(1, 0);
///     lThread.leaveManagement();
///
/// Order:     the listener attached last hears a broadcast first. One detached meanwhile, by itself or by another,
///            is not called any more; one attached meanwhile is not called yet; all others are called once.
/// Sizes:     the constructor's; nothing grows. Views for one listener allocate, sending does not.
/// Ownership: listeners are the caller's. One that goes is detached first, then aborted.
/// Signals:   no.
/// Forks:     as MsgDrivenThread.
/// Threads:   any; listeners run on the message thread and may call everything here. What would wait for their own
///            thread is done at once, or refused.
/// Blocking:  from other threads start, stop, attaching and detaching take their turn, and the last two wait for the
///            message thread: a listener must not wait for such a caller.
/// Locks:     mListenerSyncObject or a staging lock, then those of MsgDrivenThread, then mTimerListenerSyncObject. None
///            is held across a listener call.
/// Caution:   setTimer and registerTimer are not virtual: called through a MsgDrivenThread they make timers of nobody,
///            whose time-outs are dropped, and its views show envelopes. Call them on this type.
/// Errors:    false or -1, the reason in the log. In silence: null listeners, specified messages that do not fit, and
///            what MsgDrivenThread refuses in silence.
class UTL_API MsgDrivenSharedThread : public MsgDrivenThread, public ThreadMsgListener
{
public:
    /// Names a listener: the id, then the pointer's own bits.
    /// Safety: as Msg.
    class UTL_API MsgListenerMsg : public Msg
    {
    public:
        /// Of no listener.
        explicit MsgListenerMsg(int nMsgId)
            : Msg(nMsgId)
        {
        }
        MsgListenerMsg(MsgListenerMsg const&) = default;
        MsgListenerMsg& operator=(MsgListenerMsg const&) = default;
        ~MsgListenerMsg() override;

        void storeDataTo(MsgDataBroker* npBroker) const override;
        void restoreDataFrom(MsgDataBroker& nBroker) override;

        ThreadMsgListener* mpListener = nullptr; ///< not owned
    };

    /// The envelope of a message for one listener: id, listener, then the whole image of the message.
    /// Safety: as ThreadRawMsg.
    class UTL_API SpecifiedMsgListenerMsg : public MsgListenerMsg
    {
    public:
        /// nMaxSize: bytes of the inner image, its id included.
        explicit SpecifiedMsgListenerMsg(unsigned int nMaxSize)
            : MsgListenerMsg(MSG_ID_SPECIFIED_LISTENER),
              mRawMsg(nMaxSize)
        {
        }
        SpecifiedMsgListenerMsg(SpecifiedMsgListenerMsg const&) = default;
        SpecifiedMsgListenerMsg& operator=(SpecifiedMsgListenerMsg const&) = default;
        ~SpecifiedMsgListenerMsg() override;

        void storeDataTo(MsgDataBroker* npBroker) const override;
        void restoreDataFrom(MsgDataBroker& nBroker) override;

        ThreadRawMsg mRawMsg; ///< the image
    };

    /// nMaxMsgSize:       bytes of a specified message's data at most. A slot takes 8 and a pointer more; a broadcast
    ///                    may use 4 and a pointer of these.
    /// nMaxListenerCount: listeners attached at a time; from 2147483648 on as 0.
    /// The other arguments are those of MsgDrivenThread.
    MsgDrivenSharedThread(unsigned int nMaxMsgSize, unsigned int nMaxMsgCount, unsigned int nMaxListenerCount,
                          char const* npName, unsigned int nMaxTimerCount);

    /// Stops the thread, waiting without limit.
    /// Caution: what a subclass adds is gone by then; stop the thread before destroying it.
    ~MsgDrivenSharedThread() override;

    /// As MsgDrivenThread::start with this object as the listener. An object starts once.
    /// nUseWatchdog: at exactly 1 the watchdog reports the thread once it has been silent for nAliveTimeMs, to the log
    ///               and to npWatchdogListener, which is not owned; with null the table of all threads is logged.
    int start(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npWatchdogListener, int nWaitStart,
              unsigned int nWaitStartMs, ThreadPriority const& nPriority, unsigned int nReserved);

    /// As MsgDrivenThread::stop; it waits for an attaching or detaching under way as well.
    int stop(int nWait, unsigned int nTimeoutMs);

    /// Adds a listener at the end: at once before the start, on the message thread and after the end; while the thread
    /// runs, in the order of the queue, waiting; once a stop is requested, after waiting for the end of the thread.
    /// Result: true if it is attached, even if it was before; false for null, for a full list, and if the
    ///         message thread cannot be reached (logged).
    bool attachMsgListener(ThreadMsgListener* npListener);

    /// Removes a listener, in the same way. Null and one that is not attached do nothing.
    /// Caution: specified messages and timers still reach it; abortMsg removes those.
    /// Caution: with a full queue it stays attached, which the log alone tells; detach on the message thread, where
    /// nothing can fail, or keep the listener until the thread has ended.
    UTL_SHARP_EDGE("detach on the message thread")
    void detachMsgListener(ThreadMsgListener* npListener);

    /// Kills the timers of a listener and erases what is queued for it: messages, time-outs, and on the message thread
    /// an interrupt that waits; senders that wait see false, that of the interrupt once the listener call under way has
    /// returned. From another thread messages that are queued may still arrive meanwhile. Afterwards nothing reaches it
    /// but broadcasts and what is sent from then on, and no call of it is under way, except the caller's own.
    ///
    /// Result: false for null, if the thread does not run, if a timer could not be killed (it may have ended by itself
    ///         meanwhile), and if the queue could not be searched.
    /// Caution: a full control queue gives false while the thread runs, and messages may be left; repeat.
    UTL_SHARP_EDGE("repeat it while it is false")
    bool abortMsg(ThreadMsgListener* npListener);

    /// As in MsgDrivenThread, for broadcasts.
    using MsgDrivenThread::postMsg;
    using MsgDrivenThread::sendMsgInterrupt;
    using MsgDrivenThread::sendMsgSync;

    /// The operations of MsgDrivenThread for one listener; false for null. The synchronous ones take their turn.
    /// Caution: a listener that goes while its message is queued is called all the same; see abortMsg.
    bool postMsg(ThreadMsgListener* npListener, Msg const& nMsg);
    bool postMsg(ThreadMsgListener* npListener, int nMsgId) { return postMsg(npListener, SimpleMsg(nMsgId)); }
    bool sendMsgSync(ThreadMsgListener* npListener, Msg const& nMsg);
    bool sendMsgSync(ThreadMsgListener* npListener, int nMsgId) { return sendMsgSync(npListener, SimpleMsg(nMsgId)); }
    bool sendMsgInterrupt(ThreadMsgListener* npListener, Msg const& nMsg);
    bool sendMsgInterrupt(ThreadMsgListener* npListener, int nMsgId)
    {
        return sendMsgInterrupt(npListener, SimpleMsg(nMsgId));
    }

    /// The views of MsgDrivenThread. Without a listener they see broadcasts and time-outs for all, otherwise what is
    /// for that listener, as it will see it. Nothing for null.
    bool hasMsg(int nMsgId);
    bool hasMsg(ThreadMsgListener* npListener, int nMsgId);
    bool eraseMsg(int nMsgId);
    bool eraseMsg(ThreadMsgListener* npListener, int nMsgId);
    bool peekMsg(int nMsgId, ThreadRawMsg* npRawMsg);
    bool peekMsg(ThreadMsgListener* npListener, int nMsgId, ThreadRawMsg* npRawMsg);
    int getFirstMsgId();
    int getFirstMsgId(ThreadMsgListener* npListener);

    /// The timers of MsgDrivenThread, for all or for one listener, who gets the TimerMsg; -1 for null.
    int registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning);
    int registerTimer(ThreadMsgListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                      int nIsFreeRunning);

    /// registerTimer and startTimer in one.
    /// Caution: -1 because the control queue is full leaves the timer's place taken until the thread ends, and its id
    /// unknown. registerTimer and startTimer leave the id with the caller.
    UTL_SHARP_EDGE("use registerTimer() and startTimer()")
    int setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount, int nIsFreeRunning);
    int setTimer(ThreadMsgListener* npListener, unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount,
                 int nIsFreeRunning);

protected:
    /// Forgets whose the timer was. An override calls this one too.
    void onEraseTimer(int nTimerId) override;

    /// Routes what the loop delivers.
    void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) override;

private:
    class JudgeMsgBroadcast;
    class JudgeMsgSpecifiedListener;

    /// The envelope of one kind of sending.
    struct Staging
    {
        explicit Staging(unsigned int nMaxSize)
            : mMsg(nMaxSize)
        {
        }

        SyncObject mSyncObject;
        SpecifiedMsgListenerMsg mMsg UTL_GUARDED_BY(mSyncObject);
    };

    template <class Send>
    static bool sendSpecified(Staging& nStaging, ThreadMsgListener* npListener, Msg const& nMsg, Send nSend);

    bool isOnMessageThread() const;
    bool mayChangeListLocked(char const* npFunction) UTL_REQUIRES(mListenerSyncObject);
    bool changeList(int nMsgId, ThreadMsgListener* npListener, char const* npFunction);
    bool executeChange(int nMsgId, ThreadMsgListener* npListener);
    bool addMsgListener(ThreadMsgListener* npListener);
    bool eraseMsgListener(ThreadMsgListener* npListener);
    template <class Judge, class Do>
    bool withJudge(Judge nJudge, Do nDo);
    int takeTimerOf(ThreadMsgListener* npListener);
    int enterTimer(int nTimerId, ThreadMsgListener* npListener);
    int startEntered(int nTimerId, int nNoWait);
    bool isTimeoutFor(ThreadMsgListener* npListener, ThreadRawMsg& nRawMsg);

    void route(int nMsgId, int nThreadId, ThreadRawMsg& nRawMsg);
    void forwardMsg(int nThreadId, ThreadRawMsg& nRawMsg);
    void onChangeList(int nMsgId, ThreadRawMsg& nRawMsg);
    void onSpecifiedMsgListener(int nThreadId, ThreadRawMsg& nRawMsg);
    void onTimer(int nThreadId, ThreadRawMsg& nRawMsg);

    unsigned int const mMaxRawSize; // constant, bytes of an inner image
    Staging mPostMsg;
    Staging mSendSyncMsg;
    Staging mSendInterruptMsg;
    SpecifiedMsgListenerMsg mReceiveMsg; // the message thread's

    // The list and the index are the message thread's while it runs, and under this lock before that and afterwards.
    SyncObject mListenerSyncObject; // start, stop, attaching and detaching from other threads, also while they wait
    Array<ThreadMsgListener*, ThreadMsgListener* const&> mMsgListeners; // in the order of attaching
    bool mAttachResult = false; // written by the message thread while the lock's owner waits
    int mForwardIndex;          // whom forwardMsg is calling; the smallest int while it is not at work

    SyncObject mTimerListenerSyncObject;                                                     // the innermost
    Map<int, ThreadMsgListener*> mTimerListenerMap UTL_GUARDED_BY(mTimerListenerSyncObject); // null: for all
};

} // namespace utl

#endif
