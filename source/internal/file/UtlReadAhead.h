/// Reads ahead for an open descriptor and all copies of its File. Layer: internal, open files.
#ifndef UTL_READ_AHEAD_H
#define UTL_READ_AHEAD_H

#include "UtlFile.h"
#include "internal/text/UtlUtf8.h"

#include <atomic>
#include <memory>

namespace utl::internal
{

/// A piece of a file, and room for one conversion.
struct FileWindow
{
    static constexpr unsigned int CAPACITY = 16384;
    static constexpr unsigned int SLACK = 8; // zeros behind the last byte, which a look at a character may read

    long long end() const { return mStart + mSize; }

    long long mStart = 0; // position of the first byte in the file
    unsigned int mSize = 0;
    unsigned char mBytes[CAPACITY + SLACK];
    unsigned short mUnits[FILE_TEXT_CHUNK_MAX / 2 + 1]; // UTF-16 in host order
    char mText[FILE_TEXT_CHUNK_MAX * 3 + 2 * SLACK];    // UTF-8: three bytes at most for a byte of Shift-JIS
};

/// How often this process or its ancestors have forked since the library was loaded.
extern std::atomic<unsigned int> gForks;

/// The position of an open file, and a window of the bytes that were read ahead.
///
/// While there is a window, this object keeps the position, and the descriptor stays where it was when the window was
/// made: bytes are read with pread(). Before a fork all such descriptors are moved to their positions. From then on
/// parent and child share the descriptor's position: each text function asks for it first and moves it last. Parent and
/// child must see what the other writes, so of a file that can be written nothing is kept from call to call.
///
/// Threads: those of File; a fork by any thread.
/// Locks:   one for the list of all windows, a leaf: taken when a window is made or dropped, and around a fork.
class ReadAhead
{
public:
    /// nHandle: open, also for writing if nIsWritable; must stay open until this object is destroyed.
    ReadAhead(int nHandle, bool nIsWritable)
        : mHandle(nHandle),
          mIsWritable(nIsWritable),
          mForksAtOpen(gForks.load(std::memory_order_relaxed))
    {
    }
    ~ReadAhead() { drop(); }
    ReadAhead(ReadAhead const&) = delete;
    ReadAhead& operator=(ReadAhead const&) = delete;

    /// First step of a text function: makes the window, or asks for the shared position.
    /// Result: false with a line in the log if the descriptor does not tell its position; then do not call the rest.
    bool begin() { return isLikely(mpWindow != nullptr && !isShared()) || beginSlowly(); }

    /// Last step of a text function after begin().
    void end()
    {
        if (!isLikely(!isShared()))
        {
            mIsAdopted = moveDescriptor(); // from here on the other process may move it
        }
    }

    int handle() const { return mHandle; }
    FileWindow& window() { return *mpWindow; }
    FileWindow const& window() const { return *mpWindow; }

    /// The caller's position, between begin() and end().
    long long here() const { return mPosition.load(std::memory_order_relaxed); }

    /// Moves to a position within the window or at its end.
    void setHere(long long nPosition) { mPosition.store(nPosition, std::memory_order_relaxed); }

    /// Moves anywhere. Result: false, with a line in the log and nothing changed, if the descriptor refuses.
    bool seekHere(long long nPosition);

    /// Moves the descriptor to the caller's position and drops the window. First step of all functions that use the
    /// descriptor's own position.
    /// Result: false, with a line in the log and nothing changed, if the seek failed.
    bool settle();

    /// The caller's position; -1 with a line in the log if the descriptor does not tell it.
    long long position() const;

    /// Around a fork: the list is locked, and descriptors are moved to their callers' positions.
    static void beforeFork();
    static void afterFork();

private:
    /// Whether there was a fork since the file was opened, so that another process may share the position.
    bool isShared() const { return gForks.load(std::memory_order_relaxed) != mForksAtOpen; }
    bool beginSlowly();
    bool adoptPosition();
    bool moveDescriptor();
    void make(long long nPosition);
    void drop();
    void restartAt(long long nPosition);

    int const mHandle;
    bool const mIsWritable;
    unsigned int const mForksAtOpen;

    // For the thread that uses the file. beforeFork() also reads mPosition and writes mLeftAtFork.
    std::unique_ptr<FileWindow> mpWindow;   // null until text is read
    std::atomic<long long> mPosition{0};    // the caller's, while there is a window
    long long mDescriptorAt = 0;            // the descriptor's position, while there is a window and it is not shared
    bool mIsAdopted = false;                // the shared position was read, or set, since the fork
    std::atomic<long long> mLeftAtFork{-1}; // where beforeFork() moved the descriptor to

    // The list of windows, under its lock.
    ReadAhead* mpNext = nullptr;
    ReadAhead* mpPrevious = nullptr;
};

} // namespace utl::internal

#endif
