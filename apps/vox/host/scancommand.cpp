#include "vox/host/scancommand.h"

#include "proxies/kvrstdproxy.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/discovery.h"
#include "vox/line/commandfields.h"
#include "vox/outcome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <memory>

namespace {
struct FoundNode
{
    QString address;
    QString type;
    /// Null if the node does not tell.
    QString label;
    QString version;
};

FoundNode describe(unsigned int addr, VOXBus &bus)
{
    KVRStdProxy proxy(addr, &bus);
    FoundNode node{VOX::toString(proxy.addr(false)), VOX::toString(proxy.type()), QString(), QString()};
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

void printTable(const QVector<FoundNode> &nodes)
{
    int typeWidth = 0;
    int labelWidth = 0;
    for (const FoundNode &node : nodes) {
        typeWidth = std::max(typeWidth, static_cast<int>(node.type.size()));
        labelWidth = std::max(labelWidth, static_cast<int>(node.label.size()));
    }
    for (const FoundNode &node : nodes)
        printLine(QStringLiteral("%1  %2  %3  %4")
                      .arg(node.address, node.type.leftJustified(typeWidth),
                           printable(node.label).leftJustified(labelWidth), node.version)
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
        array += QJsonObject{{QStringLiteral("address"), node.address},
                             {QStringLiteral("type"), node.type},
                             {QStringLiteral("label"), textOrNull(node.label)},
                             {QStringLiteral("appVersion"), textOrNull(node.version)}};
    }
    printLine(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}
}

int runScan(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("scan"),
        QStringLiteral("Finds the nodes of a bus by broadcast, and prints address, type, label and "
                       "application version of each; with --json, as one array."),
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
    const auto twice = std::adjacent_find(addrs.begin(), addrs.end(), [](unsigned int a, unsigned int b) {
        return VOX::makeAddr(VOX::NODETYPE_ANY, int(a)) == VOX::makeAddr(VOX::NODETYPE_ANY, int(b));
    });
    if (twice != addrs.end())
        printError(QStringLiteral("scan"),
                   QStringLiteral("%1 has answered more than once: several nodes may have this address")
                       .arg(VOX::toString(*twice).right(6)));
    addrs.erase(std::unique(addrs.begin(), addrs.end()), addrs.end());
    const QVector<FoundNode> nodes = describeAll(addrs, *network);
    if (line.isJson())
        printJson(nodes);
    else
        printTable(nodes);
    // Not a failure: an empty line is an answer, too.
    if (nodes.isEmpty())
        printError(QStringLiteral("scan"), QStringLiteral("nobody has answered"));
    return Success;
}
