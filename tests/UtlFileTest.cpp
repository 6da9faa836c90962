#include "UtlFile.h"

#include "UtlThreadManager.h"
#include "support/Test.h"

#include <numeric>

#include <sys/file.h>

namespace
{

namespace fs = std::filesystem;
using namespace utl;
using namespace utl::test;
using SC = internal::SystemCalls;
using Text = BasicString<char>;

constexpr uid_t ORDINARY_USER = 65534;
constexpr int SAMPLE_SIZE = 40000; // three blocks of a copy

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

class FileTest : public ::testing::Test
{
protected:
    FileTest()
    {
        ThreadManager::get()->setWatchdogWatchInterval(600000); // the watchdog makes no calls that faults would count
        ::umask(022);
        File::setModes(FILE_MODES_OPEN);
        setAllFilterLevel(5);
        makeSample();
    }
    ~FileTest() override
    {
        EXPECT_EQ(0, ::seteuid(::getuid()));
        ::chmod("d", 0755);
        File::setModes(FILE_MODES_UMASK);
    }

    /// While the n-th call of an entry fails, an operation gives false, tells why and changes neither file nor mode.
    template <auto ENTRY>
    void fails(int nNth, bool (*nOperation)(), std::vector<char const*> const& nMessages) // with level
    {
        makeSample(); // without e/t
        mLog.clear();
        {
            FailNth<ENTRY> const lFault(nNth, EIO);
            EXPECT_FALSE(nOperation()) << nNth;
        }
        EXPECT_EQ(SAMPLE_SIZE, contentOf("d/s").size());
        EXPECT_EQ(0751U, modeOf("d"));
        EXPECT_EQ(0751U, modeOf("e"));
        for (char const* lpMessage : nMessages)
        {
            EXPECT_EQ(1U, mLog.count(lpMessage)) << lpMessage;
        }
    }

    Folder mFolder;
    Replaced<int(char const*, mode_t)> mChmod{&SC::mChmod, chmodBelowRoot};
    LogCapture mLog;
};

// Any path and room: see tests/fuzz/PathFuzz.cpp, which the tests run too.
TEST_F(FileTest, PathsComeApartIntoStringsThatGrow)
{
    std::string const lLongest = "x.y/" + std::string(249, 'n') + ".b.txt";
    for (std::string const& lPath : {lLongest, "x" + lLongest}) // one too long
    {
        bool const lFits = lPath == lLongest;
        File const lFile(lPath.c_str(), FILE_TEXT_UTF8);
        Text lParts[3] = {Text(1, 1), Text(1, 1), Text(1, 1)};
        EXPECT_EQ(lFits ? "yyy" : "nnn", said({lFile.getFileName(&lParts[0], 1), lFile.getDirectoryPath(&lParts[1]),
                                               lFile.getExtension(&lParts[2])}));
        EXPECT_EQ(lFits ? std::string(249, 'n') + ".b" : "", lParts[0].c_str());
        EXPECT_STREQ(lFits ? "x.y" : "", lParts[1].c_str());
        EXPECT_STREQ(lFits ? "txt" : "", lParts[2].c_str());
    }
    File const lFile("a1\\x", 0);
    Text lFixed(2, 0);
    char lLeft[5] = "left";
    EXPECT_EQ("nnnn", said({lFile.getVolumeName(&lFixed), lFile.getPath(lLeft, 3), lFile.getFileName(nullptr, 0),
                            File::extractFileName(lLeft, 5, nullptr, 0)}));
    EXPECT_STREQ("left", lLeft);
    Text lPath(5, 0);
    EXPECT_TRUE(lFile.getPath(&lPath));
    EXPECT_STREQ("a1/x", lPath.c_str());
}

/// Opens, writes and cuts. A cut that fails leaves the position.
bool writeAndCut()
{
    File lFile("e/t", 0);
    bool const lIsWritten = lFile.open(FILE_OPEN_END, FILE_ACCESS_WRITE) && lFile.write("12345", 5) == 5;
    return lIsWritten && (lFile.resize(3) || lFile.position() != 5);
}

bool readByte()
{
    char lByte = 0;
    File lFile("d/s", 0);
    return lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ) && lFile.read(&lByte, 1) == 1;
}

