#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/frames.h"

#include <functional>
#include <tuple>

using P = KVRMotorProxy;
/// Whether a decoder is content, and what stands in its outputs.
using Decoded = QPair<bool, QByteArray>;
using Decoder = std::function<Decoded(const BusMessage &)>;
Q_DECLARE_METATYPE(Decoder)

class tst_ProxyDecoders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decoders_data();
    void decoders();
    void partsOfAReply();
};

namespace {
enum Strictness { Lenient = 0, ChecksCommand = 1, ChecksLength = 2, Strict = 3, WritesOnSuccess = 4 };

/// An output, however a decoder wants it.
template <typename T>
struct Output
{
    operator T &() { return value; }
    operator T *() { return &value; }
    T value{};
};

template <typename T>
QByteArray shown(const T &value)
{
    if constexpr (std::is_same_v<T, QByteArray>)
        return value.toHex().toUpper();
    else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
        return QByteArray::number(static_cast<unsigned int>(value), 16).toUpper();
    else if constexpr (std::is_same_v<T, KVRMotor::Status>)
        return shown(value.state) + shown(value.direction) + shown(value.source) + shown(value.cause);
    else
        return value.isValid() ? "valid" : "invalid";
}

template <typename Class, typename... Outputs>
Decoder decoder(bool (Class::*decode)(const BusMessage &, Outputs...) const)
{
    return [decode](const BusMessage &message) {
        std::tuple<Output<std::remove_pointer_t<std::remove_reference_t<Outputs>>>...> outputs;
        const auto run = [&](auto &...output) {
            const QByteArrayList before{shown(output.value)...};
            const bool isOk = (P(1, nullptr).*decode)(message, output...);
            const QByteArrayList after{shown(output.value)...};
            return Decoded(isOk, isOk || after != before ? after.join(' ') : "untouched");
        };
        return std::apply(run, outputs);
    };
}

Decoder decoder(const Decoder &decode)
{
    return decode;
}

VOXMessage reply(const QByteArray &commandAndData)
{
    return frame(commandAndData, HostAddr);
}
}

void tst_ProxyDecoders::decoders_data()
{
    const auto add =
        columns<Decoder, QByteArray, QByteArray, int>("decode", "shortest", "outputs", "strictness");
    const auto row = [&](const char *name, const auto &decode, const char *shortest, const char *outputs,
                         int strictness = Lenient) {
        add(name, decoder(decode), shortest, outputs, strictness);
    };
    row("group", &P::getGroupAddrReply, "61 05 563412", "5 123456");
    row("statistics", &P::getNetworkStatReply, "6E 0102030405060708090A0B0C0D0E", "valid");
    row("error statistics", &P::getNetworkErrorStatReply, "6D 0102030405060708090A0B0C0D0E0F101112", "valid");
    row("configuration", &P::getNetworkConfigReply, "66 01 05 01 3412 01", "valid");
    row("stack version", &P::getNodeStackVersionReply, "71 563412 41 03 01", "valid");
    row("application version", &P::getNodeAppVersionReply, "75 563412 41 03 01", "valid",
        Strict | WritesOnSuccess);
    row("label, with its zero bytes", &P::getNodeLabelReply, "65 4B69746368656E000000000000000000",
        "4B69746368656E000000000000000000", Strict | WritesOnSuccess);
    row("serial number", &P::getNodeSerialNumberReply, "6C 313233343536373839303100",
        "313233343536373839303100", ChecksLength | WritesOnSuccess);
    row("first data test", &P::checkDataTest1Reply, "7A", "", ChecksCommand);
    row("second data test", Decoder([](const BusMessage &message) {
            return Decoded(P(1, nullptr).checkDataTest2Reply(message, "0123456789"), {});
        }),
        "7C 30313233343536373839", "", Strict);
    row("third data test", Decoder([](const BusMessage &message) {
            return Decoded(P(1, nullptr).checkDataTest3Reply(message, "0123456789abcdefghij"), {});
        }),
        "7E 30313233343536373839 6162636465666768696A", "", Strict);

    row("position", &P::getMotorPositionReply, "0D 3412 50 07 02", "1234 50 7 2");
    row("status", &P::getMotorStatusReply, "0F 01 FF 02 03", "1FF23", WritesOnSuccess);
    row("application mode", &P::getAppModeReply, "30 02", "2", WritesOnSuccess);
    row("limits, of which up comes first", &P::getMotorLimitsReply, "31 3412 7856", "5678 1234");
    row("direction", &P::getMotorDirectionReply, "32 01", "1", WritesOnSuccess);
    row("rolling speed", &P::getMotorRollingSpeedReply, "33 01 02 03", "1 2 3");
    row("tilting speed", &P::getMotorTiltingSpeedReply, "34 09", "9");
    row("intermediate position", &P::getMotorIPReply, "35 03 3412 50", "3 1234 50");
    row("network lock", &P::getNetworkLockReply, "36 01 563412 05", "1 5 123456");
    row("DCT lock", &P::getDCTLockReply, "37 80 563412 05", "1 5 123456");
    row("tilt limits", &P::getTiltLimitsReply, "38 0102 0304 0506", "201 403 605");
    row("soft start and stop", &P::getMotorSoftStartStopReply, "39 02 96 00 14", "1 96 0 14");
    row("torque limitation", &P::getTorqueLimitationReply, "3A 01 02", "1 2");
    row("factory default", &P::getFactoryDefaultReply, "3F 11 02", "1 11", WritesOnSuccess);
    row("move count of 24 bits", &P::diagGetTotalMoveCountReply, "C0 FFFFFF", "FFFFFF");
    row("revolution count of 24 bits", &P::diagGetTotalRevCountReply, "C1 010203", "30201");
    row("thermal count", &P::diagGetThermalCountReply, "C2 0102 0304", "201 403");
    row("obstacle count", &P::diagGetObstacleCountReply, "C3 0102 0304", "201 403");
    row("power count", &P::diagGetPowerCountReply, "C4 0102", "201");
    row("reset count", &P::diagGetResetCountReply, "C5 0102", "201");
    row("encoder errors", &P::diagGetEncoderErrorsReply, "C6 0102", "201");
}

