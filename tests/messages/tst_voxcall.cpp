#include "framework/busobject.h"
#include "framework/buspendingcalldata.h"
#include "messages/hrmv2.h"
#include "messages/kvrack.h"
#include "messages/kvrnack.h"
#include "messages/voxcall.h"
#include "messages/voxcalldata.h"
#include "proxies/voxnode.h"
#include "support/columns.h"
#include "support/recordingbus.h"

/// Requests, what answers them, and how groups are collected.
class tst_VOXCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frames();
    void matching_data();
    void matching();
    void settersCopyOnWrite();
    void replies();
    void groupEndsWithItsCount();
    void groupPeriods();
};

namespace {
VOXCmdInfo info(int cmd)
{
    return KVR::findCmd(static_cast<unsigned char>(cmd));
}

/// A bus and a host that calls everyone on it.
struct Line : RecordingBus
{
    BusObject host{this, nullptr};
    QElapsedTimer clock;

    BusPendingCall callAll(unsigned int timeout, short count = -1)
    {
        VOXCall message(info(KVR::GET_NODE_ADDR), HostAddr, VOX::BCAST, timeout);
        message.setReplyCount(count);
        clock.start();
        return host.call(message);
    }
};
}

void tst_VOXCall::frames()
{
    const auto row = [&](const char *name, const BusMessage &call, const char *header, int timeout,
                         int reply) {
        const auto &data = dynamic_cast<const VOXCallData &>(call.sharedData());
        QCOMPARE(list(name, hex(data.bytes().left(9).toHex()), data.timeout(), data.reply(),
                      data.busFreeDelay(), data.replyCount()),
                 list(name, hex(header), timeout, reply, 10, -1));
    };
    const VOXCmdInfo query = info(0x40), order = info(0x05);
    row("a query has an ack", VOXCall(query, HostAddr, 0x08123456, 0), "408BF8 000001 563412", 200, 0x60);
    row("an order has none", VOXCall(order, HostAddr, 0x123456, 0), "050BF0 000001 563412", 200, 0);
    row("to a group, the default is longer", VOXCall(order, HostAddr, 0, 0), "050BF0 000001 000000", 255, 0);
    row("to all, as well", VOXCall(order, HostAddr, 0xFFFFFF, 0), "050BF0 000001 FFFFFF", 255, 0);
    row("to no kind of address", VOXCall(query, 0x08123456, VOX::AddrType(3), 7), "400B00 000000 000000", 7,
        0x60);
    row("to a node, from nobody", VOXCall(query, 0x08123456, VOX::P2P, 0), "408B08 000000 563412", 0, 0x60);
    row("to a group", VOXCall(query, 0x06000123, VOX::GROUP, 0), "400BF6 230100 000000", 0, 0x60);
    row("to everyone", VOXCall(query, HostAddr, VOX::BCAST, 7), "400BF0 000001 FFFFFF", 7, 0x60);
    row("any frame", VOXCall(frame("02 FF", 1), 9), "020CF0 000001 010000", 9, 0);
}

void tst_VOXCall::matching_data()
{
    const auto row = columns<BusMessage, BusMessage, bool, bool>("call", "answer", "plain", "strict");
    const unsigned int node = 0x123456, other = 0x123457, group = 0x0F000123;
    const auto from = [](unsigned int source, const QByteArray &words, unsigned int dest = HostAddr) {
        VOXMessage message = frame(words, dest);
        message.setSrcAddr(source);
        return message;
    };
    const VOXCall query(info(0x40), HostAddr, node, 0), order(info(0x05), HostAddr, node, 0);
    VOXCall quiet(query), asking(order);
    quiet.setAck(false);
    asking.setAck(true);
    const VOXCall typed(info(0x40), HostAddr, 0x08123456, 0), fromNode(info(0x40), 0x08000007, node, 0);
    const VOXCall shared(info(0x40), 0x06000123, VOX::GROUP, 0), all(info(0x40), HostAddr, VOX::BCAST, 0);
    row("the reply", query, from(node, "60"), true, true);
    row("a NACK", query, from(node, "6F 01"), true, true);
    row("an ACK, which was asked for", query, from(node, "7F"), true, true);
    row("an ACK that was not asked for", quiet, from(node, "7F"), false, false);
    row("another command", query, from(node, "61 00000000"), false, false);
    row("to the address without its type", query, from(node, "60", 0x010000), true, true);
    row("to the address with another type", query, from(node, "60", 0x02010000), false, false);
    row("to another address", query, from(node, "60", 0x0F010001), false, false);
    row("to a caller that is no host", fromNode, from(node, "60", 0x08000007), true, true);
    row("to a host in its place", fromNode, from(node, "60", 0x0F000007), false, false);
    row("ten bytes", query, BusMessage(answer("60").left(10)), false, false);
    row("from a node that was asked without its type", query, from(0x08123456, "60"), true, true);
    row("from a node that was asked as another type", typed, from(0x02123456, "60"), true, true);
    row("the reply of another node", query, from(other, "60"), true, false);
    row("another node's of the same type", typed, from(0x08113456, "60"), true, false);
    row("the NACK of another node", query, from(other, "6F 01"), true, false);
    row("the ACK of another node", query, from(other, "7F"), true, false);
    row("no reply named: any command", order, from(node, "75 00"), true, false);
    row("no reply named: command 0", order, from(node, "00"), true, false);
    row("no reply named: a NACK", order, from(node, "6F 10"), true, true);
    row("no reply named: an ACK that was not asked for", order, from(node, "7F"), true, false);
    row("no reply named: an ACK", asking, from(node, "7F"), true, true);
    row("no reply named: the ACK of another node", asking, from(other, "7F"), true, false);
    row("a group answers to its own number", shared, from(node, "60", group), true, true);
    row("and not to the host", shared, from(node, "60"), false, false);
    row("an ACK to a group that did not ask", shared, from(node, "7F", group), false, false);
    row("a NACK from a group", shared, from(other, "6F 10", 0x000123), true, true);
    row("from the host to its own group", shared, from(HostAddr, "60", group), true, false);
    row("from any node to everyone's caller", all, from(other, "60"), true, true);
    row("from the host, without its type, to itself", all, from(0x010000, "60"), true, false);
}

