/// The pipe that wakes a loop. Layer: internal, message-driven thread.
#ifndef UTL_WAKE_PIPE_H
#define UTL_WAKE_PIPE_H

#include "internal/message/UtlCtlQueue.h"

#include <atomic>

namespace utl::internal
{

/// One thread reads and sleeps, any thread writes. What is written means no more than "look at your queue".
class WakePipe
{
public:
    WakePipe() = default;
    ~WakePipe();
    WakePipe(WakePipe const&) = delete;
    WakePipe& operator=(WakePipe const&) = delete;

    /// Result: false, with errno, when no pipe can be had; then writing and reading fail with EBADF.
    bool open();

    /// Nothing if it is closed already. Nobody may be writing.
    int closeReadEnd() { return closeEnd(mReadFd); }
    int closeWriteEnd() { return closeEnd(mWriteFd); }

    /// Any thread; never waits. A full pipe counts as written, for its reader will wake up.
    /// Result: false when the reader is not woken: *npWritten is what write() gave, errno tells why.
    bool write(CtlRecord const& nRecord, unsigned int* npWritten);

    /// Takes what is there, waiting for something if there is nothing. Result: false when the read failed: *npRead is
    /// what it gave, errno tells why (EINTR included).
    bool read(unsigned int* npRead);

    /// The last resort to wake a reader: from now on it finds the end of the pipe, and writing fails. Never waits.
    void hangUp();

    int readFd() const { return mReadFd; }

private:
    static int closeEnd(std::atomic<int>& nFd);

    std::atomic<int> mReadFd{-1}; // constant between open and close
    std::atomic<int> mWriteFd{-1};
};

} // namespace utl::internal

#endif
