#include "transport/voxudpbus.h"

#include "framework/simplebusdispatcher.h"
#include "messages/voxmessage.h"
#include "transport/voxbuslog_p.h"
#include "transport/voxdatagram_p.h"

#include <QTimerEvent>
#include <QUdpSocket>

namespace {
constexpr int MaxSenders = 10;
constexpr int MaxSentFrames = 256;
constexpr int MaxBufferedBytes = 65536;
constexpr int FrameTimeoutMs = 110;
// Another pass may find a frame if this many bytes or more are left.
constexpr int MinRest = 2;
}

/// The bytes that one sender has sent and nobody has taken yet, in line form.
struct VOXUdpBus::Buffer
{
    Buffer(const QString &sender, VOXUdpBus *owner)
        : senderID(sender)
        , bus(owner)
    {
        // The memory is kept when the buffer becomes empty.
        data.reserve(VOXMessage::MaxLength);
    }
    ~Buffer() { stopTimer(); }
    Q_DISABLE_COPY_MOVE(Buffer)

    void append(const QByteArray &datagram)
    {
        // The bytes are always copied, because the datagram's buffer is used again.
        data.append(datagram.constData(), datagram.size());
        if (data.size() <= MaxBufferedBytes)
            return;
        data.remove(0, data.size() - MaxBufferedBytes);
        if (!warned)
            qCWarning(lcVoxBus, "[VOXUdpBus]: buffer of %s overflowing", qPrintable(senderID));
        warned = true;
    }

    void startTimer()
    {
        stopTimer();
        timer.start(FrameTimeoutMs, Qt::PreciseTimer, bus);
        bus->m_timeoutSources.insert(timer.timerId(), senderID);
    }

    void stopTimer()
    {
        if (!timer.isActive())
            return;
        bus->m_timeoutSources.remove(timer.timerId());
        timer.stop();
    }

    QString senderID;
    QBasicTimer timer;
    QByteArray data;
    VOXUdpBus *bus;
    bool warned = false;
};

VOXUdpBus::VOXUdpBus(const QHostAddress &destAddress, unsigned short destPort,
                     const QHostAddress &localAddress, unsigned short localPort, QObject *parent)
    : VOXBus(*new SimpleBusDispatcher(*this, nullptr), parent)
    , m_destAddress(destAddress)
    , m_destPort(destPort)
    , m_localAddress(localAddress.isNull() ? QHostAddress(QHostAddress::AnyIPv4) : localAddress)
    , m_localPort(localPort == 0 ? destPort : localPort)
    , m_cutter(makeCutter(VOXMessage::MinLength))
    , m_buffers(MaxSenders)
    , m_datagram(new VOXDatagram)
{
    qRegisterMetaType<QHostAddress>("QHostAddress");
    dispatcher().setParent(this);
    dispatcher().init();

    auto *socket = new QUdpSocket(this);
    setIoDevice(socket);
    connect(socket, &QIODevice::readyRead, this, QOverload<>::of(&VOXUdpBus::processData));
    m_datagram->forgetEchoesWith(*socket);
    connect(socket, &QIODevice::aboutToClose, this, [this] { m_buffers.clear(); });
    bind();
}

VOXUdpBus::~VOXUdpBus()
{
    shutDown();
    // Buffers unregister their timers from this object.
    m_buffers.clear();
}

QUdpSocket *VOXUdpBus::socket() const
{
    return static_cast<QUdpSocket *>(ioDevice());
}

