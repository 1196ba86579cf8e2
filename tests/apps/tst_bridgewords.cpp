#include "support/columns.h"
#include "vox/bridge/bridgetopics.h"
#include "vox/bridge/commandbox.h"
#include "vox/bridge/covercommand.h"
#include "vox/bridge/covervalues.h"
#include "vox/bridge/nameguard.h"
#include "vox/bridge/publisher.h"
#include "vox/bridge/siteconfig.h"

#include <QJsonDocument>
#include <QtTest>

/// What the bridge reads and says, without a broker.
class tst_BridgeWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commands();
    void positions();
    void topics();
    void sites_data();
    void sites();
    void brokers();
    void aBoxKeepsTheNewest();
    void aPublisherWaits();
    void aNameIsClaimed();
    void aBuildWithoutTheLibrary();
};

void tst_BridgeWords::commands()
{
    const auto read = [](const QByteArray &payload) {
        CoverCommand command;
        QString problem;
        return CoverCommand::read(payload, &command, &problem)
            ? list(int(command.kind), command.value, command.id)
            : "no: " + problem.left(10) + QString::fromUtf8(command.id);
    };
    QCOMPARE(read(" OPEN\n"), list(0, 0, ""));
    QCOMPARE(read("STOP"), list(2, 0, ""));
    QCOMPARE(read("{\"position\":40.5,\"id\":\"a1\"}"), list(4, 41, "a1"));
    QCOMPARE(read("{\"ip\":16}"), list(5, 16, ""));
    QCOMPARE(read("{\"command\":\"WINK\"}"), list(3, 0, ""));
    // Refused, by a result with the id where there is one.
    QCOMPARE(read("{\"position\":101,\"id\":\"a1\"}"), "no: a positiona1");
    for (const char *const bad :
         {"open", "", "40", "{}", "{\"ip\":0}", "{\"ip\":17}", "{\"ip\":1.5}", "{\"id\":\"x\"}",
          "{\"position\":null}", "{\"position\":-1}", "{\"position\":40,\"ip\":1}",
          "{\"position\":40,\"id\":7}", "{\"position\":40,\"id\":\"\\u0007\"}", "{\"position\":40,\"y\":1}",
          "[[[[[1]]]]]", "{\"command\":\"open\"}"})
        QVERIFY2(read(bad).startsWith("no: "), bad);
    QVERIFY(read('{' + QByteArray(1024, ' ') + "\"ip\":1}").startsWith("no: it has mor"));
    QVERIFY(isShallow("{\"[[[[[\\\"[[\":[1]}", 2));
}

void tst_BridgeWords::positions()
{
    const auto read = [](const QByteArray &payload) {
        CoverCommand command;
        QString problem;
        return CoverCommand::readPosition(payload, &command, &problem) ? command.value : -1;
    };
    for (const auto &row : std::vector<std::pair<QByteArray, int>>{{"40", 40},
                                                                   {" 40.0\n", 40},
                                                                   {"40.7", 41},
                                                                   {"0.5", 1},
                                                                   {"0", 0},
                                                                   {"100", 100},
                                                                   {"100.1", -1},
                                                                   {"1e1", -1},
                                                                   {"nan", -1},
                                                                   {"inf", -1},
                                                                   {"-1", -1},
                                                                   {"0x10", -1},
                                                                   {"", -1},
                                                                   {".", -1},
                                                                   {"4.", -1},
                                                                   {"1.2.3", -1},
                                                                   {QByteArray(2000, '1'), -1}})
        QCOMPARE(list(row.first, read(row.first)), list(row.first, row.second));
    // Closed and open only at the limits; the way down is the way to closed.
    const auto text = [](double percent, bool isInverted, int tolerance) {
        CoverValues values;
        values.position = CoverValues::positionOf(percent, isInverted, tolerance);
        return values.positionText() + ' ' + values.stateText();
    };
    QCOMPARE(text(0, false, 1), "100 open");
    QCOMPARE(text(99, false, 1), "0 closed");
    QCOMPARE(text(98.9, false, 1), "1 open");
    QCOMPARE(text(99.7, false, 0), "1 open");
    QCOMPARE(text(100.2, false, 0), "0 closed");
    QCOMPARE(text(25, false, 1), "75 open");
    QCOMPARE(text(25, true, 1), "25 open");
    QCOMPARE(text(0, true, 1), "0 closed");
    CoverValues some, none;
    some.position = 0;
    none.motion = CoverValues::AtRest;
    QCOMPARE(none.stateText(), "None");
    CoverValues open = some;
    open.position = 1;
    QCOMPARE(CoverValues::ofGroup({some, none, some}).stateText(), "closed");
    QCOMPARE(CoverValues::ofGroup({some, some, some, open}).positionText(), "1");
    open.motion = CoverValues::Closing;
    QCOMPARE(CoverValues::ofGroup({some, open}).stateText(), "closing");
    // Labels are bytes that other hosts have written.
    QCOMPARE(labelText(QString::fromLatin1("K\xfc\x63he\0x", 7)),
             QString::fromUtf8("K\xc3\xbc"
                               "che"));
    QCOMPARE(labelText(QString::fromLatin1("K\xc3\xbc"
                                           "che \x07")),
             QString::fromUtf8("K\xc3\xbc"
                               "che"));
}

