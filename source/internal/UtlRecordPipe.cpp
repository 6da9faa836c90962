#include "internal/UtlRecordPipe.h"

#include "internal/UtlSystemCalls.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace utl::internal
{

RecordPipe::~RecordPipe()
{
    close();
}

bool RecordPipe::open()
{
    int lFds[2];
    if (gSystem.mPipe2(lFds, O_CLOEXEC) != 0)
    {
        return false;
    }
    mReadFd = lFds[0];
    mWriteFd = lFds[1];
    // The two ends are open files of their own, so the reading end goes on blocking.
    ::fcntl(mWriteFd, F_SETFL, O_WRONLY | O_NONBLOCK);
    return true;
}

void RecordPipe::close()
{
    closeReadEnd();
    closeWriteEnd();
}

int RecordPipe::closeEnd(int& nFd)
{
    int const lFd = nFd;
    nFd = -1;
    return lFd != -1 ? gSystem.mClose(lFd) : 0;
}

RecordPipe::WriteResult RecordPipe::tryWrite(PipeRecord const& nRecord, unsigned int* npWritten)
{
    ssize_t const lWritten = retryOnSignal([&] { return gSystem.mWrite(mWriteFd, &nRecord, sizeof(nRecord)); });
    if (npWritten != nullptr)
    {
        *npWritten = static_cast<unsigned int>(lWritten);
    }
    if (lWritten == static_cast<ssize_t>(sizeof(nRecord)))
    {
        return WRITTEN;
    }
    return lWritten == -1 && errno == EAGAIN ? FULL : FAILED;
}

bool RecordPipe::post(PipeRecord const& nRecord, unsigned int* npWritten)
{
    unsigned int const lOwed = mOwedCount.load();
    if (lOwed > 0)
    {
        mOwedCount.store(lOwed + 1);
        return true;
    }
    WriteResult lResult = tryWrite(nRecord, npWritten);
    if (lResult == FULL)
    {
        // The reader may have emptied the pipe, and looked for what is owed, just before we say so: try once more
        // now that it is said. If the pipe is still full, the reader has a read to come, and will look after it.
        mOwedCount.store(1);
        lResult = tryWrite(nRecord, npWritten);
        if (lResult != FULL)
        {
            mOwedCount.store(0);
        }
    }
    return lResult != FAILED;
}

bool RecordPipe::read(PipeRecord* npRecord, unsigned int* npRead)
{
    if (!hasBuffered())
    {
        ssize_t const lRead = gSystem.mRead(mReadFd, mBuffer, sizeof(mBuffer));
        *npRead = static_cast<unsigned int>(lRead);
        mNext = 0;
        mCount = lRead > 0 ? static_cast<std::size_t>(lRead) / sizeof(PipeRecord) : 0;
        if (mCount == 0)
        {
            return false;
        }
    }
    *npRecord = mBuffer[mNext++];
    return true;
}

} // namespace utl::internal
