#include "messages/hrmv2schema_p.h"
#include "messages/kvranswer.h"
#include "messages/kvrschema_p.h"
#include "support/columns.h"
#include "support/frames.h"

#include <QJsonObject>

using namespace VOXSchema;
using u8 = quint8;
using u16 = quint16;
using A = KVRAnswer;
using M = KVRMotor;

/// What the data of each command holds, as it is written, read, shown and given to hosts.
class tst_Schema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writes();
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
static_assert(!hasLayout<HRMv2::SET_MOTOR_CONFIG> && hasLayout<KVR::ACK> && !hasLayout<0x7f>);

/// Command and data of a frame with these values, as long as it is sent.
template <auto Command, typename... Values>
void written(const char *expected, const Values &...values)
{
    VOXMessage message(sentLength<Command>);
    message.setCmd(static_cast<u8>(Command));
    put<Command>(message, values...);
    QCOMPARE(text(message), QByteArray(expected));
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

/// A reply, and what members of its answer say.
template <typename Answer, typename Base, typename... Members>
void reply(const QByteArray &bytes, const QByteArray &expected, Members Base::*...member)
{
    const auto told = [=](const BusMessage &message) -> QByteArray {
        const std::optional<Answer> answer = A::from<Answer>(message);
        return answer ? QByteArrayList{shown((*answer).*member)...}.join(' ') : QByteArray("empty");
    };
    const VOXMessage whole = frame(bytes, HostAddr);
    QCOMPARE(list(bytes, told(whole)), list(bytes, expected));
    if (whole.len() < VOXMessage::MaxLength)
        QCOMPARE(list(bytes, told(frame(bytes + "00", HostAddr))), list(bytes, expected));
    QList<BusMessage> wrong = {frame("6F 10", HostAddr), frame("0B" + hex(bytes).mid(2), HostAddr)};
    for (QByteArray shorter = hex(bytes); shorter.size() > 2; shorter.chop(3))
        wrong += frame(shorter.chopped(3), HostAddr);
    for (int size = 0; size < VOXMessage::MinLength; ++size)
        wrong += BusMessage(whole.data().left(size));
    for (const BusMessage &message : wrong)
        QCOMPARE(told(message) + text(message), "empty" + text(message));
}
}

// What proxies send is in tst_proxyrequests, what devices answer in their tests.
void tst_Schema::writes()
{
    written<KVR::SET_NODE_LABEL>("55 61 00 62 00 00 00 00 00 00 00 00 00 00 00 00 00", QByteArray("a\0b", 3));
    // Replies whose frames are not those of their descriptors.
    written<KVR::POST_MOTOR_TILTING_SPEED>("34 09", u8(9));
    written<KVR::POST_TILT_LIMITS>("38 02 01 04 03 06 05", u16(0x0102), u16(0x0304), u16(0x0506));
    written<KVR::POST_NETWORK_STAT>("6E 01 04 03 02 07 06 05 0A 09 08 0C 0B 0D 0E 00 00 00", u8(1), 0x020304u,
                                    0x050607u, 0x08090Au, u16(0x0B0C), u8(13), u8(14));
}

