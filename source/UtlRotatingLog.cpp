// RotatingLog: writing lines, each under its own lock of the file, and renaming full files.
#include "UtlRotatingLog.h"

#include "UtlApplog.h"
#include "internal/base/UtlLogFileSink.h"
#include "internal/file/UtlFileCalls.h"
#include "internal/file/UtlLineOutput.h"
#include "internal/file/UtlReadAhead.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

/// One call of gSystem between two reports to the watchdog.
#define UTL_ROTATING_CALL(FUNCTION, CALL)                                                                              \
    ::utl::internal::blockingCall("source/UtlRotatingLog", FUNCTION, __LINE__,                                         \
                                  [&] { return ::utl::internal::gSystem.CALL; })

namespace utl
{

namespace
{

using internal::gSystem;

constexpr int MISSES_MAX = 10;  // tries if others remove or rename the file while it is opened
constexpr int TRIES_MAX = 1000; // tries to get the lock from another writer, with pauses of a tenth of a millisecond

/// The path of an old file; number 0 is the file itself. Result: false if it is too long.
bool nameOf(char (&nName)[FILE_PATH_MAX], char const* npPath, unsigned int nNumber)
{
    int const lLength = nNumber == 0 ? std::snprintf(nName, sizeof(nName), "%s", npPath)
                                     : std::snprintf(nName, sizeof(nName), "%s.%u", npPath, nNumber);
    return lLength > 0 && lLength < static_cast<int>(sizeof(nName));
}

/// The first number that is free for an old file; nMax, whose file is then replaced, if there is none below it.
unsigned int lastNumber(char const* npPath, unsigned int nMax)
{
    char lName[FILE_PATH_MAX];
    struct stat lStat = {};
    unsigned int lNumber = 1;
    while (lNumber < nMax && nameOf(lName, npPath, lNumber) && (gSystem.mStat(lName, &lStat) == 0 || errno != ENOENT))
    {
        ++lNumber;
    }
    return lNumber;
}

/// Opens the directory of a path. Result: -1 with errno if the system refuses.
int openDirectory(char const* npPath)
{
    char lDirectory[FILE_PATH_MAX] = {};
    File::extractDirectoryPath(lDirectory, FILE_PATH_MAX, npPath);
    char const* const lpDirectory = *lDirectory != 0 ? lDirectory : *npPath == '/' ? "/" : ".";
    return UTL_ROTATING_CALL("rotate", mOpen(lpDirectory, O_RDONLY | O_DIRECTORY, 0));
}

/// Locks a directory against others who rename files, until it is closed. Result: false with errno.
bool holdDirectory(int nHandle)
{
    for (int lTry = 0; lTry < TRIES_MAX; ++lTry)
    {
        if (gSystem.mFlock(nHandle, LOCK_EX | LOCK_NB) == 0)
        {
            return true;
        }
        internal::pauseBriefly();
    }
    errno = EWOULDBLOCK;
    return false;
}

} // namespace

RotatingLog::RotatingLog(char const* npPath, int nTextType, unsigned long long nMaxBytes, unsigned int nOldFiles,
                         int nMode)
    : mPath(internal::normalisedPath(npPath)),
      mTextType(nTextType),
      mMaxBytes(nMaxBytes),
      mOldFiles(nOldFiles),
      mMode(nMode)
{
}

RotatingLog::~RotatingLog()
{
    SyncGuard const lGuard(mSyncObject);
    syncLocked();
    closeLocked();
}

// --- The file ---

/// Opens the file, or creates it. Result: false with errno.
bool RotatingLog::openLocked()
{
    constexpr int FLAGS = O_WRONLY | O_APPEND | O_NONBLOCK; // does not wait for the reader of a FIFO
    char const* const lpPath = mPath.c_str();
    closeLocked();
    errno = EINVAL;
    if (*lpPath == 0 || !internal::isValidPath(lpPath) || !internal::makeParents(lpPath))
    {
        return false;
    }
    internal::OpenParent const lParent(lpPath);
    mForks = internal::gForks.load(std::memory_order_relaxed);
    bool const lHasMode = mMode != -1 || internal::opensUp();
    mode_t const lMode = mMode != -1 ? static_cast<mode_t>(mMode) : internal::opensUp() ? 0777 : 0666;
    mHandle = UTL_ROTATING_CALL("open", mOpen(lpPath, FLAGS | O_CREAT | O_EXCL, lMode));
    if (mHandle != -1)
    {
        if (lHasMode && UTL_ROTATING_CALL("open", mChmod(lpPath, lMode)) != 0)
        {
            int const lError = errno;
            UTL_ROTATING_CALL("open", mUnlink(lpPath));
            errno = lError;
            return false;
        }
        mIsDoubtful = !internal::syncParent(lpPath) || mIsDoubtful; // also for the renames before it
        return identifyLocked();
    }
    mHandle = errno == EEXIST ? UTL_ROTATING_CALL("open", mOpen(lpPath, FLAGS, 0)) : -1;
    return mHandle != -1 && identifyLocked();
}

/// Notes which file is open. Result: false for a file that must not be written.
bool RotatingLog::identifyLocked()
{
    struct stat lStat = {};
    int const lHandle = mHandle;
    if (UTL_ROTATING_CALL("open", mFstat(lHandle, &lStat)) != 0)
    {
        return false;
    }
    mDevice = lStat.st_dev;
    mInode = lStat.st_ino;
    errno = EACCES;
    return S_ISREG(lStat.st_mode) && (lStat.st_mode & S_IWUSR) != 0;
}

/// Whether the path still names the file that is open; if so, notes its size.
bool RotatingLog::isCurrentLocked()
{
    struct stat lStat = {};
    if (gSystem.mStat(mPath.c_str(), &lStat) != 0 || lStat.st_dev != mDevice || lStat.st_ino != mInode)
    {
        return false;
    }
    mSize = static_cast<unsigned long long>(lStat.st_size);
    return true;
}

/// Takes a writer's lock, or a reader's if there are readers: bytes that one call appends do not mix with others.
bool RotatingLog::flockLocked()
{
    mIsAlone = gSystem.mFlock(mHandle, LOCK_EX | LOCK_NB) == 0;
    return mIsAlone || gSystem.mFlock(mHandle, LOCK_SH | LOCK_NB) == 0;
}

/// Opens the file if necessary, and locks it. Result: false with errno.
bool RotatingLog::acquireLocked()
{
    int const lTries = mIsHeld ? 2 : TRIES_MAX; // another writer is waited for only once
    int lMisses = 0;
    mIsHeld = false;
    for (int lTry = 0; lTry < lTries; ++lTry)
    {
        bool const lIsOpen = mHandle != -1 && mForks == internal::gForks.load(std::memory_order_relaxed);
        if (!lIsOpen && !openLocked())
        {
            int const lError = errno;
            closeLocked();
            if (lError == ENOENT && ++lMisses < MISSES_MAX)
            {
                continue;
            }
            errno = lError;
            return false;
        }
        if (!flockLocked())
        {
            internal::pauseBriefly();
        }
        else if (isCurrentLocked())
        {
            return true;
        }
        else
        {
            syncLocked();
            closeLocked(); // another writer has renamed it, or somebody moved it
        }
    }
    mIsHeld = true;
    errno = EWOULDBLOCK;
    return false;
}

bool RotatingLog::syncLocked()
{
    int const lHandle = mHandle;
    bool const lIsSynced = lHandle == -1 || UTL_ROTATING_CALL("sync", mFsync(lHandle)) == 0;
    mIsUnsynced = mIsUnsynced && !lIsSynced;
    return lIsSynced;
}

void RotatingLog::closeLocked()
{
    int const lHandle = mHandle;
    if (lHandle != -1)
    {
        UTL_ROTATING_CALL("close", mClose(lHandle)); // releases its lock, too
        mHandle = -1;
        mIsDoubtful = mIsDoubtful || mIsUnsynced;
        mIsUnsynced = false;
    }
}

// --- The change of files. The file is locked ---

/// Renames the file and the old files to the next number. Result: false with errno if the file itself stays.
bool RotatingLog::renameLocked()
{
    char lOld[FILE_PATH_MAX];
    char lNew[FILE_PATH_MAX];
    errno = ENAMETOOLONG;
    if (!nameOf(lNew, mPath.c_str(), mOldFiles))
    {
        return false;
    }
    if (mOldFiles == 0)
    {
        return UTL_ROTATING_CALL("rotate", mUnlink(lNew)) == 0;
    }
    bool lIsMoved = false;
    for (unsigned int lNumber = lastNumber(mPath.c_str(), mOldFiles); lNumber != 0; --lNumber)
    {
        nameOf(lOld, mPath.c_str(), lNumber - 1);
        nameOf(lNew, mPath.c_str(), lNumber);
        lIsMoved = UTL_ROTATING_CALL("rotate", mRename(lOld, lNew)) == 0; // some may not exist yet
        if (!lIsMoved && errno != ENOENT)
        {
            break; // so that no other file is overwritten
        }
    }
    return lIsMoved;
}

/// Whether so many more bytes fit into the file. An empty file takes any number.
bool RotatingLog::fitsLocked(unsigned long long nSize) const
{
    return mSize == 0 || (mSize <= mMaxBytes && nSize <= mMaxBytes - mSize);
}

/// Changes files unless another writer just did: if a reader has the file open, two writers may have come here, each
/// with the lock of a reader. Result: false with errno if the file stays.
bool RotatingLog::changeLocked()
{
    internal::OpenParent const lParent(mPath.c_str());
    internal::ScopedHandle const lDirectory(openDirectory(mPath.c_str()));
    bool const lIsHeld = lDirectory.get() != -1 ? holdDirectory(lDirectory.get())
                                                : errno == EACCES; // may be written but not read: goes on without
    if (!lIsHeld)
    {
        return false;
    }
    return !isCurrentLocked() || renameLocked();
}

/// Result: false with errno if no file is locked any more. A file that cannot be renamed is written further. nIsMoved:
/// whether the path names another file now.
bool RotatingLog::rotateLocked(bool& nIsMoved)
{
    nIsMoved = changeLocked();
    bool const lIsNews = !nIsMoved && !mIsStuck;
    mIsStuck = !nIsMoved;
    if (lIsNews)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "RotatingLog rename Failed. errno[%d] Path:%s", errno, mPath.c_str());
    }
    if (!nIsMoved)
    {
        return true;
    }
    syncLocked();
    closeLocked();
    return acquireLocked();
}

