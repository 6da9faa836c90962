/// Who waits for something to happen to a timer. Layer: internal, message-driven thread.
#ifndef UTL_TIMER_WAITERS_H
#define UTL_TIMER_WAITERS_H

#include "UtlEvent.h"
#include "internal/UtlEventWait.h"

namespace utl::internal
{

/// What a request makes of a timer, and what one may wait for.
enum class TimerFate
{
    RUNS,
    RESTS,
    GOES
};

/// One who waits, on his own stack. An event of its own, because the timer's running event may go on and off again
/// before he has looked, and goes neither way when a timer goes.
struct TimerWaiter
{
    TimerWaiter(int nTimerId, TimerFate nFate)
        : mTimerId(nTimerId),
          mFate(nFate)
    {
    }

    void wait() { waitUntilOn(mEvent, 0); }

    int const mTimerId;
    TimerFate const mFate;
    bool mIsRequest = false;    // he has queued a request, and waits until just that one has been served
    unsigned int mAhead = 0;    // the requests for this timer that are queued ahead of his
    Event mEvent{0, 0};
    TimerWaiter* mpNext = nullptr;
};

/// The list of them, the newest first.
/// Locks: none; the owner's guards it.
class TimerWaiters
{
public:
    /// Somebody who has queued a request, behind nAhead requests for the same timer.
    void enlistRequest(TimerWaiter& nWaiter, unsigned int nAhead)
    {
        nWaiter.mIsRequest = true;
        nWaiter.mAhead = nAhead;
        enlist(nWaiter);
    }

    void enlist(TimerWaiter& nWaiter)
    {
        nWaiter.mpNext = mpFirst;
        mpFirst = &nWaiter;
    }

    void unlist(TimerWaiter const& nWaiter)
    {
        releaseIf([&](TimerWaiter& nOther) { return &nOther == &nWaiter; });
    }

    /// A request has been served, with or without success. Releases him whose it was, and all who wait for its like.
    void onServed(int nTimerId, TimerFate nFate)
    {
        releaseIf(
            [&](TimerWaiter& nWaiter)
            {
                if (nWaiter.mTimerId != nTimerId)
                {
                    return false;
                }
                return nWaiter.mIsRequest ? nWaiter.mAhead-- == 0 : nWaiter.mFate == nFate;
            });
    }

    /// A timer has come to rest by itself.
    void onRests(int nTimerId)
    {
        releaseIf([&](TimerWaiter& nWaiter)
                  { return nWaiter.mTimerId == nTimerId && !nWaiter.mIsRequest && nWaiter.mFate == TimerFate::RESTS; });
    }

    /// A timer has gone, and nobody can wait for it any more.
    void onGone(int nTimerId)
    {
        releaseIf([&](TimerWaiter& nWaiter) { return nWaiter.mTimerId == nTimerId; });
    }

    void releaseAll()
    {
        releaseIf([](TimerWaiter&) { return true; });
    }

    /// What the newest request that somebody waits for will make of the timer; nIsRunning tells what it does without.
    bool willRun(int nTimerId, bool nIsRunning) const
    {
        for (TimerWaiter const* lpWaiter = mpFirst; lpWaiter != nullptr; lpWaiter = lpWaiter->mpNext)
        {
            if (lpWaiter->mTimerId == nTimerId && lpWaiter->mIsRequest)
            {
                return lpWaiter->mFate == TimerFate::RUNS;
            }
        }
        return nIsRunning;
    }

private:
    template <class Passes>
    void releaseIf(Passes nPasses)
    {
        for (TimerWaiter** lpLink = &mpFirst; *lpLink != nullptr;)
        {
            TimerWaiter* const lpWaiter = *lpLink;
            if (nPasses(*lpWaiter))
            {
                *lpLink = lpWaiter->mpNext;
                lpWaiter->mEvent.setOn(); // from here on he may be gone
            }
            else
            {
                lpLink = &lpWaiter->mpNext;
            }
        }
    }

    TimerWaiter* mpFirst = nullptr;
};

} // namespace utl::internal

#endif
