// Step 1: a worker, and a plain struct as the message.
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
    double lSum = 0; // only the worker uses it; declared before the worker, so that it outlives it
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
            std::printf("reading lost: %s\n", text(lPost)); // a full queue refuses; it never grows
        }
    }
    lMeans.finish(); // handles what is queued; the destructor alone would drop it
    std::printf("mean of %d: %f\n", lCount, lSum / lCount);
    return lCount == 10 ? 0 : 1;
}
