/// A log file that begins anew when it is full, beside its predecessors. Layer: log to a file.
#ifndef UTL_ROTATING_LOG_H
#define UTL_ROTATING_LOG_H

#include "UtlBasicString.h"
#include "UtlLines.h"
#include "UtlMacros.h"
#include "UtlSyncObject.h"

#include <string_view>

namespace utl
{

/// Appends lines to a file. Before the file would grow past its size it becomes "<path>.1", what was "<path>.1" becomes
/// "<path>.2", and so on; the oldest goes.
///
///     utl::RotatingLog lLog("log/app.txt", utl::FILE_TEXT_UTF8, 1 << 20, 5);
///     lLog.write("started");
///     applog(MY_TYPE, utl::LOG_LEVEL_INFO, lLog, "%u cards read", lCards);
///
/// Readers: the file is locked only while a line is written, so that others can open() it and look, and at worst try
///          once more. A reader who keeps it open does not hold up lines or the change of files; it goes on in the file
///          that it has. A line is in one file, and there as a whole if its size is up to FILE_TEXT_CHUNK_MAX.
/// Writers: other objects, in other processes too, can write the same file if they name the same size and number. Who
///          keeps it open for writing with File makes a line wait, for a fraction of a second; it and those behind it
///          are lost. The directory is locked with flock() while files change.
/// Others:  a file that somebody moved or removed is made anew.
/// Failure: lost lines are counted, and the log tells of the first and, when lines get through again, of the number. A
///          line that fails half-way is taken out again, unless a reader has the file open.
/// Medium:  a file is synced before it is left, here and at the change; the line that meets the change waits for that.
/// Encoding: that of the text type, without a byte-order mark; replacements are those of writeLine().
/// Threads: any. Locks: one of its own, held while a line is written, above the watchdog's and the log's.
/// Signals: no.
/// Forks:   each process opens the file for itself, with its next line. The child must not use an object that another
///          thread of the parent was writing to.
/// Blocking: as long as the device does, between two reports to the watchdog, and for other writers as told.
class UTL_API RotatingLog
{
public:
    /// Does nothing yet: the first line makes the file, and the directories that are missing.
    ///
    /// npPath:    copied; with the ending, fewer than FILE_PATH_MAX bytes.
    /// nMaxBytes: of a file. A longer line gets a file of its own.
    /// nOldFiles: how many are kept; with 0 a full file is removed.
    /// nMode:     of files that are made, up to 07777; -1 for what setModes() tells.
    RotatingLog(char const* npPath, int nTextType, unsigned long long nMaxBytes, unsigned int nOldFiles,
                int nMode = -1);
    RotatingLog(RotatingLog const&) = delete;
    RotatingLog& operator=(RotatingLog const&) = delete;
    virtual ~RotatingLog(); ///< Syncs and closes.

    /// Appends UTF-8 and a line end; "" for none. Result: FAILED for a line that is lost.
    LineWritten write(std::string_view nText, std::string_view nEol = "\n");

    bool rotate(); ///< Begins a new file now, unless this one is empty. Result: false if that failed.
    bool
    sync(); ///< All lines of this object are on the medium. Result: false if they are perhaps not, which is told once.
    unsigned long long lostCount() const; ///< Lines that were lost so far.

private:
    bool acquireLocked() UTL_REQUIRES(mSyncObject);
    bool openLocked() UTL_REQUIRES(mSyncObject);
    bool identifyLocked() UTL_REQUIRES(mSyncObject);
    bool isCurrentLocked() UTL_REQUIRES(mSyncObject);
    bool flockLocked() UTL_REQUIRES(mSyncObject);
    bool beginLocked(unsigned long long nSize) UTL_REQUIRES(mSyncObject);
    bool appendLocked(void const* npBytes, unsigned int nSize) UTL_REQUIRES(mSyncObject);
    void endLocked(bool nIsWhole) UTL_REQUIRES(mSyncObject);
    bool rotateLocked(bool& nIsMoved) UTL_REQUIRES(mSyncObject);
    bool fitsLocked(unsigned long long nSize) const UTL_REQUIRES(mSyncObject);
    bool changeLocked() UTL_REQUIRES(mSyncObject);
    bool renameLocked() UTL_REQUIRES(mSyncObject);
    bool syncLocked() UTL_REQUIRES(mSyncObject);
    void closeLocked() UTL_REQUIRES(mSyncObject);
    void noteLocked(bool nIsWritten, int nError) UTL_REQUIRES(mSyncObject);

    // Constant.
    BasicString<char> const mPath;
    int const mTextType;
    unsigned long long const mMaxBytes;
    unsigned int const mOldFiles;
    int const mMode;

    SyncObject mSyncObject;
    int mHandle UTL_GUARDED_BY(mSyncObject) = -1;
    unsigned int mForks UTL_GUARDED_BY(mSyncObject) = 0;        // there had been when it was opened
    unsigned long long mDevice UTL_GUARDED_BY(mSyncObject) = 0; // the file that is open
    unsigned long long mInode UTL_GUARDED_BY(mSyncObject) = 0;
    unsigned long long mSize UTL_GUARDED_BY(mSyncObject) = 0; // of the file before the line
    bool mIsAlone UTL_GUARDED_BY(mSyncObject) = false;        // no reader has it open
    bool mIsFailing UTL_GUARDED_BY(mSyncObject) = false;      // the last line was lost
    bool mIsHeld UTL_GUARDED_BY(mSyncObject) = false;         // another writer was waited for in vain
    bool mIsStuck UTL_GUARDED_BY(mSyncObject) = false;        // the last change of files failed, and the log knows
    bool mIsUnsynced UTL_GUARDED_BY(mSyncObject) = false;     // lines in the open file
    bool mIsDoubtful UTL_GUARDED_BY(mSyncObject) = false;     // something was left unsynced since the last sync()
    unsigned long long mLost UTL_GUARDED_BY(mSyncObject) = 0;
};

} // namespace utl

/// Writes a stamped line as applog() of UtlApplog.h does, to this file too, from any thread. A character that the cut
/// of a long line cuts off becomes U+FFFD. Safety: that of RotatingLog and of UtlApplog.h.
UTL_API void applog(int nType, int nLevel, utl::RotatingLog& nLog, char const* npFormat, ...) UTL_PRINTF(4, 5);
/// Writes the text alone, as rawlog() does, to this file too. Safety: the same.
UTL_API void rawlog(int nType, int nLevel, utl::RotatingLog& nLog, char const* npFormat, ...) UTL_PRINTF(4, 5);

#endif
