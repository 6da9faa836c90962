// The dump of what all threads do. All of it may run in a signal handler.
#include "UtlInsideView.h"

#include "internal/base/UtlSlotSnapshot.h"
#include "internal/base/UtlSystemCalls.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace utl
{

namespace
{

using internal::findSlot;
using internal::gSystem;
using internal::gThreadSlots;
using internal::LoopSnapshot;
using internal::MAX_TRIES;
using internal::readLoop;
using internal::readSlot;
using internal::SLOT_COUNT;
using internal::SlotSnapshot;
using internal::SlotWord;
using internal::ThreadSlot;

int const DESCRIPTOR_LIMIT_MS = 100;
std::uint32_t const ONE_SECOND = internal::slotTime(1000000000);

/// One line of text, cut if it becomes too long. Control characters become question marks.
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
    static constexpr std::size_t CAPACITY = 511; // with the line end, a pipe takes it in one piece

    char mText[CAPACITY + 1];
    std::size_t mSize = 0;
};

/// Writes lines as long as the descriptor accepts them.
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
        errno = EAGAIN; // not EINTR, on which a caller would write again
        return lReady == 1 && (lFd.revents & POLLOUT) != 0 && (lFd.revents & (POLLERR | POLLHUP)) == 0;
    }

    int const mFd;
    bool mIsStuck = false;
    unsigned int mDropped = 0;
};

Line& addThread(Line& nLine, int nId, SlotSnapshot::Identity const& nIdentity)
{
    char lName[ThreadSlot::NAME_SIZE];
    std::memcpy(lName, &nIdentity[2], sizeof(lName));
    return nLine.number(static_cast<std::uint32_t>(nId)).text(" \"").text(lName).text("\"");
}

Line& addThread(Line& nLine, SlotSnapshot const& nSnapshot)
{
    return addThread(nLine.text("thread "), nSnapshot.id(), nSnapshot.mIdentity).text(": ");
}

Line& addMs(Line& nLine, std::uint32_t nSlotTime)
{
    return nLine.number(static_cast<std::uint32_t>(nSlotTime * (1ULL << 20U) / 1000000)).text(" ms");
}

Line& addTime(Line& nLine, SlotWord nSince)
{
    // A time of the precise clock may be ahead of the coarse clock.
    std::uint32_t const lPassed = internal::slotClock() - static_cast<std::uint32_t>(nSince);
    return addMs(nLine.text(" for "), lPassed < 0x80000000U ? lPassed : 0);
}

Line& addDue(Line& nLine, std::uint32_t nDue)
{
    int const lLeft = static_cast<int>(nDue - internal::slotClock());
    return addMs(nLine.text(lLeft >= 0 ? " due in " : " overdue for "),
                 static_cast<std::uint32_t>(lLeft >= 0 ? lLeft : -lLeft));
}

// ---------------------------------------------------------------------------------------------- lines of a thread

void writeWork(Lines& nLines, SlotSnapshot const& nSnapshot)
{
    static char const* const STAGES[] = {"starting", "running", "stopping", "done"};
    Line lLine;
    bool const lIsRegistered = nSnapshot.mIdentity[1] != 0;
    addThread(lLine, nSnapshot)
        .text(lIsRegistered                  ? STAGES[nSnapshot.mStage & 3U]
              : nSnapshot.id() == ::getpid() ? "the main thread"
                                             : "not registered");
    if (nSnapshot.mWork[0] != ThreadSlot::WORK_NONE)
    {
        bool const lIsMsg = nSnapshot.mWork[0] == ThreadSlot::WORK_MSG;
        lLine.text(lIsMsg ? ", message " : ", time-out of timer ");
        std::uint32_t const lId = static_cast<std::uint32_t>(nSnapshot.mWork[1]);
        lIsMsg ? lLine.hex(lId) : lLine.number(lId);
        nSnapshot.mWork[2] != 0 ? void(addTime(lLine, nSnapshot.mWork[2])) : void();
    }
    if (nSnapshot.mReport[1] != 0)
    {
        lLine.text(", last report ")
            .text(reinterpret_cast<char const*>(nSnapshot.mReport[0]))
            .text(" ")
            .text(reinterpret_cast<char const*>(nSnapshot.mReport[1]))
            .text(":")
            .number(static_cast<std::uint32_t>(nSnapshot.mReport[2]))
            .text(":")
            .number(static_cast<std::uint32_t>(nSnapshot.mReport[3]));
    }
    nLines.write(lLine);
}

