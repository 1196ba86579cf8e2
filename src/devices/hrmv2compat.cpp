#include "devices/hrmv2compat.h"

#include "devices/kvrmotordevice.h"
#include "devices/voxanswer_p.h"
#include "messages/hrmv2schema_p.h"

using namespace VOXAnswer;

namespace {
constexpr unsigned int FullTravel = 255;

/// A function that no motor knows.
constexpr quint8 NoFunction = 255;
}

HRMv2Compat::HRMv2Compat(KVRMotorDevice &motor)
    : m_motor(motor)
{
}

HRMv2Compat::Handler HRMv2Compat::findHandler(unsigned char cmd)
{
    using L = HRMv2Compat;
    using M = KVRMotorDevice;
    static constexpr Table handlers({
        on<HRMv2::GET_MOTOR_SETTINGS, &L::getMotorSettings, AnyLength>,
        on<HRMv2::GET_MOTOR_IP, &L::motorIPReply>,
        on<HRMv2::GET_LOCK_STATUS, &L::getLockStatus, AnyLength>,
        on<HRMv2::SET_IP, &L::handleMotorIP, M::LimitsSet>,
        on<HRMv2::SET_MOTOR_POSITION, &L::handlePosition, M::LimitsSet | M::NotLocked>,
        on<HRMv2::SET_LOCK_STATUS, &L::handleLock, M::LimitsSet>,
    });
    return handlers.find(cmd);
}

VOXReply HRMv2Compat::handle(int cmd, const VOXMessage &request)
{
    return findHandler(static_cast<unsigned char>(cmd))(*this, request);
}

bool HRMv2Compat::dispatch(const VOXMessage &request)
{
    const Handler handler = findHandler(request.cmd());
    if (handler)
        m_motor.serve([&] { return m_motor.wanted(request, handler(*this, request)); });
    return handler != nullptr;
}

bool HRMv2Compat::answerTo(const VOXMessage &request, VOXReply *answer)
{
    const Handler handler = findHandler(request.cmd());
    if (handler)
        *answer = handler(*this, request);
    return handler != nullptr;
}

VOXReply HRMv2Compat::getMotorSettings(const VOXMessage &request)
{
    const bool isReversed = m_motor.motorDirection() != KVRMotor::TURN_NORMAL;
    return answer<HRMv2::POST_MOTOR_SETTINGS>(m_motor, request, isReversed, m_motor.downLimit());
}

VOXReply HRMv2Compat::motorIPReply(const VOXMessage &request, quint8 index)
{
    if (index >= m_motor.motorIPCount())
        return m_motor.nack(request, KVR::NACK_BADMSG);
    return answer<HRMv2::POST_MOTOR_IP>(m_motor, request, index,
                                        m_motor.motorIP(static_cast<unsigned char>(index + 1)));
}

VOXReply HRMv2Compat::getLockStatus(const VOXMessage &request)
{
    return answer<HRMv2::POST_LOCK_STATUS>(m_motor, request, quint8(m_motor.m_networkLock.isLocked()));
}

VOXReply HRMv2Compat::handleMotorIP(const VOXMessage &request, quint8 index, quint16 position)
{
    if (index >= m_motor.motorIPCount())
        return m_motor.nack(request, KVR::NACK_BADMSG);
    m_motor.setMotorIP(static_cast<unsigned char>(index + 1), position);
    return m_motor.acknowledgement(request);
}

VOXReply HRMv2Compat::handlePosition(const VOXMessage &request, quint8 function, quint16 value)
{
    switch (function) {
    case HRMv2::POSITION_UP_LIMIT:
        return m_motor.go(request, m_motor.upLimit());
    case HRMv2::POSITION_DOWN_LIMIT:
        return m_motor.go(request, m_motor.downLimit());
    case HRMv2::POSITION_STOP:
        m_motor.stopMoving();
        return m_motor.acknowledgement(request);
    case HRMv2::POSITION_IP: {
        // The value is not cut to a byte first: 256 is no position, and 65535 is not the one before the
        // first.
        const bool isSlot = value < m_motor.motorIPCount();
        const unsigned short target =
            isSlot ? m_motor.motorIP(static_cast<unsigned char>(value + 1)) : KVRMotorDevice::UnsetPosition;
        return target == KVRMotorDevice::UnsetPosition ? m_motor.nack(request, KVR::NACK_IP_NOT_SET)
                                                       : m_motor.go(request, target);
    }
    case HRMv2::POSITION_PULSES:
        return m_motor.go(request, value);
    case HRMv2::POSITION_FRACTION:
        return m_motor.go(request,
                          static_cast<unsigned short>(m_motor.downLimit() * unsigned{value} / FullTravel));
    default:
        return m_motor.nack(request, KVR::NACK_BADMSG);
    }
}

VOXReply HRMv2Compat::handleLock(const VOXMessage &request, quint8 function, quint8 index, quint8 priority)
{
    // The functions are the motor's own, without three of them. The index counts from 1 here, unlike
    // elsewhere.
    const bool isKnown = function <= KVRMotor::LOCK_RELEASE && function != KVRMotor::LOCK_AFTER_MOVE;
    return m_motor.changeNetworkLock(request, isKnown ? function : NoFunction, index, priority);
}
