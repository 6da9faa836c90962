#include "Collector.h"

#include <UtlThreadRawMsg.h>

#include <cstdio>
#include <string_view>

namespace demo
{

TotalsListener::TotalsListener(bool nIsTerminal)
    : mIsTerminal(nIsTerminal)
{
}

void TotalsListener::receiveMsg(int, utl::ThreadRawMsg& nRawMsg)
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
    case utl::MSG_ID_TIMER: // we have one timer only, so there is no need to look whose time-out it is
        showProgress();
        break;
    default:
        break;
    }
}

void TotalsListener::add(Finding const& nFinding)
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

void TotalsListener::showProgress() const
{
    std::printf("  %llu lines, %llu bytes so far%s", mTotals.mLines, mTotals.mBytes, mIsTerminal ? "\r" : "\n");
    std::fflush(stdout);
}

WordListener::WordListener(char const* npWord)
    : mpWord(npWord)
{
}

void WordListener::receiveMsg(int, utl::ThreadRawMsg& nRawMsg)
{
    int lMsgId = utl::MSG_ID_NONE;
    nRawMsg.getMsgId(&lMsgId);
    if (lMsgId == MSG_ID_LINE && mLine.restoreFrom(nRawMsg) &&
        std::string_view(mLine.mText, mLine.mSize).find(mpWord) != std::string_view::npos && mCount++ == 0)
    {
        mFirst = mLine.mNumber;
    }
}

void WordListener::print() const
{
    if (mpWord == nullptr)
    {
        return;
    }
    std::printf("  word                      %12llu  lines hold '%s'", mCount, mpWord);
    if (mCount > 0)
    {
        std::printf(", the first is line %llu", mFirst);
    }
    std::printf("\n");
}

JournalListener::JournalListener(utl::MsgDrivenSharedThread& nThread)
    : mThread(nThread)
{
}

void JournalListener::receiveMsg(int, utl::ThreadRawMsg& nRawMsg)
{
    int lMsgId = utl::MSG_ID_NONE;
    nRawMsg.getMsgId(&lMsgId);
    FindingMsg lMsg;
    if (lMsgId != MSG_ID_FINDING || !lMsg.restoreFrom(nRawMsg))
    {
        return;
    }
    if (mCount < PAGE_LINES)
    {
        mLengths[mCount] = lMsg.mFinding.mLength;
    }
    if (++mCount == PAGE_LINES)
    {
        // On the message thread this is done at once. The others still hear of this line, and we of none that follows.
        mThread.detachMsgListener(this);
    }
}

void JournalListener::print() const
{
    std::printf("  journal                   %12u  lines%s", mCount, mCount == PAGE_LINES ? ", then it left" : "");
    for (unsigned int lIndex = 0; lIndex < mCount && lIndex < PAGE_LINES; ++lIndex)
    {
        std::printf("%s%u", lIndex == 0 ? "; characters: " : ", ", mLengths[lIndex]);
    }
    std::printf("\n");
}

} // namespace demo
