#include "vox/host/follow.h"

#include "messages/kvr.h"
#include "proxies/kvrmotorproxy.h"
#include "vox/console.h"
#include "vox/outcome.h"

#include <QEventLoop>
#include <QMetaEnum>
#include <QThread>
#include <QTimer>

#include <cstdlib>

namespace {
constexpr int IntervalMs = 200;
constexpr int PercentPerMark = 5;
constexpr int BarWidth = 20;
constexpr int MaxFailures = 3;
/// A motor may be found at rest this many times before its move counts as begun.
constexpr int MaxIdle = 5;
/// The shortest way, in pulses, that a motor can be sent. A motor that is nearer to its target has arrived.
constexpr int ShortestWay = 10;
/// How often a motor that was stopped is read until it rests.
constexpr int MaxReadings = 5;

struct Reading
{
    quint16 pulses = 0;
    quint8 percent = 0;
    KVRMotor::Status status;
};

QString stateOf(const Reading &reading)
{
    return QString::fromLatin1(KVRMotor::MotorStateEnum().valueToKey(static_cast<int>(reading.status.state)));
}

/// Says where a motor rests that was sent to @p target, and why, as far as it tells.
QString endOf(const Reading &reading, int target)
{
    const auto source =
        QMetaEnum::fromType<KVRMotor::Source>().valueToKey(static_cast<int>(reading.status.source));
    const auto cause =
        QMetaEnum::fromType<KVRMotor::Cause>().valueToKey(static_cast<int>(reading.status.cause));
    return QStringLiteral("was to go to %1 pulses and ended at %2, %3 %: %4, %5, %6")
        .arg(target)
        .arg(reading.pulses)
        .arg(reading.percent)
        .arg(stateOf(reading), QLatin1String(source), QLatin1String(cause));
}

/// Reads the status first: if the motor is at rest then, it does not leave the position that is read next.
bool read(KVRMotorProxy &proxy, Reading *reading, QString *error)
{
    const unsigned int addr = proxy.addr(false);
    const Outcome status = ask(addr, Asking::Again, [&] { return proxy.getMotorStatus(); });
    const Outcome position = ask(addr, Asking::Again, [&] { return proxy.getMotorPosition(); });
    *error = status.error().isEmpty() ? position.error() : status.error();
    return proxy.getMotorStatusReply(status.reply(), reading->status)
        && proxy.getMotorPositionReply(position.reply(), &reading->pulses, &reading->percent, nullptr,
                                       nullptr);
}

/// The target in pulses; -1 if the motor does not tell what is needed to know it.
int readTarget(KVRMotorProxy &proxy, KVRMotor::MoveToFunction function, quint16 position, QString *error)
{
    constexpr int Whole = 100;
    if (function == KVRMotor::MOVETO_PULSES)
        return position;
    const bool isIp = function == KVRMotor::MOVETO_IP;
    const Outcome outcome = ask(proxy.addr(false), Asking::Again, [&] {
        return isIp ? proxy.getMotorIP(static_cast<quint8>(position)) : proxy.getMotorLimits();
    });
    *error = outcome.error();
    quint16 pulses = 0;
    quint16 up = 0;
    quint16 down = 0;
    if (isIp)
        return proxy.getMotorIPReply(outcome.reply(), nullptr, &pulses, nullptr) ? pulses : -1;
    if (!proxy.getMotorLimitsReply(outcome.reply(), down, &up))
        return -1;
    const int percent = function == KVRMotor::MOVETO_PERCENT ? position
        : function == KVRMotor::MOVETO_DOWN_LIMIT            ? Whole
                                                             : 0;
    return up + (down - up) * percent / Whole;
}

bool isAt(const Reading &reading, int target)
{
    return std::abs(reading.pulses - target) < ShortestWay && reading.status.state != KVRMotor::STATE_BLOCKED;
}

void show(const Reading &reading, bool isJson)
{
    const bool isBar = isTerminal() && !isJson;
    if (isJson)
        printJson({{QStringLiteral("position"), reading.pulses},
                   {QStringLiteral("percent"), reading.percent},
                   {QStringLiteral("state"), stateOf(reading)}});
    else
        printLine(QStringLiteral("%1[%2] %3 %  %4 pulses  %5")
                      .arg(isBar ? QStringLiteral("\x1b[K") : QString(),
                           QString(reading.percent / PercentPerMark, QLatin1Char('#'))
                               .leftJustified(BarWidth, QLatin1Char('.'), true))
                      .arg(reading.percent, 3)
                      .arg(reading.pulses)
                      .arg(stateOf(reading)));
    // The next reading takes the place of this one.
    if (isBar && reading.status.state == KVRMotor::STATE_RUNNING)
        printLine(QStringLiteral("\x1b[2A"));
}
}

