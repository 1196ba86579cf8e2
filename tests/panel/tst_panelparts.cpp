#include "panel/facadelayout.h"
#include "panel/framelist.h"
#include "panel/groupcover.h"
#include "panel/linehistory.h"
#include "panel/paneloptions.h"
#include "panel/places.h"
#include "panel/shademotion.h"
#include "panel/site.h"
#include "panel/theme.h"
#include "support/files.h"
#include "support/frames.h"

#include <QtTest>

#include <cmath>

namespace {
QVector<FacadePlace> building(int count, int facades, int floors)
{
    QVector<FacadePlace> places;
    for (int i = 0; i < count; ++i) {
        const QString label = floors > 0 ? QString("%1.%2 Room").arg(1 + i % floors).arg(i) : QString();
        places +=
            FacadePlace::of(QString("Side %1").arg(i % facades), label, 0x101 + static_cast<unsigned>(i));
    }
    return places;
}

double luminance(const QColor &colour)
{
    const auto part = [](double value) {
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * part(colour.redF()) + 0.7152 * part(colour.greenF()) + 0.0722 * part(colour.blueF());
}
}

class tst_PanelParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void layout_data();
    void layout();
    void floorsOfLabels();
    void neighbours();
    void groups_data();
    void groups();
    void history();
    void motion();
    void contrast();
    void options_data();
    void options();
    void siteFiles_data();
    void siteFiles();
    void places();
    void frames();
};

void tst_PanelParts::layout_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("facades");
    QTest::addColumn<int>("floors");
    QTest::addColumn<QSize>("area");
    QTest::addColumn<int>("cell");
    QTest::newRow("one alone") << 1 << 1 << 0 << QSize(984, 608) << 308;
    QTest::newRow("eight without floors") << 8 << 1 << 0 << QSize(984, 608) << 160;
    QTest::newRow("sixty with floors") << 60 << 3 << 5 << QSize(984, 608) << 72;
    QTest::newRow("sixty on a small screen") << 60 << 3 << 5 << QSize(744, 576) << 52;
    QTest::newRow("five hundred") << 500 << 3 << 5 << QSize(984, 608) << 24;
    QTest::newRow("five hundred on a large screen") << 500 << 3 << 5 << QSize(1624, 888) << 40;
    QTest::newRow("too many: the rest is below") << 4000 << 1 << 0 << QSize(984, 608) << 20;
}

void tst_PanelParts::layout()
{
    QFETCH(int, count);
    QFETCH(int, facades);
    QFETCH(int, floors);
    QFETCH(QSize, area);
    QFETCH(int, cell);
    const FacadeLayout layout = FacadeLayout::of(building(count, facades, floors), area);
    QCOMPARE(layout.cells.size(), count);
    QCOMPARE(layout.cells.first().width(), cell);
    const QRectF room(QPointF(), count > 1000 ? layout.size : QSizeF(area));
    for (int i = 0; i < count; ++i) {
        QVERIFY2(room.contains(layout.cells[i]), QByteArray::number(i));
        for (int j = 0; j < i && count <= 500; ++j)
            QVERIFY2(!layout.cells[i].intersects(layout.cells[j]), QByteArray::number(i));
    }
    QCOMPARE(layout.blocks.size(), facades);
    const QRectF window = FacadeLayout::windowOf(layout.cells.first().size());
    QVERIFY(QRectF(QPointF(), layout.cells.first().size()).contains(window));
}

void tst_PanelParts::floorsOfLabels()
{
    const auto floorOf = [](const char *label) { return FacadePlace::of({}, label, 1).floor.value_or(-1); };
    QCOMPARE(floorOf("3.08 Office"), 3);
    QCOMPARE(floorOf("12.01"), 12);
    QCOMPARE(floorOf("308 Office"), 3);
    QCOMPARE(floorOf("4"), 4);
    QCOMPARE(floorOf("Office 3"), -1);
    QCOMPARE(floorOf(""), -1);
    // A higher floor stands higher, and 5.02 right of 5.01.
    const FacadeLayout layout =
        FacadeLayout::of({FacadePlace::of("S", "5.02", 1), FacadePlace::of("S", "4.01", 2),
                          FacadePlace::of("S", "5.01", 3), FacadePlace::of("S", "4.02", 4)},
                         QSizeF(400, 400));
    QVERIFY(layout.cells[0].y() < layout.cells[1].y());
    QVERIFY(layout.cells[0].x() > layout.cells[2].x());
}

