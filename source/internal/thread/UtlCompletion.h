/// Waiting until another thread has carried out a request. Layer: internal.
#ifndef UTL_COMPLETION_H
#define UTL_COMPLETION_H

#include "UtlEvent.h"
#include "internal/base/UtlSystemCalls.h"

#include <atomic>

#include <semaphore.h>

namespace utl::internal
{

/// One thread asks and waits, another carries out the request and gives the completion. Unlike an Event it wakes
/// without holding a lock, so the woken thread never waits for the one that woke it. One request at a time.
class Completion
{
public:
    Completion() { ::sem_init(&mSemaphore, 0, 0); }
    ~Completion() { ::sem_destroy(&mSemaphore); }
    Completion(Completion const&) = delete;
    Completion& operator=(Completion const&) = delete;

    /// Before the request can be seen.
    /// npEvent: what the asker waits for, perhaps not to the end; null: the asker calls wait().
    void expect(Event* npEvent = nullptr)
    {
        mpEvent = npEvent;
        mIsExpected = true;
    }

    bool isExpected() const { return mIsExpected; }

    /// Any thread, any number of times: the first after expect() releases wait().
    void give()
    {
        if (mIsExpected.exchange(false))
        {
            mpEvent != nullptr ? mpEvent->setOn() : static_cast<void>(::sem_post(&mSemaphore));
        }
    }

    /// After expect(), once, by the asker. Without limit.
    void wait()
    {
        while (gSystem.mSemWait(&mSemaphore) != 0)
        {
        }
    }

    /// For an asker that stops waiting for its event, after withdrawing the request: nobody touches the event any more.
    void forget()
    {
        if (!mIsExpected.exchange(false))
        {
            mpEvent->waitUntilOn(0); // somebody is about to set it
        }
    }

    /// In place of wait(), if the request could not be made.
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
