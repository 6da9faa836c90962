/// A log in files of limited size and number. Layer: log to a file.
#ifndef UTL_ROTATING_LOG_H
#define UTL_ROTATING_LOG_H

#include "UtlBasicString.h"
#include "UtlLines.h"
#include "UtlMacros.h"
#include "UtlSyncObject.h"

#include <string_view>

namespace utl
{

/// Appends lines to a file. When a line would make the file too large, the file is renamed to "<path>.1", the former
/// "<path>.1" to "<path>.2", and so on; the oldest is removed, and the line begins a new file.
///
///     utl::RotatingLog lLog("log/app.txt", utl::FILE_TEXT_UTF8, 1 << 20, 5);
///     (void)lLog.write("started");
///     applog(MY_TYPE, utl::LOG_LEVEL_INFO, lLog, "%u cards read", lCards);
///
/// Readers: the file is locked only while a line is written, so File::open() for reading fails at worst for a moment. A
///          reader who keeps the file open delays neither lines nor the renaming; it goes on with the file that it has.
///          A line is in one file, and is written as a whole if it has up to FILE_TEXT_CHUNK_MAX bytes.
/// Writers: other objects, also in other processes, can write the same file if they are made with the same size and
///          number. If somebody else keeps the file open for writing with File, a line waits for a fraction of a second
///          and is then lost, and so are the lines after it. The directory is locked with flock() during the renaming.
/// Others:  if somebody moved or removed the file, a new one is made.
/// Failure: lost lines are counted. The log tells of the first one and, once a line is written again, of their number.
///          A line of which only a part could be written is removed again, unless a reader has the file open.
/// Medium:  a full file is synced before it is renamed, and the line that does not fit waits for that. The destructor
///          syncs, too.
/// Encoding: that of the text type, without a byte-order mark; replacements are those of writeLine().
/// Threads: any.
/// Locks:   one of its own, held while a line is written, above the watchdog's and the log's.
/// Signals: no.
/// Forks:   each process opens the file for itself, with its next line. The child must not use an object to which
///          another thread of the parent was writing.
/// Blocking: as long as the device does, between two reports to the watchdog, and for other writers as told above.
class UTL_API RotatingLog
{
public:
    /// Opens nothing: the first line creates the file, and the directories that are missing.
    ///
    /// npPath:    copied; with the ending ".1" and so on, fewer than FILE_PATH_MAX bytes.
    /// nTextType: FILE_TEXT_...; with any other number every line is lost.
    /// nMaxBytes: the most bytes in a file. A longer line gets a file of its own; with 0 every line does.
    /// nOldFiles: how many renamed files are kept; with 0 a full file is removed.
    /// nMode:     the mode of files that are created, up to 07777; -1 for what File::setModes() tells.
    RotatingLog(char const* npPath, int nTextType, unsigned long long nMaxBytes, unsigned int nOldFiles,
                int nMode = -1);
    RotatingLog(RotatingLog const&) = delete;
    RotatingLog& operator=(RotatingLog const&) = delete;
    virtual ~RotatingLog(); ///< Syncs and closes.

    /// Appends a line. nText: UTF-8. nEol: the line end, "" for none. Result: FAILED for a line that is lost.
    LineWritten write(std::string_view nText, std::string_view nEol = "\n");

    /// Begins a new file now, unless this one is empty. Result: false if that failed.
    bool rotate();

    /// Waits until all lines of this object are on the medium. Result: false, once, if some of them may not be there.
    bool sync();

    unsigned long long lostCount() const; ///< The number of lines lost so far.

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
    unsigned int mForks UTL_GUARDED_BY(mSyncObject) = 0;        // how many there had been when the file was opened
    unsigned long long mDevice UTL_GUARDED_BY(mSyncObject) = 0; // with mInode: the file that is open
    unsigned long long mInode UTL_GUARDED_BY(mSyncObject) = 0;
    unsigned long long mSize UTL_GUARDED_BY(mSyncObject) = 0; // bytes in the file before the line
    bool mIsAlone UTL_GUARDED_BY(mSyncObject) = false;        // no reader has it open
    bool mIsFailing UTL_GUARDED_BY(mSyncObject) = false;      // the last line was lost
    bool mIsHeld UTL_GUARDED_BY(mSyncObject) = false;         // another writer was waited for in vain
    bool mIsStuck UTL_GUARDED_BY(mSyncObject) = false;        // the last change of files failed, and the log knows
    bool mIsUnsynced UTL_GUARDED_BY(mSyncObject) = false;     // the open file has lines that were not synced
    bool mIsDoubtful UTL_GUARDED_BY(mSyncObject) = false;     // something was left unsynced since the last sync()
    unsigned long long mLost UTL_GUARDED_BY(mSyncObject) = 0;
};

} // namespace utl

/// Writes a line as applog() of UtlApplog.h does, and also to this log. If the line is too long and is cut inside a
/// character, the log gets U+FFFD for the rest of that. Safety: that of RotatingLog and of UtlApplog.h.
UTL_API void applog(int nType, int nLevel, utl::RotatingLog& nLog, char const* npFormat, ...) UTL_PRINTF(4, 5);
/// Writes the text alone, as rawlog() does, and also to this log. Safety: the same.
UTL_API void rawlog(int nType, int nLevel, utl::RotatingLog& nLog, char const* npFormat, ...) UTL_PRINTF(4, 5);

#endif
