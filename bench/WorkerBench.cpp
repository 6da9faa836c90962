// From post to handler: a worker's inbox and closures, compared with a hand-written message class on a message thread.
//
// A thread posts a burst to itself and handles it, so that the figures include no wake-up and no other thread.
#include "UtlWorker.h"

#include "support/Ratios.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<unsigned long> gAllocations{0};

} // namespace

void* operator new(std::size_t nSize)
{
    ++gAllocations;
    void* const lpBlock = std::malloc(nSize);
    return lpBlock != nullptr ? lpBlock : throw std::bad_alloc();
}
void operator delete(void* npBlock) noexcept
{
    std::free(npBlock);
}
void operator delete(void* npBlock, std::size_t) noexcept
{
    std::free(npBlock);
}

namespace
{

unsigned int const BURST = 1000;

struct Reading
{
    int mSensor;
    double mValue;
};

/// Runs on the measured thread: begins with a burst and ends with its last message.
class Round
{
public:
    template <class Post>
    void run(Post nPost)
    {
        mLeft = BURST;
        mAllocations = gAllocations;
        mBegin = std::chrono::steady_clock::now();
        for (unsigned int lIndex = 0; lIndex < BURST; ++lIndex)
        {
            nPost(Reading{static_cast<int>(lIndex), 0.5});
        }
    }

    void take(int nSensor, double nValue)
    {
        mSum += nValue + nSensor;
        if (--mLeft == 0)
        {
            mSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - mBegin).count();
            mAllocations = gAllocations - mAllocations;
            mOverEvent.setOn();
        }
    }

    double wait()
    {
        mOverEvent.waitToOn(0);
        mOverEvent.setOff();
        return mSeconds;
    }
    unsigned long allocations() const { return mAllocations; }

private:
    unsigned int mLeft = 0;
    unsigned long mAllocations = 0;
    double mSum = 0;
    double mSeconds = 0;
    std::chrono::steady_clock::time_point mBegin;
    utl::Event mOverEvent{0, 0};
};

class ReadingMsg : public utl::Msg
{
public:
    static int const ID = 1;

    explicit ReadingMsg(Reading const& nReading = Reading())
        : Msg(ID),
          mReading(nReading)
    {
    }
    void storeDataTo(utl::MsgDataBroker* npBroker) const override
    {
        npBroker->set(mReading.mSensor);
        npBroker->set(mReading.mValue);
    }
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override
    {
        nBroker.get(&mReading.mSensor);
        nBroker.get(&mReading.mValue);
    }

    Reading mReading;
};

class ByHand : public utl::ThreadMsgListener
{
public:
    ByHand()
        : mThread(64, BURST + 8, "bench", 0)
    {
        mThread.start(this, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
    }
    ~ByHand() override
    {
        mThread.stop(1, 0);
        mThread.leaveManagement();
    }

    void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
    {
        int lMsgId = 0;
        nRawMsg.getMsgId(&lMsgId);
        if (lMsgId == GO)
        {
            mRound.run([this](Reading const& nReading) { mThread.postMsg(ReadingMsg(nReading)); });
        }
        else if (lMsgId == ReadingMsg::ID)
        {
            ReadingMsg lMsg;
            lMsg.restoreFrom(nRawMsg);
            mRound.take(lMsg.mReading.mSensor, lMsg.mReading.mValue);
        }
    }

    void go() { mThread.postMsg(GO); }

    Round mRound;

private:
    static constexpr int GO = 2;

    utl::MsgDrivenThread mThread;
};

template <bool IS_CLOSURE>
class ByWorker
{
public:
    ByWorker()
        : mReadings(mWorker.inbox<Reading>([this](Reading const& nReading)
                                           { mRound.take(nReading.mSensor, nReading.mValue); }))
    {
        if (mWorker.start() != utl::Start::DONE)
        {
            std::abort();
        }
    }

    void go()
    {
        (void)mWorker.post(
            [this]
            {
                mRound.run(
                    [this](Reading const& nReading)
                    {
                        if constexpr (IS_CLOSURE)
                        {
                            (void)mWorker.post([this, nReading] { mRound.take(nReading.mSensor, nReading.mValue); });
                        }
                        else
                        {
                            (void)mReadings.post(nReading);
                        }
                    });
            });
    }

    Round mRound;

private:
    utl::Worker mWorker{utl::WorkerOptions("bench").messages(BURST + 8)};
    utl::Inbox<Reading> mReadings;
};

template <class Side>
void burst(benchmark::State& nState)
{
    Side lSide;
    unsigned long lAllocations = 0;
    for (auto lIteration : nState)
    {
        (void)lIteration;
        lSide.go();
        nState.SetIterationTime(lSide.mRound.wait());
        lAllocations += lSide.mRound.allocations();
    }
    nState.counters["per_message"] =
        benchmark::Counter(BURST, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    nState.counters["allocations"] = static_cast<double>(lAllocations);
}

} // namespace

int main(int nCount, char** npValues)
{
    benchmark::RegisterBenchmark("inbox/utl", burst<ByWorker<false>>)->UseManualTime();
    benchmark::RegisterBenchmark("inbox/floorByHand", burst<ByHand>)->UseManualTime();
    benchmark::RegisterBenchmark("closure/utl", burst<ByWorker<true>>)->UseManualTime();
    benchmark::RegisterBenchmark("closure/floorByHand", burst<ByHand>)->UseManualTime();
    return utl::bench::runWithRatios(nCount, npValues);
}
