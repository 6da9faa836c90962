// The dump: what it says of threads that hang, and what it does where it cannot write.
#include "UtlInsideView.h"

#include "UtlStaticBuffer.h"
#include "UtlThreadManager.h"
#include "internal/base/UtlThreadSlots.h"
#include "support/MsgThread.h"
#include "support/Pattern.h"
#include "support/Test.h"

#include <sys/prctl.h>

namespace utl::test
{

namespace
{

using Peer = MsgDrivenThreadTestPeer;
using internal::TwoCopies;

/// A pipe whose reading end does not wait.
struct Pipe
{
    Pipe() { EXPECT_EQ(0, ::pipe2(mFds, O_NONBLOCK)); }
    ~Pipe()
    {
        ::close(mFds[0]);
        ::close(mFds[1]);
    }

    std::string read() const
    {
        std::string lText;
        char lBuffer[4096];
        for (ssize_t lRead = 0; (lRead = ::read(mFds[0], lBuffer, sizeof(lBuffer))) > 0;)
        {
            lText.append(lBuffer, static_cast<std::size_t>(lRead));
        }
        return lText;
    }

    int mFds[2] = {-1, -1};
};

std::string dumped()
{
    Pipe const lPipe;
    dump(lPipe.mFds[1]);
    return lPipe.read();
}

bool waitForLine(std::string const& nPattern)
{
    std::string lLast;
    bool const lIsThere = waitUntil(
        [&]
        {
            lLast = dumped();
            return Pattern(nPattern).finds(lLast);
        });
    EXPECT_TRUE(lIsThere) << nPattern << " is not in:\n" << lLast;
    return lIsThere;
}

std::string idOf(Thread const& nThread)
{
    return std::to_string(nThread.getId());
}

/// Its main thread's, by the kernel's letters.
char stateOf(pid_t nProcess)
{
    std::ifstream lFile("/proc/" + std::to_string(nProcess) + "/stat");
    std::string lText((std::istreambuf_iterator<char>(lFile)), {});
    std::size_t const lAt = lText.rfind(") ");
    return lAt != std::string::npos ? lText[lAt + 2] : '?';
}

/// Two message threads, the first of which has sent to the second.
struct Pair
{
    Pair()
    {
        mFirst.on(1, [this](int) { mSecondThread.sendMsgSync(2); });
        EXPECT_EQ(0, mFirstThread.start(&mFirst, 0, 0, nullptr, 1, 0, NORMAL, 0));
        EXPECT_EQ(0, mSecondThread.start(&mSecond, 0, 0, nullptr, 1, 0, NORMAL, 0));
    }
    ~Pair() // neither is destroyed while the other may be inside it
    {
        for (MsgDrivenThread* const lpThread : {&mSecondThread, &mFirstThread})
        {
            lpThread->stop(1, 0);
            lpThread->leaveManagement();
        }
    }
    Pair(Pair const&) = delete;
    Pair& operator=(Pair const&) = delete;