// What is left, for each call of each use: see tests/proof/UtlFaultProof.cpp, which the tests run too.
TEST_F(FileTest, AFailedCallIsTold)
{
    auto const lCopy = [] { return File::copy("d/s", "e/t", 1); };
    auto const lSize = [] { return File::size("d") == SAMPLE_SIZE; };
    fails<&SC::mStat>(6, lCopy, {"ERR: in copy func stat Failed. errno[5] Path:d/s"});
    fails<&SC::mStat>(7, [] { return !File::copy("d/s", "e/t", 1); },
                      {"DBG: is changeParentAccessMode func stat Failed. errno[5] Path:e"});
    fails<&SC::mWrite>(3, lCopy, {});
    fails<&SC::mUnlink>(1, [] { return File::erase("d/s", 1); }, {"ERR: remove failed. errno[5] Path:d/s"});
    fails<&SC::mChmod>(1, [] { return ::chmod("d/s", 0444) == 0 && File::erase("d/s", 1); },
                       {"ERR: Can't erase force because Not Permited:d/s"});
    fails<&SC::mRmdir>(1, [] { return File::erase("e", 0); }, {"ERR: rmdir Failed.Path:e errno[5]"});
    fails<&SC::mOpendir>(1, [] { return File::erase("d", 0); }, {});
    fails<&SC::mStat>(
        2, [] { return File::applyReadOnly("d/s", 1); },
        {"ERR: is isReadOnly func stat Failed. errno[5] Path:d/s", "ERR: applyReadOnly can't change d/s"});
    fails<&SC::mMkdir>(1, [] { return File::makeDirectories("e/x/y"); },
                       {"ERR: CreateDirectory Failed. errno[5] Path:e/x/y/(e/)"});
    fails<&SC::mOpen>(1, readByte, {"ERR: open() Failed. errno[5] Path:d/s"});
    fails<&SC::mFstat>(
        1, readByte,
        {"ERR: fstat Failed. errno[5]", "ERR: fileSize Failed. Path:d/s", "ERR: in read func now size func error"});
    fails<&SC::mLseek>(1, readByte, {"ERR: lseek64 Failed. errno[5]", "ERR: in read func now seekFile func error"});
    fails<&SC::mLseek>(1, writeAndCut, {"DBG: seekFile in open Failed. errno[5] Path:e/t"});
    fails<&SC::mLseek>(4, writeAndCut, {});
    fails<&SC::mFtruncate>(1, writeAndCut, {"ERR: ftruncate Failed. Path:e/t"});
    fails<&SC::mOpen>(1, lSize, {"ERR: in size func open Failed. Path:d/s errno[5]"});
    fails<&SC::mFstat>(1, lSize, {"ERR: fileSize Failed. Path:d/s"});
    fails<&SC::mReaddir>(4, lSize, {}); // a part is not the whole
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
            EXPECT_TRUE(File::isOpened("d/s", &lIsShared));
            EXPECT_EQ(lIsReading, lIsShared);
            EXPECT_EQ(lIsReading, File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ));
            EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
            EXPECT_EQ(lIsReading ? 1U : 2U, mLog.count("DBG: Other process is opening. errno[11] Path:d/s"));
            EXPECT_EQ(lIsReading, File::copy("d/s", "e/t", 0));
            EXPECT_EQ("nn", said({File::move("d/s", "e/u"), File::erase("d/s", 1)}));
            EXPECT_EQ(std::string(SAMPLE_SIZE, 's'), contentOf("d/s"));
            EXPECT_FALSE(File("d/s", 0).open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE)); // emptied before it is locked
            EXPECT_EQ("", contentOf("d/s"));

            lIsOther ? void(::close(lOther)) : void(lUser.close());
            EXPECT_EQ("nn", said({File::isOpened("d/s", &lIsShared), lIsShared}));
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
    EXPECT_TRUE(File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_EQ(0640U, modeOf("d/s"));
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

TEST_F(FileTest, ModesAreTheSystemsByChoice)
{
    File::setModes(FILE_MODES_UMASK);
    ::umask(027);
    put("d/s", "text", 01754);
    put("d/old", "older text", 0600);
    FailNth<&SC::mChmod> const lChmod(99, 0); // counts
    File lFile("e/made/sub/f", FILE_TEXT_UTF8);
    EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    EXPECT_EQ(4U, lFile.write("text", 4));
    EXPECT_TRUE(File::copy("d/s", "e/copy", 0));
    EXPECT_TRUE(File::copy("d/s", "d/old", 1));
    EXPECT_TRUE(File::move("d/old", "e/moved"));
    EXPECT_TRUE(File::erase("e/moved", 0));
    EXPECT_EQ(0, lChmod.calls());
    EXPECT_TRUE(File::applyReadOnly("d/s", 0));
    EXPECT_TRUE(File::applyReadOnly("e/copy", 0));
    EXPECT_TRUE(File::liftReadOnly("e/copy", 0));
    struct
    {
        char const* mpName;
        mode_t mMode;
    } const ROWS[] = {{"d", 0751},    {"e", 0751},     {"e/made", 0750}, {"e/made/sub/f", 0640},
                      {"d/s", 01554}, {"e/copy", 0750}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(lRow.mMode, modeOf(lRow.mpName)) << lRow.mpName;
    }
}

TEST_F(FileTest, WhatIsNoPathIsRefused)
{
    FileNames lNames(1, 1);
    std::string const lLong = "e/" + std::string(100, 'a') + "/" + std::string(155, 'b');
    std::string const lLonger = lLong + "b"; // a directory has no room for its slash
    std::string const lTooLong = lLong + "bb";
    EXPECT_EQ("yy", said({File::copy("d/s", lLonger.c_str(), 1), File::erase(lLonger.c_str(), 1)}));
    EXPECT_EQ("yn", said({File::makeDirectories(lLong.c_str()), File::makeDirectories(lLonger.c_str())}));
    for (char const* const lpPath : {static_cast<char const*>(nullptr), "", "d//s", lTooLong.c_str()})
    {
        EXPECT_EQ("nnnnnnnnn",
                  said({File::copy("d/s", lpPath, 1), File::copy(lpPath, "e/t", 1), File::move("d/s", lpPath),
                        File::move(lpPath, "e/t"), File::erase(lpPath, 1), File::isDirectory(lpPath),
                        File::applyReadOnly(lpPath, 1), File::liftReadOnly(lpPath, 1),
                        File::changeParentAccessMode(lpPath, 0777, nullptr)}));
        EXPECT_EQ(-1, File::size(lpPath));
        EXPECT_EQ(FILE_ERROR, File::children(lpPath, &lNames, FILE_CHILD_ALL, nullptr, 0));
    }
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_EQ("nnnn", said({File::copy("d", nullptr, 1), File::makeDirectories(nullptr), File::exists(nullptr),
                            File::isReadOnly(nullptr)}));
    EXPECT_EQ(1U, mLog.count("ERR: isReadOnly func 0 == npPath false"));
    EXPECT_TRUE(File::exists("d\\\\s")); // as the system sees it
    EXPECT_STREQ("", File(nullptr, 0).getPath());
}

TEST_F(FileTest, DirectoriesAreMadeOpenAndListed)
{
    EXPECT_EQ("yy", said({File::makeDirectories("e"), File::makeDirectories("")}));
    EXPECT_EQ(0751U, modeOf("e"));
    EXPECT_EQ("nnn",
              said({File::makeDirectories("d/s"), File::makeDirectories("d/s/x"), File::makeDirectories("l//x")}));
    EXPECT_TRUE(File::makeDirectories("l\\sub/"));
    EXPECT_EQ(0777U, modeOf("l"));
    EXPECT_EQ(0777U, modeOf("l/sub"));
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
        for (BasicString<char> const& lName : lNames)
        {
            lSorted.insert(lName.c_str() + std::string(" "));
        }
        EXPECT_EQ(lRow.mNames,
                  std::accumulate(lSorted.begin(), lSorted.end(), std::string(lCount == FILE_ERROR ? "-" : "")))
            << lRow.mPath;
    }
    EXPECT_EQ(5U, lNames.maxSize()) << "grown by what it needs, not by the steps on the way";
    EXPECT_EQ(3U, File("l", 0).children(&lNames, FILE_CHILD_ALL, nullptr, 3));
    FileNames lFixed(4, 0);
    EXPECT_EQ(FILE_ERROR, File::children("l", &lFixed, FILE_CHILD_ALL, nullptr, 0));
    EXPECT_EQ(FILE_ERROR, File::children("l", nullptr, FILE_CHILD_ALL, nullptr, 0));

    Replaced const lUnknown(
        &SC::mReaddir,
        +[](DIR* npDirectory)
        {
            static dirent sNone;
            dirent* const lpEntry = ::readdir(npDirectory);
            (lpEntry != nullptr ? lpEntry : &sNone)->d_type = DT_UNKNOWN;
            return lpEntry;
        });
    EXPECT_EQ(0U, File::children("l", &lNames, FILE_CHILD_DIRECTORIES, nullptr, 0));
    EXPECT_EQ(5U, File::children("l", &lNames, FILE_CHILD_FILES, nullptr, 0)) << "without . and ..";
}

