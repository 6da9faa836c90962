#include "UtlMsgDrivenThread.h"

#include "UtlThreadManager.h"
#include "support/MsgThread.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;
using Peer = MsgDrivenThreadTestPeer;
using Ids = std::vector<int>;

int const A = 1;
int const B = 2;
int const C = 3;
int const D = 4;

TEST(MsgDrivenThread, InterruptThenErasureThenSearchGoAheadOfTheQueue)
{
    Started lThread;
    lThread.mRecorder.on(C, [&](int) { EXPECT_TRUE(lThread.eraseMsg(D)); }); // the head
    ASSERT_EQ("yyyy", said({lThread.hold(), lThread.postMsg(D), lThread.postMsg(A), lThread.postMsg(B)}));
    ASSERT_TRUE(lThread.elsewhere(4, [&] { EXPECT_FALSE(lThread.sendMsgSync(A)); }));
    ASSERT_TRUE(lThread.elsewhere(5, [&] { EXPECT_EQ(B, lThread.getFirstMsgId()); }));
    ASSERT_TRUE(lThread.elsewhere(6, [&] { EXPECT_TRUE(lThread.eraseMsg(A)); }));
    ASSERT_TRUE(lThread.elsewhere(7, [&] { EXPECT_TRUE(lThread.sendMsgInterrupt(NumberMsg(C, 5))); }));
    lThread.release();
    ASSERT_TRUE(lThread.fence());
    EXPECT_EQ((Ids{C, B}), lThread.ids());
    EXPECT_EQ(Ids{5}, lThread.mRecorder.numbers(C));
}