void writeBooks(Lines& nLines, SlotSnapshot const& nSnapshot, LoopSnapshot const& nLoop)
{
    static char const* const NAMES[] = {
        "accepted ",    ", delivered ", ", erased ",   ", taken back ", ", waiting ",   ", most ", "; refused full ",
        ", too large ", ", stopped ",   "; orphaned ", ", interrupts ", ", time-outs ", ", lost ", "; calls "};
    Line lLine;
    addThread(lLine, nSnapshot).text(nLoop.mIsWhole ? "" : "about ");
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

void writeTimers(Lines& nLines, SlotSnapshot const& nSnapshot, LoopSnapshot const& nLoop)
{
    auto const lNumber = [&](unsigned int nIndex) { return static_cast<std::uint32_t>(nLoop.mTimers[nIndex]); };
    if (lNumber(0) == 0)
    {
        return;
    }
    Line lLine;
    addThread(lLine, nSnapshot).text("timers ").number(lNumber(0)).text(", ").number(lNumber(1)).text(" running");
    lNumber(1) != 0 ? void(addDue(lLine.text(", next"), lNumber(2))) : void();
    nLines.write(lLine);
}

void writeTimerRows(Lines& nLines, ThreadSlot& nSlot, SlotSnapshot const& nSnapshot)
{
    for (unsigned int lRow = 0; lRow < internal::TIMER_ROW_COUNT; ++lRow)
    {
        internal::TimerRow::Words lTimer;
        if (!internal::readTimer(nSlot, lRow, &lTimer) ||
            nSlot.mClaim.load(std::memory_order_acquire) != nSnapshot.mClaim)
        {
            continue;
        }
        auto const lNumber = [&](unsigned int nIndex) { return static_cast<std::uint32_t>(lTimer[nIndex]); };
        Line lLine;
        addThread(lLine, nSnapshot).text("timer ").number(lNumber(0)).text(" every ").number(lNumber(1)).text(" ms,");
        addDue(lLine, lNumber(2)).text(", time-outs ").number(lNumber(3));
        lNumber(4) != 0 ? void(lLine.text(" of ").number(lNumber(4))) : void();
        nLines.write(lLine);
    }
}

void writeWait(Lines& nLines, SlotSnapshot const& nSnapshot)
{
    static char const* const WAITS[] = {"",          ", synchronous message ", ", interrupt ", ", a request to it",
                                        ", its end", ", a lock that it holds"};
    SlotWord const lKind = nSnapshot.mWait[0] & ThreadSlot::WAIT_KINDS;
    if (lKind == ThreadSlot::WAIT_NONE || lKind >= sizeof(WAITS) / sizeof(WAITS[0]))
    {
        return;
    }
    Line lLine;
    addThread(lLine, nSnapshot).text("waits for ");
    SlotSnapshot lOther;
    if (nSnapshot.mWaitsFor == 0)
    {
        addTime(lLine.text("a lock"),
                nSnapshot.mWait[3]); // released at this moment, or the platform does not tell the owner
    }
    else
    {
        bool const lIsKnown = findSlot(nSnapshot.mWaitsFor, &lOther) != SLOT_COUNT;
        addThread(lLine, nSnapshot.mWaitsFor, lIsKnown ? lOther.mIdentity : SlotSnapshot::Identity{});
        addTime(lLine, nSnapshot.mWait[3]).text(WAITS[lKind]);
    }
    if (lKind == ThreadSlot::WAIT_SYNC_MSG || lKind == ThreadSlot::WAIT_INTERRUPT)
    {
        lLine.hex(static_cast<std::uint32_t>(nSnapshot.mWait[2]));
    }
    lLine.text(nSnapshot.isLimited() ? ", with a limit" : "");
    nLines.write(lLine);
}

/// npOf: the thread whose queue it is; null for a lock of the process.
void writeHeldLock(Lines& nLines, int nOwnerId, char const* npLock, SlotSnapshot const* npOf)
{
    Line lLine;
    SlotSnapshot lOwner;
    bool const lIsKnown = findSlot(nOwnerId, &lOwner) != SLOT_COUNT;
    addThread(lLine.text("thread "), nOwnerId, lIsKnown ? lOwner.mIdentity : SlotSnapshot::Identity{});
    lLine.text(": holds ").text(npLock);
    npOf != nullptr ? void(addThread(lLine.text(" of "), npOf->id(), npOf->mIdentity)) : void();
    nLines.write(lLine);
}

void writeHeldLocks(Lines& nLines)
{
    for (internal::NamedLock const& lLock : internal::gNamedLocks)
    {
        char const* lpName = nullptr;
        int const lOwnerId = internal::readLock(lLock, &lpName);
        lOwnerId != 0 ? writeHeldLock(nLines, lOwnerId, lpName, nullptr) : void();
    }
    for (ThreadSlot& lSlot : gThreadSlots)
    {
        SlotSnapshot lSnapshot;
        bool lIsWhole = false;
        std::uint32_t const lClaim = lSlot.mClaim.load(std::memory_order_acquire);
        int const lOwnerId = internal::ownerOfQueue(lSlot);
        if (lOwnerId != 0 && readSlot(lSlot, &lSnapshot, &lIsWhole) && lIsWhole && lSnapshot.mClaim == lClaim)
        {
            writeHeldLock(nLines, lOwnerId, "the queue", &lSnapshot);
        }
    }
}

// ---------------------------------------------------------------------------------------------- circles

/// A walk from a thread to the thread that it waits for, and so on.
struct Walk
{
    bool mIsCircle = false;
    unsigned int mFirst = SLOT_COUNT;  // the lowest slot on the walk
    bool mIsOld = true;                // each thread has waited for a second
    std::uint32_t mHash = 2166136261U; // of all waits on the walk; the same as long as nobody has stopped waiting
};

Walk walkFrom(unsigned int nIndex, Line* npLine)
{
    Walk lWalk;
    unsigned int lIndex = nIndex;
    for (unsigned int lSteps = 0; lSteps < SLOT_COUNT && !lWalk.mIsCircle; ++lSteps)
    {
        SlotSnapshot lSnapshot;
        bool lIsWhole = false;
        if (!readSlot(gThreadSlots[lIndex], &lSnapshot, &lIsWhole) || !lIsWhole || lSnapshot.mWaitsFor == 0 ||
            lSnapshot.isLimited())
        {
            return lWalk;
        }
        if (npLine != nullptr)
        {
            addThread(*npLine, lSnapshot.id(), lSnapshot.mIdentity).text(" waits for ");
        }
        lWalk.mIsOld &= internal::slotClock() - static_cast<std::uint32_t>(lSnapshot.mWait[3]) >= ONE_SECOND;
        lWalk.mFirst = lIndex < lWalk.mFirst ? lIndex : lWalk.mFirst;
        for (std::uint32_t const lPart : {std::uint32_t(lIndex), lSnapshot.mClaim, lSnapshot.mWaitGeneration})
        {
            lWalk.mHash = (lWalk.mHash ^ lPart) * 16777619U;
        }
        lIndex = findSlot(lSnapshot.mWaitsFor, &lSnapshot);
        if (lIndex == SLOT_COUNT)
        {
            return lWalk;
        }
        lWalk.mIsCircle = lIndex == nIndex;
    }
    return lWalk;
}

/// A circle is written once, for its lowest slot. If two walks find the same, it was complete when the first one ended.
void writeCircle(Lines& nLines, unsigned int nIndex)
{
    Walk const lFirst = walkFrom(nIndex, nullptr);
    if (!lFirst.mIsCircle || lFirst.mFirst != nIndex)
    {
        return;
    }
    Line lLine;
    // A young circle may be open already: one of its threads may only have to wake up.
    lLine.text(lFirst.mIsOld ? "deadlock: " : "circle: ");
    Walk const lSecond = walkFrom(nIndex, &lLine);
    SlotSnapshot lSnapshot;
    bool lIsWhole = false;
    if (lSecond.mIsCircle && lSecond.mHash == lFirst.mHash && readSlot(gThreadSlots[nIndex], &lSnapshot, &lIsWhole))
    {
        addThread(lLine, lSnapshot.id(), lSnapshot.mIdentity);
        nLines.write(lLine);
    }
}

std::atomic<int> gSignalFd{-1};

void onDumpSignal(int)
{
    dump(gSignalFd.load(std::memory_order_relaxed));
}

/// Writes all lines of one thread.
void writeThread(Lines& nLines, ThreadSlot& nSlot, SlotSnapshot const& nSnapshot)
{
    writeWork(nLines, nSnapshot);
    LoopSnapshot lLoop;
    if (readLoop(nSlot, &lLoop) && nSlot.mClaim.load(std::memory_order_acquire) == nSnapshot.mClaim)
    {
        writeBooks(nLines, nSnapshot, lLoop);
        writeTimers(nLines, nSnapshot, lLoop);
        writeTimerRows(nLines, nSlot, nSnapshot);
    }
    writeWait(nLines, nSnapshot);
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
        SlotSnapshot lSnapshot;
        bool lIsWhole = false;
        if (!readSlot(lSlot, &lSnapshot, &lIsWhole))
        {
            continue;
        }
        ++lThreads;
        if (!lIsWhole)
        {
            ++lPassedOver;
            continue;
        }
        writeThread(lLines, lSlot, lSnapshot);
    }
    writeHeldLocks(lLines);
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
