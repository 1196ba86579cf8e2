#include "simulation/faultclock_p.h"

#include "devices/kvrdevice.h"
#include "messages/voxreply.h"

#include <QTimerEvent>

#include <algorithm>
#include <limits>

namespace {
constexpr qint64 NotBegun = FaultRule::NotBegun;
constexpr qint64 Never = std::numeric_limits<qint64>::max();
}

FaultClock::FaultClock(VOXFaultRules &rules, const NodeTable &nodes)
    : m_rules(rules)
    , m_nodes(nodes)
{
    m_clock.start();
}

void FaultClock::setBus(VOXFaultBus *bus)
{
    m_bus = bus;
    for (FaultRule &rule : m_rules.rules())
        rule.stop();
    strikeAll();
    placeAll();
}

void FaultClock::update()
{
    strikeAll();
    if (m_bus)
        placeAll();
}

void FaultClock::place(KVRDevice &node) const
{
    VOXBus *const bus = isAway(node.addr()) ? nullptr : m_bus;
    if (node.bus() != bus)
        node.attach(bus);
}

void FaultClock::placeAll() const
{
    for (const VOX::Addr addr : m_nodes.addresses())
        place(*m_nodes.find(addr).device);
}

bool FaultClock::isAway(VOX::Addr node) const
{
    const std::vector<FaultRule> &rules = m_rules.rules();
    return std::any_of(rules.cbegin(), rules.cend(),
                       [&](const FaultRule &rule) { return rule.isAway && rule.fault.isOf(node); });
}

QVector<VOX::Addr> FaultClock::strikeAll()
{
    QVector<VOX::Addr> jabbering;
    const qint64 now = m_clock.elapsed();
    qint64 next = Never;
    for (FaultRule &rule : m_rules.rules()) {
        if (!m_bus || !rule.fault.isTimed())
            continue;
        if (rule.fault.kind == VOXFault::Away)
            strikeAway(rule, now);
        else if (strikeJabber(rule, now))
            jabbering += rule.fault.node;
        if (rule.fault.happened == rule.fault.count && !rule.isAway)
            rule.dueMs = Never;
        next = std::min(next, rule.dueMs);
    }
    if (next == Never)
        m_timer.stop();
    else
        m_timer.start(static_cast<int>(next - now), Qt::PreciseTimer, this);
    return jabbering;
}

void FaultClock::strikeAway(FaultRule &rule, qint64 now)
{
    const int periodMs = rule.fault.everyMs > 0 ? rule.fault.everyMs : 2 * rule.fault.value;
    if (rule.dueMs == NotBegun)
        rule.dueMs = now;
    while (rule.dueMs <= now) {
        const bool wasAway = rule.isAway;
        rule.isAway = !wasAway && m_rules.happens(rule.fault);
        if (rule.isAway)
            rule.dueMs += rule.fault.value;
        else
            rule.dueMs += wasAway ? periodMs - rule.fault.value : periodMs;
    }
}

bool FaultClock::strikeJabber(FaultRule &rule, qint64 now)
{
    if (rule.dueMs == NotBegun)
        rule.dueMs = now + rule.fault.value;
    if (rule.dueMs > now)
        return false;
    rule.dueMs = std::max(rule.dueMs + rule.fault.value, now + 1);
    return m_rules.happens(rule.fault);
}

void FaultClock::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const QVector<VOX::Addr> jabbering = strikeAll();
    placeAll();
    // A slot that hears of it may destroy the simulation.
    const QPointer<FaultClock> self(this);
    for (const VOX::Addr which : jabbering) {
        const QVector<VOX::Addr> nodes = !self ? QVector<VOX::Addr>()
            : which == VOXFault::EveryNode     ? m_nodes.addresses()
                                               : QVector<VOX::Addr>{which};
        for (const VOX::Addr node : nodes) {
            if (self && m_bus)
                jabber(node);
        }
    }
}

void FaultClock::jabber(VOX::Addr addr)
{
    const KVRDevice *node = m_nodes.find(addr).device;
    if (!node || isAway(addr))
        return;
    VOXReply frame(*node, VOX::HostAddr, KVR::findCmd(KVR::POST_NODE_ADDR));
    frame.prepare();
    m_bus->sayUnasked(addr, m_rules.gibberish(frame));
}
