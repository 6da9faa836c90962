#include "UtlThreadManager.h"

#include "support/Faults.h"
#include "support/Gate.h"
#include "support/LogCapture.h"
#include "support/Resources.h"

#include <atomic>
#include <cstdarg>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using utl::ThreadManager;
using utl::ThreadPriority;
using utl::internal::SystemCalls;
using utl::test::FailNth;
using utl::test::Gate;
using utl::test::LogCapture;
using utl::test::longMs;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);

std::string line(char const* npFormat, ...) UTL_PRINTF(1, 2);
std::string line(char const* npFormat, ...)
{
    char lLine[256];
    va_list lValues;
    va_start(lValues, npFormat);
    vsnprintf(lLine, sizeof(lLine), npFormat, lValues);
    va_end(lValues);
    return std::string("<UTIL> ") + lLine;
}

int enter(void (*npFunction)(void*), void* npArgument, char const* npName = "worker",
          ThreadPriority const& nPriority = NORMAL)
{
    return ThreadManager::get()->entry(npFunction, npArgument, 0, 0, nullptr, npName, nPriority, 0);
}

/// A thread that stays in its function until the scope ends.
struct Parked
{
    explicit Parked(char const* npName = "worker", ThreadPriority const& nPriority = NORMAL)
        : mId(enter(&Parked::run, this, npName, nPriority))
    {
    }
    ~Parked() { leave(); }

    void leave()
    {
        mRelease.open();
        if (mId != 0)
        {
            EXPECT_EQ(0, ThreadManager::get()->waitToStop(mId, longMs()));
            EXPECT_TRUE(ThreadManager::get()->unregister(mId));
            mId = 0;
        }
    }

    static void run(void* npThis)
    {
        Parked* const lpThis = static_cast<Parked*>(npThis);
        lpThis->mOnThread(lpThis);
        lpThis->mDone.open();
        lpThis->mRelease.wait();
    }

    void (*mOnThread)(Parked*) = [](Parked*) {};
    Gate mDone;
    Gate mRelease;
    int mId;
};

TEST(ThreadManager, LifeOfAnEntry)
{
    ThreadManager& lManager = *ThreadManager::get();
    Parked lThread("worker");
    int const lId = lThread.mId;
    ASSERT_NE(0, lId);
    EXPECT_TRUE(lManager.isThreadExist(lId));
    EXPECT_TRUE(lManager.isActive(lId));
    EXPECT_FALSE(lManager.unregister(lId));
    EXPECT_EQ(-2, lManager.waitToStop(lId, 1));
    EXPECT_STREQ("worker", lManager.findName(lId));

    lThread.mRelease.open();
    EXPECT_EQ(0, lManager.waitToStop(lId, longMs()));
    EXPECT_TRUE(lManager.isThreadExist(lId));
    EXPECT_FALSE(lManager.isActive(lId));

    lThread.leave();
    EXPECT_FALSE(lManager.isThreadExist(lId));
    EXPECT_STREQ("", lManager.findName(lId));
    EXPECT_EQ(-1, lManager.waitToStop(lId, 0));
    EXPECT_FALSE(lManager.unregister(lId));
}

TEST(ThreadManager, RefusesNullsWithoutAThread)
{
    unsigned int const lThreads = (ThreadManager::get(), utl::test::threadCount());
    EXPECT_EQ(0, enter(nullptr, nullptr));
    EXPECT_EQ(0, enter([](void*) {}, nullptr, nullptr));
    EXPECT_EQ(0, ThreadManager::get()->entryCaller(0, 0, nullptr, nullptr));
    EXPECT_EQ(lThreads, utl::test::threadCount());
}

// Each thread is detached when its entry goes, whatever other entries did before: nothing piles up.
TEST(ThreadManager, UnregisteredThreadsAreDetachedAtOnce)
{
    ThreadManager::get();
    static std::atomic<int> sDetached;
    utl::test::Replaced lDetach(
        &SystemCalls::mPthreadDetach,
        +[](pthread_t nThread)
        {
            ++sDetached;
            return pthread_detach(nThread);
        });
    Parked lThreads[3];
    for (int lCount = 0; lCount < 3; ++lCount)
    {
        lThreads[lCount].leave();
        EXPECT_EQ(lCount + 1, sDetached);
    }
}

TEST(ThreadManager, FullRegistryRefuses)
{
    ASSERT_TRUE(ThreadManager::initializeEntryMax(2)); // the watchdog's thread is the first of them
    EXPECT_FALSE(ThreadManager::initializeEntryMax(9));
    Parked lThread;
    ASSERT_NE(0, lThread.mId);
    LogCapture lLog;
    unsigned int const lThreads = utl::test::threadCount();
    EXPECT_EQ(0, enter([](void*) {}, nullptr));
    EXPECT_TRUE(lLog.lines().empty());
    EXPECT_EQ(lThreads, utl::test::threadCount());
    EXPECT_EQ(0, ThreadManager::get()->entryCaller(0, 0, nullptr, "late"));
    EXPECT_EQ(std::vector<std::string>{line("ERR: entryCaller() Error Thread Register           ID:%d, Name:late",
                                            ThreadManager::getCallerId())},
              lLog.lines());
}

