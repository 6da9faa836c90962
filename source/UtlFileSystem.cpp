// Files and directories by name: creating, copying, moving, removing, listing, modes.
#include "UtlFile.h"

#include "UtlApplog.h"
#include "UtlConvertAttrib.h"
#include "internal/file/UtlFileCalls.h"
#include "internal/text/UtlStringSearch.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <unistd.h>

namespace utl
{

namespace
{

using internal::gSystem;
using internal::isOpenHandle;
using internal::isValidPath;
using internal::makeParents;
using internal::normalisedPath;
using internal::OpenParent;
using internal::opensUp;

constexpr int MODE_OPEN = 0777;
constexpr int MODE_READ_ONLY = 0555;
constexpr mode_t MODE_BITS = 07777;
constexpr mode_t PERMISSION_BITS = 0777;
constexpr mode_t WRITE_BITS = 0222;

std::atomic<int> gModes{FILE_MODES_OPEN};
constexpr unsigned int NAMES_MAX = 32; // first capacity of the lists made here
constexpr unsigned int COPY_SIZE = 16384;
constexpr int LOOK = O_RDONLY | O_NONBLOCK; // does not wait for the other end of a FIFO

enum class PathKind
{
    NONE, // nothing, or the system does not tell
    FILE,
    DIRECTORY
};

/// What a path names. Each operation asks once: a second call may fail, and then a directory must not be taken for a
/// file.
PathKind pathKindUnchecked(char const* npPath)
{
    struct stat lStat = {};
    if (UTL_FILE_CALL("exists", mStat(npPath, &lStat)) != 0)
    {
        return PathKind::NONE;
    }
    return S_ISDIR(lStat.st_mode) ? PathKind::DIRECTORY : PathKind::FILE;
}

/// The same for a normalised path; the empty path, and so null, names nothing.
PathKind pathKind(char const* npPath)
{
    return isValidPath(npPath) ? pathKindUnchecked(npPath) : PathKind::NONE;
}

/// Calls nOperation for each entry of a directory, up to the first that fails.
template <class F>
bool forEachChild(char const* npPath, F nOperation)
{
    FileNames lNames(NAMES_MAX, 1);
    bool lIsDone = File::children(npPath, &lNames, FILE_CHILD_ALL, nullptr, 0) != FILE_ERROR;
    for (unsigned int lIndex = 0; lIsDone && lIndex < lNames.size(); ++lIndex)
    {
        lIsDone = nOperation(lNames.at(lIndex)->c_str());
    }
    return lIsDone;
}

/// Takes write access away, or gives it.
bool setWriting(char const* npPath, bool nIsAllowed, char const* npFunction)
{
    mode_t lMode = nIsAllowed ? MODE_OPEN : MODE_READ_ONLY;
    if (!opensUp())
    {
        struct stat lStat = {};
        if (UTL_FILE_CALL(npFunction, mStat(npPath, &lStat)) != 0)
        {
            return false;
        }
        mode_t const lOldMode = lStat.st_mode & MODE_BITS;
        lMode = nIsAllowed ? lOldMode | S_IWUSR : lOldMode & ~WRITE_BITS;
    }
    return UTL_FILE_CALL(npFunction, mChmod(npPath, lMode)) == 0;
}

/// Creates one of the directories on the way to npPath, unless it exists.
bool makePart(char const* npPart, char const* npPath)
{
    OpenParent lParent(npPart);
    if (UTL_FILE_CALL("makeDirectories", mMkdir(npPart, MODE_OPEN)) != 0)
    {
        lParent.restore();
        if (errno != EEXIST)
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "CreateDirectory Failed. errno[%d] Path:%s(%s)", errno, npPath,
                   npPart);
            return false;
        }
        if (!File::isDirectory(npPart))
        {
            return false;
        }
    }
    if (opensUp())
    {
        UTL_FILE_CALL("makeDirectories", mChmod(npPart, MODE_OPEN));
    }
    return true;
}

// --- Listing ---

/// A directory to be listed, and a pattern for its entries.
struct Listing
{
    bool prepare(char const* npPath);
    bool accepts(dirent const& nEntry) const;
    bool collect(FileNames& nList, unsigned int nMaxCount) const;

