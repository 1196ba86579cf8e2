#include "messages/voxcall.h"

#include "messages/voxcalldata.h"

VOXCall::VOXCall(const BusMessage &message, unsigned int timeout)
    : VOXMessage(*new VOXCallData(0, 0, timeout))
{
    data() = message.data();
}

VOXCall::VOXCall(const VOXCmdInfo &info, unsigned int timeout)
    : VOXMessage(*new VOXCallData(info.size(), info.reply(), timeout))
{
    setExtLen(info.size());
    setCmd(info.cmd());
}

VOXCall::VOXCall(const VOXCmdInfo &info, unsigned int src, unsigned int dest, unsigned int timeout)
    : VOXCall(info, timeout)
{
    if (info.reply() != 0)
        setAck(true);
    setSrcAddr(src);
    setDestAddr(dest);
    if (timeout == 0)
        setTimeout(addrType() == VOX::P2P ? DefaultTimeout : DefaultSharedTimeout);
}

VOXCall::VOXCall(const VOXCmdInfo &info, unsigned int addr, VOX::AddrType type, unsigned int timeout)
    : VOXCall(info, timeout)
{
    switch (type) {
    case VOX::P2P:
        setDestAddr(addr);
        if (info.reply() != 0)
            setAck(true);
        break;
    case VOX::GROUP:
        setGroupAddr(addr, VOX::NODETYPE_MASTER);
        break;
    case VOX::BCAST:
        setBcastAddr(addr, VOX::NODETYPE_ANY);
        break;
    }
}

// A plain message that is assigned through a base reference brings data of another class. The result is then
// null.
const VOXCallData *VOXCall::callData() const
{
    return dynamic_cast<const VOXCallData *>(d.constData());
}

VOXCallData *VOXCall::callData()
{
    return dynamic_cast<VOXCallData *>(d.data());
}

unsigned char VOXCall::reply() const
{
    const VOXCallData *own = callData();
    return own ? own->reply() : 0;
}

void VOXCall::setReply(unsigned char reply)
{
    if (VOXCallData *own = callData())
        own->setReply(reply);
}

short VOXCall::replyCount() const
{
    const VOXCallData *own = callData();
    return own ? own->replyCount() : short(-1);
}

void VOXCall::setReplyCount(short count)
{
    if (VOXCallData *own = callData())
        own->setReplyCount(count);
}

VOXCall::Matching VOXCall::matching() const
{
    const VOXCallData *own = callData();
    return own ? own->matching() : AnyNode;
}

void VOXCall::setMatching(Matching matching)
{
    if (VOXCallData *own = callData())
        own->setMatching(matching);
}

void VOXCall::setTimeout(unsigned int timeout)
{
    if (VOXCallData *own = callData())
        own->setTimeout(timeout);
}

void VOXCall::setBusFreeDelay(unsigned char delay)
{
    if (VOXCallData *own = callData())
        own->setBusFreeDelay(delay);
}

BusPendingCallData *VOXCall::createPendingCall(Bus *bus) const
{
    return VOXMessage::createPendingCall(bus);
}
