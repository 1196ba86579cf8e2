#ifndef VOX_MESSAGES_KVR_H
#define VOX_MESSAGES_KVR_H

#include <vox/messages/vox.h>
#include <vox/messages/voxcmdinfo.h>

#include <QHash>

class VOXMessage;

/// The command set of current nodes: ids, descriptors, refusals and their names. No instances.
///
/// From any thread.
/// @ingroup messages
class VOX_EXPORT KVR
{
    Q_GADGET

public:
    ///@{
    /// The lengths of a node's label and of its serial number, in bytes.
    static constexpr int LabelLength = 16;
    static constexpr int SerialLength = 12;
    ///@}

    /// Commands that every node knows.
    enum Cmd : int {
        GET_NODE_ADDR = 0x40,
        GET_GROUP_ADDR = 0x41,
        GET_NODE_LABEL = 0x45,
        GET_NETWORK_CONFIG = 0x46,
        GET_NODE_SERIAL_NUMBER = 0x4c,
        GET_NETWORK_ERROR_STAT = 0x4d,
        GET_NETWORK_STAT = 0x4e,
        SET_NODE_DISCOVERY = 0x50, ///< 1: no answer to GET_NODE_ADDR for five minutes; 0 ends that.
        SET_GROUP_ADDR = 0x51,
        SET_NODE_LABEL = 0x55,
        SET_NETWORK_CONFIG = 0x56,
        SET_NETWORK_STAT = 0x5e,
        POST_NODE_ADDR = 0x60, ///< No data: the address is the frame's source.
        POST_GROUP_ADDR = 0x61,
        POST_NODE_LABEL = 0x65,
        POST_NETWORK_STAT = 0x6e,
        POST_NETWORK_CONFIG = 0x66,
        POST_NODE_SERIAL_NUMBER = 0x6c,
        POST_NETWORK_ERROR_STAT = 0x6d,
        NACK = 0x6f,
        GET_NODE_STACK_VERSION = 0x70,
        POST_NODE_STACK_VERSION = 0x71,
        GET_NODE_APP_VERSION = 0x74,
        POST_NODE_APP_VERSION = 0x75,
        SEND_DATA_TEST1 = 0x79, ///< The node sends the data back: none here, then 10 bytes, then 20.
        POST_DATA_TEST1 = 0x7a,
        SEND_DATA_TEST2 = 0x7b,
        POST_DATA_TEST2 = 0x7c,
        SEND_DATA_TEST3 = 0x7d,
        POST_DATA_TEST3 = 0x7e,
        ACK = 0x7f
    };
    Q_ENUM(Cmd)

    /// Commands of motors. IP is an intermediate position, DCT a local input.
    enum MotorCmd : int {
        CTRL_MOVE = 0x01,
        CTRL_STOP = 0x02,
        CTRL_MOVETO = 0x03,
        CTRL_MOVEOF = 0x04,
        CTRL_WINK = 0x05, ///< Lets a motor show which one it is.
        CTRL_NETWORK_LOCK = 0x06,
        GET_MOTOR_POSITION = 0x0c,
        POST_MOTOR_POSITION = 0x0d,
        GET_MOTOR_STATUS = 0x0e,
        POST_MOTOR_STATUS = 0x0f,
        SET_APP_MODE = 0x10,
        SET_MOTOR_LIMITS = 0x11,
        SET_MOTOR_DIRECTION = 0x12,
        SET_MOTOR_ROLLING_SPEED = 0x13,
        SET_MOTOR_TILTING_SPEED = 0x14, ///< The frame has no room for the speed; that is the format.
        SET_MOTOR_IP = 0x15,
        SET_NETWORK_LOCK = 0x16,
        SET_DCT_LOCK = 0x17,
        SET_TILT_LIMITS = 0x18, ///< The frame has no room for the limits; that is the format.
        SET_MOTOR_SOFT_START_STOP = 0x19,
        SET_TORQUE_LIMITATION = 0x1a,
        SET_FACTORY_DEFAULT = 0x1f,
        GET_APP_MODE = 0x20,
        GET_MOTOR_LIMITS = 0x21,
        GET_MOTOR_DIRECTION = 0x22,
        GET_MOTOR_ROLLING_SPEED = 0x23,
        GET_MOTOR_TILTING_SPEED = 0x24,
        GET_MOTOR_IP = 0x25,
        GET_NETWORK_LOCK = 0x26,
        GET_DCT_LOCK = 0x27,
        GET_TILT_LIMITS = 0x28,
        GET_MOTOR_SOFT_START_STOP = 0x29,
        GET_TORQUE_LIMITATION = 0x2a,
        GET_FACTORY_DEFAULT = 0x2f,
        POST_APP_MODE = 0x30,
        POST_MOTOR_LIMITS = 0x31,
        POST_MOTOR_DIRECTION = 0x32,
        POST_MOTOR_ROLLING_SPEED = 0x33,
        POST_MOTOR_TILTING_SPEED = 0x34,
        POST_MOTOR_IP = 0x35,
        POST_NETWORK_LOCK = 0x36,
        POST_DCT_LOCK = 0x37,
        POST_TILT_LIMITS = 0x38,
        POST_MOTOR_SOFT_START_STOP = 0x39,
        POST_TORQUE_LIMITATION = 0x3a,
        POST_FACTORY_DEFAULT = 0x3f
    };
    Q_ENUM(MotorCmd)

