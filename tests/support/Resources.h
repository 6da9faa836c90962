/// What a process holds, for leak checks.
#ifndef UTL_TEST_RESOURCES_H
#define UTL_TEST_RESOURCES_H

#include <filesystem>
#include <iterator>

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

} // namespace utl::test

#endif
