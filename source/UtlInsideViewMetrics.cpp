// The counts of all loops as text for a collector of metrics.
#include "UtlInsideView.h"
#include "internal/base/UtlSlotSnapshot.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace utl
{

namespace
{

using internal::gThreadSlots;
using internal::LoopSnapshot;
using internal::SlotSnapshot;
using internal::ThreadSlot;

/// One name of the exposition format. mBook: the index of its number in LoopSnapshot::mCounts.
struct Metric
{
    char const* mpName;
    char const* mpHelp;
    char const* mpLabel; // in addition to those of the thread
    unsigned int mBook;
    bool mIsCounter; // otherwise a gauge
};

Metric const METRICS[] = {
    {"utl_messages_accepted_total", "Messages that came into the queue.", "", 0, true},
    {"utl_messages_delivered_total", "Messages given to the listener.", "", 1, true},
    {"utl_messages_erased_total", "Messages that were erased.", "", 2, true},
    {"utl_messages_taken_back_total", "Messages whose thread could not be woken.", "", 3, true},
    {"utl_messages_waiting", "Messages that wait.", "", 4, false},
    {"utl_messages_most_waiting", "The most messages that ever waited.", "", 5, false},
    {"utl_messages_refused_total", "Messages that were refused.", ",reason=\"full\"", 6, true},
    {"utl_messages_refused_total", nullptr, ",reason=\"too_large\"", 7, true},
    {"utl_messages_refused_total", nullptr, ",reason=\"stopped\"", 8, true},
    {"utl_messages_orphaned_total", "Slots that refused synchronous messages left behind.", "", 9, true},
    {"utl_interrupts_total", "Interrupts given to the listener.", "", 10, true},
    {"utl_timeouts_total", "Time-outs given to the listener.", "", 11, true},
    {"utl_timeouts_lost_total", "Time-outs that found too many waiting.", "", 12, true},
    {"utl_calls_total", "Calls of the listener that have returned.", "", 13, true},
    {"utl_longest_call_seconds", "The longest call of the listener.", "", 14, false},
};
unsigned int const LONGEST_CALL = 14;

/// Writes what fits, and counts everything.
class Text
{
public:
    Text(char* npBuffer, unsigned int nSize)
        : mpBuffer(npBuffer),
          mCapacity(nSize)
    {
    }

    UTL_PRINTF(2, 3) void add(char const* npFormat, ...)
    {
        va_list lArguments;
        va_start(lArguments, npFormat);
        bool const lHasRoom = mSize < mCapacity;
        int const lSize = std::vsnprintf(lHasRoom ? mpBuffer + mSize : nullptr, lHasRoom ? mCapacity - mSize : 0,
                                         npFormat, lArguments);
        va_end(lArguments);
        mSize += lSize > 0 ? static_cast<unsigned int>(lSize) : 0;
    }

    /// Result: the size with the terminator. If that does not fit, the buffer holds an empty text.
    unsigned int end()
    {
        if (mSize >= mCapacity && mCapacity != 0)
        {
            *mpBuffer = '\0';
        }
        return mSize + 1;
    }

private:
    char* const mpBuffer;
    unsigned int const mCapacity;
    unsigned int mSize = 0;
};

/// A label's value: a quote, a backslash and the end of a line are escaped.
struct Label
{
    explicit Label(SlotSnapshot::Identity const& nIdentity)
    {
        char lName[ThreadSlot::NAME_SIZE];
        std::memcpy(lName, &nIdentity[2], sizeof(lName));
        char* lpOut = mText;
        for (char const* lpIn = lName; *lpIn != '\0'; ++lpIn)
        {
            if (*lpIn == '"' || *lpIn == '\\' || *lpIn == '\n')
            {
                *lpOut++ = '\\';
            }
            *lpOut++ = *lpIn == '\n' ? 'n' : *lpIn;
        }
        *lpOut = '\0';
    }

    char mText[2 * ThreadSlot::NAME_SIZE];
};

void addSample(Text& nText, Metric const& nMetric, SlotSnapshot const& nSnapshot, LoopSnapshot const& nLoop)
{
    nText.add("%s{thread=\"%s\",id=\"%d\"%s} ", nMetric.mpName, Label(nSnapshot.mIdentity).mText, nSnapshot.id(),
              nMetric.mpLabel);
    std::uint32_t const lNumber = nLoop.mCounts[nMetric.mBook];
    if (nMetric.mBook == LONGEST_CALL)
    {
        std::uint64_t const lMs = (std::uint64_t(lNumber) << 20U) / 1000000;
        nText.add("%" PRIu64 ".%03u\n", lMs / 1000, static_cast<unsigned int>(lMs % 1000)); // in any locale
    }
    else
    {
        nText.add("%u\n", static_cast<unsigned int>(lNumber));
    }
}

} // namespace

unsigned int printMetrics(char* npBuffer, unsigned int nSize)
{
    Text lText(npBuffer, npBuffer != nullptr ? nSize : 0);
    for (Metric const& lMetric : METRICS)
    {
        if (lMetric.mpHelp != nullptr)
        {
            lText.add("# HELP %s %s\n# TYPE %s %s\n", lMetric.mpName, lMetric.mpHelp, lMetric.mpName,
                      lMetric.mIsCounter ? "counter" : "gauge");
        }
        for (ThreadSlot& lSlot : gThreadSlots)
        {
            SlotSnapshot lSnapshot;
            LoopSnapshot lLoop;
            bool lIsWhole = false;
            if (readSlot(lSlot, &lSnapshot, &lIsWhole) && lIsWhole && readLoop(lSlot, &lLoop) &&
                lSlot.mClaim.load(std::memory_order_acquire) == lSnapshot.mClaim)
            {
                addSample(lText, lMetric, lSnapshot, lLoop);
            }
        }
    }
    return lText.end();
}

} // namespace utl
