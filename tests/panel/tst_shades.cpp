#include "desk.h"

#include "panel/facadeitem.h"
#include "panel/stripitem.h"

/// What is drawn, and when: no more often than something that is seen has changed.
class tst_Shades : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { warnings.clear(); }
    void cleanup() { QCOMPARE(warnings, QStringList()); }
    void aSilentLineDrawsNothing();
    void aFacadeAtRestDrawsNothing();
    void aPixelIsADrawing();
    void captionsAreUnhurried();
    void heightsFollowTheWindow();
    void extents();
    void pictures_data();
    void pictures();
};

namespace {
/// How often a window has been drawn.
class Drawings
{
public:
    explicit Drawings(QQuickWindow &window)
    {
        QObject::connect(&window, &QQuickWindow::afterRendering, &m_context, [this] { ++m_count; });
    }

    int during(qint64 ms)
    {
        m_count = 0;
        pass(ms);
        return m_count;
    }

private:
    QObject m_context;
    int m_count = 0;
};

/// A window with a façade alone, over a line that is polled.
struct Wall
{
    explicit Wall(int count)
        : building(count)
        , line(building.site().lines.first(), &building.bus(), PanelLine::Sends, nullptr)
    {
        window.resize(640, 480);
        facade.setParentItem(window.contentItem());
        facade.setSize(QSizeF(640, 480));
        facade.setArea(QSizeF(640, 480));
        const auto nodes = line.network().nodes();
        for (VOXNetworkNode *const node : nodes) {
            shades.push_back(std::make_unique<ShadeItem>());
            shades.back()->setParentItem(&facade);
            shades.back()->setNodeObject(node);
        }
        window.show();
        pass(90000);
    }
    VOXNetworkMotor &motor(VOX::Addr addr) { return *line.network().motor(addr); }

    DemoBuilding building;
    PanelLine line;
    QQuickWindow window;
    FacadeItem facade;
    std::vector<std::unique_ptr<ShadeItem>> shades;
};
}

// On a line on which nobody speaks, looked at by somebody who does not send.
void tst_Shades::aSilentLineDrawsNothing()
{
    PanelOptions options;
    options.bus = "udp://127.0.0.1:1?local=0";
    options.isLooking = true;
    options.size = {1280, 800};
    Desk desk(options);
    VOXNetwork &network = desk.panel().lines().first()->network();
    for (VOX::Addr addr = 0x101; addr < 0x120; ++addr)
        network.add(addr | VOX::Addr{VOX::NODETYPE_TB60LV} << 24);
    pass(2000);
    QCOMPARE(desk.all<ShadeItem>().size(), 31);
    QCOMPARE(Drawings(desk.window()).during(5000), 0);
}

void tst_Shades::aFacadeAtRestDrawsNothing()
{
    Wall wall(12);
    Drawings drawings(wall.window);
    int answers = 0;
    connect(&wall.line.network().scheduler(), &VOXScheduler::answered, this, [&] { ++answers; });
    QCOMPARE(drawings.during(30000), 0);
    QVERIFY2(answers > 10, QByteArray::number(answers));
    // A move is drawn, until it has ended.
    wall.motor(0x101).moveTo(60);
    QVERIFY(drawings.during(6000) > 5);
    QVERIFY(wall.facade.isMoving());
    pass(40000);
    QVERIFY(!wall.facade.isMoving());
    QCOMPARE(drawings.during(10000), 0);
}

// A hem that has not gone a pixel further is not drawn.
void tst_Shades::aPixelIsADrawing()
{
    Wall wall(12);
    wall.motor(0x101).moveDown();
    pass(6000);
    Drawings drawings(wall.window);
    const ShadePainter painter(wall.shades.front()->size(), 1, Theme::Light);
    const auto pixels = [&] {
        return painter.inner().height() * wall.motor(0x101).estimatedPercent().value_or(-1) / 100;
    };
    const double before = pixels();
    const int drawn = drawings.during(5000);
    const double gone = pixels() - before;
    QVERIFY2(gone > 5 && std::abs(drawn - gone) <= 5, qPrintable(QString("%1 for %2").arg(drawn).arg(gone)));
    QVERIFY(wall.facade.isMoving());
}

