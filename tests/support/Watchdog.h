/// What the watchdog knows of a thread.
#ifndef UTL_TEST_WATCHDOG_H
#define UTL_TEST_WATCHDOG_H

#include <string>

#include "LogCapture.h"
#include "UtlThreadManager.h"

namespace utl::test
{

/// Watches the calling thread while it lives; the thread is not registered otherwise.
class Watched
{
public:
    Watched()
    {
        ThreadManager::get()->entryCaller(1, 600000, nullptr, "watched");
        ThreadManager::get()->startWatchdog(0);
    }
    ~Watched()
    {
        ThreadManager::get()->unregisterWatchdog(0);
        ThreadManager::get()->unregister(ThreadManager::getCallerId());
    }
    Watched(Watched const&) = delete;
    Watched& operator=(Watched const&) = delete;
};

/// The last report of a watched thread from a source, "function:line:sub"; empty for none.
inline std::string lastReport(std::string const& nFile)
{
    LogCapture lLog;
    ThreadManager::get()->printWatchdogInfo(1);
    for (std::string const& lLine : lLog.lines())
    {
        std::size_t const lAt = lLine.find("(" + nFile + ", ");
        if (lAt != std::string::npos)
        {
            std::string const lReport = lLine.substr(lAt + nFile.size() + 3);
            return lReport.substr(0, lReport.size() - 1);
        }
    }
    return "";
}

} // namespace utl::test

#endif
