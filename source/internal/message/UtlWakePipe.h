/// The pipe that wakes a loop. Layer: internal, message-driven thread.
#ifndef UTL_WAKE_PIPE_H
#define UTL_WAKE_PIPE_H

#include "internal/message/UtlCtlQueue.h"

#include <atomic>

namespace utl::internal
{

/// A pipe from which one thread reads, and sleeps if it is empty. Any thread writes. A record in it means no more than
/// "look at your queue".
class WakePipe
{
public:
    WakePipe() = default;
    ~WakePipe();
    WakePipe(WakePipe const&) = delete;
    WakePipe& operator=(WakePipe const&) = delete;

    /// Makes the pipe. Result: false, with errno, if that fails; writing and reading then fail with EBADF.
    bool open();

    /// Close an end, if it is open. Nobody may be writing.
    int closeReadEnd() { return closeEnd(mReadFd); }
    int closeWriteEnd() { return closeEnd(mWriteFd); }

    /// Any thread; never waits. A full pipe counts as written, because its reader will wake up.
    /// Result: false if the reader was not woken: *npWritten is the result of the system's write(), errno tells why.
    bool write(CtlRecord const& nRecord, unsigned int* npWritten);

    /// Takes what is in the pipe; waits if it is empty. Result: false if the read failed: *npRead is the result of the
    /// system's read(), errno tells why (EINTR included).
    bool read(unsigned int* npRead);

    /// The last resort to wake a reader: from now on it reads the end of the pipe, and writing fails. Never waits.
    void hangUp();

    int readFd() const { return mReadFd; }

private:
    static int closeEnd(std::atomic<int>& nFd);

    std::atomic<int> mReadFd{-1}; // constant between open and close
    std::atomic<int> mWriteFd{-1};
};

} // namespace utl::internal

#endif
