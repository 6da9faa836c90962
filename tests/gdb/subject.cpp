// What gdb is shown: one value of each kind, and two threads that wait for each other. Stops itself with SIGTRAP.
#include <UtlArray.h>
#include <UtlInsideView.h>
#include <UtlMap.h>
#include <UtlMsgDrivenThread.h>
#include <UtlQueue.h>
#include <UtlSmartPointer.h>
#include <UtlStaticBuffer.h>

#include <cstring>

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

struct PointMsg : utl::Msg
{
    explicit PointMsg(int nX)
        : Msg(77),
          mX(nX)
    {
    }
    void storeDataTo(utl::MsgDataBroker* npBroker) const override { npBroker->set(mX); }
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override { nBroker.get(&mX); }

    int mX;
};

struct Sender : utl::ThreadMsgListener
{
    void receiveMsg(int, utl::ThreadRawMsg&) override { mpOther->sendMsgSync(mMsgId); }

    utl::MsgDrivenThread* mpOther = nullptr;
    int mMsgId = 0;
};

/// A dump says that they wait for each other.
bool isDeadlocked()
{
    char lText[8192] = {};
    int const lFile = ::memfd_create("dump", 0);
    utl::dump(lFile);
    [[maybe_unused]] ssize_t const lRead = ::pread(lFile, lText, sizeof(lText) - 1, 0);
    ::close(lFile);
    return std::strstr(lText, "circle:") != nullptr;
}

void start(utl::MsgDrivenThread& nThread, Sender& nListener, utl::MsgDrivenThread& nOther, int nMsgId)
{
    nListener.mpOther = &nOther;
    nListener.mMsgId = nMsgId;
    nThread.start(&nListener, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
}

} // namespace

int main()
{
    utl::Array<int> lArray(4);
    utl::Queue<int> lQueue(3);
    utl::Map<int, utl::BasicString<char>> lMap(4);
    utl::BasicString<char> lString("\xE6\x97\xA5\xE6\x9C\xAC", 0, 0);
    utl::SmartPointer<int> lPointer(new int(42));
    utl::SmartPointer<int> const lShare(lPointer);
    PointMsg lPoint(5);
    utl::ThreadRawMsg lRaw(8);
    lPoint.storeTo(&lRaw);
    for (int lNumber = 1; lNumber <= 4; ++lNumber)
    {
        (void)lArray.insertAt(lArray.size(), lNumber * 10);
        lNumber == 4 ? void(lQueue.pop()) : void();
        (void)lQueue.push(lNumber);
    }
    (void)lMap.insert(7, lString);

    static Sender sLeft;
    static Sender sRight;
    static utl::MsgDrivenThread sLeftThread(4, 4, "left", 1);
    static utl::MsgDrivenThread sRightThread(4, 4, "right", 1);
    start(sLeftThread, sLeft, sRightThread, 2);
    start(sRightThread, sRight, sLeftThread, 3);
    sLeftThread.postMsg(1);
    sRightThread.postMsg(4);
    while (!isDeadlocked())
    {
        ::poll(nullptr, 0, 1);
    }
    utl::WorkingBuffer<char> const lRow;
    ::raise(SIGTRAP);
    ::_exit(0);
}
