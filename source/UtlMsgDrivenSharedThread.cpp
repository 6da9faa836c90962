// MsgDrivenSharedThread: one message thread for several listeners.
#include "UtlMsgDrivenSharedThread.h"

#include "UtlApplog.h"
#include "internal/thread/UtlBlockingCall.h"

#include <climits>
#include <cstring>

namespace utl
{

using internal::blockingCall;

namespace
{

char const FILE_NAME[] = "source/UtlMsgDrivenSharedThread";
char const JUDGE_FILE_NAME[] = "include/UtlMsgDrivenSharedThread";
int const NO_FORWARD = INT_MIN;

unsigned int saturatedSum(unsigned int nSize, unsigned int nMore)
{
    return nSize < UINT_MAX - nMore ? nSize + nMore : UINT_MAX;
}

int idOf(ThreadRawMsg& nRawMsg)
{
    int lMsgId = MSG_ID_NONE;
    nRawMsg.getMsgId(&lMsgId);
    return lMsgId;
}

/// A SyncGuard whose waiting stands between two reports to the watchdog.
class UTL_SCOPED_CAPABILITY ReportedGuard
{
public:
    ReportedGuard(SyncObject const& nSyncObject, char const* npFunction, unsigned int nLine,
                  char const* npFile = FILE_NAME) UTL_ACQUIRE(nSyncObject) UTL_NO_THREAD_SAFETY_ANALYSIS // in a lambda
        : mSyncObject(nSyncObject)
    {
        blockingCall(npFile, npFunction, nLine,
                     [&]() UTL_NO_THREAD_SAFETY_ANALYSIS
                     {
                         nSyncObject.lock();
                         return true;
                     });
    }
    ~ReportedGuard() UTL_RELEASE() { mSyncObject.unlock(); }
    ReportedGuard(ReportedGuard const&) = delete;
    ReportedGuard& operator=(ReportedGuard const&) = delete;

private:
    SyncObject const& mSyncObject;
};

} // namespace

// ---------------------------------------------------------------------------------------------- messages and judges

MsgDrivenSharedThread::MsgListenerMsg::~MsgListenerMsg() = default;

void MsgDrivenSharedThread::MsgListenerMsg::storeDataTo(MsgDataBroker* npBroker) const
{
    npBroker->set(static_cast<void*>(mpListener));
}

void MsgDrivenSharedThread::MsgListenerMsg::restoreDataFrom(MsgDataBroker& nBroker)
{
    void* lpListener = mpListener;
    nBroker.get(&lpListener);
    mpListener = static_cast<ThreadMsgListener*>(lpListener);
}

MsgDrivenSharedThread::SpecifiedMsgListenerMsg::~SpecifiedMsgListenerMsg() = default;

void MsgDrivenSharedThread::SpecifiedMsgListenerMsg::storeDataTo(MsgDataBroker* npBroker) const
{
    MsgListenerMsg::storeDataTo(npBroker);
    npBroker->set(mRawMsg.buffer(), mRawMsg.maxSize());
}

void MsgDrivenSharedThread::SpecifiedMsgListenerMsg::restoreDataFrom(MsgDataBroker& nBroker)
{
    MsgListenerMsg::restoreDataFrom(nBroker);
    nBroker.get(mRawMsg.buffer(), mRawMsg.maxSize());
}

/// Accepts broadcasts and time-outs for all listeners.
class MsgDrivenSharedThread::JudgeMsgBroadcast
{
public:
    JudgeMsgBroadcast(MsgDrivenSharedThread& nThread, int nMsgId)
        : mThread(nThread),
          mJudge(nMsgId)
    {
    }

