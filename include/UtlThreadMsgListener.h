/// Receives the messages of a message thread. Layer: message-driven thread.
#ifndef UTL_THREAD_MSG_LISTENER_H
#define UTL_THREAD_MSG_LISTENER_H

#include "UtlMacros.h"

namespace utl
{

class ThreadRawMsg;

/// Receives the messages of a message thread. Implemented by the application. The message thread does not own it; it
/// must live until that thread has ended.
/// Safety: that of the application's class; receiveMsg() tells where it is called.
class UTL_API ThreadMsgListener
{
public:
    virtual ~ThreadMsgListener() = default;

    /// Called on the message thread for each message and time-out, one at a time, with no lock held. It may send to any
    /// thread. A call that would wait for its own thread is refused.
    ///
    /// nThreadId: the message thread's id.
    /// nRawMsg:   the thread's own image, valid for this call only; read it with Msg::restoreFrom.
    virtual void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) = 0;
};

} // namespace utl

#endif
