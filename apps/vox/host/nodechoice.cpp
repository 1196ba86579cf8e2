#include "vox/host/nodechoice.h"

#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/discovery.h"
#include "vox/words.h"

#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace {
const QString CompareName = QStringLiteral("compare");
}

QCommandLineOption NodeChoice::listOption()
{
    return {CompareName,
            QStringLiteral("The building's list: a network file, or what vox scan --json has printed. Its "
                           "nodes count whether or not they answer."),
            QStringLiteral("FILE")};
}

void NodeChoice::addTo(CommandLine &line)
{
    line.addArgument(QStringLiteral("address"),
                     QStringLiteral("Addresses of six hexadecimal digits, or all, which it is without any: "
                                    "who answers a broadcast, and who is in the list of --compare."),
                     QStringLiteral("[ADDRESS...|all]"));
    line.addOptions({listOption()});
}

std::unique_ptr<VOXBus> NodeChoice::openBus(CommandLine &line)
{
    if (!read(line))
        return nullptr;
    std::unique_ptr<VOXBus> bus = line.openBus();
    m_exitCode = line.exitCode();
    return bus && find(*bus, line.name()) ? std::move(bus) : nullptr;
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
        else if (!VOX::readNodeAddr(word, &addr, &problem)) {
            problem += didYouMean(nearest(word, {QStringLiteral("all")}));
            break;
        } else if (!m_addrs.contains(addr))
            m_addrs += addr;
    }
    const QString fileName = line.parser().value(CompareName);
    m_listName = QFileInfo(fileName).fileName();
    if (problem.isEmpty() && (fileName.isEmpty() || m_list.read(fileName, &problem)))
        return true;
    m_exitCode = line.fail(problem);
    return false;
}

bool NodeChoice::find(VOXBus &bus, const QString &command)
{
    if (!m_isAll)
        return true;
    const DiscoveredNodes found = findNodes(bus, 0, [](const DiscoveredNodes &soFar) {
        printProgress(QStringLiteral("looking who is there, %1 found").arg(soFar.addrs.size()));
    });
    printProgress(QString());
    if (!found.problem.isEmpty()) {
        printError(command, found.problem);
        m_exitCode = Failure;
        return false;
    }
    for (const unsigned int addr : found.addrs)
        m_addrs += addr & VOX::AddrMask;
    for (auto node = m_list.nodes.begin(); node != m_list.nodes.end(); ++node)
        m_addrs += node.key();
    std::sort(m_addrs.begin(), m_addrs.end());
    m_addrs.erase(std::unique(m_addrs.begin(), m_addrs.end()), m_addrs.end());
    if (!m_addrs.isEmpty())
        return true;
    printError(command, QStringLiteral("nobody has answered"));
    m_exitCode = Failure;
    return false;
}
