#ifndef VOX_PROXIES_KVRMOTORPROXY_H
#define VOX_PROXIES_KVRMOTORPROXY_H

#include <vox/messages/kvrmotor.h>
#include <vox/proxies/kvrstdproxy.h>

/// A host's handle on one motor: movement, settings, locks and diagnostic counters.
///
/// Works like KVRStdProxy. Positions are pulses of the encoder, 0 at the up limit and more below, or percent
/// of the way down from limit to limit; speeds are revolutions per minute. A position of 65535, and 255 as a
/// percentage, an index or a tilt angle, mean that there is none.
///
/// Control and set operations are answered by ACK or NACK. The comments name the NACK, of KVR::NackStatus or
/// KVR::MotorNackStatus, with which emulated motors refuse. A product refuses a command that it lacks with
/// NACK_FEATURE_NOT_SUPPORTED.
///
/// A decoder takes the reply of its own call, and is true if that was long enough. An output given as a
/// pointer may be null, and is then skipped. Enumerations are not checked: a number without a name stays one.
/// They are only written on success; the other outputs are written as they are read. A NACK has one byte of
/// data, too. The decoders that want no more than one byte take it for their value, so ask
/// KVR::getNackReply() before getAppModeReply(), getMotorDirectionReply() and getMotorTiltingSpeedReply().
/// @ingroup proxies
class VOX_EXPORT KVRMotorProxy : public KVRStdProxy
{
    Q_OBJECT

public:
    /// @p addr and @p bus as in KVRStdProxy.
    KVRMotorProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

public Q_SLOTS:
    /// Moves for @p duration, in units of 10 ms, at the up, down or slow speed, as @p speed says. A duration
    /// of 0 counts as 255; MARLO motors refuse what is below 72. MOVE_TO_NEAREST_LIMIT does not end by time.
    /// Needs no limits and does not stop at them: a way up past pulse 0 wraps to a high position, as it does
    /// in the drive. Refused: NACK_NODE_IS_LOCKED, NACK_BADMSG.
    BusPendingCall ctrlMove(KVRMotor::MoveFunction dir, quint8 duration, KVRMotor::SpeedType speed);
    /// Stops the motor where it is, even if it is locked. @p tilt as in ctrlMoveTo().
    BusPendingCall ctrlStop(quint8 tilt = 255);
    /// Moves to a limit, or to @p position, which is an index from 1, pulses or percent, as @p fun says.
    /// Pulses and percent are not held between the limits. @p tilt is the angle to end with, 255 the
    /// present one; a roller ignores it, and so does a product that does not tilt. Refused:
    /// NACK_END_LIMITS_NOT_SET, NACK_NODE_IS_LOCKED, NACK_IP_NOT_SET, NACK_BADMSG.
    BusPendingCall ctrlMoveTo(KVRMotor::MoveToFunction fun, quint16 position, quint8 tilt = 255);
    /// Moves on by @p value, in pulses or units of 10 ms, from 10 (MARLO motors: 30) to 1000. A move that
    /// would pass a limit ends there, at the slow speed. A time is converted at the slow speed, whatever
    /// speed the motor then runs at, and must come to 10 to 1000 pulses as well. A step to the next
    /// intermediate position needs no @p value; past the last one it is NACK_LAST_IP_REACHED. A tilt step is
    /// NACK_FEATURE_NOT_SUPPORTED on a roller, and moves no emulated motor. Also refused:
    /// NACK_END_LIMITS_NOT_SET, NACK_NODE_IS_LOCKED, NACK_BADMSG.
    BusPendingCall ctrlMoveOf(KVRMotor::MoveOfFunction fun, quint16 value, quint8 tilt = 255);
    /// Asks the motor to show which one it is. Its status has CAUSE_WINK until its next move, stop or lock.
    /// Refused: NACK_NODE_IS_LOCKED.
    BusPendingCall ctrlWink();
    /// Locks the motor against moves and winks where it is, after its present move, or where @p fun and
    /// @p value send it, as in ctrlMoveTo(); or releases it. @p priority stays with the lock: a request with
    /// a lower one is NACK_LOW_PRIORITY. A release sets it to 0. Also refused: NACK_END_LIMITS_NOT_SET, even
    /// for functions that need no limit, NACK_IP_NOT_SET, NACK_BADMSG. QM75 and TB20 motors lack it.
    BusPendingCall ctrlNetworkLock(KVRMotor::NetworkLockFunction fun, quint16 value, quint8 priority);

