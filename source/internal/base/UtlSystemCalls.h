/// A table of all system calls that the library makes and that can fail. Layer: internal, lowest.
#ifndef UTL_SYSTEM_CALLS_H
#define UTL_SYSTEM_CALLS_H

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>

#include <dirent.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>

namespace utl::internal
{

/// One entry of the table, called like the function in it. A test may exchange the function; the entry is atomic
/// because threads of earlier tests may be calling it meanwhile.
template <class F>
class SystemCall;

template <class R, class... A>
class SystemCall<R(A...)>
{
public:
    using Function = R (*)(A...);

    constexpr SystemCall(Function npFunction)
        : mpFunction(npFunction)
    {
    }

    R operator()(A... nArguments) const { return mpFunction.load(std::memory_order_relaxed)(nArguments...); }
    Function function() const { return mpFunction.load(); }
    Function exchange(Function npFunction) { return mpFunction.exchange(npFunction); }

private:
    std::atomic<Function> mpFunction;
};

/// Names, arguments and results are those of the platform's functions. For failure the functions of the pthread family
/// return the error number; the others return -1 or null and set errno.
struct SystemCalls
{
    // Threads and clocks
    SystemCall<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)> mPthreadCreate;
    SystemCall<int(pthread_t)> mPthreadDetach;
    SystemCall<int(pthread_cond_t*, pthread_mutex_t*, timespec const*)> mPthreadCondTimedwait;
    SystemCall<int(sem_t*)> mSemWait;
    SystemCall<int(int, id_t, int)> mSetpriority; // the first argument is PRIO_PROCESS or the like
    SystemCall<int(clockid_t, timespec*)> mClockGettime;
    SystemCall<int(timespec const*, timespec*)> mNanosleep;
    SystemCall<int(timeval*)> mGettimeofday; // without the time zone
    SystemCall<time_t(time_t*)> mTime;
    SystemCall<tm*(time_t const*, tm*)> mGmtimeR;
    SystemCall<tm*(time_t const*, tm*)> mLocaltimeR;
    SystemCall<char*(time_t const*, char*)> mCtimeR;

    // Pipes, timers and signals
    SystemCall<int(int*, int)> mPipe2;
    SystemCall<int(int, int, int)> mFcntl; // with a number as the argument
    SystemCall<int(int, int, int)> mDup3;
    SystemCall<int(pollfd*, nfds_t, timespec const*, sigset_t const*)> mPpoll;
    SystemCall<int(clockid_t, sigevent*, timer_t*)> mTimerCreate;
    SystemCall<int(timer_t, int, itimerspec const*, itimerspec*)> mTimerSettime;
    SystemCall<int(timer_t)> mTimerDelete;
    SystemCall<int(int, struct sigaction const*, struct sigaction*)> mSigaction;

    // Files
    SystemCall<int(char const*, int, mode_t)> mOpen;
    SystemCall<int(int)> mClose;
    SystemCall<ssize_t(int, void*, std::size_t)> mRead;
    SystemCall<ssize_t(int, void*, std::size_t, off_t)> mPread;
    SystemCall<ssize_t(int, void const*, std::size_t)> mWrite;
    SystemCall<off_t(int, off_t, int)> mLseek;
    SystemCall<int(int, off_t)> mFtruncate;
    SystemCall<int(int)> mFsync;
    SystemCall<int(int, int)> mFlock;
    SystemCall<int(char const*, struct stat*)> mStat;
    SystemCall<int(int, struct stat*)> mFstat;
    SystemCall<int(char const*, mode_t)> mChmod;
    SystemCall<int(char const*, mode_t)> mMkdir;
    SystemCall<int(char const*)> mRmdir;
    SystemCall<int(char const*)> mUnlink;
    SystemCall<int(char const*, char const*)> mRename;
    SystemCall<DIR*(char const*)> mOpendir;
    SystemCall<dirent*(DIR*)> mReaddir;
    SystemCall<int(DIR*)> mClosedir;
    SystemCall<int(char const*, char const*, int)> mFnmatch;

    // Text, and the log's sinks: syslog takes a priority and a format, the two consoles only a format
    SystemCall<int(char*, std::size_t, char const*, va_list)> mVsnprintf;
    SystemCall<void(int, char const*)> mSyslog;
    SystemCall<void(char const*)> mPrintf;
    SystemCall<void(char const*)> mPrintError;
    SystemCall<int(std::FILE*)> mFflush;
    SystemCall<int(pollfd*, nfds_t, int)> mPoll;
};

/// Constant-initialised and never destroyed: constructors and destructors of static objects can use it.
extern SystemCalls gSystem;

/// Repeats a call for as long as a signal handler interrupts it. Never for close.
template <class F>
auto retryOnSignal(F nCall)
{
    auto lResult = nCall();
    while (lResult == -1 && errno == EINTR)
    {
        lResult = nCall();
    }
    return lResult;
}

/// Sleeps 50 microseconds, between two looks at something that another thread is about to change.
inline void pauseBriefly()
{
    timespec const lPause{0, 50000};
    gSystem.mNanosleep(&lPause, nullptr);
}

} // namespace utl::internal

#endif
