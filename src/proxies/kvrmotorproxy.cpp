#include "proxies/kvrmotorproxy.h"

#include "proxies/voxrequest_p.h"

using namespace VOXRequest;

KVRMotorProxy::KVRMotorProxy(unsigned int addr, Bus *bus, QObject *parent)
    : KVRStdProxy(addr, bus, parent)
{
}

BusPendingCall KVRMotorProxy::ctrlMove(KVRMotor::MoveFunction dir, quint8 duration, KVRMotor::SpeedType speed)
{
    return request<KVR::CTRL_MOVE>(*this, Acknowledged, dir, duration, speed);
}

BusPendingCall KVRMotorProxy::ctrlStop(quint8 tilt)
{
    return request<KVR::CTRL_STOP>(*this, Acknowledged, tilt);
}

BusPendingCall KVRMotorProxy::ctrlMoveTo(KVRMotor::MoveToFunction fun, quint16 position, quint8 tilt)
{
    return request<KVR::CTRL_MOVETO>(*this, Acknowledged, fun, position, tilt);
}

BusPendingCall KVRMotorProxy::ctrlMoveOf(KVRMotor::MoveOfFunction fun, quint16 value, quint8 tilt)
{
    return request<KVR::CTRL_MOVEOF>(*this, Acknowledged, fun, value, tilt);
}

BusPendingCall KVRMotorProxy::ctrlWink()
{
    return request<KVR::CTRL_WINK>(*this, Acknowledged);
}

BusPendingCall KVRMotorProxy::ctrlNetworkLock(KVRMotor::NetworkLockFunction fun, quint16 value,
                                              quint8 priority)
{
    return request<KVR::CTRL_NETWORK_LOCK>(*this, Acknowledged, fun, value, priority);
}

BusPendingCall KVRMotorProxy::setAppMode(KVRMotor::AppMode mode)
{
    return request<KVR::SET_APP_MODE>(*this, Acknowledged, mode);
}

BusPendingCall KVRMotorProxy::setMotorLimits(KVRMotor::LimitFunction fun, KVRMotor::Limit lim, quint16 value)
{
    return request<KVR::SET_MOTOR_LIMITS>(*this, Acknowledged, fun, lim, value);
}

BusPendingCall KVRMotorProxy::setMotorDirection(KVRMotor::TurnDirection dir)
{
    return request<KVR::SET_MOTOR_DIRECTION>(*this, Acknowledged, dir);
}

BusPendingCall KVRMotorProxy::setMotorRollingSpeed(quint8 upSpeed, quint8 downSpeed, quint8 slowSpeed)
{
    return request<KVR::SET_MOTOR_ROLLING_SPEED>(*this, Acknowledged, upSpeed, downSpeed, slowSpeed);
}

BusPendingCall KVRMotorProxy::setMotorTiltingSpeed(quint8 speed)
{
    return request<KVR::SET_MOTOR_TILTING_SPEED>(*this, Acknowledged, speed);
}

BusPendingCall KVRMotorProxy::setMotorIP(KVRMotor::IPFunction fun, quint8 index, quint16 value)
{
    return request<KVR::SET_MOTOR_IP>(*this, Acknowledged, fun, index, value);
}

BusPendingCall KVRMotorProxy::setNetworkLock(bool status, quint8 priority)
{
    return request<KVR::SET_NETWORK_LOCK>(*this, Acknowledged, status, priority);
}

BusPendingCall KVRMotorProxy::setDCTLock(bool status, quint8 index, quint8 priority)
{
    return request<KVR::SET_DCT_LOCK>(*this, Acknowledged, status, index, priority);
}

BusPendingCall KVRMotorProxy::setTiltLimits(quint8 minTilt, quint8 maxTilt, quint8 defaultTilt)
{
    return request<KVR::SET_TILT_LIMITS>(*this, Acknowledged, minTilt, maxTilt, defaultTilt);
}

BusPendingCall KVRMotorProxy::setMotorSoftStartStop(KVRMotor::SoftStartStopFunction fun,
                                                    KVRMotor::SoftStartStopRamps ramp, quint8 value)
{
    return request<KVR::SET_MOTOR_SOFT_START_STOP>(*this, Acknowledged, fun, ramp, value);
}

BusPendingCall KVRMotorProxy::setTorqueLimitation(KVRMotor::TorqueFunction fun, quint8 value)
{
    return request<KVR::SET_TORQUE_LIMITATION>(*this, Acknowledged, fun, value);
}

