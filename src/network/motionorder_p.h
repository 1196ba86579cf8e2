#ifndef VOX_NETWORK_MOTIONORDER_P_H
#define VOX_NETWORK_MOTIONORDER_P_H

#include <vox/network/schedulerqueue_p.h>

#include <QHash>

/// Which of the moves and stops of a node is the newest. Older ones are not repeated, and a stop takes those
/// back that still wait.
class MotionOrder
{
public:
    /// The nodes of @p group, which its stops and moves concern.
    void setMembers(VOX::Addr group, const QVector<VOX::Addr> &members) { m_members[group] = members; }

    /// @p call is the newest for its nodes, whose destinations are in @p queue.
    void add(const ScheduledCall &call, SchedulerQueue &queue);
    /// Changes with each newer move or stop of the same nodes.
    quint64 epochOf(const ScheduledCall &call) const { return call.destination->epoch + m_sharedEpoch; }
    /// Whether the move @p call is one of nodes that @p newer stops, or sends elsewhere.
    bool concerns(const ScheduledCall &newer, const ScheduledCall &call) const;

private:
    QHash<VOX::Addr, QVector<VOX::Addr>> m_members;
    // Stops and moves of all nodes.
    quint64 m_sharedEpoch = 0;
};

#endif
