#include "transport/voxbus.h"

#include "framework/serialdispatcher.h"
#include "messages/voxcheckvalue.h"
#include "messages/voxmessage.h"
#include "transport/voxbusdispatcher.h"
#include "transport/voxbuslog_p.h"

#include <QAbstractEventDispatcher>
#include <QTimerEvent>

#include <algorithm>
#include <utility>

#ifdef Q_OS_UNIX
#    include <poll.h>
#endif

Q_LOGGING_CATEGORY(lcVoxBus, "vox.bus")

namespace {
constexpr int FrameTimeoutMs = 100;
constexpr unsigned char BitsPerByte = 11;
// A frame is only looked at when its control byte has come.
constexpr int MinBytes = 2;
// This many bytes or fewer wait for the next arrival.
constexpr int RestThatWaits = 2;

QByteArray hex(unsigned int value)
{
    return QByteArray::number(value, 16).rightJustified(4, '0');
}

}

VOXBus::VOXBus(const QString &portName, QObject *parent)
    : VOXBus(new QSerialPort(portName), parent)
{
}

VOXBus::VOXBus(QIODevice *device, QObject *parent)
    : Bus(*new SerialDispatcher(*this, BAUD_4800, BitsPerByte, nullptr), device, parent)
    , m_cutter(makeCutter(MinBytes))
    , m_deviceDispatcher(new VOXBusDispatcher(this))
{
    dispatcher().setParent(this);
    dispatcher().init();
    init();
    listenToDevice();
}

VOXBus::VOXBus(BusDispatcher &dispatcher, QObject *parent)
    : Bus(dispatcher, nullptr, parent)
    , m_cutter(makeCutter(MinBytes))
    , m_deviceDispatcher(new VOXBusDispatcher(this))
{
    init();
}

VOXBus::~VOXBus()
{
    shutDown();
}

void VOXBus::init()
{
    m_buffer.reserve(VOXMessage::MaxLength);
    setInputHook([this] { return hasUnseenInput(); });
    VOX::registerMetaTypes();
    connect(&dispatcher(), &BusDispatcher::unhandled, m_deviceDispatcher, &VOXBusDispatcher::dispatch);
    listenToEventLoop();
}

// The device announces no more input while a frame is being delivered. An event loop inside the delivery asks
// the device instead.
void VOXBus::listenToEventLoop()
{
    auto *loop = QAbstractEventDispatcher::instance();
    if (!loop || m_isListeningToEventLoop)
        return;
    m_isListeningToEventLoop = true;
    connect(loop, &QAbstractEventDispatcher::awake, this, [this] {
        ++m_eventLoopPasses;
        if (isDeviceInUse() && hasInput())
            processLater();
    });
}

void VOXBus::listenToDevice()
{
    QIODevice *device = ioDevice();
    if (!device)
        return;
    // A device that has a parent cannot be moved to another thread, and a device cannot get a parent on
    // another thread.
    device->setParent(nullptr);
    device->moveToThread(thread());
    device->setParent(this);
    if (auto *port = qobject_cast<QSerialPort *>(device))
        connect(port, &QSerialPort::errorOccurred, this, &VOXBus::serialPortError);
    connect(device, &QIODevice::readyRead, this, [this] { processData(); });
}

int VOXBus::write(const QByteArray &frame)
{
    if (frame.size() < VOXMessage::MinLength || frame.size() > VOXMessage::MaxLength) {
        qCWarning(lcVoxBus, "[VOXBus]: not sending corrupted message (len=%i)",
                  static_cast<int>(frame.size()));
        return -1;
    }
    // This shared copy keeps the bytes: the next frame uses the working buffer again, even from inside the
    // write.
    const QByteArray line = toLine(frame);
    return writeLine(line);
}

int VOXBus::writeLine(const QByteArray &bytes)
{
    const DeviceUse use(*this);
    QIODevice *const device = ioDevice();
    // A closed device would log a warning, so it is not written to.
    if (!device || !device->isOpen() || device->write(bytes) < 0)
        return -2;
    // The device may have destroyed this bus, or itself.
    auto *port = use.hasBus() ? qobject_cast<QSerialPort *>(ioDevice()) : nullptr;
    if (port)
        port->flush();
    return 0;
}

