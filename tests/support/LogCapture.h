/// Collects the lines that the library sends to the console sink.
#ifndef UTL_TEST_LOG_CAPTURE_H
#define UTL_TEST_LOG_CAPTURE_H

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "Faults.h"
#include "UtlApplog.h"

namespace utl::test
{

using LogLines = std::vector<std::string>;

/// While one lives, console lines go here and not to standard output. One at a time.
class LogCapture
{
public:
    LogCapture() { clear(); }

    /// Each line as the sink renders it, without the time stamp and the line end: "<UTIL> ERR: text".
    /// Lines of other threads may still come; a copy is given.
    LogLines lines() const
    {
        LogLines lLines = rawLines();
        for (std::string& lLine : lLines)
        {
            std::size_t const STAMP_LENGTH = 20; // "Nov 15 08:55:34.123 "
            bool const lIsFramed = lLine.size() >= STAMP_LENGTH + 2 && lLine[15] == '.' && lLine.back() == '\n';
            lLine = lIsFramed ? lLine.substr(STAMP_LENGTH, lLine.size() - STAMP_LENGTH - 2) : lLine;
        }
        return lLines;
    }

    /// The same with the time stamp and the line end.
    LogLines rawLines() const
    {
        std::lock_guard<std::mutex> lGuard(sMutex);
        return sLines;
    }

    /// How many lines contain the text.
    unsigned int count(std::string const& nText) const
    {
        LogLines const lLines = lines();
        return static_cast<unsigned int>(std::count_if(lLines.begin(), lLines.end(),
                                                       [&](std::string const& nLine)
                                                       { return nLine.find(nText) != std::string::npos; }));
    }

    void clear()
    {
        std::lock_guard<std::mutex> lGuard(sMutex);
        sLines.clear();
    }

private:
    static void write(char const* npFormat)
    {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security" // a format by contract of the sink
        char lLine[1024];
        std::snprintf(lLine, sizeof(lLine), npFormat);
#pragma GCC diagnostic pop
        std::lock_guard<std::mutex> lGuard(sMutex);
        sLines.emplace_back(lLine);
    }

    static inline std::mutex sMutex;
    static inline LogLines sLines;
    Replaced<void(char const*)> mPrintf{&internal::SystemCalls::mPrintf, &write};
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
