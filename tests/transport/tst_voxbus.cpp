#include "devices/tb60lvstub.h"
#include "proxies/kvrmotorproxy.h"
#include "support/ptyport.h"
#include "support/receivers.h"
#include "support/recordingbus.h"
#include "support/timers.h"
#include "support/watching.h"

#include <QtTest>

/// The byte stream bus: its line form and its device. How it finds frames is told in tst_framing.
class tst_VOXBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opening();
    void portSettings();
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
    const WarningLog log(QtDebugMsg);
    device->feed(line(first));
    QCOMPARE(log.texts(), QStringList("[VOXBus]: Frame : 020CF0000001563412FF075C"));
    device->refusesToWrite = true;
    QCOMPARE(bus.write(first.data()), -2);
    QVERIFY(!bus.setBaudRate(VOXBus::BAUD_9600));
    bus.close();
    QVERIFY(!bus.processData());
    VOXBus nothing(static_cast<QIODevice *>(nullptr));
    QVERIFY(!nothing.open() && !nothing.isOpen() && !nothing.processData());
    QCOMPARE(nothing.write(first.data()), -2);
}

void tst_VOXBus::portSettings()
{
    PipeDevice wire;
    const PtyPort pty(wire);
    QVERIFY2(!pty.name.isEmpty(), "no pseudo-terminals on this machine");
    VOXBus bus(QString("/nowhere"));
    auto *port = bus.findChild<QSerialPort *>();
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    const auto settings = [port] {
        return QList<int>{port->baudRate(), port->dataBits(), port->parity(), port->stopBits(),
                          port->flowControl()};
    };
    const QList<int> expected = {4800, 8, QSerialPort::OddParity, 1, QSerialPort::NoFlowControl};
    QVERIFY(!bus.open());
    QCOMPARE(settings(), expected);
    QVERIFY(bus.setBaudRate(VOXBus::BAUD_1200));
    QCOMPARE(port->baudRate(), 1200);
    port->setPortName(pty.name);
    QVERIFY(bus.open());
    QCOMPARE(settings(), expected);
    QVERIFY(!bus.open() && bus.isOpen());
    QCOMPARE(changes, (QList<QVariantList>{{true}, {false}}));
    // The pacing is still at 1200, where 11 bytes of 11 bits take 100.8 ms.
    BusObject host(&bus, nullptr);
    const BusPendingCall call = host.call(query(0x40));
    QCOMPARE(intervalsOf(dataOf(call)), QList<int>{5101});
    QVERIFY2(port->bytesToWrite() == 0, "it has been written, but not been sent");
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
    bus.close();
    {
        const WarningLog log;
        QCOMPARE(bus.write(first.data()), -2);
        QCOMPARE(log.texts(), QStringList());
    }
    QVERIFY(bus.open() && isAnswered());

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
