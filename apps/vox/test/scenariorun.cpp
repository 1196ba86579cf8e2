#include "vox/test/scenariorun.h"

#include "transport/voxbusurl.h"
#include "vox/test/scenarioplaces.h"

#include <QCoreApplication>
#include <QTimer>
#include <QUdpSocket>

#include <algorithm>

namespace {
constexpr int PulseMs = 5;
constexpr double MsPerSecond = 1000;
constexpr std::size_t ShownFrames = 5;
constexpr int ShownLines = 5;

QString seconds(qint64 ms)
{
    return QStringLiteral("%1 s").arg(static_cast<double>(ms) / MsPerSecond, 0, 'f', 3);
}

/// The bus of the nodes, over UDP, on ports of 127.0.0.1 that nobody has.
QString freeUdpUrl()
{
    QUdpSocket host, nodes;
    host.bind(QHostAddress(QHostAddress::LocalHost), 0);
    nodes.bind(QHostAddress(QHostAddress::LocalHost), 0);
    return QStringLiteral("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1")
        .arg(host.localPort())
        .arg(nodes.localPort());
}

/// The same bus as the program sees it.
QString hostSideOf(const QString &nodesUrl)
{
    VOXBusUrl url;
    QString problem;
    VOXBusUrl::read(nodesUrl, &url, &problem);
    if (url.kind != VOXBusUrl::Udp)
        return nodesUrl;
    return QStringLiteral("udp://%1:%2?local=%3")
        .arg(url.bind.isNull() ? url.host.toString() : url.bind.toString())
        .arg(url.local == 0 ? url.port : url.local)
        .arg(url.port);
}
}

ScenarioRun::ScenarioRun(const Scenario &scenario, std::function<bool()> isInterrupted)
    : m_scenario(scenario)
    , m_isInterrupted(std::move(isInterrupted))
{
}

ScenarioResult ScenarioRun::run()
{
    QElapsedTimer clock;
    clock.start();
    QString problem;
    const std::vector<Scenario::Step> &steps = m_scenario.steps;
    if (!setUp(&problem))
        fail(QStringLiteral("%1: %2").arg(m_scenario.fileName, problem));
    while (m_failure.isEmpty() && m_next < steps.size() && take(steps[m_next]))
        ++m_next;
    if (m_failure.isEmpty() && !trouble().isEmpty())
        fail(QStringLiteral("%1: %2").arg(m_scenario.fileName, trouble()));
    if (!m_program.end() && m_failure.isEmpty())
        fail(QStringLiteral("%1: the program did not end when it was asked to (SIGTERM), and was killed")
                 .arg(m_scenario.fileName));
    ScenarioResult result{m_scenario.fileName, m_failure, static_cast<double>(clock.elapsed()) / MsPerSecond,
                          m_program.output(),  {},        0};
    if (m_line && !result.isMet()) {
        result.forgotten = m_line->first();
        for (std::size_t i = m_line->first(); i < m_line->count(); ++i)
            result.items.push_back(m_line->at(i).item);
    }
    return result;
}

bool ScenarioRun::setUp(QString *problem)
{
    if (!m_scenario.fill(&m_simulation, problem))
        return false;
    const bool isFree = m_scenario.bus == QLatin1String("udp");
    const QString url = isFree ? freeUdpUrl() : m_scenario.bus;
    if (VOXBusUrl::isPortTaken(url)) {
        *problem = QStringLiteral("another program has the port of %1").arg(url);
        return false;
    }
    QString portUrl;
    m_bus = VOXBusUrl::openBus(url, problem, &portUrl);
    if (!m_bus)
        return false;
    m_line = std::make_unique<WitnessBus>(*m_bus);
    m_simulation.attach(m_line.get());
    const QString hostUrl = hostSideOf(portUrl);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VOX_BUS"), hostUrl);
    m_program.setProcessEnvironment(environment);
    m_line->start();
    return m_program.run(command(hostUrl), m_scenario.folder, problem);
}

