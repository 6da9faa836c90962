/// Reads a text and posts it line by line: what happens on the main thread.
#ifndef DEMO_READER_H
#define DEMO_READER_H

#include "DemoMsg.h"
#include "Interruption.h"

#include <UtlMsgDrivenThread.h>

namespace demo
{

/// How a step of reading ended, and in the end the whole.
enum ReadResult
{
    READ_LINE,        ///< A line is there.
    READ_END,         ///< There are no more.
    READ_TOO_LONG,    ///< The next one does not fit a message.
    READ_FAILED,      ///< The system refused; LineSource::errorText() tells why.
    READ_INTERRUPTED, ///< A signal came.
    READ_WORKER_GONE  ///< Nobody takes lines any more.
};

/// A text as a sequence of lines. One thread.
class LineSource
{
public:
    LineSource() = default;
    ~LineSource();
    LineSource(LineSource const&) = delete;
    LineSource& operator=(LineSource const&) = delete;

    /// npPath: a file's path, or "-" for standard input. Result: false where it cannot be opened, see errorText().
    bool open(char const* npPath);

    /// Gets the next line, of any bytes, with its line feed. Blocking: until there is one, or a signal.
    ReadResult next(LineMsg* npLine, Interruption const& nInterruption);

    /// The reason of the last failure.
    char const* errorText() const;

private:
    void take(LineMsg* npLine, unsigned int nSize);
    ReadResult fill(Interruption const& nInterruption);

    int mFd = -1;
    bool mIsOwner = false;
    int mErrno = 0;
    char mBuffer[16 * MAX_LINE_BYTES];
    unsigned int mStart = 0; // of what next() has not given yet
    unsigned int mEnd = 0;
};

/// What the reader itself knows of the text; the collector's totals have to say the same.
struct Account
{
    unsigned long long mLines = 0;
    unsigned long long mBytes = 0;
    unsigned int mChecksum = EMPTY_CHECKSUM;
    unsigned long long mRefusals = 0; // posts that found the worker's queue full
    ReadResult mResult = READ_END;
};

/// Posts every line to the worker. Where its queue is full, waits for room: no line is lost.
class Reader
{
public:
    /// All outlive this object.
    Reader(LineSource& nSource, Interruption const& nInterruption, utl::MsgDrivenThread& nWorker,
           utl::MsgDrivenThread& nCollector);

    /// Reads to the end, or as far as it goes. Result: the account of every line that was posted.
    Account run();

private:
    LineSource& mSource;
    Interruption const& mInterruption;
    utl::MsgDrivenThread& mWorker;
    utl::MsgDrivenThread& mCollector;
    LineMsg mLine;
};

} // namespace demo

#endif
