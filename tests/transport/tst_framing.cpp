#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/receivers.h"
#include "support/watching.h"

#include <random>
#include <thread>

/// How the buses on bytes, those of a serial line and of UDP, find frames in them.
class tst_Framing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void framesInPieces_data();
    void framesInPieces();
    void aStallLosesOneByteAtATime();
    void anythingMayComeBeforeAFrame();
    void repliesBehindOtherBytes();
    void aLoopInsideADelivery();
    void corruptedMessagesAreNotSent();
    void closingAndOpening();
};

namespace {
bool isUdp()
{
    QFETCH_GLOBAL(bool, overUdp);
    return overUdp;
}

Receiver makeReceiver()
{
    return isUdp() ? udpReceiver() : serialReceiver();
}

/// Says that 31 bytes follow, which do not.
const QByteArray Stalling("\x55\xe0", 2);
}

void tst_Framing::initTestCase_data()
{
    const auto row = columns<bool>("overUdp");
    row("serial", false);
    row("UDP", true);
}

void tst_Framing::framesInPieces_data()
{
    const auto row = columns<QByteArrayList, QByteArrayList, QString>("pieces", "frames", "warnings");
    const QByteArray a = line(first), b = line(second);
    const QByteArrayList one = {first.data()}, both = {first.data(), second.data()};
    const QByteArray wrongA = a.chopped(2) + "\x0b\x8c", wrongB = b.chopped(2) + "\x0b\x8c";
    VOXMessage tolerated = second, plain = second;
    tolerated.data().replace(13, 2, QByteArray::fromHex("09ef"));
    plain.data()[1] = char(plain.len());
    row("two frames at once", {a + b}, both, "");
    row("a frame in three", {a.left(1), a.mid(1, 9), a.mid(10)}, one, "");
    row("cut across two frames", {a + b.left(2), b.mid(2)}, both, "");
    row("an empty one", {"", a}, one, "");
    row("lengths that are too low", {QByteArray(20, '\xff') + a}, one, "");
    row("a wrong checksum, then good frames", {wrongA + a, b}, both, "Wrong CRC: 075c != 0b8c");
    row("a frame inside what claims to be one", {"\x55\xf3" + a, b}, both, "Wrong CRC: ");
    row("a wrong CRC", {wrongB + a}, one, "Wrong CRC: 0816, trying CHKSUM|Wrong CRC: 09ef != 0b8c");
    row("a CRC frame with a checksum", {line(tolerated)}, {tolerated.data()},
        "Wrong CRC: 0816, trying CHKSUM");
    row("a plain frame with a CRC", {line(plain) + a}, one, "Wrong CRC: ");
}

void tst_Framing::framesInPieces()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(QByteArrayList, frames);
    QFETCH(QString, warnings);
    const WarningLog log;
    Receiver receiver = makeReceiver();
    for (const QByteArray &piece : pieces)
        receiver.feed(piece);
    QTRY_COMPARE(receiver.frames, frames);
    QCOMPARE(log.texts().join('|').left(warnings.isEmpty() ? -1 : warnings.size()), warnings);
}

void tst_Framing::aStallLosesOneByteAtATime()
{
    const int timeout = isUdp() ? 110 : 100;
    const QByteArray wrong = timing(timeout, 2 * timeout, [] {
        Receiver receiver = makeReceiver();
        QElapsedTimer clock;
        clock.start();
        receiver.feed(Stalling + line(first));
        const bool isTaken = waitFor([&] { return receiver.frames.contains(first.data()); });
        return isTaken ? double(clock.nsecsElapsed()) / 1e6 : 1e6;
    });
    QVERIFY2(wrong.isEmpty(), wrong);
}

// Every cut of a frame, and noise: the frame that follows it is taken within the time-outs of what came
// before.
void tst_Framing::anythingMayComeBeforeAFrame()
{
    const WarningLog quiet;
    std::mt19937 random(1);
    std::vector<std::unique_ptr<Receiver>> receivers;
    for (int i = 0; i < 35; ++i) {
        QByteArray before = line(second).left(i);
        if (before.size() == line(second).size()) {
            before.resize(int(random() % 60));
            std::generate(before.begin(), before.end(), [&] { return char(random()); });
        }
        receivers.emplace_back(new Receiver(makeReceiver()));
        receivers.back()->feed(before + line(first));
    }
    for (const auto &receiver : receivers)
        QTRY_VERIFY_WITH_TIMEOUT(receiver->frames.contains(first.data()), 110 * 62);
}

// Behind what stalls; and behind a frame, both so late that the time-out is over before anything is read.
void tst_Framing::repliesBehindOtherBytes()
{
    for (const auto &[before, delay] : {std::pair(Stalling, 0), {line(first), 300}}) {
        Receiver receiver = makeReceiver();
        const BusPendingCall call = KVRMotorProxy(0x123456, receiver.bus.get()).getMotorStatus();
        receiver.feed(before + line(frame("0F 00 01 00 00", HostAddr)));
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
        QVERIFY(call.waitForFinished());
        QCOMPARE(text(call.reply()), hex("0F 00 01 00 00"));
    }
}

void tst_Framing::aLoopInsideADelivery()
{
    Receiver receiver = makeReceiver();
    waitInsideADelivery(*receiver.bus, receiver.frames, [&] { receiver.feed(line(second)); });
    for (int sent = 1; sent < 4; ++sent) {
        receiver.feed(line(first));
        QTRY_COMPARE(receiver.frames.size(), sent + 1);
    }
}

void tst_Framing::corruptedMessagesAreNotSent()
{
    Receiver receiver = makeReceiver();
    for (const int size : {0, 10, 32}) {
        const QString warning("[VOX%1Bus]: not sending corrupted message (len=%2)");
        QTest::ignoreMessage(QtWarningMsg, qPrintable(warning.arg(isUdp() ? "Udp" : "").arg(size)));
        QCOMPARE(receiver.bus->write(QByteArray(size, 'x')), -1);
    }
    QCOMPARE(receiver.bus->write(QByteArray(31, 'x')), 0);
}

void tst_Framing::closingAndOpening()
{
    Receiver receiver = makeReceiver();
    QSignalSpy changes(receiver.bus.get(), &VOXBus::openChanged);
    receiver.feed(line(first).left(5));
    QTRY_VERIFY(!receiver.bus->hasInput());
    receiver.bus->close();
    QVERIFY(!receiver.bus->isOpen() && receiver.bus->open() && receiver.bus->isOpen());
    QCOMPARE(changes, (QList<QVariantList>{{false}, {true}}));
    // What had come before is forgotten.
    receiver.feed(line(second));
    QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
}

QTEST_GUILESS_MAIN(tst_Framing)
#include "tst_framing.moc"
