// The reports of heap accounting.
#include "UtlMemory.h"

#include "UtlFile.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/file/UtlFileCalls.h"

#include <fcntl.h>

namespace utl
{

bool Memory::printUsedHeap(int nLevel, char const* npPath)
{
    return !IS_ENABLED || reportTotals(nLevel, npPath);
}

bool Memory::printUsedHeapDetail(int nLevel, char const* npPath)
{
    return !IS_ENABLED || reportDetails(nLevel, npPath);
}

bool Memory::printMarkedHeapDetail(int nLevel, char const* npPath)
{
    return !IS_ENABLED || reportMarked(nLevel, npPath);
}

bool Memory::reportTotals(int nLevel, char const* npPath)
{
    SyncGuard lGuard(mSyncObject);
    int const lFd = openReportFile(npPath);
    printMessage(nLevel, lFd, "---- ProcessHeap ----\n");
    printMessage(nLevel, lFd, "     UseBytes,      UseCount,      MaxBytes,      MaxCount, \n");
    auto const lShown = [](std::uint32_t nNumber) { return static_cast<unsigned long>(nNumber); };
    printMessage(nLevel, lFd, "%13lu, %13lu, %13lu, %13lu, \n", lShown(mProcessHeapInfo.mUseBytes),
                 lShown(mProcessHeapInfo.mUseCount), lShown(mProcessHeapInfo.mMaxBytes),
                 lShown(mProcessHeapInfo.mMaxCount));
    closeReportFile(lFd);
    return true;
}

bool Memory::reportDetails(int nLevel, char const* npPath)
{
    SyncGuard lGuard(mSyncObject);
    int const lFd = openReportFile(npPath);
    printDetails(nLevel, lFd, 0, "");
    closeReportFile(lFd);
    return true;
}

bool Memory::reportMarked(int nLevel, char const* npPath)
{
    SyncGuard lGuard(mSyncObject);
    if (mMarkedSerial == 0)
    {
        return false;
    }
    int const lFd = openReportFile(npPath);
    printDetails(nLevel, lFd, mMarkedSerial, " (Marked)");
    closeReportFile(lFd);
    return true;
}

void Memory::printDetails(int nLevel, int nFd, std::uint64_t nFirstSerial, char const* npMark)
{
    printMessage(nLevel, nFd, "---- ProcessDetailHeap%s -----------------\n", npMark);
    printMessage(nLevel, nFd,
                 "       No.,       Serial,    Address,   UseBytes,   ThreadId, "
                 "ThreadName                        ,     Line, File, \n");
    unsigned long lNumber = 0;
    for (unsigned int lIndex = 0; lIndex < mDetailCount; ++lIndex)
    {
        DetailHeapInfo const& lRow = mDetailHeapInfo[lIndex];
        if (lRow.mSerial >= nFirstSerial)
        {
            printMessage(nLevel, nFd, "%10lu, %12llu, 0x%08x, %10lu, %10d, %-34s, %8lu, %s, \n", ++lNumber,
                         static_cast<unsigned long long>(lRow.mSerial), static_cast<unsigned int>(lRow.mAddress),
                         static_cast<unsigned long>(lRow.mUseBytes), lRow.mThreadId, getThreadName(lRow.mThreadId),
                         static_cast<unsigned long>(static_cast<std::uint32_t>(lRow.mLine)), getFileName(lRow.mFileId));
        }
    }
    printMessage(nLevel, nFd, "---- ProcessDetailHeap%s [End of Log] ----\n", npMark);
}

/// Creates a report file. Result: a descriptor, or -1 for null and on failure.
int Memory::openReportFile(char const* npPath)
{
    char lDirectory[260] = {};
    if (npPath == nullptr || !File::extractDirectoryPath(lDirectory, sizeof(lDirectory), npPath) ||
        !File::makeDirectories(lDirectory))
    {
        return -1;
    }
    if (internal::opensUp())
    {
        File::changeParentAccessMode(npPath, 0777, nullptr);
    }
    return internal::gSystem.mOpen(npPath, O_WRONLY | O_CREAT | O_TRUNC, internal::opensUp() ? 0777 : 0666);
}

void Memory::closeReportFile(int nFd)
{
    if (nFd != -1)
    {
        internal::gSystem.mClose(nFd);
    }
}

} // namespace utl
