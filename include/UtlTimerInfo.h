/// The record of a timer. Layer: message-driven thread.
#ifndef UTL_TIMER_INFO_H
#define UTL_TIMER_INFO_H

#include "UtlEvent.h"
#include "UtlSmartPointer.h"

#include <climits>

namespace utl
{

class TimerListener;
struct TimerSignalValue;

/// One timer of a MsgDrivenThread or a SharedTimer. A plain record, copied member by member.
struct TimerInfo
{
    static constexpr long long NEVER = LLONG_MAX; ///< no signal will come, or it is to be ignored

    TimerListener* mpTimerListener = nullptr;  ///< the listener that a SharedTimer calls; not owned
    void* mSysTimerId = nullptr;               ///< the kernel timer (timer_t), while mSysTimerNumber is not -1
    int mSysTimerNumber = -1;                  ///< the number of this start, which its signals carry; -1: not running
    TimerSignalValue* mpSignalValue = nullptr; ///< always null: a signal carries the number itself
    int mIntervalMs = 0;                       ///< the period
    unsigned int mMaxTimeoutCount = 0;         ///< time-outs after which the timer ends by itself; 0: never
    unsigned int mTimeoutCount = 0;            ///< time-outs handled since the last start
    int mIsFreeRunning = 0;                    ///< not 0: keeps a steady beat; 0: armed again after each time-out
    SmartPointer<Event> mpRunningEvent;        ///< on while the timer runs; empty: no timer
    unsigned int mPendingTimeoutCount = 0;     ///< time-outs queued and not yet handled
    bool mHasNewInterval = false;              ///< SharedTimer: the interval was changed while it ran
    bool mAwaitsFirst = false;                 ///< no signal has come since the kernel timer was set
    long long mDueNs = NEVER;                  ///< when the next signal is due, on the monotonic clock
};

} // namespace utl

#endif
