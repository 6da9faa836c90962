/// Reads a text and posts it line by line: what happens on the main thread.
#ifndef DEMO_READER_H
#define DEMO_READER_H

#include "DemoMsg.h"
#include "Interruption.h"
#include "LineSource.h"

#include <UtlMsgDrivenThread.h>

namespace demo
{

/// The reader's own account of the text; the collector's totals must agree with it.
struct Account
{
    unsigned long long mLines = 0;
    unsigned long long mBytes = 0;
    unsigned int mChecksum = EMPTY_CHECKSUM;
    unsigned long long mRefusals = 0; // posts that found the worker's queue full
    ReadResult mResult = READ_END;
};

/// Posts every line to the worker. If its queue is full, waits for room: no line is lost.
class Reader
{
public:
    /// All outlive this object.
    Reader(LineSource& nSource, Interruption const& nInterruption, utl::MsgDrivenThread& nWorker,
           utl::MsgDrivenThread& nCollector);

    /// Reads to the end, or as far as it goes. Result: the account of every line that was posted.
    Account run();

private:
    LineSource& mSource;
    Interruption const& mInterruption;
    utl::MsgDrivenThread& mWorker;
    utl::MsgDrivenThread& mCollector;
    LineMsg mLine;
};

} // namespace demo

#endif
