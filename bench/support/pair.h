#ifndef PAIR_H
#define PAIR_H

#include "transport/voxudpbus.h"

#include <QCoreApplication>
#include <QUdpSocket>

#include <array>

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

#endif
