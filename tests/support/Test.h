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

#include "Child.h"
#include "Faults.h"
#include "Folder.h"
#include "Gate.h"
#include "LogCapture.h"
#include "Resources.h"
#include "Said.h"

#endif
