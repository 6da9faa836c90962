#include "UtlMsgDrivenThread.h"

#include "UtlThreadManager.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MsgThread.h"
#include "support/Resources.h"

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace
{

using namespace utl;
using utl::internal::SystemCalls;
using utl::test::FailNth;
using utl::test::Gate;
using utl::test::LogCapture;
using utl::test::longMs;
using utl::test::NumberMsg;
using utl::test::Recorder;
using Peer = MsgDrivenThreadTestPeer;
using TestThread = utl::test::Started<>;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);
int const A = 1;
int const B = 2;
int const C = 3;

std::atomic<bool> gIsCounting{false};
std::atomic<unsigned int> gAllocations{0};

void* countedAllocation(std::size_t nSize)
{
    if (gIsCounting)
    {
        ++gAllocations;
    }
    void* const lpMemory = std::malloc(nSize);
    return lpMemory != nullptr ? lpMemory : throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t nSize)
{
    return countedAllocation(nSize);
}
void* operator new[](std::size_t nSize)
{
    return countedAllocation(nSize);
}
void operator delete(void* npMemory) noexcept
{
    std::free(npMemory);
}
void operator delete[](void* npMemory) noexcept
{
    std::free(npMemory);
}
void operator delete(void* npMemory, std::size_t) noexcept
{
    std::free(npMemory);
}
void operator delete[](void* npMemory, std::size_t) noexcept
{
    std::free(npMemory);
}

namespace
{

TEST(MsgDrivenThread, DeliversInOrderWithTheThreadsId)
{
    TestThread lThread;
    EXPECT_TRUE(lThread.postMsg(NumberMsg(A, 10)));
    EXPECT_TRUE(lThread.postMsg(NumberMsg(B, 20)));
    EXPECT_TRUE(lThread.postMsg(NumberMsg(A, 30)));
    EXPECT_TRUE(lThread.sendMsgSync(NumberMsg(C, 40)));
    EXPECT_EQ((std::vector<std::pair<int, int>>{{A, 10}, {B, 20}, {A, 30}, {C, 40}}), lThread.mRecorder.received());
    EXPECT_EQ(lThread.getId(), lThread.mRecorder.threadId());
}

TEST(MsgDrivenThread, InterruptOvertakesAllThatIsQueued)
{
    TestThread lThread;
    ASSERT_TRUE(lThread.hold());
    lThread.postMsg(A);
    lThread.postMsg(B);
    std::thread lInterrupter([&] { EXPECT_TRUE(lThread.sendMsgInterrupt(NumberMsg(C, 5))); });
    // Wait until the request is queued behind the two.
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 3; }));
    lThread.release();
    lInterrupter.join();
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ((std::vector<int>{TestThread::HOLD, C, A, B, TestThread::FENCE}), lThread.mRecorder.ids());
}

TEST(MsgDrivenThread, InterruptMayEraseTheMessageAtTheHead)
{
    TestThread lThread;
    lThread.mRecorder.on(C, [&](int) { EXPECT_TRUE(lThread.eraseMsg(A)); });
    ASSERT_TRUE(lThread.hold());
    lThread.postMsg(A);
    lThread.postMsg(B);
    lThread.postMsg(A);
    std::thread lInterrupter([&] { EXPECT_TRUE(lThread.sendMsgInterrupt(C)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 4; }));
    lThread.release();
    lInterrupter.join();
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ((std::vector<int>{TestThread::HOLD, C, B, TestThread::FENCE}), lThread.mRecorder.ids());
}

TEST(MsgDrivenThread, RefusesWhereItWouldWaitForItself)
{
    TestThread lThread;
    bool lSync = true;
    bool lInterrupt = true;
    int lStart = 0;
    int lStop = 0;
    lThread.mRecorder.on(A,
                         [&](int)
                         {
                             lSync = lThread.sendMsgSync(B);
                             lInterrupt = lThread.sendMsgInterrupt(B);
                             lStart = lThread.start(&lThread.mRecorder, 0, 0, nullptr, 0, 0, NORMAL, 0);
                             lStop = lThread.stop(1, 0);
                             EXPECT_TRUE(lThread.postMsg(C));
                         });
    ASSERT_TRUE(lThread.sendMsgSync(A));
    ASSERT_TRUE(lThread.fence());
    EXPECT_FALSE(lSync);
    EXPECT_FALSE(lInterrupt);
    EXPECT_EQ(-1, lStart);
    EXPECT_EQ(-1, lStop);
    EXPECT_EQ((std::vector<int>{A, C, TestThread::FENCE}), lThread.mRecorder.ids());
}

