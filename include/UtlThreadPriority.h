/// A thread's priority as a nice value. Layer: event, priority, statement record.
#ifndef UTL_THREAD_PRIORITY_H
#define UTL_THREAD_PRIORITY_H

#include "UtlMacros.h"

namespace utl
{

/// A nice value, and its step on a scale of seven, where step 0 is the most urgent.
///
/// The values are absolute, not relative to the process. Only a privileged process may lower a nice value. Without
/// privileges, in a process that was started with nice -n 10, a thread that asks for less than 10, such as NORMAL, logs
/// "ThreadManager::startThread() Error setpriority() OsValue:0" and runs at nice 10. That holds for every step, since
/// even IDLE is nice 3. There, set the process's own nice value with OsValue(10).
///
/// Safety: a value.
class UTL_API ThreadPriority
{
public:
    /// Means "no priority"; no nice value of the operating system.
    static constexpr int INVALID_OS_VALUE = 100;

    /// The scale.
    enum Priority
    {
        INVALID = -1,      ///< no step of the scale
        TIME_CRITICAL = 0, ///< nice -4
        HIGH = 1,          ///< nice -2
        ABOVE_NORMAL = 2,  ///< nice -1
        NORMAL = 3,        ///< nice 0, what a thread has by default
        BELOW_NORMAL = 4,  ///< nice 1
        LOW = 5,           ///< nice 2
        IDLE = 6           ///< nice 3
    };

    /// nPriority: a step of the scale; any other number gives INVALID_OS_VALUE.
    ThreadPriority(int nPriority = NORMAL);
    ThreadPriority(ThreadPriority const&) = default;
    ThreadPriority& operator=(ThreadPriority const&) = default;
    virtual ~ThreadPriority() = default;

    /// Set a step, as the constructor does.
    ThreadPriority& operator=(Priority nPriority);
    void value(int nPriority);

    /// The step of the nice value: everything below -3 is TIME_CRITICAL, -3 is HIGH, everything above 3 is INVALID.
    int value() const;

    /// The nice value; any number is stored.
    void OsValue(int nOsValue) { mOsValue = nOsValue; }
    int OsValue() const { return mOsValue; }

    /// Compare the nice values.
    bool operator==(ThreadPriority const& nOther) const { return mOsValue == nOther.mOsValue; }
    bool operator!=(ThreadPriority const& nOther) const { return !(*this == nOther); }

private:
    int mOsValue; // one thread
};

} // namespace utl

#endif
