#include "support/columns.h"
#include "support/site.h"

/// Faults, and the time of a line, as a foreign peer sees them.
class tst_Faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onTheWire_data();
    void onTheWire();
    void inTime_data();
    void inTime();
    void oneSeedOneRun();
};

namespace {
const VOXVirtualTime virtualTime(VOXVirtualTime::Local);
}

void tst_Faults::onTheWire_data()
{
    const auto row = columns<QByteArrayList>("expected");
    const QByteArray whole = Site::answer(1);
    QByteArray corrupt = whole;
    corrupt.back() = char(~corrupt.back());
    row("drop 000001", {});
    row("corrupt 000001", {corrupt});
    row("cut 5 000001", {whole.left(5)});
    row("twice 000001", {whole, whole});
    row("nack BUSY 000001", {line(frameFrom(1, "6F FF"))});
    row("from 00ABCD 000001", {line(frameFrom(0xABCD, "7A 55"))});
    row("drop 000002 command GET_NODE_LABEL", {whole});
    row("drop 000001 command SEND_DATA_TEST1", {});
    row("drop 000001 command POST_DATA_TEST1", {});
    row("drop all command GET_NODE_LABEL", {whole});
    row("drop 000001 probability 0", {whole});
    row("noise 3 000001", {QByteArray("???") + whole});
}

void tst_Faults::onTheWire()
{
    QFETCH(QByteArrayList, expected);
    const QString words = QTest::currentDataTag();
    Site site(Site::Udp);
    QVERIFY(site.simulation.add("NODE", 1));
    QVERIFY(site.simulation.add("NODE", 2));
    QVERIFY(site.simulation.addFault(words));
    QCOMPARE(site.simulation.faults().at(0).toString(), QString(words).remove(" all"));
    site.play("0:1 0:2");
    QCOMPARE(site.heard.takeLast(), Site::answer(2));
    for (QByteArray &datagram : site.heard) {
        if (words.startsWith("noise"))
            datagram.replace(0, 3, "???");
    }
    QCOMPARE(site.heard, expected);
}

void tst_Faults::inTime_data()
{
    const auto row = columns<QByteArray, QByteArray, QByteArray, int>("line", "steps", "heard", "happened");
    row("delay 30 000001; delay 50 000001", "", "0:1 0:1 0:2", "5<2 85<1 118<1", 2);
    row("delay 3 000001", "", "0:1", "8<1", 1);
    row("corrupt 000001", "", "0:1 0:2", "5<?12 38<2", 1);
    // 19 bytes, and the pause after each answer.
    row("twice 000001; noise 7 000001", "", "0:1", "5<?19 54<?19", 1);
    row("away 200 000001 count 2 every 300", "",
        "0:1 0:2 50:ffffff 199:1 200:1 290:1 301:1 499:1 500:1 900:1", "5<2 55<2 205<1 295<1 505<1 905<1", 2);
    row("away 100 000001", "", "99:1 100:1 190:1 201:1 350:1", "105<1 195<1 355<1", 7);
    row("jabber 50 000002 count 8", "", "0:1",
        "5<1 50<?15 100<?12 150<?21 204<?18 251<?27 318<?11 350<?24 410<?15", 8);
    // Twelve bytes each way, of 11 bits each, and the turn between.
    row("the time of all bytes", "4800:20-20", "0:1", "76<1", 0);
    row("both answer at once", "4800:20-20", "0:ffffff", "76<?12", 0);
    row("one answers into the request to the other", "4800:20-20", "0:1 0:2", "76<?12", 0);
    row("one begins before the other ends", "4800:0-25", "0:ffffff 200:2", "74<?13 278<2", 0);
    row("at any rate", "115200:0-0", "0:1", "4<1", 0);
    // Whatever becomes of one answer, the others come when they would have come.
    row("none", "4800:0-200", "0:1 300:2 600:2", "175<1 499<2 825<2", 0);
    row("drop 000001", "4800:0-200", "0:1 300:2 600:2", "499<2 825<2", 1);
    row("twice 000001", "4800:0-200", "0:1 300:2 600:2", "175<1 202<1 499<2 825<2", 1);
    row("delay 100 000001", "4800:0-200", "0:1 300:2 600:2", "275<1 499<2 825<2", 1);
    row("jabber 10 000002 count 8", "4800:0-0", "0:1", "45<?15 112<?27", 8);
}

// With the faults that are the name of the row, as far as they are some.
void tst_Faults::inTime()
{
    QFETCH(QByteArray, steps);
    QFETCH(QByteArray, line);
    Site site;
    QVERIFY(site.simulation.add("NODE", 1));
    QVERIFY(site.simulation.add("NODE", 2));
    QVERIFY(line.isEmpty() || site.simulation.setLine(QString(line)));
    for (const QString &words : QString(QTest::currentDataTag()).split("; "))
        site.simulation.addFault(words);
    QTEST(site.play(steps), "heard");
    QTEST(site.simulation.faults().value(0).happened, "happened");
    site.simulation.clearFaults();
    QVERIFY(site.simulation.setLine(0));
    QCOMPARE(site.play("0:1"), "5<1");
}

void tst_Faults::oneSeedOneRun()
{
    QByteArrayList runs;
    for (const quint32 seed : {7u, 7u, 8u}) {
        Site site;
        QVERIFY(site.simulation.add("NODE", 1));
        QVERIFY(site.simulation.addFault("drop 000001 probability 0.5"));
        site.simulation.setSeed(seed);
        QByteArray counts;
        for (int i = 0; i < 40; ++i)
            counts += QByteArray::number(site.ask(1));
        QVERIFY(counts.contains('0'));
        QVERIFY(counts.contains('1'));
        runs += counts;
    }
    QVERIFY(runs.at(0) == runs.at(1));
    QVERIFY(runs.at(0) != runs.at(2));
}

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
