// A message thread: messages of our own class, handled in order on the receiver's thread.
#include <Utl.h>

#include <cstdio>

namespace
{

/// A message is an id and values. The sender flattens them, and the receiver restores them.
class AddMsg : public utl::Msg
{
public:
    static int const ID = 1; // ids from 0x80000000 to 0x80000800 are reserved

    explicit AddMsg(int nNumber = 0)
        : Msg(ID),
          mNumber(nNumber)
    {
    }
    void storeDataTo(utl::MsgDataBroker* npBroker) const override { npBroker->set(mNumber); }
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override { nBroker.get(&mNumber); }

    int mNumber;
};

/// Called on the message thread, one message at a time, so its data needs no lock.
class Adder : public utl::ThreadMsgListener
{
public:
    void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
    {
        AddMsg lMsg;
        if (lMsg.restoreFrom(nRawMsg))
        {
            mSum += lMsg.mNumber;
        }
    }

    int mSum = 0;
};

} // namespace

int main()
{
    Adder lAdder;
    utl::MsgDrivenThread lThread(sizeof(int), 1000, "adder", 0); // 1000 messages of one int, no timers
    if (lThread.start(&lAdder, 0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0) != 0)
    {
        return 1;
    }
    for (int lNumber = 1; lNumber <= 1000; ++lNumber)
    {
        while (!lThread.postMsg(AddMsg(lNumber))) // a full queue refuses; it never grows
        {
            utl::Thread::sleep(1);
        }
    }
    while (!lThread.sendMsgSync(AddMsg(0))) // returns when the listener has seen it, and so all before it
    {
        utl::Thread::sleep(1);
    }
    lThread.stop(1, 0);
    lThread.leaveManagement();
    std::printf("1 + 2 + ... + 1000 = %d\n", lAdder.mSum);
    return lAdder.mSum == 500500 ? 0 : 1;
}
