#include "vox/bridge/siteconfig.h"

#include "messages/vox.h"
#include "simulation/voxjsonplace_p.h"
#include "vox/host/operation.h"

#include <QRegularExpression>

#include <algorithm>

namespace {
constexpr int MaxLines = 64;
constexpr int MaxNodes = 4096;
constexpr int MaxGroups = 256;
constexpr int MaxSeconds = VOXPollPlan::MaxMs / 1000;
constexpr int MsPerSecond = 1000;
constexpr int MaxTolerance = 10;

constexpr char ScanWord[] = "scan";

/// What Home Assistant knows a cover to be.
QStringList deviceClasses()
{
    return QStringLiteral("awning blind curtain damper door garage gate shade shutter window")
        .split(QLatin1Char(' '));
}

/// The first of these that is there reads as a text, else @p otherwise is taken.
QString textAt(const VOXJsonPlace &place, const QString &otherwise = QString())
{
    return place.isPresent() ? place.text() : otherwise;
}

QString nameAt(const VOXJsonPlace &place, const QString &otherwise = QString())
{
    QString name = textAt(place, otherwise);
    if (!SiteConfig::isName(name))
        place.fail(place.isPresent() ? SiteConfig::nameRule() : QStringLiteral("is missing"));
    return name;
}

/// A topic that others begin with: no wildcards, no empty levels.
QString prefixAt(const VOXJsonPlace &place, const QString &otherwise)
{
    static const QRegularExpression form(QStringLiteral("^[A-Za-z0-9_-]+(/[A-Za-z0-9_-]+){0,3}$"));
    QString prefix = textAt(place, otherwise);
    if (!form.match(prefix).hasMatch())
        place.fail(QStringLiteral("is to be letters, digits, '-' and '_', with '/' between levels"));
    return prefix;
}

struct Range
{
    unsigned int first = 0;
    unsigned int last = 0;
};

Range rangeAt(const VOXJsonPlace &place)
{
    const QString text = place.text();
    Range range;
    QString problem;
    const QString first = text.section(QLatin1Char('-'), 0, 0);
    const QString last = text.contains(QLatin1Char('-')) ? text.section(QLatin1Char('-'), 1) : first;
    if (!VOX::readNodeAddr(first, &range.first, &problem) || !VOX::readNodeAddr(last, &range.last, &problem))
        place.fail(QStringLiteral("is to be an address of six hexadecimal digits, or a range of two of them, "
                                  "such as 000101-00013C"));
    else if (range.last < range.first)
        place.fail(QStringLiteral("a range goes up"));
    else if (range.last - range.first >= MaxNodes)
        place.fail(QStringLiteral("has more than %1 addresses; ranges count hexadecimally").arg(MaxNodes));
    return range;
}

NodeConfig nodeAt(const VOXJsonPlace &place)
{
    NodeConfig node;
    if (!place.isObjectOf({QStringLiteral("address"), QStringLiteral("type"), QStringLiteral("invert"),
                           QStringLiteral("class")}))
        return node;
    const VOXJsonPlace type = place[QStringLiteral("type")];
    node.isLegacy = type.isPresent() && type.text() == QLatin1String("HRMv2");
    if (type.isPresent() && !node.isLegacy)
        type.fail(QStringLiteral("is to be HRMv2, or left out"));
    const VOXJsonPlace invert = place[QStringLiteral("invert")];
    node.isInverted = invert.isPresent() && invert.flag();
    const VOXJsonPlace kind = place[QStringLiteral("class")];
    node.deviceClass = textAt(kind, node.deviceClass);
    if (!deviceClasses().contains(node.deviceClass))
        kind.fail(QStringLiteral("is to be one of %1").arg(deviceClasses().join(QStringLiteral(", "))));
    return node;
}

void addNodes(const VOXJsonPlace &place, const Range &range, const NodeConfig &node, LineConfig *line)
{
    for (unsigned int addr = range.first; place.ok() && addr <= range.last; ++addr) {
        if (!line->nodes.emplace(addr, node).second)
            place.fail(QStringLiteral("%1 is listed already").arg(VOX::toString(addr)));
        else if (line->nodes.size() > MaxNodes)
            place.fail(QStringLiteral("a line has %1 nodes at most").arg(MaxNodes));
    }
}

void readNodes(const VOXJsonPlace &place, LineConfig *line)
{
    line->isScan = !place.isPresent() || place.value() == QJsonValue(QLatin1String(ScanWord));
    if (line->isScan)
        return;
    if (place.value().isString()) {
        place.fail(QStringLiteral("is to be \"scan\", or a list of addresses"));
        return;
    }
    const int count = place.size(MaxNodes);
    for (int i = 0; place.ok() && i < count; ++i) {
        const VOXJsonPlace entry = place.at(i);
        if (entry.value() == QJsonValue(QLatin1String(ScanWord)))
            line->isScan = true;
        else if (entry.value().isString())
            addNodes(entry, rangeAt(entry), NodeConfig(), line);
        else
            addNodes(entry[QStringLiteral("address")], rangeAt(entry[QStringLiteral("address")]),
                     nodeAt(entry), line);
    }
    if (count == 0)
        place.fail(QStringLiteral("names no node"));
}

GroupConfig groupAt(const VOXJsonPlace &place)
{
    GroupConfig group;
    if (!place.isObjectOf({QStringLiteral("name"), QStringLiteral("members")}))
        return group;
    group.name = textAt(place[QStringLiteral("name")]);
    const VOXJsonPlace members = place[QStringLiteral("members")];
    group.hasMembers = members.isPresent();
    const int count = group.hasMembers ? members.size(MaxNodes) : 0;
    for (int i = 0; place.ok() && i < count; ++i) {
        const Range range = rangeAt(members.at(i));
        for (unsigned int addr = range.first; place.ok() && addr <= range.last; ++addr) {
            if (group.members.contains(addr))
                members.at(i).fail(QStringLiteral("%1 is listed already").arg(VOX::toString(addr)));
            group.members += addr;
        }
    }
    return group;
}

void readGroups(const VOXJsonPlace &place, LineConfig *line)
{
    if (!place.isPresent())
        return;
    const QStringList keys = place.keys();
    if (keys.size() > MaxGroups)
        place.fail(QStringLiteral("a line has %1 groups at most").arg(MaxGroups));
    for (const QString &key : keys) {
        unsigned int addr = 0;
        if (!VOX::readAddr(key, &addr))
            place[key].fail(QStringLiteral("a group is called by six hexadecimal digits"));
        if (!place.ok())
            return;
        const GroupConfig group = groupAt(place[key]);
        for (const unsigned int member : group.members) {
            if (!line->isScan && line->nodes.count(member) == 0)
                place[key][QStringLiteral("members")].fail(
                    QStringLiteral("%1 is no node of this line").arg(VOX::toString(member)));
        }
        if (!line->groups.emplace(addr, group).second)
            place[key].fail(QStringLiteral("is there already, in other letters"));
    }
}

void readPoll(const VOXJsonPlace &place, LineConfig *line)
{
    if (!place.isPresent()
        || !place.isObjectOf(
            {QStringLiteral("position"), QStringLiteral("status"), QStringLiteral("maxLoad")}))
        return;
    const auto seconds = [&](const QString &key, int *ms) {
        if (place[key].isPresent())
            *ms = place[key].number(1, MaxSeconds) * MsPerSecond;
    };
    seconds(QStringLiteral("position"), &line->plan.positionMs);
    seconds(QStringLiteral("status"), &line->plan.statusMs);
    const VOXJsonPlace load = place[QStringLiteral("maxLoad")];
    if (load.isPresent())
        line->maxLoadPercent = load.number(10, 100);
}

LineConfig lineAt(const VOXJsonPlace &place)
{
    LineConfig line;
    if (!place.isObjectOf({QStringLiteral("name"), QStringLiteral("bus"), QStringLiteral("nodes"),
                           QStringLiteral("groups"), QStringLiteral("poll")}))
        return line;
    line.name = nameAt(place[QStringLiteral("name")]);
    if (line.name == QLatin1String("bridge") || line.name == QLatin1String("all"))
        place[QStringLiteral("name")].fail(QStringLiteral("no line can be called %1").arg(line.name));
    QString problem;
    const VOXJsonPlace bus = place[QStringLiteral("bus")];
    if (!VOXBusUrl::read(bus.text(), &line.bus, &problem))
        bus.fail(problem);
    else if (line.bus.kind == VOXBusUrl::Pty)
        bus.fail(QStringLiteral("nobody would be at the other end of a new pseudo-terminal"));
    readNodes(place[QStringLiteral("nodes")], &line);
    readGroups(place[QStringLiteral("groups")], &line);
    readPoll(place[QStringLiteral("poll")], &line);
    return line;
}

void readBroker(const VOXJsonPlace &place, SiteConfig::Broker *broker)
{
    if (!place.isPresent())
        place.fail(QStringLiteral("is missing"));
    if (!place.isObjectOf({QStringLiteral("url"), QStringLiteral("passwordFile"), QStringLiteral("ca"),
                           QStringLiteral("cert"), QStringLiteral("key"), QStringLiteral("version")}))
        return;
    QString problem;
    const VOXJsonPlace url = place[QStringLiteral("url")];
    if (!BrokerUrl::read(url.text(), &broker->url, &problem))
        url.fail(problem);
    broker->passwordFile = textAt(place[QStringLiteral("passwordFile")]);
    broker->ca = textAt(place[QStringLiteral("ca")]);
    broker->cert = textAt(place[QStringLiteral("cert")]);
    broker->key = textAt(place[QStringLiteral("key")]);
    if (broker->cert.isEmpty() != broker->key.isEmpty())
        place.fail(QStringLiteral("cert and key belong together"));
    const VOXJsonPlace version = place[QStringLiteral("version")];
    if (version.isPresent())
        broker->version = version.number(3, 5);
    if (broker->version == 4)
        version.fail(QStringLiteral("is to be 5, or 3 for MQTT 3.1.1"));
}

QStringList rpcAt(const VOXJsonPlace &place)
{
    if (!place.isPresent())
        return {};
    if (place.value().isBool())
        return place.flag() ? QStringList{QStringLiteral("*")} : QStringList();
    QStringList operations;
    const QStringList known = Operation::names();
    const int count = place.size(static_cast<int>(known.size()));
    for (int i = 0; i < count; ++i) {
        operations += place.at(i).text();
        if (!known.contains(operations.constLast()))
            place.at(i).fail(QStringLiteral("is no operation; 'vox call --help' tells how to list them"));
    }
    return operations;
}
}

