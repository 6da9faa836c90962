/// What the thread registry and the message loop ask of the watchdog, which is a higher layer. Layer: internal.
#ifndef UTL_WATCHDOG_PORT_H
#define UTL_WATCHDOG_PORT_H

#include <atomic>

namespace utl
{
class StatementInfo;
class ThreadWatchdog;
class WatchdogTimerListener;
class WatchdogVerdictListener;
} // namespace utl

/// The watchdog's layer implements these functions. Each calls the member of ThreadWatchdog of that name.
namespace utl::internal::watchdog
{

ThreadWatchdog* create(unsigned int nEntryMax);
void destroy(ThreadWatchdog* npWatchdog);

bool initialize(ThreadWatchdog& nWatchdog, unsigned int nIntervalMs);
void shutdown(ThreadWatchdog& nWatchdog);
bool setWatchInterval(ThreadWatchdog& nWatchdog, unsigned int nIntervalMs);
bool entry(ThreadWatchdog& nWatchdog, int nId, unsigned int nAliveTimeMs, WatchdogTimerListener* npListener,
           char const* npName);
bool unregister(ThreadWatchdog& nWatchdog, int nId);
bool isRegistered(ThreadWatchdog& nWatchdog, int nId);
bool isWatching(ThreadWatchdog& nWatchdog, int nId);
bool setAliveTime(ThreadWatchdog& nWatchdog, int nId, unsigned int nAliveTimeMs);
bool start(ThreadWatchdog& nWatchdog, int nId);
bool stop(ThreadWatchdog& nWatchdog, int nId);
bool keepAlive(ThreadWatchdog& nWatchdog, StatementInfo const& nStatement);
void setVerdictListener(ThreadWatchdog& nWatchdog, WatchdogVerdictListener* npListener);
void setReport(ThreadWatchdog& nWatchdog, bool nIsOn);
unsigned int beatDeadline(ThreadWatchdog const& nWatchdog);
void printWatchdogInfo(ThreadWatchdog& nWatchdog, int nLevel);

/// For a calling thread with a new id, which is not in the table: its reports need no lock from now on.
void forgetCaller(ThreadWatchdog const& nWatchdog);

/// Raised whenever a thread may have entered or left the watch table. A loop looks itself up in the table only after a
/// change.
extern std::atomic<unsigned int> gTableVersion;

} // namespace utl::internal::watchdog

#endif
