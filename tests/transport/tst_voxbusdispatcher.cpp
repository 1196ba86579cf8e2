#include "devices/voxdevice.h"
#include "framework/busdispatcher.h"
#include "support/frames.h"
#include "support/udppair.h"
#include "transport/voxbusdispatcher.h"
#include "transport/voxudpbus.h"

#include <QThread>
#include <QtTest>
#include <QUdpSocket>

#include <functional>

/// Which node gets which frame, and what it may do with the bus meanwhile.
class tst_VOXBusDispatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void routing_data();
    void routing();
    void registrationsAddUpAndGoAtOnce();
    void lastDetachForgetsTheAddress();
    void nodesMayDoAnythingInADelivery_data();
    void nodesMayDoAnythingInADelivery();
    void nodesOnOtherThreads();
};

namespace {
class Ear : public VOXDevice
{
public:
    explicit Ear(unsigned int addr, std::function<void()> onFrame = {})
        : VOXDevice(addr, nullptr)
        , react(std::move(onFrame))
    {
    }
    void dispatch(const VOXMessage &) override
    {
        ++heard;
        thread = QThread::currentThread();
        // It may be the end of this node.
        if (const std::function<void()> reaction = react)
            reaction();
    }

    std::atomic<int> heard{0};
    QThread *thread = nullptr;
    std::function<void()> react;
};

VOXMessage groupFrame(unsigned int group)
{
    VOXMessage message = frame("05", 0);
    message.setGroupAddr(group, VOX::NODETYPE_MASTER);
    return message;
}
}

void tst_VOXBusDispatcher::routing_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QList<int>>("heard");
    const auto row = [](const char *name, const VOXMessage &message, const QList<int> &heard) {
        QTest::newRow(name) << static_cast<const VOXMessage &>(message).data() << heard;
    };
    row("an address", frame("05", 0x000001), {1, 0, 0});
    row("an address with another type", frame("05", 0x0F000002), {0, 1, 0});
    row("everyone, and once more the node at FFFFFF", frame("05", 0xFFFFFF), {1, 1, 2});
    row("a group", groupFrame(0x000123), {0, 1, 0});
    row("a group, its type aside", groupFrame(0x06000123), {0, 1, 0});
    row("an unknown group", groupFrame(0x000001), {0, 0, 0});
    row("nobody", frame("05", 0x000003), {0, 0, 0});
    QTest::newRow("no frame") << frame("05", 1).data().left(10) << QList<int>{0, 0, 0};
}

void tst_VOXBusDispatcher::routing()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QList<int>, heard);
    VOXBusDispatcher dispatcher;
    Ear one(0x08000001), two(0x02), last(0xFFFFFF), deaf(0x04);
    for (Ear *ear : {&one, &two, &last})
        dispatcher.attach(*ear);
    dispatcher.groupAttach(two, 0x000123);
    dispatcher.groupAttach(deaf, 0x06000123);
    dispatcher.dispatch(BusMessage(bytes));
    QCOMPARE((QList<int>{one.heard, two.heard, last.heard}), heard);
    QCOMPARE(int(deaf.heard), 0);
}

void tst_VOXBusDispatcher::registrationsAddUpAndGoAtOnce()
{
    VOXBusDispatcher dispatcher;
    Ear node(1);
    dispatcher.groupAttach(node, 7);
    dispatcher.attach(node);
    dispatcher.attach(node);
    dispatcher.dispatch(frame("05", 1));
    dispatcher.dispatch(frame("05", 0xFFFFFF));
    QCOMPARE(int(node.heard), 4);
    dispatcher.detach(node);
    dispatcher.dispatch(frame("05", 1));
    dispatcher.dispatch(frame("05", 0xFFFFFF));
    QCOMPARE(int(node.heard), 4);
    dispatcher.dispatch(groupFrame(7));
    QCOMPARE(int(node.heard), 5);
    dispatcher.groupDetach(node, 7);
    dispatcher.groupDetach(node, 8);
    dispatcher.dispatch(groupFrame(7));
    QCOMPARE(int(node.heard), 5);
}

