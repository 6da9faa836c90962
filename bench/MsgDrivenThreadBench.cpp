// Sending a message, compared with a bare pipe that carries one 8-byte record per message, unpinned and on one
// processor.
#include "UtlApplog.h"
#include "UtlMsgDrivenThread.h"

#include "support/Ratios.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sched.h>
#include <unistd.h>

namespace
{

unsigned int const BATCH = 4000;
unsigned int const OUTSTANDING = 1000; // messages sent and not yet heard, at most
unsigned int const BURST = 1000;

/// Calls of write() by this process so far, by the kernel's account; 0 if it keeps none.
unsigned long writeCount()
{
    std::ifstream lAccount("/proc/self/io");
    std::string lName;
    unsigned long lValue = 0;
    while (lAccount >> lName >> lValue)
    {
        if (lName == "syscw:")
        {
            return lValue;
        }
    }
    return 0;
}

/// Counts what has arrived and wakes who waits for the last.
class Arrivals
{
public:
    void expect(unsigned int nCount)
    {
        mLeft.store(nCount);
        mIsDone = false;
    }

    void add(unsigned int nCount)
    {
        if (mLeft.fetch_sub(nCount) == nCount)
        {
            std::lock_guard<std::mutex> lGuard(mMutex);
            mIsDone = true;
            mCondition.notify_all();
        }
    }

    void wait()
    {
        std::unique_lock<std::mutex> lLock(mMutex);
        mCondition.wait(lLock, [this] { return mIsDone; });
    }

    /// Before the nIndex-th message is sent.
    void waitForRoom(unsigned int nIndex)
    {
        while (nIndex > OUTSTANDING && mLeft.load(std::memory_order_relaxed) + nIndex > BATCH + OUTSTANDING)
        {
            sched_yield();
        }
    }

private:
    std::atomic<unsigned int> mLeft{0};
    bool mIsDone = false;
    std::mutex mMutex;
    std::condition_variable mCondition;
};

/// Both sides of a comparison look the same to the benchmarks: send() a message, wait for arrivals, hold the reader.
class UtlSide : public utl::ThreadMsgListener
{
public:
    explicit UtlSide(unsigned int nMaxMsgSize = 16, unsigned int nMaxMsgCount = BATCH * 2)
        : mThread(nMaxMsgSize, nMaxMsgCount, "bench", 1)
    {
        mThread.start(this, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
    }
    ~UtlSide() override
    {
        mThread.stop(1, 0);
        mThread.leaveManagement();
    }

    void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
    {
        int lMsgId = 0;
        nRawMsg.getMsgId(&lMsgId);
        if (lMsgId == HOLD)
        {
            std::lock_guard<std::mutex> lEntered(mHeld);
            mIsHeld = true;
            std::lock_guard<std::mutex> lHold(mHold);
        }
        else if (lMsgId == COUNTED)
        {
            mArrivals.add(1);
        }
    }

    void send() { mThread.postMsg(COUNTED); }
    void roundTrip() { mThread.sendMsgSync(OTHER); }

    void hold()
    {
        mHold.lock();
        mIsHeld = false;
        mThread.postMsg(HOLD);
        while (!mIsHeld)
        {
            sched_yield();
        }
    }
    void release() { mHold.unlock(); }

    Arrivals mArrivals;

    static constexpr int COUNTED = 1;
    static constexpr int HOLD = 2;
    static constexpr int OTHER = 3;

private:
    std::mutex mHold;
    std::mutex mHeld;
    std::atomic<bool> mIsHeld{false};

public:
    utl::MsgDrivenThread mThread;
};

/// Without the listener's times, for which a clock is read at each message.
class UntimedSide : public UtlSide
{
public:
    UntimedSide() { mThread.setCallClock(utl::CallClock::NONE); }
};

template <unsigned int READ_SIZE>
class PipeSide
{
public:
    PipeSide()
    {
        if (::pipe(mRequest) != 0 || ::pipe(mAnswer) != 0)
        {
            std::abort();
        }
        mThread = std::thread([this] { run(); });
    }
    ~PipeSide()
    {
        ::close(mRequest[1]);
        mThread.join();
        ::close(mRequest[0]);
        ::close(mAnswer[0]);
        ::close(mAnswer[1]);
    }

    void send() { write(mRequest[1], COUNTED); }

