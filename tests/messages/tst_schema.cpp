#include "messages/hrmv2schema_p.h"
#include "messages/kvranswer.h"
#include "messages/kvrschema_p.h"
#include "support/columns.h"
#include "support/frames.h"

#include <QJsonObject>

#include <functional>

using namespace VOXSchema;
using u8 = quint8;
using u16 = quint16;
using A = KVRAnswer;
using M = KVRMotor;
using Told = std::function<QByteArray(const BusMessage &)>;
Q_DECLARE_METATYPE(Told)

/// What the data of each command holds, as it is written, read, shown and given to hosts.
class tst_Schema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writes_data();
    void writes();
    void answers_data();
    void answers();
    void outputs();
    void view();
};

namespace {
template <auto Command, typename... Values>
constexpr bool puts = CheckOf<Command>::template isPut<Values...>();
template <auto Command, typename... Outputs>
constexpr bool takes = CheckOf<Command>::template isTaken<Bare<Outputs>...>();

static_assert(puts<KVR::CTRL_MOVETO, M::MoveToFunction, u16, u8>);
static_assert(!puts<KVR::CTRL_MOVETO, u8, u16, u8>, "a number for an enumeration");
static_assert(!puts<KVR::CTRL_MOVETO, M::MoveOfFunction, u16, u8>, "another enumeration");
static_assert(!puts<KVR::CTRL_MOVETO, M::MoveToFunction, unsigned, u8>, "three bytes for two");
static_assert(!puts<KVR::CTRL_MOVETO, M::MoveToFunction, u8, u16>, "in another order");
static_assert(!puts<KVR::CTRL_MOVETO, M::MoveToFunction, u16>, "one forgotten");
static_assert(!puts<KVR::SET_DCT_LOCK, u8, u8, u8>, "a number for a flag");
static_assert(!puts<KVR::CTRL_WINK, u8>, "one too many");
static_assert(takes<KVR::POST_DCT_LOCK, bool &, VOX::Addr *, std::nullptr_t>);
static_assert(takes<KVR::SET_APP_MODE, M::AppMode &> && takes<KVR::SET_APP_MODE, u8 &>,
              "to be checked first");
static_assert(!takes<KVR::GET_MOTOR_IP, u16 &> && !takes<KVR::GET_MOTOR_IP, bool *>,
              "of another width or kind");
static_assert(!hasLayout<HRMv2::GET_DIAG> && hasLayout<KVR::ACK> && !hasLayout<0x7f>);

/// Command and data of a frame with these values, as long as it is sent.
template <auto Command, typename... Values>
void row(const char *expected, const Values &...values)
{
    VOXMessage message(sentLength<Command>);
    message.setCmd(static_cast<u8>(Command));
    put<Command>(message, values...);
    QTest::newRow(QMetaEnum::fromType<decltype(Command)>().valueToKey(Command))
        << text(message) << QByteArray(expected);
}

QByteArray shown(const QByteArray &value)
{
    return value;
}
template <typename Value>
QByteArray shown(const Value &value)
{
    return QByteArray::number(static_cast<unsigned>(value), 16).toUpper();
}
template <typename Value>
QByteArray shown(const std::optional<Value> &value)
{
    return value ? shown(*value) : "none";
}

/// Members of an answer, which may have them from @p Base; "empty" if there is no answer.
template <typename Answer, typename Base, typename... Members>
Told membersOf(Members Base::*...member)
{
    return [=](const BusMessage &message) -> QByteArray {
        const std::optional<Answer> answer = A::from<Answer>(message);
        return answer ? QByteArrayList{shown((*answer).*member)...}.join(' ') : QByteArray("empty");
    };
}
template <typename Answer, typename... Members>
Told members(Members Answer::*...member)
{
    return membersOf<Answer>(member...);
}
}

