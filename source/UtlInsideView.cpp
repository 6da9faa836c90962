// A look inside the running process. All of the dump runs in signal handlers, too.
#include "UtlInsideView.h"

#include "internal/base/UtlSystemCalls.h"
#include "internal/base/UtlThreadSlots.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace utl
{

namespace
{

using internal::gSystem;
using internal::gThreadSlots;
using internal::LoopView;
using internal::readWait;
using internal::SLOT_COUNT;
using internal::SlotWord;
using internal::ThreadSlot;

int const DESCRIPTOR_LIMIT_MS = 100;
int const MAX_TRIES = 8;

/// One line of text, cut if it becomes too long. What would end it, or is no text, becomes a question mark.
class Line
{
public:
    Line& text(char const* npText)
    {
        for (; npText != nullptr && *npText != '\0' && mSize < CAPACITY; ++npText)
        {
            bool const lIsControl = static_cast<unsigned char>(*npText) < ' ' || *npText == '\x7F';
            mText[mSize++] = lIsControl ? '?' : *npText;
        }
        return *this;
    }

    Line& number(std::uint32_t nNumber)
    {
        char lDigits[11] = {};
        char* lpDigit = lDigits + sizeof(lDigits) - 1;
        do
        {
            *--lpDigit = static_cast<char>('0' + nNumber % 10);
            nNumber /= 10;
        } while (nNumber != 0);
        return text(lpDigit);
    }

    Line& hex(std::uint32_t nNumber)
    {
        char lDigits[9] = {};
        for (unsigned int lIndex = 8; lIndex-- > 0; nNumber >>= 4U)
        {
            lDigits[lIndex] = "0123456789abcdef"[nNumber & 15U];
        }
        return text("0x").text(lDigits);
    }

    char const* end()
    {
        mText[mSize++] = '\n';
        return mText;
    }
    std::size_t size() const { return mSize; }

private:
    static constexpr std::size_t CAPACITY = 511; // with its end within what a pipe takes at once

    char mText[CAPACITY + 1];
    std::size_t mSize = 0;
};

/// Writes lines for as long as the descriptor takes them.
class Lines
{
public:
    explicit Lines(int nFd)
        : mFd(nFd)
    {
    }

    void write(Line& nLine)
    {
        char const* const lpText = nLine.end();
        std::size_t lDone = 0;
        while (!mIsStuck && lDone < nLine.size())
        {
            ssize_t const lWritten = isReady() ? gSystem.mWrite(mFd, lpText + lDone, nLine.size() - lDone) : -1;
            mIsStuck = lWritten <= 0 && !(lWritten == -1 && errno == EINTR);
            lDone += lWritten > 0 ? static_cast<std::size_t>(lWritten) : 0;
        }
        mDropped += lDone < nLine.size() ? 1 : 0;
    }

    unsigned int dropped() const { return mDropped; }

private:
    /// A pipe that has room for a byte has room for a line. Without a reader it would raise a signal.
    bool isReady()
    {
        pollfd lFd{mFd, POLLOUT, 0};
        errno = EAGAIN;
        int lReady = gSystem.mPoll(&lFd, 1, DESCRIPTOR_LIMIT_MS);
        for (int lTry = 0; lReady == -1 && errno == EINTR && lTry < MAX_TRIES; ++lTry)
        {
            lReady = gSystem.mPoll(&lFd, 1, DESCRIPTOR_LIMIT_MS);
        }
        errno = EAGAIN; // not that of a signal, for who asks whether to write again
        return lReady == 1 && (lFd.revents & POLLOUT) != 0 && (lFd.revents & POLLERR) == 0;
    }

    int const mFd;
    bool mIsStuck = false;
    unsigned int mDropped = 0;
};

/// What a slot said at one moment.
struct Image
{
    using Identity = internal::TwoCopies<2 + ThreadSlot::NAME_WORDS>::Words;

    int id() const { return static_cast<int>(mIdentity[0]); }

    std::uint32_t mClaim;
    std::uint32_t mStage;
    Identity mIdentity;
    internal::TwoCopies<4>::Words mReport;
    internal::TwoCopies<3>::Words mWork;
    internal::TwoCopies<4>::Words mWait;
    std::uint32_t mWaitGeneration;
    int mWaitsFor; // a thread's id, or 0
};

bool isLimited(Image const& nImage)
{
    return (nImage.mWait[0] & ThreadSlot::WAIT_LIMITED) != 0;
}

bool isInUse(std::uint32_t nClaim)
{
    return (nClaim & 3U) == ThreadSlot::USE_THREAD;
}

/// Result: false if the slot is free. *npIsWhole: all was read.
bool readSlot(ThreadSlot& nSlot, Image* npImage, bool* npIsWhole)
{
    *npIsWhole = false;
    for (int lTry = 0; lTry < MAX_TRIES && !*npIsWhole; ++lTry)
    {
        Image& lImage = *npImage;
        lImage.mClaim = nSlot.mClaim.load(std::memory_order_acquire);
        if (!isInUse(lImage.mClaim))
        {
            return false;
        }
        lImage.mStage = nSlot.mStage.load(std::memory_order_acquire) & 7U;
        *npIsWhole = nSlot.mIdentity.read(&lImage.mIdentity) && nSlot.mReport.read(&lImage.mReport) &&
                     nSlot.mWork.read(&lImage.mWork) &&
                     readWait(nSlot, &lImage.mWait, &lImage.mWaitsFor, &lImage.mWaitGeneration) &&
                     nSlot.mClaim.load(std::memory_order_acquire) == lImage.mClaim;
    }
    return true;
}

/// Result: the slot's number; SLOT_COUNT for none.
unsigned int findSlot(int nId, Image* npImage)
{
    for (unsigned int lIndex = 0; lIndex < SLOT_COUNT; ++lIndex)
    {
        bool lIsWhole = false;
        if (readSlot(gThreadSlots[lIndex], npImage, &lIsWhole) && lIsWhole && npImage->id() == nId)
        {
            return lIndex;
        }
    }
    return SLOT_COUNT;
}

Line& addThread(Line& nLine, int nId, Image::Identity const& nIdentity)
{
    char lName[ThreadSlot::NAME_SIZE];
    std::memcpy(lName, &nIdentity[2], sizeof(lName));
    return nLine.number(static_cast<std::uint32_t>(nId)).text(" \"").text(lName).text("\"");
}

Line& addThread(Line& nLine, Image const& nImage)
{
    return addThread(nLine.text("thread "), nImage.id(), nImage.mIdentity).text(": ");
}

Line& addMs(Line& nLine, std::uint32_t nSlotTime)
{
    return nLine.number(static_cast<std::uint32_t>(nSlotTime * (1ULL << 20U) / 1000000)).text(" ms");
}

Line& addTime(Line& nLine, SlotWord nSince)
{
    return addMs(nLine.text(" for "), internal::slotClock() - static_cast<std::uint32_t>(nSince));
}

// ---------------------------------------------------------------------------------------------- lines of a thread

void writeWork(Lines& nLines, Image const& nImage)
{
    static char const* const STAGES[] = {"starting", "running", "stopping", "done"};
    Line lLine;
    bool const lIsRegistered = nImage.mIdentity[1] != 0;
    addThread(lLine, nImage)
        .text(lIsRegistered               ? STAGES[nImage.mStage & 3U]
              : nImage.id() == ::getpid() ? "the main thread"
                                          : "not registered");
    if (nImage.mWork[0] != ThreadSlot::WORK_NONE)
    {
        bool const lIsMsg = nImage.mWork[0] == ThreadSlot::WORK_MSG;
        lLine.text(lIsMsg ? ", message " : ", time-out of timer ");
        std::uint32_t const lId = static_cast<std::uint32_t>(nImage.mWork[1]);
        lIsMsg ? lLine.hex(lId) : lLine.number(lId);
        nImage.mWork[2] != 0 ? void(addTime(lLine, nImage.mWork[2])) : void();
    }
    if (nImage.mReport[1] != 0)
    {
        lLine.text(", last report ")
            .text(reinterpret_cast<char const*>(nImage.mReport[0]))
            .text(" ")
            .text(reinterpret_cast<char const*>(nImage.mReport[1]))
            .text(":")
            .number(static_cast<std::uint32_t>(nImage.mReport[2]))
            .text(":")
            .number(static_cast<std::uint32_t>(nImage.mReport[3]));
    }
    nLines.write(lLine);
}

using Counts = std::array<std::uint32_t, 6 + 7 + 3>; // as QueueCounts, LoopCounts and CallCounts have them

/// What a loop shows, at one moment. The books are whole if they were the same twice, since they only grow.
struct LoopImage
{
    internal::TwoCopies<3>::Words mTimers{};
    Counts mCounts{};
    bool mIsWhole = false;
};

Counts countsOf(LoopView const& nView)
{
    internal::QueueCounts const& lQueue = *nView.mpQueue;
    internal::LoopCounts const& lLoop = *nView.mpLoop;
    internal::CallCounts const& lCalls = *nView.mpCalls;
    return {lQueue.mAccepted,      lQueue.mDelivered,   lQueue.mErased,     lQueue.mTakenBack,
            lQueue.mWaiting,       lQueue.mMostWaiting, lLoop.mRefusedFull, lLoop.mRefusedTooLarge,
            lLoop.mRefusedStopped, lLoop.mOrphaned,     lLoop.mInterrupts,  lLoop.mTimeouts,
            lLoop.mTimeoutsLost,   lCalls.mCalls,       lCalls.mLongest,    lCalls.mLongestId};
}

void readBooks(LoopView const& nView, LoopImage* npLoop)
{
    npLoop->mCounts = countsOf(nView);
    for (int lTry = 0; lTry < MAX_TRIES && !npLoop->mIsWhole; ++lTry)
    {
        internal::orderLoads();
        Counts const lCounts = countsOf(nView);
        npLoop->mIsWhole = lCounts == npLoop->mCounts;
        npLoop->mCounts = lCounts;
    }
    Counts& lBooks = npLoop->mCounts;
    lBooks[4] = lBooks[0] - lBooks[1] - lBooks[2] - lBooks[3]; // what waits may be about to be counted
}

/// Result: false if the slot has no loop.
bool readLoop(ThreadSlot& nSlot, LoopImage* npLoop)
{
    nSlot.mReaders.fetch_add(1, std::memory_order_seq_cst); // from here on the view stays
    LoopView const* const lpView = nSlot.mpLoop.load(std::memory_order_seq_cst);
    bool const lIsRead = lpView != nullptr && lpView->mTimers.read(&npLoop->mTimers);
    lIsRead ? readBooks(*lpView, npLoop) : void();
    nSlot.mReaders.fetch_sub(1, std::memory_order_release);
    return lIsRead;
}

void writeBooks(Lines& nLines, Image const& nImage, LoopImage const& nLoop)
{
    static char const* const NAMES[] = {
        "accepted ",    ", delivered ", ", erased ",   ", taken back ", ", waiting ",   ", most ", "; refused full ",
        ", too large ", ", stopped ",   "; orphaned ", ", interrupts ", ", time-outs ", ", lost ", "; calls "};
    Line lLine;
    addThread(lLine, nImage).text(nLoop.mIsWhole ? "" : "about ");
    unsigned int lIndex = 0;
    for (char const* const lpName : NAMES)
    {
        lLine.text(lpName).number(nLoop.mCounts[lIndex++]);
    }
    if (nLoop.mCounts[lIndex] != 0)
    {
        addMs(lLine.text(", the longest "), nLoop.mCounts[lIndex]).text(" for ").hex(nLoop.mCounts[lIndex + 1]);
    }
    nLines.write(lLine);
}

void writeTimers(Lines& nLines, Image const& nImage, LoopImage const& nLoop)
{
    auto const lNumber = [&](unsigned int nIndex) { return static_cast<std::uint32_t>(nLoop.mTimers[nIndex]); };
    if (lNumber(0) == 0)
    {
        return;
    }
    Line lLine;
    addThread(lLine, nImage).text("timers ").number(lNumber(0)).text(", ").number(lNumber(1)).text(" running");
    if (lNumber(1) != 0)
    {
        int const lLeft = static_cast<int>(lNumber(2) - internal::slotClock());
        addMs(lLine.text(lLeft >= 0 ? ", next due in " : ", next overdue for "),
              static_cast<std::uint32_t>(lLeft >= 0 ? lLeft : -lLeft));
    }
    nLines.write(lLine);
}

void writeWait(Lines& nLines, Image const& nImage)
{
    static char const* const WAITS[] = {"",          ", synchronous message ", ", interrupt ", ", a request to it",
                                        ", its end", ", a lock that it holds"};
    SlotWord const lKind = nImage.mWait[0] & ThreadSlot::WAIT_KINDS;
    if (lKind == ThreadSlot::WAIT_NONE || lKind >= sizeof(WAITS) / sizeof(WAITS[0]))
    {
        return;
    }
    Line lLine;
    addThread(lLine, nImage).text("waits for ");
    Image lOther;
    if (nImage.mWaitsFor == 0)
    {
        addTime(lLine.text("a lock"), nImage.mWait[3]); // given up at this moment, or the platform does not tell whose
    }
    else
    {
        bool const lIsKnown = findSlot(nImage.mWaitsFor, &lOther) != SLOT_COUNT;
        addThread(lLine, nImage.mWaitsFor, lIsKnown ? lOther.mIdentity : Image::Identity{});
        addTime(lLine, nImage.mWait[3]).text(WAITS[lKind]);
    }
    if (lKind == ThreadSlot::WAIT_SYNC_MSG || lKind == ThreadSlot::WAIT_INTERRUPT)
    {
        lLine.hex(static_cast<std::uint32_t>(nImage.mWait[2]));
    }
    lLine.text(isLimited(nImage) ? ", with a limit" : "");
    nLines.write(lLine);
}

// ---------------------------------------------------------------------------------------------- circles

/// From one who waits to the one whom he waits for, and on.
struct Walk
{
    bool mIsCircle = false;
    unsigned int mFirst = SLOT_COUNT;  // the lowest slot on the way
    std::uint32_t mHash = 2166136261U; // of all on the way; the same when nobody has stopped waiting
};

Walk walkFrom(unsigned int nIndex, Line* npLine)
{
    Walk lWalk;
    unsigned int lIndex = nIndex;
    for (unsigned int lSteps = 0; lSteps < SLOT_COUNT && !lWalk.mIsCircle; ++lSteps)
    {
        Image lImage;
        bool lIsWhole = false;
        if (!readSlot(gThreadSlots[lIndex], &lImage, &lIsWhole) || !lIsWhole || lImage.mWaitsFor == 0 ||
            isLimited(lImage))
        {
            return lWalk;
        }
        if (npLine != nullptr)
        {
            addThread(*npLine, lImage.id(), lImage.mIdentity).text(" waits for ");
        }
        lWalk.mFirst = lIndex < lWalk.mFirst ? lIndex : lWalk.mFirst;
        for (std::uint32_t const lPart : {std::uint32_t(lIndex), lImage.mClaim, lImage.mWaitGeneration})
        {
            lWalk.mHash = (lWalk.mHash ^ lPart) * 16777619U;
        }
        lIndex = findSlot(lImage.mWaitsFor, &lImage);
        if (lIndex == SLOT_COUNT)
        {
            return lWalk;
        }
        lWalk.mIsCircle = lIndex == nIndex;
    }
    return lWalk;
}

/// A circle is told once, at its lowest slot. What two walks find alike was all there when the first one ended.
void writeCircle(Lines& nLines, unsigned int nIndex)
{
    Walk const lFirst = walkFrom(nIndex, nullptr);
    if (!lFirst.mIsCircle || lFirst.mFirst != nIndex)
    {
        return;
    }
    Line lLine;
    lLine.text("deadlock: ");
    Walk const lSecond = walkFrom(nIndex, &lLine);
    Image lImage;
    bool lIsWhole = false;
    if (lSecond.mIsCircle && lSecond.mHash == lFirst.mHash && readSlot(gThreadSlots[nIndex], &lImage, &lIsWhole))
    {
        addThread(lLine, lImage.id(), lImage.mIdentity);
        nLines.write(lLine);
    }
}

std::atomic<int> gSignalFd{-1};

void onDumpSignal(int)
{
    dump(gSignalFd.load(std::memory_order_relaxed));
}

} // namespace

unsigned int dump(int nFd)
{
    int const lError = errno;
    Lines lLines(nFd);
    Line lHead;
    lHead.text("utl: threads of process ").number(static_cast<std::uint32_t>(::getpid()));
    lLines.write(lHead);
    unsigned int lThreads = 0;
    unsigned int lPassedOver = 0;
    for (ThreadSlot& lSlot : gThreadSlots)
    {
        Image lImage;
        bool lIsWhole = false;
        if (!readSlot(lSlot, &lImage, &lIsWhole))
        {
            continue;
        }
        ++lThreads;
        if (!lIsWhole)
        {
            ++lPassedOver;
            continue;
        }
        writeWork(lLines, lImage);
        LoopImage lLoop;
        bool const lHasLoop = readLoop(lSlot, &lLoop) && lSlot.mClaim.load(std::memory_order_acquire) == lImage.mClaim;
        if (lHasLoop)
        {
            writeBooks(lLines, lImage, lLoop);
            writeTimers(lLines, lImage, lLoop);
        }
        writeWait(lLines, lImage);
    }
    for (unsigned int lIndex = 0; lIndex < SLOT_COUNT; ++lIndex)
    {
        writeCircle(lLines, lIndex);
    }
    Line lFoot;
    lFoot.text("utl: ").number(lThreads).text(" threads, ").number(lPassedOver).text(" passed over, ");
    lFoot.number(lLines.dropped()).text(" lines dropped");
    lLines.write(lFoot);
    errno = lError;
    return lLines.dropped();
}

bool installDumpSignal(int nSignal, int nFd)
{
    gSignalFd = nFd;
    struct sigaction lAction = {};
    lAction.sa_handler = &onDumpSignal;
    lAction.sa_flags = SA_RESTART | SA_ONSTACK;
    sigemptyset(&lAction.sa_mask);
    return gSystem.mSigaction(nSignal, &lAction, nullptr) == 0;
}

} // namespace utl
