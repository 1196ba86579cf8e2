#include "devices/kvrmotordevice.h"
#include "framework/busdispatcher.h"
#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "network/voxnetwork.h"
#include "proxies/kvrstdproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/frames.h"
#include "support/udppair.h"
#include "vox/bridge/groupreader.h"
#include "vox/bridge/linebridge.h"
#include "vox/bridge/linecommands.h"
#include "vox/bridge/publisher.h"
#include "vox/bridge/remotecalls.h"

static const VOXVirtualTime virtualTime(VOXVirtualTime::Local);

/// What the bridge makes of commands for a line of 4800 bit/s.
class tst_BridgeLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false\nvox.device=false"); }
    void groupsAreRead();
    void newerCommandsHold();
    void answers_data();
    void answers();
    void callsDuringTheFirstLook();
    void whatIsSaid();
};

namespace {
/// Motors from 000101 on, in these groups, and an older one at 000301; of them the site names all but 000104.
struct Line : MessageSink
{
    explicit Line(const QList<QJsonArray> &groups, bool isSecondLocked = false)
    {
        QJsonArray nodes{QJsonObject{{"model", "HRMV2"}, {"address", "000301"}}};
        for (int i = 0; i < groups.size(); ++i) {
            const QJsonObject lock{{"locked", i == 1 && isSecondLocked}, {"priority", 9}};
            nodes += QJsonObject{{"model", "TB20"},
                                 {"address", VOX::toString(addrOf(i))},
                                 {"groups", groups.at(i)},
                                 {"position", 1620},
                                 {"locks", QJsonObject{{"network", lock}}},
                                 {"limits", QJsonObject{{"up", 0}, {"down", 3240}}}};
        }
        simulation.load({{"nodes", nodes}});
        simulation.attach(nodesBus);
        config.name = "n";
        config.isScan = false;
        for (int i = 0; i < groups.size(); ++i) {
            network.add(addrOf(i));
            if (addrOf(i) != Stranger)
                config.nodes[addrOf(i)] = {};
        }
        network.add(VOX::makeAddr(VOX::NODETYPE_HRMv2, Older));
        config.nodes[Older].isLegacy = true;
        config.groups[0xa001] = {};
        config.groups[0xa002] = {};
        config.groups[0xa003] = {"named", {0x101, 0x102, Older}, true};
        reader = std::make_unique<GroupReader>(config, network);
        commands = std::make_unique<LineCommands>(site, config, topics, network, *reader, publisher);
        publisher.setLive(true);
        QObject::connect(&host->dispatcher(), &BusDispatcher::written, &line,
                         [this](const QByteArray &bytes) { note(VOXMessage(BusMessage(bytes))); });
    }

    static unsigned addrOf(int index) { return 0x101 + static_cast<unsigned>(index); }
    bool isReady() const override { return true; }
    bool wantsWrite() const override { return false; }
    bool send(const MqttMessage &message) override
    {
        said[message.topic] = message.payload;
        return true;
    }
    void note(const VOXMessage &frame)
    {
        if (frame.cmd() == KVR::GET_GROUP_ADDR)
            questions += VOXVirtualTime::now();
        const int function = frame.data().size() > 14 ? frame.data().at(9) : -1;
        const bool isMove = frame.cmd() == KVR::CTRL_MOVETO || frame.cmd() == KVR::CTRL_STOP;
        if (!isMove && frame.cmd() != HRMv2::SET_MOTOR_POSITION)
            return;
        QString text = frame.addrType() == VOX::BCAST ? QString("all")
            : frame.addrType() == VOX::GROUP          ? 'G' + QString::number(frame.srcAddr(false), 16)
                                                      : QString::number(frame.destAddr(false), 16);
        if (frame.cmd() == KVR::CTRL_STOP)
            text += "=stop";
        else if (function == KVRMotor::MOVETO_PERCENT)
            text += QString("=%1").arg(100 - frame.data().at(10));
        moves += text;
    }
    void give(const QByteArray &topic, const QByteArray &payload)
    {
        commands->handle(*topics.read("vox/n/" + topic), {"vox/n/" + topic, payload, 1, false, {}, {}});
    }
    /// The moves that go out in @p ms.
    QString movesIn(int ms)
    {
        VOXVirtualTime::advance(ms);
        return std::exchange(moves, {}).join(' ');
    }
    /// The same in any order, where the turns of the nodes decide, and each once: stops are sent again.
    QString sortedIn(int ms)
    {
        QStringList all = movesIn(ms).split(' ');
        all.removeDuplicates();
        all.sort();
        return all.join(' ');
    }
    QString membersOf(unsigned group) const
    {
        QStringList addrs;
        for (const VOXNetworkMotor *const motor : reader->members(group))
            addrs += QString::number(motor->address(), 16);
        return addrs.join(' ') + (reader->isExact(group) ? " exactly" : "");
    }

