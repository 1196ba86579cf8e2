#include "proxies/kvrmotorproxy.h"
#include "support/frames.h"

#include <QtTest>

#include <functional>
#include <tuple>

using P = KVRMotorProxy;

/// What a decoder has said, and what stands in its outputs.
struct Decoded
{
    bool isOk;
    QByteArray outputs;
};
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
enum Strictness {
    Lenient = 0,
    ChecksCommand = 1,
    ChecksLength = 2,
    /// Outputs stay as they were if it fails.
    OnSuccess = 4
};

template <typename T>
QByteArray shown(const T &value)
{
    if constexpr (std::is_same_v<T, bool>)
        return value ? "true" : "false";
    else if constexpr (std::is_same_v<T, QByteArray>)
        return value.toHex().toUpper();
    else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
        return QByteArray::number(static_cast<unsigned int>(value), 16).toUpper();
    else if constexpr (std::is_same_v<T, KVRMotor::Status>)
        return QByteArrayList{shown(value.state), shown(value.direction), shown(value.source),
                              shown(value.cause)}
            .join(' ');
    else
        return value.isValid() ? "valid" : "invalid";
}

const QRegularExpression UntouchedOutputs(QStringLiteral("^((EE|true|0|invalid) ?)+$"));
template <typename T>
T untouched()
{
    if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
        return static_cast<T>(0xee);
    else if constexpr (std::is_same_v<T, QByteArray>)
        return "\xee";
    else
        return T();
}

template <typename Output, typename T>
Output pass(T &value)
{
    if constexpr (std::is_pointer_v<Output>)
        return &value;
    else
        return value;
}

