#include "support/medians.h"

#include <benchmark/benchmark.h>

namespace {
class MedianReporter : public benchmark::ConsoleReporter
{
public:
    MedianReporter()
        : ConsoleReporter(OO_None)
    {
    }

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

std::map<std::string, double> medians(int argc, char *argv[], const std::vector<Benchmark> &benchmarks)
{
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    std::vector<char *> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, interleave);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    for (const Benchmark &each : benchmarks) {
        const auto run = [&each](benchmark::State &state) {
            const Step step = each.makeStep();
            for (auto _ : state)
                step();
        };
        benchmark::RegisterBenchmark(each.name.c_str(), run)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime()
            ->Repetitions(7)
            ->ReportAggregatesOnly();
    }
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.medians;
}