    /// Counters of motors.
    enum DiagCmd : int {
        DIAG_GET_TOTAL_MOVE_COUNT = 0xb0,
        DIAG_GET_TOTAL_REV_COUNT = 0xb1,
        DIAG_GET_THERMAL_COUNT = 0xb2,
        DIAG_GET_OBSTACLE_COUNT = 0xb3,
        DIAG_GET_POWER_COUNT = 0xb4,
        DIAG_GET_RESET_COUNT = 0xb5,
        DIAG_GET_ENCODER_ERRORS = 0xb6,
        DIAG_POST_TOTAL_MOVE_COUNT = 0xc0,
        DIAG_POST_TOTAL_REV_COUNT = 0xc1,
        DIAG_POST_THERMAL_COUNT = 0xc2,
        DIAG_POST_OBSTACLE_COUNT = 0xc3,
        DIAG_POST_POWER_COUNT = 0xc4,
        DIAG_POST_RESET_COUNT = 0xc5,
        DIAG_POST_ENCODER_ERRORS = 0xc6
    };
    Q_ENUM(DiagCmd)

    /// Why a node refuses. Travels as one byte, so getNackReply() may give any up to 255, and -1.
    enum NackStatus : int {
        NACK_ACK = 0, ///< The node does not refuse.
        NACK_RNG = 1, ///< No such index.
        NACK_BADMSG = 16, ///< The node does not know the command, or does not take a value.
        NACK_MSGSIZE = 17, ///< Shorter than the command's frame.
        NACK_BUSY = 255 ///< The node is at work on another request; ask it again.
    };
    Q_ENUM(NackStatus)

    /// Why a motor refuses, in the same byte. Emulated motors never send IN_SECURITY, THRESHOLD_REACHED or
    /// WINK_IN_PROGRESS.
    enum MotorNackStatus : int {
        NACK_DATA_ERROR = 1, ///< On the line, and as text, the same as NACK_RNG.
        NACK_NODE_IS_LOCKED = 32, ///< The network lock is set.
        NACK_WRONG_POSITION = 33, ///< The limit, or intermediate position, would be out of range.
        NACK_END_LIMITS_NOT_SET = 34, ///< Both limits have to be set; for a shift, the one that is shifted.
        NACK_IP_NOT_SET = 35, ///< No intermediate position at this index.
        NACK_CURRENT_POSITION_OUT_OF_RANGE = 36, ///< It cannot become a limit or intermediate position.
        NACK_FEATURE_NOT_SUPPORTED = 37,
        NACK_IN_MOTION = 38, ///< The setting can only be changed at rest.
        NACK_IN_SECURITY = 39,
        NACK_LAST_IP_REACHED = 40, ///< No intermediate position further that way.
        NACK_THRESHOLD_REACHED = 41,
        NACK_LOW_PRIORITY = 42, ///< The priority is below that of the lock in force.
        NACK_WINK_IN_PROGRESS = 43
    };
    Q_ENUM(MotorNackStatus)

    /// Whether a node hears broadcasts. A node is delivered with BCAST_ON.
    enum BcastMode : int { BCAST_OFF = 0, BCAST_ON = 1 };
    Q_ENUM(BcastMode)

    KVR() = delete;

    ///@{
    /// One table by id for each of the three command enumerations. Never destroyed.
    static const QHash<unsigned char, VOXCmdInfo> &cmds();
    static const QHash<unsigned char, VOXCmdInfo> &motorCmds();
    static const QHash<unsigned char, VOXCmdInfo> &diagCmds();
    ///@}
    /// Looks in all three tables; an invalid descriptor if none knows @p cmd.
    static VOXCmdInfo findCmd(unsigned char cmd);

    ///@{
    /// Whether a node accepts a command with @p message, or refuses it.
    static bool isAck(const VOXMessage &message);
    static bool isNack(const VOXMessage &message);
    ///@}
    /// The status of a NACK, which has exactly 12 bytes; -1 for any other message.
    static NackStatus getNackReply(const VOXMessage &message);

    /// The key's name. @p cmd may be of any of the three command enumerations; empty if it is in none of
    /// them.
    static QString toString(Cmd cmd);
    /// The key's name without its NACK_. NackStatus is searched first. A status without a key gives two
    /// decimal digits.
    static QString toString(NackStatus status);

    ///@{
    /// The names at run time.
    static QMetaEnum CmdMetaEnum();
    static QMetaEnum MotorCmdMetaEnum();
    static QMetaEnum DiagMetaEnum();
    static QMetaEnum NackStatusEnum();
    static QMetaEnum MotorNackStatusEnum();
    ///@}
};

#endif
