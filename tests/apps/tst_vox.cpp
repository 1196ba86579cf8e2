#include "messages/vox.h"
#include "support/columns.h"
#include "support/documented.h"
#include "support/files.h"
#include "support/program.h"
#include "vox/commands.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/// The program as people run it.
class tst_Vox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void demoShowsAllItsSteps();
    void infoTellsAll();
    void jsonIsAsDocumented();
    void aMoveIsFollowed();
    void outputThatCannotBeWritten();
    void everyCommandHasHelp();
    void bashCompletes();
    void guidesWork_data();
    void guidesWork();
};

void tst_Vox::demoShowsAllItsSteps()
{
    const QByteArray said = run("demo");
    QVERIFY2(said.startsWith("0 "), said);
    QVERIFY2(!said.contains("! "), said);
    for (const char *shown :
         {"100 %  2000 pulses  STOPPED", "NACK IP_NOT_SET", "No node at 000099", "All as expected: 3 nodes"})
        QVERIFY2(said.contains(shown), shown);
}

// What is not known is a dash, and what is lost is asked for again.
void tst_Vox::infoTellsAll()
{
    Simulation simulation(Floor);
    simulation.process.write(
        "drop 000102 command GET_APP_MODE count 1\nnack BUSY 000102 command GET_GROUP_ADDR\n"
        "drop 000102 command GET_MOTOR_DIRECTION\nfaults\n");
    QVERIFY(simulation.process.waitForReadyRead(5000));
    const QByteArray told = simulation.run("info 000101") + simulation.run("info 000102");
    for (const char *line :
         {"groups: 00A001, 00A0FF", "intermediatePositions: 1 at 3000 pulses, 2 at 9000 pulses",
          "dctLocks: none", "networkErrors: none", "mode: ROLLER", "direction: TURN_NORMAL", "moves: 0",
          "encoderErrors: -", "resets: 0",
          // the other one
          "groups: -", "mode: CURTAIN", "direction: no answer"})
        QVERIFY2(told.contains("\n  " + QByteArray(line) + '\n'), told);
    const QByteArray json = simulation.run("info 000102 --json");
    QVERIFY(json.startsWith("1 "));
    const QJsonObject node = QJsonDocument::fromJson(json.mid(2)).object();
    QCOMPARE(node["unanswered"].toArray(), QJsonArray{"direction"});
    QCOMPARE(node["fields"].toObject()["groups"], QJsonValue(QJsonValue::Null));
    const QJsonObject lobby =
        QJsonDocument::fromJson(simulation.run("info 000101 --json").mid(2)).object()["fields"].toObject();
    QCOMPARE(lobby.keys(), documented("vox info", "`fields`, null for what the node does not know"));
    QCOMPARE(lobby["groups"].toArray().at(1).toObject(), (QJsonObject{{"group", "00A0FF"}, {"index", 1}}));
}

// Of commands whose JSON no other test looks at.
void tst_Vox::jsonIsAsDocumented()
{
    Simulation simulation(Floor);
    const auto lastOf = [&](const QString &line, int count) {
        const QByteArrayList lines = simulation.run(line + " --json").mid(2).trimmed().split('\n');
        return lines.size() == count ? QJsonDocument::fromJson(lines.last()).object() : QJsonObject();
    };
    const QString list = QString(Floor).replace("--config", "--compare");
    const QJsonObject sum = lastOf("ping 000101 --count 1 " + list, 2)["sum"].toObject();
    QCOMPARE(sum.keys(), documented("vox ping", "`sum`, at the end"));
    const QJsonObject node = lastOf("counters 000102 --wait 1", 2);
    QCOMPARE(node.keys(), documented("vox counters", "a node"));
    QCOMPARE(undocumented("vox counters", "`counters` that the node has", node["counters"].toObject()),
             QString());
}

void tst_Vox::aMoveIsFollowed()
{
    const Simulation simulation(Floor);
    const QByteArray arrived = simulation.run("goto 000101 3200 --wait --json").trimmed();
    QVERIFY(arrived.startsWith("0 "));
    const QJsonObject last = QJsonDocument::fromJson(arrived.mid(arrived.lastIndexOf('{'))).object();
    QCOMPARE(list(last["position"].toInt(), last["state"]), list(3200, QJsonValue("STATE_STOPPED")));
    // Stopped, or sent elsewhere meanwhile, it has not come to where it was to go.
    const auto interrupted = [&](const std::function<int(QProcess &)> &interrupt, const QString &place,
                                 const QByteArray &said) {
        QProcess process;
        start(process, "goto 000101 --wait " + place, simulation.bus);
        QByteArray shown;
        while (!shown.contains("STATE_RUNNING") && process.waitForReadyRead(5000))
            shown += process.readAllStandardOutput();
        const QByteArray code = QByteArray::number(interrupt(process));
        shown = process.readAllStandardOutput().trimmed();
        const QByteArray position = simulation.run("call 000101 getMotorPosition").split('\n').value(1);
        const QByteArray rest = position.mid(int(qstrlen("  position: "))) + "  STATE_STOPPED";
        const QByteArray actual =
            code + (shown.endsWith(rest) ? " shown " : " ") + process.readAllStandardError();
        QCOMPARE(actual.left(said.size()), said);
    };
    const auto by = [&](const QString &line) {
        return [&, line](QProcess &process) { return simulation.run(line), exitCode(process); };
    };
    const auto atSignal = [](QProcess &process) { return exitCode(process, SIGINT); };
    interrupted(by("goto 000101 3500"), "down", "1 shown vox goto: was to go to 12000 ");
    interrupted(by("stop 000101"), "0%", "1 shown vox goto: was to go to 0 pulses and ");
    interrupted(atSignal, "down", "1 shown vox goto: stopped on the way");
    const QByteArray status = simulation.run("status 000101");
    QVERIFY2(status.contains("DOWN\n  source: SOURCE_NETWORK\n  cause: CAUSE_NETWORK"), status);
}

