#include "UtlFile.h"

#include "UtlThreadManager.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/Resources.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
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
        ::chmod("d", 0755);
        fs::current_path("/");
        fs::remove_all(mDirectory);
    }

    std::string mDirectory = fs::temp_directory_path() / "utl_file_XXXXXX";
    Replaced<int(char const*, mode_t)> mChmod{&SC::mChmod, chmodBelowRoot};
    LogCapture mLog;
};

/// What the last argument-taking extraction gives, "-" for false.
template <class F>
std::string part(F nExtract)
{
    char lPart[FILE_PATH_MAX] = "unset";
    return nExtract(lPart, FILE_PATH_MAX) ? lPart : "-";
}

} // namespace

TEST_F(FileTest, PathsComeApart)
{
    struct
    {
        std::string mPath, mName, mStem, mDirectory, mExtension, mVolume;
    } const ROWS[] = {
        {"/a/b.txt", "b.txt", "b", "/a", "txt", "a"},
        {"a\\b.txt", "b.txt", "b", "a", "txt", "a"},
        {"a/b/", "b", "b", "a", "", "a"},
        {"/b.txt", "b.txt", "b", "", "txt", "b.txt"},
        {"a.b.c", "a.b.c", "a.b", "", "c", "a.b.c"},
        {"x.y/.profile", ".profile", "", "x.y", "profile", "x.y"},
        {"name.", "name.", "name", "", "", "name."},
        {"表/ソ.能", "ソ.能", "ソ", "表", "能", "表"},
        {"C:/a.txt", "a.txt", "a", "C:", "txt", "C:"},
        {"/", "-", "-", "-", "-", "-"},
        {"", "-", "-", "-", "-", "-"},
        {"a//b", "-", "-", "-", "-", "-"},
        {"a\\/b", "-", "-", "-", "-", "-"},
        {"d/" + std::string(257, 'n'), std::string(257, 'n'), std::string(257, 'n'), "d", "", "d"},
        {"d/" + std::string(258, 'n'), "-", "-", "-", "-", "-"},
    };
    for (auto const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mPath);
        File const lFile(lRow.mPath.c_str(), FILE_TEXT_UTF8);
        EXPECT_EQ(lRow.mName, part([&](auto... nTo) { return File::extractFileName(nTo..., lRow.mPath.c_str(), 2); }));
        EXPECT_EQ(lRow.mStem, part([&](auto... nTo) { return lFile.getFileName(nTo..., 1); }));
        EXPECT_EQ(lRow.mDirectory, part([&](auto... nTo) { return lFile.getDirectoryPath(nTo...); }));
        EXPECT_EQ(lRow.mExtension, part([&](auto... nTo) { return lFile.getExtension(nTo...); }));
        EXPECT_EQ(lRow.mVolume, part([&](auto... nTo) { return lFile.getVolumeName(nTo...); }));

        Text lGrows(1, 1);
        EXPECT_EQ(lRow.mName != "-", lFile.getFileName(&lGrows, 0));
        EXPECT_EQ(lRow.mName, lRow.mName != "-" ? lGrows.c_str() : "-");
        Text lFixed(2, 0);
        EXPECT_EQ(lRow.mVolume.size() < 2 && lRow.mVolume != "-", lFile.getVolumeName(&lFixed));
    }
    char lSmall[5] = "left";
    EXPECT_FALSE(File::extractFileName(lSmall, 5, "d/12345", 0));
    EXPECT_STREQ("left", lSmall);
    EXPECT_FALSE(File::extractExtension(nullptr, 5, "d/1.5"));
    EXPECT_FALSE(File::extractVolumeName(lSmall, 0, "d/1"));
    EXPECT_FALSE(File::extractDirectoryPath(lSmall, 5, nullptr));
    EXPECT_STREQ("a/b", File("a\\b", 0).getPath());
}

