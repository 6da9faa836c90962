#include "UtlFile.h"

#include "UtlThreadManager.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/Resources.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace
{

namespace fs = std::filesystem;
using namespace utl;
using namespace utl::test;
using SC = internal::SystemCalls;
using Text = BasicString<char>;

constexpr uid_t ORDINARY_USER = 65534;
constexpr int SAMPLE_SIZE = 40000; // three blocks of a copy

int chmodBelowRoot(char const* npPath, mode_t nMode)
{
    return std::strcmp(npPath, "/") == 0 ? 0 : ::chmod(npPath, nMode); // the tests may run as root
}

void put(std::string const& nPath, std::string const& nContent, mode_t nMode = 0640)
{
    std::ofstream(nPath) << nContent;
    ::chmod(nPath.c_str(), nMode);
}

std::string contentOf(std::string const& nPath)
{
    std::ifstream lStream(nPath);
    return {std::istreambuf_iterator<char>(lStream), {}};
}

mode_t modeOf(std::string const& nPath)
{
    struct stat lStat = {};
    return ::stat(nPath.c_str(), &lStat) == 0 ? lStat.st_mode & 07777U : 0;
}

/// The directory "d" with the file "s" of SAMPLE_SIZE bytes, the empty directory "e".
void makeSample()
{
    for (char const* const lpName : {"d", "e"})
    {
        fs::remove_all(lpName);
        fs::create_directory(lpName);
        ::chmod(lpName, 0751);
    }
    put("d/s", std::string(SAMPLE_SIZE, 's'));
}

/// Each test stands in an empty directory of its own and uses relative paths.
class FileTest : public ::testing::Test
{
protected:
    FileTest()
    {
        ThreadManager::get()->setWatchdogWatchInterval(600000); // the watchdog makes no calls that faults would count
        EXPECT_NE(nullptr, ::mkdtemp(mDirectory.data()));
        fs::current_path(mDirectory);
        ::umask(022);
        setAllFilterLevel(5);
        makeSample();
    }
    ~FileTest() override
    {
        EXPECT_EQ(0, ::seteuid(::getuid()));
        ::chmod("d", 0755);
        fs::current_path("/");
        fs::remove_all(mDirectory);
    }

    std::string mDirectory = fs::temp_directory_path() / "utl_file_XXXXXX";
    Replaced<int(char const*, mode_t)> mChmod{&SC::mChmod, chmodBelowRoot};
    LogCapture mLog;
};

} // namespace

// Any path and room: see fuzz/PathFuzz.cpp, which the tests run too.
TEST_F(FileTest, PathsComeApart)
{
    struct
    {
        std::string mPath, mStem, mDirectory, mExtension, mVolume;
    } const ROWS[] = {
        {"/a\\b.c.txt", "b.c", "/a", "txt", "a"},
        {"x.y/.profile", "", "x.y", "profile", "x.y"},
        {"表/ソ.能", "ソ", "表", "能", "表"},
        {"d/" + std::string(257, 'n'), std::string(257, 'n'), "d", "", "d"},
        {"d/" + std::string(258, 'n'), "-", "-", "-", "-"}, // too long
    };
    for (auto const& lRow : ROWS)
    {
        File const lFile(lRow.mPath.c_str(), FILE_TEXT_UTF8);
        Text lPart(1, 1); // grows
        EXPECT_EQ(lRow.mStem, lFile.getFileName(&lPart, 1) ? lPart.c_str() : "-");
        EXPECT_EQ(lRow.mDirectory, lFile.getDirectoryPath(&lPart) ? lPart.c_str() : "-");
        EXPECT_EQ(lRow.mExtension, lFile.getExtension(&lPart) ? lPart.c_str() : "-");
        EXPECT_EQ(lRow.mVolume, lFile.getVolumeName(&lPart) ? lPart.c_str() : "-");
        Text lFixed(2, 0);
        EXPECT_EQ(lRow.mVolume == "a" || lRow.mVolume == "d", lFile.getVolumeName(&lFixed));
    }
    char lPart[5] = "left";
    EXPECT_FALSE(File::extractExtension(nullptr, 5, "d/1.5") || File::extractDirectoryPath(lPart, 5, nullptr));
    EXPECT_FALSE(File::extractFileName(lPart, 5, "d/12345", 0));
    EXPECT_STREQ("left", lPart);
}

