#include "devices/kvrmotordevice.h"

#include "devices/voxanswer_p.h"

#include <algorithm>

using namespace VOXAnswer;

namespace {
constexpr unsigned int MaxPercent = 100;
}

VOXReply KVRMotorDevice::handleAppMode(const VOXMessage &request, quint8 mode)
{
    return setAppMode(static_cast<KVRMotor::AppMode>(mode)) ? acknowledgement(request)
                                                            : nack(request, KVR::NACK_FEATURE_NOT_SUPPORTED);
}

bool KVRMotorDevice::setAppMode(KVRMotor::AppMode mode)
{
    if (!m_appModes.contains(mode))
        return false;
    m_appMode = mode;
    return true;
}

VOXReply KVRMotorDevice::getAppModeReply(const VOXMessage &request)
{
    return answer<KVR::POST_APP_MODE>(*this, request, m_appMode);
}

VOXReply KVRMotorDevice::handleDirection(const VOXMessage &request, quint8 direction)
{
    setMotorDirection(static_cast<KVRMotor::TurnDirection>(direction));
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::getMotorDirectionReply(const VOXMessage &request)
{
    return answer<KVR::POST_MOTOR_DIRECTION>(*this, request, m_turnDirection);
}

void KVRMotorDevice::setMotorDirection(KVRMotor::TurnDirection direction)
{
    const bool isKnown = direction == KVRMotor::TURN_NORMAL || direction == KVRMotor::TURN_REVERSED;
    m_position.stopMoving();
    unsigned short position = m_position.startPos();
    if (isKnown && direction != m_turnDirection) {
        m_turnDirection = direction;
        position = static_cast<unsigned short>(downLimit() - position);
        m_position.restAt(position);
    }
    m_position.setTargetPosition(position);
}

VOXReply KVRMotorDevice::handleRollingSpeeds(const VOXMessage &request, quint8 up, quint8 down, quint8 slow)
{
    return setRollingSpeeds(up, down, slow) ? acknowledgement(request) : nack(request, KVR::NACK_BADMSG);
}

bool KVRMotorDevice::setRollingSpeeds(unsigned char up, unsigned char down, unsigned char slow)
{
    if (!hasSpeeds(up, down, slow))
        return false;
    m_upSpeed.setValue(up);
    m_downSpeed.setValue(down);
    m_slowSpeed.setValue(slow);
    return true;
}

bool KVRMotorDevice::hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const
{
    return m_upSpeed.contains(up) && m_downSpeed.contains(down) && m_slowSpeed.contains(slow);
}

VOXReply KVRMotorDevice::getMotorRollingSpeedReply(const VOXMessage &request)
{
    return answer<KVR::POST_MOTOR_ROLLING_SPEED>(*this, request, upSpeed(), downSpeed(), slowSpeed());
}

VOXReply KVRMotorDevice::handleMotorIP(const VOXMessage &request, quint8 function, quint8 index,
                                       quint16 value)
{
    if (function > KVRMotor::IP_PERCENT || index == 0 || index > motorIPCount())
        return nack(request, KVR::NACK_BADMSG);
    unsigned int position = UnsetPosition;
    switch (function) {
    case KVRMotor::IP_CURRENT:
        position = positionPulses();
        if (position > downLimit())
            return nack(request, KVR::NACK_CURRENT_POSITION_OUT_OF_RANGE);
        break;
    case KVRMotor::IP_PULSES:
        position = value;
        break;
    case KVRMotor::IP_PERCENT:
        position = value > MaxPercent ? UnsetPosition : toPulses(static_cast<unsigned char>(value));
        break;
    default:
        break;
    }
    if (function != KVRMotor::IP_DELETE && position > downLimit())
        return nack(request, KVR::NACK_WRONG_POSITION);
    setMotorIP(index, static_cast<unsigned short>(position));
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::motorIPReply(const VOXMessage &request, quint8 index)
{
    if (index == 0 || index > motorIPCount())
        return nack(request, KVR::NACK_BADMSG);
    const unsigned short position = motorIP(index);
    return answer<KVR::POST_MOTOR_IP>(*this, request, index, position,
                                      position == UnsetPosition ? None : toPct(position));
}

VOXReply KVRMotorDevice::tiltReply(const VOXMessage &request)
{
    return nack(request, KVR::NACK_FEATURE_NOT_SUPPORTED);
}

QVector<KVRMotorDevice::FactorySetting> KVRMotorDevice::factorySettings()
{
    const auto areLocksDefault = [this] { return isDefaultLocks(); };
    const auto openLocks = [this] {
        resetLocks();
        if (m_status.state == KVRMotor::STATE_LOCKED)
            setStatus(KVRMotor::STATE_STOPPED, KVRMotor::SOURCE_NETWORK, KVRMotor::CAUSE_NETWORK,
                      m_status.direction);
    };
    return {
        {KVRMotor::FACTORY_APP_MODE, [this] { return m_appMode == defaultAppMode(); },
         [this] { m_appMode = defaultAppMode(); }},
        // The direction comes before the limits, about which it mirrors the position.
        {KVRMotor::FACTORY_MOTOR_DIRECTION, [this] { return m_turnDirection == KVRMotor::TURN_NORMAL; },
         [this] {
             // This stops the motor and reports an arrival, whether it changes something or not.
             if (m_turnDirection != KVRMotor::TURN_NORMAL)
                 setMotorDirection(KVRMotor::TURN_NORMAL);
         }},
        {KVRMotor::FACTORY_MOTOR_LIMITS, [this] { return m_downLimit.isDefault() && m_upLimit.isDefault(); },
         [this] {
             m_downLimit.reset();
             m_upLimit.reset();
         }},
        {KVRMotor::FACTORY_MOTOR_ROLLING_SPEED,
         [this] { return m_upSpeed.isDefault() && m_downSpeed.isDefault() && m_slowSpeed.isDefault(); },
         [this] {
             m_upSpeed.reset();
             m_downSpeed.reset();
             m_slowSpeed.reset();
         }},
        {KVRMotor::FACTORY_MOTOR_IP,
         [this] { return m_intermediatePositions.count(UnsetPosition) == m_intermediatePositions.size(); },
         [this] { m_intermediatePositions.fill(UnsetPosition); }},
        {KVRMotor::FACTORY_NETWORK_LOCK, areLocksDefault, openLocks},
        {KVRMotor::FACTORY_DCT_LOCK, areLocksDefault, openLocks},
    };
}

KVR::NackStatus KVRMotorDevice::findFactorySettings(int function, QVector<FactorySetting> *found)
{
    const QVector<FactorySetting> settings = factorySettings();
    for (const FactorySetting &setting : settings) {
        if (function == KVRMotor::FACTORY_ALL || function == setting.id)
            found->append(setting);
    }
    if (!found->isEmpty())
        return KVR::NACK_ACK;
    const auto known = QMetaEnum::fromType<KVRMotor::FactoryDefFunction>();
    return known.valueToKey(function) ? static_cast<KVR::NackStatus>(KVR::NACK_FEATURE_NOT_SUPPORTED)
                                      : KVR::NACK_BADMSG;
}

VOXReply KVRMotorDevice::handleFactoryDefault(const VOXMessage &request, quint8 function)
{
    QVector<FactorySetting> settings;
    if (const KVR::NackStatus refused = findFactorySettings(function, &settings))
        return nack(request, refused);
    const TellLater untilDone(*this);
    for (const FactorySetting &setting : qAsConst(settings))
        setting.reset();
    return acknowledgement(request);
}

VOXReply KVRMotorDevice::factoryDefaultReply(const VOXMessage &request, quint8 function)
{
    QVector<FactorySetting> settings;
    if (const KVR::NackStatus refused = findFactorySettings(function, &settings))
        return nack(request, refused);
    const bool isDefault = std::all_of(settings.cbegin(), settings.cend(),
                                       [](const FactorySetting &one) { return one.isDefault(); });
    return answer<KVR::POST_FACTORY_DEFAULT>(*this, request,
                                             static_cast<KVRMotor::FactoryDefFunction>(function), isDefault);
}