// What proxies send is in tst_proxyrequests.
void tst_Schema::writes_data()
{
    QTest::addColumn<QByteArray>("actual");
    QTest::addColumn<QByteArray>("expected");
    row<KVR::SET_NODE_LABEL>("55 61 00 62 00 00 00 00 00 00 00 00 00 00 00 00 00", QByteArray("a\0b", 3));
    row<KVR::NACK>("6F FF", KVR::NACK_BUSY);
    row<KVR::ACK>("7F");
    // Replies whose frames are not those of their descriptors.
    row<KVR::POST_MOTOR_TILTING_SPEED>("34 09", u8(9));
    row<KVR::POST_MOTOR_IP>("35 02 34 12 32", u8(2), u16(0x1234), u8(50));
    row<KVR::POST_TILT_LIMITS>("38 02 01 04 03 06 05", u16(0x0102), u16(0x0304), u16(0x0506));
    row<KVR::POST_TORQUE_LIMITATION>("3A 01 02", u8(1), u8(2));
    row<KVR::POST_FACTORY_DEFAULT>("3F 15 01", M::FACTORY_MOTOR_IP, true);
    row<KVR::DIAG_POST_TOTAL_MOVE_COUNT>("C0 56 34 12 00", 0x123456u);
    row<KVR::DIAG_POST_TOTAL_REV_COUNT>("C1 56 34 12 00", 0x123456u);
    row<KVR::POST_NETWORK_STAT>("6E 01 04 03 02 07 06 05 0A 09 08 0C 0B 0D 0E 00 00 00", u8(1), 0x020304u,
                                0x050607u, 0x08090Au, u16(0x0B0C), u8(13), u8(14));
    row<HRMv2::POST_MOTOR_SETTINGS>("62 01 34 12", true, u16(0x1234));
    row<HRMv2::GET_MOTOR_IP>("43 05", u8(5));
    row<HRMv2::POST_MOTOR_IP>("63 05 34 12", u8(5), u16(0x1234));
    row<HRMv2::SET_IP>("53 05 34 12", u8(5), u16(0x1234));
    row<HRMv2::SET_MOTOR_POSITION>("54 10 34 12", u8(16), u16(0x1234));
    row<HRMv2::SET_LOCK_STATUS>("5B 04 02 07", u8(4), u8(2), u8(7));
    row<HRMv2::POST_LOCK_STATUS>("6B 02", u8(2));
}

void tst_Schema::writes()
{
    QFETCH(const QByteArray, actual);
    QTEST(actual, "expected");
}

