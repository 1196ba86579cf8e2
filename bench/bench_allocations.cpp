// How often a round trip asks for memory, Qt and the event loop included.

#include "support/allocations.h"
#include "support/cases.h"
#include "support/peers.h"

#include <QCoreApplication>

#include <cstdio>

namespace {
constexpr int CountedSteps = 1000;

double allocationsOf(const Step &step)
{
    step();
    const auto before = allocationCount();
    for (int i = 0; i < CountedSteps; ++i)
        step();
    return double(allocationCount() - before) / CountedSteps;
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    std::printf("allocations per round trip: call over UDP %.1f, bare QUdpSockets %.1f, Modbus TCP %.1f\n",
                allocationsOf(callOverUdp(1)), allocationsOf(udpSocketPingPong(11, 15)),
                allocationsOf(modbusRead()));
    return 0;
}
