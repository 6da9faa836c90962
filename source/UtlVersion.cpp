// The version of the library that runs.
#include "UtlVersion.h"

namespace utl
{

unsigned int version()
{
    return UTL_VERSION;
}

} // namespace utl
