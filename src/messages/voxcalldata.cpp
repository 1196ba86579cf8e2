#include "messages/voxcalldata.h"

#include "messages/kvr.h"
#include "messages/voxgrouppendingcalldata.h"
#include "messages/voxmessage.h"

namespace {
constexpr int ControlOffset = 1;
constexpr int NodeTypesOffset = 2;
constexpr int SourceOffset = 3;
constexpr int DestinationOffset = 6;

unsigned int addrAt(const QByteArray &frame, int offset)
{
    unsigned int addr = 0;
    if (frame.size() >= VOXMessage::HeaderLength)
        VOX::voxtoh(reinterpret_cast<const unsigned char *>(frame.constData()) + offset, addr);
    return addr;
}

unsigned int sourceOf(const QByteArray &frame)
{
    if (frame.size() < VOXMessage::HeaderLength)
        return 0;
    const int types = static_cast<unsigned char>(frame.at(NodeTypesOffset));
    return VOX::makeAddr(static_cast<VOX::NodeType>(types >> 4),
                         static_cast<int>(addrAt(frame, SourceOffset)));
}
}

VOXCallData::VOXCallData(unsigned int control, unsigned char reply, unsigned int timeout)
    : VOXMessageData(control)
    , m_timeout(timeout)
    , m_reply(reply)
{
}

VOXCallData::VOXCallData(const VOXCallData &other) = default;

VOXCallData *VOXCallData::clone() const
{
    return new VOXCallData(*this);
}

BusPendingCallData *VOXCallData::createPendingCall(const QSharedDataPointer<BusMessageData> &message,
                                                   Bus *bus) const
{
    if (VOXMessage::addrType(bytes()) == VOX::P2P)
        return VOXMessageData::createPendingCall(message, bus);
    return new VOXGroupPendingCallData(message, bus, m_replyCount);
}

bool VOXCallData::isAck() const
{
    return bytes().size() >= VOXMessage::MinLength
        && (static_cast<unsigned char>(bytes().at(ControlOffset)) & VOXMessage::AckFlag) != 0;
}

bool VOXCallData::hasReply() const
{
    return m_reply != 0 || isAck();
}

bool VOXCallData::isReply(const BusMessage &message) const
{
    const VOXMessage frame(message);
    if (frame.data().size() < VOXMessage::MinLength)
        return false;
    const unsigned char cmd = frame.cmd();
    const bool isStrict = m_matching == VOXCall::AskedNode;
    const bool isExpected = m_reply == 0 ? !isStrict : cmd == m_reply;
    const bool fits = isExpected || cmd == KVR::NACK || (cmd == KVR::ACK && isAck());
    return fits && isForMe(frame) && (!isStrict || isFromAsked(frame));
}

bool VOXCallData::isFromAsked(const VOXMessage &message) const
{
    const unsigned int sender = message.srcAddr(false);
    if (VOXMessage::addrType(bytes()) != VOX::P2P)
        return sender != (VOX::HostAddr & VOX::AddrMask);
    return sender == addrAt(bytes(), DestinationOffset);
}

bool VOXCallData::isForMe(const VOXMessage &message) const
{
    const unsigned int source = sourceOf(bytes());
    const unsigned int destination = message.destAddr(true);
    return destination == source || destination == (source & VOX::AddrMask);
}
