// Judges threads that hang, starve or were stopped, by the hundred. No verdict may differ from the known truth.
//
//   UtlVerdictProof                 each kind a few times, quiet and under load: the quick form
//   UtlVerdictProof COUNT [KIND]    so many verdicts of each kind, or of those with these letters in their names
//
// Each kind is judged with and without the kernel's account of waiting for a processor. A wrong verdict ends the
// program with 1, a hang with 3.
#include "Prove.h"
#include "UtlMsgDrivenThread.h"
#include "UtlThreadWatchdog.h"
#include "support/Process.h"

#include <deque>

#include <sys/resource.h>

namespace
{

using namespace utl;
using internal::SystemCalls;

unsigned int const BEAT_MS = 10;
unsigned int const ALIVE_MS = 40;
unsigned int const NAP_MS = 3;
unsigned int const MAX_AT_ONCE = 25;
unsigned int const PAUSE_MS = 700;
unsigned int const LATE_MS = 5 * BEAT_MS; // between a sample and the look at the truth, among many
StatementInfo const HERE("proof", "subject", 1, 0);

/// Of a thread, or the calling one for 0.
void setPlace(int nId, unsigned long nProcessors, int nNice, int nPolicy)
{
    ::sched_setaffinity(nId, sizeof(nProcessors), reinterpret_cast<cpu_set_t const*>(&nProcessors));
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(nId), nNice);
    sched_param const lParam{};
    ::sched_setscheduler(nId, nPolicy, &lParam);
}

long long clockUs(clockid_t nClock)
{
    timespec lTime{};
    ::clock_gettime(nClock, &lTime);
    return lTime.tv_sec * 1000000LL + lTime.tv_nsec / 1000;
}

std::string account(int nId, char const* npName)
{
    return test::contentOf("/proc/self/task/" + std::to_string(nId) + "/" + npName);
}

/// How long a thread was ready without a processor, until it was given one.
long long queuedUs(int nId)
{
    std::string const lAccount = account(nId, "schedstat");
    return std::strtoll(lAccount.c_str() + lAccount.find(' '), nullptr, 10) / 1000;
}

/// It is now, and nobody knows since when.
bool isQueued(int nId)
{
    std::string const lState = account(nId, "stat");
    return lState.compare(lState.rfind(')'), 3, ") R") == 0;
}

/// Takes all that it gets of a processor, for a scope.
class Hog
{
public:
    explicit Hog(bool nIsPinned, int nNice = 0)
        : mThread(
              [=]
              {
                  nIsPinned ? setPlace(0, 1, nNice, SCHED_OTHER) : void();
                  while (!mIsOver)
                  {
                  }
              })
    {
    }
    ~Hog()
    {
        mIsOver = true;
        mThread.join();
    }

private:
    std::atomic<bool> mIsOver{false};
    std::thread mThread;
};

/// A piece of work.
void work()
{
    long long const lBeginUs = clockUs(CLOCK_THREAD_CPUTIME_ID);
    while (clockUs(CLOCK_THREAD_CPUTIME_ID) - lBeginUs < 4000)
    {
    }
}

enum Kind
{
    WAITS,     // for a gate
    NAPS,      // wakes up now and then, and waits on
    RUNS,      // without end
    NICE,      // beside one that is nice to nobody
    IDLE,      // of the class that runs if nobody else would
    CROWDED,   // one processor for all
    BEHIND,    // waits for one that is starved
    WAS_PAUSED // with the process
};

Verdict const TRUTHS[] = {Verdict::BLOCKED, Verdict::BLOCKED, Verdict::RUNNING, Verdict::STARVED,
                          Verdict::STARVED, Verdict::STARVED, Verdict::STARVED, Verdict::STOPPED};

