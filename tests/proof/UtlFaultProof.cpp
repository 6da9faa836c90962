// Every call that can fail has failed. Each scenario of FaultScenarios.h runs with each call of internal::gSystem that
// it makes failing, once and for ever, with each error number of calls.txt, and with each of its allocations failing.
// After each run: the results are documented ones, nothing is held that was not held before (descriptors, threads,
// handles of threads, kernel timers, heap blocks), and a second run without a fault gives what it gave at first, so
// that no lock is held. A hang and a crash end the program with the name of the fault.
//
// UtlFaultProof                      a few seconds' worth, each scenario with each call first
// UtlFaultProof all|SECONDS          all faults, or as many as the time allows
// UtlFaultProof --table              all, and the table of docs/faults.md on standard output
// Behind these: names of scenarios, to run no others.

#include "FaultScenarios.h"
#include "Heap.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/Process.h"

#include <array>
#include <climits>
#include <csignal>
#include <map>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include <sys/mman.h>

#ifdef UTL_COVERAGE
extern "C" void __gcov_dump();
#endif

// ---------------------------------------------------------------------------------------------- the heap

namespace
{

std::atomic<long> gLiveBlocks{0};

/// Faults of allocations by the thread that runs the scenario, or by the library's threads meanwhile. One of each at a
/// time.
template <bool IS_SCENARIO>
class HeapFault : public utl::test::Fault
{
public:
    HeapFault(int nNth, int, int nKind)
    {
        sCalls = 0;
        sLast = (nKind & utl::test::FAULT_FOR_EVER) != 0 ? INT_MAX : nNth;
        sFirst = nNth;
    }
    ~HeapFault() override { sFirst = INT_MAX; }
    bool fired() const override { return sCalls >= sFirst; }
    int calls() const override { return sCalls; }

    static bool fails()
    {
        int const lCall = ++sCalls;
        return lCall >= sFirst && lCall <= sLast;
    }

private:
    static inline std::atomic<int> sFirst{INT_MAX};
    static inline std::atomic<int> sLast{INT_MAX};
    static inline std::atomic<int> sCalls{0};
};

std::atomic<bool> gIsCounting{false};
thread_local bool tIsScenario = false;

} // namespace

void* utl::proof::allocate(std::size_t nSize)
{
    bool const lFails = gIsCounting && (tIsScenario ? HeapFault<true>::fails() : HeapFault<false>::fails());
    void* const lpBlock = lFails ? nullptr : std::malloc(nSize != 0 ? nSize : 1);
    gLiveBlocks += lpBlock != nullptr ? 1 : 0;
    return lpBlock;
}

void utl::proof::giveBack(void* npBlock)
{
    gLiveBlocks -= npBlock != nullptr ? 1 : 0;
    std::free(npBlock);
}

