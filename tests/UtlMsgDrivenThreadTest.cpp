#include "UtlMsgDrivenThread.h"

#include "UtlThreadManager.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MsgThread.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;
using Peer = MsgDrivenThreadTestPeer;
using TestThread = Started;
using Ids = std::vector<int>;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);
int const A = 1;
int const B = 2;
int const C = 3;
int const D = 4;

TEST(MsgDrivenThread, InterruptThenErasureThenSearchGoAheadOfTheQueue)
{
    TestThread lThread;
    lThread.mRecorder.on(C, [&](int) { EXPECT_TRUE(lThread.eraseMsg(D)); }); // the head
    ASSERT_TRUE(lThread.hold() && lThread.postMsg(D) && lThread.postMsg(A) && lThread.postMsg(B));
    ASSERT_TRUE(lThread.elsewhere(4, [&] { EXPECT_FALSE(lThread.sendMsgSync(A)); }));
    ASSERT_TRUE(lThread.elsewhere(5, [&] { EXPECT_FALSE(lThread.hasMsg(A)); }));
    ASSERT_TRUE(lThread.elsewhere(6, [&] { EXPECT_TRUE(lThread.eraseMsg(A)); }));
    ASSERT_TRUE(lThread.elsewhere(7, [&] { EXPECT_TRUE(lThread.sendMsgInterrupt(NumberMsg(C, 5))); }));
    lThread.release();
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ((Ids{C, B}), lThread.ids());
    EXPECT_EQ(Ids{5}, lThread.mRecorder.numbers(C));
}

