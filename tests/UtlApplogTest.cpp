#include "UtlApplog.h"

#include "UtlConvertAttrib.h"
#include "UtlFile.h"
#include "UtlThreadManager.h"
#include "UtlTimeCounter.h"
#include "UtlTimepiece.h"
#include "support/Test.h"
#include "support/Watchdog.h"

#include <poll.h>

using namespace utl;

namespace
{

using utl::test::LogLines;

// One sink call at a time is the log's affair.
LogLines gSyslog; // "<priority> <text>"
LogLines gBinary;

void captureSyslog(int nPriority, char const* npFormat)
{
    gSyslog.push_back(std::to_string(nPriority) + " " + npFormat);
    errno = EBADF;
}

/// Logs before any constructor of the library ran, where the library's objects come after it.
struct Early
{
    Early() { applog(UTL_LOG_TYPE, LOG_LEVEL_DEBUG, "rejected"); }
    int const mFilterLevel = getFilterLevel(UTL_LOG_TYPE);
};
__attribute__((init_priority(101))) Early gEarly;

/// All sinks, the clock at Thu Nov 15 2007, 08:55:34.123999, and filters as they are at the start.
class ApplogTest : public testing::Test
{
protected:
    ApplogTest()
    {
        ::setenv("TZ", "UTC", 1);
        gSyslog.clear();
        gBinary.clear();
        sSeconds = 1195116934;
    }
    ~ApplogTest() override
    {
        setAllFilterLevel(LOG_LEVEL_DETAIL);
        setLogSinks(LOG_SINK_SYSTEM + LOG_SINK_OUTPUT + LOG_SINK_PLATFORM);
    }

    static inline std::atomic<long long> sSeconds{0};
    utl::test::LogCapture mConsole;
    utl::test::Replaced<void(int, char const*)> mSyslog{&internal::SystemCalls::mSyslog, captureSyslog};
    utl::test::Replaced<int(timeval*)> mClock{&internal::SystemCalls::mGettimeofday, [](timeval* npTime)
                                              {
                                                  npTime->tv_sec = static_cast<time_t>(sSeconds);
                                                  npTime->tv_usec = 123999;
                                                  errno = EBADF;
                                                  return 0;
                                              }};
};

TEST_F(ApplogTest, EachLevelHasItsPrefixAndItsSinks)
{
    setFilterLevel(UTL_LOG_TYPE, LOG_LEVEL_DEBUG);
    struct
    {
        int mLevel;
        std::string mPrefix;   // empty: not written
        std::string mPriority; // empty: not to the system log nor the binary log
    } const ROWS[] = {{0, "", ""},      {1, "ERR: ", "3"}, {2, "WRN: ", "4"}, {3, "INF: ", "6"},
                      {4, "DTL: ", ""}, {5, "DBG: ", ""},  {6, "DBG: ", ""},  {-1, "DBG: ", ""}};
    for (auto const& lRow : ROWS)
    {
        mConsole.clear();
        gSyslog.clear();
        gBinary.clear();
        applog(UTL_LOG_TYPE, lRow.mLevel, "text %d", 7);
        rawlog(UTL_LOG_TYPE, lRow.mLevel, "raw %d", 8);
        std::string const lText = "<UTIL> " + lRow.mPrefix + "text 7";
        LogLines const lLines{"Nov 15 08:55:34.123 " + lText + "\r\n", "raw 8"};
        LogLines const lSystem{lRow.mPriority + " " + lText, lRow.mPriority + " raw 8"};
        EXPECT_EQ(lRow.mPrefix.empty() ? LogLines{} : lLines, mConsole.rawLines()) << lRow.mLevel;
        EXPECT_EQ(lRow.mPriority.empty() ? LogLines{} : lLines, gBinary) << lRow.mLevel;
        EXPECT_EQ(lRow.mPriority.empty() ? LogLines{} : lSystem, gSyslog) << lRow.mLevel;
    }
    sSeconds = 0x100000000LL; // a day of one digit, and more than 32 bits
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "%s", "");
    EXPECT_EQ("Feb  7 06:28:16.123 <UTIL> ERR: \r\n", gBinary.back());
    rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "%s", "");
    EXPECT_EQ("3 ", gSyslog.back());
    EXPECT_EQ(1U, gBinary.size()); // nothing of an empty text
}

