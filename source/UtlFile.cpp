// An open file: opening, reading, writing, seeking, locking, closing.
#include "UtlFile.h"

#include "UtlApplog.h"
#include "internal/file/UtlFileCalls.h"
#include "internal/file/UtlReadAhead.h"

#include <cerrno>
#include <climits>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace utl
{

namespace internal
{

long long fileSize(int nHandle)
{
    struct stat lStat = {};
    if (UTL_FILE_CALL("fileSize", mFstat(nHandle, &lStat)) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "fstat Failed. errno[%d]", errno);
        return -1;
    }
    return lStat.st_size;
}

long long openFileSize(int nHandle, BasicString<char> const& nPath)
{
    long long const lSize = fileSize(nHandle);
    if (lSize == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "fileSize Failed. Path:%s", nPath.c_str());
    }
    return lSize;
}

namespace
{

// The length of a file that is to be read; -1 with a line in the log.
long long sizeToRead(int nHandle, BasicString<char> const& nPath)
{
    long long const lSize = openFileSize(nHandle, nPath);
    if (lSize == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in read func now size func error");
    }
    return lSize;
}

// The result of a read, with its lines in the log.
int resultOfRead(ssize_t nCount, BasicString<char> const& nPath)
{
    if (nCount == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "ReadFile Failed. errno[%d]", errno);
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in read func readFile Failed. Path:%s", nPath.c_str());
    }
    return static_cast<int>(nCount);
}

} // namespace

int readFileAt(int nHandle, BasicString<char> const& nPath, void* npBuffer, unsigned int nSize, long long nPosition)
{
    long long const lFileSize = sizeToRead(nHandle, nPath);
    if (lFileSize <= nPosition)
    {
        return lFileSize == -1 ? FILE_READ_ERROR : FILE_READ_END;
    }
    return resultOfRead(gSystem.mPread(nHandle, npBuffer, nSize, nPosition), nPath);
}

long long seekFile(int nHandle, long long nOffset, int nWhence)
{
    long long const lPosition = UTL_FILE_CALL("seekFile", mLseek(nHandle, nOffset, nWhence));
    if (lPosition == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "lseek64 Failed. errno[%d]", errno);
    }
    return lPosition;
}

} // namespace internal

namespace
{

using internal::fileSize;
using internal::isOpenHandle;
using internal::opensUp;
using internal::seekFile;

/// Creates the missing directories for a file that is to be written. Result: false if the file cannot be opened.
bool isReadyToOpen(char const* npPath, int nOpenMode, int nAccessMode, bool& nExists)
{
    bool const lIsWriting = nAccessMode != FILE_ACCESS_READ;
    char lDirectory[FILE_PATH_MAX];
    if (lIsWriting &&
        !(File::extractDirectoryPath(lDirectory, FILE_PATH_MAX, npPath) && File::makeDirectories(lDirectory)))
    {
        return false;
    }
    struct stat lStat = {};
    nExists = UTL_FILE_CALL("open", mStat(npPath, &lStat)) == 0;
    return lIsWriting ? !nExists || !File::isReadOnly(npPath) : nExists && nOpenMode != FILE_OPEN_TRUNCATE;
}

/// The arguments with which open() and create() call the system.
struct Opening
{
    int mFlags;
    int mMode;        // of a file that is made, less the umask
    bool mOpensToAll; // mode 0777 for it, whatever the umask says

    bool isWriting() const { return (mFlags & O_ACCMODE) != O_RDONLY; }
};

Opening openingOf(int nOpenMode, int nAccessMode, bool nExists)
{
    static constexpr int FLAGS[] = {O_RDONLY, O_WRONLY | O_CREAT, O_RDWR | O_CREAT};
    if (nAccessMode == FILE_ACCESS_READ)
    {
        return {O_RDONLY, 0555, false};
    }
    int const lFlags = FLAGS[nAccessMode] | (nOpenMode == FILE_OPEN_TRUNCATE ? O_TRUNC : 0);
    return {lFlags, opensUp() ? 0777 : 0666, opensUp() && !nExists};
}

int openHandle(char const* npPath, Opening const& nOpening)
{
    if (!nOpening.isWriting())
    {
        return UTL_FILE_CALL("open", mOpen(npPath, nOpening.mFlags, static_cast<mode_t>(nOpening.mMode)));
    }
    int const lHandle = internal::gSystem.mOpen(npPath, nOpening.mFlags, static_cast<mode_t>(nOpening.mMode));
    if (isOpenHandle(lHandle) && nOpening.mOpensToAll)
    {
        UTL_FILE_CALL("open", mChmod(npPath, 0777));
    }
    return lHandle;
}

/// Opens and locks a file whose path has been checked. If it fails, it removes the file that it created.
/// Result: false with a message, and nHandle left empty.
bool openAndLock(char const* npPath, Opening const& nOpening, bool nGoesToEnd, SmartHandle<DestructCloseFile>& nHandle)
{
    std::optional<internal::OpenParent> lParent;
    if (nOpening.isWriting())
    {
        lParent.emplace(npPath);
    }
    internal::ScopedHandle lHandle(openHandle(npPath, nOpening)); // closes on each return below
    auto const lRefuse = [&](int nLevel, char const* npReason)
    {
        int const lError = errno;
        if ((nOpening.mFlags & O_EXCL) != 0 && lHandle.get() != -1)
        {
            internal::gSystem.mUnlink(npPath);
        }
        lParent.reset();
        errno = lError;
        applog(UTL_LOG_TYPE, nLevel, "%s errno[%d] Path:%s", npReason, errno, npPath);
        return false;
    };
    if (!isOpenHandle(lHandle.get()))
    {
        return lRefuse(LOG_LEVEL_ERROR, "open() Failed.");
    }
    if (UTL_FILE_CALL("open", mFlock(lHandle.get(), (nOpening.isWriting() ? LOCK_EX : LOCK_SH) | LOCK_NB)) != 0)
    {
        return lRefuse(LOG_LEVEL_DEBUG, "Other process is opening.");
    }
    if (nGoesToEnd && seekFile(lHandle.get(), 0, SEEK_END) == -1)
    {
        return lRefuse(LOG_LEVEL_DEBUG, "seekFile in open Failed.");
    }
    lHandle.moveTo(nHandle);
    return true;
}

} // namespace

