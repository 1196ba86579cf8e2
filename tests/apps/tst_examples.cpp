#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "support/files.h"
#include "transport/voxudpbus.h"

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
    void listOfNodes();
    void silentNodesAreNotAskedOnAndOn();
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

void tst_Examples::listOfNodes()
{
    Background simulation(VOX_PROGRAM, {"sim", "--config", Floor});
    QCOMPARE(simulation.readyWords().value(0), QString("ready"));
    const QTemporaryDir folder;
    const QString picture = folder.filePath("list.png");
    said("qml-list", {picture});
    const QImage image(picture);
    QCOMPARE(image.size(), QSize(360, 220));
    // A quarter, nothing, all the way, nothing.
    const std::pair<int, int> expected[] = {{36, 38}, {0, 0}, {150, 150}, {0, 0}};
    for (int row = 0; row < 4; ++row) {
        int width = 0;
        for (int x = 190; x < 340; ++x)
            width += image.pixelColor(x, row * 55 + 27) == QColor("#3b6ea5") ? 1 : 0;
        QCOMPARE(qBound(expected[row].first, width, expected[row].second), width);
    }
}

// What has waited while nobody answered goes out at once when somebody does: at most a call for each node.
void tst_Examples::silentNodesAreNotAskedOnAndOn()
{
    VOXUdpBus network(QHostAddress::LocalHost, 4801, QHostAddress::LocalHost, 4800);
    QSignalSpy frames(&network.dispatcher(), &BusDispatcher::unhandled);
    const Background list(VOX_EXAMPLES_DIR "/example-qml-list");
    QVERIFY(frames.wait(10000));
    QTest::qWait(3000);
    std::vector<std::unique_ptr<TB60LVStub>> motors;
    for (const unsigned int addr : {0x000101u, 0x000102u, 0x000103u, 0x000201u})
        motors.push_back(std::make_unique<TB60LVStub>(addr, &network));
    frames.clear();
    QVERIFY(frames.wait());
    QTest::qWait(300);
    QVERIFY2(frames.size() <= 4, QByteArray::number(frames.size()));
}

QTEST_GUILESS_MAIN(tst_Examples)
#include "tst_examples.moc"
