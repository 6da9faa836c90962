// What messageThread.cpp does, with a worker: the message is an int, and nothing has to be called at the end.
#include <UtlWorker.h>

#include <cstdio>

int main()
{
    int lSum = 0; // the worker's alone until it has finished
    utl::Worker lAdder(utl::WorkerOptions("adder").messages(1000));
    utl::Inbox<int> const lNumbers = lAdder.inbox<int>([&](int nNumber) { lSum += nNumber; });
    if (utl::Start const lStart = lAdder.start(); lStart != utl::Start::DONE)
    {
        std::printf("no worker: %s\n", text(lStart));
        return 1;
    }
    for (int lNumber = 1; lNumber <= 1000; ++lNumber)
    {
        while (lNumbers.post(lNumber) == utl::Post::FULL) // a full queue refuses, it never grows
        {
            utl::Thread::sleep(1);
        }
    }
    lAdder.finish(); // behind all that is queued
    std::printf("1 + 2 + ... + 1000 = %d\n", lSum);
    return lSum == 500500 ? 0 : 1;
}
