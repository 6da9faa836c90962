// Step 2: closures, a question with an answer, a timer, and the watchdog.
#include <UtlWorker.h>

#include <cstdio>

using namespace std::chrono_literals;

namespace
{

struct Reading
{
    int mSensor;
    double mValue;
};

struct Means
{
    double mSum = 0;
    int mCount = 0;
    int mReports = 0;
    double mean() const { return mCount != 0 ? mSum / mCount : 0; }
};

} // namespace

int main()
{
    Means lMeans;
    utl::Worker lWorker(utl::WorkerOptions("means").messages(64).timers(1).watchdog(500ms));
    utl::Inbox<Reading> const lReadings = lWorker.inbox<Reading>(
        [&](Reading const& nReading)
        {
            lMeans.mSum += nReading.mValue;
            ++lMeans.mCount;
        });
    utl::WorkerTimer const lReport = lWorker.every(20ms, [&] { ++lMeans.mReports; }); // the timer ends with this object
    if (utl::Start const lStart = lWorker.start(); lStart != utl::Start::DONE)
    {
        std::printf("no worker: %s\n", text(lStart));
        return 1;
    }
    bool lIsPosted = lReadings.post({1, 20.5}) == utl::Post::DONE;
    lIsPosted = lWorker.post([&] { lMeans.mSum += 1; }) == utl::Post::DONE && lIsPosted;
    utl::Answer<double> const lMean = lWorker.call(10s, [&] { return lMeans.mean(); });
    if (!lMean)
    {
        std::printf("no answer: %s\n", text(lMean.outcome()));
        return 1;
    }
    std::printf("mean %f\n", *lMean);
    return lIsPosted && *lMean == 21.5 ? 0 : 1;
}
