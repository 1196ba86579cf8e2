#include "vox/host/democommand.h"

#include "devices/tb60lvstub.h"
#include "proxies/kvrmotorproxy.h"
#include "transport/voxudpbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/discovery.h"
#include "vox/outcome.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QUdpSocket>

#include <array>
#include <memory>
#include <vector>

namespace {
constexpr unsigned int FirstAddr = 0x000001;
constexpr unsigned int AbsentAddr = 0x000099;
constexpr unsigned short DownLimit = 2000;
constexpr std::array<unsigned char, 3> TargetPercent = {40, 70, 100};
constexpr int MoveTimeoutMs = 8000;
constexpr int TerminalIntervalMs = 100;
constexpr int PlainIntervalMs = 500;
constexpr int BeforeStopMs = 800;

using PortPair = std::array<unsigned short, 2>;

/// Two ports that are free.
PortPair freePorts()
{
    QUdpSocket first;
    QUdpSocket second;
    first.bind(QHostAddress(QHostAddress::LocalHost), 0);
    second.bind(QHostAddress(QHostAddress::LocalHost), 0);
    return {first.localPort(), second.localPort()};
}

void pause(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

QString key(KVRMotor::State state)
{
    return QString::fromLatin1(KVRMotor::MotorStateEnum().valueToKey(static_cast<int>(state))).mid(6);
}

class Demo
{
public:
    explicit Demo(bool isJson);
    int run();

private:
    struct Reading
    {
        bool ok = false;
        quint16 pulses = 0;
        quint8 percent = 0;
        KVRMotor::Status status;
    };

    void discover();
    void describe();
    void setLimits();
    void move(const QString &what, const std::array<unsigned char, 3> &percent);
    void stopMidway();
    void showRefusal();
    void showTimeout();

    BusPendingCall finish(const BusPendingCall &call);
    bool isAcknowledged(const BusPendingCall &call);
    Reading read(KVRMotorProxy &proxy);
    bool followUntilRest();
    void printReadings(const std::vector<Reading> &readings, bool over);
    void expect(bool ok, const QString &what);
    /// Prints a line for people. With JSON only a summary is printed.
    void say(const QString &line) const
    {
        if (!m_isJson)
            printLine(line);
    }

    bool m_isJson;
    PortPair m_ports;
    VOXUdpBus m_network;
    VOXUdpBus m_host;
    std::vector<std::unique_ptr<TB60LVStub>> m_motors;
    std::vector<std::unique_ptr<KVRMotorProxy>> m_proxies;
    int m_calls = 0;
    int m_failures = 0;
};

Demo::Demo(bool isJson)
    : m_isJson(isJson)
    , m_ports(freePorts())
    , m_network(QHostAddress::LocalHost, m_ports[0], QHostAddress::LocalHost, m_ports[1])
    , m_host(QHostAddress::LocalHost, m_ports[1], QHostAddress::LocalHost, m_ports[0])
{
    static const char *const labels[] = {"Kitchen", "Bedroom", "Studio"};
    for (unsigned int i = 0; i < TargetPercent.size(); ++i) {
        m_motors.push_back(std::make_unique<TB60LVStub>(FirstAddr + i, &m_network));
        m_motors.back()->setNodeLabel(labels[i]);
        m_motors.back()->setAppVersion(
            KVRStdProxy::AppVersion::AppVersionFromString(QStringLiteral("5012345-A03-1")));
    }
}

BusPendingCall Demo::finish(const BusPendingCall &call)
{
    ++m_calls;
    call.waitForFinished();
    return call;
}

bool Demo::isAcknowledged(const BusPendingCall &call)
{
    return VOXMessage(finish(call).reply()).cmd() == KVR::ACK;
}

void Demo::expect(bool ok, const QString &what)
{
    if (ok)
        return;
    ++m_failures;
    say(QStringLiteral("FAILED: %1").arg(what));
}

void Demo::discover()
{
    say(QStringLiteral("Discovery, by broadcast:"));
    const QVector<unsigned int> addrs = discoveredAddrs(finish(discoverNodes(m_host)));
    for (const unsigned int addr : addrs) {
        m_proxies.push_back(std::make_unique<KVRMotorProxy>(addr, &m_host));
        say(QStringLiteral("  %1 %2").arg(VOX::toString(m_proxies.back()->addr(false)),
                                          VOX::toString(m_proxies.back()->type())));
    }
    expect(m_proxies.size() == m_motors.size(), QStringLiteral("three nodes answer"));
}

void Demo::describe()
{
    say(QStringLiteral("Label and version:"));
    for (const auto &proxy : m_proxies) {
        QByteArray label;
        KVRStdProxy::AppVersion version;
        const bool ok = proxy->getNodeLabelReply(finish(proxy->getNodeLabel()).reply(), label)
            && proxy->getNodeAppVersionReply(finish(proxy->getNodeAppVersion()).reply(), version);
        expect(ok, QStringLiteral("label and version are read"));
        say(QStringLiteral("  %1 %2 %3")
                .arg(VOX::toString(proxy->addr(false)),
                     QString::fromLatin1(label.constData()).leftJustified(8), version.toString()));
    }
}

void Demo::setLimits()
{
    say(QStringLiteral("End limits: up at 0, down at %1 pulses.").arg(DownLimit));
    for (const auto &proxy : m_proxies) {
        quint16 down = 0;
        const bool ok = isAcknowledged(proxy->setMotorLimits(KVRMotor::LIMIT_PULSES, KVRMotor::LIMIT_UP, 0))
            && isAcknowledged(proxy->setMotorLimits(KVRMotor::LIMIT_PULSES, KVRMotor::LIMIT_DOWN, DownLimit))
            && proxy->getMotorLimitsReply(finish(proxy->getMotorLimits()).reply(), down) && down == DownLimit;
        expect(ok, QStringLiteral("limits are set and read back"));
    }
}

Demo::Reading Demo::read(KVRMotorProxy &proxy)
{
    Reading reading;
    reading.ok = proxy.getMotorPositionReply(finish(proxy.getMotorPosition()).reply(), &reading.pulses,
                                             &reading.percent, nullptr, nullptr)
        && proxy.getMotorStatusReply(finish(proxy.getMotorStatus()).reply(), reading.status);
    return reading;
}

void Demo::printReadings(const std::vector<Reading> &readings, bool over)
{
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const Reading &reading = readings[i];
        const QString bar =
            QString(reading.percent / 5, QLatin1Char('#')).leftJustified(20, QLatin1Char('.'));
        say(QStringLiteral("  %1 [%2] %3 %  %4 pulses  %5")
                .arg(VOX::toString(m_proxies[i]->addr(false)), bar)
                .arg(reading.percent, 3)
                .arg(reading.pulses, 4)
                .arg(key(reading.status.state), -8));
    }
    // On a terminal the next readings take the place of these.
    if (!over && isTerminal())
        say(QStringLiteral("\x1b[%1A").arg(readings.size() + 1));
}

bool Demo::followUntilRest()
{
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        std::vector<Reading> readings;
        bool isRunning = false;
        for (const auto &proxy : m_proxies) {
            readings.push_back(read(*proxy));
            isRunning = isRunning || readings.back().status.state == KVRMotor::STATE_RUNNING;
            if (!readings.back().ok)
                return false;
        }
        const bool over = !isRunning || clock.elapsed() > MoveTimeoutMs;
        printReadings(readings, over);
        if (over)
            return !isRunning;
        pause(isTerminal() ? TerminalIntervalMs : PlainIntervalMs);
    }
}

