#include "support/broker.h"
#include "support/columns.h"
#include "support/covermodel.h"
#include "support/udppair.h"

/// The bridge as a building sees it: real brokers, simulated lines, and a model of Home Assistant's cover.
class tst_Bridge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void faults();
    void manyBridges();
    void names();
    void access_data();
    void access();
    void hostileMessages();
    void deafBrokers();
};

namespace {
const QString Program = VOX_PROGRAM;

/// A process of the program, and what it has said.
struct Tool
{
    explicit Tool(const QStringList &arguments, const QString &password = QString())
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("VOX_MQTT_PASSWORD", password);
        process.setProcessEnvironment(environment);
        process.start(Program, arguments);
    }
    ~Tool() { end(SIGKILL); }
    Q_DISABLE_COPY_MOVE(Tool)

    QByteArray out() { return said += process.readAllStandardOutput(); }
    QByteArray err() { return complained += process.readAllStandardError(); }
    bool says(const QByteArray &word, int ms)
    {
        return QTest::qWaitFor([&] { return out().contains(word); }, ms);
    }
    int end(int signal = SIGTERM)
    {
        if (process.state() == QProcess::Running)
            ::kill(pid_t(process.processId()), signal);
        (void)QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 5000);
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QProcess process;
    QByteArray said;
    QByteArray complained;
};

/// Simulated nodes, and their own account of how they are.
struct Sim
{
    Sim(const QJsonObject &nodes, const QStringList &options, const QString &url = QString())
    {
        const auto [from, to] = freeUdpPorts();
        const QString udp("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
        const QString file = folder.filePath("nodes.json");
        setContents(file, QJsonDocument(QJsonObject{{"nodes", QJsonArray{nodes}}}).toJson());
        bus = url.isEmpty() ? udp.arg(from).arg(to) : url;
        const QString own = url.isEmpty() ? udp.arg(to).arg(from) : url;
        tool = std::make_unique<Tool>(QStringList{"sim", "--config", file, "--bus", own} + options);
        ready = tool->says("\n", 10000);
        if (url == "pty:")
            bus = tool->said.split(' ').value(1).chopped(1);
    }
    void say(const QByteArray &line) const { tool->process.write(line + '\n'); }
    QMap<QByteArray, QJsonObject> nodes()
    {
        tool->out();
        tool->said.clear();
        say("status json\nfaults\nhelp");
        tool->says("quit ", 5000);
        QMap<QByteArray, QJsonObject> all;
        for (const QByteArray &line : tool->said.split('\n')) {
            const QJsonObject node = QJsonDocument::fromJson(line).object();
            if (!node.isEmpty())
                all[node["address"].toString().toLatin1()] = node;
        }
        return all;
    }

    QTemporaryDir folder;
    QString bus;
    std::unique_ptr<Tool> tool;
    bool ready = false;
};

QJsonObject motors(const QString &range, const QJsonObject &more = {})
{
    QJsonObject nodes{{"model", "TB20"}, {"address", range}, {"label", "Room {n}"}};
    nodes["limits"] = QJsonObject{{"up", 0}, {"down", 3240}};
    for (auto each = more.begin(); each != more.end(); ++each)
        nodes[each.key()] = each.value();
    return nodes;
}

QByteArray idOf(const QByteArray &line, const QByteArray &addr)
{
    return "vox_" + line + '_' + addr;
}

/// In what the model differs from what the simulation says of its nodes; empty if in nothing.
QByteArray difference(Sim &sim, const CoverModel &model, const QByteArray &line, const QByteArray &gone = {})
{
    const auto nodes = sim.nodes();
    if (nodes.isEmpty())
        return "the simulation says nothing";
    for (auto node = nodes.begin(); node != nodes.end(); ++node) {
        const QByteArray id = idOf(line, node.key());
        const auto cover = model.covers.find(id);
        if (cover == model.covers.end())
            return id + " was not found";
        if (model.isAvailable(id) == (node.key() == gone))
            return id + (node.key() == gone ? " is available" : " is not available");
        if (node.key() == gone)
            continue;
        const int down = (*node)["limits"].toObject()["down"].toInt();
        const double open = 100 - (down > 0 ? 100.0 * (*node)["position"].toInt() / down : 0);
        if ((*node)["state"] == "STATE_RUNNING")
            return id + " still moves";
        const QByteArray state = down == 0 ? "unknown" : open <= 1 ? "closed" : "open";
        if (cover->second.state() != state)
            return id + " is " + cover->second.state() + ", and truly " + state;
        const double position = cover->second.position.value_or(-1);
        if (down > 0 && qAbs(position - open) > 1)
            return id + " is at " + QByteArray::number(position) + ", and truly " + QByteArray::number(open);
    }
    return {};
}

/// Waits until there is no difference; else gives the last one.
template <typename Look>
QByteArray settle(int ms, Look look)
{
    QByteArray last;
    QElapsedTimer clock;
    clock.start();
    do {
        last = look();
        if (last.isEmpty())
            return last;
        QTest::qWait(50);
    } while (clock.elapsed() < ms);
    return last;
}

#define VERIFY_SETTLES(ms, ...) \
    do { \
        const QByteArray problem_ = settle(ms, [&]() -> QByteArray { return __VA_ARGS__; }); \
        QVERIFY2(problem_.isEmpty(), problem_); \
    } while (false)

QByteArray unless(bool is, const char *what)
{
    return is ? QByteArray() : QByteArray("not: ") + what;
}

QString writeSite(const QTemporaryDir &folder, const QString &name, const QString &broker,
                  const QJsonArray &lines)
{
    const QString file = folder.filePath(name + ".json");
    const QJsonObject site{
        {"name", name}, {"mqtt", QJsonObject{{"url", broker}}}, {"rpc", true}, {"lines", lines}};
    setContents(file, QJsonDocument(site).toJson());
    return file;
}
}