void tst_Vox::outputThatCannotBeWritten()
{
    const auto row = [&](const QString &script, const QByteArray &said) {
        const Simulation simulation(Floor);
        QCOMPARE(list(script, shell(script, simulation.bus)), list(script, said));
        QVERIFY(simulation.run("status 000101").contains("STATE_STOPPED"));
    };
    const QByteArray full = "1 ! vox: the output cannot be written: No space left on device\n";
    const QByteArray stopped = "vox goto: stopped, because the output cannot be written\n";
    row("vox --help >/dev/full", full);
    row("vox status 000101 --json >/dev/full", full);
    row("vox man >&-", "1 ! vox: the output cannot be written: Bad file descriptor\n");
    row("vox monitor --write /dev/full",
        "2 ! vox monitor: cannot write /dev/full: No space left on device\n");
    row("vox goto 000101 down --wait >/dev/full", full + stopped);
    row("vox goto 000101 up --wait | head -n 2 >/dev/null", "1 ! " + stopped);
}

void tst_Vox::everyCommandHasHelp()
{
    QCOMPARE(run("--version"), "0 vox " + VOX::version().toLatin1() + "\n");
    const QByteArray all = run("--help");
    const QByteArray manual = run("man");
    // An option, and an example's hyphens.
    for (const char *part : {"0 .TH VOX 1 ", "\n\\fB\\-\\-state\\fR \\fIFILE\\fR\n", "50% \\-\\-wait\n"})
        QVERIFY2(manual.contains(part), part);
    QVERIFY(run("call ctrlMoveOf --help").contains("\n  TILT: a number from 0 to 255; 255 without it\n"));
    for (const QByteArray command :
         {"demo", "sim", "test", "scan", "call", "monitor", "replay", "probe", "panel", "goto"}) {
        const QByteArray help = run(command + " --help");
        QVERIFY2(help.startsWith("0 Usage: vox " + command), help);
        QVERIFY2(help.contains("\nExample: vox "), help);
        for (const QByteArray &text : help.left(help.indexOf("Example")).split('\n'))
            QVERIFY2(text.size() <= 82, text); // 80, and the exit code before the first line
        QVERIFY2(all.contains(command), command);
        QVERIFY2(manual.contains("\n.SS \"vox " + command + " [options]"), command);
    }
}

void tst_Vox::bashCompletes()
{
    const auto row = [&](const QString &line, const QByteArray &found) {
        const QString script(
            "source '%1'; COMP_LINE='%2'; COMP_WORDS=(%2); %3 COMP_CWORD=$((${#COMP_WORDS[@]} - 1));"
            "COMP_POINT=${#COMP_LINE}; _vox 2>/dev/null; printf '%s' \"${COMPREPLY[*]}\"");
        const char *last = line.endsWith(' ') ? "COMP_WORDS+=('');" : "";
        const QByteArray said =
            shell(script.arg(VOX_SOURCE_DIR "/share/completion/vox.bash", line, last), QString());
        QCOMPARE(list(line, said), list(line, "0 " + found));
    };
    row("vox mon", "monitor");
    row("vox sim --st", "--state");
    row("vox call 000101 ctrlMoveT", "ctrlMoveTo");
    row("vox call --json 000101 ctrlMoveTo MOVETO_PE", "MOVETO_PERCENT");
    row("vox call 000301 hrmv2:setLockStatus LOCK_R", "LOCK_RELEASE");
    row("vox monitor --command SET_NODE_L", "SET_NODE_LABEL");
    row("vox sim --node MA", "MARLO@");
    row("vox move 000101 d", "down");
    row("vox sim --config ex", "");
    row("vox sim --log j", "json");
    row("vox help mon", "monitor");
    row("vox fly ", "");
}

void tst_Vox::guidesWork_data()
{
    const auto row = columns<QString>("line");
    QStringList lines;
    for (const QString guide : {"docs/installer.md", "docs/tester.md"}) {
        const QString text = contents(VOX_SOURCE_DIR "/" + guide);
        QVERIFY(!text.isEmpty());
        lines += text.split('\n').filter(QRegularExpression("^    vox "));
    }
    for (const Command &command : commands()) {
        lines += CommandDescription::of(command).example;
        QVERIFY2(lines.last().startsWith("vox " + command.name), qPrintable(command.name));
    }
    // What runs until it is interrupted, or writes files, has tests of its own, as has what is shown with its
    // output.
    const QRegularExpression others(
        "vox (?!sim|test|monitor|top|replay|demo|record|probe|bridge|panel)(?!.*--bus|.*site\\.json)");
    for (const QString &line : lines.filter(others))
        row(qPrintable(line), line.trimmed().mid(int(qstrlen("vox "))));
}

void tst_Vox::guidesWork()
{
    QFETCH(QString, line);
    static const Simulation simulation(Floor + " --speed 100");
    const QByteArray said = simulation.run(line);
    QVERIFY2(said.startsWith("0 "), said);
}

QTEST_GUILESS_MAIN(tst_Vox)
#include "tst_vox.moc"