    /// Sets the application mode. A mode that the product does not have is NACK_FEATURE_NOT_SUPPORTED; TB20
    /// motors have no modes.
    BusPendingCall setAppMode(KVRMotor::AppMode mode);
    /// Deletes @p lim, or sets it where the motor is or at @p value, in pulses, or shifts it by 10 to 1000
    /// pulses. The up limit is always pulse 0: setting it at the motor or shifting it moves the origin of all
    /// positions instead, and intermediate positions above it are lost. The motor does not move. Refused,
    /// with nothing changed: NACK_IN_MOTION; NACK_BADMSG; NACK_END_LIMITS_NOT_SET for a shift of a limit that
    /// is not set; NACK_WRONG_POSITION for a down limit outside the product's range, and for an up limit at a
    /// @p value other than 0, or NACK_CURRENT_POSITION_OUT_OF_RANGE if the limit is to be where the motor is.
    /// MARLO motors lack the shifts.
    BusPendingCall setMotorLimits(KVRMotor::LimitFunction fun, KVRMotor::Limit lim, quint16 value);
    /// Turning the direction round mirrors the position about the down limit. Refused: NACK_IN_MOTION. A
    /// value that is no direction is acknowledged, and changes nothing.
    BusPendingCall setMotorDirection(KVRMotor::TurnDirection dir);
    /// Sets the speeds, in revolutions per minute. If the product does not run at one of them, none is set,
    /// and the answer is NACK_BADMSG. TB20 motors take @p upSpeed for both ways, MARLO motors for all three;
    /// QM75 motors lack it.
    BusPendingCall setMotorRollingSpeed(quint8 upSpeed, quint8 downSpeed, quint8 slowSpeed);
    /// Sends no @p speed, for which the command's frame has no room; that is the format. Emulated motors
    /// refuse with NACK_FEATURE_NOT_SUPPORTED.
    BusPendingCall setMotorTiltingSpeed(quint8 speed);
    /// Deletes intermediate position @p index, which counts from 1, or sets it where the motor is or at
    /// @p value, in pulses or percent. Refused: NACK_END_LIMITS_NOT_SET; NACK_BADMSG for an index that does
    /// not exist; NACK_CURRENT_POSITION_OUT_OF_RANGE or NACK_WRONG_POSITION past the down limit.
    BusPendingCall setMotorIP(KVRMotor::IPFunction fun, quint8 index, quint16 value);
    /// Sets (true) or opens the lock of ctrlNetworkLock(), by the same rule of priorities, but needs no
    /// limits, stops no move, and does not itself change the status. TB20 motors lack it.
    BusPendingCall setNetworkLock(bool status, quint8 priority);
    /// Sets (true) or opens the lock of local input @p index, which counts from 1; 0 means all of them, or
    /// none if one has a higher priority: NACK_LOW_PRIORITY. An input that does not exist is NACK_BADMSG.
    /// QM75 motors lack it.
    BusPendingCall setDCTLock(bool status, quint8 index, quint8 priority);
    /// Sends no limits, for which the command's frame has no room; that is the format. Emulated motors refuse
    /// with NACK_FEATURE_NOT_SUPPORTED.
    BusPendingCall setTiltLimits(quint8 minTilt, quint8 maxTilt, quint8 defaultTilt);
    /// Turns the ramps that @p fun names off or on, or gives them @p value, in the motor's own unit. Only
    /// RAMP_VALUE uses @p value. TB60LV motors only; others answer NACK_BADMSG.
    BusPendingCall setMotorSoftStartStop(KVRMotor::SoftStartStopFunction fun,
                                         KVRMotor::SoftStartStopRamps ramp, quint8 value);
    /// Turns the limitation on or off, or stores @p value: as the level, 0 or 1 (else NACK_BADMSG), or as a
    /// parameter that no query gives back. TB60LV motors only; others answer NACK_BADMSG.
    BusPendingCall setTorqueLimitation(KVRMotor::TorqueFunction fun, quint8 value);
    /// Puts one setting or all of them back. The functions of the two locks each open all locks, whose
    /// priorities stay. Label, groups, network settings and counters are no settings of the motor. Refused:
    /// NACK_IN_MOTION; NACK_FEATURE_NOT_SUPPORTED for a setting that the product lacks; NACK_BADMSG.
    BusPendingCall setFactoryDefault(KVRMotor::FactoryDefFunction fun);

