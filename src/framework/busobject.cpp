#include "framework/busobject.h"

#include "framework/busdispatcher.h"
#include "framework/buspendingcalldata.h"

#include <QThread>

BusObject::BusObject(Bus *bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
}

BusObject::~BusObject() = default;

void BusObject::detach()
{
    const QMutexLocker lock(&m_mutex);
    m_bus.clear();
}

bool BusObject::attach(Bus *bus)
{
    if (!bus)
        return false;
    const QMutexLocker lock(&m_mutex);
    m_bus = bus;
    return true;
}

BusPendingCall BusObject::call(const BusMessage &message)
{
    const BusPendingCallPointer data(message.createPendingCall(m_bus));
    if (m_bus && m_bus->isOpen())
        m_bus->dispatcher().enqueue(data.get());
    else
        data->setError(BusPendingCall::NotOpen);
    return BusPendingCall(data);
}

void BusObject::reply(const BusMessage &message)
{
    // The mutex is held until the frame is handed over. A thread that detaches in order to destroy the bus
    // waits for that.
    QMutexLocker lock(&m_mutex);
    if (!m_bus)
        return;
    BusDispatcher *dispatcher = &m_bus->dispatcher();
    if (dispatcher->thread() == QThread::currentThread()) {
        lock.unlock();
        dispatcher->reply(message);
        return;
    }
    QMetaObject::invokeMethod(
        dispatcher, [dispatcher, message] { dispatcher->reply(message); }, Qt::QueuedConnection);
}