namespace
{

using Operation = bool (*)();

// d/s is SAMPLE_SIZE bytes long, e/t is not there.
Operation const COPY = [] { return File::copy("d/s", "e/t", 1); };
Operation const MOVE = [] { return File::move("d/s", "e/t"); };
Operation const ERASE = [] { return File::erase("d/s", 1); };
Operation const ERASE_READ_ONLY = [] { return ::chmod("d/s", 0444) == 0 && File::erase("d/s", 1); };
Operation const ERASE_TREE = [] { return File::erase("d", 0); };
Operation const ERASE_EMPTY = [] { return File::erase("e", 0); };
Operation const APPLY_READ_ONLY = [] { return File::applyReadOnly("d/s", 1); };
Operation const MAKE_TWO = [] { return File::makeDirectories("e/x/y"); };
Operation const SIZE_OF_TREE = [] { return File::size("d") == SAMPLE_SIZE; };
Operation const OPEN_TO_READ = [] { return File("d/s", 0).open(FILE_OPEN_END, FILE_ACCESS_READ); };
Operation const OPEN_TO_WRITE = [] { return File("e/t", 0).open(FILE_OPEN_END, FILE_ACCESS_WRITE); };
Operation const READ = []
{
    char lByte = 0;
    File lFile("d/s", 0);
    return lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ) && lFile.availableSize() == SAMPLE_SIZE &&
           lFile.read(&lByte, 1) == 1;
};
Operation const WRITE_AND_CUT = []
{
    File lFile("e/t", 0);
    bool const lIsWritten = lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE) && lFile.write("12345", 5) == 5;
    return lIsWritten && (lFile.resize(3) || (lFile.position() != 5));
};

/// Lets each call of one entry fail in turn: a letter for each, T where the operation succeeds all the same.
template <auto ENTRY>
std::string outcomes(char const* npEntry, Operation nOperation)
{
    std::string lLetters;
    for (bool lHasFired = true; lHasFired;)
    {
        makeSample();
        unsigned int const lDescriptors = openFdCount();
        bool lIsDone = false;
        {
            FailNth<ENTRY> const lFault(static_cast<int>(lLetters.size()) + 1, EIO);
            lIsDone = nOperation();
            lHasFired = lFault.fired();
        }
        EXPECT_TRUE(lHasFired || lIsDone) << "without a fault";
        EXPECT_EQ(lDescriptors, openFdCount());
        EXPECT_TRUE(lIsDone || nOperation == ERASE_TREE || contentOf("d/s").size() == SAMPLE_SIZE) << "source lost";
        EXPECT_TRUE(modeOf("d") == 0751U || !fs::exists("d"));
        // Directories on the way to new ones are opened, also where it can't be seen that they are there.
        bool const lMayOpen = nOperation == MAKE_TWO || std::is_same_v<decltype(ENTRY), decltype(&SC::mStat)>;
        EXPECT_TRUE(modeOf("e") == 0751U || lMayOpen || !fs::exists("e"));
        lLetters += lHasFired ? (lIsDone ? "T" : "F") : "";
    }
    return lLetters.empty() ? "" : npEntry + (" " + lLetters) + " ";
}

std::string allOutcomes(Operation nOperation)
{
    return outcomes<&SC::mOpen>("open", nOperation) + outcomes<&SC::mRead>("read", nOperation) +
           outcomes<&SC::mWrite>("write", nOperation) + outcomes<&SC::mLseek>("lseek", nOperation) +
           outcomes<&SC::mFtruncate>("ftruncate", nOperation) + outcomes<&SC::mFlock>("flock", nOperation) +
           outcomes<&SC::mFsync>("fsync", nOperation) + outcomes<&SC::mFstat>("fstat", nOperation) +
           outcomes<&SC::mStat>("stat", nOperation) + outcomes<&SC::mChmod>("chmod", nOperation) +
           outcomes<&SC::mMkdir>("mkdir", nOperation) + outcomes<&SC::mRmdir>("rmdir", nOperation) +
           outcomes<&SC::mUnlink>("unlink", nOperation) + outcomes<&SC::mRename>("rename", nOperation) +
           outcomes<&SC::mOpendir>("opendir", nOperation) + outcomes<&SC::mReaddir>("readdir", nOperation);
}

} // namespace

