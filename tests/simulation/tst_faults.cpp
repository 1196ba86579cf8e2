#include "support/columns.h"
#include "support/site.h"
#include "support/udppair.h"
#include "support/watching.h"

#include <QUdpSocket>

/// Faults as a foreign peer sees them, a plain socket.
class tst_Faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onTheWire_data();
    void onTheWire();
    void oneSeedOneRun();
    void faultsByTheClock();
    void aLineTakesItsTime();
};

namespace {
/// A simulated line with two nodes, and its peer.
struct Line
{
    const QHostAddress here = QHostAddress::LocalHost;
    const std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    QUdpSocket peer;
    VOXUdpBus bus{here, ports.first, here, ports.second};
    VOXSimulation simulation;

    /// With nodes 000001 and 000002.
    Line()
    {
        peer.bind(here, ports.first);
        simulation.setSeed(7);
        simulation.attach(&bus);
        for (const VOX::Addr node : {1u, 2u})
            simulation.add("NODE", node);
    }

    /// Asks both nodes, the bad one first, and gives all that comes until the good one has answered.
    QByteArrayList ask(const QByteArray &request)
    {
        for (const unsigned int addr : {1u, 2u})
            peer.writeDatagram(line(frame(request, addr, VOXMessage::AckFlag)), here, ports.second);
        QByteArrayList heard;
        const QByteArray last = line(frameFrom(2, "7A 55"));
        QElapsedTimer clock;
        clock.start();
        while (!heard.contains(last) && clock.elapsed() < 5000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
            while (peer.hasPendingDatagrams()) {
                QByteArray datagram(int(peer.pendingDatagramSize()), '\0');
                peer.readDatagram(datagram.data(), datagram.size());
                heard += datagram;
            }
        }
        return heard;
    }
};
}

void tst_Faults::onTheWire_data()
{
    const auto row = columns<QByteArrayList>("expected");
    const QByteArray whole = line(frameFrom(1, "7A 55"));
    QByteArray corrupt = whole;
    corrupt.back() = char(~corrupt.back());
    row("drop 000001", {});
    row("corrupt 000001", {corrupt});
    row("cut 5 000001", {whole.left(5)});
    row("twice 000001", {whole, whole});
    row("nack BUSY 000001", {line(frameFrom(1, "6F FF"))});
    row("from 00ABCD 000001", {line(frameFrom(0xABCD, "7A 55"))});
    row("drop 000002 command GET_NODE_LABEL", {whole});
    row("drop 000001 command SEND_DATA_TEST1", {});
    row("drop 000001 command POST_DATA_TEST1", {});
    row("drop all command GET_NODE_LABEL", {whole});
    row("drop 000001 probability 0", {whole});
    row("noise 3 000001", {QByteArray("???") + whole});
}

void tst_Faults::onTheWire()
{
    QFETCH(QByteArrayList, expected);
    const QString words = QTest::currentDataTag();
    Line line;
    QVERIFY(line.simulation.addFault(words));
    QCOMPARE(line.simulation.faults().at(0).toString(), QString(words).remove(" all"));
    QByteArrayList heard = line.ask("79 55");
    QCOMPARE(heard.takeLast(), ::line(frameFrom(2, "7A 55")));
    for (QByteArray &datagram : heard) {
        if (words.startsWith("noise"))
            datagram.replace(0, 3, "???");
    }
    QCOMPARE(heard, expected);
}

