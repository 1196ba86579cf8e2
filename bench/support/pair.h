#ifndef PAIR_H
#define PAIR_H

#include "transport/voxudpbus.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QUdpSocket>

#include <array>
#include <map>
#include <string>
#include <vector>

inline const QHostAddress Loopback(QHostAddress::LocalHost);

inline std::array<unsigned short, 2> freePorts()
{
    QUdpSocket first;
    QUdpSocket second;
    first.bind(Loopback, 0);
    second.bind(Loopback, 0);
    return {first.localPort(), second.localPort()};
}

/// A host's bus and a network's, over UDP on this machine.
struct Pair
{
    std::array<unsigned short, 2> ports = freePorts();
    VOXUdpBus host{Loopback, ports[0], Loopback, ports[1]};
    VOXUdpBus network{Loopback, ports[1], Loopback, ports[0]};
};

inline void waitFor(const bool &done)
{
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
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

struct Benchmark
{
    const char *name;
    void (*run)(benchmark::State &);
};

/// Runs all of @p benchmarks and gives their medians, in microseconds, by name. Repetitions take turns, so
/// that what else the machine does meets all.
inline std::map<std::string, double> medians(int argc, char *argv[], const std::vector<Benchmark> &benchmarks)
{
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    std::vector<char *> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, interleave);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    for (const Benchmark &each : benchmarks) {
        benchmark::RegisterBenchmark(each.name, each.run)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime()
            ->Repetitions(7)
            ->ReportAggregatesOnly();
    }
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.medians;
}

#endif
