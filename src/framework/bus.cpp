#include "framework/bus.h"

#include "framework/busdispatcher.h"

namespace {
// Not by the first bus: QML looks the types of an operation up before it calls it, on a proxy without a bus,
// too.
void registerMetaTypes()
{
    qRegisterMetaType<BusMessage>();
    qRegisterMetaType<BusPendingCall>();
}
Q_CONSTRUCTOR_FUNCTION(registerMetaTypes)
}

Bus::Bus(BusDispatcher &dispatcher, QIODevice *device, QObject *parent)
    : QObject(parent)
    , m_dispatcher(dispatcher)
{
    setIoDevice(device);
}

Bus::~Bus()
{
    shutDown();
}

QString Bus::errorString() const
{
    return m_device ? m_device->errorString() : QString();
}

bool Bus::hasInput() const
{
    return m_device && m_device->bytesAvailable() > 0;
}

void Bus::setIoDevice(QIODevice *device)
{
    m_device = device;
    if (!device)
        return;
    // Also when it is closed or deleted behind the bus's back.
    const auto endCalls = [this] { m_dispatcher.endAll(BusPendingCall::NotOpen); };
    connect(device, &QIODevice::aboutToClose, this, endCalls);
    connect(device, &QObject::destroyed, this, endCalls);
}

bool Bus::deliver(const QByteArray &frame)
{
    const QPointer<Bus> self(this);
    ++m_deliveries;
    m_dispatcher.dispatch(frame);
    if (!self)
        return false;
    --m_deliveries;
    return true;
}

void Bus::shutDown()
{
    if (m_device)
        m_device->disconnect(this);
    // The dispatcher, a child, lives until the QObject part goes.
    if (!m_shutDown)
        m_dispatcher.endAll(BusPendingCall::Canceled);
    m_shutDown = true;
    if (!m_device)
        return;
    if (m_deliveries == 0) {
        delete m_device;
        return;
    }
    // It may be in the middle of announcing the input that is being delivered.
    m_device->setParent(nullptr);
    m_device->close();
    m_device->deleteLater();
    m_device.clear();
}
