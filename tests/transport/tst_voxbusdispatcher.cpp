#include "support/columns.h"
#include "support/wire.h"
#include "transport/voxbusdispatcher.h"

#include <malloc.h>

/// Which node gets which frame.
class tst_VOXBusDispatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void routing();
    void registrationsAddUpAndGoAtOnce();
    void aDeliveryGoesOnWithoutItsDispatcher();
};

void tst_VOXBusDispatcher::routing()
{
    const std::tuple<const char *, BusMessage, QList<int>> cases[] = {
        {"an address", frame("05", 0x000001), {1, 0, 0, 0}},
        {"an address with another type", frame("05", 0x0F000002), {0, 1, 0, 0}},
        {"everyone, and once more the node at FFFFFF", frame("05", 0xFFFFFF), {1, 1, 2, 0}},
        {"a group", groupFrame("05", 0x000123), {0, 1, 0, 0}},
        {"a group, its type aside", groupFrame("05", 0x06000123), {0, 1, 0, 0}},
        {"nobody", frame("05", 0x000003), {0, 0, 0, 0}},
        {"no frame", BusMessage(frame("05", 1).data().left(10)), {0, 0, 0, 0}},
    };
    for (const auto &[name, message, expected] : cases) {
        VOXBusDispatcher dispatcher;
        Station one(0x08000001, nullptr), two(2, nullptr), last(0xFFFFFF, nullptr), deaf(4, nullptr);
        for (Station *station : {&one, &two, &last})
            dispatcher.attach(*station);
        dispatcher.groupAttach(two, 0x000123);
        dispatcher.groupAttach(deaf, 0x06000123);
        dispatcher.dispatch(message);
        QList<int> heard;
        for (const Station *station : {&one, &two, &last, &deaf})
            heard.append(station->heard.size());
        QCOMPARE(list(name, heard), list(name, expected));
    }
}

void tst_VOXBusDispatcher::registrationsAddUpAndGoAtOnce()
{
    VOXBusDispatcher dispatcher;
    const auto *broadcast = dispatcher.findChild<VOXBusWatch *>();
    QCOMPARE(broadcast->receivers(), 0);
    Station node(1, nullptr), last(0xFFFFFF, nullptr);
    // To the node, to everyone, and to a group.
    const auto heard = [&] {
        QList<int> counts;
        for (const VOXMessage &message : {frame("05", 1), frame("05", 0xFFFFFF), groupFrame("05", 7)}) {
            node.heard.clear();
            dispatcher.dispatch(message);
            counts += node.heard.size();
        }
        return counts;
    };
    dispatcher.groupAttach(node, 7);
    for (Station *station : {&node, &node, &last})
        dispatcher.attach(*station);
    QCOMPARE(broadcast->receivers(), 4);
    QCOMPARE(heard(), (QList<int>{2, 2, 1}));
    dispatcher.detach(node);
    QCOMPARE(heard(), (QList<int>{0, 0, 1}));
    // With its last node a watch goes, but not before a delivery is over, and never the one for everyone.
    node.react = [&] {
        dispatcher.groupDetach(node, 7);
        QVERIFY(node.source);
    };
    QCOMPARE(heard(), (QList<int>{0, 0, 1}));
    QVERIFY(!node.source);
    dispatcher.groupDetach(node, 8);
    dispatcher.detach(last);
    QCOMPARE(dispatcher.findChild<VOXBusWatch *>(), broadcast);
    dispatcher.attach(node);
    QCOMPARE(heard(), (QList<int>{1, 1, 0}));
    // What is destroyed without a word leaves nothing for long.
    const auto inUse = [] { return static_cast<qint64>(::mallinfo2().uordblks); };
    const auto comeAndGo = [&] {
        for (unsigned int addr = 2; addr < 2000; ++addr) {
            Station guest(addr, nullptr);
            dispatcher.attach(guest);
            dispatcher.groupAttach(guest, addr);
        }
    };
    comeAndGo();
    const qint64 before = inUse();
    comeAndGo();
    QVERIFY2(inUse() - before < 50000, qPrintable(QString::number(inUse() - before)));
    QCOMPARE(heard(), (QList<int>{1, 1, 0}));
}

void tst_VOXBusDispatcher::aDeliveryGoesOnWithoutItsDispatcher()
{
    for (const VOXMessage &message : {frame("05", 1), frame("05", 0xFFFFFF), groupFrame("05", 7)}) {
        auto dispatcher = std::make_unique<VOXBusDispatcher>();
        Station one(1, nullptr), two(1, nullptr);
        for (Station *station : {&one, &two}) {
            dispatcher->attach(*station);
            dispatcher->groupAttach(*station, 7);
        }
        one.react = [&] { dispatcher.reset(); };
        dispatcher->dispatch(message);
        QCOMPARE(two.heard.size(), 1);
    }
}

QTEST_GUILESS_MAIN(tst_VOXBusDispatcher)
#include "tst_voxbusdispatcher.moc"
