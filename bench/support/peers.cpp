#include "support/peers.h"

#include "support/pair.h"

#include <QModbusDataUnit>
#include <QModbusReply>
#include <QModbusTcpClient>
#include <QModbusTcpServer>
#include <QTcpServer>
#include <QVariant>

#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr std::size_t MaxLength = 64;

struct UdpSockets
{
    UdpSockets(int requestLength, int replyLength)
        : request(requestLength, 'q')
        , reply(replyLength, 'r')
    {
        host.bind(Loopback, 0);
        node.bind(Loopback, 0);
        QObject::connect(&node, &QUdpSocket::readyRead, &node, [this] {
            node.readDatagram(buffer.data(), buffer.size());
            node.writeDatagram(reply, Loopback, host.localPort());
        });
        QObject::connect(&host, &QUdpSocket::readyRead, &host, [this] {
            host.readDatagram(buffer.data(), buffer.size());
            done = true;
        });
    }

    void pingPong()
    {
        done = false;
        host.writeDatagram(request, Loopback, node.localPort());
        waitFor(done);
    }

    QUdpSocket host;
    QUdpSocket node;
    const QByteArray request;
    const QByteArray reply;
    std::array<char, MaxLength> buffer{};
    bool done = false;
};

/// A socket on a port that the system chose.
class PosixSocket
{
public:
    PosixSocket()
        : m_socket(::socket(AF_INET, SOCK_DGRAM, 0))
    {
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof m_address;
        if (::bind(m_socket, address(), size) != 0 || ::getsockname(m_socket, address(), &size) != 0)
            std::abort();
    }
    ~PosixSocket() { ::close(m_socket); }
    Q_DISABLE_COPY_MOVE(PosixSocket)

    void exchange(PosixSocket &to, const char *bytes, int length)
    {
        std::array<char, MaxLength> buffer{};
        if (::sendto(m_socket, bytes, std::size_t(length), 0, to.address(), sizeof to.m_address) != length
            || ::recv(to.m_socket, buffer.data(), buffer.size(), 0) != length)
            std::abort();
    }

private:
    sockaddr *address() { return reinterpret_cast<sockaddr *>(&m_address); }

    int m_socket;
    sockaddr_in m_address{};
};

struct Modbus
{
    Modbus()
    {
        const QVariant port = [] {
            QTcpServer probe;
            probe.listen(Loopback, 0);
            return probe.serverPort();
        }();
        server.setMap({{QModbusDataUnit::HoldingRegisters, {QModbusDataUnit::HoldingRegisters, 0, 1}}});
        for (QModbusDevice *device :
             {static_cast<QModbusDevice *>(&server), static_cast<QModbusDevice *>(&client)}) {
            device->setConnectionParameter(QModbusDevice::NetworkAddressParameter, Loopback.toString());
            device->setConnectionParameter(QModbusDevice::NetworkPortParameter, port);
            device->connectDevice();
        }
        while (client.state() != QModbusDevice::ConnectedState)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    void read()
    {
        bool done = false;
        const std::unique_ptr<QModbusReply> reply(
            client.sendReadRequest({QModbusDataUnit::HoldingRegisters, 0, 1}, server.serverAddress()));
        QObject::connect(reply.get(), &QModbusReply::finished, reply.get(),
                         [&] { done = reply->error() == QModbusDevice::NoError; });
        waitFor(done);
    }

    QModbusTcpServer server;
    QModbusTcpClient client;
};
}

Step udpSocketPingPong(int requestLength, int replyLength)
{
    const auto sockets = std::make_shared<UdpSockets>(requestLength, replyLength);
    return [sockets] { sockets->pingPong(); };
}

Step posixPingPong(int requestLength, int replyLength)
{
    const auto host = std::make_shared<PosixSocket>();
    const auto node = std::make_shared<PosixSocket>();
    return [=] {
        const std::array<char, MaxLength> bytes{};
        host->exchange(*node, bytes.data(), requestLength);
        node->exchange(*host, bytes.data(), replyLength);
    };
}

Step modbusRead()
{
    const auto modbus = std::make_shared<Modbus>();
    return [modbus] { modbus->read(); };
}
