/// What the sources of File share: reports, paths, modes of parents. Layer: internal, paths to open files.
#ifndef UTL_FILE_CALLS_H
#define UTL_FILE_CALLS_H

#include "UtlFile.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/thread/UtlBlockingCall.h"

/// One call of gSystem between two reports to the watchdog. FUNCTION: the name in the reports.
#define UTL_FILE_CALL(FUNCTION, CALL)                                                                                  \
    ::utl::internal::blockingCall("source/UtlFile", FUNCTION, __LINE__, [&] { return ::utl::internal::gSystem.CALL; })

namespace utl::internal
{

/// A copy of a path with '/' for every backslash. Null counts as empty, which is valid but names nothing.
BasicString<char> normalisedPath(char const* npPath);

/// Whether a path is not null, has fewer than FILE_PATH_MAX bytes and no doubled separator.
bool isValidPath(char const* npPath);

/// Creates the missing directories above the file of a path. Result: as File::makeDirectories().
bool makeParents(char const* npPath);

/// Writes all bytes, with several calls if necessary. Result: false if that failed; a part may be written.
bool writeAll(File& nFile, void const* npBytes, unsigned int nSize);

/// Renames a file, replacing the destination if it exists, unless a writer has that locked. Locks of the source are
/// ignored.
/// Result: false, with nothing changed, if the system refused (logged) or a writer has it locked (not logged).
bool renameOver(char const* npSource, char const* npDestination);

/// Syncs the directory of a path. Result: false with a line in the log if that failed.
bool syncParent(char const* npPath);

/// Removes a file that the library made; failures are not logged.
void removeFile(char const* npPath);

/// Whether a descriptor counts as open; 0 and -1 do not.
inline bool isOpenHandle(int nHandle)
{
    return nHandle != 0 && nHandle != -1;
}

/// Whether FILE_MODES_OPEN was chosen: directories, and what is created, are opened to everybody.
bool opensUp();

/// The length of an open file; -1 with a line in the log.
long long fileSize(int nHandle);

/// The same, with the path in the line.
long long openFileSize(int nHandle, BasicString<char> const& nPath);

/// As File::read(), with its lines in the log, but from any position and without moving the descriptor.
int readFileAt(int nHandle, BasicString<char> const& nPath, void* npBuffer, unsigned int nSize, long long nPosition);

/// lseek with the platform's origin; -1 with a line in the log.
long long seekFile(int nHandle, long long nOffset, int nWhence);

/// A descriptor that is not shared, so it needs no counter. Synced and closed at the end of the scope.
class ScopedHandle
{
public:
    explicit ScopedHandle(int nHandle)
        : mHandle(nHandle)
    {
    }
    ScopedHandle(ScopedHandle const&) = delete;
    ScopedHandle& operator=(ScopedHandle const&) = delete;
    ~ScopedHandle() { DestructCloseFile()(mHandle); }

    int get() const { return mHandle; }

    /// Gives the descriptor to a holder that shares it.
    void moveTo(SmartHandle<DestructCloseFile>& nHolder)
    {
        nHolder.set(mHandle);
        mHandle = -1;
    }

private:
    int mHandle;
};

/// Gives the parent directory of a path mode 0777 until restore() or the end of the scope; does nothing unless
/// opensUp(). Both keep errno.
class OpenParent
{
public:
    explicit OpenParent(char const* npPath)
        : mpPath(npPath),
          mOldMode(0777),
          mIsChanged(opensUp() && File::changeParentAccessMode(npPath, 0777, &mOldMode))
    {
    }
    OpenParent(OpenParent const&) = delete;
    OpenParent& operator=(OpenParent const&) = delete;
    ~OpenParent() { restore(); }

    void restore()
    {
        if (mIsChanged)
        {
            int const lError = errno;
            mIsChanged = false;
            if (!File::changeParentAccessMode(mpPath, mOldMode, nullptr) && (mOldMode & 07777) != 0777)
            {
                setMode(); // tries once more: one refusal must not leave the directory open
            }
            errno = lError;
        }
    }

private:
    void setMode() const
    {
        char lDirectory[FILE_PATH_MAX];
        if (File::extractDirectoryPath(lDirectory, FILE_PATH_MAX, mpPath))
        {
            gSystem.mChmod(lDirectory, static_cast<mode_t>(mOldMode));
        }
    }

    char const* const mpPath; // not owned
    int mOldMode;
    bool mIsChanged;
};

} // namespace utl::internal

#endif
