/// Waits for an Event that an early end of one wait does not end. Layer: internal.
#ifndef UTL_EVENT_WAIT_H
#define UTL_EVENT_WAIT_H

#include "UtlEvent.h"

namespace utl::internal
{

/// For an event that stays on once it is on. nTimeoutMs 0: without limit, and then really until it is on.
/// Result: that of Event::waitToOn.
inline int waitUntilOn(Event const& nEvent, unsigned int nTimeoutMs)
{
    int lResult = 0;
    do
    {
        lResult = nEvent.waitToOn(nTimeoutMs);
    } while (lResult == 0 && nTimeoutMs == 0 && nEvent.isOff());
    return lResult;
}

} // namespace utl::internal

#endif
