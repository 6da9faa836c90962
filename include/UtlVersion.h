/// The version of the library. Layer: below everything.
#ifndef UTL_VERSION_H
#define UTL_VERSION_H

#include "UtlMacros.h"

#define UTL_VERSION_MAJOR 0 ///< Of the headers. The build reads these three numbers.
#define UTL_VERSION_MINOR 9 ///< Of the headers.
#define UTL_VERSION_PATCH 0 ///< Of the headers.

/// The version of the headers as one number that can be compared: 0.9.0 is 900, 1.2.3 would be 10203.
#define UTL_VERSION (UTL_VERSION_MAJOR * 10000 + UTL_VERSION_MINOR * 100 + UTL_VERSION_PATCH)

namespace utl
{

/// The version of the library that the process runs with, in the form of UTL_VERSION. It differs from UTL_VERSION if
/// the library was replaced after the program was built.
///
/// Safety: any thread, signal handlers, the child of a fork; never waits, never fails.
UTL_API unsigned int version();

} // namespace utl

#endif
