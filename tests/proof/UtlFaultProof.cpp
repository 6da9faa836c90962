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

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>

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
        sHasFired = false;
        sIsForEver = (nKind & utl::test::FAULT_FOR_EVER) != 0;
        sNth = nNth;
    }
    ~HeapFault() override { sNth = 0; }
    bool fired() const override { return sHasFired; }
    int calls() const override { return sCalls; }

    static bool fails()
    {
        int const lCall = ++sCalls;
        bool const lFails = sNth != 0 && (lCall == sNth || (lCall > sNth && sIsForEver));
        sHasFired = sHasFired || lFails;
        return lFails;
    }

private:
    static inline std::atomic<int> sNth{0}; // 0: none fails
    static inline std::atomic<bool> sIsForEver{false};
    static inline std::atomic<bool> sHasFired{false};
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
using utl::test::FailNth;
using utl::test::Fault;
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
        NAME, &make<FailNth<&SC::ENTRY>>, utl::test::KIND                                                              \
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
    {"allocation", &make<HeapFault<true>>, utl::test::FAULT_ONCE},
    {"allocation by a thread of the library", &make<HeapFault<false>>, utl::test::FAULT_ONCE},
};
constexpr int CALL_COUNT = sizeof(CALLS) / sizeof(CALLS[0]);
constexpr int HEAP_CALL = CALL_COUNT - 2;
// What the log's sinks and the look at their console tell is not heeded. A new entry of the table is added here.
static_assert(sizeof(internal::SystemCalls) == (HEAP_CALL + 5) * sizeof(void*), "an entry that never fails here");

using Error = std::pair<std::string const, int>;
using ErrorLists = std::map<std::string, std::vector<Error const*>>;

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

