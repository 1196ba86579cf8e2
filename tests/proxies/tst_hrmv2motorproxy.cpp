#include "devices/hrmv2stub.h"
#include "devices/tb20stub.h"
#include "messages/hrmv2answer.h"
#include "proxies/hrmv2motorproxy.h"
#include "support/columns.h"
#include "support/recordingbus.h"
#include "support/udppair.h"

using P = HRMv2MotorProxy;
using A = HRMv2Answer;
using H = HRMv2;
using Operation = std::function<BusPendingCall(P &)>;
using Told = std::function<QString(const BusMessage &)>;

/// How motors are driven by the older command set.
class tst_HRMv2MotorProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requests();
    void answers();
    void motors();
};

namespace {
/// What an answer holds, as @p show tells it.
template <typename Answer, typename Show>
Told told(Show show)
{
    return [=](const BusMessage &message) {
        const std::optional<Answer> answer = A::from<Answer>(message);
        return answer ? show(*answer) : QString("empty");
    };
}
}

// Command, control byte (80 asks for an answer), data.
void tst_HRMv2MotorProxy::requests()
{
    const std::pair<const char *, Operation> rows[] = {
        {"41 8C 05", [](P &p) { return p.getGroupAddr(5); }},
        {"42 8B", &P::getMotorSettings},
        {"43 8C 05", [](P &p) { return p.getMotorIP(5); }},
        {"44 8B", &P::getMotorPosition},
        {"46 8B", &P::getMotorInfo},
        {"47 8B", &P::getDiag},
        {"48 8B", &P::getMotorStatus},
        {"49 8B", &P::getIRConfig},
        {"4A 8B", &P::getMotorConfig},
        {"4B 8B", &P::getLockStatus},
        {"51 8F 05 EFCDAB", [](P &p) { return p.setGroupAddr(5, 0x06abcdef); }},
        {"53 8E 05 3412", [](P &p) { return p.setIP(5, 0x1234); }},
        {"53 8F 00 05 3412", [](P &p) { return p.setOlderIP(5, 0x1234); }},
        {"54 8E 10 3412", [](P &p) { return p.setMotorPosition(H::POSITION_FRACTION, 0x1234); }},
        {"5B 8E 04 02 07", [](P &p) { return p.setLockStatus(H::LOCK_AT_IP, 2, 7); }},
        {"70 8B", &P::getNodeSWVersion},
    };
    for (const auto &[bytes, operation] : rows) {
        RecordingBus bus;
        P proxy(0x01123456, &bus);
        operation(proxy);
        const QByteArray frame = bus.written.value(0);
        QCOMPARE(hex((frame.left(2) + frame.mid(9).chopped(2)).toHex()), hex(bytes));
        QCOMPARE(hex(frame.mid(2, 7).toHex()), hex("F1 000001 563412"));
    }
}

void tst_HRMv2MotorProxy::answers()
{
    const auto data = [](const auto &a) { return QString(a.data.toHex()); };
    const auto group = [](const auto &a) { return list(a.index, a.group); };
    const auto settings = [](const auto &a) { return list(a.isReversed, a.downLimit.value_or(1)); };
    const auto position = [](const auto &a) { return list(a.index, a.position.value_or(1)); };
    const std::tuple<QByteArray, Told, QString> rows[] = {
        {"61 02 563412", told<A::GroupAddr>(group), list(2, 0x123456)},
        {"62 01 B80B", told<A::MotorSettings>(settings), list(true, 3000)},
        {"62 00 FFFF", told<A::MotorSettings>(settings), list(false, 1)},
        {"63 02 B80B", told<A::MotorIP>(position), list(2, 3000)},
        {"63 02 FFFF", told<A::MotorIP>(position), list(2, 1)},
        {"64 010203", told<A::MotorPosition>(data), "010203"},
        {"66 01020304050607080900", told<A::MotorInfo>(data), "01020304050607080900"},
        {"67 010203", told<A::Diag>(data), "010203"},
        {"68 0102", told<A::MotorStatus>(data), "0102"},
        {"69 01", told<A::IRConfig>(data), "01"},
        {"6A 010203", told<A::MotorConfig>(data), "010203"},
        {"6B 05", told<A::LockStatus>([](auto a) { return QString::number(a.status); }), "5"},
        {"71 0102030405", told<A::NodeSWVersion>(data), "0102030405"},
    };
    for (const auto &[bytes, told, values] : rows) {
        QCOMPARE(told(frameFrom(1, bytes)), values);
        QCOMPARE(told(frameFrom(1, bytes.chopped(2))), QString("empty"));
        QCOMPARE(told(frameFrom(1, "6F" + bytes.mid(2))), QString("empty"));
    }
}

// What a motor answers, and where one that moves then goes.
void tst_HRMv2MotorProxy::motors()
{
    UdpPair wire;
    TB20Stub current(0x000101, &wire.network);
    HRMv2Stub older(0x000102, &wire.network);
    QVERIFY(current.setLimits(0, 12000));
    P proxy(current.addr(), &wire.host);
    const auto move = [](auto... to) { return [=](P &p) { return p.setMotorPosition(to...); }; };
    const auto lock = [](auto... how) { return [=](P &p) { return p.setLockStatus(how...); }; };
    const std::tuple<VOXNode *, Operation, QByteArray, int> steps[] = {
        {&current, &P::getMotorSettings, "62 00 E02E", 0},
        {&current, [](P &p) { return p.setIP(0, 3000); }, "7F", 0},
        {&current, [](P &p) { return p.getMotorIP(0); }, "63 00 B80B", 0},
        {&current, move(H::POSITION_STOP, 0), "7F", 0},
        {&current, move(H::POSITION_FRACTION, 128), "7F", 6023},
        {&current, move(H::POSITION_PULSES, 9000), "7F", 9000},
        {&current, move(H::POSITION_IP, 0), "7F", 3000},
        {&current, move(H::POSITION_DOWN_LIMIT, 0), "7F", 12000},
        {&current, move(H::POSITION_UP_LIMIT, 0), "7F", 0},
        {&current, lock(H::LOCK_AT_IP, 1, 5), "7F", 3000},
        {&current, move(H::POSITION_UP_LIMIT, 0), "6F 20", 3000},
        {&current, lock(H::LOCK_RELEASE, 0, 5), "7F", 3000},
        {&current, &P::getLockStatus, "6B 00", 3000},
        {&older, [](P &p) { return p.setOlderIP(3, 0x1234); }, "7F", 3000},
        {&older, [](P &p) { return p.getMotorIP(3); }, "63 03 3412", 3000},
        {&older, [](P &p) { return p.setIP(9, 0x0103); }, "7F", 3000}, // the other form sets something else
        {&older, [](P &p) { return p.getMotorIP(3); }, "63 03 0000", 3000},
        {&older, lock(H::LOCK_AT_IP, 0, 0), "7F", 3000},
        {&older, move(H::POSITION_STOP, 0), "6F 10", 3000},
    };
    for (const auto &[node, operation, said, target] : steps) {
        proxy.setAddr(node->addr());
        const BusPendingCall call = operation(proxy);
        QVERIFY(call.waitForFinished());
        QVERIFY(proxy.hasSent(call.reply()));
        QCOMPARE(list(text(call.reply()), current.targetPos()), list(hex(said), target));
    }
}

QTEST_GUILESS_MAIN(tst_HRMv2MotorProxy)
#include "tst_hrmv2motorproxy.moc"
