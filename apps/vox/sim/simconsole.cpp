#include "vox/sim/simconsole.h"

#include "devices/kvrmotordevice.h"
#include "simulation/voxsimulation.h"
#include "vox/console.h"
#include "vox/outcome.h"
#include "vox/words.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QTimer>

#include <algorithm>
#include <array>
#include <csignal>
#include <unistd.h>
#include <utility>

namespace {
constexpr int MaxLine = 4096;
constexpr int RetryMs = 1000;

const QString NumberKey = QStringLiteral("number");

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

QString secondsText(const QDeadlineTimer &due)
{
    constexpr double MsPerSecond = 1000;
    return QStringLiteral("%1 s").arg(static_cast<double>(due.remainingTime()) / MsPerSecond, 0, 'f', 1);
}

QString firstWord(const QString &line)
{
    return line.section(QLatin1Char(' '), 0, 0, QString::SectionSkipEmpty);
}

QString behindFirstWord(const QString &line)
{
    return line.section(QLatin1Char(' '), 1, -1, QString::SectionSkipEmpty);
}

/// Takes the time that @p rest begins with. False if there is none; @p problem says so.
bool takeTime(QString *rest, int *ms, QString *problem)
{
    const QString word = firstWord(*rest);
    *rest = behindFirstWord(*rest);
    if (!readDuration(word, ms))
        *problem = QStringLiteral("'%1' is no time; 500ms and 10s are, up to an hour").arg(word);
    else if (rest->isEmpty())
        *problem = QStringLiteral("what is to be done is missing");
    return problem->isEmpty();
}
}

SimConsole::SimConsole(VOXSimulation &simulation, bool isJson)
    : m_simulation(simulation)
    , m_isJson(isJson)
    , m_notifier(STDIN_FILENO, QSocketNotifier::Read)
{
    while (m_numbers.size() < m_simulation.faults().size())
        m_numbers += ++m_lastNumber;
    // With this, reading the terminal in the background of a shell fails instead of stopping the program.
    std::signal(SIGTTIN, SIG_IGN);
    connect(&m_notifier, &QSocketNotifier::activated, this, &SimConsole::readInput);
}

void SimConsole::complain(const QString &problem) const
{
    if (m_isJson)
        printJson({{QStringLiteral("error"), problem}});
    else
        printError(QStringLiteral("sim"), problem);
}

void SimConsole::tell(const char *what, const QJsonObject &object, const QString &text) const
{
    if (m_isJson)
        printJson({{QLatin1String(what), object}});
    else
        printError(QStringLiteral("sim"), text);
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
            obey(line.simplified());
    }
    if (m_input.size() > MaxLine) {
        m_isOverlong = true;
        m_input.clear();
        complain(QStringLiteral("a line has at most %1 characters").arg(MaxLine));
    }
}

void SimConsole::obey(const QString &line)
{
    const QString word = firstWord(line);
    const QString rest = behindFirstWord(line);
    const bool isAlone = rest.isEmpty();
    int forMs = 0;
    QString problem;
    QString words = rest;
    if (word.isEmpty())
        return;
    if (word == QLatin1String("status") && (isAlone || rest == QLatin1String("json"))) {
        printStatus(m_isJson || !isAlone);
    } else if (word == QLatin1String("quit") && isAlone) {
        QCoreApplication::quit();
    } else if (word == QLatin1String("clear") && isAlone) {
        clear();
    } else if (word == QLatin1String("faults") && isAlone) {
        printFaults();
    } else if (word == QLatin1String("help") && isAlone) {
        printHelp();
    } else if (word == QLatin1String("remove")) {
        remove(rest);
    } else if (word == QLatin1String("at")) {
        obeyAt(rest);
    } else if (word != QLatin1String("for")) {
        addFault(line, 0);
    } else if (takeTime(&words, &forMs, &problem)) {
        addFault(words, forMs);
    } else {
        complain(problem);
    }
}

void SimConsole::obeyAt(const QString &rest)
{
    QString line = rest;
    QString problem;
    int ms = 0;
    if (!takeTime(&line, &ms, &problem)) {
        complain(problem);
        return;
    }
    const int number = ++m_lastNumber;
    m_plans += {number, line, QDeadlineTimer(ms)};
    QTimer::singleShot(ms, Qt::PreciseTimer, this, [this, number] { obeyPlan(number); });
    tell("planned", {{NumberKey, number}, {QStringLiteral("line"), line}, {QStringLiteral("inMs"), ms}},
         QStringLiteral("%1  in %2: %3").arg(number).arg(secondsText(m_plans.constLast().due), line));
}

void SimConsole::obeyPlan(int number)
{
    const auto plan = std::find_if(m_plans.begin(), m_plans.end(),
                                   [number](const Plan &each) { return each.number == number; });
    if (plan == m_plans.end())
        return;
    const QString line = plan->line;
    m_plans.erase(plan);
    m_dueNumber = number;
    obey(line);
    m_dueNumber = 0;
}

