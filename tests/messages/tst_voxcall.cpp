#include "framework/busobject.h"
#include "framework/buspendingcalldata.h"
#include "messages/kvrack.h"
#include "messages/kvrnack.h"
#include "messages/voxcall.h"
#include "messages/voxcalldata.h"
#include "proxies/voxnode.h"
#include "support/recordingbus.h"
#include "transport/voxbus.h"

#include <QtTest>

/// Requests, what answers them, and how groups are collected.
class tst_VOXCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frames_data();
    void frames();
    void matching_data();
    void matching();
    void settersCopyOnWrite();
    void replies();
    void groupEndsWithItsCount();
    void groupPeriodRunsFromTheLatestReply();
    void groupDrainsTheBusBeforeItEnds();
};

namespace {
VOXCmdInfo info(int cmd)
{
    return KVR::findCmd(static_cast<unsigned char>(cmd));
}

VOXCall broadcast(unsigned int timeout, short count = -1)
{
    VOXCall call(info(KVR::GET_NODE_ADDR), HostAddr, VOX::BCAST, timeout);
    call.setReplyCount(count);
    return call;
}
}

void tst_VOXCall::frames_data()
{
    QTest::addColumn<BusMessage>("call");
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<unsigned int>("timeout");
    QTest::addColumn<int>("reply");
    const auto row = [](const char *name, const VOXCall &call, const char *header, unsigned int timeout,
                        int reply) {
        QTest::newRow(name) << BusMessage(call) << hex(header) << timeout << reply;
    };
    row("a query asks for an answer", VOXCall(info(0x40), HostAddr, 0x08123456, 0), "40 8B F8 000001 563412",
        200, 0x60);
    row("a command does not", VOXCall(info(0x05), HostAddr, 0x123456, 0), "05 0B F0 000001 563412", 200, 0);
    row("to a group, the default is longer", VOXCall(info(0x05), HostAddr, 0, 0), "05 0B F0 000001 000000",
        255, 0);
    row("an explicit time-out stays", VOXCall(info(0x05), HostAddr, 0, 50), "05 0B F0 000001 000000", 50, 0);
    row("by type: a node, source left open", VOXCall(info(0x40), 0x08123456, VOX::P2P, 0),
        "40 8B 08 000000 563412", 0, 0x60);
    row("by type: a group", VOXCall(info(0x40), 0x06000123, VOX::GROUP, 0), "40 0B F6 230100 000000", 0,
        0x60);
    row("by type: everyone", VOXCall(info(0x40), HostAddr, VOX::BCAST, 7), "40 0B F0 000001 FFFFFF", 7, 0x60);
    row("no addresses yet", VOXCall(info(0x40), 9), "40 0B 00 000000 000000", 9, 0x60);
    row("any frame", VOXCall(frame("02 FF", 1), 9), "02 0C F0 000001 010000", 9, 0);
}

void tst_VOXCall::frames()
{
    QFETCH(BusMessage, call);
    QFETCH(QByteArray, header);
    const auto &data = dynamic_cast<const VOXCallData &>(call.sharedData());
    QCOMPARE(hex(data.bytes().left(9).toHex()), header);
    QTEST(data.timeout(), "timeout");
    QTEST(int(data.reply()), "reply");
    QCOMPARE(data.busFreeDelay(), 10u);
    QCOMPARE(int(data.replyCount()), -1);
}

void tst_VOXCall::matching_data()
{
    QTest::addColumn<BusMessage>("call");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("matches");
    const VOXCall query(info(0x40), HostAddr, 0x123456, 0);
    const VOXCall order(info(0x05), HostAddr, 0x123456, 0);
    const VOXCall group(info(0x40), 0x06000123, VOX::GROUP, 0);
    const auto row = [](const char *name, const VOXCall &call, const QByteArray &answer, bool matches) {
        QTest::newRow(name) << BusMessage(call) << answer << matches;
    };
    row("the reply", query, frame("60", HostAddr).data(), true);
    row("a NACK", query, frame("6F 01", HostAddr).data(), true);
    row("an ACK, which was asked for", query, frame("7F", HostAddr).data(), true);
    row("another command", query, frame("61 00000000", HostAddr).data(), false);
    row("to the address without its type", query, frame("60", 0x010000).data(), true);
    row("to the address with another type", query, frame("60", 0x02010000).data(), false);
    row("to another address", query, frame("60", 0x0F010001).data(), false);
    row("ten bytes", query, frame("60", HostAddr).data().left(10), false);
    row("no reply named: any command", order, frame("75 00", HostAddr).data(), true);
    row("a group answers to its own number", group, frame("60", 0x0F000123).data(), true);
    row("and not to the host", group, frame("60", HostAddr).data(), false);
    row("an ACK that was not asked for", group, frame("7F", 0x0F000123).data(), false);
    row("a NACK from a group", group, frame("6F 10", 0x000123).data(), true);
}

