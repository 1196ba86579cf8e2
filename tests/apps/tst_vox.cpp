#include "messages/vox.h"
#include "support/captures.h"
#include "support/columns.h"
#include "support/documented.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/ptyport.h"
#include "support/udppair.h"
#include "vox/commands.h"
#include "vox/line/pcapfile.h"
#include "vox/outputqueue.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
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
    void scanOnANoisyLine();
    void infoTellsAll();
    void jsonIsAsDocumented();
    void aMoveIsFollowed();
    void outputThatCannotBeWritten();
    void aSimulationWaitsForNoReader();
    void aLineIsWatchedAndReplayed();
    void whatNobodyReadsKeepsItsTime();
    void answersAreCompared();
    void replayKeepsTime();
    void aSimulationObeysLines();
    void aPortIsProbed();
    void aSimulationTellsWhatHostsDo();
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
    row("",
        "one of demo, sim, test, record, scan, ping, counters, call, monitor, top, replay, probe, bridge, "
        "panel, "
        "move");
    row("fly", "unknown command 'fly'; one of demo, sim");
    row("help fly", "unknown command 'fly'; one of demo, sim");
    row("Scn", "unknown command 'Scn'; did you mean 'scan'?");
    row("moni", "unknown command 'moni'; did you mean 'monitor'?");
    row("demo now", "unexpected 'now'");
    row("status", "vox status: an argument is missing");
    row("sim", "no node");
    row("sim --fast", "Unknown option 'fast'");
    row("monitor -fast", "Unknown option 'fast'");
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
    row("probe --seconds 0", "--seconds is to be a number from 0.1 to 60");
    row("probe", "is no serial port, and has neither rate nor parity");
    row("scan --bus serial:///dev/ttyUSB0?baud=0",
        "'baud=0' in 'serial:///dev/ttyUSB0?baud=0'; a serial bus takes");
    row("monitor --bus mcast://239.0.0.1:4810 line.pcap", "a bus is shown or a capture, not both");
    row("scan --range 000300", "--range: '000300' is no range; 000300-00031F is one");
    row("scan --range 000300-0310", "--range: '0310' is no address of six hexadecimal digits");
    row("scan --range 000302-000301", "--range: the range ends before it begins: 000301 is below 000302");
    row("scan --range 000001-010001", "--range: a range has at most 65536 addresses");
    row("scan --rounds none", "--rounds is to be a number from 1 to 1000");
    row("scan --compare /bin/sh", "--compare: /bin/sh: illegal value in line 1");
    row("scan --compare " VOX_SOURCE_DIR "/examples/scenario/lunch.json", "nodes: is to be an array");
    row("scan --bus tcp://1.2.3.4:5", "'tcp://1.2.3.4:5' is no bus");
    row("scan --bus udp://127.0.0.1", "'udp://127.0.0.1' is no bus; udp://127.0.0.1:4800?local=4801 is one");
    row("scan --bus udp://127.0.0.1:4810?local=x", "'local=x'");
    row("scan --bus udp://127.0.0.1:4810?bind=192.0.2.1", "cannot open"); // of another machine
    row("scan --bus mcast://127.0.0.1:4810", "127.0.0.1 is no multicast group");
    row("scan --bus mcast://239.0.0.1:4810?local=1", "'local=1'");
    row("scan --bus udp://no-such-host.invalid:4810", "the host 'no-such-host.invalid' is not known: ");
    row("scan --bus mcast://localhost:4810", "127.0.0.1 is no multicast group");
    row("scan --bus /dev/no-such-port", "cannot open /dev/no-such-port: No such");
    row("scan --bus serial:///dev/no-such-port", "cannot open /dev/no-such-port");
    row("replay /bin/sh", "is no capture");
    row("monitor --write /no/such/capture", "cannot write /no/such/capture");
    row("monitor --command ACK --command FLY", "unknown command 'FLY'; docs/commands.md lists them");
    row("monitor --command 0e", "unknown command '0e'; did you mean 'GET_MOTOR_STATUS'?");
    row("monitor --write --json", "'--json' looks like an option, not like a file; ./--json is a file");
    row("record -- -x", "'-x' looks like an option");
    row("sim --node NODE@000001 --log xml", "--log is to be text or json");
    row("sim --node NODE@000001 --write -", "--write: standard output belongs to the console");
    row("call 000001", "operations are getNodeAddr");
    row("call 000001 fly", "unknown operation 'fly'; one of getNodeAddr");
    row("call 000001 0x0E", "unknown operation '0x0E'; did you mean 'getMotorStatus'?");
    row("call 000001 getmotorStatsu", "did you mean 'getMotorStatus'?");
    row("call 000001 ctrlMoveTo percent 50", "MOVETO_PERCENT; did you mean 'MOVETO_PERCENT'?");
    row("call 000001 ctrlMoveTo 0", "ctrlMoveTo FUN POSITION TILT or ctrlMoveTo FUN POSITION");
    row("call 000001 ctrlMoveTo HOME 0", "fun: 'HOME' is not a number from 0 to 255 or one of MOVETO_DOWN");
    row("call 000001 setNodeLabel 日本", "str: '日本' is not text of up to 16 characters of Latin-1");
    row("call 000001 sendDataTest2 eleven-long", "data: 'eleven-long' is not text of up to 10 characters");
    row("call 000001 ctrlStop", "all arguments of ctrlStop are left out: --defaults lets it act so");
    row("call 000001 getGroupAddr 256", "idx: '256' is not a number from 0 to 255");
    row("move 000101 left", "vox move: 'left' is neither up nor down");
    row("move 000101 up --time 2600", "vox move: --time is to be a number from 10 to 2550");
    row("stop group:1", "vox stop: 'group:1' is no group; group:00A001 is one");
    row("stop group:000000", "'group:000000' is no group: 000000 stands for an empty slot");
    row("stop group:FFFFFF", "'group:FFFFFF' is no group");
    row("stop ALL", "'ALL' is no target; did you mean 'all'?");
    row("stop Gruop:00A001", "'Gruop:00A001' is no target; did you mean 'group:00A001'?");
    row("status 101h", "'101h' is no address of six hexadecimal digits; did you mean 000101?");
    row("goto 000101 UP", "and pulses are; did you mean 'up'?");
    row("goto 000101 101%", "vox goto: '101%' is no position: up, down, 0% to 100%, ip:1 and pulses are");
    row("goto all up --wait", "vox goto: --wait is for one node at a time");
    row("lock all", "vox lock: 'lock' goes to one node at a time");
    row("label 000101 seventeen-letters", "vox label: a label has up to 16 characters of Latin-1");

    // What reaches a node: the exit code, and how the answer begins.
    row("call 000101 setMotorLimits LIMIT_PULSES LIMIT_DOWN 0xbb8", "0 ACK\n");
    row("call 000101 ctrlMoveTo moveto_percent 30", "0 ACK\n");
    row("goto 000101 50", "0 ACK\n! vox goto: 50 pulses, not percent; '50%' is percent\n");
    row("goto 000101 101", "0 ACK\n");
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
    row("info 000401",
        "0 000401 NODETYPE_ANY Gateway\n  serial: GW2026110001\n  appVersion: 0-000-0\n  stackVersion: "
        "0-000-0\n"
        "  motor: -\n  groups: none\n  network: bcastMode BCAST_ON, maxRand 20, supervision false,\n"
        "    supervisionPeriod 0, deafMode false\n  frames: ");
    row("info 000401 --quick --json",
        "0 "
        "{'address':'000401','fields':{'appVersion':'0-000-0','label':'Gateway','limits':null,'networkLock':"
        "null,"
        "'position':null,'serial':'GW2026110001','speeds':null,'stackVersion':'0-000-0','status':null},"
        "'type':'NODETYPE_ANY'}\n");
    row("info 000301",
        "1 NACK BADMSG\n! vox info: 000301 is a motor of the older generation; 'vox call 000301 hrmv2:");
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
        QVERIFY(QJsonDocument::fromJson(simulation.run(line + " --json").mid(2).split('\n')[0]).isObject());
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
    const QJsonObject gateway = {{"address", "000401"},    {"appVersion", "0-000-0"}, {"label", "Gateway"},
                                 {"type", "NODETYPE_ANY"}, {"answeredRounds", 3},     {"rounds", 3}};
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

