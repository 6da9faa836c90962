/// The pipe that wakes a thread and carries an 8-byte record for each piece of its work. Layer: internal.
#ifndef UTL_RECORD_PIPE_H
#define UTL_RECORD_PIPE_H

#include <algorithm>
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

/// One thread reads, many write, and the records come out in the order in which they were announced.
///
/// The owner keeps the same records in a queue of its own, under a lock of its own. It announces each one under that
/// lock and writes it outside. Whoever is writing has the role of the writer; a record announced meanwhile is owed,
/// a mere number since the record stands in the owner's queue, and the writer writes it as well. A record that
/// finds the pipe full stays owed, and the reader writes it before it waits. So no lock need be held across a write,
/// nobody waits for room, and no record is lost or overtaken.
///
/// CopyOwed: unsigned int(PipeRecord* npTarget, unsigned int nMaxCount) takes the owner's lock, asks owedCount() for
/// the number of records owed, which are the newest of the owner's queue, copies up to nMaxCount of them, the oldest
/// first, and gives the number copied.
class RecordPipe
{
public:
    RecordPipe() = default;
    ~RecordPipe();
    RecordPipe(RecordPipe const&) = delete;
    RecordPipe& operator=(RecordPipe const&) = delete;

    /// Result: false, with errno, when no pipe can be had; then writing and reading fail with EBADF.
    bool open();

    /// The read end first, then the write end. Nothing where it is closed already.
    void close();
    int closeReadEnd() { return closeFd(mReadFd.exchange(-1)); }
    int closeWriteEnd() { return closeFd(mWriteFd.exchange(-1)); }

    /// The last resort to wake a reader that is to end, where records cannot be written: closes the write end, so that
    /// read() fails once it has given what is in the pipe. Not with the owner's lock: waits for who is writing.
    /// nDisarm: runs before the close, once writeFd() has become -1, and lets go of it wherever it is known.
    template <class Disarm>
    void hangUp(Disarm nDisarm)
    {
        waitToBecomeWriter();
        int const lFd = mWriteFd.exchange(-1);
        nDisarm();
        closeFd(lFd);
        mState &= ~WRITER;
    }

    /// A record that was owed could not be written either; nobody was told. The reader takes that note before it
    /// waits, and then looks at its whole queue, whatever records come.
    bool hasLost() const { return mHasLost; }
    bool takeLost() { return mHasLost && mHasLost.exchange(false); }

    /// For a signal handler, which writes its own records and loses them where there is no room.
    int writeFd() const { return mWriteFd; }

    /// Owner's lock held, the record just appended. Result: true: the caller is the writer and calls write(); false:
    /// the record is owed and nothing is left to do.
    bool announce();

    /// The writer's record, then what is owed. Best without the owner's lock: the reader is woken by this.
    /// Result: false when the record cannot be written: *npWritten is what write gave, errno tells why, and the caller
    ///         is still the writer, until giveUp().
    template <class CopyOwed>
    bool write(PipeRecord const& nRecord, CopyOwed nCopyOwed, unsigned int* npWritten)
    {
        WriteResult const lResult = tryWrite(&nRecord, 1, npWritten);
        if (lResult == FAILED)
        {
            return false;
        }
        mState += lResult == FULL ? 1 : 0;
        settle(nCopyOwed);
        return true;
    }

    /// Owner's lock held, after a failed write(). Result: true: nothing was announced since, the caller takes its
    /// record back; false: it counts as owed now, the caller stays the writer and calls settle().
    bool giveUp();

    /// The writer writes what is owed and gives the role up, at the latest when the pipe is full.
    template <class CopyOwed>
    void settle(CopyOwed nCopyOwed)
    {
        while (!leaveWithNothingOwed())
        {
            PipeRecord lRecords[BATCH];
            unsigned int const lCount = nCopyOwed(lRecords, BATCH);
            WriteResult const lResult = lCount > 0 ? tryWrite(lRecords, lCount, nullptr) : WRITTEN;
            if (lResult == FULL)
            {
                if (leaveToReader())
                {
                    return;
                }
            }
            else
            {
                if (lResult == FAILED)
                {
                    mHasLost = true; // these wait for a later record
                }
                mState -= lCount;
            }
        }
    }

    /// Owner's lock held, the caller is the writer: how many records are owed, of the nQueueCount that the owner's
    /// queue has. What is owed beyond that has gone from the queue and is forgotten.
    unsigned int owedCount(unsigned int nQueueCount)
    {
        unsigned int const lOwed = owedCount();
        if (lOwed <= nQueueCount)
        {
            return lOwed;
        }
        mState -= lOwed - nQueueCount;
        return nQueueCount;
    }

    /// On the reading thread, before read(): writes what is owed, unless somebody else is at it.
    template <class CopyOwed>
    void settleBeforeRead(CopyOwed nCopyOwed)
    {
        if (owedCount() > 0 && becomeWriter())
        {
            settle(nCopyOwed);
        }
    }

    /// A record read ahead is there: read() will not wait.
    bool hasBuffered() const { return mNext < mCount; }

    /// Takes a record read ahead, where hasBuffered().
    PipeRecord const& next() { return mBuffer[mNext++]; }

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

    static constexpr unsigned int WRITER = 0x80000000U;
    static constexpr unsigned int BATCH = 64;          // records written at once; the kernel takes all of them or none
    static constexpr std::size_t BUFFER_RECORDS = 512; // 4096 bytes, the unit in which a pipe frees its room

    static int closeFd(int nFd);
    void waitToBecomeWriter();
    unsigned int owedCount() const { return mState & ~WRITER; }
    bool becomeWriter();
    bool leaveWithNothingOwed();
    bool leaveToReader();
    WriteResult tryWrite(PipeRecord const* npRecords, unsigned int nCount, unsigned int* npWritten);

    std::atomic<int> mReadFd{-1};  // constant between open and close
    std::atomic<int> mWriteFd{-1}; // likewise, but for hangUp()
    std::atomic<bool> mHasLost{false};
    std::atomic<unsigned int> mState{0}; // WRITER, and the number of records owed; raised under the owner's lock
    PipeRecord mBuffer[BUFFER_RECORDS];  // the reading thread's, with the two below
    std::size_t mNext = 0;
    std::size_t mCount = 0;
};

} // namespace utl::internal

#endif
