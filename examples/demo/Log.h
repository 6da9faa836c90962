/// What the program logs, on standard output and in a file.
#ifndef DEMO_LOG_H
#define DEMO_LOG_H

#include <UtlFile.h>
#include <UtlSyncObject.h>

namespace demo
{

/// Writes lines of the type "utlDemo: " by applog(), and to a file if the user wants one. When that is full it
/// is renamed to "FILE.old", replacing the one before, and a new one begins: a log must not fill the disk.
///
/// Threads: any; a File is used by one at a time, so there is a lock.
class Log
{
public:
    static constexpr long long MAX_FILE_BYTES = 65536;

    /// npPath: of the file; null for none.
    explicit Log(char const* npPath);

    /// Opens the file at its end. Result: null for success and without a file, otherwise the reason.
    char const* open();

    /// nLevel: utl::LOG_LEVEL_.... Up to LOG_LEVEL_INFO it also goes to the system log.
    void write(int nLevel, char const* npFormat, ...) UTL_PRINTF(3, 4);

    /// Tells the user on stderr, and also writes to the log file.
    void complain(char const* npFormat, ...) UTL_PRINTF(2, 3);

private:
    void makeRoomLocked() UTL_REQUIRES(mSyncObject);

    bool const mHasFile;
    utl::SyncObject mSyncObject;
    utl::File mFile UTL_GUARDED_BY(mSyncObject);
};

} // namespace demo

#endif
