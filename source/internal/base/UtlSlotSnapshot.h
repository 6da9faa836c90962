/// Consistent copies of a thread's slot and of its loop's counts, also in signal handlers. Layer: internal, lowest.
#ifndef UTL_SLOT_SNAPSHOT_H
#define UTL_SLOT_SNAPSHOT_H

#include "internal/base/UtlThreadSlots.h"

namespace utl::internal
{

inline constexpr int MAX_TRIES = 8;

/// The contents of a slot at one moment.
struct SlotSnapshot
{
    using Identity = TwoCopies<2 + ThreadSlot::NAME_WORDS>::Words;

    int id() const { return static_cast<int>(mIdentity[0]); }
    bool isLimited() const { return (mWait[0] & ThreadSlot::WAIT_LIMITED) != 0; }

    std::uint32_t mClaim;
    std::uint32_t mStage;
    Identity mIdentity;
    TwoCopies<4>::Words mReport;
    TwoCopies<3>::Words mWork;
    TwoCopies<4>::Words mWait;
    std::uint32_t mWaitGeneration;
    int mWaitsFor; // a thread's id, or 0
};

using BookCounts = std::array<std::uint32_t, 6 + 7 + 3>; // those of QueueCounts, LoopCounts and CallCounts in turn

/// What a loop shows at one moment. mIsWhole: all counts are of one moment, because two readings were equal.
struct LoopSnapshot
{
    TwoCopies<3>::Words mTimers{};
    BookCounts mCounts{};
    bool mIsWhole = false;
};

/// Result: false if the slot is free. *npIsWhole: whether everything was read.
bool readSlot(ThreadSlot& nSlot, SlotSnapshot* npSnapshot, bool* npIsWhole);

/// Finds the slot of a thread. Result: its number; SLOT_COUNT for none.
unsigned int findSlot(int nId, SlotSnapshot* npSnapshot);

/// Result: false if the slot has no loop.
bool readLoop(ThreadSlot& nSlot, LoopSnapshot* npLoop);

/// Result: false if a slot has no loop, or no timer in that row.
bool readTimer(ThreadSlot& nSlot, unsigned int nRow, TimerRow::Words* npTimer);

/// The thread that holds the queue of a slot's loop; 0 for none.
int ownerOfQueue(ThreadSlot& nSlot);

} // namespace utl::internal

#endif
