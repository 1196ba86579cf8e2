#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

namespace {
constexpr int MinShift = 10;
constexpr int MaxShift = 1000;

bool isShift(int function)
{
    return function == KVRMotor::LIMIT_SHIFT_DOWN || function == KVRMotor::LIMIT_SHIFT_UP;
}

/// Down is toward higher pulse counts.
int shiftOf(int function, int value)
{
    return function == KVRMotor::LIMIT_SHIFT_DOWN ? value : -value;
}

KVR::NackStatus refused(KVR::MotorNackStatus status)
{
    return static_cast<KVR::NackStatus>(status);
}
}

bool KVRMotorDevice::setLimits(unsigned short up, unsigned short down)
{
    const auto isTaken = [](const ConfigValues<unsigned short> &limit, unsigned short value) {
        return value == UnsetPosition || limit.contains(value);
    };
    if (!isTaken(m_upLimit, up) || !isTaken(m_downLimit, down))
        return false;
    // An unset limit is stored as the default, which is out of range.
    m_upLimit.setValue(up);
    m_downLimit.setValue(down);
    return true;
}

VOXReply KVRMotorDevice::handleLimits(const VOXMessage &request, quint8 function, quint8 limit, quint16 value)
{
    if (limit > KVRMotor::LIMIT_UP)
        return nack(request, KVR::NACK_BADMSG);
    if (isShift(function) && (value < MinShift || value > MaxShift))
        return nack(request, KVR::NACK_BADMSG);
    const bool isUp = limit == KVRMotor::LIMIT_UP;
    if (isShift(function) && !(isUp ? isUpLimit() : isDownLimit()))
        return nack(request, KVR::NACK_END_LIMITS_NOT_SET);
    const KVR::NackStatus status = isUp ? changeUpLimit(function, value) : changeDownLimit(function, value);
    return status == KVR::NACK_ACK ? acknowledgement(request) : nack(request, status);
}

KVR::NackStatus KVRMotorDevice::changeDownLimit(int function, int value)
{
    switch (function) {
    case KVRMotor::LIMIT_DELETE:
        m_downLimit.reset();
        return KVR::NACK_ACK;
    case KVRMotor::LIMIT_CURRENT:
        return storeDownLimit(positionPulses(), KVR::NACK_CURRENT_POSITION_OUT_OF_RANGE);
    case KVRMotor::LIMIT_PULSES:
        return storeDownLimit(value, KVR::NACK_WRONG_POSITION);
    case KVRMotor::LIMIT_SHIFT_DOWN:
    case KVRMotor::LIMIT_SHIFT_UP:
        return storeDownLimit(downLimit() + shiftOf(function, value), KVR::NACK_WRONG_POSITION);
    default:
        return KVR::NACK_BADMSG;
    }
}

KVR::NackStatus KVRMotorDevice::storeDownLimit(int value, KVR::MotorNackStatus outside)
{
    if (!m_downLimit.contains(value))
        return refused(outside);
    m_downLimit.setValue(static_cast<unsigned short>(value));
    return KVR::NACK_ACK;
}

// The up limit is pulse 0 by definition: setting it elsewhere moves the origin of all positions there.
KVR::NackStatus KVRMotorDevice::changeUpLimit(int function, int value)
{
    switch (function) {
    case KVRMotor::LIMIT_DELETE:
        m_upLimit.reset();
        return KVR::NACK_ACK;
    case KVRMotor::LIMIT_CURRENT:
        return moveOrigin(positionPulses(), KVR::NACK_CURRENT_POSITION_OUT_OF_RANGE);
    case KVRMotor::LIMIT_PULSES:
        if (!m_upLimit.contains(value))
            return refused(KVR::NACK_WRONG_POSITION);
        m_upLimit.setValue(0);
        return KVR::NACK_ACK;
    case KVRMotor::LIMIT_SHIFT_DOWN:
    case KVRMotor::LIMIT_SHIFT_UP:
        return moveOrigin(shiftOf(function, value), KVR::NACK_WRONG_POSITION);
    default:
        return KVR::NACK_BADMSG;
    }
}

KVR::NackStatus KVRMotorDevice::moveOrigin(int pulses, KVR::MotorNackStatus outside)
{
    if (isDownLimit()) {
        const KVR::NackStatus status = storeDownLimit(downLimit() - pulses, outside);
        if (status != KVR::NACK_ACK)
            return status;
    }
    m_upLimit.setValue(0);
    const bool wasAtRest = startPos() == targetPos();
    m_position.shift(-pulses);
    for (unsigned short &position : m_intermediatePositions) {
        const int moved = position - pulses;
        if (position != UnsetPosition)
            position =
                moved < 0 || moved > UnsetPosition ? UnsetPosition : static_cast<unsigned short>(moved);
    }
    // The target of a move that has only begun may have been cut off at the end of the scale, so that no way
    // is left.
    if (!wasAtRest && startPos() == targetPos())
        motorPositionReached();
    return KVR::NACK_ACK;
}

VOXReply KVRMotorDevice::getMotorLimitsReply(const VOXMessage &request)
{
    return answer<KVR::POST_MOTOR_LIMITS>(*this, request, upLimit(), downLimit());
}
