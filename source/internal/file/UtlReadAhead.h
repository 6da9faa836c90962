/// What an open descriptor has read ahead, for all copies of its File. Layer: internal, open files.
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
    static constexpr unsigned int SLACK = 8; // zeros behind the last byte: a cut-off character and a word end in them

    long long end() const { return mStart + mSize; }

    long long mStart = 0; // where the first byte stands in the file
    unsigned int mSize = 0;
    unsigned char mBytes[CAPACITY + SLACK];
    unsigned short mUnits[FILE_TEXT_CHUNK_MAX / 2 + 1]; // UTF-16 in host order
    char mText[FILE_TEXT_CHUNK_MAX * 3 + 2 * SLACK];    // UTF-8: three bytes at most for a byte of Shift-JIS
};

/// How often this process or its ancestors have forked since the library was loaded.
extern std::atomic<unsigned int> gForks;

/// The position of an open file and what is known of the bytes behind it.
///
/// While there is a window the position is ours, and the descriptor stands where it stood when the window was made:
/// bytes are read with pread(). Before a fork all such descriptors are moved to their positions. From then on parent
/// and child share a position, which is the descriptor's: each text function asks for it first and moves it last. What
/// one of them writes the other must see, so that nothing is kept from call to call of a file that can be written to.
///
/// Threads: those of File; a fork by any thread.
/// Locks:   one for the list of all windows, a leaf: taken when a window is made or dropped, and around a fork.
class ReadAhead
{
public:
    /// nHandle: open, for writing too if nIsWritable, and not closed before this object goes.
    ReadAhead(int nHandle, bool nIsWritable)
        : mHandle(nHandle),
          mIsWritable(nIsWritable),
          mForksAtOpen(gForks.load(std::memory_order_relaxed))
    {
    }
    ~ReadAhead() { drop(); }
    ReadAhead(ReadAhead const&) = delete;
    ReadAhead& operator=(ReadAhead const&) = delete;

    /// First step of a text function: makes the window, or asks for a position that is shared.
    /// Result: false with a message if the descriptor could not tell; then nothing below may be called.
    bool begin() { return isLikely(mpWindow != nullptr && !isShared()) || beginSlowly(); }

    /// Last step of a text function after begin().
    void end()
    {
        if (!isLikely(!isShared()))
        {
            mIsAdopted = moveDescriptor(); // from here on others may move it
        }
    }

    int handle() const { return mHandle; }
    FileWindow& window() { return *mpWindow; }
    FileWindow const& window() const { return *mpWindow; }

    /// Where the caller stands, between begin() and end().
    long long here() const { return mPosition.load(std::memory_order_relaxed); }

    /// Within the window or at its end.
    void setHere(long long nPosition) { mPosition.store(nPosition, std::memory_order_relaxed); }

    /// Moves anywhere. Result: false with a message if the descriptor refuses it; nothing has changed then.
    bool seekHere(long long nPosition);

    /// Moves the descriptor to where the caller stands and drops the window. First step of all functions that use the
    /// descriptor's own position.
    /// Result: false with a message, and unchanged, if the seek failed.
    bool settle();

    /// Where the caller stands; -1 with a message if the descriptor could not tell.
    long long position() const;

    /// Around a fork: the list is locked, and what is ahead is moved back.
    static void beforeFork();
    static void afterFork();

private:
    /// A process that forked may still have a window that no other knows of.
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

    // The thread that uses the file; beforeFork() reads the position and stores where it left the descriptor.
    std::unique_ptr<FileWindow> mpWindow;   // null until text is read
    std::atomic<long long> mPosition{0};    // of the caller, while there is a window
    long long mDescriptorAt = 0;            // while there is a window and the position is not shared
    bool mIsAdopted = false;                // the shared position has been asked for, or told
    std::atomic<long long> mLeftAtFork{-1}; // where beforeFork() moved the descriptor to

    // The list of windows, under its lock.
    ReadAhead* mpNext = nullptr;
    ReadAhead* mpPrevious = nullptr;
};

} // namespace utl::internal

#endif
