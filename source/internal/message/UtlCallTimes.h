/// Measures how long the calls of a listener take. Layer: internal, message-driven thread.
#ifndef UTL_CALL_TIMES_H
#define UTL_CALL_TIMES_H

#include "UtlLedger.h"
#include "internal/base/UtlThreadSlots.h"
#include "internal/message/UtlTimerSignal.h"

namespace utl::internal
{

/// The times of a listener's calls. The clock is read once between two calls: the end of one is the beginning of the
/// next.
///
/// Locks: none; the owner's lock guards it. Only the loop changes it.
class CallTimes
{
public:
    /// Takes the time nNowNs. If a call was under way, it has returned.
    void tick(long long nNowNs)
    {
        if (mIsInCall)
        {
            end(durationNs(nNowNs));
        }
        mSinceNs = nNowNs;
    }

    /// A call begins, at the time of the last tick.
    void begin(int nMsgId)
    {
        mCallId = nMsgId;
        mIsInCall = true;
    }

    void read(Ledger* npLedger, long long nNowNs) const
    {
        npLedger->mCalls = mCounts.mCalls;
        npLedger->mCallsNs = mCallsNs;
        npLedger->mLongestNs = mLongestNs;
        npLedger->mLongestId = static_cast<int>(static_cast<unsigned int>(mCounts.mLongestId));
        npLedger->mIsInCall = mIsInCall;
        npLedger->mCallId = mCallId;
        npLedger->mCallNs = mIsInCall ? durationNs(nNowNs) : 0;
    }

    CallCounts const& counts() const { return mCounts; }
    std::uint32_t since() const { return slotTime(mSinceNs); } ///< The last tick, by slotClock(); 0 for unknown.

private:
    /// 0 if either time is unknown, or from another clock that is ahead.
    unsigned long long durationNs(long long nNowNs) const
    {
        return mSinceNs != 0 && nNowNs > mSinceNs ? static_cast<unsigned long long>(nNowNs - mSinceNs) : 0;
    }

    void end(unsigned long long nCallNs)
    {
        ++mCounts.mCalls;
        mCallsNs += nCallNs;
        if (nCallNs > mLongestNs)
        {
            mLongestNs = nCallNs;
            mCounts.mLongest = slotTime(static_cast<long long>(nCallNs));
            mCounts.mLongestId = static_cast<unsigned int>(mCallId);
        }
        mIsInCall = false;
    }

    long long mSinceNs = 0; // the last tick; 0: unknown
    unsigned long long mCallsNs = 0;
    unsigned long long mLongestNs = 0;
    CallCounts mCounts;
    int mCallId = 0;
    bool mIsInCall = false;
};

} // namespace utl::internal

#endif
