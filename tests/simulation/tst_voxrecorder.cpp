#include "devices/hrmv2stub.h"
#include "messages/hrmv2.h"
#include "messages/voxcall.h"
#include "messages/voxfield.h"
#include "simulation/voxline.h"
#include "simulation/voxrecorder.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/frames.h"
#include "transport/voxbus.h"

#include <QJsonArray>
#include <QJsonDocument>

/// Networks made of other networks.
class tst_VOXRecorder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theCopyAnswersAlike_data();
    void theCopyAnswersAlike();
    void anAnswerEndsWithItsReason();
    void gapsAreNamed();
    void captures();
};

namespace {
const VOXVirtualTime virtualTime;

QJsonObject file(const char *name)
{
    return QJsonDocument::fromJson(contents(VOX_SOURCE_DIR + QString(name))).object();
}

QJsonObject stored(const char *name)
{
    return file("/tests/simulation/recordings.json").value(name).toObject();
}

/// A simulation, and a host that is on its line.
struct Net
{
    explicit Net(const QJsonObject &network)
    {
        QString problem;
        QVERIFY2(simulation.load(network, &problem), qPrintable(problem));
        simulation.attach(line.addBus(&simulation));
        for (const VOX::Addr addr : simulation.addresses()) {
            if (auto *older = simulation.node<HRMv2Stub>(addr))
                older->setStubOptions({});
        }
    }
    QByteArray ask(VOX::Addr addr, const QByteArray &question)
    {
        const VOXCall call(frame(question, addr, VOXMessage::AckFlag), 30);
        const BusPendingCall pending = BusObject(host.get(), nullptr).call(call);
        pending.waitForFinished();
        return pending.reply().data();
    }
    void record(VOXRecorder *recorder)
    {
        QSignalSpy finished(recorder, &VOXRecorder::finished);
        recorder->start(*host);
        QVERIFY(finished.wait(600000));
        QVERIFY(!recorder->isRunning());
        QVERIFY(recorder->remainingTime() == 0);
    }

    VOXLine line{0};
    const std::unique_ptr<VOXBus> host{line.addBus()};
    VOXSimulation simulation;
};
}

void tst_VOXRecorder::theCopyAnswersAlike_data()
{
    const auto row = columns<QJsonObject>("network");
    row("floor", file("/examples/network/floor.json"));
    row("odd", stored("odd"));
}

void tst_VOXRecorder::theCopyAnswersAlike()
{
    QFETCH(QJsonObject, network);
    Net first(network);
    // A motor that has been somewhere shows how it came there.
    for (const char *order : {"03 00 0000 FF", "02 FF"}) {
        if (first.simulation.node(2))
            first.simulation.node(2)->dispatch(frame(order, 2));
    }
    VOXRecorder recorder;
    recorder.setAddresses(first.simulation.addresses());
    first.record(&recorder);
    QCOMPARE(list(recorder.isPartial(), recorder.silentNodes()), list(false, QVector<uint>()));
    Net second(recorder.network());
    QCOMPARE(second.simulation.addresses(), first.simulation.addresses());
    // All queries of both sets with all indices, and those past the last.
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        const QString names = KVR::toString(KVR::Cmd(cmd)) + HRMv2::toString(quint8(cmd));
        const int last = VOXField::of(quint8(cmd)).isEmpty() && cmd != HRMv2::GET_MOTOR_IP ? -1 : 0x1b;
        for (int index = -1; names.contains("GET_") && index <= last; ++index) {
            const QByteArray query = QByteArray(1, char(cmd)) + (index < 0 ? "" : QByteArray(1, char(index)));
            for (const VOX::Addr addr : first.simulation.addresses())
                QCOMPARE(list(addr, query.toHex(), second.ask(addr, query.toHex()).toHex()),
                         list(addr, query.toHex(), first.ask(addr, query.toHex()).toHex()));
        }
    }
    // What a motor has from the factory is not written down.
    if (second.simulation.node(0x102))
        QCOMPARE(recorder.network().value("nodes").toArray().at(1).toObject(), stored("marlo"));
}

void tst_VOXRecorder::anAnswerEndsWithItsReason()
{
    Net net(stored("answers"));
    const auto said = [&](const char *question) { return text(BusMessage(net.ask(1, question))); };
    net.simulation.setTimeScale(1000);
    QCOMPARE(said("0E"), hex("0F 00 01 00 00"));
    said("03 03 E803 FF");
    // Nobody asks while it moves.
    QTRY_COMPARE(net.simulation.settings(1).value("position").toInt(), 1000);
    QCOMPARE(said("0E"), hex("0F 00 00 00 00"));
    QCOMPARE(said("45"), hex("65 41"));
    said("55 62000000000000000000000000000000");
    QCOMPARE(said("45"), hex("65 62000000000000000000000000000000"));
    QCOMPARE(said("25 07"), hex("35 FF"));
    QCOMPARE(said("25 08"), hex("35 08"));
    said("56 FF 00 FF 0000 01 00");
    QCOMPARE(said("25 07"), hex(""));
}

