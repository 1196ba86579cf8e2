#include "devices/kvrdevice.h"
#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/ptyport.h"
#include "support/udppair.h"
#include "transport/voxmcastbus.h"

/// Whatever is destroyed, detached or closed, and whenever: nobody is left with what is gone, and a call ends
/// once.
class tst_Lifetimes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anythingMayGo_data();
    void anythingMayGo();
    void aBusMayGoWhileItsDeviceWorks_data();
    void aBusMayGoWhileItsDeviceWorks();
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

const VOXVirtualTime virtualTime(VOXVirtualTime::Local);

/// A host and a network with two nodes, over sockets or a line, or with a real port.
struct Scene
{
    explicit Scene(const QByteArray &transport)
    {
        const auto ports = freeUdpPorts();
        const QHostAddress here(QHostAddress::LocalHost), group("239.255.71.14");
        if (transport == "UDP") {
            host = new VOXUdpBus(here, ports.first, here, ports.second);
            network = new VOXUdpBus(here, ports.second, here, ports.first);
        } else if (transport == "multicast") {
            host = new VOXMCastBus(group, ports.first);
            network = new VOXMCastBus(group, ports.first);
        } else if (transport == "line") {
            host = line.addBus();
            network = line.addBus();
        } else {
            auto *wire = new PipeDevice;
            pty = std::make_unique<PtyPort>(*wire);
            host = new VOXBus(wire);
            network = new VOXBus(pty->name);
            host->open();
            network->open();
        }
        node.reset(new Node(1u, network));
        other.reset(new Node(1u, network));
        proxy.reset(new KVRMotorProxy(1u, host));
    }
    ~Scene() { delete host, delete network; }

    void start()
    {
        call = proxy->getNodeLabel();
        watcher = std::make_unique<BusPendingCallWatcher>(call);
        QObject::connect(watcher.get(), &BusPendingCallWatcher::finished, watcher.get(), [this] { ++ends; });
        call.onFinished(QCoreApplication::instance(), [this] { ++ends; });
    }

    VOXLine line{0};
    std::unique_ptr<PtyPort> pty;
    QPointer<VOXBus> host;
    QPointer<VOXBus> network;
    std::unique_ptr<Node> node;
    std::unique_ptr<Node> other;
    std::unique_ptr<KVRMotorProxy> proxy;
    std::unique_ptr<BusPendingCallWatcher> watcher;
    BusPendingCall call;
    int ends = 0;
};

using Action = std::function<void(Scene &)>;

/// Runs @p act in an event loop, and what it has left for later, too.
void inALoop(const std::function<void()> &act)
{
    QEventLoop loop;
    QTimer::singleShot(0, &loop, [&] {
        act();
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
    });
    loop.exec();
}
}
Q_DECLARE_METATYPE(Action)

void tst_Lifetimes::anythingMayGo_data()
{
    const auto row = columns<QByteArray, QByteArray, Action>("transport", "moment", "action");
    const std::pair<const char *, Action> actions[] = {
        {"the node goes", [](Scene &s) { s.node.reset(); }},
        {"the node detaches", [](Scene &s) { s.node->detach(); }},
        {"the node attaches again", [](Scene &s) { s.node->attach(s.network); }},
        {"the node moves to another address", [](Scene &s) { s.node->setAddr(2); }},
        {"the node joins a group", [](Scene &s) { s.node->setGroupAddr(0, 1); }},
        {"the other node goes", [](Scene &s) { s.other.reset(); }},
        {"the node's bus goes", [](Scene &s) { delete s.network; }},
        {"the node's bus goes later", [](Scene &s) { s.network->deleteLater(); }},
        {"the node's bus closes", [](Scene &s) { s.network->close(); }},
        {"the host's bus goes", [](Scene &s) { delete s.host; }},
        {"the host's bus goes later", [](Scene &s) { s.host->deleteLater(); }},
        {"the host's bus closes", [](Scene &s) { s.host->close(); }},
        {"the proxy goes", [](Scene &s) { s.proxy.reset(); }},
        {"a watcher goes", [](Scene &s) { s.watcher.reset(); }},
        {"both buses and all that is on them go",
         [](Scene &s) { delete s.host, delete s.network, s.proxy.reset(), s.node.reset(); }},
    };
    for (const QByteArray transport : {"UDP", "multicast", "line"}) {
        for (const QByteArray moment :
             {"before the call", "while it is pending", "in a delivery", "in a delivery's event loop",
              "at its end", "in its end's event loop"}) {
            // Where there is no loop, the transports do not differ.
            if (transport != "UDP" && !moment.endsWith("loop"))
                continue;
            for (const auto &[name, action] : actions)
                row(transport + ", " + moment + ", " + name, transport, moment, action);
        }
    }
    row("serial, in a delivery, the node's bus goes, port and all", "serial", "in a delivery",
        [](Scene &s) { delete s.network; });
}

