#include "vox/sim/simcommand.h"

#include "messages/vox.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxstatefile_p.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"
#include "vox/sim/simconsole.h"
#include "vox/sim/simlog.h"
#include "vox/warnings.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLockFile>

#include <limits>
#include <memory>
#include <random>

namespace {
constexpr unsigned int MaxSpeed = 1000;

/// The options of the command line.
struct Options
{
    QString bus;
    QStringList nodes;
    QString stateName;
    QString captureName;
    SimLog::Form log = SimLog::Silent;
    unsigned int speed = 1;
    quint32 seed = 0;
};

QString modelNames()
{
    return VOXSimulation::models().join(QStringLiteral(", "));
}

bool addNode(const QString &text, VOXSimulation *simulation, QString *problem)
{
    const QString name = text.section(QLatin1Char('@'), 0, 0);
    VOX::Addr addr = 0;
    if (VOXSimulation::models().contains(name)) {
        if (text.count(QLatin1Char('@')) != 1)
            *problem = QStringLiteral("'%1' is no MODEL@ADDRESS").arg(text);
        else
            VOX::readNodeAddr(text.section(QLatin1Char('@'), 1), &addr, problem);
        if (!problem->isEmpty())
            return false;
    }
    return simulation->add(name, addr, problem) != nullptr;
}

bool addNodes(const QStringList &nodes, VOXSimulation *simulation, QString *problem)
{
    for (const QString &node : nodes) {
        if (!addNode(node, simulation, problem))
            return false;
    }
    if (simulation->addresses().isEmpty())
        *problem = QStringLiteral("no node; --node MODEL@ADDRESS names one, MODEL being one of %1")
                       .arg(modelNames());
    return problem->isEmpty();
}

/// Whether both names are of one file, which may be yet to come; false for an empty name.
bool isSameFile(const QString &one, const QString &other)
{
    const QFileInfo first(one);
    const QFileInfo second(other);
    // Qt takes all files that are not there for one.
    return !one.isEmpty() && !other.isEmpty()
        && (first.absoluteFilePath() == second.absoluteFilePath() || (first.exists() && first == second));
}

/// Takes over the state of the nodes. Damaged parts of it are set aside, and their nodes start without them.
bool restore(VOXStateFile *state, const SimConsole &console, QString *problem)
{
    const VOXStateFile::Result loaded = state->load(problem);
    if (loaded == VOXStateFile::Unusable)
        return false;
    if (loaded == VOXStateFile::Damaged) {
        const QString other = state->setAside();
        if (other.isEmpty()) {
            *problem += QStringLiteral("; and it cannot be set aside");
            return false;
        }
        const QStringList mistakes = problem->split(QLatin1Char('\n'));
        for (const QString &mistake : mistakes)
            console.complain(QStringLiteral("%1; left out, and set aside as %2").arg(mistake, other));
    }
    return state->save(problem);
}

int run(const CommandLine &line, const Options &options, VOXSimulation &simulation)
{
    QString problem;
    if (!addNodes(options.nodes, &simulation, &problem))
        return line.fail(problem);
    if (VOXBusUrl::isPortTaken(options.bus))
        return line.fail(QStringLiteral("another program has the port of %1").arg(options.bus));
    QString url;
    const std::unique_ptr<VOXBus> bus = VOXBusUrl::openBus(options.bus, &problem, &url);
    if (!bus)
        return line.fail(problem);
    SimLog log(options.log);
    if (!options.captureName.isEmpty() && !log.open(options.captureName, &problem))
        return line.fail(problem);
    SimConsole console(simulation, line.isJson());
    VOXStateFile state(options.stateName, simulation);
    QObject::connect(&state, &VOXStateFile::warning, &console, &SimConsole::complain);
    const bool keepsState = !options.stateName.isEmpty();
    QLockFile stateLock(options.stateName + QStringLiteral(".lock"));
    // The holder of the lock may run for long.
    stateLock.setStaleLockTime(0);
    if (keepsState) {
        if (!stateLock.tryLock() && stateLock.error() == QLockFile::LockFailedError)
            return line.fail(QStringLiteral("another simulation has %1").arg(options.stateName));
        if (!restore(&state, console, &problem))
            return line.fail(problem);
        QObject::connect(&simulation, &VOXSimulation::settingChanged, &state, &VOXStateFile::noteChange);
    }
    simulation.setSeed(options.seed);
    simulation.setTimeScale(options.speed);
    simulation.attach(bus.get());
    log.watch(*bus, simulation);
    QObject::connect(&log, &SimLog::failed, &console, [&] {
        console.complain(QStringLiteral("%1 cannot be written any more").arg(options.captureName));
    });

    queueOutput();
    tellWarningsSoon(line.isJson() ? WarningForm::Json : WarningForm::Text);
    const SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, qApp, &QCoreApplication::quit);
    // The program ends when the adapter is pulled out.
    QObject::connect(bus->device(), &QIODevice::aboutToClose, qApp, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    const int nodeCount = simulation.addresses().size();
    if (line.isJson())
        printJson({{QStringLiteral("ready"), url},
                   {QStringLiteral("nodes"), nodeCount},
                   {QStringLiteral("seed"), qint64{options.seed}}});
    else
        printLine(
            QStringLiteral("ready %1, %2, seed %3").arg(url, counted(nodeCount, "node")).arg(options.seed));
    int result = QCoreApplication::exec();
    log.flush();
    if (!bus->isOpen()) {
        console.complain(QStringLiteral("%1 has gone").arg(url));
        result = Failure;
    }
    if (keepsState && !state.save(&problem)) {
        console.complain(problem);
        result = Failure;
    }
    return log.hasFailed() ? int{Failure} : result;
}
}