QStringList ScenarioRun::command(const QString &hostUrl) const
{
    VOXBusUrl url;
    QString problem;
    VOXBusUrl::read(hostUrl, &url, &problem);
    const std::pair<QString, QString> values[] = {
        {QStringLiteral("{bus}"), hostUrl},
        {QStringLiteral("{port}"), url.kind == VOXBusUrl::Serial ? url.path : QString::number(url.port)},
        {QStringLiteral("{local}"), QString::number(url.local)},
        {QStringLiteral("{dir}"), m_scenario.folder}};
    QStringList words = m_scenario.run;
    for (QString &word : words) {
        for (const auto &[name, value] : values)
            word.replace(name, value);
    }
    return words;
}

bool ScenarioRun::take(const Scenario::Step &step)
{
    Stage stage{m_simulation, *m_line, m_program, m_away};
    if (step.atMs > 0) {
        const qint64 dueMs = m_begin.ms + step.atMs;
        if (!wait([&] { return m_line->nowMs() >= dueMs; }))
            return false;
        m_begin.frame = m_line->count();
    }
    m_begin.ms = m_line->nowMs();
    if (step.action) {
        m_begin.frame = m_line->count();
        step.action(stage);
    }
    m_begin.next = m_begin.frame;
    m_begin.count = 0;
    Expectation::Verdict verdict = Expectation::Met;
    if (step.expectation
        && !wait([&] { return (verdict = step.expectation->judge(stage, &m_begin)) != Expectation::Open; }))
        return false;
    if (verdict == Expectation::Failed)
        return fail(QStringLiteral("%1:%2: %3, from %4 to %5: %6%7")
                        .arg(m_scenario.fileName)
                        .arg(step.line)
                        .arg(step.path, seconds(m_begin.ms), seconds(m_line->nowMs()),
                             step.expectation->complaint(stage, m_begin), evidence()));
    m_begin.ms = m_line->nowMs();
    return true;
}

/// Processes events until @p condition holds. False if the scenario has failed meanwhile.
bool ScenarioRun::wait(const std::function<bool()> &condition)
{
    QTimer pulse;
    pulse.start(PulseMs);
    while (!condition()) {
        const QString problem = trouble();
        const Scenario::Step &step = m_scenario.steps[m_next];
        if (!problem.isEmpty())
            return fail(QStringLiteral("%1:%2: %3, at %4: %5%6")
                            .arg(m_scenario.fileName)
                            .arg(step.line)
                            .arg(step.path, seconds(m_line->nowMs()), problem, evidence()));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/// Why the scenario cannot go on; empty if it can.
QString ScenarioRun::trouble() const
{
    // A step may expect the end that has come early, or has done so.
    const bool mayEnd =
        std::any_of(m_scenario.steps.begin(), m_scenario.steps.end(), [](const Scenario::Step &step) {
            return step.expectation && step.expectation->isExit();
        });
    if (m_isInterrupted())
        return QStringLiteral("interrupted");
    if (m_program.hasEnded() && !m_program.hasEndedWith(0) && !mayEnd)
        return QStringLiteral("the program %1").arg(m_program.fate());
    if (m_line->nowMs() > m_scenario.timeoutMs)
        return QStringLiteral("the time-out of %1 is over").arg(durationText(m_scenario.timeoutMs));
    return QString();
}

bool ScenarioRun::fail(const QString &failure)
{
    m_failure = failure;
    return false;
}

/// The last frames, how the program is, and what it has printed last.
QString ScenarioRun::evidence() const
{
    QStringList lines;
    const std::size_t count = m_line->count();
    for (std::size_t i = count - std::min(count, ShownFrames); i < count; ++i) {
        const WitnessBus::Sight &sight = m_line->at(i);
        lines += QStringLiteral("%1  %2").arg(seconds(sight.ms),
                                              sight.item.toString().section(QStringLiteral("  "), 1));
    }
    if (lines.isEmpty())
        lines += QStringLiteral("no frame has come");
    lines += QStringLiteral("the program %1").arg(m_program.fate());
    const QString output = QString::fromLocal8Bit(m_program.output()).trimmed();
    if (!output.isEmpty()) {
        const QStringList printed = output.split(QLatin1Char('\n'));
        lines.last() += QStringLiteral(", and has printed:");
        lines += printed.mid(std::max(0, static_cast<int>(printed.size()) - ShownLines));
    }
    return QStringLiteral("\n  ") + lines.join(QStringLiteral("\n  "));
}
