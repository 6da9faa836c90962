/// Waiting until another thread has carried out a request. Layer: internal.
#ifndef UTL_ANSWER_H
#define UTL_ANSWER_H

#include "UtlEvent.h"
#include "internal/base/UtlSystemCalls.h"

#include <atomic>

#include <semaphore.h>

namespace utl::internal
{

/// One asks and waits, another carries out and answers. Unlike an Event it wakes without a lock held, so the one who is
/// woken never runs into the one who wakes him. One request at a time.
class Answer
{
public:
    Answer() { ::sem_init(&mSemaphore, 0, 0); }
    ~Answer() { ::sem_destroy(&mSemaphore); }
    Answer(Answer const&) = delete;
    Answer& operator=(Answer const&) = delete;

    /// Before the request can be seen. npEvent: who asks waits for it instead, perhaps not to the end; null: he calls wait().
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

    /// After expect(), once, by the one who asked. Without limit.
    void wait()
    {
        while (gSystem.mSemWait(&mSemaphore) != 0)
        {
        }
    }

    /// For one who waits for an event, and waits no longer: nobody touches it any more. Before, the request was withdrawn.
    void forget()
    {
        if (!mIsExpected.exchange(false))
        {
            mpEvent->waitUntilOn(0); // somebody is about to answer
        }
    }

    /// In place of wait(), where the request could not be made.
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