TEST_F(FileTest, EachSystemCallMayFail)
{
    struct
    {
        Operation mOperation;
        char const* mOutcomes;
        std::vector<char const*> mMessages; // each at least once, with level and text
    } const ROWS[] = {
        {COPY,
         "open TFF read TTTT write FFF lseek T ftruncate T flock T fsync T stat FTFTTFTTTT chmod TTTTTT ",
         {"ERR: in copy func stat Failed. errno[5] Path:d/s",
          "DBG: is changeParentAccessMode func stat Failed. errno[5] Path:e"}},
        {MOVE, "open T flock F fsync T stat FTTTF rename F ", {"ERR: rename Failed. errno[5] Source:d/s  Dest:e/t"}},
        {ERASE,
         "open T flock F fsync T stat FTFTTT chmod TT unlink F ",
         {"ERR: remove failed. errno[5] Path:d/s", "ERR: is isReadOnly func stat Failed. errno[5] Path:d/s"}},
        {ERASE_READ_ONLY,
         "open T flock F fsync T stat FTFTTTT chmod FTT unlink F ",
         {"ERR: Can't erase force because Not Permited:d/s"}},
        {ERASE_EMPTY, "stat FFT rmdir F opendir F readdir FFF ", {"ERR: rmdir Failed.Path:e errno[5]"}},
        {ERASE_TREE, "open T flock F fsync T stat FFFTTTTT chmod TT rmdir F unlink F opendir F readdir FFFF ", {}},
        {APPLY_READ_ONLY, "stat FF chmod F ", {"ERR: applyReadOnly can't change d/s"}},
        {MAKE_TWO,
         "stat TFTTTTTTF chmod TTTTTTT mkdir FFFF ",
         {"ERR: CreateDirectory Failed. errno[5] Path:e/x/y/(e/x/)"}},
        {OPEN_TO_READ, "open FT lseek F flock F fsync TT stat TF ", {"ERR: open() Failed. errno[5] Path:d/s"}},
        {OPEN_TO_WRITE,
         "open FT lseek F flock F fsync TT stat TTFTTT chmod TTT ",
         {"ERR: open() Failed. errno[5] Path:e/t", "DBG: Other process is opening. errno[5] Path:e/t",
          "ERR: lseek64 Failed. errno[5]", "DBG: seekFile in open Failed. errno[5] Path:e/t"}},
        {WRITE_AND_CUT,
         "open FT write F lseek FFF ftruncate F flock F fsync TT stat TTFTTTTT chmod TTTTT ",
         {"ERR: WriteFile Failed. errno[5]", "ERR: writeFile Failed. Path:e/t", "ERR: ftruncate Failed. Path:e/t"}},
        {READ,
         "open FT read F lseek FF flock F fsync TT fstat FF stat TF ",
         {"ERR: ReadFile Failed. errno[5]", "ERR: in read func readFile Failed. Path:d/s",
          "ERR: fstat Failed. errno[5]", "ERR: fileSize Failed. Path:d/s", "ERR: in read func now size func error",
          "ERR: in read func now seekFile func error"}},
        {SIZE_OF_TREE,
         "open F fsync T fstat F stat FFF opendir F readdir FFFF ",
         {"ERR: in size func open Failed. Path:d/s errno[5]", "ERR: fileSize Failed. Path:d/s"}},
    };
    for (auto const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mOutcomes);
        mLog.clear();
        EXPECT_EQ(lRow.mOutcomes, allOutcomes(lRow.mOperation));
        for (char const* lpMessage : lRow.mMessages)
        {
            EXPECT_NE(0U, mLog.count(lpMessage)) << lpMessage;
        }
    }
}