// Through objects for the paths, which call the functions without an object.
TEST_F(FileTest, TreesAreCopiedSizedLockedAndErased)
{
    File lTree("d", 0);
    File lSub("d/sub", 0);
    EXPECT_EQ("nyyy", said({lSub.exists(), lSub.makeDirectories(), lSub.exists(), lSub.isDirectory()}));
    put("d/sub/t", "12345");
    put("d/sub/u", "", 0464); // read-only: only the owner's bit counts
    EXPECT_EQ("yy", said({lTree.copy("e/new/copy", 0), lTree.copy("d", 0)}));
    EXPECT_EQ(SAMPLE_SIZE + 5, lTree.size());
    EXPECT_EQ(SAMPLE_SIZE + 5, File::size("e/new/copy"));
    EXPECT_EQ("12345", contentOf("e/new/copy/sub/t"));
    EXPECT_EQ(0464U, modeOf("e/new/copy/sub/u"));
    EXPECT_FALSE(lTree.copy("e/new/copy", 2));
    EXPECT_TRUE(File("d/sub/t", 0).copy("e/new/copy/s", 1)); // 5 bytes over many
    EXPECT_EQ("12345", contentOf("e/new/copy/s"));

    EXPECT_FALSE(File::move("d/s", "e/new/copy/s"));
    EXPECT_EQ("yn", said({File("d/s", 0).move("e/other/t"), fs::exists("d/s")}));
    EXPECT_EQ("yy", said({File::makeDirectories("e/empty"), File::move("e/other", "e/empty")}));

    EXPECT_EQ("yyn", said({File::isReadOnly("d/sub/u"), lTree.applyReadOnly(2), File::isReadOnly("d/sub/t")}));
    EXPECT_EQ("yy", said({lTree.applyReadOnly(1), lTree.isReadOnly()}));
    EXPECT_EQ(0555U, modeOf("d"));
    EXPECT_EQ(0555U, modeOf("d/sub"));
    EXPECT_EQ(0555U, modeOf("d/sub/t"));
    EXPECT_EQ("nn", said({File::erase("d", 2), File("d/sub/t", 0).open(FILE_OPEN_TOP, FILE_ACCESS_WRITE)}));
    EXPECT_TRUE(fs::exists("d/sub/t"));
    EXPECT_TRUE(lTree.liftReadOnly(1));
    EXPECT_EQ(0777U, modeOf("d/sub/u"));
    EXPECT_TRUE(File::applyReadOnly("d/sub/u", 0));
    EXPECT_EQ(0, ::mkfifo("d/sub/fifo", 0640)); // nobody waits for its other end
    EXPECT_EQ(5, File::size("d"));
    EXPECT_EQ(0, mLog.count("ERR"));
    {
        Replaced const lPretends(
            &SC::mChmod, +[](char const*, mode_t) { return 0; });
        EXPECT_FALSE(File::liftReadOnly("d", 1));
        EXPECT_EQ(1U, mLog.count("ERR: liftReadOnly can't change d/sub/u"));
    }
    EXPECT_EQ("yn", said({lTree.erase(1), fs::exists("d")}));
}

