// The table of system calls, with the system's own functions.
#include "internal/base/UtlSystemCalls.h"

#include <cstdio>

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

namespace utl::internal
{

namespace
{

int setPriority(int nWhich, id_t nWho, int nNice)
{
    return ::setpriority(static_cast<decltype(PRIO_PROCESS)>(nWhich), nWho, nNice);
}

int getTimeOfDay(timeval* npTime)
{
    return ::gettimeofday(npTime, nullptr);
}

/// Opens with O_CLOEXEC: a program that the application executes inherits no descriptor, and so no file's lock.
int openFile(char const* npPath, int nFlags, mode_t nMode)
{
    return ::open(npPath, nFlags | O_CLOEXEC, nMode);
}

int controlFile(int nFd, int nCommand, int nArgument)
{
    return ::fcntl(nFd, nCommand, nArgument);
}

// The log passes finished lines as formats on purpose. It has made every conversion in them defined.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"

void writeSyslog(int nPriority, char const* npFormat)
{
    ::syslog(nPriority, npFormat);
}

void writeConsole(char const* npFormat)
{
    ::printf(npFormat);
}

void writeError(char const* npFormat)
{
    ::fprintf(stderr, npFormat);
}

#pragma GCC diagnostic pop

} // namespace

SystemCalls gSystem{
    ::pthread_create, ::pthread_detach, ::pthread_cond_timedwait,
    ::sem_wait,       setPriority,      ::clock_gettime,
    ::nanosleep,      getTimeOfDay,     ::time,
    ::gmtime_r,       ::localtime_r,    ::ctime_r,
    ::pipe2,          controlFile,      ::dup3,
    ::ppoll,          ::timer_create,   ::timer_settime,
    ::timer_delete,   ::sigaction,      openFile,
    ::close,          ::read,           ::pread,
    ::write,          ::lseek,          ::ftruncate,
    ::fsync,          ::flock,          ::stat,
    ::fstat,          ::chmod,          ::mkdir,
    ::rmdir,          ::unlink,         ::rename,
    ::opendir,        ::readdir,        ::closedir,
    ::fnmatch,        ::vsnprintf,      writeSyslog,
    writeConsole,     writeError,       std::fflush,
    ::poll,
};

} // namespace utl::internal
