#include "vox/line/monitorcommand.h"

#include "messages/hrmv2.h"
#include "messages/vox.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/lineerrors.h"
#include "vox/line/linehints.h"
#include "vox/line/linelabels.h"
#include "vox/line/linereport.h"
#include "vox/line/linetap.h"
#include "vox/line/pcapfile.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"
#include "vox/words.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSet>
#include <QTimer>

#include <utility>

namespace {
const QString Red = QStringLiteral("\x1b[31m");
const QString Yellow = QStringLiteral("\x1b[33m");
const QString Plain = QStringLiteral("\x1b[0m");
constexpr int ClockMs = 500;

/// Decides which items are shown, and counted. Without any option, all are.
struct Filter
{
    QSet<unsigned int> addrs;
    QSet<int> commands;
    bool onlyErrors = false;

    bool isNarrow() const { return !addrs.isEmpty() || !commands.isEmpty(); }

    bool admits(const LineItem &item) const { return concerns(item, item); }
    bool admits(const LineError &error) const { return concerns(error.item, error.request); }

    /// Whether an item counts that is, or may be, an answer to the last one of the requests in @p notes.
    bool counts(const LineItem &item, const LineNotes &notes) const
    {
        if (item.isFrame() && item.frame.addrType() == VOX::BCAST)
            return isOfCommand(item);
        LineItem request = item;
        for (const LineNote &note : notes) {
            if (note.kind == LineNote::Answered || note.kind == LineNote::Damaged)
                request = note.request;
        }
        return concerns(item, request);
    }

private:
    bool concerns(const LineItem &item, const LineItem &request) const
    {
        return (isOfNode(item) || isOfNode(request)) && (isOfCommand(item) || isOfCommand(request));
    }
    bool isOfNode(const LineItem &item) const
    {
        return addrs.isEmpty()
            || (item.isFrame()
                && (addrs.contains(item.frame.srcAddr(false)) || addrs.contains(item.frame.destAddr(false))));
    }
    bool isOfCommand(const LineItem &item) const
    {
        return commands.isEmpty() || (item.isFrame() && commands.contains(item.frame.cmd()));
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
    /// Of all that comes, and of what the filter lets through.
    LineStatistics statistics;
    LineStatistics narrowed;
    LineLabels labels;
    PcapWriter capture;
    bool writesCapture = false;
    /// The capture has taken standard output.
    bool isOutputTaken = false;
    bool hasFailed = false;
    bool isLeftOutTold = false;
    bool isJson = false;

    void take(const LineItem &item)
    {
        const LineNotes notes = statistics.add(item);
        labels.hear(item);
        if (filter.isNarrow() && filter.counts(item, notes))
            narrowed.add(item);
        if (writesCapture && !capture.write(item)) {
            if (!capture.hasReaderLeft())
                printError(QStringLiteral("monitor"),
                           QStringLiteral("the capture cannot be written any more"));
            writesCapture = false;
            hasFailed = true;
            QCoreApplication::exit(Failure);
        }
        if (capture.leftOut() > 0 && !std::exchange(isLeftOutTold, true))
            tellLeftOut();
        if (filter.onlyErrors)
            show(errorsOf(item, notes));
        else if (filter.admits(item))
            show(item, notes);
        // Nobody can see the output any more.
        if (hasOutputFailed())
            QCoreApplication::exit(Failure);
    }

    void setTime(qint64 timeNs)
    {
        narrowed.setTime(timeNs);
        showLater(statistics.setTime(timeNs));
    }

    /// Nothing comes any more.
    void close()
    {
        narrowed.close();
        showLater(statistics.close());
    }

    template <typename Change>
    void change(Change change)
    {
        change(statistics);
        change(narrowed);
    }

    /// Says how much of the capture nobody has read.
    void tellLeftOut() const
    {
        if (capture.leftOut() > 0)
            printError(QStringLiteral("monitor"),
                       QStringLiteral("nobody has read the capture: %1 left out")
                           .arg(counted(capture.leftOut(), "record")));
    }

    void report() const
    {
        const LineStatistics &counted = filter.isNarrow() ? narrowed : statistics;
        const QStringList hints = hintsOf(statistics, filter.addrs);
        const QJsonObject object{{QStringLiteral("stats"), reportJson(counted, hints)}};
        const QStringList lines = isJson
            ? QStringList{QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact))}
            : reportText(counted, hints);
        for (const QString &line : lines)
            isOutputTaken ? printRaw(line) : printLine(line);
    }

private:
    void showLater(const LineNotes &notes) const
    {
        if (filter.onlyErrors)
            show(errorsOf(notes));
    }

