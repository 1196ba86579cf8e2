#include "messages/vox.h"
#include "support/udppair.h"
#include "vox/commands.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <csignal>

/// The program as people run it.
class tst_Vox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void demoShowsAllItsSteps();
    void wrongUseIsOneLine_data();
    void wrongUseIsOneLine();
    void callsReachEmulatedNodes_data();
    void callsReachEmulatedNodes();
    void jsonIsOneObject();
    void theExampleNetworkKeepsItsState();
    void scanFindsAllNodes();
    void aSimulatedSerialPort();
    void dailyCommands_data();
    void dailyCommands();
    void aMoveIsFollowed();
    void aLineIsWatchedAndReplayed();
    void aSimulationObeysLines();
    void simulationEndsOnSignals_data();
    void simulationEndsOnSignals();
    void everyCommandHasHelp();
    void bashCompletes_data();
    void bashCompletes();
    void theManualNamesEveryCommand();
    void guidesWork_data();
    void guidesWork();

private:
    struct Result
    {
        int code = -1;
        QByteArray out;
        QByteArray err;
    };
    static Result run(const QStringList &arguments, int timeoutMs = 30000);
};

namespace {
QString program()
{
    return QStringLiteral(VOX_PROGRAM);
}

/// A simulation on ports that the system chose, or on a pseudo-terminal, ready to be called.
struct Simulation
{
    explicit Simulation(const QStringList &options = {"--node", "TB60LV@000001", "--node", "NODE@00A1B2"},
                        bool isSerial = false)
    {
        const auto ports = freeUdpPorts();
        const QString url = QStringLiteral("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
        const QString ownUrl = isSerial ? QString("pty:") : url.arg(ports.second).arg(ports.first);
        process.start(program(), QStringList{"sim", "--bus", ownUrl} + options);
        isReady = process.waitForReadyRead(10000);
        const QList<QByteArray> words = process.readAllStandardOutput().split(' ');
        isReady = isReady && words.value(0) == "ready";
        hostUrl = isSerial ? words.value(1).chopped(1) : url.arg(ports.first).arg(ports.second);
    }
    ~Simulation()
    {
        process.kill();
        process.waitForFinished();
    }

    QString hostUrl;
    QProcess process;
    bool isReady = false;
};
}

tst_Vox::Result tst_Vox::run(const QStringList &arguments, int timeoutMs)
{
    QProcess process;
    process.start(program(), arguments);
    Result result;
    if (process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit)
        result.code = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

void tst_Vox::demoShowsAllItsSteps()
{
    QElapsedTimer clock;
    clock.start();
    const Result result = run({"demo"});
    QVERIFY2(result.code == 0, result.out + result.err);
    QVERIFY(clock.elapsed() < 20000);
    QCOMPARE(result.err, QByteArray());
    for (const char *shown :
         {"000003 NODETYPE_TB60LV", "Kitchen  5012345-A03-1", "100 %  2000 pulses  STOPPED",
          "Stopped in mid-move", "NACK IP_NOT_SET", "No node at 000099", "All as expected: 3 nodes"})
        QVERIFY2(result.out.contains(shown), shown);
}

void tst_Vox::wrongUseIsOneLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("said");
    const QString bus = QStringLiteral("udp://127.0.0.1:4810?local=4811");
    const auto row = [](const char *name, const QStringList &arguments, const char *said) {
        QTest::newRow(name) << arguments << QByteArray(said);
    };
    row("no command", {}, "one of demo, sim, scan, call, monitor, replay, move");
    row("unknown command", {"fly"}, "unknown command 'fly'");
    row("demo takes nothing", {"demo", "now"}, "unexpected 'now'");
    row("unknown option", {"sim", "--fast"}, "Unknown option 'fast'");
    row("sim without bus", {"sim", "--node", "TB60LV@000001"},
        "--bus URL is missing, and VOX_BUS is not set");
    row("sim without node", {"sim", "--bus", bus}, "no node");
    row("unknown model", {"sim", "--bus", bus, "--node", "X9@000001"},
        "unknown model 'X9'; one of NODE, TB20, QM75, MARLO, TB60LV, HRMV2");
    row("short address", {"sim", "--bus", bus, "--node", "NODE@1"}, "'1' is no address");
    row("the address of all", {"sim", "--bus", bus, "--node", "NODE@FFFFFF"}, "FFFFFF is no node's address");
    row("no address", {"sim", "--bus", bus, "--node", "NODE"}, "'NODE' is no MODEL@ADDRESS");
    row("an address twice", {"sim", "--bus", bus, "--node", "NODE@00000a", "--node", "TB60LV@00000A"},
        "two nodes with address 00000A");
    row("unknown scheme", {"sim", "--bus", "tcp://1.2.3.4:5", "--node", "NODE@000001"},
        "'tcp://1.2.3.4:5' is no bus");
    row("no port", {"sim", "--bus", "udp://127.0.0.1", "--node", "NODE@000001"},
        "'udp://127.0.0.1' is no bus; udp://127.0.0.1:4800?local=4801 is one");
    row("bad local port", {"sim", "--bus", "udp://127.0.0.1:4810?local=x", "--node", "NODE@000001"},
        "'local=x'");
    row("no group", {"scan", "--bus", "mcast://127.0.0.1:4810"}, "127.0.0.1 is no multicast group");
    row("no latency", {"scan", "--bus", "mcast://239.0.0.1:4810?latency=x"}, "'latency=x'");
    row("an item of another bus", {"scan", "--bus", "mcast://239.0.0.1:4810?local=1"}, "'local=1'");
    row("an address of another machine",
        {"sim", "--bus", "udp://127.0.0.1:4810?bind=192.0.2.1", "--node", "NODE@000001"}, "cannot open");
    row("no such port", {"sim", "--bus", "serial:///dev/no-such-port", "--node", "NODE@000001"},
        "cannot open /dev/no-such-port");
    row("no such file", {"sim", "--config", "/no/such.json"}, "cannot read /no/such.json");
    row("a program is no network", {"sim", "--config", program()}, "in line 1");
    row("no speed", {"sim", "--bus", bus, "--node", "NODE@000001", "--speed", "0"},
        "--speed is to be a number");
    row("no place for the state", {"sim", "--bus", bus, "--node", "NODE@000001", "--state", "/no/such/state"},
        "cannot write /no/such/state");
    row("no capture", {"replay", program(), "--bus", bus}, "is no capture");
    row("one unknown filter of two", {"monitor", "--bus", bus, "--command", "ACK", "--command", "FLY"},
        "unknown command 'FLY'");
    row("an unknown filter", {"monitor", "--bus", bus, "--command", "FLY"}, "unknown command 'FLY'");
    row("no seed", {"sim", "--bus", bus, "--node", "NODE@000001", "--seed", "x"}, "--seed is to be a number");
    row("call without operation", {"call", "--bus", bus, "000001"}, "operations are getNodeAddr");
    row("unknown operation", {"call", "--bus", bus, "000001", "fly"},
        "unknown operation 'fly'; one of getNodeAddr");
    row("a missing argument", {"call", "--bus", bus, "000001", "ctrlMoveTo", "0"},
        "ctrlMoveTo FUN POSITION TILT or ctrlMoveTo FUN POSITION");
    row("an unknown key", {"call", "--bus", bus, "000001", "ctrlMoveTo", "HOME", "0"},
        "fun: 'HOME' is not a number from 0 to 255 or one of MOVETO_DOWN_LIMIT");
    row("a number too high", {"call", "--bus", bus, "000001", "getGroupAddr", "256"},
        "idx: '256' is not a number from 0 to 255");
}

void tst_Vox::wrongUseIsOneLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, said);
    const Result result = run(arguments);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.out, QByteArray());
    QVERIFY2(result.err.contains(said), result.err);
    QVERIFY(result.err.startsWith("vox"));
    QCOMPARE(result.err.trimmed().count('\n'), 0);
}