namespace
{

using namespace utl;
using namespace utl::proof;
using test::FailNth;
using test::Fault;
using SC = internal::SystemCalls;

// ---------------------------------------------------------------------------------------------- the calls

template <class T>
std::unique_ptr<Fault> make(int nNth, int nError, int nKind)
{
    return std::make_unique<T>(nNth, nError, nKind);
}

struct Call
{
    char const* mpName;
    std::unique_ptr<Fault> (*mpMake)(int nNth, int nError, int nKind);
    int mKind; // FAULT_ACTS: what it gives back is gone whatever it reports
};

#define UTL_CALL(NAME, ENTRY, KIND)                                                                                    \
    {                                                                                                                  \
        NAME, &make<FailNth<&SC::ENTRY>>, test::KIND                                                                   \
    }

constexpr Call CALLS[] = {
    UTL_CALL("pthread_create", mPthreadCreate, FAULT_ONCE),
    UTL_CALL("pthread_detach", mPthreadDetach, FAULT_ACTS),
    UTL_CALL("pthread_cond_timedwait", mPthreadCondTimedwait, FAULT_ONCE),
    UTL_CALL("sem_wait", mSemWait, FAULT_ONCE),
    UTL_CALL("setpriority", mSetpriority, FAULT_ONCE),
    UTL_CALL("clock_gettime", mClockGettime, FAULT_ONCE),
    UTL_CALL("nanosleep", mNanosleep, FAULT_ONCE),
    UTL_CALL("gettimeofday", mGettimeofday, FAULT_ONCE),
    UTL_CALL("time", mTime, FAULT_ONCE),
    UTL_CALL("gmtime_r", mGmtimeR, FAULT_ONCE),
    UTL_CALL("localtime_r", mLocaltimeR, FAULT_ONCE),
    UTL_CALL("ctime_r", mCtimeR, FAULT_ONCE),
    UTL_CALL("pipe2", mPipe2, FAULT_ONCE),
    UTL_CALL("fcntl", mFcntl, FAULT_ONCE),
    UTL_CALL("dup3", mDup3, FAULT_ONCE),
    UTL_CALL("ppoll", mPpoll, FAULT_ONCE),
    UTL_CALL("timer_create", mTimerCreate, FAULT_ONCE),
    UTL_CALL("timer_settime", mTimerSettime, FAULT_ONCE),
    UTL_CALL("timer_delete", mTimerDelete, FAULT_ACTS),
    UTL_CALL("sigaction", mSigaction, FAULT_ONCE),
    UTL_CALL("open", mOpen, FAULT_ONCE),
    UTL_CALL("close", mClose, FAULT_ACTS),
    UTL_CALL("read", mRead, FAULT_ONCE),
    UTL_CALL("pread", mPread, FAULT_ONCE),
    UTL_CALL("write", mWrite, FAULT_ONCE),
    UTL_CALL("lseek", mLseek, FAULT_ONCE),
    UTL_CALL("ftruncate", mFtruncate, FAULT_ONCE),
    UTL_CALL("fsync", mFsync, FAULT_ONCE),
    UTL_CALL("flock", mFlock, FAULT_ONCE),
    UTL_CALL("stat", mStat, FAULT_ONCE),
    UTL_CALL("fstat", mFstat, FAULT_ONCE),
    UTL_CALL("chmod", mChmod, FAULT_ONCE),
    UTL_CALL("mkdir", mMkdir, FAULT_ONCE),
    UTL_CALL("rmdir", mRmdir, FAULT_ONCE),
    UTL_CALL("unlink", mUnlink, FAULT_ONCE),
    UTL_CALL("rename", mRename, FAULT_ONCE),
    UTL_CALL("opendir", mOpendir, FAULT_ONCE),
    UTL_CALL("readdir", mReaddir, FAULT_ONCE),
    UTL_CALL("closedir", mClosedir, FAULT_ACTS),
    UTL_CALL("fnmatch", mFnmatch, FAULT_ONCE),
    UTL_CALL("vsnprintf", mVsnprintf, FAULT_ONCE),
    {"allocation", &make<HeapFault<true>>, test::FAULT_ONCE},
    {"allocation by a thread of the library", &make<HeapFault<false>>, test::FAULT_ONCE},
};
constexpr int CALL_COUNT = sizeof(CALLS) / sizeof(CALLS[0]);
constexpr int HEAP_CALL = CALL_COUNT - 2;
// What the log's sinks and the look at their console tell is not heeded. A new entry of the table is added here.
static_assert(sizeof(internal::SystemCalls) == (HEAP_CALL + 5) * sizeof(void*), "an entry that never fails here");

#define UTL_ERROR(NAME)                                                                                                \
    {                                                                                                                  \
#NAME, NAME                                                                                                    \
    }

std::map<std::string, int> const ERRORS = {
    UTL_ERROR(EACCES),    UTL_ERROR(EAGAIN),    UTL_ERROR(EBADF),       UTL_ERROR(EBUSY),  UTL_ERROR(EEXIST),
    UTL_ERROR(EILSEQ),    UTL_ERROR(EINTR),     UTL_ERROR(EINVAL),      UTL_ERROR(EIO),    UTL_ERROR(EMFILE),
    UTL_ERROR(EMLINK),    UTL_ERROR(ENFILE),    UTL_ERROR(ENOENT),      UTL_ERROR(ENOLCK), UTL_ERROR(ENOMEM),
    UTL_ERROR(ENOSPC),    UTL_ERROR(ENOTEMPTY), UTL_ERROR(ENOTTY),      UTL_ERROR(EPERM),  UTL_ERROR(EROFS),
    UTL_ERROR(EOVERFLOW), UTL_ERROR(ESRCH),     UTL_ERROR(EWOULDBLOCK), UTL_ERROR(EXDEV),
};

void check(bool nHolds, std::string const& nMessage)
{
    if (!nHolds)
    {
        std::fprintf(stderr, "%s\n", nMessage.c_str());
        std::exit(2);
    }
}

using ErrorLists = std::map<std::string, std::vector<std::string>>;

/// The error numbers of each call, from calls.txt; ends the program if list and table do not fit.
ErrorLists errorLists()
{
    ErrorLists lErrors;
    std::ifstream lFile(UTL_PROOF_DIR "/calls.txt");
    for (std::string lLine; std::getline(lFile, lLine);)
    {
        std::istringstream lWords(lLine);
        std::string lName;
        std::string lWord;
        bool const lIsInjected = lWords >> lName >> lWord && lName[0] != '#' && lWord == "injected";
        while (lIsInjected && lWords >> lWord)
        {
            check(ERRORS.count(lWord) != 0, "no such error number: " + lWord);
            lErrors[lName].push_back(lWord);
        }
    }
    check(lErrors.size() == HEAP_CALL, "calls.txt lists others as injected");
    lErrors["allocation"] = lErrors["allocation by a thread of the library"] = {"ENOMEM"};
    for (Call const& lCall : CALLS)
    {
        check(lErrors.count(lCall.mpName) != 0, std::string("calls.txt lists as injected no ") + lCall.mpName);
    }
    return lErrors;
}

// ---------------------------------------------------------------------------------------------- what is held

std::atomic<int> gUnjoined{0}; // threads made and not detached
internal::SystemCall<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)>::Function gCreate = nullptr;
internal::SystemCall<int(pthread_t)>::Function gDetach = nullptr;

