#include "DemoMsg.h"

namespace demo
{

LineMsg::LineMsg()
    : Msg(MSG_ID_LINE)
{
    mText[0] = '\0';
}

void LineMsg::storeDataTo(utl::MsgDataBroker* npBroker) const
{
    npBroker->set(mNumber);
    npBroker->set(mSize);
    npBroker->set(reinterpret_cast<unsigned char const*>(mText), mSize);
}

// The same values in the same order: an image has no tags that would tell them apart.
void LineMsg::restoreDataFrom(utl::MsgDataBroker& nBroker)
{
    nBroker.get(&mNumber);
    if (!nBroker.get(&mSize) || mSize > MAX_LINE_BYTES)
    {
        mSize = 0;
    }
    nBroker.get(reinterpret_cast<unsigned char*>(mText), mSize);
    mText[mSize] = '\0';
}

FindingMsg::FindingMsg()
    : Msg(MSG_ID_FINDING)
{
}

void FindingMsg::storeDataTo(utl::MsgDataBroker* npBroker) const
{
    npBroker->set(mFinding.mNumber);
    npBroker->set(mFinding.mBytes);
    npBroker->set(mFinding.mCharacters);
    npBroker->set(mFinding.mWords);
    npBroker->set(mFinding.mLength);
    npBroker->set(mFinding.mMalformedBytes);
    npBroker->set(mFinding.mChecksum);
}

void FindingMsg::restoreDataFrom(utl::MsgDataBroker& nBroker)
{
    nBroker.get(&mFinding.mNumber);
    nBroker.get(&mFinding.mBytes);
    nBroker.get(&mFinding.mCharacters);
    nBroker.get(&mFinding.mWords);
    nBroker.get(&mFinding.mLength);
    nBroker.get(&mFinding.mMalformedBytes);
    nBroker.get(&mFinding.mChecksum);
}

ReportMsg::ReportMsg(Totals* npTotals)
    : Msg(MSG_ID_REPORT),
      mpTotals(npTotals)
{
}

void ReportMsg::storeDataTo(utl::MsgDataBroker* npBroker) const
{
    npBroker->set(static_cast<void*>(mpTotals));
}

void ReportMsg::restoreDataFrom(utl::MsgDataBroker& nBroker)
{
    void* lpTotals = nullptr;
    nBroker.get(&lpTotals);
    mpTotals = static_cast<Totals*>(lpTotals);
}

unsigned int addToChecksum(unsigned int nChecksum, char const* npBytes, unsigned int nSize)
{
    for (unsigned int lIndex = 0; lIndex < nSize; ++lIndex)
    {
        nChecksum = (nChecksum ^ static_cast<unsigned char>(npBytes[lIndex])) * 16777619U;
    }
    return nChecksum;
}

} // namespace demo
