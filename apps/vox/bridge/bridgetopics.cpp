#include "vox/bridge/bridgetopics.h"

#include "messages/vox.h"

namespace {
constexpr int AddrDigits = 6;

std::optional<unsigned int> addrIn(const QByteArray &level)
{
    unsigned int addr = 0;
    if (level.size() != AddrDigits || !VOX::readAddr(QString::fromLatin1(level), &addr))
        return std::nullopt;
    return addr;
}
}

LineTopics::LineTopics(const QString &prefix, const QString &line)
    : m_base(QStringLiteral("%1/%2/").arg(prefix, line).toUtf8())
{
}

QByteArray LineTopics::of(const BridgeTarget &target, const char *leaf) const
{
    if (target.kind == BridgeTarget::All)
        return m_base + "all/" + leaf;
    const QByteArray addr = VOX::toString(target.addr).toLatin1();
    return m_base + (target.kind == BridgeTarget::Group ? "group/" : "") + addr + '/' + leaf;
}

std::optional<LineTopics::Request> LineTopics::read(const QByteArray &topic) const
{
    if (topic.size() > MaxTopic || !topic.startsWith(m_base))
        return std::nullopt;
    Request request;
    QByteArray rest = topic.mid(m_base.size());
    const auto ends = [&rest](const char *leaf) {
        if (!rest.endsWith(leaf))
            return false;
        rest.chop(static_cast<int>(qstrlen(leaf)));
        return true;
    };
    if (ends("/position/set"))
        request.inbound = PositionSet;
    else if (ends("/rpc"))
        request.inbound = Rpc;
    else if (!ends("/set"))
        return std::nullopt;
    if (rest == "all") {
        request.target.kind = BridgeTarget::All;
    } else if (rest.startsWith("group/")) {
        request.target.kind = BridgeTarget::Group;
        rest = rest.mid(static_cast<int>(qstrlen("group/")));
    }
    if (request.target.kind != BridgeTarget::All) {
        const std::optional<unsigned int> addr = addrIn(rest);
        if (!addr)
            return std::nullopt;
        request.target.addr = *addr;
    }
    if (request.inbound == Rpc && request.target.kind != BridgeTarget::Node)
        return std::nullopt;
    return request;
}
