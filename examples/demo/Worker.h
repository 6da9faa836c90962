/// Counts and measures lines: what happens on the thread "Worker".
#ifndef DEMO_WORKER_H
#define DEMO_WORKER_H

#include "DemoMsg.h"

#include <UtlMsgDrivenThread.h>

namespace demo
{

/// The trouble that a thread can have.
enum class Trouble
{
    NONE,
    HANGS,  ///< it waits
    STARVES ///< it is ready, but others have the processor
};

/// Measures each LineMsg and posts a FindingMsg to the collector.
///
/// Threads: its own message thread alone calls it, so its data needs no lock.
class WorkerListener : public utl::ThreadMsgListener
{
public:
    static constexpr unsigned int STALL_MS = 2000;

    /// nCollector:      where findings go; outlives this object.
    /// nIsPassingLines: the lines themselves go there, too.
    /// nTrouble:        on the first line, for STALL_MS, for the watchdog to see.
    WorkerListener(utl::MsgDrivenThread& nCollector, bool nIsPassingLines, Trouble nTrouble);

    void receiveMsg(int nThreadId, utl::ThreadRawMsg& nRawMsg) override;

    /// How often the collector's queue was full. For other threads once the worker has answered MSG_ID_ALL_READ: it
    /// rests then, and the answer makes visible what it wrote.
    unsigned long long refusals() const { return mRefusals; }

private:
    void begin();
    void measure(LineMsg const& nLine);
    static void suffer(Trouble nTrouble);

    utl::MsgDrivenThread& mCollector;
    bool const mIsPassingLines;
    Trouble const mTrouble;
    LineMsg mLine; // a member only because 4 kilobytes are much for the stack of a thread
    unsigned int mChecksum = EMPTY_CHECKSUM;
    unsigned long long mRefusals = 0;
};

/// Counts what a line holds; mChecksum stays as it is.
Finding findingOf(LineMsg const& nLine);

} // namespace demo

#endif
