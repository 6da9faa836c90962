/// Account of heap blocks. Layer: heap accounting.
#ifndef UTL_MEMORY_H
#define UTL_MEMORY_H

#include "UtlMacros.h"
#include "UtlSyncObject.h"

#include <cstdint>

namespace utl
{

/// The totals of the account.
/// Safety: a value.
struct ProcessHeapInfo
{
    std::uint32_t mUseBytes = 0; ///< Now.
    std::uint32_t mUseCount = 0; ///< Blocks now.
    std::uint32_t mMaxBytes = 0; ///< The highest mUseBytes so far.
    std::uint32_t mMaxCount = 0; ///< The highest mUseCount so far.
};

/// A block.
/// Safety: as ProcessHeapInfo.
struct DetailHeapInfo
{
    std::uint64_t mSerial = 0;                                 ///< Ascending by allocation, from 1.
    std::uintptr_t mAddress = static_cast<std::uintptr_t>(-1); ///< Where it begins.
    std::uint32_t mUseBytes = 0;                               ///< Its size.
    std::int32_t mThreadId = 0;                                ///< Of the thread that allocated it.
    std::uint32_t mFileId = 0xFFFFFFFFU;                       ///< Of the source that allocated it.
    std::int32_t mLine = 0;                                    ///< Where in that source.
};

/// A source.
/// Safety: as ProcessHeapInfo.
struct FileNameInfo
{
    char mFileName[260] = {}; ///< Its path.
};

/// A thread.
/// Safety: as ProcessHeapInfo.
struct ThreadNameInfo
{
    std::int32_t mThreadId = 0; ///< Its kernel id.
    char mThreadName[128] = {}; ///< Its name.
};

/// Keeps totals and a table of the blocks that it is told of by updateManagement(), and prints both as text. It does
/// not see allocations by itself. In this system it is switched off: the reports print nothing and the tables have one
/// row each. The thread registry tells it the names of threads all the same.
///
/// Threads:  any.
/// Locks:    mSyncObject, also while a report is written.
/// Signals:  no.
/// Forks:    the child has an account of its own, unless a lock was held at the fork.
/// Blocking: for the lock; the reports and printMessage() also while a file takes the text.
class UTL_API Memory
{
public:
    static constexpr unsigned int INVALID_FILE_ID = 0xFFFFFFFFU; ///< No source.
    static constexpr unsigned int MAX_DETAILS = 1;               ///< Rows of the table of blocks.
    static constexpr unsigned int MAX_FILES = 1;                 ///< Rows of the table of sources.
    static constexpr unsigned int MAX_THREADS = 1;               ///< Rows of the table of threads.

    using ProcessHeapInfo = utl::ProcessHeapInfo; ///< The same by another name,
    using DetailHeapInfo = utl::DetailHeapInfo;   ///< likewise,
    using FileNameInfo = utl::FileNameInfo;       ///< likewise,
    using ThreadNameInfo = utl::ThreadNameInfo;   ///< likewise.

    /// A row that is free.
    static DetailHeapInfo const INITIAL_DETAIL_HEAP_INFO;

    /// The one object, made on first use.
    static Memory* get();

    /// Deletes it; a later get() makes a new one.
    /// Caution: pointers that get() gave are dangling afterwards, and names that were asked for with them.
    UTL_SHARP_EDGE("keep no pointer that get() gave")
    static void destroy();

    virtual ~Memory() = default;
    Memory(Memory const&) = delete;
    Memory& operator=(Memory const&) = delete;

    /// The switch: always false. The operations named after it here obey it, the others do not.
    bool enabledHeapManagement() const { return IS_ENABLED; }

    /// Records an allocation (nMode 0) or a release (any other; of null nothing) by the calling thread.
    ///
    /// A block that finds the table full and one that is not in it are left out of the account, with a complaint.
    /// Caution: the complaint goes to file descriptor 0, whatever that is.
    void updateManagement(int nMode, void* npAddress, unsigned int nUseBytes, unsigned int nFileId, int nLine);

    /// Adds a row, without the totals. Result: its mUseBytes; -1 when the table is full.
    /// Caution: updateManagement() takes the bytes of any row from the totals, which then wrap, and takes a block of
    /// 0xFFFFFFFF bytes for a full table although its row is stored; leave both functions on rows to it.
    int addDetailHeapInfo(DetailHeapInfo const& nInfo);

