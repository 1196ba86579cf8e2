#include "vox/line/probecommand.h"

#include "messages/kvr.h"
#include "messages/voxcall.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/lineitem.h"
#include "vox/line/portprobe.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"

#include <QJsonArray>

#include <algorithm>

namespace {
const QString Name = QStringLiteral("probe");
constexpr int MsPerSecond = 1000;

QByteArray lineFormOf(VOXCall call)
{
    call.prepare();
    return inverted(call.data());
}

/// Asks all nodes for their addresses, and changes nothing.
QByteArray questionToAll()
{
    return lineFormOf(
        VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST, VOXCall::DefaultSharedTimeout));
}

/// Asks a node of either generation for its label, or for a refusal.
QByteArray questionTo(VOX::Addr addr)
{
    return lineFormOf(VOXCall(KVR::findCmd(KVR::GET_NODE_LABEL), VOX::HostAddr, addr, 0));
}

QString urlOf(const QString &path, const PortProbe::Setting &setting)
{
    return QStringLiteral("serial://%1?baud=%2&parity=%3")
        .arg(path)
        .arg(setting.rate)
        .arg(VOXBusUrl::parityName(setting.parity));
}

QString textOf(const PortProbe::Setting &setting)
{
    return QStringLiteral("%1 bit/s, %2 parity")
        .arg(setting.rate)
        .arg(setting.parity == QSerialPort::NoParity ? QStringLiteral("no")
                                                     : VOXBusUrl::parityName(setting.parity));
}

void printRow(const QString &rate, const QString &parity, const QString &frames, const QString &failed,
              const QString &bytes, const QString &errors)
{
    printLine(QStringLiteral("%1  %2  %3  %4  %5  %6")
                  .arg(rate, 5)
                  .arg(parity, -6)
                  .arg(frames, 12)
                  .arg(failed, 13)
                  .arg(bytes, 6)
                  .arg(errors));
}

void printHead()
{
    printRow(QStringLiteral("bit/s"), QStringLiteral("parity"), QStringLiteral("valid frames"),
             QStringLiteral("failed checks"), QStringLiteral("bytes"),
             QStringLiteral("framing, parity, breaks"));
}

void print(const PortProbe::Setting &setting)
{
    const std::optional<PortErrors> &errors = setting.errors;
    printRow(QString::number(setting.rate), VOXBusUrl::parityName(setting.parity),
             setting.isRefused ? QStringLiteral("port refuses") : QString::number(setting.frames),
             QString::number(setting.failed), QString::number(setting.bytes),
             errors
                 ? QStringLiteral("%1, %2, %3").arg(errors->framing).arg(errors->parity).arg(errors->breaks)
                 : QStringLiteral("not counted"));
}

QJsonObject toJson(const PortProbe::Setting &setting)
{
    return {{QStringLiteral("baud"), setting.rate},
            {QStringLiteral("parity"), VOXBusUrl::parityName(setting.parity)},
            {QStringLiteral("refused"), setting.isRefused},
            {QStringLiteral("byteCount"), setting.bytes},
            {QStringLiteral("frames"), setting.frames},
            {QStringLiteral("failedChecks"), setting.failed},
            {QStringLiteral("port"), setting.errors ? setting.errors->toJson() : QJsonValue()}};
}

/// The setting with the most valid frames; null if none has any.
const PortProbe::Setting *bestOf(const QVector<PortProbe::Setting> &tried)
{
    const auto best = std::max_element(
        tried.begin(), tried.end(),
        [](const PortProbe::Setting &a, const PortProbe::Setting &b) { return a.frames < b.frames; });
    return best != tried.end() && best->frames > 0 ? &*best : nullptr;
}

QString failureOf(const QVector<PortProbe::Setting> &tried)
{
    if (tried.constLast().rests.isLow())
        return QStringLiteral("no frame is valid, and the line rests low: its two wires are swapped");
    const bool hasHeard =
        std::any_of(tried.begin(), tried.end(), [](const PortProbe::Setting &one) { return one.bytes > 0; });
    return hasHeard ? QStringLiteral(
               "bytes came, but no setting made valid frames of them: noise, swapped wires, something "
               "else talks here, or many nodes answered --ask at once, where --node asks one")
                    : QStringLiteral(
                        "nothing was heard: nobody talks, a wire is broken, or the two are swapped; --ask or "
                        "--node lets nodes talk");
}

