#include "Reader.h"

#include "Posting.h"

namespace demo
{

Reader::Reader(LineSource& nSource, Interruption const& nInterruption, utl::MsgDrivenThread& nWorker,
               utl::MsgDrivenThread& nCollector)
    : mSource(nSource),
      mInterruption(nInterruption),
      mWorker(nWorker),
      mCollector(nCollector)
{
}

Account Reader::run()
{
    // Commands overtake everything that is queued, and are carried out when the call returns.
    mWorker.sendMsgInterrupt(MSG_ID_BEGIN);
    mCollector.sendMsgInterrupt(MSG_ID_BEGIN);

    Account lAccount;
    for (;;)
    {
        lAccount.mResult = mInterruption.signalNumber() != 0 ? READ_INTERRUPTED : mSource.next(&mLine, mInterruption);
        if (lAccount.mResult != READ_LINE)
        {
            return lAccount;
        }
        mLine.mNumber = lAccount.mLines + 1;
        if (!postWhenRoom(mWorker, mLine, &lAccount.mRefusals))
        {
            lAccount.mResult = READ_WORKER_GONE;
            return lAccount;
        }
        ++lAccount.mLines;
        lAccount.mBytes += mLine.mSize;
        lAccount.mChecksum = addToChecksum(lAccount.mChecksum, mLine.mText, mLine.mSize);
    }
}

} // namespace demo
