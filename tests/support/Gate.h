/// A door between threads of a test, and how long a test waits at most before it calls a wait a hang.
#ifndef UTL_TEST_GATE_H
#define UTL_TEST_GATE_H

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace utl::test
{

/// Ten seconds, times UTL_TEST_PATIENCE for slow builds. Only ends a hang: costs a passing test nothing.
inline unsigned int longMs()
{
    char const* lpPatience = std::getenv("UTL_TEST_PATIENCE");
    int const lFactor = lpPatience != nullptr ? std::atoi(lpPatience) : 1;
    return 10000U * static_cast<unsigned int>(lFactor > 0 ? lFactor : 1);
}

/// Opens once and stays open. wait() gives false where the gate stayed shut for longMs().
class Gate
{
public:
    void open()
    {
        std::lock_guard<std::mutex> lGuard(mMutex);
        mIsOpen = true;
        mCondition.notify_all();
    }

    bool wait()
    {
        std::unique_lock<std::mutex> lLock(mMutex);
        return mCondition.wait_for(lLock, std::chrono::milliseconds(longMs()), [this] { return mIsOpen; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mCondition;
    bool mIsOpen = false;
};

/// Waits until a condition without an event of its own holds (a thread asleep in the kernel, say).
/// Result: false where it did not hold within longMs().
template <class Condition>
bool waitUntil(Condition nCondition)
{
    auto const lEnd = std::chrono::steady_clock::now() + std::chrono::milliseconds(longMs());
    while (!nCondition())
    {
        if (std::chrono::steady_clock::now() > lEnd)
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