void tst_Lifetimes::anythingMayGo()
{
    QFETCH(QByteArray, transport);
    QFETCH(QByteArray, moment);
    QFETCH(Action, action);
    Scene scene(transport);
    const auto now = [&] { action(scene); };
    const auto act = [&] { moment.endsWith("loop") ? inALoop(now) : now(); };
    if (moment == "before the call")
        act();
    if (!scene.proxy)
        return;
    if (moment.startsWith("in a delivery"))
        scene.node->react = act;
    scene.start();
    // A port's bytes come in the time of the system.
    while (transport == "serial" && scene.network)
        QCoreApplication::processEvents();
    if (moment == "while it is pending")
        act();
    const bool isAtItsEnd = moment.contains("its end");
    if (isAtItsEnd)
        connect(scene.watcher.get(), &BusPendingCallWatcher::finished, this, act);
    const bool hasWatcher = scene.watcher != nullptr;
    QVERIFY(scene.call.waitForFinished(5000));
    VOXVirtualTime::settle();
    QCOMPARE(scene.ends, scene.watcher || (hasWatcher && isAtItsEnd) ? 2 : 1);
    // A handle outlives everything.
    delete scene.host;
    QVERIFY(scene.call.isFinished());
    scene.call.cancel();
}

void tst_Lifetimes::aBusMayGoWhileItsDeviceWorks_data()
{
    const auto row = columns<QByteArray, QByteArray, bool>("transport", "moment", "loops");
    for (const QByteArray transport : {"UDP", "multicast", "serial"}) {
        for (const QByteArray moment : {"closing", "opening", "setting", "writing"}) {
            if (moment == "setting" && transport != "serial")
                continue;
            row(transport + ", " + moment, transport, moment, false);
            row(transport + ", " + moment + ", in an event loop", transport, moment, true);
        }
    }
}

void tst_Lifetimes::aBusMayGoWhileItsDeviceWorks()
{
    QFETCH(QByteArray, transport);
    QFETCH(QByteArray, moment);
    QFETCH(bool, loops);
    Scene scene(transport);
    // The serial port is the network's.
    const QPointer<VOXBus> &bus = transport == "serial" ? scene.network : scene.host;
    KVRMotorProxy proxy(2u, bus);
    const BusPendingCall before = moment == "closing" ? proxy.ctrlStop() : BusPendingCall();
    BusPendingCall late;
    const auto destroy = [&] { delete bus; };
    bool isDone = false;
    const auto act = [&] {
        // To destroy the bus closes the device.
        if (std::exchange(isDone, true))
            return;
        late = proxy.ctrlStop();
        loops ? inALoop(destroy) : destroy();
    };
    const QIODevice *device = bus->device();
    QSignalSpy changes(bus, &VOXBus::openChanged);
    if (moment == "closing") {
        connect(device, &QIODevice::aboutToClose, this, [&] {
            bus->close();
            act();
        });
        bus->close();
        QCOMPARE(before.error(), BusPendingCall::NotOpen);
        QCOMPARE(late.error(), BusPendingCall::NotOpen);
    } else if (moment == "writing") {
        connect(device, &QIODevice::bytesWritten, this, act);
        proxy.ctrlWink();
        QTRY_VERIFY(!bus);
    } else {
        bus->close();
        changes.clear();
        if (const auto *socket = qobject_cast<const QUdpSocket *>(device))
            connect(socket, &QUdpSocket::stateChanged, this, act);
        else if (const auto *port = qobject_cast<const QSerialPort *>(device); moment == "opening")
            connect(port, &QSerialPort::errorOccurred, this, act);
        else
            connect(port, &QSerialPort::dataBitsChanged, this, act);
        if (moment == "setting")
            const_cast<QSerialPort *>(qobject_cast<const QSerialPort *>(device))
                ->setDataBits(QSerialPort::Data7);
        if (bus)
            bus->open();
    }
    QVERIFY(!bus);
    QCOMPARE(changes.size(), 0);
}

QTEST_GUILESS_MAIN(tst_Lifetimes)
#include "tst_lifetimes.moc"