    int mKind;
    char const* mpExtension;
    BasicString<char> mDirectory;
    char mPattern[FILE_PATH_MAX]; // empty for none
};

/// Splits a path into directory and pattern. Result: false for an invalid path, and for a pattern that is not only in
/// the last component.
bool Listing::prepare(char const* npPath)
{
    char lPath[FILE_PATH_MAX];
    if (replaceStr<char>(lPath, FILE_PATH_MAX, npPath, "\\", "/", 0) == STR_ERROR || !isValidPath(lPath))
    {
        return false;
    }
    mDirectory = lPath;
    mPattern[0] = 0;
    char const* const lpWildcard = std::strpbrk(lPath, "*?[]");
    if (lpWildcard == nullptr || File::isDirectory(lPath))
    {
        return true;
    }
    char lDirectory[FILE_PATH_MAX];
    bool const lIsSplit = std::strchr(lpWildcard, '/') == nullptr &&
                          File::extractFileName(mPattern, FILE_PATH_MAX, lPath, 0) &&
                          File::extractDirectoryPath(lDirectory, FILE_PATH_MAX, lPath);
    if (lIsSplit)
    {
        mDirectory = lDirectory;
    }
    return lIsSplit;
}

bool Listing::accepts(dirent const& nEntry) const
{
    char const* const lpName = nEntry.d_name;
    if (std::strcmp(lpName, ".") == 0 || std::strcmp(lpName, "..") == 0)
    {
        return false;
    }
    if (nEntry.d_type == DT_DIR)
    {
        if (mKind == FILE_CHILD_FILES)
        {
            return false;
        }
    }
    else
    {
        char lExtension[FILE_PATH_MAX];
        if (mKind == FILE_CHILD_DIRECTORIES ||
            (mpExtension != nullptr && !(File::extractExtension(lExtension, FILE_PATH_MAX, lpName) &&
                                         compareStrNoCase<char>(lExtension, mpExtension, STR_ALL) == 0)))
        {
            return false;
        }
    }
    return mPattern[0] == 0 || UTL_FILE_CALL("children", mFnmatch(mPattern, lpName, FNM_PATHNAME)) == 0;
}

/// Appends to a list, whose capacity doubles if necessary, since each enlarging copies all. The caller trims it.
bool append(FileNames& nList, BasicString<char> const& nName, bool& nHasGrown)
{
    if (nHasGrown && nList.size() == nList.maxSize())
    {
        nList.resizeMax(nList.maxSize() * 2);
    }
    unsigned int const lMaxSize = nList.maxSize();
    bool const lIsAppended = nList.insertAt(nList.size(), nName);
    nHasGrown = nHasGrown || nList.maxSize() != lMaxSize;
    return lIsAppended;
}

/// An open directory.
class DirectoryStream
{
public:
    explicit DirectoryStream(char const* npPath)
        : mpStream(UTL_FILE_CALL("children", mOpendir(npPath)))
    {
    }
    DirectoryStream(DirectoryStream const&) = delete;
    DirectoryStream& operator=(DirectoryStream const&) = delete;
    ~DirectoryStream()
    {
        if (mpStream != nullptr)
        {
            UTL_FILE_CALL("children", mClosedir(mpStream));
        }
    }

    bool isOpen() const { return mpStream != nullptr; }

    /// Result: null at the end, with errno 0, and for a failure, with its errno.
    dirent const* next()
    {
        return internal::blockingCall("source/UtlFile", "children", __LINE__,
                                      [&]
                                      {
                                          errno = 0;
                                          return gSystem.mReaddir(mpStream);
                                      });
    }

private:
    DIR* const mpStream;
};

