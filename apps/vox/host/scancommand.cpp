#include "vox/host/scancommand.h"

#include "proxies/kvrstdproxy.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/discovery.h"
#include "vox/outcome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>

#include <algorithm>
#include <memory>

namespace {

struct FoundNode
{
    QString address;
    QString type;
    /// Null if the node does not tell its label.
    QString label;
    QString version;
    /// How many answers came from this address.
    int answers = 1;
};

FoundNode describe(unsigned int addr, VOXBus &bus)
{
    KVRStdProxy proxy(addr, &bus);
    FoundNode node{VOX::toString(proxy.addr(false)), VOX::toString(proxy.type()), QString(), QString(), 1};
    const Outcome told = ask(proxy.addr(false), Asking::Again, [&] { return proxy.getNodeLabel(); });
    const Outcome versionTold =
        ask(proxy.addr(false), Asking::Again, [&] { return proxy.getNodeAppVersion(); });
    QByteArray label;
    if (proxy.getNodeLabelReply(told.reply(), label))
        node.label = QString::fromLatin1(label.constData());
    KVRStdProxy::AppVersion version;
    if (proxy.getNodeAppVersionReply(versionTold.reply(), version))
        node.version = version.toString();
    return node;
}

QVector<FoundNode> describeAll(const QVector<unsigned int> &addrs, VOXBus &bus)
{
    QVector<FoundNode> nodes;
    for (const unsigned int addr : addrs) {
        printProgress(QStringLiteral("reading %1 of %2").arg(nodes.size() + 1).arg(addrs.size()));
        nodes += describe(addr, bus);
    }
    printProgress(QString());
    return nodes;
}

QString labelOf(const FoundNode &node)
{
    return node.label.isNull() ? QStringLiteral("?") : printable(node.label);
}

void printTable(const QVector<FoundNode> &nodes)
{
    int typeWidth = 0;
    int labelWidth = 0;
    for (const FoundNode &node : nodes) {
        typeWidth = std::max(typeWidth, static_cast<int>(node.type.size()));
        labelWidth = std::max(labelWidth, static_cast<int>(labelOf(node).size()));
    }
    for (const FoundNode &node : nodes)
        printLine(QStringLiteral("%1  %2  %3  %4")
                      .arg(node.address, node.type.leftJustified(typeWidth),
                           labelOf(node).leftJustified(labelWidth), node.version)
                      .trimmed());
}

QJsonValue textOrNull(const QString &text)
{
    return text.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

void printJson(const QVector<FoundNode> &nodes)
{
    QJsonArray array;
    for (const FoundNode &node : nodes) {
        QJsonObject object{{QStringLiteral("address"), node.address},
                           {QStringLiteral("type"), node.type},
                           {QStringLiteral("label"), textOrNull(node.label)},
                           {QStringLiteral("appVersion"), textOrNull(node.version)}};
        if (node.answers > 1)
            object.insert(QStringLiteral("answers"), node.answers);
        array += object;
    }
    printLine(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}
}

int runScan(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("scan"),
        QStringLiteral("Finds the nodes of a bus by broadcast, and prints address, type, label and "
                       "application version of each; with --json, as one array. That nobody "
                       "answers is no failure."),
        QStringLiteral("vox scan"), CommandLine::BusOption | CommandLine::JsonOption);
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    const std::unique_ptr<VOXBus> network = line.openBus();
    if (!network)
        return line.exitCode();

    const BusPendingCall discovery = discoverNodes(*network);
    discovery.waitForFinished();
    if (discovery.isError()) {
        printError(QStringLiteral("scan"), discovery.errorString());
        return Failure;
    }
    QVector<unsigned int> addrs = discoveredAddrs(discovery);
    QMap<QString, int> answers;
    for (const unsigned int addr : qAsConst(addrs))
        ++answers[VOX::toString(addr & VOX::AddrMask)];
    for (auto entry = answers.cbegin(); entry != answers.cend(); ++entry) {
        if (entry.value() > 1)
            printError(QStringLiteral("scan"),
                       QStringLiteral("%1 has answered more than once: several nodes may have this address")
                           .arg(entry.key()));
    }
    addrs.erase(std::unique(addrs.begin(), addrs.end()), addrs.end());
    QVector<FoundNode> nodes = describeAll(addrs, *network);
    for (FoundNode &node : nodes)
        node.answers = answers.value(node.address, 1);
    if (line.isJson())
        printJson(nodes);
    else
        printTable(nodes);
    // This is no failure: it may be true that the line has no nodes.
    if (nodes.isEmpty())
        printError(QStringLiteral("scan"), QStringLiteral("nobody has answered"));
    return Success;
}
