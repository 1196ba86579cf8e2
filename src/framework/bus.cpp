#include "framework/bus.h"

#include "framework/busdispatcher.h"

#include <QThread>

#include <utility>

namespace {
// This runs when the library is loaded, not with the first bus. QML looks up the types of an operation before
// it calls it, also on a proxy without a bus.
void registerMetaTypes()
{
    qRegisterMetaType<BusMessage>();
    qRegisterMetaType<BusPendingCall>();
}
Q_CONSTRUCTOR_FUNCTION(registerMetaTypes)
}

Bus::DeviceUse::DeviceUse(Bus &bus)
    : m_bus(&bus)
    , m_outer(std::exchange(bus.m_use, this))
{
}

Bus::DeviceUse::~DeviceUse()
{
    if (m_bus)
        m_bus->m_use = m_outer;
    if (m_orphan)
        m_orphan->deleteLater();
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

void Bus::setIoDevice(QIODevice *device)
{
    m_device = device;
    if (!device)
        return;
    // The device may also be closed or deleted behind the bus's back.
    const auto endCalls = [this] { m_dispatcher.endAll(BusPendingCall::NotOpen); };
    connect(device, &QIODevice::aboutToClose, this, endCalls);
    connect(device, &QObject::destroyed, this, endCalls);
}

bool Bus::deliver(const QByteArray &frame)
{
    const DeviceUse use(*this);
    m_dispatcher.dispatch(frame);
    return use.hasBus();
}

bool Bus::closeDevice()
{
    const DeviceUse use(*this);
    const bool wasClosing = std::exchange(m_isClosing, true);
    if (m_device)
        m_device->close();
    if (!use.hasBus())
        return false;
    m_isClosing = wasClosing;
    return true;
}

void Bus::shutDown()
{
    DeviceUse *outermost = nullptr;
    for (DeviceUse *use = std::exchange(m_use, nullptr); use; use = use->m_outer) {
        use->m_bus = nullptr;
        outermost = use;
    }
    if (m_device)
        m_device->disconnect(this);
    // The dispatcher is a child, so it lives until the QObject part is destroyed.
    if (!m_shutDown)
        m_dispatcher.endAll(BusPendingCall::Canceled);
    m_shutDown = true;
    if (!m_device)
        return;
    // Inside an event loop, the caller may be a slot of the device itself. The device must then be deleted
    // later.
    if (!outermost && thread()->loopLevel() == 0) {
        delete m_device;
        return;
    }
    QIODevice *const device = std::exchange(m_device, nullptr);
    device->setParent(nullptr);
    if (!m_isClosing)
        device->close();
    if (outermost)
        outermost->m_orphan = device;
    else
        device->deleteLater();
}
