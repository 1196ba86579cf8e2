#include "proxies/kvrbcastproxy.h"
#include "support/columns.h"
#include "support/recordingbus.h"

using P = KVRMotorProxy;
using M = KVRMotor;
using Operation = std::function<void(P &)>;
Q_DECLARE_METATYPE(Operation)

class tst_ProxyRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typesAreKnownFromTheStart();
    void requests_data();
    void requests();
    void groupRequests();
};

// The first function, so that there has been no bus and no value yet. Scripts invoke by name.
void tst_ProxyRequests::typesAreKnownFromTheStart()
{
    QVERIFY(QVariant(QString("1-A03-2")).canConvert<KVRStdProxy::AppVersion>());
    P proxy(0x123456, nullptr);
    QVERIFY(proxy.hasSent(frameFrom(0x08123456, "7F")) && !proxy.hasSent(frameFrom(0x123457, "7F")));
    for (int i = 0; i < P::staticMetaObject.methodCount(); ++i) {
        const QMetaMethod method = P::staticMetaObject.method(i);
        const bool isOperation = qstrcmp(method.typeName(), "BusPendingCall") == 0;
        QVERIFY2(method.returnType() != QMetaType::UnknownType, method.methodSignature());
        for (int parameter = 0; isOperation && parameter < method.parameterCount(); ++parameter)
            QVERIFY2(method.parameterType(parameter) != QMetaType::UnknownType, method.methodSignature());
    }
}

// Command, control byte (80 asks for an answer), data. Queries, and settings that motors give back, are in
// tst_products.
void tst_ProxyRequests::requests_data()
{
    const auto row = columns<QByteArray, Operation>("bytes", "operation");
    row("a group", "41 8C 05", [](P &p) { p.getGroupAddr(5); });
    row("an intermediate position", "25 8C 03", [](P &p) { p.getMotorIP(3); });
    row("a tilting speed", "24 8B", [](P &p) { p.getMotorTiltingSpeed(); });
    row("tilt limits", "28 8B", [](P &p) { p.getTiltLimits(); });
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
    row("no room for a tilting speed", "14 8B", [](P &p) { p.setMotorTiltingSpeed(9); });
    row("unlock", "16 8D 00 06", [](P &p) { p.setNetworkLock(false, 6); });
    row("set DCT lock", "17 8E 01 02 05", [](P &p) { p.setDCTLock(true, 2, 5); });
    row("no room for tilt limits", "18 8B", [](P &p) { p.setTiltLimits(1, 2, 3); });
    row("reset", "1F 8C 11", [](P &p) { p.setFactoryDefault(M::FACTORY_MOTOR_LIMITS); });
}

void tst_ProxyRequests::requests()
{
    QFETCH(QByteArray, bytes);
    QFETCH(Operation, operation);
    RecordingBus bus;
    P proxy(0x08123456, &bus);
    operation(proxy);
    const QByteArray frame = bus.written.value(0);
    QCOMPARE(hex((frame.left(2) + frame.mid(9).chopped(2)).toHex()), hex(bytes));
    // From the host to the node.
    QCOMPARE(hex(frame.mid(2, 7).toHex()), hex("F8 000001 563412"));
}

void tst_ProxyRequests::groupRequests()
{
    RecordingBus bus;
    KVRGroupProxy group(0x06123456, &bus);
    KVRBCastProxy all(&bus);
    group.ctrlMove(M::MOVE_UP, 200, M::SPEED_SLOW);
    group.setDestNodeType(VOX::NODETYPE_TB20);
    // No period has to be over for the next command.
    const BusPendingCall stop = group.ctrlStop();
    group.setDestNodeType(VOX::NODETYPE_ANY);
    group.ctrlMoveTo(M::MOVETO_PULSES, 0x1234, 7);
    all.ctrlMoveOf(M::MOVEOF_TIME_UP, 0x0102);
    all.setDestNodeType(VOX::NODETYPE_QM75);
    const BusPendingCall last = all.ctrlWink();
    const QByteArrayList expected = {"01 0E F6 563412 000000 01 C8 02", "02 0C F2 563412 000000 FF",
                                     "03 0F F6 563412 000000 03 3412 07", "04 0F F0 000001 FFFFFF 05 0201 FF",
                                     "05 0B F7 000001 FFFFFF"};
    QCOMPARE(bus.written.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(hex(bus.written.at(i).chopped(2).toHex()), hex(expected.at(i)));

    QVERIFY(last.waitForFinished() && stop.waitForFinished() && !stop.isError() && !last.isError());
    // To a node's address, as everything else.
    bus.written.clear();
    group.getMotorStatus();
    QCOMPARE(hex(bus.written.value(0).mid(1, 8).toHex()), hex("8B F6 000001 563412"));
}

QTEST_GUILESS_MAIN(tst_ProxyRequests)
#include "tst_proxyrequests.moc"
