// How many of a large network's nodes answer one broadcast, and how long that takes: all of them on one bus,
// which lives on a thread of its own.

#include "devices/kvrdevice.h"
#include "messages/voxcall.h"
#include "support/pair.h"
#include "transport/voxmcastbus.h"

#include <QElapsedTimer>
#include <QThread>

#include <cstdio>
#include <functional>
#include <memory>

namespace {
constexpr unsigned int NodeCount = 2000;
constexpr unsigned int PeriodMs = 255;
const QHostAddress Group("239.255.71.14");

using MakeBus = std::function<VOXBus *()>;

/// The nodes, and the bus that they are on.
struct Network : QObject
{
    explicit Network(const MakeBus &makeBus)
        : bus(makeBus())
    {
        for (unsigned int i = 0; i < NodeCount; ++i)
            nodes.push_back(std::make_unique<KVRDevice>(0x100000 + i, bus.get()));
    }

    std::unique_ptr<VOXBus> bus;
    std::vector<std::unique_ptr<KVRDevice>> nodes;
};

void discover(const char *name, const MakeBus &makeHost, const MakeBus &makeNetwork)
{
    QThread thread;
    thread.start();
    QObject context;
    context.moveToThread(&thread);
    std::unique_ptr<Network> network;
    QMetaObject::invokeMethod(
        &context, [&] { network = std::make_unique<Network>(makeNetwork); }, Qt::BlockingQueuedConnection);
    {
        const std::unique_ptr<VOXBus> host(makeHost());
        QElapsedTimer clock;
        clock.start();
        const BusPendingCall call =
            BusObject(host.get(), nullptr)
                .call(VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST, PeriodMs));
        call.waitForFinished();
        std::printf("discovery over %s: %i of %u nodes in %lld ms, the last %u ms of them silent\n", name,
                    call.replies().size(), NodeCount, static_cast<long long>(clock.elapsed()), PeriodMs);
    }
    QMetaObject::invokeMethod(
        &context, [&] { network.reset(); }, Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    // The frames that a multicast bus has sent and not yet heard are few, and it warns of each one too many.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const auto ports = freePorts();
    discover(
        "UDP", [&] { return new VOXUdpBus(Loopback, ports[0], Loopback, ports[1]); },
        [&] { return new VOXUdpBus(Loopback, ports[1], Loopback, ports[0]); });
    const MakeBus member = [&] { return new VOXMCastBus(Group, ports[0]); };
    discover("multicast", member, member);
    return 0;
}
