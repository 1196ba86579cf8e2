#include "proxies/kvrmotorproxy.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/receivers.h"
#include "support/timers.h"
#include "support/watching.h"

#include <random>

/// How the buses on bytes, those of a serial line and of UDP, find frames in them.
class tst_Framing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void framesInPieces_data();
    void framesInPieces();
    void passes_data();
    void passes();
    void aStallLosesOneByteAtATime();
    void whatComesBeforeTheTimeIsOver();
    void anythingMayComeBeforeAFrame();
    void repliesBehindOtherBytes();
    void aLoopInsideADelivery();
    void corruptedMessagesAreNotSent();
    void closingAndOpening();
};

namespace {
const VOXVirtualTime virtualTime(VOXVirtualTime::Local);

bool isUdp()
{
    QFETCH_GLOBAL(bool, overUdp);
    return overUdp;
}

Receiver makeReceiver()
{
    return isUdp() ? udpReceiver() : serialReceiver();
}

/// A bus that nobody tells of what comes.
struct Unaware
{
    void bring(const QByteArray &bytes) const
    {
        receiver.feed(bytes);
        QVERIFY(waitFor([this] { return bus.hasInput(); }));
    }

    const Receiver receiver = makeReceiver();
    VOXBus &bus = *receiver.bus;
    const QByteArrayList &frames = receiver.frames;
    const QSignalBlocker blocker{bus.findChild<QIODevice *>()};
};

/// Says that 31 bytes follow, which do not.
const QByteArray Stalling("\x55\xe0\x55");
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
    QVERIFY2(timersOf(*receiver.bus).isEmpty(), "a timer runs on after the last frame");
}

void tst_Framing::passes_data()
{
    const auto row = columns<QByteArray, QByteArray, QByteArray>("bytes", "serial", "udp");
    // What a look at the bytes gives, true or false, and how many timers wait for more after all looks.
    const QByteArray a = line(first);
    row("a frame", a, "t0", "t0");
    row("a byte", a.left(1), "f1", "f1");
    row("a byte behind a frame", a + Stalling.left(1), "t0", "t0");
    row("two behind a frame", a + Stalling.left(2), "t0", "t1");
    row("three behind a frame", a + Stalling.left(3), "t1", "t1");
    row("a wrong check value", a.chopped(1) + '\0', "t1", "t1");
    row("a length that is too low, in 11 bytes", QByteArray(11, '\xff'), "f1", "f1");
    row("a length that is too low, in 12 bytes", QByteArray(12, '\xff'), "f1", "t1");
}

void tst_Framing::passes()
{
    QFETCH(QByteArray, bytes);
    const WarningLog quiet;
    Unaware end;
    end.bring(bytes);
    const char *result = end.bus.processData() ? "t" : "f";
    VOXVirtualTime::settle();
    QTEST(result + QByteArray::number(timersOf(end.bus).size()), isUdp() ? "udp" : "serial");
}

void tst_Framing::aStallLosesOneByteAtATime()
{
    Unaware end;
    // As the second byte, the first of this frame says that 31 bytes follow.
    const VOXMessage frameBehind = frame("1F FF", 0x123456);
    end.bring('x' + line(frameBehind).left(5));
    QVERIFY(!end.bus.processData());
    const int timeout = isUdp() ? 110 : 100;
    QCOMPARE(intervalsOf(end.bus), QList<int>{timeout});
    // The time counts from the latest byte.
    VOXVirtualTime::advance(timeout - 1);
    end.bring(line(frameBehind).mid(5));
    QVERIFY(!end.bus.processData());
    VOXVirtualTime::advance(timeout - 1);
    QCOMPARE(end.frames, QByteArrayList());
    VOXVirtualTime::advance(1);
    QCOMPARE(end.frames, QByteArrayList{frameBehind.data()});
}

void tst_Framing::whatComesBeforeTheTimeIsOver()
{
    Unaware end;
    end.bring(line(first).left(5));
    QVERIFY(!end.bus.processData());
    end.bring(line(first).mid(5) + line(second).left(5));
    expire(end.bus);
    end.bring(line(second).mid(5));
    end.bus.processData();
    QTRY_COMPARE(end.frames, (QByteArrayList{first.data(), second.data()}));
}

// Every cut of a frame, and noise: the frame that follows is taken within the time-outs of what came before.
void tst_Framing::anythingMayComeBeforeAFrame()
{
    const WarningLog quiet;
    std::mt19937 random(1);
    for (int i = 0; i < 100; ++i) {
        QByteArray before = line(second).left(i);
        if (i >= line(second).size()) {
            before.resize(int(random() % 60));
            std::generate(before.begin(), before.end(), [&] { return char(random()); });
        }
        const Unaware end;
        end.bring(before + line(first));
        end.bus.processData();
        VOXVirtualTime::advance(62 * 110);
        QVERIFY2(end.frames.contains(first.data()), before.toHex());
    }
}

// Behind what stalls; and behind a frame, both so late that the time-out is over before anything is read.
void tst_Framing::repliesBehindOtherBytes()
{
    for (const auto &[before, delay] : {std::pair(Stalling, 0), {line(first), 300}}) {
        Receiver receiver = makeReceiver();
        const BusPendingCall call = KVRMotorProxy(0x123456, receiver.bus.get()).getMotorStatus();
        receiver.feed(before + line(frame("0F 00 01 00 00", HostAddr)));
        QThread::msleep(static_cast<unsigned long>(delay));
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
    QVERIFY(!receiver.bus->isOpen());
    QVERIFY(receiver.bus->open());
    QVERIFY(receiver.bus->isOpen());
    QCOMPARE(changes, (QList<QVariantList>{{false}, {true}}));
    // What had come before is forgotten.
    receiver.feed(line(second));
    QTRY_COMPARE(receiver.frames, QByteArrayList{second.data()});
}

QTEST_GUILESS_MAIN(tst_Framing)
#include "tst_framing.moc"
