#ifndef VOX_MESSAGES_HRMV2_H
#define VOX_MESSAGES_HRMV2_H

#include <vox/messages/voxcmdinfo.h>

#include <QHash>
#include <QMetaEnum>
#include <QObject>
#include <QString>

/// The command set of older motors, in the same frames. No instances.
///
/// Many ids mean something else in the KVR set: code that handles a frame has to know which set the frame
/// belongs to. From any thread.
/// @ingroup messages
class VOX_EXPORT HRMv2
{
    Q_GADGET

public:
    /// SET_IP has no MOTOR_ in its name, unlike its partners.
    enum Cmd : int {
        GET_MOTOR_ADDR = 0x40,
        GET_GROUP_ADDR = 0x41,
        GET_MOTOR_SETTINGS = 0x42,
        GET_MOTOR_IP = 0x43,
        GET_MOTOR_POSITION = 0x44,
        GET_MOTOR_LABEL = 0x45,
        GET_MOTOR_INFO = 0x46,
        GET_DIAG = 0x47,
        GET_MOTOR_STATUS = 0x48,
        GET_IR_CONFIG = 0x49,
        GET_MOTOR_CONFIG = 0x4a,
        GET_LOCK_STATUS = 0x4b,
        GET_NODE_SW_VERSION = 0x70,
        POST_MOTOR_ADDR = 0x60,
        POST_GROUP_ADDR = 0x61,
        POST_MOTOR_SETTINGS = 0x62,
        POST_MOTOR_IP = 0x63,
        POST_MOTOR_POSITION = 0x64,
        POST_MOTOR_LABEL = 0x65,
        POST_MOTOR_INFO = 0x66,
        POST_DIAG = 0x67,
        POST_MOTOR_STATUS = 0x68,
        POST_IR_CONFIG = 0x69,
        POST_MOTOR_CONFIG = 0x6a,
        POST_LOCK_STATUS = 0x6b,
        NACK = 0x6f,
        ACK = 0x7f,
        POST_NODE_SW_VERSION = 0x71,
        SET_GROUP_ADDR = 0x51,
        SET_MOTOR_SETTINGS = 0x52,
        SET_IP = 0x53,
        SET_MOTOR_POSITION = 0x54,
        SET_MOTOR_LABEL = 0x55,
        SET_MOTOR_INFO = 0x56,
        SET_IR_CONFIG = 0x59,
        SET_MOTOR_CONFIG = 0x5a,
        SET_LOCK_STATUS = 0x5b,
        SET_MOTOR_LIMITS = 0x5c
    };
    Q_ENUM(Cmd)

    /// What SET_MOTOR_POSITION does, and what its value means.
    enum PositionFunction : int {
        POSITION_UP_LIMIT = 1,
        POSITION_DOWN_LIMIT = 2,
        POSITION_STOP = 3, ///< Stops the motor where it is.
        POSITION_IP = 4, ///< An index, from 0.
        POSITION_PULSES = 8,
        POSITION_FRACTION = 16 ///< Of the way down, in 255ths.
    };
    Q_ENUM(PositionFunction)

    /// What SET_LOCK_STATUS does. The lock holds at once, even if the function first moves the motor
    /// somewhere.
    enum LockFunction : int {
        LOCK_HERE = 0,
        LOCK_AT_UP_LIMIT = 1,
        LOCK_AT_DOWN_LIMIT = 2,
        LOCK_AT_IP = 4, ///< The index counts from 1 here, unlike that of POSITION_IP, on purpose.
        LOCK_RELEASE = 5
    };
    Q_ENUM(LockFunction)

    HRMv2() = delete;

    /// The table by id, which is never destroyed. The two label commands have the control byte 0x2b on
    /// purpose: an 11-byte frame with the CRC flag.
    static const QHash<unsigned char, VOXCmdInfo> &cmds();
    /// An invalid descriptor if the table does not know @p cmd.
    static VOXCmdInfo findCmd(unsigned char cmd);
    /// The key's name, or empty.
    static QString toString(unsigned char cmd);
    /// The names at run time.
    static QMetaEnum CmdMetaEnum();
};

#endif