// --- From construction to destruction ---

File::AutoClose::~AutoClose()
{
    mFile.close();
}

File::File(char const* npPath, int nTextType)
    : mPath(internal::normalisedPath(npPath)),
      mTextType(nTextType)
{
}

// Copies share the position and what was read ahead of it.
File::File(File const& nOther) = default;

File& File::operator=(File const& nOther)
{
    if (this != &nOther)
    {
        mPath = nOther.mPath;
        mTextType = nOther.mTextType;
        mpReadAhead = nOther.mpReadAhead; // before the descriptor, which may be closed
        mHandle = nOther.mHandle;
    }
    return *this;
}

File::~File()
{
    // Syncing the directory puts the entry of a file that was created here on the medium.
    char lDirectory[FILE_PATH_MAX];
    if (extractDirectoryPath(lDirectory, FILE_PATH_MAX, mPath.c_str()))
    {
        internal::ScopedHandle const lHandle(internal::gSystem.mOpen(lDirectory, O_RDONLY, 0));
    }
    mpReadAhead.release();
    mHandle.release();
}

bool File::open(int nOpenMode, int nAccessMode)
{
    char const* const lpPath = mPath.c_str();
    bool lExists = false;
    if (isDirectory(lpPath) || isOpened() || static_cast<unsigned int>(nOpenMode) > FILE_OPEN_TRUNCATE ||
        static_cast<unsigned int>(nAccessMode) > FILE_ACCESS_READ_WRITE ||
        !isReadyToOpen(lpPath, nOpenMode, nAccessMode, lExists))
    {
        return false;
    }
    SmartHandle<DestructCloseFile> lHandle;
    return openAndLock(lpPath, openingOf(nOpenMode, nAccessMode, lExists), nOpenMode == FILE_OPEN_END, lHandle) &&
           take(lHandle, nAccessMode);
}

bool File::create(int nAccessMode, int nMode)
{
    char const* const lpPath = mPath.c_str();
    if (isOpened() || !internal::isValidPath(lpPath) || *lpPath == 0 || (nMode != -1 && (nMode & ~07777) != 0) ||
        (nAccessMode != FILE_ACCESS_WRITE && nAccessMode != FILE_ACCESS_READ_WRITE) || !internal::makeParents(lpPath))
    {
        return false;
    }
    int const lAccess = nAccessMode == FILE_ACCESS_WRITE ? O_WRONLY : O_RDWR;
    SmartHandle<DestructCloseFile> lHandle;
    Opening const lOpening =
        nMode != -1 ? Opening{lAccess, nMode, false} : openingOf(FILE_OPEN_TOP, nAccessMode, false);
    if (!openAndLock(lpPath, {lAccess | O_CREAT | O_EXCL, lOpening.mMode, lOpening.mOpensToAll}, false, lHandle))
    {
        return false;
    }
    if (nMode == -1)
    {
        return take(lHandle, nAccessMode);
    }
    if (UTL_FILE_CALL("create", mChmod(lpPath, static_cast<mode_t>(nMode))) != 0) // the bits that the umask cleared
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "chmod in create Failed. errno[%d] Path:%s", errno, lpPath);
        internal::removeFile(lpPath);
        return false;
    }
    return take(lHandle, nAccessMode);
}

/// Becomes open. Result: true.
bool File::take(SmartHandle<DestructCloseFile> const& nHandle, int nAccessMode)
{
    mpReadAhead = makeSmart<internal::ReadAhead>(nHandle.get(), nAccessMode != FILE_ACCESS_READ);
    mHandle = nHandle;
    return true;
}

