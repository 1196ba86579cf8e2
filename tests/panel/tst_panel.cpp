#include "devices/kvrmotordevice.h"
#include "messages/voxcommandtrait.h"
#include "panel/application.h"
#include "panel/shadeitem.h"
#include "panel/shadepainter.h"
#include "simulation/voxvirtualtime.h"
#include "support/files.h"
#include "transport/voxframecutter.h"

#include <QAccessible>
#include <QFontMetrics>
#include <QQuickItemGrabResult>
#include <QQuickWindow>
#include <QtTest>

#include <cmath>

Q_DECLARE_METATYPE(PanelOptions)

/// Of Qt, in a header that is not for programs. Events of windows come through it, also without a display;
/// the loop of a time that is virtual does not know it.
class QWindowSystemInterface
{
public:
    static bool sendWindowSystemEvents(QEventLoop::ProcessEventsFlags flags);
};

namespace {
QStringList warnings;

void note(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        warnings += text, fprintf(stderr, "%s\n", qPrintable(text));
}

bool passUntil(const std::function<bool()> &condition, qint64 ms)
{
    constexpr qint64 FrameMs = 16;
    for (; ms > 0; ms -= FrameMs) {
        QWindowSystemInterface::sendWindowSystemEvents(QEventLoop::AllEvents);
        if (VOXVirtualTime::runUntil(condition, std::min(ms, FrameMs)))
            return true;
    }
    return condition();
}

void pass(qint64 ms)
{
    passUntil([] { return false; }, ms);
}

PanelOptions demo(int shades = 60, const QString &theme = "light", const QSize &size = {1280, 800})
{
    PanelOptions options;
    options.isDemo = true;
    options.shades = shades;
    options.theme = theme;
    options.size = size;
    return options;
}

/// A panel, and what a person does with it, in virtual time.
struct Desk
{
    explicit Desk(const PanelOptions &options)
        : app(options)
        , theme(options.theme == "dark" ? Theme::Dark : Theme::Light)
    {
        if (!panel().demo())
            return;
        panel().demo()->setPlaying(false);
        QObject::connect(&panel().demo()->line(), &VOXLine::sent, panel().demo(),
                         [this](QIODevice *, const QByteArray &bytes) { sent += bytes; });
        passUntil([this] { return panel().isSettled(); }, 60000);
        pass(2000);
    }

    Panel &panel() { return app.panel(); }
    QQuickWindow &window() { return *app.window(); }
    KVRMotorDevice &motor(VOX::Addr addr) { return *panel().demo()->simulation().node<KVRMotorDevice>(addr); }
    int percentOf(VOX::Addr addr)
    {
        return static_cast<int>(std::lround(motor(addr).positionPulses() * 100.0 / 20000));
    }

    static QString nameOf(QObject *item)
    {
        QAccessibleInterface *const face = QAccessible::queryAccessibleInterface(item);
        return face ? face->text(QAccessible::Name) : QString();
    }
    template <typename Item>
    QVector<Item *> all(QQuickItem *from = nullptr)
    {
        QVector<Item *> found;
        const auto children = (from ? from : window().contentItem())->childItems();
        for (QQuickItem *const child : children) {
            if (!child->isVisible())
                continue;
            if (auto *const item = qobject_cast<Item *>(child))
                found += item;
            found += all<Item>(child);
        }
        return found;
    }
    /// By what a screen reader says.
    QQuickItem *item(const QString &name)
    {
        const auto items = all<QQuickItem>();
        for (QQuickItem *const each : items) {
            if (nameOf(each) == name)
                return each;
        }
        return nullptr;
    }
    ShadeItem *shade(VOX::Addr addr)
    {
        const auto shades = all<ShadeItem>();
        for (ShadeItem *const each : shades) {
            if (each->node() && each->node()->address() == addr)
                return each;
        }
        return nullptr;
    }
    static QPoint middle(const QQuickItem *item)
    {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    }
    void click(const QQuickItem *item, Qt::KeyboardModifiers keys = Qt::NoModifier)
    {
        QTest::mouseClick(&window(), Qt::LeftButton, keys, middle(item));
        pass(50);
    }
    bool click(const QString &name)
    {
        const QQuickItem *const found = item(name);
        if (found)
            click(found);
        return found;
    }
    void key(Qt::Key code, Qt::KeyboardModifiers keys = Qt::NoModifier)
    {
        QTest::keyClick(&window(), code, keys);
        pass(50);
    }
    QImage picture()
    {
        pass(300);
        const auto result = window().contentItem()->grabToImage();
        passUntil([&] { return !result->image().isNull(); }, 1000);
        return result->image();
    }
    bool hasColour(const QImage &image, const QRectF &rect, Theme::Role role)
    {
        int pixels = 0;
        const QRect whole = rect.toRect().intersected(image.rect());
        for (int y = whole.top(); y <= whole.bottom(); ++y) {
            for (int x = whole.left(); x <= whole.right(); ++x)
                pixels += image.pixel(x, y) == Theme::colour(role, theme).rgb();
        }
        return pixels >= 8;
    }
    QRectF rectOf(ShadeItem *shade) const { return shade->mapRectToScene(shade->boundingRect()); }
    /// How far down the cloth is in the picture, in percent; -1 if no hem is there.
    double drawn(const QImage &image, ShadeItem *shade) const
    {
        const ShadePainter painter(shade->size(), 1, theme);
        const QRectF glass = painter.inner().translated(rectOf(shade).topLeft());
        const int x = static_cast<int>(glass.left() + 2);
        int hem = -1;
        for (int y = static_cast<int>(glass.top()); y < glass.bottom(); ++y) {
            if (image.pixel(x, y) == Theme::colour(Theme::Hem, theme).rgb())
                hem = y;
        }
        const double height = hem + 1 - glass.top();
        return hem < 0 ? -1 : height <= painter.hemHeight() ? 0 : height * 100 / glass.height();
    }
    /// The frames of hosts that have been sent and that @p is such.
    template <typename Is>
    int count(const Is &is)
    {
        int frames = 0;
        const VOXFrameCutter cutter(VOXMessage::MinLength);
        for (QByteArray rest = sent; !rest.isEmpty();) {
            const VOXFrameCutter::Cut cut = cutter.cut(rest);
            if (cut.isGood())
                frames += is(VOXMessage(BusMessage(cut.frame)));
            rest.remove(0, std::max(1, cut.dropped()));
        }
        return frames;
    }
    int moves(VOX::AddrType type)
    {
        return count([=](const VOXMessage &frame) {
            return frame.addrType() == type && VOXCommandTrait::of(frame).isMotion();
        });
    }

