// Races repeated by the hundred thousand; each round ends in an exact account.
//
//   UtlRaceProof                      each race and a short account: the quick form
//   UtlRaceProof NAME|all [OVERLAPS [DUMPS]]
//                                     one race, or all; the rounds of most have several overlaps. Each goes on until
//                                     so many dumps by signal have been read, each line of them whole
//   UtlRaceProof account [MESSAGES]   senders, erasures and stops until so many messages were accepted
//
// The end of a round is checked to the last message, timer and call. An account that is not exact ends the program with
// 1 and the place, a hang with 3 and the name of the race.
#include "Dumps.h"
#include "Prove.h"
#include "UtlEvent.h"
#include "UtlMsgDrivenSharedThread.h"
#include "UtlThreadWatchdog.h"
#include "UtlTimer.h"
#include "support/MsgThread.h"

#include <map>

#include <sys/prctl.h>

namespace
{

using namespace utl;
using internal::SystemCalls;
using proof::gRound;
using test::NumberMsg;
using Peer = MsgDrivenThreadTestPeer;

ThreadPriority const NORMAL(ThreadPriority::NORMAL);

// ---------------------------------------------------------------------------------------------- at the same time

/// A sequence of its own for each thread and round.
class Random
{
public:
    explicit Random(unsigned int nSalt)
        : mState(static_cast<unsigned int>(gRound.load()) * 2654435761U + nSalt * 40503U)
    {
    }
    unsigned int below(unsigned int nLimit)
    {
        mState = mState * 1664525U + 1013904223U;
        return (mState >> 8) % nLimit;
    }

    /// Passes so often between nothing and some ten microseconds, short ones more often.
    void pause(unsigned int nTimes = 1)
    {
        for (; nTimes > 0; --nTimes)
        {
            unsigned int const lTurns = below(1U << below(14));
            for (unsigned int volatile lTurn = 0; lTurn < lTurns; lTurn = lTurn + 1)
            {
            }
        }
    }

private:
    unsigned int mState;
};

/// Runs each part on a thread of its own. All begin at once, give or take a pause that differs from round to round.
void together(std::vector<std::function<void()>> const& nParts)
{
    std::atomic<std::size_t> lAbsent{nParts.size()};
    std::vector<std::thread> lThreads;
    for (std::size_t lIndex = 0; lIndex < nParts.size(); ++lIndex)
    {
        lThreads.emplace_back(
            [&, lIndex]
            {
                for (--lAbsent; lAbsent != 0;)
                {
                    ::sched_yield();
                }
                Random(static_cast<unsigned int>(lIndex)).pause();
                nParts[lIndex]();
            });
    }
    for (std::thread& lThread : lThreads)
    {
        lThread.join();
    }
}

long long toNs(timespec const& nTime)
{
    return nTime.tv_sec * 1000000000LL + nTime.tv_nsec;
}

timespec toTime(long long nNs)
{
    timespec lTime{};
    lTime.tv_sec = static_cast<time_t>(nNs / 1000000000);
    lTime.tv_nsec = static_cast<long>(nNs % 1000000000);
    return lTime;
}

/// A millisecond of the library's timers is a thirtieth of one: expiries are near whatever they race with.
int setShortTime(timer_t nTimer, int nFlags, itimerspec const* npTime, itimerspec* npOld)
{
    itimerspec const lTime{toTime(toNs(npTime->it_interval) / 30), toTime(toNs(npTime->it_value) / 30)};
    return ::timer_settime(nTimer, nFlags, &lTime, npOld);
}

/// Likewise, a wait with a limit ends within some ten microseconds, short ones more often.
int waitShortTime(pthread_cond_t* npCondition, pthread_mutex_t* npMutex, timespec const*)
{
    static std::atomic<unsigned int> sWaits{0};
    Random lRandom(++sWaits);
    timespec lNow{};
    ::clock_gettime(CLOCK_MONOTONIC, &lNow);
    timespec const lUntil = toTime(toNs(lNow) + lRandom.below(1U << lRandom.below(17)));
    return ::pthread_cond_timedwait(npCondition, npMutex, &lUntil);
}

// ---------------------------------------------------------------------------------------------- messages and timers

std::atomic<bool> gFailsWrites{false};

/// Every third wake-up by a sender or a stop of a race fails; half of them come through all the same.
ssize_t writeOrFail(int nFd, void const* npRecord, std::size_t nSize)
{
    static std::atomic<unsigned int> sWrites{0};
    int const lMsgId = *static_cast<int const*>(npRecord);
    bool const lIsOfRace =
        nSize == 2 * sizeof(int) && (lMsgId > 0 || lMsgId == MSG_ID_OUT_OF_BAND || lMsgId == MSG_ID_STOP_THREAD);
    unsigned int const lTurn = gFailsWrites && lIsOfRace ? ++sWrites % 6 : 1;
    if (lTurn % 3 == 0)
    {
        [[maybe_unused]] ssize_t const lWritten = lTurn == 0 ? ::write(nFd, npRecord, nSize) : 0;
        errno = EIO;
        return -1;
    }
    return ::write(nFd, npRecord, nSize);
}

/// What became of the messages of all rounds.
struct Totals
{
    unsigned long long mAccepted, mDelivered, mErased, mLeft, mRefused, mTimeouts;
} gTotals;

/// A message thread that keeps an account of each message and timer. The parts of a round are letters:
///   p posts, d posts so slowly that the thread sleeps between, s sends synchronously, m posts and sends, i interrupts,
///   l sends synchronously within a limit, the only one of a round to send so, e erases selections, f looks for
///   messages, t makes and kills timers, ! stops; without a stop all that was accepted is waited for.
class Subject : public MsgDrivenThread, private ThreadMsgListener
{
public:
    Subject(char const* npParts, unsigned int nCount, unsigned int nQueue)
        : MsgDrivenThread(4, nQueue, "subject", TIMERS),
          mpParts(npParts),
          mCount(nCount),
          mSenders(std::strlen(npParts)),
          mTimers(mSenders.size() * nCount + 1)
    {
        for (Sender& lSender : mSenders)
        {
            lSender.mMessages.resize(nCount);
        }
        PROVE_EQ(0, start(this, static_cast<int>(gRound % 2), 1000000, nullptr, 1, 0, NORMAL, 0));
    }

