#include "devices/hrmv2compat.h"

#include "devices/kvrmotordevice.h"
#include "devices/voxanswer_p.h"
#include "messages/hrmv2.h"

#include <algorithm>
#include <iterator>

using namespace VOXAnswer;

namespace {
constexpr unsigned int FullTravel = 255;

enum PositionFunction { ToUpLimit = 1, ToDownLimit = 2, Stop = 3, ToIP = 4, ToPulses = 8, ToFraction = 16 };

constexpr int NoFunction = -1;

template <typename... Fields>
VOXReply reply(const KVRMotorDevice &motor, const VOXMessage &request, HRMv2::Cmd cmd,
               const Fields &...fields)
{
    return filled(VOXReply(motor, request, HRMv2::findCmd(cmd)), fields...);
}
}

HRMv2Compat::HRMv2Compat(KVRMotorDevice &motor)
    : m_motor(motor)
{
}

bool HRMv2Compat::dispatch(const VOXMessage &request)
{
    struct Handler
    {
        int cmd;
        VOXReply (HRMv2Compat::*reply)(const VOXMessage &request);
    };
    static const Handler handlers[] = {
        {HRMv2::GET_MOTOR_SETTINGS, &HRMv2Compat::getMotorSettings},
        {HRMv2::GET_MOTOR_IP, &HRMv2Compat::getMotorIP},
        {HRMv2::GET_LOCK_STATUS, &HRMv2Compat::getLockStatus},
        {HRMv2::SET_IP, &HRMv2Compat::setMotorIP},
        {HRMv2::SET_MOTOR_POSITION, &HRMv2Compat::setMotorPosition},
        {HRMv2::SET_LOCK_STATUS, &HRMv2Compat::setLockStatus},
    };
    const auto *const found = std::find_if(std::begin(handlers), std::end(handlers),
                                           [&](const Handler &h) { return h.cmd == request.cmd(); });
    if (found == std::end(handlers))
        return false;
    const KVRMotorDevice::TellLater untilAnswered(m_motor);
    m_motor.replyTo(request, (this->*found->reply)(request));
    return true;
}

VOXReply HRMv2Compat::getMotorSettings(const VOXMessage &request)
{
    const bool isReversed = m_motor.motorDirection() != KVRMotor::TURN_NORMAL;
    return reply(m_motor, request, HRMv2::POST_MOTOR_SETTINGS, isReversed, m_motor.downLimit());
}

VOXReply HRMv2Compat::getMotorIP(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, KVRMotorDevice::AnyState))
        return m_motor.nack(request, refused);
    unsigned char index = 0;
    if (!read(request, index) || index >= m_motor.motorIPCount())
        return m_motor.nack(request, KVR::NACK_BADMSG);
    return reply(m_motor, request, HRMv2::POST_MOTOR_IP, index,
                 m_motor.motorIP(static_cast<unsigned char>(index + 1)));
}

VOXReply HRMv2Compat::getLockStatus(const VOXMessage &request)
{
    return reply(m_motor, request, HRMv2::POST_LOCK_STATUS, m_motor.m_networkLock.isLocked());
}

VOXReply HRMv2Compat::setMotorIP(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, KVRMotorDevice::LimitsSet))
        return m_motor.nack(request, refused);
    unsigned char index = 0;
    unsigned short position = 0;
    if (!read(request, index, position) || index >= m_motor.motorIPCount())
        return m_motor.nack(request, KVR::NACK_BADMSG);
    m_motor.setMotorIP(static_cast<unsigned char>(index + 1), position);
    return m_motor.acknowledgement(request);
}

VOXReply HRMv2Compat::setMotorPosition(const VOXMessage &request)
{
    if (const KVR::NackStatus refused =
            refusal(request, KVRMotorDevice::LimitsSet | KVRMotorDevice::NotLocked))
        return m_motor.nack(request, refused);
    unsigned char function = 0;
    unsigned short value = 0;
    if (!read(request, function, value))
        return m_motor.nack(request, KVR::NACK_BADMSG);
    switch (function) {
    case ToUpLimit:
        return m_motor.go(request, m_motor.upLimit());
    case ToDownLimit:
        return m_motor.go(request, m_motor.downLimit());
    case Stop:
        m_motor.stopMoving();
        return m_motor.acknowledgement(request);
    case ToIP: {
        // Not cut to a byte first: 256 is no position, and 65535 none before the first.
        const bool isSlot = value < m_motor.motorIPCount();
        const unsigned short target =
            isSlot ? m_motor.motorIP(static_cast<unsigned char>(value + 1)) : KVRMotorDevice::UnsetPosition;
        return target == KVRMotorDevice::UnsetPosition ? m_motor.nack(request, KVR::NACK_IP_NOT_SET)
                                                       : m_motor.go(request, target);
    }
    case ToPulses:
        return m_motor.go(request, value);
    case ToFraction:
        return m_motor.go(request,
                          static_cast<unsigned short>(m_motor.downLimit() * unsigned{value} / FullTravel));
    default:
        return m_motor.nack(request, KVR::NACK_BADMSG);
    }
}

VOXReply HRMv2Compat::setLockStatus(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, KVRMotorDevice::LimitsSet))
        return m_motor.nack(request, refused);
    unsigned char function = 0;
    unsigned char index = 0;
    unsigned char priority = 0;
    if (!read(request, function, index, priority))
        return m_motor.nack(request, KVR::NACK_BADMSG);
    // The functions are the motor's own, without three of them. The index counts from 1 here, unlike
    // elsewhere.
    const bool isKnown = function <= KVRMotor::LOCK_RELEASE && function != KVRMotor::LOCK_AFTER_MOVE;
    return m_motor.changeNetworkLock(request, isKnown ? function : NoFunction, index, priority);
}

KVR::NackStatus HRMv2Compat::refusal(const VOXMessage &request, int checks)
{
    return m_motor.refusal(request, HRMv2::findCmd(request.cmd()).size(), checks);
}
