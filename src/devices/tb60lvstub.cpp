#include "devices/tb60lvstub.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

const ProductStub::DataSheet &TB60LVStub::dataSheet()
{
    static const DataSheet sheet = [] {
        DataSheet filled;
        filled.type = VOX::NODETYPE_TB60LV;
        filled.pulsesPerRound = 1686;
        // The least, the most, and the value as delivered.
        filled.ranges.rollingSpeed = {10, 25, 25};
        filled.ranges.slowSpeed = {10, 25, 15};
        filled.ranges.downLimit = {1686, 64767, UnsetPosition};
        filled.ranges.intermediatePositions = 16;
        filled.ranges.dctLocks = 1;
        filled.ranges.appModes = {KVRMotor::ROLLER};
        filled.missingCommands = {
            KVR::SET_MOTOR_TILTING_SPEED, KVR::SET_TILT_LIMITS,         KVR::GET_MOTOR_TILTING_SPEED,
            KVR::GET_TILT_LIMITS,         KVR::DIAG_GET_ENCODER_ERRORS,
        };
        return filled;
    }();
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

bool TB60LVStub::answerOwn(const VOXMessage &request, VOXReply *answer)
{
    static constexpr Table handlers({
        on<KVR::SET_MOTOR_SOFT_START_STOP, &TB60LVStub::handleSoftStartStop>,
        on<KVR::GET_MOTOR_SOFT_START_STOP, &TB60LVStub::softStartStopReply, AnyLength>,
        on<KVR::SET_TORQUE_LIMITATION, &TB60LVStub::handleTorqueLimitation>,
        on<KVR::GET_TORQUE_LIMITATION, &TB60LVStub::torqueLimitationReply, AnyLength>,
    });
    return handlers.answer(*this, request, answer);
}

VOXReply TB60LVStub::softStartStopReply(const VOXMessage &request) const
{
    return answer<KVR::POST_MOTOR_SOFT_START_STOP>(*this, request, m_softStart.isOn, m_softStart.value,
                                                   m_softStop.isOn, m_softStop.value);
}

VOXReply TB60LVStub::torqueLimitationReply(const VOXMessage &request) const
{
    return answer<KVR::POST_TORQUE_LIMITATION>(*this, request, m_torque.mode, m_torque.value);
}

VOXReply TB60LVStub::handleSoftStartStop(const VOXMessage &request, quint8 target, quint8 kind, quint8 value)
{
    if (target > KVRMotor::SOFT_STOP || kind > KVRMotor::RAMP_VALUE)
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

VOXReply TB60LVStub::handleTorqueLimitation(const VOXMessage &request, quint8 function, quint8 value)
{
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