/// Appends the entries asked for. Result: false if the directory cannot be read to its end or the list is too small.
bool Listing::collect(FileNames& nList, unsigned int nMaxCount) const
{
    DirectoryStream lStream(mDirectory.c_str());
    if (!lStream.isOpen())
    {
        return false;
    }
    unsigned int const lMaxSize = nList.maxSize();
    bool lHasGrown = false;
    do
    {
        dirent const* const lpEntry = lStream.next();
        if (lpEntry == nullptr && errno != 0)
        {
            return false; // a part of a directory must not be taken for all of it
        }
        if (lpEntry == nullptr)
        {
            break;
        }
        if (accepts(*lpEntry))
        {
            BasicString<char> lName(mDirectory);
            lName += "/";
            lName += lpEntry->d_name;
            if (!append(nList, lName, lHasGrown))
            {
                return false;
            }
        }
    } while (nMaxCount == 0 || nList.size() < nMaxCount);
    if (lHasGrown)
    {
        nList.resizeMax(std::max(lMaxSize, nList.size()));
    }
    return true;
}

// --- Copying ---

/// Copies the rest of one open file to another, and cuts the other off there.
bool copyContent(int nSource, int nDestination)
{
    std::unique_ptr<char[]> const lpBuffer(new char[COPY_SIZE]); // not cleared
    for (;;)
    {
        ssize_t const lCount = UTL_FILE_CALL("copy", mRead(nSource, lpBuffer.get(), COPY_SIZE));
        if (lCount < 1)
        {
            break;
        }
        if (UTL_FILE_CALL("copy", mWrite(nDestination, lpBuffer.get(), static_cast<std::size_t>(lCount))) != lCount)
        {
            return false;
        }
    }
    off_t const lSize = UTL_FILE_CALL("copy", mLseek(nDestination, 0, SEEK_CUR));
    UTL_FILE_CALL("copy", mFtruncate(nDestination, lSize));
    return true;
}

/// A descriptor that is closed without being synced, under the name "copy" for the watchdog.
class CopyHandle
{
public:
    CopyHandle() = default;
    CopyHandle(CopyHandle const&) = delete;
    CopyHandle& operator=(CopyHandle const&) = delete;
    ~CopyHandle() { close(); }

    bool open(char const* npPath, int nFlags, mode_t nMode)
    {
        mHandle = UTL_FILE_CALL("copy", mOpen(npPath, nFlags, nMode));
        return mHandle != -1;
    }

    void close()
    {
        if (mHandle != -1)
        {
            UTL_FILE_CALL("copy", mClose(mHandle));
            mHandle = -1;
        }
    }

    int get() const { return mHandle; }

private:
    int mHandle = -1;
};

bool copyFileContent(char const* npSource, char const* npDestination, int nOverwrite)
{
    CopyHandle lSource;
    CopyHandle lDestination;
    OpenParent lSourceParent(npSource);
    if (!lSource.open(npSource, O_RDONLY, 0))
    {
        return false;
    }
    struct stat lStat = {};
    if (UTL_FILE_CALL("copy", mStat(npSource, &lStat)) != 0)
    {
        lSourceParent.restore();
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in copy func stat Failed. errno[%d] Path:%s", errno, npSource);
        return false;
    }
    mode_t const lMode = lStat.st_mode & (opensUp() ? MODE_BITS : PERMISSION_BITS);
    // Restored before the source's parent, which may be the same directory: the older mode must be set last.
    OpenParent const lDestinationParent(npDestination);
    bool const lExists = File::exists(npDestination);
    if (!lDestination.open(npDestination, O_WRONLY | O_CREAT | (nOverwrite == 1 ? 0 : O_EXCL), lMode))
    {
        return false;
    }
    if (!lExists && opensUp())
    {
        UTL_FILE_CALL("copy", mChmod(npDestination, MODE_OPEN));
    }
    bool const lIsCopied = copyContent(lSource.get(), lDestination.get());
    lSource.close();
    lDestination.close();
    if (lIsCopied && opensUp())
    {
        UTL_FILE_CALL("copy", mChmod(npDestination, lMode));
    }
    return lIsCopied;
}

bool copyFile(char const* npSource, char const* npDestination, int nOverwrite)
{
    bool lIsShared = false;
    return makeParents(npDestination) && !(File::isOpened(npSource, &lIsShared) && !lIsShared) &&
           copyFileContent(npSource, npDestination, nOverwrite);
}

bool copyDirectory(char const* npSource, char const* npDestination, int nOverwrite)
{
    return File::makeDirectories(npDestination) &&
           forEachChild(npSource,
                        [&](char const* npChild)
                        {
                            BasicString<char> lTarget(npDestination, FILE_PATH_MAX, 0);
                            lTarget += std::strrchr(npChild, '/');
                            return File::copy(npChild, lTarget.c_str(), nOverwrite);
                        });
}

