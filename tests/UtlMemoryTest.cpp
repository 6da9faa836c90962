#include "UtlMemory.h"

#include "UtlFile.h"
#include "UtlThreadManager.h"
#include "internal/base/UtlHeapPort.h"
#include "support/Test.h"

#include <sstream>

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
using utl::test::said;
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
    void* const mpBlock = reinterpret_cast<void*>(0x1234);
    std::string const mId = std::to_string(utl::ThreadManager::getCallerId());
    std::string const mShownId = std::string(10 - mId.size(), ' ') + mId;
};

TEST_F(MemoryTest, AccountsForOneBlockAndComplainsAboutTheRest)
{
    Memory& lMemory = *Memory::get();
    void* const lpOther = reinterpret_cast<void*>(0xABCDEF);
    EXPECT_EQ(0U, Peer::findFileId("source/a.cpp"));
    lMemory.updateManagement(0, mpBlock, 100, 0, 10);
    lMemory.updateManagement(1, nullptr, 0, 0, 0);
    EXPECT_EQ("", gWritten);
    lMemory.updateManagement(0, lpOther, 5, 0, 11);
    lMemory.updateManagement(1, lpOther, 0, 7, -1);
    std::string const lFrame = std::string(67, '!') + "\n";
    EXPECT_EQ("!!!! DetailHeapInfo management over on allocation\n"
              "MaxCount:1, Address:0x00abcdef, UseBytes:         5, ThreadId:" +
                  mShownId + ", Line:      11, File:source/a.cpp, \n" + lFrame +
                  "!!!! DetailHeapInfo release address is not in under management\n"
                  "Address:0x00abcdef, ThreadId:" +
                  mShownId + ", Line:      -1, File:, \n" + lFrame,
              gWritten);
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
    EXPECT_FALSE(Peer::copyTotals(nullptr));
}

TEST_F(MemoryTest, KeepsTheFirstNames)
{
    Memory& lMemory = *Memory::get();
    std::string const lLong(300, 'n');
    utl::internal::registerHeapThreadName(5, nullptr);
    utl::internal::registerHeapThreadName(5, "");
    utl::internal::registerHeapThreadName(0, "zero");
    utl::internal::registerHeapThreadName(5, lLong.c_str());
    utl::internal::registerHeapThreadName(5, "renamed");
    EXPECT_EQ(lLong.substr(0, 127), lMemory.getThreadName(5));
    EXPECT_EQ("", lMemory.getThreadName(0) + std::string(lMemory.getThreadName(6)));
    utl::ThreadManager* const lpManager = utl::ThreadManager::get();
    lMemory.initializeManagementTable(); // without the watchdog's thread
    ASSERT_NE(0, lpManager->entryCaller(0, 0, nullptr, "caller"));
    EXPECT_STREQ("caller", lMemory.getThreadName(utl::ThreadManager::getCallerId()));

    EXPECT_STREQ("", lMemory.getFileName(0));
    EXPECT_EQ(Memory::INVALID_FILE_ID, Peer::findFileId(nullptr));
    EXPECT_EQ(0U, Peer::findFileId(lLong.c_str()));
    EXPECT_EQ(0U, Peer::findFileId(lLong.substr(0, 259).c_str()));
    EXPECT_EQ(Memory::INVALID_FILE_ID, Peer::findFileId("other"));
    EXPECT_EQ(lLong.substr(0, 259), lMemory.getFileName(0));
    EXPECT_EQ("", lMemory.getFileName(1) + std::string(lMemory.getFileName(Memory::INVALID_FILE_ID)));
}

TEST_F(MemoryTest, SwitchedOffReportsDoNothing)
{
    Memory& lMemory = *Memory::get();
    Memory::ProcessHeapInfo lInfo;
    lInfo.mMaxBytes = 77;
    lMemory.updateManagement(0, mpBlock, 1, 0, 0);
    utl::test::Folder const lFolder;
    EXPECT_EQ("yy", said({lMemory.printUsedHeap(1, "off"), lMemory.printUsedHeapDetail(1, "off")}));
    EXPECT_TRUE(lMemory.printMarkedHeapDetail(1, "off")); // although nothing was marked
    EXPECT_FALSE(utl::File::exists("off"));
    EXPECT_EQ("yy", said({lMemory.getUsedHeapOfProcess(&lInfo), lMemory.getUsedHeapOfProcess(nullptr)}));
    EXPECT_EQ(77, lInfo.mMaxBytes);
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
    utl::test::Folder const lFolder; // the report opens the directories on its way, not that one
    utl::File::setModes(utl::FILE_MODES_OPEN);
    char const* const lpPath = "new/deep/report";
    auto const lReport = [&](bool (*nReport)(char const*))
    {
        EXPECT_TRUE(nReport(lpPath));
        return utl::test::contentOf(lpPath);
    };
    std::string const lHead = " -----------------\n       No.,       Serial,    Address,   UseBytes,   ThreadId, "
                              "ThreadName                        ,     Line, File, \n";
    std::string const lRow =
        ", 0x00001234,        100, " + mShownId + ", me" + std::string(32, ' ') + ",       10, source/a.cpp, \n";
    Peer::findFileId("source/a.cpp");
    lMemory.registerThreadName(utl::ThreadManager::getCallerId(), "me");
    EXPECT_FALSE(Peer::reportMarked(lpPath));
    utl::ThreadManager::get(); // its pipe is no leak
    unsigned int const lFdsBefore = utl::test::openFdCount();
    lMemory.updateManagement(0, mpBlock, 100, 0, 10);

    EXPECT_EQ("---- ProcessHeap ----\n"
              "     UseBytes,      UseCount,      MaxBytes,      MaxCount, \n"
              "          100,             1,           100,             1, \n",
              lReport(Peer::reportTotals));
    EXPECT_EQ("---- ProcessDetailHeap" + lHead + "         1,            1" + lRow +
                  "---- ProcessDetailHeap [End of Log] ----\n",
              lReport(Peer::reportDetails));
    lMemory.mark();
    for (std::string const& lRows : {std::string(), "         1,            2" + lRow})
    {
        EXPECT_EQ("---- ProcessDetailHeap (Marked)" + lHead + lRows +
                      "---- ProcessDetailHeap (Marked) [End of Log] ----\n",
                  lReport(Peer::reportMarked));
        lMemory.updateManagement(1, mpBlock, 0, 0, 0);
        lMemory.updateManagement(0, mpBlock, 100, 0, 10);
    }
    utl::test::FailNth<&utl::internal::SystemCalls::mOpen> lFault(0, EACCES);
    EXPECT_EQ("yy", said({Peer::reportTotals(lpPath), Peer::reportTotals(nullptr)}));
    EXPECT_EQ(lFdsBefore, utl::test::openFdCount());
    EXPECT_EQ(0777U, utl::test::modeOf("new/deep"));
    utl::File::setModes(utl::FILE_MODES_UMASK);
}

} // namespace