namespace
{

using Operation = bool (*)();

bool copySample()
{
    return File::copy("d/s", "e/t", 1);
}

bool moveSample()
{
    return File::move("d/s", "e/t");
}

bool eraseSample()
{
    return File::erase("d/s", 1);
}

bool eraseReadOnly()
{
    return ::chmod("d/s", 0444) == 0 && File::erase("d/s", 1);
}

bool eraseTree()
{
    return File::erase("d", 0);
}

bool eraseEmpty()
{
    return File::erase("e", 0);
}

bool lockSample()
{
    return File::applyReadOnly("d/s", 1);
}

bool makeTwo()
{
    return File::makeDirectories("e/x/y");
}

bool openToRead()
{
    return File("d/s", 0).open(FILE_OPEN_END, FILE_ACCESS_READ);
}

bool openToWrite()
{
    return File("e/t", 0).open(FILE_OPEN_END, FILE_ACCESS_WRITE);
}

bool writeOpened()
{
    File lFile("e/t", 0);
    if (!lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE) || lFile.write("12345", 5) != 5)
    {
        return false;
    }
    bool const lIsCut = lFile.resize(3);
    EXPECT_TRUE(lIsCut || lFile.position() == 5);
    return lIsCut;
}

bool readOpened()
{
    char lByte = 0;
    File lFile("d/s", 0);
    return lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ) && lFile.availableSize() == SAMPLE_SIZE &&
           lFile.read(&lByte, 1) == 1;
}

bool sizeOfTree()
{
    return File::size("d") == SAMPLE_SIZE;
}

/// Lets each call of one entry fail in turn: a letter for each, T where the operation succeeds all the same.
template <auto ENTRY>
std::string outcomes(Operation nOperation)
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
        EXPECT_TRUE(lIsDone || contentOf("d/s").size() == SAMPLE_SIZE) << "source lost";
        EXPECT_TRUE(modeOf("d") == 0751U || !fs::exists("d"));
        // Directories on the way to new ones are opened, also where it can't be seen that they are there.
        bool const lMayOpen = nOperation == makeTwo || std::is_same_v<decltype(ENTRY), decltype(&SC::mStat)>;
        EXPECT_TRUE(modeOf("e") == 0751U || lMayOpen || !fs::exists("e"));
        lLetters += lHasFired ? (lIsDone ? "T" : "F") : "";
    }
    return lLetters;
}

} // namespace

