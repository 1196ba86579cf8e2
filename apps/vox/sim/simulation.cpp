#include "vox/sim/simulation.h"

#include "messages/vox.h"

#include "devices/kvrmotordevice.h"
#include "transport/voxbus.h"

namespace {
bool isSetting(unsigned char cmd)
{
    return cmd == KVR::CTRL_NETWORK_LOCK || VOX::toString(cmd).startsWith(QLatin1String("SET_"));
}
}

KVRDevice *Simulation::add(const NodeModel &model, unsigned int addr, QString *problem)
{
    *problem = VOX::nodeAddrProblem(addr);
    if (find(addr))
        *problem = QStringLiteral("two nodes with address %1").arg(VOX::toString(addr));
    if (!problem->isEmpty())
        return nullptr;
    m_indices.insert(addr, static_cast<int>(m_nodes.size()));
    m_nodes.push_back({model.name, std::unique_ptr<KVRDevice>(model.create(addr, *this))});
    KVRDevice *node = m_nodes.back().device.get();
    if (auto *motor = qobject_cast<KVRMotorDevice *>(node))
        QObject::connect(motor, &KVRMotorDevice::statusChanged, motor, [=](const KVRMotor::Status &status) {
            if (onSettingChanged && status.state != KVRMotor::STATE_RUNNING)
                onSettingChanged(*node);
        });
    return node;
}

void Simulation::clear()
{
    m_nodes.clear();
    m_indices.clear();
}

const Simulation::Node *Simulation::find(unsigned int addr) const
{
    const auto found = m_indices.constFind(addr);
    return found == m_indices.constEnd() ? nullptr : &m_nodes[static_cast<std::size_t>(*found)];
}

void Simulation::setTimeScale(unsigned int factor)
{
    for (const Node &node : m_nodes) {
        if (auto *motor = qobject_cast<KVRMotorDevice *>(node.device.get()))
            motor->setTimeScale(factor);
    }
}

void Simulation::attach(VOXBus &bus)
{
    for (const Node &node : m_nodes)
        node.device->attach(&bus);
}

void Simulation::requestHandled(KVRDevice &node, const VOXMessage &request)
{
    if (onSettingChanged && isSetting(request.cmd()))
        onSettingChanged(node);
}