void tst_Vox::callsReachEmulatedNodes_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *name, const QStringList &words, int code, const char *said) {
        QTest::newRow(name) << words << code << QByteArray(said);
    };
    row("a query", {"000001", "getMotorStatus"}, 0,
        "POST_MOTOR_STATUS\n  state: STATE_STOPPED\n  direction: DIRECTION_DOWN\n  source: SOURCE_INTERNAL\n "
        " cause: CAUSE_NONE\n");
    row("a key and numbers", {"000001", "setMotorLimits", "LIMIT_PULSES", "LIMIT_DOWN", "0xbb8"}, 0, "ACK\n");
    row("a refusal", {"000001", "ctrlMoveTo", "MOVETO_PERCENT", "50"}, 1, "NACK END_LIMITS_NOT_SET\n");
    row("a group address", {"00a1b2", "setGroupAddr", "3", "1234"}, 0, "ACK\n");
    row("bytes", {"00A1B2", "sendDataTest2", "hex:00ff"}, 0,
        "POST_DATA_TEST2\n  data: 00 FF 00 00 00 00 00 00 00 00\n");
    row("nothing asked for", {"00A1B2", "setNetworkConfig", "255", "0", "255", "0", "255", "1"}, 0,
        "sent; no answer was asked for\n");
    row("nobody there", {"000002", "getNodeLabel"}, 1, "vox call: No reply within the time-out\n");
}

