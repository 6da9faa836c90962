/// A message thread and a listener that a test can hold and question.
#ifndef UTL_TEST_MSG_THREAD_H
#define UTL_TEST_MSG_THREAD_H

#include "UtlMsgDrivenThread.h"
#include "support/Gate.h"

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
    static bool postCtl(MsgDrivenThread& nThread, int nMsgId) { return nThread.postThreadCtlMsg(nMsgId, -1); }
    static bool eraseCtl(MsgDrivenThread& nThread, int nMsgId) { return nThread.eraseMsgFromCtlQueue(nMsgId); }
    static bool earse(MsgDrivenThread& nThread, unsigned int nCtl, unsigned int nPos, unsigned int nSize)
    {
        return nThread.earseMsgQueue(nCtl, nPos, nSize);
    }

    /// On the message thread: as if a signal of the timer had come over the pipe.
    static void expire(MsgDrivenThread& nThread, int nTimerId) { nThread.executeTimeoutSignal(nTimerId); }

    /// The messages that a loop left in the queues, in order: id and number; -1 where queue and data do not agree.
    static std::vector<std::pair<int, int>> left(MsgDrivenThread& nThread)
    {
        SyncGuard lGuard(nThread.mQueueSyncObject);
        std::vector<std::pair<int, int>> lLeft;
        unsigned int lDataPos = 0;
        for (unsigned int lIndex = 0; lIndex < nThread.mCtlQueue.size(); ++lIndex)
        {
            int const lMsgId = nThread.mCtlQueue.at(lIndex)->mMsgId;
            if (lMsgId == MSG_ID_SYNC || lMsgId >= MSG_ID_FIRST_USER)
            {
                int lSlot[2] = {-1, -1}; // id and number
                nThread.mDataQueue.copyOut(lDataPos, reinterpret_cast<unsigned char*>(lSlot), sizeof(lSlot));
                lDataPos += nThread.slotSize();
                lLeft.emplace_back(lMsgId == MSG_ID_SYNC || lMsgId == lSlot[0] ? lSlot[0] : -1, lSlot[1]);
            }
        }
        if (lDataPos != nThread.mDataQueue.size())
        {
            lLeft.emplace_back(-1, -1);
        }
        return lLeft;
    }

    static unsigned int ctlCount(MsgDrivenThread& nThread)
    {
        SyncGuard lGuard(nThread.mQueueSyncObject);
        return nThread.mCtlQueue.size();
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
    void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) override
    {
        NumberMsg lMsg(0);
        lMsg.restoreFrom(nRawMsg);
        int lMsgId = 0;
        nRawMsg.getMsgId(&lMsgId);
        std::function<void(int)> lAction;
        {
            std::lock_guard<std::mutex> lGuard(mMutex);
            mThreadId = nThreadId;
            mReceived.emplace_back(lMsgId, lMsg.mNumber);
            lAction = mActions[lMsgId];
        }
        if (lAction)
        {
            lAction(lMsg.mNumber);
        }
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

    std::vector<int> ids() const
    {
        std::vector<int> lIds;
        for (auto const& lReceived : received())
        {
            lIds.push_back(lReceived.first);
        }
        return lIds;
    }

    unsigned int count(int nMsgId) const
    {
        unsigned int lCount = 0;
        for (int lId : ids())
        {
            lCount += lId == nMsgId ? 1U : 0U;
        }
        return lCount;
    }

    int threadId() const
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        return mThreadId;
    }

private:
    mutable std::mutex mMutex;
    std::map<int, std::function<void(int)>> mActions;
    std::vector<std::pair<int, int>> mReceived;
    int mThreadId = 0;
};

/// A started message thread of Base with a Recorder. HOLD parks the listener until release().
template <class Base = MsgDrivenThread>
class Started : public Base
{
public:
    static constexpr int HOLD = 9001;
    static constexpr int FENCE = 9002;

    explicit Started(unsigned int nMaxMsgCount = 8, unsigned int nMaxMsgSize = 16, unsigned int nMaxTimerCount = 4)
        : Base(nMaxMsgSize, nMaxMsgCount, "under test", nMaxTimerCount)
    {
        mRecorder.on(HOLD,
                     [this](int)
                     {
                         mEntered.open();
                         mRelease.wait();
                     });
        this->start(&mRecorder, 0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0);
    }
    ~Started() override
    {
        mRelease.open();
        this->stop(1, 0);
        this->leaveManagement();
    }

    /// Afterwards the thread is inside its listener, and stays there.
    bool hold() { return this->sendMsgAsync(SimpleMsg(HOLD)) && mEntered.wait(); }
    void release() { mRelease.open(); }

    /// Waits until all that was queued before has been dispatched.
    bool fence() { return this->sendMsgSync(FENCE); }

    Recorder mRecorder;

private:
    Gate mEntered;
    Gate mRelease;
};

} // namespace utl::test

#endif