void tst_Schema::answers_data()
{
    const auto row = columns<QByteArray, Told, QByteArray>("reply", "told", "expected");
    const auto group = members(&A::GroupAddr::index, &A::GroupAddr::group);
    row("POST_GROUP_ADDR", "61 02 563412", group, "2 123456");
    const auto label = members(&A::NodeLabel::label);
    row("POST_NODE_LABEL", "65 61623132333435363738393031323334", label, "ab12345678901234");
    row("the end of a label", "65 61620000000000000000000000000063", label, "ab");
    row("POST_NETWORK_CONFIG", "66 01 02 03 0504 00",
        members(&A::NetworkConfig::bcastMode, &A::NetworkConfig::maxRand, &A::NetworkConfig::supervision,
                &A::NetworkConfig::supervisionPeriod, &A::NetworkConfig::deafMode),
        "1 2 1 405 0");
    row("POST_NODE_SERIAL_NUMBER", "6C 313233000000000000000000", members(&A::NodeSerialNumber::serial),
        "123");
    using E = A::NetworkErrorStat;
    row("POST_NETWORK_ERROR_STAT", "6D 0101 0202 0303 0404 0505 0606 0707 0808 0109",
        members(&E::txFailures, &E::collisions, &E::rxDataError, &E::unknownMessage, &E::msgLengthError,
                &E::rxFifoFull, &E::txFifoFull, &E::crcError, &E::bundleSizeError),
        "101 202 303 404 505 606 707 808 901");
    using S = A::NetworkStat;
    row("POST_NETWORK_STAT", "6E 01 040302 070605 0A0908 0C0B 0D 0E",
        members(&S::maxRetryCount, &S::frameSent, &S::frameSeen, &S::frameReceived, &S::busyCount,
                &S::maxSlot, &S::supervisionFailure),
        "1 20304 50607 8090A B0C D E");
    using V = A::Version;
    row("POST_NODE_STACK_VERSION", "71 563412 41 03 01",
        membersOf<A::NodeStackVersion>(&V::reference, &V::letter, &V::number, &V::profile), "123456 41 3 1");
    row("POST_NODE_APP_VERSION", "75 563412 41 03 01",
        membersOf<A::NodeAppVersion>(&V::reference, &V::letter, &V::number, &V::profile), "123456 41 3 1");
    row("POST_DATA_TEST2", "7C 30313233343536373839", members(&A::DataTest2::data), "0123456789");
    row("POST_DATA_TEST3", "7E 3031323334353637383930313233343536373839", members(&A::DataTest3::data),
        "01234567890123456789");
    using P = A::MotorPosition;
    const auto position = members(&P::position, &P::percent, &P::tilt, &P::ip);
    row("POST_MOTOR_POSITION", "0D 3412 32 05 02", position, "1234 32 5 2");
    row("no position", "0D FFFF FF FF FF", position, "none none none none");
    row("almost none", "0D FFFE FE 00 FE", position, "FEFF FE 0 FE");
    using Status = M::Status;
    row("POST_MOTOR_STATUS", "0F 01 FF 07 02",
        membersOf<A::MotorStatus>(&Status::state, &Status::direction, &Status::source, &Status::cause),
        "1 FF 7 2");
    row("POST_APP_MODE", "30 02", members(&A::AppMode::mode), "2");
    const auto limits = members(&A::MotorLimits::upLimit, &A::MotorLimits::downLimit);
    row("POST_MOTOR_LIMITS", "31 0000 B80B", limits, "0 BB8");
    row("one limit", "31 FFFF B80B", limits, "none BB8");
    row("POST_MOTOR_DIRECTION", "32 01", members(&A::MotorDirection::direction), "1");
    using R = A::MotorRollingSpeed;
    row("POST_MOTOR_ROLLING_SPEED", "33 0A 0B 0C", members(&R::up, &R::down, &R::slow), "A B C");
    row("POST_MOTOR_TILTING_SPEED", "34 09", members(&A::MotorTiltingSpeed::speed), "9");
    row("POST_MOTOR_IP", "35 02 3412 FF",
        members(&A::MotorIP::index, &A::MotorIP::position, &A::MotorIP::percent), "2 1234 none");
    using L = A::Lock;
    row("POST_NETWORK_LOCK", "36 02 563412 07",
        membersOf<A::NetworkLock>(&L::locked, &L::source, &L::priority), "1 123456 7");
    row("POST_DCT_LOCK", "37 02 563412 07", membersOf<A::DCTLock>(&L::locked, &L::source, &L::priority),
        "1 123456 7");
    using T = A::TiltLimits;
    row("POST_TILT_LIMITS", "38 0201 0403 0605", members(&T::minTilt, &T::maxTilt, &T::defaultTilt),
        "102 304 506");
    using F = A::MotorSoftStartStop;
    row("POST_MOTOR_SOFT_START_STOP", "39 01 02 00 04",
        members(&F::start, &F::startValue, &F::stop, &F::stopValue), "1 2 0 4");
    row("POST_TORQUE_LIMITATION", "3A 01 02",
        members(&A::TorqueLimitation::status, &A::TorqueLimitation::level), "1 2");
    row("POST_FACTORY_DEFAULT", "3F 15 01",
        members(&A::FactoryDefault::function, &A::FactoryDefault::isDefault), "15 1");
    using C = A::CounterWithMoves;
    row("DIAG_POST_TOTAL_MOVE_COUNT", "C0 563412", membersOf<A::TotalMoveCount>(&A::Total::count), "123456");
    row("DIAG_POST_TOTAL_REV_COUNT", "C1 563412", membersOf<A::TotalRevCount>(&A::Total::count), "123456");
    row("DIAG_POST_THERMAL_COUNT", "C2 0201 0403", membersOf<A::ThermalCount>(&C::count, &C::movesAfter),
        "102 304");
    row("DIAG_POST_OBSTACLE_COUNT", "C3 0201 0403", membersOf<A::ObstacleCount>(&C::count, &C::movesAfter),
        "102 304");
    row("DIAG_POST_POWER_COUNT", "C4 0201", membersOf<A::PowerCount>(&A::Counter::count), "102");
    row("DIAG_POST_RESET_COUNT", "C5 0201", membersOf<A::ResetCount>(&A::Counter::count), "102");
    row("DIAG_POST_ENCODER_ERRORS", "C6 0201", membersOf<A::EncoderErrors>(&A::Counter::count), "102");
}