void tst_VOXBusDispatcher::lastDetachForgetsTheAddress()
{
    VOXBusDispatcher dispatcher;
    const auto *broadcast = dispatcher.findChild<VOXBusWatch *>();
    QVERIFY(broadcast);
    QCOMPARE(broadcast->receivers(), 0);
    Ear one(1), last(0xFFFFFF);
    dispatcher.attach(one);
    dispatcher.attach(last);
    QCOMPARE(broadcast->receivers(), 3);
    dispatcher.detach(last);
    dispatcher.detach(one);
    QCOMPARE(dispatcher.findChild<VOXBusWatch *>(), broadcast);
    dispatcher.attach(one);
    dispatcher.dispatch(frame("05", 0xFFFFFF));
    dispatcher.dispatch(frame("05", 1));
    QCOMPARE(int(one.heard), 2);
}

namespace {
/// A bus with a node that does something to itself or to the bus when it hears a frame.
struct Scene
{
    const std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    QUdpSocket peer;
    VOXUdpBus *bus =
        new VOXUdpBus(QHostAddress::LocalHost, ports.first, QHostAddress::LocalHost, ports.second);
    Ear *node = new Ear(1);
    Ear other{1};

    Scene()
    {
        peer.bind(QHostAddress::LocalHost, ports.first);
        node->attach(bus);
        other.attach(bus);
    }
    ~Scene()
    {
        delete node;
        delete bus;
    }
};
using Action = void (*)(Scene &scene);
}
Q_DECLARE_METATYPE(Action)

void tst_VOXBusDispatcher::nodesMayDoAnythingInADelivery_data()
{
    QTest::addColumn<Action>("action");
    QTest::newRow("detach") << Action([](Scene &s) { s.node->detach(); });
    QTest::newRow("attach again") << Action([](Scene &s) { s.node->attach(s.bus); });
    QTest::newRow("take another address") << Action([](Scene &s) { s.node->setAddr(2); });
    QTest::newRow("detach the other") << Action([](Scene &s) { s.other.detach(); });
    QTest::newRow("destroy itself") << Action([](Scene &s) { delete std::exchange(s.node, nullptr); });
    QTest::newRow("close the bus") << Action([](Scene &s) { s.bus->close(); });
    QTest::newRow("destroy the bus") << Action([](Scene &s) { delete std::exchange(s.bus, nullptr); });
}

void tst_VOXBusDispatcher::nodesMayDoAnythingInADelivery()
{
    QFETCH(Action, action);
    for (const unsigned int dest : {1u, 0xFFFFFFu}) {
        Scene scene;
        int acted = 0;
        scene.node->react = [&] {
            ++acted;
            action(scene);
        };
        // Over the socket, which is in the middle of its signal then.
        scene.peer.writeDatagram(line(frame("05", dest)), QHostAddress::LocalHost, scene.ports.second);
        QTRY_COMPARE(acted, 1);
        QCoreApplication::processEvents();
        QVERIFY(acted == 1 && scene.other.heard <= 1);
    }
}

void tst_VOXBusDispatcher::nodesOnOtherThreads()
{
    VOXBusDispatcher dispatcher;
    QThread thread;
    thread.start();
    Ear node(1);
    node.moveToThread(&thread);
    // Registered from the node's own thread, while frames come.
    QMetaObject::invokeMethod(
        &node, [&] { dispatcher.attach(node); }, Qt::BlockingQueuedConnection);
    for (int i = 0; i < 100; ++i) {
        dispatcher.dispatch(frame("05", 1));
        QMetaObject::invokeMethod(&node, [&] {
            dispatcher.detach(node);
            dispatcher.attach(node);
        });
    }
    QTRY_VERIFY(node.heard > 0);
    QCOMPARE(node.thread, &thread);
    QMetaObject::invokeMethod(
        &node,
        [&] {
            dispatcher.detach(node);
            node.moveToThread(QCoreApplication::instance()->thread());
        },
        Qt::BlockingQueuedConnection);
    thread.quit();
    QVERIFY(thread.wait(5000));
}

QTEST_GUILESS_MAIN(tst_VOXBusDispatcher)
#include "tst_voxbusdispatcher.moc"
