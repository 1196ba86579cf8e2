#ifndef UDPPAIR_H
#define UDPPAIR_H

#include "transport/voxudpbus.h"

#include <utility>

/// Two different ports of 127.0.0.1 that nobody uses.
std::pair<unsigned short, unsigned short> freeUdpPorts();

/// Two buses that face each other on 127.0.0.1, on ports that the system chose.
struct UdpPair
{
    VOXUdpBus host;
    VOXUdpBus network;

    UdpPair();

private:
    explicit UdpPair(std::pair<unsigned short, unsigned short> ports);
};

#endif