TEST_F(FileTest, EachSystemCallMayFail)
{
    struct
    {
        char const* mName;
        Operation mOperation;
        std::string (*mOutcomes)(Operation);
        char const* mLetters;
        char const* mMessages; // each at least once, with level and text; one on a line
    } const ROWS[] = {
        {"copy open", copySample, outcomes<&SC::mOpen>, "TFF", ""}, // the first asks for locks
        {"copy read", copySample, outcomes<&SC::mRead>, "TTTT", ""},
        {"copy write", copySample, outcomes<&SC::mWrite>, "FFF", ""},
        {"copy flock", copySample, outcomes<&SC::mFlock>, "T", ""},
        {"copy ftruncate", copySample, outcomes<&SC::mFtruncate>, "T", ""},
        {"copy lseek", copySample, outcomes<&SC::mLseek>, "T", ""},
        {"copy stat", copySample, outcomes<&SC::mStat>, "FTFTTFTTTT",
         "ERR: in copy func stat Failed. errno[5] Path:d/s\nDBG: is changeParentAccessMode func stat Failed. errno[5] "
         "Path:e"},
        {"copy chmod", copySample, outcomes<&SC::mChmod>, "TTTTTT", ""},
        {"move stat", moveSample, outcomes<&SC::mStat>, "FTTTF", ""},
        {"move rename", moveSample, outcomes<&SC::mRename>, "F", "ERR: rename Failed. errno[5] Source:d/s  Dest:e/t"},
        {"erase unlink", eraseSample, outcomes<&SC::mUnlink>, "F", "ERR: remove failed. errno[5] Path:d/s"},
        {"erase stat", eraseSample, outcomes<&SC::mStat>, "FTFTTT",
         "ERR: is isReadOnly func stat Failed. errno[5] Path:d/s"},
        {"erase chmod", eraseReadOnly, outcomes<&SC::mChmod>, "FTT", "ERR: Can't erase force because Not Permited:d/s"},
        {"erase rmdir", eraseEmpty, outcomes<&SC::mRmdir>, "F", "ERR: rmdir Failed.Path:e errno[5]"},
        {"tree opendir", eraseTree, outcomes<&SC::mOpendir>, "F", ""},
        {"tree readdir", eraseTree, outcomes<&SC::mReaddir>, "FFFF", ""},
        {"tree fsync", eraseTree, outcomes<&SC::mFsync>, "T", ""},
        {"lock stat", lockSample, outcomes<&SC::mStat>, "FF", "ERR: applyReadOnly can't change d/s"},
        {"lock chmod", lockSample, outcomes<&SC::mChmod>, "F", ""},
        {"make mkdir", makeTwo, outcomes<&SC::mMkdir>, "FFFF",
         "ERR: CreateDirectory Failed. errno[5] Path:e/x/y/(e/x/)"},
        {"make stat", makeTwo, outcomes<&SC::mStat>, "TFTTTTTTF", ""},
        {"make chmod", makeTwo, outcomes<&SC::mChmod>, "TTTTTTT", ""},
        {"open read open", openToRead, outcomes<&SC::mOpen>, "FT", "ERR: open() Failed. errno[5] Path:d/s"},
        {"open write open", openToWrite, outcomes<&SC::mOpen>, "FT", "ERR: open() Failed. errno[5] Path:e/t"},
        {"open stat", openToWrite, outcomes<&SC::mStat>, "TTFTTT", ""},
        {"open chmod", openToWrite, outcomes<&SC::mChmod>, "TTT", ""},
        {"open flock", openToWrite, outcomes<&SC::mFlock>, "F", "DBG: Other process is opening. errno[5] Path:e/t"},
        {"open seek", openToWrite, outcomes<&SC::mLseek>, "F",
         "ERR: lseek64 Failed. errno[5]\nDBG: seekFile in open Failed. errno[5] Path:e/t"},
        {"write", writeOpened, outcomes<&SC::mWrite>, "F",
         "ERR: WriteFile Failed. errno[5]\nERR: writeFile Failed. Path:e/t"},
        {"resize", writeOpened, outcomes<&SC::mFtruncate>, "F", "ERR: ftruncate Failed. Path:e/t"},
        {"resize seek", writeOpened, outcomes<&SC::mLseek>, "FFF", "ERR: lseek64 Failed. errno[5]"},
        {"write fsync", writeOpened, outcomes<&SC::mFsync>, "TT", ""},
        {"read", readOpened, outcomes<&SC::mRead>, "F",
         "ERR: ReadFile Failed. errno[5]\nERR: in read func readFile Failed. Path:d/s"},
        {"read fstat", readOpened, outcomes<&SC::mFstat>, "FF",
         "ERR: fstat Failed. errno[5]\nERR: fileSize Failed. Path:d/s\nERR: in read func now size func error"},
        {"read seek", readOpened, outcomes<&SC::mLseek>, "FF", "ERR: in read func now seekFile func error"},
        {"size open", sizeOfTree, outcomes<&SC::mOpen>, "F", "ERR: in size func open Failed. Path:d/s errno[5]"},
        {"size fstat", sizeOfTree, outcomes<&SC::mFstat>, "F", "ERR: fileSize Failed. Path:d/s"},
    };
    for (auto const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mName);
        mLog.clear();
        EXPECT_EQ(lRow.mLetters, lRow.mOutcomes(lRow.mOperation));
        std::istringstream lMessages(lRow.mMessages);
        for (std::string lMessage; std::getline(lMessages, lMessage);)
        {
            EXPECT_NE(0U, mLog.count(lMessage)) << lMessage;
        }
    }
}

