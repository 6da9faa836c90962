#include "Inside.h"

#include <algorithm>
#include <cstdio>

namespace demo
{

namespace
{

constexpr unsigned int BAR_SIZE = 20;

/// A row of so many marks for how full a queue is, "#####...............".
struct Bar
{
    Bar(unsigned int nCount, unsigned int nOf)
    {
        unsigned int const lMarks = std::min(BAR_SIZE, (nCount * BAR_SIZE + nOf - 1) / nOf);
        std::fill_n(mText, lMarks, '#');
        std::fill_n(mText + lMarks, BAR_SIZE - lMarks, '.');
    }

    char mText[BAR_SIZE + 1] = {};
};

} // namespace

Inside::Inside(bool nIsOnTerminal)
    : mIsOnTerminal(nIsOnTerminal),
      mTimer(this, PERIOD_MS, 0, 0, nullptr, 0, 0, "Inside")
{
    mTimer.start(0);
}

Inside::~Inside()
{
    mTimer.stop(0); // waits for a drawing under way
    draw();
}

void Inside::watch(utl::MsgDrivenThread& nWorker, unsigned int nWorkerSlots, utl::MsgDrivenThread& nCollector,
                   unsigned int nCollectorSlots)
{
    utl::SyncGuard const lGuard(mSyncObject);
    mRows[0].mpThread = &nWorker;
    mRows[0].mSlots = nWorkerSlots;
    mRows[1].mpThread = &nCollector;
    mRows[1].mSlots = nCollectorSlots;
}

void Inside::leave()
{
    utl::SyncGuard const lGuard(mSyncObject);
    for (Row& lRow : mRows)
    {
        lRow.add(lRow.mpThread->ledger());
        lRow.mpThread = nullptr;
    }
}

void Inside::onTime(int)
{
    draw();
}

void Inside::draw()
{
    utl::SyncGuard const lGuard(mSyncObject);
    if (mIsOnTerminal && mHasDrawn)
    {
        std::printf("\033[3A");
    }
    mHasDrawn = true;
    char const* const lpEnd = mIsOnTerminal ? "\033[K\n" : "\n";
    std::printf("%-9s  %-22s %9s %5s %11s %10s %s%s", "thread", "queue", "waiting", "most", "messages/s", "refused",
                "longest call", lpEnd);
    static char const* const NAMES[] = {"Worker", "Collector"};
    for (Row& lRow : mRows)
    {
        std::printf("%-9s  ", NAMES[&lRow - mRows]);
        lRow.print(lRow.mpThread != nullptr ? lRow.mpThread->ledger() : utl::Ledger());
        std::printf("%s", lpEnd);
    }
    std::fflush(stdout);
}

/// What a thread of a pass that is over has done counts on.
void Inside::Row::add(utl::Ledger const& nLedger)
{
    mBefore.mDelivered += nLedger.mDelivered;
    mBefore.mRefusedFull += nLedger.mRefusedFull;
    mBefore.mMostWaiting = std::max(mBefore.mMostWaiting, nLedger.mMostWaiting);
    if (nLedger.mLongestNs > mBefore.mLongestNs)
    {
        mBefore.mLongestNs = nLedger.mLongestNs;
        mBefore.mLongestId = nLedger.mLongestId;
    }
}

void Inside::Row::print(utl::Ledger const& nNow)
{
    Row lSum = *this;
    lSum.add(nNow);
    utl::Ledger const& lLedger = lSum.mBefore;
    unsigned int const lRate = (lLedger.mDelivered - mLastDelivered) * (1000 / PERIOD_MS);
    mLastDelivered = lLedger.mDelivered;
    std::printf("[%s] %5u/%-3u %5u %11u %10u %5llu ms", Bar(nNow.mWaiting, std::max(1U, mSlots)).mText, nNow.mWaiting,
                mSlots, lLedger.mMostWaiting, lRate, lLedger.mRefusedFull, lLedger.mLongestNs / 1000000);
    if (lLedger.mLongestNs != 0)
    {
        std::printf(", message 0x%08x", static_cast<unsigned int>(lLedger.mLongestId));
    }
    if (nNow.mIsInCall && nNow.mCallNs >= 1000000ULL * PERIOD_MS)
    {
        std::printf(", in one for %llu ms", nNow.mCallNs / 1000000);
    }
}

} // namespace demo