TEST_F(ApplogTest, FilterOfTheTypeDecides)
{
    int const UNKNOWN = 4711;
    ASSERT_TRUE(registerLogType(1, "one ", LOG_LEVEL_WARNING));
    setFilterLevel(UNKNOWN, LOG_LEVEL_DEBUG);
    EXPECT_EQ(LOG_LEVEL_UNKNOWN_TYPE, getFilterLevel(UNKNOWN));
    auto const lAll = [&]
    {
        mConsole.clear();
        char const* const lpNone = nullptr;
        for (int lLevel = LOG_LEVEL_ERROR; lLevel <= LOG_LEVEL_DEBUG; ++lLevel)
        {
            applog(1, lLevel, "x");
            applog(UNKNOWN, lLevel, "y");
            applog(1, lLevel, lpNone);
            rawlog(1, lLevel, lpNone);
        }
        return mConsole.lines();
    };
    EXPECT_EQ((LogLines{"one ERR: x", "ERR: y", "one WRN: x", "WRN: y", "INF: y", "DTL: y"}), lAll());
    setFilterLevel(DEFAULT_LOG_TYPE, LOG_LEVEL_NONE);
    EXPECT_EQ((LogLines{"one ERR: x", "one WRN: x"}), lAll());
    setAllFilterLevel(LOG_LEVEL_ERROR);
    EXPECT_EQ((LogLines{"one ERR: x", "ERR: y"}), lAll());
    setFilterLevel(1, -1);
    EXPECT_EQ(LOG_LEVEL_DEBUG, getFilterLevel(1));
}

TEST_F(ApplogTest, SinksCanBeSwitched)
{
    utl::test::Replaced const lError{&internal::SystemCalls::mPrintError,
                                     +[](char const* npFormat) { gBinary.push_back(std::string("2 ") + npFormat); }};
    EXPECT_EQ(LOG_SINK_SYSTEM + LOG_SINK_OUTPUT + LOG_SINK_PLATFORM, getLogSinks());
    for (unsigned int lSink : {0U, LOG_SINK_SYSTEM, LOG_SINK_OUTPUT, LOG_SINK_PLATFORM, LOG_SINK_ERROR})
    {
        setLogSinks(lSink);
        rawlog(UTL_LOG_TYPE, LOG_LEVEL_INFO, "%u", lSink);
    }
    EXPECT_EQ(LogLines{"6 1"}, gSyslog);
    EXPECT_EQ(LogLines{"2"}, mConsole.rawLines());
    EXPECT_EQ((LogLines{"4", "2 8"}), gBinary);
}

TEST_F(ApplogTest, TypesAreRegisteredUpToTheLimits)
{
    std::string const lLongest(31, 'p');
    std::string const lTooLong(32, 'p');
    for (int lType = 1; lType <= 63; ++lType)
    {
        EXPECT_EQ(lType <= 62, registerLogType(lType, "", 1));
    }
    EXPECT_TRUE(registerLogType(DEFAULT_LOG_TYPE, "dft ", 1));
    EXPECT_TRUE(registerLogType(2, lLongest.c_str(), 6));
    EXPECT_FALSE(registerLogType(2, lTooLong.c_str(), 1));
    EXPECT_FALSE(registerLogType(2, nullptr, 1));
    EXPECT_EQ(LOG_LEVEL_DEBUG, getFilterLevel(2));
    for (int lType : {1, 2, 63})
    {
        applog(lType, LOG_LEVEL_ERROR, "x");
    }
    EXPECT_EQ((LogLines{"ERR: x", lLongest + "ERR: x", "dft ERR: x"}), mConsole.lines());
    EXPECT_TRUE(registerLogType(DEFAULT_LOG_TYPE, "", 4));
    EXPECT_TRUE(setLogTag(lLongest.c_str()));
    EXPECT_FALSE(setLogTag(lTooLong.c_str()));
    EXPECT_FALSE(setLogTag(nullptr));
}

TEST_F(ApplogTest, LongLinesAreCutAndMarked)
{
    std::string const lHead = "Nov 15 08:55:34.123 <UTIL> ERR: ";
    for (std::size_t lLength : {253U, 254U, 255U, 256U, 2000U})
    {
        std::string const lRaw(lLength, 'x');
        std::string const lTimed = lHead + std::string(lLength - lHead.size(), 'x');
        mConsole.clear();
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "%s", lTimed.c_str() + lHead.size());
        rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "%s", lRaw.c_str());
        EXPECT_EQ((LogLines{(lLength <= 253 ? lTimed : lTimed.substr(0, 250) + "...") + "\r\n",
                            lLength <= 255 ? lRaw : lRaw.substr(0, 252) + "..."}),
                  mConsole.rawLines());
    }
}

