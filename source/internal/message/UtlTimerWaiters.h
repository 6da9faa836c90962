/// Who waits for something to happen to a timer. Layer: internal, message-driven thread.
#ifndef UTL_TIMER_WAITERS_H
#define UTL_TIMER_WAITERS_H

#include "UtlEvent.h"
#include "internal/base/UtlThreadSlots.h"

namespace utl::internal
{

/// What a request makes of a timer, and what one may wait for.
enum class TimerFate
{
    RUNS,
    RESTS,
    GOES
};

/// A thread that waits, on its own stack. It has an event of its own, because the timer's running event may go on and
/// off again before the thread has looked, and does not change when a timer goes.
struct TimerWaiter
{
    explicit TimerWaiter(TimerFate nFate)
        : mFate(nFate)
    {
    }

    /// nThreadId: of the loop.
    void wait(int nThreadId)
    {
        WaitShown const lShown(ThreadSlot::WAIT_REQUEST, static_cast<SlotWord>(nThreadId));
        mEvent.waitUntilOn(0);
    }

    TimerFate const mFate;
    int mTimerId = -1;
    bool mIsRequest = false; // waits for a request of its own, and not for any that makes the same of the timer
    unsigned int mAhead = 0; // the requests for this timer that are queued ahead of that one
    bool mIsRefused = false; // that one was taken back; written before the event
    Event mEvent{0, 0};
    TimerWaiter* mpNext = nullptr;
};

/// The list of them, the newest first.
/// Locks: none; the owner's guards it.
class TimerWaiters
{
public:
    void enlistRequest(TimerWaiter& nWaiter, int nTimerId, unsigned int nAhead)
    {
        nWaiter.mIsRequest = true;
        nWaiter.mAhead = nAhead;
        enlist(nWaiter, nTimerId);
    }

    void enlist(TimerWaiter& nWaiter, int nTimerId)
    {
        nWaiter.mTimerId = nTimerId;
        nWaiter.mpNext = mpFirst;
        mpFirst = &nWaiter;
    }

    /// The newest request for a timer was taken back, and nAhead others remain. Releases all who wait for it.
    void onTakenBack(int nTimerId, unsigned int nAhead)
    {
        releaseIf(
            [&](TimerWaiter& nWaiter)
            {
                bool const lIsIts = nWaiter.mTimerId == nTimerId && nWaiter.mIsRequest && nWaiter.mAhead >= nAhead;
                nWaiter.mIsRefused = nWaiter.mIsRefused || lIsIts;
                return lIsIts;
            });
    }

    /// A request has been served, with or without success. Releases the thread that made it, and all
    /// that wait for the same.
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

    /// A timer runs or rests by something else than a request.
    void onReached(int nTimerId, TimerFate nFate)
    {
        releaseIf([&](TimerWaiter& nWaiter)
                  { return nWaiter.mTimerId == nTimerId && !nWaiter.mIsRequest && nWaiter.mFate == nFate; });
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

    unsigned int size() const
    {
        unsigned int lCount = 0;
        for (TimerWaiter const* lpWaiter = mpFirst; lpWaiter != nullptr; lpWaiter = lpWaiter->mpNext)
        {
            ++lCount;
        }
        return lCount;
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
                lpWaiter->mEvent.setOn(); // from here on it may be gone
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
