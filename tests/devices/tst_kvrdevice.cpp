#include "support/wire.h"

#include <QAbstractEventDispatcher>

class tst_KVRDevice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostAndNode();
    void conversations_data();
    void conversations();
    void deafMode();
    void customReplies();
    void discoverySilence();
    void groups();
    void serialNumber();
    void changes();
};

namespace {
struct Net : Wire
{
    KVRDevice node{0x06123456, &network};

    QByteArray say(const QByteArray &request, unsigned char flags = 0)
    {
        return ask(frame(request, node.addr(true), flags));
    }
};
}

void tst_KVRDevice::hostAndNode()
{
    Net net;
    using P = KVRStdProxy;
    P host(0x06123456, &net.host);
    const auto isDone = [](const BusPendingCall &call) {
        return call.waitForFinished(5000) && text(call.reply()) == "7F";
    };
    const auto reads = [&host](const BusPendingCall &call, auto decode, auto &...values) {
        return call.waitForFinished(5000) && (host.*decode)(call.reply(), values...);
    };
    const P::AppVersion version(0x123456, 'A', 3, 1);
    net.node.setAppVersion(version);
    P::NetworkErrorStat errors;
    errors.setBundleSizeError(0x0102);
    net.node.setNetworkErrorStat(errors);

    P::AppVersion app;
    QVERIFY(reads(host.getNodeAppVersion(), &P::getNodeAppVersionReply, app) && app == version);
    P::AppVersion stack = version;
    QVERIFY(reads(host.getNodeStackVersion(), &P::getNodeStackVersionReply, stack) && stack != version);
    P::NetworkErrorStat errorsRead;
    QVERIFY(reads(host.getNetworkErrorStat(), &P::getNetworkErrorStatReply, errorsRead));
    QVERIFY(errorsRead == errors);
    P::NetworkStat stat;
    QVERIFY(isDone(host.setNetworkStat(0, 5)));
    QVERIFY(reads(host.getNetworkStat(), &P::getNetworkStatReply, stat) && stat.maxRetryCount() == 5);
    P::NetworkConfig config;
    QVERIFY(isDone(host.setNetworkConfig(1, 9, 1, 0x0102)));
    QVERIFY(reads(host.getNetworkConfig(), &P::getNetworkConfigReply, config));
    QVERIFY(config == net.node.networkConfig() && config.maxRand() == 9 && config.supervisionPeriod() == 2);
    quint8 index = 0;
    unsigned int group = 0;
    QVERIFY(isDone(host.setGroupAddr(15, 0x06abcdef)));
    QVERIFY(reads(host.getGroupAddr(15), &P::getGroupAddrReply, index, group));
    QVERIFY(index == 15 && group == 0xabcdef);
    QByteArray bytes("0123456789");
    QVERIFY(reads(host.sendDataTest1(), &P::checkDataTest1Reply));
    QVERIFY(reads(host.sendDataTest2(bytes), &P::checkDataTest2Reply, bytes));
    bytes += bytes;
    QVERIFY(reads(host.sendDataTest3(bytes), &P::checkDataTest3Reply, bytes));
    QVERIFY(isDone(host.setNodeLabel("Kitchen")) && reads(host.getNodeLabel(), &P::getNodeLabelReply, bytes));
    QCOMPARE(bytes, QByteArray("Kitchen\0\0\0\0\0\0\0\0\0", 16));
    net.node.setSerialNumber("12345");
    QVERIFY(reads(host.getNodeSerialNumber(), &P::getNodeSerialNumberReply, bytes));
    QCOMPARE(bytes, QByteArray("12345\0\0\0\0\0\0\0", 12));
    const BusPendingCall found = host.getNodeAddr();
    QVERIFY(isDone(host.setNodeDiscovery(false)));
    QCOMPARE(VOXMessage(found.reply()).srcAddr(true), 0x06123456u);
    const BusPendingCall lost = host.getNodeAddr();
    QVERIFY(lost.waitForFinished(5000) && lost.error() == BusPendingCall::Timeout);
}