// --- Lines ---

bool RotatingLog::beginLocked(unsigned long long nSize)
{
    bool lIsMoved = true;
    bool lIsLocked = acquireLocked();
    while (lIsLocked && lIsMoved && !fitsLocked(nSize))
    {
        lIsLocked = rotateLocked(lIsMoved); // the new file may be full of another writer's lines again
    }
    return lIsLocked;
}

/// Result: false with errno if not all bytes were written.
bool RotatingLog::appendLocked(void const* npBytes, unsigned int nSize)
{
    int const lHandle = mHandle;
    char const* lpBytes = static_cast<char const*>(npBytes);
    mIsUnsynced = true;
    while (nSize != 0)
    {
        ssize_t const lCount =
            internal::retryOnSignal([&] { return UTL_ROTATING_CALL("write", mWrite(lHandle, lpBytes, nSize)); });
        if (lCount <= 0)
        {
            errno = lCount == 0 ? ENOSPC : errno;
            return false;
        }
        lpBytes += lCount;
        nSize -= static_cast<unsigned int>(lCount);
    }
    return true;
}

/// Removes an incomplete line, and unlocks. Keeps errno.
void RotatingLog::endLocked(bool nIsWhole)
{
    int const lError = errno;
    int const lHandle = mHandle;
    off_t const lSize = static_cast<off_t>(mSize);
    if (lHandle != -1)
    {
        if (!nIsWhole && mIsAlone)
        {
            UTL_ROTATING_CALL("write", mFtruncate(lHandle, lSize));
        }
        gSystem.mFlock(lHandle, LOCK_UN);
    }
    errno = lError;
}

