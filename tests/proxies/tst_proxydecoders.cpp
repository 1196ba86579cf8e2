#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/frames.h"

using P = KVRMotorProxy;
using AppVersion = KVRStdProxy::AppVersion;
using NetworkConfig = KVRStdProxy::NetworkConfig;
using NetworkStat = KVRStdProxy::NetworkStat;
using NetworkErrorStat = KVRStdProxy::NetworkErrorStat;

/// Whether a decoder is content, and what it has written into its outputs, in hexadecimal.
using Decoded = QPair<bool, QByteArray>;
using Decoder = std::function<Decoded(const BusMessage &)>;

/// An output, however a decoder wants it.
template <typename T>
struct Output
{
    /// Filled with 0, or with another value than that.
    explicit Output(bool isZero)
    {
        if constexpr (std::is_same_v<T, QByteArray>)
            value = isZero ? "" : "?";
        else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
            value = static_cast<T>(isZero ? 0 : ~0);
        else if constexpr (std::is_same_v<T, KVRMotor::Status>)
            value = {Output<KVRMotor::State>(isZero).value, Output<KVRMotor::Direction>(isZero).value,
                     Output<KVRMotor::Source>(isZero).value, Output<KVRMotor::Cause>(isZero).value};
        else
            isZero ? value.clear() : void(value.data());
    }
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
        return shown(value.state) + ' ' + shown(value.direction) + ' ' + shown(value.source) + ' '
            + shown(value.cause);
    else
        return value.isValid() ? "valid" : "invalid";
}

/// One of a proxy. An output that it has not written is a "-".
template <typename Class, typename... Outputs>
Decoder decoder(bool (Class::*decode)(const BusMessage &, Outputs...) const)
{
    return [decode](const BusMessage &message) {
        const auto run = [&](auto... output) {
            const bool isOk = (P(1, nullptr).*decode)(message, output...);
            return std::pair(isOk, QByteArrayList({shown(output.value)...}).join(' ').split(' '));
        };
        const auto runFrom = [&]([[maybe_unused]] bool isZero) {
            return run(Output<std::remove_pointer_t<std::remove_reference_t<Outputs>>>(isZero)...);
        };
        auto [isOk, outputs] = runFrom(true);
        const auto others = runFrom(false);
        for (int i = 0; i < outputs.size(); ++i) {
            if (outputs.at(i) != others.second.at(i))
                outputs[i] = "-";
        }
        return Decoded(isOk && others.first, outputs.join(' '));
    };
}

/// What proxies make of replies, and the values that some of them hold.
class tst_ProxyDecoders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decoders();
    void dataTests();
    void partsOfAReply();
    void validity();
    void versionOrder();
    void versionText();
    void layouts();
};

namespace {
enum Strictness { Lenient = 0, ChecksCommand = 1, ChecksLength = 2, Strict = 3 };
}

