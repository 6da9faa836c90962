// The road of a message against a bare pipe that carries one 8-byte record a message.
#include "UtlApplog.h"
#include "UtlMsgDrivenThread.h"

#include "support/Ratios.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <sched.h>
#include <unistd.h>

namespace
{

unsigned int const BATCH = 4000;
unsigned int const BURST = 1000;

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
    UtlSide()
        : mThread(16, BATCH * 2, "bench", 1)
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

private:
    static constexpr int COUNTED = 1;
    static constexpr int HOLD = 2;
    static constexpr int OTHER = 3;

    std::mutex mHold;
    std::mutex mHeld;
    std::atomic<bool> mIsHeld{false};
    utl::MsgDrivenThread mThread;
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
            lSide.send();
        }
    };
    std::vector<std::thread> lHelpers;
    for (unsigned int lHelper = 1; lHelper < PRODUCERS; ++lHelper)
    {
        lHelpers.emplace_back(
            [&]
            {
                unsigned int lSeen = 0;
                while (!lIsOver)
                {
                    if (lRound == lSeen)
                    {
                        sched_yield();
                        continue;
                    }
                    ++lSeen;
                    lSend();
                }
            });
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
    nState.counters["per_message"] =
        benchmark::Counter(BATCH, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Side, bool IS_PINNED>
void roundTrip(benchmark::State& nState)
{
    cpu_set_t lBefore;
    sched_getaffinity(0, sizeof(lBefore), &lBefore);
    if (IS_PINNED)
    {
        cpu_set_t lOne;
        CPU_ZERO(&lOne);
        CPU_SET(0, &lOne);
        sched_setaffinity(0, sizeof(lOne), &lOne); // the reader inherits it
    }
    {
        Side lSide;
        for (auto lIteration : nState)
        {
            (void)lIteration;
            lSide.roundTrip();
        }
    }
    sched_setaffinity(0, sizeof(lBefore), &lBefore);
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
        for (unsigned int lIndex = 0; lIndex < BURST; ++lIndex)
        {
            lSide.send();
        }
        nState.ResumeTiming();
        lSide.release();
        lSide.mArrivals.wait();
    }
    nState.counters["per_message"] =
        benchmark::Counter(BURST, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

using Pipe8 = PipeSide<8>;
using Pipe4096 = PipeSide<4096>;

void add(char const* npName, void (*npFunction)(benchmark::State&))
{
    benchmark::RegisterBenchmark(npName, npFunction)->UseRealTime();
}

void addAll()
{
    add("oneProducer/utl", produce<UtlSide, 1>);
    add("oneProducer/floor8", produce<Pipe8, 1>);
    add("oneProducer/floor4096", produce<Pipe4096, 1>);
    add("fourProducers/utl", produce<UtlSide, 4>);
    add("fourProducers/floor8", produce<Pipe8, 4>);
    add("fourProducers/floor4096", produce<Pipe4096, 4>);
    add("roundTrip/utl", roundTrip<UtlSide, false>);
    add("roundTrip/floor8", roundTrip<Pipe8, false>);
    add("roundTrip/floor4096", roundTrip<Pipe4096, false>);
    add("roundTripOneCpu/utl", roundTrip<UtlSide, true>);
    add("roundTripOneCpu/floor8", roundTrip<Pipe8, true>);
    add("roundTripOneCpu/floor4096", roundTrip<Pipe4096, true>);
    add("heldBurst/utl", drain<UtlSide>);
    add("heldBurst/floor8", drain<Pipe8>);
    add("heldBurst/floor4096", drain<Pipe4096>);
}

} // namespace

int main(int nCount, char** npValues)
{
    setAllFilterLevel(1);
    addAll();
    return utl::bench::runWithRatios(nCount, npValues);
}
