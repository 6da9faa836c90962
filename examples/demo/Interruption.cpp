#include "Interruption.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <poll.h>
#include <unistd.h>

namespace demo
{

namespace
{

std::atomic<int> gSignalNumber{0};
std::atomic<int> gWriteFd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler takes no lock");

// The flag alone would not do: a signal that comes just before a call that blocks would go unnoticed until the next
// input. The pipe can be waited for together with the input.
void onSignal(int nSignalNumber)
{
    int const lFormerErrno = errno;
    gSignalNumber = nSignalNumber;
    char const lByte = 0;
    // A full pipe is readable already.
    ssize_t const lIgnored = write(gWriteFd, &lByte, 1);
    static_cast<void>(lIgnored);
    errno = lFormerErrno;
}

} // namespace

Interruption::Interruption()
{
    int lFds[2];
    if (pipe(lFds) == 0)
    {
        mFd = lFds[0];
        gWriteFd = lFds[1];
    }
    struct sigaction lAction = {};
    lAction.sa_handler = onSignal;
    lAction.sa_flags = static_cast<int>(SA_RESETHAND); // whoever presses Ctrl-C twice means it
    sigaction(SIGINT, &lAction, nullptr);
    sigaction(SIGTERM, &lAction, nullptr);
}

int Interruption::signalNumber() const
{
    return gSignalNumber;
}

bool Interruption::waitForInput(int nFd) const
{
    // Without a pipe mFd is negative, and poll() passes over it: then the flag alone has to do.
    pollfd lFds[] = {{nFd, POLLIN, 0}, {mFd, POLLIN, 0}};
    while (signalNumber() == 0)
    {
        if (poll(lFds, 2, -1) > 0 && lFds[0].revents != 0)
        {
            break; // also for an error, which read() will name
        }
    }
    return signalNumber() == 0;
}

} // namespace demo
