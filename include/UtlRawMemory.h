/// Operations on bytes that accept null pointers. Layer: raw memory (lowest).
///
/// Sizes are bytes. With a null pointer nothing happens, and compareMemory() gives false. No log, no lock.
/// Safety: any thread, also in a signal handler and after a fork; never blocks.
#ifndef UTL_RAW_MEMORY_H
#define UTL_RAW_MEMORY_H

#include "UtlMacros.h"

namespace utl
{

/// Copies bytes. The areas must not overlap; see moveMemory().
UTL_API void copyMemory(void* npDst, void const* npSrc, unsigned int nSize);

/// Copies bytes between areas that may overlap.
UTL_API void moveMemory(void* npDst, void const* npSrc, unsigned int nSize);

/// Sets every byte to nValue.
UTL_API void fillMemory(void* npDst, unsigned int nSize, unsigned char nValue);

/// Sets every byte to 0.
UTL_API void zeroMemory(void* npDst, unsigned int nSize);

/// Result: true if all bytes are equal, also for a size of 0.
UTL_API bool compareMemory(void const* npFirst, void const* npSecond, unsigned int nSize);

} // namespace utl

#endif
