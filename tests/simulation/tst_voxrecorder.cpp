#include "devices/hrmv2stub.h"
#include "devices/kvrmotordevice.h"
#include "messages/hrmv2.h"
#include "messages/voxcall.h"
#include "simulation/voxrecorder.h"
#include "simulation/voxsimulation.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/udppair.h"

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
QJsonObject json(QByteArray text)
{
    return QJsonDocument::fromJson(text.replace('\'', '"')).object();
}

/// A simulation, and a host that is on its line.
struct Net
{
    explicit Net(const QJsonObject &network)
    {
        QString problem;
        QVERIFY2(simulation.load(network, &problem), qPrintable(problem));
        line.network.open();
        line.host.open();
        simulation.attach(&line.network);
        for (const VOX::Addr addr : simulation.addresses()) {
            if (auto *older = simulation.node<HRMv2Stub>(addr))
                older->setStubOptions({});
        }
    }

    /// The frame that answers @p question, a command and its data.
    QByteArray ask(VOX::Addr addr, const QByteArray &question)
    {
        VOXCall call(frame(question.toHex(), addr, VOXMessage::AckFlag), 30);
        const BusPendingCall pending = BusObject(&line.host, nullptr).call(call);
        pending.waitForFinished();
        return pending.reply().data();
    }
    void record(VOXRecorder *recorder)
    {
        QSignalSpy finished(recorder, &VOXRecorder::finished);
        recorder->start(line.host);
        QVERIFY(finished.wait(20000) && !recorder->isRunning() && recorder->remainingTime() == 0);
    }

    UdpPair line;
    VOXSimulation simulation;
};
}

void tst_VOXRecorder::theCopyAnswersAlike_data()
{
    const auto row = columns<QByteArray>("network");
    row("floor", contents(VOX_SOURCE_DIR "/examples/network/floor.json"));
    row("odd",
        "{'nodes': [{'model': 'TB60LV', 'address': '000001', 'torque': {'limited': true, 'level': 1,"
        "'parameter': 0}, 'softStop': {'on': true, 'value': 7}, 'diagnostics': {'encoderErrors': 9}},"
        "{'model': 'QM75', 'address': '000002', 'limits': {'up': null, 'down': 500}, 'position': 900,"
        "'diagnostics': {'totalMoveCount': 70000}, 'groups': [null, '00A001'], 'label': 'Caf\\u00e9'},"
        "{'model': 'MARLO', 'address': '000003', 'limits': {'up': 0, 'down': 999}, 'position': 998, "
        "'answers':"
        "{'GET_MOTOR_POSITION': '01 02 03 04 05', 'GET_MOTOR_IP 02': 'NACK IP_NOT_SET', 'GET_APP_MODE': "
        "'ACK',"
        "'GET_MOTOR_IP 03': 'NACK 99', 'GET_MOTOR_LIMITS': null, 'GET_NODE_LABEL': '41 00 42'}},"
        "{'model': 'TB20', 'address': '000004', 'locks': {'dct': [{'locked': true, 'source': '00ABCD'}]},"
        "'network': {'maxRetryCount': 1}}, {'model': 'NODE', 'address': '000005', 'type': 'NODETYPE_QM60',"
        "'answers': {'GET_MOTOR_STATUS': '00 01 00 00', 'GET_MOTOR_IP 01': ''}},"
        "{'model': 'NODE', 'address': '000006', 'type': 12}, {'model': 'HRMV2', 'address': '000007', 'type':"
        "'NODETYPE_HRMv2', 'lockStatus': 5, 'intermediatePositions': [7, null, 9],"
        "'answers': {'GET_MOTOR_STATUS': '01 02', 'GET_MOTOR_CONFIG': '03'}}]}");
}

