#include "network/voxscheduler.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/documented.h"
#include "transport/voxbus.h"
#include "vox/host/counters.h"
#include "vox/host/pinger.h"
#include "vox/warnings.h"

#include <QtTest>

/// What nodes lose, delay, damage and count.
class tst_Ping : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    static void initTestCase() { QLoggingCategory::setFilterRules("vox.bus.debug=false"); }
    void pings_data();
    void pings();
    void anEndBeforeTheEnd();
    void counters();
};

namespace {
/// Three nodes at 4800 bit/s, the last of which refuses echoes, and one that is not there.
struct Site
{
    explicit Site(int rate = 4800)
        : line(rate)
    {
        const QJsonObject office = {{"model", "TB20"}, {"address", "000001-000002"}};
        const QJsonObject older = {{"model", "HRMV2"}, {"address", "000003"}};
        simulation.load({{"nodes", QJsonArray{office, older}}});
        simulation.attach(line.addBus(&line));
    }

    VOXLine line;
    VOXSimulation simulation;
    VOXBus *host = line.addBus(&line);
};

QString text(const Pinger &pinger)
{
    QStringList nodes;
    for (const auto &[addr, figures] : pinger.figures()) {
        QStringList node;
        for (const int number :
             {figures.sent, figures.answered, figures.late, figures.damaged, figures.lost()})
            node += QString::number(number);
        for (const double share : {0.5, 1.0})
            node += QString::number(qRound(figures.answerMs(share)));
        nodes += node.join(' ');
    }
    return nodes.join(", ");
}
}

void tst_Ping::pings_data()
{
    const auto row = columns<int, QString, QString>("rate", "fault", "figures");
    // Sent, answered, late, damaged, lost, median, worst: a request takes 49 ms.
    const QString others = ", 4 4 0 0 0 103 103, 4 4 0 0 0 127 127, 4 0 0 0 4 -1 -1";
    row("good", 4800, "", "4 4 0 0 0 103 103" + others);
    row("a lost answer", 4800, "drop 000001 count 1", "4 3 0 0 1 103 103" + others);
    row("refusals", 4800, "nack BUSY 000001", "4 4 0 0 0 82 82" + others);
    row("an answer of another node", 4800, "from 000002 000001 count 1", "4 3 0 0 1 103 103" + others);
    row("a damaged answer", 4800, "corrupt 000001 count 1", "4 3 0 1 0 103 103" + others);
    row("a part of an answer", 4800, "cut 9 000001 count 1", "4 3 0 0 1 103 103" + others);
    row("answers with noise", 4800, "noise 20 000001", "4 1 0 3 0 248 248" + others);
    // On a line whose bytes take no time, where nothing collides.
    const QString others0 = ", 4 4 0 0 0 5 5, 4 4 0 0 0 50 50, 4 0 0 0 4 -1 -1";
    row("a late answer", 0, "delay 255 000001 count 1", "4 3 1 0 0 5 260" + others0);
    row("late each time", 0, "delay 595 000001", "4 0 4 0 0 600 600" + others0);
    row("too late", 0, "delay 1895 000001", "4 0 3 0 1 1900 1900" + others0);
    row("a late refusal", 0, "delay 260 000003 count 1",
        "4 4 0 0 0 5 5, 4 4 0 0 0 5 5, 4 3 1 0 0 50 310, 4 0 0 0 4 -1 -1");
}

void tst_Ping::pings()
{
    QFETCH(int, rate);
    QFETCH(QString, fault);
    QFETCH(QString, figures);
    Site site(rate);
    QVERIFY(fault.isEmpty() || site.simulation.addFault(fault));
    catchWarnings("ping");
    Pinger pinger(*site.host, {1, 2, 3, 9}, 4, 1);
    const QSignalSpy finished(&pinger, &Pinger::finished);
    pinger.start();
    VOXVirtualTime::runUntil([&] { return !finished.isEmpty(); }, 60000);
    QCOMPARE(list(text(pinger), finished.size(), pinger.problem()), list(figures, 1, ""));
    QCOMPARE(failedChecks(), 0);
    QCOMPARE(undocumented("vox ping", "a node", pinger.sum().toJson()), QString());
}

void tst_Ping::anEndBeforeTheEnd()
{
    Site site;
    {
        Pinger pinger(*site.host, {1, 9}, 3, 1);
        QSignalSpy finished(&pinger, &Pinger::finished);
        pinger.start();
        VOXVirtualTime::advance(150);
        pinger.stop();
        // The one to the node that is not there was still in its time.
        QCOMPARE(list(text(pinger), finished.size()), list("1 1 0 0 0 103 103, 0 0 0 0 0 -1 -1", 1));
        VOXVirtualTime::advance(5000);
        QCOMPARE(finished.size(), 1);
    }
    Pinger pinger(*site.host, {1}, 3, 1);
    QSignalSpy finished(&pinger, &Pinger::finished);
    pinger.start();
    VOXVirtualTime::advance(150);
    site.host->close();
    VOXVirtualTime::settle();
    QCOMPARE(list(finished.size(), pinger.problem().isEmpty()), list(1, false));
}

void tst_Ping::counters()
{
    Site site;
    const QJsonObject motor = {{"model", "TB20"},
                               {"address", "000004"},
                               {"diagnostics", QJsonObject{{"obstacleCount", 2}, {"encoderErrors", 7}}}};
    QVERIFY(site.simulation.load({{"nodes", QJsonArray{motor}}}));
    VOXScheduler scheduler(site.host);
    QString problem;
    VOXBus *lane = scheduler.lane(VOXScheduler::User);
    const auto told = Counters::read(4, lane, &problem);
    QVERIFY2(told, qPrintable(problem));
    QCOMPARE(list(told->size(), told->value("obstacleCount"), told->value("encoderErrCount")),
             list(16, 2, 7));
    QVERIFY(!Counters::read(9, lane, &problem));
    QCOMPARE(problem, QString("No reply within the time-out"));

    QStringList names = Counters::names();
    names.sort();
    QCOMPARE(names, documented("vox counters", "`counters` that the node has"));

    CountersTable table;
    using Values = Counters::Values;
    const Values one = {{"crcError", 9}, {"collisions", 0}, {"resetCount", 0}};
    table.addRow(1, "Hall", one, Values{{"crcError", 12}, {"collisions", 0}, {"resetCount", 0}});
    table.addRow(2, "", one, one);
    table.addRow(3, "Bar", Values{{"crcError", 65535}}, Values{{"crcError", 1}});
    table.addRow(4, "", {}, {});
    QStringList lines;
    for (const CountersTable::Line &each : table.toLines())
        lines += (each.isMarked ? "!" : "") + each.text;
    QCOMPARE(lines.mid(0, 5).join('\n'),
             QString("node    label        crcError\n"
                     "!000001  Hall            12 +3\n"
                     "000002                      9\n"
                     "!000003  Bar          1 -65534\n"
                     "!000004  (no answer)         -"));
    QVERIFY(lines.last().startsWith("0 everywhere: txFailures, collisions, "));
}

static const VOXVirtualTime virtualTime;
QTEST_GUILESS_MAIN(tst_Ping)
#include "tst_ping.moc"
