// The scratch rows, and borrowing one.
#include "UtlStaticBuffer.h"

#include "internal/base/UtlForkLocks.h"
#include "internal/base/UtlImmortal.h"

#include <algorithm>

namespace utl
{

StaticBuffer& StaticBuffer::get()
{
    struct TheBuffer : StaticBuffer
    {
        TheBuffer() { internal::freeInChild(internal::FORK_SCRATCH_ROWS, "the scratch rows", mBufferLock); }
    };
    static internal::Immortal<TheBuffer> lTheBuffer;
    return lTheBuffer.get();
}

StaticBuffer::StaticBuffer()
    : mBuffers(),
      mUseCount(0)
{
}

char* StaticBuffer::borrowRow()
{
    int const LAST_ROW = ROW_COUNT - 1;
    return mBuffers[std::min(mUseCount++, LAST_ROW)];
}

// The analysis supports neither recursive locks nor a lock that is held from a constructor to the destructor.
template <class T>
WorkingBuffer<T>::WorkingBuffer() UTL_NO_THREAD_SAFETY_ANALYSIS
    : mpStaticBuffer(&StaticBuffer::get()),
      mpRow((mpStaticBuffer->mBufferLock.lock(), mpStaticBuffer->borrowRow()))
{
}

template <class T>
WorkingBuffer<T>::~WorkingBuffer() UTL_NO_THREAD_SAFETY_ANALYSIS
{
    --mpStaticBuffer->mUseCount;
    mpStaticBuffer->mBufferLock.unlock();
}

template class WorkingBuffer<char>;

} // namespace utl
