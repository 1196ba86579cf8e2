#include "network/voxnetworkmotor.h"

#include "network/motorwatch_p.h"
#include "network/networkcore_p.h"
#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrmotorproxy.h"

namespace {
constexpr int MaxByte = 255;
constexpr int MaxPercent = 100;
constexpr int MaxPulses = 65534;

template <typename Value>
QVariant toVariant(const std::optional<Value> &value)
{
    return value ? QVariant(static_cast<int>(*value)) : QVariant();
}

/// Why @p value cannot be sent as @p what; empty if it can.
QString problemOf(const QString &what, int value, int first, int last)
{
    if (value >= first && value <= last)
        return {};
    return QStringLiteral("A %1 of %2 was not sent: it is %3 to %4.")
        .arg(what)
        .arg(value)
        .arg(first)
        .arg(last);
}

QString legacyProblem(const NodeState &motor)
{
    return QStringLiteral("%1 is of the older generation, which does not know this command.")
        .arg(motor.name());
}
}

bool VOXNetworkMotor::isMotorType(VOX::NodeType type)
{
    switch (type) {
    case VOX::NODETYPE_GATEWAY:
    case VOX::NODETYPE_4HRM_IFACE:
    case VOX::NODETYPE_HZR_TRANSMITTER:
    case VOX::NODETYPE_HZR_RECEIVER:
    case VOX::NODETYPE_MASTER:
        return false;
    default:
        return true;
    }
}

std::optional<int> VOXNetworkMotor::percent() const
{
    return state().motor.percent;
}

qint64 VOXNetworkMotor::positionAgeMs() const
{
    const qint64 readMs = state().positionMs;
    return readMs == NodeState::Never ? -1 : core().nowMs() - readMs;
}

std::optional<int> VOXNetworkMotor::pulses() const
{
    return state().motor.pulses;
}

std::optional<int> VOXNetworkMotor::tilt() const
{
    return state().motor.tilt;
}

std::optional<int> VOXNetworkMotor::intermediate() const
{
    return state().motor.intermediate;
}

std::optional<KVRMotor::State> VOXNetworkMotor::motorState() const
{
    const auto &status = state().motor.status;
    return status ? std::optional<KVRMotor::State>(status->state) : std::nullopt;
}

std::optional<KVRMotor::Status> VOXNetworkMotor::status() const
{
    return state().motor.status;
}

std::optional<KVRMotor::Direction> VOXNetworkMotor::direction() const
{
    const auto &status = state().motor.status;
    return status ? std::optional<KVRMotor::Direction>(status->direction) : std::nullopt;
}

std::optional<bool> VOXNetworkMotor::isLocked() const
{
    return state().motor.isLocked;
}

std::optional<int> VOXNetworkMotor::upLimit() const
{
    return state().motor.upLimit;
}

std::optional<int> VOXNetworkMotor::downLimit() const
{
    return state().motor.downLimit;
}

std::optional<VOXNetworkMotor::Speeds> VOXNetworkMotor::speeds() const
{
    return state().motor.speeds;
}

std::optional<KVRMotor::AppMode> VOXNetworkMotor::appMode() const
{
    return state().motor.appMode;
}

std::optional<int> VOXNetworkMotor::intermediatePercent(int index) const
{
    return state().motor.intermediates.value(index - 1);
}

std::optional<int> VOXNetworkMotor::targetPercent() const
{
    return MotorWatch::target(state());
}

std::optional<int> VOXNetworkMotor::estimatedPercent() const
{
    const std::optional<double> estimate = MotorWatch::estimate(state(), core().nowMs());
    return estimate && isMoving() ? std::optional<int>(qRound(*estimate)) : percent();
}

bool VOXNetworkMotor::isMoving() const
{
    return state().motor.isRunning();
}

bool VOXNetworkMotor::hasToldPosition() const
{
    return state().positionMs != NodeState::Never;
}

VOXMotion *VOXNetworkMotor::move(int kind, int value)
{
    return core().motions().start(state(), {static_cast<Move::Kind>(kind), value});
}

VOXMotion *VOXNetworkMotor::moveTo(int percent)
{
    return move(Move::To, percent);
}

VOXMotion *VOXNetworkMotor::moveUp()
{
    return move(Move::Up);
}

VOXMotion *VOXNetworkMotor::moveDown()
{
    return move(Move::Down);
}

VOXMotion *VOXNetworkMotor::moveToIntermediate(int index)
{
    return move(Move::Intermediate, index);
}

VOXMotion *VOXNetworkMotor::jog(KVRMotor::Direction direction, int pulses)
{
    const bool isDirection = direction == KVRMotor::DIRECTION_UP || direction == KVRMotor::DIRECTION_DOWN;
    // A jog of 0 pulses is refused with the same words.
    return move(direction == KVRMotor::DIRECTION_UP ? Move::JogUp : Move::JogDown, isDirection ? pulses : 0);
}

VOXMotion *VOXNetworkMotor::stop()
{
    return move(Move::Stop);
}

BusPendingCall VOXNetworkMotor::wink()
{
    if (isLegacy())
        return refuse(legacyProblem(state()));
    return KVRMotorProxy(address(), userLane()).ctrlWink();
}

