// What the size of a simulated network costs: memory for each motor, and the time of a call, a broadcast, and
// of leaving and joining.

#include "devices/tb60lvstub.h"
#include "support/cases.h"
#include "support/pair.h"

#include <QFile>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {
constexpr int Sizes[] = {1, 100, 10000};
constexpr unsigned int FirstAddr = 0x100000;

qint64 residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * ::sysconf(_SC_PAGESIZE);
}

void printMemory()
{
    Pair pair;
    const TB60LVStub warmUp(FirstAddr - 1, &pair.network);
    std::vector<std::unique_ptr<TB60LVStub>> motors;
    for (const int size : {100, 10000}) {
        const qint64 before = residentBytes();
        const auto added = size - int(motors.size());
        while (int(motors.size()) < size)
            motors.push_back(
                std::make_unique<TB60LVStub>(FirstAddr + unsigned(motors.size()), &pair.network));
        std::printf("memory: %.2f KiB a motor, of %d motors (at most 4 is wanted)\n",
                    double(residentBytes() - before) / 1024 / added, size);
    }
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    printMemory();

    const std::pair<const char *, Step (*)(int)> operations[] = {
        {"call", callOverUdp}, {"broadcast", broadcastTo}, {"detach and attach", detachAndAttach}};
    std::vector<Benchmark> benchmarks;
    const auto name = [](const char *operation, int size) {
        return std::string(operation) + ", " + std::to_string(size);
    };
    for (const auto &[operation, makeStep] : operations) {
        for (const int size : Sizes)
            benchmarks.push_back(
                {name(operation, size), [makeStep = makeStep, size = size] { return makeStep(size); }});
    }
    auto median = medians(argc, argv, benchmarks);
    for (const auto &[operation, makeStep] : operations) {
        std::printf("%s, of 1, 100 and 10000 motors:", operation);
        for (const int size : Sizes)
            std::printf(" %.2f us", median[name(operation, size)]);
        std::printf("\n");
    }
    std::printf("call to one of 10000 against the only one: ratio %.2f (at most 1.2 is wanted)\n",
                median[name("call", 10000)] / median[name("call", 1)]);
    std::printf("broadcast, per motor: %.2f us of 100, %.2f us of 10000\n",
                median[name("broadcast", 100)] / 100, median[name("broadcast", 10000)] / 10000);
    return 0;
}