/// A watched thread that does one kind of thing, until it is told to end.
class Subject
{
public:
    Subject(ThreadWatchdog& nWatchdog, WatchdogTimerListener& nDeaf, Kind nKind, MsgDrivenThread& nServer)
        : mKind(nKind),
          mServer(nServer)
    {
        mThread = std::thread([&] { run(nWatchdog, nDeaf); });
        while (mId == 0)
        {
            ::sched_yield();
        }
    }
    ~Subject()
    {
        setPlace(mId, ~0UL, 0, SCHED_OTHER); // let it come to its end
        mIsOver = true;
        mEnd.open();
        mThread.join();
    }

    int id() const { return mId; }
    bool isJudged() const { return mIsJudged; }

    /// On the watchdog thread.
    void judged(WatchdogVerdict const& nVerdict)
    {
        Verdict const lVerdict = nVerdict.mVerdict;
        Verdict const lTruth = TRUTHS[mKind];
        // All are starved as well, among many: one that hangs until it has had its alive time, one that is
        // paused before that.
        // Of its silence only a part counts if the beats came late.
        long long const lCountedMs = nVerdict.mRunMs + nVerdict.mBlockedMs + nVerdict.mStarvedMs;
        long long const lOwnMs = ownMs(nVerdict.mSilentMs);
        long long const lOwnOfCountedMs = lOwnMs * lCountedMs / std::max(nVerdict.mSilentMs, 1U);
        bool const lMayStarve =
            mKind == WAS_PAUSED ? nVerdict.mSilentMs < PAUSE_MS : lOwnOfCountedMs < ALIVE_MS + LATE_MS;
        bool const lIsRight = lVerdict == lTruth ? mKind > RUNS || mostOwnMs(nVerdict.mSilentMs) + 2 >= ALIVE_MS
                                                 : lVerdict == Verdict::STARVED && lMayStarve;
        if (!lIsRight)
        {
            std::fprintf(stderr, "kind %d: %s  silent %u run %u blocked %u starved %u stopped %u, in truth %lld\n",
                         mKind, text(lVerdict), nVerdict.mSilentMs, nVerdict.mRunMs, nVerdict.mBlockedMs,
                         nVerdict.mStarvedMs, nVerdict.mStoppedMs, lOwnMs);
        }
        PROVE(lIsRight);
        mIsJudged =
            mIsJudged || lVerdict == lTruth || mKind <= RUNS; // these report no more: there is no second verdict
    }

private:
    /// How much of its silence it ran, or did not want to.
    long long ownMs(unsigned int nSilentMs) const
    {
        return mKind == WAITS  ? (isQueued(mId) ? 0 : nSilentMs - (queuedUs(mId) - mQueuedUs) / 1000)
               : mKind == NAPS ? mNaps * NAP_MS
                               : (clockUs(mClock) - mStartUs) / 1000;
    }

    /// At most: a nap takes longer if the machine as a whole is held up.
    long long mostOwnMs(unsigned int nSilentMs) const
    {
        return mKind == NAPS ? nSilentMs - (queuedUs(mId) - mQueuedUs) / 1000 : ownMs(nSilentMs);
    }

    void run(ThreadWatchdog& nWatchdog, WatchdogTimerListener& nDeaf)
    {
        int const lId = ThreadManager::getCallerId();
        ::pthread_getcpuclockid(::pthread_self(), &mClock);
        PROVE(nWatchdog.entry(lId, ALIVE_MS, &nDeaf, "subject"));
        mId = lId;
        mStartUs = clockUs(mClock);
        if (mKind >= NICE && mKind <= CROWDED)
        {
            setPlace(0, 1, mKind == NICE ? 19 : 0, mKind == IDLE ? SCHED_IDLE : SCHED_OTHER);
        }
        PROVE(nWatchdog.start(lId));
        PROVE(nWatchdog.keepAlive(HERE));
        mQueuedUs = queuedUs(lId);
        while (!mIsOver)
        {
            act(nWatchdog);
        }
        PROVE(nWatchdog.unregister(lId));
    }

