#ifndef VOX_NETWORK_PRESENCE_P_H
#define VOX_NETWORK_PRESENCE_P_H

#include <vox/network/voxnetworknode.h>

/// Whether a node is there, by what it answers, and when it is asked again while it does not.
class Presence
{
public:
    using Value = VOXNetworkNode::Presence;

    Value value() const { return m_value; }
    bool isDown() const { return m_value == VOXNetworkNode::Down; }
    /// Answers what it was asked last, or was not asked yet.
    bool isSteady() const { return m_value == VOXNetworkNode::Unknown || m_value == VOXNetworkNode::Up; }
    /// When to ask again; only while it is not steady.
    qint64 askAgainMs() const { return m_askAgainMs; }

    /// Any frame of the node was heard. True if that changes the value.
    bool handleHeard();
    /// A call to the node was not answered. @p spread, -1 to 1, keeps nodes that have fallen silent together
    /// from being asked together. True if that changes the value.
    bool handleUnanswered(qint64 nowMs, double spread);
    /// It answers, but so that nobody understands it. True if that changes the value.
    bool handleNonsense(qint64 nowMs);
    /// It was asked: nobody asks again before the answer, or the time-out, has come.
    void handleAsked(qint64 nowMs);

private:
    Value m_value = VOXNetworkNode::Unknown;
    int m_unanswered = 0;
    int m_probeSeconds = 0;
    qint64 m_firstMs = 0;
    qint64 m_askAgainMs = 0;
};

#endif
