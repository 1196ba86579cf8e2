#include "desk.h"

#include "panel/inventory.h"
#include "vox/bridge/siteconfig.h"

#include <QJsonDocument>

namespace {
int winksOf(Desk &desk, VOX::Addr addr)
{
    return desk.count([=](const VOXMessage &frame) {
        return frame.cmd() == KVR::CTRL_WINK && frame.destAddr(false) == addr;
    });
}

void write(Desk &desk, const QString &field, const QString &text)
{
    desk.item(field)->setProperty("text", text);
}
}

class tst_PanelInstall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { warnings.clear(); }
    void cleanup() { QCOMPARE(warnings, QStringList()); }
    void scanning();
    void searching_data();
    void searching();
    void keysDownTheList();
    void twoNodesWithOneAddress();
    void limits();
    void table();
    void siteFile();
};

void tst_PanelInstall::scanning()
{
    Desk desk(demo(5));
    desk.panel().lines().first()->network().remove(0x103);
    QVERIFY(desk.click("Install") && desk.item("4 nodes"));
    QVERIFY(desk.click("Scan"));
    QVERIFY(desk.item("Scanning, 4 nodes so far …") || desk.item("Scanning, 5 nodes so far …"));
    QVERIFY(passUntil([&] { return desk.item("One new node found."); }, 30000));
    pass(3000);
    QVERIFY(desk.item("000103 3.01 Office 0 % down"));
}

void tst_PanelInstall::searching_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("last");
    QTest::addColumn<QString>("said");
    QTest::newRow("a range") << "000100"
                             << "00011F"
                             << "One new node found.";
    QTest::newRow("one address") << "000105"
                                 << ""
                                 << "One new node found.";
    QTest::newRow("nobody there") << "000201"
                                  << "00020A"
                                  << "0 new nodes found.";
    QTest::newRow("no address") << "12"
                                << ""
                                << "";
    QTest::newRow("backwards")
        << "000102"
        << "000101"
        << "000102 to 000101 is no range of addresses: at most 65536, the first one first";
}

void tst_PanelInstall::searching()
{
    QFETCH(QString, first);
    QFETCH(QString, last);
    QFETCH(QString, said);
    Desk desk(demo(5));
    const PanelLine &line = *desk.panel().lines().first();
    line.network().remove(0x105);
    QVector<double> shares;
    connect(&line, &PanelLine::scanProgressed, &line, [&] { shares += line.scanProgress(); });
    desk.click("Install");
    write(desk, "First address", first);
    write(desk, "Last address", last);
    QVERIFY(desk.click("Search addresses"));
    QVERIFY(passUntil([&] { return !line.isScanning(); }, 60000));
    QVERIFY(said.isEmpty() ? !line.scanResult().isEmpty() : desk.item(said) != nullptr);
    QVERIFY(std::is_sorted(shares.cbegin(), shares.cend()));
    const bool isRange = said.contains("found") && !last.isEmpty();
    QVERIFY(!isRange
            || (shares.size() > 5 && shares.first() > 0 && shares.last() > 0.8 && shares.last() < 1));
    QVERIFY(isRange || std::none_of(shares.cbegin(), shares.cend(), [](double share) { return share > 0; }));
}

void tst_PanelInstall::keysDownTheList()
{
    QTemporaryDir dir;
    PanelOptions options = demo(5);
    options.view = "install";
    options.places = dir.filePath("places.json");
    {
        Desk desk(options);
        pass(100);
        desk.key(Qt::Key_W);
        desk.key(Qt::Key_W);
        pass(500);
        QCOMPARE(winksOf(desk, 0x101), 1);
        QCOMPARE(winksOf(desk, 0x102), 1);
        // The third row now.
        desk.key(Qt::Key_C);
        desk.key(Qt::Key_L);
        for (const char letter : QByteArray("cell 7"))
            QTest::keyClick(&desk.window(), letter);
        desk.key(Qt::Key_Return);
        pass(2000);
        QCOMPARE(desk.motor(0x103).nodeLabel().constData(), "cell 7");
        QVERIFY(passUntil([&] { return desk.item("000103 cell 7 0 % down checked"); }, 5000));
        // What Esc leaves is not written; it stops, and the keys are the table's again.
        desk.key(Qt::Key_L);
        QTest::keyClick(&desk.window(), 'x');
        desk.key(Qt::Key_Escape);
        desk.key(Qt::Key_Down);
        desk.key(Qt::Key_C);
        desk.key(Qt::Key_C);
        pass(1000);
        QCOMPARE(desk.motor(0x103).nodeLabel().constData(), "cell 7");
        // For fingers.
        desk.key(Qt::Key_Home);
        QVERIFY(desk.click("Wink, and next  (W)"));
        pass(500);
        QCOMPARE(winksOf(desk, 0x101), 2);
        QVERIFY(desk.click("000102 checked"));
    }
    Desk again(options);
    QVERIFY(again.item("000103 3.01 Office 0 % down checked") && again.item("000104 2.01 Studio 60 % down"));
    QCOMPARE(again.panel().places()->checkedCount(), 2);
}