    void act(ThreadWatchdog& nWatchdog)
    {
        if (mKind == WAITS)
        {
            mEnd.wait();
        }
        else if (mKind == NAPS)
        {
            ++mNaps;
            Thread::sleep(NAP_MS);
        }
        else if (mKind == WAS_PAUSED)
        {
            long long const lBeforeUs = clockUs(CLOCK_MONOTONIC);
            Thread::sleep(2);
            // What it was about to do takes it a beat more before it reports.
            Thread::sleep(clockUs(CLOCK_MONOTONIC) - lBeforeUs > 100000 ? BEAT_MS : 0);
            nWatchdog.keepAlive(HERE);
        }
        else if (mKind != RUNS)
        {
            mKind == BEHIND ? void(mServer.sendMsgSync(1)) : work();
            nWatchdog.keepAlive(HERE);
        }
    }

    Kind const mKind;
    MsgDrivenThread& mServer;
    clockid_t mClock{};
    long long mStartUs = 0;
    test::Gate mEnd;
    std::atomic<long long> mQueuedUs{0}; // at its report
    std::atomic<unsigned int> mNaps{0};
    std::atomic<int> mId{0};
    std::atomic<bool> mIsOver{false};
    std::atomic<bool> mIsJudged{false};
    std::thread mThread;
};

/// A watchdog and the subjects of a round.
class Court : public WatchdogTimerListener, private WatchdogVerdictListener, private ThreadMsgListener
{
public:
    Court()
        : mServer(0, 64, "server", 0),
          mWatchdog(64)
    {
        PROVE_EQ(0, mServer.start(this, 0, 0, nullptr, 1, 0, ThreadPriority(ThreadPriority::NORMAL), 0));
        PROVE(mWatchdog.initialize(BEAT_MS));
        mWatchdog.setVerdictListener(this);
    }
    ~Court() override
    {
        mWatchdog.shutdown();
        mServer.stop(1, 0);
        mServer.leaveManagement();
    }

    /// Until so many verdicts were told.
    void judge(Kind nKind, unsigned int nAtOnce, unsigned int nCount)
    {
        for (unsigned int lDone = 0; lDone < nCount; lDone += nAtOnce)
        {
            setPlace(mServer.getId(), 1, 0, SCHED_IDLE);
            for (unsigned int lIndex = 0; lIndex < nAtOnce; ++lIndex)
            {
                auto lpSubject = std::make_unique<Subject>(mWatchdog, *this, nKind, mServer);
                SyncGuard lGuard(mSyncObject);
                mSubjects.push_back(std::move(lpSubject));
            }
            while (!areAllJudged())
            {
                Thread::sleep(1);
            }
            std::vector<std::unique_ptr<Subject>> lSubjects;
            mSyncObject.lock();
            lSubjects.swap(mSubjects);
            mSyncObject.unlock();
            setPlace(mServer.getId(), ~0UL, 0, SCHED_OTHER); // let it come to its end
            lSubjects.clear();
            ++proof::gRound;
        }
    }

private:
    bool areAllJudged()
    {
        SyncGuard lGuard(mSyncObject);
        return std::all_of(mSubjects.begin(), mSubjects.end(),
                           [](auto const& npSubject) { return npSubject->isJudged(); });
    }

    void onTime(int, WatchdogInfoMap const&) override {}
    void receiveMsg(int, ThreadRawMsg&) override { work(); }

    void onVerdict(WatchdogVerdict const& nVerdict) override
    {
        SyncGuard lGuard(mSyncObject);
        for (auto const& lpSubject : mSubjects)
        {
            lpSubject->id() == nVerdict.mThreadId ? lpSubject->judged(nVerdict) : void();
        }
    }

    SyncObject mSyncObject;
    std::vector<std::unique_ptr<Subject>> mSubjects;
    MsgDrivenThread mServer;
    ThreadWatchdog mWatchdog;
};