    static constexpr unsigned Stranger = 0x104;
    static constexpr unsigned Older = 0x301;

    VOXLine line{4800};
    VOXSimulation simulation;
    VOXBus *nodesBus = line.addBus(&line);
    VOXBus *host = line.addBus(&line);
    VOXNetwork network{host};
    SiteConfig site;
    LineConfig config;
    LineTopics topics{"vox", "n"};
    Publisher publisher{*this};
    std::unique_ptr<GroupReader> reader;
    std::unique_ptr<LineCommands> commands;
    QMap<QByteArray, QByteArray> said;
    QStringList moves;
    QVector<qint64> questions;
};
}

void tst_BridgeLine::groupsAreRead()
{
    // The last one is a stranger, whom nobody has listed.
    Line line({{"00A001", "00A003"}, {QJsonValue::Null, "00A001", "00A003"}, {"00A002"}, {"00A002"}});
    line.simulation.addFault("nack 34 000102 command GET_GROUP_ADDR count 3");
    QSignalSpy changes(line.reader.get(), &GroupReader::changed);
    VOXVirtualTime::advance(12500);
    // Until all have told, each that is known is told by itself.
    QCOMPARE(list(line.membersOf(0xa001), line.membersOf(0xa002)), list("101 102", "103"));
    QCOMPARE(changes.size(), 3);
    line.give("group/00A001/set", "{\"position\":30,\"id\":\"g\"}");
    QCOMPARE(line.sortedIn(3000), "101=30 102=30");
    QVERIFY(line.said["vox/n/group/00A001/result"].contains("\"asked\":2,\"done\":2"));
    VOXVirtualTime::advance(60000);
    QCOMPARE(list(line.membersOf(0xa001), line.membersOf(0xa002), line.membersOf(0xa003)),
             list("101 102 exactly", "103", "101 102 301 exactly"));
    // A slot a second, and one more try for a motor that was busy.
    QVERIFY2(line.questions.size() >= 4 * 16 && line.questions.size() <= 4 * 16 + 3,
             QByteArray::number(line.questions.size()));
    for (int i = 3; i < line.questions.size(); ++i)
        QVERIFY(line.questions.at(i) - line.questions.at(i - 3) > 1400);
    line.give("group/00A001/set", "{\"position\":40}");
    QCOMPARE(line.movesIn(1000), "Ga001=40");
    line.give("group/00A002/set", "{\"position\":40}");
    QCOMPARE(line.movesIn(1000), "103=40");
    // The older one hears no frames for groups.
    line.give("group/00A003/set", "{\"position\":60}");
    QCOMPARE(line.sortedIn(1000), "301 Ga003=60");
    // Out of the group, and so said by a call from afar.
    KVRStdProxy(0x102, line.network.scheduler().lane(VOXScheduler::User)).setGroupAddr(1, 0);
    line.reader->readAgain(0x102);
    QCOMPARE(line.membersOf(0xa001), "101 102");
    VOXVirtualTime::advance(20000);
    QCOMPARE(line.membersOf(0xa001), "101 exactly");
}

void tst_BridgeLine::newerCommandsHold()
{
    Line line({{"00A003"}, {"00A003"}, {}});
    VOXVirtualTime::advance(5000);
    const auto give = [&](const QByteArray &target, const QByteArray &payload) {
        line.give(target.startsWith('G') ? "group/00A003/set" : target + "/set", payload);
    };
    // What waits for the group is not for a motor that has got something newer.
    give("G", "{\"position\":10}");
    give("G", "{\"position\":20,\"id\":\"w\"}");
    give("000101", "{\"position\":50}");
    QCOMPARE(line.sortedIn(1500), "101=50 102=20 301 Ga003=10");
    QVERIFY(line.said["vox/n/group/00A003/result"].contains("\"asked\":2"));
    give("G", "{\"position\":30}");
    give("G", "{\"position\":40}");
    give("000102", "STOP");
    QCOMPARE(line.sortedIn(1500), "101=40 102=stop 301 Ga003=30");
    // The same again is news after another command for one of them.
    give("G", "{\"position\":70}");
    give("000101", "STOP");
    give("G", "{\"position\":70}");
    give("G", "{\"position\":70}");
    QCOMPARE(line.movesIn(1500).count("Ga003=70"), 2);
    // What still waits for the line is older than a frame for the group, and newer than one before it.
    for (const char *const addr : {"000101", "000102", "000103"})
        give(addr, "{\"position\":15}");
    give("G", "{\"position\":75}");
    QCOMPARE(line.sortedIn(1500), "101=15 103=15 301 Ga003=75");
    give("000103", "{\"position\":16}");
    give("G", "{\"position\":76}");
    give("000101", "{\"position\":17}");
    const QString last = line.movesIn(1500);
    QVERIFY2(last.indexOf("101=17") > last.indexOf("Ga003=76") && last.contains("103=16"), qPrintable(last));
    // Nothing older comes behind a command for all.
    give("G", "{\"position\":80}");
    give("G", "{\"position\":90}");
    line.give("all/set", "{\"position\":20}");
    const QString moves = line.movesIn(2500);
    QVERIFY2(moves.contains("101=20") && moves.contains("103=20") && !moves.contains("90"),
             qPrintable(moves));
}