    void show(const QVector<LineError> &errors) const
    {
        for (const LineError &error : errors) {
            if (filter.admits(error))
                put(error, error.toString(&labels), error.toJson(&labels));
        }
    }

    void show(const LineItem &item, const LineNotes &notes) const
    {
        const auto answered = std::find_if(
            notes.begin(), notes.end(), [](const LineNote &note) { return note.kind == LineNote::Answered; });
        const qint64 answerNs = answered == notes.end() ? -1 : answered->answerNs;
        put(item, item.toString(&labels, answerNs), item.toJson(&labels, answerNs));
    }

    template <typename Shown>
    void put(const Shown &shown, const QString &text, const QJsonObject &object) const
    {
        if (isOutputTaken)
            return;
        if (isJson)
            printJson(object);
        else if (isTerminal())
            printLine(colourOf(shown) + wrapped(text, terminalColumns(), LineItem::TimeWidth) + Plain);
        else
            printLine(text);
    }

    static QString colourOf(const LineItem &item)
    {
        return !item.isTaken() ? Red : item.isNack() ? Yellow : Plain;
    }
    static QString colourOf(const LineError &error)
    {
        const bool isRefused = error.kind == LineError::Refused || error.kind == LineError::Refusal;
        return isRefused ? Yellow : Red;
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
        return monitor->capture.openOutput(input.isEmpty() ? PcapWriter::Hurries : PcapWriter::Waits,
                                           problem);
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
    monitor->change([&](LineStatistics &statistics) { statistics.setViewOf(items); });
    for (const LineItem &item : items)
        monitor->take(item);
    monitor->close();
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
    // Whoever listens waits for nobody who reads.
    queueOutput();
    const auto sumUp = [&] {
        monitor->setTime(LineTap::nowNs());
        if (url.kind != VOXBusUrl::Serial || monitor->hasFailed)
            return;
        const auto errors = tap->portErrors();
        monitor->change([&](LineStatistics &statistics) { statistics.setPortErrors(errors); });
    };
    const auto report = [&] {
        sumUp();
        monitor->report();
    };
    monitor->change([&](LineStatistics &statistics) {
        statistics.setRate(url.baudRate);
        if (url.kind != VOXBusUrl::Serial)
            statistics.setView(url.kind == VOXBusUrl::Multicast ? LineStatistics::Network
                                                                : LineStatistics::OneWay);
    });
    monitor->setTime(LineTap::nowNs());
    QTimer clock;
    QObject::connect(&clock, &QTimer::timeout, tap.get(), [&] { monitor->setTime(LineTap::nowNs()); });
    // Only who looks for errors is told of a request that nobody answers.
    if (monitor->filter.onlyErrors)
        clock.start(ClockMs);
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
    monitor->close();
    monitor->tellLeftOut();
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
    const QCommandLineOption address(
        QStringLiteral("address"),
        QStringLiteral("Show and count only frames from or to this address. May be repeated."),
        QStringLiteral("ADDRESS"));
    const QCommandLineOption command(
        QStringLiteral("command"),
        QStringLiteral("Show only this command, and count it with its answers. May be repeated."),
        QStringLiteral("NAME"));
    const QCommandLineOption errors(QStringLiteral("errors"),
                                    QStringLiteral("Only what is damaged, what is refused, and "
                                                   "requests without an answer of their own in time."));
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
    return finishOutput(result);
}
