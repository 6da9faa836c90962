// Heap accounting: the tables and totals of blocks.
#include "UtlMemory.h"

#include "UtlMap.h"
#include "UtlRawMemory.h"
#include "UtlThreadManager.h"
#include "internal/base/UtlHeapPort.h"
#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlShownLock.h"
#include "internal/base/UtlSystemCalls.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace utl
{

namespace
{

constexpr int COMPLAINTS_FD = 0;

struct Singleton
{
    internal::ShownLock mInstantiationSyncObject{"the making of the heap account"};
    Memory* mpTheObject UTL_GUARDED_BY(mInstantiationSyncObject) = nullptr;
};

Singleton& singleton()
{
    static internal::Immortal<Singleton> lSingleton;
    return lSingleton.get();
}

struct CompareAddress
{
    bool operator()(std::uintptr_t nAddress, Memory::DetailHeapInfo const& nInfo) const
    {
        return nAddress < nInfo.mAddress;
    }
    bool operator()(Memory::DetailHeapInfo const& nInfo, std::uintptr_t nAddress) const
    {
        return nInfo.mAddress < nAddress;
    }
};

unsigned int shownAddress(Memory::DetailHeapInfo const& nInfo)
{
    return static_cast<unsigned int>(nInfo.mAddress);
}

} // namespace

Memory::DetailHeapInfo const Memory::INITIAL_DETAIL_HEAP_INFO;

Memory::Memory() = default;

Memory* Memory::get()
{
    Singleton& lSingleton = singleton();
    SyncGuard lGuard(lSingleton.mInstantiationSyncObject);
    if (lSingleton.mpTheObject == nullptr)
    {
        lSingleton.mpTheObject = new Memory;
    }
    return lSingleton.mpTheObject;
}

void Memory::destroy()
{
    Singleton& lSingleton = singleton();
    SyncGuard lGuard(lSingleton.mInstantiationSyncObject);
    delete lSingleton.mpTheObject;
    lSingleton.mpTheObject = nullptr;
}

void Memory::updateManagement(int nMode, void* npAddress, unsigned int nUseBytes, unsigned int nFileId, int nLine)
{
    DetailHeapInfo lInfo;
    lInfo.mAddress = reinterpret_cast<std::uintptr_t>(npAddress);
    lInfo.mUseBytes = nUseBytes;
    lInfo.mThreadId = ThreadManager::getCallerId();
    lInfo.mFileId = nFileId;
    lInfo.mLine = nLine;
    SyncGuard lGuard(mSyncObject);
    if (nMode == 0)
    {
        lInfo.mSerial = mNextSerial;
        recordAllocation(lInfo);
    }
    else if (npAddress != nullptr)
    {
        recordRelease(lInfo);
    }
}

void Memory::recordAllocation(DetailHeapInfo const& nInfo)
{
    int const lBytes = addDetailHeapInfo(nInfo);
    if (lBytes == -1)
    {
        printMessage(1, COMPLAINTS_FD, "!!!! DetailHeapInfo management over on allocation\n");
        printMessage(1, COMPLAINTS_FD,
                     "MaxCount:%u, Address:0x%08x, UseBytes:%10lu, ThreadId:%10d, Line:%8ld, File:%s, \n", MAX_DETAILS,
                     shownAddress(nInfo), static_cast<unsigned long>(nInfo.mUseBytes), nInfo.mThreadId,
                     static_cast<long>(nInfo.mLine), getFileName(nInfo.mFileId));
        return;
    }
    ProcessHeapInfo& lTotals = mProcessHeapInfo;
    lTotals.mUseBytes += static_cast<std::uint32_t>(lBytes);
    ++lTotals.mUseCount;
    lTotals.mMaxBytes = lTotals.mUseBytes > lTotals.mMaxBytes ? lTotals.mUseBytes : lTotals.mMaxBytes;
    lTotals.mMaxCount = lTotals.mUseCount > lTotals.mMaxCount ? lTotals.mUseCount : lTotals.mMaxCount;
}

void Memory::recordRelease(DetailHeapInfo const& nInfo)
{
    int const lBytes = eraseDetailHeapInfo(reinterpret_cast<void const*>(nInfo.mAddress));
    if (lBytes == -1)
    {
        char const* const lpFrame = "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n";
        printMessage(1, COMPLAINTS_FD, "%s", lpFrame);
        printMessage(1, COMPLAINTS_FD, "!!!! DetailHeapInfo release address is not in under management\n");
        printMessage(1, COMPLAINTS_FD, "Address:0x%08x, ThreadId:%10d, Line:%8ld, File:%s, \n", shownAddress(nInfo),
                     nInfo.mThreadId, static_cast<long>(nInfo.mLine), getFileName(nInfo.mFileId));
        printMessage(1, COMPLAINTS_FD, "%s", lpFrame);
        return;
    }
    ProcessHeapInfo& lTotals = mProcessHeapInfo;
    lTotals.mUseBytes -= lTotals.mUseBytes != 0 ? static_cast<std::uint32_t>(lBytes) : 0U;
    lTotals.mUseCount -= lTotals.mUseCount != 0 ? 1U : 0U;
}

unsigned int Memory::searchDetailPosition(std::uintptr_t nAddress) const
{
    return searchPosition(nAddress, static_cast<DetailHeapInfo const*>(mDetailHeapInfo), mDetailCount,
                          CompareAddress());
}

int Memory::addDetailHeapInfo(DetailHeapInfo const& nInfo)
{
    SyncGuard lGuard(mSyncObject);
    if (mDetailCount >= MAX_DETAILS)
    {
        return -1;
    }
    unsigned int const lPosition = searchDetailPosition(nInfo.mAddress);
    moveMemory(mDetailHeapInfo + lPosition + 1, mDetailHeapInfo + lPosition,
               static_cast<unsigned int>((mDetailCount - lPosition) * sizeof(DetailHeapInfo)));
    mDetailHeapInfo[lPosition] = nInfo;
    ++mDetailCount;
    ++mNextSerial;
    return static_cast<int>(nInfo.mUseBytes);
}

int Memory::eraseDetailHeapInfo(void const* npAddress)
{
    SyncGuard lGuard(mSyncObject);
    std::uintptr_t const lAddress = reinterpret_cast<std::uintptr_t>(npAddress);
    unsigned int const lPosition = searchDetailPosition(lAddress);
    if (lPosition >= mDetailCount || mDetailHeapInfo[lPosition].mAddress != lAddress)
    {
        return -1;
    }
    std::uint32_t const lBytes = mDetailHeapInfo[lPosition].mUseBytes;
    --mDetailCount;
    moveMemory(mDetailHeapInfo + lPosition, mDetailHeapInfo + lPosition + 1,
               static_cast<unsigned int>((mDetailCount - lPosition) * sizeof(DetailHeapInfo)));
    mDetailHeapInfo[mDetailCount] = INITIAL_DETAIL_HEAP_INFO;
    return static_cast<int>(lBytes);
}

unsigned int Memory::getFileId(char const* npPath)
{
    return IS_ENABLED ? findFileId(npPath) : INVALID_FILE_ID;
}

unsigned int Memory::findFileId(char const* npPath)
{
    if (npPath == nullptr)
    {
        return INVALID_FILE_ID;
    }
    SyncGuard lGuard(mSyncObject);
    if (mFileNameCount == 0)
    {
        std::strncpy(mFileNameInfo[0].mFileName, npPath, sizeof(mFileNameInfo[0].mFileName) - 1);
        mFileNameCount = 1;
        return 0;
    }
    return std::strcmp(mFileNameInfo[0].mFileName, npPath) == 0 ? 0 : INVALID_FILE_ID;
}

char const* Memory::getFileName(unsigned int nFileId)
{
    SyncGuard lGuard(mSyncObject);
    return nFileId < mFileNameCount ? mFileNameInfo[nFileId].mFileName : "";
}

void Memory::registerThreadName(int nThreadId, char const* npName)
{
    SyncGuard lGuard(mSyncObject);
    if (nThreadId == 0 || npName == nullptr || *npName == '\0' || mThreadNameCount != 0)
    {
        return;
    }
    std::strncpy(mThreadNameInfo[0].mThreadName, npName, sizeof(mThreadNameInfo[0].mThreadName) - 1);
    mThreadNameInfo[0].mThreadId = nThreadId;
    mThreadNameCount = 1;
}

char const* Memory::getThreadName(int nThreadId)
{
    SyncGuard lGuard(mSyncObject);
    bool const lIsKnown = nThreadId != 0 && mThreadNameCount != 0 && mThreadNameInfo[0].mThreadId == nThreadId;
    return lIsKnown ? mThreadNameInfo[0].mThreadName : "";
}

void Memory::mark()
{
    SyncGuard lGuard(mSyncObject);
    mMarkedSerial = mNextSerial;
}

bool Memory::getUsedHeapOfProcess(ProcessHeapInfo* npInfo)
{
    return !IS_ENABLED || copyTotals(npInfo);
}

bool Memory::copyTotals(ProcessHeapInfo* npInfo)
{
    if (npInfo == nullptr)
    {
        return false;
    }
    SyncGuard lGuard(mSyncObject);
    *npInfo = mProcessHeapInfo;
    return true;
}

void Memory::resetUsedHeap()
{
    if (IS_ENABLED)
    {
        initializeManagementTable();
    }
}

void Memory::initializeManagementTable()
{
    SyncGuard lGuard(mSyncObject);
    mProcessHeapInfo = ProcessHeapInfo();
    mDetailHeapInfo[0] = INITIAL_DETAIL_HEAP_INFO;
    mDetailCount = 0;
    mNextSerial = 1;
    mFileNameInfo[0] = FileNameInfo();
    mFileNameCount = 0;
    mThreadNameInfo[0] = ThreadNameInfo();
    mThreadNameCount = 0;
}

void Memory::printGlobalMemoryStatus(char const*) {}

void Memory::printMessage(int, int nFd, char const* npFormat, ...)
{
    SyncGuard lGuard(mSyncObject);
    mMsgBuffer[0] = '\0';
    va_list lArguments;
    va_start(lArguments, npFormat);
    int const lLength = internal::gSystem.mVsnprintf(mMsgBuffer, sizeof(mMsgBuffer), npFormat, lArguments);
    va_end(lArguments);
    if (lLength < static_cast<int>(sizeof(mMsgBuffer)) && nFd != -1)
    {
        // Best effort: a failure is not reported.
        (void)internal::gSystem.mWrite(nFd, mMsgBuffer, std::strlen(mMsgBuffer));
    }
}

namespace internal
{

void registerHeapThreadName(int nThreadId, char const* npName)
{
    Memory::get()->registerThreadName(nThreadId, npName);
}

} // namespace internal

} // namespace utl
