#include "UtlThreadManager.h"

#include "UtlThread.h"
#include "support/Test.h"

#include <cstdarg>

#include <sys/resource.h>

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;

std::function<void()> gOnBinaryLog = [] {};

UTL_PRINTF(1, 2) std::string line(char const* npFormat, ...)
{
    char lLine[256];
    va_list lValues;
    va_start(lValues, npFormat);
    std::vsnprintf(lLine, sizeof(lLine), npFormat, lValues);
    va_end(lValues);
    return std::string("<UTIL> ") + lLine;
}

int enter(void (*npFunction)(void*), void* npArgument, char const* npName = "worker",
          ThreadPriority const& nPriority = NORMAL)
{
    return ThreadManager::get()->entry(npFunction, npArgument, 0, 0, nullptr, npName, nPriority, 0);
}

std::string kernelName(int nId)
{
    std::string lName;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(nId) + "/comm") >> std::ws, lName);
    return lName;
}

/// A thread that stays in its function until the scope ends.
struct Parked
{
    explicit Parked(char const* npName = "worker", ThreadPriority const& nPriority = NORMAL)
        : mId(enter([](void* npThis) { static_cast<Parked*>(npThis)->mRelease.wait(); }, this, npName, nPriority))
    {
        EXPECT_NE(0, mId);
    }
    ~Parked()
    {
        mRelease.open();
        EXPECT_EQ(0, ThreadManager::get()->waitToStop(mId, longMs()));
        EXPECT_TRUE(ThreadManager::get()->unregister(mId));
    }

    Gate mRelease;
    int const mId;
};

TEST(ThreadManager, RefusalsAreTold)
{
    ASSERT_TRUE(ThreadManager::initializeEntryMax(2)); // the watchdog's thread is the first of them
    EXPECT_FALSE(ThreadManager::initializeEntryMax(9));
    ThreadManager& lManager = *ThreadManager::get();
    auto const lNothing = [](void*) {};
    LogCapture lLog;
    EXPECT_EQ(0, failing<&SystemCalls::mPthreadCreate>(EAGAIN, [&] { return enter(lNothing, nullptr, "never"); }));
    EXPECT_EQ(0, enter(nullptr, nullptr));
    EXPECT_EQ(0, enter(lNothing, nullptr, nullptr));
    EXPECT_EQ(0, lManager.entryCaller(0, 0, nullptr, nullptr));
    EXPECT_EQ(LogLines{line("ERR: Thread Start Failed  Ret:%d, PriOs:0, Name:never", EAGAIN)}, lLog.lines());
    Parked lThread;
    lLog.clear();
    EXPECT_EQ(0, enter(lNothing, nullptr));
    EXPECT_EQ(0, lManager.entryCaller(0, 0, nullptr, "late"));
    EXPECT_EQ(LogLines{line("ERR: entryCaller() Error Thread Register           ID:%d, Name:late",
                            ThreadManager::getCallerId())},
              lLog.lines());
}

TEST(ThreadManager, PriorityIsAskedForAtTheStartAndThenSetByTheThreadAlone)
{
    ThreadManager& lManager = *ThreadManager::get();
    ThreadPriority const LOW(ThreadPriority::LOW);
    ThreadPriority lPriority(ThreadPriority::NORMAL);
    LogCapture lLog;
    {
        FailNth<&SystemCalls::mSetpriority> lFault(0, EPERM);
        Parked lThread("eager", ThreadPriority(ThreadPriority::TIME_CRITICAL)); // runs on
        EXPECT_TRUE(lManager.getPriority(lThread.mId, &lPriority));
        EXPECT_EQ(-4, lPriority.OsValue());                                                   // what was asked for
        EXPECT_FALSE(lManager.setPriority(lThread.mId, LOW));                                 // another's
        EXPECT_FALSE(lManager.setPriority(lManager.entryCaller(0, 0, nullptr, "main"), LOW)); // never active
        EXPECT_EQ(1, lFault.calls());
    }
    auto const lSetOwn = [](void*)
    {
        ThreadManager& lRegistry = *ThreadManager::get();
        int const lOwn = ThreadManager::getCallerId();
        auto const lSet = [&](int nStep) { return lRegistry.setPriority(lOwn, ThreadPriority(nStep)); };
        EXPECT_TRUE(waitUntil([&] { return lRegistry.isActive(lOwn); }));
        EXPECT_FALSE(lSet(ThreadPriority::INVALID));
        EXPECT_FALSE(failing<&SystemCalls::mSetpriority>(EACCES, [&] { return lSet(ThreadPriority::HIGH); }));
        int const lNice = getpriority(PRIO_PROCESS, 0); // below 2 unless the process is niced and may not lower that
        EXPECT_TRUE(lSet(ThreadPriority::LOW));
        ThreadPriority lKept(ThreadPriority::NORMAL);
        EXPECT_TRUE(lRegistry.getPriority(lOwn, &lKept));
        EXPECT_EQ(2, lKept.OsValue());
        EXPECT_EQ(std::max(2, lNice), getpriority(PRIO_PROCESS, 0));
    };
    int const lId = enter(lSetOwn, nullptr);
    EXPECT_EQ(0, lManager.waitToStop(lId, longMs()));
    EXPECT_EQ((LogLines{line("ERR: ThreadManager::startThread() Error setpriority() OsValue:-4"),
                        line("ERR: ThreadManager::setPriority() Error ID:%d, invalidOsValue:100", lId),
                        line("ERR: ThreadManager::setPriority() Error setpriority() ID:%d, OsValue:-2 er:%d erSt:%s",
                             lId, EACCES, strerror(EACCES))}),
              lLog.lines());
    EXPECT_FALSE(lManager.getPriority(lId, &lPriority)); // no longer active
    EXPECT_TRUE(lManager.unregister(lId));
}

