#ifndef VOX_MESSAGES_HRMV2ANSWER_H
#define VOX_MESSAGES_HRMV2ANSWER_H

#include <vox/messages/hrmv2.h>
#include <vox/messages/kvranswer.h>

/// What motors that are asked in the older command set answer, as values with names.
///
/// Works like KVRAnswer. The meaning of the bytes in a member data is not known; they are as they came. No
/// instances; from any thread.
/// @ingroup messages
class VOX_EXPORT HRMv2Answer
{
public:
    /// The values of @p message, if it is the reply that @p Answer stands for. Empty if it is a NACK, any
    /// other frame, or too short. Some ids mean something else in the current set: the node that was asked
    /// has to be one that answers in the older one.
    template <typename Answer>
    static std::optional<Answer> from(const BusMessage &message);

    HRMv2Answer() = delete;

    /// The group in one of the slots of a motor.
    struct GroupAddr : KVRAnswer::Reply<HRMv2::POST_GROUP_ADDR>
    {
        quint8 index = 0; ///< The slot, from 0.
        VOX::Addr group = 0; ///< 0 is none.
    };

    /// Turning direction and lower end.
    struct MotorSettings : KVRAnswer::Reply<HRMv2::POST_MOTOR_SETTINGS>
    {
        bool isReversed = false; ///< Whether the motor turns the reversed way.
        std::optional<quint16> downLimit; ///< In pulses; the up limit is 0. Empty if it is not set.
    };

    /// One of the intermediate positions of a motor.
    struct MotorIP : KVRAnswer::Reply<HRMv2::POST_MOTOR_IP>
    {
        quint8 index = 0; ///< As it was asked for.
        std::optional<quint16> position; ///< In pulses. Empty if it is not set.
    };

    /// Whether the motor is locked.
    struct LockStatus : KVRAnswer::Reply<HRMv2::POST_LOCK_STATUS>
    {
        /// 0 is unlocked and 1 is locked. HRMv2Stub gives the last function that it was sent.
        quint8 status = 0;
    };

    /// An answer whose bytes have no known meaning.
    struct Unknown
    {
        QByteArray data; ///< All of them.
    };
    /// 3 bytes.
    struct MotorPosition : KVRAnswer::Reply<HRMv2::POST_MOTOR_POSITION>, Unknown
    {
    };
    /// 10 bytes.
    struct MotorInfo : KVRAnswer::Reply<HRMv2::POST_MOTOR_INFO>, Unknown
    {
    };
    /// 2 bytes.
    struct MotorStatus : KVRAnswer::Reply<HRMv2::POST_MOTOR_STATUS>, Unknown
    {
    };
    /// 3 bytes.
    struct Diag : KVRAnswer::Reply<HRMv2::POST_DIAG>, Unknown
    {
    };
    /// 1 byte.
    struct IRConfig : KVRAnswer::Reply<HRMv2::POST_IR_CONFIG>, Unknown
    {
    };
    /// 3 bytes.
    struct MotorConfig : KVRAnswer::Reply<HRMv2::POST_MOTOR_CONFIG>, Unknown
    {
    };
    /// 5 bytes.
    struct NodeSWVersion : KVRAnswer::Reply<HRMv2::POST_NODE_SW_VERSION>, Unknown
    {
    };
};

#endif
