#include "support/captures.h"
#include "support/columns.h"
#include "support/documented.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/program.h"
#include "vox/outputqueue.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

/// Simulations, their console and what they keep.
class tst_Sim : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theExampleNetworkKeepsItsState();
    void aSimulationWaitsForNoReader();
    void aSimulationObeysLines();
    void aSimulationTellsWhatHostsDo();
};

void tst_Sim::theExampleNetworkKeepsItsState()
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

// Of what nobody reads so much is kept as there is room for, and the rest is counted.
void tst_Sim::aSimulationWaitsForNoReader()
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

// On a serial port, which each command opens, sets up and closes.
void tst_Sim::aSimulationObeysLines()
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

// Also where nobody else can watch. All that it says is JSON, line by line.
void tst_Sim::aSimulationTellsWhatHostsDo()
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

QTEST_GUILESS_MAIN(tst_Sim)
#include "tst_sim.moc"
