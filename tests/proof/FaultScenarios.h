/// What UtlFaultProof runs with faults: each family through its public use. A scenario tells each result to a Report
/// and is written so that any of them may be a failure.
#ifndef UTL_PROOF_FAULT_SCENARIOS_H
#define UTL_PROOF_FAULT_SCENARIOS_H

#include "Utl.h"
#include "support/Process.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <initializer_list>
#include <memory>

#include <fcntl.h>
#include <glob.h>

namespace utl
{

class MemoryTestPeer
{
public:
    static bool reportTotals(char const* npPath) { return Memory::get()->reportTotals(3, npPath); }
    static bool reportDetails(char const* npPath) { return Memory::get()->reportDetails(3, npPath); }
};

} // namespace utl

namespace utl::proof
{

/// The results of one run. Takes no memory from the heap, where faults are.
class Report
{
public:
    static constexpr int MAX_RESULTS = 128;

    /// npFaulty: the call that fails in this run, "" for none.
    explicit Report(char const* npFaulty)
        : mpFaulty(npFaulty)
    {
    }

    /// A result that must be one of these.
    template <class T>
    T is(char const* npStep, T nValue, std::initializer_list<long long> nDocumented)
    {
        must(std::count(nDocumented.begin(), nDocumented.end(), nValue) != 0, npStep, nValue);
        must(mCount < MAX_RESULTS, "too many results for a report");
        mSteps[mCount % MAX_RESULTS] = npStep;
        mValues[mCount++ % MAX_RESULTS] = nValue;
        return nValue;
    }

    /// A result of which both values are documented. Result: 1 for true, to be compared with what was heard.
    unsigned int flag(char const* npStep, bool nValue) { return is(npStep, nValue ? 1U : 0U, {0, 1}); }

    /// What follows from results.
    void must(bool nHolds, char const* npWhat, long long nValue = 0)
    {
        if (!nHolds && mWrongCount++ == 0)
        {
            std::snprintf(mWrong, sizeof(mWrong), "%s: %lld", npWhat, nValue);
        }
    }

    /// Waits for what another thread does; not for long where it may have failed.
    template <class Condition>
    void await(char const* npStep, Condition nCondition)
    {
        for (unsigned int lTenths = isFaulty() ? 100 : 10 * test::longMs(); !nCondition() && lTenths > 0; --lTenths)
        {
            ::usleep(100);
        }
        flag(npStep, nCondition());
    }

    bool isFaulty() const { return *mpFaulty != 0; }
    bool isFaulty(char const* npCall) const { return std::strcmp(mpFaulty, npCall) == 0; }

    int mCount = 0;
    char const* mSteps[MAX_RESULTS] = {};
    long long mValues[MAX_RESULTS] = {};
    unsigned int mWrongCount = 0;
    char mWrong[160] = {}; // the first that is not documented

private:
    char const* const mpFaulty;
};

ThreadPriority const NORMAL(ThreadPriority::NORMAL);

// ---------------------------------------------------------------------------------------------- messages

/// Counts messages by id and time-outs by timer.
struct Ear : ThreadMsgListener
{
    void receiveMsg(int, ThreadRawMsg& nRawMsg) override
    {
        TimerMsg lMsg;
        nRawMsg.getMsgId(&lMsg.mMsgId);
        ++(lMsg.mMsgId == MSG_ID_TIMER && lMsg.restoreFrom(nRawMsg) ? mTimeouts[lMsg.mTimerId & 7]
                                                                    : mHeard[lMsg.mMsgId & 7]);
    }