const QByteArray &VOXBus::toLine(const QByteArray &frame)
{
    m_buffer.resize(frame.size());
    std::copy(frame.cbegin(), frame.cend(), m_buffer.begin());
    VOXFrameCutter::invertBody(m_buffer);
    return m_buffer;
}

VOXFrameCutter VOXBus::makeCutter(int minBytes) const
{
    return VOXFrameCutter(minBytes, [this](unsigned char control) { return getLen(control); });
}

bool VOXBus::isTaken(const VOXFrameCutter::Check &check)
{
    if (check.hasCrc && check.verdict != VOXFrameCutter::Intact)
        qCWarning(lcVoxBus, "Wrong CRC: %s, trying CHKSUM", hex(check.crc).constData());
    if (check.verdict != VOXFrameCutter::Failed)
        return true;
    qCWarning(lcVoxBus, "Wrong CRC: %s != %s", hex(check.checksum).constData(),
              hex(check.received).constData());
    Q_EMIT checkFailed();
    return false;
}

bool VOXBus::processData()
{
    QIODevice *device = ioDevice();
    if (!device || !device->isOpen())
        return false;
    m_buffer.resize(VOXMessage::MaxLength);
    m_buffer.resize(static_cast<int>(std::max<qint64>(device->peek(m_buffer.data(), m_buffer.size()), 0)));
    const VOXFrameCutter::Cut cut = m_cutter.cut(m_buffer);
    if (cut.kind == VOXFrameCutter::Cut::Wait) {
        m_incompleteBytes = device->bytesAvailable();
        m_frameTimer.start(FrameTimeoutMs, Qt::PreciseTimer, this);
        return false;
    }
    m_incompleteBytes = 0;
    device->skip(cut.dropped());
    if (!cut.isGood())
        Q_EMIT discarded(m_buffer.left(cut.dropped()));
    if (cut.kind == VOXFrameCutter::Cut::Drop) {
        processLater();
        return false;
    }
    m_frameTimer.stop();
    qCDebug(lcVoxBus, "[VOXBus]: Frame : %s", cut.frame.toHex().toUpper().constData());
    const bool accepted = isTaken(cut.check);
    processRest();
    // A receiver of the frame may use, close or destroy this bus. It may also wait for more in a nested event
    // loop, where the device does not announce it.
    if (accepted && deliver(cut.frame))
        processRest();
    return true;
}

void VOXBus::processRest()
{
    if (ioDevice() && ioDevice()->bytesAvailable() > RestThatWaits)
        processLater();
}

void VOXBus::processLater()
{
    if (std::exchange(m_isPassQueued, true))
        return;
    const auto pass = [this] {
        m_isPassQueued = false;
        processData();
    };
    QMetaObject::invokeMethod(this, pass, Qt::QueuedConnection);
}

void VOXBus::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_frameTimer.timerId()) {
        Bus::timerEvent(event);
        return;
    }
    const QPointer<VOXBus> self(this);
    const qint64 before = ioDevice() ? ioDevice()->bytesAvailable() : 0;
    const bool taken = processData();
    if (!self)
        return;
    // Each expiry drops one byte. If processData() itself has dropped one, that is the one.
    const qint64 after = isOpen() ? ioDevice()->bytesAvailable() : 0;
    if (!taken && after > 0 && after >= before) {
        if (after == before)
            Q_EMIT discarded(ioDevice()->read(1));
        m_incompleteBytes = 0;
        processLater();
    }
    m_frameTimer.stop();
}

bool VOXBus::open()
{
    QIODevice *device = ioDevice();
    if (!device)
        return false;
    // The bus may have been made before the application.
    listenToEventLoop();
    const bool wasOpen = isOpen();
    const DeviceUse use(*this);
    const bool opened = device->open(QIODevice::ReadWrite);
    auto *port = use.hasBus() ? qobject_cast<QSerialPort *>(device) : nullptr;
    if (port) {
        port->setBaudRate(BAUD_4800);
        port->setDataBits(QSerialPort::Data8);
        port->setParity(QSerialPort::OddParity);
        port->setStopBits(QSerialPort::OneStop);
        port->setFlowControl(QSerialPort::NoFlowControl);
        // Nobody waits for what has come before. A pseudo-terminal keeps it even from its last user.
        if (opened && !wasOpen)
            port->clear(QSerialPort::Input);
    }
    // A slot of the port may have destroyed the bus.
    if (!use.hasBus())
        return false;
    if (opened != wasOpen)
        Q_EMIT openChanged(opened);
    return opened;
}