void tst_Schema::answers()
{
    QFETCH(const QByteArray, reply);
    QFETCH(const Told, told);
    const VOXMessage whole = frame(reply, HostAddr);
    QTEST(told(whole), "expected");
    if (whole.len() < VOXMessage::MaxLength)
        QTEST(told(frame(reply + "00", HostAddr)), "expected");
    for (QByteArray shorter = hex(reply); shorter.size() > 2; shorter.chop(3))
        QCOMPARE(told(frame(shorter.chopped(3), HostAddr)), QByteArray("empty"));
    for (int size = 0; size < VOXMessage::MinLength; ++size)
        QCOMPARE(told(BusMessage(whole.data().left(size))), QByteArray("empty"));
    QCOMPARE(told(frame("6F 10", HostAddr)), QByteArray("empty"));
    QCOMPARE(told(frame("0B" + hex(reply).mid(2), HostAddr)), QByteArray("empty"));
}

// Outputs change as far as the data goes; what is skipped is not missed at the end.
void tst_Schema::outputs()
{
    bool locked = false;
    VOX::Addr source = 1;
    u8 priority = 9;
    QVERIFY(!take<KVR::POST_DCT_LOCK>(frame("37 01 0300", HostAddr), locked, source, priority));
    QCOMPARE(QByteArrayList({shown(locked), shown(source), shown(priority)}).join(' '), QByteArray("1 1 9"));
    QVERIFY(take<KVR::POST_DCT_LOCK>(frame("37 01 030000", HostAddr), &locked, &source, nullptr));
    QCOMPARE(source, 3u);
    QVERIFY(take<KVR::POST_DCT_LOCK>(frame("37 01 030000 07", HostAddr), nullptr, nullptr, &priority));
    QCOMPARE(priority, u8(7));
    u8 raw = 0;
    QVERIFY(take<KVR::SET_DCT_LOCK>(frame("17 02 00 00", HostAddr), raw, nullptr, nullptr));
    QCOMPARE(raw, u8(2));
    M::AppMode mode = M::VENETIAN;
    QVERIFY(!take<KVR::SET_APP_MODE>(frame("10", HostAddr), mode) && mode == M::VENETIAN);
    QVERIFY(take<KVR::SET_APP_MODE>(frame("10 C8", HostAddr), mode) && int(mode) == 200);
    QByteArray label = "as it was";
    QVERIFY(!take<KVR::POST_NODE_LABEL>(frame("65 6162", HostAddr), label) && label == "as it was");
    QVERIFY(take<KVR::SET_NODE_LABEL>(frame("55 61000000000000000000000000000062", HostAddr), &label));
    QCOMPARE(label.toHex(), QByteArray("61000000000000000000000000000062"));
}

// Which fields there are is in docs/commands.md and in the dissector, which tst_reference compares.
void tst_Schema::view()
{
    const auto shownAs = [](const QByteArray &data) {
        QStringList all;
        const auto values = VOXField::valuesOf(frame(data, HostAddr));
        for (const VOXField::Value &value : values)
            all += QString("%1 %2").arg(value.field->name, value.toString());
        return all.join(", ");
    };
    QCOMPARE(shownAs("0D 3412 32 FF 02"), QString("position 4660 pulses, percent 50 %, tilt none, ip 2"));
    QCOMPARE(shownAs("01 02 0A 09"), QString("dir MOVE_TO_NEAREST_LIMIT, duration 10 x 10 ms, speed 9"));
    QCOMPARE(shownAs("37 02 563412"), QString("locked true, source 123456"));
    QCOMPARE(shownAs("71 563412 00 03"), QString("reference 1193046, letter , number 3"));
    QCOMPARE(shownAs("7C 000102030405060708FF"), QString("data 00 01 02 03 04 05 06 07 08 FF"));
    QCOMPARE(shownAs("65 611B620000000000000000000000007A"), QString("label a?b"));
    QCOMPARE(shownAs("6F 20") + ", " + shownAs("6F 63"), QString("status NODE_IS_LOCKED, status 99"));
    QCOMPARE(VOXField::toVariantMap(frame("0D 3412 FF", HostAddr)),
             QVariantMap({{"position", 0x1234}, {"percent", QVariant()}}));
    QCOMPARE(VOXField::toJson(frame("30 01", HostAddr)), QJsonObject({{"mode", "VENETIAN"}}));
    QVERIFY(VOXField::isKnown(KVR::ACK) && !VOXField::isKnown(HRMv2::GET_DIAG));
    QVERIFY2(VOXField::of(KVR::SET_TILT_LIMITS).isEmpty(), "the frame has no room for them");
}

QTEST_GUILESS_MAIN(tst_Schema)
#include "tst_schema.moc"
