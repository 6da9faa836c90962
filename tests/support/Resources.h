/// What a process holds, for leak checks.
#ifndef UTL_TEST_RESOURCES_H
#define UTL_TEST_RESOURCES_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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

/// The thread waits in the kernel: for a lock or an event, if it can be for nothing else.
inline bool isAsleep(int nThreadId)
{
    std::ifstream lFile("/proc/self/task/" + std::to_string(nThreadId) + "/stat");
    std::string lText;
    std::getline(lFile, lText);
    std::size_t const lAt = lText.rfind(") ");
    return lAt != std::string::npos && lText[lAt + 2] == 'S';
}

} // namespace utl::test

#endif