void tst_Bridge::initTestCase()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
}

void tst_Bridge::faults()
{
    const QTemporaryDir folder;
    Broker broker, frozen;
    // Sixty nodes on a line of 4800 bit/s, which is reached by a name that stays when the adapter changes.
    const QString port = folder.filePath("port");
    const QStringList paced{"--line", "4800:5-40", "--speed", "2"};
    auto north = std::make_unique<Sim>(motors("000101-00013C", {{"position", 1000}}), paced, "pty:");
    QFile::link(QUrl(north->bus).path(), port);
    Sim south(motors("000201-000206", {{"position", 1620}}), {"--speed", "4"});
    south.say("set 000203 {\"limits\":{\"up\":null,\"down\":null}}");
    for (const char *const addr : {"000202", "000203", "000204", "000205"})
        south.say(QByteArray("set ") + addr + " {\"groups\":[\"00A001\"]}");
    const QJsonObject group{{"name", "South side"}, {"members", QJsonArray{"000202-000206"}}};
    const QJsonArray lines{
        QJsonObject{{"name", "north"}, {"bus", "serial://" + port}, {"nodes", QJsonArray{"000101-00013C"}}},
        QJsonObject{{"name", "south"},
                    {"bus", south.bus},
                    {"groups", QJsonObject{{"00A001", group}}},
                    {"poll", QJsonObject{{"position", 3}, {"status", 3}}}}};
    const QString site = writeSite(folder, "hq", broker.url(), lines);
    auto bridge = std::make_unique<Tool>(QStringList{"bridge", "--config", site});
    CoverModel model(broker.port());
    QVERIFY2(bridge->says("ready hq, 2 lines, 66 nodes, mqtt://127.0.0.1:", 20000), bridge->err());

    for (const char *const topic :
         {"vox/south/+/result", "vox/south/group/+/result", "vox/south/+/attributes"})
        model.link->subscribe(topic, MqttLink::WithRetained);
    // Beside all the others: a broker that does not move for 30 s.
    Sim east(motors("000301-000305"), {"--speed", "4"});
    const Tool cold({"bridge", "--bus", east.bus, "--mqtt", frozen.url(), "--name", "east"});
    CoverModel coldModel(frozen.port());
    VERIFY_SETTLES(15000, difference(east, coldModel, "east"));
    QElapsedTimer cooling;
    cooling.start();
    frozen.freeze();
    east.say("switch 000302 down");

    VERIFY_SETTLES(20000, difference(*north, model, "north") + difference(south, model, "south"));
    QCOMPARE(model.covers[idOf("south", "000203")].config.contains("pos_t"), false);

    // By hand, locked, limits for the first time, dead; a scene, a group, a slider, and a start of Home
    // Assistant meanwhile.
    QElapsedTimer clock;
    clock.start();
    south.say("switch 000201 up");
    south.say("set 000202 {\"locks\":{\"network\":{\"locked\":true,\"priority\":9}}}");
    south.say("set 000203 {\"limits\":{\"up\":0,\"down\":3240},\"position\":3240}");
    south.say("drop 000204");
    QTest::qWait(50);
    model.press(idOf("south", "000204"), "OPEN");
    model.link->send({"vox/south/000202/set", "{\"command\":\"OPEN\",\"id\":\"l\"}", 1, false, {}, {}});
    for (int i = 1; i <= 9; ++i)
        model.setPosition(idOf("north", "00010" + QByteArray::number(i)), 60 + i);
    model.press(idOf("north", "00013C"), "CLOSE");
    int slid = 0;
    QTimer slider;
    connect(&slider, &QTimer::timeout, this, [&] {
        model.setPosition(idOf("north", "000110"), slid++ % 50 + 10);
        if (slid == 200)
            slider.stop();
    });
    slider.start(10);
    VERIFY_SETTLES(6000, unless(model.covers[idOf("north", "00013C")].state() == "closing", "closing"));
    VERIFY_SETTLES(9000, unless(model.covers[idOf("south", "000201")].position == 100, "seen by hand"));
    VERIFY_SETTLES(9000, unless(model.last["vox/south/000202/result"].contains("NODE_IS_LOCKED"), "refused"));
    VERIFY_SETTLES(9000, unless(model.covers[idOf("south", "000203")].state() == "closed", "limits"));
    VERIFY_SETTLES(12500 - int(clock.elapsed()), unless(!model.isAvailable(idOf("south", "000204")), "dead"));
    VERIFY_SETTLES(10000, difference(south, model, "south", "000204"));
    QVERIFY(model.last["vox/south/000202/attributes"].contains("\"locked\":true"));
    const auto isAt = [&](const char *addr, double position) {
        return unless(model.covers[idOf("north", addr)].position == position, addr);
    };
    VERIFY_SETTLES(30000, isAt("000110", 59) + isAt("000109", 69) + difference(*north, model, "north"));
    south.say("clear");
    south.say("set 000202 {\"locks\":{\"network\":{\"locked\":false,\"priority\":9}}}");
    VERIFY_SETTLES(15000, difference(south, model, "south"));
    model.link->send({"vox/south/group/00A001/set", "{\"position\":30,\"id\":\"g\"}", 1, false, {}, {}});
    VERIFY_SETTLES(12000,
                   unless(model.last["vox/south/group/00A001/result"].contains("\"id\":\"g\""), "result"));
    const QByteArray result = model.last["vox/south/group/00A001/result"];
    QVERIFY2(result.contains("\"asked\":5,\"done\":5") && result.contains("\"ok\":true"), result);
    VERIFY_SETTLES(15000, difference(south, model, "south"));
    const auto &whole = model.covers[idOf("south", "group_00A001")];
    VERIFY_SETTLES(
        9000, whole.position == 30 ? QByteArray() : "the group is at " + QByteArray::number(*whole.position));
    model.restart(broker.port());
    VERIFY_SETTLES(6000, difference(*north, model, "north") + difference(south, model, "south"));

    // The broker killed, while somebody moves a motor by hand.
    broker.kill();
    QVERIFY(QTest::qWaitFor([&] { return !model.isAvailable(idOf("north", "000101")); }));
    south.say("switch 000205 down");
    QTest::qWait(500);
    broker.start();
    VERIFY_SETTLES(5000, unless(model.link->isConnected(), "back"));
    VERIFY_SETTLES(9000, difference(*north, model, "north") + difference(south, model, "south"));

    // The adapter pulled, and back with the motors elsewhere.
    clock.start();
    // Another test may get the same pseudo-terminal meanwhile.
    QFile::remove(port);
    north.reset();
    VERIFY_SETTLES(2000, unless(!model.isAvailable(idOf("north", "000101")), "pulled"));
    QVERIFY(model.isAvailable(idOf("south", "000201")));
    north = std::make_unique<Sim>(motors("000101-00013C", {{"position", 500}}), paced, "pty:");
    QFile::link(QUrl(north->bus).path(), port);
    VERIFY_SETTLES(20000, difference(*north, model, "north"));

    // The bridge killed: its will, and then all of it anew. A node is gone from the site meanwhile.
    clock.start();
    bridge->end(SIGKILL);
    VERIFY_SETTLES(6500, unless(!model.isAvailable(idOf("south", "000201")), "the will"));
    QVERIFY2(clock.elapsed() > 4500, "the will is not to come at a short break");
    QJsonArray fewer = lines;
    fewer[0] =
        QJsonObject{{"name", "north"}, {"bus", "serial://" + port}, {"nodes", QJsonArray{"000102-00013C"}}};
    bridge = std::make_unique<Tool>(
        QStringList{"bridge", "--config", writeSite(folder, "hq", broker.url(), fewer)});
    QVERIFY2(bridge->says("ready hq, 2 lines, 65 nodes", 20000), bridge->err());
    VERIFY_SETTLES(5000, unless(model.covers.count(idOf("north", "000101")) == 0, "gone"));
    VERIFY_SETTLES(15000, difference(south, model, "south"));

    // The frozen broker lives again. It may have lost the connections, and must have lost no change.
    QTest::qWait(qMax(0, 30000 - int(cooling.elapsed())));
    frozen.thaw();
    VERIFY_SETTLES(40000, difference(east, coldModel, "east"));
    QCOMPARE(coldModel.covers[idOf("east", "000302")].state(), QByteArray("closed"));

    // A goodbye is said at once.
    QCOMPARE(bridge->end(SIGTERM), 0);
    VERIFY_SETTLES(1000, unless(!model.isAvailable(idOf("south", "000201")), "goodbye"));
    QCOMPARE(model.faults + coldModel.faults, QStringList());
    QVERIFY(model.rows > 100);
}