TEST(MsgDrivenThread, StartsOnceAndOnlyWithAListener)
{
    Recorder lRecorder;
    MsgDrivenThread lThread(4, 4, "once", 0);
    EXPECT_EQ(-1, lThread.start(nullptr, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_FALSE(lThread.postMsg(A)); // not running
    EXPECT_FALSE(lThread.sendMsgSync(A));
    EXPECT_FALSE(lThread.hasMsg(A));
    EXPECT_FALSE(lThread.eraseMsg(A));
    EXPECT_EQ(0, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_EQ(-1, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_EQ(0, lThread.stop(1, 0));
    unsigned int lResult = 1;
    EXPECT_TRUE(lThread.getResult(&lResult));
    EXPECT_EQ(0U, lResult);
    EXPECT_EQ(-1, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_FALSE(lThread.postMsg(A));
    EXPECT_TRUE(lThread.leaveManagement());
}

TEST(MsgDrivenThread, FullDataQueueIsAnErrorOncePerBurst)
{
    LogCapture lLog;
    TestThread lThread(2);
    std::string const OVERFLOWED = "MsgDrivenThread(under test) Overflow MsgDataQueue  MaxCount:2 MsgId:0x00000001";
    ASSERT_TRUE(lThread.hold());
    ASSERT_TRUE(lThread.postMsg(A));
    ASSERT_TRUE(lThread.postMsg(A));
    lLog.clear();
    EXPECT_FALSE(lThread.postMsg(A));
    EXPECT_FALSE(lThread.postMsg(A));
    EXPECT_FALSE(lThread.sendMsgSync(A));
    EXPECT_EQ((std::vector<std::string>{"<UTIL> ERR: " + OVERFLOWED, "<UTIL> DTL: " + OVERFLOWED,
                                        "<UTIL> DTL: " + OVERFLOWED}),
              lLog.lines());
    lThread.release();
    ASSERT_TRUE(utl::test::waitUntil([&] { return lThread.mRecorder.count(A) == 2; }));
    ASSERT_TRUE(lThread.fence());
    lLog.clear();

    Gate lEntered;
    Gate lLeave;
    lThread.mRecorder.on(B,
                         [&](int)
                         {
                             lEntered.open();
                             lLeave.wait();
                         });
    ASSERT_TRUE(lThread.postMsg(B));
    ASSERT_TRUE(lEntered.wait());
    lThread.postMsg(A);
    lThread.postMsg(A);
    EXPECT_FALSE(lThread.postMsg(A));
    EXPECT_EQ(std::vector<std::string>{"<UTIL> ERR: " + OVERFLOWED}, lLog.lines());
    lLeave.open();
}

TEST(MsgDrivenThread, OversizedMessageReachesNoQueue)
{
    LogCapture lLog;
    TestThread lThread(4, 3); // one byte short of a number
    EXPECT_FALSE(lThread.postMsg(NumberMsg(A, 1)));
    EXPECT_FALSE(lThread.sendMsgSync(NumberMsg(A, 1)));
    EXPECT_FALSE(lThread.sendMsgInterrupt(NumberMsg(A, 1)));
    EXPECT_EQ(
        std::vector<std::string>(
            3, "<UTIL> ERR: MsgDrivenThread(under test) Overflow MsgSize  MaxSize(include MsgId):7 MsgId:0x00000001"),
        lLog.lines());
    EXPECT_TRUE(lThread.fence());
    EXPECT_EQ(1U, lThread.mRecorder.ids().size());
}

// 256 control records fit beside a data queue of no use to them; then everything is refused, and nothing is lost.
TEST(MsgDrivenThread, FullControlQueueRefusesAndASyncLeavesAnOrphan)
{
    LogCapture lLog;
    TestThread lThread(4);
    ASSERT_TRUE(lThread.hold());
    while (Peer::ctlCount(lThread) < 260)
    {
        ASSERT_TRUE(Peer::postCtl(lThread, MSG_ID_OUT_OF_BAND));
    }
    lLog.clear();
    EXPECT_FALSE(lThread.postMsg(A));
    EXPECT_FALSE(lThread.sendMsgSync(NumberMsg(B, 1)));
    EXPECT_FALSE(lThread.sendMsgInterrupt(C));
    EXPECT_FALSE(lThread.hasMsg(MSG_ID_ANY));
    EXPECT_FALSE(lThread.eraseMsg(MSG_ID_ANY));
    EXPECT_EQ(-1, lThread.setTimer(10, 1, 0, 0));
    EXPECT_EQ(6U, lLog.count("ERR: MsgDrivenThread(under test) Overflow ThreadCtlMsgQueue  MaxCount:260 MsgId:0x"));
    EXPECT_EQ(4, lThread.remTimerIdCount());
    lLog.clear();
    lThread.release();
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 0; }));
    // The slot of the synchronous message stands before this one, and is thrown away.
    EXPECT_TRUE(lThread.postMsg(A));
    EXPECT_TRUE(lThread.fence());
    EXPECT_EQ((std::vector<int>{TestThread::HOLD, A, TestThread::FENCE}), lThread.mRecorder.ids());
    EXPECT_EQ(std::vector<std::string>{"<UTIL> ERR: !!!!!!!! MsgDrivenThread(under test) MismatchedMsg... "
                                       "DataQueueMsgId:0x00000002 CtlMsgId:0x00000001 Erased Data !!!!!!!!"},
              lLog.lines());
}

TEST(MsgDrivenThread, StopReleasesEveryoneWhoWaits)
{
    TestThread lThread;
    ASSERT_TRUE(lThread.hold());
    std::vector<std::thread> lWaiting;
    lWaiting.emplace_back([&] { EXPECT_FALSE(lThread.sendMsgSync(A)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 1; }));
    lWaiting.emplace_back([&] { EXPECT_EQ(1, lThread.setTimer(50, 0, 0, 0)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 2; }));
    lWaiting.emplace_back([&] { EXPECT_FALSE(lThread.sendMsgInterrupt(B)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 3; }));
    lWaiting.emplace_back([&] { EXPECT_FALSE(lThread.hasMsg(A)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 4; }));
    lWaiting.emplace_back([&] { EXPECT_TRUE(lThread.eraseMsg(A)); }); // no queue will run it any more
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 5; }));
    // The timer's caller holds the lock that MsgDrivenThread::stop takes; ask underneath it.
    EXPECT_EQ(0, lThread.Thread::stop(0, 0));
    lThread.release();
    for (std::thread& lThreadWaiting : lWaiting)
    {
        lThreadWaiting.join();
    }
}

