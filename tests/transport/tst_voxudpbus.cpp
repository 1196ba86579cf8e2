#include "support/receivers.h"
#include "support/watching.h"

#include <QtTest>

/// Frames over datagrams, put together per sender.
class tst_VOXUdpBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyThePeerIsHeard();
    void sendersAreKeptApart();
    void echoesAreIgnoredOnce();
    void aFloodIsBounded();
    void socketErrors();
};

namespace {
const QHostAddress Loopback(QHostAddress::LocalHost);
const QHostAddress Everyone(QHostAddress::Broadcast);
}

void tst_VOXUdpBus::onlyThePeerIsHeard()
{
    Receiver receiver = udpReceiver();
    QUdpSocket stranger;
    stranger.bind(Loopback, 0);
    const auto send = [&] { stranger.writeDatagram(line(first), Loopback, portOf(*receiver.bus)); };
    send();
    receiver.feed(line(second));
    QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
    static_cast<VOXUdpBus &>(*receiver.bus).setDest(Loopback, stranger.localPort());
    receiver.feed(line(second));
    send();
    QTRY_COMPARE(receiver.frames, (QByteArrayList{second.data(), first.data()}));
}

void tst_VOXUdpBus::sendersAreKeptApart()
{
    const WarningLog quiet;
    Receiver receiver = udpReceiver(Everyone);
    QUdpSocket senders[11];
    for (QUdpSocket &sender : senders)
        sender.bind(Loopback, 0);
    const auto send = [&](int from, int to, const QByteArray &bytes) {
        for (int i = from; i < to; ++i)
            senders[i].writeDatagram(bytes, Loopback, portOf(*receiver.bus));
    };
    send(0, 10, line(first).left(5));
    send(0, 10, line(first).mid(5));
    QTRY_COMPARE(receiver.frames.size(), 10);
    // The eleventh takes the place of the one that was silent longest.
    send(0, 11, line(first).left(5));
    send(1, 11, line(first).mid(5));
    QTRY_COMPARE(receiver.frames.size(), 20);
    send(0, 1, line(first).mid(5));
    send(1, 2, line(second));
    QTRY_COMPARE(receiver.frames.size(), 21);
    QCOMPARE(receiver.frames.constLast(), second.data());
}

void tst_VOXUdpBus::echoesAreIgnoredOnce()
{
    Receiver receiver = udpReceiver(Everyone);
    QVERIFY2(receiver.bus->write(first.data()) == 0, "nobody may send to the broadcast address here");
    receiver.feed(line(first));
    receiver.feed(line(second));
    QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
    receiver.feed(line(first));
    QTRY_COMPARE(receiver.frames, (QByteArrayList{second.data(), first.data()}));
}

void tst_VOXUdpBus::aFloodIsBounded()
{
    const WarningLog log;
    Receiver receiver = udpReceiver();
    // Nothing in it is a frame, and each byte is looked at on its own.
    for (int i = 0; i < 12; ++i) {
        receiver.feed(QByteArray(9000, '\xff'));
        while (receiver.bus->hasInput())
            receiver.bus->processData();
    }
    QCOMPARE(log.texts().filter("overflowing").size(), 1);
    receiver.bus->close();
    QVERIFY(receiver.bus->open());
    receiver.feed(line(first));
    QTRY_COMPARE(receiver.frames, QByteArrayList{first.data()});
}

void tst_VOXUdpBus::socketErrors()
{
    VOXUdpBus bus(QHostAddress("192.0.2.1"), 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^\\[VOXUdpBus\\]: socket error: "));
    QCOMPARE(bus.write(first.data()), -2);
}

QTEST_GUILESS_MAIN(tst_VOXUdpBus)
#include "tst_voxudpbus.moc"
