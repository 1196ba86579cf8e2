#ifndef VOX_MESSAGES_KVRANSWER_H
#define VOX_MESSAGES_KVRANSWER_H

#include <vox/messages/kvr.h>
#include <vox/messages/kvrmotor.h>

#include <QByteArray>

#include <optional>

class BusMessage;

/// What nodes answer, as values with names.
///
/// Each reply with data has a struct, which is called as its command is, without the POST_:
///
///     const auto answer = KVRAnswer::from<KVRAnswer::MotorPosition>(call.reply());
///     if (answer && answer->percent)
///         show(*answer->percent);
///
/// An optional member is empty if the node says that there is no such value. Enumerations may hold numbers
/// without a name. No instances; from any thread.
/// @ingroup messages
class VOX_EXPORT KVRAnswer
{
public:
    /// The values of @p message, if it is the reply that @p Answer stands for. Empty if it is a NACK, any
    /// other frame, or too short.
    template <typename Answer>
    static std::optional<Answer> from(const BusMessage &message);

    KVRAnswer() = delete;

    /// The base of all answers.
    template <auto Post>
    struct Reply
    {
        static constexpr auto Command = Post; ///< What the reply is sent as.
    };

    /// The group in one of the slots of a node.
    struct GroupAddr : Reply<KVR::POST_GROUP_ADDR>
    {
        quint8 index = 0; ///< The slot, from 0.
        VOX::Addr group = 0; ///< 0 is none.
    };

    /// The name that people have given to a node.
    struct NodeLabel : Reply<KVR::POST_NODE_LABEL>
    {
        QByteArray label; ///< Latin-1, up to the first zero byte.
    };

    /// How a node behaves on its network.
    struct NetworkConfig : Reply<KVR::POST_NETWORK_CONFIG>
    {
        ///@{
        /// As in KVRStdProxy::NetworkConfig.
        KVR::BcastMode bcastMode = KVR::BCAST_ON;
        quint8 maxRand = 0;
        bool supervision = false;
        quint16 supervisionPeriod = 0;
        bool deafMode = false;
        ///@}
    };

    /// The serial number of a node.
    struct NodeSerialNumber : Reply<KVR::POST_NODE_SERIAL_NUMBER>
    {
        QByteArray serial; ///< Latin-1, up to the first zero byte.
    };

    /// The faults that a node has counted on its network.
    struct NetworkErrorStat : Reply<KVR::POST_NETWORK_ERROR_STAT>
    {
        ///@{
        /// As in KVRStdProxy::NetworkErrorStat.
        quint16 txFailures = 0;
        quint16 collisions = 0;
        quint16 rxDataError = 0;
        quint16 unknownMessage = 0;
        quint16 msgLengthError = 0;
        quint16 rxFifoFull = 0;
        quint16 txFifoFull = 0;
        quint16 crcError = 0;
        quint16 bundleSizeError = 0;
        ///@}
    };

    /// The frames and events that a node has counted on its network.
    struct NetworkStat : Reply<KVR::POST_NETWORK_STAT>
    {
        ///@{
        /// As in KVRStdProxy::NetworkStat.
        quint8 maxRetryCount = 0;
        quint32 frameSent = 0;
        quint32 frameSeen = 0;
        quint32 frameReceived = 0;
        quint16 busyCount = 0;
        quint8 maxSlot = 0;
        quint8 supervisionFailure = 0;
        ///@}
    };

    /// A version of a node's software.
    struct Version
    {
        ///@{
        /// As in KVRStdProxy::AppVersion.
        quint32 reference = 0;
        quint8 letter = 0;
        quint8 number = 0;
        quint8 profile = 0;
        ///@}
    };
    /// The version of the protocol stack.
    struct NodeStackVersion : Reply<KVR::POST_NODE_STACK_VERSION>, Version
    {
    };
    /// The version of the application.
    struct NodeAppVersion : Reply<KVR::POST_NODE_APP_VERSION>, Version
    {
    };

    /// The echo of sendDataTest2().
    struct DataTest2 : Reply<KVR::POST_DATA_TEST2>
    {
        QByteArray data; ///< All 10 bytes.
    };
    /// The echo of sendDataTest3().
    struct DataTest3 : Reply<KVR::POST_DATA_TEST3>
    {
        QByteArray data; ///< All 20 bytes.
    };

    /// Where a motor is.
    struct MotorPosition : Reply<KVR::POST_MOTOR_POSITION>
    {
        std::optional<quint16> position; ///< In pulses.
        std::optional<quint8> percent; ///< Of the way from the up limit to the down limit.
        std::optional<quint8> tilt; ///< As given to ctrlMoveTo().
        std::optional<quint8> ip; ///< The intermediate position at which it is, from 1.
    };

    /// The state of a motor, and the reason for it.
    struct MotorStatus : Reply<KVR::POST_MOTOR_STATUS>, KVRMotor::Status
    {
    };

