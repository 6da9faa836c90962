// A text on its way through three threads:
//
//     reader (main thread)  --LineMsg-->  "Worker"  --FindingMsg-->  "Collector"
//
// The reader posts each line of a file. The worker counts and measures it, and posts what it found. Three listeners
// share the collector's thread and hear all that is posted there: one adds up, one looks for a word, one keeps a
// journal and leaves when it is full. Queues have a fixed number of slots, so a reader that is faster than the worker
// finds them full and waits. A timer makes the collector show progress, and a watchdog looks after the worker.
#include "Collector.h"
#include "Interruption.h"
#include "Posting.h"
#include "Reader.h"
#include "Report.h"
#include "Worker.h"

#include <UtlApplog.h>
#include <UtlMsg.h>
#include <UtlMsgDrivenSharedThread.h>
#include <UtlThreadManager.h>
#include <UtlThreadWatchdog.h>
#include <UtlTimeCounter.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

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

struct Options
{
    char const* mpPath = UTL_DEMO_SAMPLE; // "-": standard input
    char const* mpWord = nullptr;         // to look for; null: none
    bool mIsStallWanted = false;
    bool mIsHelpWanted = false;

    /// Result: false for arguments that make no sense.
    bool parse(int nCount, char const* const* npArguments)
    {
        int lPaths = 0;
        for (int lIndex = 1; lIndex < nCount; ++lIndex)
        {
            char const* const lpArgument = npArguments[lIndex];
            bool const lIsOption = lpArgument[0] == '-' && lpArgument[1] != '\0';
            if (std::strcmp(lpArgument, "--help") == 0 || std::strcmp(lpArgument, "-h") == 0)
            {
                mIsHelpWanted = true;
            }
            else if (std::strcmp(lpArgument, "--stall") == 0)
            {
                mIsStallWanted = true;
            }
            else if (std::strcmp(lpArgument, "--word") == 0 && lIndex + 1 < nCount &&
                     npArguments[lIndex + 1][0] != '\0')
            {
                mpWord = npArguments[++lIndex];
            }
            else if (lIsOption || ++lPaths > 1)
            {
                return false;
            }
            else
            {
                mpPath = lpArgument;
            }
        }
        return true;
    }
};

void printUsage(FILE* npFile)
{
    std::fprintf(npFile,
                 "usage: utlDemo [--word TEXT] [--stall] [FILE]\n"
                 "Counts a text of UTF-8 with message-driven threads. FILE is a path, or - for standard\n"
                 "input; without it the program takes its own sample.\n"
                 "  --word TEXT  counts the lines that hold TEXT\n"
                 "  --stall      makes a thread hang for %u ms, which the watchdog reports\n",
                 WorkerListener::STALL_MS);
}

char const* nameOf(char const* npPath)
{
    return std::strcmp(npPath, "-") == 0 ? "standard input" : npPath;
}