void tst_PanelInstall::twoNodesWithOneAddress()
{
    PanelOptions options = demo(5);
    options.view = "install";
    Desk desk(options);
    // They answer by turns.
    passUntil([&] { return !desk.panel().lines().first()->network().node(0x102)->serialNumber().isEmpty(); },
              60000);
    desk.motor(0x102).setSerialNumber("ANOTHER");
    desk.panel().lines().first()->network().node(0x102)->refresh();
    QVERIFY(passUntil([&] { return desk.item("000102 4.01 Meeting two nodes have it"); }, 60000));
    const QImage image = desk.picture();
    const auto rowOf = [&](const QString &name) {
        QQuickItem *const row = desk.item(name);
        return row ? row->mapRectToScene(row->boundingRect()) : QRectF();
    };
    QVERIFY(desk.hasColour(image, rowOf("000102 4.01 Meeting two nodes have it"), Theme::Bad));
    QVERIFY(!desk.hasColour(image, rowOf("000103 3.01 Office 0 % down"), Theme::Bad));
}

void tst_PanelInstall::limits()
{
    Desk desk(demo());
    Panel &panel = desk.panel();
    PanelLine *const line = panel.lines().first();
    QCOMPARE(panel.limitsOf(line, 0x101), QString("not read yet"));
    line->network().node(0x101)->refresh();
    pass(5000);
    QCOMPARE(panel.limitsOf(line, 0x101), QString("0 … 20000"));
    QCOMPARE(panel.limitsOf(line, 0x139), QString("not set"));
    line->network().add(0x777);
    QCOMPARE(panel.limitsOf(line, 0x777), QString());
    QCOMPARE(panel.limitsOf(line, 0x778), QString());
}

void tst_PanelInstall::table()
{
    QTemporaryDir dir;
    PanelOptions options = demo(2);
    options.view = "install";
    options.places = dir.filePath("places.json");
    Desk desk(options);
    VOXNetwork &network = desk.panel().lines().first()->network();
    for (VOXNetworkNode *const node : network.nodes())
        node->refresh();
    pass(5000);
    network.node(0x102)->setLabel("=1+1,\"a\"");
    pass(2000);
    QVERIFY(desk.click("000101 checked"));
    write(desk, "File to export to", dir.filePath("house.json"));
    QVERIFY(desk.click("Export CSV"));
    const QString file = dir.filePath("house.csv");
    QVERIFY(desk.item(QString("Saved in %1.").arg(file)));
    const QList<QByteArray> rows = contents(file).split('\n');
    QCOMPARE(rows.size(), 4);
    QCOMPARE(rows[0],
             QByteArray("line,address,label,type,serial,application,stack,up,down,percent,checked\r"));
    QVERIFY(rows[1].startsWith("north,000101,5.01 Office,TB60LV,"));
    QVERIFY(rows[1].endsWith(",5012345-A03-1,5000001-B12-0,0,20000,25,yes\r"));
    // No spreadsheet takes a label for a formula.
    QVERIFY(rows[2].startsWith("north,000102,\"'=1+1,\"\"a\"\"\",TB60LV,"));
    // Its own file again, but no other.
    QVERIFY(desk.panel().exportCsv(file).startsWith("Saved"));
    setContents(dir.filePath("mine.csv"), "mine");
    QVERIFY(desk.panel().exportCsv(dir.filePath("mine.csv")).contains("Nothing was written"));
    QCOMPARE(contents(dir.filePath("mine.csv")), QByteArray("mine"));
    QVERIFY(desk.panel().exportSite(dir.filePath("none/site.json")).contains("Choose another folder"));
}

void tst_PanelInstall::siteFile()
{
    QTemporaryDir dir;
    PanelOptions options;
    options.view = "install";
    options.size = {1280, 800};
    options.config = dir.filePath("site.json");
    setContents(options.config,
                R"({"name": "hq", "rpc": false, "mqtt": {"url": "mqtt://localhost"}, "lines": [
        {"name": "north", "bus": "serial:///dev/none", "poll": {"position": 20},
         "nodes": ["000101-000102", {"address": "000103", "invert": true, "class": "awning"},
                   {"address": "000301", "type": "HRMv2"}],
         "groups": {"00A001": {"name": "South side", "members": ["000101-000102"]}}},
        {"name": "south", "bus": "serial:///dev/nine", "nodes": "scan"}]})");
    Desk desk(options);
    QCOMPARE(desk.panel().problems().join("; "), QString());
    desk.panel().lines().first()->network().add(0x109);
    write(desk, "File to export to", dir.filePath("site"));
    QVERIFY(desk.click("Export site file"));
    const QJsonObject written = QJsonDocument::fromJson(contents(options.config)).object();
    SiteConfig site;
    QString problem;
    QVERIFY2(SiteConfig::read(written, &site, &problem), qPrintable(problem));
    const LineConfig &north = site.lines.at(0);
    QCOMPARE(north.nodes.size(), std::size_t(5));
    QVERIFY(north.node(0x103).isInverted && north.node(0x103).deviceClass == "awning");
    QVERIFY(north.node(0x301).isLegacy && !north.node(0x109).isLegacy);
    QCOMPARE(north.plan.positionMs, 20000);
    QCOMPARE(north.groups.size(), std::size_t(1));
    QVERIFY(site.lines.at(1).isScan);
    // Of what has no site file yet, names are such that one may have.
    const QJsonObject broker{{"mqtt", written.value("mqtt")}};
    const QJsonObject fresh = Inventory::site(broker, "Harbour House, 2nd", desk.panel().lines());
    SiteConfig freshSite;
    QVERIFY2(SiteConfig::read(fresh, &freshSite, &problem), qPrintable(problem));
    QCOMPARE(freshSite.name, QString("harbour-house-2nd"));
}

int main(int argc, char *argv[])
{
    return runPanelTest<tst_PanelInstall>(argc, argv);
}
#include "tst_panelinstall.moc"