int createCounted(pthread_t* npThread, pthread_attr_t const* npAttribute, void* (*npStart)(void*), void* npArgument)
{
    int const lError = gCreate(npThread, npAttribute, npStart, npArgument);
    gUnjoined += lError == 0 ? 1 : 0;
    return lError;
}

int detachCounted(pthread_t nThread)
{
    int const lError = gDetach(nThread);
    gUnjoined -= lError == 0 ? 1 : 0;
    return lError;
}

long timerCount()
{
    std::ifstream lFile("/proc/self/timers");
    return std::count_if(std::istream_iterator<std::string>(lFile), {},
                         [](std::string const& nWord) { return nWord == "ID:"; });
}

char const* const HELD[] = {"descriptors", "threads", "kernel timers", "handles of threads", "heap blocks"};
using Holdings = std::array<long long, std::size(HELD)>;

Holdings holdings()
{
    return {test::openFdCount(), test::threadCount(), timerCount(), gUnjoined, gLiveBlocks};
}

unsigned int gAlone = test::threadCount(); // at load: ourselves, and what a sanitizer keeps beside us

/// A detached thread that has told its end may still be on its way out.
void settle()
{
    test::waitUntil([] { return test::threadCount() <= gAlone; });
}

/// What a process keeps once it has had a thread: the race checker brings threads of its own with the first one.
void learnWhoIsAlone()
{
    std::string lPath = "/proc/self/task/";
    std::thread([&] { lPath += std::to_string(ThreadManager::getCallerId()); }).join();
    test::waitUntil([&] { return ::access(lPath.c_str(), F_OK) != 0; });
    gAlone = test::threadCount();
}