void tst_Vox::callsReachEmulatedNodes()
{
    QFETCH(QStringList, words);
    QFETCH(int, code);
    QFETCH(QByteArray, said);
    const Simulation simulation;
    QVERIFY(simulation.isReady);
    const Result result = run(QStringList{"call", "--bus", simulation.hostUrl} + words);
    QCOMPARE(result.out + result.err, said);
    QCOMPARE(result.code, code);
}

void tst_Vox::jsonIsOneObject()
{
    const Simulation simulation;
    QVERIFY(simulation.isReady);
    const auto json = [&](const QStringList &words) {
        return QJsonDocument::fromJson(
                   run(QStringList{"call", "--json", "--bus", simulation.hostUrl} + words).out)
            .object();
    };
    const QJsonObject limits = json({"000001", "getMotorLimits"});
    QCOMPARE(limits["command"].toString(), QString("POST_MOTOR_LIMITS"));
    QCOMPARE(limits["address"].toString(), QString("000001"));
    QCOMPARE(limits["type"].toString(), QString("NODETYPE_TB60LV"));
    QCOMPARE(limits["fields"].toObject()["downLimit"].toInt(), 65535);
    QCOMPARE(json({"000001", "ctrlMoveOf", "2", "100"})["fields"].toObject()["status"].toString(),
             QString("END_LIMITS_NOT_SET"));
    QCOMPARE(json({"000009", "getMotorLimits"})["error"].toString(), QString("No reply within the time-out"));
}

void tst_Vox::theExampleNetworkKeepsItsState()
{
    const QTemporaryDir folder;
    const QString state = folder.filePath("state.json");
    const QStringList options = {
        "--config", VOX_SOURCE_DIR "/examples/network/floor.json", "--state", state, "--speed", "1000"};
    const auto call = [](const Simulation &simulation, const QStringList &words) {
        return run(QStringList{"call", "--bus", simulation.hostUrl} + words).out;
    };
    {
        Simulation simulation(options);
        QVERIFY(simulation.isReady);
        QVERIFY(call(simulation, {"000101", "getMotorPosition"}).contains("percent: 25 %\n"));
        QVERIFY(call(simulation, {"000103", "ctrlStop"}).contains("ACK"));
        QVERIFY(call(simulation, {"000214", "getNodeLabel"}).contains("Office 20"));
        QCOMPARE(call(simulation, {"000101", "setNodeLabel", "Foyer"}), QByteArray("ACK\n"));
        QCOMPARE(call(simulation, {"000101", "ctrlMoveTo", "MOVETO_DOWN_LIMIT", "0"}), QByteArray("ACK\n"));
        // 9000 pulses take 13 s in a real one.
        QTRY_VERIFY(call(simulation, {"000101", "getMotorStatus"}).contains("STATE_STOPPED"));
        simulation.process.terminate();
        QVERIFY(simulation.process.waitForFinished());
    }
    {
        const Simulation simulation(options);
        QVERIFY(simulation.isReady);
        QVERIFY(call(simulation, {"000101", "getNodeLabel"}).contains("label: Foyer\n"));
        QVERIFY(call(simulation, {"000101", "getMotorPosition"}).contains("position: 12000 pulses\n"));
    }
    QVERIFY(QFile::resize(state, 100));
    Simulation simulation(options);
    QVERIFY(simulation.isReady);
    QVERIFY(call(simulation, {"000101", "getNodeLabel"}).contains("label: Lobby\n"));
    QVERIFY(simulation.process.readAllStandardError().contains("; set aside as " + state.toLocal8Bit()
                                                               + ".damaged\n"));
    QCOMPARE(QFile(state + ".damaged").size(), 100);
}