// A pipe takes 8192 records; the queue here takes 20000.
TEST(MsgDrivenThread, FloodOfALongQueueArrivesInOrder)
{
    unsigned int const COUNT = 20000;
    TestThread lThread(COUNT + 1, 4);
    ASSERT_TRUE(lThread.hold());
    auto const lFlood = [&](int nMsgId)
    {
        for (unsigned int lIndex = 0; lIndex < COUNT / 2; ++lIndex)
        {
            ASSERT_TRUE(lThread.postMsg(NumberMsg(nMsgId, static_cast<int>(lIndex))));
        }
    };
    std::thread lOther([&] { lFlood(A); });
    lFlood(B);
    lOther.join();
    lThread.release();
    // More while the pipe is being caught up with.
    for (int lIndex = 0; lIndex < 3000; ++lIndex)
    {
        while (!lThread.postMsg(NumberMsg(C, lIndex)))
        {
            std::this_thread::yield();
        }
    }
    while (!lThread.fence())
    {
    }
    int lNext[4] = {};
    for (auto const& lReceived : lThread.mRecorder.received())
    {
        if (lReceived.first <= C)
        {
            ASSERT_EQ(lNext[lReceived.first]++, lReceived.second);
        }
    }
    EXPECT_EQ(10000, lNext[A]);
    EXPECT_EQ(10000, lNext[B]);
    EXPECT_EQ(3000, lNext[C]);
}

