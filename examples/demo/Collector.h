/// Adds up what the worker found: what happens on the thread "Collector".
#ifndef DEMO_COLLECTOR_H
#define DEMO_COLLECTOR_H

#include "DemoMsg.h"

#include <UtlThreadMsgListener.h>

namespace demo
{

/// Keeps the totals of a text, shows progress and answers ReportMsg.
///
/// Threads: its own message thread alone calls it, so its data needs no lock.
class CollectorListener : public utl::ThreadMsgListener
{
public:
    void receiveMsg(int nThreadId, utl::ThreadRawMsg& nRawMsg) override;

private:
    void add(Finding const& nFinding);
    void showProgress() const;

    Totals mTotals;
};

} // namespace demo

#endif
