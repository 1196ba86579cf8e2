#include "support/captures.h"
#include "support/columns.h"
#include "support/files.h"
#include "support/frames.h"
#include "support/pipedevice.h"
#include "vox/test/witnessbus.h"

#include <QXmlStreamReader>

#include <csignal>

/// vox test, with a shell as the program under test.
class tst_Scenario : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void scenarios_data();
    void scenarios();
    void reports();
    void interrupted();
    void theGuide();
    void oldFramesGo();
};

namespace {
// What vox test says, the script, and the steps, which begin in line 3. A number is the line of a mistake.
const char *const Scenarios = R"(
0 ok | vox label 000001 Foyer | {'expect': {'command': 'SET_NODE_LABEL', 'to': '000001', 'fields': {'label': 'Foyer'}}},
    {'expect': {'command': 'ACK', 'from': '000001'}}, {'expect': {'exit': 0}},
    {'expect': {'node': '000001', 'settings': {'label': 'Foyer', 'limits': {'down': 3000}}}}
s  010000 > 000001  GET_NODE_LABEL | vox label 000001 | {'expect': {'exit': 0}}, {'expect': {'command': 'CTRL_STOP', 'within': 0}}
with {"label":"A"} within 0 ms; it never came | vox label 000001 B | {'expect': {'exit': 0}},
    {'expect': {'command': 'SET_NODE_LABEL', 'fields': {'label': 'A'}, 'within': 0}}
it is {"label":"B"} | vox label 000001 B | {'expect': {'exit': 0}}, {'expect': {'node': '000001', 'settings': {'label': ''}, 'within': 0}}
0 ok | vox goto group:00A001 down; vox stop all | {'expect': {'group': '00A001'}}, {'expect': {'command': 'CTRL_STOP', 'to': 'all'}}
group 00A001 within 0 ms; | vox goto group:00A002 up | {'expect': {'exit': 0}}, {'expect': {'group': '00A001', 'within': 0}}
0 ok | vox info 000002; vox label 000001; vox label 000001 | {'expect': {'exit': 0}}, {'expect': {'to': '000001', 'count': 2, 'for': 0}},
    {'never': {'to': '000001', 'for': 0}}
1 time for 5 s; it came 2 times | vox label 000001; vox label 000001 | {'expect': {'to': '000001', 'count': 1, 'for': '5s'}}
3 times within 0 ms; it came 2 times | vox label 000001; vox label 000001 | {'expect': {'exit': 0}}, {'expect': {'to': '000001', 'count': 3, 'within': 0}}
scenario.json:4: steps[1].expect, from | vox label 000001 | {'expect': {'from': '000001'}},
    {'expect': {'from': '000001', 'within': 0}}
no frame to 000001 for 5 s; it came 1 time | vox label 000001 | {'never': {'to': '000001', 'for': '5s'}}
0 ok | @ 'bus': 'pty:', 'run': ['vox', 'label', '--bus', '{bus}', '000001'] | {'expect': {'command': 'POST_NODE_LABEL'}}
0 ok | while :; do vox label 000001; done | {'do': {'away': '000001'}}, {'expect': {'to': '000001'}},
    {'never': {'from': '000001', 'for': '300ms'}}, {'do': {'back': '000001'}}, {'expect': {'from': '000001'}},
    {'do': {'line': 'cut'}}, {'expect': {'to': '000001'}},
    {'never': {'from': '000001', 'for': '300ms'}}, {'do': {'line': 'restored'}}, {'expect': {'from': '000001'}},
    {'do': {'fault': 'drop all'}}, {'expect': {'to': '000001'}},
    {'never': {'from': '000001', 'for': '300ms'}}, {'at': '100ms', 'do': {'fault': 'clear'}}, {'expect': {'from': '000001'}}
0 ok | cat | {'do': {'switch': '000001', 'to': 'down'}}, {'expect': {'node': '000001', 'state': 'STATE_RUNNING', 'within': 0}},
    {'expect': {'node': '000001', 'percent': 99, 'tolerance': 1, 'state': 'STATE_STOPPED'}},
    {'do': {'hand': '000001', 'percent': 40}}, {'expect': {'node': '000001', 'position': 1200, 'within': 0}},
    {'do': {'post': 'POST_MOTOR_POSITION', 'node': '000001'}},
    {'expect': {'command': 'POST_MOTOR_POSITION', 'to': '010000', 'fields': {'percent': 40, 'ip': null}}}
it is at percent 0 position 0 STATE_ | cat | {'expect': {'node': '000001', 'percent': 3, 'tolerance': 2, 'within': 0}}
for 5 s; it is at percent 100 | cat | {'do': {'switch': '000001', 'to': 'down'}}, {'never': {'node': '000001', 'percent': 100, 'for': '5s'}}
0 ok | read name; [ {bus} = $VOX_BUS ] && [ {dir} = $PWD ] && vox label 000001 ${name}{port}-{local} | {'at': 50, 'do':
    {'write': 'N\n'}}, {'expect': {'exit': 0}}
with code 0 within 5 s; it ended with code 3 | exit 3 | {'expect': {'exit': 0}}
steps[0].expect, at | exit 3 | {'expect': {}}
the program died of signal 11 (Segmentation fault) | kill -SEGV $$ | {'expect': {}}
it still runs | exec sleep 99 | {'expect': {'exit': 0, 'within': '100ms'}}
was killed | trap : TERM; echo $$ >pids; while :; do sleep 0.1; done | {'at': '900ms', 'do': {'line': 'cut'}}
0 ok | (trap : TERM; while :; do sleep 0.1; done) & echo $! >pids; setsid sh -c \"echo \\$\\$ >>pids; sleep 99\" & until [ $(wc -l <pids) = 2 ]; do sleep 0.1; done | {'expect': {'exit': 0}}
the time-out of 1 s is over | @ 'timeout': '1s', 'run': ['cat'] | {'at': '20s', 'do': {'line': 'cut'}}
no-such cannot be started: | @ 'run': ['./no-such'] | {'expect': {}}
2: network: cannot read | @ 'network': 'no-such.json', 'run': ['1'] |
0 ok | @ 'line': '4800:50-51', 'run': ['vox', 'label', '--bus', '{bus}', '000001'] | {'expect': {'to': '000001'}},
    {'never': {'from': '000001', 'for': '60ms'}}, {'expect': {'from': '000001'}}
2: line:  | @ 'line': '4800-5', 'run': ['true'] |
2: speed: is to be a whole number | @ 'speed': ['1'], 'run': ['true'] |
3: steps[0]: is to have one of do, expect and never | true | {'at': 1}
4: steps[0].at: is to be a time | true | {
    'at': '1 week', 'do': {'line': 'cut'}}
3: steps[0].do: is to be an object with one of fault, away | true | {'do': {'dance': 1}}
3: steps[0].do.fault: 'wiggle' is no fault | true | {'do': {'fault': 'wiggle'}}
3: steps[0].do.fault: there is no node 000003 | true | {'do': {'fault': 'drop 000003'}}
3: steps[0].do.switch: is to be a motor | true | {'do': {'switch': '000002', 'to': 'up'}}
3: steps[0].do.to: is to be one of up, down, stop | true | {'do': {'switch': '000001', 'to': 'left'}}
3: steps[0].do: needs either percent or position | true | {'do': {'hand': '000001'}}
3: steps[0].do.post: no node tells that | true | {'do': {'post': 'CTRL_STOP', 'node': '000001'}}
3: steps[0].expect.command: unknown command 'FLY' | true | {'expect': {'command': 'FLY'}}
3: steps[0].expect.to: is to be an address | true | {'expect': {'to': '1'}}
3: steps[0].expect.fields.up: unknown; one of fun, | true | {'expect': {'command': 'CTRL_MOVETO', 'fields': {'up': 1}}}
3: steps[0].expect.fields.fun: 'HOME' is no value | true | {'expect': {'command': 'CTRL_MOVETO', 'fields': {'fun': 'HOME'}}}
3: steps[0].expect.fields.fun: 4 is shown as MOVETO_PERCENT | true | {'expect': {'command': 'CTRL_MOVETO', 'fields': {'fun': 4}}}
3: steps[0].expect.within: goes without | true | {'expect': {'within': 1, 'for': 1}}
3: steps[0].expect: needs one of percent | true | {'expect': {'node': '000001'}}
3: steps[0].expect.settings.colour: unknown | true | {'expect': {'node': '000002', 'settings': {'colour': 1}}}
3: steps[0].never: needs "for" | true | {'never': {'command': 'CTRL_STOP'}}
)";

