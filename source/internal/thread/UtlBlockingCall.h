/// A blocking call between two reports to the watchdog. Layer: internal, above the thread registry.
#ifndef UTL_BLOCKING_CALL_H
#define UTL_BLOCKING_CALL_H

#include "UtlThreadManager.h"

#include <cerrno>

namespace utl::internal
{

/// Runs nCall between a report with sub 1 and one with sub 2, and gives its result; errno is that of the call.
/// npManager: null for no reports.
template <class Call>
auto blockingCall(ThreadManager* npManager, char const* npFile, char const* npFunction, unsigned int nLine, Call nCall)
{
    if (npManager == nullptr)
    {
        return nCall();
    }
    npManager->keepAliveWatchdog(StatementInfo(npFile, npFunction, nLine, 1));
    auto const lResult = nCall();
    int const lError = errno;
    npManager->keepAliveWatchdog(StatementInfo(npFile, npFunction, nLine, 2));
    errno = lError;
    return lResult;
}

/// The same with the process's registry, which such a report creates if none exists.
template <class Call>
auto blockingCall(char const* npFile, char const* npFunction, unsigned int nLine, Call nCall)
{
    return blockingCall(ThreadManager::get(), npFile, npFunction, nLine, nCall);
}

} // namespace utl::internal

#endif
