/// A message thread and a listener that a test can hold and question.
#ifndef UTL_TEST_MSG_THREAD_H
#define UTL_TEST_MSG_THREAD_H

#include "UtlThreadManager.h"
#include "internal/message/UtlMsgDrivenThreadImpl.h"
#include "support/Gate.h"

#include <cstring>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace utl
{

/// A test's way to the queues of a message thread.
class MsgDrivenThreadTestPeer
{
public:
    using Impl = MsgDrivenThread::Impl;

    static bool postCtl(MsgDrivenThread& nThread, int nMsgId) { return nThread.postThreadCtlMsg(nMsgId, -1); }
    static bool eraseCtl(MsgDrivenThread& nThread, int nMsgId) { return nThread.eraseMsgFromCtlQueue(nMsgId); }

    /// On the message thread: as if a signal of the timer had come and been noted.
    static void expire(MsgDrivenThread& nThread, int nTimerId) { expireOf(*nThread.mpImpl, nTimerId); }

    template <class Loop>
    static void expireOf(Loop& nLoop, int nTimerId)
    {
        SyncGuard lGuard(nLoop.mSyncObject);
        TimerInfo& lInfo = *nLoop.mTimers.find(nTimerId);
        lInfo.mAwaitsFirst = false;
        nLoop.mTimers.notes().add({lInfo.mSysTimerNumber, 0});
        nLoop.takeNotesLocked();
    }

    /// Afterwards the loop waits, its note up: the next record is written to its pipe.
    static bool sleeps(MsgDrivenThread& nThread) { return sleepsOf(*nThread.mpImpl); }

    template <class Loop>
    static bool sleepsOf(Loop& nLoop)
    {
        return test::waitUntil(
            [&]
            {
                SyncGuard lGuard(nLoop.mSyncObject);
                return nLoop.mIsAsleep;
            });
    }

    /// The messages that a loop left in the queues, in order: id and number; -1 where queue and data do not agree.
    static std::vector<std::pair<int, int>> left(MsgDrivenThread& nThread)
    {
        Impl& lImpl = *nThread.mpImpl;
        SyncGuard lGuard(lImpl.mSyncObject);
        std::vector<std::pair<int, int>> lLeft;
        unsigned int lSlot = 0;
        for (unsigned int lIndex = 0; lIndex < lImpl.mCtlQueue.size(); ++lIndex)
        {
            int const lMsgId = lImpl.mCtlQueue.at(lIndex).mMsgId;
            if (lMsgId == MSG_ID_SYNC || lMsgId >= MSG_ID_FIRST_USER)
            {
                int lImage[2] = {-1, -1}; // id and number
                std::memcpy(lImage, lImpl.mQueues.slots().at(lSlot++), sizeof(lImage));
                lLeft.emplace_back(lMsgId == MSG_ID_SYNC || lMsgId == lImage[0] ? lImage[0] : -1, lImage[1]);
            }
        }
        if (lSlot != lImpl.mQueues.slots().size())
        {
            lLeft.emplace_back(-1, -1);
        }
        return lLeft;
    }

    /// Releases who waits for a synchronous message, as the loop's end does.
    static void answerSync(MsgDrivenThread& nThread) { nThread.mpImpl->mSync.mCompletion.give(); }

    static unsigned int ctlCount(MsgDrivenThread& nThread) { return ctlCountOf(*nThread.mpImpl); }

    template <class Loop>
    static unsigned int ctlCountOf(Loop& nLoop)
    {
        SyncGuard lGuard(nLoop.mSyncObject);
        return nLoop.mCtlQueue.size();
    }
};

} // namespace utl

namespace utl::test
{

/// A message with one number.
class NumberMsg : public Msg
{
public:
    explicit NumberMsg(int nMsgId, int nNumber = 0)
        : Msg(nMsgId),
          mNumber(nNumber)
    {
    }