/// A folder with scenarios, and the program that runs them.
struct Folder
{
    QTemporaryDir folder;
    QProcess process;

    QString path(const QString &name) const { return folder.filePath(name); }
    /// With @p script as the program, or the members of the scenario that stand behind an "@".
    void write(const QString &name, const QString &script, const QString &steps)
    {
        const QString members =
            script.startsWith("@ ") ? script.mid(2) : "'run': ['sh', '-c', '" + script + "']";
        QString text = "{";
        if (!members.contains("'network'"))
            text += "'network': {'nodes': [{'model': 'TB20', 'address': '000001', 'groups': ['00A001'],"
                    "'limits': {'up': 0, 'down': 3000}}, {'model': 'NODE', 'address': '000002'}]},";
        if (!members.contains("'speed'"))
            text += "'speed': 100,";
        text += '\n' + members + ", 'steps': [\n" + steps + "]}";
        setContents(path(name), text.replace('\'', '"').toUtf8());
    }
    void start(const QString &line)
    {
        process.setWorkingDirectory(folder.path());
        process.start("vox", QProcess::splitCommand("test " + line));
    }
    /// The exit code, and what was said. Of what the program wrote into "pids", nothing runs any more.
    QByteArray result()
    {
        process.waitForFinished(20000);
        QByteArray said = QByteArray::number(process.exitCode()) + ' ' + process.readAllStandardOutput();
        for (const QByteArray &pid : contents(path("pids")).simplified().split(' '))
            said.prepend(!pid.isEmpty() && ::kill(pid.toInt(), 0) == 0 ? "left behind: " + pid
                                                                       : QByteArray());
        return said + process.readAllStandardError();
    }
    QByteArray run(const QString &line) { return start(line), result(); }
};
}

