#include "devices/tb60lvstub.h"
#include "support/files.h"
#include "support/udppair.h"

#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QtTest>

namespace {
const QString Tiles = VOX_SOURCE_DIR "/examples/qml-tiles/";

/// A motor at 000101, and pages for a network on its bus.
struct Pages
{
    std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    QString bus = QString("udp://127.0.0.1:%1?local=%2").arg(ports.first).arg(ports.second);
    VOXUdpBus line{QHostAddress::LocalHost, ports.second, QHostAddress::LocalHost, ports.first};
    TB60LVStub motor{0x000101, &line};
    QQmlEngine engine;
    std::unique_ptr<QObject> network;
    QString warnings;

    Pages()
    {
        motor.setLimits(0, 12000);
        engine.addImportPath(VOX_QML_DIR);
        engine.setOutputWarningsToStandardError(false);
        QObject::connect(&engine, &QQmlEngine::warnings, &engine, [this](const QList<QQmlError> &errors) {
            for (const QQmlError &error : errors)
                warnings += error.description() + '\n';
        });
    }
    std::unique_ptr<QObject> make(const QString &text)
    {
        QQmlComponent component(&engine);
        component.setData(text.toUtf8(), QUrl("file:///page.qml"));
        std::unique_ptr<QObject> page(component.create());
        warnings += component.errorString();
        return page;
    }
    void open(const QString &url)
    {
        network = make(
            "import QtQml 2.15\nimport Vox 1.0\nNetwork { id: net; property NetworkModel model: "
            "NetworkModel { network: net }\n"
            "bus: '"
            + url
            + "'; property string told: model.count + lineProblem\nComponent.onCompleted: add('000101') }");
    }
    QVariant run(const QString &code)
    {
        QVariant result;
        const auto page = make("import QtQml 2.15\nimport Vox 1.0\nQtObject { function run(network) {\n"
                               "var motor = network.motor('000101'); return "
                               + code + " } }");
        QMetaObject::invokeMethod(page.get(), "run", Q_RETURN_ARG(QVariant, result),
                                  Q_ARG(QVariant, QVariant::fromValue(network.get())));
        return result;
    }
};

/// Delegates are no children of their view as objects.
QQuickItem *findItem(QQuickItem *root, const QString &name)
{
    QQuickItem *found = root->objectName() == name ? root : nullptr;
    for (QQuickItem *const child : root->childItems())
        found = found ? found : findItem(child, name);
    return found;
}
}

/// What pages see of a network, in the module as it is built.
class tst_VoxQml : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tilesMoveMotors();
    void wrongNamesAndValuesAreThrown();
    void deadBusIsTold();
    void networkGoesWhileMotionRuns();
    void samplesAndPagesAreRight();
};

void tst_VoxQml::tilesMoveMotors()
{
    Pages pages;
    pages.motor.setTimeScale(100);
    QQuickView view(&pages.engine, nullptr);
    view.setInitialProperties({{"bus", pages.bus}});
    view.setSource(QUrl::fromLocalFile(Tiles + "Tiles.qml"));
    view.show();
    const auto find = [&](const char *name) { return findItem(view.contentItem(), name); };
    const auto click = [&](const char *name) {
        const QPointF middle(find(name)->width() / 2, find(name)->height() / 2);
        QTest::mouseClick(&view, Qt::LeftButton, {}, find(name)->mapToScene(middle).toPoint());
    };
    QTRY_VERIFY(find("slider") && find("words")->property("text") == "0 %");
    click("slider");
    QTRY_COMPARE(find("words")->property("text").toString(), QString("50 %"));
    QCOMPARE(pages.motor.positionPulses(), 6000);
    QCOMPARE(qRound(find("blind")->height()), 27);
    click("stopAll");
    QTRY_COMPARE(view.rootObject()->property("said").toString(), QString("1 of 1 motors have done it."));
    pages.line.close();
    click("stop");
    QTRY_VERIFY_WITH_TIMEOUT(find("problem")->property("text").toString().contains("nswer"), 15000);
    QCOMPARE(pages.warnings, QString());
}

