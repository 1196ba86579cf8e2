#ifndef FRAMES_H
#define FRAMES_H

#include "messages/voxmessage.h"
#include "transport/voxbus.h"

/// The address that every host has.
constexpr unsigned int HostAddr = 0x0f010000;

/// A frame from the host to @p dest with this command and data, as in "03 00 0000 FF"; with its check value.
inline VOXMessage frame(const QByteArray &commandAndData, unsigned int dest, unsigned char flags = 0)
{
    const QByteArray bytes = QByteArray::fromHex(commandAndData);
    VOXMessage message(static_cast<unsigned char>((VOXMessage::MinLength + bytes.size() - 1) | flags));
    message.setCmd(static_cast<unsigned char>(bytes.at(0)));
    message.setSrcAddr(HostAddr);
    message.setDestAddr(dest);
    message.data().replace(VOXMessage::HeaderLength, bytes.size() - 1, bytes.mid(1));
    message.prepare();
    return message;
}

/// A frame from node @p source to the host.
inline VOXMessage frameFrom(unsigned int source, const QByteArray &commandAndData)
{
    VOXMessage message = frame(commandAndData, HostAddr);
    message.setSrcAddr(source);
    message.prepare();
    return message;
}

/// A frame from the host to a group; with a type, to the nodes of that type in it.
inline VOXMessage groupFrame(const QByteArray &commandAndData, unsigned int group)
{
    VOXMessage message = frame(commandAndData, 0);
    message.setGroupAddr(group, VOX::NODETYPE_MASTER);
    message.prepare();
    return message;
}

/// The bytes of a frame as they travel: complemented, but for the check value.
inline QByteArray line(const VOXMessage &message)
{
    QByteArray bytes = message.data();
    VOXBus::invert(bytes.data(), static_cast<std::size_t>(bytes.size() - VOXMessage::CheckLength));
    return bytes;
}

/// Hexadecimal text in the one form that comparisons use.
inline QByteArray hex(const QByteArray &text)
{
    return QByteArray::fromHex(text).toHex(' ').toUpper();
}

/// Command and data of a frame, in that form.
inline QByteArray text(const BusMessage &message)
{
    const QByteArray bytes = message.data();
    const int dataLength = bytes.size() - VOXMessage::MinLength;
    return hex((bytes.left(1) + bytes.mid(VOXMessage::HeaderLength, dataLength)).toHex());
}

#endif