TEST_F(FileTest, AFileInUseIsLeftAlone)
{
    for (bool const lIsOther : {false, true}) // a descriptor that is not the library's, as another process has
    {
        for (bool const lIsReading : {false, true})
        {
            SCOPED_TRACE(std::to_string(lIsOther) + std::to_string(lIsReading));
            makeSample();
            File lUser("d/s", 0);
            int const lOther = lIsOther ? ::open("d/s", O_RDONLY) : -1;
            ASSERT_TRUE(lIsOther ? ::flock(lOther, lIsReading ? LOCK_SH : LOCK_EX) == 0
                                 : lUser.open(FILE_OPEN_TOP, lIsReading ? FILE_ACCESS_READ : FILE_ACCESS_READ_WRITE));
            mLog.clear();
            bool lIsShared = !lIsReading;
            EXPECT_TRUE(File::isOpened("d/s", &lIsShared) && lIsShared == lIsReading);
            EXPECT_EQ(lIsReading, File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ));
            EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
            EXPECT_EQ(lIsReading ? 1U : 2U, mLog.count("DBG: Other process is opening. errno[11] Path:d/s"));
            EXPECT_EQ(lIsReading, File::copy("d/s", "e/t", 0));
            EXPECT_FALSE(File::move("d/s", "e/u") || File::erase("d/s", 1));
            EXPECT_EQ(std::string(SAMPLE_SIZE, 's'), contentOf("d/s"));
            EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE)); // emptied before it is locked
            EXPECT_EQ("", contentOf("d/s"));

            lIsOther ? void(::close(lOther)) : void(lUser.close());
            EXPECT_FALSE(File::isOpened("d/s", &lIsShared) || lIsShared);
            EXPECT_TRUE(File::erase("d/s", 0));
        }
    }
}

