#include "devices/voxdevice.h"
#include "support/frames.h"
#include "transport/voxbusdispatcher.h"

#include <QtTest>

/// Which node gets which frame.
class tst_VOXBusDispatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void routing_data();
    void routing();
    void registrationsAddUpAndGoAtOnce();
    void lastDetachForgetsTheAddress();
};

namespace {
class Ear : public VOXDevice
{
public:
    explicit Ear(unsigned int addr)
        : VOXDevice(addr, nullptr)
    {
    }
    void dispatch(const VOXMessage &) override { ++heard; }

    int heard = 0;
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
    QCOMPARE(deaf.heard, 0);
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
    QCOMPARE(node.heard, 4);
    dispatcher.detach(node);
    dispatcher.dispatch(frame("05", 1));
    dispatcher.dispatch(frame("05", 0xFFFFFF));
    QCOMPARE(node.heard, 4);
    dispatcher.dispatch(groupFrame(7));
    QCOMPARE(node.heard, 5);
    dispatcher.groupDetach(node, 7);
    dispatcher.groupDetach(node, 8);
    dispatcher.dispatch(groupFrame(7));
    QCOMPARE(node.heard, 5);
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
    QCOMPARE(one.heard, 2);
}

QTEST_GUILESS_MAIN(tst_VOXBusDispatcher)
#include "tst_voxbusdispatcher.moc"