namespace
{

/// Another process that holds a lock on a file while the object lives.
class LockHolder
{
public:
    LockHolder(char const* npPath, int nLock)
    {
        int lReady[2] = {};
        EXPECT_EQ(0, ::pipe(lReady));
        EXPECT_EQ(0, ::pipe(mEnd));
        mProcess = ::fork();
        char lByte = 0;
        if (mProcess == 0)
        {
            ::close(mEnd[1]);
            bool const lIsHeld = ::flock(::open(npPath, O_RDONLY), nLock | LOCK_NB) == 0;
            bool const lIsTold = lIsHeld && ::write(lReady[1], "", 1) == 1;
            ::_exit(lIsTold && ::read(mEnd[0], &lByte, 1) == 0 ? 0 : 1);
        }
        ::close(lReady[1]);
        EXPECT_EQ(1, ::read(lReady[0], &lByte, 1)) << "the other process has no lock";
        ::close(lReady[0]);
        ::close(mEnd[0]);
    }
    ~LockHolder()
    {
        ::close(mEnd[1]);
        ::waitpid(mProcess, nullptr, 0);
    }
    LockHolder(LockHolder const&) = delete;
    LockHolder& operator=(LockHolder const&) = delete;

private:
    int mEnd[2] = {};
    pid_t mProcess = -1;
};

/// Permissions of an ordinary user, where the tests run as root.
class AsOrdinaryUser
{
public:
    AsOrdinaryUser() { EXPECT_TRUE(::geteuid() != 0 || ::seteuid(ORDINARY_USER) == 0); }
    ~AsOrdinaryUser() { EXPECT_EQ(0, ::seteuid(::getuid())); }
    AsOrdinaryUser(AsOrdinaryUser const&) = delete;
    AsOrdinaryUser& operator=(AsOrdinaryUser const&) = delete;
};

} // namespace

TEST_F(FileTest, AFileInUseIsLeftAlone)
{
    struct
    {
        char const* mName;
        int mLock; // of another process; -1: a File of this one reads, -2: one writes
        bool mIsShared;
    } const ROWS[] = {{"process reads", LOCK_SH, true},
                      {"process writes", LOCK_EX, false},
                      {"object reads", -1, true},
                      {"object writes", -2, false}};
    for (auto const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mName);
        makeSample();
        File lOther("d/s", 0);
        std::unique_ptr<LockHolder> lHolder;
        if (lRow.mLock >= 0)
        {
            lHolder = std::make_unique<LockHolder>("d/s", lRow.mLock);
        }
        else
        {
            ASSERT_TRUE(lOther.open(FILE_OPEN_TOP, lRow.mLock == -1 ? FILE_ACCESS_READ : FILE_ACCESS_READ_WRITE));
        }
        mLog.clear();
        bool lIsShared = !lRow.mIsShared;
        EXPECT_TRUE(File::isOpened("d/s", &lIsShared));
        EXPECT_EQ(lRow.mIsShared, lIsShared);
        EXPECT_EQ(lRow.mIsShared, File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ));
        EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
        EXPECT_EQ(lRow.mIsShared ? 1U : 2U, mLog.count("DBG: Other process is opening. errno[11] Path:d/s"));
        EXPECT_EQ(lRow.mIsShared, File::copy("d/s", "e/t", 0));
        EXPECT_FALSE(File::move("d/s", "e/u"));
        EXPECT_FALSE(File::erase("d/s", 1));
        EXPECT_EQ(std::string(SAMPLE_SIZE, 's'), contentOf("d/s"));
        EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE)); // emptied before it is locked
        EXPECT_EQ("", contentOf("d/s"));

        lHolder.reset();
        lOther.close();
        EXPECT_FALSE(File::isOpened("d/s", &lIsShared));
        EXPECT_FALSE(lIsShared);
        EXPECT_TRUE(File::erase("d/s", 0));
    }
}

