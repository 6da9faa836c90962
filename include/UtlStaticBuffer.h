/// Process-wide scratch rows, so that text functions need no heap. Layer: scratch buffer.
#ifndef UTL_STATIC_BUFFER_H
#define UTL_STATIC_BUFFER_H

#include "UtlSyncObject.h"

namespace utl
{

template <class T>
class WorkingBuffer;

/// Three rows of scratch memory, in one object for the process. WorkingBuffer borrows a row.
///
/// Lifetime: made zero-filled on first use, also before main(). It is never destroyed: threads that still run while the
///           process exits can go on using it.
/// Locks:    mBufferLock, a recursive leaf: nothing but text work runs while it is held.
/// Threads:  any, through WorkingBuffer.
/// Signals:  no.
/// Forks:    usable in the child: fork() waits until no other thread has a row.
/// Blocking: only WorkingBuffer does.
class UTL_API StaticBuffer
{
public:
    static constexpr unsigned int ROW_COUNT = 3;    ///< rows
    static constexpr unsigned int ROW_SIZE = 10240; ///< bytes

    /// The one object.
    static StaticBuffer& get();

    /// For get() alone.
    StaticBuffer();
    virtual ~StaticBuffer() = default;
    StaticBuffer(StaticBuffer const&) = delete;
    StaticBuffer& operator=(StaticBuffer const&) = delete;

private:
    template <class T>
    friend class WorkingBuffer;

    char* borrowRow() UTL_REQUIRES(mBufferLock);

    SyncObject mBufferLock;
    char mBuffers[ROW_COUNT][ROW_SIZE] UTL_GUARDED_BY(mBufferLock);
    int mUseCount UTL_GUARDED_BY(mBufferLock); // the number of WorkingBuffers that exist
};

/// Borrows one row of the StaticBuffer for a scope. T is char.
///
///     WorkingBuffer<char> const lRow;
///     formatStr(lRow.get(), lRow.CAPACITY, "card %u", lNumber);
///
/// The row's content is what its last user left. Nested objects of one thread get rows 0, 1 and 2.
/// Caution: a fourth nested object, and every deeper one, gets row 2 again and overwrites what is in it; keep at most
/// three alive in one thread.
///
/// Locks:    holds the StaticBuffer's lock for its whole life, so keep the scope short and call no foreign code in it.
/// Threads:  any; destroyed by the thread that made it, last one first.
/// Signals:  no.
/// Forks:    as StaticBuffer.
/// Blocking: construction waits until no other thread has one.
template <class T>
class WorkingBuffer
{
public:
    static constexpr unsigned int CAPACITY = StaticBuffer::ROW_SIZE; ///< bytes, terminator included

    WorkingBuffer();          ///< Takes the lock and borrows the next row.
    virtual ~WorkingBuffer(); ///< Gives the row back and releases the lock.
    WorkingBuffer(WorkingBuffer const&) = delete;
    WorkingBuffer& operator=(WorkingBuffer const&) = delete;

    /// The row: CAPACITY bytes, never null.
    T* get() const { return mpRow; }

private:
    StaticBuffer* const mpStaticBuffer;
    T* const mpRow;
};

extern template class UTL_API WorkingBuffer<char>;

} // namespace utl

#endif
