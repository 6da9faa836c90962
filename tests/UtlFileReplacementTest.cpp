#include "UtlFileReplacement.h"

#include "support/Test.h"

using namespace utl;
using namespace utl::test;

namespace
{

// Each call that fails: see proof/FaultScenarios.h.
class FileReplacementTest : public testing::Test
{
protected:
    FileReplacementTest() { put(PATH, "old"); }

    static constexpr char const* PATH = "./file";
    Folder mFolder;
};

TEST_F(FileReplacementTest, TheOldFileStandsUntilTheNewOneIsWhole)
{
    File lReader(PATH, FILE_TEXT_UTF8);
    ASSERT_TRUE(lReader.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    FileReplacement lNew(PATH, FILE_TEXT_UTF8);
    EXPECT_FALSE(lNew.write("x", 1));
    ASSERT_TRUE(lNew.open());
    EXPECT_FALSE(lNew.open());
    EXPECT_TRUE(lNew.write("ne", 2));
    EXPECT_TRUE(lNew.write("w", 1));
    EXPECT_EQ("old", contentOf(PATH));
    EXPECT_EQ(utl::Replaced::DONE, lNew.commit());
    EXPECT_EQ(utl::Replaced::FAILED, lNew.commit());
    EXPECT_EQ("new", contentOf(PATH));
    EXPECT_EQ(0640U, modeOf(PATH));
    EXPECT_EQ(1U, entryCount("."));
    char lOld[4] = {};
    EXPECT_EQ(3, lReader.read(lOld, 3));
    EXPECT_STREQ("old", lOld);
    ASSERT_TRUE(lNew.open(0600)); // again, with a mode of one's own
    EXPECT_EQ(utl::Replaced::DONE, lNew.commit());
    EXPECT_EQ("", contentOf(PATH));
    EXPECT_EQ(0600U, modeOf(PATH));
}

TEST_F(FileReplacementTest, WhoeverIsInTheWayMakesItFail)
{
    {
        FileReplacement lNew(PATH, FILE_TEXT_UTF8);
        ASSERT_TRUE(lNew.open());
        EXPECT_TRUE(inChild([&] { return lNew.~FileReplacement(), true; })); // takes nothing from the parent
        EXPECT_EQ(2U, entryCount("."));
    }
    EXPECT_EQ(1U, entryCount("."));
    {
        File lWriter(PATH, FILE_TEXT_UTF8);
        ASSERT_TRUE(lWriter.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
        FileReplacement lNew(PATH, FILE_TEXT_UTF8);
        ASSERT_TRUE(lNew.open());
        EXPECT_EQ(utl::Replaced::FAILED, lNew.commit());
    }
    {
        FileReplacement lNew(PATH, FILE_TEXT_UTF8);
        ASSERT_TRUE(lNew.open());
        FileNames lBeside(1, 1);
        ASSERT_EQ(1U, File::children("./*.new", &lBeside, FILE_CHILD_FILES, nullptr, 0));
        lNew.cancel();
        std::string lLink = lBeside.at(0)->c_str();
        std::size_t const lNumber = lLink.rfind('-') + 1;
        lLink.replace(lNumber, std::string::npos, std::to_string(std::stoul(lLink.substr(lNumber)) + 1) + ".new");
        std::filesystem::create_symlink("nowhere", lLink);
        ASSERT_TRUE(lNew.open()); // takes the next name
        EXPECT_FALSE(File::exists("./nowhere"));
        lNew.cancel();
        std::filesystem::remove(lLink);
    }
    ::chmod(PATH, 0440);
    EXPECT_FALSE(FileReplacement(PATH, FILE_TEXT_UTF8).open());
    EXPECT_FALSE(FileReplacement(".", FILE_TEXT_UTF8).open());
    EXPECT_EQ("old", contentOf(PATH));
    EXPECT_EQ(1U, entryCount("."));
}

// What it is built of.
TEST_F(FileReplacementTest, FilesAreMadeWithAModeAndPutInThePlaceOfOthers)
{
    char const* const lpOther = "sub/other";
    File lFile(lpOther, FILE_TEXT_UTF8);
    EXPECT_FALSE(lFile.sync());
    EXPECT_FALSE(lFile.create(FILE_ACCESS_READ, 0600));
    EXPECT_FALSE(lFile.create(FILE_ACCESS_WRITE, 010000));
    mode_t const lUmask = ::umask(077);
    EXPECT_TRUE(lFile.create(FILE_ACCESS_READ_WRITE, 0604));
    ::umask(lUmask);
    EXPECT_TRUE(lFile.sync());
    EXPECT_FALSE(File(lpOther, 0).create(FILE_ACCESS_WRITE, 0600)); // exists
    EXPECT_FALSE(File::replace(lpOther, PATH));                     // is held
    lFile.close();
    EXPECT_FALSE(File::replace(lpOther, "."));
    EXPECT_FALSE(File::replace(".", PATH));
    EXPECT_EQ("old", contentOf(PATH));
    EXPECT_TRUE(File::replace(lpOther, PATH));
    EXPECT_EQ("", contentOf(PATH));
    EXPECT_EQ(0604U, modeOf(PATH));
    EXPECT_FALSE(File::exists(lpOther));
    EXPECT_TRUE(File::replace(PATH, PATH));
    ASSERT_EQ(0, ::link(PATH, lpOther));                // two names of one file
    EXPECT_TRUE(File::replace(lpOther, "sub/./other")); // one name, by two ways
    EXPECT_TRUE(File::exists(lpOther));
    EXPECT_TRUE(File::replace(lpOther, PATH));
    EXPECT_FALSE(File::exists(lpOther));
    EXPECT_EQ("", contentOf(PATH));
}

} // namespace
