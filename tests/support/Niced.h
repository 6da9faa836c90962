/// Tests in a process that may not set the priorities they ask for.
#ifndef UTL_TEST_NICED_H
#define UTL_TEST_NICED_H

#include <cerrno>

#include <sys/resource.h>

#include "internal/base/UtlSystemCalls.h"

namespace utl::test
{

/// As the real call, but for the refusal to a niced process without privileges.
inline int setAnyPriority(int nWhich, id_t nWho, int nNice)
{
    int const lResult = ::setpriority(static_cast<__priority_which_t>(nWhich), nWho, nNice);
    return lResult == -1 && errno == EACCES ? 0 : lResult;
}

/// From here on no thread of the library logs that it could not get its priority: tests count lines.
inline void allowAnyPriority()
{
    internal::gSystem.mSetpriority.exchange(setAnyPriority);
}

} // namespace utl::test

#endif