void tst_Vox::scanFindsAllNodes()
{
    Simulation simulation({"--config", VOX_SOURCE_DIR "/examples/network/floor.json"});
    QVERIFY(simulation.isReady);
    const QStringList scan = {"scan", "--bus", simulation.hostUrl};
    const Result table = run(scan);
    QCOMPARE(table.code, 0);
    const QList<QByteArray> lines = table.out.trimmed().split('\n');
    QCOMPARE(lines.size(), 24); // the motor of the older generation refuses to be found
    QCOMPARE(lines.constFirst().simplified(), QByteArray("000101 NODETYPE_TB60LV Lobby 5012345-A03-1"));
    const QJsonArray array = QJsonDocument::fromJson(run(scan + QStringList{"--json"}).out).array();
    QCOMPARE(array.size(), 24);
    QCOMPARE(array.last().toObject(),
             (QJsonObject{{"address", "000401"},
                          {"type", "NODETYPE_ANY"},
                          {"label", "Gateway"},
                          {"appVersion", "0-000-0"}}));
    simulation.process.kill();
    simulation.process.waitForFinished();
    const Result nobody = run(scan + QStringList{"--json"});
    QCOMPARE(nobody.code, 1);
    QCOMPARE(nobody.out, QByteArray("[]\n"));
}

// Each call opens the port, sets 8 data bits and odd parity, and closes it.
void tst_Vox::aSimulatedSerialPort()
{
    const Simulation simulation({"--node", "TB60LV@000001"}, true);
    QVERIFY(simulation.isReady && simulation.hostUrl.startsWith("serial:///dev/"));
    for (int time = 0; time < 2; ++time)
        QCOMPARE(run({"call", "--bus", simulation.hostUrl, "000001", "getMotorDirection"}).out,
                 QByteArray("POST_MOTOR_DIRECTION\n  dir: TURN_NORMAL\n"));
    QVERIFY(run({"scan", "--bus", simulation.hostUrl}).out.startsWith("000001  NODETYPE_TB60LV"));
}

void tst_Vox::dailyCommands_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const QStringList &words, int code, const char *said) {
        QTest::newRow(qPrintable(words.join(' '))) << words << code << QByteArray(said);
    };
    row({"move", "000101", "down", "--time", "10"}, 0, "ACK\n");
    row({"move", "000101", "left"}, 2, "vox move: 'left' is neither up nor down\n");
    row({"move", "000101", "up", "--time", "2600"}, 2,
        "vox move: --time is to be a number from 10 to 2550\n");
    row({"stop", "000101"}, 0, "ACK\n");
    row({"stop", "group:00A001"}, 0, "sent\n");
    row({"stop", "group:1"}, 2, "vox stop: 'group:1' is no group; group:00A001 is one\n");
    row({"wink", "all"}, 0, "000401 NACK BADMSG\nsent\n");
    row({"goto", "000101", "25%"}, 0, "ACK\n");
    row({"goto", "000101", "ip:7"}, 1, "NACK IP_NOT_SET\n");
    row({"goto", "000101", "101%"}, 2,
        "vox goto: '101%' is no position: up, down, 0% to 100%, ip:1 and pulses are\n");
    row({"goto", "all", "up", "--wait"}, 2, "vox goto: --wait is for one node at a time\n");
    row({"lock", "000103"}, 1, "NACK FEATURE_NOT_SUPPORTED\n");
    row({"lock", "all"}, 2, "vox lock: 'lock' goes to one node at a time\n");
    row({"lock", "000101", "--priority", "7"}, 0, "ACK\n");
    row({"unlock", "000102", "--priority", "256"}, 2,
        "vox unlock: --priority is to be a number from 0 to 255\n");
    row({"unlock", "000102"}, 0, "ACK\n");
    row({"status", "000103"}, 0, "POST_MOTOR_STATUS\n  state: STATE_LOCKED\n");
    row({"position", "000102"}, 0, "POST_MOTOR_POSITION\n  position: 0 pulses\n  percent: 0 %\n");
    row({"limits", "000103"}, 0, "POST_MOTOR_LIMITS\n  upLimit: 0 pulses\n  downLimit: 4000 pulses\n");
    row({"label", "000101"}, 0, "POST_NODE_LABEL\n  label: Lobby\n");
    row({"label", "000101", "Entrance"}, 0, "ACK\n");
    row({"label", "000101", "seventeen letters"}, 2,
        "vox label: a label has up to 16 characters of Latin-1\n");
    row({"info", "000401"}, 0,
        "000401 NODETYPE_ANY Gateway\nPOST_NODE_SERIAL_NUMBER\n  serial: GW2026110001\n");
    row({"info", "000999"}, 1, "vox info: No reply within the time-out\n");
    row({"status"}, 2, "vox status: an argument is missing");
}

