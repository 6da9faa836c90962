/// A process: what it holds, an empty folder for it, and a child.
#ifndef UTL_TEST_PROCESS_H
#define UTL_TEST_PROCESS_H

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Gate.h"

namespace utl::test
{

/// Result: what nWork gives in a child; false if the child crashes or hangs.
template <class Work>
bool inChild(Work nWork)
{
    pid_t const lChild = ::fork();
    if (lChild == 0)
    {
        ::alarm(longMs() / 1000);
        ::_exit(nWork() ? 0 : 1);
    }
    int lStatus = -1;
    return ::waitpid(lChild, &lStatus, 0) == lChild && lStatus == 0;
}

/// While one lives, the process stands in it.
class Folder
{
public:
    Folder()
    {
        ::mkdtemp(mPath);
        std::filesystem::current_path(mPath);
    }
    ~Folder()
    {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(mPath);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

private:
    char mPath[24] = "/tmp/utlTestXXXXXX";
};

inline void put(std::string const& nPath, std::string const& nContent, mode_t nMode = 0640)
{
    std::ofstream(nPath, std::ios::binary) << nContent;
    ::chmod(nPath.c_str(), nMode);
}

inline std::string contentOf(std::string const& nPath)
{
    std::ifstream lStream(nPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(lStream), {}};
}

/// 0 if there is no such file.
inline mode_t modeOf(std::string const& nPath)
{
    struct stat lStat = {};
    return ::stat(nPath.c_str(), &lStat) == 0 ? lStat.st_mode & 07777U : 0;
}

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
