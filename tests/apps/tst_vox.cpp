#include "messages/vox.h"
#include "support/captures.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/udppair.h"
#include "vox/commands.h"
#include "vox/outputqueue.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <unistd.h>

/// The program as people run it.
class tst_Vox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void demoShowsAllItsSteps();
    void commandLines_data();
    void commandLines();
    void theExampleNetworkKeepsItsState();
    void scanFindsAllNodes();
    void aMoveIsFollowed();
    void outputThatCannotBeWritten();
    void aSimulationWaitsForNoReader();
    void aLineIsWatchedAndReplayed();
    void replayKeepsTime();
    void aSimulationObeysLines();
    void everyCommandHasHelp();
    void bashCompletes();
    void guidesWork_data();
    void guidesWork();
};

namespace {
const QString Program = VOX_PROGRAM;
const QString Floor = "--config \"" VOX_SOURCE_DIR "/examples/network/floor.json\"";

void start(QProcess &process, const QString &line, const QString &bus)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("VOX_BUS", bus);
    process.setProcessEnvironment(environment);
    process.start(Program, QProcess::splitCommand(line));
}

/// The exit code of a process that ends by itself or at a signal.
int exitCode(QProcess &process, int signal = 0)
{
    if (signal != 0 && process.processId() > 0)
        ::kill(static_cast<pid_t>(process.processId()), signal);
    const bool isDone = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    return isDone ? process.exitCode() : -1;
}

QString multicastUrl()
{
    return QString("mcast://239.255.71.15:%1").arg(freeUdpPorts().first);
}

/// What a process says: exit code, output and, behind a '!', what is printed as an error.
QByteArray result(QProcess &process)
{
    const QByteArray code = QByteArray::number(exitCode(process));
    const QByteArray error = process.readAllStandardError();
    return code + ' ' + process.readAllStandardOutput() + (error.isEmpty() ? error : "! " + error);
}

QByteArray run(const QString &line, const QString &bus = QString())
{
    QProcess process;
    start(process, line, bus);
    return result(process);
}

/// The same of a script, which ends with the code of what has failed in a pipeline.
QByteArray shell(const QString &script, const QString &bus)
{
    QProcess process;
    const QString prelude("set -o pipefail; export VOX_BUS='%1'; vox() { '%2' \"$@\"; }; %3");
    process.start("bash", {"-c", prelude.arg(bus, Program, script)});
    return result(process);
}

/// A simulation on ports that the system chose, or on another bus, ready to be called.
struct Simulation
{
    explicit Simulation(const QString &options, const QString &ownBus = QString())
    {
        const auto ports = freeUdpPorts();
        const auto url = [&](int port, int local) {
            const QString udp("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
            return ownBus.isEmpty() ? udp.arg(port).arg(local) : ownBus;
        };
        // A file's bus goes before that of the environment.
        start(process, QString("sim %1 --bus %2").arg(options, url(ports.second, ports.first)), QString());
        process.waitForReadyRead(10000);
        const QList<QByteArray> words = process.readAllStandardOutput().split(' ');
        QCOMPARE(words.value(0), QByteArray("ready"));
        bus = ownBus == "pty:" ? words.value(1).chopped(1) : url(ports.first, ports.second);
    }
    ~Simulation() { exitCode(process, SIGKILL); }
    QByteArray run(const QString &line) const { return ::run(line, bus); }

    QString bus;
    QProcess process;
};
}

void tst_Vox::demoShowsAllItsSteps()
{
    const QByteArray said = run("demo");
    QVERIFY2(said.startsWith("0 "), said);
    QVERIFY2(!said.contains("! "), said);
    for (const char *shown :
         {"100 %  2000 pulses  STOPPED", "NACK IP_NOT_SET", "No node at 000099", "All as expected: 3 nodes"})
        QVERIFY2(said.contains(shown), shown);
}