    /// What a motor moves.
    struct AppMode : Reply<KVR::POST_APP_MODE>
    {
        KVRMotor::AppMode mode = KVRMotor::ROLLER; ///< A roller as delivered.
    };

    /// The ends of a motor's way.
    struct MotorLimits : Reply<KVR::POST_MOTOR_LIMITS>
    {
        std::optional<quint16> upLimit; ///< In pulses; 0 if it is set.
        std::optional<quint16> downLimit; ///< In pulses.
    };

    /// Which way a motor's shaft turns.
    struct MotorDirection : Reply<KVR::POST_MOTOR_DIRECTION>
    {
        KVRMotor::TurnDirection direction = KVRMotor::TURN_NORMAL; ///< Normal as delivered.
    };

    /// The three speeds of a motor.
    struct MotorRollingSpeed : Reply<KVR::POST_MOTOR_ROLLING_SPEED>
    {
        ///@{
        /// In turns per minute.
        quint8 up = 0;
        quint8 down = 0;
        quint8 slow = 0;
        ///@}
    };

    /// How fast a motor tilts.
    struct MotorTiltingSpeed : Reply<KVR::POST_MOTOR_TILTING_SPEED>
    {
        quint8 speed = 0; ///< In the motor's own unit.
    };

    /// An intermediate position.
    struct MotorIP : Reply<KVR::POST_MOTOR_IP>
    {
        quint8 index = 0; ///< From 1.
        std::optional<quint16> position; ///< In pulses.
        std::optional<quint8> percent; ///< Of the way from the up limit to the down limit.
    };

    /// A lock of a motor.
    struct Lock
    {
        bool locked = false; ///< Whether it is.
        VOX::Addr source = 0; ///< The address of the node that has set or opened it last.
        quint8 priority = 0; ///< The least priority with which a request may change the lock.
    };
    /// The lock against commands of the network.
    struct NetworkLock : Reply<KVR::POST_NETWORK_LOCK>, Lock
    {
    };
    /// The lock of a local input.
    struct DCTLock : Reply<KVR::POST_DCT_LOCK>, Lock
    {
    };

    /// How far a motor tilts.
    struct TiltLimits : Reply<KVR::POST_TILT_LIMITS>
    {
        ///@{
        /// In the motor's own unit.
        quint16 minTilt = 0;
        quint16 maxTilt = 0;
        quint16 defaultTilt = 0;
        ///@}
    };

    /// The ramps at the beginning and the end of a move.
    struct MotorSoftStartStop : Reply<KVR::POST_MOTOR_SOFT_START_STOP>
    {
        ///@{
        /// Whether a ramp is on, and its value.
        bool start = false;
        quint8 startValue = 0;
        bool stop = false;
        quint8 stopValue = 0;
        ///@}
    };

    /// How a motor limits its torque.
    struct TorqueLimitation : Reply<KVR::POST_TORQUE_LIMITATION>
    {
        quint8 status = 0; ///< 1 is on, unlike in the request.
        quint8 level = 0; ///< 0 or 1.
    };

    /// Whether a setting is as delivered.
    struct FactoryDefault : Reply<KVR::POST_FACTORY_DEFAULT>
    {
        KVRMotor::FactoryDefFunction function = KVRMotor::FACTORY_ALL; ///< The setting that was asked for.
        bool isDefault = false; ///< Whether it is.
    };

    /// A counter of 24 bits.
    struct Total
    {
        quint32 count = 0; ///< How often so far.
    };
    /// Moves.
    struct TotalMoveCount : Reply<KVR::DIAG_POST_TOTAL_MOVE_COUNT>, Total
    {
    };
    /// Turns of the shaft.
    struct TotalRevCount : Reply<KVR::DIAG_POST_TOTAL_REV_COUNT>, Total
    {
    };

    /// A counter of 16 bits.
    struct Counter
    {
        quint16 count = 0; ///< How often so far.
    };
    /// Power-ups.
    struct PowerCount : Reply<KVR::DIAG_POST_POWER_COUNT>, Counter
    {
    };
    /// Resets.
    struct ResetCount : Reply<KVR::DIAG_POST_RESET_COUNT>, Counter
    {
    };
    /// Faults of the encoder.
    struct EncoderErrors : Reply<KVR::DIAG_POST_ENCODER_ERRORS>, Counter
    {
    };

    /// A counter of 16 bits, and the moves after it.
    struct CounterWithMoves
    {
        quint16 count = 0; ///< How often so far.
        quint16 movesAfter = 0; ///< Moves since the last of them.
    };
    /// How often the thermal protection has stepped in.
    struct ThermalCount : Reply<KVR::DIAG_POST_THERMAL_COUNT>, CounterWithMoves
    {
    };
    /// Obstacles that the motor has met.
    struct ObstacleCount : Reply<KVR::DIAG_POST_OBSTACLE_COUNT>, CounterWithMoves
    {
    };
};

#endif
