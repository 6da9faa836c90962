/// What the system tells of a thread of this process. Layer: internal, thread registry.
#ifndef UTL_THREAD_PROBE_H
#define UTL_THREAD_PROBE_H

namespace utl::internal
{

/// A thread at one moment.
struct ThreadSample
{
    static constexpr long long UNKNOWN = -1;

    bool isAtRest() const { return mState == 'S' || mState == 'D'; }
    bool isReady() const { return mState == 'R'; }
    bool isStopped() const { return mState == 'T' || mState == 't'; }

    long long mTakenNs = 0;        // by the monotonic clock
    char mState = '\0';            // as in /proc; 0: unknown
    long long mRunNs = UNKNOWN;    // on a processor so far
    long long mQueuedNs = UNKNOWN; // ready, without a processor; up to date only while it is at rest
};

/// Takes samples of one thread, by descriptors that it keeps open.
class ThreadProbe
{
public:
    ThreadProbe() = default;
    ~ThreadProbe() { close(); }
    ThreadProbe(ThreadProbe const&) = delete;
    ThreadProbe& operator=(ThreadProbe const&) = delete;

    /// nId: of this process, and the same until close(). Some 4 microseconds.
    ThreadSample take(int nId);
    void close();

    /// The monotonic clock; 0 if it fails.
    static long long nowNs();

    /// How long all threads of the process together have run; 0 if that is not told.
    static long long processNs();

private:
    static constexpr int CLOSED = -1;
    static constexpr int MISSING = -2; // the system has none

    int mStatFd = CLOSED;
    int mSchedstatFd = CLOSED;
};

} // namespace utl::internal

#endif
