/// What a process holds, for leak checks.
#ifndef UTL_TEST_RESOURCES_H
#define UTL_TEST_RESOURCES_H

#include <dirent.h>

namespace utl::test
{

inline unsigned int entryCount(char const* npDirectory)
{
    unsigned int lCount = 0;
    DIR* const lpDirectory = ::opendir(npDirectory);
    while (lpDirectory != nullptr && ::readdir(lpDirectory) != nullptr)
    {
        ++lCount;
    }
    if (lpDirectory != nullptr)
    {
        ::closedir(lpDirectory);
    }
    return lCount;
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
