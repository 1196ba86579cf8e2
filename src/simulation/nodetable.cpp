#include "simulation/nodetable_p.h"

#include "devices/kvrdevice.h"

#include <utility>

KVRDevice *NodeTable::add(const NodeModel &model, VOX::Addr addr, QString *problem)
{
    *problem = VOX::nodeAddrProblem(addr);
    if (problem->isEmpty() && find(addr).device)
        *problem = QStringLiteral("two nodes with address %1").arg(VOX::toString(addr));
    if (!problem->isEmpty())
        return nullptr;
    KVRDevice *node = model.create(addr, *m_observer);
    m_addresses += addr;
    m_nodes.insert(addr, {model.name, node});
    return node;
}

bool NodeTable::remove(VOX::Addr addr)
{
    const Node node = find(addr);
    delete node.device;
    return node.device != nullptr;
}

void NodeTable::clear()
{
    m_addresses.clear();
    // A slot may ask for them meanwhile.
    const QHash<VOX::Addr, Node> nodes = std::exchange(m_nodes, {});
    for (const Node &node : nodes)
        delete node.device;
}

void NodeTable::forget(const KVRDevice *node, VOX::Addr addr)
{
    if (find(addr).device != node)
        return;
    m_nodes.remove(addr);
    m_addresses.removeOne(addr);
}

void NodeTable::swap(NodeTable &other)
{
    m_addresses.swap(other.m_addresses);
    m_nodes.swap(other.m_nodes);
}
