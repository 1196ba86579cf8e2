#include "support/columns.h"
#include "support/wire.h"

#include <future>

/// Emulated nodes: their addresses and their buses.
class tst_VOXDevice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void attaching();
    void addressChange();
};

namespace {
struct Node : Station
{
    using Station::Station;

    /// How often it hears a frame to @p addr.
    int hears(Wire &wire, unsigned int addr)
    {
        heard.clear();
        wire.ask(frame("79", addr));
        return heard.size();
    }

    bool isUnlocked()
    {
        const auto tryToLock = [this] {
            const std::unique_lock lock(m_mutex, std::try_to_lock);
            return lock.owns_lock();
        };
        return std::async(std::launch::async, tryToLock).get();
    }
};
}

void tst_VOXDevice::attaching()
{
    Wire wire;
    UdpPair otherNet;
    Node node(0x06000001, &wire.network);
    // It registers anew, whatever it was.
    wire.network.detach(node);
    for (auto *bus : {&wire.network, &otherNet.network, &wire.network, static_cast<VOXUdpBus *>(nullptr)}) {
        QVERIFY(node.attach(bus));
        const int count = bus == &wire.network ? 1 : 0;
        QCOMPARE(list(node.bus() == bus, node.hears(wire, 1), node.hears(wire, 0xffffff)),
                 list(true, count, count));
    }
}

void tst_VOXDevice::addressChange()
{
    Wire wire;
    Node node(0x06000001, &wire.network);
    QList<VOX::Addr> announced;
    connect(&node, &VOXNode::addrChanged, this, [&](VOX::Addr addr) {
        announced.append(addr);
        QVERIFY2(node.isUnlocked(), "the signal comes under the lock");
        QVERIFY2(node.hears(wire, addr) == 1, "the signal comes before the registration");
        if (announced.size() == 2)
            node.setAddr(3);
    });
    node.setAddr(0x06000001);
    node.setAddr(2);
    node.setAddr(2);
    QCOMPARE(announced, (QList<VOX::Addr>{0x06000002, 0x06000002, 0x06000003}));
    QCOMPARE(list(node.hears(wire, 1), node.hears(wire, 2), node.hears(wire, 3)), list(0, 0, 1));
    disconnect(&node, nullptr, this, nullptr);
    node.detach();
    node.setAddr(4);
    QCOMPARE(node.hears(wire, 4), 0);
}

QTEST_GUILESS_MAIN(tst_VOXDevice)
#include "tst_voxdevice.moc"