// Faults that the simulation makes, and what is then found and said.
void tst_Vox::scanOnANoisyLine()
{
    const QTemporaryDir folder;
    const QString file = folder.filePath("list.json");
    Simulation simulation("--node TB20@000001 --node TB20@000002 --node HRMV2@000003");
    simulation.run("label 000001 Hall");
    const auto row = [&](const QByteArray &faults, const QString &options, const QByteArray &said) {
        simulation.process.write("clear\n" + QByteArray(faults).replace("; ", "\n") + "\nfaults\n");
        while (!simulation.process.readAllStandardOutput().contains('\n'))
            QVERIFY(simulation.process.waitForReadyRead(5000));
        QString actual = simulation.run("scan " + options);
        actual.remove("NODETYPE_").replace(QRegularExpression(" {2,}"), " ");
        QCOMPARE(list(faults, actual), list(faults, said));
    };
    const QByteArray one = "000001 TB20 Hall 0-000-0";
    const QByteArray two = "000002 TB20 0-000-0";
    const QByteArray both = "0 " + one + '\n' + two + '\n';
    const QByteArray doubt = "others may be missing";
    row("", "", both);
    // Not before the third round.
    row("drop 000002 command GET_NODE_ADDR count 2", "", both);
    row("drop 000002 command GET_NODE_ADDR count 2", "--rounds 2", "0 " + one + '\n');
    row("drop 000002 command GET_NODE_ADDR count 2", "--rounds 3",
        both.chopped(1) + " answered once in 3 rounds\n! vox scan: 1 node answered once only: " + doubt
            + '\n');
    row("corrupt 000002 command GET_NODE_ADDR count 2", "--rounds 3 --json",
        "0 [{\"address\":\"000001\",\"answeredRounds\":3,\"appVersion\":\"0-000-0\",\"label\":\"Hall\","
        "\"rounds\":3,\"type\":\"TB20\"},{\"address\":\"000002\",\"answeredRounds\":1,\"appVersion\":\"0-000-"
        "0\","
        "\"label\":\"\",\"rounds\":3,\"type\":\"TB20\"}]\n! vox scan: 2 answers came damaged, 1 node "
        "answered once "
        "only: others may be missing\n");
    // What the nodes are asked then is asked again once.
    row("drop 000001 command GET_NODE_LABEL count 1; drop 000001 command GET_NODE_APP_VERSION count 1",
        "--rounds 1", both);
    // Bytes beside an answer are no damage.
    row("noise 3 000001 command GET_NODE_LABEL", "--rounds 1", both);
    row("corrupt 000001 command GET_NODE_LABEL count 2", "--rounds 1",
        "0 000001 TB20 ? 0-000-0\n" + two + "\n! vox scan: 2 answers came damaged: " + doubt + '\n');
    row("corrupt 000003 count 1", "--range 000003-000003",
        "0 000003 ANY ? older generation\n! vox scan: 1 answer came damaged: " + doubt
            + "; --rounds 10 looks longer\n");
    row("drop 000003 count 1", "--range 000003-000003 --rounds 2", "0 000003 ANY ? older generation\n");

    const auto compare = [&](const QByteArray &faults, const QByteArray &listed, const QByteArray &said) {
        setContents(file, listed);
        row(faults, "--rounds 1 --compare " + file, said);
    };
    const QByteArray all = R"({"nodes": [{"model": "TB20", "address": "000001-000002", "label": ""},)"
                           R"({"model": "HRMV2", "address": "000003"}]})";
    compare("", QByteArray(all).replace("label\": \"\"", "groups\": []"), "0 3 of 3 nodes as in list.json\n");
    compare("drop 000003", all,
            "1 missing 000003\nchanged 000001 label: 'Hall', listed as ''\n"
            "1 of 3 nodes as in list.json, 1 missing, 1 changed\n");
    compare("", R"([{"address": "000001", "type": "NODETYPE_QM75", "label": null, "appVersion": "1-A00-0"}])",
            "1 new 000002 TB20 0-000-0\nchanged 000001 type: 'TB20', listed as 'QM75'\n"
            "changed 000001 appVersion: '0-000-0', listed as '1-A00-0'\n0 of 1 node as in list.json, 1 new, "
            "1 changed\n");
    const QByteArray said = simulation.run("scan --rounds 1 --json --compare " + file);
    const QJsonObject result = QJsonDocument::fromJson(said.mid(2)).object();
    QCOMPARE(result.keys(), documented("vox scan --compare", "the result"));
    QCOMPARE(
        undocumented("vox scan", "a node; all of them are one array", result["new"].toArray()[0].toObject()),
        QString());
    QCOMPARE(undocumented("vox scan --compare", "an element of `changed`",
                          result["changed"].toArray()[0].toObject()),
             QString());
}

