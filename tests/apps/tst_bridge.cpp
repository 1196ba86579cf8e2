#include "support/building.h"

/// Faults around a bridge: its broker, its adapter, and itself.
class tst_Bridge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void killedBroker();
    void pulledAdapter();
    void killedBridge();
    void goodbye();
    void cleanupTestCase();

private:
    std::unique_ptr<Building> m_building;
};

void tst_Bridge::initTestCase()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
    m_building = std::make_unique<Building>();
    QVERIFY2(m_building->bridge->says("ready hq, 2 lines, 66 nodes, mqtt://127.0.0.1:", 20000),
             m_building->bridge->err());
    VERIFY_SETTLES(15000, m_building->untrue());
}

void tst_Bridge::killedBroker()
{
    Building &b = *m_building;
    b.broker.kill();
    VERIFY_SETTLES(2000, unless(!b.isAvailable("north", "000101"), "gone"));
    // Somebody moves a motor by hand meanwhile.
    b.south.say("switch 000205 down");
    VERIFY_SETTLES(9000, unless(b.south.nodes()["000205"]["position"] == 3240, "down"));
    b.broker.start();
    // It is tried again after 1, 2, 4 and 8 s, or a fifth more.
    VERIFY_SETTLES(10500, unless(b.bridge->err().contains(" is back"), "back"));
    VERIFY_SETTLES(5000, unless(b.model.link->isConnected(), "the model, too"));
    VERIFY_SETTLES(6000, b.untrue());
    QCOMPARE(b.cover("south", "000205").state(), QByteArray("closed"));
}

void tst_Bridge::pulledAdapter()
{
    Building &b = *m_building;
    b.unplug();
    VERIFY_SETTLES(2000, unless(!b.isAvailable("north", "000101"), "pulled"));
    QVERIFY(b.isAvailable("south", "000201"));
    // Back, with the motors elsewhere.
    b.plug(500);
    VERIFY_SETTLES(20000, b.untrue());
}

void tst_Bridge::killedBridge()
{
    Building &b = *m_building;
    QElapsedTimer clock;
    clock.start();
    b.bridge->end(SIGKILL);
    VERIFY_SETTLES(6500, unless(!b.isAvailable("south", "000201"), "the will"));
    QVERIFY2(clock.elapsed() > 4500, "the will is not to come at a short break");
    // All of it anew. A node is gone from the site meanwhile.
    b.startBridge("000102-00013C");
    QVERIFY2(b.bridge->says("ready hq, 2 lines, 65 nodes", 20000), b.bridge->err());
    VERIFY_SETTLES(5000, unless(b.model.covers.count(idOf("north", "000101")) == 0, "gone"));
    VERIFY_SETTLES(15000, difference(b.south, b.model, "south"));
    QVERIFY(b.isAvailable("north", "00013C"));
}

void tst_Bridge::goodbye()
{
    Building &b = *m_building;
    QVERIFY(b.isAvailable("south", "000201"));
    QCOMPARE(b.bridge->end(SIGTERM), 0);
    VERIFY_SETTLES(1000, unless(!b.isAvailable("south", "000201"), "goodbye"));
    QCOMPARE(b.model.faults, QStringList());
}

void tst_Bridge::cleanupTestCase()
{
    m_building.reset();
}

QTEST_GUILESS_MAIN(tst_Bridge)
#include "tst_bridge.moc"
