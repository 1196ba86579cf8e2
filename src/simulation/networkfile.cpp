#include "simulation/networkfile_p.h"

#include "messages/vox.h"
#include "simulation/nodesettings_p.h"
#include "simulation/voxjsonplace_p.h"
#include "transport/voxbusurl.h"

#include <QJsonArray>

namespace {
constexpr unsigned int MaxNodes = 65536;

const QString BusKey = QStringLiteral("bus");
const QString NodesKey = QStringLiteral("nodes");
const QString FaultsKey = QStringLiteral("faults");
/// What a recorder could not write down otherwise; for people.
const QString RecordedKey = QStringLiteral("recorded");
const QString ModelKey = QStringLiteral("model");
const QString AddressKey = QStringLiteral("address");
const QString LabelKey = QStringLiteral("label");

struct AddressRange
{
    unsigned int first = 0;
    unsigned int last = 0;
};

AddressRange rangeAt(const VOXJsonPlace &place)
{
    AddressRange range;
    const QString text = place.text();
    const QString first = text.section(QLatin1Char('-'), 0, 0);
    const QString last = text.contains(QLatin1Char('-')) ? text.section(QLatin1Char('-'), 1) : first;
    if (!VOX::readAddr(first, &range.first) || !VOX::readAddr(last, &range.last))
        place.fail(QStringLiteral("is to be an address of six hexadecimal digits, or a range of two of them, "
                                  "such as 000101-000164"));
    else if (range.last < range.first)
        place.fail(QStringLiteral("a range goes up"));
    return range;
}

QJsonObject numbered(QJsonObject entry, unsigned int number)
{
    if (entry.value(LabelKey).isString())
        entry.insert(LabelKey,
                     entry.value(LabelKey).toString().replace(QLatin1String("{n}"), QString::number(number)));
    return entry;
}

void readEntry(const QJsonObject &entry, const VOXJsonPlace &place, NodeTable *nodes, QString *problem)
{
    if (!place.isObjectOf(QStringList{ModelKey, AddressKey} + nodeSettingKeys()))
        return;
    const NodeModel *model = findNodeModel(place[ModelKey].text());
    if (!model)
        place[ModelKey].fail(
            QStringLiteral("is to be one of %1").arg(nodeModelNames().join(QStringLiteral(", "))));
    const AddressRange range = rangeAt(place[AddressKey]);
    if (static_cast<unsigned int>(nodes->addresses().size()) + (range.last - range.first) >= MaxNodes)
        place[AddressKey].fail(QStringLiteral("a network has %1 nodes at most").arg(MaxNodes));
    for (VOX::Addr addr = range.first; place.ok() && addr <= range.last; ++addr) {
        QString refusal;
        KVRDevice *node = nodes->add(*model, addr, &refusal);
        if (node)
            readSettings(*node, VOXJsonPlace(numbered(entry, addr - range.first + 1), place.path(), problem));
        else
            place[AddressKey].fail(refusal);
    }
}

VOXFault faultAt(const VOXJsonPlace &place, const NodeTable &nodes)
{
    VOXFault fault;
    QString mistake;
    if (!VOXFault::read(place.text(), &fault, &mistake))
        place.fail(mistake);
    else if (fault.node != VOXFault::EveryNode && !nodes.find(fault.node).device)
        place.fail(QStringLiteral("there is no node %1").arg(VOX::toString(fault.node)));
    return fault;
}
}

bool readNetwork(const QJsonObject &json, Network *network, QString *problem)
{
    problem->clear();
    const VOXJsonPlace root(json, QString(), problem);
    root.isObjectOf({BusKey, NodesKey, FaultsKey, RecordedKey});
    VOXBusUrl url;
    QString mistake;
    if (root[BusKey].isPresent() && !VOXBusUrl::read(root[BusKey].text(), &url, &mistake))
        root[BusKey].fail(mistake);
    network->busUrl = url.text;
    const VOXJsonPlace entries = root[NodesKey];
    const int count = entries.size(int{MaxNodes});
    const QJsonArray array = json.value(NodesKey).toArray();
    for (int i = 0; root.ok() && i < count; ++i)
        readEntry(array.at(i).toObject(), entries.at(i), &network->nodes, problem);
    const VOXJsonPlace faults = root[FaultsKey];
    for (int i = 0; faults.isPresent() && i < faults.size(int{MaxNodes}); ++i)
        network->faults += faultAt(faults.at(i), network->nodes);
    return root.ok();
}