void RotatingLog::noteLocked(bool nIsWritten, int nError)
{
    if (!nIsWritten && !mIsFailing)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "RotatingLog write Failed. errno[%d] Path:%s", nError, mPath.c_str());
    }
    if (nIsWritten && mIsFailing)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_WARNING, "RotatingLog lines lost:%llu Path:%s", mLost, mPath.c_str());
    }
    mLost += nIsWritten ? 0 : 1;
    mIsFailing = !nIsWritten;
}

LineWritten RotatingLog::write(std::string_view nText, std::string_view nEol)
{
    SyncGuard const lGuard(mSyncObject);
    internal::LineOutput lOutput(mTextType);
    constexpr std::size_t SURE_MAX = internal::LineOutput::CAPACITY / internal::LineOutput::GROWTH_MAX;
    bool const lFits = nText.size() <= SURE_MAX && nEol.size() <= SURE_MAX - nText.size();
    unsigned long long const lSize = lFits ? 0 : lOutput.sizeOf(nText, nEol);
    bool lIsBegun = false;
    bool lIsLocked = false;
    errno = EINVAL;
    // Called under the lock above, which the analysis does not see inside a lambda.
    auto const lSink = [&](void const* npBytes, unsigned int nSize) UTL_NO_THREAD_SAFETY_ANALYSIS
    {
        if (!lIsBegun)
        {
            lIsBegun = true;
            lIsLocked = beginLocked(std::max<unsigned long long>(lSize, nSize));
        }
        return lIsLocked && appendLocked(npBytes, nSize);
    };
    LineWritten const lWritten = lOutput.write(nText, nEol, lSink);
    int const lError = errno;
    bool const lIsWhole = lWritten != LineWritten::FAILED;
    if (lIsLocked)
    {
        endLocked(lIsWhole);
    }
    noteLocked(lIsWhole, lError);
    return lWritten;
}

