/// Collects the lines that the library sends to the console sink.
#ifndef UTL_TEST_LOG_CAPTURE_H
#define UTL_TEST_LOG_CAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include "UtlApplog.h"
#include "internal/base/UtlSystemCalls.h"

namespace utl::test
{

using LogLines = std::vector<std::string>;

/// While one lives, console lines go here and not to standard output. One at a time.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    /// Each line as the sink renders it, without the time stamp and the line end: "<UTIL> ERR: text".
    /// Lines of other threads may still come; a copy is given.
    LogLines lines() const;

    /// The same with the time stamp and the line end.
    LogLines rawLines() const;

    /// How many lines contain the text.
    unsigned int count(std::string const& nText) const;

    void clear();

private:
    using Sink = internal::SystemCall<void(char const*)>::Function;

    static void write(char const* npFormat);

    Sink mpOriginal;
};

/// While one lives, nothing is logged: for tests that provoke the same line thousands of times.
class QuietLog
{
public:
    QuietLog() { setAllFilterLevel(0); }
    ~QuietLog() { setAllFilterLevel(4); }
    QuietLog(QuietLog const&) = delete;
    QuietLog& operator=(QuietLog const&) = delete;
};

} // namespace utl::test

#endif