void tst_Vox::dailyCommands()
{
    QFETCH(QStringList, words);
    QFETCH(int, code);
    QFETCH(QByteArray, said);
    const Simulation simulation({"--config", VOX_SOURCE_DIR "/examples/network/floor.json"});
    QVERIFY(simulation.isReady);
    qputenv("VOX_BUS", simulation.hostUrl.toLatin1());
    const Result result = run(words);
    const Result json = run(words + QStringList{"--json"});
    qunsetenv("VOX_BUS");
    QCOMPARE(result.code, code);
    QCOMPARE((result.out + result.err).left(said.size()), said);
    QVERIFY(code == 2 || QJsonDocument::fromJson(json.out).isObject());
}

void tst_Vox::aMoveIsFollowed()
{
    const Simulation simulation({"--config", VOX_SOURCE_DIR "/examples/network/floor.json"});
    QVERIFY(simulation.isReady);
    const QStringList bus = {"--bus", simulation.hostUrl};
    const Result arrived = run(QStringList{"goto", "000101", "3200", "--wait", "--json"} + bus);
    QCOMPARE(arrived.code, 0);
    const QJsonObject last = QJsonDocument::fromJson(arrived.out.trimmed().split('\n').constLast()).object();
    QVERIFY(last["position"] == 3200 && last["state"] == "STATE_STOPPED");
    // Ctrl-C stops the motor first.
    QProcess process;
    process.start(program(), QStringList{"goto", "000101", "down", "--wait"} + bus);
    QByteArray shown;
    while (!shown.contains("STATE_RUNNING") && process.waitForReadyRead(5000))
        shown += process.readAllStandardOutput();
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(5000));
    QCOMPARE(process.exitCode(), 1);
    const QByteArray status = run(QStringList{"status", "000101"} + bus).out;
    QVERIFY2(status.contains("STATE_STOPPED") && status.contains("CAUSE_NETWORK"), status);
}

