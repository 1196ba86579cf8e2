#include "devices/tb60lvstub.h"
#include "framework/serialdispatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/ptyport.h"
#include "support/receivers.h"
#include "support/recordingbus.h"
#include "support/timers.h"
#include "support/watching.h"
#include "transport/voxbusurl.h"

/// The byte stream bus: its line form and its device. How it finds frames is told in tst_framing.
class tst_VOXBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opening();
    void portSettings();
    void urlsOfPorts();
    void serialPorts();
};

void tst_VOXBus::opening()
{
    auto *device = new PipeDevice;
    VOXBus bus(device);
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    bus.close();
    device->refusesToOpen = true;
    QCOMPARE(InOrder({bus.open(), bus.isOpen(), changes.isEmpty()}), InOrder({false, false, true}));
    device->refusesToOpen = false;
    QCOMPARE(InOrder({bus.open(), bus.property("isOpen").toBool()}), InOrder({true, true}));
    QCOMPARE(changes, QList<QVariantList>{{true}});
    const WarningLog log(QtDebugMsg);
    device->feed(line(first));
    QCOMPARE(log.texts(), QStringList("[VOXBus]: Frame : 020CF0000001563412FF075C"));
    device->refusesToWrite = true;
    QCOMPARE(list(bus.write(first.data()), bus.setBaudRate(VOXBus::BAUD_9600)), list(-2, false));
    bus.close();
    QVERIFY(!bus.processData());
    VOXBus nothing(static_cast<QIODevice *>(nullptr));
    QCOMPARE(InOrder({nothing.open(), nothing.isOpen(), nothing.processData()}),
             InOrder({false, false, false}));
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
    QCOMPARE(InOrder({bus.open(), bus.isOpen()}), InOrder({false, true}));
    QCOMPARE(changes, (QList<QVariantList>{{true}, {false}}));
    // The pacing is still at 1200, where 11 bytes of 11 bits take 100.8 ms.
    BusObject host(&bus, nullptr);
    const BusPendingCall call = host.call(query(0x40));
    QCOMPARE(intervalsOf(dataOf(call)), QList<int>{5101});
    QVERIFY2(port->bytesToWrite() == 0, "it has been written, but not been sent");
}

void tst_VOXBus::urlsOfPorts()
{
    PipeDevice wire;
    const PtyPort pty(wire);
    const auto row = [&](const QString &query, const QString &expected) {
        QString problem;
        const auto bus = VOXBusUrl::openBus("serial://" + pty.name + query, &problem);
        const QSerialPort *port = bus ? bus->findChild<QSerialPort *>() : nullptr;
        const auto settings = [port] {
            return list(port->baudRate(), int(port->parity()), port->flowControl() == 0);
        };
        const QString actual = port ? settings() : problem.section('\'', 1, 1) + problem.section(';', 1);
        QCOMPARE(list(query, actual), list(query, expected));
        if (!port)
            return;
        // Also when the adapter was pulled out and is back, and for a bus that was open all the time.
        bus->open();
        QCOMPARE(settings(), expected);
        bus->close();
        QVERIFY(bus->open());
        QCOMPARE(settings(), expected);
        QCOMPARE(static_cast<SerialDispatcher &>(bus->dispatcher()).rate(),
                 expected.section(' ', 0, 0).toUInt());
    };
    const QString taken(" a serial bus takes baud, which is one of 1200, 2400, 4800, 9600, 19200, 38400, "
                        "57600, and parity, which is odd, even or none");
    row("", list(4800, 3, true));
    row("?parity=even", list(4800, 2, true));
    row("?baud=9600&parity=none", list(9600, 0, true));
    row("?baud=57600&parity=odd", list(57600, 3, true));
    for (const QString item : {"baud=0", "baud=4801", "baud=", "baud=9600x", "parity=Odd", "speed=9600"})
        row("?" + item, item + taken);
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
    const auto opensAndIsAnswered = [&] {
        QVERIFY(bus.open());
        const BusPendingCall call = proxy.getMotorStatus();
        call.waitForFinished();
        QCOMPARE(text(call.reply()), hex("0F 00 00 00 00"));
    };
    opensAndIsAnswered();
    bus.close();
    {
        const WarningLog log;
        QCOMPARE(bus.write(first.data()), -2);
        QCOMPARE(log.texts(), QStringList());
    }
    // An answer that has come too late for the last user of the port is not one to the next.
    wire->onWrite(line(frameFrom(0x123456, "0F 01 00 00 00")));
    opensAndIsAnswered();

    // While nothing is written, and while something is.
    QSignalSpy changes(&bus, &VOXBus::openChanged);
    const QRegularExpression warning("^\\[VOXBus\\]: Bus ResourceError:");
    QTest::ignoreMessage(QtWarningMsg, warning);
    pty.unplug();
    QTRY_VERIFY(!bus.isOpen());
    PtyPort other(*wire);
    bus.findChild<QSerialPort *>()->setPortName(other.name);
    opensAndIsAnswered();
    changes.clear();
    other.unplug();
    QTest::ignoreMessage(QtWarningMsg, warning);
    const BusPendingCall call = proxy.getMotorStatus();
    const BusPendingCall queued = proxy.getMotorStatus();
    for (const BusPendingCall &lost : {call, queued})
        QCOMPARE(InOrder({lost.waitForFinished(), lost.isError()}), InOrder({true, true}));
    // Only open() and close() tell.
    QCOMPARE(list(bus.isOpen(), changes.size()), list(false, 0));

    const PtyPort another(*wire);
    bus.findChild<QSerialPort *>()->setPortName(another.name);
    opensAndIsAnswered();
    QCOMPARE(changes.size(), 1);
}

QTEST_GUILESS_MAIN(tst_VOXBus)
#include "tst_voxbus.moc"