bool VOXUdpBus::bind()
{
    const DeviceUse use(*this);
    if (!socket()->bind(m_localAddress, m_localPort,
                        QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
        if (use.hasBus())
            qCWarning(lcVoxBus, "[VOXUdpBus]: failed to bind socket %s", qPrintable(socket()->errorString()));
        return use.hasBus();
    }
    if (!use.hasBus())
        return false;
    socket()->open(QIODevice::ReadWrite);
    VOXDatagram::setBuffers(*socket());
    return true;
}

bool VOXUdpBus::open()
{
    if (!isOpen()) {
        // bind() is false if a slot has destroyed the bus.
        if (bind())
            announceOpen(false);
    }
    return true;
}

bool VOXUdpBus::hasUnseenInput() const
{
    return isOpen() && socket()->hasPendingDatagrams();
}

void VOXUdpBus::setDest(const QHostAddress &address, unsigned short port)
{
    m_destAddress = address;
    m_destPort = port;
}

int VOXUdpBus::write(const QByteArray &frame)
{
    if (frame.size() < VOXMessage::MinLength || frame.size() > VOXMessage::MaxLength) {
        qCWarning(lcVoxBus, "[VOXUdpBus]: not sending corrupted message (len=%i)",
                  static_cast<int>(frame.size()));
        return -1;
    }
    return VOXBus::write(frame);
}

int VOXUdpBus::writeLine(const QByteArray &bytes)
{
    const DeviceUse use(*this);
    const bool isSent = isOpen() && socket()->writeDatagram(bytes, m_destAddress, m_destPort) == bytes.size();
    // A slot of bytesWritten() may have destroyed the bus.
    if (!use.hasBus())
        return isSent ? 0 : -2;
    if (!isSent) {
        qCWarning(lcVoxBus, "[VOXUdpBus]: socket error: %s", qPrintable(errorString()));
        return -2;
    }
    if (m_destAddress == QHostAddress::Broadcast) {
        QList<QByteArray> &sent = m_datagram->sent();
        sent.append(bytes);
        if (sent.size() > MaxSentFrames)
            sent.removeFirst();
    }
    return 0;
}

bool VOXUdpBus::processData()
{
    if (!readDatagram() || !isForUs(m_datagram->sender(), m_datagram->senderPort()) || isEcho())
        return false;
    const QString id = senderID(m_datagram->sender(), m_datagram->senderPort());
    Buffer *buffer = m_buffers.object(id);
    if (!buffer) {
        buffer = new Buffer(id, this);
        // Deletes the buffer if it fails.
        if (!m_buffers.insert(id, buffer)) {
            qCWarning(lcVoxBus, "[VOXUdpBus]: failed to create cache entry");
            return false;
        }
    }
    buffer->append(m_datagram->bytes());
    return processBuffer(*buffer);
}

bool VOXUdpBus::readDatagram()
{
    const VOXDatagram::Result result = isOpen() ? m_datagram->read(*socket()) : VOXDatagram::NothingPending;
    if (result == VOXDatagram::Failed)
        qCWarning(lcVoxBus, "[VOXUdpBus]: failed to read datagram");
    return result == VOXDatagram::Read;
}

bool VOXUdpBus::isForUs(const QHostAddress &sender, unsigned short port)
{
    if (m_destAddress == QHostAddress::Broadcast)
        return true;
    if (port == m_destPort && sender.isEqual(m_destAddress, QHostAddress::ConvertV4MappedToIPv4))
        return true;
    qCDebug(lcVoxBus, "[VOXUdpBus]: frame is not for us (%s!=%s)", qPrintable(sender.toString()),
            qPrintable(m_destAddress.toString()));
    return false;
}

bool VOXUdpBus::isEcho()
{
    return m_destAddress == QHostAddress::Broadcast && m_datagram->takeEcho();
}

// The text is only made when the sender changes.
const QString &VOXUdpBus::senderID(const QHostAddress &address, unsigned short port)
{
    if (m_lastSenderID.isEmpty() || port != m_lastSenderPort || address != m_lastSender) {
        m_lastSender = address;
        m_lastSenderPort = port;
        m_lastSenderID = makeSenderID(address, port);
    }
    return m_lastSenderID;
}

QString VOXUdpBus::makeSenderID(const QHostAddress &address, unsigned short port) const
{
    return QStringLiteral("%1:%2").arg(address.toString(), QString::number(port));
}

bool VOXUdpBus::processData(const QString &senderID)
{
    Buffer *buffer = m_buffers.object(senderID);
    return buffer && processBuffer(*buffer);
}

bool VOXUdpBus::processBuffer(Buffer &buffer)
{
    const VOXFrameCutter::Cut cut = m_cutter.cut(buffer.data);
    if (cut.dropped() > 0 && !cut.isGood())
        Q_EMIT discarded(buffer.data.left(cut.dropped()));
    buffer.data.remove(0, cut.dropped());
    if (cut.kind == VOXFrameCutter::Cut::Wait) {
        if (!buffer.data.isEmpty())
            buffer.startTimer();
        return false;
    }
    if (cut.kind == VOXFrameCutter::Cut::Drop) {
        processLater(buffer.senderID);
        return buffer.data.size() >= VOXMessage::MinLength;
    }
    buffer.stopTimer();
    const bool accepted = isTaken(cut.check);
    if (buffer.data.size() >= MinRest)
        processLater(buffer.senderID);
    // From here on a receiver of the frame may close or destroy the bus, and the buffer may be evicted. If an
    // event loop ran there, the socket may have announced something in vain. Only a read, even of nothing,
    // makes the socket announce again. Reading every time would cost system calls.
    const unsigned int passesBefore = eventLoopPasses();
    if (accepted && deliver(cut.frame) && eventLoopPasses() != passesBefore)
        VOXBus::processLater();
    return true;
}

void VOXUdpBus::processLater(const QString &senderID)
{
    QMetaObject::invokeMethod(
        this, [this, senderID] { processData(senderID); }, Qt::QueuedConnection);
}

void VOXUdpBus::timerEvent(QTimerEvent *event)
{
    const QString id = m_timeoutSources.value(event->timerId());
    if (id.isEmpty()) {
        VOXBus::timerEvent(event);
        return;
    }
    Buffer *buffer = m_buffers.object(id);
    if (!buffer) {
        qCWarning(lcVoxBus, "[VOXUdpBus]: failed to find timeout source");
        return;
    }
    const QByteArray stalled = buffer->data;
    buffer->stopTimer();

    const QPointer<VOXUdpBus> self(this);
    processData();
    if (!self)
        return;
    buffer = m_buffers.object(id);
    if (!buffer) {
        qCWarning(lcVoxBus, "[VOXUdpBus]: timeout source has been destroyed");
    } else if (!buffer->data.isEmpty() && buffer->data.startsWith(stalled)) {
        Q_EMIT discarded(buffer->data.left(1));
        buffer->data.remove(0, 1);
        processLater(id);
    }
}
