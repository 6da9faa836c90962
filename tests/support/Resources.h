/// What a process holds, for leak checks.
#ifndef UTL_TEST_RESOURCES_H
#define UTL_TEST_RESOURCES_H

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace utl::test
{

inline unsigned int entryCount(char const* npDirectory)
{
    return static_cast<unsigned int>(std::distance(std::filesystem::directory_iterator(npDirectory), {}));
}

/// Open descriptors, and threads alive, each plus a constant.
inline unsigned int openFdCount()
{
    return entryCount("/proc/self/fd");
}

inline unsigned int threadCount()
{
    return entryCount("/proc/self/task");
}

/// A thread that waits in the kernel, and did so a moment ago.
inline bool isAsleep(int nThreadId)
{
    for (int lCount = 0; lCount < 3; ++lCount)
    {
        std::string lText;
        std::getline(std::ifstream("/proc/self/task/" + std::to_string(nThreadId) + "/stat"), lText);
        if (lText.find(") S ") == std::string::npos)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace utl::test

#endif
