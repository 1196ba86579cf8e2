#ifndef UDPPAIR_H
#define UDPPAIR_H

#include "transport/voxudpbus.h"

#include <QUdpSocket>

#include <utility>

/// Two different ports of 127.0.0.1 that nobody uses.
inline std::pair<unsigned short, unsigned short> freeUdpPorts()
{
    QUdpSocket first, second;
    first.bind(QHostAddress(QHostAddress::LocalHost), 0);
    second.bind(QHostAddress(QHostAddress::LocalHost), 0);
    return {first.localPort(), second.localPort()};
}

/// Two buses that face each other on 127.0.0.1, on ports that the system chose.
struct UdpPair
{
    const std::pair<unsigned short, unsigned short> ports = freeUdpPorts();
    const QHostAddress here{QHostAddress::LocalHost};
    VOXUdpBus host{here, ports.second, here, ports.first};
    VOXUdpBus network{here, ports.first, here, ports.second};
};

#endif
