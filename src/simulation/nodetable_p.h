#ifndef VOX_SIMULATION_NODETABLE_P_H
#define VOX_SIMULATION_NODETABLE_P_H

#include "simulation/nodemodel_p.h"

#include <QHash>
#include <QVector>

/// The emulated nodes of a simulation, which it owns. No two of them have the same address.
class NodeTable
{
public:
    struct Node
    {
        QString model;
        KVRDevice *device = nullptr;
    };

    /// @p observer must outlive the table.
    explicit NodeTable(NodeObserver &observer)
        : m_observer(&observer)
    {
    }
    ~NodeTable() { clear(); }
    Q_DISABLE_COPY(NodeTable)

    /// Adds a node that is on no bus. Null if there is a node with this address already, or if no node can
    /// have it; @p problem says so.
    KVRDevice *add(const NodeModel &model, VOX::Addr addr, QString *problem);
    /// Destroys the node with this address. False if there is none.
    bool remove(VOX::Addr addr);
    /// Destroys all nodes.
    void clear();
    /// Lets go of a node that somebody else is destroying.
    void forget(const KVRDevice *node, VOX::Addr addr);
    void swap(NodeTable &other);

    /// In the order in which they were added.
    const QVector<VOX::Addr> &addresses() const { return m_addresses; }
    /// With no model and no device if there is none with this address.
    Node find(VOX::Addr addr) const { return m_nodes.value(addr & VOX::AddrMask); }

private:
    NodeObserver *m_observer;
    QVector<VOX::Addr> m_addresses;
    QHash<VOX::Addr, Node> m_nodes;
};

#endif
