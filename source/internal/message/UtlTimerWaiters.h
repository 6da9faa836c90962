/// The threads that wait for something to happen to a timer. Layer: internal, message-driven thread.
#ifndef UTL_TIMER_WAITERS_H
#define UTL_TIMER_WAITERS_H

#include "UtlEvent.h"
#include "internal/base/UtlThreadSlots.h"

namespace utl::internal
{

/// What a request makes of a timer, and what a thread may wait for.
enum class TimerFate
{
    RUNS,
    RESTS, // it is stopped
    GOES   // it is removed
};

/// A thread that waits; on that thread's stack. It has an event of its own, because the timer's running event may be
/// set and cleared again before the thread has looked, and does not change when a timer is removed.
struct TimerWaiter
{
    explicit TimerWaiter(TimerFate nFate)
        : mFate(nFate)
    {
    }

    /// nThreadId: the loop's thread, for the dump.
    void wait(int nThreadId)
    {
        WaitShown const lShown(ThreadSlot::WAIT_REQUEST, static_cast<SlotWord>(nThreadId));
        mEvent.waitUntilOn(0);
    }

    TimerFate const mFate;
    int mTimerId = -1;
    bool mIsRequest = false; // waits for its own request, not for any that has the same effect
    unsigned int mAhead = 0; // the requests for this timer that are queued ahead of its own
    bool mIsRefused = false; // its own request was taken back; written before the event is set
    Event mEvent{0, 0};
    TimerWaiter* mpNext = nullptr;
};

/// The list of waiters, the newest first.
/// Locks: none; the owner's lock guards it.
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

    /// For the newest request of a timer that was taken back; nAhead others remain. Releases all who wait for it.
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

    /// For a timer that runs or rests now, but not because of a request.
    void onReached(int nTimerId, TimerFate nFate)
    {
        releaseIf([&](TimerWaiter& nWaiter)
                  { return nWaiter.mTimerId == nTimerId && !nWaiter.mIsRequest && nWaiter.mFate == nFate; });
    }

    /// For a timer that was removed: releases all who wait for it.
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

    /// Whether the timer will run after the newest request that somebody waits for. nIsRunning: whether it runs now,
    /// which is the result if there is no such request.
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
                lpWaiter->mEvent.setOn(); // from here on its thread may have destroyed it
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
