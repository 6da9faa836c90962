// What comes together once in years, brought about on purpose: memory, timer slots and queues that run out in the midst
// of something, judgements that change the queue they walk, calls from the one thread that must not wait, arguments that
// nobody should pass.
//
//   UtlCornerProof [CASE]...          all, or those named
//
// Each case says what must come out; what does not ends the program with 1, the case and its line, a hang with 3.
#include "Heap.h"
#include "Prove.h"
#include "Utl.h"
#include "internal/UtlKernelTimer.h"
#include "internal/UtlRecordPipe.h"
#include "internal/UtlStringSearch.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MsgThread.h"
#include "support/Resources.h"

#include <climits>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// ---------------------------------------------------------------------------------------------- the heap

namespace
{
std::atomic<std::size_t> gLargestBlock{SIZE_MAX}; // there is no memory for a larger one
} // namespace

void* utl::proof::allocate(std::size_t nSize)
{
    return nSize <= gLargestBlock ? std::malloc(nSize != 0 ? nSize : 1) : nullptr;
}

void utl::proof::giveBack(void* npBlock)
{
    std::free(npBlock);
}

namespace utl
{

class MemoryTestPeer
{
public:
    static unsigned int findFileId(char const* npPath) { return Memory::get()->findFileId(npPath); }
    static bool reportTotals(char const* npPath) { return Memory::get()->reportTotals(3, npPath); }
};

class ThreadWatchdogTestPeer
{
public:
    static void timeOut(ThreadWatchdog& nWatchdog, int nId) { nWatchdog.executeWatchdogTimeout(nId); }
    static WatchdogInfo info(ThreadWatchdog& nWatchdog, int nId)
    {
        SyncGuard lGuard(nWatchdog.mSyncObject);
        return *nWatchdog.findWatchdogInfo(nId);
    }
};

class SharedTimerTestPeer
{
public:
    static void expire(SharedTimer& nTimer, int nTimerId) { nTimer.executeTimeoutSignal(nTimerId); }
    static void setNextTimerId(SharedTimer& nTimer, int nTimerId)
    {
        SyncGuard lGuard(nTimer.mDataSyncObject);
        nTimer.mNextUserTimerId = nTimerId;
    }
};

} // namespace utl

namespace
{

using namespace utl;
using internal::SystemCalls;
using test::FailNth;
using test::Gate;
using test::LogCapture;
using test::NumberMsg;
using test::Replaced;
using test::Started;
using Peer = MsgDrivenThreadTestPeer;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);
unsigned int const LONG_MS = 1000000;

/// No block above nSize bytes for its scope.
class NoMemory
{
public:
    explicit NoMemory(std::size_t nSize = 0) { gLargestBlock = nSize; }
    ~NoMemory() { gLargestBlock = SIZE_MAX; }
    NoMemory(NoMemory const&) = delete;
    NoMemory& operator=(NoMemory const&) = delete;
};

template <class Work>
bool throwsBadAlloc(Work nWork)
{
    try
    {
        nWork();
    }
    catch (std::bad_alloc const&)
    {
        return true;
    }
    return false;
}

/// The thread waits in the kernel: for a lock, where it can be for nothing else.
bool isAsleep(int nThreadId)
{
    std::ifstream lFile("/proc/self/task/" + std::to_string(nThreadId) + "/stat");
    std::string lText;
    std::getline(lFile, lText);
    std::size_t const lAt = lText.rfind(") ");
    return lAt != std::string::npos && lText[lAt + 2] == 'S';
}

// ---------------------------------------------------------------------------------------------- message threads

/// A message thread that does things on itself. Of no class between: the thread runs from the constructor on.
class Busy final : public test::Holdable<MsgDrivenThread>
{
public:
    static constexpr int HOLD = Started::HOLD;

