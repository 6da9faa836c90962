/// What a test is made of: the framework, the containers and calls that most use, and what helps them.
#ifndef UTL_TEST_TEST_H
#define UTL_TEST_TEST_H

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Faults.h"
#include "Gate.h"
#include "LogCapture.h"
#include "Process.h"
#include "UtlThreadPriority.h"

namespace utl::test
{

inline ThreadPriority const NORMAL(ThreadPriority::NORMAL);

/// y or n for each answer, in the order of the calls: EXPECT_EQ("yn", said({lQueue.push(1), lQueue.push(2)})).
inline std::string said(std::initializer_list<bool> nAnswers)
{
    std::string lSaid;
    for (bool const lAnswer : nAnswers)
    {
        lSaid += lAnswer ? 'y' : 'n';
    }
    return lSaid;
}

} // namespace utl::test

#endif
