#ifndef SIMULATION_H
#define SIMULATION_H

#include "devices/kvrdevice.h"
#include "vox/sim/nodemodel.h"

#include <QHash>

#include <functional>
#include <memory>
#include <vector>

class VOXBus;

/// The emulated nodes of one bus. No two of them have the same address.
class Simulation final : private NodeObserver
{
public:
    struct Node
    {
        QString model;
        std::unique_ptr<KVRDevice> device;
    };

    /// Adds a node that is not yet on a bus. Null if there is a node with this address already, or if no node
    /// can have it; @p problem says so.
    KVRDevice *add(const NodeModel &model, unsigned int addr, QString *problem);
    void clear();

    const std::vector<Node> &nodes() const { return m_nodes; }
    /// Null if there is none with this address.
    const Node *find(unsigned int addr) const;

    /// Lets all motors live @p factor times as fast.
    void setTimeScale(unsigned int factor);
    void attach(VOXBus &bus);

    /// Called after a host has asked a node to change a setting, and when a motor has come to rest.
    std::function<void(KVRDevice &node)> onSettingChanged;

private:
    void requestHandled(KVRDevice &node, const VOXMessage &request) override;

    std::vector<Node> m_nodes;
    QHash<unsigned int, int> m_indices;
};

#endif
