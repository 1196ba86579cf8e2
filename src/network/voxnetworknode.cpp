#include "network/voxnetworknode.h"

#include "framework/busobject.h"
#include "network/networkcore_p.h"
#include "proxies/kvrstdproxy.h"

namespace {
QString versionText(const std::optional<KVRAnswer::Version> &version)
{
    if (!version)
        return {};
    return KVRStdProxy::AppVersion(version->reference, static_cast<char>(version->letter), version->number,
                                   version->profile)
        .toString();
}
}

VOXNetworkNode::VOXNetworkNode(NetworkCore &core, std::unique_ptr<NodeState> state, QObject *parent)
    : QObject(parent)
    , m_core(core)
    , m_state(std::move(state))
{
}

VOXNetworkNode::~VOXNetworkNode() = default;

VOX::Addr VOXNetworkNode::address() const
{
    return m_state->addr;
}

QString VOXNetworkNode::addressText() const
{
    return VOX::toString(m_state->addr);
}

VOX::NodeType VOXNetworkNode::type() const
{
    return m_state->type;
}

QString VOXNetworkNode::typeName() const
{
    return type() == VOX::NODETYPE_ANY ? QString() : VOX::toString(type()).section(QLatin1Char('_'), 1);
}

QString VOXNetworkNode::label() const
{
    return m_state->label;
}

QString VOXNetworkNode::serialNumber() const
{
    return m_state->serialNumber;
}

QString VOXNetworkNode::appVersion() const
{
    return versionText(m_state->appVersion);
}

QString VOXNetworkNode::stackVersion() const
{
    return versionText(m_state->stackVersion);
}

VOXNetworkNode::Presence VOXNetworkNode::presence() const
{
    return m_state->presence.value();
}

qint64 VOXNetworkNode::silentForMs() const
{
    return m_state->heardMs == NodeState::Never ? -1 : m_core.nowMs() - m_state->heardMs;
}

int VOXNetworkNode::answerMs() const
{
    return m_core.scheduler().nodeFigures(m_state->addr).answerMs;
}

QString VOXNetworkNode::lastRefusal() const
{
    return m_state->lastRefusal;
}

qint64 VOXNetworkNode::refusedForMs() const
{
    return m_state->refusedMs == NodeState::Never ? -1 : m_core.nowMs() - m_state->refusedMs;
}

bool VOXNetworkNode::isDoubled() const
{
    return m_state->isDouble;
}

bool VOXNetworkNode::isLegacy() const
{
    return m_state->isLegacy;
}

VOXBus *VOXNetworkNode::userLane() const
{
    return m_core.isSending() ? m_core.lane(VOXScheduler::User) : nullptr;
}

BusPendingCall VOXNetworkNode::call(const VOXCall &call, VOXScheduler::Lane lane)
{
    VOXCall addressed(call);
    addressed.setSrcAddr(VOX::HostAddr);
    addressed.setDestAddr(m_state->addr);
    return BusObject(m_core.isSending() ? m_core.lane(lane) : nullptr, nullptr).call(addressed);
}

void VOXNetworkNode::refresh()
{
    m_state->nextIntermediate = 1;
    m_core.readSoon(*m_state, Questions::of(*m_state));
}

BusPendingCall VOXNetworkNode::setLabel(const QString &label)
{
    const QByteArray bytes = label.toLatin1();
    if (QString::fromLatin1(bytes) != label || bytes.contains('\0'))
        return refuse(
            QStringLiteral("The label '%1' was not sent: nodes take Latin-1 characters only.").arg(label));
    if (bytes.size() > KVR::LabelLength)
        return refuse(QStringLiteral("The label '%1' was not sent: nodes take at most %2 characters.")
                          .arg(label)
                          .arg(KVR::LabelLength));
    if (isLegacy())
        return refuse(QStringLiteral("%1 is of the older generation, which takes no label from here.")
                          .arg(m_state->name()));
    return KVRStdProxy(address(), userLane()).setNodeLabel(bytes);
}

BusPendingCall VOXNetworkNode::refuse(const QString &reason)
{
    m_core.noteRefusal(*m_state, reason);
    return {};
}
