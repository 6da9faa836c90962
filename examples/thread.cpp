// A thread with a job, a log type of its own, and a result in counted holders.
#include "UtlApplog.h"
#include "UtlEvent.h"
#include "UtlSmartPointer.h"
#include "UtlSyncObject.h"
#include "UtlThread.h"
#include "UtlTimeCounter.h"

#include <cstdio>

namespace
{

constexpr int LOG_TYPE = 1; // negative numbers are for the library
constexpr unsigned int ENOUGH = 5;

/// Counts under a lock; shared by counted holders.
class Tally
{
public:
    unsigned int add()
    {
        utl::SyncGuard lGuard(mSyncObject);
        return ++mCount;
    }

private:
    utl::SyncObject mSyncObject;
    unsigned int mCount = 0;
};

/// Counts until it is asked to end.
class Sampler : public utl::Thread
{
public:
    explicit Sampler(utl::SmartPointer<Tally> const& nTally)
        : Thread("sampler", nullptr),
          mTally(nTally)
    {
    }
    ~Sampler() override
    {
        stop(1, 0); // here, since ~Thread() would not call our requestStop()
        awaitEnd();
    }

    utl::Event mHasEnough{0, 0};

private:
    unsigned int execute() override
    {
        unsigned int lCount = 0;
        while (mIsAskedToEnd.waitToOn(1) == utl::Event::TIMED_OUT)
        {
            lCount = mTally->add();
            if (lCount == ENOUGH)
            {
                mHasEnough.setOn();
            }
        }
        return lCount;
    }
    void requestStop() override { mIsAskedToEnd.setOn(); }

    utl::SmartPointer<Tally> const mTally;
    utl::Event mIsAskedToEnd{0, 0};
};

} // namespace

int main()
{
    registerLogType(LOG_TYPE, "example: ", utl::LOG_LEVEL_DETAIL);
    utl::TimeCounter lTime;
    lTime.start();
    utl::SmartPointer<Tally> lTally(new Tally); // its last holder deletes it
    unsigned int lResult = 0;
    {
        Sampler lSampler(lTally);
        if (lSampler.start(0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::LOW), 0) != 0)
        {
            return 1;
        }
        lSampler.mHasEnough.waitToOn(0); // 0: without limit
        lSampler.stop(1, 0);
        lSampler.getResult(&lResult);
        lSampler.leaveManagement();
    }
    applog(LOG_TYPE, utl::LOG_LEVEL_DETAIL, "%u samples in %u ms", lResult, lTime.stop());
    return lResult >= ENOUGH && lTally->add() == lResult + 1 ? 0 : 1;
}