void tst_Vox::commandLines_data()
{
    const auto row = columns<QByteArray>("said");
    // Wrong use: a part of the one line that is said of it.
    row("", "one of demo, sim, test, record, scan, call, monitor, replay, move");
    row("fly", "unknown command 'fly'");
    row("demo now", "unexpected 'now'");
    row("status", "vox status: an argument is missing");
    row("sim", "no node");
    row("sim --fast", "Unknown option 'fast'");
    row("sim --node NODE@000001 --bus=", "--bus URL is missing, and VOX_BUS is not set");
    row("sim --node X9@000001", "unknown model 'X9'; one of NODE, TB20, QM75, MARLO, TB60LV, HRMV2");
    row("sim --node NODE@1", "'1' is no address");
    row("sim --node NODE", "'NODE' is no MODEL@ADDRESS");
    row("sim --node NODE@00000a --node TB60LV@00000A", "two nodes with address 00000A");
    row("sim --node NODE@000001 --speed 0", "--speed is to be a number");
    row("sim --node NODE@000001 --state /no/such/state", "cannot write /no/such/state");
    row("sim --config /no/such.json", "cannot read /no/such.json");
    row("sim --config /bin/sh", "in line 1");
    row("sim --node NODE@000001 --speed 1 --speed 2", "--speed is given more than once");
    row("monitor --bus mcast://239.0.0.1:4810 line.pcap", "a bus is shown or a capture, not both");
    row("scan --range 000300", "--range: '000300' is no range; 000300-00031F is one");
    row("scan --range 000300-0310", "--range: '0310' is no address of six hexadecimal digits");
    row("scan --range 000302-000301", "--range: the range ends before it begins: 000301 is below 000302");
    row("scan --range 000001-010001", "--range: a range has at most 65536 addresses");
    row("scan --bus tcp://1.2.3.4:5", "'tcp://1.2.3.4:5' is no bus");
    row("scan --bus udp://127.0.0.1", "'udp://127.0.0.1' is no bus; udp://127.0.0.1:4800?local=4801 is one");
    row("scan --bus udp://127.0.0.1:4810?local=x", "'local=x'");
    row("scan --bus udp://127.0.0.1:4810?bind=192.0.2.1", "cannot open"); // of another machine
    row("scan --bus mcast://127.0.0.1:4810", "127.0.0.1 is no multicast group");
    row("scan --bus mcast://239.0.0.1:4810?local=1", "'local=1'");
    row("scan --bus serial:///dev/no-such-port", "cannot open /dev/no-such-port");
    row("replay /bin/sh", "is no capture");
    row("monitor --write /no/such/capture", "cannot write /no/such/capture");
    row("monitor --command ACK --command FLY", "unknown command 'FLY'");
    row("call 000001", "operations are getNodeAddr");
    row("call 000001 fly", "unknown operation 'fly'; one of getNodeAddr");
    row("call 000001 ctrlMoveTo 0", "ctrlMoveTo FUN POSITION TILT or ctrlMoveTo FUN POSITION");
    row("call 000001 ctrlMoveTo HOME 0", "fun: 'HOME' is not a number from 0 to 255 or one of MOVETO_DOWN");
    row("call 000001 setNodeLabel 日本", "str: '日本' is not text of up to 16 characters of Latin-1");
    row("call 000001 sendDataTest2 eleven-long", "data: 'eleven-long' is not text of up to 10 characters");
    row("call 000001 ctrlStop", "all arguments of ctrlStop are left out: --defaults lets it act so");
    row("call 000001 getGroupAddr 256", "idx: '256' is not a number from 0 to 255");
    row("move 000101 left", "vox move: 'left' is neither up nor down");
    row("move 000101 up --time 2600", "vox move: --time is to be a number from 10 to 2550");
    row("stop group:1", "vox stop: 'group:1' is no group; group:00A001 is one");
    row("goto 000101 101%", "vox goto: '101%' is no position: up, down, 0% to 100%, ip:1 and pulses are");
    row("goto all up --wait", "vox goto: --wait is for one node at a time");
    row("lock all", "vox lock: 'lock' goes to one node at a time");
    row("label 000101 seventeen-letters", "vox label: a label has up to 16 characters of Latin-1");

    // What reaches a node: the exit code, and how the answer begins.
    row("call 000101 setMotorLimits LIMIT_PULSES LIMIT_DOWN 0xbb8", "0 ACK\n");
    row("call 000101 getMotorIP 010", "0 POST_MOTOR_IP\n  index: 10\n");
    row("call 000101 ctrlStop --defaults", "0 ACK\n");
    row("call 000401 setGroupAddr 3 abcd", "0 ACK\n");
    row("call 000401 sendDataTest2 hex:00ff", "0 POST_DATA_TEST2\n  data: 00 FF 00 00 00 00 00 00 00 00\n");
    row("call 000401 setNetworkConfig 255 0 255 0 255 1", "0 sent; no answer was asked for\n");
    row("info 000999", "1 ! vox info: No reply within the time-out\n");
    row("call 000999 getNodeLabel --json", "1 {'address':'000999','error':'No reply within the time-out'}\n");
    row("call 000101 getMotorLimits --json",
        "0 "
        "{'address':'000101','command':'POST_MOTOR_LIMITS','fields':{'downLimit':12000,'upLimit':0},'type':'"
        "NODETYPE_TB60LV'}\n");
    row("call 000103 ctrlMoveOf 2 100 --json",
        "1 {'address':'000103','command':'NACK','fields':{'status':'NODE_IS_LOCKED'}");
    row("wink all", "0 000401 NACK BADMSG\nsent\n");
    row("goto 000101 ip:7", "1 NACK IP_NOT_SET\n");
    row("call 000301 hrmv2:getMotorIP 2", "0 POST_MOTOR_IP\n  index: 2\n  position: 2000 pulses\n");
    row("call 000301 hrmv2:getMotorInfo", "0 POST_MOTOR_INFO\n  data: 0D 00 00 02 0C 05 06 20 00 00\n");
    row("call 000301 hrmv2:setMotorPosition POSITION_STOP 0", "1 NACK BADMSG\n");
    row("lock 000103", "1 NACK FEATURE_NOT_SUPPORTED\n");
    row("info 000401", "0 000401 NODETYPE_ANY Gateway\n  serial: GW2026110001\n  appVersion: ");
}