void tst_BridgeLine::answers_data()
{
    const auto row = columns<QByteArray, QByteArray, QByteArray>("topic", "payload", "answer");
    row("a locked motor", "000102/set", "OPEN", "\"reason\":\"NODE_IS_LOCKED\"");
    row("a locked motor among others stands still", "all/set", "STOP", "\"done\":3,\"id\":\"i\"");
    row("a locked motor among others does not move", "all/set", "CLOSE", "\"refused\":[\"000102\"");
    row("an older motor does not wink", "000301/set", "WINK", "is of the older generation");
    row("a silent motor", "000105/set", "OPEN", "\"reason\":\"timeout\"");
    row("a silent motor winks", "000105/set", "WINK", "\"reason\":\"timeout\"");
    row("a stranger", "000104/set", "OPEN", "\"reason\":\"no such motor\"");
    row("nobody", "000199/set", "OPEN", "\"reason\":\"no such motor\"");
    row("an unknown group", "group/00A009/set", "OPEN", "\"reason\":\"no such group\"");
    row("an empty group", "group/00A002/set", "OPEN", "\"reason\":\"no member is known\"");
}

void tst_BridgeLine::answers()
{
    QFETCH(QByteArray, topic);
    QFETCH(QByteArray, payload);
    QFETCH(QByteArray, answer);
    Line line({{"00A003"}, {"00A003"}}, true);
    VOXVirtualTime::advance(5000);
    line.config.nodes[0x105] = {};
    line.network.add(0x105);
    VOXVirtualTime::advance(500);
    line.give(topic, "{\"command\":\"" + payload + "\",\"id\":\"i\"}");
    VOXVirtualTime::advance(12000);
    const QByteArray said = line.said["vox/n/" + topic.chopped(3) + "result"];
    QVERIFY2(said.contains(answer), said);
}

void tst_BridgeLine::callsDuringTheFirstLook()
{
    QList<QJsonArray> groups;
    for (int i = 0; i < 60; ++i)
        groups += QJsonArray();
    Line line(groups);
    RemoteCalls calls({"*"}, line.network);
    QMap<QByteArray, qint64> answered;
    QByteArray last;
    QSignalSpy configured(&calls, &RemoteCalls::configured);
    connect(&calls, &RemoteCalls::answered, this,
            [&](unsigned, const MqttMessage &, const QByteArray &payload) {
                last = payload;
                answered[payload.mid(payload.indexOf("\"id\":\"") + 6, 1)] = VOXVirtualTime::now();
            });
    const auto call = [&](unsigned addr, const QByteArray &operation, const QByteArray &id) {
        calls.handle(addr, {"", "{\"operation\":" + operation + ",\"id\":\"" + id + "\"}", 1, false, {}, {}});
    };
    VOXVirtualTime::advance(1000);
    const qint64 now = VOXVirtualTime::now();
    // Somebody waits for a reading. Settings wait until the line has time.
    call(0x130, "\"getMotorLimits\"", "a");
    call(0x131, "\"setMotorLimits\",\"arguments\":[\"LIMIT_DELETE\",\"LIMIT_DOWN\",0]", "b");
    QVERIFY(VOXVirtualTime::runUntil([&] { return answered.contains("b"); }, 20000));
    QVERIFY2(answered["a"] - now < 400, QByteArray::number(answered["a"] - now));
    QVERIFY2(answered["b"] - now > 5000, QByteArray::number(answered["b"] - now));
    QCOMPARE(list(configured.size(), configured.value(0).value(0).toUInt()), list(1, 0x131));
    // Not to all at once, and not by chance.
    const auto refused = [&](unsigned addr, const QByteArray &operation) {
        call(addr, operation, "c");
        return last.contains("\"error\"") && line.movesIn(500).isEmpty();
    };
    QCOMPARE(InOrder({refused(0xffffff, "\"ctrlStop\",\"arguments\":[0]"), refused(0, "\"getMotorLimits\""),
                      refused(0x010000, "\"getMotorLimits\""), refused(0x101, "\"setNetworkConfig\"")}),
             InOrder({true, true, true, true}));
    for (int i = 0; i < 5; ++i)
        call(0x101, "\"getMotorLimits\"", "d");
    QVERIFY2(last.contains("busy"), last);
}