std::string excess(Holdings const& nBefore)
{
    Holdings const lNow = holdings();
    std::string lText;
    for (std::size_t lIndex = 0; lIndex < lNow.size(); ++lIndex)
    {
        long long const lMore = lNow[lIndex] - nBefore[lIndex];
        lText += lMore != 0 ? " " + std::to_string(lMore) + " more " + HELD[lIndex] : "";
    }
    return lText;
}

// ---------------------------------------------------------------------------------------------- one fault

struct Case
{
    Scenario const* mpScenario;
    int mCall; // of CALLS; -1: no fault
    int mNth;
    std::string mError;
    bool mIsForEver;
    bool mIsFresh; // in a process that has not called the library before
};

std::string gCaseText;

void onEnd(int nSignal)
{
    char const* const lpWhat = nSignal == SIGALRM ? "HANG: " : "CRASH: ";
    for (char const* const lpText : {lpWhat, gCaseText.c_str(), "\n"})
    {
        [[maybe_unused]] ssize_t const lWritten = ::write(2, lpText, std::strlen(lpText));
    }
    ::_exit(3);
}

void name(Case const& nCase)
{
    gCaseText = nCase.mpScenario->mpName;
    gCaseText += nCase.mCall < 0 ? " without a fault"
                                 : std::string(", ") + CALLS[nCase.mCall].mpName + " #" + std::to_string(nCase.mNth) +
                                       " " + nCase.mError + (nCase.mIsForEver ? " for ever" : " once") +
                                       (nCase.mIsFresh ? ", first use" : "");
}

/// What became of a case; it comes out of a child in memory that both share.
struct Outcome
{
    void complain(std::string const& nWhat)
    {
        if (!nWhat.empty())
        {
            ++mFaults;
            std::fprintf(stderr, "FAULT: %s: %s\n", gCaseText.c_str(), nWhat.c_str());
        }
    }

    bool mHasFired = false;
    bool mIsThrown = false;
    unsigned int mFaults = 0;
    char mLabel[24] = "";
    int mCalls[CALL_COUNT] = {};
};

/// The first result that is not as expected; MAX_RESULTS for none.
int difference(Report const& nExpected, Report const& nReport)
{
    auto const* const lpEnd = nReport.mValues + std::min(nExpected.mCount, nReport.mCount);
    auto const* const lpPlace = std::mismatch(nReport.mValues, lpEnd, nExpected.mValues).first;
    return lpPlace != lpEnd ? static_cast<int>(lpPlace - nReport.mValues) : Report::MAX_RESULTS;
}

/// A run of a scenario under the fault of a case; all other calls count and do not fail.
void runUnderFaults(Case const& nCase, Report& nReport, Outcome& nOutcome)
{
    std::vector<std::unique_ptr<Fault>> lFaults;
    for (int lCall = 0; lCall < CALL_COUNT; ++lCall)
    {
        auto* const lpMake = CALLS[lCall].mpMake;
        lFaults.push_back(lCall != nCase.mCall
                              ? lpMake(INT_MAX, 0, test::FAULT_ONCE)
                              : lpMake(nCase.mNth, ERRORS.at(nCase.mError),
                                       CALLS[lCall].mKind + (nCase.mIsForEver ? test::FAULT_FOR_EVER : 0)));
    }
    tIsScenario = true;
    gIsCounting = true;
    try
    {
        nCase.mpScenario->mpRun(nReport);
    }
    catch (std::bad_alloc const&)
    {
        nOutcome.mIsThrown = true;
    }
    gIsCounting = false; // what follows is not the scenario's
    tIsScenario = false;
    for (int lCall = 0; lCall < CALL_COUNT; ++lCall)
    {
        nOutcome.mHasFired = nOutcome.mHasFired || lFaults[static_cast<std::size_t>(lCall)]->fired();
        nOutcome.mCalls[lCall] = lFaults[static_cast<std::size_t>(lCall)]->calls();
    }
}