    ///@{
    /// Where the motor is. The decoder gives four values. Pulses and percent are 65535 and 255 unless both
    /// limits are set; past the down limit there are more than 100 percent. The tilt angle is 255 for a
    /// roller, and while the motor moves. The index, from 1, is that of the intermediate position where the
    /// motor is, else 255.
    BusPendingCall getMotorPosition();
    bool getMotorPositionReply(const BusMessage &msg, quint16 *pulsePos, quint8 *pctPos, quint8 *tilt,
                               quint8 *IP) const;
    ///@}

    ///@{
    /// The state of the motor, and the reason for it. At rest the direction is still that of the last move,
    /// and the source is internal if the motor has arrived.
    BusPendingCall getMotorStatus();
    bool getMotorStatusReply(const BusMessage &msg, KVRMotor::Status &status) const;
    ///@}

    ///@{
    /// The application mode. TB20 motors answer with a NACK, which the decoder takes for a mode.
    BusPendingCall getAppMode();
    bool getAppModeReply(const BusMessage &msg, KVRMotor::AppMode &mode) const;
    ///@}

    ///@{
    /// The limits in pulses; 65535 is unset. An up limit that is set is 0. The up limit comes first on the
    /// wire and last here; that is meant.
    BusPendingCall getMotorLimits();
    bool getMotorLimitsReply(const BusMessage &msg, quint16 &downLimit, quint16 *upLimit = nullptr) const;
    ///@}

    ///@{
    /// Whether the motor turns the normal way or the reversed one. The decoder takes a NACK for a direction.
    BusPendingCall getMotorDirection();
    bool getMotorDirectionReply(const BusMessage &msg, KVRMotor::TurnDirection &direction) const;
    ///@}

    ///@{
    /// The speeds in revolutions per minute. QM75 motors lack the query.
    BusPendingCall getMotorRollingSpeed();
    bool getMotorRollingSpeedReply(const BusMessage &msg, quint8 &upSpeed, quint8 &downSpeed,
                                   quint8 *slowSpeed = nullptr) const;
    ///@}

    ///@{
    /// The tilting speed. Emulated motors refuse with NACK_FEATURE_NOT_SUPPORTED, which the decoder takes for
    /// a speed.
    BusPendingCall getMotorTiltingSpeed();
    bool getMotorTiltingSpeedReply(const BusMessage &msg, quint8 &speed) const;
    ///@}

    ///@{
    /// Intermediate position @p index, which counts from 1. An index that does not exist is NACK_BADMSG. The
    /// decoder gives the index, pulses and percent. A position that is not set has 65535 pulses and 255
    /// percent.
    BusPendingCall getMotorIP(quint8 index);
    bool getMotorIPReply(const BusMessage &msg, quint8 *index, quint16 *pulse, quint8 *percent) const;
    ///@}

    ///@{
    /// Whether the motor is locked, and with which priority. @p sourceAddr becomes the address, 24 bits, of
    /// the node that last set or opened the lock. It stands between the other two on the wire. TB20 motors
    /// lack the query.
    BusPendingCall getNetworkLock();
    bool getNetworkLockReply(const BusMessage &msg, bool &status, quint8 &priority,
                             VOX::Addr *sourceAddr) const;
    ///@}

