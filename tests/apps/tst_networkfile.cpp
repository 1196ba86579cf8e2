#include "devices/kvrmotordevice.h"
#include "support/frames.h"
#include "vox/sim/networkfile.h"
#include "vox/sim/nodesettings.h"
#include "vox/sim/simulation.h"
#include "vox/sim/statefile.h"

#include <QJsonDocument>
#include <QtTest>

/// The files that a simulation is made from and kept in.
class tst_NetworkFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mistakes_data();
    void mistakes();
    void settingsComeBack_data();
    void settingsComeBack();
    void ranges();
    void motorsRestWhereTheyArePut();
    void stateIsKept();
    void damagedStates_data();
    void damagedStates();
};

namespace {
QJsonObject json(const QByteArray &text)
{
    return QJsonDocument::fromJson(QByteArray(text).replace('\'', '"')).object();
}

struct StateFolder
{
    QTemporaryDir folder;
    QString name = folder.filePath("state.json");

    QByteArray text() const
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void write(const QByteArray &text) const
    {
        QFile file(name);
        if (file.open(QIODevice::WriteOnly))
            file.write(text);
    }
};
}

void tst_NetworkFile::mistakes_data()
{
    QTest::addColumn<QByteArray>("nodes");
    QTest::addColumn<QString>("mistake");
    const auto row = [](const QByteArray &nodes, const char *mistake) {
        QTest::newRow(mistake) << nodes << QString(mistake);
    };
    // clang-format off: the nodes of a network, and the mistake in them
    row("7", "nodes: is to be an array");
    row("[7]", "nodes[0]: is to be an object");
    row("[{'model': 'TB20', 'address': '000001', 'colour': 1}]",
        "nodes[0].colour: unknown; one of model, address, label, serial");
    row("[{'address': '000001'}]", "nodes[0].model: is to be a text");
    row("[{'model': 'TB99', 'address': '000001'}]", "nodes[0].model: is to be one of NODE, TB20");
    row("[{'model': 'TB20', 'address': 1}]", "nodes[0].address: is to be a text");
    row("[{'model': 'TB20', 'address': '1'}]",
        "nodes[0].address: is to be an address of six hexadecimal digits, or a range");
    row("[{'model': 'TB20', 'address': '000002-000001'}]", "nodes[0].address: a range goes up");
    row("[{'model': 'TB20', 'address': '000000-7FFFFF'}]",
        "nodes[0].address: a network has 65536 nodes at most");
    row("[{'model': 'TB20', 'address': '00FFFF-010001'}]", "nodes[0].address: 010000 is no node's address");
    row("[{'model': 'TB20', 'address': '000001-000009'}, {'model': 'NODE', 'address': '000009'}]",
        "nodes[1].address: two nodes with address 000009");
    row("[{'model': 'TB20', 'address': '000001', 'label': 'seventeen letters'}]",
        "nodes[0].label: has 17 characters, and 16 is the most");
    row("[{'model': 'TB20', 'address': '000001', 'label': '\\u0416'}]",
        "nodes[0].label: has a character that is not of Latin-1");
    row("[{'model': 'TB20', 'address': '000001', 'versions': {'stack': '1'}}]",
        "nodes[0].versions.stack: is to be a version");
    row("[{'model': 'TB20', 'address': '000001', 'groups': ['00A001', 'G2']}]",
        "nodes[0].groups[1]: is to be an address");
    row("[{'model': 'TB20', 'address': '000001', 'groups': [1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17]}]",
        "nodes[0].groups: has 17 elements, and 16 is the most");
    row("[{'model': 'NODE', 'address': '000001', 'limits': {}}]",
        "nodes[0].limits: this model has no such setting");
    row("[{'model': 'TB20', 'address': '000001', 'limits': {'down': 323}}]",
        "nodes[0].limits.down: is to be a whole number from 324 to 64767");
    row("[{'model': 'TB20', 'address': '000001', 'limits': {'down': 500.5}}]",
        "nodes[0].limits.down: is to be a whole number");
    row("[{'model': 'TB20', 'address': '000001', 'limits': {'top': 0}}]",
        "nodes[0].limits.top: unknown; one of up, down");
    row("[{'model': 'TB20', 'address': '000001', 'speeds': {'up': 10}}]",
        "nodes[0].speeds: this model does not run at these speeds");
    row("[{'model': 'TB20', 'address': '000001', 'appMode': 'ROLLER'}]",
        "nodes[0].appMode: this model has no app modes");
    row("[{'model': 'MARLO', 'address': '000001', 'appMode': 'ROLLER'}]",
        "nodes[0].appMode: this model has CURTAIN only");
    row("[{'model': 'MARLO', 'address': '000001', 'direction': 'LEFT'}]",
        "nodes[0].direction: is to be one of TURN_NORMAL, TURN_REVERSED");
    row("[{'model': 'QM75', 'address': '000001', 'locks': {'dct': [{'locked': true}]}}]",
        "nodes[0].locks.dct: has 1 elements, and 0 is the most");
    row("[{'model': 'QM75', 'address': '000001', 'locks': {'network': {'locked': 1}}}]",
        "nodes[0].locks.network.locked: is to be true or false");
    row("[{'model': 'QM75', 'address': '000001', 'diagnostics': {'resetCount': 65536}}]",
        "nodes[0].diagnostics.resetCount: is to be a whole number from 0 to 65535");
    row("[], 'faults': ['drop all', 'wiggle']", "faults[1]: 'wiggle' is no fault");
    row("[], 'faults': [7]", "faults[0]: is to be a text");
    // clang-format on
}