    int mNumber;

protected:
    void storeDataTo(MsgDataBroker* npBroker) const override { npBroker->set(mNumber); }
    void restoreDataFrom(MsgDataBroker& nBroker) override { nBroker.get(&mNumber); }
};

/// Records ids and numbers; runs what a test has set for an id. The number of a time-out is its timer id.
class Recorder : public ThreadMsgListener
{
public:
    void receiveMsg(int, ThreadRawMsg& nRawMsg) override
    {
        NumberMsg lMsg(0);
        lMsg.restoreFrom(nRawMsg);
        nRawMsg.getMsgId(&lMsg.mMsgId);
        note(lMsg.mMsgId, lMsg.mNumber);
        std::unique_lock<std::mutex> lLock(mMutex);
        if (auto const lAction = mActions[lMsg.mMsgId])
        {
            lLock.unlock();
            lAction(lMsg.mNumber);
        }
    }

    void note(int nMsgId, int nNumber)
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mReceived.emplace_back(nMsgId, nNumber);
    }

    /// Set before the message can come.
    void on(int nMsgId, std::function<void(int)> nAction)
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mActions[nMsgId] = std::move(nAction);
    }

    std::vector<std::pair<int, int>> received() const
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        return mReceived;
    }

    /// The numbers that came with an id.
    std::vector<int> numbers(int nMsgId) const
    {
        std::vector<int> lNumbers;
        for (auto const& [lMsgId, lNumber] : received())
        {
            lNumbers.insert(lNumbers.end(), lMsgId == nMsgId ? 1 : 0, lNumber);
        }
        return lNumbers;
    }
    std::size_t count(int nMsgId) const { return numbers(nMsgId).size(); }

private:
    mutable std::mutex mMutex;
    std::map<int, std::function<void(int)>> mActions;
    std::vector<std::pair<int, int>> mReceived;
};

/// A message thread of Base that can be kept inside a listener, and threads that wait for it meanwhile.
template <class Base>
class Holdable : public Base
{
public:
    using Base::Base;

    /// Does something on a thread of its own. Result: then so many control records wait.
    bool elsewhere(unsigned int nQueued, std::function<void()> nDo)
    {
        mOthers.emplace_back(std::move(nDo));
        return waitUntil([&] { return MsgDrivenThreadTestPeer::ctlCount(*this) == nQueued; });
    }

    /// The thread goes on, and the others come to their ends.
    void release()
    {
        mRelease.open();
        for (std::thread& lOther : mOthers)
        {
            lOther.join();
        }
        mOthers.clear();
    }

protected:
    /// By the listener: stays here until release().
    void park()
    {
        mEntered.open();
        mRelease.wait();
    }

    void end()
    {
        release();
        this->stop(1, 0);
        this->leaveManagement();
    }

    Gate mEntered;

private:
    Gate mRelease;
    std::vector<std::thread> mOthers;
};

/// A started message thread with a Recorder.
class Started : public Holdable<MsgDrivenThread>
{
public:
    static constexpr int HOLD = 9001;
    static constexpr int FENCE = 9002;
    static constexpr int ERASED = 9003; // noted for a timer that leaves

    explicit Started(unsigned int nMaxMsgCount = 8, unsigned int nMaxMsgSize = 16, unsigned int nMaxTimerCount = 4,
                     char const* npName = "under test")
        : Holdable(nMaxMsgSize, nMaxMsgCount, npName, nMaxTimerCount)
    {
        ThreadManager::get()->setWatchdogWatchInterval(0); // the watchdog's thread is not to meet the faults
        mRecorder.on(HOLD, [this](int) { park(); });
        start(&mRecorder, 0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
    }
    ~Started() override { end(); }

    /// Afterwards the thread is inside its listener, and stays there.
    bool hold() { return sendMsgAsync(SimpleMsg(HOLD)) && mEntered.wait(); }

    /// Waits until all that was queued before has been dispatched.
    bool fence() { return sendMsgSync(FENCE); }

    /// The messages of the test that were heard.
    std::vector<int> ids() const
    {
        std::vector<int> lIds;
        for (auto const& lReceived : mRecorder.received())
        {
            lIds.insert(lIds.end(), lReceived.first < HOLD ? 1 : 0, lReceived.first);
        }
        return lIds;
    }
    std::vector<int> erased() const { return mRecorder.numbers(ERASED); }

    Recorder mRecorder;

private:
    void onEraseTimer(int nTimerId) override { mRecorder.note(ERASED, nTimerId); }
};

} // namespace utl::test

#endif
