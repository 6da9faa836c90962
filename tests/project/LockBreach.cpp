// Must not compile: guarded data touched without its lock. A test looks for the error.
#include "UtlSyncObject.h"

class Box
{
public:
    void add() { ++mCount; }

private:
    utl::SyncObject mSyncObject;
    int mCount UTL_GUARDED_BY(mSyncObject) = 0;
};

void breach(Box& nBox);
void breach(Box& nBox)
{
    nBox.add();
}
