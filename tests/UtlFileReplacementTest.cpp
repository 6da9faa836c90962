#include "UtlFileReplacement.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace utl;

namespace
{

// Each call that fails: see proof/FaultScenarios.h.
class FileReplacementTest : public testing::Test
{
protected:
    FileReplacementTest()
    {
        ::mkdtemp(mDirectory);
        std::ofstream(path()) << "old";
        ::chmod(path().c_str(), 0640);
    }
    ~FileReplacementTest() override { std::filesystem::remove_all(mDirectory); }

    std::string path() const { return std::string(mDirectory) + "/file"; }
    std::string content() const
    {
        std::ifstream lStream(path());
        return std::string(std::istreambuf_iterator<char>(lStream), {});
    }
    long files() const
    {
        return std::distance(std::filesystem::directory_iterator(mDirectory), std::filesystem::directory_iterator());
    }
    unsigned int mode() const
    {
        struct stat lStat = {};
        return ::stat(path().c_str(), &lStat) == 0 ? lStat.st_mode & 07777U : 0;
    }
    char mDirectory[32] = "/tmp/utlReplacementXXXXXX";
};

TEST_F(FileReplacementTest, TheOldFileStandsUntilTheNewOneIsWhole)
{
    File lReader(path().c_str(), FILE_TEXT_UTF8);
    ASSERT_TRUE(lReader.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    FileReplacement lNew(path().c_str(), FILE_TEXT_UTF8);
    EXPECT_FALSE(lNew.write("x", 1));
    ASSERT_TRUE(lNew.open());
    EXPECT_FALSE(lNew.open());
    EXPECT_TRUE(lNew.write("ne", 2));
    EXPECT_TRUE(lNew.write("w", 1));
    EXPECT_EQ("old", content());
    EXPECT_EQ(Replaced::DONE, lNew.commit());
    EXPECT_EQ("new", content());
    EXPECT_EQ(0640U, mode());
    EXPECT_EQ(1, files());
    EXPECT_EQ(Replaced::FAILED, lNew.commit());
    char lOld[4] = {};
    EXPECT_EQ(3, lReader.read(lOld, 3));
    EXPECT_STREQ("old", lOld);
    ASSERT_TRUE(lNew.open(0600)); // again, with a mode of one's own
    EXPECT_EQ(Replaced::DONE, lNew.commit());
    EXPECT_EQ("", content());
    EXPECT_EQ(0600U, mode());
}

TEST_F(FileReplacementTest, WhoeverIsInTheWayMakesItFail)
{
    {
        FileReplacement lNew(path().c_str(), FILE_TEXT_UTF8);
        ASSERT_TRUE(lNew.open());
        pid_t const lChild = ::fork();
        if (lChild == 0)
        {
            lNew.~FileReplacement(); // takes nothing from the parent
            ::_exit(0);
        }
        ::waitpid(lChild, nullptr, 0);
        EXPECT_EQ(2, files());
    }
    EXPECT_EQ(1, files());
    {
        File lWriter(path().c_str(), FILE_TEXT_UTF8);
        ASSERT_TRUE(lWriter.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
        FileReplacement lNew(path().c_str(), FILE_TEXT_UTF8);
        ASSERT_TRUE(lNew.open());
        EXPECT_EQ(Replaced::FAILED, lNew.commit());
    }
    {
        std::string lBeside;
        FileReplacement lNew(path().c_str(), FILE_TEXT_UTF8);
        ASSERT_TRUE(lNew.open());
        for (auto const& lEntry : std::filesystem::directory_iterator(std::filesystem::path(path()).parent_path()))
        {
            std::string const lName = lEntry.path().string();
            lBeside = lName != path() ? lName : lBeside;
        }
        lNew.cancel();
        std::size_t const lDash = lBeside.rfind('-');
        unsigned long const lNext = std::stoul(lBeside.substr(lDash + 1)) + 1;
        std::string const lLink = lBeside.substr(0, lDash + 1) + std::to_string(lNext) + ".new";
        std::filesystem::create_symlink("nowhere", lLink);
        ASSERT_TRUE(lNew.open()); // takes the next name
        EXPECT_FALSE(File::exists((std::filesystem::path(lLink).parent_path() / "nowhere").c_str()));
        lNew.cancel();
        std::filesystem::remove(lLink);
    }
    ::chmod(path().c_str(), 0440);
    EXPECT_FALSE(FileReplacement(path().c_str(), FILE_TEXT_UTF8).open());
    EXPECT_FALSE(FileReplacement(mDirectory, FILE_TEXT_UTF8).open());
    EXPECT_EQ("old", content());
    EXPECT_EQ(1, files());
}

// What it is built of.
TEST_F(FileReplacementTest, FilesAreMadeWithAModeAndPutInThePlaceOfOthers)
{
    std::string const lOther = std::string(mDirectory) + "/sub/other";
    File lFile(lOther.c_str(), FILE_TEXT_UTF8);
    EXPECT_FALSE(lFile.sync());
    EXPECT_FALSE(lFile.create(FILE_ACCESS_READ, 0600));
    EXPECT_FALSE(lFile.create(FILE_ACCESS_WRITE, 010000));
    mode_t const lUmask = ::umask(077);
    EXPECT_TRUE(lFile.create(FILE_ACCESS_READ_WRITE, 0604));
    ::umask(lUmask);
    EXPECT_TRUE(lFile.sync());
    EXPECT_FALSE(File(lOther.c_str(), 0).create(FILE_ACCESS_WRITE, 0600)); // exists
    EXPECT_FALSE(File::replace(lOther.c_str(), path().c_str()));           // is held
    lFile.close();
    EXPECT_FALSE(File::replace(lOther.c_str(), mDirectory));
    EXPECT_FALSE(File::replace(mDirectory, path().c_str()));
    EXPECT_EQ("old", content());
    EXPECT_TRUE(File::replace(lOther.c_str(), path().c_str()));
    EXPECT_EQ("", content());
    EXPECT_EQ(0604U, mode());
    EXPECT_FALSE(File::exists(lOther.c_str()));
    EXPECT_TRUE(File::replace(path().c_str(), path().c_str()));
    ASSERT_EQ(0, ::link(path().c_str(), lOther.c_str())); // two names of one file
    std::string const lAgain = std::string(mDirectory) + "/sub/./other";
    EXPECT_TRUE(File::replace(lOther.c_str(), lAgain.c_str())); // one name, by two ways
    EXPECT_TRUE(File::exists(lOther.c_str()));
    EXPECT_TRUE(File::replace(lOther.c_str(), path().c_str()));
    EXPECT_FALSE(File::exists(lOther.c_str()));
    EXPECT_EQ("", content());
}

} // namespace