void tst_Bridge::manyBridges()
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

void tst_Bridge::names()
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

void tst_Bridge::access_data()
{
    const auto row = columns<QStringList, QString, QByteArray>("options", "password", "said");
    row("with a password", {"--mqtt", "mqtt://anna@%1"}, "secret-1", "ready");
    row("with a wrong one", {"--mqtt", "mqtt://anna@%1"}, "secret-2", "it refuses: ");
    row("with 3.1.1", {"--mqtt", "mqtt://anna@%1", "--mqtt-version", "3"}, "secret-1", "ready");
    row("with a password in the URL", {"--mqtt", "mqtt://anna:secret-1@%1"}, "",
        "does not belong into the URL");
    row("with a file that all may read", {"--mqtt", "mqtt://anna@%1", "--password-file", "/etc/passwd"}, "",
        "chmod o-r /etc/passwd");
    row("with TLS", {"--mqtt", "mqtts://anna@%2", "--ca", "%3/ca.pem"}, "secret-1", "ready");
    row("with TLS, of somebody else", {"--mqtt", "mqtts://anna@%2"}, "secret-1", "tried again");
    row("where it may not read", {"--mqtt", "mqtt://berta@%1"}, "secret-1",
        "does not pass on what is said on vox/bridge/hq/availability");
}

