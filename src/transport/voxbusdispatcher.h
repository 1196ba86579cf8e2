#ifndef VOX_TRANSPORT_VOXBUSDISPATCHER_H
#define VOX_TRANSPORT_VOXBUSDISPATCHER_H

#include <vox/transport/voxbuswatch.h>

#include <QExplicitlySharedDataPointer>
#include <QHash>
#include <QMutex>

class VOXDevice;

/// Hands the frames that answer no call to the emulated nodes: by node address, by group, or to all.
///
/// The four registrations may be called from any thread, also from inside a delivery; all else is used on the
/// bus's thread. Owns no node; a node that is destroyed gets nothing any more.
/// @ingroup transport
class VOX_EXPORT VOXBusDispatcher : public QObject
{
    Q_OBJECT

public:
    /// Has no nodes at first.
    explicit VOXBusDispatcher(QObject *parent = nullptr);
    ~VOXBusDispatcher() override;

    /// Registers @p device under its own address, and for broadcasts. Connections are not made unique.
    void attach(VOXDevice &device);
    /// Undoes every attach() under the device's present address. Its groups stay.
    void detach(VOXDevice &device);
    /// Registers @p device under @p group, taken as it is. A group with a node type in it never matches a
    /// frame.
    void groupAttach(VOXDevice &device, unsigned int group);
    /// Undoes every groupAttach() to @p group.
    void groupDetach(VOXDevice &device, unsigned int group);

public Q_SLOTS:
    /// Delivers @p message; one that is invalid, or for nobody, is dropped without a word.
    void dispatch(const BusMessage &message);

private:
    using WatchPointer = QExplicitlySharedDataPointer<VOXBusWatch>;
    using Table = QHash<unsigned int, WatchPointer>;

    void sweep();
    bool isNeeded(const Table &table, Table::iterator entry) const;
    void subscribe(Table &table, unsigned int key, VOXDevice &device);
    void unsubscribe(Table &table, unsigned int key, VOXDevice &device);
    WatchPointer find(const VOXMessage &message);

    QMutex m_mutex;
    Table m_nodes;
    Table m_groups;
    QMultiHash<const VOXDevice *, QMetaObject::Connection> m_broadcasts;
    int m_sweepAt;
};

#endif
