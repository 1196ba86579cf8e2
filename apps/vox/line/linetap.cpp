#include "vox/line/linetap.h"
#include "transport/voxbus.h"

#include "transport/voxbusurl.h"

#include <QNetworkInterface>
#include <QSerialPort>
#include <QTimerEvent>
#include <QUdpSocket>

#include <algorithm>
#include <chrono>
#include <utility>

namespace {
// Receivers wait this long for the rest of a frame.
constexpr int PauseMs = 100;

/// Joins @p group. Without a route for multicast it joins on a loopback interface, as the buses do.
bool join(QUdpSocket &socket, const QHostAddress &group)
{
    if (socket.joinMulticastGroup(group))
        return true;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    return std::any_of(interfaces.begin(), interfaces.end(), [&](const QNetworkInterface &interface) {
        return (interface.flags() & QNetworkInterface::IsLoopBack) != 0
            && socket.joinMulticastGroup(group, interface);
    });
}
}

qint64 LineTap::nowNs()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

LineTap::LineTap(std::function<void(const LineItem &)> found)
    : m_scanner(std::move(found))
{
}

std::unique_ptr<LineTap> LineTap::open(const VOXBusUrl &url, std::function<void(const LineItem &)> found,
                                       QString *problem)
{
    std::unique_ptr<LineTap> tap(new LineTap(std::move(found)));
    if (url.kind == VOXBusUrl::Pty) {
        *problem = QStringLiteral("nobody talks on a new pseudo-terminal");
        return nullptr;
    }
    const bool isOpen =
        url.kind == VOXBusUrl::Serial ? tap->openSerial(url, problem) : tap->openSocket(url, problem);
    return isOpen ? std::move(tap) : nullptr;
}

bool LineTap::openSerial(const VOXBusUrl &url, QString *problem)
{
    auto *port = new QSerialPort(url.path, this);
    const bool isOpen = port->open(QIODevice::ReadOnly) && port->setBaudRate(url.baudRate)
        && port->setDataBits(QSerialPort::Data8) && port->setParity(url.parity)
        && port->setStopBits(QSerialPort::OneStop);
    if (!isOpen) {
        *problem = VOXBusUrl::openProblem(url.path, port->errorString());
        return false;
    }
    m_portDescriptor = port->handle();
    m_firstPortErrors = PortErrors::of(m_portDescriptor).value_or(PortErrors());
    connect(port, &QSerialPort::errorOccurred, this, [this, port](QSerialPort::SerialPortError error) {
        if (!VOXBus::hasGone(*port))
            return;
        const QString reason = error == QSerialPort::ReadError ? QStringLiteral("its other end has hung up")
                                                               : port->errorString();
        m_portDescriptor = -1;
        port->close();
        m_scanner.flush();
        if (onGone)
            onGone(reason);
    });
    connect(port, &QIODevice::readyRead, this, [this, port] {
        m_scanner.feed(port->readAll(), nowNs());
        m_pauseTimer.start(PauseMs, Qt::PreciseTimer, this);
    });
    return true;
}

bool LineTap::openSocket(const VOXBusUrl &url, QString *problem)
{
    auto *socket = new QUdpSocket(this);
    const QHostAddress local = url.localAddress();
    const unsigned short port = url.local == 0 ? url.port : url.local;
    const bool isMulticast = url.kind == VOXBusUrl::Multicast;
    if (!socket->bind(local, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)
        || (isMulticast && !join(*socket, url.host))) {
        *problem = QStringLiteral("cannot open %1: %2").arg(url.text, socket->errorString());
        return false;
    }
    constexpr int BufferSize = 4 * 1024 * 1024;
    socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, BufferSize);
    if (!isMulticast)
        m_limitation =
            QStringLiteral("sees what comes to port %1, and neither what this machine sends nor what "
                           "goes between others; a program on the same port gets nothing meanwhile")
                .arg(port);
    connect(socket, &QIODevice::readyRead, this, [this, socket] {
        while (socket->hasPendingDatagrams()) {
            QByteArray datagram(static_cast<int>(socket->pendingDatagramSize()), '\0');
            if (socket->readDatagram(datagram.data(), datagram.size()) < 0)
                return;
            m_scanner.feed(datagram, nowNs());
            m_scanner.flush();
        }
    });
    return true;
}

std::optional<PortErrors> LineTap::portErrors() const
{
    const std::optional<PortErrors> errors = PortErrors::of(m_portDescriptor);
    return errors ? errors->since(m_firstPortErrors) : errors;
}

void LineTap::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_pauseTimer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_scanner.pause();
    if (!m_scanner.hasPending())
        m_pauseTimer.stop();
}