void tst_KVRDevice::conversations_data()
{
    QTest::addColumn<QByteArray>("conversation");
    QTest::newRow("frames of a byte less are too short") << QByteArray(
        "41 > 6F 11, 50 > 6F 11, 51 00 5634 > 6F 11, 56 00 00 00 0000 00 > 6F 11, 5E 00 > 6F 11,"
        "55 303132333435363738393031323334 > 6F 11, 46 > 66 01 00 00 0000 00");
    QTest::newRow("there are 16 groups")
        << QByteArray("41 0F > 61 0F 000000, 51 0F 563412 > 7F, 41 0F > 61 0F 563412, 41 10 > 6F 01,"
                      "51 10 563412 > 6F 01, 51 0F 000000 > 7F, 41 0F > 61 0F 000000");
    QTest::newRow("data tests come back as long as they were")
        << QByteArray("79 01 > 7A 01, 7B 01020304050607 > 7C 01020304050607, 7D > 7E");
    QTest::newRow("of a configuration, 255 changes nothing and 0 skips the parameter")
        << QByteArray("56 FE 05 FE 0607 FF FF > 7F, 46 > 66 01 05 01 0607 00,"
                      "56 FF 08 FF 0909 FF FF > 7F, 46 > 66 01 05 01 0607 00,"
                      "56 00 08 FF 0909 FF FF > 7F, 46 > 66 00 05 01 0607 00,"
                      "56 01 08 FF 0909 FF 00 > 7F, 46 > 66 01 08 01 0607 00,"
                      "56 FF 05 00 0909 FF FF > 7F, 46 > 66 01 08 00 0607 00,"
                      "56 FF 05 01 0909 00 FF > 7F, 46 > 66 01 08 01 0909 00");
    QTest::newRow("of two sets of statistics, 254 resets the first and anything the second")
        << QByteArray("5E 00 FD > 7F, 4E > 6E FD 000000 000000 000000 0100 00 00 000000,"
                      "5E 01 05 > 7F, 4E > 6E FD 000000 000000 000000 0100 00 00 000000,"
                      "4D > 6D 0000 0000 0000 0000 0000 0000 0000 0000 0000, 5E 02 00 > 6F 10,"
                      "5E 00 FE > 7F, 4E > 6E 03 000000 000000 000000 0000 00 00 000000,"
                      "5E 00 09 > 7F, 5E 00 FF > 7F, 4E > 6E 03 000000 000000 000000 0000 00 00 000000");
    QTest::newRow("motors' and unassigned commands are unknown") << QByteArray("0E > 6F 10, FE > 6F 10");
}

void tst_KVRDevice::conversations()
{
    QFETCH(QByteArray, conversation);
    for (const unsigned char flags : {0x80, 0}) {
        Net net;
        KVRStdProxy::NetworkStat stat;
        stat.setBusyCount(1);
        net.node.setNetworkStat(stat);
        KVRStdProxy::NetworkErrorStat errors;
        errors.setTxFailures(1);
        net.node.setNetworkErrorStat(errors);
        if (conversation.contains("FE > 6F 10")) {
            QTest::ignoreMessage(QtWarningMsg, "[KVRDevice]: unknown cmd(0E)");
            QTest::ignoreMessage(QtWarningMsg, "[KVRDevice]: unknown cmd(FE)");
        }
        // It refuses whether or not it was asked to answer.
        const QByteArrayList silenced = flags ? QByteArrayList() : QByteArrayList{"7F"};
        const QByteArray mismatch = net.mismatch(conversation, net.node.addr(true), flags, silenced);
        QVERIFY2(mismatch.isEmpty(), mismatch);
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
    QCOMPARE(timers().size(), 0);
    QCOMPARE(net.say("40"), hex("60"));
    net.say("50 01");
    net.say("50 00");
    QCOMPARE(timers().size(), 0);
    QCOMPARE(net.say("40"), hex("60"));
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
    QVERIFY2(serial == before || serial == generated(), serial);
    QCOMPARE(sent, serial.left(12));
    net.node.setSerialNumber(serial);
    QCOMPARE(net.node.serialNumber(), serial);
    net.node.setSerialNumber("0123456789abc");
    QCOMPARE(net.node.serialNumber(), QByteArray("0123456789ab"));
    net.node.setSerialNumber(QByteArray());
    QCOMPARE(net.node.serialNumber(), serial);
}

void tst_KVRDevice::changes()
{
    Net net;
    QSignalSpy labels(&net.node, &KVRDevice::nodeLabelChanged);
    net.node.setProperty("nodeLabel", QByteArray("0123456789abcdefghij"));
    net.node.setNodeLabel("0123456789abcdef");
    QCOMPARE(labels, QList<QVariantList>{{QByteArray("0123456789abcdef")}});
    QSignalSpy stacks(&net.node, &KVRDevice::stackVersionChanged);
    QSignalSpy configs(&net.node, &KVRDevice::networkConfigChanged);
    QSignalSpy uploads(&net.node, &KVRDevice::uploadRequest);
    for (const char *request : {"56 00 00 FF 0000 FF 00", "56 00 01 FF 0000 FF FF", "56 FF 00 FF 0000 FF 01",
                                "56 FF 00 FF 0000 FF FE"}) {
        net.node.setStackVersion({1, 'A', 1, 1});
        net.say(request);
    }
    QCOMPARE(stacks.size(), 1);
    QCOMPARE(configs.size(), 1);
    QCOMPARE(uploads.size(), 2);
}

QTEST_GUILESS_MAIN(tst_KVRDevice)
#include "tst_kvrdevice.moc"