void tst_Shades::captionsAreUnhurried()
{
    Wall wall(12);
    // Fast enough for 13 numbers a second, once two readings have told how fast it is.
    constexpr VOX::Addr Open = 0x103;
    wall.building.simulation().node<KVRMotorDevice>(Open)->setTimeScale(4);
    wall.motor(Open).moveDown();
    pass(2500);
    int changes = 0;
    ShadeItem *const shade = wall.shades[2].get();
    connect(shade, &ShadeItem::valueChanged, this, [&] { ++changes; });
    pass(4000);
    QVERIFY2(changes >= 12 && changes <= 30, QByteArray::number(changes));
    pass(6000);
    QCOMPARE(shade->value(), QString("100"));
}

void tst_Shades::heightsFollowTheWindow()
{
    Desk desk(demo(12));
    for (const QSize size : {QSize(1024, 768), QSize(1920, 1080), QSize(900, 600)}) {
        desk.window().resize(size);
        const QImage image = desk.picture();
        for (const VOX::Addr addr : {0x102, 0x104, 0x108}) {
            const double drawn = desk.drawn(image, desk.shade(addr));
            QVERIFY2(std::abs(drawn - desk.percentOf(addr)) <= 2, QByteArray::number(drawn));
        }
    }
}

void tst_Shades::extents()
{
    ShadeLook look;
    look.state = ShadeLook::Known;
    const ShadePainter painter({72, 106}, 1, Theme::Light);
    const int height = static_cast<int>(painter.inner().height());
    // The hem is seen at 0 %, and no glass at 100.
    QCOMPARE(painter.extentOf(look, 0), painter.hemHeight());
    QCOMPARE(painter.extentOf(look, 50), height / 2);
    QCOMPARE(painter.extentOf(look, 100), height);
    look.kind = ShadeLook::Curtain;
    QCOMPARE(painter.extentOf(look, 100), static_cast<int>(painter.inner().width()) / 2);
}

void tst_Shades::pictures_data()
{
    QTest::addColumn<QSizeF>("cell");
    QTest::addColumn<double>("ratio");
    QTest::addColumn<int>("theme");
    QTest::newRow("usual") << QSizeF(72, 106) << 1.0 << int{Theme::Light};
    QTest::newRow("usual, dark") << QSizeF(72, 106) << 1.0 << int{Theme::Dark};
    QTest::newRow("fine pixels") << QSizeF(72, 106) << 2.0 << int{Theme::Light};
    QTest::newRow("small") << QSizeF(40, 58) << 1.0 << int{Theme::Light};
    QTest::newRow("one alone") << QSizeF(308, 440) << 1.0 << int{Theme::Light};
}

