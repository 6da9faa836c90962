/// The interface through which the log writes to a caller's file, which is a higher layer. Layer: internal, log.
#ifndef UTL_LOG_FILE_SINK_H
#define UTL_LOG_FILE_SINK_H

#include "UtlMacros.h"

#include <cstdarg>

namespace utl::internal
{

/// A sink for one call of applog or rawlog. It gets the line before standard output does, at every level that passes
/// the filter.
class LogFileSink
{
public:
    /// Called without any lock of the log. npText: the line as standard output gets it, but no format; never null.
    virtual void write(char const* npText) = 0;

protected:
    ~LogFileSink() = default;
};

/// The bodies of applog and rawlog. npFile: null for none.
void writeLog(int nType, int nLevel, LogFileSink* npFile, char const* npFormat, va_list nArguments) UTL_PRINTF(4, 0);
void writeRawLog(int nType, int nLevel, LogFileSink* npFile, char const* npFormat, va_list nArguments) UTL_PRINTF(4, 0);

/// Whether the calling thread is inside a sink of the log. It may then hold any lock under which the library logs, so
/// it must not wait for another thread.
bool isInLogSink();

} // namespace utl::internal

#endif
