// The round trip of a call over UDP in one process, beside a bare socket ping-pong of the same bytes in the
// same run.

#include "devices/tb60lvstub.h"
#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "transport/voxudpbus.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QUdpSocket>

#include <array>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {
const QHostAddress Loopback(QHostAddress::LocalHost);
constexpr unsigned int MotorAddr = 0x000123;
constexpr int RequestLength = 11;
constexpr int ReplyLength = 15;

std::array<unsigned short, 2> freePorts()
{
    QUdpSocket first;
    QUdpSocket second;
    first.bind(Loopback, 0);
    second.bind(Loopback, 0);
    return {first.localPort(), second.localPort()};
}

void waitFor(const bool &done)
{
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

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
    const auto ports = freePorts();
    VOXUdpBus hostBus(Loopback, ports[0], Loopback, ports[1]);
    VOXUdpBus nodeBus(Loopback, ports[1], Loopback, ports[0]);
    const TB60LVStub motor(MotorAddr, &nodeBus);
    KVRMotorProxy proxy(MotorAddr, &hostBus);
    for (auto _ : state) {
        bool done = false;
        const BusPendingCallWatcher watcher(proxy.getMotorStatus());
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher,
                         [&](BusPendingCallWatcher *finished) { done = !finished->isError(); });
        waitFor(done);
    }
}

class MedianReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.aggregate_name == "median")
                medians[run.run_name.function_name] = run.GetAdjustedRealTime();
        }
    }

    std::map<std::string, double> medians;
};
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    // Repetitions take turns, so that what else the machine does meets both.
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    std::vector<char *> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, interleave);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    for (auto *entry : {benchmark::RegisterBenchmark("bare sockets", bareSockets),
                        benchmark::RegisterBenchmark("call", call)})
        entry->Unit(benchmark::kMicrosecond)->UseRealTime()->Repetitions(7)->ReportAggregatesOnly();
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (reporter.medians.size() == 2) {
        std::printf(
            "round trip of a call: %.1f us, bare sockets: %.1f us, ratio %.2f (at most 2.0 is wanted)\n",
            reporter.medians["call"], reporter.medians["bare sockets"],
            reporter.medians["call"] / reporter.medians["bare sockets"]);
    }
    return 0;
}
