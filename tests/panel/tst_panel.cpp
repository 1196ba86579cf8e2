#include "desk.h"

#include "panel/stripitem.h"
#include "support/udppair.h"

#include <QFontMetrics>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

Q_DECLARE_METATYPE(PanelOptions)

class tst_Panel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { warnings.clear(); }
    void cleanup() { QCOMPARE(warnings, QStringList()); }
    void heights_data();
    void heights();
    void states_data();
    void states();
    void aLineIsCutAndMended();
    void aReplayShowsTheSame();
    void badInput_data();
    void badInput();
    void nothingMovesNothingIsDrawn();
    void labels();
    void curtainsAndSlats();
    void twoLines();
};

void tst_Panel::heights_data()
{
    QTest::addColumn<int>("shades");
    QTest::addColumn<QString>("theme");
    QTest::addColumn<QSize>("size");
    QTest::newRow("one") << 1 << "light" << QSize(1280, 800);
    QTest::newRow("sixty") << 60 << "light" << QSize(1280, 800);
    QTest::newRow("sixty, dark, small screen") << 60 << "dark" << QSize(1024, 768);
    QTest::newRow("two hundred, large screen") << 200 << "light" << QSize(1920, 1080);
}

void tst_Panel::heights()
{
    QFETCH(int, shades);
    QFETCH(QString, theme);
    QFETCH(QSize, size);
    Desk desk(demo(shades, theme, size));
    const QImage image = desk.picture();
    QCOMPARE(image.size(), size);
    const auto items = desk.all<ShadeItem>();
    QCOMPARE(items.size(), shades);
    for (ShadeItem *const shade : items) {
        if (shade->look().state != ShadeLook::Known)
            continue;
        const double drawn = desk.drawn(image, shade);
        const int held = desk.percentOf(shade->node()->address());
        QVERIFY2(std::abs(drawn - held) <= 2,
                 qPrintable(QString("%1: %2 is drawn, %3 held").arg(shade->label()).arg(drawn).arg(held)));
    }
}

void tst_Panel::states_data()
{
    QTest::addColumn<QString>("theme");
    QTest::newRow("light") << "light";
    QTest::newRow("dark") << "dark";
}

void tst_Panel::states()
{
    QFETCH(QString, theme);
    Desk desk(demo(60, theme));
    constexpr VOX::Addr Locked = 0x105, Unlimited = 0x139, Dead = 0x101, Moving = 0x102;
    desk.panel().demo()->kill(Dead);
    auto &network = desk.panel().lines().first()->network();
    network.motor(Locked)->refresh();
    network.motor(Locked)->moveTo(70);
    network.motor(Moving)->moveTo(100);
    pass(3000);
    const QImage image = desk.picture();
    const auto has = [&](VOX::Addr addr, Theme::Role role) {
        return desk.hasColour(image, desk.rectOf(desk.shade(addr)), role);
    };
    QVERIFY(has(Moving, Theme::Accent));
    QVERIFY(!has(0x103, Theme::Accent));
    QVERIFY(has(Locked, Theme::WarningTint) && desk.shade(Locked)->words().contains("refused"));
    QVERIFY(!has(Unlimited, Theme::Cloth) && !has(Unlimited, Theme::Glass));
    QCOMPARE(desk.shade(Unlimited)->look().state, ShadeLook::Unknown);
    QVERIFY(desk.shade(Moving)->value().startsWith(QString("≈")));
    QCOMPARE(desk.shade(0x103)->value(), QString("0"));
    pass(75000);
    const QImage later = desk.picture();
    const QRectF dead = desk.rectOf(desk.shade(Dead));
    QVERIFY(desk.hasColour(later, dead, Theme::Bad) && !desk.hasColour(later, dead, Theme::Cloth));
    // The refusal has had its minute; the lock stays.
    const QRectF locked = desk.rectOf(desk.shade(Locked));
    QVERIFY(!desk.hasColour(later, locked, Theme::WarningTint) && desk.shade(Locked)->look().isLocked);
}

