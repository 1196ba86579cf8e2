#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

namespace {
constexpr unsigned char FullDuration = 255;
/// Durations are counted in units of 10 ms, speeds in revolutions per minute.
constexpr unsigned int DurationsPerMinute = 6000;
constexpr unsigned int MinJog = 10;
constexpr unsigned int MaxJog = 1000;
constexpr unsigned int Percent = 100;

bool isJog(unsigned int value)
{
    return value >= MinJog && value <= MaxJog;
}
}

unsigned int KVRMotorDevice::pulsesIn(unsigned int duration, unsigned char speed) const
{
    return static_cast<unsigned int>(quint64{duration} * pulsesPerRound() * speed / DurationsPerMinute);
}

unsigned short KVRMotorDevice::nearestLimit()
{
    const int position = positionPulses();
    return std::abs(downLimit() - position) < std::abs(upLimit() - position) ? downLimit() : upLimit();
}

VOXReply KVRMotorDevice::go(const VOXMessage &request, unsigned short target, unsigned char speed)
{
    goToPosition(target, KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_NETWORK, speed);
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::goAndTilt(const VOXMessage &request, unsigned short target, unsigned char tilt)
{
    const TellLater untilDone(*this);
    if (m_tilts && m_appMode != KVRMotor::ROLLER && tilt != None)
        setAngle(tilt);
    return go(request, target);
}

VOXReply KVRMotorDevice::handleMove(const VOXMessage &request, quint8 function, quint8 duration,
                                    quint8 selector)
{
    if (selector > KVRMotor::SPEED_SLOW)
        return nack(request, KVR::NACK_BADMSG);
    const unsigned char speeds[] = {upSpeed(), downSpeed(), slowSpeed()};
    const unsigned char speed = speeds[selector];
    const unsigned int distance = pulsesIn(duration == 0 ? FullDuration : duration, speed);
    // The target is not held at the limits: a way up past pulse 0 wraps to a high target, as it does in the
    // drive.
    switch (function) {
    case KVRMotor::MOVE_DOWN:
        return go(request, static_cast<unsigned short>(positionPulses() + distance), speed);
    case KVRMotor::MOVE_UP:
        return go(request, static_cast<unsigned short>(positionPulses() - distance), speed);
    case KVRMotor::MOVE_TO_NEAREST_LIMIT:
        return go(request, nearestLimit(), speed);
    default:
        return nack(request, KVR::NACK_BADMSG);
    }
}

VOXReply KVRMotorDevice::handleStop(const VOXMessage &request)
{
    stopMoving();
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::handleMoveTo(const VOXMessage &request, quint8 function, quint16 value, quint8 tilt)
{
    switch (function) {
    case KVRMotor::MOVETO_DOWN_LIMIT:
        return goAndTilt(request, downLimit(), tilt);
    case KVRMotor::MOVETO_UP_LIMIT:
        return goAndTilt(request, upLimit(), tilt);
    case KVRMotor::MOVETO_IP: {
        const unsigned short target = motorIP(static_cast<unsigned char>(value));
        return target == UnsetPosition ? nack(request, KVR::NACK_IP_NOT_SET)
                                       : goAndTilt(request, target, tilt);
    }
    case KVRMotor::MOVETO_PULSES:
        return goAndTilt(request, value, tilt);
    case KVRMotor::MOVETO_PERCENT:
        return goAndTilt(request, static_cast<unsigned short>(downLimit() * unsigned{value} / Percent), tilt);
    default:
        return nack(request, KVR::NACK_BADMSG);
    }
}

VOXReply KVRMotorDevice::handleMoveOf(const VOXMessage &request, quint8 function, quint16 value)
{
    if (function > KVRMotor::MOVEOF_TILT_UP)
        return nack(request, KVR::NACK_BADMSG);
    // Each function comes as a pair, down first.
    const bool isUp = (function & 1) != 0;
    const KVRMotor::Direction direction = isUp ? KVRMotor::DIRECTION_UP : KVRMotor::DIRECTION_DOWN;
    switch (function & ~1) {
    case KVRMotor::MOVEOF_NEXT_IP_DOWN: {
        const unsigned char index = findNextMotorIP(positionPulses(), direction);
        return index == None ? nack(request, KVR::NACK_LAST_IP_REACHED) : go(request, motorIP(index));
    }
    case KVRMotor::MOVEOF_PULSES_DOWN:
        return jog(request, direction, value);
    case KVRMotor::MOVEOF_TIME_DOWN:
        // The time is measured at the slow speed, although the jog runs at the default one. The drive does
        // so, too.
        return isJog(value) ? jog(request, direction, pulsesIn(value, slowSpeed()))
                            : nack(request, KVR::NACK_BADMSG);
    default:
        return m_appMode == KVRMotor::ROLLER ? nack(request, KVR::NACK_FEATURE_NOT_SUPPORTED)
                                             : acknowledgement(request);
    }
}

VOXReply KVRMotorDevice::jog(const VOXMessage &request, KVRMotor::Direction direction, unsigned int pulses)
{
    if (!isJog(pulses))
        return nack(request, KVR::NACK_BADMSG);
    const bool isUp = direction == KVRMotor::DIRECTION_UP;
    const unsigned int position = positionPulses();
    const bool fits = isUp ? pulses <= position : position + pulses <= downLimit();
    if (fits)
        return go(request, static_cast<unsigned short>(isUp ? position - pulses : position + pulses));
    goToPosition(isUp ? 0 : downLimit(), KVRMotor::SOURCE_INTERNAL, KVRMotor::CAUSE_NETWORK, slowSpeed());
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::handleWink(const VOXMessage &request)
{
    // Only the next command or arrival ends a wink.
    setStatus(KVRMotor::STATE_RUNNING, KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_WINK,
              KVRMotor::DIRECTION_NONE);
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::getMotorPositionReply(const VOXMessage &request)
{
    // The position is read once, and the rest is derived from it: it may change with each look.
    const unsigned short pulses = positionPulses();
    const bool isAtRest = pulses == startPos();
    const unsigned char tilt = isAtRest && m_appMode != KVRMotor::ROLLER ? m_angle : None;
    if (!isLimit())
        return answer<KVR::POST_MOTOR_POSITION>(*this, request, UnsetPosition, None, tilt, None);
    return answer<KVR::POST_MOTOR_POSITION>(*this, request, pulses, toPct(pulses), tilt, findMotorIP(pulses));
}

VOXReply KVRMotorDevice::getMotorStatusReply(const VOXMessage &request)
{
    return answer<KVR::POST_MOTOR_STATUS>(*this, request, m_status.state, m_status.direction, m_status.source,
                                          m_status.cause);
}
