#ifndef KVRMOTORPROXY_H
#define KVRMOTORPROXY_H

#include "messages/kvrmotor.h"
#include "proxies/kvrstdproxy.h"

/// A host's handle on one motor: movement, settings, locks and diagnostic counters.
///
/// Works like KVRStdProxy. A decoder takes the reply of its own call and is true if that was long enough; an
/// output given as a pointer may be null, and is then skipped. The enumerations among the outputs are only
/// written on success, the others as they are read.
class VOX_EXPORT KVRMotorProxy : public KVRStdProxy
{
    Q_OBJECT

public:
    KVRMotorProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

public Q_SLOTS:
    /// @p duration in units of 10 ms; 0 counts as 255.
    BusPendingCall ctrlMove(KVRMotor::MoveFunction dir, quint8 duration, KVRMotor::SpeedType speed);
    BusPendingCall ctrlStop(quint8 tilt = 255);
    /// @p position is an index, pulses or percent, as @p fun says.
    BusPendingCall ctrlMoveTo(KVRMotor::MoveToFunction fun, quint16 position, quint8 tilt = 255);
    /// @p value in pulses or units of 10 ms, 10 to 1000.
    BusPendingCall ctrlMoveOf(KVRMotor::MoveOfFunction fun, quint16 value, quint8 tilt = 255);
    BusPendingCall ctrlWink();
    /// Refused if @p priority is below that of the lock in force.
    BusPendingCall ctrlNetworkLock(KVRMotor::NetworkLockFunction fun, quint16 value, quint8 priority);

    BusPendingCall setAppMode(KVRMotor::AppMode mode);
    BusPendingCall setMotorLimits(KVRMotor::LimitFunction fun, KVRMotor::Limit lim, quint16 value);
    BusPendingCall setMotorDirection(KVRMotor::TurnDirection dir);
    /// In revolutions per minute.
    BusPendingCall setMotorRollingSpeed(quint8 upSpeed, quint8 downSpeed, quint8 slowSpeed);
    /// The command's frame has no room for @p speed, which is not sent.
    BusPendingCall setMotorTiltingSpeed(quint8 speed);
    /// @p index counts from 1.
    BusPendingCall setMotorIP(KVRMotor::IPFunction fun, quint8 index, quint16 value);
    BusPendingCall setNetworkLock(bool status, quint8 priority);
    /// @p index counts from 1; 0 means all.
    BusPendingCall setDCTLock(bool status, quint8 index, quint8 priority);
    /// The command's frame has no room for the limits, which are not sent.
    BusPendingCall setTiltLimits(quint8 minTilt, quint8 maxTilt, quint8 defaultTilt);
    BusPendingCall setMotorSoftStartStop(KVRMotor::SoftStartStopFunction fun,
                                         KVRMotor::SoftStartStopRamps ramp, quint8 value);
    BusPendingCall setTorqueLimitation(KVRMotor::TorqueFunction fun, quint8 value);
    BusPendingCall setFactoryDefault(KVRMotor::FactoryDefFunction fun);

    /// Position in pulses and percent; 65535 and 255 without limits.
    BusPendingCall getMotorPosition();
    bool getMotorPositionReply(const BusMessage &msg, quint16 *pulsePos, quint8 *pctPos, quint8 *tilt,
                               quint8 *IP) const;
    BusPendingCall getMotorStatus();
    bool getMotorStatusReply(const BusMessage &msg, KVRMotor::Status &status) const;
    BusPendingCall getAppMode();
    bool getAppModeReply(const BusMessage &msg, KVRMotor::AppMode &mode) const;
    /// In pulses; 65535 is unset.
    BusPendingCall getMotorLimits();
    bool getMotorLimitsReply(const BusMessage &msg, quint16 &downLimit, quint16 *upLimit = nullptr) const;
    BusPendingCall getMotorDirection();
    bool getMotorDirectionReply(const BusMessage &msg, KVRMotor::TurnDirection &direction) const;
    BusPendingCall getMotorRollingSpeed();
    bool getMotorRollingSpeedReply(const BusMessage &msg, quint8 &upSpeed, quint8 &downSpeed,
                                   quint8 *slowSpeed = nullptr) const;
    BusPendingCall getMotorTiltingSpeed();
    bool getMotorTiltingSpeedReply(const BusMessage &msg, quint8 &speed) const;
    BusPendingCall getMotorIP(quint8 index);
    bool getMotorIPReply(const BusMessage &msg, quint8 *index, quint16 *pulse, quint8 *percent) const;
    BusPendingCall getNetworkLock();
    bool getNetworkLockReply(const BusMessage &msg, bool &status, quint8 &priority,
                             VOX::Addr *sourceAddr) const;
    BusPendingCall getDCTLock(quint8 index);
    bool getDCTLockReply(const BusMessage &msg, bool &status, quint8 &priority, VOX::Addr *sourceAddr) const;
    BusPendingCall getTiltLimits();
    bool getTiltLimitsReply(const BusMessage &msg, quint16 &minTilt, quint16 &maxTilt,
                            quint16 &defaultTilt) const;
    BusPendingCall getMotorSoftStartStop();
    bool getMotorSoftStartStopReply(const BusMessage &msg, bool &startStatus, quint8 &startValue,
                                    bool &stopStatus, quint8 &stopValue) const;
    BusPendingCall getTorqueLimitation();
    bool getTorqueLimitationReply(const BusMessage &msg, quint8 &status, quint8 &level) const;
    BusPendingCall getFactoryDefault(KVRMotor::FactoryDefFunction fun);
    /// @p fun must not be null.
    bool getFactoryDefaultReply(const BusMessage &msg, bool &status, KVRMotor::FactoryDefFunction *fun) const;
    /// 24 bits travel.
    BusPendingCall diagGetTotalMoveCount();
    bool diagGetTotalMoveCountReply(const BusMessage &msg, quint32 &totalMoveCount) const;
    /// 24 bits travel.
    BusPendingCall diagGetTotalRevCount();
    bool diagGetTotalRevCountReply(const BusMessage &msg, quint32 &totalRevCount) const;
    BusPendingCall diagGetThermalCount();
    bool diagGetThermalCountReply(const BusMessage &msg, quint16 &thermalCount,
                                  quint16 &postThermalMove) const;
    BusPendingCall diagGetObstacleCount();
    bool diagGetObstacleCountReply(const BusMessage &msg, quint16 &obstacleCount,
                                   quint16 &postObstacleMove) const;
    /// The power count, whatever the parameter is called.
    BusPendingCall diagGetPowerCount();
    bool diagGetPowerCountReply(const BusMessage &msg, quint16 &postObstacleMove) const;
    BusPendingCall diagGetResetCount();
    bool diagGetResetCountReply(const BusMessage &msg, quint16 &resetCount) const;
    BusPendingCall diagGetEncoderErrors();
    bool diagGetEncoderErrorsReply(const BusMessage &msg, quint16 &encoderErrCount) const;
};

#endif
