#include "vox/line/monitorcommand.h"

#include "messages/hrmv2.h"
#include "messages/vox.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/linestatistics.h"
#include "vox/line/linetap.h"
#include "vox/line/pcapfile.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"
#include "vox/words.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSet>

namespace {
const QString Red = QStringLiteral("\x1b[31m");
const QString Yellow = QStringLiteral("\x1b[33m");
const QString Plain = QStringLiteral("\x1b[0m");

/// Decides which items are shown. Without any option, all are.
struct Filter
{
    QSet<unsigned int> addrs;
    QSet<int> commands;
    bool onlyErrors = false;

    bool admits(const LineItem &item) const
    {
        if (onlyErrors && item.verdict == LineItem::Intact && !item.isNack())
            return false;
        if (!item.isFrame())
            return addrs.isEmpty() && commands.isEmpty();
        const bool isOfNode =
            addrs.contains(item.frame.srcAddr(false)) || addrs.contains(item.frame.destAddr(false));
        return (addrs.isEmpty() || isOfNode) && (commands.isEmpty() || commands.contains(item.frame.cmd()));
    }
};

bool readCommand(const QString &name, Filter *filter, QString *problem)
{
    bool isKnown = false;
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        const auto id = static_cast<unsigned char>(cmd);
        if (name.isEmpty() || (VOX::toString(id) != name && HRMv2::toString(id) != name))
            continue;
        isKnown = true;
        filter->commands.insert(cmd);
    }
    if (!isKnown) {
        const QString hint = didYouMean(commandNear(name));
        *problem = QStringLiteral("unknown command '%1'%2")
                       .arg(name, hint.isEmpty() ? QStringLiteral("; docs/commands.md lists them") : hint);
    }
    return isKnown;
}

bool readFilter(const QStringList &addrs, const QStringList &commands, Filter *filter, QString *problem)
{
    for (const QString &text : addrs) {
        unsigned int addr = 0;
        if (!VOX::readAddr(text, &addr)) {
            *problem = QStringLiteral("'%1' is no address of six hexadecimal digits").arg(text);
            return false;
        }
        filter->addrs.insert(addr);
    }
    for (const QString &name : commands) {
        if (!readCommand(name, filter, problem))
            return false;
    }
    return true;
}

/// Shows, counts and writes the items that come.
struct Monitor
{
    Filter filter;
    LineStatistics statistics;
    PcapWriter capture;
    bool writesCapture = false;
    /// The capture has taken standard output.
    bool isOutputTaken = false;
    bool hasFailed = false;
    bool isJson = false;

    void take(const LineItem &item)
    {
        statistics.add(item);
        if (writesCapture && !capture.write(item)) {
            if (!capture.hasReaderLeft())
                printError(QStringLiteral("monitor"),
                           QStringLiteral("the capture cannot be written any more"));
            writesCapture = false;
            hasFailed = true;
            QCoreApplication::exit(Failure);
        }
        if (!isOutputTaken && filter.admits(item))
            show(item);
        // Nobody can see the output any more.
        if (hasOutputFailed())
            QCoreApplication::exit(Failure);
    }

    void show(const LineItem &item) const
    {
        if (isJson) {
            printJson(item.toJson());
            return;
        }
        const QString &colour = !item.isTaken() ? Red : item.isNack() ? Yellow : Plain;
        printLine(isTerminal() ? colour + item.toString() + Plain : item.toString());
    }

    void report() const
    {
        const QJsonObject object{{QStringLiteral("stats"), statistics.toJson()}};
        const QStringList lines = isJson
            ? QStringList{QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact))}
            : statistics.toText();
        for (const QString &line : lines)
            isOutputTaken ? printRaw(line) : printLine(line);
    }
};

bool openCapture(const CommandLine &line, const QString &name, Monitor *monitor, QString *problem)
{
    monitor->writesCapture = !name.isEmpty();
    const QString input = line.words().value(0);
    if (monitor->writesCapture && !input.isEmpty() && QFileInfo(name) == QFileInfo(input)) {
        *problem = QStringLiteral("%1 is read already").arg(name);
        return false;
    }
    monitor->isOutputTaken = name == QLatin1String("-");
    if (monitor->isOutputTaken)
        return monitor->capture.openOutput(problem);
    return !monitor->writesCapture || monitor->capture.open(name, problem);
}

