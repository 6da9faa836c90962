/// The implementation of SharedTimer. Layer: internal, timer.
#ifndef UTL_SHARED_TIMER_IMPL_H
#define UTL_SHARED_TIMER_IMPL_H

#include "UtlSharedTimer.h"
#include "internal/message/UtlQuietLoop.h"

namespace utl
{

/// The loop of a shared timer, with the requests for its timers. The inherited mSyncObject is "the data lock" of the
/// documents.
class SharedTimer::Impl : public internal::QuietLoop
{
public:
    Impl(SharedTimer& nTimer, unsigned int nMaxTimers);

    int addTimer(TimerListener* npListener, unsigned int nIntervalMs, unsigned int nMaxTimeoutCount,
                 int nIsFreeRunning);
    bool request(internal::TimerFate nFate, int nTimerId, int nNoWait);
    int await(internal::TimerFate nFate, int nTimerId);

    /// Ends all timers, and releases whoever waits for one.
    void eraseAllTimer();

    Event mLoopEvent{0, 0}; // on once the thread is in its loop

private:
    /// What is still to be done for a request.
    enum Need
    {
        NEED_NOTHING,
        NEED_WAIT, // somebody who waits has asked for the same
        NEED_RECORD
    };

    Need needLocked(internal::TimerFate nFate, int nTimerId, TimerInfo const& nInfo, bool nIsToWait)
        UTL_REQUIRES(mSyncObject);
    bool takeLocked(internal::CtlRecord* npWork) override UTL_REQUIRES(mSyncObject);
    int dispatch(internal::CtlRecord const& nWork) override;
    void const* listenerLocked() const override UTL_REQUIRES(mSyncObject);
    int nextIdLocked() const override UTL_REQUIRES(mSyncObject);
    int executeTimeout(int nTimerId);
    int beginTimeout(int nTimerId);
    int executeLocked(internal::TimerFate nFate, int nTimerId) UTL_REQUIRES(mSyncObject);
    bool executeHereLocked(internal::TimerFate nFate, int nTimerId) UTL_REQUIRES(mSyncObject);
    void removeTimerLocked(int nTimerId) UTL_REQUIRES(mSyncObject);

    SharedTimer& mTimer;
    int mTimerUnderWay UTL_GUARDED_BY(mSyncObject) = -1; // the timer whose listener is being called
};

} // namespace utl

#endif