/// In a child, which is stopped and continued until it is done.
void judgePaused(unsigned int nCount)
{
    std::fflush(nullptr);
    pid_t const lChild = ::fork();
    if (lChild == 0)
    {
        Court().judge(WAS_PAUSED, std::min(nCount, MAX_AT_ONCE), nCount);
        ::_exit(0);
    }
    int lStatus = 0;
    while (::waitpid(lChild, &lStatus, WNOHANG) == 0)
    {
        ::kill(lChild, SIGSTOP);
        Thread::sleep(PAUSE_MS);
        ::kill(lChild, SIGCONT);
        Thread::sleep(100);
        ++proof::gRound;
    }
    PROVE(WIFEXITED(lStatus) && WEXITSTATUS(lStatus) == 0);
}

int openWithoutSchedstat(char const* npPath, int nFlags, mode_t nMode)
{
    if (std::strstr(npPath, "schedstat") != nullptr)
    {
        errno = ENOENT;
        return -1;
    }
    return ::open(npPath, nFlags | O_CLOEXEC, nMode);
}

/// One kind, beside others on its processor.
void judgeBeside(Kind nKind, unsigned int nAtOnce, unsigned int nHogs, int nNiceOfHogs, unsigned int nCount)
{
    std::deque<Hog> lHogs;
    while (lHogs.size() < std::min(nHogs, nCount))
    {
        lHogs.emplace_back(true, nNiceOfHogs);
    }
    Court().judge(nKind, std::min(nCount, nAtOnce), nCount);
}

void judgeAll(unsigned int nCount, std::string const& nOnly, std::string const& nWhere)
{
    struct Row
    {
        char const* mpName;
        void (*mpJudge)(unsigned int);
    } const ROWS[] = {
        {"blocked", [](unsigned int nSome) { judgeBeside(WAITS, MAX_AT_ONCE, 0, 0, nSome); }},
        {"blocked, with naps", [](unsigned int nSome) { judgeBeside(NAPS, MAX_AT_ONCE, 0, 0, nSome); }},
        {"running", [](unsigned int nSome) { judgeBeside(RUNS, 2, 0, 0, nSome); }},
        {"starved, nice", [](unsigned int nSome) { judgeBeside(NICE, MAX_AT_ONCE, 1, -10, nSome); }},
        {"starved, idle class", [](unsigned int nSome) { judgeBeside(IDLE, MAX_AT_ONCE, 1, 0, nSome); }},
        {"starved, crowded", [](unsigned int nSome) { judgeBeside(CROWDED, MAX_AT_ONCE, MAX_AT_ONCE, 0, nSome); }},
        {"behind a starved one", [](unsigned int nSome) { judgeBeside(BEHIND, MAX_AT_ONCE, 1, 0, nSome); }},
        {"stopped", &judgePaused},
    };
    for (Row const& lRow : ROWS)
    {
        if (std::strstr(lRow.mpName, nOnly.c_str()) != nullptr)
        {
            proof::gCase = lRow.mpName;
            long long const lStartUs = test::monotonicUs();
            lRow.mpJudge(nCount);
            std::printf("%-20s %s %6u judged  %6.1f s\n", lRow.mpName, nWhere.c_str(), nCount,
                        static_cast<double>(test::monotonicUs() - lStartUs) / 1e6);
            std::fflush(stdout);
        }
    }
}

} // namespace

int main(int nCount, char** npValues)
{
    unsigned int const lCount = nCount > 1 ? static_cast<unsigned int>(std::atoi(npValues[1])) : 3;
    std::string const lOnly = nCount > 2 ? npValues[2] : "";
    test::QuietLog const lQuiet;
    proof::endHangs();
    for (bool const lHasSchedstat : {true, false})
    {
        test::Replaced const lOpen(&SystemCalls::mOpen,
                                   lHasSchedstat ? internal::gSystem.mOpen.function() : &openWithoutSchedstat);
        std::string const lWith = lHasSchedstat ? "with schedstat   " : "without schedstat";
        judgeAll(lCount, lOnly, lWith + " quiet");
        Hog const lLoad[4] = {Hog(false), Hog(false), Hog(false), Hog(false)};
        judgeAll(lCount, lOnly, lWith + " load ");
    }
    return 0;
}
