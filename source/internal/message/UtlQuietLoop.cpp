// The loop of message threads and shared timers.
#include "internal/message/UtlQuietLoop.h"

#include "UtlApplog.h"
#include "UtlThreadManager.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/thread/UtlWatchdogPort.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace utl::internal
{

QuietLoop::QuietLoop(Thread& nThread, Kind const& nKind, unsigned int nMaxRecords, unsigned int nMaxTimers)
    : Loop(nKind.mStopsFirst),
      mCtlQueue(nMaxRecords, nKind.mControlIds),
      mTimers(nKind.mTimers, nMaxTimers, nThread.getName().c_str()),
      mThread(nThread),
      mKind(nKind),
      mView{{}, &mCtlQueue.counts(), &mCounts, &mCallTimes.counts(), &mutexOf(mSyncObject)}
{
}

// ---------------------------------------------------------------------------------------------- for senders

/// Logs and counts that the queue is full. Result: false.
bool QuietLoop::refuse(CtlRecord const& nRecord)
{
    mCounts.mRefusedFull += mCtlQueue.isMsg(nRecord.mMsgId) ? 1 : 0;
    if (mKind.mpOverflow != nullptr)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpOverflow, name(), static_cast<int>(mCtlQueue.maxSize()),
               static_cast<unsigned int>(nRecord.mMsgId));
    }
    return false;
}

/// Takes down the note, which is up: the caller must write. Result: true.
bool QuietLoop::takeNoteLocked()
{
    mIsAsleep = false;
    mWriters.fetch_add(1, std::memory_order_relaxed);
    return true;
}

/// For a sender that has taken the note down. Result: false, with a line in the log, if the loop could not be woken;
/// then the caller still counts as writing.
bool QuietLoop::write(CtlRecord const& nRecord)
{
    unsigned int lWritten = 0;
    // For a stop it tries once more, since nothing else may ever wake the loop.
    if (mPipe.write(nRecord, &lWritten) || (mThread.hasRequestedStop() && mPipe.write(nRecord, &lWritten)))
    {
        stopWriting();
        return true;
    }
    applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpWriteFailed, name(), lWritten, errno);
    return false;
}

/// The last use of the loop, which may be destroyed from here on.
void QuietLoop::stopWriting()
{
    mWriters.fetch_sub(1, std::memory_order_release);
}

/// After a failed write. Result: true if the record was still the newest, and was taken back.
bool QuietLoop::takeBackLocked(Wake const& nWake)
{
    if (nWake.mGeneration != mGeneration || !mCtlQueue.takeBack(nWake.mNumber))
    {
        return false;
    }
    putNoteBackLocked();
    return true;
}

/// Puts the note up again: the loop still sleeps, and the next sender tries to wake it. If it is to stop, no sender may
/// come.
void QuietLoop::putNoteBackLocked()
{
    mIsAsleep = !mHasEnded && !mThread.hasRequestedStop();
    if (mThread.hasRequestedStop())
    {
        mIsHungUp = true;
        mPipe.hangUp();
    }
}

/// After a failed write, if the record was not taken back: the loop has woken meanwhile and seen it, or other senders
/// have appended behind it and rely on this one.
void QuietLoop::wakeForOthers(CtlRecord const& nRecord, Wake const& nWake)
{
    {
        SyncGuard lGuard(mSyncObject);
        if (nWake.mGeneration != mGeneration)
        {
            return;
        }
    }
    unsigned int lWritten = 0;
    bool const lIsWritten = mPipe.write(nRecord, &lWritten);
    SyncGuard lGuard(mSyncObject);
    if (!lIsWritten && nWake.mGeneration == mGeneration)
    {
        putNoteBackLocked();
    }
}

bool QuietLoop::post(CtlRecord const& nRecord)
{
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        if (!appendLocked(nRecord, &lWake))
        {
            return false;
        }
    }
    return wake(nRecord, lWake, [] {});
}

