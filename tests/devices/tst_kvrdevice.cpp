#include "support/wire.h"

#include <QAbstractEventDispatcher>

class tst_KVRDevice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostReadsWhatTheNodeHolds();
    void hostChangesTheNode();
    void requests_data();
    void requests();
    void deafMode();
    void customReplies();
    void discoverySilence();
    void groups();
    void serialNumber();
    void signalsOfSetters();
};

namespace {
struct Net : Wire
{
    KVRDevice node{0x06123456, &network};
    KVRStdProxy proxy{0x06123456, &host};
    KVRStdProxy::NetworkConfig config;
    KVRStdProxy::NetworkStat stat;
    KVRStdProxy::NetworkErrorStat errors;
    const KVRStdProxy::AppVersion version{0x123456, 'A', 3, 1};

    Net()
    {
        config.data()->maxRand = 9;
        config.data()->supervisionActive = true;
        config.data()->supervisionPeriod = 0x0102;
        node.setNetworkConfig(config);
        stat.setMaxRetryCount(9);
        stat.setFrameSent(1);
        node.setNetworkStat(stat);
        errors.setTxFailures(2);
        errors.setBundleSizeError(3);
        node.setNetworkErrorStat(errors);
        node.setAppVersion(version);
    }

    QByteArray say(const QByteArray &request, unsigned char flags = 0)
    {
        return ask(frame(request, node.addr(true), flags)).join('|');
    }
};

BusMessage answer(const BusPendingCall &call)
{
    call.waitForFinished(5000);
    return call.reply();
}
}

void tst_KVRDevice::hostReadsWhatTheNodeHolds()
{
    Net net;
    KVRStdProxy &host = net.proxy;
    QCOMPARE(VOXMessage(answer(host.getNodeAddr())).srcAddr(true), 0x06123456u);
    QByteArray bytes;
    net.node.setNodeLabel("Kitchen");
    QVERIFY(host.getNodeLabelReply(answer(host.getNodeLabel()), bytes));
    QCOMPARE(bytes, QByteArray("Kitchen\0\0\0\0\0\0\0\0\0", 16));
    net.node.setSerialNumber("12345");
    QVERIFY(host.getNodeSerialNumberReply(answer(host.getNodeSerialNumber()), bytes));
    QCOMPARE(bytes, QByteArray("12345\0\0\0\0\0\0\0", 12));
    KVRStdProxy::AppVersion version;
    QVERIFY(host.getNodeStackVersionReply(answer(host.getNodeStackVersion()), version));
    QVERIFY(version == KVRStdProxy::AppVersion());
    QVERIFY(host.getNodeAppVersionReply(answer(host.getNodeAppVersion()), version));
    QVERIFY(version == net.version);
    KVRStdProxy::NetworkConfig config;
    QVERIFY(host.getNetworkConfigReply(answer(host.getNetworkConfig()), config));
    QVERIFY(config == net.config);
    KVRStdProxy::NetworkStat stat;
    QVERIFY(host.getNetworkStatReply(answer(host.getNetworkStat()), stat));
    QVERIFY(stat == net.stat);
    KVRStdProxy::NetworkErrorStat errors;
    QVERIFY(host.getNetworkErrorStatReply(answer(host.getNetworkErrorStat()), errors));
    QVERIFY(errors == net.errors);
    QVERIFY(host.checkDataTest1Reply(answer(host.sendDataTest1())));
    QVERIFY(host.checkDataTest2Reply(answer(host.sendDataTest2("0123456789")), "0123456789"));
    QVERIFY(
        host.checkDataTest3Reply(answer(host.sendDataTest3("0123456789abcdefghij")), "0123456789abcdefghij"));
}

void tst_KVRDevice::hostChangesTheNode()
{
    Net net;
    KVRStdProxy &host = net.proxy;
    QSignalSpy labelled(&net.node, &KVRDevice::nodeLabelChanged);
    QCOMPARE(text(answer(host.setNodeLabel("Kitchen"))), hex("7F"));
    QCOMPARE(net.node.nodeLabel(), QByteArray("Kitchen\0\0\0\0\0\0\0\0\0", 16));
    QCOMPARE(labelled.size(), 1);
    QCOMPARE(text(answer(host.setGroupAddr(15, 0x06abcdef))), hex("7F"));
    quint8 index = 0;
    unsigned int group = 0;
    QVERIFY(host.getGroupAddrReply(answer(host.getGroupAddr(15)), index, group));
    QVERIFY(index == 15 && group == 0xabcdef);
    QCOMPARE(text(answer(host.setNetworkConfig(0, 1, 1, 0x0203))), hex("7F"));
    KVRStdProxy::NetworkConfig config;
    QVERIFY(host.getNetworkConfigReply(answer(host.getNetworkConfig()), config));
    QVERIFY(config.bcastMode() == 0 && config.maxRand() == 9
            && config.constData()->supervisionPeriod == 0x0203);
    QSignalSpy uploads(&net.node, &KVRDevice::uploadRequest);
    host.setNetworkConfig(255, 0, 255, 0, 255, 1);
    QVERIFY(uploads.wait());
}

