// Writes the log's lines to a caller's file.
#include "UtlApplog.h"
#include "UtlFile.h"
#include "internal/base/UtlLogFileSink.h"

namespace
{

class FileSink final : public utl::internal::LogFileSink
{
public:
    explicit FileSink(utl::File* npFile)
        : mpFile(npFile)
    {
    }

    /// The sink for the log; null without a file.
    LogFileSink* get() { return mpFile != nullptr ? this : nullptr; }

    void write(char const* npText) override { mpFile->writeText(npText, utl::FILE_TEXT_CHUNK_MAX - 1, 0); }

private:
    utl::File* const mpFile; // not owned
};

} // namespace

void applog(int nType, int nLevel, utl::File* npFile, char const* npFormat, ...)
{
    FileSink lSink(npFile);
    va_list lArguments;
    va_start(lArguments, npFormat);
    utl::internal::writeLog(nType, nLevel, lSink.get(), npFormat, lArguments);
    va_end(lArguments);
}

void rawlog(int nType, int nLevel, utl::File* npFile, char const* npFormat, ...)
{
    FileSink lSink(npFile);
    va_list lArguments;
    va_start(lArguments, npFormat);
    utl::internal::writeRawLog(nType, nLevel, lSink.get(), npFormat, lArguments);
    va_end(lArguments);
}
