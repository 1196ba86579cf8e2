#include "support/bridgesite.h"
#include "support/columns.h"

/// Who may speak to a bridge, and messages that mean no good.
class tst_BridgeAccess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void access_data();
    void access();
    void hostileMessages();
    void floods();

private:
    void make(const QString &program, const QStringList &arguments) const;

    const QTemporaryDir m_folder;
};

namespace {
const QString Secret = "VOX_MQTT_PASSWORD=secret-1";
}

void tst_BridgeAccess::make(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.start(program, arguments);
    QVERIFY2(process.waitForFinished() && process.exitCode() == 0, process.readAllStandardError());
}

void tst_BridgeAccess::initTestCase()
{
    if (!MqttLink::isAvailable() || !Broker::isThere())
        QSKIP("needs mosquitto and libmosquitto-dev");
    make("mosquitto_passwd", {"-c", "-b", "passwords", "anna", "secret-1"});
    make("mosquitto_passwd", {"-b", "passwords", "berta", "secret-1"});
    setContents(m_folder.filePath("acl"), "user anna\ntopic readwrite #\nuser berta\ntopic write vox/#\n");
    for (const char *const name : {"password", "given/mqtt-password", "empty/mqtt-password"}) {
        const QString file = m_folder.filePath(name);
        QDir().mkpath(QFileInfo(file).path());
        setContents(file, QByteArray(name).startsWith("empty") ? "\n" : "secret-1\n");
        QFile::setPermissions(file, QFile::ReadOwner);
    }
    // Who signs, the broker, a client, and one that nobody has signed.
    const QString create = "req -x509 -nodes -days 2 -newkey ec -pkeyopt ec_paramgen_curve:P-256 ";
    for (const char *const more : {"-keyout ca.key -out ca.pem -subj /CN=ca",
                                   "-CA ca.pem -CAkey ca.key -keyout own.key -out own.pem -subj /CN=own "
                                   "-addext subjectAltName=IP:127.0.0.1",
                                   "-CA ca.pem -CAkey ca.key -keyout anna.key -out anna.pem -subj /CN=anna",
                                   "-keyout other.key -out other.pem -subj /CN=anna"})
        make("openssl", (create + more).split(' '));
}

void tst_BridgeAccess::access_data()
{
    const auto row = columns<QString, QString, QByteArray>("options", "environment", "said");
    // %1 asks for a password, %2 is the same with TLS, and %3 asks for a certificate, too; %4 is the folder.
    row("with a password", "--mqtt mqtt://anna@%1", Secret, "ready");
    row("with a wrong one", "--mqtt mqtt://anna@%1", "VOX_MQTT_PASSWORD=secret-2", "it refuses: ");
    row("with 3.1.1", "--mqtt mqtt://anna@%1 --mqtt-version 3", Secret, "ready");
    row("with a file", "--mqtt mqtt://anna@%1 --password-file %4/password", "", "ready");
    row("with a credential of the system", "--mqtt mqtt://anna@%1", "CREDENTIALS_DIRECTORY=%4/given",
        "ready");
    row("with an empty credential", "--mqtt mqtt://anna@%1", "CREDENTIALS_DIRECTORY=%4/empty " + Secret,
        "ready");
    row("with a password in the URL", "--mqtt mqtt://anna:secret-1@%1", "", "does not belong into the URL");
    row("with a file that all may read", "--mqtt mqtt://anna@%1 --password-file /etc/passwd", "",
        "chmod o-r /etc/passwd");
    row("where it may not read", "--mqtt mqtt://berta@%1", Secret,
        "does not pass on what is said on vox/bridge/hq/availability");
    row("with TLS", "--mqtt mqtts://anna@%2 --ca %4/ca.pem", Secret, "ready");
    row("with TLS, of somebody else", "--mqtt mqtts://anna@%2 --ca %4/other.pem", Secret,
        "is its certificate signed by what --ca names?");
    const QString asked = "--mqtt mqtts://anna@%3 --ca %4/ca.pem";
    row("with a certificate", asked + " --cert %4/anna.pem --key %4/anna.key", Secret, "ready");
    row("with one, and 3.1.1", asked + " --cert %4/anna.pem --key %4/anna.key --mqtt-version 3", Secret,
        "ready");
    row("without one", asked, Secret, "does it want a certificate, by --cert and --key?");
    row("with one that nobody has signed", asked + " --cert %4/other.pem --key %4/other.key", Secret,
        "does it accept the certificate of --cert?");
    row("with a key of another one", asked + " --cert %4/anna.pem --key %4/other.key", Secret,
        "does --key belong to --cert?");
    row("with one that is not there", asked + " --cert %4/none.pem --key %4/anna.key", Secret,
        "/none.pem: No such file");
}

