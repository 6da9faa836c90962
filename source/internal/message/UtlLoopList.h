/// The list of the running loops of the process. Layer: internal, message-driven thread.
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

/// A loop is in the list from its start, or from the beginning of its run if that comes first, to the end of the run.
/// The run does not end while somebody uses the loop.
///
/// The child of a fork begins with an empty list.
///
/// Locks: the list's own, taken before that of a queue; not held while a thread is waited for or the application is
///        called.
class LoopList
{
public:
    /// The list's view of a loop.
    class Loop
    {
    public:
        /// nStopsFirst: whether stopAll() stops it before the loops that pass false.
        explicit Loop(bool nStopsFirst)
            : mStopsFirst(nStopsFirst)
        {
        }
        virtual ~Loop() = default;
        virtual Thread& thread() = 0;
        virtual Ledger ledger() const = 0;

        /// From now on stopAll() does not stop it.
        void setApart() { mIsApart = true; }

        /// Describes in words what the loop is doing, cut to nSize bytes with the terminator. Does not wait for long.
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
        std::atomic<unsigned int> mPins{0}; // how many use it without the list's lock
    };

    /// Lists a loop whose thread has been started, as the first. Does nothing if it is or was in the list.
    static void enter(Loop& nLoop);

    /// Takes out a loop whose run is over, or that is about to be destroyed. Waits until nobody uses it any more.
    static void leave(Loop& nLoop);

    /// A loop at one moment.
    struct View
    {
        char mName[64];
        Ledger mLedger;
    };

    /// Result: false if no loop runs on that thread.
    static bool look(int nThreadId, View* npView);

    /// Asks the next loop that is to be stopped, and is not on one of these threads, to end. Not under the list's lock;
    /// the loop is not destroyed while this asks.
    /// Result: the id of its thread; 0 if there is no such loop.
    static int askNext(Array<int, int const&> const& nThreadIds);

    /// Describes the loop of a thread. Does not wait for long, since that thread may hold a lock for good.
    /// Result: false if no loop runs on that thread.
    static bool describe(int nThreadId, char* npText, unsigned int nSize);

    /// Tries a few times to take a lock. Result: whether the caller owns the lock.
    static bool lockSoon(SyncObject const& nLock) UTL_TRY_ACQUIRE(true, nLock);

private:
    static Loop* findLocked(int nThreadId);
    static Loop* pinNext(Array<int, int const&> const& nThreadIds);
    static bool takeOut(Loop& nLoop);
};

} // namespace utl::internal

#endif