// What has been read when the last byte is missing; without it, nothing has, however much is missing.
void tst_ProxyDecoders::decoders()
{
    const auto row = [&](const char *name, auto method, const QByteArray &shortest, const QByteArray &outputs,
                         const QByteArray &cut = QByteArray(), int strictness = Lenient) {
        const Decoder decode = decoder(method);
        const VOXMessage whole = frameFrom(1, shortest);
        QCOMPARE(list(name, decode(whole)), list(name, Decoded(true, outputs)));

        QByteArrayList untouched = outputs.split(' ');
        std::fill(untouched.begin(), untouched.end(), outputs.isEmpty() ? "" : "-");
        const QByteArray bytes = QByteArray::fromHex(shortest);
        for (int size = bytes.size() - 1; size > 0; --size) {
            const Decoded shorter = decode(frameFrom(1, bytes.left(size).toHex()));
            const bool isTold = cut.isNull() || size == bytes.size() - 1;
            const QByteArray left = !isTold ? shorter.second : cut.isNull() ? untouched.join(' ') : cut;
            QCOMPARE(list(name, size, shorter), list(name, size, Decoded(false, left)));
        }
        for (int size = 0; size < whole.data().size(); ++size)
            QVERIFY2(!decode(BusMessage(whole.data().left(size))).first, name);
        VOXMessage foreign = whole, invalid = whole;
        foreign.setCmd(1);
        invalid.data()[1] = '\x1f' ^ invalid.data().at(1);
        const bool takesAny = !(strictness & ChecksCommand), takesLonger = !(strictness & ChecksLength);
        QCOMPARE(list(name, decode(foreign).first, decode(invalid).first), list(name, takesAny, takesAny));
        if (whole.len() < VOXMessage::MaxLength)
            QCOMPARE(list(name, decode(frameFrom(1, shortest + "00")).first), list(name, takesLonger));
    };
    row("group", &P::getGroupAddrReply, "61 05 563412", "5 123456", "5 -");
    row("statistics", &P::getNetworkStatReply, "6E 0102030405060708090A0B0C0D0E", "valid", "valid");
    row("error statistics", &P::getNetworkErrorStatReply, "6D 0102030405060708090A0B0C0D0E0F101112", "valid",
        "valid");
    row("configuration", &P::getNetworkConfigReply, "66 01 05 01 3412 01", "valid", "valid");
    row("stack version", &P::getNodeStackVersionReply, "71 563412 41 03 01", "valid", "valid");
    row("application version", &P::getNodeAppVersionReply, "75 563412 41 03 01", "valid", {}, Strict);
    row("label, with its zero bytes", &P::getNodeLabelReply, "65 4B69746368656E000000000000000000",
        "4B69746368656E000000000000000000", {}, Strict);
    row("serial number", &P::getNodeSerialNumberReply, "6C 313233343536373839303100",
        "313233343536373839303100", {}, ChecksLength);
    row("first data test", &P::checkDataTest1Reply, "7A", "", {}, ChecksCommand);

    row("position", &P::getMotorPositionReply, "0D 3412 50 07 02", "1234 50 7 2", "1234 50 7 -");
    row("status", &P::getMotorStatusReply, "0F 01 FF 02 03", "1 FF 2 3");
    row("application mode", &P::getAppModeReply, "30 02", "2");
    row("limits, of which up comes first", &P::getMotorLimitsReply, "31 3412 7856", "5678 1234", "- 1234");
    row("direction", &P::getMotorDirectionReply, "32 01", "1");
    row("rolling speed", &P::getMotorRollingSpeedReply, "33 01 02 03", "1 2 3", "1 2 -");
    row("tilting speed", &P::getMotorTiltingSpeedReply, "34 09", "9");
    row("intermediate position", &P::getMotorIPReply, "35 03 3412 50", "3 1234 50", "3 1234 -");
    row("network lock", &P::getNetworkLockReply, "36 01 563412 05", "1 5 123456", "1 - 123456");
    row("DCT lock", &P::getDCTLockReply, "37 80 563412 05", "1 5 123456", "1 - 123456");
    row("tilt limits", &P::getTiltLimitsReply, "38 0102 0304 0506", "201 403 605", "201 403 -");
    row("soft start and stop", &P::getMotorSoftStartStopReply, "39 02 96 00 14", "1 96 0 14", "1 96 0 -");
    row("torque limitation", &P::getTorqueLimitationReply, "3A 01 02", "1 2", "1 -");
    row("factory default", &P::getFactoryDefaultReply, "3F 11 02", "1 11");
    row("move count of 24 bits", &P::diagGetTotalMoveCountReply, "C0 FFFFFF", "FFFFFF");
    row("revolution count of 24 bits", &P::diagGetTotalRevCountReply, "C1 010203", "30201");
    row("thermal count", &P::diagGetThermalCountReply, "C2 0102 0304", "201 403", "201 -");
    row("obstacle count", &P::diagGetObstacleCountReply, "C3 0102 0304", "201 403", "201 -");
    row("power count", &P::diagGetPowerCountReply, "C4 0102", "201");
    row("reset count", &P::diagGetResetCountReply, "C5 0102", "201");
    row("encoder errors", &P::diagGetEncoderErrorsReply, "C6 0102", "201");
}

// All that was sent has to come back, in a frame of the right command and length.
void tst_ProxyDecoders::dataTests()
{
    const P proxy(1, nullptr);
    for (const QByteArray data : {"0123456789", "0123456789abcdefghij"}) {
        const auto check = data.size() == 10 ? &P::checkDataTest2Reply : &P::checkDataTest3Reply;
        const QByteArray cmd = data.size() == 10 ? "7C" : "7E";
        const QByteArray padded = data.left(3).leftJustified(data.size(), '\0');
        QVERIFY((proxy.*check)(frameFrom(1, cmd + data.toHex()), data));
        for (const QByteArray &other : {data.left(3), data.chopped(1) + 'x', 'x' + data.mid(1), data + 'x'})
            QVERIFY(!(proxy.*check)(frameFrom(1, cmd + data.toHex()), other));
        for (const QByteArray &other : {"7A" + data.toHex(), cmd + data.chopped(1).toHex()})
            QVERIFY(!(proxy.*check)(frameFrom(1, other), data));
        QVERIFY(!(proxy.*check)(frameFrom(1, cmd + padded.toHex()), data.left(3)));
    }
}

