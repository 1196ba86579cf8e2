#include "vox/line/linetap.h"
#include "transport/voxbus.h"

#include "transport/voxbusurl.h"

#include <QElapsedTimer>
#include <QNetworkInterface>
#include <QSerialPort>
#include <QSocketNotifier>
#include <QTimerEvent>
#include <QUdpSocket>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {
// Receivers wait this long for the rest of a frame.
constexpr int PauseMs = 100;

constexpr qint64 NsPerSecond = 1000000000;
/// More than any datagram has.
constexpr std::size_t MaxDatagram = 65536;

/// Nanoseconds since 1970.
qint64 wallNowNs()
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * NsPerSecond + now.tv_nsec;
}

/// How long ago a datagram came. The system tells that by the clock of the wall, which may have been set
/// since.
qint64 ageNs(msghdr &head)
{
    for (const cmsghdr *part = CMSG_FIRSTHDR(&head); part != nullptr;
         part = CMSG_NXTHDR(&head, const_cast<cmsghdr *>(part))) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_TIMESTAMPNS)
            continue;
        timespec came = {};
        std::memcpy(&came, CMSG_DATA(part), sizeof came);
        return std::max<qint64>(wallNowNs() - (came.tv_sec * NsPerSecond + came.tv_nsec), 0);
    }
    return 0;
}

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

// The clock of the wall may be set meanwhile; it only tells when this one began.
qint64 LineTap::nowNs()
{
    struct Start
    {
        qint64 wallNs = wallNowNs();
        QElapsedTimer clock;
        Start() { clock.start(); }
    };
    static const Start start;
    return start.wallNs + start.clock.nsecsElapsed();
}

LineTap::LineTap(std::function<void(const LineItem &)> found)
    : m_scanner(std::move(found))
{
}

LineTap::~LineTap()
{
    m_notifier.reset();
    if (m_socket >= 0)
        ::close(m_socket);
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
    listen(port);
    return true;
}

std::unique_ptr<LineTap> LineTap::on(QIODevice *line, std::function<void(const LineItem &)> found)
{
    std::unique_ptr<LineTap> tap(new LineTap(std::move(found)));
    tap->listen(line);
    return tap;
}

void LineTap::listen(QIODevice *line)
{
    connect(line, &QIODevice::readyRead, this, [this, line] {
        m_scanner.feed(line->readAll(), nowNs());
        m_pauseTimer.start(PauseMs, Qt::PreciseTimer, this);
    });
}

// Reads a descriptor of its own: a socket of Qt does not tell when a datagram came, and announces no more
// once somebody else has read one.
bool LineTap::openSocket(const VOXBusUrl &url, QString *problem)
{
    QUdpSocket socket;
    const QHostAddress local = url.localAddress();
    const unsigned short port = url.local == 0 ? url.port : url.local;
    const bool isMulticast = url.kind == VOXBusUrl::Multicast;
    if (!socket.bind(local, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)
        || (isMulticast && !join(socket, url.host))) {
        *problem = QStringLiteral("cannot open %1: %2").arg(url.text, socket.errorString());
        return false;
    }
    constexpr int BufferSize = 4 * 1024 * 1024;
    socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, BufferSize);
    m_socket = ::fcntl(static_cast<int>(socket.socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    const int isWanted = 1;
    if (m_socket < 0 || ::setsockopt(m_socket, SOL_SOCKET, SO_TIMESTAMPNS, &isWanted, sizeof isWanted) != 0) {
        *problem = QStringLiteral("cannot open %1: %2").arg(url.text, qt_error_string(errno));
        return false;
    }
    if (!isMulticast)
        m_limitation =
            QStringLiteral("sees what comes to port %1, and neither what this machine sends nor what "
                           "goes between others; a program on the same port gets nothing meanwhile")
                .arg(port);
    m_notifier = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] {
        while (readDatagram()) { }
    });
    return true;
}

bool LineTap::readDatagram()
{
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(timespec))];
    char bytes[MaxDatagram];
    iovec part = {bytes, sizeof bytes};
    msghdr head = {};
    head.msg_iov = &part;
    head.msg_iovlen = 1;
    head.msg_control = control;
    head.msg_controllen = sizeof control;
    const ssize_t count = ::recvmsg(m_socket, &head, MSG_DONTWAIT);
    if (count < 0)
        return errno == EINTR;
    m_timeNs = std::max(m_timeNs, nowNs() - ageNs(head));
    m_scanner.feed(QByteArray(bytes, static_cast<int>(count)), m_timeNs);
    m_scanner.flush();
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