    void roundTrip()
    {
        write(mRequest[1], ANSWERED);
        char lRecord[8];
        if (::read(mAnswer[0], lRecord, sizeof(lRecord)) != sizeof(lRecord))
        {
            std::abort();
        }
    }

    void hold()
    {
        mHold.lock();
        mIsHeld = false;
        write(mRequest[1], HOLD);
        while (!mIsHeld)
        {
            sched_yield();
        }
    }
    void release() { mHold.unlock(); }

    Arrivals mArrivals;

private:
    static constexpr int COUNTED = 1;
    static constexpr int HOLD = 2;
    static constexpr int ANSWERED = 3;

    static void write(int nFd, int nKind)
    {
        int const lRecord[2] = {nKind, 0};
        if (::write(nFd, lRecord, sizeof(lRecord)) != sizeof(lRecord))
        {
            std::abort();
        }
    }

    void run()
    {
        int lRecords[READ_SIZE / sizeof(int)];
        for (;;)
        {
            ssize_t const lRead = ::read(mRequest[0], lRecords, sizeof(lRecords));
            if (lRead <= 0)
            {
                return;
            }
            for (std::size_t lAt = 0; lAt < static_cast<std::size_t>(lRead) / sizeof(int); lAt += 2)
            {
                handle(lRecords[lAt]);
            }
        }
    }

    void handle(int nKind)
    {
        if (nKind == COUNTED)
        {
            mArrivals.add(1);
        }
        else if (nKind == ANSWERED)
        {
            write(mAnswer[1], ANSWERED);
        }
        else
        {
            mIsHeld = true;
            std::lock_guard<std::mutex> lHold(mHold);
        }
    }

