#include "network/motorwatch_p.h"

#include "network/nodestate_p.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
constexpr double WholeWay = 100;
constexpr double MsPerSecond = 1000;
constexpr int Tolerance = 1;
/// Two readings that are closer, or further apart, tell no speed.
constexpr qint64 MinSpeedMs = 200;
constexpr qint64 MaxSpeedMs = 20000;
/// A motor that should have arrived has.
constexpr qint64 ArrivedMs = 50;

/// In percent per second, positive downward; 0 while it is not known.
double speedOf(const NodeState &motor)
{
    return motor.motor.isGoingUp() ? -motor.speedUp : motor.speedDown;
}
}

bool MotorWatch::handlePosition(NodeState &motor, std::optional<double> before, qint64 nowMs)
{
    const qint64 passedMs = nowMs - std::exchange(motor.positionMs, nowMs);
    const std::optional<double> now = motor.motor.exactPercent();
    if (!before || !now)
        return true;
    const double way = *now - *before;
    // The first reading of a move does not tell when the move has begun.
    const bool wasMoving = std::exchange(motor.hasMovingPosition, motor.motor.isRunning());
    const bool tellsSpeed = wasMoving && motor.motor.isRunning() && passedMs >= MinSpeedMs
        && passedMs <= MaxSpeedMs && (way < 0) == motor.motor.isGoingUp() && !isAtTarget(motor);
    if (tellsSpeed && way != 0)
        (way < 0 ? motor.speedUp : motor.speedDown) =
            std::abs(way) * MsPerSecond / static_cast<double>(passedMs);
    return way != 0;
}

std::optional<int> MotorWatch::target(const NodeState &motor)
{
    return motor.move ? motor.move->target : std::nullopt;
}

bool MotorWatch::isAtTarget(const NodeState &motor)
{
    const std::optional<int> end = target(motor);
    return end && motor.motor.percent && std::abs(*motor.motor.percent - *end) <= Tolerance;
}

std::optional<double> MotorWatch::estimate(const NodeState &motor, qint64 nowMs)
{
    const std::optional<double> last = motor.motor.exactPercent();
    if (!last || !motor.motor.isRunning())
        return last;
    const double way = speedOf(motor) * static_cast<double>(nowMs - motor.positionMs) / MsPerSecond;
    const double end = target(motor).value_or(way < 0 ? 0 : static_cast<int>(WholeWay));
    const double estimated = *last + way;
    // Never past where it goes, and never back behind the reading.
    return way < 0 ? std::max(estimated, std::min(end, *last)) : std::min(estimated, std::max(end, *last));
}

qint64 MotorWatch::predictedEndMs(const NodeState &motor)
{
    const std::optional<double> last = motor.motor.exactPercent();
    const std::optional<int> end = target(motor);
    const double speed = speedOf(motor);
    if (!last || !end || speed == 0 || (*end < *last) != (speed < 0))
        return NodeState::Never;
    return motor.positionMs + qRound64((*end - *last) / speed * MsPerSecond) + ArrivedMs;
}
