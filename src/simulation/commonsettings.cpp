#include "simulation/nodesetting_p.h"

#include "devices/kvrmotordevice.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {
constexpr int MaxByte = 0xff;
constexpr int MaxWord = 0xffff;
constexpr int MaxRetryCount = 253;

// The type of a motor is that of its product.
bool hasAnyType(KVRDevice &node)
{
    return !isA<KVRMotorDevice>(node);
}

void readType(KVRDevice &node, const VOXJsonPlace &place)
{
    constexpr int MostTypes = VOX::NODETYPE_LAST;
    // Two types have no name.
    node.setType(place.value().isDouble() ? static_cast<VOX::NodeType>(place.number(0, MostTypes))
                                          : place.key<VOX::NodeType>());
}

// Hosts may store a label with zero bytes behind it. To them it is the same label.
QJsonValue labelOf(KVRDevice &node)
{
    QString label = QString::fromLatin1(node.nodeLabel());
    while (label.endsWith(QChar(0)))
        label.chop(1);
    return label;
}

void readLabel(KVRDevice &node, const VOXJsonPlace &place)
{
    node.setNodeLabel(place.latin1(KVR::LabelLength));
}

void readSerial(KVRDevice &node, const VOXJsonPlace &place)
{
    node.setSerialNumber(place.latin1(KVR::SerialLength));
}

KVRStdProxy::AppVersion versionAt(const VOXJsonPlace &place)
{
    auto version = KVRStdProxy::AppVersion::AppVersionFromString(place.text());
    if (!version.isValid())
        place.fail(QStringLiteral("is to be a version, such as 5012345-A03-1"));
    return version;
}

void readVersions(KVRDevice &node, const VOXJsonPlace &place)
{
    const VOXJsonPlace application = place[QStringLiteral("application")];
    const VOXJsonPlace stack = place[QStringLiteral("stack")];
    place.isObjectOf({QStringLiteral("application"), QStringLiteral("stack")});
    if (application.isPresent())
        node.setAppVersion(versionAt(application));
    if (stack.isPresent())
        node.setStackVersion(versionAt(stack));
}

void readGroups(KVRDevice &node, const VOXJsonPlace &place)
{
    const int count = place.size(node.groupCount());
    for (int slot = 0; slot < node.groupCount(); ++slot) {
        const bool isSet = slot < count && !place.at(slot).isNull();
        node.setGroupAddr(static_cast<unsigned char>(slot), isSet ? place.at(slot).address() : 0);
    }
}

QJsonValue groupsOf(KVRDevice &node)
{
    QJsonArray groups;
    int used = 0;
    for (int slot = 0; slot < node.groupCount(); ++slot) {
        unsigned int group = 0;
        node.groupAddr(static_cast<unsigned char>(slot), group);
        groups += group == 0 ? QJsonValue(QJsonValue::Null) : QJsonValue(VOX::toString(group));
        used = group == 0 ? used : slot + 1;
    }
    while (groups.size() > used)
        groups.removeLast();
    return groups;
}

const QString BroadcastKey = QStringLiteral("broadcast");
const QString MaxRandKey = QStringLiteral("maxRand");
const QString SupervisionKey = QStringLiteral("supervision");
const QString PeriodKey = QStringLiteral("supervisionPeriod");
const QString DeafKey = QStringLiteral("deaf");
const QString RetriesKey = QStringLiteral("maxRetryCount");

void readNetwork(KVRDevice &node, const VOXJsonPlace &place)
{
    if (!place.isObjectOf({BroadcastKey, MaxRandKey, SupervisionKey, PeriodKey, DeafKey, RetriesKey}))
        return;
    KVRStdProxy::NetworkConfig config = node.networkConfig();
    if (place[BroadcastKey].isPresent())
        config.data()->bcastMode =
            place[BroadcastKey].flag() ? KVRStdProxy::BCAST_ON : KVRStdProxy::BCAST_OFF;
    if (place[MaxRandKey].isPresent())
        config.data()->maxRand = static_cast<quint8>(place[MaxRandKey].number(0, MaxByte));
    if (place[SupervisionKey].isPresent())
        config.data()->supervisionActive = place[SupervisionKey].flag();
    if (place[PeriodKey].isPresent())
        config.data()->supervisionPeriod = static_cast<quint16>(place[PeriodKey].number(0, MaxWord));
    if (place[DeafKey].isPresent())
        config.data()->deafMode = place[DeafKey].flag();
    node.setNetworkConfig(config);
    if (!place[RetriesKey].isPresent())
        return;
    KVRStdProxy::NetworkStat stat = node.networkStat();
    stat.setMaxRetryCount(static_cast<quint8>(place[RetriesKey].number(0, MaxRetryCount)));
    node.setNetworkStat(stat);
}

QJsonValue networkOf(KVRDevice &node)
{
    const KVRStdProxy::NetworkConfigData &config = *node.networkConfig().constData();
    return QJsonObject{
        {BroadcastKey, config.bcastMode == KVRStdProxy::BCAST_ON},
        {MaxRandKey, config.maxRand},
        {SupervisionKey, config.supervisionActive},
        {PeriodKey, config.supervisionPeriod},
        {DeafKey, config.deafMode},
        {RetriesKey, node.networkStat().maxRetryCount()},
    };
}
}

QVector<NodeSetting> commonSettings()
{
    return {
        setting<KVRDevice, readLabel, labelOf>(QStringLiteral("label")),
        constant<KVRDevice, readSerial>(QStringLiteral("serial")),
        constant<KVRDevice, readVersions>(QStringLiteral("versions")),
        setting<KVRDevice, readGroups, groupsOf>(QStringLiteral("groups")),
        setting<KVRDevice, readNetwork, networkOf>(QStringLiteral("network")),
        {QStringLiteral("type"), hasAnyType, readType, nullptr},
    };
}
