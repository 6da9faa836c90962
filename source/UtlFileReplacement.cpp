// FileReplacement: writes a new file, syncs it, renames it over the old one and syncs the directory.
#include "UtlFileReplacement.h"

#include "internal/file/UtlFileCalls.h"

#include <atomic>
#include <cerrno>
#include <cstdio>

#include <unistd.h>

namespace utl
{

namespace
{

constexpr int TRIES_MAX = 100; // names that an earlier process with our id may have left behind

std::atomic<unsigned int> gNumber{0}; // gives each file of this process another name

} // namespace

FileReplacement::FileReplacement(char const* npPath, int nTextType)
    : mPath(internal::normalisedPath(npPath)),
      mTextType(nTextType)
{
}

FileReplacement::~FileReplacement()
{
    cancel();
}

bool FileReplacement::isOpened() const
{
    return mBeside.has_value();
}

/// Whether the new file is open, and this process opened it, not its parent.
bool FileReplacement::isOurs() const
{
    return isOpened() && mProcess == ::getpid();
}

bool FileReplacement::open(int nMode)
{
    char const* const lpPath = mPath.c_str();
    if (isOpened() || !internal::isValidPath(lpPath) || *lpPath == 0)
    {
        return false;
    }
    struct stat lStat = {};
    bool const lExists = UTL_FILE_CALL("open", mStat(lpPath, &lStat)) == 0;
    if (lExists && (!S_ISREG(lStat.st_mode) || (lStat.st_mode & S_IWUSR) == 0))
    {
        return false;
    }
    mProcess = ::getpid();
    mHasFailed = false;
    return makeBeside(nMode != -1 || !lExists ? nMode : static_cast<int>(lStat.st_mode & 07777));
}

/// nMode: -1 for the mode that open() gives to a new file.
bool FileReplacement::makeBeside(int nMode)
{
    for (int lTry = 0; lTry < TRIES_MAX; ++lTry)
    {
        char lName[FILE_PATH_MAX];
        int const lLength =
            std::snprintf(lName, sizeof(lName), "%s.%d-%u.new", mPath.c_str(), mProcess, gNumber.fetch_add(1));
        if (lLength < 0 || lLength >= static_cast<int>(sizeof(lName)))
        {
            return false;
        }
        mBeside.emplace(lName, mTextType);
        errno = 0;
        if (mBeside->create(FILE_ACCESS_WRITE, nMode))
        {
            return true;
        }
        int const lError = errno;
        mBeside.reset();
        if (lError != EEXIST) // an existing file or link is never opened
        {
            return false;
        }
    }
    return false;
}

bool FileReplacement::write(void const* npBytes, unsigned int nSize)
{
    mHasFailed = mHasFailed || !isOurs() || !internal::writeAll(*mBeside, npBytes, nSize);
    return !mHasFailed;
}

LineWritten FileReplacement::writeLine(std::string_view nText, std::string_view nEol)
{
    LineWritten const lWritten = isOurs() ? utl::writeLine(*mBeside, nText, nEol) : LineWritten::FAILED;
    mHasFailed = mHasFailed || lWritten == LineWritten::FAILED;
    return mHasFailed ? LineWritten::FAILED : lWritten;
}

Replaced FileReplacement::commit()
{
    // Renamed while it is open and locked, so that nobody takes it for a file left behind.
    if (!isOurs() || mHasFailed || !mBeside->sync() || !internal::renameOver(mBeside->getPath(), mPath.c_str()))
    {
        cancel();
        return Replaced::FAILED;
    }
    bool const lIsSynced = internal::syncParent(mPath.c_str());
    mBeside.reset();
    return lIsSynced ? Replaced::DONE : Replaced::UNSYNCED;
}

void FileReplacement::cancel()
{
    if (isOurs())
    {
        internal::removeFile(mBeside->getPath());
    }
    mBeside.reset();
}

} // namespace utl
