/// What the files of class File share: reports, paths, modes of parents. Layer: internal, paths to open files.
#ifndef UTL_FILE_CALLS_H
#define UTL_FILE_CALLS_H

#include "UtlFile.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/thread/UtlBlockingCall.h"

/// One call of gSystem between two reports of the watchdog. FUNCTION: the literal name in the reports.
#define UTL_FILE_CALL(FUNCTION, CALL)                                                                                  \
    ::utl::internal::blockingCall("source/UtlFile", FUNCTION, __LINE__, [&] { return ::utl::internal::gSystem.CALL; })

namespace utl::internal
{

/// A copy of a path with '/' for every backslash. Null counts as empty, which is valid but names nothing.
BasicString<char> normalisedPath(char const* npPath);

/// Not null, fewer than FILE_PATH_MAX bytes, no doubled separator.
bool isValidPath(char const* npPath);

/// Makes the directories that the file of a path is to lie in. Result: as File::makeDirectories().
bool makeParents(char const* npPath);

/// Writes all of it, in several goes if need be. Result: false if that failed; some of it may be written.
bool writeAll(File& nFile, void const* npBytes, unsigned int nSize);

/// Puts one file in the place of another, or of none, unless a writer holds that. Locks of the source are not looked
/// at.
/// Result: false with a message if the system refused, without one because of the writer; nothing has changed then.
bool renameOver(char const* npSource, char const* npDestination);

/// Result: false with a message if the directory of a path could not be synced.
bool syncParent(char const* npPath);

/// Removes a file of the library's own, in silence.
void removeFile(char const* npPath);

/// Whether a descriptor counts as open: 0 does not.
inline bool isOpenHandle(int nHandle)
{
    return nHandle != 0 && nHandle != -1;
}

/// Whether the library opens up directories and what it creates; otherwise existing modes and the umask hold.
bool opensUp();

/// Length of an open file; -1 with a message.
long long fileSize(int nHandle);

/// The same for a file of that path, which the message then names too.
long long openFileSize(int nHandle, BasicString<char> const& nPath);

/// What File::read() does, with its messages, from any position and without moving the descriptor.
int readFileAt(int nHandle, BasicString<char> const& nPath, void* npBuffer, unsigned int nSize, long long nPosition);

/// lseek with the platform's origin; -1 with a message.
long long seekFile(int nHandle, long long nOffset, int nWhence);

/// A descriptor that nobody shares: synced and closed at the end of the scope, and without a counter to allocate.
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

    /// To a holder that shares it.
    void moveTo(SmartHandle<DestructCloseFile>& nHolder)
    {
        nHolder.set(mHandle);
        mHandle = -1;
    }

private:
    int mHandle;
};

/// The parent directory of a path, opened up until restore() or the end of the scope if the library opens up at all.
/// errno is kept by both.
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
                setMode(); // one refusal must not leave the directory open
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