void tst_Bridge::access()
{
    QFETCH(QStringList, options);
    QFETCH(QString, password);
    QFETCH(QByteArray, said);
    const QTemporaryDir folder;
    const auto run = [&](const QString &program, const QStringList &arguments) {
        QProcess process;
        process.setWorkingDirectory(folder.path());
        process.start(program, arguments);
        QVERIFY2(process.waitForFinished() && process.exitCode() == 0, process.readAllStandardError());
    };
    run("mosquitto_passwd", {"-c", "-b", "passwords", "anna", "secret-1"});
    run("mosquitto_passwd", {"-b", "passwords", "berta", "secret-1"});
    const QStringList certificate{
        "req",     "-x509",   "-newkey",       "rsa:2048", "-nodes",
        "-keyout", "key.pem", "-out",          "ca.pem",   "-days",
        "2",       "-subj",   "/CN=127.0.0.1", "-addext",  "subjectAltName=IP:127.0.0.1"};
    run("openssl", certificate);
    setContents(folder.filePath("acl"), "user anna\ntopic readwrite #\nuser berta\ntopic write vox/#\n");
    QTcpServer tls;
    tls.listen(QHostAddress::LocalHost);
    const quint16 tlsPort = tls.serverPort();
    tls.close();
    const QByteArray place = folder.path().toUtf8();
    const Broker broker("allow_anonymous false\npassword_file " + place + "/passwords\nacl_file " + place
                        + "/acl\nlistener " + QByteArray::number(tlsPort) + " 127.0.0.1\ncertfile " + place
                        + "/ca.pem\nkeyfile " + place + "/key.pem\n");
    Sim sim(motors("000101"), {});
    for (QString &option : options)
        option.replace("%1", QString("127.0.0.1:%1").arg(broker.port()))
            .replace("%2", QString("127.0.0.1:%1").arg(tlsPort))
            .replace("%3", folder.path());
    Tool bridge(QStringList{"bridge", "--bus", sim.bus, "--name", "hq"} + options, password);
    QVERIFY2(QTest::qWaitFor([&] { return (bridge.out() + bridge.err()).contains(said); }, 15000),
             bridge.out() + bridge.err());
    QVERIFY2(!(bridge.out() + bridge.err()).contains("secret"), "a secret is told");
}

