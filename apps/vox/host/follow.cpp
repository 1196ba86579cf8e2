#include "vox/host/follow.h"

#include "messages/kvr.h"
#include "proxies/kvrmotorproxy.h"
#include "vox/console.h"
#include "vox/outcome.h"

#include <QEventLoop>
#include <QMetaEnum>
#include <QTimer>

namespace {
constexpr int IntervalMs = 200;
constexpr int PercentPerMark = 5;
constexpr int BarWidth = 20;
constexpr int MaxFailures = 5;

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

/// Where a motor has come to rest that has not arrived, and why, as far as it tells.
QString endOf(const Reading &reading)
{
    const auto source = QMetaEnum::fromType<KVRMotor::Source>().valueToKey(reading.status.source);
    const auto cause = QMetaEnum::fromType<KVRMotor::Cause>().valueToKey(reading.status.cause);
    return QStringLiteral("ended at %1 %: %2, %3, %4")
        .arg(reading.percent)
        .arg(stateOf(reading), QLatin1String(source), QLatin1String(cause));
}

bool read(KVRMotorProxy &proxy, Reading *reading, QString *error)
{
    const unsigned int addr = proxy.addr(false);
    const Outcome position = ask(addr, Asking::Again, [&] { return proxy.getMotorPosition(); });
    const Outcome status = ask(addr, Asking::Again, [&] { return proxy.getMotorStatus(); });
    *error = position.error().isEmpty() ? status.error() : position.error();
    return proxy.getMotorPositionReply(position.reply(), &reading->pulses, &reading->percent, nullptr,
                                       nullptr)
        && proxy.getMotorStatusReply(status.reply(), reading->status);
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

int MotorFollower::follow(KVRMotorProxy &proxy)
{
    Reading reading;
    QString error;
    for (int failures = 0; !m_isInterrupted; pause()) {
        if (!read(proxy, &reading, &error)) {
            if (m_isInterrupted || ++failures < MaxFailures)
                continue;
            printError(QStringLiteral("goto"),
                       QStringLiteral("the motor does not tell where it is%1")
                           .arg(error.isEmpty() ? error : QStringLiteral(": ") + error));
            return Failure;
        }
        failures = 0;
        show(reading, m_isJson);
        if (reading.status.state == KVRMotor::STATE_RUNNING)
            continue;
        if (reading.status.source == KVRMotor::SOURCE_INTERNAL
            && reading.status.state != KVRMotor::STATE_BLOCKED)
            return Success;
        printError(QStringLiteral("goto"), endOf(reading));
        return Failure;
    }
    return stop(proxy);
}

int MotorFollower::stop(KVRMotorProxy &proxy) const
{
    bool isStopped = false;
    for (int attempt = 0; !isStopped && attempt < MaxFailures; ++attempt) {
        const Outcome outcome = ask(proxy.addr(false), Asking::Once, [&] { return proxy.ctrlStop(); });
        isStopped = outcome.reply().cmd() == KVR::ACK;
    }
    Reading reading;
    QString error;
    if (!isStopped)
        printError(QStringLiteral("goto"),
                   QStringLiteral("the motor has not acknowledged the stop, and may still run"));
    else if (read(proxy, &reading, &error))
        show(reading, m_isJson);
    return Failure;
}
