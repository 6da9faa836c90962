/// Who receives the messages of a message thread. Layer: message-driven thread.
#ifndef UTL_THREAD_MSG_LISTENER_H
#define UTL_THREAD_MSG_LISTENER_H

#include "UtlMacros.h"

namespace utl
{

class ThreadRawMsg;

/// Implemented by the application; not owned by the message thread, which it must outlive.
/// Safety: that of the application's class; receiveMsg() tells where it is called.
class UTL_API ThreadMsgListener
{
public:
    virtual ~ThreadMsgListener() = default;

    /// Called on the message thread, with no lock held, for one message or time-out after the other.
    ///
    /// nThreadId: the message thread's id.
    /// nRawMsg:   the thread's own image, good for this call only; read it with Msg::restoreFrom.
    /// It may send to any thread. Waiting for an answer from its own thread is refused, not waited for.
    virtual void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) = 0;
};

} // namespace utl

#endif
