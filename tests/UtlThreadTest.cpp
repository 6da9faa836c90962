#include "UtlThread.h"

#include "UtlThreadManager.h"
#include "support/Test.h"

namespace
{

using namespace utl;
using namespace utl::test;
using internal::SystemCalls;

/// A thread whose stages a test can hold and whose job ends on request.
class HeldThread : public Thread
{
public:
    HeldThread()
        : Thread("held", nullptr)
    {
    }
    ~HeldThread() override
    {
        mPrepare.open();
        mEnd.open();
        stop(1, longMs());
        leaveManagement();
    }

    int begin(int nWaitStart = 1, unsigned int nWaitMs = 0)
    {
        return start(0, 0, nullptr, nWaitStart, nWaitMs, NORMAL, 0);
    }

    Gate mPrepare;
    Gate mEnd;
    std::atomic<int> mRequests{0};

protected:
    void preExecute() override { mPrepare.wait(); }
    unsigned int execute() override { return mEnd.wait() ? 7 : 8; }
    void requestStop() override
    {
        ++mRequests;
        mEnd.open();
    }
};

/// The stages that are done; "runs" and "asked" for the other two questions.
std::string shown(HeldThread const& nThread)
{
    std::string lText;
    for (int lStage : {-1, 0, 1, 2, 3, 4, 0x7FFFFFFF})
    {
        lText += nThread.hasDone(lStage) ? std::to_string(lStage) + " " : "";
    }
    return lText + (nThread.isRunning() ? "runs " : "") + (nThread.hasRequestedStop() ? "asked" : "");
}

TEST(Thread, StartsWithTheStackAndProcessorsAskedFor)
{
    struct : Command
    {
        unsigned int execute() override
        {
            pthread_attr_t lAttributes;
            ::pthread_getattr_np(::pthread_self(), &lAttributes);
            ::pthread_attr_getstacksize(&lAttributes, &mStackSize);
            ::pthread_attr_destroy(&lAttributes);
            ::sched_getaffinity(0, sizeof(mProcessors), &mProcessors);
            return 0;
        }
        std::size_t mStackSize = 0;
        cpu_set_t mProcessors{};
    } lMeasured;
    lMeasured.execute(); // on our own
    unsigned int lProcessor = 0;
    while (!CPU_ISSET(lProcessor, &lMeasured.mProcessors))
    {
        ++lProcessor;
    }
    Thread lThread("measuring", &lMeasured);
    ThreadOptions lOptions;
    lOptions.mStackSize = 1U << 20;
    lOptions.mProcessors = 1ULL << lProcessor;
    ASSERT_EQ(Start::DONE, lThread.tryStart(lOptions));
    ASSERT_EQ(0, lThread.waitTo(Thread::STAGE_DONE, longMs()));
    EXPECT_EQ(1U << 20, lMeasured.mStackSize);
    EXPECT_EQ(1, CPU_COUNT(&lMeasured.mProcessors));
    EXPECT_TRUE(CPU_ISSET(lProcessor, &lMeasured.mProcessors));
    EXPECT_TRUE(lThread.leaveManagement());
}

TEST(Thread, TellsWhyItDoesNotStart)
{
    ThreadManager::get();
    QuietLog const lQuiet;
    ThreadOptions lNoStack;
    lNoStack.mStackSize = 1;
    ThreadOptions lNoPolicy;
    lNoPolicy.mPolicy = SCHED_FIFO;
    lNoPolicy.mPolicyPriority = 1000;
    Thread lThread("refused", nullptr);
    EXPECT_EQ(Start::BAD_OPTION, lThread.tryStart(lNoStack));
    EXPECT_EQ(Start::BAD_OPTION, lThread.tryStart(lNoPolicy));
    auto const lStart = [&] { return lThread.tryStart(ThreadOptions()); };
    EXPECT_EQ(Start::NOT_PERMITTED, failing<&SystemCalls::mPthreadCreate>(EPERM, lStart));
    EXPECT_EQ(Start::BAD_OPTION, failing<&SystemCalls::mPthreadCreate>(EINVAL, lStart));
    EXPECT_EQ(Start::NO_THREAD, failing<&SystemCalls::mPthreadCreate>(EAGAIN, lStart));
    EXPECT_EQ(Start::DONE, lStart());
    EXPECT_EQ(Start::STARTED_ONCE, lStart());
    unsigned int lResult = 0;
    EXPECT_EQ(0, lThread.waitTo(3, longMs()));
    EXPECT_TRUE(lThread.getResult(&lResult));
    EXPECT_EQ(0xFFFFFFFF, lResult); // no command: no result, but an error
    EXPECT_TRUE(lThread.leaveManagement());
}

TEST(Thread, PassesItsStagesOnce)
{
    HeldThread lThread;
    ThreadPriority lPriority(ThreadPriority::LOW);
    unsigned int lResult = 0;
    for (int lStage : {-1, 2, 3, 4, 0x7FFFFFFF})
    {
        EXPECT_EQ(-1, lThread.waitTo(lStage, 0)) << lStage;
    }
    ThreadManager::get();
    EXPECT_EQ(-1, failing<&SystemCalls::mPthreadCreate>(EAGAIN, [&] { return lThread.begin(); })); // and may try again
    EXPECT_EQ(-1, lThread.stop(1, 0));
    EXPECT_EQ(-2, lThread.waitTo(1, 20));
    EXPECT_EQ("", shown(lThread));
    EXPECT_EQ(0, lThread.getId());
    EXPECT_FALSE(lThread.getPriority(&lPriority));

    EXPECT_EQ(-2, lThread.begin(1, 20)); // runs on
    EXPECT_EQ("0 runs ", shown(lThread));
    EXPECT_FALSE(lThread.leaveManagement());
    lThread.mPrepare.open();
    EXPECT_EQ(0, lThread.waitTo(1, longMs()));
    EXPECT_EQ(-1, lThread.begin()); // twice
    EXPECT_FALSE(lThread.getResult(&lResult));
    EXPECT_EQ("0 1 runs ", shown(lThread));
    EXPECT_FALSE(lThread.setPriority(lPriority)); // another's
    EXPECT_TRUE(lThread.getPriority(&lPriority));
    EXPECT_EQ(ThreadPriority::NORMAL, lPriority.value());

    EXPECT_EQ(0, lThread.stop(1, longMs()));
    EXPECT_TRUE(lThread.getResult(&lResult));
    EXPECT_EQ(7, lResult);
    EXPECT_FALSE(lThread.getResult(nullptr));
    EXPECT_EQ(-1, lThread.stop(1, 0));
    EXPECT_EQ(1, lThread.mRequests);
    EXPECT_EQ(0, lThread.waitTo(3, 0));
    EXPECT_EQ(-1, lThread.begin()); // not even after its end
    EXPECT_EQ("yn", said({lThread.leaveManagement(), lThread.leaveManagement()}));
    EXPECT_EQ(-1, lThread.waitTo(3, 0));
    EXPECT_EQ("0 1 2 3 asked", shown(lThread));
}

TEST(Thread, SleepsThroughSignalsAndRefusesTheNegative)
{
    Thread::sleep(0x80000000U);
    // Interrupted twice with 20 ms left: sleeps on for what is left.
    static int sCalls = 0;
    Replaced lNanosleep(
        &SystemCalls::mNanosleep,
        +[](timespec const* npTime, timespec* npRest)
        {
            EXPECT_EQ(sCalls == 0 ? 100 : 0, npTime->tv_sec);
            EXPECT_EQ(sCalls == 0 ? 1000000 : 20000000, npTime->tv_nsec);
            *npRest = timespec{0, 20000000};
            errno = EINTR;
            return ++sCalls <= 2 ? -1 : 0;
        });
    Thread::sleep(100001);
    EXPECT_EQ(3, sCalls);
}

TEST(Thread, OutlivesTheRegistry)
{
    struct Run : Command
    {
        unsigned int execute() override { return mHasEnded = mEnd.wait(); }
        Gate mEnd;
        std::atomic<bool> mHasEnded{false};
    } lRun;
    std::thread lOpener;
    {
        Thread lThread("runner", &lRun);
        EXPECT_EQ(0, lThread.start(0, 0, nullptr, 1, 0, NORMAL, 0));
        ThreadManager::destroy();
        ThreadPriority lPriority(ThreadPriority::NORMAL);
        EXPECT_FALSE(lThread.isRunning());
        EXPECT_FALSE(lThread.getPriority(&lPriority));
        EXPECT_EQ(-1, lThread.start(0, 0, nullptr, 1, 0, NORMAL, 0));
        lOpener = std::thread(
            [&lRun, lId = ThreadManager::getCallerId()]
            {
                EXPECT_TRUE(waitUntil([&] { return isAsleep(lId); })); // in the destructor
                lRun.mEnd.open();
            });
    }
    EXPECT_TRUE(lRun.mHasEnded);
    lOpener.join();
}

} // namespace
