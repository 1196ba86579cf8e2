#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/frames.h"
#include "support/pipedevice.h"
#include "support/ptypair.h"
#include "support/watching.h"
#include "transport/voxbus.h"

#include <QtTest>

#include <random>

/// The byte stream bus: its line form, its search for frames, and two of them talking.
class tst_VOXBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writing();
    void framesInAStream_data();
    void framesInAStream();
    void warnings_data();
    void warnings();
    void aStallLosesOneByteAtATime();
    void twoBytesWaitForMore();
    void anythingMayComeBeforeAFrame();
    void aStallEndsWhileSomebodyWaits();
    void opening();
    void closedBehindTheBusesBack();
    void hostAndDeviceOnANoisyLine();
    void hostAndDeviceOnSerialPorts();
    void aPortThatIsPulledOut();
};

namespace {
const VOXMessage first = frame("02 FF", 0x123456);
const VOXMessage second = frame("03 00 3412 FF", 0x123456, VOXMessage::CrcFlag);

/// A bus on one end of a line in memory, and the frames that it takes from it.
struct Receiver
{
    PipeDevice *device = new PipeDevice;
    VOXBus bus{device};
    QByteArrayList frames;

    Receiver()
    {
        bus.open();
        QObject::connect(&bus.dispatcher(), &BusDispatcher::unhandled, &bus,
                         [this](const BusMessage &message) { frames.append(message.data()); });
    }
};
}

void tst_VOXBus::writing()
{
    Receiver receiver;
    QCOMPARE(receiver.bus.write(first.data()), 0);
    QCOMPARE(receiver.device->written, line(first));
    QCOMPARE(receiver.bus.write(QByteArray(31, 'x')), 0);
    receiver.device->written.clear();
    for (const int size : {0, 10, 32}) {
        QTest::ignoreMessage(
            QtWarningMsg, qPrintable(QString("[VOXBus]: not sending corrupted message (len=%1)").arg(size)));
        QCOMPARE(receiver.bus.write(QByteArray(size, 'x')), -1);
    }
    receiver.device->refusesToWrite = true;
    QCOMPARE(receiver.bus.write(first.data()), -2);
    QVERIFY(receiver.device->written.isEmpty());
    QVERIFY(!receiver.bus.setBaudRate(VOXBus::BAUD_9600));
}

void tst_VOXBus::framesInAStream_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArrayList>("frames");
    const QByteArray a = line(first), b = line(second);
    QByteArray damaged = a;
    damaged[9] = damaged.at(9) ^ 4;
    QByteArray tolerated = second.data();
    const unsigned int checksum = VOXBus::chksum(tolerated.left(13));
    tolerated[13] = char(checksum >> 8);
    tolerated[14] = char(checksum);
    const QByteArrayList one = {first.data()}, both = {first.data(), second.data()};
    QTest::newRow("one frame") << a << one;
    QTest::newRow("two frames in one read") << a + b << both;
    QTest::newRow("a stray byte whose length is too low") << QByteArray("\x00\xff", 2) + a << one;
    QTest::newRow("a damaged frame before a good one") << damaged + a + b << both;
    QTest::newRow("a CRC frame with a checksum")
        << line(VOXMessage(BusMessage(tolerated))) << QByteArrayList{tolerated};
    QByteArray plain = second.data();
    plain[1] = char(plain.at(1) & ~VOXMessage::CrcFlag);
    QTest::newRow("a plain frame with a CRC") << line(VOXMessage(BusMessage(plain))) + a << one;
}

void tst_VOXBus::framesInAStream()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArrayList, frames);
    const WarningLog quiet;
    Receiver receiver;
    receiver.device->feed(bytes);
    QTRY_COMPARE(receiver.frames, frames);
    QTRY_COMPARE(receiver.device->bytesAvailable(), 0);
}

void tst_VOXBus::warnings_data()
{
    QTest::addColumn<bool>("isCrc");
    QTest::addColumn<QStringList>("expected");
    // 0x0B8C is wrong for either; the right values follow from the frames' bytes.
    QTest::newRow("a checksum") << false << QStringList{"Wrong CRC: 08f7 != 0b8c"};
    QTest::newRow("a CRC") << true
                           << QStringList{"Wrong CRC: 3b54, trying CHKSUM", "Wrong CRC: 08f7 != 0b8c"};
}

