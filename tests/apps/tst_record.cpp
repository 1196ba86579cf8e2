#include "simulation/voxsimulation.h"
#include "support/captures.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/udppair.h"

#include <csignal>

/// `vox record` as people run it.
class tst_Record : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines();
};

void tst_Record::lines_data()
{
    const auto row = columns<int, QByteArray>("nodes", "said");
    row("--node 000101 --quick OUT", 1, "0 1 node in OUT\n");
    row("--node 000102 OUT", 0, "1 ! 000102 has not answered\nnobody has answered, nothing is written\n");
    row("--quick no/such/OUT", 0, "2 ! cannot write no/such/OUT: No such file or directory\n");
    row("--json --quick --node 000101 --node 000102 OUT", 1,
        "1 "
        "{\"address\":\"000101\",\"refused\":0,\"silent\":false,\"unanswered\":[]}\n{\"address\":\"000102\","
        "\"refused\":0,\"silent\":true,\"unanswered\":[\"GET_NODE_APP_VERSION\"]}\n"
        "{\"file\":\"OUT\",\"nodes\":1,\"partial\":false}\n! 000102 has not answered\n");
    // It is interrupted at the 20th request.
    row("--node 000101 OUT", 1, "1 1 node in OUT\n! ended early: OUT holds what is known so far\n");
    row("--from heard.pcap OUT", 1,
        "0 1 node in OUT\n! 000102 was not asked GET_NODE_APP_VERSION, GET_NODE_LABEL, GET_MOTOR_POSITION, "
        "GET_MOTOR_STATUS, GET_MOTOR_ROLLING_SPEED, GET_NODE_ADDR and 23 more\n");
    row("--from heard.pcap no/such/OUT", 0, "2 ! cannot write no/such/OUT: No such file or directory\n");
    row("--from heard.pcap heard.pcap", 0, "2 ! the capture and the network file are to be two files\n");
    row("--from heard.pcap --quick OUT", 0, "2 ! --from and --quick do not go together\n");
    row("--from OUT.pcap OUT", 0, "2 ! cannot read OUT.pcap: No such file or directory\n");
}

void tst_Record::lines()
{
    QFETCH(int, nodes);
    const QString options = QTest::currentDataTag();
    const QTemporaryDir folder;
    writeCapture(folder.filePath("heard.pcap"),
                 {LineItem::of(line(frame("21", 0x102, VOXMessage::AckFlag)), 0),
                  LineItem::of(line(frameFrom(0x02000102, "31 0000 A00F")), 1000)});
    const auto ports = freeUdpPorts();
    const QHostAddress here(QHostAddress::LocalHost);
    VOXUdpBus bus(here, ports.second, here, ports.first);
    VOXSimulation simulation;
    simulation.add("TB60LV", 0x101);
    simulation.addFault("drop 000102");
    bus.open();
    simulation.attach(&bus);
    QProcess process;
    int requests = 0;
    connect(bus.device(), &QIODevice::readyRead, &process, [&] {
        if (++requests == 20)
            ::kill(pid_t(process.processId()), SIGINT);
    });
    process.setWorkingDirectory(folder.path());
    const QString url("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
    QStringList arguments = QStringList{"record"} + options.split(' ');
    if (!options.contains("--from"))
        arguments += "--bus=" + url.arg(ports.first).arg(ports.second);
    process.start(VOX_PROGRAM, arguments);
    QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 20000);
    const QByteArray error = process.readAllStandardError().replace("vox record: ", "");
    const QByteArray output = QByteArray::number(process.exitCode()) + ' ' + process.readAllStandardOutput();
    QTEST(output + (error.isEmpty() ? error : "! " + error), "said");
    VOXSimulation copy;
    QString problem;
    QCOMPARE(copy.load(folder.filePath("OUT"), &problem), nodes > 0);
    QCOMPARE(copy.addresses().size(), nodes);
}

QTEST_GUILESS_MAIN(tst_Record)
#include "tst_record.moc"
