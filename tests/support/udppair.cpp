#include "support/udppair.h"

#include <QUdpSocket>

std::pair<unsigned short, unsigned short> freeUdpPorts()
{
    QUdpSocket first;
    QUdpSocket second;
    first.bind(QHostAddress(QHostAddress::LocalHost), 0);
    second.bind(QHostAddress(QHostAddress::LocalHost), 0);
    return {first.localPort(), second.localPort()};
}

UdpPair::UdpPair()
    : UdpPair(freeUdpPorts())
{
}

UdpPair::UdpPair(std::pair<unsigned short, unsigned short> ports)
    : host(QHostAddress::LocalHost, ports.second, QHostAddress::LocalHost, ports.first)
    , network(QHostAddress::LocalHost, ports.first, QHostAddress::LocalHost, ports.second)
{
}