TEST(ThreadManager, FailedCreationLeavesNothing)
{
    ThreadManager& lManager = *ThreadManager::get();
    LogCapture lLog;
    {
        FailNth<&SystemCalls::mPthreadCreate> lFault(1, EAGAIN);
        EXPECT_EQ(0, enter([](void*) {}, nullptr, "never"));
    }
    EXPECT_EQ(std::vector<std::string>{line("ERR: Thread Start Failed  Ret:%d, PriOs:0, Name:never", EAGAIN)},
              lLog.lines());
    ThreadManager::NameMap lNames(8);
    ASSERT_TRUE(lManager.getNames(&lNames));
    EXPECT_EQ(1U, lNames.size()); // the watchdog
    Parked lNext;
    EXPECT_NE(0, lNext.mId);
}

TEST(ThreadManager, ThreadRunsOnWhereItsPriorityIsRefused)
{
    ThreadManager::get();
    LogCapture lLog;
    FailNth<&SystemCalls::mSetpriority> lFault(1, EACCES);
    Parked lThread("eager", ThreadPriority(ThreadPriority::TIME_CRITICAL));
    ASSERT_NE(0, lThread.mId);
    EXPECT_EQ(std::vector<std::string>{line("ERR: ThreadManager::startThread() Error setpriority() OsValue:-4")},
              lLog.lines());
    ThreadPriority lPriority(ThreadPriority::NORMAL);
    EXPECT_TRUE(ThreadManager::get()->getPriority(lThread.mId, &lPriority));
    EXPECT_EQ(-4, lPriority.OsValue()); // what was asked for
}

TEST(ThreadManager, SetPriorityServesTheCallerAlone)
{
    ThreadManager& lManager = *ThreadManager::get();
    Parked lThread;
    ThreadPriority const LOW(ThreadPriority::LOW);
    {
        FailNth<&SystemCalls::mSetpriority> lFault(0, EPERM);
        EXPECT_FALSE(lManager.setPriority(lThread.mId, LOW)); // another's
        lManager.entryCaller(0, 0, nullptr, "main");
        EXPECT_FALSE(lManager.setPriority(ThreadManager::getCallerId(), LOW)); // never active
        EXPECT_EQ(0, lFault.calls());
    }

    struct Seen
    {
        bool mInvalid, mFailed, mSet;
        int mNice;
        LogCapture mLog;
        Gate mDone;
    } lSeen{};
    int const lId = enter(
        [](void* npSeen)
        {
            Seen& lOut = *static_cast<Seen*>(npSeen);
            ThreadManager& lRegistry = *ThreadManager::get();
            int const lOwn = ThreadManager::getCallerId();
            while (!lRegistry.isActive(lOwn))
            {
                std::this_thread::yield();
            }
            lOut.mInvalid = lRegistry.setPriority(lOwn, ThreadPriority(ThreadPriority::INVALID));
            {
                FailNth<&SystemCalls::mSetpriority> lFault(1, EACCES);
                lOut.mFailed = lRegistry.setPriority(lOwn, ThreadPriority(ThreadPriority::HIGH));
            }
            lOut.mSet = lRegistry.setPriority(lOwn, ThreadPriority(ThreadPriority::LOW));
            lOut.mNice = getpriority(PRIO_PROCESS, 0);
            lOut.mDone.open();
        },
        &lSeen);
    ASSERT_TRUE(lSeen.mDone.wait());
    EXPECT_FALSE(lSeen.mInvalid);
    EXPECT_FALSE(lSeen.mFailed);
    EXPECT_TRUE(lSeen.mSet);
    EXPECT_EQ(2, lSeen.mNice);
    EXPECT_EQ((std::vector<std::string>{
                  line("ERR: ThreadManager::setPriority() Error ID:%d, invalidOsValue:100", lId),
                  line("ERR: ThreadManager::setPriority() Error setpriority() ID:%d, OsValue:-2 er:%d erSt:%s", lId,
                       EACCES, strerror(EACCES))}),
              lSeen.mLog.lines());
    EXPECT_EQ(0, lManager.waitToStop(lId, longMs()));
    ThreadPriority lPriority(ThreadPriority::NORMAL);
    EXPECT_FALSE(lManager.getPriority(lId, &lPriority)); // no longer active
    EXPECT_TRUE(lManager.unregister(lId));
}