void tst_Panel::aLineIsCutAndMended()
{
    Desk desk(demo());
    QVERIFY(desk.click("Cut the line"));
    const auto isTold = [&] {
        return !desk.panel().troubles()->rows().isEmpty()
            && desk.panel().troubles()->rows().first().kind == Trouble::Line;
    };
    QVERIFY(passUntil(isTold, 60000));
    // One card and one banner, not sixty.
    QCOMPARE(desk.panel().troubles()->rowCount(), 1);
    QCOMPARE(desk.shade(0x101)->look().state, ShadeLook::Offline);
    QVERIFY(desk.item("Line north: nothing is heard. No node answers. Check the power of the nodes, the "
                      "cable, and the adapter."));
    desk.panel().demo()->setCut(false);
    QVERIFY(passUntil([&] { return desk.shade(0x101)->look().state == ShadeLook::Known; }, 30000));
}

void tst_Panel::aReplayShowsTheSame()
{
    QTemporaryDir dir;
    const QString file = dir.filePath("night.pcap");
    QMap<VOX::Addr, int> held;
    {
        Desk desk(demo(12));
        desk.panel().allDown();
        pass(8000);
        desk.panel().stopAll();
        pass(20000);
        for (const ShadeModel::Row &row : desk.panel().shades()->rows())
            held.insert(row.node->address(), desk.percentOf(row.node->address()));
        QVERIFY(desk.panel().lines().first()->frames()->save(file).contains("saved"));
    }
    PanelOptions options;
    options.replay = file;
    options.size = {1280, 800};
    options.theme = "light";
    Desk desk(options);
    QVERIFY(desk.panel().replay());
    desk.panel().replay()->setPosition(1e9);
    passUntil([&] { return desk.panel().replay()->isCaughtUp(); }, 10000);
    pass(1000);
    const auto compare = [&] {
        const QImage image = desk.picture();
        for (auto node = held.cbegin(); node != held.cend(); ++node) {
            ShadeItem *const shade = desk.shade(node.key());
            if (!shade || std::abs(desk.drawn(image, shade) - node.value()) > 2)
                return VOX::toString(node.key());
        }
        return QString();
    };
    QCOMPARE(compare(), QString());
    // Back, and there again.
    desk.panel().replay()->setPosition(0);
    pass(100);
    desk.panel().replay()->setPosition(1e9);
    pass(3000);
    QCOMPARE(compare(), QString());
    QVERIFY(!desk.item("Stop all") && !desk.item("All up"));
    QVERIFY(!desk.panel().replay()->isPlaying());
}

void tst_Panel::badInput_data()
{
    QTest::addColumn<PanelOptions>("options");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, QString PanelOptions::*what, const QString &value,
                        const QString &said) {
        PanelOptions options;
        options.*what = value;
        options.size = {1024, 768};
        QTest::newRow(name) << options << said;
    };
    row("a port that is not there", &PanelOptions::bus, "serial:///dev/none",
        "serial:///dev/none cannot be opened");
    row("a bus that is none", &PanelOptions::bus, "rs485:1", "rs485:1 cannot be opened");
    row("a site file that is none", &PanelOptions::config, VOX_SOURCE_DIR "/README.md",
        "Which line is to be shown?");
    row("a capture that is none", &PanelOptions::replay, VOX_SOURCE_DIR "/README.md",
        "Show what was on a line");
}

void tst_Panel::badInput()
{
    QFETCH(PanelOptions, options);
    QFETCH(QString, said);
    QTemporaryDir dir;
    options.places = dir.filePath("places.json");
    Desk desk(options);
    pass(3000);
    QVERIFY(desk.item(said));
    QVERIFY(options.bus.isEmpty() == !desk.panel().problems().isEmpty());
    QVERIFY(desk.click("Façade"));
    QVERIFY(desk.click("Try the demo"));
    pass(1000);
    QCOMPARE(desk.panel().badge(), QString("SIMULATED"));
}