/// The same in surroundings of its own, and what is wrong with it: results, and what is held afterwards.
Report runChecked(Case const& nCase, Outcome& nOutcome)
{
    Report lReport(nCase.mCall < 0 ? "" : CALLS[nCase.mCall].mpName);
    Holdings const lBefore = holdings();
    makeDirectory();
    if (!nCase.mpScenario->mMakesRegistry)
    {
        ThreadManager::get();
    }
    ::alarm(3 * test::longMs() / 1000);
    runUnderFaults(nCase, lReport, nOutcome);
    ThreadManager::destroy();
    Memory::destroy(); // the registry has made it
    ::alarm(0);
    nOutcome.complain(lReport.mWrong);
    if (!nCase.mIsFresh)
    {
        settle();
        nOutcome.complain(excess(lBefore));
    }
    return lReport;
}

void label(Outcome& nOutcome, Report const& nReport, Report const& nExpected)
{
    int const lPlace = difference(nExpected, nReport);
    bool const lDiffers = lPlace != Report::MAX_RESULTS;
    bool const lWasTrue = lDiffers && nExpected.mValues[lPlace] == 1 && nReport.mValues[lPlace] == 0;
    std::snprintf(nOutcome.mLabel, sizeof(nOutcome.mLabel), "%s",
                  nOutcome.mIsThrown ? "exception"
                  : !lDiffers        ? "unaffected"
                  : lWasTrue         ? "false"
                                     : std::to_string(nReport.mValues[lPlace]).c_str());
}

/// A fault, the checks, and a run without one, which gives what it gave before there was a fault.
Outcome prove(Case nCase, Report const& nExpected)
{
    Outcome lOutcome;
    name(nCase);
    label(lOutcome, runChecked(nCase, lOutcome), nExpected);
    Outcome lAgain;
    gCaseText = "after " + gCaseText;
    nCase.mCall = -1;
    Report const lReport = runChecked(nCase, lAgain);
    int const lPlace = difference(nExpected, lReport);
    lAgain.complain(lAgain.mIsThrown ? "an exception" : "");
    lAgain.complain(lPlace != Report::MAX_RESULTS ? std::string("another ") + lReport.mSteps[lPlace] : "");
    lOutcome.mFaults += lAgain.mFaults;
    return lOutcome;
}

