#include "messages/kvrack.h"
#include "support/watching.h"
#include "support/wire.h"

#include <memory>
#include <thread>

class tst_VOXDevice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void attaching();
    void addressChange();
    void insideDelivery();
    void destruction();
    void onAnotherThread();
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
        bool isFree = false;
        std::thread([&] {
            isFree = m_mutex.tryLock();
            if (isFree)
                m_mutex.unlock();
        }).join();
        return isFree;
    }
};
}

void tst_VOXDevice::attaching()
{
    Wire wire;
    UdpPair otherNet;
    Node node(0x06000001, &wire.network);
    QVERIFY(node.attach(&wire.network));
    QCOMPARE(node.hears(wire, 1), 1);
    QCOMPARE(node.hears(wire, 0xffffff), 1);
    QVERIFY(node.attach(&otherNet.network));
    QCOMPARE(node.hears(wire, 1), 0);
    QVERIFY(node.attach(&wire.network));
    QCOMPARE(node.hears(wire, 1), 1);
    QVERIFY(node.attach(nullptr));
    QVERIFY(!node.bus());
    QCOMPARE(node.hears(wire, 1) + node.hears(wire, 0xffffff), 0);
    node.detach();
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
    QCOMPARE(node.hears(wire, 1) + node.hears(wire, 2), 0);
    QCOMPARE(node.hears(wire, 3), 1);
    disconnect(&node, nullptr, this, nullptr);
    node.detach();
    node.setAddr(4);
    QCOMPARE(node.hears(wire, 4), 0);
}

void tst_VOXDevice::insideDelivery()
{
    Wire wire;
    auto *node = new Node(1, &wire.network);
    node->react = [node] { node->setAddr(2); };
    QCOMPARE(node->hears(wire, 1), 1);
    QCOMPARE(node->hears(wire, 1), 0);
    node->react = [node] { node->detach(); };
    QCOMPARE(node->hears(wire, 2), 1);
    QCOMPARE(node->hears(wire, 2), 0);
    node->attach(&wire.network);
    const WarningLog warnings;
    node->react = [node] { node->reply(VOXMessage()); };
    QCOMPARE(node->hears(wire, 2), 1);
    QVERIFY2(warnings.texts().isEmpty(), "an invalid reply has reached the bus");
    const QPointer<Node> guard(node);
    node->react = [node] { delete node; };
    wire.ask(frame("79", 2));
    QVERIFY(!guard);
}

void tst_VOXDevice::destruction()
{
    Wire wire;
    std::make_unique<Node>(1, &wire.network).reset();
    QCOMPARE(wire.ask(frame("79", 1)), QByteArray());

    auto net = std::make_unique<UdpPair>();
    Node node(1, &net->network);
    net.reset();
    QVERIFY(!node.bus());
    node.setAddr(2);
    node.reply(frame("79", 1));
    node.detach();
    QVERIFY(node.attach(&wire.network));
    QCOMPARE(node.hears(wire, 2), 1);
}

void tst_VOXDevice::onAnotherThread()
{
    Wire wire;
    auto node = std::make_unique<Node>(1, nullptr);
    QThread *hearer = nullptr;
    node->react = [&] {
        hearer = QThread::currentThread();
        node->reply(KVRAck(*node, node->heard.constLast()));
    };
    QThread thread;
    const auto end = qScopeGuard([&thread] {
        thread.quit();
        thread.wait();
    });
    thread.start();
    node->moveToThread(&thread);
    QMetaObject::invokeMethod(
        node.get(), [&] { node->attach(&wire.network); }, Qt::BlockingQueuedConnection);

    KVRStdProxy proxy(1, &wire.host);
    const BusPendingCall call = proxy.setNodeDiscovery(true);
    QVERIFY(call.waitForFinished(5000));
    QCOMPARE(text(call.reply()), hex("7F"));
    QCOMPARE(hearer, &thread);

    // It leaves while there is more to hear.
    for (int i = 0; i < 100; ++i)
        wire.console.reply(frame("79", 1));
    QVERIFY(!wire.ask(frame("79", 1)).contains("lost"));
    QMetaObject::invokeMethod(
        node.get(), [&] { node.reset(); }, Qt::BlockingQueuedConnection);
}

QTEST_GUILESS_MAIN(tst_VOXDevice)
#include "tst_voxdevice.moc"
