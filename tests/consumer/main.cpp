// Linked with the real library, never with its objects: shared from the build folder, and shared and static from an
// installed tree. A header that is not installed shows up here; exports are checked against what the tests call.
#include <Utl.h>

#include <cstdio>

extern unsigned int gBinaryLines; // of platform.cpp

/// Logs before main has begun and after it has ended.
struct Outlasting
{
    Outlasting() { applog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DETAIL, "before main"); }
    ~Outlasting() { applog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DETAIL, "after main"); }
} gOutlasting;

/// Goes on while the process exits: sends to itself, logs, and is never stopped.
struct Restless : utl::ThreadMsgListener
{
    Restless()
        : mThread(16, 4, "restless", 1)
    {
        mThread.start(this, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
        mThread.postMsg(1);
    }
    void receiveMsg(int, utl::ThreadRawMsg&) override
    {
        applog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DEBUG, "passes no filter, but goes through it");
        rawlog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_DETAIL, "%s", "");
        mThread.postMsg(1);
    }
    utl::MsgDrivenThread mThread;
};
Restless* gpRestless = nullptr;

int main()
{
    if (utl::version() != UTL_VERSION)
    {
        std::printf("the headers are of another version than the library\n");
        return 1;
    }
    rawlog(utl::UTL_LOG_TYPE, utl::LOG_LEVEL_INFO, "a line\n");
    if (gBinaryLines != 1)
    {
        std::printf("the log passes the function of the process by\n");
        return 1;
    }
    gpRestless = new Restless; // left running on purpose
    return 0;
}