void tst_Vox::commandLines()
{
    QFETCH(QByteArray, said);
    const QString line = QTest::currentDataTag();
    const Simulation simulation(Floor);
    const QByteArray actual = simulation.run(line);
    if (said.startsWith("0 ") || said.startsWith("1 ")) {
        if (line.endsWith("json"))
            said.replace('\'', '"');
        QCOMPARE(actual.left(said.size()), said);
        QVERIFY(QJsonDocument::fromJson(simulation.run(line + " --json").mid(2)).isObject());
    } else {
        QCOMPARE(list(actual.left(7), actual.trimmed().count('\n')), list("2 ! vox", 0));
        QVERIFY2(actual.contains(said), actual);
    }
}

void tst_Vox::theExampleNetworkKeepsItsState()
{
    const QTemporaryDir folder;
    const QString state = folder.filePath("state.json");
    const QString options = Floor + " --speed 1000 --state " + state;
    {
        Simulation simulation(options);
        QVERIFY(simulation.run("position 000101").contains("percent: 25 %\n"));
        QCOMPARE(simulation.run("label 000101 Foyer"), QByteArray("0 ACK\n"));
        QCOMPARE(simulation.run("lock 000101 --priority 7"), QByteArray("0 ACK\n"));
        QCOMPARE(simulation.run("unlock 000101 --priority 6"), QByteArray("1 NACK LOW_PRIORITY\n"));
        QCOMPARE(simulation.run("unlock 000101"), QByteArray("0 ACK\n"));
        QCOMPARE(simulation.run("goto group:00A001 down"), QByteArray("0 sent\n"));
        // 9000 pulses take 13 s in a real one.
        QTRY_VERIFY(simulation.run("status 000101").contains("STATE_STOPPED"));
        QTRY_VERIFY(contents(state).contains("\"position\":12000"));
        const QByteArray other = run("sim --node NODE@000001 --state " + state, "pty:");
        QCOMPARE(other, "2 ! vox sim: another simulation has " + state.toLocal8Bit() + '\n');
        QCOMPARE(exitCode(simulation.process, SIGHUP), 0);
    }
    {
        const Simulation simulation(options);
        QVERIFY(simulation.run("label 000101").contains("label: Foyer\n"));
        QVERIFY(simulation.run("position 000101").contains("position: 12000 pulses\n"));
    }
    // A damaged entry is left out, and the others are taken.
    setContents(state, contents(state).replace("\"position\":12000", "\"position\":-1"));
    Simulation simulation(options);
    QVERIFY(simulation.run("label 000101").contains("label: Lobby\n"));
    QVERIFY(simulation.run("position 000101").contains("percent: 25 %\n"));
    const QByteArray complaint = "; left out, and set aside as " + state.toLocal8Bit() + ".damaged\n";
    QVERIFY(simulation.process.readAllStandardError().contains(complaint));
}

