#include "vox/host/follow.h"

#include "proxies/kvrmotorproxy.h"
#include "vox/console.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"

#include <QEventLoop>
#include <QTimer>

namespace {
constexpr int IntervalMs = 200;
constexpr int PercentPerMark = 5;
constexpr int BarWidth = 20;

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

bool read(KVRMotorProxy &proxy, Reading *reading)
{
    const BusPendingCall position = proxy.getMotorPosition();
    const BusPendingCall status = proxy.getMotorStatus();
    position.waitForFinished();
    status.waitForFinished();
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

/// False if a signal has come meanwhile.
bool pause(const bool &isInterrupted, SignalWatcher &signalWatcher)
{
    QEventLoop loop;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &loop, &QEventLoop::quit);
    QTimer::singleShot(IntervalMs, &loop, &QEventLoop::quit);
    if (!isInterrupted)
        loop.exec();
    return !isInterrupted;
}
}

int followUntilRest(KVRMotorProxy &proxy, bool isJson)
{
    SignalWatcher signalWatcher;
    bool isInterrupted = false;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &signalWatcher,
                     [&isInterrupted] { isInterrupted = true; });
    Reading reading;
    do {
        if (!read(proxy, &reading)) {
            printError(QStringLiteral("goto"), QStringLiteral("the motor does not tell where it is"));
            return Failure;
        }
        show(reading, isJson);
    } while (reading.status.state == KVRMotor::STATE_RUNNING && pause(isInterrupted, signalWatcher));
    if (!isInterrupted)
        return reading.status.source == KVRMotor::SOURCE_INTERNAL ? Success : Failure;
    proxy.ctrlStop().waitForFinished();
    if (read(proxy, &reading))
        show(reading, isJson);
    return Failure;
}