TEST(MsgDrivenThread, ListenerMayFloodItsOwnThread)
{
    unsigned int const COUNT = 12000;
    TestThread lThread(COUNT + 1, 4);
    lThread.mRecorder.on(A,
                         [&](int)
                         {
                             for (unsigned int lIndex = 0; lIndex < COUNT; ++lIndex)
                             {
                                 ASSERT_TRUE(lThread.postMsg(B));
                             }
                         });
    ASSERT_TRUE(lThread.postMsg(A));
    EXPECT_TRUE(utl::test::waitUntil([&] { return lThread.mRecorder.count(B) == COUNT; }));
}

TEST(MsgDrivenThread, MessagePathAllocatesNothing)
{
    struct Counter : ThreadMsgListener
    {
        void receiveMsg(int, ThreadRawMsg& nRawMsg) override
        {
            NumberMsg lMsg(0);
            lMsg.restoreFrom(nRawMsg);
            mSum += static_cast<unsigned int>(lMsg.mNumber);
        }
        std::atomic<unsigned int> mSum{0};
    } lCounter;
    MsgDrivenThread lThread(4, 64, "lean", 2);
    ASSERT_EQ(0, lThread.start(&lCounter, 0, 0, nullptr, 1, 0, NORMAL, 0));
    lThread.sendMsgSync(NumberMsg(A, 0));
    gAllocations = 0;
    gIsCounting = true;
    unsigned int lPosted = 0;
    for (int lIndex = 0; lIndex < 2000; ++lIndex)
    {
        lPosted += lThread.postMsg(NumberMsg(A, 1)) ? 1U : 0U;
        lPosted += lIndex % 32 == 0 && lThread.sendMsgSync(NumberMsg(B, 1)) ? 1U : 0U;
        lPosted += lIndex % 64 == 0 && lThread.sendMsgInterrupt(NumberMsg(C, 1)) ? 1U : 0U;
    }
    while (!lThread.sendMsgSync(NumberMsg(B, 0)))
    {
    }
    gIsCounting = false;
    EXPECT_EQ(0U, gAllocations);
    EXPECT_EQ(lPosted, lCounter.mSum);
    EXPECT_EQ(0, lThread.stop(1, 0));
    EXPECT_TRUE(lThread.leaveManagement());
}

// Each system call on the road fails once: the documented line and result, and the next call works.
TEST(MsgDrivenThread, FailedWriteIsToldAndTheNextMessageArrives)
{
    ThreadManager::get()->setWatchdogWatchInterval(0); // the watchdog's timer is not to meet the faults
    LogCapture lLog;
    TestThread lThread;
    ASSERT_TRUE(lThread.fence());
    struct Row
    {
        char const* mpName;
        std::function<bool()> mSend;
    } const ROWS[] = {
        {"postMsg", [&] { return lThread.postMsg(A); }},
        {"sendMsgSync", [&] { return lThread.sendMsgSync(A); }},
        {"sendMsgInterrupt", [&] { return lThread.sendMsgInterrupt(A); }},
        {"hasMsg", [&] { return lThread.hasMsg(MSG_ID_ANY); }},
        {"eraseMsg", [&] { return lThread.eraseMsg(MSG_ID_ANY); }},
        {"setTimer", [&] { return lThread.setTimer(5, 0, 1, 0) != -1; }},
    };
    for (Row const& lRow : ROWS)
    {
        lLog.clear();
        {
            FailNth<&SystemCalls::mWrite> lFault(1, EIO);
            EXPECT_FALSE(lRow.mSend()) << lRow.mpName;
        }
        EXPECT_EQ(std::vector<std::string>{"<UTIL> ERR: MsgDrivenThread(under test)::postThreadCtlMsg() Error. write "
                                           "Ret:4294967295 errno:5"},
                  lLog.lines())
            << lRow.mpName;
        EXPECT_EQ(0U, Peer::ctlCount(lThread)) << lRow.mpName;
        EXPECT_EQ(0U, lThread.mRecorder.count(A)) << lRow.mpName;
        EXPECT_TRUE(lThread.postMsg(B)) << lRow.mpName;
        EXPECT_TRUE(lThread.fence()) << lRow.mpName;
    }
    EXPECT_EQ(6U, lThread.mRecorder.count(B));
}

