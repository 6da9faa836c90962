/// Posting to a thread whose queue may be full.
#ifndef DEMO_POSTING_H
#define DEMO_POSTING_H

#include <UtlMsgDrivenThread.h>

namespace demo
{

// Both wait for room as long as the queue is full, and count in *npRefusals how often it was.
//
// nMsg:   fits the thread's messages; one that does not would be refused for ever.
// Result: false if the thread has ended, or is about to: nobody would read the message.

/// Posts a message.
bool postWhenRoom(utl::MsgDrivenThread& nThread, utl::Msg const& nMsg, unsigned long long* npRefusals);

/// The same, and waits until the listener has received it, and so everything before it.
bool sendWhenRoom(utl::MsgDrivenThread& nThread, utl::Msg const& nMsg, unsigned long long* npRefusals);

/// Sets the level down to which the library's own log lines are written, while it lives. A refused post is an error to
/// the library and is logged as one; who retries on purpose expects many and counts them instead.
class LibraryLogLevel
{
public:
    explicit LibraryLogLevel(int nLevel);
    ~LibraryLogLevel();
    LibraryLogLevel(LibraryLogLevel const&) = delete;
    LibraryLogLevel& operator=(LibraryLogLevel const&) = delete;

private:
    int const mFormerLevel;
};

} // namespace demo

#endif
