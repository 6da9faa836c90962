// The log's lines: filters, stamps, levels, and the way to the system log, the console and a caller's sink.
#include "UtlApplog.h"

#include "UtlMap.h"
#include "UtlString.h"
#include "UtlSyncObject.h"
#include "internal/base/UtlForkLocks.h"
#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlLogConsole.h"
#include "internal/base/UtlLogFileSink.h"
#include "internal/base/UtlSystemCalls.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <syslog.h>

extern "C"
{
    /// The process may define it, in itself or in any of its libraries. Declared nowhere else, so that the platform's
    /// header may declare it as it likes.
    __attribute__((weak)) void BinaryLogWrite(int nKind, char const* npText, unsigned int nLength);
}

namespace utl::internal
{

namespace
{

constexpr unsigned int MAX_TYPES = 64;
constexpr unsigned int TEXT_SIZE = 32; // size of a prefix and of the tag, with the terminator
constexpr unsigned int LINE_SIZE = 256;
constexpr unsigned int MAX_TIMED_LENGTH = 253; // leaves room for the line end
constexpr unsigned int MAX_RAW_LENGTH = 255;

constexpr char const* LEVEL_PREFIXES[] = {"NO : ", "ERR: ", "WRN: ", "INF: ", "DTL: ", "DBG: "};

struct LogTypeData
{
    int mFilterLevel = LOG_LEVEL_NONE;
    char mPrefix[TEXT_SIZE] = {};
};

using LogTypeMap = Map<int, LogTypeData, int const&, LogTypeData const&, CompareLessPairKey<int, LogTypeData>>;

/// All that the log remembers. The two locks are leaves and never held together.
struct LogState
{
    LogState()
        : mTypes(MAX_TYPES)
    {
        LogTypeData lType;
        lType.mFilterLevel = LOG_LEVEL_DETAIL;
        (void)mTypes.insert(DEFAULT_LOG_TYPE, lType);
        std::strcpy(lType.mPrefix, "<UTIL> ");
        (void)mTypes.insert(UTL_LOG_TYPE, lType);
        freeInChild(FORK_LOG_TYPES, "the types of the log", mTypeLock);
        freeInChild(FORK_LOG_OUTPUT, "the output of the log", mOutputLock);
    }

    SyncObject mTypeLock;
    LogTypeMap mTypes UTL_GUARDED_BY(mTypeLock);
    SyncObject mOutputLock; // held for one sink call
    LogConsole mOutput UTL_GUARDED_BY(mOutputLock){false};
    LogConsole mError UTL_GUARDED_BY(mOutputLock){true};
    char mTag[TEXT_SIZE] UTL_GUARDED_BY(mOutputLock) = {}; // for debuggers
    std::atomic<unsigned int> mSinks{LOG_SINK_SYSTEM | LOG_SINK_OUTPUT | LOG_SINK_PLATFORM};
};

LogState& logState()
{
    static Immortal<LogState> lState;
    return lState.get();
}

// Made while the library is loaded, so that the first line does not allocate.
[[maybe_unused]] LogState& gLoadedState = logState();

// This TLS model avoids a call into the loader; its room is limited, but enough for the library's few variables.
thread_local bool tIsInSink __attribute__((tls_model("initial-exec"))) = false;

/// Marks the calling thread as being inside a sink. Sinks can be nested, since a sink may itself log.
class InSink
{
public:
    InSink() { tIsInSink = true; }
    ~InSink() { tIsInSink = mWasInSink; }
    InSink(InSink const&) = delete;
    InSink& operator=(InSink const&) = delete;

private:
    bool const mWasInSink = tIsInSink;
};

int limitedLevel(int nLevel)
{
    return nLevel < LOG_LEVEL_NONE || nLevel > LOG_LEVEL_DEBUG ? LOG_LEVEL_DEBUG : nLevel;
}

/// Makes the level a valid one. npType: gets a copy, so that formatting needs no lock; may be null.
bool passesFilter(int nType, int& nLevel, LogTypeData* npType)
{
    nLevel = limitedLevel(nLevel);
    LogState& lState = logState();
    SyncGuard lGuard(lState.mTypeLock);
    auto const* lpEntry = lState.mTypes.find(nType);
    if (lpEntry == nullptr)
    {
        lpEntry = lState.mTypes.find(DEFAULT_LOG_TYPE);
    }
    if (nLevel == LOG_LEVEL_NONE || lpEntry->mValue.mFilterLevel < nLevel)
    {
        return false;
    }
    if (npType != nullptr)
    {
        *npType = lpEntry->mValue;
    }
    return true;
}

/// A finished text in the form for sinks: a format that fetches no argument. "%%" and "%m" are left to the sink,
/// every other percent sign is doubled.
class SinkFormat
{
public:
    explicit SinkFormat(char const* npText)
    {
        char* lpTo = mFormat;
        for (char const* lpFrom = npText; *lpFrom != '\0'; ++lpFrom)
        {
            *lpTo++ = *lpFrom;
            if (*lpFrom == '%')
            {
                bool const lIsLeft = lpFrom[1] == '%' || lpFrom[1] == 'm';
                *lpTo++ = lIsLeft ? *++lpFrom : '%';
            }
        }
        *lpTo = '\0';
    }

