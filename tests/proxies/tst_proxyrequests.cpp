#include "proxies/kvrbcastproxy.h"
#include "support/columns.h"
#include "support/recordingbus.h"

using P = KVRMotorProxy;
using M = KVRMotor;

class tst_ProxyRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typesAreKnownFromTheStart();
    void requests();
    void groupRequests();
    void timeouts();
    void nodes();
};

// The first function, so that there has been no bus and no value yet.
void tst_ProxyRequests::typesAreKnownFromTheStart()
{
    QVERIFY(QVariant(QString("1-A03-2")).canConvert<KVRStdProxy::AppVersion>());
    P proxy(0x123456, nullptr);
    for (int i = 0; i < P::staticMetaObject.methodCount(); ++i) {
        const QMetaMethod method = P::staticMetaObject.method(i);
        const bool isOperation = qstrcmp(method.typeName(), "BusPendingCall") == 0;
        QVERIFY2(method.returnType() != QMetaType::UnknownType, method.methodSignature());
        for (int parameter = 0; isOperation && parameter < method.parameterCount(); ++parameter)
            QVERIFY2(method.parameterType(parameter) != QMetaType::UnknownType, method.methodSignature());
    }
}

// Command, control byte (80 asks for an answer), data.
void tst_ProxyRequests::requests()
{
    const auto row = [&](const char *name, const QByteArray &bytes,
                         const std::function<void(P &)> &operation) {
        // A group, too, asks its address as a node where only the base class is known.
        RecordingBus bus, second;
        P proxy(0x08123456, &bus);
        KVRGroupProxy group(0x08123456, &second);
        operation(proxy);
        operation(group);
        for (const QByteArray &frame : {bus.written.value(0), second.written.value(0)}) {
            const QByteArray sent = frame.left(2) + frame.mid(9).chopped(2);
            QCOMPARE(list(name, hex(sent.toHex()), hex(frame.mid(2, 7).toHex())),
                     list(name, hex(bytes), hex("F8 000001 563412")));
        }
    };
    const QByteArray all =
        "40 getNodeAddr 45 getNodeLabel 46 getNetworkConfig 4C getNodeSerialNumber 4D getNetworkErrorStat "
        "4E getNetworkStat 70 getNodeStackVersion 74 getNodeAppVersion 79 sendDataTest1 0C getMotorPosition "
        "0E getMotorStatus 20 getAppMode 21 getMotorLimits 22 getMotorDirection 23 getMotorRollingSpeed "
        "24 getMotorTiltingSpeed 26 getNetworkLock 28 getTiltLimits 29 getMotorSoftStartStop "
        "2A getTorqueLimitation B0 diagGetTotalMoveCount B1 diagGetTotalRevCount B2 diagGetThermalCount "
        "B3 diagGetObstacleCount B4 diagGetPowerCount B5 diagGetResetCount B6 diagGetEncoderErrors";
    const QByteArrayList queries = all.split(' ');
    // By name, as scripts do it.
    for (int i = 0; i < queries.size(); i += 2)
        row(queries.at(i + 1), queries.at(i) + "8B",
            [name = queries.at(i + 1)](P &p) { QMetaObject::invokeMethod(&p, name); });
    row("a group", "41 8C 05", [](P &p) { p.getGroupAddr(5); });
    row("an intermediate position", "25 8C 03", [](P &p) { p.getMotorIP(3); });
    row("a DCT lock", "27 8C 02", [](P &p) { p.getDCTLock(2); });
    row("a default", "2F 8C 17", [](P &p) { p.getFactoryDefault(M::FACTORY_DCT_LOCK); });

    row("set group", "51 8F 05 EFCDAB", [](P &p) { p.setGroupAddr(5, 0x06abcdef); });
    row("reset statistics", "5E 8D 01 FF", [](P &p) { p.setNetworkStat(1); });
    row("set retry count", "5E 8D 00 05", [](P &p) { p.setNetworkStat(0, 5); });
    row("discovery on is 0", "50 8C 00", [](P &p) { p.setNodeDiscovery(true); });
    row("discovery off is 1", "50 8C 01", [](P &p) { p.setNodeDiscovery(false); });
    row("change nothing", "56 92 FF 00 FF 0000 FF FF", [](P &p) { p.setNetworkConfig(); });
    row("all given", "5692 02 03 04 3412 05 00", [](P &p) { p.setNetworkConfig(2, 3, 4, 0x1234, 5, 0); });
    row("uploads have no ack", "5612 FF00FF0000FF01",
        [](P &p) { p.setNetworkConfig(255, 0, 255, 0, 255, 1); });
    row("no upload has", "5612 FF00FF0000FFFE", [](P &p) { p.setNetworkConfig(255, 0, 255, 0, 255, 254); });
    row("a short label", "559B 4B69746368656E000000000000000000", [](P &p) { p.setNodeLabel("Kitchen"); });
    row("a long label is cut", "55 9B 30313233343536373839 616263646566",
        [](P &p) { p.setNodeLabel("0123456789abcdefghij"); });
    row("few data are filled", "7B 95 616263 00000000000000", [](P &p) { p.sendDataTest2("abc"); });
    row("much data are cut", "7B 95 30313233343536373839", [](P &p) { p.sendDataTest2("0123456789a"); });
    row("more are, too", "7D 9F 30313233343536373839 61 000000000000000000",
        [](P &p) { p.sendDataTest3("0123456789a"); });

    row("move", "01 8E 01 C8 02", [](P &p) { p.ctrlMove(M::MOVE_UP, 200, M::SPEED_SLOW); });
    row("stop", "02 8C FF", [](P &p) { p.ctrlStop(); });
    row("stop at a tilt", "02 8C 07", [](P &p) { p.ctrlStop(7); });
    row("move to", "03 8F 03 3412 FF", [](P &p) { p.ctrlMoveTo(M::MOVETO_PULSES, 0x1234); });
    row("move to a tilt", "03 8F 02 0200 09", [](P &p) { p.ctrlMoveTo(M::MOVETO_IP, 2, 9); });
    row("move of", "04 8F 05 0201 FF", [](P &p) { p.ctrlMoveOf(M::MOVEOF_TIME_UP, 0x0102); });
    row("wink", "05 8B", [](P &p) { p.ctrlWink(); });
    row("lock there", "06 8F 06 3412 05", [](P &p) { p.ctrlNetworkLock(M::LOCK_AT_PULSES, 0x1234, 5); });
    row("set mode", "10 8C 02", [](P &p) { p.setAppMode(M::CURTAIN); });
    row("set limit", "118F 04 01 0201",
        [](P &p) { p.setMotorLimits(M::LIMIT_SHIFT_DOWN, M::LIMIT_UP, 258); });
    row("set direction", "12 8C 01", [](P &p) { p.setMotorDirection(M::TURN_REVERSED); });
    row("set speeds", "13 8E 01 02 03", [](P &p) { p.setMotorRollingSpeed(1, 2, 3); });
    row("set position", "15 8F 03 02 3412", [](P &p) { p.setMotorIP(M::IP_PERCENT, 2, 0x1234); });
    row("set ramp", "19 8E 01 02 09", [](P &p) { p.setMotorSoftStartStop(M::SOFT_START, M::RAMP_VALUE, 9); });
    row("set torque", "1A 8D 03 09", [](P &p) { p.setTorqueLimitation(M::TORQUE_PARAMETER, 9); });
    row("no room for a tilting speed", "14 8B", [](P &p) { p.setMotorTiltingSpeed(9); });
    row("unlock", "16 8D 00 06", [](P &p) { p.setNetworkLock(false, 6); });
    row("set DCT lock", "17 8E 01 02 05", [](P &p) { p.setDCTLock(true, 2, 5); });
    row("no room for tilt limits", "18 8B", [](P &p) { p.setTiltLimits(1, 2, 3); });
    row("reset", "1F 8C 11", [](P &p) { p.setFactoryDefault(M::FACTORY_MOTOR_LIMITS); });
}

