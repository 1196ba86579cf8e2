#include "vox/line/replaycommand.h"

#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/pcapfile.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace {
constexpr double NsPerMs = 1e6;
constexpr double MsPerSecond = 1000;
constexpr double BitsPerByte = 11;
constexpr double MinPauseMs = 0.5;
constexpr double MaxPauseMs = 1000;

double elapsedMs(const QElapsedTimer &clock)
{
    return static_cast<double>(clock.nsecsElapsed()) / NsPerMs;
}

struct Replay
{
    const std::vector<LineItem> &items;
    VOXBus &bus;
    double speed = 1;
    double msPerByte = 0;
    double freeMs = 0;
    int sent = 0;
    bool isInterrupted = false;

    bool run()
    {
        const SignalWatcher signalWatcher;
        QElapsedTimer clock;
        clock.start();
        for (const LineItem &item : items) {
            const double dueMs =
                std::max(static_cast<double>(item.timeNs - items.front().timeNs) / NsPerMs / speed, freeMs);
            // Timers count whole milliseconds: less than half of one is not waited for.
            for (double left = dueMs - elapsedMs(clock); left > MinPauseMs && !isInterrupted;
                 left = dueMs - elapsedMs(clock))
                pause(signalWatcher, left);
            if (isInterrupted)
                return false;
            if (bus.writeLine(item.bytes) < 0) {
                printError(QStringLiteral("replay"),
                           QStringLiteral("cannot send: %1").arg(bus.errorString()));
                return false;
            }
            // A serial line takes its time, however fast the replay is wanted.
            freeMs = std::max(dueMs, elapsedMs(clock)) + item.bytes.size() * msPerByte;
            ++sent;
        }
        return true;
    }

private:
    void pause(const SignalWatcher &signalWatcher, double ms)
    {
        QEventLoop loop;
        QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &loop, [&] {
            isInterrupted = true;
            loop.quit();
        });
        QTimer::singleShot(qRound(std::min(ms, MaxPauseMs)), Qt::PreciseTimer, &loop, &QEventLoop::quit);
        loop.exec();
    }
};
}

int runReplay(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("replay"),
                     QStringLiteral("Sends what a capture holds, frames and garbage, with its timing."),
                     QStringLiteral("vox replay line.pcap --speed 2"),
                     CommandLine::BusOption | CommandLine::JsonOption);
    line.addArgument(QStringLiteral("capture"), QStringLiteral("As vox monitor --write makes it."),
                     QStringLiteral("FILE.pcap"));
    const QCommandLineOption speed(QStringLiteral("speed"),
                                   QStringLiteral("So many times as fast, 0.01 to 1000."),
                                   QStringLiteral("N"), QStringLiteral("1"));
    line.addOptions({speed});
    if (!line.parse(arguments, 1, 1))
        return line.exitCode();
    const double factor = line.parser().value(speed).toDouble();
    if (!(factor >= 0.01 && factor <= 1000))
        return line.fail(QStringLiteral("--speed is to be a number from 0.01 to 1000"));
    std::vector<LineItem> items;
    QString problem;
    if (!readPcap(line.words().constFirst(), &items, &problem))
        return line.fail(problem);
    const std::unique_ptr<VOXBus> bus = line.openBus();
    if (!bus)
        return line.exitCode();
    VOXBusUrl url;
    VOXBusUrl::read(line.busUrl(), &url, &problem);
    const double msPerByte = url.kind == VOXBusUrl::Serial ? BitsPerByte * MsPerSecond / url.baudRate : 0;
    Replay replay{items, *bus, factor, msPerByte};
    const bool isWhole = replay.run();
    if (line.isJson())
        printJson(
            {{QStringLiteral("sentRecords"), replay.sent}, {QStringLiteral("records"), int(items.size())}});
    else
        printLine(
            QStringLiteral("%1 of %2 sent").arg(replay.sent).arg(counted(qint64(items.size()), "record")));
    return isWhole ? Success : Failure;
}
