#include "desk.h"

#include "panel/backdrop.h"
#include "panel/facadeitem.h"

namespace {
const char drawing[] =
    "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' width='200' "
    "height='100'>"
    "<rect width='200' height='100' fill='#ff00ff'/>"
    "<a xlink:href='http://127.0.0.1:1/'><rect width='100' height='50' fill='#00ff00'/></a>"
    "<image width='200' height='100' xlink:href='%1'/></svg>";

FacadeItem *facadeOf(Desk &desk)
{
    return desk.all<FacadeItem>().value(0);
}

void drag(Desk &desk, VOX::Addr addr, const QPoint &to)
{
    QTest::mousePress(&desk.window(), Qt::LeftButton, {}, Desk::middle(desk.shade(addr)));
    QTest::mouseMove(&desk.window(), to - QPoint(90, 90));
    QTest::mouseMove(&desk.window(), to);
    QTest::mouseRelease(&desk.window(), Qt::LeftButton, {}, to);
    pass(100);
}

int distance(Desk &desk, VOX::Addr addr, const QPoint &point)
{
    return (Desk::middle(desk.shade(addr)) - point).manhattanLength();
}

void turnWheel(Desk &desk, const QPoint &at, const QPoint &pixels, const QPoint &angle)
{
    QWheelEvent event(at, at, pixels, angle, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&desk.window(), &event);
    pass(50);
}
}

class tst_PanelArrange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { warnings.clear(); }
    void cleanup() { QCOMPARE(warnings, QStringList()); }
    void placesAreKept();
    void pictures_data();
    void pictures();
    void pictureBehindTheShades();
    void wheel();
    void twoFingers();
    void oneFinger();
};

void tst_PanelArrange::placesAreKept()
{
    QTemporaryDir dir;
    PanelOptions options = demo(8);
    options.places = dir.filePath("places.json");
    QPointF place;
    {
        Desk desk(options);
        QVERIFY(desk.click("Arrange …"));
        drag(desk, 0x104, {500, 200});
        drag(desk, 0x103, {400, 300});
        QVERIFY(distance(desk, 0x103, {400, 300}) <= 2);
        // Placing commands nothing, and chooses nothing.
        QCOMPARE(desk.panel().selection()->count(), 0);
        place = *desk.panel().places()->place("north/000103");
        // Not beyond the picture; and back.
        drag(desk, 0x103, {5, 5});
        QCOMPARE(desk.panel().places()->place("north/000103"), QPointF(0, 0));
        desk.key(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(desk.panel().places()->place("north/000103"), place);
        QVERIFY(distance(desk, 0x103, {400, 300}) <= 2);
        // By keys: where the last click was.
        desk.key(Qt::Key_Right, Qt::AltModifier);
        QVERIFY(std::abs(desk.panel().places()->place("north/000101")->x() - 0.01) < 0.1);
        QVERIFY(desk.click("Undo"));
        QVERIFY(!desk.panel().places()->place("north/000101"));
        desk.key(Qt::Key_Escape);
        QVERIFY(!desk.item("Done") && desk.item("Arrange …"));
    }
    Desk again(options);
    QCOMPARE(*again.panel().places()->place("north/000103"), place);
    QVERIFY(distance(again, 0x103, {400, 300}) <= 2);
}

void tst_PanelArrange::pictures_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QString>("said");
    const auto png = [](int width, int height) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        QImage(width, height, QImage::Format_Mono).save(&buffer, "png");
        return bytes;
    };
    QTest::newRow("a small one") << "a.png" << png(30, 20) << QSize(30, 20) << "";
    QTest::newRow("a wide one") << "a.png" << png(9000, 90) << QSize(2048, 20) << "";
    QTest::newRow("a drawing") << "a.svg" << QByteArray(drawing) << QSize(2048, 1024) << "";
    QTest::newRow("whatever it is called") << "a.png" << QByteArray(drawing) << QSize(2048, 1024) << "";
    QTest::newRow("too many pixels") << "a.png" << png(9000, 9000) << QSize() << "64 million";
    QTest::newRow("too many bytes") << "a.png" << QByteArray(33 * 1024 * 1024, 'x') << QSize() << "32 MiB";
    QTest::newRow("half a drawing") << "a.svg" << QByteArray(drawing, 200) << QSize() << "no picture";
    QTest::newRow("none") << "a.png" << QByteArray("text") << QSize() << "no picture";
    QTest::newRow("empty") << "a.png" << QByteArray() << QSize() << "no picture";
    QTest::newRow("not there") << "" << QByteArray() << QSize() << "cannot be read";
}