TEST(ThreadManager, EntryCallerNamesAThreadAnewButNotAStartedOne)
{
    ThreadManager& lManager = *ThreadManager::get();
    int const lId = lManager.entryCaller(0, 0, nullptr, "first");
    EXPECT_EQ(syscall(SYS_gettid), lId);
    EXPECT_TRUE(inChild([] { return ThreadManager::getCallerId() == static_cast<int>(syscall(SYS_gettid)); }));
    EXPECT_EQ(lManager.entryCaller(0, 0, nullptr, "second"), lId);
    EXPECT_STREQ("second", lManager.findName(lId));
    EXPECT_FALSE(lManager.isActive(lId));
    EXPECT_EQ(-1, lManager.waitToStop(lId, 0));
    EXPECT_TRUE(lManager.unregister(lId));
    EXPECT_STREQ("", lManager.findName(lId));

    // Refused however early it comes: the registry is locked until the thread is in it.
    auto const lAgain = [](void*) { EXPECT_EQ(0, ThreadManager::get()->entryCaller(0, 0, nullptr, "again")); };
    int const lStarted = enter(lAgain, nullptr);
    EXPECT_EQ(0, lManager.waitToStop(lStarted, longMs()));
    EXPECT_TRUE(lManager.unregister(lStarted));
}

TEST(ThreadManager, TablesNameEveryThread)
{
    ThreadManager& lManager = *ThreadManager::get();
    LogCapture lLog;
    lManager.enableRegistrationLog();
    // 30 bytes and a character of three: cut before it.
    char const* const lpName = "a name of just thirty bytes...\xE3\x81\x82";
    Parked lThread(lpName, ThreadPriority(ThreadPriority::BELOW_NORMAL));
    EXPECT_FALSE(lManager.unregister(lThread.mId)); // it runs
    int const lMain = lManager.entryCaller(0, 0, nullptr, "main");
    EXPECT_EQ((LogLines{line("INF: Thread Start and Register ID:%d, PriOs:1, Name:%s", lThread.mId, lpName),
                        line("INF: Thread Register           ID:%d, Name:main", lMain)}),
              lLog.lines());
    lLog.clear();
    lManager.printThreadInfo(1);
    EXPECT_EQ(LogLines{}, lLog.lines());
    lManager.printThreadInfoReg(3);
    LogLines const lLines = lLog.lines();
    ASSERT_EQ(5U, lLines.size());
    EXPECT_EQ("<UTIL> INF: ThreadManager:: Registered info of threads in this process.", lLines[0]);
    EXPECT_EQ("<UTIL> INF: ID        , Name                            , Status      , Pri.Os    , Pri.Label       , ",
              lLines[1]);
    EXPECT_EQ(line("INF: %10d, %-32s, UNKNOWN     ,        100, INVALID         , ", lMain, "main"), lLines[2]);
    EXPECT_EQ(line("INF: %10d, %-32s, ACTIVE      ,          1, BELOW_NORMAL    , ", lThread.mId,
                   "a name of just thirty bytes..."),
              lLines[4]);
    lManager.printWatchdogInfo(2);
    EXPECT_EQ(1U, lLog.count("WRN: ThreadManager:: Registered info of threads in this process.(But not registered "
                             "watchdog)"));
    EXPECT_EQ(1U, lLog.count(line("WRN: %10d, %-32s, ", lMain, "main")));

    ThreadManager::NameMap lNames(2);
    EXPECT_EQ("nn", said({lManager.getNames(nullptr), lManager.getNames(&lNames)})); // room for two of three
    EXPECT_EQ(2U, lNames.size());
    EXPECT_TRUE(lManager.unregister(lMain));
    ThreadManager::NameMap lAll(2);
    EXPECT_TRUE(lManager.getNames(&lAll));
    EXPECT_STREQ(lpName, lAll.find(lThread.mId)->mValue.c_str());
}