void tst_NetworkFile::mistakes()
{
    QFETCH(QByteArray, nodes);
    QFETCH(QString, mistake);
    Simulation simulation;
    QString problem;
    QVERIFY(!readNetwork(json("{'nodes': " + nodes + "}"), &simulation, &problem));
    QVERIFY2(problem.startsWith(mistake), qPrintable(problem));
}

void tst_NetworkFile::settingsComeBack_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QByteArray>("settings");
    const QByteArray node =
        "'label': 'Caf\u00e9', 'groups': ['00A001', null, '00A0FF'], 'network': {'broadcast': false,"
        "'maxRand': 7, 'supervision': true, 'supervisionPeriod': 300, 'deaf': true, 'maxRetryCount': 9}";
    const QByteArray motor = node
        + ", 'direction': 'TURN_REVERSED', 'limits': {'up': 0, 'down': 5000}, 'position': 700,"
          "'intermediatePositions': [5, null, 65534], 'locks': {'network': {'locked': true, 'priority': 3,"
          "'source': '00ABCD'}, 'dct': [{'locked': true, 'priority': 4, 'source': '00ABCE'}]}, ";
    QTest::newRow("NODE") << "NODE" << node;
    QTest::newRow("TB20") << "TB20" << motor + "'speeds': {'up': 10, 'down': 10, 'slow': 8}";
    QTest::newRow("QM75") << "QM75"
                          << QByteArray(motor).replace(
                                 "'dct': [{'locked': true, 'priority': 4, 'source': '00ABCE'}]", "'dct': []")
            + "'appMode': 'ROLLER', 'speeds': {'up': 40, 'down': 40, 'slow': 40}";
    QTest::newRow("MARLO") << "MARLO"
                           << motor + "'appMode': 'CURTAIN', 'speeds': {'up': 87, 'down': 87, 'slow': 87}";
    QTest::newRow("TB60LV") << "TB60LV"
                            << motor
            + "'appMode': 'ROLLER', 'speeds': {'up': 20, 'down': 21, 'slow': 10},"
              "'softStart': {'on': true, 'value': 1}, 'softStop': {'on': true, 'value': 2},"
              "'torque': {'limited': false, 'level': 1, 'parameter': 77}";
    QTest::newRow("HRMV2") << "HRMV2"
                           << node
            + ", 'intermediatePositions': [5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9], 'lockStatus': 5";
}

void tst_NetworkFile::settingsComeBack()
{
    QFETCH(QString, model);
    QFETCH(QByteArray, settings);
    const QByteArray text = "'model': '" + model.toLatin1() + "', 'address': '000001', " + settings;
    Simulation simulation;
    QString problem;
    QVERIFY2(readNetwork(json("{'nodes': [{" + text + "}]}"), &simulation, &problem), qPrintable(problem));
    QCOMPARE(settingsOf(*simulation.nodes().front().device), json("{" + settings + "}"));
}

void tst_NetworkFile::ranges()
{
    Simulation simulation;
    QString problem;
    QVERIFY(
        readNetwork(json("{'nodes': [{'model': 'NODE', 'address': '00000E-000011', 'label': 'No. {n}'}]}"),
                    &simulation, &problem));
    QCOMPARE(simulation.nodes().size(), std::size_t(4));
    QCOMPARE(simulation.find(0x11)->device->nodeLabel(), QByteArray("No. 4"));
}

