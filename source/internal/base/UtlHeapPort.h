/// What the thread registry tells heap accounting, which stands above it. Layer: internal.
#ifndef UTL_HEAP_PORT_H
#define UTL_HEAP_PORT_H

namespace utl::internal
{

/// A thread has got a name. The layer of heap accounting implements this.
void registerHeapThreadName(int nThreadId, char const* npName);

} // namespace utl::internal

#endif
