/// A part of a test in the child of a fork.
#ifndef UTL_TEST_CHILD_H
#define UTL_TEST_CHILD_H

#include "Gate.h"

#include <sys/wait.h>
#include <unistd.h>

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

} // namespace utl::test

#endif
