#include "vox/simcommand.h"

#include "transport/voxbus.h"
#include "vox/busurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/networkfile.h"
#include "vox/signalwatcher.h"
#include "vox/simulation.h"
#include "vox/statefile.h"

#include <QCoreApplication>

#include <memory>

namespace {
constexpr unsigned int MaxSpeed = 1000;

/// What the command line asks for.
struct Options
{
    QString bus;
    QJsonObject network;
    QString networkName;
    QStringList nodes;
    QString stateName;
    unsigned int speed = 1;
};

bool addNode(const QString &text, Simulation *simulation, QString *problem)
{
    const QString name = text.section(QLatin1Char('@'), 0, 0);
    const NodeModel *model = findNodeModel(name);
    unsigned int addr = 0;
    if (!model)
        *problem = QStringLiteral("unknown model '%1'; one of %2").arg(name, nodeModelNames());
    else if (text.count(QLatin1Char('@')) != 1)
        *problem = QStringLiteral("'%1' is no MODEL@ADDRESS").arg(text);
    else if (readNodeAddr(text.section(QLatin1Char('@'), 1), &addr, problem))
        simulation->add(*model, addr, problem);
    return problem->isEmpty();
}

bool fill(Simulation *simulation, const Options &options, QString *problem)
{
    simulation->clear();
    problem->clear();
    if (!options.networkName.isEmpty() && !readNetwork(options.network, simulation, problem)) {
        *problem = QStringLiteral("%1: %2").arg(options.networkName, *problem);
        return false;
    }
    for (const QString &node : options.nodes) {
        if (!addNode(node, simulation, problem))
            return false;
    }
    if (simulation->nodes().empty())
        *problem = QStringLiteral("no node; --node MODEL@ADDRESS names one, MODEL being one of %1")
                       .arg(nodeModelNames());
    return problem->isEmpty();
}

/// Takes the nodes' state over, or starts with a fresh one if there is none or it is damaged.
bool restore(StateFile *state, Simulation *simulation, const Options &options, QString *problem)
{
    if (!state->load(problem)) {
        const QString other = state->setAside();
        if (other.isEmpty()) {
            *problem += QStringLiteral("; and it cannot be renamed");
            return false;
        }
        printError(QStringLiteral("sim"), QStringLiteral("%1; set aside as %2").arg(*problem, other));
        if (!fill(simulation, options, problem))
            return false;
    }
    return state->save(problem);
}

int run(const CommandLine &line, const Options &options)
{
    QString problem;
    Simulation simulation;
    if (!fill(&simulation, options, &problem))
        return line.fail(problem);
    QString url;
    const std::unique_ptr<VOXBus> bus = openBus(options.bus, &problem, &url);
    if (!bus)
        return line.fail(problem);
    StateFile state(options.stateName, simulation);
    const bool keepsState = !options.stateName.isEmpty();
    if (keepsState) {
        if (!restore(&state, &simulation, options, &problem))
            return line.fail(problem);
        simulation.onSettingChanged = [&](KVRDevice &node) { state.noteChange(node); };
    }
    simulation.setTimeScale(options.speed);
    simulation.attach(*bus);

    const SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, qApp, &QCoreApplication::quit);
    printLine(QStringLiteral("ready %1, %2 nodes").arg(url).arg(simulation.nodes().size()));
    const int result = QCoreApplication::exec();
    if (!keepsState || state.save(&problem))
        return result;
    printError(QStringLiteral("sim"), problem);
    return Failure;
}
}

int runSim(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("sim"),
        QStringLiteral("Emulates nodes on a bus until it is interrupted. Prints a line that begins with "
                       "'ready' when all are up.\n\nExample: vox sim --bus "
                       "'udp://127.0.0.1:4801?local=4800' --node TB60LV@000001"));
    const QCommandLineOption bus(QStringLiteral("bus"),
                                 QStringLiteral("The bus, as a URL; goes before the one in the file."),
                                 QStringLiteral("URL"));
    const QCommandLineOption node(
        QStringLiteral("node"),
        QStringLiteral("A node: one of %1, and six hexadecimal digits. May be repeated.")
            .arg(nodeModelNames()),
        QStringLiteral("MODEL@ADDRESS"));
    const QCommandLineOption config(QStringLiteral("config"),
                                    QStringLiteral("A JSON file with a bus and nodes."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption speed(QStringLiteral("speed"),
                                   QStringLiteral("Lets motors live N times as fast, 1 to %1.").arg(MaxSpeed),
                                   QStringLiteral("N"));
    const QCommandLineOption state(
        QStringLiteral("state"),
        QStringLiteral("Keeps what hosts have set, and where motors stand, in this file."),
        QStringLiteral("FILE"));
    line.parser().addOptions({bus, node, config, speed, state});
    if (!line.parse(arguments))
        return line.exitCode();
    const QCommandLineParser &parser = line.parser();
    const QStringList rest = parser.positionalArguments();
    if (!rest.isEmpty())
        return line.fail(QStringLiteral("unexpected '%1'").arg(rest.first()));

    Options options;
    QString problem;
    options.networkName = parser.value(config);
    if (parser.isSet(config) && !readJsonFile(options.networkName, &options.network, &problem))
        return line.fail(problem);
    options.nodes = parser.values(node);
    options.stateName = parser.value(state);
    options.bus = parser.isSet(bus) ? parser.value(bus) : busOf(options.network);
    if (options.bus.isEmpty())
        return line.fail(QStringLiteral("--bus URL is missing"));
    if (parser.isSet(speed)) {
        options.speed = parser.value(speed).toUInt();
        if (options.speed < 1 || options.speed > MaxSpeed)
            return line.fail(QStringLiteral("--speed is to be a number from 1 to %1").arg(MaxSpeed));
    }
    return run(line, options);
}