/// Tells of a thread that the watchdog has missed. Runs on the watchdog's thread.
class WatchdogListener : public utl::WatchdogTimerListener
{
public:
    void onTime(int nId, utl::WatchdogInfoMap const& nInfos) override
    {
        auto const* const lpEntry = nInfos.find(nId);
        if (lpEntry != nullptr)
        {
            utl::WatchdogInfo const& lInfo = lpEntry->mValue;
            std::printf("utlDemo: thread \"%s\" hangs, it was last seen in %s() at %s:%u\n", lInfo.mName.c_str(),
                        lInfo.mLastAliveInfo.function(), lInfo.mLastAliveInfo.file(), lInfo.mLastAliveInfo.line());
            std::fflush(stdout);
        }
    }
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
bool stop(MsgThread& nThread)
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

/// Reads, and waits until everything that was read is counted.
Report work(Reader& nReader, utl::MsgDrivenThread& nWorker, WorkerListener const& nWorkerListener,
            utl::MsgDrivenThread& nCollector)
{
    LibraryLogLevel lQuiet(utl::LOG_LEVEL_NONE);
    utl::TimeCounter lTime;
    lTime.start();
    Report lReport;
    lReport.mAccount = nReader.run();
    // A synchronous message waits behind all others, and needs room like any other. When this one is back, the worker
    // has posted all findings; when the next one is back, the collector has added them up.
    unsigned long long* const lpRefusals = &lReport.mAccount.mRefusals;
    bool const lHasMeasuredAll = sendWhenRoom(nWorker, utl::SimpleMsg(MSG_ID_ALL_READ), lpRefusals);
    lReport.mHasTotals = sendWhenRoom(nCollector, ReportMsg(&lReport.mTotals), lpRefusals) && lHasMeasuredAll;
    lReport.mWorkerRefusals = lHasMeasuredAll ? nWorkerListener.refusals() : 0;
    lReport.mElapsedMs = lTime.stop();
    return lReport;
}

/// Tells why the text was not read to its end. Result: the exit code for it.
int explain(Account const& nAccount, char const* npPath, LineSource const& nSource, Interruption const& nInterruption)
{
    switch (nAccount.mResult)
    {
    case READ_TOO_LONG:
        std::fprintf(stderr, "utlDemo: %s, line %llu: too long for a message, which holds %u bytes\n", nameOf(npPath),
                     nAccount.mLines + 1, MAX_LINE_BYTES);
        return EXIT_INPUT;
    case READ_FAILED:
        std::fprintf(stderr, "utlDemo: cannot read %s: %s\n", nameOf(npPath), nSource.errorText());
        return EXIT_INPUT;
    case READ_INTERRUPTED:
        std::fprintf(stderr, "utlDemo: interrupted after %llu lines\n", nAccount.mLines);
        return 128 + nInterruption.signalNumber();
    case READ_WORKER_GONE:
        std::fprintf(stderr, "utlDemo: the worker has ended before its time\n");
        return EXIT_THREADS;
    default:
        return EXIT_DONE;
    }
}

int run(Options const& nOptions, LineSource& nSource, Interruption const& nInterruption)
{
    bool const lIsTerminal = isatty(STDOUT_FILENO) == 1;
    // Listeners before the threads that call them: what is made first is destroyed last. The journal has to know the
    // thread that it leaves, which is stopped below while both are there.
    WatchdogListener lWatchdogListener;
    TotalsListener lTotals(lIsTerminal);
    WordListener lWord(nOptions.mpWord);
    utl::MsgDrivenSharedThread lCollector(COLLECTOR_MSG_BYTES, COLLECTOR_SLOTS, COLLECTOR_LISTENERS, "Collector",
                                          COLLECTOR_TIMERS);
    JournalListener lJournal(lCollector);
    bool const lHasWord = nOptions.mpWord != nullptr;
    WorkerListener lWorkerListener(lCollector, lHasWord, nOptions.mIsStallWanted);
    utl::MsgDrivenThread lWorker(LineMsg::MAX_BYTES, WORKER_SLOTS, "Worker", 0);

    int lExitCode = EXIT_DONE;
    int lProgressTimerId = -1;
    if (startCollector(lCollector, lTotals, lHasWord ? &lWord : nullptr, lJournal, &lProgressTimerId) &&
        startWorker(lWorker, lWorkerListener, lWatchdogListener))
    {
        std::printf("utlDemo: reading %s\n", nameOf(nOptions.mpPath));
        std::fflush(stdout);
        Reader lReader(nSource, nInterruption, lWorker, lCollector);
        Report const lReport = work(lReader, lWorker, lWorkerListener, lCollector);
        lCollector.killTimer(lProgressTimerId, 0); // waits: from here on there is no progress to be shown
        if (lIsTerminal)
        {
            std::printf("\r\033[K"); // over the last of it
        }
        lReport.print();
        if (lReport.mHasTotals)
        {
            lWord.print();
            lJournal.print();
        }
        std::fflush(stdout);
        lExitCode = explain(lReport.mAccount, nOptions.mpPath, nSource, nInterruption);
        lExitCode = lReport.agrees() ? lExitCode : EXIT_THREADS;

        std::printf("\nThe registry of threads and the watchdog's table, as the log shows them:\n");
        // A level that goes to standard output, but not to the system log of this machine.
        utl::ThreadManager::get()->printThreadInfoReg(utl::LOG_LEVEL_DETAIL);
        utl::ThreadManager::get()->printWatchdogInfo(utl::LOG_LEVEL_DETAIL);
    }
    else
    {
        std::fprintf(stderr, "utlDemo: cannot start the threads\n");
        lExitCode = EXIT_THREADS;
    }

    // Who posts ends before who receives, so that nothing is posted to a thread that has ended.
    bool const lIsWorkerStopped = stop(lWorker);
    bool const lIsCollectorStopped = stop(lCollector);
    utl::ThreadManager::destroy(); // ends the library's own threads, after all of ours
    if (!lIsWorkerStopped || !lIsCollectorStopped)
    {
        std::fprintf(stderr, "utlDemo: a thread would not stop\n");
        return EXIT_THREADS;
    }
    std::printf("\nutlDemo: all threads stopped, %s\n", lExitCode == EXIT_DONE ? "done" : "not all is well");
    return lExitCode;
}

} // namespace

} // namespace demo

int main(int nCount, char** npArguments)
{
    using namespace demo;

    Options lOptions;
    if (!lOptions.parse(nCount, npArguments))
    {
        printUsage(stderr);
        return EXIT_USAGE;
    }
    if (lOptions.mIsHelpWanted)
    {
        printUsage(stdout);
        return EXIT_DONE;
    }

    // Large, and one for the whole run.
    static LineSource lSource;
    if (!lSource.open(lOptions.mpPath))
    {
        std::fprintf(stderr, "utlDemo: cannot open %s: %s\n", nameOf(lOptions.mpPath), lSource.errorText());
        return EXIT_INPUT;
    }
    Interruption const lInterruption;
    return run(lOptions, lSource, lInterruption);
}
