/// How a thread is to run. Layer: thread registry.
#ifndef UTL_THREAD_OPTIONS_H
#define UTL_THREAD_OPTIONS_H

#include "UtlThreadPriority.h"

#include <cstddef>

#include <sched.h>

namespace utl
{

class WatchdogTimerListener;

/// Each member as it stands leaves the matter to the system:
///
///     ThreadOptions lOptions;
///     lOptions.mStackSize = 64 * 1024;
///     lOptions.mProcessors = 1U << 1;
///     if (Start lStart = lThread.tryStart(lOptions); lStart != Start::DONE) { std::puts(text(lStart)); }
struct ThreadOptions
{
    bool mUseWatchdog = false;                           ///< enter the thread into the watchdog's table
    unsigned int mAliveTimeMs = 0;                       ///< reports that are further apart are a hang
    WatchdogTimerListener* mpWatchdogListener = nullptr; ///< who is told of one; not owned, may be null
    ThreadPriority mPriority{ThreadPriority::NORMAL};    ///< its nice value; must be valid
    std::size_t mStackSize = 0;                          ///< bytes; 0: what the system gives
    int mPolicy = SCHED_OTHER;                           ///< SCHED_FIFO and SCHED_RR need a right of the process
    int mPolicyPriority = 0;                             ///< with these two 1 to 99, otherwise 0
    unsigned long long mProcessors = 0;                  ///< bit n: may run on processor n; 0: on all
};

} // namespace utl

#endif