// A null pointer skips its field, and no other.
void tst_ProxyDecoders::partsOfAReply()
{
    const P proxy(1, nullptr);
    for (int nulls = 0; nulls < 16; ++nulls) {
        quint16 pulses = 7;
        quint8 a = 7, b = 7, c = 7;
        const auto at = [&](int bit, auto &output) { return nulls & bit ? nullptr : &output; };
        const auto read = [&](int bit, int value) { return nulls & bit ? 7 : value; };
        const VOXMessage position = frameFrom(1, "0D 3412 50 08 02");
        QVERIFY(proxy.getMotorPositionReply(position, at(1, pulses), at(2, a), at(4, b), at(8, c)));
        QCOMPARE(list(pulses, a, b, c), list(read(1, 0x1234), read(2, 0x50), read(4, 8), read(8, 2)));
        QVERIFY(proxy.getMotorIPReply(frameFrom(1, "35 03 7856 51"), at(2, a), at(1, pulses), at(4, b)));
        QCOMPARE(list(a, pulses, b), list(read(2, 3), read(1, 0x5678), read(4, 0x51)));
    }
    quint8 up = 0, down = 0;
    bool isLocked = false;
    quint16 limit = 0;
    QVERIFY(proxy.getMotorRollingSpeedReply(frameFrom(1, "33 01 02"), up, down));
    QVERIFY(!proxy.getMotorPositionReply(frameFrom(1, "0D 34"), nullptr, &up, nullptr, nullptr));
    QVERIFY(!proxy.getMotorIPReply(BusMessage(), nullptr, nullptr, &up));
    QVERIFY(proxy.getNetworkLockReply(frameFrom(1, "36 01 563412 05"), isLocked, down, nullptr));
    QVERIFY(proxy.getDCTLockReply(frameFrom(1, "37 01 563412 06"), isLocked, up, nullptr));
    QVERIFY(proxy.getMotorLimitsReply(frameFrom(1, "31 3412 7856"), limit));
    QCOMPARE(list(down, up, limit), list(5, 6, 0x5678));
}

namespace {
/// Writing, if only what was there already, makes a value valid, its copies not, and clearing undoes it.
template <typename T>
void becomesValid()
{
    T value, copy = value;
    value.data();
    T cleared = value;
    cleared.clear();
    QCOMPARE(list(value.isValid(), copy.isValid(), cleared.isValid()), list(true, false, false));
    QVERIFY(value == copy);
}

/// What @p value is encoded to in a data area of @p size bytes.
template <typename T>
QByteArray encoded(const T &value, int size)
{
    VOXMessage to(static_cast<unsigned char>(VOXMessage::MinLength + size));
    VOXDataWriter writer(to);
    writer << value;
    return text(to).mid(3);
}

/// Decodes @p bytes into @p value, and gives what that is encoded to.
template <typename T>
QByteArray recoded(const QByteArray &bytes, T &value)
{
    const VOXMessage from = frame("66" + bytes, 0);
    VOXDataReader reader(from);
    reader >> value;
    return encoded(value, from.len() - VOXMessage::MinLength);
}
}

void tst_ProxyDecoders::validity()
{
    becomesValid<AppVersion>(), becomesValid<NetworkConfig>();
    becomesValid<NetworkStat>(), becomesValid<NetworkErrorStat>();
}

void tst_ProxyDecoders::versionOrder()
{
    // Each is beyond the one before in a more important field, and behind it in the others.
    const QList<AppVersion> versions = {
        {1, 'A', 1, 1}, {1, 'A', 1, 200}, {1, 'A', 200, 0}, {1, '\xe9', 0, 0}, {2, 'A', 0, 0}};
    for (int i = 0; i < versions.size(); ++i) {
        const AppVersion &one = versions.at(i);
        for (int j = 0; j < versions.size(); ++j)
            QCOMPARE(list(i, j, one < versions.at(j), one == versions.at(j)), list(i, j, i < j, i == j));
    }
}

