#ifndef KVRMOTOR_H
#define KVRMOTOR_H

#include "messages/vox_export.h"

#include <QMetaEnum>
#include <QMetaType>
#include <QObject>

/// The words of the motor commands; each travels as one byte. No instances.
///
/// Down is toward higher pulse counts, up toward lower ones.
class VOX_EXPORT KVRMotor
{
    Q_GADGET

public:
    enum AppMode : int { ROLLER = 0, VENETIAN = 1, CURTAIN = 2 };
    Q_ENUM(AppMode)

    enum State : quint32 { STATE_STOPPED = 0, STATE_RUNNING = 1, STATE_BLOCKED = 2, STATE_LOCKED = 3 };
    Q_ENUM(State)

    enum Direction : quint32 { DIRECTION_DOWN = 0, DIRECTION_UP = 1, DIRECTION_NONE = 255 };
    Q_ENUM(Direction)

    /// Who made the motor do what it does.
    enum Source : quint32 { SOURCE_INTERNAL = 0, SOURCE_NETWORK = 1 };
    Q_ENUM(Source)

    enum Cause : quint32 { CAUSE_NONE = 0, CAUSE_NETWORK = 1, CAUSE_WINK = 2 };
    Q_ENUM(Cause)

    enum MoveFunction : int { MOVE_DOWN = 0, MOVE_UP = 1, MOVE_TO_NEAREST_LIMIT = 2 };
    Q_ENUM(MoveFunction)

    enum SpeedType : int { SPEED_UP = 0, SPEED_DOWN = 1, SPEED_SLOW = 2 };
    Q_ENUM(SpeedType)

    enum MoveToFunction : int {
        MOVETO_DOWN_LIMIT = 0,
        MOVETO_UP_LIMIT = 1,
        MOVETO_IP = 2,
        MOVETO_PULSES = 3,
        MOVETO_PERCENT = 4
    };
    Q_ENUM(MoveToFunction)

    /// Times are in units of 10 ms.
    enum MoveOfFunction : int {
        MOVEOF_NEXT_IP_DOWN = 0,
        MOVEOF_NEXT_IP_UP = 1,
        MOVEOF_PULSES_DOWN = 2,
        MOVEOF_PULSES_UP = 3,
        MOVEOF_TIME_DOWN = 4,
        MOVEOF_TIME_UP = 5,
        MOVEOF_TILT_DOWN = 6,
        MOVEOF_TILT_UP = 7
    };
    Q_ENUM(MoveOfFunction)

    enum NetworkLockFunction : int {
        LOCK_HERE = 0,
        LOCK_AT_UP_LIMIT = 1,
        LOCK_AT_DOWN_LIMIT = 2,
        LOCK_AFTER_MOVE = 3,
        LOCK_AT_IP = 4,
        LOCK_RELEASE = 5,
        LOCK_AT_PULSES = 6,
        LOCK_AT_PERCENT = 7
    };
    Q_ENUM(NetworkLockFunction)

    enum Limit : int { LIMIT_DOWN = 0, LIMIT_UP = 1 };
    Q_ENUM(Limit)

    enum LimitFunction : int {
        LIMIT_DELETE = 0,
        LIMIT_CURRENT = 1,
        LIMIT_PULSES = 2,
        LIMIT_SHIFT_DOWN = 4,
        LIMIT_SHIFT_UP = 5
    };
    Q_ENUM(LimitFunction)

    enum IPFunction : int { IP_DELETE = 0, IP_CURRENT = 1, IP_PULSES = 2, IP_PERCENT = 3 };
    Q_ENUM(IPFunction)

    enum TurnDirection : int { TURN_NORMAL = 0, TURN_REVERSED = 1 };
    Q_ENUM(TurnDirection)

    /// Which ramp.
    enum SoftStartStopFunction : int { SOFT_BOTH = 0, SOFT_START = 1, SOFT_STOP = 2 };
    Q_ENUM(SoftStartStopFunction)

    /// What to do with it.
    enum SoftStartStopRamps : int { RAMP_OFF = 0, RAMP_ON = 1, RAMP_VALUE = 2 };
    Q_ENUM(SoftStartStopRamps)

    /// 0 switches the limitation on and 1 off; that is the format.
    enum TorqueFunction : int { TORQUE_ON = 0, TORQUE_OFF = 1, TORQUE_LEVEL = 2, TORQUE_PARAMETER = 3 };
    Q_ENUM(TorqueFunction)

    /// Which setting; each but the first has the id of the command that sets it.
    enum FactoryDefFunction : int {
        FACTORY_ALL = 0x00,
        FACTORY_APP_MODE = 0x10,
        FACTORY_MOTOR_LIMITS = 0x11,
        FACTORY_MOTOR_DIRECTION = 0x12,
        FACTORY_MOTOR_ROLLING_SPEED = 0x13,
        FACTORY_MOTOR_TILTING_SPEED = 0x14,
        FACTORY_MOTOR_IP = 0x15,
        FACTORY_NETWORK_LOCK = 0x16,
        FACTORY_DCT_LOCK = 0x17,
        FACTORY_TILT_LIMITS = 0x18,
        FACTORY_MOTOR_SOFT_START_STOP = 0x19,
        FACTORY_TORQUE_LIMITATION = 0x1a
    };
    Q_ENUM(FactoryDefFunction)

    /// What a motor says of itself.
    struct Status
    {
        using Source = KVRMotor::Source;
        using Cause = KVRMotor::Cause;

        State state = STATE_STOPPED;
        Direction direction = DIRECTION_DOWN;
        Source source = SOURCE_INTERNAL;
        Cause cause = CAUSE_NONE;

        bool operator==(const Status &other) const
        {
            return state == other.state && direction == other.direction && source == other.source
                && cause == other.cause;
        }
        bool operator!=(const Status &other) const { return !(*this == other); }
    };

    KVRMotor() = delete;

    static QMetaEnum AppModeMetaEnum();
    static QMetaEnum MotorStateEnum();
};

Q_DECLARE_METATYPE(KVRMotor::Status)

#endif
