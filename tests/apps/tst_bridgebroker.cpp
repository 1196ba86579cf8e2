#include "support/bridgesite.h"

/// A broker that is away for long, or stands still.
class tst_BridgeBroker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void longFaults();
};

namespace {
/// A broker with a bridge of five motors.
struct Place
{
    QByteArray untrue() { return difference(sim, model, "hq"); }
    QByteArray closed() { return unless(sim.nodes()["000302"]["position"] == 3240, "000302 is closed"); }

    Broker broker;
    Sim sim{motors("000301-000305"), {"--speed", "4"}};
    Tool bridge{{"bridge", "--bus", sim.bus, "--mqtt", broker.url(), "--name", "hq"}};
    CoverModel model{broker.port()};
};
}

void tst_BridgeBroker::longFaults()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
    // Both at the same time, and a motor moves meanwhile.
    Place frozen, away;
    VERIFY_SETTLES(15000, frozen.untrue() + away.untrue());
    QElapsedTimer clock;
    clock.start();
    frozen.broker.freeze();
    away.broker.kill();
    for (Place *const place : {&frozen, &away}) {
        place->sim.say("switch 000302 down");
        VERIFY_SETTLES(9000, place->closed());
    }
    QVERIFY(!away.model.isAvailable("vox_hq_000301"));
    QTRY_VERIFY_WITH_TIMEOUT(clock.hasExpired(20000), 20000);
    away.broker.start();
    QTRY_VERIFY_WITH_TIMEOUT(frozen.bridge.err().contains("it says nothing any more"),
                             qMax(1, 25000 - int(clock.elapsed())));
    QTRY_VERIFY_WITH_TIMEOUT(clock.hasExpired(30000), 10000);
    frozen.broker.thaw();
    // It is tried again after 1, 2, 4, 8 and 16 s, or a fifth more.
    for (Place *const place : {&frozen, &away}) {
        VERIFY_SETTLES(40000 - int(clock.elapsed()),
                       unless(place->bridge.err().contains(" is back"), "back"));
        VERIFY_SETTLES(20000, unless(place->model.link->isConnected(), "the model"));
        VERIFY_SETTLES(6000, place->untrue());
        QCOMPARE(place->model.covers["vox_hq_000302"].state(), QByteArray("closed"));
        QCOMPARE(place->model.faults, QStringList());
    }
}

QTEST_GUILESS_MAIN(tst_BridgeBroker)
#include "tst_bridgebroker.moc"