BusPendingCall KVRMotorProxy::setFactoryDefault(KVRMotor::FactoryDefFunction fun)
{
    return request<KVR::SET_FACTORY_DEFAULT>(*this, Acknowledged, fun);
}

BusPendingCall KVRMotorProxy::getMotorPosition()
{
    return request<KVR::GET_MOTOR_POSITION>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorPositionReply(const BusMessage &msg, quint16 *pulsePos, quint8 *pctPos,
                                          quint8 *tilt, quint8 *IP) const
{
    return take<KVR::POST_MOTOR_POSITION>(msg, pulsePos, pctPos, tilt, IP);
}

BusPendingCall KVRMotorProxy::getMotorStatus()
{
    return request<KVR::GET_MOTOR_STATUS>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorStatusReply(const BusMessage &msg, KVRMotor::Status &status) const
{
    KVRMotor::Status told;
    if (!take<KVR::POST_MOTOR_STATUS>(msg, told.state, told.direction, told.source, told.cause))
        return false;
    status = told;
    return true;
}

BusPendingCall KVRMotorProxy::getAppMode()
{
    return request<KVR::GET_APP_MODE>(*this, AsDescribed);
}

bool KVRMotorProxy::getAppModeReply(const BusMessage &msg, KVRMotor::AppMode &mode) const
{
    return take<KVR::POST_APP_MODE>(msg, mode);
}

BusPendingCall KVRMotorProxy::getMotorLimits()
{
    return request<KVR::GET_MOTOR_LIMITS>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorLimitsReply(const BusMessage &msg, quint16 &downLimit, quint16 *upLimit) const
{
    return take<KVR::POST_MOTOR_LIMITS>(msg, upLimit, downLimit);
}

BusPendingCall KVRMotorProxy::getMotorDirection()
{
    return request<KVR::GET_MOTOR_DIRECTION>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorDirectionReply(const BusMessage &msg, KVRMotor::TurnDirection &direction) const
{
    return take<KVR::POST_MOTOR_DIRECTION>(msg, direction);
}

BusPendingCall KVRMotorProxy::getMotorRollingSpeed()
{
    return request<KVR::GET_MOTOR_ROLLING_SPEED>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorRollingSpeedReply(const BusMessage &msg, quint8 &upSpeed, quint8 &downSpeed,
                                              quint8 *slowSpeed) const
{
    return take<KVR::POST_MOTOR_ROLLING_SPEED>(msg, upSpeed, downSpeed, slowSpeed);
}

BusPendingCall KVRMotorProxy::getMotorTiltingSpeed()
{
    return request<KVR::GET_MOTOR_TILTING_SPEED>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorTiltingSpeedReply(const BusMessage &msg, quint8 &speed) const
{
    return take<KVR::POST_MOTOR_TILTING_SPEED>(msg, speed);
}

BusPendingCall KVRMotorProxy::getMotorIP(quint8 index)
{
    return request<KVR::GET_MOTOR_IP>(*this, AsDescribed, index);
}

bool KVRMotorProxy::getMotorIPReply(const BusMessage &msg, quint8 *index, quint16 *pulse,
                                    quint8 *percent) const
{
    return take<KVR::POST_MOTOR_IP>(msg, index, pulse, percent);
}

BusPendingCall KVRMotorProxy::getNetworkLock()
{
    return request<KVR::GET_NETWORK_LOCK>(*this, AsDescribed);
}

bool KVRMotorProxy::getNetworkLockReply(const BusMessage &msg, bool &status, quint8 &priority,
                                        VOX::Addr *sourceAddr) const
{
    return take<KVR::POST_NETWORK_LOCK>(msg, status, sourceAddr, priority);
}

BusPendingCall KVRMotorProxy::getDCTLock(quint8 index)
{
    return request<KVR::GET_DCT_LOCK>(*this, AsDescribed, index);
}

bool KVRMotorProxy::getDCTLockReply(const BusMessage &msg, bool &status, quint8 &priority,
                                    VOX::Addr *sourceAddr) const
{
    return take<KVR::POST_DCT_LOCK>(msg, status, sourceAddr, priority);
}

BusPendingCall KVRMotorProxy::getTiltLimits()
{
    return request<KVR::GET_TILT_LIMITS>(*this, AsDescribed);
}

bool KVRMotorProxy::getTiltLimitsReply(const BusMessage &msg, quint16 &minTilt, quint16 &maxTilt,
                                       quint16 &defaultTilt) const
{
    return take<KVR::POST_TILT_LIMITS>(msg, minTilt, maxTilt, defaultTilt);
}

BusPendingCall KVRMotorProxy::getMotorSoftStartStop()
{
    return request<KVR::GET_MOTOR_SOFT_START_STOP>(*this, AsDescribed);
}

bool KVRMotorProxy::getMotorSoftStartStopReply(const BusMessage &msg, bool &startStatus, quint8 &startValue,
                                               bool &stopStatus, quint8 &stopValue) const
{
    return take<KVR::POST_MOTOR_SOFT_START_STOP>(msg, startStatus, startValue, stopStatus, stopValue);
}

BusPendingCall KVRMotorProxy::getTorqueLimitation()
{
    return request<KVR::GET_TORQUE_LIMITATION>(*this, AsDescribed);
}

bool KVRMotorProxy::getTorqueLimitationReply(const BusMessage &msg, quint8 &status, quint8 &level) const
{
    return take<KVR::POST_TORQUE_LIMITATION>(msg, status, level);
}

BusPendingCall KVRMotorProxy::getFactoryDefault(KVRMotor::FactoryDefFunction fun)
{
    return request<KVR::GET_FACTORY_DEFAULT>(*this, AsDescribed, fun);
}

bool KVRMotorProxy::getFactoryDefaultReply(const BusMessage &msg, bool &status,
                                           KVRMotor::FactoryDefFunction *fun) const
{
    KVRMotor::FactoryDefFunction function{};
    if (!take<KVR::POST_FACTORY_DEFAULT>(msg, function, status))
        return false;
    *fun = function;
    return true;
}

BusPendingCall KVRMotorProxy::diagGetTotalMoveCount()
{
    return request<KVR::DIAG_GET_TOTAL_MOVE_COUNT>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetTotalMoveCountReply(const BusMessage &msg, quint32 &totalMoveCount) const
{
    return take<KVR::DIAG_POST_TOTAL_MOVE_COUNT>(msg, totalMoveCount);
}

BusPendingCall KVRMotorProxy::diagGetTotalRevCount()
{
    return request<KVR::DIAG_GET_TOTAL_REV_COUNT>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetTotalRevCountReply(const BusMessage &msg, quint32 &totalRevCount) const
{
    return take<KVR::DIAG_POST_TOTAL_REV_COUNT>(msg, totalRevCount);
}

BusPendingCall KVRMotorProxy::diagGetThermalCount()
{
    return request<KVR::DIAG_GET_THERMAL_COUNT>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetThermalCountReply(const BusMessage &msg, quint16 &thermalCount,
                                             quint16 &postThermalMove) const
{
    return take<KVR::DIAG_POST_THERMAL_COUNT>(msg, thermalCount, postThermalMove);
}

BusPendingCall KVRMotorProxy::diagGetObstacleCount()
{
    return request<KVR::DIAG_GET_OBSTACLE_COUNT>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetObstacleCountReply(const BusMessage &msg, quint16 &obstacleCount,
                                              quint16 &postObstacleMove) const
{
    return take<KVR::DIAG_POST_OBSTACLE_COUNT>(msg, obstacleCount, postObstacleMove);
}

BusPendingCall KVRMotorProxy::diagGetPowerCount()
{
    return request<KVR::DIAG_GET_POWER_COUNT>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetPowerCountReply(const BusMessage &msg, quint16 &postObstacleMove) const
{
    return take<KVR::DIAG_POST_POWER_COUNT>(msg, postObstacleMove);
}

BusPendingCall KVRMotorProxy::diagGetResetCount()
{
    return request<KVR::DIAG_GET_RESET_COUNT>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetResetCountReply(const BusMessage &msg, quint16 &resetCount) const
{
    return take<KVR::DIAG_POST_RESET_COUNT>(msg, resetCount);
}

BusPendingCall KVRMotorProxy::diagGetEncoderErrors()
{
    return request<KVR::DIAG_GET_ENCODER_ERRORS>(*this, AsDescribed);
}

bool KVRMotorProxy::diagGetEncoderErrorsReply(const BusMessage &msg, quint16 &encoderErrCount) const
{
    return take<KVR::DIAG_POST_ENCODER_ERRORS>(msg, encoderErrCount);
}
