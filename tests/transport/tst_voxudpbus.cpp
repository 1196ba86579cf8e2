#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/frames.h"
#include "support/udppair.h"
#include "support/watching.h"

#include <QtTest>
#include <QUdpSocket>

#include <thread>

/// Frames over datagrams, put together per sender.
class tst_VOXUdpBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void datagrams_data();
    void datagrams();
    void onlyThePeerIsHeard();
    void sendersAreKeptApart();
    void echoesAreIgnoredOnce();
    void aStallLosesOneByteAtATime();
    void aFloodIsBounded();
    void aLoopInsideADelivery();
    void aReplyThatWaitsBehindAnotherFrame();
    void closingAndOpening();
    void aPortThatIsTaken();
    void corruptedMessagesAreNotSent();
};

namespace {
const QHostAddress Loopback(QHostAddress::LocalHost);
const VOXMessage first = frame("02 FF", 0x123456);
const VOXMessage second = frame("03 00 3412 FF", 0x123456, VOXMessage::CrcFlag);

/// A bus whose peer is a plain socket, or everyone, and the frames that it takes.
struct Receiver
{
    QUdpSocket peer;
    unsigned short port = freeUdpPorts().first;
    std::unique_ptr<VOXUdpBus> bus;
    QByteArrayList frames;

    explicit Receiver(bool hearsAll = false)
    {
        peer.bind(Loopback, 0);
        bus = std::make_unique<VOXUdpBus>(hearsAll ? QHostAddress(QHostAddress::Broadcast) : Loopback,
                                          peer.localPort(), Loopback, port);
        QObject::connect(&bus->dispatcher(), &BusDispatcher::unhandled, bus.get(),
                         [this](const BusMessage &message) { frames.append(message.data()); });
    }

    void send(const QByteArray &bytes) { send(peer, bytes); }
    void send(QUdpSocket &from, const QByteArray &bytes) { from.writeDatagram(bytes, Loopback, port); }
};
}

void tst_VOXUdpBus::datagrams_data()
{
    QTest::addColumn<QByteArrayList>("datagrams");
    QTest::addColumn<QByteArrayList>("frames");
    const QByteArray a = line(first), b = line(second);
    QByteArray damaged = a;
    damaged[10] = damaged.at(10) ^ 1;
    const QByteArrayList one = {first.data()}, both = {first.data(), second.data()};
    QTest::newRow("a frame") << QByteArrayList{a} << one;
    QTest::newRow("two frames in one") << QByteArrayList{a + b} << both;
    QTest::newRow("a frame over three") << QByteArrayList{a.left(1), a.mid(1, 9), a.mid(10)} << one;
    QTest::newRow("cut across two frames") << QByteArrayList{a + b.left(3), b.mid(3)} << both;
    QTest::newRow("an empty one") << QByteArrayList{QByteArray(), a} << one;
    QTest::newRow("a damaged frame, then good ones") << QByteArrayList{damaged + a, b} << both;
    QTest::newRow("lengths that are too low") << QByteArrayList{QByteArray(20, '\xff') + a} << one;
}

void tst_VOXUdpBus::datagrams()
{
    QFETCH(QByteArrayList, datagrams);
    QFETCH(QByteArrayList, frames);
    const WarningLog quiet;
    Receiver receiver;
    for (const QByteArray &datagram : datagrams)
        receiver.send(datagram);
    QTRY_COMPARE(receiver.frames, frames);
}

void tst_VOXUdpBus::onlyThePeerIsHeard()
{
    Receiver receiver;
    QUdpSocket stranger;
    stranger.bind(Loopback, 0);
    receiver.send(stranger, line(first));
    receiver.send(line(second));
    QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
    receiver.bus->setDest(Loopback, stranger.localPort());
    receiver.send(line(second));
    receiver.send(stranger, line(first));
    QTRY_COMPARE(receiver.frames, (QByteArrayList{second.data(), first.data()}));
}

void tst_VOXUdpBus::sendersAreKeptApart()
{
    const WarningLog quiet;
    Receiver receiver(true);
    std::vector<std::unique_ptr<QUdpSocket>> senders;
    for (int i = 0; i < 11; ++i) {
        senders.push_back(std::make_unique<QUdpSocket>());
        senders.back()->bind(Loopback, 0);
    }
    for (int i = 0; i < 10; ++i)
        receiver.send(*senders[i], line(first).left(5));
    for (int i = 0; i < 10; ++i)
        receiver.send(*senders[i], line(first).mid(5));
    QTRY_COMPARE(receiver.frames.size(), 10);
    // The eleventh takes the place of the one that was silent longest.
    for (int i = 0; i < 11; ++i)
        receiver.send(*senders[i], line(first).left(5));
    for (int i = 1; i < 11; ++i)
        receiver.send(*senders[i], line(first).mid(5));
    QTRY_COMPARE(receiver.frames.size(), 20);
    receiver.send(*senders[0], line(first).mid(5));
    receiver.send(*senders[1], line(second));
    QTRY_COMPARE(receiver.frames.size(), 21);
    QCOMPARE(receiver.frames.constLast(), second.data());
}