TEST_F(FileTest, AnOrdinaryUserOpensParentsUpAndRestoresThem)
{
    for (char const* const lpName : {".", "d", "d/s", "e"})
    {
        ASSERT_TRUE(::geteuid() != 0 || ::chown(lpName, ORDINARY_USER, ORDINARY_USER) == 0);
    }
    ASSERT_TRUE(::geteuid() != 0 || ::seteuid(ORDINARY_USER) == 0); // till the end of this test's fixture
    ASSERT_EQ(0, ::chmod("d", 0555));
    EXPECT_TRUE(File("d/new", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_EQ(0777U, modeOf("d/new"));
    EXPECT_TRUE(File::copy("d/s", "d/copy", 0)); // both parents are one
    EXPECT_EQ(0640U, modeOf("d/copy"));
    EXPECT_FALSE(File::copy("d/s", "d/copy", 0));
    EXPECT_EQ(0555U, modeOf("d"));
    EXPECT_FALSE(File::move("d/s", "e/t")); // opens no parent
    EXPECT_EQ(1U, mLog.count("ERR: rename Failed. errno[13] Source:d/s  Dest:e/t"));

    EXPECT_TRUE(File::applyReadOnly("d/s", 0));
    EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    mLog.clear();
    EXPECT_FALSE(File::erase("d/s", 0));
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_TRUE(File::erase("d/s", 1));
    EXPECT_EQ(0555U, modeOf("d"));

    ASSERT_EQ(0, ::chmod("d/new", 0200));
    EXPECT_EQ(-1, File::size("d"));
    EXPECT_FALSE(File::copy("d", "e/h", 0));
}

TEST_F(FileTest, WhatIsNoPathIsRefused)
{
    FileNames lNames(1, 1);
    for (char const* const lpPath : {static_cast<char const*>(nullptr), "", "d//s"})
    {
        EXPECT_FALSE(File::copy("d/s", lpPath, 1) || File::move("d/s", lpPath));
        EXPECT_FALSE(File::copy(lpPath, "e/t", 1) || File::move(lpPath, "e/t") || File::erase(lpPath, 1));
        EXPECT_FALSE(File::isDirectory(lpPath) || File::applyReadOnly(lpPath, 1) || File::liftReadOnly(lpPath, 1));
        EXPECT_FALSE(File::changeParentAccessMode(lpPath, 0777, nullptr));
        EXPECT_EQ(-1, File::size(lpPath));
        EXPECT_EQ(FILE_ERROR, File::children(lpPath, &lNames, FILE_CHILD_ALL, nullptr, 0));
    }
    EXPECT_FALSE(File::copy("d", nullptr, 1) || File::copy("d", "e//t", 1));
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_FALSE(File::makeDirectories(nullptr) || File::isOpened(nullptr, nullptr) || File::exists(nullptr));
    EXPECT_FALSE(File::isReadOnly(nullptr) || File::isReadOnly("missing"));
    EXPECT_EQ(1U, mLog.count("ERR: isReadOnly func 0 == npPath false"));
    EXPECT_EQ(1U, mLog.count("ERR: is isReadOnly func stat Failed. errno[2] Path:missing"));
    EXPECT_TRUE(File::exists("d\\\\s")); // as the system sees it
    EXPECT_STREQ("", File(nullptr, 0).getPath());
}

TEST_F(FileTest, DirectoriesAreMadeOpenAndListed)
{
    EXPECT_TRUE(File::makeDirectories("e") && File::makeDirectories(""));
    EXPECT_EQ(0751U, modeOf("e"));
    EXPECT_FALSE(File::makeDirectories("d/s") || File::makeDirectories("d/s/x") || File::makeDirectories("l//x"));
    EXPECT_TRUE(File::makeDirectories("l\\sub/"));
    EXPECT_TRUE(modeOf("l") == 0777U && modeOf("l/sub") == 0777U);
    for (char const* const lpName : {"l/a.txt", "l/b.TXT", "l/c", "l/表.dat"})
    {
        put(lpName, "");
    }
    fs::create_directories("e/[q]/c");
    struct
    {
        char const* mPath;
        int mKind;
        char const* mExtension;
        std::string mNames; // "-": refused
    } const ROWS[] = {
        {"l", FILE_CHILD_ALL, nullptr, "l/a.txt l/b.TXT l/c l/sub l/表.dat "},
        {"l", FILE_CHILD_DIRECTORIES, nullptr, "l/sub "},
        {"l", FILE_CHILD_FILES, "txt", "l/a.txt l/b.TXT "},
        {"l", FILE_CHILD_ALL, "", "l/c l/sub "},
        {"l/*.txt", FILE_CHILD_ALL, nullptr, "l/a.txt "},
        {"l/[ac]", FILE_CHILD_FILES, nullptr, "l/c "},
        {"l/none*", FILE_CHILD_ALL, nullptr, ""},
        {"l/", FILE_CHILD_DIRECTORIES, nullptr, "l//sub "},
        {"l/c", FILE_CHILD_ALL, nullptr, ""},
        {"e/[q]", FILE_CHILD_ALL, nullptr, "e/[q]/c "}, // a directory of that name
        {"e/[q]/*", FILE_CHILD_ALL, nullptr, "-"},
        {"*", FILE_CHILD_ALL, nullptr, "-"},
        {"missing", FILE_CHILD_ALL, nullptr, "-"},
        {"l", 3, nullptr, "-"},
        {"l", -1, nullptr, "-"},
    };
    FileNames lNames(1, 1);
    for (auto const& lRow : ROWS)
    {
        unsigned int const lCount = File::children(lRow.mPath, &lNames, lRow.mKind, lRow.mExtension, 0);
        EXPECT_EQ(lCount == FILE_ERROR ? 0 : lCount, lNames.size());
        std::set<std::string> lSorted;
        for (unsigned int lIndex = 0; lIndex < lNames.size(); ++lIndex)
        {
            lSorted.insert(lNames.at(lIndex)->c_str() + std::string(" "));
        }
        EXPECT_EQ(lRow.mNames,
                  std::accumulate(lSorted.begin(), lSorted.end(), std::string(lCount == FILE_ERROR ? "-" : "")))
            << lRow.mPath;
    }
    EXPECT_EQ(5U, lNames.maxSize()) << "grown by what it needs, not by the steps on the way";
    EXPECT_EQ(3U, File::children("l", &lNames, FILE_CHILD_ALL, nullptr, 3));
    FileNames lFixed(4, 0);
    EXPECT_EQ(FILE_ERROR, File::children("l", &lFixed, FILE_CHILD_ALL, nullptr, 0));
    EXPECT_EQ(FILE_ERROR, File::children("l", nullptr, FILE_CHILD_ALL, nullptr, 0));

    Replaced const lUnknown(
        &SC::mReaddir,
        +[](DIR* npDirectory)
        {
            dirent* const lpEntry = ::readdir(npDirectory);
            if (lpEntry != nullptr)
            {
                lpEntry->d_type = DT_UNKNOWN;
            }
            return lpEntry;
        });
    EXPECT_EQ(0U, File::children("l", &lNames, FILE_CHILD_DIRECTORIES, nullptr, 0));
    EXPECT_EQ(5U, File::children("l", &lNames, FILE_CHILD_FILES, nullptr, 0)) << "without . and ..";
}

TEST_F(FileTest, TreesAreCopiedSizedLockedAndErased)
{
    File::makeDirectories("d/sub");
    put("d/sub/t", "12345");
    put("d/sub/u", "", 0464); // read-only: only the owner's bit counts
    EXPECT_TRUE(File::copy("d", "e/new/copy", 0) && File::copy("d", "d", 0));
    EXPECT_TRUE(File::size("d") == SAMPLE_SIZE + 5 && File::size("e/new/copy") == SAMPLE_SIZE + 5);
    EXPECT_EQ("12345", contentOf("e/new/copy/sub/t"));
    EXPECT_EQ(0464U, modeOf("e/new/copy/sub/u"));
    EXPECT_FALSE(File::copy("d", "e/new/copy", 2));
    EXPECT_TRUE(File::copy("d/sub/t", "e/new/copy/s", 1)); // 5 bytes over many
    EXPECT_EQ("12345", contentOf("e/new/copy/s"));

    EXPECT_FALSE(File::move("d/s", "e/new/copy/s"));
    EXPECT_TRUE(File::move("d/s", "e/other/t") && !fs::exists("d/s"));
    EXPECT_TRUE(File::makeDirectories("e/empty") && File::move("e/other", "e/empty"));

    EXPECT_TRUE(File::isReadOnly("d/sub/u") && File::applyReadOnly("d", 2) && !File::isReadOnly("d/sub/t"));
    EXPECT_TRUE(File::applyReadOnly("d", 1));
    EXPECT_TRUE(modeOf("d") == 0555U && modeOf("d/sub") == 0555U && modeOf("d/sub/t") == 0555U);
    EXPECT_FALSE(File::erase("d", 2) || File("d/sub/t", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_TRUE(fs::exists("d/sub/t"));
    EXPECT_TRUE(File::liftReadOnly("d", 1) && modeOf("d/sub/u") == 0777U && File::applyReadOnly("d/sub/u", 0));
    EXPECT_EQ(0, ::mkfifo("d/sub/fifo", 0640)); // nobody waits for its other end
    EXPECT_TRUE(File::size("d") == 5 && mLog.count("ERR") == 0);
    {
        Replaced const lPretends(
            &SC::mChmod, +[](char const*, mode_t) { return 0; });
        EXPECT_FALSE(File::liftReadOnly("d", 1));
        EXPECT_EQ(1U, mLog.count("ERR: liftReadOnly can't change d/sub/u"));
    }
    EXPECT_TRUE(File::erase("d", 1) && !fs::exists("d"));
}

TEST_F(FileTest, AnObjectAsksAndActsForItsPath)
{
    File lMade("e/made", 0);
    EXPECT_TRUE(!lMade.exists() && lMade.makeDirectories() && lMade.exists() && lMade.isDirectory());
    File lFile("d/s", 0);
    EXPECT_TRUE(lFile.copy("e/made/s", 0) && !lFile.copy("e/made/s", 0) && contentOf("e/made/s") == contentOf("d/s"));
    FileNames lNames(1, 0);
    EXPECT_TRUE(lMade.children(&lNames, FILE_CHILD_FILES, nullptr, 0) == 1 &&
                std::string(lNames.at(0)->c_str()) == "e/made/s");
    EXPECT_TRUE(lMade.applyReadOnly(1) && File::isReadOnly("e/made/s") && lMade.isReadOnly());
    EXPECT_TRUE(lMade.liftReadOnly(1) && !File::isReadOnly("e/made/s") && !lMade.isReadOnly());
    EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ) && lFile.flush() && !lFile.erase(0) && !lFile.move("e/t"));
    BasicString<char> lText(16, 0);
    EXPECT_EQ(4, lFile.readText(&lText, 4, 0, nullptr));
    EXPECT_EQ(contentOf("d/s").substr(0, 4), lText.c_str());
    EXPECT_TRUE(lFile.getPath(&lText) && std::string(lText.c_str()) == "d/s" && !lFile.getPath(nullptr));
    lFile.close();
    EXPECT_TRUE(lFile.move("e/t") && lMade.erase(0) && !lMade.exists() && fs::exists("e/t"));
}

TEST_F(FileTest, NamesOfAllKindsAndLengths)
{
    std::string const lLongDirectory = "e/" + std::string(100, 'a') + "/";
    struct
    {
        std::string mPath;
        bool mIsTaken;
    } const ROWS[] = {{"e/表ソ能 名%s.txt", true},
                      {"e/" + std::string(255, 'n'), true},
                      {"e/" + std::string(256, 'n'), false}, // refused by the file system
                      {lLongDirectory + std::string(156, 'b'), true},
                      {lLongDirectory + std::string(157, 'b'), false}};
    for (auto const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mPath);
        char const* const lpPath = lRow.mPath.c_str();
        bool const lIsOpened = File(lpPath, 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE);
        EXPECT_EQ(
            std::vector<bool>(8, lRow.mIsTaken),
            (std::vector<bool>{lIsOpened, File::copy("d/s", lpPath, 1), File::size(lpPath) == SAMPLE_SIZE,
                               File::applyReadOnly(lpPath, 0), File::liftReadOnly(lpPath, 0),
                               File::move(lpPath, "e/back"), File::move("e/back", lpPath), File::erase(lpPath, 0)}));
        EXPECT_NE(0, ::access(lpPath, F_OK));
        fs::remove_all("e");
    }
    EXPECT_FALSE(File::makeDirectories((lLongDirectory + std::string(156, 'b')).c_str()));
    EXPECT_TRUE(File::makeDirectories((lLongDirectory + std::string(155, 'b')).c_str()));
}

TEST_F(FileTest, BytesPositionsAndLengths)
{
    File lFile("e/new/f", FILE_TEXT_UTF8);
    char lBuffer[8] = {};
    EXPECT_FALSE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_TRUE(lFile.read(lBuffer, 1) == FILE_READ_ERROR && lFile.position() == -1 && lFile.availableSize() == -1 &&
                lFile.size() == -1 && !lFile.close());
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    EXPECT_FALSE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE) || lFile.erase(1) || lFile.move("e/g"));
    EXPECT_EQ(10U, lFile.write("0123456789", 10));
    EXPECT_EQ(FILE_ERROR, lFile.write("", 0));
    EXPECT_EQ(1U, mLog.count("ERR: writeFile Failed. Path:e/new/f"));
    EXPECT_EQ(FILE_READ_END, lFile.read(lBuffer, 8));
    EXPECT_TRUE(lFile.read(lBuffer, 0) == FILE_READ_ERROR && lFile.read(lBuffer, 0x80000000U) == FILE_READ_ERROR);
    EXPECT_TRUE(lFile.seek(-3, FILE_SEEK_END) == 7 && lFile.seek(-1, FILE_SEEK_CURRENT) == 6);
    EXPECT_TRUE(lFile.availableSize() == 4 && lFile.read(lBuffer, 8) == 4);
    EXPECT_STREQ("6789", lBuffer);
    EXPECT_TRUE(lFile.seek(0, 3) == -1 && lFile.seek(-1, FILE_SEEK_BEGIN) == -1);
    EXPECT_TRUE(lFile.resize(8) && lFile.position() == 8);
    EXPECT_TRUE(lFile.resize(5'000'000'000) && lFile.position() == 8 && lFile.size() == 5'000'000'000);
    EXPECT_TRUE(lFile.seek(10, FILE_SEEK_END) == 5'000'000'010 && lFile.availableSize() == 0);
    EXPECT_TRUE(lFile.seek(3, FILE_SEEK_BEGIN) == 3 && lFile.resize() && lFile.close());
    EXPECT_EQ("012", contentOf("e/new/f"));

    EXPECT_FALSE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ));
    EXPECT_FALSE(lFile.open(3, FILE_ACCESS_WRITE) || lFile.open(0, 3) || lFile.open(-1, 0) || lFile.open(0, -1));
    EXPECT_FALSE(File("e", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    EXPECT_EQ("012", contentOf("e/new/f"));
    EXPECT_TRUE(lFile.open(FILE_OPEN_END, FILE_ACCESS_WRITE) && lFile.write("3", 1) == 1 && lFile.close());
    EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE) && lFile.write("x", 1) == 1 && lFile.close());
    EXPECT_EQ("x123", contentOf("e/new/f"));
    EXPECT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE) && lFile.size() == 0);

    Replaced const lZero(
        &SC::mOpen, +[](char const*, int, mode_t) { return 0; }); // counts as none, and is not ours to close
    EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ) || File::isOpened("d/s", nullptr));
    EXPECT_EQ(-1, File::size("d/s"));
    EXPECT_NE(-1, ::fcntl(STDIN_FILENO, F_GETFD));
}

