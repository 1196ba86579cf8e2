#include "vox/host/scancommand.h"

#include "messages/hrmv2answer.h"
#include "proxies/hrmv2motorproxy.h"
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
    /// Whether it only understands the older command set.
    bool isOlder = false;
    /// How many answers came from this address.
    int answers = 1;
};

bool answersInOlderSet(unsigned int addr, VOXBus &bus)
{
    HRMv2MotorProxy proxy(addr, &bus);
    const Outcome told = ask(addr, Asking::Again, [&] { return proxy.getMotorSettings(); });
    return HRMv2Answer::from<HRMv2Answer::MotorSettings>(told.reply()).has_value();
}

FoundNode describe(unsigned int addr, VOXBus &bus)
{
    KVRStdProxy proxy(addr, &bus);
    FoundNode node;
    node.address = VOX::toString(proxy.addr(false));
    node.type = VOX::toString(proxy.type());
    const Outcome told = ask(proxy.addr(false), Asking::Again, [&] { return proxy.getNodeLabel(); });
    QByteArray label;
    if (proxy.getNodeLabelReply(told.reply(), label))
        node.label = QString::fromLatin1(label.constData());
    else
        node.isOlder = answersInOlderSet(proxy.addr(false), bus);
    if (node.isOlder)
        return node;
    const Outcome versionTold =
        ask(proxy.addr(false), Asking::Again, [&] { return proxy.getNodeAppVersion(); });
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
                           labelOf(node).leftJustified(labelWidth),
                           node.isOlder ? QStringLiteral("older generation") : node.version)
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
        if (node.isOlder)
            object.insert(QStringLiteral("generation"), QStringLiteral("HRMv2"));
        if (node.answers > 1)
            object.insert(QStringLiteral("answers"), node.answers);
        array += object;
    }
    printLine(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}

/// Addresses from the first to the last.
struct AddressRange
{
    /// Asking so many absent nodes takes four hours.
    static constexpr unsigned int MaxCount = 65536;

    static bool read(const QString &text, AddressRange *range, QString *problem)
    {
        const QStringList ends = text.split(QLatin1Char('-'));
        if (ends.size() != 2)
            *problem = QStringLiteral("'%1' is no range; 000300-00031F is one").arg(text);
        else if (VOX::readNodeAddr(ends.first(), &range->first, problem)
                 && VOX::readNodeAddr(ends.last(), &range->last, problem))
            *problem = range->problem();
        return problem->isEmpty();
    }

    QString problem() const
    {
        if (first > last)
            return QStringLiteral("the range ends before it begins: %1 is below %2")
                .arg(VOX::toString(last), VOX::toString(first));
        return last - first < MaxCount ? QString()
                                       : QStringLiteral("a range has at most %1 addresses").arg(MaxCount);
    }

    unsigned int first = 0;
    unsigned int last = 0;
};

/// Who answers a broadcast, which is repeated until it brings nobody new: an answer, or the broadcast, may be
/// lost. The nodes are in @p addrs, each as often as it has answered one of the broadcasts.
bool findByBroadcast(VOXBus &bus, QVector<unsigned int> *addrs, QString *problem)
{
    for (bool hasNews = true; hasNews;) {
        const BusPendingCall discovery = discoverNodes(bus);
        discovery.waitForFinished();
        *problem = discovery.errorString();
        if (discovery.isError())
            return false;
        const QVector<unsigned int> known = *addrs;
        *addrs = discoveredAddrs(discovery, known);
        hasNews = *addrs != known;
    }
    return true;
}

/// Asks each address of @p range for its label. Nodes of both generations answer that, or refuse, and so do
/// those that hide from discovery.
bool findInRange(const AddressRange &range, VOXBus &bus, QVector<unsigned int> *addrs, QString *problem)
{
    for (unsigned int addr = range.first; addr <= range.last; ++addr) {
        if (!VOX::nodeAddrProblem(addr).isEmpty())
            continue;
        printProgress(QStringLiteral("asking %1, %2 to go, %3 found")
                          .arg(VOX::toString(addr))
                          .arg(range.last - addr)
                          .arg(addrs->size()));
        KVRStdProxy proxy(addr, &bus);
        const Outcome told = ask(addr, Asking::Again, [&] { return proxy.getNodeLabel(); });
        if (told.isAnswered())
            *addrs += told.reply().srcAddr(true);
        *problem = told.error();
        if (!told.isAnswered() && !bus.isOpen())
            return false;
    }
    return true;
}
}

int runScan(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("scan"),
        QStringLiteral("Finds the nodes of a bus by broadcast, or asks each address of a range, and prints "
                       "address, type, label and application version of each; with --json, as one array. "
                       "That nobody answers is no failure."),
        QStringLiteral("vox scan"), CommandLine::BusOption | CommandLine::JsonOption);
    const QCommandLineOption rangeOption(
        QStringLiteral("range"),
        QStringLiteral(
            "Ask each address from FIRST to LAST, at most 65536, once, in place of a broadcast. This "
            "finds motors of the older generation, too. Each address without a node takes 226 ms "
            "on a serial line."),
        QStringLiteral("FIRST-LAST"));
    line.addOptions({rangeOption});
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    QString problem;
    AddressRange range;
    const bool hasRange = line.parser().isSet(rangeOption);
    if (hasRange && !AddressRange::read(line.parser().value(rangeOption), &range, &problem))
        return line.fail(QStringLiteral("--range: %1").arg(problem));
    const std::unique_ptr<VOXBus> network = line.openBus();
    if (!network)
        return line.exitCode();

    QVector<unsigned int> addrs;
    const bool isDone = hasRange ? findInRange(range, *network, &addrs, &problem)
                                 : findByBroadcast(*network, &addrs, &problem);
    printProgress(QString());
    if (!isDone) {
        printError(QStringLiteral("scan"), problem);
        return Failure;
    }
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
