/// A door between threads of a test, and how long a test waits at most before it calls a wait a hang.
#ifndef UTL_TEST_GATE_H
#define UTL_TEST_GATE_H

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <thread>

#include <pthread.h>

namespace utl::test
{

/// Ten seconds, times UTL_TEST_PATIENCE for slow builds. Only ends a hang: costs a passing test nothing.
inline unsigned int longMs()
{
    char const* lpPatience = std::getenv("UTL_TEST_PATIENCE");
    int const lFactor = lpPatience != nullptr ? std::atoi(lpPatience) : 1;
    return 10000U * static_cast<unsigned int>(lFactor > 0 ? lFactor : 1);
}

/// The monotonic clock. Not the one of std::chrono, which ends after 68 years of uptime on 32-bit machines.
inline long long monotonicUs()
{
    timespec lNow{};
    ::clock_gettime(CLOCK_MONOTONIC, &lNow);
    return lNow.tv_sec * 1000000LL + lNow.tv_nsec / 1000;
}

/// Opens once and stays open. wait() gives false where the gate stayed shut for longMs().
class Gate
{
public:
    Gate()
    {
        pthread_condattr_t lOnMonotonicClock;
        pthread_condattr_init(&lOnMonotonicClock);
        pthread_condattr_setclock(&lOnMonotonicClock, CLOCK_MONOTONIC);
        pthread_cond_init(&mCondition, &lOnMonotonicClock);
        pthread_condattr_destroy(&lOnMonotonicClock);
    }
    ~Gate() { pthread_cond_destroy(&mCondition); }
    Gate(Gate const&) = delete;
    Gate& operator=(Gate const&) = delete;

    void open()
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mIsOpen = true;
        pthread_cond_broadcast(&mCondition);
    }

    bool wait()
    {
        timespec lEnd{};
        ::clock_gettime(CLOCK_MONOTONIC, &lEnd);
        lEnd.tv_sec += static_cast<time_t>(longMs() / 1000);
        std::lock_guard<std::mutex> lGuard(mMutex);
        while (!mIsOpen && pthread_cond_timedwait(&mCondition, mMutex.native_handle(), &lEnd) == 0)
        {
        }
        return mIsOpen;
    }

private:
    std::mutex mMutex;
    pthread_cond_t mCondition;
    bool mIsOpen = false;
};

/// Waits until a condition without an event of its own holds (a thread asleep in the kernel, say).
/// Result: false where it did not hold within longMs().
template <class Condition>
bool waitUntil(Condition nCondition)
{
    long long const lEndUs = monotonicUs() + longMs() * 1000LL;
    while (!nCondition())
    {
        if (monotonicUs() > lEndUs)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Runs each on a thread of its own, all at once, and waits for their ends.
template <class... Work>
void together(Work... nWork)
{
    std::thread lThreads[] = {std::thread(nWork)...};
    for (std::thread& lThread : lThreads)
    {
        lThread.join();
    }
}

} // namespace utl::test

#endif
