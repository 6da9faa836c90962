/// A thread's priority as a nice value. Layer: event, priority, statement record.
#ifndef UTL_THREAD_PRIORITY_H
#define UTL_THREAD_PRIORITY_H

#include "UtlMacros.h"

namespace utl
{

/// A nice value, and its place on a scale of seven steps, the lowest number being the most urgent.
///
/// The values are absolute, not relative to the process. Only a process with privileges may lower a nice value: in one
/// that was started with nice -n 10 and has none, a thread that asks for NORMAL, or anything below 10, logs
/// "ThreadManager::startThread() Error setpriority() OsValue:0" and runs at nice 10. IDLE is nice 3, so there no step
/// is left; ThreadPriority lPriority; lPriority.OsValue(10) asks for what the process has.
///
/// Safety: a value.
class UTL_API ThreadPriority
{
public:
    /// The nice value that stands for "no priority"; the operating system knows none such.
    static constexpr int INVALID_OS_VALUE = 100;

    /// The scale.
    enum Priority
    {
        INVALID = -1,      ///< no step
        TIME_CRITICAL = 0, ///< nice -4
        HIGH = 1,          ///< nice -2
        ABOVE_NORMAL = 2,  ///< nice -1
        NORMAL = 3,        ///< nice 0, what a thread has by default
        BELOW_NORMAL = 4,  ///< nice 1
        LOW = 5,           ///< nice 2
        IDLE = 6           ///< nice 3
    };

    /// nPriority: a step of the scale; any other number makes INVALID_OS_VALUE.
    ThreadPriority(int nPriority = NORMAL);
    ThreadPriority(ThreadPriority const&) = default;
    ThreadPriority& operator=(ThreadPriority const&) = default;
    virtual ~ThreadPriority() = default;

    /// The same.
    ThreadPriority& operator=(Priority nPriority);
    void value(int nPriority);

    /// The step of the nice value: everything below -3 is TIME_CRITICAL, -3 is HIGH, everything above 3 is INVALID.
    int value() const;

    /// The nice value, stored as it comes.
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
