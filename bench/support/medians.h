#ifndef MEDIANS_H
#define MEDIANS_H

#include <functional>
#include <map>
#include <string>
#include <vector>

/// What is measured, once.
using Step = std::function<void()>;

struct Benchmark
{
    std::string name;
    /// Builds what the step needs; that is not measured.
    std::function<Step()> makeStep;
};

/// Runs all of @p benchmarks and gives the medians of seven repetitions, in microseconds, by name. The
/// repetitions take turns, so that what else the machine does meets all.
std::map<std::string, double> medians(int argc, char *argv[], const std::vector<Benchmark> &benchmarks);

#endif
