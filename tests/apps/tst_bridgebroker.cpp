#include "support/bridgesite.h"

/// A broker that is away for long, or stands still, or does not answer at all.
class tst_BridgeBroker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void longFaults();
    void deafBrokers();
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

void tst_BridgeBroker::initTestCase()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
}

void tst_BridgeBroker::longFaults()
{
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

void tst_BridgeBroker::deafBrokers()
{
    // One that takes no connection, one that never answers, and one that knows no MQTT 5, at the same time.
    QTcpServer full, mute, old;
    full.listen(QHostAddress::LocalHost);
    full.pauseAccepting();
    QVector<QTcpSocket *> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd += new QTcpSocket(&full);
        crowd.last()->connectToHost(QHostAddress::LocalHost, full.serverPort());
    }
    mute.listen(QHostAddress::LocalHost);
    old.listen(QHostAddress::LocalHost);
    QByteArrayList connects;
    connect(&old, &QTcpServer::newConnection, this, [&] {
        QTcpSocket *const socket = old.nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, this, [&connects, socket] {
            connects += socket->readAll();
            // The level of the protocol stands behind its name.
            const bool isFive = connects.last().mid(4, 5) == "MQTT\5";
            socket->write(isFive ? QByteArray("\x20\x02\x00\x01", 4) : QByteArray("\x20\x02\x00\x00", 4));
        });
    });
    QElapsedTimer beat;
    qint64 worst = 0;
    QTimer heart;
    connect(&heart, &QTimer::timeout, this, [&] { worst = qMax(worst, beat.restart()); });
    beat.start();
    heart.start(5);
    struct Try
    {
        explicit Try(const MqttLink::Options &options)
            : link(options)
        {
        }

        MqttLink link;
        QStringList lost;
        int version = 0;
    };
    std::vector<std::unique_ptr<Try>> tries;
    for (const QTcpServer *const server : {&full, &mute, &old}) {
        MqttLink::Options options;
        options.url.host = "localhost";
        options.url.port = server->serverPort();
        options.clientId = "x";
        options.will = {"t", "gone", 1, true, {}, {}};
        tries.push_back(std::make_unique<Try>(options));
        Try *const attempt = tries.back().get();
        connect(&attempt->link, &MqttLink::lost, this,
                [attempt](const QString &why) { attempt->lost += why; });
        connect(&attempt->link, &MqttLink::connected, this,
                [attempt](int version) { attempt->version = version; });
        attempt->link.start();
    }
    QTRY_COMPARE(tries[2]->version, 3);
    // A session that outlives the connection, and a will that waits.
    QVERIFY(connects.first().contains(QByteArray("\x11\x00\x00\x00\x0a", 5)));
    QVERIFY(connects.first().contains(QByteArray("\x18\x00\x00\x00\x05", 5)));
    QTRY_VERIFY_WITH_TIMEOUT(!tries[0]->lost.isEmpty() && !tries[1]->lost.isEmpty(), 13000);
    QVERIFY2(tries[1]->lost.first().contains("does not answer"), qPrintable(tries[1]->lost.first()));
    QVERIFY2(worst < 200, QByteArray::number(worst));
}

QTEST_GUILESS_MAIN(tst_BridgeBroker)
#include "tst_bridgebroker.moc"
