#include "vox/host/listednodes.h"

#include "simulation/voxjsonplace_p.h"
#include "simulation/voxsimulation.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {
constexpr int MaxNodes = 65536;

const QString NodesKey = QStringLiteral("nodes");
const QString AddressKey = QStringLiteral("address");
const QString LabelKey = QStringLiteral("label");
const QString TypeKey = QStringLiteral("type");
const QString ModelKey = QStringLiteral("model");

/// The text of a member that may be left out, or be null.
QString textAt(const VOXJsonPlace &place)
{
    return place.isPresent() && !place.isNull() ? place.text() : QString();
}

/// A network file names models. Null if it names none, or one that no node type stands for.
QString typeOf(const QString &model)
{
    if (!VOXSimulation::models().contains(model))
        return QString();
    const VOX::NodeType type = VOXSimulation().add(model, 1)->type();
    return type == VOX::NODETYPE_ANY ? QString() : VOX::toString(type);
}

/// Reads an entry, whose address may be a range as in a network file.
void readEntry(const VOXJsonPlace &place, QMap<VOX::Addr, ListedNodes::Node> *nodes)
{
    const QString address = place[AddressKey].text();
    const QString lastAddress = address.section(QLatin1Char('-'), -1);
    VOX::Addr first = 0;
    VOX::Addr last = 0;
    QString problem;
    if (!VOX::readNodeAddr(address.section(QLatin1Char('-'), 0, 0), &first, &problem)
        || !VOX::readNodeAddr(lastAddress, &last, &problem)) {
        place[AddressKey].fail(problem);
        return;
    }
    if (last < first || last - first >= MaxNodes)
        place[AddressKey].fail(QStringLiteral("a range goes up, and has %1 addresses at most").arg(MaxNodes));
    ListedNodes::Node node{textAt(place[TypeKey]), textAt(place[LabelKey]),
                           textAt(place[QStringLiteral("appVersion")])};
    if (node.type.isNull())
        node.type = typeOf(textAt(place[ModelKey]));
    if (node.version.isNull())
        node.version = textAt(place[QStringLiteral("versions")][QStringLiteral("application")]);
    const QString label = node.label;
    for (VOX::Addr addr = first; place.ok() && addr <= last; ++addr) {
        node.label = QString(label).replace(QLatin1String("{n}"), QString::number(addr - first + 1));
        nodes->insert(addr, node);
    }
}
}

bool ListedNodes::read(const QString &fileName, QString *problem)
{
    QJsonDocument document;
    if (!VOXJsonPlace::readFile(fileName, &document, problem))
        return false;
    const VOXJsonPlace list = document.isArray()
        ? VOXJsonPlace(document.array(), NodesKey, problem)
        : VOXJsonPlace(document.object(), QString(), problem)[NodesKey];
    const int count = list.size(MaxNodes);
    for (int i = 0; list.ok() && i < count; ++i)
        readEntry(list.at(i), &nodes);
    if (list.ok())
        return true;
    *problem = QStringLiteral("%1: %2").arg(fileName, *problem);
    return false;
}
