/// Who waits for a message thread. Layer: internal, message-driven thread.
#ifndef UTL_MSG_THREAD_ANSWERS_H
#define UTL_MSG_THREAD_ANSWERS_H

#include "UtlMsgDrivenThread.h"
#include "internal/UtlAnswer.h"

namespace utl
{

/// One for each kind of request, since there is one request of each kind at a time.
struct MsgDrivenThread::Answers
{
    internal::Answer mInterrupt;
    internal::Answer mSync;
    internal::Answer mErase;
    internal::Answer mFind;
    internal::Answer mTimer;

    void giveAll()
    {
        mInterrupt.give();
        mSync.give();
        mErase.give();
        mFind.give();
        mTimer.give();
    }
};

} // namespace utl

#endif