void tst_ProxyDecoders::decoders()
{
    QFETCH(Decoder, decode);
    QFETCH(QByteArray, shortest);
    QFETCH(QByteArray, outputs);
    QFETCH(int, strictness);
    const VOXMessage whole = reply(shortest);
    QCOMPARE(decode(whole), Decoded(true, outputs));

    const QByteArray bytes = QByteArray::fromHex(shortest);
    for (int size = 1; size < bytes.size(); ++size) {
        const Decoded shorter = decode(reply(bytes.left(size).toHex()));
        QVERIFY2(!shorter.first, "a shorter frame will do");
        if (strictness & WritesOnSuccess)
            QCOMPARE(shorter.second, QByteArray("untouched"));
    }
    for (int size = 0; size < whole.data().size(); ++size)
        QVERIFY2(!decode(BusMessage(whole.data().left(size))).first, "a torn frame will do");

    VOXMessage foreign = whole;
    foreign.setCmd(1);
    QCOMPARE(decode(foreign).first, !(strictness & ChecksCommand));
    VOXMessage invalid = whole;
    invalid.data()[1] = '\x1f' ^ invalid.data().at(1);
    QCOMPARE(decode(invalid).first, !(strictness & ChecksCommand));
    if (whole.len() < VOXMessage::MaxLength)
        QCOMPARE(decode(reply(shortest + "00")).first, !(strictness & ChecksLength));
}

void tst_ProxyDecoders::partsOfAReply()
{
    const P proxy(0x08123456, nullptr);
    const VOXMessage padded = reply("7C 616263 00000000000000");
    QVERIFY(!proxy.checkDataTest2Reply(padded, "abc"));
    QVERIFY(!proxy.checkDataTest2Reply(padded, "abcdefghij"));

    quint8 up = 0;
    quint8 down = 0xee;
    QVERIFY(!proxy.getMotorRollingSpeedReply(reply("33 01"), up, down));
    QVERIFY2(up == 1 && down == 0xee, "what comes before the end has been read");
    QVERIFY2(proxy.getMotorRollingSpeedReply(reply("33 01 02"), up, down), "nobody wants the third");
    QVERIFY(proxy.getMotorPositionReply(reply("0D 3412 50 07 02"), nullptr, &up, nullptr, nullptr));
    QCOMPARE(up, quint8(0x50));
    QVERIFY(!proxy.getMotorPositionReply(reply("0D 34"), nullptr, &up, nullptr, nullptr));
    QVERIFY(!proxy.getMotorIPReply(BusMessage(), nullptr, nullptr, &up));
    bool isLocked = false;
    QVERIFY(proxy.getNetworkLockReply(reply("36 01 563412 05"), isLocked, down, nullptr));
    QCOMPARE(down, quint8(5));
}

QTEST_GUILESS_MAIN(tst_ProxyDecoders)
#include "tst_proxydecoders.moc"
