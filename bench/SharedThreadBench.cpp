// A message for one listener of a shared thread against a plain one on a thread of its own, and the views of a queue of
// 1000 messages against those of a plain thread, which stand against a bare walk over as many slots.
#include "UtlApplog.h"
#include "UtlMsgDrivenSharedThread.h"

#include "support/Ratios.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <vector>

#include <sched.h>

namespace
{

unsigned int const BATCH = 4000;
unsigned int const QUEUED = 1000;
unsigned int const DATA_SIZE = 16;
int const COUNTED = 1;
int const CALL = 2;
int const LAST = 3;
int const MISSING = 4;

/// Counts, or runs what it was given.
class Listener : public utl::ThreadMsgListener
{
public:
    void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
    {
        int lMsgId = 0;
        nRawMsg.getMsgId(&lMsgId);
        if (lMsgId == CALL)
        {
            mCall();
        }
        else
        {
            mReceived.fetch_add(1, std::memory_order_release);
        }
    }

    std::function<void()> mCall;
    std::atomic<unsigned int> mReceived{0};
};

class PlainSide
{
public:
    PlainSide()
        : mThread(DATA_SIZE, BATCH + 1, "plain", 1)
    {
        mThread.start(&mListener, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
    }
    ~PlainSide()
    {
        mThread.stop(1, 0);
        mThread.leaveManagement();
    }

    void send(int nMsgId) { mThread.postMsg(nMsgId); }
    bool has(int nMsgId) { return mThread.hasMsg(nMsgId); }
    bool erase(int nMsgId) { return mThread.eraseMsg(nMsgId); }

    Listener mListener;

private:
    utl::MsgDrivenThread mThread;
};

class SharedSide
{
public:
    SharedSide()
        : mThread(DATA_SIZE, BATCH + 1, 1, "shared", 1)
    {
        mThread.start(0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
    }
    ~SharedSide()
    {
        mThread.stop(1, 0);
        mThread.leaveManagement();
    }

    void send(int nMsgId) { mThread.postMsg(&mListener, nMsgId); }
    bool has(int nMsgId) { return mThread.hasMsg(&mListener, nMsgId); }
    bool erase(int nMsgId) { return mThread.eraseMsg(&mListener, nMsgId); }

    Listener mListener;

private:
    utl::MsgDrivenSharedThread mThread;
};

void waitFor(Listener const& nListener, unsigned int nCount)
{
    while (nListener.mReceived.load(std::memory_order_acquire) != nCount)
    {
        sched_yield();
    }
}

template <class Side>
void send(benchmark::State& nState)
{
    Side lSide;
    for (auto lIteration : nState)
    {
        (void)lIteration;
        lSide.mListener.mReceived = 0;
        for (unsigned int lIndex = 0; lIndex < BATCH; ++lIndex)
        {
            lSide.send(COUNTED);
        }
        waitFor(lSide.mListener, BATCH);
    }
    nState.counters["per_message"] =
        benchmark::Counter(BATCH, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// One look, or one erasing, on the message thread with QUEUED messages behind the one under way: none is looked for,
/// all are erased.
template <class Side, bool ERASES>
void view(benchmark::State& nState)
{
    Side lSide;
    for (auto lIteration : nState)
    {
        (void)lIteration;
        std::atomic<bool> lIsFilled{false};
        double lSeconds = 0;
        lSide.mListener.mReceived = 0;
        lSide.mListener.mCall = [&]
        {
            while (!lIsFilled)
            {
                sched_yield();
            }
            auto const lStart = std::chrono::steady_clock::now();
            benchmark::DoNotOptimize(ERASES ? lSide.erase(COUNTED) : lSide.has(MISSING));
            lSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - lStart).count();
        };
        lSide.send(CALL);
        for (unsigned int lIndex = 0; lIndex < QUEUED; ++lIndex)
        {
            lSide.send(COUNTED);
        }
        lSide.send(LAST);
        lIsFilled = true;
        waitFor(lSide.mListener, ERASES ? 1 : QUEUED + 1);
        nState.SetIterationTime(lSeconds);
    }
}

/// The floor of both: to copy each slot out of a row and to compare its id.
void walk(benchmark::State& nState)
{
    unsigned char lCopy[DATA_SIZE + 4];
    std::vector<unsigned char> const lSlots(QUEUED * sizeof(lCopy));
    for (auto lIteration : nState)
    {
        (void)lIteration;
        auto const lStart = std::chrono::steady_clock::now();
        unsigned int lFound = 0;
        for (unsigned int lIndex = 0; lIndex < QUEUED; ++lIndex)
        {
            std::memcpy(lCopy, &lSlots[lIndex * sizeof(lCopy)], sizeof(lCopy));
            benchmark::DoNotOptimize(&lCopy);
            int lMsgId = 0;
            std::memcpy(&lMsgId, lCopy, sizeof(lMsgId));
            lFound += lMsgId == MISSING ? 1U : 0U;
        }
        benchmark::DoNotOptimize(lFound);
        nState.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - lStart).count());
    }
}

void add(char const* npName, void (*npFunction)(benchmark::State&))
{
    benchmark::RegisterBenchmark(npName, npFunction)->UseManualTime()->Iterations(50)->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int nCount, char** npValues)
{
    setAllFilterLevel(1);
    benchmark::RegisterBenchmark("specifiedMsg/utl", send<SharedSide>)->UseRealTime();
    benchmark::RegisterBenchmark("specifiedMsg/floorPlain", send<PlainSide>)->UseRealTime();
    add("hasMsg/utl", view<SharedSide, false>);
    add("hasMsg/floorPlain", view<PlainSide, false>);
    add("hasMsgPlain/utl", view<PlainSide, false>);
    add("hasMsgPlain/floorWalk", walk);
    add("eraseMsg/utl", view<SharedSide, true>);
    add("eraseMsg/floorPlain", view<PlainSide, true>);
    add("eraseMsgPlain/utl", view<PlainSide, true>);
    add("eraseMsgPlain/floorWalk", walk);
    return utl::bench::runWithRatios(nCount, npValues);
}
