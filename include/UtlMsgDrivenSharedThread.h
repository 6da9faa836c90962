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
/// or specified, for one listener, attached or not. Functions without a listener argument, those of MsgDrivenThread
/// included, are for broadcasts.
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
/// Order:     the listener attached last gets a broadcast first. One that is detached meanwhile, by itself or by
///            another, is not called any more; one attached meanwhile is not called yet; all others are called once.
/// Sizes:     set by the constructor; nothing grows. hasMsg, eraseMsg, peekMsg and getFirstMsgId for one listener
///            allocate, sending does not.
/// Ownership: listeners are the caller's. Before destroying one, detach it, then call abortMsg for it.
/// Signals:   no.
/// Forks:     as MsgDrivenThread.
/// Threads:   any; listeners run on the message thread and may call everything here. What would wait for the message
///            thread itself is done at once, or refused.
/// Blocking:  start, stop, attaching and detaching from other threads wait for each other. Attaching and detaching also
///            wait for the message thread: a listener must not wait for such a caller.
/// Locks:     mListenerSyncObject or a staging lock, then those of MsgDrivenThread, then mTimerListenerSyncObject. None
///            is held across a listener call.
/// Caution:   setTimer and registerTimer are not virtual: called through a MsgDrivenThread they make timers of nobody,
///            whose time-outs are dropped, and its hasMsg and the like see envelopes. Call them on this type.
/// Errors:    false or -1, with the reason in the log. Not logged are null listeners, specified messages that do not
///            fit, and what MsgDrivenThread does not log.
class UTL_API MsgDrivenSharedThread : public MsgDrivenThread, public ThreadMsgListener
{
public:
    /// A message that names a listener: its image is the id, then the pointer.
    /// Safety: as Msg.
    class UTL_API MsgListenerMsg : public Msg
    {
    public:
        /// Names no listener.
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

        ThreadRawMsg mRawMsg; ///< the image of the message
    };

    /// nMaxMsgSize:       the most bytes of data in a specified message. A slot takes 8 bytes and a pointer more, of
    ///                    which a broadcast may use 4 bytes and the pointer for its data.
    /// nMaxListenerCount: the most listeners attached at a time; from 2147483648 on it counts as 0.
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

    /// As MsgDrivenThread::stop; it also waits for an attaching or detaching under way.
    int stop(int nWait, unsigned int nTimeoutMs);

    /// Adds a listener at the end of the list. Before the start, on the message thread and after the end this is done
    /// at once. While the thread runs, the message thread does it in the order of the queue, and the caller waits. Once
    /// a stop is requested, the caller waits for the end of the thread first.
    /// Result: true if the listener is attached, even if it was before; false for null, for a full list, and if the
    ///         message thread cannot be reached (logged).
    bool attachMsgListener(ThreadMsgListener* npListener);

    /// Removes a listener, in the same way. Nothing happens for null and for one that is not attached.
    /// Caution: specified messages and timers still reach it; abortMsg removes those.
    /// Caution: with a full queue it stays attached, which only the log tells; detach on the message thread, where
    /// nothing can fail, or keep the listener until the thread has ended.
    UTL_SHARP_EDGE("detach on the message thread")
    void detachMsgListener(ThreadMsgListener* npListener);

    /// Kills the timers of a listener and erases what is queued for it: messages, time-outs and, if called on the
    /// message thread, an interrupt that waits. Senders that wait get false; the sender of an interrupt gets it once
    /// the listener call under way has returned. While another thread calls this, queued messages may still arrive.
    /// Afterwards nothing reaches the listener but broadcasts and what is sent from then on, and no call of it is under
    /// way, except one that itself calls this.
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

    /// The operations of MsgDrivenThread for one listener; false for null. Callers of sendMsgSync wait for each other,
    /// and so do callers of sendMsgInterrupt.
    /// Caution: a listener that is destroyed while its message is queued is called all the same; call abortMsg first.
    bool postMsg(ThreadMsgListener* npListener, Msg const& nMsg);
    bool postMsg(ThreadMsgListener* npListener, int nMsgId) { return postMsg(npListener, SimpleMsg(nMsgId)); }
    bool sendMsgSync(ThreadMsgListener* npListener, Msg const& nMsg);
    bool sendMsgSync(ThreadMsgListener* npListener, int nMsgId) { return sendMsgSync(npListener, SimpleMsg(nMsgId)); }
    bool sendMsgInterrupt(ThreadMsgListener* npListener, Msg const& nMsg);
    bool sendMsgInterrupt(ThreadMsgListener* npListener, int nMsgId)
    {
        return sendMsgInterrupt(npListener, SimpleMsg(nMsgId));
    }

    /// As in MsgDrivenThread. Without a listener they find broadcasts and time-outs for all. With one they find what is
    /// for that listener, in the form in which it will get it; nothing for null.
    bool hasMsg(int nMsgId);
    bool hasMsg(ThreadMsgListener* npListener, int nMsgId);
    bool eraseMsg(int nMsgId);
    bool eraseMsg(ThreadMsgListener* npListener, int nMsgId);
    bool peekMsg(int nMsgId, ThreadRawMsg* npRawMsg);
    bool peekMsg(ThreadMsgListener* npListener, int nMsgId, ThreadRawMsg* npRawMsg);
    int getFirstMsgId();
    int getFirstMsgId(ThreadMsgListener* npListener);

    /// As in MsgDrivenThread. All listeners get the TimerMsg, or only npListener; -1 for null.
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
    /// Forgets the listener of the timer. An override must call this one, too.
    void onEraseTimer(int nTimerId) override;

    /// Passes what the loop delivers on to the listeners.
    void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) override;

private:
    class JudgeMsgBroadcast;
    class JudgeMsgSpecifiedListener;

    /// The envelope that all senders of one kind use, one at a time.
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
    SpecifiedMsgListenerMsg mReceiveMsg; // used by the message thread only

    // Start, stop, attaching and detaching from other threads hold this lock, also while they wait. While the message
    // thread runs, only it uses the list and the index; before that and afterwards they are under the lock.
    SyncObject mListenerSyncObject;
    Array<ThreadMsgListener*, ThreadMsgListener* const&> mMsgListeners; // in the order of attaching
    bool mAttachResult = false; // written by the message thread while the lock's owner waits
    int mForwardIndex;          // the listener that forwardMsg is calling; the smallest int if it is not running

    SyncObject mTimerListenerSyncObject;                                                     // the innermost lock
    Map<int, ThreadMsgListener*> mTimerListenerMap UTL_GUARDED_BY(mTimerListenerSyncObject); // null: for all
};

} // namespace utl

#endif
