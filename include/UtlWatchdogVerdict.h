/// What the watchdog thinks of a thread that is silent. Layer: thread registry.
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
    STARVED,   ///< it would run, but gets no processor: no fault of its own
    STOPPED    ///< it, or the whole process, was stopped, by a debugger perhaps
};

/// A few words for a person, never null.
/// Safety: any thread; also in a signal handler and after a fork; never blocks.
UTL_API char const* text(Verdict nVerdict);

/// A judgement of one thread. Times are those since its last report, in milliseconds. A time counts as the thread's own
/// only if it ran or waited then; what a thread spends on waiting for another thread of the library, by a synchronous
/// message, a lock or a stop, counts as what that other thread does.
struct WatchdogVerdict
{
    static constexpr unsigned int NAME_SIZE = 32; ///< with the terminator

    int mThreadId = 0;                     ///< who is silent
    int mHolderId = 0;                     ///< the thread that it waits for in the end; itself if there is none
    Verdict mVerdict = Verdict::UNDECIDED; ///< why
    unsigned int mSilentMs = 0;            ///< by the clock
    unsigned int mRunMs = 0;               ///< ran
    unsigned int mBlockedMs = 0;           ///< waited
    unsigned int mStarvedMs = 0;           ///< was ready and did not run
    unsigned int mStoppedMs = 0;           ///< could not run
    char mName[NAME_SIZE] = {};            ///< of the thread, cut to whole characters
};

/// Hears the watchdog's judgements. Implemented by the application.
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

    /// A thread is silent for longer than it may be. On the watchdog thread, with no lock held. A verdict of hung comes
    /// once, and so does UNDECIDED; STARVED and STOPPED come with each beat while the thread stays silent, and may turn
    /// into another. A verdict comes up to four beats after the time-out, if the thread does not report before.
    virtual void onVerdict(WatchdogVerdict const& nVerdict) = 0;

    /// A beat has looked at all threads and has told what it found: the place to pet a watchdog of the hardware. On the
    /// watchdog thread, with no lock held.
    virtual void onBeat() {}
};

} // namespace utl

#endif