void tst_PanelArrange::pictures()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QFETCH(QSize, size);
    QFETCH(QString, said);
    QTemporaryDir dir;
    const QString file = dir.filePath(name);
    if (!name.isEmpty())
        setContents(file, bytes);
    QString problem;
    QCOMPARE(Backdrop::sizeOf(file, &problem).isEmpty(), !said.isEmpty());
    QVERIFY2(problem.contains(said) && problem.isEmpty() == said.isEmpty(), qPrintable(problem));
    QCOMPARE(Backdrop::read(file, 2048).size(), size.isEmpty() ? QSize(0, 0) : size);
}

void tst_PanelArrange::pictureBehindTheShades()
{
    QTemporaryDir dir;
    const QString other = dir.filePath("other.png");
    QImage white(200, 100, QImage::Format_RGB32);
    white.fill(Qt::white);
    QVERIFY(white.save(other));
    const QString file = dir.filePath("house.svg");
    setContents(file, QString(drawing).arg(other).toUtf8());
    PanelOptions options = demo(2);
    options.places = dir.filePath("places.json");
    {
        Desk desk(options);
        desk.click("Arrange …");
        desk.item("Picture of the building")->setProperty("text", options.places + "x");
        desk.click("Set picture");
        QVERIFY(desk.panel().places()->problem().contains("cannot be read"));
        desk.item("Picture of the building")->setProperty("text", file);
        desk.click("Set picture");
        QCOMPARE(desk.panel().places()->problem(), QString());
        drag(desk, 0x101, {700, 250});
        desk.click("Done");
    }
    Desk desk(options);
    const QRectF rect = facadeOf(desk)->mapRectToScene(facadeOf(desk)->pictureRect());
    const auto isShown = [&](double x, double y, QRgb colour) {
        const QPoint point(int(rect.left() + x * rect.width()), int(rect.top() + y * rect.height()));
        return desk.picture().pixel(point) == colour;
    };
    // Another thread reads it, in another time.
    QTRY_VERIFY(isShown(0.9, 0.1, 0xffff00ff));
    QVERIFY(isShown(0.05, 0.05, 0xff00ff00));
    QCOMPARE(qRound(rect.width() / rect.height()), 2);
    QVERIFY(distance(desk, 0x101, {700, 250}) <= 2);
    // Shades bring their wall with them.
    const QRect shade = desk.rectOf(desk.shade(0x101)).toRect();
    const QColor wall = desk.picture().pixelColor(shade.bottomRight() - QPoint(4, 4));
    QVERIFY(std::abs(wall.green() - 0.88 * 0xe1) < 3);
}