// Of commands whose JSON no other test looks at.
void tst_Vox::jsonIsAsDocumented()
{
    Simulation simulation(Floor);
    const auto lastOf = [&](const QString &line, int count) {
        const QByteArrayList lines = simulation.run(line + " --json").mid(2).trimmed().split('\n');
        return lines.size() == count ? QJsonDocument::fromJson(lines.last()).object() : QJsonObject();
    };
    const QString list = QString(Floor).replace("--config", "--compare");
    const QJsonObject sum = lastOf("ping 000101 --count 1 " + list, 2)["sum"].toObject();
    QCOMPARE(sum.keys(), documented("vox ping", "`sum`, at the end"));
    const QJsonObject node = lastOf("counters 000102 --wait 1", 2);
    QCOMPARE(node.keys(), documented("vox counters", "a node"));
    QCOMPARE(undocumented("vox counters", "`counters` that the node has", node["counters"].toObject()),
             QString());
}

// What is not known is a dash, and what is lost is asked for again.
void tst_Vox::infoTellsAll()
{
    Simulation simulation(Floor);
    simulation.process.write(
        "drop 000102 command GET_APP_MODE count 1\nnack BUSY 000102 command GET_GROUP_ADDR\n"
        "drop 000102 command GET_MOTOR_DIRECTION\nfaults\n");
    QVERIFY(simulation.process.waitForReadyRead(5000));
    const QByteArray told = simulation.run("info 000101") + simulation.run("info 000102");
    for (const char *line :
         {"groups: 00A001, 00A0FF", "intermediatePositions: 1 at 3000 pulses, 2 at 9000 pulses",
          "dctLocks: none", "networkErrors: none", "mode: ROLLER", "direction: TURN_NORMAL", "moves: 0",
          "encoderErrors: -", "resets: 0",
          // the other one
          "groups: -", "mode: CURTAIN", "direction: no answer"})
        QVERIFY2(told.contains("\n  " + QByteArray(line) + '\n'), told);
    const QByteArray json = simulation.run("info 000102 --json");
    QVERIFY(json.startsWith("1 "));
    const QJsonObject node = QJsonDocument::fromJson(json.mid(2)).object();
    QCOMPARE(node["unanswered"].toArray(), QJsonArray{"direction"});
    QCOMPARE(node["fields"].toObject()["groups"], QJsonValue(QJsonValue::Null));
    const QJsonObject lobby =
        QJsonDocument::fromJson(simulation.run("info 000101 --json").mid(2)).object()["fields"].toObject();
    QCOMPARE(lobby.keys(), documented("vox info", "`fields`, null for what the node does not know"));
    QCOMPARE(lobby["groups"].toArray().at(1).toObject(), (QJsonObject{{"group", "00A0FF"}, {"index", 1}}));
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
        QCOMPARE(queue.push(text), i < 4);
    QCOMPARE(queue.takeDropped(), 0);
    QByteArray part(1 << 20, '\0');
    for (qint64 left = 4 * text.size(); left > 0;)
        left -= ::read(pipe[0], part.data(), size_t(part.size()));
    int dropped = 0;
    QTRY_COMPARE(dropped += queue.takeDropped(), 2);

    // A capture that nobody reads loses whole records, and tells how many.
    const int output = ::dup(STDOUT_FILENO);
    QVERIFY(::dup2(pipe[1], STDOUT_FILENO) != -1);
    PcapWriter writer;
    QString problem;
    const bool isOpen = writer.openOutput(PcapWriter::Hurries, &problem);
    const LineItem item = LineItem::noFrame(QByteArray(1008, '?'), 0);
    // With their heads they are longer than what waits here, and in the pipe.
    for (qint64 left = OutputQueue::MaxBytes + 100 * 1024; isOpen && left > 0; left -= 1024)
        writer.write(item);
    ::dup2(output, STDOUT_FILENO);
    QVERIFY2(writer.leftOut() > 0 && writer.leftOut() <= 100, qPrintable(problem));
    ::close(pipe[0]);
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
    // An answer counts with its request, and a node with what is sent to it.
    for (const QString filter : {"--command GET_NODE_LABEL", "--address 00A1B2", "--address 00A1B3"}) {
        const QByteArray told = run(QString("monitor --json --stats %1 %2").arg(filter, capture));
        const QJsonObject stats = QJsonDocument::fromJson(told.mid(told.lastIndexOf("{\"stats\""))).object();
        QCOMPARE(stats["stats"]["frames"].toInt(), filter.endsWith('L') ? 2 : filter.endsWith('2') ? 4 : 0);
    }
    QVERIFY(run(QString("monitor %1 --write %1").arg(capture)).startsWith("2 ! "));
    QVERIFY(run("replay " + capture, "pty:").startsWith("2 ! "));
    // To another program, which may leave.
    const QString copy = folder.filePath("copy.pcap");
    const QByteArray piped = shell(QString("vox monitor %1 --write - --stats >%2").arg(capture, copy), url);
    QVERIFY2(piped.startsWith("0 ! 4 frames, "), piped);
    QVERIFY(contents(copy) == contents(capture));
    const Simulation another("--node NODE@00A1B2", url);
    for (const int size : {24 + 2 * 16 + 11 + 27, 25}) {
        QProcess pipeline;
        const QString script("set -o pipefail; VOX_BUS=%1 '%2' monitor --write - | head -c %3");
        pipeline.start("bash", {"-c", script.arg(url, Program).arg(size)});
        pipeline.setReadChannel(QProcess::StandardError);
        QVERIFY(pipeline.waitForReadyRead(10000));
        QByteArray followed;
        // That the reader has left shows when more is written.
        for (int asked = 0; asked < 9 && pipeline.state() != QProcess::NotRunning; ++asked) {
            QVERIFY(another.run("label 00A1B2").startsWith("0 "));
            QTRY_COMPARE((followed += pipeline.readAllStandardOutput()).size(), size);
            pipeline.waitForFinished(100);
        }
        QTRY_COMPARE(list(pipeline.state(), pipeline.exitCode()), list(QProcess::NotRunning, 1));
        QCOMPARE(pipeline.readAllStandardError().count('\n'), 1);
    }
    // With one peer, not all of a line can be seen.
    QProcess blinkered;
    const QString peer = QString("udp://127.0.0.1:4800?local=%1").arg(freeUdpPorts().first);
    QVERIFY(listening(blinkered, QString(), peer)
                .contains("and neither what this machine sends nor what goes between others"));
    QCOMPARE(exitCode(blinkered, SIGTERM), 0);
    QVERIFY(QFile::resize(capture, 100));
    QVERIFY(run("replay " + capture, url).contains("cannot be read beyond 2 records"));
}