    bool operator()(ThreadRawMsg& nRawMsg)
    {
        int const lMsgId = idOf(nRawMsg);
        if (lMsgId >= MSG_ID_ATTACH_LISTENER && lMsgId <= MSG_ID_SPECIFIED_LISTENER)
        {
            return false;
        }
        return (lMsgId != MSG_ID_TIMER || mThread.isTimeoutFor(nullptr, nRawMsg)) && mJudge(nRawMsg);
    }

private:
    MsgDrivenSharedThread& mThread;
    JudgeMsgSpecifiedMsgId const mJudge;
};

/// Accepts messages and time-outs for one listener.
class MsgDrivenSharedThread::JudgeMsgSpecifiedListener
{
public:
    JudgeMsgSpecifiedListener(MsgDrivenSharedThread& nThread, ThreadMsgListener* npListener, int nMsgId)
        : mThread(nThread),
          mpListener(npListener),
          mJudge(nMsgId)
    {
    }

    bool operator()(ThreadRawMsg& nRawMsg)
    {
        int const lMsgId = idOf(nRawMsg);
        mIsTimerMsg = lMsgId == MSG_ID_TIMER;
        return mIsTimerMsg ? mThread.isTimeoutFor(mpListener, nRawMsg) && mJudge(nRawMsg)
                           : lMsgId == MSG_ID_SPECIFIED_LISTENER && passesEnvelope(nRawMsg);
    }

    /// Whether the last message that was accepted is a time-out, not an envelope.
    bool isTimerMsg() const { return mIsTimerMsg; }

private:
    /// Reads the listener, and the id at the start of the inner image, directly from the envelope.
    bool passesEnvelope(ThreadRawMsg const& nRawMsg) const
    {
        ThreadMsgListener* lpListener = nullptr;
        int lMsgId = MSG_ID_NONE;
        std::memcpy(&lpListener, nRawMsg.buffer() + sizeof(int), sizeof(lpListener));
        std::memcpy(&lMsgId, nRawMsg.buffer() + sizeof(int) + sizeof(lpListener), sizeof(lMsgId));
        return lpListener == mpListener && (mJudge.mMsgId == MSG_ID_ANY || mJudge.mMsgId == lMsgId);
    }

