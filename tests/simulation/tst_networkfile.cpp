#include "devices/kvrmotordevice.h"
#include "messages/hrmv2.h"
#include "simulation/voxstatefile_p.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/watching.h"
#include "support/wire.h"

#include <QJsonDocument>

/// The files that a simulation is made from and kept in.
class tst_NetworkFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mistakes_data();
    void mistakes();
    void settingsComeBack_data();
    void settingsComeBack();
    void nodesAreAsTheyArePut();
    void stateIsKept();
    void damagedStates_data();
    void damagedStates();
    void badInput_data();
    void badInput();
};

namespace {
const VOXVirtualTime virtualTime(VOXVirtualTime::Local);

QJsonObject json(const QByteArray &text)
{
    return QJsonDocument::fromJson(QByteArray(text).replace('\'', '"')).object();
}

/// Makes a network of @p nodes; what is wrong with them, if something is.
QString fill(VOXSimulation *simulation, const QByteArray &nodes)
{
    QString problem;
    const bool isRead = simulation->load(json("{'nodes': " + nodes + "}"), &problem);
    return isRead == problem.isEmpty() ? problem : "unclear: " + problem;
}
}

void tst_NetworkFile::mistakes_data()
{
    const auto row = columns<QByteArray>("nodes");
    const auto network = [&](const QByteArray &nodes, const QByteArray &mistake) { row(mistake, nodes); };
    // The first node of a network, besides its address; and what is said of it.
    const auto node = [&](const QByteArray &members, const QByteArray &mistake) {
        network("[{'address': '000001', " + members + "}]", "nodes[0]" + mistake);
    };
    const auto at = [&](const QByteArray &address, const QByteArray &mistake) {
        network("[{'model': 'TB20', 'address': " + address + "}]", "nodes[0].address: " + mistake);
    };
    const auto fault = [&](const QByteArray &words, const QByteArray &mistake) {
        network("[], 'faults': ['" + words + "']", "faults[0]: " + mistake);
    };
    network("7", "nodes: is to be an array");
    network("[7]", "nodes[0]: is to be an object");
    network("[{'model': 'TB20', 'address': '000001-000009'}, {'model': 'NODE', 'address': '000009'}]",
            "nodes[1].address: two nodes with address 000009");
    network("[], 'faults': ['drop all', 'wiggle']", "faults[1]: 'wiggle' is no fault; drop, delay");
    network("[], 'bus': 'tcp:'", "bus: 'tcp:' is no bus");
    network("[], 'faults': ['drop 000001']", "faults[0]: there is no node 000001");

    at("1", "is to be a text");
    at("'1'", "is to be an address of six hexadecimal digits, or a range");
    at("'000002-000001'", "a range goes up");
    at("'000000-7FFFFF'", "a network has 65536 nodes at most");
    at("'00FFFF-010001'", "010000 is no node's address");

    fault("delay", "'' is no MS for 'delay'");
    fault("delay -1 all", "'-1' is no MS");
    fault("nack SOON", "'SOON' is no NAME for 'nack'");
    fault("from 1", "'1' is no ADDRESS for 'from'");
    fault("drop 00000", "'00000' is not understood");
    fault("drop all command FLY", "'command FLY' is not understood");
    fault("drop probability 2", "'probability 2' is not understood");
    fault("drop count 0", "'count 0' is not understood");
    fault("jabber 0", "'0' is no MS for 'jabber'; 1 to 60000 are");
    fault("jabber 5 command SET_NODE_LABEL",
          "'command SET_NODE_LABEL' is too much; this fault goes by the clock");
    fault("away 5 every 5", "'every 5' is not understood");
    fault("drop every 5", "'every 5' is not understood");

    node("'label': ''", ".model: is to be a text");
    node("'model': 'TB99'", ".model: is to be one of NODE, TB20");
    node("'model': 'TB20', 'colour': 1", ".colour: unknown; one of model, address, label, serial");
    node("'model': 'TB20', 'label': 'seventeen-letters'", ".label: has 17 characters, and 16 is the most");
    node("'model': 'TB20', 'label': '\\u0416'", ".label: has a character that is not of Latin-1");
    node("'model': 'TB20', 'versions': {'stack': '1'}", ".versions.stack: is to be a version");
    node("'model': 'NODE', 'limits': {}", ".limits: this model has no such setting");
    node("'model': 'TB20', 'limits': {'down': 323}",
         ".limits.down: is to be a whole number from 324 to 64767");
    node("'model': 'TB20', 'limits': {'up': 1}", ".limits.up: is to be 0");
    node("'model': 'TB20', 'speeds': {'up': 10}", ".speeds: this model does not run at these speeds");
    node("'model': 'TB20', 'appMode': 'ROLLER'", ".appMode: this model has no app modes");
    node("'model': 'MARLO', 'appMode': 'ROLLER'", ".appMode: this model has CURTAIN only");
    node("'model': 'MARLO', 'direction': 'LEFT'", ".direction: is to be one of TURN_NORMAL, TURN_REVERSED");
    node("'model': 'QM75', 'locks': {'dct': [{}]}", ".locks.dct: has 1 elements, and 0 is the most");
    node("'model': 'TB20', 'type': 7", ".type: this model has no such setting");
    node("'model': 'NODE', 'answers': {'SET_NODE_LABEL': ''}", ".answers.SET_NODE_LABEL: is no query");
    node("'model': 'NODE', 'answers': {'GET_NODE_LABEL': '4'}", ".answers.GET_NODE_LABEL: is to be data in");
    node("'model': 'QM75', 'locks': {'network': {'locked': 1}}", ".locks.network.locked: is to be true or");
}

