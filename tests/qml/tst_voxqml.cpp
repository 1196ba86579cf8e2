#include "devices/kvrmotordevice.h"
#include "network/voxnetwork.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/files.h"
#include "support/udppair.h"

#include <QLibraryInfo>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QtTest>

namespace {
const QString Tiles = VOX_SOURCE_DIR "/examples/qml-tiles/";

/// Nodes on UDP and on a line, and pages for their networks.
struct Pages
{
    std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    QString bus = QString("udp://127.0.0.1:%1?local=%2").arg(ports.first).arg(ports.second);
    VOXUdpBus udp{QHostAddress::LocalHost, ports.second, QHostAddress::LocalHost, ports.first};
    VOXLine line;
    VOXSimulation simulation;
    QQmlEngine engine;
    std::unique_ptr<QObject> network;
    QString warnings;

    explicit Pages(VOXBus *where = nullptr)
    {
        auto *const motor = dynamic_cast<KVRMotorDevice *>(simulation.add("TB60LV", 0x101));
        motor->setLimits(0, 12000);
        simulation.add("HRMV2", 0x301);
        simulation.add("NODE", 0x401);
        simulation.attach(where ? where : &udp);
        engine.addImportPath(VOX_QML_DIR);
        engine.setOutputWarningsToStandardError(false);
        QObject::connect(&engine, &QQmlEngine::warnings, &engine, [this](const QList<QQmlError> &errors) {
            for (const QQmlError &error : errors)
                warnings += error.description() + '\n';
        });
    }
    KVRMotorDevice &motor() const { return *simulation.node<KVRMotorDevice>(0x101); }
    std::unique_ptr<QObject> make(const QString &text)
    {
        QQmlComponent component(&engine);
        component.setData(text.toUtf8(), QUrl("file:///page.qml"));
        std::unique_ptr<QObject> page(component.create());
        warnings += component.errorString();
        return page;
    }
    /// A network with what is @p named, and a model of it.
    void open(const QString &named)
    {
        network = make("import QtQml 2.15\nimport Vox 1.0\nNetwork { id: net; property var kept\n"
                       "property NetworkModel model: NetworkModel { network: net }\n"
                       + named + "\nComponent.onCompleted: add('000101') }");
    }
    /// What @p code gives, with that network and its motor.
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
    void collectGarbage()
    {
        engine.collectGarbage();
        VOXVirtualTime::advance(0);
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
    void networksAreExchanged();
    void pagesKeepWhatHasGone();
    void samplesAndPagesAreRight();
};

void tst_VoxQml::tilesMoveMotors()
{
    Pages pages;
    QQuickView view(&pages.engine, nullptr);
    view.setInitialProperties({{"bus", pages.bus}});
    view.setSource(QUrl::fromLocalFile(Tiles + "Tiles.qml"));
    view.show();
    QGuiApplication::sync();
    const auto find = [&](const char *name) { return findItem(view.contentItem(), name); };
    const auto text = [&](const char *name) { return find(name)->property("text").toString(); };
    const auto click = [&](const char *name) {
        const QPointF middle(find(name)->width() / 2, find(name)->height() / 2);
        QTest::mouseClick(&view, Qt::LeftButton, {}, find(name)->mapToScene(middle).toPoint());
    };
    QTRY_VERIFY(find("slider") && text("words") == "0 %");
    click("slider");
    QTRY_COMPARE_WITH_TIMEOUT(text("words"), QString("50 %"), 60000);
    QCOMPARE(pages.motor().positionPulses(), 6000);
    QCOMPARE(qRound(find("blind")->height()), 27);
    click("stopAll");
    QTRY_COMPARE(view.rootObject()->property("said").toString(), QString("1 of 1 motors have done it."));
    pages.udp.close();
    click("stop");
    QTRY_VERIFY_WITH_TIMEOUT(text("problem").contains("nswer"), 15000);
    QCOMPARE(pages.warnings, QString());
}

void tst_VoxQml::wrongNamesAndValuesAreThrown()
{
    Pages pages;
    pages.open("bus: '" + pages.bus + "'");
    const std::pair<QString, QString> rows[] = {
        {"motor.jog(KVRMotor.DIRECTION_UPP, 100)",
         "TypeError: jog: undefined is no KVRMotor.Direction: DIRECTION_"},
        {"motor.jog(KVRMotor.DIRECTION_NONE, 100)", "RangeError: jog: a jog needs DIRECTION_UP or "},
        {"motor.jog(KVRMotor.DIRECTION_UP, 10.5)", "RangeError: jog: 10.5 is no jog, 10 to 1000"},
        {"motor.jog(KVRMotor.DIRECTION_UP, 1001)", "RangeError: jog: 1001 is no jog"},
        {"motor.setLimit(KVRMotor.LIMIT_UP, 3)", "RangeError: setLimit: 3 is no KVRMotor.LimitFunction"},
        {"motor.moveTo(KVRMotor.MOVETO_PERCENTT)", "TypeError: moveTo: undefined is no percentage, 0 to 100"},
        {"motor.moveTo('50')", "TypeError: moveTo: 50 is no percentage"},
        {"motor.moveTo(101)", "RangeError: moveTo: 101 is no"},
        {"motor.moveTo(0 / 0)", "RangeError: moveTo: NaN is no"},
        {"motor.moveTo()", "Insufficient arguments"},
        {"motor.moveToIntermediate(17)",
         "RangeError: moveToIntermediate: 17 is no intermediate position, 1 to 16"},
        {"motor.setSpeeds(20, 0, 10)", "RangeError: setSpeeds: 0 is no speed"},
        {"motor.lock(256)", "RangeError: lock: 256 is no priority, 0 to 255"},
        {"motor.percent = 50", "TypeError: Cannot assign to read-only property \"percent\""},
        {"network.motor('000999').moveTo(50)", "TypeError: Cannot call method 'moveTo' of null"},
        {"network.motor('00101')", "TypeError: motor: 00101 is no address"},
        {"network.add(0)", "RangeError: add: "},
        {"network.discoverRange('000200', '0001ff')", "RangeError: discoverRange: a range is 1 to 65536 "},
        {"network.setGroup('00A001', '000101')", "setGroup: 000101 is no list"},
        {"network.moveGroupTo(Network.Everyone, -1)", "RangeError: moveGroupTo: -1 is no"},
        {"network.setPlan({positionMS: 5000})", "RangeError: setPlan: a plan has no 'positionMS'"},
        {"network.setPlan({movingMs: 5})", "RangeError: setPlan: "},
        {"network.setKnownNodes([{address: 'x'}])", "setKnownNodes: [0]: "},
        {"network.model.nodeAt(-1)", "RangeError: nodeAt: -1 is no row"},
    };
    VOXVirtualTime::advance(1000);
    for (const auto &[code, error] : rows) {
        pages.warnings.clear();
        pages.run(code);
        QVERIFY2(pages.warnings.contains(error), qPrintable(code + ": " + pages.warnings));
    }
    VOXVirtualTime::advance(1000);
    QVERIFY(!pages.motor().isMoving() && pages.run("network.motor('000101').lastRefusal === ''").toBool());
    // What is right goes through, and finds those who answer no broadcast.
    pages.run("network.discoverRange(0x300, '000302')");
    QTRY_VERIFY(pages.run("network.motor('000301') && network.motor('000301').legacy").toBool());
    QVERIFY(pages.run("network.moveGroupTo(Network.Everyone, 49.6).end === Motion.Running").toBool());
    QTRY_COMPARE(pages.motor().targetPos(), 6000);
}

void tst_VoxQml::deadBusIsTold()
{
    Pages pages;
    for (const QString url : {"serial:///dev/not-there", "udp:/nonsense", "pty:"}) {
        pages.open("bus: '" + url + "'");
        QVERIFY(pages.run("network.line === Network.Closed && network.lineProblem.length > 20").toBool());
        QVERIFY(pages.run("motor.moveTo(50).end === Motion.NoAnswer").toBool());
    }
    QVERIFY2(pages.warnings.contains("nonsense"), qPrintable(pages.warnings));
}

void tst_VoxQml::networksAreExchanged()
{
    VOXLine line;
    Pages pages(line.addBus(&line));
    auto cpp = std::make_unique<VOXNetwork>(line.addBus(&line));
    cpp->add(0x401);
    pages.open("sending: false");
    pages.network->setProperty("source", QVariant::fromValue(cpp.get()));
    // What C++ has set holds, and what it has found is there.
    QVERIFY(pages.run("motor === null && network.sending && network.model.count === 1").toBool());
    QVERIFY(pages.run("network.add(0x101) === network.motor('000101')").toBool());
    QTRY_VERIFY(pages.run("motor.presence === Node.Up && network.model.nodeAt(0) === motor").toBool());
    QCOMPARE(pages.run("motor").value<QObject *>()->property("presence").toString(), QString("Up"));
    QCOMPARE(cpp->motor(0x101)->property("presence").toString(), QString("Up"));
    QCOMPARE(pages.network->property("line").toString(), QString("Open"));
    QVERIFY(pages.run("network.model.data(network.model.index(0, 0), Qt.UserRole + 5) === Node.Up").toBool());
    cpp.reset();
    QVERIFY(pages.run("network.source === null && !network.sending && network.model.count === 0").toBool());

    // A page may choose yet another one while it hears that one has gone.
    for (const QString reaction : {"bus = ''", "bus = 'udp://127.0.0.1:1'", "source = null", "add(0x301)"}) {
        cpp = std::make_unique<VOXNetwork>(line.addBus(&line));
        cpp->add(0x401);
        pages.open("bus: '" + pages.bus + "'; property int rows: model.count; onRowsChanged: if (!rows) "
                   + reaction);
        pages.network->setProperty("source", QVariant::fromValue(cpp.get()));
        QVERIFY(pages.run("network.model.count === 1 && motor === null").toBool());
        cpp.reset();
        VOXVirtualTime::advance(1000);
        QVERIFY2(pages
                     .run("network.source === null && (network.line === Network.Closed) === "
                          "!network.bus")
                     .toBool(),
                 qPrintable(reaction));
    }
}

void tst_VoxQml::pagesKeepWhatHasGone()
{
    for (const QString code : {"motor.moveTo(90)", "motor.stop().finished.connect(() => network.bus = '')",
                               "motor.changed.connect(() => network.remove('000101'))"}) {
        Pages pages;
        pages.open("bus: '" + pages.bus + "'");
        const QPointer<QObject> motor = pages.run("network.kept = motor").value<QObject *>();
        pages.run(code);
        VOXVirtualTime::advance(1000);
        if (pages.motor().isMoving())
            pages.run("network.bus = 'udp://127.0.0.1:1'");
        pages.collectGarbage();
        QVERIFY(pages
                    .run("network.kept.presence === Node.Down && network.kept.percent === undefined "
                         "&& network.kept.addressText === '000101'")
                    .toBool());
        pages.run("network.kept.stop()");
        QVERIFY2(pages.warnings.contains("stop: the node is no longer in the network"),
                 qPrintable(pages.warnings));
        pages.run("network.kept = null");
        pages.collectGarbage();
        QVERIFY(!motor);
    }
}

// The guide's samples load, and tools know the types.
void tst_VoxQml::samplesAndPagesAreRight()
{
    Pages pages;
    const QByteArray guide = contents(VOX_SOURCE_DIR "/docs/integrator.md");
    for (const QString &part : QString::fromUtf8(guide).split("```qml\n").mid(1))
        QVERIFY2(pages.make(part.section("```", 0, 0)) && pages.warnings.isEmpty(),
                 qPrintable(pages.warnings));

    const QString types = QString::fromUtf8(contents(VOX_QML_DIR "/Vox/plugins.qmltypes"));
    for (const QString type : {"Call", "KVRMotor", "Motion", "Motor", "Network", "NetworkModel", "Node"})
        QVERIFY2(types.contains("\"Vox/" + type + " 1.0\""), qPrintable(type));
    pages.open("bus: '" + pages.bus + "'");
    for (const QString object : {"network", "network.model", "motor", "motor.stop()", "motor.wink()"}) {
        const auto *meta = pages.run(object).value<QObject *>()->metaObject();
        for (; meta != &QObject::staticMetaObject && meta != &QAbstractItemModel::staticMetaObject;
             meta = meta->superClass()) {
            const QString known =
                types.section(QString("        name: \"%1\"\n").arg(meta->className()), 1, 1)
                    .section("\n    Component {", 0, 0);
            QStringList names;
            for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i)
                names += meta->property(i).name();
            for (int i = meta->methodOffset(); i < meta->methodCount(); ++i)
                names += meta->method(i).name();
            // That of Qt 5 leaves out the signals of properties.
            names = names.filter(QRegularExpression("(?<![Cc]hanged)$"));
            for (const QString &name : qAsConst(names))
                QVERIFY2(known.isEmpty() || known.contains("name: \"" + name + "\""), qPrintable(name));
        }
    }

