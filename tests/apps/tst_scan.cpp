#include "support/columns.h"
#include "support/documented.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/program.h"
#include "support/ptyport.h"
#include "vox/line/lineitem.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <unistd.h>

/// Which nodes and which settings are found on a line.
class tst_Scan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scanFindsAllNodes();
    void scanOnANoisyLine();
    void aPortIsProbed();
};

void tst_Scan::scanFindsAllNodes()
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
void tst_Scan::scanOnANoisyLine()
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

// A pseudo-terminal keeps the rate that its user sets, and whether the parity would be odd. Its other end
// sends frames where both are right, and else noise, or zeros as from a line that is held low.
void tst_Scan::aPortIsProbed()
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

QTEST_GUILESS_MAIN(tst_Scan)
#include "tst_scan.moc"
