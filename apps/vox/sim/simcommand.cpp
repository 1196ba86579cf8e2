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
const QString TextForm = QStringLiteral("text");
const QString JsonForm = QStringLiteral("json");

QString modelNames()
{
    return VOXSimulation::models().join(QStringLiteral(", "));
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

/// The command line of sim.
struct Options
{
    CommandLine line;
    const QCommandLineOption node{
        QStringLiteral("node"),
        QStringLiteral("A node: one of %1, and six hexadecimal digits. May be repeated.").arg(modelNames()),
        QStringLiteral("MODEL@ADDRESS")};
    const QCommandLineOption config{QStringLiteral("config"),
                                    QStringLiteral("A JSON file with a bus and nodes."),
                                    QStringLiteral("FILE")};
    const QCommandLineOption speed{QStringLiteral("speed"),
                                   QStringLiteral("Lets motors live N times as fast, 1 to %1.").arg(MaxSpeed),
                                   QStringLiteral("N")};
    const QCommandLineOption state{
        QStringLiteral("state"),
        QStringLiteral("Keeps what hosts have set, and where motors stand, in this file."),
        QStringLiteral("FILE")};
    const QCommandLineOption seed{QStringLiteral("seed"),
                                  QStringLiteral("Makes the same faults as the run that printed it."),
                                  QStringLiteral("NUMBER")};
    const QCommandLineOption pace{
        QStringLiteral("line"),
        QStringLiteral(
            "Lets requests and answers take the time of a serial line of so many bit/s, and answers "
            "so many milliseconds more, as in 4800:5-40."),
        QStringLiteral("RATE[:MS-MS]")};
    const QCommandLineOption capture{
        QStringLiteral("write"),
        QStringLiteral("Writes what hosts and nodes say into a capture, on every bus."),
        QStringLiteral("FILE.pcap")};
    const QCommandLineOption log{QStringLiteral("log"),
                                 QStringLiteral("Prints what hosts and nodes say, as vox monitor does: json, "
                                                "one object a line, or text."),
                                 QStringLiteral("FORM")};

    Options()
        : line(QStringLiteral("sim"),
               QStringLiteral(
                   "Emulates nodes on a bus until it is interrupted. Prints a line that begins "
                   "with 'ready' when all are up. --bus goes before the bus in the file, and that before "
                   "VOX_BUS. Lines on "
                   "standard input show how nodes are, and make faults; 'help' there lists them. With "
                   "--json all answers to them are JSON."),
               QStringLiteral("vox sim --config %1")
                   .arg(CommandLine::examplePath(QStringLiteral("network/floor.json"))),
               CommandLine::BusOption | CommandLine::JsonOption)
    {
        line.addOptions({node, config, speed, state, seed, pace, capture, log});
        line.allowRepeated({QStringLiteral("node")});
    }

    bool isSet(const QCommandLineOption &option) const { return line.parser().isSet(option); }
    QString value(const QCommandLineOption &option) const { return line.parser().value(option); }
    /// The bus in the file takes precedence over the environment, too.
    QString busOf(const VOXSimulation &simulation) const
    {
        const bool isNamed = line.parser().isSet(QStringLiteral("bus")) || simulation.busUrl().isEmpty();
        return isNamed ? line.busUrl() : simulation.busUrl();
    }
    SimLog::Form logForm() const
    {
        if (!isSet(log))
            return SimLog::Silent;
        return value(log) == TextForm ? SimLog::Text : SimLog::Json;
    }
    /// What cannot be; empty if all can.
    QString contradiction() const
    {
        if (isSameFile(value(state), value(config)))
            return QStringLiteral("--state and --config are to be two files");
        if (value(capture) == QLatin1String("-"))
            return QStringLiteral("--write: standard output belongs to the console; name a file");
        for (const QString &other : {value(state), value(config)}) {
            if (isSameFile(value(capture), other))
                return QStringLiteral("--write: %1 is another file of the simulation").arg(other);
        }
        const bool isForm = !isSet(log) || value(log) == TextForm || value(log) == JsonForm;
        return isForm ? QString() : QStringLiteral("--log is to be text or json");
    }
};

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

/// Locks the state of the nodes, and takes it over. Damaged parts of it are set aside, and their nodes start
/// without them.
bool restore(const QString &name, QLockFile *lock, VOXStateFile *state, const SimConsole &console,
             QString *problem)
{
    // The holder of the lock may run for long.
    lock->setStaleLockTime(0);
    if (!lock->tryLock() && lock->error() == QLockFile::LockFailedError) {
        *problem = QStringLiteral("another simulation has %1").arg(name);
        return false;
    }
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

void printReady(const QString &url, int nodeCount, quint32 seed, bool isJson)
{
    if (isJson)
        printJson({{QStringLiteral("ready"), url},
                   {QStringLiteral("nodes"), nodeCount},
                   {QStringLiteral("seed"), qint64{seed}}});
    else
        printLine(QStringLiteral("ready %1, %2, seed %3").arg(url, counted(nodeCount, "node")).arg(seed));
}

int run(const Options &options, unsigned int speed, quint32 seed, VOXSimulation &simulation)
{
    const CommandLine &line = options.line;
    const QString busName = options.busOf(simulation);
    const QString stateName = options.value(options.state);
    const QString captureName = options.value(options.capture);
    QString problem;
    if (!addNodes(line.parser().values(options.node), &simulation, &problem))
        return line.fail(problem);
    if (VOXBusUrl::isPortTaken(busName))
        return line.fail(QStringLiteral("another program has the port of %1").arg(busName));
    QString url;
    const std::unique_ptr<VOXBus> bus = VOXBusUrl::openBus(busName, &problem, &url);
    if (!bus)
        return line.fail(problem);
    SimLog log(options.logForm());
    if (!captureName.isEmpty() && !log.open(captureName, &problem))
        return line.fail(problem);
    SimConsole console(simulation, line.isJson());
    VOXStateFile state(stateName, simulation);
    QObject::connect(&state, &VOXStateFile::warning, &console, &SimConsole::complain);
    const bool keepsState = !stateName.isEmpty();
    QLockFile stateLock(stateName + QStringLiteral(".lock"));
    if (keepsState) {
        if (!restore(stateName, &stateLock, &state, console, &problem))
            return line.fail(problem);
        QObject::connect(&simulation, &VOXSimulation::settingChanged, &state, &VOXStateFile::noteChange);
    }
    simulation.setSeed(seed);
    simulation.setTimeScale(speed);
    simulation.attach(bus.get());
    log.watch(*bus, simulation);
    QObject::connect(&log, &SimLog::failed, &console, [&] {
        console.complain(QStringLiteral("%1 cannot be written any more").arg(captureName));
    });

    queueOutput();
    tellWarningsSoon(line.isJson() ? WarningForm::Json : WarningForm::Text);
    const SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, qApp, &QCoreApplication::quit);
    // The program ends when the adapter is pulled out.
    QObject::connect(bus->device(), &QIODevice::aboutToClose, qApp, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    printReady(url, simulation.addresses().size(), seed, line.isJson());
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
    Options options;
    CommandLine &line = options.line;
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    QString problem;
    VOXSimulation simulation;
    if (options.isSet(options.config) && !simulation.load(options.value(options.config), &problem))
        return line.fail(problem);
    problem = options.contradiction();
    if (problem.isEmpty() && options.busOf(simulation).isEmpty())
        problem = CommandLine::NoBus;
    if (!problem.isEmpty())
        return line.fail(problem);
    unsigned int speed = 1;
    if (!line.readNumber(options.speed, 1U, MaxSpeed, &speed))
        return line.exitCode();
    if (options.isSet(options.pace) && !simulation.setLine(options.value(options.pace), &problem))
        return line.fail(problem);
    quint32 seed = std::random_device()();
    if (!line.readNumber(options.seed, 0U, std::numeric_limits<quint32>::max(), &seed))
        return line.exitCode();
    return run(options, speed, seed, simulation);
}
