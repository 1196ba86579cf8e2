// The round trip of a call over UDP in one process, beside a bare socket ping-pong of the same bytes in the
// same run.

#include "devices/tb60lvstub.h"
#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/pair.h"

#include <cstdio>

namespace {
constexpr unsigned int MotorAddr = 0x000123;
constexpr int RequestLength = 11;
constexpr int ReplyLength = 15;

void bareSockets(benchmark::State &state)
{
    QUdpSocket host;
    QUdpSocket node;
    host.bind(Loopback, 0);
    node.bind(Loopback, 0);
    const unsigned short hostPort = host.localPort();
    const unsigned short nodePort = node.localPort();
    const QByteArray request(RequestLength, 'q');
    const QByteArray reply(ReplyLength, 'r');
    std::array<char, 64> buffer;
    bool done = false;
    QObject::connect(&node, &QUdpSocket::readyRead, &node, [&] {
        node.readDatagram(buffer.data(), buffer.size());
        node.writeDatagram(reply, Loopback, hostPort);
    });
    QObject::connect(&host, &QUdpSocket::readyRead, &host, [&] {
        host.readDatagram(buffer.data(), buffer.size());
        done = true;
    });
    for (auto _ : state) {
        done = false;
        host.writeDatagram(request, Loopback, nodePort);
        waitFor(done);
    }
}

void call(benchmark::State &state)
{
    Pair pair;
    const TB60LVStub motor(MotorAddr, &pair.network);
    KVRMotorProxy proxy(MotorAddr, &pair.host);
    for (auto _ : state) {
        bool done = false;
        const BusPendingCallWatcher watcher(proxy.getMotorStatus());
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher,
                         [&](BusPendingCallWatcher *finished) { done = !finished->isError(); });
        waitFor(done);
    }
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    auto median = medians(argc, argv, {{"bare sockets", bareSockets}, {"call", call}});
    if (median.size() == 2) {
        std::printf(
            "round trip of a call: %.1f us, bare sockets: %.1f us, ratio %.2f (at most 2.0 is wanted)\n",
            median["call"], median["bare sockets"], median["call"] / median["bare sockets"]);
    }
    return 0;
}
