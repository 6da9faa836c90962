/// The pipe that wakes a thread and carries an 8-byte record for each piece of its work. Layer: internal.
#ifndef UTL_RECORD_PIPE_H
#define UTL_RECORD_PIPE_H

#include "UtlSyncObject.h"

#include <atomic>
#include <cstddef>

namespace utl::internal
{

/// A record on the pipe: id, then parameter, in the machine's byte order.
struct PipeRecord
{
    int mMsgId;
    int mParam;
};
static_assert(sizeof(PipeRecord) == 8, "the record's form on the pipe");

/// One thread reads, many write. The reading side blocks, the writing side never does: a record that finds the pipe
/// full is owed, and the reader asks for what is owed before it waits. So nobody waits for a reader that waits
/// for him, and no record is lost or overtaken.
///
/// Threads: post() and flush() under the owner's send lock; read() and its kin on the reading thread; a signal
///          handler may write its own records to writeFd(), and loses them where there is no room.
class RecordPipe
{
public:
    RecordPipe() = default;
    ~RecordPipe();
    RecordPipe(RecordPipe const&) = delete;
    RecordPipe& operator=(RecordPipe const&) = delete;

    /// Result: false, with errno, when no pipe can be had; then posting and reading fail with EBADF.
    bool open();

    /// The read end first, then the write end. Nothing where it is closed already.
    void close();
    int closeReadEnd() { return closeEnd(mReadFd); }
    int closeWriteEnd() { return closeEnd(mWriteFd); }

    int writeFd() const { return mWriteFd; }

    /// Result: true when the record is on its way or owed; false when the write failed: *npWritten is what
    /// write gave, errno tells why.
    bool post(PipeRecord const& nRecord, unsigned int* npWritten);

    /// Records owed. The reader looks before each read().
    unsigned int owedCount() const { return mOwedCount.load(); }

    /// Writes owed records, oldest first, until the pipe is full: nRecordOf(k) gives the k-th newest record of the
    /// owner's queue, counted from 1, and k never exceeds nQueueCount.
    template <class RecordOf>
    void flush(unsigned int nQueueCount, RecordOf nRecordOf)
    {
        unsigned int lOwed = mOwedCount.load() < nQueueCount ? mOwedCount.load() : nQueueCount;
        while (lOwed > 0 && tryWrite(nRecordOf(lOwed)) != FULL)
        {
            --lOwed;
        }
        mOwedCount.store(lOwed);
    }

    /// A record read ahead is there: read() will not wait.
    bool hasBuffered() const { return mNext < mCount; }

    /// Takes the next record, waiting for one where none is there; reads ahead as many as are there.
    /// Result: true; false when the read failed: *npRead is what it gave, errno tells why (EINTR included).
    bool read(PipeRecord* npRecord, unsigned int* npRead);

private:
    enum WriteResult
    {
        WRITTEN,
        FULL,
        FAILED
    };

    static std::size_t const BUFFER_RECORDS = 512; // 4096 bytes, the unit in which a pipe frees its room

    static int closeEnd(int& nFd);

    WriteResult tryWrite(PipeRecord const& nRecord, unsigned int* npWritten = nullptr);

    int mReadFd = -1;                        // constant between open and close
    int mWriteFd = -1;                       // likewise
    std::atomic<unsigned int> mOwedCount{0}; // written under the owner's send lock
    PipeRecord mBuffer[BUFFER_RECORDS];      // the reading thread's, with the two below
    std::size_t mNext = 0;
    std::size_t mCount = 0;
};

} // namespace utl::internal

#endif