    /// One round.
    void run()
    {
        std::vector<std::function<void()>> lParts;
        for (unsigned int lIndex = 0; lIndex < mSenders.size(); ++lIndex)
        {
            lParts.emplace_back([this, lIndex] { part(lIndex); });
        }
        together(lParts);
        gFailsWrites = false;
        if (!hasRequestedStop())
        {
            while (!sendMsgSync(FENCE)) // refused by a full queue
            {
                ::sched_yield();
            }
            PROVE_EQ(0, Peer::left(*this).size());
            PROVE_EQ(0, stop(1, 0));
        }
        PROVE(!ThreadManager::get()->isRegisteredWatchdog(getId()));
        PROVE(!postMsg(1) && !sendMsgSync(1) && !sendMsgInterrupt(1) && !hasMsg(MSG_ID_ANY));
        closeMessages();
        closeTimers();
        PROVE(leaveManagement());
    }

    /// The stop comes when so many messages have been delivered or erased.
    unsigned int mStopAfter = 0;

private:
    static constexpr unsigned int TIMERS = 8;
    static constexpr int FENCE = 1000;

    /// mSent is the sender's: p posted, r received, g given up, n not received, all as the results say. mFate is the
    /// message thread's, until its end: d delivered, e erased, l left by the stop. 0 before.
    struct Message
    {
        char mSent = 0;
        char mFate = 0;
    };

    /// Numbers its messages from 0 on without a gap. Its id is its index and 1.
    struct Sender
    {
        std::vector<Message> mMessages;
        int mLast = -1; // the message thread's, until its end: the last number delivered
    };

    struct TimerAccount
    {
        std::atomic<bool> mIsDead{false}; // killed, and waited for
        std::atomic<unsigned int> mFired{0};
        std::atomic<unsigned int> mLeft{0}; // told so
        unsigned int mMaxCount = 0;         // the maker's, with the next
        bool mIsMade = false;
    };

    void part(unsigned int nIndex)
    {
        Random lRandom(nIndex + 100);
        switch (mpParts[nIndex])
        {
        case 'e':
            return erase(lRandom);
        case 'f':
            return find(lRandom);
        case 't':
            return makeTimers(lRandom);
        case '!':
            PROVE(mStopAfter == 0 || mIsToStop.wait());
            PROVE_EQ(0, stop(1, 0));
            return;
        default:
            send(nIndex, lRandom);
        }
    }

    void send(unsigned int nIndex, Random& nRandom)
    {
        for (unsigned int lNumber = 0; lNumber < mCount && !hasRequestedStop();)
        {
            char const lKind = mpParts[nIndex] != 'm' ? mpParts[nIndex] : nRandom.below(32) == 0 ? 's' : 'p';
            lKind == 'd' ? nRandom.pause() : void();
            char const lSent = sent(lKind, NumberMsg(static_cast<int>(nIndex) + 1, static_cast<int>(lNumber)));
            mSenders[nIndex].mMessages[lNumber].mSent = lSent;
            lNumber += lSent != 0 ? 1 : 0;
        }
    }

    char sent(char nKind, NumberMsg const& nMsg)
    {
        switch (nKind)
        {
        case 's':
            return sendMsgSync(nMsg) ? 'r' : 'n';
        case 'i':
            return sendMsgInterrupt(nMsg) ? 'r' : 'n';
        case 'l':
        {
            Send const lSend = trySend(nMsg, 1);
            return lSend == Send::DONE ? 'r' : lSend == Send::TIMED_OUT ? 'g' : 'n';
        }
        default:
            return postMsg(nMsg) ? 'p' : static_cast<char>(::sched_yield()); // 0: a full queue, or the end
        }
    }

    /// Passes some messages and keeps them in the account.
    void erase(Random& nRandom)
    {
        for (unsigned int lCount = 0; lCount < mCount && isRunning(); ++lCount)
        {
            unsigned int const lEvery = 1 + nRandom.below(8);
            int const lRest = static_cast<int>(nRandom.below(lEvery));
            auto lPasses = [&](ThreadRawMsg& nRawMsg) // on the message thread, like the delivery
            {
                NumberMsg lMsg(0);
                bool const lIsOurs = lMsg.restoreFrom(nRawMsg) && lMsg.mMsgId != FENCE;
                bool const lIsPassed = lIsOurs && lMsg.mNumber % static_cast<int>(lEvery) == lRest;
                lIsPassed ? settle(lMsg, 'e') : void();
                return lIsPassed;
            };
            MsgJudgement<decltype(lPasses)> lJudgement(&lPasses);
            PROVE(eraseMsgInternal(&lJudgement) || !isRunning());
            nRandom.pause(mCount / 50);
        }
    }