    char const* get() const { return mFormat; }

private:
    char mFormat[2 * LINE_SIZE];
};

/// A line that passed the filter. Every sink finds the errno of the log call, for "%m".
class LogLine
{
public:
    LogLine(int nLevel, LogFileSink* npFile, int nErrno)
        : mLevel(nLevel),
          mpFile(npFile),
          mErrno(nErrno)
    {
    }

    void writeTimed(char const* npPrefix, char const* npFormat, va_list nArguments) UTL_PRINTF(3, 0);
    void writeRaw(char const* npFormat, va_list nArguments) UTL_PRINTF(2, 0);

private:
    /// Whether the line is for sinks that get levels 1 to 3 only.
    bool isImportantFor(unsigned int nSink) const { return mLevel <= LOG_LEVEL_INFO && isFor(nSink); }
    bool isFor(unsigned int nSink) const { return (mSinks & nSink) != 0; }
    void append(unsigned int nMaxLength, char const* npFormat, va_list nArguments) UTL_PRINTF(3, 0);
    void writeToSyslog(char const* npText) const;
    void writeToConsole() const;
    void writeToBinaryLog() const;

    int const mLevel;
    LogFileSink* const mpFile;
    int const mErrno;
    unsigned int const mSinks = logState().mSinks.load(std::memory_order_relaxed);
    char mText[LINE_SIZE] = {};
};

void LogLine::writeTimed(char const* npPrefix, char const* npFormat, va_list nArguments)
{
    char lStamp[64] = {};
    makeStamp(lStamp);
    std::snprintf(mText, MAX_TIMED_LENGTH, "%s %s%s", lStamp, npPrefix, LEVEL_PREFIXES[mLevel]);
    append(MAX_TIMED_LENGTH, npFormat, nArguments);
    writeToSyslog(mText + std::strlen(lStamp) + 1);
    std::strcat(mText, "\r\n");
    writeToConsole();
    writeToBinaryLog();
}

void LogLine::writeRaw(char const* npFormat, va_list nArguments)
{
    append(MAX_RAW_LENGTH, npFormat, nArguments);
    writeToSyslog(mText);
    writeToConsole();
    writeToBinaryLog();
}

/// Adds the message, cut and marked if it does not fit.
void LogLine::append(unsigned int nMaxLength, char const* npFormat, va_list nArguments)
{
    std::size_t const lUsed = std::strlen(mText);
    std::size_t const lRoom = nMaxLength + 1 - lUsed;
    errno = mErrno;
    int const lLength = gSystem.mVsnprintf(mText + lUsed, lRoom, npFormat, nArguments);
    if (lLength < 0 || static_cast<std::size_t>(lLength) >= lRoom)
    {
        std::strcpy(mText + nMaxLength - 3, "...");
    }
}

void LogLine::writeToSyslog(char const* npText) const
{
    static constexpr int PRIORITIES[] = {LOG_ERR, LOG_ERR, LOG_WARNING, LOG_INFO};
    if (isImportantFor(LOG_SINK_SYSTEM))
    {
        SinkFormat const lFormat(npText);
        SyncGuard lGuard(logState().mOutputLock);
        errno = mErrno;
        gSystem.mSyslog(PRIORITIES[mLevel], lFormat.get());
    }
}

void LogLine::writeToConsole() const
{
    if (mpFile != nullptr)
    {
        mpFile->write(mText);
    }
    bool const lIsUrgent = mLevel <= LOG_LEVEL_WARNING; // the process may be about to abort
    SinkFormat const lFormat(mText);
    LogState& lState = logState();
    SyncGuard lGuard(lState.mOutputLock);
    if (isFor(LOG_SINK_OUTPUT))
    {
        lState.mOutput.write(lFormat.get(), mErrno, lIsUrgent);
    }
    if (isFor(LOG_SINK_ERROR))
    {
        lState.mError.write(lFormat.get(), mErrno, lIsUrgent);
    }
}

void LogLine::writeToBinaryLog() const
{
    int const TEXT_KIND = 3;
    if (BinaryLogWrite != nullptr && isImportantFor(LOG_SINK_PLATFORM) && mText[0] != '\0')
    {
        SyncGuard lGuard(logState().mOutputLock);
        BinaryLogWrite(TEXT_KIND, mText, static_cast<unsigned int>(std::strlen(mText)));
    }
}

} // namespace

bool isInLogSink()
{
    return tIsInSink;
}

void writeLog(int nType, int nLevel, LogFileSink* npFile, char const* npFormat, va_list nArguments)
{
    int const lErrno = errno;
    LogTypeData lType;
    if (passesFilter(nType, nLevel, &lType) && npFormat != nullptr)
    {
        InSink const lInSink;
        LogLine(nLevel, npFile, lErrno).writeTimed(lType.mPrefix, npFormat, nArguments);
    }
    errno = lErrno;
}

void writeRawLog(int nType, int nLevel, LogFileSink* npFile, char const* npFormat, va_list nArguments)
{
    int const lErrno = errno;
    if (passesFilter(nType, nLevel, nullptr) && npFormat != nullptr)
    {
        InSink const lInSink;
        LogLine(nLevel, npFile, lErrno).writeRaw(npFormat, nArguments);
    }
    errno = lErrno;
}

} // namespace utl::internal

