#include "devices/voxdevice.h"

#include "transport/voxbus.h"

VOXDevice::VOXDevice(unsigned int addr, VOXBus *bus, QObject *parent)
    : VOXNode(addr, nullptr, parent)
{
    VOXDevice::attach(bus);
}

VOXDevice::~VOXDevice()
{
    VOXDevice::detach();
}

VOXBus *VOXDevice::voxBus() const
{
    return qobject_cast<VOXBus *>(bus());
}

bool VOXDevice::attach(VOXBus *bus)
{
    detach();
    if (!bus)
        return true;
    if (!VOXNode::attach(bus))
        return false;
    const QMutexLocker locker(&m_mutex);
    bus->attach(*this);
    return true;
}

void VOXDevice::detach()
{
    {
        const QMutexLocker locker(&m_mutex);
        if (VOXBus *bus = voxBus())
            bus->detach(*this);
    }
    BusObject::detach();
}

void VOXDevice::setAddr(unsigned int addr)
{
    {
        const QMutexLocker locker(&m_mutex);
        if (addr == this->addr(true))
            return;
        VOXBus *bus = voxBus();
        if (bus)
            bus->detach(*this);
        storeAddr(addr);
        if (bus)
            bus->attach(*this);
    }
    Q_EMIT addrChanged(this->addr(true));
}

void VOXDevice::reply(const VOXMessage &msg)
{
    if (msg.isValid())
        BusObject::reply(msg);
}

void VOXDevice::dispatch(const VOXMessage &msg)
{
    Q_UNUSED(msg)
}