void tst_Panel::nothingMovesNothingIsDrawn()
{
    Desk desk(demo());
    pass(60000);
    int frames = 0;
    QObject::connect(&desk.window(), &QQuickWindow::afterRendering, &desk.window(), [&] { ++frames; });
    pass(10000);
    // The bars of the line go on each second, and what is written beside them.
    QVERIFY2(frames <= 25, QByteArray::number(frames));
    desk.panel().lines().first()->network().motor(0x101)->moveTo(100);
    // Two readings tell the speed.
    pass(8000);
    frames = 0;
    pass(2000);
    QVERIFY2(frames >= 10, QByteArray::number(frames));
}

void tst_Panel::labels()
{
    Desk desk(demo(8));
    const QString latin = QString::fromUtf8("WWWWWWWWWWWWWWWW");
    desk.click(desk.shade(0x101));
    desk.panel().selection()->setLabel(latin);
    desk.click(desk.shade(0x102), Qt::ControlModifier);
    QCOMPARE(desk.panel().selection()->count(), 2);
    desk.panel().selection()->setLabel(QString::fromUtf8("Ω 窓 too long for a label"));
    pass(5000);
    QCOMPARE(desk.panel().selection()->refusals().size(), 2);
    QCOMPARE(desk.shade(0x101)->label(), latin);
    QVERIFY(!desk.picture().isNull());
    // Digits have one width, so that numbers do not jump; a font is there at all.
    const QFontMetrics metrics(desk.app.theme().value("smallFont").value<QFont>());
    QVERIFY(metrics.horizontalAdvance('i') < metrics.horizontalAdvance('W'));
    QCOMPARE(metrics.horizontalAdvance('1'), metrics.horizontalAdvance('8'));
}

void tst_Panel::curtainsAndSlats()
{
    Desk desk(demo(3));
    constexpr VOX::Addr Curtain = 0x1f0;
    auto *const motor =
        qobject_cast<KVRMotorDevice *>(desk.panel().demo()->simulation().add("MARLO", Curtain));
    QVERIFY(motor && motor->setAppMode(KVRMotor::CURTAIN));
    QVERIFY(motor->setLimits(0, 20000));
    motor->restAt(10000);
    desk.panel().lines().first()->network().add(Curtain);
    QVERIFY(passUntil(
        [&] { return desk.shade(Curtain) && desk.shade(Curtain)->look().kind == ShadeLook::Curtain; },
        20000));
    QVERIFY(passUntil([&] { return desk.shade(Curtain)->value() == "50"; }, 5000));
    // Half closed: a quarter of the glass from either side.
    const QImage image = desk.picture();
    ShadeItem *const shade = desk.shade(Curtain);
    const QRectF glass =
        ShadePainter(shade->size(), 1, desk.theme).inner().translated(desk.rectOf(shade).topLeft());
    const auto isCloth = [&](double share) {
        const QRgb pixel = image.pixel((glass.topLeft() + QPointF(share * glass.width(), 9)).toPoint());
        return qRed(pixel) > 0xc0;
    };
    QVERIFY(isCloth(0.03) && isCloth(0.2) && !isCloth(0.27) && !isCloth(0.73) && isCloth(0.8)
            && isCloth(0.97));
    // Slats are the thicker, the more they are closed.
    ShadeLook look;
    look.state = ShadeLook::Known;
    look.kind = ShadeLook::Slats;
    int before = 0;
    for (const int tilt : {0, 40, 80, 100}) {
        look.tilt = tilt;
        const ShadePainter painter(QSizeF(144, 212), 1, desk.theme);
        const QImage slats = painter.picture(look, painter.extentOf(look, 100), ShadePainter::NoRing);
        const QRect inner = painter.inner().toRect();
        int rows = 0;
        for (int y = inner.top(); y <= inner.bottom(); ++y)
            rows += slats.pixel(inner.left() + 5, y) == Theme::colour(Theme::Cloth, desk.theme).rgb();
        QVERIFY2(rows > before && rows < inner.height(), qPrintable(QString("%1: %2").arg(tilt).arg(rows)));
        before = rows;
    }
}