void tst_BridgeLine::whatIsSaid()
{
    struct Sink : MessageSink
    {
        bool isReady() const override { return true; }
        bool wantsWrite() const override { return false; }
        bool send(const MqttMessage &message) override
        {
            said += message.topic + '=' + message.payload;
            return true;
        }
        /// Where the first message is that begins so; -1 for nowhere.
        int at(const QByteArray &beginning) const
        {
            const auto found = std::find_if(
                said.begin(), said.end(), [&](const QByteArray &each) { return each.startsWith(beginning); });
            return found == said.end() ? -1 : int(found - said.begin());
        }
        QByteArrayList said;
    } sink;
    const auto [from, to] = freeUdpPorts();
    const QString url("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
    VOXBusUrl there;
    QString problem;
    SiteConfig site;
    site.lines += LineConfig();
    LineConfig &config = site.lines.last();
    config.name = "n";
    QVERIFY(VOXBusUrl::read(url.arg(to).arg(from), &there, &problem));
    QVERIFY(VOXBusUrl::read(url.arg(from).arg(to), &config.bus, &problem));
    const std::unique_ptr<VOXBus> bus = there.makeBus();
    QVERIFY(bus->open());
    VOXSimulation simulation;
    simulation.load(QJsonObject{{"nodes",
                                 QJsonArray{QJsonObject{{"model", "TB20"},
                                                        {"address", "000101-000103"},
                                                        {"limits", QJsonObject{{"up", 0}, {"down", 3240}}},
                                                        {"position", 810}}}}});
    simulation.attach(bus.get());
    Publisher publisher(sink);
    LineBridge line(site, 0, publisher);
    line.start();
    VOXVirtualTime::advance(10000);
    QCOMPARE(list(line.isScanned(), line.answering()), list(true, 3));
    publisher.setLive(true);
    VOXVirtualTime::advance(1000);
    // The line, its nodes, and then what they are.
    const int values = sink.at("vox/n/000101/availability=online");
    QVERIFY(sink.at("vox/n/availability=online") < values && values >= 0);
    QCOMPARE(
        list(sink.said.value(values + 1).left(24), sink.said.value(values + 2), sink.said.value(values + 3)),
        list("vox/n/000101/attributes=", "vox/n/000101/position=75", "vox/n/000101/state=open"));
    QVERIFY(sink.at("homeassistant/device/vox_n_000101/config={") > sink.at("vox/n/000103/state=open"));
    // Without limits there is no position. The cover has to have none before it is taken away.
    sink.said.clear();
    auto *const motor = simulation.node<KVRMotorDevice>(0x102);
    QVERIFY(motor->setLimits(KVRMotorDevice::UnsetPosition, KVRMotorDevice::UnsetPosition));
    VOXVirtualTime::advance(60000);
    const int document = sink.at("homeassistant/device/vox_n_000102/config={");
    QVERIFY2(document >= 0 && !sink.said.value(document).contains("pos_t"), sink.said.value(document));
    QVERIFY(sink.at("vox/n/000102/state=None") >= 0 && sink.said.contains("vox/n/000102/position="));
    QVERIFY(sink.said.indexOf("vox/n/000102/position=") > document);
    // A node that is gone for good is not said again.
    simulation.remove(0x103);
    VOXVirtualTime::advance(60000);
    QVERIFY(sink.said.contains("vox/n/000103/availability=offline"));
    line.forget(0x103);
    VOXVirtualTime::advance(1000);
    for (const QByteArray &topic : line.retainedTopics({BridgeTarget::Node, 0x103}))
        QVERIFY2(sink.said.contains(topic + '='), topic);
    sink.said.clear();
    publisher.sayAll();
    VOXVirtualTime::advance(60000);
    QCOMPARE(list(sink.at("vox/n/000103"), sink.at("homeassistant/device/vox_n_000103"),
                  sink.at("vox/n/000101/position=75") >= 0),
             list(-1, -1, true));
    // What another bridge serves is not said by this one.
    line.leave();
    publisher.sayAll();
    sink.said.clear();
    VOXVirtualTime::advance(120000);
    QCOMPARE(sink.said, QByteArrayList());
}

QTEST_GUILESS_MAIN(tst_BridgeLine)
#include "tst_bridgeline.moc"
