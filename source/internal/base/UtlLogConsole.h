/// The console of the log: a standard stream that may stall. Layer: internal, log.
#ifndef UTL_LOG_CONSOLE_H
#define UTL_LOG_CONSOLE_H

#include <cstddef>
#include <cstdio>

namespace utl::internal
{

/// Writes the stamp, "Nov 15 08:55:34.123", to the start of a zeroed buffer.
void makeStamp(char (&nStamp)[64]);

/// Standard output or standard error as a sink of the log. A stream that accepts no data is waited for once, at most
/// PATIENCE_MS. From then on lines are dropped at once until the stream accepts data again; the number of lines dropped
/// is then written first.
/// Threads: one at a time; the log's output lock guards this object.
class LogConsole
{
public:
    static constexpr int PATIENCE_MS = 1000;

    explicit LogConsole(bool nIsError)
        : mIsError(nIsError)
    {
    }

    /// npFormat:  a finished line as a format without arguments; "%m" in it gives the text of nErrno.
    /// nIsUrgent: the stream is flushed before this returns, unless it has stalled.
    void write(char const* npFormat, int nErrno, bool nIsUrgent);

private:
    std::FILE* stream() const { return mIsError ? stderr : stdout; } // the program may put another one there
    bool tryLockStream();
    bool fitsBuffer(std::size_t nLength) const;
    bool hasRoom();
    void print(char const* npFormat, int nErrno) const;
    void tellDropped();

    bool const mIsError;
    bool mIsStalled = false;   // the stream's file accepted no data
    bool mIsHeld = false;      // somebody else kept the stream locked
    unsigned int mDropped = 0; // lines since the stream accepted one
};

} // namespace utl::internal

#endif
