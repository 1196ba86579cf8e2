#include "network/move_p.h"

#include "network/nodestate_p.h"
#include "network/voxnetwork.h"
#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrbcastproxy.h"
#include "transport/voxbus.h"

namespace {
constexpr int WholeWay = 100;
/// How the older generation counts the whole way.
constexpr int LegacyWholeWay = 255;

QString outside(const QString &what, int value, int first, int last)
{
    return QStringLiteral("There is no %1 of %2: it is %3 to %4.").arg(what).arg(value).arg(first).arg(last);
}

/// Sends @p move by @p proxy, of a motor or of a group.
template <typename Proxy>
BusPendingCall sendBy(Proxy &proxy, const Move &move)
{
    const auto value = static_cast<quint16>(move.value);
    switch (move.kind) {
    case Move::To:
        return proxy.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, value);
    case Move::Up:
        return proxy.ctrlMoveTo(KVRMotor::MOVETO_UP_LIMIT, 0);
    case Move::Down:
        return proxy.ctrlMoveTo(KVRMotor::MOVETO_DOWN_LIMIT, 0);
    case Move::Intermediate:
        return proxy.ctrlMoveTo(KVRMotor::MOVETO_IP, value);
    case Move::JogUp:
        return proxy.ctrlMoveOf(KVRMotor::MOVEOF_PULSES_UP, value);
    case Move::JogDown:
        return proxy.ctrlMoveOf(KVRMotor::MOVEOF_PULSES_DOWN, value);
    case Move::Stop:
        break;
    }
    return proxy.ctrlStop();
}

BusPendingCall sendLegacy(HRMv2MotorProxy &proxy, const Move &move)
{
    switch (move.kind) {
    case Move::To:
        return proxy.setMotorPosition(HRMv2::POSITION_FRACTION,
                                      static_cast<quint16>(move.value * LegacyWholeWay / WholeWay));
    case Move::Up:
        return proxy.setMotorPosition(HRMv2::POSITION_UP_LIMIT, 0);
    case Move::Down:
        return proxy.setMotorPosition(HRMv2::POSITION_DOWN_LIMIT, 0);
    case Move::Intermediate:
        return proxy.setMotorPosition(HRMv2::POSITION_IP, static_cast<quint16>(move.value - 1));
    default:
        return proxy.setMotorPosition(HRMv2::POSITION_STOP, 0);
    }
}
}

QString Move::problem() const
{
    if (kind == To && (value < 0 || value > WholeWay))
        return outside(QStringLiteral("position"), value, 0, WholeWay);
    if (kind == Intermediate && (value < 1 || value > VOXNetworkMotor::MaxIntermediates))
        return outside(QStringLiteral("intermediate position"), value, 1, VOXNetworkMotor::MaxIntermediates);
    const bool isJog = kind == JogUp || kind == JogDown;
    if (isJog && (value < VOXNetworkMotor::MinJog || value > VOXNetworkMotor::MaxJog))
        return outside(QStringLiteral("jog"), value, VOXNetworkMotor::MinJog, VOXNetworkMotor::MaxJog);
    return {};
}

QString Move::problemFor(const NodeState &motor) const
{
    const bool isJog = kind == JogUp || kind == JogDown;
    if (isJog && motor.isLegacy)
        return QStringLiteral("%1 is of the older generation, which has no jogs; move it to a position.")
            .arg(motor.name());
    return problem();
}

std::optional<int> Move::target(const NodeState &motor) const
{
    switch (kind) {
    case To:
        return value;
    case Up:
        return 0;
    case Down:
        return WholeWay;
    case Intermediate:
        return motor.motor.intermediates.value(value - 1);
    default:
        return std::nullopt;
    }
}

QString Move::text() const
{
    switch (kind) {
    case To:
        return QStringLiteral("at %1 %").arg(value);
    case Up:
        return QStringLiteral("at its up limit");
    case Down:
        return QStringLiteral("at its down limit");
    case Intermediate:
        return QStringLiteral("at intermediate position %1").arg(value);
    case JogUp:
        return QStringLiteral("%1 pulses further up").arg(value);
    case JogDown:
        return QStringLiteral("%1 pulses further down").arg(value);
    case Stop:
        break;
    }
    return QStringLiteral("at rest");
}

BusPendingCall Move::send(const NodeState &motor, VOXBus *bus) const
{
    if (motor.isLegacy) {
        HRMv2MotorProxy proxy(motor.addr, bus);
        return sendLegacy(proxy, *this);
    }
    KVRMotorProxy proxy(motor.addr, bus);
    return sendBy(proxy, *this);
}

BusPendingCall Move::sendToGroup(VOX::Addr group, VOXBus *bus) const
{
    if (group == VOXNetwork::Everyone) {
        KVRBCastProxy proxy(bus);
        return sendBy(proxy, *this);
    }
    KVRGroupProxy proxy(group, bus);
    return sendBy(proxy, *this);
}
