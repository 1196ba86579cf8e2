#include "network/voxnetwork.h"

#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/networksite.h"
#include "support/timers.h"

#include <malloc.h>

class tst_VOXNetwork : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false\nvox.device=false"); }
    void firstPicture_data();
    void firstPicture();
    void listening();
    void settings();
    void noMotor();
    void plan();
    void destruction_data();
    void destruction();
    void size();
};

namespace {
/// What a node answers that has nothing to tell.
VOXMessage answer(unsigned char cmd, VOX::Addr node)
{
    const VOXCmdInfo post = KVR::findCmd(KVR::findCmd(cmd).reply());
    VOXMessage message(post.size());
    message.setCmd(post.cmd());
    message.setSrcAddr(node);
    message.setDestAddr(VOX::HostAddr);
    message.prepare();
    return message;
}
}

void tst_VOXNetwork::firstPicture_data()
{
    const auto row = columns<QByteArray, int, int>("by", "turnMs", "atMost");
    row("known nodes", "known", 22, 12000);
    row("known nodes that are slow", "known", 40, 14000);
    row("from cold", "broadcast", 22, 20000);
    row("slow ones from cold", "broadcast", 40, 20000);
    row("from cold, address by address", "range", 22, 38000);
}

void tst_VOXNetwork::firstPicture()
{
    QFETCH(QByteArray, by);
    QFETCH(int, turnMs);
    NetworkSite site(60, false);
    // Later than when the line is free, 5 ms behind the request.
    site.simulation.addFault(QStringLiteral("delay %1 all").arg(turnMs - 5));
    const qint64 start = VOXVirtualTime::now();
    const auto all = [&](auto holds) {
        const auto nodes = site.network->nodes();
        return nodes.size() == 60 && std::all_of(nodes.begin(), nodes.end(), holds);
    };
    QJsonArray nodes;
    for (int i = 0; i < 60; ++i)
        nodes += QJsonObject{{"address", VOX::toString(addrOf(i))}, {"label", "as it was"}};
    if (by == "known")
        QVERIFY(site.network->setKnownNodes(nodes));
    else if (by == "broadcast")
        site.network->discover();
    else
        QVERIFY(site.network->discoverRange(addrOf(0), addrOf(59)));
    QVERIFY(runUntil([&] {
        return all([](VOXNetworkNode *node) {
            const auto *const motor = qobject_cast<VOXNetworkMotor *>(node);
            return motor->percent() == 0 && motor->motorState() == KVRMotor::STATE_STOPPED;
        });
    }));
    QFETCH(int, atMost);
    QVERIFY2(VOXVirtualTime::now() - start <= atMost, QByteArray::number(VOXVirtualTime::now() - start));
    QVERIFY(runUntil(
        [&] { return all([](VOXNetworkNode *node) { return node->label().startsWith("motor"); }); }));
    // Later there is no more to do than the plan: in 2 minutes 4 positions and 1 status of each.
    VOXVirtualTime::advance(600000);
    site.sent = 0;
    VOXVirtualTime::advance(120000);
    QVERIFY2(qAbs(site.sent - 60 * 5) < 25, QByteArray::number(site.sent));
    QCOMPARE(site.network->knownNodes().at(7).toObject().value("label"), QJsonValue("motor 7"));
}

void tst_VOXNetwork::listening()
{
    NetworkSite site(3, false);
    site.network->setSending(false);
    KVRMotorProxy proxy(addrOf(1), site.otherHost);
    const BusPendingCall calls[] = {proxy.getMotorPosition(), proxy.getNodeLabel()};
    QVERIFY(runUntil([&] { return calls[1].isFinished(); }));
    VOXVirtualTime::settle();
    QCOMPARE(list(site.network->nodes().size(), site.motor(1)->label(), site.sent), list(1, "motor 1", 0));
    QVERIFY(site.motor(1)->setLabel("x").isError());
    QSignalSpy discovered(site.network.get(), &VOXNetwork::discovered);
    QString problem;
    site.network->discover();
    QVERIFY(!site.network->discoverRange(0x101, 0x102, &problem));
    QVERIFY(problem.contains("only listens"));
    VOXVirtualTime::advance(2000);
    QCOMPARE(list(site.sent, discovered.size()), list(0, 2));
    QCOMPARE(site.noticed, QStringList());
    // A node that speaks is asked, and stays.
    site.network->setSending(true);
    QVERIFY(!site.network->discoverRange(0x102, 0x101, &problem));
    QCOMPARE(problem,
             QString("000102 to 000101 is no range of addresses: at most 65536, the first one first"));
    VOXVirtualTime::advance(20000);
    site.nodesBus->write(answer(KVR::GET_MOTOR_STATUS, addrOf(2)).data());
    QVERIFY(runUntil([&] { return site.motor(2) != nullptr; }, 2000));
    site.command(-1);
    VOXVirtualTime::advance(2000);
    QVERIFY(site.noticed.value(0).startsWith("A second host"));
    site.line.setEcho(true);
    VOXVirtualTime::advance(120000);
    QVERIFY(site.noticed.size() == 2);
    QVERIFY(site.noticed.at(1).contains("echo"));
    site.device(1)->setSerialNumber("ANOTHER");
    site.motor(1)->refresh();
    VOXVirtualTime::advance(5000);
    QVERIFY(site.noticed.value(2).startsWith("Two nodes"));
}