void tst_Scenario::initTestCase()
{
    qputenv("PATH", QFileInfo(VOX_PROGRAM).path().toLocal8Bit() + ':' + qgetenv("PATH"));
}

void tst_Scenario::scenarios_data()
{
    QTest::addColumn<QStringList>("parts");
    for (const QString &row : QString(Scenarios).trimmed().split(QRegularExpression("\n(?! )")))
        QTest::newRow(qPrintable(row.section('\n', 0, 0))) << row.split(QRegularExpression(" \\| ?"));
}

void tst_Scenario::scenarios()
{
    QFETCH(QStringList, parts);
    Folder folder;
    folder.write("scenario.json", parts[1], parts[2]);
    const QByteArray said = folder.run("scenario.json"), expected = parts[0].toUtf8();
    if (expected.at(1) == ':')
        QVERIFY2(said.startsWith("2 vox test: scenario.json:" + expected) && said.count('\n') == 1, said);
    else
        QVERIFY2(said.startsWith(expected == "0 ok" ? "0 " : "1 ") && said.contains(expected), said);
}

void tst_Scenario::reports()
{
    Folder folder;
    folder.write("good.json", "printf \\\"\\\\033[1m<&>\\\"", "{'expect': {'exit': 0}}");
    folder.write("bad.json", "vox label 000001",
                 "{'expect': {'exit': 0}}, {'expect': {'command': 'CTRL_STOP', 'within': 0}}");
    for (const auto &[text, mistake] : {std::pair("[]", "1: is to hold"), {"{\n'run", "2: unterminated"}}) {
        setContents(folder.path("wrong.json"), text);
        QVERIFY(folder.run("good.json wrong.json --junit report.xml").contains(mistake));
    }
    const QByteArray said = folder.run("good.json bad.json ./bad.json --junit report.xml --keep kept/here");
    QVERIFY2(said.startsWith("1 ok      good.json") && said.endsWith("1 of 3 scenarios as expected\n"), said);
    QXmlStreamReader xml(contents(folder.path("report.xml")));
    QString found;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        found += ' ' + xml.name().toString() + ' ';
        for (const char *name : {"tests", "failures", "name", "message"})
            found += xml.attributes().value(QLatin1String(name)).toString().section(": expected ", -1) + ' ';
        found += xml.name() == QString("system-out") ? xml.readElementText() : QString();
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    const QString bad =
        " testcase bad failure CTRL_STOP within 0 ms; it never came system-out POST_NODE_LABEL label:";
    QCOMPARE(found.simplified(),
             "testsuites testsuite 3 2 vox test testcase good system-out ?[1m<&>" + bad + bad);
    for (const QString name : {"kept/here/bad", "kept/here/bad-2"}) {
        std::vector<LineItem> items;
        QString problem;
        QVERIFY2(readPcap(folder.path(name + ".pcap"), &items, &problem), qPrintable(problem));
        QVERIFY(items.size() == 2);
        QVERIFY(items[1].toString().contains("000001 > 010000  POST_NODE_LABEL"));
        QVERIFY(contents(folder.path(name + ".txt")).startsWith("POST_NODE_LABEL\n"));
    }
    QCOMPARE(QDir(folder.path("kept/here")).entryList(QDir::Files).size(), 4);
    QVERIFY(folder.run("good.json --json").startsWith("0 {\"met\":true,\"scenario\":\"good.json\",\"sec"));
}

