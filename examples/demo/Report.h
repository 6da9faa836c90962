/// The summary at the end.
#ifndef DEMO_REPORT_H
#define DEMO_REPORT_H

#include "Reader.h"

namespace demo
{

// Exit codes. A signal gives 128 and its number, as a shell does.
constexpr int EXIT_DONE = 0;
constexpr int EXIT_INPUT = 1;   ///< The text could not be read, or not to its end.
constexpr int EXIT_USAGE = 2;   ///< Wrong arguments.
constexpr int EXIT_THREADS = 3; ///< Reader and collector disagree, or a thread did not start or end as it should.

/// All that there is to report of one run.
struct Report
{
    Account mAccount;                       // what the reader read
    Totals mTotals;                         // what the collector counted
    bool mHasTotals = false;                // the collector has answered
    unsigned long long mWorkerRefusals = 0; // posts that found the collector's queue full
    unsigned int mElapsedMs = 0;

    /// Every line that was read has arrived, once, unchanged and in order.
    bool agrees() const;

    /// Prints the summary to standard output.
    void print() const;
};

} // namespace demo

#endif
