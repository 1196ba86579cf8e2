#include "vox/sim/recordcommand.h"

#include "messages/vox.h"
#include "simulation/voxrecorder.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/pcapfile.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <algorithm>

namespace {
const QString Name = QStringLiteral("record");

/// Opens @p file for writing. False if that cannot be done; then an error is printed.
bool open(QSaveFile *file)
{
    if (file->open(QIODevice::WriteOnly))
        return true;
    printError(Name, QStringLiteral("cannot write %1: %2").arg(file->fileName(), file->errorString()));
    return false;
}

/// The questions take minutes: it is better to know before.
bool canWrite(const QString &fileName)
{
    QSaveFile file(fileName);
    const bool isOpen = open(&file);
    file.cancelWriting();
    return isOpen;
}

bool write(const QString &fileName, const QJsonObject &network)
{
    QSaveFile file(fileName);
    if (!open(&file))
        return false;
    const QByteArray text = QJsonDocument(network).toJson();
    // commit() takes no notice of what it cannot flush itself.
    if (file.write(text) == text.size() && file.flush() && file.commit())
        return true;
    printError(Name, QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
    return false;
}

QString shortList(const QStringList &names)
{
    constexpr int Most = 6;
    const QString some = names.mid(0, Most).join(QStringLiteral(", "));
    return names.size() <= Most ? some : QStringLiteral("%1 and %2 more").arg(some).arg(names.size() - Most);
}

QString timeText(qint64 ms)
{
    constexpr int MsPerSecond = 1000;
    constexpr int SecondsPerMinute = 60;
    const qint64 seconds = (ms + MsPerSecond - 1) / MsPerSecond;
    return QStringLiteral("%1:%2")
        .arg(seconds / SecondsPerMinute)
        .arg(seconds % SecondsPerMinute, 2, 10, QLatin1Char('0'));
}

/// A line for a terminal: how far it is, and how long the rest takes.
QString progressOf(const VOXRecorder &recorder)
{
    constexpr int Percent = 100;
    constexpr int PercentPerMark = 5;
    constexpr int BarWidth = 20;
    if (recorder.questionCount() == 0)
        return QString();
    const int percent = recorder.askedCount() * Percent / recorder.questionCount();
    const qint64 left = recorder.remainingTime();
    const QString bar =
        QString(percent / PercentPerMark, QLatin1Char('#')).leftJustified(BarWidth, QLatin1Char('.'));
    return QStringLiteral("[%1] %2 %  %3 of %4 questions%5")
        .arg(bar)
        .arg(percent, 3)
        .arg(recorder.askedCount())
        .arg(recorder.questionCount())
        .arg(left < 0 ? QString() : QStringLiteral("  %1 left").arg(timeText(left)));
}

QJsonObject summaryOf(const VOXRecorder &recorder, VOX::Addr addr)
{
    return {{QStringLiteral("address"), VOX::toString(addr)},
            {QStringLiteral("refused"), int(recorder.refused(addr).size())},
            {QStringLiteral("unanswered"), QJsonArray::fromStringList(recorder.unanswered(addr))},
            {QStringLiteral("silent"), recorder.silentNodes().contains(addr)}};
}

/// Asks until all is known, or a signal comes.
void record(VOXRecorder *recorder, VOXBus &bus, bool isJson)
{
    constexpr int ShowMs = 100;
    const SignalWatcher signalWatcher;
    QEventLoop loop;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, recorder, &VOXRecorder::stop);
    QObject::connect(recorder, &VOXRecorder::finished, &loop, &QEventLoop::quit);
    if (isJson) {
        QObject::connect(recorder, &VOXRecorder::nodeFinished, &loop,
                         [recorder](VOX::Addr addr) { printJson(summaryOf(*recorder, addr)); });
    } else {
        QObject::connect(recorder, &VOXRecorder::progressed, &loop,
                         [recorder, shown = QElapsedTimer()]() mutable {
                             if (shown.isValid() && shown.elapsed() < ShowMs)
                                 return;
                             shown.start();
                             printProgress(progressOf(*recorder));
                         });
    }
    recorder->start(bus);
    loop.exec();
    if (!isJson)
        printProgress(QString());
}

/// Takes the frames of a capture. False if it cannot be read; then an error is printed.
bool hearCapture(VOXRecorder *recorder, const QString &fileName)
{
    constexpr double NsPerMs = 1e6;
    std::vector<LineItem> items;
    QString problem;
    const bool isRead = readPcap(fileName, &items, &problem);
    if (!isRead)
        printError(Name, problem);
    for (const LineItem &item : items) {
        if (item.isTaken())
            recorder->hear(item.frame, static_cast<double>(item.timeNs - items.front().timeNs) / NsPerMs);
    }
    return isRead;
}

/// Tells what a network file cannot hold, or what was not learnt.
void printGaps(const VOXRecorder &recorder, bool showsUnknown)
{
    const auto tell = [](VOX::Addr addr, const QString &what) {
        printError(Name, QStringLiteral("%1 %2").arg(VOX::toString(addr), what));
    };
    const QVector<VOX::Addr> silent = recorder.silentNodes();
    for (const VOX::Addr addr : silent)
        tell(addr, QStringLiteral("has not answered"));
    const QVector<VOX::Addr> gone = recorder.goneNodes();
    for (const VOX::Addr addr : gone)
        tell(addr, QStringLiteral("has stopped to answer: what it was not asked is not known"));
    const QVector<VOX::Addr> doubled = recorder.doubledNodes();
    for (const VOX::Addr addr : doubled)
        tell(addr, QStringLiteral("has answered more than once: several nodes may have this address"));
    const QVector<VOX::Addr> nodes = recorder.nodes();
    for (const VOX::Addr addr : nodes) {
        const QStringList unanswered = recorder.unanswered(addr);
        const QStringList unknown = recorder.unknown(addr);
        if (!unanswered.isEmpty())
            tell(addr, QStringLiteral("has not answered %1").arg(shortList(unanswered)));
        if (recorder.isMoving(addr))
            tell(addr, QStringLiteral("was moving: it is recorded at rest where it was then"));
        if (showsUnknown && !unknown.isEmpty())
            tell(addr, QStringLiteral("was not asked %1").arg(shortList(unknown)));
    }
}

int finish(const VOXRecorder &recorder, const QString &fileName, bool isJson)
{
    const auto count = static_cast<int>(recorder.nodes().size());
    if (count == 0) {
        printError(Name,
                   recorder.isPartial()
                       ? QStringLiteral("ended before a node has answered, nothing is written")
                       : QStringLiteral("nobody has answered, nothing is written"));
        return Failure;
    }
    if (!write(fileName, recorder.network()))
        return Failure;
    if (recorder.isPartial())
        printError(Name, QStringLiteral("ended early: %1 holds what is known so far").arg(fileName));
    if (isJson)
        printJson({{QStringLiteral("file"), fileName},
                   {QStringLiteral("nodes"), count},
                   {QStringLiteral("partial"), recorder.isPartial()}});
    else
        printLine(QStringLiteral("%1 in %2").arg(counted(count, "node"), fileName));
    return recorder.isPartial() ? Failure : Success;
}
}

