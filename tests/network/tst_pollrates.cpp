#include "network/voxnetwork.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/files.h"
#include "transport/voxbus.h"

#include <QtTest>

static const VOXVirtualTime virtualTime;

/// How often nodes are read at 4800 bit/s, as the guide for integrators has it.
class tst_PollRates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tableOfTheGuide();
};

namespace {
constexpr int WindowMs = 600000;

struct Rate
{
    double seconds = 0;
    double percent = 0;
};

/// Between two readings of a motor's position, and how busy the line is.
Rate measure(int count, const VOXPollPlan &plan)
{
    VOXLine line;
    VOXSimulation simulation;
    simulation.attach(line.addBus(&line));
    // Later than when the line is free, 5 ms behind the request.
    simulation.addFault("delay 17 all");
    VOXBus *const host = line.addBus(&line);
    VOXNetwork network(host);
    network.setPlan(plan);
    for (VOX::Addr addr = 0x101; addr < 0x101 + unsigned(count); ++addr) {
        simulation.add("TB60LV", addr);
        network.add(addr);
    }
    // Until names and settings have been read, too.
    VOXVirtualTime::advance(count * 20000);
    int asked = 0;
    QObject::connect(&line, &VOXLine::sent, &line, [&](QIODevice *member, const QByteArray &bytes) {
        asked += member == host->device() && char(~bytes.front()) == KVR::GET_MOTOR_POSITION ? 1 : 0;
    });
    Rate rate;
    constexpr int Steps = 60;
    for (int i = 0; i < Steps; ++i) {
        VOXVirtualTime::advance(WindowMs / Steps);
        rate.percent += double(network.scheduler().loadPercent()) / Steps;
    }
    rate.seconds = WindowMs / 1000.0 * count / asked;
    return rate;
}

QByteArray text(double seconds)
{
    return QByteArray::number(seconds, 'f', seconds < 10 ? 1 : 0) + " s";
}
}

// With VOX_UPDATE in the environment it is written anew.
void tst_PollRates::tableOfTheGuide()
{
    QLoggingCategory::setFilterRules("vox.*=false");
    VOXPollPlan fastest;
    fastest.positionMs = VOXPollPlan::MinMs;
    QByteArray table;
    for (const int count : {10, 30, 60, 120, 250}) {
        const Rate usual = measure(count, VOXPollPlan());
        table += "| " + QByteArray::number(count) + " | " + text(usual.seconds) + " | "
            + QByteArray::number(qRound(usual.percent)) + " % | " + text(measure(count, fastest).seconds)
            + " |\n";
    }
    const QString guide = VOX_SOURCE_DIR "/docs/integrator.md";
    const QByteArray page = contents(guide);
    const int from = page.indexOf("| 10 | "), to = page.indexOf("\n\n", from) + 1;
    QVERIFY(from > 0);
    if (qEnvironmentVariableIsSet("VOX_UPDATE"))
        setContents(guide, page.left(from) + table + page.mid(to));
    QCOMPARE(contents(guide).mid(from, table.size()), table);
}

QTEST_GUILESS_MAIN(tst_PollRates)
#include "tst_pollrates.moc"
