/// What became of a post, a synchronous send and a start, with a text for each. Layer: below everything.
#ifndef UTL_OUTCOME_H
#define UTL_OUTCOME_H

#include "UtlMacros.h"

namespace utl
{

/// What became of a message that was posted.
enum class [[nodiscard]] Post{
    DONE,        ///< accepted; the receiver has not necessarily seen it yet
    FULL,        ///< no room now
    STOPPED,     ///< the receiver has ended or was asked to end
    NOT_STARTED, ///< the receiver does not run yet
    TOO_LARGE,   ///< longer than the receiver's messages; it never fits
    UNREACHABLE  ///< the receiver's pipe fails, which the log tells
};

/// What became of a message whose sender waits for the listener.
enum class [[nodiscard]] Send{
    DONE,        ///< the listener has returned
    FULL,        ///< no room now
    STOPPED,     ///< the receiver has ended, was asked to end, or ended before it came to the message
    NOT_STARTED, ///< the receiver does not run yet
    TOO_LARGE,   ///< longer than the receiver's messages; it never fits
    UNREACHABLE, ///< the receiver's pipe fails, which the log tells
    OWN_THREAD,  ///< the caller is the receiver, and would wait for itself
    ERASED,      ///< somebody erased the message
    TIMED_OUT    ///< the listener was not called in time, and is not called any more
};

/// What became of a start.
enum class [[nodiscard]] Start{
    DONE,          ///< the thread runs
    STARTED_ONCE,  ///< it was started before
    REFUSED,       ///< nobody who receives was named, or the caller is the thread itself
    REGISTRY_FULL, ///< the table of threads is full; ended threads stay in it until they are taken out
    ID_TAKEN,      ///< the kernel gave it an id that an ended thread still has in the table: it runs outside the table
    NO_THREAD,     ///< the system makes no more threads
    NO_PIPE,       ///< no file descriptors were left for its pipe
    NO_MEMORY,     ///< none was left
    NOT_PERMITTED, ///< the process may not use that policy
    BAD_OPTION     ///< a stack, a policy or processors that the system does not have
};

/// A few words for a person, never null.
/// Safety: any thread; also in a signal handler and after a fork; never blocks.
UTL_API char const* text(Post nPost);
UTL_API char const* text(Send nSend);
UTL_API char const* text(Start nStart);

} // namespace utl

#endif