// --- Moving ---

bool renameFile(char const* npSource, char const* npDestination)
{
    if (UTL_FILE_CALL("move", mRename(npSource, npDestination)) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "rename Failed. errno[%d] Source:%s  Dest:%s", errno, npSource,
               npDestination);
        return false;
    }
    return true;
}

/// The directory of a path; stored in nBuffer if the path names one.
char const* parentOf(char const* npPath, char (&nBuffer)[FILE_PATH_MAX])
{
    File::extractDirectoryPath(nBuffer, FILE_PATH_MAX, npPath);
    return *nBuffer != 0 ? nBuffer : *npPath == '/' ? "/" : ".";
}

bool isSame(struct stat const& nOne, struct stat const& nOther)
{
    return nOne.st_dev == nOther.st_dev && nOne.st_ino == nOther.st_ino;
}

/// Whether two paths lead to the same directory entry. True also if the system does not tell.
bool isSameEntry(char const* npOne, char const* npOther)
{
    char lName[FILE_PATH_MAX] = {};
    char lOtherName[FILE_PATH_MAX] = {};
    File::extractFileName(lName, FILE_PATH_MAX, npOne, 0);
    File::extractFileName(lOtherName, FILE_PATH_MAX, npOther, 0);
    char lDirectory[FILE_PATH_MAX] = {};
    char lOtherDirectory[FILE_PATH_MAX] = {};
    struct stat lStat = {};
    struct stat lOtherStat = {};
    return std::strcmp(lName, lOtherName) == 0 &&
           (UTL_FILE_CALL("move", mStat(parentOf(npOne, lDirectory), &lStat)) != 0 ||
            UTL_FILE_CALL("move", mStat(parentOf(npOther, lOtherDirectory), &lOtherStat)) != 0 ||
            isSame(lStat, lOtherStat));
}

/// After a rename: removes the source if it still exists, because both were links of one file.
void removeLink(char const* npSource, char const* npDestination)
{
    struct stat lStat = {};
    struct stat lOtherStat = {};
    if (UTL_FILE_CALL("move", mStat(npSource, &lStat)) == 0 &&
        UTL_FILE_CALL("move", mStat(npDestination, &lOtherStat)) == 0 && isSame(lStat, lOtherStat) &&
        lStat.st_nlink > 1 && !isSameEntry(npSource, npDestination))
    {
        internal::removeFile(npSource);
    }
}

/// Whether a writer has a file locked. Readers are not disturbed.
bool isHeldByWriter(char const* npPath)
{
    CopyHandle lHandle;
    return lHandle.open(npPath, LOOK, 0) && UTL_FILE_CALL("isOpened", mFlock(lHandle.get(), LOCK_SH | LOCK_NB)) != 0;
}

} // namespace

// --- For other source files ---

bool internal::makeParents(char const* npPath)
{
    char lDirectory[FILE_PATH_MAX];
    return File::extractDirectoryPath(lDirectory, FILE_PATH_MAX, npPath) && File::makeDirectories(lDirectory);
}

bool internal::renameOver(char const* npSource, char const* npDestination)
{
    if (isHeldByWriter(npDestination))
    {
        return false; // what it writes from now on would be lost
    }
    OpenParent const lSourceParent(npSource);
    OpenParent const lDestinationParent(npDestination); // restored first: it may be the same directory
    return renameFile(npSource, npDestination);
}

bool internal::syncParent(char const* npPath)
{
    char lDirectory[FILE_PATH_MAX] = {};
    char const* const lpDirectory = parentOf(npPath, lDirectory);
    CopyHandle lHandle;
    if (!lHandle.open(lpDirectory, O_RDONLY, 0) || UTL_FILE_CALL("sync", mFsync(lHandle.get())) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "fsync Failed. errno[%d] Path:%s", errno, lpDirectory);
        return false;
    }
    return true;
}

void internal::removeFile(char const* npPath)
{
    OpenParent const lParent(npPath);
    UTL_FILE_CALL("erase", mUnlink(npPath));
}