void tst_VOXUdpBus::echoesAreIgnoredOnce()
{
    Receiver receiver(true);
    if (receiver.bus->write(first.data()) != 0)
        QFAIL("this machine lets nobody send to the broadcast address");
    receiver.send(line(first));
    receiver.send(line(second));
    QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
    receiver.send(line(first));
    QTRY_COMPARE(receiver.frames, (QByteArrayList{second.data(), first.data()}));
}

void tst_VOXUdpBus::aStallLosesOneByteAtATime()
{
    const QByteArray wrong = timing(110, 220, [] {
        Receiver receiver;
        QElapsedTimer clock;
        clock.start();
        // Says that 31 bytes follow, which do not.
        receiver.send(QByteArray("\x55\xe0", 2) + line(first));
        [&] { QTRY_COMPARE(receiver.frames, QByteArrayList{first.data()}); }();
        return double(clock.nsecsElapsed()) / 1e6;
    });
    QVERIFY2(wrong.isEmpty(), wrong);
}

void tst_VOXUdpBus::aFloodIsBounded()
{
    const WarningLog log;
    Receiver receiver;
    // Nothing in it is a frame, and each byte is looked at on its own.
    for (int i = 0; i < 12; ++i) {
        receiver.send(QByteArray(9000, '\xff'));
        while (receiver.bus->hasInput())
            receiver.bus->processData();
    }
    QCOMPARE(log.texts().filter("overflowing").size(), 1);
    receiver.bus->close();
    QVERIFY(receiver.bus->open());
    receiver.send(line(first));
    QTRY_COMPARE(receiver.frames, QByteArrayList{first.data()});
}

void tst_VOXUdpBus::aLoopInsideADelivery()
{
    Receiver receiver;
    connect(&receiver.bus->dispatcher(), &BusDispatcher::unhandled, this, [&] {
        if (receiver.frames.size() != 1)
            return;
        QEventLoop loop;
        QTimer::singleShot(20, &loop, &QEventLoop::quit);
        receiver.send(line(second));
        loop.exec();
    });
    for (int sent = 1; sent < 4; ++sent) {
        receiver.send(line(first));
        QTRY_COMPARE(receiver.frames.size(), sent + 1);
    }
}

void tst_VOXUdpBus::aReplyThatWaitsBehindAnotherFrame()
{
    Receiver receiver;
    KVRMotorProxy proxy(0x123456, receiver.bus.get());
    const BusPendingCall call = proxy.getMotorStatus();
    receiver.send(line(first) + line(frame("0F 00 01 00 00", 0x0f010000)));
    // The time-out is over before anything is read.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    QVERIFY(call.waitForFinished());
    QCOMPARE(text(call.reply()), hex("0F 00 01 00 00"));
}

void tst_VOXUdpBus::closingAndOpening()
{
    UdpPair pair;
    const TB60LVStub motor(1, &pair.network);
    KVRMotorProxy proxy(1, &pair.host);
    QSignalSpy changes(&pair.host, &VOXBus::openChanged);
    pair.host.close();
    QVERIFY(!pair.host.isOpen());
    QCOMPARE(int(proxy.getMotorStatus().error()), int(BusPendingCall::NotOpen));
    QVERIFY(pair.host.open() && pair.host.isOpen());
    QCOMPARE(changes.size(), 2);
    const BusPendingCall call = proxy.getMotorStatus();
    QVERIFY(call.waitForFinished() && !call.isError());
}

void tst_VOXUdpBus::aPortThatIsTaken()
{
    QUdpSocket owner;
    owner.bind(Loopback, 0, QUdpSocket::DontShareAddress);
    const WarningLog log;
    VOXUdpBus bus(Loopback, owner.localPort(), Loopback);
    QVERIFY(!bus.isOpen());
    QVERIFY(log.texts().value(0).startsWith("[VOXUdpBus]: failed to bind socket"));
    owner.close();
    QVERIFY(bus.open() && bus.isOpen());
}

void tst_VOXUdpBus::corruptedMessagesAreNotSent()
{
    UdpPair pair;
    QTest::ignoreMessage(QtWarningMsg, "[VOXUdpBus]: not sending corrupted message (len=10)");
    QCOMPARE(pair.host.write(QByteArray(10, 'x')), -1);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^\\[VOXUdpBus\\]: socket error: "));
    pair.host.setDest(QHostAddress("192.0.2.1"), 0);
    QCOMPARE(pair.host.write(first.data()), -2);
}

QTEST_GUILESS_MAIN(tst_VOXUdpBus)
#include "tst_voxudpbus.moc"