MotorFollower::MotorFollower(bool isJson)
    : m_isJson(isJson)
{
    outliveReader();
    QObject::connect(&m_signalWatcher, &SignalWatcher::interrupted, &m_signalWatcher,
                     [this] { m_isInterrupted = true; });
}

void MotorFollower::pause()
{
    QEventLoop loop;
    QObject::connect(&m_signalWatcher, &SignalWatcher::interrupted, &loop, &QEventLoop::quit);
    QTimer::singleShot(IntervalMs, &loop, &QEventLoop::quit);
    if (!m_isInterrupted)
        loop.exec();
}

int MotorFollower::follow(KVRMotorProxy &proxy, KVRMotor::MoveToFunction function, quint16 position)
{
    QObject::connect(&m_signalWatcher, &SignalWatcher::interrupted, &proxy,
                     [&] { m_stop = proxy.ctrlStop(); });
    Reading reading;
    QString error;
    int target = -1;
    int failures = 0;
    for (int idle = 0; !m_isInterrupted && !hasOutputFailed(); pause()) {
        if (target < 0)
            target = readTarget(proxy, function, position, &error);
        if (target < 0 || !read(proxy, &reading, &error)) {
            if (m_isInterrupted || ++failures < MaxFailures)
                continue;
            printError(QStringLiteral("goto"),
                       QStringLiteral("the motor does not tell where it is%1")
                           .arg(error.isEmpty() ? error : QStringLiteral(": ") + error));
            return Failure;
        }
        failures = 0;
        const bool isRunning = reading.status.state == KVRMotor::STATE_RUNNING;
        // A state from before this move does not count.
        const bool hasBegun = isRunning || isAt(reading, target) || ++idle > MaxIdle;
        if (!hasBegun)
            continue;
        idle = MaxIdle;
        show(reading, m_isJson);
        if (isRunning || hasOutputFailed())
            continue;
        if (isAt(reading, target))
            return Success;
        printError(QStringLiteral("goto"), endOf(reading, target));
        return Failure;
    }
    return stop(proxy);
}

int MotorFollower::stop(KVRMotorProxy &proxy) const
{
    const Outcome outcome =
        ask(proxy.addr(false), Asking::Once, [&] { return m_stop ? *m_stop : proxy.ctrlStop(); });
    if (outcome.reply().cmd() != KVR::ACK) {
        printError(QStringLiteral("goto"),
                   QStringLiteral("the motor has not acknowledged the stop, and may still run"));
        return Failure;
    }
    Reading reading;
    QString error;
    bool isRead = false;
    // The motor may take a while to come to rest.
    for (int attempt = 0; attempt < MaxReadings; ++attempt) {
        isRead = read(proxy, &reading, &error);
        if (isRead && reading.status.state != KVRMotor::STATE_RUNNING)
            break;
        QThread::msleep(IntervalMs);
    }
    if (isRead)
        show(reading, m_isJson);
    printError(QStringLiteral("goto"),
               hasOutputFailed() ? QStringLiteral("stopped, because the output cannot be written")
                                 : QStringLiteral("stopped on the way"));
    return Failure;
}
