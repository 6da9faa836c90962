// The program messageThread.cpp with a worker: the message is an int, and no cleaning up is needed at the end.
#include <UtlWorker.h>

#include <cstdio>

int main()
{
    int lSum = 0; // only the worker uses it until finish() has returned
    utl::Worker lAdder(utl::WorkerOptions("adder").messages(1000));
    utl::Inbox<int> const lNumbers = lAdder.inbox<int>([&](int nNumber) { lSum += nNumber; });
    if (utl::Start const lStart = lAdder.start(); lStart != utl::Start::DONE)
    {
        std::printf("no worker: %s\n", text(lStart));
        return 1;
    }
    for (int lNumber = 1; lNumber <= 1000; ++lNumber)
    {
        while (lNumbers.post(lNumber) == utl::Post::FULL) // a full queue refuses; it never grows
        {
            utl::Thread::sleep(1);
        }
    }
    lAdder.finish(); // handles what is queued, then ends the worker
    std::printf("1 + 2 + ... + 1000 = %d\n", lSum);
    return lSum == 500500 ? 0 : 1;
}
