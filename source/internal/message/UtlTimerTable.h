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
/// Ids:     from 1 on, not used again until they wrap. A system number stands for one start of a timer, so that a
///          signal still on its way from an earlier start finds a number that nobody has.
/// Threads: arm(), expire() and what is due are the loop's; the owner's lock guards all else.
class TimerTable
{
public:
    using TimerMap = Map<int, TimerInfo, int const&, TimerInfo const&, CompareLessPairKey<int, TimerInfo>>;

    /// In what the tables of the two classes differ.
    struct Kind
    {
        TimerSignal& mSignal;
        bool mKeepsLostBeats;          ///< a time-out that finds the queue full goes on counting as waiting
        char const* mpSigactionFailed; ///< (errno)
        char const* mpSigactionDone;   ///< (signal); null: not told
        char const* mpCreateFailed;    ///< (name, handle, errno)
        char const* mpSettimeFailed;   ///< the same
        char const* mpDeleteFailed;    ///< (name, handle or number, errno)
        bool mTellsNumberOfDeleted;    ///< the number
        char const* mpReportFile;      ///< of the reports to the watchdog around kernel calls; null: none
        unsigned int mLineOfSigaction; ///< in "SharedTimer"
        unsigned int mLineOfCreate;    ///< in "startTimerByTimerInfo"
        unsigned int mLineOfSettime;   ///< the same
        unsigned int mLineOfDelete;    ///< in "stopTimerByTimerInfo"
    };

    /// npName: of the owner, in the log; must outlive us.
    TimerTable(Kind const& nKind, unsigned int nMaxTimers, char const* npName);

    /// Installs the signal's handler, unless it is. Result: false, and a line in the log, on failure.
    bool installHandler();

    /// Registers a timer that rests. nIsReserved: ids that are not to be given out besides.
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

    /// Removes a timer that was added last and could not be started: its id is the next again.
    void withdraw(int nTimerId);

    TimerInfo* find(int nTimerId);
    TimerInfo const* find(int nTimerId) const { return const_cast<TimerTable*>(this)->find(nTimerId); }
    TimerMap& map() { return mTimers; }
    TimerMap const& map() const { return mTimers; }

    /// Creates and starts a periodic kernel timer whose signals come to the calling thread.
    /// Result: false, with a line in the log and nothing left behind, when the kernel refuses.
    bool arm(TimerInfo& nInfo);

    /// Sets the running kernel timer anew: its next period counts from now. Makes one if none runs.
    /// Result: false, as that of arm(), and then none runs.
    bool rearm(TimerInfo& nInfo);

    /// Deletes the kernel timer, if one runs. No signal of it is heard afterwards, whatever the result.
    /// Result: false, with a line in the log and the number kept, when the kernel refuses.
    bool disarm(TimerInfo& nInfo);

    /// Deletes the kernel timer of this handle and number; -1: there is none. The result is that of disarm().
    bool destroy(void* npTimerId, int nNumber) const;

    /// What a note gives rise to: the id of the timer and how many time-outs to queue, which count as waiting from now
    /// on. A slow listener loses beats: one waits, or two of a free-running timer.
    struct Expiry
    {
        int mTimerId;
        unsigned int mCount;
        unsigned int mLost = 0; // besides
    };
    Expiry expire(ExpiryNotes::Note const& nNote, long long nNowNs);

    /// That many of the time-outs could not be queued.
    void onLost(Expiry const& nExpiry);

    /// Counts a time-out that was handled. Result: it was the last one.
    static bool countTimeout(TimerInfo& nInfo);

    /// The number after nLast for a new start: one higher, from 0x7FFFFFFF on to 1, 0x7FFFFFFF taken unchecked. After a
    /// collision with a number in use it does not look for the next free one but goes to 0x7FFFFFFF.
    template <class IsInUse>
    static int numberAfter(int nLast, IsInUse nIsInUse)
    {
        int const lCandidate = followingId(nLast);
        return lCandidate != INT_MAX && nIsInUse(lCandidate) ? INT_MAX : lCandidate;
    }

    /// When the earliest signal is due; TimerInfo::NEVER if no timer is armed. Perhaps too early, after a disarm.
    long long nextDueNs() const { return mNextDueNs; }
    void findNextDue();

    /// For the dump: how many there are, and where showTimer() shows them.
    void show(LoopView* npView) const;

    /// For the dump: a timer was started, or its time-out has been handled. npInfo: null for one that stops or goes.
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
    long long mNextDueNs = TimerInfo::NEVER; // the loop's, with the notes
    ExpiryNotes mNotes;
};

} // namespace internal
} // namespace utl

#endif
