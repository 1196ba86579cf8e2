#include "network/networkcore_p.h"

#include "framework/busdispatcher.h"
#include "framework/busobject.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace {
constexpr qint64 Never = std::numeric_limits<qint64>::max();
/// One question is on the line, and one waits, so that the line is never idle.
constexpr int MaxReadBacks = 2;
constexpr int ProbeMs = 1000;
/// Each poll of so many is a question that can wait, if there is one.
constexpr unsigned int PatientPart = 4;
}

NetworkCore::NetworkCore(VOXNetwork &network, VOXBus *bus, std::unique_ptr<VOXBus> ownBus)
    : m_network(network)
    , m_ownBus(std::move(ownBus))
    , m_bus(bus)
    , m_scheduler(bus)
{
    m_clock.start();
    m_scheduler.setPollSource([this](int *againInMs) { return nextPoll(againInMs); });
    connect(&m_scheduler, &VOXScheduler::answered, this, &NetworkCore::handleAnswered);
    connect(&m_scheduler, &VOXScheduler::unanswered, this, &NetworkCore::handleUnanswered);
    listenTo(bus);
    checkLine();
}

NetworkCore::~NetworkCore()
{
    // An own bus is destroyed when this is half gone.
    if (m_bus)
        m_bus->disconnect(this);
}

// The nodes

NodeState *NetworkCore::find(VOX::Addr addr) const
{
    const auto found = m_nodes.find(addr & VOX::AddrMask);
    return found == m_nodes.end() ? nullptr : found->second;
}

NodeState *NetworkCore::add(VOX::Addr addr, bool isLegacy, bool isOther)
{
    if (!VOX::nodeAddrProblem(addr & VOX::AddrMask).isEmpty())
        return nullptr;
    if (NodeState *const known = find(addr))
        return known;
    auto owned = std::make_unique<NodeState>();
    NodeState &node = *owned;
    node.addr = addr & VOX::AddrMask;
    node.type = VOX::getType(addr);
    node.isLegacy = isLegacy || node.type == VOX::NODETYPE_HRMv2;
    node.isMotor = node.isLegacy || (!isOther && VOXNetworkMotor::isMotorType(node.type));
    node.node = node.isMotor ? new VOXNetworkMotor(*this, std::move(owned), &m_network)
                             : new VOXNetworkNode(*this, std::move(owned), &m_network);
    m_nodes.emplace(node.addr, &node);
    m_planner.add(node, nowMs());
    m_news.add([this, added = node.node] { Q_EMIT m_network.nodeAdded(added); });
    updatePlan();
    m_patient.add(node, Questions::of(node) & ~Questions::Values);
    readSoon(node, QuestionSet(Questions::heartbeat(node)) | Questions::Values | Question::Label);
    wakePolls();
    return &node;
}

void NetworkCore::remove(VOX::Addr addr)
{
    if (NodeState *const node = find(addr))
        remove(*node);
}

void NetworkCore::remove(NodeState &node)
{
    m_motions.handleSilence(node, QStringLiteral("%1 was removed from the network.").arg(node.name()));
    m_urgent.remove(node);
    m_patient.remove(node);
    m_planner.remove(node);
    m_line.remove(node.addr);
    m_nodes.erase(node.addr);
    m_news.add([this, gone = QPointer<VOXNetworkNode>(node.node)] {
        Q_EMIT m_network.nodeRemoved(gone->address());
        if (gone)
            gone->deleteLater();
    });
    updatePlan();
}

void NetworkCore::replace(NodeState &node, VOX::Addr addr, bool isLegacy, bool isOther)
{
    const QString label = node.label;
    remove(node);
    if (NodeState *const other = add(addr, isLegacy, isOther))
        other->label = label;
}

bool NetworkCore::takeFound(VOX::Addr addr, bool isLegacy)
{
    NodeState *const known = find(addr);
    if (!known)
        return add(addr, isLegacy) != nullptr;
    if (known->isLegacy != isLegacy)
        replace(*known, addr, isLegacy);
    return false;
}

void NetworkCore::noteChange(NodeState &node)
{
    const bool isQueued = node.isValueNews || node.isPresenceNews;
    node.isValueNews = true;
    if (!isQueued)
        m_news.add([this, &node] { tellChange(node); });
}