void tst_VOXNetwork::settings()
{
    NetworkSite site(2);
    VOXNetworkMotor &motor = *site.motor();
    const BusPendingCall unsent[] = {
        motor.setLabel("a label that is too long"),
        motor.setLabel(QString::fromUtf8("\u20ac")),
        motor.lock(256),
        motor.setSpeeds(0, 20, 20),
        motor.setIntermediate(17, 50),
        motor.setIntermediate(1, 101),
        motor.setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LIMIT_SHIFT_UP, 9),
        motor.setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LimitFunction(3)),
    };
    for (const BusPendingCall &call : unsent)
        QVERIFY(call.isError());
    QVERIFY(motor.lastRefusal().contains("function 3"));
    QCOMPARE(site.network->scheduler().queuedCalls(VOXScheduler::User), 0);
    motor.setLabel("Kitchen");
    motor.setSpeeds(20, 21, 12);
    motor.setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LIMIT_PULSES, 10000);
    motor.setIntermediate(2, 40);
    motor.lock(7);
    motor.unlock(6);
    VOXVirtualTime::advance(4000);
    QCOMPARE(list(motor.label(), motor.speeds()->down, *motor.intermediatePercent(2), *motor.downLimit(),
                  *motor.isLocked()),
             list("Kitchen", 21, 40, 10000, true));
    QVERIFY2(motor.lastRefusal().contains("higher priority"), qPrintable(motor.lastRefusal()));
    motor.unlock(7);
    Heard heard(motor.moveToIntermediate(2));
    QVERIFY(heard.wait());
    QCOMPARE(list(heard.end, *motor.percent(), *motor.isLocked()), list(VOXMotion::Arrived, 40, false));
}

// A node that tells no type, and refuses what motors are asked: nothing waits for it to stop.
void tst_VOXNetwork::noMotor()
{
    NetworkSite site(2);
    QVERIFY(site.simulation.add("NODE", 0x401));
    site.network->add(0x401);
    QVERIFY(runUntil([&] { return site.network->node(0x401) && !site.network->motor(0x401); }));
    VOXVirtualTime::advance(5000);
    QCOMPARE(site.network->node(0x401)->presence(), VOXNetworkNode::Up);
    // One that has not heard the first broadcast hears the second one.
    QVERIFY(site.simulation.add("NODE", 0x402));
    QSignalSpy discovered(site.network.get(), &VOXNetwork::discovered);
    site.simulation.addFault("drop 000402 count 1");
    site.network->discover();
    QVERIFY(runUntil([&] { return !discovered.isEmpty(); }));
    QCOMPARE(discovered.at(0).at(0).toInt(), 1);
    Heard stop(site.network->stopAll());
    QVERIFY(stop.wait());
    QCOMPARE(stop.end, VOXMotion::Arrived);
}