// --- Questions and modes ---

bool internal::opensUp()
{
    return gModes.load(std::memory_order_relaxed) == FILE_MODES_OPEN;
}

void File::setModes(int nModes)
{
    gModes = nModes;
}

bool File::changeParentAccessMode(char const* npPath, int nMode, int* npOldMode)
{
    char lDirectory[FILE_PATH_MAX] = {};
    if (npPath == nullptr || *npPath == 0 || !extractDirectoryPath(lDirectory, FILE_PATH_MAX, npPath) ||
        *lDirectory == 0)
    {
        return false;
    }
    struct stat lStat = {};
    if (UTL_FILE_CALL("changeParentAccessMode", mStat(lDirectory, &lStat)) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_DEBUG, "is changeParentAccessMode func stat Failed. errno[%d] Path:%s", errno,
               lDirectory);
        return false;
    }
    int const lOldMode = static_cast<int>(lStat.st_mode);
    if (npOldMode != nullptr)
    {
        *npOldMode = lOldMode;
    }
    return nMode != lOldMode && gSystem.mChmod(lDirectory, static_cast<mode_t>(nMode)) == 0;
}

bool File::isReadOnly(char const* npPath)
{
    if (npPath == nullptr)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "isReadOnly func 0 == npPath false");
        return false;
    }
    BasicString<char> const lPath = normalisedPath(npPath);
    struct stat lStat = {};
    if (UTL_FILE_CALL("isReadOnly", mStat(lPath.c_str(), &lStat)) != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "is isReadOnly func stat Failed. errno[%d] Path:%s", errno,
               lPath.c_str());
        return false;
    }
    return (lStat.st_mode & S_IWUSR) == 0;
}

bool File::exists(char const* npPath)
{
    BasicString<char> const lPath = normalisedPath(npPath);
    struct stat lStat = {};
    return UTL_FILE_CALL("exists", mStat(lPath.c_str(), &lStat)) == 0;
}

bool File::isDirectory(char const* npPath)
{
    BasicString<char> const lPath = normalisedPath(npPath);
    struct stat lStat = {};
    return isValidPath(lPath.c_str()) && UTL_FILE_CALL("isDirectory", mStat(lPath.c_str(), &lStat)) == 0 &&
           S_ISDIR(lStat.st_mode);
}

bool File::applyReadOnly(char const* npPath, int nRecursive)
{
    BasicString<char> const lPath = normalisedPath(npPath);
    char const* const lpPath = lPath.c_str();
    PathKind const lKind = pathKind(lpPath);
    if (lKind == PathKind::NONE || !setWriting(lpPath, false, "applyReadOnly"))
    {
        return false;
    }
    if (!isReadOnly(lpPath))
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "applyReadOnly can't change %s", lpPath);
        return false;
    }
    return nRecursive != 1 || lKind != PathKind::DIRECTORY ||
           forEachChild(lpPath, [](char const* npChild) { return applyReadOnly(npChild, 1); });
}

bool File::liftReadOnly(char const* npPath, int nRecursive)
{
    BasicString<char> const lPath = normalisedPath(npPath);
    char const* const lpPath = lPath.c_str();
    PathKind const lKind = pathKind(lpPath);
    if (lKind == PathKind::NONE)
    {
        return false;
    }
    if (isReadOnly(lpPath))
    {
        if (!setWriting(lpPath, true, "liftReadOnly"))
        {
            return false;
        }
        if (isReadOnly(lpPath))
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "liftReadOnly can't change %s", lpPath);
            return false;
        }
    }
    return nRecursive != 1 || lKind != PathKind::DIRECTORY ||
           forEachChild(lpPath, [](char const* npChild) { return liftReadOnly(npChild, 1); });
}

