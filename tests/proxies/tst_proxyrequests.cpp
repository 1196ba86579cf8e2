#include "proxies/kvrmotorproxy.h"
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
};

namespace {
template <typename... Arguments>
BusPendingCall invoked(P &proxy, const char *operation, Arguments... arguments)
{
    BusPendingCall call;
    QMetaObject::invokeMethod(&proxy, operation, Q_RETURN_ARG(BusPendingCall, call), arguments...);
    return call;
}

/// The bytes that a motor on the network hears.
QByteArray heardFrom(const Operation &operation)
{
    UdpPair net;
    Station motor(0x08123456, &net.network);
    P proxy(0x08123456, &net.host);
    const BusPendingCall call = operation(proxy);
    return QTest::qWaitFor([&] { return !motor.heard.isEmpty(); }) ? motor.heard.first().data()
                                                                   : QByteArray();
}
}

// Command, control byte (80 asks for an answer), data.
void tst_ProxyRequests::requests_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const Operation &operation, const QByteArray &bytes) {
        QTest::newRow(name) << operation << hex(bytes);
    };
    const QList<QPair<const char *, const char *>> queries = {
        {"getNodeAddr", "40"},           {"getNetworkStat", "4E"},      {"getNetworkErrorStat", "4D"},
        {"getNetworkConfig", "46"},      {"getNodeStackVersion", "70"}, {"getNodeSerialNumber", "4C"},
        {"getNodeAppVersion", "74"},     {"getNodeLabel", "45"},        {"sendDataTest1", "79"},
        {"getMotorPosition", "0C"},      {"getMotorStatus", "0E"},      {"getAppMode", "20"},
        {"getMotorLimits", "21"},        {"getMotorDirection", "22"},   {"getMotorRollingSpeed", "23"},
        {"getMotorTiltingSpeed", "24"},  {"getNetworkLock", "26"},      {"getTiltLimits", "28"},
        {"getMotorSoftStartStop", "29"}, {"getTorqueLimitation", "2A"}, {"diagGetTotalMoveCount", "B0"},
        {"diagGetTotalRevCount", "B1"},  {"diagGetThermalCount", "B2"}, {"diagGetObstacleCount", "B3"},
        {"diagGetPowerCount", "B4"},     {"diagGetResetCount", "B5"},   {"diagGetEncoderErrors", "B6"}};
    for (const auto &query : queries) {
        row(
            query.first, [query](P &p) { return invoked(p, query.first); }, query.second + QByteArray(" 8B"));
    }
    row(
        "getGroupAddr", [](P &p) { return p.getGroupAddr(5); }, "41 8C 05");
    row(
        "setGroupAddr", [](P &p) { return p.setGroupAddr(5, 0x06abcdef); }, "51 8F 05 EFCDAB");
    row(
        "setNetworkStat resets", [](P &p) { return p.setNetworkStat(1); }, "5E 8D 01 FF");
    row(
        "setNetworkStat", [](P &p) { return p.setNetworkStat(0, 5); }, "5E 8D 00 05");
    row(
        "setNodeDiscovery on is 0", [](P &p) { return p.setNodeDiscovery(true); }, "50 8C 00");
    row(
        "setNodeDiscovery off is 1", [](P &p) { return p.setNodeDiscovery(false); }, "50 8C 01");
    row(
        "setNetworkConfig changes nothing", [](P &p) { return p.setNetworkConfig(); },
        "56 92 FF 00 FF 0000 FF FF");
    row(
        "setNetworkConfig sends as given", [](P &p) { return p.setNetworkConfig(2, 3, 4, 0x1234, 5, 0); },
        "56 92 02 03 04 3412 05 00");
    row(
        "an upload of 1 asks for no ack", [](P &p) { return p.setNetworkConfig(255, 0, 255, 0, 255, 1); },
        "56 12 FF 00 FF 0000 FF 01");
    row(
        "an upload of 254 asks for no ack", [](P &p) { return p.setNetworkConfig(255, 0, 255, 0, 255, 254); },
        "56 12 FF 00 FF 0000 FF FE");
    row(
        "setNodeLabel fills with 0", [](P &p) { return p.setNodeLabel("Kitchen"); },
        "55 9B 4B69746368656E 000000000000000000");
    row(
        "setNodeLabel cuts to 16", [](P &p) { return p.setNodeLabel("0123456789abcdefghij"); },
        "55 9B 30313233343536373839 616263646566");
    row(
        "sendDataTest2 fills with 0", [](P &p) { return p.sendDataTest2("abc"); },
        "7B 95 616263 00000000000000");
    row(
        "sendDataTest2 cuts to 10", [](P &p) { return p.sendDataTest2("0123456789a"); },
        "7B 95 30313233343536373839");
    row(
        "sendDataTest3 fills with 0", [](P &p) { return p.sendDataTest3("abc"); },
        "7D 9F 616263 0000000000000000000000000000000000");
    row(
        "sendDataTest3 cuts to 20", [](P &p) { return p.sendDataTest3("0123456789012345678901"); },
        "7D 9F 30313233343536373839 30313233343536373839");
    row(
        "ctrlMove", [](P &p) { return p.ctrlMove(KVRMotor::MOVE_UP, 200, KVRMotor::SPEED_SLOW); },
        "01 8E 01 C8 02");
    row(
        "ctrlStop", [](P &p) { return p.ctrlStop(); }, "02 8C FF");
    row(
        "ctrlStop at a tilt", [](P &p) { return p.ctrlStop(7); }, "02 8C 07");
    row(
        "ctrlMoveTo", [](P &p) { return p.ctrlMoveTo(KVRMotor::MOVETO_PULSES, 0x1234); }, "03 8F 03 3412 FF");
    row(
        "ctrlMoveTo at a tilt", [](P &p) { return p.ctrlMoveTo(KVRMotor::MOVETO_IP, 2, 9); },
        "03 8F 02 0200 09");
    row(
        "ctrlMoveOf by name",
        [](P &p) {
            return invoked(p, "ctrlMoveOf", Q_ARG(KVRMotor::MoveOfFunction, KVRMotor::MOVEOF_TIME_UP),
                           Q_ARG(quint16, 0x0102));
        },
        "04 8F 05 0201 FF");
    row(
        "ctrlMoveOf at a tilt", [](P &p) { return p.ctrlMoveOf(KVRMotor::MOVEOF_TILT_UP, 0, 9); },
        "04 8F 07 0000 09");
    row(
        "ctrlWink", [](P &p) { return p.ctrlWink(); }, "05 8B");
    row(
        "ctrlNetworkLock", [](P &p) { return p.ctrlNetworkLock(KVRMotor::LOCK_AT_PULSES, 0x1234, 5); },
        "06 8F 06 3412 05");
    row(
        "setAppMode", [](P &p) { return p.setAppMode(KVRMotor::CURTAIN); }, "10 8C 02");
    row(
        "setMotorLimits",
        [](P &p) { return p.setMotorLimits(KVRMotor::LIMIT_SHIFT_DOWN, KVRMotor::LIMIT_UP, 0x1234); },
        "11 8F 04 01 3412");
    row(
        "setMotorDirection", [](P &p) { return p.setMotorDirection(KVRMotor::TURN_REVERSED); }, "12 8C 01");
    row(
        "setMotorRollingSpeed", [](P &p) { return p.setMotorRollingSpeed(1, 2, 3); }, "13 8E 01 02 03");
    row(
        "setMotorTiltingSpeed has no room", [](P &p) { return p.setMotorTiltingSpeed(9); }, "14 8B");
    row(
        "setMotorIP", [](P &p) { return p.setMotorIP(KVRMotor::IP_PERCENT, 2, 0x1234); }, "15 8F 03 02 3412");
    row(
        "setNetworkLock on", [](P &p) { return p.setNetworkLock(true, 5); }, "16 8D 01 05");
    row(
        "setNetworkLock off", [](P &p) { return p.setNetworkLock(false, 6); }, "16 8D 00 06");
    row(
        "setDCTLock", [](P &p) { return p.setDCTLock(true, 2, 5); }, "17 8E 01 02 05");
    row(
        "setTiltLimits has no room", [](P &p) { return p.setTiltLimits(1, 2, 3); }, "18 8B");
    row(
        "setMotorSoftStartStop",
        [](P &p) { return p.setMotorSoftStartStop(KVRMotor::SOFT_START, KVRMotor::RAMP_VALUE, 9); },
        "19 8E 01 02 09");
    row(
        "setTorqueLimitation", [](P &p) { return p.setTorqueLimitation(KVRMotor::TORQUE_LEVEL, 1); },
        "1A 8D 02 01");
    row(
        "setFactoryDefault", [](P &p) { return p.setFactoryDefault(KVRMotor::FACTORY_MOTOR_LIMITS); },
        "1F 8C 11");
    row(
        "getMotorIP", [](P &p) { return p.getMotorIP(3); }, "25 8C 03");
    row(
        "getDCTLock", [](P &p) { return p.getDCTLock(2); }, "27 8C 02");
    row(
        "getFactoryDefault", [](P &p) { return p.getFactoryDefault(KVRMotor::FACTORY_DCT_LOCK); },
        "2F 8C 17");
}

void tst_ProxyRequests::requests()
{
    QFETCH(Operation, operation);
    QFETCH(QByteArray, bytes);
    const QByteArray heard = heardFrom(operation);
    QCOMPARE(hex((heard.left(2) + heard.mid(9, heard.size() - 11)).toHex()), bytes);
    // From the host to the node.
    QCOMPARE(hex(heard.mid(2, 7).toHex()), hex("F8 000001 563412"));
    QVERIFY(VOXMessage(BusMessage(heard)).isValid());
}

QTEST_GUILESS_MAIN(tst_ProxyRequests)
#include "tst_proxyrequests.moc"
