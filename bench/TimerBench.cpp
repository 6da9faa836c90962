// Lateness, processor time and context switches per expiry of a 10 ms timer, against a thread that reads a bare timer
// descriptor, which keeps a steady beat or is armed again after each expiry as the timer does.
#include "UtlApplog.h"
#include "UtlMsgDrivenThread.h"
#include "UtlTimer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace
{

unsigned int const PERIOD_MS = 10;

double now(clockid_t nClock)
{
    timespec lTime;
    clock_gettime(nClock, &lTime);
    return static_cast<double>(lTime.tv_sec) * 1e6 + static_cast<double>(lTime.tv_nsec) / 1e3;
}

/// Notes when the expiries come, in microseconds, and wakes who waits for the last.
class Arrivals
{
public:
    explicit Arrivals(unsigned int nCount) { mTimes.reserve(nCount); }

    void add()
    {
        if (mTimes.size() < mTimes.capacity())
        {
            mTimes.push_back(now(CLOCK_MONOTONIC));
            if (mTimes.size() == mTimes.capacity())
            {
                std::lock_guard<std::mutex> lGuard(mMutex);
                mIsDone = true;
                mCondition.notify_all();
            }
        }
    }
    void wait()
    {
        std::unique_lock<std::mutex> lLock(mMutex);
        mCondition.wait(lLock, [this] { return mIsDone; });
    }

    std::vector<double> mTimes;

private:
    bool mIsDone = false;
    std::mutex mMutex;
    std::condition_variable mCondition;
};

// ---------------------------------------------------------------------------------------------- the sides

template <int IS_FREE_RUNNING>
void runFloor(Arrivals& nArrivals)
{
    itimerspec const lPeriod{{0, PERIOD_MS * 1000000L}, {0, PERIOD_MS * 1000000L}};
    int const lFd = ::timerfd_create(CLOCK_MONOTONIC, 0);
    if (lFd == -1)
    {
        std::abort();
    }
    std::atomic<bool> lIsOver{false};
    std::thread lReader(
        [&]
        {
            unsigned long long lExpiries = 0;
            while (!lIsOver && ::read(lFd, &lExpiries, sizeof(lExpiries)) == sizeof(lExpiries))
            {
                nArrivals.add();
                if (IS_FREE_RUNNING == 0)
                {
                    ::timerfd_settime(lFd, 0, &lPeriod, nullptr);
                }
            }
        });
    ::timerfd_settime(lFd, 0, &lPeriod, nullptr);
    nArrivals.wait();
    lIsOver = true; // seen with the next expiry
    lReader.join();
    ::close(lFd);
}

template <int IS_FREE_RUNNING>
void runSharedTimer(Arrivals& nArrivals)
{
    struct Listener : utl::TimerListener
    {
        void onTime(int) override { mpArrivals->add(); }
        Arrivals* mpArrivals = nullptr;
    } lListener;
    lListener.mpArrivals = &nArrivals;
    utl::SharedTimer lTimer(0, 0, nullptr, 1, "bench");
    lTimer.start(lTimer.addTimer(&lListener, PERIOD_MS, 0, IS_FREE_RUNNING), 0);
    nArrivals.wait();
    lTimer.destroy();
}

template <int IS_FREE_RUNNING>
void runMsgDrivenThread(Arrivals& nArrivals)
{
    struct Listener : utl::ThreadMsgListener
    {
        void receiveMsg(int, utl::ThreadRawMsg&) override { mpArrivals->add(); }
        Arrivals* mpArrivals = nullptr;
    } lListener;
    lListener.mpArrivals = &nArrivals;
    utl::MsgDrivenThread lThread(16, 16, "bench", 1);
    lThread.start(&lListener, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
    lThread.setTimer(PERIOD_MS, 0, 0, IS_FREE_RUNNING);
    nArrivals.wait();
    lThread.stop(1, 0);
    lThread.leaveManagement();
}

// ---------------------------------------------------------------------------------------------- the comparison

struct Side
{
    char const* mpName;
    void (*mpRun)(Arrivals&);
    bool mIsFreeRunning;
    std::vector<double> mLateness;     // microseconds
    std::vector<double> mCpuPerExpiry; // microseconds, one for each round
    std::vector<double> mSwitches;     // voluntary, a expiry, one for each round
};

double switches()
{
    rusage lUsage{};
    ::getrusage(RUSAGE_SELF, &lUsage);
    return static_cast<double>(lUsage.ru_nvcsw);
}

/// How late each expiry came, in microseconds. A timer that keeps its beat is late against the beat of its most
/// punctual expiry, where beats may be lost; one that is armed anew each time, against the expiry before.
std::vector<double> latenessOf(std::vector<double> const& nTimes, bool nIsFreeRunning)
{
    double const PERIOD = PERIOD_MS * 1000;
    std::vector<double> lLate;
    double lDue = nTimes[0];
    for (std::size_t lIndex = 1; lIndex < nTimes.size(); ++lIndex)
    {
        lDue = (nIsFreeRunning ? lDue : nTimes[lIndex - 1]) + PERIOD;
        double const lSince = nTimes[lIndex] - lDue;
        // Beats that were lost, or one taken for lost that was only late.
        double const lBeats = nIsFreeRunning ? std::floor(lSince / PERIOD + 0.5) * PERIOD : 0;
        lDue += lBeats;
        lLate.push_back(lBeats < 0 ? lSince - lBeats : lSince);
    }
    double const lBest = nIsFreeRunning ? *std::min_element(lLate.begin(), lLate.end()) : 0;
    for (double& lValue : lLate)
    {
        lValue -= lBest;
    }
    return lLate;
}

void measure(Side& nSide, unsigned int nCount)
{
    Arrivals lArrivals(nCount);
    double const lCpu = now(CLOCK_PROCESS_CPUTIME_ID);
    double const lSwitches = switches();
    nSide.mpRun(lArrivals);
    nSide.mSwitches.push_back((switches() - lSwitches) / nCount);
    nSide.mCpuPerExpiry.push_back((now(CLOCK_PROCESS_CPUTIME_ID) - lCpu) / nCount);
    std::vector<double> const lLate = latenessOf(lArrivals.mTimes, nSide.mIsFreeRunning);
    nSide.mLateness.insert(nSide.mLateness.end(), lLate.begin(), lLate.end());
}

double median(std::vector<double> nValues)
{
    std::sort(nValues.begin(), nValues.end());
    return nValues[nValues.size() / 2];
}

/// nFloor: the bare timer descriptor of the same kind. Ratios of medians.
void print(Side const& nSide, Side const& nFloor)
{
    std::vector<double> lLate = nSide.mLateness;
    std::sort(lLate.begin(), lLate.end());
    double const lLateMedian = lLate[lLate.size() / 2];
    double const lCpu = median(nSide.mCpuPerExpiry);
    std::printf("%-34s %8.0f %8.2f %8.0f %8.0f %10.1f %8.2f %9.2f\n", nSide.mpName, lLateMedian,
                lLateMedian / median(nFloor.mLateness), lLate[lLate.size() * 99 / 100], lLate.back(), lCpu,
                lCpu / median(nFloor.mCpuPerExpiry), median(nSide.mSwitches));
}

} // namespace

/// Arguments: rounds (7) and expiries in a round (200).
int main(int nCount, char** npValues)
{
    unsigned int const lRounds = nCount > 1 ? static_cast<unsigned int>(std::atoi(npValues[1])) : 7;
    unsigned int const lExpiries = nCount > 2 ? static_cast<unsigned int>(std::atoi(npValues[2])) : 200;
    if (lRounds == 0 || lExpiries < 2)
    {
        std::fprintf(stderr, "usage: %s [ROUNDS [EXPIRIES]]\n", npValues[0]);
        return 2;
    }
    setAllFilterLevel(1);
    Side lSides[] = {{"bare descriptor, free running", &runFloor<1>, true, {}, {}, {}},
                     {"SharedTimer, free running", &runSharedTimer<1>, true, {}, {}, {}},
                     {"MsgDrivenThread, free running", &runMsgDrivenThread<1>, true, {}, {}, {}},
                     {"bare descriptor, armed anew", &runFloor<0>, false, {}, {}, {}},
                     {"SharedTimer, armed anew", &runSharedTimer<0>, false, {}, {}, {}},
                     {"MsgDrivenThread, armed anew", &runMsgDrivenThread<0>, false, {}, {}, {}}};
    for (unsigned int lRound = 0; lRound < lRounds; ++lRound)
    {
        for (Side& lSide : lSides)
        {
            measure(lSide, lExpiries);
        }
    }
    std::printf("%u rounds of %u expiries, %u ms; microseconds\n\n", lRounds, lExpiries, PERIOD_MS);
    std::printf("%-34s %8s %8s %8s %8s %10s %8s %9s\n", "", "late", "ratio", "99%", "max", "processor", "ratio",
                "switches");
    for (Side const& lSide : lSides)
    {
        print(lSide, lSides[lSide.mIsFreeRunning ? 0 : 3]);
    }
    return 0;
}