TEST(ThreadManager, EntryCallerNamesAThreadAnewButNotAStartedOne)
{
    ThreadManager& lManager = *ThreadManager::get();
    int const lId = lManager.entryCaller(0, 0, nullptr, "first");
    EXPECT_EQ(ThreadManager::getCallerId(), lId);
    EXPECT_EQ(lId, lManager.entryCaller(0, 0, nullptr, "second"));
    EXPECT_STREQ("second", lManager.findName(lId));
    EXPECT_FALSE(lManager.isActive(lId));
    EXPECT_EQ(-1, lManager.waitToStop(lId, 0));
    EXPECT_TRUE(lManager.unregister(lId));

    std::atomic<int> lAgain{-1};
    int const lStarted = enter(
        [](void* npResult)
        { *static_cast<std::atomic<int>*>(npResult) = ThreadManager::get()->entryCaller(0, 0, nullptr, "again"); },
        &lAgain);
    EXPECT_EQ(0, lManager.waitToStop(lStarted, longMs()));
    // Refused however early it came: the registry is locked until the thread is in it.
    EXPECT_EQ(0, lAgain);
    EXPECT_TRUE(lManager.unregister(lStarted));
}

TEST(ThreadManager, TablesNameEveryThread)
{
    ThreadManager& lManager = *ThreadManager::get();
    // 30 bytes and a character of three: cut before it.
    Parked lThread("a name of just thirty bytes...\xE3\x81\x82", ThreadPriority(ThreadPriority::BELOW_NORMAL));
    int const lMain = lManager.entryCaller(0, 0, nullptr, "main");
    LogCapture lLog;
    lManager.printThreadInfo(1);
    EXPECT_TRUE(lLog.lines().empty());
    lManager.printThreadInfoReg(3);
    std::vector<std::string> const lLines = lLog.lines();
    ASSERT_EQ(5U, lLines.size());
    EXPECT_EQ("<UTIL> INF: ThreadManager:: Registered info of threads in this process.", lLines[0]);
    EXPECT_EQ("<UTIL> INF: ID        , Name                            , Status      , Pri.Os    , Pri.Label       , ",
              lLines[1]);
    EXPECT_EQ(line("INF: %10d, %-32s, ACTIVE      ,          1, BELOW_NORMAL    , ", lThread.mId,
                   "a name of just thirty bytes..."),
              lLines[4]);
    EXPECT_EQ(line("INF: %10d, %-32s, UNKNOWN     ,        100, INVALID         , ", lMain, "main"), lLines[2]);
    lLog.clear();
    lManager.printWatchdogInfo(2);
    EXPECT_EQ(1U, lLog.count("WRN: ThreadManager:: Registered info of threads in this process.(But not registered "
                             "watchdog)"));
    EXPECT_EQ(1U, lLog.count(line("WRN: %10d, %-32s, ", lMain, "main")));
}

TEST(ThreadManager, GetNamesStopsAtAFullMap)
{
    ThreadManager& lManager = *ThreadManager::get();
    Parked lThread("other");
    ThreadManager::NameMap lTooSmall(1);
    EXPECT_FALSE(lManager.getNames(&lTooSmall));
    EXPECT_EQ(1U, lTooSmall.size());
    EXPECT_FALSE(lManager.getNames(nullptr));
    ThreadManager::NameMap lNames(2);
    EXPECT_TRUE(lManager.getNames(&lNames));
    EXPECT_STREQ("other", lNames.find(lThread.mId)->mValue.c_str());
}

TEST(ThreadManager, RegistrationLogOnceItIsEnabled)
{
    ThreadManager& lManager = *ThreadManager::get();
    lManager.enableRegistrationLog();
    LogCapture lLog;
    Parked lThread("told");
    int const lMain = lManager.entryCaller(0, 0, nullptr, "main");
    EXPECT_EQ((std::vector<std::string>{line("INF: Thread Start and Register ID:%d, PriOs:0, Name:told", lThread.mId),
                                        line("INF: Thread Register           ID:%d, Name:main", lMain)}),
              lLog.lines());
}

TEST(ThreadManager, DestroyStartsAllOver)
{
    EXPECT_EQ(nullptr, ThreadManager::getIfCreated());
    ThreadManager::destroy();
    std::thread([] {}).join(); // a sanitizer's own thread comes with the first one
    unsigned int const lThreads = utl::test::threadCount();
    for (int lRound = 0; lRound < 5; ++lRound)
    {
        ASSERT_TRUE(ThreadManager::initializeEntryMax(4));
        ThreadManager* const lpManager = ThreadManager::get();
        EXPECT_EQ(lpManager, ThreadManager::getIfCreated());
        Parked lThread;
        EXPECT_NE(0, lThread.mId);
        lThread.leave();
        ThreadManager::destroy();
        EXPECT_EQ(nullptr, ThreadManager::getIfCreated());
    }
    // A thread that has been joined may be counted for an instant longer, also at the beginning.
    EXPECT_TRUE(utl::test::waitUntil([&] { return utl::test::threadCount() <= lThreads; }));
}

TEST(ThreadManager, CallerIdIsRightInTheChildOfAFork)
{
    EXPECT_EQ(static_cast<int>(syscall(SYS_gettid)), ThreadManager::getCallerId());
    pid_t const lChild = fork();
    if (lChild == 0)
    {
        _exit(ThreadManager::getCallerId() == static_cast<int>(syscall(SYS_gettid)) ? 0 : 1);
    }
    int lStatus = -1;
    ASSERT_EQ(lChild, waitpid(lChild, &lStatus, 0));
    EXPECT_EQ(0, lStatus);
}

} // namespace