void tst_Vox::scanFindsAllNodes()
{
    Simulation simulation(Floor);
    const QByteArray table = simulation.run("scan").simplified();
    QCOMPARE(table.count("NODETYPE"), 24); // the motor of the older generation refuses to be found
    QVERIFY2(table.startsWith("0 000101 NODETYPE_TB60LV Lobby 5012345-A03-1 000102 "), table);
    const Simulation shared(Floor, multicastUrl());
    QCOMPARE(shared.run("scan").simplified(), table);
    const QByteArray json = simulation.run("scan --json");
    const QJsonArray nodes = QJsonDocument::fromJson(json.mid(2)).array();
    QCOMPARE(nodes.size(), 24);
    const QJsonObject gateway = {
        {"address", "000401"}, {"appVersion", "0-000-0"}, {"label", "Gateway"}, {"type", "NODETYPE_ANY"}};
    QCOMPARE(nodes.last().toObject(), gateway);
    // The nodes' own port: only one program may be them.
    const QString taken = QString("udp://127.0.0.1:1?local=%1").arg(QUrl(simulation.bus).port());
    const QByteArray other = run("sim --node NODE@000001", taken);
    QVERIFY2(other.startsWith("2 "), other);
    QVERIFY2(other.contains("another program has the port"), other);
    // Each address is asked, by which those that hear no broadcast are found.
    QCOMPARE(simulation.run("call 000401 setNodeDiscovery false"), QByteArray("0 ACK\n"));
    QCOMPARE(simulation.run("scan").count('\n'), 23);
    QCOMPARE(simulation.run("scan --range 0003FF-000401").simplified(),
             "0 000401 NODETYPE_ANY Gateway 0-000-0");
    QCOMPARE(simulation.run("scan --range 000300-000302").simplified(),
             "0 000301 NODETYPE_ANY ? older generation");
    QVERIFY(simulation.run("scan --range 000301-000301 --json").contains("\"generation\":\"HRMv2\""));
    exitCode(simulation.process, SIGKILL);
    QVERIFY(simulation.run("scan --json").startsWith("0 []\n"));
}

void tst_Vox::aMoveIsFollowed()
{
    const Simulation simulation(Floor);
    const QByteArray arrived = simulation.run("goto 000101 3200 --wait --json").trimmed();
    QVERIFY(arrived.startsWith("0 "));
    const QJsonObject last = QJsonDocument::fromJson(arrived.mid(arrived.lastIndexOf('{'))).object();
    QCOMPARE(list(last["position"].toInt(), last["state"]), list(3200, QJsonValue("STATE_STOPPED")));
    // Stopped, or sent elsewhere meanwhile, it has not come to where it was to go.
    const auto interrupted = [&](const std::function<int(QProcess &)> &interrupt, const QString &place,
                                 const QByteArray &said) {
        QProcess process;
        start(process, "goto 000101 --wait " + place, simulation.bus);
        QByteArray shown;
        while (!shown.contains("STATE_RUNNING") && process.waitForReadyRead(5000))
            shown += process.readAllStandardOutput();
        const QByteArray code = QByteArray::number(interrupt(process));
        shown = process.readAllStandardOutput().trimmed();
        const QByteArray position = simulation.run("call 000101 getMotorPosition").split('\n').value(1);
        const QByteArray rest = position.mid(int(qstrlen("  position: "))) + "  STATE_STOPPED";
        const QByteArray actual =
            code + (shown.endsWith(rest) ? " shown " : " ") + process.readAllStandardError();
        QCOMPARE(actual.left(said.size()), said);
    };
    const auto by = [&](const QString &line) {
        return [&, line](QProcess &process) { return simulation.run(line), exitCode(process); };
    };
    const auto atSignal = [](QProcess &process) { return exitCode(process, SIGINT); };
    interrupted(by("goto 000101 3500"), "down", "1 shown vox goto: was to go to 12000 ");
    interrupted(by("stop 000101"), "0%", "1 shown vox goto: was to go to 0 pulses and ");
    interrupted(atSignal, "down", "1 shown vox goto: stopped on the way");
    const QByteArray status = simulation.run("status 000101");
    QVERIFY2(status.contains("DOWN\n  source: SOURCE_NETWORK\n  cause: CAUSE_NETWORK"), status);
}

