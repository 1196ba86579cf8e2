#include "support/columns.h"
#include "support/documented.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/ptyport.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/console.h"
#include "vox/line/answercomparison.h"
#include "vox/line/framescanner.h"
#include "vox/line/linelabels.h"
#include "vox/line/linetap.h"
#include "vox/line/pcapfile.h"

#include <QJsonArray>

#include <random>

/// What the monitor makes of the bytes of a line.
class tst_Monitor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scanning();
    void noByteIsLost();
    void cutsAsReceiversDo();
    void items();
    void labelsAndTimes();
    void rowsOfATerminal();
    void comparisons();
    void captures();
    void aDiskThatIsFull();
};

namespace {
constexpr qint64 Ms = 1000000;
const VOXMessage stop = frame("02 FF", 0x000101, VOXMessage::AckFlag);
const VOXMessage query = frame("0E", 0x000102, VOXMessage::AckFlag | VOXMessage::CrcFlag);

QByteArray damaged(QByteArray bytes)
{
    bytes[9] = bytes.at(9) ^ 4;
    return bytes;
}
}

void tst_Monitor::scanning()
{
    const auto row = [&](const char *name, const QByteArrayList &chunks, const char *found) {
        QByteArrayList actual;
        FrameScanner scanner([&](const LineItem &item) {
            const QByteArray cmd = item.frame.data().left(1).toHex().toUpper();
            const QByteArray marks[] = {cmd, "~" + cmd, "!" + cmd, QByteArray::number(item.bytes.size())};
            actual += marks[item.verdict];
        });
        qint64 timeNs = 0;
        for (const QByteArray &chunk : chunks) {
            timeNs += chunk.isEmpty() ? 40 * Ms : 0;
            scanner.feed(chunk, timeNs);
        }
        scanner.flush();
        QCOMPARE(list(name, actual.join(' ')), list(name, found));
    };
    const QByteArray a = line(stop), b = line(query);
    QByteArray tolerated = query.data();
    const unsigned int checksum = VOXBus::chksum(tolerated.left(9));
    tolerated[9] = char(checksum >> 8);
    tolerated[10] = char(checksum);
    // The line pauses after the last chunk, and where a chunk has no bytes.
    row("a frame in three parts, and another", {a.left(1), a.mid(1, 7), a.mid(8) + b}, "02 0E");
    row("noise before", {QByteArray("\x00\x00\xff", 3) + a}, "3 02");
    row("noise that claims to be long", {QByteArray("\x00\xe0", 2) + a + b}, "2 02 0E");
    row("a check that fails, before a pause", {damaged(a)}, "!02");
    row("a check that fails, before a frame", {damaged(a) + b}, "!02 0E");
    row("a frame cut off, before a frame", {a.chopped(3) + b}, "9 0E");
    row("a frame cut off, before a pause", {b, a.chopped(3)}, "0E 9");
    row("a checksum where a CRC is said to be", {line(VOXMessage(BusMessage(tolerated)))}, "~0E");
    row("a frame cut off, and two frames in what it claims",
        {line(frame("65 303132333435363738", 1)).left(9) + a + b}, "9 02 0E");
    row("one byte", {"x"}, "1");
    row("garbage before and after a pause", {"ab", "c", "", "de"}, "3 2");
    row("a check that fails, a pause, and garbage", {damaged(a), "", "x"}, "!02 1");
    row("a frame with a pause in it", {a.left(5), "", a.mid(5)}, "02");
    row("a check that fails, with a pause in it", {damaged(a).left(5), "", damaged(a).mid(5)}, "5 7");
}