void tst_PanelParts::neighbours()
{
    const FacadeLayout layout = FacadeLayout::of(building(60, 3, 5), QSizeF(984, 608));
    for (int i = 0; i < 60; ++i) {
        const int right = layout.neighbour(i, 1, 0);
        QVERIFY(right == i || layout.cells[right].y() == layout.cells[i].y());
        QVERIFY(right == i || layout.neighbour(right, -1, 0) == i);
        const int below = layout.neighbour(i, 0, 1);
        QVERIFY(below == i || layout.cells[below].x() == layout.cells[i].x());
    }
    QCOMPARE(FacadeLayout().neighbour(0, 1, 0), -1);
}

void tst_PanelParts::groups_data()
{
    QTest::addColumn<QVector<VOX::Addr>>("nodes");
    QTest::addColumn<QVector<VOX::Addr>>("groups");
    QTest::addColumn<QVector<VOX::Addr>>("singles");
    using Addresses = QVector<VOX::Addr>;
    QTest::newRow("a group") << Addresses{1, 2, 3} << Addresses{0xa1} << Addresses{};
    QTest::newRow("a group and one more") << Addresses{4, 1, 2, 3} << Addresses{0xa1} << Addresses{4};
    QTest::newRow("a part of a group") << Addresses{1, 2} << Addresses{} << Addresses{1, 2};
    QTest::newRow("the larger group goes first") << Addresses{3, 4, 5, 6} << Addresses{0xa2} << Addresses{};
    QTest::newRow("none twice") << Addresses{1, 2, 3, 4, 5, 6} << Addresses{0xa2} << Addresses{1, 2};
    QTest::newRow("all") << Addresses{7, 6, 5, 4, 3, 2, 1} << Addresses{0xffffff} << Addresses{};
    QTest::newRow("one") << Addresses{7} << Addresses{} << Addresses{7};
}

void tst_PanelParts::groups()
{
    QFETCH(QVector<VOX::Addr>, nodes);
    const GroupCover cover = GroupCover::of(
        nodes, {{0xa1, {}, {1, 2, 3}}, {0xa2, {}, {3, 4, 5, 6}}, {0xa3, {}, {7}}, {0xa4, {}, {}}},
        {1, 2, 3, 4, 5, 6, 7});
    QTEST(cover.groups, "groups");
    QTEST(cover.singles, "singles");
}

void tst_PanelParts::history()
{
    LineHistory history;
    history.take(LineHistory::Polls, 61500, 62250);
    history.take(LineHistory::User, 62250, 62300);
    history.noteFailed(62300);
    QCOMPARE(history.second(62999, 1).takenMs[LineHistory::Polls], 500);
    QCOMPARE(history.second(62999, 0).takenMs[LineHistory::Polls], 250);
    QCOMPARE(history.second(62999, 0).takenMs[LineHistory::User], 50);
    QCOMPARE(history.sum(62999 + 59000).failed, 1);
    QCOMPARE(history.sum(62999 + 60000).failed, 0);
    // What took hours is no more than a minute.
    history.take(LineHistory::Others, 0, 7200000);
    QCOMPARE(history.sum(7199999).takenMs[LineHistory::Others], 60000);
}

void tst_PanelParts::motion()
{
    ShadeMotion motion;
    motion.set(40, 0);
    QCOMPARE(motion.shown(0), 40.0);
    QVERIFY(!motion.isRunning(0));
    // A small step is gone after 200 ms, a larger one after 400; neither goes past the estimate.
    motion.set(41, 1000);
    QCOMPARE(motion.shown(1000), 40.0);
    QVERIFY(motion.shown(1100) > 40 && motion.shown(1100) < 41);
    QCOMPARE(motion.shown(1200), 41.0);
    motion.set(46, 2000);
    QVERIFY(motion.isRunning(2399) && motion.shown(2399) <= 46);
    QVERIFY(!motion.isRunning(2400) && !motion.hasRing(2000));
    // A jump is no motion, but is seen.
    motion.set(80, 3000);
    QCOMPARE(motion.shown(3000), 80.0);
    QVERIFY(motion.hasRing(3599) && !motion.hasRing(3600));
}