void tst_KVRDevice::requests_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("state");
    const auto row = [](const char *name, const char *request, const char *reply, const char *state = "") {
        QTest::newRow(name) << QByteArray(request) << hex(reply) << QByteArray(state);
    };
    row("a group query names its slot", "41", "6F 11");
    row("a free slot has group 0", "41 0F", "61 0F 000000");
    row("there are 16 slots to read", "41 10", "6F 01");
    row("discovery needs its flag", "50", "6F 11");
    row("discovery is acknowledged", "50 00", "7F");
    row("setting a group needs 4 bytes", "51 00 5634", "6F 11");
    row("there are 16 slots to set", "51 10 563412", "6F 01");
    row("setting a group is acknowledged", "51 00 563412", "7F");
    row("a label of 15 bytes is too short", "55 303132333435363738393031323334", "6F 11");
    row("statistics need 2 bytes", "5E 00", "6F 11");
    row("there are two sets of statistics", "5E 02 00", "6F 10", "retries 9, sent 1, failures 2");
    row("a data test comes back as long as it was", "7B 01020304050607", "7C 01020304050607");
    row("an empty data test does", "7D", "7E");
    row("a motor command is unknown", "0E", "6F 10");
    row("an unassigned command is unknown", "FE", "6F 10");

    row("a configuration of 6 bytes is too short", "56 00 00 00 0000 00", "6F 11", "66 01 09 01 02 01 00");
    row("255 leaves all as it is", "56 FF 05 FF 0506 FF FF", "7F",
        "66 01 09 01 02 01 00, changes 0, uploads 0");
    row("broadcasts off skips its parameter", "56 00 05 FF 0506 FF FF", "7F",
        "66 00 09 01 02 01 00, changes 1");
    row("broadcasts on takes its parameter", "56 FE 05 FF 0506 FF FF", "7F",
        "66 01 05 01 02 01 00, changes 1");
    row("supervision off skips its period", "56 FF 05 00 0506 FF FF", "7F",
        "66 01 09 00 02 01 00, changes 1");
    row("supervision on takes its period", "56 FF 05 FE 0506 FF FF", "7F", "66 01 09 01 05 06 00, changes 1");
    row("deaf mode on", "56 FF 05 FF 0506 FE FF", "7F", "66 01 09 01 02 01 01, changes 1");
    row("an upload of 0 is none", "56 FF 05 FF 0506 FF 00", "7F", "changes 0, uploads 0");
    row("an upload of 1", "56 FF 05 FF 0506 FF 01", "7F", "changes 0, uploads 1");
    row("an upload of 254", "56 FF 05 FF 0506 FF FE", "7F", "changes 0, uploads 1");
    row("253 is a retry count", "5E 00 FD", "7F", "retries 253, sent 1, failures 2");
    row("254 resets the statistics", "5E 00 FE", "7F", "retries 3, sent 0, failures 2");
    row("255 resets the statistics", "5E 00 FF", "7F", "retries 3, sent 0, failures 2");
    row("the other set is reset whatever follows", "5E 01 05", "7F", "retries 9, sent 1, failures 0");
}

void tst_KVRDevice::requests()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, state);
    for (const unsigned char flags : {0x80, 0}) {
        Net net;
        QSignalSpy changes(&net.node, &KVRDevice::networkConfigChanged);
        QSignalSpy uploads(&net.node, &KVRDevice::uploadRequest);
        if (request == "0E" || request == "FE")
            QTest::ignoreMessage(QtWarningMsg, "[KVRDevice]: unknown cmd(" + request + ")");
        // Refusals are sent whether or not they were asked for.
        QCOMPARE(net.say(request, flags), reply == "7F" && !flags ? QByteArray() : reply);
        const QString after = QStringLiteral("%1, changes %2, uploads %3, retries %4, sent %5, failures %6")
                                  .arg(QString::fromLatin1(text(net.node.networkConfigReply(frame("46", 1)))))
                                  .arg(changes.size())
                                  .arg(uploads.size())
                                  .arg(net.node.networkStat().maxRetryCount())
                                  .arg(net.node.networkStat().frameSent())
                                  .arg(net.node.networkErrorStat().txFailures());
        QVERIFY2(after.contains(QString::fromLatin1(state)), qPrintable(after));
    }
}

void tst_KVRDevice::deafMode()
{
    Net net;
    net.node.addCustomReply(KVR::SEND_DATA_TEST1, frame("7A 01", HostAddr));
    net.say("56 FF 00 FF 0000 01 FF");
    for (const char *request : {"79", "41", "0E", "56 FF 00 FF 0000 FF FF"})
        QCOMPARE(net.say(request), QByteArray());
    QCOMPARE(net.say("56 FF 00 FF 0000 00 FF", VOXMessage::AckFlag), hex("7F"));
    QCOMPARE(net.say("79"), hex("7A 01"));
}

