#include "proxies/voxnode.h"
#include "support/columns.h"
#include "support/recordingbus.h"
#include "transport/voxbus.h"

class tst_VOXNode : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addresses_data();
    void addresses();
    void attach();
};

void tst_VOXNode::addresses_data()
{
    const auto row = columns<unsigned int, unsigned int, bool>("set", "after", "isAnnounced");
    row("an address without type keeps the node's", 0x000001u, 0x0a000001u, true);
    row("an address with a type brings it", 0x06000001u, 0x06000001u, true);
    row("bits above the type are no type", 0xf0000001u, 0x0a000001u, true);
    row("the full address again is nothing", 0x0a123456u, 0x0a123456u, false);
    row("the bare address again is announced", 0x123456u, 0x0a123456u, true);
}

void tst_VOXNode::addresses()
{
    QFETCH(unsigned int, set);
    QFETCH(unsigned int, after);
    QFETCH(bool, isAnnounced);
    VOXNode node(0xf0123456, nullptr);
    QCOMPARE(node.addr(true), 0xf0123456u);
    QList<VOX::Addr> announced;
    connect(&node, &VOXNode::addrChanged, this, [&](VOX::Addr addr) { announced.append(addr); });
    node.setType(VOX::NODETYPE_TB48LV);
    QCOMPARE(announced.size(), 0);
    node.setProperty("addr", set);
    QCOMPARE(node.addr(true), after);
    QCOMPARE(node.property("addr").toUInt(), after & 0xffffff);
    QCOMPARE(announced, isAnnounced ? QList<VOX::Addr>{after} : QList<VOX::Addr>{});
}

void tst_VOXNode::attach()
{
    VOXBus bus{QString()};
    RecordingBus foreign;
    VOXNode node(1, nullptr);
    QVERIFY(!node.attach(&foreign) && !node.bus());
    QVERIFY(node.attach(static_cast<Bus *>(&bus)));
    QVERIFY(!node.attach(&foreign) && !node.attach(static_cast<Bus *>(nullptr)));
    QCOMPARE(node.bus(), &bus);
    QVERIFY(node.attach(static_cast<VOXBus *>(nullptr)) && !node.bus());
}

QTEST_GUILESS_MAIN(tst_VOXNode)
#include "tst_voxnode.moc"