    bool isKnown(int nMsgId) const
    {
        bool const lIsSender = nMsgId > 0 && nMsgId <= static_cast<int>(mSenders.size());
        return lIsSender || nMsgId == MSG_ID_TIMER || nMsgId == FENCE;
    }

    void find(Random& nRandom)
    {
        ThreadRawMsg lImage(8);
        for (unsigned int lCount = 0; lCount < mCount && isRunning(); ++lCount)
        {
            proveBalanced(ledger());
            hasMsg(static_cast<int>(nRandom.below(4)));
            if (peekMsg(MSG_ID_ANY, &lImage))
            {
                NumberMsg lMsg(0);
                PROVE(lMsg.restoreFrom(lImage));
                PROVE(isKnown(lMsg.mMsgId));
            }
            nRandom.pause();
        }
    }

    void makeTimers(Random& nRandom)
    {
        for (unsigned int lCount = 0; lCount < mCount && !hasRequestedStop(); ++lCount)
        {
            unsigned int const lMaxCount = nRandom.below(3);
            int const lIsFreeRunning = static_cast<int>(lCount % 2);
            int const lId = setTimer(1, static_cast<int>(nRandom.below(2)), lMaxCount, lIsFreeRunning);
            if (lId == -1)
            {
                continue; // no room, or the end
            }
            PROVE(lId > 0 && lId < static_cast<int>(mTimers.size()));
            TimerAccount& lTimer = mTimers[static_cast<unsigned int>(lId)];
            PROVE(!lTimer.mIsMade); // an id is given once
            lTimer.mIsMade = true;
            lTimer.mMaxCount = lMaxCount;
            nRandom.pause(nRandom.below(60));
            int const lNoWait = static_cast<int>(nRandom.below(2));
            bool const lIsKilled = killTimer(lId, lNoWait);
            PROVE(lIsKilled || lMaxCount != 0 || hasRequestedStop()); // it cannot have gone by itself
            if (lIsKilled)
            {
                lTimer.mIsDead = lNoWait == 0;
                lTimer.mMaxCount += lMaxCount != 0 ? lCount % 2 : 0; // two may wait, and both come
            }
            else if (!hasRequestedStop())
            {
                PROVE_EQ(lMaxCount, lTimer.mFired);
            }
        }
    }

    void onEraseTimer(int nTimerId) override { ++mTimers[static_cast<unsigned int>(nTimerId)].mLeft; }

    void receiveMsg(int nThreadId, ThreadRawMsg& nRawMsg) override
    {
        PROVE_EQ(getId(), nThreadId);
        NumberMsg lMsg(0);
        PROVE(lMsg.restoreFrom(nRawMsg));
        settle(lMsg, 'd');
    }

    /// On the message thread, and after its end.
    void settle(NumberMsg const& nMsg, char nFate)
    {
        bool const lIsTimeout = nMsg.mMsgId == MSG_ID_TIMER;
        ++(lIsTimeout ? mTimeoutsMet : mMet)[nFate];
        if (lIsTimeout)
        {
            TimerAccount& lTimer = mTimers[static_cast<unsigned int>(nMsg.mNumber)];
            PROVE(!lTimer.mIsDead);
            ++lTimer.mFired;
            ++gTotals.mTimeouts;
        }
        else if (nMsg.mMsgId != FENCE)
        {
            PROVE(isKnown(nMsg.mMsgId));
            Sender& lSender = mSenders[static_cast<unsigned int>(nMsg.mMsgId) - 1];
            char& lFate = lSender.mMessages.at(static_cast<unsigned int>(nMsg.mNumber)).mFate;
            PROVE_EQ(0, lFate); // nothing is met twice
            PROVE(nFate == 'e' || nMsg.mNumber > lSender.mLast);
            lFate = nFate;
            lSender.mLast = nFate == 'e' ? lSender.mLast : nMsg.mNumber; // what is left comes behind what was heard
            ++mSettled == mStopAfter ? mIsToStop.open() : void();
        }
    }

    void closeMessages()
    {
        for (auto const& [lMsgId, lNumber] : Peer::left(*this))
        {
            settle(NumberMsg(lMsgId, lNumber), 'l');
        }
        for (Sender const& lSender : mSenders)
        {
            for (auto const& [lSent, lFate] : lSender.mMessages)
            {
                PROVE(lSent != 'p' || lFate != 0);
                PROVE_EQ(lSent == 'r', lSent != 'p' && lFate == 'd');
                PROVE(lFate == 0 || lSent != 0);
                PROVE(lFate != 'e' || lSent != 'g');
                mDropped += lFate == 0 && lSent == 'g' ? 1 : 0;
            }
        }
        closeLedger();
    }

    /// The thread's own books say what was met.
    void closeLedger()
    {
        Ledger const lLedger = ledger();
        proveBalanced(lLedger);
        PROVE_EQ(mMet['d'], lLedger.mDelivered + lLedger.mInterrupts);
        PROVE_EQ(mMet['e'] + mDropped, lLedger.mErased);
        PROVE_EQ(mMet['l'], lLedger.mWaiting);
        PROVE_EQ(mTimeoutsMet['d'], lLedger.mTimeouts);
        PROVE_EQ(lLedger.mCalls, lLedger.mDelivered + lLedger.mInterrupts + lLedger.mTimeouts);
        PROVE(!lLedger.mIsInCall);
        gTotals.mAccepted += lLedger.mAccepted - lLedger.mTakenBack + lLedger.mInterrupts;
        gTotals.mDelivered += lLedger.mDelivered + lLedger.mInterrupts;
        gTotals.mErased += lLedger.mErased;
        gTotals.mLeft += lLedger.mWaiting;
        gTotals.mRefused += lLedger.mRefusedFull;
    }

