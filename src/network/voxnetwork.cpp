#include "network/voxnetwork.h"

#include "network/knownnodes_p.h"
#include "network/networkcore_p.h"
#include "transport/voxbusurl.h"

namespace {
std::unique_ptr<NetworkCore> makeCore(VOXNetwork &network, std::unique_ptr<VOXBus> ownBus)
{
    VOXBus *const bus = ownBus.get();
    return std::make_unique<NetworkCore>(network, bus, std::move(ownBus));
}

// Else Qt 5 reads properties of these types as bare numbers.
void registerEnumerations()
{
    qRegisterMetaType<VOXNetwork::Line>();
    qRegisterMetaType<VOXNetworkNode::Presence>();
    qRegisterMetaType<VOXMotion::End>();
}
Q_CONSTRUCTOR_FUNCTION(registerEnumerations)
}

VOXNetwork::VOXNetwork(VOXBus *bus, QObject *parent)
    : QObject(parent)
    , m_core(std::make_unique<NetworkCore>(*this, bus, nullptr))
{
}

VOXNetwork::VOXNetwork(const VOXBusUrl &url, QObject *parent)
    : QObject(parent)
    , m_core(makeCore(*this, url.makeBus()))
{
}

VOXNetwork::~VOXNetwork() = default;

VOXNetwork::Line VOXNetwork::line() const
{
    return m_core->line();
}

QString VOXNetwork::lineProblem() const
{
    return m_core->lineProblem();
}

VOXScheduler &VOXNetwork::scheduler() const
{
    return m_core->scheduler();
}

QVector<VOXNetworkNode *> VOXNetwork::nodes() const
{
    QVector<VOXNetworkNode *> nodes;
    for (const auto &entry : m_core->nodes())
        nodes += entry.second->node;
    return nodes;
}

VOXNetworkNode *VOXNetwork::node(VOX::Addr addr) const
{
    const NodeState *const state = m_core->find(addr);
    return state ? state->node : nullptr;
}

VOXNetworkMotor *VOXNetwork::motor(VOX::Addr addr) const
{
    return qobject_cast<VOXNetworkMotor *>(node(addr));
}

VOXPollPlan VOXNetwork::plan() const
{
    return m_core->plan();
}

bool VOXNetwork::setPlan(const VOXPollPlan &plan, QString *problem)
{
    const QString reason = plan.problem();
    if (problem)
        *problem = reason;
    if (reason.isEmpty())
        m_core->setPlan(plan);
    return reason.isEmpty();
}

QString VOXNetwork::planStretch() const
{
    return m_core->planStretch();
}

bool VOXNetwork::isSending() const
{
    return m_core->isSending();
}

void VOXNetwork::setSending(bool isSending)
{
    m_core->setSending(isSending);
}

QJsonArray VOXNetwork::knownNodes() const
{
    return KnownNodes::write(m_core->nodes());
}

bool VOXNetwork::setKnownNodes(const QJsonArray &nodes, QString *problem)
{
    QString reason;
    const QVector<KnownNodes::Entry> entries = KnownNodes::read(nodes, &reason);
    if (problem)
        *problem = reason;
    for (const KnownNodes::Entry &entry : entries) {
        NodeState *const node = m_core->add(entry.addr, entry.isLegacy);
        node->label = entry.label;
        node->serialNumber = entry.serialNumber;
    }
    return reason.isEmpty();
}

void VOXNetwork::setGroup(VOX::Addr group, const QVector<VOX::Addr> &members)
{
    m_core->setGroup(group, members);
}

QVector<VOXNetworkMotor *> VOXNetwork::groupMembers(VOX::Addr group) const
{
    QVector<VOXNetworkMotor *> motors;
    const QVector<NodeState *> members = m_core->members(group);
    for (const NodeState *const member : members)
        motors += static_cast<VOXNetworkMotor *>(member->node);
    return motors;
}

VOXMotion *VOXNetwork::moveGroup(VOX::Addr group, int kind, int value)
{
    return m_core->motions().startGroup(group, m_core->members(group),
                                        {static_cast<Move::Kind>(kind), value});
}

VOXMotion *VOXNetwork::moveGroupTo(VOX::Addr group, int percent)
{
    return moveGroup(group, Move::To, percent);
}

VOXMotion *VOXNetwork::moveGroupUp(VOX::Addr group)
{
    return moveGroup(group, Move::Up);
}

VOXMotion *VOXNetwork::moveGroupDown(VOX::Addr group)
{
    return moveGroup(group, Move::Down);
}

VOXMotion *VOXNetwork::moveGroupToIntermediate(VOX::Addr group, int index)
{
    return moveGroup(group, Move::Intermediate, index);
}

VOXMotion *VOXNetwork::stopGroup(VOX::Addr group)
{
    return moveGroup(group, Move::Stop);
}

VOXMotion *VOXNetwork::stopAll()
{
    return stopGroup(Everyone);
}

void VOXNetwork::discover()
{
    m_core->discovery().start();
}

void VOXNetwork::discoverRange(VOX::Addr first, VOX::Addr last)
{
    m_core->discovery().startRange(first, last);
}

VOXNetworkNode *VOXNetwork::add(VOX::Addr addr)
{
    const NodeState *const state = m_core->add(addr, false);
    return state ? state->node : nullptr;
}

void VOXNetwork::remove(VOX::Addr addr)
{
    m_core->remove(addr);
}