// All on one multicast line: a simulation, a monitor, and what hosts send.
void tst_Vox::aLineIsWatchedAndReplayed()
{
    const QTemporaryDir folder;
    const QString url = QString("mcast://239.255.71.15:%1").arg(freeUdpPorts().first);
    const QString capture = folder.filePath("line.pcap");
    QProcess monitor;
    monitor.start(program(),
                  {"monitor", "--bus", url, "--json", "--stats", "--write", capture, "--address", "00A1B2"});
    monitor.setReadChannel(QProcess::StandardError);
    QVERIFY(monitor.waitForReadyRead(10000));
    const auto ask = [&](const QString &label) {
        Simulation simulation({"--node", "NODE@00A1B2", "--bus", url});
        const Result set = label.isEmpty() ? run({"replay", capture, "--bus", url, "--speed", "100"})
                                           : run({"label", "00A1B2", label, "--bus", url});
        const Result now = run({"label", "00A1B2", "--bus", url});
        return simulation.isReady && set.code == 0 ? now.out : set.err;
    };
    QCOMPARE(ask("Watched"), QByteArray("POST_NODE_LABEL\n  label: Watched\n"));
    ::kill(static_cast<pid_t>(monitor.processId()), SIGUSR1);
    QThread::msleep(100);
    ::kill(static_cast<pid_t>(monitor.processId()), SIGTERM);
    QVERIFY(monitor.waitForFinished(10000));
    QCOMPARE(monitor.exitCode(), 0);
    QStringList seen;
    for (const QByteArray &text : monitor.readAllStandardOutput().trimmed().split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(text).object();
        seen += object.contains("stats")
            ? QString("stats of %1").arg(object["stats"].toObject()["frames"].toInt())
            : object["command"].toString();
    }
    QCOMPARE(seen,
             (QStringList{"SET_NODE_LABEL", "ACK", "GET_NODE_LABEL", "POST_NODE_LABEL", "stats of 4",
                          "stats of 4"}));
    // A fresh node is told the same once more.
    QCOMPARE(ask(QString()), QByteArray("POST_NODE_LABEL\n  label: Watched\n"));
    QCOMPARE(run({"monitor", capture, "--command", "POST_NODE_LABEL"}).out.count('\n'), 1);
    QCOMPARE(run({"monitor", capture, "--errors"}).out, QByteArray());
    QCOMPARE(run({"monitor", capture, "--write", capture}).code, 2);
    QCOMPARE(run({"replay", capture, "--bus", "pty:"}).code, 2);
    // With one peer, not all of a line can be seen.
    QProcess blinkered;
    blinkered.start(program(),
                    {"monitor", "--bus", QString("udp://127.0.0.1:4800?local=%1").arg(freeUdpPorts().first)});
    blinkered.setReadChannel(QProcess::StandardError);
    QVERIFY(blinkered.waitForReadyRead(10000));
    QVERIFY(blinkered.readAllStandardError().contains(
        "and neither what this machine sends nor what goes between others"));
    blinkered.terminate();
    QVERIFY(blinkered.waitForFinished(10000));
    QVERIFY(QFile::resize(capture, 100));
    QVERIFY(run({"replay", capture, "--bus", url}).err.contains("is cut off after 2 records"));
}

void tst_Vox::aSimulationObeysLines()
{
    Simulation simulation({"--node", "TB20@000001", "--node", "NODE@000002", "--seed", "5"});
    QVERIFY(simulation.isReady);
    const auto obey = [&](const QByteArray &line) {
        simulation.process.write(line + "\nstatus json\n");
        QByteArray said;
        while (!said.contains("\"address\":\"000002\"") && simulation.process.waitForReadyRead(5000))
            said += simulation.process.readAllStandardOutput();
        return said;
    };
    const QStringList status = {"status", "000001", "--bus", simulation.hostUrl};
    QVERIFY(obey("help").contains("noise BYTES"));
    obey("nack BUSY 000001 count 1");
    QVERIFY(obey("faults").contains("nack BUSY 000001 count 1 (1 left)"));
    QCOMPARE(run(status).out, QByteArray("NACK BUSY\n"));
    QCOMPARE(run(status).code, 0);
    QVERIFY(obey("drop 000001").contains("\"state\":\"STATE_STOPPED\""));
    QCOMPARE(run(status).code, 1);
    obey("clear");
    QCOMPARE(run(status).code, 0);
    obey("wiggle");
    QVERIFY(simulation.process.readAllStandardError().contains("'wiggle' is no fault"));
}