using namespace utl;
using namespace utl::internal;

void openApplog()
{
    openlog("Corvane", LOG_PID | LOG_CONS | LOG_NDELAY, LOG_USER);
}

void applog(int nType, int nLevel, char const* npFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, npFormat);
    writeLog(nType, nLevel, nullptr, npFormat, lArguments);
    va_end(lArguments);
}

void rawlog(int nType, int nLevel, char const* npFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, npFormat);
    writeRawLog(nType, nLevel, nullptr, npFormat, lArguments);
    va_end(lArguments);
}

bool registerLogType(int nType, char const* npPrefix, int nLevel)
{
    LogTypeData lType;
    if (copyStrBase(lType.mPrefix, TEXT_SIZE, npPrefix, STR_ALL, 0) == STR_ERROR)
    {
        return false;
    }
    lType.mFilterLevel = limitedLevel(nLevel);
    LogState& lState = logState();
    SyncGuard lGuard(lState.mTypeLock);
    return lState.mTypes.insert(nType, lType);
}

void setAllFilterLevel(int nLevel)
{
    LogState& lState = logState();
    SyncGuard lGuard(lState.mTypeLock);
    for (unsigned int lIndex = 0; lIndex < lState.mTypes.size(); ++lIndex)
    {
        lState.mTypes.at(lIndex)->mValue.mFilterLevel = limitedLevel(nLevel);
    }
}

void setFilterLevel(int nType, int nLevel)
{
    LogState& lState = logState();
    SyncGuard lGuard(lState.mTypeLock);
    if (auto* const lpEntry = lState.mTypes.find(nType))
    {
        lpEntry->mValue.mFilterLevel = limitedLevel(nLevel);
    }
}

int getFilterLevel(int nType)
{
    LogState& lState = logState();
    SyncGuard lGuard(lState.mTypeLock);
    auto const* const lpEntry = lState.mTypes.find(nType);
    return lpEntry != nullptr ? lpEntry->mValue.mFilterLevel : LOG_LEVEL_UNKNOWN_TYPE;
}

bool setLogTag(char const* npTag)
{
    LogState& lState = logState();
    SyncGuard lGuard(lState.mOutputLock);
    return copyStrBase(lState.mTag, TEXT_SIZE, npTag, STR_ALL, 0) != STR_ERROR;
}

void utl::setLogSinks(unsigned int nSinks)
{
    logState().mSinks = nSinks;
}

unsigned int utl::getLogSinks()
{
    return logState().mSinks;
}