void tst_VOXBus::warnings()
{
    QFETCH(bool, isCrc);
    QFETCH(QStringList, expected);
    VOXMessage message = frame("02", 0x123456, isCrc ? VOXMessage::CrcFlag : 0);
    const QByteArray covered = message.data().left(9);
    expected.replaceInStrings("08f7", QString::number(VOXBus::chksum(covered), 16).rightJustified(4, '0'));
    expected.replaceInStrings("3b54", QString::number(VOXBus::crc(covered), 16).rightJustified(4, '0'));
    Receiver receiver;
    const WarningLog log;
    receiver.device->feed(line(message).left(9) + QByteArray("\x0b\x8c"));
    QVERIFY(receiver.bus.processData() || !log.texts().isEmpty());
    QCOMPARE(log.texts().mid(0, expected.size()), expected);
}

void tst_VOXBus::aStallLosesOneByteAtATime()
{
    const QByteArray wrong = timing(100, 200, [] {
        Receiver receiver;
        QElapsedTimer clock;
        clock.start();
        // Says that 31 bytes follow, which do not.
        receiver.device->feed(QByteArray("\x55\xe0", 2) + line(first));
        [&] { QTRY_COMPARE(receiver.frames, QByteArrayList{first.data()}); }();
        return double(clock.nsecsElapsed()) / 1e6;
    });
    QVERIFY2(wrong.isEmpty(), wrong);
    Receiver receiver;
    receiver.device->feed(line(first).left(10));
    QTRY_COMPARE(receiver.device->bytesAvailable(), 9);
}

void tst_VOXBus::twoBytesWaitForMore()
{
    Receiver receiver;
    receiver.device->feed(line(first) + line(first).left(2));
    QCOMPARE(receiver.frames.size(), 1);
    receiver.device->feed(line(first).mid(2));
    QTRY_COMPARE(receiver.frames.size(), 2);
}

// Every cut of a frame, and noise: the frame that follows it is taken within the time-outs of what came
// before.
void tst_VOXBus::anythingMayComeBeforeAFrame()
{
    const WarningLog quiet;
    std::mt19937 random(1);
    QList<QByteArray> before;
    for (int size = 0; size < line(second).size(); ++size)
        before += line(second).left(size);
    for (int i = 0; i < 20; ++i) {
        QByteArray noise(int(random() % 60), '\0');
        for (char &byte : noise)
            byte = char(random());
        before += noise;
    }
    std::vector<std::unique_ptr<Receiver>> receivers;
    for (const QByteArray &bytes : qAsConst(before)) {
        receivers.push_back(std::make_unique<Receiver>());
        receivers.back()->device->feed(bytes + line(first));
    }
    for (const auto &receiver : receivers)
        QTRY_VERIFY_WITH_TIMEOUT(receiver->frames.contains(first.data()), 100 * 62);
}

void tst_VOXBus::aStallEndsWhileSomebodyWaits()
{
    Receiver receiver;
    KVRMotorProxy proxy(0x123456, &receiver.bus);
    const BusPendingCall call = proxy.getMotorStatus();
    // The first byte of noise claims more than there is.
    receiver.device->feed(QByteArray("\x00\xe0", 2) + line(frame("0F 00 01 00 00", 0x0f010000)));
    QVERIFY(call.waitForFinished());
    QCOMPARE(text(call.reply()), hex("0F 00 01 00 00"));
}

void tst_VOXBus::opening()
{
    auto *device = new PipeDevice;
    VOXBus bus(device);
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    bus.close();
    QCOMPARE(changes.size(), 0);
    device->refusesToOpen = true;
    QVERIFY(!bus.open());
    QCOMPARE(changes.size(), 0);
    device->refusesToOpen = false;
    QVERIFY(bus.open() && bus.property("isOpen").toBool());
    QCOMPARE(changes.takeFirst().at(0).toBool(), true);
    bus.close();
    QCOMPARE(changes.takeFirst().at(0).toBool(), false);
    QVERIFY(!bus.isOpen() && !bus.processData());
    QCOMPARE(VOXBus::addr(), 0x010000u);
    VOXBus nothing(static_cast<QIODevice *>(nullptr));
    QVERIFY(!nothing.open() && !nothing.isOpen() && !nothing.processData());
    QCOMPARE(nothing.write(first.data()), -2);
}