void tst_Scenario::interrupted()
{
    Folder folder;
    folder.write("scenario.json", "sleep 99 & echo $$ $! >pids; wait",
                 "{'never': {'to': 'all', 'for': '60s'}}");
    folder.start("scenario.json scenario.json");
    QTRY_VERIFY(contents(folder.path("pids")).endsWith('\n'));
    ::kill(static_cast<pid_t>(folder.process.processId()), SIGINT);
    const QByteArray said = folder.result();
    QVERIFY2(said.contains("interrupted") && said.endsWith("0 of 2 scenarios as expected\n"), said);
}

// What docs/tester.md lets its reader do, and the example that fails.
void tst_Scenario::theGuide()
{
    const Folder folder;
    QString script = QString(contents(VOX_SOURCE_DIR "/docs/tester.md")).section("in five minutes", 1);
    script = script.section("\n## ", 0, 0).remove(QRegularExpression("```[^`]*```|(?m)^(?!    ).*\n|^    "));
    script.prepend("cd '" + folder.folder.path()
                   + "'; vox() { command vox \"$@\"; printf $? >>../codes; }\n");
    script += "vox test " VOX_SOURCE_DIR "/examples/scenario/switch.json --keep .";
    QProcess::execute("bash", {"-c", script.replace("../codes", folder.path("codes"))});
    QCOMPARE(contents(folder.path("codes")), QByteArray("0101"));
    QVERIFY(QFile::exists(folder.path("lunch/report.xml")));
    QVERIFY(QFile::exists(folder.path("lunch/switch.pcap")));
}

void tst_Scenario::oldFramesGo()
{
    QLoggingCategory::setFilterRules("vox.bus=false");
    auto *device = new PipeDevice;
    VOXBus bus(device);
    bus.open();
    WitnessBus witness(bus);
    device->feed(line(frame("21", 2)) + line(frame("21", 3)));
    QTRY_COMPARE(witness.count(), std::size_t(2));
    const QByteArray many = line(frame("21", 4)).repeated(1000);
    for (std::size_t i = 1; i <= WitnessBus::MostKept / 1000; ++i) {
        device->feed(many);
        QTRY_COMPARE(witness.count(), 2 + i * 1000);
    }
    QCOMPARE(list(witness.first(), witness.at(2).item.frame.destAddr(false)), list(2, 4));
}

QTEST_GUILESS_MAIN(tst_Scenario)
#include "tst_scenario.moc"
