// The texts for Post, Send and Start.
#include "UtlOutcome.h"

namespace utl
{

char const* text(Post nPost)
{
    switch (nPost)
    {
    case Post::DONE:
        return "accepted";
    case Post::FULL:
        return "the queue is full";
    case Post::STOPPED:
        return "the thread has stopped";
    case Post::NOT_STARTED:
        return "the thread was not started";
    case Post::TOO_LARGE:
        return "the message is too large";
    case Post::UNREACHABLE:
        return "the thread cannot be woken";
    }
    return "unknown";
}

char const* text(Send nSend)
{
    switch (nSend)
    {
    case Send::DONE:
        return "received";
    case Send::FULL:
        return text(Post::FULL);
    case Send::STOPPED:
        return text(Post::STOPPED);
    case Send::NOT_STARTED:
        return text(Post::NOT_STARTED);
    case Send::TOO_LARGE:
        return text(Post::TOO_LARGE);
    case Send::UNREACHABLE:
        return text(Post::UNREACHABLE);
    case Send::OWN_THREAD:
        return "the caller would wait for itself";
    case Send::ERASED:
        return "the message was erased";
    case Send::TIMED_OUT:
        return "it was not received in time";
    }
    return "unknown";
}

char const* text(Start nStart)
{
    switch (nStart)
    {
    case Start::DONE:
        return "started";
    case Start::STARTED_ONCE:
        return "it was started before";
    case Start::REFUSED:
        return "it cannot be started here";
    case Start::REGISTRY_FULL:
        return "the registry of threads is full";
    case Start::ID_TAKEN:
        return "an ended thread of the same id is still registered";
    case Start::NO_THREAD:
        return "the system makes no more threads";
    case Start::NO_PIPE:
        return "no pipe could be had";
    case Start::NO_MEMORY:
        return "no memory was left";
    case Start::NOT_PERMITTED:
        return "the process may not use that policy";
    case Start::BAD_OPTION:
        return "the system has no such stack, policy or processors";
    }
    return "unknown";
}

} // namespace utl
