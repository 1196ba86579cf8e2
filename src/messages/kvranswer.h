#ifndef VOX_MESSAGES_KVRANSWER_H
#define VOX_MESSAGES_KVRANSWER_H

#include "messages/kvr.h"
#include "messages/kvrmotor.h"

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
/// A member that is optional is empty if the node says that there is no such value. Enumerations may hold
/// numbers without a name. No instances; from any thread.
/// @ingroup messages
class VOX_EXPORT KVRAnswer
{
public:
    /// What @p message says, if it is the reply that @p Answer stands for. Empty if it is a NACK or any other
    /// frame, or too short.
    template <typename Answer>
    static std::optional<Answer> from(const BusMessage &message);

    KVRAnswer() = delete;

    /// The group in a slot; 0 is none.
    struct GroupAddr
    {
        static constexpr auto Command = KVR::POST_GROUP_ADDR;
        quint8 index = 0;
        VOX::Addr group = 0;
    };

    /// Latin-1, up to the first zero byte.
    struct NodeLabel
    {
        static constexpr auto Command = KVR::POST_NODE_LABEL;
        QByteArray label;
    };

    /// How a node behaves on its network. Delay and period are in the node's own units.
    struct NetworkConfig
    {
        static constexpr auto Command = KVR::POST_NETWORK_CONFIG;
        KVR::BcastMode bcastMode = KVR::BCAST_ON;
        quint8 maxRand = 0;
        bool supervision = false;
        quint16 supervisionPeriod = 0;
        bool deafMode = false;
    };

    /// Latin-1, up to the first zero byte.
    struct NodeSerialNumber
    {
        static constexpr auto Command = KVR::POST_NODE_SERIAL_NUMBER;
        QByteArray serial;
    };

    /// The faults that a node has counted on its network.
    struct NetworkErrorStat
    {
        static constexpr auto Command = KVR::POST_NETWORK_ERROR_STAT;
        quint16 txFailures = 0;
        quint16 collisions = 0;
        quint16 rxDataError = 0;
        quint16 unknownMessage = 0;
        quint16 msgLengthError = 0;
        quint16 rxFifoFull = 0;
        quint16 txFifoFull = 0;
        quint16 crcError = 0;
        quint16 bundleSizeError = 0;
    };

    /// What a node has counted on its network. The three counters of frames have 24 bits.
    struct NetworkStat
    {
        static constexpr auto Command = KVR::POST_NETWORK_STAT;
        quint8 maxRetryCount = 0;
        quint32 frameSent = 0;
        quint32 frameSeen = 0;
        quint32 frameReceived = 0;
        quint16 busyCount = 0;
        quint8 maxSlot = 0;
        quint8 supervisionFailure = 0;
    };

    /// A reference of 24 bits, a Latin-1 letter, a number and a profile.
    struct Version
    {
        quint32 reference = 0;
        quint8 letter = 0;
        quint8 number = 0;
        quint8 profile = 0;
    };
    struct NodeStackVersion : Version
    {
        static constexpr auto Command = KVR::POST_NODE_STACK_VERSION;
    };
    struct NodeAppVersion : Version
    {
        static constexpr auto Command = KVR::POST_NODE_APP_VERSION;
    };

    ///@{
    /// What came back of the 10 or 20 bytes that were sent.
    struct DataTest2
    {
        static constexpr auto Command = KVR::POST_DATA_TEST2;
        QByteArray data;
    };
    struct DataTest3
    {
        static constexpr auto Command = KVR::POST_DATA_TEST3;
        QByteArray data;
    };
    ///@}

    /// In pulses and in percent of the way down. The intermediate position is there if the motor stands at
    /// one.
    struct MotorPosition
    {
        static constexpr auto Command = KVR::POST_MOTOR_POSITION;
        std::optional<quint16> position;
        std::optional<quint8> percent;
        std::optional<quint8> tilt;
        std::optional<quint8> ip;
    };

    /// State, direction, source and cause.
    struct MotorStatus : KVRMotor::Status
    {
        static constexpr auto Command = KVR::POST_MOTOR_STATUS;
    };