void tst_Vox::outputThatCannotBeWritten()
{
    const auto row = [&](const QString &script, const QByteArray &said) {
        const Simulation simulation(Floor);
        QCOMPARE(list(script, shell(script, simulation.bus)), list(script, said));
        QVERIFY(simulation.run("status 000101").contains("STATE_STOPPED"));
    };
    const QByteArray full = "1 ! vox: the output cannot be written: No space left on device\n";
    const QByteArray stopped = "vox goto: stopped, because the output cannot be written\n";
    row("vox --help >/dev/full", full);
    row("vox status 000101 --json >/dev/full", full);
    row("vox man >&-", "1 ! vox: the output cannot be written: Bad file descriptor\n");
    row("vox monitor --write /dev/full",
        "2 ! vox monitor: cannot write /dev/full: No space left on device\n");
    row("vox goto 000101 down --wait >/dev/full", full + stopped);
    row("vox goto 000101 up --wait | head -n 2 >/dev/null", "1 ! " + stopped);
}

// Of what nobody reads so much is kept as there is room for, and the rest is counted.
void tst_Vox::aSimulationWaitsForNoReader()
{
    const QTemporaryDir folder;
    const QString capture = folder.filePath("damaged.pcap"), errors = folder.filePath("errors");
    std::vector<LineItem> items;
    for (int i = 0; i < 1000; ++i)
        items.push_back(LineItem::of(line(frame("0E", 1)).chopped(1) + '?', i * qint64(1000000)));
    writeCapture(capture, items);
    const auto ports = freeUdpPorts();
    const QString udp("udp://127.0.0.1:%1?local=%2");
    const QString script(
        "{ for i in {1..40}; do echo status json; done; until [ -e %5 ]; do sleep 0.1; done; echo quit; } |"
        "vox sim %1 --bus '%2' 2>%3 | { read; sleep 0.3; vox replay %4;"
        "for i in {1..9}; do sleep 0.5; vox position 000101 && break; done; touch %5; }");
    const QByteArray said = shell(
        script.arg(Floor, udp.arg(ports.second).arg(ports.first), errors, capture, folder.filePath("done")),
        udp.arg(ports.first).arg(ports.second));
    QVERIFY2(said.contains("1000 of 1000 records sent\nPOST_MOTOR_POSITION\n"), said);
    const QByteArrayList told = contents(errors).trimmed().split('\n');
    QCOMPARE(told[0], QByteArray("vox sim: frames came damaged: 1 failed check"));
    QVERIFY2(told.size() <= 4, told.join('\n'));

    int pipe[2];
    QVERIFY(::pipe(pipe) == 0);
    OutputQueue queue(pipe[1], [](int) {});
    const QByteArray text(OutputQueue::MaxBytes / 4, '?');
    for (int i = 0; i < 6; ++i)
        queue.push(text);
    QCOMPARE(queue.takeDropped(), 0);
    QByteArray part(1 << 20, '\0');
    for (qint64 left = 4 * text.size(); left > 0;)
        left -= ::read(pipe[0], part.data(), size_t(part.size()));
    int dropped = 0;
    QTRY_COMPARE(dropped += queue.takeDropped(), 2);
}

