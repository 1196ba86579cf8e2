#include "support/columns.h"
#include "support/program.h"

#include <QJsonDocument>
#include <QJsonObject>

/// What the program says of its command lines, and what nodes answer to them.
class tst_CommandLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLines_data();
    void commandLines();
};

void tst_CommandLines::commandLines_data()
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

void tst_CommandLines::commandLines()
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

QTEST_GUILESS_MAIN(tst_CommandLines)
#include "tst_commandlines.moc"
