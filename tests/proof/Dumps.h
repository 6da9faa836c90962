/// Dumps by signal on whatever thread, while something else happens; each line is checked.
#ifndef UTL_PROOF_DUMPS_H
#define UTL_PROOF_DUMPS_H

#include "Prove.h"
#include "UtlInsideView.h"
#include "internal/base/UtlSystemCalls.h"
#include "support/Pattern.h"

#include <filesystem>

#include <signal.h>
#include <sys/syscall.h>

namespace utl::proof
{

/// Reads and checks all dumps of the process. It stays to the end, for a thread that takes the signal late.
class DumpReader
{
public:
    static DumpReader& get()
    {
        static DumpReader* const lpTheOne = new DumpReader;
        return *lpTheOne;
    }

    std::atomic<unsigned int> mCount{0}; // dumps that were read to the end

private:
    DumpReader()
    {
        PROVE_EQ(0, ::pipe2(mFds, O_CLOEXEC));
        PROVE(installDumpSignal(SIGUSR1, mFds[1]));
        std::thread([this] { read(); }).detach();
    }

    void read()
    {
        sigset_t lDump;
        ::sigemptyset(&lDump);
        ::sigaddset(&lDump, SIGUSR1);
        ::pthread_sigmask(SIG_BLOCK, &lDump, nullptr); // it has to read what the others write
        std::FILE* const lpPipe = ::fdopen(mFds[0], "r");
        char lLine[1024];
        while (std::fgets(lLine, sizeof(lLine), lpPipe) != nullptr)
        {
            check(lLine);
        }
    }

    /// Nobody waits in a circle for a second here, and all names, ids and reports are known. Times are anything: some
    /// races have a clock of their own.
    void check(std::string const& nLine)
    {
        static test::Pattern& sLine = *new test::Pattern( // for a dump that is read while the program ends
            "^(utl: threads of process [0-9]+"
            "|utl: [0-9]+ threads, ([0-9]+) passed over, [0-9]+ lines dropped"
            "|thread [0-9]+ \"[A-Za-z ]*\": (starting|running|stopping|done|the main thread|not registered)"
            "(, (message 0x[08]0000[0-9a-f]{3}|time-out of timer [0-9]{1,5}) for [0-9]{1,10} ms)?"
            "(, last report (source/Utl[A-Za-z]+|include/Utl[A-Za-z]+|[A-Za-z/._]*) [A-Za-z~()]*:[0-9]{1,4}:[0-2])?"
            "|thread [0-9]+ \"[A-Za-z ]*\": (about )?accepted ([0-9]+), delivered ([0-9]+), erased ([0-9]+), taken "
            "back ([0-9]+), waiting ([0-9]+), most [0-9]+; refused full [0-9]+, too large [0-9]+, stopped [0-9]+; "
            "orphaned [0-9]+, interrupts [0-9]+, time-outs [0-9]+, lost [0-9]+; calls [0-9]+"
            "(, the longest [0-9]{1,6} ms for 0x[0-9a-f]{8})?"
            "|thread [0-9]+ \"[A-Za-z ]*\": timers [0-9]{1,3}, [0-9]{1,3} running"
            "(, next (due in [0-9]{1,10}|overdue for [0-9]{1,10}) ms)?"
            "|thread [0-9]+ \"[A-Za-z ]*\": timer [0-9]{1,5} every [0-9]{1,7} ms, (due in|overdue for) [0-9]{1,10} ms, "
            "time-outs [0-9]{1,5}( of [0-9])?"
            "|thread [0-9]+ \"[A-Za-z ]*\": waits for (a lock|[0-9]+ \"[A-Za-z ]*\") for [0-9]{1,10} ms"
            "(, synchronous message 0x[0-9a-f]{8}|, interrupt 0x[0-9a-f]{8}|, a request to it|, its end"
            "|, a lock that it holds)?(, with a limit)?"
            "|thread [0-9]+ \"[A-Za-z ]*\": holds (the queue of [0-9]+ \"[A-Za-z ]*\"|the [a-z ]+)"
            "|circle: ([0-9]+ \"[A-Za-z ]*\" waits for )+[0-9]+ \"[A-Za-z ]*\")\n$");
        if (!sLine.finds(nLine))
        {
            std::fprintf(stderr, "a torn line: %s\n", nLine.c_str());
            fail("a whole line", 0, 0, __LINE__);
        }
        auto const lNumber = [&](unsigned int nGroup) { return sLine.number(nLine, nGroup); };
        if (lNumber(9) != -1 && lNumber(8) == -1)
        {
            PROVE_EQ(lNumber(9), lNumber(10) + lNumber(11) + lNumber(12) + lNumber(13));
        }
        mCount += lNumber(2) != -1 ? 1 : 0;
    }

    int mFds[2] = {-1, -1};
};

/// Sends the signal to one thread of the process after the other, until so many dumps have been read.
class Dumps
{
public:
    explicit Dumps(unsigned long nWanted)
        : mWanted(nWanted)
    {
        if (nWanted != 0)
        {
            DumpReader::get().mCount = 0;
            mSender = std::thread([this] { send(); });
        }
    }
    ~Dumps()
    {
        mIsToEnd = true;
        mSender.joinable() ? mSender.join() : void();
    }
    Dumps(Dumps const&) = delete;
    Dumps& operator=(Dumps const&) = delete;

    unsigned int count() const { return mWanted != 0 ? DumpReader::get().mCount.load() : 0; }
    bool isWanting() const { return count() < mWanted; }

private:
    /// One at a time: the next when the last has been read, or was lost with its thread.
    void send()
    {
        int const lOwnId = static_cast<int>(::syscall(SYS_gettid));
        while (!mIsToEnd && isWanting())
        {
            std::error_code lGone; // with a thread
            for (auto const& lThread : std::filesystem::directory_iterator("/proc/self/task", lGone))
            {
                int const lId = std::stoi(lThread.path().filename());
                unsigned int const lBefore = count();
                bool const lIsSent = lId != lOwnId && ::syscall(SYS_tgkill, ::getpid(), lId, SIGUSR1) == 0;
                for (unsigned int lTry = 0; lIsSent && count() == lBefore && lTry < 20 && !mIsToEnd; ++lTry)
                {
                    internal::pauseBriefly(); // the races shall have the processors
                }
            }
        }
    }

    unsigned long const mWanted;
    std::atomic<bool> mIsToEnd{false};
    std::thread mSender;
};

} // namespace utl::proof

#endif
