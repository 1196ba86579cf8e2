#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/networksite.h"
#include "transport/voxbusurl.h"

/// Nodes that are silent, and lines that are.
class tst_Presence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false\nvox.device=false"); }
    void presence();
    void probes();
    void nonsense();
    void line();
};

void tst_Presence::presence()
{
    NetworkSite site(4);
    VOXVirtualTime::advance(60000);
    VOXNetworkMotor *const motor = site.motor();
    QVector<int> seen;
    connect(motor, &VOXNetworkNode::presenceChanged, this, [&] { seen += motor->presence(); });
    QVector<qint64> asked;
    connect(&site.host->dispatcher(), &BusDispatcher::written, this, [&](const QByteArray &bytes) {
        if (VOXMessage(BusMessage(bytes)).destAddr(false) == addrOf(0))
            asked += VOXVirtualTime::now();
    });
    site.simulation.addFault("drop 000100");
    QVERIFY(runUntil([&] { return motor->presence() == VOXNetworkNode::Down; }, 150000));
    const auto seconds = [&](int index) { return (asked.value(index) - asked.value(0)) / 1000; };
    QCOMPARE(list(asked.size(), seconds(1), seconds(2), seconds(3)), list(4, 2, 5, 10));
    asked.clear();
    // After 5, 10, 20, 40, 80 and 160 s, and then each 300 s, or a tenth more or less.
    VOXVirtualTime::advance(3000000);
    QVERIFY2(asked.size() >= 14 && asked.size() <= 17, QByteArray::number(asked.size()));
    QCOMPARE(site.network->line(), VOXNetwork::Open);
    // What a person asks for still goes out, but once.
    asked.clear();
    motor->wink();
    motor->setLabel("Dead");
    VOXVirtualTime::advance(2000);
    QCOMPARE(asked.size(), 2);
    site.simulation.clearFaults();
    QVERIFY(runUntil([&] { return motor->presence() == VOXNetworkNode::Up; }, 340000));
    QCOMPARE(seen, QVector<int>({VOXNetworkNode::Shaky, VOXNetworkNode::Down, VOXNetworkNode::Up}));
    QCOMPARE(motor->silentForMs(), 0);
    // It is asked twice again, and what may have changed has been read.
    VOXVirtualTime::advance(500);
    QVERIFY(asked.size() >= 4);
    asked.clear();
    site.simulation.addFault("drop 000100 count 1");
    motor->setLabel("Back");
    VOXVirtualTime::advance(400);
    QVERIFY(asked.size() >= 2);
}

void tst_Presence::probes()
{
    constexpr int Dead = 30;
    NetworkSite site(Dead + 2);
    for (int i = 0; i < Dead; ++i)
        site.simulation.remove(addrOf(i));
    const auto nodes = site.network->nodes();
    const auto downCount = [&] {
        return std::count_if(nodes.begin(), nodes.end(),
                             [](VOXNetworkNode *node) { return node->presence() == VOXNetworkNode::Down; });
    };
    QVERIFY(runUntil([&] { return downCount() == Dead; }, 300000));
    VOXVirtualTime::advance(10000);
    qint64 last = VOXVirtualTime::now() - 1000;
    int probes = 0;
    qint64 shortest = 1000;
    connect(&site.host->dispatcher(), &BusDispatcher::written, this, [&](const QByteArray &bytes) {
        if (VOXMessage(BusMessage(bytes)).destAddr(false) >= addrOf(Dead))
            return;
        ++probes;
        shortest = qMin(shortest, VOXVirtualTime::now() - std::exchange(last, VOXVirtualTime::now()));
    });
    VOXVirtualTime::advance(100000);
    // Those that have been silent for a minute would be asked each 5 to 40 s.
    QVERIFY2(shortest >= 1000 && probes > 60,
             QByteArray::number(shortest) + ' ' + QByteArray::number(probes));
}

// Silent it is not, and of what it says nothing is kept.
void tst_Presence::nonsense()
{
    NetworkSite site(2);
    VOXVirtualTime::advance(60000);
    site.speaks("0F 02");
    QVERIFY(runUntil([&] { return site.motor()->presence() == VOXNetworkNode::Shaky; }, 150000));
    QSignalSpy changes(site.motor(), &VOXNetworkNode::presenceChanged);
    site.sent = 0;
    VOXVirtualTime::advance(600000);
    QCOMPARE(
        list(site.motor()->presence(), changes.size(), site.motor()->motorState() == KVRMotor::STATE_STOPPED),
        list(VOXNetworkNode::Shaky, 0, true));
    QVERIFY2(site.sent < 60 + 30, QByteArray::number(site.sent));
}

void tst_Presence::line()
{
    NetworkSite site(4);
    QVector<int> seen;
    connect(site.network.get(), &VOXNetwork::lineChanged, this, [&](VOXNetwork::Line line) { seen += line; });
    site.line.setCut(true);
    // What waits then waits for nothing, but what a person waits for is tried.
    QVector<BusPendingCall> calls;
    for (int lane = VOXScheduler::User; lane < VOXScheduler::LaneCount; ++lane) {
        for (int i = 0; i < 4; ++i)
            calls += KVRMotorProxy(addrOf(i), site.network->scheduler().lane(VOXScheduler::Lane(lane)))
                         .ctrlMoveOf(KVRMotor::MOVEOF_PULSES_UP, 50);
    }
    QVERIFY(runUntil([&] { return site.network->line() == VOXNetwork::Silent; }));
    VOXVirtualTime::advance(300);
    QVERIFY(site.network->lineProblem().contains("cable"));
    int sent = 0;
    int unsent = 0;
    for (const BusPendingCall &call : qAsConst(calls)) {
        sent += call.error() == BusPendingCall::Timeout;
        unsent += call.error() == BusPendingCall::NotOpen;
    }
    QVERIFY2(unsent == 3 * 4, QByteArray::number(unsent) + ' ' + QByteArray::number(sent));
    VOXVirtualTime::advance(5000);
    site.sent = 0;
    VOXVirtualTime::advance(20000);
    QCOMPARE(site.sent, 10);
    site.line.setCut(false);
    QVERIFY(runUntil([&] { return site.network->line() == VOXNetwork::Open; }, 5000));
    // What happens meanwhile is read first of all.
    site.host->close();
    site.device()->setPositionPulses(DownLimit);
    VOXVirtualTime::settle();
    site.host->open();
    QVERIFY(runUntil([&] { return site.motor()->percent() == 100; }, 2000));
    QCOMPARE(seen,
             QVector<int>({VOXNetwork::Silent, VOXNetwork::Open, VOXNetwork::Closed, VOXNetwork::Open}));
    QVERIFY(site.noticed.isEmpty());
    QVERIFY(VOXNetwork(site.host).lineProblem().contains("Another network"));
    delete site.host;
    VOXVirtualTime::settle();
    QCOMPARE(site.network->line(), VOXNetwork::Closed);
    VOXBusUrl url;
    QString problem;
    QVERIFY(VOXBusUrl::read("serial:///nowhere", &url, &problem));
    QVERIFY(VOXNetwork(url).lineProblem().contains("every 2 s"));
}

QTEST_GUILESS_MAIN(tst_Presence)
#include "tst_presence.moc"