void tst_Bridge::hostileMessages()
{
    const Broker broker;
    const QTemporaryDir folder;
    Sim sim(motors("000101-000103", {{"position", 1620}}), {"--speed", "4"});
    CoverModel model(broker.port());
    QTRY_VERIFY(model.link->isConnected());
    model.link->subscribe("vox/#", MqttLink::WithRetained);
    const auto send = [&](const QByteArray &topic, const QByteArray &payload, bool isRetained = false) {
        model.link->send({topic, payload, 1, isRetained, {}, {}});
    };
    send("vox/hq/000101/set", "CLOSE", true);
    for (const char *const version : {"5", "3"}) {
        const QJsonArray lines{QJsonObject{{"name", "hq"}, {"bus", sim.bus}}};
        const QString site = writeSite(folder, "hq", broker.url(), lines);
        if (*version == '3')
            setContents(site, contents(site).replace("\"url\"", "\"version\": 3, \"url\""));
        Tool bridge({"bridge", "--config", site});
        QVERIFY2(bridge.says("ready", 10000), bridge.err());
        const QByteArray deep = QByteArray(900, '[') + QByteArray(100, ']');
        for (const QByteArray &bad :
             {QByteArray(), QByteArray("open"), QByteArray("101"), deep, QByteArray("{\"position\":1e999}"),
              QByteArray("\xff\xfe\0x", 4), QByteArray("{\"position\":40,\"x\":1}"), QByteArray(2000, '4')}) {
            for (const char *const topic :
                 {"vox/hq/000101/set", "vox/hq/000101/position/set", "vox/hq/all/set", "vox/hq/000101/rpc",
                  "vox/hq/000999/set", "vox/hq/x/y/set", "vox/hq/group/00A001/set", "vox/all/set",
                  "homeassistant/status"})
                send(topic, bad);
        }
        send("vox/hq/000101/rpc", "{\"operation\":\"getMotorLimits\",\"id\":\"r\"}");
        VERIFY_SETTLES(5000,
                       unless(model.last["vox/hq/000101/rpc/result"].contains("\"downLimit\":3240"), "rpc"));
        QVERIFY(model.last["vox/hq/000101/rpc/result"].contains("\"id\":\"r\""));
        send("vox/hq/000101/rpc",
             "{\"operation\":\"setMotorLimits\",\"arguments\":[\"LIMIT_SHIFT_UP\",1],\"id\":\"s\"}");
        VERIFY_SETTLES(5000,
                       unless(model.last["vox/hq/000101/rpc/result"].contains("\"error\""), "rpc refused"));
        // The last topic in lower case, by a name of another kind, and obeyed all the same.
        send("vox/hq/000103/set", "{\"command\":\"OPEN\",\"id\":\"x\"}");
        VERIFY_SETTLES(9000,
                       unless(model.last["vox/hq/000103/result"].contains("\"id\":\"x\",\"ms\""), "obeyed"));
        VERIFY_SETTLES(9000, difference(sim, model, "hq"));
        QCOMPARE(model.covers["vox_hq_000101"].position, 50.0);
        QVERIFY2(bridge.err().count('\n') < 30, bridge.err());
        // MQTT 5 does not even ask for what is retained.
        QCOMPARE(bridge.err().contains("holds a retained command"), *version == '3');
        model.last.clear();
        QCOMPARE(bridge.end(), 0);
    }
    QCOMPARE(model.faults, QStringList());
}

void tst_Bridge::deafBrokers()
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

QTEST_GUILESS_MAIN(tst_Bridge)
#include "tst_bridge.moc"
