#include "panel/demobuilding.h"
#include "panel/recordedline.h"
#include "panel/replay.h"
#include "simulation/voxvirtualtime.h"
#include "support/frames.h"
#include "vox/line/pcapfile.h"

#include <QtTest>

static const VOXVirtualTime virtualTime;

namespace {
constexpr qint64 NsPerMs = 1000000;

/// A history, and what a host and a node say at these milliseconds.
struct Recording
{
    void say(const VOXMessage &frame, qint64 ms) { take(line(frame), ms); }
    void take(const QByteArray &bytes, qint64 ms)
    {
        recorded.take(LineItem::of(bytes, ms * NsPerMs), ms, history);
        now = ms;
    }
    LineHistory::Second sum() const { return history.sum(now); }

    LineHistory history;
    RecordedLine recorded;
    qint64 now = 0;
};
}

class tst_PanelLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.*=false"); }
    void recordedExchanges_data();
    void recordedExchanges();
    void recordedDamage();
    void busy();
    void aReplayFillsTheStrip();
    void lookingCountsWhatIsHeard();
};

void tst_PanelLine::recordedExchanges_data()
{
    QTest::addColumn<QVector<VOXMessage>>("frames");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("takenMs");
    QTest::addColumn<int>("unanswered");
    // A frame each 100 ms, of which 11 bytes take 25 ms and 13 take 29: an exchange counts from the first
    // byte of its request to the last one of its answer.
    const VOXMessage position = frame("0C", 0x101, VOXMessage::AckFlag);
    const VOXMessage answer = frameFrom(0x101, "0D E803");
    const VOXMessage move = frame("03 00 0000 FF", 0x101);
    const QVector<VOXMessage> nothing;
    using Frames = QVector<VOXMessage>;
    QTest::newRow("a poll") << Frames{position, answer} << int{LineHistory::Polls} << 125 << 0;
    QTest::newRow("a name is read") << Frames{frame("45", 0x101, VOXMessage::AckFlag),
                                              frameFrom(0x101, "65 41")}
                                    << int{LineHistory::ReadBack} << 125 << 0;
    QTest::newRow("a group is moved")
        << Frames{groupFrame("03 00 0000 FF", 0xa001), position} << int{LineHistory::User} << 34 << 0;
    QTest::newRow("the answer is another's") << Frames{position, frameFrom(0x102, "0D E803"), position}
                                             << int{LineHistory::Polls} << 200 + 29 << 1;
    QTest::newRow("nobody answers") << Frames{position, position} << int{LineHistory::Polls} << 100 << 1;
    QTest::newRow("nobody answers for long")
        << Frames{position, {}, {}, {}, {}, position} << int{LineHistory::Polls} << 300 << 1;
    QTest::newRow("no answer is wanted") << Frames{move, position} << int{LineHistory::User} << 109 << 0;
    QTest::newRow("an answer too many")
        << Frames{position, answer, answer} << int{LineHistory::Polls} << 154 << 0;
}

void tst_PanelLine::recordedExchanges()
{
    QFETCH(QVector<VOXMessage>, frames);
    QFETCH(int, kind);
    Recording recording;
    qint64 ms = 90000;
    for (const VOXMessage &each : frames) {
        if (each.isValid())
            recording.say(each, ms);
        ms += 100;
    }
    const int taken = recording.sum().takenMs[static_cast<std::size_t>(kind)];
    QFETCH(int, takenMs);
    QVERIFY2(std::abs(taken - takenMs) <= 2, QByteArray::number(taken));
    QTEST(recording.sum().unanswered, "unanswered");
}

void tst_PanelLine::recordedDamage()
{
    Recording recording;
    const QByteArray good = line(frame("0C", 0x101));
    recording.take(good, 90000);
    recording.take(good.left(7), 90100);
    recording.take(good.left(10) + '\x55', 90200);
    QCOMPARE(recording.sum().frames, 1);
    QCOMPARE(recording.sum().failed, 2);
}