TEST(MsgDrivenThread, RunsOnceAndRefusesWhereItWouldWaitForItself)
{
    TestThread lThread;
    auto const lStart = [&](ThreadMsgListener* npListener)
    { return lThread.start(npListener, 0, 0, nullptr, 1, 0, NORMAL, 0); };
    lThread.mRecorder.on(A,
                         [&](int)
                         {
                             EXPECT_FALSE(lThread.sendMsgSync(B) || lThread.sendMsgInterrupt(B));
                             EXPECT_TRUE(lStart(&lThread.mRecorder) == -1 && lThread.stop(1, 0) == -1);
                             EXPECT_TRUE(lThread.postMsg(C));
                         });
    ASSERT_TRUE(lThread.sendMsgSync(A) && lThread.fence());
    EXPECT_EQ((Ids{A, C}), lThread.ids());
    EXPECT_TRUE(lStart(&lThread.mRecorder) == -1 && lThread.stop(1, 0) == 0);
    unsigned int lResult = 1;
    EXPECT_TRUE(lThread.getResult(&lResult) && lResult == 0);
    EXPECT_TRUE(lStart(&lThread.mRecorder) == -1 && !lThread.postMsg(A));

    MsgDrivenThread lDeaf(4, 4, "deaf", 0);
    EXPECT_EQ(0, static_cast<Thread&>(lDeaf).start(0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_TRUE(lDeaf.sendMsgSync(A) && lDeaf.stop(1, 0) == 0 && lDeaf.leaveManagement()); // nobody listens

    MsgDrivenThread lIdle(4, 4, "idle", 0);
    EXPECT_EQ(-1, lIdle.start(nullptr, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_FALSE(lIdle.postMsg(A) || lIdle.sendMsgSync(A) || lIdle.hasMsg(A) || lIdle.eraseMsg(A));
}

TEST(MsgDrivenThread, OversizedReachNoQueueAndAFullOneIsAnErrorOncePerBurst)
{
    std::string const LINE = "MsgDrivenThread(under test) Overflow ";
    std::string const FULL = LINE + "MsgDataQueue  MaxCount:2 MsgId:0x00000001";
    LogCapture lLog;
    TestThread lThread(2, 3); // one byte short of a number
    lThread.mRecorder.on(B, [&](int) { EXPECT_TRUE(lThread.postMsg(A) && lThread.postMsg(A) && !lThread.postMsg(A)); });
    ASSERT_TRUE(lThread.hold());
    NumberMsg const lMsg(A, 1);
    EXPECT_FALSE(lThread.postMsg(lMsg) || lThread.sendMsgSync(lMsg) || lThread.sendMsgInterrupt(lMsg));
    EXPECT_EQ(Lines(3, "<UTIL> ERR: " + LINE + "MsgSize  MaxSize(include MsgId):7 MsgId:0x00000001"), lLog.lines());
    lLog.clear();
    EXPECT_TRUE(lThread.postMsg(A) && lThread.postMsg(A));
    EXPECT_FALSE(lThread.postMsg(A) || lThread.postMsg(A) || lThread.sendMsgSync(A));
    EXPECT_EQ((Lines{"<UTIL> ERR: " + FULL, "<UTIL> DTL: " + FULL, "<UTIL> DTL: " + FULL}), lLog.lines());
    lThread.release();
    ASSERT_TRUE(waitUntil([&] { return lThread.mRecorder.count(A) == 2; }));
    lLog.clear();
    ASSERT_TRUE(lThread.postMsg(B));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(A) == 4; }));
    EXPECT_EQ(Lines{"<UTIL> ERR: " + FULL}, lLog.lines());
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
    EXPECT_FALSE(lThread.postMsg(A) || lThread.sendMsgSync(NumberMsg(B, 1)) || lThread.sendMsgInterrupt(C) ||
                 lThread.hasMsg(MSG_ID_ANY) || lThread.eraseMsg(MSG_ID_ANY));
    EXPECT_EQ(-1, lThread.setTimer(10, 1, 0, 0));
    EXPECT_EQ(6U, lLog.count("ERR: MsgDrivenThread(under test) Overflow ThreadCtlMsgQueue  MaxCount:260 MsgId:0x"));
    EXPECT_EQ(4, lThread.remTimerIdCount());
    lLog.clear();
    lThread.release();
    ASSERT_TRUE(waitUntil([&] { return Peer::ctlCount(lThread) == 0; }));
    // The slot of the synchronous message stands before this one, and is thrown away.
    EXPECT_TRUE(lThread.postMsg(A) && lThread.fence());
    EXPECT_EQ(Ids{A}, lThread.ids());
    EXPECT_EQ(1, lThread.registerTimer(10, 0, 0)); // the id that was not given
    EXPECT_EQ(Lines{"<UTIL> ERR: !!!!!!!! MsgDrivenThread(under test) MismatchedMsg... "
                    "DataQueueMsgId:0x00000002 CtlMsgId:0x00000001 Erased Data !!!!!!!!"},
              lLog.lines());
}

TEST(MsgDrivenThread, StopReleasesEveryoneWhoWaits)
{
    TestThread lThread;
    ASSERT_TRUE(lThread.hold());
    ASSERT_TRUE(lThread.elsewhere(1, [&] { EXPECT_FALSE(lThread.sendMsgSync(A)); }));
    ASSERT_TRUE(lThread.elsewhere(2, [&] { EXPECT_EQ(1, lThread.setTimer(50, 0, 0, 0)); }));
    ASSERT_TRUE(lThread.elsewhere(3, [&] { EXPECT_FALSE(lThread.sendMsgInterrupt(B)); }));
    ASSERT_TRUE(lThread.elsewhere(4, [&] { EXPECT_FALSE(lThread.hasMsg(A)); }));
    // No queue will run it any more.
    ASSERT_TRUE(lThread.elsewhere(5, [&] { EXPECT_TRUE(lThread.eraseMsg(A)); }));
    // The timer's caller holds the lock that MsgDrivenThread::stop takes; ask underneath it.
    EXPECT_EQ(0, lThread.Thread::stop(0, 0));
    lThread.release();
}

// A pipe takes 8192 records; the queue here takes 20000, from others and from the listener itself.
TEST(MsgDrivenThread, FloodOfALongQueueArrivesInOrder)
{
    int const COUNT = 20000;
    QuietLog const lQuiet;
    TestThread lThread(COUNT + 1, 4);
    auto const lFlood = [&](int nMsgId, int nFrom, int nTo)
    {
        for (int lNumber = nFrom; lNumber < nTo; ++lNumber)
        {
            ASSERT_TRUE(waitUntil([&] { return lThread.postMsg(NumberMsg(nMsgId, lNumber)); }));
        }
    };
    lThread.mRecorder.on(C, [&](int) { lFlood(B, 0, COUNT); });
    ASSERT_TRUE(lThread.hold());
    lFlood(A, 0, COUNT);
    lThread.release();
    lFlood(A, COUNT, COUNT + 3000); // while the pipe is being caught up with
    ASSERT_TRUE(waitUntil([&] { return Peer::ctlCount(lThread) == 0; }) && lThread.sendMsgSync(C));
    ASSERT_TRUE(waitUntil([&] { return lThread.fence(); }));
    for (int lMsgId : {A, B})
    {
        int lNext = 0;
        for (int lNumber : lThread.mRecorder.numbers(lMsgId))
        {
            ASSERT_EQ(lNext++, lNumber);
        }
        EXPECT_EQ(lMsgId == A ? COUNT + 3000 : COUNT, lNext);
    }
}

// Each system call on the road fails: the documented line and result, and where there is a next call, it works.
TEST(MsgDrivenThread, FailuresOfThePipeAreTold)
{
    ThreadManager::get()->setWatchdogWatchInterval(0); // the watchdog's timer is not to meet the faults
    LogCapture lLog;
    failing<&SystemCalls::mPipe2>(EMFILE, [] { MsgDrivenThread(4, 4, "poor", 0); });
    EXPECT_EQ(Lines{"<UTIL> ERR: MsgDrivenThread(poor) pipe errno:24"}, lLog.lines());
    TestThread lThread;
    ASSERT_TRUE(lThread.fence());
    std::function<bool()> const SENDS[] = {
        [&] { return lThread.postMsg(A); },           [&] { return lThread.sendMsgSync(A); },
        [&] { return lThread.sendMsgInterrupt(A); },  [&] { return lThread.hasMsg(MSG_ID_ANY); },
        [&] { return lThread.eraseMsg(MSG_ID_ANY); }, [&] { return lThread.setTimer(5, 0, 1, 0) != -1; }};
    Lines lExpected{"<UTIL> ERR: MsgDrivenThread(under test)::postThreadCtlMsg() Error. write Ret:4294967295 errno:5"};
    for (auto const& lSend : SENDS)
    {
        SCOPED_TRACE(&lSend - SENDS);
        lLog.clear();
        EXPECT_FALSE(failing<&SystemCalls::mWrite>(EIO, lSend));
        EXPECT_EQ(0U, Peer::ctlCount(lThread));
        EXPECT_EQ(lExpected, lLog.lines());
        lLog.clear();
        EXPECT_TRUE(lThread.postMsg(B) && lThread.fence());
        EXPECT_EQ(&lSend == &SENDS[1] ? 1U : 0U, lLog.count("Erased Data")); // its slot stays until then
    }
    EXPECT_EQ(Ids(6, B), lThread.ids());
    lLog.clear();
    EXPECT_TRUE(failing<&SystemCalls::mRead>(EINTR, [&] { return lThread.fence() && lThread.fence(); }));
    EXPECT_EQ(Lines{"<UTIL> INF: MsgDrivenThread(under test) Error. read Ret:4294967295 errno:4=EINTR Retry read"},
              lLog.lines());
    FailNth<&SystemCalls::mRead> lFault(0, EIO);
    EXPECT_TRUE(lThread.postMsg(A));
    EXPECT_EQ(0, lThread.waitTo(Thread::STAGE_DONE, longMs()));
    EXPECT_EQ(1U, lLog.count("ERR: MsgDrivenThread(under test) Error. read Ret:4294967295 errno:5 !!Break msg loop!!"));
    unsigned int lResult = 0;
    EXPECT_TRUE(!lThread.sendMsgSync(A) && lThread.getResult(&lResult) && lResult == ~0U);
}

// ---------------------------------------------------------------------------------------------- finding and erasing

// B comes while A is written, and its record, owed to A's sender, cannot be written: it is at the head without a record.
TEST(MsgDrivenThread, LostRecordHoldsNobodyUp)
{
    static TestThread* spThread;
    static std::atomic<bool> sHasLost;
    TestThread lThread;
    spThread = &lThread;
    for (bool const lStops : {false, true})
    {
        sHasLost = false;
        Replaced lWrite(
            &SystemCalls::mWrite,
            +[](int nFd, void const* npRecord, size_t nSize) -> ssize_t
            {
                int const lMsgId = *static_cast<int const*>(npRecord);
                if (lMsgId == B && !sHasLost.exchange(true))
                {
                    errno = ENOMEM;
                    return -1;
                }
                EXPECT_TRUE(lMsgId != A || spThread->postMsg(B));
                return ::write(nFd, npRecord, nSize);
            });
        EXPECT_TRUE(lThread.postMsg(A));
        EXPECT_TRUE(lStops || (lThread.postMsg(C) && lThread.fence() && lThread.ids() == Ids({A, B, C})));
    }
    EXPECT_EQ(0, lThread.stop(1, longMs()));
}

TEST(MsgDrivenThread, FindsPeeksAndErasesInTheMiddle)
{
    TestThread lThread;
    ThreadRawMsg lRawMsg(4);
    EXPECT_FALSE(lThread.hasMsg(MSG_ID_ANY) || lThread.peekMsg(MSG_ID_ANY, &lRawMsg));
    EXPECT_TRUE(lThread.eraseMsg(MSG_ID_ANY) && lThread.getFirstMsgId() == MSG_ID_NONE);
    auto const lLook = [&](int)
    {
        for (int lMsgId : {A, B, A, C})
        {
            ASSERT_TRUE(lThread.postMsg(NumberMsg(lMsgId, 10 * lMsgId)));
        }
        EXPECT_TRUE(lThread.hasMsg(C) && !lThread.hasMsg(99) && lThread.getFirstMsgId() == A);
        EXPECT_TRUE(lThread.peekMsg(B, &lRawMsg) && !lThread.peekMsg(B, nullptr) && lRawMsg.maxSize() == 20);
        NumberMsg lMsg(0);
        EXPECT_TRUE(lMsg.restoreFrom(lRawMsg) && lMsg.mNumber == 20);
        EXPECT_TRUE(lThread.eraseMsg(A) && !lThread.hasMsg(A));
    };
    lThread.mRecorder.on(D, lLook);
    ASSERT_TRUE(lThread.sendMsgSync(D) && lThread.fence());
    EXPECT_EQ((Ids{D, B, C}), lThread.ids());
    EXPECT_EQ(Ids{30}, lThread.mRecorder.numbers(C));
}

} // namespace