void tst_Vox::simulationEndsOnSignals_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void tst_Vox::simulationEndsOnSignals()
{
    QFETCH(int, number);
    Simulation simulation;
    QVERIFY(simulation.isReady);
    ::kill(static_cast<pid_t>(simulation.process.processId()), number);
    QVERIFY(simulation.process.waitForFinished(10000));
    QCOMPARE(simulation.process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(simulation.process.exitCode(), 0);
}

void tst_Vox::everyCommandHasHelp()
{
    QCOMPARE(run({"--version"}).out, "vox " + VOX::version().toLatin1() + "\n");
    for (const QString command : {"demo", "sim", "scan", "call", "monitor", "replay", "goto"}) {
        const Result result = run({command, "--help"});
        QCOMPARE(result.code, 0);
        QVERIFY(result.out.startsWith("Usage: vox " + command.toLatin1())
                && result.out.contains("\nExample: vox "));
        QVERIFY(run({"--help"}).out.contains(command.toLatin1()));
    }
}

void tst_Vox::bashCompletes_data()
{
    QTest::addColumn<QByteArray>("found");
    QTest::newRow("vox mon") << QByteArray("monitor");
    QTest::newRow("vox sim --st") << QByteArray("--state");
    QTest::newRow("vox call 000101 ctrlMoveT") << QByteArray("ctrlMoveTo");
    QTest::newRow("vox call --json 000101 ctrlMoveTo MOVETO_PE") << QByteArray("MOVETO_PERCENT");
    QTest::newRow("vox monitor --command SET_NODE_L") << QByteArray("SET_NODE_LABEL");
    QTest::newRow("vox sim --node MA") << QByteArray("MARLO@");
    QTest::newRow("vox move 000101 d") << QByteArray("down");
    QTest::newRow("vox sim --config ex") << QByteArray();
    QTest::newRow("vox fly ") << QByteArray();
}

void tst_Vox::bashCompletes()
{
    QFETCH(QByteArray, found);
    const QString line = QTest::currentDataTag();
    const QString script =
        QString("source '%1'; COMP_LINE='%2'; COMP_WORDS=(%2); %4 COMP_CWORD=$((${#COMP_WORDS[@]} - 1));"
                "COMP_POINT=${#COMP_LINE}; vox() { '%3' \"$@\"; }; _vox; printf '%s' \"${COMPREPLY[*]}\"")
            .arg(VOX_SOURCE_DIR "/share/completion/vox.bash", line, program(),
                 line.endsWith(' ') ? "COMP_WORDS+=('');" : "");
    QProcess bash;
    bash.start("bash", {"-c", script});
    QVERIFY(bash.waitForFinished());
    QCOMPARE(bash.readAllStandardOutput(), found);
}

void tst_Vox::theManualNamesEveryCommand()
{
    const QByteArray page = run({"man"}).out;
    QVERIFY(page.startsWith(".TH VOX 1 "));
    for (const QByteArray command : {"demo", "sim", "replay", "goto"})
        QVERIFY2(page.contains("\n.SS \"vox " + command + " [options]"), command);
    QVERIFY(page.contains("\n\\fB\\-\\-state\\fR \\fIFILE\\fR\n"));
}

void tst_Vox::guidesWork_data()
{
    QTest::addColumn<QString>("command");
    for (const QString guide : {"docs/installer.md", "docs/tester.md"}) {
        QFile file(QStringLiteral(VOX_SOURCE_DIR "/") + guide);
        QVERIFY(file.open(QIODevice::ReadOnly));
        for (const QString &line : QString::fromUtf8(file.readAll()).split('\n')) {
            // What runs until it is interrupted has tests of its own, as has what is shown with its output.
            if (line.startsWith("    vox ")
                && !line.contains(QRegularExpression(" (sim|monitor|replay|demo) "))
                && !line.contains("--bus"))
                QTest::addRow("%s:%s", qPrintable(guide), qPrintable(line)) << line.trimmed();
        }
    }
    for (const Command &command : commands()) {
        const QString example = CommandDescription::of(command).example;
        QVERIFY2(example.startsWith("vox " + command.name), qPrintable(command.name));
        if (!QStringList{"demo", "sim", "monitor", "replay"}.contains(command.name))
            QTest::addRow("help of %s", qPrintable(command.name)) << example;
    }
}

void tst_Vox::guidesWork()
{
    QFETCH(QString, command);
    static const Simulation simulation(
        {"--config", VOX_SOURCE_DIR "/examples/network/floor.json", "--speed", "100"});
    QVERIFY(simulation.isReady);
    QProcess bash;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("VOX_BUS", simulation.hostUrl);
    bash.setProcessEnvironment(environment);
    bash.start("bash", {"-c", QString("vox() { '%1' \"$@\"; }; %2").arg(program(), command)});
    QVERIFY(bash.waitForFinished());
    QVERIFY2(bash.exitCode() == 0, bash.readAllStandardError());
}

QTEST_GUILESS_MAIN(tst_Vox)
#include "tst_vox.moc"