// Nobody reads what the monitor shows, and it may even stand still: the times are those of the line.
void tst_Vox::whatNobodyReadsKeepsItsTime()
{
    const QTemporaryDir folder;
    const QString capture = folder.filePath("line.pcap"), output = folder.filePath("output");
    const int port = freeUdpPorts().first;
    QCOMPARE(::mkfifo(QFile::encodeName(output).constData(), 0600), 0);
    QFile reader;
    QVERIFY(reader.open(::open(QFile::encodeName(output).constData(), O_RDONLY | O_NONBLOCK),
                        QIODevice::ReadOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle));
    QProcess monitor;
    monitor.setStandardOutputFile(output);
    start(monitor, "monitor --json --write " + capture, QString("udp://127.0.0.1:4800?local=%1").arg(port));
    monitor.setReadChannel(QProcess::StandardError);
    QVERIFY(monitor.waitForReadyRead(10000));
    QUdpSocket peer;
    const QByteArray request = line(frame("0E", 0x000101)),
                     answer = line(frameFrom(0x000101, "0F 0000000000"));
    const auto send = [&](const QByteArray &bytes) {
        peer.writeDatagram(bytes, QHostAddress(QHostAddress::LocalHost), quint16(port));
    };
    constexpr int Fill = 1000, Asked = 5;
    for (int i = 0; i < Fill; ++i)
        send(request);
    // All is heard though the pipe has been full for long.
    const int start = 24, record = 16 + request.size();
    QTRY_COMPARE(QFileInfo(capture).size(), qint64(start + Fill * record));
    ::kill(pid_t(monitor.processId()), SIGSTOP);
    QVector<double> askedMs;
    for (int i = 0; i < Asked; ++i) {
        QElapsedTimer clock;
        clock.start();
        send(request);
        QThread::msleep(15);
        askedMs += double(clock.nsecsElapsed()) / 1e6;
        send(answer);
    }
    ::kill(pid_t(monitor.processId()), SIGCONT);
    QTRY_VERIFY(QFileInfo(capture).size() >= start + Fill * record + Asked * (record + 16 + answer.size()));
    std::vector<LineItem> items;
    QString problem;
    QVERIFY2(readPcap(capture, &items, &problem), qPrintable(problem));
    for (int i = 0; i < Asked; ++i) {
        const std::size_t at = std::size_t(Fill + 2 * i);
        const double ms = double(items.at(at + 1).timeNs - items.at(at).timeNs) / 1e6;
        QVERIFY2(qAbs(ms - askedMs.at(i)) < 3, qPrintable(list(ms, askedMs.at(i))));
    }
    ::kill(pid_t(monitor.processId()), SIGTERM);
    QByteArray shown;
    QTRY_COMPARE((shown += reader.readAll()).count('\n'), Fill + 2 * Asked);
    QTRY_COMPARE(int(monitor.state()), int(QProcess::NotRunning));
    QCOMPARE(monitor.exitCode(), 0);
}