    explicit Busy(unsigned int nMaxMsgCount = 8, unsigned int nMaxMsgSize = 16, unsigned int nMaxTimerCount = 4)
        : Holdable(nMaxMsgSize, nMaxMsgCount, "under test", nMaxTimerCount)
    {
        mRecorder.on(HOLD, [this](int) { park(); });
        PROVE_EQ(0, start(&mRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    }
    ~Busy() override { end(); }

    using MsgDrivenThread::eraseMsgFromInterruptQueue;
    using MsgDrivenThread::eraseMsgInternal;
    using MsgDrivenThread::hasMsgInternal;
    using MsgDrivenThread::peekMsgInternal;

    /// As those of Started.
    bool hold() { return sendMsgAsync(SimpleMsg(HOLD)) && mEntered.wait(); }
    bool fence() { return sendMsgSync(Started::FENCE); }
    std::vector<int> ids() const
    {
        std::vector<int> lIds;
        for (auto const& lReceived : mRecorder.received())
        {
            lIds.insert(lIds.end(), lReceived.first < HOLD ? 1 : 0, lReceived.first);
        }
        return lIds;
    }

    /// Waits until the message thread, in its listener, has done it.
    void doThere(std::function<void()> nWork)
    {
        Gate lDone;
        mRecorder.on(DO,
                     [&](int)
                     {
                         nWork();
                         lDone.open();
                     });
        PROVE(sendMsgAsync(SimpleMsg(DO)) && lDone.wait());
    }

    /// A timer that runs and whose one time-out waits in the queue. On the message thread.
    int expired()
    {
        int const lTimerId = setTimer(LONG_MS, 0, 1, 0);
        PROVE(lTimerId > 0);
        Peer::expire(*this, lTimerId);
        return lTimerId;
    }

private:
    static constexpr int DO = HOLD - 1;

public:
    test::Recorder mRecorder;
};

template <class F>
MsgDrivenThread::MsgJudgement<F> judgement(F& nFunction)
{
    return MsgDrivenThread::MsgJudgement<F>(&nFunction);
}

/// A judgement that erases all there is at its first message, and passes it or not.
struct EraseAll
{
    Busy& mThread;
    bool mPasses;
    bool mHasErased = false;

    bool operator()(ThreadRawMsg&)
    {
        if (!mHasErased)
        {
            mHasErased = true;
            PROVE(mThread.eraseMsg(MSG_ID_ANY));
        }
        return mPasses;
    }
};

/// What is looked at goes while it is looked at: told, and nothing is touched that is not there any more.
void judgeErases()
{
    Busy lThread;
    auto const lErase = [&](bool nPasses)
    {
        EraseAll lJudge{lThread, nPasses};
        auto lJudgement = judgement(lJudge);
        return lThread.eraseMsgInternal(&lJudgement);
    };
    auto const lLeft = [&](int nExpected) { PROVE_EQ(nExpected, Peer::ctlCount(lThread)); };
    LogCapture const lLog;
    lThread.doThere(
        [&]
        {
            lThread.expired();
            PROVE(!lErase(true)); // a time-out
            PROVE_EQ(1, lLog.count("MsgDrivenThread::executeEraseMsg(): Erase Ctl Queue fail."));
            lLeft(0);
            PROVE(lThread.sendMsgAsync(SimpleMsg(20)));
            PROVE(!lErase(true)); // a posted message
            PROVE_EQ(1, lLog.count("MsgDrivenThread::executeEraseMsg(): erase Data Queue fail."));
            lLeft(0);
            PROVE(lThread.sendMsgAsync(SimpleMsg(20)) && lThread.sendMsgAsync(SimpleMsg(21)));
            PROVE(lErase(false)); // none is left behind the first
            lLeft(0);
            PROVE(lThread.sendMsgAsync(SimpleMsg(20)) && lThread.sendMsgAsync(SimpleMsg(21)));
            EraseAll lJudge{lThread, false};
            auto lJudgement = judgement(lJudge);
            PROVE(!lThread.hasMsgInternal(&lJudgement));
            lLeft(0);
        });
    PROVE(lThread.fence());
    PROVE_EQ(1, lThread.ids().size()); // what the thread was asked to do, and nothing else
}

/// Records without a slot, slots without a record, and ids that no message should have.
void queuesDoNotFit()
{
    Busy lThread;
    LogCapture const lLog;
    // A record without a slot is told, stays at the head, and nothing passes it.
    for (auto const& [lMsgId, lShown] : {std::pair(20, "0x00000014"), std::pair(MSG_ID_SYNC, "0x80000005")})
    {
        std::string const lLine =
            std::string("!!!!!!!! MsgDrivenThread(under test) Error. MsgId:") + lShown + " !!!!!!!!";
        PROVE(Peer::postCtl(lThread, lMsgId));
        PROVE(test::waitUntil([&] { return lLog.count(lLine) == 1; }));
        PROVE(Peer::eraseCtl(lThread, lMsgId) && lThread.fence() && lThread.fence());
    }
    for (int lMsgId : {20, MSG_ID_SYNC})
    {
        lThread.doThere(
            [&]
            {
                PROVE(Peer::postCtl(lThread, lMsgId));
                PROVE(!lThread.hasMsg(MSG_ID_ANY) && !lThread.eraseMsg(MSG_ID_ANY));
                PROVE(Peer::eraseCtl(lThread, lMsgId) && !Peer::eraseCtl(lThread, lMsgId));
            });
    }
    PROVE_EQ(2, lLog.count("ERR: MsgDrivenThread::executeFindMsg(): Peek Data Queue fail. Line="));
    PROVE_EQ(2, lLog.count("ERR: MsgDrivenThread::executeEraseMsg(): Peek Data Queue fail. Line="));
    for (int lReserved : {MSG_ID_NONE, MSG_ID_ANY, MSG_ID_TIMEOUT_SIGNAL})
    {
        lThread.doThere(
            [&]
            {
                PROVE(lThread.sendMsgAsync(SimpleMsg(lReserved)) && lThread.sendMsgAsync(SimpleMsg(20)));
                PROVE(!lThread.hasMsg(20)); // its slot is the second one
                PROVE(!lThread.eraseMsg(20));
                PROVE(!Peer::earse(lThread, 2, 0, 20) && !Peer::earse(lThread, 0, 40, 20)); // behind the ends
                PROVE(Peer::eraseCtl(lThread, lReserved));
            });
        PROVE(lThread.fence());
    }
    PROVE_EQ(3, lLog.count("ERR: MsgDrivenThread::executeEraseMsg(): Data Queue is different from Ctl Queue . Line="));
    PROVE_EQ(3, lLog.count("Erased Data !!!!!!!!"));
    PROVE_EQ(3, lThread.mRecorder.count(20));
}

/// Messages of no data at all: a time-out, which has four bytes, cannot be stored.
void tinyMessages()
{
    Busy lThread(8, 0, 2);
    LogCapture const lLog;
    lThread.doThere(
        [&]
        {
            lThread.expired();
            PROVE(!lThread.hasMsg(MSG_ID_ANY));
            PROVE_EQ(1, lLog.count("MsgDrivenThread::executeFindMsg(): Can't store message."));
            PROVE(!lThread.eraseMsg(MSG_ID_ANY));
            PROVE_EQ(1, lLog.count("MsgDrivenThread::executeEraseMsg(): Can't store message."));
        });
    PROVE(lThread.fence());
    PROVE_EQ(1, lLog.count("!!!!!!!! MsgDrivenThread(under test) Error. MsgId:0x80000008 !!!!!!!!"));
    PROVE_EQ(0, lThread.mRecorder.count(MSG_ID_TIMER));
}

void nothingToJudge()
{
    Busy lThread;
    ThreadRawMsg lRawMsg(4);
    auto lNever = [](ThreadRawMsg&) { return false; };
    auto lJudgement = judgement(lNever);
    PROVE(!lThread.hasMsgInternal(nullptr) && !lThread.eraseMsgInternal(nullptr));
    PROVE(!lThread.peekMsgInternal(nullptr, &lRawMsg) && !lThread.peekMsgInternal(&lJudgement, nullptr));
    // An interrupt that is judged and stays is heard.
    bool lIsReceived = false;
    PROVE(lThread.hold());
    PROVE(lThread.elsewhere(1, [&] { lIsReceived = lThread.sendMsgInterrupt(NumberMsg(21)); }));
    lThread.mRecorder.on(21, [](int) {});
    PROVE(!lThread.eraseMsgFromInterruptQueue(nullptr) && !lThread.eraseMsgFromInterruptQueue(&lJudgement));
    lThread.release();
    PROVE(lIsReceived);
    PROVE(!lThread.eraseMsgFromInterruptQueue(&lJudgement)); // none is left
}

/// Timers that a listener makes: a full table, a kernel that refuses.
void timersOfListener()
{
    Busy lThread(8, 16, 1);
    lThread.doThere(
        [&]
        {
            {
                test::QuietLog const lQuiet;
                FailNth<&SystemCalls::mTimerCreate> const lFault(0, EAGAIN);
                PROVE_EQ(-1, lThread.setTimer(LONG_MS, 0, 0, 0));
            }
            PROVE_EQ(1, lThread.remTimerIdCount());
            PROVE_EQ(1, lThread.setTimer(LONG_MS, 0, 0, 0)); // the id was not used up
            PROVE_EQ(-1, lThread.setTimer(LONG_MS, 0, 0, 0));
        });
}

/// Behind the highest id comes the lowest one that is free, and that nobody still waits to see stopped.
void timerIdsWrap()
{
    Busy lThread(8, 16, 5);
    PROVE_EQ(1, lThread.setTimer(LONG_MS, 0, 0, 0));
    PROVE_EQ(2, lThread.setTimer(LONG_MS, 0, 0, 0));
    Peer::setNextTimerId(lThread, INT_MAX);
    PROVE_EQ(INT_MAX, lThread.setTimer(LONG_MS, 0, 0, 0));
    PROVE_EQ(3, lThread.setTimer(LONG_MS, 0, 0, 0));
    PROVE(lThread.hold());
    PROVE(lThread.killTimer(2, 1)); // waits for the message thread
    Peer::setNextTimerId(lThread, INT_MAX - 1);
    PROVE_EQ(INT_MAX - 1, lThread.registerTimer(LONG_MS, 0, 0));
    PROVE_EQ(4, lThread.registerTimer(LONG_MS, 0, 0));
    lThread.release();
}

/// A write that reports an error though the record is on its way, and is served at once.
void writeThatWasNone()
{
    static Gate* gpServed = nullptr;
    Busy lThread;
    Gate lServed;
    gpServed = &lServed;
    lThread.mRecorder.on(20, [&](int) { lServed.open(); });
    test::QuietLog const lQuiet;
    Replaced const lWrite(&SystemCalls::mWrite,
                          [](int nFd, void const* npBytes, std::size_t nSize) -> ssize_t
                          {
                              ssize_t const lWritten = ::write(nFd, npBytes, nSize);
                              PROVE(lWritten == static_cast<ssize_t>(nSize) && gpServed->wait());
                              errno = EIO;
                              return -1;
                          });
    PROVE(lThread.sendMsgInterrupt(20)); // as its listener has heard it
    PROVE_EQ(1, lThread.mRecorder.count(20));
}

class Call : public TimerListener
{
public:
    void onTime(int nTimerId) override
    {
        mAction(nTimerId);
        ++mCalls;
    }

    std::function<void(int)> mAction = [](int) {};
    std::atomic<unsigned int> mCalls{0};
};

// ---------------------------------------------------------------------------------------------- lost writes

/// For its scope, the first nFailures writes fail, the first one after nMeanwhile has run: what comes between a record
/// and the write that would tell of it.
class FailingWrites
{
public:
    FailingWrites(int nFailures, std::function<void()> nMeanwhile)
    {
        gMeanwhile = std::move(nMeanwhile);
        gFailures = nFailures;
        gpWrite = internal::gSystem.mWrite.exchange(&write);
    }
    ~FailingWrites() { internal::gSystem.mWrite.exchange(gpWrite); }
    FailingWrites(FailingWrites const&) = delete;
    FailingWrites& operator=(FailingWrites const&) = delete;

private:
    static ssize_t write(int nFd, void const* npBytes, std::size_t nSize)
    {
        if (auto const lMeanwhile = std::exchange(gMeanwhile, nullptr))
        {
            lMeanwhile();
        }
        if (gFailures-- <= 0)
        {
            return ::write(nFd, npBytes, nSize);
        }
        errno = EIO;
        return -1;
    }

    static inline std::function<void()> gMeanwhile;
    static inline std::atomic<int> gFailures{0};
    static inline internal::SystemCall<ssize_t(int, void const*, std::size_t)>::Function gpWrite = nullptr;
};

/// A second sender has come behind a record that cannot be written: both are heard, in their order.
void secondSender()
{
    test::QuietLog const lQuiet;
    Busy lThread;
    bool lIsPosted = false;
    {
        FailingWrites const lWrites(1, [&] { lIsPosted = lThread.postMsg(21); });
        PROVE(lThread.postMsg(20) && lIsPosted);
    }
    PROVE(lThread.fence());
    PROVE((lThread.ids() == std::vector<int>{20, 21}));
    {
        FailingWrites const lWrites(1, [] {});
        PROVE(!lThread.postMsg(22)); // alone, it is taken back
    }
    PROVE(lThread.fence() && lThread.ids().size() == 2);
    {
        FailingWrites const lWrites(2, [&] { lIsPosted = lThread.postMsg(24); });
        PROVE(lThread.postMsg(23) && lIsPosted);
    }
    PROVE(lThread.postMsg(25) && lThread.fence()); // the next record that is written makes up for them
    PROVE((lThread.ids() == std::vector<int>{20, 21, 23, 24, 25}));

    Call lCall;
    SharedTimer lTimer(0, 0, nullptr, 3, "timer");
    int const lFirst = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    int const lSecond = lTimer.addTimer(&lCall, LONG_MS, 0, 0);
    {
        FailingWrites const lWrites(1, [&] { lIsPosted = lTimer.start(lSecond, 1); });
        PROVE(lTimer.start(lFirst, 0) && lIsPosted);
    }
    PROVE(lTimer.isRunning(lFirst) && lTimer.waitToStart(lSecond) == 0);

    // Another waiter has come meanwhile: the one that fails takes itself out of the list, and not the other.
    std::thread lWaiter;
    std::atomic<int> lWaiterId{0};
    {
        FailingWrites const lWrites(1,
                                    [&]
                                    {
                                        lWaiter = std::thread(
                                            [&]
                                            {
                                                lWaiterId = ThreadManager::getCallerId();
                                                PROVE_EQ(0, lTimer.waitToStop(lSecond));
                                            });
                                        PROVE(test::waitUntil([&] { return lWaiterId != 0 && isAsleep(lWaiterId); }));
                                    });
        PROVE(!lTimer.stop(lFirst, 0));
    }
    PROVE(lTimer.isRunning(lFirst) && lTimer.stop(lSecond, 0));
    lWaiter.join();
    {
        FailingWrites const lWrites(2, [&] { lIsPosted = lTimer.start(lSecond, 1); });
        PROVE(lTimer.stop(lFirst, 1) && lIsPosted);
    }
    int const lThird = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    PROVE(lTimer.start(lThird, 0));
    PROVE(lTimer.waitToStop(lFirst) == 0 && lTimer.waitToStart(lSecond) == 0);
}

class OneTimer : public SharedTimer
{
public:
    OneTimer()
        : SharedTimer(0, 0, nullptr, 1, "timer")
    {
        PROVE_EQ(1, addTimer(nullptr, LONG_MS, 0, 0));
    }
};

/// A sender's record is written and served, and the thread waits again, when a stop comes, owed to the sender, who cannot
/// write it.
template <class Stopped>
void stopThatIsOwed(bool (*npSend)(Stopped&))
{
    static Thread* gpStopped = nullptr;
    static std::atomic<int> gWrites{0};
    Stopped lStopped;
    gpStopped = &lStopped;
    Replaced const lWrite(
        &SystemCalls::mWrite,
        [](int nFd, void const* npBytes, std::size_t nSize) -> ssize_t
        {
            int const lWrites = ++gWrites;
            errno = ENOMEM;
            ssize_t const lWritten = lWrites != 2 ? ::write(nFd, npBytes, nSize) : -1;
            if (lWrites == 1)
            {
                int lLeft = 1;
                PROVE(test::waitUntil([&] { return ::ioctl(nFd, FIONREAD, &lLeft) == 0 && lLeft == 0; }));
                PROVE(test::waitUntil([&] { return isAsleep(gpStopped->getId()); }));
                PROVE_EQ(0, gpStopped->stop(0, 0));
            }
            return lWritten;
        });
    PROVE(npSend(lStopped));
    PROVE_EQ(0, gpStopped->waitTo(Thread::STAGE_DONE, 0));
}

/// The stop is among what could not be written again: the thread ends all the same.
void stopThatIsLost()
{
    test::QuietLog const lQuiet;
    Busy lThread;
    {
        FailingWrites const lWrites(2, [&] { PROVE_EQ(0, lThread.stop(0, 0)); });
        lThread.postMsg(20);
    }
    PROVE_EQ(0, lThread.waitTo(Thread::STAGE_DONE, 0));
    SharedTimer lTimer(0, 0, nullptr, 3, "timer");
    Thread& lTimerThread = lTimer;
    int const lTimerId = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    {
        FailingWrites const lWrites(2, [&] { PROVE_EQ(0, lTimerThread.stop(0, 0)); });
        lTimer.start(lTimerId, 1);
    }
    PROVE_EQ(0, lTimerThread.waitTo(Thread::STAGE_DONE, 0));

    stopThatIsOwed<Busy>([](Busy& nOwing) { return nOwing.postMsg(20); });
    stopThatIsOwed<OneTimer>([](OneTimer& nOwing) { return nOwing.start(1, 1); });

    // A stop whose write fails once is posted again.
    Busy lOther;
    SharedTimer lOtherTimer(0, 0, nullptr, 3, "timer");
    {
        FailingWrites const lWrites(1, [] {});
        PROVE_EQ(0, lOther.stop(1, 0));
    }
    FailingWrites const lWrites(1, [] {});
    lOtherTimer.destroy();
    PROVE(!lOtherTimer.isRunning());
}

/// An owner's queue and its pipe.
struct Piped
{
    Piped() { PROVE(mPipe.open()); }

    /// Announces a record and, for the writer, writes it. Result: it is written or owed.
    bool put(int nMsgId)
    {
        mQueue.push_back({nMsgId, 0});
        unsigned int lWritten = 0;
        return !mPipe.announce() || mPipe.write(mQueue.back(), copyOwed(), &lWritten);
    }
    std::function<unsigned int(internal::PipeRecord*, unsigned int)> copyOwed()
    {
        return [this](internal::PipeRecord* npTarget, unsigned int nMaxCount)
        {
            unsigned int const lSize = static_cast<unsigned int>(mQueue.size());
            unsigned int const lOwed = mPipe.owedCount(lSize);
            unsigned int const lCount = std::min(lOwed, nMaxCount);
            std::copy_n(mQueue.end() - static_cast<int>(lOwed), lCount, npTarget);
            return lCount;
        };
    }
    int read()
    {
        internal::PipeRecord lRecord{0, 0};
        unsigned int lRead = 0;
        mPipe.settleBeforeRead(copyOwed());
        PROVE(mPipe.read(&lRecord, &lRead));
        return lRecord.mMsgId;
    }

    std::vector<internal::PipeRecord> mQueue; // not emptied by reading
    internal::RecordPipe mPipe;
};

/// What is owed is written as soon as anybody can, once and in its order.
void owedRecords()
{
    Piped lPiped;
    unsigned int lWritten = 0;
    // The reader looks while somebody writes, and does not write what is the writer's to write.
    lPiped.mQueue = {{1, 0}, {2, 0}};
    PROVE(lPiped.mPipe.announce() && !lPiped.mPipe.announce());
    lPiped.mPipe.settleBeforeRead(lPiped.copyOwed());
    PROVE(lPiped.mPipe.write({1, 0}, lPiped.copyOwed(), &lWritten));
    PROVE(lPiped.read() == 1 && lPiped.read() == 2);

    // The pipe is full, and empty again by the time that the writer gives up.
    static std::vector<internal::PipeRecord> gDrained;
    int lNext = 3;
    gDrained.clear();
    {
        Replaced const lIoctl(&SystemCalls::mIoctl,
                              [](int nFd, unsigned long nRequest, int* npReadable)
                              {
                                  std::vector<internal::PipeRecord> lRecords(65536);
                                  ssize_t const lRead =
                                      ::read(nFd, lRecords.data(), lRecords.size() * sizeof(lRecords[0]));
                                  PROVE(lRead > 0);
                                  gDrained.insert(gDrained.end(), lRecords.begin(),
                                                  lRecords.begin() + lRead / static_cast<int>(sizeof(lRecords[0])));
                                  return ::ioctl(nFd, nRequest, npReadable);
                              });
        while (gDrained.empty())
        {
            PROVE(lPiped.put(lNext++));
        }
    }
    for (internal::PipeRecord const& lRecord : gDrained)
    {
        lPiped.mQueue.clear();
        PROVE_EQ(3 + (&lRecord - gDrained.data()), lRecord.mMsgId);
    }
    PROVE_EQ(3 + gDrained.size(), lNext - 1);
    PROVE_EQ(lNext - 1, lPiped.read()); // the one that had found it full

    // What is owed has gone from the queue: nothing is written for it.
    PROVE(lPiped.mPipe.announce() && !lPiped.mPipe.announce());
    PROVE(lPiped.mPipe.write({77, 0}, lPiped.copyOwed(), &lWritten));
    PROVE(lPiped.read() == 77 && lPiped.put(78) && lPiped.read() == 78);

    // Half a record is none.
    Replaced const lWrite(&SystemCalls::mWrite, [](int, void const*, std::size_t) -> ssize_t { return 3; });
    PROVE(lPiped.mPipe.announce() && !lPiped.mPipe.write({79, 0}, lPiped.copyOwed(), &lWritten));
    PROVE(lWritten == 3 && lPiped.mPipe.giveUp());
}

/// Who hangs up waits for who writes, so that no record goes to a descriptor that may be another's by then.
void hangUpWaits()
{
    Piped lPiped;
    static Gate* gpWaiting = nullptr;
    Gate lWaiting;
    gpWaiting = &lWaiting;
    Replaced const lNanosleep(&SystemCalls::mNanosleep,
                              [](timespec const*, timespec*)
                              {
                                  gpWaiting->open();
                                  std::this_thread::yield();
                                  return 0;
                              });
    unsigned int lWritten = 0;
    std::atomic<bool> lHasWritten{false};
    PROVE(lPiped.mPipe.announce());
    std::thread lEnder([&] { lPiped.mPipe.hangUp([&] { PROVE(lHasWritten); }); });
    PROVE(lWaiting.wait());
    lHasWritten = true;
    PROVE(lPiped.mPipe.write({1, 0}, lPiped.copyOwed(), &lWritten));
    lEnder.join();
    PROVE_EQ(1, lPiped.read());
    internal::PipeRecord lRecord{0, 0};
    PROVE(!lPiped.mPipe.read(&lRecord, &lWritten) && lWritten == 0);
}

// ---------------------------------------------------------------------------------------------- shared message thread

/// The table of listeners is fuller than the one of timers while a timer is on its way out.
void listenerOfLeavingTimer()
{
    class Refilling : public MsgDrivenSharedThread
    {
    public:
        Refilling()
            : MsgDrivenSharedThread(4, 4, 1, "refilling", 1)
        {
            PROVE_EQ(0, start(0, 0, nullptr, 1, 0, NORMAL, 0));
        }
        ~Refilling() override { stop(1, 0); }
        int mTimerId = 0;

    private:
        void onEraseTimer(int nTimerId) override
        {
            if (mTimerId == 0)
            {
                mTimerId = -2;
                mTimerId = registerTimer(LONG_MS, 0, 0);
            }
            MsgDrivenSharedThread::onEraseTimer(nTimerId);
        }
    } lThread;
    int const lTimerId = lThread.setTimer(LONG_MS, 0, 0, 0);
    PROVE(lTimerId > 0 && lThread.killTimer(lTimerId, 0));
    PROVE_EQ(-1, lThread.mTimerId);
    PROVE_EQ(1, lThread.remTimerIdCount()); // it has left no timer that nobody knows
    PROVE(lThread.setTimer(LONG_MS, 0, 0, 0) > 0);
}

/// An envelope to nobody goes to nobody.
void envelopeToNobody()
{
    class Envelope : public Msg
    {
    public:
        Envelope()
            : Msg(MSG_ID_SPECIFIED_LISTENER)
        {
        }

    protected:
        void storeDataTo(MsgDataBroker* npBroker) const override { npBroker->set(static_cast<void*>(nullptr)); }
        void restoreDataFrom(MsgDataBroker&) override {}
    };
    test::Recorder lRecorder;
    class Open : public MsgDrivenSharedThread
    {
    public:
        using MsgDrivenSharedThread::MsgDrivenSharedThread;
        using MsgDrivenSharedThread::receiveMsg;
    } lThread(4, 4, 2, "nobody", 1);
    PROVE(lThread.attachMsgListener(&lRecorder));
    PROVE_EQ(0, lThread.start(0, 0, nullptr, 1, 0, NORMAL, 0));
    PROVE(lThread.postMsg(Envelope()) && lThread.sendMsgSync(&lRecorder, 20));
    PROVE(lRecorder.received().size() == 1 && lRecorder.count(20) == 1);
    // A listener hands on what it hears, once: all hear it, and the walk goes on where it was.
    test::Recorder lSecond; // hears first
    bool lIsHandedOn = false;
    lSecond.on(21,
               [&](int)
               {
                   if (!std::exchange(lIsHandedOn, true))
                   {
                       ThreadRawMsg lImage(4);
                       PROVE(SimpleMsg(21).storeTo(&lImage));
                       lThread.receiveMsg(lThread.getId(), lImage);
                   }
               });
    PROVE(lThread.attachMsgListener(&lSecond) && lThread.sendMsgSync(21));
    PROVE(lSecond.count(21) == 2 && lRecorder.count(21) == 2);
    lThread.detachMsgListener(&lSecond);
    // Nor is it found by the thread's other ends.
    PROVE(!lThread.peekMsg(nullptr, 20, nullptr) && !lThread.hasMsg(nullptr, 20));
    PROVE(!lThread.eraseMsg(nullptr, 20) && !lThread.abortMsg(nullptr));
    PROVE(lThread.getFirstMsgId() == MSG_ID_NONE && lThread.getFirstMsgId(&lRecorder) == MSG_ID_NONE);
    // An image that does not know its id goes to nobody either, and is told.
    class Nameless : public ThreadRawMsg
    {
    public:
        Nameless()
            : ThreadRawMsg(8)
        {
        }
        bool getMsgId(int*) override { return false; }
    } lNameless;
    LogCapture const lLog;
    lThread.receiveMsg(lThread.getId(), lNameless);
    PROVE_EQ(1, lLog.count("Unknown MsgId Received (nobody)"));
    PROVE(lRecorder.received().size() == 3);
    PROVE_EQ(0, lThread.stop(1, 0));
}

/// Sizes near the end of what can be told do not come out small.
void sizesSaturate()
{
    NoMemory const lNoMemory(1U << 30U);
    PROVE(throwsBadAlloc([] { MsgDrivenSharedThread(UINT_MAX - 4, 1, 1, "large", 1); }));
    PROVE(throwsBadAlloc([] { MsgDrivenThread(UINT_MAX, 1, "large", 1); }));
}

// ---------------------------------------------------------------------------------------------- timer threads

/// What waits elsewhere is posted here: the timer thread cannot wait for itself.
void onTimerThread()
{
    Call lCall;
    Gate lDone;
    SharedTimer lTimer(0, 0, nullptr, 4, "timer");
    int const lRests = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    PROVE(lTimer.start(lRests, 0));
    lCall.mAction = [&](int nTimerId)
    {
        PROVE(!lTimer.eraseTimer(99, 0) && lTimer.eraseTimer(99, 1));
        PROVE(lTimer.waitToStart(nTimerId) == 0 && lTimer.waitToStop(nTimerId) == -1);
        for (int lPosted = 0; lPosted < 254; ++lPosted) // one is in the queue already
        {
            PROVE(lTimer.stop(lRests, 0));
        }
        PROVE(!lTimer.restart(lRests, 0) && !lTimer.stop(lRests, 0)); // its stop took the last place
        SharedTimerTestPeer::expire(lTimer, lRests);                  // nor has a time-out one; it is lost
        lDone.open();
    };
    int const lRings = lTimer.addTimer(&lCall, 1, 1, 0);
    PROVE(lTimer.start(lRings, 0) && lDone.wait());
    PROVE(lTimer.waitToStop(lRests) == 0 && lTimer.eraseTimer(lRings, 0));
    lTimer.restartAll(1);
    PROVE_EQ(0, lTimer.waitToStart(lRests));
    PROVE(lTimer.eraseTimer(lRests, 0) && !lTimer.eraseTimer(lRests, 0));
}

/// A time-out that stands behind the end of its timer calls nobody.
void timeoutOfGoneTimer()
{
    test::QuietLog const lQuiet;
    Call lCall;
    Call lErases;
    Gate lDone;
    SharedTimer lTimer(0, 0, nullptr, 4, "timer");
    int const lGoes = lTimer.addTimer(&lCall, LONG_MS, 0, 1);
    PROVE(lTimer.start(lGoes, 0));
    lErases.mAction = [&](int)
    {
        PROVE(lTimer.eraseTimer(lGoes, 1));
        SharedTimerTestPeer::expire(lTimer, lGoes);
        lDone.open();
    };
    int const lRings = lTimer.addTimer(&lErases, 1, 1, 0);
    PROVE(lTimer.start(lRings, 1));
    PROVE(lDone.wait());
    int const lFence = lTimer.addTimer(nullptr, LONG_MS, 0, 0);
    {
        // The kernel does not let go of it: its time-outs stay.
        FailNth<&SystemCalls::mTimerDelete> const lFault(0, EINVAL, test::FAULT_ACTS);
        PROVE(lTimer.start(lFence, 0));
    }
    PROVE(!lTimer.isRunning(lGoes) && lTimer.getInterval(lGoes) == ~0U);
    PROVE(lTimer.stop(lFence, 0) && lTimer.start(lFence, 0)); // nothing waits any more
    PROVE_EQ(0, lCall.mCalls);
}

/// A timer thread that its own listener ends.
void endedByListener()
{
    Call lEnds;
    SharedTimer lTimer(0, 0, nullptr, 4, "timer");
    lEnds.mAction = [&](int)
    {
        lTimer.destroy();
        PROVE_EQ(-1, lTimer.addTimer(nullptr, 1, 0, 0));
    };
    int const lRings = lTimer.addTimer(&lEnds, 1, 0, 1);
    PROVE(lTimer.start(lRings, 1));
    PROVE_EQ(0, static_cast<Thread&>(lTimer).waitTo(Thread::STAGE_DONE, 0) & lTimer.waitToStop(lRings));
    PROVE_EQ(1, lEnds.mCalls);
}

void sharedTimerIdsWrap()
{
    SharedTimer lTimer(0, 0, nullptr, 4, "timer");
    PROVE_EQ(1, lTimer.addTimer(nullptr, LONG_MS, 0, 0));
    SharedTimerTestPeer::setNextTimerId(lTimer, INT_MAX);
    PROVE_EQ(INT_MAX, lTimer.addTimer(nullptr, LONG_MS, 0, 0));
    PROVE_EQ(2, lTimer.addTimer(nullptr, LONG_MS, 0, 0));
}

/// All slots of the process, and no memory for more of them.
void slotsRunOut()
{
    using Slot = internal::TimerSignalSlot;
    unsigned int const MAX_SLOTS = 65536;
    Busy lThread;
    SharedTimer lTimer(0, 0, nullptr, 2, "timer");
    std::vector<Slot*> lSlots;
    lSlots.reserve(MAX_SLOTS + 1);
    auto const lTakeAll = [&]
    {
        for (Slot* lpSlot = Slot::allocate(); lpSlot != nullptr; lpSlot = Slot::allocate())
        {
            lSlots.push_back(lpSlot);
        }
    };
    {
        NoMemory const lNoMemory;
        lTakeAll();
    }
    PROVE(lSlots.size() < 1000); // what there was already
    lTakeAll();
    PROVE(lSlots.size() <= MAX_SLOTS && lSlots.size() > MAX_SLOTS - 1000);
    PROVE_EQ(-1, lThread.registerTimer(LONG_MS, 0, 0));
    PROVE_EQ(4, lThread.remTimerIdCount());
    PROVE_EQ(-1, lTimer.addTimer(nullptr, LONG_MS, 0, 0));
    PROVE_EQ(0, Slot::onSignal(MAX_SLOTS - 1)); // never armed: it does not write, and so not fail
    Slot::release(nullptr);
    for (Slot* lpSlot : lSlots)
    {
        Slot::release(lpSlot);
    }
    PROVE_EQ(1, lThread.registerTimer(LONG_MS, 0, 0));
    Map<int, TimerInfo, int const&, TimerInfo const&, CompareLessPairKey<int, TimerInfo>> lTimers(1);
    PROVE(lTimers.insert(5, TimerInfo())); // it rests, and has no number
    PROVE_EQ(-1, internal::userTimerIdOf(lTimers, -1));
}

/// Two threads install a handler: the second waits for the first, and leaves it at that.
void handlerOnce()
{
    static internal::TimerSignal gSignal(7);
    static std::atomic<int> gSecondId{0};
    static std::atomic<int> gSecondResult{-2};
    static std::atomic<int> gInstalled{0};
    std::thread lSecond;
    static std::thread* gpSecond = nullptr;
    gpSecond = &lSecond;
    Replaced const lSigaction(&SystemCalls::mSigaction,
                              [](int, struct sigaction const*, struct sigaction*)
                              {
                                  if (++gInstalled == 1)
                                  {
                                      *gpSecond = std::thread(
                                          []
                                          {
                                              gSecondId = static_cast<int>(::syscall(SYS_gettid));
                                              gSecondResult = gSignal.install(nullptr);
                                          });
                                      PROVE(test::waitUntil([] { return gSecondId != 0 && isAsleep(gSecondId); }));
                                  }
                                  return 0;
                              });
    PROVE_EQ(1, gSignal.install(nullptr));
    lSecond.join();
    PROVE_EQ(0, gSecondResult);
    PROVE_EQ(1, gInstalled);
}

// ---------------------------------------------------------------------------------------------- threads, watchdog

/// What a thread does until its gate opens, whatever the thread is asked.
class Run : public Command
{
public:
    unsigned int execute() override
    {
        PROVE(mEnd.wait());
        std::this_thread::yield();
        mHasEnded = true;
        return 0;
    }

    Gate mEnd;
    std::atomic<bool> mHasEnded{false};
};

/// The destructor of a thread that runs comes back when it has ended.
void destroyRunning(std::unique_ptr<Thread> npRunner, Run& nRun)
{
    int const lId = ThreadManager::getCallerId();
    std::thread lOpener(
        [&]
        {
            PROVE(test::waitUntil([&] { return isAsleep(lId); }));
            nRun.mEnd.open();
        });
    npRunner.reset();
    PROVE(nRun.mHasEnded);
    lOpener.join();
}

/// The registry goes before the thread ends: its owner waits for it all the same, and does not start it twice.
void registryGoesFirst()
{
    Run lRun;
    auto lpRunner = std::make_unique<Thread>("runner", &lRun);
    PROVE_EQ(0, lpRunner->start(0, 0, nullptr, 1, 0, NORMAL, 0));
    ThreadPriority lPriority(ThreadPriority::NORMAL);
    PROVE(!lpRunner->getPriority(nullptr) && !ThreadManager::get()->getPriority(1, &lPriority));
    ThreadManager::destroy();
    PROVE(!lpRunner->isRunning() && !lpRunner->getPriority(&lPriority));
    PROVE_EQ(-1, lpRunner->start(0, 0, nullptr, 1, 0, NORMAL, 0));
    destroyRunning(std::move(lpRunner), lRun);
}

/// The kernel gives a thread an id that is still in the registry, of one that entered itself and ended without a word:
/// the start fails, and the thread runs on, known to its owner alone.
void idGivenTwice()
{
    struct Worker // stands for both threads
    {
        static void* run(void* npWorker)
        {
            Worker& lWorker = *static_cast<Worker*>(npWorker);
            PROVE(ThreadManager::get()->entryCaller(0, 0, nullptr, "first") != 0);
            lWorker.mId = ThreadManager::getCallerId();
            lWorker.mIsEntered.open();
            PROVE(lWorker.mIsGiven.wait());
            return lWorker.mpStart(lWorker.mpArgument);
        }
        std::atomic<int> mId{0};
        pthread_t mThread{};
        Gate mIsEntered;
        Gate mIsGiven;
        void* (*mpStart)(void*) = nullptr;
        void* mpArgument = nullptr;
    };
    static Worker gWorker;
    PROVE(::pthread_create(&gWorker.mThread, nullptr, &Worker::run, &gWorker) == 0 && gWorker.mIsEntered.wait());
    Run lRun;
    auto lpRunner = std::make_unique<Thread>("runner", &lRun);
    LogCapture const lLog;
    {
        Replaced const lCreate(&SystemCalls::mPthreadCreate,
                               [](pthread_t* npThread, pthread_attr_t const*, void* (*npStart)(void*), void* npArgument)
                               {
                                   *npThread = gWorker.mThread;
                                   gWorker.mpStart = npStart;
                                   gWorker.mpArgument = npArgument;
                                   gWorker.mIsGiven.open();
                                   return 0;
                               });
        PROVE_EQ(-1, lpRunner->start(0, 0, nullptr, 1, 0, NORMAL, 0));
    }
    PROVE_EQ(1, lLog.count("entry() Error Thread Register           ID:" + std::to_string(gWorker.mId)));
    PROVE_EQ(-1, lpRunner->start(0, 0, nullptr, 1, 0, NORMAL, 0)); // not twice at a time
    PROVE(std::strcmp("first", ThreadManager::get()->getName(gWorker.mId)) == 0);
    destroyRunning(std::move(lpRunner), lRun);
    PROVE(ThreadManager::get()->unregister(gWorker.mId));
}

class Alarm : public WatchdogTimerListener
{
public:
    void onTime(int, WatchdogInfoMap const&) override { ++mCalls; }

    unsigned int mCalls = 0;
};

Alarm gAlarm;

void infosDiffer()
{
    void (*const CHANGES[])(WatchdogInfo&) = {
        [](WatchdogInfo& nInfo) { ++nInfo.mId; },
        [](WatchdogInfo& nInfo) { ++nInfo.mAliveTime; },
        [](WatchdogInfo& nInfo) { nInfo.mpListener = &gAlarm; },
        [](WatchdogInfo& nInfo) { nInfo.mLastAliveTick = 5; },
        [](WatchdogInfo& nInfo) { nInfo.mWatchStatus = WatchdogInfo::NOT_WATCHING; },
        [](WatchdogInfo& nInfo) { nInfo.mAliveStatus = WatchdogInfo::ALIVE; },
        [](WatchdogInfo& nInfo) { ++nInfo.mTimeoutCount; },
        [](WatchdogInfo& nInfo) { nInfo.mLastAliveInfo = StatementInfo("proof", "here", 1, 0); },
        [](WatchdogInfo& nInfo) { nInfo.mName = "other"; },
    };
    WatchdogInfo const lInfo(7, 100, nullptr, "name", WatchdogInfo::WATCHING);
    WatchdogInfo const lSame(7, 100, nullptr, "name", WatchdogInfo::WATCHING); // another text of the same name
    PROVE(lInfo == lSame && !(lInfo != lSame));
    for (auto const lpChange : CHANGES)
    {
        WatchdogInfo lOther(lInfo);
        lpChange(lOther);
        PROVE(lOther != lInfo && !(lOther == lInfo));
    }
}

ThreadWatchdog* gpWatchdog = nullptr;
std::atomic<unsigned int> gLines{0};

/// Reports from inside a report, messages that are no beat, threads that are not known.
void watchdogCorners()
{
    StatementInfo const HERE("proof", "watchdogCorners", 1, 0);
    int const lId = ThreadManager::getCallerId();
    auto lpWatchdog = std::make_unique<ThreadWatchdog>(2);
    ThreadWatchdog& lWatchdog = *lpWatchdog;
    PROVE(!lWatchdog.setWatchInterval(1) && !lWatchdog.isWatching(lId) && !lWatchdog.setAliveTime(lId, 1));
    PROVE(lWatchdog.initialize(LONG_MS) && !lWatchdog.initialize(LONG_MS));
    PROVE(!lWatchdog.isWatching(lId) && !lWatchdog.setAliveTime(lId, 1) && !lWatchdog.start(lId));
    PROVE(!lWatchdog.entry(lId, 1, &gAlarm, nullptr) && lWatchdog.entry(lId, 1, &gAlarm, "proof"));

    // Not watched: its time does not run, whatever it is set to.
    PROVE(lWatchdog.setAliveTime(lId, 2));
    PROVE(ThreadWatchdogTestPeer::info(lWatchdog, lId).mLastAliveTick == WatchdogInfo::NO_TICK);
    gAlarm.mCalls = 0;
    ThreadWatchdogTestPeer::timeOut(lWatchdog, lId);
    ThreadWatchdogTestPeer::timeOut(lWatchdog, lId + 1);
    PROVE(lWatchdog.start(lId));
    unsigned int const lTick = ThreadWatchdogTestPeer::info(lWatchdog, lId).mLastAliveTick;
    PROVE(test::waitUntil([&] { return TimeCounter::getTickTime() - lTick > 2; }));
    PROVE(lWatchdog.start(lId)); // runs on
    PROVE_EQ(lTick, ThreadWatchdogTestPeer::info(lWatchdog, lId).mLastAliveTick);

    // It is overdue, but none of these is the beat.
    ThreadRawMsg lRawMsg(8);
    PROVE(SimpleMsg(20).storeTo(&lRawMsg));
    lWatchdog.receiveMsg(0, lRawMsg);
    TimerMsg lTimerMsg;
    lTimerMsg.mTimerId = 9999;
    PROVE(lTimerMsg.storeTo(&lRawMsg));
    lWatchdog.receiveMsg(0, lRawMsg);
    ThreadRawMsg lShort(4);
    PROVE(lShort.setMsgId(MSG_ID_TIMER));
    lWatchdog.receiveMsg(0, lShort);
    PROVE_EQ(0, gAlarm.mCalls);
    test::QuietLog lQuiet;
    ThreadWatchdogTestPeer::timeOut(lWatchdog, lId);
    ThreadWatchdogTestPeer::timeOut(lWatchdog, lId); // told once
    PROVE_EQ(1, gAlarm.mCalls);

    // Back again, and the log's sink reports as well.
    setAllFilterLevel(LOG_LEVEL_INFO);
    gpWatchdog = &lWatchdog;
    gLines = 0;
    {
        Replaced const lSink(&SystemCalls::mPrintf,
                             [](char const*)
                             {
                                 ++gLines;
                                 PROVE(gpWatchdog->keepAlive(StatementInfo("proof", "sink", 2, 0)));
                             });
        PROVE(lWatchdog.keepAlive(HERE));
    }
    PROVE_EQ(1, gLines);
    PROVE(ThreadWatchdogTestPeer::info(lWatchdog, lId).mLastAliveInfo == HERE);
    lWatchdog.shutdown();
}

/// A thread that was told of no time-out for want of memory: the listener hears of it, with an empty table.
void registration()
{
    ThreadManager& lManager = *ThreadManager::get();
    PROVE(lManager.entryCaller(0, 0, nullptr, "proof") != 0);
    PROVE(lManager.entryCaller(0, 0, nullptr, "again") != 0); // who entered itself may do so again
    PROVE(std::strcmp("again", lManager.getName(ThreadManager::getCallerId())) == 0);
    ThreadPriority lPriority(ThreadPriority::NORMAL);
    PROVE(!lManager.getPriority(ThreadManager::getCallerId(), &lPriority));
    PROVE(!lManager.unregister(0) && lManager.unregister(ThreadManager::getCallerId()));
}

// ---------------------------------------------------------------------------------------------- containers and values

void containers()
{
    // A block that cannot be had leaves nothing that could be read, and the next one makes it whole.
    Array<int> lArray(2);
    Array<int> lOther(3);
    for (int lValue : {1, 2, 3})
    {
        PROVE(lOther.insertAt(lOther.size(), lValue));
    }
    PROVE(lArray.insertAt(0, 1));
    {
        NoMemory const lNoMemory(8);
        PROVE(throwsBadAlloc([&] { lArray.resizeMax(5); }));
    }
    PROVE_EQ(5, lArray.maxSize());
    PROVE(lArray.at(0) == nullptr && static_cast<Array<int> const&>(lArray).at(0) == nullptr);
    PROVE(!lArray.copy(lOther, 3) && !lArray.insertAt(0, 1) && lArray.copy(lOther, 0));
    PROVE(lArray.resizeMax(3) && lArray.copy(lOther, 3) && *lArray.at(2) == 3);
    PROVE(lArray.setAt(0, *lArray.at(2)) && *lArray.at(0) == 3);
    int const lApart[2] = {8, 9}; // no element, wherever it lies
    PROVE(lArray.setAt(0, lApart[0]) && *lArray.at(0) == 8);

    RingArray<int> const lRing(4);
    PROVE_EQ(3, lRing.physicalIndex(-1));

    Pair<int, BasicString<char>> lPair(1, BasicString<char>("text", 0, 0));
    Pair<int, BasicString<char>>& lSame = lPair;
    lPair = lSame;
    PROVE(lPair.mKey == 1 && std::strcmp(lPair.mValue.c_str(), "text") == 0);

    BasicString<char> lText("text", 8, 0);
    char const* const lpText = lText.c_str();
    PROVE(lText.resizeMax(8) && lText.c_str() == lpText && std::strcmp(lpText, "text") == 0);

    DestructPointer<Event>()(nullptr);
    ThreadRawMsg lRawMsg(8);
    PROVE(lRawMsg.setMsgId(7) && lRawMsg.beginInput() && lRawMsg.set(1));
    ThreadRawMsg& lSameMsg = lRawMsg;
    lRawMsg = lSameMsg;
    int lMsgId = 0;
    PROVE(lRawMsg.getMsgId(&lMsgId) && lMsgId == 7 && !lRawMsg.getMsgId(nullptr));
    PROVE(lRawMsg.beginOutput() && !lRawMsg.get(static_cast<bool*>(nullptr)) && lRawMsg.getResult() == -1);
    PROVE(!lRawMsg.get(static_cast<bool*>(nullptr)) && lRawMsg.getResult() == -1);
}

/// A broker that stores no more than an id, and takes the rest as it is.
void plainBroker()
{
    class IdBroker : public MsgDataBroker
    {
    public:
        bool setMsgId(int nMsgId) override { return (mMsgId = nMsgId) == nMsgId; }
        bool getMsgId(int* npMsgId) override { return (*npMsgId = mMsgId) == mMsgId; }
#define UTL_REFUSED(TYPE)                                                                                              \
    bool set(TYPE) override                                                                                            \
    {                                                                                                                  \
        return false;                                                                                                  \
    }                                                                                                                  \
    bool get(TYPE*) override                                                                                           \
    {                                                                                                                  \
        return false;                                                                                                  \
    }
        UTL_REFUSED(bool)
        UTL_REFUSED(unsigned char)
        UTL_REFUSED(unsigned short)
        UTL_REFUSED(unsigned int)
        UTL_REFUSED(unsigned long long)
        UTL_REFUSED(signed char)
        UTL_REFUSED(short)
        UTL_REFUSED(int)
        UTL_REFUSED(long long)
        UTL_REFUSED(float)
        UTL_REFUSED(double)
        UTL_REFUSED(void*)
#undef UTL_REFUSED
        bool set(char const*) override
        {
            return false;
        }
        bool set(wchar_t const*) override
        {
            return false;
        }
        bool set(unsigned char const*, unsigned int) override
        {
            return false;
        }
        bool get(char*, unsigned int) override
        {
            return false;
        }
        bool get(wchar_t*, unsigned int) override
        {
            return false;
        }
        bool get(unsigned char*, unsigned int) override
        {
            return false;
        }
        int mMsgId = 0;
    } lBroker;
    SimpleMsg lMsg(0);
    PROVE(SimpleMsg(20).storeTo(&lBroker) && lMsg.restoreFrom(lBroker) && lMsg.mMsgId == 20);
    PROVE(!SimpleMsg(20).storeTo(nullptr));
}

void account()
{
    Memory::destroy();
    Memory& lMemory = *Memory::get();
    int lBlocks[3] = {};
    PROVE(*lMemory.getThreadName(77) == 0); // none is known
    lMemory.updateManagement(0, &lBlocks[2], 4, 0, 1);
    lMemory.updateManagement(1, &lBlocks[0], 4, 0, 1); // lies below the only one, and is not in the account
    lMemory.updateManagement(1, nullptr, 4, 0, 1);
    lMemory.printGlobalMemoryStatus(nullptr);
    PROVE_EQ(Memory::INVALID_FILE_ID, MemoryTestPeer::findFileId(nullptr));
    PROVE(MemoryTestPeer::reportTotals("") && MemoryTestPeer::reportTotals(nullptr));
    Memory::destroy();
    char lBytes[4] = "abc";
    copyMemory(lBytes, nullptr, 4);
    copyMemory(nullptr, lBytes, 4);
    PROVE(std::strcmp(lBytes, "abc") == 0 && !compareMemory(lBytes, nullptr, 4) && !compareMemory(nullptr, lBytes, 4));
}

// ---------------------------------------------------------------------------------------------- text and time

void text()
{
    unsigned short const UNITS[] = {'a', 'b', 0};
    unsigned char const BYTES[] = {0, 'a', 0, 'b'};
    unsigned short const NONE = 0;
    unsigned char lByte = 7;
    PROVE_EQ(STR_ERROR, convertStrFromDcharToUint8(nullptr, 8, UNITS, 2, 1));
    PROVE_EQ(0, convertStrFromDcharToUint8(nullptr, 8, &NONE, 2, 1));
    PROVE_EQ(STR_ERROR, convertBinFromUint8ToDchar(nullptr, 8, BYTES, 4, 1));
    PROVE_EQ(0, convertBinFromUint8ToDchar(nullptr, 8, &lByte, 0, 1));
    PROVE_EQ(2, convertStrFromUtf8ToUtf16(nullptr, 0, "\U0001F600")); // one unit that stands for it, and the end

    char lNarrow[4] = "xyz";
    char const* lpNoFormat = nullptr;
    PROVE_EQ(STR_ERROR, formatStr<char>(nullptr, 4, "%d", 1));
    PROVE_EQ(STR_ERROR, formatStr<char>(lNarrow, 4, lpNoFormat, 1));
    PROVE_EQ(STR_ERROR, replaceStr<char>(lNarrow, 4, nullptr, "a", "b", 0));
    PROVE_EQ(STR_ERROR, replaceStr<char>(lNarrow, 2, "too long a", "a", "b", 0)); // what is before the match
    unsigned int lBefore = 7;
    PROVE_EQ(STR_ERROR, findReverseChar<char>("abc", nullptr, STR_ALL, &lBefore));
    PROVE_EQ(STR_ERROR, lBefore);
    PROVE_EQ(STR_ERROR, t_strstr<char>(nullptr, "a"));
    PROVE_EQ(0, t_strstr<char>(nullptr, ""));
    unsigned int lEnd = 7;
    PROVE_EQ(STR_ERROR, internal::findToken(nullptr, "/", 0, &lEnd));
    PROVE_EQ(STR_ERROR, lEnd);
}

/// A stamp that cannot be made, and a system log that is opened twice.
void logs()
{
    LogCapture const lLog;
    {
        Replaced const lConversion(&SystemCalls::mCtimeR,
                                   [](time_t const*, char* npText) { return std::strcpy(npText, "nothing\n"); });
        applog(DEFAULT_LOG_TYPE, LOG_LEVEL_ERROR, "a line");
    }
    PROVE(lLog.rawLines().size() == 1 && lLog.rawLines()[0] == " ERR: a line\r\n");
    openApplog();
    unsigned int const lDescriptors = test::openFdCount();
    openApplog();
    PROVE_EQ(lDescriptors, test::openFdCount());
}

void times()
{
    Time const lEmpty;
    Time const lTime(2024, 2, 29, 12, 0, 0, 0, 0, 0);
    PROVE_EQ(Time::FAILED, lTime.getElapsedDays(lEmpty));
    PROVE_EQ(Time::FAILED, lTime.getElapsedSeconds(lEmpty));
    Replaced const lConversion(&SystemCalls::mGmtimeR,
                               [](time_t const*, tm* npFields)
                               {
                                   *npFields = tm();
                                   npFields->tm_year = 124;
                                   npFields->tm_mon = 12; // no month
                                   npFields->tm_mday = 1;
                                   return npFields;
                               });
    Time lNow(lTime);
    PROVE(!getSystemTime(&lNow) && lNow == lTime);
}

// ---------------------------------------------------------------------------------------------- files

/// For its scope, the working directory is an empty one.
class Directory
{
public:
    Directory() { PROVE(::mkdtemp(mPath) != nullptr && ::chdir(mPath) == 0); }
    ~Directory()
    {
        PROVE(::chdir("/") == 0);
        File::erase(mPath, 1);
    }

private:
    char mPath[32] = "/tmp/utl_corner_XXXXXX";
};

void paths()
{
    Directory const lDirectory;
    char lName[16] = "before";
    BasicString<char> lShort(3, 0);
    PROVE(!File::extractFileName(nullptr, 16, "a/b", 0) && !File::extractExtension(nullptr, 16, "b.c"));
    File lFile("directory/file.txt", FILE_TEXT_UTF8);
    PROVE(!lFile.getPath(static_cast<char*>(nullptr), 16) && !lFile.getPath(lName, 4));
    PROVE(!lFile.getPath(static_cast<BasicString<char>*>(nullptr)) && !lFile.getPath(&lShort));
    PROVE(!lFile.getFileName(static_cast<BasicString<char>*>(nullptr), 0) && !lFile.getFileName(&lShort, 0));
    PROVE(!lFile.erase(0) && !lFile.move("other")); // there is none

    PROVE(File::makeDirectories("directory"));
    {
        File lOpen("directory/file.txt", FILE_TEXT_UTF8);
        PROVE(lOpen.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE) && lOpen.write("text", 4) == 4);
        File& lSame = lOpen;
        lOpen = lSame;
        PROVE(lOpen.isOpened() && lOpen.size() == 4);
        char lByte = 0;
        PROVE_EQ(FILE_READ_ERROR, lOpen.read(nullptr, 4));
        PROVE_EQ(FILE_READ_ERROR, lOpen.read(&lByte, 0));
        PROVE_EQ(FILE_READ_ERROR, lOpen.read(&lByte, 0x80000000U));
        PROVE_EQ(FILE_ERROR, lOpen.write(nullptr, 4));
        PROVE_EQ(FILE_ERROR, lOpen.write("text", 0));
        PROVE_EQ(4, lOpen.size());
    }
    PROVE(lFile.move("directory/./file.txt") || File::exists("directory/file.txt"));
    PROVE(File::move("directory/file.txt", "directory/file.txt") && File::exists("directory/file.txt"));
    FileNames lNames(0, 1);
    PROVE_EQ(FILE_ERROR, File::children("directory/file.txt/*", &lNames, FILE_CHILD_ALL, nullptr, 0));
    PROVE_EQ(0, File::children("directory/file.txt", &lNames, FILE_CHILD_ALL, nullptr, 0));
    PROVE_EQ(FILE_ERROR, File::children(std::string(300, 'a').c_str(), &lNames, FILE_CHILD_ALL, nullptr, 0));
    {
        File lSecond("directory/second.txt", FILE_TEXT_UTF8);
        PROVE(lSecond.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    }
    FailNth<&SystemCalls::mFnmatch> const lFault(0, EINVAL);
    PROVE_EQ(0, File::children("directory/*", &lNames, FILE_CHILD_ALL, nullptr, 0)); // no name that could be judged
}

void textArguments()
{
    Directory const lDirectory;
    char lText[64] = "before";
    unsigned int lSize = 7;
    File lFile("file", FILE_TEXT_UTF8);
    PROVE_EQ(FILE_ERROR, lFile.writeLine("not open"));
    PROVE_EQ(FILE_READ_ERROR, lFile.readText(lText, 8, 4, 0, nullptr));
    PROVE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    PROVE_EQ(FILE_ERROR, lFile.writeLine(nullptr));
    PROVE_EQ(8, lFile.writeText("\nfirst\n\n", 100, 0));
    PROVE_EQ(0, lFile.seek(0, FILE_SEEK_BEGIN));
    PROVE_EQ(FILE_READ_ERROR, lFile.readLine(static_cast<char*>(nullptr), 4, &lSize));
    PROVE_EQ(FILE_READ_ERROR, lFile.readText(static_cast<char*>(nullptr), 4, 4, 0, &lSize));
    PROVE_EQ(-1, lFile.seekKey(static_cast<unsigned char const*>(nullptr), 3, 0, 100, 0));
    PROVE_EQ(-1, lFile.seekKey(static_cast<char const*>(nullptr), 0, 100, 0));
    PROVE_EQ(0, lFile.position());
    // Without a place for the text its size is told, and the position stays.
    PROVE(lFile.readLine(static_cast<char*>(nullptr), 0, &lSize) == 0 && lSize == 1 && lFile.position() == 0);
    PROVE_EQ(1, lFile.seek(1, FILE_SEEK_BEGIN));
    PROVE(lFile.readLine(static_cast<BasicString<char>*>(nullptr), &lSize) == 5 && lSize == 6);
    PROVE(lFile.readText(static_cast<BasicString<char>*>(nullptr), 5, 0, &lSize) == 5 && lSize == 6);
    PROVE(std::strcmp(lText, "before") == 0);

    // A type that is none.
    File lOther("file", 99);
    PROVE(lFile.close() && lOther.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    PROVE_EQ(FILE_READ_ERROR, lOther.readText(lText, 8, 4, 0, nullptr));
    PROVE_EQ(FILE_READ_ERROR, lOther.readLine(lText, 8, nullptr));
    PROVE_EQ(-1, lOther.findNextLineSize(0, nullptr, nullptr));
    PROVE_EQ(FILE_ERROR, lOther.writeText("text", 4, 0));
    PROVE_EQ(8, lOther.size());
}

/// Each reading call of a file whose line is longer than what is read ahead, with each seek and each read failing in
/// turn: the documented error, or the right answer, and the next try without a fault gives it.
template <class Fault>
void readingFails(File& nFile, std::string const& nLine)
{
    std::function<long long()> const CALLS[] = {
        [&]
        {
            unsigned int lSize = 0;
            int const lResult = nFile.findNextLineSize(0, &lSize, nullptr);
            return lResult > 0 && lSize != nLine.size() ? -9LL : lResult;
        },
        [&] { return nFile.seekKey("key", 0, ~0ULL, 0); },
        [&] { return nFile.seekKey("key", 0, 4000, 0); },
        [&]
        {
            std::string lText(5000, 0);
            int const lResult = nFile.readLine(lText.data(), 5000, nullptr);
            return lResult > 0 && nLine != lText.c_str() ? -9LL : lResult;
        },
        [&]
        {
            char lText[64];
            int const lResult = nFile.readText(lText, sizeof(lText), 50, 0, nullptr);
            return lResult > 0 && nLine.compare(0, 50, lText) != 0 ? -9LL : lResult;
        },
        [&] // read ahead, and then past that
        {
            char lText[64] = {};
            bool const lHasRead = nFile.readText(lText, sizeof(lText), 50, 0, nullptr) == 50;
            int const lResult = nFile.read(lText, 4);
            return lHasRead && lResult > 0 && nLine.compare(50, 4, lText, 4) != 0 ? -9LL : lResult;
        },
        [&]
        {
            char lText[64] = {};
            nFile.readText(lText, sizeof(lText), 50, 0, nullptr);
            return nFile.resize(nLine.size() + 5) ? 1LL : -1LL; // as it is
        },
    };
    for (auto const& lCall : CALLS)
    {
        PROVE_EQ(0, nFile.seek(0, FILE_SEEK_BEGIN));
        long long const lExpected = lCall();
        bool lHasFired = true;
        for (int lNth = 1; lHasFired; ++lNth)
        {
            for (int lKind : {test::FAULT_ONCE, test::FAULT_FOR_EVER})
            {
                PROVE(test::waitUntil([&] { return nFile.seek(0, FILE_SEEK_BEGIN) == 0; }));
                Fault const lFault(lNth, EIO, lKind);
                long long const lResult = lCall();
                lHasFired = lFault.fired();
                PROVE(lResult == lExpected || (lHasFired && (lResult == -1 || lResult == FILE_READ_END)));
            }
        }
    }
}

void readingLongLines()
{
    Directory const lDirectory;
    test::QuietLog const lQuiet;
    File lFile("file", FILE_TEXT_UTF8);
    for (std::size_t lLength : {4500U, 50000U}) // one that is kept whole while it is walked, and one that is not
    {
        std::string const lLine = std::string(lLength, 'x') + "key";
        std::string const lAll = lLine + "\nnext";
        PROVE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ_WRITE));
        PROVE_EQ(lAll.size(), lFile.write(lAll.data(), static_cast<unsigned int>(lAll.size())));
        readingFails<FailNth<&SystemCalls::mLseek>>(lFile, lLine);
        readingFails<FailNth<&SystemCalls::mRead>>(lFile, lLine);
        readingFails<FailNth<&SystemCalls::mFstat>>(lFile, lLine);
        {
            char lText[64];
            PROVE_EQ(0, lFile.seek(0, FILE_SEEK_BEGIN));
            PROVE_EQ(50, lFile.readText(lText, sizeof(lText), 50, 0, nullptr)); // and more is read ahead
            FailNth<&SystemCalls::mLseek> const lFault(0, EIO);
            PROVE(!lFile.resize());
        }
        PROVE_EQ(lAll.size(), lFile.size());
        PROVE(lFile.close());
    }

    // Cut by another while it is read: it was longer an instant ago.
    PROVE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    Replaced const lRead(&SystemCalls::mRead, [](int, void*, std::size_t) -> ssize_t { return 0; });
    char lText[64];
    PROVE_EQ(FILE_READ_END, lFile.readText(lText, sizeof(lText), 50, 0, nullptr));
}

// ---------------------------------------------------------------------------------------------- the program

struct Case
{
    char const* mpName;
    void (*mpRun)();
};

constexpr Case CASES[] = {
    {"judgement that erases", &judgeErases},
    {"queues that do not fit", &queuesDoNotFit},
    {"messages without data", &tinyMessages},
    {"nothing to judge", &nothingToJudge},
    {"timers of a listener", &timersOfListener},
    {"timer ids wrap", &timerIdsWrap},
    {"write that was none", &writeThatWasNone},
    {"second sender", &secondSender},
    {"stop that is lost", &stopThatIsLost},
    {"owed records", &owedRecords},
    {"hanging up waits", &hangUpWaits},
    {"listener of a leaving timer", &listenerOfLeavingTimer},
    {"envelope to nobody", &envelopeToNobody},
    {"sizes saturate", &sizesSaturate},
    {"on the timer thread", &onTimerThread},
    {"time-out of a gone timer", &timeoutOfGoneTimer},
    {"ended by a listener", &endedByListener},
    {"shared timer ids wrap", &sharedTimerIdsWrap},
    {"slots run out", &slotsRunOut},
    {"handler once", &handlerOnce},
    {"registry goes first", &registryGoesFirst},
    {"id given twice", &idGivenTwice},
    {"infos differ", &infosDiffer},
    {"watchdog", &watchdogCorners},
    {"registration", &registration},
    {"containers", &containers},
    {"plain broker", &plainBroker},
    {"account", &account},
    {"text", &text},
    {"logs", &logs},
    {"times", &times},
    {"paths", &paths},
    {"text arguments", &textArguments},
    {"reading long lines", &readingLongLines},
};

} // namespace

int main(int nCount, char** npValues)
{
    std::vector<std::string> const lWanted(npValues + 1, npValues + nCount);
    Replaced const lSystemLog(&SystemCalls::mSyslog, [](int, char const*) {});
    Replaced const lConsole(&SystemCalls::mPrintf, [](char const*) {});
    ::dup2(::open("/dev/null", O_RDWR), 0); // complaints of the heap account go there
    proof::endHangs();
    for (Case const& lCase : CASES)
    {
        if (lWanted.empty() || std::find(lWanted.begin(), lWanted.end(), lCase.mpName) != lWanted.end())
        {
            proof::gCase = lCase.mpName;
            ++proof::gRound;
            lCase.mpRun();
        }
    }
    std::printf("%llu cases passed\n", proof::gRound.load());
    return 0;
}