    Recorder mFirst;
    Recorder mSecond;
    MsgDrivenThread mFirstThread{4, 4, "first", 1};
    MsgDrivenThread mSecondThread{4, 4, "second \"\n", 1};
};

} // namespace

TEST(InsideView, SendersInACircleAreADeadlock)
{
    Pair lPair;
    std::string const lFirst = idOf(lPair.mFirstThread) + " \"first\"";
    std::string const lSecond = idOf(lPair.mSecondThread) + " \"second \"\\?\"";
    lPair.mSecond.on(2, [&](int) { lPair.mFirstThread.sendMsgSync(3); });
    ASSERT_TRUE(lPair.mFirstThread.postMsg(1));
    EXPECT_TRUE(waitForLine("thread " + lFirst + ": waits for " + lSecond +
                            " for [0-9]+ ms, synchronous message 0x00000002\n"));
    EXPECT_TRUE(waitForLine("thread " + lSecond + ": running, message 0x00000002 for [0-9]+ ms"));
    EXPECT_TRUE(waitForLine("\ndeadlock: (" + lFirst + " waits for " + lSecond + " waits for " + lFirst + "|" +
                            lSecond + " waits for " + lFirst + " waits for " + lSecond + ")\nutl: "));
    Peer::answerSync(lPair.mFirstThread); // as its end would; the circle opens
}

TEST(InsideView, ALockIsShownWithItsOwner)
{
    Pair lPair;
    SyncObject lLock;
    std::string const lFirst = idOf(lPair.mFirstThread) + " \"first\"";
    lPair.mSecond.on(2, [&](int) { SyncGuard const lGuard(lLock); });
    {
        SyncGuard const lGuard(lLock);
        ASSERT_TRUE(lPair.mFirstThread.postMsg(1));
        EXPECT_TRUE(
            waitForLine("waits for " + std::to_string(::getpid()) + " \"\" for [0-9]+ ms, a lock that it holds\n"));
        EXPECT_EQ(std::string::npos, dumped().find("deadlock"));
    }
    EXPECT_TRUE(lPair.mSecondThread.sendMsgSync(9)); // it goes on, and says so
    EXPECT_EQ(std::string::npos, dumped().find("a lock"));
}

TEST(InsideView, LocksOfTheLibraryAreShownWithWhoHoldsThem)
{
    struct SlowMsg : Msg
    {
        SlowMsg()
            : Msg(8)
        {
        }
        void storeDataTo(MsgDataBroker*) const override { mBegun.open(), mGo.wait(); }
        void restoreDataFrom(MsgDataBroker&) override {}
        Gate mutable mBegun;
        Gate mutable mGo;
    } lMsg;
    Pair lPair;
    EXPECT_TRUE(lPair.mFirstThread.sendMsgSync(5)); // its loop shows itself
    std::thread lSender([&] { lPair.mFirstThread.postMsg(lMsg); });
    EXPECT_TRUE(lMsg.mBegun.wait());
    {
        WorkingBuffer<char> const lRow;
        std::string const lText = dumped();
        EXPECT_TRUE(Pattern("\nthread [0-9]+ \"\": holds the queue of " + idOf(lPair.mFirstThread) + " \"first\"\n")
                        .finds(lText))
            << lText;
        EXPECT_NE(std::string::npos,
                  lText.find("\nthread " + std::to_string(::getpid()) + " \"\": holds the scratch rows\n"))
            << lText;
    }
    lMsg.mGo.open();
    lSender.join();
    EXPECT_EQ(std::string::npos, dumped().find("holds the scratch rows"));
}

TEST(InsideView, ATimerAndAStopAreShown)
{
    Pair lPair;
    Gate lGo;
    lPair.mFirst.on(5, [&](int) { lGo.wait(); });
    ASSERT_NE(-1, lPair.mFirstThread.setTimer(100000, 0, 0, 0));
    EXPECT_TRUE(waitForLine("\"first\": timers 1, 1 running, next due in (9[0-9]{4}|100000) ms\n"));
    EXPECT_TRUE(waitForLine("\"first\": timer 1 every 100000 ms, due in (9[0-9]{4}|100000) ms, time-outs 0\n"));
    ASSERT_TRUE(lPair.mFirstThread.killTimer(1, 0));
    EXPECT_EQ(std::string::npos, dumped().find("\"first\": timer"));
    Gate lRing;
    lPair.mFirst.on(MSG_ID_TIMER, [&](int) { lPair.mFirst.count(MSG_ID_TIMER) == 2 ? void(lRing.wait()) : void(); });
    ASSERT_NE(-1, lPair.mFirstThread.setTimer(1, 0, 3, 0));
    EXPECT_TRUE(waitForLine("\"first\": timer 2 every 1 ms, (due in|overdue for) [0-9]+ ms, time-outs 1 of 3\n"));
    lRing.open();
    EXPECT_TRUE(waitUntil([] { return dumped().find("\"first\": timer") == std::string::npos; }));
    ASSERT_TRUE(lPair.mFirstThread.postMsg(5));
    std::thread lStopper([&] { lPair.mFirstThread.stop(1, 0); });
    EXPECT_TRUE(waitForLine("\"first\": stopping, message 0x00000005 for [0-9]+ ms"));
    EXPECT_TRUE(waitForLine("waits for " + idOf(lPair.mFirstThread) + " \"first\" for [0-9]+ ms, its end\n"));
    lGo.open();
    lStopper.join();
    EXPECT_TRUE(waitUntil([] { return dumped().find("\"first\"") == std::string::npos; }));
}

TEST(InsideView, ADescriptorThatTakesNothingIsNotWaitedFor)
{
    Pipe lPipe;
    Thread::keepAliveWatchdog(StatementInfo("a/File", "here", 7, 1)); // so that there is a line
    char const lFill[512] = {};
    while (::write(lPipe.mFds[1], lFill, sizeof(lFill)) > 0)
    {
    }
    errno = 77;
    EXPECT_LE(3U, dump(lPipe.mFds[1]));
    EXPECT_EQ(77, errno);
    lPipe.read();
    EXPECT_EQ(0U, dump(lPipe.mFds[1]));
    EXPECT_NE(std::string::npos, lPipe.read().find("\"\": the main thread, last report a/File here:7:1\n"));
    ::close(lPipe.mFds[0]);
    lPipe.mFds[0] = -1;
    EXPECT_LE(3U, dump(lPipe.mFds[1])); // and no SIGPIPE
    EXPECT_LE(3U, dump(-1));
}

TEST(InsideView, AChildShowsItsOwnThreads)
{
    Pair lPair;
    Pipe lPipe;
    EXPECT_TRUE(inChild(
        [&]
        {
            dump(lPipe.mFds[1]);
            Thread::keepAliveWatchdog(StatementInfo("", "", 0, 0));
            return dump(lPipe.mFds[1]) == 0;
        }));
    std::string const lText = lPipe.read();
    EXPECT_EQ(std::string::npos, lText.find("\"first\""));
    EXPECT_NE(std::string::npos, lText.find("utl: 0 threads, 0 passed over"));
    EXPECT_NE(std::string::npos, lText.find(" \"\": the main thread"));
}

/// Its main thread is in vfork(), which no signal ends before its child goes: another one has to take the signal.
TEST(InsideView, TheWatchdogTakesTheSignalOfAMainThreadThatCannot)
{
    ThreadManager::destroy(); // that of an earlier test: its watchdog's thread would not be in the child
    Pipe lPipe;
    pid_t const lProcess = ::fork();
    if (lProcess == 0)
    {
        ThreadManager::get()->setWatchdogWatchInterval(20);
        installDumpSignal(SIGUSR1, lPipe.mFds[1]);
        dump(lPipe.mFds[1]);
        pid_t const lSelf = ::getpid();
        if (::vfork() == 0)
        {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            while (::getppid() == lSelf) // it may have been killed before that call
            {
                ::pause();
            }
            ::_exit(0);
        }
        ::_exit(0); // vfork() is a fork() here
    }
    std::string lText;
    auto const lHasCome = [&](char const* npPattern)
    {
        lText += lPipe.read();
        return Pattern(npPattern).finds(lText);
    };
    EXPECT_TRUE(waitUntil([&] { return lHasCome("lines dropped"); }));
    ASSERT_TRUE(waitUntil([&] { return std::strchr("DZ", stateOf(lProcess)) != nullptr; }));
    if (stateOf(lProcess) == 'Z')
    {
        ::waitpid(lProcess, nullptr, 0);
        GTEST_SKIP() << "vfork() does not wait here";
    }
    ::kill(lProcess, SIGUSR1);
    EXPECT_TRUE(
        waitUntil([&] { return lHasCome("lines dropped(.|\n)*\"Watchdog Thread\": running(.|\n)*lines dropped"); }))
        << lText;
    ::kill(lProcess, SIGKILL);
    ::waitpid(lProcess, nullptr, 0);
}

TEST(InsideView, MetricsAreInTheFormatOfCollectors)
{
    Pair lPair;
    lPair.mSecondThread.sendMsgSync(5);
    lPair.mSecondThread.postMsg(NumberMsg(6));
    lPair.mSecondThread.sendMsgSync(7);
    unsigned int const lSize = printMetrics(nullptr, 0);
    std::string lText(lSize, '?');
    ASSERT_EQ(lSize, printMetrics(lText.data(), lSize));
    std::string const lThread = "\\{thread=\"second \\\\\"\\\\n\",id=\"" + idOf(lPair.mSecondThread) + "\"";
    std::string const lHead = "# HELP utl_messages_accepted_total [^\n]*\n# TYPE utl_messages_accepted_total counter\n";
    for (std::string const& lPattern : std::vector<std::string>{
             "^" + lHead + "utl_messages_accepted_total", "\nutl_messages_accepted_total" + lThread + "\\} 3\n",
             "\nutl_messages_refused_total" + lThread + ",reason=\"too_large\"\\} 0\n",
             "# TYPE utl_messages_waiting gauge\n", "\nutl_longest_call_seconds" + lThread + "\\} 0\\.0[0-9]{2}\n$"})
    {
        EXPECT_TRUE(Pattern(lPattern).finds(lText.c_str())) << lPattern << lText;
    }
    EXPECT_EQ('\0', lText[lSize - 1]);
    EXPECT_EQ(lSize, printMetrics(lText.data(), lSize - 1)); // does not fit
    EXPECT_EQ('\0', lText[0]);
}

/// One copy of the words would be torn in most reads.
TEST(InsideView, WordsAreReadWhole)
{
    TwoCopies<4> lCopies;
    std::atomic<bool> lIsToEnd{false};
    std::thread lWriter(
        [&]
        {
            for (internal::SlotWord lNumber = 0; !lIsToEnd; ++lNumber)
            {
                lCopies.write({lNumber, ~lNumber, lNumber * 3, ~lNumber * 5});
            }
        });
    unsigned int lRead = 0;
    unsigned int lTorn = 0;
    for (unsigned int lTry = 0; lTry < 100000; ++lTry)
    {
        TwoCopies<4>::Words lWords{};
        if (lCopies.read(&lWords))
        {
            ++lRead;
            bool const lIsWhole = lWords[1] == ~lWords[0] && lWords[2] == lWords[0] * 3 && lWords[3] == ~lWords[0] * 5;
            lTorn += lIsWhole || lWords[3] == 0 ? 0 : 1;
        }
    }
    lIsToEnd = true;
    lWriter.join();
    EXPECT_EQ(0U, lTorn);
    EXPECT_LT(10000U, lRead); // the writer may be quicker, eight times each
}

} // namespace utl::test
