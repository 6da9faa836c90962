#include "Collector.h"

#include <UtlThreadRawMsg.h>

#include <cstdio>

namespace demo
{

void CollectorListener::receiveMsg(int, utl::ThreadRawMsg& nRawMsg)
{
    // The id tells of which class the message is.
    int lMsgId = utl::MSG_ID_NONE;
    nRawMsg.getMsgId(&lMsgId);
    switch (lMsgId)
    {
    case MSG_ID_FINDING:
    {
        FindingMsg lMsg;
        if (lMsg.restoreFrom(nRawMsg))
        {
            add(lMsg.mFinding);
        }
        break;
    }
    case MSG_ID_REPORT:
    {
        ReportMsg lMsg;
        if (lMsg.restoreFrom(nRawMsg))
        {
            *lMsg.mpTotals = mTotals; // its owner waits until we return
        }
        break;
    }
    case MSG_ID_BEGIN:
        mTotals = Totals();
        mTotals.mChecksum = EMPTY_CHECKSUM;
        break;
    case MSG_ID_PROGRESS:
        showProgress();
        break;
    default:
        break;
    }
}

void CollectorListener::add(Finding const& nFinding)
{
    ++mTotals.mLines;
    mTotals.mMisplacedLines += nFinding.mNumber != mTotals.mLines ? 1 : 0;
    mTotals.mBytes += nFinding.mBytes;
    mTotals.mCharacters += nFinding.mCharacters;
    mTotals.mWords += nFinding.mWords;
    mTotals.mChecksum = nFinding.mChecksum;
    if (nFinding.mMalformedBytes > 0 && mTotals.mMalformedLines++ == 0)
    {
        mTotals.mFirstMalformed = nFinding.mNumber;
    }
    if (mTotals.mLines == 1 || nFinding.mLength > mTotals.mLongest.mLength)
    {
        mTotals.mLongest = nFinding;
    }
}

void CollectorListener::showProgress() const
{
    std::printf("\r  %llu lines, %llu bytes ...", mTotals.mLines, mTotals.mBytes);
    std::fflush(stdout);
}

} // namespace demo
