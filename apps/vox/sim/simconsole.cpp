#include "vox/sim/simconsole.h"

#include "devices/kvrmotordevice.h"
#include "vox/console.h"
#include "vox/outcome.h"
#include "vox/sim/faultrule.h"
#include "vox/sim/nodesettings.h"
#include "vox/sim/simulation.h"

#include <QCoreApplication>
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

QString statusText(const Simulation::Node &node)
{
    QString text =
        QStringLiteral("%1 %2 %3")
            .arg(VOX::toString(node.device->addr(false)), node.model.leftJustified(6),
                 printable(QString::fromLatin1(node.device->nodeLabel().constData())).leftJustified(16));
    if (auto *motor = qobject_cast<KVRMotorDevice *>(node.device.get()))
        text +=
            QStringLiteral(" %1 at %2 pulses").arg(keyOf(motor->status().state)).arg(motor->positionPulses());
    return text.trimmed();
}

QJsonObject statusJson(const Simulation::Node &node)
{
    QJsonObject object = settingsOf(*node.device);
    object.insert(QStringLiteral("address"), VOX::toString(node.device->addr(false)));
    object.insert(QStringLiteral("model"), node.model);
    if (auto *motor = qobject_cast<KVRMotorDevice *>(node.device.get()))
        object.insert(QStringLiteral("state"), keyOf(motor->status().state));
    return object;
}
}

SimConsole::SimConsole(Simulation &simulation, FaultRules &rules)
    : m_simulation(simulation)
    , m_rules(rules)
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
        m_rules.clear();
    } else if (line == QLatin1String("faults")) {
        for (const FaultRule &rule : m_rules.rules())
            printLine(rule.count < 0 ? rule.words
                                     : QStringLiteral("%1 (%2 left)").arg(rule.words).arg(rule.count));
    } else if (line == QLatin1String("help")) {
        printLine(
            QStringLiteral(
                "status [json]    how every node is\nfaults           the faults in force\nclear          "
                "  no faults any more\nquit             ends the simulation\nKIND [VALUE] [ADDRESS|all] "
                "[command NAME] [probability P] "
                "[count N]\n%1")
                .arg(FaultRule::help()));
    } else {
        FaultRule rule;
        QString problem;
        if (FaultRule::read(line, &rule, &problem)) {
            m_rules.add(rule);
            if (!rule.isForAll && !m_simulation.find(rule.addr))
                printError(QStringLiteral("sim"),
                           QStringLiteral("there is no node %1").arg(VOX::toString(rule.addr)));
            printError(QStringLiteral("sim"),
                       QStringLiteral("from now on: %1%2")
                           .arg(rule.words, rule.isForAll ? QStringLiteral(" (every node)") : QString()));
        } else {
            printError(QStringLiteral("sim"),
                       QStringLiteral("%1; 'help' lists what is understood").arg(problem));
        }
    }
}

void SimConsole::printStatus(bool isJson) const
{
    for (const Simulation::Node &node : m_simulation.nodes()) {
        if (isJson)
            printJson(statusJson(node));
        else
            printLine(statusText(node));
    }
}
