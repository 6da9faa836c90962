/// The options with which a thread is started. Layer: thread registry.
#ifndef UTL_THREAD_OPTIONS_H
#define UTL_THREAD_OPTIONS_H

#include "UtlThreadPriority.h"

#include <cstddef>

#include <sched.h>

namespace utl
{

class WatchdogTimerListener;

/// Options for tryStart(). By default a thread is not watched, and the system decides the rest:
///
///     ThreadOptions lOptions;
///     lOptions.mStackSize = 64 * 1024;
///     lOptions.mProcessors = 1U << 1;
///     if (Start lStart = lThread.tryStart(lOptions); lStart != Start::DONE) { std::puts(text(lStart)); }
struct ThreadOptions
{
    bool mUseWatchdog = false;                           ///< whether the watchdog's table gets the thread
    unsigned int mAliveTimeMs = 0;                       ///< longest silence in milliseconds; a longer one is reported
    WatchdogTimerListener* mpWatchdogListener = nullptr; ///< gets the report; not owned; null: only the log
    ThreadPriority mPriority{ThreadPriority::NORMAL};    ///< the nice value; must be valid
    std::size_t mStackSize = 0;                          ///< bytes; 0: the system's default
    int mPolicy = SCHED_OTHER;                           ///< SCHED_FIFO and SCHED_RR need a privilege of the process
    int mPolicyPriority = 0;                             ///< 1 to 99 with these two, otherwise 0
    unsigned long long mProcessors = 0;                  ///< bit n allows processor n; 0: all
};

} // namespace utl

#endif