void VOXBus::close()
{
    if (!ioDevice() || isClosing())
        return;
    const bool wasOpen = isOpen();
    m_frameTimer.stop();
    m_incompleteBytes = 0;
    if (closeDevice())
        announceOpen(wasOpen);
}

void VOXBus::announceOpen(bool wasOpen)
{
    if (isOpen() != wasOpen)
        Q_EMIT openChanged(!wasOpen);
}

bool VOXBus::hasUnseenInput() const
{
    return isOpen() && ioDevice()->bytesAvailable() > m_incompleteBytes;
}

bool VOXBus::isOpen() const
{
    return ioDevice() && ioDevice()->isOpen() && !isClosing();
}

unsigned char VOXBus::getLen(unsigned char control) const
{
    return control & VOXMessage::LengthMask;
}

bool VOXBus::setBaudRate(BaudRate rate)
{
    const DeviceUse use(*this);
    auto *port = qobject_cast<QSerialPort *>(ioDevice());
    if (!port || !port->setBaudRate(rate) || !use.hasBus())
        return false;
    if (auto *serial = qobject_cast<SerialDispatcher *>(&dispatcher()))
        serial->setBaudRate(static_cast<unsigned short>(rate));
    return true;
}

bool VOXBus::setParity(QSerialPort::Parity parity)
{
    const DeviceUse use(*this);
    auto *port = qobject_cast<QSerialPort *>(ioDevice());
    return port && port->setParity(parity);
}

bool VOXBus::hasGone(const QSerialPort &port)
{
    if (port.error() == QSerialPort::ResourceError)
        return true;
#ifdef Q_OS_UNIX
    // A port that is pulled out while nothing is written only reports the end of its input, again and again.
    pollfd state{port.handle(), 0, 0};
    return port.error() == QSerialPort::ReadError && ::poll(&state, 1, 0) == 1
        && (state.revents & POLLHUP) != 0;
#else
    return false;
#endif
}

void VOXBus::serialPortError()
{
    auto *port = qobject_cast<QSerialPort *>(ioDevice());
    if (!port || !hasGone(*port))
        return;
    qCWarning(lcVoxBus, "[VOXBus]: Bus ResourceError: %s", qPrintable(port->errorString()));
    // The port has gone by itself: openChanged() is not emitted for that, on purpose.
    closeDevice();
}

void VOXBus::attach(VOXDevice &device)
{
    if (m_refusal.isEmpty())
        m_deviceDispatcher->attach(device);
    else
        qCWarning(lcVoxBus, "%s", qPrintable(m_refusal));
}

void VOXBus::detach(VOXDevice &device)
{
    m_deviceDispatcher->detach(device);
}

void VOXBus::groupAttach(VOXDevice &device, unsigned int group)
{
    if (m_refusal.isEmpty())
        m_deviceDispatcher->groupAttach(device, group);
}

void VOXBus::groupDetach(VOXDevice &device, unsigned int group)
{
    m_deviceDispatcher->groupDetach(device, group);
}

unsigned int VOXBus::addr()
{
    return VOX::HostAddr & VOX::AddrMask;
}

unsigned short VOXBus::chksum(const char *data, std::size_t size)
{
    return VOXCheckValue::checksum(data, size);
}

unsigned short VOXBus::chksum(const QByteArray &data)
{
    return chksum(data.constData(), static_cast<std::size_t>(data.size()));
}

unsigned short VOXBus::crc(const char *data, std::size_t size)
{
    return VOXCheckValue::crc(data, size);
}

unsigned short VOXBus::crc(const QByteArray &data)
{
    return crc(data.constData(), static_cast<std::size_t>(data.size()));
}

void VOXBus::invert(char *data, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
        data[i] = static_cast<char>(~data[i]);
}
