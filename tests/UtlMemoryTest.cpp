#include "UtlMemory.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "UtlThreadManager.h"
#include "internal/UtlHeapPort.h"
#include "support/Faults.h"
#include "support/Resources.h"

namespace utl
{

/// What the operations do while the switch is on.
class MemoryTestPeer
{
public:
    static unsigned int findFileId(char const* npPath) { return Memory::get()->findFileId(npPath); }
    static bool copyTotals(Memory::ProcessHeapInfo* npInfo) { return Memory::get()->copyTotals(npInfo); }
    static bool reportTotals(char const* npPath) { return Memory::get()->reportTotals(3, npPath); }
    static bool reportDetails(char const* npPath) { return Memory::get()->reportDetails(3, npPath); }
    static bool reportMarked(char const* npPath) { return Memory::get()->reportMarked(3, npPath); }
};

} // namespace utl

namespace
{

using utl::Memory;
using Peer = utl::MemoryTestPeer;

std::string gWritten; // to descriptor 0

class MemoryTest : public testing::Test
{
protected:
    MemoryTest() { gWritten.clear(); }
    ~MemoryTest() override { Memory::destroy(); }

    static std::string totals()
    {
        Memory::ProcessHeapInfo lInfo;
        EXPECT_TRUE(Peer::copyTotals(&lInfo));
        std::ostringstream lText;
        lText << lInfo.mUseBytes << ' ' << lInfo.mUseCount << ' ' << lInfo.mMaxBytes << ' ' << lInfo.mMaxCount;
        return lText.str();
    }