void tst_NetworkFile::mistakes()
{
    QFETCH(QByteArray, nodes);
    VOXSimulation simulation;
    const QString problem = fill(&simulation, nodes);
    QVERIFY2(problem.startsWith(QTest::currentDataTag()), qPrintable(problem));
}

void tst_NetworkFile::settingsComeBack_data()
{
    const auto row = columns<QByteArray>("settings");
    const QByteArray node =
        "'label': 'Caf\u00e9', 'groups': ['00A001', null, '00A0FF'], 'network': {'broadcast': false,"
        "'maxRand': 7, 'supervision': true, 'supervisionPeriod': 300, 'deaf': true, 'maxRetryCount': 9}";
    const QByteArray motor = node
        + ", 'direction': 'TURN_REVERSED', 'limits': {'up': 0, 'down': 5000}, 'position': 700,"
          "'intermediatePositions': [5, null, 65534], 'locks': {'network': {'locked': true, 'priority': 3,"
          "'source': '00ABCD'}, 'dct': [";
    const QByteArray locked = motor + "{'locked': true, 'priority': 4, 'source': '00ABCE'}]}, ";
    row("NODE", node);
    row("TB20", locked + "'speeds': {'up': 10, 'down': 10, 'slow': 8}");
    row("QM75", motor + "]}, 'appMode': 'ROLLER', 'speeds': {'up': 40, 'down': 40, 'slow': 40}");
    row("MARLO", locked + "'appMode': 'CURTAIN', 'speeds': {'up': 87, 'down': 87, 'slow': 87}");
    row("TB60LV",
        locked
            + "'appMode': 'ROLLER', 'speeds': {'up': 20, 'down': 21, 'slow': 10},"
              "'softStart': {'on': true, 'value': 1}, 'softStop': {'on': true, 'value': 2},"
              "'torque': {'limited': false, 'level': 1, 'parameter': 77}");
    row("HRMV2", node + ", 'intermediatePositions': [5,0,0,0,0,0,0,0,0,0,0,0,0,0,0,9], 'lockStatus': 5");
}

void tst_NetworkFile::settingsComeBack()
{
    QFETCH(QByteArray, settings);
    VOXSimulation simulation;
    const QByteArray model = QTest::currentDataTag();
    QCOMPARE(fill(&simulation, "[{'model': '" + model + "', 'address': '000001', " + settings + "}]"),
             QString());
    QCOMPARE(simulation.settings(1), json("{" + settings + "}"));
}

void tst_NetworkFile::nodesAreAsTheyArePut()
{
    VOXSimulation simulation;
    QCOMPARE(fill(&simulation,
                  "[{'model': 'NODE', 'address': '00000E-000011', 'label': 'No. {n}'},"
                  "{'model': 'TB20', 'address': '000001', 'position': 500, 'direction': 'TURN_REVERSED',"
                  "'locks': {'network': {'locked': true}}}]"),
             QString());
    QCOMPARE(simulation.addresses().size(), 5);
    QCOMPARE(simulation.node(0x11)->nodeLabel(), QByteArray("No. 4"));
    auto &motor = *simulation.node<KVRMotorDevice>(1);
    QCOMPARE(list(motor.targetPos(), motor.startPos(), motor.status().state),
             list(500, 500, KVRMotor::STATE_LOCKED));
}