// Where cloth, glass and hem are, and what is over them, in the middle of the left half of the glass.
void tst_Shades::pictures()
{
    QFETCH(QSizeF, cell);
    QFETCH(double, ratio);
    QFETCH(int, theme);
    const auto mode = static_cast<Theme::Mode>(theme);
    const ShadePainter painter(cell, ratio, mode);
    const QRectF glass = painter.inner();
    ShadeLook look;
    look.state = ShadeLook::Known;
    using Ring = ShadePainter::Ring;
    const auto at = [&](const ShadeLook &shown, int percent, double x, double y, Ring ring = Ring::NoRing) {
        const QImage image = painter.picture(shown, painter.extentOf(shown, percent), ring);
        return image.pixelColor((QPointF(x, y) * ratio).toPoint());
    };
    const auto colour = [&](Theme::Role role) { return Theme::colour(role, mode); };
    const double left = glass.left() + glass.width() / 4;
    const auto row = [&](double percent) { return glass.top() + glass.height() * percent / 100; };
    const double hemRow = glass.top() + painter.extentOf(look, 40) - 1;
    QCOMPARE(painter.picture(look, 10, Ring::NoRing).size(), (cell * ratio).toSize());
    QCOMPARE(at(look, 40, left, hemRow), colour(Theme::Hem));
    QCOMPARE(at(look, 40, left, hemRow + 1.5), colour(Theme::Glass));
    QCOMPARE(at(look, 40, left, glass.top() + 2), colour(Theme::Cloth));
    QCOMPARE(at(look, 0, left, glass.top() + 1), colour(Theme::Hem));
    QCOMPARE(at(look, 100, left, glass.bottom() - 1), colour(Theme::Hem));
    // A target is seen over the glass while it moves, and only then; it stands also at the very end.
    ShadeLook moving = look;
    moving.motion = ShadeLook::Down;
    moving.target = 70;
    const double targetRow = glass.top() + std::round(glass.height() * 0.7) + 0.25;
    QCOMPARE(at(moving, 20, glass.left() + 1, targetRow), colour(Theme::Cloth));
    QCOMPARE(at(look, 20, glass.left() + 1, targetRow), colour(Theme::Glass));
    moving.target = 100;
    QCOMPARE(at(moving, 20, glass.left() + 1, glass.bottom() - 0.75), colour(Theme::Cloth));
    // A curtain comes from both sides.
    ShadeLook curtain = look;
    curtain.kind = ShadeLook::Curtain;
    QCOMPARE(at(curtain, 60, glass.left() + 1, row(80)), colour(Theme::Cloth));
    QCOMPARE(at(curtain, 60, glass.right() - 1, row(80)), at(curtain, 60, glass.right() - 1, row(79)));
    QCOMPARE(at(curtain, 60, glass.left() + glass.width() * 0.4, row(80)), colour(Theme::Glass));
    const double edge = painter.extentOf(curtain, 60) - 1;
    QCOMPARE(at(curtain, 60, glass.left() + edge, row(80)), colour(Theme::Hem));
    QCOMPARE(at(curtain, 60, glass.right() - edge - 0.5, row(80)), colour(Theme::Hem));
    // Dead and not asked: no cloth. Chosen: a ring.
    ShadeLook dead;
    dead.state = ShadeLook::Dead;
    const ShadeLook asked;
    for (const double percent : {5.0, 50.0, 95.0}) {
        QVERIFY(at(dead, 100, left, row(percent)) != colour(Theme::Cloth));
        QVERIFY(at(asked, 100, left, row(percent)).alpha() == 0);
    }
    const auto ringed = [&](Ring ring) { return painter.picture(look, 10, ring); };
    QVERIFY(ringed(Ring::SelectedRing) != ringed(Ring::NoRing));
    QVERIFY(ringed(Ring::SelectedRing) != ringed(Ring::FocusRing));
    QVERIFY(ringed(Ring::JumpRing) != ringed(Ring::NoRing));
    // Each state has a picture of its own.
    QVector<ShadeLook> looks{look, dead, asked, moving, curtain};
    ShadeLook each = look;
    each.isLocked = true;
    looks += each;
    each.isRefused = true;
    looks += each;
    each = look;
    each.isDoubled = true;
    looks += each;
    each = look;
    each.state = ShadeLook::Offline;
    each.reading = 40;
    looks += each;
    each = asked;
    each.state = ShadeLook::Unknown;
    looks += each;
    each = moving;
    each.motion = ShadeLook::Up;
    looks += each;
    each = look;
    each.kind = ShadeLook::Slats;
    looks += each;
    each.tilt = 20;
    looks += each;
    for (int i = 0; i < looks.size(); ++i) {
        for (int j = 0; j < i; ++j)
            QVERIFY2(painter.picture(looks[i], 30, Ring::NoRing)
                         != painter.picture(looks[j], 30, Ring::NoRing),
                     qPrintable(QString("%1 and %2").arg(i).arg(j)));
    }
}

int main(int argc, char *argv[])
{
    return runPanelTest<tst_Shades>(argc, argv);
}
#include "tst_shades.moc"
