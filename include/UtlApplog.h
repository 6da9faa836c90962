/// The application log: the library's only global functions, and the log types and levels. Layer: log.
#ifndef UTL_APPLOG_H
#define UTL_APPLOG_H

#include "UtlMacros.h"

namespace utl
{

class File;

/// Stands in for every type that nobody registered.
constexpr int DEFAULT_LOG_TYPE = -1;
/// The type of this library's own messages; its prefix is "<UTIL> ".
constexpr int UTL_LOG_TYPE = -2;

// Levels. Any other value that is passed in, a negative one included, counts as LOG_LEVEL_DEBUG.
constexpr int LOG_LEVEL_NONE = 0;         ///< As a filter: nothing passes. As the level of a line: it is not written.
constexpr int LOG_LEVEL_ERROR = 1;        ///< "ERR: "
constexpr int LOG_LEVEL_WARNING = 2;      ///< "WRN: "
constexpr int LOG_LEVEL_INFO = 3;         ///< "INF: "
constexpr int LOG_LEVEL_DETAIL = 4;       ///< "DTL: ", the filter of a type by default
constexpr int LOG_LEVEL_DEBUG = 5;        ///< "DBG: "
constexpr int LOG_LEVEL_UNKNOWN_TYPE = 6; ///< Only an answer of getFilterLevel.

// Sinks, added up for setLogSinks. The first three are on by default.
constexpr unsigned int LOG_SINK_SYSTEM = 1;   ///< The system log.
constexpr unsigned int LOG_SINK_OUTPUT = 2;   ///< Standard output.
constexpr unsigned int LOG_SINK_PLATFORM = 4; ///< The binary log.
constexpr unsigned int LOG_SINK_ERROR = 8;    ///< Standard error.

} // namespace utl

/// @file
/// A line names a type, an int that stands for a subsystem, and a level. It is written if its level is not above the
/// filter of its type. It goes to the system log (levels 1 to 3), to the caller's file if there is one, to the console,
/// which is standard output, and to the binary log (levels 1 to 3):
///
///     extern "C" void BinaryLogWrite(int, char const* npText, unsigned int nLength);
///
/// which the process may define, in itself or in one of its shared libraries; without it there is no binary log.
/// Caution: nothing says so if it is not found: without extern "C", if it is hidden, or in a library that is loaded
/// later or that the linker leaves out as not needed.
///
/// Levels 1 and 2 are on their way when the call returns: standard output is flushed behind them, so that they, and
/// what came before, survive an abort(). Lines of other levels stay in the stream's buffer until that is full.
///
/// A console that takes nothing, a stopped terminal or a pipe that nobody reads, is waited for once, at most a second.
/// After that, lines are dropped at once, until the console takes something again; then
/// "<stamp> <UTIL> WRN: Console stalled, lines dropped:<count>" comes first. Other sinks get their lines all the same.
/// Caution: that holds for a stream with the buffer that the C library gave it; a larger one can still wait in a pipe.
///
/// Threads:  any, at any moment: also from constructors and destructors of static objects, and while the process
///           exits. A line is never torn within one sink, but lines of two threads may come in a different order in
///           two sinks.
/// Signals:  no.
/// Forks:    the child logs on, whatever threads of the parent were doing. To that end fork() waits until no other
///           thread is inside a sink, at most about a second.
/// Caution: what the console's buffer holds at the fork is in both processes, and comes out again when the child logs
/// an error or a warning, or ends by exit(); call fflush(stdout) before fork().
/// Blocking: for a caller's file and the binary log as long as they do; for a console at most a second. The system log
///           is a datagram to its daemon. Locks: leaves, held for the look at the table, for the stamp and for one sink
///           call; none while a caller's file is written.
/// Caution: BinaryLogWrite is called under the log's lock: it must not wait for a thread that logs, nor call
/// ThreadManager's registration, which logs under a lock of its own.
/// Memory:   stack only, about one kilobyte.
/// Errors:   what a sink makes of a line is not looked at. errno is kept.
///
/// Caution: the system log and the console get the finished line as a format. "%%" in it, for instance from an
/// argument of "%s", appears as "%", and "%m" as the text of errno. Every other percent sign appears as it stands.

/// Opens the system log as "Corvane", with process id, console on failure, facility user. Without it the C library's
/// defaults hold. The library never calls it.
UTL_API void openApplog();

/// Writes a stamped line: "Nov 15 08:55:34.123 <prefix of the type>ERR: <text>\r\n", local time. The system log gets
/// prefixes and text only. Up to the line end it has at most 253 bytes; a longer one is cut to that, its last three
/// being "...". A null format writes nothing.
UTL_API void applog(int nType, int nLevel, char const* npFormat, ...) UTL_PRINTF(3, 4);

/// Writes the text alone: no stamp, no prefixes, no line end. At most 255 bytes; a longer one is cut as above.
UTL_API void rawlog(int nType, int nLevel, char const* npFormat, ...) UTL_PRINTF(3, 4);

/// The same two, which also write to a file as text, before it goes to standard output, the same bytes but for the
/// percent signs of the caution above.
/// Caution: the cut of a long line may fall inside a character. A caller's file of type UTF-16 then gets the line up to
/// there, without "..." and without a line end; log long Japanese texts in pieces.
/// npFile: not owned, neither opened, closed nor flushed; one thread at a time uses it. Null: as without it.
UTL_SHARP_EDGE("keep lines to a UTF-16 file below 253 bytes")
UTL_API void applog(int nType, int nLevel, utl::File* npFile, char const* npFormat, ...) UTL_PRINTF(4, 5);
UTL_SHARP_EDGE("keep texts to a UTF-16 file below 256 bytes")
UTL_API void rawlog(int nType, int nLevel, utl::File* npFile, char const* npFormat, ...) UTL_PRINTF(4, 5);

/// Defines a type, or redefines it, the two above included: prefix and filter.
///
/// npPrefix: at most 31 bytes, copied; may be empty.
/// Result:   false for a null or a longer prefix, and for a new type when there are 64; nothing changes then.
/// Caution: types cannot be taken out again: with the two above there is room for 62, for the life of the process.
UTL_API bool registerLogType(int nType, char const* npPrefix, int nLevel);

/// Sets the filter of every type known now.
UTL_API void setAllFilterLevel(int nLevel);

/// Sets the filter of one type; an unknown one changes nothing.
UTL_API void setFilterLevel(int nType, int nLevel);

/// Result: the filter of the type, LOG_LEVEL_UNKNOWN_TYPE if it is unknown.
/// Caution: lines of an unknown type follow the filter of DEFAULT_LOG_TYPE, which this does not tell; ask for that.
UTL_API int getFilterLevel(int nType);

/// Stores a copy of a text, for the eyes of a debugger: no line shows it.
/// Result: false for null and for more than 31 bytes; the former tag stays.
UTL_API bool setLogTag(char const* npTag);

namespace utl
{

/// Chooses the sinks of all lines that begin after this, a sum of LOG_SINK_...; 0 leaves the callers' files alone. For
/// instance LOG_SINK_SYSTEM + LOG_SINK_ERROR in a program that needs its standard output for results.
UTL_API void setLogSinks(unsigned int nSinks);

/// Result: the sinks that are on.
UTL_API unsigned int getLogSinks();

} // namespace utl

#endif