void Demo::move(const QString &what, const std::array<unsigned char, 3> &percent)
{
    say(what);
    for (std::size_t i = 0; i < m_proxies.size(); ++i)
        expect(isAcknowledged(m_proxies[i]->ctrlMoveTo(KVRMotor::MOVETO_PERCENT, percent.at(i))),
               QStringLiteral("a move is accepted"));
    expect(followUntilRest(), QStringLiteral("all motors arrive"));
    for (std::size_t i = 0; i < m_proxies.size(); ++i)
        expect(read(*m_proxies[i]).percent == percent.at(i),
               QStringLiteral("a motor stands where it was sent"));
}

void Demo::stopMidway()
{
    KVRMotorProxy &proxy = *m_proxies.front();
    expect(isAcknowledged(proxy.ctrlMoveTo(KVRMotor::MOVETO_DOWN_LIMIT, 0)),
           QStringLiteral("a move is accepted"));
    pause(BeforeStopMs);
    expect(isAcknowledged(proxy.ctrlStop()), QStringLiteral("a stop is accepted"));
    const Reading reading = read(proxy);
    expect(reading.ok && reading.status.state == KVRMotor::STATE_STOPPED && reading.pulses > 0
               && reading.pulses < DownLimit,
           QStringLiteral("the motor stands in mid-move"));
    say(QStringLiteral("Stopped in mid-move: %1 at %2 pulses.")
            .arg(VOX::toString(proxy.addr(false)))
            .arg(reading.pulses));
}

