#include "Worker.h"

#include "Posting.h"

#include <UtlApplog.h>
#include <UtlStatementInfo.h>
#include <UtlString.h>
#include <UtlThreadRawMsg.h>
#include <UtlTimeCounter.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include <sched.h>

namespace demo
{

namespace
{

/// White space between words: that of ASCII, and the full-width blank U+3000.
bool isSpace(char const* npCharacter, unsigned int nSize)
{
    return nSize == 1 ? *npCharacter == ' ' || (*npCharacter >= '\t' && *npCharacter <= '\r')
                      : nSize == 3 && std::memcmp(npCharacter, "\xE3\x80\x80", 3) == 0;
}

/// Of ASCII; such a byte neither begins a word nor ends one.
bool isControl(char const* npCharacter, unsigned int nSize)
{
    return nSize == 1 && (static_cast<unsigned char>(*npCharacter) < ' ' || *npCharacter == '\x7F');
}

/// Computes until the time is over, but gets little of the processor: others want the same one all the time.
void starve(unsigned int nMs)
{
    constexpr unsigned int COMPETITORS = 40;
    cpu_set_t lAll;
    cpu_set_t lOne;
    CPU_ZERO(&lOne);
    CPU_SET(static_cast<unsigned int>(std::max(sched_getcpu(), 0)), &lOne);
    sched_getaffinity(0, sizeof(lAll), &lAll);
    sched_setaffinity(0, sizeof(lOne), &lOne); // threads inherit it
    std::atomic<bool> lIsOver{false};
    std::vector<std::thread> lOthers;
    for (unsigned int lCount = 0; lCount < COMPETITORS; ++lCount)
    {
        lOthers.emplace_back(
            [&]
            {
                while (!lIsOver)
                {
                }
            });
    }
    utl::TimeCounter lTime;
    lTime.start();
    while (lTime.watch() < nMs)
    {
    }
    lIsOver = true;
    for (std::thread& lOther : lOthers)
    {
        lOther.join();
    }
    sched_setaffinity(0, sizeof(lAll), &lAll);
}

} // namespace

Finding findingOf(LineMsg const& nLine)
{
    Finding lFinding;
    lFinding.mNumber = nLine.mNumber;
    lFinding.mBytes = nLine.mSize;
    bool lIsInWord = false;
    for (unsigned int lPosition = 0; lPosition < nLine.mSize;)
    {
        char const* const lpCharacter = nLine.mText + lPosition;
        // The library ends a text at a NUL; in a file it is a character like any other.
        unsigned int const lSize = *lpCharacter == '\0' ? 1 : utl::t_charlen(lpCharacter, nullptr);
        if (lSize == utl::STR_ERROR)
        {
            ++lFinding.mMalformedBytes;
            ++lPosition; // the next character may begin at the very next byte
            continue;
        }
        if (isSpace(lpCharacter, lSize))
        {
            lIsInWord = false;
        }
        else if (!lIsInWord && !isControl(lpCharacter, lSize))
        {
            lIsInWord = true;
            ++lFinding.mWords;
        }
        ++lFinding.mCharacters;
        lPosition += lSize;
    }
    bool const lHasLineFeed = nLine.mSize > 0 && nLine.mText[nLine.mSize - 1] == '\n';
    lFinding.mLength = lFinding.mCharacters - (lHasLineFeed ? 1 : 0);
    return lFinding;
}

WorkerListener::WorkerListener(utl::MsgDrivenThread& nCollector, bool nIsPassingLines, Trouble nTrouble)
    : mCollector(nCollector),
      mIsPassingLines(nIsPassingLines),
      mTrouble(nTrouble)
{
}

void WorkerListener::receiveMsg(int, utl::ThreadRawMsg& nRawMsg)
{
    int lMsgId = utl::MSG_ID_NONE;
    nRawMsg.getMsgId(&lMsgId);
    switch (lMsgId)
    {
    case MSG_ID_LINE:
        if (mLine.restoreFrom(nRawMsg))
        {
            measure(mLine);
        }
        break;
    case MSG_ID_BEGIN:
        begin();
        break;
    default: // MSG_ID_ALL_READ needs no work: that its turn came is the answer.
        break;
    }
}

void WorkerListener::begin()
{
    mChecksum = EMPTY_CHECKSUM;
    mRefusals = 0;
}

void WorkerListener::measure(LineMsg const& nLine)
{
    if (mTrouble != Trouble::NONE && nLine.mNumber == 1)
    {
        suffer(mTrouble);
    }
    if (mIsPassingLines)
    {
        // For all listeners; those that need no lines see that by the id.
        postWhenRoom(mCollector, nLine, &mRefusals);
    }
    mChecksum = addToChecksum(mChecksum, nLine.mText, nLine.mSize);
    FindingMsg lMsg;
    lMsg.mFinding = findingOf(nLine);
    lMsg.mFinding.mChecksum = mChecksum;
    // While we wait here our own queue fills up, which slows down the reader. A finding that no collector takes any
    // more is missing in the totals, and the check in the end says so.
    postWhenRoom(mCollector, lMsg, &mRefusals);
}

void WorkerListener::suffer(Trouble nTrouble)
{
    // The watchdog tells of a lapse and of its end in the library's log.
    LibraryLogLevel lAudible(utl::LOG_LEVEL_INFO);
    // A call that may take long stands between two reports: the watchdog then knows in which one we hang.
    utl::Thread::keepAliveWatchdog(utl::StatementInfo(__FILE__, "suffer", __LINE__, 1));
    nTrouble == Trouble::HANGS ? utl::Thread::sleep(STALL_MS) : starve(STALL_MS);
    utl::Thread::keepAliveWatchdog(utl::StatementInfo(__FILE__, "suffer", __LINE__, 2));
}

} // namespace demo