// All on one multicast line: a simulation, a monitor, and what hosts send.
void tst_Vox::aLineIsWatchedAndReplayed()
{
    const QTemporaryDir folder;
    const QString url = multicastUrl();
    const QString capture = folder.filePath("line.pcap");
    const auto listening = [](QProcess &monitor, const QString &options, const QString &bus) {
        start(monitor, "monitor " + options, bus);
        monitor.setReadChannel(QProcess::StandardError);
        monitor.waitForReadyRead(10000);
        return monitor.readAllStandardError();
    };
    QProcess monitor;
    QVERIFY(
        listening(monitor, "--json --stats --address 00A1B2 --write " + capture, url).contains("listening"));
    const auto ask = [&](const QString &command) {
        const Simulation simulation("--node NODE@00A1B2", url);
        const QByteArray told = simulation.run(command);
        return told.startsWith("0 ") ? simulation.run("label 00A1B2") : told;
    };
    QCOMPARE(ask("label 00A1B2 Watched"), QByteArray("0 POST_NODE_LABEL\n  label: Watched\n"));
    ::kill(static_cast<pid_t>(monitor.processId()), SIGUSR1);
    QByteArray output;
    QTRY_VERIFY((output += monitor.readAllStandardOutput()).contains("{\"stats\""));
    QCOMPARE(exitCode(monitor, SIGTERM), 0);
    output += monitor.readAllStandardOutput();
    QStringList seen;
    for (const QByteArray &text : output.trimmed().split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(text).object();
        const int frames = object["stats"].toObject()["frames"].toInt();
        seen += frames ? QString("stats of %1").arg(frames) : object["command"].toString();
    }
    QCOMPARE(seen.join(' '),
             QString("SET_NODE_LABEL ACK GET_NODE_LABEL POST_NODE_LABEL stats of 4 stats of 4"));
    {
        const Simulation simulation("--node NODE@00A1B2", url);
        QCOMPARE(run("scan --json", QString(url).replace("71.15", "71.16")).left(5), QByteArray("0 []\n"));
    }
    // A fresh node is told the same once more.
    QCOMPARE(ask("replay --speed 100 " + capture), QByteArray("0 POST_NODE_LABEL\n  label: Watched\n"));
    QCOMPARE(run("monitor --command POST_NODE_LABEL " + capture).count('\n'), 1);
    QCOMPARE(run("monitor --errors " + capture), QByteArray("0 "));
    QVERIFY(run(QString("monitor %1 --write %1").arg(capture)).startsWith("2 ! "));
    QVERIFY(run("replay " + capture, "pty:").startsWith("2 ! "));
    // With one peer, not all of a line can be seen.
    QProcess blinkered;
    const QString peer = QString("udp://127.0.0.1:4800?local=%1").arg(freeUdpPorts().first);
    QVERIFY(listening(blinkered, QString(), peer)
                .contains("and neither what this machine sends nor what goes between others"));
    QCOMPARE(exitCode(blinkered, SIGTERM), 0);
    QVERIFY(QFile::resize(capture, 100));
    QVERIFY(run("replay " + capture, url).contains("cannot be read beyond 2 records"));
}

