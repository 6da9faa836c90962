/// What the thread registry tells heap accounting, which is a higher layer. Layer: internal.
#ifndef UTL_HEAP_PORT_H
#define UTL_HEAP_PORT_H

namespace utl::internal
{

/// Tells heap accounting, which implements this, the name of a thread.
void registerHeapThreadName(int nThreadId, char const* npName);

} // namespace utl::internal

#endif