// The platform's log may come back into the registry on the thread that is just starting the watchdog.
TEST(ThreadManager, FirstGetEndsWhateverASinkOfTheLogAsksFor)
{
    LogCapture lLog;
    unsigned int lAsked = 0;
    ASSERT_TRUE(ThreadManager::initializeEntryMax(8));
    ThreadManager& lManager = *ThreadManager::getIfCreated();
    lManager.enableRegistrationLog();
    gOnBinaryLog = [&]
    {
        if (++lAsked == 1) // entering logs, too
        {
            EXPECT_NE(0, lManager.entryCaller(1, 10, nullptr, "sink"));
            EXPECT_FALSE(lManager.entryWatchdog(10, nullptr, 0));
            EXPECT_FALSE(lManager.setWatchdogWatchInterval(10));
        }
    };
    EXPECT_EQ(&lManager, ThreadManager::get());
    EXPECT_EQ(2U, lAsked);
    gOnBinaryLog = [] {};
}

TEST(ThreadManager, KernelKnowsThreadsByTheirNames)
{
    std::string const lProcess = kernelName(getpid());
    std::string const CUT = "fourteen bytes\xE3\x81\x82"; // and a character of three
    Parked const lThread(CUT.c_str());
    Parked const lNameless("");
    EXPECT_EQ("fourteen bytes", kernelName(lThread.mId));
    EXPECT_EQ(lProcess, kernelName(lNameless.mId));
    auto const lEnter = [](char const* npName)
    { return kernelName(ThreadManager::get()->entryCaller(0, 0, nullptr, npName)); };
    std::thread([&] { EXPECT_EQ("entered itself", lEnter("entered itself")); }).join();
    EXPECT_EQ(lProcess, lEnter("main"));
}

// The kernel gives a thread an id that is in the registry still, of one that entered itself and ended without a word:
// the start fails, and the thread runs on, known to its owner alone.
TEST(ThreadManager, IdThatIsGivenTwiceIsTold)
{
    struct Run : Command
    {
        unsigned int execute() override { return ++mRuns; }
        unsigned int mRuns = 0;
    } lRun;
    int const lId = ThreadManager::get()->entryCaller(0, 0, nullptr, "first");
    Thread lThread("runner", &lRun);
    LogCapture const lLog;
    FailNth<&SystemCalls::mPthreadDetach> const lDetach(0, ESRCH);
    Replaced const lCreate(
        &SystemCalls::mPthreadCreate,
        +[](pthread_t* npThread, pthread_attr_t const*, void* (*npStart)(void*), void* npArgument)
        {
            *npThread = ::pthread_self();
            npStart(npArgument); // on the thread that has the id
            return 0;
        });
    EXPECT_EQ(-1, lThread.start(0, 0, nullptr, 1, 0, NORMAL, 0));
    EXPECT_EQ(1U, lLog.count("entry() Error Thread Register           ID:" + std::to_string(lId)));
    EXPECT_STREQ("first", ThreadManager::get()->getName(lId));
    EXPECT_EQ(1U, lRun.mRuns);
}

// The same on a thread that holds the registry's lock meanwhile.
TEST(ThreadManager, FirstGetPassesAThreadThatLogsUnderTheLockOfTheRegistry)
{
    LogCapture lLog;
    ASSERT_TRUE(ThreadManager::initializeEntryMax(8));
    ThreadManager& lManager = *ThreadManager::getIfCreated();
    lManager.enableRegistrationLog();
    std::thread lGetter;
    gOnBinaryLog = [&]
    {
        if (lGetter.joinable())
        {
            return;
        }
        std::atomic<int> lGetterId{0};
        lGetter = std::thread(
            [&]
            {
                lGetterId = ThreadManager::getCallerId();
                ThreadManager::get();
            });
        EXPECT_TRUE(waitUntil([&] { return lGetterId != 0 && isAsleep(lGetterId); })); // for the lock that we hold
        EXPECT_FALSE(lManager.setWatchdogWatchInterval(10));
    };
    lManager.entryCaller(0, 0, nullptr, "logs");
    lGetter.join();
    EXPECT_TRUE(lManager.setWatchdogWatchInterval(10));
    gOnBinaryLog = [] {};
}

} // namespace

extern "C" void BinaryLogWrite(int, char const*, unsigned int)
{
    gOnBinaryLog();
}
