#include "vox/host/nodechoice.h"

#include "simulation/voxsimulation.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/discovery.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {
const QString CompareName = QStringLiteral("compare");
/// A broadcast, and each answer to it, may be lost.
constexpr int RoundsWithoutNews = 2;

bool readScan(const QJsonArray &nodes, QMap<VOX::Addr, QString> *labels, QString *problem)
{
    for (const QJsonValue &node : nodes) {
        VOX::Addr addr = 0;
        if (!VOX::readNodeAddr(node.toObject().value(QStringLiteral("address")).toString(), &addr, problem))
            return false;
        labels->insert(addr, node.toObject().value(QStringLiteral("label")).toString());
    }
    return true;
}
}

bool BuildingList::read(const QString &fileName, QString *problem)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("cannot read %1: %2").arg(fileName, file.errorString());
        return false;
    }
    name = QFileInfo(fileName).fileName();
    const QJsonDocument scan = QJsonDocument::fromJson(file.readAll());
    if (scan.isArray()) {
        const bool isRead = readScan(scan.array(), &labels, problem);
        if (!isRead)
            *problem = QStringLiteral("%1: %2").arg(fileName, *problem);
        return isRead;
    }
    VOXSimulation network;
    if (!network.load(fileName, problem))
        return false;
    const QVector<VOX::Addr> addrs = network.addresses();
    for (const VOX::Addr addr : addrs)
        labels.insert(addr, network.settings(addr).value(QStringLiteral("label")).toString());
    return true;
}

void NodeChoice::addTo(CommandLine &line)
{
    line.addArgument(QStringLiteral("address"),
                     QStringLiteral("Addresses of six hexadecimal digits, or all, which it is without any: "
                                    "who answers a broadcast, and who is in the list of --compare."),
                     QStringLiteral("[ADDRESS...|all]"));
    line.addOptions({{CompareName,
                      QStringLiteral("The building's list: a network file, or what vox scan --json has "
                                     "printed."),
                      QStringLiteral("FILE")}});
}

bool NodeChoice::read(const CommandLine &line)
{
    QString problem;
    const QStringList words = line.words();
    m_isAll = words.isEmpty();
    for (const QString &word : words) {
        VOX::Addr addr = 0;
        if (word == QLatin1String("all"))
            m_isAll = true;
        else if (!VOX::readNodeAddr(word, &addr, &problem))
            break;
        else if (!m_addrs.contains(addr))
            m_addrs += addr;
    }
    const bool hasList = line.parser().isSet(CompareName);
    if (problem.isEmpty() && (!hasList || m_list.read(line.parser().value(CompareName), &problem)))
        return true;
    m_exitCode = line.fail(problem);
    return false;
}

bool NodeChoice::find(VOXBus &bus, const QString &command)
{
    if (!m_isAll)
        return true;
    QVector<unsigned int> found;
    for (int roundsLeft = RoundsWithoutNews; roundsLeft > 0; --roundsLeft) {
        printProgress(QStringLiteral("looking who is there, %1 found").arg(found.size()));
        const BusPendingCall discovery = discoverNodes(bus);
        discovery.waitForFinished();
        const QVector<unsigned int> known = found;
        found = discoveredAddrs(discovery, known);
        if (found != known)
            roundsLeft = RoundsWithoutNews + 1;
        if (!discovery.isError())
            continue;
        printProgress(QString());
        printError(command, discovery.errorString());
        m_exitCode = Failure;
        return false;
    }
    printProgress(QString());
    for (const unsigned int addr : qAsConst(found))
        m_addrs += addr & VOX::AddrMask;
    m_addrs += m_list.labels.keys().toVector();
    std::sort(m_addrs.begin(), m_addrs.end());
    m_addrs.erase(std::unique(m_addrs.begin(), m_addrs.end()), m_addrs.end());
    if (!m_addrs.isEmpty())
        return true;
    printError(command, QStringLiteral("nobody has answered"));
    m_exitCode = Failure;
    return false;
}

QString NodeChoice::labelOf(VOX::Addr addr) const
{
    return printable(m_list.labels.value(addr));
}