bool File::isOpened(char const* npPath, bool* npShared)
{
    if (npShared != nullptr)
    {
        *npShared = false;
    }
    BasicString<char> const lPath = normalisedPath(npPath);
    char const* const lpPath = lPath.c_str();
    if (pathKindUnchecked(lpPath) != PathKind::FILE)
    {
        return false;
    }
    internal::ScopedHandle const lHandle(gSystem.mOpen(lpPath, LOOK, 0));
    if (!isOpenHandle(lHandle.get()) || UTL_FILE_CALL("isOpened", mFlock(lHandle.get(), LOCK_EX | LOCK_NB)) == 0)
    {
        return false;
    }
    bool const lIsShared = UTL_FILE_CALL("isOpened", mFlock(lHandle.get(), LOCK_SH | LOCK_NB)) == 0;
    if (npShared != nullptr)
    {
        *npShared = lIsShared;
    }
    return true;
}

// --- Directories ---

bool File::makeDirectories(char const* npPath)
{
    if (npPath == nullptr)
    {
        return false;
    }
    BasicString<char> lPath = normalisedPath(npPath);
    if (!isValidPath(lPath.c_str()))
    {
        return false;
    }
    if (*lPath.c_str() == 0)
    {
        return true; // the directory of a name without one: it exists, and must not be opened to everybody
    }
    if (exists(lPath.c_str()))
    {
        return isDirectory(lPath.c_str());
    }
    trimStrRight<char>(lPath.c_str(), "\\/");
    lPath += "/";
    unsigned int lEnd = 0;
    do
    {
        BasicString<char> lPart(lPath);
        if (internal::findStr(lPath.c_str(), "/", lEnd, &lEnd) != STR_ERROR)
        {
            lPart.c_str()[lEnd] = 0;
        }
        if (!makePart(lPart.c_str(), lPath.c_str()))
        {
            return false;
        }
    } while (lEnd != STR_ERROR);
    return true;
}

unsigned int File::children(char const* npPath, FileNames* npList, int nKind, char const* npExtension,
                            unsigned int nMaxCount)
{
    if (npPath == nullptr || npList == nullptr)
    {
        return FILE_ERROR;
    }
    npList->copy(*npList, 0);
    Listing lListing = {nKind, npExtension, {}, {}};
    if (static_cast<unsigned int>(nKind) > FILE_CHILD_ALL || !lListing.prepare(npPath))
    {
        return FILE_ERROR;
    }
    PathKind const lKind = pathKind(lListing.mDirectory.c_str());
    if (lKind != PathKind::DIRECTORY)
    {
        return lKind == PathKind::FILE && lListing.mPattern[0] == 0 ? 0 : FILE_ERROR; // a file has no children
    }
    return lListing.collect(*npList, nMaxCount) ? npList->size() : FILE_ERROR;
}

long long File::size(char const* npPath)
{
    BasicString<char> const lPath = normalisedPath(npPath);
    char const* const lpPath = lPath.c_str();
    PathKind const lKind = pathKind(lpPath);
    if (lKind == PathKind::NONE)
    {
        return -1;
    }
    if (lKind == PathKind::DIRECTORY)
    {
        long long lSum = 0;
        bool const lIsWhole = forEachChild(lpPath,
                                           [&](char const* npChild)
                                           {
                                               long long const lSize = size(npChild);
                                               lSum += lSize;
                                               return lSize != -1;
                                           });
        return lIsWhole ? lSum : -1;
    }
    internal::ScopedHandle const lHandle(gSystem.mOpen(lpPath, LOOK, 0));
    if (!isOpenHandle(lHandle.get()))
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in size func open Failed. Path:%s errno[%d]", lpPath, errno);
        return -1;
    }
    long long const lSize = internal::fileSize(lHandle.get());
    if (lSize == -1)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "fileSize Failed. Path:%s", lpPath);
    }
    return lSize;
}

// --- Moving, copying, erasing ---

bool File::move(char const* npSource, char const* npDestination)
{
    BasicString<char> const lSource = normalisedPath(npSource);
    BasicString<char> const lDestination = normalisedPath(npDestination);
    char const* const lpSource = lSource.c_str();
    char const* const lpDestination = lDestination.c_str();
    if (npDestination == nullptr || !isValidPath(lpDestination) || pathKind(lpSource) == PathKind::NONE)
    {
        return false;
    }
    if (std::strcmp(lpSource, lpDestination) == 0)
    {
        return true;
    }
    if (pathKind(lpDestination) == PathKind::FILE || isOpened(lpSource, nullptr) || !makeParents(lpDestination))
    {
        return false;
    }
    return renameFile(lpSource, lpDestination);
}