void tst_VOXBus::closedBehindTheBusesBack()
{
    Receiver receiver;
    KVRMotorProxy proxy(1, &receiver.bus);
    const BusPendingCall pending = proxy.getMotorStatus();
    const BusPendingCall queued = proxy.getMotorStatus();
    QVERIFY(!pending.isFinished());
    receiver.device->close();
    QCOMPARE(int(pending.error()), int(BusPendingCall::NotOpen));
    QCOMPARE(int(queued.error()), int(BusPendingCall::NotOpen));
    delete receiver.device;
    QCOMPARE(int(proxy.getMotorStatus().error()), int(BusPendingCall::NotOpen));
}

namespace {
/// Calls until one is answered; noise may cost some.
bool isAnswered(KVRMotorProxy &proxy)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        const BusPendingCall call = proxy.getMotorStatus();
        KVRMotor::Status status;
        if (call.waitForFinished() && !call.isError() && proxy.getMotorStatusReply(call.reply(), status))
            return true;
    }
    return false;
}
}

void tst_VOXBus::hostAndDeviceOnANoisyLine()
{
    const WarningLog quiet;
    Receiver host, network;
    PipeDevice::join(*host.device, *network.device);
    TB60LVStub motor(0x123456, &network.bus);
    KVRMotorProxy proxy(0x123456, &host.bus);
    std::mt19937 random(2);
    for (int round = 0; round < 10; ++round) {
        QByteArray noise(int(random() % 8), '\0');
        for (char &byte : noise)
            byte = char(random());
        network.device->feed(noise);
        host.device->feed(noise);
        QVERIFY(isAnswered(proxy));
    }
}

void tst_VOXBus::hostAndDeviceOnSerialPorts()
{
    PtyPair ports;
    if (!ports.isUsable())
        QFAIL("no pseudo-terminals on this machine");
    VOXBus hostBus(ports.portName(0));
    VOXBus networkBus(ports.portName(1));
    QVERIFY(hostBus.open() && networkBus.open());
    TB60LVStub motor(0x123456, &networkBus);
    KVRMotorProxy proxy(0x123456, &hostBus);
    QVERIFY(isAnswered(proxy));
    const BusPendingCall call = proxy.setNodeLabel("Serial");
    QVERIFY(call.waitForFinished() && !call.isError());
    QVERIFY(motor.nodeLabel().startsWith("Serial"));
    QVERIFY(hostBus.setBaudRate(VOXBus::BAUD_9600));
    hostBus.close();
    QVERIFY(hostBus.open());
    QCOMPARE(qobject_cast<const QSerialPort *>(hostBus.device())->baudRate(), 4800);
    QVERIFY(isAnswered(proxy));
}

void tst_VOXBus::aPortThatIsPulledOut()
{
    PtyPair ports;
    auto *port = new QSerialPort(ports.portName(0));
    VOXBus bus(port);
    QVERIFY(bus.open());
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    ports.unplug(0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^\\[VOXBus\\]: Bus ResourceError:"));
    KVRMotorProxy proxy(1, &bus);
    const BusPendingCall call = proxy.getMotorStatus();
    const BusPendingCall queued = proxy.getMotorStatus();
    QVERIFY(call.waitForFinished() && call.isError() && queued.waitForFinished() && queued.isError());
    QVERIFY(!bus.isOpen());
    QVERIFY2(changes.isEmpty(), "only open() and close() tell");

    // The line is back.
    PtyPair others;
    TB60LVStub motor(1, nullptr);
    VOXBus network(others.portName(1));
    QVERIFY(network.open() && motor.attach(&network));
    port->setPortName(others.portName(0));
    QVERIFY(bus.open() && changes.size() == 1);
    QVERIFY(isAnswered(proxy));
}

QTEST_GUILESS_MAIN(tst_VOXBus)
#include "tst_voxbus.moc"
