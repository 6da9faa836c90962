// Step 1: a worker, and a message that is any plain struct.
#include <UtlWorker.h>

#include <cstdio>

namespace
{

struct Reading
{
    int mSensor;
    double mValue;
};

} // namespace

int main()
{
    double lSum = 0; // the worker's own: declared before it, so that it is there for as long as the worker is
    int lCount = 0;
    utl::Worker lMeans(utl::WorkerOptions("means").messages(64));
    utl::Inbox<Reading> const lReadings = lMeans.inbox<Reading>(
        [&](Reading const& nReading)
        {
            lSum += nReading.mValue;
            ++lCount;
        });
    if (utl::Start const lStart = lMeans.start(); lStart != utl::Start::DONE)
    {
        std::printf("no worker: %s\n", text(lStart));
        return 1;
    }
    for (int lSensor = 0; lSensor < 10; ++lSensor)
    {
        if (utl::Post const lPost = lReadings.post({lSensor, 20.0 + lSensor}); lPost != utl::Post::DONE)
        {
            std::printf("reading lost: %s\n", text(lPost)); // a full queue refuses, it never grows
        }
    }
    lMeans.finish(); // after what is queued; the destructor alone would drop what waits
    std::printf("mean of %d: %f\n", lCount, lSum / lCount);
    return lCount == 10 ? 0 : 1;
}