void tst_PanelParts::contrast()
{
    struct Row
    {
        Theme::Role text;
        Theme::Role ground;
        double least;
    };
    const Row rows[] = {
        {Theme::Ink, Theme::Page, 4.5},
        {Theme::Ink, Theme::Surface, 4.5},
        {Theme::Ink, Theme::Wall, 4.5},
        {Theme::Ink2, Theme::Page, 4.5},
        {Theme::Ink2, Theme::Surface, 4.5},
        {Theme::Ink2, Theme::Wall, 4.5},
        {Theme::Accent, Theme::Surface, 4.5},
        {Theme::Accent, Theme::Wall, 4.5},
        {Theme::OnAccent, Theme::Accent, 4.5},
        {Theme::Ok, Theme::OkTint, 4.5},
        {Theme::Warning, Theme::WarningTint, 4.5},
        {Theme::Bad, Theme::BadTint, 4.5},
        {Theme::Bad, Theme::Surface, 4.5},
        {Theme::OnStopButton, Theme::StopButton, 4.5},
        {Theme::Outline, Theme::Page, 3},
        {Theme::Outline, Theme::Wall, 3},
        {Theme::Frame, Theme::Wall, 3},
        {Theme::Cloth, Theme::Glass, 3},
        {Theme::Hem, Theme::Cloth, 3},
        {Theme::LanePoll, Theme::Surface, 3},
        {Theme::LaneReadBack, Theme::Surface, 3},
        {Theme::LaneOther, Theme::Surface, 3},
    };
    for (const Theme::Mode mode : {Theme::Light, Theme::Dark}) {
        for (const Row &row : rows) {
            const double one = luminance(Theme::colour(row.text, mode));
            const double other = luminance(Theme::colour(row.ground, mode));
            const double contrast = (std::max(one, other) + 0.05) / (std::min(one, other) + 0.05);
            QVERIFY2(contrast >= row.least,
                     qPrintable(QString("%1 on %2: %3")
                                    .arg(Theme::name(row.text), Theme::name(row.ground))
                                    .arg(contrast)));
        }
    }
}

void tst_PanelParts::options_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("problem");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("a demo") << QByteArray("--demo --size 1024x768 --view line --theme dark") << QByteArray();
    QTest::newRow("two sources") << QByteArray("--demo --bus udp://1.2.3.4:5") << QByteArray("exclude");
    QTest::newRow("no size") << QByteArray("--size 1280") << QByteArray("1280x800");
    QTest::newRow("too small") << QByteArray("--size 10x10") << QByteArray("1280x800");
    QTest::newRow("no view") << QByteArray("--view roof") << QByteArray("facade, line");
    QTest::newRow("no number") << QByteArray("--after soon") << QByteArray("0 to 3600");
    QTest::newRow("no shades") << QByteArray("--demo --shades 0") << QByteArray("1 to 2000");
    QTest::newRow("a word") << QByteArray("demo") << QByteArray("'demo'");
    QTest::newRow("no option") << QByteArray("--dmeo") << QByteArray("dmeo");
}

void tst_PanelParts::options()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, problem);
    const PanelOptions options =
        PanelOptions::read(QStringList("vox-panel") + QString(line).split(' ', Qt::SkipEmptyParts));
    QCOMPARE(options.kind, problem.isEmpty() ? PanelOptions::Show : PanelOptions::Wrong);
    QVERIFY2(options.text.contains(problem), qPrintable(options.text));
}

