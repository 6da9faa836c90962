/// The record of a timer. Layer: message-driven thread.
#ifndef UTL_TIMER_INFO_H
#define UTL_TIMER_INFO_H

#include "UtlEvent.h"
#include "UtlSmartPointer.h"

namespace utl
{

class TimerListener;

namespace internal
{
class TimerSignalSlot;
}

/// What the signal handler needs: the number that this start of a timer goes by, and where to write it. Lives in
/// memory that is never given back, so that a late signal finds it dead and not gone.
using TimerSignalValue = internal::TimerSignalSlot;

/// One timer of a MsgDrivenThread or a SharedTimer. A plain record, copied member by member.
struct TimerInfo
{
    TimerListener* mpTimerListener = nullptr;  ///< whom a SharedTimer calls; not owned
    void* mSysTimerId = nullptr;               ///< the kernel timer (timer_t), while mSysTimerNumber is not -1
    int mSysTimerNumber = -1;                  ///< the number of this start; -1: no kernel timer runs
    TimerSignalValue* mpSignalValue = nullptr; ///< owned, from registration until the timer goes
    int mIntervalMs = 0;                       ///< the period
    unsigned int mMaxTimeoutCount = 0;         ///< time-outs after which the timer ends by itself; 0: never
    unsigned int mTimeoutCount = 0;            ///< time-outs handled since the last start
    int mIsFreeRunning = 0;                    ///< not 0: keeps its own period; 0: armed anew after each time-out
    SmartPointer<Event> mpRunningEvent;        ///< on while the timer runs; none: no timer
    unsigned int mPendingTimeoutCount = 0;     ///< time-outs queued and not yet handled
    bool mHasNewInterval = false;              ///< SharedTimer: the interval was changed while it ran
};

} // namespace utl

#endif