void tst_Faults::oneSeedOneRun()
{
    QByteArrayList runs;
    for (int run = 0; run < 2; ++run) {
        Line line;
        QVERIFY(line.simulation.addFault("drop 000001 probability 0.5"));
        QVERIFY(line.simulation.addFault("twice 000001 count 2"));
        QByteArray counts;
        for (int i = 0; i < 40; ++i)
            counts += QByteArray::number(line.ask("79 55").size());
        QVERIFY(counts.contains('1') && counts.contains('2'));
        QCOMPARE(line.simulation.faults().at(1).happened, 2);
        runs += counts;
    }
    QCOMPARE(runs.at(0), runs.at(1));

    Line line;
    QVERIFY(line.simulation.addFault("delay 50 000001 count 1"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(line.ask("79 55").size(), 1);
    QTRY_VERIFY(line.peer.hasPendingDatagrams());
    QVERIFY(clock.elapsed() >= 49);
    QCOMPARE(line.ask("79 55").size(), 3);
}

void tst_Faults::faultsByTheClock()
{
    Site site;
    QVERIFY(site.simulation.add("NODE", 1) && site.simulation.add("NODE", 2));
    // Late, and always: to the older request, too, and nobody else waits for it.
    QVERIFY(site.simulation.addFault(VOXFault{VOXFault::Delay, 80, 1}));
    QCOMPARE(site.ask({1, 1, 2}, 3), 3);
    QCOMPARE(site.heard, (QByteArrayList{Site::answer(2), Site::answer(1), Site::answer(1)}));
    QVERIFY(site.times.at(0) < 80 && site.times.at(1) >= 79);
    site.simulation.clearFaults();

    QElapsedTimer since;
    since.start();
    QVERIFY(site.simulation.addFault("away 200 000001 count 2 every 300"));
    QCOMPARE(site.ask({1, 2, 0xffffff}, 3, 120), 2);
    QVERIFY2(!site.heard.contains(Site::answer(1)), "one that is away");
    int asked = 0;
    while (site.ask({1}, 1, 25) == 0 && asked < 50)
        ++asked;
    QVERIFY2(asked < 50 && site.simulation.faults().at(0).happened == 1, "it comes back by itself");
    QTRY_COMPARE(site.simulation.faults().at(0).happened, 2);
    QVERIFY2(since.elapsed() >= 299 && since.elapsed() < 480, "gone again");
    QCOMPARE(site.ask({1}, 1, 40), 0);
    site.simulation.clearFaults();
    QCOMPARE(site.ask({1}), 1);

    QVERIFY(site.simulation.addFault("jabber 50 000002 count 8"));
    QCOMPARE(site.ask({}, 9, 1000), 8);
    QVERIFY(site.times.at(0) >= 49 && site.times.at(7) >= 399);
    const int frames = site.heard.count(line(frameFrom(site.simulation.node(2)->addr(true), "60")));
    QVERIFY2(frames > 0 && frames < 8, "frames and random bytes");
}

void tst_Faults::aLineTakesItsTime()
{
    Site site;
    QVERIFY(site.simulation.add("NODE", 1) && site.simulation.add("NODE", 2));
    QVERIFY(site.simulation.setLine("4800:20-20"));
    // Twelve bytes each way, of 11 bits each, and the turn between.
    const auto ask = [&] { return site.ask({1}) == 1 ? double(site.times.at(0)) : 0; };
    QCOMPARE(timing(75, 85, ask), QByteArray());
    QCOMPARE(site.heard, QByteArrayList{Site::answer(1)});
    // Both answer at once; and then, the one answers into the request to the other.
    for (const QVector<VOX::Addr> &nodes : {QVector<VOX::Addr>{0xffffff}, QVector<VOX::Addr>{1, 2}}) {
        QCOMPARE(site.ask(nodes), 1);
        QCOMPARE(site.heard.at(0).size(), Site::answer(1).size());
        QVERIFY(site.heard.at(0) != Site::answer(1) && site.heard.at(0) != Site::answer(2));
    }
    QVERIFY(site.simulation.setLine(4800, 0, 25) && site.ask({0xffffff}) == 1);
    QVERIFY(site.heard.at(0).size() > Site::answer(1).size() && !site.heard.at(0).contains(Site::answer(1)));
    QCOMPARE(site.ask({2}), 1);
    QCOMPARE(site.heard, QByteArrayList{Site::answer(2)});
    QVERIFY(site.simulation.setLine(0) && timing(0, 20, ask).isEmpty());
}

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