void tst_PanelParts::siteFiles_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("problem");
    QTest::addColumn<int>("nodes");
    const QByteArray bus = R"("bus": "udp://127.0.0.1:4800")";
    QTest::newRow("of a bridge") << R"({"name": "hq", "mqtt": {}, "lines": [{"name": "n", )" + bus
            + R"(, "nodes": ["000101-00010A", {"address": "000301"}], "groups": {"00A001": {"members": ["000101-000102"]}}}]})"
                                 << QByteArray() << 11;
    QTest::newRow("nodes to be scanned")
        << R"({"lines": [{"nodes": "scan", )" + bus + "}]}" << QByteArray() << 0;
    QTest::newRow("no JSON") << QByteArray("{\n\"lines\": [\n") << QByteArray(":3: ") << -1;
    QTest::newRow("no lines") << QByteArray("{}") << QByteArray("lines: names no line") << -1;
    QTest::newRow("no bus") << QByteArray(R"({"lines": [{"bus": "rs232"}]})") << QByteArray("lines[0].bus: ")
                            << 0;
    QTest::newRow("a wrong node, and the rest")
        << R"({"lines": [{"nodes": ["101x", "000102"], )" + bus + "}]}" << QByteArray("lines[0].nodes[0]: ")
        << 1;
    QTest::newRow("a wrong group") << R"({"lines": [{"groups": {"x": {}}, )" + bus + "}]}"
                                   << QByteArray("lines[0].groups.x: ") << 0;
    QTest::newRow("a range that is none") << R"({"lines": [{"nodes": ["000200-000101"], )" + bus + "}]}"
                                          << QByteArray("lines[0].nodes[0]: ") << 0;
}

void tst_PanelParts::siteFiles()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, problem);
    QFETCH(int, nodes);
    QTemporaryDir dir;
    setContents(dir.filePath("site.json"), text);
    Site site;
    QStringList problems;
    QCOMPARE(Site::load(dir.filePath("site.json"), &site, &problems), nodes >= 0);
    QCOMPARE(problems.isEmpty(), problem.isEmpty());
    QVERIFY2(problems.join('\n').contains(problem), qPrintable(problems.join('\n')));
    QCOMPARE(site.lines.isEmpty() ? -1 : static_cast<int>(site.lines.first().nodes.size()), nodes);
}

void tst_PanelParts::places()
{
    QTemporaryDir dir;
    const QString name = dir.filePath("places.json");
    Places places;
    places.open(name);
    places.setPlace("n/000101", {0.25, 0.5});
    places.setPlace("n/000101", {0.75, 0.5});
    places.setChecked("n/000102", true);
    Places again;
    again.open(name);
    QCOMPARE(again.place("n/000101"), std::optional<QPointF>(QPointF(0.75, 0.5)));
    QVERIFY(again.isChecked("n/000102") && !again.place("n/000102"));
    places.undo();
    places.undo();
    QVERIFY(!places.canUndo() && !places.hasAny());
    // A picture that is none, a file that is none, and a folder that takes none are said.
    places.setPictureName(name);
    QVERIFY(places.problem().contains("PNG") && places.picture().isEmpty());
    setContents(name, "{");
    again.open(name);
    QVERIFY(again.problem().contains(name) && !again.hasAny());
    again.open("/proc/none/places.json");
    again.setChecked("n/000102", true);
    QVERIFY(again.problem().contains("--places"));
}

void tst_PanelParts::frames()
{
    FrameList list;
    const QByteArray good = line(frame("0D", 1));
    for (int i = 0; i < FrameList::MostFrames + 10; ++i)
        list.add(i % 2 ? good : good.left(5), i);
    QTRY_COMPARE(list.total(), FrameList::MostFrames);
    list.setFilter("get_MOTOR 000001");
    QVERIFY(list.rowCount() <= FrameList::MostFrames / 2);
    QTemporaryDir dir;
    const QString name = dir.filePath("x.pcap");
    QVERIFY(list.save(name).contains("saved"));
    QVERIFY(list.save(name).contains("already"));
    QVERIFY(list.save("/proc/none/x.pcap").contains("may write"));
}

QTEST_GUILESS_MAIN(tst_PanelParts)
#include "tst_panelparts.moc"
