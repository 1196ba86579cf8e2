#include "proxies/kvrstdproxy.h"
#include "support/columns.h"
#include "support/frames.h"

using AppVersion = KVRStdProxy::AppVersion;
using NetworkConfig = KVRStdProxy::NetworkConfig;
using NetworkStat = KVRStdProxy::NetworkStat;
using NetworkErrorStat = KVRStdProxy::NetworkErrorStat;

class tst_KVRStdProxyValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validity();
    void versionOrder();
    void versionText_data();
    void versionText();
    void layouts();
};

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

void tst_KVRStdProxyValues::validity()
{
    checkValidity<AppVersion>();
    checkValidity<NetworkConfig>();
    checkValidity<NetworkStat>();
    checkValidity<NetworkErrorStat>();
    QVERIFY(NetworkStat().maxRetryCount() == 3 && NetworkConfig().bcastMode() == KVRStdProxy::BCAST_ON);
}

void tst_KVRStdProxyValues::versionOrder()
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

void tst_KVRStdProxyValues::versionText_data()
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

void tst_KVRStdProxyValues::versionText()
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
    const AppVersion moved = std::move(parsed);
    QVERIFY(parsed == moved);
}

void tst_KVRStdProxyValues::layouts()
{
    AppVersion version;
    QCOMPARE(recoded("563412 41 03 01", version), hex("563412 41 03 01"));
    QVERIFY(version == AppVersion(0xff123456, 'A', 3, 1));

    NetworkConfig config;
    QCOMPARE(recoded("00 05 00 3412 00", config), hex("00 05 00 3412 00"));
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
    NetworkErrorStat others = errors;
    others.setBundleSizeError(0x0801);
    QVERIFY(others != errors && errors.bundleSizeError() == 0x0901);
}

QTEST_GUILESS_MAIN(tst_KVRStdProxyValues)
#include "tst_kvrstdproxyvalues.moc"