    MsgDrivenSharedThread& mThread;
    ThreadMsgListener* const mpListener;
    JudgeMsgSpecifiedMsgId const mJudge;
    bool mIsTimerMsg = false;
};

/// Whether the image is a TimerMsg of a timer that was entered for this listener; null: for all.
bool MsgDrivenSharedThread::isTimeoutFor(ThreadMsgListener* npListener, ThreadRawMsg& nRawMsg)
{
    TimerMsg lMsg;
    lMsg.restoreFrom(nRawMsg);
    ReportedGuard lGuard(mTimerListenerSyncObject, "operator()", __LINE__, JUDGE_FILE_NAME);
    auto const* const lpPair = mTimerListenerMap.find(lMsg.mTimerId);
    return lpPair != nullptr && lpPair->mValue == npListener;
}

// ---------------------------------------------------------------------------------------------- life and listeners

MsgDrivenSharedThread::MsgDrivenSharedThread(unsigned int nMaxMsgSize, unsigned int nMaxMsgCount,
                                             unsigned int nMaxListenerCount, char const* npName,
                                             unsigned int nMaxTimerCount)
    : MsgDrivenThread(saturatedSum(nMaxMsgSize, sizeof(int) + sizeof(void*)), nMaxMsgCount, npName, nMaxTimerCount),
      mMaxRawSize(saturatedSum(nMaxMsgSize, sizeof(int))),
      mPostMsg(mMaxRawSize),
      mSendSyncMsg(mMaxRawSize),
      mSendInterruptMsg(mMaxRawSize),
      mReceiveMsg(mMaxRawSize),
      mMsgListeners(static_cast<int>(nMaxListenerCount) < 0 ? 0 : nMaxListenerCount),
      mForwardIndex(NO_FORWARD),
      mTimerListenerMap(nMaxTimerCount)
{
}

MsgDrivenSharedThread::~MsgDrivenSharedThread()
{
    MsgDrivenThread::stop(1, 0); // the loop calls this class's receiveMsg
    awaitEnd();
}

/// Whether the caller is the message thread itself, not a later thread to which the kernel gave its id.
bool MsgDrivenSharedThread::isOnMessageThread() const
{
    return isOwnThread() && !hasDone(STAGE_DONE); // from its first instruction onon
}

int MsgDrivenSharedThread::start(int nUseWatchdog, unsigned int nAliveTimeMs, WatchdogTimerListener* npWatchdogListener,
                                 int nWaitStart, unsigned int nWaitStartMs, ThreadPriority const& nPriority,
                                 unsigned int nReserved)
{
    if (isOnMessageThread()) // the lock's owner may be waiting for us
    {
        return -1;
    }
    ReportedGuard lGuard(mListenerSyncObject, "start", __LINE__);
    return MsgDrivenThread::start(this, nUseWatchdog, nAliveTimeMs, npWatchdogListener, nWaitStart, nWaitStartMs,
                                  nPriority, nReserved);
}

int MsgDrivenSharedThread::stop(int nWait, unsigned int nTimeoutMs)
{
    if (isOnMessageThread())
    {
        return -1;
    }
    ReportedGuard lGuard(mListenerSyncObject, "stop", __LINE__);
    return MsgDrivenThread::stop(nWait, nTimeoutMs);
}

bool MsgDrivenSharedThread::attachMsgListener(ThreadMsgListener* npListener)
{
    return changeList(MSG_ID_ATTACH_LISTENER, npListener, "attachMsgListener");
}

void MsgDrivenSharedThread::detachMsgListener(ThreadMsgListener* npListener)
{
    changeList(MSG_ID_DETACH_LISTENER, npListener, "detachMsgListener");
}

/// Changes the list: at once if no loop uses it, otherwise on the message thread. Result: that of the change.
bool MsgDrivenSharedThread::changeList(int nMsgId, ThreadMsgListener* npListener, char const* npFunction)
{
    if (isOnMessageThread())
    {
        return executeChange(nMsgId, npListener);
    }
    ReportedGuard lGuard(mListenerSyncObject, npFunction, __LINE__);
    if (mayChangeListLocked(npFunction))
    {
        return executeChange(nMsgId, npListener);
    }
    MsgListenerMsg lMsg(nMsgId);
    lMsg.mpListener = npListener;
    mAttachResult = false;
    if (!blockingCall(FILE_NAME, npFunction, __LINE__, [&] { return MsgDrivenThread::sendMsgSync(lMsg); }))
    {
        applog(UTL_LOG_TYPE, 1, "MsgDrivenSharedThread::%s(): Can't send thread", npFunction);
        return false;
    }
    return mAttachResult;
}

bool MsgDrivenSharedThread::executeChange(int nMsgId, ThreadMsgListener* npListener)
{
    return nMsgId == MSG_ID_ATTACH_LISTENER ? addMsgListener(npListener) : eraseMsgListener(npListener);
}

/// Result: true if no loop walks the list: it has not begun, or its end was waited for. Otherwise the message thread
/// must change the list.
bool MsgDrivenSharedThread::mayChangeListLocked(char const* npFunction)
{
    if (!hasDone(STAGE_STARTED))
    {
        return true;
    }
    if (!hasDone(STAGE_STOP_REQUESTED))
    {
        blockingCall(FILE_NAME, npFunction, __LINE__, [&] { return waitTo(STAGE_PREPARED, 0); });
        return false;
    }
    while (isRunning() && blockingCall(FILE_NAME, npFunction, __LINE__, [&] { return waitTo(STAGE_DONE, 0); }) == 0)
    {
        // a single wait may end early
    }
    return true;
}

bool MsgDrivenSharedThread::addMsgListener(ThreadMsgListener* npListener)
{
    if (npListener == nullptr)
    {
        return false;
    }
    for (unsigned int lIndex = 0; lIndex < mMsgListeners.size(); ++lIndex)
    {
        if (*mMsgListeners.at(lIndex) == npListener)
        {
            return true;
        }
    }
    return mMsgListeners.insertAt(mMsgListeners.size(), npListener);
}

bool MsgDrivenSharedThread::eraseMsgListener(ThreadMsgListener* npListener)
{
    for (unsigned int lIndex = 0; lIndex < mMsgListeners.size(); ++lIndex)
    {
        if (*mMsgListeners.at(lIndex) == npListener)
        {
            mMsgListeners.removeAt(lIndex);
            if (mForwardIndex > static_cast<int>(lIndex))
            {
                --mForwardIndex; // the listener being called has moved up
            }
            return true;
        }
    }
    return false;
}

bool MsgDrivenSharedThread::abortMsg(ThreadMsgListener* npListener)
{
    if (npListener == nullptr)
    {
        return false;
    }
    bool lResult = true;
    for (int lTimerId = takeTimerOf(npListener); lTimerId != -1; lTimerId = takeTimerOf(npListener))
    {
        lResult &= killTimer(lTimerId, 0);
    }
    JudgeMsgSpecifiedListener lJudge(*this, npListener, MSG_ID_ANY);
    MsgJudgement<JudgeMsgSpecifiedListener> lJudgement(&lJudge);
    if (isOnMessageThread())
    {
        eraseMsgFromInterruptQueue(&lJudgement);
    }
    return eraseMsgInternal(&lJudgement) && lResult;
}

/// Removes the last timer of a listener from the table. Result: its id, -1 for none.
int MsgDrivenSharedThread::takeTimerOf(ThreadMsgListener* npListener)
{
    ReportedGuard lGuard(mTimerListenerSyncObject, "abortMsg", __LINE__);
    for (unsigned int lIndex = mTimerListenerMap.size(); lIndex-- > 0;)
    {
        if (mTimerListenerMap.at(lIndex)->mValue == npListener)
        {
            int const lTimerId = mTimerListenerMap.at(lIndex)->mKey;
            mTimerListenerMap.erase(lTimerId);
            return lTimerId;
        }
    }
    return -1;
}

// ---------------------------------------------------------------------------------------------- sending

/// Wraps a message into the envelope and sends that. The envelope is locked until nSend has returned.
template <class Send>
bool MsgDrivenSharedThread::sendSpecified(Staging& nStaging, ThreadMsgListener* npListener, Msg const& nMsg, Send nSend)
{
    SyncGuard lGuard(nStaging.mSyncObject);
    nStaging.mMsg.mpListener = npListener;
    return nMsg.storeTo(&nStaging.mMsg.mRawMsg) && nSend(nStaging.mMsg);
}

bool MsgDrivenSharedThread::postMsg(ThreadMsgListener* npListener, Msg const& nMsg)
{
    return npListener != nullptr &&
           sendSpecified(mPostMsg, npListener, nMsg,
                         [this](Msg const& nEnvelope) { return MsgDrivenThread::postMsg(nEnvelope); });
}

bool MsgDrivenSharedThread::sendMsgSync(ThreadMsgListener* npListener, Msg const& nMsg)
{
    return npListener != nullptr && !isOnMessageThread() &&
           sendSpecified(mSendSyncMsg, npListener, nMsg,
                         [this](Msg const& nEnvelope) { return MsgDrivenThread::sendMsgSync(nEnvelope); });
}

bool MsgDrivenSharedThread::sendMsgInterrupt(ThreadMsgListener* npListener, Msg const& nMsg)
{
    return npListener != nullptr && !isOnMessageThread() &&
           sendSpecified(mSendInterruptMsg, npListener, nMsg,
                         [this](Msg const& nEnvelope) { return MsgDrivenThread::sendMsgInterrupt(nEnvelope); });
}

// ---------------------------------------------------------------------------------------------- views

/// Calls nDo with the judgement of a judge.
template <class Judge, class Do>
bool MsgDrivenSharedThread::withJudge(Judge nJudge, Do nDo)
{
    MsgJudgement<Judge> lJudgement(&nJudge);
    return nDo(&lJudgement);
}

bool MsgDrivenSharedThread::hasMsg(int nMsgId)
{
    return withJudge(JudgeMsgBroadcast(*this, nMsgId), [&](auto* npBy) { return hasMsgInternal(npBy); });
}

bool MsgDrivenSharedThread::hasMsg(ThreadMsgListener* npListener, int nMsgId)
{
    return npListener != nullptr && withJudge(JudgeMsgSpecifiedListener(*this, npListener, nMsgId),
                                              [&](auto* npBy) { return hasMsgInternal(npBy); });
}

bool MsgDrivenSharedThread::eraseMsg(int nMsgId)
{
    return withJudge(JudgeMsgBroadcast(*this, nMsgId), [&](auto* npBy) { return eraseMsgInternal(npBy); });
}

bool MsgDrivenSharedThread::eraseMsg(ThreadMsgListener* npListener, int nMsgId)
{
    return npListener != nullptr && withJudge(JudgeMsgSpecifiedListener(*this, npListener, nMsgId),
                                              [&](auto* npBy) { return eraseMsgInternal(npBy); });
}

bool MsgDrivenSharedThread::peekMsg(int nMsgId, ThreadRawMsg* npRawMsg)
{
    return withJudge(JudgeMsgBroadcast(*this, nMsgId), [&](auto* npBy) { return peekMsgInternal(npBy, npRawMsg); });
}

bool MsgDrivenSharedThread::peekMsg(ThreadMsgListener* npListener, int nMsgId, ThreadRawMsg* npRawMsg)
{
    if (npListener == nullptr || npRawMsg == nullptr)
    {
        return false;
    }
    JudgeMsgSpecifiedListener lJudge(*this, npListener, nMsgId);
    MsgJudgement<JudgeMsgSpecifiedListener> lJudgement(&lJudge);
    ThreadRawMsg lRawMsg(sizeof(int));
    if (!peekMsgInternal(&lJudgement, &lRawMsg))
    {
        return false;
    }
    if (lJudge.isTimerMsg())
    {
        *npRawMsg = lRawMsg;
        return true;
    }
    SpecifiedMsgListenerMsg lEnvelope(mMaxRawSize);
    lEnvelope.restoreFrom(lRawMsg);
    *npRawMsg = lEnvelope.mRawMsg;
    return true;
}

int MsgDrivenSharedThread::getFirstMsgId()
{
    ThreadRawMsg lRawMsg(sizeof(int));
    return peekMsg(MSG_ID_ANY, &lRawMsg) ? idOf(lRawMsg) : MSG_ID_NONE;
}

int MsgDrivenSharedThread::getFirstMsgId(ThreadMsgListener* npListener)
{
    ThreadRawMsg lRawMsg(sizeof(int));
    return peekMsg(npListener, MSG_ID_ANY, &lRawMsg) ? idOf(lRawMsg) : MSG_ID_NONE;
}

// ---------------------------------------------------------------------------------------------- timers

int MsgDrivenSharedThread::registerTimer(unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    return enterTimer(MsgDrivenThread::registerTimer(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning), nullptr);
}

int MsgDrivenSharedThread::registerTimer(ThreadMsgListener* npListener, unsigned int nIntervalMs,
                                         unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    return npListener != nullptr
               ? enterTimer(MsgDrivenThread::registerTimer(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning), npListener)
               : -1;
}

/// Notes the listener of a registered timer. Result: the id; -1 for -1, and for a full table, with the timer killed.
int MsgDrivenSharedThread::enterTimer(int nTimerId, ThreadMsgListener* npListener)
{
    if (nTimerId == -1)
    {
        return -1;
    }
    {
        ReportedGuard lGuard(mTimerListenerSyncObject, "registerTimer", __LINE__);
        if (mTimerListenerMap.insert(nTimerId, npListener))
        {
            return nTimerId;
        }
    }
    killTimer(nTimerId, 1);
    return -1;
}

int MsgDrivenSharedThread::setTimer(unsigned int nIntervalMs, int nNoWait, unsigned int nMaxTimeoutCount,
                                    int nIsFreeRunning)
{
    return startEntered(registerTimer(nIntervalMs, nMaxTimeoutCount, nIsFreeRunning), nNoWait);
}

int MsgDrivenSharedThread::setTimer(ThreadMsgListener* npListener, unsigned int nIntervalMs, int nNoWait,
                                    unsigned int nMaxTimeoutCount, int nIsFreeRunning)
{
    return startEntered(registerTimer(npListener, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning), nNoWait);
}

int MsgDrivenSharedThread::startEntered(int nTimerId, int nNoWait)
{
    if (nTimerId == -1 || startTimer(nTimerId, nNoWait))
    {
        return nTimerId;
    }
    ReportedGuard lGuard(mTimerListenerSyncObject, "setTimer", __LINE__);
    mTimerListenerMap.erase(nTimerId);
    return -1;
}

void MsgDrivenSharedThread::onEraseTimer(int nTimerId)
{
    ReportedGuard lGuard(mTimerListenerSyncObject, "onEraseTimer", __LINE__);
    mTimerListenerMap.erase(nTimerId);
}

// ---------------------------------------------------------------------------------------------- on the message thread

void MsgDrivenSharedThread::receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg)
{
    int lMsgId = MSG_ID_NONE;
    if (!nRawMsg.getMsgId(&lMsgId))
    {
        applog(UTL_LOG_TYPE, 1, "Unknown MsgId Received (%s)", getName().c_str());
        return;
    }
    blockingCall(FILE_NAME, "receiveMsg", __LINE__,
                 [&]
                 {
                     route(lMsgId, nThreadId, nRawMsg);
                     return true;
                 });
}