void tst_NetworkFile::stateIsKept()
{
    const QTemporaryDir folder;
    const QString name = folder.filePath("state.json");
    setContents(name, "{\"nodes\": {\"0000AA\": {\"model\": \"TB20\", \"label\": \"elsewhere\"}}}");
    const QByteArray network = "[{'model': 'TB20', 'address': '000001', 'label': 'as made'}]";
    QString problem;
    VOXSimulation simulation;
    QCOMPARE(fill(&simulation, network), QString());
    VOXStateFile state(name, simulation);
    QVERIFY2(state.load(&problem) == VOXStateFile::Taken && state.save(&problem), qPrintable(problem));
    for (const char *label : {"as made", "elsewhere"})
        QVERIFY2(contents(name).contains(label), label);

    // At most once a second, however much changes, and not for a query.
    KVRDevice &node = *simulation.node(1);
    const QSignalSpy changes(&simulation, &VOXSimulation::settingChanged);
    connect(&simulation, &VOXSimulation::settingChanged, &state, &VOXStateFile::noteChange);
    node.dispatch(frame("55 41414141414141414141414141414141", node.addr(true)));
    VOXVirtualTime::advance(500);
    node.dispatch(frame("55 42424242424242424242424242424242", node.addr(true)));
    node.dispatch(frame("45", node.addr(true)));
    QCOMPARE(changes.size(), 2);
    VOXVirtualTime::advance(499);
    QVERIFY(!contents(name).contains("BBBB"));
    VOXVirtualTime::advance(1);
    QVERIFY(contents(name).contains("BBBB"));

    VOXSimulation next;
    QCOMPARE(fill(&next, network), QString());
    QVERIFY2(VOXStateFile(name, next).load(&problem) == VOXStateFile::Taken, qPrintable(problem));
    QCOMPARE(next.node(1)->nodeLabel(), QByteArray(16, 'B'));
    // A node that is of another model now starts fresh, alone.
    VOXSimulation changed;
    fill(&changed, "[{'model': 'QM75', 'address': '000001'}, {'model': 'TB20', 'address': '0000AA'}]");
    VOXStateFile other(name, changed);
    const QSignalSpy warnings(&other, &VOXStateFile::warning);
    QVERIFY(other.load(&problem) == VOXStateFile::Taken);
    QVERIFY(warnings.size() == 1);
    QVERIFY(changed.node(1)->nodeLabel().isEmpty());
    QCOMPARE(changed.node(0xaa)->nodeLabel(), QByteArray("elsewhere"));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList("state.json"));
    QVERIFY(!VOXStateFile(folder.filePath("no/such/folder"), next).save(&problem));
    QVERIFY(problem.contains("no/such/folder"));
    const QByteArray before = contents(name);
    QVERIFY(!onAFullDisk([&] { return state.save(&problem); }));
    QVERIFY2(problem.contains("cannot write " + name + ": "), qPrintable(problem));
    QCOMPARE(contents(name), before);
    QVERIFY(VOXStateFile(folder.path(), next).load(&problem) == VOXStateFile::Unusable);
}

void tst_NetworkFile::damagedStates_data()
{
    const auto row = columns<QByteArray, QByteArray>("text", "aside");
    const QByteArray good = "'000002':{'model':'TB20','label':'kept'}";
    const auto entry = [&](const char *mistake, const QByteArray &damaged) {
        row(mistake, "{'nodes': {" + good + "," + damaged + "}}", "{'nodes': {\n" + damaged + "\n}}\n");
    };
    for (const auto &[mistake, text] :
         {std::pair("unterminated string in line 2", "{'nodes': {\n'000001': {'lab"),
          {"is to hold a JSON object", "[]"},
          {"nodes: is to be an object", "{}"}})
        row(mistake, text, text);
    entry("nodes.0000AA: is to be an object", "'0000AA': 7");
    entry("nodes.AA: is no address", "'AA': {}");
    entry("nodes.000001.limits.down: is to be",
          "'000001': {'label':'lost','limits':{'down':1},'model':'TB20'}");
}

void tst_NetworkFile::damagedStates()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, aside);
    for (QByteArray *each : {&text, &aside})
        each->replace('\'', '"');
    const QTemporaryDir folder;
    const QString name = folder.filePath("state.json");
    setContents(name, text);
    VOXSimulation simulation;
    fill(&simulation, "[{'model': 'TB20', 'address': '000001-000002', 'label': 'as made'}]");
    QString problem;
    VOXStateFile state(name, simulation);
    QVERIFY(state.load(&problem) == VOXStateFile::Damaged);
    QVERIFY2(problem.startsWith(name + ": " + QTest::currentDataTag()), qPrintable(problem));
    setContents(name + ".damaged", "another");
    QCOMPARE(state.setAside(), name + ".damaged2");
    QCOMPARE(contents(name + ".damaged2"), aside);
    QVERIFY(state.save(&problem));
    QCOMPARE(simulation.node(1)->nodeLabel(), QByteArray("as made"));
    QCOMPARE(simulation.node(2)->nodeLabel(), QByteArray(aside == text ? "as made" : "kept"));
}

