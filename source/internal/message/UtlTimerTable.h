/// The timers of one loop. Layer: internal, message-driven thread.
#ifndef UTL_TIMER_TABLE_H
#define UTL_TIMER_TABLE_H

#include "UtlMap.h"
#include "UtlTimerInfo.h"
#include "internal/base/UtlThreadSlots.h"
#include "internal/message/UtlTimerSignal.h"

#include <array>
#include <climits>
#include <memory>

namespace utl
{

class TimerListener;

namespace internal
{

/// Registers timers, arms and disarms their kernel timers, knows when the next one is due and counts expiries.
///
/// Ids:     from 1 on, not used again until they wrap. Each start of a timer gets a system number, so that a late
///          signal of an earlier start has a number that no timer has.
/// Threads: arm(), expire() and the due times are for the loop only; the owner's lock guards everything else.
class TimerTable
{
public:
    using TimerMap = Map<int, TimerInfo, int const&, TimerInfo const&, CompareLessPairKey<int, TimerInfo>>;

    /// What differs between message threads and shared timers. The log texts are formats; their arguments are given.
    struct Kind
    {
        TimerSignal& mSignal;
        bool mKeepsLostBeats;          ///< whether a time-out that finds the queue full goes on counting as waiting
        char const* mpSigactionFailed; ///< (errno)
        char const* mpSigactionDone;   ///< (signal); null: not logged
        char const* mpCreateFailed;    ///< (name, handle, errno)
        char const* mpSettimeFailed;   ///< the same
        char const* mpDeleteFailed;    ///< (name, handle or number, errno)
        bool mTellsNumberOfDeleted;    ///< whether mpDeleteFailed takes the number
        char const* mpReportFile;      ///< the file in reports to the watchdog around kernel calls; null: no reports
        unsigned int mLineOfSigaction; ///< the line in those reports, with the function "SharedTimer"
        unsigned int mLineOfCreate;    ///< likewise, with "startTimerByTimerInfo"
        unsigned int mLineOfSettime;   ///< the same
        unsigned int mLineOfDelete;    ///< likewise, with "stopTimerByTimerInfo"
    };

    /// npName: the owner's name for the log; must outlive us.
    TimerTable(Kind const& nKind, unsigned int nMaxTimers, char const* npName);

    /// Installs the signal's handler, unless it is installed. Result: false, and a line in the log, on failure.
    bool installHandler();

    /// Registers a timer, which does not run yet. nIsReserved: tells further ids that must not be given out.
    /// Result: its id; -1 if the table is full.
    template <class IsReserved>
    int add(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning,
            IsReserved nIsReserved)
    {
        int const lTimerId = insert(npListener, nIntervalMs, nMaxTimeoutCount, nIsFreeRunning);
        while (lTimerId != -1 && (find(mNextUserTimerId) != nullptr || nIsReserved(mNextUserTimerId)))
        {
            mNextUserTimerId = followingId(mNextUserTimerId);
        }
        return lTimerId;
    }

    /// Removes the timer that was added last, because it could not be started. Its id is given out next.
    void withdraw(int nTimerId);

    TimerInfo* find(int nTimerId);
    TimerInfo const* find(int nTimerId) const { return const_cast<TimerTable*>(this)->find(nTimerId); }
    TimerMap& map() { return mTimers; }
    TimerMap const& map() const { return mTimers; }

    /// Creates and starts a periodic kernel timer whose signals come to the calling thread.
    /// Result: false, with a line in the log and nothing left behind, if the kernel refuses.
    bool arm(TimerInfo& nInfo);

    /// Sets the running kernel timer again: its next period counts from now. Makes one if none runs.
    /// Result: false as for arm(); then none runs.
    bool rearm(TimerInfo& nInfo);

    /// Deletes the kernel timer, if one runs. Its signals are ignored from now on, whatever the result.
    /// Result: false, with a line in the log and the number kept, if the kernel refuses.
    bool disarm(TimerInfo& nInfo);

    /// Deletes the kernel timer with this handle and number; -1: there is none. Result: as for disarm().
    bool destroy(void* npTimerId, int nNumber) const;

    /// What to do for a note: queue mCount time-outs for the timer, which count as waiting from now on. With a slow
    /// listener at most one time-out waits, or two of a free-running timer; mLost is the number of those dropped.
    struct Expiry
    {
        int mTimerId;
        unsigned int mCount;
        unsigned int mLost = 0;
    };
    Expiry expire(ExpiryNotes::Note const& nNote, long long nNowNs);

    /// For time-outs of expire() that could not be queued.
    void onLost(Expiry const& nExpiry);

    /// Counts a time-out that was handled. Result: whether it was the last one.
    static bool countTimeout(TimerInfo& nInfo);

    /// The number after nLast for a new start: one higher, or 1 after 0x7FFFFFFF. If that number is in use it does not
    /// look for the next free one, but gives 0x7FFFFFFF, unchecked.
    template <class IsInUse>
    static int numberAfter(int nLast, IsInUse nIsInUse)
    {
        int const lCandidate = followingId(nLast);
        return lCandidate != INT_MAX && nIsInUse(lCandidate) ? INT_MAX : lCandidate;
    }

    /// When the earliest signal is due; TimerInfo::NEVER if no timer is armed. May be too early after disarm().
    long long nextDueNs() const { return mNextDueNs; }
    void findNextDue();

    /// For the dump: shows how many timers there are, and where their rows are.
    void show(LoopView* npView) const;

    /// For the dump: shows the row of a timer that was started, or whose time-out was handled. npInfo: null removes it.
    void showTimer(int nTimerId, TimerInfo const* npInfo);

    TimerSignal const& signal() const { return mKind.mSignal; }
    ExpiryNotes& notes() { return mNotes; }

private:
    struct ShownTimers
    {
        std::array<int, TIMER_ROW_COUNT> mIds{}; // 0: a free row
        std::array<TimerRow, TIMER_ROW_COUNT> mRows;
    };

    static int followingId(int nId) { return nId == INT_MAX ? 1 : nId + 1; }
    int insert(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount, int nIsFreeRunning);
    TimerMap::Element* findNumber(int nSysTimerNumber);
    template <class Call>
    int reported(char const* npFunction, unsigned int nLine, Call nCall) const;
    bool create(int nNumber, void** npTimerId) const;
    bool setTime(TimerInfo& nInfo, void* npTimerId);

    Kind const& mKind;
    char const* const mpName;
    TimerMap mTimers;
    std::unique_ptr<ShownTimers> mpShown; // made with the first timer
    int mNextUserTimerId = 1;
    int mLastSysTimerNumber = 1;
    long long mNextDueNs = TimerInfo::NEVER; // for the loop only
    ExpiryNotes mNotes;                      // likewise
};

} // namespace internal
} // namespace utl

#endif