// As it was, slower and faster.
void tst_Vox::replayKeepsTime()
{
    const std::pair<double, QVector<int>> cases[] = {{1, {0, 400, 401, 900, 1200, 1203, 1210}},
                                                     {0.5, {0, 200, 202, 450, 600}},
                                                     {10, {0, 4000, 4020, 9000, 12000, 12500, 12750}}};
    for (const auto &[speed, timesMs] : cases) {
        const QTemporaryDir folder;
        const QString capture = folder.filePath("line.pcap");
        std::vector<LineItem> items;
        for (const int ms : timesMs)
            items.push_back(LineItem::of(QByteArray::number(ms), (1000000 + ms) * qint64(1000000)));
        writeCapture(capture, items);
        QUdpSocket peer;
        QVERIFY(peer.bind(QHostAddress(QHostAddress::LocalHost), 0));
        QProcess replay;
        start(replay, QString("replay --speed %1 %2").arg(speed).arg(capture),
              QString("udp://127.0.0.1:%1?local=%2").arg(peer.localPort()).arg(freeUdpPorts().first));
        QVector<double> lateMs;
        QElapsedTimer clock;
        for (const int ms : timesMs) {
            QVERIFY(peer.hasPendingDatagrams() || peer.waitForReadyRead(5000));
            clock.isValid() ? void() : clock.start();
            lateMs += clock.nsecsElapsed() / 1e6 - ms / speed;
            char bytes[8];
            QCOMPARE(QByteArray(bytes, int(peer.readDatagram(bytes, sizeof bytes))), QByteArray::number(ms));
        }
        // A busy machine may delay some, the first of them included: the others are 2 ms off at most.
        std::sort(lateMs.begin(), lateMs.end());
        double spreadMs = lateMs.last() - lateMs.first();
        for (int i = 0, half = lateMs.size() / 2; i + half < lateMs.size(); ++i)
            spreadMs = std::min(spreadMs, lateMs.at(i + half) - lateMs.at(i));
        QVERIFY2(spreadMs < 4, qPrintable(list(speed, spreadMs)));
        QCOMPARE(exitCode(replay), 0);
    }
}

// On a serial port, which each command opens, sets up and closes.
void tst_Vox::aSimulationObeysLines()
{
    Simulation simulation("--node TB20@000001 --node NODE@000002 --seed 5", "pty:");
    QVERIFY(simulation.bus.startsWith("serial:///dev/"));
    const auto obey = [&](const QByteArray &line) {
        simulation.process.write(line + "\nstatus json\n");
        QByteArray said;
        while (!said.contains("\"address\":\"000002\"") && simulation.process.waitForReadyRead(5000))
            said += simulation.process.readAllStandardOutput();
        return said;
    };
    QVERIFY(obey("help").contains("noise BYTES"));
    obey("nack BUSY 000001 count 1");
    QVERIFY(obey("faults").contains("nack BUSY 000001 count 1 (1 left)"));
    QCOMPARE(simulation.run("status 000001"), QByteArray("1 NACK BUSY\n"));
    QVERIFY(simulation.run("status 000001").startsWith("0 "));
    QVERIFY(obey("drop 000001").contains("\"state\":\"STATE_STOPPED\""));
    QVERIFY(simulation.run("status 000001").startsWith("1 "));
    obey("clear");
    QVERIFY(simulation.run("status 000001").startsWith("0 "));
    // Sent again, and so done. A jog is not: it might be done twice.
    obey("drop 000001 command GET_NODE_ADDR count 1");
    QVERIFY(simulation.run("scan").contains("000001  NODETYPE_TB20"));
    obey("drop 000001 count 2");
    QCOMPARE(simulation.run("stop 000001"), QByteArray("0 ACK\n"));
    obey("from 000002 000001 count 1");
    QCOMPARE(simulation.run("stop 000001"), QByteArray("0 ACK\n"));
    obey("drop 000001 count 1");
    QCOMPARE(simulation.run("move 000001 up"), QByteArray("1 ! vox move: No reply within the time-out\n"));
    obey("corrupt 000001 count 1");
    QCOMPARE(simulation.run("status 000001"),
             QByteArray("1 ! vox status: No reply within the time-out\nvox status: 1 answer came damaged\n"));
    obey("from 000002 000001 count 2");
    QVERIFY(simulation.run("status 000001").startsWith("0 "));
    obey("from 000002 000001");
    QCOMPARE(simulation.run("call 000001 getMotorStatus --json"),
             QByteArray("1 {\"address\":\"000001\",\"error\":\"000002 answered in place of 000001\"}\n"));
    obey("nack LAZY");
    obey("drop 000003");
    obey("wiggle");
    // Told by a thread of its own.
    QByteArray complaints;
    for (const char *complaint :
         {"'wiggle' is no fault", "'LAZY' is no NAME for 'nack'; ACK, RNG, ", "there is no node 000003"})
        QTRY_VERIFY2((complaints += simulation.process.readAllStandardError()).contains(complaint),
                     complaints);
    QProcess monitor;
    start(monitor, "monitor", simulation.bus);
    monitor.setReadChannel(QProcess::StandardError);
    QVERIFY(monitor.waitForReadyRead(10000));
    exitCode(simulation.process, SIGKILL);
    QCOMPARE(exitCode(monitor), 1);
    QVERIFY(monitor.readAllStandardError().contains("has gone: its other end has hung up"));
}