void tst_Schema::answers()
{
    reply<A::GroupAddr>("61 02 563412", "2 123456", &A::GroupAddr::index, &A::GroupAddr::group);
    reply<A::NodeLabel>("65 61623132333435363738393031323334", "ab12345678901234", &A::NodeLabel::label);
    reply<A::NodeLabel>("65 61620000000000000000000000000063", "ab", &A::NodeLabel::label);
    using Config = A::NetworkConfig;
    reply<Config>("66 01 02 03 0504 00", "1 2 1 405 0", &Config::bcastMode, &Config::maxRand,
                  &Config::supervision, &Config::supervisionPeriod, &Config::deafMode);
    reply<A::NodeSerialNumber>("6C 313233000000000000000000", "123", &A::NodeSerialNumber::serial);
    using E = A::NetworkErrorStat;
    reply<E>("6D 0101 0202 0303 0404 0505 0606 0707 0808 0109", "101 202 303 404 505 606 707 808 901",
             &E::txFailures, &E::collisions, &E::rxDataError, &E::unknownMessage, &E::msgLengthError,
             &E::rxFifoFull, &E::txFifoFull, &E::crcError, &E::bundleSizeError);
    using S = A::NetworkStat;
    reply<S>("6E 01 040302 070605 0A0908 0C0B 0D 0E", "1 20304 50607 8090A B0C D E", &S::maxRetryCount,
             &S::frameSent, &S::frameSeen, &S::frameReceived, &S::busyCount, &S::maxSlot,
             &S::supervisionFailure);
    using V = A::Version;
    reply<A::NodeStackVersion>("71 563412 41 03 01", "123456 41 3 1", &V::reference, &V::letter, &V::number,
                               &V::profile);
    reply<A::NodeAppVersion>("75 563412 41 03 01", "123456 41 3 1", &V::reference, &V::letter, &V::number,
                             &V::profile);
    reply<A::DataTest2>("7C 30313233343536373839", "0123456789", &A::DataTest2::data);
    reply<A::DataTest3>("7E 3031323334353637383930313233343536373839", "01234567890123456789",
                        &A::DataTest3::data);
    using P = A::MotorPosition;
    for (const auto &[bytes, said] : {std::pair("0D 3412 32 05 02", "1234 32 5 2"),
                                      {"0D FFFF FF FF FF", "none none none none"},
                                      {"0D FFFE FE 00 FE", "FEFF FE 0 FE"}})
        reply<P>(bytes, said, &P::position, &P::percent, &P::tilt, &P::ip);
    using Status = M::Status;
    reply<A::MotorStatus>("0F 01 FF 07 02", "1 FF 7 2", &Status::state, &Status::direction, &Status::source,
                          &Status::cause);
    reply<A::AppMode>("30 02", "2", &A::AppMode::mode);
    using Limits = A::MotorLimits;
    reply<Limits>("31 0000 B80B", "0 BB8", &Limits::upLimit, &Limits::downLimit);
    reply<Limits>("31 FFFF B80B", "none BB8", &Limits::upLimit, &Limits::downLimit);
    reply<A::MotorDirection>("32 01", "1", &A::MotorDirection::direction);
    using R = A::MotorRollingSpeed;
    reply<R>("33 0A 0B 0C", "A B C", &R::up, &R::down, &R::slow);
    reply<A::MotorTiltingSpeed>("34 09", "9", &A::MotorTiltingSpeed::speed);
    reply<A::MotorIP>("35 02 3412 FF", "2 1234 none", &A::MotorIP::index, &A::MotorIP::position,
                      &A::MotorIP::percent);
    using L = A::Lock;
    reply<A::NetworkLock>("36 02 563412 07", "1 123456 7", &L::locked, &L::source, &L::priority);
    reply<A::DCTLock>("37 02 563412 07", "1 123456 7", &L::locked, &L::source, &L::priority);
    using T = A::TiltLimits;
    reply<T>("38 0201 0403 0605", "102 304 506", &T::minTilt, &T::maxTilt, &T::defaultTilt);
    using F = A::MotorSoftStartStop;
    reply<F>("39 01 02 00 04", "1 2 0 4", &F::start, &F::startValue, &F::stop, &F::stopValue);
    reply<A::TorqueLimitation>("3A 01 02", "1 2", &A::TorqueLimitation::status, &A::TorqueLimitation::level);
    reply<A::FactoryDefault>("3F 15 01", "15 1", &A::FactoryDefault::function, &A::FactoryDefault::isDefault);
    using C = A::CounterWithMoves;
    reply<A::TotalMoveCount>("C0 563412", "123456", &A::Total::count);
    reply<A::TotalRevCount>("C1 563412", "123456", &A::Total::count);
    reply<A::ThermalCount>("C2 0201 0403", "102 304", &C::count, &C::movesAfter);
    reply<A::ObstacleCount>("C3 0201 0403", "102 304", &C::count, &C::movesAfter);
    reply<A::PowerCount>("C4 0201", "102", &A::Counter::count);
    reply<A::ResetCount>("C5 0201", "102", &A::Counter::count);
    reply<A::EncoderErrors>("C6 0201", "102", &A::Counter::count);
}