bool File::replace(char const* npSource, char const* npDestination)
{
    BasicString<char> const lSource = normalisedPath(npSource);
    BasicString<char> const lDestination = normalisedPath(npDestination);
    char const* const lpSource = lSource.c_str();
    char const* const lpDestination = lDestination.c_str();
    if (npDestination == nullptr || !isValidPath(lpDestination) || pathKind(lpSource) != PathKind::FILE ||
        pathKind(lpDestination) == PathKind::DIRECTORY || isOpened(lpSource, nullptr))
    {
        return false;
    }
    if (std::strcmp(lpSource, lpDestination) == 0)
    {
        return true;
    }
    if (!makeParents(lpDestination) || !internal::renameOver(lpSource, lpDestination))
    {
        return false;
    }
    removeLink(lpSource, lpDestination);
    return true;
}

bool File::copy(char const* npSource, char const* npDestination, int nOverwrite)
{
    BasicString<char> const lSource = normalisedPath(npSource);
    BasicString<char> const lDestination = normalisedPath(npDestination);
    char const* const lpSource = lSource.c_str();
    char const* const lpDestination = lDestination.c_str();
    PathKind const lKind = pathKind(lpSource);
    if (npDestination == nullptr || !isValidPath(lpDestination) || lKind == PathKind::NONE)
    {
        return false;
    }
    return std::strcmp(lpSource, lpDestination) == 0 ||
           (lKind == PathKind::DIRECTORY ? copyDirectory : copyFile)(lpSource, lpDestination, nOverwrite);
}

bool File::erase(char const* npPath, int nForce)
{
    BasicString<char> const lPath = normalisedPath(npPath);
    char const* const lpPath = lPath.c_str();
    PathKind const lKind = pathKind(lpPath);
    if (lKind == PathKind::NONE)
    {
        return false;
    }
    bool const lIsDirectory = lKind == PathKind::DIRECTORY;
    if (lIsDirectory ? !forEachChild(lpPath, [&](char const* npChild) { return erase(npChild, nForce); })
                     : isOpened(lpPath, nullptr))
    {
        return false;
    }
    if (nForce == 1)
    {
        if (!liftReadOnly(lpPath, 0))
        {
            applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "Can't erase force because Not Permited:%s", lpPath);
            return false;
        }
    }
    else if (isReadOnly(lpPath))
    {
        return false;
    }
    OpenParent lParent(lpPath);
    int const lResult = lIsDirectory ? UTL_FILE_CALL("erase", mRmdir(lpPath)) : UTL_FILE_CALL("erase", mUnlink(lpPath));
    lParent.restore();
    if (lResult != 0 && lIsDirectory)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "rmdir Failed.Path:%s errno[%d]", lpPath, errno);
    }
    else if (lResult != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "remove failed. errno[%d] Path:%s", errno, lpPath);
    }
    return lResult == 0;
}

// --- On the object's own path ---

bool File::isReadOnly() const
{
    return isReadOnly(mPath.c_str());
}

bool File::exists() const
{
    return exists(mPath.c_str());
}

bool File::isDirectory() const
{
    return isDirectory(mPath.c_str());
}

bool File::makeDirectories()
{
    return makeDirectories(mPath.c_str());
}

unsigned int File::children(FileNames* npList, int nKind, char const* npExtension, unsigned int nMaxCount) const
{
    return children(mPath.c_str(), npList, nKind, npExtension, nMaxCount);
}

bool File::applyReadOnly(int nRecursive)
{
    return applyReadOnly(mPath.c_str(), nRecursive);
}

bool File::liftReadOnly(int nRecursive)
{
    return liftReadOnly(mPath.c_str(), nRecursive);
}

bool File::move(char const* npDestination)
{
    return !isOpened() && move(mPath.c_str(), npDestination);
}

bool File::copy(char const* npDestination, int nOverwrite) const
{
    return copy(mPath.c_str(), npDestination, nOverwrite);
}

bool File::erase(int nForce)
{
    return !isOpened() && erase(mPath.c_str(), nForce);
}

} // namespace utl