/// In a process of its own, which may end as it likes.
template <class Work>
Outcome inChild(Work nWork)
{
    settle(); // the race checker ends the child of a process with several threads as soon as it starts one
    static Outcome* const spShared = static_cast<Outcome*>(
        ::mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *spShared = Outcome();
    spShared->mFaults = 1; // of one that crashes
    pid_t const lChild = ::fork();
    if (lChild == 0)
    {
        learnWhoIsAlone();
        *spShared = nWork();
#ifdef UTL_COVERAGE
        __gcov_dump();
#endif
        ::_exit(0);
    }
    int lStatus = 0;
    ::waitpid(lChild, &lStatus, 0);
    if (WIFSIGNALED(lStatus))
    {
        std::fprintf(stderr, "CRASH by signal %d: %s\n", WTERMSIG(lStatus), gCaseText.c_str());
    }
    return *spShared;
}

// ---------------------------------------------------------------------------------------------- all faults

class Proof
{
public:
    Proof(std::vector<std::string> nNames, double nSeconds)
        : mNames(std::move(nNames)),
          mSeconds(nSeconds)
    {
    }

    /// What is made once a process has faults in a process of its own only: first, and for a fifth of the time.
    void run()
    {
        long long const lStartUs = test::monotonicUs();
        for (bool const lIsFresh : {true, false})
        {
            std::vector<std::vector<Case>> lRounds; // in each one case of each pair of call and scenario
            for (Scenario const& lScenario : SCENARIOS)
            {
                if (mNames.empty() || std::count(mNames.begin(), mNames.end(), lScenario.mpName) != 0)
                {
                    enlist({&lScenario, -1, 0, "", false, lIsFresh}, lRounds);
                }
            }
            long long const lEndUs = lStartUs + static_cast<long long>(mSeconds * (lIsFresh ? 2e5 : 1e6));
            for (std::vector<Case> const& lRound : lRounds)
            {
                for (Case const& lCase : lRound)
                {
                    test::monotonicUs() < lEndUs ? take(lCase) : void();
                }
            }
        }
    }

    void printTable() const
    {
        std::printf("# Faults\n\nMade by `UtlFaultProof --table > docs/faults.md`; see "
                    "[proof.md](proof.md#every-call-that-can-fail-has-failed).\n\n"
                    "| Call | Scenario | Faults | Seen |\n|---|---|---|---|\n");
        for (auto const& [lKey, lSeen] : mTable)
        {
            unsigned int lSum = 0;
            std::string lText;
            for (auto const& [lLabel, lCount] : lSeen)
            {
                lSum += lCount;
                lText += (lText.empty() ? "" : ", ") + lLabel + " x" + std::to_string(lCount);
            }
            std::printf("| `%s` | %s | %u | %s |\n", CALLS[lKey.first].mpName, lKey.second.c_str(), lSum,
                        lText.c_str());
        }
        std::printf("\n%lu faults in %zu pairs of call and scenario.\n", mInjected, mTable.size());
    }

    /// Result: all went well.
    bool conclude() const
    {
        std::fprintf(stderr, "%lu faults injected in %zu pairs of call and scenario: %s\n", mInjected, mTable.size(),
                     mFaults == 0 ? "all as documented" : "FAULTS FOUND");
        return mFaults == 0;
    }

private:
    /// All cases of one scenario. Runs it without a fault, twice, for what it gives: the first run fills what is never
    /// given back.
    void enlist(Case nCase, std::vector<std::vector<Case>>& nRounds)
    {
        Outcome lCounts;
        name(nCase);
        if (nCase.mIsFresh)
        {
            lCounts = inChild([&] { return runChecked(nCase, lCounts), lCounts; });
        }
        else
        {
            Outcome lFirst;
            learnWhoIsAlone();
            runChecked({nCase.mpScenario, -1, 0, "", false, true}, lFirst);
            settle();
            mExpected.emplace(nCase.mpScenario, runChecked(nCase, lCounts));
        }
        mFaults += lCounts.mFaults;
        for (nCase.mCall = 0; nCase.mCall < CALL_COUNT; ++nCase.mCall)
        {
            std::string const lName = CALLS[nCase.mCall].mpName;
            bool const lIsMet = !nCase.mIsFresh || lName == "sigaction" || nCase.mCall >= HEAP_CALL;
            int const lLast = lIsMet ? std::min(lCounts.mCalls[nCase.mCall], nCase.mIsFresh ? 12 : 40) : 0;
            std::size_t lRound = 0;
            for (nCase.mNth = 1; nCase.mNth <= lLast; ++nCase.mNth)
            {
                for (std::string const& lError : mErrors.at(lName))
                {
                    nCase.mError = lError;
                    for (bool const lIsForEver : {false, true})
                    {
                        if (lIsForEver && lError == "EINTR")
                        {
                            continue; // a signal interrupts one call, not all
                        }
                        nCase.mIsForEver = lIsForEver;
                        nRounds.resize(std::max(nRounds.size(), lRound + 1));
                        nRounds[lRound++].push_back(nCase);
                    }
                }
            }
        }
    }

    void take(Case const& nCase)
    {
        name(nCase);
        Report const lNone("");
        Outcome const lOutcome =
            inChild([&] { return prove(nCase, nCase.mIsFresh ? lNone : mExpected.at(nCase.mpScenario)); });
        mFaults += lOutcome.mFaults;
        if (lOutcome.mHasFired)
        {
            ++mInjected;
            std::string const lScenario = nCase.mpScenario->mpName;
            ++mTable[{nCase.mCall, lScenario + (nCase.mIsFresh ? ", first use" : "")}][lOutcome.mLabel];
        }
    }

    std::vector<std::string> const mNames;
    double const mSeconds;
    ErrorLists const mErrors = errorLists();
    std::map<Scenario const*, Report> mExpected;
    std::map<std::pair<int, std::string>, std::map<std::string, unsigned int>> mTable; // by call and scenario
    unsigned long mInjected = 0;
    unsigned int mFaults = 0;
};

/// No fault of an allocation meets a message on its way: there is none.
bool messagesTakeNoMemory()
{
    Ear lEar;
    TimerMsg lMsg;
    lMsg.mMsgId = 1;
    MsgDrivenThread lThread(4, 64, "lean", 0);
    bool lIsSent = lThread.start(&lEar, 0, 0, nullptr, 1, 0, NORMAL, 0) == 0 && lThread.sendMsgSync(lMsg);
    HeapFault<false> const lHeap(INT_MAX, 0, test::FAULT_ONCE); // counts
    gIsCounting = true;
    for (int lTurn = 0; lTurn < 2000; ++lTurn)
    {
        lThread.postMsg(lMsg); // or not: the queue may be full
        lIsSent = lIsSent && (lTurn % 32 != 0 || lThread.sendMsgInterrupt(lMsg));
        lIsSent = lIsSent && (lTurn % 32 != 0 || test::waitUntil([&] { return lThread.sendMsgSync(lMsg); }));
    }
    gIsCounting = false;
    return lThread.stop(1, 0) == 0 && lThread.leaveManagement() && lIsSent && lHeap.calls() == 0;
}

} // namespace

