// Priorities and their nice values.
#include "UtlThreadPriority.h"

namespace utl
{

ThreadPriority::ThreadPriority(int nPriority)
{
    value(nPriority);
}

ThreadPriority& ThreadPriority::operator=(Priority nPriority)
{
    value(nPriority);
    return *this;
}

void ThreadPriority::value(int nPriority)
{
    static constexpr int OS_VALUES[] = {-4, -2, -1, 0, 1, 2, 3};
    mOsValue = nPriority < TIME_CRITICAL || nPriority > IDLE ? INVALID_OS_VALUE : OS_VALUES[nPriority];
}

int ThreadPriority::value() const
{
    if (mOsValue < -3)
    {
        return TIME_CRITICAL;
    }
    static constexpr int STEPS[] = {HIGH, HIGH, ABOVE_NORMAL, NORMAL, BELOW_NORMAL, LOW, IDLE}; // from -3
    return mOsValue > 3 ? INVALID : STEPS[mOsValue + 3];
}

} // namespace utl