    /// Takes a row away, without the totals. Result: its mUseBytes; -1 when the address is unknown.
    int eraseDetailHeapInfo(void const* npAddress);

    /// The id of a source's path, which is stored if there is room: at most 259 bytes of it.
    /// Result: INVALID_FILE_ID when it is unknown and there is no room, and while the switch is off.
    unsigned int getFileId(char const* npPath);

    /// The path of an id; "" for an unknown one. Valid until the tables are reset.
    char const* getFileName(unsigned int nFileId);

    /// Stores a thread's name, at most 127 bytes, if there is room: that is, of the first thread. Id 0, null and "" are
    /// left out.
    void registerThreadName(int nThreadId, char const* npName);

    /// The name of a thread; "" for an unknown one. Valid until the tables are reset.
    char const* getThreadName(int nThreadId);

    /// Remembers this moment for printMarkedHeapDetail().
    void mark();

    /// Reports: the totals, all blocks, the blocks allocated since mark(). The file is made anew, and so are missing
    /// directories; with the default modes of File its directory then is open to all.
    ///
    /// nLevel: not used. npPath: null writes nothing.
    /// Result: true, even if the file cannot be written; false if nothing was marked. While the switch is off
    ///         true, and nothing is done.
    bool printUsedHeap(int nLevel, char const* npPath);
    bool printUsedHeapDetail(int nLevel, char const* npPath);
    bool printMarkedHeapDetail(int nLevel, char const* npPath);

    /// Copies the totals. Result: false for null. While the switch is off true, and nothing is written.
    bool getUsedHeapOfProcess(ProcessHeapInfo* npInfo);

    /// Does initializeManagementTable(), while the switch is on.
    void resetUsedHeap();

    /// Empties all tables and totals; the mark stays.
    void initializeManagementTable();

    /// Does nothing.
    void printGlobalMemoryStatus(char const* npPath);

    /// Writes a text to a descriptor. nLevel: not used. nFd: -1 writes nothing.
    /// Caution: a text of 1024 bytes or more is not written at all; keep it shorter.
    UTL_SHARP_EDGE("keep texts below 1024 bytes")
    void printMessage(int nLevel, int nFd, char const* npFormat, ...) UTL_PRINTF(4, 5);

private:
    friend class MemoryTestPeer;

    static constexpr bool IS_ENABLED = false; // the switch

    Memory();

    unsigned int searchDetailPosition(std::uintptr_t nAddress) const UTL_REQUIRES(mSyncObject);
    void recordAllocation(DetailHeapInfo const& nInfo) UTL_REQUIRES(mSyncObject);
    void recordRelease(DetailHeapInfo const& nInfo) UTL_REQUIRES(mSyncObject);

    // What the public functions do while the switch is on.
    unsigned int findFileId(char const* npPath);
    bool copyTotals(ProcessHeapInfo* npInfo);
    bool reportTotals(int nLevel, char const* npPath);
    bool reportDetails(int nLevel, char const* npPath);
    bool reportMarked(int nLevel, char const* npPath);

    static int openReportFile(char const* npPath);
    static void closeReportFile(int nFd);
    void printDetails(int nLevel, int nFd, std::uint64_t nFirstSerial, char const* npMark) UTL_REQUIRES(mSyncObject);

    SyncObject mSyncObject;
    char mMsgBuffer[1024] UTL_GUARDED_BY(mSyncObject) = {};
    ProcessHeapInfo mProcessHeapInfo UTL_GUARDED_BY(mSyncObject);
    DetailHeapInfo mDetailHeapInfo[MAX_DETAILS] UTL_GUARDED_BY(mSyncObject); // ascending by address
    std::uint32_t mDetailCount UTL_GUARDED_BY(mSyncObject) = 0;
    std::uint64_t mNextSerial UTL_GUARDED_BY(mSyncObject) = 1;
    std::uint64_t mMarkedSerial UTL_GUARDED_BY(mSyncObject) = 0; // 0: never marked
    FileNameInfo mFileNameInfo[MAX_FILES] UTL_GUARDED_BY(mSyncObject);
    std::uint32_t mFileNameCount UTL_GUARDED_BY(mSyncObject) = 0;
    ThreadNameInfo mThreadNameInfo[MAX_THREADS] UTL_GUARDED_BY(mSyncObject);
    std::uint32_t mThreadNameCount UTL_GUARDED_BY(mSyncObject) = 0;
};

} // namespace utl

#endif