    ///@{
    /// The lock of local input @p index, which counts from 1. An index that does not exist is NACK_BADMSG.
    /// The reply is decoded like that of the network lock. QM75 motors lack the query.
    BusPendingCall getDCTLock(quint8 index);
    bool getDCTLockReply(const BusMessage &msg, bool &status, quint8 &priority, VOX::Addr *sourceAddr) const;
    ///@}

    ///@{
    /// The tilt limits. They have 16 bits here, and 8 bits in setTiltLimits(); that is the format. Emulated
    /// motors refuse with NACK_FEATURE_NOT_SUPPORTED.
    BusPendingCall getTiltLimits();
    bool getTiltLimitsReply(const BusMessage &msg, quint16 &minTilt, quint16 &maxTilt,
                            quint16 &defaultTilt) const;
    ///@}

    ///@{
    /// Whether each ramp is on, and its value in the motor's own unit. TB60LV motors only; others answer
    /// NACK_BADMSG.
    BusPendingCall getMotorSoftStartStop();
    bool getMotorSoftStartStopReply(const BusMessage &msg, bool &startStatus, quint8 &startValue,
                                    bool &stopStatus, quint8 &stopValue) const;
    ///@}

    ///@{
    /// The torque limitation: @p status is 1 while it is on and 0 while it is off, unlike TorqueFunction;
    /// @p level is 0 or 1. TB60LV motors only; others answer NACK_BADMSG.
    BusPendingCall getTorqueLimitation();
    bool getTorqueLimitationReply(const BusMessage &msg, quint8 &status, quint8 &level) const;
    ///@}

    ///@{
    /// Whether the setting, or all of them, is as delivered. Refused like setFactoryDefault(), but not in
    /// motion. The decoder sets @p status to true if it is; @p fun must not be null.
    BusPendingCall getFactoryDefault(KVRMotor::FactoryDefFunction fun);
    bool getFactoryDefaultReply(const BusMessage &msg, bool &status, KVRMotor::FactoryDefFunction *fun) const;
    ///@}

    ///@{
    /// How many moves, or revolutions, the motor has made in its life. 24 bits travel, on purpose. QM75
    /// motors lack the revolutions.
    BusPendingCall diagGetTotalMoveCount();
    bool diagGetTotalMoveCountReply(const BusMessage &msg, quint32 &totalMoveCount) const;
    BusPendingCall diagGetTotalRevCount();
    bool diagGetTotalRevCountReply(const BusMessage &msg, quint32 &totalRevCount) const;
    ///@}

    ///@{
    /// How often the thermal protection has stepped in, and the moves since. QM75 motors lack it.
    BusPendingCall diagGetThermalCount();
    bool diagGetThermalCountReply(const BusMessage &msg, quint16 &thermalCount,
                                  quint16 &postThermalMove) const;
    ///@}

    ///@{
    /// How often the motor has met an obstacle, and the moves since.
    BusPendingCall diagGetObstacleCount();
    bool diagGetObstacleCountReply(const BusMessage &msg, quint16 &obstacleCount,
                                   quint16 &postObstacleMove) const;
    ///@}

    ///@{
    /// How often the motor was powered up. The decoder's parameter is that count, too, despite its name.
    BusPendingCall diagGetPowerCount();
    bool diagGetPowerCountReply(const BusMessage &msg, quint16 &postObstacleMove) const;
    ///@}

    ///@{
    /// How often the motor was reset.
    BusPendingCall diagGetResetCount();
    bool diagGetResetCountReply(const BusMessage &msg, quint16 &resetCount) const;
    ///@}

    ///@{
    /// How often the encoder has failed. TB60LV motors lack it.
    BusPendingCall diagGetEncoderErrors();
    bool diagGetEncoderErrorsReply(const BusMessage &msg, quint16 &encoderErrCount) const;
    ///@}
};

#endif
