#include "UtlRotatingLog.h"

#include "UtlApplog.h"
#include "support/Test.h"

using namespace utl;
using namespace utl::test;

namespace
{

// Each call that fails: see proof/FaultScenarios.h.
class RotatingLogTest : public testing::Test
{
protected:
    /// 0 for the file itself.
    static std::string path(unsigned int nNumber = 0)
    {
        return "sub/log" + (nNumber == 0 ? "" : "." + std::to_string(nNumber));
    }

    static std::vector<std::string> lines(unsigned int nNumber, int nTextType)
    {
        std::vector<std::string> lTexts;
        File lFile(path(nNumber).c_str(), nTextType);
        EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ)) << nNumber;
        for (Line const& lLine : Lines(lFile))
        {
            lTexts.emplace_back(lLine.mText);
        }
        return lTexts;
    }

    Folder mFolder;
};

TEST_F(RotatingLogTest, ChangesFilesBeforeTheyAreTooLong)
{
    for (int lTextType : {FILE_TEXT_SJIS, FILE_TEXT_UTF8, FILE_TEXT_UTF16_BE, FILE_TEXT_UTF16_LE})
    {
        RotatingLog lLog(path().c_str(), lTextType, 120, 2, 0640);
        std::vector<std::string> lExpected;
        for (int lLine = 0; lLine < 100; ++lLine)
        {
            lExpected.push_back("行" + std::to_string(lLine));
            EXPECT_EQ(LineWritten::DONE, lLog.write(lExpected.back()));
        }
        EXPECT_FALSE(std::filesystem::exists(path(3)));
        std::vector<std::string> lFound;
        for (unsigned int lNumber : {2U, 1U, 0U})
        {
            std::vector<std::string> const lPart = lines(lNumber, lTextType);
            lFound.insert(lFound.end(), lPart.begin(), lPart.end());
            EXPECT_GE(120U, std::filesystem::file_size(path(lNumber)));
        }
        ASSERT_LE(lFound.size(), lExpected.size());
        EXPECT_LT(24U, lFound.size());
        EXPECT_TRUE(std::equal(lFound.rbegin(), lFound.rend(), lExpected.rbegin()));
        EXPECT_EQ(LineWritten::DONE, lLog.write(std::string(20000, 'x'))); // has a file to itself
        EXPECT_EQ(lExpected.back(), lines(1, lTextType).back());
        EXPECT_LT(20000U, std::filesystem::file_size(path()));
        EXPECT_TRUE(lLog.rotate());
        EXPECT_EQ(0U, std::filesystem::file_size(path()));
        EXPECT_EQ(0640U, modeOf(path()));
        std::filesystem::remove_all("sub"); // made anew by the next
    }
}

TEST_F(RotatingLogTest, LinesInPiecesAreMeasuredAsAWhole)
{
    for (int lTextType : {FILE_TEXT_UTF8, FILE_TEXT_UTF16_LE})
    {
        std::size_t const lLength = lTextType == FILE_TEXT_UTF8 ? 6000 : 3000;
        RotatingLog lLog(path().c_str(), lTextType, 12500, 1);
        EXPECT_EQ(LineWritten::DONE, lLog.write(std::string(lLength, 'x')));
        EXPECT_EQ(LineWritten::DONE, lLog.write(std::string(lLength + 999, 'y'))); // its first piece would fit
        EXPECT_EQ(1U, lines(0, lTextType).size());
        std::filesystem::remove_all("sub");
    }
}

TEST_F(RotatingLogTest, AnyNumberOfOldFiles)
{
    for (unsigned int lOldFiles : {0U, 4000000000U})
    {
        RotatingLog lLog(path().c_str(), FILE_TEXT_UTF8, 100, lOldFiles);
        for (int lTime = 0; lTime < 3; ++lTime)
        {
            EXPECT_EQ(LineWritten::DONE, lLog.write("line"));
            EXPECT_TRUE(lLog.rotate());
        }
        EXPECT_TRUE(lLog.sync());
        EXPECT_EQ(lOldFiles != 0, std::filesystem::exists(path(3)));
    }
}

