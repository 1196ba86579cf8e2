#include "support/columns.h"
#include "support/decoding.h"
#include "support/frames.h"

using P = KVRMotorProxy;

using AppVersion = KVRStdProxy::AppVersion;
using NetworkConfig = KVRStdProxy::NetworkConfig;
using NetworkStat = KVRStdProxy::NetworkStat;
using NetworkErrorStat = KVRStdProxy::NetworkErrorStat;

/// What proxies make of replies, and the values that some of them hold.
class tst_ProxyDecoders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decoders_data();
    void decoders();
    void partsOfAReply();
    void validity();
    void versionOrder();
    void versionText_data();
    void versionText();
    void layouts();
};

namespace {
enum Strictness { Lenient = 0, ChecksCommand = 1, ChecksLength = 2, Strict = 3, WritesOnSuccess = 4 };
}

void tst_ProxyDecoders::decoders_data()
{
    const auto add =
        columns<Decoder, QByteArray, QByteArray, int>("decode", "shortest", "outputs", "strictness");
    const auto row = [&](const char *name, auto decode, const char *shortest, const char *outputs,
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
    const auto second = [](const BusMessage &message) {
        return Decoded(P(1, nullptr).checkDataTest2Reply(message, "0123456789"), {});
    };
    add("second data test", second, "7C 30313233343536373839", "", Strict);
    const auto third = [](const BusMessage &message) {
        return Decoded(P(1, nullptr).checkDataTest3Reply(message, "0123456789abcdefghij"), {});
    };
    add("third data test", third, "7E 30313233343536373839 6162636465666768696A", "", Strict);

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
    const VOXMessage whole = frameFrom(1, shortest);
    QCOMPARE(decode(whole), Decoded(true, outputs));

    const QByteArray bytes = QByteArray::fromHex(shortest);
    for (int size = 1; size < bytes.size(); ++size) {
        const Decoded shorter = decode(frameFrom(1, bytes.left(size).toHex()));
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
        QCOMPARE(decode(frameFrom(1, shortest + "00")).first, !(strictness & ChecksLength));
}

void tst_ProxyDecoders::partsOfAReply()
{
    const P proxy(0x08123456, nullptr);
    const VOXMessage padded = frameFrom(1, "7C 616263 00000000000000");
    QVERIFY(!proxy.checkDataTest2Reply(padded, "abc"));
    QVERIFY(!proxy.checkDataTest2Reply(padded, "abcdefghij"));

    quint8 up = 0;
    quint8 down = 0xee;
    QVERIFY(!proxy.getMotorRollingSpeedReply(frameFrom(1, "33 01"), up, down));
    QVERIFY2(up == 1 && down == 0xee, "what comes before the end has been read");
    QVERIFY2(proxy.getMotorRollingSpeedReply(frameFrom(1, "33 01 02"), up, down), "nobody wants the third");
    QVERIFY(proxy.getMotorPositionReply(frameFrom(1, "0D 3412 50 07 02"), nullptr, &up, nullptr, nullptr));
    QCOMPARE(up, quint8(0x50));
    QVERIFY(!proxy.getMotorPositionReply(frameFrom(1, "0D 34"), nullptr, &up, nullptr, nullptr));
    QVERIFY(!proxy.getMotorIPReply(BusMessage(), nullptr, nullptr, &up));
    bool isLocked = false;
    QVERIFY(proxy.getNetworkLockReply(frameFrom(1, "36 01 563412 05"), isLocked, down, nullptr));
    QCOMPARE(down, quint8(5));
}

namespace {
template <typename T>
void checkValidity()
{
    T value;
    T copy = value;
    value.data();
    QVERIFY(value.isValid() && !copy.isValid() && value == copy);
    copy = value;
    copy.clear();
    QVERIFY(!copy.isValid() && value.isValid());
    VOXDataReader tooShort(frame("66", 0));
    tooShort >> copy;
    QVERIFY(tooShort.fail() && copy.isValid());
}

/// Decodes @p bytes into @p value, and gives what that is encoded to.
template <typename T>
QByteArray recoded(const QByteArray &bytes, T &value)
{
    const VOXMessage from = frame("66" + bytes, 0);
    VOXDataReader reader(from);
    reader >> value;
    VOXMessage to(from.len());
    VOXDataWriter writer(to);
    writer << value;
    return text(to).mid(3);
}
}

void tst_ProxyDecoders::validity()
{
    checkValidity<AppVersion>();
    checkValidity<NetworkConfig>();
    checkValidity<NetworkStat>();
    checkValidity<NetworkErrorStat>();
}

void tst_ProxyDecoders::versionOrder()
{
    // Each is beyond the one before in a more important field, and behind it in the others.
    const QList<AppVersion> versions = {
        {1, 'A', 1, 1}, {1, 'A', 1, 200}, {1, 'A', 200, 0}, {1, '\xe9', 0, 0}, {2, 'A', 0, 0}};
    for (int i = 0; i < versions.size(); ++i) {
        for (int j = 0; j < versions.size(); ++j) {
            QCOMPARE(versions.at(i) < versions.at(j), i < j);
            QCOMPARE(versions.at(i) == versions.at(j), i == j);
        }
    }
}

void tst_ProxyDecoders::versionText_data()
{
    const auto row = columns<QString, AppVersion, QString>("text", "version", "printed");
    row("the highest reference comes back", "16777215-z00-0", {16777215, 'z', 0, 0}, "16777215-z00-0");
    row("numbers need no padding", "1-A3-2", {1, 'A', 3, 2}, "1-A03-2");
    row("numbers are cut to a byte", "1-A300-258", {1, 'A', 44, 2}, "1-A44-2");
    row("a digit is a letter", "12-7123-4", {12, '7', 123, 4}, "12-7123-4");
    row("Latin-1 has letters", "1-\u00e903-1", {1, '\xe9', 3, 1}, "1-\u00e903-1");
    row("any letter is read but not printed", "1-_03-1", {1, '_', 3, 1}, "1-003-1");
    for (const char *bad : {"16777216-A01-1", "4294967297-A01-1", "-1-A01-1", "-A01-1", "1-A-1", "1-AB-1",
                            "1--1", "1-A01", "1-A01-1-1", "1-A01-", "1-A01-x", ""})
        row(bad, bad, {}, "");
}

void tst_ProxyDecoders::versionText()
{
    QFETCH(QString, text);
    QFETCH(AppVersion, version);
    QTEST(version.toString(), "printed");
    const AppVersion before(7, 'B', 8, 9);
    AppVersion parsed = before;
    QCOMPARE(parsed.fromString(text), version.isValid());
    QVERIFY(parsed == (version.isValid() ? version : before));
    const auto converted = QVariant(text).value<AppVersion>();
    QVERIFY(converted.isValid() == version.isValid() && converted == version);
}

void tst_ProxyDecoders::layouts()
{
    AppVersion version;
    QCOMPARE(recoded("563412 41 03 01", version), hex("563412 41 03 01"));
    QVERIFY(version == AppVersion(0xff123456, 'A', 3, 1));

    NetworkConfig config;
    QCOMPARE(recoded("07 05 80 3412 00", config), hex("01 05 01 3412 00"));
    QVERIFY(config.bcastMode() == 1 && config.maxRand() == 5 && config.supervisionActive());
    QVERIFY(config.supervisionPeriod() == 0x34 && config.constData()->supervisionPeriod == 0x1234);
    QVERIFY(!config.deafMode());

    NetworkStat stat;
    const QByteArray counts = hex("01 040302 070605 0A0908 0C0B 0D 0E");
    QCOMPARE(recoded(counts, stat), counts);
    QVERIFY(stat.maxRetryCount() == 1 && stat.frameSent() == 0x020304 && stat.frameSeen() == 0x050607);
    QVERIFY(stat.frameReceived() == 0x08090a && stat.busyCount() == 0x0b0c && stat.maxSlot() == 0x0d);
    QVERIFY(stat.supervisionFailure() == 0x0e && stat != NetworkStat());

    NetworkErrorStat errors;
    const QByteArray bytes = hex("0100 0200 0300 0400 0500 0600 0700 0800 0109");
    QCOMPARE(recoded(bytes, errors), bytes);
    QVERIFY(errors.txFailures() == 1 && errors.collisions() == 2 && errors.rxDataError() == 3);
    QVERIFY(errors.unknownMessage() == 4 && errors.msgLengthError() == 5 && errors.rxFifoFull() == 6);
    QVERIFY(errors.txFifoFull() == 7 && errors.crcError() == 8 && errors.bundleSizeError() == 0x0901);
}

QTEST_GUILESS_MAIN(tst_ProxyDecoders)
#include "tst_proxydecoders.moc"