    Application app;
    Theme::Mode theme;
    QByteArray sent;
};
}

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
    void aClickMovesAMotor();
    void aFrameRoundSixIsOneFrame();
    void escStopsAllFromEveryView();
    void aDeadNodeShows();
    void aLineIsCutAndMended();
    void keysReachEverything();
    void aReplayShowsTheSame();
    void lookingSendsNothing();
    void badInput_data();
    void badInput();
    void nothingMovesNothingIsDrawn();
    void labels();
    void placesAreKept();
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

void tst_Panel::aClickMovesAMotor()
{
    Desk desk(demo());
    desk.click(desk.shade(0x10d));
    QCOMPARE(desk.panel().selection()->count(), 1);
    QCOMPARE(desk.moves(VOX::P2P), 0);
    QVERIFY(desk.click("Down"));
    pass(40000);
    QCOMPARE(desk.percentOf(0x10d), 100);
    QVERIFY(desk.drawn(desk.picture(), desk.shade(0x10d)) > 98);
    QCOMPARE(desk.moves(VOX::P2P), 1);
}

void tst_Panel::aFrameRoundSixIsOneFrame()
{
    Desk desk(demo());
    // The fourth floor of the south side.
    const QPoint from = desk.rectOf(desk.shade(0x107)).topLeft().toPoint() - QPoint(2, 0);
    const QPoint to = desk.rectOf(desk.shade(0x10c)).bottomRight().toPoint() - QPoint(4, 4);
    QTest::mousePress(&desk.window(), Qt::LeftButton, {}, from);
    for (int step = 1; step <= 4; ++step)
        QTest::mouseMove(&desk.window(), from + (to - from) * step / 4);
    QTest::mouseRelease(&desk.window(), Qt::LeftButton, {}, to);
    pass(50);
    QCOMPARE(desk.panel().selection()->count(), 6);
    QCOMPARE(desk.panel().selection()->way(), QString("one group frame, 00A012"));
    QVERIFY(desk.click("Down"));
    pass(60000);
    QCOMPARE(desk.moves(VOX::GROUP), 1);
    QCOMPARE(desk.moves(VOX::P2P), 0);
    for (VOX::Addr addr = 0x107; addr <= 0x10c; ++addr)
        QCOMPARE(desk.percentOf(addr), 100);
}

void tst_Panel::escStopsAllFromEveryView()
{
    Desk desk(demo());
    const auto stops = [&] {
        return desk.count([](const VOXMessage &frame) {
            return frame.addrType() == VOX::BCAST && VOXCommandTrait::of(frame).kind == VOXCommandTrait::Stop;
        });
    };
    const auto isRunning = [&] { return desk.motor(0x102).isMoving(); };
    for (const Qt::Key view : {Qt::Key_1, Qt::Key_2, Qt::Key_3, Qt::Key_4}) {
        desk.key(view, Qt::ControlModifier);
        QVERIFY(desk.click(view % 2 ? "All down" : "All up"));
        pass(2000);
        QVERIFY(isRunning());
        const int before = stops();
        // Whoever has the keys: a field, and a box that Esc closes.
        if (view == Qt::Key_1)
            desk.key(Qt::Key_F, Qt::ControlModifier);
        desk.key(Qt::Key_Escape);
        pass(400);
        QVERIFY2(stops() > before && !isRunning(), qPrintable(QString(QChar(view))));
        pass(5000);
    }
    QVERIFY(desk.click("All down"));
    pass(2000);
    QVERIFY(desk.click("Stop all"));
    pass(400);
    QVERIFY(!isRunning());
}