TEST_F(RotatingLogTest, AChangeThatCannotBeDoneIsToldOnce)
{
    std::filesystem::create_directories(path(1)); // is in the way
    LogCapture lCapture;
    RotatingLog lLog(path().c_str(), FILE_TEXT_UTF8, 5, 1);
    for (int lTime = 0; lTime < 3; ++lTime)
    {
        EXPECT_EQ(LineWritten::DONE, lLog.write("line"));
    }
    EXPECT_FALSE(lLog.rotate());
    EXPECT_EQ(1U, lCapture.count("rename Failed"));
    std::filesystem::remove_all(path(1));
    EXPECT_TRUE(lLog.rotate());
}

TEST_F(RotatingLogTest, ReadersCanLookAndAreNotInTheWay)
{
    LogCapture lCapture;
    RotatingLog lLog(path().c_str(), FILE_TEXT_UTF8, 8, 1);
    EXPECT_EQ(LineWritten::DONE, lLog.write("one"));
    File lFile(path().c_str(), FILE_TEXT_UTF8);
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    EXPECT_EQ(LineWritten::DONE, lLog.write("two"));
    EXPECT_EQ(LineWritten::DONE, lLog.write("three")); // in a new file
    Lines lLines(lFile);
    EXPECT_EQ("one", lLines.next()->mText);
    EXPECT_EQ("two", lLines.next()->mText);
    EXPECT_EQ(nullptr, lLines.next());
    lFile.close();
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_EQ(LineWritten::FAILED, lLog.write("lost"));
    EXPECT_EQ(LineWritten::FAILED, lLog.write("lost"));
    EXPECT_EQ(2U, lLog.lostCount());
    lFile.close();
    EXPECT_EQ(LineWritten::DONE, lLog.write("4\n5", ""));
    EXPECT_EQ((std::vector<std::string>{"4", "5"}), lines(0, FILE_TEXT_UTF8));
    applog(DEFAULT_LOG_TYPE, LOG_LEVEL_INFO, lLog, "%d lines", 6);
    EXPECT_EQ("INF: 6 lines", lines(0, FILE_TEXT_UTF8).back().substr(20));
    EXPECT_TRUE(lLog.sync());
}

TEST_F(RotatingLogTest, ProcessesAndThreadsShareAFileBesideAReader)
{
    constexpr int LINES = 150;
    RotatingLog lLog(path().c_str(), FILE_TEXT_UTF8, 3000, 9);
    RotatingLog lOther(path().c_str(), FILE_TEXT_UTF8, 3000, 9);
    std::atomic<int> lWriting{2};
    std::multiset<std::string> lExpected{"first"};
    auto const lWrite = [&](RotatingLog& nLog, std::string const& nName)
    {
        for (int lLine = 0; lLine < LINES; ++lLine)
        {
            EXPECT_EQ(LineWritten::DONE, nLog.write(nName + std::to_string(lLine)));
        }
        --lWriting;
    };
    for (int lLine = 0; lLine < LINES; ++lLine)
    {
        for (char const* const lpName : {"child ", "thread ", "other "})
        {
            lExpected.insert(lpName + std::to_string(lLine));
        }
    }
    std::set<std::string> lSeen;
    auto const lRead = [&]
    {
        while (lWriting != 0)
        {
            File lFile(path().c_str(), FILE_TEXT_UTF8);
            lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ); // a writer may have it just now
            for (Line const& lLine : Lines(lFile))
            {
                lSeen.insert(lLine.mEolSize != 0 ? std::string(lLine.mText) : "first");
            }
        }
    };
    EXPECT_EQ(LineWritten::DONE, lLog.write("first")); // open before the fork
    pid_t const lChild = ::fork();
    if (lChild == 0)
    {
        lWrite(lLog, "child ");
        ::_exit(HasFailure() ? 1 : 0);
    }
    together([&] { lWrite(lLog, "thread "); }, [&] { lWrite(lOther, "other "); }, lRead);
    int lStatus = -1;
    ::waitpid(lChild, &lStatus, 0);
    EXPECT_EQ(0, lStatus);
    std::multiset<std::string> lFound;
    for (unsigned int lNumber = 0; std::filesystem::exists(path(lNumber)); ++lNumber)
    {
        std::vector<std::string> const lPart = lines(lNumber, FILE_TEXT_UTF8);
        lFound.insert(lPart.begin(), lPart.end());
    }
    EXPECT_EQ(lExpected, lFound);
    EXPECT_TRUE(std::includes(lExpected.begin(), lExpected.end(), lSeen.begin(), lSeen.end())); // all in one piece
}

} // namespace