void tst_KVRDevice::customReplies()
{
    Net net;
    const VOXMessage canned = frame("63 0102", HostAddr, VOXMessage::AckFlag);
    net.node.addCustomReply(KVR::GET_GROUP_ADDR, frame("64", HostAddr));
    net.node.addCustomReply(KVR::GET_GROUP_ADDR, canned);
    QVERIFY(net.node.hasCustomReply(KVR::GET_GROUP_ADDR));
    QCOMPARE(net.say("41"), hex("63 0102"));
    QCOMPARE(net.console.heard.constFirst().data(), canned.data());
    net.node.removeCustomReply(KVR::GET_GROUP_ADDR);
    QVERIFY(!net.node.hasCustomReply(KVR::GET_GROUP_ADDR));
    QCOMPARE(net.say("41", VOXMessage::CrcFlag), hex("6F 11"));
    QCOMPARE(hex(net.console.heard.constFirst().data().left(9).toHex()), hex("6F 2C 6F 563412 000001"));
}

void tst_KVRDevice::discoverySilence()
{
    Net net;
    const auto timers = [&net] { return QAbstractEventDispatcher::instance()->registeredTimers(&net.node); };
    net.say("50 01");
    net.say("50 02");
    QCOMPARE(net.say("40"), QByteArray());
    QCOMPARE(timers().size(), 1);
    QCOMPARE(timers().constFirst().interval, 300000);
    QTimerEvent fiveMinutesLater(timers().constFirst().timerId);
    QCoreApplication::sendEvent(&net.node, &fiveMinutesLater);
    QCOMPARE(net.say("40"), hex("60"));
    QCOMPARE(timers().size(), 0);
    net.say("50 01");
    net.say("50 00");
    QCOMPARE(net.say("40"), hex("60"));
    QCOMPARE(timers().size(), 0);
}

void tst_KVRDevice::groups()
{
    Net net;
    // Whoever asks a group is answered at the group's address.
    Station asker(0x1234, &net.host);
    const auto answers = [&](const QByteArray &commandAndData) {
        asker.heard.clear();
        VOXMessage request = frame(commandAndData, 0);
        request.setGroupAddr(0x1234, VOX::NODETYPE_MASTER);
        request.prepare();
        net.ask(request);
        return asker.heard.size();
    };
    QCOMPARE(answers("79"), 0);
    for (const unsigned char slot : {0, 0, 5}) {
        QVERIFY(net.node.setGroupAddr(slot, 0x1234));
        QCOMPARE(answers("79"), 1);
    }
    net.node.setAddr(0x654321);
    QCOMPARE(answers("79"), 1);
    net.node.setGroupAddr(0, 0);
    QCOMPARE(answers("79"), 1);
    net.node.setGroupAddr(5, 0x1235);
    QCOMPARE(answers("79"), 0);
    net.node.detach();
    QVERIFY(net.node.setGroupAddr(7, 0x1234));
    QCOMPARE(answers("79"), 0);
    net.node.attach(&net.network);
    QCOMPARE(answers("41"), 1);
    QCOMPARE(text(asker.heard.constFirst()), hex("6F 11"));

    unsigned int group = 1;
    QVERIFY(!net.node.setGroupAddr(16, 1) && !net.node.groupAddr(16, group));
    net.node.setGroupCount(17);
    QVERIFY(net.node.groupAddr(16, group) && group == 0);
}

void tst_KVRDevice::serialNumber()
{
    Net net;
    const auto generated = [] {
        int year = 0;
        const int week = QDate::currentDate().weekNumber(&year);
        return QStringLiteral("123456XX%1%2").arg(year).arg(week, 2, 10, QLatin1Char('0')).toUtf8();
    };
    const QByteArray before = generated();
    const QByteArray sent = QByteArray::fromHex(net.say("4C")).mid(1);
    const QByteArray serial = net.node.serialNumber();
    QVERIFY2(serial == before || serial == generated(), serial.constData());
    QCOMPARE(sent, serial.left(12));
    net.node.setSerialNumber("0123456789abc");
    QCOMPARE(net.node.serialNumber(), QByteArray("0123456789ab"));
    net.node.setSerialNumber("1");
    QCOMPARE(net.node.serialNumber(), QByteArray("1"));
    net.node.setSerialNumber(QByteArray());
    QCOMPARE(net.node.serialNumber(), serial);
}

void tst_KVRDevice::signalsOfSetters()
{
    Net net;
    QSignalSpy labels(&net.node, &KVRDevice::nodeLabelChanged);
    net.node.setProperty("nodeLabel", QByteArray("0123456789abcdefghij"));
    net.node.setNodeLabel("0123456789abcdef");
    QCOMPARE(labels, QList<QVariantList>{{QByteArray("0123456789abcdef")}});
    QSignalSpy apps(&net.node, &KVRDevice::appVersionChanged);
    QSignalSpy stacks(&net.node, &KVRDevice::stackVersionChanged);
    for (int i = 0; i < 2; ++i) {
        net.node.setAppVersion(net.version);
        net.node.setStackVersion(net.version);
    }
    QCOMPARE(apps.size(), 0);
    QCOMPARE(stacks.size(), 1);
}

QTEST_GUILESS_MAIN(tst_KVRDevice)
#include "tst_kvrdevice.moc"