void QuietLoop::postStop(int nMsgId)
{
    CtlRecord const lRecord{nMsgId, -1};
    Wake lWake;
    {
        SyncGuard lGuard(mSyncObject);
        if (!appendLocked(lRecord, &lWake))
        {
            lWake.mIsMine = mIsAsleep && takeNoteLocked();
            lWake.mGeneration = mGeneration;
            lWake.mNumber = mCtlQueue.lastNumber() - 1; // there is nothing to take back
        }
    }
    wake(lRecord, lWake, [] {});
}

void QuietLoop::waitForOthers()
{
    LoopList::leave(*this); // its thread may never have run it
    while (mWriters.load(std::memory_order_acquire) != 0)
    {
        pauseBriefly();
    }
}

// ---------------------------------------------------------------------------------------------- the loop

bool QuietLoop::run()
{
    struct Listed
    {
        explicit Listed(Loop& nLoop)
            : mLoop(nLoop)
        {
            LoopList::enter(mLoop);
        }
        ~Listed() { LoopList::leave(mLoop); }
        Loop& mLoop;
    } const lListed(*this);
    TimerSignal const& lSignal = mKind.mTimers.mSignal;
    {
        SyncGuard lGuard(mSyncObject);
        lSignal.keepBack(&mTimers.notes());
    }
    LoopShown const lShown(mView);
    Turn lTurn = TURN_SLEEP;
    while (lTurn != TURN_END && (lTurn == TURN_GO_ON || wait()))
    {
        lTurn = turn();
    }
    lSignal.keepBack(nullptr);
    SyncGuard lGuard(mSyncObject);
    mCallTimes.tick(callClockNs());
    return lTurn == TURN_END;
}

/// One turn: lets due signals in once, serves requests, then makes one dispatch, so that nothing starves.
QuietLoop::Turn QuietLoop::turn()
{
    letSignalsIn();
    if (hasComeUnderWatchdog())
    {
        mThread.startWatchdog(); // a new entry is unwatched until the next wait, which may be far off
    }
    if (hasRequests())
    {
        {
            SyncGuard lGuard(mSyncObject);
            mCallTimes.tick(callClockNs());
        }
        serveRequests();
        report(mKind.mLineAfterDispatch);
    }
    CtlRecord lWork;
    long long const lNowNs = callClockNs();
    {
        SyncGuard lGuard(mSyncObject);
        mCallTimes.tick(lNowNs);
        if (!takeLocked(&lWork))
        {
            return withoutWorkLocked();
        }
    }
    int const lResult = dispatch(lWork);
    report(mKind.mLineAfterDispatch);
    if (lResult != 0)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, mKind.mpDispatchFailed, name(), static_cast<unsigned int>(lWork.mMsgId));
    }
    return mThread.hasRequestedStop() ? TURN_END : TURN_GO_ON;
}

QuietLoop::Turn QuietLoop::withoutWorkLocked()
{
    if (hasRequests())
    {
        return TURN_GO_ON; // a request has come since we looked
    }
    if (mThread.hasRequestedStop())
    {
        return TURN_END;
    }
    mIsAsleep = true;
    mTimers.show(&mView);
    showWork(ThreadSlot::WORK_NONE, 0, 0);
    return TURN_SLEEP;
}

/// Waits; the note is up. An idle thread does not hang, so the watchdog does not watch it meanwhile.
/// Result: false if the pipe cannot be read any more.
bool QuietLoop::wait()
{
    hasComeUnderWatchdog();
    bool const lIsWatched = mIsUnderWatchdog;
    if (lIsWatched)
    {
        report(mKind.mLineBeforeWait);
        mThread.stopWatchdog();
    }
    unsigned int lRead = 0;
    int const lError = sleep(&lRead);
    if (lIsWatched)
    {
        mThread.startWatchdog();
        report(mKind.mLineAfterWait);
    }
    {
        SyncGuard lGuard(mSyncObject);
        ++mGeneration;
        mIsAsleep = false;
        takeNotesLocked();
    }
    if (lError != 0)
    {
        bool const lIsInterrupted = lError == EINTR;
        applog(UTL_LOG_TYPE, lIsInterrupted ? LOG_LEVEL_INFO : LOG_LEVEL_ERROR,
               lIsInterrupted ? mKind.mpReadInterrupted : mKind.mpReadFailed, name(), lRead, lError);
    }
    return lError == 0 || lError == EINTR;
}

