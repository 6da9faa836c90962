#include "internal/UtlHeapPort.h"

namespace utl::internal
{

// Nothing keeps account of the heap yet.
void registerHeapThreadName(int, char const*) {}

} // namespace utl::internal