void tst_NetworkFile::badInput_data()
{
    const auto row = columns<QByteArray, QByteArray>("product", "setUp");
    row("HRMV2", "HRMV2", "40");
    // Limits, a position between them, a direction, and a lock of each kind.
    const QByteArray locked(
        "11 02 00 1027,11 02 01 0000,15 02 01 6400,12 01,16 01 05,5B 00 00 05,17 01 01 05");
    for (const QByteArray product : {"TB20", "QM75", "MARLO", "TB60LV"}) {
        row(product, product, "40");
        row(product + ", set up and locked", product, locked);
    }
}

// Every length, and every value of the bytes that select: one answer by the rule or silence, and whatever is
// not acknowledged changes nothing.
void tst_NetworkFile::badInput()
{
    QFETCH(QByteArray, product);
    QFETCH(QByteArray, setUp);
    const WarningLog quiet;
    CatchingBus bus;
    VOXSimulation simulation;
    QCOMPARE(fill(&simulation, "[{'model': '" + product + "', 'address': '000001'}]"), QString());
    KVRDevice *node = simulation.node(1);
    node->attach(&bus);
    // A legacy motor answers at once, too.
    node->setProperty("stubOptions", 0);
    node->dispatch(VOXMessage());
    node->dispatch(BusMessage(frame("40", node->addr(true), VOXMessage::AckFlag).data().left(10)));
    QCOMPARE(bus.frames, QByteArrayList());
    for (const QByteArray &request : setUp.split(','))
        node->dispatch(frame(request, node->addr(true), VOXMessage::AckFlag));
    auto *motor = qobject_cast<KVRMotorDevice *>(node);
    bool isDone = false;
    QJsonObject state = simulation.settings(1);
    const auto feed = [&](int cmd, int size, QPair<int, int> values, int flags) {
        VOXMessage request(static_cast<unsigned char>(size | flags));
        request.setCmd(static_cast<unsigned char>(cmd));
        request.setSrcAddr(HostAddr);
        if (size > 11)
            request.data()[9] = char(values.first);
        if (size > 12)
            request.data()[10] = char(values.second);
        bus.frames.clear();
        node->dispatch(request);
        const VOXMessage answer(BusMessage(bus.frames.value(0)));
        const bool isData = answer.isValid()
            && (answer.cmd() == KVR::findCmd(request.cmd()).reply()
                || answer.cmd() == HRMv2::findCmd(request.cmd()).reply());
        const bool isRefused = answer.cmd() == KVR::NACK && answer.len() == 12;
        isDone = answer.cmd() == KVR::ACK;
        if (motor && (isDone || !request.isAck()))
            motor->restAt(2000);
        const bool isRight = bus.frames.size() <= 1 && (bus.frames.isEmpty() || isData || isRefused || isDone)
            && !(isDone && !request.isAck()) && !(answer.isValid() && answer.destAddr(true) != HostAddr);
        return isRight ? QByteArray() : "wrong answer " + answer.data().toHex();
    };
    const auto feedAll = [&](int cmd, int size, const QVector<QPair<int, int>> &all) {
        for (const auto &values : all.mid(0, 6))
            QCOMPARE(feed(cmd, size, values, 0), QByteArray());
        state = simulation.settings(1);
        bool isAnyDone = false;
        // After each only if need be, which takes time.
        for (const bool isClose : {false, true}) {
            for (const auto &values : all) {
                QCOMPARE(feed(cmd, size, values, VOXMessage::AckFlag), QByteArray());
                isAnyDone = isAnyDone || isDone;
                if (!isClose)
                    continue;
                const QJsonObject before = std::exchange(state, simulation.settings(1));
                QVERIFY2(isDone || state == before, "changed by a refusal");
            }
            const QJsonObject before = std::exchange(state, simulation.settings(1));
            QVERIFY2(isAnyDone || state == before, "changed by a refusal");
            if (!isAnyDone)
                return;
        }
    };
    QVector<QPair<int, int>> some, many;
    for (const int value : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 127, 128, 254, 255})
        some += {value, value & 1};
    for (int value = 0; value <= 0xFF; ++value) {
        for (const int second : value < 9 ? QVector<int>{0, 1, 2, 255} : QVector<int>{1})
            many += {value, second};
    }
    for (int cmd = 1; cmd <= 0xFF && !QTest::currentTestFailed(); ++cmd) {
        if (!KVR::findCmd(quint8(cmd)).isValid() && !HRMv2::findCmd(quint8(cmd)).isValid()) {
            feedAll(cmd, 16, some);
            continue;
        }
        for (const int size : {11, 12, 13, 14, 15, 17, 18, 26, 27, 31})
            feedAll(cmd, size, some.mid(0, size == 11 ? 1 : 16));
        feedAll(cmd, 16, many);
    }
}

QTEST_GUILESS_MAIN(tst_NetworkFile)
#include "tst_networkfile.moc"
