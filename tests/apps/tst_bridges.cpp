#include "support/bridgesite.h"

/// Several bridges on one broker.
class tst_Bridges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void manyBridges();
    void names();
};

void tst_Bridges::initTestCase()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
}

void tst_Bridges::manyBridges()
{
    // Ten bridges of sixty nodes each; three die, and one comes back.
    const Broker broker;
    CoverModel model(broker.port());
    std::vector<std::unique_ptr<Sim>> sims;
    std::vector<std::unique_ptr<Tool>> bridges;
    const auto nameOf = [](size_t i) { return "floor" + QString::number(i); };
    const auto start = [&](size_t i) {
        return std::make_unique<Tool>(
            QStringList{"bridge", "--bus", sims[i]->bus, "--mqtt", broker.url(), "--name", nameOf(i)});
    };
    for (size_t i = 0; i < 10; ++i) {
        sims.push_back(
            std::make_unique<Sim>(motors("000101-00013C", {{"position", int(i) * 300}}), QStringList()));
        bridges.push_back(start(i));
    }
    for (const auto &bridge : bridges)
        QVERIFY2(bridge->says("60 nodes", 20000), bridge->err());
    for (size_t i = 0; i < 10; ++i)
        VERIFY_SETTLES(20000, difference(*sims[i], model, nameOf(i).toUtf8()));
    QCOMPARE(model.covers.size(), size_t(600));
    for (size_t i = 0; i < 3; ++i)
        bridges[i]->end(SIGKILL);
    bridges[1] = start(1);
    VERIFY_SETTLES(8000, unless(!model.isAvailable("vox_floor0_000101"), "the will"));
    VERIFY_SETTLES(20000, difference(*sims[1], model, "floor1"));
    VERIFY_SETTLES(5000, unless(!model.isAvailable("vox_floor2_00013C"), "the will"));
    for (size_t i = 3; i < 10; ++i)
        VERIFY_SETTLES(5000, difference(*sims[i], model, nameOf(i).toUtf8()));
    model.faults.removeDuplicates();
    QCOMPARE(model.faults, QStringList());
}

void tst_Bridges::names()
{
    const Broker broker;
    const QTemporaryDir folder;
    Sim sim(motors("000101-000102"), {});
    Sim other(motors("000101-000102"), {});
    const QStringList line{"bridge", "--mqtt", broker.url(), "--name"};
    Tool first(line + QStringList{"hq", "--bus", sim.bus});
    QVERIFY2(first.says("ready hq, 1 line, 2 nodes", 10000), first.err());
    // The second of one name ends, and the first goes on.
    Tool second(line + QStringList{"hq", "--bus", other.bus});
    // Two gateways that call a line the same.
    const QString site =
        writeSite(folder, "branch", broker.url(), {QJsonObject{{"name", "hq"}, {"bus", other.bus}}});
    Tool branch({"bridge", "--config", site});
    QTRY_COMPARE(second.process.state(), QProcess::NotRunning);
    QCOMPARE(second.process.exitCode(), 2);
    QVERIFY2(second.err().contains("another bridge is called hq"), second.err());
    QVERIFY2(branch.says("ready branch, 1 line (1 offline), 0 nodes", 10000), branch.err());
    QVERIFY2(branch.err().contains("line hq is not served: the bridge hq serves"), branch.err());
    QCOMPARE(first.process.state(), QProcess::Running);
    // What a killed one has left is no other bridge. A node is forgotten on demand.
    CoverModel model(broker.port());
    QTRY_VERIFY(model.covers.count("vox_hq_000102") > 0);
    first.end(SIGKILL);
    Tool forget(
        {"bridge", "--mqtt", broker.url(), "--name", "hq", "--bus", sim.bus, "--forget", "hq/000102"});
    QTRY_COMPARE(forget.process.state(), QProcess::NotRunning);
    QCOMPARE(forget.process.exitCode(), 0);
    QTRY_VERIFY(model.covers.count("vox_hq_000102") == 0);
    Tool again(line + QStringList{"hq", "--bus", sim.bus});
    QVERIFY2(again.says("ready hq, 1 line, 2 nodes", 10000), again.err());
    QCOMPARE(model.faults, QStringList());
}

QTEST_GUILESS_MAIN(tst_Bridges)
#include "tst_bridges.moc"