    static void proveBalanced(Ledger const& nLedger)
    {
        PROVE_EQ(nLedger.mAccepted, nLedger.mDelivered + nLedger.mErased + nLedger.mTakenBack + nLedger.mWaiting);
        PROVE(nLedger.mWaiting <= nLedger.mMostWaiting);
    }

    void closeTimers()
    {
        PROVE_EQ(static_cast<int>(TIMERS), remTimerIdCount());
        for (TimerAccount const& lTimer : mTimers)
        {
            PROVE_EQ(lTimer.mIsMade ? 1 : 0, lTimer.mLeft);
            PROVE(lTimer.mMaxCount == 0 || lTimer.mFired <= lTimer.mMaxCount);
            PROVE(lTimer.mIsMade || lTimer.mFired == 0);
        }
    }

    char const* const mpParts;
    unsigned int const mCount; // turns of each part
    std::vector<Sender> mSenders;
    std::vector<TimerAccount> mTimers; // by id
    std::map<char, unsigned int> mMet; // by fate; the message thread's, until its end, with the next two
    std::map<char, unsigned int> mTimeoutsMet;
    unsigned int mSettled = 0;
    unsigned int mDropped = 0; // given up, and met by nobody
    test::Gate mIsToStop;
};

/// If writes fail, what a sender is told is still what becomes of his message.
void raceMessages(char const* npParts, unsigned int nCount, bool nWritesFail = false)
{
    test::Replaced const lWrite(&SystemCalls::mWrite, nWritesFail ? &writeOrFail : internal::gSystem.mWrite.function());
    test::Replaced const lWait(&SystemCalls::mPthreadCondTimedwait, &waitShortTime);
    Subject lSubject(npParts, nCount, 8);
    gFailsWrites = nWritesFail;
    lSubject.run();
}

/// Three senders, an interrupter, erasures and a look-out on a queue that is full now and then; a stop after some tens
/// of thousands of messages.
void account()
{
    unsigned int const COUNT = 20000;
    Subject lSubject("mmmief!", COUNT, 64);
    lSubject.mStopAfter = 1 + Random(1).below(2 * COUNT);
    lSubject.run();
}

// ---------------------------------------------------------------------------------------------- shared message thread

/// Hears numbers, in order. mIsGone: it has been detached and aborted, or its thread has ended.
struct Ear : ThreadMsgListener
{
    void receiveMsg(int, ThreadRawMsg& nRawMsg) override
    {
        NumberMsg lMsg(0);
        PROVE(lMsg.restoreFrom(nRawMsg));
        PROVE(!mIsGone);
        if (lMsg.mMsgId == BROADCAST)
        {
            PROVE(!mIsDetached);
            PROVE(mNext == -1 || lMsg.mNumber == mNext); // none is left out or heard twice while it is attached
            mNext = lMsg.mNumber + 1;
            ++mHeard;
        }
        else if (lMsg.mMsgId == OWN)
        {
            ++mOwn;
        }
        Random(mOwn).pause();
        PROVE(!mIsGone); // nor has it gone meanwhile
    }

    static constexpr int BROADCAST = 1;
    static constexpr int OWN = 2;

    std::atomic<bool> mIsDetached{false};
    std::atomic<bool> mIsGone{false};
    int mNext = -1; // the message thread's, with the next
    unsigned int mHeard = 0;
    std::atomic<unsigned int> mOwn{0};
};

/// Listeners come and go while another thread broadcasts, or stops the thread.
void raceListeners(bool nIsStopped)
{
    Ear lStays;
    Ear lGo[2][3];
    // Never full without a stop: a full one refuses a detachment.
    MsgDrivenSharedThread lThread(4, nIsStopped ? 8 : 64, 4, "shared", 6);
    PROVE_EQ(0, lThread.start(0, 0, nullptr, 1, 0, NORMAL, 0));
    PROVE(lThread.attachMsgListener(&lStays));
    int const COUNT = nIsStopped ? static_cast<int>(Random(9).below(50)) : 30;
    auto const lOther = [&]
    {
        for (int lNumber = 0; lNumber < COUNT; ++lNumber)
        {
            Random(static_cast<unsigned int>(lNumber)).pause();
            PROVE(lThread.postMsg(NumberMsg(Ear::BROADCAST + (nIsStopped ? 10 : 0), lNumber)) || nIsStopped);
        }
        PROVE_EQ(0, nIsStopped ? lThread.stop(1, 0) : 0);
    };
    auto const lComeAndGo = [&](Ear* npEars)
    {
        Random lRandom(7);
        for (int lTurn = 0; lTurn < 3; ++lTurn)
        {
            Ear& lEar = npEars[lTurn];
            PROVE(lThread.attachMsgListener(&lEar) || nIsStopped);
            unsigned int const lPosted = lThread.postMsg(&lEar, Ear::OWN) ? 1 : 0;
            unsigned int lSent = lThread.sendMsgInterrupt(&lEar, Ear::OWN) ? 1 : 0;
            lThread.setTimer(&lEar, 1, lTurn % 2, lRandom.below(2), lTurn % 2);
            lRandom.pause();
            lSent += lThread.sendMsgSync(&lEar, Ear::OWN) ? 1 : 0;
            unsigned int const lOwn = lEar.mOwn; // looked at once: what was posted may come now, or be left at the stop
            PROVE(lOwn == lSent + lPosted || (nIsStopped && lOwn == lSent));
            PROVE(lSent + lPosted == 3 || nIsStopped);
            lThread.hasMsg(&lEar, Ear::OWN);
            lThread.detachMsgListener(&lEar);
            lEar.mIsDetached = !nIsStopped; // a full queue refuses, and what is left calls nobody
            PROVE(lThread.postMsg(&lEar, Ear::OWN) || nIsStopped);
            lThread.abortMsg(&lEar); // false if its timer has just gone by itself
            lEar.mIsGone = !nIsStopped;
        }
    };
    together({lOther, [&] { lComeAndGo(lGo[0]); }, [&] { lComeAndGo(lGo[1]); }});
    PROVE(nIsStopped || lThread.sendMsgSync(&lStays, Ear::OWN));
    PROVE_EQ(nIsStopped ? 0 : COUNT, lStays.mHeard);
    PROVE_EQ(6, lThread.remTimerIdCount());
    PROVE_EQ(nIsStopped ? -1 : 0, lThread.stop(1, 0));
    PROVE(lThread.leaveManagement());
}

// ---------------------------------------------------------------------------------------------- shared timer

/// Counts its calls. mIsGone: its timer is erased, with waiting, or the timer thread has ended.
struct Bell : TimerListener
{
    void onTime(int nTimerId) override
    {
        PROVE(!mIsGone);
        PROVE(mTimerId == 0 || mTimerId == nTimerId);
        Random(static_cast<unsigned int>(nTimerId)).pause();
        ++mCalls;
        PROVE(!mIsGone); // nor has it gone meanwhile
    }

