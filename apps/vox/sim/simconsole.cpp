#include "vox/sim/simconsole.h"

#include "devices/kvrmotordevice.h"
#include "simulation/voxsimulation.h"
#include "vox/console.h"
#include "vox/outcome.h"

#include <QCoreApplication>
#include <QHash>
#include <QJsonDocument>
#include <QTimer>

#include <array>
#include <csignal>
#include <unistd.h>
#include <utility>

namespace {
constexpr int MaxLine = 4096;
constexpr int RetryMs = 1000;

QString keyOf(KVRMotor::State state)
{
    return QString::fromLatin1(KVRMotor::MotorStateEnum().valueToKey(static_cast<int>(state)));
}

QString statusText(const VOXSimulation &simulation, VOX::Addr addr)
{
    const QString label = QString::fromLatin1(simulation.node(addr)->nodeLabel().constData());
    QString text = QStringLiteral("%1 %2 %3")
                       .arg(VOX::toString(addr), simulation.model(addr).leftJustified(6),
                            printable(label).leftJustified(16));
    if (auto *motor = simulation.node<KVRMotorDevice>(addr))
        text +=
            QStringLiteral(" %1 at %2 pulses").arg(keyOf(motor->status().state)).arg(motor->positionPulses());
    return text.trimmed();
}

QJsonObject statusJson(const VOXSimulation &simulation, VOX::Addr addr)
{
    QJsonObject object = simulation.settings(addr);
    object.insert(QStringLiteral("address"), VOX::toString(addr));
    object.insert(QStringLiteral("model"), simulation.model(addr));
    if (auto *motor = simulation.node<KVRMotorDevice>(addr))
        object.insert(QStringLiteral("state"), keyOf(motor->status().state));
    return object;
}

QString faultText(const VOXFault &fault)
{
    if (fault.count < 0)
        return fault.toString();
    return QStringLiteral("%1 (%2 left)").arg(fault.toString()).arg(fault.count - fault.happened);
}
}

SimConsole::SimConsole(VOXSimulation &simulation)
    : m_simulation(simulation)
    , m_notifier(STDIN_FILENO, QSocketNotifier::Read)
{
    // With this, reading the terminal in the background of a shell fails instead of stopping the program.
    std::signal(SIGTTIN, SIG_IGN);
    connect(&m_notifier, &QSocketNotifier::activated, this, &SimConsole::readInput);
}

void SimConsole::readInput()
{
    std::array<char, 512> bytes{};
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count <= 0) {
        m_notifier.setEnabled(false);
        // A last line may have no end.
        if (count == 0)
            obey(QString::fromUtf8(m_input).trimmed());
        // The terminal belongs to another program for now.
        if (count < 0)
            QTimer::singleShot(RetryMs, this, [this] { m_notifier.setEnabled(true); });
        return;
    }
    m_input.append(bytes.data(), static_cast<int>(count));
    for (int end = m_input.indexOf('\n'); end >= 0; end = m_input.indexOf('\n')) {
        const QString line = QString::fromUtf8(m_input.constData(), end);
        m_input.remove(0, end + 1);
        if (!std::exchange(m_isOverlong, false))
            obey(line.trimmed());
    }
    if (m_input.size() > MaxLine) {
        m_isOverlong = true;
        m_input.clear();
    }
}

void SimConsole::obey(const QString &line)
{
    if (line.isEmpty())
        return;
    if (line == QLatin1String("status") || line == QLatin1String("status json")) {
        printStatus(line != QLatin1String("status"));
    } else if (line == QLatin1String("quit")) {
        QCoreApplication::quit();
    } else if (line == QLatin1String("clear")) {
        m_simulation.clearFaults();
    } else if (line == QLatin1String("faults")) {
        const QVector<VOXFault> faults = m_simulation.faults();
        for (const VOXFault &fault : faults)
            printLine(faultText(fault));
    } else if (line == QLatin1String("help")) {
        printLine(QStringLiteral(
                      "status [json]    how every node is\n"
                      "faults           the faults in force\n"
                      "clear            no faults any more\n"
                      "quit             ends the simulation\n"
                      "switch ADDRESS up|down|stop\n"
                      "                 somebody turns the local switch of a motor\n"
                      "set ADDRESS {SETTINGS}\n"
                      "                 changes settings, and the position, as a network file has them\n"
                      "KIND [VALUE] [ADDRESS|all] [command NAME] [probability P] [count N] [every MS]\n%1")
                      .arg(VOXFault::help()));
    } else if (line.startsWith(QLatin1String("switch ")) || line.startsWith(QLatin1String("set "))) {
        const QString problem = change(line);
        if (!problem.isEmpty())
            printError(QStringLiteral("sim"), problem);
    } else {
        addFault(line);
    }
}

/// What somebody does on site. Gives what is wrong with it.
QString SimConsole::change(const QString &line)
{
    const QString name = line.section(QLatin1Char(' '), 1, 1);
    const QString what = line.section(QLatin1Char(' '), 2);
    VOX::Addr addr = 0;
    if (!VOX::readAddr(name, &addr) || !m_simulation.node(addr))
        return QStringLiteral("there is no node %1").arg(name);
    if (line.startsWith(QLatin1String("switch "))) {
        static const QHash<QString, KVRMotor::Direction> directions = {
            {QStringLiteral("up"), KVRMotor::DIRECTION_UP},
            {QStringLiteral("down"), KVRMotor::DIRECTION_DOWN},
            {QStringLiteral("stop"), KVRMotor::DIRECTION_NONE}};
        auto *const motor = m_simulation.node<KVRMotorDevice>(addr);
        if (!motor || !directions.contains(what))
            return QStringLiteral("a motor's switch goes up, down or stop");
        return motor->turnSwitch(1, directions.value(what))
            ? QString()
            : QStringLiteral("the motor cannot move that way");
    }
    QJsonObject settings = QJsonDocument::fromJson(what.toUtf8()).object();
    if (settings.isEmpty())
        return QStringLiteral("'%1' is no object of settings, such as {\"position\": 100}").arg(what);
    settings.insert(QStringLiteral("model"), m_simulation.model(addr));
    QString problem;
    m_simulation.setState({{QStringLiteral("nodes"), QJsonObject{{VOX::toString(addr), settings}}}},
                          &problem);
    return problem;
}

void SimConsole::addFault(const QString &words)
{
    QString problem;
    if (!m_simulation.addFault(words, &problem)) {
        printError(QStringLiteral("sim"), QStringLiteral("%1; 'help' lists what is understood").arg(problem));
        return;
    }
    const VOXFault fault = m_simulation.faults().constLast();
    const bool isForAll = fault.node == VOXFault::EveryNode;
    if (!isForAll && !m_simulation.node(fault.node))
        printError(QStringLiteral("sim"),
                   QStringLiteral("there is no node %1").arg(VOX::toString(fault.node)));
    printError(QStringLiteral("sim"),
               QStringLiteral("from now on: %1%2")
                   .arg(fault.toString(), isForAll ? QStringLiteral(" (every node)") : QString()));
}

void SimConsole::printStatus(bool isJson) const
{
    const QVector<VOX::Addr> nodes = m_simulation.addresses();
    for (const VOX::Addr node : nodes) {
        if (isJson)
            printJson(statusJson(m_simulation, node));
        else
            printLine(statusText(m_simulation, node));
    }
}
