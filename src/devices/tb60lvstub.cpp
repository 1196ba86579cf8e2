#include "devices/tb60lvstub.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

namespace {
// The table's length is not the one that the motor answers with.
constexpr unsigned char TorqueReplyLength = 13;
}

const ProductStub::DataSheet &TB60LVStub::dataSheet()
{
    static const DataSheet sheet = {
        VOX::NODETYPE_TB60LV,
        1686, // pulses per revolution
        {
            {10, 25, 25}, // rolling speeds: least, most, as delivered
            {10, 25, 15}, // slow speed
            {1686, 64767, UnsetPosition}, // down limit
            16, // intermediate positions
            1, // locks of local inputs
            {KVRMotor::ROLLER}, // app modes
        },
        {
            KVR::SET_MOTOR_TILTING_SPEED,
            KVR::SET_TILT_LIMITS,
            KVR::GET_MOTOR_TILTING_SPEED,
            KVR::GET_TILT_LIMITS,
            KVR::DIAG_GET_ENCODER_ERRORS,
        },
    };
    return sheet;
}

TB60LVStub::TB60LVStub(unsigned int addr, VOXBus *bus, QObject *parent)
    : ProductStub(dataSheet(), addr, bus, parent)
{
}

bool TB60LVStub::setTorque(unsigned char mode, unsigned char value, unsigned char parameter)
{
    if (mode > 1 || value > 1)
        return false;
    m_torque = {mode, value, parameter};
    return true;
}

bool TB60LVStub::answerOwn(const VOXMessage &request, VOXReply *reply)
{
    switch (request.cmd()) {
    case KVR::SET_MOTOR_SOFT_START_STOP:
        *reply = setSoftStartStopReply(request);
        return true;
    case KVR::GET_MOTOR_SOFT_START_STOP:
        *reply = answer(*this, request, KVR::POST_MOTOR_SOFT_START_STOP, m_softStart.isOn, m_softStart.value,
                        m_softStop.isOn, m_softStop.value);
        return true;
    case KVR::SET_TORQUE_LIMITATION:
        *reply = setTorqueLimitationReply(request);
        return true;
    case KVR::GET_TORQUE_LIMITATION:
        *reply = answerOf(*this, request, KVR::POST_TORQUE_LIMITATION, TorqueReplyLength, m_torque.mode,
                          m_torque.value);
        return true;
    default:
        return false;
    }
}

VOXReply TB60LVStub::setSoftStartStopReply(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, AnyState))
        return nack(request, refused);
    unsigned char target = 0;
    unsigned char kind = 0;
    unsigned char value = 0;
    if (!read(request, target, kind, value) || target > KVRMotor::SOFT_STOP || kind > KVRMotor::RAMP_VALUE)
        return nack(request, KVR::NACK_BADMSG);
    const auto change = [&](Ramp &ramp) {
        if (kind == KVRMotor::RAMP_VALUE)
            ramp.value = value;
        else
            ramp.isOn = kind == KVRMotor::RAMP_ON;
    };
    if (target != KVRMotor::SOFT_STOP)
        change(m_softStart);
    if (target != KVRMotor::SOFT_START)
        change(m_softStop);
    return acknowledgement(request);
}

VOXReply TB60LVStub::setTorqueLimitationReply(const VOXMessage &request)
{
    if (const KVR::NackStatus refused = refusal(request, AnyState))
        return nack(request, refused);
    unsigned char function = 0;
    unsigned char value = 0;
    if (!read(request, function, value))
        return nack(request, KVR::NACK_BADMSG);
    switch (function) {
    case KVRMotor::TORQUE_ON:
    case KVRMotor::TORQUE_OFF:
        m_torque.mode = function == KVRMotor::TORQUE_ON ? 1 : 0;
        return acknowledgement(request);
    case KVRMotor::TORQUE_LEVEL:
        if (value > 1)
            return nack(request, KVR::NACK_BADMSG);
        m_torque.value = value;
        return acknowledgement(request);
    case KVRMotor::TORQUE_PARAMETER:
        m_torque.parameter = value;
        return acknowledgement(request);
    default:
        return nack(request, KVR::NACK_BADMSG);
    }
}

QVector<KVRMotorDevice::FactorySetting> TB60LVStub::factorySettings()
{
    return ProductStub::factorySettings()
        << FactorySetting{KVRMotor::FACTORY_MOTOR_SOFT_START_STOP,
                          [this] { return m_softStart == Ramp() && m_softStop == Ramp(); },
                          [this] { m_softStart = m_softStop = Ramp(); }}
        << FactorySetting{KVRMotor::FACTORY_TORQUE_LIMITATION, [this] { return m_torque == Torque(); },
                          [this] { m_torque = Torque(); }};
}
