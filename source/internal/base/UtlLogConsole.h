/// The console of the log: a standard stream that may stall. Layer: internal, log.
#ifndef UTL_LOG_CONSOLE_H
#define UTL_LOG_CONSOLE_H

#include <cstddef>
#include <cstdio>

namespace utl::internal
{

/// Puts the stamp, "Nov 15 08:55:34.123", at the start of a zeroed buffer.
void makeStamp(char (&nStamp)[64]);

/// Standard output or standard error as a sink. A stream that takes nothing is waited for once, at most PATIENCE_MS;
/// then what finds no room is dropped at once, until the stream takes something again. That begins with the
/// number of lines dropped.
/// Threads: one at a time, the log's output lock guards.
class LogConsole
{
public:
    static constexpr int PATIENCE_MS = 1000;

    explicit LogConsole(bool nIsError)
        : mIsError(nIsError)
    {
    }

    /// npFormat: a finished line as a format without arguments; "%m" in it tells nErrno. nIsUrgent: the line is on its
    /// way to the stream's file when this returns, unless that stalls.
    void write(char const* npFormat, int nErrno, bool nIsUrgent);

private:
    std::FILE* stream() const { return mIsError ? stderr : stdout; } // the program may put another one there
    bool tryLockStream();
    bool fitsBuffer(std::size_t nLength) const;
    bool hasRoom();
    void print(char const* npFormat, int nErrno) const;
    void tellDropped();

    bool const mIsError;
    bool mIsStalled = false;   // the stream's file took nothing
    bool mIsHeld = false;      // somebody else kept the stream
    unsigned int mDropped = 0; // lines since the stream took one
};

} // namespace utl::internal

#endif