void tst_PanelArrange::wheel()
{
    Desk desk(demo());
    const QRectF before = desk.rectOf(desk.shade(0x10e));
    const QPoint at = before.center().toPoint();
    for (int i = 0; i < 4; ++i) {
        turnWheel(desk, at, {}, {0, 120});
    }
    QVERIFY(std::abs(desk.rectOf(desk.shade(0x10e)).width() / before.width() - std::pow(1.25, 4)) < 0.05);
    QVERIFY2(distance(desk, 0x10e, at) <= 4, qPrintable(QString::number(distance(desk, 0x10e, at))));
    // The pad of a laptop moves what is seen.
    turnWheel(desk, at, {-30, -20}, {-30, -20});
    QVERIFY(distance(desk, 0x10e, at - QPoint(30, 20)) <= 4);
    // A click chooses as ever; two make all fit.
    desk.click(desk.shade(0x10e));
    QCOMPARE(Desk::nameOf(desk.shade(0x10e)), desk.shade(0x10e)->label());
    QVERIFY(desk.shade(0x10e)->isSelected() && desk.item("Fit"));
    QTest::mouseDClick(&desk.window(), Qt::LeftButton, {}, Desk::middle(desk.shade(0x10e)));
    pass(50);
    QCOMPARE(desk.rectOf(desk.shade(0x10e)), before);
    QVERIFY(!desk.item("Fit"));
    for (int i = 0; i < 40; ++i)
        turnWheel(desk, at, {}, {0, 120});
    QVERIFY(desk.rectOf(desk.shade(0x10e)).width() <= 480 && facadeOf(desk)->zoom() > 6);
    desk.key(Qt::Key_0, Qt::ControlModifier);
    QCOMPARE(desk.rectOf(desk.shade(0x10e)), before);
    desk.key(Qt::Key_Plus, Qt::ControlModifier);
    QVERIFY(facadeOf(desk)->zoom() > 1.4);
    desk.key(Qt::Key_Minus, Qt::ControlModifier);
    QCOMPARE(desk.rectOf(desk.shade(0x10e)), before);
}

void tst_PanelArrange::twoFingers()
{
    Desk desk(demo());
    auto *const screen = QTest::createTouchDevice();
    const QPoint at = Desk::middle(desk.shade(0x10e));
    const auto touch = [&](int apart, const QPoint &middle, bool isFirst = false, bool isLast = false) {
        auto sequence = QTest::touchEvent(&desk.window(), screen);
        const QPoint half(apart / 2, 0);
        if (isFirst)
            sequence.press(1, middle - half).press(2, middle + half);
        else if (isLast)
            sequence.release(1, middle - half).release(2, middle + half);
        else
            sequence.move(1, middle - half).move(2, middle + half);
        sequence.commit();
        pass(20);
    };
    touch(100, at, true);
    for (int apart = 110; apart <= 300; apart += 10)
        touch(apart, at);
    const double zoom = facadeOf(desk)->zoom();
    QVERIFY2(zoom > 2 && zoom < 3.2, QByteArray::number(zoom));
    QVERIFY2(distance(desk, 0x10e, at) <= 40, QByteArray::number(distance(desk, 0x10e, at)));
    const QPoint before = Desk::middle(desk.shade(0x10e));
    for (int i = 1; i <= 10; ++i)
        touch(300, at - QPoint(0, 5 * i));
    QVERIFY(distance(desk, 0x10e, before - QPoint(0, 50)) <= 20);
    touch(300, at - QPoint(0, 50), false, true);
    QCOMPARE(desk.panel().selection()->count(), 0);
    QCOMPARE(desk.moves(VOX::P2P), 0);
}

void tst_PanelArrange::oneFinger()
{
    Desk desk(demo(300, "light", {1024, 768}));
    auto *const screen = QTest::createTouchDevice();
    const auto tap = [&](const QPoint &at) {
        QTest::touchEvent(&desk.window(), screen).press(1, at);
        pass(50);
        QTest::touchEvent(&desk.window(), screen).release(1, at);
        pass(1000);
    };
    ShadeItem *const shade = desk.shade(0x120);
    const double width = shade->width();
    QVERIFY(width < 44);
    tap(Desk::middle(shade));
    QCOMPARE(desk.panel().selection()->count(), 0);
    QVERIFY(std::abs(shade->width() - 3 * width) <= 2);
    QVERIFY(QRect(0, 0, 744, 700).contains(Desk::middle(shade)));
    tap(Desk::middle(shade));
    QVERIFY(shade->isSelected());
    QCOMPARE(desk.panel().selection()->count(), 1);
}

int main(int argc, char *argv[])
{
    return runPanelTest<tst_PanelArrange>(argc, argv);
}
#include "tst_panelarrange.moc"