void Demo::showRefusal()
{
    constexpr quint16 UnsetIndex = 1;
    const VOXMessage reply = finish(m_proxies.front()->ctrlMoveTo(KVRMotor::MOVETO_IP, UnsetIndex)).reply();
    const KVR::NackStatus status = KVR::getNackReply(reply);
    expect(status == static_cast<KVR::NackStatus>(KVR::NACK_IP_NOT_SET),
           QStringLiteral("an unset position is refused"));
    say(QStringLiteral("Refused: to intermediate position %1, NACK %2.")
            .arg(UnsetIndex)
            .arg(KVR::toString(status)));
}

void Demo::showTimeout()
{
    KVRMotorProxy absent(AbsentAddr, &m_host);
    const BusPendingCall call = finish(absent.getMotorStatus());
    expect(call.error() == BusPendingCall::Timeout, QStringLiteral("an absent node times out"));
    say(QStringLiteral("No node at %1: %2.").arg(VOX::toString(AbsentAddr), call.errorString()));
}

int Demo::run()
{
    QElapsedTimer clock;
    clock.start();
    if (!m_host.isOpen() || !m_network.isOpen()) {
        printError(QStringLiteral("demo"), QStringLiteral("cannot use UDP on 127.0.0.1"));
        return WrongUse;
    }
    say(QStringLiteral(
            "An emulated network of three motors and a host, over UDP on 127.0.0.1, ports %1 and %2.")
            .arg(m_ports[1])
            .arg(m_ports[0]));
    discover();
    if (m_failures != 0)
        return Failure;
    describe();
    setLimits();
    move(QStringLiteral("Down to 40, 70 and 100 percent:"), TargetPercent);
    move(QStringLiteral("And back up:"), {0, 0, 0});
    stopMidway();
    showRefusal();
    showTimeout();
    say(QStringLiteral("%1: %2 nodes, %3 calls, one refusal and one time-out shown, in %4 s.")
            .arg(m_failures == 0 ? QStringLiteral("All as expected") : QStringLiteral("NOT as expected"))
            .arg(m_proxies.size())
            .arg(m_calls)
            .arg(static_cast<double>(clock.elapsed()) / 1000, 0, 'f', 1));
    if (m_isJson)
        printJson({{QStringLiteral("nodes"), static_cast<int>(m_proxies.size())},
                   {QStringLiteral("calls"), m_calls},
                   {QStringLiteral("failures"), m_failures},
                   {QStringLiteral("seconds"), static_cast<double>(clock.elapsed()) / 1000}});
    return m_failures == 0 ? Success : Failure;
}
}

int runDemo(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("demo"),
        QStringLiteral("Shows a host that drives an emulated network of three motors, both in this "
                       "process, over UDP on 127.0.0.1. Takes about ten seconds."),
        QStringLiteral("vox demo"), CommandLine::JsonOption);
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    return Demo(line.isJson()).run();
}