void NetworkCore::notePresence(NodeState &node)
{
    const bool isQueued = node.isValueNews || node.isPresenceNews;
    node.isPresenceNews = true;
    if (!isQueued)
        m_news.add([this, &node] { tellChange(node); });
}

void NetworkCore::tellChange(NodeState &node)
{
    const bool isValueNews = std::exchange(node.isValueNews, false);
    const bool isPresenceNews = std::exchange(node.isPresenceNews, false);
    const QPointer<NetworkCore> self(this);
    const QPointer<VOXNetworkNode> object(node.node);
    if (isPresenceNews)
        Q_EMIT object->presenceChanged();
    if (object && isValueNews)
        Q_EMIT object->changed();
    if (self && object)
        Q_EMIT m_network.nodeChanged(object);
}

void NetworkCore::noteRefusal(NodeState &node, const QString &sentence)
{
    node.lastRefusal = sentence;
    node.refusedMs = nowMs();
    noteChange(node);
}

void NetworkCore::setGroup(VOX::Addr group, const QVector<VOX::Addr> &members)
{
    m_groups[group & VOX::AddrMask] = members;
    m_scheduler.setGroupMembers(group, members);
}

QVector<NodeState *> NetworkCore::members(VOX::Addr group) const
{
    QVector<NodeState *> members;
    const auto addIfMotor = [&](NodeState *node) {
        if (node && node->isMotor)
            members += node;
    };
    if (group == VOXNetwork::Everyone) {
        for (const auto &entry : m_nodes)
            addIfMotor(entry.second);
    } else {
        const QVector<VOX::Addr> addrs = m_groups.value(group & VOX::AddrMask);
        for (const VOX::Addr addr : addrs)
            addIfMotor(find(addr));
    }
    return members;
}

void NetworkCore::announceDiscovered(int count)
{
    m_news.add([this, count] { Q_EMIT m_network.discovered(count); });
}

// What is asked, and when

void NetworkCore::setPlan(const VOXPollPlan &plan)
{
    m_planner.setPlan(plan);
    updatePlan();
    const qint64 now = nowMs();
    for (const auto &entry : m_nodes)
        m_planner.add(*entry.second, now);
    wakePolls();
}

void NetworkCore::updatePlan()
{
    m_planner.setLine(m_scheduler.lineRate(), m_scheduler.limits().maxLoadPercent);
    const QString text = m_planner.stretchText();
    if (std::exchange(m_toldStretch, text) != text)
        m_news.add([this] { Q_EMIT m_network.planStretchChanged(); });
}

void NetworkCore::setSending(bool isSending)
{
    if (std::exchange(m_isSending, isSending) == isSending)
        return;
    if (!isSending)
        endAll();
    m_news.add([this, isSending] { Q_EMIT m_network.sendingChanged(isSending); });
    wakePolls();
    feedReadBack();
}

QString NetworkCore::notSendingText()
{
    return QStringLiteral("Nothing was sent: this network only listens. Let it send to give commands.");
}

/// Nothing that waits is sent any more, and nobody asks what becomes of what was.
void NetworkCore::endAll()
{
    m_discovery.abort();
    for (const auto &entry : m_nodes)
        m_motions.handleSilence(*entry.second,
                                QStringLiteral("%1 is not asked any more: this network only listens now.")
                                    .arg(entry.second->name()));
    for (int each = 0; each < VOXScheduler::LaneCount; ++each)
        lane(static_cast<VOXScheduler::Lane>(each))->dispatcher().endAll(BusPendingCall::NotOpen);
}

void NetworkCore::readSoon(NodeState &node, QuestionSet questions)
{
    m_urgent.add(node, questions);
    feedReadBack();
}

void NetworkCore::readAgain(NodeState &node)
{
    m_planner.noteCommand(node, nowMs());
}

void NetworkCore::noteMotion(NodeState &motor)
{
    m_planner.update(motor);
    noteChange(motor);
    wakePolls();
}

/// A node that is down is only asked by probes, unless somebody waits for what it does.
bool NetworkCore::mayAsk(const NodeState &node) const
{
    return !node.presence.isDown() || node.isRecalled || node.stop || node.move;
}

