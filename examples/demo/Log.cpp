#include "Log.h"

#include "Opening.h"

#include <UtlApplog.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace demo
{

namespace
{

constexpr int LOG_TYPE = 1; // negative numbers are the library's

} // namespace

Log::Log(char const* npPath)
    : mHasFile(npPath != nullptr),
      mFile(npPath, utl::FILE_TEXT_UTF8)
{
    registerLogType(LOG_TYPE, "utlDemo: ", utl::LOG_LEVEL_DETAIL);
}

char const* Log::open()
{
    utl::SyncGuard lGuard(mSyncObject);
    return mHasFile ? openQuietly(mFile, utl::FILE_OPEN_END, utl::FILE_ACCESS_WRITE) : nullptr;
}

void Log::write(int nLevel, char const* npFormat, ...)
{
    char lText[256]; // a line of the log has no room for more
    va_list lArguments;
    va_start(lArguments, npFormat);
    std::vsnprintf(lText, sizeof lText, npFormat, lArguments);
    va_end(lArguments);

    utl::SyncGuard lGuard(mSyncObject); // the log itself does not guard the file
    if (mHasFile)
    {
        makeRoomLocked();
    }
    applog(LOG_TYPE, nLevel, mHasFile ? &mFile : nullptr, "%s", lText);
}

void Log::complain(char const* npFormat, ...)
{
    char lText[4096]; // a path may be long
    va_list lArguments;
    va_start(lArguments, npFormat);
    std::vsnprintf(lText, sizeof lText, npFormat, lArguments);
    va_end(lArguments);
    std::fprintf(stderr, "utlDemo: %s\n", lText);
    if (mHasFile)
    {
        write(utl::LOG_LEVEL_WARNING, "%s", lText);
    }
}

void Log::makeRoomLocked()
{
    int lOpenMode = utl::FILE_OPEN_END;
    if (mFile.position() >= MAX_FILE_BYTES)
    {
        mFile.close();
        // In place of the one before, which File::move() would leave alone and refuse.
        std::string const lOldPath = std::string(mFile.getPath()) + ".old";
        lOpenMode = std::rename(mFile.getPath(), lOldPath.c_str()) == 0 ? lOpenMode : utl::FILE_OPEN_TRUNCATE;
    }
    if (!mFile.isOpened()) // even if somebody had it locked the last time
    {
        openQuietly(mFile, lOpenMode, utl::FILE_ACCESS_WRITE);
    }
}

} // namespace demo