void tst_BridgeWords::topics()
{
    const LineTopics topics("vox", "north");
    const auto read = [&](const QByteArray &topic) {
        const auto request = topics.read(topic);
        return request ? list(int(request->inbound), int(request->target.kind), request->target.addr)
                       : QString();
    };
    QCOMPARE(read("vox/north/00010a/set"), list(0, 0, 0x10a));
    QCOMPARE(read("vox/north/00010A/position/set"), list(1, 0, 0x10a));
    QCOMPARE(read("vox/north/group/00A001/set"), list(0, 1, 0xa001));
    QCOMPARE(read("vox/north/all/set"), list(0, 2, 0));
    QCOMPARE(read("vox/north/00010A/rpc"), list(2, 0, 0x10a));
    for (const char *const bad : {"vox/north/10A/set", "vox/north/00010A/x/set", "vox/north/group/00A001/rpc",
                                  "vox/north//set", "vox/north/set", "vox/south/00010A/set"})
        QCOMPARE(read(bad), QString());
    QCOMPARE(topics.of({BridgeTarget::Group, 0xa001}, "set"), "vox/north/group/00A001/set");
}

void tst_BridgeWords::sites_data()
{
    const auto row = columns<QByteArray, QString>("lines", "problem");
    row("a whole one",
        R"([{"name":"n","bus":"udp://1.2.3.4:1","nodes":["scan","000101-00013C",{"address":"000301",)"
        R"("type":"HRMv2","invert":true,"class":"awning"}],"groups":{"00A001":{"members":["000101"]}},)"
        R"("poll":{"position":5,"status":9,"maxLoad":80}}])",
        "");
    row("no line", "[]", "lines: names no line");
    row("a name", R"([{"name":"North","bus":"udp://1.2.3.4:1"}])", "lines[0].name: is to be lower-case");
    row("a forbidden name", R"([{"name":"bridge","bus":"udp://1.2.3.4:1"}])",
        "lines[0].name: no line can be");
    row("two of a name", R"([{"name":"n","bus":"udp://1.2.3.4:1"},{"name":"n","bus":"udp://1.2.3.4:1"}])",
        "lines[1].name: two lines");
    row("a bus", R"([{"name":"n","bus":"usb"}])", "lines[0].bus: ");
    row("a pseudo-terminal", R"([{"name":"n","bus":"pty:"}])", "lines[0].bus: nobody");
    row("overlapping", R"([{"name":"n","bus":"udp://1.2.3.4:1","nodes":["000101-000105","000103"]}])",
        "lines[0].nodes[1]: 000103 is listed already");
    row("a decimal range", R"([{"name":"n","bus":"udp://1.2.3.4:1","nodes":["000105-000101"]}])",
        "a range goes up");
    row("a huge range", R"([{"name":"n","bus":"udp://1.2.3.4:1","nodes":["000001-00FFFF"]}])",
        "more than 4096");
    row("a key", R"([{"name":"n","bus":"udp://1.2.3.4:1","nodez":[]}])", "lines[0].nodez: unknown");
    row("a stranger in a group",
        R"([{"name":"n","bus":"udp://1.2.3.4:1","nodes":["000101"],"groups":{"00A001":)"
        R"({"members":["000102"]}}}])",
        "lines[0].groups.00A001.members: 000102 is no node of this line");
    row("a member twice",
        R"([{"name":"n","bus":"udp://1.2.3.4:1","groups":{"00A001":{"members":["000101-000103","000103"]}}}])",
        "lines[0].groups.00A001.members[1]: 000103 is listed already");
    row("a group twice", R"([{"name":"n","bus":"udp://1.2.3.4:1","groups":{"00A001":{},"00a001":{}}}])",
        "lines[0].groups.00a001: is there already");
    row("a bus twice", R"([{"name":"n","bus":"udp://1.2.3.4:1"},{"name":"m","bus":"udp://1.2.3.4:1"}])",
        "lines[1].bus: is the one of the line n, too");
    row("a class", R"([{"name":"n","bus":"udp://1.2.3.4:1","nodes":[{"address":"000101","class":"sofa"}]}])",
        "lines[0].nodes[0].class: is to be one of awning");
    row("a period", R"([{"name":"n","bus":"udp://1.2.3.4:1","poll":{"position":0}}])",
        "lines[0].poll.position: ");
}

void tst_BridgeWords::sites()
{
    QFETCH(QByteArray, lines);
    QFETCH(QString, problem);
    const QByteArray json =
        R"({"name":"hq","mqtt":{"url":"mqtt://h"},"rpc":["getMotorLimits"],"lines":)" + lines + '}';
    const QJsonDocument document = QJsonDocument::fromJson(json);
    QVERIFY(document.isObject());
    SiteConfig site;
    QString said;
    QCOMPARE(SiteConfig::read(document.object(), &site, &said), problem.isEmpty());
    QVERIFY2(said.contains(problem), qPrintable(said));
    if (!problem.isEmpty())
        return;
    const LineConfig &line = site.lines.at(0);
    QCOMPARE(list(line.isScan, line.nodes.size(), line.plan.positionMs, line.maxLoadPercent),
             list(true, 61, 5000, 80));
    QCOMPARE(list(line.node(0x301).isLegacy, line.node(0x301).isInverted, line.node(0x101).deviceClass),
             list(true, true, "shade"));
}

void tst_BridgeWords::brokers()
{
    const auto read = [](const QString &text) {
        BrokerUrl url;
        QString problem;
        return BrokerUrl::read(text, &url, &problem) ? url.text() + ' ' + url.user : problem;
    };
    QCOMPARE(read("mqtt://h"), "mqtt://h:1883 ");
    QCOMPARE(read("mqtts://anna@h:7/"), "mqtts://h:7 anna");
    QCOMPARE(read("mqtt://[::1]"), "mqtt://[::1]:1883 ");
    for (const char *const bad :
         {"mqtt://anna:secret@h", "mqtt://anna:sec ret@h", "mqtt://anna:sec#ret@h", "mqtt://anna:sec/ret@h",
          "mqtt://anna:s%ecret@h", "anna:secret@h", "mqtt://:secret@h"})
        QVERIFY2(read(bad).startsWith("a password") && !read(bad).contains("ret"), bad);
    for (const char *const bad : {"http://h", "mqtt://", "mqtt://h/x", "mqtt://h:0", "h", "mqtt://h?a=b"})
        QVERIFY2(read(bad).contains("is no mqtt://"), bad);
}

void tst_BridgeWords::aBoxKeepsTheNewest()
{
    QStringList taken, dropped;
    CommandBox box(
        [&](const CoverOrder &o) {
            taken += QString("%1:%2=%3").arg(o.target.addr).arg(o.command.kind).arg(o.command.value);
        },
        [&](const CoverOrder &o, const QString &why) {
            dropped += QString::number(o.command.value) + ' ' + why;
        });
    const auto put = [&](unsigned addr, CoverCommand::Kind kind, int value = 0) {
        CoverOrder order;
        order.target.addr = addr;
        order.command.kind = kind;
        order.command.value = value;
        box.put(order);
    };
    put(1, CoverCommand::Position, 10);
    put(1, CoverCommand::Position, 10);
    for (int i = 20; i < 40; ++i)
        put(1, CoverCommand::Position, i);
    put(2, CoverCommand::Open);
    QCOMPARE(list(taken.join(' '), dropped.size(), dropped.value(0)),
             list("1:4=10 2:0=0", 20, "10 repeated"));
    QTRY_COMPARE(taken.value(2), "1:4=39");
    // Behind a stop comes nothing older, and the same again is something new.
    put(2, CoverCommand::Position, 6);
    put(2, CoverCommand::Position, 7);
    put(2, CoverCommand::Stop);
    put(2, CoverCommand::Stop);
    put(2, CoverCommand::Open);
    QCOMPARE(dropped.last(), "7 superseded");
    QTRY_COMPARE(taken.mid(3), (QStringList{"2:4=6", "2:2=0", "2:2=0", "2:0=0"}));
    // Stops for many are several frames each: those that come in a flood wait for each other.
    taken.clear();
    const auto putAll = [&](CoverCommand::Kind kind) {
        CoverOrder order;
        order.target.kind = BridgeTarget::All;
        order.command.kind = kind;
        box.put(order);
    };
    for (int i = 0; i < 1000; ++i)
        putAll(CoverCommand::Stop);
    QCOMPARE(taken, QStringList{"0:2=0"});
    QTRY_COMPARE(taken, (QStringList{"0:2=0", "0:2=0"}));
    // Nothing waits after a move, and none is stopped that is newer.
    putAll(CoverCommand::Stop);
    putAll(CoverCommand::Open);
    QCOMPARE(taken.mid(2), QStringList{"0:0=0"});
    putAll(CoverCommand::Stop);
    QCOMPARE(taken.mid(3), QStringList{"0:2=0"});
}

void tst_BridgeWords::aPublisherWaits()
{
    struct Sink : MessageSink
    {
        bool isReady() const override { return ready; }
        bool wantsWrite() const override { return full; }
        bool send(const MqttMessage &m) override { return said += m.topic + '=' + m.payload, true; }
        bool ready = true, full = false;
        QByteArrayList said;
    } sink;
    Publisher publisher(sink);
    publisher.set(18, "state", "open", 0);
    publisher.set(17, "position", "50", 0);
    QTest::qWait(10);
    QCOMPARE(sink.said, QByteArrayList());
    publisher.setLive(true);
    QTRY_COMPARE(sink.said, (QByteArrayList{"position=50", "state=open"}));
    // While the link is full the last value is kept, and no other; answers are bounded.
    sink.full = true;
    for (int i = 0; i < 1000; ++i) {
        publisher.set(17, "position", QByteArray::number(i % 100), 0);
        publisher.answer({"result", QByteArray::number(i), 1, false, {}, {}});
    }
    QTest::qWait(60);
    QCOMPARE(sink.said.size(), 2);
    sink.full = false;
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(!publisher.isBusy());
    QCOMPARE(sink.said.size(), 2 + Publisher::MaxAnswers + 1);
    QCOMPARE(list(sink.said.at(2), sink.said.last()), list("result=744", "position=99"));
    // 200 a second, but for 20 at once.
    QVERIFY2(clock.elapsed() > 1000 && clock.elapsed() < 2500, QByteArray::number(clock.elapsed()));
    publisher.remove("state");
    QTRY_COMPARE(sink.said.last(), "state=");
    sink.said.clear();
    publisher.sayAll();
    QTRY_COMPARE(sink.said, QByteArrayList{"position=99"});
}

void tst_BridgeWords::aNameIsClaimed()
{
    NameGuard first;
    QTest::qSleep(5);
    NameGuard second;
    QCOMPARE(first.judge(first.payload()), NameGuard::Nothing);
    QCOMPARE(list(first.judge(second.payload()), second.judge(first.payload())),
             list(NameGuard::Answer, NameGuard::Yield));
    // Who has it keeps it, also from one whose clock is late.
    second.setLive();
    QCOMPARE(list(first.judge(second.payload()), second.judge(first.payload())),
             list(NameGuard::Yield, NameGuard::Answer));
    for (const QByteArray &bad :
         {QByteArray(), QByteArray("{}"), QByteArray("{\"id\":7}"), QByteArray(1000, '{')})
        QCOMPARE(first.judge(bad), NameGuard::Nothing);
}

void tst_BridgeWords::aBuildWithoutTheLibrary()
{
    // Away from the program that has it.
    const QTemporaryDir folder;
    const QString alone = folder.filePath("vox");
    QVERIFY(QFile::copy(VOX_PROGRAM, alone));
    QProcess program;
    program.start(alone, {"bridge", "--bus", "udp://127.0.0.1:1", "--mqtt", "mqtt://127.0.0.1"});
    QVERIFY2(program.waitForFinished(), qPrintable(program.errorString()));
    const QByteArray said = program.readAllStandardError();
    QVERIFY2(said.contains("libmosquitto was not there") && program.exitCode() == 2, said);
}

QTEST_GUILESS_MAIN(tst_BridgeWords)
#include "tst_bridgewords.moc"