TEST_F(FileTest, AnOrdinaryUserOpensParentsUpAndRestoresThem)
{
    ::mkdir("h", 0755);
    put("h/unreadable", "1", 0200);
    for (char const* const lpName : {".", "d", "d/s", "e", "h", "h/unreadable"})
    {
        ASSERT_TRUE(::geteuid() != 0 || ::chown(lpName, ORDINARY_USER, ORDINARY_USER) == 0);
    }
    AsOrdinaryUser const lUser;
    ASSERT_EQ(0, ::chmod("d", 0555));
    {
        File lFile("d/new", 0);
        EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
        EXPECT_EQ(0777U, modeOf("d/new"));
    }
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

    EXPECT_EQ(-1, File::size("h"));
    EXPECT_FALSE(File::copy("h", "e/h", 0));
    EXPECT_FALSE(File::isReadOnly("missing"));
    EXPECT_EQ(1U, mLog.count("ERR: is isReadOnly func stat Failed. errno[2] Path:missing"));
}

TEST_F(FileTest, WhatIsNoPathIsRefused)
{
    for (char const* const lpPath : {static_cast<char const*>(nullptr), "", "d//s"})
    {
        EXPECT_FALSE(File::copy("d/s", lpPath, 1) || File::move("d/s", lpPath));
        EXPECT_FALSE(File::copy(lpPath, "e/t", 1) || File::move(lpPath, "e/t") || File::erase(lpPath, 1));
        EXPECT_FALSE(File::isDirectory(lpPath) || File::applyReadOnly(lpPath, 1) || File::liftReadOnly(lpPath, 1));
        EXPECT_FALSE(File::changeParentAccessMode(lpPath, 0777, nullptr));
        EXPECT_EQ(-1, File::size(lpPath));
        FileNames lNames(1, 1);
        EXPECT_EQ(FILE_ERROR, File::children(lpPath, &lNames, FILE_CHILD_ALL, nullptr, 0));
    }
    EXPECT_FALSE(File::copy("d", nullptr, 1) || File::copy("d", "e//t", 1));
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_FALSE(File::makeDirectories(nullptr) || File::isOpened(nullptr, nullptr) || File::exists(nullptr));
    EXPECT_FALSE(File::isReadOnly(nullptr));
    EXPECT_EQ(1U, mLog.count("ERR: isReadOnly func 0 == npPath false"));
    EXPECT_TRUE(File::exists("d\\\\s")); // as the system sees it
    EXPECT_EQ("", std::string(File(nullptr, 0).getPath()));
}

