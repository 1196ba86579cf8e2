#include "devices/kvrdevice.h"
#include "support/columns.h"
#include "support/frames.h"
#include "support/udppair.h"
#include "vox/sim/faultbus.h"

#include <QtTest>
#include <QUdpSocket>

/// Faults as a foreign peer sees them, a plain socket.
class tst_Faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onTheWire_data();
    void onTheWire();
    void oneSeedOneRun();
    void mistakes_data();
    void mistakes();
};

namespace {
FaultRule rule(const QString &words)
{
    FaultRule rule;
    QString problem;
    return FaultRule::read(words, &rule, &problem) ? rule : FaultRule();
}

/// A simulated line with two nodes, and its peer.
struct Line
{
    const QHostAddress here = QHostAddress::LocalHost;
    const std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    QUdpSocket peer;
    FaultRules rules{7};
    VOXUdpBus bus{here, ports.first, here, ports.second};
    FaultBus network{bus, rules};
    KVRDevice bad{1, &network};
    KVRDevice good{2, &network};

    Line() { peer.bind(here, ports.first); }

    /// Asks both nodes, the bad one first, and gives all that comes until the good one has answered.
    QByteArrayList ask(const QByteArray &request)
    {
        for (const unsigned int addr : {1u, 2u})
            peer.writeDatagram(line(frame(request, addr, VOXMessage::AckFlag)), here, ports.second);
        QByteArrayList heard;
        const QByteArray last = line(answer(2, "7A 55"));
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

    static VOXMessage answer(unsigned int addr, const QByteArray &commandAndData)
    {
        VOXMessage message = frame(commandAndData, HostAddr);
        message.setSrcAddr(addr);
        message.prepare();
        return message;
    }
};
}

void tst_Faults::onTheWire_data()
{
    const auto row = columns<QByteArrayList>("expected");
    const QByteArray whole = line(Line::answer(1, "7A 55"));
    QByteArray corrupt = whole;
    corrupt.back() = char(~corrupt.back());
    row("drop 000001", {});
    row("corrupt 000001", {corrupt});
    row("cut 5 000001", {whole.left(5)});
    row("twice 000001", {whole, whole});
    row("nack BUSY 000001", {line(Line::answer(1, "6F FF"))});
    row("nack END_LIMITS_NOT_SET 000001", {line(Line::answer(1, "6F 22"))});
    row("from 00ABCD 000001", {line(Line::answer(0xABCD, "7A 55"))});
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
    line.rules.add(rule(words));
    QByteArrayList heard = line.ask("79 55");
    QCOMPARE(heard.takeLast(), ::line(Line::answer(2, "7A 55")));
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
        line.rules.add(rule("drop 000001 probability 0.5"));
        line.rules.add(rule("twice 000001 count 2"));
        QByteArray counts;
        for (int i = 0; i < 40; ++i)
            counts += QByteArray::number(line.ask("79 55").size());
        QVERIFY(counts.contains('1') && counts.contains('2'));
        QCOMPARE(line.rules.rules().at(1).count, 0);
        runs += counts;
    }
    QCOMPARE(runs.at(0), runs.at(1));

    Line line;
    line.rules.add(rule("delay 50 000001 count 1"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(line.ask("79 55").size(), 1);
    QTRY_VERIFY(line.peer.hasPendingDatagrams());
    QVERIFY(clock.elapsed() >= 49);
    QCOMPARE(line.ask("79 55").size(), 3);
}

void tst_Faults::mistakes_data()
{
    const auto row = columns<QString>("problem");
    row("explode", "'explode' is no fault; drop, delay");
    row("delay", "'' is no MS for 'delay'");
    row("delay -1 all", "'-1' is no MS");
    row("nack SOON", "'SOON' is no NAME for 'nack'");
    row("from 1", "'1' is no ADDRESS for 'from'");
    row("drop 00000", "'00000 ' is not understood");
    row("drop all command FLY", "'command FLY' is not understood");
    row("drop probability 2", "'probability 2' is not understood");
    row("drop count 0", "'count 0' is not understood");
}

void tst_Faults::mistakes()
{
    QFETCH(QString, problem);
    FaultRule rule;
    QString actual;
    QVERIFY(!FaultRule::read(QTest::currentDataTag(), &rule, &actual));
    QVERIFY2(actual.startsWith(problem), qPrintable(actual));
}

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
