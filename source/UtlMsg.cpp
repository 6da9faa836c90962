// The library's own messages, and how messages are written to a broker and read back.
#include "UtlMsg.h"

namespace utl
{

MsgDataBroker::~MsgDataBroker() = default;

bool MsgDataBroker::beginInput()
{
    return true;
}

bool MsgDataBroker::endInput()
{
    return true;
}

bool MsgDataBroker::beginOutput()
{
    return true;
}

bool MsgDataBroker::endOutput()
{
    return true;
}

int MsgDataBroker::getResult()
{
    return 0;
}

Msg::~Msg() = default;

bool Msg::storeTo(MsgDataBroker* npBroker) const
{
    if (npBroker == nullptr)
    {
        return false;
    }
    npBroker->setMsgId(mMsgId);
    npBroker->beginInput();
    storeDataTo(npBroker);
    npBroker->endInput();
    return npBroker->getResult() == 0;
}

bool Msg::restoreFrom(MsgDataBroker& nBroker)
{
    nBroker.getMsgId(&mMsgId);
    nBroker.beginOutput();
    restoreDataFrom(nBroker);
    nBroker.endOutput();
    return nBroker.getResult() == 0;
}

SimpleMsg::~SimpleMsg() = default;

void SimpleMsg::storeDataTo(MsgDataBroker*) const {}

void SimpleMsg::restoreDataFrom(MsgDataBroker&) {}

TimerMsg::~TimerMsg() = default;

void TimerMsg::storeDataTo(MsgDataBroker* npBroker) const
{
    npBroker->set(mTimerId);
}

void TimerMsg::restoreDataFrom(MsgDataBroker& nBroker)
{
    nBroker.get(&mTimerId);
}

} // namespace utl