    utl::test::Replaced<ssize_t(int, void const*, std::size_t)> mWrite{
        &utl::internal::SystemCalls::mWrite,
        [](int nFd, void const* npText, std::size_t nSize) -> ssize_t
        {
            if (nFd != 0)
            {
                return ::write(nFd, npText, nSize);
            }
            gWritten.append(static_cast<char const*>(npText), nSize);
            return static_cast<ssize_t>(nSize);
        }};
    // The report opens every directory on its way, and the tests may run as root.
    utl::test::Replaced<int(char const*, mode_t)> mChmod{
        &utl::internal::SystemCalls::mChmod, [](char const* npPath, mode_t nMode)
        { return std::strstr(npPath, "utlMemoryTest") == nullptr ? 0 : ::chmod(npPath, nMode); }};
    void* const mpBlock = reinterpret_cast<void*>(0x1234);
    std::string const mId = std::to_string(utl::ThreadManager::getCallerId());
    std::string const mShownId = std::string(10 - mId.size(), ' ') + mId;
};

TEST_F(MemoryTest, AccountsForOneBlockAndComplainsAboutTheRest)
{
    Memory& lMemory = *Memory::get();
    EXPECT_EQ(0U, Peer::findFileId("source/a.cpp"));
    lMemory.updateManagement(0, mpBlock, 100, 0, 10);
    EXPECT_EQ("100 1 100 1", totals());
    EXPECT_EQ("", gWritten);
    lMemory.updateManagement(0, reinterpret_cast<void*>(0xABCDEF), 5, 0, 11);
    EXPECT_EQ("!!!! DetailHeapInfo management over on allocation\n"
              "MaxCount:1, Address:0x00abcdef, UseBytes:         5, ThreadId:" +
                  mShownId + ", Line:      11, File:source/a.cpp, \n",
              gWritten);
    gWritten.clear();
    lMemory.updateManagement(1, reinterpret_cast<void*>(0xABCDEF), 0, 7, -1);
    std::string const lFrame = std::string(67, '!') + "\n";
    EXPECT_EQ(lFrame + "!!!! DetailHeapInfo release address is not in under management\n" +
                  "Address:0x00abcdef, ThreadId:" + mShownId + ", Line:      -1, File:, \n" + lFrame,
              gWritten);
    gWritten.clear();
    lMemory.updateManagement(1, nullptr, 0, 0, 0);
    EXPECT_EQ("100 1 100 1", totals());
    lMemory.updateManagement(2, mpBlock, 0, 0, 0);
    EXPECT_EQ("0 0 100 1", totals());
    lMemory.updateManagement(0, mpBlock, 30, 0, 12);
    EXPECT_EQ("30 1 100 1", totals());

    // A row whose bytes never came into the totals: they wrap below 0, but from 0 nothing is taken.
    Memory::DetailHeapInfo lInfo;
    lInfo.mAddress = reinterpret_cast<std::uintptr_t>(mpBlock);
    lInfo.mUseBytes = 40;
    EXPECT_EQ(30, lMemory.eraseDetailHeapInfo(mpBlock));
    EXPECT_EQ(40, lMemory.addDetailHeapInfo(lInfo));
    EXPECT_EQ(-1, lMemory.addDetailHeapInfo(lInfo));
    lMemory.updateManagement(1, mpBlock, 0, 0, 0);
    EXPECT_EQ("4294967286 0 100 1", totals());
    lMemory.initializeManagementTable();
    lMemory.addDetailHeapInfo(lInfo);
    lMemory.updateManagement(1, mpBlock, 0, 0, 0);
    EXPECT_EQ("0 0 0 0", totals());
    EXPECT_EQ("", gWritten);
    EXPECT_FALSE(Peer::copyTotals(nullptr));
}

TEST_F(MemoryTest, KeepsTheFirstNames)
{
    Memory& lMemory = *Memory::get();
    std::string const lLong(300, 'n');
    for (char const* lpName : {static_cast<char const*>(nullptr), ""})
    {
        utl::internal::registerHeapThreadName(5, lpName);
    }
    utl::internal::registerHeapThreadName(0, "zero");
    utl::internal::registerHeapThreadName(5, lLong.c_str());
    utl::internal::registerHeapThreadName(5, "renamed");
    utl::internal::registerHeapThreadName(6, "second");
    EXPECT_EQ(lLong.substr(0, 127), lMemory.getThreadName(5));
    EXPECT_STREQ("", lMemory.getThreadName(6));
    EXPECT_STREQ("", lMemory.getThreadName(0));
    utl::ThreadManager* const lpManager = utl::ThreadManager::get();
    lMemory.initializeManagementTable(); // without the watchdog's thread
    ASSERT_NE(0, lpManager->entryCaller(0, 0, nullptr, "caller"));
    EXPECT_STREQ("caller", lMemory.getThreadName(utl::ThreadManager::getCallerId()));

    EXPECT_STREQ("", lMemory.getFileName(0));
    EXPECT_EQ(0U, Peer::findFileId(lLong.c_str()));
    EXPECT_EQ(0U, Peer::findFileId(lLong.substr(0, 259).c_str()));
    EXPECT_EQ(Memory::INVALID_FILE_ID, Peer::findFileId("other"));
    EXPECT_EQ(lLong.substr(0, 259), lMemory.getFileName(0));
    EXPECT_STREQ("", lMemory.getFileName(1));
    EXPECT_STREQ("", lMemory.getFileName(Memory::INVALID_FILE_ID));
}

TEST_F(MemoryTest, SwitchedOffReportsDoNothing)
{
    Memory& lMemory = *Memory::get();
    Memory::ProcessHeapInfo lInfo;
    lInfo.mMaxBytes = 77;
    lMemory.updateManagement(0, mpBlock, 1, 0, 0);
    std::string const lPath = testing::TempDir() + "utlMemoryTestOff";
    EXPECT_TRUE(lMemory.printUsedHeap(1, lPath.c_str()) && lMemory.printUsedHeapDetail(1, lPath.c_str()));
    EXPECT_TRUE(lMemory.printMarkedHeapDetail(1, lPath.c_str())); // although nothing was marked
    EXPECT_FALSE(std::ifstream(lPath).good());
    EXPECT_TRUE(lMemory.getUsedHeapOfProcess(&lInfo) && lMemory.getUsedHeapOfProcess(nullptr));
    EXPECT_EQ(77U, lInfo.mMaxBytes);
    EXPECT_EQ(Memory::INVALID_FILE_ID, lMemory.getFileId("a"));
    lMemory.resetUsedHeap();
    EXPECT_EQ("1 1 1 1", totals());

    lMemory.printMessage(1, -1, "nowhere");
    lMemory.printMessage(1, 0, "%s", std::string(1024, 'x').c_str());
    EXPECT_EQ("", gWritten);
    lMemory.printMessage(1, 0, "%s", std::string(1023, 'x').c_str());
    EXPECT_EQ(std::string(1023, 'x'), gWritten);
}

TEST_F(MemoryTest, ReportsShowTheTables)
{
    Memory& lMemory = *Memory::get();
    std::string const lDirectory = testing::TempDir() + "utlMemoryTest" + mId;
    std::string const lPath = lDirectory + "/deep/report";
    auto const lContent = [&]
    {
        std::ostringstream lText;
        lText << std::ifstream(lPath).rdbuf();
        return lText.str();
    };
    std::string const lHead = "       No.,       Serial,    Address,   UseBytes,   ThreadId, "
                              "ThreadName                        ,     Line, File, \n";
    Peer::findFileId("source/a.cpp");
    lMemory.registerThreadName(utl::ThreadManager::getCallerId(), "me");
    EXPECT_FALSE(Peer::reportMarked(lPath.c_str()));
    utl::ThreadManager::get(); // its pipe is no leak
    unsigned int const lFdsBefore = utl::test::openFdCount();
    lMemory.updateManagement(0, mpBlock, 100, 0, 10);

    EXPECT_TRUE(Peer::reportTotals(lPath.c_str()));
    EXPECT_EQ("---- ProcessHeap ----\n"
              "     UseBytes,      UseCount,      MaxBytes,      MaxCount, \n"
              "          100,             1,           100,             1, \n",
              lContent());
    std::string const lRow = "         1,            1, 0x00001234,        100, " + mShownId + ", me" +
                             std::string(32, ' ') + ",       10, source/a.cpp, \n";
    EXPECT_TRUE(Peer::reportDetails(lPath.c_str()));
    EXPECT_EQ("---- ProcessDetailHeap -----------------\n" + lHead + lRow +
                  "---- ProcessDetailHeap [End of Log] ----\n",
              lContent());
    lMemory.mark();
    for (std::string const& lRows : {std::string(), "         1,            2" + lRow.substr(24)})
    {
        EXPECT_TRUE(Peer::reportMarked(lPath.c_str()));
        EXPECT_EQ("---- ProcessDetailHeap (Marked) -----------------\n" + lHead + lRows +
                      "---- ProcessDetailHeap (Marked) [End of Log] ----\n",
                  lContent());
        lMemory.updateManagement(1, mpBlock, 0, 0, 0);
        lMemory.updateManagement(0, mpBlock, 100, 0, 10);
    }
    utl::test::FailNth<&utl::internal::SystemCalls::mOpen> lFault(0, EACCES);
    EXPECT_TRUE(Peer::reportTotals(lPath.c_str()));
    EXPECT_TRUE(Peer::reportTotals(nullptr));
    EXPECT_EQ(lFdsBefore, utl::test::openFdCount());
    struct stat lStat = {};
    EXPECT_TRUE(::stat((lDirectory + "/deep").c_str(), &lStat) == 0 && (lStat.st_mode & 07777) == 0777);
    EXPECT_EQ(0, std::system(("rm -r '" + lDirectory + "'").c_str()));
}

} // namespace
