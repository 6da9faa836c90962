// What the library's objects cost, as the rows of a table: bytes of the object, heap behind it with the allocator's own
// bytes, descriptors, threads and kernel timers. scripts/cost.sh makes docs/cost.md of it.
#include "Utl.h"
#include "support/Process.h"

#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <unistd.h>

namespace
{

using utl::test::openFdCount;
using utl::test::threadCount;

struct Held
{
    std::size_t mHeapBytes = 0;
    unsigned int mFds = 0;
    unsigned int mThreads = 0;
};

Held held()
{
    struct mallinfo2 const lHeap = ::mallinfo2();
    return {lHeap.uordblks + lHeap.hblkhd, openFdCount(), threadCount()};
}

void row(char const* npWhat, std::size_t nObjectBytes, Held const& nBefore)
{
    Held const lNow = held();
    std::printf("| %s | %zu | %zu | %u | %u |\n", npWhat, nObjectBytes, lNow.mHeapBytes - nBefore.mHeapBytes,
                lNow.mFds - nBefore.mFds, lNow.mThreads - nBefore.mThreads);
}

/// An object that stays, so that the rows do not disturb each other.
template <class T, class... Args>
T& made(char const* npWhat, Args... nArgs)
{
    void* const lpPlace = std::malloc(sizeof(T));
    Held const lBefore = held();
    T* const lpObject = new (lpPlace) T(nArgs...);
    asm volatile("" : : "r"(lpObject) : "memory"); // else a block that nobody reads is left out
    row(npWhat, sizeof(T), lBefore);
    return *lpObject;
}

struct Silent : utl::ThreadMsgListener, utl::TimerListener
{
    void receiveMsg(int, utl::ThreadRawMsg&) override {}
    void onTime(int) override {}
} gListener;

void timers(utl::MsgDrivenThread& nThread)
{
    Held const lBefore = held();
    nThread.setTimer(3600000, 0, 0, 0);
    row("its timer, running", 0, lBefore);
}

void threads()
{
    utl::ThreadPriority const lNormal(utl::ThreadPriority::NORMAL);
    auto& lThread =
        made<utl::MsgDrivenThread>("`MsgDrivenThread`, 64 messages of 64 bytes, 4 timers", 64U, 64U, "cost", 4U);
    Held lBefore = held();
    lThread.start(&gListener, 0, 0, nullptr, 1, 0, lNormal, 0);
    lThread.sendMsgSync(1);
    row("the same, started", 0, lBefore);
    timers(lThread);

    auto& lWatched = made<utl::MsgDrivenThread>("a second one", 64U, 64U, "watched", 4U);
    lBefore = held();
    lWatched.start(&gListener, 1, 60000, nullptr, 1, 0, lNormal, 0);
    lWatched.sendMsgSync(1);
    row("the same, started and watched", 0, lBefore);

    auto& lShared = made<utl::MsgDrivenSharedThread>("`MsgDrivenSharedThread`, the same and 8 listeners", 64U, 64U, 8U,
                                                     "shared", 4U);
    lBefore = held();
    lShared.start(0, 0, nullptr, 1, 0, lNormal, 0);
    lShared.attachMsgListener(&gListener);
    lShared.sendMsgSync(1);
    row("the same, started, one listener", 0, lBefore);

    auto& lTimers = made<utl::SharedTimer>("`SharedTimer`, 8 timers, its thread running", 0, 0U, nullptr, 8U, "timers");
    lBefore = held();
    lTimers.start(lTimers.addTimer(&gListener, 3600000, 0, 0), 0);
    row("its timer, running", 0, lBefore);
    made<utl::Timer>("`Timer`, its thread running", static_cast<utl::TimerListener*>(&gListener), 3600000U, 0, 0U,
                     nullptr, 0U, 0, "timer");
}

} // namespace

int main()
{
    ::mallopt(M_ARENA_MAX, 1); // mallinfo2 tells of one
    Held lBefore = held();
    setAllFilterLevel(utl::LOG_LEVEL_ERROR);
    row("the log, at its first use", 0, lBefore);
    lBefore = held();
    utl::ThreadManager::get();
    row("the registry and its watchdog thread, at their first use", 0, lBefore);

    made<utl::SyncObject>("`SyncObject`");
    made<utl::Event>("`Event`", 0, 0);
    made<utl::Array<int>>("`Array<int>` of 64", 64U);
    made<utl::Queue<int>>("`Queue<int>` of 64", 64U);
    made<utl::Map<int, int>>("`Map<int, int>` of 64", 64U);
    made<utl::BasicString<char>>("`BasicString<char>` of 64", 64U, 0);
    made<utl::MemoryPool>("`MemoryPool`, 64 blocks of 64 bytes", 64U, 64U, "pool");
    made<utl::Time>("`Time`");
    made<utl::TimeCounter>("`TimeCounter`");
    made<utl::BitStream>("`BitStream`");
    auto& lFile = made<utl::File>("`File`", "/dev/null", utl::FILE_TEXT_UTF8);
    Held const lClosed = held();
    lFile.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ);
    row("the same, open", 0, lClosed);
    threads();
    std::fflush(stdout);
    ::_exit(0); // the objects' threads still run
}