void tst_Monitor::cutsAsReceiversDo()
{
    PipeDevice wire;
    PtyPort pty(wire);
    wire.open(QIODevice::ReadWrite);
    VOXBusUrl url;
    QString problem;
    QVERIFY(VOXBusUrl::read("serial://" + pty.name, &url, &problem));
    QList<LineItem> items;
    const auto keep = [&](const LineItem &item) { items.append(item); };
    const auto tap = LineTap::open(url, keep, &problem);
    QVERIFY2(tap, qPrintable(problem));
    QVERIFY2(!tap->portErrors(), "a pseudo-terminal has no counters");
    // A pause that is shorter than that for which a receiver gives up, and one that is longer.
    for (const int pauseMs : {70, 250}) {
        items.clear();
        wire.write(line(stop).left(5));
        const auto goOn = [&] { wire.write(line(stop).mid(5) + line(query)); };
        QTimer::singleShot(pauseMs, Qt::PreciseTimer, &wire, goOn);
        QTRY_COMPARE(int(items.isEmpty() ? 0 : items.constLast().frame.cmd()), 0x0E);
        QCOMPARE(items.constFirst().isTaken(), pauseMs < 100);
    }
}

void tst_Monitor::noByteIsLost()
{
    QByteArray shown;
    int good = 0;
    FrameScanner scanner([&](const LineItem &item) {
        shown += item.bytes;
        good += item.isTaken() ? 1 : 0;
    });
    std::minstd_rand random(3);
    for (int run = 0; run < 300; ++run) {
        QByteArray sent;
        shown.clear();
        good = 0;
        for (int chunk = 0; chunk < 5; ++chunk) {
            QByteArray bytes(int(random() % 40), '\0');
            std::generate(bytes.begin(), bytes.end(), std::ref(random));
            bytes += line(stop);
            sent += bytes;
            scanner.feed(bytes, chunk * (run % 2) * 40 * Ms);
        }
        scanner.flush();
        QCOMPARE(shown, sent);
        QVERIFY(good >= 5);
    }

    // As much as a datagram holds, where a frame may begin anywhere.
    const QByteArray noise(65507, '\xe0');
    shown.clear();
    QElapsedTimer clock;
    clock.start();
    scanner.feed(noise, 0);
    scanner.flush();
    QVERIFY(shown == noise);
    QVERIFY2(clock.elapsed() < 30000, "a monitor that is busy for so long misses the line");
}

void tst_Monitor::items()
{
    const VOXMessage move = frame("03 04 3200 FF", 0x000101, VOXMessage::AckFlag);
    // A label may hold what a terminal would obey, and more bytes than fields are shown as they are.
    const std::pair<VOXMessage, QString> texts[] = {
        {move, "010000 > 000101  CTRL_MOVETO  fun=MOVETO_PERCENT  position=50  tilt=255"},
        {groupFrame("05", 0x00a001), "group 00A001  CTRL_WINK"},
        {frameFrom(1, "65 1B5B324A00"), "POST_NODE_LABEL  data=1B 5B 32 4A 00"},
        {frameFrom(1, "65 1B5B324A000000000000000000000000"), "label=?[2J"},
        {frameFrom(1, "42 0102"), "GET_MOTOR_SETTINGS  data=01 02"}};
    for (const auto &[message, end] : texts)
        QCOMPARE(LineItem::of(line(message), 0).toString().right(end.size()), end);
    const QJsonObject json = LineItem::of(line(move), 1700000000123006789).toJson();
    QCOMPARE(list(json["time"].toString(), json["source"].toString(), json["sourceType"].toString()),
             list("2023-11-14T22:13:20.123006789Z", "010000", "NODETYPE_MASTER"));
}

// The label that a node has told, or that it has acknowledged; one that it refuses is not its own.
void tst_Monitor::labelsAndTimes()
{
    LineLabels labels;
    const QByteArray text = QByteArray("Hall\x1b").leftJustified(16, '\0').toHex();
    const auto row = [&](const VOXMessage &heard, const QString &ends) {
        const LineItem item = LineItem::of(line(heard), 0);
        labels.hear(item);
        QCOMPARE(item.toString(&labels, 20160000).section("  ", 1, 1), ends);
        QCOMPARE(item.toString(&labels, 20160000).section("  ", 3, 3), QString("after 20.2 ms"));
        const QJsonObject json = item.toJson(&labels, 20160000);
        QCOMPARE(undocumented("vox monitor", "a frame", json), QString());
        QCOMPARE(list(json["sourceLabel"].toString() + json["destinationLabel"].toString(), json["answerMs"]),
                 list(labels.of(ends.contains("101") ? 0x101 : 0x102), QJsonValue(20.16)));
    };
    row(frame("45", 0x101), "010000 > 000101");
    row(frameFrom(0x101, "65" + text), "000101 (Hall?) > 010000");
    row(frame("0E", 0x101), "010000 > 000101 (Hall?)");
    row(frame("0E", 0xffffff), "010000 > all");
    row(frame("55" + text, 0x102), "010000 > 000102");
    row(frameFrom(0x102, "6F 20"), "000102 > 010000");
    row(frameFrom(0x102, "7F"), "000102 > 010000");
    row(frame("55" + text, 0x102), "010000 > 000102");
    row(frameFrom(0x101, "7F"), "000101 (Hall?) > 010000");
    row(frameFrom(0x102, "7F"), "000102 (Hall?) > 010000");
}