    std::atomic<unsigned int> mHeard[8] = {};
    std::atomic<unsigned int> mTimeouts[8] = {};
};

inline void messages(Report& nReport)
{
    Ear lEar;
    MsgDrivenThread lThread(8, 4, "proof", 2);
    nReport.is("start", lThread.start(&lEar, 1, 60000, nullptr, 1, 0, NORMAL, 0), {0, -1});
    unsigned int const lIsPosted = nReport.flag("postMsg", lThread.postMsg(1));
    unsigned int const lIsSent = nReport.flag("sendMsgSync", lThread.sendMsgSync(2));
    unsigned int const lIsInterrupted = nReport.flag("sendMsgInterrupt", lThread.sendMsgInterrupt(3));
    nReport.flag("hasMsg", lThread.hasMsg(5));
    ThreadRawMsg lRawMsg(4);
    nReport.flag("peekMsg", lThread.peekMsg(5, &lRawMsg));
    nReport.flag("eraseMsg", lThread.eraseMsg(5));
    nReport.is("getFirstMsgId", lThread.getFirstMsgId(), {MSG_ID_NONE, 1});
    unsigned int const lIsSentAgain = nReport.flag("sendMsgSync", lThread.sendMsgSync(4));
    nReport.is("stop", lThread.stop(1, 0), {0, -1});
    nReport.flag("leaveManagement", lThread.leaveManagement());

    nReport.must(lEar.mHeard[1] <= lIsPosted, "a refused message was heard");
    nReport.must(lEar.mHeard[3] == lIsInterrupted, "an interrupt and its result do not fit");
    nReport.must(lEar.mHeard[2] + lEar.mHeard[4] == lIsSent + lIsSentAgain, "a synchronous message and its result");
}

inline void messageTimers(Report& nReport)
{
    Ear lEar;
    MsgDrivenThread lThread(8, 4, "proof", 3);
    nReport.is("start", lThread.start(&lEar, 0, 0, nullptr, 1, 0, NORMAL, 0), {0, -1});
    int const lFirst = nReport.is("registerTimer", lThread.registerTimer(1, 0, 0), {1, -1});
    nReport.flag("startTimer", lThread.startTimer(lFirst, 0));
    nReport.await("two time-outs", [&] { return lEar.mTimeouts[1] >= 2; });
    int const lSecond = nReport.is("setTimer", lThread.setTimer(1, 0, 1, 1), {1, 2, -1});
    nReport.await("the only time-out", [&] { return lSecond > 0 && lEar.mTimeouts[lSecond] >= 1; });
    bool const lIsKilled = nReport.flag("killTimer", lThread.killTimer(lFirst, 0));
    unsigned int const lTimeouts = lEar.mTimeouts[1];
    nReport.is("setTimer", lThread.setTimer(60000, 0, 0, 0), {1, 2, 3, -1});
    nReport.flag("setTimer without waiting", lThread.setTimer(60000, 1, 0, 0) != -1);
    nReport.flag("sendMsgSync", lThread.sendMsgSync(1));
    nReport.must(!lIsKilled || lSecond == 1 || lEar.mTimeouts[1] == lTimeouts, "a time-out after killTimer");
    nReport.is("stop", lThread.stop(1, 0), {0, -1});
    nReport.is("remTimerIdCount", lThread.remTimerIdCount(), {3});
    nReport.flag("leaveManagement", lThread.leaveManagement());
}

inline void sharedThread(Report& nReport)
{
    Ear lEar;
    Ear lOther;
    MsgDrivenSharedThread lThread(8, 8, 2, "proof", 2);
    nReport.is("start", lThread.start(0, 0, nullptr, 1, 0, NORMAL, 0), {0, -1});
    unsigned int const lIsAttached = nReport.flag("attachMsgListener", lThread.attachMsgListener(&lEar));
    unsigned int const lIsPosted = nReport.flag("postMsg to all", lThread.postMsg(1));
    unsigned int const lIsSpecified = nReport.flag("postMsg to one", lThread.postMsg(&lOther, 2));
    unsigned int const lIsSent = nReport.flag("sendMsgSync to one", lThread.sendMsgSync(&lOther, 3));
    unsigned int const lIsInterrupted = nReport.flag("sendMsgInterrupt to one", lThread.sendMsgInterrupt(&lOther, 4));
    nReport.flag("hasMsg", lThread.hasMsg(&lOther, 5));
    ThreadRawMsg lRawMsg(4);
    nReport.flag("peekMsg", lThread.peekMsg(&lOther, 5, &lRawMsg));
    nReport.flag("eraseMsg", lThread.eraseMsg(&lOther, 5));
    nReport.is("getFirstMsgId", lThread.getFirstMsgId(&lOther), {MSG_ID_NONE, 2});
    int const lTimerId = nReport.is("setTimer", lThread.setTimer(&lOther, 1, 0, 0, 0), {1, -1});
    nReport.await("time-out", [&] { return lOther.mTimeouts[1] >= 1; });
    nReport.flag("killTimer", lThread.killTimer(lTimerId, 0));
    nReport.flag("setTimer for all", lThread.setTimer(60000, 0, 0, 0) != -1);
    nReport.flag("abortMsg", lThread.abortMsg(&lOther));
    lThread.detachMsgListener(&lEar);
    nReport.is("stop", lThread.stop(1, 0), {0, -1});
    nReport.flag("leaveManagement", lThread.leaveManagement());

    nReport.must(lEar.mHeard[1] <= lIsAttached * lIsPosted, "a refused broadcast was heard");
    nReport.must(lOther.mHeard[2] <= lIsSpecified, "a refused message was heard");
    // One that could not be written leaves its slot, which the next synchronous message takes for its own.
    nReport.must(nReport.isFaulty("write") || lOther.mHeard[3] <= lIsSent, "a refused synchronous message was heard");
    nReport.must(lOther.mHeard[4] == lIsInterrupted, "an interrupt and its result do not fit");
}

// ---------------------------------------------------------------------------------------------- timers

struct Beat : TimerListener
{
    void onTime(int) override { ++mCount; }
    std::atomic<unsigned int> mCount{0};
};

inline void sharedTimer(Report& nReport)
{
    Beat lBeat;
    SharedTimer lTimer(1, 60000, nullptr, 2, "proof");
    int const lTimerId = nReport.is("addTimer", lTimer.addTimer(&lBeat, 1, 0, 0), {1, -1});
    nReport.flag("start", lTimer.start(lTimerId, 0));
    nReport.await("time-outs", [&] { return lBeat.mCount >= 2; });
    nReport.flag("setInterval", lTimer.setInterval(lTimerId, 2));
    nReport.flag("restart", lTimer.restart(lTimerId, 0));
    int const lOther = nReport.is("addTimer", lTimer.addTimer(nullptr, 60000, 0, 1), {1, 2, -1});
    lTimer.startAll(0);
    nReport.flag("isRunning", lTimer.isRunning(lOther));
    nReport.flag("stop", lTimer.stop(lTimerId, 0));
    lTimer.restartAll(0);
    lTimer.stopAll(0);
    Array<int, int const&> lIds(0);
    nReport.flag("getTimerIdSet", lTimer.getTimerIdSet(&lIds));
    lTimer.start(lOther, 1);
    nReport.flag("eraseTimer", lTimer.eraseTimer(lTimerId, 0));
    lTimer.destroy();
    unsigned int const lBeats = lBeat.mCount;
    nReport.is("addTimer after destroy", lTimer.addTimer(&lBeat, 1, 0, 0), {-1, 1, 2, 3}); // it may not have started
    nReport.must(lBeats == lBeat.mCount, "a time-out after destroy");
}

inline void timer(Report& nReport)
{
    Beat lBeat;
    Timer lTimer(&lBeat, 1, 0, 0, nullptr, 2, 1, "proof");
    nReport.flag("start", lTimer.start(0));
    nReport.await("time-outs", [&] { return lBeat.mCount == 2; });
    nReport.await("rest", [&] { return !lTimer.isRunning(); });
    nReport.flag("restart", lTimer.restart(0));
    nReport.flag("stop", lTimer.stop(0));
    lTimer.destroy();
}

// ---------------------------------------------------------------------------------------------- threads

struct Job : Command
{
    unsigned int execute() override { return Thread::sleep(1), 7; }
};

inline void threads(Report& nReport)
{
    Job lJob;
    Thread lThread("proof", &lJob);
    nReport.is("start", lThread.start(1, 60000, nullptr, 1, test::longMs(), NORMAL, 0), {0, -1});
    nReport.is("waitTo", lThread.waitTo(Thread::STAGE_DONE, test::longMs()), {0, -1});
    unsigned int lResult = 0;
    bool const lHasResult = nReport.flag("getResult", lThread.getResult(&lResult));
    nReport.must(!lHasResult || lResult == 7, "a wrong result");
    nReport.is("stop", lThread.stop(1, 0), {0, -1});
    nReport.flag("leaveManagement", lThread.leaveManagement());
    ThreadManager::get()->unregisterWatchdog(lThread.getId());
}

inline void entries(Report& nReport)
{
    static std::atomic<int> sPrioritySet;
    sPrioritySet = -1;
    ThreadManager* const lpManager = ThreadManager::get();
    auto const lFunction = [](void*)
    {
        int const lId = ThreadManager::getCallerId();
        sPrioritySet = ThreadManager::get()->setPriority(lId, ThreadPriority(ThreadPriority::BELOW_NORMAL)) ? 1 : 0;
    };
    nReport.flag("entryCaller", lpManager->entryCaller(0, 0, nullptr, "main") != 0);
    int const lId = lpManager->entry(lFunction, nullptr, 0, 0, nullptr, "entered", NORMAL, 0);
    nReport.flag("entry", lId != 0);
    nReport.is("waitToStop", lpManager->waitToStop(lId, lId != 0 ? test::longMs() : 1), {0, -1});
    nReport.is("setPriority", lId != 0 ? sPrioritySet.load() : 0, {0, 1, -1}); // -1: it has not come so far
    ThreadManager::NameMap lNames(8);
    nReport.flag("getNames", lpManager->getNames(&lNames));
    lpManager->printThreadInfoReg(3);
    nReport.await("end", [&] { return !lpManager->isThreadActive(lId); });
    nReport.flag("unregister", lpManager->unregister(lId));
    nReport.flag("unregister the caller", lpManager->unregister(ThreadManager::getCallerId()));
}

/// From nothing, with room for six threads.
inline void registry(Report& nReport)
{
    ThreadManager::destroy();
    nReport.flag("initializeEntryMax", ThreadManager::initializeEntryMax(6));
    nReport.flag("get", ThreadManager::get() != nullptr);
    nReport.flag("entryWatchdog", ThreadManager::get()->entryWatchdog(60000, nullptr, 0));
    ThreadManager::destroy();
    nReport.must(ThreadManager::getIfCreated() == nullptr, "destroyed, and there");
}

inline void watchdog(Report& nReport)
{
    static struct Alarm : WatchdogTimerListener
    {
        void onTime(int, WatchdogInfoMap const&) override { ++mCount; }
        std::atomic<unsigned int> mCount{0};
    } lAlarm; // calls may be under way when the scenario ends
    lAlarm.mCount = 0;
    ThreadManager* const lpManager = ThreadManager::get();
    nReport.flag("entryWatchdog", lpManager->entryWatchdog(1, &lAlarm, 0));
    nReport.flag("setWatchdogWatchInterval", lpManager->setWatchdogWatchInterval(1));
    nReport.flag("startWatchdog", lpManager->startWatchdog(0));
    nReport.await("time-out", [&] { return lAlarm.mCount >= 1; });
    lpManager->keepAliveWatchdog(StatementInfo("proof", "watchdog", 1, 0));
    nReport.flag("setWatchdogAliveTime", lpManager->setWatchdogAliveTime(60000, 0));
    lpManager->printWatchdogInfo(3);
    nReport.flag("stopWatchdog", lpManager->stopWatchdog(0));
    nReport.flag("unregisterWatchdog", lpManager->unregisterWatchdog(0));
    nReport.flag("setWatchdogWatchInterval", lpManager->setWatchdogWatchInterval(60000));
}

inline void events(Report& nReport)
{
    Event lEvent(0, 1);
    nReport.is("waitToOn", lEvent.waitToOn(1), {-2, -1});
    lEvent.setOn();
    nReport.is("waitToOn", lEvent.waitToOn(1), {0});
    nReport.is("waitToOff", lEvent.waitToOff(1), {-2, -1});
    lEvent.setOff();
    nReport.is("waitToOff", lEvent.waitToOff(0), {0});
}

inline void clocks(Report& nReport)
{
    Time lTime;
    nReport.must(nReport.flag("getSystemTime", getSystemTime(&lTime)) == lTime.isValid(), "a time and its result");
    lTime.reset();
    nReport.must(nReport.flag("getLocalTime", getLocalTime(&lTime)) == lTime.isValid(), "a time and its result");
    TimeCounter lCounter;
    nReport.flag("start", lCounter.start());
    nReport.flag("watch", lCounter.watch() != TimeCounter::FAILED);
    nReport.flag("stop", lCounter.stop() != TimeCounter::FAILED);
    bool const lIsStarted = nReport.flag("start by number", TimeCounter::start(7));
    nReport.flag("watch by number", TimeCounter::watch(7) != TimeCounter::FAILED);
    nReport.flag("stop by number", TimeCounter::stop(7) != TimeCounter::FAILED);
    nReport.must(!lIsStarted || TimeCounter::watch(7) == TimeCounter::FAILED, "the number is not free again");
    Thread::sleep(1);
}

// ---------------------------------------------------------------------------------------------- files

/// The working directory is empty but for "d", which has a mode of its own, and files beside it. Without the library.
inline void makeDirectory()
{
    namespace fs = std::filesystem;
    std::error_code lError;
    for (fs::recursive_directory_iterator lEntry("."), lEnd; lEntry != lEnd; lEntry.increment(lError))
    {
        fs::permissions(lEntry->path(), fs::perms::owner_all, lError);
    }
    for (char const* const lpName : {"d", "in"})
    {
        fs::remove_all(lpName);
        fs::create_directory(lpName);
    }
    ::chmod("d", 0751);
    test::put("in/old", "old");
    test::put("in/lines", "one\n\xFFtwo");
}

inline bool isModeAsItWas()
{
    return test::modeOf("d") == 0751;
}

/// What a file holds, asked for past the library.
inline bool holds(char const* npPath, char const* npText)
{
    char lText[64] = {};
    int const lFile = ::open(npPath, O_RDONLY);
    ssize_t const lCount = ::read(lFile, lText, sizeof(lText) - 1);
    ::close(lFile);
    return lCount >= 0 && std::strcmp(lText, npText) == 0;
}

inline long long count(unsigned int nResult)
{
    return nResult == FILE_ERROR ? -1 : static_cast<long long>(nResult);
}

inline void openFiles(Report& nReport)
{
    {
        File lFile("d/f", FILE_TEXT_UTF8);
        bool const lIsOpen = nReport.flag("open", lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
        bool const lIsWritten = nReport.is("write", count(lFile.write("hello", 5)), {5, -1}) == 5;
        nReport.is("seek", lFile.seek(0, FILE_SEEK_BEGIN), {0, -1});
        char lBytes[8] = {};
        int const lRead = nReport.is("read", lFile.read(lBytes, 8), {5, FILE_READ_END, FILE_READ_ERROR});
        nReport.must(lRead != 5 || std::memcmp(lBytes, "hello", 5) == 0, "wrong bytes");
        nReport.is("position", lFile.position(), {0, 5, -1});
        nReport.is("size", lFile.size(), {5, 0, -1});
        nReport.is("availableSize", lFile.availableSize(), {0, 5, -1});
        bool const lIsCut = nReport.flag("resize", lFile.resize(3));
        bool lIsShared = false;
        nReport.flag("isOpened by another", File::isOpened("d/f", &lIsShared));
        File lReader("d/f", FILE_TEXT_UTF8);
        bool const lIsStolen = lReader.open(FILE_OPEN_END, FILE_ACCESS_READ);
        nReport.must(!lIsOpen || !lIsStolen || nReport.isFaulty("flock"), "two holders of one lock");
        nReport.must(nReport.flag("close", lFile.close()) == lIsOpen, "open and close do not fit");
        nReport.flag("open to read", lReader.open(FILE_OPEN_END, FILE_ACCESS_READ));
        File const lCopy(lReader);
        nReport.is("size", lCopy.size(), {3, 5, 0, -1});
        nReport.must(!lIsWritten || !lIsCut || holds("d/f", "hel"), "a wrong length");
    }
    // What cannot be asked for counts as missing, and directories on the way to what is missing are opened up.
    bool const lIsOpenedUp = nReport.isFaulty("chmod") || nReport.isFaulty("stat");
    nReport.must(lIsOpenedUp || isModeAsItWas(), "the mode of the directory");
}

inline void fileSystem(Report& nReport)
{
    FileNames lNames(0, 1);
    bool const lIsMade = nReport.flag("makeDirectories", File::makeDirectories("d/a/b"));
    {
        File lFile("d/a/f.txt", FILE_TEXT_UTF8);
        nReport.flag("open", lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_WRITE) && lFile.write("abc", 3) == 3);
    }
    bool const lIsCopied = nReport.flag("copy", File::copy("d/a", "d/c", 0));
    nReport.is("size", File::size("d/c"), {3, 0, -1});
    nReport.is("children", count(File::children("d/a", &lNames, FILE_CHILD_ALL, nullptr, 0)), {2, 1, 0, -1});
    nReport.is("children by pattern", count(File::children("d/a/f*", &lNames, FILE_CHILD_FILES, "txt", 0)), {1, 0, -1});
    bool const lIsMoved = nReport.flag("move", File::move("d/c/f.txt", "d/m/g.txt"));
    nReport.must(!lIsMoved || ::access("d/m/g.txt", F_OK) == 0, "moved, and not there");
    nReport.flag("applyReadOnly", File::applyReadOnly("d/a", 1));
    nReport.flag("isReadOnly", File::isReadOnly("d/a/f.txt"));
    bool const lIsErased = nReport.flag("erase", File::erase("d/a", 1));
    nReport.must(!lIsErased || ::access("d/a", F_OK) != 0, "erased, and there");
    nReport.must(!lIsMade || !lIsCopied || ::access("d/c/b", F_OK) == 0, "copied, and not there");
    nReport.flag("erase the copy", File::erase("d/c", 0));
}

inline void textFile(Report& nReport, int nTextType, char const* npPath)
{
    File lFile(npPath, nTextType);
    nReport.flag("open", lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE));
    bool lIsWritten = false;
    if (nTextType == FILE_TEXT_SJIS)
    {
        nReport.is("write", count(lFile.write("\x83\x65st\r\nab\n", 9)), {9, -1});
    }
    else
    {
        lIsWritten = nReport.is("writeText", count(lFile.writeText("first\nab\n", 5000, 0)), {9, 18, -1}) != -1;
        nReport.is("writeLine", count(lFile.writeLine("ab")), {3, 4, -1});
    }
    nReport.is("seek", lFile.seek(0, FILE_SEEK_BEGIN), {0, -1});
    char lText[64];
    unsigned int lSize = 0;
    bool const lIsLine = nReport.flag("readLine", lFile.readLine(lText, sizeof(lText), &lSize) > 0);
    nReport.must(!lIsLine || !lIsWritten || std::strcmp(lText, "first") == 0, "a wrong line");
    unsigned int lEol = 0;
    nReport.is("nextEOLSize", lFile.nextEOLSize(), {0, 1, 2, -1});
    nReport.flag("findNextLineSize", lFile.findNextLineSize(0, &lSize, &lEol) >= 0);
    BasicString<char> lString(64, 0);
    nReport.flag("readLine", lFile.readLine(&lString, &lSize) >= 0);
    nReport.flag("seek", lFile.seek(0, FILE_SEEK_BEGIN) == 0);
    nReport.flag("readText", lFile.readText(lText, sizeof(lText), 8, 0, &lSize) > 0);
    nReport.flag("seekKey", lFile.seekKey("ab", 0, ~0ULL, 0) >= 0);
    nReport.flag("position", lFile.position() >= 0);
}