void tst_PanelLine::busy()
{
    LineHistory history;
    // The present second does not count, and neither does the eleventh before it.
    history.take(LineHistory::Polls, 90000, 91000);
    history.take(LineHistory::User, 92000, 93500);
    history.take(LineHistory::Others, 101000, 101400);
    QCOMPARE(history.busyPercent(101500), 15);
    QCOMPARE(history.busyPercent(100500), 25);
}

// The same bars as the line that was recorded had, at whatever speed; and once more after going back.
void tst_PanelLine::aReplayFillsTheStrip()
{
    QTemporaryDir dir;
    const QString file = dir.filePath("noon.pcap");
    LineHistory::Second live;
    {
        DemoBuilding building(12, 4800);
        PcapWriter capture;
        QString problem;
        QVERIFY2(capture.open(file, &problem), qPrintable(problem));
        connect(&building.line(), &VOXLine::sent, this, [&](QIODevice *, const QByteArray &bytes) {
            const qint64 ms = VOXVirtualTime::now() + LineHistory::timeOf(static_cast<int>(bytes.size()), 0);
            QVERIFY(capture.write(LineItem::of(bytes, ms * NsPerMs)));
        });
        PanelLine line(building.site().lines.first(), &building.bus(), PanelLine::Sends, nullptr);
        VOXVirtualTime::advance(30000);
        line.network().moveGroupTo(VOXNetwork::Everyone, 80);
        line.network().motor(0x101)->moveTo(10);
        VOXVirtualTime::advance(15000);
        live = line.history().sum(line.historyMs());
    }
    QString problem;
    Replay replay;
    QVERIFY2(replay.load(file, &problem), qPrintable(problem));
    PanelLine line(replay.site(), &replay.bus(), PanelLine::Replays, nullptr);
    QSignalSpy ticks(&line, &PanelLine::ticked);
    replay.play(line);
    replay.setSpeed(100);
    VOXVirtualTime::advance(900);
    // Its strip goes on as fast as its time.
    QVERIFY2(ticks.count() >= 10, QByteArray::number(ticks.count()));
    for (int round = 0; round < 2; ++round) {
        const LineHistory::Second played = line.history().sum(line.historyMs());
        QCOMPARE(played.frames, live.frames);
        QCOMPARE(played.unanswered, live.unanswered);
        const auto all = [](const LineHistory::Second &second) {
            return std::accumulate(second.takenMs.begin(), second.takenMs.end(), 0);
        };
        QVERIFY2(std::abs(all(played) - all(live)) < all(live) / 10,
                 qPrintable(QString("%1, live %2").arg(all(played)).arg(all(live))));
        QVERIFY(played.takenMs[LineHistory::User] > 0 && played.takenMs[LineHistory::Polls] > 0);
        QVERIFY(line.loadPercent() > 0);
        QCOMPARE(line.frames()->total(), live.frames);
        replay.setPosition(0);
        VOXVirtualTime::advance(100);
        QVERIFY(line.history().sum(line.historyMs()).frames < live.frames);
        replay.setPosition(1e9);
        VOXVirtualTime::advance(2000);
    }
}

void tst_PanelLine::lookingCountsWhatIsHeard()
{
    DemoBuilding building(6);
    VOXNetwork other(&building.bus());
    PanelLine line(building.site().lines.first(), building.line().addBus(&building), PanelLine::OnlyListens,
                   nullptr);
    for (VOX::Addr addr = 0x101; addr <= 0x106; ++addr)
        other.add(addr);
    VOXVirtualTime::advance(15000);
    QVERIFY(line.loadPercent() > 0 && line.frameRate() > 0);
    QCOMPARE(line.history().sum(line.historyMs()).takenMs[LineHistory::User], 0);
}

QTEST_GUILESS_MAIN(tst_PanelLine)
#include "tst_panelline.moc"
