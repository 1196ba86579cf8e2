#include "vox/sim/simcommand.h"

#include "messages/vox.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"
#include "vox/sim/faultbus.h"
#include "vox/sim/networkfile.h"
#include "vox/sim/simconsole.h"
#include "vox/sim/simulation.h"
#include "vox/sim/statefile.h"
#include "vox/warnings.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLockFile>

#include <memory>
#include <random>

namespace {
constexpr unsigned int MaxSpeed = 1000;

/// The options of the command line.
struct Options
{
    QString bus;
    QJsonObject network;
    QString networkName;
    QStringList nodes;
    QString stateName;
    unsigned int speed = 1;
    quint32 seed = 0;
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
    else if (VOX::readNodeAddr(text.section(QLatin1Char('@'), 1), &addr, problem))
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

/// Takes over the state of the nodes. Damaged parts of it are set aside, and their nodes start without them.
bool restore(StateFile *state, Simulation *simulation, const Options &options, QString *problem)
{
    const StateFile::Result loaded = state->load(problem);
    if (loaded == StateFile::Unusable)
        return false;
    if (loaded == StateFile::Damaged) {
        const QString other = state->setAside();
        if (other.isEmpty()) {
            *problem += QStringLiteral("; and it cannot be set aside");
            return false;
        }
        const QStringList mistakes = problem->split(QLatin1Char('\n'));
        for (const QString &mistake : mistakes)
            printError(QStringLiteral("sim"),
                       QStringLiteral("%1; left out, and set aside as %2").arg(mistake, other));
        if (!fill(simulation, options, problem) || state->load(problem) != StateFile::Taken)
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
    if (VOXBusUrl::isPortTaken(options.bus))
        return line.fail(QStringLiteral("another program has the port of %1").arg(options.bus));
    QString url;
    const std::unique_ptr<VOXBus> bus = VOXBusUrl::openBus(options.bus, &problem, &url);
    if (!bus)
        return line.fail(problem);
    FaultRules faults(options.seed);
    const QStringList lines = faultsOf(options.network);
    for (const QString &words : lines) {
        FaultRule rule;
        FaultRule::read(words, &rule, &problem);
        faults.add(rule);
    }
    FaultBus network(*bus, faults);
    StateFile state(options.stateName, simulation);
    const bool keepsState = !options.stateName.isEmpty();
    QLockFile stateLock(options.stateName + QStringLiteral(".lock"));
    // The holder of the lock may run for long.
    stateLock.setStaleLockTime(0);
    if (keepsState) {
        if (!stateLock.tryLock() && stateLock.error() == QLockFile::LockFailedError)
            return line.fail(QStringLiteral("another simulation has %1").arg(options.stateName));
        if (!restore(&state, &simulation, options, &problem))
            return line.fail(problem);
        simulation.onSettingChanged = [&](KVRDevice &node) { state.noteChange(node); };
    }
    simulation.setTimeScale(options.speed);
    simulation.attach(network);

    queueOutput();
    tellWarningsSoon();
    const SignalWatcher signalWatcher;
    const SimConsole console(simulation, faults);
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, qApp, &QCoreApplication::quit);
    // The program ends when the adapter is pulled out.
    QObject::connect(bus->device(), &QIODevice::aboutToClose, qApp, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    if (line.isJson())
        printJson({{QStringLiteral("ready"), url},
                   {QStringLiteral("nodes"), int(simulation.nodes().size())},
                   {QStringLiteral("seed"), qint64{options.seed}}});
    else
        printLine(QStringLiteral("ready %1, %2, seed %3")
                      .arg(url, counted(qint64(simulation.nodes().size()), "node"))
                      .arg(options.seed));
    int result = QCoreApplication::exec();
    if (!bus->isOpen()) {
        printError(QStringLiteral("sim"), QStringLiteral("%1 has gone").arg(url));
        result = Failure;
    }
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
        QStringLiteral("Emulates nodes on a bus until it is interrupted. Prints a line that begins "
                       "with 'ready' when all are up. --bus goes before the bus in the file, and that before "
                       "VOX_BUS. Lines on "
                       "standard input show how nodes are, and make faults; 'help' there lists them."),
        QStringLiteral("vox sim --config examples/network/floor.json"),
        CommandLine::BusOption | CommandLine::JsonOption);
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
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Makes the same faults as the run that printed it."),
                                  QStringLiteral("NUMBER"));
    line.addOptions({node, config, speed, state, seed});
    line.allowRepeated({QStringLiteral("node")});
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    const QCommandLineParser &parser = line.parser();

    Options options;
    QString problem;
    options.networkName = parser.value(config);
    if (parser.isSet(config) && !readJsonFile(options.networkName, &options.network, &problem))
        return line.fail(problem);
    options.nodes = parser.values(node);
    options.stateName = parser.value(state);
    if (!options.stateName.isEmpty() && QFileInfo(options.stateName) == QFileInfo(options.networkName))
        return line.fail(QStringLiteral("--state and --config are to be two files"));
    // The bus in the file takes precedence over the environment, too.
    const QString fileBus = busOf(options.network);
    options.bus = parser.isSet(QStringLiteral("bus")) || fileBus.isEmpty() ? line.busUrl() : fileBus;
    if (options.bus.isEmpty())
        return line.fail(QStringLiteral("--bus URL is missing, and VOX_BUS is not set"));
    if (parser.isSet(speed)) {
        options.speed = parser.value(speed).toUInt();
        if (options.speed < 1 || options.speed > MaxSpeed)
            return line.fail(QStringLiteral("--speed is to be a number from 1 to %1").arg(MaxSpeed));
    }
    bool isSeed = true;
    options.seed = parser.isSet(seed) ? parser.value(seed).toUInt(&isSeed) : std::random_device()();
    if (!isSeed)
        return line.fail(QStringLiteral("--seed is to be a number from 0 to 4294967295"));
    return run(line, options);
}
