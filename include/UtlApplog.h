/// The application log: the library's only global functions, and the log types and levels. Layer: log.
#ifndef UTL_APPLOG_H
#define UTL_APPLOG_H

#include "UtlMacros.h"

namespace utl
{

class File;

/// The type whose prefix and filter hold for lines of every type that is not registered.
constexpr int DEFAULT_LOG_TYPE = -1;
/// The type of this library's own messages; its prefix is "<UTIL> ".
constexpr int UTL_LOG_TYPE = -2;

// Levels. Any other value that is passed in, a negative one included, counts as LOG_LEVEL_DEBUG.
constexpr int LOG_LEVEL_NONE = 0;         ///< As a filter: no line passes. As the level of a line: it is not written.
constexpr int LOG_LEVEL_ERROR = 1;        ///< "ERR: "
constexpr int LOG_LEVEL_WARNING = 2;      ///< "WRN: "
constexpr int LOG_LEVEL_INFO = 3;         ///< "INF: "
constexpr int LOG_LEVEL_DETAIL = 4;       ///< "DTL: ", the default filter
constexpr int LOG_LEVEL_DEBUG = 5;        ///< "DBG: "
constexpr int LOG_LEVEL_UNKNOWN_TYPE = 6; ///< Only a result of getFilterLevel.

// Sinks, to be added together for setLogSinks. The first three are on by default.
constexpr unsigned int LOG_SINK_SYSTEM = 1;   ///< The system log.
constexpr unsigned int LOG_SINK_OUTPUT = 2;   ///< Standard output.
constexpr unsigned int LOG_SINK_PLATFORM = 4; ///< The binary log.
constexpr unsigned int LOG_SINK_ERROR = 8;    ///< Standard error.

} // namespace utl

/// @file
/// A line has a type, an int that names a subsystem, and a level. It is written if its level is not above the
/// filter of its type. It goes to the system log (levels 1 to 3), to the caller's file if there is one, to the console,
/// which is standard output, and to the binary log (levels 1 to 3):
///
///     extern "C" void BinaryLogWrite(int, char const* npText, unsigned int nLength);
///
/// which the process may define, in itself or in one of its shared libraries; without it there is no binary log.
/// Caution: no message says that it was not found. That happens if it lacks extern "C", is hidden, or is in a library
/// that is loaded later or that the linker leaves out as not needed.
///
/// After a line of level 1 or 2 standard output is flushed, so that this line and those before it survive an abort().
/// Lines of other levels stay in the stream's buffer until that is full.
///
/// A console that accepts no data, a stopped terminal or a pipe that nobody reads, is waited for once, at most a
/// second. From then on lines are dropped at once until the console accepts data again; the first line is then
/// "<stamp> <UTIL> WRN: Console stalled, lines dropped:<count>". The other sinks get all lines.
/// Caution: that holds for a stream with the buffer that the C library gave it; a larger one can still wait in a pipe.
///
/// Threads:  any, at any moment: also from constructors and destructors of static objects, and while the process
///           exits. A line is never torn within one sink. Lines of two threads may have a different order in each
///           sink.
/// Signals:  no.
/// Forks:    the child can log, whatever other threads of the parent were doing: fork() waits until no other thread is
///           inside a sink, at most about a second.
/// Caution: what the console's buffer holds at the fork is in both processes, and is written again when the child logs
/// an error or a warning, or ends by exit(); call fflush(stdout) before fork().
/// Blocking: for a caller's file and for the binary log as long as they do; for a console at most a second. The system
///           log is a datagram to its daemon.
/// Locks:    leaves, held while the table is read, while the stamp is made and for one sink call; none while a caller's
///           file is written.
/// Caution: BinaryLogWrite is called under the log's lock: it must not wait for a thread that logs, nor call
/// ThreadManager's registration, which logs under a lock of its own.
/// Memory:   stack only, about one kilobyte.
/// Errors:   failures of a sink are ignored. errno is kept.
///
/// Caution: the system log and the console get the finished line as a format. "%%" in it, for instance from an
/// argument of "%s", appears as "%", and "%m" as the text of errno. Every other percent sign appears as it stands.

/// Opens the system log as "Corvane", with process id, console on failure, facility user. The library never calls it;
/// if the application does not either, the C library's defaults hold.
UTL_API void openApplog();

/// Writes a line: "Nov 15 08:55:34.123 <prefix of the type>ERR: <text>\r\n", the stamp in local time. The system log
/// gets it without stamp and line end. Without its line end a line has at most 253 bytes; a longer one is cut to 253
/// bytes, of which the last three are "...". A null format writes nothing.
UTL_API void applog(int nType, int nLevel, char const* npFormat, ...) UTL_PRINTF(3, 4);

/// Writes the text alone: no stamp, no prefixes, no line end. At most 255 bytes; a longer one is cut as above.
UTL_API void rawlog(int nType, int nLevel, char const* npFormat, ...) UTL_PRINTF(3, 4);

/// The same, and the line also goes to a file, before it goes to standard output. The file gets the text itself, which
/// is not read as a format once more.
/// Caution: the cut of a long line may fall inside a character. A caller's file of type UTF-16 then gets the line up to
/// there, without "..." and without a line end; log long Japanese texts in pieces.
/// npFile: not owned, neither opened, closed nor flushed; one thread at a time uses it. Null: as without a file.
UTL_SHARP_EDGE("keep lines to a UTF-16 file below 253 bytes")
UTL_API void applog(int nType, int nLevel, utl::File* npFile, char const* npFormat, ...) UTL_PRINTF(4, 5);
UTL_SHARP_EDGE("keep texts to a UTF-16 file below 256 bytes")
UTL_API void rawlog(int nType, int nLevel, utl::File* npFile, char const* npFormat, ...) UTL_PRINTF(4, 5);

/// Defines the prefix and the filter of a type, or redefines them, those of DEFAULT_LOG_TYPE and UTL_LOG_TYPE included.
///
/// npPrefix: at most 31 bytes, copied; may be empty.
/// nLevel:   the filter.
/// Result:   false for a null or a longer prefix, and for a new type if there are 64 already; nothing changes then.
/// Caution: a type cannot be removed; the process has room for 62 of its own, beside those two.
UTL_API bool registerLogType(int nType, char const* npPrefix, int nLevel);

/// Sets the filter of every type that is registered now.
UTL_API void setAllFilterLevel(int nLevel);

/// Sets the filter of one type. Nothing happens if the type is not registered.
UTL_API void setFilterLevel(int nType, int nLevel);

/// Result: the filter of the type; LOG_LEVEL_UNKNOWN_TYPE if it is not registered.
/// Caution: lines of an unregistered type follow the filter of DEFAULT_LOG_TYPE, which this does not give; ask for
/// that.
UTL_API int getFilterLevel(int nType);

/// Stores a copy of a text that only a debugger shows; no line has it.
/// Result: false for null and for more than 31 bytes; the former tag stays.
UTL_API bool setLogTag(char const* npTag);

namespace utl
{

/// Chooses the sinks of all lines that begin after this call. Callers' files get their lines in any case.
/// nSinks: a sum of LOG_SINK_..., or 0 for none. A program that needs its standard output for results passes
///         LOG_SINK_SYSTEM + LOG_SINK_ERROR.
UTL_API void setLogSinks(unsigned int nSinks);

/// Result: the sinks that are on.
UTL_API unsigned int getLogSinks();

} // namespace utl

#endif