TEST_F(FileTest, BytesPositionsAndLengths)
{
    File lFile("e/new/f", FILE_TEXT_UTF8);
    char lBuffer[8] = {};
    EXPECT_FALSE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    EXPECT_TRUE(mLog.lines().empty());
    EXPECT_EQ(FILE_READ_ERROR, lFile.read(lBuffer, 1));
    EXPECT_EQ(FILE_ERROR, lFile.write("x", 1));
    EXPECT_EQ(-1, lFile.position() & lFile.availableSize() & lFile.size());
    EXPECT_FALSE(lFile.close());
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    EXPECT_EQ("nnn", said({lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE), lFile.erase(1), lFile.move("e/g")}));
    EXPECT_EQ(10U, lFile.write("0123456789", 10));
    EXPECT_EQ(FILE_ERROR, lFile.write("", 0));
    EXPECT_EQ(1U, mLog.count("ERR: writeFile Failed. Path:e/new/f"));
    EXPECT_EQ(FILE_READ_END, lFile.read(lBuffer, 8));
    EXPECT_EQ(7, lFile.seek(-3, FILE_SEEK_END));
    EXPECT_EQ(6, lFile.seek(-1, FILE_SEEK_CURRENT));
    EXPECT_EQ(4, lFile.availableSize());
    EXPECT_EQ(4, lFile.read(lBuffer, 8));
    EXPECT_STREQ("6789", lBuffer);
    EXPECT_EQ(-1, lFile.seek(0, 3));
    EXPECT_EQ(-1, lFile.seek(-1, FILE_SEEK_BEGIN));
    EXPECT_EQ("yy", said({lFile.flush(), lFile.resize(8)}));
    EXPECT_EQ(8, lFile.position());
    EXPECT_TRUE(lFile.resize(5'000'000'000));
    EXPECT_EQ(8, lFile.position());
    EXPECT_EQ(5'000'000'000, lFile.size());
    EXPECT_EQ(5'000'000'010, lFile.seek(10, FILE_SEEK_END));
    EXPECT_EQ(0, lFile.availableSize());
    EXPECT_EQ(3, lFile.seek(3, FILE_SEEK_BEGIN));
    EXPECT_EQ("yy", said({lFile.resize(), lFile.close()}));
    EXPECT_EQ("012", contentOf("e/new/f"));

    EXPECT_FALSE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ));
    EXPECT_EQ("nnnn", said({lFile.open(3, FILE_ACCESS_WRITE), lFile.open(0, 3), lFile.open(-1, 0), lFile.open(0, -1)}));
    EXPECT_FALSE(File("e", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    EXPECT_EQ("012", contentOf("e/new/f"));
    for (int const lMode : {FILE_OPEN_END, FILE_OPEN_TOP, FILE_OPEN_TRUNCATE})
    {
        char const* const CONTENT[] = {"3123", "0123", "3"};
        EXPECT_TRUE(lFile.open(lMode, FILE_ACCESS_WRITE));
        EXPECT_EQ(1, lFile.write("3", 1));
        EXPECT_TRUE(lFile.close());
        EXPECT_EQ(CONTENT[lMode], contentOf("e/new/f"));
    }

    Replaced const lZero(
        &SC::mOpen, +[](char const*, int, mode_t) { return 0; }); // counts as none, and is not ours to close
    EXPECT_EQ("nn", said({File("d/s", 0).open(FILE_OPEN_TOP, FILE_ACCESS_READ), File::isOpened("d/s", nullptr)}));
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
        EXPECT_EQ("yy", said({lFirst.close(), lSecond.close()}));
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
    EXPECT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE));
    EXPECT_EQ(1, lFile.write("12", 2));
    EXPECT_FALSE(File::copy("d/s", "e/short", 0));
    EXPECT_EQ(0751U, modeOf("e"));
}

TEST_F(FileTest, ArgumentsThatAreNoneAndTheFileItself)
{
    File lFile("d/s", 0);
    char lByte = 0;
    EXPECT_TRUE(File::move("d/s", "d/s"));
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    File& lSame = lFile;
    lFile = lSame;
    EXPECT_TRUE(lFile.isOpened());
    EXPECT_EQ(FILE_READ_ERROR, lFile.read(&lByte, 0x80000000U));
    EXPECT_EQ(FILE_ERROR, lFile.write(nullptr, 4));
    FileNames lNames(0, 1);
    EXPECT_EQ(FILE_ERROR, File::children("d/s/*", &lNames, FILE_CHILD_ALL, nullptr, 0));
    FailNth<&SC::mFnmatch> const lFault(0, EINVAL);
    EXPECT_EQ(0U, File::children("d/*", &lNames, FILE_CHILD_ALL, nullptr, 0)); // no name that could be judged
}

} // namespace
