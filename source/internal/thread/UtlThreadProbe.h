/// Reads from the system what a thread of this process is doing. Layer: internal, thread registry.
#ifndef UTL_THREAD_PROBE_H
#define UTL_THREAD_PROBE_H

namespace utl::internal
{

/// The state of a thread at one moment, and its times so far.
struct ThreadSample
{
    static constexpr long long UNKNOWN = -1;

    bool isAtRest() const { return mState == 'S' || mState == 'D'; }
    bool isReady() const { return mState == 'R'; }
    bool isStopped() const { return mState == 'T' || mState == 't'; }

    long long mTakenNs = 0;        // when this sample was taken, by the monotonic clock
    char mState = '\0';            // as in /proc; 0: unknown
    long long mRunNs = UNKNOWN;    // time on a processor
    long long mQueuedNs = UNKNOWN; // time ready, without a processor; up to date only while the thread is at rest
};

/// Takes samples of one thread. Keeps descriptors open between samples.
class ThreadProbe
{
public:
    ThreadProbe() = default;
    ~ThreadProbe() { close(); }
    ThreadProbe(ThreadProbe const&) = delete;
    ThreadProbe& operator=(ThreadProbe const&) = delete;

    /// nId: a thread of this process, the same one until close(). Takes some 4 microseconds.
    ThreadSample take(int nId);
    void close();

    /// The monotonic clock; 0 if it fails.
    static long long nowNs();

    /// How long all threads of the process together have run; 0 if the system does not tell.
    static long long processNs();

private:
    static constexpr int CLOSED = -1;
    static constexpr int MISSING = -2; // the system has none

    int mStatFd = CLOSED;
    int mSchedstatFd = CLOSED;
};

} // namespace utl::internal

#endif