void NetworkCore::feedReadBack()
{
    while (m_isSending && line() == VOXNetwork::Open && m_readBacks < MaxReadBacks) {
        Question question{};
        NodeState *const node =
            m_urgent.take(&question, [this](const NodeState &each) { return mayAsk(each); });
        if (!node)
            return;
        ++m_readBacks;
        BusObject(lane(VOXScheduler::ReadBack), nullptr)
            .call(Questions::call(*node, question, node->urgentIntermediate))
            .onFinished(this, [this] {
                --m_readBacks;
                feedReadBack();
            });
    }
}

void NetworkCore::wakePolls()
{
    const NodeState *const first = m_planner.first();
    const bool hasMore = !m_patient.isEmpty() || m_discovery.hasQuestion();
    const qint64 dueMs = hasMore ? 0 : first ? first->dueMs : Never;
    if (dueMs >= m_againMs)
        return;
    m_againMs = 0;
    m_scheduler.wakePolls();
}

std::optional<VOXCall> NetworkCore::nextPoll(int *againInMs)
{
    const qint64 now = nowMs();
    updatePlan();
    m_againMs = Never;
    *againInMs = -1;
    if (!m_isSending || line() == VOXNetwork::Closed)
        return std::nullopt;
    const bool isSilent = line() == VOXNetwork::Silent;
    std::optional<VOXCall> call = isSilent ? nextProbe(now) : nextPlanned(now);
    const NodeState *const first = m_planner.first();
    if (call || !first) {
        m_againMs = call ? now : Never;
        return call;
    }
    m_againMs = isSilent ? m_line.probeMs() : first->dueMs;
    *againInMs = static_cast<int>(std::min<qint64>(std::max<qint64>(m_againMs - now, 1), VOXPollPlan::MaxMs));
    return std::nullopt;
}

std::optional<VOXCall> NetworkCore::nextPlanned(qint64 nowMs)
{
    if (NodeState *const suspect = find(m_line.takeSuspect()))
        return Questions::call(*suspect, Questions::heartbeat(*suspect));
    // A plan that fills the line leaves a part of it to what is not urgent.
    if (++m_pollTurn % PatientPart == 0) {
        if (std::optional<VOXCall> call = nextPatient())
            return call;
    }
    while (NodeState *const node = m_planner.due(nowMs)) {
        if (m_planner.takeSettings(*node, nowMs)) {
            m_patient.add(*node, Questions::of(*node) & ~Questions::Values);
            continue;
        }
        if (!node->presence.isDown())
            return Questions::call(*node, m_planner.takeQuestion(*node, nowMs));
        if (nowMs >= m_probeMs) {
            m_probeMs = nowMs + ProbeMs;
            return Questions::call(*node, m_planner.takeQuestion(*node, nowMs));
        }
        m_planner.putOff(*node, m_probeMs);
    }
    return nextPatient();
}

/// What can wait: names, settings, and addresses where somebody may be.
std::optional<VOXCall> NetworkCore::nextPatient()
{
    // Somebody waits for what a discovery finds; yet one through all addresses takes hours.
    if (++m_patientTurn % PatientPart != 0) {
        if (std::optional<VOXCall> call = m_discovery.nextQuestion())
            return call;
    }
    Question question{};
    // Names and the like would take their share of the line from values that somebody waits for.
    NodeState *const node =
        !m_urgent.isEmpty() ? nullptr : m_patient.take(&question, [](const NodeState &each) {
            return each.presence.value() == VOXNetworkNode::Up;
        });
    if (!node)
        return m_discovery.nextQuestion();
    const bool isIntermediate = question == Question::Intermediate;
    return Questions::call(*node, question, isIntermediate ? node->nextIntermediate++ : 0);
}

/// On a silent line: the node that has answered last, then all in turn.
std::optional<VOXCall> NetworkCore::nextProbe(qint64 nowMs)
{
    if (nowMs < m_line.probeMs() || m_nodes.empty())
        return std::nullopt;
    m_line.noteProbe(nowMs);
    const NodeState *node = m_lastProbed == 0 ? find(m_line.lastAnswered()) : nullptr;
    if (!node) {
        const auto next = m_nodes.upper_bound(m_lastProbed);
        node = (next == m_nodes.end() ? m_nodes.begin() : next)->second;
    }
    m_lastProbed = node->addr;
    return Questions::call(*node, Questions::heartbeat(*node));
}