/// Sleeps until there is something to read, or a timer's signal. Result: 0, or the errno of a read that gave *npRead.
int QuietLoop::sleep(unsigned int* npRead)
{
    if (nextDueNs() != TimerInfo::NEVER)
    {
        *npRead = ~0U;
        if (mKind.mTimers.mSignal.waitOpen(mPipe.readFd()) == -1)
        {
            return errno != EINTR ? errno : 0;
        }
    }
    return mPipe.read(npRead) || (mIsHungUp && *npRead == 0) ? 0 : errno;
}

/// For a busy loop: if a timer is due, lets in the signals that wait. The kernel lets in one signal per call.
void QuietLoop::letSignalsIn()
{
    if (nextDueNs() == TimerInfo::NEVER || monotonicNs() < nextDueNs())
    {
        return;
    }
    ExpiryNotes const& lNotes = notes();
    unsigned int lCount = 0;
    do
    {
        lCount = lNotes.count();
        mKind.mTimers.mSignal.letIn();
    } while (lNotes.count() != lCount);
    SyncGuard lGuard(mSyncObject);
    takeNotesLocked();
}

/// Queues time-outs for the notes of the signal handler, behind all that is queued.
void QuietLoop::takeNotesLocked()
{
    if (nextDueNs() == TimerInfo::NEVER)
    {
        return;
    }
    long long const lNowNs = monotonicNs();
    ExpiryNotes& lNotes = mTimers.notes();
    for (unsigned int lIndex = 0; lIndex < lNotes.count(); ++lIndex)
    {
        TimerTable::Expiry lExpiry = mTimers.expire(lNotes.at(lIndex), lNowNs);
        Wake lWake; // not used: the loop is awake
        while (lExpiry.mCount != 0 && appendLocked({mKind.mTimeoutId, lExpiry.mTimerId}, &lWake))
        {
            --lExpiry.mCount;
        }
        mCounts.mTimeoutsLost += lExpiry.mLost + lExpiry.mCount;
        mTimers.onLost(lExpiry);
    }
    lNotes.clear();
    mTimers.findNextDue();
    mTimers.show(&mView);
}

/// Result: true if the watchdog's table has changed since the last look, and the thread is in it.
bool QuietLoop::hasComeUnderWatchdog()
{
    unsigned int const lVersion = watchdog::gTableVersion.load(std::memory_order_acquire);
    if (lVersion == mWatchdogTableVersion)
    {
        return false;
    }
    mIsUnderWatchdog = ThreadManager::get()->isRegisteredWatchdog(0);
    mWatchdogTableVersion = lVersion;
    return mIsUnderWatchdog;
}

void QuietLoop::report(unsigned int nLine)
{
    if (mIsUnderWatchdog)
    {
        ThreadManager::get()->keepAliveWatchdog(StatementInfo(mKind.mpFile, "execute", nLine, 0));
    }
}

// ---------------------------------------------------------------------------------------------- the ledger

long long QuietLoop::callClockNs() const
{
    CallClock const lClock = mCallClock.load(std::memory_order_relaxed);
    return lClock == CallClock::COARSE ? coarseMonotonicNs() : lClock == CallClock::PRECISE ? monotonicNs() : 0;
}

Ledger QuietLoop::ledger() const
{
    Ledger lLedger;
    SyncGuard lGuard(mSyncObject);
    mCtlQueue.read(&lLedger);
    lLedger.mRefusedFull = mCounts.mRefusedFull;
    lLedger.mRefusedTooLarge = mCounts.mRefusedTooLarge;
    lLedger.mRefusedStopped = mCounts.mRefusedStopped;
    lLedger.mOrphaned = mCounts.mOrphaned;
    lLedger.mInterrupts = mCounts.mInterrupts;
    lLedger.mTimeouts = mCounts.mTimeouts;
    lLedger.mTimeoutsLost = mCounts.mTimeoutsLost;
    mCallTimes.read(&lLedger, callClockNs());
    return lLedger;
}