void MsgDrivenSharedThread::route(int nMsgId, int nThreadId, ThreadRawMsg& nRawMsg)
{
    switch (nMsgId)
    {
    case MSG_ID_TIMER:
        return onTimer(nThreadId, nRawMsg);
    case MSG_ID_ATTACH_LISTENER:
    case MSG_ID_DETACH_LISTENER:
        return onChangeList(nMsgId, nRawMsg);
    case MSG_ID_SPECIFIED_LISTENER:
        return onSpecifiedMsgListener(nThreadId, nRawMsg);
    default:
        return forwardMsg(nThreadId, nRawMsg);
    }
}

/// From the last to the first. Listeners may come and go meanwhile: those that come stand behind, and eraseMsgListener
/// moves the index with those that stay.
void MsgDrivenSharedThread::forwardMsg(int nThreadId, ThreadRawMsg& nRawMsg)
{
    int const lOuterIndex = mForwardIndex; // that of an outer broadcast, whose listener makes this one
    for (mForwardIndex = static_cast<int>(mMsgListeners.size()) - 1; mForwardIndex >= 0; --mForwardIndex)
    {
        ThreadMsgListener* const* const lppListener = mMsgListeners.at(static_cast<unsigned int>(mForwardIndex));
        if (lppListener != nullptr)
        {
            (*lppListener)->receiveMsg(nThreadId, nRawMsg);
        }
    }
    mForwardIndex = lOuterIndex;
}