void tst_NetworkFile::motorsRestWhereTheyArePut()
{
    Simulation simulation;
    QString problem;
    QVERIFY(readNetwork(json("{'nodes': [{'model': 'TB20', 'address': '000001', 'position': 500,"
                             "'direction': 'TURN_REVERSED', 'locks': {'network': {'locked': true}}}]}"),
                        &simulation, &problem));
    auto &motor = static_cast<KVRMotorDevice &>(*simulation.nodes().front().device);
    QVERIFY(motor.targetPos() == 500 && motor.startPos() == 500);
    QCOMPARE(motor.status().state, KVRMotor::STATE_LOCKED);
}

void tst_NetworkFile::stateIsKept()
{
    const StateFolder files;
    files.write("{\"nodes\": {\"0000AA\": {\"model\": \"TB20\", \"label\": \"elsewhere\"}}}");
    const QJsonObject network =
        json("{'nodes': [{'model': 'TB20', 'address': '000001', 'label': 'as made'}]}");
    QString problem;
    Simulation simulation;
    QVERIFY(readNetwork(network, &simulation, &problem));
    StateFile state(files.name, simulation);
    QVERIFY2(state.load(&problem) == StateFile::Taken && state.save(&problem), qPrintable(problem));
    QVERIFY(files.text().contains("as made") && files.text().contains("elsewhere"));

    // At most once a second, however much changes, and not for a query.
    KVRDevice &node = *simulation.nodes().front().device;
    int changes = 0;
    simulation.onSettingChanged = [&](KVRDevice &changed) {
        ++changes;
        state.noteChange(changed);
    };
    QElapsedTimer clock;
    clock.start();
    node.dispatch(frame("55 41414141414141414141414141414141", node.addr(true)));
    node.dispatch(frame("55 42424242424242424242424242424242", node.addr(true)));
    node.dispatch(frame("45", node.addr(true)));
    QCOMPARE(changes, 2);
    QVERIFY(!files.text().contains("BBBB"));
    QTRY_VERIFY(files.text().contains("BBBB"));
    QVERIFY(clock.elapsed() >= 900);

    Simulation next;
    QVERIFY(readNetwork(network, &next, &problem));
    StateFile kept(files.name, next);
    QVERIFY2(kept.load(&problem) == StateFile::Taken, qPrintable(problem));
    QCOMPARE(next.find(1)->device->nodeLabel(), QByteArray(16, 'B'));
    // A node that is of another model now starts fresh, alone.
    Simulation changed;
    QVERIFY(changed.add(*findNodeModel("QM75"), 1, &problem)
            && changed.add(*findNodeModel("TB20"), 0xaa, &problem));
    QVERIFY(StateFile(files.name, changed).load(&problem) == StateFile::Taken);
    QVERIFY(changed.find(1)->device->nodeLabel().isEmpty());
    QCOMPARE(changed.find(0xaa)->device->nodeLabel(), QByteArray("elsewhere"));
    QVERIFY(QDir(files.folder.path()).entryList(QDir::Files).size() == 1);
    StateFile nowhere(files.folder.filePath("no/such/folder"), next);
    QVERIFY(!nowhere.save(&problem) && problem.contains("no/such/folder"));
    StateFile folder(files.folder.path(), next);
    QVERIFY(folder.load(&problem) == StateFile::Unusable);
}

void tst_NetworkFile::damagedStates_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("mistake");
    QTest::newRow("cut off") << QByteArray("{\"nodes\": {\n\"000001\": {\"label")
                             << "unterminated string in line 2";
    QTest::newRow("another form") << QByteArray("[]") << "is to hold a JSON object";
    QTest::newRow("no nodes") << QByteArray("{}") << "nodes: is to be an object";
    QTest::newRow("an entry that is none")
        << QByteArray("{\"nodes\": {\"0000AA\": 7}}") << "nodes.0000AA: is to be an object";
    QTest::newRow("a value out of range")
        << QByteArray("{\"nodes\": {\"000001\": {\"model\": \"TB20\", \"limits\": {\"down\": 1}}}}")
        << "nodes.000001.limits.down: is to be";
}

void tst_NetworkFile::damagedStates()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, mistake);
    const StateFolder files;
    files.write(text);
    Simulation simulation;
    QString problem;
    QVERIFY(simulation.add(*findNodeModel("TB20"), 1, &problem));
    StateFile state(files.name, simulation);
    QVERIFY(state.load(&problem) == StateFile::Damaged);
    QVERIFY2(problem.startsWith(files.name + ": " + mistake), qPrintable(problem));
    QCOMPARE(state.setAside(), files.name + ".damaged");
    QVERIFY(files.text().isEmpty() && QFile(files.name + ".damaged").size() == text.size());
    files.write(text);
    QCOMPARE(state.setAside(), files.name + ".damaged2");
}

QTEST_GUILESS_MAIN(tst_NetworkFile)
#include "tst_networkfile.moc"