int runRecord(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("record"),
        QStringLiteral("Asks all nodes of a bus what they can tell, and writes a network file: 'vox sim "
                       "--config' then answers as they did. Only asks, and changes nothing. With --from, "
                       "learns from a capture what it holds. An interruption ends it, and what is known by "
                       "then is written. The file names no bus."),
        QStringLiteral("vox record floor.json"), CommandLine::BusOption | CommandLine::JsonOption);
    line.addArgument(QStringLiteral("file"), QStringLiteral("The network file; an old one is replaced."),
                     QStringLiteral("FILE"));
    const QCommandLineOption quick(
        QStringLiteral("quick"),
        QStringLiteral("Ask six questions each: version, label, limits, position, status and speeds."));
    const QCommandLineOption node(
        QStringLiteral("node"),
        QStringLiteral(
            "Ask this node, and no other that is not named so. May be repeated. Motors of the older "
            "generation have to be named."),
        QStringLiteral("ADDRESS"));
    const QCommandLineOption from(QStringLiteral("from"),
                                  QStringLiteral("A capture, as vox monitor --write makes it."),
                                  QStringLiteral("FILE.pcap"));
    line.addOptions({quick, node, from});
    line.allowRepeated({QStringLiteral("node")});
    if (!line.parse(arguments, 1, 1))
        return line.exitCode();
    const QCommandLineParser &parser = line.parser();
    const QString fileName = line.words().constFirst();

    VOXRecorder recorder;
    recorder.setDepth(parser.isSet(quick) ? VOXRecorder::Essentials : VOXRecorder::Everything);
    QVector<VOX::Addr> addresses;
    const QStringList names = parser.values(node);
    for (const QString &name : names) {
        QString problem;
        VOX::Addr addr = 0;
        if (!VOX::readNodeAddr(name, &addr, &problem))
            return line.fail(problem);
        addresses += addr;
    }
    recorder.setAddresses(addresses);

    if (!parser.isSet(from)) {
        const std::unique_ptr<VOXBus> bus = line.openBus();
        if (!bus)
            return line.exitCode();
        if (!canWrite(fileName))
            return WrongUse;
        record(&recorder, *bus, line.isJson());
        printGaps(recorder, false);
        const int result = finish(recorder, fileName, line.isJson());
        return recorder.silentNodes().isEmpty() && recorder.goneNodes().isEmpty() ? result : int{Failure};
    }
    for (const char *option : {"bus", "quick", "node"}) {
        if (parser.isSet(QLatin1String(option)))
            return line.fail(QStringLiteral("--from and --%1 do not go together").arg(QLatin1String(option)));
    }
    // Files that are not there are equal.
    if (QFileInfo::exists(fileName) && QFileInfo(fileName) == QFileInfo(parser.value(from)))
        return line.fail(QStringLiteral("the capture and the network file are to be two files"));
    if (!canWrite(fileName))
        return WrongUse;
    const bool isRead = hearCapture(&recorder, parser.value(from));
    if (!isRead && recorder.nodes().isEmpty())
        return WrongUse;
    printGaps(recorder, true);
    const int result = finish(recorder, fileName, line.isJson());
    return isRead ? result : int{Failure};
}