template <typename Class, typename... Outputs>
Decoder decoder(bool (Class::*decode)(const BusMessage &, Outputs...) const)
{
    return [decode](const BusMessage &message) {
        const P proxy(0x08123456, nullptr);
        std::tuple outputs(untouched<std::remove_pointer_t<std::remove_reference_t<Outputs>>>()...);
        return std::apply(
            [&](auto &...values) {
                const bool isOk = (proxy.*decode)(message, pass<Outputs>(values)...);
                return Decoded{isOk, QByteArrayList{shown(values)...}.join(' ')};
            },
            outputs);
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
    QTest::addColumn<Decoder>("decode");
    QTest::addColumn<QByteArray>("shortest");
    QTest::addColumn<QByteArray>("outputs");
    QTest::addColumn<int>("strictness");
    const auto row = [](const char *name, const auto &decode, const char *shortest, const char *outputs,
                        int strictness = Lenient) {
        QTest::newRow(name) << Decoder(decoder(decode)) << QByteArray(shortest) << QByteArray(outputs)
                            << strictness;
    };
    const int Strict = ChecksCommand | ChecksLength;
    row("group", &P::getGroupAddrReply, "61 05 563412", "5 123456");
    row("statistics", &P::getNetworkStatReply, "6E 0102030405060708090A0B0C0D0E", "valid");
    row("error statistics", &P::getNetworkErrorStatReply, "6D 0102030405060708090A0B0C0D0E0F101112", "valid");
    row("configuration", &P::getNetworkConfigReply, "66 01 05 01 3412 01", "valid");
    row("stack version", &P::getNodeStackVersionReply, "71 563412 41 03 01", "valid");
    row("application version", &P::getNodeAppVersionReply, "75 563412 41 03 01", "valid", Strict | OnSuccess);
    row("label, with its zero bytes", &P::getNodeLabelReply, "65 4B69746368656E000000000000000000",
        "4B69746368656E000000000000000000", Strict | OnSuccess);
    row("serial number", &P::getNodeSerialNumberReply, "6C 313233343536373839303100",
        "313233343536373839303100", ChecksLength | OnSuccess);
    row("position", &P::getMotorPositionReply, "0D 3412 50 07 02", "1234 50 7 2");
    row("status", &P::getMotorStatusReply, "0F 01 FF 00 02", "1 FF 0 2", OnSuccess);
    row("application mode", &P::getAppModeReply, "30 02", "2", OnSuccess);
    row("limits, of which up comes first", &P::getMotorLimitsReply, "31 3412 7856", "5678 1234");
    row("direction", &P::getMotorDirectionReply, "32 01", "1", OnSuccess);
    row("rolling speed", &P::getMotorRollingSpeedReply, "33 01 02 03", "1 2 3");
    row("tilting speed", &P::getMotorTiltingSpeedReply, "34 09", "9");
    row("intermediate position", &P::getMotorIPReply, "35 03 3412 50", "3 1234 50");
    row("network lock", &P::getNetworkLockReply, "36 01 563412 05", "true 5 123456");
    row("DCT lock", &P::getDCTLockReply, "37 80 563412 05", "true 5 123456");
    row("tilt limits", &P::getTiltLimitsReply, "38 0102 0304 0506", "201 403 605");
    row("soft start and stop", &P::getMotorSoftStartStopReply, "39 02 96 00 14", "true 96 false 14");
    row("torque limitation", &P::getTorqueLimitationReply, "3A 01 02", "1 2");
    row("factory default", &P::getFactoryDefaultReply, "3F 11 00", "false 11", OnSuccess);
    row("move count of 24 bits", &P::diagGetTotalMoveCountReply, "C0 FFFFFF", "FFFFFF");
    row("revolution count of 24 bits", &P::diagGetTotalRevCountReply, "C1 010203", "30201");
    row("thermal count", &P::diagGetThermalCountReply, "C2 0102 0304", "201 403");
    row("obstacle count", &P::diagGetObstacleCountReply, "C3 0102 0304", "201 403");
    row("power count", &P::diagGetPowerCountReply, "C4 0102", "201");
    row("reset count", &P::diagGetResetCountReply, "C5 0102", "201");
    row("encoder errors", &P::diagGetEncoderErrorsReply, "C6 0102", "201");
    row("first data test", &P::checkDataTest1Reply, "7A", "", ChecksCommand);
    const auto check2 = [](const BusMessage &m) {
        return Decoded{P(1, nullptr).checkDataTest2Reply(m, "0123456789"), {}};
    };
    row("second data test", check2, "7C 30313233343536373839", "", Strict);
    const auto check3 = [](const BusMessage &m) {
        return Decoded{P(1, nullptr).checkDataTest3Reply(m, "0123456789abcdefghij"), {}};
    };
    row("third data test", check3, "7E 30313233343536373839 6162636465666768696A", "", Strict);
}

void tst_ProxyDecoders::decoders()
{
    QFETCH(Decoder, decode);
    QFETCH(QByteArray, shortest);
    QFETCH(QByteArray, outputs);
    QFETCH(int, strictness);
    const QByteArray bytes = QByteArray::fromHex(shortest);
    const VOXMessage whole = reply(shortest);
    const Decoded full = decode(whole);
    QVERIFY(full.isOk);
    QCOMPARE(full.outputs, outputs);

    for (int size = 0; size < bytes.size() - 1; ++size) {
        const Decoded shorter = decode(reply(bytes.left(1 + size).toHex()));
        QVERIFY2(!shorter.isOk, qPrintable(QStringLiteral("%1 bytes of data do").arg(size)));
        if (strictness & OnSuccess)
            QVERIFY2(UntouchedOutputs.match(QString::fromLatin1(shorter.outputs)).hasMatch(),
                     shorter.outputs);
    }
    for (int size = 0; size < whole.data().size(); ++size) {
        QVERIFY2(!decode(BusMessage(whole.data().left(size))).isOk,
                 qPrintable(QStringLiteral("a frame torn off after %1 bytes does").arg(size)));
    }

    VOXMessage foreign = whole;
    foreign.setCmd(0x0b);
    QCOMPARE(decode(foreign).isOk, !(strictness & ChecksCommand));
    VOXMessage invalid = whole;
    invalid.data()[1] = '\x1f' ^ invalid.data().at(1);
    QCOMPARE(decode(invalid).isOk, !(strictness & ChecksCommand));
    if (bytes.size() - 1 < VOXMessage::MaxLength - VOXMessage::MinLength)
        QCOMPARE(decode(reply(shortest + "00")).isOk, !(strictness & ChecksLength));
}

void tst_ProxyDecoders::partsOfAReply()
{
    const P proxy(0x08123456, nullptr);
    const VOXMessage padded = reply("7C 616263 00000000000000");
    QVERIFY(!proxy.checkDataTest2Reply(padded, "abc"));
    QVERIFY(!proxy.checkDataTest2Reply(padded, "abcdefghij"));
    QVERIFY(proxy.checkDataTest2Reply(padded, QByteArray("abc\0\0\0\0\0\0\0", 10)));

    quint8 up = 0;
    quint8 down = 0xee;
    QVERIFY(!proxy.getMotorRollingSpeedReply(reply("33 01"), up, down));
    QVERIFY2(up == 1 && down == 0xee, "what comes before the end has been read");
    QVERIFY2(proxy.getMotorRollingSpeedReply(reply("33 01 02"), up, down), "nobody wants the third");

    quint8 percent = 0;
    QVERIFY(proxy.getMotorPositionReply(reply("0D 3412 50 07 02"), nullptr, &percent, nullptr, nullptr));
    QCOMPARE(percent, quint8(0x50));
    QVERIFY(!proxy.getMotorPositionReply(reply("0D 34"), nullptr, &percent, nullptr, nullptr));
    QVERIFY(!proxy.getMotorIPReply(BusMessage(), nullptr, nullptr, &percent));
    bool isLocked = false;
    QVERIFY(proxy.getNetworkLockReply(reply("36 01 563412 05"), isLocked, percent, nullptr));
    QCOMPARE(percent, quint8(5));
}

QTEST_GUILESS_MAIN(tst_ProxyDecoders)
#include "tst_proxydecoders.moc"