NodeConfig LineConfig::node(unsigned int addr) const
{
    const auto found = nodes.find(addr);
    return found == nodes.end() ? NodeConfig() : found->second;
}

QString SiteConfig::nameRule()
{
    return QStringLiteral("is to be lower-case letters, digits, '-' and '_'");
}

bool SiteConfig::isName(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^[a-z0-9_-]{1,64}$"));
    return form.match(text).hasMatch();
}

bool SiteConfig::read(const QJsonObject &json, SiteConfig *site, QString *problem)
{
    problem->clear();
    const VOXJsonPlace root(json, QString(), problem);
    root.isObjectOf({QStringLiteral("name"), QStringLiteral("prefix"), QStringLiteral("discoveryPrefix"),
                     QStringLiteral("mqtt"), QStringLiteral("rpc"), QStringLiteral("endTolerance"),
                     QStringLiteral("lines")});
    site->name = nameAt(root[QStringLiteral("name")], site->name);
    site->prefix = prefixAt(root[QStringLiteral("prefix")], site->prefix);
    site->discoveryPrefix = prefixAt(root[QStringLiteral("discoveryPrefix")], site->discoveryPrefix);
    readBroker(root[QStringLiteral("mqtt")], &site->mqtt);
    site->rpc = rpcAt(root[QStringLiteral("rpc")]);
    const VOXJsonPlace tolerance = root[QStringLiteral("endTolerance")];
    if (tolerance.isPresent())
        site->endTolerance = tolerance.number(0, MaxTolerance);
    const VOXJsonPlace lines = root[QStringLiteral("lines")];
    const int count = lines.size(MaxLines);
    for (int i = 0; root.ok() && i < count; ++i) {
        const LineConfig line = lineAt(lines.at(i));
        for (const LineConfig &each : qAsConst(site->lines)) {
            if (each.name == line.name)
                lines.at(i)[QStringLiteral("name")].fail(
                    QStringLiteral("two lines are called %1").arg(line.name));
            else if (each.bus.text == line.bus.text)
                lines.at(i)[QStringLiteral("bus")].fail(
                    QStringLiteral("is the one of the line %1, too").arg(each.name));
        }
        site->lines += line;
    }
    if (count == 0)
        lines.fail(QStringLiteral("names no line"));
    return root.ok();
}
