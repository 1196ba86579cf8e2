#include "support/building.h"

/// What a cover of Home Assistant makes of all that can happen to motors, against their own account.
class tst_BridgeCover : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void motorsAreTrue();
    void groups();
    void homeAssistantStarts();
    void cleanupTestCase();

private:
    void command(const QByteArray &topic, const QByteArray &payload, bool isRetained = false) const
    {
        m_building->model.link->send({topic, payload, 1, isRetained, {}, {}});
    }

    std::unique_ptr<Building> m_building;
};

void tst_BridgeCover::initTestCase()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
    m_building = std::make_unique<Building>();
    Building &b = *m_building;
    QVERIFY2(b.bridge->says("ready hq, 2 lines, 66 nodes", 20000), b.bridge->err());
    for (const char *const topic :
         {"vox/south/+/result", "vox/south/group/+/result", "vox/south/+/attributes"})
        b.model.link->subscribe(topic, MqttLink::WithRetained);
    VERIFY_SETTLES(15000, b.untrue());
    // Without limits there is no position to set.
    QVERIFY(!b.cover("south", "000203").config.contains("pos_t"));
}

void tst_BridgeCover::motorsAreTrue()
{
    Building &b = *m_building;
    const auto isAt = [&b](const char *line, const char *addr, double position) {
        return unless(b.cover(line, addr).position == position, addr);
    };
    const auto hasSaid = [&b](const char *topic, const char *text) {
        const QByteArray said = b.model.last[topic];
        return said.contains(text) ? QByteArray() : text + (", and not " + said);
    };
    // What it was told before is so once it answers.
    const auto heard = [&b] { QVERIFY(!b.south.nodes().isEmpty()); };
    int slid = 0;
    QTimer slider;
    connect(&slider, &QTimer::timeout, this, [&] {
        b.model.setPosition(idOf("north", "000110"), slid++ % 50 + 10);
        if (slid == 200)
            slider.stop();
    });
    // All at the same time. What shows of one comes within its time, and is not there before.
    struct Fault
    {
        const char *name;
        std::function<void()> make;
        std::function<QByteArray()> look;
        int ms;
    };
    const Fault faults[] = {
        {"moved by hand", [&] { b.south.say("switch 000201 up"); },
         [&] { return isAt("south", "000201", 100); }, 8000},
        {"locked",
         [&] { b.south.say("set 000202 {\"locks\":{\"network\":{\"locked\":true,\"priority\":9}}}"); },
         [&] { return hasSaid("vox/south/000202/attributes", "\"locked\":true"); }, 8000},
        {"refused",
         [&] {
             heard();
             command("vox/south/000202/set", "{\"command\":\"OPEN\",\"id\":\"l\"}");
         },
         [&] { return hasSaid("vox/south/000202/result", "NODE_IS_LOCKED"); }, 8000},
        {"with limits at last",
         [&] { b.south.say("set 000203 {\"limits\":{\"up\":0,\"down\":3240},\"position\":3240}"); },
         [&] { return unless(b.cover("south", "000203").state() == "closed", "closed"); }, 9000},
        {"dead, and commanded",
         [&] {
             b.south.say("drop 000204");
             heard();
             b.model.press(idOf("south", "000204"), "OPEN");
         },
         [&] { return unless(!b.isAvailable("south", "000204"), "gone"); }, 12500},
        {"closes", [&] { b.model.press(idOf("north", "00013C"), "CLOSE"); },
         [&] { return unless(b.cover("north", "00013C").state() == "closing", "closing"); }, 6000},
        {"a scene",
         [&] {
             for (int i = 1; i <= 9; ++i)
                 b.model.setPosition(idOf("north", "00010" + QByteArray::number(i)), 60 + i);
         },
         [&] { return isAt("north", "000101", 61) + isAt("north", "000109", 69); }, 30000},
        {"a slider", [&] { slider.start(10); }, [&] { return isAt("north", "000110", 59); }, 30000},
    };
    QElapsedTimer clock;
    clock.start();
    for (const Fault &fault : faults) {
        QVERIFY2(!fault.look().isEmpty(), fault.name);
        fault.make();
    }
    for (const Fault &fault : faults)
        VERIFY_SETTLES(fault.ms - int(clock.elapsed()), unless(fault.look().isEmpty(), fault.name));
    QVERIFY(b.cover("south", "000203").config.contains("pos_t"));
    VERIFY_SETTLES(10000, difference(b.south, b.model, "south", "000204"));
    VERIFY_SETTLES(10000, difference(*b.north, b.model, "north"));

    b.south.say("clear");
    b.south.say("set 000202 {\"locks\":{\"network\":{\"locked\":false,\"priority\":9}}}");
    VERIFY_SETTLES(15000, difference(b.south, b.model, "south"));
    VERIFY_SETTLES(5000, hasSaid("vox/south/000202/attributes", "\"locked\":null"));
}

void tst_BridgeCover::groups()
{
    Building &b = *m_building;
    command("vox/south/group/00A001/set", "{\"position\":30,\"id\":\"g\"}");
    VERIFY_SETTLES(12000,
                   unless(b.model.last["vox/south/group/00A001/result"].contains("\"id\":\"g\""), "result"));
    const QByteArray result = b.model.last["vox/south/group/00A001/result"];
    QVERIFY2(result.contains("\"asked\":5,\"done\":5") && result.contains("\"ok\":true"), result);
    VERIFY_SETTLES(15000, difference(b.south, b.model, "south"));
    const auto &whole = b.cover("south", "group_00A001");
    VERIFY_SETTLES(9000, unless(whole.position == 30, "the group"));
    QCOMPARE(b.cover("south", "000206").position, 30.0);
}

void tst_BridgeCover::homeAssistantStarts()
{
    // Somebody has cleared what the broker held, and only the bridge can say it again.
    Building &b = *m_building;
    command("homeassistant/device/vox_south_000201/config", "", true);
    command("vox/south/000202/position", "", true);
    VERIFY_SETTLES(5000, unless(b.model.covers.count("vox_south_000201") == 0, "cleared"));
    b.model.restart(b.broker.port());
    VERIFY_SETTLES(6000, b.untrue());
    QCOMPARE(b.model.faults, QStringList());
    QVERIFY(b.model.rows > 100);
}

void tst_BridgeCover::cleanupTestCase()
{
    m_building.reset();
}

QTEST_GUILESS_MAIN(tst_BridgeCover)
#include "tst_bridgecover.moc"
