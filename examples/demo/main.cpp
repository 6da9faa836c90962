// A text on its way through three threads:
//
//     reader (main thread)  --LineMsg-->  "Worker"  --FindingMsg-->  "Collector"
//
// The reader posts each line of a file. The worker counts and measures it, and posts what it found. The collector adds
// up. Queues have a fixed number of slots, so a reader that is faster than the worker finds them full and waits.
#include "Collector.h"
#include "Interruption.h"
#include "Posting.h"
#include "Reader.h"
#include "Report.h"
#include "Worker.h"

#include <UtlApplog.h>
#include <UtlMsg.h>
#include <UtlMsgDrivenThread.h>
#include <UtlThreadManager.h>
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
constexpr unsigned int COLLECTOR_SLOTS = 256;
constexpr unsigned int COLLECTOR_MSG_BYTES = std::max(FindingMsg::MAX_BYTES, ReportMsg::MAX_BYTES);
constexpr unsigned int STOP_TIMEOUT_MS = 10000;

struct Options
{
    char const* mpPath = nullptr; // "-": standard input; null: the sample
    bool mIsHelpWanted = false;

    /// Result: false for arguments that make no sense.
    bool parse(int nCount, char const* const* npArguments)
    {
        for (int lIndex = 1; lIndex < nCount; ++lIndex)
        {
            char const* const lpArgument = npArguments[lIndex];
            bool const lIsOption = lpArgument[0] == '-' && lpArgument[1] != '\0';
            if (std::strcmp(lpArgument, "--help") == 0 || std::strcmp(lpArgument, "-h") == 0)
            {
                mIsHelpWanted = true;
            }
            else if (lIsOption || mpPath != nullptr)
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
    std::fprintf(npFile, "usage: utlDemo [FILE]\n"
                         "Counts a text of UTF-8 with message-driven threads. FILE is a path, or - for standard\n"
                         "input; without it the program takes its own sample.\n");
}

char const* nameOf(char const* npPath)
{
    return std::strcmp(npPath, "-") == 0 ? "standard input" : npPath;
}

bool start(utl::MsgDrivenThread& nThread, utl::ThreadMsgListener& nListener)
{
    // Without the watchdog, at normal priority, and waiting until the thread is up.
    return nThread.start(&nListener, 0, 0, nullptr, 1, 0, utl::ThreadPriority(), 0) == 0;
}

/// Result: the thread has ended, and the registry has forgotten it.
bool stop(utl::MsgDrivenThread& nThread)
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
    QuietLibraryLog lQuiet;
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

int run(char const* npPath, LineSource& nSource, Interruption const& nInterruption)
{
    // Listeners before the threads that call them: what is made first is destroyed last.
    CollectorListener lCollectorListener;
    utl::MsgDrivenThread lCollector(COLLECTOR_MSG_BYTES, COLLECTOR_SLOTS, "Collector", 0);
    WorkerListener lWorkerListener(lCollector);
    utl::MsgDrivenThread lWorker(LineMsg::MAX_BYTES, WORKER_SLOTS, "Worker", 0);

    int lExitCode = EXIT_DONE;
    if (start(lCollector, lCollectorListener) && start(lWorker, lWorkerListener))
    {
        bool const lIsTerminal = isatty(STDOUT_FILENO) == 1;
        std::printf("utlDemo: reading %s\n", nameOf(npPath));
        std::fflush(stdout);
        Reader lReader(nSource, nInterruption, lWorker, lCollector, lIsTerminal);
        Report const lReport = work(lReader, lWorker, lWorkerListener, lCollector);
        if (lIsTerminal)
        {
            std::printf("\r\033[K"); // over the progress
        }
        lReport.print();
        std::fflush(stdout);
        lExitCode = explain(lReport.mAccount, npPath, nSource, nInterruption);
        lExitCode = lReport.agrees() ? lExitCode : EXIT_THREADS;

        std::printf("\nThe registry of threads, as the log shows it:\n");
        // A level that goes to standard output, but not to the system log of this machine.
        utl::ThreadManager::get()->printThreadInfoReg(utl::LOG_LEVEL_DETAIL);
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
    char const* const lpPath = lOptions.mpPath != nullptr ? lOptions.mpPath : UTL_DEMO_SAMPLE;
    if (!lSource.open(lpPath))
    {
        std::fprintf(stderr, "utlDemo: cannot open %s: %s\n", nameOf(lpPath), lSource.errorText());
        return EXIT_INPUT;
    }
    Interruption const lInterruption;
    return run(lpPath, lSource, lInterruption);
}
