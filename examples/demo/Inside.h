/// A table of what the threads do, drawn again and again: --inside.
#ifndef DEMO_INSIDE_H
#define DEMO_INSIDE_H

#include <UtlMsgDrivenThread.h>
#include <UtlSyncObject.h>
#include <UtlTimer.h>

namespace demo
{

/// Draws on standard output, on a timer's thread, from the ledgers of the running threads.
///
/// Threads: watch() and leave() by one; the timer's thread draws. The lock keeps a thread alive while it is asked.
class Inside : private utl::TimerListener
{
public:
    static constexpr unsigned int PERIOD_MS = 200;

    /// nIsOnTerminal: each table overwrites the one before.
    explicit Inside(bool nIsOnTerminal);
    ~Inside();

    /// From here on these threads are shown, until leave(), and with what those before them have done.
    void watch(utl::MsgDrivenThread& nWorker, unsigned int nWorkerSlots, utl::MsgDrivenThread& nCollector,
               unsigned int nCollectorSlots);
    void leave();

private:
    struct Row
    {
        void add(utl::Ledger const& nLedger);
        void print(utl::Ledger const& nNow);

        utl::MsgDrivenThread* mpThread = nullptr; // null between two passes
        unsigned int mSlots = 0;
        utl::Ledger mBefore; // the sum of all passes before
        unsigned int mLastDelivered = 0;
    };

    void onTime(int nTimerId) override;
    void draw();

    bool const mIsOnTerminal;
    utl::SyncObject mSyncObject; // guards what follows
    Row mRows[2];
    bool mHasDrawn = false;
    utl::Timer mTimer; // last, because it draws from all the others
};

} // namespace demo

#endif