void tst_Monitor::rowsOfATerminal()
{
    const auto row = [](const QString &text, const QString &rows) { QCOMPARE(wrapped(text, 20, 6), rows); };
    row("12:00  short enough.", "12:00  short enough.");
    row("12:00  one two  three four five", "12:00  one two\n      three four\n      five");
    row("12:00  AA BB CC DD EE FF", "12:00  AA BB CC DD\n      EE FF");
    row("12:00  a-word-that-is-too-long", "12:00  a-word-that-is-too-long");
}

// Which answers belong to which request, and what of them is different when it comes again.
void tst_Monitor::comparisons()
{
    VOXMessage toGroup = frame("65 41", 0x00a001);
    toGroup.setSrcAddr(0x000101);
    toGroup.prepare();
    const QMap<char, QByteArray> bytes = {{'r', line(stop)},
                                          {'g', line(toGroup)},
                                          {'q', line(frame("0E", 0x000101, VOXMessage::AckFlag))},
                                          {'o', line(frame("44", 0x000101, VOXMessage::AckFlag))},
                                          {'b', line(frame("40", 0xffffff))},
                                          {'G', line(groupFrame("45", 0x00a001))},
                                          {'a', line(frameFrom(0x000101, "7F"))},
                                          {'A', line(frameFrom(0x000102, "7F"))},
                                          {'s', line(frameFrom(0x000101, "0F 00 00 00 00"))},
                                          {'t', line(frameFrom(0x000101, "0F 01 00 00 00"))},
                                          {'p', line(frameFrom(0x000101, "64 00 00 00"))},
                                          {'1', line(frameFrom(0x000101, "60"))},
                                          {'2', line(frameFrom(0x000102, "60"))},
                                          {'x', QByteArray("?")}};
    // Milliseconds, and what a capture has; then what comes when each of its requests goes out again.
    const auto row = [&](const QByteArray &capture, const QByteArray &heard, const char *found) {
        std::vector<LineItem> items;
        for (const QByteArray &step : capture.split(' '))
            items.push_back(LineItem::of(bytes[step.back()], step.chopped(1).toInt() * Ms));
        QString said;
        AnswerComparison comparison([&](const AnswerComparison::Difference &difference) {
            const char *sign = difference.isMissing() ? "-" : difference.was.data().isEmpty() ? "+" : "~";
            said += QString(" %1%2").arg(sign).arg(difference.node % 16);
        });
        const std::vector<Exchange> exchanges = Exchange::of(items);
        const QByteArrayList parts = heard.split(' ');
        QCOMPARE(int(exchanges.size()), parts.size());
        for (int i = 0; i < parts.size(); ++i) {
            comparison.begin(exchanges[std::size_t(i)]);
            for (const char frame : parts.at(i) == "." ? QByteArray() : parts.at(i))
                comparison.hear(LineItem::of(bytes[frame], 0).frame);
            comparison.end();
        }
        QCOMPARE(list(capture, QString::number(comparison.same()) + said), list(capture, found));
    };
    row("0r 10a 100q 120s", "a s", "2");
    row("0r 10a 100q 120s", "s a", "0 -1 ~1");
    row("0r 5A 10a", "Aa", "1");
    row("0q 10s", "t", "0 ~1");
    row("0q 10s", "ss", "1 +1");
    row("0q 10s 300r 310a", "s sa", "2 +1");
    row("0q 300q 310s", "s s", "1 +1");
    row("0q 20x 300q 310s", "s s", "1");
    row("0q 2001s", "s", "0 +1");
    row("0o 10p 20s", "p", "1");
    row("0b 10x 201 212", "12", "2");
    row("0b 101 112", "21", "2");
    row("0b 101 112", "22", "1 +2 -1");
    row("0G 10g 20s", "gs", "1");
}