void tst_Panel::aDeadNodeShows()
{
    Desk desk(demo());
    pass(30000);
    VOXFault fault;
    fault.node = 0x10d;
    desk.panel().demo()->simulation().addFault(fault);
    desk.click(desk.shade(0x10d));
    QVERIFY(desk.click("Up"));
    const auto isShown = [&] {
        return desk.shade(0x10d)->isDead() && desk.panel().troubles()->rowCount() > 0;
    };
    QVERIFY(passUntil(isShown, 15000));
    pass(500);
    const auto &rows = desk.panel().troubles()->rows();
    QVERIFY(rows.first().title.contains("3.01") && rows.first().text.contains("Check its power"));
    desk.panel().demo()->revive();
    QVERIFY(desk.click("Ask now"));
    QVERIFY(passUntil([&] { return !desk.shade(0x10d)->isDead(); }, 15000));
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

void tst_Panel::keysReachEverything()
{
    Desk desk(demo());
    // The first shade is where the keys are.
    desk.key(Qt::Key_1, Qt::ControlModifier);
    QSet<QString> reached;
    for (int i = 0; i < 40; ++i) {
        if (QObject *const focused = desk.window().activeFocusItem())
            reached += Desk::nameOf(focused);
        desk.key(Qt::Key_Tab);
    }
    for (const char *const name :
         {"Façade", "Line", "Install", "Replay", "All up", "All down", "Stop all", "Shades"})
        QVERIFY2(reached.contains(name), name);
    desk.key(Qt::Key_F, Qt::ControlModifier);
    for (const char letter : QByteArray("00010e"))
        QTest::keyClick(&desk.window(), letter);
    desk.key(Qt::Key_Return);
    QCOMPARE(desk.panel().selection()->count(), 1);
    QCOMPARE(Desk::nameOf(desk.shade(0x10e)), QString("3.02 Office"));
    QVERIFY(desk.shade(0x10e)->isSelected());
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

void tst_Panel::lookingSendsNothing()
{
    DemoBuilding building(3);
    Panel panel;
    int sent = 0;
    QObject::connect(&building.line(), &VOXLine::sent, &panel, [&] { ++sent; });
    PanelLine line(building.site().lines.first(), &building.bus(), PanelLine::OnlyListens, nullptr);
    line.scan();
    line.network().stopAll();
    pass(60000);
    QCOMPARE(sent, 0);
    PanelOptions options;
    options.bus = "udp://127.0.0.1:1?local=0";
    options.isLooking = true;
    const Desk desk(options);
    QVERIFY(!const_cast<Desk &>(desk).item("Stop all"));
    QCOMPARE(const_cast<Desk &>(desk).panel().badge(), QString("LOOKING ONLY"));
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

void tst_Panel::placesAreKept()
{
    QTemporaryDir dir;
    PanelOptions options = demo(8);
    options.places = dir.filePath("places.json");
    QPointF place;
    {
        Desk desk(options);
        QVERIFY(desk.click("Arrange …"));
        const QPoint from = Desk::middle(desk.shade(0x103));
        QTest::mousePress(&desk.window(), Qt::LeftButton, {}, from);
        QTest::mouseMove(&desk.window(), {300, 200});
        QTest::mouseMove(&desk.window(), {400, 300});
        QTest::mouseRelease(&desk.window(), Qt::LeftButton, {}, {400, 300});
        pass(100);
        QVERIFY((Desk::middle(desk.shade(0x103)) - QPoint(400, 300)).manhattanLength() <= 2);
        // Placing commands nothing, and chooses nothing.
        QCOMPARE(desk.panel().selection()->count(), 0);
        place = *desk.panel().places()->place("north/000103");
    }
    Desk again(options);
    QCOMPARE(*again.panel().places()->place("north/000103"), place);
    QVERIFY(!again.picture().isNull());
}

int main(int argc, char *argv[])
{
    qputenv("QT_LOGGING_RULES", "vox.*=false");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", "1");
    qputenv("QML2_IMPORT_PATH", VOX_QML_DIR);
    const VOXVirtualTime time(VOXVirtualTime::Local);
    const QGuiApplication app(argc, argv);
    Application::prepare();
    QAccessible::setActive(true);
    qInstallMessageHandler(note);
    tst_Panel test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_panel.moc"