/// Tries the settings until one is right, none can be, the port is gone, or a signal comes.
QVector<PortProbe::Setting> tryAll(PortProbe *probe, int ms, bool isJson, QString *problem)
{
    const SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &signalWatcher, [&] {
        *problem = QStringLiteral("interrupted");
        probe->stop();
    });
    QVector<PortProbe::Setting> tried;
    const QVector<PortProbe::Setting> all = PortProbe::settings();
    for (PortProbe::Setting setting : all) {
        const int left = (all.size() - tried.size()) * ms / MsPerSecond;
        probe->onTick = [&] {
            printProgress(QStringLiteral("%1: %2, %3 so far; %4 s left at most")
                              .arg(textOf(setting), counted(setting.bytes, "byte"),
                                   counted(setting.frames, "valid frame"))
                              .arg(left));
        };
        probe->listen(ms, &setting, problem);
        printProgress(QString());
        tried += setting;
        if (!isJson)
            print(setting);
        const bool isClear =
            setting.frames >= PortProbe::EnoughFrames || (setting.frames == 0 && setting.rests.isLow());
        if (!problem->isEmpty() || isClear)
            break;
    }
    return tried;
}

int report(const QString &path, const QVector<PortProbe::Setting> &tried, const QString &problem, bool isJson)
{
    const PortProbe::Setting *best = bestOf(tried);
    if (isJson) {
        QJsonArray settings;
        for (const PortProbe::Setting &setting : tried)
            settings += toJson(setting);
        printJson({{QStringLiteral("bus"), best ? QJsonValue(urlOf(path, *best)) : QJsonValue()},
                   {QStringLiteral("tried"), settings}});
    }
    if (!best || !problem.isEmpty()) {
        printError(Name, problem.isEmpty() ? failureOf(tried) : problem);
        return Failure;
    }
    if (!isJson)
        printLine(QStringLiteral("\nThe line has %1:\n\n    export VOX_BUS='%2'")
                      .arg(textOf(*best), urlOf(path, *best)));
    return Success;
}
}

int runProbe(const QStringList &arguments)
{
    CommandLine line(
        Name,
        QStringLiteral(
            "Finds out which bit rate and parity a serial line has: listens for some seconds with each, and "
            "tells with which valid frames come. Ends as soon as one is surely right. Somebody has to talk "
            "meanwhile; if there is no host, --ask or --node lets nodes talk. The last column has the errors "
            "of "
            "framing and parity, and the breaks, that the port's driver has counted."),
        QStringLiteral("vox probe --bus serial:///dev/ttyUSB0"),
        CommandLine::BusOption | CommandLine::JsonOption);
    const QCommandLineOption seconds(
        QStringLiteral("seconds"),
        QStringLiteral("Listen so long with each setting, 0.1 to 60; 3 without it."), QStringLiteral("N"),
        QStringLiteral("3"));
    const QCommandLineOption ask(
        QStringLiteral("ask"),
        QStringLiteral("Also ask all nodes for their addresses once a second. Without it, nothing is sent."));
    const QCommandLineOption node(
        QStringLiteral("node"),
        QStringLiteral("Ask this node in place of all. Where there are many, their answers collide."),
        QStringLiteral("ADDRESS"));
    line.addOptions({seconds, ask, node});
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    double duration = 0;
    if (!line.readNumber(seconds, 0.1, 60.0, &duration))
        return line.exitCode();
    if (line.busUrl().isEmpty())
        return line.fail(CommandLine::NoBus);
    VOXBusUrl url;
    VOX::Addr addr = 0;
    QString problem;
    const bool asksOne = line.parser().isSet(node);
    if (asksOne && !VOX::readNodeAddr(line.parser().value(node), &addr, &problem))
        return line.fail(problem);
    if (!VOXBusUrl::read(line.busUrl(), &url, &problem))
        return line.fail(problem);
    if (url.kind != VOXBusUrl::Serial)
        return line.fail(
            QStringLiteral("%1 is no serial port, and has neither rate nor parity").arg(url.text));

    const bool asks = asksOne || line.parser().isSet(ask);
    PortProbe probe;
    if (!probe.open(url.path, asks ? QIODevice::ReadWrite : QIODevice::ReadOnly, &problem))
        return line.fail(problem);
    if (asks)
        probe.setQuestion(asksOne ? questionTo(addr) : questionToAll());
    if (!line.isJson())
        printHead();
    const QVector<PortProbe::Setting> tried =
        tryAll(&probe, qRound(duration * MsPerSecond), line.isJson(), &problem);
    return report(url.path, tried, problem, line.isJson());
}
