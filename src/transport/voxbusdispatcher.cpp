#include "transport/voxbusdispatcher.h"

#include "devices/voxdevice.h"

#include <algorithm>
#include <iterator>

namespace {
// The key of the watch for broadcasts among those for nodes.
constexpr unsigned int BroadcastKey = 0xffffff;
constexpr int MinSweep = 64;
}

VOXBusDispatcher::VOXBusDispatcher(QObject *parent)
    : QObject(parent)
    , m_sweepAt(MinSweep)
{
    m_nodes.insert(BroadcastKey, WatchPointer(new VOXBusWatch(this)));
}

VOXBusDispatcher::~VOXBusDispatcher()
{
    // A delivery that destroys its bus still holds the watch, so the last reference deletes it, not the
    // parent.
    if (const WatchPointer broadcast = m_nodes.value(BroadcastKey))
        broadcast->setParent(nullptr);
    m_nodes.clear();
    m_groups.clear();
}

void VOXBusDispatcher::attach(VOXDevice &device)
{
    const QMutexLocker locker(&m_mutex);
    sweep();
    subscribe(m_nodes, device.addr(false), device);
    const WatchPointer broadcast = m_nodes.value(BroadcastKey);
    if (broadcast)
        m_broadcasts.insert(&device,
                            connect(broadcast.data(), &VOXBusWatch::dispatch, &device, &VOXDevice::dispatch));
    else
        qWarning("[VOXBusDispatcher]: no broadcast watch");
}

void VOXBusDispatcher::detach(VOXDevice &device)
{
    const QMutexLocker locker(&m_mutex);
    unsubscribe(m_nodes, device.addr(false), device);
    // Disconnected by their handles: searching the watch of all nodes takes longer the more nodes there are.
    const auto broadcasts = m_broadcasts.values(&device);
    for (const QMetaObject::Connection &connection : broadcasts)
        disconnect(connection);
    m_broadcasts.remove(&device);
}

void VOXBusDispatcher::groupAttach(VOXDevice &device, unsigned int group)
{
    const QMutexLocker locker(&m_mutex);
    sweep();
    subscribe(m_groups, group, device);
}

void VOXBusDispatcher::groupDetach(VOXDevice &device, unsigned int group)
{
    const QMutexLocker locker(&m_mutex);
    unsubscribe(m_groups, group, device);
}

// A device that is destroyed without a detach() takes its connections with it, but not its entries here.
// These are removed when the tables have doubled.
void VOXBusDispatcher::sweep()
{
    if (m_nodes.size() + m_groups.size() + m_broadcasts.size() < m_sweepAt)
        return;
    for (Table *table : {&m_nodes, &m_groups}) {
        for (auto it = table->begin(); it != table->end();)
            it = isNeeded(*table, it) ? std::next(it) : table->erase(it);
    }
    for (auto it = m_broadcasts.begin(); it != m_broadcasts.end();)
        it = *it ? std::next(it) : m_broadcasts.erase(it);
    m_sweepAt =
        std::max(MinSweep, 2 * static_cast<int>(m_nodes.size() + m_groups.size() + m_broadcasts.size()));
}

bool VOXBusDispatcher::isNeeded(const Table &table, Table::iterator entry) const
{
    return (&table == &m_nodes && entry.key() == BroadcastKey) || (*entry)->receivers() > 0;
}

void VOXBusDispatcher::subscribe(Table &table, unsigned int key, VOXDevice &device)
{
    WatchPointer &watch = table[key];
    if (!watch) {
        watch = new VOXBusWatch;
        watch->moveToThread(thread());
    }
    connect(watch.data(), &VOXBusWatch::dispatch, &device, &VOXDevice::dispatch);
}

void VOXBusDispatcher::unsubscribe(Table &table, unsigned int key, VOXDevice &device)
{
    const auto found = table.find(key);
    if (found == table.end())
        return;
    const WatchPointer watch = *found;
    disconnect(watch.data(), &VOXBusWatch::dispatch, &device, &VOXDevice::dispatch);
    if (!isNeeded(table, found))
        table.erase(found);
}

VOXBusDispatcher::WatchPointer VOXBusDispatcher::find(const VOXMessage &message)
{
    const QMutexLocker locker(&m_mutex);
    return message.addrType() == VOX::GROUP ? m_groups.value(message.bcastAddr(false))
                                            : m_nodes.value(message.destAddr(false));
}

void VOXBusDispatcher::dispatch(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (!frame.isValid())
        return;
    // No lock is held while the frame is delivered: a node may register anew, or destroy the bus, from
    // inside.
    if (const WatchPointer watch = find(frame))
        (*watch)(frame);
}