TEST_F(ApplogTest, PercentSignsReachTheFormatSinksDefined)
{
    std::string const lError = std::strerror(ENOENT);
    struct
    {
        std::string mText, mFormat, mShown;
    } const ROWS[] = {{"50%", "50%%", "50%"},
                      {"%%%", "%%%%", "%%"},
                      {"%d %s %n", "%%d %%s %%n", "%d %s %n"},
                      {"%%d", "%%d", "%d"},
                      {"%5m|%", "%%5m|%%", "%5m|%"},
                      {"%\xE3\x81\x82", "%%\xE3\x81\x82", "%\xE3\x81\x82"},
                      {"why: %m", "why: %m", "why: " + lError},
                      {"%s" + std::string(253, '%'), "%%s" + std::string(254, '%'), "%s" + std::string(127, '%')}};
    for (auto const& lRow : ROWS)
    {
        mConsole.clear();
        errno = ENOENT;
        rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "%s", lRow.mText.c_str());
        EXPECT_EQ(ENOENT, errno);
        EXPECT_EQ(LogLines{lRow.mShown}, mConsole.rawLines());
        EXPECT_EQ(lRow.mText, gBinary.back());
        EXPECT_EQ("3 " + lRow.mFormat, gSyslog.back());
    }
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "%m"); // read by our own formatting, after the clock spoilt errno
    EXPECT_EQ("<UTIL> ERR: " + lError, mConsole.lines().back());
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(ApplogTest, CallersFileComesFirstAndGetsTheTextAsItStands)
{
    ThreadManager::get()->setWatchdogWatchInterval(0); // the watchdog is not to write meanwhile
    File lFile("/dev/null", FILE_TEXT_UTF8);
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    static std::string sWritten;
    utl::test::Replaced lWrite(
        &internal::SystemCalls::mWrite,
        +[](int, void const* npBytes, std::size_t nSize) -> ssize_t
        {
            sWritten.append(static_cast<char const*>(npBytes), nSize);
            std::thread([] { rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "first"); }).join(); // no lock of the log is held
            return static_cast<ssize_t>(nSize);
        });
    applog(UTL_LOG_TYPE, LOG_LEVEL_DEBUG, &lFile, "filtered");
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, &lFile, "100%% of %d", 5);
    rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, &lFile, "%%%%");
    EXPECT_EQ("Nov 15 08:55:34.123 <UTIL> ERR: 100% of 5\r\n%%", sWritten);
    lFile.setTextType(FILE_TEXT_SJIS); // refuses
    for (File* const lpFile : {&lFile, static_cast<File*>(nullptr)})
    {
        rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, lpFile, "console");
    }
    EXPECT_EQ(std::string::npos, sWritten.find("console"));
    EXPECT_EQ((LogLines{"first", "<UTIL> ERR: 100% of 5", "first", "%", "console", "console"}), mConsole.lines());
}

/// A pipe in the place of one of the standard descriptors, for a child that is about to end.
struct ConsolePipe
{
    explicit ConsolePipe(int nFd)
    {
        EXPECT_EQ(0, ::pipe2(mFds, O_NONBLOCK));
        ::dup2(mFds[1], nFd);
        ::setvbuf(nFd == 1 ? stdout : stderr, nullptr, nFd == 1 ? _IOFBF : _IONBF, 4096); // as for any pipe
        ::close(mFds[1]);
    }

    std::string drain()
    {
        std::string lText(1U << 20, ' ');
        ssize_t const lSize = ::read(mFds[0], &lText[0], lText.size());
        lText.resize(lSize > 0 ? static_cast<std::size_t>(lSize) : 0);
        return lText;
    }

    int mFds[2] = {-1, -1};
};

TEST(Applog, ErrorsAndWarningsAreOnTheirWayWhenTheCallReturns)
{
    for (int lLevel : {LOG_LEVEL_ERROR, LOG_LEVEL_WARNING})
    {
        auto const lDie = [&]
        {
            ConsolePipe lConsole(1);
            rawlog(DEFAULT_LOG_TYPE, LOG_LEVEL_DETAIL, "before");
            rawlog(DEFAULT_LOG_TYPE, lLevel, " and now");
            return lConsole.drain() == "before and now"; // as abort(), without a core
        };
        EXPECT_TRUE(utl::test::inChild(lDie)) << lLevel;
    }
}

