#include "proxies/kvrbcastproxy.h"
#include "support/recordingbus.h"
#include "support/wire.h"

using P = KVRMotorProxy;
using Operation = std::function<BusPendingCall(P &)>;
Q_DECLARE_METATYPE(Operation)

class tst_ProxyRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requests_data();
    void requests();
    void groupRequests();
};

// Command, control byte (80 asks for an answer), data.
void tst_ProxyRequests::requests_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const QByteArray &bytes, const Operation &operation) {
        QTest::newRow(name) << operation << hex(bytes);
    };
    // Queries without arguments, as scripts call them.
    const QByteArray queries = "40 getNodeAddr|4E getNetworkStat|4D getNetworkErrorStat|46 getNetworkConfig"
                               "|70 getNodeStackVersion|4C getNodeSerialNumber|74 getNodeAppVersion"
                               "|45 getNodeLabel|79 sendDataTest1|0C getMotorPosition|0E getMotorStatus"
                               "|20 getAppMode|21 getMotorLimits|22 getMotorDirection|23 getMotorRollingSpeed"
                               "|24 getMotorTiltingSpeed|26 getNetworkLock|28 getTiltLimits"
                               "|29 getMotorSoftStartStop|2A getTorqueLimitation|B0 diagGetTotalMoveCount"
                               "|B1 diagGetTotalRevCount|B2 diagGetThermalCount|B3 diagGetObstacleCount"
                               "|B4 diagGetPowerCount|B5 diagGetResetCount|B6 diagGetEncoderErrors";
    for (const QByteArray &query : queries.split('|')) {
        row(query.mid(3), query.left(2) + "8B", [query](P &p) {
            BusPendingCall call;
            QMetaObject::invokeMethod(&p, query.mid(3), Q_RETURN_ARG(BusPendingCall, call));
            return call;
        });
    }
    row("a group", "41 8C 05", [](P &p) { return p.getGroupAddr(5); });
    row("an intermediate position", "25 8C 03", [](P &p) { return p.getMotorIP(3); });
    row("a DCT lock", "27 8C 02", [](P &p) { return p.getDCTLock(2); });
    row("a default", "2F 8C 17", [](P &p) { return p.getFactoryDefault(KVRMotor::FACTORY_DCT_LOCK); });

    row("set group", "51 8F 05 EFCDAB", [](P &p) { return p.setGroupAddr(5, 0x06abcdef); });
    row("reset statistics", "5E 8D 01 FF", [](P &p) { return p.setNetworkStat(1); });
    row("set retry count", "5E 8D 00 05", [](P &p) { return p.setNetworkStat(0, 5); });
    row("discovery on is 0", "50 8C 00", [](P &p) { return p.setNodeDiscovery(true); });
    row("discovery off is 1", "50 8C 01", [](P &p) { return p.setNodeDiscovery(false); });
    row("change nothing", "56 92 FF 00 FF 0000 FF FF", [](P &p) { return p.setNetworkConfig(); });
    row("send as given", "56 92 02 03 04 3412 05 00",
        [](P &p) { return p.setNetworkConfig(2, 3, 4, 0x1234, 5, 0); });
    row("an upload asks for no ack", "56 12 FF 00 FF 0000 FF 01",
        [](P &p) { return p.setNetworkConfig(255, 0, 255, 0, 255, 1); });
    row("any upload asks for no ack", "56 12 FF 00 FF 0000 FF FE",
        [](P &p) { return p.setNetworkConfig(255, 0, 255, 0, 255, 254); });
    row("a short label is filled", "55 9B 4B69746368656E 000000000000000000",
        [](P &p) { return p.setNodeLabel("Kitchen"); });
    row("a long label is cut", "55 9B 30313233343536373839 616263646566",
        [](P &p) { return p.setNodeLabel("0123456789abcdefghij"); });
    row("few data are filled", "7B 95 616263 00000000000000", [](P &p) { return p.sendDataTest2("abc"); });
    row("much data are cut", "7B 95 30313233343536373839",
        [](P &p) { return p.sendDataTest2("0123456789a"); });
    row("some data are filled", "7D 9F 30313233343536373839 61 000000000000000000",
        [](P &p) { return p.sendDataTest3("0123456789a"); });

    row("move", "01 8E 01 C8 02",
        [](P &p) { return p.ctrlMove(KVRMotor::MOVE_UP, 200, KVRMotor::SPEED_SLOW); });
    row("stop", "02 8C FF", [](P &p) { return p.ctrlStop(); });
    row("stop at a tilt", "02 8C 07", [](P &p) { return p.ctrlStop(7); });
    row("move to", "03 8F 03 3412 FF", [](P &p) { return p.ctrlMoveTo(KVRMotor::MOVETO_PULSES, 0x1234); });
    row("move to a tilt", "03 8F 02 0200 09", [](P &p) { return p.ctrlMoveTo(KVRMotor::MOVETO_IP, 2, 9); });
    row("move of", "04 8F 05 0201 FF", [](P &p) { return p.ctrlMoveOf(KVRMotor::MOVEOF_TIME_UP, 0x0102); });
    row("wink", "05 8B", [](P &p) { return p.ctrlWink(); });
    row("lock there", "06 8F 06 3412 05",
        [](P &p) { return p.ctrlNetworkLock(KVRMotor::LOCK_AT_PULSES, 0x1234, 5); });
    row("set mode", "10 8C 02", [](P &p) { return p.setAppMode(KVRMotor::CURTAIN); });
    row("set limits", "11 8F 04 01 3412",
        [](P &p) { return p.setMotorLimits(KVRMotor::LIMIT_SHIFT_DOWN, KVRMotor::LIMIT_UP, 0x1234); });
    row("set direction", "12 8C 01", [](P &p) { return p.setMotorDirection(KVRMotor::TURN_REVERSED); });
    row("set speeds", "13 8E 01 02 03", [](P &p) { return p.setMotorRollingSpeed(1, 2, 3); });
    row("no room for a tilting speed", "14 8B", [](P &p) { return p.setMotorTiltingSpeed(9); });
    row("set position", "15 8F 03 02 3412",
        [](P &p) { return p.setMotorIP(KVRMotor::IP_PERCENT, 2, 0x1234); });
    row("lock", "16 8D 01 05", [](P &p) { return p.setNetworkLock(true, 5); });
    row("unlock", "16 8D 00 06", [](P &p) { return p.setNetworkLock(false, 6); });
    row("set DCT lock", "17 8E 01 02 05", [](P &p) { return p.setDCTLock(true, 2, 5); });
    row("no room for tilt limits", "18 8B", [](P &p) { return p.setTiltLimits(1, 2, 3); });
    row("set ramp", "19 8E 01 02 09",
        [](P &p) { return p.setMotorSoftStartStop(KVRMotor::SOFT_START, KVRMotor::RAMP_VALUE, 9); });
    row("limit torque", "1A 8D 02 01", [](P &p) { return p.setTorqueLimitation(KVRMotor::TORQUE_LEVEL, 1); });
    row("reset", "1F 8C 11", [](P &p) { return p.setFactoryDefault(KVRMotor::FACTORY_MOTOR_LIMITS); });
}

