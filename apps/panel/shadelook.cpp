#include "panel/shadelook.h"

#include "network/voxnetworkmotor.h"

#include <tuple>

namespace {
constexpr int MsPerMinute = 60000;

ShadeLook::State stateOf(const VOXNetworkNode &node, const VOXNetworkMotor *motor, bool isLineOpen)
{
    if (!isLineOpen)
        return ShadeLook::Offline;
    if (node.presence() == VOXNetworkNode::Down)
        return ShadeLook::Dead;
    if (motor && motor->percent())
        return ShadeLook::Known;
    // A motor without limits answers, but not with a percentage.
    const bool hasNoPercent = motor && (motor->positionAgeMs() >= 0 || motor->isLegacy());
    return hasNoPercent && node.presence() != VOXNetworkNode::Unknown ? ShadeLook::Unknown
                                                                      : ShadeLook::NotAsked;
}

ShadeLook::Motion motionOf(const VOXNetworkMotor &motor)
{
    if (!motor.isMoving())
        return ShadeLook::Resting;
    return motor.direction() == KVRMotor::DIRECTION_UP ? ShadeLook::Up : ShadeLook::Down;
}

auto tied(const ShadeLook &look)
{
    return std::tie(look.state, look.kind, look.motion, look.isLocked, look.isRefused, look.isShaky,
                    look.isDoubled, look.reading, look.target, look.tilt, look.silentMinutes);
}
}

ShadeLook ShadeLook::of(const VOXNetworkNode &node, bool isLineOpen)
{
    ShadeLook look;
    const auto *const motor = qobject_cast<const VOXNetworkMotor *>(&node);
    look.state = stateOf(node, motor, isLineOpen);
    look.isShaky = node.presence() == VOXNetworkNode::Shaky;
    look.isDoubled = node.isDoubled();
    const qint64 refusedMs = node.refusedForMs();
    look.isRefused = !node.lastRefusal().isEmpty() && refusedMs >= 0 && refusedMs < RefusedMs;
    if (look.state == Dead)
        look.silentMinutes = static_cast<int>(node.silentForMs() / MsPerMinute);
    if (!motor)
        return look;
    if (look.state == Known) {
        look.motion = motionOf(*motor);
        if (look.motion != Resting)
            look.target = motor->targetPercent().value_or(-1);
    }
    look.isLocked = motor->isLocked().value_or(false);
    look.reading = motor->percent().value_or(-1);
    look.tilt = motor->tilt().value_or(-1);
    if (motor->appMode() == KVRMotor::CURTAIN)
        look.kind = Curtain;
    else if (motor->appMode() == KVRMotor::VENETIAN)
        look.kind = Slats;
    return look;
}

bool ShadeLook::operator==(const ShadeLook &other) const
{
    return tied(*this) == tied(other);
}

QString ShadeLook::words() const
{
    QString words;
    switch (state) {
    case NotAsked:
        return tr("not asked yet");
    case Unknown:
        words = tr("position unknown: no limits");
        break;
    case Dead:
        return tr("no answer for %1 min").arg(silentMinutes);
    case Offline:
        return tr("its line is silent");
    case Known:
        words = tr("%1 % down").arg(reading);
        break;
    }
    if (motion != Resting)
        words += motion == Up ? tr(", moving up") : tr(", moving down");
    if (isLocked)
        words += tr(", locked");
    if (isRefused)
        words += tr(", has refused");
    if (isShaky)
        words += tr(", answers badly");
    if (isDoubled)
        words += tr(", two nodes with one address");
    return words;
}