TEST(MsgDrivenThread, RunsOnceAndRefusesWhereItWouldWaitForItself)
{
    Started lThread;
    auto const lStart = [&] { return lThread.start(&lThread.mRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0); };
    lThread.mRecorder.on(A,
                         [&](int)
                         {
                             EXPECT_EQ("nn", said({lThread.sendMsgSync(B), lThread.sendMsgInterrupt(B)}));
                             EXPECT_EQ(Send::OWN_THREAD, lThread.trySend(SimpleMsg(B), 0));
                             EXPECT_EQ(-1, lStart());
                             EXPECT_EQ(-1, lThread.stop(1, 0));
                             EXPECT_TRUE(lThread.postMsg(C));
                         });
    ASSERT_EQ("yy", said({lThread.sendMsgSync(A), lThread.fence()}));
    EXPECT_EQ((Ids{A, C}), lThread.ids());
    EXPECT_EQ(-1, lStart());
    EXPECT_EQ(0, lThread.stop(1, 0));
    unsigned int lResult = 1;
    EXPECT_TRUE(lThread.getResult(&lResult));
    EXPECT_EQ(0, lResult);
    EXPECT_EQ(-1, lStart());
    EXPECT_FALSE(lThread.postMsg(A));
    EXPECT_EQ(Send::STOPPED, lThread.trySend(SimpleMsg(A), 0));

    MsgDrivenThread lDeaf(4, 4, "deaf", 0);
    EXPECT_EQ("nnnn", said({lDeaf.postMsg(A), lDeaf.sendMsgSync(A), lDeaf.hasMsg(A), lDeaf.eraseMsg(A)}));
    EXPECT_EQ(Post::NOT_STARTED, lDeaf.tryPost(SimpleMsg(A)));
    EXPECT_EQ(Send::NOT_STARTED, lDeaf.trySend(SimpleMsg(A), 0));
    EXPECT_EQ(-1, lDeaf.start(nullptr, 0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_EQ(0, static_cast<Thread&>(lDeaf).start(0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_TRUE(lDeaf.sendMsgSync(A)); // nobody listens
    EXPECT_EQ(0, lDeaf.stop(1, 0));
    EXPECT_TRUE(lDeaf.leaveManagement());
}

TEST(MsgDrivenThread, OversizedReachNoQueueAndAFullOneIsAnErrorOncePerBurst)
{
    std::string const LINE = "MsgDrivenThread(under test) Overflow ";
    std::string const FULL = LINE + "MsgDataQueue  MaxCount:2 MsgId:0x00000001";
    LogCapture lLog;
    Started lThread(2, 3); // one byte short of a number
    lThread.mRecorder.on(B,
                         [&](int) {
                             EXPECT_EQ("yyn", said({lThread.postMsg(A), lThread.postMsg(A), lThread.postMsg(A)}));
                         });
    ASSERT_TRUE(lThread.hold());
    NumberMsg const lMsg(A, 1);
    EXPECT_EQ(Post::TOO_LARGE, lThread.tryPost(lMsg)); // in silence, as whenever the result tells
    EXPECT_EQ("nnn", said({lThread.postMsg(lMsg), lThread.sendMsgSync(lMsg), lThread.sendMsgInterrupt(lMsg)}));
    EXPECT_EQ(LogLines(3, "<UTIL> ERR: " + LINE + "MsgSize  MaxSize(include MsgId):7 MsgId:0x00000001"), lLog.lines());
    lLog.clear();
    EXPECT_EQ("yy", said({lThread.postMsg(A), lThread.postMsg(A)}));
    EXPECT_EQ("nnn", said({lThread.postMsg(A), lThread.postMsg(A), lThread.sendMsgSync(A)}));
    EXPECT_EQ((LogLines{"<UTIL> ERR: " + FULL, "<UTIL> DTL: " + FULL, "<UTIL> DTL: " + FULL}), lLog.lines());
    lThread.release();
    ASSERT_TRUE(waitUntil([&] { return lThread.mRecorder.count(A) == 2; }));
    lLog.clear();
    ASSERT_TRUE(lThread.postMsg(B));
    EXPECT_TRUE(waitUntil([&] { return lThread.mRecorder.count(A) == 4; }));
    EXPECT_EQ(LogLines{"<UTIL> ERR: " + FULL}, lLog.lines());
}

TEST(MsgDrivenThread, TellsWhatBecameOfASend)
{
    LogCapture lLog;
    Started lThread(3, 3); // one byte short of a number
    EXPECT_EQ(Send::TOO_LARGE, lThread.trySend(NumberMsg(A, 1), 0));
    lThread.mRecorder.on(C, [&](int) { EXPECT_TRUE(lThread.eraseMsg(D)); });
    ASSERT_TRUE(lThread.hold());
    EXPECT_EQ(Send::TIMED_OUT, lThread.trySend(SimpleMsg(A), 1));
    EXPECT_TRUE(lThread.postMsg(C));
    ASSERT_TRUE(lThread.elsewhere(3, [&] { EXPECT_EQ(Send::ERASED, lThread.trySend(SimpleMsg(D), 0)); }));
    EXPECT_EQ(Send::TIMED_OUT, lThread.trySend(SimpleMsg(B), 1)); // behind the other sender
    EXPECT_EQ(Post::FULL, lThread.tryPost(SimpleMsg(B)));
    lThread.release();
    EXPECT_EQ(Send::DONE, lThread.trySend(SimpleMsg(A), longMs()));
    EXPECT_EQ((Ids{C, A}), lThread.ids());
    EXPECT_EQ(2U, lThread.ledger().mErased);
    EXPECT_EQ(LogLines(), lLog.lines());

    Started lEnding;
    ASSERT_TRUE(lEnding.hold());
    ASSERT_TRUE(lEnding.elsewhere(1, [&] { EXPECT_EQ(Send::STOPPED, lEnding.trySend(SimpleMsg(D), 0)); }));
    lEnding.stop(0, 0);
}

TEST(MsgDrivenThread, TellsWhyItDoesNotStart)
{
    LogCapture lLog;
    Recorder lRecorder;
    auto const lMake = [] { return std::make_unique<MsgDrivenThread>(4U, 4U, "piped", 0U); };
    auto const lpNoPipe = failing<&SystemCalls::mPipe2>(EMFILE, lMake);
    EXPECT_EQ(Start::NO_PIPE, lpNoPipe->tryStart(&lRecorder, ThreadOptions()));
    EXPECT_EQ(1U, lLog.count("<UTIL> ERR: MsgDrivenThread(piped) pipe errno:24"));
    EXPECT_EQ(0, lpNoPipe->start(&lRecorder, 0, 0, nullptr, 1, 0, NORMAL, 0)); // and ends at once
    EXPECT_EQ(0, lpNoPipe->waitTo(Thread::STAGE_DONE, longMs()));
    EXPECT_TRUE(lpNoPipe->leaveManagement());
    EXPECT_EQ(Start::STARTED_ONCE, lpNoPipe->tryStart(&lRecorder, ThreadOptions()));
    EXPECT_EQ(Start::REFUSED, lMake()->tryStart(nullptr, ThreadOptions()));
}

// 256 control records fit beside a data queue of no use to them; then everything is refused, and nothing is lost.
TEST(MsgDrivenThread, FullControlQueueRefusesAndASyncLeavesAnOrphan)
{
    LogCapture lLog;
    Started lThread(4);
    ASSERT_TRUE(lThread.hold());
    while (Peer::ctlCount(lThread) < 260)
    {
        ASSERT_TRUE(Peer::postCtl(lThread, MSG_ID_OUT_OF_BAND));
    }
    EXPECT_EQ("nnnnn", said({lThread.postMsg(A), lThread.sendMsgSync(NumberMsg(B, 1)), lThread.sendMsgInterrupt(C),
                             lThread.hasMsg(MSG_ID_ANY), lThread.eraseMsg(MSG_ID_ANY)}));
    EXPECT_EQ(-1, lThread.setTimer(10, 1, 0, 0));
    EXPECT_EQ(6U, lLog.count("ERR: MsgDrivenThread(under test) Overflow ThreadCtlMsgQueue  MaxCount:260 MsgId:0x"));
    EXPECT_EQ(4, lThread.remTimerIdCount());
    lLog.clear();
    lThread.release();
    ASSERT_TRUE(waitUntil([&] { return Peer::ctlCount(lThread) == 0; }));
    // The slot of the synchronous message stands before this one, and is thrown away.
    EXPECT_EQ("yy", said({lThread.postMsg(A), lThread.fence()}));
    EXPECT_EQ(Ids{A}, lThread.ids());
    EXPECT_EQ(1, lThread.registerTimer(10, 0, 0)); // the id that was not given
    EXPECT_EQ(LogLines{"<UTIL> ERR: !!!!!!!! MsgDrivenThread(under test) MismatchedMsg... "
                       "DataQueueMsgId:0x00000002 CtlMsgId:0x00000001 Erased Data !!!!!!!!"},
              lLog.lines());
    EXPECT_TRUE(Peer::postCtl(lThread, A)); // without a slot
    EXPECT_TRUE(waitUntil(
        [&] { return lLog.count("!!!!!!!! MsgDrivenThread(under test) Error. MsgId:0x00000001 !!!!!!!!") == 1; }));
}

TEST(MsgDrivenThread, StopReleasesEveryoneWhoWaits)
{
    Started lThread;
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

TEST(MsgDrivenThread, NothingIsWrittenToAnAwakeLoop)
{
    Started lThread;
    ASSERT_TRUE(lThread.hold());
    FailNth<&SystemCalls::mWrite> const lFault(0, EIO);
    for (int lCount = 0; lCount < 8; ++lCount)
    {
        EXPECT_TRUE(lThread.postMsg(A));
    }
    ASSERT_TRUE(lThread.elsewhere(9, [&] { EXPECT_TRUE(lThread.sendMsgInterrupt(B)); }));
    lThread.release();
    EXPECT_EQ(0, lFault.calls());
    EXPECT_TRUE(waitUntil([&] { return lThread.ids().size() == 9; }));
}

// Where there is room, and writes fail: see proof/UtlRaceProof.cpp.
TEST(MsgDrivenThread, StopComesThroughAFullQueue)
{
    QuietLog const lQuiet;
    for (bool const lFails : {false, true})
    {
        Started lThread;
        while (Peer::postCtl(lThread, D)) // records without slots: the first is held
        {
        }
        ASSERT_TRUE(Peer::sleeps(lThread));
        FailNth<&SystemCalls::mWrite> const lFault(lFails ? 0 : -1, EIO);
        EXPECT_EQ(0, lThread.stop(1, longMs())) << lFails;
    }
}

TEST(MsgDrivenThread, ChildThatHoldsThePipeDelaysNoStop)
{
    Started lThread;
    ASSERT_TRUE(Peer::sleeps(lThread));
    pid_t const lChild = ::fork();
    while (lChild == 0)
    {
        ::pause();
    }
    EXPECT_EQ(0, lThread.stop(1, longMs()));
    EXPECT_EQ(0, ::kill(lChild, SIGKILL));
    EXPECT_EQ(lChild, ::waitpid(lChild, nullptr, 0));
}

// The loop has served the record, and ends, while its sender is still in write(): the pipe is not closed under him.
TEST(MsgDrivenThread, PipeStaysUntilNobodyWrites)
{
    static Gate sEndWaits;
    static std::atomic<int> sWrites;
    static std::atomic<bool> sHasWritten;
    auto lpThread = std::make_unique<Started>();
    ASSERT_TRUE(Peer::sleeps(*lpThread));
    Replaced const lNanosleep(
        &SystemCalls::mNanosleep,
        +[](timespec const*, timespec*)
        {
            sEndWaits.open();
            std::this_thread::yield();
            return 0;
        });
    Replaced const lWrite(
        &SystemCalls::mWrite,
        +[](int nFd, void const* npBytes, std::size_t nSize) -> ssize_t
        {
            bool const lIsFirst = ++sWrites == 1;
            ssize_t const lWritten = ::write(nFd, npBytes, nSize);
            sHasWritten = !lIsFirst || sEndWaits.wait();
            return lWritten;
        });
    std::thread lSender([&] { lpThread->sendMsgAsync(SimpleMsg(A)); });
    EXPECT_TRUE(waitUntil([&] { return lpThread->mRecorder.count(A) == 1; }));
    lpThread.reset();
    EXPECT_TRUE(sHasWritten);
    lSender.join();
}

TEST(MsgDrivenThread, NobodyStandsBehindAnothersWait)
{
    Started lThread;
    ASSERT_TRUE(lThread.hold());
    ASSERT_TRUE(lThread.elsewhere(1, [&] { EXPECT_EQ(1, lThread.setTimer(1000000, 0, 0, 0)); }));
    EXPECT_TRUE(lThread.postMsg(A));
    EXPECT_EQ(2, lThread.registerTimer(1000000, 0, 0));
    EXPECT_TRUE(lThread.startTimer(2, 1));
    EXPECT_EQ(3, lThread.setTimer(1000000, 1, 0, 0));
    EXPECT_TRUE(lThread.killTimer(3, 1));
    EXPECT_EQ(0, lThread.stop(0, 0));
    lThread.release();
}

} // namespace