void tst_VOXRecorder::theCopyAnswersAlike()
{
    QFETCH(QByteArray, network);
    Net first(json(network));
    // A motor that has been somewhere shows how it came there.
    if (auto *motor = first.simulation.node<KVRMotorDevice>(2)) {
        motor->setLimits(0, 500);
        for (const char *order : {"03 00 0000 FF", "02 FF"})
            motor->dispatch(frame(order, 2));
    }
    VOXRecorder recorder;
    recorder.setAddresses(first.simulation.addresses());
    first.record(&recorder);
    QCOMPARE(list(recorder.isPartial(), recorder.silentNodes()), list(false, QVector<uint>()));
    Net second(recorder.network());
    QCOMPARE(second.simulation.addresses(), first.simulation.addresses());
    for (const auto *table : {&KVR::cmds(), &KVR::motorCmds(), &KVR::diagCmds(), &HRMv2::cmds()}) {
        for (const VOXCmdInfo &info : *table) {
            for (int index = 0; info.reply() != 0 && index < (info.size() == 12 ? 0x20 : 1); ++index) {
                const QByteArray question =
                    char(info.cmd()) + QByteArray((info.size() & 0x1f) - 11, char(index));
                for (const VOX::Addr addr : first.simulation.addresses())
                    QCOMPARE(list(addr, question.toHex(), second.ask(addr, question).toHex()),
                             list(addr, question.toHex(), first.ask(addr, question).toHex()));
            }
        }
    }
    // What a motor has from the factory is not written down.
    if (second.simulation.node(0x102))
        QCOMPARE(
            recorder.network().value("nodes").toArray().at(1).toObject(),
            json("{'model': 'MARLO', 'address': '000102', 'label': 'Stage curtain', 'limits': {'up': 0, "
                 "'down':"
                 "6400}, 'speeds': {'up': 122, 'down': 122, 'slow': 122}, 'direction': 'TURN_REVERSED'}"));
}

void tst_VOXRecorder::anAnswerEndsWithItsReason()
{
    Net net(json(
        "{'nodes': [{'model': 'TB60LV', 'address': '000001', 'limits': {'up': 0, 'down': 5000}, 'answers':"
        "{'GET_MOTOR_STATUS': '00 01 00 00', 'GET_NODE_LABEL': '41', 'GET_MOTOR_IP': 'FF'}}]}"));
    const auto said = [&](const char *question) {
        return text(BusMessage(net.ask(1, QByteArray::fromHex(question))));
    };
    net.simulation.setTimeScale(1000);
    QCOMPARE(said("0E"), hex("0F 00 01 00 00"));
    said("03 03 E803 FF");
    QTRY_COMPARE(said("0E"), hex("0F 00 00 00 00"));
    QCOMPARE(said("45"), hex("65 41"));
    said("55 62000000000000000000000000000000");
    QCOMPARE(said("45"), hex("65 62000000000000000000000000000000"));
    QCOMPARE(said("25 07"), hex("35 FF"));
}

void tst_VOXRecorder::gapsAreNamed()
{
    Net net(
        json("{'nodes': [{'model': 'TB60LV', 'address': '000001', 'limits': {'up': 0, 'down': 5000}},"
             "{'model': 'QM75', 'address': '000002'}, {'model': 'TB20', 'address': '000003', 'answers':"
             "{'GET_MOTOR_IP 05': null, 'GET_MOTOR_IP 06': null, 'GET_MOTOR_IP 07': null}}],"
             "'faults': ['drop 000001 command GET_MOTOR_LIMITS', 'drop 000002', 'nack BUSY 000003 count 3',"
             "'from 000001 000003 command GET_NODE_LABEL count 1', 'twice 000003 command GET_NODE_ADDR']}"));
    net.simulation.node(1)->dispatch(frame("03 03 D007 FF", 1));
    VOXRecorder recorder;
    recorder.setDepth(VOXRecorder::Essentials);
    recorder.setAddresses({0x02000003, 1, 2, 3});
    net.record(&recorder);
    QCOMPARE(list(recorder.nodes(), recorder.silentNodes(), recorder.unanswered(1), recorder.unanswered(3)),
             list(QVector<uint>{1, 3}, QVector<uint>{2}, QStringList("GET_MOTOR_LIMITS"), QStringList()));
    QVERIFY(recorder.isMoving(1) && recorder.unknown(1).contains("GET_GROUP_ADDR"));
    QCOMPARE(recorder.network().value("nodes").toArray().at(0).toObject().value("answers").toObject(),
             json("{'GET_MOTOR_LIMITS': null}"));
    QCOMPARE(recorder.network().value("recorded").toObject().value("silent"), QJsonArray{"000002"});

    // All that a broadcast finds. A node that is silent for long is still there afterwards.
    recorder.setDepth(VOXRecorder::Everything);
    recorder.setAddresses({});
    net.record(&recorder);
    QCOMPARE(list(recorder.nodes(), recorder.doubledNodes(), recorder.unanswered(3).size()),
             list(QVector<uint>{1, 3}, QVector<uint>{3}, 3));
    QVERIFY(recorder.refused(3).contains("GET_APP_MODE: FEATURE_NOT_SUPPORTED")
            && recorder.unknown(3).isEmpty());

    QSignalSpy finished(&recorder, &VOXRecorder::finished), progressed(&recorder, &VOXRecorder::progressed);
    recorder.start(net.line.host);
    QVERIFY(progressed.wait());
    recorder.stop();
    QCOMPARE(list(finished.count(), recorder.isPartial(), recorder.isRunning()), list(1, true, false));
    QVERIFY(recorder.network().value("recorded").toObject().value("partial").toBool());
    auto *mortal = new VOXRecorder;
    connect(mortal, &VOXRecorder::progressed, this, [=] { delete mortal; });
    QSignalSpy gone(mortal, &QObject::destroyed);
    mortal->start(net.line.host);
    QVERIFY(gone.wait());
    recorder.start(net.line.host);
    net.line.host.close();
    QVERIFY(finished.wait() && recorder.isPartial());
}

