#include "Posting.h"

#include <UtlApplog.h>

#include <thread>

namespace demo
{

namespace
{

constexpr unsigned int EAGER_TRIES = 5;

using SendFunction = bool (utl::MsgDrivenThread::*)(utl::Msg const&);

bool retryUntilRoom(utl::MsgDrivenThread& nThread, SendFunction nSend, utl::Msg const& nMsg,
                    unsigned long long* npRefusals)
{
    for (unsigned int lTry = 1; !(nThread.*nSend)(nMsg); ++lTry)
    {
        // A thread that has ended refuses as well, and goes on refusing.
        if (!nThread.isRunning() || nThread.hasRequestedStop())
        {
            return false;
        }
        ++*npRefusals;
        // There is room as soon as the receiver has taken one message, so the first tries only let it run. A receiver
        // that takes longer is worth a real rest, which leaves it the processor.
        if (lTry <= EAGER_TRIES)
        {
            std::this_thread::yield();
        }
        else
        {
            utl::Thread::sleep(1);
        }
    }
    return true;
}

} // namespace

bool postWhenRoom(utl::MsgDrivenThread& nThread, utl::Msg const& nMsg, unsigned long long* npRefusals)
{
    return retryUntilRoom(nThread, &utl::MsgDrivenThread::postMsg, nMsg, npRefusals);
}

bool sendWhenRoom(utl::MsgDrivenThread& nThread, utl::Msg const& nMsg, unsigned long long* npRefusals)
{
    return retryUntilRoom(nThread, &utl::MsgDrivenThread::sendMsgSync, nMsg, npRefusals);
}

LibraryLogLevel::LibraryLogLevel(int nLevel)
    : mFormerLevel(getFilterLevel(utl::UTL_LOG_TYPE))
{
    setFilterLevel(utl::UTL_LOG_TYPE, nLevel);
}

LibraryLogLevel::~LibraryLogLevel()
{
    setFilterLevel(utl::UTL_LOG_TYPE, mFormerLevel);
}

} // namespace demo
