/// The results of a post, a synchronous send and a start, with a text for each. Layer: below everything.
#ifndef UTL_OUTCOME_H
#define UTL_OUTCOME_H

#include "UtlMacros.h"

namespace utl
{

/// The result of posting a message. Only DONE accepts it.
enum class [[nodiscard]] Post{
    DONE,        ///< the message is in the queue; it is lost if the receiver stops before its turn
    FULL,        ///< there is no room now
    STOPPED,     ///< the receiver has ended or was asked to end
    NOT_STARTED, ///< the receiver has not been started
    TOO_LARGE,   ///< the message is longer than the receiver's messages; it never fits
    UNREACHABLE  ///< the receiver's pipe fails, which the log tells
};

/// The result of sending a message and waiting for the listener.
enum class [[nodiscard]] Send{
    DONE,        ///< the listener has returned
    FULL,        ///< there is no room now
    STOPPED,     ///< the receiver has ended, was asked to end, or ended before the message's turn
    NOT_STARTED, ///< the receiver has not been started
    TOO_LARGE,   ///< the message is longer than the receiver's messages; it never fits
    UNREACHABLE, ///< the receiver's pipe fails, which the log tells
    OWN_THREAD,  ///< the caller is the receiver, and would wait for itself
    ERASED,      ///< the message was erased from the queue
    TIMED_OUT    ///< the listener was not called in time, and will not be called
};

/// The result of starting a thread.
enum class [[nodiscard]] Start{
    DONE,          ///< the thread runs
    STARTED_ONCE,  ///< it was started before
    REFUSED,       ///< no listener was given, or the caller is the thread itself
    REGISTRY_FULL, ///< the registry of threads is full; ended threads stay in it until they are taken out
    ID_TAKEN,      ///< the kernel gave it an id that an ended thread still has in the registry: it runs unregistered
    NO_THREAD,     ///< the system makes no more threads
    NO_PIPE,       ///< no file descriptors were left for its pipe
    NO_MEMORY,     ///< no memory was left
    NOT_PERMITTED, ///< the process may not use that policy
    BAD_OPTION     ///< a stack, a policy or processors that the system does not have
};

/// A few words for people, never null.
/// Safety: any thread; also in a signal handler and after a fork; never blocks.
UTL_API char const* text(Post nPost);
UTL_API char const* text(Send nSend);
UTL_API char const* text(Start nStart);

} // namespace utl

#endif