    // That of Qt 5 does not know the attached properties of views.
    const bool isOld = QT_VERSION_MAJOR < 6;
    const QString qtTypes = QLibraryInfo::location(QLibraryInfo::Qml2ImportsPath);
    const auto problemsOf = [&](const QString &page, bool isThorough) {
        QProcess lint;
        lint.start(VOX_QMLLINT,
                   QStringList{"-I", VOX_QML_DIR, "-I", qtTypes}
                       + (isThorough && isOld ? QStringList{"-U", page} : QStringList{page}));
        const bool isDone = lint.waitForFinished();
        return isDone && lint.exitCode() == 0 ? QByteArray() : lint.readAllStandardError();
    };
    for (const char *name : {"Tiles", "Tile", "TextButton"})
        QCOMPARE(problemsOf(Tiles + name + ".qml", QByteArray(name) != "Tiles"), QByteArray());
    for (const QString wrong : {"Network.Opened", "KVRMotor.DIRECTION_UPP", "Motion.Arived", "Node.Upp"}) {
        QTemporaryFile page;
        QVERIFY(page.open() && page.write("import QtQml 2.15\nimport Vox 1.0\nNetwork { property int a: ")
                && page.write(wrong.toUtf8()) && page.write(" }\n") && page.flush());
        const QByteArray problems = problemsOf(page.fileName(), true);
        QVERIFY2(problems.contains(wrong.section('.', 1).toUtf8() + "\" not found"), problems);
    }
}

int main(int argc, char *argv[])
{
    qputenv("QT_LOGGING_RULES", "vox.bus=false\ndefault.warning=false");
    qputenv("QT_QPA_PLATFORM", "minimal");
    qputenv("QT_QUICK_BACKEND", "software");
    const VOXVirtualTime time(VOXVirtualTime::Local);
    const QGuiApplication app(argc, argv);
    tst_VoxQml test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_voxqml.moc"
