#include "network/linelistener_p.h"

#include "network/nodestate_p.h"

#include <utility>

namespace {
/// An echo comes while the frame is sent, or as soon as an adapter hands it over.
constexpr qint64 EchoMs = 500;
}

void LineListener::handleWritten(const QByteArray &frame, qint64 nowMs)
{
    m_written[m_next++ % m_written.size()] = {frame, nowMs};
}

bool LineListener::takeEcho(const QByteArray &frame, qint64 nowMs)
{
    for (Written &written : m_written) {
        if (written.frame == frame && nowMs - written.ms <= EchoMs) {
            written = Written();
            return true;
        }
    }
    return false;
}

LineListener::Kind LineListener::examine(const VOXMessage &frame, qint64 nowMs, bool isSending,
                                         QString *noticed)
{
    const bool isOfHostAddr = frame.srcAddr(false) == (VOX::HostAddr & VOX::AddrMask);
    const VOX::AddrType type = frame.addrType();
    if (type == VOX::P2P && !isOfHostAddr)
        return OfNode;
    if (takeEcho(frame.data(), nowMs)) {
        if (!std::exchange(m_hasEcho, true))
            *noticed =
                QStringLiteral("The line echoes what is sent: the adapter hears itself. Switch its echo off "
                               "if it has one; the network works with it.");
        return OfUs;
    }
    // Transmitters speak to groups, too.
    if (isSending && isOfHostAddr && type != VOX::GROUP && !std::exchange(m_hasOtherHost, true))
        *noticed =
            QStringLiteral("A second host sends on this line, from the same address. Answers to one host end "
                           "calls of the other: let one of them only listen.");
    return OfHost;
}

QString LineListener::compare(const NodeState &node, const VOXMessage &frame)
{
    const auto sentence = [&](const QString &what) {
        return QStringLiteral("Two nodes seem to have the address %1: %2. Give one of them another address.")
            .arg(VOX::toString(node.addr), what);
    };
    const VOX::NodeType type = frame.srcNodeType();
    if (type != node.type && type != VOX::NODETYPE_ANY && node.type != VOX::NODETYPE_ANY)
        return sentence(
            QStringLiteral("one is a %1, the other a %2").arg(VOX::toString(node.type), VOX::toString(type)));
    const auto serial = node.isLegacy ? std::nullopt : KVRAnswer::from<KVRAnswer::NodeSerialNumber>(frame);
    const QString other = serial ? QString::fromLatin1(serial->serial) : node.serialNumber;
    if (!node.serialNumber.isEmpty() && other != node.serialNumber)
        return sentence(QStringLiteral("their serial numbers are %1 and %2").arg(node.serialNumber, other));
    return {};
}