// Outputs change as far as the data goes; what is skipped is not missed at the end.
void tst_Schema::outputs()
{
    bool locked = false;
    VOX::Addr source = 1;
    u8 priority = 9;
    QVERIFY(!take<KVR::POST_DCT_LOCK>(frame("37 01 0300", HostAddr), locked, source, priority));
    QCOMPARE(list(locked, source, priority), list(true, 1, 9));
    QVERIFY(take<KVR::POST_DCT_LOCK>(frame("37 01 030000", HostAddr), &locked, &source, nullptr));
    QVERIFY(take<KVR::POST_DCT_LOCK>(frame("37 01 030000 07", HostAddr), nullptr, nullptr, &priority));
    u8 raw = 0;
    QVERIFY(take<KVR::SET_DCT_LOCK>(frame("17 02 00 00", HostAddr), raw, nullptr, nullptr));
    QCOMPARE(list(source, priority, raw), list(3, 7, 2));
    M::AppMode mode = M::VENETIAN;
    QByteArray label = "as it was";
    QVERIFY(!take<KVR::SET_APP_MODE>(frame("10", HostAddr), mode));
    QVERIFY(!take<KVR::POST_NODE_LABEL>(frame("65 6162", HostAddr), label));
    QCOMPARE(list(mode, label), list(M::VENETIAN, "as it was"));
    QVERIFY(take<KVR::SET_APP_MODE>(frame("10 C8", HostAddr), mode));
    QVERIFY(take<KVR::SET_NODE_LABEL>(frame("55 61000000000000000000000000000062", HostAddr), &label));
    QCOMPARE(list(int(mode), label.toHex()), list(200, "61000000000000000000000000000062"));
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
    const std::pair<QByteArray, QString> cases[] = {
        {"0D 3412 32 FF 02", "position 4660 pulses, percent 50 %, tilt none, ip 2"},
        {"01 02 0A 09", "dir MOVE_TO_NEAREST_LIMIT, duration 10 x 10 ms, speed 9"},
        {"37 02 563412", "locked true, source 123456"},
        {"71 563412 00 03", "reference 1193046, letter , number 3"},
        {"7C 000102030405060708FF", "data 00 01 02 03 04 05 06 07 08 FF"},
        {"65 611B620000000000000000000000007A", "label a?b"},
        {"6F 20", "status NODE_IS_LOCKED"},
        {"6F 63", "status 99"}};
    for (const auto &[data, text] : cases)
        QCOMPARE(shownAs(data), text);
    QCOMPARE(VOXField::toVariantMap(frame("0D 3412 FF", HostAddr)),
             QVariantMap({{"position", 0x1234}, {"percent", QVariant()}}));
    QCOMPARE(VOXField::toJson(frame("30 01", HostAddr)), QJsonObject({{"mode", "VENETIAN"}}));
    QCOMPARE(list(VOXField::isKnown(KVR::ACK), VOXField::isKnown(HRMv2::GET_DIAG)), list(true, false));
    // What both sets have is known by the set, all else either way.
    const auto older = VOXField::InHRMv2;
    QCOMPARE(list(VOXField::of(0x55).size(), VOXField::of(0x55, older).size()), list(1, 0));
    QCOMPARE(list(VOXField::of(0x53).size(), VOXField::of(0x11, older).size()), list(2, 3));
    QVERIFY2(VOXField::of(KVR::SET_TILT_LIMITS).isEmpty(), "the frame has no room for them");
}

QTEST_GUILESS_MAIN(tst_Schema)
#include "tst_schema.moc"
