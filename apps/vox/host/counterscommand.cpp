#include "vox/host/counterscommand.h"

#include "network/voxscheduler.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/counters.h"
#include "vox/host/nodechoice.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"

#include <QEventLoop>
#include <QTimer>

#include <unistd.h>

namespace {
const QString Name = QStringLiteral("counters");
constexpr int MaxWaitSeconds = 7 * 24 * 3600;
constexpr int MsPerSecond = 1000;

using Reading = QMap<VOX::Addr, std::optional<Counters::Values>>;

Reading readAll(const NodeChoice &choice, VOXBus *lane, bool *isWhole)
{
    Reading reading;
    for (const VOX::Addr addr : choice.addrs()) {
        printProgress(QStringLiteral("reading %1 of %2").arg(reading.size() + 1).arg(choice.addrs().size()));
        QString problem;
        reading.insert(addr, Counters::read(addr, lane, &problem));
        if (reading.value(addr))
            continue;
        *isWhole = false;
        printProgress(QString());
        printError(Name, QStringLiteral("%1: %2").arg(VOX::toString(addr), problem));
    }
    printProgress(QString());
    return reading;
}

void printReading(const NodeChoice &choice, const Reading &reading, const Reading &before, bool isJson)
{
    CountersTable table;
    for (const VOX::Addr addr : choice.addrs()) {
        const std::optional<Counters::Values> old = before.value(addr);
        const std::optional<Counters::Values> now = reading.value(addr);
        table.addRow(addr, printable(choice.labelOf(addr)), old, now);
        if (!isJson)
            continue;
        QJsonObject object{{QStringLiteral("reading"), before.isEmpty() ? 1 : 2},
                           {QStringLiteral("address"), VOX::toString(addr)},
                           {QStringLiteral("counters"),
                            now ? QJsonValue(Counters::toJson(*now)) : QJsonValue(QJsonValue::Null)}};
        if (old && now)
            object.insert(QStringLiteral("changes"), Counters::toJson(Counters::changes(*old, *now)));
        printJson(object);
    }
    if (isJson)
        return;
    const QVector<CountersTable::Line> lines = table.toLines();
    for (const CountersTable::Line &line : lines)
        printLine(line.isMarked ? inRed(line.text) : line.text);
}

/// Waits for @p seconds; if that is less than 0, for a line or the end of the input. A signal ends it, too.
void wait(int seconds)
{
    const SignalWatcher signalWatcher;
    QEventLoop loop;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &loop, &QEventLoop::quit);
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    input.setEnabled(seconds < 0);
    QObject::connect(&input, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    if (seconds >= 0)
        QTimer::singleShot(seconds * MsPerSecond, &loop, &QEventLoop::quit);
    else
        printError(Name, QStringLiteral("Enter or Ctrl-C reads again, and shows what was counted meanwhile"));
    loop.exec();
}
}

int runCounters(const QStringList &arguments)
{
    CommandLine line(
        Name,
        QStringLiteral(
            "Prints the error counters that nodes keep, waits, and prints them again with what "
            "was counted meanwhile, as in '15 +3'. Counters that are 0 in all nodes are named below "
            "the table. '-' is one that the node does not have. Ends with 1 if a node has not answered."),
        QStringLiteral("vox counters 000101 000401 --wait 0"),
        CommandLine::BusOption | CommandLine::JsonOption);
    const QCommandLineOption waiting(
        QStringLiteral("wait"),
        QStringLiteral("Read again after so many seconds; 0 reads once. Without it, Enter or Ctrl-C "
                       "reads again."),
        QStringLiteral("SECONDS"));
    line.addOptions({waiting});
    NodeChoice choice;
    NodeChoice::addTo(line);
    if (!line.parse(arguments))
        return line.exitCode();
    int seconds = -1;
    if (!line.readNumber(waiting, 0, MaxWaitSeconds, &seconds))
        return line.exitCode();
    const std::unique_ptr<VOXBus> bus = choice.openBus(line);
    if (!bus)
        return choice.exitCode();

    VOXScheduler scheduler(bus.get());
    bool isWhole = true;
    const Reading first = readAll(choice, scheduler.lane(VOXScheduler::User), &isWhole);
    printReading(choice, first, {}, line.isJson());
    if (seconds != 0) {
        wait(seconds);
        const Reading second = readAll(choice, scheduler.lane(VOXScheduler::User), &isWhole);
        printReading(choice, second, first, line.isJson());
    }
    return isWhole ? Success : Failure;
}