void tst_VOXCall::matching()
{
    QFETCH(BusMessage, call);
    QFETCH(BusMessage, answer);
    const auto &plain = dynamic_cast<const VOXCallData &>(call.sharedData());
    const std::unique_ptr<VOXCallData> strict(plain.clone());
    strict->setMatching(VOXCall::AskedNode);
    QTEST(strict->isReply(answer), "strict");
    QTEST(plain.isReply(answer), "plain");
}

void tst_VOXCall::settersCopyOnWrite()
{
    const VOXCall first(info(0x05), HostAddr, 1, 0);
    VOXCall second = first;
    second.setTimeout(9);
    second.setReply(0x60);
    second.setReplyCount(3);
    second.setBusFreeDelay(7);
    second.setMatching(VOXCall::AskedNode);
    // A frame that is changed through another class is still this call.
    VOXMessage slice(second);
    slice.setAck(true);
    const auto fields = [](const BusMessage &call) {
        const auto &data = dynamic_cast<const VOXCallData &>(call.sharedData());
        return QList<int>{int(data.timeout()), data.reply(), data.replyCount(), int(data.busFreeDelay()),
                          data.matching()};
    };
    QCOMPARE(fields(first), QList<int>({200, 0, -1, 10, 0}));
    QCOMPARE(fields(slice), QList<int>({9, 0x60, 3, 7, 1}));
    QCOMPARE(list(first.sharedData().hasReply(), second.sharedData().hasReply()), list(false, true));
    // And a foreign frame in a call has none of its fields.
    VOXCall hollow(first);
    static_cast<BusMessage &>(hollow) = frame("02", 1);
    hollow.setReply(3);
    hollow.setMatching(VOXCall::AskedNode);
    QCOMPARE(list(int(hollow.reply()), hollow.matching()), list(0, VOXCall::AnyNode));
}

void tst_VOXCall::replies()
{
    const VOXNode node(0x08123456, nullptr);
    const VOXMessage request = frame("20", 0x08123456);
    const VOXMessage crcRequest = frame("20", 0x08123456, VOXMessage::CrcFlag | VOXMessage::AckFlag);
    const auto bytes = [](const VOXMessage &message) { return hex(message.data().toHex()); };
    QCOMPARE(bytes(KVRAck(node, request)), hex("7F 0B 8F 563412 000001 0741"));
    QCOMPARE(bytes(KVRNack(node, crcRequest, KVR::NACK_BADMSG)), hex("6F 2C 8F 563412 000001 10 D059"));
    QCOMPARE(bytes(KVRNack(node, 0x02000007, KVR::NACK_BUSY)), hex("6F 0C 82 563412 070000 FF 0757"));
    // A legacy label is a CRC frame, whoever asks.
    const VOXCmdInfo label = HRMv2::findCmd(HRMv2::POST_MOTOR_LABEL);
    for (const VOXReply &reply : {VOXReply(node, request, label), VOXReply(node, HostAddr, label)})
        QCOMPARE(bytes(reply), hex("65 2B 8F 563412 000001 0000"));
    QCOMPARE(VOXReply(node, request, info(0x30)).sharedData().busFreeDelay(), 5u);
}

void tst_VOXCall::groupEndsWithItsCount()
{
    // Without a count, with its time only.
    for (const auto &[count, collected] :
         {std::pair(2, 2), std::pair(1, 1), std::pair(0, 3), std::pair(-1, 3)}) {
        Line line;
        const BusPendingCall call = line.callAll(5000, static_cast<short>(count));
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(call.isFinished(), i >= collected);
            line.dispatcher().dispatch(answer("60"));
        }
        QCOMPARE(list(call.replies().size(), call.replies().constFirst().sharesDataWith(call.reply()),
                      call.isError()),
                 list(collected, true, false));
    }
}

void tst_VOXCall::groupPeriods()
{
    Line line, noisy;
    // Looked at when it ends, without waitForFinished(), which would drive the bus by itself.
    const auto ends = [](Line &on, const BusPendingCall &call, int afterMs, int replies) {
        qint64 endedMs = 0;
        call.onFinished(&on, [&] { endedMs = on.clock.elapsed(); });
        QTRY_VERIFY(endedMs > 0);
        QCOMPARE(qMax(endedMs, qint64(afterMs)), endedMs);
        QCOMPARE(list(call.isError(), call.replies().size()), list(false, replies));
    };
    line.simple().setNetworkLatency(30001);
    ends(line, line.callAll(20), 51, 0);
    const BusPendingCall answered = line.callAll(100);
    QTimer::singleShot(60, Qt::PreciseTimer, &line, [&] { line.dispatcher().dispatch(answer("60")); });
    ends(line, answered, 60 + 100 + 31, 1);
    // What waits at the end is drained, and a reply among it starts the period anew.
    noisy.input = {answer("75 00"), answer("60")};
    ends(noisy, noisy.callAll(50), 100, 1);
}

QTEST_GUILESS_MAIN(tst_VOXCall)
#include "tst_voxcall.moc"
