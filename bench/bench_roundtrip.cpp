// The round trip of a call over UDP in one process, beside what a bare socket, the system itself and another
// field bus need for theirs.

#include "support/cases.h"
#include "support/pair.h"
#include "support/peers.h"

#include <cstdio>

namespace {
constexpr int RequestLength = 11;
constexpr int ReplyLength = 15;
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    auto median = medians(argc, argv,
                          {{"call", [] { return callOverUdp(1); }},
                           {"call through a lane", callThroughLane},
                           {"QUdpSocket", [] { return udpSocketPingPong(RequestLength, ReplyLength); }},
                           {"POSIX sockets", [] { return posixPingPong(RequestLength, ReplyLength); }},
                           {"Modbus TCP", [] { return modbusRead(); }}});
    const double call = median["call"];
    std::printf("round trip of a call over UDP: %.1f us\n", call);
    std::printf("  against bare QUdpSockets, %.1f us: ratio %.2f (at most 1.5 is wanted)\n",
                median["QUdpSocket"], call / median["QUdpSocket"]);
    std::printf("  against bare POSIX sockets, %.1f us: ratio %.2f\n", median["POSIX sockets"],
                call / median["POSIX sockets"]);
    std::printf("  against Modbus TCP, %.1f us: ratio %.2f (at most 0.8 is wanted)\n", median["Modbus TCP"],
                call / median["Modbus TCP"]);
    std::printf(
        "call through a lane of a scheduler, %.1f us, against a plain one: ratio %.2f (at most 1.25 is "
        "wanted)\n",
        median["call through a lane"], median["call through a lane"] / call);
    return 0;
}
