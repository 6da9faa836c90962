/// Every input as a file that utl::File can read.
#ifndef DEMO_INPUT_H
#define DEMO_INPUT_H

#include "Interruption.h"

namespace demo
{

/// How a step of reading ended, and in the end the whole.
enum ReadResult
{
    READ_LINE,                ///< There is more: a line, or bytes that may make one.
    READ_END,                 ///< There is no more.
    READ_TOO_LONG,            ///< The next line does not fit a message.
    READ_TOO_LONG_TO_CONVERT, ///< It has more bytes than a File converts.
    READ_MALFORMED,           ///< It has no UTF-8 form.
    READ_FAILED,              ///< The system refused.
    READ_INTERRUPTED,         ///< A signal came.
    READ_WORKER_GONE          ///< Nobody takes lines any more.
};

/// A regular file is read by its own path. A pipe or a terminal has neither size nor position, which a File needs: its
/// bytes are stored in a file in memory, piece by piece. One thread.
class Input
{
public:
    /// Opens a path that is not a regular file. npPath: a path, or "-" for standard input; outlives this object.
    explicit Input(char const* npPath);
    ~Input();
    Input(Input const&) = delete;
    Input& operator=(Input const&) = delete;

    /// The errno of what failed last, in the constructor or in refill(); 0 for nothing.
    int error() const { return mErrno; }

    /// The path under which a File can read it.
    char const* path() const { return mpPath; }

    /// The file at path() holds a piece only, and refill() brings the next one.
    bool isStream() const { return mMemoryFd != -1; }

    /// Of a stream: takes nUsed bytes away from the front of the file and adds at least one at its end. What does not
    /// become used must leave room: fewer than CAPACITY bytes. Blocking: until there is input, or a signal.
    ReadResult refill(unsigned int nUsed, Interruption const& nInterruption);

private:
    static constexpr unsigned int CAPACITY = 65536; // what a pipe holds

    bool openStream(bool nIsStandardInput);
    ReadResult readMore(Interruption const& nInterruption);

    char const* mpPath;
    int mErrno = 0;
    int mFd = -1;
    bool mIsOwner = false; // whether this object closes mFd
    int mMemoryFd = -1;
    char mMemoryPath[32];
    unsigned int mSize = 0;
    char mBytes[CAPACITY]; // what the file in memory holds
};

} // namespace demo

#endif