bool RotatingLog::rotate()
{
    SyncGuard const lGuard(mSyncObject);
    if (!acquireLocked())
    {
        return false;
    }
    bool lIsNew = mSize == 0;
    bool const lIsLocked = lIsNew || rotateLocked(lIsNew);
    endLocked(true);
    return lIsLocked && lIsNew;
}

bool RotatingLog::sync()
{
    SyncGuard const lGuard(mSyncObject);
    bool const lIsDone = syncLocked() && !mIsDoubtful;
    mIsDoubtful = false;
    return lIsDone;
}

unsigned long long RotatingLog::lostCount() const
{
    SyncGuard const lGuard(mSyncObject);
    return mLost;
}

} // namespace utl

namespace
{

class RotatingSink final : public utl::internal::LogFileSink
{
public:
    explicit RotatingSink(utl::RotatingLog& nLog)
        : mLog(nLog)
    {
    }

    void write(char const* npText) override
    {
        [[maybe_unused]] utl::LineWritten const lIgnored = mLog.write(npText, "");
    }

private:
    utl::RotatingLog& mLog;
};

} // namespace

void applog(int nType, int nLevel, utl::RotatingLog& nLog, char const* npFormat, ...)
{
    RotatingSink lSink(nLog);
    va_list lArguments;
    va_start(lArguments, npFormat);
    utl::internal::writeLog(nType, nLevel, &lSink, npFormat, lArguments);
    va_end(lArguments);
}

void rawlog(int nType, int nLevel, utl::RotatingLog& nLog, char const* npFormat, ...)
{
    RotatingSink lSink(nLog);
    va_list lArguments;
    va_start(lArguments, npFormat);
    utl::internal::writeRawLog(nType, nLevel, &lSink, npFormat, lArguments);
    va_end(lArguments);
}
