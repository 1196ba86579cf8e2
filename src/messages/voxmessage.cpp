#include "messages/voxmessage.h"

#include "messages/voxmessagedata.h"

#include <algorithm>

namespace {
enum Offset { Command = 0, Control = VOXMessage::ControlOffset, NodeTypes = 2, Source = 3, Destination = 6 };

constexpr unsigned char LowNibble = 0x0f;
constexpr unsigned char HighNibble = 0xf0;
constexpr int NibbleBits = 4;
constexpr unsigned int GroupDestination = 0x000000;
constexpr unsigned int BroadcastDestination = 0xffffff;
// The destination of a frame that is too short for one.
constexpr unsigned int NoDestination = 1;

VOX::NodeType nodeType(int nibble)
{
    return static_cast<VOX::NodeType>(nibble & LowNibble);
}

unsigned int addrOf(const QByteArray &frame, int index)
{
    unsigned int addr = 0;
    if (index + 3 <= frame.size())
        VOX::voxtoh(reinterpret_cast<const unsigned char *>(frame.constData()) + index, addr);
    return addr;
}

void resize(QByteArray &bytes, int size)
{
    const int before = bytes.size();
    bytes.resize(size);
    if (size > before)
        std::fill(bytes.begin() + before, bytes.end(), '\0');
}
}

VOXMessage::VOXMessage()
    : BusMessage(empty())
{
}

const VOXMessage &VOXMessage::empty()
{
    // Never destroyed: messages may outlive every static object.
    static const auto *message = new VOXMessage(*new VOXMessageData);
    return *message;
}

VOXMessage::VOXMessage(unsigned char ctrl)
    : VOXMessage(*new VOXMessageData(ctrl))
{
    setExtLen(ctrl);
}

VOXMessage::VOXMessage(const BusMessage &message)
    : BusMessage(message)
{
}

VOXMessage::VOXMessage(BusMessageData &data)
    : BusMessage(data)
{
}

unsigned char VOXMessage::byteAt(int index) const
{
    return index < data().size() ? static_cast<unsigned char>(data().at(index)) : 0;
}

void VOXMessage::setByteAt(int index, unsigned char value)
{
    if (index < std::as_const(*this).data().size())
        data().data()[index] = static_cast<char>(value);
}

void VOXMessage::setFlag(unsigned char flag, bool on)
{
    const unsigned char control = byteAt(Control);
    setByteAt(Control, static_cast<unsigned char>(on ? control | flag : control & ~flag));
}

unsigned int VOXMessage::addrAt(int index) const
{
    return addrOf(data(), index);
}

void VOXMessage::setAddrAt(int index, unsigned int addr)
{
    if (index + 3 <= std::as_const(*this).data().size())
        VOX::htovox(addr, reinterpret_cast<unsigned char *>(data().data()) + index);
}

unsigned char VOXMessage::cmd() const
{
    return byteAt(Command);
}

void VOXMessage::setCmd(unsigned char cmd)
{
    setByteAt(Command, cmd);
}

unsigned char VOXMessage::len() const
{
    return static_cast<unsigned char>(data().size());
}

void VOXMessage::setLen(unsigned char length)
{
    const int clamped = std::clamp<int>(length, MinLength, MaxLength);
    const int flags = byteAt(Control) & ~LengthMask;
    resize(data(), clamped);
    setByteAt(Control, static_cast<unsigned char>(flags | clamped));
}

void VOXMessage::setExtLen(unsigned char ctrl)
{
    resize(data(), ctrl & LengthMask);
    setByteAt(Control, ctrl);
}

bool VOXMessage::isAck() const
{
    return (byteAt(Control) & AckFlag) != 0;
}

void VOXMessage::setAck(bool ack)
{
    setFlag(AckFlag, ack);
}

bool VOXMessage::isCRC() const
{
    return (byteAt(Control) & CrcFlag) != 0;
}

void VOXMessage::setCRC(bool crc)
{
    setFlag(CrcFlag, crc);
}

VOX::NodeType VOXMessage::srcNodeType() const
{
    return nodeType(byteAt(NodeTypes) >> NibbleBits);
}

void VOXMessage::setSrcNodeType(VOX::NodeType type)
{
    setByteAt(NodeTypes, static_cast<unsigned char>((type << NibbleBits) | (byteAt(NodeTypes) & LowNibble)));
}

VOX::NodeType VOXMessage::destNodeType() const
{
    return nodeType(byteAt(NodeTypes));
}

void VOXMessage::setDestNodeType(VOX::NodeType type)
{
    setByteAt(NodeTypes, static_cast<unsigned char>((byteAt(NodeTypes) & HighNibble) | (type & LowNibble)));
}

unsigned int VOXMessage::srcAddr(bool withType) const
{
    const unsigned int addr = addrAt(Source);
    return withType ? VOX::makeAddr(srcNodeType(), static_cast<int>(addr)) : addr;
}

void VOXMessage::setSrcAddr(unsigned int addr)
{
    setAddrAt(Source, addr);
    setSrcNodeType(VOX::getType(addr));
}

unsigned int VOXMessage::destAddr(bool withType) const
{
    const unsigned int addr = addrAt(Destination);
    return withType ? VOX::makeAddr(destNodeType(), static_cast<int>(addr)) : addr;
}

void VOXMessage::setDestAddr(unsigned int addr)
{
    setAddrAt(Destination, addr);
    setDestNodeType(VOX::getType(addr));
}

unsigned int VOXMessage::bcastAddr(bool withType) const
{
    const unsigned int addr = addrAt(Source);
    return withType ? VOX::makeAddr(destNodeType(), static_cast<int>(addr)) : addr;
}

void VOXMessage::setGroupAddr(unsigned int addr, VOX::NodeType type)
{
    setSrcNodeType(type);
    setDestNodeType(VOX::getType(addr));
    setAddrAt(Source, addr);
    setAddrAt(Destination, GroupDestination);
}

void VOXMessage::setBcastAddr(unsigned int addr, VOX::NodeType type)
{
    setSrcNodeType(VOX::getType(addr));
    setDestNodeType(type);
    setAddrAt(Source, addr);
    setAddrAt(Destination, BroadcastDestination);
}

VOX::AddrType VOXMessage::addrType(const QByteArray &frame)
{
    switch (frame.size() < HeaderLength ? NoDestination : addrOf(frame, Destination)) {
    case GroupDestination:
        return VOX::GROUP;
    case BroadcastDestination:
        return VOX::BCAST;
    default:
        return VOX::P2P;
    }
}

bool VOXMessage::isValid() const
{
    const int size = data().size();
    return size >= MinLength && (byteAt(Control) & LengthMask) == size && cmd() != 0;
}

void VOXMessage::prepare()
{
    // A frame that came as plain bytes gets its check value, too, although its data is not a VOXMessageData.
    if (std::as_const(*this).data().size() >= MinLength)
        VOXMessageData::complete(*d);
}