void SimConsole::addFault(const QString &words, int forMs)
{
    QString problem;
    if (!m_simulation.addFault(words, &problem)) {
        complain(QStringLiteral("%1; 'help' lists what is understood").arg(problem));
        return;
    }
    const int index = static_cast<int>(m_numbers.size());
    // A fault that was planned keeps the number that it has.
    const int number = m_dueNumber > 0 ? m_dueNumber : ++m_lastNumber;
    m_numbers += number;
    if (forMs > 0) {
        m_ends.insert(number, QDeadlineTimer(forMs));
        QTimer::singleShot(forMs, Qt::PreciseTimer, this, [this, number] { endFault(number); });
    }
    const VOXFault fault = m_simulation.faults().constLast();
    const bool isForAll = fault.node == VOXFault::EveryNode;
    if (!isForAll && !m_simulation.node(fault.node))
        complain(QStringLiteral("there is no node %1").arg(VOX::toString(fault.node)));
    tell("added", toJson(index),
         QStringLiteral("from now on: %1%2")
             .arg(toText(index), isForAll ? QStringLiteral(" (every node)") : QString()));
}

void SimConsole::endFault(int number)
{
    const int index = static_cast<int>(m_numbers.indexOf(number));
    if (index < 0)
        return;
    m_ends.remove(number);
    const QJsonObject object = toJson(index);
    const QString text = toText(index);
    m_simulation.removeFault(index);
    m_numbers.remove(index);
    tell("removed", object, QStringLiteral("no longer: %1").arg(text));
}

void SimConsole::remove(const QString &number)
{
    const int wanted = number.toInt();
    const auto plan = std::find_if(m_plans.begin(), m_plans.end(),
                                   [wanted](const Plan &each) { return each.number == wanted; });
    if (plan != m_plans.end()) {
        const QString line = plan->line;
        m_plans.erase(plan);
        tell("removed", {{NumberKey, wanted}, {QStringLiteral("line"), line}},
             QStringLiteral("no longer: %1  %2").arg(wanted).arg(line));
    } else if (m_numbers.contains(wanted)) {
        endFault(wanted);
    } else {
        complain(QStringLiteral("nothing has the number '%1'; 'faults' shows the numbers").arg(number));
    }
}

void SimConsole::clear()
{
    const auto count = static_cast<int>(m_numbers.size() + m_plans.size());
    m_simulation.clearFaults();
    m_numbers.clear();
    m_ends.clear();
    m_plans.clear();
    if (m_isJson)
        printJson({{QStringLiteral("cleared"), count}});
    else
        printError(QStringLiteral("sim"), QStringLiteral("no faults any more"));
}

QJsonObject SimConsole::toJson(int index) const
{
    const VOXFault fault = m_simulation.faults().at(index);
    const int number = m_numbers.at(index);
    QJsonObject object{{NumberKey, number},
                       {QStringLiteral("fault"), fault.toString()},
                       {QStringLiteral("happened"), fault.happened}};
    if (m_ends.contains(number))
        object.insert(QStringLiteral("endsInMs"), qint64{m_ends.value(number).remainingTime()});
    return object;
}

QString SimConsole::toText(int index) const
{
    const VOXFault fault = m_simulation.faults().at(index);
    const int number = m_numbers.at(index);
    QString text = QStringLiteral("%1  %2").arg(number).arg(fault.toString());
    if (fault.count >= 0)
        text += QStringLiteral(" (%1 left)").arg(fault.count - fault.happened);
    if (m_ends.contains(number))
        text += QStringLiteral(" for %1").arg(secondsText(m_ends.value(number)));
    return text;
}

void SimConsole::printFaults() const
{
    QJsonArray faults;
    QJsonArray planned;
    QStringList lines;
    for (int i = 0; i < m_numbers.size(); ++i) {
        faults += toJson(i);
        lines += toText(i);
    }
    for (const Plan &plan : m_plans) {
        planned += QJsonObject{{NumberKey, plan.number},
                               {QStringLiteral("line"), plan.line},
                               {QStringLiteral("inMs"), qint64{plan.due.remainingTime()}}};
        lines += QStringLiteral("%1  in %2: %3").arg(plan.number).arg(secondsText(plan.due), plan.line);
    }
    if (m_isJson)
        printJson({{QStringLiteral("faults"), faults}, {QStringLiteral("planned"), planned}});
    else
        printLine(lines.isEmpty() ? QStringLiteral("no faults") : lines.join(QLatin1Char('\n')));
}

void SimConsole::printHelp() const
{
    const QString text =
        QStringLiteral("status [json]    how every node is\n"
                       "faults           the faults in force, and what is planned, with numbers\n"
                       "remove NUMBER    takes one of them away\n"
                       "clear            takes all of them away\n"
                       "at 10s LINE      obeys a line 10 seconds from now\n"
                       "for 3s FAULT     a fault that is taken away after 3 seconds\n"
                       "quit             ends the simulation\n"
                       "A fault is: KIND [VALUE] [ADDRESS|all] [command NAME] [probability P]\n"
                       "            [count N] [every MS]\n")
        + VOXFault::help();
    if (m_isJson)
        printJson({{QStringLiteral("help"), text}});
    else
        printLine(text);
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