    int mRequest[2];
    int mAnswer[2];
    std::mutex mHold;
    std::atomic<bool> mIsHeld{false};
    std::thread mThread;
};

/// Shows the time for each of nCount messages of an iteration.
void tellPerMessage(benchmark::State& nState, unsigned int nCount)
{
    nState.counters["per_message"] =
        benchmark::Counter(nCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Side>
void sendAll(Side& nSide, unsigned int nCount)
{
    for (unsigned int lIndex = 0; lIndex < nCount; ++lIndex)
    {
        nSide.send();
    }
}

/// Sends once for each round that begins, until all is over.
template <class Send>
void helpToSend(std::atomic<unsigned int> const& nRound, std::atomic<bool> const& nIsOver, Send const& nSend)
{
    unsigned int lSeen = 0;
    while (!nIsOver)
    {
        if (nRound == lSeen)
        {
            sched_yield();
            continue;
        }
        ++lSeen;
        nSend();
    }
}

template <class Side, unsigned int PRODUCERS>
void produce(benchmark::State& nState)
{
    Side lSide;
    std::atomic<unsigned int> lRound{0};
    std::atomic<bool> lIsOver{false};
    auto const lSend = [&]
    {
        for (unsigned int lIndex = 0; lIndex < BATCH / PRODUCERS; ++lIndex)
        {
            lSide.mArrivals.waitForRoom(lIndex * PRODUCERS);
            lSide.send();
        }
    };
    std::vector<std::thread> lHelpers;
    for (unsigned int lHelper = 1; lHelper < PRODUCERS; ++lHelper)
    {
        lHelpers.emplace_back([&] { helpToSend(lRound, lIsOver, lSend); });
    }
    for (auto lIteration : nState)
    {
        (void)lIteration;
        lSide.mArrivals.expect(BATCH);
        ++lRound;
        lSend();
        lSide.mArrivals.wait();
    }
    lIsOver = true;
    for (std::thread& lHelper : lHelpers)
    {
        lHelper.join();
    }
    tellPerMessage(nState, BATCH);
}

template <class Side>
void roundTrip(benchmark::State& nState)
{
    Side lSide;
    for (auto lIteration : nState)
    {
        (void)lIteration;
        lSide.roundTrip();
    }
}

/// A burst to a reader that is held, as the sender pays for it.
template <class Side>
void postHeld(benchmark::State& nState)
{
    Side lSide;
    for (auto lIteration : nState)
    {
        (void)lIteration;
        nState.PauseTiming();
        lSide.mArrivals.expect(BURST);
        lSide.hold();
        nState.ResumeTiming();
        sendAll(lSide, BURST);
        nState.PauseTiming();
        lSide.release();
        lSide.mArrivals.wait();
        nState.ResumeTiming();
    }
    tellPerMessage(nState, BURST);
}

/// From the release of the reader to the arrival of the last of a burst.
template <class Side>
void drain(benchmark::State& nState)
{
    Side lSide;
    for (auto lIteration : nState)
    {
        (void)lIteration;
        nState.PauseTiming();
        lSide.mArrivals.expect(BURST);
        lSide.hold();
        sendAll(lSide, BURST);
        nState.ResumeTiming();
        lSide.release();
        lSide.mArrivals.wait();
    }
    tellPerMessage(nState, BURST);
}

/// What the listener itself does with a burst, to be taken off.
void listenerAlone(benchmark::State& nState)
{
    UtlSide lSide;
    utl::ThreadRawMsg lRawMsg(20);
    lRawMsg.setMsgId(UtlSide::COUNTED);
    for (auto lIteration : nState)
    {
        (void)lIteration;
        lSide.mArrivals.expect(BURST + 1); // so that nobody is woken
        for (unsigned int lIndex = 0; lIndex < BURST; ++lIndex)
        {
            static_cast<utl::ThreadMsgListener&>(lSide).receiveMsg(0, lRawMsg);
        }
    }
    tellPerMessage(nState, BURST);
}

/// One batch by one producer, until the last message has been heard.
void flood(UtlSide& nSide)
{
    nSide.mArrivals.expect(BATCH);
    for (unsigned int lIndex = 0; lIndex < BATCH; ++lIndex)
    {
        nSide.mArrivals.waitForRoom(lIndex);
        nSide.send();
    }
    nSide.mArrivals.wait();
}

/// One producer while a timer is armed that never expires: what the look at the clock costs.
void floodBesideTimer(benchmark::State& nState)
{
    UtlSide lSide;
    lSide.mThread.setTimer(3600000, 0, 0, 0);
    for (auto lIteration : nState)
    {
        (void)lIteration;
        flood(lSide);
    }
    tellPerMessage(nState, BATCH);
}

/// A post behind nState.range(0) messages that wait.
void postBehind(benchmark::State& nState)
{
    unsigned int const lWaiting = static_cast<unsigned int>(nState.range(0));
    UtlSide lSide(16, lWaiting + BURST);
    for (auto lIteration : nState)
    {
        (void)lIteration;
        nState.PauseTiming();
        lSide.mArrivals.expect(lWaiting + BURST);
        lSide.hold();
        sendAll(lSide, lWaiting);
        nState.ResumeTiming();
        sendAll(lSide, BURST);
        nState.PauseTiming();
        lSide.release();
        lSide.mArrivals.wait();
        nState.ResumeTiming();
    }
    tellPerMessage(nState, BURST);
}

/// Every second of 20,000 messages of 256 bytes is erased, as the message thread pays for it with the queue locked.
void eraseEverySecond(benchmark::State& nState)
{
    static constexpr unsigned int COUNT = 20000;
    struct Eraser : utl::ThreadMsgListener
    {
        void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
        {
            int lMsgId = 0;
            nRawMsg.getMsgId(&lMsgId);
            if (lMsgId != UtlSide::HOLD)
            {
                return;
            }
            for (unsigned int lIndex = 0; lIndex < COUNT; ++lIndex)
            {
                mpThread->postMsg(UtlSide::COUNTED + static_cast<int>(2 * (lIndex % 2)));
            }
            auto const lFrom = std::chrono::steady_clock::now();
            mpThread->eraseMsg(UtlSide::COUNTED);
            mSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - lFrom).count();
        }
        utl::MsgDrivenThread* mpThread = nullptr;
        double mSeconds = 0;
    } lEraser;
    utl::MsgDrivenThread lThread(256, COUNT + 2, "eraser", 0);
    lEraser.mpThread = &lThread;
    lThread.start(&lEraser, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
    for (auto lIteration : nState)
    {
        (void)lIteration;
        lThread.sendMsgSync(UtlSide::HOLD);
        nState.SetIterationTime(lEraser.mSeconds);
        while (!lThread.sendMsgSync(UtlSide::OTHER))
        {
            sched_yield();
        }
    }
    lThread.stop(1, 0);
    lThread.leaveManagement();
}

using Pipe8 = PipeSide<8>;

/// Runs a benchmark, and all threads that it makes, on one processor.
template <void (*FUNCTION)(benchmark::State&)>
void pinned(benchmark::State& nState)
{
    cpu_set_t lBefore;
    sched_getaffinity(0, sizeof(lBefore), &lBefore);
    cpu_set_t lOne;
    CPU_ZERO(&lOne);
    CPU_SET(0, &lOne);
    sched_setaffinity(0, sizeof(lOne), &lOne);
    FUNCTION(nState);
    sched_setaffinity(0, sizeof(lBefore), &lBefore);
}

template <void (*FUNCTION)(benchmark::State&)>
void add(char const* npGroup, char const* npSide)
{
    std::string const lGroup(npGroup);
    benchmark::RegisterBenchmark((lGroup + "/" + npSide).c_str(), FUNCTION)->UseRealTime();
    benchmark::RegisterBenchmark((lGroup + "OneCpu/" + npSide).c_str(), pinned<FUNCTION>)->UseRealTime();
}

void addAll()
{
    add<produce<UtlSide, 1>>("oneProducer", "utl");
    add<produce<Pipe8, 1>>("oneProducer", "floor8");
    add<produce<UtlSide, 4>>("fourProducers", "utl");
    add<produce<Pipe8, 4>>("fourProducers", "floor8");
    add<postHeld<UtlSide>>("postHeld", "utl");
    add<postHeld<Pipe8>>("postHeld", "floor8");
    add<roundTrip<UtlSide>>("roundTrip", "utl");
    add<roundTrip<Pipe8>>("roundTrip", "floor8");
    add<drain<UtlSide>>("heldBurst", "utl");
    add<drain<Pipe8>>("heldBurst", "floor8");
    add<drain<UntimedSide>>("heldBurstUntimed", "utl");
    add<listenerAlone>("listenerAlone", "utl");
    add<floodBesideTimer>("floodBesideTimer", "utl");
    benchmark::RegisterBenchmark("postBehind/utl", postBehind)->Arg(8)->Arg(64)->Arg(1000)->Arg(20000)->UseRealTime();
    benchmark::RegisterBenchmark("eraseEverySecond/utl", eraseEverySecond)->UseManualTime();
}

/// Figures that are no ratios.
void printMore(utl::bench::RatioReporter const& nReporter)
{
    for (std::string const lCpu : {"", "OneCpu"})
    {
        double const lBurst = nReporter.medianOf("heldBurst" + lCpu + "/utl");
        double const lUntimed = nReporter.medianOf("heldBurstUntimed" + lCpu + "/utl");
        double const lListener = nReporter.medianOf("listenerAlone" + lCpu + "/utl");
        double const lFlood = nReporter.medianOf("oneProducer" + lCpu + "/utl");
        double const lFloodBeside = nReporter.medianOf("floodBesideTimer" + lCpu + "/utl");
        std::printf("%s\n", lCpu.empty() ? "unpinned" : "on one processor");
        if (lBurst > 0 && lListener > 0) // unless a filter has left one out
        {
            std::printf("  held burst, net of the listener   %6.1f ns a message\n", (lBurst - lListener) / BURST);
            std::printf("  the same without its times        %6.1f ns a message\n", (lUntimed - lListener) / BURST);
        }
        if (lFlood > 0 && lFloodBeside > 0)
        {
            std::printf("  a flood pays an armed timer with  %6.1f ns a message\n", (lFloodBeside - lFlood) / BATCH);
        }
    }
}

/// Writes to the pipe during a flood by one producer.
void printWrites()
{
    UtlSide lSide;
    unsigned long const lBefore = writeCount();
    unsigned int const ROUNDS = 50;
    for (unsigned int lRound = 0; lRound < ROUNDS; ++lRound)
    {
        flood(lSide);
    }
    std::printf("writes a message, one producer      %8.4f\n",
                static_cast<double>(writeCount() - lBefore) / (static_cast<double>(ROUNDS) * BATCH));
}

} // namespace

int main(int nCount, char** npValues)
{
    setAllFilterLevel(1);
    addAll();
    int const lResult = utl::bench::runWithRatios(nCount, npValues, printMore);
    printWrites();
    return lResult;
}
