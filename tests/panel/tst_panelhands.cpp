#include "desk.h"

class tst_PanelHands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { warnings.clear(); }
    void cleanup() { QCOMPARE(warnings, QStringList()); }
    void aClickMovesAMotor();
    void aFrameRoundSixIsOneFrame();
    void escStopsAllFromEveryView();
    void aDeadNodeShows();
    void keysReachEverything();
    void lookingSendsNothing();
};

void tst_PanelHands::aClickMovesAMotor()
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

void tst_PanelHands::aFrameRoundSixIsOneFrame()
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

void tst_PanelHands::escStopsAllFromEveryView()
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

void tst_PanelHands::aDeadNodeShows()
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

void tst_PanelHands::keysReachEverything()
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

void tst_PanelHands::lookingSendsNothing()
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
    options.bus = "serial:///dev/none";
    options.isLooking = true;
    const Desk desk(options);
    QVERIFY(!const_cast<Desk &>(desk).item("Stop all"));
    QCOMPARE(const_cast<Desk &>(desk).panel().badge(), QString("LOOKING ONLY"));
}

int main(int argc, char *argv[])
{
    return runPanelTest<tst_PanelHands>(argc, argv);
}
#include "tst_panelhands.moc"
