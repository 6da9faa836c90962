#include "Opening.h"

#include "Posting.h"

#include <UtlApplog.h>

#include <cerrno>
#include <cstring>

namespace demo
{

char const* openQuietly(utl::File& nFile, int nOpenMode, int nAccessMode)
{
    LibraryLogLevel lQuiet(utl::LOG_LEVEL_NONE);
    errno = 0;
    if (nFile.open(nOpenMode, nAccessMode))
    {
        return nullptr;
    }
    // A File says only that it did not open, so we look what may have been in the way.
    int const lErrno = errno;
    if (nFile.isDirectory())
    {
        return std::strerror(EISDIR);
    }
    if (utl::File::isOpened(nFile.getPath(), nullptr))
    {
        return "it is locked by another process";
    }
    return std::strerror(lErrno != 0 ? lErrno : EACCES); // no call failed if a file is read-only
}

} // namespace demo
