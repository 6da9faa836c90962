// Step 3: a service. It logs, is supervised, and ends in order on SIGTERM, which systemd sends.
#include <Utl.h>
#include <UtlWorker.h>

#include <csignal>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr int LOG_TYPE = 1; // negative numbers are for the library

/// Called on the watchdog's thread when a worker no longer reports; lives as long as the process.
class Alarm : public utl::WatchdogTimerListener
{
public:
    void onTime(int nId, utl::WatchdogInfoMap const&) override
    {
        applog(LOG_TYPE, utl::LOG_LEVEL_ERROR, "thread %d hangs: no more signs of life to systemd from here on", nId);
    }
};

/// The state, its worker and its timer, in this order: they are destroyed in reverse.
class Service
{
public:
    explicit Service(Alarm& nAlarm)
        : mWorker(utl::WorkerOptions("service").timers(2).watchdog(2s, &nAlarm)),
          mBeat(mWorker.every(10ms, [this] { ++mBeats; })),
          mEnd(mWorker.after(100ms, [] { ::kill(::getpid(), SIGTERM); })) // systemd would do this
    {
    }

    utl::Start start() { return mWorker.start(); }
    utl::Answer<int> beats()
    {
        return mWorker.call(1s, [this] { return mBeats; });
    }
    void finish() { mWorker.finish(); }

private:
    int mBeats = 0;
    utl::Worker mWorker;
    utl::WorkerTimer mBeat;
    utl::WorkerTimer mEnd;
};

} // namespace

int main()
{
    // 1. Signals, before any thread starts: all threads inherit the blocked signal, and main() waits for it.
    sigset_t lStops;
    sigemptyset(&lStops);
    sigaddset(&lStops, SIGTERM);
    sigaddset(&lStops, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &lStops, nullptr);
    // 2. The log, and the registry with room for our threads.
    openApplog();
    registerLogType(LOG_TYPE, "<SERVICE> ", utl::LOG_LEVEL_INFO);
    utl::ThreadManager::initializeEntryMax(16);
    // 3. Workers.
    static Alarm sAlarm;
    int lResult = 0;
    {
        Service lService(sAlarm);
        if (utl::Start const lStart = lService.start(); lStart != utl::Start::DONE)
        {
            applog(LOG_TYPE, utl::LOG_LEVEL_ERROR, "no worker: %s", text(lStart));
            return 1;
        }
        applog(LOG_TYPE, utl::LOG_LEVEL_INFO, "ready");
        int lSignal = 0;
        ::sigwait(&lStops, &lSignal);
        // 4. The end, in reverse order: producers before consumers, then the registry with its watchdog.
        utl::Answer<int> const lBeats = lService.beats();
        lResult = lBeats && *lBeats > 0 ? 0 : 1;
        lService.finish();
        applog(LOG_TYPE, utl::LOG_LEVEL_INFO, "signal %d, %d beats", lSignal, lBeats ? *lBeats : -1);
    }
    utl::ThreadManager::destroy();
    return lResult;
}