int readCapture(const CommandLine &line, const QString &output, Monitor *monitor)
{
    std::vector<LineItem> items;
    QString problem;
    QString ignored;
    const bool isWhole = readPcap(line.words().constFirst(), &items, &problem);
    if ((isWhole || !items.empty()) && !openCapture(line, output, monitor, &ignored))
        return line.fail(ignored);
    for (const LineItem &item : items)
        monitor->take(item);
    if (!isWhole)
        return line.fail(problem);
    return monitor->hasFailed ? Failure : Success;
}

int listen(CommandLine &line, const QString &output, Monitor *monitor)
{
    VOXBusUrl url;
    QString problem = QStringLiteral("--bus URL or the name of a capture is missing");
    std::unique_ptr<LineTap> tap;
    if (!line.busUrl().isEmpty() && VOXBusUrl::read(line.busUrl(), &url, &problem))
        tap = LineTap::open(
            url, [monitor](const LineItem &item) { monitor->take(item); }, &problem);
    if (!tap || !openCapture(line, output, monitor, &problem))
        return line.fail(problem);
    const auto sumUp = [&] {
        monitor->statistics.setTime(LineTap::nowNs());
        if (url.kind == VOXBusUrl::Serial && !monitor->hasFailed)
            monitor->statistics.setPortErrors(tap->portErrors());
    };
    const auto report = [&] {
        sumUp();
        monitor->report();
    };
    monitor->statistics.setTime(LineTap::nowNs());
    monitor->statistics.setRate(url.baudRate);
    if (url.kind != VOXBusUrl::Serial)
        monitor->statistics.leaveOutLoad();
    tap->onGone = [&](const QString &reason) {
        printError(QStringLiteral("monitor"), QStringLiteral("%1 has gone: %2").arg(url.text, reason));
        monitor->hasFailed = true;
        QCoreApplication::exit(Failure);
    };
    const SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, qApp, &QCoreApplication::quit);
    QObject::connect(&signalWatcher, &SignalWatcher::reportRequested, tap.get(), report);
    printError(QStringLiteral("monitor"),
               tap->limitation().isEmpty()
                   ? QStringLiteral("listening to %1").arg(url.text)
                   : QStringLiteral("listening to %1: %2").arg(url.text, tap->limitation()));
    QCoreApplication::exec();
    tap->flush();
    sumUp();
    return monitor->hasFailed ? Failure : Success;
}
}

int runMonitor(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("monitor"),
        QStringLiteral("Shows every frame of a bus, or of a capture, and never sends. Statistics are "
                       "printed at the end with --stats, and whenever SIGUSR1 comes."),
        QStringLiteral("vox monitor --bus mcast://239.0.0.1:4800 --stats"),
        CommandLine::BusOption | CommandLine::JsonOption);
    line.addArgument(QStringLiteral("capture"), QStringLiteral("A capture to show in place of a bus."),
                     QStringLiteral("[FILE.pcap]"));
    const QCommandLineOption address(QStringLiteral("address"),
                                     QStringLiteral("Only frames from or to this address. May be repeated."),
                                     QStringLiteral("ADDRESS"));
    const QCommandLineOption command(QStringLiteral("command"),
                                     QStringLiteral("Only this command. May be repeated."),
                                     QStringLiteral("NAME"));
    const QCommandLineOption errors(QStringLiteral("errors"),
                                    QStringLiteral("Only refusals, failed checks and garbage."));
    const QCommandLineOption stats(QStringLiteral("stats"), QStringLiteral("Print statistics at the end."));
    const QCommandLineOption write(
        QStringLiteral("write"),
        QStringLiteral(
            "Write all that comes into a capture. With '-' it goes to standard output, for another program "
            "('| wireshark -k -i -'), lines are not shown, and statistics go to standard error."),
        QStringLiteral("FILE.pcap"));
    line.addOptions({address, command, errors, stats, write});
    line.allowRepeated({QStringLiteral("address"), QStringLiteral("command")});
    if (!line.parse(arguments, 0, 1))
        return line.exitCode();

    if (!line.words().isEmpty() && line.parser().isSet(QStringLiteral("bus")))
        return line.fail(QStringLiteral("a bus is shown or a capture, not both"));
    Monitor monitor;
    monitor.isJson = line.isJson();
    monitor.filter.onlyErrors = line.parser().isSet(errors);
    QString problem;
    if (!readFilter(line.parser().values(address), line.parser().values(command), &monitor.filter, &problem))
        return line.fail(problem);
    const QString output = line.parser().value(write);
    const int result =
        line.words().isEmpty() ? listen(line, output, &monitor) : readCapture(line, output, &monitor);
    if (line.parser().isSet(stats) && result != WrongUse)
        monitor.report();
    return result;
}
