#include "devices/kvrdevice.h"
#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/columns.h"
#include "support/udppair.h"

/// Whatever is destroyed, detached or closed, and whenever: nobody is left with what is gone, and a call ends
/// once.
class tst_Lifetimes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anythingMayGo_data();
    void anythingMayGo();
};

namespace {
/// Does something when it is asked, and then answers, if it still can.
class Node : public KVRDevice
{
public:
    using KVRDevice::KVRDevice;
    void dispatch(const VOXMessage &msg) override
    {
        const QPointer<Node> self(this);
        if (const auto reaction = std::exchange(react, nullptr))
            reaction();
        if (self)
            KVRDevice::dispatch(msg);
    }
    std::function<void()> react;
};

struct Scene
{
    std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    const QHostAddress here{QHostAddress::LocalHost};
    std::unique_ptr<VOXBus> host = std::make_unique<VOXUdpBus>(here, ports.first, here, ports.second);
    std::unique_ptr<VOXBus> network = std::make_unique<VOXUdpBus>(here, ports.second, here, ports.first);
    std::unique_ptr<Node> node = std::make_unique<Node>(1u, network.get());
    std::unique_ptr<Node> other = std::make_unique<Node>(1u, network.get());
    std::unique_ptr<KVRMotorProxy> proxy = std::make_unique<KVRMotorProxy>(1u, host.get());
    std::unique_ptr<BusPendingCallWatcher> watcher;
    BusPendingCall call;
    int ends = 0;

    void start()
    {
        call = proxy->getNodeLabel();
        watcher = std::make_unique<BusPendingCallWatcher>(call);
        QObject::connect(watcher.get(), &BusPendingCallWatcher::finished, watcher.get(), [this] { ++ends; });
        call.onFinished(QCoreApplication::instance(), [this] { ++ends; });
    }
};

using Action = std::function<void(Scene &)>;
}
Q_DECLARE_METATYPE(Action)

void tst_Lifetimes::anythingMayGo_data()
{
    const auto row = columns<QByteArray, Action>("moment", "action");
    const std::pair<const char *, Action> actions[] = {
        {"the node goes", [](Scene &s) { s.node.reset(); }},
        {"the node detaches", [](Scene &s) { s.node->detach(); }},
        {"the node attaches again", [](Scene &s) { s.node->attach(s.network.get()); }},
        {"the node moves to another address", [](Scene &s) { s.node->setAddr(2); }},
        {"the node joins a group", [](Scene &s) { s.node->setGroupAddr(0, 1); }},
        {"the other node goes", [](Scene &s) { s.other.reset(); }},
        {"the node's bus goes", [](Scene &s) { s.network.reset(); }},
        {"the node's bus closes", [](Scene &s) { s.network->close(); }},
        {"the host's bus goes", [](Scene &s) { s.host.reset(); }},
        {"the host's bus closes", [](Scene &s) { s.host->close(); }},
        {"the proxy goes", [](Scene &s) { s.proxy.reset(); }},
        {"a watcher goes", [](Scene &s) { s.watcher.reset(); }},
        {"both buses and all that is on them go",
         [](Scene &s) {
             s.host.reset();
             s.network.reset();
             s.proxy.reset();
             s.node.reset();
         }},
    };
    for (const QByteArray moment :
         {"before the call", "while it is pending", "in a delivery", "at its end"}) {
        for (const auto &[name, action] : actions)
            row(moment + ", " + name, moment, action);
    }
}

void tst_Lifetimes::anythingMayGo()
{
    QFETCH(QByteArray, moment);
    QFETCH(Action, action);
    Scene scene;
    const auto act = [&] { action(scene); };
    if (moment == "before the call")
        act();
    if (!scene.proxy)
        return;
    if (moment == "in a delivery")
        scene.node->react = act;
    scene.start();
    if (moment == "while it is pending")
        act();
    if (moment == "at its end")
        connect(scene.watcher.get(), &BusPendingCallWatcher::finished, this, act);
    const bool hasWatcher = scene.watcher != nullptr;
    QVERIFY(scene.call.waitForFinished(5000));
    QTRY_VERIFY(scene.ends >= 1);
    QCoreApplication::processEvents();
    QCOMPARE(scene.ends, scene.watcher || (hasWatcher && moment == "at its end") ? 2 : 1);
    // A handle outlives everything.
    scene.host.reset();
    QVERIFY(scene.call.isFinished());
    scene.call.cancel();
}

QTEST_GUILESS_MAIN(tst_Lifetimes)
#include "tst_lifetimes.moc"