inline void textFiles(Report& nReport)
{
    textFile(nReport, FILE_TEXT_UTF8, "d/u");
    textFile(nReport, FILE_TEXT_UTF16_LE, "d/w");
    textFile(nReport, FILE_TEXT_SJIS, "d/s");
}

inline void lines(Report& nReport)
{
    File lFile("in/lines", FILE_TEXT_UTF8);
    nReport.flag("open", lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    char lBuffer[64];
    Lines lLines(lFile, lBuffer, sizeof(lBuffer));
    long long lCount = 0;
    for (Line const& lLine : lLines)
    {
        nReport.must(lLine.mText == (++lCount == 1 ? "one" : "\uFFFDtwo"), "a wrong line");
    }
    nReport.is("lines", lCount, {2, 1, 0});
    nReport.must(lCount == 2 || lLines.hasFailed(), "lost lines without a word");
}

inline void replacedFile(Report& nReport)
{
    FileReplacement lNew("in/old", FILE_TEXT_UTF8);
    nReport.flag("open", lNew.open());
    nReport.flag("write", lNew.write("new", 3));
    Replaced const lResult = lNew.commit();
    nReport.is("commit", static_cast<long long>(lResult), {0, 1, 2});
    nReport.must(holds("in/old", lResult == Replaced::FAILED ? "old" : "new"), "neither the old nor the new content");
    glob_t lFound{};
    ::glob("in/*", 0, nullptr, &lFound);
    nReport.must(lFound.gl_pathc == 2 || nReport.isFaulty("unlink"), "something is left over");
    ::globfree(&lFound);
}

inline void rotatingLog(Report& nReport)
{
    RotatingLog lLog("d/l", FILE_TEXT_UTF8, 8, 1, 0640);
    long long lLost = 0;
    for (char const* const lpLine : {"one", "two", "three"})
    {
        lLost += nReport.is("write", static_cast<long long>(lLog.write(lpLine)), {0, 2}) == 2 ? 1 : 0;
    }
    nReport.must(static_cast<long long>(lLog.lostCount()) == lLost, "a wrong number of lost lines");
    bool const lIsRotated = lLost != 0 || holds("d/l", "three\n");
    // Without the directory's lock no file is renamed: the line goes to the old file.
    bool const lMayStay = nReport.isFaulty("rename") || nReport.isFaulty("open") || nReport.isFaulty("flock");
    nReport.must(lIsRotated || lMayStay, "not in a file of its own");
    nReport.must(!lIsRotated || lLost != 0 || holds("d/l.1", "one\ntwo\n"), "the predecessor is wrong");
    nReport.flag("rotate", lLog.rotate());
    nReport.flag("sync", lLog.sync());
    nReport.must(nReport.isFaulty("chmod") || nReport.isFaulty("stat") || isModeAsItWas(), "the directory's mode");
}

// ---------------------------------------------------------------------------------------------- the rest

inline void logs(Report& nReport)
{
    {
        File lFile("d/log", FILE_TEXT_UTF8);
        nReport.flag("open", lFile.open(FILE_OPEN_END, FILE_ACCESS_WRITE));
        applog(DEFAULT_LOG_TYPE, LOG_LEVEL_ERROR, &lFile, "a line with %d", 1);
        rawlog(DEFAULT_LOG_TYPE, LOG_LEVEL_INFO, &lFile, "a raw line\n");
    }
    nReport.flag("registerLogType", registerLogType(77, "proof ", LOG_LEVEL_DETAIL));
    setFilterLevel(77, LOG_LEVEL_WARNING);
    applog(77, LOG_LEVEL_WARNING, "to all sinks");
    nReport.is("getFilterLevel", getFilterLevel(77), {LOG_LEVEL_WARNING});
    nReport.flag("setLogTag", setLogTag("tag"));
}

inline void pools(Report& nReport)
{
    MemoryPool lPool(16, 2, "proof");
    void* const lpBlock = lPool.create();
    lPool.create();
    nReport.flag("create", lpBlock != nullptr);
    nReport.flag("create from a full pool", lPool.create() != nullptr);
    lPool.release(lpBlock);
    lPool.release(lpBlock);
    lPool.release(&lPool);
}

inline void memoryAccount(Report& nReport)
{
    struct Destroyed
    {
        ~Destroyed() { Memory::destroy(); }
    } const lDestroyed;
    Memory* const lpMemory = Memory::get();
    int lBlocks[2] = {};
    lpMemory->updateManagement(0, &lBlocks[0], 4, 0, 1);
    lpMemory->updateManagement(0, &lBlocks[1], 4, 0, 1); // the table is full: a complaint
    lpMemory->printMessage(3, 0, "%s", "a message");
    lpMemory->registerThreadName(1, "one");
    nReport.flag("printUsedHeap", lpMemory->printUsedHeap(3, "d/heap"));
    nReport.flag("the totals", MemoryTestPeer::reportTotals("d/h/heap"));
    nReport.flag("the blocks", MemoryTestPeer::reportDetails("d/h/heap"));
}

inline void values(Report& nReport)
{
    BasicString<char> lText("text", 0, 1);
    lText += " and more";
    nReport.flag("copy", lText.copy("a text that needs more room than there is", STR_ALL, 0));
    nReport.flag("replace", lText.replace("text", "longer text", 0));
    nReport.flag("resizeMax", lText.resizeMax(200));
    Array<BasicString<char>, BasicString<char> const&> lTexts(0, 1);
    nReport.flag("insertAt", lTexts.insertAt(0, lText) && lTexts.insertAt(0, lText));
    ThreadManager::NameMap lNames(2);
    nReport.flag("insert", lNames.insert(2, lText) && lNames.insert(1, lText));
    auto lpOwned = std::make_unique<Event>(0, 0);
    SmartPointer<Event> const lpEvent(lpOwned.get());
    lpOwned.release(); // not before the counter is there
    SmartPointer<Event> const lpShare(lpEvent);
    ThreadRawMsg lRawMsg(4);
    lRawMsg = ThreadRawMsg(64);
    Queue<int> lQueue(8);
    nReport.flag("push", lQueue.push(1));
    char lFormatted[32] = {};
    nReport.is("formatStr", count(formatStr<char>(lFormatted, sizeof(lFormatted), "%d", 12)), {3, -1});
    char lSjis[32] = {};
    nReport.is("convertStrFromUtf8ToSjis", count(convertStrFromUtf8ToSjis(lSjis, sizeof(lSjis), "ab")), {3});
}

// ---------------------------------------------------------------------------------------------- all of them

struct Scenario
{
    char const* mpName;
    void (*mpRun)(Report&);
    bool mMakesRegistry = false; // and ends it
};

constexpr Scenario SCENARIOS[] = {
    {"message thread", messages},
    {"message timers", messageTimers},
    {"shared thread", sharedThread},
    {"shared timer", sharedTimer},
    {"timer", timer},
    {"thread", threads},
    {"entries", entries},
    {"registry", registry, true},
    {"watchdog", watchdog},
    {"event", events},
    {"clocks", clocks},
    {"open files", openFiles},
    {"file system", fileSystem},
    {"text files", textFiles},
    {"lines", lines},
    {"replaced file", replacedFile},
    {"rotating log", rotatingLog},
    {"log", logs},
    {"pool", pools},
    {"memory account", memoryAccount},
    {"values", values},
};

} // namespace utl::proof

#endif