void tst_VOXNetwork::plan()
{
    NetworkSite site(60);
    VOXPollPlan plan;
    QString problem;
    plan.positionMs = 999;
    QVERIFY(!site.network->setPlan(plan, &problem));
    QVERIFY(problem.contains("positionMs is 999"));
    QVERIFY(!site.network->setKnownNodes({QJsonObject{{"address", "000000"}}}, &problem));
    QVERIFY(problem.startsWith("[0]: 000000"));
    QCOMPARE(site.network->planStretch(), QString());
    plan.positionMs = 5000;
    QVERIFY(site.network->setPlan(plan));
    QVERIFY(site.network->planStretch().startsWith("Positions are read each 10 s instead of 5 s"));
    VOXVirtualTime::advance(300000);
    // What was set elsewhere is read in its time.
    plan.settingsMs = 600000;
    QVERIFY(site.network->setPlan(plan));
    site.device(3)->setNodeLabel("Pantry");
    // All times are stretched alike.
    VOXVirtualTime::advance(1000000);
    QCOMPARE(site.motor(3)->label(), QString("motor 3"));
    VOXVirtualTime::advance(500000);
    QCOMPARE(site.motor(3)->label(), QString("Pantry"));
    // The line is full, and yet a motor that moves is read more often.
    site.motor(7)->moveDown();
    VOXVirtualTime::advance(5000);
    QVERIFY(site.network->scheduler().loadPercent() <= 65);
    QVERIFY(qAbs(*site.motor(7)->percent() - site.device(7)->position()) < 15);
}

using End = std::function<void()>;
using Watch = void (*)(NetworkSite &, const End &);
Q_DECLARE_METATYPE(Watch)

void tst_VOXNetwork::destruction_data()
{
    using Net = VOXNetwork;
    const auto row = columns<Watch>("watch");
    row("added",
        [](NetworkSite &site, const End &end) { connect(site.network.get(), &Net::nodeAdded, end); });
    row("changed",
        [](NetworkSite &site, const End &end) { connect(site.network.get(), &Net::nodeChanged, end); });
    row("value",
        [](NetworkSite &site, const End &end) { connect(site.motor(), &VOXNetworkNode::changed, end); });
    row("presence", [](NetworkSite &site, const End &end) {
        connect(site.motor(1), &VOXNetworkNode::presenceChanged, end);
    });
    row("removed",
        [](NetworkSite &site, const End &end) { connect(site.network.get(), &Net::nodeRemoved, end); });
    row("line",
        [](NetworkSite &site, const End &end) { connect(site.network.get(), &Net::lineChanged, end); });
    row("discovered",
        [](NetworkSite &site, const End &end) { connect(site.network.get(), &Net::discovered, end); });
    row("noticed",
        [](NetworkSite &site, const End &end) { connect(site.network.get(), &Net::noticed, end); });
    row("accepted", [](NetworkSite &site, const End &end) {
        connect(site.motor()->moveDown(), &VOXMotion::accepted, end);
    });
    row("finished", [](NetworkSite &site, const End &end) {
        connect(site.motor()->moveTo(1), &VOXMotion::finished, end);
    });
}

void tst_VOXNetwork::destruction()
{
    QFETCH(Watch, watch);
    NetworkSite site(3);
    watch(site, [&] { site.network.reset(); });
    site.network->add(addrOf(9));
    site.network->discover();
    site.simulation.remove(addrOf(1));
    QTimer::singleShot(30000, &site.line, [&] {
        if (site.network)
            site.network->remove(addrOf(2));
        site.line.setEcho(true);
    });
    QTimer::singleShot(60000, &site.line, [&] { site.host->close(); });
    QVERIFY(runUntil([&] { return !site.network; }, 70000));
    VOXVirtualTime::advance(10000);
}

void tst_VOXNetwork::size()
{
    constexpr int Count = 10000;
    VOXLine line(0);
    VOXBus *const host = line.addBus(&line);
    VOXBus *const nodes = line.addBus(&line);
    connect(&nodes->dispatcher(), &BusDispatcher::unhandled, this, [&](const BusMessage &message) {
        const VOXMessage request(message);
        nodes->dispatcher().reply(answer(request.cmd(), request.destAddr(false)));
    });
    const auto before = mallinfo2().uordblks;
    VOXNetwork network(host);
    VOXVirtualTime::advance(1000);
    for (QObject *const object : network.findChildren<QObject *>())
        QVERIFY2(timersOf(*object).isEmpty(), object->metaObject()->className());
    for (int i = 0; i < Count; ++i)
        QVERIFY(network.add(0x020000u + unsigned(i)));
    QVERIFY(runUntil([&] { return network.motor(0x020000 + Count - 1)->percent().has_value(); }, 3600000));
    const auto each = (mallinfo2().uordblks - before) / Count;
    QVERIFY2(each <= 4096, QByteArray::number(qulonglong(each)));
}

QTEST_GUILESS_MAIN(tst_VOXNetwork)
#include "tst_voxnetwork.moc"