bool File::close()
{
    if (!isOpened())
    {
        return false;
    }
    mpReadAhead.release();
    mHandle.release();
    return true;
}

bool File::isOpened() const
{
    return isOpenHandle(mHandle.get());
}

bool File::flush()
{
    return true;
}

bool File::sync()
{
    if (!isOpened())
    {
        return false;
    }
    if (UTL_FILE_CALL("sync", mFsync(mHandle.get())) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "fsync Failed. errno[%d] Path:%s", errno, mPath.c_str());
        return false;
    }
    return true;
}

// --- Bytes ---

bool File::settle() const
{
    return mpReadAhead.get() == nullptr || mpReadAhead->settle();
}

int File::read(void* npBuffer, unsigned int nSize)
{
    if (!isOpened())
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in read func file is not opened");
        return FILE_READ_ERROR;
    }
    if (npBuffer == nullptr || nSize == 0 || nSize > INT_MAX)
    {
        return FILE_READ_ERROR;
    }
    bool const lIsSettled = settle();
    long long const lFileSize = internal::sizeToRead(mHandle.get(), mPath);
    if (lFileSize == -1)
    {
        return FILE_READ_ERROR;
    }
    long long const lPosition = lIsSettled ? seekFile(mHandle.get(), 0, SEEK_CUR) : -1;
    if (lPosition == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in read func now seekFile func error");
        return FILE_READ_ERROR;
    }
    if (lFileSize <= lPosition)
    {
        return FILE_READ_END;
    }
    return internal::resultOfRead(internal::gSystem.mRead(mHandle.get(), npBuffer, nSize), mPath);
}

unsigned int File::write(void const* npBuffer, unsigned int nSize)
{
    if (!isOpened())
    {
        return FILE_ERROR;
    }
    bool const lIsSettled = settle();
    ssize_t lCount = -1;
    {
        internal::OpenParent const lParent(mPath.c_str());
        if (npBuffer != nullptr && nSize != 0 && lIsSettled)
        {
            lCount = UTL_FILE_CALL("writeFile", mWrite(mHandle.get(), npBuffer, nSize));
            if (lCount == -1)
            {
                applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "WriteFile Failed. errno[%d]", errno);
            }
        }
    }
    if (lCount == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "writeFile Failed. Path:%s", mPath.c_str());
        return FILE_ERROR;
    }
    return static_cast<unsigned int>(lCount);
}

bool internal::writeAll(File& nFile, void const* npBytes, unsigned int nSize)
{
    char const* lpBytes = static_cast<char const*>(npBytes);
    while (nSize != 0)
    {
        unsigned int const lCount = nFile.write(lpBytes, nSize);
        if (lCount == FILE_ERROR || lCount == 0)
        {
            return false;
        }
        lpBytes += lCount;
        nSize -= lCount;
    }
    return true;
}

// --- Position and length ---

long long File::seek(long long nOffset, int nOrigin)
{
    static constexpr int WHENCE[] = {SEEK_SET, SEEK_END, SEEK_CUR};
    if (!isOpened() || static_cast<unsigned int>(nOrigin) > FILE_SEEK_CURRENT || !settle())
    {
        return -1;
    }
    return seekFile(mHandle.get(), nOffset, WHENCE[nOrigin]);
}

long long File::position() const
{
    if (!isOpened())
    {
        return -1;
    }
    return mpReadAhead->position();
}

long long File::size() const
{
    if (!isOpened())
    {
        return size(mPath.c_str());
    }
    return internal::openFileSize(mHandle.get(), mPath);
}

long long File::availableSize() const
{
    long long const lSize = isOpened() ? size() : -1;
    long long const lPosition = lSize != -1 ? position() : -1;
    return lPosition == -1 ? -1 : lPosition < lSize ? lSize - lPosition : 0;
}

bool File::resize()
{
    if (!isOpened() || !settle())
    {
        return false;
    }
    off_t const lPosition = UTL_FILE_CALL("resize", mLseek(mHandle.get(), 0, SEEK_CUR));
    if (lPosition == -1)
    {
        return false;
    }
    if (UTL_FILE_CALL("resize", mFtruncate(mHandle.get(), lPosition)) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "ftruncate Failed. Path:%s", mPath.c_str());
        return false;
    }
    return true;
}

bool File::resize(unsigned long long nNewSize)
{
    long long const lOld = position();
    long long const lNew = static_cast<long long>(nNewSize); // negative if too large, which the seek refuses
    if (lOld == -1 || seek(lNew, FILE_SEEK_BEGIN) == -1)
    {
        return false;
    }
    bool const lIsCut = resize();
    if ((!lIsCut || lOld < lNew) && seek(lOld, FILE_SEEK_BEGIN) == -1)
    {
        return false;
    }
    return lIsCut;
}

} // namespace utl
