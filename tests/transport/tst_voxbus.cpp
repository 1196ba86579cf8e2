#include "devices/tb60lvstub.h"
#include "proxies/kvrmotorproxy.h"
#include "support/ptyport.h"
#include "support/receivers.h"
#include "support/watching.h"

#include <QtTest>

/// The byte stream bus: its line form and its device. How it finds frames is told in tst_framing.
class tst_VOXBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opening();
    void aStallThatGoesOn();
    void serialPorts();
};

void tst_VOXBus::opening()
{
    auto *device = new PipeDevice;
    VOXBus bus(device);
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    bus.close();
    device->refusesToOpen = true;
    QVERIFY(!bus.open() && changes.isEmpty());
    device->refusesToOpen = false;
    QVERIFY(bus.open() && bus.property("isOpen").toBool());
    QCOMPARE(changes, QList<QVariantList>{{true}});
    device->refusesToWrite = true;
    QCOMPARE(bus.write(first.data()), -2);
    QVERIFY(!bus.setBaudRate(VOXBus::BAUD_9600));
    bus.close();
    QVERIFY(!bus.processData());
    VOXBus nothing(static_cast<QIODevice *>(nullptr));
    QVERIFY(!nothing.open() && !nothing.isOpen() && !nothing.processData());
    QCOMPARE(nothing.write(first.data()), -2);
}

void tst_VOXBus::aStallThatGoesOn()
{
    auto *device = new PipeDevice;
    const Receiver receiver = serialReceiver(device);
    device->feed(line(first).left(10));
    QTRY_COMPARE(device->bytesAvailable(), 9);
}

void tst_VOXBus::serialPorts()
{
    auto *wire = new PipeDevice;
    const Receiver network = serialReceiver(wire);
    const TB60LVStub motor(0x123456, network.bus.get());
    PtyPort pty(*wire);
    QVERIFY2(!pty.name.isEmpty(), "no pseudo-terminals on this machine");
    VOXBus bus(pty.name);
    KVRMotorProxy proxy(0x123456, &bus);
    const auto isAnswered = [&] {
        const BusPendingCall call = proxy.getMotorStatus();
        return call.waitForFinished() && text(call.reply()) == hex("0F 00 00 00 00");
    };
    QVERIFY(bus.open() && isAnswered());
    QVERIFY(bus.setBaudRate(VOXBus::BAUD_9600));
    bus.close();
    {
        const WarningLog log;
        QCOMPARE(bus.write(first.data()), -2);
        QCOMPARE(log.texts(), QStringList());
    }
    QVERIFY(bus.open());
    QCOMPARE(bus.findChild<QSerialPort *>()->baudRate(), 4800);
    QVERIFY(isAnswered());

    // While nothing is written, and while something is.
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    const QRegularExpression warning("^\\[VOXBus\\]: Bus ResourceError:");
    QTest::ignoreMessage(QtWarningMsg, warning);
    pty.unplug();
    QTRY_VERIFY(!bus.isOpen());
    PtyPort other(*wire);
    bus.findChild<QSerialPort *>()->setPortName(other.name);
    QVERIFY(bus.open() && isAnswered());
    changes.clear();
    other.unplug();
    QTest::ignoreMessage(QtWarningMsg, warning);
    const BusPendingCall call = proxy.getMotorStatus();
    const BusPendingCall queued = proxy.getMotorStatus();
    QVERIFY(call.waitForFinished() && call.isError() && queued.waitForFinished() && queued.isError());
    QVERIFY(!bus.isOpen());
    QVERIFY2(changes.isEmpty(), "only open() and close() tell");

    const PtyPort another(*wire);
    bus.findChild<QSerialPort *>()->setPortName(another.name);
    QVERIFY(bus.open() && changes.size() == 1);
    QVERIFY(isAnswered());
}

QTEST_GUILESS_MAIN(tst_VOXBus)
#include "tst_voxbus.moc"