    std::atomic<int> mTimerId{0};
    std::atomic<bool> mIsGone{false};
    std::atomic<unsigned int> mCalls{0};
};

/// Timers are started, restarted, stopped and erased about when they expire.
void raceTimerCancel()
{
    Bell lLives; // longer than the timers of one who waits for nothing
    Bell lBells[2][4];
    SharedTimer lTimer(static_cast<int>(gRound % 2), 1000000, nullptr, 16, "timer");
    auto const lUse = [&](Bell* npBells, unsigned int nSalt)
    {
        Random lRandom(nSalt);
        for (int lTurn = 0; lTurn < 4; ++lTurn)
        {
            Bell& lBell = npBells[lTurn];
            unsigned int const lMaxCount = lRandom.below(3);
            int const lId = lTimer.addTimer(&lBell, 1, lMaxCount, lTurn % 2);
            PROVE(lId > 0);
            lBell.mTimerId = lId;
            PROVE(lTimer.start(lId, 0));
            lRandom.pause();
            unsigned int lStarts = 1;
            if (lRandom.below(2) == 0)
            {
                PROVE(lTimer.restart(lId, 0)); // waits: it has started anew
                ++lStarts;
            }
            if (lMaxCount != 0 && lRandom.below(2) == 0)
            {
                PROVE_EQ(0, lTimer.waitToStop(lId)); // by itself
                PROVE(!lTimer.isRunning(lId));
                PROVE(lBell.mCalls >= lMaxCount);
                PROVE(lStarts > 1 || lBell.mCalls == lMaxCount);
            }
            PROVE(lMaxCount == 0 || lBell.mCalls <= lStarts * lMaxCount);
            if (lRandom.below(2) == 0)
            {
                PROVE(lTimer.stop(lId, 0));
                PROVE(!lTimer.isRunning(lId));
                unsigned int const lCalls = lBell.mCalls;
                lRandom.pause();
                PROVE_EQ(lCalls, lBell.mCalls);
            }
            PROVE(lTimer.eraseTimer(lId, 0));
            lBell.mIsGone = true;
        }
    };
    auto const lUseWithoutWaiting = [&]
    {
        Random lRandom(3);
        for (int lTurn = 0; lTurn < 6; ++lTurn)
        {
            int const lId = lTimer.addTimer(&lLives, 1, lRandom.below(3), lTurn % 2);
            PROVE(lId > 0);
            PROVE(lTimer.start(lId, 1));
            lRandom.pause();
            PROVE(lTimer.setInterval(lId, 1 + lRandom.below(2)) && lTimer.restart(lId, 1));
            lRandom.pause();
            PROVE(lTimer.stop(lId, 1) && lTimer.start(lId, 1) && lTimer.eraseTimer(lId, lTurn % 3));
        }
    };
    together({[&] { lUse(lBells[0], 1); }, [&] { lUse(lBells[1], 2); }, lUseWithoutWaiting});
    int const lFence = lTimer.addTimer(nullptr, 0, 0, 0);
    PROVE(lTimer.start(lFence, 0) && lTimer.eraseTimer(lFence, 0));
    Array<int, int const&> lIds(1);
    PROVE(lTimer.getTimerIdSet(&lIds) && lIds.size() == 0);
}

/// Several threads and its own listener start and stop one timer, waiting or not. Afterwards it obeys again.
void raceTimerToggle()
{
    struct Toggles : TimerListener
    {
        void onTime(int nTimerId) override
        {
            ++mCalls;
            unsigned int const lAct = mIsOver ? 9 : Random(mCalls).below(4);
            if (lAct == 0)
            {
                PROVE(mpTimer->stop(nTimerId, 0));
                PROVE(!mpTimer->isRunning(nTimerId));
            }
            else if (lAct == 1)
            {
                PROVE(mpTimer->restart(nTimerId, 0));
                PROVE(mpTimer->isRunning(nTimerId));
            }
        }
        SharedTimer* mpTimer = nullptr;
        std::atomic<bool> mIsOver{false};
        std::atomic<unsigned int> mCalls{0};
    } lListener;
    SharedTimer lTimer(0, 0, nullptr, 2, "timer");
    lListener.mpTimer = &lTimer;
    int const lId = lTimer.addTimer(&lListener, 1, 0, static_cast<int>(gRound % 2));
    auto const lUse = [&](unsigned int nSalt)
    {
        Random lRandom(nSalt);
        for (int lTurn = 0; lTurn < 8; ++lTurn)
        {
            int const lNoWait = static_cast<int>(lRandom.below(2));
            PROVE(lRandom.below(2) == 0 ? lTimer.start(lId, lNoWait) : lTimer.stop(lId, lNoWait));
            lRandom.pause();
        }
    };
    together({[&] { lUse(1); }, [&] { lUse(2); }, [&] { lUse(3); }});
    lListener.mIsOver = true;
    int const lFence = lTimer.addTimer(nullptr, 0, 0, 0);
    PROVE(lTimer.start(lFence, 0) && lTimer.eraseTimer(lFence, 0));
    PROVE(lTimer.start(lId, 0));
    PROVE(lTimer.isRunning(lId));
    PROVE(lTimer.stop(lId, 0));
    PROVE(!lTimer.isRunning(lId));
    unsigned int const lCalls = lListener.mCalls;
    Random(4).pause();
    PROVE_EQ(lCalls, lListener.mCalls);
}

/// Waiting for a timer, starting it and letting it ring, against the end of its thread.
void raceTimerEnd()
{
    Bell lBell;
    SharedTimer lTimer(0, 0, nullptr, 4, "timer");
    int const lRests = lTimer.addTimer(nullptr, 1000000, 0, 0);
    int const lRings = lTimer.addTimer(&lBell, 1, 0, 1);
    PROVE(lTimer.start(lRings, 1));
    bool const lIsErased = gRound % 2 != 0; // the timers go first
    auto const lEnd = [&]
    {
        PROVE(!lIsErased || (lTimer.eraseTimer(lRests, 0) && lTimer.eraseTimer(lRings, 0)));
        lIsErased ? void() : lTimer.destroy();
        lBell.mIsGone = true;
    };
    together({[&] { lTimer.waitToStart(lRests); }, [&] { lTimer.waitToStop(lRings); }, lEnd});
    lTimer.destroy();
    PROVE(!ThreadManager::get()->isThreadExist(lTimer.getId()));
    PROVE_EQ(-1, lTimer.addTimer(nullptr, 1, 0, 0));
}

// ---------------------------------------------------------------------------------------------- threads

/// start() and stop() of one thread from two: stop() never misses a thread that started, and it runs once.
void raceThreadStart()
{
    class Runner : public Thread
    {
    public:
        Runner()
            : Thread("runner", nullptr)
        {
        }
        ~Runner() override { stop(1, 0); }
        std::atomic<unsigned int> mRuns{0};

    protected:
        unsigned int execute() override
        {
            ++mRuns;
            return mEnd.wait() ? 7 : 8;
        }
        void requestStop() override { mEnd.open(); }

    private:
        test::Gate mEnd;
    } lThread;
    std::atomic<int> lStarted{0};
    auto const lStart = [&]
    { lStarted += lThread.start(0, 0, nullptr, static_cast<int>(gRound % 2), 0, NORMAL, 0) == 0 ? 1 : 0; };
    auto const lStop = [&]
    {
        while (lThread.stop(1, 0) == -1 && !lThread.hasDone(Thread::STAGE_DONE))
        {
            ::sched_yield();
        }
    };
    together({lStart, lStart, lStop});
    PROVE_EQ(1, lStarted);
    PROVE_EQ(1, lThread.mRuns);
    PROVE(lThread.hasDone(Thread::STAGE_DONE) && !lThread.isRunning());
    unsigned int lResult = 0;
    PROVE(lThread.getResult(&lResult) && lResult == 7);
    PROVE(lThread.leaveManagement() && !lThread.leaveManagement());
}

/// Threads come and go while others look at the registry.
void raceRegistry()
{
    ThreadManager& lManager = *ThreadManager::get();
    struct Counts
    {
        std::atomic<unsigned int> mRuns{0};
        std::atomic<unsigned int> mWatched{0};
    } lCounts;
    auto const lRun = [](void* npCounts)
    {
        ++static_cast<Counts*>(npCounts)->mRuns;
        bool const lIsWatched = ThreadManager::get()->startWatchdog(0); // by its first line
        static_cast<Counts*>(npCounts)->mWatched += lIsWatched ? 1 : 0;
    };
    std::atomic<unsigned int> lAtWork{2};
    auto const lComeAndGo = [&]
    {
        for (int lTurn = 0; lTurn < 3; ++lTurn)
        {
            int const lId = lManager.entry(lRun, &lCounts, lTurn % 2, 1000000, nullptr, "short", NORMAL, 0);
            PROVE(lId > 0);
            PROVE(lManager.isThreadExist(lId));
            PROVE_EQ(0, lManager.waitToStop(lId, 0));
            PROVE(!lManager.isActive(lId));
            PROVE_EQ(lTurn % 2, lManager.unregisterWatchdog(lId) ? 1 : 0);
            PROVE(lManager.unregister(lId) && !lManager.unregister(lId));
        }
        --lAtWork;
    };
    auto const lLook = [&]
    {
        while (lAtWork != 0)
        {
            ThreadManager::NameMap lNames(8);
            PROVE(lManager.getNames(&lNames));
            PROVE(lNames.size() >= 1 && lNames.size() <= 3);
            unsigned int lOthers = 0;
            for (unsigned int lIndex = 0; lIndex < lNames.size(); ++lIndex)
            {
                bool const lIsShort = std::strcmp(lNames.at(lIndex)->mValue.c_str(), "short") == 0;
                lOthers += lIsShort ? 0 : 1;
                lManager.waitToStop(lIsShort ? lNames.at(lIndex)->mKey : -1, 0);
            }
            PROVE_EQ(1, lOthers); // the watchdog
            lManager.printThreadInfoReg(4);
            lManager.printWatchdogInfo(4);
            ::sched_yield(); // the lock is not a fair one
        }
    };
    together({lComeAndGo, lComeAndGo, lLook});
    PROVE_EQ(6, lCounts.mRuns);
    PROVE_EQ(2, lCounts.mWatched);
}

/// Several threads use the registry for the first time: whoever comes back can enter the watchdog's table.
void raceFirstUse()
{
    ThreadManager::destroy();
    auto const lUse = []
    {
        ThreadManager& lManager = *ThreadManager::get();
        PROVE_EQ(ThreadManager::getCallerId(), lManager.entryCaller(1, 1000000, nullptr, "early"));
        PROVE(lManager.isRegisteredWatchdog(0));
        PROVE(lManager.unregisterWatchdog(0) && lManager.entryWatchdog(1000000, nullptr, 0));
        PROVE(lManager.unregisterWatchdog(0) && lManager.setWatchdogWatchInterval(1000000));
        PROVE(lManager.unregister(ThreadManager::getCallerId()));
    };
    together({lUse, lUse, lUse});
}

/// Time for the watchdog passes a hundred times as fast: an alive time of a millisecond ends within a few pauses.
int getFastTime(clockid_t nClock, timespec* npTime)
{
    int const lResult = ::clock_gettime(nClock, npTime);
    *npTime = toTime(toNs(*npTime) * 100);
    return lResult;
}

/// Threads report, fall silent, come and go while the beat walks the table.
void raceWatchdog()
{
    struct Told : WatchdogTimerListener
    {
        void onTime(int nId, WatchdogInfoMap const& nInfos) override
        {
            auto const* const lpPair = nInfos.find(nId);
            PROVE(lpPair != nullptr && lpPair->mValue.mAliveStatus == WatchdogInfo::TIMED_OUT);
            ++mCalls;
            PROVE_EQ(mCalls, lpPair->mValue.mTimeoutCount);
        }
        unsigned int mCalls = 0;   // the watchdog thread's
        unsigned int mReports = 0; // the reporting thread's
    };
    test::Replaced const lClock(&SystemCalls::mClockGettime, &getFastTime);
    StatementInfo const HERE("proof", "report", __LINE__, 0);
    Told lTold[2][3];
    {
        ThreadWatchdog lWatchdog(4);
        PROVE(lWatchdog.initialize(1));
        auto const lReport = [&](Told* npTold)
        {
            Random lRandom(5);
            int const lId = ThreadManager::getCallerId();
            for (int lTurn = 0; lTurn < 3; ++lTurn)
            {
                PROVE(!lWatchdog.keepAlive(HERE));
                PROVE(lWatchdog.entry(lId, 1 + lRandom.below(3), &npTold[lTurn], "reporter"));
                for (int lPass = 0; lPass < 4; ++lPass)
                {
                    PROVE(lWatchdog.start(lId) && lWatchdog.isWatching(lId));
                    lRandom.pause();
                    lRandom.pause();
                    PROVE(lWatchdog.keepAlive(HERE));
                    ++npTold[lTurn].mReports;
                    lRandom.pause();
                    PROVE(lWatchdog.stop(lId) && !lWatchdog.isWatching(lId));
                }
                PROVE(lWatchdog.unregister(lId) && !lWatchdog.isRegistered(lId));
            }
        };
        together({[&] { lReport(lTold[0]); }, [&] { lReport(lTold[1]); }});
        lWatchdog.shutdown();
    }
    for (Told const* lpTold = lTold[0]; lpTold != lTold[0] + 6; ++lpTold)
    {
        PROVE(lpTold->mCalls <= lpTold->mReports + 1); // told again only after it came back
        gTotals.mTimeouts += lpTold->mCalls;
    }
}

/// A waiter that has returned may destroy the event under the call that woke it; a two-sided one wakes all waiters of
/// both sides.
void raceEvent()
{
    auto lpEvent = std::make_unique<Event>(0, 0);
    Event lBoth(0, 1);
    Event lSeen[2] = {{0, 1}, {0, 1}};
    unsigned int const LIMIT_MS = gRound % 2 == 0 ? 0 : 6 * test::longMs();
    auto const lFollow = [&](unsigned int nIndex)
    {
        PROVE_EQ(0, lBoth.waitToOn(LIMIT_MS));
        lSeen[nIndex].setOn();
        PROVE_EQ(0, lBoth.waitToOff(LIMIT_MS));
        lSeen[nIndex].setOff();
    };
    auto const lDestroy = [&]
    {
        PROVE_EQ(0, lpEvent->waitToOn(LIMIT_MS));
        lpEvent.reset();
        lFollow(0);
    };
    auto const lLead = [&, lpRaw = lpEvent.get()]
    {
        lpRaw->setOn();
        lBoth.setOn();
        PROVE_EQ(0, lSeen[0].waitToOn(LIMIT_MS) | lSeen[1].waitToOn(LIMIT_MS));
        lBoth.setOff();
        PROVE_EQ(0, lSeen[0].waitToOff(LIMIT_MS) | lSeen[1].waitToOff(LIMIT_MS));
    };
    together({lDestroy, [&] { lFollow(1); }, lLead});
}

// ---------------------------------------------------------------------------------------------- the program

struct Race
{
    char const* mpName;
    void (*mpRun)();
    unsigned int mOverlaps; // what races, so often in one round; 0: messages are counted, and no dump is taken
};

// Of message threads: the letters are those of Subject.
Race const RACES[] = {
    {"stop-send", [] { raceMessages("pp!", 30); }, 1},
    {"stop-sync", [] { raceMessages("ss!", 30); }, 1},
    {"stop-limit", [] { raceMessages("lp!", 30); }, 1},
    {"stop-interrupt", [] { raceMessages("ii!", 30); }, 1},
    {"stop-timer", [] { raceMessages("tt!", 4); }, 1},
    {"stop-erase", [] { raceMessages("pse!", 30); }, 1},
    {"stop-all", [] { raceMessages("psieft!", 20); }, 1},
    {"send-sleep", [] { raceMessages("ddd", 20); }, 40},
    {"write-fails", [] { raceMessages("ddi", 20, true); }, 40},
    {"write-fails-stop", [] { raceMessages("ddi!", 30, true); }, 1},
    {"sync-sync", [] { raceMessages("mmm", 20); }, 20},
    {"limit-dispatch", [] { raceMessages("lpe", 20); }, 20},
    {"interrupt-dispatch", [] { raceMessages("pii", 20); }, 40},
    {"erase-dispatch", [] { raceMessages("pmee", 20); }, 40},
    {"find-dispatch", [] { raceMessages("meff", 20); }, 40},
    {"timer-kill-expiry", [] { raceMessages("tt", 4); }, 8},
    {"timer-erase-expiry", [] { raceMessages("pte", 4); }, 4},
    {"listener-detach", [] { raceListeners(false); }, 6},
    {"shared-stop", [] { raceListeners(true); }, 1},
    {"shared-timer-cancel", &raceTimerCancel, 14},
    {"shared-timer-toggle", &raceTimerToggle, 24},
    {"shared-timer-end", &raceTimerEnd, 1},
    {"thread-start-stop", &raceThreadStart, 1},
    {"registry-walk", &raceRegistry, 6},
    {"first-use", &raceFirstUse, 3},
    {"watchdog-start-stop", &raceWatchdog, 24},
    {"event-destroy", &raceEvent, 1},
    {"account", &account, 0},
};

unsigned int const QUICK_OVERLAPS = 500;
unsigned int const QUICK_MESSAGES = 100000;
unsigned int const QUICK_DUMPS = 20;

/// nWanted: overlaps, or messages of an account; 0 for a few.
void runRace(Race const& nRace, unsigned long long nWanted, unsigned long nDumps)
{
    proof::gCase = nRace.mpName;
    gTotals = Totals();
    bool const lIsAccount = nRace.mOverlaps == 0;
    unsigned long long const lWanted = nWanted != 0 ? nWanted : lIsAccount ? QUICK_MESSAGES : QUICK_OVERLAPS;
    long long const lStartUs = test::monotonicUs();
    proof::Dumps const lDumps(lIsAccount ? 0 : nDumps);
    auto const lDone = [&] { return lIsAccount ? gTotals.mAccepted : gRound * nRace.mOverlaps; };
    for (gRound = 0; lDone() < lWanted || lDumps.isWanting(); ++gRound)
    {
        nRace.mpRun();
    }
    std::printf("%-20s %8llu %s %8.1f s  dumps %u  time-outs %llu", nRace.mpName,
                gRound * std::max(nRace.mOverlaps, 1U), lIsAccount ? "stops   " : "overlaps",
                static_cast<double>(test::monotonicUs() - lStartUs) / 1e6, lDumps.count(), gTotals.mTimeouts);
    std::printf("  accepted %llu = delivered %llu + erased %llu + left at stop %llu;  refused by a full queue %llu\n",
                gTotals.mAccepted, gTotals.mDelivered, gTotals.mErased, gTotals.mLeft, gTotals.mRefused);
    std::fflush(stdout);
}

} // namespace

int main(int nCount, char** npValues)
{
    std::string const lName = nCount > 1 ? npValues[1] : "";
    unsigned long const lWanted = nCount > 2 ? std::strtoul(npValues[2], nullptr, 10) : 0;
    unsigned long const lDumps = nCount > 3 ? std::strtoul(npValues[3], nullptr, 10) : QUICK_DUMPS;
    test::QuietLog const lQuiet;
    test::Replaced const lTimers(&SystemCalls::mTimerSettime, &setShortTime);
    ::prctl(PR_SET_TIMERSLACK, 1); // or each short wait would take 50 microseconds more
    ThreadManager::get();
    proof::endHangs();
    bool lIsKnown = false;
    for (Race const& lRace : RACES)
    {
        if (lName.empty() || lName == lRace.mpName || (lName == "all" && lRace.mOverlaps != 0))
        {
            runRace(lRace, lWanted, lDumps);
            lIsKnown = true;
        }
    }
    return lIsKnown ? 0 : 2;
}