void tst_ProxyDecoders::versionText()
{
    const auto row = [&](const char *name, const QString &text, const AppVersion &version,
                         const char *printed) {
        const AppVersion before(7, 'B', 8, 9);
        AppVersion parsed = before;
        const bool isRead = parsed.fromString(text);
        const auto converted = QVariant(text).value<AppVersion>();
        QCOMPARE(list(name, version.toString(), isRead, converted.isValid()),
                 list(name, printed, version.isValid(), version.isValid()));
        QCOMPARE(list(parsed == (isRead ? version : before), converted == version), list(true, true));
    };
    row("the highest reference comes back", "16777215-z00-0", {16777215, 'z', 0, 0}, "16777215-z00-0");
    row("numbers need no padding", "1-A3-2", {1, 'A', 3, 2}, "1-A03-2");
    row("numbers are cut to a byte", "1-A300-258", {1, 'A', 44, 2}, "1-A44-2");
    row("a digit is a letter", "12-7123-4", {12, '7', 123, 4}, "12-7123-4");
    row("Latin-1 has letters", "1-\u00e903-1", {1, '\xe9', 3, 1}, "1-\u00e903-1");
    row("numbers are decimal", "010-A010-010", {10, 'A', 10, 10}, "10-A10-10");
    row("a superscript is no letter", "1-\u00b203-1", {1, '\xb2', 3, 1}, "1-003-1");
    row("any letter is read but not printed", "1-_03-1", {1, '_', 3, 1}, "1-003-1");
    for (const char *bad :
         {"16777216-A01-1", "4294967297-A01-1", "-1-A01-1", "-A01-1", "1-A-1", "1-AB-1", "1--1", "1-A01",
          "1-A01-1-1", "1-A01-", "1-A01-x", "0x1-A01-1", "1-A0x1-1", "1-A01-0x1", ""})
        row(bad, bad, {}, "");
}

void tst_ProxyDecoders::layouts()
{
    AppVersion version;
    QCOMPARE(recoded("563412 41 03 01", version), hex("563412 41 03 01"));
    QVERIFY(version == AppVersion(0xff123456, 'A', 3, 1));

    NetworkConfig config;
    QCOMPARE(recoded("07 05 80 3412 00", config), hex("01 05 01 3412 00"));
    QCOMPARE(list(config.bcastMode(), config.maxRand(), config.supervisionActive(),
                  config.supervisionPeriod(), config.constData()->supervisionPeriod, config.deafMode()),
             list(KVRStdProxy::BcastMode(1), 5, true, 0x34, 0x1234, false));
    QCOMPARE(int(NetworkConfig().bcastMode()), 1);
    config.data()->bcastMode = KVRStdProxy::BcastMode(7);
    QCOMPARE(encoded(config, 1), hex("01"));

    NetworkStat stat, sameStat;
    const QByteArray counts = hex("01 040302 070605 0A0908 0C0B 0D 0E");
    QCOMPARE(recoded(counts, stat), counts);
    QCOMPARE(list(stat.maxRetryCount(), stat.frameSent(), stat.frameSeen(), stat.frameReceived(),
                  stat.busyCount(), stat.maxSlot(), stat.supervisionFailure()),
             list(1, 0x020304, 0x050607, 0x08090a, 0x0b0c, 0x0d, 0x0e));
    QCOMPARE(list(sameStat.maxRetryCount(), stat == sameStat, stat != sameStat), list(3, false, true));
    sameStat.setMaxRetryCount(1), sameStat.setFrameSent(0x020304), sameStat.setFrameSeen(0x050607);
    sameStat.setFrameReceived(0x08090a), sameStat.setBusyCount(0x0b0c), sameStat.setMaxSlot(0x0d);
    sameStat.setSupervisionFailure(0x0e);
    QVERIFY(sameStat == stat);

    NetworkErrorStat errors, same;
    const QByteArray bytes = hex("0100 0200 0300 0400 0500 0600 0700 0800 0109");
    QCOMPARE(recoded(bytes, errors), bytes);
    QCOMPARE(list(errors.txFailures(), errors.collisions(), errors.rxDataError(), errors.unknownMessage(),
                  errors.msgLengthError(), errors.rxFifoFull(), errors.txFifoFull(), errors.crcError(),
                  errors.bundleSizeError()),
             list(1, 2, 3, 4, 5, 6, 7, 8, 0x0901));
    quint16 count = 1;
    using E = NetworkErrorStat;
    for (const auto set : {&E::setTxFailures, &E::setCollisions, &E::setRxDataError, &E::setUnknownMessage,
                           &E::setMsgLengthError, &E::setRxFifoFull, &E::setTxFifoFull, &E::setCrcError})
        (same.*set)(count++);
    same.setBundleSizeError(0x0901);
    QVERIFY(same == errors);
}

QTEST_GUILESS_MAIN(tst_ProxyDecoders)
#include "tst_proxydecoders.moc"