TEST_F(FileTest, TheLastCopyAndTheDirectorySync)
{
    static int sSyncs;
    sSyncs = 0;
    Replaced const lSync(
        &SC::mFsync, +[](int nHandle) { return ++sSyncs, ::fsync(nHandle); });
    unsigned int const lDescriptors = openFdCount();
    {
        File lFirst("e/f", 0);
        ASSERT_TRUE(lFirst.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
        File lSecond(lFirst);
        File lThird("e/g", 0);
        lThird = lSecond;
        EXPECT_EQ(2U, lFirst.write("12", 2));
        EXPECT_EQ(2, lThird.position());
        EXPECT_TRUE(lFirst.close() && lSecond.close());
        EXPECT_EQ(0, sSyncs);
        File::AutoClose const lClose(lThird);
    }
    EXPECT_EQ(1 + 3, sSyncs); // the file, and the directory for each object
    EXPECT_EQ(lDescriptors, openFdCount());
    {
        File const lRelative("f", 0); // no directory to sync
    }
    EXPECT_EQ(4, sSyncs);

    Replaced const lShort(
        &SC::mWrite, +[](int nFd, void const* npData, size_t) { return ::write(nFd, npData, 1); });
    File lFile("e/f", 0);
    EXPECT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE) && lFile.write("12", 2) == 1);
    EXPECT_FALSE(File::copy("d/s", "e/short", 0));
    EXPECT_EQ(0751U, modeOf("e"));
}