// What a host has asked on one line is asked again on others.
void tst_Vox::answersAreCompared()
{
    const QTemporaryDir folder;
    const QString url = multicastUrl(), capture = folder.filePath("host.pcap");
    QProcess monitor;
    start(monitor, "monitor --write " + capture, url);
    monitor.setReadChannel(QProcess::StandardError);
    QVERIFY(monitor.waitForReadyRead(10000));
    {
        const Simulation recorded(Floor, url);
        for (const char *line : {"scan", "position 000101", "goto 000101 ip:7", "status 000102"})
            QVERIFY(!recorded.run(line).startsWith("2 "));
        exitCode(monitor, SIGTERM);
    }
    const auto row = [&](const QByteArray &what, const QByteArray &with, const QString &said) {
        const QString floor = folder.filePath("floor.json");
        setContents(floor, contents(VOX_SOURCE_DIR "/examples/network/floor.json").replace(what, with));
        const Simulation simulation("--config " + floor);
        QString actual = simulation.run("replay --compare --speed 100 " + capture);
        actual.replace(QRegularExpression("(\\d+) of \\1 requests sent; \\d+ answers the same"), "all sent");
        QCOMPARE(actual.remove(QRegularExpression("\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d  ")), said);
        if (!said.contains("missing:"))
            return;
        const QByteArrayList lines =
            simulation.run("replay --json --compare --speed 100 " + capture).trimmed().split('\n');
        const QJsonObject sum = QJsonDocument::fromJson(lines.last()).object();
        QCOMPARE(list(sum["different"].toInt(), sum["missing"].toInt(), lines.size()), list(3, 1, 5));
        QCOMPARE(sum.keys(), documented("vox replay --compare", "the end"));
        const QJsonObject missing = QJsonDocument::fromJson(lines.at(3)).object();
        QCOMPARE(missing.keys(), documented("vox replay --compare", "an answer that is not as it was"));
        QCOMPARE(missing["was"].toObject().keys(), documented("vox replay --compare", "`was` and `is`"));
    };
    row("", "", "0 all sent, 0 different, 0 missing\n");
    row("Lobby", "Foyer",
        "1 000101  GET_NODE_LABEL  different: label=Foyer, was Lobby\nall sent, 1 different, 0 missing\n");
    row("\"nodes\"",
        "\"faults\": [\"nack BUSY 000101 command CTRL_MOVETO\", \"nack BUSY 000101 command "
        "GET_MOTOR_POSITION\","
        "\"drop 000102 command GET_MOTOR_STATUS\", \"twice 000103 command GET_NODE_LABEL\"],\"nodes\"",
        "1 000103  GET_NODE_LABEL  different: POST_NODE_LABEL  label=Terrace, was no answer\n"
        "000101  GET_MOTOR_POSITION  different: NACK  status=BUSY, was POST_MOTOR_POSITION  position=3000 "
        "pulses"
        "  percent=25 %  tilt=none  ip=1\n"
        "000101  CTRL_MOVETO  different: status=BUSY, was IP_NOT_SET\n"
        "000102  GET_MOTOR_STATUS  missing: was POST_MOTOR_STATUS  state=STATE_STOPPED  "
        "direction=DIRECTION_DOWN"
        "  source=SOURCE_INTERNAL  cause=CAUSE_NONE\nall sent, 3 different, 1 missing\n");
    QVERIFY(run("replay --only-host " + capture, url).contains(" requests sent\n"));
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

// A pseudo-terminal keeps the rate that its user sets, and whether the parity would be odd. Its other end
// sends frames where both are right, and else noise, or zeros as from a line that is held low.
void tst_Vox::aPortIsProbed()
{
    PipeDevice wire;
    const PtyPort pty(wire);
    wire.open(QIODevice::ReadWrite);
    const int port = ::open(qPrintable(pty.name), O_RDWR | O_NOCTTY);
    const auto isRight = [port](unsigned int rate, bool isOdd) {
        termios settings{};
        ::tcgetattr(port, &settings);
        return ::cfgetospeed(&settings) == rate && ((settings.c_cflag & PARODD) != 0) == isOdd;
    };
    const QByteArray talk = line(frame("0E", 0x000101));
    const auto row = [&](const QString &options, const std::function<QByteArray()> &said,
                         const std::function<QByteArray(const QByteArray &)> &answer, int lines,
                         const QByteArray &result) {
        QTimer timer;
        connect(&timer, &QTimer::timeout, &timer, [&] { wire.write(said()); });
        const auto listening =
            connect(&wire, &QIODevice::readyRead, &timer, [&] { wire.write(answer(wire.readAll())); });
        timer.start(5);
        QProcess probe;
        start(probe, "probe " + options, "serial://" + pty.name);
        QTRY_COMPARE_WITH_TIMEOUT(int(probe.state()), int(QProcess::NotRunning), 20000);
        const QByteArray output = probe.readAllStandardOutput() + probe.readAllStandardError();
        if (output.startsWith('{')) {
            const QJsonObject found = QJsonDocument::fromJson(output).object();
            QCOMPARE(found.keys(), documented("vox probe", "the result"));
            QCOMPARE(found["tried"][0].toObject().keys(), documented("vox probe", "an element of `tried`"));
        }
        QVERIFY2(output.contains(QByteArray(result).replace("%1", pty.name.toLocal8Bit())), output);
        QCOMPARE(list(output.count('\n'), probe.exitCode()), list(lines, result.contains("probe: ") ? 1 : 0));
        disconnect(listening);
    };
    const auto silence = [] { return QByteArray(); };
    const auto nothing = [](const QByteArray &) { return QByteArray(); };
    row(
        "--seconds 0.2", [&] { return isRight(B9600, false) ? talk : QByteArray(31, '\0') + "noise"; },
        nothing, 10, "\n 9600  even               3              0      33  not counted\n");
    row(
        "--seconds 0.2 --json", [&] { return isRight(B4800, true) ? talk : QByteArray(); }, nothing, 1,
        "\"bus\":\"serial://%1?baud=4800&parity=odd\"");
    const auto answer = [&](const QByteArray &asked) {
        const QByteArray all = line(frameFrom(1, "60")) + line(frameFrom(2, "60")) + line(frameFrom(3, "60"));
        const VOXMessage frame = LineItem::of(asked, 0).frame;
        const bool isForUs = frame.cmd() == 0x40 || (frame.cmd() == 0x45 && frame.destAddr(false) == 2);
        return asked + (isForUs && isRight(B9600, true) ? all : QByteArray());
    };
    // Of all that comes back, what has been sent does not count.
    for (const char *who : {"--ask", "--node 000002"})
        row(QString("--seconds 0.2 ") + who, silence, answer, 9,
            " 9600  odd                3              0      33  not counted\n\nThe line has 9600 bit/s, odd "
            "parity:"
            "\n\n    export VOX_BUS='serial://%1?baud=9600&parity=odd'\n");
    row(
        "--seconds 0.1", [] { return QByteArray(31, '\0') + "noise"; }, nothing, 23,
        "probe: bytes came, but ");
    int turn = 0;
    row(
        "--seconds 0.8", [&] { return ++turn % 10 == 0 ? QByteArray("\x25\x82\0", 3) : QByteArray(); },
        nothing, 3, "probe: no frame is valid, and the line rests low: its two wires are swapped");
    ::close(port);
}

// Also where nobody else can watch. All that it says is JSON, line by line.
void tst_Vox::aSimulationTellsWhatHostsDo()
{
    const QTemporaryDir folder;
    const QString capture = folder.filePath("host.pcap");
    const QHostAddress here(QHostAddress::LocalHost);
    const auto ports = freeUdpPorts();
    QUdpSocket host;
    QVERIFY(host.bind(here, ports.second));
    QProcess sim;
    start(sim,
          QString("sim --node NODE@000002 --json --log json --write %1 "
                  "--bus udp://127.0.0.1:%2?local=%3&bind=127.0.0.1")
              .arg(capture)
              .arg(ports.second)
              .arg(ports.first),
          QString());
    QByteArray output;
    const auto says = [&](const QByteArray &text) {
        while (!output.contains(text) && sim.waitForReadyRead(5000))
            output += sim.readAllStandardOutput();
        const bool isSaid = output.contains(text);
        output.remove(0, output.indexOf(text));
        return isSaid;
    };
    QVERIFY(says("ready"));
    const QByteArray asked = line(frame("79 55", 2));
    const auto send = [&](const QByteArray &bytes) { host.writeDatagram(bytes, here, quint16(ports.first)); };
    send(asked);
    QVERIFY(says("POST_DATA_TEST1"));
    // No receiver takes it. It is seen all the same.
    send(asked.chopped(1) + '?');
    QVERIFY(says("\"check\":\"failed\""));
    send("noise");
    QVERIFY(says("\"garbage\":\"6E 6F 69 73 65\""));
    const std::pair<QByteArray, QByteArray> rows[] = {
        {"drop 000002 command send_data_test1",
         "{\"added\":{\"fault\":\"drop 000002 command SEND_DATA_TEST1\",\"happened\":0,\"number\":1}}\n"},
        {"at 100ms for 200ms nack busy all", "{\"planned\":{\"inMs\":100,"},
        {"faults", "\"planned\":[{\"inMs\":"},
        {"remove 1", "{\"removed\":{\"fault\":\"drop 000002 "},
        {"", "{\"added\":{\"endsInMs\":200,\"fault\":\"nack BUSY\",\"happened\":0,\"number\":2}}\n"},
        {"", "{\"removed\":{\"fault\":\"nack BUSY\""},
        {"faults", "{\"faults\":[],\"planned\":[]}\n"},
        {"at 9s quit", "\"number\":3"},
        {"remove 3", "{\"removed\":{\"line\":\"quit\",\"number\":3}}\n"},
        {"remove 3", "{\"error\":\"nothing has the number '3'"},
        {"at soon quit", "{\"error\":\"'soon' is no time"},
        {"for 3s", "{\"error\":\"what is to be done is missing"},
        {"drop all count 1 count 2", "{\"error\":\"'count 2' is too much; one fault has one count"},
        {"drop all command ACK command NACK", "{\"error\":\"'command NACK' is too much; one fault has one"},
        {"drop 000001 000002", "{\"error\":\"'000002' is not understood"},
        {"clear", "{\"cleared\":0}\n"},
        {"help", "{\"help\":\"status"},
        {"status", "\"model\":\"NODE\""},
    };
    for (const auto &[line, answer] : rows) {
        if (!line.isEmpty())
            sim.write(line + '\n');
        QVERIFY2(says(answer), line + ": " + output);
        const QJsonObject object = QJsonDocument::fromJson(output.left(output.indexOf('\n'))).object();
        const QString what = object.isEmpty() ? QString() : object.keys().first();
        if (QStringList{"added", "removed", "planned"}.contains(what))
            QCOMPARE(undocumented("vox sim",
                                  "what is `added`, `removed`, `planned`, or an element of `faults`",
                                  object[what].toObject()),
                     QString());
        else if (!object.isEmpty() && what != "faults" && !object.contains("model"))
            QCOMPARE(undocumented("vox sim", "an answer on the console", object), QString());
        output.remove(0, 1);
    }
    sim.write("quit\n");
    QCOMPARE(exitCode(sim), 0);
    QCOMPARE(sim.readAllStandardError(), QByteArray());

    std::vector<LineItem> items;
    QString problem;
    QVERIFY2(readPcap(capture, &items, &problem), qPrintable(problem));
    QByteArrayList seen;
    for (const LineItem &item : items)
        seen += item.bytes + char('0' + item.verdict);
    QCOMPARE(
        seen,
        (QByteArrayList{asked + '0', line(frameFrom(2, "7A 55")) + '0', asked.chopped(1) + "?2", "noise3"}));
}

void tst_Vox::everyCommandHasHelp()
{
    QCOMPARE(run("--version"), "0 vox " + VOX::version().toLatin1() + "\n");
    const QByteArray all = run("--help");
    const QByteArray manual = run("man");
    // An option, and an example's hyphens.
    for (const char *part : {"0 .TH VOX 1 ", "\n\\fB\\-\\-state\\fR \\fIFILE\\fR\n", "50% \\-\\-wait\n"})
        QVERIFY2(manual.contains(part), part);
    QVERIFY(run("call ctrlMoveOf --help").contains("\n  TILT: a number from 0 to 255; 255 without it\n"));
    for (const QByteArray command :
         {"demo", "sim", "test", "scan", "call", "monitor", "replay", "probe", "panel", "goto"}) {
        const QByteArray help = run(command + " --help");
        QVERIFY2(help.startsWith("0 Usage: vox " + command), help);
        QVERIFY2(help.contains("\nExample: vox "), help);
        for (const QByteArray &text : help.left(help.indexOf("Example")).split('\n'))
            QVERIFY2(text.size() <= 82, text); // 80, and the exit code before the first line
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
    row("vox sim --log j", "json");
    row("vox help mon", "monitor");
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
    const QRegularExpression others(
        "vox (?!sim|test|monitor|top|replay|demo|record|probe|bridge|panel)(?!.*--bus|.*site\\.json)");
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
