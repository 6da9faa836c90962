// Three threads process a text:
//
//     reader (main thread)  --LineMsg-->  "Worker"  --FindingMsg-->  "Collector"
//
// The reader posts each line of a file. The worker counts and measures it, and posts what it found. Three listeners
// share the collector's thread and hear all that is posted there: one adds up, one looks for a word, one keeps a
// journal and leaves when it is full. Queues have a fixed number of slots, so a reader that is faster than the worker
// finds them full and waits. A timer makes the collector show progress, and a watchdog looks after the worker.
#include "Collector.h"
#include "Inside.h"
#include "Interruption.h"
#include "LineSource.h"
#include "Log.h"
#include "Options.h"
#include "Posting.h"
#include "Reader.h"
#include "Report.h"
#include "Worker.h"

#include <UtlApplog.h>
#include <UtlFile.h>
#include <UtlInsideView.h>
#include <UtlMsg.h>
#include <UtlMsgDrivenSharedThread.h>
#include <UtlThreadManager.h>
#include <UtlThreadWatchdog.h>
#include <UtlTimeCounter.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace demo
{

namespace
{

constexpr unsigned int WORKER_SLOTS = 64; // few on purpose, to see the reader wait
constexpr unsigned int COLLECTOR_SLOTS = 128;
constexpr unsigned int COLLECTOR_MSG_BYTES =
    std::max({LineMsg::MAX_BYTES, FindingMsg::MAX_BYTES, ReportMsg::MAX_BYTES});
constexpr unsigned int COLLECTOR_LISTENERS = 3;
constexpr unsigned int COLLECTOR_TIMERS = 1;
constexpr unsigned int PROGRESS_MS = 500;
constexpr unsigned int WATCH_INTERVAL_MS = 100;
constexpr unsigned int WORKER_ALIVE_MS = 500; // more than any line takes, less than a stall
constexpr unsigned int STOP_TIMEOUT_MS = 10000;

/// Logs which thread the watchdog misses, and then why. Called on the watchdog's thread.
class WatchdogListener : public utl::WatchdogTimerListener, public utl::WatchdogVerdictListener
{
public:
    explicit WatchdogListener(Log& nLog)
        : mLog(nLog)
    {
    }

    void onTime(int nId, utl::WatchdogInfoMap const& nInfos) override
    {
        auto const* const lpEntry = nInfos.find(nId);
        if (lpEntry != nullptr)
        {
            utl::WatchdogInfo const& lInfo = lpEntry->mValue;
            mLog.write(utl::LOG_LEVEL_DETAIL, "thread \"%s\" is late, it was last seen in %s() at %s:%u",
                       lInfo.mName.c_str(), lInfo.mLastAliveInfo.function(), lInfo.mLastAliveInfo.file(),
                       lInfo.mLastAliveInfo.line());
            std::fflush(stdout);
        }
    }

    /// A product resets for a hang, and for a thread that starves after a limit of its own.
    void onVerdict(utl::WatchdogVerdict const& nVerdict) override
    {
        if (nVerdict.mVerdict != mLastVerdict) // one that starves is told of at each beat
        {
            mLastVerdict = nVerdict.mVerdict;
            mLog.write(utl::LOG_LEVEL_DETAIL, "thread \"%s\": %s, of %u ms it ran %u, waited %u, was kept waiting %u",
                       nVerdict.mName, text(nVerdict.mVerdict), nVerdict.mSilentMs, nVerdict.mRunMs,
                       nVerdict.mBlockedMs, nVerdict.mStarvedMs);
            std::fflush(stdout);
        }
    }

private:
    Log& mLog;
    utl::Verdict mLastVerdict = utl::Verdict::UNDECIDED;
};

/// Starts the collector without the watchdog, at normal priority, and waits until it is up. The timer is for the totals
/// alone. Without a word to look for, its listener stays away.
bool startCollector(utl::MsgDrivenSharedThread& nThread, TotalsListener& nTotals, WordListener* npWord,
                    JournalListener& nJournal, int* npProgressTimerId)
{
    if (nThread.start(0, 0, nullptr, 1, 0, utl::ThreadPriority(), 0) != 0 || !nThread.attachMsgListener(&nTotals) ||
        !nThread.attachMsgListener(&nJournal) || (npWord != nullptr && !nThread.attachMsgListener(npWord)))
    {
        return false;
    }
    *npProgressTimerId = nThread.setTimer(&nTotals, PROGRESS_MS, 0, 0, 0); // again and again, until it is killed
    return *npProgressTimerId != -1;
}

/// Starts the worker in the same way, but under the watchdog. It is watched while it works, not while it waits for
/// work.
bool startWorker(utl::MsgDrivenThread& nThread, utl::ThreadMsgListener& nListener,
                 utl::WatchdogTimerListener& nWatchdogListener)
{
    return utl::ThreadManager::get()->setWatchdogWatchInterval(WATCH_INTERVAL_MS) &&
           nThread.start(&nListener, 1, WORKER_ALIVE_MS, &nWatchdogListener, 1, 0, utl::ThreadPriority(), 0) == 0;
}

/// Result: the thread has ended, and the registry has forgotten it. A template because a shared thread has a stop() of
/// its own, which is not virtual.
template <class MsgThread>
bool stopThread(MsgThread& nThread)
{
    int const lId = nThread.getId();
    if (lId == 0)
    {
        return true; // never started
    }
    nThread.stop(1, STOP_TIMEOUT_MS);
    // Ending is not leaving: the entry stays, for those who ask about the thread, until its owner takes it out.
    nThread.leaveManagement();
    return !utl::ThreadManager::get()->isThreadExist(lId);
}

/// The two threads of a pass and those who listen to them.
class Crew
{
public:
    /// nOptions and nLog outlive this object.
    Crew(Options const& nOptions, Log& nLog, Trouble nTrouble, bool nIsProgressShown);

    /// Result: both threads run.
    bool start();

    /// Reads, and waits until everything that was read is counted.
    Report work(LineSource& nSource, Interruption const& nInterruption);

    /// Waits: when this is back, no progress is shown any more.
    void endProgress() { mCollector.killTimer(mProgressTimerId, 0); }

    /// Result: both threads have ended.
    bool stop();

    // Listeners before the threads that call them: what is made first is destroyed last. The journal has to know the
    // thread that it leaves, which is stopped while both are there.
    WatchdogListener mWatchdogListener;
    TotalsListener mTotals;
    WordListener mWord;
    utl::MsgDrivenSharedThread mCollector;
    JournalListener mJournal;
    WorkerListener mWorkerListener;
    utl::MsgDrivenThread mWorker;

private:
    bool const mHasWord;
    int mProgressTimerId = -1;
};

Crew::Crew(Options const& nOptions, Log& nLog, Trouble nTrouble, bool nIsProgressShown)
    : mWatchdogListener(nLog),
      mTotals(nIsProgressShown),
      mWord(nOptions.mpWord),
      mCollector(COLLECTOR_MSG_BYTES, COLLECTOR_SLOTS, COLLECTOR_LISTENERS, "Collector", COLLECTOR_TIMERS),
      mJournal(mCollector),
      mWorkerListener(mCollector, nOptions.mpWord != nullptr, nTrouble),
      mWorker(LineMsg::MAX_BYTES, WORKER_SLOTS, "Worker", 0),
      mHasWord(nOptions.mpWord != nullptr)
{
    utl::ThreadManager::get()->setWatchdogVerdictListener(&mWatchdogListener);
}

bool Crew::start()
{
    return startCollector(mCollector, mTotals, mHasWord ? &mWord : nullptr, mJournal, &mProgressTimerId) &&
           startWorker(mWorker, mWorkerListener, mWatchdogListener);
}

Report Crew::work(LineSource& nSource, Interruption const& nInterruption)
{
    Reader lReader(nSource, nInterruption, mWorker, mCollector);
    LibraryLogLevel lQuiet(utl::LOG_LEVEL_NONE);
    utl::TimeCounter lTime;
    lTime.start();
    Report lReport;
    lReport.mAccount = lReader.run();
    // A synchronous message waits behind all others, and needs room like any other. When this one is back, the worker
    // has posted all findings; when the next one is back, the collector has added them up.
    unsigned long long* const lpRefusals = &lReport.mAccount.mRefusals;
    bool const lHasMeasuredAll = sendWhenRoom(mWorker, utl::SimpleMsg(MSG_ID_ALL_READ), lpRefusals);
    lReport.mHasTotals = sendWhenRoom(mCollector, ReportMsg(&lReport.mTotals), lpRefusals) && lHasMeasuredAll;
    lReport.mWorkerRefusals = lHasMeasuredAll ? mWorkerListener.refusals() : 0;
    lReport.mElapsedMs = lTime.stop();
    return lReport;
}

bool Crew::stop()
{
    // Who posts ends before who receives, so that nothing is posted to a thread that has ended.
    bool const lIsWorkerStopped = stopThread(mWorker);
    bool const lIsCollectorStopped = stopThread(mCollector);
    // The listener goes: a change of the interval waits for a call of it that is under way.
    utl::ThreadManager::get()->setWatchdogVerdictListener(nullptr);
    utl::ThreadManager::get()->setWatchdogWatchInterval(WATCH_INTERVAL_MS);
    return lIsWorkerStopped && lIsCollectorStopped;
}

/// Takes a text through the threads: once, or again and again.
class Run
{
public:
    /// All outlive this object.
    Run(Options const& nOptions, Log& nLog, Interruption const& nInterruption);

    /// Result: the exit code.
    int run();

private:
    int pass();
    int workThrough(LineSource& nSource);
    Trouble trouble() const;
    int workWith(Crew& nCrew, LineSource& nSource);
    int explain(Account const& nAccount, LineSource const& nSource);
    void print(Report const& nReport, WordListener const& nWord, JournalListener const& nJournal);

    Options const& mOptions;
    Log& mLog;
    Interruption const& mInterruption;
    std::unique_ptr<Inside> const mpInside; // null: not wanted
    utl::TimeCounter mTime;
    unsigned int mPasses = 0; // before this one
    bool mIsLast = false;     // this one is
};

Run::Run(Options const& nOptions, Log& nLog, Interruption const& nInterruption)
    : mOptions(nOptions),
      mLog(nLog),
      mInterruption(nInterruption),
      mpInside(nOptions.mIsInsideWanted ? new Inside(isatty(STDOUT_FILENO) == 1) : nullptr)
{
}

int Run::run()
{
    mTime.start();
    int lExitCode = EXIT_DONE;
    for (; !mIsLast; ++mPasses)
    {
        lExitCode = pass();
        mIsLast = mIsLast || lExitCode != EXIT_DONE;
    }
    return lExitCode;
}

int Run::pass()
{
    LineSource lSource(mOptions.mpPath, mOptions.mTextType);
    if (!lSource.open())
    {
        mLog.complain("cannot open %s: %s", mOptions.inputName(), lSource.errorText());
        return EXIT_INPUT;
    }
    if (mOptions.mRepeatMs != 0 && lSource.isStream())
    {
        mLog.complain("cannot read %s again and again: it is no regular file", mOptions.inputName());
        return EXIT_INPUT;
    }
    return workThrough(lSource);
}

int Run::workThrough(LineSource& nSource)
{
    Crew lCrew(mOptions, mLog, trouble(), isatty(STDOUT_FILENO) == 1 && mpInside == nullptr);
    int lExitCode = EXIT_THREADS;
    if (lCrew.start())
    {
        lExitCode = workWith(lCrew, nSource);
    }
    else
    {
        mLog.complain("cannot start the threads");
    }
    if (!lCrew.stop())
    {
        mLog.complain("a thread would not stop");
        return EXIT_THREADS;
    }
    if (mIsLast)
    {
        std::printf("\nutlDemo: all threads stopped, %s\n", lExitCode == EXIT_DONE ? "done" : "not all is well");
    }
    return lExitCode;
}

/// The trouble to be made in this pass.
Trouble Run::trouble() const
{
    bool const lHasTrouble = mPasses % STALL_PASSES == 0;
    return lHasTrouble && mOptions.mIsStallWanted      ? Trouble::HANGS
           : lHasTrouble && mOptions.mIsStarvingWanted ? Trouble::STARVES
                                                       : Trouble::NONE;
}

/// Result: the exit code. The last pass is printed.
int Run::workWith(Crew& nCrew, LineSource& nSource)
{
    mLog.write(utl::LOG_LEVEL_DETAIL, "reading %s as %s", mOptions.inputName(), mOptions.encodingName());
    std::fflush(stdout);
    mpInside != nullptr ? mpInside->watch(nCrew.mWorker, WORKER_SLOTS, nCrew.mCollector, COLLECTOR_SLOTS) : void();
    Report const lReport = nCrew.work(nSource, mInterruption);
    mpInside != nullptr ? mpInside->leave() : void();
    nCrew.endProgress();
    mLog.write(utl::LOG_LEVEL_DETAIL, "%llu lines, %llu bytes in %u ms", lReport.mTotals.mLines, lReport.mTotals.mBytes,
               lReport.mElapsedMs);
    int lExitCode = explain(lReport.mAccount, nSource);
    lExitCode = lReport.agrees() ? lExitCode : EXIT_THREADS;
    // With 0 for the time, the first pass is the last one.
    mIsLast = lExitCode != EXIT_DONE || mTime.watch() >= mOptions.mRepeatMs;
    if (mIsLast)
    {
        print(lReport, nCrew.mWord, nCrew.mJournal);
    }
    return lExitCode;
}

/// Tells why the text was not read to its end. Result: the exit code for it.
int Run::explain(Account const& nAccount, LineSource const& nSource)
{
    char const* const lpName = mOptions.inputName();
    unsigned long long const lNextLine = nAccount.mLines + 1;
    switch (nAccount.mResult)
    {
    case READ_TOO_LONG:
        mLog.complain("%s, line %llu: too long for a message, which holds %u bytes", lpName, lNextLine, MAX_LINE_BYTES);
        return EXIT_INPUT;
    case READ_TOO_LONG_TO_CONVERT:
        mLog.complain("%s, line %llu: too long to be converted, which takes at most %u bytes", lpName, lNextLine,
                      utl::FILE_TEXT_CHUNK_MAX - 1);
        return EXIT_INPUT;
    case READ_MALFORMED:
        mLog.complain("%s, line %llu: malformed, it is no text in %s", lpName, lNextLine, mOptions.encodingName());
        return EXIT_INPUT;
    case READ_FAILED:
        mLog.complain("cannot read %s: %s", lpName, nSource.errorText());
        return EXIT_INPUT;
    case READ_INTERRUPTED:
        mLog.complain("interrupted after %llu lines", nAccount.mLines);
        return 128 + mInterruption.signalNumber();
    case READ_WORKER_GONE:
        mLog.complain("the worker has ended before its time");
        return EXIT_THREADS;
    default:
        return EXIT_DONE;
    }
}

/// While the threads are still there: their tables are part of it.
void Run::print(Report const& nReport, WordListener const& nWord, JournalListener const& nJournal)
{
    if (isatty(STDOUT_FILENO) == 1)
    {
        std::printf("\r\033[K"); // over the last of the progress
    }
    nReport.print();
    if (nReport.mHasTotals)
    {
        nWord.print();
        nJournal.print();
    }
    if (mOptions.mRepeatMs != 0)
    {
        std::printf("  passes                    %12u  in %u ms, this was the last\n", mPasses + 1, mTime.watch());
    }
    std::fflush(stdout);
    if (nReport.mAccount.mResult == READ_END && nReport.mTotals.mMalformedLines > 0)
    {
        mLog.complain("%s, line %llu: malformed, and so are %llu more lines; they are counted as they are",
                      mOptions.inputName(), nReport.mTotals.mFirstMalformed, nReport.mTotals.mMalformedLines - 1);
    }

    std::printf("\nThe registry of threads and the watchdog's table, as the log shows them:\n");
    // A level that goes to standard output, but not to the system log of this machine.
    utl::ThreadManager::get()->printThreadInfoReg(utl::LOG_LEVEL_DETAIL);
    utl::ThreadManager::get()->printWatchdogInfo(utl::LOG_LEVEL_DETAIL);
}

/// Holds the numbers of standard streams that were closed for us by what can be neither read nor written. Otherwise the
/// next file that is opened would get one of them, and a File takes descriptor 0 for none.
void holdStandardStreams()
{
    int lFd;
    do
    {
        lFd = open("/", O_PATH | O_CLOEXEC);
    } while (lFd >= 0 && lFd <= STDERR_FILENO);
    close(lFd);
}

} // namespace

} // namespace demo

int main(int nCount, char** npArguments)
{
    using namespace demo;

    utl::File::setModes(utl::FILE_MODES_UMASK); // a log file changes no directory on its way, even if we are root
    Options lOptions;
    if (!lOptions.parse(nCount, npArguments))
    {
        Options::printUsage(stderr);
        return EXIT_USAGE;
    }
    if (lOptions.mIsHelpWanted)
    {
        Options::printUsage(stdout);
        return EXIT_DONE;
    }

    holdStandardStreams();
    utl::installDumpSignal(SIGUSR1, STDERR_FILENO);
    int lExitCode = EXIT_INPUT;
    {
        Log lLog(lOptions.mpLogPath);
        char const* const lpReason = lLog.open();
        if (lpReason == nullptr)
        {
            Interruption const lInterruption;
            lExitCode = Run(lOptions, lLog, lInterruption).run();
        }
        else
        {
            std::fprintf(stderr, "utlDemo: cannot open the log %s: %s\n", lOptions.mpLogPath, lpReason);
        }
    }
    // Ends the library's own threads, after all of ours, and after the last File, which reports to the watchdog.
    utl::ThreadManager::destroy();
    return lExitCode;
}