void tst_BridgeAccess::access()
{
    QFETCH(QString, options);
    QFETCH(QString, environment);
    QFETCH(QByteArray, said);
    QTcpServer tls, strict;
    tls.listen(QHostAddress::LocalHost);
    strict.listen(QHostAddress::LocalHost);
    const quint16 ports[] = {tls.serverPort(), strict.serverPort()};
    tls.close();
    strict.close();
    QByteArray settings = "allow_anonymous false\npassword_file %1/passwords\nacl_file %1/acl\n";
    for (const quint16 port : ports)
        settings += "listener " + QByteArray::number(port)
            + " 127.0.0.1\ncafile %1/ca.pem\ncertfile %1/own.pem\nkeyfile %1/own.key\n";
    settings += "require_certificate true\n";
    const Broker broker(settings.replace("%1", m_folder.path().toUtf8()));
    Sim sim(motors("000101"), {});
    const QString places[] = {QString::number(broker.port()), QString::number(ports[0]),
                              QString::number(ports[1])};
    for (int i = 0; i < 3; ++i)
        options.replace('%' + QString::number(i + 1), "127.0.0.1:" + places[i]);
    options.replace("%4", m_folder.path());
    environment.replace("%4", m_folder.path());
    Tool bridge(QStringList{"bridge", "--bus", sim.bus, "--name", "hq"} + options.split(' '),
                environment.split(' '));
    QVERIFY2(QTest::qWaitFor([&] { return (bridge.out() + bridge.err()).contains(said); }, 15000),
             bridge.out() + bridge.err());
    QVERIFY2(!(bridge.out() + bridge.err()).contains("secret"), "a secret is told");
}

void tst_BridgeAccess::hostileMessages()
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

/// All stops get through while others command as much as they can.
void tst_BridgeAccess::floods()
{
    constexpr int Stops = 8;
    const Broker broker;
    Sim sim(motors("000101-00013C"), {"--line", "4800:5-40", "--speed", "2"}, "pty:");
    const QJsonArray lines{
        QJsonObject{{"name", "hq"}, {"bus", sim.bus}, {"nodes", QJsonArray{"000101-00013C"}}}};
    const QTemporaryDir folder;
    Tool bridge({"bridge", "--config", writeSite(folder, "hq", broker.url(), lines)});
    QVERIFY2(bridge.says("60 nodes", 20000), bridge.err());
    CoverModel model(broker.port());
    VERIFY_SETTLES(15000, unless(model.isAvailable("vox_hq_00013C"), "the last motor"));
    model.link->subscribe("vox/hq/00013C/result", MqttLink::WithoutRetained);
    int sent = 0;
    QTimer flood;
    QElapsedTimer clock;
    connect(&flood, &QTimer::timeout, this, [&] {
        // Ten thousand a second.
        for (const qint64 due = clock.elapsed() * 10; sent < due; ++sent) {
            const QByteArray addr =
                QByteArray::number(0x101 + sent % 59, 16).rightJustified(6, '0').toUpper();
            model.link->send({"vox/hq/" + addr + "/set",
                              "{\"position\":" + QByteArray::number(sent / 59 % 101) + '}',
                              0,
                              false,
                              {},
                              {}});
        }
    });
    clock.start();
    flood.start(1);
    for (int i = 0; i < Stops; ++i) {
        VERIFY_SETTLES(5000, unless(sent >= 2500 * (i + 1), "a flood"));
        const QByteArray id = "\"id\":\"s" + QByteArray::number(i) + "\"";
        model.link->send({"vox/hq/00013C/set", "{\"command\":\"STOP\"," + id + '}', 1, false, {}, {}});
        VERIFY_SETTLES(2000, unless(model.last["vox/hq/00013C/result"].contains(id), "answered"));
        const QByteArray result = model.last["vox/hq/00013C/result"];
        QVERIFY2(result.contains("\"ok\":true"), result);
    }
}

QTEST_GUILESS_MAIN(tst_BridgeAccess)
#include "tst_bridgeaccess.moc"