void MsgDrivenSharedThread::onChangeList(int nMsgId, ThreadRawMsg& nRawMsg)
{
    MsgListenerMsg lMsg(MSG_ID_NONE);
    lMsg.restoreFrom(nRawMsg);
    mAttachResult = executeChange(nMsgId, lMsg.mpListener);
}

void MsgDrivenSharedThread::onSpecifiedMsgListener(int nThreadId, ThreadRawMsg& nRawMsg)
{
    mReceiveMsg.restoreFrom(nRawMsg);
    if (mReceiveMsg.mpListener != nullptr)
    {
        mReceiveMsg.mpListener->receiveMsg(nThreadId, mReceiveMsg.mRawMsg);
    }
}

void MsgDrivenSharedThread::onTimer(int nThreadId, ThreadRawMsg& nRawMsg)
{
    TimerMsg lMsg;
    lMsg.restoreFrom(nRawMsg);
    ThreadMsgListener* lpListener = nullptr;
    {
        ReportedGuard lGuard(mTimerListenerSyncObject, "onTimer", __LINE__);
        auto const* const lpPair = mTimerListenerMap.find(lMsg.mTimerId);
        if (lpPair == nullptr)
        {
            return; // aborted meanwhile
        }
        lpListener = lpPair->mValue;
    }
    if (lpListener == nullptr)
    {
        forwardMsg(nThreadId, nRawMsg);
        return;
    }
    lpListener->receiveMsg(nThreadId, nRawMsg);
}

} // namespace utl
