#include "vox/simcommand.h"

#include "devices/kvrdevice.h"
#include "transport/voxbus.h"
#include "vox/busurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/nodemodel.h"
#include "vox/signalwatcher.h"

#include <QCoreApplication>

#include <memory>
#include <vector>

namespace {
struct NodePlan
{
    const NodeModel *model = nullptr;
    unsigned int addr = 0;
};

bool readNode(const QString &text, NodePlan *plan, QString *problem)
{
    const QString name = text.section(QLatin1Char('@'), 0, 0);
    plan->model = findNodeModel(name);
    if (plan->model && text.count(QLatin1Char('@')) == 1)
        return readNodeAddr(text.section(QLatin1Char('@'), 1), &plan->addr, problem);
    *problem = plan->model ? QStringLiteral("'%1' is no MODEL@ADDRESS").arg(text)
                           : QStringLiteral("unknown model '%1'; one of %2").arg(name, nodeModelNames());
    return false;
}

bool readNodes(const QStringList &texts, std::vector<NodePlan> *plans, QString *problem)
{
    for (const QString &text : texts) {
        NodePlan plan;
        if (!readNode(text, &plan, problem))
            return false;
        for (const NodePlan &other : *plans) {
            if (other.addr == plan.addr) {
                *problem = QStringLiteral("two nodes with address %1").arg(VOX::toString(plan.addr));
                return false;
            }
        }
        plans->push_back(plan);
    }
    if (plans->empty())
        *problem = QStringLiteral("no node; --node MODEL@ADDRESS names one, MODEL being one of %1")
                       .arg(nodeModelNames());
    return !plans->empty();
}
}

int runSim(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("sim"),
        QStringLiteral("Emulates nodes on a bus until it is interrupted. Prints a line that begins with "
                       "'ready' when all are up.\n\nExample: vox sim --bus "
                       "'udp://127.0.0.1:4801?local=4800' --node TB60LV@000001"));
    const QCommandLineOption bus(QStringLiteral("bus"), QStringLiteral("The bus, as a URL."),
                                 QStringLiteral("URL"));
    const QCommandLineOption node(
        QStringLiteral("node"),
        QStringLiteral("A node: one of %1, and six hexadecimal digits. May be repeated.")
            .arg(nodeModelNames()),
        QStringLiteral("MODEL@ADDRESS"));
    line.parser().addOptions({bus, node});
    if (!line.parse(arguments))
        return line.exitCode();
    const QStringList rest = line.parser().positionalArguments();
    if (!rest.isEmpty())
        return line.fail(QStringLiteral("unexpected '%1'").arg(rest.first()));
    if (!line.parser().isSet(bus))
        return line.fail(QStringLiteral("--bus URL is missing"));

    QString problem;
    std::vector<NodePlan> plans;
    if (!readNodes(line.parser().values(node), &plans, &problem))
        return line.fail(problem);
    const std::unique_ptr<VOXBus> network = openBus(line.parser().value(bus), &problem);
    if (!network)
        return line.fail(problem);

    std::vector<std::unique_ptr<KVRDevice>> nodes;
    nodes.reserve(plans.size());
    for (const NodePlan &plan : plans)
        nodes.emplace_back(plan.model->create(plan.addr, network.get()));

    const SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, qApp, &QCoreApplication::quit);
    printLine(QStringLiteral("ready %1 %2")
                  .arg(line.parser().value(bus), line.parser().values(node).join(QLatin1Char(' '))));
    return QCoreApplication::exec();
}