void tst_Monitor::captures()
{
    const auto row = [&](const char *name, const QByteArray &bytes, const QString &mistake,
                         const QVector<qint64> &times) {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(bytes);
        file.close();
        std::vector<LineItem> items;
        QString problem;
        QCOMPARE(list(name, readPcap(file.fileName(), &items, &problem)), list(name, mistake.isEmpty()));
        QVERIFY2(mistake.isEmpty() ? problem.isEmpty() : problem.startsWith(file.fileName() + mistake),
                 qPrintable(problem));
        QVector<qint64> read;
        for (const LineItem &item : items)
            read += item.bytes == "ABC" ? item.timeNs : -1;
        QCOMPARE(read, times);
    };
    const auto bytesOf = [](const char *text) { return QByteArray::fromHex(text); };
    const QByteArray start = bytesOf("4d3cb2a1 02000400 00000000 00000000 ffff0000");
    const QByteArray header = start + bytesOf("93000000");
    const QByteArray record = bytesOf("01000080 02000000 03000000 03000000 414243");
    row("whole", header + record, "", {2147483649000000002});
    row("of another machine, in microseconds",
        bytesOf("a1b2c3d4 00020004 00000000 00000000 0000ffff 00000093"
                "00000001 00000002 00000003 00000003 414243"),
        "", {1000002000});
    row("empty", QByteArray(), " is no capture that can be read: truncated", {});
    row("a text", "{\"bus\": \"udp://127.0.0.1:4801\"}", " is no capture that can be read: unknown", {});
    row("of an Ethernet", start + bytesOf("01000000"), " is a capture of Ethernet, not of link type 147", {});
    const char *cut = " cannot be read beyond 1 record: truncated";
    row("cut off in a record's head", header + record + record.left(9), cut, {2147483649000000002});
    row("cut off in a record", header + record + record.chopped(1), cut, {2147483649000000002});
    row("a record that cannot be", header + bytesOf("01000000 02000000 00000080 03000000 41"),
        " cannot be read beyond 0 records: invalid", {});
    // Times in microseconds of one interface, in nanoseconds of the other.
    const QByteArray next = bytesOf("0a0d0d0a 1c000000 4d3c2b1a 01000000 ffffffffffffffff 1c000000"
                                    "01000000 14000000 93000000 00000000 14000000");
    const QByteArray other =
        bytesOf("01000000 20000000 93000000 00000000 0900010009000000 00000000 20000000");
    const QByteArray packets =
        bytesOf("06000000 24000000 00000000 00000000 42420f00 03000000 03000000 41424300 24000000"
                "06000000 24000000 01000000 00000000 03943577 03000000 03000000 41424300 24000000");
    row("pcapng", next + other + packets, "", {1000002000, 2000000003});
    row("pcapng, cut off", next + other + packets.chopped(5), cut, {1000002000});
    row("pcapng, with an Ethernet", next + QByteArray(other).replace(8, 1, "\1") + packets,
        " cannot be read beyond 0 records: an interface has a type 1", {});
}

// What has been written before can be read.
void tst_Monitor::aDiskThatIsFull()
{
    const QTemporaryDir folder;
    for (const int size : {80, 200000}) {
        PcapWriter writer;
        std::vector<LineItem> items;
        QString problem;
        QVERIFY(writer.open(folder.filePath("full"), &problem));
        QVERIFY(writer.write(LineItem::of("ABC", 1)));
        QVERIFY(readPcap(folder.filePath("full"), &items, &problem));
        QCOMPARE(int(items.size()), 1);
        QVERIFY(!onAFullDisk([&] { return writer.write(LineItem::of(QByteArray(size, 'A'), 2)); }));
    }
}

QTEST_GUILESS_MAIN(tst_Monitor)
#include "tst_monitor.moc"
