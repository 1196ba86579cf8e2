#include "network/presence_p.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {
constexpr int MsPerSecond = 1000;
/// After the first call that was not answered.
constexpr int AgainMs[] = {2000, 5000, 10000};
constexpr int UnansweredUntilDown = 3;
constexpr int DownAfterMs = 10000;
constexpr int FirstProbeSeconds = 5;
constexpr int LastProbeSeconds = 300;
constexpr double ProbeSpread = 0.1;
constexpr int AfterNonsenseMs = 10000;
/// Longer than any call takes.
constexpr int AskedMs = 30000;
}

bool Presence::handleHeard()
{
    m_unanswered = 0;
    m_probeSeconds = 0;
    return std::exchange(m_value, VOXNetworkNode::Up) != VOXNetworkNode::Up;
}

bool Presence::handleUnanswered(qint64 nowMs, double spread)
{
    if (m_unanswered++ == 0)
        m_firstMs = nowMs;
    const Value before = m_value;
    if (!isDown()) {
        const bool isGone = m_unanswered >= UnansweredUntilDown && nowMs - m_firstMs >= DownAfterMs;
        m_value = isGone ? VOXNetworkNode::Down : VOXNetworkNode::Shaky;
    }
    if (isDown()) {
        m_probeSeconds =
            m_probeSeconds == 0 ? FirstProbeSeconds : std::min(2 * m_probeSeconds, LastProbeSeconds);
        const double ms = m_probeSeconds * MsPerSecond * (1 + ProbeSpread * spread);
        m_askAgainMs = nowMs + static_cast<qint64>(ms);
    } else {
        const auto *const next = std::upper_bound(std::begin(AgainMs), std::end(AgainMs), nowMs - m_firstMs);
        m_askAgainMs = next == std::end(AgainMs) ? nowMs : m_firstMs + *next;
    }
    return m_value != before;
}

bool Presence::handleNonsense(qint64 nowMs)
{
    m_unanswered = 0;
    m_probeSeconds = 0;
    m_askAgainMs = nowMs + AfterNonsenseMs;
    return std::exchange(m_value, VOXNetworkNode::Shaky) != VOXNetworkNode::Shaky;
}

void Presence::handleAsked(qint64 nowMs)
{
    m_askAgainMs = nowMs + AskedMs;
}
