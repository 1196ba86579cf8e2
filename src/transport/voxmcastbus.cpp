#include "transport/voxmcastbus.h"

#include "framework/simplebusdispatcher.h"
#include "messages/voxmessage.h"
#include "transport/voxbuslog_p.h"
#include "transport/voxdatagram_p.h"

#include <QNetworkInterface>

namespace {
constexpr int MaxSentFrames = 10;
constexpr unsigned int LatencyUs = 1000;

QByteArray hex(const QByteArray &bytes)
{
    return bytes.toHex().toUpper();
}
}

VOXMCastBus::VOXMCastBus(const QHostAddress &group, unsigned short port, const QString &alias,
                         const QHostAddress &bindAddress, QObject *parent)
    : VOXBus(*new SimpleBusDispatcher(*this, nullptr), parent)
    , m_group(group)
    , m_bindAddress(bindAddress.isNull() ? QHostAddress(QHostAddress::AnyIPv4) : bindAddress)
    , m_port(port)
    , m_alias(alias)
    , m_cutter(makeCutter(VOXMessage::MinLength))
    , m_datagram(new VOXDatagram)
{
    auto &simple = static_cast<SimpleBusDispatcher &>(dispatcher());
    simple.setParent(this);
    simple.init();
    simple.setWaitDeviceWritten(true);
    simple.setNetworkLatency(LatencyUs);

    auto *socket = new QUdpSocket(this);
    setIoDevice(socket);
    m_datagram->forgetEchoesWith(*socket);
    connect(socket, &QIODevice::readyRead, this, &VOXMCastBus::processData);
    connect(socket, &QIODevice::bytesWritten, &simple, &SimpleBusDispatcher::deviceWritten);
    VOXMCastBus::open();
}

VOXMCastBus::~VOXMCastBus()
{
    if (VOXMCastBus::isOpen())
        socket()->leaveMulticastGroup(m_group);
    shutDown();
}

QUdpSocket *VOXMCastBus::socket() const
{
    return static_cast<QUdpSocket *>(ioDevice());
}

bool VOXMCastBus::open()
{
    if (isOpen())
        return true;
    const DeviceUse use(*this);
    const bool isBound =
        socket()->bind(m_bindAddress, m_port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint);
    if (!use.hasBus())
        return false;
    if (isBound) {
        socket()->open(QIODevice::ReadWrite);
        VOXDatagram::setBuffers(*socket());
    } else {
        qCWarning(lcVoxBus, "[VOXMCastBus]: failed to bind socket %s", qPrintable(socket()->errorString()));
    }
    const bool joined = join();
    m_joined = m_joined || joined;
    const bool isUsable = joined && isOpen();
    // This comes last, because a slot may destroy the bus.
    announceOpen(false);
    return isUsable;
}

bool VOXMCastBus::join()
{
    if (!socket()->joinMulticastGroup(m_group) && !joinOnLoopback())
        return false;
    socket()->setSocketOption(QAbstractSocket::MulticastLoopbackOption, 1);
    return true;
}

bool VOXMCastBus::joinOnLoopback()
{
    qCWarning(lcVoxBus, "[VOXMCastBus]: failed to join MCast group, joining on loopback device: %s",
              qPrintable(socket()->errorString()));
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : interfaces) {
        qCDebug(lcVoxBus, "iface %i out of %i", interface.index(), static_cast<int>(interfaces.size()));
        if ((interface.flags() & QNetworkInterface::IsLoopBack) == 0)
            continue;
        socket()->setMulticastInterface(interface);
        if (socket()->joinMulticastGroup(m_group, interface))
            return true;
    }
    qCWarning(lcVoxBus, "[VOXMCastBus]: failed to join MCast group on loopback device");
    return false;
}

bool VOXMCastBus::isOpen() const
{
    return ioDevice() && !isClosing() && socket()->state() != QAbstractSocket::UnconnectedState;
}

bool VOXMCastBus::hasUnseenInput() const
{
    return isOpen() && socket()->hasPendingDatagrams();
}

int VOXMCastBus::writeLine(const QByteArray &bytes)
{
    qCDebug(lcVoxBus, "[VOXMCastBus]: Frame (write) : %s VOXMCastBus alias %s", hex(bytes).constData(),
            qPrintable(m_alias));
    const DeviceUse use(*this);
    if (!isOpen() || socket()->writeDatagram(bytes, m_group, m_port) < bytes.size())
        return -2;
    // A slot of bytesWritten() may have destroyed the bus.
    if (!use.hasBus())
        return 0;
    QList<QByteArray> &sent = m_datagram->sent();
    if (sent.size() >= MaxSentFrames) {
        qCWarning(lcVoxBus, "[VOXBus]: sent messages list overflowing");
        // The oldest ones are kept, on purpose.
        sent.removeLast();
    }
    sent.append(bytes);
    return 0;
}

bool VOXMCastBus::processData()
{
    const VOXDatagram::Result read = isOpen() ? m_datagram->read(*socket()) : VOXDatagram::NothingPending;
    if (read == VOXDatagram::NothingPending) {
        qCDebug(lcVoxBus) << "-----VOXMCastBus::processData, No Pending datagrams on " << m_alias
                          << "sender :" << sender();
        return false;
    }
    if (read == VOXDatagram::Failed)
        qCWarning(lcVoxBus, "[VOXMCastBus]: failed to read datagram on %s %i",
                  qPrintable(m_datagram->sender().toString()), m_datagram->senderPort());
    const QPointer<VOXMCastBus> self(this);
    const unsigned int passesBefore = eventLoopPasses();
    const bool isTaken = read == VOXDatagram::Read && takeFrame();
    // A receiver of the frame may have destroyed this bus. Or it has run an event loop, where the socket may
    // have announced something in vain. Only a read, even of nothing, makes the socket announce again.
    if (self && (eventLoopPasses() != passesBefore || hasInput()))
        processLater();
    return isTaken;
}

bool VOXMCastBus::takeFrame()
{
    const QByteArray &datagram = m_datagram->bytes();
    if (m_datagram->takeEcho())
        return false;
    const int length = m_cutter.lengthAt(datagram);
    if (length == datagram.size() && length < VOXMessage::MinLength) {
        qCWarning(lcVoxBus, "[VOXMCastBus]: datagram too short for a frame (len=%i)", length);
        Q_EMIT discarded(QByteArray(datagram.constData(), datagram.size()));
        return false;
    }
    if (length != datagram.size()) {
        qCWarning(lcVoxBus, "[VOXMCastBus]: wrong datagram size %i != %i", length,
                  static_cast<int>(datagram.size()));
        Q_EMIT discarded(QByteArray(datagram.constData(), datagram.size()));
        return false;
    }
    const VOXFrameCutter::Cut cut = m_cutter.cut(datagram);
    qCDebug(lcVoxBus, "[VOXMCastBus]: Frame (Read) : %s VOXMCastBus alias : %s sender : %s %i",
            hex(cut.frame).constData(), qPrintable(m_alias), qPrintable(m_datagram->sender().toString()),
            m_datagram->senderPort());
    if (isTaken(cut.check))
        deliver(cut.frame);
    else
        Q_EMIT discarded(QByteArray(datagram.constData(), datagram.size()));
    return true;
}
