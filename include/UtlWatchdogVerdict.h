/// The watchdog's verdict on a thread that is silent. Layer: thread registry.
#ifndef UTL_WATCHDOG_VERDICT_H
#define UTL_WATCHDOG_VERDICT_H

#include "UtlMacros.h"

namespace utl
{

/// Why a watched thread has not reported for its alive time.
enum class Verdict
{
    UNDECIDED, ///< the alive time is below two beats, or the system does not tell enough
    RUNNING,   ///< hung: it runs without end
    BLOCKED,   ///< hung: it waits for something that does not come
    STARVED,   ///< it is ready to run, but gets no processor: not its own fault
    STOPPED    ///< it, or the whole process, was stopped, perhaps by a debugger
};

/// A few words for people, never null.
/// Safety: any thread; also in a signal handler and after a fork; never blocks.
UTL_API char const* text(Verdict nVerdict);

/// A verdict on one thread. Times are milliseconds since its last report. Only time in which a thread ran or waited
/// counts towards a hang. While it waits for another thread of the library, by a synchronous message, a lock or a stop,
/// its time counts as whatever that other thread does.
struct WatchdogVerdict
{
    static constexpr unsigned int NAME_SIZE = 32; ///< with the terminator

    int mThreadId = 0;                     ///< the silent thread
    int mHolderId = 0;                     ///< the last thread in its chain of waits; itself if it waits for no thread
    Verdict mVerdict = Verdict::UNDECIDED; ///< why it is silent
    unsigned int mSilentMs = 0;            ///< how long it has been silent by the clock
    unsigned int mRunMs = 0;               ///< how long of this it ran
    unsigned int mBlockedMs = 0;           ///< how long of this it waited
    unsigned int mStarvedMs = 0;           ///< how long of this it was ready and did not run
    unsigned int mStoppedMs = 0;           ///< how long of this it was stopped
    char mName[NAME_SIZE] = {};            ///< its name, cut to whole characters
};

/// Receives the watchdog's verdicts. Implemented by the application.
///
///     void onVerdict(WatchdogVerdict const& nVerdict) override
///     {
///         bool const lIsHung = nVerdict.mVerdict == Verdict::RUNNING || nVerdict.mVerdict == Verdict::BLOCKED;
///         mIsToReset = mIsToReset || lIsHung || nVerdict.mStarvedMs > 60000;
///     }
///
/// Safety: that of the application's class; its functions tell where they are called.
class UTL_API WatchdogVerdictListener
{
public:
    virtual ~WatchdogVerdictListener() = default;

    /// A thread has been silent for its alive time. Called on the watchdog thread, with no lock held, up to four beats
    /// after the time-out unless the thread reports before. RUNNING, BLOCKED and UNDECIDED come once. STARVED and
    /// STOPPED come on each beat while the thread stays silent; another verdict may follow them.
    virtual void onVerdict(WatchdogVerdict const& nVerdict) = 0;

    /// A beat has checked all threads and called the listeners: the place to pet a hardware watchdog. Called on the
    /// watchdog thread, with no lock held.
    virtual void onBeat() {}
};

} // namespace utl

#endif