int runSim(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("sim"),
        QStringLiteral("Emulates nodes on a bus until it is interrupted. Prints a line that begins "
                       "with 'ready' when all are up. --bus goes before the bus in the file, and that before "
                       "VOX_BUS. Lines on "
                       "standard input show how nodes are, and make faults; 'help' there lists them. With "
                       "--json all answers to them are JSON."),
        QStringLiteral("vox sim --config %1")
            .arg(CommandLine::examplePath(QStringLiteral("network/floor.json"))),
        CommandLine::BusOption | CommandLine::JsonOption);
    const QCommandLineOption node(
        QStringLiteral("node"),
        QStringLiteral("A node: one of %1, and six hexadecimal digits. May be repeated.").arg(modelNames()),
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
    const QCommandLineOption pace(
        QStringLiteral("line"),
        QStringLiteral(
            "Lets requests and answers take the time of a serial line of so many bit/s, and answers "
            "so many milliseconds more, as in 4800:5-40."),
        QStringLiteral("RATE[:MS-MS]"));
    const QCommandLineOption write(
        QStringLiteral("write"),
        QStringLiteral("Writes what hosts and nodes say into a capture, on every bus."),
        QStringLiteral("FILE.pcap"));
    const QCommandLineOption log(QStringLiteral("log"),
                                 QStringLiteral("Prints what hosts and nodes say, as vox monitor does: json, "
                                                "one object a line, or text."),
                                 QStringLiteral("FORM"));
    line.addOptions({node, config, speed, state, seed, pace, write, log});
    line.allowRepeated({QStringLiteral("node")});
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    const QCommandLineParser &parser = line.parser();

    Options options;
    QString problem;
    VOXSimulation simulation;
    if (parser.isSet(config) && !simulation.load(parser.value(config), &problem))
        return line.fail(problem);
    options.nodes = parser.values(node);
    options.stateName = parser.value(state);
    if (isSameFile(options.stateName, parser.value(config)))
        return line.fail(QStringLiteral("--state and --config are to be two files"));
    options.captureName = parser.value(write);
    if (options.captureName == QLatin1String("-"))
        return line.fail(QStringLiteral("--write: standard output belongs to the console; name a file"));
    for (const QString &other : {options.stateName, parser.value(config)}) {
        if (isSameFile(options.captureName, other))
            return line.fail(QStringLiteral("--write: %1 is another file of the simulation").arg(other));
    }
    const QStringList forms = {QStringLiteral("text"), QStringLiteral("json")};
    if (parser.isSet(log) && !forms.contains(parser.value(log)))
        return line.fail(QStringLiteral("--log is to be text or json"));
    if (parser.isSet(log))
        options.log = parser.value(log) == forms.first() ? SimLog::Text : SimLog::Json;
    // The bus in the file takes precedence over the environment, too.
    const QString fileBus = simulation.busUrl();
    options.bus = parser.isSet(QStringLiteral("bus")) || fileBus.isEmpty() ? line.busUrl() : fileBus;
    if (options.bus.isEmpty())
        return line.fail(QStringLiteral("--bus URL is missing, and VOX_BUS is not set"));
    if (!line.readNumber(speed, 1U, MaxSpeed, &options.speed))
        return line.exitCode();
    if (parser.isSet(pace) && !simulation.setLine(parser.value(pace), &problem))
        return line.fail(problem);
    options.seed = std::random_device()();
    if (!line.readNumber(seed, 0U, std::numeric_limits<quint32>::max(), &options.seed))
        return line.exitCode();
    return run(line, options, simulation);
}
