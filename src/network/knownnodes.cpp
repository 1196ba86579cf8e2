#include "network/knownnodes_p.h"

#include "network/nodestate_p.h"

#include <QJsonObject>

namespace {
const QString AddressKey = QStringLiteral("address");
const QString TypeKey = QStringLiteral("type");
const QString LabelKey = QStringLiteral("label");
const QString SerialKey = QStringLiteral("serialNumber");
const QString LegacyKey = QStringLiteral("legacy");
constexpr int MaxType = 15;

QJsonObject write(const NodeState &node)
{
    QJsonObject object{{AddressKey, VOX::toString(node.addr)}, {TypeKey, static_cast<int>(node.type)}};
    if (!node.label.isEmpty())
        object.insert(LabelKey, node.label);
    if (!node.serialNumber.isEmpty())
        object.insert(SerialKey, node.serialNumber);
    if (node.isLegacy)
        object.insert(LegacyKey, true);
    return object;
}

bool read(const QJsonValue &value, KnownNodes::Entry *entry, QString *problem)
{
    const QJsonObject object = value.toObject();
    VOX::Addr addr = 0;
    if (!VOX::readNodeAddr(object.value(AddressKey).toString(), &addr, problem))
        return false;
    const int type = object.value(TypeKey).toInt();
    if (type < 0 || type > MaxType) {
        *problem = QStringLiteral("%1 is no node type; it is 0 to %2").arg(type).arg(MaxType);
        return false;
    }
    entry->addr = VOX::makeAddr(static_cast<VOX::NodeType>(type), static_cast<int>(addr));
    entry->label = object.value(LabelKey).toString();
    entry->serialNumber = object.value(SerialKey).toString();
    entry->isLegacy = object.value(LegacyKey).toBool();
    return true;
}
}

QJsonArray KnownNodes::write(const std::map<VOX::Addr, NodeState *> &nodes)
{
    QJsonArray array;
    for (const auto &entry : nodes)
        array += ::write(*entry.second);
    return array;
}

QVector<KnownNodes::Entry> KnownNodes::read(const QJsonArray &nodes, QString *problem)
{
    QVector<Entry> entries;
    for (int i = 0; i < nodes.size(); ++i) {
        Entry entry;
        if (!::read(nodes.at(i), &entry, problem)) {
            *problem = QStringLiteral("[%1]: %2").arg(i).arg(*problem);
            return {};
        }
        entries += entry;
    }
    return entries;
}
