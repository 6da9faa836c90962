/// Lets a thread wait until another one has carried out its request. Layer: internal.
#ifndef UTL_COMPLETION_H
#define UTL_COMPLETION_H

#include "UtlEvent.h"
#include "internal/base/UtlSystemCalls.h"

#include <atomic>

#include <semaphore.h>

namespace utl::internal
{

/// One thread makes a request and waits; another carries it out and calls give(). Unlike an Event this wakes without
/// holding a lock, so the woken thread never waits for the one that woke it. One request at a time.
class Completion
{
public:
    Completion() { ::sem_init(&mSemaphore, 0, 0); }
    ~Completion() { ::sem_destroy(&mSemaphore); }
    Completion(Completion const&) = delete;
    Completion& operator=(Completion const&) = delete;

    /// Call this before the other thread can see the request.
    /// npEvent: give() sets it, for an asker that waits with a limit. Null: the asker calls wait().
    void expect(Event* npEvent = nullptr)
    {
        mpEvent = npEvent;
        mIsExpected = true;
    }

    bool isExpected() const { return mIsExpected; }

    /// Any thread, any number of times: the first call after expect() releases the asker.
    void give()
    {
        if (mIsExpected.exchange(false))
        {
            mpEvent != nullptr ? mpEvent->setOn() : static_cast<void>(::sem_post(&mSemaphore));
        }
    }

    /// Waits without limit. For the asker, once after expect().
    void wait()
    {
        while (gSystem.mSemWait(&mSemaphore) != 0)
        {
        }
    }

    /// For an asker that has withdrawn its request and stops waiting: afterwards nobody touches its event.
    void forget()
    {
        if (!mIsExpected.exchange(false))
        {
            mpEvent->waitUntilOn(0); // give() is about to set it
        }
    }

    /// Call this instead of wait() if the request could not be made.
    void withdraw()
    {
        give();
        wait();
    }

private:
    std::atomic<bool> mIsExpected{false};
    Event* mpEvent = nullptr; // written before the request can be seen
    sem_t mSemaphore;
};

} // namespace utl::internal

#endif