void tst_ProxyRequests::requests()
{
    QFETCH(Operation, operation);
    QFETCH(QByteArray, bytes);
    UdpPair net;
    Station motor(0x08123456, &net.network);
    P proxy(0x08123456, &net.host);
    QEventLoop loop;
    motor.react = [&loop] { loop.quit(); };
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    const BusPendingCall call = operation(proxy);
    loop.exec();
    const QByteArray heard = motor.heard.value(0).data();
    QCOMPARE(hex((heard.left(2) + heard.mid(9, heard.size() - 11)).toHex()), bytes);
    // From the host to the node.
    QCOMPARE(hex(heard.mid(2, 7).toHex()), hex("F8 000001 563412"));
}

void tst_ProxyRequests::groupRequests()
{
    RecordingBus bus;
    KVRGroupProxy group(0x06123456, &bus);
    KVRBCastProxy all(&bus);
    group.ctrlMove(KVRMotor::MOVE_UP, 200, KVRMotor::SPEED_SLOW);
    group.setDestNodeType(VOX::NODETYPE_TB20);
    // No period has to be over for the next command.
    const BusPendingCall stop = group.ctrlStop();
    group.setDestNodeType(VOX::NODETYPE_ANY);
    group.ctrlMoveTo(KVRMotor::MOVETO_PULSES, 0x1234, 7);
    all.ctrlMoveOf(KVRMotor::MOVEOF_TIME_UP, 0x0102);
    all.setDestNodeType(VOX::NODETYPE_QM75);
    const BusPendingCall last = all.ctrlWink();
    const QByteArrayList expected = {"01 0E F6 563412 000000 01 C8 02", "02 0C F2 563412 000000 FF",
                                     "03 0F F6 563412 000000 03 3412 07", "04 0F F0 000001 FFFFFF 05 0201 FF",
                                     "05 0B F7 000001 FFFFFF"};
    QCOMPARE(bus.written.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(hex(bus.written.at(i).chopped(2).toHex()), hex(expected.at(i)));

    // What comes all the same is collected, from whoever answers the group; the end is no error.
    const VOXMessage refusal(BusMessage(frame("6F 10", 0x0f123456).data()));
    bus.dispatcher().dispatch(refusal.data());
    QElapsedTimer clock;
    clock.start();
    QVERIFY(last.waitForFinished() && stop.waitForFinished() && !stop.isError() && !last.isError());
    QVERIFY(clock.elapsed() >= 200 && last.replies().isEmpty());
    // To a node's address, as everything else.
    bus.written.clear();
    group.getMotorStatus();
    QCOMPARE(hex(bus.written.value(0).mid(1, 8).toHex()), hex("8B F6 000001 563412"));
}

QTEST_GUILESS_MAIN(tst_ProxyRequests)
#include "tst_proxyrequests.moc"