/// The error numbers of each call, from calls.txt; ends the program where list and table do not fit.
ErrorLists errorLists()
{
    ErrorLists lErrors;
    for (Call const& lCall : CALLS)
    {
        lErrors[lCall.mpName] = {};
    }
    lErrors[CALLS[HEAP_CALL].mpName] = lErrors[CALLS[HEAP_CALL + 1].mpName] = {&*ERRORS.find("ENOMEM")};
    std::ifstream lFile(UTL_PROOF_DIR "/calls.txt");
    for (std::string lLine; std::getline(lFile, lLine);)
    {
        std::istringstream lWords(lLine);
        std::string lName;
        std::string lWord;
        if (lWords >> lName >> lWord && lName[0] != '#' && lWord == "injected")
        {
            check(lErrors.count(lName) != 0, "calls.txt lists as injected what is not: " + lName);
            while (lWords >> lWord)
            {
                auto const lError = ERRORS.find(lWord);
                check(lError != ERRORS.end(), "no such error number: " + lWord);
                lErrors[lName].push_back(&*lError);
            }
        }
    }
    for (auto const& [lName, lNumbers] : lErrors)
    {
        check(!lNumbers.empty(), "calls.txt lists as injected no " + lName);
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

struct Holding
{
    char const* mpName;
    long long mCount;
};
using Holdings = std::array<Holding, 5>;

Holdings holdings()
{
    return {{{"descriptors", utl::test::openFdCount()},
             {"threads", utl::test::threadCount()},
             {"kernel timers", timerCount()},
             {"handles of threads", gUnjoined},
             {"heap blocks", gLiveBlocks}}};
}

std::string excess(Holdings const& nBefore)
{
    std::ostringstream lText;
    Holdings const lNow = holdings();
    for (std::size_t lIndex = 0; lIndex < lNow.size(); ++lIndex)
    {
        if (lNow[lIndex].mCount != nBefore[lIndex].mCount)
        {
            lText << " " << std::showpos << lNow[lIndex].mCount - nBefore[lIndex].mCount << " " << lNow[lIndex].mpName;
        }
    }
    return lText.str();
}

// ---------------------------------------------------------------------------------------------- one fault

struct Case
{
    int mScenario;
    int mCall; // of CALLS; -1: no fault
    int mNth;
    Error const* mpError;
    bool mIsForEver;
    bool mIsFresh; // in a process that has not called the library before
};

char gCaseText[200] = "";

void onEnd(int nSignal)
{
    char const* const lpWhat = nSignal == SIGALRM ? "HANG: " : "CRASH: ";
    [[maybe_unused]] ssize_t lWritten = ::write(2, lpWhat, std::strlen(lpWhat));
    lWritten = ::write(2, gCaseText, std::strlen(gCaseText));
    lWritten = ::write(2, "\n", 1);
    ::_exit(3);
}

void name(Case const& nCase)
{
    char const* const lpName = SCENARIOS[nCase.mScenario].mpName;
    if (nCase.mCall < 0)
    {
        std::snprintf(gCaseText, sizeof(gCaseText), "%s without a fault", lpName);
        return;
    }
    std::snprintf(gCaseText, sizeof(gCaseText), "%s, %s #%d %s %s%s", lpName, CALLS[nCase.mCall].mpName, nCase.mNth,
                  nCase.mpError->first.c_str(), nCase.mIsForEver ? "for ever" : "once",
                  nCase.mIsFresh ? ", first use" : "");
}

/// What became of a run; it comes out of a child in memory that both share.
struct Outcome
{
    bool mHasFired = false;
    unsigned int mFaults = 0;
    char mLabel[24] = "";
    int mCalls[CALL_COUNT] = {}; // of a run that counts
};

/// The first result that is not as expected; MAX_RESULTS for none.
unsigned int difference(Report const& nExpected, Report const& nReport)
{
    unsigned int const lCount = std::min(nExpected.mCount, nReport.mCount);
    auto const lPlace = std::mismatch(nReport.mValues, nReport.mValues + lCount, nExpected.mValues).first;
    return lPlace != nReport.mValues + lCount ? static_cast<unsigned int>(lPlace - nReport.mValues)
                                              : Report::MAX_RESULTS;
}

class Runner
{
public:
    /// One run, in surroundings of its own. Result: false where an exception came out.
    bool run(Case const& nCase, Report& nReport, Outcome* npOutcome)
    {
        Scenario const& lScenario = SCENARIOS[nCase.mScenario];
        std::optional<Directory> lDirectory;
        if ((lScenario.mKind & USES_FILES) != 0)
        {
            lDirectory.emplace();
        }
        if ((lScenario.mKind & MAKES_REGISTRY) == 0)
        {
            ThreadManager::get();
        }
        name(nCase);
        ::alarm(3 * utl::test::longMs() / 1000);
        bool lIsThrown = false;
        {
            std::vector<std::unique_ptr<Fault>> const lFaults = inject(nCase);
            tIsScenario = true;
            gIsCounting = true;
            try
            {
                lScenario.mpRun(nReport);
            }
            catch (std::bad_alloc const&)
            {
                lIsThrown = true;
            }
            gIsCounting = false; // what follows is not the scenario's
            tIsScenario = false;
            if (npOutcome != nullptr)
            {
                note(lFaults, *npOutcome);
            }
        }
        ThreadManager::destroy();
        Memory::destroy(); // the registry has made it
        ::alarm(0);
        return !lIsThrown;
    }

    /// A fault, the checks, and a run without one.
    Outcome prove(Case const& nCase)
    {
        Outcome lOutcome;
        Report const lExpected = nCase.mIsFresh ? Report("") : expectation(nCase.mScenario);
        name(nCase);
        std::string const lName = gCaseText;
        Report lReport(CALLS[nCase.mCall].mpName);
        bool const lIsThrough = runChecked(nCase, lName, lReport, lOutcome, &lOutcome);
        label(lOutcome, lReport, lIsThrough, lExpected);
        checkAgain(lOutcome, nCase, lExpected, "after " + lName);
        return lOutcome;
    }

    /// Runs a scenario without a fault, twice: the first fills what is never given back.
    Report const& expectation(int nScenario)
    {
        auto lFound = mExpectations.find(nScenario);
        if (lFound == mExpectations.end())
        {
            Outcome lOutcome;
            Case const lCase{nScenario, -1, 0, nullptr, false, false};
            Report lFirst("");
            run(lCase, lFirst, nullptr);
            Report lSecond("");
            run(lCase, lSecond, nullptr);
            complain(lOutcome, lSecond.mWrong);
            mFaults += lOutcome.mFaults;
            lFound = mExpectations.emplace(nScenario, lSecond).first;
        }
        return lFound->second;
    }

    /// How often a scenario makes each call.
    Outcome count(int nScenario)
    {
        Outcome lOutcome;
        Report lReport("");
        run({nScenario, -1, 0, nullptr, false, false}, lReport, &lOutcome);
        return lOutcome;
    }

    unsigned int mFaults = 0;

private:
    /// The fault of a case; if it has none, all of them, which count and do not come.
    static std::vector<std::unique_ptr<Fault>> inject(Case const& nCase)
    {
        std::vector<std::unique_ptr<Fault>> lFaults;
        for (int lCall = 0; lCall < CALL_COUNT; ++lCall)
        {
            if (nCase.mCall < 0)
            {
                lFaults.push_back(CALLS[lCall].mpMake(INT_MAX, 0, utl::test::FAULT_ONCE));
            }
            else if (nCase.mCall == lCall)
            {
                lFaults.push_back(CALLS[lCall].mpMake(
                    nCase.mNth, nCase.mpError->second,
                    CALLS[lCall].mKind | (nCase.mIsForEver ? utl::test::FAULT_FOR_EVER : utl::test::FAULT_ONCE)));
            }
        }
        return lFaults;
    }

    static void note(std::vector<std::unique_ptr<Fault>> const& nFaults, Outcome& nOutcome)
    {
        int lCall = 0;
        for (auto const& lpFault : nFaults)
        {
            nOutcome.mHasFired = nOutcome.mHasFired || lpFault->fired();
            nOutcome.mCalls[lCall++] = lpFault->calls();
        }
    }

    /// A thread that has told its end may still be on its way out.
    static void settle(Holdings const& nBefore)
    {
        utl::test::waitUntil([&] { return static_cast<long>(utl::test::threadCount()) <= nBefore[1].mCount; });
    }

    static void complain(Outcome& nOutcome, std::string const& nWhat)
    {
        if (!nWhat.empty())
        {
            ++nOutcome.mFaults;
            std::fprintf(stderr, "FAULT: %s: %s\n", gCaseText, nWhat.c_str());
        }
    }

    static void label(Outcome& nOutcome, Report const& nReport, bool nIsThrough, Report const& nExpected)
    {
        unsigned int const lDifference = difference(nExpected, nReport);
        if (!nIsThrough)
        {
            std::snprintf(nOutcome.mLabel, sizeof(nOutcome.mLabel), "exception");
        }
        else if (lDifference == Report::MAX_RESULTS)
        {
            std::snprintf(nOutcome.mLabel, sizeof(nOutcome.mLabel), "unaffected");
        }
        else
        {
            long long const lValue = nReport.mValues[lDifference];
            bool const lWasTrue = nExpected.mValues[lDifference] == 1 && lValue == 0;
            std::snprintf(nOutcome.mLabel, sizeof(nOutcome.mLabel), lWasTrue ? "false" : "%lld", lValue);
        }
    }

    /// A run, under a name of its own for what is wrong with it: results, and what is held afterwards.
    bool runChecked(Case const& nCase, std::string const& nName, Report& nReport, Outcome& nOutcome, Outcome* npNoted)
    {
        Holdings const lBefore = holdings();
        bool const lIsThrough = run(nCase, nReport, npNoted);
        settle(lBefore);
        std::snprintf(gCaseText, sizeof(gCaseText), "%s", nName.c_str());
        complain(nOutcome, nReport.mWrong);
        complain(nOutcome, nCase.mIsFresh ? "" : excess(lBefore));
        return lIsThrough;
    }

    /// The next call works, and gives what it gave before there was a fault.
    void checkAgain(Outcome& nOutcome, Case const& nCase, Report const& nExpected, std::string const& nName)
    {
        Report lReport("");
        Case const lCase{nCase.mScenario, -1, 0, nullptr, false, nCase.mIsFresh};
        complain(nOutcome, runChecked(lCase, nName, lReport, nOutcome, nullptr) ? "" : "an exception");
        unsigned int const lDifference = difference(nExpected, lReport);
        if (!nCase.mIsFresh && lDifference != Report::MAX_RESULTS)
        {
            complain(nOutcome, std::string(lReport.mSteps[lDifference]) + " gives " +
                                   std::to_string(lReport.mValues[lDifference]) + " and not " +
                                   std::to_string(nExpected.mValues[lDifference]));
        }
    }

    std::map<int, Report> mExpectations;
};

unsigned int const ALONE = utl::test::threadCount(); // at load: ourselves, and what a sanitizer keeps beside us

/// In a process of its own, which may end as it likes.
template <class Work>
Outcome inChild(char const* nName, Work nWork)
{
    // Threads are detached: one that has told its end may still be on its way out, and the race checker ends the child
    // of a process with several threads as soon as it starts one.
    utl::test::waitUntil([] { return utl::test::threadCount() <= ALONE; });
    static Outcome* const spShared = static_cast<Outcome*>(
        ::mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *spShared = Outcome();
    spShared->mFaults = 1; // of one that crashes
    pid_t const lChild = ::fork();
    if (lChild == 0)
    {
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
        std::fprintf(stderr, "CRASH by signal %d: %s\n", WTERMSIG(lStatus), nName);
    }
    return *spShared;
}

// ---------------------------------------------------------------------------------------------- all faults

class Proof
{
public:
    Proof(std::vector<std::string> nNames, double nSeconds)
        : mNames(std::move(nNames)),
          mEnd(mStart + std::chrono::milliseconds(static_cast<long long>(std::min(nSeconds, 1e9) * 1000)))
    {
    }

    void run()
    {
        first();
        for (int lScenario = 0; lScenario < SCENARIO_COUNT; ++lScenario)
        {
            if (isWanted(SCENARIOS[lScenario].mpName))
            {
                mRunner.expectation(lScenario);
                enlist(lScenario, mRunner.count(lScenario), false, MAX_NTH);
            }
        }
        prove(mEnd);
    }

    void printTable() const
    {
        std::printf(
            "# Faults\n\n"
            "Each call that the library makes and that can fail, in each scenario that makes it: how often it was "
            "made to fail,\nand what the caller saw. Made by `UtlFaultProof --table > docs/faults.md`;\n"
            "[calls.txt](../tests/proof/calls.txt) has the error numbers and every call that cannot fail, with the "
            "reason.\n\n"
            "Each call fails at its first, second, ... use in the scenario, once and for ever, with each error "
            "number. *unaffected*:\nevery result was as without a fault; *exception*: `std::bad_alloc` came "
            "through; otherwise the first result that\ndiffered (a number, or false). After each: only documented "
            "results, no descriptor, thread, handle, kernel timer or heap\nblock more than before, and the same "
            "scenario without a fault works. *First use* is a process that has not used the\nlibrary before.\n\n"
            "| Call | Scenario | Faults | Seen |\n|---|---|---|---|\n");
        for (int lCall = 0; lCall < CALL_COUNT; ++lCall)
        {
            for (auto const& [lKey, lSeen] : mTable)
            {
                if (lKey.first == lCall)
                {
                    printRow(lCall, lKey.second, lSeen);
                }
            }
        }
        std::printf("\n%lu faults in %zu pairs of call and scenario.\n", mInjected, mTable.size());
    }

    /// Result: all went well.
    bool conclude() const
    {
        std::fprintf(stderr, "%lu faults injected in %zu pairs of call and scenario (%zu of %zu cases run): %s\n",
                     mInjected, mTable.size(), mRun, mListed,
                     mFaults + mRunner.mFaults == 0 ? "all as documented" : "FAULTS FOUND");
        return mFaults + mRunner.mFaults == 0;
    }

private:
    using Row = std::pair<int, std::string>; // call, scenario

    static constexpr int SCENARIO_COUNT = sizeof(SCENARIOS) / sizeof(SCENARIOS[0]);
    static constexpr int MAX_NTH = 40;
    static constexpr int MAX_NTH_FIRST = 12;

    bool isWanted(std::string const& nName) const
    {
        return mNames.empty() || std::find(mNames.begin(), mNames.end(), nName) != mNames.end();
    }

    /// What is made once a process has faults in a process of its own only.
    void first()
    {
        for (int lScenario = 0; lScenario < SCENARIO_COUNT; ++lScenario)
        {
            if (isWanted(SCENARIOS[lScenario].mpName))
            {
                enlist(lScenario, inChild(SCENARIOS[lScenario].mpName, [&] { return mRunner.count(lScenario); }), true,
                       MAX_NTH_FIRST);
            }
        }
        prove(mStart + (mEnd - mStart) / 5);
    }

    /// By rounds: in each one case of each pair of call and scenario.
    void enlist(int nScenario, Outcome const& nCounts, bool nIsFresh, int nMaxNth)
    {
        for (int lCall = 0; lCall < CALL_COUNT; ++lCall)
        {
            std::string const lName = CALLS[lCall].mpName;
            if (nIsFresh && lName != "sigaction" && lCall < HEAP_CALL)
            {
                continue;
            }
            std::size_t lRound = 0;
            for (int lNth = 1; lNth <= std::min(nCounts.mCalls[lCall], nMaxNth); ++lNth)
            {
                for (Error const* lpError : mErrors.at(lName))
                {
                    for (bool lIsForEver : {false, true})
                    {
                        if (lIsForEver && lpError->second == EINTR)
                        {
                            continue; // a signal interrupts one call, not all
                        }
                        mRounds.resize(std::max(mRounds.size(), lRound + 1));
                        mRounds[lRound++].push_back({nScenario, lCall, lNth, lpError, lIsForEver, nIsFresh});
                        ++mListed;
                    }
                }
            }
        }
    }

    void prove(std::chrono::steady_clock::time_point nEnd)
    {
        for (auto const& lRound : mRounds)
        {
            for (Case const& lCase : lRound)
            {
                if (std::chrono::steady_clock::now() > nEnd)
                {
                    break;
                }
                ++mRun;
                name(lCase);
                take(lCase, inChild(gCaseText, [&] { return mRunner.prove(lCase); }));
            }
        }
        mRounds.clear();
    }

    void take(Case const& nCase, Outcome const& nOutcome)
    {
        mFaults += nOutcome.mFaults;
        if (nOutcome.mHasFired)
        {
            ++mInjected;
            std::string const lScenario = SCENARIOS[nCase.mScenario].mpName;
            ++mTable[{nCase.mCall, lScenario + (nCase.mIsFresh ? ", first use" : "")}][nOutcome.mLabel];
        }
    }

    static void printRow(int nCall, std::string const& nScenario, std::map<std::string, unsigned int> const& nSeen)
    {
        unsigned int lSum = 0;
        std::string lText;
        for (auto const& [lLabel, lCount] : nSeen)
        {
            lSum += lCount;
            lText += (lText.empty() ? "" : ", ") + lLabel + " x" + std::to_string(lCount);
        }
        std::printf("| `%s` | %s | %u | %s |\n", CALLS[nCall].mpName, nScenario.c_str(), lSum, lText.c_str());
    }

    std::vector<std::string> const mNames;
    std::chrono::steady_clock::time_point const mStart = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point const mEnd;
    ErrorLists const mErrors = errorLists();
    Runner mRunner;
    std::vector<std::vector<Case>> mRounds;
    std::map<Row, std::map<std::string, unsigned int>> mTable;
    std::size_t mListed = 0;
    std::size_t mRun = 0;
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
    bool lIsSent = lThread.start(&lEar, 0, 0, nullptr, 1, 0, normal(), 0) == 0 && lThread.sendMsgSync(lMsg);
    HeapFault<false> const lHeap(INT_MAX, 0, utl::test::FAULT_ONCE); // counts
    gIsCounting = true;
    for (int lTurn = 0; lTurn < 2000; ++lTurn)
    {
        lThread.postMsg(lMsg); // or not: the queue may be full
        lIsSent = lIsSent && (lTurn % 32 != 0 || lThread.sendMsgInterrupt(lMsg));
        lIsSent = lIsSent && (lTurn % 32 != 0 || utl::test::waitUntil([&] { return lThread.sendMsgSync(lMsg); }));
    }
    gIsCounting = false;
    return lThread.stop(1, 0) == 0 && lThread.leaveManagement() && lIsSent && lHeap.calls() == 0;
}

} // namespace

int main(int nCount, char** npValues)
{
    std::vector<std::string> lWords(npValues + 1, npValues + nCount);
    bool const lIsTable = !lWords.empty() && lWords[0] == "--table";
    double lSeconds = 6;
    if (!lWords.empty() && (lIsTable || lWords[0] == "all" || std::atof(lWords[0].c_str()) > 0))
    {
        lSeconds = lIsTable || lWords[0] == "all" ? 1e9 : std::atof(lWords[0].c_str());
        lWords.erase(lWords.begin());
    }

    // The library's own lines go nowhere; what is written to descriptor 0 neither.
    internal::gSystem.mSyslog.exchange([](int, char const*) {});
    internal::gSystem.mPrintf.exchange([](char const*) {});
    ::dup2(::open("/dev/null", O_RDWR), 0);
    internal::gSystem.mChmod.exchange(utl::test::chmodBelowRoot);
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
    bool const lIsLean = inChild("messages",
                                 []
                                 {
                                     Outcome lOutcome;
                                     lOutcome.mFaults = messagesTakeNoMemory() ? 0 : 1;
                                     return lOutcome;
                                 })
                             .mFaults == 0;
    std::fputs(lIsLean ? "" : "FAULT: a message takes memory from the heap\n", stderr);
    Proof lProof(std::move(lWords), lSeconds);
    lProof.run();
    [[maybe_unused]] int const lLeft = ::chdir("/");
    ::rmdir(lDirectory.c_str());
    if (lIsTable)
    {
        lProof.printTable();
    }
    return lProof.conclude() && lIsLean ? 0 : 1;
}
