/// The loops of the process that have been started. Layer: internal, message-driven thread.
#ifndef UTL_LOOP_LIST_H
#define UTL_LOOP_LIST_H

#include "UtlArray.h"
#include "UtlLedger.h"
#include "UtlMacros.h"

#include <atomic>

namespace utl
{
class SyncObject;
class Thread;
} // namespace utl

namespace utl::internal
{

/// A loop is in the list from its start on, or from the beginning of its run if that comes first, to the end of the
/// run, and it ends only once nobody looks at it.
///
/// The child of a fork begins with an empty list.
///
/// Locks: the list's own, before that of a queue; not held while a thread is waited for or the application called.
class LoopList
{
public:
    /// What the list knows of a loop.
    class Loop
    {
    public:
        /// nStopsFirst: of those that are stopped together.
        explicit Loop(bool nStopsFirst)
            : mStopsFirst(nStopsFirst)
        {
        }
        virtual ~Loop() = default;
        virtual Thread& thread() = 0;
        virtual Ledger ledger() const = 0;

        /// It is not to be stopped with the others.
        void setApart() { mIsApart = true; }

        /// Writes in words what the loop does now, cut to nSize with the terminator. Does not wait for long.
        virtual void describe(char* npText, unsigned int nSize) const = 0;

    private:
        friend class LoopList;
        enum Listing
        {
            BEFORE,
            LISTED,
            AFTERWARDS
        };
        Loop* mpNext = nullptr;    // under the list's lock
        Listing mListing = BEFORE; // likewise
        bool const mStopsFirst;
        bool mIsApart = false;              // set before it runs
        std::atomic<unsigned int> mPins{0}; // those who use it without the list's lock
    };

    /// Its thread has been started. Does nothing if it is there, or has been. The newest comes first.
    static void enter(Loop& nLoop);

    /// Its run is over, or it is about to be destroyed. Waits until nobody uses it any more.
    static void leave(Loop& nLoop);

    /// A loop at one moment.
    struct View
    {
        char mName[64];
        Ledger mLedger;
    };

    /// Result: false if no loop runs on that thread.
    static bool look(int nThreadId, View* npView);

    /// Asks the next loop to end that is to be stopped, and is not one of these threads. Without the list's lock: the
    /// loop ends no earlier than the asking.
    /// Result: its thread's id; 0 if there is none.
    static int askNext(Array<int, int const&> const& nThreadIds);

    /// Does not wait for long: a lock may be held for good by the thread that is described.
    /// Result: false if no loop runs on that thread.
    static bool describe(int nThreadId, char* npText, unsigned int nSize);

    /// Tries a few times. Result: the caller owns the lock.
    static bool lockSoon(SyncObject const& nLock) UTL_TRY_ACQUIRE(true, nLock);

private:
    static Loop* findLocked(int nThreadId);
    static Loop* pinNext(Array<int, int const&> const& nThreadIds);
    static bool takeOut(Loop& nLoop);
};

} // namespace utl::internal

#endif
