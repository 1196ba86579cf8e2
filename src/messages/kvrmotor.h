#ifndef VOX_MESSAGES_KVRMOTOR_H
#define VOX_MESSAGES_KVRMOTOR_H

#include <vox/messages/vox_export.h>

#include <QMetaEnum>
#include <QMetaType>
#include <QObject>

/// The words of the motor commands; each travels as one byte. No instances.
///
/// Down is toward higher pulse counts, up toward lower ones. Positions are pulses, 0 to 65534 (65535 is
/// unset), or percent of the way from the up limit (0) to the down limit (100). From any thread.
/// @ingroup messages
class VOX_EXPORT KVRMotor
{
    Q_GADGET

public:
    /// What the motor moves. A ROLLER has no tilt.
    enum AppMode : int { ROLLER = 0, VENETIAN = 1, CURTAIN = 2 };
    Q_ENUM(AppMode)

    /// Emulated motors are never BLOCKED.
    enum State : quint32 {
        STATE_STOPPED = 0,
        STATE_RUNNING = 1,
        STATE_BLOCKED = 2,
        STATE_LOCKED = 3 ///< At rest under the network lock, or has just refused to move because of it.
    };
    Q_ENUM(State)

    /// The direction of the present move, or of the last one; NONE for a move to where the motor is, and for
    /// a wink.
    enum Direction : quint32 { DIRECTION_DOWN = 0, DIRECTION_UP = 1, DIRECTION_NONE = 255 };
    Q_ENUM(Direction)

    /// Where the motor's state has its origin: the motor itself, or the network.
    enum Source : quint32 { SOURCE_INTERNAL = 0, SOURCE_NETWORK = 1 };
    Q_ENUM(Source)

    /// The reason for the motor's state; NONE once the motor has arrived.
    enum Cause : quint32 { CAUSE_NONE = 0, CAUSE_NETWORK = 1, CAUSE_WINK = 2 };
    Q_ENUM(Cause)

    /// Moves for a time, which the limits do not cut short.
    enum MoveFunction : int {
        MOVE_DOWN = 0,
        MOVE_UP = 1,
        MOVE_TO_NEAREST_LIMIT = 2 ///< Moves all the way to the limit, whatever the time.
    };
    Q_ENUM(MoveFunction)

    /// Which of the three rolling speeds is used; any of them goes with either direction.
    enum SpeedType : int { SPEED_UP = 0, SPEED_DOWN = 1, SPEED_SLOW = 2 };
    Q_ENUM(SpeedType)

    /// What the position of the command means.
    enum MoveToFunction : int {
        MOVETO_DOWN_LIMIT = 0,
        MOVETO_UP_LIMIT = 1,
        MOVETO_IP = 2, ///< An index, from 1.
        MOVETO_PULSES = 3,
        MOVETO_PERCENT = 4
    };
    Q_ENUM(MoveToFunction)

    /// What the value of the command means: pulses, or a time in units of 10 ms, in which the motor would
    /// make so many pulses at the slow speed. All of these are 10 to 1000; some products take a narrower
    /// range.
    enum MoveOfFunction : int {
        MOVEOF_NEXT_IP_DOWN = 0,
        MOVEOF_NEXT_IP_UP = 1,
        MOVEOF_PULSES_DOWN = 2,
        MOVEOF_PULSES_UP = 3,
        MOVEOF_TIME_DOWN = 4,
        MOVEOF_TIME_UP = 5,
        MOVEOF_TILT_DOWN = 6, ///< A ROLLER refuses both tilts with NACK_FEATURE_NOT_SUPPORTED.
        MOVEOF_TILT_UP = 7
    };
    Q_ENUM(MoveOfFunction)

    /// The lock holds at once, even if the function first moves the motor somewhere.
    enum NetworkLockFunction : int {
        LOCK_HERE = 0,
        LOCK_AT_UP_LIMIT = 1,
        LOCK_AT_DOWN_LIMIT = 2,
        LOCK_AFTER_MOVE = 3, ///< Lets the present move end.
        LOCK_AT_IP = 4, ///< The value is an index, from 1.
        LOCK_RELEASE = 5,
        LOCK_AT_PULSES = 6,
        LOCK_AT_PERCENT = 7
    };
    Q_ENUM(NetworkLockFunction)

    /// Which end.
    enum Limit : int { LIMIT_DOWN = 0, LIMIT_UP = 1 };
    Q_ENUM(Limit)

    /// What to do with the limit; there is no 3. The up limit is always pulse 0: setting it elsewhere moves
    /// the origin of all positions there.
    enum LimitFunction : int {
        LIMIT_DELETE = 0,
        LIMIT_CURRENT = 1, ///< Where the motor is.
        LIMIT_PULSES = 2, ///< The up limit takes only 0.
        LIMIT_SHIFT_DOWN = 4, ///< Either shift by 10 to 1000 pulses.
        LIMIT_SHIFT_UP = 5
    };
    Q_ENUM(LimitFunction)

    /// What to do with the intermediate position; CURRENT is where the motor is.
    enum IPFunction : int { IP_DELETE = 0, IP_CURRENT = 1, IP_PULSES = 2, IP_PERCENT = 3 };
    Q_ENUM(IPFunction)

    /// Which way the shaft turns. A change mirrors the motor's position between the limits.
    enum TurnDirection : int { TURN_NORMAL = 0, TURN_REVERSED = 1 };
    Q_ENUM(TurnDirection)

    /// Which ramp.
    enum SoftStartStopFunction : int { SOFT_BOTH = 0, SOFT_START = 1, SOFT_STOP = 2 };
    Q_ENUM(SoftStartStopFunction)

    /// What to do with the ramp. RAMP_VALUE leaves it on or off as it is.
    enum SoftStartStopRamps : int { RAMP_OFF = 0, RAMP_ON = 1, RAMP_VALUE = 2 };
    Q_ENUM(SoftStartStopRamps)

    /// 0 switches the limitation on and 1 off, while the reply says 1 for on; that is the format. A level is
    /// 0 or 1.
    enum TorqueFunction : int { TORQUE_ON = 0, TORQUE_OFF = 1, TORQUE_LEVEL = 2, TORQUE_PARAMETER = 3 };
    Q_ENUM(TorqueFunction)

    /// Which setting to reset or to ask for. Each but the first has the id of the command that sets it. Each
    /// of the two locks stands for all locks.
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

    /// The status that a motor reports. A plain value; reentrant.
    /// @ingroup messages
    struct Status
    {
        ///@{
        /// The same types by shorter names.
        using Source = KVRMotor::Source;
        using Cause = KVRMotor::Cause;
        ///@}

        ///@{
        /// The fields, in the order of their bytes. Decoded values may be numbers without a name.
        State state = STATE_STOPPED;
        Direction direction = DIRECTION_DOWN;
        Source source = SOURCE_INTERNAL;
        Cause cause = CAUSE_NONE;
        ///@}

        ///@{
        /// Compares all four fields.
        bool operator==(const Status &other) const
        {
            return state == other.state && direction == other.direction && source == other.source
                && cause == other.cause;
        }
        bool operator!=(const Status &other) const { return !(*this == other); }
        ///@}
    };

    KVRMotor() = delete;

    ///@{
    /// The names at run time.
    static QMetaEnum AppModeMetaEnum();
    static QMetaEnum MotorStateEnum();
    ///@}
};

Q_DECLARE_METATYPE(KVRMotor::Status)

#endif