void tst_Panel::twoLines()
{
    QTemporaryDir dir;
    PanelOptions options;
    options.config = dir.filePath("site.json");
    options.places = dir.filePath("places.json");
    options.size = {1280, 800};
    QJsonArray lines;
    std::unique_ptr<VOXUdpBus> buses[2];
    VOXSimulation sites[2];
    for (int i = 0; i < 2; ++i) {
        const auto ports = freeUdpPorts();
        const QHostAddress here(QHostAddress::LocalHost);
        buses[i] = std::make_unique<VOXUdpBus>(here, ports.first, here, ports.second);
        QJsonArray nodes;
        for (int j = 0; j < 3 + i; ++j)
            nodes += QJsonObject{{"model", "TB60LV"},
                                 {"address", VOX::toString(0x101 + j)},
                                 {"limits", QJsonObject{{"up", 0}, {"down", 20000}}}};
        QVERIFY(sites[i].load(QJsonObject{{"nodes", nodes}}) && sites[i].attach(buses[i].get()));
        lines +=
            QJsonObject{{"name", i == 0 ? "north" : "south"},
                        {"bus", QString("udp://127.0.0.1:%1?local=%2").arg(ports.second).arg(ports.first)},
                        {"nodes", QJsonArray{QString("000101-00010%1").arg(3 + i)}}};
    }
    setContents(options.config, QJsonDocument(QJsonObject{{"name", "hq"}, {"lines", lines}}).toJson());
    Desk desk(options);
    QCOMPARE(desk.panel().problems().join("; "), QString());
    const auto isThere = [&] {
        return desk.panel().isSettled() && desk.panel().troubles()->summary().startsWith("7 of 7 answer");
    };
    QVERIFY(passUntil(isThere, 20000));
    // Equal addresses of two lines are two shades, and each line has its row.
    QCOMPARE(desk.all<ShadeItem>().size(), 7);
    QCOMPARE(desk.all<StripItem>().size(), 2);
    QVERIFY(desk.item("Frames of line north"));
    QVERIFY(desk.click("Unfold line south") && desk.item("Frames of line south"));
    desk.key(Qt::Key_1, Qt::ControlModifier);
    desk.key(Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(desk.panel().selection()->way(), QString("one frame to all, on each of 2 lines"));
    const auto percents = [&] {
        QSet<int> all;
        for (const VOXSimulation &site : sites) {
            for (const VOX::Addr addr : site.addresses())
                all += site.node<KVRMotorDevice>(addr)->positionPulses() * 100 / 20000;
        }
        return all;
    };
    QVERIFY(desk.click("Down"));
    pass(60000);
    QCOMPARE(percents(), QSet<int>{100});
    QVERIFY(desk.click("All up"));
    pass(3000);
    desk.key(Qt::Key_Escape);
    pass(1000);
    QVERIFY(!percents().contains(100) && !percents().contains(0));
    // One of them is cut: its shades, and no others.
    sites[1].attach(nullptr);
    QVERIFY(passUntil(
        [&] {
            return desk.item(
                "Line south: nothing is heard. No node answers. Check the power of the nodes, the "
                "cable, and the adapter.");
        },
        60000));
    int offline = 0;
    for (const ShadeItem *const shade : desk.all<ShadeItem>())
        offline += shade->look().state == ShadeLook::Offline;
    QCOMPARE(offline, 4);
    desk.key(Qt::Key_3, Qt::ControlModifier);
    QVERIFY(desk.click("Show line south"));
    QVERIFY(desk.item("4 nodes"));
    QVERIFY(desk.click("Show line north") && desk.item("3 nodes"));
}

int main(int argc, char *argv[])
{
    return runPanelTest<tst_Panel>(argc, argv);
}
#include "tst_panel.moc"