namespace
{

void workOnAFullDisk()
{
    put("d/big", std::string(20000, 'b'));
    unsigned int const lDescriptors = openFdCount();
    ::chmod("e", 0751);
    EXPECT_FALSE(File::copy("d/big", "e/copy", 0));
    EXPECT_EQ(20000, File::size("d/big"));
    EXPECT_TRUE(File::erase("e/copy", 0));
    {
        File lFile("e/f", FILE_TEXT_UTF8);
        std::string const lBytes(20000, 'f');
        EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
        EXPECT_EQ(static_cast<unsigned int>(2 * ::sysconf(_SC_PAGESIZE)), lFile.write(lBytes.data(), 20000));
        EXPECT_EQ(FILE_ERROR, lFile.write("1", 1));
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, &lFile, "goes on");
        EXPECT_TRUE(lFile.close());
    }
    EXPECT_EQ(0751U, modeOf("e"));
    EXPECT_TRUE(File::makeDirectories("e/x"));
    EXPECT_FALSE(File::makeDirectories("e/y"));
    EXPECT_FALSE(File("e/g", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_FALSE(File::move("d/big", "e/big")); // never a copy
    EXPECT_EQ(lDescriptors, openFdCount());
}

} // namespace

TEST_F(FileTest, AFullDiskIsReported)
{
    constexpr int NOT_PERMITTED = 77;
    pid_t const lProcess = ::fork();
    if (lProcess == 0)
    {
        // A space of its own for what it mounts, which the kernel clears away with the process.
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", "e", "tmpfs", 0, "nr_blocks=2,nr_inodes=3") != 0)
        {
            ::_exit(NOT_PERMITTED);
        }
        workOnAFullDisk();
        for (char const* const lpLine :
             {"ERR: WriteFile Failed. errno[28]", "ERR: writeFile Failed. Path:e/f", "ERR: goes on",
              "ERR: CreateDirectory Failed. errno[28] Path:e/y/(e/y/)", "ERR: open() Failed. errno[28] Path:e/g",
              "ERR: rename Failed. errno[18] Source:d/big  Dest:e/big"})
        {
            EXPECT_NE(0U, mLog.count(lpLine)) << lpLine;
        }
        std::fflush(nullptr);
        ::_exit(HasFailure() ? 1 : 0);
    }
    int lStatus = 0;
    ASSERT_EQ(lProcess, ::waitpid(lProcess, &lStatus, 0));
    if (WIFEXITED(lStatus) && WEXITSTATUS(lStatus) == NOT_PERMITTED)
    {
        GTEST_SKIP() << "this process may not mount a file system";
    }
    EXPECT_EQ(0, lStatus);
}
