/// An account of heap blocks. Layer: heap accounting.
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
    std::uint32_t mUseBytes = 0; ///< Bytes in use now.
    std::uint32_t mUseCount = 0; ///< Blocks in use now.
    std::uint32_t mMaxBytes = 0; ///< The highest mUseBytes so far.
    std::uint32_t mMaxCount = 0; ///< The highest mUseCount so far.
};

/// A row of the table of blocks.
/// Safety: as ProcessHeapInfo.
struct DetailHeapInfo
{
    std::uint64_t mSerial = 0;                                 ///< Ascending by allocation, from 1.
    std::uintptr_t mAddress = static_cast<std::uintptr_t>(-1); ///< Where the block begins.
    std::uint32_t mUseBytes = 0;                               ///< Its size.
    std::int32_t mThreadId = 0;                                ///< The thread that allocated it.
    std::uint32_t mFileId = 0xFFFFFFFFU;                       ///< The source file that allocated it.
    std::int32_t mLine = 0;                                    ///< The line in that file.
};

/// A row of the table of source files.
/// Safety: as ProcessHeapInfo.
struct FileNameInfo
{
    char mFileName[260] = {}; ///< Its path.
};

/// A row of the table of threads.
/// Safety: as ProcessHeapInfo.
struct ThreadNameInfo
{
    std::int32_t mThreadId = 0; ///< Its kernel id.
    char mThreadName[128] = {}; ///< Its name.
};

/// Keeps totals and a table of the blocks that updateManagement() reports to it, and prints both as text. It does not
/// see allocations by itself. In this build it is switched off: the reports print nothing, and each table has one row.
/// The thread registry reports the names of threads to it all the same.
///
/// Threads:  any.
/// Locks:    mSyncObject, also while a report is written.
/// Signals:  no.
/// Forks:    the child has an account of its own, unless a lock was held at the fork.
/// Blocking: for the lock; the reports and printMessage() also while a file takes the text.
class UTL_API Memory
{
public:
    static constexpr unsigned int INVALID_FILE_ID = 0xFFFFFFFFU; ///< The id of no source file.
    static constexpr unsigned int MAX_DETAILS = 1;               ///< Rows of the table of blocks.
    static constexpr unsigned int MAX_FILES = 1;                 ///< Rows of the table of source files.
    static constexpr unsigned int MAX_THREADS = 1;               ///< Rows of the table of threads.

    using ProcessHeapInfo = utl::ProcessHeapInfo; ///< The type of that name, as a member.
    using DetailHeapInfo = utl::DetailHeapInfo;   ///< The type of that name, as a member.
    using FileNameInfo = utl::FileNameInfo;       ///< The type of that name, as a member.
    using ThreadNameInfo = utl::ThreadNameInfo;   ///< The type of that name, as a member.

    /// The content of a free row.
    static DetailHeapInfo const INITIAL_DETAIL_HEAP_INFO;

    /// The one object, made on first use.
    static Memory* get();

    /// Deletes it; a later get() makes a new one.
    /// Caution: pointers that get() gave dangle afterwards, and so do names that the object gave.
    UTL_SHARP_EDGE("keep no pointer that get() gave")
    static void destroy();

    virtual ~Memory() = default;
    Memory(Memory const&) = delete;
    Memory& operator=(Memory const&) = delete;

    /// The switch: always false. Functions whose comments mention it do nothing while it is off; the others work.
    bool enabledHeapManagement() const { return IS_ENABLED; }

    /// Records an allocation (nMode 0) or a release (any other nMode) by the calling thread. A release of null does
    /// nothing.
    ///
    /// An allocation for which the table has no room, and a release of a block that is not in it, are left out and
    /// reported as text.
    /// Caution: that text goes to file descriptor 0, whatever that is.
    void updateManagement(int nMode, void* npAddress, unsigned int nUseBytes, unsigned int nFileId, int nLine);

    /// Adds a row; the totals stay. Result: its mUseBytes; -1 if the table is full.
    /// Caution: updateManagement() subtracts the bytes of any row from the totals, which then wrap, and takes a block
    /// of 0xFFFFFFFF bytes for a full table although its row is stored; call only updateManagement().
    int addDetailHeapInfo(DetailHeapInfo const& nInfo);

    /// Removes a row; the totals stay. Result: its mUseBytes; -1 if the address is unknown.
    int eraseDetailHeapInfo(void const* npAddress);

    /// The id of a source file's path. An unknown path is stored if there is room: at most 259 bytes of it.
    /// Result: INVALID_FILE_ID if it is unknown and there is no room, and while the switch is off.
    unsigned int getFileId(char const* npPath);

    /// The path of an id; "" for an unknown one. Valid until the tables are reset.
    char const* getFileName(unsigned int nFileId);

    /// Stores a thread's name, at most 127 bytes, if there is room, which the table has for the first thread only. Does
    /// nothing for id 0, null and "".
    void registerThreadName(int nThreadId, char const* npName);

    /// The name of a thread; "" for an unknown one. Valid until the tables are reset.
    char const* getThreadName(int nThreadId);

    /// Remembers this moment for printMarkedHeapDetail().
    void mark();

    /// Write a report: of the totals, of all blocks, of the blocks allocated since mark(). An existing file is
    /// replaced, and missing directories are created; with the default modes of File the directory is then open to
    /// everybody.
    ///
    /// nLevel: not used.
    /// npPath: null writes nothing.
    /// Result: true, even if the file cannot be written; false if mark() was never called. While the switch is off:
    ///         true, and nothing is done.
    bool printUsedHeap(int nLevel, char const* npPath);
    bool printUsedHeapDetail(int nLevel, char const* npPath);
    bool printMarkedHeapDetail(int nLevel, char const* npPath);

    /// Copies the totals. Result: false for null. While the switch is off: true, and nothing is written.
    bool getUsedHeapOfProcess(ProcessHeapInfo* npInfo);

    /// Calls initializeManagementTable(); does nothing while the switch is off.
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
