/// Where the log meets a caller's file without knowing it. Layer: internal, log.
#ifndef UTL_LOG_FILE_SINK_H
#define UTL_LOG_FILE_SINK_H

#include "UtlMacros.h"

#include <cstdarg>

namespace utl::internal
{

/// A sink for one call, served before standard output at every level that passed the filter.
class LogFileSink
{
public:
    /// Called without any lock of the log. npText: never null, what standard output gets, not read as a format.
    virtual void write(char const* npText) = 0;

protected:
    ~LogFileSink() = default;
};

/// The bodies of applog and rawlog. npFile: null for none.
void writeLog(int nType, int nLevel, LogFileSink* npFile, char const* npFormat, va_list nArguments) UTL_PRINTF(4, 0);
void writeRawLog(int nType, int nLevel, LogFileSink* npFile, char const* npFormat, va_list nArguments) UTL_PRINTF(4, 0);

/// Whether the calling thread is inside a sink of the log, and so perhaps inside any lock under which somebody logs:
/// there it must wait for no other thread.
bool isInLogSink();

} // namespace utl::internal

#endif
