// What a simulated network of many motors costs: memory for each of them, and the time of a call to one.

#include "devices/tb60lvstub.h"
#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/pair.h"

#include <QFile>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {
constexpr int ManyMotors = 10000;
constexpr unsigned int FirstAddr = 0x100000;

struct Network : Pair
{
    explicit Network(int size)
    {
        for (int i = 0; i < size; ++i)
            motors.push_back(std::make_unique<TB60LVStub>(FirstAddr + unsigned(i), &network));
    }

    std::vector<std::unique_ptr<TB60LVStub>> motors;
};

void callOneOf(benchmark::State &state, Network &network)
{
    const auto size = unsigned(network.motors.size());
    unsigned int next = 0;
    for (auto _ : state) {
        next = (next + 7919) % size;
        KVRMotorProxy proxy(FirstAddr + next, &network.host);
        bool done = false;
        const BusPendingCallWatcher watcher(proxy.getMotorStatus());
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher,
                         [&](BusPendingCallWatcher *finished) { done = !finished->isError(); });
        waitFor(done);
    }
}

void callOneMotor(benchmark::State &state)
{
    static Network network(1);
    callOneOf(state, network);
}

void callManyMotors(benchmark::State &state)
{
    static Network network(ManyMotors);
    callOneOf(state, network);
}

qint64 residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * ::sysconf(_SC_PAGESIZE);
}

void printMemory()
{
    const Network warmUp(1);
    const qint64 before = residentBytes();
    const Network network(ManyMotors);
    const double kibibytes = double(residentBytes() - before) / 1024 / ManyMotors;
    std::printf("memory: %.2f KiB a motor, of %d motors (at most 4 is wanted)\n", kibibytes, ManyMotors);
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    printMemory();
    auto median = medians(argc, argv, {{"one of one", callOneMotor}, {"one of many", callManyMotors}});
    if (median.size() == 2) {
        std::printf("call to one of %d motors: %.1f us, to the only one: %.1f us, ratio %.2f (at most 1.2 is "
                    "wanted)\n",
                    ManyMotors, median["one of many"], median["one of one"],
                    median["one of many"] / median["one of one"]);
    }
    return 0;
}