void tst_VOXRecorder::gapsAreNamed()
{
    Net net(stored("gaps"));
    net.simulation.node(1)->dispatch(frame("03 03 D007 FF", 1));
    VOXRecorder recorder;
    recorder.setDepth(VOXRecorder::Essentials);
    recorder.setAddresses({1, 2, 0x02000003, 3});
    net.record(&recorder);
    QCOMPARE(list(recorder.nodes(), recorder.silentNodes(), recorder.unanswered(1), recorder.unanswered(3),
                  recorder.refused(3)),
             list(QVector<uint>{1, 3}, QVector<uint>{2}, QStringList("GET_MOTOR_LIMITS"),
                  QStringList("GET_NODE_LABEL"), QStringList()));
    QVERIFY(recorder.isMoving(1));
    QVERIFY(recorder.unknown(1).contains("GET_GROUP_ADDR"));
    // All that a broadcast finds. A node that is silent for long is still there afterwards.
    recorder.setDepth(VOXRecorder::Everything);
    recorder.setAddresses({});
    net.record(&recorder);
    QCOMPARE(list(recorder.nodes(), recorder.doubledNodes(), recorder.unanswered(3).size()),
             list(QVector<uint>{1, 3}, QVector<uint>{3}, 4));
    QVERIFY(recorder.refused(3).contains("GET_APP_MODE: FEATURE_NOT_SUPPORTED"));
    QVERIFY(recorder.unknown(3).isEmpty());
    QSignalSpy finished(&recorder, &VOXRecorder::finished);
    auto *mortal = new VOXRecorder;
    connect(mortal, &VOXRecorder::progressed, this, [=] { delete mortal; });
    QSignalSpy gone(mortal, &QObject::destroyed);
    mortal->start(*net.host);
    QVERIFY(gone.wait());
    // While it looks for nodes, and while it asks one.
    for (const QVector<VOX::Addr> &nodes : {QVector<VOX::Addr>(), QVector<VOX::Addr>{3}}) {
        recorder.setAddresses(nodes);
        recorder.start(*net.host);
        net.host->close();
        QVERIFY(finished.wait());
        QVERIFY(recorder.isPartial());
        net.host->open();
    }
    connect(&recorder, &VOXRecorder::progressed, this, [&] { net.simulation.addFault("drop 000003"); });
    recorder.setAddresses({3});
    net.record(&recorder);
    QCOMPARE(recorder.goneNodes(), QVector<uint>{3});
    QCOMPARE(recorder.network().value("recorded").toObject().value("gone"), QJsonArray{"000003"});
}

void tst_VOXRecorder::captures()
{
    // Node, request, answer, and the milliseconds between them. A request begins three seconds after the one
    // before; the one that comes again sooner is an echo.
    const char *const heard[] = {
        "2000001,0E,,0",        "2000001,0E,0F00010000,42",   "2000001,21,310000A00F,40",
        "2000001,0C,,-2950",    "2000001,0C,0DE80319FFFF,42", "2000001,2502,3502D00732,44",
        "2000001,4301,6F10,42", "2000001,02FF,7F,42",         "2000001,20,,0",
        "2000002,45,,0",        "1000003,48,680102,90",       "FFFFFF,0C,,0"};
    VOXRecorder recorder;
    double time = 0;
    for (const QByteArray each : heard) {
        const QList<QByteArray> parts = each.split(',');
        const VOX::Addr addr = parts.at(0).toUInt(nullptr, 16);
        recorder.hear(frame(parts.at(1), addr & VOX::AddrMask, VOXMessage::AckFlag), time += 3000);
        time += parts.at(3).toDouble();
        if (!parts.at(2).isEmpty())
            recorder.hear(frameFrom(addr, parts.at(2)), time);
    }
    recorder.hear(frameFrom(0x08000004, "65 4C6F62627900000000000000000000FF"), time);
    QJsonObject network = recorder.network();
    QVERIFY(VOXSimulation().load(network));
    QCOMPARE(network.take("recorded").toObject().value("silent"), QJsonArray{"000002"});
    QCOMPARE(network, stored("heard"));
    QVERIFY(recorder.unknown(1).contains("GET_NODE_LABEL"));
    QVERIFY(recorder.unknown(1).contains("GET_MOTOR_IP"));
}

QTEST_GUILESS_MAIN(tst_VOXRecorder)
#include "tst_voxrecorder.moc"
