/// Opens a utl::File, and tells why that failed.
#ifndef DEMO_OPENING_H
#define DEMO_OPENING_H

#include <UtlFile.h>

namespace demo
{

/// Opens a file without a line in the log. nOpenMode, nAccessMode: as File::open().
/// Result: null for success, otherwise the reason, for the user, until the next call.
char const* openQuietly(utl::File& nFile, int nOpenMode, int nAccessMode);

} // namespace demo

#endif