void tst_VOXRecorder::captures()
{
    VOXRecorder recorder;
    double time = 0;
    const auto asked = [&](VOX::Addr addr, const QByteArray &question, const QByteArray &answer = {},
                           double ms = 42) {
        recorder.hear(frame(question, addr & 0xffffff, VOXMessage::AckFlag), time += 3000);
        if (!answer.isEmpty())
            recorder.hear(frameFrom(addr, answer), time += ms);
    };
    asked(0x02000001, "0E");
    asked(0x02000001, "0E", "0F 00 01 00 00");
    asked(0x02000001, "21", "31 0000 A00F", 40);
    asked(0x02000001, "0C");
    // Its own adapter hears it, too.
    time -= 2950;
    asked(0x02000001, "0C", "0D E803 19 FF FF");
    asked(0x02000001, "25 02", "35 02 D007 32", 44);
    asked(0x02000001, "43 01", "6F 10");
    asked(0x02000001, "02 FF", "7F");
    asked(0x02000001, "20");
    asked(0x02000002, "45");
    asked(0x01000003, "48", "68 0102", 90);
    recorder.hear(frameFrom(0x08000004, "65 4C6F62627900000000000000000000FF"), time);
    asked(0xffffff, "0C");
    QJsonObject network = recorder.network();
    QVERIFY(VOXSimulation().load(network));
    QCOMPARE(network.take("recorded").toObject().value("silent"), QJsonArray{"000002"});
    QCOMPARE(
        network,
        json(
            "{'nodes': [{'model': 'TB20', 'address': '000001', 'limits': {'up': 0, 'down': 4000},"
            "'position': 1000, 'intermediatePositions': [null, 2000], 'answers': {'GET_MOTOR_STATUS': '00 01 "
            "00 00',"
            "'HRMv2::GET_MOTOR_IP 01': 'NACK BADMSG', 'GET_APP_MODE': null}},"
            "{'model': 'NODE', 'address': '000002', 'answers': {'GET_NODE_LABEL': null}}, {'model': 'HRMV2',"
            "'address': '000003', 'type': 'NODETYPE_HRMv2', 'answers': {'GET_MOTOR_STATUS': '01 02'}},"
            "{'model': 'TB60LV', 'address': '000004', 'label': 'Lobby', 'answers': {'GET_NODE_LABEL':"
            "'4C 6F 62 62 79 00 00 00 00 00 00 00 00 00 00 FF'}}], 'faults': ['drop 000001 probability 0.14',"
            "'delay 42 000001', 'drop 000002', 'delay 40 000003']}"));
    QVERIFY(recorder.unknown(1).contains("GET_NODE_LABEL") && recorder.unknown(1).contains("GET_MOTOR_IP"));
}

QTEST_GUILESS_MAIN(tst_VOXRecorder)
#include "tst_voxrecorder.moc"