void tst_VoxQml::wrongNamesAndValuesAreThrown()
{
    Pages pages;
    pages.open(pages.bus);
    const std::pair<QString, QString> rows[] = {
        {"motor.jog(KVRMotor.DIRECTION_UPP, 100)",
         "TypeError: jog: undefined is no KVRMotor.Direction: DIRECTION_"},
        {"motor.setLimit(KVRMotor.LIMIT_UP, 3)", "RangeError: setLimit: 3 is no KVRMotor.LimitFunction"},
        {"motor.jog(KVRMotor.DIRECTION_UP, 10.5)", "RangeError: jog: 10.5 is no jog, 10 to 1000"},
        {"motor.moveTo(motor.nothing)", "TypeError: moveTo: undefined is no percentage, 0 to 100"},
        {"motor.moveTo('50')", "TypeError: moveTo: 50 is no percentage"},
        {"motor.moveTo(101)", "RangeError: moveTo: 101 is no"},
        {"motor.moveTo(0 / 0)", "RangeError: moveTo: NaN is no"},
        {"motor.setSpeeds(20, 0, 10)", "RangeError: setSpeeds: 0 is no speed"},
        {"network.motor('00101')", "TypeError: motor: 00101 is no address"},
        {"network.add(0)", "RangeError: add: "},
        {"network.setGroup('00A001', '000101')", "setGroup: 000101 is no list"},
        {"network.moveGroupTo(Network.Everyone, -1)", "RangeError: moveGroupTo: -1 is no"},
        {"network.setPlan({positionMS: 5000})", "RangeError: setPlan: a plan has no 'positionMS'"},
        {"network.setKnownNodes([{address: 'x'}])", "setKnownNodes: [0]: "},
    };
    for (const auto &[code, error] : rows) {
        pages.warnings.clear();
        pages.run(code);
        QVERIFY2(pages.warnings.contains(error), qPrintable(code + ": " + pages.warnings));
    }
}

void tst_VoxQml::deadBusIsTold()
{
    Pages pages;
    for (const QString url : {"serial:///dev/not-there", "udp:/nonsense", "pty:"}) {
        pages.open(url);
        QVERIFY(pages.run("network.line === Network.Closed && network.lineProblem.length > 20").toBool());
        QVERIFY(pages.run("motor.moveTo(50).end === Motion.NoAnswer").toBool());
    }
    // Another bus is another network.
    pages.network->setProperty("bus", pages.bus);
    QVERIFY(pages.run("network.lineProblem === '' && motor === null && network.model.count === 0").toBool());
    QVERIFY(pages.run("network.add(0x101) === network.motor('000101')").toBool());
    QTRY_VERIFY(pages.run("motor.presence === Node.Up && network.model.nodeAt(0) === motor").toBool());
}

void tst_VoxQml::networkGoesWhileMotionRuns()
{
    for (const QString code : {"motor.moveTo(90)", "motor.stop().finished.connect(() => network.bus = '')"}) {
        Pages pages;
        pages.open(pages.bus);
        const QPointer<QObject> motor = pages.run("motor").value<QObject *>();
        pages.run(code);
        QTRY_VERIFY(pages.motor.isMoving() || !motor);
        pages.network.reset();
        pages.engine.collectGarbage();
        QTRY_VERIFY(!motor);
    }
}

// The guide's samples load, and tools know the types; qmllint of Qt 5 looks at the grammar alone.
void tst_VoxQml::samplesAndPagesAreRight()
{
    Pages pages;
    const QByteArray guide = contents(VOX_SOURCE_DIR "/docs/integrator.md");
    for (const QString &part : QString::fromUtf8(guide).split("```qml\n").mid(1))
        QVERIFY2(pages.make(part.section("```", 0, 0)) && pages.warnings.isEmpty(),
                 qPrintable(pages.warnings));
    const QByteArray types = contents(VOX_QML_DIR "/Vox/plugins.qmltypes");
    for (const QByteArray type : {"Call", "KVRMotor", "Motion", "Motor", "Network", "NetworkModel", "Node"})
        QVERIFY2(types.contains("\"Vox/" + type + " 1.0\""), type);
    QTemporaryFile wrong;
    QVERIFY(wrong.open() && wrong.write("import Vox 1.0\nNetwork { property int a: Network.Opened }\n")
            && wrong.flush());
    for (const QString &page :
         {Tiles + "Tiles.qml", Tiles + "Tile.qml", Tiles + "TextButton.qml", wrong.fileName()}) {
        QProcess lint;
        lint.start(VOX_QMLLINT, {"-I", VOX_QML_DIR, page});
        QVERIFY(lint.waitForFinished());
        const bool isWrong = page == wrong.fileName() && QT_VERSION_MAJOR >= 6;
        QVERIFY2((lint.exitCode() != 0) == isWrong, lint.readAllStandardError());
    }
}

int main(int argc, char *argv[])
{
    qputenv("QT_LOGGING_RULES", "vox.bus.debug=false");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const QGuiApplication app(argc, argv);
    tst_VoxQml test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_voxqml.moc"