    struct AppMode
    {
        static constexpr auto Command = KVR::POST_APP_MODE;
        KVRMotor::AppMode mode = KVRMotor::ROLLER;
    };

    /// In pulses.
    struct MotorLimits
    {
        static constexpr auto Command = KVR::POST_MOTOR_LIMITS;
        std::optional<quint16> upLimit;
        std::optional<quint16> downLimit;
    };

    struct MotorDirection
    {
        static constexpr auto Command = KVR::POST_MOTOR_DIRECTION;
        KVRMotor::TurnDirection direction = KVRMotor::TURN_NORMAL;
    };

    /// In turns per minute.
    struct MotorRollingSpeed
    {
        static constexpr auto Command = KVR::POST_MOTOR_ROLLING_SPEED;
        quint8 up = 0;
        quint8 down = 0;
        quint8 slow = 0;
    };

    struct MotorTiltingSpeed
    {
        static constexpr auto Command = KVR::POST_MOTOR_TILTING_SPEED;
        quint8 speed = 0;
    };

    /// An intermediate position, in pulses and percent.
    struct MotorIP
    {
        static constexpr auto Command = KVR::POST_MOTOR_IP;
        quint8 index = 0;
        std::optional<quint16> position;
        std::optional<quint8> percent;
    };

    /// Whether it is locked, by whom, and with which priority.
    struct Lock
    {
        bool locked = false;
        VOX::Addr source = 0;
        quint8 priority = 0;
    };
    struct NetworkLock : Lock
    {
        static constexpr auto Command = KVR::POST_NETWORK_LOCK;
    };
    struct DCTLock : Lock
    {
        static constexpr auto Command = KVR::POST_DCT_LOCK;
    };

    struct TiltLimits
    {
        static constexpr auto Command = KVR::POST_TILT_LIMITS;
        quint16 minTilt = 0;
        quint16 maxTilt = 0;
        quint16 defaultTilt = 0;
    };

    /// Whether either ramp is on, and its value.
    struct MotorSoftStartStop
    {
        static constexpr auto Command = KVR::POST_MOTOR_SOFT_START_STOP;
        bool start = false;
        quint8 startValue = 0;
        bool stop = false;
        quint8 stopValue = 0;
    };

    /// Status 1 is on, unlike in the request.
    struct TorqueLimitation
    {
        static constexpr auto Command = KVR::POST_TORQUE_LIMITATION;
        quint8 status = 0;
        quint8 level = 0;
    };

    /// Whether the setting has its default.
    struct FactoryDefault
    {
        static constexpr auto Command = KVR::POST_FACTORY_DEFAULT;
        KVRMotor::FactoryDefFunction function = KVRMotor::FACTORY_ALL;
        bool isDefault = false;
    };

    ///@{
    /// Counters of a motor; the first two have 24 bits.
    struct TotalMoveCount
    {
        static constexpr auto Command = KVR::DIAG_POST_TOTAL_MOVE_COUNT;
        quint32 count = 0;
    };
    struct TotalRevCount
    {
        static constexpr auto Command = KVR::DIAG_POST_TOTAL_REV_COUNT;
        quint32 count = 0;
    };
    /// Also how often it was moved after that.
    struct ThermalCount
    {
        static constexpr auto Command = KVR::DIAG_POST_THERMAL_COUNT;
        quint16 count = 0;
        quint16 movesAfter = 0;
    };
    struct ObstacleCount
    {
        static constexpr auto Command = KVR::DIAG_POST_OBSTACLE_COUNT;
        quint16 count = 0;
        quint16 movesAfter = 0;
    };
    struct PowerCount
    {
        static constexpr auto Command = KVR::DIAG_POST_POWER_COUNT;
        quint16 count = 0;
    };
    struct ResetCount
    {
        static constexpr auto Command = KVR::DIAG_POST_RESET_COUNT;
        quint16 count = 0;
    };
    struct EncoderErrors
    {
        static constexpr auto Command = KVR::DIAG_POST_ENCODER_ERRORS;
        quint16 count = 0;
    };
    ///@}
};

#endif