TEST(MsgDrivenThread, InterruptedReadIsRetriedAndABrokenOneEndsTheLoop)
{
    // The watchdog's thread reads too, and is to be left alone.
    ThreadManager::NameMap lNames(1);
    ASSERT_TRUE(ThreadManager::get()->getNames(&lNames));
    static int sWatchdogId;
    static std::atomic<int> sError;
    sWatchdogId = lNames.at(0)->mKey;
    test::Replaced lRead(
        &SystemCalls::mRead,
        +[](int nFd, void* npBuffer, std::size_t nSize) -> ssize_t
        {
            int const lError = ThreadManager::getCallerId() != sWatchdogId ? sError.exchange(0) : 0;
            errno = lError;
            return lError != 0 ? -1 : ::read(nFd, npBuffer, nSize);
        });
    LogCapture lLog;
    for (int lError : {EINTR, EIO})
    {
        lLog.clear();
        MsgDrivenThread lThread(4, 4, "reader", 0);
        Recorder lRecorder;
        sError = lError;
        ASSERT_EQ(0, lThread.start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0));
        if (lError == EINTR)
        {
            EXPECT_TRUE(lThread.sendMsgSync(A));
            EXPECT_EQ(1U,
                      lLog.count("INF: MsgDrivenThread(reader) Error. read Ret:4294967295 errno:4=EINTR Retry read"));
            EXPECT_EQ(0, lThread.stop(1, 0));
        }
        else
        {
            EXPECT_EQ(0, lThread.waitTo(3, longMs()));
            EXPECT_EQ(1U,
                      lLog.count("ERR: MsgDrivenThread(reader) Error. read Ret:4294967295 errno:5 !!Break msg loop!!"));
            EXPECT_FALSE(lThread.sendMsgSync(A));
            unsigned int lResult = 0;
            EXPECT_TRUE(lThread.getResult(&lResult));
            EXPECT_EQ(0xFFFFFFFFU, lResult);
        }
        EXPECT_TRUE(lThread.leaveManagement());
    }
}

TEST(MsgDrivenThread, WithoutAPipeItEndsAndLeaksNothing)
{
    ThreadManager::get();
    LogCapture lLog;
    unsigned int const lFds = utl::test::openFdCount();
    {
        std::unique_ptr<MsgDrivenThread> lpThread;
        {
            FailNth<&SystemCalls::mPipe2> lFault(1, EMFILE);
            lpThread = std::make_unique<MsgDrivenThread>(4U, 4U, "poor", 0U);
        }
        EXPECT_EQ(std::vector<std::string>{"<UTIL> ERR: MsgDrivenThread(poor) pipe errno:24"}, lLog.lines());
        Recorder lRecorder;
        EXPECT_EQ(0, lpThread->start(&lRecorder, 0, 0, nullptr, 0, 0, NORMAL, 0));
        EXPECT_EQ(0, lpThread->waitTo(3, longMs()));
        EXPECT_TRUE(lpThread->leaveManagement());
    }
    MsgDrivenThread(4, 4, "rich", 0);
    EXPECT_EQ(lFds, utl::test::openFdCount());
}

// ---------------------------------------------------------------------------------------------- finding and erasing

TEST(MsgDrivenThread, EmptyQueueHasNothingAndErasesGladly)
{
    TestThread lThread;
    ThreadRawMsg lRawMsg(4);
    EXPECT_FALSE(lThread.hasMsg(MSG_ID_ANY));
    EXPECT_FALSE(lThread.peekMsg(MSG_ID_ANY, &lRawMsg));
    EXPECT_FALSE(lThread.peekMsg(MSG_ID_ANY, nullptr));
    EXPECT_TRUE(lThread.eraseMsg(MSG_ID_ANY));
    EXPECT_EQ(static_cast<int>(MSG_ID_NONE), lThread.getFirstMsgId());
}

/// Runs on the message thread while the queue holds what the test put there.
void whileQueued(TestThread& nThread, std::function<void()> nFill, std::function<void()> nLook)
{
    Gate lEntered;
    Gate lFilled;
    Gate lLooked;
    int const LOOK = 9100;
    nThread.mRecorder.on(LOOK,
                         [&](int)
                         {
                             lEntered.open();
                             EXPECT_TRUE(lFilled.wait());
                             nLook();
                             lLooked.open();
                         });
    ASSERT_TRUE(nThread.postMsg(LOOK));
    ASSERT_TRUE(lEntered.wait());
    nFill();
    lFilled.open();
    ASSERT_TRUE(lLooked.wait());
    ASSERT_TRUE(nThread.fence());
}