void tst_VOXCall::matching()
{
    QFETCH(BusMessage, call);
    QFETCH(QByteArray, answer);
    QTEST(call.sharedData().isReply(BusMessage(answer)), "matches");
}

void tst_VOXCall::settersCopyOnWrite()
{
    const VOXCall first(info(0x05), HostAddr, 1, 0);
    VOXCall second = first;
    second.setTimeout(9);
    second.setReply(0x60);
    second.setBusFreeDelay(1);
    QCOMPARE(first.sharedData().timeout(), 200u);
    QVERIFY(!first.sharedData().hasReply() && second.sharedData().hasReply());
    // A frame that is changed through another class is still this call.
    VOXMessage slice(first);
    slice.setAck(true);
    QVERIFY(slice.sharedData().hasReply());
    QCOMPARE(slice.sharedData().timeout(), 200u);
    // And a foreign frame in a call has none of its fields.
    VOXCall hollow(first);
    static_cast<BusMessage &>(hollow) = frame("02", 1);
    hollow.setReply(3);
    QCOMPARE(int(hollow.reply()), 0);
}

void tst_VOXCall::replies()
{
    const VOXNode node(0x08123456, nullptr);
    const VOXMessage request = frame("20", 0x08123456);
    const VOXMessage crcRequest = frame("20", 0x08123456, VOXMessage::CrcFlag | VOXMessage::AckFlag);
    const auto bytes = [](const VOXMessage &message) { return hex(message.data().toHex()); };
    QCOMPARE(bytes(KVRAck(node, request)), hex("7F 0B 8F 563412 000001 0741"));
    const KVRNack crcNack(node, crcRequest, KVR::NACK_BADMSG);
    QCOMPARE(bytes(crcNack).left(2 + 1 + 2), QByteArray("6F 2C"));
    QCOMPARE(int(VOXMessage(crcNack).data().right(2).toHex().toInt(nullptr, 16)),
             int(VOXBus::crc(VOXMessage(crcNack).data().left(10))));
    const KVRNack toDest(node, 0x02000007, KVR::NACK_BUSY);
    QCOMPARE(bytes(toDest).left(29), hex("6F 0C 82 563412 070000 FF"));
    QVERIFY(toDest.isPrepared());
    QVERIFY(VOXReply(node, crcRequest, info(0x30)).isCRC());
    QVERIFY(!VOXReply(node, 0x010000, info(0x30)).isCRC());
    QVERIFY(!VOXReply(node, request, info(0x30)).isPrepared());
    QCOMPARE(VOXReply(node, request, info(0x30)).sharedData().busFreeDelay(), 5u);
    QVERIFY(!VOXReply().isValid());
}

void tst_VOXCall::groupEndsWithItsCount()
{
    RecordingBus bus;
    BusObject host(&bus, nullptr);
    const BusPendingCall call = host.call(broadcast(5000, 2));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(call.isFinished(), i >= 2);
        bus.dispatcher().dispatch(answer("60"));
    }
    QCOMPARE(call.replies().size(), 2);
    QVERIFY(call.replies().constFirst().sharesDataWith(call.reply()));
    QVERIFY(!call.isError());
}

void tst_VOXCall::groupPeriodRunsFromTheLatestReply()
{
    RecordingBus bus;
    bus.simple().setNetworkLatency(30001);
    BusObject host(&bus, nullptr);
    QElapsedTimer clock;
    clock.start();
    const BusPendingCall silent = host.call(broadcast(20));
    const BusPendingCall answered = host.call(broadcast(100));
    QVERIFY(silent.waitForFinished(5000));
    QVERIFY(clock.elapsed() >= 51);
    QVERIFY(!silent.isError() && silent.replies().isEmpty());
    QTRY_COMPARE(bus.written.size(), 2);
    clock.restart();
    QTimer::singleShot(60, Qt::PreciseTimer, &bus, [&] { bus.dispatcher().dispatch(answer("60")); });
    QVERIFY(answered.waitForFinished(5000));
    QVERIFY(clock.elapsed() >= 60 + 100);
    QCOMPARE(answered.replies().size(), 1);
    QVERIFY(!answered.isError());
}

void tst_VOXCall::groupDrainsTheBusBeforeItEnds()
{
    RecordingBus bus;
    BusObject host(&bus, nullptr);
    const BusPendingCall call = host.call(broadcast(50));
    bus.input = {answer("75 00"), answer("60")};
    QElapsedTimer clock;
    clock.start();
    // Without the event loop of waitForFinished(), which would drive the bus by itself.
    QTRY_VERIFY(call.isFinished());
    QVERIFY2(clock.elapsed() >= 100, "a drained reply starts the period anew");
    QCOMPARE(call.replies().size(), 1);
}

QTEST_GUILESS_MAIN(tst_VOXCall)
#include "tst_voxcall.moc"
