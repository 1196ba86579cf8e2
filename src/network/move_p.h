#ifndef VOX_NETWORK_MOVE_P_H
#define VOX_NETWORK_MOVE_P_H

#include <vox/framework/buspendingcall.h>
#include <vox/messages/kvrmotor.h>
#include <vox/messages/vox.h>

#include <optional>

struct NodeState;
class VOXBus;

/// A command that sets motors in motion, or stops them, for one motor or for a group.
struct Move
{
    enum Kind : int { To, Up, Down, Intermediate, JogUp, JogDown, Stop };

    Kind kind = Stop;
    /// Percent, an index from 1, or pulses.
    int value = 0;

    /// Why there can be no such command, in a sentence; empty if there can.
    QString problem() const;
    /// Why @p motor cannot do it.
    QString problemFor(const NodeState &motor) const;
    /// Where it ends, in percent; empty if that is not known.
    std::optional<int> target(const NodeState &motor) const;
    /// What the motor does, as a part of a sentence.
    QString text() const;

    ///@{
    /// Sends it by @p bus, which is a lane.
    BusPendingCall send(const NodeState &motor, VOXBus *bus) const;
    BusPendingCall sendToGroup(VOX::Addr group, VOXBus *bus) const;
    ///@}
};

#endif