void tst_Vox::everyCommandHasHelp()
{
    QCOMPARE(run("--version"), "0 vox " + VOX::version().toLatin1() + "\n");
    const QByteArray all = run("--help");
    const QByteArray manual = run("man");
    // An option, and an example's hyphens.
    for (const char *part : {"0 .TH VOX 1 ", "\n\\fB\\-\\-state\\fR \\fIFILE\\fR\n", "50% \\-\\-wait\n"})
        QVERIFY2(manual.contains(part), part);
    QCOMPARE(run("call ctrlMoveOf --help").split('\n').value(3),
             QByteArray("  TILT: a number from 0 to 255; 255 without it"));
    for (const QByteArray command : {"demo", "sim", "test", "scan", "call", "monitor", "replay", "panel", "goto"}) {
        const QByteArray help = run(command + " --help");
        QVERIFY2(help.startsWith("0 Usage: vox " + command), help);
        QVERIFY2(help.contains("\nExample: vox "), help);
        QVERIFY2(all.contains(command), command);
        QVERIFY2(manual.contains("\n.SS \"vox " + command + " [options]"), command);
    }
}

void tst_Vox::bashCompletes()
{
    const auto row = [&](const QString &line, const QByteArray &found) {
        const QString script(
            "source '%1'; COMP_LINE='%2'; COMP_WORDS=(%2); %3 COMP_CWORD=$((${#COMP_WORDS[@]} - 1));"
            "COMP_POINT=${#COMP_LINE}; _vox 2>/dev/null; printf '%s' \"${COMPREPLY[*]}\"");
        const char *last = line.endsWith(' ') ? "COMP_WORDS+=('');" : "";
        const QByteArray said =
            shell(script.arg(VOX_SOURCE_DIR "/share/completion/vox.bash", line, last), QString());
        QCOMPARE(list(line, said), list(line, "0 " + found));
    };
    row("vox mon", "monitor");
    row("vox sim --st", "--state");
    row("vox call 000101 ctrlMoveT", "ctrlMoveTo");
    row("vox call --json 000101 ctrlMoveTo MOVETO_PE", "MOVETO_PERCENT");
    row("vox call 000301 hrmv2:setLockStatus LOCK_R", "LOCK_RELEASE");
    row("vox monitor --command SET_NODE_L", "SET_NODE_LABEL");
    row("vox sim --node MA", "MARLO@");
    row("vox move 000101 d", "down");
    row("vox sim --config ex", "");
    row("vox fly ", "");
}

void tst_Vox::guidesWork_data()
{
    const auto row = columns<QString>("line");
    QStringList lines;
    for (const QString guide : {"docs/installer.md", "docs/tester.md"}) {
        const QString text = contents(VOX_SOURCE_DIR "/" + guide);
        QVERIFY(!text.isEmpty());
        lines += text.split('\n').filter(QRegularExpression("^    vox "));
    }
    for (const Command &command : commands()) {
        lines += CommandDescription::of(command).example;
        QVERIFY2(lines.last().startsWith("vox " + command.name), qPrintable(command.name));
    }
    // What runs until it is interrupted, or writes files, has tests of its own, as has what is shown with its
    // output.
    const QRegularExpression others("vox (?!sim|test|monitor|replay|demo|record)(?!.*--bus)");
    for (const QString &line : lines.filter(others))
        row(qPrintable(line), line.trimmed().mid(int(qstrlen("vox "))));
}

void tst_Vox::guidesWork()
{
    QFETCH(QString, line);
    static const Simulation simulation(Floor + " --speed 100");
    const QByteArray said = simulation.run(line);
    QVERIFY2(said.startsWith("0 "), said);
}

QTEST_GUILESS_MAIN(tst_Vox)
#include "tst_vox.moc"