TEST(Applog, StalledConsoleDropsLinesAndSaysHowMany)
{
    for (int lFd : {1, 2})
    {
        auto const lStall = [&]
        {
            utl::internal::gSystem.mPoll.exchange( // patience within reason, and a signal ends each turn
                [](pollfd* npFds, nfds_t nCount, int nMs)
                {
                    int const lReady = ::poll(npFds, nCount, std::min(nMs, 1));
                    errno = EINTR;
                    return lReady == 0 && nMs != 0 ? -1 : lReady;
                });
            setLogSinks(lFd == 1 ? LOG_SINK_OUTPUT : LOG_SINK_ERROR);
            ConsolePipe lConsole(lFd);
            std::string const lFilling(4096, 'x');
            while (::write(lFd, lFilling.data(), lFilling.size()) > 0)
            {
            }
            ::fcntl(lFd, F_SETFL, 0); // from here on a write would wait
            int const LINES = 30;     // more than the buffer of a stream takes
            for (int lLine = 0; lLine < LINES; ++lLine)
            {
                applog(DEFAULT_LOG_TYPE, LOG_LEVEL_ERROR, "%0200d", lLine);
            }
            ::fcntl(lConsole.mFds[0], F_SETFL, O_NONBLOCK);
            lConsole.drain();
            applog(DEFAULT_LOG_TYPE, LOG_LEVEL_ERROR, "after");
            std::string const lText = lConsole.drain();
            auto const lKept = std::count(lText.begin(), lText.end(), '\n') - 2;
            std::string const lTold =
                "<UTIL> WRN: Console stalled, lines dropped:" + std::to_string(LINES - lKept) + "\r\n";
            std::size_t const lAt = lText.find(lTold);
            return lAt != std::string::npos && lText.find("ERR: after\r\n", lAt) != std::string::npos;
        };
        EXPECT_TRUE(utl::test::inChild(lStall)) << lFd;
    }
}

// The threads of the parent are inside every leaf lock again and again while it forks, and their lines stay whole.
TEST_F(ApplogTest, ChildOfAForkAndManyThreadsLogAndUseText)
{
    utl::test::Watched const lWatched;
    File lFile("/dev/zero", FILE_TEXT_UTF8);
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_WRITE));
    std::atomic<bool> lIsOver{false};
    std::atomic<int> lLines{0};
    auto const lWork = [&](File* npFile)
    {
        Time lTime;
        char lText[] = "text \xEF\xBC\xA1 ";
        registerLogType(3, ++lLines % 2 == 0 ? "unusual " : "even ", 4);
        applog(3, LOG_LEVEL_ERROR, npFile, "a line");
        trimStrRight<char>(lText, " ");
        compareStrNoCase<char>(lText, "TEXT A", STR_ALL);
        getLocalTime(&lTime);
        TimeCounter::start(1U);
        return true;
    };
    auto const lKeepOn = [&]
    {
        utl::test::Watched const lAlso;
        while (!lIsOver && lWork(nullptr))
        {
        }
    };
    auto const lFork = [&]
    {
        for (int lRound = 0; lRound < 100 && !HasFailure(); ++lRound)
        {
            EXPECT_TRUE(utl::test::inChild([&] { return lWork(&lFile); })) << lRound;
        }
        lIsOver = true;
    };
    utl::test::together(lKeepOn, lKeepOn, lFork);
    EXPECT_EQ(lLines, std::count(gSyslog.begin(), gSyslog.end(), "3 even ERR: a line") +
                          std::count(gSyslog.begin(), gSyslog.end(), "3 unusual ERR: a line"));
}

TEST(Applog, WorksBeforeMainAndWhileTheProcessExits)
{
    EXPECT_EQ(LOG_LEVEL_DETAIL, gEarly.mFilterLevel);
    auto const lLogOn = []
    {
        for (;;)
        {
            rawlog(UTL_LOG_TYPE, LOG_LEVEL_DETAIL, "last");
        }
    };
    auto const lExitWhileLogging = [&]
    {
        utl::internal::gSystem.mPrintf.exchange([](char const* npFormat) { EXPECT_STREQ("last", npFormat); });
        std::thread(lLogOn).detach();
        std::atexit([] { rawlog(UTL_LOG_TYPE, LOG_LEVEL_DETAIL, "last"); });
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(lExitWhileLogging(), testing::ExitedWithCode(0), "");
}

} // namespace

extern "C" void BinaryLogWrite(int nKind, char const* npText, unsigned int nLength)
{
    EXPECT_EQ(3, nKind);
    gBinary.emplace_back(npText, nLength);
}