TEST(MsgDrivenThread, FindsPeeksAndErasesInTheMiddle)
{
    TestThread lThread;
    whileQueued(
        lThread,
        [&]
        {
            lThread.postMsg(NumberMsg(A, 1));
            lThread.postMsg(NumberMsg(B, 2));
            lThread.postMsg(NumberMsg(A, 3));
            lThread.postMsg(NumberMsg(C, 4));
        },
        [&]
        {
            EXPECT_TRUE(lThread.hasMsg(C));
            EXPECT_FALSE(lThread.hasMsg(99));
            EXPECT_EQ(A, lThread.getFirstMsgId());
            ThreadRawMsg lRawMsg(4);
            EXPECT_TRUE(lThread.peekMsg(B, &lRawMsg));
            EXPECT_EQ(20U, lRawMsg.maxSize());
            NumberMsg lMsg(0);
            EXPECT_TRUE(lMsg.restoreFrom(lRawMsg));
            EXPECT_EQ(2, lMsg.mNumber);
            EXPECT_TRUE(lThread.eraseMsg(A));
            EXPECT_FALSE(lThread.hasMsg(A));
        });
    EXPECT_EQ((std::vector<std::pair<int, int>>{{9100, 0}, {B, 2}, {C, 4}, {TestThread::FENCE, 0}}),
              [&]
              {
                  auto lReceived = lThread.mRecorder.received();
                  lReceived.front().second = 0;
                  lReceived.back().second = 0;
                  return lReceived;
              }());
}

TEST(MsgDrivenThread, OthersFindAndEraseBetweenTwoDispatches)
{
    TestThread lThread;
    ASSERT_TRUE(lThread.hold());
    lThread.postMsg(A);
    lThread.postMsg(B);
    std::thread lSync([&] { EXPECT_FALSE(lThread.sendMsgSync(A)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 3; }));
    std::thread lEraser([&] { EXPECT_TRUE(lThread.eraseMsg(A)); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 4; }));
    bool lHasA = true;
    std::thread lFinder([&] { lHasA = lThread.hasMsg(A); });
    ASSERT_TRUE(utl::test::waitUntil([&] { return Peer::ctlCount(lThread) == 5; }));
    lThread.release();
    lSync.join();
    lEraser.join();
    lFinder.join();
    ASSERT_TRUE(lThread.fence());
    EXPECT_FALSE(lHasA); // erasing came first
    EXPECT_EQ((std::vector<int>{TestThread::HOLD, B, TestThread::FENCE}), lThread.mRecorder.ids());
}

TEST(MsgDrivenThread, WalksMeetAQueueWithoutItsData)
{
    LogCapture lLog;
    TestThread lThread;
    whileQueued(
        lThread, [&] { lThread.postMsg(A); },
        [&]
        {
            EXPECT_FALSE(Peer::earse(lThread, 1, 0, 20));
            EXPECT_FALSE(Peer::earse(lThread, 0, 20, 20));
            ASSERT_TRUE(Peer::postCtl(lThread, B)); // a record that owns no slot
            lLog.clear();
            EXPECT_FALSE(lThread.hasMsg(B));
            EXPECT_EQ(1U, lLog.count("MsgDrivenThread::executeFindMsg(): Peek Data Queue fail. Line="));
            EXPECT_FALSE(lThread.eraseMsg(B));
            EXPECT_EQ(1U, lLog.count("MsgDrivenThread::executeEraseMsg(): Peek Data Queue fail. Line="));
            ASSERT_TRUE(Peer::eraseCtl(lThread, A)); // now the slot of A stands under the record of B
            EXPECT_FALSE(lThread.eraseMsg(B));
            EXPECT_EQ(1U,
                      lLog.count("MsgDrivenThread::executeEraseMsg(): Data Queue is different from Ctl Queue . Line="));
            ASSERT_TRUE(Peer::eraseCtl(lThread, B));
            EXPECT_FALSE(Peer::eraseCtl(lThread, B));
        });
}

} // namespace
