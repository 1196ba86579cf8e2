#include "framework/busdispatcher.h"
#include "support/files.h"

#include <QImage>
#include <QProcess>
#include <QtTest>

/// What the README shows is what is compiled, and the examples work.
class tst_Examples : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void readmeShowsTheExamples();
    void hostsMeetEmulators();
    void serialPort();
    void gatewayGoesOn();
    void tilesOfNodes();
};

namespace {
const QString Source = VOX_SOURCE_DIR "/";
const QString Floor = Source + "examples/network/floor.json";

/// A program that runs beside another one.
struct Background
{
    QProcess process;

    explicit Background(const QString &program, const QStringList &arguments = {})
    {
        process.start(program, arguments);
        process.waitForStarted();
    }
    ~Background()
    {
        process.kill();
        process.waitForFinished();
    }
    /// The words of its first line.
    QStringList readyWords()
    {
        process.waitForReadyRead(10000);
        return QString::fromUtf8(process.readAllStandardOutput()).split(QRegularExpression("[ ,]"));
    }
};

/// What an example says, if it ends well.
QByteArray said(const QString &example, const QStringList &arguments = {})
{
    QProcess process;
    process.start(VOX_EXAMPLES_DIR "/example-" + example, arguments);
    const bool isDone = process.waitForFinished() && process.exitCode() == 0;
    return isDone ? process.readAllStandardError() : QByteArray();
}
}

void tst_Examples::initTestCase()
{
    // Without the frames of a bus, and without a screen.
    qputenv("QT_LOGGING_RULES", "vox.bus.debug=false");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
}

void tst_Examples::readmeShowsTheExamples()
{
    const QByteArray readme = contents(Source + "README.md");
    for (const QString example : {"host", "emulator"}) {
        const QByteArray code = contents(Source + "examples/hello-" + example + "/main.cpp");
        QVERIFY2(!code.isEmpty(), qPrintable(example));
        QVERIFY2(readme.contains("```cpp\n" + code + "```"), qPrintable(example));
    }
    // And parts of one in the guide.
    const QByteArray test = contents(Source + "examples/host-test/main.cpp");
    const QStringList parts = QString::fromUtf8(contents(Source + "docs/tester.md")).split("```");
    for (const QString &part : parts)
        QVERIFY2(!part.startsWith("cpp\n") || test.contains(part.mid(4).toUtf8()), qPrintable(part));
}

// hello-host and hello-emulator; and those with a product of one's own.
void tst_Examples::hostsMeetEmulators()
{
    const std::tuple<QString, QString, QByteArray> examples[] = {
        {"hello-emulator", "hello-host", "STATE_STOPPED\n"},
        {"hello-emulator", "coroutine", "stopped, and now STATE_STOPPED\n"},
        {"emulator", "host",
         "found 000001\nat 1000 pulses, 50 %\n"
         "refused: IP_NOT_SET\nno answer: No reply within the time-out\n"}};
    for (const auto &[emulator, host, expected] : examples) {
        const Background background(VOX_EXAMPLES_DIR "/example-" + emulator);
        // The emulator says nothing when it is up, so the host asks until it is.
        QByteArray actual;
        QTRY_VERIFY((actual = said(host)) == expected);
        QCOMPARE(background.process.state(), QProcess::Running);
    }
}

void tst_Examples::serialPort()
{
    Background simulation(VOX_PROGRAM, {"sim", "--bus", "pty:", "--config", Floor});
    const QString port = simulation.readyWords().value(1).mid(int(qstrlen("serial://")));
    QCOMPARE(said("serial", {port, "000102"}), QByteArray("Stage curtain\n"));
    QCOMPARE(said("serial", {port, "00dead"}), QByteArray());
}

// Past mistakes, a node that is silent for a while, and an adapter that is pulled and comes back.
void tst_Examples::gatewayGoesOn()
{
    const QTemporaryDir folder;
    const QString port = folder.filePath("port"), file = folder.filePath("network.json");
    setContents(file, R"({"nodes": [{"model": "TB20", "address": "000101-000102",
                                    "limits": {"up": 0, "down": 9000}}]})");
    const QStringList simulate{"sim", "--bus", "pty:", "--config", file, "--speed", "100"};
    const auto plugIn = [&] {
        auto line = std::make_unique<Background>(VOX_PROGRAM, simulate);
        QFile::remove(port);
        QFile::link(line->readyWords().value(1).mid(int(qstrlen("serial://"))), port);
        return line;
    };
    auto line = plugIn();
    Background gateway(VOX_EXAMPLES_DIR "/example-gateway", {"serial://" + port});
    const auto says = [&](QByteArray command, QByteArray answer) {
        if (!command.isEmpty())
            gateway.process.write('{' + command.replace('\'', '"') + "}\n");
        QByteArray said;
        while (!said.contains(answer.replace('\'', '"')) && gateway.process.waitForReadyRead(15000))
            said += gateway.process.readAllStandardOutput();
        QVERIFY2(said.contains(answer), said);
    };
    says("", "'discovered':2");
    says("'do':'move','node':'000101','percent':30,'id':1",
         "'Arrived','id':1,'sentence':'000101 is at 30 %.'");
    says("'do':'dance','id':2", "discover or add','id':2");
    line->process.write("drop 000102\nhelp\n");
    QVERIFY(line->process.waitForReadyRead());
    says("'do':'stop','node':'000102','id':3", "'NoAnswer','id':3");
    says("'do':'move','node':'000101','percent':60,'id':4", "'Arrived','id':4");
    line->process.write("clear\n");
    line->process.waitForBytesWritten();
    says("'do':'move','node':'000102','percent':60,'id':5", "'Arrived','id':5");
    line.reset();
    says("", "'line':'Closed'");
    line = plugIn();
    says("", "'line':'Open'");
    says("'do':'stopAll','id':6", "'Arrived','id':6,'sentence':'2 of 2");
    gateway.process.closeWriteChannel();
    QVERIFY(gateway.process.waitForFinished());
}

void tst_Examples::tilesOfNodes()
{
    Background simulation(VOX_PROGRAM, {"sim", "--config", Floor});
    QCOMPARE(simulation.readyWords().value(0), QString("ready"));
    const QTemporaryDir folder;
    const QString picture = folder.filePath("tiles.png");
    said("qml-tiles", {picture});
    const QImage image(picture);
    QCOMPARE(image.size(), QSize(1000, 640));
    // Blinds in the windows of the first row: a quarter, nothing, all the way, nothing.
    const std::pair<int, int> expected[] = {{13, 14}, {0, 0}, {54, 54}, {0, 0}};
    for (int column = 0; column < 4; ++column) {
        int height = 0;
        for (int y = 90; y < 160; ++y)
            height += image.pixelColor(55 + column * 243, y) == QColor("#5b7fa6") ? 1 : 0;
        QCOMPARE(qBound(expected[column].first, height, expected[column].second), height);
    }
}

QTEST_GUILESS_MAIN(tst_Examples)
#include "tst_examples.moc"
