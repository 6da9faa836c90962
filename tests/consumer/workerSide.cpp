// One of two shared libraries that each have a worker of their own and hide their symbols. SIDE: its name.
#include <UtlWorker.h>

using namespace std::chrono_literals;

struct SIDE
{
    __attribute__((visibility("default"))) static int count(int nNumber);
    __attribute__((visibility("default"))) static utl::Call callBack(utl::Call (*npCall)());
};

namespace
{

// Each library has a type of this name, of its own size.
struct Item
{
    int mNumbers[sizeof(SIDE_TEXT)];
};

struct Counter
{
    Counter()
        : mItems(mWorker.inbox<Item>([this](Item const& nItem) { mSum += nItem.mNumbers[sizeof(SIDE_TEXT) - 1]; }))
    {
        mStart = mWorker.start();
    }

    int mSum = 0;
    utl::Worker mWorker{utl::WorkerOptions(SIDE_TEXT)};
    utl::Inbox<Item> mItems;
    utl::Start mStart = utl::Start::REFUSED;
};

Counter& counter()
{
    static Counter lCounter;
    return lCounter;
}

} // namespace

int SIDE::count(int nNumber)
{
    Item lItem{};
    lItem.mNumbers[sizeof(SIDE_TEXT) - 1] = nNumber;
    utl::Answer<int> lSum;
    if (counter().mItems.post(lItem) == utl::Post::DONE)
    {
        lSum = counter().mWorker.call(10s, [] { return counter().mSum; });
    }
    return lSum ? *lSum : -1;
}

/// On the worker calls the function, which calls another worker.
utl::Call SIDE::callBack(utl::Call (*npCall)())
{
    utl::Answer<utl::Call> const lAnswer = counter().mWorker.call(10s, npCall);
    return lAnswer ? *lAnswer : lAnswer.outcome();
}