TEST_F(FileTest, DirectoriesAreMadeOpenAndListed)
{
    EXPECT_TRUE(File::makeDirectories("e"));
    EXPECT_EQ(0751U, modeOf("e"));
    EXPECT_FALSE(File::makeDirectories("d/s"));
    EXPECT_FALSE(File::makeDirectories("d/s/x"));
    EXPECT_TRUE(File::makeDirectories("l\\sub/"));
    EXPECT_EQ(0777U, modeOf("l"));
    EXPECT_EQ(0777U, modeOf("l/sub"));
    EXPECT_FALSE(File::makeDirectories("l//x"));
    EXPECT_FALSE(File::makeDirectories(("l/" + std::string(256, 'n')).c_str())); // a name of 255 is the most
    EXPECT_TRUE(File::makeDirectories(("l/" + std::string(255, 'n')).c_str()));
    fs::remove(("l/" + std::string(255, 'n')).c_str());
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
        unsigned int mMaxCount;
        unsigned int mResult;
        std::string mNames;
    } const ROWS[] = {
        {"l", FILE_CHILD_ALL, nullptr, 0, 5, "l/a.txt l/b.TXT l/c l/sub l/表.dat "},
        {"l", FILE_CHILD_DIRECTORIES, nullptr, 0, 1, "l/sub "},
        {"l", FILE_CHILD_FILES, "txt", 0, 2, "l/a.txt l/b.TXT "},
        {"l", FILE_CHILD_ALL, "", 0, 2, "l/c l/sub "},
        {"l/*.txt", FILE_CHILD_ALL, nullptr, 0, 1, "l/a.txt "},
        {"l/[ac]", FILE_CHILD_FILES, nullptr, 0, 1, "l/c "},
        {"l/none*", FILE_CHILD_ALL, nullptr, 0, 0, ""},
        {"l/", FILE_CHILD_DIRECTORIES, nullptr, 0, 1, "l//sub "},
        {"l/c", FILE_CHILD_ALL, nullptr, 0, 0, ""},
        {"e/[q]", FILE_CHILD_ALL, nullptr, 0, 1, "e/[q]/c "}, // a directory of that name
        {"e/[q]/*", FILE_CHILD_ALL, nullptr, 0, FILE_ERROR, ""},
        {"*", FILE_CHILD_ALL, nullptr, 0, FILE_ERROR, ""},
        {"missing", FILE_CHILD_ALL, nullptr, 0, FILE_ERROR, ""},
        {"l", 3, nullptr, 0, FILE_ERROR, ""},
        {"l", -1, nullptr, 0, FILE_ERROR, ""},
    };
    FileNames lNames(1, 1);
    for (auto const& lRow : ROWS)
    {
        SCOPED_TRACE(lRow.mPath);
        EXPECT_EQ(lRow.mResult, File::children(lRow.mPath, &lNames, lRow.mKind, lRow.mExtension, lRow.mMaxCount));
        std::vector<std::string> lSorted;
        for (unsigned int lIndex = 0; lIndex < lNames.size(); ++lIndex)
        {
            lSorted.emplace_back(lNames.at(lIndex)->c_str());
        }
        std::sort(lSorted.begin(), lSorted.end());
        std::string lText;
        for (std::string const& lName : lSorted)
        {
            lText += lName + " ";
        }
        EXPECT_EQ(lRow.mNames, lText);
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
    EXPECT_EQ(SAMPLE_SIZE + 5, File::size("d"));
    EXPECT_TRUE(File::copy("d", "e/new/copy", 0));
    EXPECT_EQ("12345", contentOf("e/new/copy/sub/t"));
    EXPECT_EQ(0464U, modeOf("e/new/copy/sub/u"));
    EXPECT_EQ(SAMPLE_SIZE + 5, File::size("e/new/copy"));
    EXPECT_FALSE(File::copy("d", "e/new/copy", 2));
    EXPECT_TRUE(File::copy("d/sub/t", "e/new/copy/s", 1)); // 5 bytes over many
    EXPECT_EQ("12345", contentOf("e/new/copy/s"));
    EXPECT_TRUE(File::copy("d", "d", 0));

    EXPECT_FALSE(File::move("d/s", "e/new/copy/s"));
    EXPECT_TRUE(File::move("d/s", "e/other/t"));
    EXPECT_FALSE(fs::exists("d/s"));
    EXPECT_TRUE(File::makeDirectories("e/empty") && File::move("e/other", "e/empty"));

    EXPECT_TRUE(File::isReadOnly("d/sub/u") && File::applyReadOnly("d", 2) && !File::isReadOnly("d/sub/t"));
    EXPECT_TRUE(File::applyReadOnly("d", 1));
    EXPECT_TRUE(modeOf("d") == 0555U && modeOf("d/sub") == 0555U && modeOf("d/sub/t") == 0555U);
    EXPECT_FALSE(File::erase("d", 2) || File("d/sub/t", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_TRUE(fs::exists("d/sub/t"));
    EXPECT_TRUE(File::liftReadOnly("d", 1));
    EXPECT_EQ(0777U, modeOf("d/sub/u"));
    EXPECT_TRUE(File::applyReadOnly("d/sub/u", 0));
    EXPECT_EQ(0, ::mkfifo("d/sub/fifo", 0640)); // nobody waits for its other end
    EXPECT_EQ(5, File::size("d"));
    EXPECT_EQ(0U, mLog.count("ERR"));
    {
        Replaced const lPretends(
            &SC::mChmod, +[](char const*, mode_t) { return 0; });
        EXPECT_FALSE(File::liftReadOnly("d", 1));
        EXPECT_EQ(1U, mLog.count("ERR: liftReadOnly can't change d/sub/u"));
    }
    EXPECT_TRUE(File::erase("d", 1));
    EXPECT_FALSE(fs::exists("d"));
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
        EXPECT_EQ(lRow.mIsTaken, File(lpPath, 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
        EXPECT_EQ(lRow.mIsTaken, File::copy("d/s", lpPath, 1));
        EXPECT_EQ(lRow.mIsTaken ? SAMPLE_SIZE : -1, File::size(lpPath));
        EXPECT_EQ(lRow.mIsTaken, File::applyReadOnly(lpPath, 0));
        EXPECT_EQ(lRow.mIsTaken, File::liftReadOnly(lpPath, 0));
        EXPECT_EQ(lRow.mIsTaken, File::move(lpPath, "e/back"));
        EXPECT_EQ(lRow.mIsTaken, File::move("e/back", lpPath));
        EXPECT_EQ(lRow.mIsTaken, File::size("e") == SAMPLE_SIZE);
        EXPECT_EQ(lRow.mIsTaken, File::erase(lpPath, 0));
        EXPECT_NE(0, ::access(lpPath, F_OK));
        fs::remove_all("e");
    }
    EXPECT_FALSE(File::makeDirectories((lLongDirectory + std::string(156, 'b')).c_str()));
    EXPECT_TRUE(File::makeDirectories((lLongDirectory + std::string(155, 'b')).c_str()));
}

namespace
{

/// Works in a file system of two pages and three entries, mounted at "e".
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

TEST_F(FileTest, BytesPositionsAndLengths)
{
    File lFile("e/new/f", FILE_TEXT_UTF8);
    char lBuffer[8] = {};
    EXPECT_FALSE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_EQ(FILE_READ_ERROR, lFile.read(lBuffer, 1));
    EXPECT_TRUE(lFile.position() == -1 && lFile.availableSize() == -1 && lFile.size() == -1 && !lFile.close());
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    EXPECT_FALSE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE) || lFile.erase(1) || lFile.move("e/g"));
    EXPECT_EQ(10U, lFile.write("0123456789", 10));
    EXPECT_EQ(FILE_ERROR, lFile.write("", 0));
    EXPECT_EQ(1U, mLog.count("ERR: writeFile Failed. Path:e/new/f"));
    EXPECT_EQ(FILE_READ_END, lFile.read(lBuffer, 8));
    EXPECT_EQ(FILE_READ_ERROR, lFile.read(lBuffer, 0));
    EXPECT_EQ(FILE_READ_ERROR, lFile.read(lBuffer, 0x80000000U));
    EXPECT_EQ(7, lFile.seek(-3, FILE_SEEK_END));
    EXPECT_EQ(6, lFile.seek(-1, FILE_SEEK_CURRENT));
    EXPECT_EQ(4, lFile.availableSize());
    EXPECT_EQ(4, lFile.read(lBuffer, 8));
    EXPECT_STREQ("6789", lBuffer);
    EXPECT_EQ(-1, lFile.seek(0, 3));
    EXPECT_EQ(-1, lFile.seek(-1, FILE_SEEK_BEGIN));
    EXPECT_TRUE(lFile.resize(8));
    EXPECT_EQ(8, lFile.position());
    EXPECT_TRUE(lFile.resize(5'000'000'000));
    EXPECT_EQ(8, lFile.position());
    EXPECT_EQ(5'000'000'000, lFile.size());
    EXPECT_EQ(5'000'000'010, lFile.seek(10, FILE_SEEK_END));
    EXPECT_EQ(0, lFile.availableSize());
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