void tst_ProxyRequests::groupRequests()
{
    RecordingBus bus;
    KVRGroupProxy group(0x06123456, &bus);
    KVRBCastProxy all(&bus);
    group.ctrlMove(M::MOVE_UP, 200, M::SPEED_SLOW);
    group.setDestNodeType(VOX::NODETYPE_TB20);
    // No period has to be over for the next command.
    group.ctrlStop();
    group.setDestNodeType(VOX::NODETYPE_ANY);
    group.ctrlMoveTo(M::MOVETO_PULSES, 0x1234, 7);
    all.ctrlMoveOf(M::MOVEOF_TIME_UP, 0x0102);
    all.setDestNodeType(VOX::NODETYPE_QM75);
    all.ctrlWink();
    const QByteArrayList expected = {"01 0E F6 563412 000000 01 C8 02", "02 0C F2 563412 000000 FF",
                                     "03 0F F6 563412 000000 03 3412 07", "04 0F F0 000001 FFFFFF 05 0201 FF",
                                     "05 0B F7 000001 FFFFFF"};
    QCOMPARE(bus.written.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(hex(bus.written.at(i).chopped(2).toHex()), hex(expected.at(i)));
}

void tst_ProxyRequests::timeouts()
{
    RecordingBus bus;
    KVRGroupProxy group(0x123456, &bus);
    QElapsedTimer clock;
    clock.start();
    const auto took = [&clock](const BusPendingCall &call, int time, BusPendingCall::Error error) {
        QVERIFY(call.waitForFinished());
        QCOMPARE(call.error(), error);
        const qint64 after = clock.restart();
        QCOMPARE(list(after, after >= time, after < time + 1000), list(after, true, true));
    };
    took(group.getMotorStatus(), 200, BusPendingCall::Timeout);
    took(group.KVRMotorProxy::ctrlStop(), 200, BusPendingCall::Timeout);
    took(group.ctrlStop(), 255, BusPendingCall::NoError);
}

void tst_ProxyRequests::nodes()
{
    // What is set, what it is then, and whether that is announced.
    const std::tuple<unsigned int, unsigned int, bool> cases[] = {
        {0x000001, 0x0a000001, true}, // without a type, it keeps the node's
        {0xf6000001, 0xf6000001, true}, // with one, it takes that
        {0xf0000001, 0x0a000001, true}, // bits above the type are none
        {0x0a123456, 0x0a123456, false}, // as it is
        {0x123456, 0x0a123456, true}, // as it is without its type, which is announced
    };
    for (const auto &[set, after, isAnnounced] : cases) {
        VOXNode node(0xf8123456, nullptr);
        QCOMPARE(node.addr(true), 0xf8123456u);
        QSignalSpy announced(&node, &VOXNode::addrChanged);
        node.setType(VOX::NODETYPE_TB48LV);
        QCOMPARE(list(announced.size(), node.type()), list(0, VOX::NODETYPE_TB48LV));
        node.setProperty("addr", set);
        QCOMPARE(list(node.addr(true), node.property("addr").toUInt()), list(after, after & 0xffffff));
        QCOMPARE(announced, isAnnounced ? QList<QVariantList>{{after}} : QList<QVariantList>());
    }
    struct Counting : VOXNode
    {
        using VOXNode::attach;
        using VOXNode::VOXNode;
        bool attach(VOXBus *bus) override { return ++count, VOXNode::attach(bus); }
        int count = 0;
    };
    VOXBus bus{QString()};
    RecordingBus foreign;
    Counting node(0x123456, nullptr);
    // Whether it takes a bus, which it has then, and how often what subclasses override has been asked.
    const std::tuple<Bus *, bool, Bus *, int> attempts[] = {{&foreign, false, nullptr, 0},
                                                            {&bus, true, &bus, 1},
                                                            {&foreign, false, &bus, 1},
                                                            {nullptr, false, &bus, 1}};
    for (const auto &[to, isTaken, after, count] : attempts) {
        QCOMPARE(node.attach(to), isTaken);
        QCOMPARE(list(node.bus() == after, node.count), list(true, count));
    }
    QCOMPARE(InOrder({node.attach(static_cast<VOXBus *>(nullptr)), !node.bus()}), InOrder({true, true}));
    QCOMPARE(list(node.hasSent(frameFrom(0x08123456, "7F")), node.hasSent(frameFrom(0x123457, "7F"))),
             list(true, false));
}

QTEST_GUILESS_MAIN(tst_ProxyRequests)
#include "tst_proxyrequests.moc"