int main(int nCount, char** npValues)
{
    std::vector<std::string> lWords(npValues + 1, npValues + nCount);
    std::string const lFirst = lWords.empty() ? "" : lWords[0];
    bool const lIsTable = lFirst == "--table";
    double const lSeconds = lIsTable || lFirst == "all" ? 1e6 : std::atof(lFirst.c_str());
    lWords.erase(lWords.begin(), lWords.begin() + (lSeconds > 0 ? 1 : 0));

    // The library's own lines go nowhere; what is written to descriptor 0 neither.
    internal::gSystem.mSyslog.exchange([](int, char const*) {});
    internal::gSystem.mPrintf.exchange([](char const*) {});
    ::dup2(::open("/dev/null", O_RDWR), 0);
    internal::gSystem.mChmod.exchange(test::chmodBelowRoot);
    gCreate = internal::gSystem.mPthreadCreate.exchange(createCounted);
    gDetach = internal::gSystem.mPthreadDetach.exchange(detachCounted);
    std::signal(SIGALRM, onEnd);
    std::signal(SIGABRT, onEnd);

    // In memory where that can be: each file is synced when it is closed.
    std::string lDirectory = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm/utl_proof_XXXXXX" : "/tmp/utl_proof_XXXXXX";
    if (::mkdtemp(&lDirectory[0]) == nullptr || ::chdir(lDirectory.c_str()) != 0)
    {
        return 2;
    }
    Outcome lLean;
    lLean.mFaults = inChild([&] { return lLean.mFaults = messagesTakeNoMemory() ? 0 : 1, lLean; }).mFaults;
    lLean.complain(lLean.mFaults != 0 ? "a message takes memory from the heap" : "");
    Proof lProof(std::move(lWords), lSeconds > 0 ? lSeconds : 6);
    lProof.run();
    std::filesystem::current_path("/");
    std::filesystem::remove_all(lDirectory);
    if (lIsTable)
    {
        lProof.printTable();
    }
    return lProof.conclude() && lLean.mFaults == 0 ? 0 : 1;
}