void QuietLoop::describe(char* npText, unsigned int nSize) const
{
    if (!LoopList::lockSoon(mSyncObject)) // held by a judgement of the application, for example
    {
        std::snprintf(npText, nSize, "its queue is locked");
        return;
    }
    describeLocked(npText, nSize);
    mSyncObject.unlock();
}

void QuietLoop::describeLocked(char* npText, unsigned int nSize) const
{
    Ledger const lLedger = ledger();
    if (lLedger.mIsInCall)
    {
        std::snprintf(npText, nSize, mKind.mpCallUnderWay, static_cast<unsigned int>(lLedger.mCallId), listenerLocked(),
                      lLedger.mCallNs / 1000000, lLedger.mWaiting, static_cast<unsigned int>(nextIdLocked()));
        return;
    }
    std::snprintf(npText, nSize, "no call under way  Waiting:%u NextId:0x%08x", lLedger.mWaiting,
                  static_cast<unsigned int>(nextIdLocked()));
}

// ---------------------------------------------------------------------------------------------- timers

bool QuietLoop::startTimerLocked(int nTimerId, TimerInfo& nInfo)
{
    mKind.mTimers.mSignal.keepBack(&mTimers.notes()); // the thread may not be in its loop yet
    nInfo.mTimeoutCount = 0;
    if (!mTimers.arm(nInfo))
    {
        return false;
    }
    nInfo.mpRunningEvent->setOn();
    mTimers.showTimer(nTimerId, &nInfo);
    return true;
}

bool QuietLoop::stopTimerLocked(int nTimerId, TimerInfo& nInfo)
{
    bool const lHasRun = nInfo.mSysTimerNumber != -1;
    bool const lIsDisarmed = mTimers.disarm(nInfo);
    mTimers.showTimer(nTimerId, nullptr);
    if (lIsDisarmed && lHasRun)
    {
        eraseTimeoutsLocked(nTimerId);
    }
    return lIsDisarmed;
}

QuietLoop::TimeoutResult QuietLoop::finishTimeoutLocked(int nTimerId, TimerInfo& nInfo)
{
    if (TimerTable::countTimeout(nInfo))
    {
        stopTimerLocked(nTimerId, nInfo);
        nInfo.mpRunningEvent->setOff();
        return TIMEOUT_ENDED;
    }
    TimeoutResult lResult = TIMEOUT_GOES_ON;
    if (nInfo.mIsFreeRunning == 0 || nInfo.mHasNewInterval)
    {
        eraseTimeoutsLocked(nTimerId);
        lResult = mTimers.rearm(nInfo) ? TIMEOUT_GOES_ON : TIMEOUT_REARM_FAILED;
    }
    mTimers.showTimer(nTimerId, &nInfo);
    return lResult;
}

void QuietLoop::eraseTimeoutsLocked(int nTimerId)
{
    CtlRecord const lTimeout{mKind.mTimeoutId, nTimerId};
    mCtlQueue.eraseIf([&](CtlRecord const& nRecord) { return nRecord == lTimeout; });
}

void QuietLoop::enlistLocked(TimerWaiter& nWaiter, int nTimerId, std::initializer_list<int> nMsgIds)
{
    mWaiters.enlistRequest(nWaiter, nTimerId, countRequestsLocked(nTimerId, nMsgIds) - 1);
}

unsigned int QuietLoop::countRequestsLocked(int nTimerId, std::initializer_list<int> nMsgIds) const
{
    unsigned int lCount = 0;
    for (unsigned int lIndex = 0; lIndex < mCtlQueue.size(); ++lIndex)
    {
        CtlRecord const& lRecord = mCtlQueue.at(lIndex);
        bool const lIsRequest = std::count(nMsgIds.begin(), nMsgIds.end(), lRecord.mMsgId) != 0;
        lCount += lIsRequest && lRecord.mParam == nTimerId ? 1 : 0;
    }
    return lCount;
}

} // namespace utl::internal