BusPendingCall VOXNetworkMotor::lock(int priority)
{
    const QString problem = problemOf(QStringLiteral("priority"), priority, 0, MaxByte);
    if (!problem.isEmpty())
        return refuse(problem);
    const auto byte = static_cast<quint8>(priority);
    if (isLegacy())
        return HRMv2MotorProxy(address(), userLane()).setLockStatus(HRMv2::LOCK_HERE, 0, byte);
    return KVRMotorProxy(address(), userLane()).ctrlNetworkLock(KVRMotor::LOCK_HERE, 0, byte);
}

BusPendingCall VOXNetworkMotor::unlock(int priority)
{
    const QString problem = problemOf(QStringLiteral("priority"), priority, 0, MaxByte);
    if (!problem.isEmpty())
        return refuse(problem);
    const auto byte = static_cast<quint8>(priority);
    if (isLegacy())
        return HRMv2MotorProxy(address(), userLane()).setLockStatus(HRMv2::LOCK_RELEASE, 0, byte);
    return KVRMotorProxy(address(), userLane()).ctrlNetworkLock(KVRMotor::LOCK_RELEASE, 0, byte);
}

BusPendingCall VOXNetworkMotor::setLimit(KVRMotor::Limit limit, KVRMotor::LimitFunction function, int pulses)
{
    const bool isShift = function == KVRMotor::LIMIT_SHIFT_DOWN || function == KVRMotor::LIMIT_SHIFT_UP;
    const bool isKnown = QMetaEnum::fromType<KVRMotor::LimitFunction>().valueToKey(function)
        && QMetaEnum::fromType<KVRMotor::Limit>().valueToKey(limit);
    const QString problem = isShift ? problemOf(QStringLiteral("shift"), pulses, MinJog, MaxJog)
                                    : problemOf(QStringLiteral("limit"), pulses, 0, MaxPulses);
    if (isLegacy())
        return refuse(legacyProblem(state()));
    if (!isKnown)
        return refuse(QStringLiteral("There is no limit %1, or no function %2 for it; nothing was sent.")
                          .arg(limit)
                          .arg(function));
    if (!problem.isEmpty())
        return refuse(problem);
    return KVRMotorProxy(address(), userLane()).setMotorLimits(function, limit, static_cast<quint16>(pulses));
}

BusPendingCall VOXNetworkMotor::setSpeeds(int up, int down, int slow)
{
    if (isLegacy())
        return refuse(legacyProblem(state()));
    for (const int speed : {up, down, slow}) {
        const QString problem = problemOf(QStringLiteral("speed"), speed, 1, MaxByte);
        if (!problem.isEmpty())
            return refuse(problem);
    }
    return KVRMotorProxy(address(), userLane())
        .setMotorRollingSpeed(static_cast<quint8>(up), static_cast<quint8>(down), static_cast<quint8>(slow));
}

BusPendingCall VOXNetworkMotor::setIntermediate(int index, int percent)
{
    const QString problem = problemOf(QStringLiteral("position"), percent, 0, MaxPercent);
    return problem.isEmpty() ? setIntermediate(KVRMotor::IP_PERCENT, index, percent) : refuse(problem);
}

BusPendingCall VOXNetworkMotor::setIntermediateHere(int index)
{
    return setIntermediate(KVRMotor::IP_CURRENT, index, 0);
}

BusPendingCall VOXNetworkMotor::clearIntermediate(int index)
{
    return setIntermediate(KVRMotor::IP_DELETE, index, 0);
}

BusPendingCall VOXNetworkMotor::setIntermediate(KVRMotor::IPFunction function, int index, int value)
{
    const QString problem =
        problemOf(QStringLiteral("number of an intermediate position"), index, 1, MaxIntermediates);
    if (!problem.isEmpty())
        return refuse(problem);
    if (isLegacy())
        return refuse(legacyProblem(state()));
    return KVRMotorProxy(address(), userLane())
        .setMotorIP(function, static_cast<quint8>(index), static_cast<quint16>(value));
}

// As properties

QVariant VOXNetworkMotor::percentValue() const
{
    return toVariant(percent());
}

QVariant VOXNetworkMotor::estimatedPercentValue() const
{
    return toVariant(estimatedPercent());
}

QVariant VOXNetworkMotor::targetPercentValue() const
{
    return toVariant(targetPercent());
}

QVariant VOXNetworkMotor::pulsesValue() const
{
    return toVariant(pulses());
}

QVariant VOXNetworkMotor::tiltValue() const
{
    return toVariant(tilt());
}

QVariant VOXNetworkMotor::intermediateValue() const
{
    return toVariant(intermediate());
}

QVariant VOXNetworkMotor::stateValue() const
{
    return toVariant(motorState());
}

QVariant VOXNetworkMotor::directionValue() const
{
    return toVariant(direction());
}

QVariant VOXNetworkMotor::lockedValue() const
{
    return isLocked() ? QVariant(*isLocked()) : QVariant();
}

QVariant VOXNetworkMotor::upLimitValue() const
{
    return toVariant(upLimit());
}

QVariant VOXNetworkMotor::downLimitValue() const
{
    return toVariant(downLimit());
}
