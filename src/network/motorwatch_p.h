#ifndef VOX_NETWORK_MOTORWATCH_P_H
#define VOX_NETWORK_MOTORWATCH_P_H

#include <QtGlobal>

#include <optional>

struct NodeState;

/// What the readings of a moving motor say about the time between them.
namespace MotorWatch {

/// A position was read at @p nowMs. @p before is the one before it, empty if there was none. Learns the speed
/// from the two. True if they differ.
bool handlePosition(NodeState &motor, std::optional<double> before, qint64 nowMs);

/// Where its move ends, in percent, as far as this host knows.
std::optional<int> target(const NodeState &motor);
/// Whether the last reading is where its move ends. Percent are rounded, so 1 more or less will do.
bool isAtTarget(const NodeState &motor);
/// Where the motor may be at @p nowMs, in percent.
std::optional<double> estimate(const NodeState &motor, qint64 nowMs);
/// When its move will have ended; -1 if that is not known.
qint64 predictedEndMs(const NodeState &motor);

}

#endif
