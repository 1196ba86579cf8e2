#include "support/columns.h"
#include "support/receivers.h"
#include "support/timers.h"
#include "support/watching.h"

/// Frames over datagrams, put together per sender.
class tst_VOXUdpBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theLocalSide();
    void onlyThePeerIsHeard();
    void sendersAreKeptApart();
    void echoesAreIgnoredOnce();
    void aFloodIsBounded();
};

namespace {
const QHostAddress Loopback(QHostAddress::LocalHost);
const QHostAddress Everyone(QHostAddress::Broadcast);
}

void tst_VOXUdpBus::theLocalSide()
{
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress(QHostAddress::AnyIPv4), 0, QUdpSocket::DontShareAddress));
    const unsigned short port = other.localPort();
    const WarningLog log;
    VOXUdpBus bus(Loopback, port);
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    QCOMPARE(InOrder({bus.isOpen(), bus.open(), bus.isOpen()}), InOrder({false, true, false}));
    const QString text("[VOXUdpBus]: failed to bind socket The bound address is already in use");
    QCOMPARE(log.texts(), (QStringList{text, text}));
    other.close();
    QCOMPARE(InOrder({changes.isEmpty(), bus.open(), bus.isOpen()}), InOrder({true, true, true}));
    QCOMPARE(changes.size(), 1);
    const VOXUdpBus another(Loopback, 1, Loopback, port);
    QVERIFY2(another.isOpen(), "the port is not shared");
    const auto &socket = static_cast<const QUdpSocket &>(*bus.device());
    QCOMPARE(list(socket.localAddress(), socket.localPort()),
             list(QHostAddress(QHostAddress::AnyIPv4), port));
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QVERIFY(QMetaType::type("QHostAddress") != QMetaType::UnknownType);
#endif
}

void tst_VOXUdpBus::onlyThePeerIsHeard()
{
    // One on another port, and one on the same at another address.
    for (const char *host : {"127.0.0.1", "127.0.0.2"}) {
        Receiver receiver = udpReceiver();
        auto &bus = static_cast<VOXUdpBus &>(*receiver.bus);
        const QHostAddress address{QString(host)};
        QUdpSocket stranger;
        QVERIFY(stranger.bind(address, address == Loopback ? 0 : bus.destPort()));
        const auto send = [&] { stranger.writeDatagram(line(first), Loopback, portOf(bus)); };
        const WarningLog log(QtDebugMsg);
        send();
        receiver.feed(line(second));
        QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
        bus.setDest(address, stranger.localPort());
        receiver.feed(line(second));
        send();
        QTRY_COMPARE(receiver.frames, (QByteArrayList{second.data(), first.data()}));
        const QString text("[VOXUdpBus]: frame is not for us (%1!=%2)");
        QCOMPARE(log.texts(), (QStringList{text.arg(host, "127.0.0.1"), text.arg("127.0.0.1", host)}));
    }
}

void tst_VOXUdpBus::sendersAreKeptApart()
{
    const WarningLog quiet;
    Receiver receiver = udpReceiver(Everyone);
    QUdpSocket senders[11];
    for (QUdpSocket &sender : senders)
        sender.bind(Loopback, 0);
    // One differs by its address alone.
    senders[9].close();
    QVERIFY(senders[9].bind(QHostAddress("127.0.0.2"), senders[8].localPort()));
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
    QVERIFY2(timersOf(*receiver.bus).isEmpty(), "who has been forgotten has left a timer");
    send(0, 1, line(first).mid(5));
    send(1, 2, line(second));
    QTRY_COMPARE(receiver.frames.size(), 21);
    QCOMPARE(receiver.frames.constLast(), second.data());
}

void tst_VOXUdpBus::echoesAreIgnoredOnce()
{
    Receiver receiver = udpReceiver(Everyone);
    auto &bus = static_cast<VOXUdpBus &>(*receiver.bus);
    for (int sent = 0; sent < 2; ++sent)
        QVERIFY2(bus.write(first.data()) == 0, "nobody may send to the broadcast address here");
    for (const VOXMessage &message : {first, first, second, first})
        receiver.feed(line(message));
    QTRY_COMPARE(receiver.frames, (QByteArrayList{second.data(), first.data()}));
    // What could not be sent has none, and a bus that has been closed waits for none.
    bus.write(second.data());
    bus.close();
    QVERIFY(bus.open());
    bus.setDest(Everyone, 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^\\[VOXUdpBus\\]: socket error: "));
    QCOMPARE(bus.write(first.data()), -2);
    receiver.feed(line(first));
    receiver.feed(line(second));
    QTRY_COMPARE(receiver.frames.mid(2), (QByteArrayList{first.data(), second.data()}));
}

void tst_VOXUdpBus::aFloodIsBounded()
{
    const WarningLog log;
    Receiver receiver = udpReceiver();
    const auto take = [&](const QByteArray &bytes) {
        receiver.feed(bytes);
        while (receiver.bus->hasInput())
            receiver.bus->processData();
    };
    const QByteArray flood = line(first).repeated(750);
    const auto isHeard = [&] { return receiver.frames.contains(second.data()); };
    for (int i = 0; i < 12; ++i)
        take(flood);
    const QString sender = "127.0.0.1:" + QString::number(static_cast<VOXUdpBus &>(*receiver.bus).destPort());
    QCOMPARE(log.texts().filter("buffer"), QStringList("[VOXUdpBus]: buffer of " + sender + " overflowing"));
    // The newest bytes are kept, until the bus is closed.
    take(line(second));
    QVERIFY(waitFor(isHeard));
    take(flood);
    receiver.frames.clear();
    receiver.bus->close();
    QVERIFY(receiver.bus->open());
    receiver.feed(line(second));
    QVERIFY(waitFor(isHeard));
    QCOMPARE(receiver.frames.size(), 1);
}

QTEST_GUILESS_MAIN(tst_VOXUdpBus)
#include "tst_voxudpbus.moc"
