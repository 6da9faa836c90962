// The wall clock, stepping by years also beyond 2038, moves no wait and no timer; the tick counter may wrap meanwhile.
//
//   UtlClockProof [ROUNDS]   all waits, so often
//   UtlClockProof uptime     prints the monotonic clock, milliseconds
//
// This program is the clock: its functions stand in the place of the C library's, also for what the library does not
// call by its table. That no wait is handed to the kernel with a time of the wall clock is what scripts/proof.sh sees
// in the system calls.
#include "Prove.h"
#include "UtlThreadWatchdog.h"
#include "UtlTimeCounter.h"
#include "UtlTimer.h"
#include "support/MsgThread.h"

#include <cstdint>
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>

namespace
{

std::atomic<long long> gWallS{0}; // what the wall clock is ahead, seconds

int readClock(clockid_t nClock, timespec* npTime)
{
#ifdef SYS_clock_gettime64
    long const CALL = SYS_clock_gettime64;
#else
    long const CALL = SYS_clock_gettime;
#endif
    long const lResult = ::syscall(CALL, nClock, npTime);
    if (nClock == CLOCK_REALTIME || nClock == CLOCK_REALTIME_COARSE)
    {
        npTime->tv_sec += static_cast<time_t>(gWallS);
    }
    return static_cast<int>(lResult);
}

} // namespace

extern "C" int clock_gettime(clockid_t nClock, timespec* npTime) noexcept
{
    return readClock(nClock, npTime);
}

extern "C" int gettimeofday(timeval* npTime, void*) noexcept
{
    timespec lNow{};
    int const lResult = readClock(CLOCK_REALTIME, &lNow);
    *npTime = {lNow.tv_sec, static_cast<suseconds_t>(lNow.tv_nsec / 1000)};
    return lResult;
}

extern "C" time_t time(time_t* npTime) noexcept
{
    timespec lNow{};
    readClock(CLOCK_REALTIME, &lNow);
    return npTime != nullptr ? *npTime = lNow.tv_sec : lNow.tv_sec;
}

namespace
{

using namespace utl;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);
unsigned int const WAIT_MS = 24;

/// Three time-outs of a message thread's timer.
void messageTimer(int nIsFreeRunning)
{
    test::Started lThread;
    PROVE(lThread.setTimer(WAIT_MS / 3, 0, 3, nIsFreeRunning) > 0);
    PROVE(test::waitUntil([&] { return lThread.mRecorder.count(MSG_ID_TIMER) == 3; }));
}

void sharedTimer(int nIsFreeRunning)
{
    SharedTimer lTimer(0, 0, nullptr, 1, "clock");
    int const lId = lTimer.addTimer(nullptr, WAIT_MS / 3, 3, nIsFreeRunning);
    PROVE(lTimer.start(lId, 0));
    PROVE_EQ(0, lTimer.waitToStop(lId));
}

/// A message thread in its listener: waits for its stages end by their limits.
void threadWaits()
{
    test::Started lThread;
    PROVE(lThread.hold());
    PROVE_EQ(-2, lThread.waitTo(Thread::STAGE_DONE, WAIT_MS / 3));
    PROVE_EQ(-2, lThread.stop(1, WAIT_MS / 3));
    PROVE_EQ(-2, ThreadManager::get()->waitToStop(lThread.getId(), WAIT_MS / 3));
}

void timeCounter()
{
    TimeCounter lCounter;
    PROVE(lCounter.start());
    Thread::sleep(WAIT_MS);
    unsigned int const lPassedMs = lCounter.stop();
    PROVE(lPassedMs >= WAIT_MS && lPassedMs <= test::longMs());
}

/// Silent for its alive time: reported then, or, where the tick counter wrapped in between, after its next report.
void watchdog()
{
    struct Told : WatchdogTimerListener
    {
        void onTime(int, WatchdogInfoMap const&) override { mIsTold = true; }
        std::atomic<bool> mIsTold{false};
    } lTold;
    StatementInfo const HERE("proof", "watchdog", __LINE__, 0);
    ThreadWatchdog lWatchdog(1);
    PROVE(lWatchdog.initialize(1));
    int const lId = ThreadManager::getCallerId();
    // One more, since it counts whole ticks.
    PROVE(lWatchdog.entry(lId, WAIT_MS + 1, &lTold, "clock") && lWatchdog.start(lId));
    unsigned int lLastTick = TimeCounter::getTickTime();
    while (!lTold.mIsTold)
    {
        unsigned int const lTick = TimeCounter::getTickTime();
        PROVE(lTick >= lLastTick || lWatchdog.keepAlive(HERE));
        lLastTick = lTick;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    lWatchdog.shutdown();
}

struct Wait
{
    char const* mpName;
    void (*mpRun)();
} const WAITS[] = {
    {"event", [] { PROVE_EQ(Event::TIMED_OUT, Event(0, 1).waitToOn(WAIT_MS)); }},
    {"sleep", [] { Thread::sleep(WAIT_MS); }},
    {"thread", &threadWaits},
    {"time counter", &timeCounter},
    {"message timer", [] { messageTimer(0); }},
    {"message timer, free-running", [] { messageTimer(1); }},
    {"shared timer", [] { sharedTimer(0); }},
    {"shared timer, free-running", [] { sharedTimer(1); }},
    {"watchdog", &watchdog},
};

} // namespace

int main(int nCount, char** npValues)
{
    if (nCount > 1 && std::strcmp(npValues[1], "uptime") == 0)
    {
        std::printf("%lld\n", test::monotonicUs() / 1000);
        return 0;
    }
    unsigned int const lRounds = nCount > 1 ? static_cast<unsigned int>(std::atoi(npValues[1])) : 5;
    setenv("TZ", "UTC0", 1);
    proof::endHangs();
    test::QuietLog const lQuiet;
    std::atomic<bool> lIsOver{false};
    std::thread lStepper(
        [&]
        {
            // By years in both directions, each a few hundred microseconds.
            for (std::uint64_t lStep = 1; !lIsOver; lStep = lStep * 69069 + 1)
            {
                gWallS = static_cast<long long>((lStep >> 16) % (200ULL * 365 * 86400));
                std::this_thread::sleep_for(std::chrono::microseconds(300));
            }
        });
    for (unsigned int lTurn = 0; lTurn < lRounds * std::size(WAITS); ++lTurn)
    {
        Wait const& lWait = WAITS[lTurn % std::size(WAITS)];
        proof::gCase = lWait.mpName;
        ++proof::gRound;
        long long const lStartUs = test::monotonicUs();
        lWait.mpRun();
        long long const lPassedUs = test::monotonicUs() - lStartUs;
        PROVE(lPassedUs >= WAIT_MS * 1000LL);
        PROVE(lPassedUs < test::longMs() * 1000LL);
    }
    lIsOver = true;
    lStepper.join();
    std::printf("clock: %llu waits of %u ms under a stepping wall clock, none short\n", proof::gRound.load(), WAIT_MS);
    return 0;
}
